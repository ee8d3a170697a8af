#include "results/graph_set.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <queue>
#include <set>
#include <sstream>

namespace xtalmotif {

namespace MotifSearchLibFunctions {

int bonds_between(const Molecule& molecule, int a, int b) {
  std::vector<int> depth(molecule.natoms(), -1);
  std::queue<int> queue;
  depth[a] = 0;
  queue.push(a);
  while (!queue.empty()) {
    const int x = queue.front();
    queue.pop();
    if (x == b)
      return depth[x];
    for (int y : molecule.neighbours(x))
      if (depth[y] < 0) {
        depth[y] = depth[x] + 1;
        queue.push(y);
      }
  }
  return -1;
}

namespace {

// Atoms on the shortest bond path between atoms a and b of a molecule, both ends counted; 1
// when they are not joined by bonds (the atoms of another piece count as none).
int path_atoms(const Molecule& molecule, int a, int b) {
  const int bonds = bonds_between(molecule, a, b);
  return bonds < 0 ? 1 : bonds + 1;
}

std::string descriptor(char kind, int a, int d, int n) {
  std::ostringstream os;
  os << kind;
  if (a != 1 || d != 1)
    os << a << ',' << d;
  if (kind != 'D' || a != 1 || d != 1)
    os << '(' << n << ')';
  return os.str();
}

// The placements of a pattern (molecule copy and lattice shift) as the nodes of a graph whose
// edges are the intermolecular bonds.
class PatternGraph {
public:
  PatternGraph(const MotifSearchResource& resource, const std::vector<PatternBond>& bonds)
      : resource_(resource), bonds_(bonds) {
    for (const PatternBond& b : bonds) {
      const int u = node_of(b.hydrogen), v = node_of(b.acceptor);
      ends_.push_back({u, v});
    }
  }

  int nnodes() const { return static_cast<int>(placements_.size()); }
  const std::vector<std::pair<int, int>>& ends() const { return ends_; }
  const PlacedAtom& placement(int node) const { return placements_[node]; }

  // The atom where bond e touches node v.
  int atom_at(int e, int v) const {
    return ends_[e].first == v ? bonds_[e].hydrogen.atom : bonds_[e].acceptor.atom;
  }
  const Molecule& molecule_of(int v) const {
    return *resource_.crystal()->molecule(placements_[v].molecule);
  }

  // Atoms within node v between where bond e_in arrives and bond e_out leaves.
  int inner_atoms(int v, int e_in, int e_out) const {
    return path_atoms(molecule_of(v), atom_at(e_in, v), atom_at(e_out, v));
  }

  // The order of the symmetry operation that carries placement u onto placement w (both of
  // one crystal molecule): 0 when it has none (a translation, screw axis or glide plane).
  int relation_order(int u, int w) const {
    const auto& ops = resource_.crystal()->symmetry_operators();
    const CrystalSymmetryOperator& o1 = ops.at(resource_.operator_of_copy.at(placements_[u].copy));
    const CrystalSymmetryOperator& o2 = ops.at(resource_.operator_of_copy.at(placements_[w].copy));
    const Matrix<int, 3, 3> r1 = o1.rotation(), r2 = o2.rotation();
    // Rotations of symmetry operators have determinant +-1: the inverse is the adjugate over it.
    Matrix<int, 3, 3> inv;
    const int det = r1(0, 0) * (r1(1, 1) * r1(2, 2) - r1(1, 2) * r1(2, 1)) -
                    r1(0, 1) * (r1(1, 0) * r1(2, 2) - r1(1, 2) * r1(2, 0)) +
                    r1(0, 2) * (r1(1, 0) * r1(2, 1) - r1(1, 1) * r1(2, 0));
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) {
        const int a = (j + 1) % 3, b = (j + 2) % 3, c = (i + 1) % 3, d = (i + 2) % 3;
        inv(i, j) = (r1(a, c) * r1(b, d) - r1(a, d) * r1(b, c)) * det;
      }
    const Matrix<int, 3, 3> g = r2 * inv;
    const Point t1 = o1.translation() + placements_[u].translation.as_point();
    const Point t2 = o2.translation() + placements_[w].translation.as_point();
    Point tau;
    for (int i = 0; i < 3; ++i) {
      double s = t2[i];
      for (int j = 0; j < 3; ++j)
        s -= g(i, j) * t1[j];
      tau[i] = s;
    }
    // g^k for k up to 6: a rotation returns to the identity within six steps.
    Matrix<int, 3, 3> power = g;
    Point shift = tau;
    for (int k = 1; k <= 6; ++k) {
      if (power == Matrix<int, 3, 3>::identity())
        return std::fabs(shift[0]) + std::fabs(shift[1]) + std::fabs(shift[2]) < 1e-6 ? k : 0;
      Point next;
      for (int i = 0; i < 3; ++i) {
        double s = tau[i];
        for (int j = 0; j < 3; ++j)
          s += g(i, j) * shift[j];
        next[i] = s;
      }
      shift = next;
      power = g * power;
    }
    return 0;
  }

private:
  int node_of(const PlacedAtom& atom) {
    for (std::size_t i = 0; i < placements_.size(); ++i)
      if (placements_[i].copy == atom.copy && placements_[i].translation == atom.translation)
        return static_cast<int>(i);
    placements_.push_back(atom);
    return static_cast<int>(placements_.size()) - 1;
  }

