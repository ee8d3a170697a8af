// The query files shipped in data/queries, read into motifs and compared with the chemistry
// each file states in its header.
#include "files/con_file.h"

#include "motif/motif.h"
#include "test_data.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

std::string query_path(const std::string& name) {
  auto p = testing::source_dir() / "data" / "queries" / name;
  EXPECT_TRUE(std::filesystem::exists(p)) << "shipped query missing: " << p.string();
  return p.string();
}

THandle<Motif> read_query(const std::string& name) {
  auto m = make_handle<Motif>("unread");
  m->read_from_con_file(query_path(name));
  return m;
}

std::vector<Element> just(int code) { return {Element(code)}; }

// The condition of the constraint of kind C on query atom `atom`, null when there is none.
template <class C> THandle<Condition> condition_on(const SubstructureAtom& atom) {
  for (const auto& c : atom.constraints())
    if (auto typed = handle_cast<C>(c))
      return typed->condition();
  return THandle<Condition>();
}

// True when the condition accepts exactly the counts in `accepted` among 0..6.
bool accepts_exactly(const THandle<Condition>& c, std::set<int> accepted) {
  if (!c)
    return false;
  for (int n = 0; n <= 6; ++n)
    if (c->test(n) != (accepted.count(n) == 1))
      return false;
  return true;
}

bool hydrogens(const SubstructureAtom& a, std::set<int> accepted) {
  return accepts_exactly(condition_on<AtomNHydrogensConstraint>(a), std::move(accepted));
}

bool connections(const SubstructureAtom& a, std::set<int> accepted) {
  return accepts_exactly(condition_on<AtomNBondsConstraint>(a), std::move(accepted));
}

bool bond_is(const MotifSubstructure& s, int edge, int a1, int a2, std::vector<BondType> types) {
  const auto& e = s.edge(edge);
  return e.atom1 == a1 && e.atom2 == a2 && e.bond->types() == types;
}

// The largest distance (angstrom) a van der Waals-relative contact accepts between two elements.
double reach(const MotifContact& c, int code_a, int code_b) {
  EXPECT_TRUE(c.criterion()->is_vdw_relative());
  return Element::vdw_radii_[code_a] + Element::vdw_radii_[code_b] + c.criterion()->upper();
}

TEST(ShippedQueries, EveryFileBecomesASearchableMotif) {
  auto folder = testing::source_dir() / "data" / "queries";
  ASSERT_TRUE(std::filesystem::is_directory(folder));
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() != ".con")
      continue;
    ++files;
    SCOPED_TRACE(entry.path().filename().string());
    ConFile con;
    ASSERT_TRUE(con.read(entry.path().string()));
    auto m = con.motif();
    // An intermolecular motif joins at least two fragments by at least one contact, and every
    // fragment takes part in one.
    EXPECT_GE(m->nsubstructures(), 2);
    EXPECT_GE(m->ncontacts(), 1);
    for (int s = 0; s < m->nsubstructures(); ++s)
      EXPECT_FALSE(m->contacts_for_substructure(s)->empty()) << "substructure " << s;
    // The header lines are skipped, never read as records.
    for (const ConAtom& a : con.atoms())
      EXPECT_GT(a.number(), 0);
  }
  EXPECT_EQ(files, 5);
}

TEST(ShippedQueries, CarboxylicAcidDimer) {
  auto m = read_query("carboxylic_acid_dimer.con");
  ASSERT_EQ(m->nsubstructures(), 2);
  for (int s = 0; s < 2; ++s) {
    SCOPED_TRACE(s);
    const auto& acid = *m->substructure(s);
    ASSERT_EQ(acid.nnodes(), 4);
    // C(=O)-O-H: carbonyl O bare, hydroxyl O with one H, acid C with three neighbours.
    EXPECT_EQ(acid.node(0)->elements(), just(Element::Carbon));
    EXPECT_TRUE(connections(*acid.node(0), {3}));
    EXPECT_EQ(acid.node(1)->elements(), just(Element::Oxygen));
    EXPECT_TRUE(hydrogens(*acid.node(1), {0}));
    EXPECT_TRUE(connections(*acid.node(1), {1}));
    EXPECT_EQ(acid.node(2)->elements(), just(Element::Oxygen));
    EXPECT_TRUE(hydrogens(*acid.node(2), {1}));
    EXPECT_TRUE(connections(*acid.node(2), {2}));
    EXPECT_EQ(acid.node(3)->elements(), just(Element::Hydrogen));
    ASSERT_EQ(acid.nedges(), 3);
    EXPECT_TRUE(bond_is(acid, 0, 0, 1, {BondType::Double}));
    EXPECT_TRUE(bond_is(acid, 1, 0, 2, {BondType::Single}));
    EXPECT_TRUE(bond_is(acid, 2, 2, 3, {BondType::Single}));
  }
  // Two hydrogen bonds, each from the hydroxyl H of one acid to the carbonyl O of the other.
  ASSERT_EQ(m->ncontacts(), 2);
  for (int k = 0; k < 2; ++k) {
    SCOPED_TRACE(k);
    auto c = m->contact(k);
    EXPECT_EQ(c->from_substructure(), k);
    EXPECT_EQ(c->from_atom(), 3);
    EXPECT_EQ(c->to_substructure(), 1 - k);
    EXPECT_EQ(c->to_atom(), 1);
    EXPECT_EQ(c->criterion()->contact_type(), ContactType::Inter);
    // H...O below the van der Waals radius sum, 1.09 + 1.52 A.
    EXPECT_NEAR(reach(*c, Element::Hydrogen, Element::Oxygen), 2.61, 1e-9);
  }
  EXPECT_TRUE(m->angle_constraints()->empty());
}

