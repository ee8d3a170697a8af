#include "chem/molecule.h"

#include <algorithm>
#include <map>
#include <ostream>
#include <sstream>
#include <stdexcept>

namespace xtalmotif {

Atom::Atom(const Element& element, std::string label, int formal_charge)
    : element_(element), label_(std::move(label)), formal_charge_(formal_charge) {}

void Atom::print(std::ostream& os) const {
  os << label_ << ' ' << element_.symbol();
  if (formal_charge_ != 0)
    os << ' ' << (formal_charge_ > 0 ? "+" : "") << formal_charge_;
  if (site_)
    os << ' ' << site_->orthogonal();
}

const char* bond_type_name(BondType t) {
  switch (t) {
  case BondType::Unknown: return "unknown";
  case BondType::Single: return "single";
  case BondType::Double: return "double";
  case BondType::Triple: return "triple";
  case BondType::Quadruple: return "quadruple";
  case BondType::Aromatic: return "aromatic";
  case BondType::Delocalised: return "delocalised";
  case BondType::Pi: return "pi";
  }
  return "unknown";
}

Molecule::Molecule(const Molecule& other)
    : neighbours_(other.neighbours_), atom_bonds_(other.atom_bonds_),
      ring_bond_(other.ring_bond_), ring_atom_(other.ring_atom_) {
  atoms_.reserve(other.atoms_.size());
  for (const auto& a : other.atoms_)
    atoms_.push_back(a->clone());
  bonds_.reserve(other.bonds_.size());
  for (const auto& b : other.bonds_)
    bonds_.push_back(make_handle<Bond>(*b));
}

Molecule& Molecule::operator=(const Molecule& other) {
  if (this != &other) {
    Molecule copy(other);
    atoms_ = std::move(copy.atoms_);
    bonds_ = std::move(copy.bonds_);
    neighbours_ = std::move(copy.neighbours_);
    atom_bonds_ = std::move(copy.atom_bonds_);
    ring_bond_ = std::move(copy.ring_bond_);
    ring_atom_ = std::move(copy.ring_atom_);
  }
  return *this;
}

void Molecule::check_atom(int i) const {
  if (i < 0 || i >= static_cast<int>(atoms_.size()))
    throw std::out_of_range("IndexedTable::at Illegal index: " + std::to_string(i));
}

THandle<Atom> Molecule::atom(int i) const {
  check_atom(i);
  return atoms_[i];
}

int Molecule::index_of(const Atom* atom) const {
  for (std::size_t i = 0; i < atoms_.size(); ++i)
    if (atoms_[i].get() == atom)
      return static_cast<int>(i);
  return -1;
}

int Molecule::add_atom(const THandle<Atom>& atom) {
  if (!atom)
    throw std::invalid_argument("Molecule::add_atom: null atom");
  atoms_.push_back(atom);
  neighbours_.emplace_back();
  atom_bonds_.emplace_back();
  ring_atom_.push_back(0);
  return static_cast<int>(atoms_.size()) - 1;
}

void Molecule::reserve_atoms(int n) {
  const auto size = static_cast<std::size_t>(std::max(n, 0));
  atoms_.reserve(size);
  neighbours_.reserve(size);
  atom_bonds_.reserve(size);
  ring_atom_.reserve(size);
}

THandle<Bond> Molecule::bond(int i) const {
  if (i < 0 || i >= nbonds())
    throw std::out_of_range("IndexedTable::at Illegal index: " + std::to_string(i));
  return bonds_[i];
}

int Molecule::index_of(const THandle<Bond>& bond) const {
  for (std::size_t i = 0; i < bonds_.size(); ++i)
    if (bonds_[i] == bond)
      return static_cast<int>(i);
  return -1;
}

THandle<Bond> Molecule::add_bond(int a, int b, BondType type) {
  append_bond(a, b, type);
  update_rings();
  return bonds_.back();
}

void Molecule::add_bonds(const std::vector<std::pair<int, int>>& pairs, BondType type) {
  reserve_bonds(pairs);
  for (const auto& p : pairs)
    append_bond(p.first, p.second, type);
  update_rings();
}

void Molecule::add_bonds(const std::vector<std::pair<int, int>>& pairs,
                         const std::vector<BondType>& types, const std::vector<char>& ring_bonds) {
  if (types.size() != pairs.size() || ring_bonds.size() != pairs.size())
    throw std::invalid_argument("Molecule::add_bonds: " + std::to_string(pairs.size()) +
                                " bonds with " + std::to_string(types.size()) + " types and " +
                                std::to_string(ring_bonds.size()) + " ring flags");
  // Flags known for a whole bond graph say nothing of one that already had bonds.
  if (!bonds_.empty())
    throw std::invalid_argument("Molecule::add_bonds: ring flags given for a molecule with bonds");
  reserve_bonds(pairs);
  for (std::size_t b = 0; b < pairs.size(); ++b)
    append_bond(pairs[b].first, pairs[b].second, types[b]);
  ring_bond_.assign(ring_bonds.begin(), ring_bonds.end());
  mark_ring_atoms();
}

void Molecule::reserve_bonds(const std::vector<std::pair<int, int>>& pairs) {
  // Each atom's lists grow to their final length at once instead of doubling bond by bond.
  // Pairs that append_bond will reject are left out of the count; it throws on reaching them.
  const int n = natoms();
  std::vector<int> extra(n, 0);
  for (const auto& p : pairs)
    if (p.first >= 0 && p.second >= 0 && p.first < n && p.second < n && p.first != p.second) {
      ++extra[p.first];
      ++extra[p.second];
    }
  for (int a = 0; a < n; ++a)
    if (extra[a] > 0) {
      neighbours_[a].reserve(neighbours_[a].size() + extra[a]);
      atom_bonds_[a].reserve(atom_bonds_[a].size() + extra[a]);
    }
  bonds_.reserve(bonds_.size() + pairs.size());
}

void Molecule::append_bond(int a, int b, BondType type) {
  const int n = static_cast<int>(atoms_.size());
  if (a < 0 || b < 0 || a >= n || b >= n)
    throw std::invalid_argument("Molecule::add_bond: atom index out of range");
  if (a == b)
    throw std::invalid_argument("Molecule::add_bond: an atom cannot bond to itself");
  // An existing bond shows in both neighbour lists; the shorter one is searched.
  const bool a_shorter = neighbours_[a].size() <= neighbours_[b].size();
  const std::vector<int>& listed = neighbours_[a_shorter ? a : b];
  if (std::find(listed.begin(), listed.end(), a_shorter ? b : a) != listed.end())
    throw std::invalid_argument("Molecule::add_bond: atoms " + std::to_string(a) + " and " +
                                std::to_string(b) + " are already bonded");
  int index = nbonds();
  bonds_.push_back(make_handle<Bond>(a, b, type));
  neighbours_[a].push_back(b);
  neighbours_[b].push_back(a);
  atom_bonds_[a].push_back(index);
  atom_bonds_[b].push_back(index);
}

bool Molecule::remove_bond(const THandle<Bond>& bond) {
  int index = index_of(bond);
  if (index < 0)
    return false;
  bonds_.erase(bonds_.begin() + index);
  for (auto& n : neighbours_)
    n.clear();
  for (auto& n : atom_bonds_)
    n.clear();
  for (int i = 0; i < nbonds(); ++i) {
    const Bond& b = *bonds_[i];
    neighbours_[b.atom1()].push_back(b.atom2());
    neighbours_[b.atom2()].push_back(b.atom1());
    atom_bonds_[b.atom1()].push_back(i);
    atom_bonds_[b.atom2()].push_back(i);
  }
  update_rings();
  return true;
}

THandle<Bond> Molecule::bond_between(int a, int b) const {
  if (a < 0 || a >= natoms())
    return THandle<Bond>();
  const auto& nb = neighbours_[a];
  for (std::size_t k = 0; k < nb.size(); ++k)
    if (nb[k] == b)
      return bonds_[atom_bonds_[a][k]];
  return THandle<Bond>();
}

const std::vector<int>& Molecule::neighbours(int atom) const {
  check_atom(atom);
  return neighbours_[atom];
}

const std::vector<int>& Molecule::bonds_of(int atom) const {
  check_atom(atom);
  return atom_bonds_[atom];
}

int Molecule::hydrogen_count(int atom, bool include_implicit) const {
  int n = 0;
  for (int nb : neighbours(atom))
    if (atoms_[nb]->element().is_hydrogen())
      ++n;
  if (include_implicit && atoms_[atom]->implicit_hydrogens() > 0)
    n += atoms_[atom]->implicit_hydrogens();
  return n;
}

bool Molecule::is_ring_atom(int atom) const {
  check_atom(atom);
  return ring_atom_[atom] != 0;
}

bool Molecule::is_ring_bond(int index) const {
  if (index < 0 || index >= nbonds())
    throw std::out_of_range("IndexedTable::at Illegal index: " + std::to_string(index));
  return ring_bond_[index] != 0;
}

// A bond lies on a cycle exactly when it is not a bridge. Bridges come from one iterative
// depth-first search (Tarjan's low-link), so the whole update is linear in the graph size.
void Molecule::update_rings() {
  const int n = natoms();
  // A ring takes three bonds at least: waters, ions and the other small molecules of a
  // crystal, most of its molecules, have none to look for.
  if (bonds_.size() < 3) {
    ring_bond_.assign(bonds_.size(), 0);
    ring_atom_.assign(n, 0);
    return;
  }
  ring_bond_.assign(bonds_.size(), 1);
  std::vector<int> order(n, -1), low(n, 0);
  int counter = 0;
  struct Frame {
    int atom;
    int parent_bond;
    std::size_t next;
  };
  std::vector<Frame> stack;
  for (int root = 0; root < n; ++root) {
    if (order[root] >= 0)
      continue;
    order[root] = low[root] = counter++;
    stack.push_back({root, -1, 0});
    while (!stack.empty()) {
      Frame& f = stack.back();
      if (f.next < neighbours_[f.atom].size()) {
        int nb = neighbours_[f.atom][f.next];
        int bi = atom_bonds_[f.atom][f.next];
        ++f.next;
        if (bi == f.parent_bond)
          continue;
        if (order[nb] < 0) {
          order[nb] = low[nb] = counter++;
          stack.push_back({nb, bi, 0});
        } else {
          low[f.atom] = std::min(low[f.atom], order[nb]);
        }
      } else {
        Frame done = f;
        stack.pop_back();
        if (!stack.empty()) {
          int parent = stack.back().atom;
          low[parent] = std::min(low[parent], low[done.atom]);
          if (low[done.atom] > order[parent])
            ring_bond_[done.parent_bond] = 0;
        }
      }
    }
  }
  mark_ring_atoms();
}

void Molecule::mark_ring_atoms() {
  ring_atom_.assign(atoms_.size(), 0);
  for (std::size_t i = 0; i < bonds_.size(); ++i)
    if (ring_bond_[i]) {
      ring_atom_[bonds_[i]->atom1()] = 1;
      ring_atom_[bonds_[i]->atom2()] = 1;
    }
}

std::vector<std::vector<int>> Molecule::connected_components() const {
  std::vector<std::vector<int>> pieces;
  std::vector<char> seen(natoms(), 0);
  for (int start = 0; start < natoms(); ++start) {
    if (seen[start])
      continue;
    std::vector<int> piece{start};
    seen[start] = 1;
    for (std::size_t k = 0; k < piece.size(); ++k)
      for (int nb : neighbours_[piece[k]])
        if (!seen[nb]) {
          seen[nb] = 1;
          piece.push_back(nb);
        }
    std::sort(piece.begin(), piece.end());
    pieces.push_back(std::move(piece));
  }
  return pieces;
}

THandle<Molecule> Molecule::extract(const std::vector<int>& atoms) const {
  auto out = make_handle<Molecule>();
  std::map<int, int> new_index;
  for (int a : atoms) {
    check_atom(a);
    if (new_index.count(a))
      throw std::invalid_argument("Molecule::extract: atom listed twice");
    new_index[a] = out->add_atom(atoms_[a]->clone());
  }
  for (const auto& b : bonds_) {
    auto i = new_index.find(b->atom1());
    auto j = new_index.find(b->atom2());
    if (i != new_index.end() && j != new_index.end()) {
      out->bonds_.push_back(make_handle<Bond>(i->second, j->second, b->type()));
      int bi = out->nbonds() - 1;
      out->neighbours_[i->second].push_back(j->second);
      out->neighbours_[j->second].push_back(i->second);
      out->atom_bonds_[i->second].push_back(bi);
      out->atom_bonds_[j->second].push_back(bi);
    }
  }
  out->update_rings();
  return out;
}

std::string Molecule::formula() const {
  std::map<std::string, int> counts;
  int implicit_h = 0;
  for (const auto& a : atoms_) {
    ++counts[a->element().symbol()];
    if (a->implicit_hydrogens() > 0)
      implicit_h += a->implicit_hydrogens();
  }
  if (implicit_h > 0)
    counts["H"] += implicit_h;
  // Hill order: C first, then H, then the rest alphabetically; without carbon all alphabetical.
  std::ostringstream os;
  bool first = true;
  auto put = [&](const std::string& sym, int n) {
    os << (first ? "" : " ") << sym;
    if (n != 1)
      os << n;
    first = false;
  };
  bool has_c = counts.count("C") > 0;
  if (has_c) {
    put("C", counts["C"]);
    counts.erase("C");
    if (counts.count("H")) {
      put("H", counts["H"]);
      counts.erase("H");
    }
  }
  for (const auto& kv : counts)
    put(kv.first, kv.second);
  return os.str();
}

void Molecule::print(std::ostream& os) const {
  os << "Molecule " << formula() << ": " << natoms() << " atoms, " << nbonds() << " bonds\n";
  for (int i = 0; i < natoms(); ++i) {
    os << "  " << i << ' ';
    atoms_[i]->print(os);
    os << '\n';
  }
  for (const auto& b : bonds_)
    os << "  bond " << b->atom1() << '-' << b->atom2() << ' ' << bond_type_name(b->type())
       << '\n';
}

} // namespace xtalmotif
