#include "files/con_atom.h"
#include "files/con_bond.h"
#include "files/con_contact.h"
#include "files/con_file.h"
#include "files/formatted_string_reader.h"
#include "chem/element.h"
#include "chem/molecule.h"

#include <gtest/gtest.h>

#include <climits>
#include <sstream>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

using Words = std::vector<std::string>;

Words split(const std::string& line) { return FormattedStringReader::split_words(line); }

ConAtom atom_of(const std::string& line) { return ConAtom(split(line)); }

// The condition of the constraint of kind C on a query atom, null when there is none.
template <class C> THandle<Condition> constraint_condition(const SubstructureAtom& atom) {
  for (const auto& c : atom.constraints())
    if (auto typed = handle_cast<C>(c))
      return typed->condition();
  return THandle<Condition>();
}

void expect_equal_to(const THandle<Condition>& c, double value) {
  ASSERT_TRUE(c);
  auto eq = handle_cast<EqualTo>(c);
  ASSERT_TRUE(eq) << "expected an exact-value condition";
  EXPECT_EQ(eq->name(), "equal to");
  EXPECT_EQ(eq->value(), value);
}

void expect_range(const THandle<Condition>& c, double low, double high) {
  ASSERT_TRUE(c);
  auto range = handle_cast<InclusiveRange>(c);
  ASSERT_TRUE(range) << "expected a range condition";
  EXPECT_EQ(range->name(), "in range");
  EXPECT_EQ(range->low(), low);
  EXPECT_EQ(range->high(), high);
}

// ---- atom records ----

TEST(ConAtomWords, CarbonWithThreeConnections) {
  ConAtom a = atom_of("AT1 C 3 T3 0 0 0");
  EXPECT_EQ(a.number(), 1);
  EXPECT_EQ(a.element(), "C");
  EXPECT_EQ(a.column3_value(), 3);
  EXPECT_EQ(a.nbonds_text(), "T3");
  EXPECT_EQ(a.hcount_text(), "");
  EXPECT_EQ(a.cyclicity_text(), "");
  EXPECT_EQ(a.residue(), -1);
  expect_equal_to(a.nbonds_condition(), 3);
  EXPECT_FALSE(a.hcount_condition());
  EXPECT_FALSE(a.charge_condition());

  auto q = a.substructure_atom();
  EXPECT_EQ(q->elements(), (std::vector<Element>{Element(Element::Carbon)}));
  ASSERT_EQ(q->constraints().size(), 1u);
  expect_equal_to(constraint_condition<AtomNBondsConstraint>(*q), 3);
}

TEST(ConAtomWords, WordThreeWithoutTIsAHydrogenCount) {
  ConAtom a = atom_of("AT2 O 1 1 0 0 0");
  EXPECT_EQ(a.number(), 2);
  EXPECT_EQ(a.hcount_text(), "1");
  EXPECT_EQ(a.nbonds_text(), "");
  expect_equal_to(a.hcount_condition(), 1);
  EXPECT_FALSE(a.nbonds_condition());

  auto q = a.substructure_atom();
  EXPECT_EQ(q->elements(), (std::vector<Element>{Element(Element::Oxygen)}));
  ASSERT_EQ(q->constraints().size(), 1u);
  auto h = handle_cast<AtomNHydrogensConstraint>(q->constraints()[0]);
  ASSERT_TRUE(h);
  // Hydrogens the structure leaves implicit count as well.
  EXPECT_TRUE(h->include_implicit());
  expect_equal_to(h->condition(), 1);
}

TEST(ConAtomWords, CommaGivesAHydrogenRange) {
  ConAtom a = atom_of("AT2 O 1 0,2 0 0 0");
  EXPECT_EQ(a.hcount_text(), "0,2");
  expect_range(a.hcount_condition(), 0, 2);
  auto q = a.substructure_atom();
  expect_range(constraint_condition<AtomNHydrogensConstraint>(*q), 0, 2);
  // Only the first comma splits.
  expect_range(atom_of("AT3 N 1 1,3,9 0 0 0").hcount_condition(), 1, 3);
}

TEST(ConAtomWords, AnyElementCodes) {
  for (const char* line : {"AT3 BB 1 0 0 0", "AT3 4M 1 0 0 0"}) {
    ConAtom a = atom_of(line);
    EXPECT_EQ(a.number(), 3);
    EXPECT_EQ(a.element(), "") << line;
    auto q = a.substructure_atom();
    EXPECT_TRUE(q->elements().empty()) << line;
    // Word 3 is one of the dropped last three, so there is no constraint.
    EXPECT_TRUE(q->constraints().empty()) << line;
  }
  EXPECT_EQ(atom_of("AT3 BB 1 0 0 0").element_text(), "BB");
}

