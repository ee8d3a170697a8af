// End-to-end tests: the built xtalmotif program run on real and shipped structures.

#include "program_support.h"

#include "kernel/cif_reader.h"
#include "kernel/geometry.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

using namespace xtalmotif;
using namespace xtalmotif::testing;

namespace {

std::vector<nlohmann::json> json_lines(const std::string& text) {
  std::vector<nlohmann::json> out;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line))
    if (!line.empty())
      out.push_back(nlohmann::json::parse(line));
  return out;
}

std::string curated(const std::string& file) { return require_data("curated/" + file).string(); }

} // namespace

std::string shipped() { return quote((source_dir() / "data/structures").string()); }

TEST(Program, ShippedStructuresHoldAnAcidDimerAndWaterRingsAndNoSourcesIsAnError) {
  ProgramRun acid = run_program("search 'carboxylic acid dimer' " + shipped());
  EXPECT_EQ(acid.status, 0) << acid.err;
  EXPECT_NE(acid.out.find("4022630 ("), std::string::npos) << acid.out;
  EXPECT_NE(acid.out.find("  match 1  R2,2(8)"), std::string::npos) << acid.out;
  EXPECT_NE(acid.err.find("1 with hits"), std::string::npos) << acid.err;
  ProgramRun rings = run_program("search 'water ring of six' " + shipped());
  EXPECT_NE(rings.out.find("4504659 ("), std::string::npos) << rings.out;
  // Without sources nothing is searched quietly: the message says how to search these.
  ProgramRun none = run_program("search 'carboxylic acid dimer'");
  EXPECT_EQ(none.status, 2);
  EXPECT_NE(none.err.find("data/structures"), std::string::npos) << none.err;
}

TEST(Program, JsonContactsAreHydrogenBondsAndTheExportReadsBackAtTheReportedDistances) {
  auto dir = scratch_dir("json");
  std::string json = (dir / "hits.jsonl").string();
  std::string exp = (dir / "export").string();
  ProgramRun r = run_program("search 'carboxylic acid dimer' " + quote(curated("acid__2300214-r274507.cif")) +
                             " --json " + quote(json) + " --export " + quote(exp) + " -q");
  ASSERT_EQ(r.status, 0) << r.err;
  auto lines = json_lines(slurp(json));
  ASSERT_EQ(lines.size(), 3u); // the entry, its match, the summary
  EXPECT_EQ(lines[0]["record"], "entry");
  EXPECT_EQ(lines[2]["record"], "summary");
  const auto& m = lines[1];
  EXPECT_EQ(m["entry"], "2300214");
  ASSERT_EQ(m["contacts"].size(), 2u);
  ASSERT_EQ(m["substructures"].size(), 2u);
  // Ibuprofen's acid dimer sits on an inversion centre: the partner molecule is an inversion
  // image, never the identity copy, and each H...O is a short hydrogen bond.
  EXPECT_EQ(m["substructures"][0]["atoms"][0]["symmetry"], "1_555");
  EXPECT_EQ(m["substructures"][1]["atoms"][0]["symmetry"], "3_677");
  for (const auto& c : m["contacts"]) {
    double d = c["distance"];
    EXPECT_GT(d, 1.4);
    EXPECT_LT(d, 2.2);
    EXPECT_EQ(c["from"]["atom"].get<std::string>()[0], 'H');
    EXPECT_EQ(c["to"]["atom"].get<std::string>()[0], 'O');
  }

  // The exported P1 file holds both molecules where they were found: the labelled atoms of each
  // contact are at the distance the JSON reports.
  auto files = std::vector<std::filesystem::path>(std::filesystem::directory_iterator(exp),
                                                  std::filesystem::directory_iterator());
  ASSERT_EQ(files.size(), 1u);
  auto crystal = read_crystal(files[0].string(), "");
  std::map<std::string, Point> by_label;
  for (int i = 0; i < crystal->nmolecules(); ++i)
    for (const auto& a : crystal->molecule(i)->atoms())
      by_label[a->label()] = a->site()->orthogonal();
  EXPECT_EQ(by_label.size(), 66u); // two ibuprofen molecules of 33 atoms
  for (const auto& c : m["contacts"]) {
    std::string from = c["from"]["atom"].get<std::string>() + "_" +
                       c["from"]["symmetry"].get<std::string>();
    std::string to =
        c["to"]["atom"].get<std::string>() + "_" + c["to"]["symmetry"].get<std::string>();
    ASSERT_TRUE(by_label.count(from)) << from;
    ASSERT_TRUE(by_label.count(to)) << to;
    EXPECT_NEAR(distance(by_label[from], by_label[to]), c["distance"].get<double>(), 2e-3);
  }
  std::filesystem::remove_all(dir);
}

