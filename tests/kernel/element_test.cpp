#include "chem/element.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>

namespace xtalmotif {
namespace {

TEST(ElementTable, CodesFollowTheAsciiOrderOfSymbols) {
  // Codes of the elements the query libraries name.
  const std::pair<const char *, int> expected[] = {
      {"X", 0},  {"C", 1},  {"H", 2},  {"Ac", 3}, {"Ag", 4}, {"Br", 16}, {"Cl", 21},
      {"D", 27}, {"F", 32}, {"I", 43}, {"N", 56}, {"O", 64}, {"S", 81},  {"Zr", 104}};
  for (const auto &[symbol, code] : expected) {
    EXPECT_EQ(Element::code_of(symbol), code) << symbol;
    EXPECT_EQ(Element(symbol).code(), code) << symbol;
    EXPECT_EQ(Element(code).symbol(), symbol) << code;
  }
  EXPECT_EQ(Element::Silver, 4);
  EXPECT_EQ(Element::Bromine, 16);
  EXPECT_EQ(Element::Chlorine, 21);
  EXPECT_EQ(Element::Deuterium, 27);
  EXPECT_EQ(Element::Fluorine, 32);
  EXPECT_EQ(Element::Iodine, 43);
  EXPECT_EQ(Element::Nitrogen, 56);
  EXPECT_EQ(Element::Oxygen, 64);
  EXPECT_EQ(Element::Sulfur, 81);

  // 3..104 are strictly increasing in plain byte order of the symbols.
  for (int code = 4; code <= 104; ++code)
    EXPECT_LT(std::string(Element::table_[code - 1].symbol),
              std::string(Element::table_[code].symbol))
        << "codes " << code - 1 << " and " << code;
}

TEST(ElementTable, EveryElementFromHydrogenToLawrenciumOnceAndDeuteriumAsHydrogen) {
  std::multiset<int> z;
  for (int code = 1; code <= 104; ++code)
    if (code != Element::Deuterium)
      z.insert(Element::atomic_numbers_[code]);
  for (int n = 1; n <= 103; ++n)
    EXPECT_EQ(z.count(n), 1u) << "atomic number " << n;
  EXPECT_EQ(z.size(), 103u);
  EXPECT_EQ(Element::atomic_numbers_[Element::Deuterium], 1);
  EXPECT_EQ(Element::atomic_numbers_[0], 0);
  for (int code = 105; code < Element::ncodes; ++code)
    EXPECT_EQ(Element::atomic_numbers_[code], 0) << code;
  EXPECT_EQ(Element("Fe").atomic_number(), 26);
  EXPECT_EQ(Element("U").atomic_number(), 92);
  EXPECT_EQ(Element("Lr").atomic_number(), 103);
}

TEST(ElementTable, SymbolsAreReadWithoutRegardToCase) {
  EXPECT_EQ(Element("CL").code(), Element::Chlorine);
  EXPECT_EQ(Element("cl").code(), Element::Chlorine);
  EXPECT_EQ(Element("cL").code(), Element::Chlorine);
  EXPECT_EQ(Element("n").code(), Element::Nitrogen);
  EXPECT_EQ(Element::code_of("zR"), 104);
  // Unknown symbols: no code, and the element is X.
  EXPECT_EQ(Element::code_of("Qq"), -1);
  EXPECT_EQ(Element::code_of(""), -1);
  EXPECT_EQ(Element::code_of("Cl1"), -1);
  EXPECT_EQ(Element("Qq").code(), Element::Unknown);
  EXPECT_EQ(Element().code(), Element::Unknown);
  EXPECT_EQ(Element().symbol(), "X");
  EXPECT_EQ(Element(-1).code(), Element::Unknown);
  EXPECT_EQ(Element(108).code(), Element::Unknown);
}

TEST(ElementTable, AtomicNumberLookupPrefersHydrogenOverDeuterium) {
  EXPECT_EQ(Element::code_of_atomic_number(1), Element::Hydrogen);
  EXPECT_EQ(Element::code_of_atomic_number(6), Element::Carbon);
  EXPECT_EQ(Element::code_of_atomic_number(8), Element::Oxygen);
  EXPECT_EQ(Element::code_of_atomic_number(47), Element::Silver);
  EXPECT_EQ(Element::code_of_atomic_number(0), Element::Unknown);
  EXPECT_EQ(Element::code_of_atomic_number(200), Element::Unknown);
}

TEST(ElementTable, VanDerWaalsRadiiAreBondisWithShortHydrogen) {
  // Bondi (1964), J. Phys. Chem. 68, 441; H from Rowland & Taylor (1996).
  const std::pair<const char *, double> bondi[] = {
      {"C", 1.70},  {"N", 1.55}, {"O", 1.52},  {"F", 1.47},  {"Cl", 1.75}, {"Br", 1.85},
      {"I", 1.98},  {"S", 1.80}, {"P", 1.80},  {"Se", 1.90}, {"Si", 2.10}, {"Ag", 1.72},
      {"Na", 2.27}, {"K", 2.75}, {"Zn", 1.39}, {"He", 1.40}};
  for (const auto &[symbol, r] : bondi) {
    EXPECT_DOUBLE_EQ(Element(symbol).vdw_radius(), r) << symbol;
    EXPECT_DOUBLE_EQ(Element::vdw_radii_[Element::code_of(symbol)], r) << symbol;
  }
  EXPECT_DOUBLE_EQ(Element("H").vdw_radius(), 1.09);
  EXPECT_DOUBLE_EQ(Element("D").vdw_radius(), 1.09);
  // No Bondi value: 2.00.
  EXPECT_DOUBLE_EQ(Element("Fe").vdw_radius(), 2.00);
  EXPECT_DOUBLE_EQ(Element("Zr").vdw_radius(), 2.00);
  EXPECT_DOUBLE_EQ(Element().vdw_radius(), 2.00);
  for (int code = 0; code < Element::ncodes; ++code)
    EXPECT_EQ(Element::vdw_radii_[code], Element::table_[code].vdw_radius) << code;
}

TEST(ElementTable, CovalentRadiiAreCorderos) {
  // Cordero et al. (2008), Dalton Trans. 2832 (C sp3).
  EXPECT_DOUBLE_EQ(Element("H").covalent_radius(), 0.31);
  EXPECT_DOUBLE_EQ(Element("C").covalent_radius(), 0.76);
  EXPECT_DOUBLE_EQ(Element("N").covalent_radius(), 0.71);
  EXPECT_DOUBLE_EQ(Element("O").covalent_radius(), 0.66);
  EXPECT_DOUBLE_EQ(Element("S").covalent_radius(), 1.05);
  EXPECT_DOUBLE_EQ(Element("Cl").covalent_radius(), 1.02);
  EXPECT_DOUBLE_EQ(Element::covalent_radii_[Element::Silver], 1.45);
}

TEST(ElementTable, ChemicalClasses) {
  EXPECT_TRUE(Element("H").is_hydrogen());
  EXPECT_TRUE(Element("D").is_hydrogen());
  EXPECT_FALSE(Element("He").is_hydrogen());
  EXPECT_TRUE(Element("C").is_carbon());
  for (const char *s : {"F", "Cl", "Br", "I"})
    EXPECT_TRUE(Element(s).is_halogen()) << s;
  EXPECT_FALSE(Element("O").is_halogen());
  for (const char *s : {"Fe", "Cu", "Ag", "Zn", "Pt"})
    EXPECT_TRUE(Element(s).is_transition_metal() && Element(s).is_metal()) << s;
  for (const char *s : {"Na", "Mg", "Al", "Sn", "Pb"}) {
    EXPECT_TRUE(Element(s).is_metal()) << s;
    EXPECT_FALSE(Element(s).is_transition_metal()) << s;
  }
  for (const char *s : {"C", "H", "N", "O", "Si", "Cl", "X"})
    EXPECT_FALSE(Element(s).is_metal()) << s;
}

// Every code of the table, classed from the other side: the metals are every element but the
// non-metals and the lighter metalloids; the transition metals are the d and f blocks.
TEST(ElementTable, EveryCodeIsClassedByItsAtomicNumber) {
  const std::set<int> non_metals = {1,  2,  5,  6,  7,  8,  9,  10, 14, 15, 16,
                                    17, 18, 33, 34, 35, 36, 52, 53, 54, 85, 86};
  int metals = 0;
  for (int code = 0; code < Element::ncodes; ++code) {
    const Element e(code);
    const int z = e.atomic_number();
    const bool d_or_f_block = (z >= 21 && z <= 30) || (z >= 39 && z <= 48) ||
                              (z >= 57 && z <= 80) || (z >= 89 && z <= 103);
    EXPECT_EQ(e.is_metal(), z > 0 && !non_metals.count(z)) << code;
    EXPECT_EQ(e.is_transition_metal(), d_or_f_block) << code;
    EXPECT_EQ(e.is_halogen(), z == 9 || z == 17 || z == 35 || z == 53 || z == 85) << code;
    metals += e.is_metal();
  }
  EXPECT_EQ(metals, 81);
}

TEST(ElementTable, ComparesAndPrintsByCode) {
  EXPECT_EQ(Element("O"), Element(64));
  EXPECT_NE(Element("O"), Element("N"));
  EXPECT_LT(Element("C"), Element("H"));
  std::ostringstream os;
  Element("Cl").print(os);
  EXPECT_EQ(os.str(), "Cl");
}

} // namespace
} // namespace xtalmotif
