#ifndef XTALMOTIF_DB_ASER_BIT_SCREENS_H
#define XTALMOTIF_DB_ASER_BIT_SCREENS_H

#include "chem/element.h"
#include "core/handle.h"

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

namespace xtalmotif {

/// A pattern of required screen bits: the chemistry a structure must contain (elements, element
/// counts, simple element-to-element bonds) or the quality it must have, as (bit number, required
/// value) pairs. The same code fills the pattern of a query and the stored screens of a database
/// entry, so the two always speak the same bit language.
class AserBitScreens {
public:
  /// Element classes. Codes 1 to 31 are at the same time screen bits (an element of the class is
  /// present); the other codes are classes used only for membership tests.
  enum EL_GROUP : int {
    NON_METALS = -1, ///< H, D, He, B, C, N, O, the halogens, the noble gases, Si, P, As, S, Se, Te
    NO_GROUP = 0,    ///< an empty place in add_to_lookup; never stored
    GROUP_1 = 1,     ///< periodic-table groups 1 to 18
    GROUP_2 = 2,
    GROUP_3 = 3,
    GROUP_4 = 4,
    GROUP_5 = 5,
    GROUP_6 = 6,
    GROUP_7 = 7,
    GROUP_8 = 8,
    GROUP_9 = 9,
    GROUP_10 = 10,
    GROUP_11 = 11,
    GROUP_12 = 12,
    GROUP_13 = 13,
    GROUP_14 = 14,
    GROUP_15 = 15,
    GROUP_16 = 16,
    GROUP_17 = 17,
    GROUP_18 = 18,
    LANTHANIDES = 19,             ///< Ce to Lu (La is counted with the third transition row)
    ACTINIDES = 20,               ///< Th to Lr (Ac is counted as a group 3 transition metal)
    TRANSITION_METALS = 21,       ///< d-block metals, La and Ac included
    TRANSITION_ROW_1 = 22,        ///< Sc to Zn
    TRANSITION_ROW_2 = 23,        ///< Y to Cd
    TRANSITION_ROW_3 = 24,        ///< La, Hf to Hg
    ALKALI_ALKALINE_EARTH = 25,   ///< groups 1 and 2 without hydrogen
    HEAVY_MAIN_GROUP_METALS = 26, ///< Al, Ga, In, Tl, Ge, Sn, Pb, Sb, Bi, Po
    MAIN_GROUP_METALS = 27,       ///< classes 25 and 26 together
    METALS = 28,                  ///< every metal
    GROUPS_8_TO_10 = 29,          ///< the iron, cobalt and nickel triads
    HYDROGEN_ANY_ISOTOPE = 30,    ///< H or D
    HYDROGEN_PROTIUM = 31,        ///< H only
    D_F_BLOCK = 249,        ///< transition metals, lanthanides, actinides and, deliberately, helium
    NITROGEN_OXYGEN = 250,  ///< N and O
    HALOGENS = 251,         ///< F, Cl, Br, I (not At): the class counted for halogen counts
    OTHER_MAIN_GROUP = 252, ///< main-group elements other than H, He, N, O, F, Cl, Br and I
    BONDING_HALOGENS = 254  ///< F, Cl, Br, I (not At): the class of halogen bonds to carbon
  };

  /// Bits that stand for more than one element of a kind in one molecule. For N and O a pattern
  /// bit means exactly that count, while a database entry sets every threshold it reaches.
  static constexpr int HALOGEN_COUNT_2 = 257, HALOGEN_COUNT_3 = 258;
  static constexpr int METAL_COUNT_2 = 259, METAL_COUNT_3 = 260;
  static constexpr int NITROGEN_COUNT_2 = 261, NITROGEN_COUNT_3 = 262, NITROGEN_COUNT_4 = 263;
  static constexpr int OXYGEN_COUNT_2 = 264, OXYGEN_COUNT_3 = 265, OXYGEN_COUNT_4 = 266;
  /// The range of bits describing single bonds between element classes.
  static constexpr int FIRST_CONNECTION_BIT = 267, LAST_CONNECTION_BIT = 305;