TEST(Program, ParallelRunsWriteTheSameFilesAsOneThread) {
  auto dir = scratch_dir("jobs");
  std::string src = quote(require_data("curated").string());
  for (int jobs : {1, 2}) {
    std::string tag = std::to_string(jobs);
    ProgramRun r = run_program("search 'H2O pair' " + src + " -q --all -j " + tag + " --save " +
                               quote((dir / ("save" + tag)).string()) + " --json " +
                               quote((dir / ("json" + tag)).string()));
    ASSERT_EQ(r.status, 0) << r.err;
  }
  EXPECT_EQ(slurp(dir / "save1"), slurp(dir / "save2"));
  EXPECT_EQ(slurp(dir / "json1"), slurp(dir / "json2"));
  EXPECT_FALSE(slurp(dir / "json1").empty());
  std::filesystem::remove_all(dir);
}

TEST(Program, EveryMatchStopsAtTheCeiling) {
  // 5-fluorocytosine hemipentahydrate: five waters in the asymmetric unit, each hydrogen-bonded
  // to others, so a four-water chain is found in many ways and orders.
  const std::string hydrate = quote(curated("hydrate__4504659.cif"));
  ProgramRun all = run_program("search 'water chain' " + hydrate + " --all -q");
  ASSERT_EQ(all.status, 0) << all.err;
  const std::string count_text = all.out.substr(all.out.find("): ") + 3);
  const int every = std::stoi(count_text);
  ASSERT_GT(every, 3);

  ProgramRun capped = run_program("search 'water chain' " + hydrate + " --ceiling 3");
  ASSERT_EQ(capped.status, 0) << capped.err;
  EXPECT_NE(capped.out.find("): 3 matches\n"), std::string::npos) << capped.out;
  EXPECT_NE(capped.err.find("1 stopped at the 3-match ceiling"), std::string::npos) << capped.err;

  // A ceiling at or above the number of matches changes nothing and is not reported.
  ProgramRun roomy = run_program("search 'water chain' " + hydrate + " -q --ceiling " +
                                 std::to_string(every + 1));
  EXPECT_EQ(roomy.out, all.out);
  EXPECT_EQ(roomy.err.find("ceiling"), std::string::npos) << roomy.err;
}

TEST(Program, SaveFilesHaveTheLibraryLayouts) {
  auto dir = scratch_dir("save");
  ProgramRun r = run_program("search 'carboxylic acid dimer' " + shipped() + " -q --save " +
                             quote((dir / "list").string()) + " --save-ids " +
                             quote((dir / "ids").string()));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(slurp(dir / "list"), "No of results: 1\n4022630\n");
  EXPECT_EQ(slurp(dir / "ids"), "4022630\n");
  std::filesystem::remove_all(dir);
}

// The text of a CIF file with its data block renamed.
std::string renamed_block(const std::string& file, const std::string& name) {
  std::string text = slurp(file);
  const std::size_t at = text.find("\ndata_") + 1;
  return text.replace(at, text.find('\n', at) - at, "data_" + name);
}

// Two blocks of one file may share a name: each is searched as itself, whether the file is read
// directly, through a screen index (with or without the prescreen) or from standard input, where
// every block of the text is searched.
TEST(Program, EveryBlockIsSearchedAsItselfWhateverItsNameAndSource) {
  auto dir = scratch_dir("twins");
  const std::string twins = (dir / "twins.cif").string();
  const std::string acid = curated("acid__2300214-r274507.cif");
  std::ofstream(twins) << renamed_block(curated("hydrate__4504659.cif"), "x")
                       << renamed_block(acid, "x");
  const std::string index = (dir / "twins.idx").string();
  ASSERT_EQ(run_program("index " + quote(twins) + " -o " + quote(index) + " -q").status, 0);
  struct Case {
    std::string sources;
    std::string stdin_file;
    std::string hits;
  };
  const std::vector<Case> cases = {{quote(twins), "", "twins/x#2 (" + twins + "): 1 match\n"},
                                   {quote(index), "", "twins/x#2 (" + twins + "): 1 match\n"},
                                   {quote(index) + " --no-prescreen", "",
                                    "twins/x#2 (" + twins + "): 1 match\n"},
                                   {"-", twins, "stdin/x#2 (stdin): 1 match\n"},
                                   {"-", acid, "2300214 (stdin): 1 match\n"}};
  for (const auto& c : cases) {
    ProgramRun r = run_program("search 'carboxylic acid dimer' -q " + c.sources, c.stdin_file);
    EXPECT_EQ(r.status, 0) << c.sources << ": " << r.err;
    EXPECT_EQ(r.out, c.hits) << c.sources;
  }
  // Standard input is held to the size of the largest file the reader takes.
  ProgramRun endless = run_program("search 'carboxylic acid dimer' -", "/dev/zero");
  EXPECT_EQ(endless.status, 2);
  EXPECT_NE(endless.err.find("standard input: more than 64 MB of text"), std::string::npos)
      << endless.err;
  std::filesystem::remove_all(dir);
}

