// Whole collections of real files: every damaged file gives a structure or an error naming
// it, and a thousand published structures come out chemically sane.

#include "crystal/cif_reader.h"

#include "test_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

std::vector<std::string> files_under(const std::filesystem::path& root) {
  std::vector<std::string> out;
  if (!std::filesystem::exists(root))
    return out;
  for (const auto& e : std::filesystem::recursive_directory_iterator(root))
    if (e.is_regular_file() && e.path().extension() != ".tsv" && e.path().extension() != ".md")
      out.push_back(e.path().string());
  std::sort(out.begin(), out.end());
  return out;
}

TEST(CifCollections, DamagedFilesGiveAStructureOrAnErrorNamingTheFile) {
  auto root = testing::require_data("robustness");
  auto files = files_under(root);
  ASSERT_GT(files.size(), 500u);
  int structures = 0, errors = 0;
  for (const std::string& f : files) {
    std::vector<CifBlockInfo> blocks;
    try {
      blocks = list_cif_blocks(f);
    } catch (const CifError& e) {
      EXPECT_NE(std::string(e.what()).find(f), std::string::npos) << e.what();
      ++errors;
      continue;
    }
    for (const auto& b : blocks) {
      try {
        auto cm = read_crystal(f, b.block_name);
        EXPECT_GT(cm->nmolecules(), 0) << f;
        ++structures;
      } catch (const CifError& e) {
        std::string m = e.what();
        EXPECT_EQ(m.rfind(f + ": block ", 0), 0u) << m;
        ++errors;
      }
    }
  }
  // The collection holds some intact structures among the damage.
  EXPECT_GT(structures, 30);
  EXPECT_GT(errors, 300);
}

struct BulkCounts {
  int blocks = 0, read = 0, without_cell = 0;
  int structures_with_overbonded_carbon = 0;
  long carbons = 0, waters = 0, waters_with_two_h = 0, hydrogens = 0, h_with_two_bonds = 0;
};

TEST(CifCollections, PublishedStructuresReadAndLookLikeChemistry) {
  auto root = testing::require_data("bulk");
  auto files = files_under(root);
  ASSERT_GT(files.size(), 900u);
  BulkCounts n;
  for (const std::string& f : files) {
    std::vector<CifBlockInfo> blocks;
    try {
      blocks = list_cif_blocks(f);
    } catch (const CifError&) {
      continue;
    }
    for (const auto& b : blocks) {
      if (!b.has_atom_sites)
        continue;
      ++n.blocks;
      THandle<CrystalMaker> cm;
      try {
        cm = read_crystal(f, b.block_name);
      } catch (const CifError& e) {
        std::string m = e.what();
        EXPECT_EQ(m.rfind(f + ": block " + b.block_name + ": ", 0), 0u) << m;
        // Test files of the collection that have coordinates but no cell at all.
        if (m.find("_cell_length_") != std::string::npos && m.find("missing") != std::string::npos)
          ++n.without_cell;
        continue;
      }
      ++n.read;
      bool overbonded = false;
      for (int mi = 0; mi < cm->nmolecules(); ++mi) {
        auto mol = cm->molecule(mi);
        for (int a = 0; a < mol->natoms(); ++a) {
          const Element& e = mol->atom(a)->element();
          int nonmetal = 0, metal = 0, boron = 0;
          for (int o : mol->neighbours(a)) {
            const Element& eo = mol->atom(o)->element();
            (eo.is_metal() ? metal : nonmetal)++;
            boron += eo.symbol() == "B";
          }
          if (e.is_carbon()) {
            ++n.carbons;
            // Carbon in a carborane cage has five or six cluster partners.
            overbonded |= nonmetal > 4 && boron == 0;
          } else if (e.is_hydrogen()) {
            ++n.hydrogens;
            n.h_with_two_bonds += mol->degree(a) > 1;
          } else if (e == Element(Element::Oxygen) && metal <= 1 && !cm->is_polymeric() &&
                     nonmetal == mol->hydrogen_count(a, false)) {
            // Water, free or on one metal. In a polymer an O alone on one metal may be an oxide
            // bridging to metals beyond the cut, so only molecular crystals count.
            ++n.waters;
            n.waters_with_two_h += mol->hydrogen_count(a, true) == 2;
          }
        }
      }
      n.structures_with_overbonded_carbon += overbonded;
    }
  }
  const int structures = n.blocks - n.without_cell;
  RecordProperty("blocks", n.blocks);
  RecordProperty("read", n.read);
  EXPECT_GT(n.blocks, 1000);
  EXPECT_GT(n.read, 0.95 * structures) << n.read << " of " << structures;
  EXPECT_GT(n.carbons, 10000);
  // A hydrogen has one bond, always.
  EXPECT_EQ(n.h_with_two_bonds, 0);
  // Carbon with more than four non-metal partners only in a few files: synthetic geometry
  // tests of the collection that use C as a placeholder, and disorder models written without
  // occupancies (a rotating cage of C144), which no reading can sort out.
  EXPECT_LT(n.structures_with_overbonded_carbon, 0.03 * n.read);
  // Waters come out as H2O, whether their hydrogens were located or not.
  EXPECT_GT(n.waters, 500);
  EXPECT_GT(n.waters_with_two_h, 0.99 * n.waters);
}

} // namespace
} // namespace xtalmotif
