// Motifs built in code searched in real crystal structures. What each structure should yield is
// worked out here from the structure itself, by measuring distances between all symmetry images
// of the relevant atoms, independently of the search engine.

#include "crystal/cif_reader.h"
#include "search/motif_search.h"
#include "search_test_support.h"
#include "test_data.h"

#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <sstream>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

using testing::atom_images;
using testing::image_is_reference_molecule;
using testing::is_element;
using testing::neighbours_of_element;

// One data block of a curated file.
struct Block {
  std::string file;
  std::string name;
};

std::vector<Block> blocks_of(const std::vector<std::string>& files) {
  std::vector<Block> out;
  for (const auto& f : files) {
    const std::string path = xtalmotif::testing::require_data("curated/" + f).string();
    for (const auto& b : list_cif_blocks(path))
      out.push_back({path, b.block_name});
  }
  return out;
}

const std::vector<std::string> acid_files{"acid__2300214-r274507.cif",
                                          "acid__2211061-modified-enum-comments.cif",
                                          "acid__4022630-degrees-cendigrades.cif",
                                          "acid__cif_fix_val_024.cif",
                                          "acid__2013611.cif",
                                          "acid__2006132.cif"};
const std::vector<std::string> negative_files{"negative__2100348-benzene.cif",
                                              "negative__2000334.cif", "negative__4122001.cif",
                                              "negative__7052868.cif"};
const std::vector<std::string> hydrate_files{
    "hydrate__4504659.cif", "hydrate__4503694.cif",
    "hydrate__2003003.cif", "hydrate__2015717-long-title.cif",
    "hydrate__2010014.cif", "hydrate__bs5068.cif"};

bool in_window(double d, double low, double high) { return low < d && d < high; }

// ---------------------------------------------------------------- the acid dimer

// A carboxylic acid group by connectivity alone: a carbon carrying a terminal oxygen (one
// neighbour) and a hydroxyl oxygen (two neighbours, one of them hydrogen).
struct AcidGroup {
  int molecule, c, o_carbonyl, o_hydroxyl, h;
};

std::vector<AcidGroup> acid_groups(const CrystalMaker& crystal) {
  std::vector<AcidGroup> out;
  for (int m = 0; m < crystal.nmolecules(); ++m) {
    const Molecule& mol = *crystal.molecule(m);
    for (int c = 0; c < mol.natoms(); ++c) {
      if (!is_element(mol, c, "C"))
        continue;
      int terminal = -1, hydroxyl = -1, h = -1;
      for (int o : neighbours_of_element(mol, c, "O")) {
        if (mol.degree(o) == 1)
          terminal = o;
        auto hs = neighbours_of_element(mol, o, "H");
        if (mol.degree(o) == 2 && hs.size() == 1) {
          hydroxyl = o;
          h = hs[0];
        }
      }
      if (terminal >= 0 && hydroxyl >= 0)
        out.push_back({m, c, terminal, hydroxyl, h});
    }
  }
  return out;
}

Point image_position(const CrystalMaker& crystal, int molecule, int atom, int op,
                     const Translation& t) {
  const Point f = crystal.molecule(molecule)->atom(atom)->site()->fractional();
  return crystal.to_orthogonal(crystal.symmetry_operators()[static_cast<std::size_t>(op)].apply(f) +
                               t.as_point());
}

// Is there a pair of acid groups, the second in another molecule, whose hydroxyl hydrogens each
// lie 1.5 to 2.2 A from the other's carbonyl oxygen?
bool has_acid_dimer(const CrystalMaker& crystal) {
  const auto groups = acid_groups(crystal);
  const int nops = static_cast<int>(crystal.symmetry_operators().size());
  for (const auto& a : groups) {
    const Point ha = crystal.molecule(a.molecule)->atom(a.h)->position();
    const Point oa = crystal.molecule(a.molecule)->atom(a.o_carbonyl)->position();
    for (const auto& b : groups)
      for (int op = 0; op < nops; ++op)
        for (int i = -2; i <= 2; ++i)
          for (int j = -2; j <= 2; ++j)
            for (int k = -2; k <= 2; ++k) {
              const Translation t(i, j, k);
              const Point hb = image_position(crystal, b.molecule, b.h, op, t);
              const Point ob = image_position(crystal, b.molecule, b.o_carbonyl, op, t);
              if (!in_window(distance(ha, ob), 1.5, 2.2) || !in_window(distance(hb, oa), 1.5, 2.2))
                continue;
              if (b.molecule == a.molecule &&
                  image_is_reference_molecule(crystal, b.molecule, op, t))
                continue;
              return true;
            }
  }
  return false;
}

