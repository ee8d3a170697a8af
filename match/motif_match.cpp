#include "match/motif_match.h"

#include "core/checked_index.h"

#include <algorithm>
#include <iomanip>
#include <ostream>
#include <utility>

namespace xtalmotif {

namespace {
constexpr double degrees_per_radian = 57.29577951308232;
constexpr double angle_tolerance = 1e-07;
// Contact end points closer than this are one vertex of the motif.
constexpr double same_vertex_distance = 0.5;

void write_point(std::ostream& os, const Point& p) {
  os << std::fixed << std::setprecision(3) << std::setw(8) << p[0] << std::setw(8) << p[1]
     << std::setw(8) << p[2];
}
} // namespace

SubstructureMatch::SubstructureMatch()
    : atoms(make_handle<std::vector<int>>()), translation(make_handle<Translation>(-1, -1, -1)) {}

SubstructureMatch::SubstructureMatch(const SubstructureMatch& o)
    : nmol_in_msr(o.nmol_in_msr), nmol_in_cm(o.nmol_in_cm),
      atoms(make_handle<std::vector<int>>(*o.atoms)),
      translation(make_handle<Translation>(*o.translation)), found(o.found) {}

ContactMatch::ContactMatch() : from(make_handle<AtomAddress>()), to(make_handle<AtomAddress>()) {}

ContactMatch::ContactMatch(const ContactMatch& o)
    : from(make_handle<AtomAddress>(*o.from)), to(make_handle<AtomAddress>(*o.to)),
      found(o.found), from_point(o.from_point), to_point(o.to_point) {}

MotifMatch::MotifMatch() : motif(make_handle<Motif>(std::string())) {}

MotifMatch::MotifMatch(const THandle<Motif>& m) : motif(m) {
  for (int i = 0; i < m->nsubstructures(); ++i)
    substructure_matches.push_back(make_handle<SubstructureMatch>());
  for (int j = 0; j < m->ncontacts(); ++j)
    contact_matches.push_back(make_handle<ContactMatch>());
}

MotifMatch::MotifMatch(const MotifMatch& o) : motif(o.motif) {
  for (const auto& s : o.substructure_matches)
    substructure_matches.push_back(make_handle<SubstructureMatch>(*s));
  for (const auto& c : o.contact_matches)
    contact_matches.push_back(make_handle<ContactMatch>(*c));
}

void MotifMatch::set_substructure_match(int i, int nmol_in_msr, int nmol_in_cm,
                                        const THandle<std::vector<int>>& atoms,
                                        const THandle<Translation>& translation) {
  SubstructureMatch& s = *checked_index(substructure_matches, i);
  s.nmol_in_msr = nmol_in_msr;
  s.nmol_in_cm = nmol_in_cm;
  s.atoms = atoms;
  s.translation = translation;
  s.found = true;
}

int MotifMatch::contact_index(const THandle<MotifContact>& contact) const {
  // A contact that is not the motif's runs off the end of the list: std::out_of_range.
  const auto& contacts = *motif->contacts();
  std::size_t j = 0;
  while (contacts.at(j) != contact)
    ++j;
  return static_cast<int>(j);
}

void MotifMatch::set_contact_match(const THandle<MotifContact>& contact,
                                   const THandle<AtomAddress>& from, const THandle<AtomAddress>& to,
                                   const Point& from_point, const Point& to_point) {
  set_contact_match(contact_index(contact), from, to, from_point, to_point);
}

void MotifMatch::set_contact_match(int j, const THandle<AtomAddress>& from,
                                   const THandle<AtomAddress>& to, const Point& from_point,
                                   const Point& to_point) {
  ContactMatch& c = *checked_index(contact_matches, j);
  c.from = from;
  c.to = to;
  c.from_point = from_point;
  c.to_point = to_point;
  c.found = true;
}

void MotifMatch::ditch_substruct_match(int i) { checked_index(substructure_matches, i)->found = false; }

void MotifMatch::ditch_contact_match(int j) { checked_index(contact_matches, j)->found = false; }

void MotifMatch::ditch_contact_match(const THandle<MotifContact>& contact) {
  ditch_contact_match(contact_index(contact));
}

void MotifMatch::clear() {
  for (auto& s : substructure_matches)
    s->found = false;
  for (auto& c : contact_matches)
    c->found = false;
}

bool MotifMatch::is_found() const {
  for (const auto& s : substructure_matches)
    if (!s->found)
      return false;
  for (const auto& c : contact_matches)
    if (!c->found)
      return false;
  return true;
}

THandle<std::vector<int>> MotifMatch::remaining_contacts(int s) {
  auto out = make_handle<std::vector<int>>();
  const auto& contacts = *motif->contacts();
  for (std::size_t j = 0; j < contacts.size(); ++j) {
    if (checked_index(contact_matches, static_cast<long long>(j))->found)
      continue;
    if (contacts[j]->from_substructure() == s || contacts[j]->to_substructure() == s)
      out->push_back(static_cast<int>(j));
  }
  return out;
}

void MotifMatch::matched_contact_info(int j, int& from_mol, int& from_atom, int& to_mol,
                                      int& to_atom) const {
  const MotifContact& c = *motif->contacts()->at(j);
  const SubstructureMatch& f = *checked_index(substructure_matches, c.from_substructure());
  const SubstructureMatch& t = *checked_index(substructure_matches, c.to_substructure());
  from_mol = f.nmol_in_cm;
  from_atom = f.atoms->at(c.from_atom());
  to_mol = t.nmol_in_cm;
  to_atom = t.atoms->at(c.to_atom());
}

void MotifMatch::matched_contact_info(int j, Point& from_point, Point& to_point) const {
  const ContactMatch& c = *checked_index(contact_matches, j);
  from_point = c.from_point;
  to_point = c.to_point;
}

void MotifMatch::matched_contact_info(int j, const THandle<AtomAddress>& from,
                                      const THandle<AtomAddress>& to) const {
  matched_contact_info(motif->contacts()->at(j), from, to);
}

void MotifMatch::matched_contact_info(const THandle<MotifContact>& contact,
                                      const THandle<AtomAddress>& from,
                                      const THandle<AtomAddress>& to) const {
  const SubstructureMatch& f = *checked_index(substructure_matches, contact->from_substructure());
  const SubstructureMatch& t = *checked_index(substructure_matches, contact->to_substructure());
  from->set_address(f.nmol_in_msr, f.nmol_in_cm, f.atoms->at(contact->from_atom()), f.translation);
  to->set_address(t.nmol_in_msr, t.nmol_in_cm, t.atoms->at(contact->to_atom()), t.translation);
}

THandle<AtomAddress> MotifMatch::atom_address2(int s, int a) const {
  const SubstructureMatch& m = *checked_index(substructure_matches, s);
  return make_handle<AtomAddress>(m.nmol_in_msr, m.nmol_in_cm, checked_index(*m.atoms, a),
                                  m.translation);
}

THandle<AtomAddress> MotifMatch::atom_address(int s, int j) {
  const MotifContact& c = *motif->contacts()->at(j);
  int atom = c.from_substructure() == s ? c.from_atom()
             : c.to_substructure() == s ? c.to_atom()
                                         : -1;
  return atom_address2(s, atom);
}

bool MotifMatch::is_atom_already_used(const THandle<AtomAddress>& address) {
  for (const auto& s : substructure_matches) {
    if (!s->found || s->nmol_in_msr != address->nmol_in_msr ||
        *s->translation != *address->translation)
      continue;
    if (std::find(s->atoms->begin(), s->atoms->end(), address->natom) != s->atoms->end())
      return true;
  }
  return false;
}

bool MotifMatch::are_atoms_already_used(int nmol_in_msr, const THandle<Translation>& translation,
                                        const THandle<std::vector<int>>& atoms) {
  for (const auto& s : substructure_matches) {
    if (!s->found || s->nmol_in_msr != nmol_in_msr || *s->translation != *translation)
      continue;
    for (int a : *atoms)
      if (std::find(s->atoms->begin(), s->atoms->end(), a) != s->atoms->end())
        return true;
  }
  return false;
}

bool MotifMatch::can_coexist(int s, const MotifSearchResource& resource) const {
  const SubstructureMatch& placed = *checked_index(substructure_matches, s);
  const Matrix<double, 3, 3>& orth = resource.orthogonal_matrix();
  // The placed atoms' positions, worked out once for all the other placements.
  std::vector<Point> positions;
  for (std::size_t o = 0; o < substructure_matches.size(); ++o) {
    const SubstructureMatch& other = *substructure_matches[o];
    // Atoms of one molecule were made to coexist when the crystal was built.
    if (static_cast<int>(o) == s || !other.found ||
        (other.nmol_in_msr == placed.nmol_in_msr && *other.translation == *placed.translation))
      continue;
    if (positions.empty())
      for (int a : *placed.atoms)
        positions.push_back(resource.get_point(placed.nmol_in_msr, a, true) +
                            placed.translation->as_point());
    for (std::size_t k = 0; k < placed.atoms->size(); ++k) {
      const int a = (*placed.atoms)[k];
      const Point& pa = positions[k];
      const CoexistenceRule::AtomState& sa = resource.atom_state(placed.nmol_in_cm, a);
      for (int b : *other.atoms) {
        const Point pb =
            resource.get_point(other.nmol_in_msr, b, true) + other.translation->as_point();
        if (!CoexistenceRule::can_coexist(sa, resource.atom_state(other.nmol_in_cm, b),
                                          (orth * (pa - pb)).length()))
          return false;
      }
    }
  }
  return true;
}

bool MotifMatch::are_atoms_repeat_atoms(int s1, int a1, int s2, int a2) const {
  const SubstructureMatch& m1 = *checked_index(substructure_matches, s1);
  const SubstructureMatch& m2 = *checked_index(substructure_matches, s2);
  if (!m1.found || !m2.found)
    return false;
  return m1.nmol_in_msr == m2.nmol_in_msr && m1.atoms->at(a1) == m2.atoms->at(a2);
}

Point MotifMatch::orthogonal_point(int s, int a, const THandle<MotifSearchResource>& resource) const {
  return resource->get_point(atom_address2(s, a), false);
}

double MotifMatch::atom_distance(int s1, int a1, int s2, int a2,
                                 const THandle<MotifSearchResource>& resource) const {
  return distance(orthogonal_point(s1, a1, resource), orthogonal_point(s2, a2, resource));
}

double MotifMatch::atom_angle(int s1, int a1, int s2, int a2, int s3, int a3,
                              const THandle<MotifSearchResource>& resource) const {
  return angle(orthogonal_point(s1, a1, resource), orthogonal_point(s2, a2, resource),
               orthogonal_point(s3, a3, resource), angle_tolerance);
}

int MotifMatch::nvertices() {
  if (!is_found())
    return 0;
  std::vector<Point> points;
  auto is_new = [&points](const Point& p) {
    for (const Point& q : points)
      if (distance(p, q) < same_vertex_distance)
        return false;
    return true;
  };
  for (const auto& c : contact_matches) {
    // Both ends are judged against the list as it stood before this contact.
    bool from_new = is_new(c->from_point);
    bool to_new = is_new(c->to_point);
    if (from_new)
      points.push_back(c->from_point);
    if (to_new)
      points.push_back(c->to_point);
  }
  return static_cast<int>(points.size());
}

bool MotifMatch::test_angle_constraints(const THandle<MotifSearchResource>& resource) {
  for (const auto& ac : *motif->angle_constraints()) {
    bool placed = true;
    for (int i = 0; i < 3; ++i)
      placed = placed && checked_index(substructure_matches, ac->substructure(i))->found;
    if (!placed)
      continue;
    double degrees = angle(orthogonal_point(ac->substructure(0), ac->atom(0), resource),
                           orthogonal_point(ac->substructure(1), ac->atom(1), resource),
                           orthogonal_point(ac->substructure(2), ac->atom(2), resource),
                           angle_tolerance) *
                     degrees_per_radian;
    if (!ac->condition()->test(degrees))
      return false;
  }
  return true;
}

bool MotifMatch::test_torsion_constraints(const THandle<MotifSearchResource>& resource,
                                          bool either_sign) {
  for (const auto& tc : *motif->torsion_constraints()) {
    bool placed = true;
    for (int i = 0; i < 4; ++i)
      placed = placed && checked_index(substructure_matches, tc->substructure(i))->found;
    if (!placed)
      continue;
    double torsion = torsion_angle(orthogonal_point(tc->substructure(0), tc->atom(0), resource),
                                   orthogonal_point(tc->substructure(1), tc->atom(1), resource),
                                   orthogonal_point(tc->substructure(2), tc->atom(2), resource),
                                   orthogonal_point(tc->substructure(3), tc->atom(3), resource),
                                   angle_tolerance) *
                     degrees_per_radian;
    bool ok = tc->condition()->test(torsion);
    if (!ok && either_sign)
      ok = tc->condition()->test(-torsion);
    if (!ok)
      return false;
  }
  return true;
}

bool MotifMatch::test_translation_constraints() {
  for (const auto& t : *motif->translation_constraints()) {
    if (!checked_index(substructure_matches, t->first_substructure())->found ||
        !checked_index(substructure_matches, t->second_substructure())->found)
      continue;
    if (!are_atoms_repeat_atoms(t->first_substructure(), t->first_atom(), t->second_substructure(),
                                t->second_atom()))
      return false;
  }
  return true;
}

void MotifMatch::print(std::ostream& os) const {
  for (std::size_t i = 0; i < substructure_matches.size(); ++i) {
    const SubstructureMatch& s = *substructure_matches[i];
    os << "Substructure match: " << i << " nMol (filled cell): " << s.nmol_in_msr
       << " Translation: " << (*s.translation)[0] << ',' << (*s.translation)[1] << ','
       << (*s.translation)[2] << '\n';
  }
  for (std::size_t j = 0; j < contact_matches.size(); ++j) {
    os << "Contact match: " << j << " from atom match: ";
    contact_matches[j]->from->print(os);
    os << " to atom match: ";
    contact_matches[j]->to->print(os);
  }
}

template <class Ends>
static void write_contact_points(const std::vector<THandle<ContactMatch>>& contacts,
                                 std::ostream& os, Ends ends) {
  for (std::size_t j = 0; j < contacts.size(); ++j) {
    const ContactMatch& c = *contacts[j];
    if (!c.found)
      continue;
    std::pair<Point, Point> p = ends(c);
    os << "Contact " << j << '\n' << " from: ";
    write_point(os, p.first);
    os << " to: ";
    write_point(os, p.second);
    os << '\n';
  }
}

void MotifMatch::print_contact_points(const THandle<MotifSearchResource>& resource,
                                      std::ostream& os, bool fractional) const {
  write_contact_points(contact_matches, os, [&](const ContactMatch& c) {
    return std::make_pair(c.from->get_point(resource, fractional),
                          c.to->get_point(resource, fractional));
  });
}

void MotifMatch::print_contact_points(std::ostream& os) {
  write_contact_points(contact_matches, os, [](const ContactMatch& c) {
    return std::make_pair(c.from_point, c.to_point);
  });
}

} // namespace xtalmotif
