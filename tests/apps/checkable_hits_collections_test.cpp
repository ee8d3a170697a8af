// Every printed fact of a hit checked against the CIF it came from, read here with gemmi and
// nothing of xtalmotif's own reading or assembly: each atom's symmetry code applied to its site
// gives its printed position, each contact's two codes give its printed distance, and no two
// atoms of one match are closer than a real contact.

#define USE_STD_SNPRINTF
#include "program_support.h"

#include <gemmi/cif.hpp>
#include <gemmi/numb.hpp>
#include <gemmi/math.hpp>
#include <gemmi/calculate.hpp>
#include <gemmi/unitcell.hpp>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <vector>

using namespace xtalmotif::testing;

namespace {

namespace cif = gemmi::cif;

std::vector<nlohmann::json> records(const std::string& text, const char* kind) {
  std::vector<nlohmann::json> out;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line))
    if (!line.empty()) {
      auto j = nlohmann::json::parse(line);
      if (j["record"] == kind)
        out.push_back(j);
    }
  return out;
}

// An operator as written, "-x+1/2,y,z-0.25": gemmi reads fractions only.
struct Operator {
  double r[3][3] = {};
  double t[3] = {};
  explicit Operator(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
    int row = 0;
    std::size_t i = 0;
    while (i < text.size() && row < 3) {
      if (text[i] == ',') {
        ++row, ++i;
        continue;
      }
      double sign = 1;
      if (text[i] == '+' || text[i] == '-')
        sign = text[i++] == '-' ? -1 : 1;
      std::size_t used = 0;
      double value = 1;
      if (i < text.size() && (std::isdigit(static_cast<unsigned char>(text[i])) || text[i] == '.')) {
        value = std::stod(text.substr(i), &used);
        i += used;
        if (i < text.size() && text[i] == '/') {
          value /= std::stod(text.substr(i + 1), &used);
          i += used + 1;
        }
      }
      if (i < text.size() && text[i] == '*')
        ++i;
      const char axis = i < text.size() ? static_cast<char>(std::tolower(text[i])) : 0;
      if (axis >= 'x' && axis <= 'z') {
        r[row][axis - 'x'] += sign * value;
        ++i;
      } else {
        t[row] += sign * value;
      }
    }
  }
  gemmi::Fractional apply(const gemmi::Fractional& f) const {
    double out[3];
    for (int i = 0; i < 3; ++i)
      out[i] = r[i][0] * f.x + r[i][1] * f.y + r[i][2] * f.z + t[i];
    return gemmi::Fractional(out[0], out[1], out[2]);
  }
  bool same_as(const Operator& o) const {
    for (int i = 0; i < 3; ++i) {
      if (std::fabs(t[i] - o.t[i]) > 1e-3)
        return false;
      for (int j = 0; j < 3; ++j)
        if (r[i][j] != o.r[i][j])
          return false;
    }
    return true;
  }
};

// One entry as the file states it: cell, fractional coordinates by atom-site row (from 1), and
// the operators the entry record says its codes number.
struct FileEntry {
  gemmi::UnitCell cell;
  std::map<int, gemmi::Fractional> rows;
  std::vector<Operator> ops;

  // Symmetry code "n_klm" or "n_(a,b,c)" applied to the atom's site.
  gemmi::Fractional place(const nlohmann::json& atom) const {
    const std::string code = atom["symmetry"];
    const std::size_t bar = code.find('_');
    int t[3];
    if (code.at(bar + 1) == '(') {
      std::sscanf(code.c_str() + bar + 1, "(%d,%d,%d)", &t[0], &t[1], &t[2]);
    } else {
      for (int k = 0; k < 3; ++k)
        t[k] = code.at(bar + 1 + k) - '0' - 5;
    }
    const gemmi::Fractional f =
        ops.at(std::stoul(code.substr(0, bar)) - 1).apply(rows.at(atom["site"].get<int>()));
    return gemmi::Fractional(f.x + t[0], f.y + t[1], f.z + t[2]);
  }
  double length(const gemmi::Fractional& a, const gemmi::Fractional& b) const {
    return cell.orthogonalize_difference(gemmi::Fractional(a - b)).length();
  }
};

