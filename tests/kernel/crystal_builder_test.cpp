// Complete molecules from asymmetric units: special positions, symmetry that does not fit the
// cell, coordination polymers, disorder, and structures without hydrogen sites.

#include "kernel/cif_reader.h"
#include "kernel/crystal_builder.h"

#include "kernel_test_support.h"
#include "test_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

namespace xtalmotif {
namespace {

using testing::find_atom;
using testing::formulas;

// An asymmetric-unit site placed in angstrom in a cubic cell; its element from the label.
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
  d.source = "test.cif";
  d.block = "test";
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

Point polar(double r, double deg) {
  const double t = deg * std::acos(-1.0) / 180;
  return Point(r * std::cos(t), r * std::sin(t), 0);
}

// Every bond a real bond length (no molecule spread over cells) and no two atoms on one place.
void expect_whole_and_single(const CrystalMaker& cm) {
  for (int m = 0; m < cm.nmolecules(); ++m) {
    const Molecule& mol = *cm.molecule(m);
    for (const auto& b : mol.bonds())
      EXPECT_LT(distance(mol.atom(b->atom1())->position(), mol.atom(b->atom2())->position()), 3.2);
    for (int i = 0; i < mol.natoms(); ++i)
      for (int j = i + 1; j < mol.natoms(); ++j)
        EXPECT_GT(distance(mol.atom(i)->position(), mol.atom(j)->position()), 0.5)
            << mol.atom(i)->label() << " " << mol.atom(j)->label();
  }
}

int total_charge(const Molecule& m) {
  int q = 0;
  for (int a = 0; a < m.natoms(); ++a)
    q += m.atom(a)->formal_charge();
  return q;
}

// ---- special positions and symmetry ---------------------------------------------------------------

TEST(CrystalSymmetry, MoleculesOnSpecialPositionsAreCompletedOnce) {
  // Half of 1,4-dichlorobenzene on the inversion centre of P-1; CO2 with its C on the centre;
  // ethane written out whole on the centre, each inverted atom falling on a written one.
  const double r = 1.39;
  auto dcb = build(10, kP1bar, {{"C1", polar(r, 0)}, {"C2", polar(r, 60)}, {"C3", polar(r, 120)},
                                {"Cl1", polar(r + 1.74, 0)}, {"H2", polar(r + 1.08, 60)},
                                {"H3", polar(r + 1.08, 120)}});
  EXPECT_EQ(formulas(*dcb), std::vector<std::string>{"C6 H4 Cl2"});
  int aromatic = 0;
  for (const auto& b : dcb->molecule(0)->bonds())
    aromatic += b->type() == BondType::Aromatic;
  EXPECT_EQ(aromatic, 6); // the ring closes across the centre
  expect_whole_and_single(*dcb);
  auto co2 = build(10, kP1bar, {{"C1", Point()}, {"O1", Point(1.16, 0, 0)}});
  EXPECT_EQ(formulas(*co2), std::vector<std::string>{"C O2"});
  EXPECT_EQ(co2->molecule(0)->bond_between(0, 1)->type(), BondType::Double);
  auto ethane = build(10, kP1bar, {{"C1", Point(0.765, 0, 0)}, {"C2", Point(-0.765, 0, 0)},
                                   {"H1", Point(1.13, 1.03, 0)}, {"H2", Point(1.13, -0.51, 0.89)},
                                   {"H3", Point(1.13, -0.51, -0.89)}, {"H4", Point(-1.13, -1.03, 0)},
                                   {"H5", Point(-1.13, 0.51, -0.89)}, {"H6", Point(-1.13, 0.51, 0.89)}});
  EXPECT_EQ(formulas(*ethane), std::vector<std::string>{"C2 H6"});
  EXPECT_EQ(ethane->molecule(0)->nbonds(), 7);
  for (const auto& o : ethane->atom_origins(0))
    EXPECT_EQ(o.op, 0);
}

// Ethane on a -3 site of Pa-3, one C and one H in the asymmetric unit, checked against the same
// crystal written out in P1, where every atom is searched directly.
TEST(CrystalSymmetry, EthaneOnAThreefoldAxisBuildsAsItsP1Expansion) {
  const double a = 8.0, r3 = std::sqrt(3.0), r2 = std::sqrt(2.0);
  const Point axis(1 / r3, 1 / r3, 1 / r3), across(1 / r2, -1 / r2, 0), c = axis * 0.77;
  CrystalDescription sym = describe(a, {}, {{"C1", c}, {"H1", c + axis * 0.364 + across * 1.028}});
  sym.operators = testing::pa3_operators();
  CrystalDescription p1 = sym;
  p1.operators.clear();
  p1.sites.clear();
  for (const auto& site : sym.sites)
    for (const auto& op : sym.operators) {
      AtomSiteRecord r = site;
      r.fractional = op.apply(site.fractional);
      bool seen = false;
      for (const auto& placed : p1.sites) {
        Point d = placed.fractional - r.fractional;
        for (int k = 0; k < 3; ++k)
          d[k] -= std::round(d[k]);
        seen |= d.length() * a < 0.1;
      }
      if (!seen)
        p1.sites.push_back(r);
    }
  ASSERT_EQ(p1.sites.size(), 8u + 24u); // C on a -3 site, H on a general one
  auto from_sym = CrystalBuilder().build(sym), from_p1 = CrystalBuilder().build(p1);
  EXPECT_EQ(formulas(*from_sym), std::vector<std::string>{"C2 H6"});
  EXPECT_EQ(formulas(*from_p1), std::vector<std::string>(4, "C2 H6")); // Z = 4
  for (const auto& cm : {from_sym, from_p1}) {
    expect_whole_and_single(*cm);
    for (int m = 0; m < cm->nmolecules(); ++m)
      for (const auto& b : cm->molecule(m)->bonds()) {
        const auto& mol = *cm->molecule(m);
        const bool cc = mol.atom(b->atom1())->element().is_carbon() &&
                        mol.atom(b->atom2())->element().is_carbon();
        EXPECT_NEAR(distance(mol.atom(b->atom1())->position(), mol.atom(b->atom2())->position()),
                    cc ? 1.54 : 1.09, 0.01);
      }
  }
  // Each atom lies where its origin says: operator(site) + lattice translation.
  for (int m = 0; m < from_sym->nmolecules(); ++m)
    for (int i = 0; i < from_sym->molecule(m)->natoms(); ++i) {
      const AtomOrigin& o = from_sym->atom_origins(m)[i];
      const Point expected = from_sym->symmetry_operators()[o.op].apply(sym.sites[o.site].fractional) +
                             o.translation.as_point();
      EXPECT_NEAR(distance(from_sym->molecule(m)->atom(i)->site()->fractional(), expected), 0, 1e-9);
    }
}

// Symmetry that does not fit the cell (P2_1/c operators on a cell with gamma far from 90), and
// an operator list wrongly said to be a group: no image's neighbours may be carried over from
// another's. Every atom must have the bonded neighbours it has when the same images are written
// out in P1 and searched directly.
TEST(CrystalSymmetry, ImagesAreBondedWhereTheyActuallyLie) {
  using Environment = std::vector<std::array<long, 3>>;
  auto environments = [](const CrystalMaker& cm) {
    std::vector<std::pair<Point, Environment>> out;
    for (int m = 0; m < cm.nmolecules(); ++m) {
      const Molecule& mol = *cm.molecule(m);
      for (int a = 0; a < mol.natoms(); ++a) {
        Environment env;
        for (int b : mol.neighbours(a)) {
          const Point d = (mol.atom(b)->position() - mol.atom(a)->position()) * 1e4;
          env.push_back({std::lround(d[0]), std::lround(d[1]), std::lround(d[2])});
        }
        std::sort(env.begin(), env.end());
        Point f = mol.atom(a)->site()->fractional();
        for (int k = 0; k < 3; ++k)
          f[k] -= std::floor(f[k] + 1e-9);
        out.emplace_back(f, env);
      }
    }
    return out;
  };
  unsigned state = 12345; // a fixed pseudo-random sequence of dense C/O arrangements
  auto next = [&state] {
    state = state * 1103515245u + 12345u;
    return ((state >> 8) & 0xffff) / 65536.0;
  };
  int compared = 0, across_images = 0;
  for (int trial = 0; trial < 41; ++trial) {
    std::vector<Row> rows;
    std::vector<std::string> ops = {"x,y,z", "-x,y+1/2,-z+1/2", "-x,-y,-z", "x,-y+1/2,z+1/2"};
    // Trial 40: three of the four operators of 222 and a chain crossing the axes.
    const Point chain[] = {Point(0.05, 0.05, 0.25), Point(0.10, 0.20, 0.30),
                           Point(0.25, 0.25, 0.35), Point(0.20, 0.10, 0.45)};
    if (trial == 40)
      ops = {"x,y,z", "-x,-y,z", "x,-y,-z"};
    for (int i = 0; i < (trial < 40 ? 7 : 4); ++i)
      rows.push_back({(i % 3 || trial == 40 ? "C" : "O") + std::to_string(i + 1),
                      trial < 40 ? Point(next(), next(), next()) : chain[i]});
    CrystalDescription sym = describe(1, ops, rows); // fractional coordinates
    sym.cell = trial < 40 ? std::array<double, 6>{6.0, 6.5, 7.0, 90, 100, 118}
                          : std::array<double, 6>{6.0, 6.0, 6.0, 90, 90, 90};
    sym.operators_form_group = true;
    CrystalDescription p1 = sym;
    p1.operators.clear();
    p1.sites.clear();
    for (std::size_t k = 0; k < sym.operators.size(); ++k)
      for (AtomSiteRecord r : sym.sites) {
        r.label += "_" + std::to_string(k);
        r.fractional = sym.operators[k].apply(r.fractional);
        p1.sites.push_back(r);
      }
    THandle<CrystalMaker> built, expanded;
    try {
      built = CrystalBuilder().build(sym);
      expanded = CrystalBuilder().build(p1);
    } catch (const CifError&) {
      continue; // atoms that fall on one another leave nothing to compare
    }
    if (trial < 40) {
      bool warned = false;
      for (const auto& w : built->warnings())
        warned |= w.find("symmetry operators do not fit the cell") != std::string::npos;
      EXPECT_TRUE(warned);
    }
    if (built->is_polymeric() || expanded->is_polymeric())
      continue; // where an endless chain is cut depends on where it is entered
    const auto direct = environments(*expanded);
    for (int m = 0; m < built->nmolecules(); ++m)
      for (const auto& o : built->atom_origins(m))
        across_images += o.op != 0;
    for (const auto& [place, env] : environments(*built)) {
      auto same = std::find_if(direct.begin(), direct.end(),
                               [&](const auto& d) { return (d.first - place).length() < 1e-6; });
      ASSERT_NE(same, direct.end()) << trial;
      EXPECT_EQ(env, same->second) << trial;
      ++compared;
    }
  }
  EXPECT_GT(compared, 50);
  EXPECT_GT(across_images, 10);
}

// ---- real structures ----------------------------------------------------------------------------

// Each structure builds into whole molecules, every atom once; disordered ones into the
// molecules of their own _chemical_formula_moiety (hydrogens the file does not place left out).
TEST(CrystalMolecules, RealStructuresGiveTheirMolecules) {
  const std::string in = "bulk/cod-tools/tests/inputs/";
  const struct {
    std::string file;
    std::vector<std::string> molecules;
    bool polymeric = false;
  } cases[] = {
      {"curated/acid__2300214-r274507.cif", {"C13 H18 O2"}},
      {"curated/negative__2100348-benzene.cif", {"C6 H6"}}, // on a centre of Pbca
      {"curated/negative__4122001.cif", {"C42 H52 Si2"}},   // on a centre of P2_1/c
      // P2_1 with Z = 4: two cations and two hydrogen tartrates, each of its own sites.
      {"curated/acid__2006132.cif", {"C23 H30 Cl F N3 O4", "C23 H30 Cl F N3 O4", "C4 H5 O6", "C4 H5 O6"}},
      // Two independent 5-fluorocytosines and five waters, each water with its two H.
      {"curated/hydrate__4504659.cif",
       {"C4 H4 F N3 O", "C4 H4 F N3 O", "H2 O", "H2 O", "H2 O", "H2 O", "H2 O"}},
      // A methyl on one ring carbon (group 1) or the next (group 2), 0.59/0.41.
      {in + "2222274.cif", {"C15 H14 N2 O2"}},
      // Two CH2OH rotamers per cation, O4/O4' both bonded to C12.
      {in + "cif2cod/2238212-only-doi.cif", {"C16 H38 N2 O6", "C16 H38 N2 O6", "C6 S10 Zn"}},
      // Butyl chains in two positions each, in named assemblies.
      {in + "2204368.cif", {"C96 H124 O14 Sn4"}},
      // A perchlorate (0.70) whose alternative (0.30) is written beside its inverted image.
      {in + "2006596.cif", {"C4 O2", "C55 H43 N6 O2 P2 Ru", "Cl O4"}},
      // An ethylammonium whose N, at 1/3, takes three orientations about a threefold axis.
      {in + "spacegroup-builder/cif/2016949.cif", {"C18 H18 Al3 Na3 O36", "C2 H8 N"}, true},
      // CH2Cl2 without H sites whose C, at 0.16, stands in three places about its Cl-Cl axis.
      {in + "unparsable-formulae1/2010785.cif", {"C Cl2", "C8 H22 B2 N2 S4"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    auto cm = read_crystal(testing::require_data(c.file).string(), "");
    EXPECT_EQ(cm->is_polymeric(), c.polymeric);
    expect_whole_and_single(*cm);
    std::set<int> seen_sites;
    for (int m = 0; m < cm->nmolecules(); ++m) {
      auto mol = cm->molecule(m);
      for (int a = 0; a < mol->natoms(); ++a)
        mol->atom(a)->set_implicit_hydrogens(0); // the sites as written
      std::set<int> mine;
      for (const auto& o : cm->atom_origins(m))
        mine.insert(o.site);
      for (int s : mine)
        EXPECT_TRUE(seen_sites.insert(s).second) << "site " << s << " in two molecules";
      if (c.file.find("2006132") != std::string::npos) { // each ion carries its charge
        EXPECT_EQ(total_charge(*mol), mol->formula() == "C4 H5 O6" ? -1 : 1);
      }
    }
    EXPECT_EQ(formulas(*cm), c.molecules);
  }
  // The benzene's atoms lie where their origins say, from the sites as the file writes them.
  auto benzene = read_crystal(testing::require_data(cases[1].file).string(), "");
  const Point sites[] = {Point(-0.0537, 0.1425, 0.0097), Point(-0.085, 0.246, 0.034),
                         Point(0.0840, 0.0924, 0.1373), Point(0.140, 0.156, 0.219),
                         Point(0.1343, -0.0521, 0.1235), Point(0.220, -0.080, 0.204)};
  for (int i = 0; i < benzene->molecule(0)->natoms(); ++i) {
    const AtomOrigin& o = benzene->atom_origins(0)[i];
    const Point f = benzene->symmetry_operators()[o.op].apply(sites[o.site]) + o.translation.as_point();
    EXPECT_NEAR(distance(benzene->molecule(0)->atom(i)->site()->fractional(), f), 0, 1e-9);
    EXPECT_NEAR(distance(benzene->molecule(0)->atom(i)->position(), benzene->to_orthogonal(f)), 0, 1e-9);
  }
}

// ---- coordination polymers ------------------------------------------------------------------------

TEST(CrystalPolymers, EndlessChainsAreCutAndTheAtomsAtTheCutKeepTheirValence) {
  // ...Ag-N-Ag-N..., ...Si-O-Si-O... and ...Ag-O-Ag-O... along a: one bond per cell in the
  // molecule, and no hydrogen taken for the bond the cut left out: (H2SiO)n, an oxide bridging
  // two silver atoms rather than an aqua ligand, and the bridging N an ammine.
  const struct {
    const char *metal, *ligand;
    double a;
    std::vector<int> hydrogens;
  } cases[] = {{"Ag1", "N1", 4.2, {0, 3}}, {"Si1", "O1", 3.2, {2, 0}}, {"Ag1", "O1", 4.2, {0, 0}}};
  for (const auto& c : cases) {
    auto cm = build(c.a, kP1, {{c.metal, Point()}, {c.ligand, Point(c.a / 2, 0, 0)}});
    EXPECT_TRUE(cm->is_polymeric()) << c.metal << c.ligand;
    ASSERT_EQ(cm->nmolecules(), 1);
    EXPECT_EQ(cm->molecule(0)->nbonds(), 1) << c.metal << c.ligand;
    for (int a = 0; a < 2; ++a)
      EXPECT_EQ(cm->molecule(0)->hydrogen_count(a), c.hydrogens[a]) << c.metal << c.ligand;
  }
  // Diamond: every carbon has four carbons in the crystal, none a hydrogen.
  auto diamond = read_crystal(
      testing::require_data("bulk/CrystalNets.jl/test/cif/Diamond.cif").string(), "");
  ASSERT_TRUE(diamond->is_polymeric());
  for (int m = 0; m < diamond->nmolecules(); ++m)
    for (int a = 0; a < diamond->molecule(m)->natoms(); ++a)
      EXPECT_EQ(diamond->molecule(m)->hydrogen_count(a), 0);
}

TEST(CrystalPolymers, SilverCarboxylateChainFallsApartIntoIonsAndLigands) {
  auto cm = read_crystal(testing::require_data("curated/silver__7051216.cif").string(), "");
  EXPECT_TRUE(cm->is_polymeric());
  expect_whole_and_single(*cm);
  // Removing every bond to silver leaves silver ions and isonicotinate (or acid) ligands.
  for (bool again = true; again;) {
    again = false;
    for (int m = 0; m < cm->nmolecules() && !again; ++m)
      for (const auto& b : cm->molecule(m)->bonds())
        if (cm->molecule(m)->atom(b->atom1())->element().is_metal() ||
            cm->molecule(m)->atom(b->atom2())->element().is_metal()) {
          ASSERT_TRUE(cm->remove(b));
          again = true;
          break;
        }
  }
  std::map<std::string, int> pieces;
  int charge = 0;
  for (int m = 0; m < cm->nmolecules(); ++m) {
    ++pieces[cm->molecule(m)->formula()];
    if (cm->molecule(m)->formula() != "Ag")
      charge += total_charge(*cm->molecule(m));
  }
  // C12 H8.5 Ag1.5 N2 O4: three silver(I) per four ligands, three of them anions.
  EXPECT_EQ(pieces, (std::map<std::string, int>{{"Ag", 3}, {"C6 H4 N O2", 3}, {"C6 H5 N O2", 1}}));
  EXPECT_EQ(charge, -3);
}

// ---- disorder -----------------------------------------------------------------------------------

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
      {"the first group of each assembly, groups numbered on",
       kP1,
       {{"C1", Point(1, 1, 1)}, {"C2", Point(2.52, 1, 1)},
        {"C3A", Point(3, 2.44, 1), 0.6, 1, "A"}, {"C3B", Point(3, 2.2, 1.55), 0.4, 2, "A"},
        {"O1A", Point(0.5, 2.35, 1), 0.7, 3, "B"}, {"O1B", Point(0.5, 0.4, 2.1), 0.3, 4, "B"}},
       {"C1", "C2", "C3A", "O1A"}},
      {"rotamer pairs without assemblies, sharing the carbon they hang on",
       kP1,
       {{"C1", Point(1, 1, 1)}, {"O1A", Point(2.4, 1, 1), 0.56, 1},
        {"O1B", Point(0.5, 2.3, 1), 0.44, 2}, {"C5", Point(6, 6, 6)},
        {"O5A", Point(7.4, 6, 6), 0.69, 3}, {"O5B", Point(5.5, 7.3, 6), 0.31, 4}},
       {"C1", "C5", "O1A", "O5A"}, 2},
      {"unlabelled alternatives: the higher occupancy",
       kP1,
       {{"C1", Point(1, 1, 1)}, {"C2A", Point(2.52, 1, 1), 0.3}, {"C2B", Point(2.45, 1.6, 1), 0.7}},
       {"C1", "C2B"}},
      {"a negative group: the inverted copy is the other orientation",
       kP1bar,
       {{"C1", Point(-1.0, 0.8, 0), 0.5, -1}, {"C2", Point(0.3, 0.3, 0), 0.5, -1},
        {"C3", Point(1.6, 0.9, 0), 0.5, -1}},
       {"C1", "C2", "C3"}},
      {"half-occupied methanol across the centre gives way to its image",
       kP1bar,
       {{"C1", Point(0.35, 0.1, 0), 0.5}, {"O1", Point(-1.05, 0.1, 0), 0.5}},
       {"C1", "O1"}},
      {"fully occupied, the same atoms bond to their images",
       kP1bar,
       {{"C1", Point(0.35, 0.1, 0)}, {"O1", Point(-1.05, 0.1, 0)}},
       {"C1", "C1", "O1", "O1"}},
      {"the same three carbons ordered bond to their images",
       kP1bar,
       {{"C1", Point(-1.0, 0.8, 0)}, {"C2", Point(0.3, 0.3, 0)}, {"C3", Point(1.6, 0.9, 0)}},
       {"C1", "C1", "C2", "C2", "C3", "C3"}},
  };
  for (const auto& c : cases) {
    auto cm = build(10, c.ops, c.rows);
    EXPECT_EQ(labels(*cm), c.kept) << c.what;
    EXPECT_EQ(cm->nmolecules(), c.molecules) << c.what;
  }
  // A site written twice is one atom and an error.
  auto twice = build(10, kP1, {{"N1", Point(1, 1, 1)}, {"N1'", Point(1.01, 1, 1)}});
  EXPECT_EQ(labels(*twice), std::vector<std::string>{"N1"});
  ASSERT_FALSE(twice->errors().empty());
  EXPECT_NE(twice->errors()[0].find("coincide"), std::string::npos);
}

// Hydrogens: a proton shared by two waters, 1.20 A from one that has its two H and 1.25 A from
// one that has one, completes the second water rather than making H3O+ and OH-; half hydrogens
// beyond the valence go (formic acid with half an H on each O, a methyl with two staggered half
// sets, a water with four half H).
TEST(CrystalDisorder, HydrogensGoWhereThereIsRoomForThem) {
  auto shared = build(12, kP1, {{"O1", Point(2, 2, 2)}, {"H11", Point(1.76, 2.93, 2)},
                                {"H12", Point(1.76, 1.07, 2)}, {"O2", Point(4.45, 2, 2)},
                                {"H21", Point(4.69, 2.93, 2)}, {"H3", Point(3.2, 2, 2)}});
  EXPECT_EQ(formulas(*shared), (std::vector<std::string>{"H2 O", "H2 O"}));

  std::vector<Row> rows = {{"C1", Point(1, 1, 1)},        {"O1", Point(2.105, 1.638, 1)},
                           {"O2", Point(-0.1, 1.65, 1)},  {"H1", Point(1.0, -0.08, 1)},
                           {"H1O", Point(2.9, 1.1, 1), 0.5}, {"H2O", Point(-0.9, 1.1, 1), 0.5},
                           {"C2", Point(10, 10, 10)},     {"C3", Point(11.53, 10, 10)},
                           {"OW1", Point(5, 15, 5)}};
  for (int k = 0; k < 6; ++k)
    rows.push_back({"H3" + std::string(1, char('A' + k)),
                    Point(11.89, 10, 10) + Point(0, 1.02 * std::cos(k * 1.0472), 1.02 * std::sin(k * 1.0472)), 0.5});
  const double s = 0.96 / std::sqrt(3.0);
  for (const Point& corner : {Point(s, s, s), Point(s, -s, -s), Point(-s, s, -s), Point(-s, -s, s)})
    rows.push_back({"HW" + std::to_string(rows.size()), Point(5, 15, 5) + corner, 0.5});
  auto cm = build(20, kP1, rows);
  EXPECT_EQ(formulas(*cm), (std::vector<std::string>{"C H2 O2", "C2 H3", "H2 O"}));
  // One acid, one hydrogen: the oxygen without it is the carbonyl.
  EXPECT_TRUE(find_atom(*cm, "H1O").found());
  const auto c1 = find_atom(*cm, "C1"), o2 = find_atom(*cm, "O2");
  EXPECT_EQ(cm->molecule(c1.molecule)->bond_between(c1.atom, o2.atom)->type(), BondType::Double);
}

// Two sites written with one label are told apart by their rows, and said once.
TEST(CrystalDisorder, RepeatedLabelsAreToldApartAndSaidOnce) {
  auto cm = read_crystal(
      testing::require_data("bulk/cod-tools/tests/inputs/cif_fix_values/1100163-enums.cif").string(),
      "");
  EXPECT_TRUE(find_atom(*cm, "H20#45").found());
  EXPECT_TRUE(find_atom(*cm, "H20#55").found());
  EXPECT_FALSE(find_atom(*cm, "H20").found());
  ASSERT_EQ(cm->notices().size(), 1u);
  EXPECT_NE(cm->notices()[0].find("H20#45, H20#55"), std::string::npos);
}

// ---- structures without hydrogen sites ------------------------------------------------------------

TEST(CrystalWithoutHydrogens, HydrogenCountsAndBondTypesFromGeometryMatchTheRefinedOnes) {
  const std::string text =
      testing::read_text(testing::require_data("curated/acid__2300214-r274507.cif"));
  std::istringstream in(text);
  std::string stripped;
  for (std::string line; std::getline(in, line);)
    if (line.rfind("H H", 0) != 0) // the hydrogen rows of this file
      stripped += line + "\n";
  auto with_h = read_crystal_from_string(text, "2300214.cif");
  auto without = read_crystal_from_string(stripped, "2300214-noH.cif");
  EXPECT_FALSE(without->has_hydrogen_sites());
  ASSERT_EQ(formulas(*without), std::vector<std::string>{"C13 H18 O2"});
  const Molecule &full = *with_h->molecule(0), &bare = *without->molecule(0);
  EXPECT_EQ(bare.natoms(), 15);
  for (int a = 0; a < bare.natoms(); ++a) {
    const int ref = find_atom(*with_h, bare.atom(a)->label()).atom;
    EXPECT_EQ(bare.atom(a)->implicit_hydrogens(), full.hydrogen_count(ref, false))
        << bare.atom(a)->label();
    for (int o : bare.neighbours(a))
      EXPECT_EQ(bare.bond_between(a, o)->type(),
                full.bond_between(ref, find_atom(*with_h, bare.atom(o)->label()).atom)->type());
  }
  // The entry is flagged rather than guessed silently.
  ASSERT_FALSE(without->errors().empty());
  EXPECT_NE(without->errors()[0].find("no hydrogen sites"), std::string::npos);
}

} // namespace
} // namespace xtalmotif
