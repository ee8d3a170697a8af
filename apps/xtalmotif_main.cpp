// The xtalmotif program: searches crystal structures (CIF files, folders of them, multi-block
// files or a screen index) for a motif, builds screen indexes, and lists and shows the ready-made
// motifs.

#include "apps/hbonds_command.h"
#include "apps/html_report.h"
#include "apps/motif_catalog.h"
#include "apps/search_outputs.h"
#include "apps/thread_pool.h"
#include "db/aser_database.h"
#include "crystal/cif_reader.h"
#include "db/database.h"
#include "motif/motif_search_lib_functions.h"
#include "search/collection_search.h"
#include "search/indexed_screens.h"
#include "search/match_records.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <future>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

using namespace xtalmotif;
using namespace xtalmotif::app;

namespace {

constexpr int exit_hits = 0;
constexpr int exit_no_hits = 1;
constexpr int exit_usage = 2;
constexpr int exit_failure = 3;

bool is_screen_index(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  char magic[16] = {};
  in.read(magic, sizeof magic);
  return in.gcount() == 16 && std::string(magic, 15) == "SQLite format 3";
}

// Standard input, plain or gzipped, up to the size of the largest CIF file the reader takes.
std::string read_stdin() {
  gzFile in = gzdopen(::dup(STDIN_FILENO), "rb");
  if (!in)
    throw std::runtime_error("standard input: cannot be read");
  std::unique_ptr<gzFile_s, int (*)(gzFile)> closer(in, gzclose);
  std::string text;
  std::vector<char> buf(std::size_t{1} << 16);
  for (;;) {
    const int n = gzread(in, buf.data(), static_cast<unsigned>(buf.size()));
    if (n < 0) {
      int err = 0;
      throw std::runtime_error(std::string("standard input: cannot be read: ") + gzerror(in, &err));
    }
    if (n == 0)
      break;
    if (text.size() + static_cast<std::size_t>(n) > max_cif_text_bytes)
      throw UsageError("standard input: more than " + std::to_string(max_cif_text_bytes >> 20) +
                       " MB of text, too large for a crystal structure");
    text.append(buf.data(), static_cast<std::size_t>(n));
  }
  return text;
}

// The entries to search: the shipped structures, CIF files and folders, one screen index, or CIF
// text on standard input.
struct Sources {
  THandle<Database<CrystalStructureDatabaseEntry>> db;
  THandle<AserDatabase> screens;
};

Sources open_sources(std::vector<std::string> paths, int jobs) {
  Sources s;
  if (paths.empty())
    throw UsageError(std::string("no structures to search: give CIF files, folders or a screen "
                                 "index; the structures that come with xtalmotif are searched "
                                 "with\n  xtalmotif search MOTIF ") +
                     XTALMOTIF_SHIPPED_DATA);
  int indexes = 0;
  for (const auto& p : paths) {
    if (p == "-")
      continue;
    std::error_code ec;
    if (!std::filesystem::exists(p, ec)) {
      // A bare number is most likely a database entry's number, not a file of that name.
      const bool number = !p.empty() && std::all_of(p.begin(), p.end(), [](char c) {
        return std::isdigit(static_cast<unsigned char>(c));
      });
      throw UsageError(p + ": no such file or folder" +
                       (number ? std::string("; to search an entry of the Crystallography Open "
                                             "Database, download its CIF first (https://"
                                             "www.crystallography.net/cod/") +
                                     p + ".cif)"
                               : std::string()));
    }
    if (std::filesystem::is_regular_file(p, ec) && is_screen_index(p))
      ++indexes;
  }
  if (indexes > 0) {
    if (paths.size() != 1)
      throw UsageError("a screen index must be the only source (it records its own CIF files)");
    s.screens = make_handle<AserDatabase>(paths[0]);
    s.db = s.screens;
  } else if (paths.size() == 1 && paths[0] == "-") {
    // Every data block of the text is an entry, named as the blocks of a file are.
    s.db = make_handle<CifTextDatabase>(read_stdin(), "stdin");
  } else {
    for (const auto& p : paths)
      if (p == "-")
        throw UsageError("'-' (standard input) cannot be combined with other sources");
    ThreadPool listing(jobs);
    s.db = make_handle<CifDatabase>(paths, &listing);
  }
  if (s.db->nentries() == 0 && s.db->problems().empty())
    throw UsageError("no CIF data blocks found in the given sources");
  return s;
}

std::string format_seconds(double s) {
  long t = static_cast<long>(s + 0.5);
  char buf[32];
  std::snprintf(buf, sizeof buf, "%02ld:%02ld", t / 60, t % 60);
  return buf;
}

// One line on standard error, redrawn in place: entries done, entries with hits, entries per
// second and the time left at that rate.
class ProgressBar {
public:
  ProgressBar(int total, bool enabled) : total_(total), enabled_(enabled) {}
  void update(int done, int hits) {
    if (!enabled_)
      return;
    double elapsed = seconds();
    double rate = elapsed > 0 ? done / elapsed : 0.0;
    const int width = 30;
    int filled = total_ > 0 ? width * done / total_ : width;
    std::ostringstream os;
    os << "\r[" << std::string(filled, '#') << std::string(width - filled, '.') << "] " << done
       << '/' << total_ << " entries, " << hits << (hits == 1 ? " hit, " : " hits, ")
       << std::fixed << std::setprecision(1) << rate << "/s, "
       // Until an entry is done there is no rate to estimate from.
       << (done > 0 ? format_seconds((total_ - done) / rate) : std::string("--:--")) << " left ";
    std::cerr << os.str() << std::flush;
  }
  void finish() {
    if (enabled_)
      std::cerr << '\n';
  }
  double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

private:
  int total_;
  bool enabled_;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// An output file must be writable where it is named before a long search starts, not found
// unwritable after it.
void check_output_file(const std::string& path, const std::string& option) {
  namespace fs = std::filesystem;
  std::error_code ec;
  if (fs::is_directory(path, ec))
    throw UsageError(path + ": " + option + " needs a file name, and this is a folder");
  fs::path folder = fs::path(path).parent_path();
  if (!folder.empty() && !fs::is_directory(folder, ec))
    throw UsageError(path + ": " + option + ": the folder " + folder.string() +
                     " does not exist");
}

// The output files a search may write, each with its option; an empty path is not asked for.
std::vector<std::pair<std::string, std::string>> output_files(const SearchCommand& cmd) {
  return {{"--save", cmd.save}, {"--save-ids", cmd.save_ids}, {"--json", cmd.json},
          {"--tsv", cmd.tsv}, {"--report", cmd.report}};
}

// The outputs of one search: each file named once, at most one stream on standard output.
void check_outputs(const SearchCommand& cmd) {
  namespace fs = std::filesystem;
  std::vector<std::pair<std::string, std::string>> files; // option, path
  for (const auto& [option, path] : output_files(cmd))
    if (!path.empty() && path != "-") {
      check_output_file(path, option);
      files.emplace_back(option, path);
    }
  for (std::size_t i = 0; i < files.size(); ++i)
    for (std::size_t j = i + 1; j < files.size(); ++j) {
      std::error_code ec;
      if (fs::weakly_canonical(files[i].second, ec) == fs::weakly_canonical(files[j].second, ec))
        throw UsageError(files[i].first + " and " + files[j].first + " both name " +
                         files[j].second + "; give each output its own file");
    }
  if (cmd.json == "-" && cmd.tsv == "-")
    throw UsageError("--json - and --tsv - cannot both write to standard output");
  if (cmd.report == "-" && (cmd.json == "-" || cmd.tsv == "-"))
    throw UsageError("--report - cannot share standard output with --json - or --tsv -");
  std::error_code ec;
  if (!cmd.export_dir.empty() && fs::exists(cmd.export_dir, ec) &&
      !fs::is_directory(cmd.export_dir, ec))
    throw UsageError(cmd.export_dir + ": --export needs a folder, and this is a file");
}

// The files a command reads, by identity (device and inode, links followed), so that no output
// can overwrite one of them under another name.
class InputFiles {
public:
  void add(const std::string& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode))
      files_.emplace(std::make_pair(st.st_dev, st.st_ino), path);
  }
  /// The CIF files under the sources (folders searched as a database searches them).
  void add_sources(const std::vector<std::string>& sources) {
    std::vector<std::string> ignored;
    for (const auto& f : CifDatabase::list_source_files(sources, ignored))
      add(f);
  }
  /// Whether a path names one of the input files.
  bool is_input(const std::string& path) const {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && files_.count({st.st_dev, st.st_ino}) > 0;
  }
  /// Refuses an output that names an input file.
  void check_output(const std::string& path, const std::string& option) const {
    struct stat st {};
    if (path.empty() || path == "-" || ::stat(path.c_str(), &st) != 0)
      return;
    auto it = files_.find({st.st_dev, st.st_ino});
    if (it != files_.end())
      throw UsageError(path + ": " + option + " names an input file (" + it->second +
                       "), which it would overwrite; give the output another name");
  }

private:
  std::map<std::pair<dev_t, ino_t>, std::string> files_;
};

