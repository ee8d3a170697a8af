#include "results/match_description.h"

#include "core/checked_index.h"
#include "results/graph_set.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace xtalmotif {

namespace MotifSearchLibFunctions {

std::string symmetry_code(int op, const Translation& t) {
  bool small = true;
  for (int i = 0; i < 3; ++i)
    small = small && t[i] >= -5 && t[i] <= 4;
  std::ostringstream os;
  os << op + 1 << '_';
  if (small)
    os << 5 + t[0] << 5 + t[1] << 5 + t[2];
  else
    os << '(' << t[0] << ',' << t[1] << ',' << t[2] << ')';
  return os.str();
}

// The atom was built at op_o(site) + shift (its origin); the environment applies the copy's
// operator and lattice translation `t` to that: x' = R_c (R_o s + t_o + shift) + t_c + t. The
// product is the one operator of the list with rotation R_c R_o and the same translation up
// to a lattice vector.
CrystalMaker::ListedCode placed_atom_code(const MotifSearchResource& resource, int copy,
                                          int molecule, int atom, const Translation& t) {
  const CrystalMaker& crystal = *resource.crystal();
  const int copy_op = resource.operator_of_copy.at(copy);
  const auto& ops = crystal.symmetry_operators();
  const auto& origins = crystal.atom_origins(molecule);
  if (atom >= static_cast<int>(origins.size()))
    return crystal.listed_code(copy_op, t);
  const AtomOrigin& origin = origins[atom];
  const CrystalSymmetryOperator& outer = ops.at(copy_op);
  const CrystalSymmetryOperator& inner = ops.at(origin.op);
  const Matrix<int, 3, 3> rotation = outer.rotation() * inner.rotation();
  Point tau;
  const Point shifted = inner.translation() + origin.translation.as_point();
  for (int i = 0; i < 3; ++i) {
    double s = outer.translation()[i] + t[i];
    for (int j = 0; j < 3; ++j)
      s += outer.rotation()(i, j) * shifted[j];
    tau[i] = s;
  }
  for (std::size_t n = 0; n < ops.size(); ++n) {
    if (!(ops[n].rotation() == rotation))
      continue;
    Translation lattice;
    bool whole = true;
    for (int i = 0; i < 3; ++i) {
      const double d = tau[i] - ops[n].translation()[i];
      lattice[i] = static_cast<int>(std::lround(d));
      whole = whole && std::fabs(d - lattice[i]) < 1e-3;
    }
    if (whole)
      return crystal.listed_code(static_cast<int>(n), lattice);
  }
  // Operators that do not form a group: the product is not in the list.
  return crystal.listed_code(copy_op, t);
}

DescribedAtom describe_atom(const MotifSearchResource& resource, const PlacedAtom& placed) {
  const CrystalMaker& crystal = *resource.crystal();
  const Atom& atom = *crystal.molecule(placed.molecule)->atom(placed.atom);
  const std::vector<AtomOrigin>& origins = crystal.atom_origins(placed.molecule);
  DescribedAtom d;
  d.label = atom.label();
  d.element = atom.element().symbol();
  d.site_row = placed.atom < static_cast<int>(origins.size()) ? origins[placed.atom].site + 1 : 0;
  const CrystalMaker::ListedCode code =
      placed_atom_code(resource, placed.copy, placed.molecule, placed.atom, placed.translation);
  d.op = code.listed;
  d.translation = code.translation;
  d.code = symmetry_code(code.listed, code.translation);
  d.fractional = resource.get_point(placed.copy, placed.atom, true) + placed.translation.as_point();
  d.orthogonal = resource.orthogonal_matrix() * d.fractional;
  return d;
}

std::vector<DescribedMolecule> describe_molecules(const MotifSearchResource& resource,
                                                  const MotifMatch& match) {
  std::vector<DescribedMolecule> out;
  for (const auto& sm : match.substructure_matches) {
    const bool seen = std::any_of(out.begin(), out.end(), [&](const DescribedMolecule& m) {
      return m.copy == sm->nmol_in_msr && m.translation == *sm->translation;
    });
    if (seen)
      continue;
    DescribedMolecule m;
    m.copy = sm->nmol_in_msr, m.molecule = sm->nmol_in_cm, m.translation = *sm->translation;
    const int natoms = resource.crystal()->molecule(m.molecule)->natoms();
    for (int a = 0; a < natoms; ++a)
      m.atoms.push_back(describe_atom(resource, PlacedAtom{m.copy, m.molecule, a, m.translation}));
    out.push_back(std::move(m));
  }
  return out;
}

MatchDescription describe_match(const MotifSearchResource& resource, const MotifMatch& match) {
  MatchDescription out;
  const Motif& motif = *match.motif;
  // Where each substructure's atoms start in out.atoms, and where each matched atom is placed.
  std::vector<int> first(match.substructure_matches.size(), 0);
  std::vector<PlacedAtom> placed;
  for (std::size_t s = 0; s < match.substructure_matches.size(); ++s) {
    first[s] = static_cast<int>(out.atoms.size());
    const SubstructureMatch& sm = *match.substructure_matches[s];
    const MotifSubstructure& query = *motif.substructure(static_cast<int>(s));
    for (std::size_t q = 0; q < sm.atoms->size(); ++q) {
      PlacedAtom p;
      p.copy = sm.nmol_in_msr, p.molecule = sm.nmol_in_cm, p.atom = (*sm.atoms)[q];
      p.translation = *sm.translation;
      DescribedAtom d = describe_atom(resource, p);
      d.substructure = static_cast<int>(s);
      d.query_atom = static_cast<int>(q);
      if (static_cast<int>(q) < query.nnodes())
        d.query_label = query.node(static_cast<int>(q))->label();
      out.atoms.push_back(d);
      placed.push_back(p);
    }
  }
  const auto& contacts = *motif.contacts();
  std::vector<PatternBond> bonds;
  for (std::size_t j = 0; j < match.contact_matches.size(); ++j) {
    const MotifContact& contact = *contacts.at(j);
    DescribedContact c;
    c.contact = static_cast<int>(j);
    c.from = first.at(contact.from_substructure()) + contact.from_atom();
    c.to = first.at(contact.to_substructure()) + contact.to_atom();
    c.distance = distance(checked_index(out.atoms, c.from).orthogonal,
                          checked_index(out.atoms, c.to).orthogonal);
    const PlacedAtom& a = placed[c.from];
    const PlacedAtom& b = placed[c.to];
    HydrogenBondGeometry h;
    if (!asks_for_contact(contact, resource.atom_state(a.molecule, a.atom).element,
                          resource.atom_state(b.molecule, b.atom).element)) {
      c.kind = ContactKind::Constraint;
    } else if (find_hydrogen_bond(resource, a, b, &h)) {
      c.kind = ContactKind::HydrogenBond;
      c.donor = describe_atom(resource, h.donor);
      c.hydrogen = describe_atom(resource, h.hydrogen);
      c.acceptor = describe_atom(resource, h.acceptor);
      c.d_h = h.d_h, c.h_a = h.h_a, c.d_a = h.d_a, c.angle = h.angle;
      bonds.push_back({h.hydrogen, h.acceptor});
    }
    out.contacts.push_back(c);
  }
  if (!bonds.empty())
    out.graph_set = graph_set(resource, bonds);
  return out;
}

} // namespace MotifSearchLibFunctions

} // namespace xtalmotif
