#include "chem/molecule.h"
#include "kernel_test_molecules.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

using testing::MoleculeBuilder;

TEST(MoleculeRings, CyclohexaneRingWithAnEthylSideChain) {
  Molecule m = testing::ethylcyclohexane();
  ASSERT_EQ(m.natoms(), 8);
  ASSERT_EQ(m.nbonds(), 8);
  for (int i = 0; i < 6; ++i)
    EXPECT_TRUE(m.is_ring_atom(i)) << i;
  EXPECT_FALSE(m.is_ring_atom(6));
  EXPECT_FALSE(m.is_ring_atom(7));
  for (int b = 0; b < m.nbonds(); ++b) {
    const Bond &bond = *m.bond(b);
    bool in_ring = bond.atom1() < 6 && bond.atom2() < 6;
    EXPECT_EQ(m.is_ring_bond(b), in_ring) << bond.atom1() << "-" << bond.atom2();
  }
}

TEST(MoleculeRings, FusedRingsAndTheBondBetweenTwoRings) {
  // Decalin: two six-rings sharing the bond 0-5; the shared bond lies on a cycle too.
  MoleculeBuilder d;
  for (int i = 0; i < 10; ++i)
    d.atom("C");
  for (int i = 0; i < 5; ++i)
    d.bond(i, i + 1);
  d.bond(5, 0).bond(5, 6).bond(6, 7).bond(7, 8).bond(8, 9).bond(9, 0);
  const Molecule &decalin = d.molecule();
  for (int b = 0; b < decalin.nbonds(); ++b)
    EXPECT_TRUE(decalin.is_ring_bond(b)) << b;

  // Bicyclohexyl: two rings joined by one bond that belongs to neither.
  MoleculeBuilder bb;
  for (int i = 0; i < 12; ++i)
    bb.atom("C");
  for (int i = 0; i < 6; ++i) {
    bb.bond(i, (i + 1) % 6);
    bb.bond(6 + i, 6 + (i + 1) % 6);
  }
  bb.bond(0, 6);
  const Molecule &bicyclohexyl = bb.molecule();
  int link = bicyclohexyl.index_of(bicyclohexyl.bond_between(0, 6));
  ASSERT_GE(link, 0);
  for (int b = 0; b < bicyclohexyl.nbonds(); ++b)
    EXPECT_EQ(bicyclohexyl.is_ring_bond(b), b != link) << b;
  for (int i = 0; i < 12; ++i)
    EXPECT_TRUE(bicyclohexyl.is_ring_atom(i));
}

