#include "db/aser_database.h"

#include "core/atomic_file.h"
#include "core/content_digest.h"
#include "crystal/stored_crystal.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <ostream>
#include <set>
#include <sstream>
#include <tuple>
#include <type_traits>

namespace fs = std::filesystem;

namespace xtalmotif {

// ---------------------------------------------------------------------------------------------
// Aser

Aser::Aser(const AserBitScreens& screens) {
  for (const auto& [bit, value] : screens.screens)
    if (value)
      set_bit(bit);
}

bool Aser::bit(int n) const {
  if (n < 0)
    return false;
  auto byte = static_cast<std::size_t>(n / 8);
  return byte < bytes_.size() && ((bytes_[byte] >> (n % 8)) & 1u) != 0;
}

void Aser::set_bit(int n, bool value) {
  if (n < 0 || n > max_bit)
    throw std::out_of_range("Aser::set_bit: bit " + std::to_string(n) + " outside 0 to " +
                            std::to_string(max_bit));
  auto byte = static_cast<std::size_t>(n / 8);
  auto mask = static_cast<std::uint8_t>(1u << (n % 8));
  if (value) {
    if (byte >= bytes_.size())
      bytes_.resize(byte + 1, 0);
    bytes_[byte] |= mask;
  } else if (byte < bytes_.size()) {
    bytes_[byte] &= static_cast<std::uint8_t>(~mask);
    trim();
  }
}

void Aser::trim() {
  while (!bytes_.empty() && bytes_.back() == 0)
    bytes_.pop_back();
}

std::vector<int> Aser::set_bits() const {
  std::vector<int> bits;
  for (std::size_t byte = 0; byte < bytes_.size(); ++byte)
    for (int k = 0; k < 8; ++k)
      if ((bytes_[byte] >> k) & 1u)
        bits.push_back(static_cast<int>(byte) * 8 + k);
  return bits;
}

bool Aser::satisfies(const AserBitScreens& pattern) const {
  return std::all_of(pattern.screens.begin(), pattern.screens.end(),
                     [this](const auto& p) { return bit(p.first) == p.second; });
}

std::string Aser::to_blob() const { return std::string(bytes_.begin(), bytes_.end()); }

Aser Aser::from_blob(const std::string& bytes) {
  if (bytes.size() > max_bytes)
    throw std::invalid_argument("screen record of " + std::to_string(bytes.size()) +
                                " bytes is longer than any record");
  Aser a;
  a.bytes_.assign(bytes.begin(), bytes.end());
  a.trim();
  return a;
}

void Aser::print(std::ostream& os) const {
  const char* sep = "";
  for (int b : set_bits()) {
    os << sep << b;
    sep = " ";
  }
}

std::ostream& operator<<(std::ostream& os, const Aser& a) {
  a.print(os);
  return os;
}

// ---------------------------------------------------------------------------------------------
// Entry-side screens

Aser entry_screens(const CrystalMaker& crystal) {
  AserBitScreens s;
  using G = AserBitScreens;
  int max_n = 0, max_o = 0, max_x = 0, max_m = 0;
  bool has_site = false;
  bool has_metal = false;
  for (int im = 0; im < crystal.nmolecules(); ++im) {
    THandle<Molecule> mol = crystal.molecule(im);
    int n = 0, o = 0, x = 0, m = 0;
    std::vector<std::string> symbols(static_cast<std::size_t>(mol->natoms()));
    for (int ia = 0; ia < mol->natoms(); ++ia) {
      THandle<Atom> atom = mol->atom(ia);
      const std::string sym = atom->element().symbol();
      symbols[static_cast<std::size_t>(ia)] = sym;
      s.set_element_present(sym);
      // A structure refined without H sites still has its hydrogens: a query that draws them
      // (an O-H donor) must not be screened out, so implied hydrogens count as present and
      // bonded.
      if (atom->implicit_hydrogens() > 0) {
        s.set_element_present("H");
        s.set_simple_connection(sym, "H");
      }
      // The same counts the query side takes of a substructure.
      if (sym == "N")
        ++n;
      if (sym == "O")
        ++o;
      if (s.is_member_of_group(sym, G::HALOGENS))
        ++x;
      if (s.is_member_of_group(sym, G::METALS)) {
        ++m;
        has_metal = true;
      }
      if (atom->has_site())
        has_site = true;
    }
    for (const auto& bond : mol->bonds())
      s.set_simple_connection(symbols[static_cast<std::size_t>(bond->atom1())],
                              symbols[static_cast<std::size_t>(bond->atom2())]);
    max_n = std::max(max_n, n);
    max_o = std::max(max_o, o);
    max_x = std::max(max_x, x);
    max_m = std::max(max_m, m);
  }
  // A query's count bit stands for exactly that many atoms in one substructure; an entry that
  // holds more must answer every smaller count too, so every threshold reached is set.
  for (int k = 2; k <= std::min(max_n, 4); ++k)
    s.set_N_count(k);
  for (int k = 2; k <= std::min(max_o, 4); ++k)
    s.set_O_count(k);
  for (int k = 2; k <= std::min(max_x, 3); ++k)
    s.set_X3_count(k);
  for (int k = 2; k <= std::min(max_m, 3); ++k)
    s.set_M_count(k);

  if (has_site)
    s.screens[G::BIT_3D_COORDINATES] = true;
  if (crystal.r_factor() >= 0.0 && crystal.r_factor() <= 0.05)
    s.screens[G::BIT_R_FACTOR_LOW] = true;
  if (!crystal.has_disorder())
    s.screens[G::BIT_NO_DISORDER] = true;
  if (!crystal.errors().empty())
    s.screens[G::BIT_BUILD_ERRORS] = true;
  if (crystal.is_polymeric())
    s.screens[G::BIT_POLYMERIC] = true;
  if (has_metal)
    s.screens[G::BIT_HAS_METAL] = true;
  // Bit 21 (transition metals) is an element class bit and was set with the elements.
  return Aser(s);
}

// ---------------------------------------------------------------------------------------------
// SQLite plumbing

namespace {

// "XTMS" in the SQLite header: marks a file as a screen index of this program.
constexpr int kApplicationId = 0x58544D53;
constexpr const char* kFormatName = "xtalmotif screen index";

class Sqlite {
public:
  /// Opens `path`, or the URI `open_as` standing for it (errors always name `path`).
  Sqlite(const std::string& path, int flags, const std::string& open_as = "") : path_(path) {
    sqlite3* db = nullptr;
    int rc = sqlite3_open_v2(open_as.empty() ? path.c_str() : open_as.c_str(), &db, flags, nullptr);
    db_ = db;
    if (rc != SQLITE_OK) {
      std::string msg = db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
      close();
      throw ScreenIndexError(path + ": cannot open screen index: " + msg);
    }
    sqlite3_extended_result_codes(db_, 1);
  }
  Sqlite(const Sqlite&) = delete;
  Sqlite& operator=(const Sqlite&) = delete;
  ~Sqlite() { close(); }

