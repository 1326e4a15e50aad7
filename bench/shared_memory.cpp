// Shared memory beside its anchors: a 4 KiB fEcrit + fLit on a block
// against memcpy into and out of a raw shared mmap under a process-shared
// pthread mutex (the cost of our layers: the named lock, the notification
// bookkeeping, the handle table); and a notification round trip between two
// processes through the named semaphores of the seam against a bare POSIX
// semaphore ping-pong.
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "files/file_io.h"
#include "files/handles.h"
#include "files/shared_memory.h"
#include "platform/named_objects.h"

namespace {

namespace named = kp::platform::named;
constexpr size_t kSize = 4096;

// A device prefix of its own for the whole run, removed at exit.
void Prefix() {
  static const std::string prefix = [] {
    char pattern[] = "/tmp/kp-bench-shm-XXXXXX";
    if (!mkdtemp(pattern)) throw std::runtime_error("mkdtemp");
    setenv("KP_PREFIX", pattern, 1);
    std::atexit([] { std::filesystem::remove_all(getenv("KP_PREFIX")); });
    return std::string(pattern);
  }();
}

void BM_SharedMemory_fEcrit_fLit_4KiB(benchmark::State& state) {
  Prefix();
  const int32_t h = kp::files::MemOpen(nullptr, u"bench", kSize, kp::files::kMemScopeLocal, kp::files::foReadWrite, {});
  if (h < 2) {
    state.SkipWithError("fMemOuvre failed");
    return;
  }
  std::vector<uint8_t> data(kSize, 0x5A);
  for (auto _ : state) {
    kp::files::Seek(nullptr, h, 0, 0);
    benchmark::DoNotOptimize(kp::files::Write(nullptr, h, data, -1));
    kp::files::Seek(nullptr, h, 0, 0);
    kp::Value v = kp::files::Read(nullptr, h, kSize);
    benchmark::DoNotOptimize(v);
  }
  kp::files::Close(nullptr, h);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 2 * kSize);
}
BENCHMARK(BM_SharedMemory_fEcrit_fLit_4KiB);

void BM_Anchor_memcpy_mmap_mutex_4KiB(benchmark::State& state) {
  struct Shared {
    pthread_mutex_t mutex;
    uint8_t bytes[kSize];
  };
  void* p = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (p == MAP_FAILED) {
    state.SkipWithError("mmap");
    return;
  }
  auto* shared = static_cast<Shared*>(p);
  pthread_mutexattr_t attr;
  pthread_mutexattr_init(&attr);
  pthread_mutexattr_setpshared(&attr, PTHREAD_PROCESS_SHARED);
  pthread_mutex_init(&shared->mutex, &attr);
  std::vector<uint8_t> in(kSize, 0x5A), out(kSize);
  for (auto _ : state) {
    pthread_mutex_lock(&shared->mutex);
    std::memcpy(shared->bytes, in.data(), kSize);
    pthread_mutex_unlock(&shared->mutex);
    pthread_mutex_lock(&shared->mutex);
    std::memcpy(out.data(), shared->bytes, kSize);
    pthread_mutex_unlock(&shared->mutex);
    benchmark::DoNotOptimize(out.data());
  }
  munmap(p, sizeof(Shared));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 2 * kSize);
}
BENCHMARK(BM_Anchor_memcpy_mmap_mutex_4KiB);

// Ping: this process releases the other's notification semaphore and waits
// for its receipt, as a write and fMemAttend do.
void BM_SharedMemory_NotificationRoundTrip(benchmark::State& state) {
  Prefix();
  const named::Handle ping = named::CreateSemaphore(u"Local\\bench_SEMN1", 0, 0x7FFFFFFF);
  const named::Handle pong = named::CreateSemaphore(u"Local\\bench_SEMF1", 0, 0x7FFFFFFF);
  const pid_t child = fork();
  if (child == 0) {
    const named::Handle n = named::OpenSemaphore(u"Local\\bench_SEMN1");
    const named::Handle f = named::OpenSemaphore(u"Local\\bench_SEMF1");
    while (named::WaitForObject(n, 5000) == named::kWaitObject0) named::ReleaseSemaphore(f, 1, nullptr);
    std::_Exit(0);
  }
  for (auto _ : state) {
    named::ReleaseSemaphore(ping, 1, nullptr);
    if (named::WaitForObject(pong, 5000) != named::kWaitObject0) {
      state.SkipWithError("no answer");
      break;
    }
  }
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  named::CloseHandle(ping);
  named::CloseHandle(pong);
}
BENCHMARK(BM_SharedMemory_NotificationRoundTrip)->UseRealTime();

void BM_Anchor_PosixSemaphorePingPong(benchmark::State& state) {
  void* p = mmap(nullptr, 2 * sizeof(sem_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (p == MAP_FAILED) {
    state.SkipWithError("mmap");
    return;
  }
  auto* sems = static_cast<sem_t*>(p);
  sem_init(&sems[0], 1, 0);
  sem_init(&sems[1], 1, 0);
  const pid_t child = fork();
  if (child == 0) {
    while (sem_wait(&sems[0]) == 0) sem_post(&sems[1]);
    std::_Exit(0);
  }
  for (auto _ : state) {
    sem_post(&sems[0]);
    sem_wait(&sems[1]);
  }
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  munmap(p, 2 * sizeof(sem_t));
}
BENCHMARK(BM_Anchor_PosixSemaphorePingPong)->UseRealTime();

}  // namespace
