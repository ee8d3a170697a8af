#ifndef XTALMOTIF_SEARCH_COLLECTION_SEARCH_H
#define XTALMOTIF_SEARCH_COLLECTION_SEARCH_H

#include "db/aser_bit_screens.h"
#include "db/aser_database.h"
#include "db/database.h"
#include "core/executor.h"
#include "motif/motif.h"
#include "match/motif_match.h"
#include "match/motif_search_resource.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace xtalmotif {

/// How a collection is searched.
struct CollectionSearchSettings {
  /// Matches kept per structure; 0 keeps every match, up to `ceiling`.
  unsigned int limit = 1;
  /// With every match kept, a structure stops at this many: in layer minerals and frameworks an
  /// extended motif matches in a combinatorial number of equivalent ways (over 100,000 for a
  /// ribbon in dickite), and a collection search keeps every entry's matches.
  unsigned int ceiling = 1000;
  /// The work one entry's search may do before it is abandoned and reported as aborted, in the
  /// units of MotifSearch::set_work_budget (about a microsecond each); 0 sets no bound. An
  /// extended motif can meet a combinatorial number of partial matches in a framework; the
  /// bound keeps any entry near a second, so that one such entry cannot hold up a collection.
  std::uint64_t work_budget = default_work_budget;
  static constexpr std::uint64_t default_work_budget = 1000000;
  /// Compare the motif's screens with the index before reading an entry (indexed sources only).
  bool prescreen = true;
  /// The structure-quality filters; none when null.
  THandle<Filters> filters;
  /// Run on every structure read, before it is searched; may be empty. The silver patterns use
  /// it to cut the bonds to silver, so that ions and carboxylates are molecules of their own.
  std::function<void(const THandle<CrystalMaker>&)> prepare;
};

enum class EntryStatus { Searched, Prescreened, Filtered, Refused };

/// What happened to one entry of the collection.
struct EntryOutcome {
  DatabaseEntryIdentifier id;
  /// The CIF file as the sources gave it ("-" for standard input) and the data block.
  std::string file;
  std::string block;
  EntryStatus status = EntryStatus::Searched;
  std::string reason; ///< why a refused entry could not be searched
  /// The structure holds every substructure of the motif (counted for entries searched).
  bool candidate = false;
  bool aborted = false; ///< the search met its work or call budget: matches may be missing
  bool capped = false; ///< stopped at the match ceiling (every match asked for)
  std::vector<THandle<MotifMatch>> matches;
  THandle<CrystalMaker> crystal;         ///< kept for entries with matches
  THandle<MotifSearchResource> resource; ///< kept for entries with matches
};

/// What became of the entries of one collection search.
struct CollectionTally {
  int entries = 0; ///< entries of the database (sources that could not be listed are not)
  int searched = 0, prescreened = 0, filtered = 0, aborted = 0, capped = 0;
  int refused = 0; ///< entries that could not be read, and sources that could not be listed
  int candidates = 0; ///< searched entries that hold every substructure of the motif
  int hits = 0;       ///< entries with matches
  int matches = 0;
  /// The entries whose search was abandoned at its budget, in collection order.
  std::vector<std::string> aborted_entries;

  /// Counts one more entry (its identifier joins aborted_entries when it was aborted).
  void add(const EntryOutcome& outcome);
  /// Adds the counts of another part of the same collection (aborted entries after these).
  void add(const CollectionTally& other);
};

/// A collection search's outcome without an outcome per entry: what a survey of a hundred
/// thousand entries reports, held in memory that grows with the hits, not the entries.
struct CollectionSurvey {
  /// The entries with matches, those aborted and those refused, in database order.
  std::vector<EntryOutcome> notable;
  /// Every entry counted; `refused` does not count the database's problems.
  CollectionTally counts;
};

/// Searches every entry of a database for one motif: the screen index, when there is one,
/// skips entries by the filters and the prescreen without reading them; every other entry is
/// read, filtered on its own structure, searched with a fresh search object and reported. An
/// entry that cannot be read is reported as refused, with the reason, and the search goes on.
class CollectionSearch {
public:
  /// Called once per entry as soon as it is finished, on the worker that searched it: entries
  /// arrive out of order, and concurrently when the executor runs workers in parallel.
  using EntryCallback = std::function<void(int index, const EntryOutcome&)>;

  /// `screens`, when not null, is the screen index of the same entries as `db`.
  CollectionSearch(THandle<Database<CrystalStructureDatabaseEntry>> db,
                   THandle<AserDatabase> screens, CollectionSearchSettings settings);

  /// One outcome per entry, in database order whatever the executor. `make_motif` is called
  /// once per worker (queries are not shared between workers); `executor` may be null (every
  /// entry on the calling thread). Exceptions of `make_motif` and of the callback stop the search
  /// and are passed on.
  std::vector<EntryOutcome> search(const std::function<THandle<Motif>()>& make_motif,
                                   Executor* executor = nullptr,
                                   const EntryCallback& on_entry = {}) const;
  /// Given each outcome worth reporting in database order, as soon as every entry before it is
  /// finished: one call at a time, on whichever worker finished the entry the order waited for.
  /// Work that can be done out of order (making text of an entry) is best done in the
  /// EntryCallback, which the workers run side by side.
  using InOrderCallback = std::function<void(int index, EntryOutcome&& outcome)>;

  /// The same search, keeping only the outcomes worth reporting and counting the others. An
  /// entry that the index's screens leave out is not looked up in the index: its outcome, as
  /// the callback sees it, names no entry. With `in_order`, the outcomes worth reporting go to
  /// it instead of into `notable`, so that a survey that writes them out as it goes holds only
  /// those finished ahead of an entry still being searched.
  CollectionSurvey survey(const std::function<THandle<Motif>()>& make_motif,
                          Executor* executor = nullptr, const EntryCallback& on_entry = {},
                          const InOrderCallback& in_order = {}) const;

private:
  // Runs every entry, giving each outcome to `keep` on the worker that searched it; without
  // `names_every_entry`, entries the index's screens leave out are counted but not named.
  void run_entries(const std::function<THandle<Motif>()>& make_motif, Executor& executor,
                   bool names_every_entry,
                   const std::function<void(int index, EntryOutcome&& outcome, int worker)>& keep,
                   const EntryCallback& on_entry) const;

  class Worker;
  THandle<Database<CrystalStructureDatabaseEntry>> db_;
  THandle<AserDatabase> screens_;
  CollectionSearchSettings settings_;
};

} // namespace xtalmotif

#endif
