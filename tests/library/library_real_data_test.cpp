// The ready-made fragments and the silver preparation applied to real crystal structures. The
// expected counts come from the structures themselves: their formulae, the atom lists of the CIF
// files and the bonding a chemist draws for them.

#include "library/pre_defined_substructures.h"
#include "library/silver_carboxylate_motifs.h"

#include "test_data.h"

#include "crystal/cif_reader.h"
#include "crystal/crystal_maker.h"
#include "chem/element.h"
#include "chem/molecule.h"
#include "chem/substructure.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

using Options = PreDefinedSubstructures::GenerationOptions;

THandle<CrystalMaker> load(const std::string &file) {
  auto path = testing::require_data("curated/" + file);
  return read_crystal(path.string(), "");
}

/// Hits of the fragment over all symmetry-independent molecules whose size it allows, as a
/// search places its first substructure.
int count_hits(const CrystalMaker &crystal, const std::string &key) {
  auto sub = PreDefinedSubstructures::make_sub(key, Options{false, false, false});
  if (sub.is_null()) {
    ADD_FAILURE() << "no fragment " << key;
    return -1;
  }
  int n = 0;
  for (int i = 0; i < crystal.nmolecules(); ++i) {
    auto m = crystal.molecule(i);
    if (sub->is_target_size_allowed(m))
      n += static_cast<int>(SubstructureSearch().search(*sub, *m).size());
  }
  return n;
}

struct Expected {
  const char *file;
  const char *what;
  int molecules;
  std::map<std::string, int> hits;
};

// Groups counted per structure (asymmetric unit, whole molecules):
// - ibuprofen: one molecule, one COOH (carbonyl O2a, hydroxyl O1a-H1a).
// - glycylglycine zwitterion H3N+-CH2-C(=O)-NH-CH2-COO-: an open-chain amide, so no hit of the
//   ring amide CONH but one trans amide; donors N1 (NH3+) and N2 (amide NH); acceptors the
//   amide O1 and the carboxylate O2, O3.
// - 5-fluorocytosine hemipentahydrate: two C4H4FN3O molecules and five waters in the asymmetric
//   unit. Each base has the ring amide O=C2-N1-H (CONH, the C-N bond in the ring), donors N1-H
//   and the amino N4H2, acceptors O2, the unprotonated ring N3 and F; each water is a donor.
// - benzene: nothing that donates or accepts.
// - 5-ethyl-2'-deoxycytidine: hydroxyls O3'-H and O5'-H; donors these and the amino N4H2;
//   acceptors O2, the furanose O4', N1 (no H, three connections) and N3; no N-H amide.
// - farnasiaside (C26H38O10 glycoside): six O-H groups (O2, O4, O7, O8, O9, O10), one ester
//   (O1, carbonyl O3) and two ring/ether oxygens O5, O6 as the other acceptors.
const std::vector<Expected> &structures() {
  static const std::vector<Expected> all = {
      {"acid__2300214-r274507.cif",
       "ibuprofen",
       1,
       {{"COO-", 0},
        {"carboxylic acid", 1},
        {"hydroxy", 1},
        {"H2O", 0},
        {"CONH", 0},
        {"donor", 1},
        {"acceptor", 1}}},
      {"amide__2100438-cell-vol.cif",
       "glycylglycine",
       1,
       {{"COO-", 1},
        {"carboxylic acid", 0},
        {"hydroxy", 0},
        {"H2O", 0},
        {"CONH", 0},
        {"trans-amide", 1},
        {"NH3", 1},
        {"donor", 2},
        {"acceptor", 3}}},
      {"hydrate__4504659.cif",
       "5-fluorocytosine hemipentahydrate",
       7,
       {{"COO-", 0},
        {"carboxylic acid", 0},
        {"hydroxy", 0},
        {"H2O", 5},
        {"CONH", 2},
        {"NH2", 2},
        {"donor", 9},
        {"acceptor", 6}}},
      {"negative__2100348-benzene.cif",
       "benzene",
       1,
       {{"COO-", 0},
        {"carboxylic acid", 0},
        {"hydroxy", 0},
        {"H2O", 0},
        {"CONH", 0},
        {"donor", 0},
        {"acceptor", 0}}},
      {"urea__2010359.cif",
       "5-ethyl-2'-deoxycytidine",
       1,
       {{"COO-", 0},
        {"carboxylic acid", 0},
        {"hydroxy", 2},
        {"H2O", 0},
        {"CONH", 0},
        {"donor", 3},
        {"acceptor", 4}}},
      {"alcohol__2210104-temperature-C.cif",
       "farnasiaside",
       1,
       {{"COO-", 0},
        {"carboxylic acid", 0},
        {"hydroxy", 6},
        {"H2O", 0},
        {"CONH", 0},
        {"ester", 1},
        {"donor", 6},
        {"acceptor", 4}}},
  };
  return all;
}

TEST(LibraryRealData, FunctionalGroupCountsMatchTheStructures) {
  for (const auto &s : structures()) {
    SCOPED_TRACE(std::string(s.file) + " (" + s.what + ")");
    THandle<CrystalMaker> crystal;
    ASSERT_NO_THROW(crystal = load(s.file));
    ASSERT_FALSE(crystal.is_null());
    EXPECT_EQ(crystal->nmolecules(), s.molecules);
    for (const auto &[key, expected] : s.hits)
      EXPECT_EQ(count_hits(*crystal, key), expected) << "fragment \"" << key << "\"";
  }
}

