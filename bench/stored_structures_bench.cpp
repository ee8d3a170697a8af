// Loading stored structures against reading them from CIF, over every entry of the bulk
// collection in one run: a screen index built with --store-structures, then each entry's
// structure read as a search of a plain index reads it (parse and assembly of its block) and as
// a search of the stored index loads it (one row of the index turned back into the crystal).
// The counter cif_over_stored (CIF time / stored time) is the figure to watch: loading should be
// at least ten times faster.

#include "db/aser_database.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <unistd.h>

using namespace xtalmotif;

namespace {

// The bulk collection indexed with its structures stored, once for the run; the index file is
// removed when the program ends.
struct StoredBulk {
  std::filesystem::path dir;
  std::unique_ptr<AserDatabase> stored;
  std::unique_ptr<CifDatabase> from_cif; // the same entries, read from their CIF text

  StoredBulk() {
    dir = std::filesystem::temp_directory_path() /
          ("xtalmotif-stored-bench-" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    const std::string index = (dir / "bulk.idx").string();
    ScreenIndexOptions options;
    options.store_structures = true;
    build_screen_index(CifDatabase({std::string(XTALMOTIF_DATA_DIR) + "/bulk"}), index, options);
    stored = std::make_unique<AserDatabase>(index);
    std::vector<CifEntryLocation> locations;
    for (int i = 0; i < stored->nentries(); ++i)
      locations.push_back(stored->location(i));
    from_cif = std::make_unique<CifDatabase>(stored->sources(), std::move(locations));
  }
  ~StoredBulk() {
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
  }
};

StoredBulk& bulk() {
  static StoredBulk b;
  return b;
}

// Each side keeps its fastest pass over the collection, the figure least disturbed by the
// machine.
void keep_fastest(double& best, double pass) { best = best > 0 ? std::min(best, pass) : pass; }

double cif_seconds = 0.0;

// Every entry read from its CIF block, the blocks of one file through one reader, as a search
// reads them.
void BM_ReadFromCif(benchmark::State& state) {
  const CifDatabase& db = *bulk().from_cif;
  long read = 0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    for (int first : run_starts(db)) {
      CifFileReader reader(db.location(first).file);
      for (int i = first; i < db.run_end(first); ++i) {
        try {
          auto crystal = db.entry(i)->crystal(reader);
          benchmark::DoNotOptimize(crystal);
          ++read;
        } catch (const CifError&) {
        }
      }
    }
    keep_fastest(cif_seconds,
                 std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  state.counters["entries"] = static_cast<double>(db.nentries());
  state.counters["structures_per_s"] =
      benchmark::Counter(static_cast<double>(read), benchmark::Counter::kIsRate);
}

// Every entry loaded from the index.
void BM_LoadStored(benchmark::State& state) {
  const AserDatabase& db = *bulk().stored;
  long loaded = 0;
  double seconds = 0.0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < db.nentries(); ++i) {
      auto crystal = db.entry(i)->crystal();
      benchmark::DoNotOptimize(crystal);
      ++loaded;
    }
    keep_fastest(seconds,
                 std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  state.counters["entries"] = static_cast<double>(db.nentries());
  state.counters["structures_per_s"] =
      benchmark::Counter(static_cast<double>(loaded), benchmark::Counter::kIsRate);
  if (cif_seconds > 0 && seconds > 0)
    state.counters["cif_over_stored"] = cif_seconds / seconds;
}

} // namespace

BENCHMARK(BM_ReadFromCif)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_LoadStored)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK_MAIN();
