#include "kernel/rings.h"

#include <algorithm>

namespace xtalmotif {

namespace {

/// Depth-first enumeration of the simple cycles through one start atom. Each ring is found from
/// its lowest atom, walking only through higher atoms; of its two directions the one whose
/// second atom is lower than its last is kept.
class RingWalk {
public:
  RingWalk(const Molecule& molecule, const std::vector<char>& usable, int max_size)
      : molecule_(molecule), usable_(usable), on_path_(usable.size(), 0),
        near_start_(usable.size(), 0),
        max_size_(static_cast<std::size_t>(max_size)) {
    path_.reserve(max_size_);
  }

  void from(int start, std::vector<std::vector<int>>& rings) {
    start_ = start;
    rings_ = &rings;
    path_.assign(1, start);
    on_path_[start] = 1;
    for (int k : molecule_.neighbours(start))
      near_start_[k] = 1;
    walk(start);
    for (int k : molecule_.neighbours(start))
      near_start_[k] = 0;
    on_path_[start] = 0;
  }

private:
  void walk(int at) {
    for (int next : molecule_.neighbours(at)) {
      if (next == start_ && path_.size() >= 3) {
        if (path_[1] < path_.back())
          rings_->push_back(path_);
        continue;
      }
      if (next <= start_ || !usable_[next] || on_path_[next] || path_.size() >= max_size_)
        continue;
      // The last atom a ring of the largest size can take must be bonded to the start.
      if (path_.size() + 1 == max_size_ && !near_start_[next])
        continue;
      on_path_[next] = 1;
      path_.push_back(next);
      walk(next);
      path_.pop_back();
      on_path_[next] = 0;
    }
  }

  const Molecule& molecule_;
  const std::vector<char>& usable_;
  std::vector<char> on_path_;
  std::vector<char> near_start_;
  std::vector<int> path_;
  std::size_t max_size_;
  int start_ = 0;
  std::vector<std::vector<int>>* rings_ = nullptr;
};

} // namespace

std::vector<std::vector<int>> find_small_rings(const Molecule& molecule, int max_size,
                                               const std::vector<char>& excluded) {
  std::vector<std::vector<int>> rings;
  const int n = molecule.natoms();
  if (max_size < 3)
    return rings;
  // Atoms off every ring (hydrogens, chain atoms) can never close one.
  std::vector<char> usable(n, 0);
  for (int a = 0; a < n; ++a)
    usable[a] = !(a < static_cast<int>(excluded.size()) && excluded[a]) &&
                molecule.is_ring_atom(a);
  RingWalk walk(molecule, usable, max_size);
  for (int s = 0; s < n; ++s)
    if (usable[s])
      walk.from(s, rings);
  std::stable_sort(rings.begin(), rings.end(),
                   [](const std::vector<int>& a, const std::vector<int>& b) {
                     return a.size() != b.size() ? a.size() < b.size() : a < b;
                   });
  return rings;
}

} // namespace xtalmotif
