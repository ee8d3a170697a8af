#include "chem/substructure.h"
#include "kernel_test_molecules.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

THandle<Condition> equal_to(double v) { return make_handle<EqualTo>("equal to", v); }

// A hydroxyl oxygen with one hydrogen and two connections, bonded to a carbon.
Substructure hydroxy() {
  Substructure s;
  s.name = "hydroxy";
  auto o = make_handle<SubstructureAtom>(Element("O"));
  o->add_constraint(make_handle<AtomNHydrogensConstraint>(equal_to(1), true));
  o->add_constraint(make_handle<AtomNBondsConstraint>(equal_to(2)));
  s.add(o);
  s.add(make_handle<SubstructureAtom>(Element("C")));
  s.add(make_handle<SubstructureBond>(BondType::Single), 0, 1);
  return s;
}

TEST(SubstructureAtoms, RemovingFromAnyElementExpandsToEveryCodeFirst) {
  SubstructureAtom a;
  EXPECT_TRUE(a.elements().empty());
  EXPECT_TRUE(a.allows(Element("C")));
  a.remove_element(Element("C"));
  ASSERT_EQ(a.elements().size(), 107u);
  EXPECT_EQ(a.elements()[0].code(), 0); // X stays allowed
  EXPECT_EQ(a.elements()[1].code(), 2); // then H, Ac, ... in code order
  for (std::size_t i = 1; i < a.elements().size(); ++i)
    EXPECT_EQ(a.elements()[i].code(), static_cast<int>(i) + 1);
  a.remove_element(Element("H"));
  ASSERT_EQ(a.elements().size(), 106u);
  EXPECT_FALSE(a.allows(Element("C")));
  EXPECT_FALSE(a.allows(Element("H")));
  EXPECT_TRUE(a.allows(Element("D")));
  EXPECT_TRUE(a.allows(Element("N")));
  EXPECT_TRUE(a.allows(Element(107)));
  // Removing an element that is not there changes nothing.
  a.remove_element(Element("C"));
  EXPECT_EQ(a.elements().size(), 106u);
}

TEST(SubstructureAtoms, AddingAndRemovingFromAnExplicitList) {
  SubstructureAtom a(Element("O"));
  a.add_element(Element("N"));
  a.add_element(Element("N")); // already there
  EXPECT_EQ(a.elements(), (std::vector<Element>{Element("O"), Element("N")}));
  EXPECT_FALSE(a.allows(Element("S")));
  a.remove_element(Element("O"));
  EXPECT_EQ(a.elements(), std::vector<Element>{Element("N")});
  // Adding to an atom that already takes any element keeps it open to every element.
  SubstructureAtom any;
  any.add_element(Element("S"));
  EXPECT_TRUE(any.allows(Element("C")));
}

TEST(SubstructureAtoms, CopiesCloneConstraintsAndConditions) {
  SubstructureAtom a(Element("N"));
  auto condition = equal_to(2);
  a.add_constraint(make_handle<AtomNHydrogensConstraint>(condition, true));
  SubstructureAtom b(a);
  ASSERT_EQ(b.constraints().size(), 1u);
  EXPECT_NE(b.constraints()[0].get(), a.constraints()[0].get());
  auto bc = handle_cast<AtomNHydrogensConstraint>(b.constraints()[0]);
  ASSERT_FALSE(bc.is_null());
  EXPECT_NE(bc->condition().get(), condition.get());
  EXPECT_TRUE(*bc->condition() == *condition);
  EXPECT_TRUE(bc->include_implicit());
  EXPECT_TRUE(a == b);

  b.add_constraint(make_handle<AtomCyclicityConstraint>(1));
  EXPECT_EQ(a.constraints().size(), 1u);
  EXPECT_TRUE(a != b);

  SubstructureAtom c;
  c = b;
  EXPECT_TRUE(c == b);
  EXPECT_NE(c.constraints()[1].get(), b.constraints()[1].get());
}