TEST(ShippedQueries, AmideChainLink) {
  auto m = read_query("amide_chain.con");
  ASSERT_EQ(m->nsubstructures(), 2);
  const auto& donor = *m->substructure(0);
  ASSERT_EQ(donor.nnodes(), 4);
  EXPECT_EQ(donor.node(2)->elements(), just(Element::Nitrogen));
  // Primary or secondary amide N: one or two H, three neighbours.
  EXPECT_TRUE(hydrogens(*donor.node(2), {1, 2}));
  EXPECT_TRUE(connections(*donor.node(2), {3}));
  EXPECT_EQ(donor.node(3)->elements(), just(Element::Hydrogen));
  ASSERT_EQ(donor.nedges(), 3);
  EXPECT_TRUE(bond_is(donor, 0, 0, 1, {BondType::Double}));
  EXPECT_TRUE(bond_is(donor, 1, 0, 2, {})); // C-N of any type
  EXPECT_TRUE(bond_is(donor, 2, 2, 3, {BondType::Single}));

  const auto& acceptor = *m->substructure(1);
  ASSERT_EQ(acceptor.nnodes(), 3);
  EXPECT_EQ(acceptor.node(1)->elements(), just(Element::Oxygen));
  EXPECT_TRUE(hydrogens(*acceptor.node(1), {0}));
  EXPECT_EQ(acceptor.node(2)->elements(), just(Element::Nitrogen));
  EXPECT_FALSE(condition_on<AtomNHydrogensConstraint>(*acceptor.node(2)));
  EXPECT_TRUE(connections(*acceptor.node(2), {3}));

  ASSERT_EQ(m->ncontacts(), 1);
  auto c = m->contact(0);
  EXPECT_EQ(c->from_substructure(), 0);
  EXPECT_EQ(c->from_atom(), 3);
  EXPECT_EQ(c->to_substructure(), 1);
  EXPECT_EQ(c->to_atom(), 1);
  EXPECT_EQ(c->criterion()->contact_type(), ContactType::Inter);
  // H...O from 1.61 to 2.51 A, as the file says.
  double sum = Element::vdw_radii_[Element::Hydrogen] + Element::vdw_radii_[Element::Oxygen];
  EXPECT_NEAR(sum + c->criterion()->lower(), 1.61, 1e-9);
  EXPECT_NEAR(sum + c->criterion()->upper(), 2.51, 1e-9);
  EXPECT_TRUE(c->test_contact_distance(2.0 * 2.0, 1.09, 1.52));
  EXPECT_FALSE(c->test_contact_distance(2.6 * 2.6, 1.09, 1.52));
}

