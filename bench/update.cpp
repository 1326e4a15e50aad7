// The availability check (AppliMAJDisponible: two registry reads, one HTTP GET
// of VERSION.KX, the INI read and the comparison) beside a bare libcurl GET of
// the same file from the same loopback server, with a kept handle.
#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <stdlib.h>

#include <stdexcept>
#include <string>

#include "platform/registry.h"
#include "support/loopback_server.h"
#include "update/update.h"

namespace {

namespace reg = kp::platform::reg;

constexpr std::u16string_view kApp = u"\\Apps\\App.exe";

struct Setup {
  std::string prefix;
  kp::test::LoopbackServer* server = nullptr;
  std::string url;
  Setup() {
    char pattern[] = "/tmp/kp-bench-update-XXXXXX";
    if (!mkdtemp(pattern)) throw std::runtime_error("mkdtemp");
    prefix = pattern;
    setenv("KP_PREFIX", pattern, 1);
    server = new kp::test::LoopbackServer(prefix + "/requests.log");  // lives for the run
    if (!server->port()) throw std::runtime_error("loopback server");
    url = "http://127.0.0.1:" + std::to_string(server->port()) + "/ok";
    reg::KeyHolder k;
    uint32_t disposition = 0;
    reg::CreateKey(reg::kLocalMachine, kp::update::SettingsKey(kApp), reg::kAllAccess, k.out(), &disposition);
    const uint32_t on = 1;
    const std::u16string location(url.begin(), url.end()), version = u"2.9";
    reg::SetValue(k.get(), u"UPDATE_HTTP", reg::kDword, reinterpret_cast<const uint8_t*>(&on), 4);
    reg::SetValue(k.get(), u"UPDATE_URL", reg::kSz, reinterpret_cast<const uint8_t*>(location.data()),
                  static_cast<uint32_t>(location.size() * 2));
    reg::SetValue(k.get(), u"VERSION", reg::kSz, reinterpret_cast<const uint8_t*>(version.data()),
                  static_cast<uint32_t>(version.size() * 2));
  }
};

Setup& Shared() {
  static Setup setup;
  return setup;
}

void BM_UpdateAvailable(benchmark::State& state) {
  Shared();
  for (auto _ : state) {
    const int32_t r = kp::update::Available(nullptr, kApp);
    if (r != kp::update::kOptionalUpdate) state.SkipWithError("unexpected answer");
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_UpdateAvailable);

size_t Keep(char* data, size_t size, size_t count, void* user) {
  static_cast<std::string*>(user)->append(data, size * count);
  return size * count;
}

// Anchor: the GET alone, through libcurl with one kept handle.
void BM_AnchorCurlGet(benchmark::State& state) {
  const std::string url = Shared().url + "/VERSION.KX";
  CURL* h = curl_easy_init();
  std::string body;
  curl_easy_setopt(h, CURLOPT_URL, url.c_str());
  curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, Keep);
  curl_easy_setopt(h, CURLOPT_WRITEDATA, &body);
  for (auto _ : state) {
    body.clear();
    if (curl_easy_perform(h) != CURLE_OK) state.SkipWithError("GET failed");
    benchmark::DoNotOptimize(body.data());
  }
  curl_easy_cleanup(h);
}
BENCHMARK(BM_AnchorCurlGet);

}  // namespace
