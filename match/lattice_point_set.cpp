#include "match/lattice_point_set.h"

#include <algorithm>
#include <cmath>

namespace xtalmotif {

bool LatticePointSet::related_by_translation(const Point& a, const Point& b) {
  for (int axis = 0; axis < 3; ++axis) {
    double d = std::fabs(a[axis] - b[axis]);
    double r = d - std::floor(d + 0.5);
    if (!(-tolerance < r && r < tolerance))
      return false;
  }
  return true;
}

std::uint32_t LatticePointSet::key(int i, int j, int k) {
  auto wrap = [](int b) { return static_cast<std::uint32_t>((b % bins + bins) % bins); };
  return (wrap(i) * bins + wrap(j)) * bins + wrap(k);
}

// The bin of a coordinate's place within the unit cell. A coordinate that is not a number, or
// too large to place, goes to bin 0: it is still found (by a scan of the same bin), only slower.
int LatticePointSet::bin_of(double x) {
  if (!std::isfinite(x) || std::fabs(x) > 1e9)
    return 0;
  const double w = x - std::floor(x);
  return std::min(bins - 1, std::max(0, static_cast<int>(w * bins)));
}

void LatticePointSet::add(const Point& p) {
  points_[key(bin_of(p[0]), bin_of(p[1]), bin_of(p[2]))].push_back(p);
}

bool LatticePointSet::contains_translate_of(const Point& p) const {
  // Points within the tolerance of p, modulo whole cells, lie in p's bin or a neighbouring one
  // on each axis (bins wrap around the cell).
  const int b[3] = {bin_of(p[0]), bin_of(p[1]), bin_of(p[2])};
  for (int i = -1; i <= 1; ++i)
    for (int j = -1; j <= 1; ++j)
      for (int k = -1; k <= 1; ++k) {
        auto it = points_.find(key(b[0] + i, b[1] + j, b[2] + k));
        if (it == points_.end())
          continue;
        for (const Point& q : it->second)
          if (related_by_translation(q, p))
            return true;
      }
  return false;
}

} // namespace xtalmotif
