// The kernel's small building blocks: bond and torsion angles, ring bonds where they are subtle,
// the ends of value conditions, and the elements a contact criterion accepts.

#include "chem/condition.h"
#include "chem/contact_criterion.h"
#include "core/geometry.h"
#include "chem/molecule.h"
#include "kernel_test_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

namespace xtalmotif {
namespace {

TEST(Geometry, AnglesAreMeasuredAtTheMiddlePoint) {
  const Point o(0, 0, 0), x(1, 0, 0);
  const struct {
    Point a, b, c;
    double radians;
  } cases[] = {{x, o, Point(0, 2, 0), M_PI / 2},
               {x, o, Point(-3, 0, 0), M_PI},
               {x, o, Point(5, 0, 0), 0},
               {Point(1, 1, 1), o, Point(1, -1, -1), std::acos(-1.0 / 3)},
               {o, x, Point(1, 1, 0), M_PI / 2},
               {o, o, x, 0}, // no arm, no angle
               {Point(1e-9, 0, 0), o, Point(0, 1, 0), 0}};
  for (const auto& c : cases)
    EXPECT_NEAR(angle(c.a, c.b, c.c), c.radians, 1e-12) << c.a << c.b << c.c;
  EXPECT_NEAR(angle(Point(1e-9, 0, 0), o, Point(0, 1, 0), 1e-12), M_PI / 2, 1e-12);
}

TEST(Geometry, TorsionSignReversalMirrorAndDegenerateCases) {
  // Looking along p2 -> p3 (+z) with the near bond along +x, a far bond along +y is a clockwise
  // turn for that viewer: +90 degrees.
  const Point p1(1, 0, 0), p2(0, 0, 0), p3(0, 0, 1.5);
  EXPECT_NEAR(torsion_angle(p1, p2, p3, Point(0, 1, 1.5)), M_PI / 2, 1e-12);
  EXPECT_NEAR(torsion_angle(p1, p2, p3, Point(0, -1, 1.5)), -M_PI / 2, 1e-12);
  EXPECT_NEAR(torsion_angle(Point(1, 0, -0.4), p2, p3, Point(0.5, std::sqrt(0.75), 1.9)), M_PI / 3,
              1e-12);
  const Point a(0.3, -1.2, 0.1), b(0, 0, 0), c(0.2, 0.1, 1.5), d(1.1, 0.7, 2.0);
  const double t = torsion_angle(a, b, c, d);
  EXPECT_NEAR(torsion_angle(d, c, b, a), t, 1e-12);
  auto m = [](const Point& p) { return Point(-p.x(), p.y(), p.z()); };
  EXPECT_NEAR(torsion_angle(m(a), m(b), m(c), m(d)), -t, 1e-12);
  EXPECT_EQ(torsion_angle(Point(0, 0, -1), p2, p3, Point(1, 0, 1)), 0.0); // p1 on the axis
  EXPECT_EQ(torsion_angle(p1, p2, p2, Point(0, 1, 0)), 0.0);             // no central bond
}

TEST(ValueConditions, EndsAreIncludedOrNotAsTheKindSays) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const EqualTo one("equal to", 1);
  const InclusiveRange range("in range", 0, 2), inverted("in range", 2, 0);
  const Greater positive("greater than", 0);
  const std::tuple<const Condition&, double, bool> cases[] = {
      {one, 1, true},          {one, std::nextafter(1.0, 2.0), false}, {one, nan, false},
      {range, 0, true},        {range, 2, true},   {range, -1e-9, false}, {range, 2 + 1e-9, false},
      {range, nan, false},     {inverted, 1, false}, {positive, 0, false}, {positive, nan, false},
      {positive, std::numeric_limits<double>::denorm_min(), true}};
  for (const auto& [c, x, pass] : cases)
    EXPECT_EQ(c.test(x), pass) << c.name() << " " << x;
}

THandle<ElementSet> set_of(std::initializer_list<int> z) { return make_handle<ElementSet>(z); }

CombinedCriterion o_to_n(bool symmetric, THandle<ElementSet> second = set_of({7})) {
  return CombinedCriterion(true, 0.0, -5.0, ContactType::Inter, 4, 999, symmetric, set_of({8}),
                           second);
}

TEST(ContactCriterion, ElementsAtEachEndByAtomicNumber) {
  testing::MoleculeBuilder b;
  for (const char* s : {"O", "N", "C", "H", "D"})
    b.atom(s);
  const Molecule& m = b.molecule();
  const CombinedCriterion h(false, 2.5, 0, ContactType::Any, 4, 999, false, set_of({1}), nullptr);
  const struct {
    CombinedCriterion c;
    int atom;
    bool first, second;
  } cases[] = {{o_to_n(false), 0, true, false}, {o_to_n(false), 1, false, true},
               {o_to_n(false), 2, false, false}, {o_to_n(true), 0, true, true},
               {o_to_n(true), 1, true, true},   {o_to_n(true), 2, false, false},
               // An empty set accepts any atom, at both ends of a symmetric criterion.
               {o_to_n(true, make_handle<ElementSet>()), 2, true, true},
               {o_to_n(false, make_handle<ElementSet>()), 2, false, true},
               // Deuterium is hydrogen.
               {h, 3, true, true}, {h, 4, true, true}, {h, 0, false, true}};
  for (const auto& c : cases) {
    EXPECT_EQ(c.c.test_first_atom(m, c.atom), c.first) << c.atom;
    EXPECT_EQ(c.c.test_second_atom(m, c.atom), c.second) << c.atom;
  }
  EXPECT_THROW(h.test_first_atom(m, 5), std::out_of_range);
}

TEST(MoleculeRings, TheSharedBondOfFusedRingsIsARingBondTheLinkBetweenRingsIsNot) {
  testing::MoleculeBuilder decalin, bicyclohexyl;
  decalin.chain("C", 10).bond(9, 0).bond(0, 5);
  bicyclohexyl.chain("C", 6).bond(5, 0).chain("C", 6).bond(11, 6).bond(0, 6);
  for (int b = 0; b < 11; ++b)
    EXPECT_TRUE(decalin.molecule().is_ring_bond(b)) << b;
  const Molecule& m = bicyclohexyl.molecule();
  for (int b = 0; b < m.nbonds(); ++b)
    EXPECT_EQ(m.is_ring_bond(b), !m.bond(b)->joins(0, 6)) << b;
  for (int a = 0; a < 12; ++a)
    EXPECT_TRUE(m.is_ring_atom(a)) << a;
}

} // namespace
} // namespace xtalmotif
