#ifndef XTALMOTIF_APPS_THREAD_POOL_H
#define XTALMOTIF_APPS_THREAD_POOL_H

#include "core/executor.h"

#include <functional>

namespace xtalmotif::app {

/// The threads of the program and of the Python module: runs the units of a library job on `jobs`
/// threads, taking units in order as threads come free, while the calling thread only calls
/// `tick` (a progress display; in Python, progress and Ctrl-C) about ten times a second, and once
/// more when the last unit ends. When a unit or `tick` throws, no further unit is started, the
/// units running are finished, and the first exception is rethrown once every thread has ended.
class ThreadPool : public Executor {
public:
  explicit ThreadPool(int jobs, std::function<void()> tick = {});
  int workers() const override { return jobs_; }
  void run(int n, const std::function<void(int unit, int worker)>& work) override;

private:
  int jobs_;
  std::function<void()> tick_;
};

} // namespace xtalmotif::app

#endif
