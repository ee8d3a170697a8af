// Bonds and bond types from coordinates, on small molecules placed by hand with textbook bond
// lengths and angles: the result must be the structure a chemist draws.

#include "chem/bond_perception.h"
#include "chem/rings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

constexpr double kDeg = 3.14159265358979323846 / 180.0;

struct Placed {
  const char* symbol;
  Point p;
};

class Built {
public:
  explicit Built(const std::vector<Placed>& atoms, bool hydrogens_present = true)
      : perception_(settings(hydrogens_present)) {
    for (std::size_t i = 0; i < atoms.size(); ++i) {
      std::string label = std::string(atoms[i].symbol) + std::to_string(i);
      mol_.add_atom(THandle<Atom>(make_handle<Atom3d>(
          Element(atoms[i].symbol), label, make_handle<Site>(atoms[i].p, atoms[i].p))));
    }
    perception_.add_bonds(mol_);
    problems_ = perception_.assign_bond_types(mol_);
  }
  Molecule& mol() { return mol_; }
  const std::vector<std::string>& problems() const { return problems_; }
  BondType type(int a, int b) const {
    THandle<Bond> bd = mol_.bond_between(a, b);
    return bd ? bd->type() : BondType::Unknown;
  }
  bool bonded(int a, int b) const { return !mol_.bond_between(a, b).is_null(); }
  int charge(int a) const { return mol_.atom(a)->formal_charge(); }
  int total_charge() const {
    int q = 0;
    for (int a = 0; a < mol_.natoms(); ++a)
      q += mol_.atom(a)->formal_charge();
    return q;
  }
  int count(BondType t) const {
    int n = 0;
    for (const auto& b : mol_.bonds())
      n += b->type() == t;
    return n;
  }

private:
  static BondPerceptionSettings settings(bool h) {
    BondPerceptionSettings s;
    s.hydrogens_present = h;
    return s;
  }
  Molecule3d mol_;
  BondPerception perception_;
  std::vector<std::string> problems_;
};

Point polar(double r, double deg) { return Point(r * std::cos(deg * kDeg), r * std::sin(deg * kDeg), 0); }

// Three hydrogens on an sp3 atom at `c`, staggered around the direction `away` (unit).
std::vector<Point> three_h(const Point& c, const Point& away, double length = 1.08) {
  Point helper = std::fabs(away[2]) < 0.9 ? Point(0, 0, 1) : Point(1, 0, 0);
  Point p1 = cross(away, helper);
  p1 *= 1.0 / p1.length();
  Point p2 = cross(away, p1);
  std::vector<Point> out;
  for (int k = 0; k < 3; ++k) {
    double t = k * 120 * kDeg;
    out.push_back(c + away * (0.334 * length) +
                  (p1 * std::cos(t) + p2 * std::sin(t)) * (0.943 * length));
  }
  return out;
}

void add_three_h(std::vector<Placed>& atoms, const Point& c, const Point& away,
                 double length = 1.08) {
  for (const Point& h : three_h(c, away, length))
    atoms.push_back({"H", h});
}

// A planar ring of `n` atoms of radius r, with a hydrogen 1.08 A out from each atom whose
// symbol is marked with a trailing 'H' request.
std::vector<Placed> ring(const std::vector<const char*>& symbols, double side,
                         const std::vector<bool>& with_h) {
  const int n = static_cast<int>(symbols.size());
  const double r = side / (2 * std::sin(3.14159265358979323846 / n));
  std::vector<Placed> out;
  for (int i = 0; i < n; ++i)
    out.push_back({symbols[i], polar(r, 90 + 360.0 * i / n)});
  for (int i = 0; i < n; ++i)
    if (with_h[i])
      out.push_back({"H", polar(r + 1.05, 90 + 360.0 * i / n)});
  return out;
}

