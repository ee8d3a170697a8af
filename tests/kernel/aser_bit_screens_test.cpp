// Screen bits: the element classes checked against the periodic table, bond bits that tell
// chemically different bonds apart in either order, and the bits of an entry, which must satisfy
// every pattern its own chemistry would require and fail the filters it does not meet.

#include "db/aser_bit_screens.h"
#include "db/aser_database.h"
#include "kernel_test_support.h"

#include <gtest/gtest.h>

#include <set>

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
  if (z <= 18) { // two s columns then six p columns
    const int offset = z <= 10 ? z - 2 : z - 10;
    return offset <= 2 ? offset : offset + 10;
  }
  if (z <= 54)
    return z <= 36 ? z - 18 : z - 36;
  const int offset = z <= 86 ? z - 54 : z - 86; // fourteen f columns
  return offset <= 3 ? offset : offset <= 17 ? 0 : offset - 14;
}

// The element classes of the screens and of the element table, both from the atomic number:
// metals are every element but the non-metals and lighter metalloids, transition metals the d
// and f blocks, halogens F to At (astatine deliberately in neither halogen class of the screens).
TEST(AserElementClasses, ClassesFollowThePeriodicTable) {
  const std::set<int> non_metals = {1, 2, 5, 6, 7, 8, 9, 10, 14, 15, 16, 17, 18, 33, 34, 35, 36,
                                    52, 53, 54, 85, 86};
  AserBitScreens s;
  for (int code = 1; code < Element::ncodes; ++code) {
    const Element e(code);
    const std::string sym = e.symbol();
    const int z = e.atomic_number();
    if (sym.empty() || z > 103)
      continue;
    SCOPED_TRACE(sym);
    const bool metal = !non_metals.count(z), halogen = std::set<int>{9, 17, 35, 53, 85}.count(z);
    const bool d_or_f = (z >= 21 && z <= 30) || (z >= 39 && z <= 48) || (z >= 57 && z <= 80) ||
                        z >= 89;
    EXPECT_EQ(e.is_metal(), metal);
    EXPECT_EQ(e.is_transition_metal(), d_or_f);
    EXPECT_EQ(e.is_halogen(), halogen);
    EXPECT_EQ(s.is_member_of_group(sym, G::METALS), metal);
    EXPECT_EQ(s.is_member_of_group(sym, G::HALOGENS), halogen && z != 85);
    EXPECT_EQ(s.is_member_of_group(sym, G::TRANSITION_METALS) ||
                  s.is_member_of_group(sym, G::LANTHANIDES) ||
                  s.is_member_of_group(sym, G::ACTINIDES),
              d_or_f);
    // One group bit; none for carbon, so that a query's carbons never require anything.
    std::vector<int> group_bits;
    for (G g : s.lookup.at(sym))
      if (g >= 1 && g <= 18)
        group_bits.push_back(g);
    const int group = z == 6 ? 0 : periodic_group(z);
    EXPECT_EQ(group_bits, group ? std::vector<int>{group} : std::vector<int>{});
  }
  EXPECT_EQ(s.lookup.at("H"),
            (std::vector<G>{G::HYDROGEN_ANY_ISOTOPE, G::HYDROGEN_PROTIUM, G::NON_METALS}));
  EXPECT_EQ(s.lookup.at("D"), (std::vector<G>{G::HYDROGEN_ANY_ISOTOPE, G::NON_METALS}));
  EXPECT_TRUE(s.lookup.at("Rf").empty()); // superheavy elements are known, with no class
}

TEST(AserConnections, BondBitsAreSymmetricAndTellChemicallyDifferentBondsApart) {
  AserBitScreens s;
  for (const auto& [a, ga] : s.lookup)
    for (const auto& [b, gb] : s.lookup) {
      const std::set<int> ab = connection_bits(a, b);
      ASSERT_EQ(ab, connection_bits(b, a)) << a << "-" << b;
      // Without carbon one bit, none for an element of no class.
      EXPECT_TRUE(a == "C" || b == "C" || ab.size() == (ga.empty() || gb.empty() ? 0u : 1u))
          << a << "-" << b;
    }
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

// Filters on an ordered Fe-N complex with nothing to flag and on the same complex with a site,
// R = 0.05, disorder, an error and a cut polymer; methanol refined without H sites still offers
// the O-H of a donor query.
TEST(EntryScreens, FiltersAndImpliedHydrogens) {
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
  c->set_r_factor(0.0501);
  const Aser r_high = entry_screens(*c);
  const Aser organic = entry_screens(*crystal_of({testing::acetic_acid()}));
  // 3D sites, R <= 0.05, no disorder, not polymeric, no errors, a metal, a transition metal.
  const char* passes[] = {"0011111", "1100011", "1000011", "0011100"};
  for (int f = 0; f < 7; ++f) {
    bool on[7] = {};
    on[f] = true;
    const auto p = *Filters(on[0], on[1], on[2], on[3], on[4], on[5], on[6]).bit_screens();
    EXPECT_EQ(std::string() + "01"[plain.satisfies(p)] + "01"[flagged.satisfies(p)] +
                  "01"[r_high.satisfies(p)] + "01"[organic.satisfies(p)],
              std::string() + passes[0][f] + passes[1][f] + passes[2][f] + passes[3][f])
        << "filter " << f + 1;
  }
  EXPECT_TRUE(organic.satisfies(*Filters().bit_screens()));
  MoleculeBuilder methanol;
  methanol.bond(methanol.atom("C", 0, 3), methanol.atom("O", 0, 1));
  AserBitScreens donor;
  donor.set_element_present("O");
  donor.set_element_present("H");
  donor.set_simple_connection("O", "H");
  EXPECT_TRUE(entry_screens(*crystal_of({methanol.molecule()})).satisfies(donor));
  EXPECT_TRUE(organic.satisfies(donor));
  EXPECT_FALSE(entry_screens(*crystal_of({testing::acetate_without_h()})).satisfies(donor));
}

} // namespace
} // namespace xtalmotif
