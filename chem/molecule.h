#ifndef XTALMOTIF_CHEM_MOLECULE_H
#define XTALMOTIF_CHEM_MOLECULE_H

#include "chem/element.h"
#include "core/geometry.h"
#include "core/handle.h"

#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

namespace xtalmotif {

/// An atom: element, label, formal charge, an optional site and an optional count of hydrogens
/// that are implied rather than present as atoms (structures refined without H sites).
class Atom {
public:
  Atom() = default;
  explicit Atom(const Element& element, std::string label = "", int formal_charge = 0);
  Atom(const Atom&) = default;
  Atom& operator=(const Atom&) = default;
  virtual ~Atom() = default;

  const Element& element() const { return element_; }
  void set_element(const Element& e) { element_ = e; }
  const std::string& label() const { return label_; }
  void set_label(std::string label) { label_ = std::move(label); }
  int formal_charge() const { return formal_charge_; }
  void set_formal_charge(int q) { formal_charge_ = q; }

  /// True when the atom has a 3D site (fractional and orthogonal coordinates).
  bool has_site() const { return !site_.is_null(); }
  /// The site; null when the atom has none.
  const THandle<Site>& site() const { return site_; }
  void set_site(const THandle<Site>& site) { site_ = site; }
  /// Orthogonal coordinates in angstrom; the origin when the atom has no site (ask has_site()).
  Point position() const { return site_ ? site_->orthogonal() : Point(); }

  /// Hydrogens implied on this atom beyond its explicit H neighbours; -1 when unknown.
  int implicit_hydrogens() const { return implicit_hydrogens_; }
  void set_implicit_hydrogens(int n) { implicit_hydrogens_ = n; }

  /// A new atom of the same dynamic kind with the same values; the site is shared (sites are
  /// replaced, never modified in place).
  virtual THandle<Atom> clone() const { return make_handle<Atom>(*this); }
  void print(std::ostream& os) const;

private:
  Element element_;
  std::string label_;
  int formal_charge_ = 0;
  THandle<Site> site_;
  int implicit_hydrogens_ = -1;
};

/// An atom placed in three dimensions. The site may still be null for probe atoms made only to
/// carry an element.
class Atom3d : public Atom {
public:
  Atom3d() = default;
  explicit Atom3d(const Atom& a) : Atom(a) {}
  Atom3d(const Element& element, std::string label, const THandle<Site>& site)
      : Atom(element, std::move(label)) {
    set_site(site);
  }
  THandle<Atom> clone() const override { return THandle<Atom>(make_handle<Atom3d>(*this)); }
};

/// Bond types, numbered as the query files and screens use them.
enum class BondType : int {
  Unknown = 0,
  Single = 1,
  Double = 2,
  Triple = 3,
  Quadruple = 4,
  Aromatic = 5,
  Delocalised = 7,
  Pi = 9
};
const char* bond_type_name(BondType t);

/// A bond between two atoms of one molecule, named by their indices in that molecule.
class Bond {
public:
  Bond(int atom1, int atom2, BondType type = BondType::Unknown)
      : atoms_{{atom1, atom2}}, type_(type) {}
  int atom1() const { return atoms_[0]; }
  int atom2() const { return atoms_[1]; }
  int atom_index(int end) const { return atoms_[end == 0 ? 0 : 1]; }
  /// The atom at the other end from `atom`, or -1 when the bond does not touch it.
  int other(int atom) const {
    return atom == atoms_[0] ? atoms_[1] : atom == atoms_[1] ? atoms_[0] : -1;
  }
  bool joins(int a, int b) const {
    return (atoms_[0] == a && atoms_[1] == b) || (atoms_[0] == b && atoms_[1] == a);
  }
  BondType type() const { return type_; }
  void set_type(BondType t) { type_ = t; }

private:
  friend class Molecule;
  std::array<int, 2> atoms_;
  BondType type_;
};

/// A cursor over a snapshot of a list, in the style `for (it; !it.at_end(); it.next())`.
template <class T> class PolymorphicIterator {
public:
  explicit PolymorphicIterator(std::vector<T> items) : items_(std::move(items)) {}
  bool at_end() const { return pos_ >= items_.size(); }
  const T& current() const { return items_.at(pos_); }
  const T& operator*() const { return current(); }
  void next() { ++pos_; }
  PolymorphicIterator& operator++() {
    ++pos_;
    return *this;
  }
  void reset() { pos_ = 0; }
  std::size_t size() const { return items_.size(); }

private:
  std::vector<T> items_;
  std::size_t pos_ = 0;
};

/// A molecule: atoms with stable indices, bonds between them, and the graph facts that queries
/// need (neighbours, hydrogen counts, ring membership, connected pieces).
///
/// Ring membership is recomputed whenever the bond graph changes, so every query is a plain
/// read and a molecule can be read from several threads at once.
class Molecule {
public:
  Molecule() = default;
  /// Deep copy: new atom and bond objects with the same values (sites are shared).
  Molecule(const Molecule& other);
  Molecule& operator=(const Molecule& other);
  virtual ~Molecule() = default;

