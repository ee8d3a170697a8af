// Bonds, bond types and charges from coordinates, on small molecules placed by hand with textbook
// bond lengths and angles: the result must be the structure a chemist draws.

#include "kernel/bond_perception.h"
#include "kernel/rings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

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

class Built {
public:
  explicit Built(const Atoms& atoms, bool hydrogens_present = true) {
    for (std::size_t i = 0; i < atoms.size(); ++i)
      mol_.add_atom(THandle<Atom>(make_handle<Atom3d>(
          Element(atoms[i].symbol), atoms[i].symbol + std::to_string(i),
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
  int implicit_h(int a) const { return mol_.atom(a)->implicit_hydrogens(); }
  /// Bonds by type (single, double, triple, aromatic), total charge, implied H and problems.
  std::string summary() const {
    int n[4] = {}, q = 0, h = 0;
    for (const auto& b : mol_.bonds())
      for (int k = 0; k < 4; ++k)
        n[k] += b->type() == std::vector<BondType>{BondType::Single, BondType::Double,
                                                   BondType::Triple, BondType::Aromatic}[k];
    for (int a = 0; a < mol_.natoms(); ++a) {
      q += charge(a);
      h += std::max(0, implicit_h(a));
    }
    return "S" + std::to_string(n[0]) + " D" + std::to_string(n[1]) + " T" + std::to_string(n[2]) +
           " A" + std::to_string(n[3]) + " q" + std::to_string(q) + " h" + std::to_string(h) +
           " !" + std::to_string(problems_.size());
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
  Atoms a = {{"C", Point(0, 0, 0)}, {"C", c}, {"O", c + polar(co1, 60)}, {"O", c + polar(co2, -60)}};
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
  const std::vector<bool> all(6, true), no_nh = {false, true, true, true, true, true};
  Atoms cyclohexene = ring({"C", "C", "C", "C", "C", "C"}, 1.50, std::vector<bool>(6, false));
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
  const Point s1(1.80, 0, 0), s2 = polar(1.80, 97), up(-0.3, -0.3, 0.9), down(-0.3, -0.3, -0.9);
  Atoms dmso = {{"S", Point()}, {"C", s1}, {"C", s2}, {"O", up * (1.50 / up.length())}};
  add_three_h(dmso, s1, Point(1, 0, 0));
  add_three_h(dmso, s2, s2 * (1.0 / s2.length()));
  Atoms sulfone = dmso;
  sulfone.push_back({"O", down * (1.44 / down.length())});
  const double t = 1.47 / std::sqrt(3.0);
  Atoms methylammonium = {{"C", Point()}, {"N", Point(1.49, 0, 0)}};
  add_three_h(methylammonium, Point(), Point(-1, 0, 0));
  add_three_h(methylammonium, Point(1.49, 0, 0), Point(1, 0, 0), 1.01);
  Atoms guanidinium = {{"C", Point()}};
  for (int k = 0; k < 3; ++k)
    guanidinium.push_back({"N", polar(1.33, 120 * k)});
  for (int k = 0; k < 6; ++k)
    guanidinium.push_back({"H", polar(1.33, 120 * (k / 2)) + polar(1.01, 120 * (k / 2) + 60 - 120 * (k % 2))});
  const Point n = polar(1.33, 210);
  // 2-Aminoallyl H2C-C(NH2)=CH2, one terminal carbon short of a partner: the amino N sits on
  // the carbon whose pi bond is taken, so it cannot give the terminal carbon its lone pair and
  // stays neutral; a pyridinium ring beside it still gets its charge from the same search.
  const Point aa = polar(1.40, 90), ac = polar(1.40, 210), an = polar(1.40, 330);
  Atoms allyl = {{"C", aa}, {"C", Point()}, {"C", ac}, {"N", an}};
  for (const Point& h : {aa + polar(1.08, 30), aa + polar(1.08, 150), ac + polar(1.08, 150),
                         ac + polar(1.08, 270), an + polar(1.01, 270), an + polar(1.01, 30)})
    allyl.push_back({"H", h});
  for (const Placed& p : ring({"N", "C", "C", "C", "C", "C"}, 1.39, all, Point(10, 0, 0)))
    allyl.push_back(p);
  const BondType single = BondType::Single, dbl = BondType::Double, arom = BondType::Aromatic;
  const struct {
    const char* what;
    Atoms atoms;
    const char* summary;
    std::vector<std::pair<int, int>> charges = {}; // atom, formal charge
    std::vector<std::tuple<int, int, BondType>> bonds = {};
  } cases[] = {
      {"benzene", ring({"C", "C", "C", "C", "C", "C"}, 1.39, all), "S6 D0 T0 A6 q0 h0 !0"},
      {"pyridine", ring({"N", "C", "C", "C", "C", "C"}, 1.39, no_nh), "S5 D0 T0 A6 q0 h0 !0"},
      {"pyridinium", ring({"N", "C", "C", "C", "C", "C"}, 1.39, all), "S6 D0 T0 A6 q1 h0 !0", {{0, 1}}},
      {"pyrrole", ring({"N", "C", "C", "C", "C"}, 1.40, all), "S5 D0 T0 A5 q0 h0 !0"},
      {"furan", ring({"O", "C", "C", "C", "C"}, 1.40, no_nh), "S4 D0 T0 A5 q0 h0 !0"},
      {"thiophene", ring({"S", "C", "C", "C", "C"}, 1.40, no_nh), "S4 D0 T0 A5 q0 h0 !0"},
      {"cyclohexene", cyclohexene, "S15 D1 T0 A0 q0 h0 !0"},
      // Whichever Kekule structure the matching finds, both rings count as aromatic, also when
      // a long shared bond leaves one ring all three double bonds.
      {"naphthalene", fused_hexagons(std::vector<bool>(10, false)), "S8 D0 T0 A11 q0 h0 !0"},
      {"long fusion", fused_hexagons(std::vector<bool>(10, false), 1.46), "S8 D0 T0 A11 q0 h0 !0"},
      {"tetralin", fused_hexagons(tetralin), "S17 D0 T0 A6 q0 h0 !0", {}, {{0, 1, arom}, {1, 6, single}}},
      {"acetic acid", carboxyl(1.21, 1.31, true, "H", 0.97), "S6 D1 T0 A0 q0 h0 !0", {}, {{1, 2, dbl}}},
      {"acetate", carboxyl(1.26, 1.26, true), "S5 D1 T0 A0 q-1 h0 !0"},
      {"silver acetate", carboxyl(1.25, 1.27, true, "Ag", 2.2), "S6 D1 T0 A0 q-1 h0 !0", {{3, -1}}, {{1, 2, dbl}, {3, 4, single}}},
      {"formamide", {{"C", Point()}, {"O", polar(1.23, 90)}, {"N", n}, {"H", polar(1.09, 330)},
                     {"H", n + polar(1.01, 150)}, {"H", n + polar(1.01, 270)}},
       "S4 D1 T0 A0 q0 h0 !0"},
      {"nitromethane", nitromethane, "S5 D1 T0 A0 q0 h0 !0", {{1, 1}}},
      {"acetonitrile", nitrile, "S4 D0 T1 A0 q0 h0 !0"},
      {"water", {{"O", Point()}, {"H", Point(0.96, 0, 0)}, {"H", polar(0.96, 104.5)}},
       "S2 D0 T0 A0 q0 h0 !0"},
      {"dimethyl sulfoxide", dmso, "S8 D1 T0 A0 q0 h0 !0"},
      {"dimethyl sulfone", sulfone, "S8 D2 T0 A0 q0 h0 !0"},
      {"sulfate", {{"S", Point()}, {"O", Point(t, t, t)}, {"O", Point(t, -t, -t)},
                   {"O", Point(-t, t, -t)}, {"O", Point(-t, -t, t)}},
       "S2 D2 T0 A0 q-2 h0 !0"},
      {"methylammonium", methylammonium, "S7 D0 T0 A0 q1 h0 !0"},
      {"guanidinium", guanidinium, "S8 D1 T0 A0 q1 h0 !0"},
      {"aminoallyl beside pyridinium", allyl, "S14 D1 T0 A6 q1 h0 !1", {{3, 0}, {10, 1}}, {{1, 3, single}}},
  };
  for (const auto& c : cases) {
    const Built b(c.atoms);
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

// Without hydrogen sites the hydrogens are implied from the geometry: ring CH, pyrrole NH but
// no H on pyridine N, and acid or carboxylate told apart by the two C-O lengths.
TEST(BondTypes, ImpliedHydrogensWithoutHydrogenSites) {
  const std::vector<bool> none(6, false);
  const struct {
    const char* what;
    Atoms atoms;
    const char* summary;
  } cases[] = {{"benzene", ring({"C", "C", "C", "C", "C", "C"}, 1.39, none), "S0 D0 T0 A6 q0 h6 !0"},
               {"pyridine", ring({"N", "C", "C", "C", "C", "C"}, 1.39, none), "S0 D0 T0 A6 q0 h5 !0"},
               {"pyrrole", ring({"N", "C", "C", "C", "C"}, 1.40, none), "S0 D0 T0 A5 q0 h5 !0"},
               {"acetic acid", carboxyl(1.21, 1.31, false), "S2 D1 T0 A0 q0 h4 !0"},
               {"acetate", carboxyl(1.25, 1.25, false), "S2 D1 T0 A0 q-1 h3 !0"}};
  for (const auto& c : cases)
    EXPECT_EQ(Built(c.atoms, false).summary(), c.summary) << c.what;
  const Built acid(carboxyl(1.21, 1.31, false), false);
  EXPECT_EQ(acid.implicit_h(3), 1); // on the oxygen of the long bond
  EXPECT_EQ(acid.type(1, 2), BondType::Double);
}

// Every simple cycle of at most `max_size` atoms avoiding `excluded`, the slow way: every path
// from every atom, each cycle kept once in its listed form.
std::vector<std::vector<int>> rings_by_every_path(const Molecule& m, int max_size,
                                                  const std::vector<char>& excluded) {
  std::vector<std::vector<int>> found;
  std::vector<int> path;
  std::function<void(int)> extend = [&](int at) {
    for (int next : m.neighbours(at)) {
      if (excluded[next])
        continue;
      if (next == path[0] && path.size() >= 3) {
        if (*std::min_element(path.begin(), path.end()) == path[0] && path[1] < path.back())
          found.push_back(path);
      } else if (std::find(path.begin(), path.end(), next) == path.end() &&
                 static_cast<int>(path.size()) < max_size) {
        path.push_back(next);
        extend(next);
        path.pop_back();
      }
    }
  };
  for (int a = 0; a < m.natoms(); ++a)
    if (!excluded[a]) {
      path.assign(1, a);
      extend(a);
    }
  std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) {
    return a.size() != b.size() ? a.size() < b.size() : a < b;
  });
  return found;
}

// Ladders of fused four- to six-membered rings one after another, a hydrogen on every ring atom
// added between its ring bonds, a two-atom chain, and a metal chelated by atoms 1 and 3: the
// search walks ring atoms only, and its working space is reused from molecule to molecule.
TEST(SmallRings, AgreeWithEveryPathSearchMoleculeAfterMolecule) {
  for (int rungs : {5, 1, 8, 2, 8, 0}) {
    Molecule m;
    const int n = 2 * (rungs + 1);
    for (int i = 0; i < n; ++i)
      m.add_atom(make_handle<Atom>(Element("C")));
    for (int i = 0; i + 2 < n; i += 2) {
      m.add_bond(i, i + 2);
      m.add_bond(i, m.add_atom(make_handle<Atom>(Element("H"))));
      m.add_bond(i + 1, i + 3);
    }
    for (int i = 0; i < n && rungs > 0; i += 2)
      m.add_bond(i, i + 1);
    const int c1 = m.add_atom(make_handle<Atom>(Element("C")));
    m.add_bond(0, c1);
    m.add_bond(c1, m.add_atom(make_handle<Atom>(Element("C"))));
    const int metal = m.add_atom(make_handle<Atom>(Element("Cu")));
    m.add_bond(1, metal);
    if (rungs > 0)
      m.add_bond(3, metal);
    std::vector<char> none(m.natoms(), 0), no_metal(m.natoms(), 0);
    no_metal[metal] = 1;
    for (int max_size : {4, 6, 8}) {
      EXPECT_EQ(find_small_rings(m, max_size), rings_by_every_path(m, max_size, none)) << rungs;
      EXPECT_EQ(find_small_rings(m, max_size, no_metal), rings_by_every_path(m, max_size, no_metal))
          << rungs;
    }
    EXPECT_EQ(find_small_rings(m, 6, no_metal).empty(), rungs == 0);
  }
}

} // namespace
} // namespace xtalmotif
