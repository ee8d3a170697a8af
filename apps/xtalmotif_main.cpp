// The xtalmotif program: searches crystal structures (CIF files, folders of them, multi-block
// files or a screen index) for a motif, builds screen indexes, and lists and shows the ready-made
// motifs.

#include "apps/collection_search.h"
#include "apps/match_report.h"
#include "apps/motif_catalog.h"
#include "kernel/aser_database.h"
#include "kernel/atomic_file.h"
#include "kernel/cif_reader.h"
#include "kernel/database.h"
#include "results/motif_search_results.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <map>
#include <sstream>
#include <unistd.h>

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

std::string read_stdin() {
  return std::string(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
}

// The entries to search: the shipped structures, CIF files and folders, one screen index, or a
// CIF on standard input.
struct Sources {
  THandle<Database<CrystalStructureDatabaseEntry>> db;
  THandle<AserDatabase> screens;
  std::vector<std::string> problems;
};

Sources open_sources(std::vector<std::string> paths) {
  Sources s;
  if (paths.empty())
    paths.push_back(XTALMOTIF_SHIPPED_DATA);
  int indexes = 0;
  for (const auto& p : paths) {
    if (p == "-")
      continue;
    std::error_code ec;
    if (!std::filesystem::exists(p, ec))
      throw UsageError(p + ": no such file or folder");
    if (std::filesystem::is_regular_file(p, ec) && is_screen_index(p))
      ++indexes;
  }
  if (indexes > 0) {
    if (paths.size() != 1)
      throw UsageError("a screen index must be the only source (it records its own CIF files)");
    s.screens = make_handle<AserDatabase>(paths[0]);
    s.db = s.screens;
  } else if (paths.size() == 1 && paths[0] == "-") {
    std::string text = read_stdin();
    auto crystal = read_crystal_from_string(text, "<stdin>");
    auto mem = make_handle<MemoryDatabase>();
    mem->add(DatabaseEntryIdentifier("stdin"), crystal);
    s.db = mem;
  } else {
    for (const auto& p : paths)
      if (p == "-")
        throw UsageError("'-' (standard input) cannot be combined with other sources");
    s.db = make_handle<CifDatabase>(paths);
  }
  s.problems = s.db->problems();
  if (s.db->nentries() == 0 && s.problems.empty())
    throw UsageError("no CIF data blocks found in the given sources");
  return s;
}

std::string format_seconds(double s) {
  long t = static_cast<long>(s + 0.5);
  char buf[32];
  std::snprintf(buf, sizeof buf, "%02ld:%02ld", t / 60, t % 60);
  return buf;
}

class ProgressBar {
public:
  ProgressBar(int total, bool enabled) : total_(total), enabled_(enabled) {}
  void update(const SearchProgress& p) {
    if (!enabled_)
      return;
    int done = p.done;
    double elapsed = seconds();
    double rate = elapsed > 0 ? done / elapsed : 0.0;
    double left = rate > 0 ? (total_ - done) / rate : 0.0;
    const int width = 30;
    int filled = total_ > 0 ? width * done / total_ : width;
    std::ostringstream os;
    os << "\r[" << std::string(filled, '#') << std::string(width - filled, '.') << "] " << done
       << '/' << total_ << " entries, " << p.hits << " hits, " << std::fixed
       << std::setprecision(1) << rate << "/s, " << format_seconds(left) << " left ";
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

// "-" writes to standard output; a file is written completely or not at all.
void write_output(const std::string& path, const std::function<void(std::ostream&)>& writer) {
  if (path == "-") {
    writer(std::cout);
    std::cout.flush();
    return;
  }
  std::string error;
  if (!write_file_atomically(path, writer, &error))
    throw std::runtime_error(error);
}

struct SearchCommand {
  std::string motif;
  std::vector<std::string> sources;
  unsigned int limit = 1;
  bool all = false;
  bool no_prescreen = false;
  std::array<bool, 7> filters{};
  int jobs = 1;
  std::string save, save_ids, json, tsv, export_dir;
  bool quiet = false;
};

int run_search(const SearchCommand& cmd) {
  MotifChoice choice = choose_motif(cmd.motif);
  Sources sources = open_sources(cmd.sources);
  if (!cmd.export_dir.empty() && std::filesystem::exists(cmd.export_dir) &&
      !std::filesystem::is_directory(cmd.export_dir))
    throw UsageError(cmd.export_dir + ": --export needs a folder, and this is a file");

  SearchOptions options;
  options.limit = cmd.all ? 0 : cmd.limit;
  options.prescreen = !cmd.no_prescreen;
  options.filters = cmd.filters;
  options.jobs = cmd.jobs;
  options.remove_silver_bonds = choice.remove_silver_bonds;

  const int n = sources.db->nentries();
  bool show_progress = !cmd.quiet && n > 1 && isatty(STDERR_FILENO);
  ProgressBar bar(n, show_progress);
  SearchProgress progress;
  auto outcomes = search_collection(*sources.db, sources.screens.get(), choice, options, progress,
                                    [&] { bar.update(progress); });
  bar.update(progress);
  bar.finish();

  int searched = 0, prescreened = 0, filtered = 0, aborted = 0, hit_entries = 0, matches = 0;
  std::vector<std::string> refused = sources.problems;
  for (const auto& o : outcomes) {
    switch (o.status) {
    case EntryStatus::Searched: ++searched; break;
    case EntryStatus::Prescreened: ++prescreened; break;
    case EntryStatus::Filtered: ++filtered; break;
    case EntryStatus::Refused: refused.push_back(o.reason); break;
    }
    aborted += o.aborted ? 1 : 0;
    if (!o.matches.empty()) {
      ++hit_entries;
      matches += static_cast<int>(o.matches.size());
    }
  }

  for (const auto& o : outcomes)
    if (!o.matches.empty())
      std::cout << o.id.str() << ": " << o.matches.size()
                << (o.matches.size() == 1 ? " match" : " matches") << '\n';

  MotifSearchResults results;
  for (const auto& o : outcomes)
    for (const auto& m : o.matches)
      results.add_motif_match(o.id, m);
  std::string error;
  if (!cmd.save.empty() && !results.save(cmd.save, &error))
    throw std::runtime_error(error);
  if (!cmd.save_ids.empty() && !results.save_as_gcd(cmd.save_ids, &error))
    throw std::runtime_error(error);
  if (!cmd.json.empty())
    write_output(cmd.json, [&](std::ostream& os) { write_json_lines(os, choice.name, outcomes); });
  if (!cmd.tsv.empty())
    write_output(cmd.tsv, [&](std::ostream& os) { write_tsv(os, outcomes); });
  if (!cmd.export_dir.empty())
    export_matches(cmd.export_dir, outcomes);

  for (const auto& r : refused)
    std::cerr << "refused: " << r << '\n';
  if (!cmd.quiet) {
    std::cerr << "motif \"" << choice.name << "\": " << n << " entries, " << searched
              << " searched, " << prescreened << " prescreened out, " << filtered
              << " filtered out, " << refused.size() << " refused, " << aborted << " aborted; "
              << hit_entries << " with hits (" << matches << (matches == 1 ? " match" : " matches")
              << ") in " << std::fixed
              << std::setprecision(2) << bar.seconds() << " s\n";
  }
  if (searched == 0 && prescreened == 0 && filtered == 0 && !refused.empty())
    return exit_failure;
  return hit_entries > 0 ? exit_hits : exit_no_hits;
}

int run_index(const std::vector<std::string>& sources, const std::string& out, int jobs,
              bool quiet) {
  for (const auto& p : sources)
    if (!std::filesystem::exists(p))
      throw UsageError(p + ": no such file or folder");
  CifDatabase db(sources);
  if (db.nentries() == 0)
    throw UsageError("no CIF data blocks found in the given sources");
  ScreenIndexOptions options;
  options.threads = jobs;
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
    std::cerr << "refused: " << p << '\n';
  if (!quiet)
    std::cerr << out << ": " << summary.entries << " entries indexed, " << summary.unreadable
              << " unreadable, in " << std::fixed << std::setprecision(2) << secs << " s\n";
  return 0;
}

void run_motifs() {
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
    std::cout << "  " << std::left << std::setw(40) << e.name << ' ' << e.description << '\n';
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
      std::cout << "  atom " << a << ": ";
      sub.node(a)->print(std::cout);
      std::cout << '\n';
    }
    for (const auto& e : sub.edges()) {
      std::cout << "  bond " << e.atom1 << '-' << e.atom2 << ": ";
      e.bond->print(std::cout);
      std::cout << '\n';
    }
  }
  for (int c = 0; c < m->ncontacts(); ++c) {
    const MotifContact& k = *m->contacts()->at(c);
    const CombinedCriterion& cr = *k.criterion();
    std::cout << "contact " << c << ": substructure " << k.from_substructure() << " atom "
              << k.from_atom() << " -> substructure " << k.to_substructure() << " atom "
              << k.to_atom() << ", " << contact_type_name(cr.contact_type()) << ", ";
    if (cr.is_vdw_relative())
      std::cout << "van der Waals sum " << std::showpos << cr.lower() << " to " << cr.upper()
                << std::noshowpos << " A\n";
    else
      std::cout << cr.lower() << " to " << cr.upper() << " A\n";
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

} // namespace

int main(int argc, char** argv) {
  CLI::App app{"xtalmotif: find intermolecular motifs (hydrogen bonds, short contacts between\n"
               "chemical groups) in crystal structures read from CIF files.",
               "xtalmotif"};
  app.set_version_flag("--version", std::string("xtalmotif ") + XTALMOTIF_VERSION);
  app.require_subcommand(1);

  SearchCommand cmd;
  CLI::App* search = app.add_subcommand(
      "search", "Search structures for a motif. MOTIF is a ready-made motif name (see `xtalmotif "
                "motifs`) or a connectivity query file (.con). SOURCES are CIF files (.cif, "
                ".cif.gz, multi-block), folders of them, or one screen index; '-' reads a CIF "
                "from standard input; with none, the structures shipped with xtalmotif.");
  search->add_option("MOTIF", cmd.motif, "motif name or query file")->required();
  search->add_option("SOURCES", cmd.sources, "CIF files, folders, a screen index, or -");
  auto* limit = search->add_option("--limit", cmd.limit, "matches kept per structure")
                    ->default_val(1)
                    ->check(CLI::PositiveNumber);
  search->add_flag("--all", cmd.all, "keep every match of every structure")->excludes(limit);
  search->add_flag("--no-prescreen", cmd.no_prescreen,
                   "with a screen index: read every entry instead of rejecting those whose "
                   "screens rule the motif out");
  search->add_flag("--require-3d", cmd.filters[0], "filter: entries with 3D coordinates only");
  search->add_flag("--max-r-factor-5", cmd.filters[1], "filter: R factor at most 0.05");
  search->add_flag("--no-disorder", cmd.filters[2], "filter: entries without disorder");
  search->add_flag("--no-polymers", cmd.filters[3], "filter: leave out polymeric entries");
  search->add_flag("--no-errors", cmd.filters[4],
                   "filter: leave out entries with problems found while building them");
  search->add_flag("--metal", cmd.filters[5], "filter: entries containing a metal only");
  search->add_flag("--transition-metal", cmd.filters[6],
                   "filter: entries containing a transition metal only");
  search->add_option("-j,--jobs", cmd.jobs, "threads (one search per thread)")
      ->default_val(1)
      ->check(CLI::Range(1, 256));
  search->add_option("--save", cmd.save, "write the result list (count line and identifiers)");
  search->add_option("--save-ids", cmd.save_ids, "write the identifiers of the hit entries");
  search->add_option("--json", cmd.json, "write every match as JSON Lines ('-' for standard output)");
  search->add_option("--tsv", cmd.tsv, "write every contact as a tab-separated row ('-' for standard output)");
  search->add_option("--export", cmd.export_dir,
                     "write one P1 CIF per match with the matched molecules into this folder");
  search->add_flag("-q,--quiet", cmd.quiet, "no progress bar, no summary");

  std::vector<std::string> index_sources;
  std::string index_out;
  int index_jobs = 1;
  bool index_quiet = false;
  CLI::App* index = app.add_subcommand(
      "index", "Build a screen index of CIF files, so that later searches skip structures "
               "that cannot hold the motif without reading them.");
  index->add_option("SOURCES", index_sources, "CIF files and folders")->required();
  index->add_option("-o,--output", index_out, "index file to write")->required();
  index->add_option("-j,--jobs", index_jobs, "threads")->default_val(1)->check(CLI::Range(1, 256));
  index->add_flag("-q,--quiet", index_quiet, "no progress, no summary");

  CLI::App* motifs = app.add_subcommand("motifs", "List the ready-made motifs.");
  std::string show_name;
  CLI::App* show = app.add_subcommand("show", "Print a motif: its groups, contacts and angles.");
  show->add_option("MOTIF", show_name, "motif name or query file")->required();

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? 0 : exit_usage;
  }

  try {
    if (*search)
      return run_search(cmd);
    if (*index)
      return run_index(index_sources, index_out, index_jobs, index_quiet);
    if (*motifs) {
      run_motifs();
      return 0;
    }
    if (*show) {
      run_show(show_name);
      return 0;
    }
  } catch (const UsageError& e) {
    std::cerr << "xtalmotif: " << e.what() << '\n';
    return exit_usage;
  } catch (const std::exception& e) {
    std::cerr << "xtalmotif: " << e.what() << '\n';
    return exit_failure;
  }
  return 0;
}
