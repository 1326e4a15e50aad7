// The cost of the call frame: one call through an entry function, as a VM
// makes it, beside a direct C++ call of the same implementation; and
// DateSys() through its entry beside the plain C way to the same text.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "numbers/parity.h"
#include "vm.h"

namespace {

// A VM's SetResult that copies what it is given, as a real VM must.
struct Sink {
  int32_t integer = 0;
  std::u16string text;
} gSink;

void KL_CALL SetResult(IVMServices*, uint32_t, const void* cell, uint32_t code) {
  if (code == KL_T_TEXT) {
    auto* holder = *static_cast<const char16_t* const*>(cell);
    gSink.text.assign(holder ? holder : u"");
  } else {
    std::memcpy(&gSink.integer, cell, sizeof gSink.integer);
  }
}

struct Fixture {
  Fixture() {
    std::string error;
    library = kphost::Library::Load(KP_LIBRARY_PATH, error);
    if (!library) throw std::runtime_error(error);
    ops.SetResult = &SetResult;
    call.vm = &vm;
  }
  KLEntryFunction Entry(const char* name, size_t syntax = 0) {
    return library->FindFunction(name)->syntaxes.at(syntax).entry;
  }
  std::unique_ptr<kphost::Library> library;
  IVMServicesOps ops{};
  IVMServices vm{&ops};
  CallContext call{};
};

Fixture& F() {
  static Fixture fixture;
  return fixture;
}

void BM_IsEven_Direct(benchmark::State& state) {
  int32_t n = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(kp::numbers::IsEven(nullptr, n));
    ++n;
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_IsEven_Direct);

void BM_IsEven_ThroughEntry(benchmark::State& state) {
  auto& f = F();
  KLEntryFunction entry = f.Entry("EstPair");
  ExecContext* context = f.library->program().context();
  int32_t n = 0;
  void* args[1] = {&n};
  for (auto _ : state) {
    entry(&f.call, context, args);
    ++n;
    benchmark::DoNotOptimize(gSink.integer);
  }
}
BENCHMARK(BM_IsEven_ThroughEntry);

// The anchor of DateSys() through its entry: the plain C way to the same
// text (the host's clock, the C library's local time, snprintf), with the
// same copy the VM makes.
void BM_DateSys_AnchorClockGettime(benchmark::State& state) {
  for (auto _ : state) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    char text[16];
    const int n =
        std::snprintf(text, sizeof text, "%04d%02d%02d", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday);
    gSink.text.assign(text, text + n);
    benchmark::DoNotOptimize(gSink.text.data());
  }
}
BENCHMARK(BM_DateSys_AnchorClockGettime);

void BM_DateSys_ThroughEntry(benchmark::State& state) {
  auto& f = F();
  KLEntryFunction entry = f.Entry("DateSys");
  ExecContext* context = f.library->program().context();
  for (auto _ : state) {
    entry(&f.call, context, nullptr);
    benchmark::DoNotOptimize(gSink.text.data());
  }
}
BENCHMARK(BM_DateSys_ThroughEntry);

}  // namespace
