#include "library/water_motifs.h"

#include "library_test_helpers.h"

#include "chem/contact_criterion.h"
#include "chem/element.h"
#include "motif/motif.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace xtalmotif {
namespace {

using Strings = std::vector<std::string>;
using Pairs = std::vector<std::pair<int, int>>;

/// "H" for a hydrogen bond (radius sum + 0.1 A), "L10", "L15", "L35" for the long contacts
/// (3.34 A up to 10, 15 or 35 A); anything else shows its values.
std::string criterion_kind(const CombinedCriterion &c) {
  if (c.is_vdw_relative() && c.upper() == 0.1 && c.lower() == -5.0)
    return "H";
  if (!c.is_vdw_relative() && c.lower() == 3.34)
    return "L" + testing::number_text(c.upper());
  return "?(" + testing::number_text(c.upper()) + "," + testing::number_text(c.lower()) + ")";
}

/// The contacts of a motif as "from>to:kind", after checking that each joins the two oxygens.
Strings contacts_text(const Motif &motif) {
  Strings v;
  for (const auto &c : *motif.contacts()) {
    EXPECT_EQ(c->from_atom(), 0);
    EXPECT_EQ(c->to_atom(), 0);
    v.push_back(std::to_string(c->from_substructure()) + ">" +
                std::to_string(c->to_substructure()) + ":" + criterion_kind(*c->criterion()));
  }
  return v;
}

Strings with_kind(const Pairs &pairs, const std::string &kind) {
  Strings v;
  for (const auto &[a, b] : pairs)
    v.push_back(std::to_string(a) + ">" + std::to_string(b) + ":" + kind);
  return v;
}

Strings concat(std::initializer_list<Strings> parts) {
  Strings v;
  for (const auto &p : parts)
    v.insert(v.end(), p.begin(), p.end());
  return v;
}

/// Every pair i < j of n waters not joined by one of `joined` (in either direction), in
/// increasing order.
Pairs other_pairs(int n, const Pairs &joined) {
  std::set<std::pair<int, int>> done;
  for (const auto &[a, b] : joined)
    done.insert({std::min(a, b), std::max(a, b)});
  Pairs v;
  for (int i = 0; i < n; ++i)
    for (int j = i + 1; j < n; ++j)
      if (!done.count({i, j}))
        v.push_back({i, j});
  return v;
}

/// All substructures are one shared water fragment.
void expect_one_water_fragment(const Motif &motif, int n) {
  ASSERT_EQ(motif.nsubstructures(), n);
  for (int i = 1; i < n; ++i)
    EXPECT_EQ(motif.substructure(i), motif.substructure(0)) << "water " << i;
}

// ---------------------------------------------------------------------------------------------
// Fragments and criteria

TEST(WaterMotifsParts, WaterFragments) {
  auto water = WaterMotifs::make_water();
  EXPECT_EQ(testing::atoms_text(*water), Strings{"O[NH>0]"});
  EXPECT_EQ(water->node(0)->elements().at(0).code(), 64);
  EXPECT_EQ(water->nedges(), 0);
  EXPECT_EQ(water->min_target_size(), 0);
  EXPECT_EQ(water->max_target_size(), 3);
  EXPECT_EQ(water->name, "");

  auto h2 = WaterMotifs::make_h2_water();
  EXPECT_EQ(testing::atoms_text(*h2), Strings{"O[NH=2]"});
  EXPECT_EQ(h2->min_target_size(), 0);
  EXPECT_EQ(h2->max_target_size(), 100000);
  EXPECT_EQ(h2->name, "");
}

TEST(WaterMotifsParts, CriteriaValues) {
  struct Expected {
    THandle<CombinedCriterion> crit;
    bool vdw;
    double upper;
    double lower;
  };
  const std::vector<Expected> all = {
      {WaterMotifs::hbond_crit(), true, 0.1, -5.0},
      {WaterMotifs::long_crit1(), false, 10.0, 3.34},
      {WaterMotifs::long_crit2(), false, 10.0, 3.34},
      {WaterMotifs::long_crit3(), false, 15.0, 3.34},
      {WaterMotifs::long_crit4(), false, 35.0, 3.34},
  };
  for (std::size_t i = 0; i < all.size(); ++i) {
    SCOPED_TRACE(i);
    const auto &c = *all[i].crit;
    EXPECT_EQ(c.is_vdw_relative(), all[i].vdw);
    EXPECT_EQ(c.upper(), all[i].upper);
    EXPECT_EQ(c.lower(), all[i].lower);
    EXPECT_EQ(c.contact_type(), ContactType::Inter);
    EXPECT_EQ(c.min_path(), 4);
    EXPECT_EQ(c.max_path(), 999);
    EXPECT_FALSE(c.is_symmetric());
    EXPECT_TRUE(c.first_elements().empty());
    EXPECT_TRUE(c.second_elements().empty());
  }
  EXPECT_TRUE(*WaterMotifs::long_crit1() == *WaterMotifs::long_crit2());
  EXPECT_FALSE(*WaterMotifs::long_crit1() == *WaterMotifs::long_crit3());
  // Each call makes a new criterion.
  EXPECT_NE(WaterMotifs::long_crit1(), WaterMotifs::long_crit1());
}

TEST(WaterMotifsParts, HydrogenBondWindowOnRealDistances) {
  // Oxygen radius 1.52 A: a 2.8 A O...O hydrogen bond is in, 3.2 A is beyond radius sum + 0.1.
  auto hb = WaterMotifs::hbond_crit();
  const double r = Element(Element::Oxygen).vdw_radius();
  ASSERT_DOUBLE_EQ(r, 1.52);
  EXPECT_TRUE(hb->test_distance(2.8, r, r));
  EXPECT_TRUE(hb->test_distance(3.13, r, r));
  EXPECT_FALSE(hb->test_distance(3.2, r, r));
  auto far = WaterMotifs::long_crit1();
  EXPECT_FALSE(far->test_distance(2.8, r, r));
  EXPECT_TRUE(far->test_distance(4.5, r, r));
  EXPECT_FALSE(far->test_distance(10.5, r, r));
}

// ---------------------------------------------------------------------------------------------
// Cross connections

TEST(WaterMotifsCross, JoinsOnlyUnjoinedPairsWhicheverWayTheyAreWritten) {
  auto motif = make_handle<Motif>("three");
  auto w = WaterMotifs::make_water();
  for (int i = 0; i < 3; ++i)
    motif->add_substructure(w);
  motif->add_contact(make_handle<MotifContact>(2, 0, 0, 0, WaterMotifs::hbond_crit()));
  WaterMotifs::add_water_cross_connections(motif);
  EXPECT_EQ(contacts_text(*motif), (Strings{"2>0:H", "0>1:L35", "1>2:L35"}));
  // A second call finds every pair joined.
  WaterMotifs::add_water_cross_connections(motif);
  EXPECT_EQ(motif->ncontacts(), 3);
}

TEST(WaterMotifsCross, NothingForNoneOrOneWater) {
  auto empty = make_handle<Motif>("none");
  WaterMotifs::add_water_cross_connections(empty);
  EXPECT_EQ(empty->ncontacts(), 0);
  auto one = make_handle<Motif>("one");
  one->add_substructure(WaterMotifs::make_water());
  WaterMotifs::add_water_cross_connections(one);
  EXPECT_EQ(one->ncontacts(), 0);
}

// ---------------------------------------------------------------------------------------------
// Chains and rings of any size

TEST(WaterMotifsSized, ChainOfThree) {
  auto m = WaterMotifs::make_chain(3);
  EXPECT_EQ(m->name(), "chain of 3 waters");
  expect_one_water_fragment(*m, 3);
  EXPECT_EQ(contacts_text(*m), (Strings{"0>1:H", "1>2:H", "0>2:L35"}));
}

TEST(WaterMotifsSized, RingOfThreeNeedsNoLongContacts) {
  auto m = WaterMotifs::make_ring(3);
  EXPECT_EQ(m->name(), "ring of 3 waters");
  expect_one_water_fragment(*m, 3);
  EXPECT_EQ(contacts_text(*m), (Strings{"0>1:H", "1>2:H", "0>2:H"}));
}

TEST(WaterMotifsSized, LargerChainsAndRings) {
  auto chain = WaterMotifs::make_chain(7);
  EXPECT_EQ(chain->name(), "chain of 7 waters");
  Pairs hb = {{0, 1}, {1, 2}, {2, 3}, {3, 4}, {4, 5}, {5, 6}};
  EXPECT_EQ(contacts_text(*chain),
            concat({with_kind(hb, "H"), with_kind(other_pairs(7, hb), "L35")}));
  EXPECT_EQ(chain->ncontacts(), 21);

  auto ring = WaterMotifs::make_ring(12);
  EXPECT_EQ(ring->name(), "ring of 12 waters");
  Pairs ring_hb = {{0, 1}, {1, 2}, {2, 3}, {3, 4},  {4, 5},   {5, 6},
                   {6, 7}, {7, 8}, {8, 9}, {9, 10}, {10, 11}, {0, 11}};
  EXPECT_EQ(contacts_text(*ring),
            concat({with_kind(ring_hb, "H"), with_kind(other_pairs(12, ring_hb), "L35")}));
  EXPECT_EQ(ring->ncontacts(), 12 + 54);
}

// ---------------------------------------------------------------------------------------------
// Fixed motifs with their own long contacts

TEST(WaterMotifsFixed, WaterChainOfSix) {
  auto m = WaterMotifs::make_chain();
  EXPECT_EQ(m->name(), "water chain");
  expect_one_water_fragment(*m, 6);
  EXPECT_EQ(contacts_text(*m), concat({with_kind({{0, 1}, {1, 2}, {2, 3}, {3, 4}, {4, 5}}, "H"),
                                       with_kind({{0, 2}, {1, 3}, {2, 4}, {3, 5}}, "L10"),
                                       with_kind({{0, 3}, {1, 4}, {2, 5}}, "L10"),
                                       with_kind({{0, 4}, {1, 5}, {0, 5}}, "L15")}));
  // Every one of the 15 pairs of six waters is constrained once.
  EXPECT_EQ(m->ncontacts(), 15);
}

TEST(WaterMotifsFixed, WaterChainOfTen) {
  auto m = WaterMotifs::make_chain_of_ten();
  EXPECT_EQ(m->name(), "water chain of ten");
  expect_one_water_fragment(*m, 10);
  EXPECT_EQ(
      contacts_text(*m),
      concat(
          {with_kind({{0, 1}, {1, 2}, {2, 3}, {3, 4}, {4, 5}, {5, 6}, {6, 7}, {7, 8}, {8, 9}}, "H"),
           with_kind({{0, 2}, {1, 3}, {2, 4}, {3, 5}, {4, 6}, {5, 7}, {6, 8}, {7, 9}}, "L10"),
           with_kind({{0, 3}, {1, 4}, {2, 5}, {3, 6}, {4, 7}, {5, 8}, {6, 9}}, "L10"),
           with_kind({{0, 4}, {1, 5}, {2, 6}, {3, 7}, {4, 8}, {5, 9}}, "L15"),
           with_kind({{0, 5}, {1, 6}, {2, 7}, {3, 8}, {4, 9}}, "L15")}));
  EXPECT_EQ(m->ncontacts(), 35);
}

TEST(WaterMotifsFixed, Cube) {
  auto m = WaterMotifs::make_cube();
  EXPECT_EQ(m->name(), "cube motif");
  expect_one_water_fragment(*m, 8);
  Pairs edges = {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 4}, {1, 5},
                 {3, 7}, {2, 6}, {4, 5}, {5, 6}, {6, 7}, {7, 4}};
  Pairs face_diagonals = {{0, 2}, {1, 3}, {0, 5}, {1, 4}, {0, 7}, {3, 4},
                          {1, 6}, {2, 5}, {4, 6}, {5, 7}, {2, 7}, {3, 6}};
  EXPECT_EQ(contacts_text(*m), concat({with_kind(edges, "H"), with_kind(face_diagonals, "L10")}));
  // The four body diagonals of the cube stay free: 0-6, 1-7, 2-4, 3-5.
  for (auto [a, b] : Pairs{{0, 6}, {1, 7}, {2, 4}, {3, 5}})
    EXPECT_EQ(m->motif_contact(a, b), -1) << a << "-" << b;
}

