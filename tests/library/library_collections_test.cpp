// The ready-made fragments and motifs applied to real crystal structures of the curated
// collection. What each structure must give follows from its chemistry: its formula, the atom
// list of the CIF and its hydrogen bonds as the authors describe them.

#include "library/extended_ring_motifs.h"
#include "library/pre_defined_substructures.h"
#include "library/silver_carboxylate_motifs.h"

#include "test_data.h"

#include "crystal/cif_reader.h"
#include "crystal/crystal_maker.h"
#include "chem/element.h"
#include "chem/molecule.h"
#include "search/motif_search.h"

#include <gtest/gtest.h>

#include <array>
#include <map>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

THandle<CrystalMaker> load(const std::string &file) {
  return read_crystal(testing::require_data("curated/" + file).string(), "");
}

/// Hits of a fragment over the molecules whose size it allows, as a search places it.
int hits(const CrystalMaker &crystal, const MotifSubstructure &sub, bool size_limit = true) {
  int n = 0;
  for (int i = 0; i < crystal.nmolecules(); ++i)
    if (!size_limit || sub.is_target_size_allowed(crystal.molecule(i)))
      n += static_cast<int>(SubstructureSearch().search(sub, *crystal.molecule(i)).size());
  return n;
}

TEST(LibraryCollections, FragmentsFindTheGroupsOfRealStructures) {
  struct Structure {
    const char *file;
    int molecules;
    std::map<std::string, int> groups;
  };
  const std::vector<Structure> structures = {
      // Ibuprofen: one COOH (carbonyl O2a, hydroxyl O1a-H1a).
      {"acid__2300214-r274507.cif",
       1,
       {{"COO-", 0}, {"carboxylic acid", 1}, {"hydroxy", 1}, {"donor", 1}, {"acceptor", 1}}},
      // Glycylglycine zwitterion H3N+-CH2-CO-NH-CH2-COO-: an open-chain amide; donors NH3+ and
      // the amide NH, acceptors the amide O and the carboxylate O.
      {"amide__2100438-cell-vol.cif",
       1,
       {{"COO-", 1}, {"CONH", 0}, {"trans-amide", 1}, {"NH3", 1}, {"donor", 2}, {"acceptor", 3}}},
      // 5-Fluorocytosine hemipentahydrate: two bases, each with the ring amide O=C2-N1-H and the
      // amino N4H2, and five lattice waters; acceptors O2, N3 and F of each base.
      {"hydrate__4504659.cif",
       7,
       {{"H2O", 5}, {"CONH", 2}, {"NH2", 2}, {"hydroxy", 0}, {"donor", 9}, {"acceptor", 6}}},
      {"negative__2100348-benzene.cif", 1, {{"donor", 0}, {"acceptor", 0}, {"x", 0}}},
      // 5-Ethyl-2'-deoxycytidine: hydroxyls O3'-H, O5'-H and the amino N4H2 donate; O2, O4', N1
      // and N3 accept.
      {"urea__2010359.cif", 1, {{"hydroxy", 2}, {"CONH", 0}, {"donor", 3}, {"acceptor", 4}}},
      // Farnasiaside, a glycoside: six O-H, one ester, two ring oxygens.
      {"alcohol__2210104-temperature-C.cif",
       1,
       {{"hydroxy", 6}, {"ester", 1}, {"carboxylic acid", 0}, {"donor", 6}, {"acceptor", 4}}},
  };
  for (const auto &s : structures) {
    SCOPED_TRACE(s.file);
    auto crystal = load(s.file);
    ASSERT_FALSE(crystal.is_null());
    EXPECT_EQ(crystal->nmolecules(), s.molecules);
    for (const auto &[key, expected] : s.groups)
      EXPECT_EQ(hits(*crystal, *PreDefinedSubstructures::make_sub(key, {})), expected) << key;
  }
  // No oxygen of the fluorocytosines carries two hydrogens: the waters are found with or without
  // the size limit.
  auto h2o = PreDefinedSubstructures::make_h2o({});
  EXPECT_EQ(hits(*load("hydrate__4504659.cif"), *h2o, false), 5);
}

