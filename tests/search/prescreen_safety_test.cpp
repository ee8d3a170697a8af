// The prescreen may only save work, never lose hits. Over the bulk collection: the screen index
// holds for every structure the screens computed from it; for every ready-made motif, every
// shipped query and a few motifs built here, no entry that a search of every structure hits is
// screened out; and a screened search of the motifs built here finds exactly those hits.

#include "apps/motif_catalog.h"
#include "db/aser_database.h"
#include "library/silver_carboxylate_motifs.h"
#include "search/motif_search.h"
#include "search_test_support.h"
#include "test_data.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

using testing::absolute_criterion;
using testing::contact;
using testing::query_atom;
using testing::vdw_criterion;

THandle<MotifSubstructure> bonded(std::vector<const char*> symbols,
                                  std::vector<std::tuple<int, int, BondType>> bonds) {
  auto s = make_handle<MotifSubstructure>();
  for (const char* sym : symbols)
    s->add(query_atom(sym));
  for (const auto& [a, b, type] : bonds)
    s->add(make_handle<SubstructureBond>(type), a, b);
  return s;
}

// Amide N-H...O=C between molecules: C (0), O (1), N (2), H (3).
THandle<Motif> amide_hbond_motif() {
  auto amide = [] {
    return bonded({"C", "O", "N", "H"},
                  {{0, 1, BondType::Double}, {0, 2, BondType::Single}, {2, 3, BondType::Single}});
  };
  auto m = make_handle<Motif>("amide");
  m->add_substructure(amide());
  m->add_substructure(amide());
  m->add_contact(contact(0, 3, 1, 1, absolute_criterion(1.6, 2.4, ContactType::Inter)));
  return m;
}

// C-Cl...O within the van der Waals radius sum.
THandle<Motif> chlorine_oxygen_motif() {
  auto m = make_handle<Motif>("Cl...O");
  m->add_substructure(bonded({"C", "Cl"}, {{0, 1, BondType::Single}}));
  m->add_substructure(bonded({"O"}, {}));
  m->add_contact(contact(0, 1, 1, 0, vdw_criterion(-1.0, 0.0, ContactType::Inter)));
  return m;
}

// N-H...N hydrogen bond.
THandle<Motif> nh_n_motif() {
  auto m = make_handle<Motif>("NH...N");
  m->add_substructure(bonded({"N", "H"}, {{0, 1, BondType::Single}}));
  m->add_substructure(bonded({"N"}, {}));
  m->add_contact(contact(0, 1, 1, 0, absolute_criterion(1.7, 2.4, ContactType::Inter)));
  return m;
}

// O-H...O hydrogen bond from a hydroxyl to a carbonyl oxygen.
THandle<Motif> hydroxyl_carbonyl_motif() {
  auto m = make_handle<Motif>("OH...O=C");
  m->add_substructure(
      bonded({"C", "O", "H"}, {{0, 1, BondType::Single}, {1, 2, BondType::Single}}));
  m->add_substructure(bonded({"C", "O"}, {{0, 1, BondType::Double}}));
  m->add_contact(contact(0, 2, 1, 1, absolute_criterion(1.5, 2.3, ContactType::Inter)));
  return m;
}

struct NamedMotif {
  std::string name;
  THandle<Motif> motif;
  bool remove_silver_bonds = false; // prepared as the program prepares the silver patterns
  bool built_here = false;          // also searched through the screened database
};

// The motifs built here, then every ready-made motif, then every shipped query file.
std::vector<NamedMotif> safety_motifs() {
  std::vector<NamedMotif> out = {{"acid dimer", testing::acid_dimer_motif(), false, true},
                                 {"water pair", testing::water_pair_motif(), false, true},
                                 {"silver carboxylate", testing::silver_carboxylate_motif(), false,
                                  true},
                                 {"amide", amide_hbond_motif(), false, true},
                                 {"Cl...O", chlorine_oxygen_motif(), false, true},
                                 {"NH...N", nh_n_motif(), false, true},
                                 {"OH...O=C", hydroxyl_carbonyl_motif(), false, true}};
  for (const auto& e : app::motif_catalog())
    out.push_back({e.name, e.build(), static_cast<bool>(e.prepare)});
  const auto queries = testing::source_dir() / "data" / "queries";
  for (const auto& f : std::filesystem::directory_iterator(queries)) {
    app::MotifChoice query = app::choose_motif(f.path().string());
    out.push_back({f.path().filename().string(), query.build(), static_cast<bool>(query.prepare)});
  }
  return out;
}

std::set<std::string> hit_ids(const MotifSearchResults& r) {
  std::set<std::string> out;
  for (const auto& id : r.db_ids())
    out.insert(id.str());
  return out;
}

int count_lines(const std::string& text, const std::string& prefix) {
  std::istringstream in(text);
  int n = 0;
  for (std::string line; std::getline(in, line);)
    n += line.rfind(prefix, 0) == 0 ? 1 : 0;
  return n;
}

// The screen index of the bulk collection, reopened, holds for every structure the screens
// computed directly from it. No entry that the prescreen rejects for a motif holds that motif
// (each such entry is searched in full, which is cheap, since it lacks what the motif needs),
// and a screened search of the motifs built here finds exactly what a full search finds.
TEST(PrescreenSafetyTest, NoMotifLosesAHitToThePrescreenOverTheBulkCollection) {
  const std::string missing = testing::missing_collection("bulk");
  if (!missing.empty())
    GTEST_SKIP() << missing;
  const std::string bulk = (testing::data_dir() / "bulk").string();
  const auto dir = std::filesystem::temp_directory_path() /
                   ("xtalmotif_safety_" +
                    std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
  std::filesystem::create_directories(dir);
  const std::string index = (dir / "bulk.db").string();
  build_screen_index(CifDatabase({bulk}), index);
  auto screened = make_handle<AserDatabase>(std::vector<std::string>{bulk}, index);
  ASSERT_GE(screened->nentries(), 300);

  const auto motifs = safety_motifs();
  ASSERT_GT(motifs.size(), 100u);
  std::vector<THandle<MotifSearch>> reference, screen;
  for (const auto& m : motifs) {
    reference.push_back(make_handle<MotifSearch>());
    screen.push_back(make_handle<MotifSearch>());
    screen.back()->set_motif(m.motif);
  }
  // Each entry is read once, and searched for a motif when the motif was built here or when the
  // prescreen rejects the entry for it.
  CifDatabase plain({bulk});
  int readable = 0;
  std::vector<int> rejected(motifs.size(), 0);
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
    EXPECT_EQ(*screened->aser(id), entry_screens(*crystal)) << id;
    THandle<CrystalMaker> silver = copy_crystal(*crystal);
    SilverCarboxylateMotifs::remove_silver_bonds(silver);
    for (std::size_t k = 0; k < motifs.size(); ++k) {
      const bool passes = screen[k]->prescreen_aser(screened, id);
      rejected[k] += passes ? 0 : 1;
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
    // Through the screened database: the same hits, and the rejected entries never read.
    MotifSearch search;
    search.set_use_filters(false);
    ::testing::internal::CaptureStdout();
    search.search(screened, motifs[k].motif);
    const std::string out = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(hit_ids(*search.results()), hit_ids(*reference[k]->results())) << motifs[k].name;
    EXPECT_EQ(count_lines(out, "CAUGHT BY PRESCREEN: "), rejected[k]) << motifs[k].name;
  }
  EXPECT_GE(screening, 60);
  std::filesystem::remove_all(dir);
}

} // namespace
} // namespace xtalmotif
