#include "crystal/crystal_builder.h"

#include "chem/bond_perception.h"
#include "crystal/cif_error.h"
#include "crystal/coexistence.h"
#include "crystal/operator_table.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <tuple>
#include <unordered_set>

namespace xtalmotif {

namespace {

bool is_upper(char c) { return c >= 'A' && c <= 'Z'; }
bool is_lower(char c) { return c >= 'a' && c <= 'z'; }
bool is_alpha(char c) { return is_upper(c) || is_lower(c); }

// A hydrogen closer than this to an O or N is its own, not one shared with a neighbour.
constexpr double kOwnHydrogen = 1.15;
// Partly occupied hydrogens closer than this are alternatives of one another.
constexpr double kAlternativeHydrogens = 1.2;
// Two bonds from one atom are never closer than this (radians; 80 degrees): three-membered
// rings, at 60, are never made of images of one disordered site.
constexpr double kSmallestBondAngle = 80.0 * 3.14159265358979323846 / 180.0;

int element_code(const std::string& s) { return Element::code_of(s); }

// ---- the atoms of the asymmetric unit ------------------------------------------------------

struct SiteAtom {
  int record = -1; // index in the description's site list
  int row = -1;    // row of the file's atom-site loop
  Element element;
  int charge = 0;
  std::string label;
  Point frac;
  double occupancy = 1.0;
  int group = 0;
  bool partial = false; // partly occupied or disordered: may clash with an alternative
  bool flagged_partial = false;
  // The fraction of cells in which the site holds its atom: the occupancy with the share of a
  // special position taken out, at most 1.
  double presence = 1.0;
};

struct CellAtom {
  int site = -1;                     // index into the kept sites
  int op = 0;                        // operator index
  Point frac;                        // reduced into [0, 1)
  std::array<int, 3> shift{0, 0, 0}; // whole numbers: frac = op(site) + shift
  Point orth;
  bool alive = true;
};

struct Neighbour {
  int other;
  std::array<int, 3> t; // the other atom lies at its reduced position plus t
  double d;
};

std::array<int, 3> negate(const std::array<int, 3>& t) { return {-t[0], -t[1], -t[2]}; }
std::array<int, 3> add(const std::array<int, 3>& a, const std::array<int, 3>& b) {
  return {a[0] + b[0], a[1] + b[1], a[2] + b[2]};
}

using Int3 = std::array<int, 3>;

Int3 as_ints(const Point& p) {
  return {static_cast<int>(std::lround(p[0])), static_cast<int>(std::lround(p[1])),
          static_cast<int>(std::lround(p[2]))};
}

/// Where a cell atom dropped as a repeat of another image of its site went: that image, and the
/// lattice translation between the two (dropped ~ kept + offset).
struct RepeatOf {
  int kept = -1;
  Int3 offset{0, 0, 0};
};

/// Entries b to e - 1 of a vector that may grow while they are read: each is read through the
/// vector when its turn comes, and handed out as a copy, so that adding to the vector (and
/// moving it) between two steps does no harm.
template <class T> class StableRange {
public:
  StableRange(const std::vector<T>& v, std::size_t b, std::size_t e) : v_(&v), b_(b), e_(e) {}
  class iterator {
  public:
    iterator(const std::vector<T>* v, std::size_t k) : v_(v), k_(k) {}
    T operator*() const { return (*v_)[k_]; }
    iterator& operator++() {
      ++k_;
      return *this;
    }
    bool operator!=(const iterator& o) const { return k_ != o.k_; }

  private:
    const std::vector<T>* v_;
    std::size_t k_;
  };
  iterator begin() const { return {v_, b_}; }
  iterator end() const { return {v_, e_}; }
  std::size_t size() const { return e_ - b_; }

private:
  const std::vector<T>* v_;
  std::size_t b_, e_;
};

/// The pairs of cell atoms (with their lattice images) close enough for any decision the
/// builder makes: closer than the sum of their covalent radii plus `tolerance`, or than
/// `min_limit`.
///
/// The neighbours of the asymmetric-unit atoms (cell atoms 0 to nsites - 1, the identity
/// images) are searched in a periodic grid over the cell when the table is made. Those of any
/// other cell atom are found when first asked for, as the symmetry image of its site's list
/// mapped back onto the cell atoms kept: most images of the asymmetric unit belong to no
/// molecule that is built, and their lists are never needed.
///
/// All lists live in one flat array, each atom's entries contiguous.
///
/// gemmi's NeighborSearch would find every list by a search of its own, and knows nothing of
/// the repeats of a site or of which images are ever needed; deriving the images' lists by
/// symmetry is what keeps assembly near the cost of parsing.
class CellNeighbours {
public:
  CellNeighbours(const std::vector<CellAtom>& cell, std::size_t nsites,
                 std::vector<double> site_radius, double tolerance, double min_limit,
                 const std::vector<RepeatOf>& repeat_of, const CrystalMaker& cm,
                 bool operators_form_group, std::size_t max_points);

  /// Atom i's neighbours (found now if not yet); other lists may be asked for while it is read.
  StableRange<Neighbour> of(int i) {
    find(i);
    return {all_, first_[i], last_[i]};
  }
  /// True when every list is the image of its site's list under an operator of the list
  /// (every operator an isometry of the lattice, translations exact and the list a group),
  /// so that the distances met in the asymmetric-unit lists are every distance there is, up
  /// to the repeats' offsets.
  bool derived_by_symmetry() const { return derived_by_symmetry_; }
  /// How much the operators change the cell's metric tensor at worst, relative to its
  /// largest diagonal entry: 0 for symmetry that fits the cell.
  double metric_misfit() const { return metric_misfit_; }

private:
  void find(int i);
  void search(int q);
  void derive(int i);
  double limit(int a, int b) const {
    return std::max(site_radius_[cell_[a].site] + site_radius_[cell_[b].site] + tolerance_,
                    min_limit_);
  }
  Int3 cube_of(const Point& f) const {
    Int3 c;
    for (int k = 0; k < 3; ++k)
      c[k] = std::min(ng_[k] - 1, std::max(0, static_cast<int>(f[k] * ng_[k])));
    return c;
  }
  int cube_index(const Int3& c) const { return (c[0] * ng_[1] + c[1]) * ng_[2] + c[2]; }
  /// op_k o op_k' as an index of the operator list (-1: not in it), its lattice part in
  /// `lattice`; one row of products is kept per operator asked about.
  int product(int k, int kp, Int3* lattice);

  const std::vector<CellAtom>& cell_;
  const std::size_t nsites_;
  const std::vector<double> site_radius_;
  const double tolerance_, min_limit_;
  const std::vector<RepeatOf>& repeat_of_;
  const std::vector<CrystalSymmetryOperator>& ops_;
  const Matrix<double, 3, 3> orth_;
  const OperatorTable table_;
  // The operators are known to form a group: every product is in the list.
  bool group_ = false;
  double metric_misfit_ = 0;
  bool isometric_ = true;
  bool derived_by_symmetry_ = false;

  // The grid: the cell cut into ng_[k] slabs along each axis. Cube c holds the atoms
  // grid_[cube_first_[c]] to grid_[cube_first_[c + 1] - 1].
  Int3 ng_{{1, 1, 1}};
  std::vector<int> cube_first_;
  // The length of row k of the fractional matrix: a point within r of another differs from it
  // by at most r * row_[k] along axis k.
  std::array<double, 3> row_{};
  double max_radius_ = 0;
  // The slabs a search reaches along each axis: the slab of the cell each wraps onto and the
  // lattice translation that takes it there. Kept between searches to save allocations.
  struct Slab {
    int wrapped, t;
  };
  std::array<std::vector<Slab>, 3> slabs_;
  // The atoms in cube order, with what the search reads of them side by side.
  struct GridAtom {
    double x, y, z;
    double radius;
    int index;
  };
  std::vector<GridAtom> grid_;

  std::vector<std::vector<int>> product_row_;
  std::vector<std::vector<Int3>> product_lattice_;

