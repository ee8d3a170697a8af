#ifndef XTALMOTIF_DB_DATABASE_H
#define XTALMOTIF_DB_DATABASE_H

#include "crystal/cif_reader.h"
#include "crystal/crystal_maker.h"
#include "core/executor.h"
#include "core/handle.h"

#include <algorithm>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace xtalmotif {

/// The key of a database entry: its reference code, which for a CIF database is the data block
/// name (see CifDatabase for repeated names). Identifiers order as their texts do.
class DatabaseEntryIdentifier {
public:
  /// The empty identifier.
  DatabaseEntryIdentifier() = default;
  explicit DatabaseEntryIdentifier(std::string text) : text_(std::move(text)) {}
  explicit DatabaseEntryIdentifier(const char* text) : text_(text) {}

  /// The identifier's text.
  const std::string& str() const { return text_; }
  /// Writes the text alone.
  void print(std::ostream& os) const;

  friend bool operator==(const DatabaseEntryIdentifier& a, const DatabaseEntryIdentifier& b) {
    return a.text_ == b.text_;
  }
  friend bool operator!=(const DatabaseEntryIdentifier& a, const DatabaseEntryIdentifier& b) {
    return a.text_ != b.text_;
  }
  friend bool operator<(const DatabaseEntryIdentifier& a, const DatabaseEntryIdentifier& b) {
    return a.text_ < b.text_;
  }
  friend bool operator>(const DatabaseEntryIdentifier& a, const DatabaseEntryIdentifier& b) {
    return b < a;
  }
  friend bool operator<=(const DatabaseEntryIdentifier& a, const DatabaseEntryIdentifier& b) {
    return !(b < a);
  }
  friend bool operator>=(const DatabaseEntryIdentifier& a, const DatabaseEntryIdentifier& b) {
    return !(a < b);
  }

private:
  std::string text_;
};

/// Writes the identifier's text.
std::ostream& operator<<(std::ostream& os, const DatabaseEntryIdentifier& id);

/// Structures kept already assembled beside a database's entries (a screen index built with
/// them), read one at a time when an entry's structure is asked for. Shared by the entries of
/// one database and read from several threads at once.
class StoredStructures {
public:
  virtual ~StoredStructures() = default;
  /// The structure stored for the entry at `position` (its row in the store), a new object on
  /// every call; `id` names the entry in messages. Throws CifError naming the store and the
  /// entry when it cannot be read, never a structure read from damaged bytes.
  virtual THandle<CrystalMaker> load(long long position,
                                     const DatabaseEntryIdentifier& id) const = 0;
};

/// One crystal structure of a database. It either points at a data block of a CIF file (or of
/// CIF text held in memory), read afresh each time the structure is asked for, or holds a
/// structure made in memory, handed out as a fresh deep copy each time. An entry of a file
/// whose structure was stored assembled is loaded from the store instead, its text never
/// parsed.
class CrystalStructureDatabaseEntry {
public:
  /// An entry for data block `block_name` (position `block_index` in its file) of `file`;
  /// with the block's place in the file known, only its text is read.
  CrystalStructureDatabaseEntry(DatabaseEntryIdentifier id, std::string file,
                                std::string block_name, int block_index = 0,
                                CifBlockRange range = {});
  /// An entry for a listed block of CIF text held in memory (shared with the other entries of
  /// that text); the block's `file` names the text in messages.
  CrystalStructureDatabaseEntry(DatabaseEntryIdentifier id,
                                std::shared_ptr<const std::string> text, const CifBlockInfo& block);
  /// An entry for a structure that already exists in memory.
  CrystalStructureDatabaseEntry(DatabaseEntryIdentifier id, THandle<CrystalMaker> crystal);
  /// An entry for data block `block_name` of `file` whose structure is read from `store`, at
  /// `position` there: the file is named in outputs, and never read.
  CrystalStructureDatabaseEntry(DatabaseEntryIdentifier id, std::string file,
                                std::string block_name, int block_index,
                                std::shared_ptr<const StoredStructures> store, long long position);

  const DatabaseEntryIdentifier& identifier() const { return id_; }
  /// The structure, built anew on every call, so that callers may change it (split molecules,
  /// drop atoms) freely. Throws CifError naming the file, the block and the reason when the
  /// block cannot be read (for a stored structure, the store and the entry).
  THandle<CrystalMaker> crystal() const;
  /// The same, read through `reader` when it reads this entry's file: entries of one file read
  /// in file order through one reader share one pass over it.
  THandle<CrystalMaker> crystal(CifFileReader& reader) const;

