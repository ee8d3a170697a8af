// Graph-set descriptors of hand-built hydrogen-bond patterns: one molecule placed by the
// operators of P2(1)/c and lattice translations, or waters at three translations, each pattern
// worked out on paper.

#include "results/graph_set.h"
#include "search/environment_test_crystals.h"
#include "match/motif_search_resource.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace xtalmotif {
namespace {

using MotifSearchLibFunctions::graph_set;

// One molecule O0=C1-N2-H3 ... O4-H5 (an amide with a hydroxyl three bonds on) in P2(1)/c:
// operator 0 x,y,z; 1 -x,y+1/2,-z+1/2 (a screw axis); 2 -x,-y,-z (an inversion centre);
// 3 x,-y+1/2,z+1/2 (a glide plane). And, as molecule 1, a water O0-H1, O0-H2.
THandle<MotifSearchResource> crystal() {
  auto cm = testing::make_crystal(10, 10, 10, 90, 90, 90, testing::p21c_operators());
  auto molecule = [&](const std::vector<const char*>& elements,
                      const std::vector<std::pair<int, int>>& bonds, double at) {
    auto mol = make_handle<Molecule3d>();
    for (std::size_t i = 0; i < elements.size(); ++i) {
      const Point f(at + 0.03 * i, 0.13 + 0.02 * i, 0.17 + 0.01 * i);
      mol->add_atom(THandle<Atom>(make_handle<Atom3d>(
          Element(elements[i]), std::string(elements[i]) + std::to_string(i),
          make_handle<Site>(f, cm->to_orthogonal(f), 1.0))));
    }
    mol->add_bonds(bonds);
    cm->add_molecule(THandle<Molecule>(mol));
  };
  molecule({"O", "C", "N", "H", "O", "H"}, {{0, 1}, {1, 2}, {2, 3}, {1, 4}, {4, 5}}, 0.11);
  molecule({"O", "H", "H"}, {{0, 1}, {0, 2}}, 0.61);
  return make_handle<MotifSearchResource>(cm);
}

TEST(GraphSet, PatternsOfEachKind) {
  const auto resource = crystal();
  ASSERT_EQ(resource->ncopies(), 8);
  // Each bond: hydrogen (copy, translation along a, atom) then acceptor likewise; copies 0-3
  // are the amide under operators 0-3, copies 4-7 the water.
  const std::tuple<const char*, std::vector<std::array<int, 6>>, const char*> cases[] = {
      {"N-H...O within the molecule, H3 to O0 across C1 and N2", {{0, 0, 3, 0, 0, 0}}, "S(4)"},
      {"amide to water: two different molecules", {{0, 0, 3, 4, 0, 0}}, "D"},
      {"N-H...O=C to the next cell: a chain by translation", {{0, 0, 3, 0, 1, 0}}, "C(4)"},
      {"N-H...O=C to the screw image: a chain by a screw axis", {{0, 0, 3, 1, 0, 0}}, "C(4)"},
      {"N-H...O=C to the glide image: a chain", {{0, 0, 3, 3, 0, 0}}, "C(4)"},
      {"O-H...O=C to the inversion image alone: its centrosymmetric ring",
       {{0, 0, 5, 2, 0, 0}}, "R2,2(8)"},
      {"both bonds of the centrosymmetric pair", {{0, 0, 5, 2, 0, 0}, {2, 0, 5, 0, 0, 0}},
       "R2,2(8)"},
      {"a chain of two bonds through the water, amide to the next cell: open",
       {{0, 0, 3, 4, 0, 0}, {4, 0, 1, 0, 1, 0}}, "D2,2(4)"},
      // Three waters at a = 0, 1, 2: the first donates both its hydrogens, the third accepts
      // twice: a ring of three molecules with a shared donor and a shared acceptor.
      {"three waters, one donating twice",
       {{4, 0, 1, 4, 1, 0}, {4, 0, 2, 4, 2, 0}, {4, 1, 1, 4, 2, 0}}, "R2,3(6)"},
      {"two separate parts", {{0, 0, 3, 0, 0, 0}, {0, 0, 5, 2, 0, 0}}, "S(4) R2,2(8)"},
  };
  for (const auto& [what, pattern, expected] : cases) {
    std::vector<PatternBond> bonds;
    for (const auto& b : pattern) {
      PatternBond p;
      p.hydrogen = {b[0], resource->nmol_in_cm(b[0]), b[2], Translation(b[1], 0, 0)};
      p.acceptor = {b[3], resource->nmol_in_cm(b[3]), b[5], Translation(b[4], 0, 0)};
      bonds.push_back(p);
    }
    EXPECT_EQ(graph_set(*resource, bonds), expected) << what;
  }
}

} // namespace
} // namespace xtalmotif
