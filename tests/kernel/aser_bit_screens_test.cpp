#include "db/aser_bit_screens.h"
#include "chem/element.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

using G = AserBitScreens::EL_GROUP;

std::set<int> true_bits(const AserBitScreens& s) {
  std::set<int> bits;
  for (const auto& [bit, value] : s.screens)
    if (value)
      bits.insert(bit);
  return bits;
}

std::set<int> connection_bits(AserBitScreens& s, const std::string& a, const std::string& b) {
  s.screens.clear();
  s.set_simple_connection(a, b);
  return true_bits(s);
}

std::set<int> connection_bits(const std::string& a, const std::string& b) {
  AserBitScreens s;
  return connection_bits(s, a, b);
}

std::set<int> element_bits(const std::string& symbol) {
  AserBitScreens s;
  s.set_element_present(symbol);
  return true_bits(s);
}

std::vector<int> codes(const std::vector<G>& groups) {
  return std::vector<int>(groups.begin(), groups.end());
}

// Every symbol of the kernel's element table (X and the unnamed placeholders excluded).
std::vector<std::string> table_symbols() {
  std::vector<std::string> out;
  for (int code = 1; code < Element::ncodes; ++code) {
    std::string s = Element(code).symbol();
    if (!s.empty())
      out.push_back(s);
  }
  return out;
}

// Periodic-table group of atomic number z, worked out from the period lengths; 0 for H and for
// the lanthanides Ce-Lu and actinides Th-Lr, which have no group here.
int periodic_group(int z) {
  if (z == 1)
    return 0;
  if (z == 2)
    return 18;
  if (z <= 18) { // periods 2 and 3: two s columns then six p columns
    int offset = z <= 10 ? z - 2 : z - 10;
    return offset <= 2 ? offset : offset + 10;
  }
  if (z <= 54) // periods 4 and 5: eighteen columns
    return z <= 36 ? z - 18 : z - 36;
  int offset = z <= 86 ? z - 54 : z - 86; // periods 6 and 7 with fourteen f columns
  if (offset <= 3)
    return offset;
  if (offset <= 17)
    return 0;
  return offset - 14;
}

// ---------------------------------------------------------------------------------------------

TEST(AserElementClasses, OddTableEntriesAreKeptAsWritten) {
  AserBitScreens s;
  EXPECT_EQ(codes(s.lookup.at("He")), (std::vector<int>{18, -1, 249}));
  EXPECT_EQ(codes(s.lookup.at("Ne")), (std::vector<int>{18, -1, 252}));
  EXPECT_EQ(codes(s.lookup.at("At")), (std::vector<int>{17, -1, 252}));
  EXPECT_EQ(codes(s.lookup.at("Cl")), (std::vector<int>{17, -1, 251, 254}));
  EXPECT_EQ(codes(s.lookup.at("C")), (std::vector<int>{-1, 252}));
  EXPECT_EQ(codes(s.lookup.at("H")), (std::vector<int>{30, 31, -1}));
  EXPECT_EQ(codes(s.lookup.at("D")), (std::vector<int>{30, -1}));
  EXPECT_EQ(codes(s.lookup.at("Fe")), (std::vector<int>{8, 29, 22, 21, 28, 249}));
  EXPECT_EQ(codes(s.lookup.at("Ag")), (std::vector<int>{11, 23, 21, 28, 249}));
  EXPECT_EQ(codes(s.lookup.at("La")), (std::vector<int>{3, 24, 21, 28, 249}));
  EXPECT_EQ(codes(s.lookup.at("Ac")), (std::vector<int>{3, 21, 28, 249}));
  EXPECT_EQ(codes(s.lookup.at("Lu")), (std::vector<int>{19, 28, 249}));
  EXPECT_EQ(codes(s.lookup.at("Lr")), (std::vector<int>{20, 28, 249}));
  EXPECT_EQ(codes(s.lookup.at("Po")), (std::vector<int>{16, 26, 27, 28, 252}));
  EXPECT_EQ(codes(s.lookup.at("Cs")), (std::vector<int>{1, 25, 27, 28, 252}));
  // Superheavy elements are known, with no class at all.
  for (const char* sym : {"Rf", "Db", "Sg", "Bh", "Hs", "Mt", "Uun", "Uuu", "Uub"}) {
    ASSERT_EQ(s.lookup.count(sym), 1u) << sym;
    EXPECT_TRUE(s.lookup.at(sym).empty()) << sym;
  }
  EXPECT_EQ(s.lookup.count("X"), 0u);
  EXPECT_TRUE(s.screens.empty());
}

