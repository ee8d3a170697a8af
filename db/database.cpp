#include "db/database.h"

#include "crystal/cif_reader.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>
#include <new>
#include <numeric>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace fs = std::filesystem;

namespace xtalmotif {

void DatabaseEntryIdentifier::print(std::ostream& os) const { os << text_; }

std::ostream& operator<<(std::ostream& os, const DatabaseEntryIdentifier& id) {
  return os << id.str();
}

// ---------------------------------------------------------------------------------------------
// Entries

CrystalStructureDatabaseEntry::CrystalStructureDatabaseEntry(DatabaseEntryIdentifier id,
                                                             std::string file,
                                                             std::string block_name,
                                                             int block_index,
                                                             CifBlockRange range)
    : id_(std::move(id)), file_(std::move(file)), block_(std::move(block_name)),
      block_index_(block_index), range_(range) {}

CrystalStructureDatabaseEntry::CrystalStructureDatabaseEntry(
    DatabaseEntryIdentifier id, std::shared_ptr<const std::string> text, const CifBlockInfo& block)
    : id_(std::move(id)), file_(block.file), block_(block.block_name), block_index_(block.index),
      range_(block.range), text_(std::move(text)) {
  if (!text_)
    throw std::invalid_argument("CrystalStructureDatabaseEntry: entry " + id_.str() +
                                " has no text");
}

CrystalStructureDatabaseEntry::CrystalStructureDatabaseEntry(DatabaseEntryIdentifier id,
                                                             THandle<CrystalMaker> crystal)
    : id_(std::move(id)), held_(std::move(crystal)) {
  if (!held_)
    throw std::invalid_argument("CrystalStructureDatabaseEntry: entry " + id_.str() +
                                " has no structure");
}

CrystalStructureDatabaseEntry::CrystalStructureDatabaseEntry(
    DatabaseEntryIdentifier id, std::string file, std::string block_name, int block_index,
    std::shared_ptr<const StoredStructures> store, long long position)
    : id_(std::move(id)), file_(std::move(file)), block_(std::move(block_name)),
      block_index_(block_index), store_(std::move(store)), stored_at_(position) {
  if (!store_)
    throw std::invalid_argument("CrystalStructureDatabaseEntry: entry " + id_.str() +
                                " has no store");
}

THandle<CrystalMaker> CrystalStructureDatabaseEntry::crystal() const {
  if (held_ || text_ || store_)
    return crystal_from(nullptr);
  CifFileReader reader(file_);
  return crystal_from(&reader);
}

THandle<CrystalMaker> CrystalStructureDatabaseEntry::crystal(CifFileReader& reader) const {
  if (held_ || text_ || store_ || reader.path() != file_)
    return crystal();
  return crystal_from(&reader);
}

THandle<CrystalMaker> CrystalStructureDatabaseEntry::crystal_from(CifFileReader* reader) const {
  if (held_)
    return copy_crystal(*held_);
  if (store_)
    return store_->load(stored_at_, id_);
  try {
    if (text_) {
      CifBlockInfo block;
      block.file = file_;
      block.block_name = block_;
      block.index = block_index_;
      block.range = range_;
      return read_crystal_from_string(*text_, block);
    }
    return reader->read(block_, block_index_, range_);
  } catch (const CifError&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& e) {
    // Whatever fails inside the reader is still a problem of this one block: say which.
    throw CifError(file_ + ": block " + block_ + ": " + e.what());
  }
}

THandle<CrystalMaker> copy_crystal(const CrystalMaker& c) {
  auto copy = make_handle<CrystalMaker>();
  copy->set_cell(c.a(), c.b(), c.c(), c.alpha(), c.beta(), c.gamma());
  copy->set_symmetry_operators(c.listed_operators());
  copy->set_symmetry_source(c.symmetry_source(), c.symmetry_replaced());
  copy->set_space_group_name(c.space_group_name());
  for (int i = 0; i < c.nmolecules(); ++i) {
    THandle<Molecule> m = c.molecule(i);
    if (dynamic_cast<const Molecule3d*>(m.get()))
      copy->add_molecule(THandle<Molecule>(make_handle<Molecule3d>(*m)));
    else
      copy->add_molecule(make_handle<Molecule>(*m));
  }
  copy->set_polymeric(c.is_polymeric());
  copy->set_disorder(c.has_disorder());
  for (const auto& e : c.errors())
    copy->add_error(e);
  for (const auto& w : c.warnings())
    if (std::find(c.notices().begin(), c.notices().end(), w) == c.notices().end())
      copy->add_warning(w);
  for (const auto& n : c.notices())
    copy->add_notice(n);
  copy->set_r_factor(c.r_factor());
  copy->set_has_hydrogen_sites(c.has_hydrogen_sites());
  return copy;
}

// ---------------------------------------------------------------------------------------------
// CIF database

namespace {

std::string lower(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(),
                 [](unsigned char ch) { return static_cast<char>(std::tolower(ch)); });
  return s;
}

bool ends_with(const std::string& s, const std::string& suffix) {
  return s.size() >= suffix.size() &&
         s.compare(s.size() - suffix.size(), suffix.size(), suffix) == 0;
}

bool is_cif_name(const fs::path& p) {
  std::string name = lower(p.filename().string());
  return ends_with(name, ".cif") || ends_with(name, ".cif.gz");
}

// The file name without ".gz" and ".cif" (either case): the name a reader gives the entry.
std::string file_stem(const std::string& file) {
  std::string name = fs::path(file).filename().string();
  if (ends_with(lower(name), ".gz"))
    name.resize(name.size() - 3);
  if (ends_with(lower(name), ".cif"))
    name.resize(name.size() - 4);
  return name;
}

// Identity of a file for spotting repeats among the sources.
std::string file_key(const fs::path& p) {
  std::error_code ec;
  fs::path c = fs::weakly_canonical(p, ec);
  if (ec)
    c = fs::absolute(p, ec).lexically_normal();
  return c.string();
}

std::string out_of_range_text(int i) {
  return "IndexedTable::at Illegal index: " + std::to_string(i);
}

// Gives every listed block its identifier: the block name where no other block of the database
// shares it; else the file's stem and the block name, "stem/block", so that the block name
// stays in sight; else (one file holding two blocks of one name, or two files of one name in
// different folders) that with "#n" added, n counting the entries that still share it in
// database order. A block keeps its name in every search in which it is the only one of that
// name, whether its file is searched alone, in a folder or through an index.
void assign_identifiers(std::vector<CifEntryLocation>& locations) {
  // An identifier is printed on lines of its own: a control character from a file name (a
  // newline, a tab) would break the line, and is written as '_'.
  auto printable = [](std::string s) {
    for (char& c : s)
      if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
        c = '_';
    return s;
  };
  std::map<std::string, int> name_count;
  for (const auto& loc : locations)
    ++name_count[loc.block_name];
  std::vector<std::string> ids(locations.size());
  std::map<std::string, int> id_count;
  for (std::size_t i = 0; i < locations.size(); ++i) {
    const std::string& name = locations[i].block_name;
    ids[i] = printable(!name.empty() && name_count[name] == 1
                           ? name
                           : file_stem(locations[i].file) + "/" + name);
    ++id_count[ids[i]];
  }
  std::map<std::string, int> seen;
  for (std::size_t i = 0; i < locations.size(); ++i) {
    std::string id = ids[i];
    if (id_count[id] > 1)
      id += "#" + std::to_string(++seen[id]);
    locations[i].id = DatabaseEntryIdentifier(id);
  }
}

// The files of a database's sources in order, each listed once however often it is named.
class SourceFileList {
public:
  // A file named on its own (or reached through a link): listed unless listed before.
  void add_file(const fs::path& p) {
    std::string key = file_key(p);
    if (listed(key))
      return;
    seen_.insert(std::move(key));
    files_.push_back(p.string());
  }

