#include "match/environment_grid.h"

#include "chem/element.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>
#include <tuple>

namespace xtalmotif {

namespace {

// Bins about this wide (A, across the lattice planes): a contact of a few angstrom visits a few
// bins along each axis.
constexpr double target_bin_width = 4.0;

int floor_div(long long a, int b) {
  return static_cast<int>(a >= 0 ? a / b : -((-a + b - 1) / b));
}

int wrapped(long long a, int b) { return static_cast<int>(((a % b) + b) % b); }

} // namespace

EnvironmentGrid::EnvironmentGrid(THandle<MotifSearchResource> resource)
    : resource_(std::move(resource)), orth_(resource_->orthogonal_matrix()) {
  const Matrix<double, 3, 3> frac = inverse(orth_);
  const auto& copies = *resource_->molecule_points;
  std::size_t natoms = 0;
  for (const auto& copy : copies)
    natoms += copy->size();
  // Rows of the fractionalisation matrix are the reciprocal axes; the spacing of the lattice
  // planes across axis i is the inverse of its length.
  for (int i = 0; i < 3; ++i) {
    reciprocal_[i] = std::sqrt(frac(i, 0) * frac(i, 0) + frac(i, 1) * frac(i, 1) +
                               frac(i, 2) * frac(i, 2));
    const double spacing = 1.0 / reciprocal_[i];
    bins_[i] = static_cast<int>(std::clamp(std::floor(spacing / target_bin_width), 1.0, 256.0));
  }
  // No more bins than atoms: the bins of an empty stretch cost as much to visit as full ones.
  const std::size_t most = std::max<std::size_t>(natoms, 1);
  while (static_cast<std::size_t>(bins_[0]) * bins_[1] * bins_[2] > most) {
    int& widest = *std::max_element(bins_.begin(), bins_.end());
    widest = std::max(1, widest / 2);
  }

  std::vector<std::pair<int, Entry>> binned;
  binned.reserve(natoms);
  for (std::size_t k = 0; k < copies.size(); ++k) {
    const THandle<Molecule> molecule =
        resource_->crystal()->molecule(resource_->nmol_in_cm(static_cast<int>(k)));
    const std::vector<Point>& points = *copies[k];
    for (std::size_t a = 0; a < points.size(); ++a) {
      // A point that is no place in the crystal (never made by the reader) has no neighbours.
      if (!(std::fabs(points[a][0]) < 1e9 && std::fabs(points[a][1]) < 1e9 &&
            std::fabs(points[a][2]) < 1e9))
        continue;
      Entry e{static_cast<int>(k), static_cast<int>(a), {}};
      std::array<int, 3> bin{};
      for (int i = 0; i < 3; ++i) {
        const double cell = std::floor(points[a][i]);
        e.cell[i] = static_cast<int>(cell);
        const double within = points[a][i] - cell;
        bin[i] = std::min(bins_[i] - 1, static_cast<int>(within * bins_[i]));
      }
      binned.emplace_back(bin_index(bin), e);
      const Element element = molecule->atom(static_cast<int>(a))->element();
      max_vdw_radius_ = std::max(max_vdw_radius_, Element::vdw_radii_[element.code()]);
    }
  }
  std::stable_sort(binned.begin(), binned.end(),
                   [](const auto& x, const auto& y) { return x.first < y.first; });
  const int nbins = bins_[0] * bins_[1] * bins_[2];
  start_.assign(static_cast<std::size_t>(nbins) + 1, 0);
  entries_.reserve(binned.size());
  for (const auto& [bin, e] : binned) {
    ++start_[static_cast<std::size_t>(bin) + 1];
    entries_.push_back(e);
  }
  for (int b = 0; b < nbins; ++b)
    start_[static_cast<std::size_t>(b) + 1] += start_[static_cast<std::size_t>(b)];
}

int EnvironmentGrid::bin_index(const std::array<int, 3>& b) const {
  return (b[0] * bins_[1] + b[1]) * bins_[2] + b[2];
}

void EnvironmentGrid::find_within(const Point& p, double reach,
                                  std::vector<NearbyAtom>& out) const {
  const std::size_t first = out.size();
  if (!(reach >= 0.0))
    return;
  // The fractional box around p that holds the sphere of the reach, in bins of the unbounded
  // lattice; a hair wider, so that rounding never loses an atom at the edge.
  double lo[3], hi[3];
  double visited = 1.0;
  for (int i = 0; i < 3; ++i) {
    const double extent = reach * reciprocal_[i] + 1e-9;
    lo[i] = std::floor((p[i] - extent) * bins_[i]);
    hi[i] = std::floor((p[i] + extent) * bins_[i]);
    visited *= hi[i] - lo[i] + 1.0;
  }
  if (!(visited <= max_bins_visited))
    throw std::length_error("a reach of " + std::to_string(reach) + " A spans " +
                            std::to_string(visited) + " bins of this lattice, more than the " +
                            std::to_string(static_cast<long long>(max_bins_visited)) +
                            " searched");
  const auto& copies = *resource_->molecule_points;
  const Point origin = orth_ * p;
  const double limit = reach * reach * (1.0 + 1e-9) + 1e-12;
  const auto l0 = static_cast<long long>(lo[0]), h0 = static_cast<long long>(hi[0]);
  const auto l1 = static_cast<long long>(lo[1]), h1 = static_cast<long long>(hi[1]);
  const auto l2 = static_cast<long long>(lo[2]), h2 = static_cast<long long>(hi[2]);
  for (long long u0 = l0; u0 <= h0; ++u0)
    for (long long u1 = l1; u1 <= h1; ++u1)
      for (long long u2 = l2; u2 <= h2; ++u2) {
        const int bin =
            bin_index({wrapped(u0, bins_[0]), wrapped(u1, bins_[1]), wrapped(u2, bins_[2])});
        const int shift[3] = {floor_div(u0, bins_[0]), floor_div(u1, bins_[1]),
                              floor_div(u2, bins_[2])};
        for (std::uint32_t e = start_[static_cast<std::size_t>(bin)];
             e < start_[static_cast<std::size_t>(bin) + 1]; ++e) {
          const Entry& entry = entries_[e];
          const Translation t(shift[0] - entry.cell[0], shift[1] - entry.cell[1],
                              shift[2] - entry.cell[2]);
          const Point& q = (*copies[static_cast<std::size_t>(entry.copy)])
              [static_cast<std::size_t>(entry.atom)];
          if (sqrdistance(origin, orth_ * (q + t.as_point())) <= limit)
            out.push_back({entry.copy, entry.atom, t});
        }
      }
  std::sort(out.begin() + static_cast<std::ptrdiff_t>(first), out.end(),
            [](const NearbyAtom& a, const NearbyAtom& b) {
              return std::tie(a.copy, a.atom, a.translation) <
                     std::tie(b.copy, b.atom, b.translation);
            });
}

} // namespace xtalmotif
