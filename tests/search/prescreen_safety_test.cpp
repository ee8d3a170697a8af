// The prescreen may only save work, never lose hits: over the bulk collection, searching with the
// screen index finds exactly the entries that a search of every structure finds.

#include "kernel/aser_database.h"
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
};

std::vector<NamedMotif> safety_motifs() {
  return {{"acid dimer", testing::acid_dimer_motif()},
          {"water pair", testing::water_pair_motif()},
          {"silver carboxylate", testing::silver_carboxylate_motif()},
          {"amide", amide_hbond_motif()},
          {"Cl...O", chlorine_oxygen_motif()},
          {"NH...N", nh_n_motif()},
          {"OH...O=C", hydroxyl_carbonyl_motif()}};
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
// computed directly from it, and a screened search of it finds every hit a full search does.
TEST(PrescreenSafetyTest, ScreenedSearchOfTheBulkCollectionLosesNoHit) {
  const std::string bulk = xtalmotif::testing::require_data("bulk").string();
  const auto dir = std::filesystem::temp_directory_path() /
                   ("xtalmotif_safety_" +
                    std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
  std::filesystem::create_directories(dir);
  const std::string index = (dir / "bulk.db").string();
  ScreenIndexOptions options;
  options.threads = 2;
  build_screen_index(CifDatabase({bulk}), index, options);
  auto screened = make_handle<AserDatabase>(std::vector<std::string>{bulk}, index);
  ASSERT_GE(screened->nentries(), 300);

  const auto motifs = safety_motifs();

  // Every structure searched for every motif, without screens: each entry is read once.
  CifDatabase plain({bulk});
  std::vector<THandle<MotifSearch>> reference;
  for (std::size_t k = 0; k < motifs.size(); ++k)
    reference.push_back(make_handle<MotifSearch>());
  int readable = 0;
  for (int i = 0; i < plain.nentries(); ++i) {
    auto entry = plain.entry(i);
    THandle<CrystalMaker> crystal;
    try {
      crystal = entry->crystal();
    } catch (const std::exception&) {
      continue; // an unreadable entry is left out of the screened database as well
    }
    ++readable;
    // The index keeps exactly the screens the structure gives when computed afresh.
    ASSERT_TRUE(screened->contains(entry->identifier())) << entry->identifier();
    EXPECT_EQ(*screened->aser(entry->identifier()), entry_screens(*crystal)) << entry->identifier();
    for (std::size_t k = 0; k < motifs.size(); ++k) {
      reference[k]->set_search_structure(crystal, entry->identifier());
      reference[k]->search(motifs[k].motif, 0);
    }
  }
  EXPECT_EQ(readable, screened->nentries());

  int motifs_with_hits = 0;
  for (std::size_t k = 0; k < motifs.size(); ++k) {
    MotifSearch search;
    search.set_use_filters(false);
    ::testing::internal::CaptureStdout();
    search.search(screened, motifs[k].motif);
    const std::string out = ::testing::internal::GetCapturedStdout();
    const int caught = count_lines(out, "CAUGHT BY PRESCREEN: ");

    const auto expected = hit_ids(*reference[k]->results());
    EXPECT_EQ(hit_ids(*search.results()), expected) << motifs[k].name;
    // The screens did work: some entries were never read, and none of them was a hit.
    EXPECT_GT(caught, 0) << motifs[k].name;
    EXPECT_LE(static_cast<std::size_t>(caught) + expected.size(),
              static_cast<std::size_t>(screened->nentries()))
        << motifs[k].name;
    RecordProperty(motifs[k].name + " hits", static_cast<int>(expected.size()));
    RecordProperty(motifs[k].name + " caught", caught);
    motifs_with_hits += expected.empty() ? 0 : 1;
  }
  EXPECT_GE(motifs_with_hits, 5);
  std::filesystem::remove_all(dir);
}

} // namespace
} // namespace xtalmotif
