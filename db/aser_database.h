#ifndef XTALMOTIF_DB_ASER_DATABASE_H
#define XTALMOTIF_DB_ASER_DATABASE_H

#include "core/executor.h"
#include "db/aser_bit_screens.h"
#include "crystal/crystal_maker.h"
#include "db/database.h"
#include "core/handle.h"

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace xtalmotif {

/// The screen record of one database entry: which screen bits its structure sets. A bit that
/// was never set reads as false.
class Aser {
public:
  /// The highest bit a record can hold.
  static constexpr int max_bit = 1023;
  /// The most bytes a record takes.
  static constexpr std::size_t max_bytes = max_bit / 8 + 1;

  /// A record with no bit set.
  Aser() = default;
  /// The bits that the pattern sets to true (bits required false are left unset).
  explicit Aser(const AserBitScreens& screens);

  /// Whether bit `n` is set; false for any bit never set, negative ones included.
  bool bit(int n) const;
  /// Sets or clears bit `n`; std::out_of_range for a bit outside 0 to max_bit.
  void set_bit(int n, bool value = true);
  /// The set bits in ascending order.
  std::vector<int> set_bits() const;
  /// Whether every (bit, value) pair of the pattern agrees with this record; an empty pattern
  /// always does.
  bool satisfies(const AserBitScreens& pattern) const;

  /// Compact bytes: byte k holds bits 8k to 8k+7, lowest bit first, trailing zero bytes dropped.
  std::string to_blob() const;
  /// The record of bytes written by to_blob(); std::invalid_argument when they are too many to
  /// be a record.
  static Aser from_blob(const std::string& bytes);

  /// The set bits, ascending, separated by spaces.
  void print(std::ostream& os) const;

  friend bool operator==(const Aser& a, const Aser& b) { return a.bytes_ == b.bytes_; }
  friend bool operator!=(const Aser& a, const Aser& b) { return a.bytes_ != b.bytes_; }

private:
  void trim();
  std::vector<std::uint8_t> bytes_;
};

/// Writes the record as print() does.
std::ostream& operator<<(std::ostream& os, const Aser& a);

/// The screens of a database entry, computed from its structure with the same AserBitScreens
/// operations that build a query's pattern, so a pattern bit can only be required when the
/// entry could set it:
/// - 1 to 31: the classes of every element present, hydrogen included when atoms carry implied
///   hydrogens;
/// - 257 to 266: the largest number of halogens, metals, nitrogens and oxygens in any one
///   molecule, every threshold reached being set (four oxygens set 264, 265 and 266), so that
///   a query's count bit means "at least";
/// - 267 to 305: the simple-connection bits of every bond, and of the X–H bond of every implied
///   hydrogen;
/// - structure quality: 153 3D coordinates, 35 R factor at most 0.05, 32 no disorder, 559 errors
///   met while building, 54 polymeric, 57 a metal present, 21 a transition metal present.
Aser entry_screens(const CrystalMaker& crystal);

/// A screen index that cannot be opened, read or written; the message names the file.
class ScreenIndexError : public std::runtime_error {
public:
  explicit ScreenIndexError(const std::string& message) : std::runtime_error(message) {}
};

/// A screen index that is sound but no longer fits: its CIF files changed since it was built, it
/// was built from other sources than those given, or by a program with another index layout or
/// other screen definitions. Rebuilding it cures the problem; the message names the file.
class StaleScreenIndexError : public ScreenIndexError {
public:
  explicit StaleScreenIndexError(const std::string& message) : ScreenIndexError(message) {}
};

/// What build_screen_index has done so far: called once per entry, in database order, on the
/// calling thread.
struct ScreenIndexProgress {
  int done = 0;                               ///< entries finished, this one included
  int total = 0;                              ///< entries in the database
  const CifEntryLocation* location = nullptr; ///< the entry just finished
  bool readable = true;                       ///< whether its structure could be built
  std::string problem;                        ///< why not, naming file and block
};

/// Settings of build_screen_index.
/// A screen an index records for every entry: a key naming what it screens for, and the test.
struct IndexedScreen {
  std::string key;
  std::function<bool(const THandle<CrystalMaker>&)> holds;
};

struct ScreenIndexOptions {
  /// Where the structures are read and screened, in runs of the blocks of one file: the calling
  /// thread when null, else the caller's executor (its threads). Rows are written in database
  /// order either way, and progress is reported on the calling thread.
  Executor* executor = nullptr;
  /// Called after each entry; may be empty. An exception it throws abandons the build, and no
  /// index file is left behind.
  std::function<void(const ScreenIndexProgress&)> progress;
  /// Also store every readable entry's assembled structure (store_crystal), so that a search
  /// of the index loads it instead of parsing the entry's CIF text.
  bool store_structures = false;
  /// Screens of the caller's own, one bit each (at most AserDatabase::max_indexed_screens; those
  /// beyond are left out), recorded by their keys: a bit is set when `holds` says the entry's
  /// structure has what the key names (a substructure, a contact between two). `holds` may
  /// change the structure, which is not used again once it has been asked; it is called from
  /// the executor's threads.
  std::vector<IndexedScreen> screens;
};

/// The outcome of build_screen_index.
struct ScreenIndexSummary {
  int entries = 0;                   ///< rows written, unreadable entries included
  int unreadable = 0;                ///< entries whose structure could not be built
  std::vector<std::string> problems; ///< listing problems, then one message per unreadable entry
};

/// Computes every entry's screens once, from its structure, and writes the screen index to
/// `index_path`: one row per entry with its identifier, file, block, the block's place and digest,
/// and screen bits, an entry that cannot be read being kept as an unreadable row with the reason.
/// The index also records the database's sources and each file's size and modification time, so
/// that an index that no longer describes its files is refused when it is opened. The file is
/// written completely or not at all (built under a temporary name beside it, then put in place as
/// install_output does: renamed over a regular file, copied into a device). Throws
/// ScreenIndexError when it cannot be written.
ScreenIndexSummary build_screen_index(const CifDatabase& database, const std::string& index_path,
                                      const ScreenIndexOptions& options = {});

/// A CIF database with a screen index: the entries and their screen records as stored in the
/// index, the structures read from the CIF files on demand, or, where the index stores them,
/// loaded from the index one entry at a time.
///
/// Entries that were unreadable when the index was built are left out of the database and
/// listed in problems(), as are the problems met while listing the sources. The whole index is
/// checked when the database is opened, and only each entry's row in it kept in memory (eight
/// bytes an entry); the screen records are read from the index a chunk of entries at a time as a
/// search goes through them, and an entry's names and place in its file when the entry is asked
/// for, so that a collection of a hundred thousand entries is not held in memory to search the
/// few that pass the screens. The object is immutable afterwards and may
/// be read from several threads.
class AserDatabase : public CifDatabase {
public:
  /// Opens an index and the sources it records. Throws ScreenIndexError, naming the file, when
  /// the index is missing, is not a screen index or is damaged; StaleScreenIndexError when it was
  /// written by a program with another index layout or other screen definitions, or no longer
  /// matches the CIF files (a file changed, appeared or disappeared since it was built).
  explicit AserDatabase(const std::string& index_path);
  /// The same, and the index must have been built from exactly these sources (else
  /// StaleScreenIndexError).
  AserDatabase(const std::vector<std::string>& sources, const std::string& index_path);

  /// The stored screen record of an entry: a new record each call. std::out_of_range naming the
  /// identifier when the database has no such entry.
  THandle<Aser> aser(const DatabaseEntryIdentifier& id) const;
  /// Whether entry `i`'s screen record agrees with every (bit, value) pair of the pattern,
  /// without reading the entry's names; std::out_of_range as entry(i).
  bool screens_agree(int i, const AserBitScreens& pattern) const;
  /// The index file.
  const std::string& index_path() const { return index_path_; }
  /// Whether the index stores the entries' structures: an entry's crystal() then loads it
  /// from the index (a stored structure that cannot be read is a CifError naming the index and
  /// the entry), and never reads the CIF file.
  bool has_stored_structures() const { return stored_ != nullptr; }
  /// The keys of the screens of the caller's own the index records (ScreenIndexOptions::screens):
  /// the k-th is screen bit first_indexed_bit + k. Empty for an index built without them.
  const std::vector<std::string>& indexed_screens() const { return indexed_screens_; }
  static constexpr int first_indexed_bit = 600;
  static constexpr int max_indexed_screens = Aser::max_bit - first_indexed_bit + 1;

  int nentries() const override { return static_cast<int>(rows_.size()); }
  /// The entry as the index records it. Throws ScreenIndexError naming the index when its row
  /// can no longer be read.
  THandle<CrystalStructureDatabaseEntry> entry(int i) const override;
  using CifDatabase::entry;
  /// Read from the index, as entry(i).
  CifEntryLocation location(int i) const override;
  /// Looked up in the index; -1 when no readable entry has the identifier.
  int index_of(const DatabaseEntryIdentifier& id) const override;
  /// With stored structures every entry is read on its own; else as CifDatabase::run_end.
  int run_end(int i) const override;

  /// Layout version of the index tables this program reads and writes. Versions 2 and 3 held
  /// digests of the older byte-at-a-time kind, which this program would take for changed files.
  static constexpr int schema_version = 4;
  /// Layout version of an index that also stores the entries' structures: the tables of
  /// schema_version and one more. This program reads and writes both.
  static constexpr int stored_schema_version = 5;
  /// Version of the screen definitions (bit meanings and entry-side rules) and of the chemistry
  /// they are taken from (how hydrogens are found on a structure without hydrogen sites);
  /// indexes made under another version are refused, because their bits, and the structures
  /// they store, could disagree with what reading the CIF gives now.
  static constexpr int screen_version = 2;

private:
  struct Contents;
  class EntryRows;
  explicit AserDatabase(Contents contents);
  static Contents read_index(const std::string& path,
                             const std::vector<std::string>* expected_sources);

  std::string index_path_;
  // Each entry's row in the index, in database order.
  std::vector<long long> rows_;
  // The entries' rows, read one at a time.
  std::shared_ptr<const EntryRows> entry_rows_;
  // The length of the longest screen record; the records are read from the index when they are
  // asked for.
  std::size_t screen_bytes_ = 0;
  std::vector<std::string> indexed_screens_;
  // With stored structures, the store; without, where each run of entries read together ends.
  std::shared_ptr<const StoredStructures> stored_;
  std::vector<int> run_ends_;
};

} // namespace xtalmotif

#endif
