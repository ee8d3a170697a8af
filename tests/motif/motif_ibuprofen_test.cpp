// A motif derived from two molecules of a real structure: the centrosymmetric carboxylic-acid
// dimer of ibuprofen (COD 2300214, P2(1)/c), two O-H...O hydrogen bonds forming an R2,2(8) ring.

#include "crystal/cif_reader.h"
#include "motif/motif.h"

#include "motif_test_molecules.h"
#include "test_data.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace xtalmotif {
namespace {

bool is_inversion(const CrystalSymmetryOperator& op) {
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      if (op.rotation()(i, j) != (i == j ? -1 : 0))
        return false;
  return true;
}

// The carboxyl group of one molecule: the hydroxyl O, its H and the carbonyl O, found by
// geometry alone (O-H below 1.2 A).
struct Carboxyl {
  int hydroxyl_o = -1, h = -1, carbonyl_o = -1;
};

Carboxyl find_carboxyl(const Molecule& m) {
  Carboxyl c;
  std::vector<int> oxygens;
  for (int i = 0; i < m.natoms(); ++i)
    if (m.atom(i)->element() == Element("O"))
      oxygens.push_back(i);
  for (int o : oxygens)
    for (int i = 0; i < m.natoms(); ++i)
      if (m.atom(i)->element() == Element("H") &&
          distance(m.atom(i)->position(), m.atom(o)->position()) < 1.2) {
        c.hydroxyl_o = o;
        c.h = i;
      }
  for (int o : oxygens)
    if (o != c.hydroxyl_o)
      c.carbonyl_o = o;
  return c;
}

// The copy of `m` under `op` followed by the lattice translation `t`.
THandle<Molecule> image(const CrystalMaker& crystal, const Molecule& m,
                        const CrystalSymmetryOperator& op, const Point& t) {
  auto copy = make_handle<Molecule3d>(m);
  for (int i = 0; i < copy->natoms(); ++i) {
    Point f = op.apply(m.atom(i)->site()->fractional()) + t;
    copy->atom(i)->set_site(make_handle<Site>(f, crystal.to_orthogonal(f), 1.0));
  }
  return THandle<Molecule>(copy);
}

TEST(MotifFromIbuprofenDimer, ContactsIncludeBothAcidHydrogenBonds) {
  const auto path = xtalmotif::testing::require_data("curated/acid__2300214-r274507.cif");
  auto crystal = read_crystal(path.string(), "");

  // Ibuprofen C13H18O2: 33 atoms.
  THandle<Molecule> acid;
  for (int i = 0; i < crystal->nmolecules(); ++i)
    if (crystal->molecule(i)->natoms() == 33)
      acid = crystal->molecule(i);
  ASSERT_FALSE(acid.is_null()) << "no 33-atom ibuprofen molecule";
  const Carboxyl cx = find_carboxyl(*acid);
  ASSERT_GE(cx.h, 0);
  ASSERT_GE(cx.carbonyl_o, 0);

  // The partner is the inversion image (-x, -y, -z) placed, among nearby cells, where its
  // carbonyl O is closest to our hydroxyl O: the dimer across a centre of symmetry.
  const CrystalSymmetryOperator* inversion = nullptr;
  for (const auto& op : crystal->symmetry_operators())
    if (is_inversion(op))
      inversion = &op;
  ASSERT_NE(inversion, nullptr);
  THandle<Molecule> partner;
  double best = std::numeric_limits<double>::max();
  for (int x = -3; x <= 3; ++x)
    for (int y = -3; y <= 3; ++y)
      for (int z = -3; z <= 3; ++z) {
        auto candidate = image(*crystal, *acid, *inversion, Point(x, y, z));
        double d = distance(acid->atom(cx.hydroxyl_o)->position(),
                            candidate->atom(cx.carbonyl_o)->position());
        if (d < best) {
          best = d;
          partner = candidate;
        }
      }
  // A carboxylic-acid dimer has O...O of about 2.6-2.8 A.
  ASSERT_GT(best, 2.5);
  ASSERT_LT(best, 2.9);
  const double h_to_o =
      distance(acid->atom(cx.h)->position(), partner->atom(cx.carbonyl_o)->position());
  ASSERT_GT(h_to_o, 1.5);
  ASSERT_LT(h_to_o, 2.1);

  Motif motif(xtalmotif::testing::molecule_list({acid, partner}), 0.1, 10.0);
  ASSERT_EQ(motif.nsubstructures(), 2);
  EXPECT_EQ(motif.substructure(0)->nnodes(), 33);
  // Ten closest pairs each way: the molecules touch, and the second ties back to the first.
  EXPECT_EQ(motif.ncontacts(), 20);
  EXPECT_EQ(motif.nmolecules_spanned(), 2);

  // Both hydrogen bonds, H of one molecule to the carbonyl O of the other, from molecule 0.
  int found = 0;
  for (const auto& c : *motif.contacts()) {
    if (c->from_substructure() != 0)
      continue;
    const bool donated = c->from_atom() == cx.h && c->to_atom() == cx.carbonyl_o;
    const bool accepted = c->from_atom() == cx.carbonyl_o && c->to_atom() == cx.h;
    if (!donated && !accepted)
      continue;
    ++found;
    EXPECT_EQ(c->to_substructure(), 1);
    EXPECT_LT(c->criterion()->lower(), h_to_o);
    EXPECT_GT(c->criterion()->upper(), h_to_o);
    EXPECT_NEAR(c->criterion()->upper(), 1.1 * h_to_o, 1e-6);
    EXPECT_TRUE(c->test_contact_distance(h_to_o * h_to_o, 0.0, 0.0));
    const ElementSet h_set{1}, o_set{8};
    EXPECT_EQ(c->criterion()->first_elements(), donated ? h_set : o_set);
    EXPECT_EQ(c->criterion()->second_elements(), donated ? o_set : h_set);
  }
  EXPECT_EQ(found, 2);
}

} // namespace
} // namespace xtalmotif