int ring_bonds_of_type(const Built& b, int n, BondType t) {
  int k = 0;
  for (int i = 0; i < n; ++i)
    k += b.type(i, (i + 1) % n) == t;
  return k;
}

// ---- bonds from distances ---------------------------------------------------------------------

TEST(BondsFromDistances, CovalentRadiiPlusTolerance) {
  BondPerception p;
  // C-C: 0.76 + 0.76 + 0.4 = 1.92.
  EXPECT_TRUE(p.is_bond_length(Element("C"), Element("C"), 1.91));
  EXPECT_FALSE(p.is_bond_length(Element("C"), Element("C"), 1.93));
  EXPECT_FALSE(p.is_bond_length(Element("C"), Element("O"), 0.39));
  EXPECT_FALSE(p.is_bond_length(Element("H"), Element("H"), 0.74));
  EXPECT_FALSE(p.is_bond_length(Element("D"), Element("H"), 0.74));
  EXPECT_NEAR(p.max_bond_length(Element("Ag"), Element("O")), 1.45 + 0.66 + 0.4, 1e-12);
}

TEST(BondsFromDistances, HydrogenKeepsItsShortestBondOnly) {
  // O-H...O with the hydrogen 1.0 and 1.3 A from the two oxygens, and an H2 molecule.
  Built b({{"O", Point(0, 0, 0)},
           {"H", Point(1.0, 0, 0)},
           {"O", Point(2.3, 0, 0)},
           {"H", Point(10, 0, 0)},
           {"H", Point(10.74, 0, 0)}});
  EXPECT_TRUE(b.bonded(0, 1));
  EXPECT_FALSE(b.bonded(1, 2));
  EXPECT_FALSE(b.bonded(3, 4));
  EXPECT_EQ(b.mol().nbonds(), 1);
}

// ---- aromatic rings -----------------------------------------------------------------------------

TEST(AromaticRings, BenzenePyridineAndPyridinium) {
  Built benzene(ring({"C", "C", "C", "C", "C", "C"}, 1.39, {1, 1, 1, 1, 1, 1}));
  EXPECT_EQ(ring_bonds_of_type(benzene, 6, BondType::Aromatic), 6);
  EXPECT_EQ(benzene.count(BondType::Single), 6); // the C-H bonds
  EXPECT_TRUE(benzene.problems().empty());

  Built pyridine(ring({"N", "C", "C", "C", "C", "C"}, 1.39, {0, 1, 1, 1, 1, 1}));
  EXPECT_EQ(ring_bonds_of_type(pyridine, 6, BondType::Aromatic), 6);
  EXPECT_EQ(pyridine.charge(0), 0);

  // With a hydrogen on nitrogen the ring is a pyridinium cation.
  Built pyridinium(ring({"N", "C", "C", "C", "C", "C"}, 1.39, {1, 1, 1, 1, 1, 1}));
  EXPECT_EQ(ring_bonds_of_type(pyridinium, 6, BondType::Aromatic), 6);
  EXPECT_EQ(pyridinium.charge(0), 1);
  EXPECT_EQ(pyridinium.total_charge(), 1);
  EXPECT_TRUE(pyridinium.problems().empty());
}

TEST(AromaticRings, FiveMemberedRingsWithALonePair) {
  for (const char* hetero : {"N", "O", "S"}) {
    bool nh = std::string(hetero) == "N";
    Built five(ring({hetero, "C", "C", "C", "C"}, 1.40, {nh, 1, 1, 1, 1}));
    EXPECT_EQ(ring_bonds_of_type(five, 5, BondType::Aromatic), 5) << hetero;
    EXPECT_EQ(five.total_charge(), 0) << hetero;
    EXPECT_TRUE(five.problems().empty()) << hetero;
  }
}

