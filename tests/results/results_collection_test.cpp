// MotifSearchResults as a collection: matches stored per entry and listed in identifier order,
// the index lookups, duplicate removal among contacts, and the printed listings.

#include "results/motif_search_results.h"

#include "search/match_test_motifs.h"

#include <gtest/gtest.h>

#include <sstream>

namespace xtalmotif {
namespace {

using testing::atom_list;

DatabaseEntryIdentifier id(const char *text) { return DatabaseEntryIdentifier(text); }

THandle<Translation> tr(int a, int b, int c) { return make_handle<Translation>(a, b, c); }

THandle<AtomAddress> address(int msr, int cm, int atom, int a, int b, int c) {
  return make_handle<AtomAddress>(msr, cm, atom, tr(a, b, c));
}

/// A motif of two O-H fragments and one contact from fragment 0 atom 1 to fragment 1 atom 0.
THandle<Motif> pair_motif() {
  auto motif = make_handle<Motif>("pair");
  motif->add_substructure(testing::chain_fragment({"O", "H"}));
  motif->add_substructure(testing::chain_fragment({"O", "H"}));
  motif->add_contact(make_handle<MotifContact>(0, 1, 1, 0, testing::window(2.5)));
  return motif;
}

/// A match of pair_motif whose only contact runs between the given addresses.
THandle<MotifMatch> contact_match(const THandle<Motif> &motif, THandle<AtomAddress> from,
                                  THandle<AtomAddress> to) {
  auto m = make_handle<MotifMatch>(motif);
  m->set_substructure_match(0, from->nmol_in_msr, from->nmol_in_cm, atom_list({0, from->natom}),
                            make_handle<Translation>(*from->translation));
  m->set_substructure_match(1, to->nmol_in_msr, to->nmol_in_cm, atom_list({to->natom, 1}),
                            make_handle<Translation>(*to->translation));
  m->set_contact_match(0, std::move(from), std::move(to), Point(), Point());
  return m;
}

// ---- storage and order ----

TEST(ResultsStorageTest, NewCollectionIsEmptyAndUnbound) {
  MotifSearchResults r;
  EXPECT_EQ(r.nentries(), 0);
  EXPECT_TRUE(r.db_ids().empty());
  EXPECT_TRUE(r.database.is_null());
  EXPECT_TRUE(r.db_id(0).is_null());
  EXPECT_TRUE(r.result(0).is_null());
}

TEST(ResultsStorageTest, MatchesAreKeptPerEntryInTheOrderAdded) {
  auto motif = pair_motif();
  auto m1 = make_handle<MotifMatch>(motif);
  auto m2 = make_handle<MotifMatch>(motif);
  MotifSearchResults r;
  r.add_motif_match(id("ABCD01"), m1);
  r.add_motif_match(id("ABCD01"), m2);
  EXPECT_EQ(r.nentries(), 1);
  auto list = r.motif_matches(id("ABCD01"));
  ASSERT_EQ(list->size(), 2u);
  // Stored as given, not copied.
  EXPECT_EQ((*list)[0].get(), m1.get());
  EXPECT_EQ((*list)[1].get(), m2.get());
  // The same list object is handed out each time.
  EXPECT_EQ(r.motif_matches(id("ABCD01")).get(), list.get());
  EXPECT_EQ(r.motif_matches(0u).get(), list.get());
}

TEST(ResultsStorageTest, EntriesAreListedInIdentifierOrderWhateverTheOrderFound) {
  auto motif = pair_motif();
  MotifSearchResults r;
  auto mb = make_handle<MotifMatch>(motif);
  auto ma = make_handle<MotifMatch>(motif);
  auto mc = make_handle<MotifMatch>(motif);
  r.add_motif_match(id("XOZBAA"), mb);
  r.add_motif_match(id("ACSALA"), ma);
  r.add_motif_match(id("BENZEN"), mc);
  ASSERT_EQ(r.nentries(), 3);
  std::vector<DatabaseEntryIdentifier> expected{id("ACSALA"), id("BENZEN"), id("XOZBAA")};
  EXPECT_EQ(r.db_ids(), expected);
  for (unsigned int n = 0; n < 3; ++n) {
    ASSERT_FALSE(r.db_id(n).is_null());
    EXPECT_EQ(*r.db_id(n), expected[n]);
  }
  EXPECT_EQ((*r.motif_matches(0u))[0].get(), ma.get());
  EXPECT_EQ((*r.motif_matches(1u))[0].get(), mc.get());
  EXPECT_EQ((*r.motif_matches(2u))[0].get(), mb.get());
}

TEST(ResultsStorageTest, DbIdIsAFreshCopyAndNullPastTheEnd) {
  MotifSearchResults r;
  r.add_motif_match(id("B"), make_handle<MotifMatch>());
  r.add_motif_match(id("A"), make_handle<MotifMatch>());
  auto first = r.db_id(0);
  auto again = r.db_id(0);
  EXPECT_NE(first.get(), again.get());
  EXPECT_EQ(first->str(), "A");
  EXPECT_TRUE(r.db_id(2).is_null());
  EXPECT_TRUE(r.db_id(100).is_null());
  // Without a database there is no result, for a good index or a bad one.
  EXPECT_TRUE(r.result(0).is_null());
  EXPECT_TRUE(r.result(2).is_null());
  EXPECT_TRUE(r.result(-1).is_null());
  EXPECT_TRUE(r.result(id("A")).is_null());
}

TEST(ResultsStorageTest, UnknownIdentifierGivesANewEmptyListSilently) {
  MotifSearchResults r;
  r.add_motif_match(id("A"), make_handle<MotifMatch>());
  ::testing::internal::CaptureStdout();
  auto list = r.motif_matches(id("Z"));
  auto again = r.motif_matches(id("Z"));
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_TRUE(list->empty());
  EXPECT_NE(list.get(), again.get());
  EXPECT_EQ(r.nentries(), 1); // asking does not add an entry
}

TEST(ResultsStorageTest, IndexPastTheEndGivesAnEmptyListSilently) {
  MotifSearchResults r;
  r.add_motif_match(id("A"), make_handle<MotifMatch>());
  ::testing::internal::CaptureStdout();
  auto list = r.motif_matches(1u);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_TRUE(list->empty());
}

TEST(ResultsStorageTest, IndexIntoAnEmptyCollectionSaysNewMatchesReturned) {
  MotifSearchResults r;
  ::testing::internal::CaptureStdout();
  auto list = r.motif_matches(0u);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "new matches returned\n");
  EXPECT_TRUE(list->empty());
}

TEST(ResultsStorageTest, ClearEmptiesTheEntriesAndKeepsTheDatabase) {
  MotifSearchResults r;
  auto db = make_handle<MemoryDatabase>();
  r.set_database(db);
  r.add_motif_match(id("A"), make_handle<MotifMatch>());
  r.clear();
  EXPECT_EQ(r.nentries(), 0);
  EXPECT_EQ(r.database.get(), db.get());
}

// ---- contacts of an entry ----

TEST(ResultsContactsTest, SameContactInOppositeDirectionsBetweenTheSameAtomsIsListedOnce) {
  auto motif = pair_motif();
  MotifSearchResults r;
  auto m1 = contact_match(motif, address(0, 0, 4, 0, 0, 0), address(3, 0, 2, 1, 0, 0));
  auto m2 = contact_match(motif, address(3, 0, 2, 1, 0, 0), address(0, 0, 4, 0, 0, 0));
  r.add_motif_match(id("E1"), m1);
  r.add_motif_match(id("E1"), m2);

  auto unique = r.matched_contacts(0, true);
  ASSERT_EQ(unique.size(), 1u);
  EXPECT_EQ(unique[0].get(), m1->contact_matches[0].get());

  auto all = r.matched_contacts(0, false);
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[0].get(), m1->contact_matches[0].get());
  EXPECT_EQ(all[1].get(), m2->contact_matches[0].get());
}

