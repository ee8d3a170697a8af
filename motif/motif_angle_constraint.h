#ifndef XTALMOTIF_MOTIF_MOTIF_ANGLE_CONSTRAINT_H
#define XTALMOTIF_MOTIF_MOTIF_ANGLE_CONSTRAINT_H

#include "chem/condition.h"
#include "core/handle.h"

#include <array>
#include <utility>

namespace xtalmotif {

/// A limit on the angle, in degrees, formed by three matched atoms of a motif at the middle one
/// (the vertex), such as the D-H...A angle of a hydrogen bond. Each atom is named by its
/// substructure index and its atom index within that substructure.
class MotifAngleConstraint {
public:
  /// Atoms (substructure1, atom1), the vertex (substructure2, atom2) and
  /// (substructure3, atom3); the condition is shared with the caller.
  MotifAngleConstraint(int substructure1, int atom1, int substructure2, int atom2,
                       int substructure3, int atom3, THandle<Condition> condition);
  /// Copies the atom references and takes a clone of the condition.
  MotifAngleConstraint(const MotifAngleConstraint& other);
  /// Takes the other's atoms and a clone of its condition.
  MotifAngleConstraint& operator=(const MotifAngleConstraint& other);

  /// Atom reference `i` (0 first, 1 vertex, 2 third) as (substructure, atom); std::out_of_range
  /// for another `i`.
  const std::pair<int, int>& reference(int i) const { return references_.at(i); }
  /// Substructure index of atom reference `i`.
  int substructure(int i) const { return reference(i).first; }
  /// Atom index, within its substructure, of atom reference `i`.
  int atom(int i) const { return reference(i).second; }
  /// The test applied to the measured angle in degrees.
  const THandle<Condition>& condition() const { return condition_; }

  /// True when one of the three atoms is (substructure, atom).
  bool find_atom(int substructure, int atom) const;

private:
  std::array<std::pair<int, int>, 3> references_;
  THandle<Condition> condition_;
};

} // namespace xtalmotif

#endif
