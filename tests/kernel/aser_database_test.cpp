// Screen index files: built from real structures they agree with a fresh computation and never
// screen an entry out of a query drawn from its own molecules; they are written completely or
// not at all, and a missing, damaged, crafted or out-of-date file is refused with its name.

#include "kernel/aser_database.h"
#include "kernel/cif_reader.h"

#include "kernel_test_support.h"
#include "test_data.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <chrono>
#include <set>

namespace xtalmotif {
namespace {

namespace fs = std::filesystem;
using testing::read_text;
using testing::require_data;
using testing::ScratchDir;
using testing::write_text;

// What a query made of these atoms of a molecule would require, built as a motif builds its
// pattern: every atom's element, the bonds among them, and the N, O and halogen counts.
AserBitScreens query_pattern(const Molecule& m, const std::vector<int>& atoms) {
  AserBitScreens s;
  int n = 0, o = 0, x = 0;
  for (int a : atoms) {
    const std::string sym = m.atom(a)->element().symbol();
    s.set_element_present(sym);
    n += sym == "N";
    o += sym == "O";
    x += s.is_member_of_group(sym, AserBitScreens::HALOGENS);
  }
  const std::set<int> in(atoms.begin(), atoms.end());
  for (const auto& b : m.bonds())
    if (in.count(b->atom1()) && in.count(b->atom2()))
      s.set_simple_connection(m.atom(b->atom1())->element().symbol(),
                              m.atom(b->atom2())->element().symbol());
  s.set_N_count(n);
  s.set_O_count(o);
  s.set_X3_count(x);
  return s;
}

// Whatever a query drawn from an entry's own molecules requires, the entry has: each whole
// molecule, and each atom with its bonded neighbours (implied hydrogens included).
int expect_nothing_screened_out(const AserDatabase& screened, const DatabaseEntryIdentifier& id) {
  const auto c = screened.entry(id)->crystal();
  const Aser stored = *screened.aser(id);
  int checked = 0;
  for (int m = 0; m < c->nmolecules(); ++m) {
    const Molecule& mol = *c->molecule(m);
    std::vector<int> all;
    for (int a = 0; a < mol.natoms(); ++a) {
      std::vector<int> star = mol.neighbours(a);
      star.push_back(a);
      EXPECT_TRUE(stored.satisfies(query_pattern(mol, star))) << id.str() << " atom " << a;
      if (mol.atom(a)->implicit_hydrogens() > 0) {
        AserBitScreens q;
        q.set_element_present(mol.atom(a)->element());
        q.set_element_present("H");
        q.set_simple_connection(mol.atom(a)->element().symbol(), "H");
        EXPECT_TRUE(stored.satisfies(q)) << id.str() << " " << mol.atom(a)->label();
      }
      all.push_back(a);
      ++checked;
    }
    EXPECT_TRUE(stored.satisfies(query_pattern(mol, all))) << id.str() << " molecule " << m;
  }
  return checked;
}

TEST(ScreenIndex, CuratedIndexAgreesWithAFreshComputationAndScreensNoEntryOut) {
  ScratchDir dir;
  const std::string index = (dir / "curated.idx").string();
  CifDatabase db({require_data("curated").string()});
  const ScreenIndexSummary summary = build_screen_index(db, index);
  AserDatabase screened(index);
  EXPECT_EQ(summary.entries, db.nentries());
  EXPECT_EQ(screened.nentries(), db.nentries() - summary.unreadable);
  int compared = 0, checked = 0;
  for (int i = 0; i < db.nentries(); ++i) {
    auto e = db.entry(i);
    THandle<CrystalMaker> c;
    try {
      c = e->crystal();
    } catch (const CifError&) {
      EXPECT_FALSE(screened.contains(e->identifier())) << e->identifier();
      continue;
    }
    ASSERT_TRUE(screened.contains(e->identifier())) << e->identifier();
    EXPECT_EQ(*screened.aser(e->identifier()), entry_screens(*c)) << e->identifier();
    EXPECT_EQ(screened.entry(e->identifier())->source_file(),
              fs::absolute(e->source_file()).lexically_normal().string());
    checked += expect_nothing_screened_out(screened, e->identifier());
    ++compared;
  }
  EXPECT_GE(compared, 30);
  EXPECT_GT(checked, 500);
  EXPECT_THROW(screened.aser(DatabaseEntryIdentifier("NOSUCH")), std::out_of_range);
  // Opened for the same sources it serves; for others it is out of date, and says where.
  EXPECT_NO_THROW(AserDatabase({require_data("curated").string()}, index));
  try {
    AserDatabase({require_data("curated/acid__2300214-r274507.cif").string()}, index);
    ADD_FAILURE() << "no error";
  } catch (const StaleScreenIndexError& e) {
    EXPECT_NE(std::string(e.what()).find(index), std::string::npos) << e.what();
  }

  // A lactone carboxylic acid with its H rows taken out, as refined without H sites: every
  // atom carrying implied hydrogens, the acid's O-H included, passes a query for them.
  std::istringstream full(read_text(require_data("curated/acid__4022630-degrees-cendigrades.cif")));
  std::string stripped;
  for (std::string line; std::getline(full, line);) {
    std::istringstream words(line);
    std::string label, type;
    words >> label >> type;
    if (!(label.size() > 1 && label[0] == 'H' && type == "H")) // rows "H4 H x y z ..."
      stripped += line + "\n";
  }
  write_text(dir / "cifs/acid-no-h.cif", stripped);
  build_screen_index(CifDatabase({(dir / "cifs").string()}), (dir / "no-h.idx").string());
  AserDatabase no_h((dir / "no-h.idx").string());
  EXPECT_FALSE(no_h.entry(0)->crystal()->has_hydrogen_sites());
  EXPECT_GT(expect_nothing_screened_out(no_h, DatabaseEntryIdentifier("4022630")), 5);
}

// Two real structures and one block that cannot be built, in dir/cifs, indexed as dir/name.
std::string small_index(const ScratchDir& dir, const std::string& name,
                        const ScreenIndexOptions& options = {}) {
  fs::create_directories(dir / "cifs");
  fs::copy_file(require_data("curated/acid__2300214-r274507.cif"), dir / "cifs/a.cif",
                fs::copy_options::skip_existing);
  write_text(dir / "cifs/b.cif", testing::listable_block("broken"));
  fs::copy_file(require_data("curated/urea__2203315.cif"), dir / "cifs/c.cif",
                fs::copy_options::skip_existing);
  const std::string index = (dir / name).string();
  build_screen_index(CifDatabase({(dir / "cifs").string()}), index, options);
  return index;
}

// The message of the error opening an index, or "" when it opens; `stale` says whether the error
// was that it no longer fits its files.
std::string error_opening(const std::string& path, bool* stale = nullptr) {
  try {
    AserDatabase db(path);
  } catch (const ScreenIndexError& e) {
    if (stale)
      *stale = dynamic_cast<const StaleScreenIndexError*>(&e) != nullptr;
    return e.what();
  }
  return "";
}

TEST(ScreenIndexFiles, UnreadableEntriesAreReportedAndThreadsWriteTheSameRows) {
  ScratchDir dir;
  std::vector<std::string> seen;
  ScreenIndexOptions options;
  options.progress = [&seen](const ScreenIndexProgress& p) {
    seen.push_back(std::to_string(p.done) + "/" + std::to_string(p.total) + " " +
                   p.location->id.str() + (p.readable ? "" : " unreadable"));
  };
  const std::string index = small_index(dir, "one.idx", options);
  EXPECT_EQ(seen, (std::vector<std::string>{"1/3 2300214", "2/3 broken unreadable", "3/3 2203315"}));
  AserDatabase screened(index);
  EXPECT_EQ(screened.nentries(), 2);
  EXPECT_FALSE(screened.contains(DatabaseEntryIdentifier("broken")));
  ASSERT_EQ(screened.problems().size(), 1u);
  EXPECT_NE(screened.problems()[0].find("b.cif"), std::string::npos);
  EXPECT_NE(screened.problems()[0].find("broken"), std::string::npos);
  ScreenIndexOptions two;
  two.threads = 2;
  AserDatabase other(small_index(dir, "two.idx", two));
  ASSERT_EQ(other.nentries(), 2);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(other.entry(i)->identifier(), screened.entry(i)->identifier());
    EXPECT_EQ(*other.aser(other.entry(i)->identifier()), *screened.aser(other.entry(i)->identifier()));
  }
}

TEST(ScreenIndexFiles, MissingTextAndDamagedFilesGiveErrorsNamingThem) {
  ScratchDir dir;
  const std::string good = small_index(dir, "good.idx");
  const std::string bytes = read_text(good);
  ASSERT_GT(bytes.size(), 4096u);
  std::string noisy = bytes;
  for (std::size_t i = 100; i < noisy.size(); ++i)
    noisy[i] = static_cast<char>((i * 131) % 251);
  const std::pair<const char*, std::string> broken[] = {
      {"text.idx", "This is a list of structures, not an index.\n2300214\n"},
      {"empty.idx", ""}, {"cut.idx", bytes.substr(0, bytes.size() / 2)}, {"noise.idx", noisy}};
  for (const auto& [name, text] : broken)
    write_text(dir / name, text);
  for (const char* name : {"missing.idx", "text.idx", "empty.idx", "cut.idx", "noise.idx"}) {
    bool stale = true;
    const std::string path = (dir / name).string();
    EXPECT_NE(error_opening(path, &stale).find(path), std::string::npos) << name;
    EXPECT_FALSE(stale) << name;
  }
  // One byte changed in each place in turn: the index is refused or reads exactly as written.
  AserDatabase reference(good);
  const std::string flipped = (dir / "flipped.idx").string();
  int refused = 0;
  for (std::size_t pos = 100; pos < bytes.size(); pos += 97) {
    std::string text = bytes;
    text[pos] = static_cast<char>(text[pos] ^ 0x5a);
    write_text(flipped, text);
    try {
      AserDatabase db(flipped);
      ASSERT_EQ(db.nentries(), reference.nentries()) << pos;
      for (int i = 0; i < db.nentries(); ++i)
        EXPECT_EQ(*db.aser(reference.entry(i)->identifier()),
                  *reference.aser(reference.entry(i)->identifier())) << pos;
    } catch (const ScreenIndexError& e) {
      EXPECT_NE(std::string(e.what()).find(flipped), std::string::npos) << e.what();
      ++refused;
    }
  }
  EXPECT_GT(refused, 0);
}

TEST(ScreenIndexFiles, ChangedFilesMakeTheIndexOutOfDate) {
  ScratchDir dir;
  const std::string index = small_index(dir, "i.idx");
  bool stale = false;
  // A new file, a changed one and a removed one each make it stale, naming the file.
  fs::copy_file(require_data("curated/negative__2100348-benzene.cif"), dir / "cifs/d.cif");
  EXPECT_NE(error_opening(index, &stale).find("d.cif"), std::string::npos);
  EXPECT_TRUE(stale);
  fs::remove(dir / "cifs/d.cif");
  EXPECT_EQ(error_opening(index), "");
  write_text(dir / "cifs/c.cif", read_text(dir / "cifs/c.cif") + "\n# edited\n");
  EXPECT_NE(error_opening(index, &stale).find("c.cif"), std::string::npos);
  EXPECT_TRUE(stale);
  small_index(dir, "i.idx");
  fs::remove(dir / "cifs/a.cif");
  stale = false;
  EXPECT_NE(error_opening(index, &stale), "");
  EXPECT_TRUE(stale);
  // A file replaced by one of the same size with its time put back passes the opening check,
  // but its block is refused when read: no structure is searched with another's screens.
  small_index(dir, "i.idx");
  const auto time = fs::last_write_time(dir / "cifs/a.cif");
  std::string text = read_text(dir / "cifs/a.cif");
  const std::size_t at = text.find("_cell_length_a");
  text[at + text.substr(at).find('.') + 1] ^= 1; // one digit of the cell length changed
  write_text(dir / "cifs/a.cif", text);
  fs::last_write_time(dir / "cifs/a.cif", time);
  AserDatabase screened(index);
  try {
    screened.entry(DatabaseEntryIdentifier("2300214"))->crystal();
    ADD_FAILURE() << "a changed block was read";
  } catch (const CifError& e) {
    EXPECT_NE(std::string(e.what()).find("a.cif: block 2300214: the file has changed since it "
                                         "was indexed; rebuild the screen index"),
              std::string::npos)
        << e.what();
  }
  EXPECT_NO_THROW(screened.entry(DatabaseEntryIdentifier("2203315"))->crystal());
}

// A file made to look like an index but defining views, triggers or other tables (which reading
// would run, endlessly or filling the disk) is refused before any table is read, and quickly.
TEST(ScreenIndexFiles, CraftedIndexesAreRefusedBeforeAnyTableIsRead) {
  ScratchDir dir;
  const std::string good = small_index(dir, "good.idx");
  const std::string endless = "WITH RECURSIVE r(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM r) ";
  const std::pair<std::string, std::string> alterations[] = {
      {"DROP TABLE meta; CREATE VIEW meta(key, value) AS " + endless + "SELECT 'format', n FROM r",
       "unexpected view meta"},
      {"DROP TABLE meta; CREATE VIEW meta(key, value) AS " + endless +
           "SELECT 'format', randomblob(1000) FROM r ORDER BY 2",
       "unexpected view meta"},
      {"CREATE TRIGGER t BEFORE DELETE ON meta BEGIN SELECT 1; END", "unexpected trigger t"},
      {"ALTER TABLE entries ADD COLUMN extra TEXT", "unexpected table entries"},
      {"CREATE TABLE notes(x)", "unexpected table notes"},
      {"CREATE INDEX by_file ON entries(file)", "unexpected index by_file"}};
  const std::string crafted = (dir / "crafted.idx").string();
  for (const auto& [sql, message] : alterations) {
    fs::copy_file(good, crafted, fs::copy_options::overwrite_existing);
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(crafted.c_str(), &db), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sql;
    sqlite3_close(db);
    const auto start = std::chrono::steady_clock::now();
    const std::string error = error_opening(crafted);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2)) << sql;
    EXPECT_NE(error.find(crafted + ": not a screen index of this program (" + message + ")"),
              std::string::npos)
        << sql << "\n" << error;
  }
}

