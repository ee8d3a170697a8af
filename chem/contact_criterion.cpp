#include "chem/contact_criterion.h"

#include <deque>
#include <ostream>
#include <vector>

namespace xtalmotif {

const char *contact_type_name(ContactType t) {
  switch (t) {
  case ContactType::Inter:
    return "INTER";
  case ContactType::Intra:
    return "INTRA";
  case ContactType::Any:
    return "ANY";
  }
  return "UNKNOWN";
}

namespace {

THandle<ElementSet> or_empty(THandle<ElementSet> s) {
  return s.is_null() ? make_handle<ElementSet>() : std::move(s);
}

bool accepts(const ElementSet &set, int atomic_number) {
  return set.empty() || set.count(atomic_number) > 0;
}

int atomic_number_of(const Molecule &molecule, int atom) {
  return Element::atomic_numbers_[molecule.atom(atom)->element().code()];
}

void print_set(std::ostream &os, const ElementSet &set) {
  if (set.empty()) {
    os << "any";
    return;
  }
  os << '{';
  const char *sep = "";
  for (int z : set) {
    os << sep << z;
    sep = ",";
  }
  os << '}';
}

} // namespace

CombinedCriterion::CombinedCriterion(bool vdw_relative, double upper, double lower,
                                     ContactType type, int min_path, int max_path, bool symmetric,
                                     THandle<ElementSet> first_elements,
                                     THandle<ElementSet> second_elements)
    : vdw_relative_(vdw_relative), upper_(upper), lower_(lower), type_(type), min_path_(min_path),
      max_path_(max_path), symmetric_(symmetric), first_(or_empty(std::move(first_elements))),
      second_(or_empty(std::move(second_elements))) {}

CombinedCriterion::CombinedCriterion(const CombinedCriterion &other)
    : vdw_relative_(other.vdw_relative_), upper_(other.upper_), lower_(other.lower_),
      type_(other.type_), min_path_(other.min_path_), max_path_(other.max_path_),
      symmetric_(other.symmetric_), first_(make_handle<ElementSet>(*other.first_)),
      second_(make_handle<ElementSet>(*other.second_)) {}

CombinedCriterion &CombinedCriterion::operator=(const CombinedCriterion &other) {
  if (this != &other) {
    vdw_relative_ = other.vdw_relative_;
    upper_ = other.upper_;
    lower_ = other.lower_;
    type_ = other.type_;
    min_path_ = other.min_path_;
    max_path_ = other.max_path_;
    symmetric_ = other.symmetric_;
    first_ = make_handle<ElementSet>(*other.first_);
    second_ = make_handle<ElementSet>(*other.second_);
  }
  return *this;
}

bool CombinedCriterion::test_first_atom(const Molecule &molecule, int atom) const {
  int z = atomic_number_of(molecule, atom);
  return accepts(*first_, z) || (symmetric_ && accepts(*second_, z));
}

bool CombinedCriterion::test_second_atom(const Molecule &molecule, int atom) const {
  int z = atomic_number_of(molecule, atom);
  return accepts(*second_, z) || (symmetric_ && accepts(*first_, z));
}

bool CombinedCriterion::test_distance(double distance, double r1, double r2) const {
  double offset = vdw_relative_ ? r1 + r2 : 0.0;
  return lower_ + offset < distance && distance < upper_ + offset;
}

bool CombinedCriterion::test_path(const Molecule &molecule, int a, int b) const {
  molecule.atom(a); // range checks, with the molecule's own error
  molecule.atom(b);
  // Breadth-first search from a: the first time b is reached is along a shortest path.
  std::vector<int> depth(molecule.natoms(), -1);
  std::deque<int> queue{a};
  depth[a] = 0;
  while (!queue.empty() && depth[b] < 0) {
    int x = queue.front();
    queue.pop_front();
    for (int y : molecule.neighbours(x))
      if (depth[y] < 0) {
        depth[y] = depth[x] + 1;
        queue.push_back(y);
      }
  }
  // Atoms with no path between them (separate pieces) are as far apart as atoms can be.
  if (depth[b] < 0)
    return true;
  return min_path_ <= depth[b] && depth[b] <= max_path_;
}

void CombinedCriterion::print(std::ostream &os) const {
  os << contact_type_name(type_) << " contact, distance";
  if (vdw_relative_)
    os << " between vdW sum " << (lower_ < 0 ? "" : "+") << lower_ << " and vdW sum "
       << (upper_ < 0 ? "" : "+") << upper_;
  else
    os << " between " << lower_ << " and " << upper_ << " A";
  os << " (exclusive), bond path " << min_path_ << " to " << max_path_ << ", first atom ";
  print_set(os, *first_);
  os << ", second atom ";
  print_set(os, *second_);
  if (symmetric_)
    os << ", either order";
}

bool operator==(const CombinedCriterion &a, const CombinedCriterion &b) {
  return a.is_vdw_relative() == b.is_vdw_relative() && a.upper() == b.upper() &&
         a.lower() == b.lower() && a.contact_type() == b.contact_type() &&
         a.min_path() == b.min_path() && a.max_path() == b.max_path() &&
         a.is_symmetric() == b.is_symmetric() && a.first_elements() == b.first_elements() &&
         a.second_elements() == b.second_elements();
}

} // namespace xtalmotif
