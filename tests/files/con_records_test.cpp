// Single records of a connectivity query file, word by word, and the query atoms, bonds and
// contacts made from them.

#include "files/con_atom.h"
#include "files/con_bond.h"
#include "files/con_contact.h"
#include "files/formatted_string_reader.h"
#include "chem/element.h"
#include "chem/molecule.h"

#include <gtest/gtest.h>

#include <array>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace xtalmotif {
namespace {

std::vector<std::string> split(const std::string &line) {
  return FormattedStringReader::split_words(line);
}

/// The counts from 0 to 9 a condition accepts, as digits: "3" for exactly 3, "012" for 0 to 2;
/// "-" for no condition.
std::string accepted(const THandle<Condition> &c) {
  std::string s = c ? "" : "-";
  for (int n = 0; c && n <= 9; ++n)
    s += c->test(n) ? std::to_string(n) : "";
  return s;
}

TEST(ConAtom, WordsGiveNumberElementHydrogensConnectionsAndCyclicity) {
  // Read as: number, element ("" any), hydrogens and connections accepted, cyclicity. The last
  // three words are dropped before anything is read.
  const std::vector<std::pair<const char *, const char *>> cases = {
      {"AT1 C 3 T3 0 0 0", "1 C H- T3 "},
      {"AT2 O 1 0,2 0 0 0", "2 O H012 T- "},
      {"AT3 N 1 1,3,9 0 0 0", "3 N H123 T- "}, // only the first comma splits
      {"AT3 BB 1 0 0 0", "3  H- T- "},
      {"AT4 C 3 T12 0 0 0", "4 C H- T- "}, // T and one digit only
      {"AT5 N 1 3T 0 0 0", "5 N H- T- "},
      {"AT6 C 4 T0 0 0 0", "6 C H- T0 "},
      {"AT7 O 1 0 0 T2", "7 O H- T- "},
      {"AT1 C 3", "-1 X H- T- "},
      {"AT8 C 3 T3", "8 X H- T- "},
      {"AT5 N 2 1 T3 C 7 8 9", "5 N H1 T3 C"},
      {"AT8 C 3 A T3 0 0 0", "8 C H- T3 A"},
      {"AT9 O 1 1 5 0 0 0", "9 O H1 T- "}, // a hydrogen count only in word 3
      {"AT9 O 1 1 T2 T4 C 0 0 0", "9 O H1 T2 "},
      {"ATOM12 C 0 0 0 0", "0 C H- T- "},
      {"AT99999999999999999999 C 0 0 0 0", "2147483647 C H- T- "},
      {"AT7x C x Tx 0 0 0", "7 C H- T0 "}, // numbers read leniently, as 0
      {"AT7 C 1 abc 0 0 0", "7 C H0 T- "}};
  for (const auto &[line, read] : cases) {
    ConAtom a(split(line));
    std::ostringstream os;
    os << a.number() << " " << a.element() << " H" << accepted(a.hcount_condition()) << " T"
       << accepted(a.nbonds_condition()) << " " << a.cyclicity_text();
    EXPECT_EQ(os.str(), read) << line;
    // The query atom carries exactly the conditions read.
    EXPECT_EQ(a.substructure_atom()->constraints().size(),
              (a.hcount_condition() ? 1u : 0u) + (a.nbonds_condition() ? 1u : 0u))
        << line;
  }
}

TEST(ConAtom, QueryAtomMatchesTheAtomItDescribes) {
  Molecule water; // O with two H
  for (auto e : {Element::Oxygen, Element::Hydrogen, Element::Hydrogen})
    water.add_atom(make_handle<Atom>(Element(e)));
  water.add_bond(0, 1, BondType::Single);
  water.add_bond(0, 2, BondType::Single);
  const std::vector<std::tuple<const char *, int, bool>> cases = {
      {"AT1 O 1 2 T2 0 0 0", 0, true},  {"AT1 O 1 1 T2 0 0 0", 0, false},
      {"AT1 O 1 2 T3 0 0 0", 0, false}, {"AT1 O 1 1,2 0 0 0", 0, true},
      {"AT1 BB 1 0 T1 0 0 0", 1, true}, {"AT1 C 1 0 0 0", 0, false},
      {"AT1 X 1 0 0 0", 0, false}}; // X is the unknown element, not any element
  for (const auto &[line, atom, match] : cases)
    EXPECT_EQ(ConAtom(split(line)).substructure_atom()->matches(water, atom), match) << line;
}

TEST(ConBond, TypesOneToFourAreRequiredAndAnythingElseIsAny) {
  const std::vector<std::pair<const char *, std::vector<BondType>>> cases = {
      {"BO 1 2 1", {BondType::Single}},
      {"BO 1 2 2", {BondType::Double}},
      {"BO 1 2 3", {BondType::Triple}},
      {"BO 1 2 4", {BondType::Quadruple}},
      {"BO 1 2 5", {}},
      {"BO 1 2 0", {}},
      {"BO 1 2 -1", {}},
      {"BO 1 2 x", {}},
      {"BO 1 2", {}}};
  for (const auto &[line, types] : cases)
    EXPECT_EQ(ConBond(split(line)).substructure_bond()->types(), types) << line;
}

TEST(ConContact, BothLayoutsGiveTypeAtomsAndLimits) {
  // Read as: type (1 inter, 2 intra, 3 any), atoms, lower and upper offsets to the van der
  // Waals radius sum.
  const std::vector<std::array<const char *, 3>> cases = {
      {"VDW 1 0.25", "CONT INTER 4 TO 6 WITHIN VDW", "1 4 6 -5 0.25"},
      {"VDW 1 0.25", "CONT INTER 4 TO 6 DIST -1.0 -0.1", "1 4 6 -1 -0.1"},
      {"VDW 1 0.5", "CONT INTER 4 TO 6", "1 4 6 -5 0.5"},
      {"VDW 1 0.5", "CONT INTER 4 TO 6 DIST -1.0 -0.1 X", "1 4 6 -5 0.5"},
      {"VDW 2 0.1", "CONT INTRA FROM AT 3 TO 9 DIST -2.0 0.5", "2 3 9 -2 0.5"},
      {"VDW 3 -0.2", "CONT ANY FROM AT 5 TO 1 WITHIN VDW", "3 5 1 -5 -0.2"},
      // Eight words are a range only in the INTER layout.
      {"VDW 1 0.3", "CONT ANY X Y 2 TO 7 Z", "3 2 7 -5 0.3"},
      // An unknown type word is intermolecular, read in the second layout.
      {"VDW 1 0.0", "CONT inter 8 TO 3 X 5", "1 3 5 -5 0"},
      {"VDW", "CONT INTER 4", "1 4 -1 -5 0"},
      {"VDW 1 abc", "CONT INTER x TO 6y DIST 0.5q low", "1 0 6 0.5 0"}};
  for (const auto &[vdw, line, read] : cases) {
    ConContact contact(split(vdw), split(line));
    auto crit = contact.contact_criterion();
    std::ostringstream os;
    os << static_cast<int>(crit->contact_type()) << " " << contact.atom_a() << " "
       << contact.atom_b() << " " << crit->lower() << " " << crit->upper();
    EXPECT_EQ(os.str(), read) << line;
    EXPECT_TRUE(crit->is_vdw_relative()) << line;
  }
  // H...O, radius sum 1.09 + 1.52 = 2.61 A, with the range -1.0 to -0.1: 1.61 to 2.51 A.
  auto range = ConContact(split("VDW 1 0"), split("CONT INTER 4 TO 6 DIST -1.0 -0.1"));
  for (const auto &[d, in] :
       std::vector<std::pair<double, bool>>{{2.0, true}, {2.55, false}, {1.55, false}})
    EXPECT_EQ(range.contact_criterion()->test_distance(d, 1.09, 1.52), in) << d;
}

} // namespace
} // namespace xtalmotif