  virtual int natoms() const { return static_cast<int>(atoms_.size()); }
  /// Atom `i`; throws std::out_of_range "IndexedTable::at Illegal index: i" when out of range.
  THandle<Atom> atom(int i) const;
  const std::vector<THandle<Atom>>& atoms() const { return atoms_; }
  /// Index of the atom object, or -1.
  int index_of(const Atom* atom) const;
  int index_of(const THandle<Atom>& atom) const { return index_of(atom.get()); }
  int add_atom(const THandle<Atom>& atom);
  /// Room for `n` atoms in all, so that adding them one by one does not move the lists.
  void reserve_atoms(int n);

  int nbonds() const { return static_cast<int>(bonds_.size()); }
  THandle<Bond> bond(int i) const;
  const std::vector<THandle<Bond>>& bonds() const { return bonds_; }
  PolymorphicIterator<THandle<Bond>> bond_iterator() const {
    return PolymorphicIterator<THandle<Bond>>(bonds_);
  }
  /// Index of the bond object, or -1.
  int index_of(const THandle<Bond>& bond) const;
  /// Adds a bond between atoms a and b; throws std::invalid_argument for a bond of an atom to
  /// itself, an atom index out of range or a bond that already exists.
  THandle<Bond> add_bond(int a, int b, BondType type = BondType::Unknown);
  /// Adds many bonds with the same checks as add_bond and one ring update at the end, so that
  /// building a large molecule costs time linear in its size.
  void add_bonds(const std::vector<std::pair<int, int>>& pairs,
                 BondType type = BondType::Unknown);
  /// Adds bonds of the given types whose ring flags are already known, parallel to `pairs`, with
  /// no ring search: for a molecule taken back from a stored copy whose flags were computed when
  /// it was built whole. The molecule must have no bonds yet. The flags are trusted; the other
  /// checks are add_bond's.
  void add_bonds(const std::vector<std::pair<int, int>>& pairs, const std::vector<BondType>& types,
                 const std::vector<char>& ring_bonds);
  /// Removes the bond; false when it is not a bond of this molecule.
  bool remove_bond(const THandle<Bond>& bond);
  /// The bond joining a and b, or a null handle.
  THandle<Bond> bond_between(int a, int b) const;

  /// Indices of the atoms bonded to `atom`, in order of bond addition.
  const std::vector<int>& neighbours(int atom) const;
  /// Indices of the bonds of `atom`, parallel to neighbours().
  const std::vector<int>& bonds_of(int atom) const;
  /// Number of bonded neighbours, hydrogens included.
  int degree(int atom) const { return static_cast<int>(neighbours(atom).size()); }
  /// Explicit H and D neighbours, plus the implied hydrogens when `include_implicit` is set.
  int hydrogen_count(int atom, bool include_implicit = true) const;

  /// True when the atom lies on a cycle of the bond graph.
  bool is_ring_atom(int atom) const;
  /// True when bond `index` lies on a cycle of the bond graph (it is not a bridge).
  bool is_ring_bond(int index) const;

  /// The connected pieces, each a sorted list of atom indices, ordered by their lowest atom.
  std::vector<std::vector<int>> connected_components() const;
  /// A new molecule of the listed atoms (in the given order) and the bonds among them.
  THandle<Molecule> extract(const std::vector<int>& atoms) const;

  /// Hill-order formula such as "C13 H18 O2".
  std::string formula() const;
  void print(std::ostream& os) const;

private:
  void check_atom(int i) const;
  void append_bond(int a, int b, BondType type);
  void reserve_bonds(const std::vector<std::pair<int, int>>& pairs);
  void update_rings();
  // The atoms of the ring bonds, from ring_bond_.
  void mark_ring_atoms();

  std::vector<THandle<Atom>> atoms_;
  std::vector<THandle<Bond>> bonds_;
  std::vector<std::vector<int>> neighbours_;
  std::vector<std::vector<int>> atom_bonds_;
  std::vector<char> ring_bond_;
  std::vector<char> ring_atom_;
};

/// A molecule whose atoms are placed in three dimensions.
class Molecule3d : public Molecule {
public:
  Molecule3d() = default;
  explicit Molecule3d(const Molecule& m) : Molecule(m) {}
};

} // namespace xtalmotif

#endif
