// End-to-end tests: the built xtalmotif program run on real and shipped structures.

#include "program_support.h"

#include "kernel/cif_reader.h"
#include "kernel/geometry.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <map>

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

TEST(Program, DefaultSearchFindsTheAcidDimerInTheShippedStructures) {
  ProgramRun r = run_program("search 'carboxylic acid dimer'");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("model-acid-dimer: 1 match"), std::string::npos) << r.out;
  EXPECT_EQ(r.out.find("model-water-chain"), std::string::npos) << r.out;
  EXPECT_NE(r.err.find("1 with hits"), std::string::npos) << r.err;
}

TEST(Program, JsonContactsAreHydrogenBondsAndTheExportReadsBackAtTheReportedDistances) {
  auto dir = scratch_dir("json");
  std::string json = (dir / "hits.jsonl").string();
  std::string exp = (dir / "export").string();
  ProgramRun r = run_program("search 'carboxylic acid dimer' " + quote(curated("acid__2300214-r274507.cif")) +
                             " --json " + quote(json) + " --export " + quote(exp) + " -q");
  ASSERT_EQ(r.status, 0) << r.err;
  auto lines = json_lines(slurp(json));
  ASSERT_EQ(lines.size(), 1u);
  const auto& m = lines[0];
  EXPECT_EQ(m["entry"], "2300214");
  ASSERT_EQ(m["contacts"].size(), 2u);
  ASSERT_EQ(m["substructures"].size(), 2u);
  // Ibuprofen's acid dimer sits on an inversion centre: the partner molecule is an inversion
  // image, never the identity copy, and each H...O is a short hydrogen bond.
  EXPECT_EQ(m["substructures"][0]["symmetry"], "1_555");
  EXPECT_NE(m["substructures"][1]["symmetry"], "1_555");
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

TEST(Program, SaveFilesHaveTheLibraryLayouts) {
  auto dir = scratch_dir("save");
  ProgramRun r = run_program("search 'carboxylic acid dimer' -q --save " +
                             quote((dir / "list").string()) + " --save-ids " +
                             quote((dir / "ids").string()));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(slurp(dir / "list"), "No of results: 1\nmodel-acid-dimer\n");
  EXPECT_EQ(slurp(dir / "ids"), "model-acid-dimer\n");
  std::filesystem::remove_all(dir);
}

TEST(Program, ReadsACifFromStandardInput) {
  ProgramRun r = run_program("search 'carboxylic acid dimer' -", curated("acid__2300214-r274507.cif"));
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("stdin: 1 match"), std::string::npos) << r.out;
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
  EXPECT_NE(r.out.find("2300214: 1 match"), std::string::npos);
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