// Standard error after a search: refused entries, aborted ones, notes that a reader of the hits
// needs to check them against their files, and unless quiet the summary.
void report_search(const SearchCommand& cmd, const std::vector<std::string>& problems,
                   std::size_t from_index, const SearchOutputs& outputs,
                   const std::string& summary) {
  // Entries the screen index left out when it was built (the first `from_index` problems) are
  // the same on every search of it: in full with --verbose, else in one line under -q and in
  // full otherwise.
  for (std::size_t i = 0; i < problems.size(); ++i)
    if (i >= from_index || cmd.verbose || !cmd.quiet)
      std::cerr << "refused: " << printable(problems[i]) << '\n';
  for (const auto& reason : outputs.refused())
    std::cerr << "refused: " << printable(reason) << '\n';
  if (from_index > 0 && cmd.quiet && !cmd.verbose)
    std::cerr << "refused: " << from_index
              << " entries left out when the screen index was built (--verbose lists them)\n";
  for (const auto& line : outputs.aborted())
    std::cerr << line << '\n';
  for (const auto& line : outputs.notes())
    std::cerr << line << '\n';
  if (!cmd.quiet)
    std::cerr << summary;
}

int run_search(const SearchCommand& cmd) {
  check_outputs(cmd);
  // Building the motif catalog and listing the data blocks of every source are both done once,
  // before any entry is searched; with threads to spare they overlap. A bad motif is still
  // reported before a bad source, and before standard input is waited for.
  MotifChoice choice;
  Sources sources;
  bool reads_stdin = std::find(cmd.sources.begin(), cmd.sources.end(), "-") != cmd.sources.end();
  if (cmd.jobs > 1 && !reads_stdin) {
    auto chosen = std::async(std::launch::async, [&] { return choose_motif(cmd.motif); });
    try {
      sources = open_sources(cmd.sources, cmd.jobs);
    } catch (...) {
      chosen.get();
      throw;
    }
    choice = chosen.get();
  } else {
    choice = choose_motif(cmd.motif);
    sources = open_sources(cmd.sources, cmd.jobs);
  }
  // No output may overwrite an input; the files under the sources are listed only when there is
  // an output to check.
  const auto output_paths = output_files(cmd);
  InputFiles inputs;
  if (!cmd.export_dir.empty() || std::any_of(output_paths.begin(), output_paths.end(),
                                             [](const auto& o) { return !o.second.empty(); })) {
    inputs.add(cmd.motif);
    for (const auto& p : cmd.sources)
      inputs.add(p);
    if (auto* files = dynamic_cast<const CifDatabase*>(sources.db.get()))
      inputs.add_sources(files->sources());
    for (const auto& [option, path] : output_paths)
      inputs.check_output(path, option);
  }

  CollectionSearchSettings settings;
  settings.limit = cmd.all ? 0 : cmd.limit;
  settings.ceiling = cmd.ceiling;
  settings.work_budget = cmd.work_budget;
  settings.prescreen = !cmd.no_prescreen;
  const auto& f = cmd.filters;
  settings.filters = make_handle<Filters>(f[0], f[1], f[2], f[3], f[4], f[5], f[6]);
  settings.prepare = choice.prepare;

  const int n = sources.db->nentries();
  bool show_progress = !cmd.quiet && n > 1 && isatty(STDERR_FILENO);
  // JSON Lines or TSV sent to standard output stay a clean stream of their own.
  bool stdout_taken = cmd.json == "-" || cmd.tsv == "-" || cmd.report == "-";
  // What is reported of each entry is written out as the search passes it on, in database
  // order, so that a survey of a hundred thousand entries holds no structure till the end.
  SearchOutputs outputs(cmd, choice.name, !stdout_taken,
                        [&](const std::string& path) { return inputs.is_input(path); });
  ProgressBar bar(n, show_progress);
  std::atomic<int> done{0}, hits{0};
  ThreadPool pool(cmd.jobs, [&] { bar.update(done, hits); });
  CollectionSurvey survey =
      CollectionSearch(sources.db, sources.screens, settings)
          .survey(
              [&] {
                try {
                  return choice.build();
                } catch (const std::exception& e) {
                  throw UsageError(e.what()); // the motif, not an entry, is at fault
                }
              },
              &pool,
              [&](int i, const EntryOutcome& o) {
                outputs.render(i, o);
                hits += o.matches.empty() ? 0 : 1;
                ++done;
              },
              [&](int i, EntryOutcome&& o) { outputs.add(i, std::move(o)); });
  bar.finish();

  CollectionTally counts = std::move(survey.counts);
  // A line per unreadable entry: those the sources know of (for an index, those it left out
  // when it was built), then those the search met.
  const std::vector<std::string>& problems = sources.db->problems();
  counts.refused += static_cast<int>(problems.size());
  const std::size_t from_index = sources.screens ? problems.size() : 0;

  outputs.write_listing();

  // How often the motif forms where it could: hits among the entries that hold every group it
  // needs, with a 95% Wilson interval.
  const auto [low, high] = MotifSearchLibFunctions::wilson_interval(counts.hits, counts.candidates);
  std::ostringstream propensity;
  propensity << choice.name << ": " << counts.hits << " of " << counts.candidates
             << " candidate entries";
  if (counts.candidates > 0)
    propensity << ", " << std::lround(100.0 * counts.hits / counts.candidates) << "% ("
               << std::lround(100 * low) << "-" << std::lround(100 * high) << "%)";
  outputs.finish(counts);

  std::ostringstream summary;
  summary << "motif \"" << choice.name << "\": " << n << " entries, " << counts.searched
          << " searched, " << counts.prescreened << " prescreened out, " << counts.filtered
          << " filtered out, " << problems.size() + outputs.refused().size() << " refused, "
          << counts.aborted << " aborted"
          << (counts.capped > 0 ? ", " + std::to_string(counts.capped) + " stopped at the " +
                                      std::to_string(settings.ceiling) + "-match ceiling"
                                : std::string())
          << "; " << counts.hits << " with hits (" << counts.matches
          << (counts.matches == 1 ? " match" : " matches") << ") in " << std::fixed
          << std::setprecision(2) << bar.seconds() << " s\n"
          << propensity.str() << '\n';
  report_search(cmd, problems, from_index, outputs, summary.str());
  if (counts.searched == 0 && counts.prescreened == 0 && counts.filtered == 0 &&
      problems.size() + outputs.refused().size() > 0)
    return exit_failure;
  return counts.hits > 0 ? exit_hits : exit_no_hits;
}

