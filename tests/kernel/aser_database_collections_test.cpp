// Screen index files: built from real structures they agree with a fresh computation and never
// screen an entry out of a query drawn from its own molecules; they are written completely or
// not at all, and a missing, damaged or out-of-date file is refused with its name.

#include "db/aser_database.h"
#include "crystal/cif_reader.h"

#include "kernel_test_support.h"
#include "test_data.h"

#include <gtest/gtest.h>

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
    if (m.atom(a)->implicit_hydrogens() > 0) { // a query drawing the implied hydrogen
      s.set_element_present("H");
      s.set_simple_connection(sym, "H");
    }
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
// molecule, and each atom with its bonded neighbours. Returns the number of atoms checked.
int expect_nothing_screened_out(const AserDatabase& screened, const DatabaseEntryIdentifier& id) {
  const auto c = screened.entry(id)->crystal();
  const Aser stored = *screened.aser(id);
  EXPECT_EQ(stored, entry_screens(*c)) << id.str(); // the index holds what a fresh reading gives
  int checked = 0;
  for (int m = 0; m < c->nmolecules(); ++m) {
    const Molecule& mol = *c->molecule(m);
    std::vector<int> all;
    for (int a = 0; a < mol.natoms(); ++a, ++checked) {
      std::vector<int> star = mol.neighbours(a);
      star.push_back(a);
      all.push_back(a);
      EXPECT_TRUE(stored.satisfies(query_pattern(mol, star))) << id.str() << " atom " << a;
    }
    EXPECT_TRUE(stored.satisfies(query_pattern(mol, all))) << id.str() << " molecule " << m;
  }
  return checked;
}

TEST(ScreenIndex, BuiltFromRealStructuresItScreensNoEntryOutOfItsOwnChemistry) {
  ScratchDir dir;
  const std::string index = (dir / "curated.idx").string();
  CifDatabase db({require_data("curated").string()});
  const ScreenIndexSummary summary = build_screen_index(db, index);
  AserDatabase screened(index);
  EXPECT_EQ(screened.nentries(), db.nentries() - summary.unreadable);
  int checked = 0;
  for (int i = 0; i < screened.nentries(); ++i)
    checked += expect_nothing_screened_out(screened, screened.entry(i)->identifier());
  EXPECT_GT(checked, 500);
  // Opened for the same sources it serves; for others it is out of date.
  EXPECT_NO_THROW(AserDatabase({require_data("curated").string()}, index));
  EXPECT_THROW(AserDatabase({require_data("curated/urea__2203315.cif").string()}, index),
               StaleScreenIndexError);
  // A lactone carboxylic acid with its H rows taken out, as refined without H sites: the
  // implied hydrogens, the acid's O-H among them, pass the screen.
  const auto acid = require_data("curated/acid__4022630-degrees-cendigrades.cif");
  write_text(dir / "cifs/acid-no-h.cif", testing::without_hydrogen_rows(read_text(acid)));
  build_screen_index(CifDatabase({(dir / "cifs").string()}), (dir / "no-h.idx").string());
  AserDatabase no_h((dir / "no-h.idx").string());
  EXPECT_GT(expect_nothing_screened_out(no_h, DatabaseEntryIdentifier("4022630")), 5);
}

// Two real structures and a block that cannot be built, in dir/cifs, indexed as dir/name.
std::string small_index(const ScratchDir& dir, const std::string& name,
                        const ScreenIndexOptions& options = {}) {
  fs::create_directories(dir / "cifs");
  fs::copy_file(require_data("curated/acid__2300214-r274507.cif"), dir / "cifs/a.cif",
                fs::copy_options::skip_existing);
  write_text(dir / "cifs/b.cif", testing::listable_block("broken"));
  fs::copy_file(require_data("curated/urea__2203315.cif"), dir / "cifs/c.cif",
                fs::copy_options::skip_existing);
  build_screen_index(CifDatabase({(dir / "cifs").string()}), (dir / name).string(), options);
  return (dir / name).string();
}

// The message of the error opening an index ("" when it opens); whether it was out of date.
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

// An index is written completely or not at all: an unreadable entry is a row and a reported
// problem, an interrupted build leaves no file and an interrupted rebuild the old one, and a
// missing, foreign or cut-short file is refused with its name.
TEST(ScreenIndexFiles, UnreadableEntriesAreReportedAndIndexesWrittenCompletelyOrNotAtAll) {
  ScratchDir dir;
  std::vector<std::string> seen;
  ScreenIndexOptions options, two, stop_early;
  options.progress = [&seen](const ScreenIndexProgress& p) {
    seen.push_back(std::to_string(p.done) + "/" + std::to_string(p.total) + " " +
                   p.location->id.str() + (p.readable ? "" : " unreadable"));
  };
  const std::string good = small_index(dir, "good.idx", options);
  EXPECT_EQ(seen,
            (std::vector<std::string>{"1/3 2300214", "2/3 broken unreadable", "3/3 2203315"}));
  AserDatabase screened(good);
  ASSERT_EQ(screened.problems().size(), 1u);
  EXPECT_NE(screened.problems()[0].find("b.cif: block broken"), std::string::npos);
  // The same rows from units run out of order, as an executor's threads may run them.
  struct Backwards : Executor {
    int workers() const override { return 3; }
    void run(int n, const std::function<void(int, int)>& work) override {
      for (int u = n - 1; u >= 0; --u)
        work(u, u % 3);
    }
  } backwards;
  two.executor = &backwards;
  AserDatabase other(small_index(dir, "two.idx", two));
  ASSERT_EQ(other.nentries(), 2);
  for (int i = 0; i < 2; ++i) {
    const auto id = screened.entry(i)->identifier();
    EXPECT_EQ(*other.aser(id), *screened.aser(id));
  }
  stop_early.progress = [](const ScreenIndexProgress& p) {
    if (p.done == 2)
      throw std::runtime_error("interrupted");
  };
  const std::string bytes = read_text(good);
  const CifDatabase db({(dir / "cifs").string()});
  EXPECT_THROW(build_screen_index(db, good, stop_early), std::runtime_error);
  EXPECT_EQ(read_text(good), bytes);
  fs::create_directories(dir / "out");
  EXPECT_THROW(build_screen_index(db, (dir / "out/i").string(), stop_early), std::runtime_error);
  EXPECT_TRUE(fs::is_empty(dir / "out")); // no temporary file left behind either
  EXPECT_THROW(build_screen_index(db, (dir / "no/such/folder/i.idx").string()), ScreenIndexError);
  write_text(dir / "text.idx", "This is a list of structures, not an index.\n2300214\n");
  write_text(dir / "empty.idx", "");
  write_text(dir / "cut.idx", bytes.substr(0, bytes.size() / 2));
  for (const char* name : {"missing.idx", "text.idx", "empty.idx", "cut.idx"}) {
    bool stale = true;
    const std::string path = (dir / name).string();
    EXPECT_NE(error_opening(path, &stale).find(path), std::string::npos) << name;
    EXPECT_FALSE(stale) << name;
  }
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
  EXPECT_NE(error_opening(index, &stale).find("a.cif"), std::string::npos);
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

} // namespace
} // namespace xtalmotif
