#ifndef XTALMOTIF_TESTS_SEARCH_SEARCH_TEST_SUPPORT_H
#define XTALMOTIF_TESTS_SEARCH_SEARCH_TEST_SUPPORT_H

// Crystals built in code and small queries for the search tests, and a check of a crystal
// environment against the symmetry operators themselves.

#include "motif/motif.h"
#include "match/motif_search_resource.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace xtalmotif::testing {

inline std::vector<std::string> p1bar_operators() { return {"x,y,z", "-x,-y,-z"}; }
inline std::vector<std::string> p21c_operators() {
  return {"x,y,z", "-x,y+1/2,-z+1/2", "-x,-y,-z", "x,-y+1/2,z+1/2"};
}

/// A crystal of the given cell and operators (as CIF writes them), with no molecules.
inline THandle<CrystalMaker> make_crystal(double a, double b, double c, double alpha, double beta,
                                          double gamma,
                                          const std::vector<std::string>& operators = {"x,y,z"}) {
  auto crystal = make_handle<CrystalMaker>();
  crystal->set_cell(a, b, c, alpha, beta, gamma);
  std::vector<CrystalSymmetryOperator> ops;
  for (const auto& text : operators)
    ops.push_back(CrystalSymmetryOperator::from_xyz(text));
  crystal->set_symmetry_operators(ops);
  return crystal;
}

/// One atom of a molecule built in code, at an orthogonal position (angstrom); an atom at
/// `nowhere` has no site. Unless given, the label is the symbol and the atom's number.
struct AtomAt {
  const char* symbol;
  Point at;
  const char* label = nullptr;
};
inline const Point nowhere(NAN, NAN, NAN);

/// Adds a molecule of the given atoms and single bonds; returns its index.
inline int add_molecule(CrystalMaker& c, const std::vector<AtomAt>& atoms,
                        const std::vector<std::pair<int, int>>& bonds = {}) {
  auto m = make_handle<Molecule3d>();
  for (const auto& a : atoms) {
    const Point f = c.to_fractional(a.at);
    auto site = std::isnan(a.at[0]) ? THandle<Site>() : make_handle<Site>(f, a.at, 1.0);
    const std::string label = a.label ? a.label : a.symbol + std::to_string(m->natoms() + 1);
    m->add_atom(make_handle<Atom3d>(Element(a.symbol), label, site));
  }
  for (const auto& [i, j] : bonds)
    m->add_bond(i, j, BondType::Single);
  c.add_molecule(THandle<Molecule>(m));
  return c.nmolecules() - 1;
}

/// One atom given by element, label and fractional position.
struct FractionalAtom {
  const char* element;
  const char* label;
  Point fractional;
};

/// Adds a molecule of atoms at fractional positions, bonded in a chain 0-1-2-...
inline int add_sited_molecule(CrystalMaker& c, const std::vector<FractionalAtom>& atoms) {
  std::vector<AtomAt> placed;
  std::vector<std::pair<int, int>> chain;
  for (const auto& a : atoms) {
    placed.push_back({a.element, c.to_orthogonal(a.fractional), a.label});
    if (placed.size() > 1)
      chain.emplace_back(static_cast<int>(placed.size()) - 2, static_cast<int>(placed.size()) - 1);
  }
  return add_molecule(c, placed, chain);
}

/// A water, O, H, H, with its oxygen at `o` and the hydrogens 0.96 A off along +z and -z.
inline int add_water(CrystalMaker& c, const Point& o) {
  const Point h(0.3, 0, 0.912);
  return add_molecule(c, {{"O", o}, {"H", o + h}, {"H", o - h}}, {{0, 1}, {0, 2}});
}

/// Three waters in a 10 A cubic P1 cell whose oxygens form an equilateral triangle of side
/// 2.8 A in the plane z = 1; their lattice repeats are out of reach of every contact used.
inline THandle<CrystalMaker> water_triangle() {
  auto c = make_crystal(10, 10, 10, 90, 90, 90);
  add_water(*c, Point(1.0, 1.0, 1.0));
  add_water(*c, Point(3.8, 1.0, 1.0));
  add_water(*c, Point(2.4, 1.0 + 2.8 * std::sqrt(3.0) / 2.0, 1.0));
  return c;
}

inline THandle<CombinedCriterion> absolute(double lower, double upper,
                                           ContactType type = ContactType::Inter) {
  return make_handle<CombinedCriterion>(false, upper, lower, type, 4, 999, false, nullptr, nullptr);
}

inline THandle<CombinedCriterion> vdw(double lower, double upper,
                                      ContactType type = ContactType::Inter) {
  return make_handle<CombinedCriterion>(true, upper, lower, type, 4, 999, false, nullptr, nullptr);
}

inline THandle<MotifContact> contact(int s1, int a1, int s2, int a2,
                                     THandle<CombinedCriterion> criterion) {
  return make_handle<MotifContact>(s1, a1, s2, a2, std::move(criterion));
}

