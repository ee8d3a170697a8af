#include "core/checked_index.h"
#include "chem/element.h"
#include "search/contact_bread_crum.h"
#include "match/environment_grid.h"
#include "search/motif_search.h"

#include <cmath>
#include <stdexcept>

namespace xtalmotif {

namespace {
// Van der Waals-relative criteria are searched in a box this much wider than their offset, which
// covers the radius sum of any pair of atoms in the element table.
constexpr double vdw_box_margin = 4.0;

// Whether a partner atom may stand at the far end of a contact of this type, given whether it
// lies in the same molecule copy and cell as the atom the contact starts from.
bool type_allows(ContactType type, bool same_molecule) {
  switch (type) {
  case ContactType::Inter:
    return !same_molecule;
  case ContactType::Intra:
    return same_molecule;
  case ContactType::Any:
    return true;
  }
  return false;
}

std::array<int, 5> address_key(const AtomAddress& a) {
  const Translation& t = *a.translation;
  return {{a.nmol_in_msr, a.natom, t[0], t[1], t[2]}};
}
} // namespace

ContactBreadCrum::ContactBreadCrum()
    : criterion(make_handle<CombinedCriterion>(true, 0.0, -5.0, ContactType::Inter, 4, 999, false,
                                               make_handle<ElementSet>(),
                                               make_handle<ElementSet>())) {}

ContactBreadCrum::ContactBreadCrum(THandle<AtomAddress> address_,
                                   THandle<SubstructureAtom> query_atom_,
                                   THandle<CombinedCriterion> criterion_,
                                   THandle<AtomAddressList> partners_)
    : address(std::move(address_)), query_atom(std::move(query_atom_)),
      criterion(std::move(criterion_)), partners(std::move(partners_)) {}

bool ContactBreadCrum::been_here_before(const THandle<AtomAddress>& a,
                                        const THandle<SubstructureAtom>& q,
                                        const THandle<CombinedCriterion>& c) const {
  // The same object is trivially equal; the value comparisons (element sets, element lists)
  // are made only for distinct objects.
  return *address == *a && (criterion.get() == c.get() || *criterion == *c) &&
         (query_atom.get() == q.get() || *query_atom == *q);
}

THandle<AtomAddressList> MotifSearch::find_contacts(const Point& p,
                                                    const THandle<AtomAddress>& from,
                                                    const THandle<MotifContact>& contact, int to,
                                                    const THandle<SubstructureAtom>& query_atom) {
  const THandle<CombinedCriterion>& criterion = contact->criterion();
  const std::array<int, 5> key = address_key(*from);
  THandle<MotifSubstructure> target = motif_->substructure(to);
  const std::pair<int, int> target_size{target->min_target_size(), target->max_target_size()};
  {
    auto known = contact_crumbs_by_address_.find(key);
    if (known != contact_crumbs_by_address_.end())
      for (std::size_t k : known->second)
        if (contact_crumbs_[k].target_size == target_size &&
            contact_crumbs_[k].been_here_before(from, query_atom, criterion))
          return contact_crumbs_[k].partners;
  }

  auto partners = make_handle<AtomAddressList>();
  const ContactType type = criterion->contact_type();
  double reach = criterion->upper();
  if (criterion->is_vdw_relative())
    reach += vdw_box_margin;
  const double ea = reach / crystal_->a();
  const double eb = reach / crystal_->b();
  const double ec = reach / crystal_->c();
  const Matrix<double, 3, 3>& orth = resource_->orthogonal_matrix();
  const Point origin = orth * p;
  const double r_from = vdw_radius(*from);
  const auto& copies = *resource_->molecule_points;

  if (type == ContactType::Intra) {
    // Only the starting atom's own copy, in its own cell.
    const int m = resource_->nmol_in_cm(from->nmol_in_msr);
    THandle<Molecule> molecule = crystal_->molecule(m);
    if (target->is_target_size_allowed(molecule)) {
      const std::vector<Point>& points = *checked_index(copies, from->nmol_in_msr);
      const Point shift = from->translation->as_point();
      for (std::size_t i = 0; i < points.size(); ++i) {
        const int atom = static_cast<int>(i);
        if (!query_atom->matches(*molecule, atom))
          continue;
        const double r_to = Element::vdw_radii_[molecule->atom(atom)->element().code()];
        const double d2 = sqrdistance(origin, orth * (points[i] + shift));
        if (contact->test_contact_distance(d2, r_from, r_to))
          partners->push_back(
              make_handle<AtomAddress>(from->nmol_in_msr, m, atom, from->translation));
      }
    }
  } else {
    // Only the atoms within reach are visited, through the grid of the environment, in the
    // order of a scan of every copy, atom and translation. The box of translations such a scan
    // would try (see find_translations) still bounds what is found, so that the partners are
    // exactly those the scan would find.
    if (!grid_ || grid_->resource() != resource_)
      grid_ = make_handle<EnvironmentGrid>(resource_);
    const double grid_reach = criterion->is_vdw_relative()
                                  ? r_from + grid_->max_vdw_radius() + criterion->upper()
                                  : std::fabs(criterion->upper());
    std::vector<NearbyAtom> images;
    try {
      grid_->find_within(p, grid_reach, images);
    } catch (const std::length_error& e) {
      throw std::runtime_error(entry_id_.str() + ": contact search: " + e.what());
    }
    const double extents[3] = {ea, eb, ec};
    int copy = -1, m = -1;
    bool size_allowed = false;
    THandle<Molecule> molecule;
    for (const NearbyAtom& image : images) {
      if (image.copy != copy) {
        copy = image.copy;
        m = resource_->nmol_in_cm(copy);
        molecule = crystal_->molecule(m);
        size_allowed = target->is_target_size_allowed(molecule);
      }
      if (!size_allowed || !query_atom->matches(*molecule, image.atom))
        continue;
      const Point& q = checked_index(*checked_index(copies, copy), image.atom);
      bool in_box = true;
      for (int axis = 0; axis < 3 && in_box; ++axis) {
        const double d = p[axis] - q[axis];
        const double e = std::ceil(extents[axis]);
        const double t = image.translation[static_cast<std::size_t>(axis)];
        in_box = std::trunc(d - e - 0.5) <= t && t <= std::trunc(d + e + 0.5);
      }
      if (!in_box)
        continue;
      const double r_to = Element::vdw_radii_[molecule->atom(image.atom)->element().code()];
      const double d2 = sqrdistance(origin, orth * (q + image.translation.as_point()));
      if (!contact->test_contact_distance(d2, r_from, r_to))
        continue;
      auto partner = make_handle<AtomAddress>(copy, m, image.atom,
                                              make_handle<Translation>(image.translation));
      if (type_allows(type, partner->is_in_same_mol_as(*from)))
        partners->push_back(partner);
    }
  }

  contact_crumbs_by_address_[key].push_back(contact_crumbs_.size());
  contact_crumbs_.emplace_back(from, query_atom, criterion, partners);
  contact_crumbs_.back().target_size = target_size;
  return partners;
}

void MotifSearch::find_translations(std::vector<Translation>& out, const Point& a, const Point& b,
                                    double ea, double eb, double ec) const {
  const double extents[3] = {ea, eb, ec};
  int lower[3];
  int upper[3];
  for (int axis = 0; axis < 3; ++axis) {
    const double d = a[axis] - b[axis];
    const double e = std::ceil(extents[axis]);
    // Half a cell to spare on each side; the bounds are truncated towards zero.
    lower[axis] = static_cast<int>(d - e - 0.5);
    upper[axis] = static_cast<int>(d + e + 0.5);
  }
  for (int i = lower[0]; i <= upper[0]; ++i)
    for (int j = lower[1]; j <= upper[1]; ++j)
      for (int k = lower[2]; k <= upper[2]; ++k)
        out.emplace_back(i, j, k);
}

bool MotifSearch::check_remaining_contacts(int placed, std::vector<int>& closed) {
  bool ok = true;
  // The contacts still open that touch the placed substructure, as remaining_contacts() lists
  // them, gone through in place: this runs for every placement tried.
  const auto& contacts = *motif_->contacts();
  for (int c = 0; c < static_cast<int>(contacts.size()) && ok; ++c) {
    const MotifContact* contact = contacts[static_cast<std::size_t>(c)].get();
    if (checked_index(match_->contact_matches, c)->found ||
        (contact->from_substructure() != placed && contact->to_substructure() != placed))
      continue;
    const int other = contact->from_substructure() == placed ? contact->to_substructure()
                                                             : contact->from_substructure();
    if (!checked_index(match_->substructure_matches, other)->found)
      continue;
    // The two ends are worked out in addresses kept for the purpose; a contact that closes gets
    // addresses of its own.
    if (probe_from_.is_null()) {
      probe_from_ = make_handle<AtomAddress>();
      probe_to_ = make_handle<AtomAddress>();
    }
    const THandle<AtomAddress>& address1 = probe_from_;
    const THandle<AtomAddress>& address2 = probe_to_;
    match_->matched_contact_info(c, address1, address2);

    // Both atoms are now fixed in the crystal, each in its own molecule copy and cell, so the
    // contact is judged as a crystallographer measures it: between the two atoms' orthogonal
    // positions with their lattice translations applied. The contact type is then a statement
    // about those two placed atoms: an intermolecular contact must join two different molecules
    // (different copies, or the same copy in different cells), an intramolecular one must stay
    // within one molecule copy in one cell, and a contact of any type accepts either.
    const bool same_molecule = address1->is_in_same_mol_as(*address2);
    if (!type_allows(contact->criterion()->contact_type(), same_molecule)) {
      ok = false;
      continue;
    }
    const Point point1 = resource_->get_point(address1, false);
    const Point point2 = resource_->get_point(address2, false);
    const double d2 = sqrdistance(point1, point2);
    if (contact->test_contact_distance(d2, vdw_radius(*address1), vdw_radius(*address2))) {
      // Sharing the placements' translations, as the addresses worked out above do.
      auto own = [](const AtomAddress& a) {
        auto address = make_handle<AtomAddress>();
        address->set_address(a.nmol_in_msr, a.nmol_in_cm, a.natom, a.translation);
        return address;
      };
      match_->set_contact_match(c, own(*address1), own(*address2), point1, point2);
      closed.push_back(c);
    } else {
      ok = false;
    }
  }
  if (!ok) {
    for (int c : closed)
      match_->ditch_contact_match(c);
  }
  return ok;
}

bool MotifSearch::check_contact_constraints(int placed) {
  for (const THandle<ContactConstraint>& constraint : *motif_->contact_constraints()) {
    if (constraint->substructure() != placed)
      continue;
    THandle<AtomAddress> address = match_->atom_address2(placed, constraint->atom());
    if (!resource_->has_point(address))
      return false;
    const Point p = resource_->get_point(address, true);
    const THandle<MotifContact>& further = constraint->further_contact();
    const int t = further->to_substructure();
    THandle<SubstructureAtom> query_atom = motif_->substruct_atom(t, further);
    THandle<AtomAddressList> candidates = find_contacts(p, address, further, t, query_atom);
    const int far_atom = further->to_atom(placed);
    int count = 0;
    for (const THandle<AtomAddress>& candidate : *candidates) {
      const std::map<int, int> fixed{{far_atom, candidate->natom}};
      if (!find_substructures(t, resource_->nmol_in_cm(candidate->nmol_in_msr), fixed)->empty())
        ++count;
    }
    if (!constraint->count_condition()->test(static_cast<double>(count)))
      return false;
  }
  return true;
}

} // namespace xtalmotif
