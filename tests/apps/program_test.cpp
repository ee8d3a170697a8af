// The xtalmotif program run as a user runs it, on the structures and query files it ships.

#include "program_support.h"

#include "crystal/cif_reader.h"
#include "core/geometry.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sqlite3.h>

#include <array>
#include <map>
#include <string>
#include <vector>

using namespace xtalmotif;
using namespace xtalmotif::testing;

namespace {

const std::filesystem::path structures = source_dir() / "data/structures";
const std::string acid_cif = (structures / "4022630.cif").string(),
                  acid_search = "search 'carboxylic acid dimer' ";

std::string shipped(const std::string &file = "") { return quote((structures / file).string()); }

// How often `what` occurs in `text`.
long occurrences(const std::string &text, const std::string &what) {
  long n = 0;
  for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
    ++n;
  return n;
}

std::string text_with(std::string text, const std::string &from, const std::string &to) {
  for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
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
  const std::string d = dir.string() + "/", acid = acid_search + quote(acid_cif) + " ";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"serch 'H2O pair'", "unknown command \"serch\"; the commands are search, index, hbonds"},
      {"search 'carboxylic acd dimer'", "nearest names: \"carboxylic acid dimer\""},
      {"search " + shipped() + " 'H2O pair'", "names crystal structures, not a motif"},
      {"show " + quote(acid_cif), "4022630.cif\" names crystal structures"},
      {"search no_such_query.con", "no_such_query.con: query file not found"},
      {"search " + quote(d + "bad.con"), "bad.con"},
      {"search 'carboxylic acid dimer'", "the structures that come with xtalmotif are searched"},
      {"search 'carboxylic acid dimer' 4022630", "download its CIF first"},
      {"search 'carboxylic acid dimer' /no/such/place.cif", "/no/such/place.cif: no such file"},
      {"search 'H2O pair' " + quote(d + "empty"), "no CIF"},
      {acid + "--jsn x.json", "--jsn: did you mean --json?"},
      {acid + "--json - --tsv -", "--json - and --tsv - cannot both write to standard output"},
      {acid + "--save " + quote(d + "a") + " --json " + quote(d + "./a"), "--save and --json both"},
      {acid + "--tsv " + quote(dir.string()), "--tsv needs a file name, and this is a folder"},
      {acid + "--export " + quote(d + "plain-file"), "--export needs a folder"},
      {acid + "--limit 0", "--limit: must be a whole number from 1"},
      {acid + "--all --limit 3", "--limit"},
      {"index " + shipped() + " -o " + quote(d + "nowhere/x.idx"), "nowhere does not exist"}};
  for (const auto &[args, message] : cases) {
    ProgramRun r = run_program(args);
    EXPECT_EQ(r.status, 2) << args;
    EXPECT_NE(r.err.find(message), std::string::npos) << args << ": " << r.err;
    EXPECT_EQ(r.out, "") << args;
    EXPECT_EQ(r.err.find("entries,"), std::string::npos) << args << ": nothing is searched";
  }
  EXPECT_FALSE(std::filesystem::exists(dir / "a"));
  // A query atom line too short for its fields is read, with a warning naming the line.
  std::ofstream(dir / "short.con") << "AT1 O 1 2 0 0 0\nAT2 H 1 T1\nBO 1 2 1\nAT3 O 0 0 0 0 0\n"
                                      "VDW 1 0.0\nCONT INTER 2 TO 3 WITHIN VDW\n";
  ProgramRun r = run_program("search " + quote(d + "short.con") + " " + shipped() + " -q");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("short.con: line 2: atom line of 4 words; its last three are not read, "
                       "so it asks for element X, which no atom has"),
            std::string::npos)
      << r.err;
  std::filesystem::remove_all(dir);
}

