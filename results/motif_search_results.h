#ifndef XTALMOTIF_RESULTS_MOTIF_SEARCH_RESULTS_H
#define XTALMOTIF_RESULTS_MOTIF_SEARCH_RESULTS_H

#include "core/archive.h"
#include "db/database.h"
#include "core/handle.h"
#include "match/motif_match.h"
#include "match/motif_search_resource.h"

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

namespace xtalmotif {

/// The two atoms of a realised contact, first end then second end.
struct AtomPair {
  THandle<Atom> first;
  THandle<Atom> second;
};

using MotifMatchList = std::vector<THandle<MotifMatch>>;

/// The view of one hit entry: its identifier, its matches and its crystal environment.
class MotifSearchResult {
public:
  /// Copies the identifier; shares the match list and the environment.
  MotifSearchResult(const DatabaseEntryIdentifier& id, const THandle<MotifMatchList>& matches,
                    const THandle<MotifSearchResource>& resource);

  /// A new 3D atom for atom `a` of substructure `s` of match `m`, at its found position.
  THandle<Atom> matched_atom(int m, int s, int a) const;
  /// A new 3D molecule for substructure `s` of match `m`, placed in the copy's cell.
  THandle<Molecule> matched_molecule(int m, int s) const;
  /// New 3D atoms of substructure `s` of match `m`, in the substructure's atom order.
  THandle<std::vector<THandle<Atom>>> matched_atoms(int m, int s) const;
  /// "angle k: L1, L2, L3 = value \n" for each angle constraint of the match's motif, the angle
  /// measured at the second atom whether or not it satisfies the constraint.
  void print_matched_angles(int m, std::ostream& os) const;

  const DatabaseEntryIdentifier& db_id() const { return db_id_; }
  const THandle<MotifMatchList>& motif_matches() const { return motif_matches_; }
  const THandle<MotifSearchResource>& resource() const { return resource_; }

private:
  const THandle<MotifMatch>& match(int m) const;

  DatabaseEntryIdentifier db_id_;
  THandle<MotifMatchList> motif_matches_;
  THandle<MotifSearchResource> resource_;
};

/// Every match a search found, keyed by database entry; entries are listed in identifier order.
class MotifSearchResults {
public:
  /// An empty collection bound to no database.
  MotifSearchResults() = default;

  /// Appends a finished match (stored as given) under the entry.
  void add_motif_match(const DatabaseEntryIdentifier& id, const THandle<MotifMatch>& match);
  /// Names an entry with matches without keeping them (a search that writes its matches out
  /// as it goes): the entry is listed and saved, with an empty list.
  void add_entry(const DatabaseEntryIdentifier& id) {
    matches_by_entry.emplace(id, make_handle<MotifMatchList>());
  }
  /// The entry's list (shared); a new empty list for an unknown entry.
  THandle<MotifMatchList> motif_matches(const DatabaseEntryIdentifier& id) const;
  /// The list of the entry with index `n` in identifier order; an empty list past the end. On an
  /// empty collection it first writes "new matches returned" to standard output (kept as is).
  THandle<MotifMatchList> motif_matches(unsigned int n) const;
  /// A copy of the identifier with index `n`, or null past the end.
  THandle<DatabaseEntryIdentifier> db_id(unsigned int n) const;
  std::vector<DatabaseEntryIdentifier> db_ids() const;
  /// Number of hit entries.
  int nentries() const { return static_cast<int>(matches_by_entry.size()); }

  /// The entry re-read from the database with a fresh environment; null without a database.
  THandle<MotifSearchResult> result(const DatabaseEntryIdentifier& id) const;
  THandle<MotifSearchResult> result(int n) const;
  THandle<Atom> matched_atom(int n, int m, int s, int a) const;
  /// Every contact entry of every match of entry `n`; with `unique`, a contact met again between
  /// the same two atoms (either way round, same cells) is listed once.
  std::vector<THandle<ContactMatch>> matched_contacts(int n, bool unique) const;
  /// The crystal-maker atoms at the two ends of each contact of matched_contacts(n, unique).
  std::vector<AtomPair> matched_contact_atoms(int n, bool unique) const;

  /// Each entry's identifier followed by its matches.
  void print(std::ostream& os) const;
  /// One identifier per line.
  void print_db_ids(std::ostream& os) const;
  /// The result list: "No of results: N" then one identifier per line. The file is written
  /// completely or not at all; false (with `error` filled) when it could not be written.
  bool save(const std::string& filename, std::string* error = nullptr) const;
  /// The identifier list: one identifier per line, nothing else. Complete or not at all.
  bool save_as_gcd(const std::string& filename, std::string* error = nullptr) const;

  void read(Archive&) {}
  void write(Archive&) const {}

  /// Empties the collection (the database binding is kept).
  void clear() { matches_by_entry.clear(); }
  void set_database(const THandle<Database<CrystalStructureDatabaseEntry>>& db) { database = db; }
  const THandle<Database<CrystalStructureDatabaseEntry>>& get_database() const { return database; }

  std::map<DatabaseEntryIdentifier, THandle<MotifMatchList>> matches_by_entry;
  THandle<Database<CrystalStructureDatabaseEntry>> database;

private:
  THandle<MotifSearchResource> reread(int n) const;
};

} // namespace xtalmotif

#endif