TEST(ConAtomWords, ConnectionCountNeedsExactlyTAndOneDigit) {
  ConAtom a = atom_of("AT4 C 3 T12 0 0 0");
  EXPECT_EQ(a.nbonds_text(), "T12");
  EXPECT_FALSE(a.nbonds_condition());
  EXPECT_TRUE(a.substructure_atom()->constraints().empty());
  // A word containing T that does not start with it is still the connection-count text.
  ConAtom b = atom_of("AT5 N 1 3T 0 0 0");
  EXPECT_EQ(b.nbonds_text(), "3T");
  EXPECT_EQ(b.hcount_text(), "");
  EXPECT_FALSE(b.nbonds_condition());
  expect_equal_to(atom_of("AT6 C 4 T0 0 0 0").nbonds_condition(), 0);
  expect_equal_to(atom_of("AT6 C 4 T9 0 0 0").nbonds_condition(), 9);
}

TEST(ConAtomWords, TheLastThreeWordsAreDroppedFirst) {
  // Without dropping, "0" would be a hydrogen count and "T2" a connection count.
  ConAtom a = atom_of("AT7 O 1 0 0 T2");
  EXPECT_EQ(a.hcount_text(), "");
  EXPECT_EQ(a.nbonds_text(), "");
  EXPECT_TRUE(a.substructure_atom()->constraints().empty());
  // Three words or fewer leave nothing: number and element keep their defaults.
  ConAtom b = atom_of("AT1 C 3");
  EXPECT_EQ(b.number(), -1);
  EXPECT_EQ(b.element(), "X");
  EXPECT_EQ(b.column3_value(), -1);
  // Four words keep the number only.
  ConAtom c = atom_of("AT8 C 3 T3");
  EXPECT_EQ(c.number(), 8);
  EXPECT_EQ(c.element(), "X");
}

TEST(ConAtomWords, HydrogenCountConnectionCountAndCyclicityTogether) {
  ConAtom a = atom_of("AT5 N 2 1 T3 C 7 8 9");
  EXPECT_EQ(a.hcount_text(), "1");
  EXPECT_EQ(a.nbonds_text(), "T3");
  EXPECT_EQ(a.cyclicity_text(), "C");
  auto q = a.substructure_atom();
  // Hydrogens first, then connections; cyclicity adds nothing.
  ASSERT_EQ(q->constraints().size(), 2u);
  EXPECT_TRUE(handle_cast<AtomNHydrogensConstraint>(q->constraints()[0]));
  EXPECT_TRUE(handle_cast<AtomNBondsConstraint>(q->constraints()[1]));
}

TEST(ConAtomWords, CyclicityMayStandInWordsThreeToFive) {
  ConAtom a = atom_of("AT8 C 3 A T3 0 0 0");
  EXPECT_EQ(a.cyclicity_text(), "A");
  EXPECT_EQ(a.nbonds_text(), "T3");
  EXPECT_EQ(a.hcount_text(), "");
  // A plain number in word 4 is ignored: the hydrogen count can only stand in word 3.
  ConAtom b = atom_of("AT9 O 1 1 5 0 0 0");
  EXPECT_EQ(b.hcount_text(), "1");
  EXPECT_EQ(b.nbonds_text(), "");
  // Word 5 is read only for cyclicity; words beyond it are ignored.
  ConAtom c = atom_of("AT9 O 1 1 T2 T4 C 0 0 0");
  EXPECT_EQ(c.nbonds_text(), "T2");
  EXPECT_EQ(c.cyclicity_text(), "");
  EXPECT_EQ(atom_of("AT9 O 1 1 T2 A 0 0 0").cyclicity_text(), "A");
}

TEST(ConAtomWords, AtomNumberIsTheRestOfWordZeroReadLeniently) {
  EXPECT_EQ(atom_of("AT12 C 0 0 0 0").number(), 12);
  EXPECT_EQ(atom_of("AT3x C 0 0 0 0").number(), 3);
  // "ATOM12" loses "AT" and leaves "OM12", which starts with no number.
  EXPECT_EQ(atom_of("ATOM12 C 0 0 0 0").number(), 0);
  EXPECT_EQ(atom_of("AT99999999999999999999 C 0 0 0 0").number(), INT_MAX);
  EXPECT_EQ(atom_of("AT7 C x Tx 0 0 0").column3_value(), 0);
  // "T" and a non-digit reads as a count of 0, as the C library would read it.
  expect_equal_to(atom_of("AT7 C x Tx 0 0 0").nbonds_condition(), 0);
  expect_equal_to(atom_of("AT7 C 1 abc 0 0 0").hcount_condition(), 0);
}