TEST(Program, ScreenIndexSearchAgreesWithAPlainSearch) {
  auto dir = scratch_dir("index");
  std::string index = (dir / "curated.idx").string();
  std::string src = quote(require_data("curated").string());
  ProgramRun built = run_program("index " + src + " -o " + quote(index) + " -q");
  ASSERT_EQ(built.status, 0) << built.err;
  for (const char* motif : {"carboxylic acid dimer", "H2O pair", "silver pattern1"}) {
    ProgramRun plain = run_program("search " + quote(motif) + " " + src + " -q --save-ids " +
                                   quote((dir / "plain").string()));
    ProgramRun screened = run_program("search " + quote(motif) + " " + quote(index) +
                                      " -q --save-ids " + quote((dir / "screened").string()));
    EXPECT_EQ(plain.status, screened.status) << motif;
    EXPECT_EQ(slurp(dir / "plain"), slurp(dir / "screened")) << motif;
  }
  std::filesystem::remove_all(dir);
}

TEST(Program, BadInputGivesAClearMessageAndExitStatus) {
  ProgramRun missing = run_program("search 'H2O pair' /no/such/place.cif");
  EXPECT_EQ(missing.status, 2);
  EXPECT_NE(missing.err.find("/no/such/place.cif: no such file or folder"), std::string::npos);

  ProgramRun misspelt = run_program("search 'carboxylic acid dimmer'");
  EXPECT_EQ(misspelt.status, 2);
  EXPECT_NE(misspelt.err.find("\"carboxylic acid dimer\""), std::string::npos) << misspelt.err;

  auto empty = scratch_dir("empty");
  ProgramRun none = run_program("search 'H2O pair' " + quote(empty.string()));
  EXPECT_EQ(none.status, 2);
  EXPECT_NE(none.err.find("no CIF"), std::string::npos) << none.err;

  std::ofstream(empty / "bad.con") << "this is not a query\n";
  ProgramRun bad_query = run_program("search " + quote((empty / "bad.con").string()));
  EXPECT_EQ(bad_query.status, 2);
  EXPECT_NE(bad_query.err.find("bad.con"), std::string::npos) << bad_query.err;
  std::filesystem::remove_all(empty);

  ProgramRun conflict = run_program("search 'H2O pair' --all --limit 3");
  EXPECT_EQ(conflict.status, 2);
  EXPECT_FALSE(conflict.err.empty());
}

TEST(Program, BrokenFilesAmongGoodOnesAreReportedAndTheRestIsSearched) {
  ProgramRun r = run_program("search 'carboxylic acid dimer' " + quote(curated("acid__2300214-r274507.cif")) +
                             " " + quote(require_data("robustness").string()) + " -q");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("2300214 ("), std::string::npos) << r.out;
  // Every refusal names its file.
  std::istringstream err(r.err);
  std::string line;
  int refused = 0;
  while (std::getline(err, line))
    if (line.rfind("refused: ", 0) == 0) {
      ++refused;
      EXPECT_NE(line.find("robustness"), std::string::npos) << line;
    }
  EXPECT_GT(refused, 10);
}

TEST(Program, ListsAndShowsTheReadyMadeMotifs) {
  ProgramRun list = run_program("motifs");
  EXPECT_EQ(list.status, 0);
  for (const char* name : {"carboxylic acid dimer", "water ring of six", "silver pattern3"})
    EXPECT_NE(list.out.find(name), std::string::npos) << name;
  ProgramRun show = run_program("show 'carboxylic acid dimer'");
  EXPECT_EQ(show.status, 0);
  EXPECT_NE(show.out.find("contact 1: substructure 1"), std::string::npos) << show.out;
  ProgramRun version = run_program("--version");
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out.rfind("xtalmotif ", 0), 0u);
}

