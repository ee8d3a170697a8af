#include "db/aser_bit_screens.h"

#include <algorithm>
#include <array>
#include <ostream>
#include <stdexcept>

namespace xtalmotif {

namespace {

using SymbolList = std::vector<std::string>;

bool is_one_of(const std::string& s, const SymbolList& list) {
  return std::find(list.begin(), list.end(), s) != list.end();
}

// Position of a symbol in a list, or -1.
int position_in(const std::string& s, const SymbolList& list) {
  auto it = std::find(list.begin(), list.end(), s);
  return it == list.end() ? -1 : static_cast<int>(it - list.begin());
}

} // namespace

AserBitScreens::AserBitScreens() {
  // A pattern is made for every entry searched and every query built, so the table is filled
  // once, on first use, and copied from there.
  static const std::map<std::string, std::vector<EL_GROUP>> table = [] {
    AserBitScreens filled{FillTable{}};
    return std::move(filled.lookup);
  }();
  lookup = table;
}

AserBitScreens::AserBitScreens(FillTable) {
  // The element class table. Some entries are odd and are kept exactly so on purpose, because
  // stored screens of existing databases were made with them: helium carries D_F_BLOCK (249)
  // where the other noble gases carry OTHER_MAIN_GROUP (252), and astatine is in group 17 but
  // not in the halogen classes 251 and 254.
  add_to_lookup("H", HYDROGEN_ANY_ISOTOPE, HYDROGEN_PROTIUM, NON_METALS);
  add_to_lookup("D", HYDROGEN_ANY_ISOTOPE, NON_METALS);
  add_to_lookup("He", GROUP_18, NON_METALS, D_F_BLOCK);

  for (const char* s : {"Li", "Na", "K", "Rb", "Cs", "Fr"})
    add_to_lookup(s, GROUP_1, ALKALI_ALKALINE_EARTH, MAIN_GROUP_METALS, METALS, OTHER_MAIN_GROUP);
  for (const char* s : {"Be", "Mg", "Ca", "Sr", "Ba", "Ra"})
    add_to_lookup(s, GROUP_2, ALKALI_ALKALINE_EARTH, MAIN_GROUP_METALS, METALS, OTHER_MAIN_GROUP);

  add_to_lookup("B", GROUP_13, NON_METALS, OTHER_MAIN_GROUP);
  add_to_lookup("C", NON_METALS, OTHER_MAIN_GROUP);
  add_to_lookup("N", GROUP_15, NON_METALS, NITROGEN_OXYGEN);
  add_to_lookup("O", GROUP_16, NON_METALS, NITROGEN_OXYGEN);
  for (const char* s : {"F", "Cl", "Br", "I"})
    add_to_lookup(s, GROUP_17, NON_METALS, HALOGENS, BONDING_HALOGENS);
  add_to_lookup("At", GROUP_17, NON_METALS, OTHER_MAIN_GROUP);
  for (const char* s : {"Ne", "Ar", "Kr", "Xe", "Rn"})
    add_to_lookup(s, GROUP_18, NON_METALS, OTHER_MAIN_GROUP);

  for (const char* s : {"Al", "Ga", "In", "Tl"})
    add_to_lookup(s, GROUP_13, HEAVY_MAIN_GROUP_METALS, MAIN_GROUP_METALS, METALS,
                  OTHER_MAIN_GROUP);
  add_to_lookup("Si", GROUP_14, NON_METALS, OTHER_MAIN_GROUP);
  for (const char* s : {"Ge", "Sn", "Pb"})
    add_to_lookup(s, GROUP_14, HEAVY_MAIN_GROUP_METALS, MAIN_GROUP_METALS, METALS,
                  OTHER_MAIN_GROUP);
  for (const char* s : {"P", "As"})
    add_to_lookup(s, GROUP_15, NON_METALS, OTHER_MAIN_GROUP);
  for (const char* s : {"Sb", "Bi"})
    add_to_lookup(s, GROUP_15, HEAVY_MAIN_GROUP_METALS, MAIN_GROUP_METALS, METALS,
                  OTHER_MAIN_GROUP);
  for (const char* s : {"S", "Se", "Te"})
    add_to_lookup(s, GROUP_16, NON_METALS, OTHER_MAIN_GROUP);
  add_to_lookup("Po", GROUP_16, HEAVY_MAIN_GROUP_METALS, MAIN_GROUP_METALS, METALS,
                OTHER_MAIN_GROUP);

  // The three d rows, groups 3 to 12 (lanthanum heading the third); the iron, cobalt and nickel
  // triads are also in GROUPS_8_TO_10.
  const std::array<std::pair<EL_GROUP, std::array<const char*, 10>>, 3> d_rows = {{
      {TRANSITION_ROW_1, {"Sc", "Ti", "V", "Cr", "Mn", "Fe", "Co", "Ni", "Cu", "Zn"}},
      {TRANSITION_ROW_2, {"Y", "Zr", "Nb", "Mo", "Tc", "Ru", "Rh", "Pd", "Ag", "Cd"}},
      {TRANSITION_ROW_3, {"La", "Hf", "Ta", "W", "Re", "Os", "Ir", "Pt", "Au", "Hg"}},
  }};
  for (const auto& row : d_rows)
    for (int g = 3; g <= 12; ++g) {
      const EL_GROUP group = static_cast<EL_GROUP>(g);
      const char* symbol = row.second[g - 3];
      if (g >= 8 && g <= 10)
        add_to_lookup(symbol, group, GROUPS_8_TO_10, row.first, TRANSITION_METALS, METALS,
                      D_F_BLOCK);
      else
        add_to_lookup(symbol, group, row.first, TRANSITION_METALS, METALS, D_F_BLOCK);
    }

  add_to_lookup("Ac", GROUP_3, TRANSITION_METALS, METALS, D_F_BLOCK);
  for (const char* s :
       {"Ce", "Pr", "Nd", "Pm", "Sm", "Eu", "Gd", "Tb", "Dy", "Ho", "Er", "Tm", "Yb", "Lu"})
    add_to_lookup(s, LANTHANIDES, METALS, D_F_BLOCK);
  for (const char* s :
       {"Th", "Pa", "U", "Np", "Pu", "Am", "Cm", "Bk", "Cf", "Es", "Fm", "Md", "No", "Lr"})
    add_to_lookup(s, ACTINIDES, METALS, D_F_BLOCK);
  // Superheavy elements are known but belong to no class.
  for (const char* s : {"Rf", "Db", "Sg", "Bh", "Hs", "Mt", "Uun", "Uuu", "Uub"})
    add_to_lookup(s, NO_GROUP);
}

void AserBitScreens::add_to_lookup(const std::string& symbol, EL_GROUP g1, EL_GROUP g2, EL_GROUP g3,
                                   EL_GROUP g4, EL_GROUP g5, EL_GROUP g6) {
  std::vector<EL_GROUP> groups;
  for (EL_GROUP g : {g1, g2, g3, g4, g5, g6})
    if (g != NO_GROUP)
      groups.push_back(g);
  lookup[symbol] = std::move(groups);
}

std::vector<AserBitScreens::EL_GROUP> AserBitScreens::find_groups(const std::string& s) const {
  if (s == "H")
    return {HYDROGEN_ANY_ISOTOPE, HYDROGEN_PROTIUM, NON_METALS};
  if (s == "D")
    return {HYDROGEN_ANY_ISOTOPE, NON_METALS};
  if (s == "He")
    return {GROUP_18, NON_METALS, D_F_BLOCK};
  if (s == "C")
    return {NON_METALS, OTHER_MAIN_GROUP};
  if (s == "N")
    return {GROUP_15, NON_METALS, NITROGEN_OXYGEN};
  if (s == "O")
    return {GROUP_16, NON_METALS, NITROGEN_OXYGEN};
  if (is_one_of(s, {"F", "Cl", "Br", "I"}))
    return {GROUP_17, NON_METALS, HALOGENS, BONDING_HALOGENS};

  const std::vector<EL_GROUP> main_group_metal = {MAIN_GROUP_METALS, METALS, OTHER_MAIN_GROUP};
  auto with = [](std::vector<EL_GROUP> head, const std::vector<EL_GROUP>& tail) {
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
  };
  if (is_one_of(s, {"Li", "Na", "K", "Rb", "Cs", "Fr"}))
    return with({GROUP_1, ALKALI_ALKALINE_EARTH}, main_group_metal);
  if (is_one_of(s, {"Be", "Mg", "Ca", "Sr", "Ba", "Ra"}))
    return with({GROUP_2, ALKALI_ALKALINE_EARTH}, main_group_metal);

  // Main groups 13 to 18 below the first row: the metals of each group, then the non-metals.
  struct MainGroup {
    EL_GROUP group;
    SymbolList metals;
    SymbolList non_metals;
  };
  static const std::vector<MainGroup> main_groups = {
      {GROUP_13, {"Al", "Ga", "In", "Tl"}, {"B"}},
      {GROUP_14, {"Ge", "Sn", "Pb"}, {"Si"}},
      {GROUP_15, {"Sb", "Bi"}, {"P", "As"}},
      {GROUP_16, {"Po"}, {"S", "Se", "Te"}},
      {GROUP_17, {}, {"At"}},
      {GROUP_18, {}, {"Ne", "Ar", "Kr", "Xe", "Rn"}},
  };
  for (const auto& mg : main_groups) {
    if (is_one_of(s, mg.metals))
      return with({mg.group, HEAVY_MAIN_GROUP_METALS}, main_group_metal);
    if (is_one_of(s, mg.non_metals))
      return {mg.group, NON_METALS, OTHER_MAIN_GROUP};
  }

  // The d-block rows, in group order 3 to 12.
  static const std::vector<std::pair<SymbolList, EL_GROUP>> rows = {
      {{"Sc", "Ti", "V", "Cr", "Mn", "Fe", "Co", "Ni", "Cu", "Zn"}, TRANSITION_ROW_1},
      {{"Y", "Zr", "Nb", "Mo", "Tc", "Ru", "Rh", "Pd", "Ag", "Cd"}, TRANSITION_ROW_2},
      {{"La", "Hf", "Ta", "W", "Re", "Os", "Ir", "Pt", "Au", "Hg"}, TRANSITION_ROW_3}};
  for (const auto& row : rows) {
    int i = position_in(s, row.first);
    if (i < 0)
      continue;
    auto group = static_cast<EL_GROUP>(GROUP_3 + i);
    if (group >= GROUP_8 && group <= GROUP_10)
      return {group, GROUPS_8_TO_10, row.second, TRANSITION_METALS, METALS, D_F_BLOCK};
    return {group, row.second, TRANSITION_METALS, METALS, D_F_BLOCK};
  }
  if (s == "Ac")
    return {GROUP_3, TRANSITION_METALS, METALS, D_F_BLOCK};
  if (is_one_of(
          s, {"Ce", "Pr", "Nd", "Pm", "Sm", "Eu", "Gd", "Tb", "Dy", "Ho", "Er", "Tm", "Yb", "Lu"}))
    return {LANTHANIDES, METALS, D_F_BLOCK};
  if (is_one_of(
          s, {"Th", "Pa", "U", "Np", "Pu", "Am", "Cm", "Bk", "Cf", "Es", "Fm", "Md", "No", "Lr"}))
    return {ACTINIDES, METALS, D_F_BLOCK};
  return {};
}

bool AserBitScreens::is_member_of_group(const std::string& symbol, EL_GROUP g) const {
  auto it = lookup.find(symbol);
  if (it == lookup.end())
    return false;
  return std::find(it->second.begin(), it->second.end(), g) != it->second.end();
}

void AserBitScreens::set_element_present(const std::string& symbol) {
  auto it = lookup.find(symbol);
  if (it == lookup.end())
    return;
  for (EL_GROUP g : it->second)
    if (g >= 1 && g <= 31)
      screens[g] = true;
}

void AserBitScreens::set_element_present(const Element& element) {
  set_element_present(element.symbol());
}

void AserBitScreens::set_N_count(int n) {
  if (n >= 2 && n <= 4)
    screens[NITROGEN_COUNT_2 + (n - 2)] = true;
}

void AserBitScreens::set_O_count(int n) {
  if (n >= 2 && n <= 4)
    screens[OXYGEN_COUNT_2 + (n - 2)] = true;
}

void AserBitScreens::set_X3_count(int n) {
  if (n >= 3)
    screens[HALOGEN_COUNT_3] = true;
  else if (n == 2)
    screens[HALOGEN_COUNT_2] = true;
}

void AserBitScreens::set_M_count(int n) {
  if (n >= 3)
    screens[METAL_COUNT_3] = true;
  else if (n == 2)
    screens[METAL_COUNT_2] = true;
}

namespace {

// Classes of an atom in a bond without carbon. Every element the class table knows falls in
// exactly one; symbols it does not know (and the superheavy elements, which have no class) fall
// in none and make the bond set no bit.
enum class PairClass { Hydrogen, Nitrogen, Oxygen, Sulfur, Halogen, Metal, Other, None };

PairClass pair_class(const AserBitScreens& screens, const std::string& symbol) {
  auto it = screens.lookup.find(symbol);
  if (it == screens.lookup.end() || it->second.empty())
    return PairClass::None;
  if (screens.is_member_of_group(symbol, AserBitScreens::HYDROGEN_ANY_ISOTOPE))
    return PairClass::Hydrogen;
  if (symbol == "N")
    return PairClass::Nitrogen;
  if (symbol == "O")
    return PairClass::Oxygen;
  if (symbol == "S")
    return PairClass::Sulfur;
  if (screens.is_member_of_group(symbol, AserBitScreens::BONDING_HALOGENS))
    return PairClass::Halogen;
  if (screens.is_member_of_group(symbol, AserBitScreens::METALS))
    return PairClass::Metal;
  return PairClass::Other;
}

// The bit of a bond between two atoms, neither of them carbon; 0 when the bond sets no bit.
//
// Six principal classes: H (H and D), N, O, S, X (F, Cl, Br, I) and M (every metal of class 28).
// Each unordered pair of them has its own bit, 275 to 295:
//
//          H    N    O    S    X    M
//     H   275  276  277  278  279  280
//     N        281  282  283  284  285
//     O             286  287  288  289
//     S                  290  291  292
//     X                       293  294
//     M                            295
//
// Every other known element (B, Si, P, As, Se, Te, At, the noble gases) is "other", and its
// bonds share three bits by partner: 303 other–O (phosphate, borate, silicate, arsenate),
// 304 other–N or other–S, 305 other–H, other–X, other–M or other–other (BF4-, PF6-, B–H).
// The table is symmetric, so the order of the two atoms never matters.
int no_carbon_connection_bit(PairClass a, PairClass b) {
  if (a == PairClass::None || b == PairClass::None)
    return 0;
  if (a == PairClass::Other || b == PairClass::Other) {
    PairClass partner = a == PairClass::Other ? b : a;
    switch (partner) {
    case PairClass::Oxygen:
      return 303;
    case PairClass::Nitrogen:
    case PairClass::Sulfur:
      return 304;
    default:
      return 305;
    }
  }
  int i = static_cast<int>(a), j = static_cast<int>(b);
  if (i > j)
    std::swap(i, j);
  // Start of row i in the upper triangle of the 6 x 6 table above.
  static constexpr std::array<int, 6> row_start = {0, 6, 11, 15, 18, 20};
  return 275 + row_start[static_cast<std::size_t>(i)] + (j - i);
}

} // namespace

void AserBitScreens::set_simple_connection(const std::string& symbol_a,
                                           const std::string& symbol_b) {
  const bool carbon_a = symbol_a == "C";
  const bool carbon_b = symbol_b == "C";
  if (carbon_a && carbon_b) {
    screens[302] = true;
    return;
  }
  if (carbon_a || carbon_b) {
    const std::string& other = carbon_a ? symbol_b : symbol_a;
    // Three independent choices, each taking the first class that applies: a broad class, a
    // kind (metal, halogen, N, O) and a particular element. A chlorine therefore sets bits in all
    // three lists (269, 272, 299).
    if (is_member_of_group(other, OTHER_MAIN_GROUP))
      screens[270] = true;
    else if (is_member_of_group(other, HALOGENS))
      screens[269] = true;
    else if (is_member_of_group(other, NITROGEN_OXYGEN))
      screens[268] = true;
    else if (is_member_of_group(other, D_F_BLOCK))
      screens[267] = true;

    if (is_member_of_group(other, METALS))
      screens[271] = true;
    else if (is_member_of_group(other, BONDING_HALOGENS))
      screens[272] = true;
    else if (other == "N")
      screens[273] = true;
    else if (other == "O")
      screens[274] = true;

    if (other == "S")
      screens[296] = true;
    else if (other == "P")
      screens[297] = true;
    else if (other == "F")
      screens[298] = true;
    else if (other == "Cl")
      screens[299] = true;
    else if (other == "Br" || other == "I")
      screens[300] = true;
    else if (other == "Si" || other == "B")
      screens[301] = true;
    return;
  }
  int bit = no_carbon_connection_bit(pair_class(*this, symbol_a), pair_class(*this, symbol_b));
  if (bit != 0)
    screens[bit] = true;
}

void AserBitScreens::print(std::ostream& os) const {
  for (const auto& [bit, value] : screens)
    os << "Screen: " << bit << "\tsetting: " << (value ? 1 : 0) << '\n';
}

Filters::Filters() : bitscreens_(make_handle<AserBitScreens>()) { determine_bitscreens(); }

Filters::Filters(bool f1, bool f2, bool f3, bool f4, bool f5, bool f6, bool f7)
    : filter_1_(f1), filter_2_(f2), filter_3_(f3), filter_4_(f4), filter_5_(f5), filter_6_(f6),
      filter_7_(f7), bitscreens_(make_handle<AserBitScreens>()) {
  determine_bitscreens();
}

void Filters::set_filters(bool f1, bool f2, bool f3, bool f4, bool f5, bool f6, bool f7) {
  filter_1_ = f1;
  filter_2_ = f2;
  filter_3_ = f3;
  filter_4_ = f4;
  filter_5_ = f5;
  filter_6_ = f6;
  filter_7_ = f7;
}

void Filters::determine_bitscreens() {
  auto& s = bitscreens_->screens;
  s.clear();
  // Filter 5 is tested before filter 4, as the program always has; the map is the same either
  // way.
  if (filter_1_)
    s[AserBitScreens::BIT_3D_COORDINATES] = true;
  if (filter_2_)
    s[AserBitScreens::BIT_R_FACTOR_LOW] = true;
  if (filter_3_)
    s[AserBitScreens::BIT_NO_DISORDER] = true;
  if (filter_5_)
    s[AserBitScreens::BIT_BUILD_ERRORS] = false;
  if (filter_4_)
    s[AserBitScreens::BIT_POLYMERIC] = false;
  if (filter_6_)
    s[AserBitScreens::BIT_HAS_METAL] = true;
  if (filter_7_) {
    s[AserBitScreens::BIT_TRANSITION_METAL] = true;
    s[AserBitScreens::BIT_HAS_METAL] = true;
  }
}

bool Filters::filter(int n) const {
  switch (n) {
  case 1:
    return filter_1_;
  case 2:
    return filter_2_;
  case 3:
    return filter_3_;
  case 4:
    return filter_4_;
  case 5:
    return filter_5_;
  case 6:
    return filter_6_;
  case 7:
    return filter_7_;
  default:
    throw std::out_of_range("Filters::filter: no filter " + std::to_string(n));
  }
}

} // namespace xtalmotif
