// Whole collections of real files: every damaged file gives a structure or an error naming it,
// and a thousand published structures come out chemically sane.

#include "crystal/cif_reader.h"

#include "test_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace xtalmotif {
namespace {

// Each block of each file of a collection: its structure, or the error it gave.
template <class F> void for_each_block(const std::string& collection, std::size_t at_least, F f) {
  std::vector<std::string> files;
  namespace fs = std::filesystem;
  for (const auto& e : fs::recursive_directory_iterator(testing::data_dir() / collection))
    if (e.is_regular_file() && e.path().extension() != ".tsv" && e.path().extension() != ".md")
      files.push_back(e.path().string());
  std::sort(files.begin(), files.end());
  ASSERT_GT(files.size(), at_least);
  for (const std::string& file : files) {
    std::vector<CifBlockInfo> blocks;
    try {
      blocks = list_cif_blocks(file);
    } catch (const CifError& e) {
      EXPECT_NE(std::string(e.what()).find(file), std::string::npos) << e.what();
      f(file, CifBlockInfo{}, THandle<CrystalMaker>(), e.what());
    }
    for (const auto& b : blocks)
      try {
        f(file, b, read_crystal(file, b.block_name), "");
      } catch (const CifError& e) {
        EXPECT_EQ(std::string(e.what()).rfind(file + ": block ", 0), 0u) << e.what();
        f(file, b, THandle<CrystalMaker>(), e.what());
      }
  }
}

TEST(CifCollections, DamagedFilesGiveAStructureOrAnErrorNamingTheFile) {
  int structures = 0, errors = 0;
  for_each_block("robustness", 500, [&](const std::string&, const CifBlockInfo&,
                                        THandle<CrystalMaker> cm, const std::string&) {
    EXPECT_TRUE(!cm || cm->nmolecules() > 0);
    ++(cm ? structures : errors);
  });
  EXPECT_GT(structures, 30); // some intact structures among the damage
  EXPECT_GT(errors, 300);
}

// A hydrogen has one bond, always; waters come out as H2O whether their hydrogens were located
// or not (free or on one metal: in a polymer an O alone on one metal may be an oxide bridging to
// metals beyond the cut, so only molecular crystals count).
TEST(CifCollections, PublishedStructuresReadAndLookLikeChemistry) {
  int blocks = 0, read = 0, without_cell = 0, h_with_two_bonds = 0, waters = 0, with_two_h = 0,
      overbonded = 0;
  for_each_block("bulk", 900, [&](const std::string& file, const CifBlockInfo& b,
                                  THandle<CrystalMaker> cm, const std::string& error) {
    if (b.file.empty() || !b.has_atom_sites)
      return;
    ++blocks;
    EXPECT_TRUE(cm || error.rfind(file + ": block " + b.block_name + ": ", 0) == 0) << error;
    // Test files of the collection with coordinates but no cell at all.
    without_cell += error.find("_cell_length_") != std::string::npos &&
                    error.find("missing") != std::string::npos;
    bool carbon_over = false;
    // An oxygen with no heavy partner is a water only where the structure holds hydrogen at
    // all: in an anhydrous oxide (by its formula) it is an oxide ion.
    bool holds_hydrogen = false;
    for (int m = 0; cm && m < cm->nmolecules() && !holds_hydrogen; ++m)
      for (int a = 0; a < cm->molecule(m)->natoms() && !holds_hydrogen; ++a)
        holds_hydrogen = cm->molecule(m)->hydrogen_count(a, true) > 0 ||
                         cm->molecule(m)->atom(a)->element().is_hydrogen();
    for (int m = 0; cm && m < cm->nmolecules(); ++m) {
      const Molecule& mol = *cm->molecule(m);
      for (int a = 0; a < mol.natoms(); ++a) {
        int nonmetal = 0, metal = 0, boron = 0;
        for (int o : mol.neighbours(a)) {
          ++(mol.atom(o)->element().is_metal() ? metal : nonmetal);
          boron += mol.atom(o)->element().symbol() == "B";
        }
        // Carbon in a carborane cage has five or six cluster partners.
        carbon_over |= mol.atom(a)->element().is_carbon() && nonmetal > 4 && boron == 0;
        h_with_two_bonds += mol.atom(a)->element().is_hydrogen() && mol.degree(a) > 1;
        if (holds_hydrogen && mol.atom(a)->element().symbol() == "O" && metal <= 1 &&
            !cm->is_polymeric() &&
            nonmetal == mol.hydrogen_count(a, false)) {
          ++waters;
          with_two_h += mol.hydrogen_count(a, true) == 2;
        }
      }
    }
    read += static_cast<bool>(cm);
    overbonded += carbon_over;
  });
  EXPECT_GT(blocks, 1000);
  EXPECT_GT(read, 0.95 * (blocks - without_cell)) << read << " of " << blocks - without_cell;
  EXPECT_EQ(h_with_two_bonds, 0);
  // Carbon with more than four non-metal partners only in a few files: synthetic geometry tests
  // that use C as a placeholder, and disorder written without occupancies (a rotating C144 cage).
  EXPECT_LT(overbonded, 0.03 * read);
  EXPECT_GT(waters, 500);
  EXPECT_GT(with_two_h, 0.99 * waters);
}

} // namespace
} // namespace xtalmotif