TEST(AserElementClasses, AddToLookupDropsEmptyPlacesAndKeepsOrder) {
  AserBitScreens s;
  s.add_to_lookup("Qq", G::METALS, G::NO_GROUP, G::GROUP_2);
  EXPECT_EQ(codes(s.lookup.at("Qq")), (std::vector<int>{28, 2}));
  s.add_to_lookup("Qq", G::NO_GROUP);
  EXPECT_TRUE(s.lookup.at("Qq").empty());
}

TEST(AserElementClasses, FindGroupsAgreesWithTheTableForEveryElement) {
  AserBitScreens s;
  for (const auto& [symbol, groups] : s.lookup)
    EXPECT_EQ(codes(s.find_groups(symbol)), codes(groups)) << symbol;
  EXPECT_TRUE(s.find_groups("X").empty());
  EXPECT_TRUE(s.find_groups("").empty());
  EXPECT_TRUE(s.find_groups("fe").empty()); // symbols are matched exactly
}

TEST(AserElementClasses, EveryKernelElementIsKnown) {
  AserBitScreens s;
  for (const auto& sym : table_symbols())
    EXPECT_EQ(s.lookup.count(sym), 1u) << sym;
}

TEST(AserElementClasses, GroupBitsFollowThePeriodicTable) {
  AserBitScreens s;
  for (const auto& sym : table_symbols()) {
    int z = Element(sym).atomic_number();
    std::vector<int> group_codes;
    for (G g : s.lookup.at(sym))
      if (g >= 1 && g <= 18)
        group_codes.push_back(g);
    // Carbon has no group bit, so that a query's carbons never require anything.
    int expected = sym == "C" ? 0 : periodic_group(z);
    if (expected == 0)
      EXPECT_TRUE(group_codes.empty()) << sym;
    else
      EXPECT_EQ(group_codes, std::vector<int>{expected}) << sym;
  }
}

TEST(AserElementClasses, MetalAndHalogenClassesMatchTheElementTable) {
  AserBitScreens s;
  for (const auto& sym : table_symbols()) {
    Element e(sym);
    EXPECT_EQ(s.is_member_of_group(sym, G::METALS), e.is_metal()) << sym;
    // Astatine is deliberately outside both halogen classes.
    const bool halogen = e.is_halogen() && sym != "At";
    EXPECT_EQ(s.is_member_of_group(sym, G::HALOGENS), halogen) << sym;
    EXPECT_EQ(s.is_member_of_group(sym, G::BONDING_HALOGENS), halogen) << sym;
    // The kernel's transition metals include the f block, which has classes 19 and 20 here.
    const bool d_or_f = s.is_member_of_group(sym, G::TRANSITION_METALS) ||
                        s.is_member_of_group(sym, G::LANTHANIDES) ||
                        s.is_member_of_group(sym, G::ACTINIDES);
    EXPECT_EQ(d_or_f, e.is_transition_metal()) << sym;
    EXPECT_EQ(s.is_member_of_group(sym, G::MAIN_GROUP_METALS),
              e.is_metal() && !e.is_transition_metal())
        << sym;
  }
}

TEST(AserElementClasses, MembershipOfUnknownSymbolsIsFalse) {
  AserBitScreens s;
  EXPECT_TRUE(s.is_member_of_group("N", G::NITROGEN_OXYGEN));
  EXPECT_FALSE(s.is_member_of_group("C", G::NITROGEN_OXYGEN));
  EXPECT_TRUE(s.is_member_of_group("He", G::D_F_BLOCK));
  EXPECT_FALSE(s.is_member_of_group("Xq", G::NON_METALS));
  EXPECT_FALSE(s.is_member_of_group("Rf", G::METALS));
}

// ---------------------------------------------------------------------------------------------

TEST(AserElementPresent, CarbonSetsNoBit) { EXPECT_TRUE(element_bits("C").empty()); }