TEST(ResultsContactsTest, SameDirectionRepeatIsADuplicateToo) {
  auto motif = pair_motif();
  MotifSearchResults r;
  r.add_motif_match(id("E1"),
                    contact_match(motif, address(0, 0, 4, 0, 0, 0), address(3, 0, 2, 1, 0, 0)));
  // The crystal-maker index takes no part in address equality.
  r.add_motif_match(id("E1"),
                    contact_match(motif, address(0, 5, 4, 0, 0, 0), address(3, 5, 2, 1, 0, 0)));
  EXPECT_EQ(r.matched_contacts(0, true).size(), 1u);
  EXPECT_EQ(r.matched_contacts(0, false).size(), 2u);
}

TEST(ResultsContactsTest, ContactsBetweenTheSameAtomsInOtherCellsAreAllKept) {
  auto motif = pair_motif();
  MotifSearchResults r;
  r.add_motif_match(id("E1"),
                    contact_match(motif, address(0, 0, 4, 0, 0, 0), address(3, 0, 2, 1, 0, 0)));
  r.add_motif_match(id("E1"),
                    contact_match(motif, address(3, 0, 2, 0, 0, 0), address(0, 0, 4, 0, 0, 0)));
  r.add_motif_match(id("E1"),
                    contact_match(motif, address(0, 0, 4, 0, 0, 1), address(3, 0, 2, 1, 0, 1)));
  r.add_motif_match(id("E1"),
                    contact_match(motif, address(0, 0, 5, 0, 0, 0), address(3, 0, 2, 1, 0, 0)));
  EXPECT_EQ(r.matched_contacts(0, true).size(), 4u);
}

