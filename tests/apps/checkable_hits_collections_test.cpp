// Every printed fact of a hit checked against the CIF it came from, read here with gemmi and
// nothing of xtalmotif's own reading or assembly: each atom's symmetry code applied to its site
// gives its printed position, each contact's two codes give its printed distance, and no two
// atoms of one match are closer than a real contact.

#define USE_STD_SNPRINTF
#include "program_support.h"

#include <gemmi/calculate.hpp>
#include <gemmi/cif.hpp>
#include <gemmi/numb.hpp>
#include <gemmi/unitcell.hpp>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

using namespace xtalmotif::testing;
using nlohmann::json;
namespace cif = gemmi::cif;

namespace {

// An operator as written, "-x+1/2,y,z-0.25", as rows of the x, y, z coefficients and the
// translation (gemmi reads only fractions of 24ths).
using Operator = std::array<std::array<double, 4>, 3>;
Operator op_of(const std::string &text) {
  Operator op{};
  double sign = 1;
  for (std::size_t i = 0, row = 0; i < text.size() && row < 3;) {
    const char c = static_cast<char>(std::tolower(static_cast<unsigned char>(text[i++])));
    if (c == ',' || c == '+' || c == '-') {
      row += c == ',';
      sign = c == '-' ? -1 : 1;
    } else if (c >= 'x' && c <= 'z') {
      op[row][c - 'x'] += sign;
    } else if (std::isdigit(static_cast<unsigned char>(c)) || c == '.') {
      std::size_t used = 0;
      double v = std::stod(text.substr(--i), &used);
      if (text[i += used] == '/')
        v /= std::stod(text.substr(++i), &used), i += used;
      i += text[i] == '*';
      const int axis = std::tolower(static_cast<unsigned char>(text[i])) - 'x';
      op[row][axis >= 0 && axis < 3 ? axis : 3] += sign * v;
      i += axis >= 0 && axis < 3;
    }
  }
  return op;
}

std::array<double, 3> apply(const Operator &op, const std::array<double, 3> &x) {
  std::array<double, 3> f;
  for (int r = 0; r < 3; ++r)
    f[r] = op[r][0] * x[0] + op[r][1] * x[1] + op[r][2] * x[2] + op[r][3];
  return f;
}

// One entry as the file states it: cell, fractional coordinates by atom-site row (from 1), and
// the operators the entry record says its codes number.
struct FileEntry {
  gemmi::UnitCell cell;
  std::map<int, std::array<double, 3>> rows;
  std::vector<Operator> ops;

