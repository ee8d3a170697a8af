#ifndef XTALMOTIF_TESTS_SEARCH_SEARCH_TEST_SUPPORT_H
#define XTALMOTIF_TESTS_SEARCH_SEARCH_TEST_SUPPORT_H

// Crystals built in code and small queries for the search tests, and a check of a crystal
// environment against the symmetry operators themselves.

#include "motif/motif.h"
#include "search/motif_search_resource.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace xtalmotif::testing {

/// A crystal of cell {a, b, c, alpha, beta, gamma} and the given operators, with no molecules.
inline THandle<CrystalMaker> crystal(const std::vector<double>& cell,
                                     const std::vector<std::string>& operators = {"x,y,z"}) {
  auto c = make_handle<CrystalMaker>();
  c->set_cell(cell[0], cell[1], cell[2], cell[3], cell[4], cell[5]);
  std::vector<CrystalSymmetryOperator> ops;
  for (const auto& text : operators)
    ops.push_back(CrystalSymmetryOperator::from_xyz(text));
  c->set_symmetry_operators(ops);
  return c;
}

inline const std::vector<std::string> p1bar = {"x,y,z", "-x,-y,-z"};
inline const std::vector<std::string> p21c = {"x,y,z", "-x,y+1/2,-z+1/2", "-x,-y,-z",
                                              "x,-y+1/2,z+1/2"};

/// One atom of a molecule built in code; an atom at `nowhere` has no site.
struct AtomAt {
  const char* symbol;
  Point at;
};
inline const Point nowhere(NAN, NAN, NAN);

/// Adds a molecule of the given atoms (orthogonal positions in angstrom, or fractional ones)
/// and single bonds; returns its index.
inline int add_molecule(CrystalMaker& c, const std::vector<AtomAt>& atoms,
                        const std::vector<std::pair<int, int>>& bonds = {},
                        bool fractional = false) {
  auto m = make_handle<Molecule3d>();
  for (const auto& a : atoms) {
    const Point f = fractional ? a.at : c.to_fractional(a.at);
    auto site =
        std::isnan(a.at[0]) ? THandle<Site>() : make_handle<Site>(f, c.to_orthogonal(f), 1.0);
    const std::string label = a.symbol + std::to_string(m->natoms() + 1);
    m->add_atom(make_handle<Atom3d>(Element(a.symbol), label, site));
  }
  for (const auto& [i, j] : bonds)
    m->add_bond(i, j, BondType::Single);
  c.add_molecule(THandle<Molecule>(m));
  return c.nmolecules() - 1;
}

/// A water, O, H, H, with its oxygen at `o` and the hydrogens 0.96 A off along +z and -z.
inline int add_water(CrystalMaker& c, const Point& o) {
  const Point h(0.3, 0, 0.912);
  return add_molecule(c, {{"O", o}, {"H", o + h}, {"H", o - h}}, {{0, 1}, {0, 2}});
}

/// Three waters in a 10 A cubic P1 cell whose oxygens form an equilateral triangle of side
/// 2.8 A in the plane z = 1; their lattice repeats are out of reach of every contact used.
inline THandle<CrystalMaker> water_triangle() {
  auto c = crystal({10, 10, 10, 90, 90, 90});
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
inline THandle<MotifSubstructure> fragment(const std::vector<const char*>& elements,
                                           const std::vector<std::pair<int, int>>& bonds = {},
                                           int min = 0, int max = 100000) {
  auto s = make_handle<MotifSubstructure>();
  for (const char* e : elements)
    s->add(make_handle<SubstructureAtom>(Element(e)));
  for (const auto& [i, j] : bonds)
    s->add(make_handle<SubstructureBond>(BondType::Single), i, j);
  s->set_target_size(min, max);
  return s;
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

/// Water to water O-H...O: an H of one water 1.5 to 2.3 A from the O of another.
inline THandle<Motif> water_pair_motif() {
  return motif_of({water(), water()}, {contact(0, 1, 1, 0, absolute(1.5, 2.3))});
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
/// the operator recorded for it, worked out here from the operator's matrix and vector.
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
      const Point& p = m.atom(i)->site()->fractional();
      expected.push_back(op.translation());
      for (int a = 0; a < 3; ++a)
        for (int b = 0; b < 3; ++b)
          expected.back()[a] += op.rotation()(a, b) * p[b];
    }
    ASSERT_EQ((*r.molecule_points)[k]->size(), expected.size()) << "copy " << k;
    for (std::size_t i = 0; i < expected.size(); ++i)
      EXPECT_LT(distance((*r.molecule_points)[k]->at(i), expected[i]), 1e-9) << "copy " << k;
  }
}

} // namespace xtalmotif::testing

#endif
