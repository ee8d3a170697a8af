#include "motif/contact_constraint.h"

#include <utility>

namespace xtalmotif {

ContactConstraint::ContactConstraint(int substructure, int atom,
                                     THandle<MotifContact> further_contact,
                                     THandle<Condition> count_condition)
    : substructure_(substructure), atom_(atom), further_contact_(std::move(further_contact)),
      count_condition_(std::move(count_condition)) {}

// A copy owns its parts, as a motif's contacts do: later changes to the original's contact or
// condition do not reach it.
ContactConstraint::ContactConstraint(const ContactConstraint& other)
    : substructure_(other.substructure_), atom_(other.atom_),
      further_contact_(make_handle<MotifContact>(*other.further_contact_)),
      count_condition_(other.count_condition_->clone()) {}

ContactConstraint& ContactConstraint::operator=(const ContactConstraint& other) {
  if (this != &other) {
    substructure_ = other.substructure_;
    atom_ = other.atom_;
    further_contact_ = make_handle<MotifContact>(*other.further_contact_);
    count_condition_ = other.count_condition_->clone();
  }
  return *this;
}

} // namespace xtalmotif
