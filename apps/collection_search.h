#ifndef XTALMOTIF_APPS_COLLECTION_SEARCH_H
#define XTALMOTIF_APPS_COLLECTION_SEARCH_H

#include "apps/motif_catalog.h"
#include "kernel/aser_database.h"
#include "kernel/database.h"
#include "search/motif_match.h"
#include "search/motif_search_resource.h"

#include <array>
#include <atomic>
#include <functional>
#include <string>
#include <vector>

namespace xtalmotif::app {

struct SearchOptions {
  /// Matches kept per structure; 0 keeps every match, up to `ceiling`.
  unsigned int limit = 1;
  /// With every match kept, a structure stops at this many: in layer minerals and frameworks an
  /// extended motif matches in a combinatorial number of equivalent ways (over 100,000 for a
  /// ribbon in dickite, about 8 KB each), and a collection search keeps every entry's matches
  /// until it writes its outputs.
  unsigned int ceiling = 1000;
  /// Compare the motif's screens with the index before reading an entry (index sources only).
  bool prescreen = true;
  /// The seven structure-quality filters, in the library's order.
  std::array<bool, 7> filters{};
  /// Worker threads, each with its own search object.
  int jobs = 1;
  bool remove_silver_bonds = false;
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
  bool aborted = false;
  bool capped = false; ///< stopped at the match ceiling (every match asked for)
  std::vector<THandle<MotifMatch>> matches;
  THandle<CrystalMaker> crystal;           ///< kept for entries with matches
  THandle<MotifSearchResource> resource;   ///< kept for entries with matches
};

/// Counters the caller may read while the search runs (for a progress display).
struct SearchProgress {
  std::atomic<int> done{0};
  std::atomic<int> hits{0};
};

/// Searches every entry of `db` for the chosen motif, with `options.jobs` threads, and returns
/// one outcome per entry in database order, whatever the number of threads. `screens`, when not
/// null, is the screen index of the same entries and enables the prescreen and the filters
/// without reading the structures; without it the filters are judged on each structure read.
/// `tick` (may be empty) is called on the calling thread about ten times a second while the
/// workers run.
std::vector<EntryOutcome> search_collection(const Database<CrystalStructureDatabaseEntry>& db,
                                            const AserDatabase* screens, const MotifChoice& motif,
                                            const SearchOptions& options,
                                            SearchProgress& progress,
                                            const std::function<void()>& tick);

} // namespace xtalmotif::app

#endif
