#include "chem/substructure.h"
#include "kernel_test_molecules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <stdexcept>
#include <vector>

namespace xtalmotif {
namespace {

using Hits = std::vector<std::vector<int>>;
using testing::MoleculeBuilder;

THandle<SubstructureAtom> query_atom(const char *symbol) {
  return make_handle<SubstructureAtom>(Element(symbol));
}
THandle<SubstructureBond> query_bond(BondType t) { return make_handle<SubstructureBond>(t); }
THandle<SubstructureBond> any_bond() { return make_handle<SubstructureBond>(); }
THandle<Condition> equal_to(double v) { return make_handle<EqualTo>("equal to", v); }

Hits run(const Substructure &q, const Molecule &m, const std::map<int, int> &fixed = {},
         int max_hits = 0) {
  return SubstructureSearch(max_hits).search(q, m, fixed);
}

// Reference matcher: tries every injective assignment in lexicographic order and checks the
// whole hit at the end. Slow, but plainly right.
void brute_force(const Substructure &q, const Molecule &m, std::vector<int> &hit,
                 std::vector<char> &used, Hits &out) {
  int k = static_cast<int>(hit.size());
  if (k == q.nnodes()) {
    for (const auto &e : q.edges()) {
      auto b = m.bond_between(hit[e.atom1], hit[e.atom2]);
      if (b.is_null() || !e.bond->matches(m, m.index_of(b)))
        return;
    }
    out.push_back(hit);
    return;
  }
  for (int a = 0; a < m.natoms(); ++a) {
    if (used[a] || !q.node(k)->matches(m, a))
      continue;
    used[a] = 1;
    hit.push_back(a);
    brute_force(q, m, hit, used, out);
    hit.pop_back();
    used[a] = 0;
  }
}

Hits brute_force(const Substructure &q, const Molecule &m) {
  std::vector<int> hit;
  std::vector<char> used(m.natoms(), 0);
  Hits out;
  brute_force(q, m, hit, used, out);
  return out;
}

// O=C-O-H of a carboxylic acid: 0 O, 1 C, 2 O, 3 H.
Substructure carboxylic_acid_query() {
  Substructure q;
  int o1 = q.add(query_atom("O")), c = q.add(query_atom("C")), o2 = q.add(query_atom("O")),
      h = q.add(query_atom("H"));
  q.add(query_bond(BondType::Double), o1, c);
  q.add(query_bond(BondType::Single), c, o2);
  q.add(query_bond(BondType::Single), o2, h);
  return q;
}

TEST(SubstructureSearch, CarboxylicAcidFoundOnceInAceticAcid) {
  Molecule acid = testing::acetic_acid();
  EXPECT_EQ(run(carboxylic_acid_query(), acid), (Hits{{2, 1, 3, 4}}));
  // The same group is absent from acetate: no O-H, and the bond types still differ.
  EXPECT_TRUE(run(carboxylic_acid_query(), testing::acetate_without_h()).empty());
}

TEST(SubstructureSearch, SymmetricQueryGivesOneHitPerMappingInOrder) {
  Molecule acid = testing::acetic_acid();
  // H-C-H on the methyl group (atom 0, hydrogens 5, 6, 7): every ordered pair of hydrogens.
  Substructure hch;
  int h1 = hch.add(query_atom("H")), c = hch.add(query_atom("C")), h2 = hch.add(query_atom("H"));
  hch.add(any_bond(), h1, c);
  hch.add(any_bond(), c, h2);
  EXPECT_EQ(run(hch, acid),
            (Hits{{5, 0, 6}, {5, 0, 7}, {6, 0, 5}, {6, 0, 7}, {7, 0, 5}, {7, 0, 6}}));

  // O~C~O with any bond type: both orientations of the carboxyl group.
  Substructure oco;
  int o1 = oco.add(query_atom("O")), cc = oco.add(query_atom("C")), o2 = oco.add(query_atom("O"));
  oco.add(any_bond(), o1, cc);
  oco.add(any_bond(), cc, o2);
  EXPECT_EQ(run(oco, acid), (Hits{{2, 1, 3}, {3, 1, 2}}));
}

TEST(SubstructureSearch, BondTypesMatchExactlyAndAnEmptyListMatchesAny) {
  Molecule acid = testing::acetic_acid();
  Substructure co;
  int c = co.add(query_atom("C")), o = co.add(query_atom("O"));
  auto bond = query_bond(BondType::Double);
  co.add(bond, c, o);
  EXPECT_EQ(run(co, acid), (Hits{{1, 2}}));
  bond->add_type(BondType::Single);
  EXPECT_EQ(run(co, acid), (Hits{{1, 2}, {1, 3}}));
  bond->clear_types();
  EXPECT_EQ(run(co, acid), (Hits{{1, 2}, {1, 3}}));
  // Aromatic is its own type: neither a single nor a double bond matches it.
  Substructure cc;
  cc.add(query_atom("C"));
  cc.add(query_atom("C"));
  cc.add(make_handle<SubstructureBond>(std::vector<BondType>{BondType::Single, BondType::Double}),
         0, 1);
  EXPECT_TRUE(run(cc, testing::benzene()).empty());
}

Substructure aromatic_six_ring() {
  Substructure ring;
  for (int i = 0; i < 6; ++i)
    ring.add(query_atom("C"));
  for (int i = 0; i < 6; ++i)
    ring.add(query_bond(BondType::Aromatic), i, (i + 1) % 6);
  return ring;
}

TEST(SubstructureSearch, BenzeneRingHasTwelveMappings) {
  Molecule benzene = testing::benzene(true);
  Hits hits = run(aromatic_six_ring(), benzene);
  // Six starting atoms times two directions round the ring.
  ASSERT_EQ(hits.size(), 12u);
  EXPECT_EQ(hits[0], (std::vector<int>{0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(hits[1], (std::vector<int>{0, 5, 4, 3, 2, 1}));
  EXPECT_EQ(hits[11], (std::vector<int>{5, 4, 3, 2, 1, 0}));
  EXPECT_TRUE(std::is_sorted(hits.begin(), hits.end()));
  EXPECT_EQ(hits, brute_force(aromatic_six_ring(), benzene));
  // A saturated ring has single bonds: no aromatic ring there.
  Molecule cyclohexane = testing::ethylcyclohexane();
  EXPECT_TRUE(run(aromatic_six_ring(), cyclohexane).empty());
}

TEST(SubstructureSearch, FixedPairsPinQueryAtoms) {
  Molecule acid = testing::acetic_acid();
  Substructure hch;
  hch.add(query_atom("H"));
  hch.add(query_atom("C"));
  hch.add(query_atom("H"));
  hch.add(any_bond(), 0, 1);
  hch.add(any_bond(), 1, 2);
  EXPECT_EQ(run(hch, acid, {{0, 6}}), (Hits{{6, 0, 5}, {6, 0, 7}}));
  EXPECT_EQ(run(hch, acid, {{2, 5}}), (Hits{{6, 0, 5}, {7, 0, 5}}));
  EXPECT_EQ(run(hch, acid, {{0, 6}, {2, 5}}), (Hits{{6, 0, 5}}));
  EXPECT_EQ(run(hch, acid, {{1, 0}}).size(), 6u);
  // A pinned atom that the query atom does not accept: no hit at all.
  EXPECT_TRUE(run(hch, acid, {{0, 1}}).empty());
  // The hydrogen on oxygen is an H, but no H-C-H runs through it.
  EXPECT_TRUE(run(hch, acid, {{0, 4}}).empty());
  // Two query atoms pinned to one molecule atom, or to an atom the molecule does not have.
  EXPECT_TRUE(run(hch, acid, {{0, 5}, {2, 5}}).empty());
  EXPECT_TRUE(run(hch, acid, {{0, 99}}).empty());
  EXPECT_THROW(run(hch, acid, {{3, 5}}), std::invalid_argument);
}

TEST(SubstructureSearch, EveryPinAgreesWithTheReference) {
  // H-C-C-H listed H, C, C, H and the ethyl ring query, pinned in turn at each query atom to
  // each molecule atom; the reference keeps the unpinned hits that carry the pin.
  Substructure hcch;
  int h1 = hcch.add(query_atom("H")), c1 = hcch.add(query_atom("C")),
      c2 = hcch.add(query_atom("C")), h2 = hcch.add(query_atom("H"));
  hcch.add(any_bond(), h1, c1);
  hcch.add(any_bond(), c1, c2);
  hcch.add(any_bond(), c2, h2);
  Molecule ethylcyclohexane = testing::ethylcyclohexane();
  Substructure ring_with_chain(ethylcyclohexane);
  const std::pair<Substructure, Molecule> cases[] = {{hcch, testing::alkane(4, true)},
                                                     {ring_with_chain, ethylcyclohexane}};
  for (const auto &[q, m] : cases) {
    Hits all = brute_force(q, m);
    for (int k = 0; k < q.nnodes(); ++k)
      for (int a = 0; a < m.natoms(); ++a) {
        Hits expected;
        for (const auto &hit : all)
          if (hit[k] == a)
            expected.push_back(hit);
        EXPECT_EQ(run(q, m, {{k, a}}), expected) << "query atom " << k << " on atom " << a;
      }
  }
}

TEST(SubstructureSearch, MaxHitsKeepsTheFirstHitsInOrder) {
  Molecule benzene = testing::benzene();
  Hits all = run(aromatic_six_ring(), benzene);
  ASSERT_EQ(all.size(), 12u);
  Hits two = run(aromatic_six_ring(), benzene, {}, 2);
  EXPECT_EQ(two, Hits(all.begin(), all.begin() + 2));
  EXPECT_EQ(run(aromatic_six_ring(), benzene, {}, 100), all);

  SubstructureSearch s;
  EXPECT_EQ(s.max_hits(), 0);
  s.set_max_hits(5);
  EXPECT_EQ(s.search(aromatic_six_ring(), benzene).size(), 5u);
}

TEST(SubstructureSearch, CallbackFormStreamsHitsAndCanStop) {
  Molecule benzene = testing::benzene();
  Hits seen;
  SubstructureSearch().for_each_match(aromatic_six_ring(), benzene, {},
                                      [&](const std::vector<int> &hit) {
                                        seen.push_back(hit);
                                        return seen.size() < 3;
                                      });
  ASSERT_EQ(seen.size(), 3u);
  Hits all = run(aromatic_six_ring(), benzene);
  EXPECT_EQ(seen, Hits(all.begin(), all.begin() + 3));
  int calls = 0;
  SubstructureSearch(4).for_each_match(aromatic_six_ring(), benzene, {},
                                       [&](const std::vector<int> &) { return ++calls > 0; });
  EXPECT_EQ(calls, 4);
}

TEST(SubstructureSearch, HydrogenAndConnectionConstraints) {
  Molecule acid = testing::acetic_acid();
  auto oxygen_with = [](THandle<AtomConstraint> c) {
    Substructure q;
    auto o = query_atom("O");
    o->add_constraint(c);
    q.add(o);
    return q;
  };
  using NH = AtomNHydrogensConstraint;
  using NB = AtomNBondsConstraint;
  EXPECT_EQ(run(oxygen_with(make_handle<NH>(equal_to(1), true)), acid), (Hits{{3}}));
  EXPECT_EQ(run(oxygen_with(make_handle<NH>(equal_to(0), true)), acid), (Hits{{2}}));
  EXPECT_EQ(run(oxygen_with(make_handle<NB>(equal_to(1))), acid), (Hits{{2}}));
  EXPECT_EQ(run(oxygen_with(make_handle<NB>(equal_to(2))), acid), (Hits{{3}}));

  // Without H sites: a hydroxyl O carrying one implied hydrogen.
  MoleculeBuilder b;
  int c = b.atom("C"), o = b.atom_with_implicit_h("O", 1);
  b.bond(c, o);
  const Molecule &methanol = b.molecule();
  EXPECT_EQ(run(oxygen_with(make_handle<NH>(equal_to(1), true)), methanol), (Hits{{1}}));
  EXPECT_TRUE(run(oxygen_with(make_handle<NH>(equal_to(1), false)), methanol).empty());
  EXPECT_EQ(run(oxygen_with(make_handle<NH>(equal_to(0), false)), methanol), (Hits{{1}}));
  // The implied hydrogen is a connection as well.
  EXPECT_EQ(run(oxygen_with(make_handle<NB>(equal_to(2))), methanol), (Hits{{1}}));
}

TEST(SubstructureSearch, ChargeConstraint) {
  Molecule acetate = testing::acetate_without_h();
  Substructure q;
  auto o = query_atom("O");
  o->add_constraint(make_handle<AtomFormalChargeConstraint>(equal_to(-1)));
  q.add(o);
  EXPECT_EQ(run(q, acetate), (Hits{{3}}));
  Substructure neutral;
  auto o0 = query_atom("O");
  o0->add_constraint(make_handle<AtomFormalChargeConstraint>(equal_to(0)));
  neutral.add(o0);
  EXPECT_EQ(run(neutral, acetate), (Hits{{2}}));
}

TEST(SubstructureSearch, RingConstraintsOnAtomsAndBonds) {
  Molecule m = testing::ethylcyclohexane();
  Substructure ring_c;
  auto a = query_atom("C");
  a->add_constraint(make_handle<AtomCyclicityConstraint>(1));
  ring_c.add(a);
  EXPECT_EQ(run(ring_c, m), (Hits{{0}, {1}, {2}, {3}, {4}, {5}}));
  Substructure chain_c;
  auto b = query_atom("C");
  b->add_constraint(make_handle<AtomCyclicityConstraint>(0));
  chain_c.add(b);
  EXPECT_EQ(run(chain_c, m), (Hits{{6}, {7}}));

  // A C-C bond off every ring: the two bonds of the ethyl group, each both ways.
  Substructure acyclic;
  acyclic.add(query_atom("C"));
  acyclic.add(query_atom("C"));
  auto bond = any_bond();
  bond->add_constraint(BondCyclicityConstraint(0));
  acyclic.add(bond, 0, 1);
  EXPECT_EQ(run(acyclic, m), (Hits{{0, 6}, {6, 0}, {6, 7}, {7, 6}}));
  // ...and on a ring: the six ring bonds both ways.
  Substructure cyclic;
  cyclic.add(query_atom("C"));
  cyclic.add(query_atom("C"));
  auto rbond = any_bond();
  rbond->add_constraint(BondCyclicityConstraint(1));
  cyclic.add(rbond, 0, 1);
  EXPECT_EQ(run(cyclic, m).size(), 12u);

  // The same molecule with the side-chain bonds listed first, so that bond numbers and atom
  // numbers no longer line up.
  MoleculeBuilder chain_first;
  for (int i = 0; i < 8; ++i)
    chain_first.atom("C");
  chain_first.bond(6, 7).bond(0, 6);
  for (int i = 0; i < 6; ++i)
    chain_first.bond(i, (i + 1) % 6);
  EXPECT_EQ(run(acyclic, chain_first.molecule()), (Hits{{0, 6}, {6, 0}, {6, 7}, {7, 6}}));
  EXPECT_EQ(run(cyclic, chain_first.molecule()).size(), 12u);
}

TEST(SubstructureSearch, AlternativeAndExcludedElements) {
  MoleculeBuilder b;
  int c = b.atom("C"), n = b.atom("N"), o = b.atom("O"), cl = b.atom("Cl");
  b.bond(c, n).bond(c, o).bond(c, cl);
  const Molecule &m = b.molecule();
  Substructure o_or_n;
  auto x = query_atom("O");
  x->add_element(Element("N"));
  o_or_n.add(x);
  EXPECT_EQ(run(o_or_n, m), (Hits{{1}, {2}}));

  // Anything but carbon and hydrogen.
  Substructure not_ch;
  auto y = make_handle<SubstructureAtom>();
  y->remove_element(Element("C"));
  y->remove_element(Element("H"));
  not_ch.add(y);
  EXPECT_EQ(run(not_ch, m), (Hits{{1}, {2}, {3}}));

  // An any-element atom bonded to the carbon: all three neighbours.
  Substructure any_on_c;
  any_on_c.add(query_atom("C"));
  any_on_c.add(make_handle<SubstructureAtom>());
  any_on_c.add(any_bond(), 0, 1);
  EXPECT_EQ(run(any_on_c, m), (Hits{{0, 1}, {0, 2}, {0, 3}}));
}

TEST(SubstructureSearch, QueryMadeFromAMoleculeFindsItsSymmetries) {
  Molecule acid = testing::acetic_acid();
  Substructure whole(acid);
  ASSERT_EQ(whole.nnodes(), 8);
  ASSERT_EQ(whole.nedges(), 7);
  // Only the three methyl hydrogens can be exchanged: 3! mappings, the identity first.
  Hits hits = run(whole, acid);
  ASSERT_EQ(hits.size(), 6u);
  EXPECT_EQ(hits[0], (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
  EXPECT_EQ(hits[5], (std::vector<int>{0, 1, 2, 3, 4, 7, 6, 5}));
  EXPECT_EQ(hits, brute_force(whole, acid));
}

TEST(SubstructureSearch, QueryListedHydrogensFirstStillComesOutInOrder) {
  // H-C-C-H listed as H, H, C, C: the second H is not bonded to the first, so the matcher
  // cannot rely on the query order to follow bonds.
  Substructure q;
  int h1 = q.add(query_atom("H")), h2 = q.add(query_atom("H")), c1 = q.add(query_atom("C")),
      c2 = q.add(query_atom("C"));
  q.add(any_bond(), h1, c1);
  q.add(any_bond(), c1, c2);
  q.add(any_bond(), c2, h2);
  Molecule butane = testing::alkane(4, true);
  Hits hits = run(q, butane);
  EXPECT_EQ(hits, brute_force(q, butane));
  // Each ordered C-C bond gives h(a) * h(b) placements: terminal bonds 3*2 each way, the middle
  // bond 2*2 each way.
  EXPECT_EQ(hits.size(), 2u * (6 + 6 + 4));

  // The same on a long chain, where a careless search would multiply unrelated choices:
  // 2 terminal bonds (3*2) and 47 inner bonds (2*2), each both ways.
  Molecule long_chain = testing::alkane(50, true);
  Hits long_hits = run(q, long_chain);
  EXPECT_EQ(long_hits.size(), 2u * (2 * 6 + 47 * 4));
  EXPECT_TRUE(std::is_sorted(long_hits.begin(), long_hits.end()));
  EXPECT_EQ(run(q, long_chain, {}, 7), Hits(long_hits.begin(), long_hits.begin() + 7));
}

TEST(SubstructureSearch, WholeMoleculeListedHydrogensFirstIsPlacedWithoutBlowingUp) {
  // Icosane with its 42 hydrogens listed before the carbons, searched with itself as the query.
  // The hydrogens are free choices until their carbons come; a search that did not check where
  // they lead would try the arrangements of 42 hydrogens one by one and never finish.
  const int n = 20;
  MoleculeBuilder b;
  std::vector<int> h_on;
  for (int i = 0; i < n; ++i)
    for (int k = 0; k < ((i == 0 || i == n - 1) ? 3 : 2); ++k) {
      b.atom("H");
      h_on.push_back(i);
    }
  const int nh = static_cast<int>(h_on.size());
  for (int i = 0; i < n; ++i)
    b.atom("C");
  for (int h = 0; h < nh; ++h)
    b.bond(nh + h_on[h], h);
  for (int i = 0; i + 1 < n; ++i)
    b.bond(nh + i, nh + i + 1);
  const Molecule &m = b.molecule();
  Substructure q(m);
  Hits hits = run(q, m, {}, 1000);
  ASSERT_EQ(hits.size(), 1000u);
  // The identity is the smallest mapping in order; every hit is a bond-preserving bijection.
  std::vector<int> identity(m.natoms());
  for (int i = 0; i < m.natoms(); ++i)
    identity[i] = i;
  EXPECT_EQ(hits[0], identity);
  EXPECT_TRUE(std::is_sorted(hits.begin(), hits.end()));
  for (const auto &hit : hits) {
    std::vector<int> sorted = hit;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(sorted, identity);
    for (const auto &e : q.edges())
      EXPECT_FALSE(m.bond_between(hit[e.atom1], hit[e.atom2]).is_null());
  }
}

TEST(SubstructureSearch, DisconnectedQueryPairsEveryPlacement) {
  // Two separate atoms: every ordered pair of distinct atoms, in order.
  Substructure q;
  q.add(query_atom("O"));
  q.add(query_atom("O"));
  Molecule acid = testing::acetic_acid();
  EXPECT_EQ(run(q, acid), (Hits{{2, 3}, {3, 2}}));
  // A disconnected, partly symmetric query compared with the reference.
  Substructure r;
  r.add(query_atom("H"));
  r.add(query_atom("O"));
  r.add(query_atom("C"));
  r.add(query_atom("H"));
  r.add(any_bond(), 1, 3);
  EXPECT_EQ(run(r, acid), brute_force(r, acid));
  EXPECT_EQ(run(r, acid).size(), 3u * 1 * 2);
}

TEST(SubstructureSearch, HitsAreDeterministicAndAgreeWithTheReference) {
  Molecule m = testing::ethylcyclohexane();
  Substructure whole(m);
  Hits first = run(whole, m);
  EXPECT_EQ(first, run(whole, m));
  EXPECT_EQ(first, brute_force(whole, m));
  // The ring can be turned only one way with the side chain fixed: it flips (0 stays put).
  EXPECT_EQ(first.size(), 2u);
  EXPECT_EQ(first[1], (std::vector<int>{0, 5, 4, 3, 2, 1, 6, 7}));
}

TEST(SubstructureSearch, EmptyQueryOrMoleculeHasNoHits) {
  EXPECT_TRUE(run(Substructure(), testing::benzene()).empty());
  EXPECT_TRUE(run(aromatic_six_ring(), Molecule()).empty());
  // More query atoms than molecule atoms.
  EXPECT_TRUE(run(Substructure(testing::benzene(true)), testing::benzene()).empty());
}

} // namespace
} // namespace xtalmotif
