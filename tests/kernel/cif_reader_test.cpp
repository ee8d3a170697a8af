// Reading CIF data blocks: symmetry in all its spellings, numbers in every form, elements from
// type symbols and labels, multi-block and gzipped files, and the messages of files that cannot
// be read.

#include "kernel/cif_reader.h"
#include "kernel/crystal_builder.h"
#include "kernel/database.h"

#include "kernel_test_support.h"
#include "test_data.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <map>

namespace xtalmotif {
namespace {

using testing::cell_text;
using testing::cif_block;
using testing::find_atom;
using testing::label_type_xyz;

const char* kOneCarbon = "C1 C 0.1 0.2 0.3";
const std::vector<std::string> kP21c = {"x,y,z", "-x,y+1/2,-z+1/2", "-x,-y,-z", "x,-y+1/2,z+1/2"};

THandle<CrystalMaker> one_block(const std::string& cell, const std::string& symmetry,
                                const std::string& rows, const std::string& tags = label_type_xyz(),
                                const std::string& extra = "") {
  return read_crystal_from_string(cif_block("b", cell, symmetry, tags, rows, extra), "b.cif");
}

std::string warnings_of(const CrystalMaker& cm) {
  std::string all;
  for (const auto& w : cm.warnings())
    all += w + "\n";
  return all;
}

void expect_operators(const CrystalMaker& cm, const std::vector<std::string>& xyz) {
  const auto& ops = cm.symmetry_operators();
  ASSERT_EQ(ops.size(), xyz.size());
  EXPECT_TRUE(ops[0].is_identity());
  for (const auto& e : xyz)
    EXPECT_NE(std::find(ops.begin(), ops.end(), CrystalSymmetryOperator::from_xyz(e)), ops.end())
        << e;
}

void gzip(const std::filesystem::path& path, const std::string& text) {
  gzFile f = gzopen(path.string().c_str(), "wb");
  ASSERT_NE(f, nullptr);
  gzwrite(f, text.data(), static_cast<unsigned>(text.size()));
  gzclose(f);
}

// ---- symmetry ---------------------------------------------------------------------------------

TEST(CifSymmetry, EverySpellingGivesTheOperatorsAndSaysWhereTheyCameFrom) {
  const std::string mono = cell_text(7.0, 8.0, 9.0, 90, 105.5, 90);
  const struct {
    std::string cell, symmetry;
    std::vector<std::string> ops; // or only their number
    std::size_t n;
    const char* warning; // "" for none at all
  } cases[] = {
      {mono, "loop_\n_symmetry_equiv_pos_as_xyz\n'x, y, z'\n'-x, 0.5+y, 0.5-z'\n'-x, -y, -z'\n"
             "'x, 0.50-y, 0.500+z'\n", kP21c, 4, ""},
      {mono, "loop_\n_space_group_symop.id\n_space_group_symop.operation_xyz\n1 x,y,z\n"
             "2 -x,y+1/2,-z+1/2\n3 -x,-y,-z\n4 x,-y+1/2,z+1/2\n", kP21c, 4, ""},
      {mono, "_space_group_symop_operation_xyz 'x, y, z'\n", {}, 1, ""},
      {mono, "_symmetry_space_group_name_Hall '-P 2ybc'", kP21c, 4, "Hall"},
      {mono, "_space_group_name_H-M_alt 'P 1 21/c 1'", kP21c, 4, "Hermann-Mauguin"},
      {mono, "_space_group_IT_number 14", kP21c, 4, "number"},
      {mono, "_symmetry_space_group_name_H-M 'C 2/c'", {}, 8, "Hermann-Mauguin"},
      {mono, "", {}, 1, "P1"},
      // y,-x is a fourfold rotation, no operator of R3: the list gives way to the symbol, whose
      // hexagonal setting has three rotations times three centring vectors.
      {cell_text(22.4, 22.4, 6.4, 90, 90, 120),
       "_symmetry_space_group_name_H-M 'R 3'\nloop_\n_symmetry_equiv_pos_as_xyz\nx,y,z\n"
       "-y,x-y,z\n-x+y,-x,z\ny,-x,z\n", {}, 9, "not used"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.symmetry);
    auto cm = one_block(c.cell, c.symmetry, kOneCarbon);
    if (c.ops.empty())
      EXPECT_EQ(cm->symmetry_operators().size(), c.n);
    else
      expect_operators(*cm, c.ops);
    if (*c.warning)
      EXPECT_NE(warnings_of(*cm).find(c.warning), std::string::npos) << warnings_of(*cm);
    else
      EXPECT_EQ(warnings_of(*cm), "");
  }
}

// ---- numbers, tags, flags ---------------------------------------------------------------------

// A number reads as the nearest double to its decimal value, whatever its form: short decimals
// and long or unusual ones are read by different code, and both must agree with the C library.
TEST(CifValues, NumbersInEveryFormReadToTheNearestDouble) {
  for (const char* form :
       {"0.25", ".5", "5.e-1", "+0.125", "0.1234(5)", "0.2()", "2.5E-1", "25e-2", "0.375e+0",
        "1e-30", "0.3333333333333333333333", "0.12345678901234567",
        "0.0000000000000000000000001234", "0.1000000000000000055511151231257827"}) {
    const std::string text = form;
    auto cm = one_block(cell_text(20, 20, 20), "", "C1 C " + text + " 0.5 0.5");
    EXPECT_EQ(cm->molecule(0)->atom(0)->site()->fractional()[0],
              std::strtod(text.substr(0, text.find('(')).c_str(), nullptr))
        << form;
  }
  for (const char* form :
       {"0.5(3", "1e", "1e+", "0.5x", "--0.5", "'0.5'", "inf", "nan", "-", "e5", ".", "?", "0.5(3)4"})
    EXPECT_NE(warnings_of(*one_block(cell_text(20, 20, 20), "",
                                     std::string("C1 C 0.1 0.1 0.1\nC9 C ") + form + " 0.5 0.5"))
                  .find("1 atom site(s) without coordinates skipped (first: C9)"),
              std::string::npos)
        << form;
  // Cell lengths with standard uncertainties; the R factor of the observed reflections before
  // that of all, a negative one passed over, one in percent scaled, none at all negative.
  auto cm = one_block("_cell_length_a 12.345(6)\n_cell_length_b 7.8879(4)\n_cell_length_c "
                      "10.7275(14)\n_cell_angle_alpha 90\n_cell_angle_beta 99.432(3)\n"
                      "_cell_angle_gamma 90.00\n_refine_ls_R_factor_all 0.0600\n"
                      "_refine_ls_R_factor_gt -1.5E-2\n_refine_ls_R_factor_obs 4.5e-2(3)\n",
                      "", kOneCarbon);
  EXPECT_EQ(cm->a(), 12.345);
  EXPECT_EQ(cm->c(), 10.7275);
  EXPECT_EQ(cm->beta(), 99.432);
  EXPECT_EQ(cm->r_factor(), std::strtod("4.5e-2", nullptr));
  EXPECT_DOUBLE_EQ(
      one_block(cell_text(5, 6, 7) + "_refine_ls_R_factor_gt 4.12\n", "", kOneCarbon)->r_factor(),
      0.0412);
  EXPECT_LT(one_block(cell_text(5, 6, 7), "", kOneCarbon)->r_factor(), 0);
}

// Tags in any case and with '.' for '_'; a tag given twice counts once, as first written.
TEST(CifValues, TagsInAnyCaseAndSpellingFirstOccurrenceKept) {
  auto cm = one_block("_CELL_LENGTH_A 11\n_Cell.Length_B 12\n_cell_length_c 13\n"
                      "_cell_length_a 99\n_cell_angle_alpha 90\n_cell.angle_beta 100\n"
                      "_cell_angle_gamma 90\n",
                      "", kOneCarbon,
                      "_ATOM_SITE_LABEL\n_atom_site.type_symbol\n_Atom_Site_Fract_X\n"
                      "_atom_site.fract_y\n_atom_site_fract_z");
  EXPECT_EQ(cm->a(), 11.0);
  EXPECT_EQ(cm->b(), 12.0);
  EXPECT_EQ(cm->beta(), 100.0);
  EXPECT_TRUE(find_atom(*cm, "C1").found());
}

// Disorder groups: whole numbers with a sign, letters for alternatives, anything else no group;
// refinement flags with a "P"; dummy sites left out, in any quoting.
TEST(CifValues, DisorderGroupsFlagsAndDummySites) {
  const std::pair<std::string, bool> cases[] = {
      {"_atom_site_disorder_group 0", false},  {"_atom_site_disorder_group +0", false},
      {"_atom_site_disorder_group -0", false}, {"_atom_site_disorder_group '0 '", false},
      {"_atom_site_disorder_group .", false},  {"_atom_site_disorder_group '-'", false},
      {"_atom_site_disorder_group 0x", false}, {"_atom_site_disorder_group 2", true},
      {"_atom_site_disorder_group -1", true},  {"_atom_site_disorder_group A", true},
      {"_atom_site_disorder_group x0", true},  {"_atom_site_disorder_group '+3'", true},
      {"_atom_site_disorder_group 99999999999999999999", true},
      {"_atom_site_refinement_flags P", true}, {"_atom_site_refinement_flags \"DP\"", true},
      {"_atom_site_refinement_flags_occupancy 'P'", true},
      {"_atom_site_refinement_flags D", false}, {"_atom_site_refinement_flags p", false}};
  for (const auto& [tag_value, disordered] : cases) {
    const std::string tag = tag_value.substr(0, tag_value.find(' '));
    const std::string value = tag_value.substr(tag_value.find(' ') + 1);
    auto cm = one_block(cell_text(20, 20, 20), "", "C1 C 0.1 0.1 0.1 " + value,
                        label_type_xyz("\n" + tag));
    EXPECT_EQ(cm->has_disorder(), disordered) << tag_value;
  }
  auto cm = one_block(cell_text(20, 20, 20), "",
                      "C1 C 0.1 0.1 0.1 d\nC2 C 0.5 0.5 0.5 'DUM'\nC3 C 0.3 0.7 0.2 dum\n"
                      "C4 C 0.7 0.3 0.2 dummy\nC5 C 0.2 0.2 0.7 calc",
                      label_type_xyz("\n_atom_site_calc_flag"));
  for (const char* label : {"C1", "C2", "C3", "C4", "C5"})
    EXPECT_EQ(find_atom(*cm, label).found(), label[1] != '2' && label[1] != '3') << label;
}

// ---- elements -------------------------------------------------------------------------------

TEST(CifElements, FromLabelsInTheOrganicSenseAndFromTypeSymbolsWithCharges) {
  // No type symbols; atoms 4 A apart in a 20 A cube so that none is bonded to another.
  const std::string tags = "_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n"
                           "_atom_site_fract_z";
  auto cm = one_block(cell_text(20, 20, 20), "",
                      "HN1 0.0 0.0 0.0\nHA 0.2 0.0 0.0\nH12A 0.4 0.0 0.0\nOW1 0.6 0.0 0.0\n"
                      "Wat1 0.8 0.0 0.0\nCA1 0.0 0.2 0.0\nCl1 0.2 0.2 0.0\nCL2 0.4 0.2 0.0\n"
                      "D1 0.6 0.2 0.0\nBr1 0.8 0.2 0.0\nN1 0.0 0.4 0.0\n",
                      tags, "_chemical_formula_sum 'C H N O Cl Br'\n");
  const std::pair<const char*, const char*> expected[] = {
      {"HN1", "H"}, {"HA", "H"},  {"H12A", "H"}, {"OW1", "O"}, {"Wat1", "O"}, {"CA1", "C"},
      {"Cl1", "Cl"}, {"CL2", "Cl"}, {"D1", "D"}, {"Br1", "Br"}, {"N1", "N"}};
  for (const auto& [label, symbol] : expected) {
    auto r = find_atom(*cm, label);
    ASSERT_TRUE(r.found()) << label;
    EXPECT_EQ(cm->molecule(r.molecule)->atom(r.atom)->element().symbol(), symbol) << label;
  }
  // CA is calcium when the formula has calcium.
  auto ca = one_block(cell_text(20, 20, 20), "", "CA1 0.0 0.0 0.0\nC1 0.5 0.5 0.5", tags,
                      "_chemical_formula_sum 'C2 H4 Ca O4'\n");
  const auto r = find_atom(*ca, "CA1");
  EXPECT_EQ(ca->molecule(r.molecule)->atom(r.atom)->element().symbol(), "Ca");

  const std::tuple<const char*, const char*, int> types[] = {
      {"O2-", "O", -2}, {"Ag1+", "Ag", 1}, {"N+", "N", 1}, {"Fe3+", "Fe", 3}, {"CL", "Cl", 0},
      {"Q", "X", 0}};
  for (const auto& [type, symbol, charge] : types) {
    int q = 0;
    EXPECT_EQ(CrystalBuilder::element_from_type_symbol(type, {}, &q).symbol(), symbol) << type;
    EXPECT_EQ(q, charge) << type;
  }
  // Isolated ions keep their charges.
  auto ions = one_block(cell_text(20, 20, 20), "", "Ag1 Ag1+ 0.0 0.0 0.0\nCl1 Cl1- 0.5 0.5 0.5");
  for (const auto& [label, charge] : {std::make_pair("Ag1", 1), std::make_pair("Cl1", -1)}) {
    auto r = find_atom(*ions, label);
    ASSERT_TRUE(r.found());
    EXPECT_EQ(ions->molecule(r.molecule)->atom(r.atom)->formal_charge(), charge);
  }
}

// ---- errors and blocks --------------------------------------------------------------------------

TEST(CifErrors, MessagesNameFileBlockAndProblem) {
  const std::pair<std::string, std::string> cases[] = {
      {"data_2300214\n_cell_length_a 5\n_cell_length_b 5\n_cell_length_c 5\nloop_\n"
       "_atom_site_label\n_atom_site_type_symbol\nC1 C\n",
       "x.cif: block 2300214: no atom sites with coordinates"},
      {cif_block("nocell", "", "", label_type_xyz(), kOneCarbon), "x.cif: block nocell: _cell_length_a"},
      // A stray exponent would overflow the geometry.
      {cif_block("huge", cell_text(5, 5e26, 5), "", label_type_xyz(), kOneCarbon),
       "x.cif: block huge: _cell_length_b of 5e+26 A is longer than any crystal's cell"},
      {"no block here\n", "x.cif"}};
  for (const auto& [text, message] : cases)
    try {
      read_crystal_from_string(text, "x.cif");
      ADD_FAILURE() << "no error for " << message;
    } catch (const CifError& e) {
      EXPECT_EQ(std::string(e.what()).rfind(message, 0), 0u) << e.what();
    }
  EXPECT_THROW(read_crystal_from_string(cif_block("a", cell_text(5, 5, 5), "", label_type_xyz(),
                                                  kOneCarbon),
                                        "w.cif", "missing"),
               CifError);
  EXPECT_THROW(read_crystal("/nonexistent/folder/file.cif", ""), CifError);
}

TEST(CifBlocks, ABrokenBlockFailsAloneAndNamesItsLine) {
  const std::string good1 = cif_block("first", cell_text(5, 6, 7), "", label_type_xyz(), kOneCarbon);
  // Line 4 of this block has an unterminated quote; a text field may hold a data_ line.
  const std::string broken = "data_broken\n_cell_length_a 5\n_cell_length_b 5\n"
                             "_chemical_name_common 'unterminated\n";
  const std::string good2 = "data_third\n_publ_section_abstract\n;\ndata_not_a_block\n;\n" +
                            cell_text(8, 8, 8) + "loop_\n" + label_type_xyz() + "\nN1 N 0.5 0.5 0.5\n";
  testing::ScratchDir dir;
  const auto path = (dir / "multi.cif").string();
  testing::write_text(path, "\xEF\xBB\xBF" "data_global\n_journal_year 2020\n" + good1 + broken + good2);
  auto blocks = list_cif_blocks(path);
  ASSERT_EQ(blocks.size(), 4u);
  EXPECT_EQ(blocks[0].block_name, "global");
  EXPECT_FALSE(blocks[0].has_atom_sites);
  EXPECT_EQ(blocks[2].block_name, "broken");
  EXPECT_EQ(blocks[3].block_name, "third");
  EXPECT_EQ(blocks[3].index, 3);
  EXPECT_EQ(read_crystal(path, "third")->a(), 8.0);
  EXPECT_EQ(read_crystal(path, "")->a(), 5.0); // the first block with atom sites
  // By name from the whole file, and from the block's own place in it: the file's line number
  // counts the two global lines and the first block.
  const int line = 2 + static_cast<int>(std::count(good1.begin(), good1.end(), '\n')) + 4;
  for (int by_place = 0; by_place < 2; ++by_place)
    try {
      by_place ? read_crystal(blocks[2]) : read_crystal(path, "broken");
      ADD_FAILURE() << "no exception";
    } catch (const CifError& e) {
      EXPECT_EQ(std::string(e.what()).rfind(path + ": block broken: ", 0), 0u) << e.what();
      EXPECT_NE(std::string(e.what()).find("line " + std::to_string(line)), std::string::npos)
          << e.what();
    }
}

// A listed block is read from its place in the file alone; a file changed since it was listed
// is read whole and the block found by name, so the structure is always the one named.
TEST(CifBlocks, ABlockIsReadFromItsPlaceInTheFile) {
  const std::string global = "data_global\n_journal_year 2020\n";
  const std::string first_body = cif_block("first", cell_text(5, 6, 7), "", label_type_xyz(), kOneCarbon);
  const std::string first = first_body + "# two\n";
  std::string third = cif_block("third", cell_text(8, 8, 8), "", label_type_xyz(), "N1 N 0.5 0.5 0.5");
  // Of one length, so that swapping them leaves every block boundary where it was.
  third += "#" + std::string(first.size() - third.size() - 2, 'x') + "\n";
  ASSERT_EQ(first.size(), third.size());
  testing::ScratchDir dir;
  const auto plain = dir / "multi.cif", gz = dir / "multi.cif.gz";
  testing::write_text(plain, global + first + third);
  gzip(gz, global + first + third);
  for (const auto& path : {plain, gz}) {
    auto blocks = list_cif_blocks(path.string());
    ASSERT_EQ(blocks.size(), 3u);
    EXPECT_EQ(blocks[1].range.offset, global.size());
    EXPECT_EQ(blocks[1].range.length, first.size());
    EXPECT_EQ(blocks[1].range.first_line, 3);
    EXPECT_EQ(read_crystal(blocks[1])->a(), 5.0) << path;
    EXPECT_EQ(read_crystal(blocks[2])->molecule(0)->atom(0)->element(), Element(Element::Nitrogen));
  }
  auto blocks = list_cif_blocks(plain.string());
  for (const std::string& changed :
       {global + third + first,                         // same size, each range the other block
        global + first_body + "# 2\n" + third + "\n\n", // same size, the boundary moved
        global + "_journal_volume 12\n" + first + third}) { // grown
    testing::write_text(plain, changed);
    EXPECT_EQ(read_crystal(blocks[1])->a(), 5.0);
    EXPECT_EQ(read_crystal(blocks[2])->a(), 8.0);
  }
  std::filesystem::remove(plain);
  EXPECT_THROW(read_crystal(blocks[1]), CifError);
}

// The blocks of a file are listed in one pass that never holds the file whole, and a reader
// asked for them in file order reads the file once: a gzipped file of many blocks costs about
// what the plain one does, not a decompression from its start per block. A small gzip of
// countless data_ lines is refused when listed.
TEST(CifBlocks, ManyBlocksAreReadInOnePassAndTooManyAreRefused) {
  testing::ScratchDir dir;
  std::string text;
  const int n = 20000;
  for (int i = 0; i < n; ++i)
    text += cif_block("b" + std::to_string(i), cell_text(5, 6, 7), "", label_type_xyz(), kOneCarbon);
  testing::write_text(dir / "many.cif", text);
  gzip(dir / "many.cif.gz", text);
  std::map<std::string, double> seconds;
  for (const char* name : {"many.cif", "many.cif.gz"}) {
    const std::string path = (dir / name).string();
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
    seconds[name] = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
  EXPECT_LT(seconds["many.cif.gz"], 3 * seconds["many.cif"] + 0.2) << seconds["many.cif"];

  std::string tiny;
  for (int i = 0; i <= max_cif_blocks_per_file; ++i)
    tiny += "data_x\n";
  gzip(dir / "countless.cif.gz", tiny);
  const std::string countless = (dir / "countless.cif.gz").string();
  try {
    list_cif_blocks(countless);
    ADD_FAILURE() << "listed";
  } catch (const CifError& e) {
    EXPECT_EQ(std::string(e.what()), countless + ": more than " +
                                         std::to_string(max_cif_blocks_per_file) +
                                         " data blocks in one file");
  }
}

// ---- real files ---------------------------------------------------------------------------------

TEST(CifRealFiles, CellsSymmetryAndMoleculesOfParserVariants) {
  const struct {
    const char* file;
    double a, beta, r;
    const char* formula;
    std::vector<std::string> ops;
  } cases[] = {
      {"acid__2300214-r274507.cif", 14.6662, 99.432, -1, "C13 H18 O2", kP21c},
      {"amide__7105573-no-Z.cif", 7.0907, 97.844, 0.021, "C8 H9 N O2", {}},
      {"amide__2100438-cell-vol.cif", 7.2437, 101.214, 0.0719, "C4 H8 N2 O3", {}},
      {"acid__4022630-degrees-cendigrades.cif", 5.2387, 109.540, 0.0807, "C11 H16 O4", {}},
      // P 21 21 21 in the _space_group_symop_operation_xyz loop.
      {"quirk__4082565-r190286.cif", 0, 90, 0, "",
       {"x,y,z", "-x+1/2,-y,z+1/2", "x+1/2,-y+1/2,-z", "-x,y+1/2,-z+1/2"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    auto cm = read_crystal(testing::require_data(std::string("curated/") + c.file).string(), "");
    EXPECT_EQ(cm->symmetry_operators().size(), 4u);
    if (!c.ops.empty())
      expect_operators(*cm, c.ops);
    if (!*c.formula)
      continue;
    EXPECT_EQ(cm->a(), c.a);
    EXPECT_EQ(cm->beta(), c.beta);
    EXPECT_DOUBLE_EQ(cm->r_factor(), c.r);
    EXPECT_EQ(testing::formulas(*cm), std::vector<std::string>{c.formula});
  }
  // Ibuprofen is read without a single remark.
  auto ibuprofen = read_crystal(testing::require_data("curated/acid__2300214-r274507.cif").string(), "");
  EXPECT_EQ(warnings_of(*ibuprofen), "");
  EXPECT_TRUE(ibuprofen->notices().empty());
}

} // namespace
} // namespace xtalmotif
