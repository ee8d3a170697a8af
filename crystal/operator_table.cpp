#include "crystal/operator_table.h"

#include <gemmi/symmetry.hpp>

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
    gemmi::Op o;
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j)
        o.rot[i][j] = op.rotation()(i, j) * gemmi::Op::DEN;
      const double x = op.translation()[i] * gemmi::Op::DEN;
      const long v = std::lround(x);
      if (std::fabs(x - static_cast<double>(v)) > 1e-6)
        exact_ = false;
      o.tran[i] = static_cast<int>(v);
    }
    ops_.push_back(o);
  }
  size_ = static_cast<int>(ops_.size());
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

OperatorTable::~OperatorTable() = default;

std::uint64_t OperatorTable::key(const gemmi::Op& op) {
  constexpr int den = gemmi::Op::DEN;
  std::uint64_t k = 0;
  for (const auto& row : op.rot)
    for (int d : row) { // -1, 0 or 1 in any crystallographic setting; 3 marks anything else
      const int e = d / den;
      k = (k << 2) | static_cast<std::uint64_t>(e < -1 || e > 1 || e * den != d ? 3 : e + 1);
    }
  for (int v : op.tran) { // the translation modulo whole cells
    const int w = v % den;
    k = (k << 5) | static_cast<std::uint64_t>(w < 0 ? w + den : w);
  }
  return k;
}

int OperatorTable::find(const gemmi::Op& op) const {
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

gemmi::Op OperatorTable::compose(int a, int b) const { return ops_[a].combine(ops_[b]); }

int OperatorTable::product(int a, int b, Int3* lattice) const {
  const gemmi::Op p = compose(a, b);
  const int m = find(p);
  if (m >= 0 && lattice)
    for (int i = 0; i < 3; ++i) // the translations agree modulo whole cells
      (*lattice)[i] = (p.tran[i] - ops_[m].tran[i]) / gemmi::Op::DEN;
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
