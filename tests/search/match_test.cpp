// A match as the search fills it: which atoms its placements hold, when it is complete, the
// geometry of placed atoms with their lattice translations, its angle, torsion and translation
// constraints, and its count of distinct contact points.

#include "search/motif_match.h"

#include "search_test_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

namespace xtalmotif {
namespace {

using namespace testing;

THandle<Translation> tr(int a, int b, int c) { return make_handle<Translation>(a, b, c); }
THandle<std::vector<int>> atoms(std::vector<int> list) {
  return make_handle<std::vector<int>>(std::move(list));
}
THandle<AtomAddress> address(int copy, int atom, int a = 0, int b = 0, int c = 0) {
  return make_handle<AtomAddress>(copy, 0, atom, tr(a, b, c));
}
THandle<MotifSubstructure> oh() { return fragment({"O", "H"}, {{0, 1}}); }

TEST(MatchRecord, KnowsTheAtomsItHoldsAndIsCompleteWithEveryPartPlaced) {
  // Three O-H fragments round a ring (contacts 0: 0/1-1/0, 1: 1/1-2/0, 2: 2/1-0/0) and a contact
  // within fragment 0 (3: 0/0-0/1).
  auto motif = motif_of({oh(), oh(), oh()},
                        {contact(0, 1, 1, 0, absolute(0, 3)), contact(1, 1, 2, 0, absolute(0, 3)),
                         contact(2, 1, 0, 0, absolute(0, 3)), contact(0, 0, 0, 1, absolute(0, 3))});
  MotifMatch m(motif);
  EXPECT_EQ(*m.remaining_contacts(0), (std::vector<int>{0, 2, 3}));
  // Fragment 0 on atoms 7, 8 of copy 2; fragment 1 on atoms 3, 1 of copy 5 in the cell (1, -1, 0).
  m.set_substructure_match(0, 2, 1, atoms({7, 8}), tr(0, 0, 0));
  m.set_substructure_match(1, 5, 3, atoms({3, 1}), tr(1, -1, 0));
  // A contact's atom in a fragment is the end that lies there.
  EXPECT_EQ(m.atom_address(0, 0)->natom, 8);
  EXPECT_EQ(m.atom_address(1, 0)->natom, 3);
  EXPECT_EQ(m.atom_address(0, 2)->natom, 7);
  // An atom is taken when a placement holds it in the same copy and the same cell.
  EXPECT_TRUE(m.is_atom_already_used(address(5, 1, 1, -1, 0)));
  EXPECT_FALSE(m.is_atom_already_used(address(5, 1)));
  EXPECT_FALSE(m.is_atom_already_used(address(3, 8)));
  EXPECT_FALSE(m.is_atom_already_used(address(2, 3)));
  EXPECT_TRUE(m.are_atoms_already_used(2, tr(0, 0, 0), atoms({0, 5, 8})));
  EXPECT_FALSE(m.are_atoms_already_used(2, tr(0, 1, 0), atoms({7, 8})));
  m.ditch_substruct_match(1);
  EXPECT_FALSE(m.is_atom_already_used(address(5, 1, 1, -1, 0)));

  m.set_substructure_match(1, 5, 3, atoms({3, 1}), tr(1, -1, 0));
  m.set_substructure_match(2, 2, 1, atoms({8, 7}), tr(0, 0, 1));
  for (int j = 0; j < 3; ++j)
    m.set_contact_match(j, address(0, 0), address(1, 0), Point(), Point());
  EXPECT_FALSE(m.is_found());
  EXPECT_EQ(*m.remaining_contacts(0), (std::vector<int>{3}));
  m.set_contact_match(motif->contact(3), address(0, 0), address(0, 1), Point(), Point());
  EXPECT_TRUE(m.is_found());
  m.ditch_substruct_match(2);
  EXPECT_FALSE(m.is_found());
}

// A 10 A cubic cell holding two molecules: P1 (6, 5, 5) and P2 (5, 5, 5); P3 (5, 5, 6.5) and
// P4 (5.5, 5 - 0.866, 6.5). P1-P2-P3 is a right angle at P2, and the torsion P1-P2-P3-P4 is
// -60 degrees. One cell back along a, P3 is at (-5, 5, 6.5) and the angle opens to 171.47.
class MatchGeometry : public ::testing::Test {
protected:
  void SetUp() override {
    auto cm = crystal({10, 10, 10, 90, 90, 90});
    add_molecule(*cm, {{"C", Point(6, 5, 5)}, {"C", Point(5, 5, 5)}}, {{0, 1}});
    add_molecule(*cm, {{"C", Point(5, 5, 6.5)}, {"C", Point(5.5, 5 - 0.8660254037844387, 6.5)}},
                 {{0, 1}});
    resource = make_handle<MotifSearchResource>(cm);
    motif = motif_of({fragment({"C", "C"}, {{0, 1}}), fragment({"C", "C"}, {{0, 1}})});
    match = make_handle<MotifMatch>(motif);
    match->set_substructure_match(0, 0, 0, atoms({0, 1}), tr(0, 0, 0));
    place_second(0);
  }
  void place_second(int a, int b = 0) {
    match->set_substructure_match(1, 1, 1, atoms({0, 1}), tr(a, b, 0));
  }
  THandle<InclusiveRange> window(double low, double high) {
    return make_handle<InclusiveRange>("range", low, high);
  }
  THandle<MotifSearchResource> resource;
  THandle<Motif> motif;
  THandle<MotifMatch> match;
};

TEST_F(MatchGeometry, AnglesAndTorsionsAreTestedInDegreesWithTheCellsApplied) {
  struct Case {
    const char* what;
    bool torsion;
    double low, high;
    int cell_a;
    bool either_sign, passes;
  };
  const std::vector<Case> cases = {{"right angle", false, 85, 95, 0, false, true},
                                   {"in radians", false, 1.5, 1.6, 0, false, false},
                                   {"one cell back", false, 85, 95, -1, false, false},
                                   {"one cell back, opened", false, 171.4, 171.5, -1, false, true},
                                   {"torsion", true, -70, -50, 0, false, true},
                                   {"its mirror image", true, 50, 70, 0, false, false},
                                   {"its mirror image, either sign", true, 50, 70, 0, true, true},
                                   {"elsewhere", true, 100, 120, 0, true, false},
                                   {"torsion in radians", true, -1.1, -1.0, 0, true, false}};
  for (const Case& c : cases) {
    motif->angle_constraints()->clear();
    motif->torsion_constraints()->clear();
    if (c.torsion)
      motif->add_torsion_constraint(
          make_handle<MotifTorsionConstraint>(0, 0, 0, 1, 1, 0, 1, 1, window(c.low, c.high)));
    else
      motif->add_angle_constraint(
          make_handle<MotifAngleConstraint>(0, 0, 0, 1, 1, 0, window(c.low, c.high)));
    place_second(c.cell_a);
    EXPECT_EQ(match->test_angle_constraints(resource) &&
                  match->test_torsion_constraints(resource, c.either_sign),
              c.passes)
        << c.what;
  }
  place_second(0, 1); // P3 one cell along b
  EXPECT_NEAR(match->atom_distance(0, 1, 1, 0, resource), std::sqrt(100.0 + 2.25), 1e-9);
}

TEST_F(MatchGeometry, EveryConstraintHoldsOnceAllItsAtomsArePlaced) {
  motif->add_angle_constraint(make_handle<MotifAngleConstraint>(0, 0, 0, 1, 1, 0, window(85, 95)));
  motif->add_angle_constraint(make_handle<MotifAngleConstraint>(0, 0, 0, 1, 1, 0, window(100, 180)));
  motif->add_torsion_constraint(
      make_handle<MotifTorsionConstraint>(0, 0, 0, 1, 1, 0, 1, 1, window(170, 171)));
  motif->add_translation_constraint(make_handle<MotifTranslationConstraint>(0, 0, 1, 0));
  EXPECT_FALSE(match->test_angle_constraints(resource));
  EXPECT_FALSE(match->test_torsion_constraints(resource, true));
  EXPECT_FALSE(match->test_translation_constraints());
  match->ditch_substruct_match(1);
  EXPECT_TRUE(match->test_angle_constraints(resource));
  EXPECT_TRUE(match->test_torsion_constraints(resource, true));
  EXPECT_TRUE(match->test_translation_constraints());
}

// Atom 1 of fragment 0 and atom 0 of fragment 1 must be one crystal atom, in any cell.
TEST(MatchTranslationConstraint, NeedsTheSameAtomOfTheSameCopyInAnyCell) {
  auto motif = motif_of({oh(), oh()});
  motif->add_translation_constraint(make_handle<MotifTranslationConstraint>(0, 1, 1, 0));
  MotifMatch m(motif);
  m.set_substructure_match(0, 3, 1, atoms({4, 6}), tr(0, 0, 0));
  EXPECT_TRUE(m.test_translation_constraints()); // fragment 1 not placed yet
  for (const auto& [copy, placed, cell_a, passes] :
       {std::tuple{3, std::vector<int>{6, 4}, 1, true}, std::tuple{3, std::vector<int>{6, 4}, 0, true},
        std::tuple{3, std::vector<int>{4, 6}, 1, false},
        std::tuple{2, std::vector<int>{6, 4}, 1, false}}) {
    m.set_substructure_match(1, copy, 1, atoms(placed), tr(cell_a, 0, 0));
    EXPECT_EQ(m.test_translation_constraints(), passes) << copy << " " << placed[0] << " " << cell_a;
  }
}

// Contact end points closer than 0.5 A are one point of the motif; the two ends of one contact
// are not compared with each other, and an incomplete match has no points.
TEST(MatchVertices, AreTheDistinctContactEndPoints) {
  auto motif = motif_of({oh(), oh(), oh()},
                        {contact(0, 0, 1, 0, absolute(0, 9)), contact(1, 0, 2, 0, absolute(0, 9))});
  MotifMatch m(motif);
  for (int i = 0; i < 3; ++i)
    m.set_substructure_match(i, i, 0, atoms({0, 1}), tr(0, 0, 0));
  const Point o(0, 0, 0), x(3, 0, 0);
  const std::vector<std::tuple<Point, Point, Point, Point, int>> cases = {
      {o, x, o, Point(0, 3, 0), 3},
      {o, Point(0.4, 0, 0), Point(5, 5, 5), Point(9, 9, 9), 4},
      {o, x, Point(3, 0.4999, 0), Point(6, 0, 0), 3},
      {o, x, Point(3, 0.5, 0), Point(6, 0, 0), 4},
      {o, x, Point(0.3, 0, 0), Point(3, 0, 0.3), 2}};
  for (const auto& [a, b, c, d, vertices] : cases) {
    m.set_contact_match(0, address(0, 0), address(1, 0), a, b);
    m.set_contact_match(1, address(1, 0), address(2, 0), c, d);
    EXPECT_EQ(m.nvertices(), vertices) << a << b << c << d;
  }
  m.ditch_contact_match(1);
  EXPECT_EQ(m.nvertices(), 0);
}

} // namespace
} // namespace xtalmotif
