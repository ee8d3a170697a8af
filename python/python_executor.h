#ifndef XTALMOTIF_PYTHON_PYTHON_EXECUTOR_H
#define XTALMOTIF_PYTHON_PYTHON_EXECUTOR_H

#include "core/executor.h"

#include <functional>

namespace xtalmotif::python {

/// The threads of a search started from Python: runs the units of a library job on `jobs`
/// threads of its own, taking units in order as threads come free, while the calling thread
/// (which has given up the interpreter lock) only calls `tick` about ten times a second and once
/// more at the end. `tick` takes the lock to report progress and to notice Ctrl-C; when it
/// throws, no further unit is started, the units running are finished, and its exception is
/// rethrown once every thread has ended.
class PythonExecutor : public Executor {
public:
  PythonExecutor(int jobs, std::function<void()> tick);
  int workers() const override { return jobs_; }
  void run(int n, const std::function<void(int unit, int worker)>& work) override;

private:
  int jobs_;
  std::function<void()> tick_;
};

} // namespace xtalmotif::python

#endif
