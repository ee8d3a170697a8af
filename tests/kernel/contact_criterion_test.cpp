#include "chem/contact_criterion.h"
#include "kernel_test_molecules.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>

namespace xtalmotif {
namespace {

using testing::MoleculeBuilder;

THandle<ElementSet> set_of(std::initializer_list<int> z) { return make_handle<ElementSet>(z); }

CombinedCriterion donor_acceptor(bool symmetric) {
  // First end O (8), second end N (7).
  return CombinedCriterion(true, 0.0, -5.0, ContactType::Inter, 4, 999, symmetric, set_of({8}),
                           set_of({7}));
}

// Atoms 0 O, 1 N, 2 C, 3 H, 4 D, unbonded.
Molecule five_atoms() {
  MoleculeBuilder b;
  b.atom("O");
  b.atom("N");
  b.atom("C");
  b.atom("H");
  b.atom("D");
  return b.molecule();
}

TEST(ContactCriterion, ElementSetsHoldAtomicNumbers) {
  Molecule m = five_atoms();
  CombinedCriterion c = donor_acceptor(false);
  EXPECT_TRUE(c.test_first_atom(m, 0));
  EXPECT_FALSE(c.test_first_atom(m, 1));
  EXPECT_FALSE(c.test_first_atom(m, 2));
  EXPECT_FALSE(c.test_second_atom(m, 0));
  EXPECT_TRUE(c.test_second_atom(m, 1));
  EXPECT_FALSE(c.test_second_atom(m, 2));

  // Hydrogen and deuterium share atomic number 1.
  CombinedCriterion h(false, 2.5, 0.0, ContactType::Any, 4, 999, false, set_of({1}), nullptr);
  EXPECT_TRUE(h.test_first_atom(m, 3));
  EXPECT_TRUE(h.test_first_atom(m, 4));
  EXPECT_FALSE(h.test_first_atom(m, 0));
  EXPECT_TRUE(h.test_second_atom(m, 2)); // null second set: accepts any atom
  EXPECT_THROW(h.test_first_atom(m, 5), std::out_of_range);
}

TEST(ContactCriterion, SymmetricSetsApplyInEitherOrder) {
  Molecule m = five_atoms();
  CombinedCriterion c = donor_acceptor(true);
  for (int atom : {0, 1}) {
    EXPECT_TRUE(c.test_first_atom(m, atom)) << atom;
    EXPECT_TRUE(c.test_second_atom(m, atom)) << atom;
  }
  EXPECT_FALSE(c.test_first_atom(m, 2));
  EXPECT_FALSE(c.test_second_atom(m, 2));
  // With one set empty a symmetric criterion accepts anything at both ends.
  CombinedCriterion open(true, 0.0, -5.0, ContactType::Inter, 4, 999, true, set_of({8}),
                         make_handle<ElementSet>());
  EXPECT_TRUE(open.test_first_atom(m, 2));
  EXPECT_TRUE(open.test_second_atom(m, 2));
  CombinedCriterion closed(true, 0.0, -5.0, ContactType::Inter, 4, 999, false, set_of({8}),
                           make_handle<ElementSet>());
  EXPECT_FALSE(closed.test_first_atom(m, 2));
  EXPECT_TRUE(closed.test_second_atom(m, 2));
}

TEST(ContactCriterion, AbsoluteDistanceLimitsAreExclusive) {
  CombinedCriterion c(false, 3.25, 2.5, ContactType::Inter, 4, 999, false, nullptr, nullptr);
  EXPECT_FALSE(c.test_distance(2.5, 1.0, 1.0));
  EXPECT_TRUE(c.test_distance(2.5000001, 1.0, 1.0));
  EXPECT_TRUE(c.test_distance(3.0, 1.0, 1.0));
  EXPECT_TRUE(c.test_distance(3.2499999, 1.0, 1.0));
  EXPECT_FALSE(c.test_distance(3.25, 1.0, 1.0));
  // The radii play no part.
  EXPECT_TRUE(c.test_distance(3.0, 10.0, 10.0));
  EXPECT_DOUBLE_EQ(c.max_distance(10.0, 10.0), 3.25);
}

TEST(ContactCriterion, VanDerWaalsRelativeLimitsAreExclusiveOffsets) {
  // Radii 1.5 + 1.5: window (3.0 - 0.5, 3.0 + 0.25) = (2.5, 3.25), all exact in binary.
  CombinedCriterion c(true, 0.25, -0.5, ContactType::Inter, 4, 999, false, nullptr, nullptr);
  EXPECT_FALSE(c.test_distance(2.5, 1.5, 1.5));
  EXPECT_TRUE(c.test_distance(2.5000001, 1.5, 1.5));
  EXPECT_TRUE(c.test_distance(3.0, 1.5, 1.5));
  EXPECT_FALSE(c.test_distance(3.25, 1.5, 1.5));
  EXPECT_TRUE(c.test_distance(3.2499999, 1.5, 1.5));
  EXPECT_DOUBLE_EQ(c.max_distance(1.5, 1.5), 3.25);
  // Smaller atoms, smaller window.
  EXPECT_FALSE(c.test_distance(3.0, 1.0, 1.0));

  // The default contact: anything shorter than the radius sum, O...N 1.52 + 1.55 = 3.07.
  VdWCriterion touching(0.0, -5.0, ContactType::Inter, 4, 999, false, nullptr, nullptr);
  double r_o = Element("O").vdw_radius(), r_n = Element("N").vdw_radius();
  EXPECT_TRUE(touching.is_vdw_relative());
  EXPECT_TRUE(touching.test_distance(2.9, r_o, r_n));
  EXPECT_FALSE(touching.test_distance(3.1, r_o, r_n));
  touching.set_upper_offset(0.5);
  EXPECT_DOUBLE_EQ(touching.upper(), 0.5);
  EXPECT_TRUE(touching.test_distance(3.5, r_o, r_n));
  EXPECT_DOUBLE_EQ(touching.lower_offset(), -5.0);
}

TEST(ContactCriterion, PathLengthsAreShortestBondPaths) {
  // Hexane chain 0-5, a cyclohexane 6-11, and a lone atom 12.
  MoleculeBuilder b;
  for (int i = 0; i < 13; ++i)
    b.atom("C");
  for (int i = 0; i < 5; ++i)
    b.bond(i, i + 1);
  for (int i = 0; i < 6; ++i)
    b.bond(6 + i, 6 + (i + 1) % 6);
  const Molecule &m = b.molecule();
  CombinedCriterion c(true, 0.0, -5.0, ContactType::Intra, 4, 999, false, nullptr, nullptr);
  EXPECT_TRUE(c.test_path(m, 0, 5));  // 5 bonds
  EXPECT_TRUE(c.test_path(m, 0, 4));  // 4 bonds: the lower end is included
  EXPECT_FALSE(c.test_path(m, 0, 3)); // 3 bonds
  EXPECT_FALSE(c.test_path(m, 3, 0));
  EXPECT_FALSE(c.test_path(m, 2, 2)); // an atom is 0 bonds from itself
  // Round the ring the short way: 6 to 10 is 2 bonds, not 4.
  EXPECT_FALSE(c.test_path(m, 6, 10));
  // No path at all: different pieces pass.
  EXPECT_TRUE(c.test_path(m, 0, 6));
  EXPECT_TRUE(c.test_path(m, 12, 3));

  CombinedCriterion near(true, 0.0, -5.0, ContactType::Intra, 0, 2, false, nullptr, nullptr);
  EXPECT_TRUE(near.test_path(m, 2, 2));
  EXPECT_TRUE(near.test_path(m, 6, 10));
  EXPECT_TRUE(near.test_path(m, 1, 3));
  EXPECT_FALSE(near.test_path(m, 1, 4)); // the upper end: 3 > 2
  EXPECT_FALSE(near.test_path(m, 6, 9)); // opposite ring atoms, 3 bonds either way
  EXPECT_THROW(near.test_path(m, 0, 13), std::out_of_range);
}

TEST(ContactCriterion, ValueEqualityOverEveryField) {
  CombinedCriterion a = donor_acceptor(false);
  EXPECT_TRUE(a == donor_acceptor(false));
  auto differs = [&](auto change) {
    CombinedCriterion b = a;
    change(b);
    return a != b;
  };
  EXPECT_TRUE(differs([](CombinedCriterion &b) { b.set_vdw_relative(false); }));
  EXPECT_TRUE(differs([](CombinedCriterion &b) { b.set_upper(0.1); }));
  EXPECT_TRUE(differs([](CombinedCriterion &b) { b.set_lower(-4.0); }));
  EXPECT_TRUE(differs([](CombinedCriterion &b) { b.set_contact_type(ContactType::Any); }));
  EXPECT_TRUE(differs([](CombinedCriterion &b) { b.first_elements().insert(7); }));
  EXPECT_TRUE(differs([](CombinedCriterion &b) { b.second_elements().clear(); }));
  EXPECT_TRUE(a != donor_acceptor(true));
  EXPECT_TRUE(a != CombinedCriterion(true, 0.0, -5.0, ContactType::Inter, 3, 999, false,
                                     set_of({8}), set_of({7})));
  EXPECT_TRUE(a != CombinedCriterion(true, 0.0, -5.0, ContactType::Inter, 4, 998, false,
                                     set_of({8}), set_of({7})));
  // Sets compare by content, not by handle; null sets are empty sets.
  CombinedCriterion n1(true, 0.0, -5.0, ContactType::Inter, 4, 999, false, nullptr, nullptr);
  CombinedCriterion n2(true, 0.0, -5.0, ContactType::Inter, 4, 999, false,
                       make_handle<ElementSet>(), make_handle<ElementSet>());
  EXPECT_TRUE(n1 == n2);
  EXPECT_TRUE(n1.first_elements().empty());
}

TEST(ContactCriterion, CopiesOwnTheirElementSets) {
  auto first = set_of({8});
  CombinedCriterion a(true, 0.0, -5.0, ContactType::Inter, 4, 999, false, first, nullptr);
  CombinedCriterion b(a);
  b.first_elements().insert(7);
  EXPECT_EQ(a.first_elements(), ElementSet{8});
  EXPECT_EQ(b.first_elements(), (ElementSet{7, 8}));
  CombinedCriterion c = donor_acceptor(true);
  c = a;
  EXPECT_TRUE(c == a);
  c.second_elements().insert(1);
  EXPECT_TRUE(a.second_elements().empty());
}

TEST(ContactCriterion, ContactTypeNames) {
  EXPECT_STREQ(contact_type_name(ContactType::Inter), "INTER");
  EXPECT_STREQ(contact_type_name(ContactType::Intra), "INTRA");
  EXPECT_STREQ(contact_type_name(ContactType::Any), "ANY");
  EXPECT_STREQ(contact_type_name(static_cast<ContactType>(7)), "UNKNOWN");
  EXPECT_EQ(static_cast<int>(ContactType::Inter), 1);
  EXPECT_EQ(static_cast<int>(ContactType::Intra), 2);
  EXPECT_EQ(static_cast<int>(ContactType::Any), 3);

  std::ostringstream os;
  donor_acceptor(true).print(os);
  EXPECT_NE(os.str().find("INTER"), std::string::npos) << os.str();
  EXPECT_NE(os.str().find("{8}"), std::string::npos) << os.str();
}

} // namespace
} // namespace xtalmotif
