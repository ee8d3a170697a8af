#include "motif/motif_torsion_constraint.h"

namespace xtalmotif {

MotifTorsionConstraint::MotifTorsionConstraint(int substructure1, int atom1, int substructure2,
                                               int atom2, int substructure3, int atom3,
                                               int substructure4, int atom4,
                                               THandle<Condition> condition)
    : references_{{{substructure1, atom1},
                   {substructure2, atom2},
                   {substructure3, atom3},
                   {substructure4, atom4}}},
      condition_(std::move(condition)) {}

MotifTorsionConstraint::MotifTorsionConstraint(const MotifTorsionConstraint& other)
    : references_(other.references_), condition_(other.condition_->clone()) {}

MotifTorsionConstraint& MotifTorsionConstraint::operator=(const MotifTorsionConstraint& other) {
  if (this != &other) {
    references_ = other.references_;
    condition_ = other.condition_->clone();
  }
  return *this;
}

} // namespace xtalmotif
