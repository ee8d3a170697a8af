// Bonds, bond types and charges from coordinates, on small molecules placed by hand with textbook
// bond lengths and angles: the result must be the structure a chemist draws.

#include "chem/bond_perception.h"
#include "kernel_test_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <tuple>

namespace xtalmotif {
namespace {

struct Placed {
  const char* symbol;
  Point p;
};
using Atoms = std::vector<Placed>;

Point polar(double r, double deg) {
  const double t = deg * std::acos(-1.0) / 180;
  return Point(r * std::cos(t), r * std::sin(t), 0);
}

// The molecule perceived from placed atoms, with or without hydrogen sites.
struct Built {
  explicit Built(const Atoms& atoms, bool hydrogens_present = true) {
    for (std::size_t i = 0; i < atoms.size(); ++i)
      mol_.add_atom(THandle<Atom>(make_handle<Atom3d>(Element(atoms[i].symbol), std::to_string(i),
                                                      make_handle<Site>(atoms[i].p, atoms[i].p))));
    BondPerceptionSettings s;
    s.hydrogens_present = hydrogens_present;
    BondPerception(s).add_bonds(mol_);
    problems_ = BondPerception(s).assign_bond_types(mol_);
  }
  BondType type(int a, int b) const {
    auto bond = mol_.bond_between(a, b);
    return bond ? bond->type() : BondType::Unknown;
  }
  int charge(int a) const { return mol_.atom(a)->formal_charge(); }
  /// Bonds by type (single, double, triple, aromatic), total charge, implied H and problems.
  std::string summary() const {
    int n[10] = {}, q = 0, h = 0;
    for (const auto& b : mol_.bonds())
      ++n[static_cast<int>(b->type())];
    for (int a = 0; a < mol_.natoms(); ++a) {
      q += charge(a);
      h += std::max(0, mol_.atom(a)->implicit_hydrogens());
    }
    std::ostringstream os;
    os << "S" << n[1] << " D" << n[2] << " T" << n[3] << " A" << n[5] << " q" << q << " h" << h
       << " !" << problems_.size();
    return os.str();
  }
  Molecule3d mol_;
  std::vector<std::string> problems_;
};

// Three staggered sp3 hydrogens on `c`, pointing away along the unit vector `away`.
void add_three_h(Atoms& atoms, Point c, Point away, double length = 1.08) {
  Point p1 = cross(away, std::fabs(away[2]) < 0.9 ? Point(0, 0, 1) : Point(1, 0, 0));
  p1 *= 1.0 / p1.length();
  const Point p2 = cross(away, p1);
  for (int k = 0; k < 3; ++k)
    atoms.push_back({"H", c + away * (0.334 * length) +
                              (p1 * std::cos(k * 2.0944) + p2 * std::sin(k * 2.0944)) *
                                  (0.943 * length)});
}

// A planar regular ring of the given side, a hydrogen 1.05 A out from the atoms flagged.
Atoms ring(const std::vector<const char*>& symbols, double side, const std::vector<bool>& with_h,
           const Point& at = Point()) {
  const int n = static_cast<int>(symbols.size());
  const double r = side / (2 * std::sin(std::acos(-1.0) / n));
  Atoms out;
  for (int i = 0; i < n; ++i)
    out.push_back({symbols[i], at + polar(r, 90 + 360.0 * i / n)});
  for (int i = 0; i < n; ++i)
    if (with_h[i])
      out.push_back({"H", at + polar(r + 1.05, 90 + 360.0 * i / n)});
  return out;
}

// Two hexagons of side 1.40 sharing the bond 0-1 (atoms 0-5 the right ring, 0, 1 and 6-9 the
// left), a hydrogen pointing out at every other atom, two (above and below) where saturated.
Atoms fused_hexagons(const std::vector<bool>& saturated, double fusion = 1.40) {
  const double cx = 1.40 * std::sqrt(3.0) / 2;
  Atoms atoms = {{"C", Point(0, fusion / 2, 0)}, {"C", Point(0, -fusion / 2, 0)}};
  std::vector<Point> centre = {Point(), Point()};
  for (const auto& [x, degrees] : {std::make_pair(cx, std::vector<double>{270, 330, 30, 90}),
                                   std::make_pair(-cx, std::vector<double>{270, 210, 150, 90})})
    for (double deg : degrees) {
      atoms.push_back({"C", Point(x, 0, 0) + polar(1.40, deg)});
      centre.push_back(Point(x, 0, 0));
    }
  for (int i = 2; i < 10; ++i) {
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

// CH3-C(O)(O) with the two C-O lengths given, then an extra atom on the second O if asked.
Atoms carboxyl(double co1, double co2, bool hydrogens, const char* on_o2 = nullptr, double d = 0) {
  const Point c(1.50, 0, 0);
  Atoms a = {{"C", Point()}, {"C", c}, {"O", c + polar(co1, 60)}, {"O", c + polar(co2, -60)}};
  if (on_o2)
    a.push_back({on_o2, a[3].p + Point(d, 0, 0)});
  if (hydrogens)
    add_three_h(a, a[0].p, Point(-1, 0, 0));
  return a;
}

TEST(BondsFromDistances, CovalentRadiiPlusToleranceAndHydrogenKeepsItsShortestBond) {
  const BondPerception p;
  const struct {
    const char *a, *b;
    double d;
    bool bond;
  } cases[] = {{"C", "C", 1.91, true},  {"C", "C", 1.93, false}, {"C", "O", 0.39, false},
               {"H", "H", 0.74, false}, {"D", "H", 0.74, false}, {"Ag", "O", 2.50, true},
               {"Ag", "O", 2.52, false}};
  for (const auto& c : cases)
    EXPECT_EQ(p.is_bond_length(Element(c.a), Element(c.b), c.d), c.bond) << c.a << c.b << c.d;
  // O-H...O with the hydrogen 1.0 and 1.3 A from the two oxygens, and an H2 molecule.
  Built b({{"O", Point(0, 0, 0)}, {"H", Point(1.0, 0, 0)}, {"O", Point(2.3, 0, 0)},
           {"H", Point(10, 0, 0)}, {"H", Point(10.74, 0, 0)}});
  EXPECT_EQ(b.mol_.nbonds(), 1);
  EXPECT_EQ(b.type(0, 1), BondType::Single);
}

TEST(BondTypes, RingsAndFunctionalGroupsComeOutAsDrawn) {
  const std::vector<bool> all(6, true), none(6, false), no_nh = {0, 1, 1, 1, 1, 1};
  const std::vector<const char*> c6(6, "C"), n1c5 = {"N", "C", "C", "C", "C", "C"},
                                 n1c4 = {"N", "C", "C", "C", "C"};
  Atoms cyclohexene = ring(c6, 1.50, std::vector<bool>(6, false));
  for (int i = 0; i < 6; ++i) {
    const Point c = cyclohexene[i].p, out = c * (1.0 / c.length());
    for (double z : i < 2 ? std::vector<double>{0} : std::vector<double>{0.88, -0.88})
      cyclohexene.push_back({"H", c + out * (z == 0 ? 1.08 : 0.62) + Point(0, 0, z)});
  }
  std::vector<bool> tetralin(10, false);
  std::fill(tetralin.begin() + 6, tetralin.end(), true);
  Atoms nitromethane = {{"C", Point()}, {"N", Point(1.49, 0, 0)},
                        {"O", Point(1.49, 0, 0) + polar(1.22, 62.5)},
                        {"O", Point(1.49, 0, 0) + polar(1.22, -62.5)}};
  add_three_h(nitromethane, Point(), Point(-1, 0, 0));
  Atoms nitrile = {{"C", Point()}, {"C", Point(1.46, 0, 0)}, {"N", Point(2.61, 0, 0)}};
  add_three_h(nitrile, Point(), Point(-1, 0, 0));
  const double t = 1.47 / std::sqrt(3.0);
  Atoms methylammonium = {{"C", Point()}, {"N", Point(1.49, 0, 0)}};
  add_three_h(methylammonium, Point(), Point(-1, 0, 0));
  add_three_h(methylammonium, Point(1.49, 0, 0), Point(1, 0, 0), 1.01);
  const Point n = polar(1.33, 210);
  // 2-Aminoallyl H2C-C(NH2)=CH2, one terminal carbon short of a partner: the amino N sits on
  // the carbon whose pi bond is taken, so it cannot give the terminal carbon its lone pair and
  // stays neutral; a pyridinium ring beside it still gets its charge from the same search.
  const Point aa = polar(1.40, 90), ac = polar(1.40, 210), an = polar(1.40, 330);
  Atoms allyl = {{"C", aa}, {"C", Point()}, {"C", ac}, {"N", an}};
  for (const Point& h : {aa + polar(1.08, 30), aa + polar(1.08, 150), ac + polar(1.08, 150),
                         ac + polar(1.08, 270), an + polar(1.01, 270), an + polar(1.01, 30)})
    allyl.push_back({"H", h});
  for (const Placed& p : ring(n1c5, 1.39, all, Point(10, 0, 0)))
    allyl.push_back(p);
  const BondType single = BondType::Single, dbl = BondType::Double, arom = BondType::Aromatic;
  const struct {
    const char* what;
    Atoms atoms;
    const char* summary;
    std::vector<std::pair<int, int>> charges = {}; // atom, formal charge
    std::vector<std::tuple<int, int, BondType>> bonds = {};
    bool hydrogen_sites = true;
  } cases[] = {
      {"benzene", ring(c6, 1.39, all), "S6 D0 T0 A6 q0 h0 !0"},
      {"pyridine", ring(n1c5, 1.39, no_nh), "S5 D0 T0 A6 q0 h0 !0"},
      {"pyridinium", ring(n1c5, 1.39, all), "S6 D0 T0 A6 q1 h0 !0", {{0, 1}}},
      {"pyrrole", ring(n1c4, 1.40, all), "S5 D0 T0 A5 q0 h0 !0"},
      {"thiophene", ring({"S", "C", "C", "C", "C"}, 1.40, no_nh), "S4 D0 T0 A5 q0 h0 !0"},
      {"cyclohexene", cyclohexene, "S15 D1 T0 A0 q0 h0 !0"},
      // Whichever Kekule structure the matching finds, both rings count as aromatic, also when
      // a long shared bond leaves one ring all three double bonds.
      {"naphthalene", fused_hexagons(std::vector<bool>(10, false)), "S8 D0 T0 A11 q0 h0 !0"},
      {"tetralin", fused_hexagons(tetralin), "S17 D0 T0 A6 q0 h0 !0", {},
       {{0, 1, arom}, {1, 6, single}}},
      {"acetic acid", carboxyl(1.21, 1.31, true, "H", 0.97), "S6 D1 T0 A0 q0 h0 !0", {},
       {{1, 2, dbl}}},
      {"acetate", carboxyl(1.26, 1.26, true), "S5 D1 T0 A0 q-1 h0 !0"},
      {"silver acetate", carboxyl(1.25, 1.27, true, "Ag", 2.2), "S6 D1 T0 A0 q-1 h0 !0", {{3, -1}},
       {{1, 2, dbl}, {3, 4, single}}},
      {"formamide", {{"C", Point()}, {"O", polar(1.23, 90)}, {"N", n}, {"H", polar(1.09, 330)},
                     {"H", n + polar(1.01, 150)}, {"H", n + polar(1.01, 270)}},
       "S4 D1 T0 A0 q0 h0 !0"},
      {"nitromethane", nitromethane, "S5 D1 T0 A0 q0 h0 !0", {{1, 1}}},
      {"acetonitrile", nitrile, "S4 D0 T1 A0 q0 h0 !0"},
      {"sulfate", {{"S", Point()}, {"O", Point(t, t, t)}, {"O", Point(t, -t, -t)},
                   {"O", Point(-t, t, -t)}, {"O", Point(-t, -t, t)}},
       "S2 D2 T0 A0 q-2 h0 !0"},
      {"methylammonium", methylammonium, "S7 D0 T0 A0 q1 h0 !0"},
      // Without hydrogen sites the hydrogens are implied from the geometry: ring CH, pyrrole NH
      // but no H on pyridine N, and acid or carboxylate told apart by the two C-O lengths.
      {"benzene, no H sites", ring(c6, 1.39, none), "S0 D0 T0 A6 q0 h6 !0", {}, {}, false},
      {"pyridine, no H sites", ring(n1c5, 1.39, none), "S0 D0 T0 A6 q0 h5 !0", {}, {}, false},
      {"pyrrole, no H sites", ring(n1c4, 1.40, none), "S0 D0 T0 A5 q0 h5 !0", {}, {}, false},
      {"acid, no H sites", carboxyl(1.21, 1.31, false), "S2 D1 T0 A0 q0 h4 !0", {}, {{1, 2, dbl}},
       false},
      {"acetate, no H sites", carboxyl(1.25, 1.25, false), "S2 D1 T0 A0 q-1 h3 !0", {}, {}, false},
      {"aminoallyl beside pyridinium", allyl, "S14 D1 T0 A6 q1 h0 !1", {{3, 0}, {10, 1}},
       {{1, 3, single}}},
  };
  for (const auto& c : cases) {
    const Built b(c.atoms, c.hydrogen_sites);
    EXPECT_EQ(b.summary(), c.summary) << c.what;
    // A negative atom is the singly bonded end of its group, never one with a double bond.
    for (int a = 0; a < b.mol_.natoms(); ++a)
      for (int o : b.mol_.neighbours(a))
        EXPECT_FALSE(b.charge(a) < 0 && b.type(a, o) == dbl) << c.what << " " << a;
    for (const auto& [atom, q] : c.charges)
      EXPECT_EQ(b.charge(atom), q) << c.what << " atom " << atom;
    for (const auto& [x, y, t] : c.bonds)
      EXPECT_EQ(b.type(x, y), t) << c.what << " " << x << "-" << y;
  }
}

} // namespace
} // namespace xtalmotif
