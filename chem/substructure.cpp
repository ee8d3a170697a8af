#include "chem/substructure.h"

#include <algorithm>
#include <array>
#include <ostream>
#include <stdexcept>
#include <typeinfo>
#include <utility>

namespace xtalmotif {

namespace {

// Two condition handles are equal when both are null or both hold equal conditions.
bool same_condition(const THandle<Condition> &a, const THandle<Condition> &b) {
  if (a.is_null() || b.is_null())
    return a.is_null() == b.is_null();
  return *a == *b;
}

THandle<Condition> clone_condition(const THandle<Condition> &c) {
  return c.is_null() ? THandle<Condition>() : c->clone();
}

void print_condition(std::ostream &os, const THandle<Condition> &c) {
  if (c.is_null())
    os << "any";
  else
    c->print(os, Condition::print_full);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Atom constraints

bool AtomNHydrogensConstraint::matches(const Molecule &molecule, int atom) const {
  return condition_->test(molecule.hydrogen_count(atom, include_implicit_));
}

THandle<AtomConstraint> AtomNHydrogensConstraint::clone() const {
  return THandle<AtomConstraint>(
      new AtomNHydrogensConstraint(clone_condition(condition_), include_implicit_));
}

bool AtomNHydrogensConstraint::equals(const AtomConstraint &other) const {
  auto *o = dynamic_cast<const AtomNHydrogensConstraint *>(&other);
  return o && typeid(*this) == typeid(other) && include_implicit_ == o->include_implicit_ &&
         same_condition(condition_, o->condition_);
}

void AtomNHydrogensConstraint::print(std::ostream &os) const {
  os << "hydrogen count ";
  print_condition(os, condition_);
  os << (include_implicit_ ? " (implicit included)" : " (explicit only)");
}

bool AtomNBondsConstraint::matches(const Molecule &molecule, int atom) const {
  // Connections count hydrogens. Where the hydrogens are implied rather than placed (structures
  // refined without H sites), the implied ones are connections too, so that a hydroxyl O with
  // two connections is recognised whether or not its H was located.
  int n = molecule.degree(atom);
  int implicit = molecule.atom(atom)->implicit_hydrogens();
  if (implicit > 0)
    n += implicit;
  return condition_->test(n);
}

THandle<AtomConstraint> AtomNBondsConstraint::clone() const {
  return THandle<AtomConstraint>(new AtomNBondsConstraint(clone_condition(condition_)));
}

bool AtomNBondsConstraint::equals(const AtomConstraint &other) const {
  auto *o = dynamic_cast<const AtomNBondsConstraint *>(&other);
  return o && typeid(*this) == typeid(other) && same_condition(condition_, o->condition_);
}

void AtomNBondsConstraint::print(std::ostream &os) const {
  os << "connections ";
  print_condition(os, condition_);
}

bool AtomFormalChargeConstraint::matches(const Molecule &molecule, int atom) const {
  return condition_->test(molecule.atom(atom)->formal_charge());
}

THandle<AtomConstraint> AtomFormalChargeConstraint::clone() const {
  return THandle<AtomConstraint>(new AtomFormalChargeConstraint(clone_condition(condition_)));
}

bool AtomFormalChargeConstraint::equals(const AtomConstraint &other) const {
  auto *o = dynamic_cast<const AtomFormalChargeConstraint *>(&other);
  return o && typeid(*this) == typeid(other) && same_condition(condition_, o->condition_);
}

void AtomFormalChargeConstraint::print(std::ostream &os) const {
  os << "formal charge ";
  print_condition(os, condition_);
}

bool AtomCyclicityConstraint::matches(const Molecule &molecule, int atom) const {
  return molecule.is_ring_atom(atom) == (in_ring_ != 0);
}

THandle<AtomConstraint> AtomCyclicityConstraint::clone() const {
  return THandle<AtomConstraint>(new AtomCyclicityConstraint(in_ring_));
}

bool AtomCyclicityConstraint::equals(const AtomConstraint &other) const {
  auto *o = dynamic_cast<const AtomCyclicityConstraint *>(&other);
  return o && typeid(*this) == typeid(other) && (in_ring_ != 0) == (o->in_ring_ != 0);
}

void AtomCyclicityConstraint::print(std::ostream &os) const {
  os << (in_ring_ != 0 ? "in a ring" : "not in a ring");
}

bool BondCyclicityConstraint::matches(const Molecule &molecule, int bond) const {
  return molecule.is_ring_bond(bond) == (in_ring_ != 0);
}

void BondCyclicityConstraint::print(std::ostream &os) const {
  os << (in_ring_ != 0 ? "in a ring" : "not in a ring");
}

// ---------------------------------------------------------------------------------------------
// Query atoms and bonds

SubstructureAtom::SubstructureAtom(const SubstructureAtom &other)
    : elements_(other.elements_), label_(other.label_) {
  constraints_.reserve(other.constraints_.size());
  for (const auto &c : other.constraints_)
    constraints_.push_back(c->clone());
}

SubstructureAtom &SubstructureAtom::operator=(const SubstructureAtom &other) {
  if (this != &other) {
    SubstructureAtom copy(other);
    elements_ = std::move(copy.elements_);
    constraints_ = std::move(copy.constraints_);
    label_ = std::move(copy.label_);
  }
  return *this;
}

void SubstructureAtom::add_element(const Element &e) {
  // An any-element atom already allows e; adding it would narrow the atom to e alone.
  if (elements_.empty() || allows(e))
    return;
  elements_.push_back(e);
}

void SubstructureAtom::remove_element(const Element &e) {
  if (elements_.empty()) {
    elements_.reserve(Element::ncodes);
    for (int code = 0; code < Element::ncodes; ++code)
      elements_.emplace_back(code);
  }
  elements_.erase(std::remove(elements_.begin(), elements_.end(), e), elements_.end());
}

bool SubstructureAtom::allows(const Element &e) const {
  return elements_.empty() || std::find(elements_.begin(), elements_.end(), e) != elements_.end();
}

bool SubstructureAtom::matches(const Molecule &molecule, int atom) const {
  if (!allows(molecule.atom(atom)->element()))
    return false;
  for (const auto &c : constraints_)
    if (!c->matches(molecule, atom))
      return false;
  return true;
}

bool SubstructureAtom::operator==(const SubstructureAtom &o) const {
  if (elements_ != o.elements_ || constraints_.size() != o.constraints_.size())
    return false;
  for (std::size_t i = 0; i < constraints_.size(); ++i)
    if (!constraints_[i]->equals(*o.constraints_[i]))
      return false;
  return true;
}

void SubstructureAtom::print(std::ostream &os) const {
  if (elements_.empty()) {
    os << "any element";
  } else if (static_cast<int>(elements_.size()) > Element::ncodes / 2) {
    // A list made by removing elements from "any" reads better as what it leaves out.
    os << "any element except";
    for (int code = 0; code < Element::ncodes; ++code)
      if (!allows(Element(code)))
        os << ' '
           << (Element(code).symbol().empty() ? "#" + std::to_string(code)
                                              : Element(code).symbol());
  } else {
    for (std::size_t i = 0; i < elements_.size(); ++i)
      os << (i ? "|" : "") << elements_[i].symbol();
  }
  for (const auto &c : constraints_) {
    os << ", ";
    c->print(os);
  }
}

bool SubstructureBond::matches(const Molecule &molecule, int bond) const {
  if (!types_.empty()) {
    BondType t = molecule.bond(bond)->type();
    if (std::find(types_.begin(), types_.end(), t) == types_.end())
      return false;
  }
  for (const auto &c : constraints_)
    if (!c.matches(molecule, bond))
      return false;
  return true;
}

bool SubstructureBond::operator==(const SubstructureBond &o) const {
  return types_ == o.types_ && constraints_ == o.constraints_;
}

void SubstructureBond::print(std::ostream &os) const {
  if (types_.empty()) {
    os << "any type";
  } else {
    for (std::size_t i = 0; i < types_.size(); ++i)
      os << (i ? "|" : "") << bond_type_name(types_[i]);
  }
  for (const auto &c : constraints_) {
    os << ", ";
    c.print(os);
  }
}

// ---------------------------------------------------------------------------------------------
// The query graph

Substructure::Substructure(const Molecule &molecule) {
  for (int i = 0; i < molecule.natoms(); ++i)
    add(make_handle<SubstructureAtom>(molecule.atom(i)->element()));
  for (const auto &b : molecule.bonds())
    add(make_handle<SubstructureBond>(b->type()), b->atom1(), b->atom2());
}

Substructure::Substructure(const Substructure &other) : name(other.name) {
  atoms_.reserve(other.atoms_.size());
  for (const auto &a : other.atoms_)
    atoms_.push_back(make_handle<SubstructureAtom>(*a));
  edges_.reserve(other.edges_.size());
  for (const auto &e : other.edges_)
    edges_.push_back(SubstructureEdge{e.atom1, e.atom2, make_handle<SubstructureBond>(*e.bond)});
}

Substructure &Substructure::operator=(const Substructure &other) {
  if (this != &other) {
    Substructure copy(other);
    name = std::move(copy.name);
    atoms_ = std::move(copy.atoms_);
    edges_ = std::move(copy.edges_);
  }
  return *this;
}

int Substructure::add(const THandle<SubstructureAtom> &atom) {
  if (atom.is_null())
    throw std::invalid_argument("Substructure::add: null query atom");
  atoms_.push_back(atom);
  return nnodes() - 1;
}

int Substructure::add(const THandle<SubstructureBond> &bond, int atom1, int atom2) {
  if (bond.is_null())
    throw std::invalid_argument("Substructure::add: null query bond");
  if (atom1 < 0 || atom1 >= nnodes() || atom2 < 0 || atom2 >= nnodes())
    throw std::invalid_argument("Substructure::add: bond " + std::to_string(atom1) + "-" +
                                std::to_string(atom2) + " names an atom outside 0.." +
                                std::to_string(nnodes() - 1));
  if (atom1 == atom2)
    throw std::invalid_argument("Substructure::add: bond of atom " + std::to_string(atom1) +
                                " to itself");
  edges_.push_back(SubstructureEdge{atom1, atom2, bond});
  return nedges() - 1;
}

THandle<SubstructureAtom> Substructure::node(int i) const {
  if (i < 0 || i >= nnodes())
    throw std::out_of_range("IndexedTable::at Illegal index: " + std::to_string(i));
  return atoms_[i];
}

const SubstructureEdge &Substructure::edge(int i) const {
  if (i < 0 || i >= nedges())
    throw std::out_of_range("IndexedTable::at Illegal index: " + std::to_string(i));
  return edges_[i];
}

void Substructure::print(std::ostream &os) const {
  os << "Substructure \"" << name << "\": " << nnodes() << " atoms, " << nedges() << " bonds\n";
  for (int i = 0; i < nnodes(); ++i) {
    os << "  atom " << i << ": ";
    atoms_[i]->print(os);
    os << '\n';
  }
  for (int i = 0; i < nedges(); ++i) {
    os << "  bond " << i << ": " << edges_[i].atom1 << '-' << edges_[i].atom2 << ' ';
    edges_[i].bond->print(os);
    os << '\n';
  }
}

bool operator==(const Substructure &a, const Substructure &b) {
  if (a.name != b.name || a.nnodes() != b.nnodes() || a.nedges() != b.nedges())
    return false;
  for (int i = 0; i < a.nnodes(); ++i)
    if (*a.node(i) != *b.node(i))
      return false;
  for (int i = 0; i < a.nedges(); ++i) {
    const auto &x = a.edge(i);
    const auto &y = b.edge(i);
    // A bond has no direction: 1-2 and 2-1 are the same query bond.
    bool same_ends =
        (x.atom1 == y.atom1 && x.atom2 == y.atom2) || (x.atom1 == y.atom2 && x.atom2 == y.atom1);
    if (!same_ends || *x.bond != *y.bond)
      return false;
  }
  return true;
}

// ---------------------------------------------------------------------------------------------
// The matcher
//
// Hits must come out in lexicographic order of the hit lists (query atom 0's molecule atom
// ascending, then query atom 1's, ...), so the enumeration assigns query atoms in index order.
// Each query atom has a domain of candidate molecule atoms, filtered once by element, degree and
// atom constraints; assigning a query atom narrows the domains of its unassigned query
// neighbours to the matching neighbours of the chosen molecule atom (forward checking), so a
// query whose every atom is bonded to an earlier one never wanders far from a hit.
//
// A query in which some atom has no earlier neighbour (a disconnected query, or one listed in an
// unlucky order, hydrogens first) would let independent choices multiply before the bonds that
// tie them are checked. So whenever such an atom is placed, the partial assignment is first
// proved to extend to a full hit by a search in connectivity order, which keeps the ordered
// enumeration out of dead subtrees. With a pinned atom, only the molecule atoms within reach of
// it along bonds are candidates at all.

namespace {

struct QueryNeighbour {
  int atom;
  int edge;
};

class Matcher {
public:
  Matcher(const Substructure &query, const Molecule &molecule)
      : query_(query), molecule_(molecule), nq_(query.nnodes()), nm_(molecule.natoms()),
        neighbours_(nq_), domains_(nq_), assigned_(nq_, -1), used_(nm_, 0) {
    for (int e = 0; e < query.nedges(); ++e) {
      const auto &edge = query.edge(e);
      neighbours_[edge.atom1].push_back({edge.atom2, e});
      neighbours_[edge.atom2].push_back({edge.atom1, e});
    }
  }

  /// Builds the first domains; false when some query atom has no candidate at all.
  bool prepare(const std::map<int, int> &fixed) {
    for (const auto &[q, m] : fixed)
      if (q < 0 || q >= nq_)
        throw std::invalid_argument("SubstructureSearch: fixed query atom " + std::to_string(q) +
                                    " outside 0.." + std::to_string(nq_ - 1));
    std::vector<char> fixed_target(nm_, 0);
    for (const auto &[q, m] : fixed) {
      if (m < 0 || m >= nm_ || fixed_target[m])
        return false; // not an atom of the molecule, or two query atoms pinned to one atom
      fixed_target[m] = 1;
    }
    // With a pinned atom, a query atom k bonds away from it can only sit on a molecule atom at
    // most k bonds from the pinned one; only that neighbourhood is scanned, which keeps a
    // placement with a fixed contact atom cheap however large the molecule.
    std::vector<Ball> balls;
    for (const auto &[q, m] : fixed)
      balls.push_back(ball(q, m));
    std::vector<int> all(nm_);
    for (int m = 0; m < nm_; ++m)
      all[m] = m;
    std::vector<int> scan;
    for (int q = 0; q < nq_; ++q) {
      int min_degree = distinct_neighbour_count(q);
      const SubstructureAtom &qa = *query_.node(q);
      std::array<char, Element::ncodes> allowed{};
      if (qa.elements().empty())
        allowed.fill(1);
      for (const auto &e : qa.elements())
        allowed[e.code()] = 1;
      auto f = fixed.find(q);
      if (f != fixed.end()) {
        scan.assign(1, f->second);
      } else {
        const Ball *nearest = nullptr;
        for (const auto &b : balls)
          if (b.query_distance[q] >= 0 &&
              (!nearest || b.query_distance[q] < nearest->query_distance[q]))
            nearest = &b;
        if (nearest) {
          scan.clear();
          for (const auto &[d, m] : nearest->atoms)
            if (d <= nearest->query_distance[q])
              scan.push_back(m);
          std::sort(scan.begin(), scan.end());
        } else {
          scan = all;
        }
      }
      for (int m : scan) {
        if (fixed_target[m] && (f == fixed.end() || f->second != m))
          continue;
        if (!allowed[molecule_.atom(m)->element().code()] || molecule_.degree(m) < min_degree)
          continue;
        bool ok = true;
        for (const auto &c : qa.constraints())
          if (!c->matches(molecule_, m)) {
            ok = false;
            break;
          }
        if (ok)
          domains_[q].push_back(m);
      }
      if (domains_[q].empty())
        return false;
    }
    // A pinned atom narrows its query neighbours before the search starts, whatever their index.
    for (const auto &[q, m] : fixed)
      for (const auto &n : neighbours_[q])
        if (!narrow(n.atom, q, m, nullptr))
          return false;
    mark_unanchored();
    return true;
  }

  /// Enumerates the hits in order; `emit` returns false to stop.
  template <class Emit> bool enumerate(int q, Emit &emit) {
    if (q == nq_)
      return emit(assigned_);
    const std::vector<int> domain = domains_[q]; // narrowing below may replace domains_[q]
    for (int m : domain) {
      if (used_[m])
        continue;
      std::size_t mark = undo_.size();
      if (assign(q, m) && (!unanchored_[q] || q + 1 == nq_ || extends())) {
        if (!enumerate(q + 1, emit)) {
          unassign(q, m, mark);
          return false;
        }
      }
      unassign(q, m, mark);
    }
    return true;
  }

private:
  // The molecule atoms around a pinned atom, with their bond distances, out to the query's
  // largest bond distance from the pinned query atom.
  struct Ball {
    std::vector<int> query_distance;        // from the pinned query atom; -1 unreachable
    std::vector<std::pair<int, int>> atoms; // (bond distance, molecule atom)
  };

  Ball ball(int q, int m) const {
    Ball b;
    b.query_distance.assign(nq_, -1);
    b.query_distance[q] = 0;
    std::vector<int> queue{q};
    int radius = 0;
    for (std::size_t k = 0; k < queue.size(); ++k)
      for (const auto &n : neighbours_[queue[k]])
        if (b.query_distance[n.atom] < 0) {
          b.query_distance[n.atom] = b.query_distance[queue[k]] + 1;
          radius = std::max(radius, b.query_distance[n.atom]);
          queue.push_back(n.atom);
        }
    std::vector<int> depth(nm_, -1);
    depth[m] = 0;
    b.atoms.emplace_back(0, m);
    for (std::size_t k = 0; k < b.atoms.size(); ++k) {
      auto [d, a] = b.atoms[k];
      if (d == radius)
        break; // breadth-first: every later atom is at least this far
      for (int x : molecule_.neighbours(a))
        if (depth[x] < 0) {
          depth[x] = d + 1;
          b.atoms.emplace_back(d + 1, x);
        }
    }
    return b;
  }

  int distinct_neighbour_count(int q) const {
    std::vector<int> n;
    for (const auto &x : neighbours_[q])
      n.push_back(x.atom);
    std::sort(n.begin(), n.end());
    return static_cast<int>(std::unique(n.begin(), n.end()) - n.begin());
  }

  // An atom after the first with no query neighbour earlier in index order is a free choice when
  // its turn comes; only there is the existence check worth its cost.
  void mark_unanchored() {
    unanchored_.assign(nq_, 0);
    for (int q = 1; q < nq_; ++q) {
      bool anchored = false;
      for (const auto &n : neighbours_[q])
        anchored = anchored || n.atom < q;
      unanchored_[q] = !anchored;
    }
  }

  // Keeps in the domain of query atom `j` only the neighbours of molecule atom `m` (the image of
  // query atom `q`) joined to it by a bond that every query bond between q and j accepts. The old
  // domain goes on the undo stack when `undo` is set.
  bool narrow(int j, int q, int m, std::vector<std::pair<int, std::vector<int>>> *undo) {
    const auto &dom = domains_[j];
    const auto &nbrs = molecule_.neighbours(m);
    const auto &bonds = molecule_.bonds_of(m);
    std::vector<int> kept;
    for (std::size_t k = 0; k < nbrs.size(); ++k) {
      int c = nbrs[k];
      if (used_[c] || !std::binary_search(dom.begin(), dom.end(), c))
        continue;
      bool ok = true;
      for (const auto &n : neighbours_[q])
        if (n.atom == j && !query_.edge(n.edge).bond->matches(molecule_, bonds[k])) {
          ok = false;
          break;
        }
      if (ok)
        kept.push_back(c);
    }
    std::sort(kept.begin(), kept.end());
    kept.erase(std::unique(kept.begin(), kept.end()), kept.end());
    if (undo)
      undo->emplace_back(j, std::move(domains_[j]));
    domains_[j] = std::move(kept);
    return !domains_[j].empty();
  }

  bool assign(int q, int m) {
    assigned_[q] = m;
    used_[m] = 1;
    for (const auto &n : neighbours_[q])
      if (assigned_[n.atom] < 0 && !narrow(n.atom, q, m, &undo_))
        return false;
    return true;
  }

  void unassign(int q, int m, std::size_t mark) {
    while (undo_.size() > mark) {
      domains_[undo_.back().first] = std::move(undo_.back().second);
      undo_.pop_back();
    }
    assigned_[q] = -1;
    used_[m] = 0;
  }

  // Does the current partial assignment extend to a full hit? Searched in connectivity order:
  // always next the unassigned atom with most assigned neighbours, then the smallest domain.
  bool extends() {
    int q = -1;
    int best_links = -1;
    std::size_t best_size = 0;
    for (int j = 0; j < nq_; ++j) {
      if (assigned_[j] >= 0)
        continue;
      int links = 0;
      for (const auto &n : neighbours_[j])
        links += assigned_[n.atom] >= 0;
      if (links > best_links || (links == best_links && domains_[j].size() < best_size)) {
        q = j;
        best_links = links;
        best_size = domains_[j].size();
      }
    }
    if (q < 0)
      return true;
    const std::vector<int> domain = domains_[q];
    for (int m : domain) {
      if (used_[m])
        continue;
      std::size_t mark = undo_.size();
      bool found = assign(q, m) && extends();
      unassign(q, m, mark);
      if (found)
        return true;
    }
    return false;
  }

  const Substructure &query_;
  const Molecule &molecule_;
  int nq_;
  int nm_;
  std::vector<std::vector<QueryNeighbour>> neighbours_;
  std::vector<std::vector<int>> domains_;
  std::vector<int> assigned_;
  std::vector<char> used_;
  std::vector<std::pair<int, std::vector<int>>> undo_;
  std::vector<char> unanchored_;
};

} // namespace

std::vector<std::vector<int>> SubstructureSearch::search(const Substructure &query,
                                                         const Molecule &molecule,
                                                         const std::map<int, int> &fixed) const {
  std::vector<std::vector<int>> hits;
  auto collect = [&hits](const std::vector<int> &hit) {
    hits.push_back(hit);
    return true;
  };
  run(query, molecule, fixed, HitSink(collect));
  return hits;
}

void SubstructureSearch::run(const Substructure &query, const Molecule &molecule,
                             const std::map<int, int> &fixed, const HitSink &sink) const {
  // An empty query places nothing, so it has no hits.
  if (query.nnodes() == 0 || molecule.natoms() == 0)
    return;
  Matcher matcher(query, molecule);
  if (!matcher.prepare(fixed))
    return;
  long delivered = 0;
  auto emit = [&](const std::vector<int> &hit) {
    ++delivered;
    if (!sink(hit))
      return false;
    return max_hits_ <= 0 || delivered < max_hits_;
  };
  matcher.enumerate(0, emit);
}

} // namespace xtalmotif