  // The `*.cif` and `*.cif.gz` files under folder `p`, in order of their paths; `source` names
  // the folder in a problem.
  void add_folder(const fs::path& p, const std::string& source,
                  std::vector<std::string>& problems) {
    std::vector<std::string> found, links;
    std::error_code ec;
    fs::recursive_directory_iterator it(p, fs::directory_options::skip_permission_denied, ec);
    for (fs::recursive_directory_iterator end; !ec && it != end; it.increment(ec)) {
      std::error_code fec;
      if (it->is_regular_file(fec) && is_cif_name(it->path())) {
        found.push_back(it->path().generic_string());
        if (it->is_symlink(fec) || fec)
          links.push_back(found.back());
      }
    }
    if (ec)
      problems.push_back(source + ": cannot search the directory: " + ec.message());
    std::sort(found.begin(), found.end());
    std::sort(links.begin(), links.end());
    // The walk does not enter linked folders, so a file found under the folder's own canonical
    // name is its canonical name too, unless the file is itself a link: the folder is resolved
    // once rather than every file one component at a time. A link to a file of the folder
    // lists whichever of the two comes first.
    std::error_code cec;
    const fs::path root = fs::canonical(p, cec);
    const std::string folder = p.string();
    // The walk names a file as the folder's name followed by the file's path within it: the
    // length of that name, with the separators after it.
    auto prefix_of = [&folder](const std::string& name) {
      return name.compare(0, folder.size(), folder) == 0
                 ? name.find_first_not_of('/', folder.size())
                 : std::string::npos;
    };
    const std::size_t prefix = found.empty() ? std::string::npos : prefix_of(found.front());
    walked_.push_back({root.string(), prefix, files_.size(), files_.size()});
    files_.reserve(files_.size() + found.size());
    for (std::string& name : found) {
      if (cec || prefix == std::string::npos || prefix_of(name) != prefix ||
          std::binary_search(links.begin(), links.end(), name))
        add_file(name);
      else if ((walked_.size() == 1 && seen_.empty()) || // nothing else listed yet
               !listed(walked_.back().root + "/" + name.substr(prefix)))
        files_.push_back(std::move(name));
      walked_.back().end = files_.size();
    }
    if (cec)
      walked_.pop_back();
  }

