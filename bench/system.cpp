// The process functions beside their anchor: ExeListeProcessus and
// ExeLancé(name) against reading /proc directly (readdir, then readlink of
// each process's executable), which any process list on Linux must at least
// do. The list's figure includes building its text.
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "system/process.h"

namespace {

// A device prefix of its own, so that paths are shown against a real root.
void Prefix() {
  static const bool made = [] {
    char pattern[] = "/tmp/kp-bench-proc-XXXXXX";
    if (!mkdtemp(pattern)) throw std::runtime_error("mkdtemp");
    setenv("KP_PREFIX", pattern, 1);
    return true;
  }();
  (void)made;
}

void Process_ListProcesses(benchmark::State& state) {
  Prefix();
  size_t lines = 0;
  for (auto _ : state) {
    const std::u16string list = kp::system::ListProcesses(nullptr, {});
    lines = static_cast<size_t>(std::count(list.begin(), list.end(), u'\n')) + 1;
    benchmark::DoNotOptimize(list.data());
  }
  state.counters["processes"] = static_cast<double>(lines);
}
BENCHMARK(Process_ListProcesses);

void Process_ListProcessesWithParents(benchmark::State& state) {
  Prefix();
  const int32_t columns[] = {kp::system::exeLongName, kp::system::exePID, kp::system::exeParentPID};
  for (auto _ : state) benchmark::DoNotOptimize(kp::system::ListProcesses(nullptr, columns));
}
BENCHMARK(Process_ListProcessesWithParents);

void Process_CountRunningByName(benchmark::State& state) {
  Prefix();
  for (auto _ : state) benchmark::DoNotOptimize(kp::system::CountRunning(nullptr, u"kp_bench"));
}
BENCHMARK(Process_CountRunningByName);

// The anchor: every process's executable link, and the count of one name.
void Process_RawProcReaddirReadlink(benchmark::State& state) {
  std::vector<std::string> paths;
  for (auto _ : state) {
    paths.clear();
    int count = 0;
    DIR* dir = opendir("/proc");
    if (!dir) throw std::runtime_error("opendir /proc");
    char link[64], target[PATH_MAX];
    while (const dirent* e = readdir(dir)) {
      if (e->d_name[0] < '1' || e->d_name[0] > '9') continue;
      std::snprintf(link, sizeof link, "/proc/%s/exe", e->d_name);
      const ssize_t n = readlink(link, target, sizeof target);
      if (n <= 0) continue;
      paths.emplace_back(target, static_cast<size_t>(n));
      const char* slash = std::strrchr(paths.back().c_str(), '/');
      count += std::strcmp(slash ? slash + 1 : paths.back().c_str(), "kp_bench") == 0;
    }
    closedir(dir);
    benchmark::DoNotOptimize(count);
  }
}
BENCHMARK(Process_RawProcReaddirReadlink);

}  // namespace
