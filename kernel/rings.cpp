#include "kernel/rings.h"

#include <algorithm>
#include <functional>

namespace xtalmotif {

std::vector<std::vector<int>> find_small_rings(const Molecule& molecule, int max_size,
                                               const std::vector<char>& excluded) {
  std::vector<std::vector<int>> rings;
  const int n = molecule.natoms();
  if (max_size < 3)
    return rings;
  auto skipped = [&](int a) {
    return !excluded.empty() && a < static_cast<int>(excluded.size()) && excluded[a];
  };
  std::vector<char> on_path(n, 0);
  std::vector<int> path;
  // Each ring is found from its lowest atom, walking only through higher atoms; of its two
  // directions the one whose second atom is lower than its last is kept.
  std::function<void(int, int)> walk = [&](int start, int at) {
    for (int next : molecule.neighbours(at)) {
      if (next == start && path.size() >= 3) {
        if (path[1] < path.back())
          rings.push_back(path);
        continue;
      }
      // Atoms off every ring (hydrogens, chain atoms) can never close one.
      if (next <= start || on_path[next] || skipped(next) || !molecule.is_ring_atom(next) ||
          static_cast<int>(path.size()) >= max_size)
        continue;
      on_path[next] = 1;
      path.push_back(next);
      walk(start, next);
      path.pop_back();
      on_path[next] = 0;
    }
  };
  for (int s = 0; s < n; ++s) {
    if (skipped(s) || !molecule.is_ring_atom(s))
      continue;
    path.assign(1, s);
    on_path[s] = 1;
    walk(s, s);
    on_path[s] = 0;
  }
  std::stable_sort(rings.begin(), rings.end(),
                   [](const std::vector<int>& a, const std::vector<int>& b) {
                     return a.size() != b.size() ? a.size() < b.size() : a < b;
                   });
  return rings;
}

} // namespace xtalmotif
