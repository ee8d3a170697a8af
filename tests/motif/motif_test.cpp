// The motif as a query: lookups over its contacts, the element sets derived from its query atoms,
// contact windows and directions, the order contacts are searched in, molecules spanned, target
// sizes, and the interval a propensity is reported with.

#include "motif/motif.h"
#include "motif/motif_search_lib_functions.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <tuple>
#include <vector>

namespace xtalmotif {
namespace {

THandle<CombinedCriterion> window(double upper, double lower = 0.0,
                                  ContactType type = ContactType::Inter, bool vdw = false) {
  return make_handle<CombinedCriterion>(vdw, upper, lower, type, 4, 999, false, nullptr, nullptr);
}

std::vector<Element> elements(std::vector<const char*> symbols) {
  return std::vector<Element>(symbols.begin(), symbols.end());
}

THandle<SubstructureAtom> query_atom(std::vector<const char*> symbols) {
  return make_handle<SubstructureAtom>(elements(symbols));
}

// A hydroxyl donor O-H/D (substructure 0) and an acceptor whose atom 0 is any element and atom 1
// N or O (substructure 1). Contact 0 runs from the H to the acceptor's atom 0, contact 1 from the
// acceptor's atom 1 back to the donor O.
class DonorAcceptorMotif : public ::testing::Test {
protected:
  void SetUp() override {
    donor->add(query_atom({"O"}));
    donor->add(query_atom({"H", "D"}));
    donor->add(make_handle<SubstructureBond>(BondType::Single), 0, 1);
    acceptor->add(make_handle<SubstructureAtom>());
    acceptor->add(query_atom({"N", "O"}));
    motif.add_substructure(donor);
    motif.add_substructure(acceptor);
    motif.add_contact(make_handle<MotifContact>(0, 1, 1, 0, window(2.5)));
    motif.add_contact(make_handle<MotifContact>(1, 1, 0, 0, window(3.2)));
  }
  Motif motif{"donor-acceptor"};
  THandle<MotifSubstructure> donor = make_handle<MotifSubstructure>();
  THandle<MotifSubstructure> acceptor = make_handle<MotifSubstructure>();
};

TEST_F(DonorAcceptorMotif, ContactsAndTheirQueryAtomsAreFoundFromEitherEnd) {
  EXPECT_EQ(*motif.contacts_between_substructures(1, 0), (std::vector<int>{0, 1}));
  EXPECT_EQ(motif.motif_contact(1, 0), 0);
  EXPECT_EQ(motif.motif_contact(0, 2), -1);
  EXPECT_EQ(motif.substruct_atom(0, 0)->elements(), elements({"H", "D"}));
  EXPECT_EQ(motif.substruct_atom(0, 1)->elements(), elements({"O"}));
  EXPECT_EQ(motif.substruct_atom(1, 1)->elements(), elements({"N", "O"}));
  EXPECT_TRUE(motif.substruct_atom(1, 0)->elements().empty()); // the any-element atom
  EXPECT_TRUE(motif.substruct_atom(2, 0)->elements().empty()); // neither end there
  // A contact within substructure 1: listed once for it, its own neighbour twice, and the query
  // atom at its `to` end is the one taken.
  const int within = motif.add_contact(
      make_handle<MotifContact>(1, 0, 1, 1, window(4.0, 0.0, ContactType::Intra)));
  EXPECT_EQ(*motif.substructure_neighbours(1), (std::vector<int>{0, 0, 1, 1}));
  EXPECT_EQ(motif.contacts_for_substructure(1)->size(), 3u);
  EXPECT_EQ(*motif.contacts_between_substructures(1, 1), (std::vector<int>{within}));
  EXPECT_EQ(motif.substruct_atom(1, within)->elements(), elements({"N", "O"}));
  EXPECT_THROW(motif.add_contact(make_handle<MotifContact>(0, 0, 2, 0, window(3.0))),
               std::out_of_range);
}

TEST_F(DonorAcceptorMotif, ElementSetsComeFromTheQueryAtomsAtEachEnd) {
  // H and D are both atomic number 1; an any-element atom allows every number up to Lr (103).
  ElementSet every;
  for (int z = 0; z <= 103; ++z)
    every.insert(z);
  EXPECT_EQ(motif.contact(0)->criterion()->first_elements(), (ElementSet{1}));
  EXPECT_EQ(motif.contact(0)->criterion()->second_elements(), every);
  EXPECT_EQ(motif.contact(1)->criterion()->second_elements(), (ElementSet{8}));
  // Derived again, the sets replace what was there.
  motif.contact(1)->criterion()->first_elements().insert(92);
  acceptor->node(1)->add_element(Element("S"));
  motif.set_contact_elements();
  EXPECT_EQ(motif.contact(1)->criterion()->first_elements(), (ElementSet{7, 8, 16}));
  // One criterion may serve several contacts of a query: the motif fills its own copy.
  auto shared = window(3.0);
  motif.add_contact(make_handle<MotifContact>(0, 0, 1, 1, shared));
  EXPECT_TRUE(shared->first_elements().empty());
}

// Intramolecular contacts are searched first, then shorter upper limits; substructures joined
// by contacts that are not intermolecular count as one molecule.
TEST(MotifContacts, AreSortedIntramolecularFirstAndJoinMolecules) {
  Motif m("four");
  for (int i = 0; i < 4; ++i) {
    auto s = make_handle<MotifSubstructure>();
    s->add(make_handle<SubstructureAtom>());
    m.add_substructure(s);
  }
  const ContactType inter = ContactType::Inter, intra = ContactType::Intra;
  const std::vector<std::tuple<int, int, double, ContactType, int>> added = {
      {0, 1, 2.0, inter, 4}, {1, 2, 5.0, intra, 3}, {2, 3, 1.0, inter, 3},
      {0, 3, 3.0, ContactType::Any, 2}, {1, 3, 4.0, inter, 2}};
  EXPECT_EQ(m.nmolecules_spanned(), 4);
  for (const auto& [a, b, upper, type, spanned] : added) {
    m.add_contact(make_handle<MotifContact>(a, 0, b, 0, window(upper, 0.0, type)));
    EXPECT_EQ(m.nmolecules_spanned(), spanned) << a << "-" << b;
  }
  m.sort_contacts();
  std::vector<double> uppers;
  for (const auto& c : *m.contacts())
    uppers.push_back(c->criterion()->upper());
  EXPECT_EQ(uppers, (std::vector<double>{5, 1, 2, 3, 4}));
  EXPECT_FALSE(Motif::CompareContacts()(m.contact(2), m.contact(2)));
}

// Both limits of a contact window are exclusive. Van der Waals-relative limits are offsets from
// the two radii's sum, absolute ones ignore the radii, and a negative absolute lower limit means
// no lower limit at all.
TEST(MotifContactWindow, LimitsAreExclusiveAbsoluteOrRelativeToTheRadiusSum) {
  struct Case {
    bool vdw;
    double upper, lower, d, r1, r2;
    bool inside;
  };
  const std::vector<Case> cases = {
      {false, 3.0, -1.0, 0.0, 1.5, 1.5, false},  {false, 3.0, -1.0, 0.5, 1.5, 1.5, true},
      {false, 3.0, -1.0, 2.99, 1.5, 1.5, true},  {false, 3.0, -1.0, 3.0, 1.5, 1.5, false},
      {false, 3.0, 2.0, 2.0, 0.0, 0.0, false},   {false, 3.0, 2.0, 2.5, 10.0, 10.0, true},
      {true, 0.5, -0.5, 2.0, 1.5, 1.0, false},   {true, 0.5, -0.5, 2.1, 1.5, 1.0, true},
      {true, 0.5, -0.5, 2.9, 1.5, 1.0, true},    {true, 0.5, -0.5, 3.0, 1.5, 1.0, false},
      {true, 0.5, -0.5, 2.5, 0.5, 0.5, false}};
  for (const Case& c : cases) {
    MotifContact contact(0, 0, 1, 0, window(c.upper, c.lower, ContactType::Inter, c.vdw));
    EXPECT_EQ(contact.test_contact_distance(c.d * c.d, c.r1, c.r2), c.inside)
        << (c.vdw ? "relative (" : "absolute (") << c.lower << ", " << c.upper << ") at " << c.d;
  }
}

TEST(MotifContactEnds, FarEndAndAtomTestsFollowTheContactEitherWay) {
  // An H...N contact from atom 1 (H) of substructure 0 to atom 0 (N) of substructure 1.
  auto criterion = window(2.5);
  criterion->first_elements() = {1};
  criterion->second_elements() = {7};
  MotifContact c(0, 1, 1, 0, criterion);
  EXPECT_EQ(c.to_atom(0), 0);
  EXPECT_EQ(c.to_atom(1), 1);
  EXPECT_EQ(c.to_atom(2), -1);
  EXPECT_TRUE(c.has_sub_atom(1, 0) && !c.has_sub_atom(1, 1));
  EXPECT_EQ(MotifContact(2, 1, 2, 4, criterion).to_atom(2), 4);

  Molecule m; // O, H, N
  for (const char* e : {"O", "H", "N"})
    m.add_atom(make_handle<Atom>(Element(e)));
  EXPECT_TRUE(c.test_atom_to(0, m, 2));
  EXPECT_FALSE(c.test_atom_to(0, m, 1));
  EXPECT_TRUE(c.test_atom_to(1, m, 1)); // followed backwards the far end is the H
  EXPECT_TRUE(c.test_atom_from(1, m, 2));
  EXPECT_THROW(c.test_atom_to(2, m, 0), std::invalid_argument);
}

TEST(MotifSubstructureSize, TargetSizeLimitsAreInclusive) {
  MotifSubstructure s;
  auto carbons = [](int n) {
    auto m = make_handle<Molecule>();
    for (int i = 0; i < n; ++i)
      m->add_atom(make_handle<Atom>(Element("C")));
    return m;
  };
  EXPECT_TRUE(s.is_target_size_allowed(carbons(500))); // no limit unless set
  s.set_target_size(3, 5);
  for (int n = 2; n <= 6; ++n)
    EXPECT_EQ(s.is_target_size_allowed(carbons(n)), n >= 3 && n <= 5) << n;
}

// The 95% Wilson score interval, as tabulated for these proportions.
TEST(PropensityInterval, IsTheWilsonScoreInterval) {
  const double cases[][4] = {{0, 0, 0.0, 1.0},         {0, 10, 0.0, 0.27753},
                             {1, 10, 0.01788, 0.40415}, {10, 10, 0.72247, 1.0},
                             {3, 40, 0.02584, 0.19864}, {50, 100, 0.40383, 0.59617}};
  for (const auto& c : cases) {
    const auto [low, high] = MotifSearchLibFunctions::wilson_interval(int(c[0]), int(c[1]));
    EXPECT_NEAR(low, c[2], 1e-4) << c[0] << "/" << c[1];
    EXPECT_NEAR(high, c[3], 1e-4) << c[0] << "/" << c[1];
  }
}

} // namespace
} // namespace xtalmotif
