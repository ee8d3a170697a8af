// A survey keeps the outcomes worth reporting and counts the rest: it must report exactly what a
// search that keeps every outcome reports, in database order, however its workers ran.

#include "db/database.h"
#include "library/water_motifs.h"
#include "search/collection_search.h"
#include "search/match_records.h"

#include "kernel/kernel_test_support.h"
#include "test_data.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

namespace fs = std::filesystem;

// Units run last first, over three workers, as threads may finish them.
struct Backwards : Executor {
  int workers() const override { return 3; }
  void run(int n, const std::function<void(int, int)>& work) override {
    for (int u = n - 1; u >= 0; --u)
      work(u, u % 3);
  }
};

std::vector<std::string> ids(const std::vector<EntryOutcome>& outcomes) {
  std::vector<std::string> out;
  for (const auto& o : outcomes)
    out.push_back(o.id.str() + (o.aborted ? " aborted" : "") +
                  (o.status == EntryStatus::Refused ? " refused" : "") + " " +
                  std::to_string(o.matches.size()));
  return out;
}

TEST(CollectionSurvey, ReportsWhatAFullSearchReports) {
  testing::ScratchDir dir;
  // The shipped structures, one block that cannot be built, and the rings of six again under
  // another name, so that two entries hit.
  for (const auto& f : fs::directory_iterator(testing::source_dir() / "data/structures"))
    if (f.path().extension() == ".cif")
      fs::copy_file(f.path(), dir / f.path().filename().string());
  fs::copy_file(testing::source_dir() / "data/structures/4504659.cif", dir / "z.cif");
  std::ofstream(dir / "b.cif") << testing::listable_block("broken");
  auto db = make_handle<CifDatabase>(std::vector<std::string>{dir.path.string()});
  ASSERT_EQ(db->nentries(), 6);

  struct Case {
    const char* name;
    std::uint64_t work_budget; // small enough to abort the ring searches
    bool backwards;
  };
  for (const Case& c : {Case{"whole searches", 0, false}, Case{"whole, backwards", 0, true},
                        Case{"aborted", 200, false}, Case{"aborted, backwards", 200, true}}) {
    SCOPED_TRACE(c.name);
    CollectionSearchSettings settings;
    settings.limit = 0;
    settings.work_budget = c.work_budget;
    const CollectionSearch search(db, {}, settings);
    Backwards backwards;
    Executor* executor = c.backwards ? &backwards : nullptr;
    const auto every = search.search(&WaterMotifs::make_ring_of_six, executor);
    const CollectionTally expected = tally(every, 0);
    std::vector<EntryOutcome> notable;
    for (const auto& o : every)
      if (!o.matches.empty() || o.aborted || o.status == EntryStatus::Refused)
        notable.push_back(o);
    int calls = 0;
    const CollectionSurvey survey =
        search.survey(&WaterMotifs::make_ring_of_six, executor, [&](int, const EntryOutcome&) {
          ++calls;
        });
    EXPECT_EQ(calls, 6);
    EXPECT_EQ(ids(survey.notable), ids(notable));
    // Passed on as they are ready instead of kept: the same outcomes in the same order.
    std::vector<EntryOutcome> passed;
    const CollectionSurvey streamed =
        search.survey(&WaterMotifs::make_ring_of_six, executor, {},
                      [&](int, EntryOutcome&& o) { passed.push_back(std::move(o)); });
    EXPECT_TRUE(streamed.notable.empty());
    EXPECT_EQ(ids(passed), ids(notable));
    EXPECT_EQ(streamed.counts.aborted_entries, expected.aborted_entries);
    const CollectionTally& got = survey.counts;
    EXPECT_EQ(got.entries, 6);
    EXPECT_EQ(std::vector<int>({got.searched, got.prescreened, got.filtered, got.refused,
                                got.aborted, got.capped, got.candidates, got.hits, got.matches}),
              std::vector<int>({expected.searched, expected.prescreened, expected.filtered,
                                expected.refused, expected.aborted, expected.capped,
                                expected.candidates, expected.hits, expected.matches}));
    EXPECT_EQ(got.aborted_entries, expected.aborted_entries);
    EXPECT_EQ(got.refused, 1);
    // The two copies of the rings hit; a small budget stops both of them.
    EXPECT_EQ(std::vector<int>({got.hits, got.aborted}),
              std::vector<int>({2, c.work_budget > 0 ? 2 : 0}));
  }
}

} // namespace
} // namespace xtalmotif
