#include "results/hydrogen_bonds.h"

#include "crystal/coexistence.h"
#include "results/graph_set.h"

#include <algorithm>
#include <cmath>

namespace xtalmotif {

namespace MotifSearchLibFunctions {

namespace {

constexpr double kDegreesPerRadian = 57.29577951308232;

bool is_acceptor(const Element& e) { return is_hydrogen_bond_atom(e) || e == Element("Cl"); }

// The placement of molecule `molecule` in which atom `atom` stands at its own site (code 1_555),
// or an invalid one.
PlacedAtom at_own_site(const MotifSearchResource& resource, int molecule, int atom) {
  const CrystalMaker& crystal = *resource.crystal();
  const auto& listed = crystal.listed_operators();
  const auto identity = std::find_if(listed.begin(), listed.end(),
                                     [](const CrystalSymmetryOperator& o) { return o.is_identity(); });
  const int identity_index = static_cast<int>(identity - listed.begin());
  for (int c = 0; c < resource.ncopies(); ++c) {
    if (resource.nmol_in_cm(c) != molecule)
      continue;
    const CrystalMaker::ListedCode code = placed_atom_code(resource, c, molecule, atom, Translation());
    if (code.listed != identity_index)
      continue;
    PlacedAtom p;
    p.copy = c, p.molecule = molecule, p.atom = atom;
    p.translation = Translation(-code.translation[0], -code.translation[1], -code.translation[2]);
    return p;
  }
  return PlacedAtom{};
}

} // namespace

std::vector<StructureHydrogenBond> find_hydrogen_bonds(const MotifSearchResource& resource,
                                                       const HydrogenBondCriteria& criteria) {
  std::vector<StructureHydrogenBond> out;
  const CrystalMaker& crystal = *resource.crystal();
  const Matrix<double, 3, 3>& orth = resource.orthogonal_matrix();
  const double h_radius = Element(Element::Hydrogen).vdw_radius();
  for (int m = 0; m < crystal.nmolecules(); ++m) {
    const Molecule& mol = *crystal.molecule(m);
    for (int h = 0; h < mol.natoms(); ++h) {
      if (!mol.atom(h)->element().is_hydrogen() || mol.neighbours(h).empty())
        continue;
      const int d = mol.neighbours(h).front();
      if (!is_hydrogen_bond_atom(mol.atom(d)->element()))
        continue;
      const PlacedAtom hydrogen = at_own_site(resource, m, h);
      if (!hydrogen.valid())
        continue;
      PlacedAtom donor = hydrogen;
      donor.atom = d;
      const Point fh = resource.get_point(hydrogen.copy, h, true) + hydrogen.translation.as_point();
      const Point ph = orth * fh, pd = placed_position(resource, donor);
      const std::size_t first = out.size();
      for (int c = 0; c < resource.ncopies(); ++c) {
        const int m2 = resource.nmol_in_cm(c);
        const Molecule& other = *crystal.molecule(m2);
        for (int x = 0; x < other.natoms(); ++x) {
          const Element& e = other.atom(x)->element();
          if (!is_acceptor(e))
            continue;
          const double limit = h_radius + e.vdw_radius() + criteria.margin;
          const Point q = resource.get_point(c, x, true);
          Translation near;
          for (int k = 0; k < 3; ++k)
            near[k] = static_cast<int>(std::lround(fh[k] - q[k]));
          for (int i = -1; i <= 1; ++i)
            for (int j = -1; j <= 1; ++j)
              for (int k = -1; k <= 1; ++k) {
                PlacedAtom acceptor;
                acceptor.copy = c, acceptor.molecule = m2, acceptor.atom = x;
                acceptor.translation = Translation(near[0] + i, near[1] + j, near[2] + k);
                const Point pa = orth * (q + acceptor.translation.as_point());
                const double h_a = distance(ph, pa);
                if (h_a >= limit)
                  continue;
                const bool same = c == hydrogen.copy && acceptor.translation == hydrogen.translation;
                // Within a molecule, only an acceptor three or more bonds from the hydrogen
                // closes a ring (S(5) and up); none is the donor itself.
                if (same && (x == d || bonds_between(mol, h, x) < 3))
                  continue;
                const double dha = angle(pd, ph, pa) * kDegreesPerRadian;
                if (dha < criteria.min_angle)
                  continue;
                if (!same && !CoexistenceRule::can_coexist(resource.atom_state(m, h),
                                                           resource.atom_state(m2, x), h_a))
                  continue;
                StructureHydrogenBond b;
                b.geometry.donor = donor, b.geometry.hydrogen = hydrogen;
                b.geometry.acceptor = acceptor;
                b.geometry.d_h = distance(pd, ph), b.geometry.h_a = h_a;
                b.geometry.d_a = distance(pd, pa), b.geometry.angle = dha;
                b.intramolecular = same;
                b.donor = describe_atom(resource, donor);
                b.hydrogen = describe_atom(resource, hydrogen);
                b.acceptor = describe_atom(resource, acceptor);
                b.graph_set = graph_set(resource, {PatternBond{hydrogen, acceptor}});
                out.push_back(b);
              }
        }
      }
      std::sort(out.begin() + static_cast<std::ptrdiff_t>(first), out.end(),
                [](const StructureHydrogenBond& x, const StructureHydrogenBond& y) {
                  return x.geometry.h_a < y.geometry.h_a;
                });
    }
  }
  return out;
}

} // namespace MotifSearchLibFunctions

} // namespace xtalmotif