FileEntry read_entry(const nlohmann::json& record) {
  cif::Document doc = cif::read_file(record["file"].get<std::string>());
  cif::Block& block = *doc.find_block(record["block"].get<std::string>());
  FileEntry e;
  auto number = [&](const char* tag) { return cif::as_number(*block.find_value(tag)); };
  e.cell.set(number("_cell_length_a"), number("_cell_length_b"), number("_cell_length_c"),
             number("_cell_angle_alpha"), number("_cell_angle_beta"), number("_cell_angle_gamma"));
  cif::Table sites = block.find("_atom_site_", {"fract_x", "fract_y", "fract_z"});
  for (std::size_t i = 0; i < sites.length(); ++i)
    e.rows[static_cast<int>(i) + 1] = gemmi::Fractional(
        cif::as_number(sites[i][0]), cif::as_number(sites[i][1]), cif::as_number(sites[i][2]));
  for (const auto& text : record["operators"])
    e.ops.emplace_back(text.get<std::string>());
  // Where the file's own list was used, the codes number it as written.
  const std::string source = record["symmetry_source"];
  if (source.rfind("_", 0) == 0) {
    cif::Column ops = block.find_values(source);
    EXPECT_EQ(static_cast<std::size_t>(ops.length()), e.ops.size()) << record["file"];
    for (int k = 0; k < ops.length() && k < static_cast<int>(e.ops.size()); ++k)
      EXPECT_TRUE(Operator(cif::as_string(ops[k])).same_as(e.ops[k]))
          << record["file"] << ": " << ops[k];
  }
  return e;
}

// The checks of one search's JSON output; returns the number of contacts checked.
int check_search(const std::string& motif, const std::string& sources) {
  ProgramRun r = run_program("search " + quote(motif) + " " + sources + " --all --json - -q -j 2");
  EXPECT_LE(r.status, 1) << motif << ": " << r.err;
  // Files are read once for all searches.
  static std::map<std::string, FileEntry> read;
  std::map<std::string, const FileEntry*> entries;
  for (const auto& e : records(r.out, "entry")) {
    const std::string key = e["file"].get<std::string>() + "\n" + e["block"].get<std::string>();
    auto it = read.find(key);
    if (it == read.end())
      it = read.emplace(key, read_entry(e)).first;
    entries[e["entry"].get<std::string>()] = &it->second;
  }
  int contacts = 0;
  for (const auto& m : records(r.out, "match")) {
    const FileEntry& e = *entries.at(m["entry"].get<std::string>());
    const std::string where = motif + " in " + m["entry"].get<std::string>() + " match " +
                              std::to_string(m["match"].get<int>());
    std::vector<std::pair<int, nlohmann::json>> atoms; // molecule copy, atom
    for (const auto& s : m["substructures"])
      for (const auto& a : s["atoms"]) {
        const gemmi::Fractional printed(a["fract"][0], a["fract"][1], a["fract"][2]);
        EXPECT_LT(e.length(e.place(a), printed), 1e-3) << where << ": " << a;
        atoms.emplace_back(s["copy"], a);
      }
    for (const auto& c : m["contacts"]) {
      ++contacts;
      EXPECT_NEAR(e.length(e.place(c["from"]), e.place(c["to"])), c["distance"].get<double>(),
                  1e-3)
          << where << ": " << c;
      if (!c.contains("hydrogen_bond"))
        continue;
      // D-H...A as a _geom_hbond loop gives it, from the three atoms placed by their codes.
      const auto& h = c["hydrogen_bond"];
      const gemmi::Position d = e.cell.orthogonalize(e.place(h["donor"]));
      const gemmi::Position H = e.cell.orthogonalize(e.place(h["hydrogen"]));
      const gemmi::Position a = e.cell.orthogonalize(e.place(h["acceptor"]));
      EXPECT_NEAR(d.dist(H), h["d_h"].get<double>(), 1e-3) << where << ": " << c;
      EXPECT_NEAR(H.dist(a), h["h_a"].get<double>(), 1e-3) << where << ": " << c;
      EXPECT_NEAR(d.dist(a), h["d_a"].get<double>(), 1e-3) << where << ": " << c;
      EXPECT_NEAR(gemmi::deg(gemmi::calculate_angle(d, H, a)), h["angle"].get<double>(), 0.1)
          << where << ": " << c;
    }
    for (std::size_t i = 0; i < atoms.size(); ++i)
      for (std::size_t j = i + 1; j < atoms.size(); ++j)
        if (atoms[i].first != atoms[j].first &&
            atoms[i].second["fract"] != atoms[j].second["fract"]) {
          EXPECT_GE(e.length(e.place(atoms[i].second), e.place(atoms[j].second)), 1.5)
              << where << ": " << atoms[i].second << " " << atoms[j].second;
        }
  }
  return contacts;
}

std::vector<std::string> motif_names() {
  ProgramRun r = run_program("motifs");
  std::vector<std::string> names;
  std::istringstream in(r.out);
  std::string line;
  while (std::getline(in, line))
    if (line.rfind("  ", 0) == 0)
      names.push_back(line.substr(2, line.find("  ", 2) - 2));
  return names;
}

} // namespace

