// The extended-ring motif library: every motif is checked for its name, its donor/acceptor
// groups, its three kinds of contact and, above all, for the hydrogen-bonded rings its name
// announces. The rings are found here independently of the library: groups joined by
// intramolecular links form molecules, each molecule becomes one node, each hydrogen bond one
// edge (a pair of molecules joined by two hydrogen bonds is a two-molecule ring), and the
// smallest ring through every hydrogen bond is measured by a breadth-first search.

#include "library/extended_ring_motifs.h"

#include "library_test_helpers.h"

#include "chem/condition.h"
#include "chem/contact_criterion.h"
#include "crystal/crystal_maker.h"
#include "db/database.h"
#include "chem/element.h"
#include "chem/molecule.h"
#include "chem/substructure.h"
#include "motif/motif.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <deque>
#include <fstream>
#include <map>
#include <numeric>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

using Builder = ExtendedRingMotifs::Builder;
using Strings = std::vector<std::string>;

// ---------------------------------------------------------------------------------------------
// Reading a motif back

/// 'D' for the donor group (O or N with 1 to 3 hydrogens), 'A' for the acceptor group (O, N or
/// S, no constraint), '?' for anything else.
char group_kind(const MotifSubstructure &sub) {
  if (sub.nnodes() != 1 || sub.nedges() != 0)
    return '?';
  const std::string atom = testing::atom_text(*sub.node(0));
  if (atom == "O|N[NH[in range 1,3]]")
    return 'D';
  if (atom == "O|N|S")
    return 'A';
  return '?';
}

/// 'I' intramolecular link, 'H' hydrogen bond, 'L' long-range contact, '?' anything else.
char contact_kind(const CombinedCriterion &c) {
  if (c.contact_type() == ContactType::Intra && !c.is_vdw_relative() && c.upper() == 20.0 &&
      c.lower() == -5.0)
    return 'I';
  if (c.contact_type() == ContactType::Inter && c.is_vdw_relative() && c.upper() == 0.2 &&
      c.lower() == -5.0)
    return 'H';
  if (c.contact_type() == ContactType::Inter && c.is_vdw_relative() && c.upper() == 30.0 &&
      c.lower() == 0.2)
    return 'L';
  return '?';
}

std::string group_order(const Motif &motif) {
  std::string s;
  for (const auto &sub : *motif.substructures())
    s += group_kind(*sub);
  return s;
}

std::string contact_kinds(const Motif &motif) {
  std::string s;
  for (const auto &c : *motif.contacts())
    s += contact_kind(*c->criterion());
  return s;
}

struct Link {
  int from;
  int to;
};

std::vector<Link> links_of_kind(const Motif &motif, char kind) {
  std::vector<Link> v;
  for (const auto &c : *motif.contacts())
    if (contact_kind(*c->criterion()) == kind)
      v.push_back({c->from_substructure(), c->to_substructure()});
  return v;
}

/// Connected components of `n` nodes joined by `links`, as a component number per node
/// (numbered in order of first appearance).
std::vector<int> components(int n, const std::vector<Link> &links) {
  std::vector<int> parent(n);
  std::iota(parent.begin(), parent.end(), 0);
  auto find = [&](int x) {
    while (parent[x] != x)
      x = parent[x] = parent[parent[x]];
    return x;
  };
  for (const auto &l : links)
    parent[find(l.from)] = find(l.to);
  std::map<int, int> number;
  std::vector<int> comp(n);
  for (int i = 0; i < n; ++i) {
    int root = find(i);
    if (!number.count(root)) {
      int next = static_cast<int>(number.size());
      number[root] = next;
    }
    comp[i] = number[root];
  }
  return comp;
}

/// The molecule of each group: groups joined by intramolecular links.
std::vector<int> molecules(const Motif &motif) {
  return components(motif.nsubstructures(), links_of_kind(motif, 'I'));
}

int count_of(const std::vector<int> &comp) {
  return comp.empty() ? 0 : *std::max_element(comp.begin(), comp.end()) + 1;
}

