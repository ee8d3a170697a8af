// The extended-ring motifs checked for what their names announce. Groups joined by
// intramolecular links form molecules; with one node per molecule and one edge per hydrogen
// bond, the smallest ring through every hydrogen bond must be one the name gives (R2R4: rings of
// two and four molecules), and shared or dual groups must be there when the name says so.

#include "library/extended_ring_motifs.h"

#include "library_test_helpers.h"

#include "crystal/crystal_maker.h"
#include "chem/element.h"
#include "chem/molecule.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

using E = ExtendedRingMotifs;
const double kN = 1.55, kO = 1.52; // van der Waals radii, A

/// 'I' for two groups of one molecule, 'H' for a hydrogen bond (an N...O of 2.9 A fits), 'L' for
/// groups held apart (beyond hydrogen-bond reach).
char kind(const MotifContact &c) {
  const auto &crit = *c.criterion();
  if (crit.contact_type() == ContactType::Intra)
    return 'I';
  return crit.test_distance(2.9, kN, kO) ? 'H' : crit.test_distance(3.5, kN, kO) ? 'L' : '?';
}

/// The ring sizes of the name: "R2R4 ladder" -> {2, 4}.
std::set<int> rings_in_name(const std::string &name) {
  std::set<int> rings;
  for (std::size_t i = 0; i + 1 < name.size() && name[i] != ' '; ++i)
    if (name[i] == 'R')
      rings.insert(name[i + 1] - '0');
  return rings;
}

TEST(ExtendedRingMotifs, EveryMotifHasTheRingsAndGroupsItsNameAnnounces) {
  std::set<std::string> names;
  for (const auto &[name, build] : E::catalog()) {
    SCOPED_TRACE(name);
    EXPECT_TRUE(names.insert(name).second) << "listed twice";
    auto motif = build();
    EXPECT_EQ(motif->name(), name);
    const int n = motif->nsubstructures();
    std::string group;
    for (const auto &s : *motif->substructures())
      group += *s == *E::make_donor() ? 'D' : *s == *E::make_acceptor() ? 'A' : '?';
    std::map<char, testing::Edges> by_kind;
    for (const auto &c : *motif->contacts())
      by_kind[kind(*c)].emplace_back(c->from_substructure(), c->to_substructure());
    EXPECT_EQ(by_kind.count('?'), 0u);
    // Molecules: the pieces of the intramolecular links.
    const auto mol = testing::pieces(n, by_kind['I']);
    testing::Edges hbonds, reach = by_kind['I'];
    std::set<std::pair<int, int>> bonded, apart;
    std::vector<int> use(n, 0);
    std::set<std::pair<int, int>> donating; // molecule, donor group
    for (const auto &[a, b] : by_kind['H']) {
      EXPECT_NE(mol[a], mol[b]);
      const std::string ends = {std::min(group[a], group[b]), std::max(group[a], group[b])};
      EXPECT_EQ(ends, name == "R3 ribbon just donors" ? "DD" : "AD");
      hbonds.emplace_back(mol[a], mol[b]);
      reach.emplace_back(a, b);
      bonded.insert(std::minmax(mol[a], mol[b]));
      ++use[a], ++use[b];
      donating.insert(group[a] == 'D' ? std::pair{mol[a], a} : std::pair{mol[b], b});
    }
    for (const auto &[a, b] : by_kind['L']) {
      EXPECT_TRUE(apart.insert(std::minmax(a, b)).second) << "held apart twice";
      EXPECT_NE(mol[a], mol[b]);
      EXPECT_EQ(bonded.count(std::minmax(mol[a], mol[b])), 0u) << "bonded and held apart";
    }
    // Long-range contacts reach 30 A: every group must be placed through links and bonds.
    EXPECT_EQ(testing::pieces(n, reach), std::vector<int>(n, 0));
    const auto rings =
        testing::smallest_rings(*std::max_element(mol.begin(), mol.end()) + 1, hbonds);
    EXPECT_EQ(std::set<int>(rings.begin(), rings.end()), rings_in_name(name));

    int shared_donors = 0, shared_acceptors = 0, two_donor_molecules = 0;
    for (int i = 0; i < n; ++i)
      (group[i] == 'D' ? shared_donors : shared_acceptors) += use[i] >= 2;
    std::map<int, int> donor_groups; // per molecule
    for (const auto &d : donating)
      two_donor_molecules += ++donor_groups[d.first] == 2;
    const auto says = [&name = name](const char *w) { return name.find(w) != std::string::npos; };
    EXPECT_TRUE(!says("shared donor") || shared_donors > 0);
    EXPECT_TRUE(!(says("shared acceptor") || says("and acceptor")) || shared_acceptors > 0);
    // Dual, not shared: some molecule donates through two donor groups, each used once.
    EXPECT_TRUE(!says("duel donor") || (shared_donors == 0 && two_donor_molecules > 0));
    // Plain patterns (no variant, no structure's name) use every group in one hydrogen bond.
    // Names of structures (ACAPRE, LICKEN, ...) are the only capitals after the ring pattern.
    const bool plain = !says("shared") && !says("duel") && !says("just") &&
                       std::none_of(name.begin() + name.find(' '), name.end(), ::isupper);
    EXPECT_TRUE(!plain || std::set<int>(use.begin(), use.end()) == std::set<int>{1});
  }
  EXPECT_EQ(names.size(), 44u);
}

