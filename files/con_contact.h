#ifndef XTALMOTIF_FILES_CON_CONTACT_H
#define XTALMOTIF_FILES_CON_CONTACT_H

#include "chem/contact_criterion.h"
#include "core/handle.h"

#include <string>
#include <vector>

namespace xtalmotif {

/// One contact record of a connectivity query file: a "VDW" line giving the van der Waals
/// tolerance (word 2), followed by a line naming the contact type (word 1) and the two atoms.
///
/// The two layouts differ, and both are kept:
/// - "INTER": atoms in words 2 and 4; with exactly 8 words, words 6 and 7 are an explicit
///   distance range, otherwise the contact is limited by the van der Waals tolerance alone;
/// - "INTRA" and "ANY": atoms in words 4 and 6; with exactly 10 words, words 8 and 9 are the
///   explicit range.
///
/// Every limit is an offset added to the sum of the two atoms' van der Waals radii: the
/// tolerance 0.0 accepts contacts shorter than the radius sum, the range -5.0 to -0.44 contacts
/// at least 0.44 A shorter than it.
class ConContact {
public:
  /// Reads the contact from the words of the "VDW" line and of the line after it.
  ConContact(std::vector<std::string> vdw_line, std::vector<std::string> next_line);

  /// 1 intermolecular ("INTER"), 2 intramolecular ("INTRA"), 3 either ("ANY"). An unknown type
  /// word gives 1: see the constructor.
  int type() const { return type_; }
  /// Number of the first atom (-1 when the line has no such word).
  int atom_a() const { return atom_a_; }
  /// Number of the second atom (-1 when the line has no such word).
  int atom_b() const { return atom_b_; }
  /// Lower limit of the explicit range (offset to the radius sum).
  double low() const { return low_; }
  /// Upper limit of the explicit range (offset to the radius sum).
  double high() const { return high_; }
  /// The tolerance of the "VDW" line (offset to the radius sum).
  double vdw_tolerance() const { return vdw_tolerance_; }
  /// True when the record has no explicit range and the tolerance alone limits the contact.
  bool vdw_only() const { return vdw_only_; }

  /// The kernel criterion of the contact: relative to the van der Waals radius sum, of the
  /// record's contact type, between the radius sum minus 5.0 and the radius sum plus the
  /// tolerance, or within the explicit range when one is given.
  THandle<CombinedCriterion> contact_criterion() const;

private:
  int type_ = 1;
  int atom_a_ = -1;
  int atom_b_ = -1;
  double low_ = 0.0;
  double high_ = 0.0;
  double vdw_tolerance_ = 0.0;
  bool vdw_only_ = true;
};

} // namespace xtalmotif

#endif
