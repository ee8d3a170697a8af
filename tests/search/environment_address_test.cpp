// AtomAddress: which molecule copy, which atom, which cell. Ownership of the translation,
// the two comparison operators (deliberately not each other's negation) and the position lookup.

#include "match/atom_address.h"
#include "match/motif_search_resource.h"

#include "search/environment_test_crystals.h"

#include <gtest/gtest.h>

#include <sstream>

namespace xtalmotif {
namespace {

using testing::add_sited_molecule;
using testing::make_crystal;

THandle<Translation> tr(int a, int b, int c) { return make_handle<Translation>(a, b, c); }

TEST(AtomAddressTest, DefaultAddressIsAllMinusOneAndPrintsSo) {
  AtomAddress a;
  EXPECT_EQ(a.nmol_in_msr, -1);
  EXPECT_EQ(a.nmol_in_cm, -1);
  EXPECT_EQ(a.natom, -1);
  ASSERT_FALSE(a.translation.is_null());
  EXPECT_EQ(*a.translation, Translation(-1, -1, -1));

  std::ostringstream os;
  a.print(os);
  EXPECT_EQ(os.str(), "nMol in msr: -1 nMol in cm: -1 nAtom: -1 Translation: -1,-1,-1\n");
}

TEST(AtomAddressTest, PrintWritesEveryFieldWithBareCommasBetweenTranslationComponents) {
  AtomAddress a(3, 1, 7, tr(0, -1, 12));
  std::ostringstream os;
  a.print(os);
  EXPECT_EQ(os.str(), "nMol in msr: 3 nMol in cm: 1 nAtom: 7 Translation: 0,-1,12\n");
}

TEST(AtomAddressTest, EachDefaultAddressOwnsItsOwnTranslation) {
  AtomAddress a, b;
  EXPECT_NE(a.translation.get(), b.translation.get());
  (*a.translation)[0] = 5;
  EXPECT_EQ((*b.translation)[0], -1);
}

TEST(AtomAddressTest, ConstructorCopiesTheCallersTranslationRatherThanSharingIt) {
  auto t = tr(1, 2, 3);
  AtomAddress a(4, 2, 9, t);
  EXPECT_EQ(a.nmol_in_msr, 4);
  EXPECT_EQ(a.nmol_in_cm, 2);
  EXPECT_EQ(a.natom, 9);
  EXPECT_NE(a.translation.get(), t.get());
  (*t)[1] = -8;
  EXPECT_EQ(*a.translation, Translation(1, 2, 3));
}

TEST(AtomAddressTest, CopyConstructorIsDeep) {
  AtomAddress original(4, 2, 9, tr(1, 2, 3));
  AtomAddress copy(original);
  EXPECT_NE(copy.translation.get(), original.translation.get());
  EXPECT_EQ(copy.nmol_in_msr, 4);
  EXPECT_EQ(copy.nmol_in_cm, 2);
  EXPECT_EQ(copy.natom, 9);
  (*original.translation)[2] = 30;
  EXPECT_EQ(*copy.translation, Translation(1, 2, 3));
  (*copy.translation)[0] = -7;
  EXPECT_EQ(*original.translation, Translation(1, 2, 30));
}

TEST(AtomAddressTest, SetAddressSharesTheGivenTranslation) {
  AtomAddress a;
  auto t = tr(0, 1, 0);
  a.set_address(5, 3, 11, t);
  EXPECT_EQ(a.nmol_in_msr, 5);
  EXPECT_EQ(a.nmol_in_cm, 3);
  EXPECT_EQ(a.natom, 11);
  EXPECT_EQ(a.translation.get(), t.get());
  (*t)[0] = 2;
  EXPECT_EQ(*a.translation, Translation(2, 1, 0));
}

TEST(AtomAddressTest, EqualityIgnoresTheCrystalMakerIndexButNothingElse) {
  AtomAddress a(2, 0, 5, tr(1, 0, -1));
  EXPECT_TRUE(a == AtomAddress(2, 0, 5, tr(1, 0, -1)));
  EXPECT_TRUE(a == AtomAddress(2, 7, 5, tr(1, 0, -1))); // only nmol_in_cm differs
  EXPECT_FALSE(a == AtomAddress(3, 0, 5, tr(1, 0, -1)));
  EXPECT_FALSE(a == AtomAddress(2, 0, 6, tr(1, 0, -1)));
  EXPECT_FALSE(a == AtomAddress(2, 0, 5, tr(0, 0, -1)));
  EXPECT_FALSE(a == AtomAddress(2, 0, 5, tr(1, 1, -1)));
  EXPECT_FALSE(a == AtomAddress(2, 0, 5, tr(1, 0, 0)));
}

TEST(AtomAddressTest, InequalityNeedsEveryFieldToDiffer) {
  AtomAddress a(2, 0, 5, tr(1, 0, -1));
  // Copy, atom and all three translation components differ: unequal.
  EXPECT_TRUE(a != AtomAddress(3, 0, 6, tr(0, 1, 0)));
  // The crystal-maker index plays no part in either operator.
  EXPECT_TRUE(a != AtomAddress(3, 9, 6, tr(0, 1, 0)));
  // One field the same is enough to make != false.
  EXPECT_FALSE(a != AtomAddress(2, 0, 6, tr(0, 1, 0)));
  EXPECT_FALSE(a != AtomAddress(3, 0, 5, tr(0, 1, 0)));
  EXPECT_FALSE(a != AtomAddress(3, 0, 6, tr(1, 1, 0)));
  EXPECT_FALSE(a != AtomAddress(3, 0, 6, tr(0, 0, 0)));
  EXPECT_FALSE(a != AtomAddress(3, 0, 6, tr(0, 1, -1)));
  EXPECT_FALSE(a != a);
}

TEST(AtomAddressTest, AddressesDifferingOnlyInTranslationAreNeitherEqualNorUnequal) {
  AtomAddress a(2, 0, 5, tr(0, 0, 0));
  AtomAddress b(2, 0, 5, tr(1, -1, 2));
  EXPECT_FALSE(a == b);
  EXPECT_FALSE(a != b);
}

TEST(AtomAddressTest, SameMoleculeMeansSameCopyInTheSameCellWhateverTheAtom) {
  AtomAddress a(2, 0, 5, tr(1, 0, -1));
  EXPECT_TRUE(a.is_in_same_mol_as(AtomAddress(2, 0, 0, tr(1, 0, -1))));
  EXPECT_TRUE(a.is_in_same_mol_as(AtomAddress(2, 4, 8, tr(1, 0, -1))));
  EXPECT_FALSE(a.is_in_same_mol_as(AtomAddress(1, 0, 5, tr(1, 0, -1))));
  EXPECT_FALSE(a.is_in_same_mol_as(AtomAddress(2, 0, 5, tr(1, 0, 0))));
  EXPECT_FALSE(a.is_in_same_mol_as(AtomAddress(2, 0, 5, tr(0, 0, -1))));
}

// Oblique cell a = 9, b = 11, c = 7.5, alpha = 75, beta = 105, gamma = 115 degrees, a along x
// and b in the xy plane. Its fractional-to-orthogonal matrix, row by row, worked out from the
// cell (V = 640.4635 cubic angstrom):
//   a, b cos(gamma), c cos(beta)                                = 9, -4.648801, -1.941143
//   0, b sin(gamma), c (cos(alpha) - cos(beta) cos(gamma)) / sin(gamma) = 0, 9.969386, 1.236644
//   0, 0, V / (a b sin(gamma))                                  = 0, 0, 7.138114
class AtomAddressPointTest : public ::testing::Test {
protected:
  void SetUp() override {
    crystal = make_crystal(9.0, 11.0, 7.5, 75.0, 105.0, 115.0, testing::p1bar_operators());
    add_sited_molecule(*crystal,
                       {{"O", "O1", Point(0.1, 0.2, 0.3)}, {"C", "C1", Point(0.15, 0.25, 0.35)}});
    resource = make_handle<MotifSearchResource>(crystal);
  }
  THandle<CrystalMaker> crystal;
  THandle<MotifSearchResource> resource;
};

void expect_point(const Point &actual, double x, double y, double z, double tol = 1e-6) {
  EXPECT_NEAR(actual[0], x, tol);
  EXPECT_NEAR(actual[1], y, tol);
  EXPECT_NEAR(actual[2], z, tol);
}

TEST_F(AtomAddressPointTest, FractionalPointIsTheCopysPointPlusTheTranslation) {
  ASSERT_EQ(resource->ncopies(), 2);
  // Copy 1 is the inverse of the molecule: O1 at (-0.1, -0.2, -0.3).
  AtomAddress a(1, 0, 0, tr(1, 0, 1));
  expect_point(a.get_point(resource, true), 0.9, -0.2, 0.7);
  AtomAddress b(0, 0, 0, tr(1, 0, -1));
  expect_point(b.get_point(resource, true), 1.1, 0.2, -0.7);
}

TEST_F(AtomAddressPointTest, OrthogonalPointUsesTheObliqueCellMatrix) {
  expect_point(AtomAddress(0, 0, 0, tr(0, 0, 0)).get_point(resource, false), -0.6121030273,
               2.3648704438, 2.1414342777);
  expect_point(AtomAddress(0, 0, 0, tr(1, 0, -1)).get_point(resource, false), 10.3290398110,
               1.1282260695, -4.9966799812);
  expect_point(AtomAddress(1, 0, 0, tr(1, 0, 1)).get_point(resource, false), 7.6709601890,
               -1.1282260695, 4.9966799812);
}

TEST_F(AtomAddressPointTest, TranslatedPointKeepsTheLengthOfALatticeVector) {
  // Moving one cell along b moves an atom by exactly b = 11 angstrom, whatever the angles.
  Point p0 = AtomAddress(0, 0, 1, tr(0, 0, 0)).get_point(resource, false);
  Point p1 = AtomAddress(0, 0, 1, tr(0, 1, 0)).get_point(resource, false);
  EXPECT_NEAR(distance(p0, p1), 11.0, 1e-9);
  Point p2 = AtomAddress(0, 0, 1, tr(0, 0, -1)).get_point(resource, false);
  EXPECT_NEAR(distance(p0, p2), 7.5, 1e-9);
}

TEST_F(AtomAddressPointTest, AddressAndResourceGivePositionsThatAgree) {
  auto address = make_handle<AtomAddress>(1, 0, 1, tr(-1, 2, 0));
  for (bool fractional : {true, false}) {
    Point via_address = address->get_point(resource, fractional);
    Point via_resource = resource->get_point(address, fractional);
    expect_point(via_resource, via_address[0], via_address[1], via_address[2], 1e-12);
  }
  // Copy 1, atom C1: (-0.15, -0.25, -0.35) + (-1, 2, 0).
  expect_point(address->get_point(resource, true), -1.15, 1.75, -0.35);
}

TEST_F(AtomAddressPointTest, AnAddressOutsideTheEnvironmentThrowsOutOfRange) {
  EXPECT_THROW(AtomAddress(2, 0, 0, tr(0, 0, 0)).get_point(resource, true), std::out_of_range);
  EXPECT_THROW(AtomAddress(0, 0, 2, tr(0, 0, 0)).get_point(resource, true), std::out_of_range);
  EXPECT_THROW(AtomAddress().get_point(resource, false), std::out_of_range);
}

} // namespace
} // namespace xtalmotif
