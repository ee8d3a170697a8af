// The prescreen may only save work, never lose hits. Over the bulk collection: the screen index
// holds for every structure the screens computed from it; for every ready-made motif, every
// shipped query and a few motifs built here, no entry that a search of the structure hits is
// screened out; and a screened search of the motifs built here finds exactly those hits.

#include "apps/motif_catalog.h"
#include "db/aser_database.h"
#include "library/silver_carboxylate_motifs.h"
#include "search/indexed_screens.h"
#include "search/motif_search.h"

#include "search_test_support.h"
#include "test_data.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

namespace xtalmotif {
namespace {

using namespace testing;

struct NamedMotif {
  std::string name;
  THandle<Motif> motif;
  bool remove_silver_bonds = false; // prepared as the program prepares the silver patterns
  bool built_here = false;          // also searched in full and through the screened database
};

// The motifs built here, then every ready-made motif, then every shipped query file.
std::vector<NamedMotif> safety_motifs() {
  std::vector<NamedMotif> out = {
      {"acid dimer", acid_dimer_motif(), false, true},
      {"silver carboxylate", silver_carboxylate_motif(), false, true},
      {"C-Cl...O", motif_of({fragment({"C", "Cl"}, {{0, 1}}), fragment({"O"})},
                            {contact(0, 1, 1, 0, vdw(-1.0, 0.0))}), false, true}};
  for (const auto& e : app::motif_catalog())
    out.push_back({e.name, e.build(), static_cast<bool>(e.prepare)});
  for (const auto& f : std::filesystem::directory_iterator(source_dir() / "data" / "queries")) {
    app::MotifChoice query = app::choose_motif(f.path().string());
    out.push_back({f.path().filename().string(), query.build(), static_cast<bool>(query.prepare)});
  }
  return out;
}

TEST(PrescreenSafety, NoMotifLosesAHitToThePrescreenOverTheBulkCollection) {
  const std::string missing = missing_collection("bulk");
  if (!missing.empty())
    GTEST_SKIP() << missing;
  const std::string bulk = (data_dir() / "bulk").string();
  const auto dir = std::filesystem::temp_directory_path() /
                   ("xtalmotif_safety_" +
                    std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
  std::filesystem::create_directories(dir);
  const auto motifs = safety_motifs();
  ASSERT_GT(motifs.size(), 100u);
  // The index records the substructure and contact screens of every motif searched as read.
  std::vector<THandle<Motif>> as_read;
  for (const auto& m : motifs)
    if (!m.remove_silver_bonds)
      as_read.push_back(m.motif);
  ScreenIndexOptions options;
  options.screens = motif_screens(as_read);
  build_screen_index(CifDatabase({bulk}), (dir / "bulk.db").string(), options);
  auto screened =
      make_handle<AserDatabase>(std::vector<std::string>{bulk}, (dir / "bulk.db").string());
  ASSERT_GE(screened->nentries(), 300);
  ASSERT_GT(screened->indexed_screens().size(), 40u);

  // `plain` screens as the search engine's own database search does, `screen` as a collection
  // search does, with the index's screens.
  std::vector<THandle<MotifSearch>> reference, screen, plain_screen;
  for (const auto& m : motifs) {
    reference.push_back(make_handle<MotifSearch>());
    plain_screen.push_back(make_handle<MotifSearch>());
    plain_screen.back()->set_motif(m.motif);
    screen.push_back(make_handle<MotifSearch>());
    screen.back()->set_motif(m.motif);
    if (!m.remove_silver_bonds)
      require_indexed_screens(*m.motif, *screened, *screen.back()->bit_screens());
  }
  // Each entry is read once and searched for a motif built here, or for one the prescreen
  // rejects the entry for (cheap: it lacks what the motif needs).
  CifDatabase plain({bulk});
  int readable = 0;
  std::vector<int> rejected(motifs.size(), 0), rejected_plain(motifs.size(), 0);
  for (int i = 0; i < plain.nentries(); ++i) {
    auto entry = plain.entry(i);
    const DatabaseEntryIdentifier& id = entry->identifier();
    THandle<CrystalMaker> crystal;
    try {
      crystal = entry->crystal();
    } catch (const std::exception&) {
      continue; // an unreadable entry is left out of the screened database as well
    }
    ++readable;
    ASSERT_TRUE(screened->contains(id)) << id;
    std::vector<int> element_bits = screened->aser(id)->set_bits();
    element_bits.erase(std::lower_bound(element_bits.begin(), element_bits.end(),
                                        AserDatabase::first_indexed_bit),
                       element_bits.end());
    EXPECT_EQ(element_bits, entry_screens(*crystal).set_bits()) << id;
    THandle<CrystalMaker> silver = copy_crystal(*crystal);
    SilverCarboxylateMotifs::remove_silver_bonds(silver);
    const int at = screened->index_of(id); // a collection search reads screens by position
    for (std::size_t k = 0; k < motifs.size(); ++k) {
      const bool passes = screen[k]->prescreen_aser(screened, id);
      EXPECT_EQ(screened->screens_agree(at, *screen[k]->bit_screens()), passes) << id;
      rejected[k] += passes ? 0 : 1;
      rejected_plain[k] += plain_screen[k]->prescreen_aser(screened, id) ? 0 : 1;
      if (passes && !motifs[k].built_here)
        continue;
      const std::size_t before = reference[k]->results()->db_ids().size();
      reference[k]->set_search_structure(motifs[k].remove_silver_bonds ? silver : crystal, id);
      reference[k]->search(motifs[k].motif, 0);
      const bool hit = reference[k]->results()->db_ids().size() > before;
      EXPECT_FALSE(hit && !passes) << motifs[k].name << ": " << id << " is screened out";
    }
  }
  EXPECT_EQ(readable, screened->nentries());

  int screening = 0;
  for (std::size_t k = 0; k < motifs.size(); ++k) {
    // A motif that requires some screen bit rules some entries out: the check above is no empty
    // one. (Motifs of O-or-N donors and acceptors, such as the extended rings, require none.)
    if (!screen[k]->bit_screens()->screens.empty()) {
      EXPECT_GT(rejected[k], 0) << motifs[k].name;
      ++screening;
    }
    if (!motifs[k].built_here)
      continue;
    // Through the screened database: the same hits, every rejected entry reported, never read.
    MotifSearch search;
    search.set_use_filters(false);
    ::testing::internal::CaptureStdout();
    search.search(screened, motifs[k].motif);
    const std::string out = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(search.results()->db_ids(), reference[k]->results()->db_ids()) << motifs[k].name;
    int reported = 0;
    for (std::size_t at = out.find("CAUGHT BY PRESCREEN: "); at != std::string::npos;
         at = out.find("CAUGHT BY PRESCREEN: ", at + 1))
      ++reported;
    EXPECT_EQ(reported, rejected_plain[k]) << motifs[k].name;
  }
  EXPECT_GE(screening, 60);
  std::filesystem::remove_all(dir);
}

} // namespace
} // namespace xtalmotif