namespace {

// The entries of a help screen's "Positionals:" and "Options:" sections: each option's names and
// what is said about it. An entry starts on a line indented by two spaces; its description follows
// the first gap of two or more spaces, or sits on the more deeply indented lines after it.
std::map<std::string, std::string> help_entries(const std::string& help) {
  std::map<std::string, std::string> entries;
  std::istringstream in(help);
  std::string line, current;
  bool in_section = false;
  while (std::getline(in, line)) {
    if (line == "Positionals:" || line == "Options:") {
      in_section = true;
      continue;
    }
    if (line.empty() || line[0] != ' ') {
      in_section = false;
      continue;
    }
    if (!in_section)
      continue;
    std::size_t text = line.find_first_not_of(' ');
    if (text == 2) {
      std::size_t gap = line.find("  ", text);
      current = line.substr(text, gap == std::string::npos ? std::string::npos : gap - text);
      std::size_t desc = gap == std::string::npos ? std::string::npos
                                                  : line.find_first_not_of(' ', gap);
      entries[current] = desc == std::string::npos ? "" : line.substr(desc);
    } else if (!current.empty()) {
      entries[current] += " " + line.substr(text);
    }
  }
  return entries;
}

std::size_t word_count(const std::string& text) {
  std::istringstream in(text);
  std::string w;
  std::size_t n = 0;
  while (in >> w)
    ++n;
  return n;
}

// The refusal lines of a run's standard error, in the order printed.
std::vector<std::string> refusals(const std::string& err) {
  std::vector<std::string> out;
  std::istringstream in(err);
  std::string line;
  while (std::getline(in, line))
    if (line.rfind("refused: ", 0) == 0)
      out.push_back(line);
  return out;
}

} // namespace

TEST(ProgramHelp, EveryCommandAndOptionIsDescribed) {
  ProgramRun top = run_program("--help");
  ASSERT_EQ(top.status, 0) << top.err;
  for (const char* command : {"search", "index", "report", "motifs", "show"}) {
    // Each command is listed with a sentence of its own.
    std::size_t at = top.out.find(std::string("\n  ") + command + " ");
    ASSERT_NE(at, std::string::npos) << command << "\n" << top.out;
    std::string line = top.out.substr(at + 1, top.out.find('\n', at + 1) - at - 1);
    EXPECT_GE(word_count(line), 6u) << line;
  }
  EXPECT_NE(top.out.find("COMMAND --help"), std::string::npos) << top.out;

  // The options a user of each command needs, named as the README documents them.
  const std::map<std::string, std::vector<std::string>> expected = {
      {"search",
       {"MOTIF", "SOURCES", "--limit", "--all", "--no-prescreen", "--require-3d",
        "--max-r-factor-5", "--no-disorder", "--no-polymers", "--no-errors", "--metal",
        "--transition-metal", "--jobs", "--save", "--save-ids", "--json", "--tsv", "--export",
        "--report", "--report-limit", "--quiet"}},
      {"index", {"SOURCES", "--output", "--jobs", "--quiet"}},
      {"report", {"JSON", "--output", "--report-limit"}},
      {"show", {"MOTIF"}},
      {"motifs", {}}};
  for (const auto& [command, options] : expected) {
    ProgramRun help = run_program(command + " --help");
    ASSERT_EQ(help.status, 0) << command << ": " << help.err;
    auto entries = help_entries(help.out);
    for (const auto& [names, description] : entries)
      // "Print this help message and exit" is the shortest description there is.
      EXPECT_GE(word_count(description), 3u) << command << " " << names << ": \"" << description
                                             << "\"";
    for (const auto& option : options) {
      bool listed = false;
      for (const auto& entry : entries)
        listed = listed || (" " + entry.first + " ").find(option) != std::string::npos;
      EXPECT_TRUE(listed) << command << " --help does not list " << option << "\n" << help.out;
    }
    // Options of the other commands stay out of this one's help.
    if (command != "search") {
      EXPECT_EQ(help.out.find("--save"), std::string::npos) << command;
    }
  }
  ProgramRun search = run_program("search --help");
  EXPECT_NE(search.out.find("Exit status: 0"), std::string::npos) << search.out;
}

TEST(ProgramHelp, AnUnknownCommandIsNamedWithTheRealOnes) {
  ProgramRun r = run_program("serch 'H2O pair'");
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(r.out.empty()) << r.out;
  EXPECT_NE(r.err.find("unknown command \"serch\""), std::string::npos) << r.err;
  for (const char* command : {"search", "index", "motifs", "show"})
    EXPECT_NE(r.err.find(command), std::string::npos) << r.err;
}

