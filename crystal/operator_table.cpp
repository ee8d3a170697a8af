#include "crystal/operator_table.h"

#include <cmath>

namespace xtalmotif {

namespace {
constexpr std::uint64_t kEmpty = ~std::uint64_t{0};

// Where a key's probe starts in a table of `size` slots (a power of two).
std::size_t first_slot(std::uint64_t k, std::size_t size) {
  return static_cast<std::size_t>((k * 0x9E3779B97F4A7C15ULL) >> 40) & (size - 1);
}
} // namespace

OperatorTable::OperatorTable(const std::vector<CrystalSymmetryOperator>& ops) {
  ops_.reserve(ops.size());
  for (const auto& op : ops) {
    IntOp o;
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j)
        o.r[i * 3 + j] = op.rotation()(i, j);
      const double x = op.translation()[i] * 24.0;
      const long v = std::lround(x);
      if (std::fabs(x - static_cast<double>(v)) > 1e-6)
        exact_ = false;
      o.t[i] = static_cast<int>(v);
    }
    ops_.push_back(o);
  }
  // A table a quarter full: a lookup is one or two probes.
  std::size_t size = 16;
  while (size < 4 * ops_.size())
    size *= 2;
  slots_.assign(size, kEmpty);
  slot_index_.assign(size, -1);
  for (std::size_t i = 0; i < ops_.size(); ++i) {
    const std::uint64_t k = key(ops_[i]);
    std::size_t at = first_slot(k, size);
    while (slots_[at] != kEmpty && slots_[at] != k)
      at = (at + 1) & (size - 1);
    if (slots_[at] == kEmpty) { // an operator listed twice keeps its first place
      slots_[at] = k;
      slot_index_[at] = static_cast<int>(i);
    }
  }
}

std::uint64_t OperatorTable::key(const IntOp& op) {
  std::uint64_t k = 0;
  for (int e : op.r) // -1, 0 or 1 in any crystallographic setting; 3 marks anything else
    k = (k << 2) | static_cast<std::uint64_t>(e < -1 || e > 1 ? 3 : e + 1);
  for (int v : op.t) { // the translation modulo whole cells
    const int w = v % 24;
    k = (k << 5) | static_cast<std::uint64_t>(w < 0 ? w + 24 : w);
  }
  return k;
}

int OperatorTable::find(const IntOp& op) const {
  const std::uint64_t k = key(op);
  const std::size_t mask = slots_.size() - 1;
  std::size_t at = first_slot(k, slots_.size());
  while (slots_[at] != kEmpty) {
    if (slots_[at] == k)
      return slot_index_[at];
    at = (at + 1) & mask;
  }
  return -1;
}

OperatorTable::IntOp OperatorTable::compose(int a, int b) const {
  const IntOp& x = ops_[a];
  const IntOp& y = ops_[b];
  IntOp p;
  for (int i = 0; i < 3; ++i) {
    p.t[i] = x.t[i];
    for (int j = 0; j < 3; ++j) {
      p.r[i * 3 + j] = x.r[i * 3] * y.r[j] + x.r[i * 3 + 1] * y.r[3 + j] + x.r[i * 3 + 2] * y.r[6 + j];
      p.t[i] += x.r[i * 3 + j] * y.t[j];
    }
  }
  return p;
}

int OperatorTable::product(int a, int b, Int3* lattice) const {
  const IntOp p = compose(a, b);
  const int m = find(p);
  if (m >= 0 && lattice)
    for (int i = 0; i < 3; ++i) // the translations agree modulo 24ths of whole cells
      (*lattice)[i] = (p.t[i] - ops_[m].t[i]) / 24;
  return m;
}

bool OperatorTable::generates_only_listed() const {
  const int n = size();
  std::vector<char> in_group(ops_.size(), 0);
  std::vector<int> group, generators;
  // For each generator, how many elements of `group` have been multiplied by it: every
  // element meets every generator once, and the set grows until nothing new appears.
  std::vector<std::size_t> done;
  for (int s = 0; s < n; ++s) {
    if (in_group[s])
      continue;
    generators.push_back(s);
    done.push_back(0);
    in_group[s] = 1;
    group.push_back(s);
    for (bool grew = true; grew;) {
      grew = false;
      for (std::size_t gi = 0; gi < generators.size(); ++gi)
        for (; done[gi] < group.size(); ++done[gi]) {
          const int p = find(compose(group[done[gi]], generators[gi]));
          if (p < 0)
            return false;
          if (!in_group[p]) {
            in_group[p] = 1;
            group.push_back(p);
          }
          grew = true;
        }
    }
  }
  return true;
}

bool OperatorTable::closed(int* a, int* b) const {
  if (generates_only_listed())
    return true;
  // Not a group: walk the products in the order that names the first one missing.
  const int n = size();
  std::vector<char> in_group(ops_.size(), 0);
  std::vector<int> group, generators;
  for (int s = 0; s < n; ++s) {
    if (in_group[s])
      continue;
    generators.push_back(s);
    in_group[s] = 1;
    group.push_back(s);
    // Every element times every generator, until nothing new appears: the group generated so
    // far. Its elements must all be in the list.
    for (std::size_t h = 0; h < group.size(); ++h)
      for (int g : generators) {
        const int p = find(compose(group[h], g));
        if (p < 0) {
          *a = group[h];
          *b = g;
          return false;
        }
        if (!in_group[p]) {
          in_group[p] = 1;
          group.push_back(p);
        }
      }
  }
  return true;
}

} // namespace xtalmotif
