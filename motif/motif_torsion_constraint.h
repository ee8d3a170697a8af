#ifndef XTALMOTIF_MOTIF_MOTIF_TORSION_CONSTRAINT_H
#define XTALMOTIF_MOTIF_MOTIF_TORSION_CONSTRAINT_H

#include "chem/condition.h"
#include "core/handle.h"

#include <array>
#include <utility>

namespace xtalmotif {

/// A limit on the signed torsion angle, in degrees, of four matched atoms of a motif, for
/// example the twist between two hydrogen-bonded molecules. Each atom is named by its
/// substructure index and its atom index within that substructure.
class MotifTorsionConstraint {
public:
  /// The four atoms in order along the torsion; the condition is shared with the caller.
  MotifTorsionConstraint(int substructure1, int atom1, int substructure2, int atom2,
                         int substructure3, int atom3, int substructure4, int atom4,
                         THandle<Condition> condition);
  /// Copies the atom references and takes a clone of the condition.
  MotifTorsionConstraint(const MotifTorsionConstraint& other);
  /// Takes the other's atoms and a clone of its condition.
  MotifTorsionConstraint& operator=(const MotifTorsionConstraint& other);

  /// Atom reference `i` (0 to 3) as (substructure, atom); std::out_of_range for another `i`.
  const std::pair<int, int>& reference(int i) const { return references_.at(i); }
  /// Substructure index of atom reference `i`.
  int substructure(int i) const { return reference(i).first; }
  /// Atom index, within its substructure, of atom reference `i`.
  int atom(int i) const { return reference(i).second; }
  /// The test applied to the measured torsion angle in degrees.
  const THandle<Condition>& condition() const { return condition_; }

private:
  std::array<std::pair<int, int>, 4> references_;
  THandle<Condition> condition_;
};

} // namespace xtalmotif

#endif
