#include "search/collection_search.h"

#include "crystal/cif_reader.h"
#include "motif/motif_search_lib_functions.h"
#include "search/indexed_screens.h"
#include "search/motif_search.h"

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>

namespace xtalmotif {

namespace {

bool any_filter(const THandle<Filters>& f) {
  return !f.is_null() && !f->bit_screens()->screens.empty();
}

} // namespace

// One worker's own motif and search objects: no query or search state is shared between
// workers; the database and the index are only read.
class CollectionSearch::Worker {
public:
  Worker(const CollectionSearch& cs, THandle<Motif> motif) : cs_(cs), motif_(std::move(motif)) {
    if (!cs_.screens_.is_null()) {
      screener_.set_motif(motif_);
      // A prepared structure (bonds to silver cut) is not the one the index screened.
      if (!cs_.settings_.prepare)
        require_indexed_screens(*motif_, *cs_.screens_, *screener_.bit_screens());
      if (any_filter(cs_.settings_.filters))
        screener_.set_filters(cs_.settings_.filters);
    }
  }

  EntryOutcome run(int index, CifFileReader& reader) {
    const CollectionSearchSettings& settings = cs_.settings_;
    EntryOutcome out;
    try {
      // Where the database is the index itself, its screens are read by position: an entry
      // left out by them is not looked up at all, and is named only when every outcome is kept.
      const bool by_position = static_cast<const void*>(cs_.screens_.get()) ==
                               static_cast<const void*>(cs_.db_.get());
      const bool screened_out = by_position && !passes_screens(index, out);
      if (screened_out && !names_every_entry_)
        return out;
      THandle<CrystalStructureDatabaseEntry> entry = cs_.db_->entry(index);
      out.id = entry->identifier();
      out.file = entry->source_file();
      out.block = entry->block_name();
      if (screened_out)
        return out;
      if (!by_position && !cs_.screens_.is_null() && !passes_screens(out))
        return out;
      THandle<CrystalMaker> crystal = entry->crystal(reader);
      if (cs_.screens_.is_null() && any_filter(settings.filters) &&
          !entry_screens(*crystal).satisfies(*settings.filters->bit_screens())) {
        out.status = EntryStatus::Filtered;
        return out;
      }
      if (settings.prepare)
        settings.prepare(crystal);
      out.candidate = MotifSearchLibFunctions::holds_every_substructure(*motif_, *crystal);
      // An entry lacking one of the motif's groups cannot hold it: most entries of a survey
      // end here, before their symmetry environment is built.
      if (!out.candidate)
        return out;
      // A fresh search per entry: the match counter and the breadcrumb memories start empty.
      MotifSearch search;
      const unsigned int ceiling = std::max(1u, settings.ceiling);
      search.set_limit(settings.limit == 0 ? ceiling : settings.limit);
      search.set_work_budget(settings.work_budget);
      search.set_selective_order(true);
      search.set_search_structure(crystal, out.id);
      search.search(motif_, 0);
      out.aborted = search.aborted();
      THandle<MotifMatchList> found = search.results()->motif_matches(out.id);
      out.matches.assign(found->begin(), found->end());
      out.capped = settings.limit == 0 && out.matches.size() >= ceiling;
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

  /// Whether outcomes of entries left out by the index's screens carry the entries' names.
  void set_names_every_entry(bool names) { names_every_entry_ = names; }

private:
  // The same checks as passes_screens(out), by the entry's position in the index.
  bool passes_screens(int index, EntryOutcome& out) const {
    const AserDatabase& index_db = *cs_.screens_;
    if (any_filter(cs_.settings_.filters) &&
        !index_db.screens_agree(index, *cs_.settings_.filters->bit_screens())) {
      out.status = EntryStatus::Filtered;
      return false;
    }
    if (cs_.settings_.prescreen && !index_db.screens_agree(index, *screener_.bit_screens())) {
      out.status = EntryStatus::Prescreened;
      return false;
    }
    return true;
  }

  bool passes_screens(EntryOutcome& out) const {
    if (any_filter(cs_.settings_.filters) && !screener_.check_filters(cs_.screens_, out.id)) {
      out.status = EntryStatus::Filtered;
      return false;
    }
    if (cs_.settings_.prescreen && !screener_.prescreen_aser(cs_.screens_, out.id)) {
      out.status = EntryStatus::Prescreened;
      return false;
    }
    return true;
  }

  const CollectionSearch& cs_;
  THandle<Motif> motif_;
  // The screen checks live on a search object; one per worker is enough for them.
  MotifSearch screener_;
  bool names_every_entry_ = true;
};

CollectionSearch::CollectionSearch(THandle<Database<CrystalStructureDatabaseEntry>> db,
                                   THandle<AserDatabase> screens,
                                   CollectionSearchSettings settings)
    : db_(std::move(db)), screens_(std::move(screens)), settings_(std::move(settings)) {}

void CollectionSearch::run_entries(
    const std::function<THandle<Motif>()>& make_motif, Executor& executor,
    bool names_every_entry,
    const std::function<void(int index, EntryOutcome&& outcome, int worker)>& keep,
    const EntryCallback& on_entry) const {
  std::vector<std::unique_ptr<Worker>> workers(
      static_cast<std::size_t>(std::max(1, executor.workers())));
  // The unit of work is a run of entries: the blocks of one gzipped file are read in one pass
  // through one reader, the other entries one by one.
  const std::vector<int> runs = run_starts(*db_);
  executor.run(static_cast<int>(runs.size()), [&](int r, int w) {
    std::unique_ptr<Worker>& worker = workers[static_cast<std::size_t>(w)];
    if (!worker) {
      worker = std::make_unique<Worker>(*this, make_motif());
      worker->set_names_every_entry(names_every_entry);
    }
    const int first = runs[static_cast<std::size_t>(r)];
    // An entry read on its own needs no reader of the run: it is not looked up before its
    // screens are checked.
    const int end = db_->run_end(first);
    CifFileReader reader(end > first + 1 ? db_->entry(first)->source_file() : std::string());
    for (int i = first; i < end; ++i) {
      EntryOutcome out = worker->run(i, reader);
      if (on_entry)
        on_entry(i, out);
      keep(i, std::move(out), w);
    }
  });
}

std::vector<EntryOutcome> CollectionSearch::search(const std::function<THandle<Motif>()>& make_motif,
                                                   Executor* executor,
                                                   const EntryCallback& on_entry) const {
  Executor on_caller;
  std::vector<EntryOutcome> outcomes(static_cast<std::size_t>(db_->nentries()));
  run_entries(
      make_motif, executor ? *executor : on_caller, true,
      [&](int i, EntryOutcome&& out, int) {
        outcomes[static_cast<std::size_t>(i)] = std::move(out);
      },
      on_entry);
  return outcomes;
}

CollectionSurvey CollectionSearch::survey(const std::function<THandle<Motif>()>& make_motif,
                                          Executor* executor, const EntryCallback& on_entry,
                                          const InOrderCallback& in_order) const {
  Executor on_caller;
  Executor& ex = executor ? *executor : on_caller;
  auto notable = [](const EntryOutcome& out) {
    return !out.matches.empty() || out.aborted || out.status == EntryStatus::Refused;
  };
  // Each worker counts its entries in a part of its own.
  std::vector<CollectionTally> parts(static_cast<std::size_t>(std::max(1, ex.workers())));
  // The notable outcomes wait here, by place, until every entry before them is finished; then
  // they are passed on in order (to `in_order`, else into the survey). The entries are handed
  // out one run at a time, so few wait: those finished while an earlier one is still searched.
  CollectionSurvey survey;
  std::vector<std::string> aborted; // in database order, as passed on
  std::mutex mutex;
  std::vector<char> finished(static_cast<std::size_t>(db_->nentries()), 0);
  std::map<int, EntryOutcome> waiting;
  std::size_t next = 0;  // the first entry not yet finished
  bool passing = false;  // a worker is passing outcomes on
  run_entries(
      make_motif, ex, false,
      [&](int i, EntryOutcome&& out, int w) {
        parts[static_cast<std::size_t>(w)].add(out);
        std::unique_lock<std::mutex> lock(mutex);
        finished[static_cast<std::size_t>(i)] = 1;
        if (notable(out))
          waiting.emplace(i, std::move(out));
        if (passing)
          return; // the worker passing them on takes this one in its turn
        passing = true;
        try {
          for (; next < finished.size() && finished[next]; ++next) {
            auto it = waiting.find(static_cast<int>(next));
            if (it == waiting.end())
              continue;
            EntryOutcome ready = std::move(it->second);
            waiting.erase(it);
            if (ready.aborted)
              aborted.push_back(ready.id.str());
            if (!in_order) {
              survey.notable.push_back(std::move(ready));
              continue;
            }
            // Passed on outside the lock: the other workers go on searching meanwhile.
            const int index = static_cast<int>(next);
            lock.unlock();
            in_order(index, std::move(ready));
            lock.lock();
          }
        } catch (...) {
          if (!lock.owns_lock())
            lock.lock();
          passing = false;
          throw;
        }
        passing = false;
      },
      on_entry);
  for (const CollectionTally& part : parts)
    survey.counts.add(part);
  survey.counts.aborted_entries = std::move(aborted); // not the workers' order
  return survey;
}

void CollectionTally::add(const EntryOutcome& o) {
  ++entries;
  switch (o.status) {
  case EntryStatus::Searched: ++searched; break;
  case EntryStatus::Prescreened: ++prescreened; break;
  case EntryStatus::Filtered: ++filtered; break;
  case EntryStatus::Refused: ++refused; break;
  }
  if (o.aborted) {
    ++aborted;
    aborted_entries.push_back(o.id.str());
  }
  candidates += o.candidate ? 1 : 0;
  capped += o.capped ? 1 : 0;
  if (!o.matches.empty()) {
    ++hits;
    matches += static_cast<int>(o.matches.size());
  }
}

void CollectionTally::add(const CollectionTally& o) {
  entries += o.entries;
  searched += o.searched;
  prescreened += o.prescreened;
  filtered += o.filtered;
  aborted += o.aborted;
  capped += o.capped;
  refused += o.refused;
  candidates += o.candidates;
  hits += o.hits;
  matches += o.matches;
  aborted_entries.insert(aborted_entries.end(), o.aborted_entries.begin(),
                         o.aborted_entries.end());
}

} // namespace xtalmotif