TEST(ConAtomWords, ElementsFollowTheKernelTable) {
  EXPECT_EQ(atom_of("AT1 Cl 1 0 0 0").substructure_atom()->elements(),
            (std::vector<Element>{Element(Element::Chlorine)}));
  EXPECT_EQ(atom_of("AT1 Ag 1 0 0 0").substructure_atom()->elements(),
            (std::vector<Element>{Element(Element::Silver)}));
  // The default "X" and unknown symbols ask for the unknown element, not for any element.
  EXPECT_EQ(ConAtom().substructure_atom()->elements(),
            (std::vector<Element>{Element(Element::Unknown)}));
}

TEST(ConAtomWords, ChargeTextGivesAChargeConstraintBetweenTheOthers) {
  ConAtom a = atom_of("AT1 O 1 0 T1 0 0 0");
  EXPECT_FALSE(a.charge_condition());
  a.set_charge_text("-1");
  expect_equal_to(a.charge_condition(), -1);
  auto q = a.substructure_atom();
  ASSERT_EQ(q->constraints().size(), 3u);
  EXPECT_TRUE(handle_cast<AtomNHydrogensConstraint>(q->constraints()[0]));
  EXPECT_TRUE(handle_cast<AtomFormalChargeConstraint>(q->constraints()[1]));
  EXPECT_TRUE(handle_cast<AtomNBondsConstraint>(q->constraints()[2]));
  a.set_charge_text("-1,1");
  expect_range(a.charge_condition(), -1, 1);
}

TEST(ConAtomWords, QueryAtomMatchesTheAtomItDescribes) {
  // Water: O with two H.  "AT1 O 1 2 T2 0 0 0" asks for exactly that.
  Molecule water;
  int o = water.add_atom(make_handle<Atom>(Element(Element::Oxygen), "O1"));
  int h1 = water.add_atom(make_handle<Atom>(Element(Element::Hydrogen), "H1"));
  int h2 = water.add_atom(make_handle<Atom>(Element(Element::Hydrogen), "H2"));
  water.add_bond(o, h1, BondType::Single);
  water.add_bond(o, h2, BondType::Single);
  EXPECT_TRUE(atom_of("AT1 O 1 2 T2 0 0 0").substructure_atom()->matches(water, o));
  EXPECT_FALSE(atom_of("AT1 O 1 1 T2 0 0 0").substructure_atom()->matches(water, o));
  EXPECT_FALSE(atom_of("AT1 O 1 2 T3 0 0 0").substructure_atom()->matches(water, o));
  EXPECT_TRUE(atom_of("AT1 O 1 1,2 0 0 0").substructure_atom()->matches(water, o));
  EXPECT_TRUE(atom_of("AT1 BB 1 0 T1 0 0 0").substructure_atom()->matches(water, h1));
  EXPECT_FALSE(atom_of("AT1 C 1 0 0 0").substructure_atom()->matches(water, o));
}

// ---- bond records ----

TEST(ConBondWords, TypesOneToFourAreKernelTypesAndEverythingElseIsAny) {
  const BondType expected[] = {BondType::Single, BondType::Double, BondType::Triple,
                               BondType::Quadruple};
  for (int t = 1; t <= 4; ++t) {
    ConBond b(split("BO 1 2 " + std::to_string(t)));
    EXPECT_EQ(b.bond_type(), t);
    EXPECT_EQ(b.substructure_bond()->types(), (std::vector<BondType>{expected[t - 1]}));
  }
  for (const char* line : {"BO 1 2 5", "BO 1 2 0", "BO 1 2 -1", "BO 1 2 9", "BO 1 2 x", "BO 1 2"}) {
    ConBond b(split(line));
    EXPECT_EQ(b.bond_type(), 0) << line;
    EXPECT_TRUE(b.substructure_bond()->types().empty()) << line;
  }
  ConBond b(split("BO 1 2 5"));
  EXPECT_EQ(b.atom_a(), 1);
  EXPECT_EQ(b.atom_b(), 2);
  EXPECT_EQ(b.type_code(), 5);
}