TEST(ProgramMotifNames, MisspeltOrReorderedNamesGetTheNearestNamesFirst) {
  // One letter dropped: the intended name is the closest by one edit.
  for (const char* command : {"search", "show"}) {
    ProgramRun r = run_program(std::string(command) + " 'carboxylic acd dimer'");
    EXPECT_EQ(r.status, 2) << command;
    EXPECT_NE(r.err.find("unknown motif \"carboxylic acd dimer\"; nearest names: "
                         "\"carboxylic acid dimer\""),
              std::string::npos)
        << command << ": " << r.err;
  }
  // The right words in another order, or some words left out.
  ProgramRun reordered = run_program("search 'acid carboxylic dimer'");
  EXPECT_EQ(reordered.status, 2);
  EXPECT_NE(reordered.err.find("nearest names: \"carboxylic acid dimer\""), std::string::npos)
      << reordered.err;
  ProgramRun partial = run_program("search 'ring six'");
  EXPECT_EQ(partial.status, 2);
  EXPECT_NE(partial.err.find("nearest names: \"water ring of six\""), std::string::npos)
      << partial.err;

  // Structures where the motif belongs: said so, rather than offered motif names.
  ProgramRun swapped =
      run_program("search " + quote(require_data("curated").string()) + " 'H2O pair'");
  EXPECT_EQ(swapped.status, 2);
  EXPECT_NE(swapped.err.find("names crystal structures, not a motif"), std::string::npos)
      << swapped.err;
  ProgramRun cif_as_motif = run_program("show " + quote(curated("acid__2300214-r274507.cif")));
  EXPECT_EQ(cif_as_motif.status, 2);
  EXPECT_NE(cif_as_motif.err.find("acid__2300214-r274507.cif\" names crystal structures"),
            std::string::npos)
      << cif_as_motif.err;

  ProgramRun missing_query = run_program("search no_such_query.con");
  EXPECT_EQ(missing_query.status, 2);
  EXPECT_NE(missing_query.err.find("no_such_query.con: query file not found"), std::string::npos)
      << missing_query.err;
}

TEST(ProgramOptions, ConflictingOrUnusableOutputsAreRefusedBeforeSearching) {
  auto dir = scratch_dir("outputs");
  std::string a = (dir / "a").string();
  struct Case {
    std::string args;
    std::string message; // what the one-line complaint must say
  };
  const std::vector<Case> cases = {
      {"--json - --tsv -", "--json - and --tsv - cannot both write to standard output"},
      {"--save " + quote(a) + " --json " + quote((dir / "." / "a").string()),
       "--save and --json both name"},
      {"--save-ids " + quote((dir / "no-such-folder" / "ids").string()),
       "no-such-folder does not exist"},
      {"--tsv " + quote(dir.string()), ": --tsv needs a file name, and this is a folder"},
      {"--limit 0", "--limit: must be a whole number from 1"},
      {"--limit -3", "--limit"},
      {"--jobs 0", "--jobs: must be a whole number from 1 to 256"},
      {"--jobs 257", "--jobs: must be a whole number from 1 to 256"},
      {"--all --limit 3", "--limit"},
  };
  for (const auto& c : cases) {
    ProgramRun r = run_program("search 'carboxylic acid dimer' " + c.args);
    EXPECT_EQ(r.status, 2) << c.args;
    EXPECT_NE(r.err.find(c.message), std::string::npos) << c.args << ": " << r.err;
    // Refused before any structure was searched: no hit line, no summary.
    EXPECT_TRUE(r.out.empty()) << c.args << ": " << r.out;
    EXPECT_EQ(r.err.find("entries,"), std::string::npos) << c.args << ": " << r.err;
  }
  EXPECT_FALSE(std::filesystem::exists(a));

  std::ofstream(dir / "plain-file") << "not a folder\n";
  std::string plain_file = quote((dir / "plain-file").string());
  ProgramRun export_to_file = run_program("search 'carboxylic acid dimer' --export " + plain_file);
  EXPECT_EQ(export_to_file.status, 2);
  EXPECT_NE(export_to_file.err.find("plain-file: --export needs a folder"), std::string::npos)
      << export_to_file.err;

  ProgramRun index_nowhere = run_program("index " + quote(curated("acid__2300214-r274507.cif")) +
                                         " -o " + quote((dir / "missing" / "x.idx").string()));
  EXPECT_EQ(index_nowhere.status, 2);
  EXPECT_NE(index_nowhere.err.find("missing does not exist"), std::string::npos)
      << index_nowhere.err;
  std::filesystem::remove_all(dir);
}

