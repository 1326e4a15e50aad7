// The files family beside its anchors: fLitLigne over a 2 MB text file
// against std::getline on the same file, and fRepTaille / fListeFichier over
// a tree of 2000 files against one nftw walk of the same tree. fLitLigne
// reads a shared mapping of the file (what another process writes is in its
// pages) and widens each line into the handle's own buffer, reused as
// getline reuses its string; ReadLine is called as the entry function calls
// it, which then copies the view into the VM's result (that copy is the
// frame's, as for every text result: bench/call.cpp measures it).
#include <benchmark/benchmark.h>
#include <ftw.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "files/file_io.h"
#include "files/handles.h"
#include "files/paths.h"

namespace {

// A device prefix of its own, made once for the whole run.
const std::string& Prefix() {
  static const std::string prefix = [] {
    char pattern[] = "/tmp/kp-bench-files-XXXXXX";
    if (!mkdtemp(pattern)) throw std::runtime_error("mkdtemp");
    setenv("KP_PREFIX", pattern, 1);
    const std::string root = std::string(pattern) + "/fs";
    std::filesystem::create_directories(root + "/tree");
    std::ofstream text(root + "/lines.txt", std::ios::binary);
    for (int i = 0; i < 40000; ++i) text << "line " << i << " of a text file read by fLitLigne and getline\r\n";
    for (int d = 0; d < 20; ++d) {
      const std::string dir = root + "/tree/d" + std::to_string(d) + "/sub";
      std::filesystem::create_directories(dir);
      for (int f = 0; f < 100; ++f) std::ofstream(dir + "/f" + std::to_string(f) + ".dat") << std::string(f, 'x');
    }
    return std::string(pattern);
  }();
  return prefix;
}

void BM_ReadLine_fLitLigne(benchmark::State& state) {
  Prefix();
  for (auto _ : state) {
    const int32_t h = kp::files::Open(nullptr, u"\\lines.txt", kp::files::foRead);
    size_t lines = 0;
    while (kp::files::ReadLine(nullptr, h) != kp::files::kEndOfFile) ++lines;
    kp::files::Close(nullptr, h);
    benchmark::DoNotOptimize(lines);
  }
}
BENCHMARK(BM_ReadLine_fLitLigne)->Unit(benchmark::kMillisecond);

void BM_ReadLine_getline_anchor(benchmark::State& state) {
  const std::string file = Prefix() + "/fs/lines.txt";
  for (auto _ : state) {
    std::ifstream in(file, std::ios::binary);
    std::string line;
    size_t lines = 0;
    while (std::getline(in, line)) ++lines;
    benchmark::DoNotOptimize(lines);
  }
}
BENCHMARK(BM_ReadLine_getline_anchor)->Unit(benchmark::kMillisecond);

void BM_DirSize_fRepTaille(benchmark::State& state) {
  Prefix();
  for (auto _ : state) benchmark::DoNotOptimize(kp::files::DirSize(nullptr, u"\\tree", 0));
}
BENCHMARK(BM_DirSize_fRepTaille)->Unit(benchmark::kMillisecond);

void BM_ListFile_fListeFichier(benchmark::State& state) {
  Prefix();
  for (auto _ : state) benchmark::DoNotOptimize(kp::files::ListFiles(nullptr, u"\\tree\\*.dat", 0));
}
BENCHMARK(BM_ListFile_fListeFichier)->Unit(benchmark::kMillisecond);

int64_t gTotal = 0;
int Add(const char*, const struct stat* st, int type, FTW*) {
  if (type == FTW_F) gTotal += st->st_size;
  return 0;
}

void BM_DirWalk_nftw_anchor(benchmark::State& state) {
  const std::string tree = Prefix() + "/fs/tree";
  for (auto _ : state) {
    gTotal = 0;
    nftw(tree.c_str(), Add, 16, FTW_PHYS);
    benchmark::DoNotOptimize(gTotal);
  }
}
BENCHMARK(BM_DirWalk_nftw_anchor)->Unit(benchmark::kMillisecond);

}  // namespace
