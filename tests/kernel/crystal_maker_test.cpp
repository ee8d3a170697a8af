// Symmetry operators written as in CIF files, the cell matrix, the operator list and the codes
// that number it, and splitting a crystal's molecules by removing bonds.

#include "kernel/crystal_maker.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

namespace xtalmotif {
namespace {

using Op = CrystalSymmetryOperator;

TEST(SymmetryOperatorText, SpellingsOfOneOperatorAndTextsThatAreNone) {
  const std::pair<const char*, const char*> same[] = {
      {"-x, y+1/2, -z+1/2", "-x,y+1/2,-z+1/2"}, {"-x,1/2+y,1/2-z", "-x,y+1/2,-z+1/2"},
      {"-X, Y+0.5, -Z+.5", "-x,y+1/2,-z+1/2"},  {"'-x, +y+1/2, -z+1/2'", "-x,y+1/2,-z+1/2"},
      {"0.5+x, +y, 1/4-z", "x+1/2,y,-z+1/4"},   {"x-y, x, z+0.3333", "x-y,x,z+1/3"},
      {"-y+2/3,x-y+1/3,z+1/3", "-y+2/3,x-y+1/3,z+1/3"}};
  for (const auto& [text, canonical] : same)
    EXPECT_EQ(Op::from_xyz(text).to_xyz(), canonical) << text;
  // x-y, x, z+1/3 applied to (0.1, 0.2, 0.3).
  const Point p = Op::from_xyz("x-y, x, z+0.3333").apply(Point(0.1, 0.2, 0.3));
  EXPECT_NEAR(p[0], -0.1, 1e-12);
  EXPECT_NEAR(p[1], 0.1, 1e-12);
  EXPECT_NEAR(p[2], 0.3 + 1.0 / 3, 1e-12);
  for (const char* bad : {"x,y", "x,y,w", "x,x,z", "2x,y,z", "x,y,z+", "x,y,z,x", "x y"})
    try {
      Op::from_xyz(bad);
      ADD_FAILURE() << "accepted " << bad;
    } catch (const std::invalid_argument& e) {
      EXPECT_NE(std::string(e.what()).find(bad), std::string::npos) << e.what();
    }
}

TEST(CrystalCell, AxesHaveTheCellLengthsAndAnglesAndImpossibleCellsAreRefused) {
  CrystalMaker cm;
  cm.set_cell(5, 6, 7, 80, 85, 95);
  const Point a = cm.to_orthogonal(Point(1, 0, 0)), b = cm.to_orthogonal(Point(0, 1, 0)),
              c = cm.to_orthogonal(Point(0, 0, 1));
  auto deg = [](const Point& u, const Point& v) {
    return std::acos(u.dot(v) / (u.length() * v.length())) * 180 / std::acos(-1.0);
  };
  EXPECT_NEAR(a.length(), 5, 1e-9);
  EXPECT_NEAR(b.length(), 6, 1e-9);
  EXPECT_NEAR(c.length(), 7, 1e-9);
  EXPECT_NEAR(deg(b, c), 80, 1e-9);
  EXPECT_NEAR(deg(a, c), 85, 1e-9);
  EXPECT_NEAR(deg(a, b), 95, 1e-9);
  EXPECT_NEAR(cm.volume(), std::fabs(a.dot(cross(b, c))), 1e-9);
  EXPECT_NEAR(a[1] * a[1] + a[2] * a[2] + b[2] * b[2], 0, 1e-12); // a along x, b in xy
  const Point back = cm.to_fractional(cm.to_orthogonal(Point(0.3, -0.2, 0.7)));
  EXPECT_NEAR(distance(back, Point(0.3, -0.2, 0.7)), 0, 1e-12);
  EXPECT_THROW(cm.set_cell(0, 5, 5, 90, 90, 90), std::invalid_argument);
  EXPECT_THROW(cm.set_cell(5, 5, 5, 90, 90, 180), std::invalid_argument);
  EXPECT_THROW(cm.set_cell(5, 5, 5, 170, 60, 60), std::invalid_argument); // alpha > beta + gamma
  EXPECT_THROW(cm.set_cell(NAN, 5, 5, 90, 90, 90), std::invalid_argument);
}

// The search works on operators reduced into the cell, identity first, repeats dropped; the
// symmetry codes it reports number the list as the file gave it, with the lattice shift between.
TEST(CrystalSymmetry, ReducedListAndTheCodesOfTheListAsGiven) {
  CrystalMaker cm;
  cm.set_symmetry_operators({Op::from_xyz("-x+1,-y+1,-z+1"), Op::from_xyz("x,y,z"),
                             Op::from_xyz("-x,-y,-z"), Op::from_xyz("x+1/2,-y-1/2,z")});
  const auto& ops = cm.symmetry_operators();
  ASSERT_EQ(ops.size(), 3u);
  EXPECT_TRUE(ops[0].is_identity());
  EXPECT_EQ(ops[1], Op::from_xyz("-x,-y,-z"));
  EXPECT_EQ(ops[2], Op::from_xyz("x+1/2,-y+1/2,z"));
  const struct {
    int op;
    Translation t;
    int listed;
    Translation code;
  } codes[] = {{0, Translation(0, 0, 0), 1, Translation(0, 0, 0)},
               {1, Translation(0, 0, 0), 0, Translation(-1, -1, -1)},
               {1, Translation(2, 1, 0), 0, Translation(1, 0, -1)},
               {2, Translation(0, 0, 0), 3, Translation(0, 1, 0)}};
  for (const auto& c : codes) {
    const auto got = cm.listed_code(c.op, c.t);
    EXPECT_EQ(got.listed, c.listed) << c.op;
    EXPECT_EQ(got.translation, c.code) << c.op;
  }
}

// A chain Ag0 - O1 - C2, sited; each atom's origin names site 10 + i and operator i.
THandle<Molecule> chain() {
  auto m = make_handle<Molecule3d>();
  const char* els[] = {"Ag", "O", "C"};
  for (int i = 0; i < 3; ++i)
    m->add_atom(THandle<Atom>(make_handle<Atom3d>(
        Element(els[i]), std::string(els[i]) + std::to_string(i),
        make_handle<Site>(Point(i * 0.1, 0, 0), Point(i * 1.5, 0, 0)))));
  m->add_bond(0, 1);
  m->add_bond(1, 2);
  return THandle<Molecule>(m);
}

TEST(CrystalEditing, RemovingABondSplitsTheMoleculeInPlaceWithItsOrigins) {
  std::vector<AtomOrigin> origins(3);
  for (int i = 0; i < 3; ++i)
    origins[i] = AtomOrigin{10 + i, i, Translation(), 1.0};
  CrystalMaker cm;
  auto m = chain();
  cm.add_molecule(m, origins);
  cm.add_molecule(chain(), origins);
  ASSERT_TRUE(cm.remove(m->bond_between(0, 1)));
  ASSERT_EQ(cm.nmolecules(), 3);
  // The piece holding atom 0 keeps index 0; the rest comes after the other molecules.
  EXPECT_EQ(cm.molecule(0)->natoms(), 1);
  EXPECT_EQ(cm.molecule(1)->natoms(), 3);
  EXPECT_EQ(cm.molecule(2)->nbonds(), 1);
  EXPECT_EQ(cm.molecule(2)->atom(0)->label(), "O1");
  EXPECT_TRUE(cm.molecule(2)->atom(0)->has_site());
  ASSERT_EQ(cm.atom_origins(2).size(), 2u);
  EXPECT_EQ(cm.atom_origins(2)[0].site, 11);
  EXPECT_EQ(cm.atom_origins(2)[1].op, 2);
  EXPECT_FALSE(cm.remove(make_handle<Bond>(0, 1))); // no bond of this crystal
  // A ring bond opens the ring and leaves one molecule.
  CrystalMaker ring;
  auto r = chain();
  ring.add_molecule(r);
  ASSERT_TRUE(ring.remove(r->add_bond(2, 0)) && ring.nmolecules() == 1);
  EXPECT_EQ(ring.molecule(0)->nbonds(), 2);
}

TEST(CrystalEditing, Select3dKeepsSitedAtomsAndDropsEmptyMolecules) {
  CrystalMaker cm;
  auto m = make_handle<Molecule>();
  m->add_atom(THandle<Atom>(
      make_handle<Atom3d>(Element("N"), "N1", make_handle<Site>(Point(), Point()))));
  m->add_atom(make_handle<Atom>(Element("H"), "H1"));
  m->add_atom(THandle<Atom>(
      make_handle<Atom3d>(Element("O"), "O1", make_handle<Site>(Point(), Point(1, 0, 0)))));
  m->add_bond(0, 1);
  m->add_bond(0, 2);
  auto bare = make_handle<Molecule>();
  bare->add_atom(make_handle<Atom>(Element("C"), "C9"));
  cm.add_molecule(THandle<Molecule>(m));
  cm.add_molecule(THandle<Molecule>(bare));
  cm.select_3d();
  ASSERT_EQ(cm.nmolecules(), 1);
  EXPECT_EQ(cm.molecule(0)->nbonds(), 1);
  EXPECT_EQ(cm.molecule(0)->atom(1)->label(), "O1");
}

} // namespace
} // namespace xtalmotif