int run_index(const std::vector<std::string>& sources, const std::string& out, int jobs,
              bool quiet, bool store_structures) {
  for (const auto& p : sources)
    if (!std::filesystem::exists(p))
      throw UsageError(p + ": no such file or folder");
  check_output_file(out, "--output");
  ThreadPool pool(jobs);
  CifDatabase db(sources, &pool);
  InputFiles inputs;
  inputs.add_sources(sources);
  inputs.check_output(out, "--output");
  if (db.nentries() == 0)
    throw UsageError("no CIF data blocks found in the given sources");
  ScreenIndexOptions options;
  options.executor = &pool;
  options.store_structures = store_structures;
  options.screens = motif_screens(screened_catalog_motifs());
  bool show = !quiet && isatty(STDERR_FILENO);
  auto start = std::chrono::steady_clock::now();
  if (show)
    options.progress = [&](const ScreenIndexProgress& p) {
      std::cerr << "\rindexed " << p.done << '/' << p.total << " entries" << std::flush;
    };
  ScreenIndexSummary summary = build_screen_index(db, out, options);
  if (show)
    std::cerr << '\n';
  double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  for (const auto& p : summary.problems)
    std::cerr << "refused: " << printable(p) << '\n';
  if (!quiet)
    std::cerr << out << ": " << summary.entries << " entries indexed"
              << (store_structures ? " with their structures, " : ", ") << summary.unreadable
              << " unreadable, in " << std::fixed << std::setprecision(2) << secs << " s\n";
  return 0;
}

