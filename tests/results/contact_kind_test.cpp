// Which contacts of a motif ask two atoms to touch, and which only keep groups apart or
// together: the first are reported as contacts, the others as constraints.

#include "results/contact_geometry.h"

#include <gtest/gtest.h>

namespace xtalmotif {
namespace {

TEST(ContactKind, OnlyContactsWithinTheRadiusSumAskForContact) {
  const Element o("O"); // O...O van der Waals sum 3.04 A
  const struct {
    const char* what;
    bool vdw_relative;
    double upper, lower;
    bool asks;
  } cases[] = {
      {"within the radius sum", true, 0.0, -5.0, true},
      {"a little beyond it", true, 0.4, -5.0, true},
      {"a long-range bound", true, 5.0, -5.0, false},
      {"kept apart", true, 5.0, 1.0, false},
      {"an absolute hydrogen-bond window", false, 2.8, 2.4, true},
      {"an absolute long range", false, 10.0, 0.0, false},
  };
  for (const auto& c : cases) {
    const MotifContact contact(0, 0, 1, 0,
                               make_handle<CombinedCriterion>(
                                   c.vdw_relative, c.upper, c.lower, ContactType::Inter, 4, 999,
                                   false, make_handle<ElementSet>(), make_handle<ElementSet>()));
    EXPECT_EQ(MotifSearchLibFunctions::asks_for_contact(contact, o, o), c.asks) << c.what;
  }
}

} // namespace
} // namespace xtalmotif
