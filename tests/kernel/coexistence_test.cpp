// Which pairs of atoms a hit may hold together: the physical minimum distances, and the two
// images of a partly occupied site that are alternatives of each other.

#include "crystal/coexistence.h"

#include <gtest/gtest.h>

namespace xtalmotif {
namespace {

TEST(CoexistenceRule, MinimumDistancesAndImagesOfOnePartlyOccupiedSite) {
  using Atom = CoexistenceRule::AtomState;
  const Atom o{Element("O")}, h{Element("H")}, ag{Element("Ag")};
  const Atom half_o{Element("O"), 0.5, 3}, other_half_o{Element("O"), 0.5, 4};
  const Atom sixty_o{Element("O"), 0.6, 3};
  struct Case {
    const char* what;
    Atom a, b;
    double distance;
    bool coexist;
  } cases[] = {
      {"an O-H...O hydrogen bond", h, o, 1.6, true},
      {"a shared proton is no hydrogen bond", h, o, 1.4, false},
      {"the shortest O...O hydrogen bonds", o, o, 2.4, true},
      {"two full oxygens overlapping", o, o, 2.1, false},
      {"alternative solvent sites", half_o, other_half_o, 2.3, false},
      {"partly occupied oxygens in contact", half_o, other_half_o, 2.5, true},
      {"a silver-oxygen contact as short as a bond", ag, o, 2.2, true},
      {"a silver on top of an oxygen", ag, o, 1.5, false},
      {"two images of one half-occupied site in contact", half_o, half_o, 2.9, false},
      {"two images of one half-occupied site far apart", half_o, half_o, 3.2, true},
      {"two images of a site there in most cells", sixty_o, sixty_o, 2.9, true},
  };
  for (const auto& c : cases)
    EXPECT_EQ(CoexistenceRule::can_coexist(c.a, c.b, c.distance), c.coexist) << c.what;
}

} // namespace
} // namespace xtalmotif
