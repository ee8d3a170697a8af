// Deriving a motif from molecules in their observed places: the closest atom pairs that tie them,
// the angle constraints between them, and a motif derived from the acid dimer of a real crystal.

#include "crystal/cif_reader.h"
#include "motif/motif.h"
#include "motif/motif_search_lib_functions.h"
#include "search/motif_search.h"

#include "test_data.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <initializer_list>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace xtalmotif {
namespace {

constexpr double kDegrees = 180.0 / 3.14159265358979323846;

using PlacedAtom = std::tuple<const char*, double, double, double>; // element, x, y, z

// A molecule of atoms at orthogonal positions (angstrom), without bonds.
THandle<Molecule> placed(std::initializer_list<PlacedAtom> atoms) {
  auto m = make_handle<Molecule3d>();
  for (const auto& [symbol, x, y, z] : atoms) {
    const Point p(x, y, z);
    m->add_atom(make_handle<Atom3d>(Element(symbol), symbol, make_handle<Site>(p, p, 1.0)));
  }
  return THandle<Molecule>(m);
}

THandle<std::vector<THandle<Molecule>>> list(std::vector<THandle<Molecule>> molecules) {
  return make_handle<std::vector<THandle<Molecule>>>(std::move(molecules));
}

// A water-like O, H (along x), H (along y) at the origin, and a chain N-C-C-C-C along x from
// 3 A on. Worked by hand, the closest pairs, each of atoms not yet used, are H1-N0 2.0 A, then
// O0-C1 4.0 A, then H2-C2 sqrt(26) A; from the chain's side they are the same (greedy, not the
// globally shortest set: once N0-H1 is taken, C1 pairs with the origin O).
THandle<Molecule> small_three() { return placed({{"O", 0, 0, 0}, {"H", 1, 0, 0}, {"H", 0, 1, 0}}); }
THandle<Molecule> chain_five(double shift = 0.0) {
  return placed({{"N", 3 + shift, 0, 0}, {"C", 4 + shift, 0, 0}, {"C", 5 + shift, 0, 0},
                 {"C", 6 + shift, 0, 0}, {"C", 7 + shift, 0, 0}});
}

// Each molecule becomes a substructure; molecules that touch are tied by contacts between their
// closest pairs, a molecule touching none after it is tied back to the first, and every window
// is the observed distance plus and minus the tolerance (10%) of it.
TEST(MotifFromMolecules, TouchingMoleculesAreTiedByTheirClosestPairs) {
  // Molecules, the contacts (from substructure, atom, to substructure, atom), their distances.
  using Case = std::tuple<std::string, std::vector<THandle<Molecule>>,
                          std::vector<std::array<int, 4>>, std::vector<double>>;
  const double r26 = std::sqrt(26.0);
  const std::vector<Case> cases = {
      {"one molecule", {small_three()}, {}, {}},
      {"touching, then tied back from the second",
       {small_three(), chain_five()},
       {{0, 1, 1, 0}, {0, 0, 1, 1}, {0, 2, 1, 2}, {1, 0, 0, 1}, {1, 1, 0, 0}, {1, 2, 0, 2}},
       {2.0, 4.0, r26, 2.0, 4.0, r26}},
      {"22 A apart: only tied back",
       {small_three(), chain_five(20.0)},
       {{1, 0, 0, 1}, {1, 1, 0, 0}, {1, 2, 0, 2}},
       {22.0, 24.0, std::sqrt(626.0)}},
      {"a row of three oxygens 4 A apart",
       {placed({{"O", 0, 0, 0}}), placed({{"O", 4, 0, 0}}), placed({{"O", 8, 0, 0}})},
       {{0, 0, 1, 0}, {1, 0, 2, 0}, {2, 0, 0, 0}},
       {4.0, 4.0, 8.0}},
  };
  for (const auto& [name, molecules, contacts, observed] : cases) {
    SCOPED_TRACE(name);
    Motif m(list(molecules), 0.1, 10.0);
    ASSERT_EQ(m.nsubstructures(), static_cast<int>(molecules.size()));
    ASSERT_EQ(m.ncontacts(), static_cast<int>(contacts.size()));
    for (int i = 0; i < m.ncontacts(); ++i) {
      const MotifContact& k = *m.contact(i);
      EXPECT_EQ((std::array<int, 4>{k.from_substructure(), k.from_atom(), k.to_substructure(),
                                    k.to_atom()}),
                contacts[i]);
      EXPECT_FALSE(k.criterion()->is_vdw_relative());
      EXPECT_EQ(k.criterion()->contact_type(), ContactType::Inter);
      EXPECT_NEAR(k.criterion()->upper(), 1.1 * observed[i], 1e-9) << i;
      EXPECT_NEAR(k.criterion()->lower(), 0.9 * observed[i], 1e-9) << i;
    }
    EXPECT_TRUE(m.angle_constraints()->empty());
  }
  // An atom without a position is nowhere, not at the origin: a molecule far off that holds one
  // touches nothing.
  auto far = placed({{"O", 50, 0, 0}});
  far->add_atom(make_handle<Atom>(Element("O"), "O?"));
  const VdWCriterion touching(1.5, -5.0, ContactType::Inter, 4, 999, false, nullptr, nullptr);
  EXPECT_FALSE(MotifSearchLibFunctions::is_contact_present(small_three(), far, touching));
}

using AngleWindow = std::pair<std::array<int, 6>, double>; // three (substructure, atom), centre

// The motif's angle windows, each of half-width `tolerance`, are the expected ones.
void expect_angle_windows(const Motif& m, double tolerance,
                          const std::vector<AngleWindow>& expected) {
  ASSERT_EQ(m.angle_constraints()->size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const auto& c = *(*m.angle_constraints())[i];
    EXPECT_EQ((std::array<int, 6>{c.substructure(0), c.atom(0), c.substructure(1), c.atom(1),
                                  c.substructure(2), c.atom(2)}),
              expected[i].first);
    auto range = handle_cast<InclusiveRange>(c.condition());
    ASSERT_FALSE(range.is_null());
    EXPECT_NEAR(range->low(), expected[i].second - tolerance, 1e-6) << i;
    EXPECT_NEAR(range->high(), expected[i].second + tolerance, 1e-6) << i;
  }
}

// With angles asked for, two three-atom molecules such as waters also get four angle windows on
// their atoms 0 to 2.
TEST(MotifFromMolecules, TwoWatersGetFourAngleWindows) {
  const auto w1 = placed({{"O", 0, 0, 0}, {"H", 1, 0, 0}, {"H", 0, 1, 0}});
  const auto w2 = placed({{"O", 3, 0, 0}, {"H", 4, 0, 0}, {"H", 3, 1, 0}});
  Motif motif("waters");
  motif.add_substructure(make_handle<MotifSubstructure>(*w1));
  motif.add_substructure(make_handle<MotifSubstructure>(*w2));
  motif.connect_substructures(0, 1, w1, w2, 0.1, 10.0, true);
  EXPECT_EQ(motif.ncontacts(), 3);
  // At (0,1,0) between the origin and (3,0,0), and at the origin between (0,1,0) and (3,1,0):
  // acos(1/sqrt(10)); at (1,0,0) between the origin and (3,0,0): 180; at (4,0,0) between the
  // origin and (3,1,0): 45.
  const double a = std::acos(1.0 / std::sqrt(10.0)) * kDegrees;
  expect_angle_windows(motif, 10.0, {{{0, 0, 0, 2, 1, 0}, a}, {{0, 2, 0, 0, 1, 2}, a},
                                     {{0, 0, 0, 1, 1, 0}, 180.0}, {{0, 0, 1, 1, 1, 2}, 45.0}});
}

// Across three substructures: one angle on atom 0 of each, one on the first hydrogen of the
// smallest molecule (the water, passed second: k = 3 atoms - 2 hydrogens = 1).
TEST(MotifFromMolecules, ThreeMoleculesGetAnglesAtAtomZeroAndTheFirstHydrogen) {
  const auto water = placed({{"O", 0, 0, 0}, {"H", 1, 0, 0}, {"H", 0, 1, 0}});
  const auto m2 = placed({{"O", 3, 0, 0}, {"H", 3, 1, 0}, {"H", 9, 9, 9}, {"C", 9, 0, 9}});
  const auto m3 = placed({{"O", 3, 4, 0}, {"H", 5, 1, 0}, {"H", 8, 9, 9}, {"C", 8, 0, 9}});
  Motif m("three");
  for (const auto& mol : {water, m2, m3})
    m.add_substructure(make_handle<MotifSubstructure>(*mol));
  m.connect_substructures(1, 0, 2, m2, water, m3, 0.5, 5.0);
  // At the water O between (3,0,0) and (3,4,0); at (1,0,0) between (3,1,0) and (5,1,0).
  expect_angle_windows(
      m, 5.0, {{{1, 0, 0, 0, 2, 0}, std::acos(0.6) * kDegrees},
               {{1, 1, 0, 1, 2, 1}, std::acos(9.0 / std::sqrt(5.0 * 17.0)) * kDegrees}});
}

// Ibuprofen (COD 2300214, P2(1)/c) pairs its carboxylic acid groups across a centre of symmetry
// by two O-H...O hydrogen bonds. The motif derived from a molecule and that partner ties them by
// both bonds, and the crystal it was taken from holds it.
TEST(MotifFromRealMolecules, IbuprofenDimerIsTiedByBothHydrogenBondsAndFoundAgain) {
  const auto path = xtalmotif::testing::require_data("curated/acid__2300214-r274507.cif");
  auto crystal = read_crystal(path.string(), "");
  ASSERT_EQ(crystal->nmolecules(), 1);
  const THandle<Molecule> acid = crystal->molecule(0);
  // The acid H (the H bonded to an oxygen), its oxygen, and the other, carbonyl, oxygen.
  auto element = [&](int atom) { return acid->atom(atom)->element().symbol(); };
  int h = -1, hydroxyl = -1, carbonyl = -1;
  for (int i = 0; i < acid->natoms(); ++i)
    for (int n : acid->neighbours(i))
      if (element(i) == "H" && element(n) == "O")
        std::tie(h, hydroxyl) = std::make_pair(i, n);
  for (int o = 0; o < acid->natoms(); ++o)
    if (element(o) == "O" && o != hydroxyl)
      carbonyl = o;
  ASSERT_TRUE(h >= 0 && carbonyl >= 0);

  // The partner: of all images of the molecule, the one whose carbonyl O is nearest the acid H.
  THandle<Molecule> partner;
  double best = 1e9;
  for (const auto& op : crystal->symmetry_operators())
    for (int t = 0; t < 125; ++t) {
      const Point shift(t / 25 - 2, t / 5 % 5 - 2, t % 5 - 2);
      auto image = make_handle<Molecule3d>(*acid);
      for (int i = 0; i < image->natoms(); ++i) {
        const Point f = op.apply(acid->atom(i)->site()->fractional()) + shift;
        image->atom(i)->set_site(make_handle<Site>(f, crystal->to_orthogonal(f), 1.0));
      }
      const double d = distance(acid->atom(h)->position(), image->atom(carbonyl)->position());
      if (d > 0.5 && d < best)
        std::tie(best, partner) = std::make_pair(d, THandle<Molecule>(image));
    }
  ASSERT_TRUE(best > 1.5 && best < 2.1) << best; // an O-H...O hydrogen bond

  auto motif = make_handle<Motif>(list({acid, partner}), 0.1, 10.0);
  EXPECT_EQ(motif->ncontacts(), 20); // ten pairs each way
  int hydrogen_bonds = 0;
  for (const auto& c : *motif->contacts())
    if (c->from_substructure() == 0 &&
        ((c->from_atom() == h && c->to_atom() == carbonyl) ||
         (c->from_atom() == carbonyl && c->to_atom() == h))) {
      ++hydrogen_bonds;
      EXPECT_NEAR(c->criterion()->upper(), 1.1 * best, 1e-6);
    }
  EXPECT_EQ(hydrogen_bonds, 2);

  MotifSearch search;
  search.search(crystal, motif, 0);
  EXPECT_EQ(search.results()->nentries(), 1);
  EXPECT_FALSE(search.aborted());
  // It counts among the structures the propensity of the motif is taken over, unless a
  // substructure may not be a molecule of ibuprofen's 33 atoms.
  EXPECT_TRUE(MotifSearchLibFunctions::holds_every_substructure(*motif, *crystal));
  motif->substructure(1)->set_target_size(1, 32);
  EXPECT_FALSE(MotifSearchLibFunctions::holds_every_substructure(*motif, *crystal));
}

} // namespace
} // namespace xtalmotif