TEST(AromaticRings, CyclohexeneIsNotAromatic) {
  // A ring of six carbons with two hydrogens each except one C=C: the matching finds the one
  // double bond and no aromatic ring.
  auto atoms = ring({"C", "C", "C", "C", "C", "C"}, 1.50, {0, 0, 0, 0, 0, 0});
  for (int i = 0; i < 6; ++i) {
    Point c = atoms[i].p;
    Point out = c * (1.0 / c.length());
    if (i < 2) {
      atoms.push_back({"H", c + out * 1.08});
    } else {
      atoms.push_back({"H", c + out * 0.62 + Point(0, 0, 0.88)});
      atoms.push_back({"H", c + out * 0.62 - Point(0, 0, 0.88)});
    }
  }
  Built b(atoms);
  EXPECT_EQ(b.count(BondType::Aromatic), 0);
  EXPECT_EQ(b.type(0, 1), BondType::Double);
  EXPECT_EQ(b.count(BondType::Double), 1);
}

// Two regular hexagons of side 1.40 sharing the bond 0-1 (along y at x = 0): atoms 0-5 make the
// right ring, 0, 1 and 6-9 the left one. A hydrogen points out from its own ring centre at every
// atom except the fusion pair; the atoms flagged in `saturated` get two, above and below the
// plane, instead of one.
std::vector<Placed> fused_hexagons(const std::vector<bool>& saturated, double fusion = 1.40) {
  const double s = 1.40, cx = s * std::sqrt(3.0) / 2;
  std::vector<Placed> atoms = {{"C", Point(0, fusion / 2, 0)}, {"C", Point(0, -fusion / 2, 0)}};
  std::vector<Point> centre = {Point(), Point()};
  // Each ring is walked from atom 1 away from the fusion bond round to atom 0.
  const std::vector<std::pair<double, std::vector<double>>> rings = {
      {cx, {270, 330, 30, 90}}, {-cx, {270, 210, 150, 90}}};
  for (const auto& r : rings) {
    Point c(r.first, 0, 0);
    for (double deg : r.second) {
      atoms.push_back({"C", c + polar(s, deg)});
      centre.push_back(c);
    }
  }
  const int nc = static_cast<int>(atoms.size());
  for (int i = 2; i < nc; ++i) {
    Point out = atoms[i].p - centre[i];
    out *= 1.0 / out.length();
    if (saturated[i]) {
      atoms.push_back({"H", atoms[i].p + out * 0.62 + Point(0, 0, 0.88)});
      atoms.push_back({"H", atoms[i].p + out * 0.62 - Point(0, 0, 0.88)});
    } else {
      atoms.push_back({"H", atoms[i].p + out * 1.08});
    }
  }
  return atoms;
}

TEST(AromaticRings, NaphthaleneAndTetralin) {
  Built naphthalene(fused_hexagons(std::vector<bool>(10, false)));
  ASSERT_EQ(naphthalene.mol().natoms(), 18);
  EXPECT_TRUE(naphthalene.bonded(0, 1));
  EXPECT_TRUE(naphthalene.bonded(1, 2) && naphthalene.bonded(5, 0));
  EXPECT_TRUE(naphthalene.bonded(1, 6) && naphthalene.bonded(9, 0));
  // Whichever Kekule structure the matching finds, both rings are aromatic: a ring whose
  // fusion atoms take their double bond in the other ring still counts those electrons.
  EXPECT_EQ(naphthalene.count(BondType::Aromatic), 11);
  EXPECT_EQ(naphthalene.count(BondType::Double), 0);
  EXPECT_TRUE(naphthalene.problems().empty());
  // A long shared bond is the last the matching makes double, so here one ring holds three
  // double bonds and the other takes the electrons of its fusion atoms from the first.
  Built long_fusion(fused_hexagons(std::vector<bool>(10, false), 1.46));
  EXPECT_EQ(long_fusion.count(BondType::Aromatic), 11);
  EXPECT_EQ(long_fusion.count(BondType::Double), 0);
  EXPECT_TRUE(long_fusion.problems().empty());

  // Tetralin: the left ring is saturated apart from the shared bond, so only the right ring
  // is aromatic and the CH2 ring bonds stay single.
  std::vector<bool> saturated(10, false);
  for (int i = 6; i < 10; ++i)
    saturated[i] = true;
  Built tetralin(fused_hexagons(saturated));
  EXPECT_EQ(tetralin.count(BondType::Aromatic), 6);
  EXPECT_EQ(tetralin.type(0, 1), BondType::Aromatic);
  EXPECT_EQ(tetralin.type(1, 6), BondType::Single);
  EXPECT_EQ(tetralin.type(6, 7), BondType::Single);
  EXPECT_EQ(tetralin.type(9, 0), BondType::Single);
  EXPECT_EQ(tetralin.count(BondType::Double), 0);
  EXPECT_TRUE(tetralin.problems().empty());
}

