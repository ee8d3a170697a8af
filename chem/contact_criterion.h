#ifndef XTALMOTIF_CHEM_CONTACT_CRITERION_H
#define XTALMOTIF_CHEM_CONTACT_CRITERION_H

#include "core/handle.h"
#include "chem/molecule.h"

#include <iosfwd>
#include <set>

namespace xtalmotif {

/// Whether a contact joins atoms of different molecules, of one molecule, or either.
enum class ContactType : int { Inter = 1, Intra = 2, Any = 3 };
/// "INTER", "INTRA" or "ANY" ("UNKNOWN" for other values).
const char* contact_type_name(ContactType t);

/// Element sets of a criterion hold atomic numbers; an empty set accepts any atom.
using ElementSet = std::set<int>;

/// Decides which atom pairs count as a contact: a distance window, absolute or relative to the
/// sum of the two van der Waals radii, a contact type, a range of bond-path lengths for
/// intramolecular contacts, and the elements allowed at either end.
class CombinedCriterion {
public:
  /// `vdw_relative`: the two limits are offsets added to the radius sum, else angstrom.
  /// `min_path`/`max_path`: least and greatest number of bonds on the shortest path between the
  /// two atoms of an intramolecular contact (4 and 999 by custom).
  /// `symmetric`: the two element sets may apply in either order.
  /// Null set handles are replaced by new empty sets.
  CombinedCriterion(bool vdw_relative, double upper, double lower, ContactType type, int min_path,
                    int max_path, bool symmetric, THandle<ElementSet> first_elements,
                    THandle<ElementSet> second_elements);
  /// Deep copy: the element sets are copied, not shared.
  CombinedCriterion(const CombinedCriterion& other);
  CombinedCriterion& operator=(const CombinedCriterion& other);
  virtual ~CombinedCriterion() = default;

  bool is_vdw_relative() const { return vdw_relative_; }
  void set_vdw_relative(bool v) { vdw_relative_ = v; }
  double upper() const { return upper_; }
  void set_upper(double d) { upper_ = d; }
  double lower() const { return lower_; }
  void set_lower(double d) { lower_ = d; }
  ContactType contact_type() const { return type_; }
  void set_contact_type(ContactType t) { type_ = t; }
  int min_path() const { return min_path_; }
  int max_path() const { return max_path_; }
  bool is_symmetric() const { return symmetric_; }
  ElementSet& first_elements() { return *first_; }
  const ElementSet& first_elements() const { return *first_; }
  ElementSet& second_elements() { return *second_; }
  const ElementSet& second_elements() const { return *second_; }

  /// May atom `atom` of `molecule` stand at the first end? (Its atomic number is in the first
  /// set, or in the second set too when the criterion is symmetric; an empty set accepts.)
  bool test_first_atom(const Molecule& molecule, int atom) const;
  /// The same for the second end.
  bool test_second_atom(const Molecule& molecule, int atom) const;
  /// Is the distance inside the window? Both limits are exclusive; r1 and r2 are the van der
  /// Waals radii of the two atoms (unused for absolute limits).
  bool test_distance(double distance, double r1, double r2) const;
  /// The largest distance in angstrom this criterion can accept for atoms of the given radii.
  double max_distance(double r1, double r2) const {
    return vdw_relative_ ? r1 + r2 + upper_ : upper_;
  }
  /// For an intramolecular contact: is the shortest bond path between a and b within
  /// [min_path, max_path]? Atoms in different pieces of the molecule have no path and pass.
  bool test_path(const Molecule& molecule, int a, int b) const;

  void print(std::ostream& os) const;

private:
  bool vdw_relative_;
  double upper_;
  double lower_;
  ContactType type_;
  int min_path_;
  int max_path_;
  bool symmetric_;
  THandle<ElementSet> first_;
  THandle<ElementSet> second_;
};

/// Value equality over every field, the element sets compared by content.
bool operator==(const CombinedCriterion& a, const CombinedCriterion& b);
inline bool operator!=(const CombinedCriterion& a, const CombinedCriterion& b) { return !(a == b); }

/// A criterion relative to the van der Waals radius sum: the two values are offsets.
class VdWCriterion : public CombinedCriterion {
public:
  VdWCriterion(double upper_offset, double lower_offset, ContactType type, int min_path,
               int max_path, bool symmetric, THandle<ElementSet> first_elements,
               THandle<ElementSet> second_elements)
      : CombinedCriterion(true, upper_offset, lower_offset, type, min_path, max_path, symmetric,
                          std::move(first_elements), std::move(second_elements)) {}
  double upper_offset() const { return upper(); }
  void set_upper_offset(double d) { set_upper(d); }
  double lower_offset() const { return lower(); }
  void set_lower_offset(double d) { set_lower(d); }
};

} // namespace xtalmotif

#endif