void run_motifs() {
  std::size_t width = 0;
  for (const auto& e : motif_catalog())
    width = std::max(width, e.name.size());
  std::string family;
  for (const auto& e : motif_catalog()) {
    if (e.family != family) {
      family = e.family;
      std::cout << (family == "pair"     ? "Hydrogen-bonded pairs of predefined groups"
                    : family == "water"  ? "Water clusters"
                    : family == "ring"   ? "Extended hydrogen-bonded rings"
                                         : "Silver carboxylate patterns")
                << ":\n";
    }
    // Two spaces at least between a name and its description, however long the name.
    std::cout << "  " << std::left << std::setw(static_cast<int>(width)) << e.name << "  "
              << e.describe() << '\n';
  }
}

void run_show(const std::string& name) {
  MotifChoice choice = choose_motif(name);
  THandle<Motif> m = choice.build();
  std::cout << "Motif \"" << choice.name << "\": " << m->nsubstructures() << " substructures, "
            << m->ncontacts() << " contacts, " << m->angle_constraints()->size()
            << " angle constraints\n";
  for (int s = 0; s < m->nsubstructures(); ++s) {
    const MotifSubstructure& sub = *m->substructures()->at(s);
    std::cout << "substructure " << s << " \"" << sub.name << "\":\n";
    for (int a = 0; a < sub.nnodes(); ++a) {
      std::cout << "  atom " << a;
      if (!sub.node(a)->label().empty())
        std::cout << " (" << sub.node(a)->label() << ')';
      std::cout << ": ";
      sub.node(a)->print(std::cout);
      std::cout << '\n';
    }
    for (const auto& e : sub.edges()) {
      std::cout << "  bond " << e.atom1 << '-' << e.atom2 << ": ";
      e.bond->print(std::cout);
      std::cout << '\n';
    }
  }
  // A query atom as its elements ("O", "O|N", "any").
  auto elements = [&](int sub, int atom) {
    const auto& allowed = m->substructures()->at(sub)->node(atom)->elements();
    std::string out;
    for (const auto& e : allowed)
      out += (out.empty() ? "" : "|") + e.symbol();
    return allowed.empty() || allowed.size() > 8 ? std::string("any") : out;
  };
  // A limit in angstrom or relative to the van der Waals sum, as a person writes it.
  auto limit = [](const CombinedCriterion& cr, double v) {
    std::ostringstream os;
    if (!cr.is_vdw_relative())
      os << v << " A";
    else if (v == 0)
      os << "vdW sum";
    else
      os << "vdW sum " << (v > 0 ? "+ " : "- ") << std::fabs(v) << " A";
    return os.str();
  };
  for (int c = 0; c < m->ncontacts(); ++c) {
    const MotifContact& k = *m->contacts()->at(c);
    const CombinedCriterion& cr = *k.criterion();
    const std::string pair = elements(k.from_substructure(), k.from_atom()) + "..." +
                             elements(k.to_substructure(), k.to_atom());
    std::cout << "contact " << c << ": substructure " << k.from_substructure() << " atom "
              << k.from_atom() << " -> substructure " << k.to_substructure() << " atom "
              << k.to_atom() << ": ";
    // A lower limit of 5 A below the radius sum (or none in angstrom) asks for nothing.
    const bool lower = cr.is_vdw_relative() ? cr.lower() > -5 : cr.lower() > 0;
    if (lower)
      std::cout << limit(cr, cr.lower()) << " < ";
    std::cout << pair << " < " << limit(cr, cr.upper());
    const ContactType type = cr.contact_type();
    std::cout << (type == ContactType::Inter   ? ", between molecules\n"
                  : type == ContactType::Intra ? ", within one molecule\n"
                                               : ", within or between molecules\n");
  }
  int k = 0;
  for (const auto& a : *m->angle_constraints()) {
    std::cout << "angle " << k++ << ": (" << a->substructure(0) << ',' << a->atom(0) << ") ("
              << a->substructure(1) << ',' << a->atom(1) << ") (" << a->substructure(2) << ','
              << a->atom(2) << ") ";
    a->condition()->print(std::cout, Condition::print_full);
    std::cout << '\n';
  }
}