/// A fragment of the given elements joined by the given single bonds, on molecules of `min` to
/// `max` atoms.
inline THandle<MotifSubstructure> fragment(const std::vector<std::string>& elements,
                                           const std::vector<std::pair<int, int>>& bonds = {},
                                           int min = 0, int max = 100000) {
  auto s = make_handle<MotifSubstructure>();
  for (const auto& e : elements)
    s->add(make_handle<SubstructureAtom>(Element(e)));
  for (const auto& [i, j] : bonds)
    s->add(make_handle<SubstructureBond>(BondType::Single), i, j);
  s->set_target_size(min, max);
  return s;
}

/// A fragment that is a chain of the given elements.
inline THandle<MotifSubstructure> chain_fragment(const std::vector<std::string>& elements) {
  std::vector<std::pair<int, int>> chain;
  for (int i = 1; i < static_cast<int>(elements.size()); ++i)
    chain.emplace_back(i - 1, i);
  return fragment(elements, chain);
}

/// An intermolecular distance window of 0 to `upper` angstrom, either end first.
inline THandle<CombinedCriterion> window(double upper) {
  return make_handle<CombinedCriterion>(false, upper, 0.0, ContactType::Inter, 4, 999, true,
                                        nullptr, nullptr);
}

/// A fresh list of atom indices, as the search gives for each placement.
inline THandle<std::vector<int>> atom_list(std::vector<int> atoms) {
  return make_handle<std::vector<int>>(std::move(atoms));
}

/// A water: O (0) carrying H (1) and H (2), on a molecule of exactly three atoms.
inline THandle<MotifSubstructure> water() {
  return fragment({"O", "H", "H"}, {{0, 1}, {0, 2}}, 3, 3);
}

/// A motif of the given fragments.
inline THandle<Motif> motif_of(const std::vector<THandle<MotifSubstructure>>& fragments,
                               const std::vector<THandle<MotifContact>>& contacts = {}) {
  auto m = make_handle<Motif>("test");
  for (const auto& f : fragments)
    m->add_substructure(f);
  for (const auto& c : contacts)
    m->add_contact(c);
  return m;
}

/// Three O-H fragments joined round a ring and a contact inside fragment 0: contact 0 runs
/// 0/1 -> 1/0, contact 1: 1/1 -> 2/0, contact 2: 2/1 -> 0/0, contact 3: 0/0 -> 0/1.
inline THandle<Motif> three_fragment_ring() {
  auto oh = [] { return chain_fragment({"O", "H"}); };
  return motif_of({oh(), oh(), oh()},
                  {contact(0, 1, 1, 0, window(3.0)), contact(1, 1, 2, 0, window(3.0)),
                   contact(2, 1, 0, 0, window(3.0)), contact(0, 0, 0, 1, window(3.0))});
}

/// The centrosymmetric acid dimer R2,2(8): two acid groups C (0), O= (1), O (2), H (3), each
/// hydroxyl H 1.5 to 2.2 A from the other group's carbonyl O.
inline THandle<Motif> acid_dimer_motif() {
  auto acid = [] {
    auto s = fragment({"C", "O", "O", "H"}, {{0, 2}, {2, 3}});
    s->add(make_handle<SubstructureBond>(BondType::Double), 0, 1);
    return s;
  };
  const auto window = absolute(1.5, 2.2);
  return motif_of({acid(), acid()}, {contact(0, 3, 1, 1, window), contact(1, 3, 0, 1, window)});
}

/// Silver at most 2.8 A from a carboxyl (or carboxylate) oxygen, in any molecule.
inline THandle<Motif> silver_carboxylate_motif() {
  auto carboxyl = make_handle<MotifSubstructure>();
  for (const char* e : {"O", "C", "O"})
    carboxyl->add(make_handle<SubstructureAtom>(Element(e)));
  carboxyl->add(make_handle<SubstructureBond>(), 0, 1);
  carboxyl->add(make_handle<SubstructureBond>(), 1, 2);
  return motif_of({fragment({"Ag"}), carboxyl},
                  {contact(0, 0, 1, 0, absolute(0.0, 2.8, ContactType::Any))});
}

/// Every copy of the environment is, atom by atom, the image of its molecule's sited atoms under
/// the operator recorded for it.
inline void expect_operator_images(const MotifSearchResource& r) {
  const CrystalMaker& c = *r.crystal();
  ASSERT_EQ(r.operator_of_copy.size(), static_cast<std::size_t>(r.ncopies()));
  for (int k = 0; k < r.ncopies(); ++k) {
    const Molecule& m = *c.molecule(r.nmol_in_cm(k));
    const CrystalSymmetryOperator& op = c.symmetry_operators().at(r.operator_of_copy[k]);
    std::vector<Point> expected;
    for (int i = 0; i < m.natoms(); ++i) {
      if (!m.atom(i)->has_site())
        continue;
      expected.push_back(op.apply(m.atom(i)->site()->fractional()));
    }
    ASSERT_EQ((*r.molecule_points)[k]->size(), expected.size()) << "copy " << k;
    for (std::size_t i = 0; i < expected.size(); ++i)
      EXPECT_LT(distance((*r.molecule_points)[k]->at(i), expected[i]), 1e-9) << "copy " << k;
  }
}

} // namespace xtalmotif::testing

#endif