  // Symmetry code "n_klm" or "n_(a,b,c)" applied to the atom's site.
  gemmi::Position at(const json &atom) const {
    const std::string code = atom["symmetry"];
    const std::size_t bar = code.find('_');
    int t[3];
    if (code.at(bar + 1) == '(')
      std::sscanf(code.c_str() + bar + 1, "(%d,%d,%d)", &t[0], &t[1], &t[2]);
    else
      for (int k = 0; k < 3; ++k)
        t[k] = code.at(bar + 1 + k) - '0' - 5;
    const auto f =
        apply(ops.at(std::stoul(code.substr(0, bar)) - 1), rows.at(atom["site"].get<int>()));
    return cell.orthogonalize(gemmi::Fractional(f[0] + t[0], f[1] + t[1], f[2] + t[2]));
  }
};

FileEntry read_entry(const json &record) {
  cif::Document doc = cif::read_file(record["file"].get<std::string>());
  cif::Block &block = *doc.find_block(record["block"].get<std::string>());
  FileEntry e;
  auto number = [&](const char *tag) { return cif::as_number(*block.find_value(tag)); };
  e.cell.set(number("_cell_length_a"), number("_cell_length_b"), number("_cell_length_c"),
             number("_cell_angle_alpha"), number("_cell_angle_beta"), number("_cell_angle_gamma"));
  cif::Table sites = block.find("_atom_site_", {"fract_x", "fract_y", "fract_z"});
  for (std::size_t i = 0; i < sites.length(); ++i)
    e.rows[static_cast<int>(i) + 1] = {cif::as_number(sites[i][0]), cif::as_number(sites[i][1]),
                                       cif::as_number(sites[i][2])};
  for (const auto &text : record["operators"])
    e.ops.push_back(op_of(text));
  // Where the file's own list was used, the codes number it as written.
  const std::string source = record["symmetry_source"];
  if (source.rfind("_", 0) == 0) {
    cif::Column ops = block.find_values(source);
    EXPECT_EQ(static_cast<std::size_t>(ops.length()), e.ops.size()) << record["file"];
    for (int k = 0; k < ops.length() && k < static_cast<int>(e.ops.size()); ++k) {
      const auto a = apply(op_of(cif::as_string(ops[k])), {0.1, 0.2, 0.3}),
                 b = apply(e.ops[k], {0.1, 0.2, 0.3});
      EXPECT_LT(std::fabs(a[0] - b[0]) + std::fabs(a[1] - b[1]) + std::fabs(a[2] - b[2]), 1e-3)
          << record["file"] << ": " << ops[k];
    }
  }
  return e;
}

// The checks of one search's JSON output; returns the number of contacts checked.
int check_search(const std::string &motif, const std::string &sources) {
  ProgramRun r = run_program("search " + quote(motif) + " " + sources + " --all --json - -q -j 2");
  EXPECT_LE(r.status, 1) << motif << ": " << r.err;
  static std::map<std::string, FileEntry> read; // files are read once for all searches
  std::map<std::string, const FileEntry *> entries;
  for (const auto &e : json_records(r.out, "entry")) {
    const std::string key = e["file"].get<std::string>() + "\n" + e["block"].get<std::string>();
    if (!read.count(key))
      read.emplace(key, read_entry(e));
    entries[e["entry"].get<std::string>()] = &read.at(key);
  }
  int contacts = 0;
  for (const auto &m : json_records(r.out, "match")) {
    const FileEntry &e = *entries.at(m["entry"].get<std::string>());
    SCOPED_TRACE(motif + " in " + m["entry"].get<std::string>() + " match " +
                 std::to_string(m["match"].get<int>()));
    std::vector<std::pair<int, json>> atoms; // molecule copy, atom
    for (const auto &s : m["substructures"])
      for (const auto &a : s["atoms"]) {
        const auto &f = a["fract"];
        EXPECT_LT(e.at(a).dist(e.cell.orthogonalize(gemmi::Fractional(f[0], f[1], f[2]))), 1e-3)
            << a;
        atoms.emplace_back(s["copy"], a);
      }
    for (const auto &c : m["contacts"]) {
      ++contacts;
      EXPECT_NEAR(e.at(c["from"]).dist(e.at(c["to"])), c["distance"].get<double>(), 1e-3) << c;
      if (!c.contains("hydrogen_bond"))
        continue;
      // D-H...A as a _geom_hbond loop gives it, from the three atoms placed by their codes.
      const auto &h = c["hydrogen_bond"];
      const auto d = e.at(h["donor"]), H = e.at(h["hydrogen"]), a = e.at(h["acceptor"]);
      EXPECT_NEAR(d.dist(H), h["d_h"].get<double>(), 1e-3) << c;
      EXPECT_NEAR(H.dist(a), h["h_a"].get<double>(), 1e-3) << c;
      EXPECT_NEAR(d.dist(a), h["d_a"].get<double>(), 1e-3) << c;
      EXPECT_NEAR(gemmi::deg(gemmi::calculate_angle(d, H, a)), h["angle"].get<double>(), 0.1) << c;
      EXPECT_GE(h["angle"].get<double>(), 110.0) << c; // a bent contact is no hydrogen bond
    }
    for (std::size_t i = 0; i < atoms.size(); ++i)
      for (std::size_t j = i + 1; j < atoms.size(); ++j)
        EXPECT_TRUE(atoms[i].first == atoms[j].first ||
                    atoms[i].second["fract"] == atoms[j].second["fract"] ||
                    e.at(atoms[i].second).dist(e.at(atoms[j].second)) >= 1.5)
            << atoms[i].second << " " << atoms[j].second;
  }
  return contacts;
}

} // namespace