// For each option on the command line that no command knows ("--jsn"), the nearest one that
// does ("did you mean --json?").
void suggest_options(const CLI::App& app, int argc, char** argv) {
  std::vector<std::string> known;
  std::vector<const CLI::App*> apps{&app};
  for (const CLI::App* sub : app.get_subcommands([](const CLI::App*) { return true; }))
    apps.push_back(sub);
  for (const CLI::App* a : apps)
    for (const CLI::Option* o : a->get_options())
      for (const auto& name : o->get_lnames())
        known.push_back("--" + name);
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg.rfind("--", 0) != 0 || arg.size() < 3)
      continue;
    arg = arg.substr(0, arg.find('='));
    if (std::find(known.begin(), known.end(), arg) != known.end())
      continue;
    std::string best;
    std::size_t best_distance = 3; // further than two edits is no likely slip
    for (const auto& k : known)
      if (const std::size_t d = edit_distance(arg, k); d < best_distance) {
        best = k;
        best_distance = d;
      }
    if (!best.empty())
      std::cerr << "xtalmotif: " << arg << ": did you mean " << best << "?\n";
  }
}

// A count on the command line: a whole number from `least` (1 unless given) to `most`.
CLI::Validator count_up_to(unsigned long most, unsigned long least = 1) {
  return CLI::Validator(
      [most, least](std::string& text) -> std::string {
        std::size_t used = 0;
        unsigned long value = 0;
        try {
          value = std::stoul(text, &used);
        } catch (const std::exception&) {
          used = 0;
        }
        if (used == 0 || used != text.size() || text[0] == '-' || value < least || value > most)
          return "must be a whole number from " + std::to_string(least) + " to " +
                 std::to_string(most) + ", not " + text;
        return {};
      },
      "");
}

