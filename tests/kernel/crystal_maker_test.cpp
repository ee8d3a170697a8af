// Symmetry operators written as in CIF files, cell matrices, and the editing operations of a
// crystal (removing bonds, keeping 3D atoms).

#include "crystal/crystal_maker.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <stdexcept>

namespace xtalmotif {
namespace {

constexpr double kPi = 3.14159265358979323846;

Matrix<int, 3, 3> diag(int a, int b, int c) {
  Matrix<int, 3, 3> m;
  m(0, 0) = a;
  m(1, 1) = b;
  m(2, 2) = c;
  return m;
}

void expect_point(const Point& p, double x, double y, double z, double tol = 1e-9) {
  EXPECT_NEAR(p[0], x, tol);
  EXPECT_NEAR(p[1], y, tol);
  EXPECT_NEAR(p[2], z, tol);
}

TEST(SymmetryOperatorText, CommonSpellingsOfTheSameOperator) {
  // The 2_1 screw axis of P2_1/c written four ways.
  const CrystalSymmetryOperator expected(diag(-1, 1, -1), Point(0, 0.5, 0.5));
  for (const char* text : {"-x, y+1/2, -z+1/2", "-x,1/2+y,1/2-z", "-X, Y+0.5, -Z+.5",
                           "'-x, +y+1/2, -z+1/2'"})
    EXPECT_EQ(CrystalSymmetryOperator::from_xyz(text), expected) << text;
}

TEST(SymmetryOperatorText, HexagonalRowsAndDecimalThirds) {
  auto op = CrystalSymmetryOperator::from_xyz("x-y, x, z+0.3333");
  EXPECT_EQ(op.rotation()(0, 0), 1);
  EXPECT_EQ(op.rotation()(0, 1), -1);
  EXPECT_EQ(op.rotation()(1, 0), 1);
  EXPECT_EQ(op.rotation()(1, 1), 0);
  EXPECT_EQ(op.rotation()(2, 2), 1);
  // 0.3333 is a third written to four places.
  EXPECT_NEAR(op.translation()[2], 1.0 / 3.0, 1e-12);
  // Applied to (0.1, 0.2, 0.3): (0.1 - 0.2, 0.1, 0.3 + 1/3).
  expect_point(op.apply(Point(0.1, 0.2, 0.3)), -0.1, 0.1, 0.3 + 1.0 / 3.0);
}

TEST(SymmetryOperatorText, LeadingTranslationAndLeadingPlus) {
  auto op = CrystalSymmetryOperator::from_xyz("0.5+x, +y, 1/4-z");
  EXPECT_EQ(op.rotation(), diag(1, 1, -1));
  expect_point(op.translation(), 0.5, 0.0, 0.25);
}

TEST(SymmetryOperatorText, IdentityAndCanonicalText) {
  EXPECT_TRUE(CrystalSymmetryOperator::from_xyz("x,y,z").is_identity());
  EXPECT_TRUE(CrystalSymmetryOperator().is_identity());
  EXPECT_FALSE(CrystalSymmetryOperator::from_xyz("-x,-y,-z").is_identity());
  EXPECT_EQ(CrystalSymmetryOperator::from_xyz("1/2-X, Y+0.5, -Z").to_xyz(), "-x+1/2,y+1/2,-z");
  EXPECT_EQ(CrystalSymmetryOperator::from_xyz("-y+2/3,x-y+1/3,z+1/3").to_xyz(),
            "-y+2/3,x-y+1/3,z+1/3");
}

TEST(SymmetryOperatorText, UnreadableTextIsRejectedWithTheText) {
  for (const char* bad : {"x,y", "x,y,w", "x,x,z", "2x,y,z", "x,y,z+", "x,y,z,x", "x y"}) {
    try {
      CrystalSymmetryOperator::from_xyz(bad);
      ADD_FAILURE() << "accepted " << bad;
    } catch (const std::invalid_argument& e) {
      EXPECT_NE(std::string(e.what()).find(bad), std::string::npos) << e.what();
    }
  }
}

TEST(CrystalCell, MonoclinicMatrixByHand) {
  CrystalMaker cm;
  cm.set_cell(10, 12, 15, 90, 100, 90);
  const auto& m = cm.orthogonal_matrix();
  // a along x; b along y for gamma = 90; c in the xz plane at beta from a.
  EXPECT_NEAR(m(0, 0), 10, 1e-12);
  EXPECT_NEAR(m(1, 1), 12, 1e-12);
  EXPECT_NEAR(m(0, 2), 15 * std::cos(100 * kPi / 180), 1e-12);
  EXPECT_NEAR(m(2, 2), 15 * std::sin(100 * kPi / 180), 1e-12);
  EXPECT_NEAR(m(1, 0), 0, 1e-12);
  EXPECT_NEAR(m(2, 0), 0, 1e-12);
  EXPECT_NEAR(m(1, 2), 0, 1e-12);
  EXPECT_NEAR(cm.volume(), 10 * 12 * 15 * std::sin(100 * kPi / 180), 1e-9);
}

TEST(CrystalCell, TriclinicAxesHaveTheCellLengthsAndAngles) {
  CrystalMaker cm;
  cm.set_cell(5, 6, 7, 80, 85, 95);
  Point a = cm.to_orthogonal(Point(1, 0, 0)), b = cm.to_orthogonal(Point(0, 1, 0)),
        c = cm.to_orthogonal(Point(0, 0, 1));
  EXPECT_NEAR(a.length(), 5, 1e-9);
  EXPECT_NEAR(b.length(), 6, 1e-9);
  EXPECT_NEAR(c.length(), 7, 1e-9);
  auto deg = [](const Point& u, const Point& v) {
    return std::acos(u.dot(v) / (u.length() * v.length())) * 180 / kPi;
  };
  EXPECT_NEAR(deg(b, c), 80, 1e-9);
  EXPECT_NEAR(deg(a, c), 85, 1e-9);
  EXPECT_NEAR(deg(a, b), 95, 1e-9);
  // a along x, b in the xy plane.
  EXPECT_NEAR(a[1], 0, 1e-12);
  EXPECT_NEAR(a[2], 0, 1e-12);
  EXPECT_NEAR(b[2], 0, 1e-12);
  Point back = cm.to_fractional(cm.to_orthogonal(Point(0.3, -0.2, 0.7)));
  expect_point(back, 0.3, -0.2, 0.7, 1e-12);
}

TEST(CrystalCell, ImpossibleCellsAreRejected) {
  CrystalMaker cm;
  EXPECT_THROW(cm.set_cell(0, 5, 5, 90, 90, 90), std::invalid_argument);
  EXPECT_THROW(cm.set_cell(5, 5, 5, 90, 90, 180), std::invalid_argument);
  // Angles that cannot close a cell: alpha > beta + gamma.
  EXPECT_THROW(cm.set_cell(5, 5, 5, 170, 60, 60), std::invalid_argument);
  EXPECT_THROW(cm.set_cell(NAN, 5, 5, 90, 90, 90), std::invalid_argument);
}

TEST(CrystalSymmetry, IdentityFirstAndLatticeRepeatsDropped) {
  CrystalMaker cm;
  ASSERT_EQ(cm.symmetry_operators().size(), 1u);
  cm.set_symmetry_operators({CrystalSymmetryOperator::from_xyz("-x,-y,-z"),
                             CrystalSymmetryOperator::from_xyz("x,y,z"),
                             CrystalSymmetryOperator::from_xyz("-x+1,-y+1,-z+1"),
                             CrystalSymmetryOperator::from_xyz("x+1/2,-y-1/2,z")});
  const auto& ops = cm.symmetry_operators();
  ASSERT_EQ(ops.size(), 3u);
  EXPECT_TRUE(ops[0].is_identity());
  EXPECT_EQ(ops[1], CrystalSymmetryOperator::from_xyz("-x,-y,-z"));
  // -1/2 is reduced into the cell.
  EXPECT_EQ(ops[2], CrystalSymmetryOperator::from_xyz("x+1/2,-y+1/2,z"));
}

// A three-atom chain Ag0 - O1 - C2 with a ring-free bond graph.
THandle<Molecule> chain() {
  auto m = make_handle<Molecule3d>();
  const char* els[] = {"Ag", "O", "C"};
  for (int i = 0; i < 3; ++i)
    m->add_atom(THandle<Atom>(make_handle<Atom3d>(
        Element(els[i]), std::string(els[i]) + std::to_string(i),
        make_handle<Site>(Point(i * 0.1, 0, 0), Point(i * 1.5, 0, 0)))));
  m->add_bond(0, 1, BondType::Single);
  m->add_bond(1, 2, BondType::Single);
  return THandle<Molecule>(m);
}

std::vector<AtomOrigin> origins(int n) {
  std::vector<AtomOrigin> o(n);
  for (int i = 0; i < n; ++i) {
    o[i].site = 10 + i;
    o[i].op = i;
  }
  return o;
}

TEST(CrystalEditing, RemovingABondSplitsTheMoleculeInPlace) {
  CrystalMaker cm;
  auto m = chain();
  cm.add_molecule(m, origins(3));
  auto other = chain();
  cm.add_molecule(other, origins(3));
  THandle<Bond> metal_bond = m->bond_between(0, 1);
  ASSERT_TRUE(cm.remove(metal_bond));
  ASSERT_EQ(cm.nmolecules(), 3);
  // The piece holding atom 0 keeps index 0; the rest is appended after the other molecules.
  EXPECT_EQ(cm.molecule(0)->natoms(), 1);
  EXPECT_EQ(cm.molecule(0)->atom(0)->label(), "Ag0");
  EXPECT_EQ(cm.molecule(1)->natoms(), 3);
  EXPECT_EQ(cm.molecule(2)->natoms(), 2);
  EXPECT_EQ(cm.molecule(2)->nbonds(), 1);
  EXPECT_EQ(cm.molecule(2)->atom(0)->label(), "O1");
  EXPECT_TRUE(cm.molecule(2)->atom(0)->has_site());
  // Origins travel with their atoms.
  ASSERT_EQ(cm.atom_origins(2).size(), 2u);
  EXPECT_EQ(cm.atom_origins(2)[0].site, 11);
  EXPECT_EQ(cm.atom_origins(2)[1].op, 2);
  EXPECT_EQ(cm.atom_origins(0)[0].site, 10);
  // A bond of no molecule of the crystal.
  EXPECT_FALSE(cm.remove(make_handle<Bond>(0, 1)));
}

TEST(CrystalEditing, RemovingARingBondKeepsOneMolecule) {
  CrystalMaker cm;
  auto m = make_handle<Molecule3d>();
  for (int i = 0; i < 3; ++i)
    m->add_atom(THandle<Atom>(make_handle<Atom3d>(Element("C"), "C" + std::to_string(i),
                                                  make_handle<Site>(Point(), Point()))));
  m->add_bond(0, 1);
  m->add_bond(1, 2);
  THandle<Bond> closing = m->add_bond(2, 0);
  cm.add_molecule(THandle<Molecule>(m));
  EXPECT_TRUE(cm.remove(closing));
  EXPECT_EQ(cm.nmolecules(), 1);
  EXPECT_EQ(cm.molecule(0)->nbonds(), 2);
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
  EXPECT_EQ(cm.molecule(0)->natoms(), 2);
  EXPECT_EQ(cm.molecule(0)->nbonds(), 1);
  EXPECT_EQ(cm.molecule(0)->atom(1)->label(), "O1");
}

TEST(CrystalEditing, MoleculeIndexOutOfRange) {
  CrystalMaker cm;
  try {
    cm.molecule(5);
    FAIL() << "no exception";
  } catch (const std::out_of_range& e) {
    EXPECT_STREQ(e.what(), "IndexedTable::at Illegal index: 5");
  }
  EXPECT_THROW(cm.atom_origins(-1), std::out_of_range);
}

TEST(CrystalEditing, PrintShowsCellOperatorsAndAtoms) {
  CrystalMaker cm;
  cm.set_cell(7.5, 8, 9, 90, 90, 90);
  cm.set_symmetry_operators({CrystalSymmetryOperator::from_xyz("-x,-y,-z")});
  cm.add_molecule(chain());
  std::ostringstream os;
  cm.print(os);
  const std::string text = os.str();
  EXPECT_NE(text.find("7.5000"), std::string::npos) << text;
  EXPECT_NE(text.find("-x,-y,-z"), std::string::npos) << text;
  EXPECT_NE(text.find("Ag0"), std::string::npos) << text;
}

} // namespace
} // namespace xtalmotif
