// Whole-number composition of symmetry operators, checked against applying the operators to a
// point, and the closure test on lists that are and are not groups.

#include "kernel/operator_table.h"
#include "kernel_test_support.h"

#include <gtest/gtest.h>

namespace xtalmotif {
namespace {

std::vector<CrystalSymmetryOperator> operators(const std::vector<const char*>& xyz) {
  std::vector<CrystalSymmetryOperator> out;
  for (const char* s : xyz)
    out.push_back(CrystalSymmetryOperator::from_xyz(s));
  return out;
}

TEST(OperatorTable, ProductsAgreeWithApplyingTheOperatorsInTurn) {
  const auto ops = testing::pa3_operators();
  const OperatorTable table(ops);
  ASSERT_EQ(table.size(), 24);
  EXPECT_TRUE(table.exact());
  const Point p(0.137, 0.291, 0.713);
  for (int a = 0; a < table.size(); ++a)
    for (int b = 0; b < table.size(); ++b) {
      OperatorTable::Int3 lattice;
      const int m = table.product(a, b, &lattice);
      ASSERT_GE(m, 0) << ops[a].to_xyz() << " o " << ops[b].to_xyz();
      const Point twice = ops[a].apply(ops[b].apply(p));
      const Point once = ops[m].apply(p) + Point(lattice[0], lattice[1], lattice[2]);
      EXPECT_NEAR(distance(twice, once), 0, 1e-12) << ops[a].to_xyz() << " o " << ops[b].to_xyz();
    }
  // P2_1/c: the screw twice is a lattice translation; the inversion after it is the glide.
  const OperatorTable p21c(operators({"x,y,z", "-x,y+1/2,-z+1/2", "-x,-y,-z", "x,-y+1/2,z+1/2"}));
  OperatorTable::Int3 lattice;
  EXPECT_EQ(p21c.product(1, 1, &lattice), 0);
  EXPECT_EQ(lattice, (OperatorTable::Int3{0, 1, 0}));
  EXPECT_EQ(p21c.product(2, 1, &lattice), 3);
  EXPECT_EQ(lattice, (OperatorTable::Int3{0, -1, -1}));
  EXPECT_FALSE(OperatorTable(operators({"x,y,z", "-x,-y,z+0.3"})).exact());
}

TEST(OperatorTable, ClosureOfGroupsAndOfListsThatAreNot) {
  int a = -1, b = -1;
  EXPECT_TRUE(OperatorTable(testing::pa3_operators()).closed(&a, &b));
  EXPECT_TRUE(OperatorTable(operators({"x,y,z"})).closed(&a, &b));
  // P2_1/c without its glide: the screw and the inversion make it.
  const OperatorTable broken(operators({"x,y,z", "-x,y+1/2,-z+1/2", "-x,-y,-z"}));
  ASSERT_FALSE(broken.closed(&a, &b));
  EXPECT_EQ(broken.product(a, b, nullptr), -1);
  // One Pa-3 operator left out is found missing, whichever it is.
  for (int missing = 1; missing < 24; ++missing) {
    auto ops = testing::pa3_operators();
    ops.erase(ops.begin() + missing);
    EXPECT_FALSE(OperatorTable(ops).closed(&a, &b)) << "without operator " << missing;
  }
  EXPECT_FALSE(OperatorTable(operators({"-x,-y,-z"})).closed(&a, &b)); // no identity
}

} // namespace
} // namespace xtalmotif