TEST(ShippedQueries, WaterWaterHydrogenBond) {
  auto m = read_query("water_water.con");
  ASSERT_EQ(m->nsubstructures(), 2);
  const auto& donor = *m->substructure(0);
  ASSERT_EQ(donor.nnodes(), 2);
  EXPECT_EQ(donor.node(0)->elements(), just(Element::Oxygen));
  EXPECT_TRUE(hydrogens(*donor.node(0), {2}));
  EXPECT_EQ(donor.node(1)->elements(), just(Element::Hydrogen));
  ASSERT_EQ(donor.nedges(), 1);
  // The acceptor water is a lone oxygen, numbered after the bonded donor.
  const auto& acceptor = *m->substructure(1);
  ASSERT_EQ(acceptor.nnodes(), 1);
  EXPECT_EQ(acceptor.node(0)->elements(), just(Element::Oxygen));
  EXPECT_TRUE(hydrogens(*acceptor.node(0), {2}));

  ASSERT_EQ(m->ncontacts(), 1);
  auto c = m->contact(0);
  EXPECT_EQ(c->from_substructure(), 0);
  EXPECT_EQ(c->from_atom(), 1);
  EXPECT_EQ(c->to_substructure(), 1);
  EXPECT_EQ(c->to_atom(), 0);
  EXPECT_EQ(c->criterion()->contact_type(), ContactType::Inter);
  EXPECT_NEAR(reach(*c, Element::Hydrogen, Element::Oxygen), 2.61, 1e-9);
}

TEST(ShippedQueries, SilverCarboxylateContact) {
  auto m = read_query("silver_carboxylate.con");
  ASSERT_EQ(m->nsubstructures(), 2);
  const auto& carboxylate = *m->substructure(0);
  ASSERT_EQ(carboxylate.nnodes(), 3);
  EXPECT_EQ(carboxylate.node(0)->elements(), just(Element::Carbon));
  EXPECT_TRUE(hydrogens(*carboxylate.node(1), {0}));
  EXPECT_TRUE(hydrogens(*carboxylate.node(2), {0}));
  ASSERT_EQ(carboxylate.nedges(), 2);
  EXPECT_TRUE(bond_is(carboxylate, 0, 0, 1, {}));
  EXPECT_TRUE(bond_is(carboxylate, 1, 0, 2, {}));
  const auto& silver = *m->substructure(1);
  ASSERT_EQ(silver.nnodes(), 1);
  EXPECT_EQ(silver.node(0)->elements(), just(Element::Silver));

  ASSERT_EQ(m->ncontacts(), 1);
  auto c = m->contact(0);
  EXPECT_EQ(c->from_substructure(), 1);
  EXPECT_EQ(c->from_atom(), 0);
  EXPECT_EQ(c->to_substructure(), 0);
  EXPECT_EQ(c->to_atom(), 1);
  EXPECT_EQ(c->criterion()->contact_type(), ContactType::Any);
  // Ag...O at most 2.80 A: Bondi radii 1.72 (Ag) and 1.52 (O).
  EXPECT_NEAR(reach(*c, Element::Silver, Element::Oxygen), 2.80, 1e-9);
  EXPECT_TRUE(c->test_contact_distance(2.45 * 2.45, 1.72, 1.52));
  EXPECT_FALSE(c->test_contact_distance(2.85 * 2.85, 1.72, 1.52));
  EXPECT_EQ(c->criterion()->first_elements(), (ElementSet{47}));
  EXPECT_EQ(c->criterion()->second_elements(), (ElementSet{8}));
}

TEST(ShippedQueries, AngleRestrictedHydrogenBond) {
  auto m = read_query("hydroxyl_hbond_angle.con");
  ASSERT_EQ(m->nsubstructures(), 2);
  const auto& hydroxyl = *m->substructure(0);
  ASSERT_EQ(hydroxyl.nnodes(), 2);
  EXPECT_TRUE(hydrogens(*hydroxyl.node(0), {1}));
  EXPECT_TRUE(connections(*hydroxyl.node(0), {2}));
  EXPECT_EQ(m->substructure(1)->nnodes(), 1);

  ASSERT_EQ(m->ncontacts(), 1);
  auto c = m->contact(0);
  EXPECT_EQ(c->from_substructure(), 0);
  EXPECT_EQ(c->from_atom(), 1);
  EXPECT_EQ(c->to_substructure(), 1);
  EXPECT_EQ(c->to_atom(), 0);

  // O-H...O at H: (0,0), apex (0,1), (1,0); at least 120 degrees.
  ASSERT_EQ(m->angle_constraints()->size(), 1u);
  const auto& a = *(*m->angle_constraints())[0];
  EXPECT_EQ(a.reference(0), std::make_pair(0, 0));
  EXPECT_EQ(a.reference(1), std::make_pair(0, 1));
  EXPECT_EQ(a.reference(2), std::make_pair(1, 0));
  EXPECT_FALSE(a.condition()->test(119.9));
  EXPECT_TRUE(a.condition()->test(120.0));
  EXPECT_TRUE(a.condition()->test(165.0));
  EXPECT_TRUE(a.condition()->test(180.0));
}

} // namespace
} // namespace xtalmotif
