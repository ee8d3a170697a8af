// Ready-made motifs searched over the bulk collection as the program searches it (one thread),
// without the screen index and through it (with stored structures and the ready-made motifs'
// screens, as `xtalmotif index --store-structures` makes it), against the time gemmi alone takes to
// read the same files into its small-structure model.
//
// Reported per motif: read (entries read and searched), skipped (the fraction of the collection
// the index let alone), hits (entries holding the motif), aborted (entries stopped at the work
// budget), cpu_ms (processor time of the whole search), slowest_entry_ms and, through the index,
// x_unscreened (the unscreened time divided by this one: the index's speed-up). Unscreened searches
// also report x_gemmi: the gemmi reading time divided by the search's, the search's throughput as a
// fraction of gemmi's (1 would be as fast as gemmi reading the files and doing nothing else).
// Processor time is used throughout, so that other work on the machine does not distort it, and
// every ratio is measured within the one run.
//
// The motifs are the acid dimer, a water ring, a silver pattern, an amide chain and an R3 ribbon;
// XTALMOTIF_BENCH_MOTIFS=all searches every ready-made motif instead, and a list separated by
// '|' names others. BM_FixedCost measures what a search costs before it reaches its first entry:
// a search of one tiny file, motif chosen and built included.

#include "apps/motif_catalog.h"
#include "crystal/cif_reader.h"
#include "db/aser_database.h"
#include "db/database.h"
#include "search/collection_search.h"
#include "search/indexed_screens.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

using namespace xtalmotif;

