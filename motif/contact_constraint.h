#ifndef XTALMOTIF_MOTIF_CONTACT_CONSTRAINT_H
#define XTALMOTIF_MOTIF_CONTACT_CONSTRAINT_H

#include "chem/condition.h"
#include "core/handle.h"
#include "motif/motif_contact.h"

namespace xtalmotif {

/// A condition on how many partners one atom of a motif has in the crystal through a further
/// contact, for example "this carbonyl oxygen accepts no second hydrogen bond" (equal to 0) or
/// "at least one" (greater than 0).
class ContactConstraint {
public:
  /// Atom `atom` of substructure `substructure`, the contact that starts at it, and the
  /// condition on the number of partners found; contact and condition are shared.
  ContactConstraint(int substructure, int atom, THandle<MotifContact> further_contact,
                    THandle<Condition> count_condition);
  /// Copies the atom reference, takes a copy of the contact and a clone of the condition.
  ContactConstraint(const ContactConstraint& other);
  /// Takes the other's atom, a copy of its contact and a clone of its condition.
  ContactConstraint& operator=(const ContactConstraint& other);

  /// Substructure of the constrained atom.
  int substructure() const { return substructure_; }
  /// The constrained atom, within its substructure.
  int atom() const { return atom_; }
  /// The contact whose partners are counted.
  const THandle<MotifContact>& further_contact() const { return further_contact_; }
  /// The test applied to the number of partners.
  const THandle<Condition>& count_condition() const { return count_condition_; }

private:
  int substructure_;
  int atom_;
  THandle<MotifContact> further_contact_;
  THandle<Condition> count_condition_;
};

} // namespace xtalmotif

#endif
