#include "motif/motif_search_lib_functions.h"

#include "chem/element.h"
#include "core/geometry.h"
#include "motif/motif.h"

#include <algorithm>
#include <cmath>

namespace xtalmotif::MotifSearchLibFunctions {

namespace {
// Larger than any distance between two molecules that could be in contact.
constexpr double closest_contact_start = 1000.0;

double vdw_radius(const Atom& atom) { return Element::vdw_radii_[atom.element().code()]; }

void remove_first(std::vector<int>& list, int value) {
  auto it = std::find(list.begin(), list.end(), value);
  if (it != list.end())
    list.erase(it);
}
} // namespace

bool is_contact_present(THandle<Molecule> mol1, THandle<Molecule> mol2,
                        const VdWCriterion& criterion) {
  for (int i = 0; i < mol1->natoms(); ++i) {
    const THandle<Atom> a = mol1->atom(i);
    if (!a->has_site())
      continue;
    for (int j = 0; j < mol2->natoms(); ++j) {
      const THandle<Atom> b = mol2->atom(j);
      if (!b->has_site())
        continue;
      if (distance(a->position(), b->position()) <
          vdw_radius(*a) + vdw_radius(*b) + criterion.upper_offset())
        return true;
    }
  }
  return false;
}

int count_natoms(THandle<Molecule> molecule, THandle<Atom> atom) {
  const Element& element = atom->element();
  int n = 0;
  for (int i = 0; i < molecule->natoms(); ++i)
    if (molecule->atom(i)->element() == element)
      ++n;
  return n;
}

std::vector<std::pair<int, int>> find_atoms_to_define_relationship(THandle<Molecule> mol1,
                                                                   THandle<Molecule> mol2,
                                                                   bool /*flag*/,
                                                                   int max_pairs) {
  std::vector<int> atoms1;
  for (int i = 0; i < mol1->natoms(); ++i)
    atoms1.push_back(i);
  std::vector<int> atoms2;
  for (int i = 0; i < mol2->natoms(); ++i)
    atoms2.push_back(i);

  const int count = std::min(std::min(mol1->natoms(), mol2->natoms()), max_pairs);
  std::vector<std::pair<int, int>> pairs;
  for (int n = 0; n < count; ++n) {
    // A pair of (-1, -1), when nothing qualifies, is passed on as it is.
    const auto pair = find_closest_contact(mol1, atoms1, mol2, atoms2);
    pairs.push_back(pair);
    remove_first(atoms1, pair.first);
    remove_first(atoms2, pair.second);
  }
  return pairs;
}

std::pair<int, int> find_closest_contact(THandle<Molecule> mol1, const std::vector<int>& atoms1,
                                         THandle<Molecule> mol2, const std::vector<int>& atoms2) {
  double best = closest_contact_start;
  std::pair<int, int> result(-1, -1);
  for (int a : atoms1) {
    const THandle<Atom> atom1 = mol1->atom(a);
    if (!atom1->has_site())
      continue;
    for (int b : atoms2) {
      // Only the first molecule's atoms are checked for a position; an unplaced atom of the
      // second reads as the origin.
      const double d = distance(atom1->position(), mol2->atom(b)->position());
      if (d < best) { // strict: the earliest pair wins a tie
        best = d;
        result = {a, b};
      }
    }
  }
  return result;
}

bool holds_every_substructure(const Motif& motif, const CrystalMaker& crystal) {
  const SubstructureSearch first_hit(1);
  for (int s = 0; s < motif.nsubstructures(); ++s) {
    const MotifSubstructure& query = *motif.substructure(s);
    bool found = false;
    for (int m = 0; m < crystal.nmolecules() && !found; ++m) {
      const THandle<Molecule> molecule = crystal.molecule(m);
      found = query.is_target_size_allowed(molecule) && !first_hit.search(query, *molecule).empty();
    }
    if (!found)
      return false;
  }
  return true;
}

std::pair<double, double> wilson_interval(int hits, int n) {
  if (n <= 0)
    return {0.0, 1.0};
  const double z = 1.959963984540054, p = static_cast<double>(hits) / n, z2n = z * z / n;
  const double centre = (p + z2n / 2) / (1 + z2n);
  const double half = z / (1 + z2n) * std::sqrt(p * (1 - p) / n + z2n / (4.0 * n));
  return {std::max(0.0, centre - half), std::min(1.0, centre + half)};
}

} // namespace xtalmotif::MotifSearchLibFunctions