  sqlite3* get() const { return db_; }
  const std::string& path() const { return path_; }
  /// Closes the connection; an error here means the file may be incomplete.
  int close() {
    int rc = SQLITE_OK;
    if (db_)
      rc = sqlite3_close(db_);
    db_ = nullptr;
    return rc;
  }
  void exec(const std::string& sql) {
    char* err = nullptr;
    int rc = sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &err);
    if (rc != SQLITE_OK) {
      std::string msg = err ? err : sqlite3_errstr(rc);
      sqlite3_free(err);
      throw SqliteFailure(rc, msg);
    }
  }

  /// A failure reported by SQLite, with its result code.
  struct SqliteFailure : std::runtime_error {
    SqliteFailure(int code, const std::string& msg) : std::runtime_error(msg), rc(code) {}
    int rc;
  };

private:
  std::string path_;
  sqlite3* db_ = nullptr;
};

class Statement {
public:
  Statement(Sqlite& db, const std::string& sql) : db_(db) {
    int rc = sqlite3_prepare_v2(db.get(), sql.c_str(), -1, &stmt_, nullptr);
    if (rc != SQLITE_OK)
      throw Sqlite::SqliteFailure(rc, sqlite3_errmsg(db.get()));
  }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  ~Statement() { sqlite3_finalize(stmt_); }

  void bind(int i, const std::string& text) {
    check(
        sqlite3_bind_text(stmt_, i, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT));
  }
  void bind(int i, long long v) { check(sqlite3_bind_int64(stmt_, i, v)); }
  void bind_blob(int i, const std::string& bytes) {
    check(sqlite3_bind_blob(stmt_, i, bytes.data(), static_cast<int>(bytes.size()),
                            SQLITE_TRANSIENT));
  }
  void bind_null(int i) { check(sqlite3_bind_null(stmt_, i)); }
  /// True while rows come; false when done.
  bool step() {
    int rc = sqlite3_step(stmt_);
    if (rc == SQLITE_ROW)
      return true;
    if (rc == SQLITE_DONE)
      return false;
    throw Sqlite::SqliteFailure(rc, sqlite3_errmsg(db_.get()));
  }
  void run() {
    while (step()) {
    }
    check(sqlite3_reset(stmt_));
    check(sqlite3_clear_bindings(stmt_));
  }
  /// Ready to run again, whatever the last run ended with.
  void reset() {
    sqlite3_reset(stmt_);
    sqlite3_clear_bindings(stmt_);
  }
  long long integer(int col) const { return sqlite3_column_int64(stmt_, col); }
  bool is_null(int col) const { return sqlite3_column_type(stmt_, col) == SQLITE_NULL; }
  std::string text(int col) const {
    const unsigned char* p = sqlite3_column_text(stmt_, col);
    int n = sqlite3_column_bytes(stmt_, col);
    return p ? std::string(reinterpret_cast<const char*>(p), static_cast<std::size_t>(n))
             : std::string();
  }
  std::string blob(int col) const {
    const void* p = sqlite3_column_blob(stmt_, col);
    int n = sqlite3_column_bytes(stmt_, col);
    return p ? std::string(static_cast<const char*>(p), static_cast<std::size_t>(n))
             : std::string();
  }

private:
  void check(int rc) {
    if (rc != SQLITE_OK)
      throw Sqlite::SqliteFailure(rc, sqlite3_errmsg(db_.get()));
  }
  Sqlite& db_;
  sqlite3_stmt* stmt_ = nullptr;
};

// FNV-1a over every stored value, each preceded by its length, so that damage the database
// engine does not notice (a flipped byte inside a screen record) is still caught on opening.
class Checksum {
public:
  void add(const std::string& s) {
    add_raw(std::to_string(s.size()) + ":");
    add_raw(s);
  }
  void add(long long v) { add(std::to_string(v)); }
  std::string hex() const {
    char buf[17];
    std::snprintf(buf, sizeof buf, "%016llx", static_cast<unsigned long long>(digest_.value()));
    return buf;
  }

private:
  void add_raw(const std::string& s) { digest_.add(s.data(), s.size()); }
  ContentDigest digest_;
};

struct FileStamp {
  std::string path;
  long long size = -1;
  long long mtime = 0;
  bool operator==(const FileStamp& o) const {
    return path == o.path && size == o.size && mtime == o.mtime;
  }
};

FileStamp stamp(const std::string& path) {
  FileStamp s;
  s.path = path;
  std::error_code ec;
  auto size = fs::file_size(path, ec);
  s.size = ec ? -1 : static_cast<long long>(size);
  auto t = fs::last_write_time(path, ec);
  s.mtime = ec ? 0 : static_cast<long long>(t.time_since_epoch().count());
  return s;
}

std::string absolute_path(const std::string& p) {
  std::error_code ec;
  fs::path a = fs::absolute(fs::path(p), ec);
  return ec ? p : a.lexically_normal().string();
}

std::vector<std::string> absolute_paths(const std::vector<std::string>& paths) {
  std::vector<std::string> out;
  out.reserve(paths.size());
  for (const auto& p : paths)
    out.push_back(absolute_path(p));
  return out;
}

// The files the sources stand for now, with their sizes and times.
std::vector<FileStamp> current_files(const std::vector<std::string>& sources) {
  std::vector<std::string> ignored;
  std::vector<FileStamp> files;
  for (const auto& f : CifDatabase::list_source_files(sources, ignored))
    files.push_back(stamp(f));
  return files;
}

const char* kSchema = R"sql(
CREATE TABLE meta(key TEXT PRIMARY KEY NOT NULL, value TEXT NOT NULL);
CREATE TABLE sources(position INTEGER PRIMARY KEY, path TEXT NOT NULL);
CREATE TABLE files(position INTEGER PRIMARY KEY, path TEXT NOT NULL, size INTEGER NOT NULL,
                   mtime INTEGER NOT NULL);
CREATE TABLE listing_problems(position INTEGER PRIMARY KEY, message TEXT NOT NULL);
CREATE TABLE entries(position INTEGER PRIMARY KEY, identifier TEXT NOT NULL UNIQUE,
                     file TEXT NOT NULL, block TEXT NOT NULL, block_index INTEGER NOT NULL,
                     block_offset INTEGER NOT NULL, block_length INTEGER NOT NULL,
                     block_line INTEGER NOT NULL, file_size INTEGER NOT NULL,
                     block_checksum INTEGER NOT NULL, compressed INTEGER NOT NULL,
                     readable INTEGER NOT NULL, screens BLOB, problem TEXT);
)sql";

