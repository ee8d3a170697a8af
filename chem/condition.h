#ifndef XTALMOTIF_CHEM_CONDITION_H
#define XTALMOTIF_CHEM_CONDITION_H

#include "core/handle.h"

#include <iosfwd>
#include <string>

namespace xtalmotif {

// Value conditions sit at the bottom of the layers because the kernel's atom constraints hold
// them as well as the motif's angle and torsion constraints.

/// A test on one real number: a query atom's bond, hydrogen or charge count, or a measured angle.
class Condition {
public:
  enum PrintOption { print_full = 0, print_value_only = 1 };

  explicit Condition(std::string name) : name_(std::move(name)) {}
  virtual THandle<Condition> clone() const = 0;
  virtual ~Condition() = default;
  virtual bool test(double x) const = 0;
  /// The base writes only the name, whatever the option.
  virtual void print(std::ostream& os, PrintOption option) const;

  const std::string& name() const { return name_; }

protected:
  Condition(const Condition&) = default;
  Condition& operator=(const Condition&) = default;

private:
  std::string name_;
};

/// True exactly at `value` (no tolerance).
class EqualTo : public Condition {
public:
  EqualTo(std::string name, double value) : Condition(std::move(name)), value_(value) {}
  THandle<Condition> clone() const override;
  bool test(double x) const override { return x == value_; }
  void print(std::ostream& os, PrintOption option) const override;
  double value() const { return value_; }

private:
  double value_;
};

/// True from `low` to `high`, both ends included.
class InclusiveRange : public Condition {
public:
  InclusiveRange(std::string name, double low, double high)
      : Condition(std::move(name)), low_(low), high_(high) {}
  THandle<Condition> clone() const override;
  bool test(double x) const override { return low_ <= x && x <= high_; }
  void print(std::ostream& os, PrintOption option) const override;
  double low() const { return low_; }
  double high() const { return high_; }

private:
  double low_;
  double high_;
};

/// True strictly above `threshold`.
class Greater : public Condition {
public:
  Greater(std::string name, double threshold) : Condition(std::move(name)), threshold_(threshold) {}
  THandle<Condition> clone() const override;
  bool test(double x) const override { return x > threshold_; }
  void print(std::ostream& os, PrintOption option) const override;
  double threshold() const { return threshold_; }

private:
  double threshold_;
};

/// Value equality: same concrete kind, same name, same numbers.
bool operator==(const Condition& a, const Condition& b);
inline bool operator!=(const Condition& a, const Condition& b) { return !(a == b); }

} // namespace xtalmotif

#endif