// What each shipped query and some ready-made motifs find among the shipped structures: each
// query file its own structure, and the terminal listing of a hit with its graph set.
TEST(Program, ShippedQueriesAndMotifsFindWhatTheStructuresHold) {
  const std::string queries = (source_dir() / "data/queries").string() + "/";
  const std::vector<std::array<std::string, 3>> cases = {
      {quote(queries + "carboxylic_acid_dimer.con"), "4022630 (", "R2,2(8)"},
      {quote(queries + "hydroxyl_hbond_angle.con"), "4022630 (", "D-H...A"},
      {quote(queries + "water_water.con"), "4504659 (", "O61(1_555)-H62(1_555)...O31(1_555)"},
      {quote(queries + "silver_carboxylate.con"), "7051216 (", "Ag2(1_555)...O3(1_555)  2.133 A"},
      {quote(queries + "amide_chain.con"), "2009480 (", "N"},
      {"'carboxylic acid dimer'", "4022630 (", "O4(1_555)-H4(1_555)...O3(3_657)  D-H 0.82"},
      {"'water ring of six'", "4504659 (", "R4,6(12)"},
      {"'silver pattern4'", "7051216 (", "Ag"}};
  for (const auto &[motif, first_line, listing] : cases) {
    ProgramRun r = run_program("search " + motif + " " + shipped());
    EXPECT_EQ(r.status, 0) << motif << ": " << r.err;
    EXPECT_EQ(r.out.rfind(first_line, 0), 0u) << motif << ": " << r.out;
    EXPECT_NE(r.out.find(listing), std::string::npos) << motif << ": " << r.out;
    EXPECT_NE(r.err.find(" candidate entries"), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find('\r'), std::string::npos) << "a progress bar on a file";
  }
  // A survey counts every match; -q keeps the entry lines only.
  const std::string rings = "search 'water ring of six' " + shipped() + " -q";
  EXPECT_EQ(run_program(rings).out,
            "4504659 (" + (structures / "4504659.cif").string() + "): 24 matches\n");
  // The ceiling stops every count, is said when reached, and changes nothing above the count.
  const std::string chains = "search 'water chain' " + shipped("4504659.cif");
  ProgramRun all = run_program(chains + " -q");
  const int every = std::stoi(all.out.substr(all.out.find("): ") + 3));
  ASSERT_GT(every, 3) << all.out;
  ProgramRun capped = run_program(chains + " --ceiling 3");
  EXPECT_NE(capped.out.find("): 3 matches\n"), std::string::npos) << capped.out;
  EXPECT_NE(capped.err.find("1 stopped at the 3-match ceiling"), std::string::npos) << capped.err;
  ProgramRun roomy = run_program(chains + " -q --ceiling " + std::to_string(every + 1));
  EXPECT_EQ(roomy.out, all.out);
  EXPECT_EQ(roomy.err.find("ceiling"), std::string::npos) << roomy.err;
  // The work budget abandons an entry and says which, on the terminal and in the summary.
  ProgramRun stopped = run_program(chains + " --work-budget 50 --json -");
  EXPECT_NE(stopped.err.find("aborted: 4504659 ("), std::string::npos) << stopped.err;
  EXPECT_NE(stopped.out.find("\"aborted\":1,\"aborted_entries\":[\"4504659\"]"),
            std::string::npos) << stopped.out;
  EXPECT_EQ(run_program(chains + " -q --work-budget 0").out, all.out);
}