// ---- functional groups --------------------------------------------------------------------------

std::vector<Placed> acetic_acid(bool with_acid_h) {
  // 0 C methyl, 1 C carboxyl, 2 O carbonyl, 3 O hydroxyl, (4 H on O3), then methyl H.
  std::vector<Placed> a = {{"C", Point(0, 0, 0)},
                           {"C", Point(1.50, 0, 0)},
                           {"O", Point(1.50, 0, 0) + polar(1.21, 60)},
                           {"O", Point(1.50, 0, 0) + polar(1.31, -60)}};
  if (with_acid_h)
    a.push_back({"H", a[3].p + Point(0.97, 0, 0)});
  add_three_h(a, a[0].p, Point(-1, 0, 0));
  return a;
}

TEST(FunctionalGroups, CarboxylicAcid) {
  Built b(acetic_acid(true));
  EXPECT_EQ(b.type(1, 2), BondType::Double);
  EXPECT_EQ(b.type(1, 3), BondType::Single);
  EXPECT_EQ(b.type(3, 4), BondType::Single);
  EXPECT_EQ(b.mol().hydrogen_count(3), 1);
  EXPECT_EQ(b.total_charge(), 0);
  EXPECT_TRUE(b.problems().empty());
}

TEST(FunctionalGroups, CarboxylateHasOneNegativeOxygen) {
  // Both C-O 1.26 A, as in a real carboxylate.
  std::vector<Placed> a = {{"C", Point(0, 0, 0)},
                           {"C", Point(1.52, 0, 0)},
                           {"O", Point(1.52, 0, 0) + polar(1.26, 60)},
                           {"O", Point(1.52, 0, 0) + polar(1.26, -60)}};
  add_three_h(a, a[0].p, Point(-1, 0, 0));
  Built b(a);
  EXPECT_EQ(b.count(BondType::Double), 1);
  EXPECT_EQ(b.type(1, 2) == BondType::Double ? b.charge(3) : b.charge(2), -1);
  EXPECT_EQ(b.total_charge(), -1);
  EXPECT_TRUE(b.problems().empty());
}

TEST(FunctionalGroups, CarboxylateBoundToSilverIsStillACarboxylate) {
  std::vector<Placed> a = {{"C", Point(0, 0, 0)},
                           {"C", Point(1.52, 0, 0)},
                           {"O", Point(1.52, 0, 0) + polar(1.25, 60)},
                           {"O", Point(1.52, 0, 0) + polar(1.27, -60)}};
  add_three_h(a, a[0].p, Point(-1, 0, 0));
  a.push_back({"Ag", a[3].p + Point(2.2, 0, 0)});
  Built b(a);
  const int ag = static_cast<int>(a.size()) - 1;
  ASSERT_TRUE(b.bonded(3, ag));
  EXPECT_EQ(b.type(3, ag), BondType::Single);
  EXPECT_EQ(b.type(1, 2), BondType::Double);
  EXPECT_EQ(b.type(1, 3), BondType::Single);
  EXPECT_EQ(b.charge(3), -1);
  EXPECT_EQ(b.charge(2), 0);
}