TEST(ScreenIndexFiles, IndexIsWrittenCompletelyOrNotAtAll) {
  ScratchDir dir;
  small_index(dir, "first.idx");
  const CifDatabase db({(dir / "cifs").string()});
  const std::string index = (dir / "out/i.idx").string();
  fs::create_directories(dir / "out");
  ScreenIndexOptions stop_early;
  stop_early.progress = [](const ScreenIndexProgress& p) {
    if (p.done == 2)
      throw std::runtime_error("interrupted");
  };
  EXPECT_THROW(build_screen_index(db, index, stop_early), std::runtime_error);
  EXPECT_TRUE(fs::is_empty(dir / "out")); // no index, no temporary file left behind
  // An interrupted rebuild leaves the previous index as it was.
  build_screen_index(db, index);
  const std::string before = read_text(index);
  EXPECT_THROW(build_screen_index(db, index, stop_early), std::runtime_error);
  EXPECT_EQ(read_text(index), before);
  EXPECT_EQ(std::distance(fs::directory_iterator(dir / "out"), fs::directory_iterator()), 1);
  const std::string nowhere = (dir / "no/such/folder/i.idx").string();
  try {
    build_screen_index(db, nowhere);
    ADD_FAILURE() << "no error";
  } catch (const ScreenIndexError& e) {
    EXPECT_NE(std::string(e.what()).find(nowhere), std::string::npos) << e.what();
  }
}

} // namespace
} // namespace xtalmotif
