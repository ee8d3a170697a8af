#ifndef XTALMOTIF_CORE_EXECUTOR_H
#define XTALMOTIF_CORE_EXECUTOR_H

#include <functional>

namespace xtalmotif {

/// Where the units of a long job (the entries of a collection search, the rows of a screen index)
/// run. The library never starts a thread of its own: it runs every unit on the calling thread,
/// unless the caller hands it an executor of its own (a program's thread pool), which then owns
/// the threads and their number.
class Executor {
public:
  virtual ~Executor() = default;
  /// How many units may run at once; work is told which of these workers it runs on.
  virtual int workers() const { return 1; }
  /// Calls work(unit, worker) once for every unit in [0, n), worker in [0, workers()), and
  /// returns when all have returned. Calls on the same worker never overlap. Where a call throws,
  /// units not yet started are skipped and the first exception is rethrown here. This one runs
  /// them in order on the calling thread.
  virtual void run(int n, const std::function<void(int unit, int worker)>& work) {
    for (int u = 0; u < n; ++u)
      work(u, 0);
  }
};

} // namespace xtalmotif

#endif