  /// The CIF file the entry comes from; empty for an entry made in memory.
  const std::string& source_file() const { return file_; }
  /// The data block name within the file.
  const std::string& block_name() const { return block_; }
  /// Position of the block among the data blocks of its file (0 for the first).
  int block_index() const { return block_index_; }

private:
  THandle<CrystalMaker> crystal_from(CifFileReader* reader) const;

  DatabaseEntryIdentifier id_;
  std::string file_;
  std::string block_;
  int block_index_ = 0;
  CifBlockRange range_;
  std::shared_ptr<const std::string> text_;
  THandle<CrystalMaker> held_;
  std::shared_ptr<const StoredStructures> store_;
  long long stored_at_ = -1;
};

/// A collection of entries, reachable by position and by identifier. Implementations are
/// immutable once made, so one database object may be read from several threads.
template <class E> class Database {
public:
  virtual ~Database() = default;
  /// Number of entries.
  virtual int nentries() const = 0;
  /// Entry `i` in database order; std::out_of_range "IndexedTable::at Illegal index: i".
  virtual THandle<E> entry(int i) const = 0;
  /// The entry with this identifier; std::out_of_range naming the identifier when there is none.
  virtual THandle<E> entry(const DatabaseEntryIdentifier& id) const = 0;
  /// Whether an entry has this identifier.
  virtual bool contains(const DatabaseEntryIdentifier& id) const = 0;
  /// Problems met while opening the database (files that could not be listed, entries known to be
  /// unreadable), one message per problem naming the file; the entries concerned are left out.
  virtual const std::vector<std::string>& problems() const {
    static const std::vector<std::string> none;
    return none;
  }
  /// The end of the run of entries starting at entry `i` that are best read one after the other
  /// through one CifFileReader (the blocks of one gzipped file, which would otherwise be
  /// decompressed from its start for each); i + 1 for an entry best read on its own.
  virtual int run_end(int i) const { return i + 1; }
};

/// The first entry of every run of entries best read together (Database::run_end), in database
/// order: the units of work of a reader that visits every entry.
template <class E> std::vector<int> run_starts(const Database<E>& db) {
  std::vector<int> starts;
  for (int i = 0; i < db.nentries(); i = std::max(i + 1, db.run_end(i)))
    starts.push_back(i);
  return starts;
}

/// Where a CIF database entry lives: its identifier, file, data block name and block position.
struct CifEntryLocation {
  DatabaseEntryIdentifier id;
  std::string file;
  std::string block_name;
  int block_index = 0;
  /// Where the block lies in its file; unknown (read the file whole) when not recorded.
  CifBlockRange range;
};

/// A database of crystal structures read from CIF files.
///
/// Sources are files (plain or gzipped CIF, any name, possibly holding many data blocks) and
/// directories, searched recursively for `*.cif` and `*.cif.gz` (case-insensitive), the files of
/// a directory taken in order of their paths. Entries follow the order of the sources, then the
/// order of the blocks within each file; a file named twice is listed once. Every data block with
/// atom sites is an entry (a `data_global` block of publication details is not); the structure
/// is read only when an entry's crystal() is called.
///
/// Identifiers are the data block names. Where a block name is shared by several blocks of the
/// database (or is empty), each of those blocks is named by its file's stem and its block name,
/// `stem/block` (the stem is the file name without `.cif` / `.cif.gz`); where that is itself
/// shared (two blocks of one name in one file, two files of one name), `#1`, `#2`, ... is
/// appended, counting in database order.
///
/// A source that cannot be listed (missing, unreadable, no data block with atom sites) is
/// recorded in problems() and skipped; a block that cannot be built is found only when its
/// crystal() throws CifError, and a caller reports it and carries on with the next entry. The
/// object is immutable after construction, so one database may be shared by several threads.
class CifDatabase : public Database<CrystalStructureDatabaseEntry> {
public:
  /// Lists the data blocks of the given files and directories, reading the files on the
  /// executor's threads when one is given (else on the calling thread).
  explicit CifDatabase(std::vector<std::string> sources, Executor* executor = nullptr);
  /// A database over locations already known (such as those recorded in a screen index). The
  /// identifiers must be unique; std::invalid_argument names a repeated one.
  CifDatabase(std::vector<std::string> sources, std::vector<CifEntryLocation> locations,
              std::vector<std::string> problems = {});