  static constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);
  std::vector<Neighbour> all_;
  std::vector<std::size_t> first_, last_;
};

CellNeighbours::CellNeighbours(const std::vector<CellAtom>& cell, std::size_t nsites,
                               std::vector<double> site_radius, double tolerance, double min_limit,
                               const std::vector<RepeatOf>& repeat_of, const CrystalMaker& cm,
                               bool operators_form_group, std::size_t max_points)
    : cell_(cell), nsites_(nsites), site_radius_(std::move(site_radius)), tolerance_(tolerance),
      min_limit_(min_limit), repeat_of_(repeat_of), ops_(cm.symmetry_operators()),
      orth_(cm.orthogonal_matrix()), table_(ops_), first_(cell.size(), kNotFound),
      last_(cell.size(), kNotFound) {
  const int n = static_cast<int>(cell.size());
  if (n == 0)
    return;
  // A list is carried over by symmetry only when every operator is an isometry of the
  // lattice: symmetry that does not fit the cell (a space group taken from a number that
  // belongs to another structure) moves atoms apart or together, and each image is then
  // searched for itself.
  for (const CrystalSymmetryOperator& op : ops_)
    metric_misfit_ = std::max(metric_misfit_, cm.metric_change(op));
  isometric_ = metric_misfit_ <= 1e-9;
  int a = 0, b = 0;
  group_ = operators_form_group || (isometric_ && table_.exact() && table_.closed(&a, &b));
  derived_by_symmetry_ = isometric_ && table_.exact() && group_;
  product_row_.resize(ops_.size());
  product_lattice_.resize(ops_.size());
  const Matrix<double, 3, 3>& frac = cm.fractional_matrix();
  double max_radius = 0;
  for (double r : site_radius_)
    max_radius = std::max(max_radius, r);
  const double cutoff = std::max(2 * max_radius + tolerance, min_limit);
  // How far, in fractions of each axis, a sphere of radius `cutoff` reaches.
  std::array<double, 3> margin;
  double per_atom = 1.0;
  for (int k = 0; k < 3; ++k) {
    double row =
        std::sqrt(frac(k, 0) * frac(k, 0) + frac(k, 1) * frac(k, 1) + frac(k, 2) * frac(k, 2));
    margin[k] = cutoff * row;
    per_atom *= 2.0 * (std::ceil(margin[k]) + 1.0) + 1.0;
  }
  // A cell far smaller than the bonding reach (a unit typed wrong) would need millions of
  // images per atom; refuse it before looking at any.
  if (per_atom * n > 8.0 * static_cast<double>(max_points))
    throw std::length_error("cell too small for the reach of its bonds");

  // Slabs at least `margin` thick, so that a query reaches into a few of them along each axis.
  for (int k = 0; k < 3; ++k) {
    row_[k] = margin[k] / cutoff;
    ng_[k] = margin[k] >= 1.0 ? 1 : std::max(1, static_cast<int>(1.0 / margin[k]));
  }
  // Few atoms in a large cell: no more cubes than a few per atom.
  while (static_cast<double>(ng_[0]) * ng_[1] * ng_[2] > 2.0 * n + 64) {
    int k = static_cast<int>(std::max_element(ng_.begin(), ng_.end()) - ng_.begin());
    ng_[k] = std::max(1, ng_[k] * 4 / 5);
  }
  max_radius_ = max_radius;
  // Counting sort keeps each cube's atoms contiguous. Repeats of a site are not in the grid.
  const std::size_t ncubes = static_cast<std::size_t>(ng_[0]) * ng_[1] * ng_[2];
  cube_first_.assign(ncubes + 1, 0);
  std::vector<int> home(cell.size(), -1);
  for (int i = 0; i < n; ++i)
    if (repeat_of_[i].kept < 0) {
      home[i] = cube_index(cube_of(cell[i].frac));
      ++cube_first_[home[i] + 1];
    }
  for (std::size_t c = 0; c < ncubes; ++c)
    cube_first_[c + 1] += cube_first_[c];
  std::vector<int> slot(cube_first_.begin(), cube_first_.end() - 1);
  grid_.resize(static_cast<std::size_t>(cube_first_[ncubes]));
  for (int i = 0; i < n; ++i)
    if (home[i] >= 0) {
      const Point& p = cell[i].orth;
      grid_[slot[home[i]]++] = {p[0], p[1], p[2], site_radius_[cell[i].site], i};
    }
  // The asymmetric unit's lists: every other list is derived from these.
  for (std::size_t i = 0; i < nsites_ && i < cell.size(); ++i)
    if (repeat_of_[i].kept < 0)
      find(static_cast<int>(i));
}

void CellNeighbours::find(int i) {
  if (first_[i] != kNotFound)
    return;
  first_[i] = all_.size();
  if (repeat_of_[i].kept < 0) {
    if (static_cast<std::size_t>(i) < nsites_ || !table_.exact() || !isometric_)
      search(i);
    else
      derive(i);
  }
  last_[i] = all_.size();
}

void CellNeighbours::search(int q) {
  const Point& p = cell_[q].orth;
  const double own = site_radius_[cell_[q].site] + tolerance_;
  // Along each axis, the slabs within this atom's reach (its radius and the largest, plus the
  // tolerance), across the cell's faces too; floor division gives the translation.
  const Point& f = cell_[q].frac;
  const double reach = std::max(own + max_radius_, min_limit_);
  auto& slabs = slabs_;
  for (int k = 0; k < 3; ++k) {
    slabs[k].clear();
    const double m = reach * row_[k] + 1e-9;
    const int lo = static_cast<int>(std::floor((f[k] - m) * ng_[k]));
    const int hi = static_cast<int>(std::floor((f[k] + m) * ng_[k]));
    for (int x = lo; x <= hi; ++x) {
      const int t = x >= 0 ? x / ng_[k] : -((-x + ng_[k] - 1) / ng_[k]);
      slabs[k].push_back({x - t * ng_[k], t});
    }
  }
  for (const Slab& s0 : slabs[0])
    for (const Slab& s1 : slabs[1])
      for (const Slab& s2 : slabs[2]) {
        const int c = (s0.wrapped * ng_[1] + s1.wrapped) * ng_[2] + s2.wrapped;
        if (cube_first_[c] == cube_first_[c + 1])
          continue;
        const Int3 t{s0.t, s1.t, s2.t};
        // Measured as sqrdistance(p, q + orth * t), the same arithmetic as every other
        // distance between cell atoms here, so that a pair's length is the same number
        // whichever way it was found.
        const Point shift = orth_ * Point(t[0], t[1], t[2]);
        const bool home_cell = t[0] == 0 && t[1] == 0 && t[2] == 0;
        for (int at = cube_first_[c]; at < cube_first_[c + 1]; ++at) {
          const GridAtom& g = grid_[at];
          const double dx = p[0] - (g.x + shift[0]), dy = p[1] - (g.y + shift[1]),
                       dz = p[2] - (g.z + shift[2]);
          const double d2 = dx * dx + dy * dy + dz * dz;
          const double lim = std::max(own + g.radius, min_limit_);
          if (d2 < lim * lim && !(g.index == q && home_cell))
            all_.push_back({g.index, t, std::sqrt(d2)});
        }
      }
}

int CellNeighbours::product(int k, int kp, Int3* lattice) {
  std::vector<int>& row = product_row_[k];
  if (row.empty()) {
    row.assign(ops_.size(), -2);
    product_lattice_[k].resize(ops_.size());
  }
  if (row[kp] == -2)
    row[kp] = table_.product(k, kp, &product_lattice_[k][kp]);
  *lattice = product_lattice_[k][kp];
  return row[kp];
}

void CellNeighbours::derive(int i) {
  // Cell atom c = op_k(site s) + shift_c. Op k carries the neighbourhood of site s's own
  // image onto c's; a neighbour there, op_k'(site s') + shift_j + t, goes to
  // op_m(s') + L + R_k (shift_j + t - shift_s) + shift_c, with op_k o op_k' = op_m + L.
  const int k = cell_[i].op;
  const int s = cell_[i].site;
  find(s);
  // Carried over only when every product it needs is in the list (as it is in a group);
  // otherwise searched.
  Int3 l;
  if (!group_)
    for (std::size_t e = first_[s]; e < last_[s]; ++e)
      if (product(k, cell_[all_[e].other].op, &l) < 0) {
        search(i);
        return;
      }
  const Matrix<int, 3, 3>& r = ops_[k].rotation();
  for (std::size_t e = first_[s]; e < last_[s]; ++e) {
    const Neighbour nb = all_[e]; // a copy: adding below may move the list
    const CellAtom& cj = cell_[nb.other];
    const int m = product(k, cj.op, &l);
    if (m < 0) { // a list said to be a group that is not one after all
      all_.resize(first_[i]);
      search(i);
      return;
    }
    int g = m * static_cast<int>(nsites_) + cj.site;
    Int3 v, t;
    for (int a = 0; a < 3; ++a)
      v[a] = cj.shift[a] + nb.t[a] - cell_[s].shift[a];
    for (int a = 0; a < 3; ++a)
      t[a] = l[a] + r(a, 0) * v[0] + r(a, 1) * v[1] + r(a, 2) * v[2] + cell_[i].shift[a] -
             cell_[g].shift[a];
    if (repeat_of_[g].kept >= 0) { // a repeat of another image of the same site
      t = add(t, repeat_of_[g].offset);
      g = repeat_of_[g].kept;
    }
    if (g == i && t[0] == 0 && t[1] == 0 && t[2] == 0)
      continue;
    const double d =
        std::sqrt(sqrdistance(cell_[i].orth, cell_[g].orth + orth_ * Point(t[0], t[1], t[2])));
    if (d < limit(i, g))
      all_.push_back({g, t, d});
  }
}

// True when two cell atoms (the second moved by the lattice translation t) come from their
// sites by the same operator and translation, as atoms of one asymmetric unit do.
bool same_image(const CellAtom& a, const CellAtom& b, const std::array<int, 3>& t) {
  if (a.op != b.op)
    return false;
  for (int k = 0; k < 3; ++k)
    if (a.shift[k] != b.shift[k] + t[k])
      return false;
  return true;
}

// std::floor of each coordinate, without the library calls: the whole part by truncation,
// one less for negative fractions (coordinates here are far below 2^52).
Point floor_point(const Point& p) {
  Point out;
  for (int k = 0; k < 3; ++k) {
    if (!(std::fabs(p[k]) < 4.0e15)) {
      out[k] = std::floor(p[k]);
      continue;
    }
    double whole = static_cast<double>(static_cast<long long>(p[k]));
    if (whole > p[k])
      whole -= 1.0;
    out[k] = whole;
  }
  return out;
}

// The shortest distance between two fractional points over lattice translations, for the
// nearly orthogonal question "is this the same place": rounding each difference to the nearest
// whole number is exact enough below the 0.5 A scale.
//
// Most pairs asked about are plainly farther apart than the question's limit, and `below`
// tells them without the full computation: a fractional difference f_k along axis k puts two
// points at least |f_k| / |row k of the fractional matrix| apart.
class LatticeDistance {
public:
  explicit LatticeDistance(const CrystalMaker& cm) : cm_(cm) {
    const Matrix<double, 3, 3>& f = cm.fractional_matrix();
    for (int k = 0; k < 3; ++k)
      row_[k] = std::sqrt(f(k, 0) * f(k, 0) + f(k, 1) * f(k, 1) + f(k, 2) * f(k, 2));
  }
  /// The distance when it is below `limit`; otherwise the distance or `limit` itself.
  double below(const Point& a, const Point& b, double limit) const {
    Point d = a - b;
    for (int k = 0; k < 3; ++k) {
      d[k] -= round_half_away(d[k]);
      // With a margin for rounding, so that no pair closer than the limit is passed over.
      if (std::fabs(d[k]) > limit * row_[k] * (1.0 + 1e-9))
        return limit;
    }
    return cm_.to_orthogonal(d).length();
  }

