// Complete molecules from asymmetric units: special positions, symmetry that does not fit the
// cell, coordination polymers, disorder, and structures without hydrogen sites.

#include "crystal/cif_reader.h"
#include "crystal/crystal_builder.h"

#include "kernel_test_support.h"
#include "test_data.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <sstream>

namespace xtalmotif {
namespace {

using testing::find_atom;
using testing::formulas;

// An asymmetric-unit site placed in angstrom (cubic cell) or fractions (cell edge 1); its element
// from the label.
struct Row {
  Row(std::string l, Point p, double occ = 1, int g = 0, std::string a = "")
      : label(std::move(l)), at(p), occupancy(occ), group(g), assembly(std::move(a)) {}
  std::string label;
  Point at;
  double occupancy;
  int group;
  std::string assembly;
};

CrystalDescription describe(double a, const std::vector<std::string>& ops,
                            const std::vector<Row>& rows) {
  CrystalDescription d;
  d.cell = {a, a, a, 90, 90, 90};
  for (const auto& op : ops)
    d.operators.push_back(CrystalSymmetryOperator::from_xyz(op));
  for (const auto& row : rows) {
    AtomSiteRecord r;
    r.row = static_cast<int>(d.sites.size());
    r.label = row.label;
    r.type_symbol = row.label.substr(0, row.label.find_first_of("0123456789'"));
    if (Element(r.type_symbol).code() == Element::Unknown)
      r.type_symbol.resize(1);
    r.fractional = row.at * (1.0 / a);
    r.occupancy = row.occupancy;
    r.disorder_group = row.group;
    r.disorder_assembly = row.assembly;
    d.sites.push_back(r);
  }
  return d;
}

THandle<CrystalMaker> build(double a, const std::vector<std::string>& ops,
                            const std::vector<Row>& rows) {
  return CrystalBuilder().build(describe(a, ops, rows));
}

const std::vector<std::string> kP1 = {"x,y,z"}, kP1bar = {"x,y,z", "-x,-y,-z"};
const char* kIbuprofen = "curated/acid__2300214-r274507.cif";
const std::string kInputs = "bulk/cod-tools/tests/inputs/";

Point polar(double r, double deg) {
  return Point(r * std::cos(deg * M_PI / 180), r * std::sin(deg * M_PI / 180), 0);
}

// Every bond a real bond length (no molecule spread over cells), no two atoms on one place, and
// each atom where its origin says: operator(site) + lattice translation.
void expect_whole_and_single(const CrystalMaker& cm, const std::vector<Point>& sites = {}) {
  for (int m = 0; m < cm.nmolecules(); ++m) {
    const Molecule& mol = *cm.molecule(m);
    for (const auto& b : mol.bonds())
      EXPECT_LT(distance(mol.atom(b->atom1())->position(), mol.atom(b->atom2())->position()), 3.2);
    for (int i = 0; i < mol.natoms(); ++i) {
      for (int j = i + 1; j < mol.natoms(); ++j)
        EXPECT_GT(distance(mol.atom(i)->position(), mol.atom(j)->position()), 0.5);
      const AtomOrigin& o = cm.atom_origins(m)[i];
      if (sites.empty())
        continue;
      const Point f = cm.symmetry_operators()[o.op].apply(sites[o.site]) + o.translation.as_point();
      EXPECT_NEAR(distance(mol.atom(i)->site()->fractional(), f), 0, 1e-9);
      EXPECT_NEAR(distance(mol.atom(i)->position(), cm.to_orthogonal(f)), 0, 1e-9);
    }
  }
}

TEST(CrystalSymmetry, MoleculesOnSpecialPositionsAreCompletedOnce) {
  // Half of 1,4-dichlorobenzene on the inversion centre of P-1, the ring closing across it; CO2
  // with its C on the centre; ethane written out whole, each inverted atom on a written one.
  const double r = 1.39;
  const struct {
    std::vector<Row> rows;
    const char* formula;
    int bonds;
  } cases[] = {
      {{{"C1", polar(r, 0)}, {"C2", polar(r, 60)}, {"C3", polar(r, 120)},
        {"Cl1", polar(r + 1.74, 0)}, {"H2", polar(r + 1.08, 60)}, {"H3", polar(r + 1.08, 120)}},
       "C6 H4 Cl2", 12},
      {{{"C1", Point()}, {"O1", Point(1.16, 0, 0)}}, "C O2", 2},
      {{{"C1", Point(0.765, 0, 0)}, {"C2", Point(-0.765, 0, 0)}, {"H1", Point(1.13, 1.03, 0)},
        {"H2", Point(1.13, -0.51, 0.89)}, {"H3", Point(1.13, -0.51, -0.89)},
        {"H4", Point(-1.13, -1.03, 0)}, {"H5", Point(-1.13, 0.51, -0.89)},
        {"H6", Point(-1.13, 0.51, 0.89)}},
       "C2 H6", 7}};
  for (const auto& c : cases) {
    auto cm = build(10, kP1bar, c.rows);
    std::vector<Point> sites;
    for (const auto& row : c.rows)
      sites.push_back(row.at * 0.1);
    EXPECT_EQ(formulas(*cm), std::vector<std::string>{c.formula});
    EXPECT_EQ(cm->molecule(0)->nbonds(), c.bonds) << c.formula;
    expect_whole_and_single(*cm, sites);
  }
  EXPECT_EQ(build(10, kP1bar, cases[1].rows)->molecule(0)->bond(0)->type(), BondType::Double);
  // Operators that do not fit the cell (P2_1/c on a cell with gamma far from 90) are said to.
  const std::vector<std::string> p21c = {"x,y,z", "-x,y+1/2,-z+1/2", "-x,-y,-z", "x,-y+1/2,z+1/2"};
  CrystalDescription misfit = describe(1, p21c, {{"C1", Point(0.1, 0.2, 0.3)}});
  misfit.cell = {6.0, 6.5, 7.0, 90, 100, 118};
  auto built = CrystalBuilder().build(misfit);
  ASSERT_FALSE(built->warnings().empty());
  EXPECT_EQ(built->warnings()[0].rfind("symmetry operators do not fit the cell", 0), 0u);
}

// Each structure builds into whole molecules, every atom once, no site in two independent
// molecules; disordered ones into the molecules of their _chemical_formula_moiety (hydrogens the
// file does not place left out).
TEST(CrystalMolecules, RealStructuresGiveTheirMolecules) {
  const std::string in = kInputs;
  const struct {
    std::string file;
    std::vector<std::string> molecules;
    bool polymeric = false;
  } cases[] = {
      {kIbuprofen, {"C13 H18 O2"}},
      {"curated/negative__2100348-benzene.cif", {"C6 H6"}}, // on a centre of Pbca
      {"curated/negative__4122001.cif", {"C42 H52 Si2"}},   // on a centre of P2_1/c
      // P2_1 with Z = 4: two cations and two hydrogen tartrates.
      {"curated/acid__2006132.cif",
       {"C23 H30 Cl F N3 O4", "C23 H30 Cl F N3 O4", "C4 H5 O6", "C4 H5 O6"}},
      // Two independent 5-fluorocytosines and five waters, each with its two H.
      {"curated/hydrate__4504659.cif",
       {"C4 H4 F N3 O", "C4 H4 F N3 O", "H2 O", "H2 O", "H2 O", "H2 O", "H2 O"}},
      // A methyl on one ring carbon (group 1) or the next (group 2), 0.59/0.41.
      {in + "2222274.cif", {"C15 H14 N2 O2"}},
      // Two CH2OH rotamers per cation, O4/O4' both bonded to C12.
      {in + "cif2cod/2238212-only-doi.cif", {"C16 H38 N2 O6", "C16 H38 N2 O6", "C6 S10 Zn"}},
      // A perchlorate (0.70) whose alternative (0.30) is written beside its inverted image.
      {in + "2006596.cif", {"C4 O2", "C55 H43 N6 O2 P2 Ru", "Cl O4"}},
      // An ethylammonium whose N, at 1/3, takes three orientations about a threefold axis.
      {in + "spacegroup-builder/cif/2016949.cif", {"C18 H18 Al3 Na3 O36", "C2 H8 N"}, true},
      // CH2Cl2 without H sites whose C, at 0.16, stands in three places about its Cl-Cl axis.
      {in + "unparsable-formulae1/2010785.cif", {"C Cl2", "C8 H22 B2 N2 S4"}},
      // Silver(I) isonicotinate chains.
      {"curated/silver__7051216.cif", {}, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    auto cm = read_crystal(testing::require_data(c.file).string(), "");
    EXPECT_EQ(cm->is_polymeric(), c.polymeric);
    expect_whole_and_single(*cm);
    std::set<int> seen_sites;
    for (int m = 0; m < cm->nmolecules(); ++m) {
      auto mol = cm->molecule(m);
      int charge = 0;
      for (int a = 0; a < mol->natoms(); ++a) {
        mol->atom(a)->set_implicit_hydrogens(0); // the sites as written
        charge += mol->atom(a)->formal_charge();
      }
      std::set<int> mine;
      for (const auto& o : cm->atom_origins(m))
        mine.insert(o.site);
      for (int s : mine)
        EXPECT_TRUE(seen_sites.insert(s).second) << "site " << s << " in two molecules";
      // The tartrate salt's ions carry their charges.
      EXPECT_TRUE(c.file.find("2006132") == std::string::npos ||
                  charge == (mol->formula() == "C4 H5 O6" ? -1 : 1));
    }
    EXPECT_TRUE(c.molecules.empty() || formulas(*cm) == c.molecules)
        << ::testing::PrintToString(formulas(*cm));
  }
  // The benzene's atoms lie where their origins say, from the sites as the file writes them.
  expect_whole_and_single(*read_crystal(testing::require_data(cases[1].file).string(), ""),
                          {Point(-0.0537, 0.1425, 0.0097), Point(-0.085, 0.246, 0.034),
                           Point(0.0840, 0.0924, 0.1373), Point(0.140, 0.156, 0.219),
                           Point(0.1343, -0.0521, 0.1235), Point(0.220, -0.080, 0.204)});
}

// Where an endless chain is cut, the atoms keep their valence: no hydrogen is taken for the bond
// the cut left out. ...Ag-N-Ag-N... gives a bridging ammine, ...Si-O-Si-O... (H2SiO)n, and
// ...Ag-O-Ag-O... an oxide between two silver atoms rather than an aqua ligand on one.
TEST(CrystalPolymers, EndlessChainsAreCutAndTheAtomsAtTheCutKeepTheirValence) {
  const struct {
    const char *metal, *ligand;
    double a;
    int h_metal, h_ligand;
  } cases[] = {{"Ag1", "N1", 4.2, 0, 3}, {"Si1", "O1", 3.2, 2, 0}, {"Ag1", "O1", 4.2, 0, 0}};
  for (const auto& c : cases) {
    auto cm = build(c.a, kP1, {{c.metal, Point()}, {c.ligand, Point(c.a / 2, 0, 0)}});
    EXPECT_TRUE(cm->is_polymeric()) << c.metal << c.ligand;
    ASSERT_EQ(cm->nmolecules(), 1);
    EXPECT_EQ(cm->molecule(0)->nbonds(), 1) << c.metal << c.ligand;
    EXPECT_EQ(cm->molecule(0)->hydrogen_count(0), c.h_metal) << c.metal << c.ligand;
    EXPECT_EQ(cm->molecule(0)->hydrogen_count(1), c.h_ligand) << c.metal << c.ligand;
  }
  // Diamond: every carbon has four carbons in the crystal, none a hydrogen.
  auto diamond =
      read_crystal(testing::require_data("bulk/CrystalNets.jl/test/cif/Diamond.cif").string(), "");
  ASSERT_TRUE(diamond->is_polymeric());
  for (int m = 0; m < diamond->nmolecules(); ++m)
    for (int a = 0; a < diamond->molecule(m)->natoms(); ++a)
      EXPECT_EQ(diamond->molecule(m)->hydrogen_count(a), 0);
}

std::vector<std::string> labels(const CrystalMaker& cm) {
  std::vector<std::string> out;
  for (int m = 0; m < cm.nmolecules(); ++m)
    for (int a = 0; a < cm.molecule(m)->natoms(); ++a)
      out.push_back(cm.molecule(m)->atom(a)->label());
  std::sort(out.begin(), out.end());
  return out;
}

TEST(CrystalDisorder, OneAlternativeOfEachDisorderIsKept) {
  const struct {
    const char* what;
    std::vector<std::string> ops;
    std::vector<Row> rows;
    std::vector<std::string> kept;
    int molecules = 1;
  } cases[] = {
      {"the first group of each assembly, groups numbered on", kP1,
       {{"C1", Point(1, 1, 1)}, {"C2", Point(2.52, 1, 1)},
        {"C3A", Point(3, 2.44, 1), 0.6, 1, "A"}, {"C3B", Point(3, 2.2, 1.55), 0.4, 2, "A"},
        {"O1A", Point(0.5, 2.35, 1), 0.7, 3, "B"}, {"O1B", Point(0.5, 0.4, 2.1), 0.3, 4, "B"}},
       {"C1", "C2", "C3A", "O1A"}},
      {"rotamer pairs without assemblies, sharing the carbon they hang on", kP1,
       {{"C1", Point(1, 1, 1)}, {"O1A", Point(2.4, 1, 1), 0.56, 1},
        {"O1B", Point(0.5, 2.3, 1), 0.44, 2}, {"C5", Point(6, 6, 6)},
        {"O5A", Point(7.4, 6, 6), 0.69, 3}, {"O5B", Point(5.5, 7.3, 6), 0.31, 4}},
       {"C1", "C5", "O1A", "O5A"}, 2},
      {"unlabelled alternatives: the higher occupancy", kP1,
       {{"C1", Point(1, 1, 1)}, {"C2A", Point(2.52, 1, 1), 0.3}, {"C2B", Point(2.45, 1.6, 1), 0.7}},
       {"C1", "C2B"}},
      {"a site written twice is one atom", kP1,
       {{"N1", Point(1, 1, 1)}, {"N1'", Point(1.01, 1, 1)}}, {"N1"}},
      {"a negative group: the inverted copy is the other orientation", kP1bar,
       {{"C1", Point(-1.0, 0.8, 0), 0.5, -1}, {"C2", Point(0.3, 0.3, 0), 0.5, -1},
        {"C3", Point(1.6, 0.9, 0), 0.5, -1}},
       {"C1", "C2", "C3"}},
      {"the same carbons ordered bond to their images", kP1bar,
       {{"C1", Point(-1.0, 0.8, 0)}, {"C2", Point(0.3, 0.3, 0)}, {"C3", Point(1.6, 0.9, 0)}},
       {"C1", "C1", "C2", "C2", "C3", "C3"}},
      {"half-occupied methanol across the centre gives way to its image", kP1bar,
       {{"C1", Point(0.35, 0.1, 0), 0.5}, {"O1", Point(-1.05, 0.1, 0), 0.5}}, {"C1", "O1"}},
      {"fully occupied, the same atoms bond to their images", kP1bar,
       {{"C1", Point(0.35, 0.1, 0)}, {"O1", Point(-1.05, 0.1, 0)}}, {"C1", "C1", "O1", "O1"}}};
  for (const auto& c : cases) {
    auto cm = build(10, c.ops, c.rows);
    EXPECT_EQ(labels(*cm), c.kept) << c.what;
    EXPECT_EQ(cm->nmolecules(), c.molecules) << c.what;
    std::string errors;
    for (const auto& e : cm->errors())
      errors += e;
    EXPECT_EQ(errors.find("coincide") != std::string::npos, c.kept.size() == 1) << c.what;
  }
}

// A proton shared by two waters, 1.20 A from one that has its two H and 1.25 A from one that has
// one, completes the second water rather than making H3O+ and OH-; half hydrogens beyond the
// valence go (formic acid with half an H on each O, a methyl with two staggered half sets, a
// water with four half H).
TEST(CrystalDisorder, HydrogensGoWhereThereIsRoomForThem) {
  auto shared = build(12, kP1, {{"O1", Point(2, 2, 2)}, {"H11", Point(1.76, 2.93, 2)},
                                {"H12", Point(1.76, 1.07, 2)}, {"O2", Point(4.45, 2, 2)},
                                {"H21", Point(4.69, 2.93, 2)}, {"H3", Point(3.2, 2, 2)}});
  EXPECT_EQ(formulas(*shared), (std::vector<std::string>{"H2 O", "H2 O"}));
  std::vector<Row> rows = {{"C1", Point(1, 1, 1)},          {"O1", Point(2.105, 1.638, 1)},
                           {"O2", Point(-0.1, 1.65, 1)},    {"H1", Point(1.0, -0.08, 1)},
                           {"H1O", Point(2.9, 1.1, 1), 0.5}, {"H2O", Point(-0.9, 1.1, 1), 0.5},
                           {"C2", Point(10, 10, 10)},       {"C3", Point(11.53, 10, 10)},
                           {"OW1", Point(5, 15, 5)}};
  for (int k = 0; k < 6; ++k)
    rows.push_back({"H3" + std::to_string(k),
                    Point(11.89, 10 + 1.02 * std::cos(k * 1.047), 10 + 1.02 * std::sin(k * 1.047)),
                    0.5});
  const double s = 0.96 / std::sqrt(3.0);
  for (const Point& corner : {Point(s, s, s), Point(s, -s, -s), Point(-s, s, -s), Point(-s, -s, s)})
    rows.push_back({"HW" + std::to_string(rows.size()), Point(5, 15, 5) + corner, 0.5});
  auto cm = build(20, kP1, rows);
  // The C2 methyl group has no H written; its C3 keeps three of its six half H.
  EXPECT_EQ(formulas(*cm), (std::vector<std::string>{"C H2 O2", "C2 H3", "H2 O"}));
  // One acid, one hydrogen: the oxygen without it is the carbonyl.
  EXPECT_GE(find_atom(*cm, "H1O").first, 0);
  EXPECT_LT(find_atom(*cm, "H2O").first, 0);
  const auto [m, c1] = find_atom(*cm, "C1");
  EXPECT_EQ(cm->molecule(m)->bond_between(c1, find_atom(*cm, "O2").second)->type(),
            BondType::Double);
}

// Two sites written with one label are told apart by their rows, and said once.
TEST(CrystalDisorder, RepeatedLabelsAreToldApartAndSaidOnce) {
  auto cm = read_crystal(
      testing::require_data(kInputs + "cif_fix_values/1100163-enums.cif").string(), "");
  EXPECT_GE(find_atom(*cm, "H20#45").first, 0);
  EXPECT_GE(find_atom(*cm, "H20#55").first, 0);
  EXPECT_LT(find_atom(*cm, "H20").first, 0);
  ASSERT_EQ(cm->notices().size(), 1u);
  EXPECT_NE(cm->notices()[0].find("H20#45, H20#55"), std::string::npos);
}

// Without its hydrogen rows ibuprofen keeps its formula, the hydrogens implied from the
// geometry, and the entry is flagged rather than guessed silently.
TEST(CrystalWithoutHydrogens, ImpliedHydrogensGiveTheRefinedFormulaAndAreSaid) {
  const std::string text = testing::read_text(testing::require_data(kIbuprofen));
  auto without = read_crystal_from_string(testing::without_hydrogen_rows(text), "x.cif");
  EXPECT_EQ(formulas(*without), std::vector<std::string>{"C13 H18 O2"});
  EXPECT_EQ(without->molecule(0)->natoms(), 15);
  ASSERT_FALSE(without->errors().empty());
  EXPECT_NE(without->errors()[0].find("no hydrogen sites"), std::string::npos);
}

// Oxide ions of structures refined without hydrogen sites stay bare where the file or the
// bonding says so. A niobate whose formula names no hydrogen keeps its oxygens bare (the
// geometry alone would make water of an oxygen on one metal); a formula that admits hydrogen,
// is absent, or misses an element of the sites gives the hydrogens back, as does a moiety
// formula naming the hydroxyls and waters a sum left out. The Si-O-Al oxygens of nepheline are
// bridging oxides with or without a formula.
TEST(CrystalWithoutHydrogens, OxideIonsStayBare) {
  const std::string niobate = "bulk/cod-tools/tests/inputs/2100428-superspacegroup.cif";
  const std::string polyoxo =
      "bulk/cod-tools/src/lib/perl5/COD/CIF/Parser/Yapp/tests/inputs/1101169.cif";
  const std::string nepheline = "bulk/Jmol-SwingJS/data/nepheline.cif";
  const char* sum = "'Ba0.38 K0.085 Na0.07 Nb2 O6 Sr0.56'";
  const struct {
    const std::string& file;
    const char* written;
    const char* formula;
    bool hydrogens;
  } cases[] = {
      {niobate, sum, sum, false},
      {niobate, sum, "'Ba0.38 K0.085 Na0.07 Nb2 O6 Sr0.56 H2'", true},
      {niobate, sum, "'Ba0.38 K0.085 Na0.07 Nb2 O6 Sr0.56 D2'", true},
      {niobate, sum, "'Ba0.38 K0.085 Na0.07 Nb2 O6'", true},
      {niobate, "_chemical_formula_sum", "_chemical_formula_none", true},
      {polyoxo, "_chemical_formula_sum", "_chemical_formula_sum", true},
      {nepheline, "_chemical_formula_sum 'Si Al Na O4'", "", false},
  };
  for (const auto& c : cases) {
    std::string text = testing::read_text(testing::require_data(c.file));
    ASSERT_NE(text.find(c.written), std::string::npos) << c.file;
    text.replace(text.find(c.written), std::string(c.written).size(), c.formula);
    auto cm = read_crystal_from_string(text, c.file);
    int oxygens = 0, hydrogens = 0;
    for (int m = 0; m < cm->nmolecules(); ++m)
      for (int a = 0; a < cm->molecule(m)->natoms(); ++a)
        if (cm->molecule(m)->atom(a)->element() == Element(Element::Oxygen)) {
          ++oxygens;
          hydrogens += cm->molecule(m)->hydrogen_count(a, true);
        }
    EXPECT_GT(oxygens, 0) << c.file;
    EXPECT_EQ(hydrogens > 0, c.hydrogens) << c.file << " " << c.formula << ": " << hydrogens;
  }
}

} // namespace
} // namespace xtalmotif
