// Contact criteria: which elements may stand at each end, the distance window (absolute or
// relative to the van der Waals radii, both ends excluded) and bond-path lengths.

#include "kernel/contact_criterion.h"
#include "kernel_test_support.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace xtalmotif {
namespace {

using testing::MoleculeBuilder;

THandle<ElementSet> set_of(std::initializer_list<int> z) { return make_handle<ElementSet>(z); }

CombinedCriterion o_to_n(bool symmetric, THandle<ElementSet> second = set_of({7})) {
  return CombinedCriterion(true, 0.0, -5.0, ContactType::Inter, 4, 999, symmetric, set_of({8}),
                           second);
}

TEST(ContactCriterion, ElementsAtEachEndByAtomicNumber) {
  MoleculeBuilder b;
  for (const char* s : {"O", "N", "C", "H", "D"})
    b.atom(s);
  const Molecule& m = b.molecule();
  const CombinedCriterion h(false, 2.5, 0, ContactType::Any, 4, 999, false, set_of({1}), nullptr);
  const struct {
    CombinedCriterion c;
    int atom;
    bool first, second;
  } cases[] = {{o_to_n(false), 0, true, false}, {o_to_n(false), 1, false, true},
               {o_to_n(false), 2, false, false}, {o_to_n(true), 0, true, true},
               {o_to_n(true), 1, true, true},   {o_to_n(true), 2, false, false},
               // An empty set accepts any atom, at both ends of a symmetric criterion.
               {o_to_n(true, make_handle<ElementSet>()), 2, true, true},
               {o_to_n(false, make_handle<ElementSet>()), 2, false, true},
               // Deuterium is hydrogen.
               {h, 3, true, true},              {h, 4, true, true}, {h, 0, false, true}};
  for (const auto& c : cases) {
    EXPECT_EQ(c.c.test_first_atom(m, c.atom), c.first) << c.atom;
    EXPECT_EQ(c.c.test_second_atom(m, c.atom), c.second) << c.atom;
  }
  EXPECT_THROW(h.test_first_atom(m, 5), std::out_of_range);
}

TEST(ContactCriterion, DistanceWindowsExcludeBothEnds) {
  // Absolute 2.5 to 3.25 whatever the radii; relative to radii 1.5 + 1.5, the same window.
  const CombinedCriterion absolute(false, 3.25, 2.5, ContactType::Inter, 4, 999, false, nullptr,
                                   nullptr);
  const CombinedCriterion relative(true, 0.25, -0.5, ContactType::Inter, 4, 999, false, nullptr,
                                   nullptr);
  for (double r : {1.5, 10.0})
    EXPECT_DOUBLE_EQ(absolute.max_distance(r, r), 3.25);
  EXPECT_DOUBLE_EQ(relative.max_distance(1.5, 1.5), 3.25);
  for (double d : {2.5, 2.5000001, 3.0, 3.2499999, 3.25}) {
    const bool inside = d > 2.5 && d < 3.25;
    EXPECT_EQ(absolute.test_distance(d, 10.0, 10.0), inside) << d;
    EXPECT_EQ(relative.test_distance(d, 1.5, 1.5), inside) << d;
  }
  EXPECT_FALSE(relative.test_distance(3.0, 1.0, 1.0)); // smaller atoms, smaller window
  // The usual contact: shorter than the radius sum, O...N 1.52 + 1.55.
  VdWCriterion touching(0.0, -5.0, ContactType::Inter, 4, 999, false, nullptr, nullptr);
  const double r_o = Element("O").vdw_radius(), r_n = Element("N").vdw_radius();
  EXPECT_TRUE(touching.test_distance(3.06, r_o, r_n));
  EXPECT_FALSE(touching.test_distance(3.08, r_o, r_n));
}

TEST(ContactCriterion, PathLengthsAreShortestBondPathsWithinTheirLimits) {
  // Hexane chain 0-5, cyclohexane 6-11, lone atom 12.
  MoleculeBuilder b;
  b.chain("C", 6).chain("C", 6).bond(11, 6).atom("C");
  const Molecule& m = b.molecule();
  const CombinedCriterion far(true, 0, -5, ContactType::Intra, 4, 999, false, nullptr, nullptr);
  const CombinedCriterion near(true, 0, -5, ContactType::Intra, 0, 2, false, nullptr, nullptr);
  const struct {
    int a, b;
    bool far, near;
  } cases[] = {{0, 5, true, false},  {0, 4, true, false}, {0, 3, false, false},
               {3, 0, false, false}, {2, 2, false, true}, {1, 3, false, true},
               {6, 10, false, true}, // round the ring the short way: 2 bonds
               {6, 9, false, false}, // opposite ring atoms: 3 bonds either way
               {0, 6, true, true},   {12, 3, true, true}}; // no path at all passes
  for (const auto& c : cases) {
    EXPECT_EQ(far.test_path(m, c.a, c.b), c.far) << c.a << "-" << c.b;
    EXPECT_EQ(near.test_path(m, c.a, c.b), c.near) << c.a << "-" << c.b;
  }
  EXPECT_THROW(near.test_path(m, 0, 13), std::out_of_range);
}

TEST(ContactCriterion, EqualityLooksAtEveryFieldAndSetContents) {
  const CombinedCriterion a = o_to_n(false);
  auto changed = [&](auto change) {
    CombinedCriterion b = a;
    change(b);
    return b;
  };
  EXPECT_TRUE(a == o_to_n(false));
  for (const CombinedCriterion& other :
       {changed([](CombinedCriterion& b) { b.set_vdw_relative(false); }),
        changed([](CombinedCriterion& b) { b.set_upper(0.1); }),
        changed([](CombinedCriterion& b) { b.set_lower(-4.0); }),
        changed([](CombinedCriterion& b) { b.set_contact_type(ContactType::Any); }),
        changed([](CombinedCriterion& b) { b.first_elements().insert(7); }),
        changed([](CombinedCriterion& b) { b.second_elements().clear(); }), o_to_n(true),
        CombinedCriterion(true, 0, -5, ContactType::Inter, 3, 999, false, set_of({8}), set_of({7})),
        CombinedCriterion(true, 0, -5, ContactType::Inter, 4, 998, false, set_of({8}), set_of({7}))})
    EXPECT_TRUE(a != other);
  // A copy's sets are its own.
  EXPECT_EQ(a.first_elements(), ElementSet{8});
  EXPECT_TRUE(CombinedCriterion(true, 0, -5, ContactType::Inter, 4, 999, false, nullptr, nullptr) ==
              CombinedCriterion(true, 0, -5, ContactType::Inter, 4, 999, false,
                                make_handle<ElementSet>(), make_handle<ElementSet>()));
}

} // namespace
} // namespace xtalmotif