TEST(WaterMotifsFixed, RingsOfSixAndEightConstrainEveryPair) {
  auto six = WaterMotifs::make_ring_of_six();
  EXPECT_EQ(six->name(), "Ring of six waters");
  expect_one_water_fragment(*six, 6);
  EXPECT_EQ(
      contacts_text(*six),
      concat({with_kind({{0, 1}, {1, 2}, {2, 3}, {3, 4}, {4, 5}, {5, 0}}, "H"),
              with_kind({{0, 2}, {0, 3}, {0, 4}, {1, 3}, {1, 4}, {1, 5}, {2, 4}, {2, 5}, {3, 5}},
                        "L10")}));

  auto eight = WaterMotifs::make_ring_of_eight();
  EXPECT_EQ(eight->name(), "Ring of eight waters");
  expect_one_water_fragment(*eight, 8);
  Pairs hb = {{0, 1}, {1, 2}, {2, 3}, {3, 4}, {4, 5}, {5, 6}, {6, 7}, {7, 0}};
  EXPECT_EQ(contacts_text(*eight),
            concat({with_kind(hb, "H"), with_kind(other_pairs(8, hb), "L10")}));
  EXPECT_EQ(eight->ncontacts(), 28);
}

TEST(WaterMotifsFixed, T41) {
  auto m = WaterMotifs::make_T41();
  EXPECT_EQ(m->name(), "T41");
  expect_one_water_fragment(*m, 10);
  EXPECT_EQ(contacts_text(*m), concat({with_kind({{0, 1},
                                                  {0, 2},
                                                  {1, 3},
                                                  {2, 3},
                                                  {3, 4},
                                                  {3, 5},
                                                  {4, 6},
                                                  {5, 6},
                                                  {6, 7},
                                                  {6, 8},
                                                  {7, 9},
                                                  {8, 9}},
                                                 "H"),
                                       with_kind({{0, 3},
                                                  {1, 2},
                                                  {1, 4},
                                                  {1, 5},
                                                  {2, 4},
                                                  {2, 5},
                                                  {3, 6},
                                                  {4, 5},
                                                  {4, 7},
                                                  {4, 8},
                                                  {5, 7},
                                                  {5, 8},
                                                  {6, 9},
                                                  {7, 8}},
                                                 "L10"),
                                       with_kind({{1, 7}, {2, 8}}, "L15")}));
}

