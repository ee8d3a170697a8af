// Reading CIF data blocks: symmetry in all its spellings, numbers in every form, flags, elements
// from type symbols and labels, multi-block and gzipped files, and the messages of files that
// cannot be read.

#include "crystal/cif_reader.h"
#include "crystal/crystal_builder.h"
#include "db/database.h"

#include "kernel_test_support.h"
#include "test_data.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

namespace xtalmotif {
namespace {

using testing::find_atom;

const char* kXyz = "_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n"
                   "_atom_site_fract_y\n_atom_site_fract_z";
const char* kOneCarbon = "C1 C 0.1 0.2 0.3";

std::string cell(double a, double b, double c, double beta = 90, double gamma = 90) {
  std::ostringstream os;
  os << "_cell_length_a " << a << "\n_cell_length_b " << b << "\n_cell_length_c " << c
     << "\n_cell_angle_alpha 90\n_cell_angle_beta " << beta << "\n_cell_angle_gamma " << gamma
     << "\n";
  return os.str();
}

std::string block(const std::string& name, const std::string& head, const std::string& rows,
                  const std::string& tags = kXyz) {
  return "data_" + name + "\n" + head + "\nloop_\n" + tags + "\n" + rows + "\n";
}

THandle<CrystalMaker> read(const std::string& head, const std::string& rows,
                           const std::string& tags = kXyz) {
  return read_crystal_from_string(block("b", head, rows, tags), "b.cif");
}

std::string remarks(const CrystalMaker& cm) {
  std::string all;
  for (const auto* said : {&cm.warnings(), &cm.notices()})
    for (const auto& w : *said)
      all += w + "\n";
  return all;
}

std::string element_of(const CrystalMaker& cm, const std::string& label) {
  const auto [m, a] = find_atom(cm, label);
  return m < 0 ? "none" : cm.molecule(m)->atom(a)->element().symbol();
}

TEST(CifSymmetry, EverySpellingGivesTheOperatorsAndSaysWhereTheyCameFrom) {
  const std::vector<std::string> p21c = {"x,y,z", "-x,y+1/2,-z+1/2", "-x,-y,-z", "x,-y+1/2,z+1/2"};
  const struct {
    std::string symmetry;
    std::size_t n;
    const char* remark; // "" for none at all
  } cases[] = {
      {"loop_\n_symmetry_equiv_pos_as_xyz\n'x, y, z'\n'-x, 0.5+y, 0.5-z'\n'-x, -y, -z'\n"
       "'x, 0.50-y, 0.500+z'\n", 4, ""},
      {"loop_\n_space_group_symop.id\n_space_group_symop.operation_xyz\n1 x,y,z\n"
       "2 -x,y+1/2,-z+1/2\n3 -x,-y,-z\n4 x,-y+1/2,z+1/2\n", 4, ""},
      {"_symmetry_space_group_name_Hall '-P 2ybc'", 4, "Hall"},
      {"_space_group_name_H-M_alt 'P 1 21/c 1'", 4, "Hermann-Mauguin"},
      {"_space_group_IT_number 14", 4, "number"},
      {"_space_group_symop_operation_xyz 'x, y, z'\n", 1, ""},
      {"_symmetry_space_group_name_H-M 'C 2/c'", 8, "Hermann-Mauguin"},
      {"", 1, "P1"},
      // y,-x is a fourfold rotation, no operator of R3: the list gives way to the symbol, whose
      // hexagonal setting has three rotations times three centring vectors.
      {"_symmetry_space_group_name_H-M 'R 3'\nloop_\n_symmetry_equiv_pos_as_xyz\nx,y,z\n"
       "-y,x-y,z\n-x+y,-x,z\ny,-x,z\n", 9, "not used"}};
  for (const auto& c : cases) {
    auto cm = read((c.n == 9 ? cell(22.4, 22.4, 6.4, 90, 120) : cell(7, 8, 9, 105.5)) + c.symmetry,
                   kOneCarbon);
    const auto& ops = cm->symmetry_operators();
    EXPECT_EQ(ops.size(), c.n) << c.symmetry;
    EXPECT_TRUE(ops[0].is_identity());
    for (std::size_t k = 0; c.n == 4 && k < 4; ++k)
      EXPECT_EQ(std::count(ops.begin(), ops.end(), CrystalSymmetryOperator::from_xyz(p21c[k])), 1)
          << c.symmetry;
    EXPECT_TRUE(*c.remark ? remarks(*cm).find(c.remark) != std::string::npos : remarks(*cm).empty())
        << remarks(*cm);
  }
}

// A number reads as the nearest double to its decimal value, whatever its form: short decimals
// and long or unusual ones are read by different code, and both must agree with the C library.
TEST(CifValues, NumbersInEveryFormAndTextsThatAreNone) {
  for (std::string form :
       {"0.25", ".5", "5.e-1", "+0.125", "0.1234(5)", "0.2()", "2.5E-1", "25e-2", "0.375e+0",
        "1e-30", "0.3333333333333333333333", "0.12345678901234567",
        "0.0000000000000000000000001234", "0.1000000000000000055511151231257827"})
    EXPECT_EQ(read(cell(20, 20, 20), "C1 C " + form + " 0.5 0.5")
                  ->molecule(0)->atom(0)->site()->fractional()[0],
              std::strtod(form.substr(0, form.find('(')).c_str(), nullptr))
        << form;
  for (std::string form :
       {"0.5(3", "1e", "1e+", "0.5x", "--0.5", "'0.5'", "inf", "nan", "-", "e5", ".", "?",
        "0.5(3)4"})
    EXPECT_NE(remarks(*read(cell(20, 20, 20), "C1 C 0.1 0.1 0.1\nC9 C " + form + " 0.5 0.5"))
                  .find("\n1 atom site(s) without coordinates skipped (first: C9)\n"),
              std::string::npos)
        << form;
  // Cell lengths with standard uncertainties; tags in any case, '.' for '_', the first of a
  // repeated one kept; the R factor of the observed reflections first, a negative one passed
  // over, one in percent scaled.
  auto cm = read("_CELL_LENGTH_A 12.345(6)\n_Cell.Length_B 7.8879(4)\n_cell_length_c 10.7275(14)\n"
                 "_cell_length_a 99\n_cell_angle_alpha 90\n_cell.angle_beta 99.432(3)\n"
                 "_cell_angle_gamma 90.00\n_refine_ls_R_factor_all 0.0600\n"
                 "_refine_ls_R_factor_gt -1.5E-2\n_refine_ls_R_factor_obs 4.5e-2(3)\n",
                 kOneCarbon,
                 "_ATOM_SITE_LABEL\n_atom_site.type_symbol\n_Atom_Site_Fract_X\n"
                 "_atom_site.fract_y\n_atom_site_fract_z");
  EXPECT_EQ(cm->a(), 12.345);
  EXPECT_EQ(cm->b(), 7.8879);
  EXPECT_EQ(cm->beta(), 99.432);
  EXPECT_EQ(cm->r_factor(), std::strtod("4.5e-2", nullptr));
  EXPECT_DOUBLE_EQ(read(cell(5, 6, 7) + "_refine_ls_R_factor_gt 4.12\n", kOneCarbon)->r_factor(),
                   0.0412);
}

// Disorder groups: whole numbers with a sign, letters for alternatives, anything else no group;
// refinement flags with a "P"; dummy sites left out, in any quoting.
TEST(CifValues, DisorderGroupsFlagsAndDummySites) {
  // Values before the '|' leave the site ordered, those after it make it disordered.
  const std::pair<std::string, const char*> tags[] = {
      {"_atom_site_disorder_group", "0,+0,-0,'0 ',.,'-',0x,|2,-1,A,x0,'+3',99999999999999999999"},
      {"_atom_site_refinement_flags", ".,D,p,|P,\"DP\",'P'"},
      {"_atom_site_refinement_flags_occupancy", "D,|P"}};
  for (const auto& [tag, values] : tags) {
    std::istringstream words(values);
    bool disordered = false;
    for (std::string v; std::getline(words, v, ',');) {
      disordered |= v[0] == '|';
      const std::string value = v.substr(v[0] == '|');
      EXPECT_EQ(read(cell(20, 20, 20), "C1 C 0.1 0.1 0.1 " + value, std::string(kXyz) + "\n" + tag)
                    ->has_disorder(),
                disordered)
          << tag << " " << value;
    }
  }
  auto cm = read(cell(20, 20, 20),
                 "C1 C 0.1 0.1 0.1 d\nC2 C 0.5 0.5 0.5 'DUM'\nC3 C 0.3 0.7 0.2 dum\n"
                 "C4 C 0.7 0.3 0.2 dummy\nC5 C 0.2 0.2 0.7 calc",
                 std::string(kXyz) + "\n_atom_site_calc_flag");
  for (const char* label : {"C1", "C2", "C3", "C4", "C5"})
    EXPECT_EQ(element_of(*cm, label), label[1] == '2' || label[1] == '3' ? "none" : "C") << label;
}

TEST(CifElements, FromLabelsInTheOrganicSenseAndFromTypeSymbolsWithCharges) {
  // No type symbols; atoms 4 A apart in a 20 A cube so that none is bonded to another.
  const char* tags = "_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z";
  auto cm = read(cell(20, 20, 20) + "_chemical_formula_sum 'C H N O Cl Br'\n",
                 "HN1 0 0 0\nHA 0.2 0 0\nH12A 0.4 0 0\nOW1 0.6 0 0\nWat1 0.8 0 0\nCA1 0 0.2 0\n"
                 "Cl1 0.2 0.2 0\nCL2 0.4 0.2 0\nD1 0.6 0.2 0\nBr1 0.8 0.2 0\nN1 0 0.4 0\n",
                 tags);
  for (const auto& [label, symbol] : std::vector<std::pair<std::string, std::string>>{
           {"HN1", "H"}, {"HA", "H"}, {"H12A", "H"}, {"OW1", "O"}, {"Wat1", "O"}, {"CA1", "C"},
           {"Cl1", "Cl"}, {"CL2", "Cl"}, {"D1", "D"}, {"Br1", "Br"}, {"N1", "N"}})
    EXPECT_EQ(element_of(*cm, label), symbol) << label;
  // CA is calcium when the formula has calcium.
  auto ca = read(cell(20, 20, 20) + "_chemical_formula_sum 'C2 H4 Ca O4'\n",
                 "CA1 0 0 0\nC1 0.5 0.5 0.5", tags);
  EXPECT_EQ(element_of(*ca, "CA1"), "Ca");
  // Type symbols with charges; the charges of isolated metal and halide ions are kept.
  for (const auto& [type, symbol, charge] : std::vector<std::tuple<std::string, std::string, int>>{
           {"O2-", "O", -2}, {"Ag1+", "Ag", 1}, {"N+", "N", 1}, {"Fe3+", "Fe", 3}, {"CL", "Cl", 0},
           {"Q", "X", 0}}) {
    int q = 0;
    EXPECT_EQ(CrystalBuilder::element_from_type_symbol(type, {}, &q).symbol(), symbol) << type;
    EXPECT_EQ(q, charge) << type;
  }
  auto ions = read(cell(20, 20, 20), "Ag1 Ag1+ 0 0 0\nCl1 Cl1- 0.5 0.5 0.5");
  EXPECT_EQ(ions->molecule(find_atom(*ions, "Ag1").first)->atom(0)->formal_charge(), 1);
  EXPECT_EQ(ions->molecule(find_atom(*ions, "Cl1").first)->atom(0)->formal_charge(), -1);
}

TEST(CifErrors, MessagesNameFileBlockAndProblem) {
  const std::pair<std::string, std::string> cases[] = {
      {"data_2300214\n" + cell(5, 5, 5) + "loop_\n_atom_site_label\n_atom_site_type_symbol\nC1 C\n",
       "x.cif: block 2300214: no atom sites with coordinates"},
      {block("nocell", "", kOneCarbon), "x.cif: block nocell: _cell_length_a"},
      // A stray exponent would overflow the geometry.
      {block("huge", cell(5, 5e26, 5), kOneCarbon),
       "x.cif: block huge: _cell_length_b of 5e+26 A is longer than any crystal's cell"},
      {"no block here\n", "x.cif"}};
  for (const auto& [text, message] : cases)
    try {
      read_crystal_from_string(text, "x.cif");
      ADD_FAILURE() << "no error for " << message;
    } catch (const CifError& e) {
      EXPECT_EQ(std::string(e.what()).rfind(message, 0), 0u) << e.what();
    }
  EXPECT_THROW(read_crystal("/nonexistent/folder/file.cif", ""), CifError);
}

TEST(CifBlocks, ABrokenBlockFailsAloneAndNamesItsLine) {
  const std::string first = block("first", cell(5, 6, 7), kOneCarbon);
  // Line 4 of this block has an unterminated quote; a text field may hold a data_ line.
  const std::string broken = "data_broken\n_cell_length_a 5\n_cell_length_b 5\n"
                             "_chemical_name_common 'unterminated\n";
  const std::string third = block("third", "_publ_section_abstract\n;\ndata_not_a_block\n;\n" +
                                               cell(8, 8, 8), "N1 N 0.5 0.5 0.5");
  testing::ScratchDir dir;
  const auto path = (dir / "multi.cif").string();
  const std::string global = "\xEF\xBB\xBF" "data_global\n_journal_year 2020\n"; // and a BOM
  testing::write_text(path, global + first + broken + third);
  const auto blocks = list_cif_blocks(path);
  ASSERT_EQ(blocks.size(), 4u);
  EXPECT_FALSE(blocks[0].has_atom_sites);
  EXPECT_EQ(blocks[2].block_name + blocks[3].block_name, "brokenthird");
  EXPECT_EQ(blocks[3].index, 3);
  EXPECT_EQ(read_crystal(path, "third")->a(), 8.0);
  EXPECT_EQ(read_crystal(path, "")->a(), 5.0); // the first block with atom sites
  // By name from the whole file, and from the block's own place: the line counts the global
  // block's two lines and the first block.
  const int line = 2 + static_cast<int>(std::count(first.begin(), first.end(), '\n')) + 4;
  for (int by_place = 0; by_place < 2; ++by_place)
    try {
      by_place ? read_crystal(blocks[2]) : read_crystal(path, "broken");
      ADD_FAILURE() << "no exception";
    } catch (const CifError& e) {
      EXPECT_EQ(std::string(e.what()).rfind(path + ": block broken: ", 0), 0u) << e.what();
      EXPECT_NE(std::string(e.what()).find("line " + std::to_string(line)), std::string::npos);
    }
}

// Text fields the reader has no use for are passed over unparsed; one that holds a value it
// reads (the value of a tag alone on the line before, or of a loop whose header precedes it) is
// read, and a line number after a passed-over field is still the file's.
TEST(CifValues, TextFieldsAreReadWhereTheyHoldValuesAndLinesStayTheFilesLines) {
  const std::string reflections = "_shelx_hkl_file\n;\n   1   0   0  12.5   0.4\n"
                                  "loop_\n_atom_site_label\n   0   2   0   3.1   0.2\n;\n";
  const struct {
    std::string head;
    std::size_t operators;
  } cases[] = {
      {"_symmetry_space_group_name_H-M\n;P 1 21/c 1\n;\n" + reflections, 4},
      {reflections + "loop_\n_symmetry_equiv_pos_as_xyz\n_unused_note\n;x,y,z\n;\na\n"
                     "'-x,y+1/2,-z+1/2' b\n'-x,-y,-z' c\n'x,-y+1/2,z+1/2' d\n",
       4},
      {"# a note\n_iucr_refine_instructions_details\n\n;\nTITL x\nEND\n;\n", 1},
  };
  for (const auto& c : cases)
    EXPECT_EQ(read(cell(7, 8, 9, 105.5) + c.head, kOneCarbon)->symmetry_operators().size(),
              c.operators)
        << c.head;
  const std::string text =
      "data_late\n" + cell(5, 5, 5) + reflections + "_chemical_name_common 'unterminated\n";
  const auto line = std::count(text.begin(), text.end(), '\n');
  try {
    read_crystal_from_string(text, "x.cif");
    ADD_FAILURE() << "no error";
  } catch (const CifError& e) {
    EXPECT_NE(std::string(e.what()).find("line " + std::to_string(line) + ":"), std::string::npos)
        << e.what();
  }
}

// A listed block is read from its place in the file alone; a file changed since it was listed
// is read whole and the block found by name, so the structure is always the one named.
TEST(CifBlocks, ABlockIsReadFromItsPlaceInTheFile) {
  const std::string global = "data_global\n_journal_year 2020\n";
  const std::string first_body = block("first", cell(5, 6, 7), kOneCarbon);
  const std::string first = first_body + "# two\n";
  std::string third = block("third", cell(8, 8, 8), "N1 N 0.5 0.5 0.5");
  third += "#" + std::string(first.size() - third.size() - 2, 'x') + "\n"; // of one length
  testing::ScratchDir dir;
  const auto plain = dir / "multi.cif", gz = dir / "multi.cif.gz";
  testing::write_text(plain, global + first + third);
  testing::gzip(gz, global + first + third);
  for (const auto& path : {plain, gz}) {
    const auto blocks = list_cif_blocks(path.string());
    ASSERT_EQ(blocks.size(), 3u);
    EXPECT_EQ(read_crystal(blocks[1])->a(), 5.0) << path;
    EXPECT_EQ(read_crystal(blocks[2])->molecule(0)->atom(0)->element().symbol(), "N") << path;
    // A search reads the blocks of a gzipped file in one run, those of a plain one singly.
    EXPECT_EQ(CifDatabase({path.string()}).run_end(0), path == gz ? 2 : 1);
  }
  const auto blocks = list_cif_blocks(plain.string());
  for (const std::string& changed : {global + third + first, // each range the other block
                                     global + first_body + "# 2\n" + third + "\n\n", // moved
                                     global + "_journal_volume 12\n" + first + third}) { // grown
    testing::write_text(plain, changed);
    EXPECT_EQ(read_crystal(blocks[1])->a(), 5.0);
    EXPECT_EQ(read_crystal(blocks[2])->a(), 8.0);
  }
  std::filesystem::remove(plain);
  EXPECT_THROW(read_crystal(blocks[1]), CifError);
}

// Real files with quirks of their own (no Z, a cell volume, temperatures in degrees): cell,
// R factor and molecule, and not a single remark.
TEST(CifRealFiles, CellsAndMoleculesOfParserVariants) {
  const std::tuple<const char*, double, double, const char*> cases[] = {
      {"acid__2300214-r274507.cif", 14.6662, -1, "C13 H18 O2"},
      {"amide__7105573-no-Z.cif", 7.0907, 0.021, "C8 H9 N O2"},
      {"amide__2100438-cell-vol.cif", 7.2437, 0.0719, "C4 H8 N2 O3"},
      {"acid__4022630-degrees-cendigrades.cif", 5.2387, 0.0807, "C11 H16 O4"}};
  for (const auto& [file, a, r, formula] : cases) {
    auto cm = read_crystal(testing::require_data(std::string("curated/") + file).string(), "");
    EXPECT_EQ(cm->a(), a) << file;
    EXPECT_DOUBLE_EQ(cm->r_factor(), r) << file;
    EXPECT_EQ(testing::formulas(*cm), std::vector<std::string>{formula}) << file;
    EXPECT_EQ(remarks(*cm), "") << file;
  }
}

} // namespace
} // namespace xtalmotif