// Every ready-made motif but the extended ring families (whose searches of frameworks take
// minutes) and every shipped query over the curated structures; the hydrogen-bonded pairs, the
// water chain and ring and the shipped queries over bulk structures from three collections.
TEST(CheckableHits, EveryPrintedCodeReproducesItsPositionAndDistanceFromTheFile) {
  std::vector<std::string> queries;
  for (const auto& entry : std::filesystem::directory_iterator(source_dir() / "data/queries"))
    queries.push_back(entry.path().string());
  std::vector<std::string> motifs = queries;
  for (const auto& name : motif_names())
    if (name.rfind("R", 0) != 0)
      motifs.push_back(name);
  ASSERT_GT(motifs.size(), 60u);
  int contacts = 0;
  for (const auto& motif : motifs)
    contacts += check_search(motif, quote(require_data("curated").string()));
  EXPECT_GT(contacts, 4000);

  std::string bulk;
  for (const char* folder : {"bulk/cod-tools/tests/inputs/spacegroup-builder",
                             "bulk/cod-tools/tests/inputs/cif2cod", "bulk/FinalCif"})
    bulk += " " + quote(require_data(folder).string());
  std::vector<std::string> common = queries;
  for (const char* name : {"O or N donor pair", "donor pair", "carboxylic acid dimer",
                           "CONH dimer", "H2O pair", "water chain", "water ring 6"})
    common.push_back(name);
  contacts = 0;
  for (const auto& motif : common)
    contacts += check_search(motif, bulk);
  EXPECT_GT(contacts, 4000);
}

namespace {

// The contacts of every match, "H...A code" with their distances.
std::multimap<std::string, double> contacts_of(const std::string& out) {
  std::multimap<std::string, double> found;
  for (const auto& m : records(out, "match"))
    for (const auto& c : m["contacts"])
      found.emplace(c["from"]["atom"].get<std::string>() + "..." +
                        c["to"]["atom"].get<std::string>() + " " +
                        c["to"]["symmetry"].get<std::string>(),
                    c["distance"].get<double>());
  return found;
}

} // namespace

// Hydrogen bonds that the authors list in their _geom_hbond loops, found with their atoms,
// symmetry codes and distances (given to 0.01 A there), in structures whose disorder or
// special positions once hid them or gave them wrong codes.
TEST(CheckableHits, AuthorsHydrogenBondsAreFoundAsTheyReportThem) {
  auto dir = scratch_dir("authors");
  const std::string nho = (dir / "nh_o.con").string();
  std::ofstream(nho) << "AT1 N 1 1,4 0 0 0\nAT2 H 1 0 T1 0 0 0\nBO 1 2 1\nAT3 O 1 0 0 0 0\n"
                        "VDW 1 0.0\nCONT INTER 2 TO 3 WITHIN VDW\n";
  const std::string inputs = "bulk/cod-tools/tests/inputs/";
  struct Case {
    std::string motif, file, contact;
    double distance;
  };
  const std::vector<Case> cases = {
      // The N at 1/3 in three orientations about a threefold axis keeps its hydrogens.
      {nho, inputs + "spacegroup-builder/cif/2016949.cif", "H1N...O2 1_555", 2.00},
      {nho, inputs + "spacegroup-builder/cif/2016949.cif", "H2N...O2 2_655", 2.30},
      {nho, inputs + "spacegroup-builder/cif/2016949.cif", "H2N...O1 2_655", 2.30},
      // O4-H4 survives only when its O4' alternative is left out.
      {"O or N donor pair", inputs + "cif2cod/2238212-only-doi.cif", "H4...O6 1_655", 2.07},
      // An atom of a molecule copy that spans two cells carries its own code.
      {"O or N donor pair", "curated/hydrate__2010014.cif", "H11...Ow6 2_556", 2.03},
      // Operators written with negative translations are numbered and shifted as written.
      {"data/queries/water_water.con", "curated/hydrate__2015717-long-title.cif",
       "H1B...O14 4_666", 2.09},
  };
  for (const auto& c : cases) {
    const std::string motif =
        c.motif.rfind("data/", 0) == 0 ? (source_dir() / c.motif).string() : c.motif;
    ProgramRun r = run_program("search " + quote(motif) + " " + quote(require_data(c.file).string()) +
                               " --all --json - -q");
    const auto found = contacts_of(r.out);
    auto it = found.find(c.contact);
    ASSERT_NE(it, found.end()) << c.file << ": " << c.contact << " not among " << r.out;
    EXPECT_NEAR(it->second, c.distance, 0.006) << c.file << ": " << c.contact;
  }
  std::filesystem::remove_all(dir);
}

