// Substructure search against a plainly right reference that tries every assignment: hits in
// their fixed order, constraints on atoms and bonds, pinned atoms, hit limits, and query orders
// that would make a careless search blow up.

#include "kernel/substructure.h"
#include "kernel_test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <stdexcept>
#include <vector>

namespace xtalmotif {
namespace {

using Hits = std::vector<std::vector<int>>;
using testing::MoleculeBuilder;

THandle<Condition> equal_to(double v) { return make_handle<EqualTo>("equal to", v); }

/// A query atom of one element ("" for any) with one constraint or none.
THandle<SubstructureAtom> at(const char* symbol, THandle<AtomConstraint> c = nullptr) {
  auto a = *symbol ? make_handle<SubstructureAtom>(Element(symbol)) : make_handle<SubstructureAtom>();
  if (c)
    a->add_constraint(c);
  return a;
}

THandle<SubstructureBond> bond(std::vector<BondType> types = {}, int in_ring = -1) {
  auto b = make_handle<SubstructureBond>(std::move(types));
  if (in_ring >= 0)
    b->add_constraint(BondCyclicityConstraint(in_ring));
  return b;
}

struct Edge {
  int a, b;
  THandle<SubstructureBond> bond;
};

Substructure query(std::vector<THandle<SubstructureAtom>> atoms, std::vector<Edge> edges = {}) {
  Substructure q;
  for (auto& a : atoms)
    q.add(a);
  for (auto& e : edges)
    q.add(e.bond, e.a, e.b);
  return q;
}

Hits run(const Substructure& q, const Molecule& m, const std::map<int, int>& fixed = {},
         int max_hits = 0) {
  return SubstructureSearch(max_hits).search(q, m, fixed);
}

// Every injective assignment in lexicographic order, the whole hit checked at the end.
void brute_force(const Substructure& q, const Molecule& m, std::vector<int>& hit,
                 std::vector<char>& used, Hits& out) {
  if (static_cast<int>(hit.size()) == q.nnodes()) {
    for (const auto& e : q.edges()) {
      auto b = m.bond_between(hit[e.atom1], hit[e.atom2]);
      if (b.is_null() || !e.bond->matches(m, m.index_of(b)))
        return;
    }
    out.push_back(hit);
    return;
  }
  for (int a = 0; a < m.natoms(); ++a) {
    if (used[a] || !q.node(static_cast<int>(hit.size()))->matches(m, a))
      continue;
    used[a] = 1;
    hit.push_back(a);
    brute_force(q, m, hit, used, out);
    hit.pop_back();
    used[a] = 0;
  }
}

Hits brute_force(const Substructure& q, const Molecule& m) {
  std::vector<int> hit;
  std::vector<char> used(m.natoms(), 0);
  Hits out;
  brute_force(q, m, hit, used, out);
  return out;
}

Substructure aromatic_six_ring() {
  Substructure ring;
  for (int i = 0; i < 6; ++i)
    ring.add(at("C"));
  for (int i = 0; i < 6; ++i)
    ring.add(bond({BondType::Aromatic}), i, (i + 1) % 6);
  return ring;
}

TEST(SubstructureSearch, HitsOfEachKindOfQueryAgreeWithTheReference) {
  using NH = AtomNHydrogensConstraint;
  using NB = AtomNBondsConstraint;
  using Ring = AtomCyclicityConstraint;
  const Molecule acid = testing::acetic_acid(), acetate = testing::acetate_without_h(),
                 ring = testing::ethylcyclohexane(), benzene = testing::benzene(true),
                 bare_benzene = testing::benzene();
  MoleculeBuilder b;
  int c = b.atom("C"), o = b.atom_with_implicit_h("O", 1);
  b.bond(c, o);
  const Molecule methanol = b.molecule(); // without H sites
  MoleculeBuilder cnocl;
  cnocl.atom("C");
  cnocl.atom("N");
  cnocl.atom("O");
  cnocl.atom("Cl");
  cnocl.bond(0, 1).bond(0, 2).bond(0, 3);
  const Molecule& mixed = cnocl.molecule();
  auto not_ch = at("");
  not_ch->remove_element(Element("C"));
  not_ch->remove_element(Element("H"));
  auto o_or_n = at("O");
  o_or_n->add_element(Element("N"));
  const auto single = std::vector<BondType>{BondType::Single},
             dbl = std::vector<BondType>{BondType::Double};
  const auto acid_query = query({at("O"), at("C"), at("O"), at("H")},
                                {{0, 1, bond(dbl)}, {1, 2, bond(single)}, {2, 3, bond(single)}});
  const struct {
    const char* what;
    Substructure q;
    const Molecule& m;
    std::size_t n;
    Hits expected = {}; // in this order, when given
  } cases[] = {
      {"carboxylic acid O=C-O-H", acid_query, acid, 1, {{2, 1, 3, 4}}},
      {"no acid in acetate", acid_query, acetate, 0},
      {"H-C-H: every ordered pair of methyl hydrogens",
       query({at("H"), at("C"), at("H")}, {{0, 1, bond()}, {1, 2, bond()}}), acid, 6,
       {{5, 0, 6}, {5, 0, 7}, {6, 0, 5}, {6, 0, 7}, {7, 0, 5}, {7, 0, 6}}},
      {"C=O only", query({at("C"), at("O")}, {{0, 1, bond(dbl)}}), acid, 1, {{1, 2}}},
      {"C=O or C-O", query({at("C"), at("O")}, {{0, 1, bond({BondType::Double, BondType::Single})}}),
       acid, 2, {{1, 2}, {1, 3}}},
      {"C~O, any type", query({at("C"), at("O")}, {{0, 1, bond()}}), acid, 2},
      {"aromatic bonds are neither single nor double",
       query({at("C"), at("C")}, {{0, 1, bond({BondType::Single, BondType::Double})}}),
       bare_benzene, 0},
      {"no aromatic ring in cyclohexane", aromatic_six_ring(), ring, 0},
      {"O with one H", query({at("O", make_handle<NH>(equal_to(1), true))}), acid, 1, {{3}}},
      {"O with no H", query({at("O", make_handle<NH>(equal_to(0), true))}), acid, 1, {{2}}},
      {"O with one connection", query({at("O", make_handle<NB>(equal_to(1)))}), acid, 1, {{2}}},
      {"implied H counted", query({at("O", make_handle<NH>(equal_to(1), true))}), methanol, 1},
      {"implied H left out", query({at("O", make_handle<NH>(equal_to(0), false))}), methanol, 1},
      {"implied H is a connection", query({at("O", make_handle<NB>(equal_to(2)))}), methanol, 1},
      {"charged O", query({at("O", make_handle<AtomFormalChargeConstraint>(equal_to(-1)))}),
       acetate, 1, {{3}}},
      {"ring C", query({at("C", make_handle<Ring>(1))}), ring, 6},
      {"chain C", query({at("C", make_handle<Ring>(0))}), ring, 2, {{6}, {7}}},
      {"C-C off any ring", query({at("C"), at("C")}, {{0, 1, bond({}, 0)}}), ring, 4,
       {{0, 6}, {6, 0}, {6, 7}, {7, 6}}},
      {"C-C in a ring", query({at("C"), at("C")}, {{0, 1, bond({}, 1)}}), ring, 12},
      {"O or N", query({o_or_n}), mixed, 2, {{1}, {2}}},
      {"neither C nor H", query({not_ch}), mixed, 3, {{1}, {2}, {3}}},
      {"any atom on C", query({at("C"), at("")}, {{0, 1, bond()}}), mixed, 3},
      {"two unbonded atoms: every ordered pair", query({at("O"), at("O")}), acid, 2, {{2, 3}, {3, 2}}},
      {"disconnected, partly symmetric",
       query({at("H"), at("O"), at("C"), at("H")}, {{1, 3, bond()}}), acid, 6},
      {"benzene ring: six starts times two directions", aromatic_six_ring(), benzene, 12},
      {"whole acetic acid: its three methyl H exchanged", Substructure(acid), acid, 6},
      {"whole ethylcyclohexane: the ring flips", Substructure(ring), ring, 2,
       {{0, 1, 2, 3, 4, 5, 6, 7}, {0, 5, 4, 3, 2, 1, 6, 7}}},
      {"more query atoms than atoms", Substructure(benzene), bare_benzene, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const Hits hits = run(c.q, c.m);
    EXPECT_EQ(hits.size(), c.n);
    EXPECT_EQ(hits, c.expected.empty() ? brute_force(c.q, c.m) : c.expected);
    EXPECT_TRUE(std::is_sorted(hits.begin(), hits.end()));
  }
  EXPECT_TRUE(run(Substructure(), benzene).empty());
}

// Ring bonds listed after the side chain, so that bond and atom numbers no longer line up.
TEST(SubstructureSearch, RingBondsFoundWhateverTheBondOrder) {
  MoleculeBuilder b;
  for (int i = 0; i < 8; ++i)
    b.atom("C");
  b.bond(6, 7).bond(0, 6);
  for (int i = 0; i < 6; ++i)
    b.bond(i, (i + 1) % 6);
  EXPECT_EQ(run(query({at("C"), at("C")}, {{0, 1, bond({}, 0)}}), b.molecule()),
            (Hits{{0, 6}, {6, 0}, {6, 7}, {7, 6}}));
  EXPECT_EQ(run(query({at("C"), at("C")}, {{0, 1, bond({}, 1)}}), b.molecule()).size(), 12u);
}

TEST(SubstructureSearch, EveryPinAgreesWithTheReference) {
  // Each query atom pinned in turn to each molecule atom: the unpinned hits that carry the pin.
  const Substructure hcch =
      query({at("H"), at("C"), at("C"), at("H")}, {{0, 1, bond()}, {1, 2, bond()}, {2, 3, bond()}});
  const Molecule ring = testing::ethylcyclohexane();
  const std::pair<Substructure, Molecule> cases[] = {{hcch, testing::alkane(4)},
                                                     {Substructure(ring), ring}};
  for (const auto& [q, m] : cases) {
    const Hits all = brute_force(q, m);
    for (int k = 0; k < q.nnodes(); ++k)
      for (int a = 0; a < m.natoms(); ++a) {
        Hits expected;
        std::copy_if(all.begin(), all.end(), std::back_inserter(expected),
                     [&](const std::vector<int>& hit) { return hit[k] == a; });
        EXPECT_EQ(run(q, m, {{k, a}}), expected) << "query atom " << k << " on atom " << a;
      }
  }
  // Two pins together; two query atoms on one atom, or on an atom the molecule lacks; a pin of
  // a query atom that does not exist.
  const Molecule acid = testing::acetic_acid();
  const Substructure hch = query({at("H"), at("C"), at("H")}, {{0, 1, bond()}, {1, 2, bond()}});
  EXPECT_EQ(run(hch, acid, {{0, 6}, {2, 5}}), (Hits{{6, 0, 5}}));
  EXPECT_TRUE(run(hch, acid, {{0, 5}, {2, 5}}).empty());
  EXPECT_TRUE(run(hch, acid, {{0, 99}}).empty());
  EXPECT_THROW(run(hch, acid, {{3, 5}}), std::invalid_argument);
}

TEST(SubstructureSearch, HitLimitsAndTheCallbackKeepTheFirstHitsInOrder) {
  const Molecule benzene = testing::benzene();
  const Hits all = run(aromatic_six_ring(), benzene);
  EXPECT_EQ(run(aromatic_six_ring(), benzene, {}, 2), Hits(all.begin(), all.begin() + 2));
  EXPECT_EQ(run(aromatic_six_ring(), benzene, {}, 100), all);
  Hits seen;
  SubstructureSearch().for_each_match(aromatic_six_ring(), benzene, {},
                                      [&](const std::vector<int>& hit) {
                                        seen.push_back(hit);
                                        return seen.size() < 3;
                                      });
  EXPECT_EQ(seen, Hits(all.begin(), all.begin() + 3));
  int calls = 0;
  SubstructureSearch(4).for_each_match(aromatic_six_ring(), benzene, {},
                                       [&](const std::vector<int>&) { return ++calls > 0; });
  EXPECT_EQ(calls, 4);
}

// Queries whose atoms come in an order that does not follow their bonds: the search must still
// give the hits in order, and must not try unrelated choices one by one.
TEST(SubstructureSearch, QueriesListingHydrogensFirstNeitherReorderNorBlowUp) {
  // H-C-C-H listed H, H, C, C: each ordered C-C bond gives h(a) * h(b) placements.
  const Substructure q =
      query({at("H"), at("H"), at("C"), at("C")}, {{0, 2, bond()}, {2, 3, bond()}, {3, 1, bond()}});
  EXPECT_EQ(run(q, testing::alkane(4)), brute_force(q, testing::alkane(4)));
  const Molecule long_chain = testing::alkane(50);
  const Hits long_hits = run(q, long_chain);
  EXPECT_EQ(long_hits.size(), 2u * (2 * 6 + 47 * 4));
  EXPECT_TRUE(std::is_sorted(long_hits.begin(), long_hits.end()));
  EXPECT_EQ(run(q, long_chain, {}, 7), Hits(long_hits.begin(), long_hits.begin() + 7));

  // Icosane with its 42 hydrogens listed before the carbons, searched with itself.
  const int n = 20;
  MoleculeBuilder b;
  std::vector<int> h_on;
  for (int i = 0; i < n; ++i)
    for (int k = 0; k < ((i == 0 || i == n - 1) ? 3 : 2); ++k) {
      b.atom("H");
      h_on.push_back(i);
    }
  const int nh = static_cast<int>(h_on.size());
  b.chain("C", n);
  for (int h = 0; h < nh; ++h)
    b.bond(nh + h_on[h], h);
  const Molecule& m = b.molecule();
  const Substructure whole(m);
  const Hits hits = run(whole, m, {}, 1000);
  ASSERT_EQ(hits.size(), 1000u);
  std::vector<int> identity(m.natoms());
  std::iota(identity.begin(), identity.end(), 0);
  EXPECT_EQ(hits[0], identity);
  EXPECT_TRUE(std::is_sorted(hits.begin(), hits.end()));
  for (const auto& hit : hits)
    for (const auto& e : whole.edges())
      EXPECT_FALSE(m.bond_between(hit[e.atom1], hit[e.atom2]).is_null());
}

} // namespace
} // namespace xtalmotif