// Outputs replace nothing but a regular file they were told to write: a link is followed and
// stays, a device is written into, an input file is never overwritten, and output that could
// not be written (a full device, a full standard output) ends the program with status 3.
TEST(ProgramOptions, OutputsReplaceOnlyRegularFilesAndNeverAnInput) {
  auto dir = scratch_dir("targets");
  const std::string input = (dir / "acid.cif").string();
  std::filesystem::copy_file(curated("acid__2300214-r274507.cif"), input);
  const std::string before = slurp(input);
  const auto link = [&dir](const std::string& name, const std::string& target) {
    std::filesystem::create_symlink(target, dir / name);
    return quote((dir / name).string());
  };
  const std::string to_null = link("null", "/dev/null");
  const std::string to_full = link("full", "/dev/full");
  const std::string to_file = link("list", (dir / "list.txt").string());
  const std::string search = "search 'carboxylic acid dimer' -q " + quote(input);
  struct Case {
    std::string args;
    std::string stdout_file;
    int status;
    std::string message;
  };
  const std::vector<Case> cases = {
      {search + " --save " + to_null, "", 0, ""},
      {"index " + quote(input) + " -q -o " + to_null, "", 0, ""},
      {search + " --save " + to_file, "", 0, ""},
      {search + " --tsv " + to_full, "", 3, "full: writing failed"},
      {search + " --json -", "/dev/full", 3, "standard output: cannot be written"},
      {"motifs", "/dev/full", 3, "standard output: cannot be written"},
      {search + " --save " + quote(input), "", 2, "--save names an input file"},
      {search + " --json " + link("alias.cif", input), "", 2, "--json names an input file"},
      {"index " + quote(dir.string()) + " -o " + quote(input), "", 2,
       "--output names an input file"},
  };
  for (const auto& c : cases) {
    ProgramRun r = run_program(c.args, "", c.stdout_file);
    EXPECT_EQ(r.status, c.status) << c.args << ": " << r.err;
    EXPECT_NE(r.err.find(c.message), std::string::npos) << c.args << ": " << r.err;
  }
  for (const char* name : {"null", "full", "list"})
    EXPECT_TRUE(std::filesystem::is_symlink(dir / name)) << name;
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
  EXPECT_EQ(slurp(dir / "list.txt"), "No of results: 1\n2300214\n");
  EXPECT_EQ(slurp(input), before);
  std::filesystem::remove_all(dir);
}

TEST(ProgramOptions, JsonOnStandardOutputIsJsonLinesOnly) {
  // One shipped structure holds one acid dimer.
  ProgramRun r = run_program("search 'carboxylic acid dimer' " + shipped() + " --json - -q");
  ASSERT_EQ(r.status, 0) << r.err;
  auto lines = json_lines(r.out); // throws on any line that is not JSON
  ASSERT_EQ(lines.size(), 3u) << r.out; // the entry, its match, the summary
  EXPECT_EQ(lines[1]["entry"], "4022630");
  EXPECT_EQ(r.out.find("1 match"), std::string::npos) << r.out;

  ProgramRun tsv = run_program("search 'carboxylic acid dimer' " + shipped() + " --tsv - -q");
  ASSERT_EQ(tsv.status, 0) << tsv.err;
  // A header row and the dimer's two hydrogen bonds.
  EXPECT_EQ(std::count(tsv.out.begin(), tsv.out.end(), '\n'), 3) << tsv.out;
  EXPECT_EQ(tsv.out.rfind("entry\t", 0), 0u) << tsv.out;
}

TEST(ProgramSources, BrokenFilesAmongBulkOnesAreEachReportedOnceWhateverTheThreads) {
  // Ibuprofen (a carboxylic acid dimer on an inversion centre) and rock salt (no hydrogen at
  // all) read well; the three broken files are an empty file, a loop whose rows have the wrong
  // number of values, and an atom-site loop with coordinates but neither labels nor elements.
  const std::vector<std::string> broken = {"robustness/tests/inputs/empty.cif",
                                           "robustness/tests/inputs/9003354.cif",
                                           "robustness/tests/inputs/1011060-graphite-err.cif"};
  std::string args = "search 'carboxylic acid dimer'";
  for (const char* good : {"bulk/cod-tools/tests/inputs/2300214-r274507.cif",
                           "bulk/Jmol-SwingJS/assets/data/nacl.cif"})
    args += " " + quote(require_data(good).string());
  for (const auto& b : broken)
    args += " " + quote(require_data(b).string());

  std::vector<std::string> first;
  for (const char* jobs : {"1", "2"}) {
    ProgramRun r = run_program(args + " -j " + jobs);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out.rfind("2300214 (", 0), 0u) << r.out;
    auto refused = refusals(r.err);
    ASSERT_EQ(refused.size(), broken.size()) << r.err;
    for (std::size_t i = 0; i < broken.size(); ++i)
      EXPECT_NE(refused[i].find(broken[i] + ": "), std::string::npos) << refused[i];
    EXPECT_NE(r.err.find(" 2 searched, "), std::string::npos) << r.err;
    EXPECT_NE(r.err.find(" 3 refused, "), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("1 with hits (1 match)"), std::string::npos) << r.err;
    if (first.empty())
      first = refused;
    else
      EXPECT_EQ(refused, first);
  }
}

