#include "crystal/cif_reader.h"
#include "db/database.h"

#include "database_test_support.h"
#include "kernel_test_molecules.h"
#include "test_data.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace xtalmotif {
namespace {

namespace fs = std::filesystem;
using testing::listable_block;
using testing::read_text;
using testing::require_data;
using testing::ScratchDir;
using testing::write_text;

std::vector<std::string> ids_of(const CifDatabase& db) {
  std::vector<std::string> ids;
  for (int i = 0; i < db.nentries(); ++i)
    ids.push_back(db.entry(i)->identifier().str());
  return ids;
}

bool mentions(const std::vector<std::string>& problems, const std::string& text) {
  return std::any_of(problems.begin(), problems.end(),
                     [&](const std::string& p) { return p.find(text) != std::string::npos; });
}

// The curated collection's manifest: file name -> number of data blocks.
std::map<std::string, int> manifest_blocks() {
  std::ifstream in(require_data("curated/MANIFEST.tsv"));
  std::string line;
  std::getline(in, line);
  std::vector<std::string> header;
  {
    std::istringstream h(line);
    for (std::string col; std::getline(h, col, '\t');)
      header.push_back(col);
  }
  auto blocks_col = std::find(header.begin(), header.end(), "blocks") - header.begin();
  std::map<std::string, int> out;
  while (std::getline(in, line)) {
    std::vector<std::string> cols;
    std::istringstream l(line);
    for (std::string col; std::getline(l, col, '\t');)
      cols.push_back(col);
    if (cols.size() > static_cast<std::size_t>(blocks_col))
      out[cols[0]] = std::stoi(cols[static_cast<std::size_t>(blocks_col)]);
  }
  return out;
}

// ---------------------------------------------------------------------------------------------

TEST(DatabaseEntryIdentifiers, OrderAndPrintAreThoseOfTheText) {
  DatabaseEntryIdentifier a("ABCDEF"), b("ABCDEG"), c("abc"), d("ABCDEF");
  EXPECT_LT(a, b);
  EXPECT_LT(b, c); // upper case sorts before lower case in text order
  EXPECT_EQ(a, d);
  EXPECT_NE(a, b);
  EXPECT_LE(a, d);
  EXPECT_GE(c, a);
  EXPECT_GT(c, b);
  EXPECT_LT(DatabaseEntryIdentifier("10"), DatabaseEntryIdentifier("9")); // not numeric
  std::ostringstream os;
  a.print(os);
  os << ' ' << c;
  EXPECT_EQ(os.str(), "ABCDEF abc");
  EXPECT_EQ(DatabaseEntryIdentifier("unknown").str(), "unknown");
  EXPECT_EQ(DatabaseEntryIdentifier().str(), "");
}

// ---------------------------------------------------------------------------------------------

TEST(CifDatabaseListing, CuratedFolderGivesEveryBlockInPathOrder) {
  CifDatabase db({require_data("curated").string()});
  EXPECT_TRUE(db.problems().empty()) << db.problems().front();

  // Blocks per file: from the manifest, or by counting data_ lines for a file it does not list.
  std::map<std::string, int> expected = manifest_blocks();
  for (const auto& f : fs::directory_iterator(require_data("curated"))) {
    const std::string name = f.path().filename().string();
    if (f.path().extension() != ".cif" || expected.count(name))
      continue;
    std::istringstream text(read_text(f.path()));
    int n = 0;
    for (std::string line; std::getline(text, line);)
      n += line.rfind("data_", 0) == 0 ? 1 : 0;
    expected[name] = n;
  }
  std::map<std::string, int> found;
  for (int i = 0; i < db.nentries(); ++i)
    ++found[fs::path(db.entry(i)->source_file()).filename().string()];
  EXPECT_EQ(found, expected);
  ASSERT_EQ(db.nentries(), 35);

  // Files come in path order: acid__2006132.cif first, urea__2203315.cif last.
  EXPECT_EQ(db.entry(0)->identifier().str(), "2006132");
  EXPECT_EQ(db.entry(db.nentries() - 1)->identifier().str(), "2203315");
  for (int i = 1; i < db.nentries(); ++i) {
    auto prev = db.entry(i - 1), cur = db.entry(i);
    EXPECT_LE(fs::path(prev->source_file()).filename().string(),
              fs::path(cur->source_file()).filename().string());
  }

  // The identifier is the block name, not the file name.
  auto ibuprofen = db.entry(DatabaseEntryIdentifier("2300214"));
  EXPECT_EQ(fs::path(ibuprofen->source_file()).filename().string(), "acid__2300214-r274507.cif");
  EXPECT_EQ(ibuprofen->block_name(), "2300214");
  EXPECT_EQ(ibuprofen->block_index(), 0);
  auto renamed = db.entry(DatabaseEntryIdentifier("2008119"));
  EXPECT_EQ(fs::path(renamed->source_file()).filename().string(), "acid__cif_fix_val_024.cif");
}

TEST(CifDatabaseListing, MultiBlockFileGivesOneEntryPerBlockInFileOrder) {
  CifDatabase db({require_data("curated/hydrate__bs5068.cif").string()});
  EXPECT_EQ(ids_of(db), (std::vector<std::string>{"1", "2a", "2b", "3", "4", "5", "6"}));
  for (int i = 0; i < db.nentries(); ++i) {
    EXPECT_EQ(db.entry(i)->block_index(), i);
    EXPECT_EQ(db.locations()[static_cast<std::size_t>(i)].block_index, i);
  }
  EXPECT_EQ(db.index_of(DatabaseEntryIdentifier("2b")), 2);
  EXPECT_EQ(db.index_of(DatabaseEntryIdentifier("7")), -1);
}

TEST(CifDatabaseListing, RepeatedBlockNamesTakeTheFileStemAsAPrefix) {
  ScratchDir dir;
  write_text(dir / "p1/alpha.cif", listable_block("dup"));
  write_text(dir / "p2/alpha.cif", listable_block("dup"));
  write_text(dir / "p3/beta.cif.gz.cif", listable_block("dup")); // stem "beta.cif.gz"
  write_text(dir / "p4/gamma.cif", listable_block("alpha_1"));
  // A publication block without atom sites is no entry and does not count as a repeat.
  write_text(dir / "p5/multi.cif", "data_global\n_journal_name_full 'J'\n" + listable_block("one") +
                                       listable_block("dup") + listable_block("") +
                                       listable_block("alpha_1x"));
  write_text(dir / "p6/global.cif", listable_block("solo"));

  CifDatabase db({dir.path().string()});
  EXPECT_TRUE(db.problems().empty());
  // Five blocks named "dup" or nothing take their files' stems as a prefix; the two alpha.cif
  // files share one, so those two are counted.
  EXPECT_EQ(ids_of(db),
            (std::vector<std::string>{"alpha/dup#1", "alpha/dup#2", "beta.cif.gz/dup", "alpha_1",
                                      "one", "multi/dup", "multi/", "alpha_1x", "solo"}));
  EXPECT_EQ(db.entry(DatabaseEntryIdentifier("multi/dup"))->block_name(), "dup");
  EXPECT_EQ(db.entry(DatabaseEntryIdentifier("multi/dup"))->block_index(), 2);
}

TEST(CifDatabaseListing, SameFileTwiceListsItsBlocksOnce) {
  ScratchDir dir;
  write_text(dir / "a/x.cif", listable_block("bx"));
  write_text(dir / "b.cif", listable_block("bb"));
  // A list of paths keeps the given order; the folder adds only what is not listed yet.
  CifDatabase db({(dir / "b.cif").string(), (dir / "a/../a/x.cif").string(), dir.path().string()});
  EXPECT_EQ(ids_of(db), (std::vector<std::string>{"bb", "bx"}));
}

TEST(CifDatabaseListing, DirectoriesTakeCifAndGzippedCifOnly) {
  ScratchDir dir;
  write_text(dir / "notes.txt", listable_block("txt"));
  write_text(dir / "a.cif.bak", listable_block("bak"));
  write_text(dir / "UPPER.CIF", listable_block("upper"));
  write_text(dir / "sub/deeper/d.cif", listable_block("deep"));
  {
    std::string text = listable_block("zipped");
    gzFile gz = gzopen((dir / "z.cif.gz").string().c_str(), "wb");
    ASSERT_NE(gz, nullptr);
    gzwrite(gz, text.data(), static_cast<unsigned>(text.size()));
    gzclose(gz);
  }
  CifDatabase db({dir.path().string()});
  EXPECT_TRUE(db.problems().empty());
  // Path order: "UPPER.CIF" < "sub/..." < "z.cif.gz" (capitals sort first).
  EXPECT_EQ(ids_of(db), (std::vector<std::string>{"upper", "deep", "zipped"}));
  // A file named explicitly is read whatever its name.
  CifDatabase named({(dir / "notes.txt").string()});
  EXPECT_EQ(ids_of(named), (std::vector<std::string>{"txt"}));
}

TEST(CifDatabaseListing, BadSourcesAreReportedAndTheRestIsListed) {
  ScratchDir dir;
  const fs::path missing = dir / "missing.cif";
  const fs::path not_cif = dir / "letter.cif";
  const fs::path no_atoms = dir / "publication.cif";
  write_text(not_cif, "Dear editor,\nplease find our structure attached.\n");
  write_text(no_atoms, "data_pub\n_journal_name_full 'Acta Cryst.'\n_journal_year 1999\n");
  const fs::path good = require_data("curated/acid__2300214-r274507.cif");

  CifDatabase db({missing.string(), not_cif.string(), good.string(), no_atoms.string()});
  EXPECT_EQ(ids_of(db), (std::vector<std::string>{"2300214"}));
  const auto problems = db.problems();
  EXPECT_EQ(problems.size(), 3u);
  EXPECT_TRUE(mentions(problems, missing.string()));
  EXPECT_TRUE(mentions(problems, not_cif.string()));
  EXPECT_TRUE(mentions(problems, no_atoms.string()));
  EXPECT_FALSE(mentions(problems, good.string()));

  CifDatabase nothing({missing.string()});
  EXPECT_EQ(nothing.nentries(), 0);
  EXPECT_EQ(nothing.problems().size(), 1u);
}

// ---------------------------------------------------------------------------------------------

TEST(CifDatabaseEntries, EntryReadsItsStructureOnDemand) {
  CifDatabase db({require_data("curated/acid__2300214-r274507.cif").string()});
  ASSERT_EQ(db.nentries(), 1);
  auto e = db.entry(DatabaseEntryIdentifier("2300214"));
  EXPECT_EQ(e->identifier().str(), "2300214");
  THandle<CrystalMaker> c1 = e->crystal();
  // Ibuprofen, C13H18O2 with H sites: one molecule of 33 atoms in the asymmetric unit.
  ASSERT_EQ(c1->nmolecules(), 1);
  EXPECT_EQ(c1->molecule(0)->formula(), "C13 H18 O2");
  // Each call builds a new structure, which the caller may change freely.
  THandle<CrystalMaker> c2 = db.entry(0)->crystal();
  EXPECT_NE(c1, c2);
  EXPECT_NE(c1->molecule(0), c2->molecule(0));
  EXPECT_EQ(c2->molecule(0)->natoms(), 33);
}

TEST(CifDatabaseEntries, LookupsOutsideTheDatabaseThrow) {
  CifDatabase db({require_data("curated/acid__2300214-r274507.cif").string()});
  try {
    db.entry(1);
    ADD_FAILURE() << "no error";
  } catch (const std::out_of_range& e) {
    EXPECT_EQ(std::string(e.what()), "IndexedTable::at Illegal index: 1");
  }
  EXPECT_THROW(db.entry(-1), std::out_of_range);
  try {
    db.entry(DatabaseEntryIdentifier("IBPRAC"));
    ADD_FAILURE() << "no error";
  } catch (const std::out_of_range& e) {
    EXPECT_NE(std::string(e.what()).find("IBPRAC"), std::string::npos);
  }
  EXPECT_TRUE(db.contains(DatabaseEntryIdentifier("2300214")));
  EXPECT_FALSE(db.contains(DatabaseEntryIdentifier("IBPRAC")));
}

TEST(CifDatabaseEntries, OneBadEntryIsReportedAndTheRestAreRead) {
  ScratchDir dir;
  // A structure block whose cell and symmetry are missing cannot be built.
  write_text(dir / "b_broken.cif", listable_block("broken"));
  fs::copy_file(require_data("curated/urea__2203315.cif"), dir / "c_urea.cif");
  fs::copy_file(require_data("curated/acid__2300214-r274507.cif"), dir / "a_acid.cif");
  CifDatabase db({dir.path().string()});
  ASSERT_EQ(ids_of(db), (std::vector<std::string>{"2300214", "broken", "2203315"}));

  std::vector<std::string> read, failed;
  for (int i = 0; i < db.nentries(); ++i) {
    auto e = db.entry(i);
    try {
      auto c = e->crystal();
      EXPECT_GT(c->nmolecules(), 0);
      read.push_back(e->identifier().str());
    } catch (const CifError& err) {
      failed.push_back(err.what());
    }
  }
  EXPECT_EQ(read, (std::vector<std::string>{"2300214", "2203315"}));
  ASSERT_EQ(failed.size(), 1u);
  EXPECT_NE(failed[0].find((dir / "b_broken.cif").string()), std::string::npos) << failed[0];
  EXPECT_NE(failed[0].find("broken"), std::string::npos) << failed[0];
}

TEST(CifDatabaseEntries, GzippedFileReadsLikeThePlainOne) {
  ScratchDir dir;
  const std::string text = read_text(require_data("curated/acid__2300214-r274507.cif"));
  gzFile gz = gzopen((dir / "ibuprofen.cif.gz").string().c_str(), "wb");
  ASSERT_NE(gz, nullptr);
  gzwrite(gz, text.data(), static_cast<unsigned>(text.size()));
  gzclose(gz);
  CifDatabase db({dir.path().string()});
  ASSERT_EQ(ids_of(db), (std::vector<std::string>{"2300214"}));
  EXPECT_EQ(db.entry(0)->crystal()->molecule(0)->formula(), "C13 H18 O2");
}

TEST(CifDatabaseEntries, KnownLocationsNeedUniqueIdentifiers) {
  const std::string f = require_data("curated/acid__2300214-r274507.cif").string();
  CifDatabase db({f}, {{DatabaseEntryIdentifier("IBU"), f, "2300214", 0, {}}}, {"a note"});
  EXPECT_EQ(db.entry(DatabaseEntryIdentifier("IBU"))->crystal()->molecule(0)->natoms(), 33);
  EXPECT_EQ(db.problems(), std::vector<std::string>{"a note"});
  EXPECT_THROW(CifDatabase({f}, {{DatabaseEntryIdentifier("IBU"), f, "2300214", 0, {}},
                                 {DatabaseEntryIdentifier("IBU"), f, "2300214", 0, {}}}),
               std::invalid_argument);
}

TEST(CifDatabaseEntries, SeveralThreadsReadOneDatabase) {
  CifDatabase db({require_data("curated").string()});
  const int n = std::min(db.nentries(), 12);
  auto formulas = [&db, n](std::vector<std::string>& out) {
    for (int i = 0; i < n; ++i) {
      try {
        auto c = db.entry(i)->crystal();
        std::string f;
        for (int m = 0; m < c->nmolecules(); ++m)
          f += c->molecule(m)->formula() + ";";
        out.push_back(f);
      } catch (const CifError& e) {
        out.push_back(std::string("error ") + e.what());
      }
    }
  };
  std::vector<std::string> a, b, serial;
  std::thread t1(formulas, std::ref(a)), t2(formulas, std::ref(b));
  t1.join();
  t2.join();
  formulas(serial);
  EXPECT_EQ(a, serial);
  EXPECT_EQ(b, serial);
}

// ---------------------------------------------------------------------------------------------

THandle<CrystalMaker> small_crystal() {
  auto c = make_handle<CrystalMaker>();
  c->set_cell(5, 6, 7, 90, 100, 90);
  c->set_polymeric(true);
  c->set_r_factor(0.041);
  c->add_error("no H sites");
  c->add_molecule(make_handle<Molecule>(testing::acetic_acid()));
  return c;
}

TEST(MemoryDatabaseEntries, EveryCallGivesAnIndependentDeepCopy) {
  MemoryDatabase db;
  THandle<CrystalMaker> original = small_crystal();
  db.add(DatabaseEntryIdentifier("ACETAC"), original);
  EXPECT_THROW(db.add(DatabaseEntryIdentifier("ACETAC"), small_crystal()), std::invalid_argument);
  ASSERT_EQ(db.nentries(), 1);

  THandle<CrystalMaker> c = db.entry(DatabaseEntryIdentifier("ACETAC"))->crystal();
  EXPECT_NE(c, original);
  EXPECT_DOUBLE_EQ(c->b(), 6.0);
  EXPECT_DOUBLE_EQ(c->beta(), 100.0);
  EXPECT_TRUE(c->is_polymeric());
  EXPECT_DOUBLE_EQ(c->r_factor(), 0.041);
  EXPECT_EQ(c->errors(), std::vector<std::string>{"no H sites"});
  ASSERT_EQ(c->nmolecules(), 1);
  EXPECT_EQ(c->molecule(0)->formula(), "C2 H4 O2");

  // Cutting the C-O(H) bond of the copy splits it in two; the database's structure stays whole.
  THandle<Bond> co = c->molecule(0)->bond_between(1, 3);
  ASSERT_TRUE(co);
  EXPECT_TRUE(c->remove(co));
  EXPECT_EQ(c->nmolecules(), 2);
  EXPECT_EQ(db.entry(0)->crystal()->nmolecules(), 1);
  EXPECT_EQ(original->nmolecules(), 1);
  EXPECT_EQ(original->molecule(0)->nbonds(), 7);

  EXPECT_THROW(db.entry(1), std::out_of_range);
  EXPECT_THROW(db.entry(DatabaseEntryIdentifier("X")), std::out_of_range);
  EXPECT_TRUE(db.contains(DatabaseEntryIdentifier("ACETAC")));
}

TEST(MemoryDatabaseEntries, StandsBehindTheGenericDatabaseHandle) {
  auto mem = make_handle<MemoryDatabase>();
  mem->add(DatabaseEntryIdentifier("B"), small_crystal());
  mem->add(DatabaseEntryIdentifier("A"), small_crystal());
  THandle<Database<CrystalStructureDatabaseEntry>> db = mem;
  ASSERT_EQ(db->nentries(), 2);
  // Entries keep the order in which they were added.
  EXPECT_EQ(db->entry(0)->identifier().str(), "B");
  EXPECT_EQ(db->entry(DatabaseEntryIdentifier("A"))->identifier().str(), "A");
  EXPECT_TRUE(db->problems().empty());
}

} // namespace
} // namespace xtalmotif