// The table of an index built with stored structures (layout stored_schema_version): each
// readable entry's assembled structure by its row in `entries`, with the digest of the block
// text it was assembled from.
const char* kStructuresSchema = R"sql(
CREATE TABLE structures(position INTEGER PRIMARY KEY, block_checksum INTEGER NOT NULL,
                        crystal BLOB NOT NULL);
)sql";

// Where an entry's block lies, as the index stores it: SQLite integers are signed, so sizes and
// the digest are kept by their bit patterns.
struct StoredRange {
  long long offset, length, line, file_size, checksum, compressed;

  explicit StoredRange(const CifBlockRange& r)
      : offset(static_cast<long long>(r.offset)), length(static_cast<long long>(r.length)),
        line(r.first_line), file_size(static_cast<long long>(r.file_size)),
        checksum(static_cast<long long>(r.checksum)), compressed(r.compressed ? 1 : 0) {}
  StoredRange(long long o, long long n, long long l, long long s, long long c, long long z)
      : offset(o), length(n), line(l), file_size(s), checksum(c), compressed(z) {}

  // A block read through the index must be the text its screens were computed from. A range
  // that cannot be one (damaged, or not taken when the index was built) reads nothing.
  CifBlockRange range() const {
    CifBlockRange r;
    if (offset < 0 || length <= 0 || file_size < 0 || line < 1 || line > INT32_MAX)
      return r;
    r.offset = static_cast<std::size_t>(offset);
    r.length = static_cast<std::size_t>(length);
    r.first_line = static_cast<int>(line);
    r.file_size = static_cast<std::uintmax_t>(file_size);
    r.checksum = static_cast<std::uint64_t>(checksum);
    r.compressed = compressed != 0;
    r.must_match = true;
    return r;
  }
  void add_to(Checksum& sum) const {
    for (long long v : {offset, length, line, file_size, checksum, compressed})
      sum.add(v);
  }
};

// The objects of an index, as SQLite lists them: (type, name, table, statement).
using SchemaObjects = std::set<std::tuple<std::string, std::string, std::string, std::string>>;

SchemaObjects schema_objects(Sqlite& db) {
  SchemaObjects objects;
  Statement st(db, "SELECT type, name, tbl_name, sql FROM sqlite_master;");
  while (st.step())
    objects.emplace(st.text(0), st.text(1), st.text(2), st.text(3));
  return objects;
}

