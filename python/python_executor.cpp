#include "python/python_executor.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace xtalmotif::python {

PythonExecutor::PythonExecutor(int jobs, std::function<void()> tick)
    : jobs_(std::max(1, jobs)), tick_(std::move(tick)) {}

void PythonExecutor::run(int n, const std::function<void(int unit, int worker)>& work) {
  std::atomic<int> next{0};
  std::mutex mutex;
  std::condition_variable finished;
  std::exception_ptr failure;
  // The first failure wins: a unit's, or the caller's (an exception of the progress callback,
  // a KeyboardInterrupt); either way no new unit starts.
  auto fail = [&](std::exception_ptr e) {
    std::lock_guard<std::mutex> lock(mutex);
    if (!failure)
      failure = std::move(e);
    next = n;
  };
  const int threads = std::min(jobs_, std::max(1, n));
  int running = threads;
  auto loop = [&](int worker) {
    try {
      for (int u = next++; u < n; u = next++)
        work(u, worker);
    } catch (...) {
      fail(std::current_exception());
    }
    std::lock_guard<std::mutex> lock(mutex);
    if (--running == 0)
      finished.notify_one();
  };
  std::vector<std::thread> pool;
  for (int w = 0; w < threads; ++w)
    pool.emplace_back(loop, w);
  auto tick = [&] {
    if (!tick_)
      return;
    try {
      tick_();
    } catch (...) {
      fail(std::current_exception());
    }
  };
  {
    std::unique_lock<std::mutex> lock(mutex);
    while (running > 0) {
      const bool ticking = !failure;
      lock.unlock();
      if (ticking)
        tick();
      lock.lock();
      finished.wait_for(lock, std::chrono::milliseconds(100), [&] { return running == 0; });
    }
  }
  for (auto& t : pool)
    t.join();
  if (!failure)
    tick();
  if (failure)
    std::rethrow_exception(failure);
}

} // namespace xtalmotif::python