  /// How far along axis k, in fractions of the axis, two points within `limit` can be apart.
  double reach_along(int k, double limit) const { return limit * row_[k]; }

private:
  // std::round, without the library call: whole part by truncation, which is exact for the
  // fractional differences met here (well below 2^52).
  static double round_half_away(double x) {
    if (!(std::fabs(x) < 4.0e15))
      return std::round(x);
    double whole = static_cast<double>(static_cast<long long>(x));
    const double rest = x - whole;
    if (rest >= 0.5)
      whole += 1.0;
    else if (rest <= -0.5)
      whole -= 1.0;
    return whole;
  }

  const CrystalMaker& cm_;
  std::array<double, 3> row_{};
};

std::string block_prefix(const CrystalDescription& d) {
  return d.source + ": block " + d.block + ": ";
}

} // namespace

// ---- elements from symbols and labels --------------------------------------------------------

std::set<int> CrystalBuilder::formula_elements(const std::string& formula) {
  std::set<int> out;
  for (std::size_t i = 0; i < formula.size();) {
    if (is_upper(formula[i])) {
      std::string sym(1, formula[i]);
      if (i + 1 < formula.size() && is_lower(formula[i + 1]))
        sym += formula[i + 1];
      int code = element_code(sym);
      if (code < 0 && sym.size() == 2)
        code = element_code(sym.substr(0, 1));
      if (code > 0)
        out.insert(code);
      i += sym.size();
    } else {
      ++i;
    }
  }
  return out;
}

namespace {

// Picks between a two-letter and a one-letter reading of the start of a symbol or label.
Element choose_element(const std::string& letters, const std::set<int>& formula,
                       bool prefer_two_letters) {
  int one = letters.empty() ? -1 : element_code(letters.substr(0, 1));
  int two = letters.size() >= 2 ? element_code(letters.substr(0, 2)) : -1;
  if (two > 0 && one > 0) {
    if (!formula.empty()) {
      if (formula.count(two))
        return Element(two);
      if (formula.count(one))
        return Element(one);
    }
    return Element(prefer_two_letters ? two : one);
  }
  if (two > 0)
    return Element(two);
  if (one > 0)
    return Element(one);
  return Element();
}

} // namespace

Element CrystalBuilder::element_from_type_symbol(const std::string& symbol,
                                                 const std::set<int>& formula, int* charge) {
  std::size_t i = 0;
  while (i < symbol.size() && std::isspace(static_cast<unsigned char>(symbol[i])))
    ++i;
  std::string letters;
  while (i < symbol.size() && is_alpha(symbol[i]) && letters.size() < 2)
    letters += symbol[i++];
  if (charge)
    *charge = 0;
  if (letters.empty())
    return Element();
  // A type symbol names an element: "CL" is chlorine and "CA" calcium, unless the formula
  // shows that the writer put a label there.
  Element e = choose_element(letters, formula, true);
  if (e.code() == 0)
    return e;
  // The charge follows as "2-", "1+", "+", "-" or "-2".
  std::string rest = symbol.substr(i);
  int digits = 0, sign = 0;
  bool seen_digit = false, other = false;
  for (char c : rest) {
    if (c >= '0' && c <= '9') {
      if (digits < 100)
        digits = digits * 10 + (c - '0');
      seen_digit = true;
    } else if (c == '+') {
      sign = 1;
    } else if (c == '-') {
      sign = -1;
    } else if (!std::isspace(static_cast<unsigned char>(c))) {
      other = true;
    }
  }
  if (charge && sign != 0 && !other)
    *charge = sign * (seen_digit ? digits : 1);
  return e;
}

Element CrystalBuilder::element_from_label(const std::string& label, const std::set<int>& formula) {
  std::string letters;
  for (char c : label) {
    if (!is_alpha(c))
      break;
    letters += c;
  }
  if (letters.empty())
    return Element();
  std::string lower = letters;
  for (char& c : lower)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  // Water written as a residue name.
  if (lower.rfind("wat", 0) == 0 || lower.rfind("hoh", 0) == 0)
    return lower[0] == 'h' && formula.count(Element::Oxygen) == 0 ? Element(Element::Hydrogen)
                                                                  : Element(Element::Oxygen);
  bool mixed_case = letters.size() >= 2 && is_lower(letters[1]) && is_upper(letters[0]);
  int two = letters.size() >= 2 ? element_code(letters.substr(0, 2)) : -1;
  if (mixed_case && two > 0) {
    int one = element_code(letters.substr(0, 1));
    // "Ca1" with a formula of C, H, O is a carbon written carelessly.
    if (!formula.empty() && !formula.count(two) && one > 0 && formula.count(one))
      return Element(one);
    return Element(two);
  }
  if (letters.size() >= 2 && two > 0) {
    // All capitals: "CL1", "BR2" are halogens; "CA1", "HG1", "NA1" are atoms of an organic
    // molecule unless the formula names the metal.
    std::string up = letters.substr(0, 2);
    for (char& c : up)
      c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    if (!formula.empty())
      return choose_element(letters, formula, false);
    if (up == "CL" || up == "BR")
      return Element(two);
  }
  int one = element_code(letters.substr(0, 1));
  if (one > 0)
    return Element(one);
  return two > 0 ? Element(two) : Element();
}

namespace {

// Sites bucketed over the cell so that an atom finds the sites within bonding reach of it
// without visiting all of them: each bucket is at least as wide as bonding reaches along its
// axis, and an atom visits its own bucket and the neighbouring ones.
class SiteBuckets {
public:
  SiteBuckets(const LatticeDistance& lattice_distance, const std::vector<SiteAtom>& sites)
      : sites_(sites) {
    double max_radius = 0;
    for (const SiteAtom& a : sites)
      max_radius = std::max(max_radius, a.element.covalent_radius());
    for (int k = 0; k < 3; ++k) {
      const double reach = lattice_distance.reach_along(k, 2 * max_radius + 0.4) * (1.0 + 1e-9);
      nb_[k] = std::max(1, std::min(32, static_cast<int>(1.0 / std::max(reach, 1e-6))));
    }
    const std::size_t nbuckets = static_cast<std::size_t>(nb_[0]) * nb_[1] * nb_[2];
    first_.assign(nbuckets + 1, 0);
    members_.resize(sites.size());
    std::vector<int> bucket_of(sites.size());
    for (std::size_t j = 0; j < sites.size(); ++j) {
      const std::array<int, 3> at = place(sites[j].frac);
      bucket_of[j] = (at[0] * nb_[1] + at[1]) * nb_[2] + at[2];
      ++first_[bucket_of[j] + 1];
    }
    for (std::size_t c = 0; c < nbuckets; ++c)
      first_[c + 1] += first_[c];
    std::vector<int> fill(first_.begin(), first_.end() - 1);
    for (std::size_t j = 0; j < sites.size(); ++j)
      members_[fill[bucket_of[j]]++] = static_cast<int>(j);
  }

  // Sites in the buckets around site i (i among them); valid until the next call.
  const std::vector<std::size_t>& around(std::size_t i) {
    near_.clear();
    const std::array<int, 3> at = place(sites_[i].frac);
    std::array<int, 3> w0, w1, w2;
    const int n0 = beside(0, at[0], w0), n1 = beside(1, at[1], w1), n2 = beside(2, at[2], w2);
    for (int i0 = 0; i0 < n0; ++i0)
      for (int i1 = 0; i1 < n1; ++i1)
        for (int i2 = 0; i2 < n2; ++i2) {
          const int c = (w0[i0] * nb_[1] + w1[i1]) * nb_[2] + w2[i2];
          for (int m = first_[c]; m < first_[c + 1]; ++m)
            near_.push_back(static_cast<std::size_t>(members_[m]));
        }
    return near_;
  }

private:
  std::array<int, 3> place(const Point& f) const {
    std::array<int, 3> at;
    for (int k = 0; k < 3; ++k)
      at[k] = std::min(nb_[k] - 1, static_cast<int>((f[k] - std::floor(f[k])) * nb_[k]));
    return at;
  }

  // The buckets next to `at` along one axis, each once.
  int beside(int k, int at, std::array<int, 3>& out) const {
    out[0] = at;
    if (nb_[k] == 1)
      return 1;
    out[1] = at + 1 == nb_[k] ? 0 : at + 1;
    if (nb_[k] == 2)
      return 2;
    out[2] = at == 0 ? nb_[k] - 1 : at - 1;
    return 3;
  }