  /// Structure-quality bits of a database entry, tested by Filters.
  static constexpr int BIT_3D_COORDINATES = 153;  ///< at least one atom has a 3D site
  static constexpr int BIT_R_FACTOR_LOW = 35;     ///< conventional R factor at most 0.05
  static constexpr int BIT_NO_DISORDER = 32;      ///< the file records no disorder
  static constexpr int BIT_BUILD_ERRORS = 559;    ///< problems met while building the structure
  static constexpr int BIT_POLYMERIC = 54;        ///< a coordination polymer was cut
  static constexpr int BIT_HAS_METAL = 57;        ///< at least one metal atom
  static constexpr int BIT_TRANSITION_METAL = 21; ///< the transition-metal class bit

  /// An empty pattern with the element class table filled in.
  AserBitScreens();

  /// Records the classes of an element: the non-zero codes, in the order given.
  void add_to_lookup(const std::string& symbol, EL_GROUP g1, EL_GROUP g2 = NO_GROUP,
                     EL_GROUP g3 = NO_GROUP, EL_GROUP g4 = NO_GROUP, EL_GROUP g5 = NO_GROUP,
                     EL_GROUP g6 = NO_GROUP);
  /// The classes of an element symbol from the periodic table itself, independently of the
  /// table held in `lookup`; it agrees with that table. Unknown symbols have no class.
  std::vector<EL_GROUP> find_groups(const std::string& symbol) const;
  /// Whether the element belongs to the class; an unknown symbol belongs to none.
  bool is_member_of_group(const std::string& symbol, EL_GROUP g) const;

  /// Requires (or records) the presence of every class 1 to 31 the element belongs to; an
  /// unknown symbol sets nothing, so an unusual element weakens a pattern, never sharpens it.
  void set_element_present(const std::string& symbol);
  void set_element_present(const Element& element);
  /// Exactly one bit for a count of 2, 3 or 4 nitrogens (261, 262, 263); nothing otherwise.
  void set_N_count(int n);
  /// Exactly one bit for a count of 2, 3 or 4 oxygens (264, 265, 266); nothing otherwise.
  void set_O_count(int n);
  /// Halogens: 2 sets 257, three or more set 258.
  void set_X3_count(int n);
  /// Metals: 2 sets 259, three or more set 260.
  void set_M_count(int n);
  /// Sets the bits (267 to 305) of a bond between the two elements; symmetric in its arguments.
  void set_simple_connection(const std::string& symbol_a, const std::string& symbol_b);

  /// One line per screen, ascending: "Screen: <bit>\tsetting: <1|0>".
  void print(std::ostream& os) const;

  /// Required value of each bit, in ascending bit order.
  std::map<int, bool> screens;
  /// Classes of each element symbol; filled by the constructor and read-only afterwards.
  std::map<std::string, std::vector<EL_GROUP>> lookup;

private:
  struct FillTable {};
  // Fills `lookup` by add_to_lookup calls, the table the public constructor copies.
  explicit AserBitScreens(FillTable);
};

/// Structure-quality filters as a screen pattern. The seven switches are named by position:
/// 1 3D coordinates present, 2 R factor at most 0.05, 3 no disorder, 4 not polymeric,
/// 5 no errors while building, 6 contains a metal, 7 contains a transition metal.
class Filters {
public:
  /// Every filter off: an empty pattern, which any entry passes.
  Filters();
  Filters(bool f1, bool f2, bool f3, bool f4, bool f5, bool f6, bool f7);

  /// Stores the seven switches; call determine_bitscreens() afterwards to rebuild the pattern.
  void set_filters(bool f1, bool f2, bool f3, bool f4, bool f5, bool f6, bool f7);
  /// Rebuilds the pattern from the switches.
  void determine_bitscreens();

  /// Switch n (1 to 7); std::out_of_range for another n.
  bool filter(int n) const;
  /// The pattern built by the last determine_bitscreens().
  THandle<AserBitScreens> bit_screens() const { return bitscreens_; }

private:
  bool filter_1_ = false;
  bool filter_2_ = false;
  bool filter_3_ = false;
  bool filter_4_ = false;
  bool filter_5_ = false;
  bool filter_6_ = false;
  bool filter_7_ = false;
  THandle<AserBitScreens> bitscreens_;
};

} // namespace xtalmotif

#endif
