// Whole connectivity query files: which lines are records, how atoms fall into substructures,
// the motif made of them, and files that are malformed, enormous or not text at all.

#include "files/con_file.h"

#include "motif/motif.h"
#include "scratch_file.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

using testing::missing_path;
using testing::ScratchFile;

ConFile read_text(const std::string &text) {
  ScratchFile f(text);
  ConFile con;
  EXPECT_TRUE(con.read(f.path()));
  return con;
}

/// The records read: "AT1:C BO1-2:2 VDW4-6 ANG3-4-6".
std::string records(const ConFile &con) {
  std::ostringstream os;
  for (const auto &a : con.atoms())
    os << "AT" << a.number() << ":" << a.element_text() << " ";
  for (const auto &b : con.bonds())
    os << "BO" << b.atom_a() << "-" << b.atom_b() << ":" << b.type_code() << " ";
  for (const auto &c : con.contacts())
    os << "VDW" << c.atom_a() << "-" << c.atom_b() << " ";
  for (const auto &g : con.angles())
    os << "ANG" << g.atom_1() << "-" << g.atom_2() << "-" << g.atom_3() << " ";
  return os.str();
}

/// The motif: each substructure's elements and bond count ("COOH/3"), then the contacts
/// ("0.3>1.1", substructure.atom) and the angles ("0.2-0.3-1.1").
std::string motif_text(const Motif &m) {
  std::ostringstream os;
  for (const auto &s : *m.substructures()) {
    for (int i = 0; i < s->nnodes(); ++i)
      os << s->node(i)->elements().at(0).symbol();
    os << "/" << s->nedges() << " ";
  }
  for (const auto &c : *m.contacts())
    os << c->from_substructure() << "." << c->from_atom() << ">" << c->to_substructure() << "."
       << c->to_atom() << " ";
  for (const auto &a : *m.angle_constraints())
    for (int k = 0; k < 3; ++k)
      os << a->substructure(k) << "." << a->atom(k) << (k < 2 ? "-" : " ");
  return os.str();
}

const std::string acid_dimer = "Carboxylic acid dimer\n"
                               "AT1 C 3 T3 0 0 0\nAT2 O 1 0 T1 0 0 0\nAT3 O 2 1 T2 0 0 0\n"
                               "AT4 H 1 0 T1 0 0 0\nBO 1 2 2\nBO 1 3 1\nBO 3 4 1\n"
                               "AT5 C 3 T3 0 0 0\nAT6 O 1 0 T1 0 0 0\nAT7 O 2 1 T2 0 0 0\n"
                               "AT8 H 1 0 T1 0 0 0\nBO 5 6 2\nBO 5 7 1\nBO 7 8 1\n"
                               "VDW 1 0.0\nCONT INTER 4 TO 6 WITHIN VDW\n"
                               "VDW 2 -0.1\nCONT INTER 8 TO 2 DIST -1.2 -0.3\n"
                               "DEFINE ANG1 3 4 6\nANGLE ANG1 150 180\n";

TEST(ConFile, TheFirstWordOfALineDecidesWhichRecordItIs) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"TITLE acid dimer\n# comment AT1 C 3 T3\n\nat1 c 3 t3 0 0 0\nvdw 1 0\n", ""},
      // Loose substring tests in the order atom, bond, contact: XAT5 is atom 0, BOAT an atom.
      {"XAT5 C 1 0 0 0 0\nBOND 1 2 1\nBOAT O 1 0 0 0 0\nVDWBO 3 4 1\n",
       "AT0:C AT0:O BO1-2:1 BO3-4:1 "},
      // A contact reads the next line, which is read as a record of its own as well.
      {"VDW 1 0.0\nBO 5 6 2\n", "BO5-6:2 VDW-1--1 "},
      // An angle is a line of exactly five words holding DEFINE anywhere.
      {"DEFINE ANG1 1 2\nANGLE A 1 2\nDEFINE A 1 2 3 4\nANGLE A 1 2\n# DEFINE 3 2 1\nANGLE\n",
       "ANG3-2-1 "},
      // A record line that is the last of the file has no second line and is skipped.
      {"AT1 H 1 0 0 0\nVDW 2 0.0", "AT1:H "},
      {"DEFINE ANG1 1 2 3\n", ""},
      {"AT1 O 1 2 T2 0 0 0\r\nBO 1 2 1\r\nVDW 1 0.5\r\nCONT INTER 2 TO 1 WITHIN VDW\r\n",
       "AT1:O BO1-2:1 VDW2-1 "},
      // Records among binary junk are found; a line longer than 4999 characters ends the file.
      {std::string("\x89PNG\r\n\x1a\n\0\0\xff\n", 12) +
           "AT1 C 3 T3 0 0 0\n\x01\x02 \x7f\nBO 1 2 1\n",
       "AT1:C BO1-2:1 "},
      {"AT1 C 3 T3 0 0 0\n" + std::string(4999, 'x') + "\nAT2 O 1 0 0 0\n" +
           std::string(5000, 'y') + "\nAT3 N 1 0 0 0\n",
       "AT1:C AT2:O "}};
  for (const auto &[text, read] : cases)
    EXPECT_EQ(records(read_text(text)), read) << text.substr(0, 60);
}