  const MotifSearchResource& resource_;
  const std::vector<PatternBond>& bonds_;
  std::vector<PlacedAtom> placements_;
  std::vector<std::pair<int, int>> ends_; // node of the hydrogen, node of the acceptor
};

// Distinct acceptors and donor hydrogens among the bonds listed.
std::pair<int, int> count_ends(const std::vector<PatternBond>& bonds, const std::vector<int>& which) {
  std::vector<PlacedAtom> acceptors, hydrogens;
  for (int e : which) {
    if (std::find(acceptors.begin(), acceptors.end(), bonds[e].acceptor) == acceptors.end())
      acceptors.push_back(bonds[e].acceptor);
    if (std::find(hydrogens.begin(), hydrogens.end(), bonds[e].hydrogen) == hydrogens.end())
      hydrogens.push_back(bonds[e].hydrogen);
  }
  return {static_cast<int>(acceptors.size()), static_cast<int>(hydrogens.size())};
}

// A closed walk of bonds through nodes v_0 ... v_k-1, bond i leaving v_i for v_(i+1).
std::string ring(const PatternGraph& g, const std::vector<PatternBond>& bonds,
                 const std::vector<int>& nodes, const std::vector<int>& edges) {
  int n = 0;
  const int k = static_cast<int>(edges.size());
  for (int i = 0; i < k; ++i)
    n += g.inner_atoms(nodes[i], edges[(i + k - 1) % k], edges[i]);
  const auto [a, d] = count_ends(bonds, edges);
  return descriptor('R', a, d, n);
}

// A spanning forest of the pattern's graph, by breadth-first search: each bond outside it closes
// one ring.
struct SpanningForest {
  explicit SpanningForest(const PatternGraph& g)
      : parent(g.nnodes(), -1), parent_edge(g.nnodes(), -1), depth(g.nnodes(), -1),
        component(g.nnodes(), -1), edges_of(g.nnodes()), in_tree(g.ends().size(), 0) {
    const int nn = g.nnodes();
    for (std::size_t e = 0; e < g.ends().size(); ++e) {
      edges_of[g.ends()[e].first].push_back(static_cast<int>(e));
      edges_of[g.ends()[e].second].push_back(static_cast<int>(e));
    }
    for (int root = 0; root < nn; ++root) {
      if (depth[root] >= 0)
        continue;
      std::queue<int> queue;
      depth[root] = 0;
      component[root] = ncomponents;
      queue.push(root);
      while (!queue.empty()) {
        const int v = queue.front();
        queue.pop();
        for (int e : edges_of[v]) {
          const int w = g.ends()[e].first == v ? g.ends()[e].second : g.ends()[e].first;
          if (depth[w] >= 0)
            continue;
          depth[w] = depth[v] + 1, parent[w] = v, parent_edge[w] = e, component[w] = ncomponents;
          in_tree[e] = 1;
          queue.push(w);
        }
      }
      ++ncomponents;
    }
  }
  // Nodes and bonds of the tree path from u to w (nodes u ... w, bonds between them).
  void path(int u, int w, std::vector<int>& nodes, std::vector<int>& edges) const {
    std::vector<int> up_nodes{u}, up_edges, down_nodes{w}, down_edges;
    while (u != w) {
      if (depth[u] >= depth[w]) {
        up_edges.push_back(parent_edge[u]);
        u = parent[u];
        up_nodes.push_back(u);
      } else {
        down_edges.push_back(parent_edge[w]);
        w = parent[w];
        down_nodes.push_back(w);
      }
    }
    down_nodes.pop_back(); // the meeting node is already the last of up_nodes
    nodes = up_nodes;
    nodes.insert(nodes.end(), down_nodes.rbegin(), down_nodes.rend());
    edges = up_edges;
    edges.insert(edges.end(), down_edges.rbegin(), down_edges.rend());
  }

