#ifndef XTALMOTIF_SEARCH_MOTIF_SEARCH_H
#define XTALMOTIF_SEARCH_MOTIF_SEARCH_H

#include "db/aser_bit_screens.h"
#include "db/aser_database.h"
#include "crystal/crystal_maker.h"
#include "db/database.h"
#include "core/geometry.h"
#include "core/handle.h"
#include "core/simple_timer_record.h"
#include "chem/substructure.h"
#include "motif/motif.h"
#include "results/motif_search_results.h"
#include "match/atom_address.h"
#include "search/contact_bread_crum.h"
#include "match/environment_grid.h"
#include "match/motif_match.h"
#include "match/motif_search_resource.h"
#include "search/substruct_bread_crum.h"

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace xtalmotif {

/// The motif search engine. Given a motif and one crystal structure, a list of entries or a whole
/// database, it places the motif's first substructure on the molecules of each structure, follows
/// the motif's contacts from atom to atom through the symmetry-expanded crystal, places the other
/// substructures on the partner molecules, tests the motif's geometric constraints, and stores
/// every complete arrangement in its results under the structure's identifier.
///
/// One search object holds one query and one current structure at a time and is used from one
/// thread; separate search objects are independent.
class MotifSearch {
public:
  /// Names of the timing records kept in timers().
  static constexpr const char* timer_read = "read structure";
  static constexpr const char* timer_environment = "build environment";
  static constexpr const char* timer_search = "search structure";
  static constexpr const char* timer_prescreen = "prescreen";

  /// The call budget of the recursive step per structure.
  static constexpr int default_max_calls = 1000000;

  /// An empty unnamed motif, an empty structure named "unknown", a limit of one match per
  /// structure, filters switched on but empty, substructure memory switched on.
  MotifSearch();
  MotifSearch(const MotifSearch&) = delete;
  MotifSearch& operator=(const MotifSearch&) = delete;

  // ---- setting up ----
  /// How many matches are stored per structure before its search stops (1 unless set).
  void set_limit(unsigned int n) { limit_ = n; }
  unsigned int limit() const { return limit_; }
  /// Makes `c` the current structure: keeps only its 3D atoms, expands it by symmetry into a new
  /// environment and forgets every remembered placement and contact search.
  void set_search_structure(THandle<CrystalMaker> c, const DatabaseEntryIdentifier& id);
  /// Makes `m` the query (with its screens) and starts a fresh working match for it; the
  /// current structure and the results are kept.
  void set_motif(THandle<Motif> m);

  // ---- searching ----
  /// Searches the current structure, placing motif substructure `first` first. Matches are added
  /// to the results; std::out_of_range when `first` is not a substructure of the motif (unless
  /// the structure has no molecules at all).
  void search(int first);
  /// Takes `m` as the query and searches the current structure; the results are kept.
  void search(THandle<Motif> m, int first);
  /// Searches one structure, named "unknown"; the results are kept, so that successive
  /// single-structure searches accumulate.
  void search(THandle<CrystalMaker> c, THandle<Motif> m, int first);
  /// Searches every entry of a database in order, without screens or filters. The results are
  /// cleared first and bound to the database.
  void search(THandle<Database<CrystalStructureDatabaseEntry>> db, THandle<Motif> m);
  /// Searches one entry of a database. The results are cleared first and bound to the database.
  void search(THandle<Database<CrystalStructureDatabaseEntry>> db,
              const DatabaseEntryIdentifier& id, THandle<Motif> m);
  /// Searches every entry of a screened database in order. Entries that fail the filters (when
  /// filters are in use) are skipped silently; entries whose screens cannot hold the motif are
  /// skipped with the line "CAUGHT BY PRESCREEN: <identifier>" on standard output. The results
  /// are cleared first and bound to the database.
  void search(THandle<AserDatabase> db, THandle<Motif> m);
  /// The same over the listed entries, in the order given.
  void search(THandle<AserDatabase> db, const std::vector<DatabaseEntryIdentifier>& ids,
              THandle<Motif> m);

  /// One step of the recursive search: follows the next contact from the placed part of the
  /// motif to an unplaced substructure, tries every partner atom and every placement there, and
  /// recurses. True when the match limit was reached and the structure is finished.
  bool find_next();

  // ---- substructure placement ----
  /// Chooses the next contact to follow: the lowest-numbered contact not yet realised that joins
  /// a placed substructure (`from`) to an unplaced one (`to`), followed backwards when needed.
  /// Both are left unchanged when no contact qualifies.
  void get_next_substructures(int& from, int& to);
  /// The placements of motif substructure `substructure` on crystal molecule `molecule` with the
  /// query atoms in `fixed` pinned to the given molecule atoms. With reuse_substructure_hits, an
  /// equal earlier question in this structure returns the very same list.
  THandle<SubstructureHitList> find_substructures(int substructure, int molecule,
                                                  const std::map<int, int>& fixed);

  // ---- contact expansion ----
  /// The atoms of the symmetry-expanded crystal that can stand at the far end of `contact` when
  /// it is followed from the atom at `from` (fractional position `p`) into substructure `to`: they
  /// match `query_atom`, lie in molecules whose size substructure `to` allows, pass the contact's
  /// distance test and its contact type. An equal earlier question returns the very same list.
  THandle<AtomAddressList> find_contacts(const Point& p, const THandle<AtomAddress>& from,
                                         const THandle<MotifContact>& contact, int to,
                                         const THandle<SubstructureAtom>& query_atom);
  /// Appends to `out` the lattice translations that can bring fractional point `b` within the
  /// fractional extents (ea, eb, ec) of `a`, with half a cell to spare on each side.
  void find_translations(std::vector<Translation>& out, const Point& a, const Point& b, double ea,
                         double eb, double ec) const;
  /// Realises every further contact between the just placed substructure `placed` and the other
  /// placed substructures; `closed` lists the contacts so recorded. False (with nothing left
  /// recorded) when one of them is not realised.
  bool check_remaining_contacts(int placed, std::vector<int>& closed);
  /// Tests the motif's contact constraints on atoms of substructure `placed`: each counts the
  /// partners of a further contact from one atom and tests the count.
  bool check_contact_constraints(int placed);

  // ---- prescreening ----
  /// Whether the entry's stored screens agree with every bit the motif's pattern requires.
  bool prescreen_aser(const THandle<AserDatabase>& db, const DatabaseEntryIdentifier& id) const;
  /// Whether the entry's stored screens agree with every bit the filters require.
  bool check_filters(const THandle<AserDatabase>& db, const DatabaseEntryIdentifier& id) const;

  // ---- state for callers ----
  /// Every match stored, keyed by entry; shared with the caller.
  const THandle<MotifSearchResults>& results() const { return results_; }
  const THandle<Motif>& motif() const { return motif_; }
  const THandle<CrystalMaker>& crystal() const { return crystal_; }
  const DatabaseEntryIdentifier& entry_id() const { return entry_id_; }
  /// The symmetry-expanded environment of the current structure.
  const THandle<MotifSearchResource>& resource() const { return resource_; }
  /// The working, partial match of the recursion.
  const THandle<MotifMatch>& match() const { return match_; }
  /// The motif's screen pattern used by the prescreen, made from the motif when first asked for
  /// (a search of one structure never needs it).
  const THandle<AserBitScreens>& bit_screens() const;

  /// A second budget, on the work of one structure's search rather than on calls of the
  /// recursive step: every call, every contact partner tried and every placement tried counts
  /// one. A call can try thousands of partners and placements (a framework cut into small
  /// pieces, each with many neighbours), so calls alone do not bound the time a structure takes;
  /// this does, at about a microsecond a unit. 0, the default, sets no such budget. Spending it
  /// ends the structure's search as the call budget does, with `aborted` set.
  void set_work_budget(std::uint64_t units) { work_budget_ = units; }
  std::uint64_t work_budget() const { return work_budget_; }
  /// The work done so far in the current structure, in the units above.
  std::uint64_t work() const { return work_; }

  /// Whether the next contact to follow is the most selective one (the shortest reach) rather
  /// than the first in the motif's order (false unless set). The matches are the same; the
  /// order they are found in, and so which are kept under a limit, may differ. A motif that
  /// lists long intramolecular links before its hydrogen bonds is searched hundreds of times
  /// faster in a framework this way.
  void set_selective_order(bool on) { selective_order_ = on; }
  bool selective_order() const { return selective_order_; }

  /// Whether a structure's search was abandoned because the call budget was spent. The search
  /// never clears it; callers do.
  bool aborted() const { return aborted_; }
  void reset_aborted() { aborted_ = false; }
  /// Whether torsion constraints also accept the mirror-image torsion (false unless set).
  bool torsion_flag() const { return torsion_flag_; }
  void set_torsion_flag(bool f) { torsion_flag_ = f; }
  /// Whether screened database searches apply the structure-quality filters (true unless set).
  bool use_filters() const { return use_filters_; }
  void set_use_filters(bool f) { use_filters_ = f; }
  /// Whether repeated substructure placements are answered from memory (true unless set).
  bool reuse_substructure_hits() const { return reuse_substructure_hits_; }
  void set_reuse_substructure_hits(bool f) { reuse_substructure_hits_ = f; }
  /// The structure-quality filters (all off unless set).
  const THandle<Filters>& filters() const { return filters_; }
  void set_filters(THandle<Filters> f) { filters_ = std::move(f); }

  /// Matches stored for the current structure since the limit was last reached.
  int nfound() const { return nfound_; }
  /// Calls of the recursive step in the current structure.
  int ncalls() const { return ncalls_; }
  /// Deepest recursion reached in the current structure.
  int max_depth() const { return max_depth_; }
  /// Current recursion depth (left raised when the call budget runs out).
  int depth() const { return depth_; }
  int max_calls() const { return max_calls_; }
  /// Accumulated wall time of the stages of the searches made so far, by name.
  const std::map<std::string, THandle<SimpleTimerRecord>>& timers() const { return timers_; }

  /// The memory of contact-partner searches made in the current structure.
  const std::vector<ContactBreadCrum>& contact_crumbs() const { return contact_crumbs_; }
  /// The memory of substructure placements made in the current structure.
  const std::vector<THandle<SubstructBreadCrum>>& substruct_crumbs() const {
    return substruct_crumbs_;
  }
  /// Database entries whose structure could not be read during the last database search, one
  /// message each naming the file and block; those entries were skipped.
  const std::vector<std::string>& read_problems() const { return read_problems_; }

private:
  /// Searches one entry of a screened database after its filters and prescreen.
  void search_screened_entry(const THandle<AserDatabase>& db,
                             const THandle<CrystalStructureDatabaseEntry>& entry,
                             const DatabaseEntryIdentifier& id);
  /// Reads an entry's structure, makes it current and searches it; an unreadable entry is
  /// recorded in read_problems() and skipped.
  void search_entry(const THandle<CrystalStructureDatabaseEntry>& entry,
                    const DatabaseEntryIdentifier& id);
  /// Stores a copy of the complete working match; true when the limit is reached.
  bool store_match();
  /// Van der Waals radius of the crystal atom at an address.
  double vdw_radius(const AtomAddress& address) const;
  /// Every screen bit of `pattern` agrees with the entry's stored record.
  static bool screens_agree(const AserBitScreens& pattern, const THandle<AserDatabase>& db,
                            const DatabaseEntryIdentifier& id);
  SimpleTimerRecord& timer(const char* name);
  void forget_crumbs();

  // Fields in the order of the engine's data model.
  THandle<Motif> motif_;
  THandle<CrystalMaker> crystal_;
  DatabaseEntryIdentifier entry_id_;
  THandle<MotifSearchResource> resource_;
  THandle<MotifMatch> match_;
  unsigned int limit_ = 1;
  int nfound_ = 0;
  THandle<MotifSearchResults> results_;
  std::map<std::string, THandle<SimpleTimerRecord>> timers_;
  std::vector<ContactBreadCrum> contact_crumbs_;
  std::vector<THandle<SubstructBreadCrum>> substruct_crumbs_;
  bool reuse_substructure_hits_ = true;
  THandle<Filters> filters_;
  bool use_filters_ = true;
  mutable THandle<AserBitScreens> bit_screens_; // null until bit_screens() is asked
  THandle<AtomAddress> probe_from_, probe_to_;  // scratch ends of a contact being checked
  bool torsion_flag_ = false;
  int depth_ = 0;
  int max_depth_ = 0;
  int ncalls_ = 0;
  int max_calls_ = default_max_calls;
  std::uint64_t work_ = 0;
  std::uint64_t work_budget_ = 0;
  bool selective_order_ = false;
  bool aborted_ = false;
  // Counts `units` of work; false, with `aborted` set and nothing counted, once the work budget
  // is spent.
  bool spend(std::uint64_t units) {
    if (work_budget_ != 0 && work_ >= work_budget_) {
      aborted_ = true;
      return false;
    }
    work_ += units;
    return true;
  }

  // Lookup aids over the two memories. They only narrow the scan to the records that can answer
  // (same atom and cell; same molecule and pinned atoms); those records are still tested in
  // memory order, so the first equal record is the one returned.
  std::map<std::array<int, 5>, std::vector<std::size_t>> contact_crumbs_by_address_;
  std::map<std::pair<int, std::map<int, int>>, std::vector<std::size_t>>
      substruct_crumbs_by_placement_;
  std::vector<std::string> read_problems_;
  // The atoms of the current environment binned for the contact search; made when the first
  // contact of an environment is followed.
  THandle<EnvironmentGrid> grid_;
};

} // namespace xtalmotif

#endif