TEST(FunctionalGroups, PrimaryAmide) {
  // Formamide: 0 C, 1 O, 2 N, 3 H on C, 4 and 5 H on N.
  Point n = polar(1.33, 210);
  Built b({{"C", Point(0, 0, 0)},
           {"O", polar(1.23, 90)},
           {"N", n},
           {"H", polar(1.09, 330)},
           {"H", n + polar(1.01, 150)},
           {"H", n + polar(1.01, 270)}});
  EXPECT_EQ(b.type(0, 1), BondType::Double);
  EXPECT_EQ(b.type(0, 2), BondType::Single);
  EXPECT_EQ(b.mol().hydrogen_count(2), 2);
  EXPECT_EQ(b.total_charge(), 0);
  EXPECT_TRUE(b.problems().empty());
}

TEST(FunctionalGroups, NitroGroup) {
  // Nitromethane: 0 C, 1 N, 2 and 3 O.
  std::vector<Placed> a = {{"C", Point(0, 0, 0)},
                           {"N", Point(1.49, 0, 0)},
                           {"O", Point(1.49, 0, 0) + polar(1.22, 62.5)},
                           {"O", Point(1.49, 0, 0) + polar(1.22, -62.5)}};
  add_three_h(a, a[0].p, Point(-1, 0, 0));
  Built b(a);
  EXPECT_EQ(b.charge(1), 1);
  EXPECT_EQ(b.count(BondType::Double), 1);
  EXPECT_EQ(b.charge(2) + b.charge(3), -1);
  // The negative oxygen is the singly bonded one.
  int single_o = b.type(1, 2) == BondType::Single ? 2 : 3;
  EXPECT_EQ(b.charge(single_o), -1);
  EXPECT_EQ(b.total_charge(), 0);
}

TEST(FunctionalGroups, SulfoxideSulfoneAndSulfate) {
  Point c1(1.80, 0, 0), c2 = polar(1.80, 97);
  Point o_dir(-0.3, -0.3, 0.9);
  o_dir *= 1.0 / o_dir.length();
  auto dmso = std::vector<Placed>{{"S", Point(0, 0, 0)}, {"C", c1}, {"C", c2}, {"O", o_dir * 1.50}};
  add_three_h(dmso, c1, Point(1, 0, 0));
  add_three_h(dmso, c2, c2 * (1.0 / c2.length()));
  Built sulfoxide(dmso);
  EXPECT_EQ(sulfoxide.type(0, 3), BondType::Double);
  EXPECT_EQ(sulfoxide.total_charge(), 0);
  EXPECT_TRUE(sulfoxide.problems().empty());

  auto sulfone_atoms = dmso;
  Point o2_dir(-0.3, -0.3, -0.9);
  o2_dir *= 1.0 / o2_dir.length();
  sulfone_atoms.push_back({"O", o2_dir * 1.44});
  Built sulfone(sulfone_atoms);
  EXPECT_EQ(sulfone.type(0, 3), BondType::Double);
  EXPECT_EQ(sulfone.type(0, static_cast<int>(sulfone_atoms.size()) - 1), BondType::Double);
  EXPECT_EQ(sulfone.total_charge(), 0);

  // Sulfate: two S=O and two S-O(-).
  const double s = 1.47 / std::sqrt(3.0);
  Built sulfate({{"S", Point(0, 0, 0)},
                 {"O", Point(s, s, s)},
                 {"O", Point(s, -s, -s)},
                 {"O", Point(-s, s, -s)},
                 {"O", Point(-s, -s, s)}});
  EXPECT_EQ(sulfate.count(BondType::Double), 2);
  EXPECT_EQ(sulfate.total_charge(), -2);
  EXPECT_EQ(sulfate.charge(0), 0);
}

