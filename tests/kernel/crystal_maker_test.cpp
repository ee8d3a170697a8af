// Symmetry operators written as in CIF files, the cell matrix, the operator list and the codes
// that number it, and splitting molecules by removing bonds.

#include "crystal/crystal_maker.h"
#include "kernel_test_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

namespace xtalmotif {
namespace {

using Op = CrystalSymmetryOperator;

std::vector<Op> operators(const std::vector<const char*>& xyz) {
  std::vector<Op> out;
  for (const char* s : xyz)
    out.push_back(Op::from_xyz(s));
  return out;
}

TEST(SymmetryOperatorText, SpellingsOfOneOperatorAndTextsThatAreNone) {
  const std::pair<const char*, const char*> same[] = {
      {"-x, y+1/2, -z+1/2", "-x,y+1/2,-z+1/2"}, {"-x,1/2+y,1/2-z", "-x,y+1/2,-z+1/2"},
      {"-X, Y+0.5, -Z+.5", "-x,y+1/2,-z+1/2"},  {"'-x, +y+1/2, -z+1/2'", "-x,y+1/2,-z+1/2"},
      {"0.5+x, +y, 1/4-z", "x+1/2,y,-z+1/4"},   {"x-y, x, z+0.3333", "x-y,x,z+1/3"},
      {"-y+2/3,x-y+1/3,z+1/3", "-y+2/3,x-y+1/3,z+1/3"},
      // An origin shift that is no multiple of 1/24, as a fraction and as a decimal.
      {"-x+1/42, -y, 1 - z", "-x+0.0238095,-y,-z+1"}, {"-x+0.0238095,-y,-z+1", "-x+0.0238095,-y,-z+1"}};
  for (const auto& [text, canonical] : same)
    EXPECT_EQ(Op::from_xyz(text).to_xyz(), canonical) << text;
  EXPECT_NEAR(distance(Op::from_xyz("x-y, x, z+0.3333").apply(Point(0.1, 0.2, 0.3)),
                       Point(-0.1, 0.1, 0.3 + 1.0 / 3)), 0, 1e-12);
  for (const char* bad : {"x,y", "x,y,w", "x,x,z", "2x,y,z", "x,y,z+", "x,y,z,x", "x y", "0.1*x,y,z",
                          "x/2,y,z", "a,b,c", "x,y,z+1/0"})
    EXPECT_THROW(Op::from_xyz(bad), std::invalid_argument) << bad;
}

TEST(CrystalCell, AxesHaveTheCellLengthsAndAnglesAndImpossibleCellsAreRefused) {
  CrystalMaker cm;
  cm.set_cell(5, 6, 7, 80, 85, 95);
  const Point a = cm.to_orthogonal(Point(1, 0, 0)), b = cm.to_orthogonal(Point(0, 1, 0)),
              c = cm.to_orthogonal(Point(0, 0, 1));
  auto deg = [](const Point& u, const Point& v) {
    return std::acos(u.dot(v) / (u.length() * v.length())) * 180 / M_PI;
  };
  for (const auto& [got, want] : {std::make_pair(a.length(), 5.0), std::make_pair(b.length(), 6.0),
                                  std::make_pair(c.length(), 7.0), std::make_pair(deg(b, c), 80.0),
                                  std::make_pair(deg(a, c), 85.0), std::make_pair(deg(a, b), 95.0),
                                  std::make_pair(cm.volume(), std::fabs(a.dot(cross(b, c))))})
    EXPECT_NEAR(got, want, 1e-9);
  EXPECT_NEAR(a[1] * a[1] + a[2] * a[2] + b[2] * b[2], 0, 1e-12); // a along x, b in xy
  const Point f(0.3, -0.2, 0.7);
  EXPECT_NEAR(distance(cm.to_fractional(cm.to_orthogonal(f)), f), 0, 1e-12);
  for (const auto& cell : {std::array<double, 6>{0, 5, 5, 90, 90, 90}, {5, 5, 5, 90, 90, 180},
                           {5, 5, 5, 170, 60, 60}, {NAN, 5, 5, 90, 90, 90}})
    EXPECT_THROW(cm.set_cell(cell[0], cell[1], cell[2], cell[3], cell[4], cell[5]),
                 std::invalid_argument);
}

// The search works on operators reduced into the cell, identity first, repeats dropped; the
// symmetry codes it reports number the list as the file gave it, with the lattice shift between.
TEST(CrystalSymmetry, ReducedListAndTheCodesOfTheListAsGiven) {
  CrystalMaker cm;
  cm.set_symmetry_operators(operators({"-x+1,-y+1,-z+1", "x,y,z", "-x,-y,-z", "x+1/2,-y-1/2,z"}));
  EXPECT_EQ(cm.symmetry_operators(), operators({"x,y,z", "-x,-y,-z", "x+1/2,-y+1/2,z"}));
  const std::tuple<int, Translation, int, Translation> codes[] = {
      {0, Translation(0, 0, 0), 1, Translation(0, 0, 0)},
      {1, Translation(0, 0, 0), 0, Translation(-1, -1, -1)},
      {1, Translation(2, 1, 0), 0, Translation(1, 0, -1)},
      {2, Translation(0, 0, 0), 3, Translation(0, 1, 0)}};
  for (const auto& [op, t, listed, code] : codes) {
    EXPECT_EQ(cm.listed_code(op, t).listed, listed) << op;
    EXPECT_EQ(cm.listed_code(op, t).translation, code) << op;
  }
}

// A chain Ag0 - O1 - C2 (sited but for the carbon), each atom's origin naming site 10 + i and
// operator i.
THandle<Molecule> chain() {
  auto m = make_handle<Molecule>();
  for (const char* el : {"Ag", "O", "C"}) {
    auto a = make_handle<Atom>(Element(el), el);
    if (*el != 'C')
      a->set_site(make_handle<Site>(Point(), Point(1.5 * m->natoms(), 0, 0)));
    m->add_atom(a);
  }
  m->add_bond(0, 1);
  m->add_bond(1, 2);
  return m;
}

TEST(CrystalEditing, RemovingBondsSplitsMoleculesInPlaceAndSelect3dDropsUnsitedAtoms) {
  std::vector<AtomOrigin> origins(3);
  for (int i = 0; i < 3; ++i)
    origins[i] = AtomOrigin{10 + i, i, Translation(), 1.0};
  CrystalMaker cm;
  auto m = chain();
  cm.add_molecule(m, origins);
  cm.add_molecule(chain(), origins);
  ASSERT_TRUE(cm.remove(m->bond_between(0, 1)));
  // The piece holding atom 0 keeps index 0; the rest comes after the other molecules, with the
  // origins of its atoms.
  EXPECT_EQ(testing::formulas(cm), (std::vector<std::string>{"Ag", "C Ag O", "C O"}));
  EXPECT_EQ(cm.molecule(0)->formula() + cm.molecule(2)->formula(), "AgC O");
  EXPECT_EQ(cm.atom_origins(2)[0].site, 11);
  EXPECT_EQ(cm.atom_origins(2)[1].op, 2);
  EXPECT_FALSE(cm.remove(make_handle<Bond>(0, 1))); // no bond of this crystal
  // A ring bond opens the ring and leaves one molecule.
  EXPECT_TRUE(cm.remove(cm.molecule(1)->add_bond(2, 0)));
  EXPECT_EQ(cm.nmolecules(), 3);
  // Only sited atoms stay; a molecule left empty goes.
  cm.select_3d();
  EXPECT_EQ(testing::formulas(cm), (std::vector<std::string>{"Ag", "Ag O", "O"}));
}

} // namespace
} // namespace xtalmotif
