#ifndef XTALMOTIF_CHEM_SUBSTRUCTURE_H
#define XTALMOTIF_CHEM_SUBSTRUCTURE_H

#include "chem/condition.h"
#include "chem/element.h"
#include "core/handle.h"
#include "chem/molecule.h"

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

namespace xtalmotif {

/// A requirement on a matched atom, asked in its molecule's context because hydrogen, bond and
/// ring counts need the neighbours.
class AtomConstraint {
public:
  virtual ~AtomConstraint() = default;
  virtual bool matches(const Molecule& molecule, int atom) const = 0;
  /// A deep copy (conditions are cloned).
  virtual THandle<AtomConstraint> clone() const = 0;
  /// Value equality: same kind and equal settings.
  virtual bool equals(const AtomConstraint& other) const = 0;
  virtual void print(std::ostream& os) const = 0;
};

/// Number of hydrogens on the atom: explicit H/D neighbours, plus implied ones when
/// `include_implicit` is set.
class AtomNHydrogensConstraint : public AtomConstraint {
public:
  AtomNHydrogensConstraint(THandle<Condition> condition, bool include_implicit)
      : condition_(std::move(condition)), include_implicit_(include_implicit) {}
  bool matches(const Molecule& molecule, int atom) const override;
  THandle<AtomConstraint> clone() const override;
  bool equals(const AtomConstraint& other) const override;
  void print(std::ostream& os) const override;
  const THandle<Condition>& condition() const { return condition_; }
  bool include_implicit() const { return include_implicit_; }

private:
  THandle<Condition> condition_;
  bool include_implicit_;
};

/// Number of bonded neighbours, hydrogens included.
class AtomNBondsConstraint : public AtomConstraint {
public:
  explicit AtomNBondsConstraint(THandle<Condition> condition) : condition_(std::move(condition)) {}
  bool matches(const Molecule& molecule, int atom) const override;
  THandle<AtomConstraint> clone() const override;
  bool equals(const AtomConstraint& other) const override;
  void print(std::ostream& os) const override;
  const THandle<Condition>& condition() const { return condition_; }

private:
  THandle<Condition> condition_;
};

/// The atom's formal charge.
class AtomFormalChargeConstraint : public AtomConstraint {
public:
  explicit AtomFormalChargeConstraint(THandle<Condition> condition)
      : condition_(std::move(condition)) {}
  bool matches(const Molecule& molecule, int atom) const override;
  THandle<AtomConstraint> clone() const override;
  bool equals(const AtomConstraint& other) const override;
  void print(std::ostream& os) const override;
  const THandle<Condition>& condition() const { return condition_; }

private:
  THandle<Condition> condition_;
};

/// Ring membership of the atom: 1 requires the atom on a ring, 0 requires it off every ring.
class AtomCyclicityConstraint : public AtomConstraint {
public:
  explicit AtomCyclicityConstraint(int in_ring) : in_ring_(in_ring) {}
  bool matches(const Molecule& molecule, int atom) const override;
  THandle<AtomConstraint> clone() const override;
  bool equals(const AtomConstraint& other) const override;
  void print(std::ostream& os) const override;
  int in_ring() const { return in_ring_; }

private:
  int in_ring_;
};

/// Ring membership of a matched bond: 1 on a ring, 0 not.
class BondCyclicityConstraint {
public:
  explicit BondCyclicityConstraint(int in_ring) : in_ring_(in_ring) {}
  bool matches(const Molecule& molecule, int bond) const;
  int in_ring() const { return in_ring_; }
  bool operator==(const BondCyclicityConstraint& o) const { return in_ring_ == o.in_ring_; }
  void print(std::ostream& os) const;

private:
  int in_ring_;
};

/// A query atom: the elements it may be (an empty list accepts any element) and the constraints
/// a matched atom must meet.
class SubstructureAtom {
public:
  /// Matches any atom.
  SubstructureAtom() = default;
  explicit SubstructureAtom(const Element& element) : elements_{element} {}
  explicit SubstructureAtom(std::vector<Element> elements) : elements_(std::move(elements)) {}
  /// Deep copy: the constraints (and their conditions) are cloned.
  SubstructureAtom(const SubstructureAtom& other);
  SubstructureAtom& operator=(const SubstructureAtom& other);

  const std::vector<Element>& elements() const { return elements_; }
  void add_element(const Element& e);
  /// Removes an element; on an any-element atom the list is first expanded to all 108 codes.
  void remove_element(const Element& e);
  bool allows(const Element& e) const;

  const std::vector<THandle<AtomConstraint>>& constraints() const { return constraints_; }
  void add_constraint(const THandle<AtomConstraint>& c) { constraints_.push_back(c); }

  /// The name the query gives the atom ("AT4" in a query file), printed with every atom it
  /// matches; empty when it has none. A name, not part of what the atom asks for: equality
  /// ignores it.
  const std::string& label() const { return label_; }
  void set_label(std::string label) { label_ = std::move(label); }

  /// Element and every constraint, judged on atom `atom` of `molecule`.
  bool matches(const Molecule& molecule, int atom) const;

