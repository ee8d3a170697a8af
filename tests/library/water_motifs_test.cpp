// The water clusters checked for what their names promise: the number of waters, the rings their
// hydrogen bonds close, and waters that are not hydrogen-bonded kept too far apart to be.

#include "library/water_motifs.h"

#include "library_test_helpers.h"

#include "chem/element.h"
#include "chem/molecule.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

const double kOxygen = 1.52; // van der Waals radius, A

// An O...O hydrogen bond of 2.8 A is inside the hydrogen-bond window.
bool is_hbond(const MotifContact &c) { return c.criterion()->test_distance(2.8, kOxygen, kOxygen); }

struct Cluster {
  std::string name;
  THandle<Motif> (*make)();
  int waters;
  std::set<int> rings; // waters in the smallest ring through each hydrogen bond, 0 for none
  bool every_pair;     // every pair of waters constrained
};

TEST(WaterMotifs, ClustersHoldTheWatersAndRingsTheyAreNamedFor) {
  using W = WaterMotifs;
  const std::vector<Cluster> clusters = {
      {"water chain", [] { return W::make_chain(); }, 6, {0}, true},
      {"water chain of ten", &W::make_chain_of_ten, 10, {0}, false},
      {"chain of 7 waters", [] { return W::make_chain(7); }, 7, {0}, true},
      {"ring of 3 waters", [] { return W::make_ring(3); }, 3, {3}, true},
      {"ring of 12 waters", [] { return W::make_ring(12); }, 12, {12}, true},
      {"cube motif", &W::make_cube, 8, {4}, false},
      {"Ring of six waters", &W::make_ring_of_six, 6, {6}, true},
      {"Ring of eight waters", &W::make_ring_of_eight, 8, {8}, true},
      {"Ring of ten waters", &W::make_ring_of_ten, 10, {10}, true},
      {"Ring of twelve waters", &W::make_ring_of_twelve, 12, {12}, true},
      {"T41", &W::make_T41, 10, {4}, false},
      {"T42-62", &W::make_T42_62, 12, {4, 6}, false},
      // The cube with two edges open: two faces merge into six-rings.
      {"w8 motif", &W::make_w8, 8, {4, 6}, false},
      {"w10 motif", &W::make_w10, 10, {6}, true},
      // Its closing path ends on water 11: the large ring holds eleven waters, not the ten of the
      // name.
      {"L6610", &W::make_L6_6_10, 19, {6, 11}, true},
      {"2 R12s joined by 2", &W::make_2_R12s_joined_by_2, 22, {12}, true},
      {"2 R12s joined by 3", &W::make_2_R12s_joined_by_3, 21, {12}, true},
      {"2 R12s joined by 4", &W::make_2_R12s_joined_by_4, 20, {12}, true},
      {"2 R12s joined by 5", &W::make_2_R12s_joined_by_5, 19, {12}, true},
      {"three penatgons of water", &W::make_three_fives, 11, {5}, false},
      {"three penatgons of water like tie fighter",
       &W::make_three_fives_joined_in_middle,
       11,
       {5},
       true},
      {"2T6(2)", &W::make_2T62, 16, {6}, true},
      {"butterfly decamer", &W::make_decamer, 10, {4, 5}, true},
  };
  for (const auto &k : clusters) {
    SCOPED_TRACE(k.name);
    auto m = k.make();
    EXPECT_EQ(m->name(), k.name);
    ASSERT_EQ(m->nsubstructures(), k.waters);
    testing::Edges hbonds;
    std::map<std::pair<int, int>, std::set<bool>> kinds; // per pair: hydrogen bond or apart
    for (const auto &c : *m->contacts()) {
      const int a = c->from_substructure(), b = c->to_substructure();
      ASSERT_NE(a, b);
      EXPECT_EQ(c->from_atom() + c->to_atom(), 0) << "contacts join the oxygens";
      const bool hb = is_hbond(*c);
      kinds[std::minmax(a, b)].insert(hb);
      if (hb) {
        hbonds.emplace_back(a, b);
        EXPECT_FALSE(c->criterion()->test_distance(3.2, kOxygen, kOxygen)) << "too long";
      } else {
        // Closer than 3.34 A two waters would be hydrogen-bonded, or one water seen twice.
        EXPECT_FALSE(c->criterion()->test_distance(3.0, kOxygen, kOxygen)) << a << "-" << b;
        EXPECT_TRUE(c->criterion()->test_distance(4.5, kOxygen, kOxygen)) << a << "-" << b;
      }
    }
    for (const auto &[pair, both] : kinds)
      EXPECT_EQ(both.size(), 1u) << pair.first << "-" << pair.second << " bonded and kept apart";
    if (k.every_pair) {
      EXPECT_EQ(kinds.size(), static_cast<std::size_t>(k.waters * (k.waters - 1) / 2));
    }
    EXPECT_EQ(testing::pieces(k.waters, hbonds), std::vector<int>(k.waters, 0));
    const auto rings = testing::smallest_rings(k.waters, hbonds);
    EXPECT_EQ(std::set<int>(rings.begin(), rings.end()), k.rings);
  }
}

TEST(WaterMotifs, WaterFragmentsFindLatticeWatersAndHydroxides) {
  // Whether the fragment finds an O with `hydrogens` H and, if asked, a CH3 on it.
  auto finds = [](const THandle<MotifSubstructure> &fragment, int hydrogens, bool methyl) {
    auto m = make_handle<Molecule>();
    auto add = [&m](const char *symbol, int to) {
      const int a = m->add_atom(make_handle<Atom>(Element(symbol)));
      if (to >= 0)
        m->add_bond(to, a, BondType::Single);
      return a;
    };
    add("O", -1);
    for (int i = 0; i < hydrogens; ++i)
      add("H", 0);
    for (int i = 0, c = methyl ? add("C", 0) : -1; c >= 0 && i < 3; ++i)
      add("H", c);
    return fragment->is_target_size_allowed(m) &&
           !SubstructureSearch().search(*fragment, *m).empty();
  };
  EXPECT_TRUE(finds(WaterMotifs::make_water(), 2, false));
  EXPECT_TRUE(finds(WaterMotifs::make_water(), 1, false)) << "hydroxide";
  EXPECT_FALSE(finds(WaterMotifs::make_water(), 1, true)) << "methanol is no lattice water";
  EXPECT_TRUE(finds(WaterMotifs::make_h2_water(), 2, false));
  EXPECT_FALSE(finds(WaterMotifs::make_h2_water(), 1, false));
  // The butterfly decamer is made of waters carrying both hydrogens.
  EXPECT_FALSE(finds(WaterMotifs::make_decamer()->substructure(0), 1, false));
}

} // namespace
} // namespace xtalmotif
