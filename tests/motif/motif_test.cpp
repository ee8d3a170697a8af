// The motif as a query: building, lookups, derived element sets, copy, sorting and printing.

#include "motif/motif.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

THandle<CombinedCriterion> absolute(double upper, ContactType type = ContactType::Inter) {
  return make_handle<CombinedCriterion>(false, upper, 0.0, type, 4, 999, false, nullptr,
                                        nullptr);
}

THandle<SubstructureAtom> query_atom(std::vector<const char*> symbols) {
  std::vector<Element> elements;
  for (const char* s : symbols)
    elements.emplace_back(s);
  return make_handle<SubstructureAtom>(elements);
}

std::vector<int> as_vector(const THandle<std::vector<int>>& v) { return *v; }

std::string expect_out_of_range_message(const std::function<void()>& f) {
  try {
    f();
  } catch (const std::out_of_range& e) {
    return e.what();
  }
  return "(no exception)";
}

// A hydroxyl donor (O, then H or D) and an acceptor fragment whose first atom may be any element
// and whose second is N or O. Contact 0 runs from the donor H to the acceptor's atom 0; contact 1
// is written the other way round, from the acceptor's atom 1 to the donor O.
class TwoSubstructureMotif : public ::testing::Test {
protected:
  void SetUp() override {
    donor = make_handle<MotifSubstructure>();
    donor->add(query_atom({"O"}));
    donor->add(query_atom({"H", "D"}));
    donor->add(make_handle<SubstructureBond>(BondType::Single), 0, 1);
    acceptor = make_handle<MotifSubstructure>();
    acceptor->add(make_handle<SubstructureAtom>());
    acceptor->add(query_atom({"N", "O"}));
    ASSERT_EQ(motif.add_substructure(donor), 0);
    ASSERT_EQ(motif.add_substructure(acceptor), 1);
    ASSERT_EQ(motif.add_contact(make_handle<MotifContact>(0, 1, 1, 0, absolute(2.5))), 0);
    ASSERT_EQ(motif.add_contact(make_handle<MotifContact>(1, 1, 0, 0, absolute(3.2))), 1);
  }

  Motif motif{"donor-acceptor"};
  THandle<MotifSubstructure> donor;
  THandle<MotifSubstructure> acceptor;
};

TEST(Motif, NewMotifHasSixEmptyListsAndAnswersEveryLookupEmpty) {
  Motif m("empty");
  EXPECT_EQ(m.name(), "empty");
  EXPECT_EQ(m.aux_value(), 0.0);
  ASSERT_FALSE(m.substructures().is_null());
  ASSERT_FALSE(m.contacts().is_null());
  ASSERT_FALSE(m.angle_constraints().is_null());
  ASSERT_FALSE(m.torsion_constraints().is_null());
  ASSERT_FALSE(m.translation_constraints().is_null());
  ASSERT_FALSE(m.contact_constraints().is_null());
  EXPECT_EQ(m.nsubstructures(), 0);
  EXPECT_EQ(m.ncontacts(), 0);
  EXPECT_TRUE(m.contacts_for_substructure(0)->empty());
  EXPECT_TRUE(m.contacts_between_substructures(0, 1)->empty());
  EXPECT_EQ(m.motif_contact(0, 1), -1);
  EXPECT_TRUE(m.substructure_neighbours(0)->empty());
  EXPECT_TRUE(m.motif_contacts(*absolute(3.0))->empty());
  EXPECT_EQ(m.nmolecules_spanned(), 0);
}

TEST(Motif, SetNameReplacesTheNameThroughTheBase) {
  struct Renamed : Motif {
    Renamed() : Motif("a") {}
    void set_name(std::string n) override { Motif::set_name("x-" + n); }
  };
  Renamed r;
  Motif& base = r;
  base.set_name("b");
  EXPECT_EQ(r.name(), "x-b");
}