TEST(FunctionalGroups, AmmoniumAndGuanidinium) {
  std::vector<Placed> methylammonium = {{"C", Point(0, 0, 0)}, {"N", Point(1.49, 0, 0)}};
  add_three_h(methylammonium, Point(0, 0, 0), Point(-1, 0, 0));
  add_three_h(methylammonium, Point(1.49, 0, 0), Point(1, 0, 0), 1.01);
  Built ammonium(methylammonium);
  EXPECT_EQ(ammonium.charge(1), 1);
  EXPECT_EQ(ammonium.count(BondType::Single), 7);

  std::vector<Placed> g = {{"C", Point(0, 0, 0)}};
  for (int k = 0; k < 3; ++k)
    g.push_back({"N", polar(1.33, 120 * k)});
  for (int k = 0; k < 3; ++k) {
    g.push_back({"H", polar(1.33, 120 * k) + polar(1.01, 120 * k + 60)});
    g.push_back({"H", polar(1.33, 120 * k) + polar(1.01, 120 * k - 60)});
  }
  Built guanidinium(g);
  EXPECT_EQ(guanidinium.count(BondType::Double), 1);
  EXPECT_EQ(guanidinium.total_charge(), 1);
  EXPECT_TRUE(guanidinium.problems().empty());
}

TEST(FunctionalGroups, AminoNitrogenThatCannotTakeTheLeftoverPiBond) {
  // 2-Aminoallyl, H2C-C(NH2)=CH2 with one terminal carbon short of a partner: the amino
  // nitrogen sits on the middle carbon, whose pi bond is taken, so giving up its lone pair
  // cannot reach the terminal carbon and it stays neutral. A pyridinium ring beside it still
  // gets its charge from the same search afterwards.
  const Point b(0, 0, 0), a = polar(1.40, 90), c = polar(1.40, 210), n = polar(1.40, 330);
  std::vector<Placed> atoms = {{"C", a}, {"C", b}, {"C", c}, {"N", n}};
  for (const Point& h : {a + polar(1.08, 30), a + polar(1.08, 150), c + polar(1.08, 150),
                         c + polar(1.08, 270), n + polar(1.01, 270), n + polar(1.01, 30)})
    atoms.push_back({"H", h});
  const int first_ring_atom = static_cast<int>(atoms.size());
  for (const Placed& p : ring({"N", "C", "C", "C", "C", "C"}, 1.39, {1, 1, 1, 1, 1, 1}))
    atoms.push_back({p.symbol, p.p + Point(10, 0, 0)});
  Built both(atoms);
  EXPECT_EQ(both.charge(3), 0);
  EXPECT_EQ(both.type(1, 3), BondType::Single);
  EXPECT_EQ(both.count(BondType::Double), 1);
  EXPECT_NE(both.type(0, 1) == BondType::Double, both.type(1, 2) == BondType::Double);
  EXPECT_EQ(both.charge(first_ring_atom), 1);
  EXPECT_EQ(both.count(BondType::Aromatic), 6);
  EXPECT_EQ(both.total_charge(), 1);
  ASSERT_EQ(both.problems().size(), 1u);
  EXPECT_NE(both.problems()[0].find("unresolved valence"), std::string::npos);
}

TEST(FunctionalGroups, NitrileIsATripleBond) {
  std::vector<Placed> a = {{"C", Point(0, 0, 0)}, {"C", Point(1.46, 0, 0)}, {"N", Point(2.61, 0, 0)}};
  add_three_h(a, a[0].p, Point(-1, 0, 0));
  Built b(a);
  EXPECT_EQ(b.type(1, 2), BondType::Triple);
  EXPECT_EQ(b.type(0, 1), BondType::Single);
}

TEST(FunctionalGroups, WaterHasTwoHydrogens) {
  Built b({{"O", Point(0, 0, 0)}, {"H", Point(0.96, 0, 0)}, {"H", polar(0.96, 104.5)}});
  EXPECT_EQ(b.mol().hydrogen_count(0), 2);
  EXPECT_EQ(b.count(BondType::Single), 2);
  EXPECT_EQ(b.mol().atom(0)->implicit_hydrogens(), 0);
}