namespace {

double cpu_seconds() {
  timespec t;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

std::vector<std::string> motif_names() {
  const char* chosen = std::getenv("XTALMOTIF_BENCH_MOTIFS");
  std::vector<std::string> names;
  if (chosen && std::string(chosen) == "all") {
    for (const auto& e : app::motif_catalog())
      names.push_back(e.name);
    return names;
  }
  std::istringstream in(chosen ? chosen
                               : "carboxylic acid dimer|water ring of six|silver pattern1|"
                                 "trans-amide pair|R3 ribbon");
  for (std::string name; std::getline(in, name, '|');)
    names.push_back(name);
  return names;
}

// The bulk collection's screen index, built once in a temporary folder outside any timed region,
// and the time gemmi takes to read the collection.
struct Bulk {
  std::string folder = std::string(XTALMOTIF_DATA_DIR) + "/bulk";
  std::filesystem::path scratch;
  THandle<CifDatabase> plain;
  double gemmi_seconds = 0.0;
  std::map<std::string, double> unscreened_seconds;

  Bulk() {
    if (!std::filesystem::is_directory(folder))
      throw std::runtime_error("bulk structures not found at " + folder);
    scratch = std::filesystem::temp_directory_path() /
              ("xtalmotif_bench_" +
               std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
    std::filesystem::create_directories(scratch);
    plain = make_handle<CifDatabase>(std::vector<std::string>{folder});
    // As `xtalmotif index --store-structures` builds it: stored structures and the screens of
    // the ready-made motifs.
    ScreenIndexOptions options;
    options.store_structures = true;
    options.screens = motif_screens(app::screened_catalog_motifs());
    const double start = cpu_seconds();
    build_screen_index(*plain, (scratch / "bulk.db").string(), options);
    index_seconds = cpu_seconds() - start;
  }
  std::string index_path() const { return (scratch / "bulk.db").string(); }
  double index_seconds = 0.0;
  ~Bulk() {
    std::error_code ignored;
    std::filesystem::remove_all(scratch, ignored);
  }
};

Bulk& bulk() {
  static Bulk b;
  return b;
}

struct Outcome {
  double seconds = 0, slowest = 0; // the whole search; the slowest entry
  int read = 0, hits = 0, aborted = 0;
};

double thread_cpu_seconds() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

Outcome search(const std::string& name, bool through_index) {
  Bulk& b = bulk();
  const app::MotifChoice choice = app::choose_motif(name);
  CollectionSearchSettings settings;
  settings.limit = 0; // every match, up to the ceiling, as the program searches
  settings.prepare = choice.prepare;
  Outcome o;
  const double start = cpu_seconds();
  // The collection is opened inside the timed region, as the program opens it: unscreened, every
  // file is read once to list its blocks before any is searched.
  THandle<AserDatabase> screened;
  THandle<Database<CrystalStructureDatabaseEntry>> db;
  if (through_index)
    db = screened = make_handle<AserDatabase>(std::vector<std::string>{b.folder}, b.index_path());
  else
    db = make_handle<CifDatabase>(std::vector<std::string>{b.folder});
  CollectionSearch cs(db, screened, settings);
  // Entries are searched one after the other on this thread: each ends at its callback.
  double last = thread_cpu_seconds();
  const std::vector<EntryOutcome> outcomes =
      cs.search(choice.build, nullptr, [&](int, const EntryOutcome&) {
        const double now = thread_cpu_seconds();
        o.slowest = std::max(o.slowest, now - last);
        last = now;
      });
  o.seconds = cpu_seconds() - start;
  for (const EntryOutcome& e : outcomes) {
    o.read += e.status == EntryStatus::Searched ? 1 : 0;
    o.hits += e.matches.empty() ? 0 : 1;
    o.aborted += e.aborted ? 1 : 0;
  }
  return o;
}

void BM_GemmiRead(benchmark::State& state) {
  Bulk& b = bulk();
  std::vector<std::string> problems;
  const auto files = CifDatabase::list_source_files({b.folder}, problems);
  long sites = 0;
  for (auto _ : state) {
    const double start = cpu_seconds();
    for (const auto& f : files) {
      try {
        sites += read_cif_blocks_with_gemmi(f);
      } catch (const std::exception&) {
        // A file gemmi cannot read costs its reading time all the same.
      }
    }
    b.gemmi_seconds = cpu_seconds() - start;
  }
  state.counters["cpu_ms"] = 1e3 * b.gemmi_seconds;
  state.counters["sites"] = static_cast<double>(sites);
  state.counters["index_build_ms"] = 1e3 * b.index_seconds;
}

void BM_Search(benchmark::State& state, const std::string& name, bool through_index) {
  Bulk& b = bulk();
  Outcome o;
  for (auto _ : state)
    o = search(name, through_index);
  const int n = b.plain->nentries();
  state.counters["read"] = o.read;
  state.counters["skipped"] = 1.0 - static_cast<double>(o.read) / n;
  state.counters["hits"] = o.hits;
  state.counters["aborted"] = o.aborted;
  state.counters["cpu_ms"] = 1e3 * o.seconds;
  state.counters["slowest_entry_ms"] = 1e3 * o.slowest;
  if (!through_index) {
    b.unscreened_seconds[name] = o.seconds;
    if (b.gemmi_seconds > 0)
      state.counters["x_gemmi"] = b.gemmi_seconds / o.seconds;
  } else if (b.unscreened_seconds.count(name)) {
    state.counters["x_unscreened"] = b.unscreened_seconds[name] / o.seconds;
  }
}

void BM_FixedCost(benchmark::State& state) {
  const auto file = std::filesystem::temp_directory_path() / "xtalmotif_bench_tiny.cif";
  std::ofstream(file) << "data_tiny\n_cell_length_a 10\n_cell_length_b 10\n_cell_length_c 10\n"
                         "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
                         "_symmetry_space_group_name_H-M 'P 1'\nloop_\n_atom_site_label\n"
                         "_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n"
                         "O1 0.1 0.1 0.1\n";
  double total = 0;
  for (auto _ : state) {
    const double start = cpu_seconds();
    const app::MotifChoice choice = app::choose_motif("R3 ribbon");
    CollectionSearch cs(make_handle<CifDatabase>(std::vector<std::string>{file.string()}),
                        THandle<AserDatabase>(), CollectionSearchSettings());
    benchmark::DoNotOptimize(cs.search(choice.build));
    total += cpu_seconds() - start;
  }
  std::filesystem::remove(file);
  state.counters["cpu_ms"] = 1e3 * total / static_cast<double>(state.iterations());
}

} // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  // The fixed cost first, before anything is built: a search pays it on its own.
  benchmark::RegisterBenchmark("BM_FixedCost", BM_FixedCost)
      ->Iterations(1)
      ->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("BM_GemmiRead", BM_GemmiRead)
      ->Iterations(1)
      ->Unit(benchmark::kMillisecond);
  for (const std::string& name : motif_names())
    for (bool through_index : {false, true})
      benchmark::RegisterBenchmark(
          ("BM_Search/" + name + (through_index ? "/index" : "/unscreened")).c_str(),
          [name, through_index](benchmark::State& s) { BM_Search(s, name, through_index); })
          ->Iterations(1)
          ->Unit(benchmark::kMillisecond);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
