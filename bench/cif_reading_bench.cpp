// The cost of turning CIF files into crystals, measured against the parser alone on the same
// files in one run: gemmi's parse of every data block of every file, then parse + molecule
// assembly + bond perception of every block that has atom sites, each read from its place in
// its file as a database entry reads it. The ratio (full / parse) is the figure to watch;
// assembly and perception should add at most half again to the parse.

#include "crystal/cif_reader.h"
#include "db/database.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

using namespace xtalmotif;

namespace {

const std::vector<std::string>& bulk_files() {
  static const std::vector<std::string> files = [] {
    std::vector<std::string> problems;
    return CifDatabase::list_source_files({std::string(XTALMOTIF_DATA_DIR) + "/bulk"}, problems);
  }();
  return files;
}

const std::vector<CifBlockInfo>& bulk_blocks() {
  static const std::vector<CifBlockInfo> blocks = [] {
    std::vector<CifBlockInfo> out;
    for (const auto& f : bulk_files()) {
      try {
        for (const auto& b : list_cif_blocks(f))
          if (b.has_atom_sites)
            out.push_back(b);
      } catch (const CifError&) {
      }
    }
    return out;
  }();
  return blocks;
}

// Each side keeps its fastest pass over the collection, the figure least disturbed by the
// machine.
void keep_fastest(double& best, double pass) { best = best > 0 ? std::min(best, pass) : pass; }

double parse_seconds = 0.0;

void BM_ParseOnly(benchmark::State& state) {
  long blocks = 0;
  for (auto _ : state) {
    auto start = std::chrono::steady_clock::now();
    for (const auto& f : bulk_files()) {
      try {
        blocks += parse_cif_blocks(f);
      } catch (const CifError&) {
      }
    }
    const double pass = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    keep_fastest(parse_seconds, pass);
  }
  state.counters["files"] = static_cast<double>(bulk_files().size());
  state.counters["blocks_per_s"] = benchmark::Counter(static_cast<double>(blocks),
                                                      benchmark::Counter::kIsRate);
}

void BM_ParseAssemblePerceive(benchmark::State& state) {
  long built = 0;
  double seconds = 0.0;
  for (auto _ : state) {
    auto start = std::chrono::steady_clock::now();
    for (const auto& b : bulk_blocks()) {
      try {
        auto crystal = read_crystal(b);
        benchmark::DoNotOptimize(crystal);
        ++built;
      } catch (const CifError&) {
      }
    }
    const double pass = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    keep_fastest(seconds, pass);
  }
  state.counters["structures_per_s"] =
      benchmark::Counter(static_cast<double>(built), benchmark::Counter::kIsRate);
  if (parse_seconds > 0)
    state.counters["ratio_to_parse"] = seconds / parse_seconds;
}

} // namespace

BENCHMARK(BM_ParseOnly)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_ParseAssemblePerceive)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK_MAIN();
