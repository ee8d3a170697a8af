// The search driver on crystals built in code: entry points, the match limit, accumulation of
// results, first placements and the recursive step.

#include "db/database.h"
#include "search/motif_search.h"
#include "search_test_support.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>

namespace xtalmotif {
namespace {

using testing::absolute_criterion;
using testing::add_molecule;
using testing::contact;
using testing::empty_crystal;
using testing::single_atom_substructure;
using testing::water_substructure;
using testing::water_triangle_crystal;

const DatabaseEntryIdentifier unknown("unknown");

// The triangle of waters (molecules 0 to 2) and a methanol (molecule 3, six atoms) far off,
// with its oxygen at (7.43, 6, 6).
THandle<CrystalMaker> triangle_and_methanol() {
  auto c = water_triangle_crystal();
  add_molecule(*c,
               {{"C", Point(6.0, 6.0, 6.0)},
                {"O", Point(7.43, 6.0, 6.0)},
                {"H", Point(7.75, 6.9, 6.0)},
                {"H", Point(5.64, 7.0, 6.0)},
                {"H", Point(5.64, 5.5, 6.87)},
                {"H", Point(5.64, 5.5, 5.13)}},
               {{0, 1}, {1, 2}, {0, 3}, {0, 4}, {0, 5}});
  return c;
}

THandle<Motif> one_oxygen_motif(int min, int max) {
  auto m = make_handle<Motif>("oxygen");
  m->add_substructure(single_atom_substructure("O", min, max));
  return m;
}

// Three water oxygens pairwise 2.5 to 3.0 A apart in different molecules.
THandle<Motif> triangle_motif() {
  auto m = make_handle<Motif>("triangle");
  for (int i = 0; i < 3; ++i)
    m->add_substructure(single_atom_substructure("O", 3, 3));
  auto crit = absolute_criterion(2.5, 3.0, ContactType::Inter);
  m->add_contact(contact(0, 0, 1, 0, crit));
  m->add_contact(contact(1, 0, 2, 0, crit));
  m->add_contact(contact(2, 0, 0, 0, crit));
  return m;
}

int nmatches(const MotifSearch& s, const DatabaseEntryIdentifier& id = unknown) {
  return static_cast<int>(s.results()->motif_matches(id)->size());
}

TEST(MotifSearchDefaultsTest, FreshSearchHasTheDocumentedSettings) {
  MotifSearch s;
  EXPECT_EQ(s.limit(), 1u);
  EXPECT_EQ(s.max_calls(), 1000000);
  EXPECT_TRUE(s.use_filters());
  EXPECT_TRUE(s.reuse_substructure_hits());
  EXPECT_FALSE(s.torsion_flag());
  EXPECT_FALSE(s.aborted());
  EXPECT_EQ(s.entry_id(), unknown);
  EXPECT_EQ(s.motif()->nsubstructures(), 0);
  EXPECT_EQ(s.crystal()->nmolecules(), 0);
  EXPECT_EQ(s.resource()->ncopies(), 0);
  EXPECT_EQ(s.results()->nentries(), 0);
  EXPECT_TRUE(s.filters()->bit_screens()->screens.empty());
  EXPECT_TRUE(s.bit_screens()->screens.empty());
}

// ---------------------------------------------------------------- limit and accumulation

TEST(MatchLimitTest, DefaultLimitStoresOnlyTheFirstMatchOfAStructure) {
  MotifSearch s;
  s.search(water_triangle_crystal(), one_oxygen_motif(3, 3), 0);
  EXPECT_EQ(s.results()->nentries(), 1);
  ASSERT_EQ(nmatches(s), 1);
  EXPECT_EQ(s.results()->motif_matches(unknown)->at(0)->substructure_matches[0]->nmol_in_msr, 0);
}

TEST(MatchLimitTest, RaisedLimitStopsAfterThatManyMatches) {
  MotifSearch s;
  s.set_limit(2);
  s.search(water_triangle_crystal(), one_oxygen_motif(3, 3), 0);
  ASSERT_EQ(nmatches(s), 2);
  // Molecules are tried in order for the first placement.
  const auto& matches = *s.results()->motif_matches(unknown);
  EXPECT_EQ(matches[0]->substructure_matches[0]->nmol_in_msr, 0);
  EXPECT_EQ(matches[1]->substructure_matches[0]->nmol_in_msr, 1);
  EXPECT_EQ(s.nfound(), 0);
}

TEST(MatchLimitTest, CountOfAnUnfinishedStructureCarriesOverToTheNext) {
  MotifSearch s;
  s.set_limit(5);
  s.search(water_triangle_crystal(), one_oxygen_motif(3, 3), 0);
  EXPECT_EQ(nmatches(s), 3);
  EXPECT_EQ(s.nfound(), 3);
  // The second structure reaches the limit of five after two more matches.
  s.search(water_triangle_crystal(), one_oxygen_motif(3, 3), 0);
  EXPECT_EQ(nmatches(s), 5);
  EXPECT_EQ(s.nfound(), 0);
}

TEST(MatchLimitTest, OneSubstructureMotifStoresEveryHitUpToTheLimit) {
  MotifSearch s;
  s.set_limit(100);
  auto m = make_handle<Motif>("water");
  m->add_substructure(water_substructure());
  s.search(water_triangle_crystal(), m, 0);
  // Three waters, each matched with its two hydrogens either way round.
  EXPECT_EQ(nmatches(s), 6);
}

TEST(AccumulationTest, SingleStructureSearchesAddToTheResults) {
  MotifSearch s;
  s.search(water_triangle_crystal(), one_oxygen_motif(3, 3), 0);
  s.search(water_triangle_crystal(), one_oxygen_motif(3, 3), 0);
  EXPECT_EQ(s.results()->nentries(), 1);
  EXPECT_EQ(nmatches(s), 2);
  // The motif-only form searches the current structure again.
  s.search(one_oxygen_motif(3, 3), 0);
  EXPECT_EQ(nmatches(s), 3);
}

TEST(AccumulationTest, DatabaseSearchClearsButLaterSingleSearchesKeep) {
  auto db = make_handle<MemoryDatabase>();
  db->add(DatabaseEntryIdentifier("tri"), water_triangle_crystal());
  auto dry = empty_crystal(10, 10, 10);
  add_molecule(*dry, {{"C", Point(1, 1, 1)}, {"C", Point(2.5, 1, 1)}}, {{0, 1}});
  db->add(DatabaseEntryIdentifier("dry"), dry);

  MotifSearch s;
  s.search(water_triangle_crystal(), one_oxygen_motif(3, 3), 0);
  ASSERT_EQ(nmatches(s), 1);
  s.search(THandle<Database<CrystalStructureDatabaseEntry>>(db), one_oxygen_motif(3, 3));
  EXPECT_EQ(s.results()->get_database().get(), db.get());
  EXPECT_EQ(s.results()->db_ids(),
            std::vector<DatabaseEntryIdentifier>{DatabaseEntryIdentifier("tri")});
  EXPECT_EQ(nmatches(s, DatabaseEntryIdentifier("tri")), 1);

  s.search(water_triangle_crystal(), one_oxygen_motif(3, 3), 0);
  EXPECT_EQ(s.results()->nentries(), 2);
  EXPECT_EQ(nmatches(s, DatabaseEntryIdentifier("tri")), 1);
  EXPECT_EQ(nmatches(s), 1);
}

TEST(AccumulationTest, OneEntryOfADatabaseIsSearchedByIdentifier) {
  auto db = make_handle<MemoryDatabase>();
  db->add(DatabaseEntryIdentifier("a"), water_triangle_crystal());
  db->add(DatabaseEntryIdentifier("b"), water_triangle_crystal());
  MotifSearch s;
  s.search(THandle<Database<CrystalStructureDatabaseEntry>>(db), DatabaseEntryIdentifier("b"),
           one_oxygen_motif(3, 3));
  EXPECT_EQ(s.results()->db_ids(),
            std::vector<DatabaseEntryIdentifier>{DatabaseEntryIdentifier("b")});
  EXPECT_EQ(s.entry_id(), DatabaseEntryIdentifier("b"));
}

// ---------------------------------------------------------------- first placement

TEST(FirstPlacementTest, MoleculesOutsideTheTargetSizeAreNeverUsed) {
  MotifSearch s;
  s.set_limit(10);
  s.search(triangle_and_methanol(), one_oxygen_motif(4, 10), 0);
  ASSERT_EQ(nmatches(s), 1);
  const MotifMatch& m = *s.results()->motif_matches(unknown)->at(0);
  // The methanol, molecule 3 of the crystal; its atom 1 is the oxygen.
  EXPECT_EQ(m.substructure_matches[0]->nmol_in_msr, 3);
  EXPECT_EQ(m.substructure_matches[0]->nmol_in_cm, 3);
  EXPECT_EQ(*m.substructure_matches[0]->atoms, std::vector<int>{1});
  EXPECT_EQ(*m.substructure_matches[0]->translation, Translation(0, 0, 0));
  THandle<Atom> atom = s.resource()->atom(m.atom_address2(0, 0));
  EXPECT_EQ(atom->element(), Element("O"));
  EXPECT_NEAR(distance(atom->position(), Point(7.43, 6.0, 6.0)), 0.0, 1e-9);

  MotifSearch waters_only;
  waters_only.set_limit(10);
  waters_only.search(triangle_and_methanol(), one_oxygen_motif(3, 3), 0);
  ASSERT_EQ(nmatches(waters_only), 3);
  auto waters = waters_only.results()->motif_matches(unknown);
  for (const auto& match : *waters)
    EXPECT_NE(match->substructure_matches[0]->nmol_in_cm, 3);
}

TEST(FirstPlacementTest, ChosenFirstSubstructureIsPlacedFirst) {
  auto m = make_handle<Motif>("two");
  m->add_substructure(single_atom_substructure("O", 3, 3));
  m->add_substructure(single_atom_substructure("C"));
  m->add_contact(contact(0, 0, 1, 0, absolute_criterion(0.5, 20.0, ContactType::Inter)));
  MotifSearch s;
  s.search(triangle_and_methanol(), m, 1);
  ASSERT_EQ(nmatches(s), 1);
  // Placed first on the methanol carbon, then the contact followed backwards to a water.
  const MotifMatch& match = *s.results()->motif_matches(unknown)->at(0);
  EXPECT_EQ(match.substructure_matches[1]->nmol_in_cm, 3);
  EXPECT_EQ(match.substructure_matches[0]->nmol_in_cm, 0);
}

TEST(FirstPlacementTest, FirstIndexBeyondTheMotifIsARangeError) {
  MotifSearch s;
  EXPECT_THROW(s.search(water_triangle_crystal(), triangle_motif(), 3), std::out_of_range);
  // A structure without molecules is left before the substructure is looked up.
  EXPECT_NO_THROW(s.search(empty_crystal(5, 5, 5), triangle_motif(), 3));
  EXPECT_EQ(s.results()->nentries(), 0);
}

// ---------------------------------------------------------------- the recursive step

TEST(RecursiveStepTest, TriangleOfWatersIsFoundInEveryOrder) {
  MotifSearch s;
  s.set_limit(100);
  s.search(water_triangle_crystal(), triangle_motif(), 0);
  // Three waters arranged around the triangle: 3! assignments, each once.
  ASSERT_EQ(nmatches(s), 6);
  std::set<std::vector<int>> orders;
  auto found = s.results()->motif_matches(unknown);
  for (const auto& match : *found) {
    ASSERT_TRUE(match->is_found());
    std::vector<int> copies;
    for (const auto& sm : match->substructure_matches) {
      copies.push_back(sm->nmol_in_msr);
      EXPECT_EQ(*sm->translation, Translation(0, 0, 0));
    }
    orders.insert(copies);
    for (const auto& cm : match->contact_matches)
      EXPECT_NEAR(distance(cm->from_point, cm->to_point), 2.8, 1e-9);
  }
  EXPECT_EQ(orders.size(), 6u);
  EXPECT_EQ(s.max_depth(), 2);
  EXPECT_EQ(s.depth(), 0);
  EXPECT_FALSE(s.aborted());
}

TEST(RecursiveStepTest, FourWaterChainCannotBeMadeOfThreeWaters) {
  auto m = make_handle<Motif>("chain of four");
  for (int i = 0; i < 4; ++i)
    m->add_substructure(single_atom_substructure("O", 3, 3));
  for (int i = 0; i < 3; ++i)
    m->add_contact(contact(i, 0, i + 1, 0, absolute_criterion(2.5, 3.0, ContactType::Inter)));
  MotifSearch s;
  s.search(water_triangle_crystal(), m, 0);
  EXPECT_EQ(s.results()->nentries(), 0);
  EXPECT_EQ(s.depth(), 0);
  EXPECT_EQ(s.max_depth(), 3); // the fourth water is sought at depth three and never found
}

TEST(RecursiveStepTest, AngleConstraintIsAppliedToPlacedAtoms) {
  for (auto [low, high, expected] : {std::tuple{55.0, 65.0, 6}, std::tuple{100.0, 120.0, 0}}) {
    auto m = triangle_motif();
    m->add_angle_constraint(make_handle<MotifAngleConstraint>(
        0, 0, 1, 0, 2, 0, make_handle<InclusiveRange>("angle", low, high)));
    MotifSearch s;
    s.set_limit(100);
    s.search(water_triangle_crystal(), m, 0);
    EXPECT_EQ(nmatches(s), expected) << "angle window " << low << " to " << high;
  }
}

TEST(RecursiveStepTest, MotifWithoutContactsBetweenItsSubstructuresIsNeverComplete) {
  auto m = make_handle<Motif>("disconnected");
  m->add_substructure(single_atom_substructure("O", 3, 3));
  m->add_substructure(single_atom_substructure("O", 3, 3));
  MotifSearch s;
  EXPECT_NO_THROW(s.search(water_triangle_crystal(), m, 0));
  EXPECT_EQ(s.results()->nentries(), 0);
  EXPECT_EQ(s.depth(), 0);
}

TEST(RecursiveStepTest, MatchesAreStoredAsIndependentCopies) {
  MotifSearch s;
  s.set_limit(2);
  s.search(water_triangle_crystal(), triangle_motif(), 0);
  ASSERT_EQ(nmatches(s), 2);
  const auto& matches = *s.results()->motif_matches(unknown);
  EXPECT_NE(matches[0].get(), matches[1].get());
  EXPECT_NE(matches[0].get(), s.match().get());
  EXPECT_NE(matches[0]->substructure_matches[0].get(), s.match()->substructure_matches[0].get());
  EXPECT_EQ(matches[0]->motif.get(), s.motif().get());
}

TEST(TimersTest, StagesOfASearchAreTimed) {
  MotifSearch s;
  s.search(water_triangle_crystal(), triangle_motif(), 0);
  ASSERT_EQ(s.timers().count(MotifSearch::timer_search), 1u);
  ASSERT_EQ(s.timers().count(MotifSearch::timer_environment), 1u);
  EXPECT_EQ(s.timers().at(MotifSearch::timer_search)->count(), 1);
  EXPECT_FALSE(s.timers().at(MotifSearch::timer_search)->running());
  s.search(water_triangle_crystal(), triangle_motif(), 0);
  EXPECT_EQ(s.timers().at(MotifSearch::timer_search)->count(), 2);
}

} // namespace
} // namespace xtalmotif
