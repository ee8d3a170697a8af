// The search engine on crystals built in code: the match limit and how results accumulate, the
// first placement, what the recursive step completes, the contact search through the
// environment, closing further contacts, contact constraints, and what it remembers.

#include "kernel/database.h"
#include "search/motif_search.h"

#include "search_test_support.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <tuple>

namespace xtalmotif {
namespace {

using namespace testing;

const DatabaseEntryIdentifier unknown("unknown");
const std::vector<double> cubic = {10, 10, 10, 90, 90, 90};

// The triangle of waters (molecules 0 to 2) and a methanol (molecule 3, six atoms) far off, its
// oxygen (atom 1) at (7.43, 6, 6).
THandle<CrystalMaker> triangle_and_methanol() {
  auto c = water_triangle();
  add_molecule(*c,
               {{"C", Point(6.0, 6.0, 6.0)}, {"O", Point(7.43, 6.0, 6.0)}, {"H", Point(7.75, 6.9, 6.0)},
                {"H", Point(5.64, 7.0, 6.0)}, {"H", Point(5.64, 5.5, 6.87)},
                {"H", Point(5.64, 5.5, 5.13)}},
               {{0, 1}, {1, 2}, {0, 3}, {0, 4}, {0, 5}});
  return c;
}

THandle<MotifSubstructure> oxygen(int min = 3, int max = 3) { return fragment({"O"}, {}, min, max); }

// Three water oxygens pairwise 2.5 to 3.0 A apart in different molecules; one criterion serves
// the three contacts.
THandle<Motif> triangle_motif() {
  auto window = absolute(2.5, 3.0);
  return motif_of({oxygen(), oxygen(), oxygen()},
                  {contact(0, 0, 1, 0, window), contact(1, 0, 2, 0, window),
                   contact(2, 0, 0, 0, window)});
}

// For each stored match, the copy each substructure was placed on.
std::vector<std::vector<int>> placements(const MotifSearch& s) {
  std::vector<std::vector<int>> out;
  for (const auto& m : *s.results()->motif_matches(unknown)) {
    out.emplace_back();
    for (const auto& sm : m->substructure_matches)
      out.back().push_back(sm->nmol_in_msr);
  }
  return out;
}

// A structure's search stops at the limit; a structure that ends short of it leaves its count
// to the next one, and single-structure searches add to the results.
TEST(MotifSearchLimit, StopsAtTheLimitAndCarriesAnUnfinishedCountOver) {
  using P = std::vector<std::vector<int>>;
  const std::vector<std::tuple<unsigned, P, P>> cases = {
      {1, {{0}}, {{0}, {0}}},
      {2, {{0}, {1}}, {{0}, {1}, {0}, {1}}},
      {5, {{0}, {1}, {2}}, {{0}, {1}, {2}, {0}, {1}}}};
  for (const auto& [limit, first, both] : cases) {
    MotifSearch s;
    s.set_limit(limit);
    s.search(water_triangle(), motif_of({oxygen()}), 0);
    EXPECT_EQ(placements(s), first) << limit;
    s.search(motif_of({oxygen()}), 0); // the current structure again
    EXPECT_EQ(placements(s), both) << limit;
    EXPECT_EQ(s.nfound(), 0);
  }
}

TEST(MotifSearchLimit, DatabaseSearchesStartTheResultsAfresh) {
  auto db = make_handle<MemoryDatabase>();
  db->add(DatabaseEntryIdentifier("tri"), water_triangle());
  auto dry = crystal(cubic);
  add_molecule(*dry, {{"C", Point(1, 1, 1)}, {"C", Point(2.5, 1, 1)}}, {{0, 1}});
  db->add(DatabaseEntryIdentifier("dry"), dry);
  const THandle<Database<CrystalStructureDatabaseEntry>> plain(db);
  MotifSearch s;
  s.search(water_triangle(), motif_of({oxygen()}), 0);
  s.search(plain, motif_of({oxygen()}));
  EXPECT_EQ(s.results()->get_database().get(), db.get());
  EXPECT_EQ(s.results()->db_ids(), std::vector<DatabaseEntryIdentifier>{DatabaseEntryIdentifier("tri")});
  s.search(water_triangle(), motif_of({oxygen()}), 0);
  EXPECT_EQ(s.results()->nentries(), 2);
  s.search(plain, DatabaseEntryIdentifier("dry"), motif_of({oxygen()}));
  EXPECT_EQ(s.results()->nentries(), 0);
  EXPECT_EQ(s.entry_id(), DatabaseEntryIdentifier("dry"));
}

TEST(MotifSearchFirstPlacement, IsMadeOnMoleculesOfTheTargetSizeOnly) {
  MotifSearch methanol, waters;
  methanol.set_limit(10);
  methanol.search(triangle_and_methanol(), motif_of({oxygen(4, 10)}), 0);
  ASSERT_EQ(placements(methanol), (std::vector<std::vector<int>>{{3}}));
  const MotifMatch& m = *methanol.results()->motif_matches(unknown)->at(0);
  EXPECT_EQ(*m.substructure_matches[0]->atoms, std::vector<int>{1});
  EXPECT_LT(distance(methanol.resource()->atom(m.atom_address2(0, 0))->position(),
                     Point(7.43, 6, 6)),
            1e-9);
  waters.set_limit(10);
  waters.search(triangle_and_methanol(), motif_of({oxygen()}), 0);
  EXPECT_EQ(placements(waters), (std::vector<std::vector<int>>{{0}, {1}, {2}}));
}

TEST(MotifSearchFirstPlacement, StartsFromTheChosenSubstructure) {
  // Placed first on the methanol carbon, the contact is followed backwards to a water.
  auto m = motif_of({oxygen(), fragment({"C"})}, {contact(0, 0, 1, 0, absolute(0.5, 20.0))});
  MotifSearch s;
  s.search(triangle_and_methanol(), m, 1);
  EXPECT_EQ(placements(s), (std::vector<std::vector<int>>{{0, 3}}));
  EXPECT_THROW(s.search(water_triangle(), m, 2), std::out_of_range);
  // A structure without molecules is left before the substructure is looked up.
  EXPECT_NO_THROW(s.search(crystal(cubic), m, 2));
}

TEST(MotifSearchSteps, TriangleOfWatersIsFoundInEveryOrderAsSeparateMatches) {
  MotifSearch s;
  s.set_limit(100);
  s.search(water_triangle(), triangle_motif(), 0);
  const auto found = placements(s);
  EXPECT_EQ(found.size(), 6u);
  EXPECT_EQ(std::set<std::vector<int>>(found.begin(), found.end()).size(), 6u);
  for (const auto& match : *s.results()->motif_matches(unknown)) {
    EXPECT_TRUE(match->is_found());
    for (const auto& cm : match->contact_matches)
      EXPECT_NEAR(distance(cm->from_point, cm->to_point), 2.8, 1e-9);
  }
  EXPECT_EQ(s.max_depth(), 2);
  EXPECT_EQ(s.depth(), 0);
}

THandle<CrystalMaker> two_oxygens(double apart) {
  auto c = crystal(cubic);
  add_molecule(*c, {{"O", Point(1, 1, 1)}});
  add_molecule(*c, {{"O", Point(1 + apart, 1, 1)}});
  return c;
}

// Only arrangements the crystal can hold are stored: not a chain longer than the crystal has
// waters, not one outside an angle window, not a motif of two parts that no contact joins, and
// not two atoms closer than any two atoms of different molecules can be (2.2 A for oxygens).
TEST(MotifSearchSteps, OnlyArrangementsTheCrystalCanHoldAreStored) {
  auto chain = motif_of({oxygen(), oxygen(), oxygen(), oxygen()});
  for (int i = 0; i < 3; ++i)
    chain->add_contact(contact(i, 0, i + 1, 0, absolute(2.5, 3.0)));
  auto with_angle = [](double low, double high) {
    auto m = triangle_motif();
    m->add_angle_constraint(make_handle<MotifAngleConstraint>(
        0, 0, 1, 0, 2, 0, make_handle<InclusiveRange>("angle", low, high)));
    return m;
  };
  auto pair = motif_of({fragment({"O"}), fragment({"O"})}, {contact(0, 0, 1, 0, absolute(1.5, 2.5))});
  const std::vector<std::tuple<std::string, THandle<CrystalMaker>, THandle<Motif>, int>> cases = {
      {"a chain of four waters", water_triangle(), chain, 0},
      {"an angle window that holds", water_triangle(), with_angle(55, 65), 6},
      {"an angle window that does not", water_triangle(), with_angle(100, 120), 0},
      {"two parts without a contact", water_triangle(), motif_of({oxygen(), oxygen()}), 0},
      {"oxygens 2.4 A apart", two_oxygens(2.4), pair, 2},
      {"oxygens 2.0 A apart", two_oxygens(2.0), pair, 0}};
  for (const auto& [name, structure, motif, matches] : cases) {
    MotifSearch s;
    s.set_limit(100);
    s.search(structure, motif, 0);
    EXPECT_EQ(placements(s).size(), static_cast<std::size_t>(matches)) << name;
    EXPECT_EQ(s.depth(), 0) << name;
  }
}

using Key = std::tuple<int, int, int, int, int>; // copy, atom, translation

std::vector<Key> keys(const AtomAddressList& list) {
  std::vector<Key> out;
  for (const auto& a : list)
    out.emplace_back(a->nmol_in_msr, a->natom, (*a->translation)[0], (*a->translation)[1],
                     (*a->translation)[2]);
  return out;
}

// The partners of the first water's oxygen in the triangle: the other two oxygens. An equal
// question (equal objects, not the same ones) is answered from memory; any difference in the
// criterion, the query atom or the address is a new search, and a new structure forgets.
TEST(MotifSearchContacts, PartnersInTheTriangleAndTheSearchesRemembered) {
  MotifSearch search;
  search.set_search_structure(water_triangle(), DatabaseEntryIdentifier("w3"));
  auto motif = motif_of({water(), water()}, {contact(0, 0, 1, 0, absolute(2.5, 3.0))});
  search.set_motif(motif);
  auto partners = [&](const THandle<MotifContact>& c, const char* element, int cell_a = 0) {
    auto from = make_handle<AtomAddress>(0, 0, 0, make_handle<Translation>(cell_a, 0, 0));
    return search.find_contacts(search.resource()->get_point(from, true), from, c, 1,
                                make_handle<SubstructureAtom>(Element(element)));
  };
  auto first = partners(motif->contact(0), "O");
  EXPECT_EQ(keys(*first), (std::vector<Key>{{1, 0, 0, 0, 0}, {2, 0, 0, 0, 0}}));
  EXPECT_EQ(partners(make_handle<MotifContact>(*motif->contact(0)), "O").get(), first.get());
  EXPECT_EQ(search.contact_crumbs().size(), 1u);
  auto wider = partners(contact(0, 0, 1, 0, absolute(2.5, 3.1)), "O");
  EXPECT_NE(wider.get(), first.get());
  EXPECT_EQ(keys(*wider), keys(*first));
  EXPECT_NE(keys(*partners(motif->contact(0), "H")), keys(*first));
  EXPECT_EQ(keys(*partners(motif->contact(0), "O", 1)),
            (std::vector<Key>{{1, 0, 1, 0, 0}, {2, 0, 1, 0, 0}}));
  search.set_search_structure(water_triangle(), DatabaseEntryIdentifier("again"));
  EXPECT_TRUE(search.contact_crumbs().empty());
  EXPECT_NE(partners(motif->contact(0), "O").get(), first.get());

  // A window relative to the radius sum: found 0.05 A inside it, not 0.05 A short of it.
  const double sum = 2.0 * Element::vdw_radii_[Element::Oxygen];
  EXPECT_EQ(partners(contact(0, 0, 1, 0, vdw(2.8 - sum - 0.1, 2.8 - sum + 0.05)), "O")->size(), 2u);
  EXPECT_TRUE(partners(contact(0, 0, 1, 0, vdw(2.8 - sum - 0.3, 2.8 - sum - 0.05)), "O")->empty());
  // Partners on molecules of a size the far substructure does not allow are none.
  search.set_search_structure(water_triangle(), DatabaseEntryIdentifier("w3"));
  search.set_motif(motif_of({water(), oxygen(4, 100)}));
  EXPECT_TRUE(partners(motif->contact(0), "O")->empty());
}

// One water in a cell only 3 A long along a: its repeats along a are the only other molecules
// in reach. O at x = 0.5; H1 at (0.8, z + 0.912), H2 at (0.2, z - 0.912). Partners of the O are
// listed by atom and then translation, the first axis slowest; an intermolecular contact may
// reach a repeat of the same molecule but never its own copy in its own cell, an
// intramolecular one only that.
TEST(MotifSearchContacts, ContactTypesOnAMoleculeAndItsLatticeRepeats) {
  auto c = crystal({3, 10, 10, 90, 90, 90});
  add_water(*c, Point(0.5, 5, 5));
  MotifSearch search;
  search.set_search_structure(c, DatabaseEntryIdentifier("short"));
  search.set_motif(motif_of({water(), water()}));
  struct Case {
    ContactType type;
    double lower, upper;
    const char* element;
    int cell_a;
    std::vector<Key> partners;
  };
  const std::vector<Case> cases = {
      {ContactType::Inter, 2.5, 3.2, "O", 0, {{0, 0, -1, 0, 0}, {0, 0, 1, 0, 0}}},
      // Own hydrogens at 0.96 A are left out; H1 one cell back and H2 one forward are 2.85 A
      // away, the other two repeats 3.42 A.
      {ContactType::Inter, 0.5, 3.2, "H", 0, {{0, 1, -1, 0, 0}, {0, 2, 1, 0, 0}}},
      {ContactType::Inter, 0.5, 1.2, "H", 0, {}},
      {ContactType::Any, 0.5, 3.2, "H", 0,
       {{0, 1, -1, 0, 0}, {0, 1, 0, 0, 0}, {0, 2, 0, 0, 0}, {0, 2, 1, 0, 0}}},
      {ContactType::Intra, 0.5, 3.2, "H", 0, {{0, 1, 0, 0, 0}, {0, 2, 0, 0, 0}}},
      {ContactType::Intra, 0.5, 3.2, "H", 2, {{0, 1, 2, 0, 0}, {0, 2, 2, 0, 0}}},
      {ContactType::Intra, 2.5, 3.2, "O", 0, {}},
      {ContactType::Any, 0.0, 3.2, "O", 0, {{0, 0, -1, 0, 0}, {0, 0, 1, 0, 0}}}};
  for (const Case& k : cases) {
    auto from = make_handle<AtomAddress>(0, 0, 0, make_handle<Translation>(k.cell_a, 0, 0));
    auto found = search.find_contacts(search.resource()->get_point(from, true), from,
                                      contact(0, 0, 1, 0, absolute(k.lower, k.upper, k.type)), 1,
                                      make_handle<SubstructureAtom>(Element(k.element)));
    EXPECT_EQ(keys(*found), k.partners) << contact_type_name(k.type) << " " << k.element << " "
                                        << k.lower << "-" << k.upper << " from cell " << k.cell_a;
  }
}

// Contacts between the substructure just placed and those placed before are closed as the atoms
// lie: the distance with the lattice translations applied, the type judged on the two placed
// molecules (the same copy in another cell is another molecule). One that fails withdraws those
// closed before it; a contact to a substructure not yet placed waits.
TEST(MotifSearchClosing, FurtherContactsAreJudgedOnThePlacedAtoms) {
  struct Case {
    const char* name;
    std::vector<THandle<CombinedCriterion>> criteria;
    int copy;
    Translation cell;
    std::vector<int> closed;
    bool closes;
  };
  const Translation here(0, 0, 0), along_a(1, 0, 0), along_c(0, 0, 1);
  const std::vector<Case> cases = {
      {"both within reach", {absolute(0, 3), absolute(2, 3.5, ContactType::Any)}, 1, here, {0, 1}, true},
      {"the second too short", {absolute(0, 3), absolute(0, 2)}, 1, here, {0}, false},
      {"one cell along a: 12.8 A", {absolute(0, 3)}, 1, along_a, {}, false},
      {"one cell along a, a window there", {absolute(12.5, 13)}, 1, along_a, {0}, true},
      {"intramolecular, two molecules", {absolute(0, 3, ContactType::Intra)}, 1, here, {}, false},
      {"any, two molecules", {absolute(0, 3, ContactType::Any)}, 1, here, {0}, true},
      {"intramolecular, a cell up", {absolute(9, 11, ContactType::Intra)}, 0, along_c, {}, false},
      {"intermolecular, a cell up", {absolute(9, 11)}, 0, along_c, {0}, true}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto motif = motif_of({oxygen(), oxygen()});
    for (const auto& criterion : c.criteria)
      motif->add_contact(contact(0, 0, 1, 0, criterion));
    MotifSearch search;
    search.set_search_structure(water_triangle(), DatabaseEntryIdentifier("w3"));
    search.set_motif(motif);
    const auto& match = search.match();
    match->set_substructure_match(0, 0, 0, make_handle<std::vector<int>>(1, 0),
                                  make_handle<Translation>(0, 0, 0));
    std::vector<int> closed;
    EXPECT_TRUE(search.check_remaining_contacts(0, closed)); // the other is not placed yet
    EXPECT_TRUE(closed.empty());
    match->set_substructure_match(1, c.copy, c.copy, make_handle<std::vector<int>>(1, 0),
                                  make_handle<Translation>(c.cell));
    EXPECT_EQ(search.check_remaining_contacts(1, closed), c.closes);
    EXPECT_EQ(closed, c.closed);
    for (const auto& cm : match->contact_matches) {
      EXPECT_EQ(cm->found, c.closes);
      if (cm->found) {
        EXPECT_LT(distance(cm->to_point - cm->from_point,
                           Point(2.8 * c.copy, 0, 0) + 10.0 * c.cell.as_point()),
                  1e-9);
      }
    }
  }
}

// A contact within one water (its O-H, 0.96 A), closed when that water is placed second: an
// intermolecular one cannot be.
TEST(MotifSearchClosing, ContactWithinOneSubstructureIsIntramolecular) {
  for (const auto& [type, found] : {std::pair{ContactType::Inter, 0}, std::pair{ContactType::Any, 1},
                                    std::pair{ContactType::Intra, 1}}) {
    auto motif = motif_of({water(), water()}, {contact(0, 0, 1, 0, absolute(2.5, 3.0)),
                                               contact(1, 0, 1, 1, absolute(0.5, 1.2, type))});
    MotifSearch search;
    search.search(water_triangle(), motif, 0);
    EXPECT_EQ(search.results()->nentries(), found) << contact_type_name(type);
  }
}

// Each oxygen of the triangle has two oxygen neighbours at 2.8 A, on waters: counted partners
// decide whether a placement stands; partners on molecules the far substructure's size does not
// allow are not counted.
TEST(MotifSearchConstraints, ContactPartnersAreCountedOnAllowedMolecules) {
  const std::vector<std::tuple<THandle<Condition>, int, bool>> cases = {
      {make_handle<EqualTo>("partners", 2.0), 3, true},
      {make_handle<EqualTo>("partners", 1.0), 3, false},
      {make_handle<Greater>("partners", 1.0), 3, true},
      {make_handle<EqualTo>("partners", 0.0), 3, false},
      {make_handle<EqualTo>("partners", 0.0), 4, true}};
  for (const auto& [condition, far_size, holds] : cases) {
    auto motif = motif_of({water(), oxygen(far_size, 100)});
    motif->add_contact_constraint(make_handle<ContactConstraint>(
        0, 0, contact(0, 0, 1, 0, absolute(2.5, 3.0)), condition));
    MotifSearch search;
    search.set_search_structure(water_triangle(), DatabaseEntryIdentifier("w3"));
    search.set_motif(motif);
    search.match()->set_substructure_match(0, 0, 0, make_handle<std::vector<int>>(std::vector<int>{0, 1, 2}),
                                           make_handle<Translation>(0, 0, 0));
    EXPECT_EQ(search.check_contact_constraints(0), holds) << condition->name() << " " << far_size;
    EXPECT_TRUE(search.check_contact_constraints(1)); // none on substructure 1
  }
}

// The next contact followed is the lowest-numbered one not yet realised from a placed to an
// unplaced substructure, backwards when its second end is the placed one. Contacts: 0 joins 1
// to 2, 1 joins 0 to 1, 2 runs from 2 to 0.
TEST(MotifSearchSteps, NextContactLeadsFromThePlacedPart) {
  struct Case {
    std::vector<int> placed, recorded;
    std::pair<int, int> next;
  };
  const std::vector<Case> cases = {{{}, {}, {7, 9}},       {{0}, {}, {0, 1}},
                                   {{2}, {}, {2, 1}},       {{0}, {1}, {0, 2}},
                                   {{0, 1, 2}, {}, {7, 9}}, {{0, 1, 2}, {0, 1, 2}, {7, 9}}};
  for (const Case& c : cases) {
    MotifSearch search;
    search.set_search_structure(water_triangle(), DatabaseEntryIdentifier("w3"));
    search.set_motif(motif_of({oxygen(), oxygen(), oxygen()},
                              {contact(1, 0, 2, 0, absolute(2.5, 3.0)),
                               contact(0, 0, 1, 0, absolute(2.5, 3.0)),
                               contact(2, 0, 0, 0, absolute(2.5, 3.0))}));
    for (int s : c.placed)
      search.match()->set_substructure_match(s, s, s, make_handle<std::vector<int>>(1, 0),
                                             make_handle<Translation>(0, 0, 0));
    for (int k : c.recorded)
      search.match()->set_contact_match(k, make_handle<AtomAddress>(), make_handle<AtomAddress>(),
                                        Point(), Point());
    std::pair<int, int> next(7, 9);
    search.get_next_substructures(next.first, next.second);
    EXPECT_EQ(next, c.next) << c.placed.size() << " placed, " << c.recorded.size() << " recorded";
  }
}

// Placements of a water with pinned atoms: the two hydrogens either way round, the lower atom
// first. An equal question, also for an equal query graph held in another object, is answered
// from memory; a different molecule, pinning or query is a new search; without memory, equal
// questions get equal but separate lists; a new structure forgets.
TEST(MotifSearchPlacements, PinnedPlacementsAndThePlacementsRemembered) {
  MotifSearch search;
  search.set_search_structure(water_triangle(), DatabaseEntryIdentifier("w3"));
  search.set_motif(motif_of({water(), water(), oxygen()}));
  auto hits = search.find_substructures(0, 1, {{0, 0}});
  ASSERT_EQ(hits->size(), 2u);
  EXPECT_EQ(*(*hits)[0], (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(*(*hits)[1], (std::vector<int>{0, 2, 1}));
  EXPECT_TRUE(search.find_substructures(0, 0, {{1, 0}})->empty());
  EXPECT_EQ(search.find_substructures(0, 1, {{0, 0}}).get(), hits.get());
  EXPECT_EQ(search.find_substructures(1, 1, {{0, 0}}).get(), hits.get());
  EXPECT_NE(search.find_substructures(0, 2, {{0, 0}}).get(), hits.get());
  EXPECT_NE(search.find_substructures(0, 1, {{1, 1}}).get(), hits.get());
  auto single = search.find_substructures(2, 1, {{0, 0}});
  EXPECT_EQ(single->size(), 1u);
  EXPECT_EQ(search.substruct_crumbs().size(), 5u);
  EXPECT_THROW(search.find_substructures(3, 0, {}), std::out_of_range);
  search.set_search_structure(water_triangle(), DatabaseEntryIdentifier("again"));
  EXPECT_TRUE(search.substruct_crumbs().empty());
  EXPECT_NE(search.find_substructures(0, 1, {{0, 0}}).get(), hits.get());
  search.set_reuse_substructure_hits(false);
  auto a = search.find_substructures(0, 1, {{0, 0}}), b = search.find_substructures(0, 1, {{0, 0}});
  EXPECT_NE(a.get(), b.get());
  EXPECT_EQ(*(*a)[1], *(*b)[1]);
}

} // namespace
} // namespace xtalmotif
