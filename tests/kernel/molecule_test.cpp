// The bond graph of a molecule: ring atoms and bonds, splitting by removing bonds, adding many
// bonds at once, hydrogen counts with implied hydrogens, and the formula.

#include "kernel/molecule.h"
#include "kernel_test_support.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace xtalmotif {
namespace {

using testing::MoleculeBuilder;

std::vector<int> ring_bonds(const Molecule& m) {
  std::vector<int> out;
  for (int b = 0; b < m.nbonds(); ++b)
    if (m.is_ring_bond(b))
      out.push_back(b);
  return out;
}

TEST(MoleculeRings, RingBondsOfASideChainFusedRingsAndALinkBetweenRings) {
  Molecule ethyl = testing::ethylcyclohexane();
  EXPECT_EQ(ring_bonds(ethyl), (std::vector<int>{0, 1, 2, 3, 4, 5}));
  for (int i = 0; i < 8; ++i)
    EXPECT_EQ(ethyl.is_ring_atom(i), i < 6) << i;
  // Decalin: the shared bond lies on a cycle too.
  MoleculeBuilder d;
  d.chain("C", 10).bond(9, 0).bond(0, 5);
  EXPECT_EQ(ring_bonds(d.molecule()).size(), 11u);
  // Bicyclohexyl: the bond joining the rings belongs to neither.
  MoleculeBuilder bb;
  bb.chain("C", 6).bond(5, 0).chain("C", 6).bond(11, 6).bond(0, 6);
  const Molecule& bicyclohexyl = bb.molecule();
  EXPECT_EQ(ring_bonds(bicyclohexyl).size(), 12u);
  EXPECT_FALSE(bicyclohexyl.is_ring_bond(bicyclohexyl.index_of(bicyclohexyl.bond_between(0, 6))));
}

TEST(MoleculeGraph, RemovingBondsOpensRingsAndSplitsPieces) {
  Molecule m = testing::ethylcyclohexane();
  ASSERT_TRUE(m.remove_bond(m.bond_between(2, 3)));
  EXPECT_EQ(m.nbonds(), 7);
  EXPECT_TRUE(ring_bonds(m).empty());
  EXPECT_FALSE(m.is_ring_atom(0));
  EXPECT_EQ(m.neighbours(2), std::vector<int>{1});
  EXPECT_EQ(m.connected_components().size(), 1u);
  ASSERT_TRUE(m.remove_bond(m.bond_between(0, 6)));
  EXPECT_EQ(m.connected_components(),
            (std::vector<std::vector<int>>{{0, 1, 2, 3, 4, 5}, {6, 7}}));
  // Each atom's bonds still point at the right bonds after renumbering.
  for (int a = 0; a < m.natoms(); ++a)
    for (std::size_t k = 0; k < m.neighbours(a).size(); ++k)
      EXPECT_TRUE(m.bond(m.bonds_of(a)[k])->joins(a, m.neighbours(a)[k]));
  EXPECT_FALSE(m.remove_bond(make_handle<Bond>(0, 1, BondType::Single)));
  // Pieces are sorted and ordered by their lowest atom.
  MoleculeBuilder b;
  int o = b.atom("O"), c = b.atom("C"), h1 = b.atom("H"), h2 = b.atom("H"), h3 = b.atom("H");
  b.atom("Na", 1);
  b.bond(o, h1).bond(c, h2).bond(o, h3);
  EXPECT_EQ(b.molecule().connected_components(),
            (std::vector<std::vector<int>>{{0, 2, 4}, {1, 3}, {5}}));
}

TEST(MoleculeGraph, ManyBondsAtOnceMatchBondsOneByOneAndABadPairStopsThere) {
  // A five-ring fused to a six-ring and a chain, added to a molecule that has a bond already.
  const std::vector<std::pair<int, int>> pairs = {{0, 1}, {1, 2}, {2, 3}, {3, 4}, {4, 5},
                                                  {5, 0}, {5, 6}, {6, 7}, {7, 8}, {8, 0},
                                                  {7, 9}, {9, 10}};
  MoleculeBuilder one, many;
  for (auto* b : {&one, &many}) {
    for (int i = 0; i < 12; ++i)
      b->atom("C");
    b->bond(11, 3, BondType::Double);
  }
  for (const auto& p : pairs)
    one.bond(p.first, p.second, BondType::Unknown);
  many.molecule().add_bonds(pairs);
  const Molecule &a = one.molecule(), &b = many.molecule();
  ASSERT_EQ(a.nbonds(), b.nbonds());
  for (int i = 0; i < a.nbonds(); ++i) {
    EXPECT_TRUE(a.bond(i)->joins(b.bond(i)->atom1(), b.bond(i)->atom2())) << i;
    EXPECT_EQ(a.bond(i)->type(), b.bond(i)->type()) << i;
  }
  EXPECT_EQ(ring_bonds(a), ring_bonds(b));
  for (int i = 0; i < a.natoms(); ++i) {
    EXPECT_EQ(a.neighbours(i), b.neighbours(i)) << i;
    EXPECT_EQ(a.bonds_of(i), b.bonds_of(i)) << i;
    EXPECT_EQ(b.is_ring_atom(i), i <= 8) << i;
  }
  for (const std::pair<int, int>& bad : {std::make_pair(2, 1), std::make_pair(2, 2),
                                        std::make_pair(2, 7), std::make_pair(-1, 2)}) {
    MoleculeBuilder c;
    for (int i = 0; i < 4; ++i)
      c.atom("C");
    EXPECT_THROW(c.molecule().add_bonds({{0, 1}, {1, 2}, bad, {2, 3}}), std::invalid_argument);
    EXPECT_EQ(c.molecule().nbonds(), 2);
    EXPECT_TRUE(c.molecule().neighbours(3).empty());
  }
  EXPECT_THROW(testing::acetic_acid().add_bond(1, 0), std::invalid_argument); // bonded already
}

TEST(MoleculeHydrogens, PlacedAndImpliedHydrogensAndTheFormula) {
  Molecule acid = testing::acetic_acid();
  const int expected[] = {3, 0, 0, 1};
  for (int a = 0; a < 4; ++a)
    EXPECT_EQ(acid.hydrogen_count(a), expected[a]) << a;
  EXPECT_EQ(acid.degree(0), 4);
  Molecule acetate = testing::acetate_without_h();
  EXPECT_EQ(acetate.hydrogen_count(0, true), 3);
  EXPECT_EQ(acetate.hydrogen_count(0, false), 0);
  EXPECT_EQ(acetate.hydrogen_count(3, true), 0); // no count known
  MoleculeBuilder b;
  int n = b.atom_with_implicit_h("N", 1);
  b.bond(n, b.atom("D")).bond(n, b.atom("H")).bond(n, b.atom("C"));
  EXPECT_EQ(b.molecule().hydrogen_count(n, false), 2);
  EXPECT_EQ(b.molecule().hydrogen_count(n, true), 3);
  // Hill order: C, H, then alphabetical; without carbon all alphabetical; implied H counted.
  EXPECT_EQ(acid.formula(), "C2 H4 O2");
  EXPECT_EQ(acetate.formula(), "C2 H3 O2");
  EXPECT_EQ(b.molecule().formula(), "C H2 D N");
  MoleculeBuilder salt;
  salt.atom("Na", 1);
  salt.atom("Cl", -1);
  int o = salt.atom("O");
  salt.hydrogens(o, 2);
  EXPECT_EQ(salt.molecule().formula(), "Cl H2 Na O");
}

} // namespace
} // namespace xtalmotif
