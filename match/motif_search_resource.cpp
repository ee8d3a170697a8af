#include "match/motif_search_resource.h"

#include "core/checked_index.h"
#include "match/motif_match.h"

#include <cmath>
#include <iomanip>
#include <ostream>

namespace xtalmotif {

MotifSearchResource::MotifSearchResource(const THandle<CrystalMaker>& crystal)
    : crystal_maker(crystal),
      molecule_points(make_handle<std::vector<THandle<std::vector<Point>>>>()),
      orthogonal_matrix_(crystal->orthogonal_matrix()),
      cell_values_{{crystal->a(), crystal->b(), crystal->c()}} {
  const auto& operators = crystal->symmetry_operators();
  atom_states_.resize(crystal->nmolecules());
  for (int m = 0; m < crystal->nmolecules(); ++m) {
    THandle<Molecule> mol = crystal->molecule(m);
    const std::vector<AtomOrigin>& origins = crystal->atom_origins(m);
    for (int i = 0; i < mol->natoms(); ++i) {
      const Atom& atom = *mol->atom(i);
      CoexistenceRule::AtomState state;
      state.element = atom.element();
      if (i < static_cast<int>(origins.size())) {
        state.occupancy = origins[i].occupancy;
        state.site = origins[i].site;
      } else if (atom.has_site()) {
        state.occupancy = atom.site()->occupancy();
      }
      atom_states_[m].push_back(state);
    }
  }
  for (int m = 0; m < crystal->nmolecules(); ++m) {
    THandle<Molecule> mol = crystal->molecule(m);
    auto points = make_handle<std::vector<Point>>();
    for (int i = 0; i < mol->natoms(); ++i) {
      THandle<Atom> a = mol->atom(i);
      if (a->has_site())
        points->push_back(a->site()->fractional());
    }
    // A molecule without any sited atom ends the expansion here, for it and every later
    // molecule: the environment is smaller but consistent.
    if (points->empty())
      return;
    if (!is_point_already_generated(points->front())) {
      molecule_points->push_back(points);
      cm_molecule_of_copy.push_back(m);
      operator_of_copy.push_back(0);
      for (const Point& q : *points)
        generated_.add(q);
    }
    for (std::size_t k = 1; k < operators.size(); ++k) {
      auto copy = gen_points(operators[k], points);
      if (copy->size() == points->size()) {
        molecule_points->push_back(copy);
        cm_molecule_of_copy.push_back(m);
        operator_of_copy.push_back(static_cast<int>(k));
        for (const Point& q : *copy)
          generated_.add(q);
      }
    }
  }
}

Point MotifSearchResource::get_point(int nmol_in_msr, int natom, bool fractional) const {
  const Point& p = molecule_points->at(nmol_in_msr)->at(natom);
  return fractional ? p : orthogonal_matrix_ * p;
}

Point MotifSearchResource::get_point(const THandle<AtomAddress>& address, bool fractional) const {
  Point p = get_point(address->nmol_in_msr, address->natom, true) +
            address->translation->as_point();
  return fractional ? p : orthogonal_matrix_ * p;
}

THandle<Site> MotifSearchResource::get_site(const THandle<AtomAddress>& address) const {
  Point f = get_point(address, true);
  return make_handle<Site>(f, orthogonal_matrix_ * f, 1.0);
}

bool MotifSearchResource::has_point(const THandle<AtomAddress>& address) const {
  return address->natom < static_cast<int>(molecule_points->at(address->nmol_in_msr)->size());
}

int MotifSearchResource::nmol_in_cm(int nmol_in_msr) const {
  return checked_index(cm_molecule_of_copy, nmol_in_msr);
}

int MotifSearchResource::nmol_in_resource(int nmol_in_cm) const {
  for (std::size_t i = 0; i < cm_molecule_of_copy.size(); ++i)
    if (cm_molecule_of_copy[i] == nmol_in_cm)
      return static_cast<int>(i);
  return -1;
}

THandle<std::vector<Point>> MotifSearchResource::gen_points(const CrystalSymmetryOperator& op,
                                                            const THandle<std::vector<Point>>& points) {
  auto out = make_handle<std::vector<Point>>();
  const auto& r = op.rotation();
  const Point& t = op.translation();
  for (std::size_t n = 0; n < points->size(); ++n) {
    const Point& p = (*points)[n];
    Point q;
    for (int i = 0; i < 3; ++i) {
      double s = 0.0;
      for (int j = 0; j < 3; ++j)
        s += r(i, j) * p[j];
      q[i] = s + t[i];
    }
    if (n == 0 && is_point_already_generated(q))
      return out;
    out->push_back(q);
  }
  return out;
}

bool MotifSearchResource::are_points_related_by_int_translation(const Point& a,
                                                                const Point& b) const {
  return LatticePointSet::related_by_translation(a, b);
}

bool MotifSearchResource::is_point_already_generated(const Point& p) {
  return generated_.contains_translate_of(p);
}

bool MotifSearchResource::are_duplicates_present() const {
  std::vector<Point> firsts;
  for (const auto& copy : *molecule_points)
    if (!copy->empty())
      firsts.push_back(copy->front());
  for (std::size_t i = 0; i < firsts.size(); ++i)
    for (std::size_t j = i + 1; j < firsts.size(); ++j)
      if (!are_points_related_by_int_translation(firsts[i], firsts[j]))
        return true;
  return false;
}

void MotifSearchResource::print_points(std::ostream& os, bool fractional) const {
  for (int i = 0; i < ncopies(); ++i) {
    os << "mol: " << i << "  cm mol: " << nmol_in_cm(i) << '\n';
    for (const Point& p : *(*molecule_points)[i]) {
      Point q = fractional ? p : orthogonal_matrix_ * p;
      os << std::fixed << std::setw(8) << std::setprecision(3) << q[0] << std::setw(8) << q[1]
         << std::setw(8) << q[2] << '\n';
    }
  }
}

THandle<Atom> MotifSearchResource::atom(const THandle<AtomAddress>& address) const {
  THandle<Atom> source = crystal_maker->molecule(address->nmol_in_cm)->atom(address->natom);
  auto a = make_handle<Atom3d>(*source);
  a->set_site(get_site(address));
  return THandle<Atom>(a);
}

THandle<Atom> MotifSearchResource::atom(const THandle<MotifMatch>& match, int substructure,
                                        int atom_index) const {
  return atom(match->atom_address2(substructure, atom_index));
}

THandle<Molecule> MotifSearchResource::molecule(const THandle<AtomAddress>& address) const {
  auto copy = make_handle<Molecule3d>(*crystal_maker->molecule(address->nmol_in_cm));
  for (int k = 0; k < copy->natoms(); ++k) {
    THandle<Atom> a = copy->atom(k);
    if (!a->has_site())
      continue;
    Point f = get_point(address->nmol_in_msr, k, true) + address->translation->as_point();
    a->set_site(make_handle<Site>(f, orthogonal_matrix_ * f, 1.0));
  }
  return THandle<Molecule>(copy);
}

THandle<Molecule> MotifSearchResource::molecule(const THandle<SubstructureMatch>& match) const {
  int first = checked_index(*match->atoms, 0);
  return molecule(make_handle<AtomAddress>(match->nmol_in_msr, match->nmol_in_cm, first,
                                           match->translation));
}

THandle<Molecule> MotifSearchResource::molecule(const THandle<MotifMatch>& match,
                                                int substructure) const {
  return molecule(checked_index(match->substructure_matches, substructure));
}

THandle<std::vector<THandle<Atom>>>
MotifSearchResource::atoms(const THandle<SubstructureMatch>& match) const {
  auto out = make_handle<std::vector<THandle<Atom>>>();
  for (int k : *match->atoms)
    out->push_back(atom(make_handle<AtomAddress>(match->nmol_in_msr, match->nmol_in_cm, k,
                                                 match->translation)));
  return out;
}

THandle<std::vector<THandle<Atom>>> MotifSearchResource::atoms(const THandle<MotifMatch>& match,
                                                               int substructure) const {
  return atoms(checked_index(match->substructure_matches, substructure));
}

} // namespace xtalmotif
