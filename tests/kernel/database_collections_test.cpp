// Databases of structures: which files and blocks a CIF database lists and under which names,
// what it reports, reading entries (from several threads too), and the copies a memory database
// hands out.

#include "crystal/cif_reader.h"
#include "db/database.h"

#include "kernel_test_support.h"
#include "test_data.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <optional>
#include <utility>

namespace xtalmotif {
namespace {

namespace fs = std::filesystem;
using testing::listable_block;
using testing::require_data;
using testing::write_text;

std::vector<std::string> ids_of(const CifDatabase& db) {
  std::vector<std::string> ids;
  for (int i = 0; i < db.nentries(); ++i)
    ids.push_back(db.entry(i)->identifier().str());
  return ids;
}

TEST(CifDatabaseListing, CuratedFolderGivesEveryBlockInPathOrder) {
  CifDatabase db({require_data("curated").string()});
  EXPECT_TRUE(db.problems().empty());
  // Blocks per file: one per data_ line of each file.
  std::map<std::string, int> expected, found;
  for (const auto& f : fs::directory_iterator(require_data("curated")))
    if (f.path().extension() == ".cif") {
      std::istringstream text(testing::read_text(f.path()));
      for (std::string line; std::getline(text, line);)
        expected[f.path().filename().string()] += line.rfind("data_", 0) == 0;
    }
  std::string previous;
  for (int i = 0; i < db.nentries(); ++i) {
    const std::string name = fs::path(db.entry(i)->source_file()).filename().string();
    EXPECT_LE(previous, name);
    previous = name;
    ++found[name];
  }
  EXPECT_EQ(found, expected);
  // The identifier is the block name, not the file name.
  EXPECT_EQ(fs::path(db.entry(DatabaseEntryIdentifier("2008119"))->source_file()).filename(),
            "acid__cif_fix_val_024.cif");
  // A multi-block file gives its blocks in file order, each read from its own place.
  CifDatabase multi({require_data("curated/hydrate__bs5068.cif").string()});
  EXPECT_EQ(ids_of(multi), (std::vector<std::string>{"1", "2a", "2b", "3", "4", "5", "6"}));
  for (int i = 0; i < multi.nentries(); ++i) {
    EXPECT_EQ(multi.entry(i)->block_index(), i);
    EXPECT_GT(multi.entry(i)->crystal()->nmolecules(), 0) << i;
  }
  EXPECT_EQ(multi.index_of(DatabaseEntryIdentifier("2b")), 2);
}

TEST(CifDatabaseListing, NamesFilesAndProblemsOfAMixedFolder) {
  testing::ScratchDir dir;
  // Repeated block names take their file's stem as a prefix; files that share a stem count.
  write_text(dir / "p1/alpha.cif", listable_block("dup"));
  write_text(dir / "p2/alpha.cif", listable_block("dup"));
  write_text(dir / "p3/beta.cif.gz.cif", listable_block("dup"));
  write_text(dir / "p4/gamma.cif", listable_block("alpha_1"));
  // A publication block without atom sites is no entry and no repeat.
  write_text(dir / "p5/multi.cif", "data_global\n_journal_name_full 'J'\n" + listable_block("one") +
                                       listable_block("dup") + listable_block("") +
                                       listable_block("alpha_1x"));
  // Only .cif and .cif.gz files, in any case, at any depth.
  write_text(dir / "q/notes.txt", listable_block("txt"));
  write_text(dir / "q/a.cif.bak", listable_block("bak"));
  write_text(dir / "q/UPPER.CIF", listable_block("upper"));
  write_text(dir / "q/sub/deeper/d.cif", listable_block("deep"));
  testing::gzip(dir / "q/z.cif.gz", listable_block("zipped"));
  CifDatabase db({dir.path.string()});
  EXPECT_TRUE(db.problems().empty());
  EXPECT_EQ(ids_of(db), (std::vector<std::string>{"alpha/dup#1", "alpha/dup#2", "beta.cif.gz/dup",
                                                  "alpha_1", "one", "multi/dup", "multi/",
                                                  "alpha_1x", "upper", "deep", "zipped"}));
  EXPECT_EQ(db.entry(DatabaseEntryIdentifier("multi/dup"))->block_index(), 2);
  // Paths keep their given order, a file named twice is listed once, and a file named
  // explicitly is read whatever its name.
  EXPECT_EQ(ids_of(CifDatabase({(dir / "p4/gamma.cif").string(), (dir / "q/notes.txt").string(),
                                (dir / "p4/../p4/gamma.cif").string(), (dir / "p4").string()})),
            (std::vector<std::string>{"alpha_1", "txt"}));
  // So is a file reached through a link, to it or to its folder.
  std::filesystem::create_directories(dir / "s");
  std::filesystem::create_symlink(dir / "p4/gamma.cif", dir / "s/link.cif");
  std::filesystem::create_directory_symlink(dir / "p4", dir / "p4link");
  for (const auto& [first, second] :
       {std::pair{dir / "s", dir / "p4/gamma.cif"}, std::pair{dir / "p4link", dir / "p4"},
        std::pair{dir / "p4/gamma.cif", dir / "p4link/"}})
    EXPECT_EQ(ids_of(CifDatabase({first.string(), second.string()})),
              std::vector<std::string>{"alpha_1"})
        << first << " " << second;
  // Links to a file of their own folder, before it and after it in order; a folder named
  // after a folder holding it.
  write_text(dir / "t/b.cif", listable_block("beta"));
  std::filesystem::create_symlink(dir / "t/b.cif", dir / "t/a.cif");
  std::filesystem::create_symlink(dir / "t/b.cif", dir / "t/c.cif");
  EXPECT_EQ(ids_of(CifDatabase({(dir / "t").string()})), std::vector<std::string>{"beta"});
  EXPECT_EQ(ids_of(CifDatabase({(dir / "p4").string(), dir.path.string()})).size(),
            ids_of(CifDatabase({dir.path.string()})).size());
  // Sources that give nothing are reported by name; the rest is listed.
  write_text(dir / "r/letter.cif", "Dear editor,\nplease find our structure attached.\n");
  write_text(dir / "r/publication.cif", "data_pub\n_journal_name_full 'Acta Cryst.'\n");
  CifDatabase some({(dir / "r/missing.cif").string(), (dir / "r/letter.cif").string(),
                    (dir / "p4/gamma.cif").string(), (dir / "r/publication.cif").string()});
  EXPECT_EQ(ids_of(some), std::vector<std::string>{"alpha_1"});
  ASSERT_EQ(some.problems().size(), 3u);
  const std::string all = some.problems()[0] + some.problems()[1] + some.problems()[2];
  for (const char* name : {"missing.cif", "letter.cif", "publication.cif"})
    EXPECT_NE(all.find(name), std::string::npos) << all;
}

// A folder's files are given one at a time in the order they are listed, where a name and the
// same name as a folder sort by the separator ("ab.cif" and "x-y.cif" against "ab/" and "x/");
// a link to a file leaves the order to the listing.
TEST(CifDatabaseListing, AFolderIsWalkedInTheOrderItIsListed) {
  testing::ScratchDir dir;
  for (const char* name : {"ab.cif", "ab/c.cif", "ab0.cif", "x-y.cif", "x/z.cif", "x/y/w.CIF",
                           "a b.cif", "Q.cif", "q.cif.gz", "n.txt", "x/notes.cif.bak"})
    write_text(dir / name, listable_block("b"));
  std::filesystem::create_directory_symlink(dir / "x", dir / "xlink");
  std::vector<std::string> problems;
  for (const std::string& folder : {dir.path.string(), require_data("bulk").string()}) {
    std::vector<std::string> walked;
    const auto all = CifDatabase::for_each_source_file({folder}, [&](const std::string& f) {
      walked.push_back(f);
      return true;
    });
    ASSERT_TRUE(all.has_value()) << folder;
    EXPECT_TRUE(*all);
    EXPECT_EQ(walked, CifDatabase::list_source_files({folder}, problems)) << folder;
  }
  int given = 0;
  EXPECT_EQ(CifDatabase::for_each_source_file({dir.path.string()},
                                              [&](const std::string&) { return ++given < 3; }),
            std::optional<bool>(false));
  EXPECT_EQ(given, 3);
  auto nothing = [](const std::string&) { return true; };
  EXPECT_FALSE(CifDatabase::for_each_source_file({dir.path.string(), dir.path.string()}, nothing));
  std::filesystem::create_symlink(dir / "ab.cif", dir / "x/link.cif");
  EXPECT_FALSE(CifDatabase::for_each_source_file({dir.path.string()}, nothing).has_value());
}

TEST(CifDatabaseEntries, EntriesAreBuiltOnDemandAndLookupsOutsideThrow) {
  const std::string f = require_data("curated/acid__2300214-r274507.cif").string();
  CifDatabase db({f});
  auto c1 = db.entry(DatabaseEntryIdentifier("2300214"))->crystal(), c2 = db.entry(0)->crystal();
  EXPECT_EQ(testing::formulas(*c1), std::vector<std::string>{"C13 H18 O2"});
  EXPECT_NE(c1->molecule(0), c2->molecule(0)); // each call builds a structure of its own
  EXPECT_THROW(db.entry(1), std::out_of_range);
  EXPECT_THROW(db.entry(DatabaseEntryIdentifier("IBPRAC")), std::out_of_range);
  EXPECT_FALSE(db.contains(DatabaseEntryIdentifier("IBPRAC")));
  // Locations given by the caller: their own identifiers, which must be unique.
  const CifEntryLocation ibu{DatabaseEntryIdentifier("IBU"), f, "2300214", 0, {}};
  CifDatabase known({f}, {ibu}, {"a note"});
  EXPECT_EQ(known.entry(DatabaseEntryIdentifier("IBU"))->crystal()->molecule(0)->natoms(), 33);
  EXPECT_EQ(known.problems(), std::vector<std::string>{"a note"});
  EXPECT_THROW(CifDatabase({f}, {ibu, ibu}), std::invalid_argument);
}

// A search cuts up the structures it is given: every entry of a memory database is a fresh deep
// copy, the cell, flags and errors included.
TEST(MemoryDatabaseEntries, EveryCallGivesAnIndependentDeepCopy) {
  auto original = make_handle<CrystalMaker>();
  original->set_polymeric(true);
  original->add_molecule(make_handle<Molecule>(testing::acetic_acid()));
  MemoryDatabase db;
  db.add(DatabaseEntryIdentifier("B"), original);
  db.add(DatabaseEntryIdentifier("A"), original);
  EXPECT_THROW(db.add(DatabaseEntryIdentifier("A"), original), std::invalid_argument);
  EXPECT_EQ(db.entry(0)->identifier().str(), "B"); // in the order added
  auto c = db.entry(DatabaseEntryIdentifier("A"))->crystal();
  EXPECT_TRUE(c->is_polymeric() && c->remove(c->molecule(0)->bond_between(1, 3)));
  EXPECT_EQ(c->nmolecules() + db.entry(1)->crystal()->nmolecules() + original->nmolecules(), 4);
}

} // namespace
} // namespace xtalmotif
