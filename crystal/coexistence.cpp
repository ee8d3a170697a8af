#include "crystal/coexistence.h"

namespace xtalmotif {

bool CoexistenceRule::can_coexist(const AtomState& a, const AtomState& b, double distance) {
  const bool partial_a = a.occupancy < kFullOccupancy, partial_b = b.occupancy < kFullOccupancy;
  // Images of one site that is there in at most half the cells: the two places are the two
  // orientations of one disordered site.
  if (a.site >= 0 && a.site == b.site && partial_a && a.occupancy * 2 <= 1.05 &&
      distance < a.element.vdw_radius() + b.element.vdw_radius())
    return false;
  if (a.element.is_metal() || b.element.is_metal())
    return distance >= 0.75 * (a.element.covalent_radius() + b.element.covalent_radius());
  if (a.element.is_hydrogen() || b.element.is_hydrogen())
    return distance >= kHydrogenSeparation;
  return distance >= (partial_a || partial_b ? kPartialHeavySeparation : kHeavySeparation);
}

} // namespace xtalmotif
