#ifndef XTALMOTIF_MATCH_ATOM_ADDRESS_H
#define XTALMOTIF_MATCH_ATOM_ADDRESS_H

#include "core/geometry.h"
#include "core/handle.h"

#include <iosfwd>

namespace xtalmotif {

class MotifSearchResource;

/// One atom of the crystal as the search sees it: which symmetry-generated molecule copy of the
/// environment, which molecule of the crystal it was generated from, which atom, and in which
/// cell (an integer lattice translation added to the copy's coordinates).
class AtomAddress {
public:
  /// Every field -1, with a new translation (-1, -1, -1).
  AtomAddress();
  /// Copies the translation's integers into a new translation owned by this address.
  AtomAddress(int nmol_in_msr, int nmol_in_cm, int natom, const THandle<Translation>& translation);
  /// Deep copy: a new translation with the same integers.
  AtomAddress(const AtomAddress& other);
  AtomAddress& operator=(const AtomAddress& other);

  /// Assigns the three indices and shares the given translation object.
  void set_address(int nmol_in_msr, int nmol_in_cm, int natom,
                   const THandle<Translation>& translation);

  /// Same copy, same atom, same cell; the crystal-maker index follows from the copy and is not
  /// compared.
  bool operator==(const AtomAddress& o) const;
  /// Deliberately not the negation of ==: true only when the copy differs AND the atom differs AND
  /// each of the three translation components differs. Two addresses that differ in one field only
  /// are neither equal nor unequal; negate == to ask whether two addresses name different atoms.
  bool operator!=(const AtomAddress& o) const;
  /// Same molecule copy in the same cell (the atom index is ignored).
  bool is_in_same_mol_as(const AtomAddress& o) const;

  /// The atom's position: fractional when `fractional` is true, else orthogonal in angstrom.
  Point get_point(const THandle<MotifSearchResource>& resource, bool fractional) const;

  /// "nMol in msr: M nMol in cm: C nAtom: A Translation: t0,t1,t2" and a line end.
  void print(std::ostream& os) const;

  int nmol_in_msr = -1;
  int nmol_in_cm = -1;
  int natom = -1;
  THandle<Translation> translation;
};

} // namespace xtalmotif

#endif
