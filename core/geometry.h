#ifndef XTALMOTIF_CORE_GEOMETRY_H
#define XTALMOTIF_CORE_GEOMETRY_H

#include <array>
#include <cmath>
#include <cstddef>
#include <iosfwd>

namespace xtalmotif {

/// A fixed-size vector of numbers; the three-dimensional double vector is the kernel's position.
template <class T, std::size_t N> class Vector {
public:
  Vector() : v_{} {}
  Vector(T x, T y, T z) : v_{{x, y, z}} { static_assert(N == 3, "three components"); }
  explicit Vector(const std::array<T, N>& a) : v_(a) {}

  T& operator[](std::size_t i) { return v_[i]; }
  const T& operator[](std::size_t i) const { return v_[i]; }
  T x() const { return v_[0]; }
  T y() const { return v_[1]; }
  T z() const { return v_[2]; }
  static constexpr std::size_t size() { return N; }

  Vector& operator+=(const Vector& o) {
    for (std::size_t i = 0; i < N; ++i)
      v_[i] += o.v_[i];
    return *this;
  }
  Vector& operator-=(const Vector& o) {
    for (std::size_t i = 0; i < N; ++i)
      v_[i] -= o.v_[i];
    return *this;
  }
  Vector& operator*=(T s) {
    for (auto& x : v_)
      x *= s;
    return *this;
  }
  friend Vector operator+(Vector a, const Vector& b) { return a += b; }
  friend Vector operator-(Vector a, const Vector& b) { return a -= b; }
  friend Vector operator*(Vector a, T s) { return a *= s; }
  friend Vector operator*(T s, Vector a) { return a *= s; }
  friend Vector operator-(Vector a) { return a *= T(-1); }
  friend bool operator==(const Vector& a, const Vector& b) { return a.v_ == b.v_; }
  friend bool operator!=(const Vector& a, const Vector& b) { return a.v_ != b.v_; }

  T dot(const Vector& o) const {
    T s{};
    for (std::size_t i = 0; i < N; ++i)
      s += v_[i] * o.v_[i];
    return s;
  }
  T length_sq() const { return dot(*this); }
  T length() const { return std::sqrt(length_sq()); }

private:
  std::array<T, N> v_;
};

/// A position as three doubles, fractional or orthogonal (angstrom) as the context says.
using Point = Vector<double, 3>;

inline Point cross(const Point& a, const Point& b) {
  return Point(a.y() * b.z() - a.z() * b.y(), a.z() * b.x() - a.x() * b.z(),
               a.x() * b.y() - a.y() * b.x());
}

/// A fixed-size row-major matrix; `Matrix<double, 3, 3>` is the fractional-to-orthogonal map.
template <class T, std::size_t R, std::size_t C> class Matrix {
public:
  Matrix() : m_{} {}
  explicit Matrix(const std::array<std::array<T, C>, R>& rows) : m_(rows) {}

  static Matrix identity() {
    static_assert(R == C, "square");
    Matrix m;
    for (std::size_t i = 0; i < R; ++i)
      m.m_[i][i] = T(1);
    return m;
  }

  T& operator()(std::size_t r, std::size_t c) { return m_[r][c]; }
  const T& operator()(std::size_t r, std::size_t c) const { return m_[r][c]; }

  Vector<T, R> operator*(const Vector<T, C>& v) const {
    std::array<T, R> out{};
    for (std::size_t i = 0; i < R; ++i)
      for (std::size_t j = 0; j < C; ++j)
        out[i] += m_[i][j] * v[j];
    return Vector<T, R>(out);
  }
  template <std::size_t K> Matrix<T, R, K> operator*(const Matrix<T, C, K>& o) const {
    Matrix<T, R, K> out;
    for (std::size_t i = 0; i < R; ++i)
      for (std::size_t k = 0; k < K; ++k)
        for (std::size_t j = 0; j < C; ++j)
          out(i, k) += m_[i][j] * o(j, k);
    return out;
  }
  Matrix<T, C, R> transpose() const {
    Matrix<T, C, R> t;
    for (std::size_t i = 0; i < R; ++i)
      for (std::size_t j = 0; j < C; ++j)
        t(j, i) = m_[i][j];
    return t;
  }
  friend bool operator==(const Matrix& a, const Matrix& b) { return a.m_ == b.m_; }

private:
  std::array<std::array<T, C>, R> m_;
};

double determinant(const Matrix<double, 3, 3>& m);
/// Inverse of a 3x3 matrix; throws std::domain_error for a singular one.
Matrix<double, 3, 3> inverse(const Matrix<double, 3, 3>& m);

/// Squared distance; inline because neighbour searches call it for every pair they look at.
inline double sqrdistance(const Point& a, const Point& b) {
  const double dx = a[0] - b[0], dy = a[1] - b[1], dz = a[2] - b[2];
  return dx * dx + dy * dy + dz * dz;
}
double distance(const Point& a, const Point& b);

/// The angle p1-p2-p3 at the vertex p2, in radians (0 to pi). When either arm is shorter than
/// `tol` the angle is undefined and 0 is returned.
double angle(const Point& p1, const Point& p2, const Point& p3, double tol = 1e-7);

/// The torsion angle p1-p2-p3-p4 in signed radians (-pi to pi], positive for a clockwise turn of
/// the far bond seen along p2->p3 (the IUPAC convention). When any of the three bonds is shorter
/// than `tol`, or either plane is undefined (collinear atoms), 0 is returned.
double torsion_angle(const Point& p1, const Point& p2, const Point& p3, const Point& p4,
                     double tol = 1e-7);

/// An angle value that knows its units.
class Angle {
public:
  static constexpr double degrees_per_radian = 57.29577951308232;
  Angle() = default;
  static Angle from_radians(double r) { return Angle(r); }
  static Angle from_degrees(double d) { return Angle(d / degrees_per_radian); }
  double radians() const { return radians_; }
  double degrees() const { return radians_ * degrees_per_radian; }
  /// Writes the angle in degrees.
  void print(std::ostream& os) const;

private:
  explicit Angle(double r) : radians_(r) {}
  double radians_ = 0.0;
};

/// An integer lattice translation along a, b and c.
class Translation {
public:
  Translation() = default;
  Translation(int a, int b, int c) : t_{{a, b, c}} {}
  int operator[](std::size_t i) const { return t_[i]; }
  int& operator[](std::size_t i) { return t_[i]; }
  int a() const { return t_[0]; }
  int b() const { return t_[1]; }
  int c() const { return t_[2]; }
  Point as_point() const { return Point(t_[0], t_[1], t_[2]); }
  friend bool operator==(const Translation& x, const Translation& y) { return x.t_ == y.t_; }
  friend bool operator!=(const Translation& x, const Translation& y) { return x.t_ != y.t_; }
  friend bool operator<(const Translation& x, const Translation& y) { return x.t_ < y.t_; }
  void print(std::ostream& os) const;

private:
  std::array<int, 3> t_{{0, 0, 0}};
};

/// Where an atom sits: fractional and orthogonal coordinates and the site occupancy.
class Site {
public:
  Site() = default;
  Site(const Point& fractional, const Point& orthogonal, double occupancy = 1.0)
      : fractional_(fractional), orthogonal_(orthogonal), occupancy_(occupancy) {}
  const Point& fractional() const { return fractional_; }
  const Point& orthogonal() const { return orthogonal_; }
  double occupancy() const { return occupancy_; }
  void print(std::ostream& os) const;

private:
  Point fractional_;
  Point orthogonal_;
  double occupancy_ = 1.0;
};

std::ostream& operator<<(std::ostream& os, const Point& p);

} // namespace xtalmotif

#endif
