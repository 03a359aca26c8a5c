// Caller threads that keep sessions busy, for the throughput figures.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <thread>
#include <vector>

#include "process_probe.h"

namespace qz::bench {

struct LoadResult {
  double calls_per_second = 0;
  std::size_t calls = 0;
  std::size_t failures = 0;
  std::size_t threads_while_busy = 0;  // of the whole process
  double seconds = 0;
};

// Which sessions caller `caller` of `callers` works on: every callers-th one
// from its own index, or one shared session when there are fewer sessions
// than callers.
inline std::vector<std::size_t> slice_of(std::size_t caller, std::size_t callers, std::size_t sessions) {
  std::vector<std::size_t> slice;
  if (sessions < callers) {
    slice.push_back(caller % sessions);
    return slice;
  }
  for (std::size_t i = caller; i < sessions; i += callers) slice.push_back(i);
  return slice;
}

// Runs `callers` threads; each calls call(session) on its slice in turn,
// until `min_seconds` have passed and it went through its slice at least
// once. call returns false for a failed call.
template <class Call>
LoadResult run_load(std::size_t callers, std::size_t sessions, double min_seconds, Call call) {
  using Clock = std::chrono::steady_clock;
  std::atomic<bool> go{false}, stop{false};
  std::atomic<std::size_t> calls{0}, failures{0};
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < callers; ++t) {
    threads.emplace_back([&, t] {
      const std::vector<std::size_t> slice = slice_of(t, callers, sessions);
      std::size_t mine = 0, failed = 0;
      while (!go.load(std::memory_order_acquire)) std::this_thread::yield();
      for (bool covered = false; !(covered && stop.load(std::memory_order_relaxed));) {
        for (std::size_t s : slice) {
          if (!call(s)) ++failed;
          ++mine;
        }
        covered = true;
      }
      calls += mine;
      failures += failed;
    });
  }
  LoadResult result;
  const auto start = Clock::now();
  go.store(true, std::memory_order_release);
  std::this_thread::sleep_for(std::chrono::duration<double>(min_seconds / 2));
  result.threads_while_busy = thread_count();
  std::this_thread::sleep_for(std::chrono::duration<double>(min_seconds / 2));
  stop = true;
  for (auto &t : threads) t.join();
  result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  result.calls = calls;
  result.failures = failures;
  result.calls_per_second = static_cast<double>(result.calls) / result.seconds;
  return result;
}

}  // namespace qz::bench