TEST(AcidDimerSearchTest, FoundExactlyWhereTheStructureHasOne) {
  std::vector<std::string> files = acid_files;
  files.insert(files.end(), negative_files.begin(), negative_files.end());
  int dimers = 0;
  for (const auto& block : blocks_of(files)) {
    auto crystal = read_crystal(block.file, block.name);
    const bool expected = has_acid_dimer(*crystal);
    MotifSearch search;
    search.search(crystal, testing::acid_dimer_motif(), 0);
    EXPECT_EQ(search.results()->nentries() == 1, expected) << block.name;
    EXPECT_FALSE(search.aborted()) << block.name;
    dimers += expected ? 1 : 0;
  }
  // Ibuprofen at least forms the dimer.
  EXPECT_GE(dimers, 1);
}

TEST(AcidDimerSearchTest, NegativeStructuresHaveNoAcidGroupsAtAll) {
  for (const auto& block : blocks_of(negative_files)) {
    auto crystal = read_crystal(block.file, block.name);
    EXPECT_TRUE(acid_groups(*crystal).empty()) << block.name;
    MotifSearch search;
    search.set_limit(100);
    search.search(crystal, testing::acid_dimer_motif(), 0);
    EXPECT_EQ(search.results()->nentries(), 0) << block.name;
  }
}

// Ibuprofen crystallises in P2(1)/c with the acid groups paired across inversion centres.
TEST(AcidDimerSearchTest, IbuprofenDimerSitsOnAnInversionCentre) {
  auto crystal = read_crystal(
      xtalmotif::testing::require_data("curated/acid__2300214-r274507.cif").string(), "");
  ASSERT_TRUE(has_acid_dimer(*crystal));
  MotifSearch search;
  search.search(crystal, testing::acid_dimer_motif(), 0);
  auto matches = search.results()->motif_matches(DatabaseEntryIdentifier("unknown"));
  ASSERT_EQ(matches->size(), 1u);
  const MotifMatch& m = *matches->at(0);
  const auto& env = search.resource();
  auto position = [&](int s, int a) { return env->get_point(m.atom_address2(s, a), false); };

  // The two groups are images of each other through one point: every pair of corresponding
  // atoms has the same midpoint.
  const Point centre = 0.5 * (position(0, 0) + position(1, 0));
  for (int a = 1; a < 4; ++a)
    EXPECT_NEAR(distance(0.5 * (position(0, a) + position(1, a)), centre), 0.0, 0.02) << a;
  // In P2(1)/c the inversion centres lie at 0 or 1/2 along every axis.
  const Point f = crystal->to_fractional(centre);
  for (int axis = 0; axis < 3; ++axis)
    EXPECT_NEAR(std::remainder(2.0 * f[axis], 1.0), 0.0, 0.01) << axis;
  // Both hydrogen bonds of the ring are realised, each within the window.
  for (const auto& cm : m.contact_matches) {
    ASSERT_TRUE(cm->found);
    EXPECT_TRUE(in_window(distance(cm->from_point, cm->to_point), 1.5, 2.2));
  }
}

// ---------------------------------------------------------------- water to water

bool is_water(const Molecule& m) {
  if (m.natoms() != 3)
    return false;
  for (int i = 0; i < 3; ++i)
    if (is_element(m, i, "O"))
      return neighbours_of_element(m, i, "H").size() == 2;
  return false;
}

// The O-H...O distances between a water and every image of every water in another molecule.
std::vector<double> water_hbond_lengths(const CrystalMaker& crystal) {
  std::vector<double> out;
  auto water_oxygens = atom_images(
      crystal, [](const Molecule& m, int a) { return is_water(m) && is_element(m, a, "O"); });
  for (int w = 0; w < crystal.nmolecules(); ++w) {
    const Molecule& mol = *crystal.molecule(w);
    if (!is_water(mol))
      continue;
    for (int h = 0; h < 3; ++h) {
      if (!is_element(mol, h, "H"))
        continue;
      for (const auto& o : water_oxygens) {
        const double d = distance(mol.atom(h)->position(), o.orthogonal);
        if (!in_window(d, 1.5, 2.3))
          continue;
        if (o.molecule == w && image_is_reference_molecule(crystal, w, o.op, o.shift))
          continue;
        out.push_back(d);
      }
    }
  }
  return out;
}

