// Complete molecules from asymmetric units: special positions, independent molecules,
// coordination polymers, disorder, and structures without hydrogen sites.

#include "crystal/cif_reader.h"
#include "crystal/crystal_builder.h"

#include "cif_test_support.h"
#include "test_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <sstream>

namespace xtalmotif {
namespace {

using testing::cell_text;
using testing::cif_block;
using testing::count_type;
using testing::find_atom;
using testing::label_type_xyz;

const Element kC(Element::Carbon), kH(Element::Hydrogen), kO(Element::Oxygen),
    kN(Element::Nitrogen);

THandle<CrystalMaker> curated(const char* file) {
  return read_crystal(testing::require_data(std::string("curated/") + file).string(), "");
}

// Every bond of every molecule is a real bond length: the molecule is whole, not spread over
// several cells.
void expect_whole_molecules(const CrystalMaker& cm) {
  for (int m = 0; m < cm.nmolecules(); ++m) {
    auto mol = cm.molecule(m);
    for (const auto& b : mol->bonds()) {
      double d = distance(mol->atom(b->atom1())->position(), mol->atom(b->atom2())->position());
      EXPECT_LT(d, 3.2) << "molecule " << m;
    }
  }
}

// No two atoms of the whole crystal content listed share a place.
void expect_every_atom_once(const Molecule& m) {
  for (int i = 0; i < m.natoms(); ++i)
    for (int j = i + 1; j < m.natoms(); ++j)
      EXPECT_GT(distance(m.atom(i)->position(), m.atom(j)->position()), 0.5)
          << m.atom(i)->label() << " " << m.atom(j)->label();
}

// Fractional coordinates of every atom agree with operator(site) + translation.
void expect_origins_match(const CrystalMaker& cm, const std::vector<Point>& site_fractions) {
  for (int m = 0; m < cm.nmolecules(); ++m) {
    auto mol = cm.molecule(m);
    const auto& org = cm.atom_origins(m);
    ASSERT_EQ(static_cast<int>(org.size()), mol->natoms());
    for (int a = 0; a < mol->natoms(); ++a) {
      const auto& op = cm.symmetry_operators().at(org[a].op);
      Point expected = op.apply(site_fractions.at(org[a].site)) + org[a].translation.as_point();
      Point got = mol->atom(a)->site()->fractional();
      for (int k = 0; k < 3; ++k)
        EXPECT_NEAR(got[k], expected[k], 1e-9);
      Point orth = cm.to_orthogonal(got);
      for (int k = 0; k < 3; ++k)
        EXPECT_NEAR(mol->atom(a)->position()[k], orth[k], 1e-9);
    }
  }
}

std::string rows_from_angstrom(double cell, const std::vector<std::pair<std::string, Point>>& at,
                               const std::string& suffix = "") {
  std::ostringstream os;
  for (const auto& a : at)
    os << a.first << " " << a.first.substr(0, a.first.find_first_of("0123456789")) << " "
       << a.second[0] / cell << " " << a.second[1] / cell << " " << a.second[2] / cell << suffix
       << "\n";
  return os.str();
}

const char* kP1bar = "loop_\n_symmetry_equiv_pos_as_xyz\nx,y,z\n-x,-y,-z\n";

// ---- special positions ------------------------------------------------------------------------

TEST(CrystalSpecialPositions, HalfMoleculeOnAnInversionCentreIsCompleted) {
  // 1,4-Dichlorobenzene centred on the origin of a P-1 cell; the file holds half of it.
  const double a = 10.0, r = 1.39;
  auto ring = [&](double deg, double rad) {
    double t = deg * 3.14159265358979 / 180;
    return Point(rad * std::cos(t), rad * std::sin(t), 0);
  };
  std::vector<std::pair<std::string, Point>> half = {
      {"C1", ring(0, r)},       {"C2", ring(60, r)},      {"C3", ring(120, r)},
      {"Cl1", ring(0, r + 1.74)}, {"H2", ring(60, r + 1.08)}, {"H3", ring(120, r + 1.08)}};
  auto cm = read_crystal_from_string(
      cif_block("dcb", cell_text(a, a, a), kP1bar, label_type_xyz(), rows_from_angstrom(a, half)),
      "dcb.cif");
  ASSERT_EQ(cm->nmolecules(), 1);
  auto mol = cm->molecule(0);
  EXPECT_EQ(mol->formula(), "C6 H4 Cl2");
  ASSERT_EQ(mol->natoms(), 12);
  expect_every_atom_once(*mol);
  // Each asymmetric-unit site twice: itself and its inversion image, labels kept.
  std::map<std::string, int> count;
  for (int i = 0; i < mol->natoms(); ++i)
    ++count[mol->atom(i)->label()];
  for (const auto& h : half)
    EXPECT_EQ(count[h.first], 2) << h.first;
  // The ring closes across the centre: six aromatic C-C bonds, two C-Cl, four C-H.
  int aromatic = 0;
  for (const auto& b : mol->bonds())
    aromatic += b->type() == BondType::Aromatic;
  EXPECT_EQ(aromatic, 6);
  EXPECT_EQ(mol->nbonds(), 12);
  Point centre;
  for (int i = 0; i < mol->natoms(); ++i)
    centre += mol->atom(i)->position();
  centre *= 1.0 / mol->natoms();
  EXPECT_NEAR(centre.length(), 0.0, 1e-6);
}

TEST(CrystalSpecialPositions, AtomOnTheCentreStaysSingle) {
  // Carbon dioxide with its carbon on the inversion centre: O=C=O, three atoms.
  const double a = 10.0;
  auto cm = read_crystal_from_string(
      cif_block("co2", cell_text(a, a, a), kP1bar, label_type_xyz(),
                "C1 C 0 0 0\nO1 O 0.116 0 0\n"),
      "co2.cif");
  ASSERT_EQ(cm->nmolecules(), 1);
  auto mol = cm->molecule(0);
  EXPECT_EQ(mol->formula(), "C O2");
  ASSERT_EQ(mol->natoms(), 3);
  auto c = find_atom(*cm, "C1");
  auto types = testing::bond_types_to(*mol, c.atom, kO);
  EXPECT_EQ(count_type(types, BondType::Double), 2);
}

TEST(CrystalSpecialPositions, BenzeneOnAnInversionCentreInPbca) {
  auto cm = curated("negative__2100348-benzene.cif");
  EXPECT_EQ(cm->symmetry_operators().size(), 8u);
  ASSERT_EQ(cm->nmolecules(), 1);
  auto mol = cm->molecule(0);
  EXPECT_EQ(mol->formula(), "C6 H6");
  ASSERT_EQ(mol->natoms(), 12);
  expect_every_atom_once(*mol);
  std::set<int> sites;
  for (const auto& o : cm->atom_origins(0))
    sites.insert(o.site);
  EXPECT_EQ(sites.size(), 6u); // half a benzene in the asymmetric unit
  for (int i = 0; i < mol->natoms(); ++i)
    if (mol->atom(i)->element().is_carbon()) {
      EXPECT_EQ(count_type(testing::bond_types_to(*mol, i, kC), BondType::Aromatic), 2);
      EXPECT_EQ(mol->hydrogen_count(i), 1);
    }
  EXPECT_TRUE(cm->errors().empty());
}

TEST(CrystalSpecialPositions, CentrosymmetricSilaneInP21c) {
  // Z = 2 in P2_1/c: the molecule lies on an inversion centre.
  auto cm = curated("negative__4122001.cif");
  ASSERT_EQ(cm->nmolecules(), 1);
  auto mol = cm->molecule(0);
  EXPECT_EQ(mol->formula(), "C42 H52 Si2");
  expect_every_atom_once(*mol);
  expect_whole_molecules(*cm);
}

// Ethane on a -3 site of Pa-3 (one C and one H in the asymmetric unit; the molecule is completed
// by the threefold axis and the inversion centre). The neighbours of every image but the
// asymmetric unit's own are symmetry images of the searched ones, so the whole build is checked
// against the same crystal written out in P1, where every atom is searched directly.
TEST(CrystalSpecialPositions, EthaneOnAThreefoldAxisBuildsAsItsP1Expansion) {
  const double a = 8.0;
  const std::vector<std::string> xyz = {
      "x,y,z",      "-x+1/2,-y,z+1/2", "-x,y+1/2,-z+1/2", "x+1/2,-y+1/2,-z",
      "z,x,y",      "z+1/2,-x+1/2,-y", "-z+1/2,-x,y+1/2", "-z,x+1/2,-y+1/2",
      "y,z,x",      "-y,z+1/2,-x+1/2", "y+1/2,-z+1/2,-x", "-y+1/2,-z,x+1/2",
      "-x,-y,-z",   "x-1/2,y,-z-1/2",  "x,-y-1/2,z-1/2",  "-x-1/2,y-1/2,z",
      "-z,-x,-y",   "-z-1/2,x-1/2,y",  "z-1/2,x,-y-1/2",  "z,-x-1/2,y-1/2",
      "-y,-z,-x",   "y,-z-1/2,x-1/2",  "-y-1/2,z-1/2,x",  "y-1/2,z,-x-1/2"};
  // C on the [111] axis 0.77 A from the centre; H 1.09 A from it at 109.5 degrees to the C-C.
  const double r3 = std::sqrt(3.0), r2 = std::sqrt(2.0);
  const Point axis(1 / r3, 1 / r3, 1 / r3), across(1 / r2, -1 / r2, 0);
  const Point c_orth = axis * 0.77;
  const Point h_orth = c_orth + axis * (1.09 * 0.334) + across * (1.09 * 0.943);

  CrystalDescription sym;
  sym.source = "ethane.cif";
  sym.block = "pa3";
  sym.cell = {a, a, a, 90, 90, 90};
  for (const auto& s : xyz)
    sym.operators.push_back(CrystalSymmetryOperator::from_xyz(s));
  for (const auto& [label, orth] : {std::make_pair("C1", c_orth), std::make_pair("H1", h_orth)}) {
    AtomSiteRecord r;
    r.label = label;
    r.type_symbol = std::string(label, 1);
    r.fractional = orth * (1.0 / a);
    sym.sites.push_back(r);
  }

  // The same content in P1: every distinct image in the cell.
  CrystalDescription p1 = sym;
  p1.block = "p1";
  p1.operators.clear();
  p1.sites.clear();
  for (const auto& site : sym.sites)
    for (const auto& op : sym.operators) {
      Point f = op.apply(site.fractional);
      for (int k = 0; k < 3; ++k)
        f[k] -= std::floor(f[k]);
      bool seen = false;
      for (const auto& placed : p1.sites) {
        Point d = placed.fractional - f;
        for (int k = 0; k < 3; ++k)
          d[k] -= std::round(d[k]);
        seen |= placed.label == site.label && d.length() * a < 0.1;
      }
      if (!seen) {
        AtomSiteRecord r = site;
        r.fractional = f;
        p1.sites.push_back(r);
      }
    }
  ASSERT_EQ(p1.sites.size(), 8u + 24u); // C on a -3 site (8 images), H on a general one

  auto expect_ethane = [](const Molecule& m) {
    EXPECT_EQ(m.formula(), "C2 H6");
    EXPECT_EQ(m.nbonds(), 7);
    for (const auto& b : m.bonds()) {
      const double d = distance(m.atom(b->atom1())->position(), m.atom(b->atom2())->position());
      const bool cc = m.atom(b->atom1())->element().is_carbon() &&
                      m.atom(b->atom2())->element().is_carbon();
      EXPECT_NEAR(d, cc ? 1.54 : 1.09, 0.01);
    }
    expect_every_atom_once(m);
  };
  auto from_sym = CrystalBuilder().build(sym);
  auto from_p1 = CrystalBuilder().build(p1);
  ASSERT_EQ(from_sym->nmolecules(), 1);
  expect_ethane(*from_sym->molecule(0));
  expect_origins_match(*from_sym, {sym.sites[0].fractional, sym.sites[1].fractional});
  ASSERT_EQ(from_p1->nmolecules(), 4); // Z = 4
  for (int m = 0; m < 4; ++m)
    expect_ethane(*from_p1->molecule(m));
  EXPECT_FALSE(from_sym->is_polymeric());
  EXPECT_FALSE(from_p1->is_polymeric());
}

// Symmetry that does not fit the cell (a space group read from a symbol that belongs to another
// cell): the operators change distances, so no image's neighbours can be carried over from
// another's. Every atom must have the bonded neighbours it has when the same images are written
// out in P1 and searched directly, and the mismatch is reported.
// A description may say its operators form a group when they do not (three of the four
// operators of 222): the build must not trust the claim into a product that does not exist.
TEST(CrystalSymmetryMisfit, AListWronglySaidToBeAGroupBuildsAsWithoutTheClaim) {
  CrystalDescription d;
  d.source = "claim.cif";
  d.block = "claim";
  d.cell = {6.0, 6.0, 6.0, 90, 90, 90};
  for (const char* op : {"x,y,z", "-x,-y,z", "x,-y,-z"})
    d.operators.push_back(CrystalSymmetryOperator::from_xyz(op));
  // A chain that crosses the twofold axes, so that images of every operator are bonded.
  const std::vector<Point> at = {Point(0.05, 0.05, 0.25), Point(0.10, 0.20, 0.30),
                                 Point(0.25, 0.25, 0.35), Point(0.20, 0.10, 0.45)};
  for (std::size_t i = 0; i < at.size(); ++i) {
    AtomSiteRecord r;
    r.label = "C" + std::to_string(i + 1);
    r.type_symbol = "C";
    r.fractional = at[i];
    d.sites.push_back(r);
  }
  CrystalDescription claimed = d;
  claimed.operators_form_group = true;
  auto plain = CrystalBuilder().build(d);
  auto trusting = CrystalBuilder().build(claimed);
  ASSERT_EQ(trusting->nmolecules(), plain->nmolecules());
  int atoms = 0;
  for (int m = 0; m < plain->nmolecules(); ++m) {
    EXPECT_EQ(trusting->molecule(m)->natoms(), plain->molecule(m)->natoms());
    EXPECT_EQ(trusting->molecule(m)->nbonds(), plain->molecule(m)->nbonds());
    atoms += plain->molecule(m)->natoms();
  }
  EXPECT_GT(atoms, static_cast<int>(at.size())); // images of other operators were reached
}

TEST(CrystalSymmetryMisfit, ImagesAreBondedWhereTheyActuallyLie) {
  // P2_1/c operators on a cell with gamma far from 90 degrees.
  const std::vector<std::string> ops = {"x,y,z", "-x,y+1/2,-z+1/2", "-x,-y,-z", "x,-y+1/2,z+1/2"};
  // Each atom's bonded neighbours as displacements (in 1e-4 A), with where it lies in the cell.
  using Environment = std::vector<std::array<long, 3>>;
  auto environments = [](const CrystalMaker& cm) {
    std::vector<std::pair<Point, Environment>> out;
    for (int m = 0; m < cm.nmolecules(); ++m) {
      auto mol = cm.molecule(m);
      for (int a = 0; a < mol->natoms(); ++a) {
        Environment env;
        for (int b : mol->neighbours(a)) {
          Point d = mol->atom(b)->position() - mol->atom(a)->position();
          env.push_back({std::lround(d[0] * 1e4), std::lround(d[1] * 1e4), std::lround(d[2] * 1e4)});
        }
        std::sort(env.begin(), env.end());
        Point f = mol->atom(a)->site()->fractional();
        for (int k = 0; k < 3; ++k)
          f[k] -= std::floor(f[k] + 1e-9);
        out.emplace_back(f, env);
      }
    }
    return out;
  };
  // Arrangements of a few carbons and oxygens from a fixed pseudo-random sequence, dense enough
  // that molecules run across images of every operator.
  unsigned state = 12345;
  auto next = [&state] {
    state = state * 1103515245u + 12345u;
    return ((state >> 8) & 0xffff) / 65536.0;
  };
  int compared = 0, across_images = 0;
  for (int trial = 0; trial < 40; ++trial) {
    CrystalDescription sym;
    sym.source = "misfit.cif";
    sym.block = "trial" + std::to_string(trial);
    sym.cell = {6.0, 6.5, 7.0, 90, 100, 118};
    for (const auto& op : ops)
      sym.operators.push_back(CrystalSymmetryOperator::from_xyz(op));
    sym.operators_form_group = true;
    for (int i = 0; i < 7; ++i) {
      AtomSiteRecord r;
      r.label = (i % 3 ? "C" : "O") + std::to_string(i + 1);
      r.type_symbol = i % 3 ? "C" : "O";
      r.fractional = Point(next(), next(), next());
      sym.sites.push_back(r);
    }
    CrystalDescription p1 = sym;
    p1.operators.clear();
    p1.sites.clear();
    for (std::size_t k = 0; k < sym.operators.size(); ++k)
      for (const auto& site : sym.sites) {
        AtomSiteRecord r = site;
        r.label += "_" + std::to_string(k);
        r.fractional = sym.operators[k].apply(site.fractional);
        p1.sites.push_back(r);
      }
    THandle<CrystalMaker> built, expanded;
    try {
      built = CrystalBuilder().build(sym);
      expanded = CrystalBuilder().build(p1);
    } catch (const CifError&) {
      continue; // atoms that fall on one another leave nothing to compare
    }
    bool warned = false;
    for (const auto& w : built->warnings())
      warned |= w.find("symmetry operators do not fit the cell") != std::string::npos;
    EXPECT_TRUE(warned);
    if (built->is_polymeric() || expanded->is_polymeric())
      continue; // where an endless chain is cut depends on where it is entered
    const auto direct = environments(*expanded);
    for (int m = 0; m < built->nmolecules(); ++m)
      for (const auto& o : built->atom_origins(m))
        across_images += o.op != 0;
    for (const auto& [place, env] : environments(*built)) {
      const Environment* same_place = nullptr;
      for (const auto& [f, e] : direct)
        if ((f - place).length() < 1e-6)
          same_place = &e;
      ASSERT_NE(same_place, nullptr) << sym.block;
      EXPECT_EQ(env, *same_place) << sym.block;
      ++compared;
    }
  }
  EXPECT_GT(compared, 50);
  EXPECT_GT(across_images, 10);
}

// ---- independent molecules, hydrates, ibuprofen ------------------------------------------------

TEST(CrystalMolecules, IbuprofenIsOneWholeMolecule) {
  auto cm = curated("acid__2300214-r274507.cif");
  ASSERT_EQ(cm->nmolecules(), 1);
  auto mol = cm->molecule(0);
  EXPECT_EQ(mol->formula(), "C13 H18 O2");
  EXPECT_EQ(mol->natoms(), 33);
  EXPECT_EQ(mol->nbonds(), 33); // 32 for a tree plus one ring closure
  expect_whole_molecules(*cm);
  EXPECT_TRUE(cm->errors().empty());
  EXPECT_FALSE(cm->has_disorder());
  // The first atom keeps the coordinates written in the file.
  auto c1 = mol->atom(0)->site()->fractional();
  EXPECT_NEAR(c1[0], 0.7001985, 1e-9);
  EXPECT_NEAR(c1[2], 1.075148, 1e-9);
}

TEST(CrystalMolecules, TwoIndependentIonPairs) {
  // P2_1 with Z = 4: two cations and two anions in the asymmetric unit.
  auto cm = curated("acid__2006132.cif");
  ASSERT_EQ(cm->nmolecules(), 4);
  std::multiset<std::string> formulas;
  for (int m = 0; m < 4; ++m)
    formulas.insert(cm->molecule(m)->formula());
  EXPECT_EQ(formulas.count("C23 H30 Cl F N3 O4"), 2u);
  EXPECT_EQ(formulas.count("C4 H5 O6"), 2u);
  // Independent molecules are made of different asymmetric-unit sites.
  std::set<int> seen;
  for (int m = 0; m < 4; ++m) {
    std::set<int> mine;
    for (const auto& o : cm->atom_origins(m))
      mine.insert(o.site);
    for (int s : mine)
      EXPECT_TRUE(seen.insert(s).second) << "site " << s << " in two molecules";
  }
  // Each ion carries its charge: +1 on the cation, -1 on the hydrogen tartrate.
  for (int m = 0; m < 4; ++m) {
    auto mol = cm->molecule(m);
    int q = 0;
    for (int a = 0; a < mol->natoms(); ++a)
      q += mol->atom(a)->formal_charge();
    EXPECT_EQ(q, mol->formula() == "C4 H5 O6" ? -1 : 1) << mol->formula();
  }
}

TEST(CrystalMolecules, HydrateWatersCarryTwoHydrogens) {
  auto cm = curated("hydrate__4504659.cif");
  int waters = 0, cytosines = 0;
  for (int m = 0; m < cm->nmolecules(); ++m) {
    auto mol = cm->molecule(m);
    if (mol->formula() == "H2 O") {
      ++waters;
      for (int a = 0; a < mol->natoms(); ++a)
        if (mol->atom(a)->element() == kO) {
          EXPECT_EQ(mol->hydrogen_count(a, false), 2);
          EXPECT_EQ(mol->degree(a), 2);
        }
    } else if (mol->formula() == "C4 H4 F N3 O") {
      ++cytosines;
    }
  }
  // Hemipentahydrate with two independent 5-fluorocytosines: five waters.
  EXPECT_EQ(cytosines, 2);
  EXPECT_EQ(waters, 5);
}

TEST(CrystalMolecules, OriginsGiveTheCoordinates) {
  auto path = testing::require_data("curated/negative__2100348-benzene.cif");
  auto cm = read_crystal(path.string(), "");
  // The benzene sites as written in the file.
  std::vector<Point> sites = {Point(-0.0537, 0.1425, 0.0097), Point(-0.085, 0.246, 0.034),
                              Point(0.0840, 0.0924, 0.1373), Point(0.140, 0.156, 0.219),
                              Point(0.1343, -0.0521, 0.1235), Point(0.220, -0.080, 0.204)};
  std::string text = testing::read_text(path);
  ASSERT_NE(text.find("C1 -0.0537(8) 0.1425(9) 0.0097(12)"), std::string::npos);
  expect_origins_match(*cm, sites);
}

// ---- coordination polymers ------------------------------------------------------------------------

TEST(CrystalPolymers, EndlessChainIsCutAtTheLatticeRepeat) {
  // ...Ag-N-Ag-N... along a: one Ag and one N per cell, each bond 2.1 A.
  auto cm = read_crystal_from_string(
      cif_block("chain", cell_text(4.2, 10, 10), "", label_type_xyz(),
                "Ag1 Ag 0 0 0\nN1 N 0.5 0 0\n"),
      "chain.cif");
  EXPECT_TRUE(cm->is_polymeric());
  ASSERT_EQ(cm->nmolecules(), 1);
  EXPECT_EQ(cm->molecule(0)->natoms(), 2);
  EXPECT_EQ(cm->molecule(0)->nbonds(), 1);
}

// Without hydrogen sites, the atoms where an endless structure is cut must not take hydrogens
// for the bonds they lost: the bonds are still there in the crystal.
TEST(CrystalPolymers, AtomsAtTheCutKeepTheirValence) {
  // ...Si-O-Si-O... along a, Si-O 1.6 A: a polysiloxane (H2SiO)n. The O is bonded to the Si of
  // its cell and to the next cell's Si, which the cut leaves out of the molecule.
  auto siloxane = read_crystal_from_string(
      cif_block("siloxane", cell_text(3.2, 10, 10), "", label_type_xyz(),
                "Si1 Si 0 0 0\nO1 O 0.5 0 0\n"),
      "siloxane.cif");
  ASSERT_TRUE(siloxane->is_polymeric());
  auto chain = siloxane->molecule(0);
  ASSERT_EQ(chain->natoms(), 2);
  for (int a = 0; a < chain->natoms(); ++a) {
    const bool oxygen = chain->atom(a)->element() == Element(Element::Oxygen);
    EXPECT_EQ(chain->hydrogen_count(a), oxygen ? 0 : 2) << chain->atom(a)->label();
  }

  // ...Ag-O-Ag-O...: an oxide bridging two silver atoms, not an aqua ligand on one.
  auto oxide = read_crystal_from_string(
      cif_block("oxide", cell_text(4.2, 10, 10), "", label_type_xyz(),
                "Ag1 Ag 0 0 0\nO1 O 0.5 0 0\n"),
      "oxide.cif");
  ASSERT_TRUE(oxide->is_polymeric());
  auto link = oxide->molecule(0);
  for (int a = 0; a < link->natoms(); ++a)
    EXPECT_EQ(link->hydrogen_count(a), 0) << link->atom(a)->label();

  // Diamond: every carbon has four carbon neighbours in the crystal, none a hydrogen.
  auto diamond = read_crystal(
      testing::require_data("bulk/CrystalNets.jl/test/cif/Diamond.cif").string(), "");
  ASSERT_TRUE(diamond->is_polymeric());
  for (int m = 0; m < diamond->nmolecules(); ++m) {
    auto mol = diamond->molecule(m);
    for (int a = 0; a < mol->natoms(); ++a)
      EXPECT_EQ(mol->hydrogen_count(a), 0) << mol->atom(a)->label();
  }
}

TEST(CrystalPolymers, SilverCarboxylateChain) {
  auto cm = curated("silver__7051216.cif");
  EXPECT_TRUE(cm->is_polymeric());
  // Silver bonded to a carboxylate oxygen, whose carbon has one C=O and one C-O.
  bool ag_on_carboxylate = false;
  for (int m = 0; m < cm->nmolecules(); ++m) {
    auto mol = cm->molecule(m);
    for (int a = 0; a < mol->natoms(); ++a) {
      if (mol->atom(a)->element() != Element(Element::Silver))
        continue;
      for (int o : mol->neighbours(a)) {
        if (mol->atom(o)->element() != kO)
          continue;
        for (int c : mol->neighbours(o)) {
          if (!mol->atom(c)->element().is_carbon())
            continue;
          auto types = testing::bond_types_to(*mol, c, kO);
          if (types.size() == 2 && count_type(types, BondType::Double) == 1 &&
              count_type(types, BondType::Single) == 1)
            ag_on_carboxylate = true;
        }
      }
    }
  }
  EXPECT_TRUE(ag_on_carboxylate);
  expect_whole_molecules(*cm);

  // Removing every bond to silver leaves silver ions and isonicotinate (or acid) ligands.
  const int before = cm->nmolecules();
  for (bool again = true; again;) {
    again = false;
    for (int m = 0; m < cm->nmolecules() && !again; ++m) {
      auto mol = cm->molecule(m);
      for (const auto& b : mol->bonds())
        if (mol->atom(b->atom1())->element().is_metal() ||
            mol->atom(b->atom2())->element().is_metal()) {
          ASSERT_TRUE(cm->remove(b));
          again = true;
          break;
        }
    }
  }
  EXPECT_GT(cm->nmolecules(), before);
  int silver = 0, ligands = 0, charge = 0;
  for (int m = 0; m < cm->nmolecules(); ++m) {
    auto mol = cm->molecule(m);
    std::string f = mol->formula();
    if (f == "Ag")
      ++silver;
    else if (f == "C6 H4 N O2" || f == "C6 H5 N O2")
      ++ligands;
    else
      ADD_FAILURE() << "unexpected piece " << f;
    for (int a = 0; a < mol->natoms(); ++a)
      if (!mol->atom(a)->element().is_metal())
        charge += mol->atom(a)->formal_charge();
  }
  // C12 H8.5 Ag1.5 N2 O4: three silver(I) per four ligands, so three of them are anions.
  EXPECT_EQ(silver, 3);
  EXPECT_EQ(ligands, 4);
  EXPECT_EQ(charge, -3);
}

// ---- disorder -----------------------------------------------------------------------------------

std::string disorder_tags() {
  return std::string(label_type_xyz()) +
         "\n_atom_site_occupancy\n_atom_site_disorder_assembly\n_atom_site_disorder_group";
}

bool has_label(const CrystalMaker& cm, const char* label) { return find_atom(cm, label).found(); }

TEST(CrystalDisorder, FirstGroupOfEachAlternativeIsKept) {
  const double a = 10;
  // Propanol-like chain; C3 in two positions (groups 1 and 2, 0.6 A apart); O in a second
  // assembly whose groups are numbered 3 and 4, 2.3 A apart, both on C1.
  std::ostringstream rows;
  auto row = [&](const char* l, const char* t, Point p, double occ, const char* asm_,
                 const char* grp) {
    rows << l << " " << t << " " << p[0] / a << " " << p[1] / a << " " << p[2] / a << " " << occ
         << " " << asm_ << " " << grp << "\n";
  };
  row("C1", "C", Point(1, 1, 1), 1, ".", ".");
  row("C2", "C", Point(2.52, 1, 1), 1, ".", ".");
  row("C3A", "C", Point(3.0, 2.44, 1), 0.6, "A", "1");
  row("C3B", "C", Point(3.0, 2.2, 1.55), 0.4, "A", "2");
  row("O1A", "O", Point(0.5, 2.35, 1), 0.7, "B", "3");
  row("O1B", "O", Point(0.5, 0.4, 2.1), 0.3, "B", "4");
  auto cm = read_crystal_from_string(
      cif_block("dis", cell_text(a, a, a), "", disorder_tags(), rows.str()), "dis.cif");
  EXPECT_TRUE(cm->has_disorder());
  EXPECT_TRUE(has_label(*cm, "C3A"));
  EXPECT_FALSE(has_label(*cm, "C3B"));
  EXPECT_TRUE(has_label(*cm, "O1A"));
  EXPECT_FALSE(has_label(*cm, "O1B"));
  ASSERT_EQ(cm->nmolecules(), 1);
  EXPECT_EQ(cm->molecule(0)->natoms(), 4);
}

TEST(CrystalDisorder, GroupsWithoutAssembliesAtTwoPlaces) {
  // Two CH2-O rotamer pairs numbered on through the structure: 1/2 and 3/4, with
  // occupancies adding up to one; the alternatives share the carbon they hang on.
  const double a = 12;
  std::ostringstream rows;
  auto row = [&](const char* l, const char* t, Point p, double occ, const char* grp) {
    rows << l << " " << t << " " << p[0] / a << " " << p[1] / a << " " << p[2] / a << " " << occ
         << " . " << grp << "\n";
  };
  row("C1", "C", Point(1, 1, 1), 1, ".");
  row("O1A", "O", Point(2.4, 1, 1), 0.56, "1");
  row("O1B", "O", Point(0.5, 2.3, 1), 0.44, "2");
  row("C5", "C", Point(6, 6, 6), 1, ".");
  row("O5A", "O", Point(7.4, 6, 6), 0.69, "3");
  row("O5B", "O", Point(5.5, 7.3, 6), 0.31, "4");
  auto cm = read_crystal_from_string(
      cif_block("seq", cell_text(a, a, a), "", disorder_tags(), rows.str()), "seq.cif");
  EXPECT_TRUE(has_label(*cm, "O1A"));
  EXPECT_FALSE(has_label(*cm, "O1B"));
  EXPECT_TRUE(has_label(*cm, "O5A"));
  EXPECT_FALSE(has_label(*cm, "O5B"));
}

TEST(CrystalDisorder, NegativeGroupAcrossAnInversionCentre) {
  // A three-carbon chain near the inversion centre of P-1; the inverted copy is the other
  // orientation of the same disordered molecule.
  const double a = 10;
  std::vector<std::pair<std::string, Point>> atoms = {
      {"C1", Point(-1.0, 0.8, 0)}, {"C2", Point(0.3, 0.3, 0)}, {"C3", Point(1.6, 0.9, 0)}};
  auto disordered = read_crystal_from_string(
      cif_block("neg", cell_text(a, a, a), kP1bar,
                std::string(label_type_xyz()) + "\n_atom_site_occupancy\n_atom_site_disorder_group",
                rows_from_angstrom(a, atoms, " 0.5 -1")),
      "neg.cif");
  ASSERT_EQ(disordered->nmolecules(), 1);
  auto mol = disordered->molecule(0);
  EXPECT_EQ(mol->natoms(), 3);
  EXPECT_EQ(mol->nbonds(), 2);
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(disordered->atom_origins(0)[i].op, 0);
  // The same atoms written as ordered bond to their inverted images.
  auto ordered = read_crystal_from_string(
      cif_block("pos", cell_text(a, a, a), kP1bar, label_type_xyz(), rows_from_angstrom(a, atoms)),
      "pos.cif");
  ASSERT_EQ(ordered->nmolecules(), 1);
  EXPECT_EQ(ordered->molecule(0)->natoms(), 6);
}

// Disorder read as the authors read it: each structure builds into the molecules of its own
// `_chemical_formula_moiety` (hydrogens the file does not place left out).
TEST(CrystalDisorder, DisorderedStructuresGiveTheAuthorsMolecules) {
  const std::string inputs = "bulk/cod-tools/tests/inputs/";
  const std::vector<std::pair<std::string, std::vector<std::string>>> cases = {
      // A methyl group on one ring carbon (group 1) or the next (group 2), 0.59/0.41.
      {"2222274.cif", {"C15 H14 N2 O2"}},
      // Two CH2OH rotamers per cation, O4/O4' both bonded to C12.
      {"cif2cod/2238212-only-doi.cif", {"C16 H38 N2 O6", "C16 H38 N2 O6", "C6 S10 Zn"}},
      // Butyl chains in two positions each, in named assemblies.
      {"2204368.cif", {"C96 H124 O14 Sn4"}},
      // A perchlorate (0.70) whose alternative (0.30) is written beside its inverted image.
      {"2006596.cif", {"C4 O2", "C55 H43 N6 O2 P2 Ru", "Cl O4"}},
      // An ethylammonium whose N, at 1/3, takes three orientations about a threefold axis.
      {"spacegroup-builder/cif/2016949.cif", {"C18 H18 Al3 Na3 O36", "C2 H8 N"}},
      // CH2Cl2 (no H sites) whose carbon, at 0.16, stands in three places about its Cl-Cl axis.
      {"unparsable-formulae1/2010785.cif", {"C Cl2", "C8 H22 B2 N2 S4"}},
  };
  for (const auto& [file, expected] : cases) {
    auto cm = read_crystal(testing::require_data(inputs + file).string(), "");
    std::vector<std::string> formulas;
    for (int m = 0; m < cm->nmolecules(); ++m) {
      // The sites as written: no hydrogen that bond perception assumes.
      auto mol = cm->molecule(m);
      for (int a = 0; a < mol->natoms(); ++a)
        mol->atom(a)->set_implicit_hydrogens(0);
      formulas.push_back(mol->formula());
    }
    std::sort(formulas.begin(), formulas.end());
    EXPECT_EQ(formulas, expected) << file;
  }
}

// Two sites written with one label are told apart by their rows of the atom-site loop.
TEST(CrystalDisorder, RepeatedLabelsAreToldApartAndSaidOnce) {
  auto cm = read_crystal(
      testing::require_data("bulk/cod-tools/tests/inputs/cif_fix_values/1100163-enums.cif")
          .string(),
      "");
  EXPECT_TRUE(find_atom(*cm, "H20#45").found());
  EXPECT_TRUE(find_atom(*cm, "H20#55").found());
  EXPECT_FALSE(find_atom(*cm, "H20").found());
  ASSERT_EQ(cm->notices().size(), 1u);
  EXPECT_NE(cm->notices()[0].find("H20#45, H20#55"), std::string::npos);
}

// A proton shared by two waters, 1.20 A from one that has its two hydrogens and 1.25 A from
// one that has one: it completes the second water instead of making H3O+ and OH-.
TEST(CrystalDisorder, SharedHydrogenGoesToTheWaterWithRoomForIt) {
  const double a = 12;
  std::vector<std::pair<std::string, Point>> atoms = {
      {"O1", Point(2, 2, 2)},       {"H11", Point(1.76, 2.93, 2)}, {"H12", Point(1.76, 1.07, 2)},
      {"O2", Point(4.45, 2, 2)},    {"H21", Point(4.69, 2.93, 2)}, {"H3", Point(3.2, 2, 2)}};
  auto cm = read_crystal_from_string(
      cif_block("shared", cell_text(a, a, a), "", label_type_xyz(), rows_from_angstrom(a, atoms)),
      "shared.cif");
  std::vector<std::string> formulas;
  for (int m = 0; m < cm->nmolecules(); ++m)
    formulas.push_back(cm->molecule(m)->formula());
  EXPECT_EQ(formulas, (std::vector<std::string>{"H2 O", "H2 O"}));
}

// Images of the asymmetric unit that land on atoms already there. Whether any image can is
// judged from the asymmetric unit's own neighbours, so these cases must still be caught.
TEST(CrystalOverlappingImages, WholeMoleculeWrittenOnAnInversionCentre) {
  // Ethane centred on the inversion centre of P-1 but written out whole: the inverted image of
  // each atom falls on another written atom and is the same atom.
  const double a = 10;
  std::vector<std::pair<std::string, Point>> atoms = {
      {"C1", Point(0.765, 0, 0)},       {"C2", Point(-0.765, 0, 0)},
      {"H1", Point(1.13, 1.03, 0)},     {"H2", Point(1.13, -0.51, 0.89)},
      {"H3", Point(1.13, -0.51, -0.89)}, {"H4", Point(-1.13, -1.03, 0)},
      {"H5", Point(-1.13, 0.51, -0.89)}, {"H6", Point(-1.13, 0.51, 0.89)}};
  auto cm = read_crystal_from_string(
      cif_block("ethane", cell_text(a, a, a), kP1bar, label_type_xyz(), rows_from_angstrom(a, atoms)),
      "ethane.cif");
  ASSERT_EQ(cm->nmolecules(), 1);
  auto mol = cm->molecule(0);
  EXPECT_EQ(mol->formula(), "C2 H6");
  EXPECT_EQ(mol->nbonds(), 7);
  expect_every_atom_once(*mol);
  for (const auto& o : cm->atom_origins(0))
    EXPECT_EQ(o.op, 0);
}

TEST(CrystalOverlappingImages, HalfOccupiedSolventAcrossAnInversionCentre) {
  // Methanol at half occupancy, no disorder group, straddling the inversion centre: its
  // inverted image is the other half of the disorder and gives way to the written one.
  const double a = 10;
  std::vector<std::pair<std::string, Point>> atoms = {
      {"C1", Point(0.35, 0.1, 0)}, {"O1", Point(-1.05, 0.1, 0)}};
  auto half = read_crystal_from_string(
      cif_block("meoh", cell_text(a, a, a), kP1bar,
                std::string(label_type_xyz()) + "\n_atom_site_occupancy",
                rows_from_angstrom(a, atoms, " 0.5")),
      "meoh.cif");
  ASSERT_EQ(half->nmolecules(), 1);
  EXPECT_EQ(half->molecule(0)->natoms(), 2);
  EXPECT_EQ(half->molecule(0)->nbonds(), 1);
  EXPECT_TRUE(half->has_disorder());
  // Fully occupied, the same atoms are too close to their images to be one molecule each.
  auto full = read_crystal_from_string(
      cif_block("meoh", cell_text(a, a, a), kP1bar, label_type_xyz(), rows_from_angstrom(a, atoms)),
      "meoh.cif");
  ASSERT_EQ(full->nmolecules(), 1);
  EXPECT_EQ(full->molecule(0)->natoms(), 4);
}

TEST(CrystalDisorder, UnlabelledAlternativesKeepTheHigherOccupancy) {
  const double a = 10;
  std::string tags = std::string(label_type_xyz()) + "\n_atom_site_occupancy";
  std::string rows = "C1 C 0.1 0.1 0.1 1\nC2A C 0.252 0.1 0.1 0.3\nC2B C 0.245 0.16 0.1 0.7\n";
  auto cm = read_crystal_from_string(cif_block("alt", cell_text(a, a, a), "", tags, rows),
                                     "alt.cif");
  EXPECT_TRUE(has_label(*cm, "C2B"));
  EXPECT_FALSE(has_label(*cm, "C2A"));
  ASSERT_EQ(cm->nmolecules(), 1);
  EXPECT_EQ(cm->molecule(0)->natoms(), 2);
}

TEST(CrystalDisorder, SiteWrittenTwiceIsOneAtomAndAnError) {
  const double a = 10;
  auto cm = read_crystal_from_string(
      cif_block("dup", cell_text(a, a, a), "", label_type_xyz(),
                "N1 N 0.1 0.1 0.1\nN1' N 0.101 0.1 0.1\n"),
      "dup.cif");
  ASSERT_EQ(cm->nmolecules(), 1);
  EXPECT_EQ(cm->molecule(0)->natoms(), 1);
  ASSERT_FALSE(cm->errors().empty());
  EXPECT_NE(cm->errors()[0].find("coincide"), std::string::npos);
}

// Formic acid with a half hydrogen on each oxygen (the disorder of an acid dimer), a methyl
// group with two sets of half hydrogens, and a water with four half hydrogens.
TEST(CrystalDisorder, HalfHydrogensBeyondTheValenceAreDropped) {
  const double a = 20;
  std::vector<std::pair<std::string, Point>> acid = {
      {"C1", Point(1, 1, 1)},           {"O1", Point(2.105, 1.638, 1)},
      {"O2", Point(-0.1, 1.65, 1)},     {"H1", Point(1.0, -0.08, 1)},
      {"H1O", Point(2.9, 1.1, 1)},      {"H2O", Point(-0.9, 1.1, 1)}};
  std::ostringstream rows;
  for (const auto& p : acid)
    rows << p.first << " " << (p.first[0] == 'H' ? "H" : p.first.substr(0, 1)) << " "
         << p.second[0] / a << " " << p.second[1] / a << " " << p.second[2] / a << " "
         << (p.first == "H1O" || p.first == "H2O" ? 0.5 : 1.0) << "\n";
  // Methyl carbon C3 on C2, six half hydrogens at 1.08 A in a staggered double set.
  Point c2(10, 10, 10), c3(11.53, 10, 10);
  rows << "C2 C " << c2[0] / a << " " << c2[1] / a << " " << c2[2] / a << " 1\n";
  rows << "C3 C " << c3[0] / a << " " << c3[1] / a << " " << c3[2] / a << " 1\n";
  for (int k = 0; k < 6; ++k) {
    double t = k * 3.14159265358979 / 3;
    Point h = c3 + Point(0.36, 1.02 * std::cos(t), 1.02 * std::sin(t));
    rows << "H3" << char('A' + k) << " H " << h[0] / a << " " << h[1] / a << " " << h[2] / a
         << " 0.5\n";
  }
  // Water with four half hydrogens towards the corners of a tetrahedron.
  Point ow(5, 15, 5);
  rows << "OW1 O " << ow[0] / a << " " << ow[1] / a << " " << ow[2] / a << " 1\n";
  const double s = 0.96 / std::sqrt(3.0);
  const Point corners[] = {Point(s, s, s), Point(s, -s, -s), Point(-s, s, -s), Point(-s, -s, s)};
  for (int k = 0; k < 4; ++k) {
    Point h = ow + corners[k];
    rows << "HW" << k << " H " << h[0] / a << " " << h[1] / a << " " << h[2] / a << " 0.5\n";
  }
  auto cm = read_crystal_from_string(
      cif_block("hdis", cell_text(a, a, a), "",
                std::string(label_type_xyz()) + "\n_atom_site_occupancy", rows.str()),
      "hdis.cif");
  auto c1 = find_atom(*cm, "C1");
  ASSERT_TRUE(c1.found());
  auto acid_mol = cm->molecule(c1.molecule);
  EXPECT_EQ(acid_mol->formula(), "C H2 O2");
  // One acid, one hydrogen: the oxygen without it is the carbonyl.
  EXPECT_TRUE(has_label(*cm, "H1O"));
  EXPECT_FALSE(has_label(*cm, "H2O"));
  auto o2 = find_atom(*cm, "O2");
  EXPECT_EQ(acid_mol->bond_between(c1.atom, o2.atom)->type(), BondType::Double);
  auto c3a = find_atom(*cm, "C3");
  EXPECT_EQ(cm->molecule(c3a.molecule)->hydrogen_count(c3a.atom), 3);
  auto w = find_atom(*cm, "OW1");
  EXPECT_EQ(cm->molecule(w.molecule)->hydrogen_count(w.atom), 2);
}

// ---- structures without hydrogen sites ------------------------------------------------------------

TEST(CrystalWithoutHydrogens, HydrogenCountsFromGeometryMatchTheRefinedOnes) {
  auto path = testing::require_data("curated/acid__2300214-r274507.cif");
  const std::string text = testing::read_text(path);
  // The same file with its hydrogen rows taken out.
  std::istringstream in(text);
  std::ostringstream stripped;
  std::string line;
  while (std::getline(in, line))
    if (line.rfind("H H", 0) != 0)
      stripped << line << "\n";
  auto with_h = read_crystal_from_string(text, "2300214.cif");
  auto without = read_crystal_from_string(stripped.str(), "2300214-noH.cif");
  EXPECT_TRUE(with_h->has_hydrogen_sites());
  EXPECT_FALSE(without->has_hydrogen_sites());
  ASSERT_EQ(without->nmolecules(), 1);
  auto full = with_h->molecule(0);
  auto bare = without->molecule(0);
  EXPECT_EQ(bare->natoms(), 15);
  EXPECT_EQ(bare->formula(), "C13 H18 O2");
  for (int a = 0; a < bare->natoms(); ++a) {
    auto ref = find_atom(*with_h, bare->atom(a)->label());
    ASSERT_TRUE(ref.found());
    EXPECT_EQ(bare->atom(a)->implicit_hydrogens(), full->hydrogen_count(ref.atom, false))
        << bare->atom(a)->label();
    // The perceived bond types agree too.
    for (int o : bare->neighbours(a)) {
      auto other = find_atom(*with_h, bare->atom(o)->label());
      EXPECT_EQ(bare->bond_between(a, o)->type(), full->bond_between(ref.atom, other.atom)->type())
          << bare->atom(a)->label() << "-" << bare->atom(o)->label();
    }
  }
  // The entry is flagged rather than guessed silently.
  ASSERT_FALSE(without->errors().empty());
  EXPECT_NE(without->errors()[0].find("no hydrogen sites"), std::string::npos);
}

} // namespace
} // namespace xtalmotif