TEST(MoleculeRings, RemovingABondOpensTheRingAndCanSplitTheMolecule) {
  Molecule m = testing::ethylcyclohexane();
  ASSERT_TRUE(m.remove_bond(m.bond_between(2, 3)));
  EXPECT_EQ(m.nbonds(), 7);
  EXPECT_TRUE(m.bond_between(2, 3).is_null());
  for (int b = 0; b < m.nbonds(); ++b)
    EXPECT_FALSE(m.is_ring_bond(b)) << b;
  for (int i = 0; i < m.natoms(); ++i)
    EXPECT_FALSE(m.is_ring_atom(i)) << i;
  EXPECT_EQ(m.neighbours(2), std::vector<int>{1});
  EXPECT_EQ(m.neighbours(3), std::vector<int>{4});
  EXPECT_EQ(m.connected_components().size(), 1u);

  // Cutting the chain now splits the molecule in two.
  ASSERT_TRUE(m.remove_bond(m.bond_between(0, 6)));
  auto pieces = m.connected_components();
  ASSERT_EQ(pieces.size(), 2u);
  EXPECT_EQ(pieces[0], (std::vector<int>{0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(pieces[1], (std::vector<int>{6, 7}));
  // Bonds of each atom still point at the right bonds after renumbering.
  for (int a = 0; a < m.natoms(); ++a)
    for (std::size_t k = 0; k < m.neighbours(a).size(); ++k)
      EXPECT_TRUE(m.bond(m.bonds_of(a)[k])->joins(a, m.neighbours(a)[k]));

  // A bond that is not in the molecule is refused.
  auto stranger = make_handle<Bond>(0, 1, BondType::Single);
  EXPECT_FALSE(m.remove_bond(stranger));
  EXPECT_EQ(m.nbonds(), 6);
}

TEST(MoleculeHydrogens, ExplicitNeighboursAndImpliedHydrogens) {
  Molecule acid = testing::acetic_acid();
  EXPECT_EQ(acid.hydrogen_count(0), 3); // methyl
  EXPECT_EQ(acid.hydrogen_count(1), 0); // carboxyl C
  EXPECT_EQ(acid.hydrogen_count(2), 0); // C=O
  EXPECT_EQ(acid.hydrogen_count(3), 1); // O-H
  EXPECT_EQ(acid.degree(0), 4);
  EXPECT_EQ(acid.degree(3), 2);

  Molecule acetate = testing::acetate_without_h();
  EXPECT_EQ(acetate.hydrogen_count(0, true), 3);
  EXPECT_EQ(acetate.hydrogen_count(0, false), 0);
  EXPECT_EQ(acetate.hydrogen_count(3, true), 0); // no count known: -1 adds nothing

  // Deuterium counts as hydrogen; implied hydrogens add to the placed ones.
  MoleculeBuilder b;
  int n = b.atom_with_implicit_h("N", 1);
  b.bond(n, b.atom("D")).bond(n, b.atom("H")).bond(n, b.atom("C"));
  EXPECT_EQ(b.molecule().hydrogen_count(n, false), 2);
  EXPECT_EQ(b.molecule().hydrogen_count(n, true), 3);
}

TEST(MoleculeGraph, ConnectedPiecesAreSortedAndOrderedByTheirLowestAtom) {
  // Water (0, 2, 4) and methane carbon with one H (1, 3), interleaved, plus a lone ion (5).
  MoleculeBuilder b;
  int o = b.atom("O"), c = b.atom("C"), h1 = b.atom("H"), h2 = b.atom("H"), h3 = b.atom("H");
  b.atom("Na", 1);
  b.bond(o, h1).bond(c, h2).bond(o, h3);
  auto pieces = b.molecule().connected_components();
  ASSERT_EQ(pieces.size(), 3u);
  EXPECT_EQ(pieces[0], (std::vector<int>{0, 2, 4}));
  EXPECT_EQ(pieces[1], (std::vector<int>{1, 3}));
  EXPECT_EQ(pieces[2], (std::vector<int>{5}));
}

TEST(MoleculeGraph, NeighboursBondsAndErrors) {
  Molecule m = testing::acetic_acid();
  EXPECT_EQ(m.neighbours(1), (std::vector<int>{0, 2, 3}));
  EXPECT_EQ(m.bond_between(1, 2)->type(), BondType::Double);
  EXPECT_EQ(m.bond_between(2, 1)->type(), BondType::Double);
  EXPECT_TRUE(m.bond_between(0, 2).is_null());
  EXPECT_TRUE(m.bond_between(-1, 2).is_null());

  int n = 0;
  for (auto it = m.bond_iterator(); !it.at_end(); it.next())
    n += (*it)->type() == BondType::Single;
  EXPECT_EQ(n, 6);

  EXPECT_THROW(m.add_bond(0, 0), std::invalid_argument);
  EXPECT_THROW(m.add_bond(0, 1), std::invalid_argument); // already bonded
  EXPECT_THROW(m.add_bond(1, 0), std::invalid_argument); // in either order
  EXPECT_THROW(m.add_bond(0, 8), std::invalid_argument);
  try {
    m.atom(8);
    FAIL();
  } catch (const std::out_of_range &e) {
    EXPECT_STREQ(e.what(), "IndexedTable::at Illegal index: 8");
  }
  EXPECT_THROW(m.atom(-1), std::out_of_range);
  EXPECT_THROW(m.neighbours(8), std::out_of_range);
  EXPECT_THROW(m.bond(7), std::out_of_range);
  EXPECT_THROW(m.is_ring_bond(7), std::out_of_range);
}

TEST(MoleculeGraph, ManyBondsAtOnceMatchBondsOneByOne) {
  // Indane-like: a five-ring fused to a six-ring, a chain, and bonds added to a molecule that
  // already has some, so that the lists of an atom grow from a non-empty start.
  const std::vector<std::pair<int, int>> pairs = {{0, 1}, {1, 2}, {2, 3}, {3, 4}, {4, 5},
                                                  {5, 0}, {5, 6}, {6, 7}, {7, 8}, {8, 0},
                                                  {7, 9}, {9, 10}};
  MoleculeBuilder one, many;
  for (int i = 0; i < 12; ++i) {
    one.atom("C");
    many.atom("C");
  }
  one.bond(11, 3, BondType::Double);
  many.bond(11, 3, BondType::Double);
  for (const auto &p : pairs)
    one.bond(p.first, p.second, BondType::Unknown);
  many.molecule().add_bonds(pairs);
  const Molecule &a = one.molecule(), &b = many.molecule();
  ASSERT_EQ(a.nbonds(), b.nbonds());
  for (int i = 0; i < a.nbonds(); ++i) {
    EXPECT_EQ(a.bond(i)->atom1(), b.bond(i)->atom1()) << i;
    EXPECT_EQ(a.bond(i)->atom2(), b.bond(i)->atom2()) << i;
    EXPECT_EQ(a.bond(i)->type(), b.bond(i)->type()) << i;
    EXPECT_EQ(a.is_ring_bond(i), b.is_ring_bond(i)) << i;
  }
  for (int i = 0; i < a.natoms(); ++i) {
    EXPECT_EQ(a.neighbours(i), b.neighbours(i)) << i;
    EXPECT_EQ(a.bonds_of(i), b.bonds_of(i)) << i;
    EXPECT_EQ(a.is_ring_atom(i), b.is_ring_atom(i)) << i;
  }
  EXPECT_TRUE(b.is_ring_atom(0));
  EXPECT_TRUE(b.is_ring_atom(8));
  EXPECT_FALSE(b.is_ring_atom(9));
  EXPECT_FALSE(b.is_ring_atom(10));
  EXPECT_FALSE(b.is_ring_bond(b.index_of(b.bond_between(3, 11))));

  // A bad pair stops the list there: the bonds before it are in, the ones after it are not.
  for (const std::vector<std::pair<int, int>> &bad :
       {std::vector<std::pair<int, int>>{{0, 1}, {1, 2}, {2, 1}, {2, 3}},
        std::vector<std::pair<int, int>>{{0, 1}, {1, 2}, {2, 2}, {2, 3}},
        std::vector<std::pair<int, int>>{{0, 1}, {1, 2}, {2, 7}, {2, 3}},
        std::vector<std::pair<int, int>>{{0, 1}, {1, 2}, {-1, 2}, {2, 3}}}) {
    MoleculeBuilder c;
    for (int i = 0; i < 4; ++i)
      c.atom("C");
    EXPECT_THROW(c.molecule().add_bonds(bad), std::invalid_argument);
    EXPECT_EQ(c.molecule().nbonds(), 2);
    EXPECT_EQ(c.molecule().neighbours(2), std::vector<int>{1});
    EXPECT_TRUE(c.molecule().neighbours(3).empty());
  }
}

TEST(MoleculeCopy, CopyIsDeepButSharesSites) {
  Molecule original = testing::acetic_acid();
  auto site = make_handle<Site>(Point(0.1, 0.2, 0.3), Point(1, 2, 3));
  auto placed = make_handle<Atom3d>(Element("O"), "O9", site);
  int o9 = original.add_atom(THandle<Atom>(placed));
  original.add_bond(0, o9);

  Molecule copy(original);
  ASSERT_EQ(copy.natoms(), original.natoms());
  ASSERT_EQ(copy.nbonds(), original.nbonds());
  for (int i = 0; i < copy.natoms(); ++i)
    EXPECT_NE(copy.atom(i).get(), original.atom(i).get()) << i;
  for (int b = 0; b < copy.nbonds(); ++b)
    EXPECT_NE(copy.bond(b).get(), original.bond(b).get()) << b;

  copy.atom(2)->set_label("changed");
  copy.atom(3)->set_formal_charge(-1);
  copy.bond(0)->set_type(BondType::Triple);
  copy.remove_bond(copy.bond_between(3, 4));
  EXPECT_EQ(original.atom(2)->label(), "O3");
  EXPECT_EQ(original.atom(3)->formal_charge(), 0);
  EXPECT_EQ(original.bond(0)->type(), BondType::Single);
  EXPECT_FALSE(original.bond_between(3, 4).is_null());

  // The atom keeps its dynamic kind and its (shared) site.
  EXPECT_NE(handle_cast<Atom3d>(copy.atom(o9)).get(), nullptr);
  EXPECT_EQ(copy.atom(o9)->site().get(), site.get());
  EXPECT_EQ(copy.atom(o9)->position(), Point(1, 2, 3));
  EXPECT_FALSE(copy.atom(0)->has_site());

  Molecule assigned;
  assigned = original;
  EXPECT_EQ(assigned.natoms(), original.natoms());
  EXPECT_NE(assigned.atom(0).get(), original.atom(0).get());
  EXPECT_EQ(assigned.neighbours(1), original.neighbours(1));
}

TEST(MoleculeGraph, ExtractKeepsTheBondsAmongTheChosenAtoms) {
  Molecule m = testing::ethylcyclohexane();
  // The side chain and its ring atom, listed in a new order.
  auto piece = m.extract({7, 6, 0, 1});
  ASSERT_EQ(piece->natoms(), 4);
  ASSERT_EQ(piece->nbonds(), 3);
  EXPECT_FALSE(piece->bond_between(0, 1).is_null()); // 7-6
  EXPECT_FALSE(piece->bond_between(1, 2).is_null()); // 6-0
  EXPECT_FALSE(piece->bond_between(2, 3).is_null()); // 0-1
  EXPECT_TRUE(piece->bond_between(0, 3).is_null());
  for (int b = 0; b < piece->nbonds(); ++b)
    EXPECT_FALSE(piece->is_ring_bond(b));
  EXPECT_THROW(m.extract({0, 0}), std::invalid_argument);
}

TEST(MoleculeGraph, FormulaInHillOrder) {
  EXPECT_EQ(testing::acetic_acid().formula(), "C2 H4 O2");
  EXPECT_EQ(testing::acetate_without_h().formula(), "C2 H3 O2"); // implied H counted
  MoleculeBuilder water;
  int o = water.atom("O");
  water.hydrogens(o, 2);
  EXPECT_EQ(water.molecule().formula(), "H2 O"); // no carbon: alphabetical
  MoleculeBuilder salt;
  salt.atom("Na", 1);
  salt.atom("Cl", -1);
  EXPECT_EQ(salt.molecule().formula(), "Cl Na");
}

} // namespace
} // namespace xtalmotif
