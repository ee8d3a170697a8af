#include "chem/bond_perception.h"

#include "chem/rings.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace xtalmotif {

namespace {

constexpr double kDegree = 3.14159265358979323846 / 180.0;

// Elements without a named code are told apart by atomic number, which only hydrogen and
// deuterium share; comparing numbers costs nothing, unlike building a symbol string per test.
enum AtomicNumber { kBoron = 5, kSilicon = 14, kPhosphorus = 15, kSulfur = 16, kArsenic = 33,
                    kSelenium = 34, kTellurium = 52 };

bool is_z(const Element& e, int z) { return e.atomic_number() == z; }
bool is_code(const Element& e, Element::VelkCode code) { return e.code() == code; }

bool is_chalcogen_below_oxygen(const Element& e) {
  return is_z(e, kSulfur) || is_z(e, kSelenium) || is_z(e, kTellurium);
}

bool is_pnictogen_below_nitrogen(const Element& e) {
  return is_z(e, kPhosphorus) || is_z(e, kArsenic);
}

/// Maximum-cardinality matching in a general graph (Edmonds' blossom algorithm). The matching
/// can be seeded and grown vertex by vertex, so that vertices added early are never left
/// unmatched in favour of later ones: augmenting paths only ever add matched vertices.
class BlossomMatcher {
public:
  int add_vertex() {
    const int v = size();
    adj_.emplace_back();
    match_.push_back(-1);
    // A new vertex starts outside every search tree.
    used_.push_back(0);
    parent_.push_back(-1);
    base_.push_back(v);
    seen_.push_back(0);
    return v;
  }
  int size() const { return static_cast<int>(adj_.size()); }
  void add_edge(int a, int b) {
    adj_[a].push_back(b);
    adj_[b].push_back(a);
  }
  bool adjacent(int a, int b) const {
    return std::find(adj_[a].begin(), adj_[a].end(), b) != adj_[a].end();
  }
  int mate(int v) const { return match_[v]; }
  void pair(int a, int b) {
    match_[a] = b;
    match_[b] = a;
  }
  /// Takes back the newest vertex, which must be unmatched and have no edges added after its
  /// own; the graph and the matching are then as they were before it came.
  void remove_last_vertex() {
    const int v = size() - 1;
    clear_marks();
    for (int w : adj_[v])
      adj_[w].pop_back();
    adj_.pop_back();
    match_.pop_back();
    used_.pop_back();
    parent_.pop_back();
    base_.pop_back();
    seen_.pop_back();
  }
  /// Looks for an augmenting path from the free vertex `root` and applies it.
  bool augment(int root) {
    if (match_[root] != -1 || adj_[root].empty())
      return false;
    int v = find_path(root);
    if (v == -1)
      return false;
    while (v != -1) {
      int pv = parent_[v];
      int ppv = match_[pv];
      match_[v] = pv;
      match_[pv] = v;
      v = ppv;
    }
    return true;
  }

private:
  int lca(int a, int b) {
    seen_path_.clear();
    for (;;) {
      a = base_[a];
      seen_[a] = 1;
      seen_path_.push_back(a);
      if (match_[a] == -1)
        break;
      a = parent_[match_[a]];
    }
    for (;;) {
      b = base_[b];
      if (seen_[b])
        break;
      b = parent_[match_[b]];
    }
    for (int x : seen_path_)
      seen_[x] = 0;
    return b;
  }
  void mark_path(int v, int b, int child) {
    while (base_[v] != b) {
      in_blossom_[base_[v]] = in_blossom_[base_[match_[v]]] = 1;
      parent_[v] = child;
      touched_.push_back(v);
      child = match_[v];
      v = parent_[match_[v]];
    }
  }
  // Breadth-first search for an augmenting path from `root`. The tree marks of the previous
  // search stay in place until this one starts, because augment() follows them back; only the
  // vertices that search touched are cleared, so a search costs what it visits rather than
  // the size of the whole graph.
  void clear_marks() {
    for (int x : touched_) {
      used_[x] = 0;
      parent_[x] = -1;
      base_[x] = x;
    }
    touched_.clear();
  }
  int find_path(int root) {
    const int n = size();
    clear_marks();
    used_[root] = 1;
    touched_.push_back(root);
    queue_.clear();
    queue_.push_back(root);
    for (std::size_t head = 0; head < queue_.size(); ++head) {
      int v = queue_[head];
      for (int to : adj_[v]) {
        if (base_[v] == base_[to] || match_[v] == to)
          continue;
        if (to == root || (match_[to] != -1 && parent_[match_[to]] != -1)) {
          int cur = lca(v, to);
          in_blossom_.assign(n, 0);
          mark_path(v, cur, to);
          mark_path(to, cur, v);
          for (int i = 0; i < n; ++i)
            if (in_blossom_[base_[i]]) {
              base_[i] = cur;
              touched_.push_back(i);
              if (!used_[i]) {
                used_[i] = 1;
                queue_.push_back(i);
              }
            }
        } else if (parent_[to] == -1) {
          parent_[to] = v;
          touched_.push_back(to);
          if (match_[to] == -1)
            return to;
          used_[match_[to]] = 1;
          touched_.push_back(match_[to]);
          queue_.push_back(match_[to]);
        }
      }
    }
    return -1;
  }

