// Motif searches over the bulk collection of real structures, with and without the screen
// index, against the time it takes only to read the same structures.
//
// Reported per benchmark: structures/s (entries of the collection per second of processor time),
// x_parse (processor time of the pass divided by that of a read-only pass over the same files,
// so that the figure means the same on any machine), hits (entries holding the motif) and read
// (entries read: all of them without screens, those passing the prescreen with them). Processor
// time is used throughout so that other work on the machine does not distort the figures.

#include "db/aser_database.h"
#include "db/database.h"
#include "library/silver_carboxylate_motifs.h"
#include "library/water_motifs.h"
#include "search/motif_search.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>

using namespace xtalmotif;

namespace {

using Clock = std::chrono::steady_clock;

// Processor time of this process in seconds; the benchmarks run on one thread.
double cpu_seconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

// The centrosymmetric carboxylic acid dimer: two C(=O)O-H groups, each hydroxyl H 1.5 to 2.2 A
// from the other group's carbonyl O.
THandle<Motif> acid_dimer() {
  auto acid = [] {
    auto s = make_handle<MotifSubstructure>();
    s->add(make_handle<SubstructureAtom>(Element("C")));
    s->add(make_handle<SubstructureAtom>(Element("O")));
    s->add(make_handle<SubstructureAtom>(Element("O")));
    s->add(make_handle<SubstructureAtom>(Element("H")));
    s->add(make_handle<SubstructureBond>(BondType::Double), 0, 1);
    s->add(make_handle<SubstructureBond>(BondType::Single), 0, 2);
    s->add(make_handle<SubstructureBond>(BondType::Single), 2, 3);
    return s;
  };
  auto hbond = [] {
    return make_handle<CombinedCriterion>(false, 2.2, 1.5, ContactType::Inter, 4, 999, false,
                                          make_handle<ElementSet>(), make_handle<ElementSet>());
  };
  auto m = make_handle<Motif>("acid dimer");
  m->add_substructure(acid());
  m->add_substructure(acid());
  m->add_contact(make_handle<MotifContact>(0, 3, 1, 1, hbond()));
  m->add_contact(make_handle<MotifContact>(1, 3, 0, 1, hbond()));
  return m;
}

THandle<Motif> motif_number(int k) {
  switch (k) {
  case 0:
    return acid_dimer();
  case 1:
    return WaterMotifs::make_ring_of_six();
  case 2:
    return SilverCarboxylateMotifs::make_pattern6();
  }
  throw std::out_of_range("no motif " + std::to_string(k));
}

const char* motif_name(int k) {
  static const char* names[] = {"acid_dimer", "water_ring6", "silver_carboxylate"};
  return names[k];
}

// The bulk collection, its screen index (built once, in a temporary folder, outside any timed
// region) and the wall time of one read-only pass.
struct Bulk {
  std::string folder = std::string(XTALMOTIF_DATA_DIR) + "/bulk";
  std::filesystem::path scratch;
  THandle<CifDatabase> plain;
  THandle<AserDatabase> screened;
  double parse_seconds = 0.0;

  Bulk() {
    if (!std::filesystem::is_directory(folder))
      throw std::runtime_error("bulk structures not found at " + folder);
    scratch = std::filesystem::temp_directory_path() /
              ("xtalmotif_bench_" + std::to_string(Clock::now().time_since_epoch().count()));
    std::filesystem::create_directories(scratch);
    plain = make_handle<CifDatabase>(std::vector<std::string>{folder});
    build_screen_index(*plain, (scratch / "bulk.db").string());
    screened =
        make_handle<AserDatabase>(std::vector<std::string>{folder}, (scratch / "bulk.db").string());
    // One untimed pass, so that the timed read-only pass does not alone pay for warming the
    // allocator and the file cache.
    read_all();
  }
  ~Bulk() {
    std::error_code ignored;
    std::filesystem::remove_all(scratch, ignored);
  }

  // Reads every entry once; the structures are dropped at once.
  int read_all() const {
    int read = 0;
    for (int i = 0; i < plain->nentries(); ++i) {
      try {
        benchmark::DoNotOptimize(plain->entry(i)->crystal());
        ++read;
      } catch (const std::exception&) {
        // Unreadable blocks cost their reading time all the same.
      }
    }
    return read;
  }

  double parse_time() {
    if (parse_seconds == 0.0) {
      const double start = cpu_seconds();
      read_all();
      parse_seconds = cpu_seconds() - start;
    }
    return parse_seconds;
  }
};

Bulk& bulk() {
  static Bulk b;
  return b;
}

// Silences the prescreen's report lines while a screened search runs.
class QuietStdout {
public:
  QuietStdout() : saved_(std::cout.rdbuf(sink_.rdbuf())) {}
  ~QuietStdout() { std::cout.rdbuf(saved_); }

private:
  std::ostringstream sink_;
  std::streambuf* saved_;
};

void BM_ParseOnly(benchmark::State& state) {
  Bulk& b = bulk();
  double total = 0.0;
  int read = 0;
  for (auto _ : state) {
    const double start = cpu_seconds();
    read = b.read_all();
    total += cpu_seconds() - start;
  }
  b.parse_seconds = total / static_cast<double>(state.iterations());
  state.counters["structures/s"] =
      benchmark::Counter(b.plain->nentries(), benchmark::Counter::kIsIterationInvariantRate);
  state.counters["read"] = read;
  state.counters["x_parse"] = 1.0;
}

void BM_Search(benchmark::State& state) {
  Bulk& b = bulk();
  const int k = static_cast<int>(state.range(0));
  const bool screened = state.range(1) != 0;
  state.SetLabel(std::string(motif_name(k)) + (screened ? " screened" : " unscreened"));
  const double parse = b.parse_time();
  THandle<Motif> motif = motif_number(k);

  double total = 0.0;
  int hits = 0;
  double read = 0.0;
  for (auto _ : state) {
    MotifSearch search;
    search.set_use_filters(false);
    const double start = cpu_seconds();
    if (screened) {
      QuietStdout quiet;
      search.search(b.screened, motif);
    } else {
      search.search(THandle<Database<CrystalStructureDatabaseEntry>>(b.plain), motif);
    }
    total += cpu_seconds() - start;
    hits = search.results()->nentries();
    auto t = search.timers().find(MotifSearch::timer_read);
    read = t == search.timers().end() ? 0.0 : static_cast<double>(t->second->count());
  }
  const double per_pass = total / static_cast<double>(state.iterations());
  state.counters["structures/s"] =
      benchmark::Counter(b.plain->nentries(), benchmark::Counter::kIsIterationInvariantRate);
  state.counters["x_parse"] = per_pass / parse;
  state.counters["hits"] = hits;
  state.counters["read"] = read;
}

} // namespace

BENCHMARK(BM_ParseOnly)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Search)
    ->ArgsProduct({{0, 1, 2}, {0, 1}})
    ->ArgNames({"motif", "screened"})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