  const std::vector<SiteAtom>& sites_;
  std::array<int, 3> nb_{1, 1, 1};
  std::vector<int> first_, members_;
  std::vector<std::size_t> near_;
};

// Which disorder groups to keep. Groups that are alternatives of one another form a cluster,
// and the cluster keeps its lowest-numbered group (group 1 of the usual pair of groups 1
// and 2). Two groups are alternatives when an atom of one sits too close to an atom of the
// other to coexist, or when they hang on the same ordered atom with occupancies that add up to
// one (the two rotamers of a CH2OH). Files that number groups on through the structure
// (1/2 at one place, 3/4 at the next) keep 1 and 3; a group with no alternative is kept.
class DisorderGroups {
public:
  DisorderGroups(const CrystalMaker& cm, const std::vector<SiteAtom>& sites,
                 const std::vector<std::string>& assembly)
      : cm_(cm), sites_(sites), lattice_distance_(cm), gid_(sites.size(), -1) {
    // Group keys: assembly and group number.
    std::map<std::pair<std::string, int>, int> group_id;
    for (std::size_t i = 0; i < sites.size(); ++i) {
      if (sites[i].group == 0)
        continue;
      grouped_.push_back(i);
      auto k = std::make_pair(assembly[i], sites[i].group);
      auto it = group_id.find(k);
      if (it == group_id.end()) {
        it = group_id.emplace(k, static_cast<int>(groups_.size())).first;
        groups_.push_back(k);
      }
      gid_[i] = it->second;
    }
    parent_.resize(groups_.size());
    for (std::size_t g = 0; g < groups_.size(); ++g)
      parent_[g] = static_cast<int>(g);
  }

  std::vector<std::size_t> kept_sites() {
    if (!grouped_.empty()) {
      unite_clashes_and_rotamers();
      unite_lone_neighbours();
    }
    // The kept group of each cluster: the smallest group number in absolute value.
    std::map<int, int> best;
    for (std::size_t g = 0; g < groups_.size(); ++g) {
      int root = find(static_cast<int>(g));
      auto it = best.find(root);
      if (it == best.end() || std::abs(groups_[g].second) < std::abs(groups_[it->second].second))
        best[root] = static_cast<int>(g);
    }
    std::vector<std::size_t> keep;
    for (std::size_t i = 0; i < sites_.size(); ++i)
      if (sites_[i].group == 0 || best[find(gid_[i])] == gid_[i])
        keep.push_back(i);
    return keep;
  }

private:
  int find(int g) { return parent_[g] == g ? g : parent_[g] = find(parent_[g]); }

  // Alternatives share an assembly and the sign of the group number.
  bool may_alternate(int a, int b) const {
    return groups_[a].first == groups_[b].first &&
           (groups_[a].second > 0) == (groups_[b].second > 0);
  }

  void unite(int a, int b) {
    if (may_alternate(a, b))
      parent_[find(a)] = find(b);
  }

  // Groups whose heavy atoms clash, and groups hanging on one ordered atom (the anchor) by
  // atoms of one element whose occupancies add up to one.
  void unite_clashes_and_rotamers() {
    SiteBuckets buckets(lattice_distance_, sites_);
    std::map<std::size_t, std::vector<std::size_t>> by_anchor;
    for (std::size_t i : grouped_) {
      const SiteAtom& a = sites_[i];
      for (std::size_t j : buckets.around(i)) {
        const SiteAtom& b = sites_[j];
        if (j == i)
          continue;
        double lim = a.element.covalent_radius() + b.element.covalent_radius() + 0.4;
        double d = lattice_distance_.below(a.frac, b.frac, lim);
        if (d >= lim)
          continue;
        if (b.group == 0) {
          if (!(a.element.is_hydrogen() && b.element.is_hydrogen()))
            by_anchor[j].push_back(i);
        } else if (gid_[j] != gid_[i] && !a.element.is_hydrogen() && !b.element.is_hydrogen() &&
                   d < 0.75 * (lim - 0.4)) {
          unite(gid_[i], gid_[j]);
        }
      }
    }
    for (const auto& kv : by_anchor)
      for (std::size_t x = 0; x < kv.second.size(); ++x)
        for (std::size_t y = x + 1; y < kv.second.size(); ++y) {
          std::size_t i = kv.second[x], j = kv.second[y];
          if (gid_[i] == gid_[j] || sites_[i].element != sites_[j].element)
            continue;
          if (std::fabs(sites_[i].occupancy + sites_[j].occupancy - 1.0) < 0.1)
            unite(gid_[i], gid_[j]);
        }
  }

  // A group left without an alternative while another group of its assembly lies next to it
  // (within van der Waals contact) with an occupancy that leaves room for only one of the two:
  // the two are alternatives that neither clash nor hang on one atom, such as a methyl group
  // on one ring carbon (group 1) or on the next (group 2). Groups far apart are independent
  // regions, even where a file names them all with one assembly.
  void unite_lone_neighbours() {
    // A group's occupancy is that of its partly occupied atoms (an ordered atom is sometimes
    // filed in group 1 too); a group with none was written without occupancies.
    std::vector<double> group_occupancy(groups_.size(), 1.0);
    std::vector<int> cluster_size(groups_.size(), 0);
    for (std::size_t i : grouped_)
      group_occupancy[gid_[i]] = std::min(group_occupancy[gid_[i]], sites_[i].occupancy);
    for (std::size_t g = 0; g < groups_.size(); ++g)
      ++cluster_size[find(static_cast<int>(g))];
    constexpr double kMostPairs = 2.0e7;
    const double pairs =
        static_cast<double>(grouped_.size()) * grouped_.size() * cm_.symmetry_operators().size();
    if (pairs > kMostPairs)
      return;
    for (std::size_t i : grouped_) {
      if (cluster_size[find(gid_[i])] != 1)
        continue;
      for (std::size_t j : grouped_) {
        if (gid_[j] == gid_[i] || !may_alternate(gid_[i], gid_[j]))
          continue;
        // Occupancies must leave room for only one of the two; where the file gives none, a
        // named assembly is word enough.
        const double total = group_occupancy[gid_[i]] + group_occupancy[gid_[j]];
        if (total > 1.05 && !(total == 2.0 && !groups_[gid_[i]].first.empty()))
          continue;
        if (in_contact(i, j)) {
          const int before = cluster_size[find(gid_[j])];
          unite(gid_[i], gid_[j]);
          cluster_size[find(gid_[i])] = before + 1;
          break;
        }
      }
    }
  }

  // Whether site j, or a symmetry image of it, lies within van der Waals contact of site i:
  // the other group may be written beside a symmetry image of this one (a perchlorate at 0.7
  // and, across an inversion centre, its alternative at 0.3).
  bool in_contact(std::size_t i, std::size_t j) const {
    const double contact = sites_[i].element.vdw_radius() + sites_[j].element.vdw_radius();
    for (const auto& op : cm_.symmetry_operators())
      if (lattice_distance_.below(sites_[i].frac, op.apply(sites_[j].frac), contact) < contact)
        return true;
    return false;
  }

  const CrystalMaker& cm_;
  const std::vector<SiteAtom>& sites_;
  const LatticeDistance lattice_distance_;
  std::vector<std::size_t> grouped_;
  std::vector<int> gid_;
  std::vector<std::pair<std::string, int>> groups_;
  std::vector<int> parent_;
};

} // namespace

// ---- building ------------------------------------------------------------------------------

namespace {

// A pair as a bond: the lower cell atom a, the higher b and the translation t that takes b to
// a's partner (of an atom and its own lattice image, the positive one), with its length
// measured from a, so that both ends of a bond see the same number to the last bit. Bonds are
// taken shortest first, lengths compared to 1e-5 A: symmetry-equivalent bonds, equal but for
// rounding, then come in the order of their atoms, so where a polymer is cut does not hang on
// the last bit of a distance.
struct BondKey {
  long long length = 0;
  int a = -1, b = -1;
  Int3 t{0, 0, 0};
  bool operator<(const BondKey& o) const {
    return std::tie(length, a, b, t) < std::tie(o.length, o.a, o.b, o.t);
  }
  bool same_pair(const BondKey& o) const { return a == o.a && b == o.b && t == o.t; }
};

// One bond of a cell atom to another (or to a lattice image of itself).
struct Arc {
  int to;
  std::array<int, 3> t;
  bool metal;
};

// The assembly of one crystal from its description, stage by stage; each stage reads what the
// ones before it left in the members.
class Assembly {
public:
  Assembly(const CrystalDescription& desc, const CrystalBuildSettings& settings)
      : desc_(desc), settings_(settings), where(block_prefix(desc)),
        cm(make_handle<CrystalMaker>()) {}

  THandle<CrystalMaker> run() {
    start_crystal();
    read_sites();
    tell_repeated_labels_apart();
    keep_one_alternative();
    weigh_occupancies();
    expand_cell();
    drop_repeated_images();
    find_neighbours();
    drop_duplicate_sites();
    drop_orientations_of_one_atom();
    drop_overlapping_images();
    start_bonds();
    if (std::any_of(sites.begin(), sites.end(),
                    [&](const SiteAtom& a) { return partial_h_site(a); })) {
      trim_hydrogens_beyond_valence();
      one_hydrogen_per_acid();
    }
    note_hydrogen_sites();
    grow_molecules();
    cm->set_polymeric(polymeric);
    if (cm->nmolecules() == 0)
      throw CifError(where + "no atom sites with coordinates");
    return cm;
  }

private:
  const CrystalDescription& desc_;
  const CrystalBuildSettings& settings_;
  const std::string where;
  THandle<CrystalMaker> cm;
  std::optional<LatticeDistance> lattice;
  bool disorder = false;
  std::vector<SiteAtom> all_sites, sites;
  std::vector<std::string> assembly;
  std::vector<int> site_symmetry;
  std::vector<CellAtom> cell;
  std::vector<RepeatOf> repeat_of;
  std::vector<double> twin_offset;
  BondPerceptionSettings bps;
  std::optional<CellNeighbours> neighbours;
  std::optional<BondPerception> perception;
  std::vector<char> site_metal, site_hydrogen;
  static constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);
  std::vector<Arc> all_arcs;
  std::vector<std::size_t> arcs_first, arcs_last;
  std::vector<BondKey> h_bond;
  bool polymeric = false;