TEST(WaterMotifsFixed, T42_62) {
  auto m = WaterMotifs::make_T42_62();
  EXPECT_EQ(m->name(), "T42-62");
  expect_one_water_fragment(*m, 12);
  EXPECT_EQ(contacts_text(*m),
            concat({with_kind({{0, 2},
                               {2, 4},
                               {4, 5},
                               {5, 3},
                               {3, 1},
                               {1, 0},
                               {4, 6},
                               {5, 7},
                               {6, 7},
                               {6, 8},
                               {7, 9},
                               {8, 10},
                               {9, 11},
                               {10, 11}},
                              "H"),
                    with_kind({{0, 4},  {0, 5}, {0, 3},  {2, 5},  {2, 3}, {2, 1}, {4, 3},  {4, 1},
                               {5, 1},  {2, 6}, {3, 7},  {4, 7},  {5, 6}, {4, 8}, {5, 9},  {6, 10},
                               {6, 11}, {6, 9}, {7, 10}, {8, 11}, {8, 9}, {8, 7}, {10, 9}, {11, 7}},
                              "L10"),
                    with_kind({{2, 8}, {3, 9}}, "L15")}));
  EXPECT_EQ(m->ncontacts(), 40);
}

TEST(WaterMotifsFixed, W8KeepsTheRepeatedPair) {
  auto m = WaterMotifs::make_w8();
  EXPECT_EQ(m->name(), "w8 motif");
  expect_one_water_fragment(*m, 8);
  ASSERT_EQ(m->ncontacts(), 28);
  EXPECT_EQ(
      contacts_text(*m),
      concat({with_kind(
                  {{1, 2}, {2, 3}, {3, 0}, {0, 4}, {1, 5}, {3, 7}, {2, 6}, {4, 5}, {5, 6}, {7, 4}},
                  "H"),
              with_kind({{0, 1},
                         {6, 7},
                         {0, 2},
                         {1, 3},
                         {0, 5},
                         {1, 4},
                         {0, 6},
                         {0, 7},
                         {1, 7},
                         {3, 4},
                         {3, 5},
                         {1, 6},
                         {2, 5},
                         {4, 6},
                         {5, 7},
                         {2, 5},
                         {2, 7},
                         {3, 6}},
                        "L10")}));
  auto between = m->contacts_between_substructures(2, 5);
  EXPECT_EQ(*between, (std::vector<int>{22, 25}));
  // Unlike the cube, two cube edges (0-1 and 6-7) are kept apart instead of hydrogen-bonded.
  EXPECT_EQ(criterion_kind(*m->contact(m->motif_contact(0, 1))->criterion()), "L10");
  EXPECT_EQ(criterion_kind(*m->contact(m->motif_contact(6, 7))->criterion()), "L10");
}

