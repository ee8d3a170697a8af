// Choosing the next contact to follow and placing a substructure with a pinned atom.

#include "search/motif_search.h"
#include "search_test_support.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace xtalmotif {
namespace {

using testing::absolute_criterion;
using testing::contact;
using testing::single_atom_substructure;
using testing::water_substructure;
using testing::water_triangle_crystal;

// Three single-oxygen substructures; contact 0 joins 1 and 2, contact 1 joins 0 to 1, and
// contact 2 is written from 2 to 0.
class NextSubstructureTest : public ::testing::Test {
protected:
  void SetUp() override {
    motif = make_handle<Motif>("three");
    for (int i = 0; i < 3; ++i)
      motif->add_substructure(single_atom_substructure("O"));
    auto crit = absolute_criterion(2.5, 3.0, ContactType::Inter);
    motif->add_contact(contact(1, 0, 2, 0, crit));
    motif->add_contact(contact(0, 0, 1, 0, crit));
    motif->add_contact(contact(2, 0, 0, 0, crit));
    search.set_search_structure(water_triangle_crystal(), DatabaseEntryIdentifier("w3"));
    search.set_motif(motif);
  }
  void place(int s) {
    search.match()->set_substructure_match(s, s, s, make_handle<std::vector<int>>(1, 0),
                                           make_handle<Translation>(0, 0, 0));
  }
  void record(int c) {
    search.match()->set_contact_match(c, make_handle<AtomAddress>(), make_handle<AtomAddress>(),
                                      Point(), Point());
  }
  std::pair<int, int> next(int from0 = 7, int to0 = 9) {
    int from = from0;
    int to = to0;
    search.get_next_substructures(from, to);
    return {from, to};
  }

