#ifndef XTALMOTIF_TESTS_LIBRARY_LIBRARY_TEST_HELPERS_H
#define XTALMOTIF_TESTS_LIBRARY_LIBRARY_TEST_HELPERS_H

// Rings of a hydrogen-bond graph found independently of the library, so that a ready-made motif
// can be checked against the rings its name announces.

#include <deque>
#include <utility>
#include <vector>

namespace xtalmotif::testing {

using Edges = std::vector<std::pair<int, int>>;

/// For each edge of a multigraph of `n` nodes, the number of nodes of the smallest ring through
/// it (two parallel edges make a ring of two); 0 when the edge lies on no ring.
inline std::vector<int> smallest_rings(int n, const Edges &edges) {
  std::vector<int> sizes;
  for (std::size_t e = 0; e < edges.size(); ++e) {
    // Breadth-first from one end to the other without the edge itself.
    std::vector<int> dist(n, -1);
    std::deque<int> queue{edges[e].first};
    dist[edges[e].first] = 0;
    while (!queue.empty()) {
      const int u = queue.front();
      queue.pop_front();
      for (std::size_t f = 0; f < edges.size(); ++f) {
        const auto [a, b] = edges[f];
        const int v = a == u ? b : b == u ? a : -1;
        if (f != e && v >= 0 && dist[v] < 0) {
          dist[v] = dist[u] + 1;
          queue.push_back(v);
        }
      }
    }
    const int d = dist[edges[e].second];
    sizes.push_back(d < 0 ? 0 : d + 1);
  }
  return sizes;
}

/// The piece of each of `n` nodes joined by `edges`, numbered 0, 1, ... from the first node.
inline std::vector<int> pieces(int n, const Edges &edges) {
  std::vector<int> root(n), number(n, -1), piece(n);
  for (int i = 0; i < n; ++i)
    root[i] = i;
  auto find = [&root](int x) {
    while (root[x] != x)
      x = root[x];
    return x;
  };
  for (const auto &[a, b] : edges)
    root[find(a)] = find(b);
  for (int i = 0, k = 0; i < n; ++i)
    piece[i] = number[find(i)] < 0 ? number[find(i)] = k++ : number[find(i)];
  return piece;
}

} // namespace xtalmotif::testing

#endif
