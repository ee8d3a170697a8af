#ifndef XTALMOTIF_APPS_SEARCH_OUTPUTS_H
#define XTALMOTIF_APPS_SEARCH_OUTPUTS_H

#include "apps/html_report.h"
#include "results/motif_search_results.h"
#include "search/collection_search.h"

#include <array>
#include <cstdint>
#include <fstream>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace xtalmotif::app {

/// What `xtalmotif search` was asked to do.
struct SearchCommand {
  std::string motif;
  std::vector<std::string> sources;
  unsigned int limit = 0; // 0: every match, up to the ceiling
  unsigned int ceiling = 1000;
  std::uint64_t work_budget = CollectionSearchSettings::default_work_budget;
  bool all = false;
  bool no_prescreen = false;
  std::array<bool, 7> filters{};
  int jobs = 1;
  std::string save, save_ids, json, tsv, export_dir, report;
  unsigned int report_limit = default_report_structures;
  bool quiet = false;
  bool verbose = false;
};

/// Output that could not be written: nothing the user asked for may be lost in silence.
class OutputError : public std::runtime_error {
public:
  explicit OutputError(const std::string& message) : std::runtime_error(message) {}
};

/// Standard output, flushed: a full disk, a closed stream or /dev/full shows here at the latest.
void check_standard_output();

/// "-" writes to standard output; a file is written completely or not at all.
void write_output(const std::string& path, const std::function<void(std::ostream&)>& writer);

/// Text written while a search goes on, held in a temporary file rather than in memory: beside
/// the output it becomes (so that it can be renamed into place), or in the temporary folder for
/// standard output and devices. Removed unless installed.
class Spool {
public:
  /// A spool for the output `path` ("-": standard output).
  explicit Spool(const std::string& path);
  ~Spool();
  Spool(const Spool&) = delete;
  Spool& operator=(const Spool&) = delete;

  std::ostream& out() { return out_; }
  /// Puts the text in place of the output, or writes it to standard output for "-". Throws
  /// OutputError, naming the output, when any of it could not be written.
  void install();
  /// Writes the text written so far to `os`.
  void copy_to(std::ostream& os);

private:
  std::string path_, temp_;
  std::ofstream out_;
};

/// Everything a search writes about its notable entries, made from each entry as the search
/// passes it on, in database order, so that no structure is held until the end: the listing
/// for standard output, the --json records (also read back for --report), --tsv rows and
/// --export files go to spools and folders as they come, and only identifiers and the lines for
/// standard error are kept.
class SearchOutputs {
public:
  /// `is_input` tells a path that names one of the search's inputs (never an export file's).
  SearchOutputs(const SearchCommand& cmd, std::string motif_name, bool listing,
                std::function<bool(const std::string&)> is_input);
  ~SearchOutputs();

  /// Makes the text of an entry with matches: called on the worker that searched it, while
  /// the other workers search on; the text waits for the entry's turn.
  void render(int index, const EntryOutcome& outcome);
  /// The next notable entry of the search, in database order (`index`, its place): writes the
  /// text made of it, its export files and its lines for standard error.
  void add(int index, EntryOutcome&& outcome);

  /// Writes the listing to standard output.
  void write_listing();
  /// Writes every output file the search asked for (complete or not at all), after the
  /// listing; the --json records end with the search's summary.
  void finish(const CollectionTally& counts);

  /// Lines for standard error, in database order: the reasons of refused entries, the aborted
  /// entries, and the notes that a reader of the hits needs to check them against their files.
  const std::vector<std::string>& refused() const { return refused_; }
  const std::vector<std::string>& aborted() const { return aborted_; }
  const std::vector<std::string>& notes() const { return notes_; }

private:
  const SearchCommand& cmd_;
  std::string motif_name_;
  std::function<bool(const std::string&)> is_input_;
  std::unique_ptr<Spool> listing_, records_, tsv_;
  MotifSearchResults hits_; // the identifiers of the entries with matches, for --save
  std::set<std::string> exported_; // names of the export files written
  std::vector<std::string> refused_, aborted_, notes_;
  // Text of the entries rendered and not yet written: the listing, the records and the rows.
  struct Text {
    std::string listing, records, rows;
  };
  std::mutex mutex_;
  std::map<int, Text> rendered_;
};

} // namespace xtalmotif::app

#endif