  std::vector<std::vector<int>> adj_;
  std::vector<int> match_;
  std::vector<int> parent_, base_;
  std::vector<char> used_, in_blossom_;
  // Scratch of the searches: the vertices whose marks need clearing, the queue, and the
  // marks of the lowest-common-ancestor walk with the bases it marked.
  std::vector<int> touched_, queue_, seen_path_;
  std::vector<char> seen_;
};

// Priority of an atom in the matching: atoms whose pi bonds are certain are matched first,
// atoms whose hydrogen count is uncertain next, and terminal oxygens of N-oxides and nitro
// groups last (they become O- when their nitrogen finds a partner elsewhere).
// Heteroatoms bound to a metal come between the first two: where a pi system has one atom too
// many, the metal-bound nitrogen or oxygen is the one left as an anionic donor (an amido or
// alkoxo ligand).
enum Phase { kDefinite = 0, kMetalDonor = 1, kFlexible = 2, kTerminalOxide = 3 };

/// A run of atom or bond indices inside one flat list shared by all atoms of a molecule.
class IndexRange {
public:
  IndexRange() = default;
  IndexRange(const int* first, const int* last) : first_(first), last_(last) {}
  const int* begin() const { return first_; }
  const int* end() const { return last_; }
  std::size_t size() const { return static_cast<std::size_t>(last_ - first_); }
  bool empty() const { return first_ == last_; }
  int operator[](std::size_t i) const { return first_[i]; }

private:
  const int* first_ = nullptr;
  const int* last_ = nullptr;
};

/// The matching vertices of one atom, one per pi bond it may still form. An atom gets its
/// vertices all at once, so they are numbered consecutively.
class VertexRun {
public:
  class iterator {
  public:
    explicit iterator(int v) : v_(v) {}
    int operator*() const { return v_; }
    iterator& operator++() {
      ++v_;
      return *this;
    }
    bool operator!=(const iterator& o) const { return v_ != o.v_; }

  private:
    int v_;
  };
  VertexRun() = default;
  VertexRun(int first, int count) : first_(first), count_(count) {}
  iterator begin() const { return iterator(first_); }
  iterator end() const { return iterator(first_ + count_); }
  bool empty() const { return count_ == 0; }
  int back() const { return first_ + count_ - 1; }
  void clear() { count_ = 0; }

private:
  int first_ = 0;
  int count_ = 0;
};

struct AtomState {
  bool metal = false;
  bool hydrogen = false;
  IndexRange partners;      // non-metal neighbours (hydrogens included)
  IndexRange partner_bonds; // bond indices parallel to partners
  int metal_neighbours = 0;
  // Metal bonds of a carbon that are sigma bonds (an aryl or alkyl on a metal); they use up a
  // valence, unlike the bonds of a pi ligand or of a lone-pair donor.
  int metal_sigma = 0;
  // Bonds to atoms outside the molecule where a polymer was cut: valences used, like bonds.
  int cut = 0;
  int explicit_h = 0;
  int implicit_h = 0;
  int charge = 0;
  int need = 0;       // pi bonds still to find
  bool flexible = false; // hydrogen count may drop by one when a pi bond is found
  bool consumed = false; // bonds settled before the matching
  Phase phase = kDefinite;
  int sigma() const {
    return static_cast<int>(partners.size()) + implicit_h + metal_sigma + cut;
  }
  int heavy_degree() const { return static_cast<int>(partners.size()) - explicit_h; }
};

class Perceiver {
public:
  Perceiver(Molecule& m, const BondPerceptionSettings& s, const BondPerception::PolymerCuts& cuts)
      : mol_(m), atoms_(m.atoms()), n_(m.natoms()), settings_(s), cuts_(cuts) {}

  std::vector<std::string> run();

private:
  const std::string& label(int a) const { return atoms_[a]->label(); }
  const Element& element(int a) const { return elements_[a]; }
  // Positions are read from the sites when first asked for: hydrogens and atoms without pi
  // bonds often never are.
  const Point& position(int a) const {
    if (!position_read_[a]) {
      positions_[a] = atoms_[a]->position();
      position_read_[a] = 1;
    }
    return positions_[a];
  }
  double bond_length(int a, int b) const { return distance(position(a), position(b)); }
  // Bond length over the sum of single-bond covalent radii: about 1 for single bonds, 0.87 for
  // double and 0.79 for triple bonds.
  double ratio(int a, int b) const {
    double r = element(a).covalent_radius() + element(b).covalent_radius();
    return r > 0 ? bond_length(a, b) / r : 1.0;
  }
  std::string name(int a) const {
    const std::string& l = label(a);
    return l.empty() ? element(a).symbol() + std::to_string(a + 1) : l;
  }

  void setup_atoms();
  void derive_hydrogens_from_geometry();
  void derive_hydrogens(int a);
  int carbon_hydrogens(int a, int deg);
  int nitrogen_hydrogens(int a, int deg);
  int oxygen_hydrogens(int a, int deg);
  double planar_sum(int a) const;
  double min_ratio(int a) const;
  void fill_missing_water_hydrogens();
  void settle_hypervalent_centres();
  void settle_metal_carbonyls();
  void compute_needs();
  void match();
  void promote_nitrogens();
  void resolve_leftovers();
  void assign_types();
  void mark_aromatic_rings();
  // An atom that gives a lone pair to an aromatic ring: pyrrole-like N, furan-like O, a
  // thiophene-like S or Se, a carbanion.
  bool lone_pair_donor(int a) const {
    const AtomState& s = st_[a];
    const Element& e = element(a);
    return (is_code(e, Element::Nitrogen) && s.sigma() == 3 && s.charge == 0) ||
           (is_code(e, Element::Oxygen) && s.sigma() == 2 && s.charge == 0) ||
           (is_chalcogen_below_oxygen(e) && s.sigma() == 2 && s.charge == 0) ||
           (e.is_carbon() && s.charge == -1 && s.sigma() == 3);
  }

