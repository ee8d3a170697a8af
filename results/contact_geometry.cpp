#include "results/contact_geometry.h"

#include "chem/element.h"

namespace xtalmotif {

const char* contact_kind_name(ContactKind kind) {
  switch (kind) {
  case ContactKind::HydrogenBond: return "hydrogen bond";
  case ContactKind::ShortContact: return "short contact";
  case ContactKind::Constraint: return "constraint";
  }
  return "constraint";
}

namespace MotifSearchLibFunctions {

namespace {

constexpr double kDegreesPerRadian = 57.29577951308232;
// The smallest D-H...A angle counted as a hydrogen bond (degrees).
constexpr double kSmallestHydrogenBondAngle = 110.0;
// How far beyond the van der Waals sum a contact's upper limit may reach and still ask the
// two atoms to touch (the water motifs allow +0.1 A, the extended rings +0.2 A).
constexpr double kContactSlack = 0.5;

const Element& element_of(const MotifSearchResource& r, const PlacedAtom& a) {
  return r.atom_state(a.molecule, a.atom).element;
}

} // namespace

bool is_hydrogen_bond_atom(const Element& e) {
  return e == Element(Element::Nitrogen) || e == Element(Element::Oxygen) ||
         e == Element("F") || e == Element("S");
}

bool asks_for_contact(const MotifContact& contact, const Element& a, const Element& b) {
  const CombinedCriterion& c = *contact.criterion();
  const double sum = a.vdw_radius() + b.vdw_radius();
  const double upper = c.is_vdw_relative() ? sum + c.upper() : c.upper();
  const double lower = c.is_vdw_relative() ? sum + c.lower() : c.lower();
  return upper <= sum + kContactSlack && lower < sum;
}

Point placed_position(const MotifSearchResource& resource, const PlacedAtom& atom) {
  return resource.orthogonal_matrix() *
         (resource.get_point(atom.copy, atom.atom, true) + atom.translation.as_point());
}

bool find_hydrogen_bond(const MotifSearchResource& resource, const PlacedAtom& a,
                        const PlacedAtom& b, HydrogenBondGeometry* out) {
  const Element& ea = element_of(resource, a);
  const Element& eb = element_of(resource, b);
  bool found = false;
  // Hydrogen h of the molecule of `donor_end`, bonded to it or being it, towards `acceptor`.
  auto consider = [&](const PlacedAtom& hydrogen, const PlacedAtom& acceptor) {
    const Molecule& mol = *resource.crystal()->molecule(hydrogen.molecule);
    for (int d : mol.neighbours(hydrogen.atom)) {
      PlacedAtom donor = hydrogen;
      donor.atom = d;
      if (!is_hydrogen_bond_atom(element_of(resource, donor)))
        continue;
      HydrogenBondGeometry g;
      g.donor = donor, g.hydrogen = hydrogen, g.acceptor = acceptor;
      const Point pd = placed_position(resource, donor), ph = placed_position(resource, hydrogen),
                  pa = placed_position(resource, acceptor);
      g.d_h = distance(pd, ph);
      g.h_a = distance(ph, pa);
      g.d_a = distance(pd, pa);
      g.angle = angle(pd, ph, pa) * kDegreesPerRadian;
      if (g.angle < kSmallestHydrogenBondAngle ||
          g.h_a >= Element(Element::Hydrogen).vdw_radius() + element_of(resource, acceptor).vdw_radius())
        continue;
      if (!found || g.h_a < out->h_a) {
        *out = g;
        found = true;
      }
    }
  };
  if (ea.is_hydrogen() && is_hydrogen_bond_atom(eb)) {
    consider(a, b);
  } else if (eb.is_hydrogen() && is_hydrogen_bond_atom(ea)) {
    consider(b, a);
  } else if (is_hydrogen_bond_atom(ea) && is_hydrogen_bond_atom(eb)) {
    // D...A: the hydrogens of either end that point at the other.
    for (const auto& [donor, acceptor] : {std::make_pair(a, b), std::make_pair(b, a)}) {
      const Molecule& mol = *resource.crystal()->molecule(donor.molecule);
      for (int h : mol.neighbours(donor.atom)) {
        PlacedAtom hydrogen = donor;
        hydrogen.atom = h;
        if (element_of(resource, hydrogen).is_hydrogen())
          consider(hydrogen, acceptor);
      }
    }
  }
  return found;
}

} // namespace MotifSearchLibFunctions

} // namespace xtalmotif