  std::vector<std::string> take() { return std::move(files_); }

private:
  // Whether the file of canonical name `key` is listed.
  bool listed(const std::string& key) const {
    if (seen_.count(key) > 0)
      return true;
    for (const Walked& w : walked_) {
      if (key.size() <= w.root.size() || key.compare(0, w.root.size(), w.root) != 0 ||
          key[w.root.size()] != '/')
        continue;
      const std::string_view path = std::string_view(key).substr(w.root.size() + 1);
      auto within = [&w](const std::string& name) {
        return std::string_view(name).substr(std::min(w.prefix, name.size()));
      };
      const auto first = files_.begin() + static_cast<std::ptrdiff_t>(w.begin);
      const auto last = files_.begin() + static_cast<std::ptrdiff_t>(w.end);
      const auto it = std::lower_bound(
          first, last, path,
          [&](const std::string& name, std::string_view p) { return within(name) < p; });
      if (it != last && within(*it) == path)
        return true;
    }
    return false;
  }

  // The files of a folder walked without resolving each one: files_ [begin, end), in order,
  // each named by the folder's name (`prefix` characters) and the file's path within it, whose
  // canonical name is `root` + "/" + that path. A file is found among them by bisection, so that
  // a walk of a hundred thousand files keeps no second list of their canonical names.
  struct Walked {
    std::string root;
    std::size_t prefix, begin, end;
  };
  std::vector<std::string> files_;
  std::vector<Walked> walked_;
  std::set<std::string> seen_; // the canonical names of the other files
};

} // namespace

namespace {
enum class Walk { Done, Stopped, Unsure };

// The CIF files under `dir` in the order of their full names sorted as strings, which is the
// order of a walk that takes each folder's names in order, a folder's name with the separator
// after it ("ab/" after "ab.cif", "x-y" before "x/"). Only the names of one folder are held at
// a time. Links are not followed; a link to a CIF file makes the walk unsure, since such a file
// is listed by its canonical name.
Walk walk_in_order(const fs::path& dir, const std::function<bool(const std::string&)>& each) {
  std::vector<std::pair<std::string, fs::path>> names; // sort key, path
  std::error_code ec;
  fs::directory_iterator it(dir, fs::directory_options::skip_permission_denied, ec);
  for (fs::directory_iterator end; !ec && it != end; it.increment(ec)) {
    std::error_code fec;
    const fs::directory_entry& e = *it;
    const std::string name = e.path().filename().string();
    if (e.is_symlink(fec)) {
      if (!fec && e.is_regular_file(fec) && is_cif_name(e.path()))
        return Walk::Unsure;
    } else if (e.is_directory(fec)) {
      names.emplace_back(name + "/", e.path());
    } else if (!fec && e.is_regular_file(fec) && is_cif_name(e.path())) {
      names.emplace_back(name, e.path());
    }
    if (fec)
      return Walk::Unsure;
  }
  if (ec)
    return Walk::Unsure;
  std::sort(names.begin(), names.end());
  for (const auto& [key, path] : names) {
    if (key.back() == '/') {
      const Walk w = walk_in_order(path, each);
      if (w != Walk::Done)
        return w;
    } else if (!each(path.generic_string())) {
      return Walk::Stopped;
    }
  }
  return Walk::Done;
}
} // namespace

