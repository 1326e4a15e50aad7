// The key-string parser beside its anchor: a plain scan of the same 10,000
// characters that counts the grammar's special characters, which any parser
// of the string must at least do. The parser's figure includes building the
// queue of records (about four per character).
#include <benchmark/benchmark.h>

#include <string>

#include "system/key_string.h"

namespace {

std::u16string KeyString10k() {
  const std::u16string piece = u"abc{ENTER 3}+(xy)^{F12}{LEFTBTN,10,20}%{HOME:5}Z{ESC} ";
  std::u16string s;
  while (s.size() + piece.size() <= 10000) s += piece;
  s.append(10000 - s.size(), u'q');
  return s;
}

void KeyString_PlainScan(benchmark::State& state) {
  const std::u16string s = KeyString10k();
  for (auto _ : state) {
    size_t special = 0;
    for (char16_t c : s) special += c == u'{' || c == u'}' || c == u'(' || c == u')' || c == u'+' || c == u'^' || c == u'%';
    benchmark::DoNotOptimize(special);
  }
  state.SetItemsProcessed(state.iterations() * int64_t(s.size()));
}
BENCHMARK(KeyString_PlainScan);

void KeyString_Parse(benchmark::State& state) {
  const std::u16string s = KeyString10k();
  kp::system::keys::KeyStringEnv env;
  env.vkKeyScan = kp::system::keys::UsVkKeyScan;
  env.screenWidth = 1024;
  env.screenHeight = 768;
  size_t records = 0;
  for (auto _ : state) {
    const auto result = kp::system::keys::Parse(s, kp::system::keys::kKeyNames | kp::system::keys::kMouseNames, env);
    records = result.records.size();
    benchmark::DoNotOptimize(result.records.data());
  }
  state.SetItemsProcessed(state.iterations() * int64_t(s.size()));
  state.counters["records"] = double(records);
}
BENCHMARK(KeyString_Parse);

}  // namespace

// --- playing under Xvfb ------------------------------------------------------
// The per-record cost of playing a queue (200 records: "a" pressed and
// released a hundred times, no target window) beside the same key events sent
// with XTest directly on a connection of the benchmark's own, one flush a
// event as the player does; both end with one round trip to the server.

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include "support/xvfb.h"
#include "system/input.h"

namespace {

bool StartXvfb(benchmark::State& state) {
  if (!kp::test::Xvfb::Installed()) {
    state.SkipWithError("Xvfb is not installed");
    return false;
  }
  kp::test::Xvfb::Shared();
  return true;
}

void Desktop_PlayRecords(benchmark::State& state) {
  if (!StartXvfb(state)) return;
  kp::system::keys::KeyStringEnv env;
  env.vkKeyScan = kp::system::keys::UsVkKeyScan;
  const auto parsed = kp::system::keys::Parse(u"{a 100}", kp::system::keys::kKeyNames, env);
  for (auto _ : state) {
    if (!kp::system::Play(parsed.records, 0)) state.SkipWithError("the player failed");
  }
  state.SetItemsProcessed(state.iterations() * int64_t(parsed.records.size()));
}
BENCHMARK(Desktop_PlayRecords);

void Desktop_XTestDirect(benchmark::State& state) {
  if (!StartXvfb(state)) return;
  Display* d = XOpenDisplay(nullptr);
  if (!d) {
    state.SkipWithError("no display");
    return;
  }
  const KeyCode a = XKeysymToKeycode(d, XK_a);
  for (auto _ : state) {
    for (int i = 0; i < 100; ++i) {
      XTestFakeKeyEvent(d, a, True, 0);
      XFlush(d);
      XTestFakeKeyEvent(d, a, False, 0);
      XFlush(d);
    }
    XSync(d, False);
  }
  state.SetItemsProcessed(state.iterations() * 200);
  XCloseDisplay(d);
}
BENCHMARK(Desktop_XTestDirect);

}  // namespace