  const std::vector<CrystalSymmetryOperator>& ops() const { return cm->symmetry_operators(); }
  CellNeighbours& near() { return *neighbours; }
  int ncell() const { return static_cast<int>(cell.size()); }

  // The cell and the operators, and what the reader noted.
  void start_crystal() {
    try {
      cm->set_cell(desc_.cell[0], desc_.cell[1], desc_.cell[2], desc_.cell[3], desc_.cell[4],
                   desc_.cell[5]);
    } catch (const std::exception& e) {
      throw CifError(where + "unusable cell: " + e.what());
    }
    cm->set_symmetry_operators(desc_.operators);
    cm->set_symmetry_source(desc_.symmetry_source, desc_.symmetry_replaced);
    cm->set_space_group_name(desc_.space_group);
    cm->set_r_factor(desc_.r_factor);
    for (const auto& w : desc_.warnings)
      if (w != desc_.symmetry_replaced)
        cm->add_warning(w);
    // Symmetry codes number the operators used; a reader holding the file's own list must know
    // that it was not.
    if (!desc_.symmetry_replaced.empty())
      cm->add_notice(desc_.symmetry_replaced + "; symmetry codes number the operators of the " +
                     desc_.symmetry_source + " instead");
    lattice.emplace(*cm);
  }

  // The sites of the asymmetric unit: elements and charges, occupancies and disorder groups.
  void read_sites() {
    if (static_cast<int>(desc_.sites.size()) > settings_.max_sites)
      throw CifError(where + "too many atom sites (" + std::to_string(desc_.sites.size()) + ")");

    // Elements and charges.
    const std::set<int> formula = CrystalBuilder::formula_elements(desc_.formula);
    all_sites.reserve(desc_.sites.size());
    assembly.reserve(desc_.sites.size());
    for (std::size_t i = 0; i < desc_.sites.size(); ++i) {
      const AtomSiteRecord& r = desc_.sites[i];
      if (r.dummy)
        continue;
      SiteAtom s;
      s.record = static_cast<int>(i);
      s.label = r.label;
      s.row = r.row >= 0 ? r.row : static_cast<int>(i);
      if (!r.type_symbol.empty())
        s.element = CrystalBuilder::element_from_type_symbol(r.type_symbol, formula, &s.charge);
      if (s.element.code() == 0) {
        s.element = CrystalBuilder::element_from_label(r.label, formula);
      } else {
        // The type symbol is what the refinement used; a label that reads as another element
        // is worth a note.
        Element from_label = CrystalBuilder::element_from_label(r.label, formula);
        if (from_label.code() != 0 && from_label != s.element)
          cm->add_warning("atom site " + r.label + " has type symbol " + r.type_symbol);
      }
      if (s.element.code() == 0) {
        cm->add_warning("atom site " + r.label + ": no element could be read; site skipped");
        continue;
      }
      s.frac = r.fractional;
      s.occupancy = r.occupancy > 0 ? r.occupancy : 1.0;
      s.group = r.disorder_group;
      s.flagged_partial = r.flagged_partial;
      if (r.disorder_group != 0)
        disorder = true;
      if (s.label.empty())
        s.label = s.element.symbol() + std::to_string(i + 1);
      all_sites.push_back(std::move(s));
      assembly.push_back(r.disorder_assembly);
    }
  }

  // A label that names two sites is told apart, wherever it is printed, by the row of the
  // atom-site loop each stands on ("H20#37"), and said once.
  void tell_repeated_labels_apart() {
    std::map<std::string, std::vector<std::size_t>> by_label;
    for (std::size_t i = 0; i < all_sites.size(); ++i)
      by_label[all_sites[i].label].push_back(i);
    for (const auto& [label, which] : by_label) {
      if (which.size() < 2)
        continue;
      std::string names;
      for (std::size_t i : which) {
        all_sites[i].label = label + "#" + std::to_string(all_sites[i].row + 1);
        names += (names.empty() ? "" : ", ") + all_sites[i].label;
      }
      cm->add_notice("atom site label " + label + " names " + std::to_string(which.size()) +
                     " sites, printed as " + names + " (# row of the atom-site loop)");
    }
  }

  // One alternative of every disordered region.
  void keep_one_alternative() {
    const std::vector<std::size_t> kept = DisorderGroups(*cm, all_sites, assembly).kept_sites();
    sites.reserve(kept.size());
    for (std::size_t i : kept)
      sites.push_back(std::move(all_sites[i]));
    if (sites.empty())
      throw CifError(where + "no atom sites with coordinates");
  }

  void weigh_occupancies() {
    // Special positions: an atom that an operator maps onto itself may be written with its
    // crystallographic occupancy (1/2 on an inversion centre); that is not partial occupancy.
    // `self` counts the operators that leave the site in place (1: a general position).
    site_symmetry.assign(sites.size(), 1);
    for (std::size_t i = 0; i < sites.size(); ++i) {
      SiteAtom& s = sites[i];
      int& self = site_symmetry[i];
      for (std::size_t k = 1; k < ops().size(); ++k)
        if (lattice->below(ops()[k].apply(s.frac), s.frac, settings_.merge_distance) <
            settings_.merge_distance)
          ++self;
      bool partly = s.occupancy < 0.99 && s.occupancy * self < 0.99;
      if (partly)
        disorder = true;
      s.partial = partly || s.group != 0 || s.flagged_partial;
      s.presence = std::min(1.0, s.occupancy * self);
      // Flagged as partly occupied with no occupancy given: its share is unknown, and taken as
      // one half, so that it counts as partial wherever presence is weighed.
      if (s.flagged_partial && s.presence >= 0.99)
        s.presence = 0.5;
      if (s.flagged_partial)
        disorder = true;
    }
    cm->set_disorder(disorder);
  }

  void expand_cell() {
    // Every image of every site in the unit cell: identity images first, then operator by
    // operator, so that earlier entries win when two images fall on the same place.
    if (static_cast<double>(sites.size()) * ops().size() > settings_.max_cell_atoms)
      throw CifError(where + "too many atoms in the unit cell");
    // Real crystals give each atom about 10 A^3 or more. Even counting every image of an atom
    // on a special position separately, a hundredth of an A^3 per image is a cell given in the
    // wrong units.
    if (cm->volume() < 0.01 * static_cast<double>(sites.size()) * ops().size())
      throw CifError(where + "cell volume too small for its atoms");
    cell.reserve(sites.size() * ops().size());
    for (std::size_t k = 0; k < ops().size(); ++k)
      for (std::size_t s = 0; s < sites.size(); ++s) {
        CellAtom c;
        c.site = static_cast<int>(s);
        c.op = static_cast<int>(k);
        Point f = ops()[k].apply(sites[s].frac);
        Point fl = floor_point(f);
        c.frac = f - fl;
        // Rounding can leave 1 - 1e-17 + 1e-16 == 1.0.
        for (int x = 0; x < 3; ++x)
          if (c.frac[x] >= 1.0) {
            c.frac[x] -= 1.0;
            fl[x] += 1.0;
          }
        for (int x = 0; x < 3; ++x)
          c.shift[x] = -static_cast<int>(fl[x]);
        c.orth = cm->to_orthogonal(c.frac);
        cell.push_back(c);
      }
  }

  void drop_repeated_images() {
    // An atom on a special position is met again by every operator of its site symmetry (48
    // times over in a cubic group); later images of a site that fall on an earlier one are the
    // same atom, dropped here so that the neighbour search does not meet them all.
    // Two images of a site coincide only when an operator maps the site onto itself, so sites on
    // general positions are passed over.
    repeat_of.assign(cell.size(), RepeatOf{});
    // How far the dropped images of each site lie from the ones kept for them (0 when exactly
    // on its special position).
    twin_offset.assign(sites.size(), 0.0);
    {
      std::vector<int> kept;
      for (std::size_t s = 0; s < sites.size(); ++s) {
        if (site_symmetry[s] == 1)
          continue;
        kept.assign(1, static_cast<int>(s));
        for (std::size_t k = 1; k < ops().size(); ++k) {
          const std::size_t ci = k * sites.size() + s;
          CellAtom& c = cell[ci];
          for (int j : kept)
            if (const double d = lattice->below(c.frac, cell[j].frac, settings_.merge_distance);
                d < settings_.merge_distance) {
              twin_offset[s] = std::max(twin_offset[s], d);
              c.alive = false;
              repeat_of[ci].kept = j;
              repeat_of[ci].offset = as_ints(c.frac - cell[j].frac);
              break;
            }
          if (c.alive)
            kept.push_back(static_cast<int>(k * sites.size() + s));
        }
      }
    }
  }

  // The neighbours of every cell atom within reach of any decision below.
  void find_neighbours() {
    std::vector<double> site_radius;
    site_radius.reserve(sites.size());
    // A partly occupied hydrogen reaches far enough to meet an alternative hydrogen closer than
    // a real H...H contact (see clash_distance below).
    for (const SiteAtom& s : sites)
      site_radius.push_back(
          s.partial && s.element.is_hydrogen()
              ? std::max(s.element.covalent_radius(),
                         (CoexistenceRule::kHydrogenSeparation - bps.tolerance) / 2)
              : s.element.covalent_radius());
    try {
      neighbours.emplace(cell, sites.size(), std::move(site_radius), bps.tolerance,
                         settings_.merge_distance + 0.01, repeat_of, *cm,
                         desc_.operators_form_group,
                         static_cast<std::size_t>(settings_.max_cell_atoms) * 8);
    } catch (const std::length_error& e) {
      throw CifError(where + e.what());
    }
    // The reader's tolerance for an operator loop: symmetry that changes the metric more than
    // this belongs to another cell, and its images may clash.
    if (near().metric_misfit() > CrystalMaker::kMetricTolerance)
      cm->add_warning("symmetry operators do not fit the cell (they change its metric by up to " +
                      std::to_string(static_cast<int>(std::lround(near().metric_misfit() * 100))) +
                      " %)");
  }