TEST(ProgramSources, NothingReadableMeansFailureNotNoHits) {
  std::string empty = require_data("robustness/tests/inputs/empty.cif").string();
  std::string bad_loop = require_data("robustness/tests/inputs/9003354.cif").string();
  ProgramRun r = run_program("search 'H2O pair' " + quote(empty) + " " + quote(bad_loop));
  EXPECT_EQ(r.status, 3) << r.err;
  EXPECT_TRUE(r.out.empty()) << r.out;
  auto refused = refusals(r.err);
  ASSERT_EQ(refused.size(), 2u) << r.err;
  EXPECT_NE(refused[0].find("empty.cif"), std::string::npos);
  EXPECT_NE(refused[1].find("9003354.cif"), std::string::npos);
  EXPECT_NE(r.err.find(" 0 searched, "), std::string::npos) << r.err;
}

TEST(ProgramSources, AnUnreadableFileIsReportedByNameAndTheOthersAreSearched) {
  auto dir = scratch_dir("unreadable");
  auto locked = dir / "benzene.cif";
  std::filesystem::copy_file(curated("negative__2100348-benzene.cif"), locked);
  std::filesystem::permissions(locked, std::filesystem::perms::none);
  // A privileged user reads any file; the refusal cannot be provoked for them.
  bool readable = ::access(locked.c_str(), R_OK) == 0;
  if (readable) {
    std::filesystem::remove_all(dir);
    GTEST_SKIP() << "running with privileges that ignore file permissions";
  }
  ProgramRun r = run_program("search 'carboxylic acid dimer' " + quote(locked.string()) + " " +
                             quote(curated("acid__2300214-r274507.cif")));
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "2300214: 1 match\n");
  auto refused = refusals(r.err);
  ASSERT_EQ(refused.size(), 1u) << r.err;
  EXPECT_NE(refused[0].find(locked.string() + ": "), std::string::npos) << refused[0];

  ProgramRun alone = run_program("search 'carboxylic acid dimer' " + quote(locked.string()));
  EXPECT_EQ(alone.status, 3) << alone.err;
  EXPECT_NE(alone.err.find(locked.string()), std::string::npos) << alone.err;
  std::filesystem::permissions(locked, std::filesystem::perms::owner_all);
  std::filesystem::remove_all(dir);
}

TEST(ProgramProgress, ABarOnATerminalNoneWhenQuietOrRedirected) {
  // Ibuprofen forms the acid dimer; benzene and the negative control have no acid group.
  std::vector<std::string> sources = {curated("acid__2300214-r274507.cif"),
                                      curated("negative__2100348-benzene.cif"),
                                      curated("negative__4122001.cif")};
  std::vector<std::string> args = {"search", "carboxylic acid dimer"};
  args.insert(args.end(), sources.begin(), sources.end());

  ProgramRun shown = run_program_on_terminal(args);
  EXPECT_EQ(shown.status, 0) << shown.err;
  EXPECT_EQ(shown.out.rfind("2300214 (", 0), 0u) << shown.out;
  // The bar is redrawn in place and ends with every entry done, the one hit, a rate and no time
  // left; the summary follows on a line of its own.
  EXPECT_NE(shown.err.find("\r["), std::string::npos) << shown.err;
  std::size_t last = shown.err.rfind("\r[");
  ASSERT_NE(last, std::string::npos);
  std::string bar = shown.err.substr(last, shown.err.find('\n', last) - last);
  EXPECT_NE(bar.find("[##############################] 3/3 entries, 1 hit, "), std::string::npos)
      << bar;
  EXPECT_NE(bar.find("/s, 00:00 left"), std::string::npos) << bar;
  EXPECT_NE(shown.err.find("\"carboxylic acid dimer\": 3 entries, 3 searched"),
            std::string::npos)
      << shown.err;

  args.push_back("--quiet");
  ProgramRun quiet = run_program_on_terminal(args);
  EXPECT_EQ(quiet.status, 0) << quiet.err;
  EXPECT_EQ(quiet.out, "2300214 (" + sources[0] + "): 1 match\n");
  EXPECT_EQ(quiet.err, "") << quiet.err;

  std::string quoted;
  for (const auto& s : sources)
    quoted += " " + quote(s);
  ProgramRun redirected = run_program("search 'carboxylic acid dimer'" + quoted);
  EXPECT_EQ(redirected.status, 0) << redirected.err;
  EXPECT_EQ(redirected.err.find('\r'), std::string::npos) << redirected.err;
  EXPECT_NE(redirected.err.find("3 entries, 3 searched"), std::string::npos) << redirected.err;
}

// What a new user meets first: each slip gets a message that helps, and nothing is lost quietly.
TEST(ProgramFirstUse, SlipsGetHelpfulMessagesAndNothingIsLostQuietly) {
  auto dir = scratch_dir("first-use");
  const std::string acid = (source_dir() / "data/structures/4022630.cif").string();
  // A folder of one good and one empty file, indexed: the empty one is left out of the index.
  std::filesystem::create_directory(dir / "cifs");
  std::filesystem::copy_file(acid, dir / "cifs/acid.cif");
  std::ofstream(dir / "cifs/empty.cif") << "";
  const std::string index = (dir / "cifs.idx").string();
  ASSERT_EQ(run_program("index " + quote((dir / "cifs").string()) + " -o " + quote(index) + " -q")
                .status,
            0);
  std::string gz = (dir / "acid.cif.gz").string();
  ASSERT_EQ(std::system(("gzip -c " + quote(acid) + " > " + quote(gz)).c_str()), 0);
  const std::string query = (dir / "short.con").string();
  std::ofstream(query) << "AT1 O 1 2 0 0 0\nAT2 H 1 T1\nBO 1 2 1\nAT3 O 0 0 0 0 0\n"
                          "VDW 1 0.0\nCONT INTER 2 TO 3 WITHIN VDW\n";
  struct Case {
    std::string args, stdin_file;
    int status;
    std::string out, err;
  };
  const std::vector<Case> cases = {
      {"search 'carboxylic acid dimer' " + quote(index) + " -q", "", 0, "4022630",
       "refused: 1 entries left out when the screen index was built (--verbose lists them)"},
      {"search 'carboxylic acid dimer' " + quote(index) + " -q -v", "", 0, "", "empty.cif"},
      {"search 'carboxylic acid dimer' " + shipped() + " --jsn hits.json", "", 2, "",
       "--jsn: did you mean --json?"},
      {"search 'carboxylic acid dimer' - -q", gz, 0, "4022630 (stdin): 1 match", ""},
      {"search 'carboxylic acid dimer' 4022630", "", 2, "", "download its CIF first"},
      {"search " + quote(query) + " " + shipped() + " -q", "", 1, "",
       "short.con: line 2: atom line of 4 words"},
      {"show 'carboxylic acid dimer'", "", 0, "H...O < vdW sum, between molecules", ""},
      {"show 'water ring of six'", "", 0, "3.34 A < O...O < 10 A", ""},
  };
  for (const auto& c : cases) {
    ProgramRun r = run_program(c.args, c.stdin_file);
    EXPECT_EQ(r.status, c.status) << c.args << "\n" << r.err;
    EXPECT_NE(r.out.find(c.out), std::string::npos) << c.args << "\n" << r.out;
    EXPECT_NE(r.err.find(c.err), std::string::npos) << c.args << "\n" << r.err;
  }
  // A survey counts every match unless told otherwise.
  const std::string rings = "search 'water ring of six' " + shipped() + " -q";
  EXPECT_EQ(run_program(rings).out, run_program(rings + " --all").out);
  EXPECT_NE(run_program(rings).out.find(": 24 matches"), std::string::npos);
  // Each ready-made motif's description says more than its name, and the two rings of six
  // that differ in how far apart their other waters may be say so.
  std::map<std::string, std::string> description;
  std::istringstream list(run_program("motifs").out);
  for (std::string line; std::getline(list, line);)
    if (line.rfind("  ", 0) == 0) {
      const std::size_t gap = line.find("  ", 2);
      const std::string name = line.substr(2, gap - 2);
      description[name] = line.substr(line.find_first_not_of(' ', gap));
      EXPECT_EQ(description[name].find(name), std::string::npos) << line;
    }
  EXPECT_NE(description.at("water ring of six"), description.at("water ring 6"));
  std::filesystem::remove_all(dir);
}