// One search's outputs agree: the JSON, the TSV, the hit lists and the exported P1 CIFs, with
// one thread or two, and the JSON and TSV alone on standard output when sent there.
TEST(Program, OutputsAgreeWithEachOtherAndWithTheThreadCount) {
  auto dir = scratch_dir("outputs");
  const std::string search =
      "search " + quote((source_dir() / "data/queries/carboxylic_acid_dimer.con").string()) + " " +
      shipped() + " -q";
  for (const char *jobs : {"1", "2"}) {
    const std::string o = (dir / jobs).string() + "-";
    ASSERT_EQ(run_program(search + " -j " + jobs + " --json " + quote(o + "json") + " --tsv " +
                          quote(o + "tsv") + " --save " + quote(o + "save") + " --save-ids " +
                          quote(o + "ids") + " --export " + quote(o + "export"))
                  .status,
              0);
  }
  for (const char *file : {"json", "tsv", "save", "ids"})
    EXPECT_EQ(slurp(dir / (std::string("1-") + file)), slurp(dir / (std::string("2-") + file)));
  EXPECT_EQ(slurp(dir / "1-save"), "No of results: 1\n4022630\n");
  EXPECT_EQ(slurp(dir / "1-ids"), "4022630\n");
  const auto lines = json_records(slurp(dir / "1-json"));
  ASSERT_EQ(lines.size(), 3u);
  const auto &m = lines[1];
  EXPECT_EQ(m["graph_set"], "R2,2(8)");
  // Every atom names the query atom it matched: O3 the carbonyl O (AT2, AT6), O4 the hydroxyl.
  for (int s = 0; s < 2; ++s)
    for (int q = 0; q < 4; ++q) {
      const auto &a = m["substructures"][s]["atoms"][q];
      EXPECT_EQ(a["query_atom"], q);
      EXPECT_EQ(a["query_label"], "AT" + std::to_string(4 * s + q + 1));
      EXPECT_EQ(a["atom"], (std::array<const char *, 4>{"C10", "O3", "O4", "H4"}[q]));
    }
  const std::string tsv = slurp(dir / "1-tsv"); // a header row and one row per contact
  EXPECT_EQ(occurrences(tsv, "\n"), 1 + static_cast<long>(m["contacts"].size()));
  EXPECT_EQ(run_program(search + " --json -").out, slurp(dir / "1-json"));
  EXPECT_EQ(run_program(search + " --tsv -").out, tsv);

  // The exported P1 file holds both molecules where they were found: the labelled atoms of each
  // contact lie at the distance the JSON reports.
  const std::filesystem::directory_iterator exported(dir / "1-export");
  auto crystal = read_crystal(exported->path().string(), "");
  std::map<std::string, Point> at;
  for (int i = 0; i < crystal->nmolecules(); ++i)
    for (const auto &a : crystal->molecule(i)->atoms())
      at[a->label()] = a->site()->orthogonal();
  for (const auto &c : m["contacts"]) {
    const auto label = [](const nlohmann::json &a) {
      return a["atom"].get<std::string>() + "_" + a["symmetry"].get<std::string>();
    };
    ASSERT_TRUE(at.count(label(c["from"])) && at.count(label(c["to"]))) << c;
    EXPECT_NEAR(distance(at[label(c["from"])], at[label(c["to"])]), c["distance"].get<double>(),
                2e-4);
  }
  std::filesystem::remove_all(dir);
}