TEST(AserElementPresent, HydrogenIsotopes) {
  EXPECT_EQ(element_bits("H"), (std::set<int>{30, 31}));
  EXPECT_EQ(element_bits("D"), (std::set<int>{30}));
}

TEST(AserElementPresent, IronSetsItsClassesOnly) {
  EXPECT_EQ(element_bits("Fe"), (std::set<int>{8, 29, 22, 21, 28}));
  EXPECT_EQ(element_bits("N"), (std::set<int>{15}));
  EXPECT_EQ(element_bits("Cl"), (std::set<int>{17}));
  EXPECT_EQ(element_bits("Na"), (std::set<int>{1, 25, 27, 28}));
  EXPECT_EQ(element_bits("Gd"), (std::set<int>{19, 28}));
}

TEST(AserElementPresent, UnknownSymbolsSetNothing) {
  EXPECT_TRUE(element_bits("X").empty());
  EXPECT_TRUE(element_bits("").empty());
  EXPECT_TRUE(element_bits("Rf").empty());
  AserBitScreens s;
  s.set_element_present(Element());
  EXPECT_TRUE(s.screens.empty());
}

TEST(AserElementPresent, KernelElementsUseTheirSymbol) {
  AserBitScreens a, b;
  a.set_element_present(Element("Cu"));
  b.set_element_present("Cu");
  EXPECT_EQ(a.screens, b.screens);
  EXPECT_EQ(true_bits(a), (std::set<int>{11, 22, 21, 28}));
}

TEST(AserElementPresent, AccumulatesOverElements) {
  AserBitScreens s;
  s.set_element_present("O");
  s.set_element_present("H");
  s.set_element_present("O");
  EXPECT_EQ(true_bits(s), (std::set<int>{16, 30, 31}));
}

// ---------------------------------------------------------------------------------------------

TEST(AserCounts, NitrogenAndOxygenAreExact) {
  for (int n = -1; n <= 7; ++n) {
    AserBitScreens s, o;
    s.set_N_count(n);
    o.set_O_count(n);
    std::set<int> expect_n, expect_o;
    if (n >= 2 && n <= 4) {
      expect_n = {259 + n}; // 2 -> 261, 3 -> 262, 4 -> 263
      expect_o = {262 + n}; // 2 -> 264, 3 -> 265, 4 -> 266
    }
    EXPECT_EQ(true_bits(s), expect_n) << n;
    EXPECT_EQ(true_bits(o), expect_o) << n;
  }
}

TEST(AserCounts, HalogensAndMetalsTopOutAtThree) {
  auto x = [](int n) {
    AserBitScreens s;
    s.set_X3_count(n);
    return true_bits(s);
  };
  auto m = [](int n) {
    AserBitScreens s;
    s.set_M_count(n);
    return true_bits(s);
  };
  EXPECT_TRUE(x(1).empty());
  EXPECT_EQ(x(2), (std::set<int>{257}));
  EXPECT_EQ(x(3), (std::set<int>{258}));
  EXPECT_EQ(x(7), (std::set<int>{258}));
  EXPECT_TRUE(m(0).empty());
  EXPECT_EQ(m(2), (std::set<int>{259}));
  EXPECT_EQ(m(12), (std::set<int>{260}));
}

// ---------------------------------------------------------------------------------------------

