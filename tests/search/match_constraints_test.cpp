// MotifMatch geometry: distances and angles of placed atoms (translations included), the angle,
// torsion and translation constraints, the count of distinct contact points, and contact points
// recomputed from the crystal environment.

#include "match/motif_match.h"
#include "match/motif_search_resource.h"

#include "search/environment_test_crystals.h"
#include "search/match_test_motifs.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

namespace xtalmotif {
namespace {

using testing::atom_list;
using testing::chain_fragment;

THandle<Translation> tr(int a, int b, int c) { return make_handle<Translation>(a, b, c); }

THandle<InclusiveRange> range(double low, double high) {
  return make_handle<InclusiveRange>("range", low, high);
}

// A cubic 10 angstrom cell with the identity only, holding two molecules:
//   copy 0: P1 (6, 5, 5) and P2 (5, 5, 5) angstrom;
//   copy 1: P3 (5, 5, 6.5) and P4 (5.5, 5 - 0.866, 6.5).
// P1-P2-P3 is a right angle at P2, |P2 P3| = 1.5, and the torsion P1-P2-P3-P4 is -60 degrees
// (seen along P2 -> P3 the far bond P3-P4 is turned 60 degrees anticlockwise from P2-P1).
class MatchGeometryTest : public ::testing::Test {
protected:
  void SetUp() override {
    auto cm = testing::make_crystal(10, 10, 10, 90, 90, 90, {"x,y,z"});
    testing::add_sited_molecule(
        *cm, {{"C", "P1", Point(0.6, 0.5, 0.5)}, {"C", "P2", Point(0.5, 0.5, 0.5)}});
    testing::add_sited_molecule(*cm, {{"C", "P3", Point(0.5, 0.5, 0.65)},
                                      {"C", "P4", Point(0.55, 0.5 - 0.08660254037844387, 0.65)}});
    resource = make_handle<MotifSearchResource>(cm);

    motif = make_handle<Motif>("geometry");
    motif->add_substructure(chain_fragment({"C", "C"}));
    motif->add_substructure(chain_fragment({"C", "C"}));
    motif->add_contact(make_handle<MotifContact>(0, 1, 1, 0, testing::window(2.0)));
    match = make_handle<MotifMatch>(motif);
    match->set_substructure_match(0, 0, 0, atom_list({0, 1}), tr(0, 0, 0));
    match->set_substructure_match(1, 1, 1, atom_list({0, 1}), tr(0, 0, 0));
  }
  void add_angle(double low, double high) {
    // P1 - P2 (vertex) - P3
    motif->add_angle_constraint(
        make_handle<MotifAngleConstraint>(0, 0, 0, 1, 1, 0, range(low, high)));
  }
  void add_torsion(double low, double high) {
    motif->add_torsion_constraint(
        make_handle<MotifTorsionConstraint>(0, 0, 0, 1, 1, 0, 1, 1, range(low, high)));
  }
  THandle<MotifSearchResource> resource;
  THandle<Motif> motif;
  THandle<MotifMatch> match;
};

TEST_F(MatchGeometryTest, DistanceIsOrthogonalAndIncludesTheTranslation) {
  EXPECT_NEAR(match->atom_distance(0, 1, 1, 0, resource), 1.5, 1e-9);
  EXPECT_NEAR(match->atom_distance(0, 0, 0, 1, resource), 1.0, 1e-9);
  match->set_substructure_match(1, 1, 1, atom_list({0, 1}), tr(0, 1, 0));
  EXPECT_NEAR(match->atom_distance(0, 1, 1, 0, resource), std::sqrt(100.0 + 2.25), 1e-9);
}

TEST_F(MatchGeometryTest, AtomAngleIsInRadians) {
  EXPECT_NEAR(match->atom_angle(0, 0, 0, 1, 1, 0, resource), M_PI / 2, 1e-9);
  // Vertex P3: P2 straight below it, P4 in the plane z = 6.5.
  EXPECT_NEAR(match->atom_angle(0, 1, 1, 0, 1, 1, resource), M_PI / 2, 1e-9);
  // P2-P1 against P2-P4: P4 - P2 = (0.5, -0.866, 1.5), |.| = sqrt(3.25).
  EXPECT_NEAR(match->atom_angle(0, 0, 0, 1, 1, 1, resource), std::acos(0.5 / std::sqrt(3.25)),
              1e-9);
}

TEST_F(MatchGeometryTest, AngleConstraintIsTestedInDegrees) {
  EXPECT_TRUE(match->test_angle_constraints(resource)); // none yet
  add_angle(85.0, 95.0);
  EXPECT_TRUE(match->test_angle_constraints(resource));
}

TEST_F(MatchGeometryTest, AngleConstraintInRadiansRangeFails) {
  // pi/2 = 1.5708 would pass this window if the angle were not converted to degrees.
  add_angle(1.5, 1.6);
  EXPECT_FALSE(match->test_angle_constraints(resource));
}

TEST_F(MatchGeometryTest, AnyFailingAngleConstraintFailsTheMatch) {
  add_angle(85.0, 95.0);
  add_angle(100.0, 180.0);
  EXPECT_FALSE(match->test_angle_constraints(resource));
}

TEST_F(MatchGeometryTest, AngleConstraintSeesTheSubstructuresCell) {
  add_angle(85.0, 95.0);
  // Fragment 1 one cell back along a: P3 at (-5, 5, 6.5), the angle opens to 171.47 degrees.
  match->set_substructure_match(1, 1, 1, atom_list({0, 1}), tr(-1, 0, 0));
  EXPECT_FALSE(match->test_angle_constraints(resource));
  motif->angle_constraints()->clear();
  add_angle(171.4, 171.5);
  EXPECT_TRUE(match->test_angle_constraints(resource));
}

TEST_F(MatchGeometryTest, ConstraintsOnUnplacedSubstructuresAreSkipped) {
  add_angle(0.0, 1.0);
  add_torsion(170.0, 171.0);
  motif->add_translation_constraint(make_handle<MotifTranslationConstraint>(0, 0, 1, 0));
  EXPECT_FALSE(match->test_angle_constraints(resource));
  EXPECT_FALSE(match->test_torsion_constraints(resource, true));
  EXPECT_FALSE(match->test_translation_constraints());
  match->ditch_substruct_match(1);
  EXPECT_TRUE(match->test_angle_constraints(resource));
  EXPECT_TRUE(match->test_torsion_constraints(resource, true));
  EXPECT_TRUE(match->test_torsion_constraints(resource, false));
  EXPECT_TRUE(match->test_translation_constraints());
}

TEST_F(MatchGeometryTest, TorsionKeepsItsSignUnlessEitherSignIsAllowed) {
  add_torsion(50.0, 70.0);
  EXPECT_FALSE(match->test_torsion_constraints(resource, false));
  EXPECT_TRUE(match->test_torsion_constraints(resource, true));
}

TEST_F(MatchGeometryTest, TorsionInsideTheWindowPassesEitherWay) {
  add_torsion(-70.0, -50.0);
  EXPECT_TRUE(match->test_torsion_constraints(resource, false));
  EXPECT_TRUE(match->test_torsion_constraints(resource, true));
}

TEST_F(MatchGeometryTest, TorsionOutsideBothWindowsFails) {
  add_torsion(100.0, 120.0);
  EXPECT_FALSE(match->test_torsion_constraints(resource, true));
  EXPECT_FALSE(match->test_torsion_constraints(resource, false));
  motif->torsion_constraints()->clear();
  // -60 degrees is not -1.05 radians: a window in radians fails.
  add_torsion(-1.1, -1.0);
  EXPECT_FALSE(match->test_torsion_constraints(resource, true));
}

TEST_F(MatchGeometryTest, ContactPointsAreRecomputedFromTheAddresses) {
  // The stored points are deliberately wrong: the recomputed listing must not use them.
  match->set_contact_match(0, make_handle<AtomAddress>(0, 0, 1, tr(0, 0, 0)),
                           make_handle<AtomAddress>(1, 1, 0, tr(0, 0, 1)), Point(99, 99, 99),
                           Point(99, 99, 99));
  std::ostringstream frac;
  match->print_contact_points(resource, frac, true);
  EXPECT_EQ(frac.str(), "Contact 0\n"
                        " from:    0.500   0.500   0.500 to:    0.500   0.500   1.650\n");
  std::ostringstream orth;
  match->print_contact_points(resource, orth, false);
  EXPECT_EQ(orth.str(), "Contact 0\n"
                        " from:    5.000   5.000   5.000 to:    5.000   5.000  16.500\n");
  match->ditch_contact_match(0);
  std::ostringstream none;
  match->print_contact_points(resource, none, true);
  EXPECT_EQ(none.str(), "");
}

// ---- translation constraints ----

class TranslationConstraintTest : public ::testing::Test {
protected:
  void SetUp() override {
    motif = make_handle<Motif>("chain");
    motif->add_substructure(chain_fragment({"O", "H"}));
    motif->add_substructure(chain_fragment({"O", "H"}));
    // Fragment 0 atom 1 and fragment 1 atom 0 must be one crystal atom in two cells.
    motif->add_translation_constraint(make_handle<MotifTranslationConstraint>(0, 1, 1, 0));
    match = make_handle<MotifMatch>(motif);
    match->set_substructure_match(0, 3, 1, atom_list({4, 6}), tr(0, 0, 0));
  }
  THandle<Motif> motif;
  THandle<MotifMatch> match;
};

TEST_F(TranslationConstraintTest, SameAtomOfTheSameCopyInAnotherCellPasses) {
  match->set_substructure_match(1, 3, 1, atom_list({6, 4}), tr(1, 0, 0));
  EXPECT_TRUE(match->test_translation_constraints());
  match->set_substructure_match(1, 3, 1, atom_list({6, 4}), tr(0, 0, 0));
  EXPECT_TRUE(match->test_translation_constraints());
}

TEST_F(TranslationConstraintTest, OtherAtomOrOtherCopyFails) {
  match->set_substructure_match(1, 3, 1, atom_list({4, 6}), tr(1, 0, 0));
  EXPECT_FALSE(match->test_translation_constraints());
  match->set_substructure_match(1, 2, 1, atom_list({6, 4}), tr(1, 0, 0));
  EXPECT_FALSE(match->test_translation_constraints());
}

TEST_F(TranslationConstraintTest, NoConstraintsOrUnplacedPartsPass) {
  EXPECT_TRUE(match->test_translation_constraints()); // fragment 1 not placed
  MotifMatch plain(testing::three_fragment_ring());
  EXPECT_TRUE(plain.test_translation_constraints());
}

// ---- distinct contact points ----

class VertexCountTest : public ::testing::Test {
protected:
  // Fragments 0..n-1 and the given contacts, every part placed.
  THandle<MotifMatch> placed(int nfragments, const std::vector<std::pair<int, int>> &contacts) {
    auto motif = make_handle<Motif>("v");
    for (int i = 0; i < nfragments; ++i)
      motif->add_substructure(chain_fragment({"O", "H"}));
    for (auto [a, b] : contacts)
      motif->add_contact(make_handle<MotifContact>(a, 0, b, 0, testing::window(3.5)));
    auto m = make_handle<MotifMatch>(motif);
    for (int i = 0; i < nfragments; ++i)
      m->set_substructure_match(i, i, 0, atom_list({0, 1}), tr(0, 0, 0));
    return m;
  }
  void set(MotifMatch &m, int j, const Point &from, const Point &to) {
    m.set_contact_match(j, make_handle<AtomAddress>(), make_handle<AtomAddress>(), from, to);
  }
};

TEST_F(VertexCountTest, TwoContactsSharingOneAtomHaveThreePoints) {
  auto m = placed(3, {{0, 1}, {0, 2}});
  set(*m, 0, Point(0, 0, 0), Point(3, 0, 0));
  set(*m, 1, Point(0, 0, 0), Point(0, 3, 0));
  EXPECT_EQ(m->nvertices(), 3);
}

TEST_F(VertexCountTest, EndsOfOneContactAreNotComparedWithEachOther) {
  auto m = placed(2, {{0, 1}});
  set(*m, 0, Point(0, 0, 0), Point(0.4, 0, 0));
  EXPECT_EQ(m->nvertices(), 2);
}

TEST_F(VertexCountTest, PointsCloserThanHalfAnAngstromAreOne) {
  auto m = placed(3, {{0, 1}, {1, 2}});
  set(*m, 0, Point(0, 0, 0), Point(3, 0, 0));
  set(*m, 1, Point(3, 0.4999, 0), Point(6, 0, 0));
  EXPECT_EQ(m->nvertices(), 3);
  set(*m, 1, Point(3, 0.5, 0), Point(6, 0, 0)); // exactly 0.5 apart: a new point
  EXPECT_EQ(m->nvertices(), 4);
  set(*m, 1, Point(0.3, 0, 0), Point(3, 0, 0.3)); // both ends already listed
  EXPECT_EQ(m->nvertices(), 2);
}

TEST_F(VertexCountTest, IncompleteMatchHasNoVertices) {
  auto m = placed(3, {{0, 1}, {0, 2}});
  set(*m, 0, Point(0, 0, 0), Point(3, 0, 0));
  EXPECT_EQ(m->nvertices(), 0);
  set(*m, 1, Point(0, 0, 0), Point(0, 3, 0));
  m->ditch_substruct_match(2);
  EXPECT_EQ(m->nvertices(), 0);
}

} // namespace
} // namespace xtalmotif