  // Two partly occupied hydrogens closer than the two hydrogens of one water (1.35 A with
  // X-ray O-H lengths) are alternatives: the two staggered sets of a disordered methyl group
  // are 0.9-1.0 A apart.
  double clash_distance(const SiteAtom& x, const SiteAtom& y) const {
    if (x.element.is_hydrogen() && y.element.is_hydrogen())
      return kAlternativeHydrogens;
    if (x.element.is_hydrogen() || y.element.is_hydrogen())
      return settings_.merge_distance;
    return std::max(settings_.merge_distance,
                    0.75 * (x.element.covalent_radius() + y.element.covalent_radius()));
  }

  void drop_duplicate_sites() {
    // Sites written twice in the asymmetric unit (or unlabelled alternatives of a disordered
    // atom): the higher occupancy stays, then the first written.
    std::vector<char> site_dropped(sites.size(), 0);
    for (std::size_t i = 0; i < sites.size(); ++i) {
      const CellAtom& ci = cell[i];
      for (const Neighbour nb : near().of(static_cast<int>(i))) {
        if (nb.other >= static_cast<int>(sites.size()) || nb.other == static_cast<int>(i))
          continue;
        const SiteAtom& a = sites[ci.site];
        const SiteAtom& b = sites[cell[nb.other].site];
        bool duplicate = nb.d < settings_.merge_distance;
        // Unlabelled alternatives: too close to be bonded, or as close as a bond but with
        // occupancies that leave room for only one of the two. Atoms of one partly occupied
        // molecule share an occupancy, so equal occupancies at bond length are a bond.
        bool alternatives =
            a.partial && b.partial && a.group == 0 && b.group == 0 &&
            (nb.d < clash_distance(a, b) ||
             (!a.element.is_hydrogen() && !b.element.is_hydrogen() &&
              nb.d < a.element.covalent_radius() + b.element.covalent_radius() + 0.1 &&
              a.occupancy + b.occupancy <= 1.05 && std::fabs(a.occupancy - b.occupancy) > 0.05));
        if (!duplicate && !alternatives)
          continue;
        int i_site = static_cast<int>(i), j_site = nb.other;
        if (site_dropped[i_site] || site_dropped[j_site])
          continue;
        int loser = (b.occupancy < a.occupancy || (b.occupancy == a.occupancy && j_site > i_site))
                        ? j_site
                        : i_site;
        site_dropped[loser] = 1;
        if (duplicate && !a.partial && !b.partial)
          cm->add_error("atom sites " + a.label + " and " + b.label + " coincide");
      }
    }
    for (CellAtom& c : cell)
      if (site_dropped[c.site])
        c.alive = false;
  }

  // Orientations of one disordered atom: images of a partly occupied site that all bond to one
  // partner on a symmetry element, more of them than the partner's own occupancy leaves room
  // for, and placed as no real bonds could be: closer together than any bond angle allows
  // (three images of a 1/3-occupied N around a C on a threefold axis, 49 degrees apart), or on
  // an atom that takes one bond (the carbon of a CH2Cl2, 0.16, around its two Cl, 0.47, on a
  // threefold axis). They are one atom in several orientations; the written one stays, and the
  // search meets the others in the symmetry copies of its molecule. A molecule that is whole
  // in every cell where it is there keeps them all (the Cl atoms of a CHCl3 on a threefold axis
  // each have the occupancy of its carbon), and so does a group whose images are bonded as the
  // group is (the two trans F of a PF6 on an inversion centre, 180 degrees apart).
  void drop_orientations_of_one_atom() {
    const BondPerception lengths(bps);
    std::vector<int> around;
    for (std::size_t s = 0; s < sites.size(); ++s) {
      const SiteAtom& a = sites[s];
      if (!a.partial || !cell[s].alive)
        continue;
      for (const Neighbour nb : near().of(static_cast<int>(s))) {
        const int p = nb.other;
        const SiteAtom& partner = sites[cell[p].site];
        if (!cell[p].alive || cell[p].site == static_cast<int>(s) ||
            !lengths.is_bond_length(a.element, partner.element, nb.d))
          continue;
        const bool single_bond = partner.element.is_halogen() || partner.element.is_hydrogen();
        // Positions in the frame of the written atom: the partner at its place plus nb.t, each
        // image at the partner's list entry plus the same shift.
        auto shifted = [&](int c, const Int3& t1, const Int3& t2) {
          const Int3 t = add(t1, t2);
          return cell[c].orth + cm->orthogonal_matrix() * Point(t[0], t[1], t[2]);
        };
        const Point at_partner = shifted(p, nb.t, {0, 0, 0});
        around.clear();
        for (const Neighbour q : near().of(p)) {
          if (q.other == static_cast<int>(s) || cell[q.other].site != static_cast<int>(s) ||
              !cell[q.other].alive || !lengths.is_bond_length(a.element, partner.element, q.d))
            continue;
          if (single_bond ||
              angle(cell[s].orth, at_partner, shifted(q.other, q.t, nb.t)) < kSmallestBondAngle)
            around.push_back(q.other);
        }
        if (!around.empty() &&
            a.presence * static_cast<double>(around.size() + 1) <= partner.presence + 0.05)
          for (int c : around)
            cell[c].alive = false;
      }
    }
  }

  // Images that land on an atom already placed: the same atom on a special position, or the
  // symmetry image of a molecule disordered across a symmetry element, which gives way to the
  // asymmetric unit's orientation. `slack` widens the test by how far a pair's distance may
  // differ from the one measured.
  bool overlapping(int i, const Neighbour& nb, double slack) const {
    const SiteAtom& a = sites[cell[i].site];
    const SiteAtom& b = sites[cell[nb.other].site];
    const double d = nb.d - slack;
    bool duplicate = d < settings_.merge_distance;
    bool clash = a.partial && b.partial && d < clash_distance(a, b);
    // Two images of a hydrogen there in half the cells or fewer, closer than any real H...H
    // contact (a half hydrogen beside a mirror plane), are its two orientations.
    bool other_orientation_of_site =
        cell[i].site == cell[nb.other].site && a.element.is_hydrogen() && a.partial &&
        a.presence * 2 <= 1.05 && d < CoexistenceRule::kHydrogenSeparation;
    // A negative disorder group is disordered across a symmetry element: an image of it
    // within bonding reach of another image of a negative group is the other orientation.
    bool other_orientation =
        a.group < 0 && b.group < 0 && (slack > 0 || !same_image(cell[i], cell[nb.other], nb.t)) &&
        d < a.element.covalent_radius() + b.element.covalent_radius() + bps.tolerance;
    return duplicate || clash || other_orientation || other_orientation_of_site;
  }

  void drop_overlapping_images() {
    // Symmetry keeps distances: every pair of images is the image of a pair in an
    // asymmetric-unit list, at the same distance up to how far a dropped repeat lies from the
    // image kept for it. Only images of sites met in such a pair that could overlap can give way
    // or make another give way; the others are not looked at.
    std::vector<char> may_overlap(sites.size(), near().derived_by_symmetry() ? 0 : 1);
    bool images_may_overlap = !near().derived_by_symmetry();
    for (std::size_t s = 0; s < sites.size() && near().derived_by_symmetry(); ++s) {
      if (!cell[s].alive)
        continue;
      for (const Neighbour nb : near().of(static_cast<int>(s)))
        if (cell[nb.other].alive &&
            overlapping(static_cast<int>(s), nb, twin_offset[cell[nb.other].site] + 1e-6)) {
          may_overlap[s] = may_overlap[cell[nb.other].site] = 1;
          images_may_overlap = true;
        }
    }
    if (images_may_overlap)
      for (std::size_t i = 0; i < cell.size(); ++i) {
        if (!cell[i].alive || !may_overlap[cell[i].site])
          continue;
        for (const Neighbour nb : near().of(static_cast<int>(i))) {
          if (nb.other >= static_cast<int>(i) || !cell[nb.other].alive)
            continue;
          if (overlapping(static_cast<int>(i), nb, 0.0)) {
            cell[i].alive = false;
            break;
          }
        }
      }
  }

  // Bonds between the atoms left, each hydrogen keeping its shortest. An atom's bonds are
  // found when something first asks for them, from its neighbour list; a hydrogen's choice
  // looks at its own list, so that both ends of a bond agree.
  void start_bonds() {
    perception.emplace(bps);
    arcs_first.assign(cell.size(), kNotFound);
    arcs_last.assign(cell.size(), kNotFound);
    h_bond.assign(cell.size(), BondKey{});
    site_metal.assign(sites.size(), 0);
    site_hydrogen.assign(sites.size(), 0);
    for (std::size_t i = 0; i < sites.size(); ++i) {
      site_metal[i] = sites[i].element.is_metal();
      site_hydrogen[i] = sites[i].element.is_hydrogen();
    }
  }

  // The bond that a listed neighbour of x makes, or false when it is none.
  bool bond_to(int x, const Neighbour& nb, BondKey* key) const {
    const int o = nb.other;
    if (!cell[o].alive)
      return false;
    const SiteAtom& sx = sites[cell[x].site];
    const SiteAtom& so = sites[cell[o].site];
    // Atoms of a negative disorder group bond to symmetry images only through ordered atoms.
    if ((sx.group < 0 || so.group < 0) && sx.group != 0 && so.group != 0 &&
        !same_image(cell[x], cell[o], nb.t))
      return false;
    key->a = std::min(x, o);
    key->b = std::max(x, o);
    key->t = x < o || (x == o && negate(nb.t) < nb.t) ? nb.t : negate(nb.t);
    // A list measures from its own atom: the length from a is the listed one when x is a.
    double d = nb.d;
    if (x != key->a || key->t != nb.t) {
      const Point to_b = cm->orthogonal_matrix() * Point(key->t[0], key->t[1], key->t[2]);
      d = std::sqrt(sqrdistance(cell[key->a].orth, cell[key->b].orth + to_b));
    }
    if (!perception->is_bond_length(sx.element, so.element, d))
      return false;
    // Rounded half away from zero, as llround does, without the library call.
    const double scaled = d * 1e5;
    key->length = static_cast<long long>(scaled);
    if (scaled - static_cast<double>(key->length) >= 0.5)
      ++key->length;
    return true;
  }