TEST(AserConnections, BondsToCarbon) {
  EXPECT_EQ(connection_bits("C", "C"), (std::set<int>{302}));
  EXPECT_EQ(connection_bits("C", "N"), (std::set<int>{268, 273}));
  EXPECT_EQ(connection_bits("C", "O"), (std::set<int>{268, 274}));
  EXPECT_EQ(connection_bits("C", "Cl"), (std::set<int>{269, 272, 299}));
  EXPECT_EQ(connection_bits("C", "F"), (std::set<int>{269, 272, 298}));
  EXPECT_EQ(connection_bits("C", "Br"), (std::set<int>{269, 272, 300}));
  EXPECT_EQ(connection_bits("C", "I"), (std::set<int>{269, 272, 300}));
  EXPECT_EQ(connection_bits("C", "S"), (std::set<int>{270, 296}));
  EXPECT_EQ(connection_bits("C", "P"), (std::set<int>{270, 297}));
  EXPECT_EQ(connection_bits("C", "Si"), (std::set<int>{270, 301}));
  EXPECT_EQ(connection_bits("C", "B"), (std::set<int>{270, 301}));
  EXPECT_EQ(connection_bits("C", "Se"), (std::set<int>{270}));
  EXPECT_EQ(connection_bits("C", "Na"), (std::set<int>{270, 271}));
  EXPECT_EQ(connection_bits("C", "Sn"), (std::set<int>{270, 271}));
  EXPECT_EQ(connection_bits("C", "Fe"), (std::set<int>{267, 271}));
  EXPECT_EQ(connection_bits("C", "Ce"), (std::set<int>{267, 271}));
  // The odd classes show through: helium reads as a d/f-block element, astatine as neither
  // halogen.
  EXPECT_EQ(connection_bits("C", "He"), (std::set<int>{267}));
  EXPECT_EQ(connection_bits("C", "At"), (std::set<int>{270}));
  // Hydrogen and unknown elements belong to none of the classes used with carbon.
  EXPECT_TRUE(connection_bits("C", "H").empty());
  EXPECT_TRUE(connection_bits("C", "D").empty());
  EXPECT_TRUE(connection_bits("C", "X").empty());
}

TEST(AserConnections, CarbonBondsDoNotDependOnOrder) {
  AserBitScreens s;
  for (const auto& [sym, groups] : s.lookup)
    EXPECT_EQ(connection_bits(s, "C", sym), connection_bits(s, sym, "C")) << sym;
}

TEST(AserConnections, BondsWithoutCarbonAreSymmetricAndInRange) {
  AserBitScreens s;
  std::set<int> used;
  for (const auto& [a, ga] : s.lookup) {
    if (a == "C")
      continue;
    for (const auto& [b, gb] : s.lookup) {
      if (b == "C")
        continue;
      std::set<int> ab = connection_bits(s, a, b);
      EXPECT_EQ(ab, connection_bits(s, b, a)) << a << "-" << b;
      EXPECT_LE(ab.size(), 1u) << a << "-" << b;
      for (int bit : ab) {
        EXPECT_TRUE((bit >= 275 && bit <= 295) || (bit >= 303 && bit <= 305))
            << a << "-" << b << " " << bit;
        used.insert(bit);
      }
      // An element of no class (superheavy) never makes a bond bit.
      if (ga.empty() || gb.empty())
        EXPECT_TRUE(ab.empty()) << a << "-" << b;
      else
        EXPECT_EQ(ab.size(), 1u) << a << "-" << b;
    }
  }
  // Every bit of the range stands for some pair.
  for (int bit = 275; bit <= 295; ++bit)
    EXPECT_EQ(used.count(bit), 1u) << bit;
  for (int bit = 303; bit <= 305; ++bit)
    EXPECT_EQ(used.count(bit), 1u) << bit;
}

TEST(AserConnections, ChemicallyDifferentPairsWithoutCarbonAreToldApart) {
  // O-H, N-H, S-H, N-O, O-O, metal-O, metal-N, Cl-O and P-O bonds each have their own bit.
  const std::vector<std::pair<std::string, std::string>> pairs = {
      {"O", "H"},  {"N", "H"},  {"S", "H"},  {"N", "O"}, {"O", "O"},
      {"Cu", "O"}, {"Cu", "N"}, {"Cl", "O"}, {"P", "O"}, {"N", "N"}};
  std::set<int> bits;
  for (const auto& [a, b] : pairs) {
    std::set<int> ab = connection_bits(a, b);
    ASSERT_EQ(ab.size(), 1u) << a << "-" << b;
    bits.insert(*ab.begin());
  }
  EXPECT_EQ(bits.size(), pairs.size());
  // Deuterium bonds like hydrogen; all metals are one class; B, Si and P share "other".
  EXPECT_EQ(connection_bits("O", "D"), connection_bits("O", "H"));
  EXPECT_EQ(connection_bits("Ag", "O"), connection_bits("Fe", "O"));
  EXPECT_EQ(connection_bits("Na", "O"), connection_bits("Fe", "O"));
  EXPECT_EQ(connection_bits("B", "O"), connection_bits("P", "O"));
  EXPECT_EQ(connection_bits("Si", "O"), connection_bits("O", "P"));
  EXPECT_NE(connection_bits("P", "N"), connection_bits("P", "O"));
  EXPECT_NE(connection_bits("B", "F"), connection_bits("P", "O"));
  // An unknown element makes no bond bit.
  EXPECT_TRUE(connection_bits("X", "O").empty());
  EXPECT_TRUE(connection_bits("O", "").empty());
}

