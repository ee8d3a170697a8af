#ifndef XTALMOTIF_MATCH_ENVIRONMENT_GRID_H
#define XTALMOTIF_MATCH_ENVIRONMENT_GRID_H

#include "core/geometry.h"
#include "core/handle.h"
#include "match/motif_search_resource.h"

#include <array>
#include <cstdint>
#include <vector>

namespace xtalmotif {

/// One atom of a crystal environment in one cell: the atom of a molecule copy moved by a lattice
/// translation.
struct NearbyAtom {
  int copy = 0;
  int atom = 0;
  Translation translation;
};

/// The atoms of a crystal environment sorted into bins over the unit cell, so that the atoms
/// near a point, in whatever cell they lie, are found by visiting the bins around it and their
/// lattice images rather than every atom of every molecule copy: in a cubic structure of a
/// thousand sites there are 192,000 copies. Built once for an environment, then only read.
class EnvironmentGrid {
public:
  /// The most bins, counting lattice images, one question may visit: far beyond any contact of
  /// a molecular crystal, reached only by a reach of many cells in a tiny cell.
  static constexpr double max_bins_visited = 1 << 22;

  /// Sorts every atom of the environment into bins about 4 A wide (at most about one bin per
  /// atom).
  explicit EnvironmentGrid(THandle<MotifSearchResource> resource);

  /// The environment the grid was made of.
  const THandle<MotifSearchResource>& resource() const { return resource_; }
  /// The largest van der Waals radius of any atom of the environment.
  double max_vdw_radius() const { return max_vdw_radius_; }

  /// Every atom image whose orthogonal distance from fractional point `p` is at most `reach`
  /// angstrom (up to rounding, a little more but never less), in the order of copy, atom and
  /// translation. Throws std::length_error when the reach spans more than max_bins_visited bins
  /// of this lattice.
  void find_within(const Point& p, double reach, std::vector<NearbyAtom>& out) const;

private:
  struct Entry {
    int copy;
    int atom;
    std::array<int, 3> cell; // the whole cells taken away to place the atom in the unit cell
  };
  int bin_index(const std::array<int, 3>& b) const;

  THandle<MotifSearchResource> resource_;
  Matrix<double, 3, 3> orth_;
  std::array<double, 3> reciprocal_{}; // lengths of the reciprocal axes, 1/A
  std::array<int, 3> bins_{{1, 1, 1}};
  std::vector<std::uint32_t> start_; // first entry of each bin, and the end
  std::vector<Entry> entries_;       // sorted by bin
  double max_vdw_radius_ = 0.0;
};

} // namespace xtalmotif

#endif
