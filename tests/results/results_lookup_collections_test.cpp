// Matches stored per entry and looked up again: entries in identifier order, a contact met twice
// listed once, and matched atoms re-read from the database at the symmetry copy and cell where
// the search found them, in a crystal built here and in a real structure.

#include "results/motif_search_results.h"

#include "crystal/cif_reader.h"
#include "search/environment_test_crystals.h"
#include "search/match_test_motifs.h"
#include "test_data.h"

#include <gtest/gtest.h>

namespace xtalmotif {
namespace {

using testing::atom_list;

THandle<Translation> tr(int a, int b, int c) { return make_handle<Translation>(a, b, c); }
DatabaseEntryIdentifier id(const char* text) { return DatabaseEntryIdentifier(text); }

void expect_point(const Point& actual, const Point& expected) {
  EXPECT_NEAR(distance(actual, expected), 0, 1e-9) << actual << " not " << expected;
}

TEST(ResultsStorage, EntriesInIdentifierOrderAndMatchesInTheOrderAdded) {
  MotifSearchResults r;
  const MotifMatchList m = {make_handle<MotifMatch>(), make_handle<MotifMatch>(),
                            make_handle<MotifMatch>()};
  for (const auto& [entry, match] : {std::make_pair("XOZBAA", 0), std::make_pair("ACSALA", 1),
                                     std::make_pair("BENZEN", 2), std::make_pair("ACSALA", 0)})
    r.add_motif_match(id(entry), m[match]);
  EXPECT_EQ(r.db_ids(),
            (std::vector<DatabaseEntryIdentifier>{id("ACSALA"), id("BENZEN"), id("XOZBAA")}));
  EXPECT_TRUE(r.db_id(3).is_null());
  EXPECT_EQ(*r.motif_matches(id("ACSALA")), (MotifMatchList{m[1], m[0]}));
  EXPECT_EQ(r.motif_matches(0u), r.motif_matches(id("ACSALA"))); // one shared list
  // Asking for an unknown entry adds none; without a database there is no result.
  EXPECT_TRUE(r.motif_matches(id("Z"))->empty() && r.motif_matches(3u)->empty());
  EXPECT_EQ(r.nentries(), 3);
  EXPECT_TRUE(r.result(0).is_null());
}

// Contacts of two O-H fragments between the given addresses (copy, crystal-maker molecule,
// atom, cell along a): the same contact either way round, or with another crystal-maker index,
// is listed once; the same atoms in other cells, or another atom, are other contacts.
TEST(ResultsContacts, AContactMetAgainBetweenTheSameAtomsInTheSameCellsIsListedOnce) {
  auto motif = make_handle<Motif>("pair");
  motif->add_substructure(testing::chain_fragment({"O", "H"}));
  motif->add_substructure(testing::chain_fragment({"O", "H"}));
  motif->add_contact(make_handle<MotifContact>(0, 1, 1, 0, testing::window(2.5)));
  const std::pair<std::array<int, 4>, std::array<int, 4>> contacts[] = {
      {{0, 0, 4, 0}, {3, 0, 2, 1}}, {{3, 0, 2, 1}, {0, 0, 4, 0}}, {{0, 5, 4, 0}, {3, 5, 2, 1}},
      {{3, 0, 2, 0}, {0, 0, 4, 0}}, {{0, 0, 4, 1}, {3, 0, 2, 2}}, {{0, 0, 5, 0}, {3, 0, 2, 1}}};
  MotifSearchResults r;
  for (const auto& [from, to] : contacts) {
    auto m = make_handle<MotifMatch>(motif);
    m->set_substructure_match(0, from[0], from[1], atom_list({0, from[2]}), tr(from[3], 0, 0));
    m->set_substructure_match(1, to[0], to[1], atom_list({to[2], 1}), tr(to[3], 0, 0));
    m->set_contact_match(0, make_handle<AtomAddress>(from[0], from[1], from[2], tr(from[3], 0, 0)),
                         make_handle<AtomAddress>(to[0], to[1], to[2], tr(to[3], 0, 0)), Point(),
                         Point());
    r.add_motif_match(id("E1"), m);
  }
  EXPECT_EQ(r.matched_contacts(0, false).size(), 6u);
  std::vector<THandle<ContactMatch>> expected;
  for (int k : {0, 3, 4, 5})
    expected.push_back((*r.motif_matches(0u))[k]->contact_matches[0]);
  EXPECT_EQ(r.matched_contacts(0, true), expected);
}

// A cubic 10 A cell in P-1 holding O1-C1-N1 and a water Ow; copies 0 the molecule, 1 its
// inverse, 2 the water, 3 its inverse. Fragment 0 is found on the inverse copy one cell along
// +a, the water on copy 2 in its own cell, N1 in contact with Ow.
TEST(ResultsLookup, MatchedAtomsAndMoleculesLieWhereTheSearchFoundThem) {
  auto cm = testing::make_crystal(10, 10, 10, 90, 90, 90, testing::p1bar_operators());
  testing::add_sited_molecule(*cm, {{"O", "O1", Point(0.30, 0.20, 0.10)},
                                    {"C", "C1", Point(0.20, 0.20, 0.10)},
                                    {"N", "N1", Point(0.20, 0.30, 0.10)}});
  testing::add_sited_molecule(*cm, {{"O", "Ow", Point(0.70, 0.60, 0.40)}});
  auto db = make_handle<MemoryDatabase>();
  db->add(id("MEMXTL"), cm);
  auto motif = make_handle<Motif>("ocn-water");
  motif->add_substructure(testing::chain_fragment({"O", "C", "N"}));
  motif->add_substructure(testing::chain_fragment({"O"}));
  motif->add_contact(make_handle<MotifContact>(0, 2, 1, 0, testing::window(3.5)));
  auto match = make_handle<MotifMatch>(motif);
  match->set_substructure_match(0, 1, 0, atom_list({0, 1, 2}), tr(1, 0, 0));
  match->set_substructure_match(1, 2, 1, atom_list({0}), tr(0, 0, 0));
  match->set_contact_match(0, make_handle<AtomAddress>(1, 0, 2, tr(1, 0, 0)),
                           make_handle<AtomAddress>(2, 1, 0, tr(0, 0, 0)), Point(), Point());
  MotifSearchResults results;
  results.set_database(db);
  results.add_motif_match(id("MEMXTL"), match);
  auto r = results.result(0);
  ASSERT_FALSE(r.is_null());
  EXPECT_EQ(r->resource()->ncopies(), 4);
  // N1 of the inverse copy moved by +a: (-0.2 + 1, -0.3, -0.1).
  THandle<Atom> n = results.matched_atom(0, 0, 0, 2);
  EXPECT_EQ(n->label(), "N1");
  expect_point(n->site()->fractional(), Point(0.8, -0.3, -0.1));
  expect_point(n->site()->orthogonal(), Point(8, -3, -1));
  expect_point(results.matched_atom(0, 0, 1, 0)->site()->orthogonal(), Point(7, 6, 4));
  expect_point(r->matched_molecule(0, 0)->atom(1)->site()->fractional(), Point(0.8, -0.2, -0.1));
  EXPECT_EQ((*r->matched_atoms(0, 1))[0]->label(), "Ow");
  // The contact's atoms are the crystal molecules' own, at asymmetric-unit coordinates.
  auto pairs = results.matched_contact_atoms(0, true);
  ASSERT_EQ(pairs.size(), 1u);
  EXPECT_EQ(pairs[0].first->label() + pairs[0].second->label(), "N1Ow");
  expect_point(pairs[0].first->site()->fractional(), Point(0.2, 0.3, 0.1));
}

// Ibuprofen in P 1 21/c 1, whose file lists -x,-y,-z third: copy 2 of its one molecule is the
// inverted molecule, here placed one cell along each axis.
TEST(ResultsLookup, MatchedAtomOfARealStructureIsTheInvertedOxygenInTheGivenCell) {
  const std::string path = testing::require_data("curated/acid__2300214-r274507.cif").string();
  auto crystal = read_crystal(path, "");
  int oxygen = 0;
  while (crystal->molecule(0)->atom(oxygen)->element().symbol() != "O")
    ++oxygen;
  auto motif = make_handle<Motif>("oxygen");
  motif->add_substructure(testing::chain_fragment({"O"}));
  auto match = make_handle<MotifMatch>(motif);
  match->set_substructure_match(0, 2, 0, atom_list({oxygen}), tr(1, 1, 1));
  MotifSearchResults results;
  results.set_database(make_handle<CifDatabase>(std::vector<std::string>{path}));
  results.add_motif_match(id("2300214"), match);
  const THandle<Atom> o = results.matched_atom(0, 0, 0, 0);
  const Site& source = *crystal->molecule(0)->atom(oxygen)->site();
  EXPECT_EQ(o->label(), crystal->molecule(0)->atom(oxygen)->label());
  expect_point(o->site()->fractional(), Point(1, 1, 1) - source.fractional());
  expect_point(o->site()->orthogonal(),
               crystal->to_orthogonal(Point(1, 1, 1)) - source.orthogonal());
}

} // namespace
} // namespace xtalmotif