TEST(ResultsContactsTest, ContactsOfEveryMatchAreListedInOrderFoundOrNot) {
  auto motif = testing::three_fragment_ring(); // four contacts
  MotifSearchResults r;
  auto m1 = make_handle<MotifMatch>(motif);
  auto m2 = make_handle<MotifMatch>(motif);
  m1->set_contact_match(2, address(1, 0, 0, 0, 0, 0), address(2, 0, 0, 0, 0, 0), Point(), Point());
  r.add_motif_match(id("Q"), m1);
  r.add_motif_match(id("Q"), m2);
  r.add_motif_match(id("P"), make_handle<MotifMatch>(motif));
  auto all = r.matched_contacts(1, false); // entry 1 is "Q"
  ASSERT_EQ(all.size(), 8u);
  for (std::size_t j = 0; j < 4; ++j) {
    EXPECT_EQ(all[j].get(), m1->contact_matches[j].get());
    EXPECT_EQ(all[4 + j].get(), m2->contact_matches[j].get());
  }
  // Unrealised contacts keep their default addresses and collapse onto one another.
  auto unique = r.matched_contacts(1, true);
  ASSERT_EQ(unique.size(), 2u);
  EXPECT_EQ(unique[0].get(), m1->contact_matches[0].get());
  EXPECT_EQ(unique[1].get(), m1->contact_matches[2].get());
  EXPECT_TRUE(r.matched_contacts(2, false).empty());
}

// ---- listings ----

TEST(ResultsPrintTest, PrintWritesEachIdentifierThenItsMatches) {
  auto motif = make_handle<Motif>("one");
  motif->add_substructure(testing::chain_fragment({"O", "H"}));
  auto ma = make_handle<MotifMatch>(motif);
  ma->set_substructure_match(0, 1, 0, atom_list({0, 1}), tr(0, 0, 1));
  auto mb = make_handle<MotifMatch>(motif);
  mb->set_substructure_match(0, 3, 1, atom_list({0, 1}), tr(-1, 0, 0));
  MotifSearchResults r;
  r.add_motif_match(id("ZZZ"), ma);
  r.add_motif_match(id("AAA"), mb);
  r.add_motif_match(id("AAA"), ma);
  std::ostringstream os;
  r.print(os);
  EXPECT_EQ(os.str(), "AAA"
                      "Substructure match: 0 nMol (filled cell): 3 Translation: -1,0,0\n"
                      "Substructure match: 0 nMol (filled cell): 1 Translation: 0,0,1\n"
                      "ZZZ"
                      "Substructure match: 0 nMol (filled cell): 1 Translation: 0,0,1\n");
}

TEST(ResultsPrintTest, PrintDbIdsWritesOneIdentifierPerLine) {
  MotifSearchResults r;
  std::ostringstream empty;
  r.print_db_ids(empty);
  EXPECT_EQ(empty.str(), "");
  r.add_motif_match(id("b2"), make_handle<MotifMatch>());
  r.add_motif_match(id("B1"), make_handle<MotifMatch>());
  r.add_motif_match(id("a3"), make_handle<MotifMatch>());
  std::ostringstream os;
  r.print_db_ids(os);
  // Text order: upper case before lower case.
  EXPECT_EQ(os.str(), "B1\na3\nb2\n");
}

} // namespace
} // namespace xtalmotif