TEST(WaterMotifsFixed, W10) {
  auto m = WaterMotifs::make_w10();
  EXPECT_EQ(m->name(), "w10 motif");
  expect_one_water_fragment(*m, 10);
  Pairs hb = {{0, 3}, {0, 1}, {1, 2}, {1, 6}, {2, 5}, {3, 4},
              {4, 5}, {3, 7}, {5, 9}, {6, 8}, {7, 8}, {8, 9}};
  EXPECT_EQ(contacts_text(*m), concat({with_kind(hb, "H"), with_kind(other_pairs(10, hb), "L10")}));
  EXPECT_EQ(m->ncontacts(), 12 + 33);
}

TEST(WaterMotifsFixed, ThreeFives) {
  auto m = WaterMotifs::make_three_fives();
  EXPECT_EQ(m->name(), "three penatgons of water");
  expect_one_water_fragment(*m, 11);
  EXPECT_EQ(contacts_text(*m), concat({with_kind({{0, 1},
                                                  {1, 2},
                                                  {2, 3},
                                                  {3, 4},
                                                  {4, 0},
                                                  {3, 5},
                                                  {4, 6},
                                                  {6, 7},
                                                  {5, 7},
                                                  {5, 8},
                                                  {8, 9},
                                                  {9, 10},
                                                  {7, 10}},
                                                 "H"),
                                       with_kind({{0, 2},
                                                  {0, 3},
                                                  {1, 3},
                                                  {1, 4},
                                                  {2, 4},
                                                  {2, 5},
                                                  {0, 6},
                                                  {3, 6},
                                                  {3, 7},
                                                  {4, 5},
                                                  {4, 7},
                                                  {5, 6},
                                                  {3, 8},
                                                  {6, 10},
                                                  {5, 9},
                                                  {5, 10},
                                                  {7, 8},
                                                  {7, 9},
                                                  {8, 10}},
                                                 "L10")}));
}