TEST(AserConnections, AccumulateWithElementsAsAQueryWould) {
  // A substructure C-N with one nitrogen: nitrogen's group bit and the C-N bond bits, no count.
  AserBitScreens s;
  s.set_element_present("C");
  s.set_element_present("N");
  s.set_simple_connection("C", "N");
  s.set_N_count(1);
  EXPECT_EQ(true_bits(s), (std::set<int>{15, 268, 273}));
}

// ---------------------------------------------------------------------------------------------

TEST(AserPrint, OneLinePerScreenInBitOrder) {
  AserBitScreens s;
  s.screens[8] = true;
  std::ostringstream one;
  s.print(one);
  EXPECT_EQ(one.str(), "Screen: 8\tsetting: 1\n");

  s.screens[559] = false;
  s.screens[2] = true;
  std::ostringstream three;
  s.print(three);
  EXPECT_EQ(three.str(), "Screen: 2\tsetting: 1\nScreen: 8\tsetting: 1\nScreen: 559\tsetting: 0\n");

  std::ostringstream none;
  AserBitScreens().print(none);
  EXPECT_EQ(none.str(), "");
}

// ---------------------------------------------------------------------------------------------

std::map<int, bool> filter_screens(const Filters& f) { return f.bit_screens()->screens; }

TEST(AserFilters, NoFilterIsAnEmptyPattern) {
  Filters f;
  EXPECT_TRUE(filter_screens(f).empty());
  for (int n = 1; n <= 7; ++n)
    EXPECT_FALSE(f.filter(n));
  EXPECT_THROW(f.filter(0), std::out_of_range);
  EXPECT_THROW(f.filter(8), std::out_of_range);
}

TEST(AserFilters, EachFilterRequiresItsBits) {
  using M = std::map<int, bool>;
  EXPECT_EQ(filter_screens(Filters(true, false, false, false, false, false, false)),
            (M{{153, true}}));
  EXPECT_EQ(filter_screens(Filters(false, true, false, false, false, false, false)),
            (M{{35, true}}));
  EXPECT_EQ(filter_screens(Filters(false, false, true, false, false, false, false)),
            (M{{32, true}}));
  EXPECT_EQ(filter_screens(Filters(false, false, false, true, false, false, false)),
            (M{{54, false}}));
  EXPECT_EQ(filter_screens(Filters(false, false, false, false, true, false, false)),
            (M{{559, false}}));
  EXPECT_EQ(filter_screens(Filters(false, false, false, false, false, true, false)),
            (M{{57, true}}));
  EXPECT_EQ(filter_screens(Filters(false, false, false, false, false, false, true)),
            (M{{21, true}, {57, true}}));
  EXPECT_EQ(filter_screens(Filters(true, false, false, false, true, false, false)),
            (M{{153, true}, {559, false}}));
  EXPECT_EQ(
      filter_screens(Filters(true, true, true, true, true, true, true)),
      (M{{21, true}, {32, true}, {35, true}, {54, false}, {57, true}, {153, true}, {559, false}}));
}

TEST(AserFilters, SetFiltersTakesEffectWhenTheScreensAreDetermined) {
  Filters f(true, false, false, false, false, false, false);
  THandle<AserBitScreens> pattern = f.bit_screens();
  f.set_filters(false, false, false, true, false, false, false);
  EXPECT_TRUE(f.filter(4));
  EXPECT_FALSE(f.filter(1));
  EXPECT_EQ(filter_screens(f), (std::map<int, bool>{{153, true}}));
  f.determine_bitscreens();
  EXPECT_EQ(filter_screens(f), (std::map<int, bool>{{54, false}}));
  // The pattern object is rebuilt in place, so holders of the handle see the new screens.
  EXPECT_EQ(pattern, f.bit_screens());
}

} // namespace
} // namespace xtalmotif