const char* const commands[] = {"search", "index", "hbonds", "report", "motifs", "show"};

// The search command and its options, filling `cmd`.
CLI::App* add_search_command(CLI::App& app, SearchCommand& cmd) {
  CLI::App* search = app.add_subcommand(
      "search", "Search crystal structures for a motif and list the entries that hold it.");
  search->add_option("MOTIF", cmd.motif,
                     "a ready-made motif name (`xtalmotif motifs` lists them; quote names with "
                     "spaces) or a connectivity query file (.con)")
      ->required();
  search->add_option("SOURCES", cmd.sources,
                     "CIF files (.cif, .cif.gz, any number of data blocks), folders searched "
                     "recursively for them, one screen index made by `xtalmotif index`, or - to "
                     "read CIF text (plain or gzipped, any number of data blocks) from standard "
                     "input");
  auto* limit = search->add_option("--limit", cmd.limit,
                                   "keep at most N matches of each structure (default: every "
                                   "match, up to the ceiling)")
                    ->type_name("N")
                    ->check(count_up_to(std::numeric_limits<unsigned int>::max()));
  search->add_flag("--all", cmd.all, "keep every match of every structure, up to the ceiling "
                                     "(the default)")
      ->excludes(limit);
  search->add_option("--ceiling", cmd.ceiling,
                     "stop a structure at N matches, so that a motif matching in countless "
                     "equivalent ways in a framework cannot fill the memory")
      ->type_name("N")
      ->default_val(1000)
      ->check(count_up_to(std::numeric_limits<unsigned int>::max()));
  search->add_option("--work-budget", cmd.work_budget,
                     "abandon the search of a structure after N units of work (about a "
                     "microsecond each; 0: never) and list it as aborted, so that no framework "
                     "holds up a collection")
      ->type_name("N")
      ->default_val(CollectionSearchSettings::default_work_budget)
      ->check(count_up_to(std::numeric_limits<unsigned long>::max(), 0));
  search->add_flag("--no-prescreen", cmd.no_prescreen,
                   "with a screen index: read every entry instead of rejecting those whose "
                   "screens rule the motif out");
  search->add_flag("--require-3d", cmd.filters[0], "only entries with 3D coordinates");
  search->add_flag("--max-r-factor-5", cmd.filters[1],
                   "only entries refined to an R factor of at most 0.05");
  search->add_flag("--no-disorder", cmd.filters[2], "leave out entries with disordered atoms");
  search->add_flag("--no-polymers", cmd.filters[3],
                   "leave out polymeric entries (coordination networks)");
  search->add_flag("--no-errors", cmd.filters[4],
                   "leave out entries with problems found while reading them");
  search->add_flag("--metal", cmd.filters[5], "only entries that contain a metal");
  search->add_flag("--transition-metal", cmd.filters[6],
                   "only entries that contain a transition metal");
  search->add_option("-j,--jobs", cmd.jobs,
                     "search N structures at a time, one thread each; the output is the same "
                     "as with one")
      ->type_name("N")
      ->default_val(1)
      ->check(count_up_to(256));
  search->add_option("--save", cmd.save,
                     "write the hit list to FILE: a line \"No of results: N\", then one entry "
                     "identifier per line")
      ->type_name("FILE");
  search->add_option("--save-ids", cmd.save_ids,
                     "write the identifiers of the hit entries to FILE, one per line")
      ->type_name("FILE");
  search->add_option("--json", cmd.json,
                     "write every match as one JSON object per line (entry, molecules, atoms, "
                     "symmetry codes, contact distances); - writes them to standard output in "
                     "place of the hit lines")
      ->type_name("FILE");
  search->add_option("--tsv", cmd.tsv,
                     "write one tab-separated row per contact of every match, after a header "
                     "row; - writes them to standard output in place of the hit lines")
      ->type_name("FILE");
  search->add_option("--export", cmd.export_dir,
                     "write one P1 CIF per match into FOLDER, holding the matched molecules "
                     "where they were found")
      ->type_name("FOLDER");
  search->add_flag("-v,--verbose", cmd.verbose,
                   "list every entry a screen index left out, also with -q");
  search->add_option("--report", cmd.report,
                     "write an HTML report to FILE, viewable offline in any browser: a sortable "
                     "table of the matches, plots of their contact geometry and a 3D view of each")
      ->type_name("FILE");
  search->add_option("--report-limit", cmd.report_limit,
                     "embed the molecules of the first N matches in the report for its 3D view "
                     "(every match keeps its row in the table)")
      ->type_name("N")
      ->default_val(default_report_structures)
      ->check(count_up_to(std::numeric_limits<unsigned int>::max()));
  search->add_flag("-q,--quiet", cmd.quiet,
                   "no progress bar, summary or match details (entries that cannot be read are "
                   "still reported; those a screen index left out in one line)");
  search->footer("Standard output lists each entry that holds the motif (\"ENTRY (FILE): N "
                 "matches\") with the graph set and contacts of its first matches; standard "
                 "error shows a progress bar when it is a terminal, every entry that could not "
                 "be read with the reason, and a summary with the motif's propensity.\n"
                 "Exit status: 0 some entry holds the motif, 1 none does, 2 bad command line, "
                 "motif or source, 3 nothing could be searched or an output could not be "
                 "written.");
  return search;
}

