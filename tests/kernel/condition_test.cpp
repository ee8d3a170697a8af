#include "chem/condition.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>
#include <string>

namespace xtalmotif {
namespace {

std::string printed(const Condition &c, Condition::PrintOption option) {
  std::ostringstream os;
  c.print(os, option);
  return os.str();
}

const auto other_option = static_cast<Condition::PrintOption>(2);

TEST(ValueConditions, EqualToHasNoTolerance) {
  EqualTo one("equal to", 1.0);
  EXPECT_TRUE(one.test(1.0));
  EXPECT_TRUE(one.test(1));
  EXPECT_FALSE(one.test(1.0000001));
  EXPECT_FALSE(one.test(std::nextafter(1.0, 2.0)));
  EXPECT_FALSE(one.test(0.9999999));
  EqualTo zero("equal to", 0.0);
  EXPECT_TRUE(zero.test(-0.0)); // +0 and -0 are the same number
}

TEST(ValueConditions, InclusiveRangeIncludesBothEnds) {
  InclusiveRange r("in range", 0.0, 2.0);
  EXPECT_TRUE(r.test(0.0));
  EXPECT_TRUE(r.test(2.0));
  EXPECT_TRUE(r.test(1.0));
  EXPECT_FALSE(r.test(-0.0001));
  EXPECT_FALSE(r.test(2.0001));
  // No checking at construction: an inverted range matches nothing.
  InclusiveRange inverted("in range", 2.0, 0.0);
  for (double x : {-1.0, 0.0, 1.0, 2.0, 3.0})
    EXPECT_FALSE(inverted.test(x)) << x;
}

TEST(ValueConditions, GreaterIsStrict) {
  Greater g("greater than", 0.0);
  EXPECT_FALSE(g.test(0.0));
  EXPECT_FALSE(g.test(-0.0));
  EXPECT_TRUE(g.test(std::numeric_limits<double>::denorm_min()));
  EXPECT_FALSE(g.test(-std::numeric_limits<double>::denorm_min()));
  EXPECT_TRUE(g.test(std::numeric_limits<double>::infinity()));
}

TEST(ValueConditions, NanFailsEveryCondition) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_FALSE(EqualTo("equal to", 1.0).test(nan));
  EXPECT_FALSE(InclusiveRange("in range", -1e308, 1e308).test(nan));
  EXPECT_FALSE(Greater("greater than", -1e308).test(nan));
  EXPECT_FALSE(EqualTo("equal to", nan).test(nan));
}

TEST(ValueConditions, PrintFullAndShortForms) {
  EqualTo e("equal to", 3);
  EXPECT_EQ(printed(e, Condition::print_full), "equal to 3");
  EXPECT_EQ(printed(e, Condition::print_value_only), "3");
  InclusiveRange r("in range", 0, 2);
  EXPECT_EQ(printed(r, Condition::print_full), "in range 0 to 2");
  EXPECT_EQ(printed(r, Condition::print_value_only), "0-2");
  Greater g("greater than", 0);
  EXPECT_EQ(printed(g, Condition::print_full), "greater than 0");
  EXPECT_EQ(printed(g, Condition::print_value_only), ">0");
  // Numbers use the stream's default formatting.
  EXPECT_EQ(printed(InclusiveRange("in range", 1.5, -2.25), Condition::print_value_only),
            "1.5--2.25");
  EXPECT_EQ(printed(EqualTo("equal to", 1.0 / 3.0), Condition::print_value_only), "0.333333");
}

TEST(ValueConditions, AnyOtherPrintOptionPrintsNothing) {
  EXPECT_EQ(printed(EqualTo("equal to", 3), other_option), "");
  EXPECT_EQ(printed(InclusiveRange("in range", 0, 2), other_option), "");
  EXPECT_EQ(printed(Greater("greater than", 0), other_option), "");
}

// A kind of condition that keeps the base's printing.
class Positive : public Condition {
public:
  Positive() : Condition("positive") {}
  THandle<Condition> clone() const override { return THandle<Condition>(new Positive(*this)); }
  bool test(double x) const override { return x > 0; }
};

TEST(ValueConditions, BasePrintsItsNameWhateverTheOption) {
  Positive p;
  EXPECT_EQ(printed(p, Condition::print_full), "positive");
  EXPECT_EQ(printed(p, Condition::print_value_only), "positive");
  EXPECT_EQ(printed(p, other_option), "positive");
}

TEST(ValueConditions, CloneIsANewObjectOfTheSameKind) {
  InclusiveRange r("in range", 1.0, 3.0);
  THandle<Condition> c = r.clone();
  EXPECT_EQ(c.use_count(), 1);
  EXPECT_NE(c.get(), static_cast<const Condition *>(&r));
  auto as_range = handle_cast<InclusiveRange>(c);
  ASSERT_FALSE(as_range.is_null());
  EXPECT_EQ(as_range->low(), 1.0);
  EXPECT_EQ(as_range->high(), 3.0);
  EXPECT_EQ(c->name(), "in range");
  EXPECT_TRUE(*c == r);

  EXPECT_FALSE(handle_cast<Greater>(Greater("greater than", 2).clone()).is_null());
  EXPECT_FALSE(handle_cast<EqualTo>(EqualTo("equal to", 2).clone()).is_null());
}

TEST(ValueConditions, EqualityComparesKindNameAndNumbers) {
  EXPECT_TRUE(EqualTo("equal to", 2) == EqualTo("equal to", 2));
  EXPECT_FALSE(EqualTo("equal to", 2) == EqualTo("equal to", 3));
  EXPECT_FALSE(EqualTo("equal to", 2) == EqualTo("is", 2));
  EXPECT_FALSE(EqualTo("x", 2) == Greater("x", 2));
  EXPECT_TRUE(InclusiveRange("in range", 0, 2) == InclusiveRange("in range", 0, 2));
  EXPECT_TRUE(InclusiveRange("in range", 0, 2) != InclusiveRange("in range", 0, 3));
  EXPECT_TRUE(InclusiveRange("in range", 0, 2) != InclusiveRange("in range", 1, 2));
  EXPECT_TRUE(Greater("greater than", 0) != Greater("greater than", 1));
}

} // namespace
} // namespace xtalmotif
