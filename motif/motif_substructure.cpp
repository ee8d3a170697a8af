#include "motif/motif_substructure.h"

#include <iostream>

namespace xtalmotif {

MotifSubstructure::MotifSubstructure() = default;

MotifSubstructure::MotifSubstructure(const Molecule& molecule) : Substructure(molecule) {}

MotifSubstructure::MotifSubstructure(const Substructure& substructure)
    : Substructure(substructure) {}

MotifSubstructure::MotifSubstructure(const MotifSubstructure& other)
    : Substructure(other), min_target_size_(other.min_target_size_),
      max_target_size_(other.max_target_size_), extra_limit_(other.extra_limit_),
      label_(other.label_) {}

MotifSubstructure& MotifSubstructure::operator=(const MotifSubstructure& other) {
  if (this != &other) {
    Substructure::operator=(other);
    min_target_size_ = other.min_target_size_;
    max_target_size_ = other.max_target_size_;
    extra_limit_ = other.extra_limit_;
    label_ = other.label_;
  }
  return *this;
}

void MotifSubstructure::set_target_size(int min, int max) {
  min_target_size_ = min;
  max_target_size_ = max;
}

bool MotifSubstructure::is_target_size_allowed(THandle<Molecule> molecule) const {
  const int size = molecule->natoms();
  return min_target_size_ <= size && size <= max_target_size_;
}

void MotifSubstructure::print(std::ostream& os) const {
  Substructure::print(os);
  // The size lines deliberately go to standard output, not to `os`: callers rely on seeing them
  // on the console even when the graph is printed elsewhere. Keep it so.
  std::cout << "Max target size: " << max_target_size_ << std::endl;
  std::cout << "Min target size: " << min_target_size_ << std::endl;
}

} // namespace xtalmotif
