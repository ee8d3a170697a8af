// Real crystal structures: their environments agree with the space group and with Z as the
// authors reported them, and motifs built in code are found exactly where the structure has
// them, as worked out here from distances between the symmetry images of the atoms concerned,
// independently of the search engine.

#include "kernel/cif_reader.h"
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
  struct Case {
    std::string file, block, element; // Z counts the molecules holding the element
    std::size_t operators;
    int z, min_copies, max_copies;
  };
  const std::vector<Case> cases = {
      // P21/c, one ibuprofen C13H18O2 in the asymmetric unit.
      {"acid__2300214-r274507.cif", "", "O", 4, 4, 4, 4},
      // P21/c with Z = 2: the C42H52Si2 molecule lies on an inversion centre.
      {"negative__4122001.cif", "", "Si", 4, 2, 2, 2},
      // P-1, Z = 6 of [crown ether, Ni(H2O)6, 2 NO3, H2O]: Ni1 and Ni2 in general positions,
      // Ni3 and Ni4 on inversion centres.
      {"hydrate__bs5068.cif", "2b", "Ni", 2, 6, 1, 2},
      // P212121, no special positions; Z = 4 of two Pd complexes and a CH2Cl2.
      {"quirk__4082565-r190286.cif", "", "Pd", 4, 8, 4, 4},
      // P21/c, Z = 8: two C4H4FN3O and five waters, all in general positions.
      {"hydrate__4504659.cif", "", "F", 4, 8, 4, 4}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.file);
    auto cm = curated(c.file, c.block);
    MotifSearchResource r(cm);
    ASSERT_EQ(cm->symmetry_operators().size(), c.operators);
    int z = 0;
    for (int m = 0; m < cm->nmolecules(); ++m) {
      const auto copies = std::count(r.cm_molecule_of_copy.begin(), r.cm_molecule_of_copy.end(), m);
      EXPECT_GE(copies, c.min_copies) << cm->molecule(m)->formula();
      EXPECT_LE(copies, c.max_copies) << cm->molecule(m)->formula();
      bool holds = false;
      for (int a = 0; a < cm->molecule(m)->natoms(); ++a)
        holds = holds || is_element(*cm->molecule(m), a, c.element.c_str());
      z += holds ? static_cast<int>(copies) : 0;
    }
    EXPECT_EQ(z, c.z);
    expect_operator_images(r);
    // The results read an entry again and rely on its copies being numbered as before.
    MotifSearchResource again(curated(c.file, c.block));
    EXPECT_EQ(again.cm_molecule_of_copy, r.cm_molecule_of_copy);
    EXPECT_EQ(again.operator_of_copy, r.operator_of_copy);
  }
}

// Where atom `atom` of molecule `m` goes under operator `op` and lattice translation `t`.
Point image(const CrystalMaker& c, int m, int atom, int op, const Point& t) {
  const Point& f = c.molecule(m)->atom(atom)->site()->fractional();
  return c.to_orthogonal(c.symmetry_operators()[static_cast<std::size_t>(op)].apply(f) + t);
}

// Every image of molecule m within two cells, f(operator, translation, whether the image is the
// molecule itself, as it is for some operators when it lies on a special position).
void for_images(const CrystalMaker& c, int m, const std::function<void(int, const Point&, bool)>& f) {
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
      for (int o : is_element(mol, carbon, "C") ? neighbours(mol, carbon, "O") : std::vector<int>{}) {
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
        found = found || (!(itself && a[0] == b[0]) &&
                          in_window(distance(c.molecule(a[0])->atom(a[2])->position(),
                                             image(c, b[0], b[1], op, t)),
                                    1.5, 2.2) &&
                          in_window(distance(c.molecule(a[0])->atom(a[1])->position(),
                                             image(c, b[0], b[2], op, t)),
                                    1.5, 2.2));
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
      for (const auto& m : *search.results()->motif_matches(DatabaseEntryIdentifier("unknown")))
        for (const auto& cm : m->contact_matches)
          EXPECT_TRUE(in_window(distance(cm->from_point, cm->to_point), 1.5, 2.2)) << f;
      dimers += expected ? 1 : 0;
    }
  EXPECT_GE(dimers, 1); // ibuprofen at least
}

bool is_water(const Molecule& m) {
  return m.natoms() == 3 && ((is_element(m, 0, "O") && neighbours(m, 0, "H").size() == 2) ||
                             (is_element(m, 1, "O") && neighbours(m, 1, "H").size() == 2) ||
                             (is_element(m, 2, "O") && neighbours(m, 2, "H").size() == 2));
}