// What an index made by this program holds: the tables of kSchema (and of kStructuresSchema
// with stored structures), each as it was written, and the indexes SQLite makes for their keys.
// Anything else (a view or trigger that would run when a table is read, an extra column,
// another table) marks a file this program did not make.
const SchemaObjects& expected_schema(bool stored) {
  auto make = [](bool with_structures) {
    Sqlite mem(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    mem.exec(kSchema);
    if (with_structures)
      mem.exec(kStructuresSchema);
    return schema_objects(mem);
  };
  static const SchemaObjects plain = make(false), with_structures = make(true);
  return stored ? with_structures : plain;
}

// The first object by which two schemas differ, for messages: "view meta".
std::string first_difference(const SchemaObjects& found, const SchemaObjects& expected) {
  for (const auto& o : found)
    if (!expected.count(o))
      return "unexpected " + std::get<0>(o) + " " + std::get<1>(o);
  for (const auto& o : expected)
    if (!found.count(o))
      return "no " + std::get<0>(o) + " " + std::get<1>(o);
  return {};
}

// "file:" URI of a path, so that it can be opened with parameters: read-only, and immutable, so
// that SQLite neither locks it nor looks for journal or log files beside it.
std::string read_only_uri(const std::string& path) {
  std::string uri = "file:";
  for (unsigned char c : absolute_path(path)) {
    if (c == '%' || c == '?' || c == '#' || c < 0x21 || c >= 0x7f) {
      char buf[4];
      std::snprintf(buf, sizeof buf, "%%%02X", c);
      uri += buf;
    } else {
      uri += static_cast<char>(c);
    }
  }
  return uri + "?mode=ro&immutable=1";
}

// The work SQLite may do reading an index, in steps of 1000 virtual-machine instructions: far
// more than reading every row of a file of this size needs, far less than a crafted file could
// ask for.
struct WorkBudget {
  long long steps_left;
  static int spend(void* budget) { return --static_cast<WorkBudget*>(budget)->steps_left < 0; }
};

// A connection to an index that only reads: no triggers or views ever run, the schema is not
// trusted to call functions, strings are bounded and the work is budgeted.
void restrict_connection(Sqlite& db, WorkBudget& budget) {
  sqlite3* h = db.get();
  sqlite3_db_config(h, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(h, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(h, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_db_config(h, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
  sqlite3_limit(h, SQLITE_LIMIT_LENGTH, 1 << 24);
  sqlite3_limit(h, SQLITE_LIMIT_EXPR_DEPTH, 100);
  sqlite3_limit(h, SQLITE_LIMIT_COMPOUND_SELECT, 4);
  sqlite3_progress_handler(h, 1000, &WorkBudget::spend, &budget);
}

// One computed row of the index.
struct Row {
  bool readable = false;
  std::string blob;
  std::string problem;
  std::string structure; // the stored structure, when structures are stored
};

// Sets the bit of each screen of the caller's own that the crystal holds.
void add_indexed_screens(const THandle<CrystalMaker>& crystal,
                         const std::vector<IndexedScreen>& screens, Aser& aser) {
  const int n = std::min(static_cast<int>(screens.size()), AserDatabase::max_indexed_screens);
  for (int k = 0; k < n; ++k)
    if (screens[static_cast<std::size_t>(k)].holds(crystal))
      aser.set_bit(AserDatabase::first_indexed_bit + k);
}

Row compute_row(const CifDatabase& db, int i, CifFileReader& reader,
                const ScreenIndexOptions& options) {
  Row row;
  try {
    THandle<CrystalMaker> crystal = db.entry(i)->crystal(reader);
    Aser aser = entry_screens(*crystal);
    if (options.store_structures)
      row.structure = store_crystal(*crystal);
    // Last: the screens of the caller's own may change the structure.
    add_indexed_screens(crystal, options.screens, aser);
    row.blob = aser.to_blob();
    row.readable = true;
  } catch (const std::exception& e) {
    row.problem = e.what();
  }
  return row;
}

// Computes the rows of the entries in chunks of whole runs (the blocks of one file, read in one
// pass), each run a unit of the executor, and hands them out in database order. Only one chunk of
// rows is held at a time.
class RowProducer {
public:
  RowProducer(const CifDatabase& db, Executor& executor, const ScreenIndexOptions& options)
      : db_(db), executor_(executor), options_(options), runs_(run_starts(db)) {}
  /// Row i; rows are taken in order, each once.
  Row take(int i) {
    if (i >= chunk_end_)
      compute_chunk_from(i);
    return std::move(rows_[static_cast<std::size_t>(i - chunk_begin_)]);
  }

private:
  void compute_chunk_from(int first) {
    // Enough runs to keep every worker busy, and not so many that the rows fill the memory.
    const std::size_t wanted = static_cast<std::size_t>(64 * std::max(1, executor_.workers()));
    auto run = std::lower_bound(runs_.begin(), runs_.end(), first);
    std::vector<int> starts;
    for (; run != runs_.end() && starts.size() < wanted; ++run) {
      starts.push_back(*run);
      if (db_.run_end(*run) - first >= 4 * static_cast<int>(wanted))
        break;
    }
    chunk_begin_ = first;
    chunk_end_ = db_.run_end(starts.back());
    rows_.assign(static_cast<std::size_t>(chunk_end_ - chunk_begin_), Row());
    executor_.run(static_cast<int>(starts.size()), [&](int unit, int) {
      const int begin = starts[static_cast<std::size_t>(unit)];
      CifFileReader reader(db_.location(begin).file);
      for (int i = begin; i < db_.run_end(begin); ++i)
        rows_[static_cast<std::size_t>(i - chunk_begin_)] = compute_row(db_, i, reader, options_);
    });
  }
  const CifDatabase& db_;
  Executor& executor_;
  const ScreenIndexOptions& options_;
  std::vector<int> runs_;
  std::vector<Row> rows_;
  int chunk_begin_ = 0;
  int chunk_end_ = 0;
};

// The entries' rows (screens, and structures when stored), computed on the executor and written
// in database order, each added to the checksum.
void write_entries(Sqlite& out, const CifDatabase& db, const ScreenIndexOptions& options,
                   ScreenIndexSummary& summary, Checksum& sum) {
  const bool store = options.store_structures;
  Statement ins(out, "INSERT INTO entries(position, identifier, file, block, block_index, "
                     "block_offset, block_length, block_line, file_size, block_checksum, "
                     "compressed, readable, screens, problem) "
                     "VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?);");
  // Stored structures are no part of the checksum: they are read one at a time, long after
  // the index is opened, and each carries a digest of its own.
  std::optional<Statement> put_structure;
  if (store)
    put_structure.emplace(out, "INSERT INTO structures(position, block_checksum, crystal) "
                               "VALUES(?, ?, ?);");
  const int n = db.nentries();
  Executor on_this_thread;
  RowProducer producer(db, options.executor ? *options.executor : on_this_thread, options);
  for (int i = 0; i < n; ++i) {
    Row row = producer.take(i);
    const CifEntryLocation loc = db.location(i);
    const std::string file = absolute_path(loc.file);
    ins.bind(1, static_cast<long long>(i));
    ins.bind(2, loc.id.str());
    ins.bind(3, file);
    ins.bind(4, loc.block_name);
    ins.bind(5, static_cast<long long>(loc.block_index));
    const StoredRange stored(loc.range);
    int column = 6;
    for (long long v : {stored.offset, stored.length, stored.line, stored.file_size,
                        stored.checksum, stored.compressed})
      ins.bind(column++, v);
    ins.bind(12, row.readable ? 1LL : 0LL);
    if (row.readable) {
      ins.bind_blob(13, row.blob);
      ins.bind_null(14);
    } else {
      ins.bind_null(13);
      ins.bind(14, row.problem);
      ++summary.unreadable;
      summary.problems.push_back(row.problem);
    }
    ins.run();
    if (store && row.readable) {
      put_structure->bind(1, static_cast<long long>(i));
      put_structure->bind(2, stored.checksum);
      put_structure->bind_blob(3, row.structure);
      put_structure->run();
    }
    sum.add(loc.id.str());
    sum.add(file);
    sum.add(loc.block_name);
    sum.add(loc.block_index);
    stored.add_to(sum);
    sum.add(row.readable ? 1 : 0);
    sum.add(row.readable ? row.blob : row.problem);
    ++summary.entries;
    if (options.progress) {
      ScreenIndexProgress p;
      p.done = i + 1;
      p.total = n;
      p.location = &loc;
      p.readable = row.readable;
      p.problem = row.problem;
      options.progress(p);
    }
  }
}

// The meta table: what the file is, its entry count, the keys of the caller's own screens, and
// the checksum of everything above (the keys included).
void write_meta(Sqlite& out, const ScreenIndexOptions& options, const ScreenIndexSummary& summary,
                Checksum& sum) {
  Statement ins(out, "INSERT INTO meta(key, value) VALUES(?, ?);");
  std::vector<std::pair<std::string, std::string>> meta = {
      {"format", kFormatName},
      {"screen_version", std::to_string(AserDatabase::screen_version)},
      {"entries", std::to_string(summary.entries)}};
  if (options.store_structures)
    meta.emplace_back("structure_format", std::to_string(stored_crystal_format_version));
  if (!options.screens.empty()) {
    std::string keys;
    const int n =
        std::min(static_cast<int>(options.screens.size()), AserDatabase::max_indexed_screens);
    for (int k = 0; k < n; ++k)
      keys += (k ? "\n" : "") + options.screens[static_cast<std::size_t>(k)].key;
    sum.add(keys);
    meta.emplace_back("indexed_screens", keys);
  }
  meta.emplace_back("checksum", sum.hex());
  for (const auto& [k, v] : meta) {
    ins.bind(1, k);
    ins.bind(2, v);
    ins.run();
  }
}

void write_index(Sqlite& out, const CifDatabase& db, const ScreenIndexOptions& options,
                 ScreenIndexSummary& summary) {
  out.exec("PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;");
  out.exec("PRAGMA application_id=" + std::to_string(kApplicationId) + ";");
  const bool store = options.store_structures;
  out.exec(
      "PRAGMA user_version=" +
      std::to_string(store ? AserDatabase::stored_schema_version : AserDatabase::schema_version) +
      ";");
  out.exec("BEGIN;");
  out.exec(kSchema);
  if (store)
    out.exec(kStructuresSchema);
  Checksum sum;

  const std::vector<std::string> sources = absolute_paths(db.sources());
  {
    Statement ins(out, "INSERT INTO sources(position, path) VALUES(?, ?);");
    for (std::size_t i = 0; i < sources.size(); ++i) {
      ins.bind(1, static_cast<long long>(i));
      ins.bind(2, sources[i]);
      ins.run();
      sum.add(sources[i]);
    }
  }
  {
    Statement ins(out, "INSERT INTO files(position, path, size, mtime) VALUES(?, ?, ?, ?);");
    std::vector<FileStamp> files = current_files(sources);
    for (std::size_t i = 0; i < files.size(); ++i) {
      ins.bind(1, static_cast<long long>(i));
      ins.bind(2, files[i].path);
      ins.bind(3, files[i].size);
      ins.bind(4, files[i].mtime);
      ins.run();
      sum.add(files[i].path);
      sum.add(files[i].size);
      sum.add(files[i].mtime);
    }
  }
  {
    Statement ins(out, "INSERT INTO listing_problems(position, message) VALUES(?, ?);");
    std::vector<std::string> problems = db.problems();
    for (std::size_t i = 0; i < problems.size(); ++i) {
      ins.bind(1, static_cast<long long>(i));
      ins.bind(2, problems[i]);
      ins.run();
      sum.add(problems[i]);
      summary.problems.push_back(problems[i]);
    }
  }
  write_entries(out, db, options, summary, sum);
  write_meta(out, options, summary, sum);
  out.exec("COMMIT;");
}

} // namespace

ScreenIndexSummary build_screen_index(const CifDatabase& database, const std::string& index_path,
                                      const ScreenIndexOptions& options) {
  ScreenIndexSummary summary;
  // Built beside the file that will be replaced: a link's target, not the link.
  const std::string temp = temporary_path_beside(output_target(index_path));
  auto discard = [&temp] {
    std::error_code ec;
    fs::remove(temp, ec);
  };
  // A file of this name can only be left over from a crashed build of a process that had our
  // process id; SQLite would otherwise add to it.
  discard();
  try {
    Sqlite out(temp, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    write_index(out, database, options, summary);
    if (out.close() != SQLITE_OK)
      throw ScreenIndexError(index_path + ": cannot finish writing the screen index");
  } catch (const Sqlite::SqliteFailure& e) {
    discard();
    throw ScreenIndexError(index_path + ": cannot write screen index: " + e.what());
  } catch (const ScreenIndexError& e) {
    discard();
    // Messages about the temporary file name the file the caller asked for.
    std::string msg = e.what();
    if (msg.compare(0, temp.size(), temp) == 0)
      msg = index_path + msg.substr(temp.size());
    throw ScreenIndexError(msg);
  } catch (...) {
    discard();
    throw;
  }
  std::string error;
  if (!install_output(temp, index_path, &error))
    throw ScreenIndexError(error);
  return summary;
}

// ---------------------------------------------------------------------------------------------
// Opening an index

struct AserDatabase::Contents {
  std::string index_path;
  std::vector<std::string> sources;
  std::vector<std::string> problems;
  std::vector<long long> rows; // each entry's row in the entries table
  std::shared_ptr<const EntryRows> entry_rows;
  std::size_t screen_bytes = 0; // of the longest screen record
  std::vector<std::string> indexed_screens;
  std::shared_ptr<const StoredStructures> stored;
  std::vector<int> run_ends; // without stored structures
};

namespace {

// The structures stored in an index, read one entry at a time through a read-only connection of
// their own, one reader at a time. The bytes go straight from the file's pages into a buffer each
// thread keeps, not through a new allocation per entry; what takes the time, turning them into a
// crystal, is done outside the lock. (The file is not mapped into memory, which would save a
// tenth of the time: a file cut short under a mapping stops the program, where a read fails.)
class StoredStructureTable : public StoredStructures {
public:
  explicit StoredStructureTable(const std::string& path)
      : path_(path), db_(std::make_unique<Sqlite>(path, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI,
                                                  read_only_uri(path))) {
    restrict_connection(*db_, budget_);
    budget_.steps_left = kStepsPerLoad;
    // The digest of the text the structure was assembled from, and of the text the entry's
    // screens were computed from (checked with the rest of the index when it was opened).
    query_ = std::make_unique<Statement>(
        *db_, "SELECT s.block_checksum, e.block_checksum FROM structures AS s "
              "JOIN entries AS e ON e.position = s.position WHERE s.position = ?;");
  }
  ~StoredStructureTable() override { sqlite3_blob_close(blob_); }
  StoredStructureTable(const StoredStructureTable&) = delete;
  StoredStructureTable& operator=(const StoredStructureTable&) = delete;

  THandle<CrystalMaker> load(long long position, const DatabaseEntryIdentifier& id) const override {
    const std::string where = path_ + ": entry " + id.str();
    const std::string rebuild = "; rebuild the screen index";
    thread_local std::string buffer;
    long long checksum = 0, expected = 0;
    int length = -1;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      budget_.steps_left = kStepsPerLoad;
      try {
        query_->bind(1, position);
        const bool found = query_->step();
        if (found) {
          checksum = query_->integer(0);
          expected = query_->integer(1);
        }
        query_->reset();
        if (found)
          length = read_blob(position, buffer);
      } catch (const Sqlite::SqliteFailure& e) {
        query_->reset();
        throw StoredCrystalError(where + ": stored structure cannot be read (" + e.what() + ")" +
                                 rebuild);
      }
    }
    if (length < 0)
      throw StoredCrystalError(where + ": no structure stored for it" + rebuild);
    if (expected != checksum)
      throw StoredCrystalError(where +
                               ": the stored structure was assembled from another text "
                               "than the entry's" +
                               rebuild);
    try {
      return load_crystal(std::string_view(buffer.data(), static_cast<std::size_t>(length)), where);
    } catch (const StoredCrystalError& e) {
      throw StoredCrystalError(e.what() + rebuild);
    }
  }

private:
  // One row looked up by its key takes a few dozen steps of the budget's unit.
  static constexpr long long kStepsPerLoad = 1000;

  // The bytes stored at `position`, whatever their type, into the start of `buffer`; returns
  // their number.
  int read_blob(long long position, std::string& buffer) const {
    int rc =
        blob_ ? sqlite3_blob_reopen(blob_, position)
              : sqlite3_blob_open(db_->get(), "main", "structures", "crystal", position, 0, &blob_);
    const int length = rc == SQLITE_OK ? sqlite3_blob_bytes(blob_) : 0;
    if (rc == SQLITE_OK) {
      if (buffer.size() < static_cast<std::size_t>(length))
        buffer.resize(static_cast<std::size_t>(length));
      rc = sqlite3_blob_read(blob_, buffer.data(), length, 0);
    }
    if (rc != SQLITE_OK) {
      const std::string message = sqlite3_errstr(rc);
      // A handle that failed is good for nothing but closing; the next entry opens another.
      sqlite3_blob_close(blob_);
      blob_ = nullptr;
      throw Sqlite::SqliteFailure(rc, message);
    }
    return length;
  }

  std::string path_;
  mutable std::mutex mutex_;
  mutable WorkBudget budget_{0};
  std::unique_ptr<Sqlite> db_;
  std::unique_ptr<Statement> query_;
  mutable sqlite3_blob* blob_ = nullptr;
};

// The identity of the file (application id, layout version, schema, format and screen
// version): anything else is refused before a row is read. Returns the meta table; `stored`
// tells whether the index stores structures.
std::map<std::string, std::string> read_header(Sqlite& db, const std::string& path, bool& stored) {
  long long app_id = 0, version = 0;
  {
    Statement st(db, "PRAGMA application_id;");
    if (st.step())
      app_id = st.integer(0);
  }
  if (app_id != kApplicationId)
    throw ScreenIndexError(path + ": not a screen index of this program");
  {
    Statement st(db, "PRAGMA user_version;");
    if (st.step())
      version = st.integer(0);
  }
  if (version != AserDatabase::schema_version && version != AserDatabase::stored_schema_version)
    throw StaleScreenIndexError(
        path + ": screen index has layout version " + std::to_string(version) +
        ", this program reads versions " + std::to_string(AserDatabase::schema_version) + " and " +
        std::to_string(AserDatabase::stored_schema_version) + "; rebuild it");
  stored = version == AserDatabase::stored_schema_version;
  // Checked before any table is read, since reading a table may run what the file defines.
  const std::string unexpected = first_difference(schema_objects(db), expected_schema(stored));
  if (!unexpected.empty())
    throw ScreenIndexError(path + ": not a screen index of this program (" + unexpected + ")");

  std::map<std::string, std::string> meta;
  {
    Statement st(db, "SELECT key, value FROM meta;");
    while (st.step())
      meta[st.text(0)] = st.text(1);
  }
  if (meta["format"] != kFormatName)
    throw ScreenIndexError(path + ": not a screen index of this program");
  if (meta["screen_version"] != std::to_string(AserDatabase::screen_version))
    throw StaleScreenIndexError(path + ": screen index was made with screen definitions version " +
                                meta["screen_version"] + ", this program uses version " +
                                std::to_string(AserDatabase::screen_version) + "; rebuild it");
  // Refused here rather than entry by entry, each stored structure naming its own version.
  const std::string& format = meta["structure_format"];
  if (stored && format != std::to_string(stored_crystal_format_version))
    throw StaleScreenIndexError(
        path + ": screen index stores its structures in " +
        (format.empty() ? std::string("an earlier format") : "format version " + format) +
        ", this program reads version " + std::to_string(stored_crystal_format_version) +
        "; rebuild it");
  return meta;
}

// The columns of an entry row that say where its block is: the first ten of a query, in this
// order.
constexpr const char* kLocationColumns =
    "identifier, file, block, block_index, block_offset, block_length, block_line, file_size, "
    "block_checksum, compressed";

StoredRange stored_range(const Statement& st) {
  return StoredRange(st.integer(4), st.integer(5), st.integer(6), st.integer(7), st.integer(8),
                     st.integer(9));
}

// An entry's location from a row read with kLocationColumns first. Each block is read from its
// recorded place, and must still be the text it was there.
CifEntryLocation location_from(const Statement& st) {
  return {DatabaseEntryIdentifier(st.text(0)), st.text(1), st.text(2),
          static_cast<int>(std::clamp<long long>(st.integer(3), -1, INT32_MAX)),
          stored_range(st).range()};
}

// What read_entries keeps of the readable entries.
struct KeptEntries {
  std::vector<long long>& rows;
  std::vector<int>* run_ends; // null when nothing is read together
};

// The entry rows, in order, each added to `sum`, the readable ones kept (their rows, where runs
// of them end), the others as problems. Returns the number of rows and the length of
// the longest screen record. The screen records themselves are read again when they are asked
// for, a chunk of entries at a time: a collection of a hundred thousand entries would hold
// megabytes of them.
std::pair<int, std::size_t>
read_entries(Sqlite& db, Checksum& sum, const KeptEntries& keep, std::vector<std::string>& problems,
             std::size_t room, const std::function<ScreenIndexError(const std::string&)>& damaged) {
  int rows = 0;
  std::size_t longest = 0;
  keep.rows.reserve(room);
  // Whether each kept entry continues the run of the one before: a block of a gzipped file
  // followed by another block of that file.
  std::vector<bool> continued;
  std::string last_file;
  bool last_compressed = false;
  Statement st(db, std::string("SELECT ") + kLocationColumns +
                       ", readable, screens, problem, position FROM entries ORDER BY position;");
  while (st.step()) {
    ++rows;
    const bool readable = st.integer(10) != 0;
    std::string payload = readable ? st.blob(11) : st.text(12);
    for (int column : {0, 1, 2})
      sum.add(st.text(column));
    sum.add(st.integer(3));
    stored_range(st).add_to(sum);
    sum.add(readable ? 1 : 0);
    sum.add(payload);
    if (readable && payload.size() > Aser::max_bytes)
      throw damaged("entry " + st.text(0) + ": screen record of " +
                    std::to_string(payload.size()) + " bytes is longer than any record");
    if (readable)
      longest = std::max(longest, payload.size());
    if (!readable) {
      problems.push_back(payload + " (entry " + st.text(0) +
                         " left out when the screen index was built)");
      continue;
    }
    keep.rows.push_back(st.integer(13));
    if (keep.run_ends) {
      std::string file = st.text(1);
      continued.push_back(last_compressed && file == last_file);
      last_compressed = st.integer(9) != 0;
      last_file = std::move(file);
    }
  }
  if (keep.run_ends) {
    // A run ends where the next entry does not continue it.
    const int n = static_cast<int>(continued.size());
    keep.run_ends->assign(continued.size(), 0);
    for (int i = n - 1; i >= 0; --i)
      (*keep.run_ends)[static_cast<std::size_t>(i)] =
          i + 1 < n && continued[static_cast<std::size_t>(i) + 1]
              ? (*keep.run_ends)[static_cast<std::size_t>(i) + 1]
              : i + 1;
  }
  return {rows, longest};
}

// The files the index records, in order: `files` reads the table.
FileStamp recorded_file(const Statement& files) {
  return {files.text(0), files.integer(1), files.integer(2)};
}

// Throws StaleScreenIndexError when the files recorded (the rows `files` steps through) are not
// the files there now. The recorded files are compared one by one as they are read, so that no
// second list of a large collection's files is held.
void check_files_unchanged(const std::string& path, const std::vector<std::string>& sources,
                           Statement& files) {
  // An index that no longer describes its files could screen out an entry that now holds the
  // motif, so any change of the files refuses it.
  auto stale = [&path](const std::string& file) {
    return StaleScreenIndexError(path + ": screen index is out of date: " + file +
                                 " changed, appeared or disappeared since it was built; "
                                 "rebuild it");
  };
  // Each file there now against the next one recorded; `changed` names the first difference.
  std::string changed;
  auto same = [&](const std::string& file) {
    if (!files.step())
      changed = file;
    else if (const FileStamp recorded = recorded_file(files); recorded.path != file)
      changed = recorded.path + " / " + file;
    else if (!(stamp(file) == recorded))
      changed = recorded.path;
    return changed.empty();
  };
  // A folder's files are compared as the walk finds them, without a list of them; files named
  // one by one, several sources and links are compared with their list, from the start.
  std::optional<bool> all_same = CifDatabase::for_each_source_file(sources, same);
  if (!all_same) {
    files.reset();
    std::vector<std::string> ignored;
    const std::vector<std::string> now = CifDatabase::list_source_files(sources, ignored);
    all_same = std::all_of(now.begin(), now.end(), same);
  }
  if (!*all_same)
    throw stale(changed);
  if (files.step())
    throw stale(recorded_file(files).path);
}

} // namespace

// The entry rows of an index, read one at a time as entries are asked for, through a read-only
// connection of their own, one reader at a time (a lookup takes a few microseconds).
class AserDatabase::EntryRows {
public:
  explicit EntryRows(const std::string& path)
      : path_(path), db_(path, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, read_only_uri(path)),
        by_position_(db_, std::string("SELECT ") + kLocationColumns +
                              " FROM entries WHERE position = ?;"),
        by_identifier_(db_, "SELECT position FROM entries WHERE identifier = ? AND readable;"),
        screens_at_(db_, "SELECT screens FROM entries WHERE position = ? AND readable;"),
        screens_between_(db_, "SELECT position, screens FROM entries WHERE position BETWEEN ? "
                              "AND ? AND readable ORDER BY position;") {
    restrict_connection(db_, budget_);
  }

  CifEntryLocation location(long long position) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return ask(by_position_, position, [&](Statement& st) {
      if (!st.step())
        throw ScreenIndexError(path_ + ": screen index has no entry row " +
                               std::to_string(position) + "; rebuild it");
      return location_from(st);
    });
  }

  /// The row of the readable entry with this identifier, or -1.
  long long position_of(const std::string& identifier) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return ask(by_identifier_, identifier,
               [](Statement& st) { return st.step() ? st.integer(0) : -1LL; });
  }

  /// The screen record of the readable entry at row `position`, as stored.
  std::string screens_at(long long position) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return ask(screens_at_, position, [&](Statement& st) {
      if (!st.step())
        throw ScreenIndexError(path_ + ": screen index has no entry row " +
                               std::to_string(position) + "; rebuild it");
      return st.blob(0);
    });
  }

  /// Copies the screen record of entry `i` (its row rows[i]) into `out`: `stride` bytes, zeros
  /// after the record's last. The records of a chunk of entries around it are read together,
  /// and the last few chunks kept, since a search asks for the entries in order.
  void screen_record(const std::vector<long long>& rows, std::size_t i, std::size_t stride,
                     std::uint8_t* out) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const std::size_t first = i - i % kChunkEntries;
    Chunk* chunk = nullptr;
    for (Chunk& c : chunks_)
      if (c.first == first)
        chunk = &c;
    if (!chunk) {
      chunk = &chunks_[next_chunk_];
      next_chunk_ = (next_chunk_ + 1) % chunks_.size();
      read_chunk(rows, first, stride, *chunk);
    }
    std::memcpy(out, chunk->records.data() + (i - first) * stride, stride);
  }

private:
  static constexpr std::size_t kChunkEntries = 1024;
  static constexpr std::size_t kNoChunk = static_cast<std::size_t>(-1);

  // The screen records of entries first, first + 1, ..., each `stride` bytes; none read yet
  // when first is kNoChunk.
  struct Chunk {
    std::size_t first = kNoChunk;
    std::vector<std::uint8_t> records;
  };

  void read_chunk(const std::vector<long long>& rows, std::size_t first, std::size_t stride,
                  Chunk& chunk) const {
    const std::size_t n = std::min(kChunkEntries, rows.size() - first);
    chunk.first = kNoChunk; // no chunk half read stays behind a failure
    std::vector<std::uint8_t> records(n * stride, 0);
    // The readable rows between the chunk's first and last are exactly the chunk's entries.
    const std::size_t k = ask_within(
        1000 + 100 * static_cast<long long>(n), screens_between_,
        [&](Statement& st) {
          std::size_t read = 0;
          for (; read < n && st.step(); ++read) {
            const std::string payload = st.blob(1);
            if (st.integer(0) != rows[first + read] || payload.size() > stride)
              break;
            std::memcpy(records.data() + read * stride, payload.data(), payload.size());
          }
          return read;
        },
        rows[first], rows[first + n - 1]);
    if (k != n)
      throw ScreenIndexError(path_ + ": screen index changed since it was opened (entry row " +
                             std::to_string(rows[first + k]) + "); rebuild it");
    chunk.first = first;
    chunk.records = std::move(records);
  }

  // Runs `read` on `query` bound to `key`, leaving the query ready for the next whatever
  // happens; a failure of the file is an error naming the index.
  template <class Key, class Read>
  std::invoke_result_t<Read, Statement&> ask(Statement& query, const Key& key,
                                             const Read& read) const {
    // One row looked up by its key takes a few dozen steps.
    return ask_within(1000, query, read, key);
  }

  // The same for a query of any number of parameters, bound to `keys` in order, with `steps`
  // of the work budget.
  template <class Read, class... Keys>
  std::invoke_result_t<Read, Statement&> ask_within(long long steps, Statement& query,
                                                    const Read& read, const Keys&... keys) const {
    budget_.steps_left = steps;
    struct Reset {
      Statement& query;
      ~Reset() { query.reset(); }
    } reset{query};
    try {
      int parameter = 0;
      (query.bind(++parameter, keys), ...);
      return read(query);
    } catch (const Sqlite::SqliteFailure& e) {
      throw ScreenIndexError(path_ + ": screen index cannot be read (" + e.what() +
                             "); rebuild it");
    }
  }

  std::string path_;
  mutable WorkBudget budget_{0};
  mutable Sqlite db_;
  mutable Statement by_position_;
  mutable Statement by_identifier_;
  mutable Statement screens_at_;
  mutable Statement screens_between_;
  mutable std::array<Chunk, 4> chunks_;
  mutable std::size_t next_chunk_ = 0;
  mutable std::mutex mutex_;
};

