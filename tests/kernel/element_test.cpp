// The element table checked by its properties: symbols read back in any case, codes in byte
// order of the symbols, each element once, and the chemical classes by atomic number.

#include "kernel/element.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <set>
#include <string>

namespace xtalmotif {
namespace {

TEST(ElementTable, SymbolsReadBackInAnyCaseAndCodesFollowTheirByteOrder) {
  for (int code = 0; code < Element::ncodes; ++code) {
    const std::string sym = Element(code).symbol();
    if (sym.empty())
      continue;
    std::string upper = sym, lower = sym;
    std::transform(sym.begin(), sym.end(), upper.begin(), ::toupper);
    std::transform(sym.begin(), sym.end(), lower.begin(), ::tolower);
    EXPECT_EQ(Element(upper).code(), code) << sym;
    EXPECT_EQ(Element::code_of(lower), code) << sym;
    if (code >= 4 && code <= 104)
      EXPECT_LT(Element(code - 1).symbol(), sym) << code;
  }
  for (const char* unknown : {"Qq", "", "Cl1"})
    EXPECT_EQ(Element::code_of(unknown), -1) << unknown;
  EXPECT_EQ(Element("Qq").symbol(), "X");
  EXPECT_EQ(Element(108).code(), Element::Unknown);
  const std::pair<int, const char*> named[] = {
      {Element::Silver, "Ag"},    {Element::Bromine, "Br"}, {Element::Chlorine, "Cl"},
      {Element::Deuterium, "D"},  {Element::Fluorine, "F"}, {Element::Iodine, "I"},
      {Element::Nitrogen, "N"},   {Element::Oxygen, "O"},   {Element::Sulfur, "S"}};
  for (const auto& [code, sym] : named)
    EXPECT_EQ(Element(code).symbol(), sym);
}

// Every element from H to Lr once (D is hydrogen), classed from the other side: the metals are
// every element but the non-metals and lighter metalloids; transition metals the d and f blocks.
TEST(ElementTable, EachElementOnceAndClassedByItsAtomicNumber) {
  const std::set<int> non_metals = {1,  2,  5,  6,  7,  8,  9,  10, 14, 15, 16,
                                    17, 18, 33, 34, 35, 36, 52, 53, 54, 85, 86};
  std::multiset<int> z_seen;
  for (int code = 0; code < Element::ncodes; ++code) {
    const Element e(code);
    const int z = e.atomic_number();
    if (z > 0 && code != Element::Deuterium)
      z_seen.insert(z);
    const bool d_or_f = (z >= 21 && z <= 30) || (z >= 39 && z <= 48) || (z >= 57 && z <= 80) ||
                        (z >= 89 && z <= 103);
    EXPECT_EQ(e.is_metal(), z > 0 && !non_metals.count(z)) << code;
    EXPECT_EQ(e.is_transition_metal(), d_or_f) << code;
    EXPECT_EQ(e.is_halogen(), z == 9 || z == 17 || z == 35 || z == 53 || z == 85) << code;
    EXPECT_EQ(e.is_hydrogen(), z == 1) << code;
    EXPECT_EQ(Element::code_of_atomic_number(z), z == 0 ? 0 : z == 1 ? Element::Hydrogen : code)
        << code;
  }
  EXPECT_EQ(z_seen.size(), 103u);
  EXPECT_EQ(std::set<int>(z_seen.begin(), z_seen.end()).size(), 103u);
  EXPECT_EQ(Element("D").vdw_radius(), Element("H").vdw_radius());
}

} // namespace
} // namespace xtalmotif
