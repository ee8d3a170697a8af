#include "core/geometry.h"

#include <ostream>
#include <stdexcept>

namespace xtalmotif {

double determinant(const Matrix<double, 3, 3>& m) {
  return m(0, 0) * (m(1, 1) * m(2, 2) - m(1, 2) * m(2, 1)) -
         m(0, 1) * (m(1, 0) * m(2, 2) - m(1, 2) * m(2, 0)) +
         m(0, 2) * (m(1, 0) * m(2, 1) - m(1, 1) * m(2, 0));
}

Matrix<double, 3, 3> inverse(const Matrix<double, 3, 3>& m) {
  double det = determinant(m);
  if (det == 0.0 || !std::isfinite(det))
    throw std::domain_error("inverse of a singular 3x3 matrix");
  Matrix<double, 3, 3> r;
  r(0, 0) = (m(1, 1) * m(2, 2) - m(1, 2) * m(2, 1)) / det;
  r(0, 1) = (m(0, 2) * m(2, 1) - m(0, 1) * m(2, 2)) / det;
  r(0, 2) = (m(0, 1) * m(1, 2) - m(0, 2) * m(1, 1)) / det;
  r(1, 0) = (m(1, 2) * m(2, 0) - m(1, 0) * m(2, 2)) / det;
  r(1, 1) = (m(0, 0) * m(2, 2) - m(0, 2) * m(2, 0)) / det;
  r(1, 2) = (m(0, 2) * m(1, 0) - m(0, 0) * m(1, 2)) / det;
  r(2, 0) = (m(1, 0) * m(2, 1) - m(1, 1) * m(2, 0)) / det;
  r(2, 1) = (m(0, 1) * m(2, 0) - m(0, 0) * m(2, 1)) / det;
  r(2, 2) = (m(0, 0) * m(1, 1) - m(0, 1) * m(1, 0)) / det;
  return r;
}

double distance(const Point& a, const Point& b) { return std::sqrt(sqrdistance(a, b)); }

double angle(const Point& p1, const Point& p2, const Point& p3, double tol) {
  Point u = p1 - p2;
  Point v = p3 - p2;
  double lu = u.length();
  double lv = v.length();
  if (lu < tol || lv < tol)
    return 0.0;
  double c = u.dot(v) / (lu * lv);
  // Rounding can push the cosine of a straight angle just past -1.
  if (c > 1.0)
    c = 1.0;
  if (c < -1.0)
    c = -1.0;
  return std::acos(c);
}

double torsion_angle(const Point& p1, const Point& p2, const Point& p3, const Point& p4,
                     double tol) {
  Point b1 = p2 - p1;
  Point b2 = p3 - p2;
  Point b3 = p4 - p3;
  if (b1.length() < tol || b2.length() < tol || b3.length() < tol)
    return 0.0;
  Point n1 = cross(b1, b2);
  Point n2 = cross(b2, b3);
  if (n1.length() < tol || n2.length() < tol)
    return 0.0;
  // atan2 form: the sign follows the IUPAC convention (positive when, seen along p2->p3, the
  // far bond is turned clockwise from the near one).
  return std::atan2(b2.length() * b1.dot(n2), n1.dot(n2));
}

void Angle::print(std::ostream& os) const { os << degrees(); }

void Translation::print(std::ostream& os) const { os << t_[0] << ',' << t_[1] << ',' << t_[2]; }

void Site::print(std::ostream& os) const {
  os << "frac " << fractional_ << " orth " << orthogonal_ << " occ " << occupancy_;
}

std::ostream& operator<<(std::ostream& os, const Point& p) {
  return os << '(' << p.x() << ", " << p.y() << ", " << p.z() << ')';
}

} // namespace xtalmotif