// The hydrates, and structures without water: water to water O-H...O is found where some
// water's H lies 1.5 to 2.3 A from the O of another water, and the bond found is one of those.
TEST(RealStructureSearches, WaterPairIsFoundExactlyWhereTheStructureHasOne) {
  int with_pair = 0;
  for (const std::string f :
       {"hydrate__4504659.cif", "hydrate__4503694.cif", "hydrate__2003003.cif",
        "hydrate__2015717-long-title.cif", "hydrate__2010014.cif", "hydrate__bs5068.cif",
        "negative__2100348-benzene.cif", "acid__2300214-r274507.cif", "amide__2009480.cif"})
    for (const auto& block : list_cif_blocks(require_data("curated/" + f).string())) {
      auto c = curated(f, block.block_name);
      std::vector<double> lengths;
      for (int w = 0; w < c->nmolecules(); ++w)
        for (int v = 0; v < c->nmolecules(); ++v)
          if (is_water(*c->molecule(w)) && is_water(*c->molecule(v)))
            for_images(*c, v, [&](int op, const Point& t, bool itself) {
              for (int h = 0; h < 3; ++h)
                for (int o = 0; o < 3; ++o)
                  if (is_element(*c->molecule(w), h, "H") && is_element(*c->molecule(v), o, "O") &&
                      !(itself && v == w))
                    if (const double d = distance(c->molecule(w)->atom(h)->position(),
                                                  image(*c, v, o, op, t));
                        in_window(d, 1.5, 2.3))
                      lengths.push_back(d);
            });
      MotifSearch search;
      search.search(c, water_pair_motif(), 0);
      ASSERT_EQ(search.results()->nentries(), lengths.empty() ? 0 : 1) << f << " " << block.block_name;
      if (lengths.empty())
        continue;
      ++with_pair;
      const auto& cm =
          *search.results()->motif_matches(DatabaseEntryIdentifier("unknown"))->at(0)->contact_matches[0];
      const double d = distance(cm.from_point, cm.to_point);
      EXPECT_TRUE(std::any_of(lengths.begin(), lengths.end(),
                              [&](double l) { return std::fabs(l - d) < 1e-3; }))
          << f << ": " << d;
    }
  EXPECT_GE(with_pair, 1);
}

// A silver(I) carboxylate coordination polymer with every bond to silver cut: each silver is a
// molecule of its own, and each (silver, carboxyl oxygen) pair within 2.8 A is one match.
// Silvers that are symmetry images of an earlier one (the cut polymer may hold more than one
// asymmetric unit) have the same surroundings, and the first placement takes one of them.
TEST(RealStructureSearches, EverySilverToCarboxylOxygenContactIsOneMatch) {
  auto c = curated("silver__7051216.cif");
  for (bool cut = true; cut;) {
    cut = false;
    for (int m = 0; m < c->nmolecules() && !cut; ++m)
      for (const auto& bond : c->molecule(m)->bonds())
        if (!cut && (is_element(*c->molecule(m), bond->atom1(), "Ag") ||
                     is_element(*c->molecule(m), bond->atom2(), "Ag")))
          cut = c->remove(bond);
  }
  auto is_carboxyl_o = [&](int m, int a) {
    for (int carbon : is_element(*c->molecule(m), a, "O") ? neighbours(*c->molecule(m), a, "C")
                                                          : std::vector<int>{})
      if (neighbours(*c->molecule(m), carbon, "O").size() == 2)
        return true;
    return false;
  };
  std::vector<Point> silvers; // one of each set of symmetry-equivalent silvers
  std::vector<double> lengths;
  for (int s = 0; s < c->nmolecules(); ++s) {
    if (!is_element(*c->molecule(s), 0, "Ag"))
      continue;
    ASSERT_EQ(c->molecule(s)->natoms(), 1);
    const Point ag = c->molecule(s)->atom(0)->position();
    bool repeat = false;
    for (int earlier = 0; earlier < s; ++earlier)
      if (is_element(*c->molecule(earlier), 0, "Ag"))
        for_images(*c, earlier, [&](int op, const Point& t, bool) {
          repeat = repeat || distance(image(*c, earlier, 0, op, t), ag) < 0.05;
        });
    if (repeat)
      continue;
    silvers.push_back(ag);
    std::vector<Point> oxygens; // an oxygen reached by two symmetry routes is one atom
    for (int m = 0; m < c->nmolecules(); ++m)
      for (int a = 0; a < c->molecule(m)->natoms(); ++a)
        if (is_carboxyl_o(m, a))
          for_images(*c, m, [&](int op, const Point& t, bool) {
            const Point o = image(*c, m, a, op, t);
            if (in_window(distance(ag, o), 0.0, 2.8) &&
                std::none_of(oxygens.begin(), oxygens.end(),
                             [&](const Point& p) { return distance(p, o) < 0.01; })) {
              oxygens.push_back(o);
              lengths.push_back(distance(ag, o));
            }
          });
  }
  ASSERT_FALSE(silvers.empty());
  ASSERT_FALSE(lengths.empty()); // silver(I) binds carboxylate oxygens at about 2.2-2.6 A
  MotifSearch search;
  search.set_limit(1000);
  search.search(c, silver_carboxylate_motif(), 0);
  auto matches = search.results()->motif_matches(DatabaseEntryIdentifier("unknown"));
  EXPECT_EQ(matches->size(), lengths.size());
  for (const auto& m : *matches) {
    const double d = distance(m->contact_matches[0]->from_point, m->contact_matches[0]->to_point);
    EXPECT_TRUE(std::any_of(lengths.begin(), lengths.end(),
                            [&](double l) { return std::fabs(l - d) < 1e-3; }))
        << d;
  }
}

// Six atoms of any element but hydrogen, each within 4 A of the next in any molecule, then a
// uranium atom the structure does not have: every partial chain is explored and none
// completes, so the number of paths grows geometrically until the call budget stops it.
TEST(RealStructureSearches, ExplodingSearchStopsAtTheCallBudgetQuickly) {
  auto c = curated("acid__2300214-r274507.cif");
  auto motif = make_handle<Motif>("explosion");
  for (int i = 0; i < 6; ++i) {
    auto atom = make_handle<SubstructureAtom>();
    atom->remove_element(Element("H"));
    atom->remove_element(Element("D"));
    auto s = make_handle<MotifSubstructure>();
    s->add(atom);
    motif->add_substructure(s);
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
  EXPECT_GT(search.ncalls(), 0);
  EXPECT_LT(search.ncalls(), 1000);
  EXPECT_EQ(search.results()->nentries(), 1);
  EXPECT_EQ(search.depth(), 0);
  search.reset_aborted();
  EXPECT_FALSE(search.aborted());
}

} // namespace
} // namespace xtalmotif