TEST(ConFile, BondedAtomsAreOneSubstructureAndLoneAtomsFollowTheBondedOnes) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      // Pieces in order of their first bond (5-6 joins 7-8 only through the last bond), then
      // the lone atoms in file order.
      {"AT1 O 1 0 0 0\nAT2 C 1 0 0 0\nAT3 O 1 0 0 0\nAT4 N 1 0 0 0\nAT5 C 1 0 0 0\n"
       "AT6 C 1 0 0 0\nAT7 C 1 0 0 0\nAT8 C 1 0 0 0\nBO 5 6 1\nBO 2 3 2\nBO 7 8 1\nBO 6 7 1\n",
       "CCCC/3 CO/1 O/0 N/0 "},
      {acid_dimer, "COOH/3 COOH/3 0.3>1.1 1.3>0.1 0.2-0.3-1.1 "},
      // Both records of atom 1 join its group; of the two lone atom-5 records the first is
      // the one contacts name.
      {"AT1 C 1 0 0 0\nAT1 O 1 0 0 0\nAT2 H 1 0 0 0\nBO 1 2 1\nAT5 N 1 0 0 0\nAT5 N 1 0 0 0\n"
       "VDW 1 0.0\nCONT INTER 2 TO 5 WITHIN VDW\n",
       "COH/1 N/0 N/0 0.2>1.0 "},
      {"", ""}};
  for (const auto &[text, motif] : cases)
    EXPECT_EQ(motif_text(*read_text(text).motif()), motif) << text;
}

TEST(ConFile, ReadingReplacesEverythingAndWhatCannotBeReadChangesNothing) {
  ScratchFile first(acid_dimer), second("AT9 N 1 0 0 0\n");
  ConFile con;
  ASSERT_TRUE(con.read(first.path()));
  con.motif();
  ASSERT_TRUE(con.read(second.path()));
  EXPECT_EQ(records(con), "AT9:N ");
  EXPECT_EQ(con.residues(), (std::vector<int>{0}));
  EXPECT_EQ(con.sub_atom_index(2), -1);
  EXPECT_FALSE(con.read(missing_path()));
  EXPECT_FALSE(con.read(std::filesystem::temp_directory_path().string()));
  EXPECT_EQ(records(con), "AT9:N ");
  // A query read from a file that cannot be opened is empty.
  Motif m("old");
  m.read_from_con_file(first.path());
  EXPECT_EQ(motif_text(m), "COOH/3 COOH/3 0.3>1.1 1.3>0.1 0.2-0.3-1.1 ");
  m.read_from_con_file(missing_path());
  EXPECT_EQ(motif_text(m), "");
}

// Records that cannot become a searchable query are refused when the motif is made, naming
// the file and the line of the record; the motif a file was to replace stays as it was.
TEST(ConFile, RecordsThatCannotBeSearchedAreRefusedWithFileAndLine) {
  const std::string atoms = "AT1 O 1 0 0 0 0\nAT2 O 1 0 0 0 0\nAT3 H 1 0 0 0 0\nBO 1 3 1\n";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"VDW 1 inf\nCONT INTER 3 TO 2 WITHIN VDW\n",
       "line 5: contact between atoms 3 and 2: limit inf"},
      {"VDW 1 nan\nCONT INTER 3 TO 2 WITHIN VDW\n", "limit nan is not an offset from -30 to 30 A"},
      {"VDW 1 1e300\nCONT INTER 3 TO 2 WITHIN VDW\n", "limit 1e+300 is not an offset"},
      {"VDW 1 180\nCONT INTER 3 TO 2 WITHIN VDW\n", "limit 180 is not an offset"},
      {"VDW 1 0\nCONT INTER 3 TO 2 DIST -1.0 1e3\n", "limit 1000 is not an offset"},
      {"VDW 1 0\nCONT INTER 3 TO 2 DIST 0.5 -0.5\n", "the range 0.5 to -0.5 holds no distance"},
      {"DEFINE A 1 3 2\nANGLE A 90 270\n", "line 5: angle 1-3-2: the range 90 to 270 is not"},
      {"DEFINE A 1 3 2\nANGLE A 120 -inf\n", "the range 120 to -inf is not"},
      {"VDW 1 0.0\nCONT INTER 3 TO 9 WITHIN VDW\n",
       "line 5: contact between atoms 3 and 9: atom 9"},
      {"VDW 1 0.0\n\n", "atom -1 has no atom record"},
      {"DEFINE A 1 3 5\nANGLE A 120 180\n", "line 5: angle 1-3-5: atom 5 has no atom record"},
      {"BO 1 7 1\n", "line 5: bond between atoms 1 and 7: atom 7 has no atom record"},
      {"BO 2 2 1\n", "an atom cannot be bonded to itself"},
      {"VDW 1 30\nCONT INTER 3 TO 2 DIST -30 30\nDEFINE A 1 3 2\nANGLE A 0 180\n", ""}};
  for (const auto &[text, problem] : cases) {
    SCOPED_TRACE(text);
    ScratchFile f(atoms + text);
    Motif m("kept");
    try {
      m.read_from_con_file(f.path());
      EXPECT_EQ(problem, "");
    } catch (const std::logic_error &e) { // out_of_range or invalid_argument
      EXPECT_NE(problem, "") << e.what();
      EXPECT_NE(std::string(e.what()).find(f.path() + ": "), std::string::npos) << e.what();
      EXPECT_NE(std::string(e.what()).find(problem), std::string::npos) << e.what();
      EXPECT_EQ(m.name(), "kept");
    }
  }
}

