#ifndef XTALMOTIF_TESTS_LIBRARY_LIBRARY_TEST_HELPERS_H
#define XTALMOTIF_TESTS_LIBRARY_LIBRARY_TEST_HELPERS_H

// Compact text descriptions of query graphs, so that a test can state a whole fragment (atoms in
// order with their constraints, bonds with their types and ring requirements) in one line and
// compare it with what a builder made.

#include "chem/condition.h"
#include "chem/element.h"
#include "chem/molecule.h"
#include "chem/substructure.h"

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

namespace xtalmotif::testing {

inline std::string number_text(double v) {
  std::ostringstream os;
  os << v;
  return os.str();
}

/// "=2" for an EqualTo of 2 named "equal to", ">0" for a Greater of 0 named "greater than";
/// anything else (a wrong verb included) is spelled out so that a mismatch shows.
inline std::string condition_text(const Condition &c) {
  if (auto *eq = dynamic_cast<const EqualTo *>(&c))
    return (c.name() == "equal to" ? "=" : "?" + c.name() + "=") + number_text(eq->value());
  if (auto *gt = dynamic_cast<const Greater *>(&c))
    return (c.name() == "greater than" ? ">" : "?" + c.name() + ">") + number_text(gt->threshold());
  if (auto *r = dynamic_cast<const InclusiveRange *>(&c))
    return "[" + c.name() + " " + number_text(r->low()) + "," + number_text(r->high()) + "]";
  return "?";
}

/// NH=1 (hydrogen count, implicit hydrogens included), NB=2, Q=-1, ring=1.
inline std::string constraint_text(const AtomConstraint &c) {
  if (auto *nh = dynamic_cast<const AtomNHydrogensConstraint *>(&c))
    return std::string(nh->include_implicit() ? "NH" : "NHexplicit") +
           condition_text(*nh->condition());
  if (auto *nb = dynamic_cast<const AtomNBondsConstraint *>(&c))
    return "NB" + condition_text(*nb->condition());
  if (auto *q = dynamic_cast<const AtomFormalChargeConstraint *>(&c))
    return "Q" + condition_text(*q->condition());
  if (auto *r = dynamic_cast<const AtomCyclicityConstraint *>(&c))
    return "ring=" + std::to_string(r->in_ring());
  return "?";
}

/// "*" for any element, "het" for every element code except C and H, else the symbols joined by
/// "|" in list order.
inline std::string elements_text(const SubstructureAtom &atom) {
  const auto &els = atom.elements();
  if (els.empty())
    return "*";
  if (static_cast<int>(els.size()) == Element::ncodes - 2 &&
      !atom.allows(Element(Element::Carbon)) && !atom.allows(Element(Element::Hydrogen)))
    return "het";
  std::string s;
  for (std::size_t i = 0; i < els.size(); ++i)
    s += (i ? "|" : "") + els[i].symbol();
  return s;
}

/// "O[NH=0,NB=1]" or plain "C".
inline std::string atom_text(const SubstructureAtom &atom) {
  std::string s = elements_text(atom);
  if (!atom.constraints().empty()) {
    s += "[";
    for (std::size_t i = 0; i < atom.constraints().size(); ++i)
      s += (i ? "," : "") + constraint_text(*atom.constraints()[i]);
    s += "]";
  }
  return s;
}

/// "0-2:2" (atoms smaller index first, then the type number), "1-2:*" for an untyped bond,
/// "1-2:*/ring1" with a ring requirement.
inline std::string bond_text(const SubstructureEdge &e) {
  std::string s = std::to_string(std::min(e.atom1, e.atom2)) + "-" +
                  std::to_string(std::max(e.atom1, e.atom2)) + ":";
  const auto &types = e.bond->types();
  if (types.empty())
    s += "*";
  for (std::size_t i = 0; i < types.size(); ++i)
    s += (i ? "|" : "") + std::to_string(static_cast<int>(types[i]));
  for (const auto &rc : e.bond->constraints())
    s += "/ring" + std::to_string(rc.in_ring());
  return s;
}

inline std::vector<std::string> atoms_text(const Substructure &sub) {
  std::vector<std::string> v;
  for (int i = 0; i < sub.nnodes(); ++i)
    v.push_back(atom_text(*sub.node(i)));
  return v;
}

inline std::vector<std::string> bonds_text(const Substructure &sub) {
  std::vector<std::string> v;
  for (const auto &e : sub.edges())
    v.push_back(bond_text(e));
  return v;
}

} // namespace xtalmotif::testing

#endif