TEST(LibraryCollections, SilverPolymersFallApartIntoIonsAndLigands) {
  // 7051216: Ag2 on a carboxylate O3 (2.13 A) and a pyridyl N, Ag1 on pyridyl N; its COO- and
  // COOH stay whole. 2213608: Ag1 between two pyridyl N, the fumarate not on silver.
  for (const char *file : {"silver__7051216.cif", "silver__2213608.cif"}) {
    SCOPED_TRACE(file);
    auto crystal = load(file);
    int o1 = -1, o2 = -1;
    auto carboxylate = SilverCarboxylateMotifs::make_carboxylate(o1, o2);
    // Atoms, silvers and silvers bonded to something.
    auto census = [&crystal]() {
      std::array<int, 3> n{};
      for (int i = 0; i < crystal->nmolecules(); ++i) {
        auto m = crystal->molecule(i);
        n[0] += m->natoms();
        for (int a = 0; a < m->natoms(); ++a)
          if (m->atom(a)->element() == Element("Ag"))
            ++n[1], n[2] += !m->neighbours(a).empty();
      }
      return n;
    };
    const auto before = census();
    ASSERT_GT(before[2], 0);
    const int carboxylates = hits(*crystal, *carboxylate);
    SilverCarboxylateMotifs::remove_silver_bonds(crystal);
    EXPECT_EQ(census(), (std::array<int, 3>{before[0], before[1], 0}));
    // The carboxyl groups stay whole, each found both ways round.
    EXPECT_EQ(hits(*crystal, *carboxylate), carboxylates);
    EXPECT_GE(carboxylates, 2);
  }
}

TEST(LibraryCollections, RibbonsAndLaddersAreFoundWhereTheHydrogenBondsFormThem) {
  using E = ExtendedRingMotifs;
  const std::vector<std::pair<const char *, E::Builder>> motifs = {
      {"r2_ribbon", &E::r2_ribbon},
      {"r2_ribbon_shared_acceptor", &E::r2_ribbon_shared_acceptor},
      {"r2_ribbon_shared_donor", &E::r2_ribbon_shared_donor},
      {"r3_ribbon", &E::r3_ribbon},
      {"r2r4_ladder", &E::r2r4_ladder},
      {"r2r4_ladder_shared_donor_and_acceptor", &E::r2r4_ladder_shared_donor_and_acceptor},
      {"r2r4_ladder_shared_donor", &E::r2r4_ladder_shared_donor}};
  // Per motif above: '+' found, '-' impossible, '?' not decided by the hydrogen bonds alone.
  const std::vector<std::pair<const char *, std::string>> structures = {
      // Acid dimers closed by two O-H...O bonds and linked to nothing else (ibuprofen, 2211061,
      // 4022630); an isolated centrosymmetric N-H...O amide dimer (2009480); acid-formate chains
      // of single bonds (2013611); no donor at all (the diacetyl triazolinone 2203315).
      {"acid__2300214-r274507.cif", "-------"},
      {"acid__2211061-modified-enum-comments.cif", "-------"},
      {"acid__4022630-degrees-cendigrades.cif", "-------"},
      {"amide__2009480.cif", "-------"},
      {"acid__2013611.cif", "-------"},
      {"urea__2203315.cif", "-------"},
      // A salt network of single links: no two molecules joined twice, three mutually joined.
      {"acid__2006132.cif", "---?---"},
      // Glycylglycine: screw-related molecules joined by N2-H...O1 and N1-H...O2 form the R2
      // ribbon; with the N1-H...O2 ammonium-carboxylate dimers it alternates into ribbons with a
      // shared acceptor (O2) or donor (N1); the dimers stacked by N1-H...O3 rails make R2R4
      // ladders in which N1 serves twice. The plain ladder would need a second donor group
      // besides N1, and no three molecules are mutually bonded.
      {"amide__2100438-cell-vol.cif", "+++--++"},
      // Deoxycytidine: along the screw axis O3'-H...O2 and N4-H...O2, both on the carbonyl O2: a
      // ribbon with a shared acceptor, never one of four separate groups.
      {"urea__2010359.cif", "-+?-???"},
  };
  for (const auto &[file, wanted] : structures) {
    auto crystal = load(file);
    for (std::size_t i = 0; i < motifs.size(); ++i) {
      SCOPED_TRACE(std::string(file) + ": " + motifs[i].first);
      MotifSearch search;
      search.set_limit(1);
      search.search(crystal, motifs[i].second(), 0);
      EXPECT_FALSE(search.aborted());
      EXPECT_TRUE(wanted[i] == '?' || (search.results()->nentries() > 0) == (wanted[i] == '+'));
    }
  }
}

} // namespace
} // namespace xtalmotif
