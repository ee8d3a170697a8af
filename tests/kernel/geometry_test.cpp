#include "core/geometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <stdexcept>

namespace xtalmotif {
namespace {

const double pi = std::acos(-1.0);

TEST(Geometry, DistancesBetweenPoints) {
  Point a(1, 2, 3), b(4, 6, 3);
  EXPECT_DOUBLE_EQ(sqrdistance(a, b), 25.0);
  EXPECT_DOUBLE_EQ(distance(a, b), 5.0);
  EXPECT_DOUBLE_EQ(distance(b, a), 5.0);
  EXPECT_DOUBLE_EQ(distance(a, a), 0.0);
  EXPECT_DOUBLE_EQ(distance(Point(0, 0, 0), Point(1, 1, 1)), std::sqrt(3.0));
}

TEST(Geometry, AnglesInRadians) {
  Point o(0, 0, 0);
  EXPECT_NEAR(angle(Point(1, 0, 0), o, Point(0, 2, 0)), pi / 2, 1e-15);
  EXPECT_NEAR(angle(Point(1, 0, 0), o, Point(-3, 0, 0)), pi, 1e-15);
  EXPECT_NEAR(angle(Point(1, 0, 0), o, Point(5, 0, 0)), 0.0, 1e-15);
  // Tetrahedral angle between two vertices of a cube-inscribed tetrahedron: acos(-1/3).
  EXPECT_NEAR(angle(Point(1, 1, 1), o, Point(1, -1, -1)), 1.9106332362490186, 1e-12);
  // The vertex is the middle point, not the first.
  EXPECT_NEAR(angle(o, Point(1, 0, 0), Point(1, 1, 0)), pi / 2, 1e-15);
}

TEST(Geometry, DegenerateAngleIsZero) {
  Point o(0, 0, 0);
  EXPECT_EQ(angle(o, o, Point(1, 0, 0)), 0.0);
  EXPECT_EQ(angle(Point(1, 0, 0), o, o), 0.0);
  EXPECT_EQ(angle(Point(1e-9, 0, 0), o, Point(0, 1, 0)), 0.0); // arm shorter than the tolerance
  EXPECT_NEAR(angle(Point(1e-9, 0, 0), o, Point(0, 1, 0), 1e-12), pi / 2, 1e-12);
}

TEST(Geometry, TorsionSignFollowsTheClockwiseConvention) {
  // Looking from p2 towards p3 (along +z) the near bond points along +x. A far bond along +y is
  // reached by turning the near one clockwise as seen by that viewer (counter-clockwise as seen
  // from +z looking down), so the torsion is +90 degrees; along -y it is -90.
  Point p1(1, 0, 0), p2(0, 0, 0), p3(0, 0, 1.5);
  EXPECT_NEAR(torsion_angle(p1, p2, p3, Point(0, 1, 1.5)), pi / 2, 1e-12);
  EXPECT_NEAR(torsion_angle(p1, p2, p3, Point(0, -1, 1.5)), -pi / 2, 1e-12);
  // Gauche H-C-C-H at +60 degrees, with bonds that are not perpendicular to the axis.
  Point h1(1.0, 0.0, -0.4);
  Point h4(std::cos(pi / 3), std::sin(pi / 3), 1.9);
  EXPECT_NEAR(torsion_angle(h1, p2, p3, h4), pi / 3, 1e-12);
  // Cis is 0 and trans is +-180.
  EXPECT_NEAR(torsion_angle(p1, p2, p3, Point(2, 0, 1.5)), 0.0, 1e-12);
  EXPECT_NEAR(std::abs(torsion_angle(p1, p2, p3, Point(-1, 0, 1.5))), pi, 1e-12);
}

TEST(Geometry, TorsionIsTheSameReadBackwardsAndChangesSignInAMirror) {
  Point a(0.3, -1.2, 0.1), b(0, 0, 0), c(0.2, 0.1, 1.5), d(1.1, 0.7, 2.0);
  double t = torsion_angle(a, b, c, d);
  EXPECT_GT(std::abs(t), 0.1);
  EXPECT_NEAR(torsion_angle(d, c, b, a), t, 1e-12);
  auto mirror = [](const Point &p) { return Point(-p.x(), p.y(), p.z()); };
  EXPECT_NEAR(torsion_angle(mirror(a), mirror(b), mirror(c), mirror(d)), -t, 1e-12);
}

TEST(Geometry, DegenerateTorsionIsZero) {
  Point p2(0, 0, 0), p3(0, 0, 1);
  // p1 on the p2-p3 axis: the first plane is undefined.
  EXPECT_EQ(torsion_angle(Point(0, 0, -1), p2, p3, Point(1, 0, 1)), 0.0);
  // p4 on the axis.
  EXPECT_EQ(torsion_angle(Point(1, 0, 0), p2, p3, Point(0, 0, 2)), 0.0);
  // A zero-length central bond.
  EXPECT_EQ(torsion_angle(Point(1, 0, 0), p2, p2, Point(0, 1, 0)), 0.0);
}

TEST(Geometry, MatrixInverseUndoesTheCellMatrix) {
  // Orthogonalisation matrix of a monoclinic cell a=5, b=7, c=9, beta=100 degrees
  // (a along x, b along y).
  double beta = 100.0 * pi / 180.0;
  Matrix<double, 3, 3> m(
      {{{5.0, 0.0, 9.0 * std::cos(beta)}, {0.0, 7.0, 0.0}, {0.0, 0.0, 9.0 * std::sin(beta)}}});
  EXPECT_NEAR(determinant(m), 5.0 * 7.0 * 9.0 * std::sin(beta), 1e-9); // the cell volume
  auto inv = inverse(m);
  auto prod = m * inv;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      EXPECT_NEAR(prod(i, j), i == j ? 1.0 : 0.0, 1e-14) << i << "," << j;
  // The fractional coordinates of the orthogonal point of (0.5, 0.25, 0.1) come back.
  Point frac(0.5, 0.25, 0.1);
  Point back = inv * (m * frac);
  EXPECT_NEAR(back.x(), 0.5, 1e-14);
  EXPECT_NEAR(back.y(), 0.25, 1e-14);
  EXPECT_NEAR(back.z(), 0.1, 1e-14);

  Matrix<double, 3, 3> d({{{2, 0, 0}, {0, 4, 0}, {0, 0, 0.5}}});
  auto di = inverse(d);
  EXPECT_DOUBLE_EQ(di(0, 0), 0.5);
  EXPECT_DOUBLE_EQ(di(1, 1), 0.25);
  EXPECT_DOUBLE_EQ(di(2, 2), 2.0);
  EXPECT_DOUBLE_EQ(di(0, 1), 0.0);
}

TEST(Geometry, SingularMatrixHasNoInverse) {
  Matrix<double, 3, 3> flat({{{1, 2, 3}, {2, 4, 6}, {0, 0, 1}}});
  EXPECT_DOUBLE_EQ(determinant(flat), 0.0);
  EXPECT_THROW(inverse(flat), std::domain_error);
  EXPECT_THROW(inverse(Matrix<double, 3, 3>()), std::domain_error);
}

TEST(Geometry, MatrixAndVectorArithmetic) {
  Matrix<double, 3, 3> m({{{1, 2, 3}, {4, 5, 6}, {7, 8, 10}}});
  Point v = m * Point(1, 0, -1);
  EXPECT_EQ(v, Point(-2, -2, -3));
  EXPECT_EQ(m.transpose()(0, 2), 7.0);
  EXPECT_EQ((Matrix<double, 3, 3>::identity() * m), m);
  EXPECT_EQ(Point(1, 2, 3) + Point(1, 1, 1), Point(2, 3, 4));
  EXPECT_EQ(Point(1, 2, 3) - Point(1, 1, 1), Point(0, 1, 2));
  EXPECT_EQ(2.0 * Point(1, 2, 3), Point(2, 4, 6));
  EXPECT_DOUBLE_EQ(Point(1, 2, 3).dot(Point(4, -5, 6)), 12.0);
  EXPECT_EQ(cross(Point(1, 0, 0), Point(0, 1, 0)), Point(0, 0, 1));
}

TEST(Geometry, AnglesConvertBetweenUnits) {
  EXPECT_NEAR(Angle::from_degrees(180.0).radians(), pi, 1e-15);
  EXPECT_NEAR(Angle::from_radians(pi / 2).degrees(), 90.0, 1e-12);
  EXPECT_NEAR(Angle::degrees_per_radian, 180.0 / pi, 1e-13);
}

TEST(Geometry, TranslationsCompareAndConvert) {
  Translation t(1, -1, 0);
  EXPECT_EQ(t.a(), 1);
  EXPECT_EQ(t[1], -1);
  EXPECT_EQ(t.as_point(), Point(1, -1, 0));
  EXPECT_EQ(t, Translation(1, -1, 0));
  EXPECT_NE(t, Translation());
  EXPECT_TRUE(Translation(0, 0, 1) < Translation(0, 1, 0));
  std::ostringstream os;
  t.print(os);
  EXPECT_EQ(os.str(), "1,-1,0");
}

} // namespace
} // namespace xtalmotif