/// For each hydrogen bond, the number of molecules in the smallest ring through it in the
/// multigraph of molecules joined by hydrogen bonds; 0 when the bond lies on no ring.
std::vector<int> smallest_rings(const Motif &motif) {
  const std::vector<int> mol = molecules(motif);
  const int n = count_of(mol);
  std::vector<Link> edges;
  for (const auto &h : links_of_kind(motif, 'H'))
    edges.push_back({mol[h.from], mol[h.to]});
  std::vector<int> sizes;
  for (std::size_t e = 0; e < edges.size(); ++e) {
    std::vector<std::vector<int>> adj(n);
    for (std::size_t f = 0; f < edges.size(); ++f)
      if (f != e) {
        adj[edges[f].from].push_back(edges[f].to);
        adj[edges[f].to].push_back(edges[f].from);
      }
    // Breadth-first from one end to the other without the bond itself: the path plus the bond
    // is the smallest ring, and its length in bonds is its number of molecules.
    std::vector<int> dist(n, -1);
    std::deque<int> queue{edges[e].from};
    dist[edges[e].from] = 0;
    while (!queue.empty()) {
      int u = queue.front();
      queue.pop_front();
      for (int v : adj[u])
        if (dist[v] < 0) {
          dist[v] = dist[u] + 1;
          queue.push_back(v);
        }
    }
    sizes.push_back(dist[edges[e].to] < 0 ? 0 : dist[edges[e].to] + 1);
  }
  return sizes;
}

/// How many hydrogen bonds each group takes part in.
std::vector<int> hbond_use(const Motif &motif) {
  std::vector<int> use(motif.nsubstructures(), 0);
  for (const auto &h : links_of_kind(motif, 'H')) {
    ++use[h.from];
    ++use[h.to];
  }
  return use;
}

// ---------------------------------------------------------------------------------------------
// The library's table

struct Expected {
  Builder build;
  const char *name;
  const char *order;
  int intra;
  int hbonds;
  int longs;
  std::set<int> rings; // molecules per smallest ring, as the name announces
};

const std::set<int> R2{2}, R3{3}, R4{4}, R2R4{2, 4}, R2R6{2, 6}, R4R6{4, 6};