struct IndexCommand {
  std::vector<std::string> sources;
  std::string output;
  int jobs = 1;
  bool quiet = false;
  bool store_structures = false;
};

// The index command and its options, filling `cmd`.
CLI::App* add_index_command(CLI::App& app, IndexCommand& cmd) {
  CLI::App* index = app.add_subcommand(
      "index", "Build a screen index of CIF files: a later search of the index skips, without "
               "reading them, the structures that cannot hold the motif.");
  index->add_option("SOURCES", cmd.sources,
                    "CIF files (.cif, .cif.gz) and folders searched recursively for them")
      ->required();
  index->add_option("-o,--output", cmd.output, "the screen index file to write")
      ->type_name("FILE")
      ->required();
  index->add_option("-j,--jobs", cmd.jobs, "read N structures at a time, one thread each")
      ->type_name("N")
      ->default_val(1)
      ->check(count_up_to(256));
  index->add_flag("--store-structures", cmd.store_structures,
                  "also store every structure as assembled, so that a search of the index "
                  "loads it instead of parsing its CIF text (many times faster; the index grows "
                  "to about a third of the size of the CIF files)");
  index->add_flag("-q,--quiet", cmd.quiet,
                  "no progress and no summary on standard error (files that cannot be read are "
                  "still reported)");
  index->footer("Exit status: 0 index written, 2 bad command line or source, 3 the index could "
                "not be written.");
  return index;
}

struct HbondsCommand {
  std::vector<std::string> sources;
  std::string tsv;
};

// The hbonds command and its options, filling `cmd`.
CLI::App* add_hbonds_command(CLI::App& app, HbondsCommand& cmd) {
  CLI::App* hbonds = app.add_subcommand(
      "hbonds", "List every hydrogen bond of each structure as a paper's hydrogen-bond table "
                "does: D-H, H...A, D...A, the D-H...A angle, the acceptor's symmetry code and "
                "the graph set of each bond.");
  hbonds->add_option("SOURCES", cmd.sources, "CIF files (.cif, .cif.gz) and folders")
      ->required();
  hbonds->add_option("--tsv", cmd.tsv,
                     "also write one tab-separated row per bond to FILE; - writes them to "
                     "standard output in place of the listing")
      ->type_name("FILE");
  hbonds->footer("A hydrogen bond: H bonded to N, O, F or S; acceptor N, O, F, S or Cl with H...A "
                 "below the van der Waals radius sum + 0.35 A and D-H...A at least 110 degrees. "
                 "Donor and hydrogen are at their own sites (1_555); intramolecular bonds are "
                 "marked (intra).\nExit status: 0 some bond found, 1 none, 2 bad command line or "
                 "source, 3 nothing could be read.");
  return hbonds;
}

} // namespace

