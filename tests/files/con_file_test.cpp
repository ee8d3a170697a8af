#include "files/con_file.h"

#include "motif/motif.h"
#include "scratch_file.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace xtalmotif {
namespace {

using testing::missing_path;
using testing::ScratchFile;

ConFile read_text(const std::string& text) {
  ScratchFile f(text);
  ConFile con;
  EXPECT_TRUE(con.read(f.path()));
  return con;
}

std::vector<int> numbers(const std::vector<ConAtom>& atoms) {
  std::vector<int> out;
  for (const ConAtom& a : atoms)
    out.push_back(a.number());
  return out;
}

std::vector<int> residues_of_atoms(const ConFile& con) {
  std::vector<int> out;
  for (const ConAtom& a : con.atoms())
    out.push_back(a.residue());
  return out;
}

std::vector<int> residues_of_bonds(const ConFile& con) {
  std::vector<int> out;
  for (const ConBond& b : con.bonds())
    out.push_back(b.residue());
  return out;
}

// ---- line classification ----

TEST(ConFileClassification, FirstWordSubstringsDecideAndOtherLinesAreSkipped) {
  ConFile con = read_text("TITLE acid dimer\n"
                          "# comment AT1 C 3 T3\n"
                          "\n"
                          "   \t\n"
                          "XAT5 C 1 0 0 0 0\n"  // contains AT: an atom, numbered 0
                          "BOND 1 2 1\n"        // contains BO: a bond
                          "ABOVE 3 4\n"         // contains BO as well
                          "BOAT O 1 0 0 0 0\n"   // contains AT and BO: atom comes first
                          "at1 c 3 t3 0 0 0\n"  // case matters: skipped
                          "vdw 1 0.0\n"         // skipped
                          "BO 5 6 2\n");
  ASSERT_EQ(numbers(con.atoms()), (std::vector<int>{0, 0}));
  EXPECT_EQ(con.atoms()[1].element_text(), "O");
  ASSERT_EQ(con.bonds().size(), 3u);
  EXPECT_EQ(con.bonds()[0].atom_a(), 1);
  EXPECT_EQ(con.bonds()[1].atom_a(), 3);
  EXPECT_EQ(con.bonds()[1].atom_b(), 4);
  EXPECT_EQ(con.bonds()[2].type_code(), 2);
  EXPECT_TRUE(con.contacts().empty());
  EXPECT_TRUE(con.angles().empty());
}

TEST(ConFileClassification, AVdwFirstWordHoldingBoIsABond) {
  ConFile con = read_text("VDWBO 1 2 1\nCONT INTER 1 TO 2\n");
  EXPECT_EQ(con.bonds().size(), 1u);
  EXPECT_TRUE(con.contacts().empty());
}

TEST(ConFileClassification, DefineNeedsExactlyFiveWordsAnywhereOnTheLine) {
  ConFile con = read_text("AT1 O 1 1 0 0 0\n"
                          "AT2 H 1 0 0 0 0\n"
                          "AT3 O 1 0 0 0\n"
                          "DEFINE ANG1 1 2\n" // four words: ignored
                          "ANGLE ANG1 10 20\n"
                          "DEFINE ANG1 1 2 3 4\n" // six words: ignored
                          "ANGLE ANG1 30 40\n"
                          "# DEFINE 1 2 3\n" // five words containing DEFINE: an angle
                          "ANGLE ANG2 100 180\n"
                          "REDEFINED X 3 2 1\n"
                          "LIMIT X 50 60\n");
  ASSERT_EQ(con.angles().size(), 2u);
  EXPECT_EQ(con.angles()[0].atom_1(), 1);
  EXPECT_EQ(con.angles()[0].atom_2(), 2);
  EXPECT_EQ(con.angles()[0].atom_3(), 3);
  EXPECT_DOUBLE_EQ(con.angles()[0].min_angle(), 100.0);
  EXPECT_DOUBLE_EQ(con.angles()[0].max_angle(), 180.0);
  EXPECT_EQ(con.angles()[1].atom_1(), 3);
  EXPECT_DOUBLE_EQ(con.angles()[1].min_angle(), 50.0);
}

TEST(ConFileClassification, TheLineAfterAContactLineIsAlsoReadOnItsOwn) {
  ConFile con = read_text("AT1 C 1 0 0 0\n"
                          "VDW 1 0.0\n"
                          "BO 1 2 1\n"
                          "AT2 C 1 0 0 0\n");
  // The contact reads its atoms from the bond line (unknown type word "1": words 4 and 6,
  // which do not exist), and the bond line is a bond as well.
  ASSERT_EQ(con.contacts().size(), 1u);
  EXPECT_EQ(con.contacts()[0].type(), 1);
  EXPECT_EQ(con.contacts()[0].atom_a(), -1);
  ASSERT_EQ(con.bonds().size(), 1u);
  EXPECT_TRUE(con.bonds()[0].connects_con_atoms(1, 2));
}

TEST(ConFileClassification, BothContactLayoutsInOneFile) {
  ConFile con = read_text("VDW 1 0.0\n"
                          "CONT INTER 4 TO 6 WITHIN VDW\n"
                          "VDW 2 0.1\n"
                          "CONT INTER 8 TO 2 DIST -1.0 -0.2\n"
                          "VDW 3 -0.3\n"
                          "CONT ANY FROM AT 5 TO 1 DIST -5.0 -0.44\n"
                          "VDW 4 0.2\n"
                          "CONT INTRA FROM AT 7 TO 3 WITHIN VDW\n");
  ASSERT_EQ(con.contacts().size(), 4u);
  const auto& c = con.contacts();
  EXPECT_EQ(c[0].type(), 1);
  EXPECT_TRUE(c[0].vdw_only());
  EXPECT_EQ(c[0].atom_a(), 4);
  EXPECT_EQ(c[0].atom_b(), 6);
  EXPECT_FALSE(c[1].vdw_only());
  EXPECT_DOUBLE_EQ(c[1].high(), -0.2);
  EXPECT_DOUBLE_EQ(c[1].vdw_tolerance(), 0.1);
  EXPECT_EQ(c[2].type(), 3);
  EXPECT_EQ(c[2].atom_a(), 5);
  EXPECT_EQ(c[2].atom_b(), 1);
  EXPECT_FALSE(c[2].vdw_only());
  EXPECT_DOUBLE_EQ(c[2].high(), -0.44);
  EXPECT_EQ(c[3].type(), 2);
  EXPECT_TRUE(c[3].vdw_only());
  EXPECT_DOUBLE_EQ(c[3].vdw_tolerance(), 0.2);
  // Each contact line's first word (CONT) is neither atom nor bond.
  EXPECT_TRUE(con.atoms().empty());
  EXPECT_TRUE(con.bonds().empty());
}

TEST(ConFileClassification, CarriageReturnLineEndsReadTheSame) {
  std::string lf = "AT1 C 3 T3 0 0 0\nAT2 O 1 1 T2 0 0 0\nBO 1 2 1\nVDW 1 0.5\n"
                   "CONT INTER 2 TO 1 WITHIN VDW\n";
  std::string crlf;
  for (char ch : lf) {
    if (ch == '\n')
      crlf += '\r';
    crlf += ch;
  }
  ConFile a = read_text(lf);
  ConFile b = read_text(crlf);
  ASSERT_EQ(a.contacts().size(), 1u);
  ASSERT_EQ(b.bonds().size(), 1u);
  ASSERT_EQ(b.atoms().size(), 2u);
  EXPECT_EQ(b.atoms()[1].nbonds_text(), "T2");
  ASSERT_EQ(b.contacts().size(), 1u);
  EXPECT_DOUBLE_EQ(b.contacts()[0].vdw_tolerance(), 0.5);
  EXPECT_EQ(b.contacts()[0].atom_a(), a.contacts()[0].atom_a());
  EXPECT_EQ(b.bonds()[0].type_code(), 1);
}

TEST(ConFileRead, AnUnreadableFileChangesNothing) {
  ScratchFile f("AT1 C 3 T3 0 0 0\n");
  ConFile con;
  ASSERT_TRUE(con.read(f.path()));
  EXPECT_FALSE(con.read(missing_path()));
  EXPECT_EQ(con.atoms().size(), 1u);
  EXPECT_EQ(con.residues(), (std::vector<int>{0}));
  EXPECT_EQ(con.path(), f.path());
}

TEST(ConFileRead, ReadingAgainReplacesEverything) {
  ScratchFile first("AT1 C 1 0 0 0\nAT2 C 1 0 0 0\nBO 1 2 1\n");
  ScratchFile second("AT9 N 1 0 0 0\n");
  ConFile con;
  con.read(first.path());
  con.motif();
  ASSERT_EQ(con.sub_atom_index(2), 1);
  con.read(second.path());
  EXPECT_EQ(numbers(con.atoms()), (std::vector<int>{9}));
  EXPECT_TRUE(con.bonds().empty());
  EXPECT_EQ(con.residues(), (std::vector<int>{0}));
  EXPECT_EQ(con.sub_atom_index(2), -1);
  con.clear();
  EXPECT_TRUE(con.atoms().empty());
  EXPECT_TRUE(con.residues().empty());
}

// ---- residues ----

TEST(ConFileResidues, TwoUnbondedAtomsAreTwoResidues) {
  ConFile con = read_text("AT1 C 1 0 0 0\nAT2 O 1 0 0 0\n");
  EXPECT_EQ(con.residues(), (std::vector<int>{0, 1}));
  EXPECT_EQ(residues_of_atoms(con), (std::vector<int>{0, 1}));
  auto m = con.motif();
  ASSERT_EQ(m->nsubstructures(), 2);
  EXPECT_EQ(m->substructure(0)->nnodes(), 1);
  EXPECT_EQ(m->substructure(1)->nnodes(), 1);
  EXPECT_EQ(m->substructure(1)->node(0)->elements(),
            (std::vector<Element>{Element(Element::Oxygen)}));
}

TEST(ConFileResidues, LoneAtomsAreNumberedAfterAllBondedGroups) {
  ConFile con = read_text("AT1 O 1 0 0 0\n" // no bond, first in the file
                          "AT2 C 1 0 0 0\n"
                          "AT3 O 1 0 0 0\n"
                          "AT4 N 1 0 0 0\n" // no bond
                          "AT5 C 1 0 0 0\n"
                          "AT6 C 1 0 0 0\n"
                          "BO 5 6 1\n"
                          "BO 2 3 2\n");
  // Groups in order of their first bond: {5,6} then {2,3}; then atoms 1 and 4.
  EXPECT_EQ(residues_of_bonds(con), (std::vector<int>{0, 1}));
  EXPECT_EQ(residues_of_atoms(con), (std::vector<int>{2, 1, 1, 3, 0, 0}));
  EXPECT_EQ(con.residues(), (std::vector<int>{0, 1, 2, 3}));
  EXPECT_EQ(numbers(con.atoms_in_residue(1)), (std::vector<int>{2, 3}));
  EXPECT_EQ(numbers(con.atoms_in_residue(2)), (std::vector<int>{1}));
  EXPECT_TRUE(con.atoms_in_residue(7).empty());
  ASSERT_EQ(con.bonds_in_residue(1).size(), 1u);
  EXPECT_TRUE(con.bonds_in_residue(1)[0].connects_con_atoms(2, 3));

  auto m = con.motif();
  ASSERT_EQ(m->nsubstructures(), 4);
  EXPECT_EQ(m->substructure(0)->nnodes(), 2);
  EXPECT_EQ(m->substructure(1)->nnodes(), 2);
  EXPECT_EQ(m->substructure(2)->node(0)->elements(),
            (std::vector<Element>{Element(Element::Oxygen)}));
  EXPECT_EQ(m->substructure(3)->node(0)->elements(),
            (std::vector<Element>{Element(Element::Nitrogen)}));
  ASSERT_EQ(m->substructure(1)->nedges(), 1);
  EXPECT_EQ(m->substructure(1)->edge(0).bond->types(), (std::vector<BondType>{BondType::Double}));
}

TEST(ConFileResidues, AChainWrittenOutOfOrderIsOneGroup) {
  // 1-2, 4-5, 3-4, 2-3: the last bond joins the first two pieces.
  ConFile con = read_text("AT1 C 1 0 0 0\nAT2 C 1 0 0 0\nAT3 C 1 0 0 0\nAT4 C 1 0 0 0\n"
                          "AT5 C 1 0 0 0\nAT6 O 1 0 0 0\n"
                          "BO 1 2 1\nBO 4 5 1\nBO 3 4 1\nBO 2 3 1\n");
  EXPECT_EQ(residues_of_bonds(con), (std::vector<int>{0, 0, 0, 0}));
  EXPECT_EQ(residues_of_atoms(con), (std::vector<int>{0, 0, 0, 0, 0, 1}));
  // The group lists its bonds as they join it: 1-2, 2-3, 3-4, 4-5.
  auto groups = con.group_bonds(con.bonds());
  ASSERT_EQ(groups.size(), 1u);
  ASSERT_EQ(groups[0].size(), 4u);
  for (int k = 0; k < 4; ++k)
    EXPECT_TRUE(groups[0][k].connects_con_atoms(k + 1, k + 2)) << k;
}

TEST(ConFileResidues, GroupBondsOrdersPiecesByTheirFirstBond) {
  ConFile con = read_text("BO 7 8 1\nBO 1 2 1\nBO 8 9 1\nBO 3 4 1\nBO 2 3 1\n");
  ASSERT_EQ(con.bonds().size(), 5u);
  auto groups = con.group_bonds(con.bonds());
  ASSERT_EQ(groups.size(), 2u);
  ASSERT_EQ(groups[0].size(), 2u);
  EXPECT_TRUE(groups[0][0].connects_con_atoms(7, 8));
  EXPECT_TRUE(groups[0][1].connects_con_atoms(8, 9));
  ASSERT_EQ(groups[1].size(), 3u);
  EXPECT_TRUE(groups[1][0].connects_con_atoms(1, 2));
  EXPECT_TRUE(groups[1][1].connects_con_atoms(2, 3));
  EXPECT_TRUE(groups[1][2].connects_con_atoms(3, 4));
  EXPECT_TRUE(con.group_bonds({}).empty());
  EXPECT_TRUE(con.bond_extends_group(con.bonds()[2], groups[0]));
  EXPECT_FALSE(con.bond_extends_group(con.bonds()[2], groups[1]));
  EXPECT_FALSE(con.bond_extends_group(con.bonds()[0], {}));
}

TEST(ConFileLookups, AtomsBondsAndIndices) {
  ConFile con = read_text("AT1 C 1 T3 0 0 0\nAT2 O 1 0 0 0\nAT1 N 1 0 0 0\nAT4 O 1 0 0 0\n"
                          "BO 2 1 2\nBO 1 3 1\n");
  ASSERT_EQ(con.atoms().size(), 4u);
  // The first record of a number wins.
  EXPECT_EQ(con.find_con_atom(1).element_text(), "C");
  ConAtom missing = con.find_con_atom(42);
  EXPECT_EQ(missing.residue(), -1);
  EXPECT_EQ(missing.element_text(), "X");
  EXPECT_EQ(con.find_con_bond(1, 2).type_code(), 2);
  EXPECT_EQ(con.find_con_bond(2, 1).type_code(), 2);
  EXPECT_EQ(con.find_con_bond(2, 3).atom_a(), -1);
  EXPECT_EQ(con.con_atoms(con.bonds()), (std::vector<int>{2, 1, 3}));
  EXPECT_TRUE(con.is_bonded(con.atoms()[0]));
  EXPECT_FALSE(con.is_bonded(con.atoms()[3]));
  EXPECT_EQ(con.sub_atom_index(4), -1);
}

// ---- the motif ----

const char* acid_dimer_text =
    "Carboxylic acid dimer\n"
    "AT1 C 3 T3 0 0 0\n"
    "AT2 O 1 0 T1 0 0 0\n"
    "AT3 O 2 1 T2 0 0 0\n"
    "AT4 H 1 0 T1 0 0 0\n"
    "BO 1 2 2\n"
    "BO 1 3 1\n"
    "BO 3 4 1\n"
    "AT5 C 3 T3 0 0 0\n"
    "AT6 O 1 0 T1 0 0 0\n"
    "AT7 O 2 1 T2 0 0 0\n"
    "AT8 H 1 0 T1 0 0 0\n"
    "BO 5 6 2\n"
    "BO 5 7 1\n"
    "BO 7 8 1\n"
    "VDW 1 0.0\n"
    "CONT INTER 4 TO 6 WITHIN VDW\n"
    "VDW 2 -0.1\n"
    "CONT INTER 8 TO 2 DIST -1.2 -0.3\n"
    "DEFINE ANG1 3 4 6\n"
    "ANGLE ANG1 150 180\n";

TEST(ConFileMotif, SubstructuresFollowTheResidues) {
  ConFile con = read_text(acid_dimer_text);
  auto m = con.motif();
  EXPECT_EQ(m->name(), "");
  ASSERT_EQ(m->nsubstructures(), 2);
  for (int s = 0; s < 2; ++s) {
    auto sub = m->substructure(s);
    ASSERT_EQ(sub->nnodes(), 4);
    EXPECT_EQ(sub->node(0)->elements(), (std::vector<Element>{Element(Element::Carbon)}));
    EXPECT_EQ(sub->node(1)->elements(), (std::vector<Element>{Element(Element::Oxygen)}));
    EXPECT_EQ(sub->node(2)->elements(), (std::vector<Element>{Element(Element::Oxygen)}));
    EXPECT_EQ(sub->node(3)->elements(), (std::vector<Element>{Element(Element::Hydrogen)}));
    ASSERT_EQ(sub->nedges(), 3);
    EXPECT_EQ(sub->edge(0).atom1, 0);
    EXPECT_EQ(sub->edge(0).atom2, 1);
    EXPECT_EQ(sub->edge(0).bond->types(), (std::vector<BondType>{BondType::Double}));
    EXPECT_EQ(sub->edge(1).atom1, 0);
    EXPECT_EQ(sub->edge(1).atom2, 2);
    EXPECT_EQ(sub->edge(2).atom1, 2);
    EXPECT_EQ(sub->edge(2).atom2, 3);
    EXPECT_EQ(sub->edge(2).bond->types(), (std::vector<BondType>{BondType::Single}));
    // Default size limits.
    EXPECT_EQ(sub->min_target_size(), 0);
    EXPECT_EQ(sub->max_target_size(), 100000);
  }
  // Atom indices restart in every substructure.
  EXPECT_EQ(con.sub_atom_index(1), 0);
  EXPECT_EQ(con.sub_atom_index(4), 3);
  EXPECT_EQ(con.sub_atom_index(5), 0);
  EXPECT_EQ(con.sub_atom_index(8), 3);
  EXPECT_EQ(con.atom_indices().size(), 8u);
}

TEST(ConFileMotif, ContactsJoinTheNamedAtoms) {
  ConFile con = read_text(acid_dimer_text);
  auto m = con.motif();
  ASSERT_EQ(m->ncontacts(), 2);
  auto c0 = m->contact(0);
  EXPECT_EQ(c0->from_substructure(), 0);
  EXPECT_EQ(c0->from_atom(), 3);
  EXPECT_EQ(c0->to_substructure(), 1);
  EXPECT_EQ(c0->to_atom(), 1);
  EXPECT_TRUE(c0->criterion()->is_vdw_relative());
  EXPECT_DOUBLE_EQ(c0->criterion()->upper(), 0.0);
  EXPECT_DOUBLE_EQ(c0->criterion()->lower(), -5.0);
  EXPECT_EQ(c0->criterion()->contact_type(), ContactType::Inter);
  // The motif fills the element sets from the query atoms: H (1) to O (8).
  EXPECT_EQ(c0->criterion()->first_elements(), (ElementSet{1}));
  EXPECT_EQ(c0->criterion()->second_elements(), (ElementSet{8}));

  auto c1 = m->contact(1);
  EXPECT_EQ(c1->from_substructure(), 1);
  EXPECT_EQ(c1->from_atom(), 3);
  EXPECT_EQ(c1->to_substructure(), 0);
  EXPECT_EQ(c1->to_atom(), 1);
  EXPECT_DOUBLE_EQ(c1->criterion()->lower(), -1.2);
  EXPECT_DOUBLE_EQ(c1->criterion()->upper(), -0.3);
}

TEST(ConFileMotif, AngleRecordsBecomeAngleConstraintsInDegrees) {
  ConFile con = read_text(acid_dimer_text);
  auto m = con.motif();
  ASSERT_EQ(m->angle_constraints()->size(), 1u);
  const auto& a = *(*m->angle_constraints())[0];
  // O3 (0, 2), apex H4 (0, 3), O6 (1, 1).
  EXPECT_EQ(a.substructure(0), 0);
  EXPECT_EQ(a.atom(0), 2);
  EXPECT_EQ(a.substructure(1), 0);
  EXPECT_EQ(a.atom(1), 3);
  EXPECT_EQ(a.substructure(2), 1);
  EXPECT_EQ(a.atom(2), 1);
  auto range = handle_cast<InclusiveRange>(a.condition());
  ASSERT_TRUE(range);
  EXPECT_EQ(range->name(), "in range");
  EXPECT_DOUBLE_EQ(range->low(), 150.0);
  EXPECT_DOUBLE_EQ(range->high(), 180.0);
}

TEST(ConFileMotif, EachCallBuildsANewMotif) {
  ConFile con = read_text(acid_dimer_text);
  auto a = con.motif();
  auto b = con.motif();
  EXPECT_NE(a, b);
  EXPECT_NE(a->substructure(0), b->substructure(0));
  EXPECT_EQ(b->nsubstructures(), 2);
  EXPECT_EQ(b->ncontacts(), 2);
}

TEST(MotifReadFromConFile, ReplacesTheWholeQueryAndKeepsTheAngles) {
  ScratchFile f(acid_dimer_text);
  Motif m("old name");
  m.add_substructure(make_handle<MotifSubstructure>());
  m.read_from_con_file(f.path());
  EXPECT_EQ(m.name(), "");
  ASSERT_EQ(m.nsubstructures(), 2);
  EXPECT_EQ(m.substructure(0)->nnodes(), 4);
  ASSERT_EQ(m.ncontacts(), 2);
  EXPECT_EQ(m.contact(1)->from_substructure(), 1);
  EXPECT_EQ(m.angle_constraints()->size(), 1u);
  EXPECT_TRUE(m.torsion_constraints()->empty());
}

TEST(MotifReadFromConFile, AnUnreadableFileGivesAnEmptyQuery) {
  Motif m("old name");
  m.add_substructure(make_handle<MotifSubstructure>());
  m.read_from_con_file(missing_path());
  EXPECT_EQ(m.name(), "");
  EXPECT_EQ(m.nsubstructures(), 0);
  EXPECT_EQ(m.ncontacts(), 0);
  EXPECT_TRUE(m.angle_constraints()->empty());
}

} // namespace
} // namespace xtalmotif