TEST_F(TwoSubstructureMotif, ContactsBetweenTwoSubstructuresAreFoundInBothDirections) {
  EXPECT_EQ(as_vector(motif.contacts_between_substructures(0, 1)), (std::vector<int>{0, 1}));
  EXPECT_EQ(as_vector(motif.contacts_between_substructures(1, 0)), (std::vector<int>{0, 1}));
  EXPECT_TRUE(motif.contacts_between_substructures(0, 0)->empty());
  EXPECT_EQ(motif.motif_contact(0, 1), 0);
  EXPECT_EQ(motif.motif_contact(1, 0), 0);
  EXPECT_EQ(motif.motif_contact(0, 2), -1);
  EXPECT_EQ(as_vector(motif.substructure_neighbours(0)), (std::vector<int>{1, 1}));
  EXPECT_EQ(as_vector(motif.substructure_neighbours(1)), (std::vector<int>{0, 0}));
  EXPECT_TRUE(motif.substructure_neighbours(2)->empty());

  auto for0 = motif.contacts_for_substructure(0);
  ASSERT_EQ(for0->size(), 2u);
  EXPECT_EQ((*for0)[0].get(), motif.contact(0).get());
  EXPECT_EQ((*for0)[1].get(), motif.contact(1).get());
  EXPECT_TRUE(motif.contacts_for_substructure(2)->empty());
  // Each lookup hands out a new list.
  EXPECT_NE(motif.contacts_for_substructure(0).get(), for0.get());
}

TEST_F(TwoSubstructureMotif, ContactWithinOneSubstructureCountsItTwiceAsItsOwnNeighbour) {
  motif.add_contact(make_handle<MotifContact>(1, 0, 1, 1, absolute(4.0, ContactType::Intra)));
  EXPECT_EQ(as_vector(motif.substructure_neighbours(1)), (std::vector<int>{0, 0, 1, 1}));
  auto for1 = motif.contacts_for_substructure(1);
  EXPECT_EQ(for1->size(), 3u); // the contact within 1 is listed once
  EXPECT_EQ(as_vector(motif.contacts_between_substructures(1, 1)), (std::vector<int>{2}));
}

TEST_F(TwoSubstructureMotif, ElementSetsAreFilledFromTheQueryAtoms) {
  // Contact 0: donor H or D (both atomic number 1) to an any-element atom.
  const ElementSet& h_end = motif.contact(0)->criterion()->first_elements();
  EXPECT_EQ(h_end, (ElementSet{1}));
  // Any element: the table covers X (0) and every element from H (1) to Lr (103); D, the three
  // placeholders and X share numbers, so 108 codes give 104 distinct atomic numbers.
  ElementSet every_atomic_number;
  for (int z = 0; z <= 103; ++z)
    every_atomic_number.insert(z);
  EXPECT_EQ(motif.contact(0)->criterion()->second_elements(), every_atomic_number);

  // Contact 1: N or O to the donor O.
  EXPECT_EQ(motif.contact(1)->criterion()->first_elements(), (ElementSet{7, 8}));
  EXPECT_EQ(motif.contact(1)->criterion()->second_elements(), (ElementSet{8}));
}

TEST_F(TwoSubstructureMotif, ElementSetsAreReplacedWhenTheQueryAtomsChange) {
  motif.contact(1)->criterion()->first_elements().insert(92); // stale entry
  acceptor->node(1)->add_element(Element("S"));
  motif.set_contact_elements();
  EXPECT_EQ(motif.contact(1)->criterion()->first_elements(), (ElementSet{7, 8, 16}));
}

TEST_F(TwoSubstructureMotif, SubstructuresAreSharedButContactsAreCopied) {
  EXPECT_EQ(motif.substructure(0).get(), donor.get());

  auto criterion = absolute(3.0);
  auto mine = make_handle<MotifContact>(0, 0, 1, 1, criterion);
  int i = motif.add_contact(mine);
  EXPECT_EQ(i, 2);
  EXPECT_NE(motif.contact(i).get(), mine.get());
  EXPECT_NE(motif.contact(i)->criterion().get(), criterion.get());
  // The caller's criterion was not touched by the element sets of the motif's copy...
  EXPECT_TRUE(criterion->first_elements().empty());
  // ...and later changes of the caller's contact do not reach the motif.
  criterion->set_upper(99.0);
  EXPECT_EQ(motif.contact(i)->criterion()->upper(), 3.0);
  EXPECT_EQ(motif.contact(i)->max_distance_squared(), 9.0);
}

