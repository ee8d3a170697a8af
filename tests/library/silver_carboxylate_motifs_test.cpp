#include "library/silver_carboxylate_motifs.h"

#include "library_test_helpers.h"

#include "chem/condition.h"
#include "crystal/crystal_maker.h"
#include "chem/element.h"
#include "chem/molecule.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace xtalmotif {
namespace {

using S = SilverCarboxylateMotifs;
const double kAg = 1.72, kO = 1.52; // van der Waals radii, A

TEST(SilverCarboxylateMotifs, EveryContactIsAnAgOBondBetweenACarboxylateAndASilver) {
  int o1 = -1, o2 = -1;
  S::make_carboxylate(o1, o2);
  for (auto make : {&S::make_pattern1, &S::make_pattern2, &S::make_pattern3, &S::make_pattern4,
                    &S::make_pattern5, &S::make_pattern6, &S::make_pattern7, &S::make_pattern8,
                    &S::make_pattern9, &S::make_pattern10, &S::make_pattern11, &S::make_pattern12,
                    &S::make_pattern13}) {
    auto m = make();
    SCOPED_TRACE(m->name());
    auto is_silver = [&m](int s) { return m->substructure(s)->nnodes() == 1; };
    testing::Edges joined;
    std::set<std::tuple<int, int, int>> pairs;
    for (const auto &c : *m->contacts()) {
      int carboxylate = c->from_substructure(), oxygen = c->from_atom();
      int silver = c->to_substructure();
      if (is_silver(carboxylate))
        std::swap(carboxylate, silver), oxygen = c->to_atom();
      ASSERT_TRUE(is_silver(silver));
      EXPECT_TRUE(m->substructure(silver)->node(0)->allows(Element("Ag")));
      EXPECT_EQ(m->substructure(carboxylate)->name, "carboxylate");
      EXPECT_TRUE(oxygen == o1 || oxygen == o2) << "atom " << oxygen;
      EXPECT_TRUE(pairs.insert({carboxylate, oxygen, silver}).second) << "joined twice";
      // Ag-O bonds of silver(I) carboxylates run from 2.1 to 2.7 A, also inside one molecule.
      EXPECT_TRUE(c->criterion()->test_distance(2.4, kAg, kO));
      EXPECT_FALSE(c->criterion()->test_distance(2.9, kAg, kO));
      EXPECT_EQ(c->criterion()->contact_type(), ContactType::Any);
      joined.emplace_back(carboxylate, silver);
    }
    EXPECT_EQ(testing::pieces(m->nsubstructures(), joined),
              std::vector<int>(m->nsubstructures(), 0));
  }
}

TEST(SilverCarboxylateMotifs, DimerAnglesAreTheSixAnglesOfItsRingAtAndNextToTheSilvers) {
  auto m = S::make_pattern3();
  using End = std::pair<int, int>; // substructure, atom
  std::set<std::set<End>> joined;  // by a contact or a bond of the carboxylate
  for (const auto &c : *m->contacts())
    joined.insert(std::set<End>{End{c->from_substructure(), c->from_atom()},
                                End{c->to_substructure(), c->to_atom()}});
  for (int s = 0; s < m->nsubstructures(); ++s)
    for (const auto &e : m->substructure(s)->edges())
      joined.insert(std::set<End>{End{s, e.atom1}, End{s, e.atom2}});
  std::set<std::set<End>> angles;
  for (const auto &a : *m->angle_constraints()) {
    const End first = a->reference(0), vertex = a->reference(1), last = a->reference(2);
    EXPECT_TRUE(joined.count({first, vertex}) && joined.count({vertex, last}));
    EXPECT_TRUE(m->substructure(first.first)->nnodes() == 1 ||
                m->substructure(vertex.first)->nnodes() == 1 ||
                m->substructure(last.first)->nnodes() == 1)
        << "an angle without a silver";
    angles.insert({first, vertex, last});
    // Open ranges: every real angle passes, an undefined one (atoms on top of each other) not.
    for (double deg : {0.0, 124.5, 180.0})
      EXPECT_TRUE(a->condition()->test(deg)) << deg;
    EXPECT_FALSE(a->condition()->test(std::nan("")));
  }
  EXPECT_EQ(angles.size(), 6u);
}

TEST(SilverCarboxylateMotifs, RemovingSilverBondsLeavesEverySilverAlone) {
  auto molecule = [](std::vector<const char *> atoms, std::vector<std::pair<int, int>> bonds) {
    auto m = make_handle<Molecule>();
    for (const char *s : atoms)
      m->add_atom(make_handle<Atom>(Element(s), s));
    for (const auto &[a, b] : bonds)
      m->add_bond(a, b, BondType::Single);
    return m;
  };
  // Acetate-Ag-acetate; Ag-Ag-N-C; O-Ag-O-C; formic acid without silver.
  auto crystal = make_handle<CrystalMaker>();
  crystal->add_molecule(molecule({"C", "C", "O", "O", "Ag", "C", "C", "O", "O"},
                                 {{0, 1}, {1, 2}, {1, 3}, {4, 3}, {4, 7}, {5, 6}, {6, 7}, {6, 8}}));
  crystal->add_molecule(molecule({"Ag", "Ag", "N", "C"}, {{0, 1}, {1, 2}, {2, 3}}));
  crystal->add_molecule(molecule({"O", "Ag", "O", "C"}, {{0, 1}, {1, 2}, {3, 0}}));
  crystal->add_molecule(molecule({"C", "O", "O"}, {{0, 1}, {0, 2}}));

  S::remove_silver_bonds(crystal);

  std::multiset<int> sizes;
  for (int i = 0; i < crystal->nmolecules(); ++i) {
    auto m = crystal->molecule(i);
    sizes.insert(m->natoms());
    for (int a = 0; a < m->natoms(); ++a)
      EXPECT_TRUE(m->natoms() == 1 || m->atom(a)->element() != Element("Ag"));
  }
  // Acetate, Ag, acetate; Ag, Ag, N-C; O-C, Ag, O; the acid.
  EXPECT_EQ(sizes, (std::multiset<int>{1, 1, 1, 1, 1, 2, 2, 3, 4, 4}));
}

} // namespace
} // namespace xtalmotif
