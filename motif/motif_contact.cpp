#include "motif/motif_contact.h"

#include <cmath>
#include <stdexcept>
#include <utility>

namespace xtalmotif {

MotifContact::MotifContact()
    : criterion_(make_handle<CombinedCriterion>(true, 0.0, -5.0, ContactType(1), 4, 999, false,
                                                make_handle<ElementSet>(),
                                                make_handle<ElementSet>())) {
  update_distance_caches();
}

MotifContact::MotifContact(int from_substructure, int from_atom, int to_substructure,
                           int to_atom, THandle<CombinedCriterion> criterion)
    : from_substructure_(from_substructure), from_atom_(from_atom),
      to_substructure_(to_substructure), to_atom_(to_atom), criterion_(std::move(criterion)) {
  update_distance_caches();
}

MotifContact::MotifContact(const MotifContact& other)
    : from_substructure_(other.from_substructure_), from_atom_(other.from_atom_),
      to_substructure_(other.to_substructure_), to_atom_(other.to_atom_),
      criterion_(make_handle<CombinedCriterion>(*other.criterion_)) {
  update_distance_caches();
}

MotifContact& MotifContact::operator=(const MotifContact& other) {
  if (this != &other) {
    from_substructure_ = other.from_substructure_;
    from_atom_ = other.from_atom_;
    to_substructure_ = other.to_substructure_;
    to_atom_ = other.to_atom_;
    criterion_ = make_handle<CombinedCriterion>(*other.criterion_);
    update_distance_caches();
  }
  return *this;
}

void MotifContact::update_distance_caches() {
  max_distance_squared_ = std::pow(criterion_->upper(), 2.0);
  min_distance_squared_ = std::pow(criterion_->lower(), 2.0);
  // A negative absolute lower limit means "no lower limit"; squaring it would turn it into a
  // positive one.
  if (!criterion_->is_vdw_relative() && criterion_->lower() < 0.0)
    min_distance_squared_ = 0.0;
}

int MotifContact::to_atom(int substructure) const {
  if (substructure == from_substructure_)
    return to_atom_;
  if (substructure == to_substructure_)
    return from_atom_;
  return -1;
}

bool MotifContact::has_sub_atom(int substructure, int atom) const {
  return (substructure == from_substructure_ && atom == from_atom_) ||
         (substructure == to_substructure_ && atom == to_atom_);
}

bool MotifContact::test_atom_to(int nFromSubstructure, const Molecule& molecule, int atom) const {
  if (nFromSubstructure == from_substructure_)
    return criterion_->test_second_atom(molecule, atom);
  // Followed backwards, the far end is the criterion's first atom.
  if (nFromSubstructure == to_substructure_)
    return criterion_->test_first_atom(molecule, atom);
  throw std::invalid_argument("MotifContact::test_atom_to invalid nFromSubstructure");
}

bool MotifContact::test_atom_from(int nFromSubstructure, const Molecule& molecule,
                                  int atom) const {
  if (nFromSubstructure == from_substructure_)
    return criterion_->test_first_atom(molecule, atom);
  if (nFromSubstructure == to_substructure_)
    return criterion_->test_second_atom(molecule, atom);
  throw std::invalid_argument("MotifContact::test_atom_from invalid nFromSubstructure");
}

bool MotifContact::test_contact_distance(double distance_squared, double radius1,
                                         double radius2) const {
  // Both limits are exclusive in both modes, unlike the inclusive ranges of query conditions.
  if (criterion_->is_vdw_relative()) {
    const double d = std::sqrt(distance_squared);
    const double sum = radius1 + radius2;
    return d < sum + criterion_->upper() && sum + criterion_->lower() < d;
  }
  return distance_squared < max_distance_squared_ && min_distance_squared_ < distance_squared;
}

void MotifContact::read(Archive&) {}

void MotifContact::write(Archive&) const {}

} // namespace xtalmotif
