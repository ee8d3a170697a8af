#include "motif/motif_angle_constraint.h"

namespace xtalmotif {

MotifAngleConstraint::MotifAngleConstraint(int substructure1, int atom1, int substructure2,
                                           int atom2, int substructure3, int atom3,
                                           THandle<Condition> condition)
    : references_{{{substructure1, atom1}, {substructure2, atom2}, {substructure3, atom3}}},
      condition_(std::move(condition)) {}

MotifAngleConstraint::MotifAngleConstraint(const MotifAngleConstraint& other)
    : references_(other.references_), condition_(other.condition_->clone()) {}

MotifAngleConstraint& MotifAngleConstraint::operator=(const MotifAngleConstraint& other) {
  if (this != &other) {
    references_ = other.references_;
    condition_ = other.condition_->clone();
  }
  return *this;
}

bool MotifAngleConstraint::find_atom(int substructure, int atom) const {
  for (const auto& r : references_)
    if (r.first == substructure && r.second == atom)
      return true;
  return false;
}

} // namespace xtalmotif
