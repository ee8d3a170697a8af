// Reading CIF data blocks: symmetry in all its spellings, cells with standard uncertainties,
// elements from type symbols and labels, multi-block and gzipped files, and the messages of
// files that cannot be read.

#include "crystal/cif_reader.h"
#include "crystal/crystal_builder.h"
#include "db/database.h"

#include "cif_test_support.h"
#include "test_data.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>
#include <cstdlib>
#include <utility>

namespace xtalmotif {
namespace {

using testing::cell_text;
using testing::cif_block;
using testing::find_atom;
using testing::label_type_xyz;

const char* kOneCarbon = "C1 C 0.1 0.2 0.3";

bool has_warning_containing(const CrystalMaker& cm, const std::string& part) {
  for (const auto& w : cm.warnings())
    if (w.find(part) != std::string::npos)
      return true;
  return false;
}

// The four operators of P2_1/c (unique axis b, cell choice 1), for comparison.
std::vector<CrystalSymmetryOperator> p21c() {
  return {CrystalSymmetryOperator::from_xyz("x,y,z"),
          CrystalSymmetryOperator::from_xyz("-x,y+1/2,-z+1/2"),
          CrystalSymmetryOperator::from_xyz("-x,-y,-z"),
          CrystalSymmetryOperator::from_xyz("x,-y+1/2,z+1/2")};
}

void expect_same_operators(const CrystalMaker& cm,
                           const std::vector<CrystalSymmetryOperator>& expected) {
  const auto& ops = cm.symmetry_operators();
  ASSERT_EQ(ops.size(), expected.size());
  for (const auto& e : expected)
    EXPECT_NE(std::find(ops.begin(), ops.end(), e), ops.end()) << e.to_xyz();
}

std::string monoclinic_cell() { return cell_text(7.0, 8.0, 9.0, 90, 105.5, 90); }

// ---- symmetry ---------------------------------------------------------------------------------

TEST(CifSymmetry, DecimalTranslationsInTheOldLoop) {
  std::string sym = "loop_\n_symmetry_equiv_pos_as_xyz\n'x, y, z'\n'-x, 0.5+y, 0.5-z'\n"
                    "'-x, -y, -z'\n'x, 0.50-y, 0.500+z'\n";
  auto cm = read_crystal_from_string(
      cif_block("dec", monoclinic_cell(), sym, label_type_xyz(), kOneCarbon), "dec.cif");
  expect_same_operators(*cm, p21c());
  EXPECT_TRUE(cm->symmetry_operators()[0].is_identity());
  EXPECT_FALSE(has_warning_containing(*cm, "P1"));
}

TEST(CifSymmetry, NewLoopStyleWithIdsAndDottedNames) {
  std::string sym = "loop_\n_space_group_symop.id\n_space_group_symop.operation_xyz\n"
                    "1 x,y,z\n2 -x,y+1/2,-z+1/2\n3 -x,-y,-z\n4 x,-y+1/2,z+1/2\n";
  auto cm = read_crystal_from_string(
      cif_block("dotted", monoclinic_cell(), sym, label_type_xyz(), kOneCarbon), "d.cif");
  expect_same_operators(*cm, p21c());
}

TEST(CifSymmetry, SingleUnloopedOperatorIsP1WithoutWarning) {
  std::string sym = "_space_group_symop_operation_xyz 'x, y, z'\n";
  auto cm = read_crystal_from_string(
      cif_block("one", cell_text(5, 6, 7), sym, label_type_xyz(), kOneCarbon), "one.cif");
  EXPECT_EQ(cm->symmetry_operators().size(), 1u);
  EXPECT_FALSE(has_warning_containing(*cm, "P1"));
}

TEST(CifSymmetry, HallThenHermannMauguinThenNumber) {
  auto hall = read_crystal_from_string(
      cif_block("h", monoclinic_cell(), "_symmetry_space_group_name_Hall '-P 2ybc'",
                label_type_xyz(), kOneCarbon),
      "h.cif");
  expect_same_operators(*hall, p21c());
  EXPECT_TRUE(has_warning_containing(*hall, "Hall"));

  auto hm = read_crystal_from_string(
      cif_block("hm", monoclinic_cell(), "_space_group_name_H-M_alt 'P 1 21/c 1'",
                label_type_xyz(), kOneCarbon),
      "hm.cif");
  expect_same_operators(*hm, p21c());
  EXPECT_TRUE(has_warning_containing(*hm, "Hermann-Mauguin"));

  auto number = read_crystal_from_string(
      cif_block("n", monoclinic_cell(), "_space_group_IT_number 14", label_type_xyz(),
                kOneCarbon),
      "n.cif");
  expect_same_operators(*number, p21c());
  EXPECT_TRUE(has_warning_containing(*number, "number"));

  // Centring operators are part of the list: C2/c has eight.
  auto centred = read_crystal_from_string(
      cif_block("c", monoclinic_cell(), "_symmetry_space_group_name_H-M 'C 2/c'",
                label_type_xyz(), kOneCarbon),
      "c.cif");
  EXPECT_EQ(centred->symmetry_operators().size(), 8u);
}

TEST(CifSymmetry, NoSymmetryAtAllIsP1WithAWarning) {
  auto cm = read_crystal_from_string(
      cif_block("none", cell_text(5, 6, 7), "", label_type_xyz(), kOneCarbon), "none.cif");
  EXPECT_EQ(cm->symmetry_operators().size(), 1u);
  EXPECT_TRUE(has_warning_containing(*cm, "P1"));
}

TEST(CifSymmetry, AnOperatorListThatIsNotAGroupGivesWayToTheSymbol) {
  // y,-x is a fourfold rotation: it does not belong to a hexagonal R3 cell.
  std::string sym = "_symmetry_space_group_name_H-M 'R 3'\nloop_\n_symmetry_equiv_pos_as_xyz\n"
                    "x,y,z\n-y,x-y,z\n-x+y,-x,z\ny,-x,z\n";
  auto cm = read_crystal_from_string(
      cif_block("r3", cell_text(22.4, 22.4, 6.4, 90, 90, 120), sym, label_type_xyz(), kOneCarbon),
      "r3.cif");
  // R3 in hexagonal axes: three rotations times three centring vectors.
  EXPECT_EQ(cm->symmetry_operators().size(), 9u);
  EXPECT_TRUE(has_warning_containing(*cm, "not used"));
}

// ---- cell, R factor, elements -------------------------------------------------------------------

TEST(CifValues, NumbersWithStandardUncertainties) {
  std::string cell = "_cell_length_a 12.345(6)\n_cell_length_b 7.8879(4)\n"
                     "_cell_length_c 10.7275(14)\n_cell_angle_alpha 90\n"
                     "_cell_angle_beta 99.432(3)\n_cell_angle_gamma 90.00\n"
                     "_refine_ls_R_factor_gt 0.0412\n_refine_ls_R_factor_all 0.0600\n";
  auto cm = read_crystal_from_string(
      cif_block("su", cell, "", label_type_xyz(), "C1 C 0.1234(5) 0.2(1) 0.3"), "su.cif");
  EXPECT_DOUBLE_EQ(cm->a(), 12.345);
  EXPECT_DOUBLE_EQ(cm->b(), 7.8879);
  EXPECT_DOUBLE_EQ(cm->c(), 10.7275);
  EXPECT_DOUBLE_EQ(cm->beta(), 99.432);
  // The R factor of the observed reflections, not of all of them.
  EXPECT_DOUBLE_EQ(cm->r_factor(), 0.0412);
  auto atom = cm->molecule(0)->atom(0);
  EXPECT_DOUBLE_EQ(atom->site()->fractional()[0], 0.1234);
  EXPECT_DOUBLE_EQ(atom->site()->fractional()[1], 0.2);
}

// A number is read as the nearest double to its decimal value, whatever its form; the short
// decimals and the long or unusual ones are read by different code, and must agree with the C
// library's correctly rounded conversion of the same digits.
TEST(CifValues, NumbersInEveryFormReadToTheNearestDouble) {
  const char* forms[] = {"0.25",        ".5",          "5.e-1",        "+0.125",
                         "0.1234(5)",   "0.2()",       "2.5E-1",       "25e-2",
                         "0.375e+0",    "1e-30",       "0.3333333333333333333333",
                         "0.12345678901234567",        "0.0000000000000000000000001234",
                         "0.1000000000000000055511151231257827"};
  for (const char* form : forms) {
    std::string text = form;
    auto cm = read_crystal_from_string(
        cif_block("n", cell_text(20, 20, 20), "", label_type_xyz(),
                  std::string("C1 C ") + text + " 0.5 0.5"),
        "n.cif");
    const std::string digits = text.substr(0, text.find('('));
    auto atom = cm->molecule(0)->atom(0);
    EXPECT_EQ(atom->site()->fractional()[0], std::strtod(digits.c_str(), nullptr)) << form;
  }
  // Cell edges in exponent form, and a negative number.
  auto cm = read_crystal_from_string(
      cif_block("e", cell_text(5, 6, 7) + "_refine_ls_R_factor_gt -1.5E-2\n"
                                          "_refine_ls_R_factor_obs 4.5e-2(3)\n",
                "", label_type_xyz(), kOneCarbon),
      "e.cif");
  EXPECT_EQ(cm->r_factor(), std::strtod("4.5e-2", nullptr));
}

TEST(CifValues, TextsThatAreNotNumbersLeaveTheSiteOut) {
  const char* forms[] = {"0.5(3", "1e", "1e+", "0.5x", "--0.5", "'0.5'", "inf", "nan", "-",
                         "e5",    ".",  "?",   "0.5(3)4"};
  for (const char* form : forms) {
    auto cm = read_crystal_from_string(
        cif_block("bad", cell_text(20, 20, 20), "", label_type_xyz(),
                  std::string("C1 C 0.1 0.1 0.1\nC9 C ") + form + " 0.5 0.5"),
        "bad.cif");
    EXPECT_TRUE(has_warning_containing(*cm, "1 atom site(s) without coordinates skipped (first: C9)"))
        << form;
  }
}

// Tags are matched without regard to case and with '.' for '_'; a tag given twice counts once,
// as first written.
TEST(CifValues, TagsInAnyCaseAndSpellingFirstOccurrenceKept) {
  std::string cell = "_CELL_LENGTH_A 11\n_Cell.Length_B 12\n_cell_length_c 13\n"
                     "_cell_length_a 99\n_cell_length_d 98\n_cell_angle_alpha 90\n"
                     "_cell.angle_beta 100\n_cell_angle_gamma 90\n";
  std::string tags = "_ATOM_SITE_LABEL\n_atom_site.type_symbol\n_Atom_Site_Fract_X\n"
                     "_atom_site.fract_y\n_atom_site_fract_z";
  auto cm = read_crystal_from_string(cif_block("t", cell, "", tags, kOneCarbon), "t.cif");
  EXPECT_EQ(cm->a(), 11.0);
  EXPECT_EQ(cm->b(), 12.0);
  EXPECT_EQ(cm->c(), 13.0);
  EXPECT_EQ(cm->beta(), 100.0);
  ASSERT_TRUE(find_atom(*cm, "C1").found());
}

// Disorder groups: whole numbers with a sign, letters for alternatives, and anything else no
// group at all; refinement flags with a "P", and dummy sites, in any quoting.
TEST(CifValues, DisorderGroupsFlagsAndDummySites) {
  const std::pair<const char*, bool> groups[] = {
      {"0", false},  {"+0", false},  {"-0", false}, {"'0 '", false}, {".", false},
      {"'-'", false}, {"0x", false}, {"2", true},   {"-1", true},    {"A", true},
      {"x0", true},  {"99999999999999999999", true}, {"'+3'", true}};
  for (const auto& [group, disordered] : groups) {
    auto cm = read_crystal_from_string(
        cif_block("g", cell_text(20, 20, 20), "",
                  std::string(label_type_xyz()) + "\n_atom_site_disorder_group",
                  std::string("C1 C 0.1 0.1 0.1 ") + group),
        "g.cif");
    EXPECT_EQ(cm->has_disorder(), disordered) << group;
  }
  const std::pair<const char*, bool> flags[] = {
      {"P", true}, {"'P'", true}, {"\"DP\"", true}, {".", false}, {"D", false}, {"p", false}};
  for (const auto& [flag, partial] : flags) {
    for (const char* tag : {"_atom_site_refinement_flags", "_atom_site_refinement_flags_occupancy"}) {
      auto cm = read_crystal_from_string(
          cif_block("f", cell_text(20, 20, 20), "", std::string(label_type_xyz()) + "\n" + tag,
                    std::string("C1 C 0.1 0.1 0.1 ") + flag),
          "f.cif");
      EXPECT_EQ(cm->has_disorder(), partial) << tag << " " << flag;
    }
  }
  auto cm = read_crystal_from_string(
      cif_block("d", cell_text(20, 20, 20), "",
                std::string(label_type_xyz()) + "\n_atom_site_calc_flag",
                "C1 C 0.1 0.1 0.1 d\nC2 C 0.5 0.5 0.5 'DUM'\nC3 C 0.3 0.7 0.2 dum\n"
                "C4 C 0.7 0.3 0.2 dummy\nC5 C 0.2 0.2 0.7 calc"),
      "d.cif");
  EXPECT_TRUE(find_atom(*cm, "C1").found());
  EXPECT_FALSE(find_atom(*cm, "C2").found());
  EXPECT_FALSE(find_atom(*cm, "C3").found());
  EXPECT_TRUE(find_atom(*cm, "C4").found());
  EXPECT_TRUE(find_atom(*cm, "C5").found());
}

TEST(CifValues, RFactorAbsentIsNegative) {
  auto cm = read_crystal_from_string(
      cif_block("r", cell_text(5, 6, 7), "", label_type_xyz(), kOneCarbon), "r.cif");
  EXPECT_LT(cm->r_factor(), 0);
}

TEST(CifElements, LabelsReadInTheOrganicSense) {
  // No type symbols; atoms 4 A apart in a 20 A cube so that none is bonded to another.
  std::string tags = "_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n"
                     "_atom_site_fract_z";
  std::string rows = "HN1 0.0 0.0 0.0\nHA 0.2 0.0 0.0\nH12A 0.4 0.0 0.0\nOW1 0.6 0.0 0.0\n"
                     "Wat1 0.8 0.0 0.0\nCA1 0.0 0.2 0.0\nCl1 0.2 0.2 0.0\nCL2 0.4 0.2 0.0\n"
                     "D1 0.6 0.2 0.0\nBr1 0.8 0.2 0.0\nN1 0.0 0.4 0.0\n";
  std::string formula = "_chemical_formula_sum 'C H N O Cl Br'\n";
  auto cm = read_crystal_from_string(cif_block("lab", cell_text(20, 20, 20), "", tags, rows,
                                               formula),
                                     "lab.cif");
  auto element_of = [&](const char* label) {
    auto r = find_atom(*cm, label);
    EXPECT_TRUE(r.found()) << label;
    return r.found() ? cm->molecule(r.molecule)->atom(r.atom)->element().symbol() : "";
  };
  EXPECT_EQ(element_of("HN1"), "H");
  EXPECT_EQ(element_of("HA"), "H");
  EXPECT_EQ(element_of("H12A"), "H");
  EXPECT_EQ(element_of("OW1"), "O");
  EXPECT_EQ(element_of("Wat1"), "O");
  EXPECT_EQ(element_of("CA1"), "C");
  EXPECT_EQ(element_of("Cl1"), "Cl");
  EXPECT_EQ(element_of("CL2"), "Cl");
  EXPECT_EQ(element_of("D1"), "D");
  EXPECT_EQ(element_of("Br1"), "Br");
  EXPECT_EQ(element_of("N1"), "N");
}

TEST(CifElements, CalciumWhenTheFormulaSaysSo) {
  std::string tags = "_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n"
                     "_atom_site_fract_z";
  auto cm = read_crystal_from_string(
      cif_block("ca", cell_text(20, 20, 20), "", tags, "CA1 0.0 0.0 0.0\nC1 0.5 0.5 0.5",
                "_chemical_formula_sum 'C2 H4 Ca O4'\n"),
      "ca.cif");
  auto r = find_atom(*cm, "CA1");
  ASSERT_TRUE(r.found());
  EXPECT_EQ(cm->molecule(r.molecule)->atom(r.atom)->element().symbol(), "Ca");
}

TEST(CifElements, TypeSymbolsWithCharges) {
  const std::set<int> none;
  int q = 0;
  EXPECT_EQ(CrystalBuilder::element_from_type_symbol("O2-", none, &q).symbol(), "O");
  EXPECT_EQ(q, -2);
  EXPECT_EQ(CrystalBuilder::element_from_type_symbol("Ag1+", none, &q).symbol(), "Ag");
  EXPECT_EQ(q, 1);
  EXPECT_EQ(CrystalBuilder::element_from_type_symbol("N+", none, &q).symbol(), "N");
  EXPECT_EQ(q, 1);
  EXPECT_EQ(CrystalBuilder::element_from_type_symbol("Fe3+", none, &q).symbol(), "Fe");
  EXPECT_EQ(q, 3);
  EXPECT_EQ(CrystalBuilder::element_from_type_symbol("CL", none, &q).symbol(), "Cl");
  EXPECT_EQ(q, 0);
  EXPECT_EQ(CrystalBuilder::element_from_type_symbol("Q", none, &q).code(), 0);
  // In a crystal: an isolated silver cation and chloride anion keep their charges.
  auto cm = read_crystal_from_string(
      cif_block("ions", cell_text(20, 20, 20), "", label_type_xyz(),
                "Ag1 Ag1+ 0.0 0.0 0.0\nCl1 Cl1- 0.5 0.5 0.5"),
      "ions.cif");
  auto ag = find_atom(*cm, "Ag1");
  auto cl = find_atom(*cm, "Cl1");
  ASSERT_TRUE(ag.found() && cl.found());
  EXPECT_EQ(cm->molecule(ag.molecule)->atom(ag.atom)->formal_charge(), 1);
  EXPECT_EQ(cm->molecule(cl.molecule)->atom(cl.atom)->formal_charge(), -1);
}

TEST(CifElements, FormulaElements) {
  auto s = CrystalBuilder::formula_elements("C12 H8.5 Ag1.5 N2 O4");
  EXPECT_EQ(s.size(), 5u);
  EXPECT_TRUE(s.count(Element::Silver));
  EXPECT_TRUE(s.count(Element::Nitrogen));
  EXPECT_FALSE(s.count(Element::Sulfur));
}

// ---- errors and blocks --------------------------------------------------------------------------

TEST(CifErrors, MessagesNameFileBlockAndProblem) {
  try {
    read_crystal_from_string("data_2300214\n_cell_length_a 5\n_cell_length_b 5\n"
                             "_cell_length_c 5\nloop_\n_atom_site_label\n_atom_site_type_symbol\n"
                             "C1 C\n",
                             "x.cif");
    FAIL() << "no exception";
  } catch (const CifError& e) {
    EXPECT_STREQ(e.what(), "x.cif: block 2300214: no atom sites with coordinates");
  }
  try {
    read_crystal_from_string(
        cif_block("nocell", "", "", label_type_xyz(), kOneCarbon), "y.cif");
    FAIL() << "no exception";
  } catch (const CifError& e) {
    EXPECT_NE(std::string(e.what()).find("y.cif: block nocell: _cell_length_a"),
              std::string::npos)
        << e.what();
  }
  // A cell axis longer than any crystal's (a stray exponent) would overflow the geometry.
  try {
    read_crystal_from_string(cif_block("huge", cell_text(5, 5e26, 5), "", label_type_xyz(),
                                       kOneCarbon),
                             "v.cif");
    FAIL() << "no exception";
  } catch (const CifError& e) {
    EXPECT_STREQ(e.what(), "v.cif: block huge: _cell_length_b of 5e+26 A is longer than any "
                           "crystal's cell");
  }
  EXPECT_THROW(read_crystal_from_string("no block here\n", "z.cif"), CifError);
  EXPECT_THROW(read_crystal_from_string(
                   cif_block("a", cell_text(5, 5, 5), "", label_type_xyz(), kOneCarbon), "w.cif",
                   "missing"),
               CifError);
  EXPECT_THROW(read_crystal("/nonexistent/folder/file.cif", ""), CifError);
}

TEST(CifBlocks, ABrokenBlockFailsAloneAndNamesItsLine) {
  const std::string good1 =
      cif_block("first", cell_text(5, 6, 7), "", label_type_xyz(), kOneCarbon);
  // Line 4 of this block has an unterminated quote.
  const std::string broken = "data_broken\n_cell_length_a 5\n_cell_length_b 5\n"
                             "_chemical_name_common 'unterminated\n";
  const std::string good2 =
      cif_block("third", cell_text(8, 8, 8), "", label_type_xyz(), "N1 N 0.5 0.5 0.5");
  testing::TempDir dir;
  auto path = dir.write("multi.cif", "data_global\n_journal_year 2020\n" + good1 + broken + good2);
  auto blocks = list_cif_blocks(path.string());
  ASSERT_EQ(blocks.size(), 4u);
  EXPECT_EQ(blocks[0].block_name, "global");
  EXPECT_FALSE(blocks[0].has_atom_sites);
  EXPECT_EQ(blocks[2].block_name, "broken");
  EXPECT_EQ(blocks[3].index, 3);
  EXPECT_EQ(blocks[3].file, path.string());
  EXPECT_DOUBLE_EQ(read_crystal(path.string(), "first")->a(), 5.0);
  EXPECT_DOUBLE_EQ(read_crystal(path.string(), "third")->a(), 8.0);
  // The first block with atom sites when no block is named.
  EXPECT_DOUBLE_EQ(read_crystal(path.string(), "")->a(), 5.0);
  // Read by name from the whole file, and from the block's own place in it.
  for (int by_place = 0; by_place < 2; ++by_place)
    try {
      if (by_place)
        read_crystal(blocks[2]);
      else
        read_crystal(path.string(), "broken");
      FAIL() << "no exception";
    } catch (const CifError& e) {
      std::string m = e.what();
      EXPECT_NE(m.find(path.string() + ": block broken: "), std::string::npos) << m;
      // The file's line number: two global lines, the first block, then line 4 of this one.
      int line = 2 + static_cast<int>(std::count(good1.begin(), good1.end(), '\n')) + 4;
      EXPECT_NE(m.find("line " + std::to_string(line)), std::string::npos) << m;
    }
}

// A listed block is read from its place in the file alone; a file changed since it was listed
// is read whole and the block found by name, so the structure is always the one named.
TEST(CifBlocks, ABlockIsReadFromItsPlaceInTheFile) {
  const std::string global = "data_global\n_journal_year 2020\n";
  const std::string first_body =
      cif_block("first", cell_text(5, 6, 7), "", label_type_xyz(), kOneCarbon);
  const std::string first = first_body + "# two\n";
  std::string third =
      cif_block("third", cell_text(8, 8, 8), "", label_type_xyz(), "N1 N 0.5 0.5 0.5");
  // Of one length, so that swapping them leaves every block boundary where it was.
  ASSERT_GE(first.size(), third.size() + 2);
  third += "#" + std::string(first.size() - third.size() - 2, 'x') + "\n";
  ASSERT_EQ(first.size(), third.size());
  testing::TempDir dir;
  auto plain = dir.write("multi.cif", global + first + third);
  auto gz = dir.path() / "multi.cif.gz";
  gzFile f = gzopen(gz.string().c_str(), "wb");
  ASSERT_NE(f, nullptr);
  const std::string text = global + first + third;
  gzwrite(f, text.data(), static_cast<unsigned>(text.size()));
  gzclose(f);
  for (const auto& path : {plain, gz}) {
    auto blocks = list_cif_blocks(path.string());
    ASSERT_EQ(blocks.size(), 3u);
    EXPECT_EQ(blocks[1].range.offset, global.size());
    EXPECT_EQ(blocks[1].range.length, first.size());
    EXPECT_EQ(blocks[1].range.first_line, 3);
    EXPECT_DOUBLE_EQ(read_crystal(blocks[1])->a(), 5.0) << path;
    EXPECT_DOUBLE_EQ(read_crystal(blocks[2])->a(), 8.0) << path;
    EXPECT_EQ(read_crystal(blocks[2])->molecule(0)->atom(0)->element(), Element(Element::Nitrogen));
  }
  auto blocks = list_cif_blocks(plain.string());
  // The same size, the blocks in the other order: each range holds the other block.
  dir.write("multi.cif", global + third + first);
  EXPECT_DOUBLE_EQ(read_crystal(blocks[1])->a(), 5.0);
  EXPECT_DOUBLE_EQ(read_crystal(blocks[2])->a(), 8.0);
  // The same size, the first block shorter by a comment and the last longer: the range still
  // starts at the first block but no longer ends at the next.
  dir.write("multi.cif", global + first_body + "# 2\n" + third + "\n\n");
  EXPECT_DOUBLE_EQ(read_crystal(blocks[1])->a(), 5.0);
  EXPECT_DOUBLE_EQ(read_crystal(blocks[2])->a(), 8.0);
  // Grown: read whole.
  dir.write("multi.cif", global + "_journal_volume 12\n" + first + third);
  EXPECT_DOUBLE_EQ(read_crystal(blocks[2])->a(), 8.0);
  // Gone: an error, not a structure.
  std::filesystem::remove(plain);
  EXPECT_THROW(read_crystal(blocks[1]), CifError);
}

// The blocks of a file are listed in one pass that never holds the file whole, and a reader
// asked for them in file order reads the file once: a gzipped file of many blocks costs about
// what the plain one does, not a decompression from its start per block. A file of more blocks
// than any structure file holds (a small gzip of countless data_ lines) is refused when listed.
TEST(CifBlocks, ManyBlocksAreReadInOnePassAndTooManyAreRefused) {
  testing::TempDir dir;
  auto gzip = [&dir](const std::string& name, const std::string& text) {
    auto path = dir.path() / name;
    gzFile f = gzopen(path.string().c_str(), "wb");
    gzwrite(f, text.data(), static_cast<unsigned>(text.size()));
    gzclose(f);
    return path.string();
  };
  std::string text;
  const int n = 20000;
  for (int i = 0; i < n; ++i)
    text +=
        cif_block("b" + std::to_string(i), cell_text(5, 6, 7), "", label_type_xyz(), kOneCarbon);
  std::map<std::string, double> seconds;
  for (const std::string& path :
       {dir.write("many.cif", text).string(), gzip("many.cif.gz", text)}) {
    const auto start = std::chrono::steady_clock::now();
    auto blocks = list_cif_blocks(path);
    ASSERT_EQ(blocks.size(), static_cast<std::size_t>(n));
    CifFileReader reader(path);
    int read = 0;
    for (const auto& b : blocks)
      read += reader.read(b.block_name, b.index, b.range)->nmolecules();
    EXPECT_EQ(read, n) << path;
    // A search takes the blocks of the gzipped file as one run, those of the plain one singly.
    EXPECT_EQ(CifDatabase({path}).run_end(0), blocks[0].range.compressed ? n : 1) << path;
    seconds[path.substr(path.size() - 3)] =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
  EXPECT_LT(seconds[".gz"], 3 * seconds["cif"] + 0.2) << seconds["cif"];

  std::string tiny;
  for (int i = 0; i <= max_cif_blocks_per_file; ++i)
    tiny += "data_x\n";
  const std::string countless = gzip("countless.cif.gz", tiny);
  try {
    list_cif_blocks(countless);
    ADD_FAILURE() << "listed";
  } catch (const CifError& e) {
    EXPECT_EQ(std::string(e.what()), countless + ": more than " +
                                         std::to_string(max_cif_blocks_per_file) +
                                         " data blocks in one file");
  }
}

TEST(CifBlocks, TextFieldsMayHoldDataLines) {
  std::string block = "data_one\n_publ_section_abstract\n;\ndata_not_a_block\n;\n" +
                      cell_text(5, 6, 7) + "loop_\n" + label_type_xyz() + "\n" + kOneCarbon +
                      "\n";
  testing::TempDir dir;
  auto path = dir.write("text.cif", block);
  auto blocks = list_cif_blocks(path.string());
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(blocks[0].block_name, "one");
}

TEST(CifBlocks, ByteOrderMarkBeforeTheFirstBlock) {
  const std::string text =
      "\xEF\xBB\xBF" + cif_block("bom", cell_text(5, 6, 7), "", label_type_xyz(), kOneCarbon);
  auto cm = read_crystal_from_string(text, "bom.cif");
  EXPECT_DOUBLE_EQ(cm->c(), 7.0);
}

TEST(CifBlocks, GzippedFileReadsLikeThePlainOne) {
  auto plain = testing::require_data("curated/acid__2300214-r274507.cif");
  const std::string text = testing::read_text(plain);
  ASSERT_FALSE(text.empty());
  testing::TempDir dir;
  auto gz = dir.path() / "2300214.cif.gz";
  gzFile f = gzopen(gz.string().c_str(), "wb");
  ASSERT_NE(f, nullptr);
  ASSERT_EQ(gzwrite(f, text.data(), static_cast<unsigned>(text.size())),
            static_cast<int>(text.size()));
  gzclose(f);
  auto blocks = list_cif_blocks(gz.string());
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(blocks[0].block_name, "2300214");
  auto cm = read_crystal(gz.string(), "2300214");
  ASSERT_EQ(cm->nmolecules(), 1);
  EXPECT_EQ(cm->molecule(0)->formula(), "C13 H18 O2");
}

// ---- real files ---------------------------------------------------------------------------------

TEST(CifRealFiles, IbuprofenCellAndSymmetry) {
  auto path = testing::require_data("curated/acid__2300214-r274507.cif");
  auto cm = read_crystal(path.string(), "");
  EXPECT_DOUBLE_EQ(cm->a(), 14.6662);
  EXPECT_DOUBLE_EQ(cm->b(), 7.8879);
  EXPECT_DOUBLE_EQ(cm->c(), 10.7275);
  EXPECT_DOUBLE_EQ(cm->beta(), 99.432);
  expect_same_operators(*cm, p21c());
  EXPECT_TRUE(cm->has_hydrogen_sites());
  EXPECT_FALSE(cm->is_polymeric());
  EXPECT_TRUE(cm->warnings().empty());
}

TEST(CifRealFiles, ParserVariantsKeepTheirCells) {
  struct Case {
    const char* file;
    double a, beta, r;
    const char* formula;
  } cases[] = {
      {"curated/amide__7105573-no-Z.cif", 7.0907, 97.844, 0.021, "C8 H9 N O2"},
      {"curated/amide__2100438-cell-vol.cif", 7.2437, 101.214, 0.0719, "C4 H8 N2 O3"},
      {"curated/acid__4022630-degrees-cendigrades.cif", 5.2387, 109.540, 0.0807,
       "C11 H16 O4"},
  };
  for (const Case& c : cases) {
    auto cm = read_crystal(testing::require_data(c.file).string(), "");
    EXPECT_DOUBLE_EQ(cm->a(), c.a) << c.file;
    EXPECT_DOUBLE_EQ(cm->beta(), c.beta) << c.file;
    EXPECT_DOUBLE_EQ(cm->r_factor(), c.r) << c.file;
    EXPECT_EQ(cm->symmetry_operators().size(), 4u) << c.file;
    ASSERT_EQ(cm->nmolecules(), 1) << c.file;
    EXPECT_EQ(cm->molecule(0)->formula(), c.formula) << c.file;
  }
}

TEST(CifRealFiles, NewerSymopLoopStyle) {
  auto cm =
      read_crystal(testing::require_data("curated/quirk__4082565-r190286.cif").string(), "");
  // P 21 21 21, written in the _space_group_symop_operation_xyz loop.
  expect_same_operators(*cm, {CrystalSymmetryOperator::from_xyz("x,y,z"),
                              CrystalSymmetryOperator::from_xyz("-x+1/2,-y,z+1/2"),
                              CrystalSymmetryOperator::from_xyz("x+1/2,-y+1/2,-z"),
                              CrystalSymmetryOperator::from_xyz("-x,y+1/2,-z+1/2")});
  EXPECT_FALSE(has_warning_containing(*cm, "symmetry taken"));
}

TEST(CifRealFiles, MultiBlockFileOfSevenStructures) {
  auto path = testing::require_data("curated/hydrate__bs5068.cif").string();
  auto blocks = list_cif_blocks(path);
  int with_sites = 0;
  for (const auto& b : blocks)
    if (b.has_atom_sites) {
      ++with_sites;
      auto cm = read_crystal(path, b.block_name);
      EXPECT_GT(cm->nmolecules(), 0) << b.block_name;
    }
  EXPECT_EQ(with_sites, 7);
}

} // namespace
} // namespace xtalmotif
