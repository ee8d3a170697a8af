// The model structures shipped in data/structures/ are exactly what the project's generator
// writes, and they hold the geometry they claim.

#include "program_support.h"

#include "kernel/cif_reader.h"
#include "kernel/geometry.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace xtalmotif;
using namespace xtalmotif::testing;

TEST(ModelCrystals, ShippedFilesAreWhatTheGeneratorWrites) {
  auto dir = scratch_dir("models");
  std::string cmd = quote(XTALMOTIF_MAKE_MODELS) + " " + quote(dir.string()) + " >/dev/null";
  ASSERT_EQ(std::system(cmd.c_str()), 0);
  int compared = 0;
  for (const auto& f : std::filesystem::directory_iterator(dir)) {
    auto shipped = source_dir() / "data" / "structures" / f.path().filename();
    ASSERT_TRUE(std::filesystem::exists(shipped)) << shipped;
    EXPECT_EQ(slurp(f.path()), slurp(shipped)) << f.path().filename();
    ++compared;
  }
  EXPECT_EQ(compared, 2);
  std::filesystem::remove_all(dir);
}

namespace {
// Shortest distance between two labelled atoms of a structure over the symmetry images of the
// second other than the untransformed one, by brute force over operators and neighbouring cells.
double shortest(const CrystalMaker& c, const std::string& la, const std::string& lb) {
  Point a, b;
  for (int i = 0; i < c.nmolecules(); ++i)
    for (const auto& atom : c.molecule(i)->atoms()) {
      if (atom->label() == la)
        a = atom->site()->fractional();
      if (atom->label() == lb)
        b = atom->site()->fractional();
    }
  double best = 1e9;
  for (const auto& op : c.symmetry_operators())
    for (int x = -2; x <= 2; ++x)
      for (int y = -2; y <= 2; ++y)
        for (int z = -2; z <= 2; ++z) {
          if (op.is_identity() && x == 0 && y == 0 && z == 0)
            continue;
          Point img = op.apply(b) + Point(x, y, z);
          best = std::min(best, distance(c.to_orthogonal(a), c.to_orthogonal(img)));
        }
  return best;
}
} // namespace

TEST(ModelCrystals, AcidDimerAndWaterChainHaveTheirHydrogenBondGeometry) {
  auto acid = read_crystal((source_dir() / "data/structures/model-acid-dimer.cif").string(), "");
  ASSERT_EQ(acid->nmolecules(), 1);
  EXPECT_EQ(acid->molecule(0)->natoms(), 8); // CH3-COOH
  EXPECT_NEAR(shortest(*acid, "O1", "O2"), 2.65, 0.01); // O-H...O across the inversion centre
  EXPECT_NEAR(shortest(*acid, "H1", "O2"), 1.81, 0.01);

  auto water = read_crystal((source_dir() / "data/structures/model-water-chain.cif").string(), "");
  ASSERT_EQ(water->nmolecules(), 1);
  EXPECT_EQ(water->molecule(0)->natoms(), 3);
  EXPECT_NEAR(shortest(*water, "O1W", "O1W"), 2.78, 0.01);
  EXPECT_NEAR(shortest(*water, "H1W", "O1W"), 2.78 - 0.96, 0.01);
}
