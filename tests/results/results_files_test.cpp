// The two saved lists of hit entries: their exact bytes, and the guarantee that a list is
// written completely or not at all, with the failure reported and any older file left alone.

#include "results/motif_search_results.h"

#include "core/atomic_file.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

namespace xtalmotif {
namespace {

namespace fs = std::filesystem;

/// A fresh empty directory, removed with everything in it at the end of the test.
class ScratchDir {
public:
  ScratchDir() {
    std::random_device rd;
    path_ = fs::temp_directory_path() /
            ("xtalmotif-results-" + std::to_string(rd()) + "-" + std::to_string(rd()));
    fs::create_directories(path_);
  }
  ~ScratchDir() {
    std::error_code ec;
    fs::remove_all(path_, ec);
  }
  const fs::path &path() const { return path_; }
  std::string file(const std::string &name) const { return (path_ / name).string(); }
  /// Names of the entries in the directory.
  std::set<std::string> listing() const {
    std::set<std::string> names;
    for (const auto &e : fs::directory_iterator(path_))
      names.insert(e.path().filename().string());
    return names;
  }

private:
  fs::path path_;
};

std::string read_bytes(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void write_bytes(const std::string &path, const std::string &bytes) {
  std::ofstream out(path, std::ios::binary);
  out << bytes;
}

MotifSearchResults three_entries() {
  MotifSearchResults r;
  r.add_motif_match(DatabaseEntryIdentifier("XOZBAA"), make_handle<MotifMatch>());
  r.add_motif_match(DatabaseEntryIdentifier("ACSALA01"), make_handle<MotifMatch>());
  r.add_motif_match(DatabaseEntryIdentifier("XOZBAA"), make_handle<MotifMatch>());
  r.add_motif_match(DatabaseEntryIdentifier("BENZEN"), make_handle<MotifMatch>());
  return r;
}

// ---- contents ----

TEST(ResultsFilesTest, TwoMatchesOfOneEntryCountAsOneResult) {
  ScratchDir dir;
  MotifSearchResults r;
  r.add_motif_match(DatabaseEntryIdentifier("ID"), make_handle<MotifMatch>());
  r.add_motif_match(DatabaseEntryIdentifier("ID"), make_handle<MotifMatch>());
  std::string error;
  ASSERT_TRUE(r.save(dir.file("hits.txt"), &error)) << error;
  EXPECT_EQ(read_bytes(dir.file("hits.txt")), "No of results: 1\nID\n");
  ASSERT_TRUE(r.save_as_gcd(dir.file("hits.gcd"), &error)) << error;
  EXPECT_EQ(read_bytes(dir.file("hits.gcd")), "ID\n");
}

TEST(ResultsFilesTest, EntriesAreWrittenInIdentifierOrder) {
  ScratchDir dir;
  MotifSearchResults r = three_entries();
  ASSERT_TRUE(r.save(dir.file("hits.txt")));
  EXPECT_EQ(read_bytes(dir.file("hits.txt")), "No of results: 3\nACSALA01\nBENZEN\nXOZBAA\n");
  ASSERT_TRUE(r.save_as_gcd(dir.file("hits.gcd")));
  EXPECT_EQ(read_bytes(dir.file("hits.gcd")), "ACSALA01\nBENZEN\nXOZBAA\n");
}

TEST(ResultsFilesTest, EmptyCollectionWritesACountOfZeroAndAnEmptyIdentifierList) {
  ScratchDir dir;
  MotifSearchResults r;
  ASSERT_TRUE(r.save(dir.file("none.txt")));
  EXPECT_EQ(read_bytes(dir.file("none.txt")), "No of results: 0\n");
  ASSERT_TRUE(r.save_as_gcd(dir.file("none.gcd")));
  ASSERT_TRUE(fs::exists(dir.file("none.gcd")));
  EXPECT_EQ(fs::file_size(dir.file("none.gcd")), 0u);
}

TEST(ResultsFilesTest, AnExistingFileIsReplacedWhole) {
  ScratchDir dir;
  write_bytes(dir.file("hits.txt"), "No of results: 12\nA\nB\nC\nD\nE\nF\nG\nH\nI\nJ\nK\nL\n");
  write_bytes(dir.file("hits.gcd"), std::string(5000, 'x'));
  MotifSearchResults r;
  r.add_motif_match(DatabaseEntryIdentifier("ID"), make_handle<MotifMatch>());
  ASSERT_TRUE(r.save(dir.file("hits.txt")));
  ASSERT_TRUE(r.save_as_gcd(dir.file("hits.gcd")));
  EXPECT_EQ(read_bytes(dir.file("hits.txt")), "No of results: 1\nID\n");
  EXPECT_EQ(read_bytes(dir.file("hits.gcd")), "ID\n");
  // Nothing else is left beside the files.
  EXPECT_EQ(dir.listing(), (std::set<std::string>{"hits.gcd", "hits.txt"}));
}

// ---- complete or not at all ----

TEST(ResultsFilesTest, MissingDirectoryIsReportedWithTheFileName) {
  ScratchDir dir;
  MotifSearchResults r = three_entries();
  std::string target = dir.file("no-such-dir/hits.txt");
  std::string error;
  EXPECT_FALSE(r.save(target, &error));
  EXPECT_NE(error.find(target), std::string::npos) << error;
  error.clear();
  EXPECT_FALSE(r.save_as_gcd(dir.file("no-such-dir/hits.gcd"), &error));
  EXPECT_NE(error.find("hits.gcd"), std::string::npos) << error;
  EXPECT_TRUE(dir.listing().empty());
  // The error text is optional.
  EXPECT_FALSE(r.save(target));
}

TEST(ResultsFilesTest, ParentThatIsAFileIsReported) {
  ScratchDir dir;
  write_bytes(dir.file("plain"), "not a directory\n");
  std::string error;
  EXPECT_FALSE(three_entries().save(dir.file("plain/hits.txt"), &error));
  EXPECT_NE(error.find("plain/hits.txt"), std::string::npos) << error;
  EXPECT_EQ(read_bytes(dir.file("plain")), "not a directory\n");
  EXPECT_EQ(dir.listing(), (std::set<std::string>{"plain"}));
}

TEST(ResultsFilesTest, TargetThatCannotBeReplacedIsLeftAsItWas) {
  // A directory in the way of the file: the new list cannot take its place.
  ScratchDir dir;
  fs::create_directory(dir.path() / "hits.txt");
  write_bytes(dir.file("hits.txt/keep"), "old\n");
  std::string error;
  EXPECT_FALSE(three_entries().save(dir.file("hits.txt"), &error));
  EXPECT_NE(error.find("hits.txt"), std::string::npos) << error;
  EXPECT_TRUE(fs::is_directory(dir.path() / "hits.txt"));
  EXPECT_EQ(read_bytes(dir.file("hits.txt/keep")), "old\n");
  EXPECT_EQ(dir.listing(), (std::set<std::string>{"hits.txt"}));
}

TEST(ResultsFilesTest, DirectoryWithoutWritePermissionIsReported) {
  ScratchDir dir;
  fs::create_directory(dir.path() / "locked");
  write_bytes(dir.file("locked/hits.txt"), "No of results: 1\nOLD\n");
  fs::permissions(dir.path() / "locked", fs::perms::owner_read | fs::perms::owner_exec);
  // A privileged user writes into any directory; the other tests cover failure for them.
  bool writable = ::access((dir.path() / "locked").c_str(), W_OK) == 0;
  std::string error;
  bool saved = writable || three_entries().save(dir.file("locked/hits.txt"), &error);
  fs::permissions(dir.path() / "locked", fs::perms::owner_all);
  if (writable)
    GTEST_SKIP() << "running with privileges that ignore directory permissions";
  EXPECT_FALSE(saved);
  EXPECT_NE(error.find("locked/hits.txt"), std::string::npos) << error;
  EXPECT_EQ(read_bytes(dir.file("locked/hits.txt")), "No of results: 1\nOLD\n");
}

/// Limits the size of files this process may write, and ignores the signal that would otherwise
/// end it, for the lifetime of the object: every write past the limit then fails as on a full
/// disk, whatever the user's privileges.
class FileSizeLimit {
public:
  explicit FileSizeLimit(rlim_t bytes) {
    old_handler_ = std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &old_);
    rlimit lim = old_;
    lim.rlim_cur = bytes;
    ok_ = setrlimit(RLIMIT_FSIZE, &lim) == 0;
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &old_);
    std::signal(SIGXFSZ, old_handler_);
  }
  bool ok() const { return ok_; }

private:
  rlimit old_{};
  void (*old_handler_)(int) = SIG_DFL;
  bool ok_ = false;
};

TEST(ResultsFilesTest, WriteThatFailsPartWayLeavesTheOldFileUntouched) {
  ScratchDir dir;
  const std::string old_list = "No of results: 1\nOLD\n";
  write_bytes(dir.file("hits.txt"), old_list);
  write_bytes(dir.file("hits.gcd"), "OLD\n");
  MotifSearchResults r;
  for (int i = 0; i < 400; ++i)
    r.add_motif_match(DatabaseEntryIdentifier("ENTRY" + std::to_string(1000 + i)),
                      make_handle<MotifMatch>());
  bool saved = true, saved_gcd = true;
  std::string error, error_gcd;
  {
    FileSizeLimit limit(64);
    ASSERT_TRUE(limit.ok());
    saved = r.save(dir.file("hits.txt"), &error);
    saved_gcd = r.save_as_gcd(dir.file("hits.gcd"), &error_gcd);
  }
  EXPECT_FALSE(saved);
  EXPECT_FALSE(saved_gcd);
  EXPECT_NE(error.find(dir.file("hits.txt")), std::string::npos) << error;
  EXPECT_NE(error_gcd.find(dir.file("hits.gcd")), std::string::npos) << error_gcd;
  EXPECT_EQ(read_bytes(dir.file("hits.txt")), old_list);
  EXPECT_EQ(read_bytes(dir.file("hits.gcd")), "OLD\n");
  // No half-written temporary file is left behind.
  EXPECT_EQ(dir.listing(), (std::set<std::string>{"hits.gcd", "hits.txt"}));
  // Without the limit the same lists are written in full.
  ASSERT_TRUE(r.save(dir.file("hits.txt")));
  std::string full = read_bytes(dir.file("hits.txt"));
  EXPECT_EQ(full.substr(0, 34), "No of results: 400\nENTRY1000\nENTRY");
  EXPECT_EQ(full.size(), std::string("No of results: 400\n").size() + 400 * 10);
}

TEST(AtomicFileTest, WriterThatThrowsLeavesTheTargetAlone) {
  ScratchDir dir;
  write_bytes(dir.file("out.txt"), "before\n");
  std::string error;
  bool ok = write_file_atomically(
      dir.file("out.txt"),
      [](std::ostream &os) {
        os << "half a li";
        throw std::runtime_error("interrupted");
      },
      &error);
  EXPECT_FALSE(ok);
  EXPECT_NE(error.find(dir.file("out.txt")), std::string::npos) << error;
  EXPECT_NE(error.find("interrupted"), std::string::npos) << error;
  EXPECT_EQ(read_bytes(dir.file("out.txt")), "before\n");
  EXPECT_EQ(dir.listing(), (std::set<std::string>{"out.txt"}));
}

TEST(AtomicFileTest, TemporaryNamesAreDistinctAndBesideTheTarget) {
  std::string a = temporary_path_beside("dir/list.txt");
  std::string b = temporary_path_beside("dir/list.txt");
  EXPECT_NE(a, b);
  EXPECT_EQ(a.rfind("dir/list.txt", 0), 0u);
  EXPECT_EQ(fs::path(a).parent_path(), fs::path("dir"));
}

} // namespace
} // namespace xtalmotif
