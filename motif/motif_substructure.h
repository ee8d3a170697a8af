#ifndef XTALMOTIF_MOTIF_MOTIF_SUBSTRUCTURE_H
#define XTALMOTIF_MOTIF_MOTIF_SUBSTRUCTURE_H

#include "core/handle.h"
#include "chem/molecule.h"
#include "chem/substructure.h"

#include <iosfwd>
#include <string>
#include <utility>

namespace xtalmotif {

/// One chemical fragment of a motif: a query graph that must be found in a molecule of the
/// crystal, together with the range of sizes (atom counts) allowed for the molecule carrying it,
/// so that a query can ask for a fragment of a small molecule rather than of a large host.
class MotifSubstructure : public Substructure {
public:
  /// An empty fragment accepting molecules of 0 to 100000 atoms.
  MotifSubstructure();
  /// The whole molecule as a fragment: its atoms with their elements and its bonds with their
  /// types, with the default size limits.
  explicit MotifSubstructure(const Molecule& molecule);
  /// A motif fragment from an existing query graph, with the default size limits.
  explicit MotifSubstructure(const Substructure& substructure);
  /// Deep copy of the query graph and of all four limits and the label.
  MotifSubstructure(const MotifSubstructure& other);
  /// Deep copy of the graph, limits and label.
  MotifSubstructure& operator=(const MotifSubstructure& other);
  ~MotifSubstructure() override = default;

  /// Restricts the molecules that may carry a hit to those of `min` to `max` atoms, both
  /// included; the values are not checked.
  void set_target_size(int min, int max);
  /// True when the molecule's atom count lies within the allowed size range (both ends allowed).
  bool is_target_size_allowed(THandle<Molecule> molecule) const;

  /// The smallest atom count of a molecule that may carry a hit.
  int min_target_size() const { return min_target_size_; }
  /// The largest atom count of a molecule that may carry a hit.
  int max_target_size() const { return max_target_size_; }
  /// A further limit kept with the fragment (100 unless set); nothing in the query model reads it.
  int extra_limit() const { return extra_limit_; }
  /// Replaces the further limit.
  void set_extra_limit(int limit) { extra_limit_ = limit; }
  /// A free-text name for the fragment, such as the functional group it stands for.
  const std::string& label() const { return label_; }
  /// Replaces the label.
  void set_label(std::string label) { label_ = std::move(label); }

  /// Prints the query graph to `os`, then the maximum and the minimum target size on two lines
  /// that always go to standard output, whatever stream is given.
  void print(std::ostream& os) const;

private:
  int min_target_size_ = 0;
  int max_target_size_ = 100000;
  int extra_limit_ = 100;
  std::string label_;
};

} // namespace xtalmotif

#endif