TEST(ConFile, BinaryAndEnormousFilesGiveAQueryOrAnErrorNamingTheFile) {
  const std::size_t ten_megabytes = 10u << 20;
  std::uint32_t x = 7; // deterministic junk: every byte value, NUL and line ends included
  std::string junk(ten_megabytes, '\0'), filler;
  for (char &c : junk)
    c = static_cast<char>((x = x * 1664525u + 1013904223u) >> 24);
  while (filler.size() < ten_megabytes)
    filler += "# a line that is no record, repeated to fill ten megabytes\n";
  const std::string query = "AT1 O 1 1 T2 0 0 0\nAT2 H 1 0 T1 0 0 0\nBO 1 2 1\nAT3 O 1 0 0 0\n"
                            "VDW 1 0.0\nCONT INTER 2 TO 3 WITHIN VDW\n";
  for (const std::string &text : {junk.substr(0, 1 << 16), junk.substr(1 << 16, 1 << 16), junk,
                                  filler + query, std::string(ten_megabytes, 'A') + "\n" + query}) {
    ScratchFile f(text, ".bin");
    ConFile con;
    ASSERT_TRUE(con.read(f.path()));
    try {
      auto m = con.motif();
      EXPECT_EQ(m->nsubstructures(), static_cast<int>(con.residues().size()));
      EXPECT_EQ(m->ncontacts(), static_cast<int>(con.contacts().size()));
    } catch (const std::exception &e) {
      EXPECT_NE(std::string(e.what()).find(f.path()), std::string::npos) << e.what();
    }
  }
  EXPECT_EQ(motif_text(*read_text(filler + query).motif()), "OH/1 O/0 0.1>1.0 ");
}

TEST(ConFile, LargeQueriesAreMadeInAMoment) {
  // A 60000-atom chain whose bonds are listed from the far end (grouping one bond per pass
  // would take billions of steps), 20000 lone atoms, and 10000 contacts.
  const int n = 60000;
  std::string chain = "BO 1 2 1\n", lone,
              contacts = "AT1 O 1 0 0 0 0\nAT2 H 1 0 0 0 0\nAT3 O 1 0 0 0 0\nBO 1 2 1\n";
  for (int i = 1; i <= n; ++i)
    chain += "AT" + std::to_string(i) + " C 2 T2 0 0 0\n";
  for (int i = n - 1; i >= 2; --i)
    chain += "BO " + std::to_string(i) + " " + std::to_string(i + 1) + " 1\n";
  for (int i = 1; i <= 20000; ++i)
    lone += "AT" + std::to_string(i) + " O 0 2 0 0 0\n";
  for (int i = 1; i <= 10000; ++i)
    contacts += "VDW " + std::to_string(i) + " 0.0\nCONT INTER 2 TO 3 WITHIN VDW\n";
  const auto start = std::chrono::steady_clock::now();
  auto m = read_text(chain).motif();
  ASSERT_EQ(m->nsubstructures(), 1);
  EXPECT_EQ(m->substructure(0)->nedges(), n - 1);
  EXPECT_EQ(read_text(lone).motif()->nsubstructures(), 20000);
  m = read_text(contacts).motif();
  ASSERT_EQ(m->ncontacts(), 10000);
  EXPECT_EQ(m->contact(9999)->criterion()->second_elements(), (ElementSet{8}));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

} // namespace
} // namespace xtalmotif
