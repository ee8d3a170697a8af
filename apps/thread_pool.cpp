#include "apps/thread_pool.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace xtalmotif::app {

ThreadPool::ThreadPool(int jobs, std::function<void()> tick)
    : jobs_(std::max(1, jobs)), tick_(std::move(tick)) {}

void ThreadPool::run(int n, const std::function<void(int unit, int worker)>& work) {
  std::atomic<int> next{0};
  std::mutex mutex;
  std::condition_variable finished;
  std::exception_ptr failure;
  const int threads = std::min(jobs_, std::max(1, n));
  int running = threads;
  auto fail = [&] {
    std::lock_guard<std::mutex> lock(mutex);
    if (!failure)
      failure = std::current_exception();
    next = n; // no thread takes a new unit
  };
  auto tick = [&] {
    try {
      if (tick_)
        tick_();
    } catch (...) {
      fail();
    }
  };
  auto loop = [&](int worker) {
    try {
      for (int u = next++; u < n; u = next++)
        work(u, worker);
    } catch (...) {
      fail();
    }
    std::lock_guard<std::mutex> lock(mutex);
    if (--running == 0)
      finished.notify_one();
  };
  std::vector<std::thread> pool;
  for (int w = 0; w < threads; ++w)
    pool.emplace_back(loop, w);
  // The calling thread wakes every 100 ms, and at once when the last thread ends, so that a
  // short job does not wait out a whole tick.
  {
    std::unique_lock<std::mutex> lock(mutex);
    while (running > 0) {
      lock.unlock();
      tick();
      lock.lock();
      finished.wait_for(lock, std::chrono::milliseconds(100), [&] { return running == 0; });
    }
  }
  for (auto& t : pool)
    t.join();
  tick();
  if (failure)
    std::rethrow_exception(failure);
}

} // namespace xtalmotif::app
