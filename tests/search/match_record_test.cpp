// MotifMatch as a record: filling and withdrawing placements and contacts, the questions the
// search asks of it, deep copies, and its printed forms.

#include "match/motif_match.h"

#include "search/match_test_motifs.h"

#include <gtest/gtest.h>

#include <sstream>

namespace xtalmotif {
namespace {

using testing::atom_list;
using testing::three_fragment_ring;

THandle<Translation> tr(int a, int b, int c) { return make_handle<Translation>(a, b, c); }

THandle<AtomAddress> address(int msr, int cm, int atom, int a, int b, int c) {
  return make_handle<AtomAddress>(msr, cm, atom, tr(a, b, c));
}

template <class F> void expect_vector_range_error(F f) {
  try {
    f();
    ADD_FAILURE() << "no exception";
  } catch (const std::out_of_range &e) {
    EXPECT_STREQ(e.what(), "vector [] access out of range");
  }
}

// ---- construction ----

TEST(MatchConstructionTest, OneEmptyEntryPerSubstructureAndContact) {
  auto motif = three_fragment_ring();
  MotifMatch m(motif);
  EXPECT_EQ(m.motif.get(), motif.get());
  ASSERT_EQ(m.substructure_matches.size(), 3u);
  ASSERT_EQ(m.contact_matches.size(), 4u);
  for (const auto &s : m.substructure_matches) {
    EXPECT_FALSE(s->found);
    EXPECT_EQ(s->nmol_in_msr, -1);
    EXPECT_EQ(s->nmol_in_cm, -1);
    EXPECT_TRUE(s->atoms->empty());
    EXPECT_EQ(*s->translation, Translation(-1, -1, -1));
  }
  // Separate objects per entry.
  EXPECT_NE(m.substructure_matches[0]->atoms.get(), m.substructure_matches[1]->atoms.get());
  EXPECT_NE(m.contact_matches[0]->from.get(), m.contact_matches[0]->to.get());
  for (const auto &c : m.contact_matches) {
    EXPECT_FALSE(c->found);
    EXPECT_TRUE(*c->from == AtomAddress());
    EXPECT_EQ(c->from->nmol_in_cm, -1);
    EXPECT_EQ(c->from_point, Point(0, 0, 0));
    EXPECT_EQ(c->to_point, Point(0, 0, 0));
  }
  EXPECT_FALSE(m.is_found());
}

TEST(MatchConstructionTest, DefaultMatchHasAnEmptyMotifAndIsFound) {
  MotifMatch m;
  ASSERT_FALSE(m.motif.is_null());
  EXPECT_EQ(m.motif->name(), "");
  EXPECT_TRUE(m.substructure_matches.empty());
  EXPECT_TRUE(m.contact_matches.empty());
  EXPECT_TRUE(m.is_found());
  EXPECT_EQ(m.nvertices(), 0);
}

TEST(MatchConstructionTest, OneFragmentWithoutContactsIsFoundOnceItIsPlaced) {
  auto motif = make_handle<Motif>("single");
  motif->add_substructure(testing::chain_fragment({"O", "H"}));
  MotifMatch m(motif);
  EXPECT_FALSE(m.is_found());
  m.set_substructure_match(0, 0, 0, atom_list({0, 1}), tr(0, 0, 0));
  EXPECT_TRUE(m.is_found());
  EXPECT_EQ(m.nvertices(), 0);
}

// ---- filling and emptying ----

TEST(MatchFillingTest, SubstructureEntrySharesTheGivenListAndTranslation) {
  MotifMatch m(three_fragment_ring());
  auto atoms = atom_list({4, 5});
  auto t = tr(1, 0, -1);
  m.set_substructure_match(1, 6, 2, atoms, t);
  const SubstructureMatch &s = *m.substructure_matches[1];
  EXPECT_TRUE(s.found);
  EXPECT_EQ(s.nmol_in_msr, 6);
  EXPECT_EQ(s.nmol_in_cm, 2);
  EXPECT_EQ(s.atoms.get(), atoms.get());
  EXPECT_EQ(s.translation.get(), t.get());
  EXPECT_FALSE(m.substructure_matches[0]->found);
}

TEST(MatchFillingTest, ContactEntrySharesTheAddressesAndCopiesThePoints) {
  auto motif = three_fragment_ring();
  MotifMatch m(motif);
  auto from = address(0, 0, 1, 0, 0, 0);
  auto to = address(3, 1, 0, 1, 0, 0);
  Point fp(1, 2, 3), tp(4, 5, 6);
  m.set_contact_match(2, from, to, fp, tp);
  const ContactMatch &c = *m.contact_matches[2];
  EXPECT_TRUE(c.found);
  EXPECT_EQ(c.from.get(), from.get());
  EXPECT_EQ(c.to.get(), to.get());
  fp[0] = 100;
  EXPECT_EQ(c.from_point, Point(1, 2, 3));
  EXPECT_EQ(c.to_point, Point(4, 5, 6));
}

TEST(MatchFillingTest, ContactGivenByHandleIsFoundByIdentityInTheMotif) {
  auto motif = three_fragment_ring();
  MotifMatch m(motif);
  m.set_contact_match(motif->contact(1), address(0, 0, 1, 0, 0, 0), address(1, 0, 0, 0, 0, 0),
                      Point(), Point());
  EXPECT_TRUE(m.contact_matches[1]->found);
  EXPECT_FALSE(m.contact_matches[0]->found);
  m.ditch_contact_match(motif->contact(1));
  EXPECT_FALSE(m.contact_matches[1]->found);

  // The motif keeps its own copy of every contact added, so the caller's object, equal in value,
  // is not one of its contacts.
  auto outside = make_handle<MotifContact>(*motif->contact(1));
  EXPECT_THROW(m.set_contact_match(outside, address(0, 0, 1, 0, 0, 0), address(1, 0, 0, 0, 0, 0),
                                   Point(), Point()),
               std::out_of_range);
  EXPECT_THROW(m.ditch_contact_match(outside), std::out_of_range);
}

TEST(MatchFillingTest, IndicesOutOfRangeThrowTheVectorAccessError) {
  MotifMatch m(three_fragment_ring());
  expect_vector_range_error(
      [&] { m.set_substructure_match(3, 0, 0, atom_list({0}), tr(0, 0, 0)); });
  expect_vector_range_error(
      [&] { m.set_substructure_match(-1, 0, 0, atom_list({0}), tr(0, 0, 0)); });
  expect_vector_range_error([&] {
    m.set_contact_match(4, make_handle<AtomAddress>(), make_handle<AtomAddress>(), Point(),
                        Point());
  });
  expect_vector_range_error([&] { m.ditch_substruct_match(3); });
  expect_vector_range_error([&] { m.ditch_contact_match(-1); });
}

TEST(MatchFillingTest, DitchingClearsOnlyTheFoundFlag) {
  MotifMatch m(three_fragment_ring());
  m.set_substructure_match(0, 2, 1, atom_list({3, 4}), tr(0, 1, 0));
  m.set_contact_match(0, address(2, 1, 4, 0, 1, 0), address(5, 1, 0, 0, 0, 0), Point(1, 1, 1),
                      Point(2, 2, 2));
  m.ditch_substruct_match(0);
  m.ditch_contact_match(0);
  const SubstructureMatch &s = *m.substructure_matches[0];
  EXPECT_FALSE(s.found);
  EXPECT_EQ(s.nmol_in_msr, 2);
  EXPECT_EQ(*s.atoms, (std::vector<int>{3, 4}));
  EXPECT_EQ(*s.translation, Translation(0, 1, 0));
  const ContactMatch &c = *m.contact_matches[0];
  EXPECT_FALSE(c.found);
  EXPECT_EQ(c.from->natom, 4);
  EXPECT_EQ(c.to_point, Point(2, 2, 2));
}

TEST(MatchFillingTest, ClearEmptiesEveryFlagAndNothingElse) {
  MotifMatch m(three_fragment_ring());
  for (int i = 0; i < 3; ++i)
    m.set_substructure_match(i, i, 0, atom_list({0, 1}), tr(0, 0, 0));
  for (int j = 0; j < 4; ++j)
    m.set_contact_match(j, address(j, 0, 0, 0, 0, 0), address(j, 0, 1, 0, 0, 0), Point(j, 0, 0),
                        Point(0, j, 0));
  EXPECT_TRUE(m.is_found());
  m.clear();
  EXPECT_FALSE(m.is_found());
  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(m.substructure_matches[i]->found);
    EXPECT_EQ(m.substructure_matches[i]->nmol_in_msr, i);
  }
  for (int j = 0; j < 4; ++j) {
    EXPECT_FALSE(m.contact_matches[j]->found);
    EXPECT_EQ(m.contact_matches[j]->from->nmol_in_msr, j);
  }
}

TEST(MatchFillingTest, FoundNeedsEverySubstructureAndEveryContact) {
  MotifMatch m(three_fragment_ring());
  for (int i = 0; i < 3; ++i)
    m.set_substructure_match(i, i, 0, atom_list({0, 1}), tr(0, 0, 0));
  for (int j = 0; j < 3; ++j)
    m.set_contact_match(j, address(0, 0, 0, 0, 0, 0), address(1, 0, 0, 0, 0, 0), Point(), Point());
  EXPECT_FALSE(m.is_found());
  m.set_contact_match(3, address(0, 0, 0, 0, 0, 0), address(0, 0, 1, 0, 0, 0), Point(), Point());
  EXPECT_TRUE(m.is_found());
  m.ditch_substruct_match(2);
  EXPECT_FALSE(m.is_found());
}

// ---- queries ----

TEST(MatchQueryTest, RemainingContactsAreTheUnrealisedOnesTouchingTheSubstructure) {
  MotifMatch m(three_fragment_ring());
  EXPECT_EQ(*m.remaining_contacts(0), (std::vector<int>{0, 2, 3}));
  EXPECT_EQ(*m.remaining_contacts(1), (std::vector<int>{0, 1}));
  EXPECT_EQ(*m.remaining_contacts(2), (std::vector<int>{1, 2}));
  EXPECT_TRUE(m.remaining_contacts(7)->empty());
  m.set_contact_match(2, address(0, 0, 0, 0, 0, 0), address(1, 0, 0, 0, 0, 0), Point(), Point());
  EXPECT_EQ(*m.remaining_contacts(0), (std::vector<int>{0, 3}));
  EXPECT_EQ(*m.remaining_contacts(2), (std::vector<int>{1}));
  // Each call gives a new list.
  EXPECT_NE(m.remaining_contacts(0).get(), m.remaining_contacts(0).get());
}

class MatchPlacedTest : public ::testing::Test {
protected:
  void SetUp() override {
    motif = three_fragment_ring();
    match = make_handle<MotifMatch>(motif);
    t0 = tr(0, 0, 0);
    t1 = tr(1, -1, 0);
    // Fragment 0 on copy 2 (crystal molecule 1), query atoms -> molecule atoms 7 and 8.
    match->set_substructure_match(0, 2, 1, atom_list({7, 8}), t0);
    // Fragment 1 on copy 5 (crystal molecule 3), in the cell (1, -1, 0): atoms 3 and 1.
    match->set_substructure_match(1, 5, 3, atom_list({3, 1}), t1);
  }
  THandle<Motif> motif;
  THandle<MotifMatch> match;
  THandle<Translation> t0, t1;
};

TEST_F(MatchPlacedTest, MatchedContactInfoGivesCrystalMoleculesAndAtoms) {
  int from_mol = 0, from_atom = 0, to_mol = 0, to_atom = 0;
  // Contact 0 runs from fragment 0 atom 1 to fragment 1 atom 0.
  match->matched_contact_info(0, from_mol, from_atom, to_mol, to_atom);
  EXPECT_EQ(from_mol, 1);
  EXPECT_EQ(from_atom, 8);
  EXPECT_EQ(to_mol, 3);
  EXPECT_EQ(to_atom, 3);
}

TEST_F(MatchPlacedTest, MatchedContactInfoFillsAddressesSharingTheEntrysTranslation) {
  auto from = make_handle<AtomAddress>();
  auto to = make_handle<AtomAddress>();
  match->matched_contact_info(0, from, to);
  EXPECT_EQ(from->nmol_in_msr, 2);
  EXPECT_EQ(from->nmol_in_cm, 1);
  EXPECT_EQ(from->natom, 8);
  EXPECT_EQ(from->translation.get(), t0.get());
  EXPECT_EQ(to->nmol_in_msr, 5);
  EXPECT_EQ(to->nmol_in_cm, 3);
  EXPECT_EQ(to->natom, 3);
  EXPECT_EQ(to->translation.get(), t1.get());

  auto from2 = make_handle<AtomAddress>();
  auto to2 = make_handle<AtomAddress>();
  match->matched_contact_info(motif->contact(0), from2, to2);
  EXPECT_TRUE(*from2 == *from);
  EXPECT_TRUE(*to2 == *to);
}

TEST_F(MatchPlacedTest, MatchedContactInfoGivesTheStoredPoints) {
  match->set_contact_match(0, address(2, 1, 8, 0, 0, 0), address(5, 3, 3, 1, -1, 0),
                           Point(1.5, 2.5, 3.5), Point(-1, -2, -3));
  Point f, t;
  match->matched_contact_info(0, f, t);
  EXPECT_EQ(f, Point(1.5, 2.5, 3.5));
  EXPECT_EQ(t, Point(-1, -2, -3));
}

TEST_F(MatchPlacedTest, AtomAddress2IsANewAddressWithItsOwnTranslation) {
  auto a = match->atom_address2(1, 0);
  EXPECT_EQ(a->nmol_in_msr, 5);
  EXPECT_EQ(a->nmol_in_cm, 3);
  EXPECT_EQ(a->natom, 3);
  EXPECT_EQ(*a->translation, Translation(1, -1, 0));
  EXPECT_NE(a->translation.get(), t1.get());
  (*a->translation)[0] = 9;
  EXPECT_EQ(*t1, Translation(1, -1, 0));
  EXPECT_THROW(match->atom_address2(1, 2), std::out_of_range);
  EXPECT_THROW(match->atom_address2(3, 0), std::out_of_range);
}

TEST_F(MatchPlacedTest, AtomAddressPicksTheContactEndInTheSubstructure) {
  // Contact 0: fragment 0 atom 1 -> fragment 1 atom 0.
  auto from_end = match->atom_address(0, 0);
  EXPECT_EQ(from_end->nmol_in_msr, 2);
  EXPECT_EQ(from_end->natom, 8);
  auto to_end = match->atom_address(1, 0);
  EXPECT_EQ(to_end->nmol_in_msr, 5);
  EXPECT_EQ(to_end->natom, 3);
  // Contact 2: fragment 2 atom 1 -> fragment 0 atom 0.
  EXPECT_EQ(match->atom_address(0, 2)->natom, 7);
  // Contact 1 joins fragments 1 and 2 only.
  EXPECT_THROW(match->atom_address(0, 1), std::out_of_range);
  EXPECT_THROW(match->atom_address(0, 4), std::out_of_range);
}

TEST_F(MatchPlacedTest, AtomIsUsedWhenAPlacedEntryHoldsItInTheSameCopyAndCell) {
  EXPECT_TRUE(match->is_atom_already_used(address(2, 1, 8, 0, 0, 0)));
  EXPECT_TRUE(match->is_atom_already_used(address(5, 3, 1, 1, -1, 0)));
  // The crystal-maker index is not compared.
  EXPECT_TRUE(match->is_atom_already_used(address(2, 9, 7, 0, 0, 0)));
  EXPECT_FALSE(match->is_atom_already_used(address(2, 1, 3, 0, 0, 0))); // other atom
  EXPECT_FALSE(match->is_atom_already_used(address(2, 1, 8, 0, 0, 1))); // other cell
  EXPECT_FALSE(match->is_atom_already_used(address(3, 1, 8, 0, 0, 0))); // other copy
  EXPECT_FALSE(match->is_atom_already_used(address(5, 3, 1, 0, 0, 0))); // cell of entry 0
}

TEST_F(MatchPlacedTest, DitchedEntryNoLongerUsesItsAtoms) {
  match->ditch_substruct_match(1);
  EXPECT_FALSE(match->is_atom_already_used(address(5, 3, 1, 1, -1, 0)));
  EXPECT_FALSE(match->are_atoms_already_used(5, tr(1, -1, 0), atom_list({1})));
  EXPECT_TRUE(match->is_atom_already_used(address(2, 1, 8, 0, 0, 0)));
}

TEST_F(MatchPlacedTest, AtomsAreUsedWhenAnyOfThemIsHeldInTheSameCopyAndCell) {
  EXPECT_TRUE(match->are_atoms_already_used(2, tr(0, 0, 0), atom_list({0, 5, 8})));
  EXPECT_FALSE(match->are_atoms_already_used(2, tr(0, 0, 0), atom_list({0, 5, 6})));
  EXPECT_FALSE(match->are_atoms_already_used(2, tr(0, 1, 0), atom_list({7, 8})));
  EXPECT_FALSE(match->are_atoms_already_used(4, tr(0, 0, 0), atom_list({7, 8})));
  EXPECT_TRUE(match->are_atoms_already_used(5, tr(1, -1, 0), atom_list({3})));
  EXPECT_FALSE(match->are_atoms_already_used(2, tr(0, 0, 0), atom_list({})));
}

TEST_F(MatchPlacedTest, RepeatAtomsAreTheSameAtomOfTheSameCopyInAnyCell) {
  match->set_substructure_match(2, 2, 1, atom_list({8, 7}), tr(0, 0, 1));
  // Fragment 0 atom 1 and fragment 2 atom 0 are molecule atom 8 of copy 2, one cell apart.
  EXPECT_TRUE(match->are_atoms_repeat_atoms(0, 1, 2, 0));
  EXPECT_TRUE(match->are_atoms_repeat_atoms(0, 0, 2, 1));
  EXPECT_FALSE(match->are_atoms_repeat_atoms(0, 0, 2, 0));
  EXPECT_FALSE(match->are_atoms_repeat_atoms(0, 1, 1, 0)); // other copy
  match->ditch_substruct_match(2);
  EXPECT_FALSE(match->are_atoms_repeat_atoms(0, 1, 2, 0));
}

// ---- deep copies ----

TEST_F(MatchPlacedTest, CopyOfAMatchSharesTheMotifButOwnsEveryEntry) {
  match->set_contact_match(0, address(2, 1, 8, 0, 0, 0), address(5, 3, 3, 1, -1, 0), Point(1, 2, 3),
                           Point(4, 5, 6));
  MotifMatch copy(*match);
  EXPECT_EQ(copy.motif.get(), match->motif.get());
  ASSERT_EQ(copy.substructure_matches.size(), 3u);
  ASSERT_EQ(copy.contact_matches.size(), 4u);
  for (std::size_t i = 0; i < 3; ++i)
    EXPECT_NE(copy.substructure_matches[i].get(), match->substructure_matches[i].get());
  for (std::size_t j = 0; j < 4; ++j)
    EXPECT_NE(copy.contact_matches[j].get(), match->contact_matches[j].get());

  const SubstructureMatch &s = *copy.substructure_matches[1];
  EXPECT_TRUE(s.found);
  EXPECT_EQ(s.nmol_in_msr, 5);
  EXPECT_EQ(s.nmol_in_cm, 3);
  EXPECT_EQ(*s.atoms, (std::vector<int>{3, 1}));
  EXPECT_EQ(*s.translation, Translation(1, -1, 0));
  EXPECT_NE(s.atoms.get(), match->substructure_matches[1]->atoms.get());
  EXPECT_NE(s.translation.get(), t1.get());

  const ContactMatch &c = *copy.contact_matches[0];
  EXPECT_TRUE(c.found);
  EXPECT_NE(c.from.get(), match->contact_matches[0]->from.get());
  EXPECT_NE(c.from->translation.get(), match->contact_matches[0]->from->translation.get());
  EXPECT_TRUE(*c.to == *match->contact_matches[0]->to);
  EXPECT_EQ(c.to->nmol_in_cm, 3);
  EXPECT_EQ(c.from_point, Point(1, 2, 3));
  EXPECT_EQ(c.to_point, Point(4, 5, 6));
  EXPECT_FALSE(copy.contact_matches[1]->found);

  // The search goes on changing its working match: the stored copy must not follow.
  (*t1)[2] = 7;
  match->substructure_matches[1]->atoms->push_back(9);
  match->contact_matches[0]->from->natom = 0;
  (*match->contact_matches[0]->to->translation)[0] = -4;
  match->clear();
  match->set_substructure_match(0, 11, 0, atom_list({0}), tr(0, 0, 0));
  EXPECT_EQ(*s.translation, Translation(1, -1, 0));
  EXPECT_EQ(*s.atoms, (std::vector<int>{3, 1}));
  EXPECT_EQ(c.from->natom, 8);
  EXPECT_EQ(*c.to->translation, Translation(1, -1, 0));
  EXPECT_TRUE(copy.substructure_matches[0]->found);
  EXPECT_EQ(copy.substructure_matches[0]->nmol_in_msr, 2);
  EXPECT_TRUE(c.found);

  // And changes to the copy never reach the original.
  copy.ditch_substruct_match(0);
  copy.substructure_matches[0]->atoms->clear();
  EXPECT_TRUE(match->substructure_matches[0]->found);
  EXPECT_EQ(*match->substructure_matches[0]->atoms, (std::vector<int>{0}));
}

TEST(MatchEntryCopyTest, EntryCopiesAreDeep) {
  SubstructureMatch s;
  s.nmol_in_msr = 4;
  s.nmol_in_cm = 1;
  s.atoms->push_back(6);
  (*s.translation)[1] = 3;
  s.found = true;
  SubstructureMatch sc(s);
  s.atoms->push_back(7);
  (*s.translation)[1] = 0;
  EXPECT_EQ(sc.nmol_in_msr, 4);
  EXPECT_EQ(sc.nmol_in_cm, 1);
  EXPECT_EQ(*sc.atoms, (std::vector<int>{6}));
  EXPECT_EQ(*sc.translation, Translation(-1, 3, -1));
  EXPECT_TRUE(sc.found);

  ContactMatch c;
  c.from = address(1, 0, 2, 0, 0, 0);
  c.found = true;
  c.from_point = Point(0.5, 0, 0);
  ContactMatch cc(c);
  c.from->natom = 5;
  (*c.to->translation)[0] = 8;
  EXPECT_EQ(cc.from->natom, 2);
  EXPECT_EQ(*cc.to->translation, Translation(-1, -1, -1));
  EXPECT_TRUE(cc.found);
  EXPECT_EQ(cc.from_point, Point(0.5, 0, 0));
}

// ---- printing ----

TEST(MatchPrintTest, PrintListsEveryEntryFoundOrNot) {
  auto motif = make_handle<Motif>("pair");
  motif->add_substructure(testing::chain_fragment({"O", "H"}));
  motif->add_substructure(testing::chain_fragment({"O", "H"}));
  motif->add_contact(make_handle<MotifContact>(0, 1, 1, 0, testing::window(2.5)));
  MotifMatch m(motif);
  m.set_substructure_match(0, 2, 1, atom_list({4, 5}), tr(0, 1, -1));
  m.set_contact_match(0, address(2, 1, 5, 0, 1, -1), make_handle<AtomAddress>(), Point(), Point());
  m.ditch_contact_match(0);
  std::ostringstream os;
  m.print(os);
  EXPECT_EQ(os.str(),
            "Substructure match: 0 nMol (filled cell): 2 Translation: 0,1,-1\n"
            "Substructure match: 1 nMol (filled cell): -1 Translation: -1,-1,-1\n"
            "Contact match: 0 from atom match: nMol in msr: 2 nMol in cm: 1 nAtom: 5 "
            "Translation: 0,1,-1\n"
            " to atom match: nMol in msr: -1 nMol in cm: -1 nAtom: -1 Translation: -1,-1,-1\n");
}

TEST(MatchPrintTest, StoredContactPointsArePrintedForRealisedContactsOnly) {
  MotifMatch m(three_fragment_ring());
  m.set_contact_match(1, address(0, 0, 0, 0, 0, 0), address(1, 0, 0, 0, 0, 0), Point(1, 2, 3),
                      Point(-1.5, 0, 10.25));
  m.set_contact_match(3, address(0, 0, 0, 0, 0, 0), address(0, 0, 1, 0, 0, 0),
                      Point(0.0004, -0.0006, 123.4567), Point(0, 0, 0));
  std::ostringstream os;
  m.print_contact_points(os);
  EXPECT_EQ(os.str(), "Contact 1\n"
                      " from:    1.000   2.000   3.000 to:   -1.500   0.000  10.250\n"
                      "Contact 3\n"
                      " from:    0.000  -0.001 123.457 to:    0.000   0.000   0.000\n");
}

} // namespace
} // namespace xtalmotif
