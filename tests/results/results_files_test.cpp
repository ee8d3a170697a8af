// The two saved lists of hit entries: their exact bytes, and a list written completely or not
// at all, the failure reported with the file's name and any older file left alone.

#include "results/motif_search_results.h"

#include "kernel/kernel_test_support.h"

#include <gtest/gtest.h>

#include <csignal>
#include <set>
#include <sys/resource.h>

namespace xtalmotif {
namespace {

namespace fs = std::filesystem;
using testing::read_text;
using testing::write_text;

std::set<std::string> listing(const testing::ScratchDir& dir) {
  std::set<std::string> names;
  for (const auto& e : fs::directory_iterator(dir.path))
    names.insert(e.path().filename().string());
  return names;
}

MotifSearchResults hits(const std::vector<std::string>& ids) {
  MotifSearchResults r;
  for (const auto& id : ids)
    r.add_motif_match(DatabaseEntryIdentifier(id), make_handle<MotifMatch>());
  return r;
}

// Each entry once, in identifier order, over whatever file was there before.
TEST(ResultsFiles, ListsHoldEachEntryOnceInIdentifierOrder) {
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"XOZBAA", "ACSALA01", "XOZBAA", "BENZEN"}, "ACSALA01\nBENZEN\nXOZBAA\n"},
      {{"ID", "ID"}, "ID\n"},
      {{}, ""}};
  for (const auto& [ids, listed] : cases) {
    testing::ScratchDir dir;
    const std::string txt = (dir / "hits.txt").string(), gcd = (dir / "hits.gcd").string();
    write_text(txt, "No of results: 12\nA\nB\nC\nD\nE\nF\nG\nH\nI\nJ\nK\nL\n");
    write_text(gcd, std::string(5000, 'x'));
    ASSERT_TRUE(hits(ids).save(txt) && hits(ids).save_as_gcd(gcd));
    const auto n = std::count(listed.begin(), listed.end(), '\n');
    EXPECT_EQ(read_text(txt), "No of results: " + std::to_string(n) + "\n" + listed);
    EXPECT_EQ(read_text(gcd), listed);
    EXPECT_EQ(listing(dir), (std::set<std::string>{"hits.gcd", "hits.txt"}));
  }
}

/// Limits the size of files this process may write, ignoring the signal that would end it:
/// every write past the limit then fails as on a full disk, whatever the user's privileges.
struct FileSizeLimit {
  explicit FileSizeLimit(rlim_t bytes) : handler(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &old);
    rlimit lim = old;
    lim.rlim_cur = bytes;
    ok = setrlimit(RLIMIT_FSIZE, &lim) == 0;
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, handler);
  }
  void (*handler)(int);
  rlimit old{};
  bool ok = false;
};

TEST(ResultsFiles, AListThatCannotBeWrittenIsReportedAndLeavesTheOldFileAlone) {
  testing::ScratchDir dir;
  const std::string txt = (dir / "hits.txt").string(), gcd = (dir / "hits.gcd").string();
  std::vector<std::string> ids;
  for (int i = 0; i < 400; ++i)
    ids.push_back("ENTRY" + std::to_string(1000 + i));
  const MotifSearchResults many = hits(ids);
  std::string error, error_gcd;
  // No such folder, or a folder where the file should be: nothing written, the name said.
  fs::create_directory(dir / "taken.txt");
  for (const std::string name : {"no-such-dir/hits.txt", "taken.txt"}) {
    EXPECT_FALSE(many.save((dir / name).string(), &error));
    EXPECT_FALSE(many.save_as_gcd((dir / name).string(), &error_gcd));
    EXPECT_NE(error.find(name), std::string::npos) << error;
    EXPECT_NE(error_gcd.find(name), std::string::npos) << error_gcd;
    EXPECT_EQ(listing(dir), std::set<std::string>{"taken.txt"});
  }
  // A write that fails part way leaves the old file whole and no temporary file beside it.
  write_text(txt, "No of results: 1\nOLD\n");
  write_text(gcd, "OLD\n");
  bool saved = true;
  {
    FileSizeLimit limit(64);
    ASSERT_TRUE(limit.ok);
    saved = many.save(txt, &error) || many.save_as_gcd(gcd, &error_gcd);
  }
  EXPECT_FALSE(saved);
  EXPECT_NE(error.find(txt), std::string::npos) << error;
  EXPECT_NE(error_gcd.find(gcd), std::string::npos) << error_gcd;
  EXPECT_EQ(read_text(txt) + read_text(gcd), "No of results: 1\nOLD\nOLD\n");
  EXPECT_EQ(listing(dir), (std::set<std::string>{"hits.gcd", "hits.txt", "taken.txt"}));
  ASSERT_TRUE(many.save(txt));
  EXPECT_EQ(read_text(txt).size(), std::string("No of results: 400\n").size() + 400 * 10);
}

} // namespace
} // namespace xtalmotif