TEST(ConBondWords, DefaultBondJoinsNothing) {
  ConBond b;
  EXPECT_EQ(b.atom_a(), -1);
  EXPECT_EQ(b.atom_b(), -1);
  EXPECT_EQ(b.residue(), -1);
  ConBond short_record(split("BO 7"));
  EXPECT_EQ(short_record.atom_a(), 7);
  EXPECT_EQ(short_record.atom_b(), -1);
}

TEST(ConBondWords, AdjacencyAndConnection) {
  ConBond ab(split("BO 1 2 1")), bc(split("BO 3 2 1")), cd(split("BO 3 4 1"));
  EXPECT_TRUE(ab.is_adjacent_to(bc));
  EXPECT_TRUE(bc.is_adjacent_to(ab));
  EXPECT_TRUE(bc.is_adjacent_to(cd));
  EXPECT_FALSE(ab.is_adjacent_to(cd));
  EXPECT_TRUE(ab.connects_con_atoms(1, 2));
  EXPECT_TRUE(ab.connects_con_atoms(2, 1));
  EXPECT_FALSE(ab.connects_con_atoms(1, 3));
  EXPECT_FALSE(ab.connects_con_atoms(1, 1));
}

TEST(ConBondWords, PrintsOneLabelledLine) {
  std::ostringstream os;
  ConBond(split("BO 1 2 5")).print(os);
  EXPECT_EQ(os.str(), "Atom no. A: 1 Atom no. B: 2 Bond type: 5\n");
}

// ---- contact records ----

void expect_default_shape(const CombinedCriterion& c) {
  EXPECT_TRUE(c.is_vdw_relative());
  EXPECT_EQ(c.min_path(), 4);
  EXPECT_EQ(c.max_path(), 999);
  EXPECT_FALSE(c.is_symmetric());
  EXPECT_TRUE(c.first_elements().empty());
  EXPECT_TRUE(c.second_elements().empty());
}

TEST(ConContactLayout, SevenWordInterLineIsAVanDerWaalsContact) {
  ConContact c(split("VDW 1 0.25"), split("CONT INTER 4 TO 6 WITHIN VDW"));
  EXPECT_EQ(c.type(), 1);
  EXPECT_EQ(c.atom_a(), 4);
  EXPECT_EQ(c.atom_b(), 6);
  EXPECT_TRUE(c.vdw_only());
  EXPECT_DOUBLE_EQ(c.vdw_tolerance(), 0.25);
  auto crit = c.contact_criterion();
  expect_default_shape(*crit);
  EXPECT_EQ(crit->contact_type(), ContactType::Inter);
  EXPECT_DOUBLE_EQ(crit->upper(), 0.25);
  EXPECT_DOUBLE_EQ(crit->lower(), -5.0);
  // H...O: radius sum 1.09 + 1.52 = 2.61, plus 0.25.
  EXPECT_TRUE(crit->test_distance(2.85, 1.09, 1.52));
  EXPECT_FALSE(crit->test_distance(2.87, 1.09, 1.52));
}

TEST(ConContactLayout, EightWordInterLineHasAnExplicitRange) {
  ConContact c(split("VDW 1 0.25"), split("CONT INTER 4 TO 6 DIST -1.0 -0.1"));
  EXPECT_EQ(c.type(), 1);
  EXPECT_EQ(c.atom_a(), 4);
  EXPECT_EQ(c.atom_b(), 6);
  EXPECT_FALSE(c.vdw_only());
  EXPECT_DOUBLE_EQ(c.low(), -1.0);
  EXPECT_DOUBLE_EQ(c.high(), -0.1);
  auto crit = c.contact_criterion();
  expect_default_shape(*crit);
  EXPECT_DOUBLE_EQ(crit->lower(), -1.0);
  EXPECT_DOUBLE_EQ(crit->upper(), -0.1);
  // The range is an offset to the radius sum (2.61 for H...O): 1.61 to 2.51.
  EXPECT_TRUE(crit->test_distance(2.0, 1.09, 1.52));
  EXPECT_FALSE(crit->test_distance(2.55, 1.09, 1.52));
  EXPECT_FALSE(crit->test_distance(1.55, 1.09, 1.52));
}

TEST(ConContactLayout, OtherInterWordCountsHaveNoRange) {
  for (const char* line : {"CONT INTER 4 TO 6", "CONT INTER 4 TO 6 DIST -1.0 -0.1 X",
                           "CONT INTER 4 TO 6 A B C D E"}) {
    ConContact c(split("VDW 1 0.5"), split(line));
    EXPECT_TRUE(c.vdw_only()) << line;
    EXPECT_EQ(c.atom_a(), 4);
    EXPECT_EQ(c.atom_b(), 6);
    EXPECT_DOUBLE_EQ(c.contact_criterion()->upper(), 0.5);
    EXPECT_DOUBLE_EQ(c.contact_criterion()->lower(), -5.0);
  }
}