TEST(LibraryRealData, WaterNeedsASmallMolecule) {
  // Five lattice waters of three atoms each; no oxygen of the fluorocytosine molecules carries two
  // hydrogens, so widening the size limit must not change the count.
  auto crystal = load("hydrate__4504659.cif");
  auto h2o = PreDefinedSubstructures::make_h2o(Options{false, false, false});
  int waters = 0;
  int any_size = 0;
  for (int i = 0; i < crystal->nmolecules(); ++i) {
    auto m = crystal->molecule(i);
    int n = static_cast<int>(SubstructureSearch().search(*h2o, *m).size());
    any_size += n;
    if (h2o->is_target_size_allowed(m)) {
      waters += n;
      if (n == 1) {
        EXPECT_EQ(m->natoms(), 3);
      }
    }
  }
  EXPECT_EQ(waters, 5);
  EXPECT_EQ(any_size, 5);
}

// ---------------------------------------------------------------------------------------------
// Silver structures

struct SilverCensus {
  int silvers = 0;
  int atoms = 0;
  int silver_bonds = 0;
  int lone_silvers = 0;
  // Silvers bonded to an oxygen of a carboxyl group (an O on a carbon that carries two O).
  int silvers_on_carboxylate = 0;
};

SilverCensus silver_census(const CrystalMaker &crystal) {
  SilverCensus c;
  const Element ag("Ag");
  const Element o("O");
  const Element carbon("C");
  for (int i = 0; i < crystal.nmolecules(); ++i) {
    auto m = crystal.molecule(i);
    c.atoms += m->natoms();
    for (const auto &b : m->bonds())
      if (m->atom(b->atom1())->element() == ag || m->atom(b->atom2())->element() == ag)
        ++c.silver_bonds;
    for (int a = 0; a < m->natoms(); ++a) {
      if (m->atom(a)->element() != ag)
        continue;
      ++c.silvers;
      if (m->natoms() == 1)
        ++c.lone_silvers;
      bool on_carboxylate = false;
      for (int ox : m->neighbours(a)) {
        if (m->atom(ox)->element() != o)
          continue;
        for (int cx : m->neighbours(ox)) {
          if (m->atom(cx)->element() != carbon)
            continue;
          int oxygens = 0;
          for (int n : m->neighbours(cx))
            oxygens += m->atom(n)->element() == o;
          on_carboxylate = on_carboxylate || oxygens == 2;
        }
      }
      c.silvers_on_carboxylate += on_carboxylate;
    }
  }
  return c;
}

int carboxylate_hits(const CrystalMaker &crystal) {
  int o1 = -1;
  int o2 = -1;
  auto sub = SilverCarboxylateMotifs::make_carboxylate(o1, o2);
  int n = 0;
  for (int i = 0; i < crystal.nmolecules(); ++i)
    n += static_cast<int>(SubstructureSearch().search(*sub, *crystal.molecule(i)).size());
  return n;
}

TEST(LibraryRealData, SilverCarboxylatePolymerFallsApartIntoIonsAndLigands) {
  // 7051216: Ag2 is bonded to carboxylate O3 (Ag-O 2.13 A) and to a pyridyl N; Ag1 to pyridyl N.
  auto crystal = load("silver__7051216.cif");
  ASSERT_FALSE(crystal.is_null());
  SilverCensus before = silver_census(*crystal);
  ASSERT_GT(before.silvers, 0);
  EXPECT_GT(before.silver_bonds, 0);
  EXPECT_GE(before.silvers_on_carboxylate, 1);
  EXPECT_LT(before.lone_silvers, before.silvers);

  SilverCarboxylateMotifs::remove_silver_bonds(crystal);

  SilverCensus after = silver_census(*crystal);
  EXPECT_EQ(after.silver_bonds, 0);
  EXPECT_EQ(after.silvers, before.silvers);
  EXPECT_EQ(after.atoms, before.atoms);
  // Every silver, the carboxylate-bound one included, is now a molecule by itself.
  EXPECT_EQ(after.lone_silvers, after.silvers);
  EXPECT_EQ(after.silvers_on_carboxylate, 0);
  // The carboxyl groups (COO- on Ag2 and the COOH) are still whole, found both ways round.
  EXPECT_GE(carboxylate_hits(*crystal), 4);
  EXPECT_EQ(carboxylate_hits(*crystal) % 2, 0);
}

TEST(LibraryRealData, SilverPyridylChainLosesItsSilverBonds) {
  // 2213608: Ag1 between two pyridyl N (Ag-N 2.16 A); the fumarate is not bonded to silver.
  auto crystal = load("silver__2213608.cif");
  ASSERT_FALSE(crystal.is_null());
  SilverCensus before = silver_census(*crystal);
  ASSERT_GT(before.silvers, 0);
  EXPECT_GT(before.silver_bonds, 0);
  EXPECT_EQ(before.silvers_on_carboxylate, 0);
  int carboxylates_before = carboxylate_hits(*crystal);

  SilverCarboxylateMotifs::remove_silver_bonds(crystal);

  SilverCensus after = silver_census(*crystal);
  EXPECT_EQ(after.silver_bonds, 0);
  EXPECT_EQ(after.silvers, before.silvers);
  EXPECT_EQ(after.atoms, before.atoms);
  EXPECT_EQ(after.lone_silvers, after.silvers);
  // No silver was bonded to the fumarate, so its carboxylates are found as before.
  EXPECT_EQ(carboxylate_hits(*crystal), carboxylates_before);
  EXPECT_GE(carboxylates_before, 2);
}

} // namespace
} // namespace xtalmotif