// Two blocks of one file may share a name: each is searched as itself, whether the file is read
// directly, through a screen index (with or without the prescreen) or from standard input,
// plain or gzipped, where every block of the text is searched.
TEST(Program, EveryBlockIsSearchedAsItselfWhateverItsNameAndSource) {
  auto dir = scratch_dir("twins");
  const std::string twins = (dir / "twins.cif").string(), index = (dir / "twins.idx").string(),
                    gz = (dir / "acid.cif.gz").string();
  std::ofstream(twins) << text_with(slurp(structures / "4504659.cif"), "data_4504659", "data_x")
                       << text_with(slurp(acid_cif), "data_4022630", "data_x");
  ASSERT_EQ(run_program("index " + quote(twins) + " -o " + quote(index) + " -q").status, 0);
  ASSERT_EQ(std::system(("gzip -c " + quote(acid_cif) + " > " + quote(gz)).c_str()), 0);
  const std::vector<std::array<std::string, 3>> cases = {
      {quote(twins), "/dev/null", "twins/x#2 (" + twins + "): 1 match\n"},
      {quote(index), "/dev/null", "twins/x#2 (" + twins + "): 1 match\n"},
      {quote(index) + " --no-prescreen", "/dev/null", "twins/x#2 (" + twins + "): 1 match\n"},
      {"-", twins, "stdin/x#2 (stdin): 1 match\n"},
      {"-", gz, "4022630 (stdin): 1 match\n"}};
  for (const auto &[sources, input, hits] : cases) {
    ProgramRun r = run_program(acid_search + "-q " + sources, input);
    EXPECT_EQ(r.status, 0) << sources << ": " << r.err;
    EXPECT_EQ(r.out, hits) << sources;
  }
  // Standard input is held to the size of the largest file the reader takes.
  ProgramRun endless = run_program(acid_search + "-", "/dev/zero");
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
  std::filesystem::copy_file(acid_cif, dir / "cifs/acid.cif");
  std::ofstream(dir / "cifs/empty.cif") << "";
  std::ofstream(dir / "cifs/loop.cif") << "data_loop\nloop_\n_a\n_b\n1\n";
  const std::string cifs = quote((dir / "cifs").string()), index = quote((dir / "i.idx").string());
  for (const char *jobs : {"1", "2"}) {
    ProgramRun r = run_program(acid_search + cifs + " -q -j " + jobs);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out.rfind("4022630 (", 0), 0u) << r.out;
    EXPECT_EQ(occurrences("\n" + r.err, "\nrefused: "), 2) << r.err; // lines that start so
    EXPECT_LT(r.err.find("empty.cif"), r.err.find("loop.cif")) << r.err;
  }
  ProgramRun none = run_program("search 'H2O pair' " + quote((dir / "cifs/empty.cif").string()) +
                                " " + quote((dir / "cifs/loop.cif").string()));
  EXPECT_EQ(none.status, 3) << none.err;
  EXPECT_NE(none.err.find(" 0 searched, "), std::string::npos) << none.err;
  ASSERT_EQ(run_program("index " + cifs + " -o " + index + " -q").status, 0);
  ProgramRun quiet = run_program(acid_search + index + " -q");
  EXPECT_EQ(quiet.out, run_program(acid_search + cifs + " -q").out);
  EXPECT_NE(quiet.err.find("refused: 2 entries left out when the screen index was built "
                           "(--verbose lists them)"),
            std::string::npos)
      << quiet.err;
  EXPECT_EQ(occurrences("\n" + run_program(acid_search + index + " -q -v").err, "\nrefused: "), 2);
  std::filesystem::remove_all(dir);
}

// An index that stores the structures searches as the files do: the same --json output, byte for
// byte, for motifs of hydrogen-bonded groups, of waters, and of silver with its bonds cut.
TEST(Program, AnIndexWithStoredStructuresSearchesAsTheFilesDo) {
  auto dir = scratch_dir("stored");
  const std::string plain = quote((dir / "plain.idx").string()),
                    stored = quote((dir / "stored.idx").string());
  ASSERT_EQ(run_program("index " + shipped() + " -o " + plain + " -q").status, 0);
  ASSERT_EQ(run_program("index " + shipped() + " -o " + stored + " -q --store-structures").status,
            0);
  for (const std::string motif :
       {"carboxylic acid dimer", "water ring of six", "silver pattern4", "O or N donor pair"}) {
    const auto json = [&motif](const std::string &sources) {
      const ProgramRun r = run_program("search '" + motif + "' " + sources + " --all --json -");
      EXPECT_EQ(r.status, 0) << motif << ": " << sources << ": " << r.err;
      return r.out;
    };
    EXPECT_EQ(json(stored + " --no-prescreen"), json(shipped())) << motif;
    EXPECT_EQ(json(stored), json(plain)) << motif;
  }
  std::filesystem::remove_all(dir);
}

