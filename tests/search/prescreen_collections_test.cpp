// The screen pattern a motif requires of an entry, and searches of a screened database: entries
// whose screens cannot hold the motif are skipped and reported, entries failing the filters are
// skipped silently.

#include "db/aser_database.h"
#include "search/motif_search.h"

#include "search_test_support.h"
#include "test_data.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <map>

namespace xtalmotif {
namespace {

using namespace testing;
using Screens = std::map<int, bool>;

Screens screens_of(const THandle<Motif>& m) { return m->aser_bit_screens()->screens; }

// A carbon bonded to an atom allowed the given elements, or (`pair`) two such atoms alone.
Screens screens_of(const std::vector<const char*>& allowed, bool pair) {
  auto s = make_handle<MotifSubstructure>();
  if (!pair)
    s->add(make_handle<SubstructureAtom>(Element("C")));
  for (int i = pair ? 0 : 1; i < 2; ++i)
    s->add(make_handle<SubstructureAtom>(std::vector<Element>(allowed.begin(), allowed.end())));
  if (!pair)
    s->add(make_handle<SubstructureBond>(BondType::Single), 0, 1);
  return screens_of(motif_of({s}));
}

// A motif requires only what every entry holding it has: an atom allowed several elements
// requires no more than each of them would (an "O or N" donor found as N-H must not be asked
// for oxygen), two equal substructures no more than one, and carbon alone nothing.
TEST(MotifScreens, RequireNoMoreThanEveryEntryHoldingTheMotifHas) {
  EXPECT_TRUE(screens_of(motif_of({fragment({"C"})})).empty());
  // A bond asks for more than its two atoms apart.
  EXPECT_NE(screens_of({"N"}, false), screens_of(motif_of({fragment({"C", "N"})})));
  for (const std::vector<const char*>& allowed :
       {std::vector<const char*>{"N", "O"}, {"O", "N"}, {"Cl", "Br"}})
    for (bool pair : {false, true})
      for (const char* one : allowed)
        for (const auto& [bit, value] : screens_of(allowed, pair)) {
          const Screens alone = screens_of({one}, pair);
          EXPECT_TRUE(alone.count(bit) && alone.at(bit) == value)
              << allowed[0] << "|" << allowed[1] << (pair ? " pair" : " on C") << ": bit " << bit
              << " not required by " << one;
        }
  EXPECT_FALSE(screens_of({"Cl", "Br"}, false).empty()); // both are halogens
  EXPECT_EQ(screens_of({"O", "O"}, false), screens_of({"O"}, false));
  auto ncn = [] { return fragment({"N", "C", "N"}, {{0, 1}, {1, 2}}); };
  EXPECT_EQ(screens_of(motif_of({ncn(), ncn()})), screens_of(motif_of({ncn()})));
}

// Ibuprofen (an acid) and benzene, screened into an index in a temporary folder.
class ScreenedDatabase : public ::testing::Test {
protected:
  static std::vector<std::string> sources() {
    return {require_data("curated/acid__2300214-r274507.cif").string(),
            require_data("curated/negative__2100348-benzene.cif").string()};
  }
  static void SetUpTestSuite() {
    dir = std::filesystem::temp_directory_path() /
          ("xtalmotif_prescreen_" +
           std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
    std::filesystem::create_directories(dir);
    build_screen_index(CifDatabase(sources()), (dir / "screens.db").string());
  }
  static void TearDownTestSuite() { std::filesystem::remove_all(dir); }
  // What a search prints, and the entries it found.
  template <class... Args> std::string run(MotifSearch& s, Args... args) {
    ::testing::internal::CaptureStdout();
    s.search(args...);
    return ::testing::internal::GetCapturedStdout();
  }
  inline static std::filesystem::path dir;
  THandle<AserDatabase> db = make_handle<AserDatabase>(sources(), (dir / "screens.db").string());
  const DatabaseEntryIdentifier ibuprofen{"2300214"}, benzene{"2100348"};
  const std::vector<DatabaseEntryIdentifier> just_ibuprofen{ibuprofen};
};

TEST_F(ScreenedDatabase, EntriesThatCannotHoldTheMotifAreSkippedAndReported) {
  ASSERT_EQ(db->nentries(), 2);
  MotifSearch s;
  s.set_motif(acid_dimer_motif());
  EXPECT_TRUE(s.prescreen_aser(db, ibuprofen));
  EXPECT_FALSE(s.prescreen_aser(db, benzene));
  s.set_motif(motif_of({fragment({"C", "H"}, {{0, 1}})}));
  EXPECT_TRUE(s.prescreen_aser(db, benzene));
  EXPECT_EQ(run(s, db, acid_dimer_motif()), "CAUGHT BY PRESCREEN: 2100348\n");
  EXPECT_EQ(s.results()->db_ids(), just_ibuprofen);
  EXPECT_EQ(s.results()->get_database().get(), db.get());
  // Listed entries are searched in the order given, repeats and all.
  EXPECT_EQ(run(s, db, std::vector<DatabaseEntryIdentifier>{benzene, ibuprofen, benzene},
                acid_dimer_motif()),
            "CAUGHT BY PRESCREEN: 2100348\nCAUGHT BY PRESCREEN: 2100348\n");
  EXPECT_EQ(s.results()->db_ids(), just_ibuprofen);
  // A search of the entries without their index uses no screens. Each database search starts
  // the results afresh.
  const THandle<Database<CrystalStructureDatabaseEntry>> plain(db);
  EXPECT_EQ(run(s, plain, acid_dimer_motif()), "");
  EXPECT_EQ(s.results()->db_ids(), just_ibuprofen);
  EXPECT_EQ(s.results()->motif_matches(ibuprofen)->size(), 1u);
  s.search(plain, benzene, acid_dimer_motif());
  EXPECT_EQ(s.results()->nentries(), 0);
  EXPECT_EQ(s.entry_id(), benzene);
}

TEST_F(ScreenedDatabase, EntriesFailingTheFiltersAreSkippedSilently) {
  // Filter 6 asks for a metal, which neither structure has; filter 1 for 3D coordinates, which
  // both have. Filters off, the prescreen alone decides.
  const auto metal = make_handle<Filters>(false, false, false, false, false, true, false);
  const auto coordinates = make_handle<Filters>(true, false, false, false, false, false, false);
  for (const auto& [filters, use, printed, entries] :
       {std::tuple{metal, true, "", 0}, {metal, false, "CAUGHT BY PRESCREEN: 2100348\n", 1},
        {coordinates, true, "CAUGHT BY PRESCREEN: 2100348\n", 1}}) {
    MotifSearch s;
    s.set_filters(filters);
    s.set_use_filters(use);
    EXPECT_EQ(s.check_filters(db, benzene), filters == coordinates);
    EXPECT_EQ(run(s, db, acid_dimer_motif()), printed);
    EXPECT_EQ(s.results()->nentries(), entries);
  }
}

} // namespace
} // namespace xtalmotif