TEST(WaterMotifsFixed, NoPairIsJoinedTwiceExceptInW8) {
  // The long contacts are written by hand; a pair that is also a hydrogen bond (or listed twice)
  // would ask for two incompatible distances.
  const std::vector<std::pair<std::string, std::function<THandle<Motif>()>>> motifs = {
      {"chain", [] { return WaterMotifs::make_chain(); }},
      {"chain of ten", &WaterMotifs::make_chain_of_ten},
      {"cube", &WaterMotifs::make_cube},
      {"six", &WaterMotifs::make_ring_of_six},
      {"eight", &WaterMotifs::make_ring_of_eight},
      {"T41", &WaterMotifs::make_T41},
      {"T42_62", &WaterMotifs::make_T42_62},
      {"w10", &WaterMotifs::make_w10},
      {"three fives", &WaterMotifs::make_three_fives},
  };
  for (const auto &[name, make] : motifs) {
    auto m = make();
    std::set<std::pair<int, int>> seen;
    for (const auto &c : *m->contacts()) {
      auto key = std::make_pair(std::min(c->from_substructure(), c->to_substructure()),
                                std::max(c->from_substructure(), c->to_substructure()));
      EXPECT_NE(key.first, key.second) << name;
      EXPECT_TRUE(seen.insert(key).second) << name << ": pair " << key.first << "-" << key.second;
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Motifs closed by cross connections

struct CrossCase {
  const char *name;
  std::function<THandle<Motif>()> make;
  int waters;
  Pairs hbonds;
  std::size_t cross;
};

/// A dodecamer ring 0..11 and a bridge path from `start` through the new waters to `end`.
Pairs two_rings(int waters, int start, int end) {
  Pairs p = {{0, 1}, {1, 2}, {2, 3}, {3, 4},  {4, 5},   {5, 6},
             {6, 7}, {7, 8}, {8, 9}, {9, 10}, {10, 11}, {11, 0}};
  p.push_back({start, 12});
  for (int k = 12; k < waters - 1; ++k)
    p.push_back({k, k + 1});
  p.push_back({waters - 1, end});
  return p;
}

TEST(WaterMotifsCrossConnected, HydrogenBondsThenEveryOtherPair) {
  const std::vector<CrossCase> cases = {
      {"Ring of ten waters",
       &WaterMotifs::make_ring_of_ten,
       10,
       {{0, 1}, {1, 2}, {2, 3}, {3, 4}, {4, 5}, {5, 6}, {6, 7}, {7, 8}, {8, 9}, {9, 0}},
       35},
      {"Ring of twelve waters",
       &WaterMotifs::make_ring_of_twelve,
       12,
       {{0, 1},
        {1, 2},
        {2, 3},
        {3, 4},
        {4, 5},
        {5, 6},
        {6, 7},
        {7, 8},
        {8, 9},
        {9, 10},
        {10, 11},
        {11, 0}},
       54},
      {"L6610",
       &WaterMotifs::make_L6_6_10,
       19,
       {{0, 1},  {1, 2},   {2, 3},   {3, 4},   {4, 5},   {5, 0},   {2, 6},   {6, 7},
        {7, 8},  {8, 9},   {9, 3},   {6, 10},  {10, 11}, {11, 12}, {12, 13}, {13, 7},
        {0, 14}, {14, 15}, {15, 16}, {16, 17}, {17, 18}, {18, 11}},
       171 - 22},
      {"2 R12s joined by 2", &WaterMotifs::make_2_R12s_joined_by_2, 22, two_rings(22, 5, 6),
       231 - 23},
      {"2 R12s joined by 3", &WaterMotifs::make_2_R12s_joined_by_3, 21, two_rings(21, 4, 6),
       210 - 22},
      {"2 R12s joined by 4", &WaterMotifs::make_2_R12s_joined_by_4, 20, two_rings(20, 3, 6),
       190 - 21},
      {"2 R12s joined by 5", &WaterMotifs::make_2_R12s_joined_by_5, 19, two_rings(19, 2, 6),
       171 - 20},
      {"three penatgons of water like tie fighter",
       &WaterMotifs::make_three_fives_joined_in_middle,
       11,
       {{0, 1},
        {1, 2},
        {2, 3},
        {3, 4},
        {4, 0},
        {3, 5},
        {5, 6},
        {6, 7},
        {7, 4},
        {3, 8},
        {8, 9},
        {9, 10},
        {10, 4}},
       55 - 13},
      {"2T6(2)",
       &WaterMotifs::make_2T62,
       16,
       {{0, 1},
        {1, 2},
        {2, 3},
        {3, 4},
        {4, 5},
        {5, 0},
        {1, 6},
        {6, 7},
        {7, 8},
        {8, 9},
        {9, 2},
        {9, 10},
        {10, 11},
        {11, 12},
        {12, 3},
        {8, 13},
        {13, 14},
        {14, 15},
        {15, 10}},
       120 - 19},
      {"butterfly decamer",
       &WaterMotifs::make_decamer,
       10,
       {{0, 1},
        {1, 2},
        {2, 3},
        {3, 0},
        {3, 4},
        {4, 5},
        {5, 6},
        {6, 0},
        {6, 7},
        {7, 9},
        {9, 1},
        {7, 8},
        {8, 5},
        {8, 2}},
       45 - 14},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    auto m = c.make();
    EXPECT_EQ(m->name(), c.name);
    expect_one_water_fragment(*m, c.waters);
    Pairs cross = other_pairs(c.waters, c.hbonds);
    EXPECT_EQ(cross.size(), c.cross);
    EXPECT_EQ(contacts_text(*m), concat({with_kind(c.hbonds, "H"), with_kind(cross, "L35")}));
  }
}

TEST(WaterMotifsCrossConnected, DecamerUsesWatersWithTwoHydrogens) {
  auto m = WaterMotifs::make_decamer();
  EXPECT_EQ(testing::atoms_text(*m->substructure(0)), Strings{"O[NH=2]"});
  EXPECT_EQ(m->substructure(0)->max_target_size(), 100000);
  auto ring = WaterMotifs::make_ring_of_ten();
  EXPECT_EQ(testing::atoms_text(*ring->substructure(0)), Strings{"O[NH>0]"});
  EXPECT_EQ(ring->substructure(0)->max_target_size(), 3);
}

TEST(WaterMotifsCrossConnected, ContactsAreIntermolecularOxygenPairs) {
  // Adding the contacts to the motif fills the criteria's element sets from the water oxygens.
  auto m = WaterMotifs::make_ring_of_ten();
  for (const auto &c : *m->contacts()) {
    EXPECT_EQ(c->criterion()->contact_type(), ContactType::Inter);
    EXPECT_EQ(c->criterion()->first_elements(), (ElementSet{8}));
    EXPECT_EQ(c->criterion()->second_elements(), (ElementSet{8}));
  }
}

} // namespace
} // namespace xtalmotif