TEST(SubstructureAtoms, ValueEqualityLooksAtElementsAndConstraints) {
  auto with = [](THandle<AtomConstraint> c) {
    SubstructureAtom a(Element("O"));
    a.add_constraint(c);
    return a;
  };
  using NH = AtomNHydrogensConstraint;
  EXPECT_TRUE(with(make_handle<NH>(equal_to(1), true)) == with(make_handle<NH>(equal_to(1), true)));
  EXPECT_FALSE(with(make_handle<NH>(equal_to(1), true)) ==
               with(make_handle<NH>(equal_to(1), false)));
  EXPECT_FALSE(with(make_handle<NH>(equal_to(1), true)) ==
               with(make_handle<NH>(equal_to(2), true)));
  EXPECT_FALSE(with(make_handle<NH>(equal_to(1), true)) ==
               with(make_handle<AtomNBondsConstraint>(equal_to(1))));
  EXPECT_FALSE(with(make_handle<AtomFormalChargeConstraint>(equal_to(1))) ==
               with(make_handle<AtomNBondsConstraint>(equal_to(1))));
  EXPECT_TRUE(with(make_handle<AtomCyclicityConstraint>(0)) ==
              with(make_handle<AtomCyclicityConstraint>(0)));
  EXPECT_FALSE(with(make_handle<AtomCyclicityConstraint>(0)) ==
               with(make_handle<AtomCyclicityConstraint>(1)));
  EXPECT_FALSE(SubstructureAtom(Element("O")) == SubstructureAtom(Element("N")));
  EXPECT_FALSE(SubstructureAtom(Element("O")) == SubstructureAtom());
}

TEST(SubstructureBonds, TypesAndRingConstraints) {
  Molecule m = testing::ethylcyclohexane();
  int ring_bond = m.index_of(m.bond_between(0, 1));
  int chain_bond = m.index_of(m.bond_between(6, 7));
  SubstructureBond any;
  EXPECT_TRUE(any.matches(m, ring_bond));
  SubstructureBond dbl(BondType::Double);
  EXPECT_FALSE(dbl.matches(m, ring_bond));
  SubstructureBond in_ring(BondType::Single);
  in_ring.add_constraint(BondCyclicityConstraint(1));
  EXPECT_TRUE(in_ring.matches(m, ring_bond));
  EXPECT_FALSE(in_ring.matches(m, chain_bond));

  EXPECT_TRUE(SubstructureBond(BondType::Single) == SubstructureBond(BondType::Single));
  EXPECT_FALSE(SubstructureBond(BondType::Single) == SubstructureBond());
  EXPECT_FALSE(in_ring == SubstructureBond(BondType::Single));
}

TEST(SubstructureGraph, BuiltFromAMoleculeAtomByAtom) {
  Molecule acid = testing::acetic_acid();
  Substructure s(acid);
  ASSERT_EQ(s.nnodes(), acid.natoms());
  ASSERT_EQ(s.nedges(), acid.nbonds());
  for (int i = 0; i < s.nnodes(); ++i) {
    EXPECT_EQ(s.node(i)->elements(), std::vector<Element>{acid.atom(i)->element()});
    EXPECT_TRUE(s.node(i)->constraints().empty());
  }
  EXPECT_EQ(s.edge(1).atom1, 1);
  EXPECT_EQ(s.edge(1).atom2, 2);
  EXPECT_EQ(s.edge(1).bond->types(), std::vector<BondType>{BondType::Double});
  EXPECT_TRUE(s.name.empty());
}

