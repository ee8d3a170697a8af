// Screen bits: the element classes checked against the periodic table, bond bits that tell
// chemically different bonds apart in either order, and the bits of an entry, which must satisfy
// every pattern its own chemistry would require and fail the filters it does not meet.

#include "kernel/aser_bit_screens.h"
#include "kernel/aser_database.h"
#include "kernel_test_support.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

using G = AserBitScreens::EL_GROUP;
using testing::MoleculeBuilder;

std::set<int> connection_bits(const std::string& a, const std::string& b) {
  static AserBitScreens s;
  s.screens.clear();
  s.set_simple_connection(a, b);
  std::set<int> bits;
  for (const auto& [bit, value] : s.screens)
    if (value)
      bits.insert(bit);
  return bits;
}

// Periodic-table group of atomic number z from the period lengths; 0 for H and the f block.
int periodic_group(int z) {
  if (z <= 2)
    return z == 1 ? 0 : 18;
  if (z <= 18) {
    int offset = z <= 10 ? z - 2 : z - 10;
    return offset <= 2 ? offset : offset + 10;
  }
  if (z <= 54)
    return z <= 36 ? z - 18 : z - 36;
  int offset = z <= 86 ? z - 54 : z - 86;
  return offset <= 3 ? offset : offset <= 17 ? 0 : offset - 14;
}

TEST(AserElementClasses, ClassesFollowThePeriodicTableAndTheElementTable) {
  AserBitScreens s;
  for (int code = 1; code < Element::ncodes; ++code) {
    const Element e(code);
    const std::string sym = e.symbol();
    if (sym.empty())
      continue;
    SCOPED_TRACE(sym);
    ASSERT_EQ(s.lookup.count(sym), 1u);
    // Two independent derivations of the classes agree.
    EXPECT_EQ(s.find_groups(sym), s.lookup.at(sym));
    std::vector<int> group_bits;
    for (G g : s.lookup.at(sym))
      if (g >= 1 && g <= 18)
        group_bits.push_back(g);
    // Carbon has no group bit, so that a query's carbons never require anything.
    const int group = sym == "C" ? 0 : periodic_group(e.atomic_number());
    EXPECT_EQ(group_bits, group ? std::vector<int>{group} : std::vector<int>{});
    EXPECT_EQ(s.is_member_of_group(sym, G::METALS), e.is_metal());
    // Astatine is deliberately outside both halogen classes.
    EXPECT_EQ(s.is_member_of_group(sym, G::HALOGENS), e.is_halogen() && sym != "At");
    EXPECT_EQ(s.is_member_of_group(sym, G::BONDING_HALOGENS), e.is_halogen() && sym != "At");
    EXPECT_EQ(s.is_member_of_group(sym, G::TRANSITION_METALS) ||
                  s.is_member_of_group(sym, G::LANTHANIDES) ||
                  s.is_member_of_group(sym, G::ACTINIDES),
              e.is_transition_metal());
    EXPECT_EQ(s.is_member_of_group(sym, G::MAIN_GROUP_METALS),
              e.is_metal() && !e.is_transition_metal());
  }
  EXPECT_EQ(s.lookup.at("H"), (std::vector<G>{G::HYDROGEN_ANY_ISOTOPE, G::HYDROGEN_PROTIUM,
                                               G::NON_METALS}));
  EXPECT_EQ(s.lookup.at("D"), (std::vector<G>{G::HYDROGEN_ANY_ISOTOPE, G::NON_METALS}));
  // Superheavy elements are known, with no class at all; unknown symbols belong to none.
  EXPECT_TRUE(s.lookup.at("Rf").empty());
  EXPECT_TRUE(s.find_groups("X").empty() && s.find_groups("fe").empty());
  EXPECT_FALSE(s.is_member_of_group("Xq", G::NON_METALS));
}