TEST(CheckableHits, WhatAReaderMustKnowIsSaidAndNoHitUsesAlternativeSites) {
  // Partly occupied water sites 1.9-2.1 A apart are alternatives, not a ring.
  ProgramRun ring = run_program("search 'water ring of six' " +
                                quote(require_data("bulk/cod-tools/tests/inputs/1001031.cif").string()) +
                                " --all -q");
  EXPECT_EQ(ring.status, 1) << ring.out;

  // A mistyped operator list is replaced, and said to be, with the list the codes number.
  ProgramRun alcohol = run_program(
      "search " + quote((source_dir() / "data/queries/hydroxyl_hbond_angle.con").string()) + " " +
      quote(require_data("curated/alcohol__2009397.cif").string()) + " --all --json - -q");
  EXPECT_NE(alcohol.err.find("note: "), std::string::npos) << alcohol.err;
  EXPECT_NE(alcohol.err.find("Hall symbol 'R 3'"), std::string::npos) << alcohol.err;
  const auto entry = records(alcohol.out, "entry");
  ASSERT_EQ(entry.size(), 1u);
  EXPECT_EQ(entry[0]["symmetry_source"], "Hall symbol 'R 3'");
  EXPECT_EQ(entry[0]["operators"].size(), 9u);
  EXPECT_EQ(entry[0]["notices"].size(), 1u);

  // Every atom says which query atom it matched, by number and by the query file's name.
  ProgramRun dimer = run_program(
      "search " + quote((source_dir() / "data/queries/carboxylic_acid_dimer.con").string()) +
      " " + quote(require_data("curated/acid__2300214-r274507.cif").string()) + " --json - -q");
  const auto match = records(dimer.out, "match");
  ASSERT_EQ(match.size(), 1u);
  const auto& atoms = match[0]["substructures"][1]["atoms"];
  ASSERT_EQ(atoms.size(), 4u);
  for (int q = 0; q < 4; ++q) {
    EXPECT_EQ(atoms[q]["query_atom"], q);
    EXPECT_EQ(atoms[q]["query_label"], "AT" + std::to_string(q + 5));
  }
  EXPECT_EQ(atoms[1]["atom"], "O2a"); // the carbonyl O (AT6), not the hydroxyl O1a
  EXPECT_EQ(atoms[3]["atom"], "H1a");
}

// `xtalmotif hbonds` against the hydrogen-bond tables the authors give: every N/O donor and
// acceptor row of the curated structures' _geom_hbond loops found with the same atoms, the
// same acceptor code (where the table gives one) and the same H...A to the table's 0.01 A.
// The rows not found are hydrogens of disorder alternatives that are not kept.
TEST(CheckableHits, HbondsListsTheAuthorsHydrogenBonds) {
  const auto curated = require_data("curated");
  ProgramRun r = run_program("hbonds " + quote(curated.string()) + " --tsv -");
  ASSERT_EQ(r.status, 0) << r.err;
  std::multimap<std::string, double> ours; // "block D H A code" -> H...A
  std::istringstream rows(r.out);
  std::string line;
  std::getline(rows, line);
  while (std::getline(rows, line)) {
    std::vector<std::string> f;
    std::istringstream fields(line);
    for (std::string x; std::getline(fields, x, '\t');)
      f.push_back(x);
    const std::string block = f.at(0);
    ours.emplace(block + " " + f.at(2) + " " + f.at(4) + " " + f.at(6) + " " + f.at(7),
                 std::stod(f.at(9)));
    ours.emplace(block + " " + f.at(2) + " " + f.at(4) + " " + f.at(6) + " ?", std::stod(f.at(9)));
  }
  int listed = 0, found = 0;
  auto n_or_o = [](const std::string& label) { return label[0] == 'N' || label[0] == 'O'; };
  for (const auto& file : std::filesystem::directory_iterator(curated)) {
    if (file.path().extension() != ".cif")
      continue;
    cif::Document doc = cif::read_file(file.path().string());
    for (cif::Block& block : doc.blocks) {
      cif::Table t = block.find("_geom_hbond_", {"atom_site_label_D", "atom_site_label_H",
                                                 "atom_site_label_A", "?site_symmetry_A",
                                                 "distance_HA"});
      for (std::size_t i = 0; i < t.length(); ++i) {
        auto row = t[i];
        const std::string d = cif::as_string(row[0]), a = cif::as_string(row[2]);
        if (!n_or_o(d) || !n_or_o(a) || a.rfind("Na", 0) == 0 || a.rfind("Ni", 0) == 0)
          continue;
        std::string code = row.has(3) ? row[3] : std::string("?");
        if (code == "." || code.empty())
          code = "1_555";
        else if (code != "?" && code.find('_') == std::string::npos)
          code += code.size() < 3 ? "_555" : "";
        ++listed;
        const double h_a = cif::as_number(row[4]);
        const auto [lo, hi] =
            ours.equal_range(block.name + " " + d + " " + cif::as_string(row[1]) + " " + a + " " + code);
        for (auto it = lo; it != hi; ++it)
          if (std::fabs(it->second - h_a) < 0.015) {
            ++found;
            break;
          }
      }
    }
  }
  ASSERT_GT(listed, 200);
  EXPECT_GE(found, 0.98 * listed) << found << " of " << listed;
}