AserDatabase::Contents AserDatabase::read_index(const std::string& path,
                                                const std::vector<std::string>* expected_sources) {
  std::error_code ec;
  if (!fs::exists(path, ec))
    throw ScreenIndexError(path + ": screen index not found");
  if (!fs::is_regular_file(path, ec))
    throw ScreenIndexError(path + ": screen index is not a regular file");

  Contents c;
  c.index_path = path;
  auto damaged = [&path](const std::string& why) {
    return ScreenIndexError(path + ": screen index is damaged (" + why + "); rebuild it");
  };
  try {
    Sqlite db(path, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, read_only_uri(path));
    const auto index_bytes = static_cast<long long>(fs::file_size(path, ec));
    WorkBudget budget{index_bytes + 10000};
    restrict_connection(db, budget);
    bool stored = false;
    std::map<std::string, std::string> meta = read_header(db, path, stored);

    Checksum sum;
    {
      Statement st(db, "SELECT path FROM sources ORDER BY position;");
      while (st.step()) {
        c.sources.push_back(st.text(0));
        sum.add(c.sources.back());
      }
    }
    // The files are read twice: for the checksum now, and compared with the files there now
    // once the checksum shows that the index names its own files.
    const char* files_query = "SELECT path, size, mtime FROM files ORDER BY position;";
    {
      Statement st(db, files_query);
      while (st.step()) {
        const FileStamp recorded = recorded_file(st);
        sum.add(recorded.path);
        sum.add(recorded.size);
        sum.add(recorded.mtime);
      }
    }
    {
      Statement st(db, "SELECT message FROM listing_problems ORDER BY position;");
      while (st.step()) {
        c.problems.push_back(st.text(0));
        sum.add(c.problems.back());
      }
    }
    // Room for every entry is made once, as far as the index's size says there can be so many
    // (a row takes more than 32 bytes of the file).
    const long long claimed = std::atoll(meta["entries"].c_str());
    const auto room =
        claimed > 0 && claimed <= index_bytes / 32 ? static_cast<std::size_t>(claimed) : 0;
    // What a search needs of the entries is kept as the checksum is computed: their rows, eight
    // bytes an entry, are all that is held while the files are compared with those there now.
    const auto [rows, longest] =
        read_entries(db, sum, KeptEntries{c.rows, stored ? nullptr : &c.run_ends}, c.problems,
                     room, damaged);
    if (meta["entries"] != std::to_string(rows))
      throw damaged("it holds " + std::to_string(rows) + " entries of " + meta["entries"]);
    if (const auto keys = meta.find("indexed_screens"); keys != meta.end()) {
      sum.add(keys->second);
      std::istringstream lines(keys->second);
      for (std::string key; std::getline(lines, key);)
        c.indexed_screens.push_back(key);
      if (static_cast<int>(c.indexed_screens.size()) > max_indexed_screens)
        throw damaged("it records more screens than there are bits for");
    }
    if (meta["checksum"] != sum.hex())
      throw damaged("checksum mismatch");
    {
      // Identifiers are unique by the table's own constraint, unless the file was made otherwise.
      Statement twice(db, "SELECT identifier FROM entries GROUP BY identifier "
                          "HAVING count(*) > 1 LIMIT 1;");
      if (twice.step())
        throw damaged("entry " + twice.text(0) + " is listed twice");
    }

    if (expected_sources && absolute_paths(*expected_sources) != c.sources)
      throw StaleScreenIndexError(path + ": screen index was built from other sources than those "
                                         "given; rebuild it");
    Statement files(db, files_query);
    check_files_unchanged(path, c.sources, files);
    c.screen_bytes = longest;
    // The entries' names, and their structures, are read when an entry is asked for.
    c.entry_rows = std::make_shared<EntryRows>(path);
    if (stored)
      c.stored = std::make_shared<StoredStructureTable>(path);
  } catch (const Sqlite::SqliteFailure& e) {
    int primary = e.rc & 0xff;
    if (primary == SQLITE_NOTADB)
      throw ScreenIndexError(path + ": not a screen index (not an SQLite database)");
    if (primary == SQLITE_CORRUPT)
      throw damaged(e.what());
    if (primary == SQLITE_INTERRUPT)
      throw damaged("reading it asks for more work than a file of its size can need");
    if (primary == SQLITE_ERROR)
      throw ScreenIndexError(path + ": not a screen index of this program (" + e.what() + ")");
    throw ScreenIndexError(path + ": cannot read screen index: " + e.what());
  }
  return c;
}