  bool is_hydrogen(int x) const { return site_hydrogen[cell[x].site] != 0; }

  Arc arc_to(int x, const Neighbour& nb) const {
    return Arc{nb.other, nb.t, site_metal[cell[x].site] || site_metal[cell[nb.other].site]};
  }

  // Room an O or N atom has for one more hydrogen: its valence less its bonds to other heavy
  // atoms and to hydrogens clearly its own (closer than a shared hydrogen ever is).
  int hydrogen_room(int x, const Int3& t, int h) {
    const SiteAtom& sx = sites[cell[x].site];
    int room = BondPerception::standard_valence(sx.element);
    for (const Neighbour nb : near().of(x)) {
      if (!cell[nb.other].alive || (nb.other == h && nb.t == negate(t)))
        continue;
      const SiteAtom& so = sites[cell[nb.other].site];
      if (so.element.is_hydrogen()
              ? nb.d < kOwnHydrogen
              : !so.element.is_metal() && perception->is_bond_length(sx.element, so.element, nb.d))
        --room;
    }
    return room;
  }

  // A hydrogen keeps one bond, its shortest (a == -1: none): one scan of its list gives both
  // that bond and the hydrogen's own arcs. A hydrogen's partner is never a hydrogen.
  // A hydrogen shared between two O or N atoms (within bonding reach of both: the proton of
  // a very short hydrogen bond) goes to the nearer one unless that one has no room left for
  // it and the other has: a water keeps its two hydrogens, and no O takes a third.
  void find_hydrogen_bond(int h) {
    BondKey best, second, k;
    Arc arc{}, arc2{};
    Int3 t_best{}, t_second{};
    for (const Neighbour nb : near().of(h))
      if (bond_to(h, nb, &k)) {
        if (best.a == -1 || k < best) {
          second = best, arc2 = arc, t_second = t_best;
          best = k, arc = arc_to(h, nb), t_best = nb.t;
        } else if (second.a == -1 || k < second) {
          second = k, arc2 = arc_to(h, nb), t_second = nb.t;
        }
      }
    auto takes_shared = [&](int x) {
      const Element& e = sites[cell[x].site].element;
      return e == Element(Element::Oxygen) || e == Element(Element::Nitrogen);
    };
    if (second.a >= 0 && arc2.to != arc.to && takes_shared(arc.to) && takes_shared(arc2.to) &&
        hydrogen_room(arc.to, t_best, h) <= 0 && hydrogen_room(arc2.to, t_second, h) > 0) {
      best = second;
      arc = arc2;
    }
    h_bond[h] = best;
    arcs_first[h] = all_arcs.size();
    if (best.a >= 0)
      all_arcs.push_back(arc);
    arcs_last[h] = all_arcs.size();
  }

  const BondKey& hydrogen_bond_of(int h) {
    if (arcs_first[h] == kNotFound)
      find_hydrogen_bond(h);
    return h_bond[h];
  }

  struct Candidate {
    BondKey key;
    bool reversed;
    Arc arc;
  };
  // Each atom's bonds, shortest first (of an atom and its own image, the positive
  // translation first), all in one flat list. Found once; a bond to an atom dropped since is
  // passed over where it is read.
  StableRange<Arc> arcs_of(int x) {
    if (arcs_first[x] == kNotFound && is_hydrogen(x)) {
      find_hydrogen_bond(x);
    } else if (arcs_first[x] == kNotFound) {
      std::vector<Candidate> candidates;
      BondKey k;
      for (const Neighbour nb : near().of(x)) {
        if (!bond_to(x, nb, &k))
          continue;
        if (is_hydrogen(nb.other) && !hydrogen_bond_of(nb.other).same_pair(k))
          continue;
        candidates.push_back({k, !(x == k.a && nb.t == k.t), arc_to(x, nb)});
      }
      // Few bonds to an atom: sorted by insertion.
      auto before = [](const Candidate& p, const Candidate& q) {
        return p.key < q.key || (!(q.key < p.key) && p.reversed < q.reversed);
      };
      for (std::size_t i = 1; i < candidates.size(); ++i)
        for (std::size_t j = i; j > 0 && before(candidates[j], candidates[j - 1]); --j)
          std::swap(candidates[j], candidates[j - 1]);
      arcs_first[x] = all_arcs.size();
      for (const Candidate& c : candidates)
        all_arcs.push_back(c.arc);
      arcs_last[x] = all_arcs.size();
    }
    return StableRange<Arc>(all_arcs, arcs_first[x], arcs_last[x]);
  }

  static bool partial_h_site(const SiteAtom& s) {
    return s.element.is_hydrogen() && (s.occupancy < 0.9 || s.flagged_partial);
  }
  bool is_partial_h(int x) const { return partial_h_site(sites[cell[x].site]); }
  // The atom a hydrogen is bonded to, or -1.
  int h_parent(int h) {
    for (const Arc arc : arcs_of(h))
      if (cell[arc.to].alive)
        return arc.to;
    return -1;
  }
  // True when hydrogen x should go before hydrogen y: the lower occupancy, then the later.
  bool weaker(int x, int y) const {
    double ox = sites[cell[x].site].occupancy, oy = sites[cell[y].site].occupancy;
    return ox != oy ? ox < oy : x > y;
  }
  std::vector<int> partial_h;

  // Hydrogen disorder: partly occupied hydrogens beyond what the parent atom's valence allows
  // are dropped, lowest occupancy first (then the last written). Dropping a hydrogen drops
  // its bond.
  void trim_hydrogens_beyond_valence() {
    // A hydrogen keeps one bond, so it counts towards one parent only, and what is dropped
    // around one parent changes nothing around another: only the parents of partly occupied
    // hydrogens are looked at.
    std::vector<int> parents;
    for (int h = 0; h < ncell(); ++h)
      if (cell[h].alive && is_partial_h(h)) {
        partial_h.push_back(h);
        if (const int x = h_parent(h); x >= 0)
          parents.push_back(x);
      }
    std::sort(parents.begin(), parents.end());
    parents.erase(std::unique(parents.begin(), parents.end()), parents.end());
    for (int x : parents) {
      if (!cell[x].alive)
        continue;
      const SiteAtom& s = sites[cell[x].site];
      if (s.element.is_hydrogen() || s.element.is_metal())
        continue;
      int valence = BondPerception::standard_valence(s.element);
      if (valence == 0)
        continue;
      if (s.element == Element(Element::Nitrogen))
        valence = 4;
      std::vector<int> hs;
      int heavy = 0;
      for (const Arc arc : arcs_of(x)) {
        if (!cell[arc.to].alive)
          continue;
        const SiteAtom& so = sites[cell[arc.to].site];
        if (so.element.is_hydrogen())
          hs.push_back(arc.to);
        else if (!so.element.is_metal())
          ++heavy;
      }
      int allowed = std::max(0, valence - heavy);
      std::vector<int> partial_hs;
      for (int h : hs)
        if (is_partial_h(h))
          partial_hs.push_back(h);
      std::sort(partial_hs.begin(), partial_hs.end(),
                [this](int x, int y) { return weaker(x, y); });
      int count = static_cast<int>(hs.size());
      for (int h : partial_hs) {
        if (count <= allowed)
          break;
        cell[h].alive = false;
        --count;
      }
    }
  }

  // Half hydrogens on both oxygens of a carboxylic acid (or both nitrogens of an amidine):
  // one acid, one hydrogen.
  void one_hydrogen_per_acid() {
    for (int h1 : partial_h) {
      if (!cell[h1].alive)
        continue;
      int x1 = h_parent(h1);
      if (x1 < 0)
        continue;
      for (const Arc a1 : arcs_of(x1)) {
        if (!cell[a1.to].alive || !cell[h1].alive)
          continue;
        int y = a1.to;
        if (sites[cell[y].site].element.is_hydrogen() || sites[cell[y].site].element.is_metal())
          continue;
        for (const Arc a2 : arcs_of(y)) {
          if (!cell[a2.to].alive)
            continue;
          int x2 = a2.to;
          if (x2 == x1)
            continue;
          const Element& e2 = sites[cell[x2].site].element;
          if (e2 != Element(Element::Oxygen) && e2 != Element(Element::Nitrogen) &&
              e2 != Element(Element::Sulfur))
            continue;
          for (const Arc a3 : arcs_of(x2)) {
            int h2 = a3.to;
            if (h2 == h1 || !cell[h2].alive || !is_partial_h(h2))
              continue;
            double sum = sites[cell[h1].site].occupancy + sites[cell[h2].site].occupancy;
            if (sum > 1.1)
              continue;
            cell[weaker(h1, h2) ? h1 : h2].alive = false;
            break;
          }
          if (!cell[h1].alive)
            break;
        }
      }
    }
  }