// ---- without hydrogen sites ------------------------------------------------------------------------

TEST(HydrogensFromGeometry, RingHydrogensAndTheirNitrogens) {
  Built benzene(ring({"C", "C", "C", "C", "C", "C"}, 1.39, {0, 0, 0, 0, 0, 0}), false);
  for (int i = 0; i < 6; ++i)
    EXPECT_EQ(benzene.mol().atom(i)->implicit_hydrogens(), 1);
  EXPECT_EQ(benzene.count(BondType::Aromatic), 6);

  // Pyridine-like nitrogen takes part in a double bond; pyrrole-like nitrogen carries H.
  Built pyridine(ring({"N", "C", "C", "C", "C", "C"}, 1.39, {0, 0, 0, 0, 0, 0}), false);
  EXPECT_EQ(pyridine.mol().atom(0)->implicit_hydrogens(), 0);
  EXPECT_EQ(pyridine.count(BondType::Aromatic), 6);
  Built pyrrole(ring({"N", "C", "C", "C", "C"}, 1.40, {0, 0, 0, 0, 0}), false);
  EXPECT_EQ(pyrrole.mol().atom(0)->implicit_hydrogens(), 1);
  EXPECT_EQ(pyrrole.count(BondType::Aromatic), 5);
}

TEST(HydrogensFromGeometry, AcidAndCarboxylateByBondLengths) {
  // C=O 1.21 and C-O 1.31: acid, one hydrogen on the long bond's oxygen; methyl carbon 3 H.
  Built acid({{"C", Point(0, 0, 0)},
              {"C", Point(1.50, 0, 0)},
              {"O", Point(1.50, 0, 0) + polar(1.21, 60)},
              {"O", Point(1.50, 0, 0) + polar(1.31, -60)}},
             false);
  EXPECT_EQ(acid.mol().atom(0)->implicit_hydrogens(), 3);
  EXPECT_EQ(acid.mol().atom(2)->implicit_hydrogens(), 0);
  EXPECT_EQ(acid.mol().atom(3)->implicit_hydrogens(), 1);
  EXPECT_EQ(acid.type(1, 2), BondType::Double);
  EXPECT_EQ(acid.total_charge(), 0);
  // Two equal 1.25 A bonds: carboxylate.
  Built carboxylate({{"C", Point(0, 0, 0)},
                     {"C", Point(1.52, 0, 0)},
                     {"O", Point(1.52, 0, 0) + polar(1.25, 60)},
                     {"O", Point(1.52, 0, 0) + polar(1.25, -60)}},
                    false);
  EXPECT_EQ(carboxylate.mol().atom(2)->implicit_hydrogens() +
                carboxylate.mol().atom(3)->implicit_hydrogens(),
            0);
  EXPECT_EQ(carboxylate.total_charge(), -1);
}

// ---- rings ------------------------------------------------------------------------------------------