AserDatabase::AserDatabase(Contents contents)
    : CifDatabase(std::move(contents.sources), {}, std::move(contents.problems)),
      index_path_(std::move(contents.index_path)), rows_(std::move(contents.rows)),
      entry_rows_(std::move(contents.entry_rows)), screen_bytes_(contents.screen_bytes),
      indexed_screens_(std::move(contents.indexed_screens)), stored_(std::move(contents.stored)),
      run_ends_(std::move(contents.run_ends)) {}

AserDatabase::AserDatabase(const std::string& index_path)
    : AserDatabase(read_index(index_path, nullptr)) {}

AserDatabase::AserDatabase(const std::vector<std::string>& sources, const std::string& index_path)
    : AserDatabase(read_index(index_path, &sources)) {}

namespace {

void check_entry_index(int i, int n) {
  if (i < 0 || i >= n)
    throw std::out_of_range("IndexedTable::at Illegal index: " + std::to_string(i));
}

} // namespace

CifEntryLocation AserDatabase::location(int i) const {
  check_entry_index(i, nentries());
  return entry_rows_->location(rows_[static_cast<std::size_t>(i)]);
}

THandle<CrystalStructureDatabaseEntry> AserDatabase::entry(int i) const {
  CifEntryLocation loc = location(i);
  if (!stored_)
    return make_handle<CrystalStructureDatabaseEntry>(std::move(loc.id), std::move(loc.file),
                                                      std::move(loc.block_name), loc.block_index,
                                                      loc.range);
  return make_handle<CrystalStructureDatabaseEntry>(std::move(loc.id), std::move(loc.file),
                                                    std::move(loc.block_name), loc.block_index,
                                                    stored_, rows_[static_cast<std::size_t>(i)]);
}

