// The screen pattern of a motif, and the prescreen and filters of searches over a screened
// database.

#include "db/aser_database.h"
#include "crystal/cif_reader.h"
#include "search/motif_search.h"
#include "search_test_support.h"
#include "test_data.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

using testing::query_atom;
using testing::single_atom_substructure;

std::map<int, bool> screens_of(const THandle<Motif>& m) { return m->aser_bit_screens()->screens; }

THandle<MotifSubstructure> chain(std::vector<const char*> symbols) {
  auto s = make_handle<MotifSubstructure>();
  for (const char* sym : symbols)
    s->add(query_atom(sym));
  for (int i = 0; i + 1 < s->nnodes(); ++i)
    s->add(make_handle<SubstructureBond>(BondType::Single), i, i + 1);
  return s;
}

THandle<Motif> motif_of(std::vector<THandle<MotifSubstructure>> subs) {
  auto m = make_handle<Motif>("screens");
  for (auto& s : subs)
    m->add_substructure(s);
  return m;
}

// ---------------------------------------------------------------- the motif's pattern

TEST(MotifScreensTest, CarbonAloneRequiresNothing) {
  EXPECT_TRUE(screens_of(motif_of({single_atom_substructure("C")})).empty());
  EXPECT_TRUE(screens_of(motif_of({})).empty());
}

TEST(MotifScreensTest, CarbonNitrogenBondRequiresNitrogenAndTheConnection) {
  // N is in group 15; a C-N bond sets the N/O class bit 268 and the nitrogen bit 273. A single
  // nitrogen sets no count bit.
  EXPECT_EQ(screens_of(motif_of({chain({"C", "N"})})),
            (std::map<int, bool>{{15, true}, {268, true}, {273, true}}));
}

TEST(MotifScreensTest, AnyElementAtomRequiresNothing) {
  auto s = make_handle<MotifSubstructure>();
  s->add(make_handle<SubstructureAtom>());
  EXPECT_TRUE(screens_of(motif_of({s})).empty());
}

// An atom allowed several elements requires only what every one of them would set: the entry
// may hold any of them (an "O or N" donor found as N-H must not be asked for oxygen).
TEST(MotifScreensTest, AtomOfSeveralElementsRequiresOnlyWhatTheyShare) {
  struct Case {
    std::vector<const char*> allowed; // the atom bonded to a carbon, and also alone
    std::map<int, bool> bonded;       // pattern of C-X
    std::map<int, bool> alone;        // pattern of X, two of them in one substructure
  };
  const std::vector<Case> cases = {
      // N and O share only the N/O class bit of a bond to carbon; neither counts as N or O.
      {{"N", "O"}, {{268, true}}, {}},
      {{"O", "N"}, {{268, true}}, {}},
      // Chlorine and bromine: group 17, halogens to carbon (269, 272), and a halogen count.
      {{"Cl", "Br"}, {{17, true}, {269, true}, {272, true}}, {{17, true}, {257, true}}},
      // One element allowed twice is that element.
      {{"O", "O"}, {{16, true}, {268, true}, {274, true}}, {{16, true}, {264, true}}},
  };
  for (const Case& c : cases) {
    std::vector<Element> allowed;
    for (const char* e : c.allowed)
      allowed.emplace_back(e);
    auto bonded = make_handle<MotifSubstructure>();
    bonded->add(query_atom("C"));
    bonded->add(make_handle<SubstructureAtom>(allowed));
    bonded->add(make_handle<SubstructureBond>(BondType::Single), 0, 1);
    auto pair = make_handle<MotifSubstructure>();
    pair->add(make_handle<SubstructureAtom>(allowed));
    pair->add(make_handle<SubstructureAtom>(allowed));
    const std::string label = std::string(c.allowed[0]) + "|" + c.allowed[1];
    EXPECT_EQ(screens_of(motif_of({bonded})), c.bonded) << label;
    EXPECT_EQ(screens_of(motif_of({pair})), c.alone) << label;
  }
}

TEST(MotifScreensTest, HydrogenSetsBothHydrogenBits) {
  auto m = screens_of(motif_of({chain({"C", "H"})}));
  EXPECT_TRUE(m.at(30));
  EXPECT_TRUE(m.at(31));
}

TEST(MotifScreensTest, CountsDescribeTheRichestSingleSubstructure) {
  // Two nitrogens in one substructure: bit 261. Two such substructures still ask for two, not
  // four; three oxygens in the second substructure ask for three (265).
  auto two_n = screens_of(motif_of({chain({"N", "C", "N"})}));
  EXPECT_TRUE(two_n.at(261));
  auto both = screens_of(motif_of({chain({"N", "C", "N"}), chain({"N", "C", "N"})}));
  EXPECT_TRUE(both.at(261));
  EXPECT_EQ(both.count(262), 0u);
  EXPECT_EQ(both.count(263), 0u);
  auto oxygens = screens_of(motif_of({chain({"O", "C", "O"}), chain({"O", "C", "O", "C", "O"})}));
  EXPECT_TRUE(oxygens.at(265));
  EXPECT_EQ(oxygens.count(264), 0u);
}

TEST(MotifScreensTest, HalogenCountsButNeverMetalCount) {
  auto halogens = screens_of(motif_of({chain({"Cl", "C", "Br", "C", "I"})}));
  EXPECT_TRUE(halogens.at(258));
  auto metals = screens_of(motif_of({chain({"Ag", "O", "Ag", "O", "Ag"})}));
  // Silver: group 11, second transition row 23, transition metals 21, metals 28.
  for (int bit : {11, 23, 21, 28, 16})
    EXPECT_TRUE(metals.at(bit)) << bit;
  EXPECT_EQ(metals.count(259), 0u);
  EXPECT_EQ(metals.count(260), 0u);
}