const std::vector<Expected> &table() {
  using E = ExtendedRingMotifs;
  static const std::vector<Expected> all = {
      {&E::r2_ribbon, "R2 ribbon", "DADADADADADA", 8, 6, 0, R2},
      {&E::r2_ribbon_shared_acceptor, "R2 ribbon with shared acceptor", "DADADDADDA", 6, 6, 0, R2},
      {&E::r2_ribbon_shared_donor, "R2 ribbon shared donor", "DADAADAADA", 6, 6, 0, R2},
      {&E::r2_ribbon_acapre, "R2 ribbon ACAPRE", "DDDDDDDDDAAAA", 8, 8, 0, R2},
      {&E::r3_ribbon, "R3 ribbon", "DDDDDDDDDAAAAAAAAA", 12, 9, 0, R3},
      {&E::r4_net_type1, "R4 net type 1", "DDDDDDDDDDDDAAAAAAAAAAAA", 15, 12, 17, R4},
      {&E::r4_net_type2, "R4 net type 2", "DDDDDDDDDDDDAAAAAAAAAAAA", 15, 12, 16, R4},
      {&E::r4_sheet_shared_donor, "R4 sheet with shared donor", "AAAAAAAAAAAADDDDDDDD", 11, 12, 11,
       R4},
      {&E::r4_sheet_shared_donor_type2, "R4 sheet with shared donor type2", "DDDDDDDDAAAAAAAAAAAA",
       11, 12, 10, R4},
      {&E::r4_sheet_shared_acceptor, "R4 sheet with shared acceptor", "AAAAAAAADDDDDDDDDDDD", 11,
       12, 10, R4},
      {&E::r4_sheet_duel_donor, "R4 sheet motif duel donor", "DDDDDDDDDDDDDDAAAAAA", 11, 12, 15,
       R4},
      {&E::r4_sheet_shared_donor_and_acceptor, "R4 sheet with shared donor and acceptor",
       "DDDDDDDDAAAAAAAA", 7, 12, 9, R4},
      {&E::r4_sheet_type3, "R4 sheet type3", "DDDDDDDDDDDDAAAAAAAAAAAA", 15, 12, 27, R4},
      {&E::r4_sheet_shared_acceptor_type2, "R4 sheet with shared acceptor type 2",
       "DDDDDDDDDDDDAAAAAAAA", 11, 12, 0, R4},
      {&E::r4_sheet_shared_donor_type3, "R4 sheet with shared donor type 3", "DDDDDDDDAAAAAAAAAAAA",
       11, 12, 11, R4},
      {&E::r4_sheet_shared_acceptor_type4, "R4 sheet with shared acceptor type 4",
       "DDDDDDDDDDDDAAAAAAAA", 11, 12, 14, R4},
      {&E::r4_sheet_duel_donor_type2, "R4 sheet with duel donor type 2", "DDDDDDDDDDDDDDAAAAAA", 11,
       12, 10, R4},
      {&E::r4_sheet_shared_acceptor_type3, "R4 sheet with shared acceptor type 3",
       "DDDDDDDDDDDDAAAAAAAA", 11, 12, 0, R4},
      {&E::r2r6_net, "R2R6 net", "DDDDDDDDDDDDDDDAAAAAAAAAAAAAAA", 20, 15, 22, R2R6},
      {&E::r2r6_net_type2, "R2R6 net type 2", "DDDDDDDDDDDDDDDAAAAAAAAAAAAAAA", 20, 15, 52, R2R6},
      {&E::r2r6_net_duel_donor, "R2R6 net with duel donor", "DDDDDDDDDDDDDDDDDDAAAAAAAA", 16, 15,
       24, R2R6},
      {&E::r2r6_net_shared_donor, "R2R6 net with shared donor", "AAAAAAAAAAAAAAADDDDDDDDDD", 15, 15,
       0, R2R6},
      {&E::r2r6_net_shared_acceptor, "R2R6 net with shared acceptor", "AAAAAAAAAADDDDDDDDDDDDDDD",
       15, 15, 0, R2R6},
      {&E::r2r6_net_shared_donor_and_acceptor, "R2R6 net with shared donor and acceptor",
       "DDDDDDDDDDAAAAAAAAAA", 10, 15, 0, R2R6},
      {&E::r2r6_net_shared_donor_and_acceptor_type2,
       "R2R6 net with shared donor and acceptor type 2", "DDDDDDDDDDDDAAAAAAAAAAAA", 14, 15, 18,
       R2R6},
      {&E::r2r6_net_likcen, "R2R6 net LICKEN", "DDDDDDDDDDDDAAAAAAAAAAAA", 14, 15, 11, R2R6},
      {&E::r2r4_ladder_shared_donor_and_acceptor, "R2R4 ladder with shared donor and acceptor",
       "DDDDDDDDAAAAAAAA", 8, 14, 0, R2R4},
      {&E::r2r4_ladder_shared_acceptor, "R2R4 ladder shared acceptor", "DDDDDDDDDDDDDDAAAAAAAA", 14,
       14, 0, R2R4},
      {&E::r2r4_ladder_shared_donor, "R2R4 ladder with shared donor", "DDDDDDDDAAAAAAAAAAAAAA", 14,
       14, 8, R2R4},
      {&E::r2r4_ladder, "R2R4 ladder", "DDDDDDDDDDDDDDAAAAAAAAAAAAAA", 20, 14, 16, R2R4},
      {&E::r2r4_ladder_type2, "R2R4 ladder type2", "DDDDDDDDDDDDDDAAAAAAAAAAAAAA", 20, 14, 17,
       R2R4},
      {&E::r2r4_ladder_shared_donor_and_acceptor_type2,
       "R2R4 ladder with shared donor and acceptor type 2", "DDDDDDDDAAAAAAAA", 8, 14, 0, R2R4},
      {&E::r2r4_ladder_wuhnui, "R2R4 ladder WUHNUI", "DDDDDDDDDDDDDDDAAAA", 11, 14, 0, R2R4},
      {&E::r4r4_net, "R4R4 net", "DDDDDDDDDDDDAAAAAAAAAAAA", 15, 12, 0, R4},
      {&E::r4r6_net_shared_acceptor, "R4R6 motif with shared acceptor",
       "DDDDDDDDDDDDDDDDAAAAAAAAAAAA", 15, 16, 0, R4R6},
      {&E::r3_ribbon_duel_donor, "R3 ribbon with duel donor", "DDDDDDDDDDAAAA", 8, 9, 0, R3},
      {&E::r3_ribbon_shared_acceptor, "R3 ribbon with shared acceptor", "AAAAADDDDDDDDD", 8, 9, 0,
       R3},
      {&E::r3_ribbon_shared_donor, "R3 ribbon with shared donor", "DDDDDAAAAAAAAA", 8, 9, 0, R3},
      {&E::r3_ribbon_amfurz, "R3 ribbon AMFURZ", "DDDDDAAAAAAAAA", 8, 9, 0, R3},
      {&E::r3_ribbon_just_donors, "R3 ribbon just donors", "DDDDDDDDDD", 4, 9, 0, R3},
      {&E::r3_ribbon_shared_donor_and_acceptor, "R3 ribbon with shared donor and acceptor",
       "DDDDDAAAAA", 4, 9, 0, R3},
      {&E::r3_ribbon_type2, "R3 ribbon type 2", "DDDDDDDDDAAAAAAAAA", 12, 9, 0, R3},
      {&E::r3_ribbon_duel_donor_type2, "R3 ribbon with duel donor type 2", "DDDDDDDDDDAAAA", 8, 9,
       0, R3},
      {&E::r3_ribbon_shared_donor_and_acceptor_type2,
       "R3 ribbon with shared donor and acceptor type2", "DDDDDDDAAAAAAA", 8, 9, 0, R3},
  };
  return all;
}

