// Substructure search against a plainly right reference that tries every assignment: hits in
// their fixed order, constraints on atoms and bonds, pinned atoms, hit limits, and query orders
// that would make a careless search blow up.

#include "chem/substructure.h"
#include "kernel_test_support.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace xtalmotif {
namespace {

using Hits = std::vector<std::vector<int>>;
using testing::MoleculeBuilder;
using NH = AtomNHydrogensConstraint;
using NB = AtomNBondsConstraint;

THandle<Condition> equal_to(double v) { return make_handle<EqualTo>("equal to", v); }

/// A query atom of one element ("" for any) with one constraint or none.
THandle<SubstructureAtom> at(const char* symbol, THandle<AtomConstraint> c = nullptr) {
  auto a = *symbol ? make_handle<SubstructureAtom>(Element(symbol))
                   : make_handle<SubstructureAtom>();
  if (c)
    a->add_constraint(c);
  return a;
}

struct Edge {
  int a, b;
  std::vector<BondType> types = {};
  int in_ring = -1;
};

Substructure query(std::vector<THandle<SubstructureAtom>> atoms, std::vector<Edge> edges = {}) {
  Substructure q;
  for (auto& a : atoms)
    q.add(a);
  for (auto& e : edges) {
    auto b = make_handle<SubstructureBond>(e.types);
    if (e.in_ring >= 0)
      b->add_constraint(BondCyclicityConstraint(e.in_ring));
    q.add(b, e.a, e.b);
  }
  return q;
}

Hits run(const Substructure& q, const Molecule& m, const std::map<int, int>& fixed = {},
         int max_hits = 0) {
  return SubstructureSearch(max_hits).search(q, m, fixed);
}

// Every injective assignment in lexicographic order, the whole hit checked at the end.
Hits brute_force(const Substructure& q, const Molecule& m, std::vector<int> hit = {}) {
  if (static_cast<int>(hit.size()) == q.nnodes()) {
    for (const auto& e : q.edges()) {
      auto b = m.bond_between(hit[e.atom1], hit[e.atom2]);
      if (b.is_null() || !e.bond->matches(m, m.index_of(b)))
        return {};
    }
    return {hit};
  }
  Hits out;
  for (int a = 0; a < m.natoms(); ++a)
    if (std::find(hit.begin(), hit.end(), a) == hit.end() &&
        q.node(static_cast<int>(hit.size()))->matches(m, a)) {
      hit.push_back(a);
      for (auto& h : brute_force(q, m, hit))
        out.push_back(h);
      hit.pop_back();
    }
  return out;
}

// Benzene: ring atoms 0-5 by aromatic bonds, H 6+i on C i when asked.
Molecule benzene(bool with_h) {
  MoleculeBuilder b;
  b.chain("C", 6).bond(5, 0);
  for (int i = 0; i < 6; ++i)
    b.molecule().bond(i)->set_type(BondType::Aromatic);
  for (int i = 0; with_h && i < 6; ++i)
    b.hydrogens(i, 1);
  return b.molecule();
}

// A linear alkane, the carbons first, then the hydrogens carbon by carbon.
Molecule alkane(int n) {
  MoleculeBuilder b;
  b.chain("C", n);
  for (int i = 0; i < n; ++i)
    b.hydrogens(i, (i == 0 || i == n - 1) ? 3 : 2);
  return b.molecule();
}

Substructure aromatic_ring() {
  std::vector<Edge> ring;
  for (int i = 0; i < 6; ++i)
    ring.push_back({i, (i + 1) % 6, {BondType::Aromatic}});
  return query({at("C"), at("C"), at("C"), at("C"), at("C"), at("C")}, ring);
}

TEST(SubstructureSearch, HitsOfEachKindOfQueryAgreeWithTheReference) {
  const Molecule acid = testing::acetic_acid(), acetate = testing::acetate_without_h(),
                 ring = testing::ethylcyclohexane(), c6h6 = benzene(true), c6 = benzene(false);
  MoleculeBuilder b, mix, shuffled;
  b.bond(b.atom("C"), b.atom("O", 0, 1));
  const Molecule methanol = b.molecule(); // without H sites
  mix.atom("C");
  mix.bond(0, mix.atom("N")).bond(0, mix.atom("O")).bond(0, mix.atom("Cl"));
  // Ethylcyclohexane with the side-chain bonds listed first: bond and atom numbers differ.
  for (int i = 0; i < 8; ++i)
    shuffled.atom("C");
  shuffled.bond(6, 7).bond(0, 6);
  for (int i = 0; i < 6; ++i)
    shuffled.bond(i, (i + 1) % 6);
  auto not_ch = at(""), o_or_n = at("O");
  not_ch->remove_element(Element("C"));
  not_ch->remove_element(Element("H"));
  o_or_n->add_element(Element("N"));
  const std::vector<BondType> single = {BondType::Single}, dbl = {BondType::Double};
  const auto acid_query = query({at("O"), at("C"), at("O"), at("H")},
                                {{0, 1, dbl}, {1, 2, single}, {2, 3, single}});
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
       query({at("H"), at("C"), at("H")}, {{0, 1}, {1, 2}}), acid, 6,
       {{5, 0, 6}, {5, 0, 7}, {6, 0, 5}, {6, 0, 7}, {7, 0, 5}, {7, 0, 6}}},
      {"C=O only", query({at("C"), at("O")}, {{0, 1, dbl}}), acid, 1, {{1, 2}}},
      {"C=O or C-O", query({at("C"), at("O")}, {{0, 1, {BondType::Double, BondType::Single}}}),
       acid, 2},
      {"aromatic bonds are neither single nor double",
       query({at("C"), at("C")}, {{0, 1, {BondType::Single, BondType::Double}}}), c6, 0},
      {"no aromatic ring in cyclohexane", aromatic_ring(), ring, 0},
      {"benzene ring: six starts times two directions", aromatic_ring(), c6h6, 12},
      {"O with one H", query({at("O", make_handle<NH>(equal_to(1), true))}), acid, 1, {{3}}},
      {"implied H counted", query({at("O", make_handle<NH>(equal_to(1), true))}), methanol, 1},
      {"implied H left out", query({at("O", make_handle<NH>(equal_to(0), false))}), methanol, 1},
      {"implied H is a connection", query({at("O", make_handle<NB>(equal_to(2)))}), methanol, 1},
      {"charged O", query({at("O", make_handle<AtomFormalChargeConstraint>(equal_to(-1)))}),
       acetate, 1, {{3}}},
      {"ring C", query({at("C", make_handle<AtomCyclicityConstraint>(1))}), ring, 6},
      {"chain C", query({at("C", make_handle<AtomCyclicityConstraint>(0))}), ring, 2, {{6}, {7}}},
      {"C-C off any ring", query({at("C"), at("C")}, {{0, 1, {}, 0}}), ring, 4,
       {{0, 6}, {6, 0}, {6, 7}, {7, 6}}},
      {"C-C off any ring, chain bonds first", query({at("C"), at("C")}, {{0, 1, {}, 0}}),
       shuffled.molecule(), 4, {{0, 6}, {6, 0}, {6, 7}, {7, 6}}},
      {"C-C in a ring, chain bonds first", query({at("C"), at("C")}, {{0, 1, {}, 1}}),
       shuffled.molecule(), 12},
      {"O or N", query({o_or_n}), mix.molecule(), 2, {{1}, {2}}},
      {"neither C nor H", query({not_ch}), mix.molecule(), 3, {{1}, {2}, {3}}},
      {"any atom on C", query({at("C"), at("")}, {{0, 1}}), mix.molecule(), 3},
      {"disconnected, partly symmetric", query({at("H"), at("O"), at("C"), at("H")}, {{1, 3}}),
       acid, 6},
      {"whole acetic acid: its three methyl H exchanged", Substructure(acid), acid, 6},
      {"whole ethylcyclohexane: the ring flips", Substructure(ring), ring, 2,
       {{0, 1, 2, 3, 4, 5, 6, 7}, {0, 5, 4, 3, 2, 1, 6, 7}}},
      {"more query atoms than atoms", Substructure(c6h6), c6, 0}};
  for (const auto& c : cases) {
    const Hits hits = run(c.q, c.m);
    EXPECT_EQ(hits.size(), c.n) << c.what;
    EXPECT_EQ(hits, c.expected.empty() ? brute_force(c.q, c.m) : c.expected) << c.what;
    EXPECT_TRUE(std::is_sorted(hits.begin(), hits.end())) << c.what;
  }
  EXPECT_TRUE(run(Substructure(), c6).empty());
  // A hit limit keeps the first hits in order.
  const Hits all = brute_force(aromatic_ring(), c6);
  EXPECT_EQ(run(aromatic_ring(), c6, {}, 2), Hits(all.begin(), all.begin() + 2));
}