// A heavy atom with `nh` explicit and `implicit` implicit hydrogens and `carbons` carbons.
THandle<Molecule> centre(const char *symbol, int nh, int carbons = 0, int implicit = 0) {
  auto m = make_handle<Molecule>();
  auto heavy = make_handle<Atom>(Element(symbol));
  heavy->set_implicit_hydrogens(implicit);
  m->add_atom(heavy);
  for (int i = 0; i < nh + carbons; ++i)
    m->add_bond(0, m->add_atom(make_handle<Atom>(Element(i < nh ? "H" : "C"))), BondType::Single);
  return m;
}

TEST(ExtendedRingMotifs, DonorsAndAcceptorsAreTheRightAtoms) {
  struct Case {
    const char *what;
    THandle<Molecule> m;
    bool donor, acceptor;
  };
  const std::vector<Case> cases = {{"hydroxyl", centre("O", 1, 1), true, true},
                                   {"water", centre("O", 2), true, true},

                                   {"ether", centre("O", 0, 2), false, true},
                                   {"amide N-H", centre("N", 1, 2), true, true},
                                   {"ammonium", centre("N", 4), false, true},

                                   {"NH2 implicit", centre("N", 0, 1, 2), true, true},
                                   {"O with 4 H", centre("O", 1, 0, 3), false, true},
                                   {"H2S", centre("S", 2), false, true},
                                   {"methane", centre("C", 4), false, false},
                                   {"chloride", centre("Cl", 0), false, false}};
  for (const auto &c : cases) {
    auto at_centre = [&c](const THandle<MotifSubstructure> &s) {
      for (const auto &hit : SubstructureSearch().search(*s, *c.m))
        if (hit.at(0) == 0)
          return true;
      return false;
    };
    EXPECT_EQ(at_centre(E::make_donor()), c.donor) << c.what;
    EXPECT_EQ(at_centre(E::make_acceptor()), c.acceptor) << c.what;
  }
}

TEST(ExtendedRingMotifs, HydrogenBondReachBetweenHeavyAtoms) {
  // N...O: 1.55 + 1.52 + 0.2 = 3.27 A; O...O 3.24 A. Beyond it groups are held apart.
  auto hb = E::hbond_crit(), apart = E::long_crit();
  for (const auto &[d, r, in] : std::vector<std::tuple<double, double, bool>>{
           {3.25, kN, true}, {3.29, kN, false}, {3.23, kO, true}, {3.25, kO, false}}) {
    EXPECT_EQ(hb->test_distance(d, r, kO), in) << d;
    EXPECT_EQ(apart->test_distance(d, r, kO), !in) << d;
  }
  EXPECT_FALSE(apart->test_distance(33.2, kN, kO));
}

TEST(ExtendedRingMotifs, CensusCountsGroupsOfTheFirstMoleculeOfEachEntry) {
  // Molecule 0: C-O-H, OH2, C-NH-C, C-NH2, C-NH3, C-O and a tertiary N, one of each; the water
  // of molecule 1 is not counted.
  auto first = make_handle<Molecule>();
  for (auto piece : {centre("O", 1, 1), centre("O", 2), centre("N", 1, 2), centre("N", 2, 1),
                     centre("N", 3, 1), centre("O", 0, 1), centre("N", 0, 3)}) {
    const int base = first->natoms();
    for (const auto &a : piece->atoms())
      first->add_atom(a->clone());
    for (const auto &b : piece->bonds())
      first->add_bond(base + b->atom1(), base + b->atom2(), b->type());
  }
  auto crystal = make_handle<CrystalMaker>();
  crystal->add_molecule(first);
  crystal->add_molecule(centre("O", 2));
  MemoryDatabase db;
  db.add(DatabaseEntryIdentifier("GROUPS"), crystal);
  db.add(DatabaseEntryIdentifier("EMPTY"), make_handle<CrystalMaker>());
  const std::string path = E::acceptors_donors_path();
  E::count_acceptors_donors(db);
  std::ifstream in(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);)
    lines.push_back(line);
  EXPECT_EQ(lines,
            (std::vector<std::string>{"identifier\tOH1\tOH2\tNH1\tNH2\tNH3\tO\tN",
                                      "GROUPS\t1\t1\t1\t1\t1\t1\t1", "EMPTY\tno molecules"}));
  std::remove(path.c_str());
}

} // namespace
} // namespace xtalmotif
