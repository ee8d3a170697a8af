// Results looked up against the database: the structure is re-read and its environment rebuilt,
// so atoms, molecules and contact atoms of stored matches come back where the search found them.

#include "results/motif_search_results.h"

#include "search/environment_test_crystals.h"
#include "search/match_test_motifs.h"

#include <gtest/gtest.h>

#include <sstream>

namespace xtalmotif {
namespace {

using testing::atom_list;

THandle<Translation> tr(int a, int b, int c) { return make_handle<Translation>(a, b, c); }

void expect_point(const Point &actual, double x, double y, double z, double tol = 1e-9) {
  EXPECT_NEAR(actual[0], x, tol);
  EXPECT_NEAR(actual[1], y, tol);
  EXPECT_NEAR(actual[2], z, tol);
}

// One structure in memory: a cubic 10 angstrom cell in P-1 holding O1-C1-N1 with a right angle
// at C1 and 45 degrees at O1:
//   O1 (0.30, 0.20, 0.10), C1 (0.20, 0.20, 0.10), N1 (0.20, 0.30, 0.10)
// and a water Ow (0.70, 0.60, 0.40). Copies: 0 molecule, 1 its inverse, 2 water, 3 its inverse.
class ResultsLookupTest : public ::testing::Test {
protected:
  void SetUp() override {
    auto cm = testing::make_crystal(10, 10, 10, 90, 90, 90, testing::p1bar_operators());
    testing::add_sited_molecule(*cm, {{"O", "O1", Point(0.30, 0.20, 0.10)},
                                      {"C", "C1", Point(0.20, 0.20, 0.10)},
                                      {"N", "N1", Point(0.20, 0.30, 0.10)}});
    testing::add_sited_molecule(*cm, {{"O", "Ow", Point(0.70, 0.60, 0.40)}});
    db = make_handle<MemoryDatabase>();
    db->add(DatabaseEntryIdentifier("MEMXTL"), cm);

    motif = make_handle<Motif>("ocn-water");
    motif->add_substructure(testing::chain_fragment({"O", "C", "N"}));
    motif->add_substructure(testing::chain_fragment({"O"}));
    motif->add_contact(make_handle<MotifContact>(0, 2, 1, 0, testing::window(3.5)));

    // Fragment 0 on the inverse copy, one cell along +a; the water on copy 2 in its own cell.
    match = make_handle<MotifMatch>(motif);
    match->set_substructure_match(0, 1, 0, atom_list({0, 1, 2}), tr(1, 0, 0));
    match->set_substructure_match(1, 2, 1, atom_list({0}), tr(0, 0, 0));
    match->set_contact_match(0, make_handle<AtomAddress>(1, 0, 2, tr(1, 0, 0)),
                             make_handle<AtomAddress>(2, 1, 0, tr(0, 0, 0)), Point(8, 7, 9),
                             Point(7, 6, 4));

    results.set_database(db);
    results.add_motif_match(DatabaseEntryIdentifier("MEMXTL"), match);
  }
  THandle<MemoryDatabase> db;
  THandle<Motif> motif;
  THandle<MotifMatch> match;
  MotifSearchResults results;
};

TEST_F(ResultsLookupTest, ResultRebuildsTheEnvironmentAndSharesTheMatches) {
  auto r = results.result(0);
  ASSERT_FALSE(r.is_null());
  EXPECT_EQ(r->db_id().str(), "MEMXTL");
  EXPECT_EQ(r->motif_matches().get(), results.motif_matches(0u).get());
  ASSERT_FALSE(r->resource().is_null());
  EXPECT_EQ(r->resource()->ncopies(), 4);
  auto by_id = results.result(DatabaseEntryIdentifier("MEMXTL"));
  ASSERT_FALSE(by_id.is_null());
  EXPECT_NE(by_id->resource().get(), r->resource().get()); // nothing cached
  EXPECT_TRUE(results.result(1).is_null());
}

TEST_F(ResultsLookupTest, ResultOfAnEntryWithoutMatchesHasAnEmptyList) {
  results.clear();
  auto empty = results.result(DatabaseEntryIdentifier("MEMXTL"));
  ASSERT_FALSE(empty.is_null());
  EXPECT_TRUE(empty->motif_matches()->empty());
  EXPECT_EQ(empty->resource()->ncopies(), 4);
}

TEST_F(ResultsLookupTest, ResultSeesMatchesAddedAfterItWasTaken) {
  auto r = results.result(0);
  results.add_motif_match(DatabaseEntryIdentifier("MEMXTL"), make_handle<MotifMatch>(*match));
  EXPECT_EQ(r->motif_matches()->size(), 2u);
}

TEST_F(ResultsLookupTest, MatchedAtomIsPlacedAtItsSymmetryCopyAndCell) {
  // Fragment 0 atom 2 is N1 of the inverse copy moved by +a: (-0.2 + 1, -0.3, -0.1).
  THandle<Atom> n = results.matched_atom(0, 0, 0, 2);
  EXPECT_EQ(n->label(), "N1");
  expect_point(n->site()->fractional(), 0.8, -0.3, -0.1);
  expect_point(n->site()->orthogonal(), 8.0, -3.0, -1.0);
  THandle<Atom> w = results.matched_atom(0, 0, 1, 0);
  EXPECT_EQ(w->label(), "Ow");
  expect_point(w->site()->orthogonal(), 7.0, 6.0, 4.0);

  auto r = results.result(0);
  THandle<Atom> same = r->matched_atom(0, 0, 2);
  expect_point(same->site()->fractional(), 0.8, -0.3, -0.1);

  EXPECT_THROW(results.matched_atom(0, 1, 0, 0), std::out_of_range);
  EXPECT_THROW(r->matched_atom(1, 0, 0), std::out_of_range);
  EXPECT_THROW(r->matched_atom(-1, 0, 0), std::out_of_range);
}

TEST_F(ResultsLookupTest, MatchedMoleculeAndAtomsComeFromTheResultsEnvironment) {
  auto r = results.result(0);
  THandle<Molecule> m = r->matched_molecule(0, 0);
  ASSERT_EQ(m->natoms(), 3);
  expect_point(m->atom(0)->site()->fractional(), 0.7, -0.2, -0.1);
  expect_point(m->atom(1)->site()->fractional(), 0.8, -0.2, -0.1);
  auto atoms = r->matched_atoms(0, 1);
  ASSERT_EQ(atoms->size(), 1u);
  EXPECT_EQ((*atoms)[0]->label(), "Ow");
  expect_point((*atoms)[0]->site()->fractional(), 0.7, 0.6, 0.4);
  EXPECT_THROW(r->matched_molecule(0, 2), std::out_of_range);
}

TEST_F(ResultsLookupTest, ContactAtomsAreTheCrystalMoleculesOwnAtoms) {
  auto pairs = results.matched_contact_atoms(0, true);
  ASSERT_EQ(pairs.size(), 1u);
  EXPECT_EQ(pairs[0].first->label(), "N1");
  EXPECT_EQ(pairs[0].second->label(), "Ow");
  // Asymmetric-unit coordinates, not those of the contact.
  expect_point(pairs[0].first->site()->fractional(), 0.2, 0.3, 0.1);
  expect_point(pairs[0].second->site()->fractional(), 0.7, 0.6, 0.4);

  // A second match realising the contact the other way round is dropped only when unique.
  auto reverse = make_handle<MotifMatch>(*match);
  reverse->set_contact_match(0, make_handle<AtomAddress>(2, 1, 0, tr(0, 0, 0)),
                             make_handle<AtomAddress>(1, 0, 2, tr(1, 0, 0)), Point(), Point());
  results.add_motif_match(DatabaseEntryIdentifier("MEMXTL"), reverse);
  EXPECT_EQ(results.matched_contact_atoms(0, true).size(), 1u);
  auto both = results.matched_contact_atoms(0, false);
  ASSERT_EQ(both.size(), 2u);
  EXPECT_EQ(both[1].first->label(), "Ow");
  EXPECT_EQ(both[1].second->label(), "N1");
}

TEST_F(ResultsLookupTest, LookupsThatNeedTheDatabaseFailWithoutOne) {
  MotifSearchResults unbound;
  unbound.add_motif_match(DatabaseEntryIdentifier("MEMXTL"), match);
  EXPECT_TRUE(unbound.result(0).is_null());
  EXPECT_THROW(unbound.matched_atom(0, 0, 0, 0), NullHandleError);
  EXPECT_THROW(unbound.matched_contact_atoms(0, true), NullHandleError);
}

TEST_F(ResultsLookupTest, MatchedAnglesArePrintedWhetherOrNotTheySatisfyTheirCondition) {
  // O1-C1-N1 is 90 degrees and C1-O1-N1 45 degrees in any copy and cell; the conditions are
  // chosen to fail and must not matter.
  motif->add_angle_constraint(make_handle<MotifAngleConstraint>(
      0, 0, 0, 1, 0, 2, make_handle<InclusiveRange>("a", 0.0, 1.0)));
  motif->add_angle_constraint(make_handle<MotifAngleConstraint>(
      0, 1, 0, 0, 0, 2, make_handle<InclusiveRange>("b", 0.0, 1.0)));
  auto r = results.result(0);
  std::ostringstream os;
  r->print_matched_angles(0, os);
  EXPECT_EQ(os.str(), "angle 0: O1, C1, N1 = 90 \n"
                      "angle 1: C1, O1, N1 = 45 \n");
}

TEST_F(ResultsLookupTest, MatchedAngleAcrossTwoMoleculesUsesTheirFoundPositions) {
  // N1 of the translated inverse copy at (8, -3, -1), its C1 at (8, -2, -1), the water at
  // (7, 6, 4): angle C1-N1-Ow between (0, 1, 0) and (-1, 9, 5).
  motif->add_angle_constraint(make_handle<MotifAngleConstraint>(
      0, 1, 0, 2, 1, 0, make_handle<InclusiveRange>("hb", 0.0, 180.0)));
  std::ostringstream expected;
  Angle::from_radians(std::acos(9.0 / std::sqrt(107.0))).print(expected);
  std::ostringstream os;
  results.result(0)->print_matched_angles(0, os);
  EXPECT_EQ(os.str(), "angle 0: C1, N1, Ow = " + expected.str() + " \n");
  EXPECT_NE(expected.str(), "0");
}

} // namespace
} // namespace xtalmotif