TEST(SubstructureSearch, EveryPinAgreesWithTheReference) {
  // Each query atom pinned in turn to each molecule atom: the unpinned hits that carry the pin.
  const Molecule ring = testing::ethylcyclohexane();
  const std::pair<Substructure, Molecule> cases[] = {
      {query({at("H"), at("C"), at("C"), at("H")}, {{0, 1}, {1, 2}, {2, 3}}), alkane(4)},
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
  const Substructure hch = query({at("H"), at("C"), at("H")}, {{0, 1}, {1, 2}});
  EXPECT_EQ(run(hch, acid, {{0, 6}, {2, 5}}), (Hits{{6, 0, 5}}));
  EXPECT_TRUE(run(hch, acid, {{0, 5}, {2, 5}}).empty());
  EXPECT_TRUE(run(hch, acid, {{0, 99}}).empty());
  EXPECT_THROW(run(hch, acid, {{3, 5}}), std::invalid_argument);
}

// Queries whose atoms come in an order that does not follow their bonds: the search must still
// give the hits in order, and must not try unrelated choices one by one.
TEST(SubstructureSearch, QueriesListingHydrogensFirstNeitherReorderNorBlowUp) {
  // H-C-C-H listed H, H, C, C: each ordered C-C bond gives h(a) * h(b) placements.
  const Substructure q = query({at("H"), at("H"), at("C"), at("C")}, {{0, 2}, {2, 3}, {3, 1}});
  EXPECT_EQ(run(q, alkane(4)), brute_force(q, alkane(4)));
  const Hits long_hits = run(q, alkane(50));
  EXPECT_EQ(long_hits.size(), 2u * (2 * 6 + 47 * 4));
  EXPECT_TRUE(std::is_sorted(long_hits.begin(), long_hits.end()));
  EXPECT_EQ(run(q, alkane(50), {}, 7), Hits(long_hits.begin(), long_hits.begin() + 7));
}

} // namespace
} // namespace xtalmotif