// Every ready-made motif but the extended ring families (whose searches of frameworks take
// minutes) and every shipped query over the curated structures; the hydrogen-bonded pairs, the
// water chain and ring and the shipped queries over bulk structures from three collections.
TEST(CheckableHits, EveryPrintedCodeReproducesItsPositionAndDistanceFromTheFile) {
  std::vector<std::string> queries, motifs;
  for (const auto &entry : std::filesystem::directory_iterator(source_dir() / "data/queries"))
    queries.push_back(entry.path().string());
  std::istringstream list(run_program("motifs").out);
  for (std::string line; std::getline(list, line);)
    if (line.rfind("  ", 0) == 0 && line.rfind("  R", 0) != 0)
      motifs.push_back(line.substr(2, line.find("  ", 2) - 2));
  int contacts = 0;
  motifs.insert(motifs.end(), queries.begin(), queries.end());
  for (const auto &motif : motifs)
    contacts += check_search(motif, quote(require_data("curated").string()));
  EXPECT_GT(contacts, 4000);

  std::string bulk;
  for (const char *folder : {"bulk/cod-tools/tests/inputs/spacegroup-builder",
                             "bulk/cod-tools/tests/inputs/cif2cod", "bulk/FinalCif"})
    bulk += " " + quote(require_data(folder).string());
  for (const char *name : {"O or N donor pair", "donor pair", "carboxylic acid dimer", "CONH dimer",
                           "H2O pair", "water chain", "water ring 6"})
    queries.push_back(name);
  contacts = 0;
  for (const auto &motif : queries)
    contacts += check_search(motif, bulk);
  EXPECT_GT(contacts, 4000);
}

// `xtalmotif hbonds` against the hydrogen-bond tables the authors give: every N/O donor and
// acceptor row of the curated structures' _geom_hbond loops found with the same atoms, the
// same acceptor code (where the table gives one) and the same H...A to the table's 0.01 A.
// The rows not found are hydrogens of disorder alternatives that are not kept.
TEST(CheckableHits, HbondsListsTheAuthorsHydrogenBonds) {
  const auto curated = require_data("curated");
  ProgramRun r = run_program("hbonds " + quote(curated.string()) + " --tsv -");
  ASSERT_EQ(r.status, 0) << r.err;
  std::multimap<std::string, double> ours; // "block D H A code" and "block D H A ?" -> H...A
  std::istringstream rows(r.out);
  for (std::string line; std::getline(rows, line);) {
    std::vector<std::string> f;
    std::istringstream fields(line);
    for (std::string x; std::getline(fields, x, '\t');)
      f.push_back(x);
    for (const std::string &code : {f.at(7), std::string("?")})
      ours.emplace(f.at(0) + " " + f.at(2) + " " + f.at(4) + " " + f.at(6) + " " + code,
                   std::atof(f.at(9).c_str())); // the header row matches no table row
  }
  int listed = 0, found = 0;
  for (const auto &file : std::filesystem::directory_iterator(curated)) {
    if (file.path().extension() != ".cif")
      continue;
    cif::Document doc = cif::read_file(file.path().string());
    for (cif::Block &block : doc.blocks) {
      cif::Table t =
          block.find("_geom_hbond_", {"atom_site_label_D", "atom_site_label_H", "atom_site_label_A",
                                      "?site_symmetry_A", "distance_HA"});
      for (std::size_t i = 0; i < t.length(); ++i) {
        auto row = t[i];
        const std::string d = cif::as_string(row[0]), a = cif::as_string(row[2]);
        // N and O donors and acceptors (not Na, Ni)
        if (d.find_first_of("NO") != 0 || a.find_first_of("NO") != 0 || a.rfind("Na", 0) == 0 ||
            a.rfind("Ni", 0) == 0)
          continue;
        std::string code = row.has(3) ? row[3] : std::string("?");
        if (code == "." || code.empty())
          code = "1_555";
        else if (code != "?" && code.find('_') == std::string::npos && code.size() < 3)
          code += "_555";
        ++listed;
        const auto [lo, hi] = ours.equal_range(block.name + " " + d + " " + cif::as_string(row[1]) +
                                               " " + a + " " + code);
        found += std::any_of(lo, hi, [&row](const auto &o) {
          return std::fabs(o.second - cif::as_number(row[4])) < 0.015;
        });
      }
    }
  }
  ASSERT_GT(listed, 200);
  EXPECT_GE(found, 0.98 * listed) << found << " of " << listed;
}