// ---------------------------------------------------------------- searches of a screened database

// Ibuprofen (an acid) and benzene, screened into an index in a temporary folder.
class ScreenedDatabaseTest : public ::testing::Test {
protected:
  static void SetUpTestSuite() {
    dir = new std::filesystem::path(
        std::filesystem::temp_directory_path() /
        ("xtalmotif_prescreen_" +
         std::to_string(std::chrono::steady_clock::now().time_since_epoch().count())));
    std::filesystem::create_directories(*dir);
    sources = new std::vector<std::string>{
        xtalmotif::testing::require_data("curated/acid__2300214-r274507.cif").string(),
        xtalmotif::testing::require_data("curated/negative__2100348-benzene.cif").string()};
    build_screen_index(CifDatabase(*sources), (*dir / "screens.db").string());
  }
  static void TearDownTestSuite() {
    std::filesystem::remove_all(*dir);
    delete dir;
    delete sources;
  }
  THandle<AserDatabase> open() {
    return make_handle<AserDatabase>(*sources, (*dir / "screens.db").string());
  }
  static std::filesystem::path* dir;
  static std::vector<std::string>* sources;
};
std::filesystem::path* ScreenedDatabaseTest::dir = nullptr;
std::vector<std::string>* ScreenedDatabaseTest::sources = nullptr;

const DatabaseEntryIdentifier ibuprofen("2300214");
const DatabaseEntryIdentifier benzene("2100348");

TEST_F(ScreenedDatabaseTest, EntryWithoutOxygenIsCaughtAndReported) {
  auto db = open();
  ASSERT_EQ(db->nentries(), 2);
  MotifSearch s;
  ::testing::internal::CaptureStdout();
  s.search(db, testing::acid_dimer_motif());
  const std::string out = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(out, "CAUGHT BY PRESCREEN: 2100348\n");
  EXPECT_EQ(s.results()->db_ids(), std::vector<DatabaseEntryIdentifier>{ibuprofen});
  EXPECT_EQ(s.results()->get_database().get(), db.get());
}

TEST_F(ScreenedDatabaseTest, PrescreenComparesTheMotifPatternWithTheStoredBits) {
  auto db = open();
  MotifSearch s;
  s.set_motif(testing::acid_dimer_motif());
  EXPECT_TRUE(s.prescreen_aser(db, ibuprofen));
  EXPECT_FALSE(s.prescreen_aser(db, benzene));
  // A motif of carbon and hydrogen only passes both.
  auto ch = motif_of({chain({"C", "H"})});
  s.set_motif(ch);
  EXPECT_TRUE(s.prescreen_aser(db, ibuprofen));
  EXPECT_TRUE(s.prescreen_aser(db, benzene));
}

TEST_F(ScreenedDatabaseTest, FilteredEntriesAreSkippedSilently) {
  auto db = open();
  MotifSearch s;
  // Filter 6 asks for a metal: neither structure has one.
  s.set_filters(make_handle<Filters>(false, false, false, false, false, true, false));
  EXPECT_FALSE(s.check_filters(db, ibuprofen));
  ::testing::internal::CaptureStdout();
  s.search(db, testing::acid_dimer_motif());
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(s.results()->nentries(), 0);

  // Without filters the same search runs as before.
  s.set_use_filters(false);
  ::testing::internal::CaptureStdout();
  s.search(db, testing::acid_dimer_motif());
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "CAUGHT BY PRESCREEN: 2100348\n");
  EXPECT_EQ(s.results()->nentries(), 1);
}

TEST_F(ScreenedDatabaseTest, PassedFiltersLeaveThePrescreenToDecide) {
  auto db = open();
  MotifSearch s;
  // Filter 1 asks for 3D coordinates, which both have.
  s.set_filters(make_handle<Filters>(true, false, false, false, false, false, false));
  EXPECT_TRUE(s.check_filters(db, benzene));
  ::testing::internal::CaptureStdout();
  s.search(db, testing::acid_dimer_motif());
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "CAUGHT BY PRESCREEN: 2100348\n");
  EXPECT_EQ(s.results()->nentries(), 1);
}

TEST_F(ScreenedDatabaseTest, ListedEntriesAreSearchedInTheGivenOrder) {
  auto db = open();
  MotifSearch s;
  s.search(db, ibuprofen, testing::acid_dimer_motif()); // leaves a result to be cleared
  ::testing::internal::CaptureStdout();
  s.search(db, std::vector<DatabaseEntryIdentifier>{benzene, ibuprofen, benzene},
           testing::acid_dimer_motif());
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "CAUGHT BY PRESCREEN: 2100348\nCAUGHT BY PRESCREEN: 2100348\n");
  EXPECT_EQ(s.results()->db_ids(), std::vector<DatabaseEntryIdentifier>{ibuprofen});
  // The plain database search uses no screens at all: nothing is printed.
  ::testing::internal::CaptureStdout();
  s.search(THandle<Database<CrystalStructureDatabaseEntry>>(db), testing::acid_dimer_motif());
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(s.results()->db_ids(), std::vector<DatabaseEntryIdentifier>{ibuprofen});
}

} // namespace
} // namespace xtalmotif
