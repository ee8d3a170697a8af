// Over whole collections of real structures, every entry of an index that stores structures
// loads as exactly the crystal its CIF block reads as: the same dump, entry by entry.

#include "db/aser_database.h"

#include "kernel_test_support.h"
#include "test_data.h"

#include <gtest/gtest.h>

namespace xtalmotif {
namespace {

class StoredStructures : public ::testing::TestWithParam<const char*> {};

TEST_P(StoredStructures, EveryEntryLoadsAsItsCifBlockReads) {
  const std::string missing = testing::missing_collection(GetParam());
  if (!missing.empty())
    GTEST_SKIP() << missing;
  testing::ScratchDir dir;
  const CifDatabase cif({(testing::data_dir() / GetParam()).string()});
  ScreenIndexOptions options;
  options.store_structures = true;
  const ScreenIndexSummary summary = build_screen_index(cif, (dir / "i.idx").string(), options);
  const AserDatabase stored((dir / "i.idx").string());
  ASSERT_TRUE(stored.has_stored_structures());
  EXPECT_EQ(stored.nentries(), cif.nentries() - summary.unreadable);
  for (int i = 0; i < stored.nentries(); ++i) {
    const auto entry = stored.entry(i);
    EXPECT_EQ(testing::dump(*entry->crystal()), testing::dump(*cif.entry(entry->identifier())->crystal()))
        << entry->identifier();
  }
}

INSTANTIATE_TEST_SUITE_P(Collections, StoredStructures, ::testing::Values("curated", "bulk"));

} // namespace
} // namespace xtalmotif
