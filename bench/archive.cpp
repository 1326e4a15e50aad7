// The archive family beside its anchors, on the same 100 MB of files in the
// same run: _zipAjouteRépertoire (libzip, deflate level 6, through the device
// file system) against `zip -6 -r`, and _zipExtraitTout against `unzip` of the
// same archive. The tools are started as processes, which the figures of
// the anchors include (a few milliseconds in seconds).
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>

#include "archive/archive.h"

namespace {

// 50 files of 2 MB: half text that deflates well, half random bytes that do not.
const std::string& Prefix() {
  static const std::string prefix = [] {
    char pattern[] = "/tmp/kp-bench-archive-XXXXXX";
    if (!mkdtemp(pattern)) throw std::runtime_error("mkdtemp");
    setenv("KP_PREFIX", pattern, 1);
    const std::string root = std::string(pattern) + "/fs";
    std::filesystem::create_directories(root + "/data/text");
    std::filesystem::create_directories(root + "/data/random");
    std::mt19937 rng(1);
    std::string block(2 << 20, '\0');
    for (int f = 0; f < 50; ++f) {
      const bool text = f % 2 == 0;
      for (size_t i = 0; i < block.size(); ++i)
        block[i] = text ? "the quick brown fox jumps over the lazy dog 0123456789\n"[rng() % 55]
                        : static_cast<char>(rng());
      std::ofstream(root + (text ? "/data/text/f" : "/data/random/f") + std::to_string(f) + ".dat",
                    std::ios::binary)
          << block;
    }
    if (std::system(("cd " + root + " && zip -q -6 -r reference.zip data").c_str()) != 0)
      throw std::runtime_error("zip");
    // Some 400 MB by the end of the run: removed when the run ends.
    static std::string made = pattern;
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(made, ignored);
    });
    return std::string(pattern);
  }();
  return prefix;
}

void BM_Add100MB_zipAjouteRepertoire(benchmark::State& state) {
  const std::string root = Prefix() + "/fs";
  for (auto _ : state) {
    std::filesystem::remove(root + "/ours.zip");
    if (kp::archive::Create(nullptr, u"bench", u"\\ours.zip", 0) != 0 ||
        kp::archive::AddDirectory(nullptr, u"bench", u"\\data", true, kp::archive::kPathRelative, {}) != 0 ||
        kp::archive::Close(nullptr, u"bench") != 0)
      state.SkipWithError("archive failed");
  }
  state.counters["MB"] = std::filesystem::file_size(root + "/ours.zip") / 1e6;
}
BENCHMARK(BM_Add100MB_zipAjouteRepertoire)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_Add100MB_zip6_anchor(benchmark::State& state) {
  const std::string root = Prefix() + "/fs";
  for (auto _ : state) {
    std::filesystem::remove(root + "/theirs.zip");
    if (std::system(("cd " + root + " && zip -q -6 -r theirs.zip data").c_str()) != 0)
      state.SkipWithError("zip failed");
  }
  state.counters["MB"] = std::filesystem::file_size(root + "/theirs.zip") / 1e6;
}
BENCHMARK(BM_Add100MB_zip6_anchor)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_Extract100MB_zipExtraitTout(benchmark::State& state) {
  const std::string root = Prefix() + "/fs";
  kp::archive::Open(nullptr, u"ref", u"\\reference.zip", {});
  for (auto _ : state) {
    state.PauseTiming();
    std::filesystem::remove_all(root + "/x");
    std::filesystem::create_directories(root + "/x");
    state.ResumeTiming();
    if (kp::archive::ExtractAll(nullptr, u"ref", u"\\x") != 0) state.SkipWithError("extraction failed");
  }
  kp::archive::Close(nullptr, u"ref");
}
BENCHMARK(BM_Extract100MB_zipExtraitTout)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_Extract100MB_unzip_anchor(benchmark::State& state) {
  const std::string root = Prefix() + "/fs";
  for (auto _ : state) {
    state.PauseTiming();
    std::filesystem::remove_all(root + "/y");
    std::filesystem::create_directories(root + "/y");
    state.ResumeTiming();
    if (std::system(("unzip -q -o " + root + "/reference.zip -d " + root + "/y").c_str()) != 0)
      state.SkipWithError("unzip failed");
  }
}
BENCHMARK(BM_Extract100MB_unzip_anchor)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace
