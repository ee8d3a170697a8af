// The xtalmotif program run as a user runs it, on the structures and query files it ships.

#include "program_support.h"

#include "crystal/cif_reader.h"
#include "core/geometry.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

using namespace xtalmotif;
using namespace xtalmotif::testing;

namespace {

std::string shipped(const std::string& file = "") {
  return quote((source_dir() / "data/structures" / file).string());
}
std::string query(const std::string& file) {
  return quote((source_dir() / "data/queries" / file).string());
}

std::vector<nlohmann::json> json_lines(const std::string& text) {
  std::vector<nlohmann::json> out;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);)
    if (!line.empty())
      out.push_back(nlohmann::json::parse(line));
  return out;
}

// The refusal lines of a run's standard error, in the order printed.
std::vector<std::string> refusals(const std::string& err) {
  std::vector<std::string> out;
  std::istringstream in(err);
  for (std::string line; std::getline(in, line);)
    if (line.rfind("refused: ", 0) == 0)
      out.push_back(line);
  return out;
}

std::string text_with(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
  return text;
}

} // namespace

// Each slip on the command line stops the program with status 2 before anything is searched,
// with a message that says what to do.
TEST(Program, SlipsAreRefusedWithAMessageThatHelps) {
  auto dir = scratch_dir("slips");
  std::ofstream(dir / "plain-file") << "not a folder\n";
  std::ofstream(dir / "bad.con") << "this is not a query\n";
  std::filesystem::create_directory(dir / "empty");
  const std::string d = dir.string() + "/";
  const std::string acid = "search 'carboxylic acid dimer' " + shipped("4022630.cif") + " ";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"serch 'H2O pair'", "unknown command \"serch\"; the commands are search, index, hbonds"},
      {"search 'carboxylic acd dimer'", "nearest names: \"carboxylic acid dimer\""},
      {"show 'acid carboxylic dimer'", "nearest names: \"carboxylic acid dimer\""},
      {"search 'ring six'", "nearest names: \"water ring of six\""},
      {"search " + shipped() + " 'H2O pair'", "names crystal structures, not a motif"},
      {"show " + shipped("4022630.cif"), "4022630.cif\" names crystal structures"},
      {"search no_such_query.con", "no_such_query.con: query file not found"},
      {"search " + quote(d + "bad.con"), "bad.con"},
      {"search 'carboxylic acid dimer'", "the structures that come with xtalmotif are searched"},
      {"search 'carboxylic acid dimer' 4022630", "download its CIF first"},
      {"search 'carboxylic acid dimer' /no/such/place.cif", "/no/such/place.cif: no such file"},
      {"search 'H2O pair' " + quote(d + "empty"), "no CIF"},
      {acid + "--jsn x.json", "--jsn: did you mean --json?"},
      {acid + "--json - --tsv -", "--json - and --tsv - cannot both write to standard output"},
      {acid + "--save " + quote(d + "a") + " --json " + quote(d + "./a"), "--save and --json both"},
      {acid + "--save-ids " + quote(d + "nowhere/ids"), "nowhere does not exist"},
      {acid + "--tsv " + quote(dir.string()), "--tsv needs a file name, and this is a folder"},
      {acid + "--export " + quote(d + "plain-file"), "--export needs a folder"},
      {acid + "--save " + shipped("4022630.cif"), "--save names an input file"},
      {acid + "--limit 0", "--limit: must be a whole number from 1"},
      {acid + "--jobs 257", "--jobs: must be a whole number from 1 to 256"},
      {acid + "--all --limit 3", "--limit"},
      {"index " + shipped() + " -o " + quote(d + "nowhere/x.idx"), "nowhere does not exist"},
  };
  for (const auto& [args, message] : cases) {
    ProgramRun r = run_program(args);
    EXPECT_EQ(r.status, 2) << args;
    EXPECT_NE(r.err.find(message), std::string::npos) << args << ": " << r.err;
    EXPECT_TRUE(r.out.empty()) << args << ": " << r.out;
    EXPECT_EQ(r.err.find("entries,"), std::string::npos) << args << ": " << r.err;
  }
  EXPECT_FALSE(std::filesystem::exists(dir / "a"));
  std::filesystem::remove_all(dir);
}

// What each shipped query and some ready-made motifs find among the shipped structures: each
// query file its own structure, and the terminal listing of a hit with its graph set.
TEST(Program, ShippedQueriesAndMotifsFindWhatTheStructuresHold) {
  struct Case {
    std::string motif, first_line, listing;
  };
  const std::vector<Case> cases = {
      {query("carboxylic_acid_dimer.con"), "4022630 (", "R2,2(8)"},
      {query("hydroxyl_hbond_angle.con"), "4022630 (", "D-H...A"},
      {query("water_water.con"), "4504659 (", "O61(1_555)-H62(1_555)...O31(1_555)"},
      {query("silver_carboxylate.con"), "7051216 (", "Ag2(1_555)...O3(1_555)  2.133 A"},
      {query("amide_chain.con"), "2009480 (", "N"},
      {"'carboxylic acid dimer'", "4022630 (", "O4(1_555)-H4(1_555)...O3(3_657)  D-H 0.82"},
      {"'water ring of six'", "4504659 (", "R4,6(12)"},
      {"'silver pattern4'", "7051216 (", "Ag"},
  };
  for (const auto& c : cases) {
    ProgramRun r = run_program("search " + c.motif + " " + shipped());
    EXPECT_EQ(r.status, 0) << c.motif << ": " << r.err;
    EXPECT_EQ(r.out.rfind(c.first_line, 0), 0u) << c.motif << ": " << r.out;
    // One structure each: the listing holds a single entry line.
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '('),
              std::count(r.out.begin(), r.out.end(), ')'));
    EXPECT_NE(r.out.find(c.listing), std::string::npos) << c.motif << ": " << r.out;
    EXPECT_NE(r.err.find(" candidate entries"), std::string::npos) << r.err;
  }
  // A survey counts every match unless told otherwise; -q keeps the entry lines only.
  const std::string rings = "search 'water ring of six' " + shipped() + " -q";
  EXPECT_EQ(run_program(rings).out,
            "4504659 (" + (source_dir() / "data/structures/4504659.cif").string() +
                "): 24 matches\n");
  EXPECT_EQ(run_program(rings + " --all").out, run_program(rings).out);
}

// One search's outputs agree: the JSON, the TSV, the hit lists and the exported P1 CIFs, with
// one thread or two, and the JSON and TSV alone on standard output when sent there.
TEST(Program, OutputsAgreeWithEachOtherAndWithTheThreadCount) {
  auto dir = scratch_dir("outputs");
  for (const char* jobs : {"1", "2"}) {
    const std::string o = (dir / jobs).string() + "-";
    ProgramRun r = run_program("search 'carboxylic acid dimer' " + shipped() + " -q -j " + jobs +
                               " --json " + quote(o + "json") + " --tsv " + quote(o + "tsv") +
                               " --save " + quote(o + "save") + " --save-ids " + quote(o + "ids") +
                               " --export " + quote(o + "export"));
    ASSERT_EQ(r.status, 0) << r.err;
  }
  for (const char* file : {"json", "tsv", "save", "ids"})
    EXPECT_EQ(slurp(dir / (std::string("1-") + file)), slurp(dir / (std::string("2-") + file)));
  EXPECT_EQ(slurp(dir / "1-save"), "No of results: 1\n4022630\n");
  EXPECT_EQ(slurp(dir / "1-ids"), "4022630\n");
  const auto lines = json_lines(slurp(dir / "1-json"));
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0]["record"], "entry");
  EXPECT_EQ(lines[2]["record"], "summary");
  EXPECT_EQ(lines[2]["hits"], 1);
  const auto& m = lines[1];
  EXPECT_EQ(m["graph_set"], "R2,2(8)");
  // The TSV has a header row and one row per contact.
  const std::string tsv = slurp(dir / "1-tsv");
  EXPECT_EQ(std::count(tsv.begin(), tsv.end(), '\n'), 1 + static_cast<long>(m["contacts"].size()));

  // The exported P1 file holds both molecules where they were found: the labelled atoms of each
  // contact are at the distance the JSON reports.
  const auto files = std::vector<std::filesystem::path>(
      std::filesystem::directory_iterator(dir / "1-export"), std::filesystem::directory_iterator());
  ASSERT_EQ(files.size(), 1u);
  auto crystal = read_crystal(files[0].string(), "");
  std::map<std::string, Point> by_label;
  for (int i = 0; i < crystal->nmolecules(); ++i)
    for (const auto& a : crystal->molecule(i)->atoms())
      by_label[a->label()] = a->site()->orthogonal();
  for (const auto& c : m["contacts"]) {
    const std::string from = c["from"]["atom"].get<std::string>() + "_" +
                             c["from"]["symmetry"].get<std::string>();
    const std::string to = c["to"]["atom"].get<std::string>() + "_" +
                           c["to"]["symmetry"].get<std::string>();
    ASSERT_TRUE(by_label.count(from) && by_label.count(to)) << from << " " << to;
    EXPECT_NEAR(distance(by_label[from], by_label[to]), c["distance"].get<double>(), 2e-3);
  }

  ProgramRun json = run_program("search 'carboxylic acid dimer' " + shipped() + " --json - -q");
  EXPECT_EQ(json.out, slurp(dir / "1-json"));
  ProgramRun tsv_out = run_program("search 'carboxylic acid dimer' " + shipped() + " --tsv - -q");
  EXPECT_EQ(tsv_out.out, tsv);
  std::filesystem::remove_all(dir);
}

TEST(Program, EveryMatchStopsAtTheCeiling) {
  // Five waters in the asymmetric unit, each hydrogen-bonded to others: a six-water chain is
  // found in many ways and orders.
  const std::string hydrate = "search 'water chain' " + shipped("4504659.cif") + " -q";
  ProgramRun all = run_program(hydrate);
  ASSERT_EQ(all.status, 0) << all.err;
  const int every = std::stoi(all.out.substr(all.out.find("): ") + 3));
  ASSERT_GT(every, 3);
  ProgramRun capped = run_program(hydrate + " --ceiling 3");
  EXPECT_NE(capped.out.find("): 3 matches\n"), std::string::npos) << capped.out;
  EXPECT_NE(run_program("search 'water chain' " + shipped("4504659.cif") + " --ceiling 3").err.find(
                "1 stopped at the 3-match ceiling"),
            std::string::npos);
  // A ceiling at or above the number of matches changes nothing and is not reported.
  ProgramRun roomy = run_program(hydrate + " --ceiling " + std::to_string(every + 1));
  EXPECT_EQ(roomy.out, all.out);
  EXPECT_EQ(roomy.err.find("ceiling"), std::string::npos) << roomy.err;
}

// Two blocks of one file may share a name: each is searched as itself, whether the file is read
// directly, through a screen index (with or without the prescreen) or from standard input,
// plain or gzipped, where every block of the text is searched.
TEST(Program, EveryBlockIsSearchedAsItselfWhateverItsNameAndSource) {
  auto dir = scratch_dir("twins");
  const std::string twins = (dir / "twins.cif").string();
  const std::string acid = (source_dir() / "data/structures/4022630.cif").string();
  std::ofstream(twins) << text_with(slurp(source_dir() / "data/structures/4504659.cif"),
                                    "data_4504659", "data_x")
                       << text_with(slurp(acid), "data_4022630", "data_x");
  const std::string index = (dir / "twins.idx").string();
  const std::string gz = (dir / "acid.cif.gz").string();
  ASSERT_EQ(run_program("index " + quote(twins) + " -o " + quote(index) + " -q").status, 0);
  ASSERT_EQ(std::system(("gzip -c " + quote(acid) + " > " + quote(gz)).c_str()), 0);
  const std::vector<std::array<std::string, 3>> cases = {
      {quote(twins), "", "twins/x#2 (" + twins + "): 1 match\n"},
      {quote(index), "", "twins/x#2 (" + twins + "): 1 match\n"},
      {quote(index) + " --no-prescreen", "", "twins/x#2 (" + twins + "): 1 match\n"},
      {"-", twins, "stdin/x#2 (stdin): 1 match\n"},
      {"-", gz, "4022630 (stdin): 1 match\n"}};
  for (const auto& [sources, stdin_file, hits] : cases) {
    ProgramRun r = run_program("search 'carboxylic acid dimer' -q " + sources, stdin_file);
    EXPECT_EQ(r.status, 0) << sources << ": " << r.err;
    EXPECT_EQ(r.out, hits) << sources;
  }
  // Standard input is held to the size of the largest file the reader takes.
  ProgramRun endless = run_program("search 'carboxylic acid dimer' -", "/dev/zero");
  EXPECT_EQ(endless.status, 2);
  EXPECT_NE(endless.err.find("standard input: more than 64 MB of text"), std::string::npos)
      << endless.err;
  std::filesystem::remove_all(dir);
}

// A structure that cannot be read is reported once, by file, whatever the number of threads,
// and the rest are searched; nothing readable at all is failure, not "no hits". A screen index
// remembers what it left out, in one line under -q.
TEST(Program, UnreadableStructuresAreReportedOnceAndTheRestSearched) {
  auto dir = scratch_dir("unreadable");
  std::filesystem::create_directory(dir / "cifs");
  std::filesystem::copy_file(source_dir() / "data/structures/4022630.cif", dir / "cifs/acid.cif");
  std::ofstream(dir / "cifs/empty.cif") << "";
  std::ofstream(dir / "cifs/loop.cif") << "data_loop\nloop_\n_a\n_b\n1\n";
  const std::string cifs = quote((dir / "cifs").string());
  for (const char* jobs : {"1", "2"}) {
    ProgramRun r = run_program("search 'carboxylic acid dimer' " + cifs + " -q -j " + jobs);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out.rfind("4022630 (", 0), 0u) << r.out;
    const auto refused = refusals(r.err);
    ASSERT_EQ(refused.size(), 2u) << r.err;
    EXPECT_NE(refused[0].find("empty.cif"), std::string::npos) << refused[0];
    EXPECT_NE(refused[1].find("loop.cif"), std::string::npos) << refused[1];
  }
  ProgramRun none = run_program("search 'H2O pair' " + quote((dir / "cifs/empty.cif").string()) +
                                " " + quote((dir / "cifs/loop.cif").string()));
  EXPECT_EQ(none.status, 3) << none.err;
  EXPECT_NE(none.err.find(" 0 searched, "), std::string::npos) << none.err;

  const std::string index = quote((dir / "cifs.idx").string());
  ASSERT_EQ(run_program("index " + cifs + " -o " + index + " -q").status, 0);
  ProgramRun quiet = run_program("search 'carboxylic acid dimer' " + index + " -q");
  EXPECT_EQ(quiet.out, run_program("search 'carboxylic acid dimer' " + cifs + " -q").out);
  EXPECT_NE(quiet.err.find("refused: 2 entries left out when the screen index was built "
                           "(--verbose lists them)"),
            std::string::npos)
      << quiet.err;
  EXPECT_EQ(refusals(run_program("search 'carboxylic acid dimer' " + index + " -q -v").err).size(),
            2u);
  std::filesystem::remove_all(dir);
}

// Outputs replace nothing but a regular file they were told to write: a link is followed and
// stays, a device is written into, an input file is never overwritten, and output that could
// not be written (a full device, a full standard output) ends the program with status 3.
TEST(Program, OutputsReplaceOnlyRegularFilesAndNeverAnInput) {
  auto dir = scratch_dir("targets");
  const std::string input = (dir / "acid.cif").string();
  std::filesystem::copy_file(source_dir() / "data/structures/4022630.cif", input);
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
    std::string args, stdout_file;
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
  EXPECT_EQ(slurp(dir / "list.txt"), "No of results: 1\n4022630\n");
  EXPECT_EQ(slurp(input), before);
  std::filesystem::remove_all(dir);
}

// Text from the input reaches every output in a form that output can hold: entries whose names
// differ only in characters a file name cannot hold are exported to two files, a label with a
// space reads back from the exported CIF, a file name that is not UTF-8 leaves the JSON valid,
// and a newline in a file name does not break the listing's lines.
TEST(Program, InputTextCannotBreakAnOutput) {
  auto dir = scratch_dir("hostile");
  const std::string acid = slurp(source_dir() / "data/structures/4022630.cif");
  std::ofstream(dir / "plus.cif") << text_with(acid, "data_4022630", "data_x+1");
  std::ofstream(dir / "equals.cif") << text_with(acid, "data_4022630", "data_x=1");
  std::ofstream(dir / "odd.cif") << text_with(text_with(acid, "data_4022630", "data_odd"),
                                              "\nO3 ", "\n'O 3' ");
  std::ofstream(dir / "caf\xe9.cif") << text_with(acid, "data_4022630", "data_bytes");
  std::ofstream(dir / "new\nline.cif") << acid;
  const std::string exported = (dir / "exported").string();
  ProgramRun r = run_program("search 'carboxylic acid dimer' " + quote(dir.string()) +
                             " --json " + quote((dir / "hits.jsonl").string()) + " --export " +
                             quote(exported) + " -q");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 5) << r.out; // one line per entry
  EXPECT_EQ(json_lines(slurp(dir / "hits.jsonl")).size(), 11u); // throws on a broken line
  std::set<std::string> files;
  for (const auto& f : std::filesystem::directory_iterator(exported))
    files.insert(f.path().filename().string());
  EXPECT_EQ(files.size(), 5u);
  EXPECT_TRUE(files.count("x_1_match1.cif") && files.count("x_1_match1-2.cif"));
  auto odd = read_crystal((std::filesystem::path(exported) / "odd_match1.cif").string(), "");
  bool spaced = false;
  for (int m = 0; m < odd->nmolecules(); ++m)
    for (const auto& a : odd->molecule(m)->atoms())
      spaced = spaced || a->label().rfind("O 3_", 0) == 0;
  EXPECT_TRUE(spaced);
  std::filesystem::remove_all(dir);
}

TEST(Program, ProgressBarOnATerminalOnly) {
  std::vector<std::string> args = {"search", "carboxylic acid dimer"};
  for (const char* f : {"4022630.cif", "2009480.cif", "7051216.cif"})
    args.push_back((source_dir() / "data/structures" / f).string());
  ProgramRun shown = run_program_on_terminal(args);
  EXPECT_EQ(shown.status, 0) << shown.err;
  // Redrawn in place, ending with every entry done, the one hit, a rate and no time left.
  const std::size_t last = shown.err.rfind("\r[");
  ASSERT_NE(last, std::string::npos) << shown.err;
  const std::string bar = shown.err.substr(last, shown.err.find('\n', last) - last);
  EXPECT_NE(bar.find("[##############################] 3/3 entries, 1 hit, "), std::string::npos)
      << bar;
  EXPECT_NE(bar.find("/s, 00:00 left"), std::string::npos) << bar;
  args.push_back("--quiet");
  EXPECT_EQ(run_program_on_terminal(args).err, "");
  ProgramRun redirected = run_program("search 'carboxylic acid dimer' " + shipped());
  EXPECT_EQ(redirected.err.find('\r'), std::string::npos) << redirected.err;
}

// Every command is listed with a sentence, every option described in words, and the motif list
// and show speak a crystallographer's language.
TEST(Program, HelpListAndShowDescribeWhatTheyName) {
  ProgramRun top = run_program("--help");
  for (const char* command : {"search", "index", "hbonds", "report", "motifs", "show"})
    EXPECT_NE(top.out.find(std::string("\n  ") + command + " "), std::string::npos) << command;
  for (const char* command : {"search", "index", "hbonds", "report", "show"}) {
    std::istringstream help(run_program(std::string(command) + " --help").out);
    for (std::string line; std::getline(help, line);) {
      // An option's line holds its names and a description of several words after them.
      if (line.rfind("  -", 0) == 0 && line.find("--help") == std::string::npos) {
        EXPECT_GE(std::count(line.begin(), line.end(), ' ') - line.find_first_not_of(' '), 12)
            << command << ": " << line;
      }
    }
  }
  std::map<std::string, std::string> description;
  std::istringstream list(run_program("motifs").out);
  for (std::string line; std::getline(list, line);)
    if (line.rfind("  ", 0) == 0) {
      const std::size_t gap = line.find("  ", 2);
      const std::string name = line.substr(2, gap - 2);
      description[name] = line.substr(line.find_first_not_of(' ', gap));
      EXPECT_EQ(description[name].find(name), std::string::npos) << line;
    }
  EXPECT_GT(description.size(), 100u);
  // The two rings of six differ in how far apart their other waters may be, and say so.
  EXPECT_NE(description.at("water ring of six"), description.at("water ring 6"));
  EXPECT_NE(run_program("show 'carboxylic acid dimer'").out.find("H...O < vdW sum, between"),
            std::string::npos);
  EXPECT_NE(run_program("show 'water ring of six'").out.find("3.34 A < O...O < 10 A"),
            std::string::npos);
  const std::string con = (source_dir() / "data/queries/carboxylic_acid_dimer.con").string();
  EXPECT_NE(run_program("show " + quote(con)).out.find("atom 3 (AT4): H"), std::string::npos);
}

// A query file's atom line too short for its fields is read with a warning naming the line.
TEST(Program, AShortAtomLineIsReadWithAWarning) {
  auto dir = scratch_dir("short-atom");
  const std::string con = (dir / "short.con").string();
  std::ofstream(con) << "AT1 O 1 2 0 0 0\nAT2 H 1 T1\nBO 1 2 1\nAT3 O 0 0 0 0 0\n"
                        "VDW 1 0.0\nCONT INTER 2 TO 3 WITHIN VDW\n";
  ProgramRun r = run_program("search " + quote(con) + " " + shipped() + " -q");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("short.con: line 2: atom line of 4 words; its last three are not read, "
                       "so it asks for element X, which no atom has"),
            std::string::npos)
      << r.err;
  std::filesystem::remove_all(dir);
}