TEST_F(TwoSubstructureMotif, ConstraintsAreAppendedAsGiven) {
  auto angle = make_handle<MotifAngleConstraint>(0, 0, 0, 1, 1, 0,
                                                 make_handle<InclusiveRange>("in range", 140, 180));
  motif.add_angle_constraint(angle);
  auto translation = make_handle<MotifTranslationConstraint>(0, 0, 1, 1);
  motif.add_translation_constraint(translation);
  ASSERT_EQ(motif.angle_constraints()->size(), 1u);
  EXPECT_EQ((*motif.angle_constraints())[0].get(), angle.get());
  ASSERT_EQ(motif.translation_constraints()->size(), 1u);
  EXPECT_EQ((*motif.translation_constraints())[0].get(), translation.get());
}

TEST_F(TwoSubstructureMotif, QueryAtomAtAContactEndIsACopy) {
  auto h = motif.substruct_atom(0, 0);
  EXPECT_EQ(h->elements(), (std::vector<Element>{Element("H"), Element("D")}));
  EXPECT_NE(h.get(), donor->node(1).get());
  h->add_element(Element("C"));
  EXPECT_EQ(donor->node(1)->elements().size(), 2u);

  EXPECT_TRUE(motif.substruct_atom(1, 0)->elements().empty()); // the any-element atom
  EXPECT_EQ(motif.substruct_atom(0, 1)->elements(), (std::vector<Element>{Element("O")}));
  EXPECT_EQ(motif.substruct_atom(1, motif.contact(1))->elements(),
            (std::vector<Element>{Element("N"), Element("O")}));

  // Neither end in substructure 2: a fresh any-element atom without constraints.
  auto none = motif.substruct_atom(2, 0);
  EXPECT_TRUE(none->elements().empty());
  EXPECT_TRUE(none->constraints().empty());
}

TEST_F(TwoSubstructureMotif, WithinOneSubstructureTheToEndIsTheQueryAtom) {
  int c = motif.add_contact(make_handle<MotifContact>(0, 1, 0, 0, absolute(4.0)));
  EXPECT_EQ(motif.substruct_atom(0, c)->elements(), (std::vector<Element>{Element("O")}));
}

TEST_F(TwoSubstructureMotif, BadIndicesRaiseTheRangeError) {
  const std::string text = "vector [] access out of range";
  EXPECT_EQ(expect_out_of_range_message([&] { motif.substruct_atom(0, 2); }), text);
  EXPECT_EQ(expect_out_of_range_message([&] { motif.substruct_atom(0, -1); }), text);
  EXPECT_EQ(expect_out_of_range_message([&] { motif.substructure(2); }), text);
  EXPECT_EQ(expect_out_of_range_message([&] { motif.contact(-1); }), text);
}

TEST_F(TwoSubstructureMotif, ContactToAMissingSubstructureFailsAfterItWasAppended) {
  EXPECT_THROW(motif.add_contact(make_handle<MotifContact>(0, 0, 2, 0, absolute(3.0))),
               std::out_of_range);
  EXPECT_EQ(motif.ncontacts(), 3);
  // Every later addition of a substructure re-derives the sets and meets the same contact.
  EXPECT_THROW(motif.add_substructure(make_handle<MotifSubstructure>()), std::out_of_range);
  EXPECT_EQ(motif.nsubstructures(), 3);
}

TEST_F(TwoSubstructureMotif, ContactToAMissingAtomFails) {
  EXPECT_THROW(motif.add_contact(make_handle<MotifContact>(0, 2, 1, 0, absolute(3.0))),
               std::out_of_range);
  Motif other("x");
  other.add_substructure(donor);
  EXPECT_THROW(other.add_contact(make_handle<MotifContact>(0, -1, 0, 0, absolute(3.0))),
               std::out_of_range);
}

