// The query files shipped in data/queries/ find, in real structures, what a crystallographer
// knows is there: ibuprofen's acid dimer, water-water hydrogen bonds in the hydrates, the
// silver-carboxylate contact of the silver polymer, and nothing in the structures without
// donor and acceptor groups.

#include "program_support.h"

#include <gtest/gtest.h>

#include <set>

using namespace xtalmotif::testing;

namespace {

std::set<std::string> hits(const std::string& query) {
  auto dir = scratch_dir("queries");
  std::string ids = (dir / "ids").string();
  ProgramRun r = run_program("search " + quote((source_dir() / "data/queries" / query).string()) +
                             " " + quote(require_data("curated").string()) + " -q --save-ids " +
                             quote(ids));
  EXPECT_LE(r.status, 1) << r.err;
  std::set<std::string> out;
  std::istringstream in(slurp(ids));
  std::string line;
  while (std::getline(in, line))
    out.insert(line);
  std::filesystem::remove_all(dir);
  return out;
}

// Data blocks of the curated structures in the "negative" category (no donor/acceptor groups).
const char* const negative_blocks[] = {"2000334", "2100348", "4122001", "7052868"};

} // namespace

TEST(ShippedQueries, AcidDimerIsFoundInIbuprofenAndNotInNegativeStructures) {
  auto found = hits("carboxylic_acid_dimer.con");
  EXPECT_TRUE(found.count("2300214"));
  for (const char* id : negative_blocks)
    EXPECT_FALSE(found.count(id)) << id;
}

TEST(ShippedQueries, WaterWaterBondsAreFoundInHydratesOnly) {
  auto found = hits("water_water.con");
  // 4504659 holds two fluorocytosines and five waters in the asymmetric unit.
  EXPECT_TRUE(found.count("4504659"));
  for (const char* id : {"2300214", "2009480", "2010359"}) // an acid, an amide, a urea: no water
    EXPECT_FALSE(found.count(id)) << id;
}

TEST(ShippedQueries, SilverCarboxylateContactIsFoundInTheSilverPolymer) {
  auto found = hits("silver_carboxylate.con");
  EXPECT_TRUE(found.count("7051216"));
  for (const char* id : negative_blocks)
    EXPECT_FALSE(found.count(id)) << id;
}

TEST(ShippedQueries, AmideChainAndAngleQueriesFindTheirGroups) {
  auto amide = hits("amide_chain.con");
  EXPECT_TRUE(amide.count("2009480"));
  auto angled = hits("hydroxyl_hbond_angle.con");
  EXPECT_TRUE(angled.count("2300214")); // the acid O-H...O=C bond is nearly linear
  for (const char* id : negative_blocks)
    EXPECT_FALSE(angled.count(id)) << id;
}