TEST(WaterPairSearchTest, FoundInTheHydratesThatHaveOne) {
  int with_pair = 0;
  for (const auto& block : blocks_of(hydrate_files)) {
    auto crystal = read_crystal(block.file, block.name);
    const auto lengths = water_hbond_lengths(*crystal);
    MotifSearch search;
    search.search(crystal, testing::water_pair_motif(), 0);
    EXPECT_EQ(search.results()->nentries() == 1, !lengths.empty()) << block.name;
    if (!lengths.empty()) {
      ++with_pair;
      // The hydrogen bond found is one of those measured here.
      const auto& cm = *search.results()
                            ->motif_matches(DatabaseEntryIdentifier("unknown"))
                            ->at(0)
                            ->contact_matches[0];
      const double d = distance(cm.from_point, cm.to_point);
      bool listed = false;
      for (double l : lengths)
        listed = listed || std::fabs(l - d) < 1e-3;
      EXPECT_TRUE(listed) << block.name << ": " << d;
    }
  }
  EXPECT_GE(with_pair, 1);
}

TEST(WaterPairSearchTest, NoWaterMotifWithoutWater) {
  std::vector<std::string> files = negative_files;
  files.push_back("acid__2300214-r274507.cif");
  files.push_back("amide__2009480.cif");
  for (const auto& block : blocks_of(files)) {
    auto crystal = read_crystal(block.file, block.name);
    for (int m = 0; m < crystal->nmolecules(); ++m)
      ASSERT_FALSE(is_water(*crystal->molecule(m))) << block.name;
    MotifSearch search;
    search.search(crystal, testing::water_pair_motif(), 0);
    EXPECT_EQ(search.results()->nentries(), 0) << block.name;
  }
}

// ---------------------------------------------------------------- silver carboxylate

// Cuts the silver atoms out of the coordination polymer: every bond to Ag is removed, so that each
// silver is a molecule of its own.
void remove_silver_bonds(CrystalMaker& crystal) {
  bool removed = true;
  while (removed) {
    removed = false;
    for (int m = 0; m < crystal.nmolecules() && !removed; ++m) {
      const Molecule& mol = *crystal.molecule(m);
      for (const auto& bond : mol.bonds()) {
        if (is_element(mol, bond->atom1(), "Ag") || is_element(mol, bond->atom2(), "Ag")) {
          ASSERT_TRUE(crystal.remove(bond));
          removed = true;
          break;
        }
      }
    }
  }
}

bool is_carboxyl_oxygen(const Molecule& m, int a) {
  if (!is_element(m, a, "O"))
    return false;
  for (int c : neighbours_of_element(m, a, "C"))
    if (neighbours_of_element(m, c, "O").size() == 2)
      return true;
  return false;
}

TEST(SilverCarboxylateSearchTest, SilverToCarboxylOxygenContactIsFound) {
  auto crystal =
      read_crystal(xtalmotif::testing::require_data("curated/silver__7051216.cif").string(), "");
  remove_silver_bonds(*crystal);
  // Every silver is now alone.
  int silvers = 0;
  for (int m = 0; m < crystal->nmolecules(); ++m) {
    const Molecule& mol = *crystal->molecule(m);
    for (int a = 0; a < mol.natoms(); ++a)
      if (is_element(mol, a, "Ag")) {
        EXPECT_EQ(mol.natoms(), 1);
        ++silvers;
      }
  }
  ASSERT_GE(silvers, 1);

  // Cutting the polymer can leave symmetry-equivalent pieces in the structure (the grown chain
  // held more than one asymmetric unit); a silver that is an image of an earlier one has the
  // same surroundings, and the search places its first substructure on one of them only.
  auto silver_images =
      atom_images(*crystal, [](const Molecule& m, int a) { return is_element(m, a, "Ag"); });
  auto is_image_of_earlier_silver = [&](int m) {
    const Point p = crystal->molecule(m)->atom(0)->position();
    for (const auto& img : silver_images)
      if (img.molecule < m && distance(img.orthogonal, p) < 0.05)
        return true;
    return false;
  };

  std::vector<double> lengths;
  auto oxygens = atom_images(*crystal, is_carboxyl_oxygen);
  for (int m = 0; m < crystal->nmolecules(); ++m) {
    const Molecule& mol = *crystal->molecule(m);
    if (!is_element(mol, 0, "Ag") || is_image_of_earlier_silver(m))
      continue;
    // An oxygen image reached by two symmetry routes (a ligand on a special position) is one
    // atom of the crystal.
    std::vector<Point> seen;
    for (const auto& o : oxygens) {
      const double d = distance(mol.atom(0)->position(), o.orthogonal);
      if (!in_window(d, 0.0, 2.8))
        continue;
      bool repeat = false;
      for (const auto& p : seen)
        repeat = repeat || distance(p, o.orthogonal) < 0.01;
      if (repeat)
        continue;
      seen.push_back(o.orthogonal);
      lengths.push_back(d);
    }
  }
  // Silver(I) carboxylates bind their oxygens at about 2.2 to 2.6 A.
  ASSERT_FALSE(lengths.empty());

  MotifSearch search;
  search.set_limit(1000);
  search.search(crystal, testing::silver_carboxylate_motif(), 0);
  auto matches = search.results()->motif_matches(DatabaseEntryIdentifier("unknown"));
  // Each (silver, carboxyl oxygen) pair within reach is one match: with the oxygen pinned, its
  // carboxyl group can be placed in one way only.
  EXPECT_EQ(matches->size(), lengths.size());
  for (const auto& m : *matches) {
    const auto& cm = *m->contact_matches[0];
    const double d = distance(cm.from_point, cm.to_point);
    bool listed = false;
    for (double l : lengths)
      listed = listed || std::fabs(l - d) < 1e-3;
    EXPECT_TRUE(listed) << d;
  }
}