bool name_has(const Expected &e, const char *word) {
  return std::string(e.name).find(word) != std::string::npos;
}

// ---------------------------------------------------------------------------------------------
// Every motif of the table

TEST(ExtendedRingMotifsTable, NamesGroupsAndContactCounts) {
  ASSERT_EQ(table().size(), 44u);
  for (const auto &e : table()) {
    SCOPED_TRACE(e.name);
    auto motif = e.build();
    EXPECT_EQ(motif->name(), e.name);
    EXPECT_EQ(group_order(*motif), e.order);
    const std::string kinds = contact_kinds(*motif);
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), 'I'), e.intra);
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), 'H'), e.hbonds);
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), 'L'), e.longs);
    EXPECT_EQ(kinds.size(), static_cast<std::size_t>(e.intra + e.hbonds + e.longs));
  }
}

TEST(ExtendedRingMotifsTable, ContactsComeIntraThenHydrogenBondsThenLongRange) {
  for (const auto &e : table()) {
    SCOPED_TRACE(e.name);
    auto motif = e.build();
    const std::string kinds = contact_kinds(*motif);
    EXPECT_TRUE(std::is_sorted(kinds.begin(), kinds.end(), [](char a, char b) {
      return std::string("IHL").find(a) < std::string("IHL").find(b);
    })) << kinds;
  }
}

TEST(ExtendedRingMotifsTable, ContactsJoinAtomZeroOfTwoExistingGroups) {
  for (const auto &e : table()) {
    SCOPED_TRACE(e.name);
    auto motif = e.build();
    const int n = motif->nsubstructures();
    for (int i = 0; i < motif->ncontacts(); ++i) {
      const auto &c = *motif->contact(i);
      EXPECT_EQ(c.from_atom(), 0) << "contact " << i;
      EXPECT_EQ(c.to_atom(), 0) << "contact " << i;
      EXPECT_TRUE(0 <= c.from_substructure() && c.from_substructure() < n) << "contact " << i;
      EXPECT_TRUE(0 <= c.to_substructure() && c.to_substructure() < n) << "contact " << i;
      EXPECT_NE(c.from_substructure(), c.to_substructure()) << "contact " << i;
    }
    // Each group is its own fragment object, and each contact its own criterion.
    std::set<const MotifSubstructure *> subs;
    for (const auto &s : *motif->substructures())
      subs.insert(s.get());
    EXPECT_EQ(static_cast<int>(subs.size()), n);
    std::set<const CombinedCriterion *> crits;
    for (const auto &c : *motif->contacts())
      crits.insert(c->criterion().get());
    EXPECT_EQ(static_cast<int>(crits.size()), motif->ncontacts());
  }
}