std::optional<bool>
CifDatabase::for_each_source_file(const std::vector<std::string>& sources,
                                  const std::function<bool(const std::string&)>& each) {
  std::error_code ec;
  if (sources.size() != 1 || !fs::is_directory(fs::symlink_status(sources[0], ec)))
    return std::nullopt;
  switch (walk_in_order(fs::path(sources[0]), each)) {
  case Walk::Done: return true;
  case Walk::Stopped: return false;
  case Walk::Unsure: break;
  }
  return std::nullopt;
}

bool CifDatabase::is_cif_file_name(const std::string& path) { return is_cif_name(path); }

std::vector<std::string> CifDatabase::list_source_files(const std::vector<std::string>& sources,
                                                        std::vector<std::string>& problems) {
  SourceFileList files;
  for (const auto& source : sources) {
    fs::path p(source);
    std::error_code ec;
    fs::file_status st = fs::status(p, ec);
    if (ec || !fs::exists(st))
      problems.push_back(source + ": no such file or directory");
    else if (fs::is_directory(st))
      files.add_folder(p, source, problems);
    else if (fs::is_regular_file(st))
      files.add_file(p);
    else
      problems.push_back(source + ": not a regular file or directory");
  }
  return files.take();
}

CifDatabase::CifDatabase(std::vector<std::string> sources, Executor* executor)
    : sources_(std::move(sources)) {
  const std::vector<std::string> files = list_source_files(sources_, problems_);
  // Each file is read once to find its blocks: on the executor's threads when there is one,
  // and taken in file order whichever finished first.
  struct Listed {
    std::vector<CifBlockInfo> blocks;
    std::string problem;
  };
  std::vector<Listed> listed(files.size());
  Executor on_caller;
  (executor ? *executor : on_caller).run(static_cast<int>(files.size()), [&](int f, int) {
    const std::string& file = files[static_cast<std::size_t>(f)];
    Listed& l = listed[static_cast<std::size_t>(f)];
    try {
      l.blocks = list_cif_blocks(file);
    } catch (const CifError& e) {
      l.problem = e.what();
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& e) {
      l.problem = file + ": " + e.what();
    }
  });
  for (std::size_t f = 0; f < files.size(); ++f) {
    const std::string& file = files[f];
    if (!listed[f].problem.empty()) {
      problems_.push_back(std::move(listed[f].problem));
      continue;
    }
    const std::vector<CifBlockInfo> blocks = std::move(listed[f].blocks);
    // Blocks without atom sites (the data_global block of a multi-block file, a block of
    // publication data) are not structures and are no entries; a file of nothing else is worth
    // a word, since its structures will never be searched.
    bool any = false;
    for (const auto& b : blocks) {
      if (!b.has_atom_sites)
        continue;
      locations_.push_back({DatabaseEntryIdentifier(), file, b.block_name, b.index, b.range});
      any = true;
    }
    if (!any)
      problems_.push_back(file + ": no data block with atom sites");
  }
  assign_identifiers(locations_);
  index_identifiers();
}

CifDatabase::CifDatabase(std::vector<std::string> sources, std::vector<CifEntryLocation> locations,
                         std::vector<std::string> problems)
    : sources_(std::move(sources)), locations_(std::move(locations)),
      problems_(std::move(problems)) {
  index_identifiers();
}

void CifDatabase::index_identifiers() {
  // The entries in order of their identifiers, for finding one by bisection: four bytes an entry
  // where a hash table would keep a second copy of every identifier.
  by_id_.resize(locations_.size());
  std::iota(by_id_.begin(), by_id_.end(), 0);
  std::sort(by_id_.begin(), by_id_.end(), [this](int a, int b) { return id_at(a) < id_at(b); });
  const auto twice = std::adjacent_find(by_id_.begin(), by_id_.end(),
                                        [this](int a, int b) { return id_at(a) == id_at(b); });
  if (twice != by_id_.end())
    throw std::invalid_argument("CifDatabase: identifier " + id_at(*twice) +
                                " is used by more than one entry");
  // Runs of consecutive blocks of one gzipped file, read through one reader in a single pass.
  const int n = nentries();
  run_end_.assign(locations_.size(), 0);
  for (int i = n - 1; i >= 0; --i) {
    const CifEntryLocation& loc = locations_[static_cast<std::size_t>(i)];
    const bool continued = i + 1 < n && loc.range.compressed &&
                           locations_[static_cast<std::size_t>(i) + 1].file == loc.file;
    run_end_[static_cast<std::size_t>(i)] =
        continued ? run_end_[static_cast<std::size_t>(i) + 1] : i + 1;
  }
}