  // The bond from atom a to its partner o; pi bonds only ever join partners.
  int partner_bond(int a, int o) const {
    const AtomState& s = st_[a];
    for (std::size_t k = 0; k < s.partners.size(); ++k)
      if (s.partners[k] == o)
        return s.partner_bonds[k];
    return -1;
  }
  int free_copies(int a) const {
    int n = 0;
    for (int v : copies_[a])
      if (matcher_.mate(v) == -1)
        ++n;
    return n;
  }
  void add_vertices(int a);
  // A pair of partners that may share a pi bond, with the ratio of their bond length.
  struct Cand {
    double r;
    int a, b;
  };
  std::vector<Cand> cands_; // scratch for greedy
  std::vector<int> dist_, queue_; // scratch for promote_nitrogens
  void greedy(Phase phase);
  void collect_units();

  Molecule& mol_;
  const std::vector<THandle<Atom>>& atoms_;
  const int n_;
  const BondPerceptionSettings& settings_;
  const BondPerception::PolymerCuts& cuts_;
  // Elements of the atoms, copied once, and their positions, copied when first needed: the
  // tests below ask for them many times.
  std::vector<Element> elements_;
  mutable std::vector<Point> positions_;
  mutable std::vector<char> position_read_;
  // The partners of all atoms one after another, and the bonds to them; AtomState holds ranges.
  std::vector<int> partner_list_, partner_bond_list_;
  std::vector<int> geo_; // scratch for derive_hydrogens
  std::vector<AtomState> st_;
  std::vector<std::string> problems_;
  BlossomMatcher matcher_;
  std::vector<VertexRun> copies_;
  std::vector<int> owner_;
  std::vector<int> units_;       // pi units per bond, by bond index
  std::vector<int> fixed_units_; // pi units settled before the matching, by bond index
};

void Perceiver::setup_atoms() {
  const int n = n_;
  st_.assign(n, AtomState());
  fixed_units_.assign(mol_.nbonds(), 0);
  elements_.resize(n);
  positions_.resize(n);
  position_read_.assign(n, 0);
  for (int a = 0; a < n; ++a) {
    const Atom& at = *atoms_[a];
    elements_[a] = at.element();
    AtomState& s = st_[a];
    s.metal = at.element().is_metal();
    s.hydrogen = at.element().is_hydrogen();
    s.charge = at.formal_charge();
    // Charges written on type symbols of non-metals are trusted only when they are the +1 or
    // -1 of a formal charge; "O2-" on an oxide or silicate is an oxidation state.
    if (!s.metal && std::abs(s.charge) != 1)
      s.charge = 0;
    if (a < static_cast<int>(cuts_.covalent.size()))
      s.cut = cuts_.covalent[a];
    if (a < static_cast<int>(cuts_.metal.size()))
      s.metal_neighbours += cuts_.metal[a];
  }
  partner_list_.clear();
  partner_bond_list_.clear();
  partner_list_.reserve(2 * mol_.nbonds());
  partner_bond_list_.reserve(2 * mol_.nbonds());
  std::vector<int> start(n + 1, 0);
  for (int a = 0; a < n; ++a) {
    start[a] = static_cast<int>(partner_list_.size());
    const auto& nb = mol_.neighbours(a);
    const auto& bb = mol_.bonds_of(a);
    for (std::size_t k = 0; k < nb.size(); ++k) {
      int o = nb[k];
      if (st_[o].metal || st_[a].metal) {
        if (!st_[a].metal)
          ++st_[a].metal_neighbours;
        continue;
      }
      partner_list_.push_back(o);
      partner_bond_list_.push_back(bb[k]);
      if (st_[o].hydrogen)
        ++st_[a].explicit_h;
    }
  }
  start[n] = static_cast<int>(partner_list_.size());
  // The flat lists are complete, so ranges into them stay valid from here on.
  for (int a = 0; a < n; ++a) {
    st_[a].partners =
        IndexRange(partner_list_.data() + start[a], partner_list_.data() + start[a + 1]);
    st_[a].partner_bonds =
        IndexRange(partner_bond_list_.data() + start[a], partner_bond_list_.data() + start[a + 1]);
  }
  // A carbon bonded to a metal that none of its partners is bonded to holds a sigma bond
  // (cyclometalated aryl, metal alkyl); a carbon whose partners share the metal is part of a
  // pi ligand (cyclopentadienyl, alkene, arene).
  for (int a = 0; a < n; ++a) {
    if (!element(a).is_carbon())
      continue;
    for (int m : mol_.neighbours(a)) {
      if (!st_[m].metal)
        continue;
      bool shared = false;
      for (int o : st_[a].partners) {
        const auto& on = mol_.neighbours(o);
        if (std::find(on.begin(), on.end(), m) != on.end()) {
          shared = true;
          break;
        }
      }
      if (!shared) {
        st_[a].metal_sigma = 1;
        break;
      }
    }
  }
}

// The sum of the angles at `a` between its partners for the geometry (geo_), in degrees: 360
// for a planar sp2 centre, 180 for a linear sp one.
double Perceiver::planar_sum(int a) const {
  double sum = 0;
  for (std::size_t i = 0; i < geo_.size(); ++i)
    for (std::size_t j = i + 1; j < geo_.size(); ++j)
      sum += angle(position(geo_[i]), position(a), position(geo_[j]));
  return sum / kDegree;
}

// The shortest of a's bonds to non-metals, as a fraction of its single-bond length.
double Perceiver::min_ratio(int a) const {
  double r = 10;
  for (int o : st_[a].partners)
    r = std::min(r, ratio(a, o));
  return r;
}

// Hydrogens of a carbon: none on a planar sp2 or linear sp centre; else by angles and the
// shortest bond.
int Perceiver::carbon_hydrogens(int a, int deg) {
  AtomState& s = st_[a];
  int h = 0;
  if (deg >= 4) {
    h = 0;
  } else if (deg == 3) {
    h = planar_sum(a) > 345.0 ? 0 : 1;
  } else if (deg == 2) {
    double ang = planar_sum(a);
    if (ang > 165.0)
      h = 0;
    else if (min_ratio(a) < 0.95 || ang > 118.5)
      h = 1;
    else
      h = 2;
  } else if (deg == 1 && s.partners.empty()) {
    h = 3; // methyl on a metal
  } else if (deg == 1) {
    int o = s.partners[0];
    double r = ratio(a, o);
    if (is_code(element(o), Element::Oxygen) && s.metal_neighbours > 0 &&
        bond_length(a, o) < 1.20)
      h = 0; // carbonyl ligand
    else if (r < 0.83)
      h = is_code(element(o), Element::Carbon) ? 1 : 0;
    else if (r < 0.93)
      h = 2;
    else
      h = 3;
  } else {
    h = s.metal_neighbours > 0 ? 3 : 4;
  }
  return h;
}

// Hydrogens of a nitrogen; an sp2 N with angles or bonds between amine and imine is flexible.
int Perceiver::nitrogen_hydrogens(int a, int deg) {
  AtomState& s = st_[a];
  int h = 0;
  if (deg >= 3) {
    h = 0;
  } else if (deg == 2) {
    double ang = planar_sum(a);
    if (ang > 160.0)
      h = 0;
    else if (min_ratio(a) >= 0.97)
      h = 1;
    else {
      h = 0;
      s.flexible = true;
    }
  } else if (deg == 1) {
    double r = ratio(a, s.partners[0]);
    if (r < 0.83)
      h = 0;
    else if (r >= 0.96)
      h = 2;
    else {
      h = 1;
      s.flexible = true;
    }
  } else {
    h = s.metal_neighbours > 0 ? 3 : 4;
  }
  return h;
}

// Hydrogens of an oxygen: a hydroxyl by the length of its one bond to C, N, S, Se or P.
int Perceiver::oxygen_hydrogens(int a, int deg) {
  AtomState& s = st_[a];
  int h = 0;
  if (deg >= 2) {
    h = 0;
  } else if (deg == 1) {
    int o = s.partners[0];
    double d = bond_length(a, o);
    const Element& x = element(o);
    if (x.is_carbon()) {
      if (d < 1.28)
        h = 0;
      else if (d <= 1.38) {
        h = 0;
        s.flexible = true;
      } else
        h = 1;
    } else if (is_code(x, Element::Nitrogen)) {
      if (d < 1.30)
        h = 0;
      else if (d <= 1.37) {
        h = 0;
        s.flexible = true;
      } else
        h = 1;
    } else if (is_code(x, Element::Sulfur) || is_z(x, kSelenium)) {
      h = d < 1.50 ? 0 : 1;
    } else if (is_pnictogen_below_nitrogen(x)) {
      h = d < 1.53 ? 0 : 1;
    } else if (x.is_halogen()) {
      h = 0;
    } else {
      // Si, B, Ge...: a silanol, unless a metal takes the hydrogen's place. An oxygen between a
      // silicon and an aluminium or magnesium is the bridging oxide of every silicate
      // framework, and the Si-O length cannot tell it from Si-OH.
      h = s.metal_neighbours > 0 ? 0 : 1;
    }
  } else {
    h = s.metal_neighbours >= 2 ? 0 : 2;
  }
  return h;
}

// Hydrogen counts of a structure refined without hydrogen sites, from the hybridisation that
// bond lengths and angles show. Where the geometry cannot tell (an sp2 ring nitrogen may be
// pyridine-like or pyrrole-like, a 1.33 A C-O may be an enol or a carbonyl) the atom is left
// flexible: it takes a hydrogen only when the pi system has no double bond for it.
void Perceiver::derive_hydrogens(int a) {
  AtomState& s = st_[a];
  if (s.metal || s.hydrogen)
    return;
  const Element& e = element(a);
  const int deg = static_cast<int>(s.partners.size()) + s.metal_sigma;
  // Partners for the geometry: non-metal neighbours, and a sigma-bonded metal.
  std::vector<int>& geo = geo_;
  geo.assign(s.partners.begin(), s.partners.end());
  if (s.metal_sigma)
    for (int m : mol_.neighbours(a))
      if (st_[m].metal) {
        geo.push_back(m);
        break;
      }
  int h = 0;
  if (e.is_carbon()) {
    h = carbon_hydrogens(a, deg);
  } else if (is_code(e, Element::Nitrogen)) {
    h = nitrogen_hydrogens(a, deg);
  } else if (is_code(e, Element::Oxygen)) {
    h = oxygen_hydrogens(a, deg);
  } else if (is_code(e, Element::Sulfur) || is_z(e, kSelenium)) {
    if (deg == 1) {
      int o = s.partners[0];
      double d = bond_length(a, o);
      double thione = element(o).is_carbon() ? 1.72 : 2.00;
      if (is_z(e, kSelenium))
        thione += 0.15;
      h = d < thione ? 0 : 1;
    } else {
      h = 0;
    }
  } else if (is_z(e, kBoron)) {
    h = std::max(0, 3 - deg);
  } else if (is_z(e, kSilicon)) {
    h = std::max(0, 4 - deg);
  } else if (is_z(e, kPhosphorus)) {
    h = deg >= 3 ? 0 : 3 - deg;
  }
  // A bond cut where the polymer was split takes the place a hydrogen would have.
  s.implicit_h = std::max(0, h - s.cut);
}

void Perceiver::derive_hydrogens_from_geometry() {
  for (int a = 0; a < n_; ++a)
    derive_hydrogens(a);
  // A carboxyl group tells acid from carboxylate by the difference of its two C-O bonds:
  // about 0.1 A in an acid, a few hundredths in a carboxylate whose charge is shared. The
  // longer bond of an unequal pair is the C-OH.
  for (int c = 0; c < n_; ++c) {
    if (!element(c).is_carbon())
      continue;
    std::vector<int> oxygens;
    for (int o : st_[c].partners)
      if (is_code(element(o), Element::Oxygen) && st_[o].partners.size() == 1 &&
          st_[o].implicit_h == 0)
        oxygens.push_back(o);
    if (oxygens.size() != 2)
      continue;
    double d0 = bond_length(c, oxygens[0]), d1 = bond_length(c, oxygens[1]);
    if (std::fabs(d0 - d1) < 0.06)
      continue;
    st_[d0 > d1 ? oxygens[0] : oxygens[1]].flexible = true;
  }
}

// Water and aqua ligands whose hydrogens were not located in an otherwise hydrogen-bearing
// structure: an oxygen bonded to nothing but hydrogens and at most two metals is water.
void Perceiver::fill_missing_water_hydrogens() {
  for (int a = 0; a < n_; ++a) {
    AtomState& s = st_[a];
    if (!is_code(element(a), Element::Oxygen) || s.heavy_degree() != 0 || s.metal_neighbours > 2)
      continue;
    if (s.explicit_h + s.implicit_h >= 2)
      continue;
    int missing = 2 - s.explicit_h - s.implicit_h;
    s.implicit_h += missing;
    problems_.push_back("water oxygen " + name(a) + " lacks " + std::to_string(missing) +
                        " hydrogen site" + (missing > 1 ? "s" : "") + "; assumed");
  }
}

// Carbon monoxide bound to a metal is drawn M-C#O; the charges C(-) and O(+) keep the
// valences whole.
void Perceiver::settle_metal_carbonyls() {
  for (int a = 0; a < n_; ++a) {
    AtomState& s = st_[a];
    if (!element(a).is_carbon() || s.metal_neighbours == 0 || s.partners.size() != 1 ||
        s.implicit_h != 0)
      continue;
    int o = s.partners[0];
    AtomState& so = st_[o];
    if (!is_code(element(o), Element::Oxygen) || so.partners.size() != 1 || so.implicit_h != 0 ||
        bond_length(a, o) >= 1.20)
      continue;
    fixed_units_[s.partner_bonds[0]] = 2;
    s.charge = -1;
    so.charge = 1;
    s.consumed = so.consumed = true;
  }
}

// Expanded-octet centres (S, Se, P, As, Cl, Br, I) bonded to terminal oxygens or sulfurs:
// the centre takes the highest usual valence its terminal atoms can supply, as S(=O)(=O) in
// sulfones and sulfonamides, P(=O) in phosphates, Cl(=O)3O- in perchlorate; terminal atoms
// left over carry -1. Nitrogen with three partners and a terminal oxygen is N(+) (nitro,
// nitrate, N-oxide), its pi bond found later by the matching.
void Perceiver::settle_hypervalent_centres() {
  for (int c = 0; c < n_; ++c) {
    AtomState& s = st_[c];
    if (s.metal || s.hydrogen || s.consumed || s.charge != 0)
      continue;
    const Element& e = element(c);
    std::vector<int> options;
    bool nitrogen = false;
    if (is_chalcogen_below_oxygen(e))
      options = {2, 4, 6};
    else if (is_pnictogen_below_nitrogen(e))
      options = {3, 5};
    else if (is_code(e, Element::Chlorine) || is_code(e, Element::Bromine) ||
             is_code(e, Element::Iodine))
      options = {1, 3, 5, 7};
    else if (is_code(e, Element::Nitrogen))
      nitrogen = true;
    else
      continue;
    std::vector<int> terminal;
    for (int o : s.partners) {
      const AtomState& so = st_[o];
      const Element& eo = element(o);
      bool chalcogen =
          is_code(eo, Element::Oxygen) || (is_code(eo, Element::Sulfur) && !nitrogen);
      if (chalcogen && so.partners.size() == 1 && so.implicit_h == 0 && !so.flexible &&
          !so.consumed && so.charge == 0)
        terminal.push_back(o);
    }
    const int d = s.sigma();
    if (nitrogen) {
      if (d == 3 && !terminal.empty()) {
        s.charge = 1;
        for (int o : terminal)
          st_[o].phase = kTerminalOxide;
      }
      continue;
    }
    const int k = static_cast<int>(terminal.size());
    if (k == 0) {
      // Onium centres: R3S(+), R4P(+); PF6(-) and similar anions.
      if (is_chalcogen_below_oxygen(e) && d == 3)
        s.charge = 1;
      else if ((is_pnictogen_below_nitrogen(e)) && d == 4)
        s.charge = 1;
      else if ((is_pnictogen_below_nitrogen(e)) && d == 6)
        s.charge = -1;
      else if (e.is_halogen() && d == 2)
        s.charge = 1;
      if (s.charge != 0)
        s.consumed = true;
      continue;
    }
    int valence = -1;
    for (int v : options)
      if (v >= d && v - d <= k)
        valence = v;
    if (valence < 0) {
      // More partners than any usual valence allows: leave the centre to the general rules.
      continue;
    }
    std::sort(terminal.begin(), terminal.end(),
              [&](int x, int y) { return bond_length(c, x) < bond_length(c, y); });
    int doubles = valence - d;
    for (int i = 0; i < k; ++i) {
      int o = terminal[i];
      if (i < doubles)
        fixed_units_[partner_bond(c, o)] = 1;
      else
        st_[o].charge = -1;
      st_[o].consumed = true;
    }
    s.consumed = true;
  }
}

void Perceiver::compute_needs() {
  for (int a = 0; a < n_; ++a) {
    AtomState& s = st_[a];
    if (s.metal || s.hydrogen || s.consumed)
      continue;
    const Element& e = element(a);
    int base = BondPerception::standard_valence(e);
    if (base == 0)
      continue;
    int q = s.charge;
    int valence = base;
    if (is_code(e, Element::Nitrogen) || is_pnictogen_below_nitrogen(e))
      valence = base + q;
    else if (is_code(e, Element::Oxygen) || is_chalcogen_below_oxygen(e))
      valence = base + q;
    else if (e.is_carbon() || is_z(e, kSilicon))
      valence = base - std::abs(q);
    else if (is_z(e, kBoron))
      valence = base + q;
    else if (e.is_halogen())
      valence = base + q;
    const int d = s.sigma();
    if (d == 0 && e.is_halogen() && q == 0) {
      s.charge = -1; // halide ion
      continue;
    }
    int need = valence - d;
    if (need < 0 && q == 0) {
      if (is_code(e, Element::Nitrogen) && d == 4) {
        s.charge = 1; // ammonium
        need = 0;
      } else if (is_code(e, Element::Oxygen) && d == 3) {
        s.charge = 1; // oxonium
        need = 0;
      } else if (is_z(e, kBoron) && d == 4) {
        s.charge = -1; // borate
        need = 0;
      }
    }
    if (need < 0) {
      problems_.push_back("atom " + name(a) + " has more bonds than its valence allows");
      need = 0;
    }
    if (need > 2) {
      if (s.partners.empty() && s.metal_neighbours == 0 && s.implicit_h == 0) {
        problems_.push_back("atom " + name(a) + " has no bonded partner");
        need = 0;
      } else {
        need = 2;
      }
    }
    s.need = need;
  }
  // A flexible atom offers one pi bond; without one it keeps an extra hydrogen.
  for (int a = 0; a < n_; ++a) {
    AtomState& s = st_[a];
    if (s.flexible && !s.consumed) {
      s.need = std::max(s.need, 1);
      s.phase = kFlexible;
    } else if (s.phase == kDefinite && s.metal_neighbours > 0 && s.need > 0 &&
               !element(a).is_carbon()) {
      s.phase = kMetalDonor;
    }
  }
}

void Perceiver::add_vertices(int a) {
  // Called once per atom, for the atoms that have none yet.
  const int first = matcher_.size();
  for (int i = 0; i < st_[a].need; ++i) {
    matcher_.add_vertex();
    owner_.push_back(a);
  }
  copies_[a] = VertexRun(first, matcher_.size() - first);
  for (int o : st_[a].partners) {
    if (copies_[o].empty() || o == a)
      continue;
    for (int u : copies_[a])
      for (int w : copies_[o])
        matcher_.add_edge(u, w);
  }
}

void Perceiver::greedy(Phase phase) {
  std::vector<Cand>& cands = cands_;
  cands.clear();
  for (int a = 0; a < n_; ++a) {
    if (copies_[a].empty())
      continue;
    for (int b : st_[a].partners)
      if (b > a && !copies_[b].empty() &&
          (st_[a].phase == phase || st_[b].phase == phase))
        cands.push_back({ratio(a, b), a, b});
  }
  std::sort(cands.begin(), cands.end(), [](const Cand& x, const Cand& y) {
    return x.r != y.r ? x.r < y.r : (x.a != y.a ? x.a < y.a : x.b < y.b);
  });
  auto free_copy = [&](int a) {
    for (int v : copies_[a])
      if (matcher_.mate(v) == -1)
        return v;
    return -1;
  };
  for (const Cand& c : cands) {
    for (int unit = 0; unit < 2; ++unit) {
      // A second pi bond between the same atoms (a triple bond) only where the bond is short.
      if (unit == 1 && c.r >= 0.83)
        break;
      int u = free_copy(c.a), w = free_copy(c.b);
      if (u < 0 || w < 0)
        break;
      matcher_.pair(u, w);
    }
  }
}

void Perceiver::match() {
  const int n = n_;
  copies_.assign(n, {});
  owner_.clear();
  for (Phase phase : {kDefinite, kMetalDonor, kFlexible, kTerminalOxide}) {
    for (int a = 0; a < n; ++a)
      if (st_[a].need > 0 && st_[a].phase == phase)
        add_vertices(a);
    greedy(phase);
    for (int v = 0; v < matcher_.size(); ++v)
      if (matcher_.mate(v) == -1)
        matcher_.augment(v);
  }
}

// Cations such as pyridinium, guanidinium and amidinium: a nitrogen with three partners gives
// up its lone pair to a pi bond when an atom of its pi system would otherwise stay
// unsaturated.
void Perceiver::promote_nitrogens() {
  const int n = n_;
  // Bounds that keep a large, badly resolved framework from costing more than a molecule.
  constexpr int kMaxAttempts = 200, kMaxCandidates = 4, kMaxHops = 8;
  int attempts = 0;
  for (int a = 0; a < n && attempts < kMaxAttempts; ++a) {
    while (free_copies(a) > 0 && st_[a].phase != kTerminalOxide && !st_[a].flexible &&
           attempts++ < kMaxAttempts) {
      // Nitrogens of the same pi system, nearest first.
      std::vector<int>& dist = dist_;
      std::vector<int>& q = queue_;
      dist.assign(n, -1);
      dist[a] = 0;
      q.assign(1, a);
      std::vector<int> candidates;
      for (std::size_t head = 0; head < q.size(); ++head) {
        int x = q[head];
        for (int y : st_[x].partners) {
          if (dist[y] >= 0 || st_[y].hydrogen)
            continue;
          dist[y] = dist[x] + 1;
          if (is_code(element(y), Element::Nitrogen) && st_[y].need == 0 && !st_[y].consumed &&
              st_[y].charge == 0 && st_[y].sigma() == 3 &&
              static_cast<int>(candidates.size()) < kMaxCandidates)
            candidates.push_back(y);
          // Only atoms with pi bonds conduct; the nitrogen itself is a dead end.
          if (st_[y].need > 0 && dist[y] < kMaxHops)
            q.push_back(y);
        }
      }
      bool done = false;
      for (int y : candidates) {
        st_[y].need = 1;
        add_vertices(y);
        int v = copies_[y].back();
        if (matcher_.augment(v)) {
          st_[y].charge = 1;
          done = true;
          break;
        }
        // A failed search leaves the matching alone: taking the vertex back restores it all.
        matcher_.remove_last_vertex();
        owner_.pop_back();
        copies_[y].clear();
        st_[y].need = 0;
      }
      if (!done)
        break;
    }
  }
}

void Perceiver::collect_units() {
  units_ = fixed_units_;
  for (int v = 0; v < matcher_.size(); ++v) {
    int w = matcher_.mate(v);
    if (w > v)
      ++units_[partner_bond(owner_[v], owner_[w])];
  }
}

void Perceiver::resolve_leftovers() {
  const bool no_h = !settings_.hydrogens_present;
  for (int a = 0; a < n_; ++a) {
    AtomState& s = st_[a];
    int left = copies_[a].empty() ? 0 : free_copies(a);
    if (left == 0)
      continue;
    const Element& e = element(a);
    if (s.flexible) {
      s.implicit_h += left;
      continue;
    }
    bool terminal = s.partners.size() == 1 && s.implicit_h == 0 && s.explicit_h == 0;
    if (s.phase == kTerminalOxide) {
      s.charge = -left;
      continue;
    }
    if (terminal && left == 1 && (is_code(e, Element::Oxygen) || is_chalcogen_below_oxygen(e))) {
      int o = s.partners[0];
      if (!no_h && is_code(e, Element::Oxygen) && element(o).is_carbon() &&
          bond_length(a, o) >= 1.29) {
        // A C-O this long carries a hydrogen that the structure does not show.
        s.implicit_h += 1;
        problems_.push_back("hydrogen missing on " + name(a) + "; assumed");
      } else {
        s.charge = -1;
      }
      continue;
    }
    if (s.metal_neighbours > 0 && left == 1 &&
        (e.is_carbon() || is_code(e, Element::Nitrogen) || is_code(e, Element::Oxygen))) {
      // Anionic ligands: cyclopentadienyl, amido, alkoxo.
      s.charge = -1;
      continue;
    }
    if (!no_h && (is_code(e, Element::Nitrogen) || is_code(e, Element::Oxygen) ||
                  is_chalcogen_below_oxygen(e))) {
      bool saturated_neighbours = true;
      for (int o : s.partners)
        if (!copies_[o].empty())
          saturated_neighbours = false;
      if (saturated_neighbours) {
        s.implicit_h += left;
        problems_.push_back("hydrogen missing on " + name(a) + "; assumed");
        continue;
      }
    }
    problems_.push_back("unresolved valence at " + name(a));
  }
}

void Perceiver::assign_types() {
  for (int b = 0; b < mol_.nbonds(); ++b) {
    Bond& bd = *mol_.bonds()[b];
    int a1 = bd.atom1(), a2 = bd.atom2();
    if (st_[a1].metal || st_[a2].metal) {
      bd.set_type(BondType::Single);
      continue;
    }
    int u = units_[b];
    bd.set_type(u == 0 ? BondType::Single : u == 1 ? BondType::Double : BondType::Triple);
  }
}

// Five- and six-membered rings whose Kekule structure holds six pi electrons: two from each
// ring double bond (one per atom), two from a lone pair (pyrrole NH, furan O, thiophene S, a
// carbanion), one from an atom whose double bond lies in an already aromatic neighbouring
// ring. An exocyclic double bond to anything else (a quinone C=O) breaks the ring.
void Perceiver::mark_aromatic_rings() {
  // An aromatic ring atom is trigonal at most: three sigma bonds to non-metals. It also brings
  // electrons to the ring, from a pi bond or from a lone pair; an atom with neither fails every
  // ring through it, so leaving it out of the ring search changes no verdict. Leaving these
  // atoms out also keeps the ring walk small in dense frameworks, cages and saturated rings.
  std::vector<char> excluded(n_, 0);
  bool any_usable = false;
  for (int a = 0; a < n_; ++a) {
    const AtomState& s = st_[a];
    excluded[a] = s.metal || s.hydrogen || s.partners.size() > 3;
    if (excluded[a])
      continue;
    bool pi = false;
    for (int b : s.partner_bonds)
      if (units_[b] != 0) {
        pi = true;
        break;
      }
    excluded[a] = !pi && !lone_pair_donor(a);
    any_usable = any_usable || !excluded[a];
  }
  if (!any_usable)
    return;
  std::vector<std::vector<int>> rings;
  for (auto& r : find_small_rings(mol_, 6, excluded))
    if (r.size() >= 5)
      rings.push_back(std::move(r));
  if (rings.empty())
    return;
  std::vector<char> aromatic_bond(mol_.nbonds(), 0);
  std::vector<char> ring_done(rings.size(), 0);
  bool changed = true;
  while (changed) {
    changed = false;
    for (std::size_t ri = 0; ri < rings.size(); ++ri) {
      if (ring_done[ri])
        continue;
      const auto& ring = rings[ri];
      const int n = static_cast<int>(ring.size());
      int electrons = 0;
      bool ok = true;
      for (int i = 0; i < n && ok; ++i) {
        int a = ring[i];
        int prev = ring[(i + n - 1) % n], next = ring[(i + 1) % n];
        const AtomState& s = st_[a];
        int in_ring_double = 0;
        int exo_bond = -1;
        for (std::size_t k = 0; k < s.partners.size(); ++k) {
          int o = s.partners[k];
          int u = units_[s.partner_bonds[k]];
          if (u == 0)
            continue;
          if (o == prev || o == next)
            in_ring_double += u;
          else
            exo_bond = s.partner_bonds[k];
        }
        if (in_ring_double == 1) {
          electrons += 1;
        } else if (in_ring_double > 1) {
          ok = false;
        } else if (exo_bond >= 0) {
          if (aromatic_bond[exo_bond])
            electrons += 1;
          else
            ok = false;
        } else if (lone_pair_donor(a)) {
          electrons += 2;
        } else {
          ok = false;
        }
      }
      if (!ok || electrons != 6)
        continue;
      ring_done[ri] = 1;
      changed = true;
      for (int i = 0; i < n; ++i)
        aromatic_bond[partner_bond(ring[i], ring[(i + 1) % n])] = 1;
    }
  }
  for (int b = 0; b < mol_.nbonds(); ++b)
    if (aromatic_bond[b])
      mol_.bonds()[b]->set_type(BondType::Aromatic);
}

std::vector<std::string> Perceiver::run() {
  setup_atoms();
  if (!settings_.hydrogens_present) {
    if (!settings_.hydrogen_free)
      derive_hydrogens_from_geometry();
  } else
    fill_missing_water_hydrogens();
  settle_metal_carbonyls();
  settle_hypervalent_centres();
  compute_needs();
  match();
  promote_nitrogens();
  resolve_leftovers();
  collect_units();
  assign_types();
  mark_aromatic_rings();
  for (int a = 0; a < n_; ++a) {
    Atom& at = *atoms_[a];
    if (!st_[a].metal)
      at.set_formal_charge(st_[a].charge);
    at.set_implicit_hydrogens(st_[a].hydrogen ? 0 : st_[a].implicit_h);
  }
  return problems_;
}

} // namespace