TEST(ExtendedRingMotifsTable, HydrogenBondsJoinDonorAndAcceptorOfDifferentMolecules) {
  for (const auto &e : table()) {
    SCOPED_TRACE(e.name);
    auto motif = e.build();
    const std::vector<int> mol = molecules(*motif);
    const std::string order = group_order(*motif);
    const bool donors_only = std::string(e.name) == "R3 ribbon just donors";
    for (const auto &h : links_of_kind(*motif, 'H')) {
      SCOPED_TRACE(std::to_string(h.from) + ">" + std::to_string(h.to));
      EXPECT_NE(mol[h.from], mol[h.to]);
      std::string ends{order[h.from], order[h.to]};
      std::sort(ends.begin(), ends.end());
      EXPECT_EQ(ends, donors_only ? "DD" : "AD");
    }
  }
}

TEST(ExtendedRingMotifsTable, LongRangeContactsSeparateMoleculesNotHydrogenBonded) {
  for (const auto &e : table()) {
    SCOPED_TRACE(e.name);
    auto motif = e.build();
    const std::vector<int> mol = molecules(*motif);
    std::set<std::pair<int, int>> bonded;
    for (const auto &h : links_of_kind(*motif, 'H'))
      bonded.insert(std::minmax(mol[h.from], mol[h.to]));
    std::set<std::pair<int, int>> seen;
    for (const auto &l : links_of_kind(*motif, 'L')) {
      SCOPED_TRACE(std::to_string(l.from) + ">" + std::to_string(l.to));
      EXPECT_NE(mol[l.from], mol[l.to]);
      EXPECT_EQ(bonded.count(std::minmax(mol[l.from], mol[l.to])), 0u);
      EXPECT_TRUE(seen.insert(std::minmax(l.from, l.to)).second) << "repeated pair";
    }
  }
}

TEST(ExtendedRingMotifsTable, EveryGroupIsReachedThroughLinksAndHydrogenBonds) {
  // The search places a group by following a contact from a placed one; long-range contacts
  // come last and, reaching 30 A, must never be the way in.
  for (const auto &e : table()) {
    SCOPED_TRACE(e.name);
    auto motif = e.build();
    std::vector<Link> links = links_of_kind(*motif, 'I');
    for (const auto &h : links_of_kind(*motif, 'H'))
      links.push_back(h);
    EXPECT_EQ(count_of(components(motif->nsubstructures(), links)), 1);
  }
}

TEST(ExtendedRingMotifsTable, HydrogenBondsCloseTheRingsTheNameAnnounces) {
  for (const auto &e : table()) {
    SCOPED_TRACE(e.name);
    auto motif = e.build();
    const std::vector<int> sizes = smallest_rings(*motif);
    // Every hydrogen bond lies on a ring, and the smallest rings are exactly those named: R2R4
    // holds both two- and four-molecule rings, an R4 sheet no ring of two or three.
    EXPECT_EQ(std::count(sizes.begin(), sizes.end(), 0), 0);
    EXPECT_EQ(std::set<int>(sizes.begin(), sizes.end()), e.rings);
  }
}

TEST(ExtendedRingMotifsTable, SharedGroupsAppearWhereTheNameSaysSo) {
  for (const auto &e : table()) {
    SCOPED_TRACE(e.name);
    auto motif = e.build();
    const std::string order = group_order(*motif);
    const std::vector<int> use = hbond_use(*motif);
    int shared_donors = 0;
    int shared_acceptors = 0;
    for (std::size_t i = 0; i < use.size(); ++i) {
      if (use[i] >= 2 && order[i] == 'D')
        ++shared_donors;
      if (use[i] >= 2 && order[i] == 'A')
        ++shared_acceptors;
    }
    if (name_has(e, "shared donor")) {
      EXPECT_GT(shared_donors, 0);
    }
    if (name_has(e, "shared acceptor") || name_has(e, "and acceptor")) {
      EXPECT_GT(shared_acceptors, 0);
    }
    if (name_has(e, "duel donor")) {
      // Dual, not shared: no donor group serves twice, and some molecule donates through two
      // separate donor groups.
      EXPECT_EQ(shared_donors, 0);
      const std::vector<int> mol = molecules(*motif);
      std::map<int, std::set<int>> donating;
      for (const auto &h : links_of_kind(*motif, 'H'))
        donating[mol[h.from]].insert(h.from);
      EXPECT_TRUE(std::any_of(donating.begin(), donating.end(),
                              [](const auto &m) { return m.second.size() >= 2; }));
    }
  }
}