// A stored structure that cannot be read is refused, naming the index and the entry, and the
// other entries are searched.
TEST(Program, DamagedStoredStructuresAreRefusedAndTheRestSearched) {
  auto dir = scratch_dir("damaged");
  const std::string index = (dir / "stored.idx").string(), damaged = (dir / "damaged.idx").string();
  ASSERT_EQ(run_program("index " + shipped() + " -o " + quote(index) + " -q --store-structures")
                .status,
            0);
  const std::string acid = " WHERE position = (SELECT position FROM entries "
                           "WHERE identifier = '4022630');";
  for (const auto &[sql, says] : std::vector<std::pair<std::string, std::string>>{
           {"UPDATE structures SET crystal = substr(crystal, 1, length(crystal) - 9)",
            "stored structure is cut short"},
           {"UPDATE structures SET crystal = substr(crystal, 1, 99) || CASE substr(crystal, 100, "
            "1) WHEN x'00' THEN x'01' ELSE x'00' END || substr(crystal, 101)",
            "stored structure is damaged (digest mismatch)"},
           {"UPDATE structures SET crystal = substr(crystal, 1, 8) || x'63000000' || "
            "substr(crystal, 13)",
            "stored structure has format version "},
           {"UPDATE structures SET crystal = substr(crystal, 1, 4) || substr(crystal, 8, 1) || "
            "substr(crystal, 7, 1) || substr(crystal, 6, 1) || substr(crystal, 5, 1) || "
            "substr(crystal, 9)",
            "stored structure was written on a machine of the other byte order"},
           {"UPDATE structures SET block_checksum = block_checksum + 1",
            "the stored structure was assembled from another text than the entry's"},
           {"DELETE FROM structures", "no structure stored for it"}}) {
    std::filesystem::copy_file(index, damaged, std::filesystem::copy_options::overwrite_existing);
    sqlite3 *db = nullptr;
    ASSERT_EQ(sqlite3_open(damaged.c_str(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, (sql + acid).c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sql;
    sqlite3_close(db);
    const ProgramRun r = run_program("search 'O or N donor pair' " + quote(damaged) +
                                     " --no-prescreen");
    EXPECT_EQ(r.status, 0) << says << ": " << r.err;
    EXPECT_EQ(r.out.rfind("4504659 (", 0), 0u) << says << ": " << r.out;
    EXPECT_NE(r.err.find("refused: " + damaged + ": entry 4022630: " + says), std::string::npos)
        << r.err;
    EXPECT_NE(r.err.find(" 3 searched, 0 prescreened out, 0 filtered out, 1 refused"),
              std::string::npos)
        << r.err;
  }
  std::filesystem::remove_all(dir);
}

// Outputs replace nothing but a regular file they were told to write: a link is followed and
// stays, a device is written into, an input file is never overwritten, and output that could
// not be written (a full device, a full standard output) ends the program with status 3.
TEST(Program, OutputsReplaceOnlyRegularFilesAndNeverAnInput) {
  auto dir = scratch_dir("targets");
  const std::string input = (dir / "acid.cif").string();
  std::filesystem::copy_file(acid_cif, input);
  const auto link = [&dir](const std::string &name, const std::string &target) {
    std::filesystem::create_symlink(target, dir / name);
    return quote((dir / name).string());
  };
  const std::string search = acid_search + "-q " + quote(input);
  const std::vector<std::tuple<std::string, std::string, int, std::string>> cases = {
      // arguments, standard output, status, message
      {search + " --save " + link("null", "/dev/null"), "", 0, ""},
      {"index " + quote(input) + " -q -o " + quote((dir / "null").string()), "", 0, ""},
      {search + " --save " + link("list", (dir / "list.txt").string()), "", 0, ""},
      {search + " --tsv " + link("full", "/dev/full"), "", 3, "full: writing failed"},
      {search + " --tsv " + quote((dir / "rows.tsv").string()) + " --json " +
           link("full.json", "/dev/full"),
       "", 3, "full.json: writing failed"},
      {search + " --json -", "/dev/full", 3, "standard output: cannot be written"},
      {"motifs", "/dev/full", 3, "standard output: cannot be written"},
      {search + " --json " + link("alias.cif", input), "", 2, "--json names an input file"},
      {"index " + quote(dir.string()) + " -o " + quote(input), "", 2,
       "--output names an input file"}};
  for (const auto &[args, out, status, message] : cases) {
    ProgramRun r = run_program(args, "/dev/null", out);
    EXPECT_EQ(r.status, status) << args << ": " << r.err;
    EXPECT_NE(r.err.find(message), std::string::npos) << args << ": " << r.err;
  }
  for (const char *name : {"null", "full", "full.json", "list"})
    EXPECT_TRUE(std::filesystem::is_symlink(dir / name)) << name;
  // The text of an output waits beside it while the search runs: gone, written or not.
  EXPECT_FALSE(std::filesystem::exists(dir / "rows.tsv"));
  for (const auto &f : std::filesystem::directory_iterator(dir))
    EXPECT_EQ(f.path().filename().string().find(".tmp."), std::string::npos) << f.path();
  EXPECT_EQ(slurp(dir / "list.txt"), "No of results: 1\n4022630\n");
  EXPECT_EQ(slurp(input), slurp(acid_cif));
  // /dev/stdout is the file standard output was sent to: written after the listing, not over it.
  ProgramRun both = run_program(search + " --json /dev/stdout");
  EXPECT_EQ(both.out.rfind("4022630 (", 0), 0u) << both.out;
  EXPECT_EQ(json_records(both.out.substr(both.out.find('\n') + 1)).size(), 3u) << both.out;
  std::filesystem::remove_all(dir);
}

// Text from the input reaches every output in a form that output can hold: entries whose names
// differ only in characters a file name cannot hold are exported to two files, a label with a
// space reads back from the exported CIF, a file name that is not UTF-8 leaves the JSON valid,
// and a newline in a file name does not break the listing's lines.
TEST(Program, InputTextCannotBreakAnOutput) {
  auto dir = scratch_dir("hostile");
  const std::string acid = slurp(acid_cif), exported = (dir / "exported").string();
  std::ofstream(dir / "plus.cif") << text_with(acid, "data_4022630", "data_x+1");
  std::ofstream(dir / "equals.cif") << text_with(acid, "data_4022630", "data_x=1");
  std::ofstream(dir / "odd.cif") << text_with(text_with(acid, "data_4022630", "data_odd"), "\nO3 ",
                                              "\n'O 3' ");
  std::ofstream(dir / "caf\xe9.cif") << text_with(acid, "data_4022630", "data_bytes");
  std::ofstream(dir / "new\nline.cif") << acid;
  ProgramRun r =
      run_program(acid_search + quote(dir.string()) + " --json " +
                  quote((dir / "hits.jsonl").string()) + " --export " + quote(exported) + " -q");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(occurrences(r.out, "\n"), 5) << r.out;                // one line per entry
  EXPECT_EQ(json_records(slurp(dir / "hits.jsonl")).size(), 11u); // throws on a broken line
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(exported), {}), 5);
  EXPECT_TRUE(std::filesystem::exists(exported + "/x_1_match1.cif") &&
              std::filesystem::exists(exported + "/x_1_match1-2.cif"));
  auto odd = read_crystal(exported + "/odd_match1.cif", "");
  bool spaced = false;
  for (int m = 0; m < odd->nmolecules(); ++m)
    for (const auto &a : odd->molecule(m)->atoms())
      spaced = spaced || a->label().rfind("O 3_", 0) == 0;
  EXPECT_TRUE(spaced);
  std::filesystem::remove_all(dir);
}

// Every command is listed, and show speaks a crystallographer's language.
TEST(Program, HelpListAndShowDescribeWhatTheyName) {
  const std::string help = run_program("--help").out;
  for (const char *command : {"search", "index", "hbonds", "motifs", "show"})
    EXPECT_NE(help.find(std::string("\n  ") + command + " "), std::string::npos) << command;
  EXPECT_GT(occurrences(run_program("motifs").out, "\n  "), 100);
  for (const auto &[what, says] : std::map<std::string, std::string>{
           {"'carboxylic acid dimer'", "H...O < vdW sum, between"},
           {"'water ring of six'", "3.34 A < O...O < 10 A"},
           // The other ring of six holds its other waters within 35 A.
           {"'water ring 6'", "3.34 A < O...O < 35 A"},
           {quote((source_dir() / "data/queries/carboxylic_acid_dimer.con").string()),
            "atom 3 (AT4): H"}})
    EXPECT_NE(run_program("show " + what).out.find(says), std::string::npos) << what;
}
