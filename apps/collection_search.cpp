#include "apps/collection_search.h"

#include "kernel/aser_bit_screens.h"
#include "library/silver_carboxylate_motifs.h"
#include "motif/motif_search_lib_functions.h"
#include "search/motif_search.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace xtalmotif::app {

namespace {

THandle<Filters> make_filters(const std::array<bool, 7>& f) {
  return make_handle<Filters>(f[0], f[1], f[2], f[3], f[4], f[5], f[6]);
}

bool any(const std::array<bool, 7>& f) {
  for (bool b : f)
    if (b)
      return true;
  return false;
}

// One worker: its own motif and search objects, so that no query or search state is shared
// between threads; the database is read-only.
class Worker {
public:
  Worker(const Database<CrystalStructureDatabaseEntry>& db, const AserDatabase* screens,
         const MotifChoice& choice, const SearchOptions& options)
      : db_(db), screens_(screens), options_(options), motif_(choice.build()),
        filters_(make_filters(options.filters)) {}

  EntryOutcome run(int index, CifFileReader& reader) {
    EntryOutcome out;
    try {
      THandle<CrystalStructureDatabaseEntry> entry = db_.entry(index);
      out.id = entry->identifier();
      out.file = entry->source_file();
      out.block = entry->block_name();
      if (screens_ && !passes_screens(out))
        return out;
      THandle<CrystalMaker> crystal = entry->crystal(reader);
      if (!screens_ && any(options_.filters) &&
          !entry_screens(*crystal).satisfies(*filters_->bit_screens())) {
        out.status = EntryStatus::Filtered;
        return out;
      }
      if (options_.remove_silver_bonds)
        SilverCarboxylateMotifs::remove_silver_bonds(crystal);
      out.candidate = MotifSearchLibFunctions::holds_every_substructure(*motif_, *crystal);
      // A fresh search per entry: the match counter and the breadcrumb memories start empty.
      MotifSearch search;
      const unsigned int ceiling = std::max(1u, options_.ceiling);
      search.set_limit(options_.limit == 0 ? ceiling : options_.limit);
      search.set_search_structure(crystal, out.id);
      search.search(motif_, 0);
      out.aborted = search.aborted();
      THandle<MotifMatchList> found = search.results()->motif_matches(out.id);
      out.matches.assign(found->begin(), found->end());
      out.capped = options_.limit == 0 && out.matches.size() >= ceiling;
      if (!out.matches.empty()) {
        out.crystal = crystal;
        out.resource = search.resource();
      }
    } catch (const std::exception& e) {
      out.status = EntryStatus::Refused;
      out.reason = e.what();
      out.matches.clear();
    }
    return out;
  }

private:
  bool passes_screens(EntryOutcome& out) {
    // The screen checks live on the search object; one kept per worker is enough for them.
    if (!screener_) {
      screener_ = make_handle<MotifSearch>();
      screener_->set_motif(motif_);
      screener_->set_filters(filters_);
    }
    if (any(options_.filters) && !screener_->check_filters(handle_of_screens(), out.id)) {
      out.status = EntryStatus::Filtered;
      return false;
    }
    if (options_.prescreen && !screener_->prescreen_aser(handle_of_screens(), out.id)) {
      out.status = EntryStatus::Prescreened;
      return false;
    }
    return true;
  }

  // The library's screen tests take a handle; the index outlives every worker, so a handle that
  // does not own it is safe here.
  THandle<AserDatabase> handle_of_screens() const {
    return THandle<AserDatabase>(std::shared_ptr<AserDatabase>(
        std::shared_ptr<AserDatabase>(), const_cast<AserDatabase*>(screens_)));
  }

  const Database<CrystalStructureDatabaseEntry>& db_;
  const AserDatabase* screens_;
  const SearchOptions& options_;
  THandle<Motif> motif_;
  THandle<Filters> filters_;
  THandle<MotifSearch> screener_;
};

} // namespace

std::vector<EntryOutcome> search_collection(const Database<CrystalStructureDatabaseEntry>& db,
                                            const AserDatabase* screens, const MotifChoice& motif,
                                            const SearchOptions& options,
                                            SearchProgress& progress,
                                            const std::function<void()>& tick) {
  const int n = db.nentries();
  std::vector<EntryOutcome> outcomes(n);
  std::atomic<int> next{0};
  std::atomic<bool> failed{false};
  std::mutex error_mutex;
  std::string worker_error;

  // A worker takes a run of entries at a time: the blocks of one gzipped file are read in one
  // pass through one reader, the other entries one by one.
  const std::vector<int> runs = run_starts(db);
  const int nruns = static_cast<int>(runs.size());
  auto work = [&]() {
    try {
      Worker worker(db, screens, motif, options);
      for (int r = next++; r < nruns; r = next++) {
        const int first = runs[static_cast<std::size_t>(r)];
        CifFileReader reader(db.entry(first)->source_file());
        for (int i = first; i < db.run_end(first) && !failed; ++i) {
          outcomes[i] = worker.run(i, reader);
          if (!outcomes[i].matches.empty())
            ++progress.hits;
          ++progress.done;
        }
      }
    } catch (const std::exception& e) {
      // Building the motif failed: nothing can be searched by this worker.
      std::lock_guard<std::mutex> lock(error_mutex);
      worker_error = e.what();
      failed = true;
      next = nruns;
    }
  };

  int jobs = std::max(1, std::min(options.jobs, std::max(1, n)));
  // The calling thread only draws progress: it wakes every 100 ms, and at once when the last
  // worker ends, so that a short search does not wait out a whole tick.
  std::mutex finish_mutex;
  std::condition_variable finished;
  int running = jobs;
  std::vector<std::thread> threads;
  for (int j = 0; j < jobs; ++j)
    threads.emplace_back([&] {
      work();
      std::lock_guard<std::mutex> lock(finish_mutex);
      if (--running == 0)
        finished.notify_one();
    });
  {
    std::unique_lock<std::mutex> lock(finish_mutex);
    while (running > 0) {
      lock.unlock();
      if (tick)
        tick();
      lock.lock();
      finished.wait_for(lock, std::chrono::milliseconds(100), [&] { return running == 0; });
    }
  }
  for (auto& t : threads)
    t.join();
  if (!worker_error.empty())
    throw UsageError(worker_error);
  return outcomes;
}

} // namespace xtalmotif::app