TEST(ExtendedRingMotifsTable, PlainPatternsUseEveryGroupOnce) {
  // The motifs without a variant in their name keep one group per hydrogen bond.
  const std::set<std::string> plain = {"R2 ribbon",     "R3 ribbon",        "R3 ribbon type 2",
                                       "R4 net type 1", "R4 net type 2",    "R4 sheet type3",
                                       "R4R4 net",      "R2R6 net",         "R2R6 net type 2",
                                       "R2R4 ladder",   "R2R4 ladder type2"};
  int seen = 0;
  for (const auto &e : table()) {
    if (!plain.count(e.name))
      continue;
    ++seen;
    SCOPED_TRACE(e.name);
    auto motif = e.build();
    const std::vector<int> use = hbond_use(*motif);
    EXPECT_EQ(std::set<int>(use.begin(), use.end()), std::set<int>{1});
  }
  EXPECT_EQ(seen, 11);
}

TEST(ExtendedRingMotifsCatalog, ListsEveryMotifByNameInLibraryOrder) {
  const auto catalog = ExtendedRingMotifs::catalog();
  ASSERT_EQ(catalog.size(), table().size());
  std::set<std::string> names;
  for (std::size_t i = 0; i < catalog.size(); ++i) {
    SCOPED_TRACE(table()[i].name);
    EXPECT_EQ(catalog[i].first, table()[i].name);
    EXPECT_EQ(catalog[i].second, table()[i].build);
    names.insert(catalog[i].first);
  }
  EXPECT_EQ(names.size(), catalog.size());
  // Deliberate spellings that must survive.
  EXPECT_TRUE(names.count("R2R6 net LICKEN"));
  EXPECT_TRUE(names.count("R4 sheet motif duel donor"));
  EXPECT_TRUE(names.count("R4 sheet with shared donor type2"));
  EXPECT_TRUE(names.count("R4 sheet with shared donor type 3"));
}

// ---------------------------------------------------------------------------------------------
// Exact cases

TEST(ExtendedRingMotifsR2Ribbon, TwelveGroupsAndFourteenContactsInOrder) {
  auto motif = ExtendedRingMotifs::r2_ribbon();
  ASSERT_EQ(motif->nsubstructures(), 12);
  ASSERT_EQ(motif->ncontacts(), 14);
  Strings got;
  std::vector<int> types;
  for (const auto &c : *motif->contacts()) {
    got.push_back(std::to_string(c->from_substructure()) + ">" +
                  std::to_string(c->to_substructure()));
    types.push_back(static_cast<int>(c->criterion()->contact_type()));
  }
  EXPECT_EQ(got, (Strings{"0>1", "2>3", "3>4", "4>5", "6>7", "7>8", "8>9", "10>11", "0>3", "1>2",
                          "4>7", "5>6", "8>11", "9>10"}));
  EXPECT_EQ(types, (std::vector<int>{2, 2, 2, 2, 2, 2, 2, 2, 1, 1, 1, 1, 1, 1}));
  // Molecules {0, 1}, {2, 3, 4, 5}, {6, 7, 8, 9}, {10, 11}.
  EXPECT_EQ(molecules(*motif), (std::vector<int>{0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3}));
}

TEST(ExtendedRingMotifsR3Ribbon, JustDonorsHasNoAcceptorGroup) {
  auto motif = ExtendedRingMotifs::r3_ribbon_just_donors();
  EXPECT_EQ(group_order(*motif), std::string(10, 'D'));
  for (const auto &sub : *motif->substructures())
    EXPECT_FALSE(sub->node(0)->allows(Element(Element::Sulfur)));
  // A hydroxyl donates one hydrogen: no group of this motif donates twice.
  std::map<int, int> donations;
  for (const auto &h : links_of_kind(*motif, 'H'))
    ++donations[h.from];
  for (const auto &d : donations)
    EXPECT_EQ(d.second, 1) << "group " << d.first;
}

// ---------------------------------------------------------------------------------------------
// Groups and criteria

