#ifndef XTALMOTIF_MOTIF_MOTIF_CONTACT_H
#define XTALMOTIF_MOTIF_MOTIF_CONTACT_H

#include "core/archive.h"
#include "chem/contact_criterion.h"
#include "core/handle.h"
#include "chem/molecule.h"

namespace xtalmotif {

/// A contact of a motif: a hydrogen bond or other short contact that must join one query atom
/// of one substructure to one query atom of another (or the same) substructure. Which atom pairs
/// qualify is decided by a kernel contact criterion: a distance window, absolute or relative to
/// the sum of the two van der Waals radii, and the elements allowed at either end.
class MotifContact {
public:
  /// An unattached contact (all indices -1) with a van der Waals-relative criterion accepting
  /// distances between the radius sum minus 5.0 and the radius sum.
  MotifContact();
  /// Joins atom `from_atom` of substructure `from_substructure` to atom `to_atom` of
  /// `to_substructure`; the criterion is shared with the caller, not copied.
  MotifContact(int from_substructure, int from_atom, int to_substructure, int to_atom,
               THandle<CombinedCriterion> criterion);
  /// Copies the indices and takes a private copy of the criterion.
  MotifContact(const MotifContact& other);
  /// Takes the other's indices and a private copy of its criterion.
  MotifContact& operator=(const MotifContact& other);

  /// Index of the substructure at the first end.
  int from_substructure() const { return from_substructure_; }
  /// Query atom at the first end, within its substructure.
  int from_atom() const { return from_atom_; }
  /// Index of the substructure at the second end.
  int to_substructure() const { return to_substructure_; }
  /// Query atom at the second end, within its substructure.
  int to_atom() const { return to_atom_; }
  /// Square of the criterion's upper limit when the contact was made (absolute criteria only).
  double max_distance_squared() const { return max_distance_squared_; }
  /// Square of the criterion's lower limit, or 0 when an absolute lower limit is negative.
  double min_distance_squared() const { return min_distance_squared_; }
  /// The criterion deciding which atom pairs count as this contact.
  const THandle<CombinedCriterion>& criterion() const { return criterion_; }

  /// Re-derives the two squared-distance limits from the criterion; every constructor does this,
  /// and a caller that changes the criterion's limits afterwards must call it again.
  void update_distance_caches();

  /// The query atom at the far end as seen from `substructure`: `to_atom` from the first
  /// substructure, `from_atom` from the second, -1 from any other. For a contact within one
  /// substructure the answer is always `to_atom`.
  int to_atom(int substructure) const;
  /// True when (substructure, atom) is one of the contact's two ends.
  bool has_sub_atom(int substructure, int atom) const;

  /// May `atom` of `molecule` stand at the far end when the contact is followed from
  /// `nFromSubstructure`? Throws std::invalid_argument when that substructure is neither end.
  bool test_atom_to(int nFromSubstructure, const Molecule& molecule, int atom) const;
  /// May `atom` of `molecule` stand at the near end when the contact is followed from
  /// `nFromSubstructure`? Throws std::invalid_argument when that substructure is neither end.
  bool test_atom_from(int nFromSubstructure, const Molecule& molecule, int atom) const;
  /// Is a pair of atoms at this squared distance (angstrom squared), with these van der Waals
  /// radii, inside the contact's window? Both limits are exclusive.
  bool test_contact_distance(double distance_squared, double radius1, double radius2) const;

  /// Persistence hook; reads nothing yet.
  void read(Archive& archive);
  /// Persistence hook; writes nothing yet.
  void write(Archive& archive) const;

private:
  int from_substructure_ = -1;
  int from_atom_ = -1;
  int to_substructure_ = -1;
  int to_atom_ = -1;
  double max_distance_squared_ = 0.0;
  double min_distance_squared_ = 0.0;
  THandle<CombinedCriterion> criterion_;
};

} // namespace xtalmotif

#endif
