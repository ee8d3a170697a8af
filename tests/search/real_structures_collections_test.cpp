// Real crystal structures: their environments agree with the space group and with Z as the
// authors reported them, a motif built in code is found exactly where the structure has it, as
// worked out here from distances between the symmetry images of the atoms concerned,
// independently of the search engine, and a search that explodes stops at its call budget.

#include "crystal/cif_reader.h"
#include "search/motif_search.h"

#include "search_test_support.h"
#include "test_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <functional>

namespace xtalmotif {
namespace {

using namespace testing;

THandle<CrystalMaker> curated(const std::string& file, const std::string& block = "") {
  return read_crystal(require_data("curated/" + file).string(), block);
}

bool is_element(const Molecule& m, int atom, const char* symbol) {
  return m.atom(atom)->element() == Element(symbol);
}

std::vector<int> neighbours(const Molecule& m, int atom, const char* symbol) {
  std::vector<int> out;
  for (int n : m.neighbours(atom))
    if (is_element(m, n, symbol))
      out.push_back(n);
  return out;
}

bool in_window(double d, double low, double high) { return low < d && d < high; }

TEST(RealEnvironments, CopiesAgreeWithTheSpaceGroupAndZ) {
  // File, block, the element whose molecules Z counts, operators, Z, least and most copies of
  // any molecule.
  const std::vector<std::tuple<std::string, std::string, const char*, std::size_t, int, int, int>>
      cases = {
          // P21/c, one ibuprofen C13H18O2 in the asymmetric unit.
          {"acid__2300214-r274507.cif", "", "O", 4, 4, 4, 4},
          // P21/c with Z = 2: the C42H52Si2 molecule lies on an inversion centre.
          {"negative__4122001.cif", "", "Si", 4, 2, 2, 2},
          // P-1, Z = 6 of [crown ether, Ni(H2O)6, 2 NO3, H2O]: Ni1 and Ni2 in general
          // positions, Ni3 and Ni4 on inversion centres.
          {"hydrate__bs5068.cif", "2b", "Ni", 2, 6, 1, 2},
          // P212121, no special positions; Z = 4 of two Pd complexes and a CH2Cl2.
          {"quirk__4082565-r190286.cif", "", "Pd", 4, 8, 4, 4},
          // P21/c, Z = 8: two C4H4FN3O and five waters, all in general positions.
          {"hydrate__4504659.cif", "", "F", 4, 8, 4, 4}};
  for (const auto& [file, block, element, operators, z, least, most] : cases) {
    SCOPED_TRACE(file);
    auto cm = curated(file, block);
    MotifSearchResource r(cm);
    ASSERT_EQ(cm->symmetry_operators().size(), operators);
    int units = 0;
    for (int m = 0; m < cm->nmolecules(); ++m) {
      const auto copies = std::count(r.cm_molecule_of_copy.begin(), r.cm_molecule_of_copy.end(), m);
      EXPECT_TRUE(least <= copies && copies <= most) << cm->molecule(m)->formula() << " " << copies;
      bool holds = false;
      for (int a = 0; a < cm->molecule(m)->natoms(); ++a)
        holds = holds || is_element(*cm->molecule(m), a, element);
      units += holds ? static_cast<int>(copies) : 0;
    }
    EXPECT_EQ(units, z);
    expect_operator_images(r);
  }
}

// Where atom `atom` of molecule `m` goes under operator `op` and lattice translation `t`.
Point image(const CrystalMaker& c, int m, int atom, int op, const Point& t) {
  const Point& f = c.molecule(m)->atom(atom)->site()->fractional();
  return c.to_orthogonal(c.symmetry_operators()[static_cast<std::size_t>(op)].apply(f) + t);
}

// Every image of molecule m within two cells, f(operator, translation, whether the image is the
// molecule itself, as it is for some operators when it lies on a special position).
void for_images(const CrystalMaker& c, int m,
                const std::function<void(int, const Point&, bool)>& f) {
  for (int op = 0; op < static_cast<int>(c.symmetry_operators().size()); ++op)
    for (int k = 0; k < 125; ++k) {
      const Point t(k / 25 - 2, k / 5 % 5 - 2, k % 5 - 2);
      const Point first = image(c, m, 0, op, t);
      bool itself = false;
      for (int a = 0; a < c.molecule(m)->natoms(); ++a)
        itself = itself || distance(first, c.molecule(m)->atom(a)->position()) < 0.05;
      f(op, t, itself);
    }
}

// Acid groups by connectivity alone: a carbon carrying a terminal oxygen and a hydroxyl oxygen
// whose other neighbour is a hydrogen. Each as {molecule, carbonyl O, hydroxyl H}.
std::vector<std::array<int, 3>> acid_groups(const CrystalMaker& c) {
  std::vector<std::array<int, 3>> out;
  for (int m = 0; m < c.nmolecules(); ++m) {
    const Molecule& mol = *c.molecule(m);
    for (int carbon = 0; carbon < mol.natoms(); ++carbon) {
      int terminal = -1, h = -1;
      if (!is_element(mol, carbon, "C"))
        continue;
      for (int o : neighbours(mol, carbon, "O")) {
        terminal = mol.degree(o) == 1 ? o : terminal;
        const auto hs = neighbours(mol, o, "H");
        h = mol.degree(o) == 2 && hs.size() == 1 ? hs[0] : h;
      }
      if (terminal >= 0 && h >= 0)
        out.push_back({m, terminal, h});
    }
  }
  return out;
}

// Two acid groups, the second in another molecule, each with its H 1.5 to 2.2 A from the
// other's carbonyl O.
bool has_acid_dimer(const CrystalMaker& c) {
  bool found = false;
  for (const auto& a : acid_groups(c))
    for (const auto& b : acid_groups(c))
      for_images(c, b[0], [&](int op, const Point& t, bool itself) {
        auto bond = [&](int from, int to) {
          const double d = distance(c.molecule(a[0])->atom(a[from])->position(),
                                    image(c, b[0], b[to], op, t));
          return in_window(d, 1.5, 2.2);
        };
        found = found || (!(itself && a[0] == b[0]) && bond(2, 1) && bond(1, 2));
      });
  return found;
}

// Every block of the acid and negative files: the dimer is found exactly where the structure
// has one, with both hydrogen bonds in their window.
TEST(RealStructureSearches, AcidDimerIsFoundExactlyWhereTheStructureHasOne) {
  int dimers = 0;
  for (const std::string f :
       {"acid__2300214-r274507.cif", "acid__2211061-modified-enum-comments.cif",
        "acid__4022630-degrees-cendigrades.cif", "acid__cif_fix_val_024.cif", "acid__2013611.cif",
        "acid__2006132.cif", "negative__2100348-benzene.cif", "negative__2000334.cif",
        "negative__4122001.cif", "negative__7052868.cif"})
    for (const auto& block : list_cif_blocks(require_data("curated/" + f).string())) {
      auto c = curated(f, block.block_name);
      const bool expected = has_acid_dimer(*c);
      MotifSearch search;
      search.search(c, acid_dimer_motif(), 0);
      EXPECT_EQ(search.results()->nentries(), expected ? 1 : 0) << f << " " << block.block_name;
      const auto matches = search.results()->motif_matches(DatabaseEntryIdentifier("unknown"));
      for (const auto& m : *matches)
        for (const auto& cm : m->contact_matches)
          EXPECT_TRUE(in_window(distance(cm->from_point, cm->to_point), 1.5, 2.2)) << f;
      dimers += expected ? 1 : 0;
    }
  EXPECT_GE(dimers, 1); // ibuprofen at least
}

// Six atoms of any element but hydrogen, each within 4 A of the next in any molecule, then a
// uranium atom the structure does not have: every partial chain is explored and none
// completes, so the number of paths grows geometrically until the call budget stops it.
TEST(RealStructureSearches, ExplodingSearchStopsAtTheCallBudgetQuickly) {
  auto c = curated("acid__2300214-r274507.cif");
  auto motif = motif_of({});
  for (int i = 0; i < 6; ++i) {
    auto atom = make_handle<SubstructureAtom>(); // of any element but H and D
    atom->remove_element(Element("H"));
    atom->remove_element(Element("D"));
    motif->add_substructure(make_handle<MotifSubstructure>());
    motif->substructure(i)->add(atom);
  }
  motif->add_substructure(fragment({"U"}));
  for (int i = 0; i < 6; ++i)
    motif->add_contact(contact(i, 0, i + 1, 0, absolute(0.0, 4.0, ContactType::Any)));
  MotifSearch search;
  const std::clock_t start = std::clock(); // processor time: a busy machine is no slower
  search.search(c, motif, 0);
  const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
  EXPECT_TRUE(search.aborted());
  // The call that meets the budget and the few made by the loops unwinding above it are counted.
  EXPECT_GE(search.ncalls(), 1000000);
  EXPECT_LT(search.ncalls(), 1001000);
  EXPECT_EQ(search.results()->nentries(), 0);
  EXPECT_LT(seconds, 60.0);
  // The flag stays until the caller clears it; the counters start again with each structure.
  search.set_limit(1000);
  search.search(c, acid_dimer_motif(), 0);
  EXPECT_TRUE(search.aborted());
  EXPECT_LT(search.ncalls(), 1000);
  EXPECT_EQ(search.results()->nentries(), 1);
  EXPECT_EQ(search.depth(), 0);
  search.reset_aborted();
  EXPECT_FALSE(search.aborted());
}

} // namespace
} // namespace xtalmotif