TEST(ExtendedRingMotifsParts, DonorAndAcceptorFragments) {
  auto donor = ExtendedRingMotifs::make_donor();
  EXPECT_EQ(testing::atoms_text(*donor), Strings{"O|N[NH[in range 1,3]]"});
  EXPECT_EQ(donor->node(0)->elements().at(0).code(), 64);
  EXPECT_EQ(donor->node(0)->elements().at(1).code(), 56);
  EXPECT_EQ(donor->nedges(), 0);
  auto acceptor = ExtendedRingMotifs::make_acceptor();
  EXPECT_EQ(testing::atoms_text(*acceptor), Strings{"O|N|S"});
  EXPECT_EQ(acceptor->node(0)->elements().at(2).code(), 81);
  // Fresh objects on every call.
  EXPECT_NE(ExtendedRingMotifs::make_donor().get(), donor.get());
}

TEST(ExtendedRingMotifsParts, CriteriaValues) {
  auto intra = ExtendedRingMotifs::intra_crit();
  EXPECT_FALSE(intra->is_vdw_relative());
  EXPECT_EQ(intra->contact_type(), ContactType::Intra);
  EXPECT_EQ(intra->upper(), 20.0);
  EXPECT_EQ(intra->lower(), -5.0);

  auto hb = ExtendedRingMotifs::hbond_crit();
  EXPECT_TRUE(hb->is_vdw_relative());
  EXPECT_EQ(hb->contact_type(), ContactType::Inter);
  EXPECT_EQ(hb->upper(), 0.2);
  EXPECT_EQ(hb->lower(), -5.0);

  auto lg = ExtendedRingMotifs::long_crit();
  EXPECT_TRUE(lg->is_vdw_relative());
  EXPECT_EQ(lg->contact_type(), ContactType::Inter);
  EXPECT_EQ(lg->upper(), 30.0);
  EXPECT_EQ(lg->lower(), 0.2);

  for (const auto &c : {intra, hb, lg}) {
    EXPECT_EQ(c->min_path(), 4);
    EXPECT_EQ(c->max_path(), 999);
    EXPECT_FALSE(c->is_symmetric());
  }
}

TEST(ExtendedRingMotifsParts, HydrogenBondWindowBetweenHeavyAtoms) {
  // Bondi radii: O 1.52, N 1.55 A. An N...O pair is a hydrogen bond below 1.55 + 1.52 + 0.2 =
  // 3.27 A and a long-range pair above it.
  const double n = 1.55, o = 1.52;
  auto hb = ExtendedRingMotifs::hbond_crit();
  auto lg = ExtendedRingMotifs::long_crit();
  EXPECT_TRUE(hb->test_distance(2.90, n, o));
  EXPECT_TRUE(hb->test_distance(3.25, n, o));
  EXPECT_FALSE(hb->test_distance(3.29, n, o));
  EXPECT_FALSE(lg->test_distance(3.25, n, o));
  EXPECT_TRUE(lg->test_distance(3.29, n, o));
  EXPECT_FALSE(lg->test_distance(33.2, n, o));
  // O...O: 3.24 A.
  EXPECT_TRUE(hb->test_distance(3.23, o, o));
  EXPECT_FALSE(hb->test_distance(3.25, o, o));
}

// Small molecules built atom by atom: one heavy atom with `nh` explicit hydrogens, plus
// `carbons` carbon neighbours.
THandle<Molecule> centre(const char *symbol, int nh, int carbons = 0, int implicit = 0) {
  auto m = make_handle<Molecule>();
  auto heavy = make_handle<Atom>(Element(symbol));
  heavy->set_implicit_hydrogens(implicit);
  m->add_atom(heavy);
  for (int i = 0; i < nh; ++i)
    m->add_bond(0, m->add_atom(make_handle<Atom>(Element("H"))), BondType::Single);
  for (int i = 0; i < carbons; ++i)
    m->add_bond(0, m->add_atom(make_handle<Atom>(Element("C"))), BondType::Single);
  return m;
}

/// Whether the one-atom fragment matches the molecule's atom 0.
bool matches_centre(const MotifSubstructure &sub, const Molecule &m) {
  for (const auto &hit : SubstructureSearch().search(sub, m))
    if (hit.at(0) == 0)
      return true;
  return false;
}

