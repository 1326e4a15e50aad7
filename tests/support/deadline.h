// Runs a call that once hung, with a time limit: a regression fails the
// test at once instead of hanging the run. The call runs on its own thread;
// when the limit passes, the test process reports the hang and ends, since a
// hung thread cannot be stopped.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace kp::test {

template <typename F>
auto WithinSeconds(double seconds, const std::string& what, F&& call) -> decltype(call()) {
  using R = decltype(call());
  struct Shared {
    std::mutex mutex;
    std::condition_variable done;
    bool finished = false;
  };
  auto shared = std::make_shared<Shared>();
  std::conditional_t<std::is_void_v<R>, int, R> result{};
  std::thread worker([&, shared] {
    if constexpr (std::is_void_v<R>)
      call();
    else
      result = call();
    std::lock_guard lock(shared->mutex);
    shared->finished = true;
    shared->done.notify_one();
  });
  std::unique_lock lock(shared->mutex);
  if (!shared->done.wait_for(lock, std::chrono::duration<double>(seconds), [&] { return shared->finished; })) {
    std::fprintf(stderr, "FAILED: %s did not return within %.1f s (hang)\n", what.c_str(), seconds);
    std::fflush(stderr);
    std::_Exit(1);
  }
  lock.unlock();
  worker.join();
  if constexpr (!std::is_void_v<R>) return result;
}

}  // namespace kp::test
