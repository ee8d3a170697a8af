// Substructures, contacts and constraint records of a motif.

#include "motif/contact_constraint.h"
#include "motif/motif_angle_constraint.h"
#include "motif/motif_contact.h"
#include "motif/motif_substructure.h"
#include "motif/motif_torsion_constraint.h"
#include "motif/motif_translation_constraint.h"

#include "motif_test_molecules.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>

namespace xtalmotif {
namespace {

using testing::placed_molecule;

THandle<Molecule> chain_of_carbons(int n) {
  auto m = make_handle<Molecule>();
  for (int i = 0; i < n; ++i)
    m->add_atom(make_handle<Atom>(Element("C")));
  return m;
}

THandle<CombinedCriterion> absolute(double upper, double lower) {
  return make_handle<CombinedCriterion>(false, upper, lower, ContactType::Inter, 4, 999, false,
                                        nullptr, nullptr);
}

THandle<CombinedCriterion> vdw_relative(double upper, double lower) {
  return make_handle<CombinedCriterion>(true, upper, lower, ContactType::Inter, 4, 999, false,
                                        nullptr, nullptr);
}

// ---- MotifSubstructure ----

TEST(MotifSubstructure, EveryConstructorSetsTheDefaultLimits) {
  MotifSubstructure empty;
  EXPECT_EQ(empty.min_target_size(), 0);
  EXPECT_EQ(empty.max_target_size(), 100000);
  EXPECT_EQ(empty.extra_limit(), 100);
  EXPECT_EQ(empty.label(), "");
  EXPECT_EQ(empty.nnodes(), 0);

  // Formaldehyde H2C=O: four query atoms and three bonds.
  Molecule formaldehyde;
  int c = formaldehyde.add_atom(make_handle<Atom>(Element("C")));
  int o = formaldehyde.add_atom(make_handle<Atom>(Element("O")));
  int h1 = formaldehyde.add_atom(make_handle<Atom>(Element("H")));
  int h2 = formaldehyde.add_atom(make_handle<Atom>(Element("H")));
  formaldehyde.add_bond(c, o, BondType::Double);
  formaldehyde.add_bond(c, h1, BondType::Single);
  formaldehyde.add_bond(c, h2, BondType::Single);
  MotifSubstructure from_molecule(formaldehyde);
  EXPECT_EQ(from_molecule.nnodes(), 4);
  EXPECT_EQ(from_molecule.nedges(), 3);
  ASSERT_EQ(from_molecule.node(1)->elements().size(), 1u);
  EXPECT_EQ(from_molecule.node(1)->elements()[0], Element("O"));
  EXPECT_EQ(from_molecule.min_target_size(), 0);
  EXPECT_EQ(from_molecule.max_target_size(), 100000);
  EXPECT_EQ(from_molecule.extra_limit(), 100);

  Substructure graph;
  graph.add(make_handle<SubstructureAtom>(Element("N")));
  MotifSubstructure from_graph(graph);
  EXPECT_EQ(from_graph.nnodes(), 1);
  EXPECT_EQ(from_graph.max_target_size(), 100000);
  EXPECT_EQ(from_graph.extra_limit(), 100);
}

TEST(MotifSubstructure, CopyKeepsLimitsAndLabelAndOwnsItsGraph) {
  MotifSubstructure original;
  original.add(make_handle<SubstructureAtom>(Element("O")));
  original.set_target_size(3, 17);
  original.set_extra_limit(7);
  original.set_label("hydroxyl");

  MotifSubstructure copy(original);
  EXPECT_EQ(copy.min_target_size(), 3);
  EXPECT_EQ(copy.max_target_size(), 17);
  EXPECT_EQ(copy.extra_limit(), 7);
  EXPECT_EQ(copy.label(), "hydroxyl");
  ASSERT_EQ(copy.nnodes(), 1);
  EXPECT_NE(copy.node(0).get(), original.node(0).get());
  copy.node(0)->add_element(Element("N"));
  EXPECT_EQ(original.node(0)->elements().size(), 1u);
}

TEST(MotifSubstructure, TargetSizeLimitsAreInclusive) {
  MotifSubstructure s;
  s.set_target_size(3, 5);
  EXPECT_FALSE(s.is_target_size_allowed(chain_of_carbons(2)));
  EXPECT_TRUE(s.is_target_size_allowed(chain_of_carbons(3)));
  EXPECT_TRUE(s.is_target_size_allowed(chain_of_carbons(4)));
  EXPECT_TRUE(s.is_target_size_allowed(chain_of_carbons(5)));
  EXPECT_FALSE(s.is_target_size_allowed(chain_of_carbons(6)));

  // No checking: an inverted range allows nothing.
  s.set_target_size(5, 3);
  EXPECT_FALSE(s.is_target_size_allowed(chain_of_carbons(4)));
}

TEST(MotifSubstructure, PrintSendsTheSizeLinesToStandardOutput) {
  MotifSubstructure s;
  s.add(make_handle<SubstructureAtom>(Element("O")));
  s.set_target_size(2, 40);

  std::ostringstream graph_only;
  static_cast<const Substructure&>(s).print(graph_only);

  std::ostringstream os;
  ::testing::internal::CaptureStdout();
  s.print(os);
  const std::string out = ::testing::internal::GetCapturedStdout();

  EXPECT_EQ(os.str(), graph_only.str());
  EXPECT_EQ(out, "Max target size: 40\nMin target size: 2\n");
}

// ---- MotifContact ----

TEST(MotifContact, DefaultIsUnattachedWithAVanDerWaalsCriterion) {
  MotifContact c;
  EXPECT_EQ(c.from_substructure(), -1);
  EXPECT_EQ(c.from_atom(), -1);
  EXPECT_EQ(c.to_substructure(), -1);
  EXPECT_EQ(c.to_atom(), -1);
  ASSERT_FALSE(c.criterion().is_null());
  EXPECT_TRUE(c.criterion()->is_vdw_relative());
  EXPECT_EQ(c.criterion()->upper(), 0.0);
  EXPECT_EQ(c.criterion()->lower(), -5.0);
  EXPECT_EQ(c.criterion()->contact_type(), ContactType::Inter);
  EXPECT_EQ(c.criterion()->min_path(), 4);
  EXPECT_EQ(c.criterion()->max_path(), 999);
  EXPECT_FALSE(c.criterion()->is_symmetric());
  EXPECT_TRUE(c.criterion()->first_elements().empty());
  EXPECT_TRUE(c.criterion()->second_elements().empty());
  // The flag is set, so a negative lower value is squared, not cleared.
  EXPECT_EQ(c.max_distance_squared(), 0.0);
  EXPECT_EQ(c.min_distance_squared(), 25.0);

  EXPECT_EQ(c.to_atom(0), -1);
  EXPECT_EQ(c.to_atom(3), -1);
  EXPECT_EQ(c.to_atom(-1), -1);
}

TEST(MotifContact, ConstructorSharesTheCriterionAndCopyDuplicatesIt) {
  auto criterion = absolute(3.0, 2.0);
  MotifContact c(0, 4, 1, 2, criterion);
  EXPECT_EQ(c.criterion().get(), criterion.get());
  EXPECT_EQ(c.from_substructure(), 0);
  EXPECT_EQ(c.from_atom(), 4);
  EXPECT_EQ(c.to_substructure(), 1);
  EXPECT_EQ(c.to_atom(), 2);
  EXPECT_EQ(c.max_distance_squared(), 9.0);
  EXPECT_EQ(c.min_distance_squared(), 4.0);

  MotifContact copy(c);
  EXPECT_NE(copy.criterion().get(), criterion.get());
  EXPECT_TRUE(*copy.criterion() == *criterion);
  EXPECT_EQ(copy.from_atom(), 4);
  EXPECT_EQ(copy.to_atom(), 2);
  EXPECT_EQ(copy.max_distance_squared(), 9.0);
  criterion->first_elements().insert(8);
  EXPECT_TRUE(copy.criterion()->first_elements().empty());
}

TEST(MotifContact, NegativeAbsoluteLowerLimitMeansNoLowerLimit) {
  MotifContact absolute_contact(0, 0, 1, 0, absolute(3.0, -1.0));
  EXPECT_EQ(absolute_contact.min_distance_squared(), 0.0);
  EXPECT_EQ(absolute_contact.max_distance_squared(), 9.0);

  MotifContact relative_contact(0, 0, 1, 0, vdw_relative(0.5, -1.0));
  EXPECT_EQ(relative_contact.min_distance_squared(), 1.0);
  EXPECT_EQ(relative_contact.max_distance_squared(), 0.25);
}

TEST(MotifContact, AbsoluteDistanceWindowExcludesBothEnds) {
  MotifContact open_below(0, 0, 1, 0, absolute(3.0, -1.0));
  EXPECT_FALSE(open_below.test_contact_distance(0.0, 1.5, 1.5)); // the atom itself
  EXPECT_TRUE(open_below.test_contact_distance(1e-12, 1.5, 1.5));
  EXPECT_TRUE(open_below.test_contact_distance(8.99, 1.5, 1.5));
  EXPECT_FALSE(open_below.test_contact_distance(9.0, 1.5, 1.5)); // equal to the maximum
  EXPECT_FALSE(open_below.test_contact_distance(9.01, 1.5, 1.5));

  MotifContact window(0, 0, 1, 0, absolute(3.0, 2.0));
  EXPECT_FALSE(window.test_contact_distance(4.0, 0.0, 0.0)); // equal to the minimum
  EXPECT_TRUE(window.test_contact_distance(4.01, 0.0, 0.0));
  // Radii play no part in absolute mode.
  EXPECT_TRUE(window.test_contact_distance(6.25, 10.0, 10.0));
}

TEST(MotifContact, VanDerWaalsWindowIsRelativeToTheRadiusSumAndExclusive) {
  // Radii 1.5 + 1.0 = 2.5; offsets -0.5 and +0.5 give the open window (2.0, 3.0).
  MotifContact c(0, 0, 1, 0, vdw_relative(0.5, -0.5));
  EXPECT_FALSE(c.test_contact_distance(4.0, 1.5, 1.0));   // d = 2.0
  EXPECT_TRUE(c.test_contact_distance(4.41, 1.5, 1.0));   // d = 2.1
  EXPECT_TRUE(c.test_contact_distance(6.25, 1.5, 1.0));   // d = 2.5
  EXPECT_TRUE(c.test_contact_distance(8.41, 1.5, 1.0));   // d = 2.9
  EXPECT_FALSE(c.test_contact_distance(9.0, 1.5, 1.0));   // d = 3.0
  // The same distance with small radii falls outside.
  EXPECT_FALSE(c.test_contact_distance(6.25, 0.5, 0.5));
}

TEST(MotifContact, FarEndAsSeenFromEitherSubstructure) {
  MotifContact c(0, 3, 1, 5, absolute(3.0, 0.0));
  EXPECT_EQ(c.to_atom(0), 5);
  EXPECT_EQ(c.to_atom(1), 3);
  EXPECT_EQ(c.to_atom(2), -1);
  EXPECT_TRUE(c.has_sub_atom(0, 3));
  EXPECT_TRUE(c.has_sub_atom(1, 5));
  EXPECT_FALSE(c.has_sub_atom(0, 5));
  EXPECT_FALSE(c.has_sub_atom(1, 3));
  EXPECT_FALSE(c.has_sub_atom(2, 3));

  // Within one substructure the from-test wins, so the answer is always the to-atom.
  MotifContact within(2, 1, 2, 4, absolute(3.0, 0.0));
  EXPECT_EQ(within.to_atom(2), 4);
  EXPECT_TRUE(within.has_sub_atom(2, 1));
  EXPECT_TRUE(within.has_sub_atom(2, 4));
}

TEST(MotifContact, AtomTestsFollowTheContactInEitherDirection) {
  // An O-H...N contact from substructure 0 (the H) to substructure 1 (the N).
  auto molecule = placed_molecule({{"O", 0, 0, 0}, {"H", 1, 0, 0}, {"N", 3, 0, 0}});
  const int o = 0, h = 1, n = 2;
  auto criterion = absolute(2.5, 0.0);
  criterion->first_elements() = {1};
  criterion->second_elements() = {7};
  MotifContact c(0, 1, 1, 0, criterion);

  // Followed from 0, the far end is the acceptor N.
  EXPECT_TRUE(c.test_atom_to(0, *molecule, n));
  EXPECT_FALSE(c.test_atom_to(0, *molecule, h));
  EXPECT_FALSE(c.test_atom_to(0, *molecule, o));
  // Followed backwards from 1, the far end is the hydrogen.
  EXPECT_TRUE(c.test_atom_to(1, *molecule, h));
  EXPECT_FALSE(c.test_atom_to(1, *molecule, n));
  // The near end, the mirror of the above.
  EXPECT_TRUE(c.test_atom_from(0, *molecule, h));
  EXPECT_FALSE(c.test_atom_from(0, *molecule, n));
  EXPECT_TRUE(c.test_atom_from(1, *molecule, n));
  EXPECT_FALSE(c.test_atom_from(1, *molecule, o));
}

TEST(MotifContact, AtomTestsFromAnUnrelatedSubstructureThrow) {
  auto molecule = placed_molecule({{"O", 0, 0, 0}});
  MotifContact c(0, 0, 1, 0, absolute(3.0, 0.0));
  try {
    c.test_atom_to(2, *molecule, 0);
    FAIL() << "expected std::invalid_argument";
  } catch (const std::invalid_argument& e) {
    EXPECT_STREQ(e.what(), "MotifContact::test_atom_to invalid nFromSubstructure");
  }
  try {
    c.test_atom_from(-1, *molecule, 0);
    FAIL() << "expected std::invalid_argument";
  } catch (const std::invalid_argument& e) {
    EXPECT_STREQ(e.what(), "MotifContact::test_atom_from invalid nFromSubstructure");
  }
}

// ---- constraint records ----

TEST(MotifAngleConstraint, FindsEachOfItsThreeAtomsOnly) {
  MotifAngleConstraint a(0, 1, 0, 2, 1, 0,
                         make_handle<InclusiveRange>("in range", 120.0, 180.0));
  EXPECT_EQ(a.substructure(1), 0);
  EXPECT_EQ(a.atom(1), 2);
  EXPECT_TRUE(a.find_atom(0, 1));
  EXPECT_TRUE(a.find_atom(0, 2));
  EXPECT_TRUE(a.find_atom(1, 0));
  EXPECT_FALSE(a.find_atom(1, 1));
  EXPECT_FALSE(a.find_atom(0, 0));
  EXPECT_FALSE(a.find_atom(2, 1));
  EXPECT_THROW(a.reference(3), std::out_of_range);
}

TEST(MotifAngleConstraint, CopyClonesTheCondition) {
  auto condition = make_handle<InclusiveRange>("in range", 120.0, 180.0);
  MotifAngleConstraint a(0, 1, 0, 2, 1, 0, condition);
  EXPECT_EQ(a.condition().get(), condition.get());
  MotifAngleConstraint copy(a);
  EXPECT_NE(copy.condition().get(), condition.get());
  EXPECT_TRUE(*copy.condition() == *condition);
  EXPECT_TRUE(copy.condition()->test(150.0));
  EXPECT_FALSE(copy.condition()->test(119.9));
  EXPECT_TRUE(copy.find_atom(1, 0));
}

TEST(MotifTorsionConstraint, KeepsFourAtomsInOrderAndCopyClonesTheCondition) {
  auto condition = make_handle<Greater>("greater than", 90.0);
  MotifTorsionConstraint t(0, 3, 1, 0, 1, 2, 0, 1, condition);
  const int expected[4][2] = {{0, 3}, {1, 0}, {1, 2}, {0, 1}};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(t.substructure(i), expected[i][0]);
    EXPECT_EQ(t.atom(i), expected[i][1]);
  }
  MotifTorsionConstraint copy(t);
  EXPECT_NE(copy.condition().get(), condition.get());
  EXPECT_TRUE(*copy.condition() == *condition);
  EXPECT_EQ(copy.atom(0), 3);
}

TEST(MotifTranslationConstraint, FieldsInDeclaredOrder) {
  MotifTranslationConstraint t(0, 4, 2, 1);
  EXPECT_EQ(t.first_substructure(), 0);
  EXPECT_EQ(t.first_atom(), 4);
  EXPECT_EQ(t.second_substructure(), 2);
  EXPECT_EQ(t.second_atom(), 1);
}

TEST(ContactConstraint, CopyOwnsItsContactAndCondition) {
  auto contact = make_handle<MotifContact>(1, 2, 3, 0, absolute(3.2, 0.0));
  auto condition = make_handle<EqualTo>("equal to", 0.0);
  ContactConstraint c(1, 2, contact, condition);
  EXPECT_EQ(c.substructure(), 1);
  EXPECT_EQ(c.atom(), 2);
  EXPECT_EQ(c.further_contact().get(), contact.get());
  EXPECT_EQ(c.count_condition().get(), condition.get());

  ContactConstraint copy(c);
  EXPECT_EQ(copy.substructure(), 1);
  EXPECT_EQ(copy.atom(), 2);
  EXPECT_NE(copy.further_contact().get(), contact.get());
  EXPECT_EQ(copy.further_contact()->to_substructure(), 3);
  EXPECT_EQ(copy.further_contact()->max_distance_squared(), contact->max_distance_squared());
  EXPECT_NE(copy.count_condition().get(), condition.get());
  EXPECT_TRUE(copy.count_condition()->test(0.0));
  EXPECT_FALSE(copy.count_condition()->test(1.0));
}

} // namespace
} // namespace xtalmotif