int CifDatabase::run_end(int i) const {
  if (i < 0 || i >= nentries())
    throw std::out_of_range(out_of_range_text(i));
  return run_end_[static_cast<std::size_t>(i)];
}

CifEntryLocation CifDatabase::location(int i) const {
  if (i < 0 || i >= nentries())
    throw std::out_of_range(out_of_range_text(i));
  return locations_[static_cast<std::size_t>(i)];
}

THandle<CrystalStructureDatabaseEntry> CifDatabase::entry(int i) const {
  if (i < 0 || i >= nentries())
    throw std::out_of_range(out_of_range_text(i));
  const auto& loc = locations_[static_cast<std::size_t>(i)];
  return make_handle<CrystalStructureDatabaseEntry>(loc.id, loc.file, loc.block_name,
                                                    loc.block_index, loc.range);
}

THandle<CrystalStructureDatabaseEntry> CifDatabase::entry(const DatabaseEntryIdentifier& id) const {
  int i = index_of(id);
  if (i < 0)
    throw std::out_of_range("database has no entry " + id.str());
  return entry(i);
}

bool CifDatabase::contains(const DatabaseEntryIdentifier& id) const { return index_of(id) >= 0; }

int CifDatabase::index_of(const DatabaseEntryIdentifier& id) const {
  auto it = std::lower_bound(by_id_.begin(), by_id_.end(), id.str(),
                             [this](int i, const std::string& key) { return id_at(i) < key; });
  return it != by_id_.end() && id_at(*it) == id.str() ? *it : -1;
}

// ---------------------------------------------------------------------------------------------
// CIF text in memory

CifTextDatabase::CifTextDatabase(std::string text, const std::string& source_name)
    : text_(std::make_shared<const std::string>(std::move(text))) {
  std::vector<CifBlockInfo> blocks;
  try {
    blocks = list_cif_blocks_in_string(*text_, source_name);
  } catch (const CifError& e) {
    problems_.push_back(e.what());
    return;
  }
  std::vector<CifEntryLocation> locations;
  for (auto& b : blocks)
    if (b.has_atom_sites) {
      locations.push_back({DatabaseEntryIdentifier(), b.file, b.block_name, b.index, b.range});
      blocks_.push_back(std::move(b));
    }
  if (blocks_.empty())
    problems_.push_back(source_name + ": no data block with atom sites");
  assign_identifiers(locations);
  for (std::size_t i = 0; i < locations.size(); ++i) {
    ids_.push_back(locations[i].id);
    by_id_.emplace(locations[i].id.str(), static_cast<int>(i));
  }
}

THandle<CrystalStructureDatabaseEntry> CifTextDatabase::entry(int i) const {
  if (i < 0 || i >= nentries())
    throw std::out_of_range(out_of_range_text(i));
  const auto k = static_cast<std::size_t>(i);
  return make_handle<CrystalStructureDatabaseEntry>(ids_[k], text_, blocks_[k]);
}

THandle<CrystalStructureDatabaseEntry>
CifTextDatabase::entry(const DatabaseEntryIdentifier& id) const {
  auto it = by_id_.find(id.str());
  if (it == by_id_.end())
    throw std::out_of_range("database has no entry " + id.str());
  return entry(it->second);
}

bool CifTextDatabase::contains(const DatabaseEntryIdentifier& id) const {
  return by_id_.count(id.str()) > 0;
}

// ---------------------------------------------------------------------------------------------
// In-memory database

void MemoryDatabase::add(const DatabaseEntryIdentifier& id, THandle<CrystalMaker> crystal) {
  if (by_id_.count(id.str()))
    throw std::invalid_argument("MemoryDatabase: identifier " + id.str() + " is already taken");
  auto e = make_handle<CrystalStructureDatabaseEntry>(id, std::move(crystal));
  by_id_.emplace(id.str(), nentries());
  entries_.push_back(e);
}

THandle<CrystalStructureDatabaseEntry> MemoryDatabase::entry(int i) const {
  if (i < 0 || i >= nentries())
    throw std::out_of_range(out_of_range_text(i));
  return entries_[static_cast<std::size_t>(i)];
}

THandle<CrystalStructureDatabaseEntry>
MemoryDatabase::entry(const DatabaseEntryIdentifier& id) const {
  auto it = by_id_.find(id.str());
  if (it == by_id_.end())
    throw std::out_of_range("database has no entry " + id.str());
  return entries_[static_cast<std::size_t>(it->second)];
}

bool MemoryDatabase::contains(const DatabaseEntryIdentifier& id) const {
  return by_id_.count(id.str()) > 0;
}

} // namespace xtalmotif
