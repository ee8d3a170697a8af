// The crystal environment of real structures read from CIF files: the number of symmetry copies
// of each molecule must agree with the space group and with Z (formula units per cell) as the
// authors reported them, and each copy must be a true operator image of its molecule.

#include "match/motif_search_resource.h"

#include "crystal/cif_reader.h"

#include "test_data.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>

namespace xtalmotif {
namespace {

THandle<MotifSearchResource> environment_of(const std::string &file, const std::string &block) {
  auto path = testing::require_data("curated/" + file);
  return make_handle<MotifSearchResource>(read_crystal(path.string(), block));
}

int copies_of(const MotifSearchResource &r, int m) {
  int n = 0;
  for (int c : r.cm_molecule_of_copy)
    n += c == m;
  return n;
}

bool has_element(const Molecule &m, const std::string &symbol) {
  for (int i = 0; i < m.natoms(); ++i)
    if (m.atom(i)->element().symbol() == symbol)
      return true;
  return false;
}

/// Crystal-maker index of the molecule holding the atom labelled `label`, or -1.
int molecule_with_label(const CrystalMaker &cm, const std::string &label) {
  for (int m = 0; m < cm.nmolecules(); ++m)
    for (int i = 0; i < cm.molecule(m)->natoms(); ++i)
      if (cm.molecule(m)->atom(i)->label() == label)
        return m;
  return -1;
}

/// How many units of `symbol`-containing molecules a whole cell holds: the sum, over the
/// molecules containing the element, of their copies.
int units_in_cell(const MotifSearchResource &r, const std::string &symbol) {
  const CrystalMaker &cm = *r.crystal();
  int n = 0;
  for (int m = 0; m < cm.nmolecules(); ++m)
    if (has_element(*cm.molecule(m), symbol))
      n += copies_of(r, m);
  return n;
}

double wrap(double d) { return d - std::floor(d + 0.5); }

/// Every copy is, atom by atom, R p + t for one operator of the structure (worked out here from
/// the operator's matrix and vector), and no two copies sit on each other up to a lattice vector.
void expect_copies_are_distinct_operator_images(const MotifSearchResource &r) {
  const CrystalMaker &cm = *r.crystal();
  const auto &ops = cm.symmetry_operators();
  for (int k = 0; k < r.ncopies(); ++k) {
    const Molecule &mol = *cm.molecule(r.nmol_in_cm(k));
    const auto &points = *(*r.molecule_points)[k];
    ASSERT_EQ(static_cast<int>(points.size()), mol.natoms()) << "copy " << k;
    bool some_operator = false;
    for (const auto &op : ops) {
      bool all = true;
      for (int i = 0; i < mol.natoms() && all; ++i) {
        const Point &p = mol.atom(i)->site()->fractional();
        for (int a = 0; a < 3 && all; ++a) {
          double q = op.translation()[a];
          for (int b = 0; b < 3; ++b)
            q += op.rotation()(a, b) * p[b];
          all = std::fabs(q - points[i][a]) < 1e-9;
        }
      }
      some_operator = some_operator || all;
    }
    EXPECT_TRUE(some_operator) << "copy " << k << " is no operator image of its molecule";
    // The operator recorded for the copy is the one that made it.
    ASSERT_EQ(r.operator_of_copy.size(), static_cast<std::size_t>(r.ncopies()));
    const auto &op = ops.at(static_cast<std::size_t>(r.operator_of_copy[k]));
    for (int i = 0; i < mol.natoms(); ++i) {
      const Point &p = mol.atom(i)->site()->fractional();
      for (int a = 0; a < 3; ++a) {
        double q = op.translation()[a];
        for (int b = 0; b < 3; ++b)
          q += op.rotation()(a, b) * p[b];
        EXPECT_NEAR(q, points[i][a], 1e-9) << "copy " << k << " atom " << i;
      }
    }
  }
  // Distinct copies: their centroids differ by more than a hundredth of a cell edge on some axis,
  // modulo whole cells.
  std::vector<Point> centroids;
  for (const auto &copy : *r.molecule_points) {
    Point c;
    for (const Point &p : *copy)
      c += p;
    centroids.push_back(c * (1.0 / static_cast<double>(copy->size())));
  }
  for (std::size_t i = 0; i < centroids.size(); ++i)
    for (std::size_t j = i + 1; j < centroids.size(); ++j) {
      Point d = centroids[i] - centroids[j];
      bool same = std::fabs(wrap(d[0])) < 0.01 && std::fabs(wrap(d[1])) < 0.01 &&
                  std::fabs(wrap(d[2])) < 0.01;
      EXPECT_FALSE(same) << "copies " << i << " and " << j << " coincide";
    }
}

TEST(RealEnvironmentTest, Ibuprofen2300214InP21cGivesFourCopiesOfItsOneMolecule) {
  // P 1 21/c 1, Z = 4, one C13H18O2 molecule in the asymmetric unit: Z = 4 operators x Z' 1.
  auto r = environment_of("acid__2300214-r274507.cif", "");
  const CrystalMaker &cm = *r->crystal();
  ASSERT_EQ(cm.symmetry_operators().size(), 4u);
  ASSERT_EQ(cm.nmolecules(), 1);
  EXPECT_EQ(cm.molecule(0)->natoms(), 33);
  EXPECT_EQ(r->ncopies(), 4);
  EXPECT_EQ(r->cm_molecule_of_copy, (std::vector<int>{0, 0, 0, 0}));
  expect_copies_are_distinct_operator_images(*r);
  // The first copy is the molecule as the file places it.
  const Point &first = cm.molecule(0)->atom(0)->site()->fractional();
  EXPECT_EQ(r->get_point(0, 0, true), first);
}

TEST(RealEnvironmentTest, CentrosymmetricSilane4122001InP21cGivesTwoCopies) {
  // P 1 21/c 1 with Z = 2: the C42H52Si2 molecule lies on an inversion centre, so the inversion
  // and the glide repeat copies already present and only two copies remain.
  auto r = environment_of("negative__4122001.cif", "");
  const CrystalMaker &cm = *r->crystal();
  ASSERT_EQ(cm.symmetry_operators().size(), 4u);
  ASSERT_EQ(cm.nmolecules(), 1);
  EXPECT_EQ(cm.molecule(0)->natoms(), 42 + 52 + 2);
  EXPECT_EQ(r->ncopies(), 2);
  expect_copies_are_distinct_operator_images(*r);
}

TEST(RealEnvironmentTest, NickelHexaaquaOnInversionCentresInP1barGiveOneCopyEach) {
  // Block 2b: P -1, Z = 6 formula units [crown ether, Ni(H2O)6, 2 NO3, H2O]; Ni1 and Ni2 lie in
  // general positions, Ni3 at (0, 0, 0) and Ni4 at (1/2, 0, 0) on inversion centres.
  auto r = environment_of("hydrate__bs5068.cif", "2b");
  const CrystalMaker &cm = *r->crystal();
  ASSERT_EQ(cm.symmetry_operators().size(), 2u);
  int ni1 = molecule_with_label(cm, "Ni1_1");
  int ni2 = molecule_with_label(cm, "Ni2_2");
  int ni3 = molecule_with_label(cm, "Ni3_3");
  int ni4 = molecule_with_label(cm, "Ni4_3");
  ASSERT_GE(ni1, 0);
  ASSERT_GE(ni2, 0);
  ASSERT_GE(ni3, 0);
  ASSERT_GE(ni4, 0);
  EXPECT_EQ(copies_of(*r, ni1), 2);
  EXPECT_EQ(copies_of(*r, ni2), 2);
  EXPECT_EQ(copies_of(*r, ni3), 1);
  EXPECT_EQ(copies_of(*r, ni4), 1);
  // Each hexaaqua cation is whole: Ni, six O, twelve H.
  EXPECT_EQ(cm.molecule(ni3)->natoms(), 19);
  // The whole cell holds Z = 6 nickel cations.
  EXPECT_EQ(units_in_cell(*r, "Ni"), 6);
  // Every molecule has one or two copies in P-1, never more.
  for (int m = 0; m < cm.nmolecules(); ++m)
    EXPECT_LE(copies_of(*r, m), 2);
  expect_copies_are_distinct_operator_images(*r);
}

TEST(RealEnvironmentTest, TwoIndependentPalladiumComplexes4082565InP212121GiveFourCopiesEach) {
  // P 21 21 21 has no special positions: every molecule gives four copies. Z = 4 formula units of
  // two Pd complexes and one CH2Cl2 (Z' = 2 for the complex).
  auto r = environment_of("quirk__4082565-r190286.cif", "");
  const CrystalMaker &cm = *r->crystal();
  ASSERT_EQ(cm.symmetry_operators().size(), 4u);
  int palladium_molecules = 0;
  for (int m = 0; m < cm.nmolecules(); ++m) {
    EXPECT_EQ(copies_of(*r, m), 4) << "molecule " << m << " " << cm.molecule(m)->formula();
    palladium_molecules += has_element(*cm.molecule(m), "Pd");
  }
  EXPECT_EQ(palladium_molecules, 2);
  EXPECT_EQ(r->ncopies(), 4 * cm.nmolecules());
  EXPECT_EQ(units_in_cell(*r, "Pd"), 8);
  // Copies are grouped molecule by molecule, in crystal-maker order.
  for (int k = 0; k < r->ncopies(); ++k)
    EXPECT_EQ(r->nmol_in_cm(k), k / 4);
  for (int m = 0; m < cm.nmolecules(); ++m)
    EXPECT_EQ(r->nmol_in_resource(m), 4 * m);
  expect_copies_are_distinct_operator_images(*r);
}

TEST(RealEnvironmentTest, FluorocytosineHemipentahydrate4504659KeepsEveryMoleculeGeneral) {
  // P 1 21/c 1, Z = 8: two C4H4FN3O molecules and five waters in the asymmetric unit, all in
  // general positions, so 8 fluorocytosines and 20 waters per cell.
  auto r = environment_of("hydrate__4504659.cif", "");
  const CrystalMaker &cm = *r->crystal();
  ASSERT_EQ(cm.symmetry_operators().size(), 4u);
  std::map<std::string, int> molecules_by_formula;
  for (int m = 0; m < cm.nmolecules(); ++m) {
    ++molecules_by_formula[cm.molecule(m)->formula()];
    EXPECT_EQ(copies_of(*r, m), 4) << cm.molecule(m)->formula();
  }
  EXPECT_EQ(units_in_cell(*r, "F"), 8);
  int waters = 0;
  for (int m = 0; m < cm.nmolecules(); ++m)
    if (cm.molecule(m)->natoms() == 3 && !has_element(*cm.molecule(m), "C"))
      waters += copies_of(*r, m);
  EXPECT_EQ(waters, 20);
  expect_copies_are_distinct_operator_images(*r);
}

TEST(RealEnvironmentTest, RebuildingFromTheSameFileGivesTheSameEnvironment) {
  // The results re-read an entry and rely on the copies being numbered exactly as before.
  auto a = environment_of("hydrate__bs5068.cif", "2b");
  auto b = environment_of("hydrate__bs5068.cif", "2b");
  ASSERT_EQ(a->ncopies(), b->ncopies());
  EXPECT_EQ(a->cm_molecule_of_copy, b->cm_molecule_of_copy);
  for (int k = 0; k < a->ncopies(); ++k)
    EXPECT_EQ(*(*a->molecule_points)[k], *(*b->molecule_points)[k]) << "copy " << k;
}

} // namespace
} // namespace xtalmotif