TEST(AserConnections, BondBitsAreSymmetricAndTellChemicallyDifferentBondsApart) {
  AserBitScreens s;
  std::set<int> used;
  for (const auto& [a, ga] : s.lookup)
    for (const auto& [b, gb] : s.lookup) {
      const std::set<int> ab = connection_bits(a, b);
      ASSERT_EQ(ab, connection_bits(b, a)) << a << "-" << b;
      for (int bit : ab) {
        EXPECT_TRUE(bit >= AserBitScreens::FIRST_CONNECTION_BIT &&
                    bit <= AserBitScreens::LAST_CONNECTION_BIT);
        used.insert(bit);
      }
      // Without carbon one bit, none for an element of no class.
      if (a != "C" && b != "C") {
        EXPECT_EQ(ab.size(), ga.empty() || gb.empty() ? 0u : 1u) << a << "-" << b;
      }
    }
  EXPECT_EQ(used.size(), static_cast<std::size_t>(AserBitScreens::LAST_CONNECTION_BIT -
                                                  AserBitScreens::FIRST_CONNECTION_BIT + 1));
  // Each of these bonds has its own bits.
  const std::vector<std::pair<std::string, std::string>> distinct = {
      {"O", "H"}, {"N", "H"},  {"S", "H"},  {"N", "O"},  {"O", "O"}, {"Cu", "O"}, {"Cu", "N"},
      {"Cl", "O"}, {"P", "O"}, {"N", "N"}, {"C", "C"},  {"C", "N"}, {"C", "O"},  {"C", "Cl"},
      {"C", "F"}, {"C", "Br"}, {"C", "S"}, {"C", "P"},  {"C", "Si"}, {"C", "Fe"}, {"C", "Na"}};
  std::set<std::set<int>> seen;
  for (const auto& [a, b] : distinct)
    EXPECT_TRUE(seen.insert(connection_bits(a, b)).second) << a << "-" << b;
  // Deuterium bonds like hydrogen; all metals are one class; B, Si and P share "other".
  EXPECT_EQ(connection_bits("O", "D"), connection_bits("O", "H"));
  EXPECT_EQ(connection_bits("Na", "O"), connection_bits("Fe", "O"));
  EXPECT_EQ(connection_bits("B", "O"), connection_bits("P", "O"));
  EXPECT_TRUE(connection_bits("C", "H").empty());
  EXPECT_TRUE(connection_bits("X", "O").empty());
}

THandle<CrystalMaker> crystal_of(std::vector<Molecule> molecules) {
  auto c = make_handle<CrystalMaker>();
  for (auto& m : molecules)
    c->add_molecule(make_handle<Molecule>(m));
  return c;
}

Molecule chain(const char* symbol, int n) {
  MoleculeBuilder b;
  b.chain(symbol, n);
  return b.molecule();
}

// A pattern asks for an exact count in one molecule (2, 3 or 4 for N and O, 2 or 3 and more for
// halogens and metals); an entry must satisfy it exactly when some molecule has that many.
TEST(EntryScreens, CountsAreTheLargestInOneMolecule) {
  using Set = void (AserBitScreens::*)(int);
  const struct {
    const char* symbol;
    Set set;
    int top; // counts above this ask for no more than it
  } kinds[] = {{"N", &AserBitScreens::set_N_count, 4},
               {"O", &AserBitScreens::set_O_count, 4},
               {"Cl", &AserBitScreens::set_X3_count, 3},
               {"Cu", &AserBitScreens::set_M_count, 3}};
  for (const auto& k : kinds)
    for (int has = 1; has <= 5; ++has)
      for (int asked = 0; asked <= 6; ++asked) {
        // `has` atoms in one molecule, beside two molecules of has - 1.
        std::vector<Molecule> mols = {chain(k.symbol, has)};
        if (has > 1)
          mols.insert(mols.end(), 2, chain(k.symbol, has - 1));
        AserBitScreens pattern;
        (pattern.*k.set)(asked);
        const bool counted = k.top == 4 ? asked >= 2 && asked <= 4 : asked >= 2;
        const bool pass = !counted || std::min(asked, k.top) <= has;
        EXPECT_EQ(entry_screens(*crystal_of(mols)).satisfies(pattern), pass)
            << k.symbol << " has " << has << " asked " << asked;
      }
  // Astatine is no halogen for counting.
  AserBitScreens two_halogens;
  two_halogens.set_X3_count(2);
  EXPECT_FALSE(entry_screens(*crystal_of({chain("At", 3)})).satisfies(two_halogens));
}

