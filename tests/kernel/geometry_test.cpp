// Distances, bond and torsion angles, and the cell matrix inverse, on points worked out by hand.

#include "kernel/geometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

namespace xtalmotif {
namespace {

const double pi = std::acos(-1.0);

TEST(Geometry, DistancesAndAnglesAtTheMiddlePoint) {
  EXPECT_DOUBLE_EQ(distance(Point(1, 2, 3), Point(4, 6, 3)), 5.0);
  const Point o(0, 0, 0), x(1, 0, 0);
  const struct {
    Point a, b, c;
    double radians;
  } cases[] = {{x, o, Point(0, 2, 0), pi / 2},
               {x, o, Point(-3, 0, 0), pi},
               {x, o, Point(5, 0, 0), 0},
               {Point(1, 1, 1), o, Point(1, -1, -1), std::acos(-1.0 / 3)},
               {o, x, Point(1, 1, 0), pi / 2}, // the vertex is the middle point
               {o, o, x, 0},                  // no arm: no angle
               {Point(1e-9, 0, 0), o, Point(0, 1, 0), 0}};
  for (const auto& c : cases)
    EXPECT_NEAR(angle(c.a, c.b, c.c), c.radians, 1e-12) << c.a << c.b << c.c;
  EXPECT_NEAR(angle(Point(1e-9, 0, 0), o, Point(0, 1, 0), 1e-12), pi / 2, 1e-12);
}

TEST(Geometry, TorsionSignReversalMirrorAndDegenerateCases) {
  // Looking along p2 -> p3 (+z) with the near bond along +x, a far bond along +y is a clockwise
  // turn for that viewer: +90 degrees.
  const Point p1(1, 0, 0), p2(0, 0, 0), p3(0, 0, 1.5);
  EXPECT_NEAR(torsion_angle(p1, p2, p3, Point(0, 1, 1.5)), pi / 2, 1e-12);
  EXPECT_NEAR(torsion_angle(p1, p2, p3, Point(0, -1, 1.5)), -pi / 2, 1e-12);
  EXPECT_NEAR(torsion_angle(Point(1, 0, -0.4), p2, p3, Point(0.5, std::sqrt(0.75), 1.9)), pi / 3,
              1e-12);
  EXPECT_NEAR(std::abs(torsion_angle(p1, p2, p3, Point(-1, 0, 1.5))), pi, 1e-12);
  const Point a(0.3, -1.2, 0.1), b(0, 0, 0), c(0.2, 0.1, 1.5), d(1.1, 0.7, 2.0);
  const double t = torsion_angle(a, b, c, d);
  EXPECT_NEAR(torsion_angle(d, c, b, a), t, 1e-12);
  auto m = [](const Point& p) { return Point(-p.x(), p.y(), p.z()); };
  EXPECT_NEAR(torsion_angle(m(a), m(b), m(c), m(d)), -t, 1e-12);
  EXPECT_EQ(torsion_angle(Point(0, 0, -1), p2, p3, Point(1, 0, 1)), 0.0); // p1 on the axis
  EXPECT_EQ(torsion_angle(p1, p2, p2, Point(0, 1, 0)), 0.0);             // no central bond
}

TEST(Geometry, CellMatrixInverseAndSingularMatrices) {
  const double beta = 100.0 * pi / 180.0;
  Matrix<double, 3, 3> m(
      {{{5.0, 0.0, 9.0 * std::cos(beta)}, {0.0, 7.0, 0.0}, {0.0, 0.0, 9.0 * std::sin(beta)}}});
  EXPECT_NEAR(determinant(m), 5.0 * 7.0 * 9.0 * std::sin(beta), 1e-9);
  const auto prod = m * inverse(m);
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      EXPECT_NEAR(prod(i, j), i == j ? 1.0 : 0.0, 1e-14) << i << "," << j;
  EXPECT_THROW(inverse(Matrix<double, 3, 3>({{{1, 2, 3}, {2, 4, 6}, {0, 0, 1}}})),
               std::domain_error);
}

} // namespace
} // namespace xtalmotif
