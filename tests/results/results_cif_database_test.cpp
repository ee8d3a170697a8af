// Results of a real structure held in a CIF database: the entry is re-read from its file and the
// atoms of stored matches come back at their symmetry-generated positions.

#include "results/motif_search_results.h"

#include "crystal/cif_reader.h"

#include "search/match_test_motifs.h"
#include "test_data.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace xtalmotif {
namespace {

// Ibuprofen, P 1 21/c 1; the file lists x,y,z / -x,y+1/2,-z+1/2 / -x,-y,-z / x,-y+1/2,z+1/2,
// so environment copy 2 of its one molecule is the inverted molecule.
class IbuprofenResultsTest : public ::testing::Test {
protected:
  void SetUp() override {
    path = testing::require_data("curated/acid__2300214-r274507.cif").string();
    db = make_handle<CifDatabase>(std::vector<std::string>{path});
    crystal = read_crystal(path, "");
    const Molecule &mol = *crystal->molecule(0);
    for (int i = 0; i < mol.natoms(); ++i)
      if (mol.atom(i)->element().symbol() == "O") {
        oxygen = i;
        break;
      }
  }
  std::string path;
  THandle<CifDatabase> db;
  THandle<CrystalMaker> crystal;
  int oxygen = -1;
};

TEST_F(IbuprofenResultsTest, MatchedAtomIsTheInvertedOxygenInTheGivenCell) {
  ASSERT_EQ(db->nentries(), 1);
  DatabaseEntryIdentifier id = db->entry(0)->identifier();
  EXPECT_EQ(id.str(), "2300214");
  ASSERT_GE(oxygen, 0);

  auto motif = make_handle<Motif>("oxygen");
  motif->add_substructure(testing::chain_fragment({"O"}));
  auto match = make_handle<MotifMatch>(motif);
  match->set_substructure_match(0, 2, 0, testing::atom_list({oxygen}),
                                make_handle<Translation>(1, 1, 1));
  MotifSearchResults results;
  results.set_database(db);
  results.add_motif_match(id, match);

  THandle<Atom> o = results.matched_atom(0, 0, 0, 0);
  const Atom &source = *crystal->molecule(0)->atom(oxygen);
  EXPECT_EQ(o->label(), source.label());
  EXPECT_EQ(o->element().symbol(), "O");
  const Point &f = source.site()->fractional();
  for (int a = 0; a < 3; ++a)
    EXPECT_NEAR(o->site()->fractional()[a], 1.0 - f[a], 1e-9);
  // Inversion through the origin plus a lattice vector keeps every interatomic distance, so the
  // oxygen's orthogonal position is the cell's (1, 1, 1) corner minus the original position.
  Point corner = crystal->to_orthogonal(Point(1, 1, 1));
  for (int a = 0; a < 3; ++a)
    EXPECT_NEAR(o->site()->orthogonal()[a], corner[a] - source.site()->orthogonal()[a], 1e-6);

  auto result = results.result(0);
  ASSERT_FALSE(result.is_null());
  EXPECT_EQ(result->resource()->ncopies(), 4);
  EXPECT_EQ(result->matched_molecule(0, 0)->natoms(), crystal->molecule(0)->natoms());

  auto pairs = results.matched_contact_atoms(0, true);
  EXPECT_TRUE(pairs.empty()); // the motif has no contacts
}

TEST_F(IbuprofenResultsTest, SavedListNamesTheDataBlock) {
  MotifSearchResults results;
  results.set_database(db);
  results.add_motif_match(db->entry(0)->identifier(), make_handle<MotifMatch>());
  auto file = std::filesystem::temp_directory_path() /
              ("xtalmotif-ibuprofen-" + std::to_string(::getpid()) + ".txt");
  ASSERT_TRUE(results.save(file.string()));
  std::ifstream in(file, std::ios::binary);
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::filesystem::remove(file);
  EXPECT_EQ(text, "No of results: 1\n2300214\n");
}

} // namespace
} // namespace xtalmotif
