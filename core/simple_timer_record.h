#ifndef XTALMOTIF_CORE_SIMPLE_TIMER_RECORD_H
#define XTALMOTIF_CORE_SIMPLE_TIMER_RECORD_H

#include <chrono>

namespace xtalmotif {

/// Accumulated wall time of one named stage of a search, and how often it ran.
class SimpleTimerRecord {
public:
  void start() { started_ = Clock::now(); running_ = true; }
  void stop() {
    if (!running_)
      return;
    total_ += Clock::now() - started_;
    ++count_;
    running_ = false;
  }
  double seconds() const { return std::chrono::duration<double>(total_).count(); }
  long count() const { return count_; }
  bool running() const { return running_; }
  void reset() { total_ = Clock::duration::zero(); count_ = 0; running_ = false; }

private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point started_{};
  Clock::duration total_ = Clock::duration::zero();
  long count_ = 0;
  bool running_ = false;
};

} // namespace xtalmotif

#endif