int main(int argc, char** argv) {
  CLI::App app{"xtalmotif finds intermolecular motifs (hydrogen-bonded pairs of chemical groups, "
               "water clusters, extended hydrogen-bonded rings, silver carboxylate patterns) in "
               "crystal structures read from CIF files.",
               "xtalmotif"};
  app.set_version_flag("--version", std::string("xtalmotif ") + XTALMOTIF_VERSION);
  app.require_subcommand(1);
  // Wide enough for "--limit N=1 Excludes: --all" to keep a gap before its description.
  app.get_formatter()->column_width(34);

  SearchCommand cmd;
  CLI::App* search = add_search_command(app, cmd);
  IndexCommand index_cmd;
  CLI::App* index = add_index_command(app, index_cmd);
  HbondsCommand hbonds_cmd;
  CLI::App* hbonds = add_hbonds_command(app, hbonds_cmd);
  ReportCommand report_cmd;
  CLI::App* report =
      add_report_command(app, report_cmd, count_up_to(std::numeric_limits<unsigned int>::max()));

  CLI::App* motifs = app.add_subcommand(
      "motifs", "List the ready-made motifs by family, each with a one-line description.");
  std::string show_name;
  CLI::App* show = app.add_subcommand(
      "show", "Print what a motif asks for: its groups (atoms and bonds), contacts and angle "
              "constraints.");
  show->add_option("MOTIF", show_name,
                   "a ready-made motif name (`xtalmotif motifs` lists them) or a connectivity "
                   "query file (.con)")
      ->required();
  app.footer("Run `xtalmotif COMMAND --help` for the options of one command.\n"
             "Examples:\n"
             "  xtalmotif motifs\n"
             "  xtalmotif show \"carboxylic acid dimer\"\n"
             "  xtalmotif search \"carboxylic acid dimer\" data/structures -j 2 --json hits.jsonl\n"
             "  xtalmotif report hits.jsonl -o hits.html\n"
             "  xtalmotif index data/structures -o structures.idx\n"
             "  xtalmotif hbonds data/structures/4022630.cif\n"
             "(data/structures: the structures that come with xtalmotif, in its source tree)");

  // Without this, CLI11 answers a mistyped command with "A subcommand is required".
  if (argc > 1 && argv[1][0] != '-' &&
      std::find(std::begin(commands), std::end(commands), std::string(argv[1])) ==
          std::end(commands)) {
    std::cerr << "xtalmotif: unknown command \"" << argv[1]
              << "\"; the commands are search, index, hbonds, report, motifs and show "
                 "(xtalmotif --help)\n";
    return exit_usage;
  }

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    const int status = app.exit(e) == 0 ? 0 : exit_usage;
    if (status != 0)
      suggest_options(app, argc, argv);
    try {
      check_standard_output(); // the help text, when it was asked for
    } catch (const OutputError& o) {
      std::cerr << "xtalmotif: " << o.what() << '\n';
      return exit_failure;
    }
    return status;
  }

  try {
    int status = 0;
    if (*search)
      status = run_search(cmd);
    else if (*index)
      status = run_index(index_cmd.sources, index_cmd.output, index_cmd.jobs, index_cmd.quiet,
                         index_cmd.store_structures);
    else if (*hbonds)
      status = run_hbonds(hbonds_cmd.sources, hbonds_cmd.tsv, std::cout, std::cerr);
    else if (*report)
      status = run_report(report_cmd);
    else if (*motifs)
      run_motifs();
    else if (*show)
      run_show(show_name);
    check_standard_output();
    return status;
  } catch (const UsageError& e) {
    std::cerr << "xtalmotif: " << e.what() << '\n';
    return exit_usage;
  } catch (const std::exception& e) {
    std::cerr << "xtalmotif: " << e.what() << '\n';
    return exit_failure;
  }
  return 0;
}
