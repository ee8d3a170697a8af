// A match as the search fills it: which atoms its placements hold, when it is complete, the
// geometry of placed atoms with their lattice translations, and its angle, torsion and
// translation constraints.

#include "match/motif_match.h"

#include "search_test_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

namespace xtalmotif {
namespace {

using namespace testing;

THandle<Translation> tr(int a, int b, int c) { return make_handle<Translation>(a, b, c); }
THandle<AtomAddress> address(int copy, int atom, int a = 0, int b = 0, int c = 0) {
  return make_handle<AtomAddress>(copy, 0, atom, tr(a, b, c));
}

// Three O-H fragments round a ring (contacts 0: 0/1-1/0, 1: 1/1-2/0, 2: 2/1-0/0) and a contact
// within fragment 0 (3: 0/0-0/1).
TEST(MatchRecord, IsCompleteWithEveryPartPlacedAndNamesTheAtomsAtContactEnds) {
  auto motif = three_fragment_ring();
  MotifMatch m(motif);
  EXPECT_EQ(*m.remaining_contacts(0), (std::vector<int>{0, 2, 3}));
  m.set_substructure_match(0, 2, 1, atom_list({7, 8}), tr(0, 0, 0));
  m.set_substructure_match(1, 5, 3, atom_list({3, 1}), tr(1, -1, 0));
  m.set_substructure_match(2, 2, 1, atom_list({8, 7}), tr(0, 0, 1));
  EXPECT_EQ(m.atom_address(0, 0)->natom, 8);
  EXPECT_EQ(m.atom_address(1, 0)->natom, 3);
  EXPECT_FALSE(m.are_atoms_already_used(2, tr(0, 1, 0), atom_list({7, 8}))); // another cell
  EXPECT_TRUE(m.are_atoms_already_used(2, tr(0, 0, 1), atom_list({0, 7})));
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
    auto cm = make_crystal(10, 10, 10, 90, 90, 90);
    add_molecule(*cm, {{"C", Point(6, 5, 5)}, {"C", Point(5, 5, 5)}}, {{0, 1}});
    add_molecule(*cm, {{"C", Point(5, 5, 6.5)}, {"C", Point(5.5, 5 - 0.8660254037844387, 6.5)}},
                 {{0, 1}});
    resource = make_handle<MotifSearchResource>(cm);
    motif = motif_of({fragment({"C", "C"}, {{0, 1}}), fragment({"C", "C"}, {{0, 1}})});
    match = make_handle<MotifMatch>(motif);
    match->set_substructure_match(0, 0, 0, atom_list({0, 1}), tr(0, 0, 0));
    place_second(0);
  }
  void place_second(int a, int b = 0) {
    match->set_substructure_match(1, 1, 1, atom_list({0, 1}), tr(a, b, 0));
  }
  // An angle P1-P2-P3, or a torsion P1-P2-P3-P4, within the window.
  void add_window(bool torsion, double low, double high) {
    auto window = make_handle<InclusiveRange>("range", low, high);
    if (torsion)
      motif->add_torsion_constraint(
          make_handle<MotifTorsionConstraint>(0, 0, 0, 1, 1, 0, 1, 1, window));
    else
      motif->add_angle_constraint(make_handle<MotifAngleConstraint>(0, 0, 0, 1, 1, 0, window));
  }
  THandle<MotifSearchResource> resource;
  THandle<Motif> motif;
  THandle<MotifMatch> match;
};

TEST_F(MatchGeometry, AnglesAndTorsionsAreTestedInDegreesWithTheCellsApplied) {
  // What, torsion or angle, its window, the cell of the second fragment along a, whether a
  // torsion of either sign is accepted, and whether the window holds.
  const std::vector<std::tuple<const char*, bool, double, double, int, bool, bool>> cases = {
      {"right angle", false, 85, 95, 0, false, true},
      {"in radians", false, 1.5, 1.6, 0, false, false},
      {"one cell back", false, 85, 95, -1, false, false},
      {"one cell back, opened", false, 171.4, 171.5, -1, false, true},
      {"torsion", true, -70, -50, 0, false, true},
      {"its mirror image", true, 50, 70, 0, false, false},
      {"its mirror image, either sign", true, 50, 70, 0, true, true},
      {"elsewhere", true, 100, 120, 0, true, false},
      {"torsion in radians", true, -1.1, -1.0, 0, true, false}};
  for (const auto& [what, torsion, low, high, cell_a, either_sign, passes] : cases) {
    motif->angle_constraints()->clear();
    motif->torsion_constraints()->clear();
    add_window(torsion, low, high);
    place_second(cell_a);
    EXPECT_EQ(match->test_angle_constraints(resource) &&
                  match->test_torsion_constraints(resource, either_sign),
              passes)
        << what;
  }
  place_second(0, 1); // P3 one cell along b
  EXPECT_NEAR(match->atom_distance(0, 1, 1, 0, resource), std::sqrt(100.0 + 2.25), 1e-9);
}

// Every constraint must hold, once all its atoms are placed. A translation constraint asks for
// one crystal atom in two places: the same atom of the same copy, in any cell.
TEST_F(MatchGeometry, EveryConstraintHoldsOnceAllItsAtomsArePlaced) {
  add_window(false, 85, 95);
  add_window(false, 100, 180);
  add_window(true, 170, 171);
  motif->add_translation_constraint(make_handle<MotifTranslationConstraint>(0, 0, 1, 0));
  EXPECT_FALSE(match->test_angle_constraints(resource));
  EXPECT_FALSE(match->test_torsion_constraints(resource, true));
  EXPECT_FALSE(match->test_translation_constraints());
  match->ditch_substruct_match(1);
  EXPECT_TRUE(match->test_angle_constraints(resource));
  EXPECT_TRUE(match->test_torsion_constraints(resource, true));
  EXPECT_TRUE(match->test_translation_constraints());
  // Copy, its first atom, cell along a, whether the constraint holds.
  for (const auto& [copy, first, cell_a, passes] :
       {std::tuple{0, 0, 1, true}, {0, 0, 0, true}, {0, 1, 1, false}, {1, 0, 1, false}}) {
    match->set_substructure_match(1, copy, copy, atom_list({first, 1 - first}), tr(cell_a, 0, 0));
    EXPECT_EQ(match->test_translation_constraints(), passes) << copy << first << cell_a;
  }
}

} // namespace
} // namespace xtalmotif