  int nentries() const override { return static_cast<int>(locations_.size()); }
  THandle<CrystalStructureDatabaseEntry> entry(int i) const override;
  THandle<CrystalStructureDatabaseEntry> entry(const DatabaseEntryIdentifier& id) const override;
  bool contains(const DatabaseEntryIdentifier& id) const override;
  const std::vector<std::string>& problems() const override { return problems_; }
  int run_end(int i) const override;

  /// Position of the entry with this identifier, or -1.
  virtual int index_of(const DatabaseEntryIdentifier& id) const;
  /// The sources as given.
  const std::vector<std::string>& sources() const { return sources_; }
  /// Where entry `i` lives; std::out_of_range as entry(i).
  virtual CifEntryLocation location(int i) const;

  /// The CIF files the sources stand for, in database order and without repeats, without reading
  /// them: the given files and the `*.cif` / `*.cif.gz` files under the given directories.
  /// Sources that do not exist or cannot be searched are described in `problems`.
  static std::vector<std::string> list_source_files(const std::vector<std::string>& sources,
                                                    std::vector<std::string>& problems);
  /// The files list_source_files(sources) lists, given to `each` one at a time in the same
  /// order, without holding the list: for checking a hundred thousand files against a record of
  /// them. `each` returns false to stop. Returns true when every file was given, false when
  /// `each` stopped, and nothing when the order cannot be promised without the list (not one
  /// folder, a link to a file in it, a folder that cannot be read): `each` may then have had
  /// some of the files, and the caller lists them instead.
  static std::optional<bool> for_each_source_file(const std::vector<std::string>& sources,
                                                  const std::function<bool(const std::string&)>& each);
  /// Whether a file name is one the database reads as CIF: `*.cif` or `*.cif.gz`, any case.
  static bool is_cif_file_name(const std::string& path);

private:
  void index_identifiers();
  const std::string& id_at(int i) const { return locations_[static_cast<std::size_t>(i)].id.str(); }

  std::vector<std::string> sources_;
  std::vector<CifEntryLocation> locations_;
  std::vector<std::string> problems_;
  std::vector<int> by_id_;   // positions of the entries in order of their identifiers
  std::vector<int> run_end_; // parallel to locations_
};

/// A database of the data blocks of CIF text held in memory, such as a structure file piped to
/// standard input: one entry per block with atom sites, named as CifDatabase names the blocks of
/// one file, the text standing for a file called `source_name`. A text with no block of atom
/// sites, or one that cannot be listed, gives no entry and a problem saying why.
class CifTextDatabase : public Database<CrystalStructureDatabaseEntry> {
public:
  CifTextDatabase(std::string text, const std::string& source_name);

  int nentries() const override { return static_cast<int>(blocks_.size()); }
  THandle<CrystalStructureDatabaseEntry> entry(int i) const override;
  THandle<CrystalStructureDatabaseEntry> entry(const DatabaseEntryIdentifier& id) const override;
  bool contains(const DatabaseEntryIdentifier& id) const override;
  const std::vector<std::string>& problems() const override { return problems_; }

private:
  std::shared_ptr<const std::string> text_;
  std::vector<CifBlockInfo> blocks_;
  std::vector<DatabaseEntryIdentifier> ids_; // parallel to blocks_
  std::unordered_map<std::string, int> by_id_;
  std::vector<std::string> problems_;
};

/// A database of structures held in memory, in the order they were added; for callers that build
/// structures in code.
class MemoryDatabase : public Database<CrystalStructureDatabaseEntry> {
public:
  /// Adds a structure; std::invalid_argument when the identifier is already taken.
  void add(const DatabaseEntryIdentifier& id, THandle<CrystalMaker> crystal);

  int nentries() const override { return static_cast<int>(entries_.size()); }
  THandle<CrystalStructureDatabaseEntry> entry(int i) const override;
  THandle<CrystalStructureDatabaseEntry> entry(const DatabaseEntryIdentifier& id) const override;
  bool contains(const DatabaseEntryIdentifier& id) const override;

private:
  std::vector<THandle<CrystalStructureDatabaseEntry>> entries_;
  std::unordered_map<std::string, int> by_id_;
};

/// A deep copy of a structure: new molecule, atom and bond objects, the same cell, symmetry and
/// reading notes.
THandle<CrystalMaker> copy_crystal(const CrystalMaker& crystal);

} // namespace xtalmotif

namespace std {
template <> struct hash<xtalmotif::DatabaseEntryIdentifier> {
  size_t operator()(const xtalmotif::DatabaseEntryIdentifier& id) const noexcept {
    return std::hash<std::string>()(id.str());
  }
};
} // namespace std

#endif
