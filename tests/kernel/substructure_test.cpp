// Query atoms, bonds and graphs as values: element lists, when two queries are the same, and the
// indices a graph accepts.

#include "kernel/substructure.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace xtalmotif {
namespace {

THandle<Condition> equal_to(double v) { return make_handle<EqualTo>("equal to", v); }

TEST(SubstructureAtoms, ElementListsAndRemovalFromAnyElement) {
  // Removing from an any-element atom first lists every code: X stays allowed.
  SubstructureAtom a;
  EXPECT_TRUE(a.allows(Element("C")));
  a.remove_element(Element("C"));
  a.remove_element(Element("H"));
  a.remove_element(Element("C"));
  ASSERT_EQ(a.elements().size(), 106u);
  for (int code = 0; code < Element::ncodes; ++code)
    EXPECT_EQ(a.allows(Element(code)), code != Element::Carbon && code != Element::Hydrogen)
        << code;
  SubstructureAtom o(Element("O"));
  o.add_element(Element("N"));
  o.add_element(Element("N"));
  o.remove_element(Element("O"));
  EXPECT_EQ(o.elements(), std::vector<Element>{Element("N")});
  SubstructureAtom any;
  any.add_element(Element("S")); // still any element
  EXPECT_TRUE(any.allows(Element("C")));
}

// Two queries are the same when they ask the same of the same atoms and bonds, whichever end a
// bond is written from; the library tests rely on this to compare fragments.
TEST(SubstructureGraph, ValueEqualityOverNameAtomsConstraintsAndBonds) {
  using NH = AtomNHydrogensConstraint;
  auto atom = [](THandle<AtomConstraint> c) {
    auto a = make_handle<SubstructureAtom>(Element("O"));
    if (c)
      a->add_constraint(c);
    return a;
  };
  auto hydroxy = [&](THandle<AtomConstraint> c, bool reversed = false) {
    Substructure s;
    s.name = "hydroxy";
    s.add(atom(c));
    s.add(make_handle<SubstructureAtom>(Element("C")));
    s.add(make_handle<SubstructureBond>(BondType::Single), reversed, !reversed);
    return s;
  };
  const Substructure base = hydroxy(make_handle<NH>(equal_to(1), true));
  EXPECT_TRUE(base == hydroxy(make_handle<NH>(equal_to(1), true)));
  EXPECT_TRUE(base == hydroxy(make_handle<NH>(equal_to(1), true), true));
  for (const THandle<AtomConstraint>& other : std::vector<THandle<AtomConstraint>>{
           make_handle<NH>(equal_to(1), false), make_handle<NH>(equal_to(2), true),
           make_handle<AtomNBondsConstraint>(equal_to(1)),
           make_handle<AtomFormalChargeConstraint>(equal_to(1)),
           make_handle<AtomCyclicityConstraint>(1), nullptr})
    EXPECT_TRUE(base != hydroxy(other));
  EXPECT_TRUE(*atom(make_handle<AtomCyclicityConstraint>(0)) !=
              *atom(make_handle<AtomCyclicityConstraint>(1)));
  Substructure renamed = base, other_type = base, ring_bond = base, extra_atom = base;
  renamed.name = "OH";
  other_type.edge(0).bond->add_type(BondType::Double);
  ring_bond.edge(0).bond->add_constraint(BondCyclicityConstraint(1));
  extra_atom.add(make_handle<SubstructureAtom>());
  for (const Substructure* s : {&renamed, &other_type, &ring_bond, &extra_atom})
    EXPECT_TRUE(*s != base);
  EXPECT_TRUE(SubstructureAtom(Element("O")) != SubstructureAtom());
}

TEST(SubstructureGraph, BondsNeedTwoDifferentExistingAtoms) {
  Substructure s;
  s.add(make_handle<SubstructureAtom>());
  s.add(make_handle<SubstructureAtom>());
  EXPECT_EQ(s.add(make_handle<SubstructureBond>(), 0, 1), 0);
  for (const auto& [a, b] : {std::make_pair(0, 2), std::make_pair(-1, 0), std::make_pair(1, 1)})
    EXPECT_THROW(s.add(make_handle<SubstructureBond>(), a, b), std::invalid_argument);
  EXPECT_EQ(s.nedges(), 1);
  EXPECT_THROW(s.node(2), std::out_of_range);
}

} // namespace
} // namespace xtalmotif