  THandle<Motif> motif;
  MotifSearch search;
};

TEST_F(NextSubstructureTest, NothingPlacedLeavesBothArgumentsAlone) {
  EXPECT_EQ(next(), std::make_pair(7, 9));
}

TEST_F(NextSubstructureTest, LowestNumberedContactFromThePlacedPartIsFollowed) {
  place(0);
  // Contact 0 joins two unplaced substructures; contact 1 leads from 0 to 1.
  EXPECT_EQ(next(), std::make_pair(0, 1));
}

TEST_F(NextSubstructureTest, ContactIsFollowedBackwardsFromItsSecondEnd) {
  place(2);
  // Contact 0 runs 1 -> 2 and only 2 is placed: it is followed from 2 to 1.
  EXPECT_EQ(next(), std::make_pair(2, 1));
}

TEST_F(NextSubstructureTest, RecordedContactsAreSkipped) {
  place(0);
  record(1);
  // Contact 1 is recorded already; contact 2 runs 2 -> 0 and is followed backwards.
  EXPECT_EQ(next(), std::make_pair(0, 2));
}

TEST_F(NextSubstructureTest, ContactsBetweenPlacedSubstructuresLeadNowhere) {
  place(0);
  place(1);
  place(2);
  EXPECT_EQ(next(-1, -1), std::make_pair(-1, -1));
  // And with everything recorded as well.
  record(0);
  record(1);
  record(2);
  EXPECT_EQ(next(4, 5), std::make_pair(4, 5));
}

// Placements of a water (O, H, H) on the three waters of the triangle crystal.
class FindSubstructuresTest : public ::testing::Test {
protected:
  void SetUp() override {
    motif = make_handle<Motif>("waters");
    motif->add_substructure(water_substructure());
    motif->add_substructure(water_substructure());
    search.set_search_structure(water_triangle_crystal(), DatabaseEntryIdentifier("w3"));
    search.set_motif(motif);
  }
  THandle<Motif> motif;
  MotifSearch search;
};

TEST_F(FindSubstructuresTest, PinnedOxygenGivesBothHydrogenOrders) {
  auto hits = search.find_substructures(0, 1, {{0, 0}});
  // The molecule is O(0), H(1), H(2): the two hydrogens may be matched either way round, and
  // the lower molecule atom is tried first for query atom 1.
  ASSERT_EQ(hits->size(), 2u);
  EXPECT_EQ(*(*hits)[0], (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(*(*hits)[1], (std::vector<int>{0, 2, 1}));
}

TEST_F(FindSubstructuresTest, PinningAHydrogenOntoTheOxygenFindsNothing) {
  EXPECT_TRUE(search.find_substructures(0, 0, {{1, 0}})->empty());
  EXPECT_EQ(search.find_substructures(0, 0, {{1, 2}})->size(), 1u);
}

TEST_F(FindSubstructuresTest, EqualQuestionReturnsTheSameListObject) {
  auto first = search.find_substructures(0, 2, {{0, 0}});
  auto again = search.find_substructures(0, 2, {{0, 0}});
  EXPECT_EQ(first.get(), again.get());
  EXPECT_EQ(search.substruct_crumbs().size(), 1u);
  // Substructure 1 is an equal query graph held in another object: equal by value, so the
  // remembered answer serves it too.
  ASSERT_NE(motif->substructure(0).get(), motif->substructure(1).get());
  EXPECT_EQ(search.find_substructures(1, 2, {{0, 0}}).get(), first.get());
}

TEST_F(FindSubstructuresTest, DifferentMoleculeOrPinnedAtomsIsANewSearch) {
  auto first = search.find_substructures(0, 2, {{0, 0}});
  EXPECT_NE(search.find_substructures(0, 1, {{0, 0}}).get(), first.get());
  EXPECT_NE(search.find_substructures(0, 2, {{1, 1}}).get(), first.get());
  EXPECT_NE(search.find_substructures(0, 2, {}).get(), first.get());
  EXPECT_EQ(search.substruct_crumbs().size(), 4u);
}

TEST_F(FindSubstructuresTest, DifferentSubstructureIsANewSearch) {
  auto other = make_handle<Motif>("o");
  other->add_substructure(single_atom_substructure("O", 3, 3));
  auto first = search.find_substructures(0, 0, {{0, 0}});
  search.set_motif(other);
  auto second = search.find_substructures(0, 0, {{0, 0}});
  EXPECT_NE(first.get(), second.get());
  ASSERT_EQ(second->size(), 1u);
  EXPECT_EQ(*(*second)[0], std::vector<int>{0});
}

TEST_F(FindSubstructuresTest, WithoutReuseEqualQuestionsGiveDistinctEqualLists) {
  search.set_reuse_substructure_hits(false);
  auto a = search.find_substructures(0, 2, {{0, 0}});
  auto b = search.find_substructures(0, 2, {{0, 0}});
  EXPECT_NE(a.get(), b.get());
  ASSERT_EQ(a->size(), b->size());
  for (std::size_t i = 0; i < a->size(); ++i)
    EXPECT_EQ(*(*a)[i], *(*b)[i]);
  EXPECT_TRUE(search.substruct_crumbs().empty());
}

TEST_F(FindSubstructuresTest, NewStructureForgetsRememberedPlacements) {
  auto before = search.find_substructures(0, 0, {{0, 0}});
  search.set_search_structure(water_triangle_crystal(), DatabaseEntryIdentifier("again"));
  EXPECT_TRUE(search.substruct_crumbs().empty());
  auto after = search.find_substructures(0, 0, {{0, 0}});
  EXPECT_NE(before.get(), after.get());
  EXPECT_EQ(after->size(), 2u);
}

TEST_F(FindSubstructuresTest, SubstructureOutOfRangeIsTheListRangeError) {
  EXPECT_THROW(search.find_substructures(2, 0, {}), std::out_of_range);
}

TEST(SubstructBreadCrumTest, ParametersAreComparedByValue) {
  auto s = water_substructure();
  std::map<int, int> fixed{{0, 3}};
  SubstructBreadCrum crum(4, s, fixed, make_handle<SubstructureHitList>());
  EXPECT_TRUE(crum.are_search_params_equal(make_handle<MotifSubstructure>(*s), 4, fixed));
  EXPECT_FALSE(crum.are_search_params_equal(s, 5, fixed));
  EXPECT_FALSE(crum.are_search_params_equal(s, 4, {{0, 2}}));
  EXPECT_FALSE(crum.are_search_params_equal(s, 4, {{0, 3}, {1, 4}}));
  EXPECT_FALSE(crum.are_search_params_equal(single_atom_substructure("O"), 4, fixed));
  // The map was copied: changing the caller's map afterwards changes nothing.
  fixed[0] = 1;
  EXPECT_TRUE(crum.are_search_params_equal(s, 4, {{0, 3}}));
}

} // namespace
} // namespace xtalmotif
