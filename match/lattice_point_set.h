#ifndef XTALMOTIF_MATCH_LATTICE_POINT_SET_H
#define XTALMOTIF_MATCH_LATTICE_POINT_SET_H

#include "core/geometry.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace xtalmotif {

/// Fractional points kept so that a point can be looked up up to lattice translations: is some
/// point of the set within 0.001 of it on every axis, once whole cells are taken away? Points are
/// binned by their position within the unit cell, so a look-up visits a few bins rather than
/// every point, which keeps the symmetry expansion of a crystal of many molecules linear.
class LatticePointSet {
public:
  /// Half the width, per fractional axis, of the window in which two points are the same.
  static constexpr double tolerance = 0.001;

  /// Adds a point.
  void add(const Point& p);
  /// Whether some point of the set differs from `p` by a whole lattice vector, within the
  /// tolerance on each axis (strictly).
  bool contains_translate_of(const Point& p) const;
  /// Whether two points differ by a whole lattice vector within the tolerance on each axis.
  static bool related_by_translation(const Point& a, const Point& b);

private:
  static constexpr int bins = 1000; // per axis: bins one tolerance wide
  static std::uint32_t key(int i, int j, int k);
  static int bin_of(double x);

  std::unordered_map<std::uint32_t, std::vector<Point>> points_;
};

} // namespace xtalmotif

#endif