TEST_F(TwoSubstructureMotif, ContactsAreFoundByCriterionValue) {
  CombinedCriterion probe(*motif.contact(1)->criterion());
  auto found = motif.motif_contacts(probe);
  ASSERT_EQ(found->size(), 1u);
  EXPECT_EQ((*found)[0].get(), motif.contact(1).get());
  // Equal limits but empty element sets: the motif's criteria carry filled sets.
  EXPECT_TRUE(motif.motif_contacts(*absolute(3.2))->empty());
}

TEST_F(TwoSubstructureMotif, RemovingBondTypesLetsEveryBondMatchAnyType) {
  ASSERT_EQ(donor->edge(0).bond->types().size(), 1u);
  motif.remove_bondtype_info();
  EXPECT_TRUE(donor->edge(0).bond->types().empty());
}

TEST_F(TwoSubstructureMotif, CopySharesPartsAndDropsAngleTranslationAndContactConstraints) {
  motif.set_aux_value(2.5);
  motif.add_angle_constraint(make_handle<MotifAngleConstraint>(
      0, 0, 0, 1, 1, 0, make_handle<InclusiveRange>("in range", 140, 180)));
  auto torsion = make_handle<MotifTorsionConstraint>(
      0, 0, 0, 1, 1, 0, 1, 1, make_handle<InclusiveRange>("in range", -30, 30));
  motif.add_torsion_constraint(torsion);
  motif.add_translation_constraint(make_handle<MotifTranslationConstraint>(0, 0, 1, 1));
  motif.add_contact_constraint(make_handle<ContactConstraint>(
      1, 1, make_handle<MotifContact>(1, 1, 0, 0, absolute(3.0)),
      make_handle<EqualTo>("equal to", 0.0)));

  Motif copy(motif);
  EXPECT_EQ(copy.name(), "donor-acceptor");
  EXPECT_EQ(copy.aux_value(), 2.5);
  EXPECT_NE(copy.substructures().get(), motif.substructures().get());
  EXPECT_NE(copy.contacts().get(), motif.contacts().get());
  ASSERT_EQ(copy.nsubstructures(), 2);
  ASSERT_EQ(copy.ncontacts(), 2);
  EXPECT_EQ(copy.substructure(0).get(), donor.get());
  EXPECT_EQ(copy.contact(1).get(), motif.contact(1).get());
  ASSERT_EQ(copy.torsion_constraints()->size(), 1u);
  EXPECT_EQ((*copy.torsion_constraints())[0].get(), torsion.get());
  EXPECT_TRUE(copy.angle_constraints()->empty());
  EXPECT_TRUE(copy.translation_constraints()->empty());
  EXPECT_TRUE(copy.contact_constraints()->empty());
  EXPECT_EQ(motif.angle_constraints()->size(), 1u);

  // The lists are the copy's own.
  copy.add_substructure(make_handle<MotifSubstructure>());
  EXPECT_EQ(motif.nsubstructures(), 2);
}

TEST(Motif, SortPutsIntramolecularContactsFirstThenShorterUpperLimits) {
  Motif m("sort");
  auto s = make_handle<MotifSubstructure>();
  s->add(make_handle<SubstructureAtom>());
  m.add_substructure(s);
  m.add_substructure(make_handle<MotifSubstructure>(*s));
  auto inter2 = absolute(2.0), intra5 = absolute(5.0, ContactType::Intra), inter1 = absolute(1.0),
       intra3 = absolute(3.0, ContactType::Intra), any4 = absolute(4.0, ContactType::Any);
  for (const auto& c : {inter2, intra5, inter1, intra3, any4})
    m.add_contact(make_handle<MotifContact>(0, 0, 1, 0, c));
  m.sort_contacts();
  std::vector<double> uppers;
  std::vector<ContactType> types;
  for (const auto& c : *m.contacts()) {
    uppers.push_back(c->criterion()->upper());
    types.push_back(c->criterion()->contact_type());
  }
  EXPECT_EQ(uppers, (std::vector<double>{3.0, 5.0, 1.0, 2.0, 4.0}));
  EXPECT_EQ(types[0], ContactType::Intra);
  EXPECT_EQ(types[1], ContactType::Intra);
  EXPECT_EQ(types[4], ContactType::Any);
}