TEST(SmallRings, NaphthaleneHasTwoSixRingsAndNoTen) {
  Molecule m;
  for (int i = 0; i < 10; ++i)
    m.add_atom(make_handle<Atom>(Element("C")));
  // Perimeter 0..9 and the fusion bond 0-5.
  for (int i = 0; i < 10; ++i)
    m.add_bond(i, (i + 1) % 10);
  m.add_bond(0, 5);
  auto rings = find_small_rings(m, 6);
  ASSERT_EQ(rings.size(), 2u);
  EXPECT_EQ(rings[0], (std::vector<int>{0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(rings[1], (std::vector<int>{0, 5, 6, 7, 8, 9}));
  EXPECT_EQ(find_small_rings(m, 10).size(), 3u);
  // Leaving out atom 0 breaks both small rings.
  std::vector<char> skip(10, 0);
  skip[0] = 1;
  EXPECT_TRUE(find_small_rings(m, 10, skip).empty());
}

// Every simple cycle of at most `max_size` atoms that avoids `excluded`, found the slow way:
// every path from every atom, each cycle kept once in its listed form.
std::vector<std::vector<int>> rings_by_every_path(const Molecule& m, int max_size,
                                                  const std::vector<char>& excluded) {
  std::vector<std::vector<int>> found;
  std::vector<int> path;
  std::function<void(int)> extend = [&](int at) {
    for (int next : m.neighbours(at)) {
      if (excluded[next])
        continue;
      if (next == path[0] && path.size() >= 3) {
        std::vector<int> ring = path;
        if (*std::min_element(ring.begin(), ring.end()) == ring[0] && ring[1] < ring.back())
          found.push_back(ring);
        continue;
      }
      if (std::find(path.begin(), path.end(), next) != path.end() ||
          static_cast<int>(path.size()) >= max_size)
        continue;
      path.push_back(next);
      extend(next);
      path.pop_back();
    }
  };
  for (int a = 0; a < m.natoms(); ++a)
    if (!excluded[a]) {
      path.assign(1, a);
      extend(a);
    }
  std::sort(found.begin(), found.end(), [](const std::vector<int>& a, const std::vector<int>& b) {
    return a.size() != b.size() ? a.size() < b.size() : a < b;
  });
  return found;
}

// Molecules of different sizes one after another, with hydrogens and chains bonded between
// ring atoms in the neighbour lists and a metal left out: the search walks ring atoms only,
// and its working space is reused from one molecule to the next.
TEST(SmallRings, RingAtomsOnlyAndEveryMoleculeAfterAnother) {
  auto build = [](int rings_fused) {
    // A ladder of fused four- to six-membered rings, with a hydrogen on every ring atom added
    // between its ring bonds, a two-atom chain on atom 0, and a metal chelated by 1 and 3.
    Molecule m;
    const int n = 2 * (rings_fused + 1);
    for (int i = 0; i < n; ++i)
      m.add_atom(make_handle<Atom>(Element("C")));
    for (int i = 0; i + 2 < n; i += 2) {
      m.add_bond(i, i + 2);
      const int h = m.add_atom(make_handle<Atom>(Element("H")));
      m.add_bond(i, h);
      m.add_bond(i + 1, i + 3);
    }
    for (int i = 0; i < n; i += 2)
      m.add_bond(i, i + 1);
    const int c1 = m.add_atom(make_handle<Atom>(Element("C")));
    const int c2 = m.add_atom(make_handle<Atom>(Element("C")));
    m.add_bond(0, c1);
    m.add_bond(c1, c2);
    const int metal = m.add_atom(make_handle<Atom>(Element("Cu")));
    m.add_bond(1, metal);
    m.add_bond(3, metal);
    return std::make_pair(m, metal);
  };
  for (int size : {5, 1, 8, 2, 8}) {
    auto [m, metal] = build(size);
    std::vector<char> none(m.natoms(), 0), no_metal(m.natoms(), 0);
    no_metal[metal] = 1;
    for (int max_size : {4, 6, 8}) {
      EXPECT_EQ(find_small_rings(m, max_size), rings_by_every_path(m, max_size, none))
          << size << " " << max_size;
      EXPECT_EQ(find_small_rings(m, max_size, no_metal),
                rings_by_every_path(m, max_size, no_metal))
          << size << " " << max_size;
    }
    EXPECT_FALSE(find_small_rings(m, 6, no_metal).empty());
  }
  // A molecule without rings after all those.
  Molecule chain;
  for (int i = 0; i < 4; ++i)
    chain.add_atom(make_handle<Atom>(Element("C")));
  for (int i = 0; i < 3; ++i)
    chain.add_bond(i, i + 1);
  EXPECT_TRUE(find_small_rings(chain, 6).empty());
}

} // namespace
} // namespace xtalmotif