// ---------------------------------------------------------------- the call budget

// Six atoms of any element but hydrogen, each within 4 A of the next in any molecule, and then a
// uranium atom, which the structure does not have: every partial chain is explored and none
// completes, so the number of paths grows geometrically.
THandle<Motif> exploding_motif() {
  auto m = make_handle<Motif>("explosion");
  for (int i = 0; i < 6; ++i) {
    auto atom = make_handle<SubstructureAtom>();
    atom->remove_element(Element("H"));
    atom->remove_element(Element("D"));
    auto s = make_handle<MotifSubstructure>();
    s->add(atom);
    m->add_substructure(s);
  }
  m->add_substructure(testing::single_atom_substructure("U"));
  for (int i = 0; i < 6; ++i)
    m->add_contact(
        testing::contact(i, 0, i + 1, 0, testing::absolute_criterion(0.0, 4.0, ContactType::Any)));
  return m;
}

TEST(CallBudgetTest, ExplodingSearchStopsAtTheBudgetQuickly) {
  auto crystal = read_crystal(
      xtalmotif::testing::require_data("curated/acid__2300214-r274507.cif").string(), "");
  MotifSearch search;
  // Processor time, so that a busy machine does not make the search look slow.
  const std::clock_t start = std::clock();
  search.search(crystal, exploding_motif(), 0);
  const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
  EXPECT_TRUE(search.aborted());
  // The call that meets the budget and the few calls still made by the loops unwinding above it
  // are counted; nothing is searched by them.
  EXPECT_GE(search.ncalls(), 1000000);
  EXPECT_LT(search.ncalls(), 1001000);
  EXPECT_EQ(search.results()->nentries(), 0);
  // The depth is not lowered on the calls refused by the budget.
  EXPECT_GT(search.depth(), 0);
  EXPECT_LT(seconds, 60.0);
  RecordProperty("budget_seconds", std::to_string(seconds));

  // The flag survives the next structure until the caller clears it; the counters do not.
  search.search(crystal, testing::acid_dimer_motif(), 0);
  EXPECT_TRUE(search.aborted());
  EXPECT_LT(search.ncalls(), 1000);
  EXPECT_EQ(search.results()->nentries(), 1);
  search.reset_aborted();
  EXPECT_FALSE(search.aborted());
}

TEST(CallBudgetTest, ModestSearchStaysWithinTheBudget) {
  auto crystal = read_crystal(
      xtalmotif::testing::require_data("curated/acid__2300214-r274507.cif").string(), "");
  MotifSearch search;
  search.set_limit(1000);
  search.search(crystal, testing::acid_dimer_motif(), 0);
  EXPECT_FALSE(search.aborted());
  EXPECT_EQ(search.depth(), 0);
  EXPECT_GT(search.ncalls(), 0);
  EXPECT_LT(search.ncalls(), 1000000);
}

} // namespace
} // namespace xtalmotif