TEST(SubstructureGraph, AddChecksItsIndices) {
  Substructure s;
  EXPECT_EQ(s.add(make_handle<SubstructureAtom>()), 0);
  EXPECT_EQ(s.add(make_handle<SubstructureAtom>()), 1);
  EXPECT_EQ(s.add(make_handle<SubstructureBond>(), 0, 1), 0);
  EXPECT_THROW(s.add(make_handle<SubstructureBond>(), 0, 2), std::invalid_argument);
  EXPECT_THROW(s.add(make_handle<SubstructureBond>(), -1, 0), std::invalid_argument);
  EXPECT_THROW(s.add(make_handle<SubstructureBond>(), 1, 1), std::invalid_argument);
  EXPECT_THROW(s.node(2), std::out_of_range);
  EXPECT_THROW(s.edge(1), std::out_of_range);
  EXPECT_EQ(s.nedges(), 1);
  // Atoms are shared when added: changing the handle changes the query.
  auto a = make_handle<SubstructureAtom>(Element("O"));
  int i = s.add(a);
  a->add_element(Element("N"));
  EXPECT_EQ(s.node(i)->elements().size(), 2u);
}

TEST(SubstructureGraph, CopyIsDeep) {
  Substructure original = hydroxy();
  Substructure copy(original);
  EXPECT_TRUE(copy == original);
  EXPECT_NE(copy.node(0).get(), original.node(0).get());
  EXPECT_NE(copy.node(0)->constraints()[0].get(), original.node(0)->constraints()[0].get());
  EXPECT_NE(copy.edge(0).bond.get(), original.edge(0).bond.get());

  copy.node(0)->add_constraint(make_handle<AtomCyclicityConstraint>(0));
  copy.edge(0).bond->add_constraint(BondCyclicityConstraint(0));
  EXPECT_EQ(original.node(0)->constraints().size(), 2u);
  EXPECT_TRUE(original.edge(0).bond->constraints().empty());
  EXPECT_FALSE(copy == original);

  Substructure assigned;
  assigned = original;
  EXPECT_TRUE(assigned == original);
  EXPECT_EQ(assigned.name, "hydroxy");
  EXPECT_NE(assigned.node(1).get(), original.node(1).get());
}

TEST(SubstructureGraph, ValueEqualityOverNameAtomsAndBonds) {
  EXPECT_TRUE(hydroxy() == hydroxy());
  Substructure renamed = hydroxy();
  renamed.name = "OH";
  EXPECT_TRUE(renamed != hydroxy());

  // The same bond written from the other end is the same query.
  Substructure reversed;
  reversed.name = "hydroxy";
  reversed.add(Substructure(hydroxy()).node(0));
  reversed.add(make_handle<SubstructureAtom>(Element("C")));
  reversed.add(make_handle<SubstructureBond>(BondType::Single), 1, 0);
  EXPECT_TRUE(reversed == hydroxy());

  Substructure other_type = hydroxy();
  other_type.edge(0).bond->add_type(BondType::Double);
  EXPECT_TRUE(other_type != hydroxy());

  Substructure extra_atom = hydroxy();
  extra_atom.add(make_handle<SubstructureAtom>());
  EXPECT_TRUE(extra_atom != hydroxy());
}

TEST(SubstructureGraph, PrintsOneLinePerAtomAndBond) {
  Substructure s = hydroxy();
  auto x = make_handle<SubstructureAtom>();
  x->remove_element(Element("C"));
  x->remove_element(Element("H"));
  s.add(x);
  std::ostringstream os;
  s.print(os);
  std::string text = os.str();
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);)
    lines.push_back(line);
  ASSERT_EQ(lines.size(), 1u + 3 + 1) << text; // heading, three atoms, one bond
  EXPECT_NE(lines[0].find("hydroxy"), std::string::npos);
  EXPECT_NE(lines[1].find("O"), std::string::npos);
  EXPECT_NE(lines[1].find("hydrogen count equal to 1"), std::string::npos) << lines[1];
  EXPECT_NE(lines[1].find("connections equal to 2"), std::string::npos) << lines[1];
  EXPECT_NE(lines[3].find("any element except C H"), std::string::npos) << lines[3];
  EXPECT_NE(lines[4].find("0-1"), std::string::npos) << lines[4];
  EXPECT_NE(lines[4].find("single"), std::string::npos) << lines[4];
}

} // namespace
} // namespace xtalmotif
