// The umbrella header alone is enough to build a motif and search a structure.

#include "xtalmotif.h"

#include <gtest/gtest.h>

using namespace xtalmotif;

TEST(UmbrellaHeader, SearchesTheShippedAcidDimerThroughThePublicInterface) {
  auto crystal =
      read_crystal(std::string(XTALMOTIF_SOURCE_DIR) + "/data/structures/4022630.cif", "");
  const PreDefinedSubstructures::GenerationOptions explicit_hydrogens{true, false, false};
  auto motif = make_handle<Motif>("acid dimer");
  for (int from = 0; from < 2; ++from)
    motif->add_substructure(
        PreDefinedSubstructures::make_sub("carboxylic acid", explicit_hydrogens));
  // H (atom 4) of one acid to the carbonyl O (atom 0) of the other, both ways round.
  for (int from = 0; from < 2; ++from) {
    auto crit = make_handle<CombinedCriterion>(false, 2.2, 1.4, ContactType::Inter, 4, 999, false,
                                               THandle<ElementSet>(), THandle<ElementSet>());
    motif->add_contact(make_handle<MotifContact>(from, 4, 1 - from, 0, crit));
  }
  MotifSearch search;
  search.search(crystal, motif, 0);
  EXPECT_EQ(search.results()->nentries(), 1);
}