TEST(EntryScreens, ImpliedHydrogensArePresentAndBonded) {
  // Methanol refined without H sites still offers the O-H of a donor query; acetate does not.
  MoleculeBuilder b;
  b.bond(b.atom_with_implicit_h("C", 3), b.atom_with_implicit_h("O", 1));
  AserBitScreens donor;
  donor.set_element_present("O");
  donor.set_element_present("H");
  donor.set_simple_connection("O", "H");
  EXPECT_TRUE(entry_screens(*crystal_of({b.molecule()})).satisfies(donor));
  EXPECT_FALSE(entry_screens(*crystal_of({testing::acetate_without_h()})).satisfies(donor));
  EXPECT_TRUE(entry_screens(*crystal_of({testing::acetic_acid()})).satisfies(donor));
}

// Each of the seven filters alone, on an ordered Fe-N complex with nothing to flag and on the
// same complex with a site, R = 0.05, disorder, an error and a cut polymer.
TEST(EntryScreens, FiltersPassTheEntriesThatMeetThem) {
  MoleculeBuilder b;
  b.bond(b.atom("Fe"), b.atom("N"));
  auto c = crystal_of({b.molecule()});
  const Aser plain = entry_screens(*c);
  c->molecule(0)->atom(0)->set_site(make_handle<Site>(Point(0.1, 0.2, 0.3), Point(1, 2, 3)));
  c->set_r_factor(0.05);
  c->set_disorder(true);
  c->add_error("valence of N1 unresolved");
  c->set_polymeric(true);
  const Aser flagged = entry_screens(*c);
  const bool plain_passes[] = {false, false, true, true, true, true, true};
  const bool flagged_passes[] = {true, true, false, false, false, true, true};
  for (int f = 0; f < 7; ++f) {
    bool on[7] = {};
    on[f] = true;
    const Filters filters(on[0], on[1], on[2], on[3], on[4], on[5], on[6]);
    EXPECT_EQ(plain.satisfies(*filters.bit_screens()), plain_passes[f]) << "filter " << f + 1;
    EXPECT_EQ(flagged.satisfies(*filters.bit_screens()), flagged_passes[f]) << "filter " << f + 1;
  }
  const Filters r_low(false, true, false, false, false, false, false);
  c->set_r_factor(0.0501);
  EXPECT_FALSE(entry_screens(*c).satisfies(*r_low.bit_screens()));
  c->set_r_factor(-1); // not given
  EXPECT_FALSE(entry_screens(*c).satisfies(*r_low.bit_screens()));
  // A metal-free entry fails the metal filters; no filter at all passes anything.
  const Aser organic = entry_screens(*crystal_of({testing::acetic_acid()}));
  EXPECT_FALSE(organic.satisfies(*Filters(0, 0, 0, 0, 0, 1, 0).bit_screens()));
  EXPECT_FALSE(organic.satisfies(*Filters(0, 0, 0, 0, 0, 0, 1).bit_screens()));
  EXPECT_TRUE(organic.satisfies(*Filters().bit_screens()));
}

TEST(AserRecord, BitsAndCompactBlobsRoundTrip) {
  Aser a;
  EXPECT_EQ(a.to_blob(), "");
  a.set_bit(9); // byte 1, bit 1
  a.set_bit(0);
  EXPECT_EQ(a.to_blob(), std::string("\x01\x02", 2));
  a.set_bit(Aser::max_bit);
  EXPECT_EQ(a.to_blob().size(), 128u);
  EXPECT_EQ(Aser::from_blob(a.to_blob()), a);
  EXPECT_EQ(a.set_bits(), (std::vector<int>{0, 9, Aser::max_bit}));
  EXPECT_FALSE(a.bit(8) || a.bit(-3) || a.bit(5000));
  // Clearing the top bit shrinks the record back, so equal records have equal bytes.
  a.set_bit(Aser::max_bit, false);
  EXPECT_EQ(a.to_blob(), std::string("\x01\x02", 2));
  EXPECT_EQ(Aser::from_blob(std::string("\x01\x02\x00\x00", 4)), a);
  EXPECT_THROW(Aser::from_blob(std::string(129, '\x01')), std::invalid_argument);
  EXPECT_THROW(a.set_bit(-1), std::out_of_range);
  EXPECT_THROW(a.set_bit(Aser::max_bit + 1), std::out_of_range);
}

} // namespace
} // namespace xtalmotif