int AserDatabase::index_of(const DatabaseEntryIdentifier& id) const {
  const long long row = entry_rows_->position_of(id.str());
  const auto at = std::lower_bound(rows_.begin(), rows_.end(), row);
  return row >= 0 && at != rows_.end() && *at == row ? static_cast<int>(at - rows_.begin()) : -1;
}

int AserDatabase::run_end(int i) const {
  check_entry_index(i, nentries());
  // With stored structures no file is read: nothing is gained by reading entries together.
  return stored_ ? i + 1 : run_ends_[static_cast<std::size_t>(i)];
}

bool AserDatabase::screens_agree(int i, const AserBitScreens& pattern) const {
  check_entry_index(i, nentries());
  std::array<std::uint8_t, Aser::max_bytes> record{};
  entry_rows_->screen_record(rows_, static_cast<std::size_t>(i), screen_bytes_, record.data());
  for (const auto& [bit, value] : pattern.screens) {
    const auto byte = static_cast<std::size_t>(bit / 8);
    const bool set = bit >= 0 && byte < screen_bytes_ && ((record[byte] >> (bit % 8)) & 1u) != 0;
    if (set != value)
      return false;
  }
  return true;
}

THandle<Aser> AserDatabase::aser(const DatabaseEntryIdentifier& id) const {
  int i = index_of(id);
  if (i < 0)
    throw std::out_of_range("screen index " + index_path_ + " has no entry " + id.str());
  std::string record = entry_rows_->screens_at(rows_[static_cast<std::size_t>(i)]);
  record.resize(screen_bytes_, '\0'); // as long as every other, as the chunks read them
  return make_handle<Aser>(Aser::from_blob(record));
}

} // namespace xtalmotif
