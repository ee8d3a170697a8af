// Value conditions on a query atom's counts and a motif's angles: where each one's ends lie, and
// when two of them are the same condition.

#include "kernel/condition.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>

namespace xtalmotif {
namespace {

TEST(ValueConditions, EndsAreIncludedOrNotAsTheKindSays) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const EqualTo one("equal to", 1);
  const InclusiveRange range("in range", 0, 2);
  const Greater positive("greater than", 0);
  const struct {
    const Condition& c;
    double x;
    bool pass;
  } cases[] = {{one, 1, true},         {one, std::nextafter(1.0, 2.0), false},
               {one, nan, false},      {range, 0, true},
               {range, 2, true},       {range, -1e-9, false},
               {range, 2 + 1e-9, false}, {range, nan, false},
               {positive, 0, false},   {positive, std::numeric_limits<double>::denorm_min(), true},
               {positive, nan, false}};
  for (const auto& c : cases)
    EXPECT_EQ(c.c.test(c.x), c.pass) << c.c.name() << " " << c.x;
  // An inverted range matches nothing.
  EXPECT_FALSE(InclusiveRange("in range", 2, 0).test(1));
}

TEST(ValueConditions, EqualityIsKindNameAndNumbersAndClonesAreEqual) {
  EXPECT_TRUE(EqualTo("equal to", 2) == EqualTo("equal to", 2));
  EXPECT_TRUE(EqualTo("equal to", 2) != EqualTo("equal to", 3));
  EXPECT_TRUE(EqualTo("equal to", 2) != EqualTo("is", 2));
  EXPECT_TRUE(EqualTo("x", 2) != Greater("x", 2));
  EXPECT_TRUE(InclusiveRange("r", 0, 2) != InclusiveRange("r", 0, 3));
  EXPECT_TRUE(InclusiveRange("r", 0, 2) != InclusiveRange("r", 1, 2));
  EXPECT_TRUE(Greater("g", 0) != Greater("g", 1));
  const InclusiveRange r("in range", 1, 3);
  EXPECT_TRUE(*r.clone() == r);
  std::ostringstream os;
  r.clone()->print(os, Condition::print_full);
  EXPECT_EQ(os.str(), "in range 1 to 3");
}

} // namespace
} // namespace xtalmotif
