// Finding contact partners in the symmetry-expanded crystal, the lattice translations tried,
// closing further contacts and counting partners for contact constraints.

#include "search/motif_search.h"
#include "search_test_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

namespace xtalmotif {
namespace {

using testing::absolute_criterion;
using testing::add_water;
using testing::contact;
using testing::empty_crystal;
using testing::query_atom;
using testing::single_atom_substructure;
using testing::vdw_criterion;
using testing::water_substructure;
using testing::water_triangle_crystal;

using Key = std::tuple<int, int, int, int, int>; // copy, atom, translation a, b, c

std::vector<Key> keys(const AtomAddressList& list) {
  std::vector<Key> out;
  for (const auto& a : list)
    out.emplace_back(a->nmol_in_msr, a->natom, (*a->translation)[0], (*a->translation)[1],
                     (*a->translation)[2]);
  return out;
}

// ---------------------------------------------------------------- lattice translations

std::vector<std::array<int, 3>> as_triples(const std::vector<Translation>& ts) {
  std::vector<std::array<int, 3>> out;
  for (const auto& t : ts)
    out.push_back({{t[0], t[1], t[2]}});
  return out;
}

TEST(FindTranslationsTest, SamePointAndSmallExtentsGiveTheTwentySevenNeighbourCells) {
  MotifSearch search;
  std::vector<Translation> out;
  const Point p(0.3, 0.6, 0.9);
  search.find_translations(out, p, p, 0.2, 0.5, 0.99);
  ASSERT_EQ(out.size(), 27u);
  // -1.5 and 1.5 truncate to -1 and 1; the first axis varies slowest.
  std::vector<std::array<int, 3>> expected;
  for (int i = -1; i <= 1; ++i)
    for (int j = -1; j <= 1; ++j)
      for (int k = -1; k <= 1; ++k)
        expected.push_back({{i, j, k}});
  EXPECT_EQ(as_triples(out), expected);
}

TEST(FindTranslationsTest, ExtentIsRoundedUpToWholeCells) {
  MotifSearch search;
  std::vector<Translation> out;
  const Point p(0.5, 0.5, 0.5);
  // 1.2 rounds up to 2: -2.5 and 2.5 truncate to -2 and 2; exactly 1 stays 1; 0 gives 0 only.
  search.find_translations(out, p, p, 1.2, 1.0, 0.0);
  ASSERT_EQ(out.size(), 5u * 3u * 1u);
  EXPECT_EQ(as_triples(out).front(), (std::array<int, 3>{{-2, -1, 0}}));
  EXPECT_EQ(as_triples(out).back(), (std::array<int, 3>{{2, 1, 0}}));
}

TEST(FindTranslationsTest, OffsetPointsShiftTheBoxAndTruncateTowardsZero) {
  MotifSearch search;
  std::vector<Translation> out;
  // Differences 0.7, -0.7 and 0: bounds (-0.8, 2.2) -> 0..2, (-2.2, 0.8) -> -2..0, (-1.5, 1.5)
  // -> -1..1.
  search.find_translations(out, Point(0.9, 0.1, 0.4), Point(0.2, 0.8, 0.4), 0.3, 0.3, 0.3);
  ASSERT_EQ(out.size(), 27u);
  EXPECT_EQ(as_triples(out).front(), (std::array<int, 3>{{0, -2, -1}}));
  EXPECT_EQ(as_triples(out).back(), (std::array<int, 3>{{2, 0, 1}}));
}

TEST(FindTranslationsTest, TranslationsAreAppendedToWhatIsThere) {
  MotifSearch search;
  std::vector<Translation> out{Translation(5, 5, 5)};
  search.find_translations(out, Point(), Point(), 0.0, 0.0, 0.0);
  ASSERT_EQ(out.size(), 2u);
  EXPECT_EQ(out[0], Translation(5, 5, 5));
  EXPECT_EQ(out[1], Translation(0, 0, 0));
}

// ---------------------------------------------------------------- partners in the triangle

// Three waters whose oxygens are 2.8 A apart; lattice repeats 10 A away.
class TriangleContactsTest : public ::testing::Test {
protected:
  void SetUp() override {
    motif = make_handle<Motif>("pair");
    motif->add_substructure(water_substructure());
    motif->add_substructure(water_substructure());
    motif->add_contact(contact(0, 0, 1, 0, absolute_criterion(2.5, 3.0, ContactType::Inter)));
    search.set_search_structure(water_triangle_crystal(), DatabaseEntryIdentifier("w3"));
    search.set_motif(motif);
    from = make_handle<AtomAddress>(0, 0, 0, make_handle<Translation>(0, 0, 0));
  }
  THandle<AtomAddressList> partners(const THandle<MotifContact>& c,
                                    const THandle<SubstructureAtom>& q, int to = 1) {
    return search.find_contacts(search.resource()->get_point(from, true), from, c, to, q);
  }
  THandle<Motif> motif;
  MotifSearch search;
  THandle<AtomAddress> from;
};

TEST_F(TriangleContactsTest, TheTwoOtherOxygensArePartners) {
  auto list = partners(motif->contact(0), query_atom("O"));
  EXPECT_EQ(keys(*list), (std::vector<Key>{{1, 0, 0, 0, 0}, {2, 0, 0, 0, 0}}));
  for (const auto& a : *list)
    EXPECT_EQ(a->nmol_in_cm, a->nmol_in_msr); // P1: each molecule is its own only copy
}

TEST_F(TriangleContactsTest, RepeatedQuestionReturnsTheSameListObject) {
  auto first = partners(motif->contact(0), query_atom("O"));
  // New but equal objects for the address, the contact (and so its criterion) and the query atom.
  auto same_address = make_handle<AtomAddress>(*from);
  auto equal_contact = make_handle<MotifContact>(*motif->contact(0));
  auto again = search.find_contacts(search.resource()->get_point(same_address, true), same_address,
                                    equal_contact, 1, query_atom("O"));
  EXPECT_EQ(first.get(), again.get());
  EXPECT_EQ(search.contact_crumbs().size(), 1u);
}

TEST_F(TriangleContactsTest, DifferentCriterionValueIsANewSearch) {
  auto first = partners(motif->contact(0), query_atom("O"));
  auto wider = contact(0, 0, 1, 0, absolute_criterion(2.5, 3.1, ContactType::Inter));
  auto second = partners(wider, query_atom("O"));
  EXPECT_NE(first.get(), second.get());
  EXPECT_EQ(keys(*second), keys(*first));
  EXPECT_EQ(search.contact_crumbs().size(), 2u);
}

TEST_F(TriangleContactsTest, DifferentQueryAtomOrAddressIsANewSearch) {
  auto first = partners(motif->contact(0), query_atom("O"));
  EXPECT_NE(partners(motif->contact(0), query_atom("H")).get(), first.get());
  from = make_handle<AtomAddress>(0, 0, 0, make_handle<Translation>(1, 0, 0));
  EXPECT_NE(partners(motif->contact(0), query_atom("O")).get(), first.get());
}

TEST_F(TriangleContactsTest, NewStructureForgetsEarlierSearches) {
  auto first = partners(motif->contact(0), query_atom("O"));
  search.set_search_structure(water_triangle_crystal(), DatabaseEntryIdentifier("again"));
  EXPECT_TRUE(search.contact_crumbs().empty());
  auto second = partners(motif->contact(0), query_atom("O"));
  EXPECT_NE(first.get(), second.get());
  EXPECT_EQ(keys(*second), keys(*first));
}

TEST_F(TriangleContactsTest, AtomIsNotItsOwnPartnerWithALowerLimitOfZero) {
  auto c = contact(0, 0, 1, 0, absolute_criterion(0.0, 3.0, ContactType::Any));
  EXPECT_EQ(keys(*partners(c, query_atom("O"))),
            (std::vector<Key>{{1, 0, 0, 0, 0}, {2, 0, 0, 0, 0}}));
}

TEST_F(TriangleContactsTest, MoleculesOutsideTheTargetSizeGiveNoPartners) {
  auto big = make_handle<Motif>("big");
  big->add_substructure(water_substructure());
  big->add_substructure(single_atom_substructure("O", 4, 100));
  big->add_contact(contact(0, 0, 1, 0, absolute_criterion(2.5, 3.0, ContactType::Inter)));
  search.set_motif(big);
  EXPECT_TRUE(partners(big->contact(0), query_atom("O"))->empty());
}

TEST_F(TriangleContactsTest, VanDerWaalsWindowIsRelativeToTheRadiusSum) {
  const double sum = 2.0 * Element::vdw_radii_[Element::Oxygen];
  // The oxygens are 2.8 A apart: found when the upper offset reaches 0.05 A past it, not when it
  // stops 0.05 A short.
  auto inside =
      contact(0, 0, 1, 0, vdw_criterion(2.8 - sum - 0.1, 2.8 - sum + 0.05, ContactType::Inter));
  auto short_of_it =
      contact(0, 0, 1, 0, vdw_criterion(2.8 - sum - 0.3, 2.8 - sum - 0.05, ContactType::Inter));
  EXPECT_EQ(partners(inside, query_atom("O"))->size(), 2u);
  EXPECT_TRUE(partners(short_of_it, query_atom("O"))->empty());
}

// ---------------------------------------------------------------- a molecule and its repeats

// One water in a cell only 3 A long along a: its lattice repeats along a are the only other
// molecules within reach. O at x = 0.5; H1 at (0.8, z + 0.912), H2 at (0.2, z - 0.912).
class ShortAxisContactsTest : public ::testing::Test {
protected:
  void SetUp() override {
    auto crystal = empty_crystal(3.0, 10.0, 10.0);
    add_water(*crystal, Point(0.5, 5.0, 5.0));
    motif = make_handle<Motif>("pair");
    motif->add_substructure(water_substructure());
    motif->add_substructure(water_substructure());
    search.set_search_structure(crystal, DatabaseEntryIdentifier("short"));
    search.set_motif(motif);
  }
  std::vector<Key> partners(ContactType type, double lower, double upper, const char* element,
                            Translation where = Translation(0, 0, 0)) {
    auto from = make_handle<AtomAddress>(0, 0, 0, make_handle<Translation>(where));
    auto c = contact(0, 0, 1, 0, absolute_criterion(lower, upper, type));
    return keys(*search.find_contacts(search.resource()->get_point(from, true), from, c, 1,
                                      query_atom(element)));
  }
  THandle<Motif> motif;
  MotifSearch search;
};

TEST_F(ShortAxisContactsTest, IntermolecularPartnersMayBeRepeatsOfTheSameMolecule) {
  // The oxygens of the cells on either side, 3.0 A away; never the atom itself.
  EXPECT_EQ(partners(ContactType::Inter, 2.5, 3.2, "O"),
            (std::vector<Key>{{0, 0, -1, 0, 0}, {0, 0, 1, 0, 0}}));
}

TEST_F(ShortAxisContactsTest, IntermolecularContactsNeverReachTheSameMoleculeCopy) {
  // Own hydrogens at 0.96 A are excluded; of the repeats, H1 one cell back and H2 one cell
  // forward lie sqrt(2.7^2 + 0.912^2) = 2.85 A away, the other two 3.42 A.
  EXPECT_EQ(partners(ContactType::Inter, 0.5, 3.2, "H"),
            (std::vector<Key>{{0, 1, -1, 0, 0}, {0, 2, 1, 0, 0}}));
  EXPECT_TRUE(partners(ContactType::Inter, 0.5, 1.2, "H").empty());
}

TEST_F(ShortAxisContactsTest, AnyContactKeepsBothInDiscoveryOrder) {
  // Atoms in order, and for each atom the translations with the first axis slowest.
  EXPECT_EQ(
      partners(ContactType::Any, 0.5, 3.2, "H"),
      (std::vector<Key>{{0, 1, -1, 0, 0}, {0, 1, 0, 0, 0}, {0, 2, 0, 0, 0}, {0, 2, 1, 0, 0}}));
}

TEST_F(ShortAxisContactsTest, IntramolecularContactsStayInTheOwnCopyAndCell) {
  EXPECT_EQ(partners(ContactType::Intra, 0.5, 3.2, "H"),
            (std::vector<Key>{{0, 1, 0, 0, 0}, {0, 2, 0, 0, 0}}));
  // Started from the copy two cells along, the partners are in that cell too.
  EXPECT_EQ(partners(ContactType::Intra, 0.5, 3.2, "H", Translation(2, 0, 0)),
            (std::vector<Key>{{0, 1, 2, 0, 0}, {0, 2, 2, 0, 0}}));
  // Oxygens of the repeats are 3.0 A away, but not in the same molecule.
  EXPECT_TRUE(partners(ContactType::Intra, 2.5, 3.2, "O").empty());
}

// ---------------------------------------------------------------- closing further contacts

// Two single-oxygen substructures (on waters) placed by hand on waters 0 and 1 of the triangle.
class RemainingContactsTest : public ::testing::Test {
protected:
  void make_motif(const std::vector<THandle<CombinedCriterion>>& criteria) {
    motif = make_handle<Motif>("closing");
    motif->add_substructure(single_atom_substructure("O", 3, 3));
    motif->add_substructure(single_atom_substructure("O", 3, 3));
    for (const auto& c : criteria)
      motif->add_contact(contact(0, 0, 1, 0, c));
    search.set_search_structure(water_triangle_crystal(), DatabaseEntryIdentifier("w3"));
    search.set_motif(motif);
  }
  void place(int s, int copy, Translation t = Translation(0, 0, 0)) {
    search.match()->set_substructure_match(s, copy, copy, make_handle<std::vector<int>>(1, 0),
                                           make_handle<Translation>(t));
  }
  bool found(int c) const { return search.match()->contact_matches[c]->found; }
  THandle<Motif> motif;
  MotifSearch search;
};

TEST_F(RemainingContactsTest, EveryRealisedContactIsRecordedWithItsOrthogonalPoints) {
  make_motif({absolute_criterion(0.0, 3.0, ContactType::Inter),
              absolute_criterion(2.0, 3.5, ContactType::Any)});
  place(0, 0);
  place(1, 1);
  std::vector<int> closed;
  ASSERT_TRUE(search.check_remaining_contacts(1, closed));
  EXPECT_EQ(closed, (std::vector<int>{0, 1}));
  EXPECT_TRUE(found(0));
  EXPECT_TRUE(found(1));
  const ContactMatch& m = *search.match()->contact_matches[0];
  EXPECT_NEAR(distance(m.from_point, Point(1.0, 1.0, 1.0)), 0.0, 1e-9);
  EXPECT_NEAR(distance(m.to_point, Point(3.8, 1.0, 1.0)), 0.0, 1e-9);
}

TEST_F(RemainingContactsTest, OneFailingContactWithdrawsTheOnesAlreadyClosed) {
  make_motif({absolute_criterion(0.0, 3.0, ContactType::Inter),
              absolute_criterion(0.0, 2.0, ContactType::Inter)});
  place(0, 0);
  place(1, 1);
  std::vector<int> closed;
  EXPECT_FALSE(search.check_remaining_contacts(1, closed));
  EXPECT_EQ(closed, std::vector<int>{0});
  EXPECT_FALSE(found(0));
  EXPECT_FALSE(found(1));
}

TEST_F(RemainingContactsTest, DistanceIncludesTheLatticeTranslation) {
  make_motif({absolute_criterion(0.0, 3.0, ContactType::Inter)});
  place(0, 0);
  place(1, 1, Translation(1, 0, 0)); // the second water one cell along a: 12.8 A away
  std::vector<int> closed;
  EXPECT_FALSE(search.check_remaining_contacts(1, closed));
  make_motif({absolute_criterion(12.5, 13.0, ContactType::Inter)});
  place(0, 0);
  place(1, 1, Translation(1, 0, 0));
  EXPECT_TRUE(search.check_remaining_contacts(1, closed));
}

TEST_F(RemainingContactsTest, ContactTypeIsJudgedOnThePlacedMolecules) {
  // Different molecules: intermolecular and any pass, intramolecular fails.
  for (auto [type, expected] :
       {std::pair{ContactType::Inter, true}, std::pair{ContactType::Any, true},
        std::pair{ContactType::Intra, false}}) {
    make_motif({absolute_criterion(0.0, 3.0, type)});
    place(0, 0);
    place(1, 1);
    std::vector<int> closed;
    EXPECT_EQ(search.check_remaining_contacts(1, closed), expected)
        << contact_type_name(type) << " between two molecules";
  }
  // The same copy in another cell is another molecule as well.
  make_motif({absolute_criterion(9.0, 11.0, ContactType::Intra)});
  place(0, 0);
  place(1, 0, Translation(0, 0, 1));
  std::vector<int> closed;
  EXPECT_FALSE(search.check_remaining_contacts(1, closed));
  make_motif({absolute_criterion(9.0, 11.0, ContactType::Inter)});
  place(0, 0);
  place(1, 0, Translation(0, 0, 1));
  EXPECT_TRUE(search.check_remaining_contacts(1, closed));
}

TEST_F(RemainingContactsTest, ContactsToUnplacedSubstructuresWait) {
  make_motif({absolute_criterion(0.0, 1.0, ContactType::Inter)});
  place(0, 0);
  std::vector<int> closed;
  EXPECT_TRUE(search.check_remaining_contacts(0, closed));
  EXPECT_TRUE(closed.empty());
  EXPECT_FALSE(found(0));
}

// A contact within one water substructure, closed when the water is placed second.
TEST(ContactWithinOneSubstructureTest, IntermolecularContactInsideOneMoleculeFails) {
  for (auto [type, expected] : {std::pair{ContactType::Inter, 0}, std::pair{ContactType::Any, 1},
                                std::pair{ContactType::Intra, 1}}) {
    auto motif = make_handle<Motif>("inner");
    motif->add_substructure(water_substructure());
    motif->add_substructure(water_substructure());
    motif->add_contact(contact(0, 0, 1, 0, absolute_criterion(2.5, 3.0, ContactType::Inter)));
    // O-H of the second water, 0.96 A.
    motif->add_contact(contact(1, 0, 1, 1, absolute_criterion(0.5, 1.2, type)));
    MotifSearch search;
    search.search(testing::water_triangle_crystal(), motif, 0);
    EXPECT_EQ(search.results()->nentries(), expected) << contact_type_name(type);
  }
}

// ---------------------------------------------------------------- contact constraints

// Each oxygen of the triangle has exactly two oxygen neighbours at 2.8 A.
TEST(ContactConstraintTest, PartnerCountDecidesTheFirstPlacement) {
  struct Case {
    THandle<Condition> condition;
    bool expected;
  };
  const std::vector<Case> cases{{make_handle<EqualTo>("partners", 2.0), true},
                                {make_handle<EqualTo>("partners", 1.0), false},
                                {make_handle<Greater>("partners", 1.0), true},
                                {make_handle<EqualTo>("partners", 0.0), false}};
  for (const auto& c : cases) {
    auto motif = make_handle<Motif>("counted");
    motif->add_substructure(water_substructure());
    auto further = contact(0, 0, 0, 0, absolute_criterion(2.5, 3.0, ContactType::Inter));
    motif->add_contact_constraint(make_handle<ContactConstraint>(0, 0, further, c.condition));
    MotifSearch search;
    search.search(testing::water_triangle_crystal(), motif, 0);
    EXPECT_EQ(search.results()->nentries() == 1, c.expected);
  }
}

TEST(ContactConstraintTest, PartnersOnMoleculesOutsideTheFarSizeRangeAreNotCounted) {
  // Counting partners that are oxygens of molecules of at least four atoms: none here.
  auto motif = make_handle<Motif>("counted");
  motif->add_substructure(water_substructure());
  motif->add_substructure(single_atom_substructure("O", 4, 100));
  auto further = contact(0, 0, 1, 0, absolute_criterion(2.5, 3.0, ContactType::Inter));
  motif->add_contact_constraint(
      make_handle<ContactConstraint>(0, 0, further, make_handle<EqualTo>("partners", 0.0)));
  MotifSearch search;
  search.set_search_structure(testing::water_triangle_crystal(), DatabaseEntryIdentifier("w3"));
  search.set_motif(motif);
  search.match()->set_substructure_match(0, 0, 0,
                                         make_handle<std::vector<int>>(std::vector<int>{0, 1, 2}),
                                         make_handle<Translation>(0, 0, 0));
  EXPECT_TRUE(search.check_contact_constraints(0));
  // Constraints on other substructures are not tested here.
  EXPECT_TRUE(search.check_contact_constraints(1));
}

TEST(ContactBreadCrumTest, DefaultCriterionIsTheMotifContactDefault) {
  ContactBreadCrum crum;
  MotifContact plain;
  EXPECT_TRUE(*crum.criterion == *plain.criterion());
  EXPECT_TRUE(crum.address.is_null());
  EXPECT_TRUE(crum.partners.is_null());
}

TEST(ContactBreadCrumTest, QuestionsAreComparedByValue) {
  auto address = make_handle<AtomAddress>(1, 0, 2, make_handle<Translation>(0, 1, 0));
  auto crit = absolute_criterion(1.5, 2.2, ContactType::Inter);
  ContactBreadCrum crum(address, query_atom("O"), crit, make_handle<AtomAddressList>());
  EXPECT_TRUE(crum.been_here_before(make_handle<AtomAddress>(*address), query_atom("O"),
                                    absolute_criterion(1.5, 2.2, ContactType::Inter)));
  EXPECT_FALSE(crum.been_here_before(
      make_handle<AtomAddress>(1, 0, 2, make_handle<Translation>(0, 0, 0)), query_atom("O"), crit));
  EXPECT_FALSE(crum.been_here_before(address, query_atom("N"), crit));
  EXPECT_FALSE(crum.been_here_before(address, query_atom("O"),
                                     absolute_criterion(1.5, 2.2, ContactType::Any)));
}

} // namespace
} // namespace xtalmotif