  // Whether the structure has hydrogen sites, which decides how bond types are perceived.
  //
  // Without them, hydrogen counts are derived from the geometry, unless the structure holds no
  // carbon and the file's formula accounts for every element of the sites and names no
  // hydrogen (or deuterium): an anhydrous mineral or salt. Its oxide ions then stay oxide ions.
  // The geometry cannot tell them from hydroxyls where a bond to a metal is not counted against
  // the oxygen's valence (the Si-O-Al oxygens of an aluminosilicate would each be given a
  // hydrogen, a terminal W=O two), and the file says plainly that there is none. A formula that
  // misses an element of the sites is not trusted for this, nor a sum whose moiety formula
  // names hydrogen ([Al13O4(OH)24(H2O)12]... summed as 'Al13 O82.10 V3 W5.98'), nor the formula
  // of a carbon compound: an organic formula written without its hydrogens is a slip met in
  // real files, and carbon's hydrogens are told well from its geometry.
  void note_hydrogen_sites() {
    bool hydrogens_present = false, carbon_present = false;
    for (std::size_t c = 0; c < cell.size(); ++c)
      if (cell[c].alive) {
        hydrogens_present |= sites[cell[c].site].element.is_hydrogen();
        carbon_present |= sites[cell[c].site].element.is_carbon();
      }
    cm->set_has_hydrogen_sites(hydrogens_present);
    bps.hydrogens_present = hydrogens_present;
    if (hydrogens_present)
      return;
    std::set<int> site_elements;
    for (std::size_t c = 0; c < cell.size(); ++c)
      if (cell[c].alive)
        site_elements.insert(sites[cell[c].site].element.code());
    const std::set<int> formula = CrystalBuilder::formula_elements(desc_.formula);
    const std::set<int> moiety = CrystalBuilder::formula_elements(desc_.moiety_formula);
    auto names_hydrogen = [](const std::set<int>& elements) {
      return std::any_of(elements.begin(), elements.end(),
                         [](int code) { return Element(code).is_hydrogen(); });
    };
    bps.hydrogen_free =
        !carbon_present && !formula.empty() && !names_hydrogen(formula) &&
        !names_hydrogen(moiety) &&
        std::includes(formula.begin(), formula.end(), site_elements.begin(), site_elements.end());
    if (carbon_present)
      cm->add_error("no hydrogen sites; hydrogen counts derived from bond lengths and angles");
  }

  // Covalent pieces: atoms joined by bonds that involve no metal, each laid out whole around
  // the atom it is first met at. Only a piece that is itself endless (a covalent polymer) is
  // cut inside. A piece is found when molecule growth first reaches it, so that the images of
  // the asymmetric unit that no molecule uses are never walked.
  struct Piece {
    std::vector<int> members;
    bool placed = false;        // in a molecule already
    std::array<int, 3> shift{}; // where it is placed: atom x at shift + rel[x]
  };
  int piece_of(int c) {
    if (piece.empty()) {
      piece.assign(cell.size(), -1);
      rel.assign(cell.size(), std::array<int, 3>{0, 0, 0});
    }
    if (piece[c] >= 0)
      return piece[c];
    const int id = static_cast<int>(pieces.size());
    pieces.emplace_back();
    std::vector<int>& members = pieces.back().members;
    piece[c] = id;
    members.push_back(c);
    for (std::size_t k = 0; k < members.size(); ++k) {
      const int x = members[k];
      for (const Arc arc : arcs_of(x)) {
        if (arc.metal || piece[arc.to] >= 0 || !cell[arc.to].alive)
          continue;
        piece[arc.to] = id;
        rel[arc.to] = add(rel[x], arc.t);
        members.push_back(arc.to);
      }
    }
    return id;
  }
  std::vector<int> piece;
  std::vector<std::array<int, 3>> rel;
  std::vector<Piece> pieces;

  // Molecules, each grown from the first asymmetric-unit site not yet used, piece by piece
  // across metal-ligand bonds. A bond that would bring back a piece already placed, at another
  // lattice translation, is where a coordination polymer repeats: it is cut there.
  void grow_molecules() {
    const BondPerception typer(bps);
    std::vector<char> site_used(sites.size(), 0);
    std::unordered_set<std::string> reported(cm->errors().begin(), cm->errors().end());
    offset.assign(cell.size(), {0, 0, 0});
    index_of.assign(cell.size(), -1);
    for (std::size_t s = 0; s < sites.size(); ++s) {
      if (site_used[s] || !cell[s].alive)
        continue;
      const std::vector<int> members = molecule_from(static_cast<int>(s));
      BondPerception::PolymerCuts cuts;
      const std::vector<std::pair<int, int>> bonds = bonds_within(members, cuts);
      for (int c : members)
        site_used[cell[c].site] = 1;
      auto mol = make_handle<Molecule3d>();
      std::vector<AtomOrigin> origins = add_atoms(members, *mol);
      mol->add_bonds(bonds);
      // Each problem once, however many molecules show it.
      for (std::string& p : typer.assign_bond_types(*mol, cuts))
        if (reported.insert(p).second)
          cm->add_error(std::move(p));
      cm->add_molecule(THandle<Molecule>(mol), std::move(origins));
    }
  }

  // The cell atoms of the molecule that starts at site s, with their lattice offsets set, in
  // site, operator and offset order.
  std::vector<int> molecule_from(int s) {
    // The start atom keeps the coordinates written in the file.
    int p0 = piece_of(s);
    pieces[p0].shift = add(negate(cell[s].shift), negate(rel[s]));
    pieces[p0].placed = true;
    std::vector<int> order{p0};
    for (std::size_t k = 0; k < order.size(); ++k) {
      int p = order[k];
      // By index: reaching a new piece adds to `pieces`.
      for (std::size_t xi = 0; xi < pieces[p].members.size(); ++xi) {
        const int x = pieces[p].members[xi];
        for (const Arc arc : arcs_of(x)) {
          if (!arc.metal || !cell[arc.to].alive)
            continue;
          int q = piece_of(arc.to);
          if (pieces[q].placed)
            continue;
          // Offset of arc.to: shift(p) + rel(x) + t == shift(q) + rel(arc.to).
          pieces[q].shift = add(add(add(pieces[p].shift, rel[x]), arc.t), negate(rel[arc.to]));
          pieces[q].placed = true;
          order.push_back(q);
        }
      }
    }
    std::vector<int> members;
    for (int p : order)
      for (int x : pieces[p].members) {
        offset[x] = add(pieces[p].shift, rel[x]);
        members.push_back(x);
      }
    std::sort(members.begin(), members.end(), [&](int x, int y) {
      const CellAtom& a = cell[x];
      const CellAtom& b = cell[y];
      if (a.site != b.site)
        return a.site < b.site;
      if (a.op != b.op)
        return a.op < b.op;
      return offset[x] < offset[y];
    });
    return members;
  }

  // The molecule's bonds, as pairs of positions in `members`. They are counted before any atom
  // is made, so that an endless framework too large to handle is refused first.
  std::vector<std::pair<int, int>> bonds_within(const std::vector<int>& members,
                                                BondPerception::PolymerCuts& cuts) {
    for (std::size_t m = 0; m < members.size(); ++m)
      index_of[members[m]] = static_cast<int>(m);
    std::vector<std::pair<int, int>> bonds;
    for (int c : members)
      for (const Arc arc : arcs_of(c)) {
        if (arc.to < c || (arc.to == c && arc.t < std::array<int, 3>{0, 0, 0}))
          continue;
        const int other = index_of[arc.to];
        if (other < 0)
          continue;
        if (add(offset[c], arc.t) != offset[arc.to] || arc.to == c) {
          polymeric = true; // the bond leads to a lattice repeat of an atom already present
          // Both ends keep the bond's valence: a silicate O cut from its second Si is not an
          // OH, a bridging O cut from its second metal is not an aqua ligand.
          std::vector<int>& count = arc.metal ? cuts.metal : cuts.covalent;
          if (count.empty())
            count.assign(members.size(), 0);
          ++count[index_of[c]];
          ++count[other];
          continue;
        }
        bonds.emplace_back(index_of[c], other);
      }
    for (int c : members)
      index_of[c] = -1;
    // Frameworks beyond this size are not molecular crystals.
    if (static_cast<int>(bonds.size()) > settings_.max_molecule_bonds)
      throw CifError(where + "one molecule has " + std::to_string(bonds.size()) +
                     " bonds, more than the " + std::to_string(settings_.max_molecule_bonds) +
                     " handled");
    return bonds;
  }

  // The molecule's atoms at their offsets, and where each came from in the file.
  std::vector<AtomOrigin> add_atoms(const std::vector<int>& members, Molecule3d& mol) const {
    std::vector<AtomOrigin> origins;
    origins.reserve(members.size());
    for (int c : members) {
      const CellAtom& ca = cell[c];
      const SiteAtom& sa = sites[ca.site];
      const std::array<int, 3>& t = offset[c];
      Point f = ca.frac + Point(t[0], t[1], t[2]);
      auto atom = make_handle<Atom3d>(sa.element, sa.label,
                                      make_handle<Site>(f, cm->to_orthogonal(f), sa.occupancy));
      atom->set_formal_charge(sa.charge);
      mol.add_atom(THandle<Atom>(std::move(atom)));
      AtomOrigin origin;
      origin.site = sa.row;
      origin.op = ca.op;
      // frac = op(site) + shift + offset
      std::array<int, 3> tr = add(ca.shift, t);
      origin.translation = Translation(tr[0], tr[1], tr[2]);
      origin.occupancy = sa.presence;
      origins.push_back(origin);
    }
    return origins;
  }
  std::vector<std::array<int, 3>> offset; // lattice offset of each cell atom in its molecule
  std::vector<int> index_of;              // cell atom -> atom of the molecule being built
};

} // namespace

THandle<CrystalMaker> CrystalBuilder::build(const CrystalDescription& desc) const {
  return Assembly(desc, settings_).run();
}

} // namespace xtalmotif