TEST(ConContactLayout, IntraAndAnyReadAtomsFromWordsFourAndSix) {
  ConContact intra(split("VDW 2 0.1"), split("CONT INTRA FROM AT 3 TO 9 DIST -2.0 0.5"));
  EXPECT_EQ(intra.type(), 2);
  EXPECT_EQ(intra.atom_a(), 3);
  EXPECT_EQ(intra.atom_b(), 9);
  EXPECT_FALSE(intra.vdw_only());
  EXPECT_DOUBLE_EQ(intra.low(), -2.0);
  EXPECT_DOUBLE_EQ(intra.high(), 0.5);
  auto crit = intra.contact_criterion();
  EXPECT_EQ(crit->contact_type(), ContactType::Intra);
  EXPECT_DOUBLE_EQ(crit->lower(), -2.0);
  EXPECT_DOUBLE_EQ(crit->upper(), 0.5);

  ConContact any(split("VDW 3 -0.2"), split("CONT ANY FROM AT 5 TO 1 WITHIN VDW"));
  EXPECT_EQ(any.type(), 3);
  EXPECT_EQ(any.atom_a(), 5);
  EXPECT_EQ(any.atom_b(), 1);
  EXPECT_TRUE(any.vdw_only());
  EXPECT_EQ(any.contact_criterion()->contact_type(), ContactType::Any);
  EXPECT_DOUBLE_EQ(any.contact_criterion()->upper(), -0.2);
}

TEST(ConContactLayout, EightWordsAreNoRangeForIntraOrAny) {
  // The INTER layout's range columns mean nothing to the other layout.
  ConContact c(split("VDW 1 0.3"), split("CONT ANY X Y 2 TO 7 Z"));
  EXPECT_TRUE(c.vdw_only());
  EXPECT_EQ(c.atom_a(), 2);
  EXPECT_EQ(c.atom_b(), 7);
  EXPECT_DOUBLE_EQ(c.contact_criterion()->upper(), 0.3);
}

TEST(ConContactLayout, UnknownTypeWordIsIntermolecularWithTheSecondLayout) {
  ConContact c(split("VDW 1 0.0"), split("CONT inter 8 TO 3 X 5"));
  EXPECT_EQ(c.type(), 1);
  EXPECT_EQ(c.atom_a(), 3);
  EXPECT_EQ(c.atom_b(), 5);
  EXPECT_EQ(c.contact_criterion()->contact_type(), ContactType::Inter);
}

TEST(ConContactLayout, MissingWordsNameNoAtomAndNumbersReadLeniently) {
  ConContact c(split("VDW"), split("CONT INTER 4"));
  EXPECT_EQ(c.atom_a(), 4);
  EXPECT_EQ(c.atom_b(), -1);
  EXPECT_DOUBLE_EQ(c.vdw_tolerance(), 0.0);
  ConContact d(split("VDW 1 abc"), split("CONT INTER x TO 6y DIST 0.5q low"));
  EXPECT_DOUBLE_EQ(d.vdw_tolerance(), 0.0);
  EXPECT_EQ(d.atom_a(), 0);
  EXPECT_EQ(d.atom_b(), 6);
  EXPECT_DOUBLE_EQ(d.low(), 0.5);
  EXPECT_DOUBLE_EQ(d.high(), 0.0);
}

// ---- angle records ----

TEST(ConAngleWords, AtomsFromTheDefineLineAndLimitsFromTheNext) {
  ConFile::ConAngle a(split("DEFINE ANG1 1 2 3"), split("ANGLE ANG1 120.5 180"));
  EXPECT_EQ(a.atom_1(), 1);
  EXPECT_EQ(a.atom_2(), 2);
  EXPECT_EQ(a.atom_3(), 3);
  EXPECT_DOUBLE_EQ(a.min_angle(), 120.5);
  EXPECT_DOUBLE_EQ(a.max_angle(), 180.0);
  ConFile::ConAngle b(split("DEFINE ANG1 1 2 3"), split("ANGLE"));
  EXPECT_DOUBLE_EQ(b.min_angle(), 0.0);
  EXPECT_DOUBLE_EQ(b.max_angle(), 0.0);
}

} // namespace
} // namespace xtalmotif