  bool operator==(const SubstructureAtom& o) const;
  bool operator!=(const SubstructureAtom& o) const { return !(*this == o); }
  void print(std::ostream& os) const;

private:
  std::vector<Element> elements_;
  std::vector<THandle<AtomConstraint>> constraints_;
  std::string label_;
};

/// A query bond: the bond types it may be (empty accepts any) and ring constraints.
class SubstructureBond {
public:
  SubstructureBond() = default;
  explicit SubstructureBond(BondType type) : types_{type} {}
  explicit SubstructureBond(std::vector<BondType> types) : types_(std::move(types)) {}

  const std::vector<BondType>& types() const { return types_; }
  void add_type(BondType t) { types_.push_back(t); }
  /// Empties the type list so that any bond type matches.
  void clear_types() { types_.clear(); }

  const std::vector<BondCyclicityConstraint>& constraints() const { return constraints_; }
  void add_constraint(const BondCyclicityConstraint& c) { constraints_.push_back(c); }

  /// Type (exact) and ring constraints, judged on bond `bond` of `molecule`.
  bool matches(const Molecule& molecule, int bond) const;

  bool operator==(const SubstructureBond& o) const;
  bool operator!=(const SubstructureBond& o) const { return !(*this == o); }
  void print(std::ostream& os) const;

private:
  std::vector<BondType> types_;
  std::vector<BondCyclicityConstraint> constraints_;
};

/// One query bond of a substructure graph: its two atom indices and the bond query.
struct SubstructureEdge {
  int atom1;
  int atom2;
  THandle<SubstructureBond> bond;
};

/// A query graph of atoms and bonds, searched in molecules by SubstructureSearch.
class Substructure {
public:
  Substructure() = default;
  /// One query atom per atom (its element, no constraints) and one query bond per bond (its
  /// bond type), in the molecule's order.
  explicit Substructure(const Molecule& molecule);
  /// Deep copy of atoms and bonds.
  Substructure(const Substructure& other);
  Substructure& operator=(const Substructure& other);
  virtual ~Substructure() = default;

  /// Adds a query atom (shared, not copied) and returns its index.
  int add(const THandle<SubstructureAtom>& atom);
  /// Adds a query bond between two existing atoms and returns its index; throws
  /// std::invalid_argument for an atom index out of range or an atom bonded to itself.
  int add(const THandle<SubstructureBond>& bond, int atom1, int atom2);

  int nnodes() const { return static_cast<int>(atoms_.size()); }
  int nedges() const { return static_cast<int>(edges_.size()); }
  /// Query atom `i` (range-checked, std::out_of_range).
  THandle<SubstructureAtom> node(int i) const;
  /// Query bond `i` with its atoms (range-checked).
  const SubstructureEdge& edge(int i) const;
  const std::vector<SubstructureEdge>& edges() const { return edges_; }

  std::string name;

  void print(std::ostream& os) const;

private:
  std::vector<THandle<SubstructureAtom>> atoms_;
  std::vector<SubstructureEdge> edges_;
};

/// Value equality: the same name, the same query atoms and the same query bonds in the same order.
bool operator==(const Substructure& a, const Substructure& b);
inline bool operator!=(const Substructure& a, const Substructure& b) { return !(a == b); }

/// Finds every placement of a query graph in a molecule.
class SubstructureSearch {
public:
  /// `max_hits` is the largest number of hits returned; 0 for no limit.
  explicit SubstructureSearch(int max_hits = 0) : max_hits_(max_hits) {}
  void set_max_hits(int n) { max_hits_ = n; }
  int max_hits() const { return max_hits_; }

  /// Every injective mapping of query atoms to molecule atoms that respects elements,
  /// constraints, query bonds and the pre-assigned pairs (query atom -> molecule atom) in
  /// `fixed`. Each hit lists the molecule atom for every query atom in query order. Hits come in
  /// a fixed order: query atoms assigned in order, molecule atoms tried in ascending order.
  std::vector<std::vector<int>> search(const Substructure& query, const Molecule& molecule,
                                       const std::map<int, int>& fixed = {}) const;

  /// The callback form: `on_hit` is called with each hit and returns false to stop.
  template <class F>
  void for_each_match(const Substructure& query, const Molecule& molecule,
                      const std::map<int, int>& fixed, F on_hit) const {
    run(query, molecule, fixed, HitSink(on_hit));
  }

private:
  class HitSink {
  public:
    template <class F> explicit HitSink(F& f) : obj_(&f), call_(&invoke<F>) {}
    bool operator()(const std::vector<int>& hit) const { return call_(obj_, hit); }

  private:
    template <class F> static bool invoke(void* o, const std::vector<int>& hit) {
      return (*static_cast<F*>(o))(hit);
    }
    void* obj_;
    bool (*call_)(void*, const std::vector<int>&);
  };
  void run(const Substructure& query, const Molecule& molecule, const std::map<int, int>& fixed,
           const HitSink& sink) const;

  int max_hits_;
};

} // namespace xtalmotif

#endif