int BondPerception::standard_valence(const Element& e) {
  if (e.is_metal())
    return 0;
  switch (e.atomic_number()) {
  case 1:
    return 1;
  case 5:
    return 3;
  case 6:
  case 14:
    return 4;
  case 7:
  case 15:
  case 33:
    return 3;
  case 8:
  case 16:
  case 34:
  case 52:
    return 2;
  case 9:
  case 17:
  case 35:
  case 53:
    return 1;
  default:
    return 0;
  }
}

void BondPerception::add_bonds(Molecule& m) const {
  const int n = m.natoms();
  if (n < 2)
    return;
  double max_r = 0;
  for (int i = 0; i < n; ++i)
    max_r = std::max(max_r, m.atom(i)->element().covalent_radius());
  const double cell = 2 * max_r + settings_.tolerance;
  std::map<std::array<long, 3>, std::vector<int>> grid;
  std::vector<std::array<long, 3>> key(n);
  for (int i = 0; i < n; ++i) {
    Point p = m.atom(i)->position();
    key[i] = {static_cast<long>(std::floor(p[0] / cell)), static_cast<long>(std::floor(p[1] / cell)),
              static_cast<long>(std::floor(p[2] / cell))};
    grid[key[i]].push_back(i);
  }
  struct Pair {
    double d;
    int a, b;
  };
  std::vector<Pair> pairs;
  for (int i = 0; i < n; ++i) {
    for (long dx = -1; dx <= 1; ++dx)
      for (long dy = -1; dy <= 1; ++dy)
        for (long dz = -1; dz <= 1; ++dz) {
          auto it = grid.find({key[i][0] + dx, key[i][1] + dy, key[i][2] + dz});
          if (it == grid.end())
            continue;
          for (int j : it->second) {
            if (j <= i)
              continue;
            double d = distance(m.atom(i)->position(), m.atom(j)->position());
            if (is_bond_length(m.atom(i)->element(), m.atom(j)->element(), d))
              pairs.push_back({d, i, j});
          }
        }
  }
  std::sort(pairs.begin(), pairs.end(), [](const Pair& x, const Pair& y) {
    return x.d != y.d ? x.d < y.d : (x.a != y.a ? x.a < y.a : x.b < y.b);
  });
  // Shortest first, so that each hydrogen keeps its shortest bond.
  std::vector<char> h_bonded(n, 0);
  for (int i = 0; i < n; ++i)
    for (int o : m.neighbours(i))
      if (m.atom(i)->element().is_hydrogen())
        h_bonded[i] = 1, (void)o;
  for (const Pair& p : pairs) {
    bool ha = m.atom(p.a)->element().is_hydrogen(), hb = m.atom(p.b)->element().is_hydrogen();
    if ((ha && h_bonded[p.a]) || (hb && h_bonded[p.b]))
      continue;
    if (m.bond_between(p.a, p.b))
      continue;
    m.add_bond(p.a, p.b, BondType::Unknown);
    if (ha)
      h_bonded[p.a] = 1;
    if (hb)
      h_bonded[p.b] = 1;
  }
}

std::vector<std::string> BondPerception::assign_bond_types(Molecule& m,
                                                          const PolymerCuts& cuts) const {
  Perceiver p(m, settings_, cuts);
  return p.run();
}

} // namespace xtalmotif
