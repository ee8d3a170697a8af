// Whole-number composition of symmetry operators, checked against applying the operators to
// points, and the closure test on lists that are and are not groups.

#include "crystal/operator_table.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace xtalmotif {
namespace {

std::vector<CrystalSymmetryOperator> operators(const std::vector<std::string>& xyz) {
  std::vector<CrystalSymmetryOperator> out;
  for (const auto& s : xyz)
    out.push_back(CrystalSymmetryOperator::from_xyz(s));
  return out;
}

// Pa-3 (No. 205): the twelve proper operations and their inverses through the origin.
std::vector<std::string> pa3() {
  std::vector<std::string> proper = {
      "x,y,z",           "-x+1/2,-y,z+1/2",   "-x,y+1/2,-z+1/2",   "x+1/2,-y+1/2,-z",
      "z,x,y",           "z+1/2,-x+1/2,-y",   "-z+1/2,-x,y+1/2",   "-z,x+1/2,-y+1/2",
      "y,z,x",           "-y,z+1/2,-x+1/2",   "y+1/2,-z+1/2,-x",   "-y+1/2,-z,x+1/2"};
  std::vector<std::string> all = proper;
  for (const auto& op : proper) {
    std::string inv;
    for (std::size_t i = 0; i < op.size(); ++i) { // negate every coordinate and translation
      char c = op[i];
      bool term_start = i == 0 || op[i - 1] == ',';
      if (term_start && c != '-')
        inv += '-';
      if (c == '-' && term_start)
        continue;
      inv += c == '+' ? '-' : (c == '-' ? '+' : c);
    }
    all.push_back(inv);
  }
  return all;
}

TEST(OperatorTable, ProductsAgreeWithApplyingTheOperatorsInTurn) {
  const auto ops = operators(pa3());
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
      for (int k = 0; k < 3; ++k)
        EXPECT_NEAR(twice[k], once[k], 1e-12) << ops[a].to_xyz() << " o " << ops[b].to_xyz();
    }
}

TEST(OperatorTable, ScrewAppliedTwiceIsALatticeTranslation) {
  const OperatorTable table(operators({"x,y,z", "-x,y+1/2,-z+1/2", "-x,-y,-z", "x,-y+1/2,z+1/2"}));
  OperatorTable::Int3 lattice;
  EXPECT_EQ(table.product(1, 1, &lattice), 0);
  EXPECT_EQ(lattice, (OperatorTable::Int3{0, 1, 0}));
  EXPECT_EQ(table.product(2, 1, &lattice), 3); // inversion after the screw: the glide
  EXPECT_EQ(lattice, (OperatorTable::Int3{0, -1, -1}));
}

TEST(OperatorTable, ClosureOfGroupsAndOfListsThatAreNot) {
  int a = -1, b = -1;
  EXPECT_TRUE(OperatorTable(operators(pa3())).closed(&a, &b));
  EXPECT_TRUE(OperatorTable(operators({"x,y,z"})).closed(&a, &b));

  // P21/c without its glide: the screw and the inversion make it.
  const auto broken = operators({"x,y,z", "-x,y+1/2,-z+1/2", "-x,-y,-z"});
  ASSERT_FALSE(OperatorTable(broken).closed(&a, &b));
  EXPECT_EQ(OperatorTable(broken).product(a, b, nullptr), -1);

  // One Pa-3 operator left out: still found, whichever it is.
  for (int missing = 1; missing < 24; ++missing) {
    auto ops = operators(pa3());
    ops.erase(ops.begin() + missing);
    EXPECT_FALSE(OperatorTable(ops).closed(&a, &b)) << "without operator " << missing;
  }
  // No identity: the inversion squared is missing.
  EXPECT_FALSE(OperatorTable(operators({"-x,-y,-z"})).closed(&a, &b));
}

TEST(OperatorTable, TranslationsOffTheTwentyFourthsAreNotExact) {
  EXPECT_FALSE(OperatorTable(operators({"x,y,z", "-x,-y,z+0.3"})).exact());
  EXPECT_TRUE(OperatorTable(operators({"x,y,z", "-x,-y,z+0.5"})).exact());
}

} // namespace
} // namespace xtalmotif
