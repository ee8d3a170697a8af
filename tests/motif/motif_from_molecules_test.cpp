// Deriving a motif from placed molecules, and the geometric helpers behind it.

#include "motif/motif.h"
#include "motif/motif_search_lib_functions.h"

#include "motif_test_molecules.h"

#include <gtest/gtest.h>

#include <cmath>
#include <utility>
#include <vector>

namespace xtalmotif {
namespace {

using testing::add_unplaced_atom;
using testing::molecule_list;
using testing::placed_molecule;
using Pairs = std::vector<std::pair<int, int>>;

constexpr double kDegrees = 180.0 / 3.14159265358979323846;

// A three-atom molecule (O at the origin, H along x, H along y) and a five-atom chain along x
// starting 3 A from the origin. Worked by hand, the greedy closest pairs are:
//   H(1,0,0)-N(3,0,0) 2.0; then O(0,0,0)-C(4,0,0) 4.0; then H(0,1,0)-C(5,0,0) sqrt(26).
// They touch: H...N 2.0 is far below 1.09 + 1.55 + 1.5.
THandle<Molecule> small_three() {
  return placed_molecule({{"O", 0, 0, 0}, {"H", 1, 0, 0}, {"H", 0, 1, 0}});
}
THandle<Molecule> chain_five(double shift = 0.0) {
  return placed_molecule({{"N", 3 + shift, 0, 0},
                          {"C", 4 + shift, 0, 0},
                          {"C", 5 + shift, 0, 0},
                          {"C", 6 + shift, 0, 0},
                          {"C", 7 + shift, 0, 0}});
}

struct ContactSummary {
  int from_sub, from_atom, to_sub, to_atom;
  bool operator==(const ContactSummary& o) const {
    return from_sub == o.from_sub && from_atom == o.from_atom && to_sub == o.to_sub &&
           to_atom == o.to_atom;
  }
};
std::ostream& operator<<(std::ostream& os, const ContactSummary& c) {
  return os << "(" << c.from_sub << "," << c.from_atom << ")->(" << c.to_sub << "," << c.to_atom
            << ")";
}
std::vector<ContactSummary> summary(const Motif& m) {
  std::vector<ContactSummary> out;
  for (const auto& c : *m.contacts())
    out.push_back({c->from_substructure(), c->from_atom(), c->to_substructure(), c->to_atom()});
  return out;
}

// ---- the derived motif ----

TEST(MotifFromMolecules, OneMoleculeGivesOneSubstructureAndNoContacts) {
  Motif m(molecule_list({small_three()}), 0.1, 10.0);
  EXPECT_EQ(m.name(), "Unnamed");
  EXPECT_EQ(m.aux_value(), 0.0);
  EXPECT_EQ(m.nsubstructures(), 1);
  EXPECT_EQ(m.ncontacts(), 0);
  EXPECT_EQ(m.substructure(0)->nnodes(), 3);
  EXPECT_TRUE(m.angle_constraints()->empty());
  EXPECT_TRUE(m.torsion_constraints()->empty());
  EXPECT_TRUE(m.translation_constraints()->empty());
  EXPECT_TRUE(m.contact_constraints()->empty());
}

TEST(MotifFromMolecules, TouchingMoleculesAreTiedBothWaysByTheClosestPairs) {
  auto a = small_three();
  auto b = chain_five();
  Motif m(molecule_list({a, b}), 0.1, 10.0);
  ASSERT_EQ(m.nsubstructures(), 2);
  EXPECT_EQ(m.substructure(0)->nnodes(), 3);
  EXPECT_EQ(m.substructure(1)->nnodes(), 5);
  // Three pairs (the smaller atom count) from 0 to 1; then substructure 1 touches nothing after
  // it and is tied back to 0, the same pairs seen from the chain.
  const std::vector<ContactSummary> expected = {{0, 1, 1, 0}, {0, 0, 1, 1}, {0, 2, 1, 2},
                                                {1, 0, 0, 1}, {1, 1, 0, 0}, {1, 2, 0, 2}};
  EXPECT_EQ(summary(m), expected);

  const double observed[3] = {2.0, 4.0, std::sqrt(26.0)};
  for (int i = 0; i < 6; ++i) {
    const auto& criterion = *m.contact(i)->criterion();
    const double d = observed[i % 3];
    EXPECT_FALSE(criterion.is_vdw_relative());
    EXPECT_EQ(criterion.contact_type(), ContactType::Inter);
    EXPECT_NEAR(criterion.upper(), 1.1 * d, 1e-12) << "contact " << i;
    EXPECT_NEAR(criterion.lower(), 0.9 * d, 1e-12) << "contact " << i;
    EXPECT_NEAR(m.contact(i)->max_distance_squared(), 1.21 * d * d, 1e-9);
    EXPECT_NEAR(m.contact(i)->min_distance_squared(), 0.81 * d * d, 1e-9);
  }
  // Element sets from the molecules' atoms: the H...N contact and its reverse.
  EXPECT_EQ(m.contact(0)->criterion()->first_elements(), (ElementSet{1}));
  EXPECT_EQ(m.contact(0)->criterion()->second_elements(), (ElementSet{7}));
  EXPECT_EQ(m.contact(3)->criterion()->first_elements(), (ElementSet{7}));
  EXPECT_EQ(m.contact(3)->criterion()->second_elements(), (ElementSet{1}));
  EXPECT_TRUE(m.angle_constraints()->empty());
  EXPECT_EQ(m.nmolecules_spanned(), 2);
}

TEST(MotifFromMolecules, DistanceToleranceIsAFractionOfTheObservedDistance) {
  auto o1 = placed_molecule({{"O", 0, 0, 0}});
  auto o2 = placed_molecule({{"O", 3, 0, 0}});
  Motif m(molecule_list({o1, o2}), 0.1, 5.0);
  ASSERT_EQ(m.ncontacts(), 2);
  const auto& criterion = *m.contact(0)->criterion();
  EXPECT_DOUBLE_EQ(criterion.upper(), 3.3);
  EXPECT_DOUBLE_EQ(criterion.lower(), 2.7);
  // The contact accepts the observed distance and rejects 2.69 and 3.31.
  EXPECT_TRUE(m.contact(0)->test_contact_distance(9.0, 1.52, 1.52));
  EXPECT_FALSE(m.contact(0)->test_contact_distance(2.69 * 2.69, 1.52, 1.52));
  EXPECT_FALSE(m.contact(0)->test_contact_distance(3.31 * 3.31, 1.52, 1.52));
}

TEST(MotifFromMolecules, FarApartMoleculeIsStillTiedToTheFirst) {
  auto a = small_three();
  auto b = chain_five(20.0); // 22 A away: no contact within the radius sums + 1.5
  ASSERT_FALSE(MotifSearchLibFunctions::is_contact_present(
      a, b, VdWCriterion(1.5, -5.0, ContactType::Inter, 4, 999, false, nullptr, nullptr)));
  Motif m(molecule_list({a, b}), 0.1, 10.0);
  // Only the fallback from 1 back to 0: the chain's N, C, C nearest the molecule.
  const std::vector<ContactSummary> expected = {{1, 0, 0, 1}, {1, 1, 0, 0}, {1, 2, 0, 2}};
  EXPECT_EQ(summary(m), expected);
  EXPECT_NEAR(m.contact(0)->criterion()->upper(), 1.1 * 22.0, 1e-9);
}

TEST(MotifFromMolecules, EveryMoleculeThatTouchesNothingLaterFallsBackToTheFirst) {
  // O...O touch below 1.52 + 1.52 + 1.5 = 4.54: 0 touches 1 and 1 touches 2 (4 A), while 0
  // and 2 are 8 A apart.
  auto m0 = placed_molecule({{"O", 0, 0, 0}});
  auto m1 = placed_molecule({{"O", 4, 0, 0}});
  auto m2 = placed_molecule({{"O", 8, 0, 0}});
  Motif m(molecule_list({m0, m1, m2}), 0.05, 10.0);
  const std::vector<ContactSummary> expected = {{0, 0, 1, 0}, {1, 0, 2, 0}, {2, 0, 0, 0}};
  EXPECT_EQ(summary(m), expected);
  EXPECT_NEAR(m.contact(2)->criterion()->upper(), 8.4, 1e-12);
  EXPECT_EQ(m.nmolecules_spanned(), 3);
}

// ---- connect_substructures ----

class TwoWaters : public ::testing::Test {
protected:
  // Idealised geometry for hand-worked angles: O, H along x, H along y; the second water is the
  // first moved 3 A along x.
  THandle<Molecule> w1 = placed_molecule({{"O", 0, 0, 0}, {"H", 1, 0, 0}, {"H", 0, 1, 0}});
  THandle<Molecule> w2 = placed_molecule({{"O", 3, 0, 0}, {"H", 4, 0, 0}, {"H", 3, 1, 0}});
  Motif motif{"waters"};
  void SetUp() override {
    motif.add_substructure(make_handle<MotifSubstructure>(*w1));
    motif.add_substructure(make_handle<MotifSubstructure>(*w2));
  }
};

TEST_F(TwoWaters, ConnectingASubstructureToItselfAddsNothing) {
  motif.connect_substructures(1, 1, w2, w2, 0.1, 10.0, true);
  EXPECT_EQ(motif.ncontacts(), 0);
  EXPECT_TRUE(motif.angle_constraints()->empty());
}

TEST_F(TwoWaters, AnglesOnAtomsZeroToTwo) {
  motif.connect_substructures(0, 1, w1, w2, 0.1, 10.0, true);
  // Pairs: H(1,0,0)-O(3,0,0) 2.0; then H(0,1,0)-H(3,1,0) 3.0; then O-H(4,0,0) 4.0.
  const std::vector<ContactSummary> pairs = {{0, 1, 1, 0}, {0, 2, 1, 2}, {0, 0, 1, 1}};
  EXPECT_EQ(summary(motif), pairs);

  ASSERT_EQ(motif.angle_constraints()->size(), 4u);
  // Angle at (0,1,0) between (0,0,0) and (3,0,0); at the origin between (0,1,0) and (3,1,0):
  // both acos(1/sqrt(10)). At (1,0,0) between the origin and (3,0,0): straight. At (4,0,0)
  // between the origin and (3,1,0): 45 degrees.
  const double a1 = std::acos(1.0 / std::sqrt(10.0)) * kDegrees;
  const struct {
    int refs[3][2];
    double degrees;
  } expected[4] = {{{{0, 0}, {0, 2}, {1, 0}}, a1},
                   {{{0, 2}, {0, 0}, {1, 2}}, a1},
                   {{{0, 0}, {0, 1}, {1, 0}}, 180.0},
                   {{{0, 0}, {1, 1}, {1, 2}}, 45.0}};
  for (int i = 0; i < 4; ++i) {
    const auto& c = *(*motif.angle_constraints())[i];
    for (int k = 0; k < 3; ++k) {
      EXPECT_EQ(c.substructure(k), expected[i].refs[k][0]) << "constraint " << i;
      EXPECT_EQ(c.atom(k), expected[i].refs[k][1]) << "constraint " << i;
    }
    auto range = handle_cast<InclusiveRange>(c.condition());
    ASSERT_FALSE(range.is_null());
    EXPECT_EQ(range->name(), "in range");
    EXPECT_NEAR(range->low(), expected[i].degrees - 10.0, 1e-6) << "constraint " << i;
    EXPECT_NEAR(range->high(), expected[i].degrees + 10.0, 1e-6) << "constraint " << i;
  }
}

TEST(MotifConnectThree, AnglesAtAtomZeroAndAtTheFirstHydrogenOfTheSmallestMolecule) {
  // The water (3 atoms, 2 H) is the smallest; k = 3 - 2 = 1, its first H.
  auto water = placed_molecule({{"O", 0, 0, 0}, {"H", 1, 0, 0}, {"H", 0, 1, 0}});
  auto m2 = placed_molecule({{"O", 3, 0, 0}, {"H", 3, 1, 0}, {"H", 9, 9, 9}, {"C", 9, 0, 9}});
  auto m3 = placed_molecule({{"O", 3, 4, 0}, {"H", 5, 1, 0}, {"H", 8, 9, 9}, {"C", 8, 0, 9}});
  Motif m("three");
  for (const auto& mol : {water, m2, m3})
    m.add_substructure(make_handle<MotifSubstructure>(*mol));
  // Pass the molecules in another order to show that the smallest decides, wherever it is.
  m.connect_substructures(1, 0, 2, m2, water, m3, 0.5, 5.0);
  EXPECT_EQ(m.ncontacts(), 0);
  ASSERT_EQ(m.angle_constraints()->size(), 2u);
  const auto& first = *(*m.angle_constraints())[0];
  const auto& second = *(*m.angle_constraints())[1];
  for (int k = 0; k < 3; ++k) {
    EXPECT_EQ(first.atom(k), 0);
    EXPECT_EQ(second.atom(k), 1);
  }
  EXPECT_EQ(first.substructure(0), 1);
  EXPECT_EQ(first.substructure(1), 0);
  EXPECT_EQ(first.substructure(2), 2);
  // Atom 0: at the water O (origin) between (3,0,0) and (3,4,0): acos(9/(3*5)) = acos(0.6).
  auto r0 = handle_cast<InclusiveRange>(first.condition());
  EXPECT_NEAR(r0->low(), std::acos(0.6) * kDegrees - 5.0, 1e-6);
  EXPECT_NEAR(r0->high(), std::acos(0.6) * kDegrees + 5.0, 1e-6);
  // Atom 1: at (1,0,0) between (3,1,0) and (5,1,0): vectors (2,1,0) and (4,1,0).
  const double a = std::acos(9.0 / (std::sqrt(5.0) * std::sqrt(17.0))) * kDegrees;
  auto r1 = handle_cast<InclusiveRange>(second.condition());
  EXPECT_NEAR(r1->low(), a - 5.0, 1e-6);
  EXPECT_NEAR(r1->high(), a + 5.0, 1e-6);
}

TEST(MotifConnectThree, SmallestMoleculeWithoutHydrogensUsesItsLastAtom) {
  auto co = placed_molecule({{"C", 0, 0, 0}, {"O", 1, 0, 0}});
  auto m2 = placed_molecule({{"C", 3, 0, 0}, {"O", 3, 2, 0}, {"N", 7, 7, 7}});
  auto m3 = placed_molecule({{"C", 0, 3, 0}, {"O", 1, 5, 0}, {"N", 8, 7, 7}});
  Motif m("three");
  for (const auto& mol : {co, m2, m3})
    m.add_substructure(make_handle<MotifSubstructure>(*mol));
  m.connect_substructures(0, 1, 2, co, m2, m3, 0.0, 1.0);
  ASSERT_EQ(m.angle_constraints()->size(), 2u);
  EXPECT_EQ((*m.angle_constraints())[1]->atom(0), 1);
  // At (3,2,0) between (1,0,0) and (1,5,0): vectors (-2,-2,0) and (-2,3,0), dot product -2.
  const double a = std::acos(-2.0 / (std::sqrt(8.0) * std::sqrt(13.0))) * kDegrees;
  auto r1 = handle_cast<InclusiveRange>((*m.angle_constraints())[1]->condition());
  EXPECT_NEAR(r1->low(), a - 1.0, 1e-6);
}

// ---- helpers ----

TEST(MotifSearchLibFunctions, ContactPresenceIsStrictAndSkipsUnplacedAtoms) {
  // Fe has the default radius 2.00: touching means closer than 2 + 2 + 1.5 = 5.5.
  VdWCriterion touching(0.0, -5.0, ContactType::Inter, 4, 999, false, nullptr, nullptr);
  touching.set_upper_offset(1.5);
  auto fe = placed_molecule({{"Fe", 0, 0, 0}});
  EXPECT_FALSE(MotifSearchLibFunctions::is_contact_present(
      fe, placed_molecule({{"Fe", 5.5, 0, 0}}), touching));
  EXPECT_TRUE(MotifSearchLibFunctions::is_contact_present(
      fe, placed_molecule({{"Fe", 5.49, 0, 0}}), touching));
  // An atom without a position would read as the origin; it must not count.
  auto ghost = placed_molecule({{"Fe", 50, 0, 0}});
  add_unplaced_atom(ghost, "Fe");
  EXPECT_FALSE(MotifSearchLibFunctions::is_contact_present(fe, ghost, touching));
  EXPECT_FALSE(MotifSearchLibFunctions::is_contact_present(ghost, fe, touching));
}

TEST(MotifSearchLibFunctions, CountsAtomsOfTheProbeElement) {
  auto methanol = placed_molecule(
      {{"C", 0, 0, 0}, {"O", 1, 0, 0}, {"H", 2, 0, 0}, {"H", 3, 0, 0}, {"D", 4, 0, 0}});
  auto h = make_handle<Atom3d>(Element("H"), "", THandle<Site>());
  EXPECT_EQ(MotifSearchLibFunctions::count_natoms(methanol, h), 2); // D is another element
  EXPECT_EQ(MotifSearchLibFunctions::count_natoms(
                methanol, make_handle<Atom3d>(Element("O"), "", THandle<Site>())),
            1);
  EXPECT_EQ(MotifSearchLibFunctions::count_natoms(
                methanol, make_handle<Atom3d>(Element("N"), "", THandle<Site>())),
            0);
}

TEST(MotifSearchLibFunctions, ClosestContactTiesKeepTheEarliestPairInListOrder) {
  auto left = placed_molecule({{"C", 0, 0, 0}, {"C", 2, 0, 0}});
  auto mid = placed_molecule({{"O", 1, 0, 0}, {"O", 1, 5, 0}});
  // Atoms 0 and 1 of `left` are both 1 A from O0.
  EXPECT_EQ(MotifSearchLibFunctions::find_closest_contact(left, {0, 1}, mid, {0, 1}),
            std::make_pair(0, 0));
  EXPECT_EQ(MotifSearchLibFunctions::find_closest_contact(left, {1, 0}, mid, {1, 0}),
            std::make_pair(1, 0));
}

TEST(MotifSearchLibFunctions, ClosestContactChecksPositionsOnTheFirstSideOnly) {
  auto first = placed_molecule({{"C", 0.1, 0, 0}});
  add_unplaced_atom(first, "O"); // index 1, would sit at the origin
  auto second = placed_molecule({{"O", 0, 0, 0.05}, {"O", 5, 0, 0}});
  add_unplaced_atom(second, "N"); // index 2, read as the origin
  EXPECT_EQ(MotifSearchLibFunctions::find_closest_contact(first, {1, 0}, second, {1, 2}),
            std::make_pair(0, 2));
}

TEST(MotifSearchLibFunctions, NoPairWithinAThousandAngstromGivesMinusOnes) {
  auto a = placed_molecule({{"C", 0, 0, 0}});
  auto b = placed_molecule({{"C", 1000, 0, 0}, {"C", 2000, 0, 0}});
  EXPECT_EQ(MotifSearchLibFunctions::find_closest_contact(a, {0}, b, {0, 1}),
            std::make_pair(-1, -1));
  EXPECT_EQ(MotifSearchLibFunctions::find_closest_contact(a, {}, b, {0, 1}),
            std::make_pair(-1, -1));
  EXPECT_EQ(MotifSearchLibFunctions::find_atoms_to_define_relationship(a, b, false, 10),
            (Pairs{{-1, -1}}));
}

TEST(MotifSearchLibFunctions, RelationshipPairsAreGreedyAndLimited) {
  auto a = small_three();
  auto b = chain_five();
  EXPECT_EQ(MotifSearchLibFunctions::find_atoms_to_define_relationship(a, b, true, 10),
            (Pairs{{1, 0}, {0, 1}, {2, 2}}));
  EXPECT_EQ(MotifSearchLibFunctions::find_atoms_to_define_relationship(a, b, false, 2),
            (Pairs{{1, 0}, {0, 1}}));
  EXPECT_TRUE(MotifSearchLibFunctions::find_atoms_to_define_relationship(a, b, false, 0).empty());
  // Greedy, not globally shortest: after H1-N0 (2.0) is taken, the origin O pairs with C1.
  EXPECT_EQ(MotifSearchLibFunctions::find_atoms_to_define_relationship(b, a, false, 10),
            (Pairs{{0, 1}, {1, 0}, {2, 2}}));
}

} // namespace
} // namespace xtalmotif