TEST(Motif, CompareContactsIsAStrictOrder) {
  Motif::CompareContacts less;
  auto far_intra = make_handle<MotifContact>(0, 0, 1, 0, absolute(6.0, ContactType::Intra));
  auto near_inter = make_handle<MotifContact>(0, 0, 1, 0, absolute(1.0));
  auto near_inter2 = make_handle<MotifContact>(0, 0, 1, 0, absolute(1.0));
  EXPECT_TRUE(less(far_intra, near_inter));
  EXPECT_FALSE(less(near_inter, far_intra));
  EXPECT_FALSE(less(near_inter, near_inter2));
  EXPECT_FALSE(less(near_inter2, near_inter));
  EXPECT_FALSE(less(far_intra, far_intra));
}

TEST(Motif, MoleculesSpannedCountsSubstructuresJoinedWithinAMoleculeOnce) {
  Motif m("span");
  for (int i = 0; i < 4; ++i) {
    auto s = make_handle<MotifSubstructure>();
    s->add(make_handle<SubstructureAtom>());
    m.add_substructure(s);
  }
  EXPECT_EQ(m.nmolecules_spanned(), 4);
  m.add_contact(make_handle<MotifContact>(0, 0, 1, 0, absolute(3.0)));
  m.add_contact(make_handle<MotifContact>(1, 0, 2, 0, absolute(3.0)));
  m.add_contact(make_handle<MotifContact>(2, 0, 3, 0, absolute(3.0)));
  EXPECT_EQ(m.nmolecules_spanned(), 4); // only intermolecular contacts
  m.add_contact(make_handle<MotifContact>(0, 0, 2, 0, absolute(3.0, ContactType::Intra)));
  EXPECT_EQ(m.nmolecules_spanned(), 3);
  // Type 3 (any) is not intermolecular either; 2 is already merged, so this one changes nothing.
  m.add_contact(make_handle<MotifContact>(3, 0, 2, 0, absolute(3.0, ContactType::Any)));
  EXPECT_EQ(m.nmolecules_spanned(), 3);
  m.add_contact(make_handle<MotifContact>(3, 0, 1, 0, absolute(3.0, ContactType::Any)));
  EXPECT_EQ(m.nmolecules_spanned(), 2);
}

TEST(Motif, PrintWritesSubstructuresAndTorsionsAndSendsTheHeadingToStandardOutput) {
  Motif m("print");
  auto a = make_handle<MotifSubstructure>();
  a->add(make_handle<SubstructureAtom>(Element("O")));
  a->set_target_size(2, 10);
  auto b = make_handle<MotifSubstructure>();
  b->add(make_handle<SubstructureAtom>(Element("N")));
  b->set_target_size(1, 30);
  m.add_substructure(a);
  m.add_substructure(b);
  m.add_torsion_constraint(make_handle<MotifTorsionConstraint>(
      0, 3, 1, 0, 1, 2, 0, 1, make_handle<InclusiveRange>("in range", -60, 60.5)));
  m.add_angle_constraint(make_handle<MotifAngleConstraint>(
      0, 0, 0, 0, 1, 0, make_handle<InclusiveRange>("in range", 0, 1)));
  m.add_contact(make_handle<MotifContact>(0, 0, 1, 0, absolute(3.0)));

  std::ostringstream graph_a, graph_b;
  static_cast<const Substructure&>(*a).print(graph_a);
  static_cast<const Substructure&>(*b).print(graph_b);

  std::ostringstream os;
  ::testing::internal::CaptureStdout();
  m.print(os);
  const std::string out = ::testing::internal::GetCapturedStdout();

  EXPECT_EQ(os.str(), "Substructures: \n" + graph_a.str() + graph_b.str() +
                          "sub0atom3, sub1atom0, sub1atom2, sub0atom1, in range -60 to 60.5\n");
  EXPECT_EQ(out, "Max target size: 10\nMin target size: 2\n"
                 "Max target size: 30\nMin target size: 1\n"
                 "Torsion constraints: \n");
}

} // namespace
} // namespace xtalmotif
