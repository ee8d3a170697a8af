// The search engine on crystals built in code: the match limit and how results accumulate, what
// the first placement and the recursive step store, the contact search through the environment,
// closing further contacts, contact constraints, and what the search remembers.

#include "search/motif_search.h"

#include "apps/motif_catalog.h"
#include "crystal/cif_reader.h"
#include "search_test_support.h"
#include "test_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <tuple>

namespace xtalmotif {
namespace {

using namespace testing;
using Placements = std::vector<std::vector<int>>;
using Key = std::tuple<int, int, int, int, int>; // copy, atom, translation

const DatabaseEntryIdentifier unknown("unknown");

THandle<MotifSubstructure> oxygen(int min = 3, int max = 3) {
  return fragment({"O"}, {}, min, max);
}

// Three water oxygens pairwise 2.5 to 3.0 A apart in different molecules (one criterion serves
// the three contacts), the angle at the second within the window.
THandle<Motif> triangle_motif(double low = 0, double high = 180) {
  auto w = absolute(2.5, 3.0);
  auto m = motif_of({oxygen(), oxygen(), oxygen()},
                    {contact(0, 0, 1, 0, w), contact(1, 0, 2, 0, w), contact(2, 0, 0, 0, w)});
  m->add_angle_constraint(make_handle<MotifAngleConstraint>(
      0, 0, 1, 0, 2, 0, make_handle<InclusiveRange>("angle", low, high)));
  return m;
}

// For each stored match, the copy each substructure was placed on.
Placements placements(const MotifSearch& s) {
  Placements out;
  const auto matches = s.results()->motif_matches(unknown); // held: the loop reads through it
  for (const auto& m : *matches) {
    out.emplace_back();
    for (const auto& sm : m->substructure_matches)
      out.back().push_back(sm->nmol_in_msr);
  }
  return out;
}

// A search set on a structure and a motif, and a placement made by hand on it.
THandle<MotifSearch> prepared(const THandle<Motif>& m, THandle<CrystalMaker> c = water_triangle()) {
  auto s = make_handle<MotifSearch>();
  s->set_search_structure(std::move(c), DatabaseEntryIdentifier("set"));
  s->set_motif(m);
  return s;
}
void place(MotifSearch& s, int sub, int copy, Translation t = Translation(0, 0, 0),
           std::vector<int> atoms = {0}) {
  s.match()->set_substructure_match(sub, copy, copy, make_handle<std::vector<int>>(atoms),
                                    make_handle<Translation>(t));
}

// A structure's search stops at the limit; a structure that ends short of it leaves its count
// to the next one, and single-structure searches add to the results.
TEST(MotifSearchLimit, StopsAtTheLimitAndCarriesAnUnfinishedCountOver) {
  const std::vector<std::tuple<unsigned, Placements, Placements>> cases = {
      {1, {{0}}, {{0}, {0}}}, {2, {{0}, {1}}, {{0}, {1}, {0}, {1}}},
      {5, {{0}, {1}, {2}}, {{0}, {1}, {2}, {0}, {1}}}};
  for (const auto& [limit, first, both] : cases) {
    MotifSearch s;
    s.set_limit(limit);
    s.search(water_triangle(), motif_of({oxygen()}), 0);
    EXPECT_EQ(placements(s), first) << limit;
    s.search(motif_of({oxygen()}), 0); // the current structure again
    EXPECT_EQ(placements(s), both) << limit;
  }
}

THandle<CrystalMaker> two_atoms(const char* first, const char* second, double apart) {
  auto c = make_crystal(10, 10, 10, 90, 90, 90);
  add_molecule(*c, {{first, Point(1, 1, 1)}});
  add_molecule(*c, {{second, Point(1 + apart, 1, 1)}});
  return c;
}

// Every arrangement the crystal holds is stored once, from the first placement (on molecules of
// a size the substructure allows) through each step of the recursion; none that it cannot hold:
// outside an angle window, a chain longer than the crystal has waters, two parts no contact
// joins, two atoms closer than atoms of different molecules can be (2.2 A for oxygens, 1.5 A
// with a hydrogen: closer, it is a shared proton). A molecule's partners may be its own lattice
// repeats.
TEST(MotifSearchSteps, StoresEachArrangementTheCrystalHoldsOnce) {
  // The triangle of waters (copies 0 to 2) and a methanol (copy 3) far off.
  auto methanol = water_triangle();
  add_molecule(*methanol,
               {{"C", Point(6, 6, 6)}, {"O", Point(7.43, 6, 6)}, {"H", Point(7.75, 6.9, 6)},
                {"H", Point(5.64, 7, 6)}, {"H", Point(5.64, 5.5, 6.87)},
                {"H", Point(5.64, 5.5, 5.13)}},
               {{0, 1}, {1, 2}, {0, 3}, {0, 4}, {0, 5}});
  auto chain = motif_of({oxygen(), oxygen(), oxygen(), oxygen()});
  for (int i = 0; i < 3; ++i)
    chain->add_contact(contact(i, 0, i + 1, 0, absolute(2.5, 3.0)));
  auto pair =
      motif_of({fragment({"O"}), fragment({"O"})}, {contact(0, 0, 1, 0, absolute(1.5, 2.5))});
  auto h_o = motif_of({fragment({"H"}), fragment({"O"})}, {contact(0, 0, 1, 0, absolute(0.5, 2))});
  auto short_axis = make_crystal(3, 10, 10, 90, 90, 90);
  add_water(*short_axis, Point(0.5, 5, 5));
  auto water_pair = motif_of({water(), water()}, {contact(0, 0, 1, 0, absolute(2.5, 3.2))});
  const Placements all_orders = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
  const std::vector<std::tuple<const char*, THandle<CrystalMaker>, THandle<Motif>, int, Placements>>
      cases = {
          {"an oxygen of four to ten atoms", methanol, motif_of({oxygen(4, 10)}), 0, {{3}}},
          {"a water oxygen", methanol, motif_of({oxygen()}), 0, {{0}, {1}, {2}}},
          // 6.68 A from the carbon: the third water, in its cell and one cell up.
          {"from the carbon, back to a water", methanol,
           motif_of({oxygen(), fragment({"C"})}, {contact(0, 0, 1, 0, absolute(6, 7))}), 1,
           {{2, 3}, {2, 3}}},
          {"a triangle of waters", water_triangle(), triangle_motif(), 0, all_orders},
          {"in an angle window", water_triangle(), triangle_motif(55, 65), 0, all_orders},
          {"outside it", water_triangle(), triangle_motif(100, 120), 0, {}},
          {"a chain of four", water_triangle(), chain, 0, {}},
          {"two parts", water_triangle(), motif_of({oxygen(), oxygen()}), 0, {}},
          {"oxygens 2.4 A apart", two_atoms("O", "O", 2.4), pair, 0, {{0, 1}, {1, 0}}},
          {"oxygens 2.0 A apart", two_atoms("O", "O", 2.0), pair, 0, {}},
          {"a hydrogen 1.2 A from an oxygen", two_atoms("H", "O", 1.2), h_o, 0, {}},
          // Two repeats, and each water matched with its hydrogens either way round.
          {"a water and its repeats along a 3 A axis", short_axis, water_pair, 0,
           Placements(8, {0, 0})}};
  for (const auto& [name, structure, motif, first, expected] : cases) {
    MotifSearch s;
    s.set_limit(100);
    s.search(structure, motif, first);
    Placements found = placements(s);
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, expected) << name;
  }
  MotifSearch s;
  EXPECT_THROW(s.search(water_triangle(), triangle_motif(), 3), std::out_of_range);
  // A structure without molecules is left before the substructure is looked up.
  EXPECT_NO_THROW(s.search(make_crystal(10, 10, 10, 90, 90, 90), triangle_motif(), 3));
}

std::vector<Key> keys(const AtomAddressList& list) {
  std::vector<Key> out;
  for (const auto& a : list)
    out.emplace_back(a->nmol_in_msr, a->natom, (*a->translation)[0], (*a->translation)[1],
                     (*a->translation)[2]);
  return out;
}

THandle<AtomAddressList> partners(MotifSearch& s, const THandle<CombinedCriterion>& criterion,
                                  const char* element, int cell_a = 0) {
  auto from = make_handle<AtomAddress>(0, 0, 0, make_handle<Translation>(cell_a, 0, 0));
  return s.find_contacts(s.resource()->get_point(from, true), from,
                         contact(0, 0, 1, 0, criterion), 1,
                         make_handle<SubstructureAtom>(Element(element)));
}

// One water in a cell only 3 A long along a: its repeats along a are the only other molecules
// in reach. O at x = 0.5; H1 at (0.8, z + 0.912), H2 at (0.2, z - 0.912). The partners of the
// O come by atom and then translation, the first axis slowest. An intermolecular contact may
// reach a repeat of the same molecule, never its own copy in its own cell; an intramolecular one
// only that. Windows relative to the radius sum are offsets from it, and molecules of a size
// the far substructure does not allow hold no partners.
TEST(MotifSearchContacts, PartnersOnAMoleculeAndItsLatticeRepeats) {
  auto c = make_crystal(3, 10, 10, 90, 90, 90);
  add_water(*c, Point(0.5, 5, 5));
  const double sum = 2.0 * Element::vdw_radii_[Element::Oxygen];
  const ContactType inter = ContactType::Inter, intra = ContactType::Intra, any = ContactType::Any;
  const std::vector<Key> o_repeats = {{0, 0, -1, 0, 0}, {0, 0, 1, 0, 0}};
  struct Case {
    THandle<CombinedCriterion> criterion;
    const char* element;
    int cell_a, far_min;
    std::vector<Key> partners;
  };
  const std::vector<Case> cases = {
      {absolute(2.5, 3.2, inter), "O", 0, 3, o_repeats},
      {absolute(0.0, 3.2, any), "O", 0, 3, o_repeats}, // never the atom itself
      {absolute(2.5, 3.2, inter), "O", 0, 4, {}},
      {absolute(0.5, 3.2, intra), "H", 0, 4, {}},
      // Own hydrogens at 0.96 A; H1 one cell back and H2 one forward 2.85 A, the others 3.42 A.
      {absolute(0.5, 3.2, inter), "H", 0, 3, {{0, 1, -1, 0, 0}, {0, 2, 1, 0, 0}}},
      {absolute(0.5, 1.2, inter), "H", 0, 3, {}},
      {absolute(0.5, 3.2, any), "H", 0, 3,
       {{0, 1, -1, 0, 0}, {0, 1, 0, 0, 0}, {0, 2, 0, 0, 0}, {0, 2, 1, 0, 0}}},
      {absolute(0.5, 3.2, intra), "H", 0, 3, {{0, 1, 0, 0, 0}, {0, 2, 0, 0, 0}}},
      {absolute(0.5, 3.2, intra), "H", 2, 3, {{0, 1, 2, 0, 0}, {0, 2, 2, 0, 0}}},
      {absolute(2.5, 3.2, intra), "O", 0, 3, {}},
      {vdw(3.0 - sum - 0.1, 3.0 - sum + 0.05), "O", 0, 3, o_repeats},
      {vdw(3.0 - sum - 0.3, 3.0 - sum - 0.05), "O", 0, 3, {}}};
  for (const Case& k : cases) {
    auto far = fragment({"O", "H", "H"}, {{0, 1}, {0, 2}}, k.far_min, 9);
    auto s = prepared(motif_of({water(), far}), c);
    EXPECT_EQ(keys(*partners(*s, k.criterion, k.element, k.cell_a)), k.partners)
        << contact_type_name(k.criterion->contact_type()) << " " << k.element << " "
        << k.criterion->lower() << " to " << k.criterion->upper() << " from cell " << k.cell_a
        << ", far molecules of " << k.far_min << " atoms or more";
  }
}

// An equal question (equal objects, not the same ones) is answered from memory; a different
// window, query atom or address is a new search.
TEST(MotifSearchContacts, EqualQuestionsAreAnsweredFromMemory) {
  auto s = prepared(motif_of({water(), water()}));
  auto first = partners(*s, absolute(2.5, 3.0), "O");
  EXPECT_EQ(keys(*first), (std::vector<Key>{{1, 0, 0, 0, 0}, {2, 0, 0, 0, 0}}));
  EXPECT_EQ(partners(*s, absolute(2.5, 3.0), "O").get(), first.get());
  EXPECT_TRUE(partners(*s, absolute(2.5, 2.7), "O")->empty());
  EXPECT_NE(keys(*partners(*s, absolute(2.5, 3.0), "H")), keys(*first));
  EXPECT_EQ(keys(*partners(*s, absolute(2.5, 3.0), "O", 1)),
            (std::vector<Key>{{1, 0, 1, 0, 0}, {2, 0, 1, 0, 0}}));
  // The same question toward a substructure that allows no molecule of the triangle's size.
  auto sized = prepared(motif_of({water(), fragment({"O"}, {}, 3, 3), fragment({"O"}, {}, 4)}));
  EXPECT_FALSE(partners(*sized, absolute(2.5, 3.0), "O")->empty());
  auto from = make_handle<AtomAddress>(0, 0, 0, make_handle<Translation>(0, 0, 0));
  EXPECT_TRUE(sized->find_contacts(sized->resource()->get_point(from, true), from,
                                   contact(0, 0, 2, 0, absolute(2.5, 3.0)), 2,
                                   make_handle<SubstructureAtom>(Element("O")))->empty());
}

// Contacts between the substructure just placed and those placed before are closed as the atoms
// lie: the distance with the lattice translations applied, the type judged on the two placed
// molecules (the same copy in another cell is another molecule). One that fails withdraws those
// closed before it; a contact to a substructure not yet placed waits.
TEST(MotifSearchClosing, FurtherContactsAreJudgedOnThePlacedAtoms) {
  // The criteria of the contacts, the copy and cell the second oxygen is placed in, and the
  // contacts closed.
  using Case = std::tuple<const char*, std::vector<THandle<CombinedCriterion>>, int, Translation,
                          std::vector<int>>;
  const Translation here(0, 0, 0), along_a(1, 0, 0), along_c(0, 0, 1);
  const ContactType any = ContactType::Any, intra = ContactType::Intra;
  const std::vector<Case> cases = {
      {"both within reach", {absolute(0, 3), absolute(2, 3.5, any)}, 1, here, {0, 1}},
      {"the second too short", {absolute(0, 3), absolute(0, 2)}, 1, here, {0}},
      {"one cell along a: 12.8 A", {absolute(0, 3)}, 1, along_a, {}},
      {"one cell along a, a window there", {absolute(12.5, 13)}, 1, along_a, {0}},
      {"intramolecular, two molecules", {absolute(0, 3, intra)}, 1, here, {}},
      {"any, two molecules", {absolute(0, 3, any)}, 1, here, {0}},
      {"intramolecular, a cell up", {absolute(9, 11, intra)}, 0, along_c, {}},
      {"intermolecular, a cell up", {absolute(9, 11)}, 0, along_c, {0}}};
  for (const auto& [name, criteria, copy, cell, closed_expected] : cases) {
    SCOPED_TRACE(name);
    auto motif = motif_of({oxygen(), oxygen()});
    for (const auto& criterion : criteria)
      motif->add_contact(contact(0, 0, 1, 0, criterion));
    auto s = prepared(motif);
    place(*s, 0, 0);
    std::vector<int> closed;
    EXPECT_TRUE(s->check_remaining_contacts(0, closed)); // the other is not placed yet
    place(*s, 1, copy, cell);
    const bool closes = closed_expected.size() == criteria.size();
    EXPECT_EQ(s->check_remaining_contacts(1, closed), closes);
    EXPECT_EQ(closed, closed_expected);
    for (const auto& cm : s->match()->contact_matches) {
      EXPECT_EQ(cm->found, closes);
      const Point apart = Point(2.8 * copy, 0, 0) + 10.0 * cell.as_point();
      EXPECT_TRUE(!cm->found || distance(cm->to_point - cm->from_point, apart) < 1e-9);
    }
  }
  // A contact within one water (its O-H, 0.96 A), closed when that water is placed second.
  for (const auto& [type, found] : {std::pair{ContactType::Inter, 0}, std::pair{any, 1},
                                    std::pair{intra, 1}}) {
    MotifSearch s;
    s.search(water_triangle(),
             motif_of({water(), water()}, {contact(0, 0, 1, 0, absolute(2.5, 3.0)),
                                           contact(1, 0, 1, 1, absolute(0.5, 1.2, type))}),
             0);
    EXPECT_EQ(s.results()->nentries(), found) << contact_type_name(type);
  }
}

// Each oxygen of the triangle has two oxygen neighbours at 2.8 A, on waters: the number of
// partners decides whether a placement stands, counting only those where the far substructure
// can be placed (a molecule of a size it allows, atoms it needs).
TEST(MotifSearchConstraints, ContactPartnersAreCountedWhereTheFarSubstructureFits) {
  const auto none = make_handle<EqualTo>("partners", 0.0);
  const std::vector<std::tuple<THandle<Condition>, THandle<MotifSubstructure>, bool>> cases = {
      {make_handle<EqualTo>("partners", 2.0), oxygen(), true},
      {make_handle<EqualTo>("partners", 1.0), oxygen(), false},
      {make_handle<Greater>("partners", 1.0), oxygen(), true},
      {none, oxygen(), false},
      {none, oxygen(4, 100), true},
      {none, fragment({"O", "C"}, {{0, 1}}), true}};
  for (const auto& [condition, far, holds] : cases) {
    auto motif = motif_of({water(), far});
    motif->add_contact_constraint(
        make_handle<ContactConstraint>(0, 0, contact(0, 0, 1, 0, absolute(2.5, 3.0)), condition));
    auto s = prepared(motif);
    place(*s, 0, 0, Translation(0, 0, 0), {0, 1, 2});
    EXPECT_EQ(s->check_contact_constraints(0), holds)
        << condition->name() << " on " << far->nnodes() << " atoms of " << far->min_target_size();
  }
}

// Placements of a water with pinned atoms: the two hydrogens either way round, the lower atom
// first. An equal question, also for an equal query graph held in another object, is answered
// from memory; a different pinning is a new search, and a new structure forgets.
TEST(MotifSearchPlacements, PinnedPlacementsAndThePlacementsRemembered) {
  auto s = prepared(motif_of({water(), water(), oxygen()}));
  auto hits = s->find_substructures(0, 1, {{0, 0}});
  EXPECT_EQ(hits->size(), 2u);
  EXPECT_EQ(*hits->at(0), (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(*hits->at(1), (std::vector<int>{0, 2, 1}));
  EXPECT_EQ(s->find_substructures(1, 1, {{0, 0}}).get(), hits.get());
  EXPECT_EQ(s->find_substructures(0, 1, {{1, 2}})->size(), 1u);
  EXPECT_TRUE(s->find_substructures(0, 1, {{1, 0}})->empty());
  EXPECT_EQ(s->find_substructures(2, 1, {{0, 0}})->size(), 1u);
  EXPECT_EQ(s->substruct_crumbs().size(), 4u);
  s->set_search_structure(water_triangle(), DatabaseEntryIdentifier("again"));
  EXPECT_TRUE(s->substruct_crumbs().empty());
  s->set_reuse_substructure_hits(false);
  EXPECT_EQ(*s->find_substructures(0, 1, {{0, 0}})->at(1), *hits->at(1));
  EXPECT_TRUE(s->substruct_crumbs().empty());
}

// Following the most selective contact first finds the same matches as the motif's order, in
// shipped structures and for motifs whose long intramolecular links come before their hydrogen
// bonds; the work budget stops a search that the call budget would let run on.
TEST(MotifSearchOrder, SelectiveOrderFindsTheSameMatchesAndTheWorkBudgetBoundsTheSearch) {
  auto signatures = [](const MotifSearch& s) {
    std::vector<std::string> out;
    const auto matches = s.results()->motif_matches(unknown);
    for (const auto& m : *matches) {
      std::string sig;
      for (const auto& sm : m->substructure_matches) {
        sig += std::to_string(sm->nmol_in_msr) + "@" + std::to_string((*sm->translation)[0]) +
               "," + std::to_string((*sm->translation)[1]) + "," +
               std::to_string((*sm->translation)[2]) + ":";
        for (int a : *sm->atoms)
          sig += std::to_string(a) + " ";
      }
      out.push_back(sig);
    }
    std::sort(out.begin(), out.end());
    return out;
  };
  const std::pair<const char*, const char*> cases[] = {
      {"4504659.cif", "water ring of ten"}, {"4504659.cif", "water 2 R12s joined by 5"},
      {"4504659.cif", "R2 ribbon"},         {"4504659.cif", "water chain of ten"},
      {"4022630.cif", "carboxylic acid dimer"}, {"7051216.cif", "silver pattern4"}};
  for (const auto& [file, name] : cases) {
    const auto structure = (source_dir() / "data" / "structures" / file).string();
    std::vector<std::string> found[2];
    for (int selective = 0; selective < 2; ++selective) {
      MotifSearch s;
      s.set_limit(1000);
      s.set_selective_order(selective == 1);
      const app::MotifChoice motif = app::choose_motif(name);
      auto crystal = read_crystal(structure, "");
      if (motif.prepare)
        motif.prepare(crystal);
      s.search(crystal, motif.build(), 0);
      EXPECT_FALSE(s.aborted()) << file << " " << name;
      found[selective] = signatures(s);
    }
    EXPECT_FALSE(found[0].empty()) << file << " " << name;
    EXPECT_EQ(found[0], found[1]) << file << " " << name;
  }
  // The same framework-like search under a work budget: stopped at it, with the unit that met
  // it counted, whatever the call budget.
  MotifSearch s;
  s.set_limit(1000);
  s.set_work_budget(2000);
  s.search(read_crystal((source_dir() / "data/structures/4504659.cif").string(), ""),
           app::choose_motif("water ring of ten").build(), 0);
  EXPECT_TRUE(s.aborted());
  EXPECT_EQ(s.work(), 2000u);
  EXPECT_LT(s.ncalls(), s.max_calls());
}

} // namespace
} // namespace xtalmotif
