#include "motif/motif.h"

#include "chem/condition.h"
#include "chem/element.h"
#include "core/geometry.h"
#include "core/checked_index.h"
#include "motif/motif_search_lib_functions.h"

#include <algorithm>
#include <iostream>
#include <stdexcept>
#include <utility>

namespace xtalmotif {

namespace {

constexpr double degrees_per_radian = 57.29577951308232;
constexpr double angle_arm_tolerance = 1e-07;
constexpr int pairs_per_contact_set = 10;
// Two molecules touch when some pair of their atoms is closer than the van der Waals radius sum
// plus this margin (angstrom): generous enough to catch hydrogen bonds and weak contacts.
constexpr double touching_tolerance = 1.5;

// Query atom `atom` of `substructure`, with the library's fixed out-of-range text for a bad
// index, so that every failed lookup in a motif reads the same.
const SubstructureAtom& query_atom(const MotifSubstructure& substructure, int atom) {
  if (atom < 0 || atom >= substructure.nnodes())
    throw std::out_of_range("vector [] access out of range");
  return *substructure.node(atom);
}

// The atomic numbers a query atom allows; an any-element atom allows every code of the table.
void fill_element_set(ElementSet& set, const SubstructureAtom& atom) {
  if (atom.elements().empty()) {
    for (int code = 0; code < Element::ncodes; ++code)
      set.insert(Element::atomic_numbers_[code]);
  } else {
    for (const Element& e : atom.elements())
      set.insert(Element::atomic_numbers_[e.code()]);
  }
}

THandle<CombinedCriterion> absolute_intermolecular_criterion() {
  return make_handle<CombinedCriterion>(false, 0.0, -5.0, ContactType(1), 4, 999, false,
                                        make_handle<ElementSet>(), make_handle<ElementSet>());
}

Point atom_position(const Molecule& molecule, int atom) {
  return molecule.atom(atom)->position();
}

} // namespace

// ---- construction ----

Motif::Motif(std::string name)
    : name_(std::move(name)), substructures_(make_handle<SubstructureList>()),
      contacts_(make_handle<ContactList>()),
      angle_constraints_(make_handle<AngleConstraintList>()),
      torsion_constraints_(make_handle<TorsionConstraintList>()),
      translation_constraints_(make_handle<TranslationConstraintList>()),
      contact_constraints_(make_handle<ContactConstraintList>()) {}

// The copy deliberately drops angle, translation and contact constraints and shares the
// substructure, contact and torsion objects: callers rely on both.
Motif::Motif(const Motif& other)
    : name_(other.name_), aux_value_(other.aux_value_),
      substructures_(make_handle<SubstructureList>(*other.substructures_)),
      contacts_(make_handle<ContactList>(*other.contacts_)),
      angle_constraints_(make_handle<AngleConstraintList>()),
      torsion_constraints_(make_handle<TorsionConstraintList>(*other.torsion_constraints_)),
      translation_constraints_(make_handle<TranslationConstraintList>()),
      contact_constraints_(make_handle<ContactConstraintList>()) {}

Motif::~Motif() = default;

void Motif::set_name(std::string name) { name_ = std::move(name); }

THandle<MotifSubstructure> Motif::substructure(int i) const {
  return checked_index(*substructures_, i);
}

THandle<MotifContact> Motif::contact(int i) const { return checked_index(*contacts_, i); }

// ---- adding ----

int Motif::add_substructure(THandle<MotifSubstructure> substructure) {
  substructures_->push_back(std::move(substructure));
  set_contact_elements();
  return static_cast<int>(substructures_->size()) - 1;
}

int Motif::add_contact(THandle<MotifContact> contact) {
  contacts_->push_back(make_handle<MotifContact>(*contact));
  // Only the new contact's element sets are derived (after it was appended, so that a contact
  // to a missing substructure fails as it always has): the other contacts' query atoms are
  // unchanged, and deriving every contact's anew made ten thousand contacts take half a minute.
  set_contact_elements(*contacts_->back());
  return static_cast<int>(contacts_->size()) - 1;
}

void Motif::add_angle_constraint(THandle<MotifAngleConstraint> constraint) {
  angle_constraints_->push_back(std::move(constraint));
}

void Motif::add_torsion_constraint(THandle<MotifTorsionConstraint> constraint) {
  torsion_constraints_->push_back(std::move(constraint));
}

void Motif::add_translation_constraint(THandle<MotifTranslationConstraint> constraint) {
  translation_constraints_->push_back(std::move(constraint));
}

void Motif::add_contact_constraint(THandle<ContactConstraint> constraint) {
  contact_constraints_->push_back(std::move(constraint));
}

// ---- lookups ----

THandle<Motif::ContactList> Motif::contacts_for_substructure(unsigned int s) const {
  auto result = make_handle<ContactList>();
  const int si = static_cast<int>(s);
  for (const auto& c : *contacts_)
    if (c->from_substructure() == si || c->to_substructure() == si)
      result->push_back(c);
  return result;
}

THandle<std::vector<int>> Motif::contacts_between_substructures(unsigned int a,
                                                                unsigned int b) const {
  auto result = make_handle<std::vector<int>>();
  const int ai = static_cast<int>(a);
  const int bi = static_cast<int>(b);
  for (std::size_t i = 0; i < contacts_->size(); ++i) {
    const MotifContact& c = *(*contacts_)[i];
    if ((c.from_substructure() == ai && c.to_substructure() == bi) ||
        (c.from_substructure() == bi && c.to_substructure() == ai))
      result->push_back(static_cast<int>(i));
  }
  return result;
}

int Motif::motif_contact(unsigned int a, unsigned int b) const {
  const int ai = static_cast<int>(a);
  const int bi = static_cast<int>(b);
  for (std::size_t i = 0; i < contacts_->size(); ++i) {
    const MotifContact& c = *(*contacts_)[i];
    if ((c.from_substructure() == ai && c.to_substructure() == bi) ||
        (c.from_substructure() == bi && c.to_substructure() == ai))
      return static_cast<int>(i);
  }
  return -1;
}

THandle<Motif::ContactList> Motif::motif_contacts(const CombinedCriterion& criterion) const {
  auto result = make_handle<ContactList>();
  for (const auto& c : *contacts_)
    if (*c->criterion() == criterion)
      result->push_back(c);
  return result;
}

THandle<std::vector<int>> Motif::substructure_neighbours(int s) const {
  auto result = make_handle<std::vector<int>>();
  for (const auto& c : *contacts_) {
    if (c->from_substructure() == s)
      result->push_back(c->to_substructure());
    if (c->to_substructure() == s)
      result->push_back(c->from_substructure());
  }
  return result;
}

THandle<SubstructureAtom> Motif::substruct_atom(int s, int contact_index) const {
  return substruct_atom(s, checked_index(*contacts_, contact_index));
}

THandle<SubstructureAtom> Motif::substruct_atom(int s, THandle<MotifContact> contact) const {
  auto result = make_handle<SubstructureAtom>();
  // Both tests are made in turn, so for a contact within one substructure the `to` end wins.
  if (contact->from_substructure() == s)
    *result = query_atom(*checked_index(*substructures_, s), contact->from_atom());
  if (contact->to_substructure() == s)
    *result = query_atom(*checked_index(*substructures_, s), contact->to_atom());
  return result;
}

// ---- derived data ----

void Motif::set_contact_elements() {
  for (const auto& contact : *contacts_)
    set_contact_elements(*contact);
}

void Motif::set_contact_elements(MotifContact& contact) const {
  CombinedCriterion& criterion = *contact.criterion();
  criterion.first_elements().clear();
  criterion.second_elements().clear();
  fill_element_set(criterion.first_elements(),
                   query_atom(*checked_index(*substructures_, contact.from_substructure()),
                              contact.from_atom()));
  fill_element_set(criterion.second_elements(),
                   query_atom(*checked_index(*substructures_, contact.to_substructure()),
                              contact.to_atom()));
}

void Motif::remove_bondtype_info() {
  for (const auto& substructure : *substructures_)
    for (const SubstructureEdge& edge : substructure->edges())
      edge.bond->clear_types();
}

bool Motif::CompareContacts::operator()(THandle<MotifContact> a, THandle<MotifContact> b) const {
  const bool a_intra = a->criterion()->contact_type() == ContactType(2);
  const bool b_intra = b->criterion()->contact_type() == ContactType(2);
  if (a_intra && !b_intra)
    return true;
  if (!a_intra && b_intra)
    return false;
  return a->max_distance_squared() < b->max_distance_squared();
}

void Motif::sort_contacts() { std::sort(contacts_->begin(), contacts_->end(), CompareContacts()); }

// ---- motif from molecules ----

Motif::Motif(THandle<std::vector<THandle<Molecule>>> molecules, double distance_tolerance,
             double angle_tolerance)
    : Motif(std::string("Unnamed")) {
  VdWCriterion touching(0.0, -5.0, ContactType(1), 4, 999, false, make_handle<ElementSet>(),
                        make_handle<ElementSet>());
  touching.set_upper_offset(touching_tolerance);

  for (const auto& molecule : *molecules)
    add_substructure(make_handle<MotifSubstructure>(*molecule));

  const int n = nsubstructures();
  for (int i = 0; i < n; ++i) {
    bool joined = false;
    for (int j = i + 1; j < n; ++j) {
      if (MotifSearchLibFunctions::is_contact_present((*molecules)[i], (*molecules)[j],
                                                      touching)) {
        connect_substructures(i, j, (*molecules)[i], (*molecules)[j], distance_tolerance,
                              angle_tolerance, false);
        joined = true;
      }
    }
    // A molecule that touches nothing after it is tied back to the first one whether or not
    // they touch, so that every substructure is reachable in the search. Deliberate; for i = 0
    // the call adds nothing.
    if (!joined)
      connect_substructures(i, 0, (*molecules)[i], (*molecules)[0], distance_tolerance,
                            angle_tolerance, false);
  }
}

void Motif::connect_substructures(int sub1, int sub2, THandle<Molecule> mol1,
                                  THandle<Molecule> mol2, double distance_tolerance,
                                  double angle_tolerance, bool add_angles) {
  if (sub1 == sub2)
    return;
  const auto pairs = MotifSearchLibFunctions::find_atoms_to_define_relationship(
      mol1, mol2, false, pairs_per_contact_set);
  for (const auto& pair : pairs) {
    const double d =
        distance(atom_position(*mol1, pair.first), atom_position(*mol2, pair.second));
    auto criterion = absolute_intermolecular_criterion();
    criterion->set_upper(d + d * distance_tolerance);
    criterion->set_lower(d - d * distance_tolerance);
    criterion->set_contact_type(ContactType(1));
    add_contact(make_handle<MotifContact>(sub1, pair.first, sub2, pair.second, criterion));
  }

  if (!add_angles)
    return;
  // Fixed atoms 0, 1 and 2 of each molecule, not the contact pairs: the angles describe the
  // mutual orientation of two three-atom molecules such as water.
  struct Ref {
    bool first; // atom of sub1 (measured in mol1) rather than of sub2 (in mol2)
    int atom;
  };
  const Ref triples[4][3] = {{{true, 0}, {true, 2}, {false, 0}},
                             {{true, 2}, {true, 0}, {false, 2}},
                             {{true, 0}, {true, 1}, {false, 0}},
                             {{true, 0}, {false, 1}, {false, 2}}};
  for (const auto& t : triples) {
    Point p[3];
    for (int k = 0; k < 3; ++k)
      p[k] = atom_position(t[k].first ? *mol1 : *mol2, t[k].atom);
    const double theta = angle(p[0], p[1], p[2], angle_arm_tolerance) * degrees_per_radian;
    auto condition = make_handle<InclusiveRange>("in range", theta - angle_tolerance,
                                                 theta + angle_tolerance);
    add_angle_constraint(make_handle<MotifAngleConstraint>(
        t[0].first ? sub1 : sub2, t[0].atom, t[1].first ? sub1 : sub2, t[1].atom,
        t[2].first ? sub1 : sub2, t[2].atom, condition));
  }
}

void Motif::connect_substructures(int sub1, int sub2, int sub3, THandle<Molecule> mol1,
                                  THandle<Molecule> mol2, THandle<Molecule> mol3,
                                  double /*distance_tolerance*/, double angle_tolerance) {
  // The further atom k is taken from the smallest molecule, so that it exists in all three.
  // On equal atom counts the earlier molecule (mol1, then mol2) is taken.
  THandle<Molecule> smallest = mol1;
  if (mol2->natoms() < smallest->natoms())
    smallest = mol2;
  if (mol3->natoms() < smallest->natoms())
    smallest = mol3;
  const int natoms = smallest->natoms();
  const int nhydrogens = MotifSearchLibFunctions::count_natoms(
      smallest, make_handle<Atom3d>(Element(Element::Hydrogen), "", THandle<Site>()));
  // k is the number of non-hydrogen atoms: with the heavy atoms listed before the hydrogens, as
  // molecules usually are (O, H, H for water), it is the first hydrogen, whose direction gives
  // the orientation that atom 0 alone cannot. A molecule without hydrogens has no such atom,
  // and its last atom is used; a one-atom molecule leaves k = 0.
  int k = natoms - nhydrogens;
  if (k >= natoms)
    k = natoms - 1;
  if (k < 0)
    k = 0;

  const THandle<Molecule> mols[3] = {mol1, mol2, mol3};
  for (int atom : {0, k}) {
    const double theta = angle(atom_position(*mols[0], atom), atom_position(*mols[1], atom),
                               atom_position(*mols[2], atom), angle_arm_tolerance) *
                         degrees_per_radian;
    auto condition = make_handle<InclusiveRange>("in range", theta - angle_tolerance,
                                                 theta + angle_tolerance);
    add_angle_constraint(
        make_handle<MotifAngleConstraint>(sub1, atom, sub2, atom, sub3, atom, condition));
  }
}

int Motif::nmolecules_spanned() const {
  std::vector<int> representatives;
  for (int i = 0; i < nsubstructures(); ++i)
    representatives.push_back(i);
  for (const auto& c : *contacts_) {
    if (c->criterion()->contact_type() == ContactType(1))
      continue;
    // Not intermolecular: both substructures lie in one molecule, counted once.
    auto from = std::find(representatives.begin(), representatives.end(), c->from_substructure());
    auto to = std::find(representatives.begin(), representatives.end(), c->to_substructure());
    if (from != representatives.end() && to != representatives.end())
      representatives.erase(to);
  }
  return static_cast<int>(representatives.size());
}

// ---- output ----

void Motif::print(std::ostream& os) const {
  os << "Substructures: " << std::endl;
  for (const auto& substructure : *substructures_)
    substructure->print(os);
  // This heading deliberately goes to standard output rather than to `os`; kept as users know it.
  std::cout << "Torsion constraints: " << std::endl;
  for (const auto& torsion : *torsion_constraints_) {
    for (int i = 0; i < 4; ++i)
      os << "sub" << torsion->substructure(i) << "atom" << torsion->atom(i) << ", ";
    torsion->condition()->print(os, Condition::print_full);
    os << std::endl;
  }
}

void Motif::read(Archive&) {}

void Motif::write(Archive&) const {}

} // namespace xtalmotif