  std::vector<int> parent, parent_edge, depth, component;
  std::vector<std::vector<int>> edges_of;
  std::vector<char> in_tree;
  int ncomponents = 0;
};

// The descriptor of component c of the forest, a pattern without a ring: a chain (C) or, where
// one bond joins two placements of a molecule related by a finite symmetry, the ring (R) that
// symmetry closes; else a finite pattern (D).
std::string open_pattern(const PatternGraph& g, const std::vector<PatternBond>& between,
                         const SpanningForest& forest, int c) {
  const int nn = g.nnodes();
  std::vector<int> members, component_edges;
  for (int v = 0; v < nn; ++v)
    if (forest.component[v] == c)
      members.push_back(v);
  for (std::size_t e = 0; e < between.size(); ++e)
    if (forest.component[g.ends()[e].first] == c)
      component_edges.push_back(static_cast<int>(e));
  // A single bond between two placements of one molecule repeats by the symmetry between
  // them: its first-level pattern. A longer open pattern is described as it is.
  std::string found;
  for (std::size_t i = 0; i < members.size() && found.empty() && component_edges.size() == 1;
       ++i)
    for (std::size_t j = i + 1; j < members.size() && found.empty(); ++j) {
      const int u = members[i], w = members[j];
      if (g.placement(u).molecule != g.placement(w).molecule)
        continue;
      std::vector<int> nodes, edges;
      forest.path(u, w, nodes, edges);
      // The repeat: u entered at the atom where the last bond enters w (the same atom of
      // the same molecule), then the path on to w.
      int n = path_atoms(g.molecule_of(u), g.atom_at(edges.back(), w),
                         g.atom_at(edges.front(), u));
      for (std::size_t k = 1; k + 1 < nodes.size(); ++k)
        n += g.inner_atoms(nodes[k], edges[k - 1], edges[k]);
      const auto [a, d] = count_ends(between, edges);
      const int order = g.relation_order(u, w);
      found = order == 0 ? descriptor('C', a, d, n) : descriptor('R', a * order, d * order, n * order);
    }
  if (found.empty()) {
    const auto [a, d] = count_ends(between, component_edges);
    // A finite pattern: its end atoms and the atoms within the molecules it passes through.
    int n = 0;
    for (int v : members) {
      const auto& es = forest.edges_of[v];
      n += es.size() == 1 ? 1 : g.inner_atoms(v, es.front(), es.back());
    }
    found = descriptor('D', a, d, n);
  }
  return found;
}

} // namespace

std::string graph_set(const MotifSearchResource& resource, const std::vector<PatternBond>& bonds) {
  std::vector<std::string> parts;
  std::vector<PatternBond> between; // bonds joining two placements
  for (const PatternBond& b : bonds) {
    if (b.hydrogen.copy == b.acceptor.copy && b.hydrogen.translation == b.acceptor.translation) {
      const Molecule& m = *resource.crystal()->molecule(b.hydrogen.molecule);
      parts.push_back(descriptor('S', 1, 1, path_atoms(m, b.hydrogen.atom, b.acceptor.atom)));
    } else {
      between.push_back(b);
    }
  }
  const PatternGraph g(resource, between);
  const SpanningForest forest(g);
  std::vector<char> ring_done(forest.ncomponents, 0);
  for (std::size_t e = 0; e < between.size(); ++e) {
    if (forest.in_tree[e])
      continue;
    // The ring closed by bond e: the tree path from its acceptor's node to its hydrogen's,
    // then e back.
    std::vector<int> nodes, edges;
    forest.path(g.ends()[e].second, g.ends()[e].first, nodes, edges);
    edges.push_back(static_cast<int>(e));
    parts.push_back(ring(g, between, nodes, edges));
    ring_done[forest.component[g.ends()[e].first]] = 1;
  }
  for (int c = 0; c < forest.ncomponents; ++c) {
    if (ring_done[c])
      continue;
    parts.push_back(open_pattern(g, between, forest, c));
  }
  std::ostringstream os;
  for (std::size_t i = 0; i < parts.size(); ++i)
    os << (i ? " " : "") << parts[i];
  return os.str();
}

} // namespace MotifSearchLibFunctions

} // namespace xtalmotif