TEST(ExtendedRingMotifsParts, DonorIsOxygenOrNitrogenWithOneToThreeHydrogens) {
  auto donor = ExtendedRingMotifs::make_donor();
  struct Case {
    const char *what;
    THandle<Molecule> molecule;
    bool donor;
  };
  const std::vector<Case> cases = {
      {"hydroxyl O-H", centre("O", 1, 1), true},
      {"water", centre("O", 2), true},
      {"hydronium", centre("O", 3), true},
      {"ether O", centre("O", 0, 2), false},
      {"amide N-H", centre("N", 1, 2), true},
      {"amino NH2", centre("N", 2, 1), true},
      {"ammonia", centre("N", 3), true},
      {"ammonium", centre("N", 4), false},
      {"tertiary amine", centre("N", 0, 3), false},
      {"methane", centre("C", 4), false},
      {"hydrogen sulfide", centre("S", 2), false},
      {"NH2 given as implicit hydrogens", centre("N", 0, 1, 2), true},
      {"O with one explicit and three implicit hydrogens", centre("O", 1, 0, 3), false},
  };
  for (const auto &c : cases)
    EXPECT_EQ(matches_centre(*donor, *c.molecule), c.donor) << c.what;
}

TEST(ExtendedRingMotifsParts, AcceptorIsAnyOxygenNitrogenOrSulfur) {
  auto acceptor = ExtendedRingMotifs::make_acceptor();
  struct Case {
    const char *what;
    THandle<Molecule> molecule;
    bool acceptor;
  };
  const std::vector<Case> cases = {
      {"ether O", centre("O", 0, 2), true},        {"water", centre("O", 2), true},
      {"ammonium", centre("N", 4), true},          {"pyridine-like N", centre("N", 0, 2), true},
      {"thioether S", centre("S", 0, 2), true},    {"hydrogen sulfide", centre("S", 2), true},
      {"methane", centre("C", 4), false},          {"chloride", centre("Cl", 0), false},
      {"fluorine on C", centre("F", 0, 1), false}, {"phosphine", centre("P", 3), false},
  };
  for (const auto &c : cases)
    EXPECT_EQ(matches_centre(*acceptor, *c.molecule), c.acceptor) << c.what;
}

// ---------------------------------------------------------------------------------------------
// The census of hydrogen-bonding groups

/// Joins `piece` (heavy atom at its index 0) into `into`, bonded to nothing.
void append(Molecule &into, const Molecule &piece) {
  const int base = into.natoms();
  for (const auto &a : piece.atoms())
    into.add_atom(a->clone());
  for (const auto &b : piece.bonds())
    into.add_bond(base + b->atom1(), base + b->atom2(), b->type());
}

Strings file_lines(const std::string &path) {
  std::ifstream in(path);
  Strings lines;
  for (std::string line; std::getline(in, line);)
    lines.push_back(line);
  return lines;
}

TEST(ExtendedRingMotifsCensus, CountsGroupsOfTheFirstMoleculeOfEachEntry) {
  // Molecule 0 holds one group of each kind: C-O-H, a water-like OH2, C-NH-C, C-NH2, C-NH3,
  // a carbonyl-like O without hydrogen and a tertiary N. A second molecule (a water) is not
  // counted, and an entry without molecules is noted.
  auto first = make_handle<Molecule>();
  append(*first, *centre("O", 1, 1));
  append(*first, *centre("O", 2));
  append(*first, *centre("N", 1, 2));
  append(*first, *centre("N", 2, 1));
  append(*first, *centre("N", 3, 1));
  append(*first, *centre("O", 0, 1));
  append(*first, *centre("N", 0, 3));
  auto crystal = make_handle<CrystalMaker>();
  crystal->add_molecule(first);
  crystal->add_molecule(centre("O", 2));

  MemoryDatabase db;
  db.add(DatabaseEntryIdentifier("GROUPS"), crystal);
  db.add(DatabaseEntryIdentifier("EMPTY"), make_handle<CrystalMaker>());

  const std::string path = ExtendedRingMotifs::acceptors_donors_path();
  EXPECT_NE(path.find("xtalmotif_acceptors_donors.txt"), std::string::npos);
  std::remove(path.c_str());
  ExtendedRingMotifs::count_acceptors_donors(db);
  EXPECT_EQ(file_lines(path), (Strings{"identifier\tOH1\tOH2\tNH1\tNH2\tNH3\tO\tN",
                                       "GROUPS\t1\t1\t1\t1\t1\t1\t1", "EMPTY\tno molecules"}));
  std::remove(path.c_str());
}

} // namespace
} // namespace xtalmotif
