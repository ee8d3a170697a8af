// MotifSearchResource built from small crystals made in code: which symmetry copies exist and in
// what order, the lattice-translation test at its bounds, the two molecule indices, printing, and
// the atoms and molecules it hands out.

#include "match/motif_search_resource.h"

#include "motif/motif.h"
#include "match/motif_match.h"

#include "search/environment_test_crystals.h"

#include <gtest/gtest.h>

#include <sstream>

namespace xtalmotif {
namespace {

using testing::add_sited_molecule;
using testing::centrosymmetric_at_origin;
using testing::FractionalAtom;
using testing::general_ocn;
using testing::make_crystal;

void expect_point(const Point &actual, double x, double y, double z, double tol = 1e-9) {
  EXPECT_NEAR(actual[0], x, tol);
  EXPECT_NEAR(actual[1], y, tol);
  EXPECT_NEAR(actual[2], z, tol);
}

THandle<Translation> tr(int a, int b, int c) { return make_handle<Translation>(a, b, c); }

THandle<CrystalMaker> cubic(const std::vector<std::string> &ops) {
  return make_crystal(10.0, 10.0, 10.0, 90.0, 90.0, 90.0, ops);
}

// ---- which copies, in which order ----

TEST(EnvironmentCopiesTest, OneMoleculeWithOnlyTheIdentityGivesOneCopy) {
  auto cm = cubic({"x,y,z"});
  add_sited_molecule(*cm, general_ocn());
  MotifSearchResource r(cm);
  ASSERT_EQ(r.ncopies(), 1);
  EXPECT_EQ(r.nmol_in_cm(0), 0);
  EXPECT_EQ(r.nmol_in_resource(0), 0);
  expect_point(r.get_point(0, 2, true), 0.25, 0.22, 0.47);
}

TEST(EnvironmentCopiesTest, GeneralMoleculeInP21cGivesFourCopiesInOperatorOrder) {
  auto cm = cubic(testing::p21c_operators());
  add_sited_molecule(*cm, general_ocn());
  MotifSearchResource r(cm);
  ASSERT_EQ(r.ncopies(), 4);
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(r.nmol_in_cm(i), 0);
  // O1 at (0.12, 0.21, 0.33) under x,y,z; -x,y+1/2,-z+1/2; -x,-y,-z; x,-y+1/2,z+1/2.
  expect_point(r.get_point(0, 0, true), 0.12, 0.21, 0.33);
  expect_point(r.get_point(1, 0, true), -0.12, 0.71, 0.17);
  expect_point(r.get_point(2, 0, true), -0.12, -0.21, -0.33);
  expect_point(r.get_point(3, 0, true), 0.12, 0.29, 0.83);
  // Every atom of a copy goes with it: N1 at (0.25, 0.22, 0.47).
  expect_point(r.get_point(1, 2, true), -0.25, 0.72, 0.03);
  expect_point(r.get_point(3, 2, true), 0.25, 0.28, 0.97);
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ((*r.molecule_points)[i]->size(), 3u);
  EXPECT_EQ(r.operator_of_copy, (std::vector<int>{0, 1, 2, 3}));
}

TEST(EnvironmentCopiesTest, GeneralMoleculeInP1barGivesTwoCopies) {
  auto cm = cubic(testing::p1bar_operators());
  add_sited_molecule(*cm, general_ocn());
  MotifSearchResource r(cm);
  ASSERT_EQ(r.ncopies(), 2);
  expect_point(r.get_point(1, 1, true), -0.18, -0.27, -0.41);
}

TEST(EnvironmentCopiesTest, MoleculeOnInversionCentreInP1barGivesOneCopy) {
  auto cm = cubic(testing::p1bar_operators());
  add_sited_molecule(*cm, centrosymmetric_at_origin());
  MotifSearchResource r(cm);
  EXPECT_EQ(r.ncopies(), 1);
}

TEST(EnvironmentCopiesTest, MoleculeOnInversionCentreAwayFromTheOriginGivesOneCopy) {
  // Centred on (1/2, 1/2, 0): the inverse of each atom is a lattice translate of another atom.
  auto cm = cubic(testing::p1bar_operators());
  add_sited_molecule(*cm, {{"O", "O1", Point(0.60, 0.55, 0.12)},
                           {"C", "C1", Point(0.54, 0.52, 0.05)},
                           {"C", "C1'", Point(0.46, 0.48, -0.05)},
                           {"O", "O1'", Point(0.40, 0.45, -0.12)}});
  MotifSearchResource r(cm);
  EXPECT_EQ(r.ncopies(), 1);
}

TEST(EnvironmentCopiesTest, MoleculeOnInversionCentreInP21cGivesTwoCopies) {
  // The inversion maps the molecule onto itself, and the c-glide onto the 2(1) copy.
  auto cm = cubic(testing::p21c_operators());
  add_sited_molecule(*cm, centrosymmetric_at_origin());
  MotifSearchResource r(cm);
  ASSERT_EQ(r.ncopies(), 2);
  expect_point(r.get_point(0, 0, true), 0.10, 0.05, 0.12);
  expect_point(r.get_point(1, 0, true), -0.10, 0.55, 0.38);
  EXPECT_EQ(r.operator_of_copy, (std::vector<int>{0, 1}));
}

TEST(EnvironmentCopiesTest, OnlyTheFirstAtomDecidesWhetherACopyIsADuplicate) {
  // Atom 0 on the inversion centre at (1/2, 0, 0): its image is a lattice translate of itself,
  // so the whole inverse copy is left out although atom 1's image lies nowhere near any atom.
  auto cm = cubic(testing::p1bar_operators());
  add_sited_molecule(*cm, {{"O", "O1", Point(0.5, 0.0, 0.0)}, {"C", "C1", Point(0.6, 0.1, 0.1)}});
  EXPECT_EQ(MotifSearchResource(cm).ncopies(), 1);

  // The same atoms in the other order: the first atom is in a general position, so the inverse
  // copy is kept even though one of its atoms coincides with a stored one.
  auto swapped = cubic(testing::p1bar_operators());
  add_sited_molecule(*swapped,
                     {{"C", "C1", Point(0.6, 0.1, 0.1)}, {"O", "O1", Point(0.5, 0.0, 0.0)}});
  MotifSearchResource r(swapped);
  ASSERT_EQ(r.ncopies(), 2);
  expect_point(r.get_point(1, 1, true), -0.5, 0.0, 0.0);
}

TEST(EnvironmentCopiesTest, TwoIndependentMoleculesGiveCopiesMoleculeByMolecule) {
  auto cm = cubic(testing::p1bar_operators());
  add_sited_molecule(*cm, general_ocn());
  add_sited_molecule(*cm, {{"O", "Ow", Point(0.61, 0.72, 0.13)},
                           {"H", "Hw1", Point(0.64, 0.80, 0.15)},
                           {"H", "Hw2", Point(0.55, 0.70, 0.20)}});
  MotifSearchResource r(cm);
  ASSERT_EQ(r.ncopies(), 4);
  EXPECT_EQ(r.nmol_in_cm(0), 0);
  EXPECT_EQ(r.nmol_in_cm(1), 0);
  EXPECT_EQ(r.nmol_in_cm(2), 1);
  EXPECT_EQ(r.nmol_in_cm(3), 1);
  EXPECT_EQ(r.nmol_in_resource(0), 0);
  EXPECT_EQ(r.nmol_in_resource(1), 2);
  EXPECT_EQ(r.nmol_in_resource(2), -1);
  EXPECT_EQ(r.nmol_in_resource(-1), -1);
  expect_point(r.get_point(2, 0, true), 0.61, 0.72, 0.13);
  expect_point(r.get_point(3, 0, true), -0.61, -0.72, -0.13);
  EXPECT_EQ(r.operator_of_copy, (std::vector<int>{0, 1, 0, 1}));
}

TEST(EnvironmentCopiesTest, MoleculeThatIsALatticeTranslateOfAnEarlierOneGetsNoCopy) {
  auto cm = cubic(testing::p1bar_operators());
  add_sited_molecule(*cm, general_ocn());
  std::vector<FractionalAtom> shifted = general_ocn();
  for (auto &a : shifted)
    a.fractional = a.fractional + Point(1.0, -2.0, 0.0);
  add_sited_molecule(*cm, shifted);
  MotifSearchResource r(cm);
  EXPECT_EQ(r.ncopies(), 2);
  EXPECT_EQ(r.nmol_in_resource(1), -1);
  EXPECT_EQ(r.operator_of_copy, (std::vector<int>{0, 1}));
}

TEST(EnvironmentCopiesTest, MoleculeWithoutSitedAtomsStopsTheExpansionThere) {
  auto cm = cubic(testing::p1bar_operators());
  add_sited_molecule(*cm, general_ocn());
  auto unsited = make_handle<Molecule>();
  unsited->add_atom(make_handle<Atom>(Element("Cl"), "Cl1"));
  cm->add_molecule(unsited);
  add_sited_molecule(*cm, {{"O", "Ow", Point(0.61, 0.72, 0.13)}});
  MotifSearchResource r(cm);
  // Molecule 1 has no points: neither it nor molecule 2 after it gets any copy.
  EXPECT_EQ(r.ncopies(), 2);
  EXPECT_EQ(r.nmol_in_resource(2), -1);
  EXPECT_EQ(r.cm_molecule_of_copy, (std::vector<int>{0, 0}));
}

TEST(EnvironmentCopiesTest, UnsitedFirstMoleculeLeavesTheEnvironmentEmpty) {
  auto cm = cubic(testing::p1bar_operators());
  auto unsited = make_handle<Molecule>();
  unsited->add_atom(make_handle<Atom>(Element("C"), "C1"));
  cm->add_molecule(unsited);
  add_sited_molecule(*cm, general_ocn());
  MotifSearchResource r(cm);
  EXPECT_EQ(r.ncopies(), 0);
  EXPECT_EQ(r.nmol_in_resource(1), -1);
  EXPECT_FALSE(r.are_duplicates_present());
  std::ostringstream os;
  r.print_points(os, true);
  EXPECT_EQ(os.str(), "");
}

TEST(EnvironmentCopiesTest, AtomsWithoutASiteAreLeftOutOfThePointList) {
  auto cm = cubic({"x,y,z"});
  auto mol = make_handle<Molecule>();
  auto o = make_handle<Atom>(Element("O"), "O1");
  o->set_site(make_handle<Site>(Point(0.1, 0.2, 0.3), cm->to_orthogonal(Point(0.1, 0.2, 0.3))));
  auto x = make_handle<Atom>(Element("C"), "C9");
  auto n = make_handle<Atom>(Element("N"), "N1");
  n->set_site(make_handle<Site>(Point(0.4, 0.5, 0.6), cm->to_orthogonal(Point(0.4, 0.5, 0.6))));
  mol->add_atom(o);
  mol->add_atom(x);
  mol->add_atom(n);
  cm->add_molecule(mol);
  MotifSearchResource r(cm);
  ASSERT_EQ(r.ncopies(), 1);
  ASSERT_EQ((*r.molecule_points)[0]->size(), 2u);
  expect_point(r.get_point(0, 1, true), 0.4, 0.5, 0.6);
  // has_point compares the atom index with the number of points, not of atoms.
  EXPECT_TRUE(r.has_point(make_handle<AtomAddress>(0, 0, 1, tr(0, 0, 0))));
  EXPECT_FALSE(r.has_point(make_handle<AtomAddress>(0, 0, 2, tr(0, 0, 0))));
}

// ---- the lattice-translation test ----

class IntegerTranslationTest : public ::testing::Test {
protected:
  void SetUp() override {
    auto cm = cubic(testing::p1bar_operators());
    add_sited_molecule(*cm, general_ocn());
    resource = make_handle<MotifSearchResource>(cm);
  }
  bool related(const Point &a, const Point &b) const {
    return resource->are_points_related_by_int_translation(a, b);
  }
  THandle<MotifSearchResource> resource;
};

TEST_F(IntegerTranslationTest, PointsAWholeLatticeVectorApartAreRelated) {
  EXPECT_TRUE(related(Point(0.2, 0.3, 0.4), Point(0.2, 0.3, 0.4)));
  EXPECT_TRUE(related(Point(0.2, 0.3, 0.4), Point(1.2, 0.3, 0.4)));
  EXPECT_TRUE(related(Point(0.2, 0.3, 0.4), Point(-0.8, 2.3, -1.6)));
  EXPECT_TRUE(related(Point(1.2, 0.2, 0.2), Point(0.2, 0.2, 0.2)));
}

TEST_F(IntegerTranslationTest, DifferencesJustShortOfAWholeNumberStillCount) {
  // 0.9995 is 0.0005 from 1.
  EXPECT_TRUE(related(Point(0.9995, 0.0, 0.0), Point(0.0, 0.0, 0.0)));
  EXPECT_TRUE(related(Point(0.0, 0.0, 0.0), Point(0.0, 0.9995, 0.0)));
  EXPECT_TRUE(related(Point(0.0, 0.0, 2.0005), Point(0.0, 0.0, 0.0)));
  EXPECT_TRUE(related(Point(0.3, 0.3, 0.3), Point(0.3009, -0.6991, 1.2991)));
}

TEST_F(IntegerTranslationTest, TheToleranceBoundIsStrictOnEveryAxis) {
  EXPECT_FALSE(related(Point(0.001, 0.0, 0.0), Point(0.0, 0.0, 0.0)));
  EXPECT_FALSE(related(Point(0.0, 0.001, 0.0), Point(0.0, 0.0, 0.0)));
  EXPECT_FALSE(related(Point(0.0, 0.0, 0.0), Point(0.0, 0.0, 0.001)));
  EXPECT_FALSE(related(Point(0.999, 0.0, 0.0), Point(0.0, 0.0, 0.0)));
  EXPECT_FALSE(related(Point(0.0, 0.0, 0.0), Point(0.0, 0.0, -0.999)));
  EXPECT_FALSE(related(Point(0.2, 0.3, 0.4), Point(1.2015, 0.3, 0.4)));
}

TEST_F(IntegerTranslationTest, HalfALatticeVectorIsNotRelated) {
  EXPECT_FALSE(related(Point(0.0, 0.0, 0.0), Point(0.5, 0.0, 0.0)));
  EXPECT_FALSE(related(Point(0.25, 0.0, 0.0), Point(-0.25, 0.0, 0.0)));
  EXPECT_FALSE(related(Point(0.1, 0.1, 0.1), Point(0.1, 0.1, 0.6)));
}

TEST_F(IntegerTranslationTest, PointAlreadyGeneratedMeansALatticeTranslateOfAnyStoredPoint) {
  // Stored: O1 C1 N1 and their inverses.
  EXPECT_TRUE(resource->is_point_already_generated(Point(0.12, 0.21, 0.33)));
  EXPECT_TRUE(resource->is_point_already_generated(Point(1.25, -1.78, 0.47)));
  EXPECT_TRUE(resource->is_point_already_generated(Point(0.82, 0.73, 0.59))); // -C1 + (1,1,1)
  EXPECT_FALSE(resource->is_point_already_generated(Point(0.122, 0.21, 0.33)));
  EXPECT_FALSE(resource->is_point_already_generated(Point(0.5, 0.5, 0.5)));
}

// ---- gen_points ----

TEST_F(IntegerTranslationTest, GenPointsAppliesRotationThenTranslationToEveryPoint) {
  auto points = make_handle<std::vector<Point>>(
      std::vector<Point>{Point(0.3, 0.1, 0.05), Point(0.35, 0.4, 0.2)});
  auto op = CrystalSymmetryOperator::from_xyz("-y,x-y,z+1/3");
  auto out = resource->gen_points(op, points);
  ASSERT_EQ(out->size(), 2u);
  expect_point((*out)[0], -0.1, 0.2, 0.05 + 1.0 / 3.0, 1e-12);
  expect_point((*out)[1], -0.4, -0.05, 0.2 + 1.0 / 3.0, 1e-12);
  // The input list is not changed.
  expect_point((*points)[0], 0.3, 0.1, 0.05, 0.0);
}

TEST_F(IntegerTranslationTest, GenPointsReturnsNothingWhenTheFirstImageIsAlreadyPresent) {
  auto stored = (*resource->molecule_points)[0];
  EXPECT_TRUE(resource->gen_points(CrystalSymmetryOperator(), stored)->empty());
  EXPECT_TRUE(resource->gen_points(CrystalSymmetryOperator::from_xyz("-x,-y,-z"), stored)->empty());
  // A first point that is new lets the whole list through, even when later images coincide
  // with stored points.
  auto mixed = make_handle<std::vector<Point>>(
      std::vector<Point>{Point(0.5, 0.5, 0.5), Point(0.12, 0.21, 0.33)});
  EXPECT_EQ(resource->gen_points(CrystalSymmetryOperator(), mixed)->size(), 2u);
}

TEST(EnvironmentDuplicatesTest, ReportsTrueAsSoonAsTwoCopiesAreDistinct) {
  // Deliberately inverted sense: "duplicates present" is true for distinct copies.
  auto one = cubic({"x,y,z"});
  add_sited_molecule(*one, general_ocn());
  EXPECT_FALSE(MotifSearchResource(one).are_duplicates_present());

  auto two = cubic(testing::p1bar_operators());
  add_sited_molecule(*two, general_ocn());
  EXPECT_TRUE(MotifSearchResource(two).are_duplicates_present());
}

// ---- indices and checked access ----

TEST(EnvironmentIndexTest, OutOfRangeLookupsThrowOutOfRange) {
  auto cm = cubic(testing::p1bar_operators());
  add_sited_molecule(*cm, general_ocn());
  MotifSearchResource r(cm);
  for (int bad : {2, -1, 100}) {
    try {
      r.nmol_in_cm(bad);
      ADD_FAILURE() << "nmol_in_cm(" << bad << ") did not throw";
    } catch (const std::out_of_range &e) {
      EXPECT_STREQ(e.what(), "vector [] access out of range");
    }
  }
  EXPECT_THROW(r.get_point(2, 0, true), std::out_of_range);
  EXPECT_THROW(r.get_point(0, 3, false), std::out_of_range);
  EXPECT_THROW(r.get_point(-1, 0, true), std::out_of_range);
  EXPECT_THROW(r.has_point(make_handle<AtomAddress>(2, 0, 0, tr(0, 0, 0))), std::out_of_range);
  EXPECT_TRUE(r.has_point(make_handle<AtomAddress>(1, 0, 2, tr(5, 5, 5))));
  EXPECT_FALSE(r.has_point(make_handle<AtomAddress>(1, 0, 3, tr(0, 0, 0))));
}

// ---- printing ----

TEST(EnvironmentPrintTest, PrintPointsListsEveryCopyFractionalOrOrthogonal) {
  // Orthorhombic cell 10 x 20 x 5 angstrom, so that the three axes scale differently.
  auto cm = make_crystal(10.0, 20.0, 5.0, 90.0, 90.0, 90.0, testing::p1bar_operators());
  add_sited_molecule(*cm,
                     {{"O", "O1", Point(0.12, 0.21, 0.33)}, {"C", "C1", Point(0.18, 0.27, 0.41)}});
  MotifSearchResource r(cm);

  std::ostringstream frac;
  r.print_points(frac, true);
  EXPECT_EQ(frac.str(), "mol: 0  cm mol: 0\n"
                        "   0.120   0.210   0.330\n"
                        "   0.180   0.270   0.410\n"
                        "mol: 1  cm mol: 0\n"
                        "  -0.120  -0.210  -0.330\n"
                        "  -0.180  -0.270  -0.410\n");

  std::ostringstream orth;
  r.print_points(orth, false);
  EXPECT_EQ(orth.str(), "mol: 0  cm mol: 0\n"
                        "   1.200   4.200   1.650\n"
                        "   1.800   5.400   2.050\n"
                        "mol: 1  cm mol: 0\n"
                        "  -1.200  -4.200  -1.650\n"
                        "  -1.800  -5.400  -2.050\n");
}

// ---- atoms and molecules handed out ----

class EnvironmentAtomsTest : public ::testing::Test {
protected:
  void SetUp() override {
    // Oblique cell (see the AtomAddress tests for its matrix), P-1, one molecule O1-C1-N1 whose
    // sites are half occupied.
    crystal = make_crystal(9.0, 11.0, 7.5, 75.0, 105.0, 115.0, testing::p1bar_operators());
    add_sited_molecule(*crystal,
                       {{"O", "O1", Point(0.1, 0.2, 0.3)},
                        {"C", "C1", Point(0.15, 0.25, 0.35)},
                        {"N", "N1", Point(0.2, 0.22, 0.4)}},
                       0.5);
    resource = make_handle<MotifSearchResource>(crystal);
    motif = make_handle<Motif>("m");
    motif->add_substructure(make_handle<MotifSubstructure>(*crystal->molecule(0)));
  }
  THandle<CrystalMaker> crystal;
  THandle<MotifSearchResource> resource;
  THandle<Motif> motif;
};

TEST_F(EnvironmentAtomsTest, SiteOfAnAddressIsTranslatedOrthogonalisedAndFullyOccupied) {
  auto site = resource->get_site(make_handle<AtomAddress>(1, 0, 0, tr(1, 0, 1)));
  // O1 inverted, (-0.1, -0.2, -0.3), plus (1, 0, 1).
  expect_point(site->fractional(), 0.9, -0.2, 0.7);
  expect_point(site->orthogonal(), 7.6709601890, -1.1282260695, 4.9966799812, 1e-6);
  EXPECT_EQ(site->occupancy(), 1.0);
}

TEST_F(EnvironmentAtomsTest, AtomIsANewCopyOfTheCrystalAtomPlacedAtTheAddress) {
  THandle<Atom> source = crystal->molecule(0)->atom(0);
  THandle<Atom> a = resource->atom(make_handle<AtomAddress>(1, 0, 0, tr(1, 0, 1)));
  EXPECT_NE(a.get(), source.get());
  EXPECT_EQ(a->label(), "O1");
  EXPECT_EQ(a->element().symbol(), "O");
  ASSERT_TRUE(a->has_site());
  expect_point(a->site()->fractional(), 0.9, -0.2, 0.7);
  expect_point(a->site()->orthogonal(), 7.6709601890, -1.1282260695, 4.9966799812, 1e-6);
  EXPECT_EQ(a->site()->occupancy(), 1.0);
  // The crystal's own atom keeps its place and occupancy.
  expect_point(source->site()->fractional(), 0.1, 0.2, 0.3);
  EXPECT_EQ(source->site()->occupancy(), 0.5);
  EXPECT_NE(dynamic_cast<Atom3d *>(a.get()), nullptr);
}

TEST_F(EnvironmentAtomsTest, MoleculePlacesEverySitedAtomInTheCopysCell) {
  // The atom index of the address plays no part.
  THandle<Molecule> m = resource->molecule(make_handle<AtomAddress>(1, 0, 99, tr(0, 1, 0)));
  ASSERT_EQ(m->natoms(), 3);
  EXPECT_EQ(m->nbonds(), 2);
  EXPECT_NE(dynamic_cast<Molecule3d *>(m.get()), nullptr);
  EXPECT_EQ(m->atom(1)->label(), "C1");
  expect_point(m->atom(0)->site()->fractional(), -0.1, 0.8, -0.3);
  expect_point(m->atom(1)->site()->fractional(), -0.15, 0.75, -0.35);
  expect_point(m->atom(2)->site()->fractional(), -0.2, 0.78, -0.4);
  // Orthogonal coordinates follow from the oblique matrix:
  // (-0.1, 0.8, -0.3) -> (9*-0.1 - 4.648801*0.8 - 1.941143*-0.3, 9.969386*0.8 + 1.236644*-0.3,
  //                       7.138114*-0.3).
  expect_point(m->atom(0)->site()->orthogonal(), -0.9 - 3.7190407033 + 0.5823428515,
               7.9755085259 - 0.3709933123, -2.1414342777, 1e-6);
  EXPECT_EQ(m->atom(2)->site()->occupancy(), 1.0);
  // The crystal's molecule is untouched.
  expect_point(crystal->molecule(0)->atom(0)->site()->fractional(), 0.1, 0.2, 0.3);
  EXPECT_NE(m->atom(0).get(), crystal->molecule(0)->atom(0).get());
}

TEST_F(EnvironmentAtomsTest, SubstructureMatchGivesItsAtomsInQueryOrder) {
  auto sm = make_handle<SubstructureMatch>();
  sm->nmol_in_msr = 1;
  sm->nmol_in_cm = 0;
  sm->atoms = make_handle<std::vector<int>>(std::vector<int>{2, 0});
  sm->translation = tr(0, 0, -1);
  sm->found = true;
  auto atoms = resource->atoms(sm);
  ASSERT_EQ(atoms->size(), 2u);
  EXPECT_EQ((*atoms)[0]->label(), "N1");
  expect_point((*atoms)[0]->site()->fractional(), -0.2, -0.22, -1.4);
  EXPECT_EQ((*atoms)[1]->label(), "O1");
  expect_point((*atoms)[1]->site()->fractional(), -0.1, -0.2, -1.3);

  THandle<Molecule> m = resource->molecule(sm);
  ASSERT_EQ(m->natoms(), 3);
  expect_point(m->atom(1)->site()->fractional(), -0.15, -0.25, -1.35);
}

TEST_F(EnvironmentAtomsTest, LookupsThroughAMatchUseItsSubstructureEntries) {
  auto match = make_handle<MotifMatch>(motif);
  match->set_substructure_match(0, 1, 0, make_handle<std::vector<int>>(std::vector<int>{1, 2, 0}),
                                tr(2, 0, 0));
  THandle<Atom> a = resource->atom(match, 0, 1); // query atom 1 -> molecule atom 2 (N1)
  EXPECT_EQ(a->label(), "N1");
  expect_point(a->site()->fractional(), 1.8, -0.22, -0.4);
  auto atoms = resource->atoms(match, 0);
  ASSERT_EQ(atoms->size(), 3u);
  EXPECT_EQ((*atoms)[0]->label(), "C1");
  EXPECT_EQ((*atoms)[2]->label(), "O1");
  expect_point(resource->molecule(match, 0)->atom(0)->site()->fractional(), 1.9, -0.2, -0.3);
}

TEST_F(EnvironmentAtomsTest, BadSubstructureIndicesAndEmptyAtomListsThrow) {
  auto match = make_handle<MotifMatch>(motif);
  for (int bad : {1, -1}) {
    try {
      resource->molecule(match, bad);
      ADD_FAILURE() << "molecule(match, " << bad << ") did not throw";
    } catch (const std::out_of_range &e) {
      EXPECT_STREQ(e.what(), "vector [] access out of range");
    }
    EXPECT_THROW(resource->atoms(match, bad), std::out_of_range);
  }
  // A substructure entry with no atoms has no first atom to name the molecule by.
  try {
    resource->molecule(make_handle<SubstructureMatch>());
    ADD_FAILURE() << "molecule of an empty substructure match did not throw";
  } catch (const std::out_of_range &e) {
    EXPECT_STREQ(e.what(), "vector [] access out of range");
  }
}

} // namespace
} // namespace xtalmotif
