#include "chem/rings.h"

#include <algorithm>

namespace xtalmotif {

namespace {

/// Working space of one ring search.
struct RingScratch {
  std::vector<char> usable;
  std::vector<char> on_path;
  std::vector<char> near_start;
  // The bonds among usable atoms only, as one array: the neighbours of atom a are
  // adjacent[first[a]] to adjacent[first[a + 1]], in the molecule's order.
  std::vector<int> first;
  std::vector<int> adjacent;
  std::vector<int> path;
};

/// Depth-first enumeration of the simple cycles through one start atom. Each ring is found from
/// its lowest atom, walking only through higher atoms; of its two directions the one whose
/// second atom is lower than its last is kept. Hydrogens and chain atoms are not in the
/// neighbour lists walked, as no ring can pass through them.
class RingWalk {
public:
  RingWalk(RingScratch& s, int max_size)
      : s_(s), max_size_(static_cast<std::size_t>(max_size)) {}

  void from(int start, std::vector<std::vector<int>>& rings) {
    start_ = start;
    rings_ = &rings;
    s_.path.assign(1, start);
    s_.on_path[start] = 1;
    for (int i = s_.first[start]; i < s_.first[start + 1]; ++i)
      s_.near_start[s_.adjacent[i]] = 1;
    walk(start);
    for (int i = s_.first[start]; i < s_.first[start + 1]; ++i)
      s_.near_start[s_.adjacent[i]] = 0;
    s_.on_path[start] = 0;
  }

private:
  void walk(int at) {
    std::vector<int>& path = s_.path;
    for (int i = s_.first[at]; i < s_.first[at + 1]; ++i) {
      const int next = s_.adjacent[i];
      if (next == start_ && path.size() >= 3) {
        if (path[1] < path.back())
          rings_->push_back(path);
        continue;
      }
      if (next <= start_ || s_.on_path[next] || path.size() >= max_size_)
        continue;
      // The last atom a ring of the largest size can take must be bonded to the start.
      if (path.size() + 1 == max_size_ && !s_.near_start[next])
        continue;
      s_.on_path[next] = 1;
      path.push_back(next);
      walk(next);
      path.pop_back();
      s_.on_path[next] = 0;
    }
  }

  RingScratch& s_;
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
  RingScratch s;
  // Atoms off every ring (hydrogens, chain atoms) can never close one.
  s.usable.assign(n, 0);
  bool any = false;
  for (int a = 0; a < n; ++a) {
    s.usable[a] = !(a < static_cast<int>(excluded.size()) && excluded[a]) &&
                  molecule.is_ring_atom(a);
    any = any || s.usable[a];
  }
  if (!any)
    return rings;
  s.first.assign(n + 1, 0);
  s.adjacent.clear();
  for (int a = 0; a < n; ++a) {
    s.first[a] = static_cast<int>(s.adjacent.size());
    if (s.usable[a])
      for (int k : molecule.neighbours(a))
        if (s.usable[k])
          s.adjacent.push_back(k);
  }
  s.first[n] = static_cast<int>(s.adjacent.size());
  s.on_path.assign(n, 0);
  s.near_start.assign(n, 0);
  s.path.reserve(static_cast<std::size_t>(max_size));
  RingWalk walk(s, max_size);
  for (int start = 0; start < n; ++start)
    if (s.usable[start])
      walk.from(start, rings);
  std::stable_sort(rings.begin(), rings.end(),
                   [](const std::vector<int>& a, const std::vector<int>& b) {
                     return a.size() != b.size() ? a.size() < b.size() : a < b;
                   });
  return rings;
}

} // namespace xtalmotif
