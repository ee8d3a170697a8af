#include "files/con_file.h"

#include "motif/motif.h"
#include "scratch_file.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

using testing::ScratchFile;

constexpr std::size_t ten_megabytes = 10u * 1024u * 1024u;

// Deterministic junk: every byte value, NUL and line ends included.
std::string junk_bytes(std::size_t n, std::uint32_t seed) {
  std::string out(n, '\0');
  std::uint32_t x = seed;
  for (std::size_t i = 0; i < n; ++i) {
    x = x * 1664525u + 1013904223u;
    out[i] = static_cast<char>(x >> 24);
  }
  return out;
}

// Builds the motif; a file that cannot become one must say so, naming the file.
void expect_motif_or_clear_error(ConFile& con, const std::string& path) {
  try {
    auto m = con.motif();
    EXPECT_EQ(m->nsubstructures(), static_cast<int>(con.residues().size()));
    EXPECT_EQ(m->ncontacts(), static_cast<int>(con.contacts().size()));
  } catch (const std::exception& e) {
    EXPECT_NE(std::string(e.what()).find(path), std::string::npos) << e.what();
  }
}

// Limits that cannot be searched for are refused, naming the file and line of the record: an
// infinity or a huge number (undefined behaviour and matches light years away in the search), an
// angle written where an offset belongs, an empty range, an angle outside 0 to 180 degrees.
TEST(ConFileHostile, UnsearchableLimitsAreRefusedWithFileAndLine) {
  const std::string atoms = "AT1 O 1 0 0 0 0\nAT2 O 1 0 0 0 0\nAT3 H 1 0 0 0 0\nBO 1 3 1\n";
  struct Case {
    std::string records; // from line 5
    std::string problem; // "" when the motif is made
  };
  const std::vector<Case> cases = {
      {"VDW 1 inf\nCONT INTER 3 TO 2 WITHIN VDW\n",
       "line 5: contact between atoms 3 and 2: limit inf"},
      {"VDW 1 nan\nCONT INTER 3 TO 2 WITHIN VDW\n", "limit nan is not an offset from -30 to 30 A"},
      {"VDW 1 1e300\nCONT INTER 3 TO 2 WITHIN VDW\n", "limit 1e+300 is not an offset"},
      {"VDW 1 180\nCONT INTER 3 TO 2 WITHIN VDW\n", "limit 180 is not an offset"},
      {"VDW 1 0\nCONT INTER 3 TO 2 DIST -1.0 1e3\n", "limit 1000 is not an offset"},
      {"VDW 1 0\nCONT INTER 3 TO 2 DIST 0.5 -0.5\n", "the range 0.5 to -0.5 holds no distance"},
      {"DEFINE A 1 3 2\nANGLE A 90 270\n", "line 5: angle 1-3-2: the range 90 to 270 is not"},
      {"DEFINE A 1 3 2\nANGLE A 120 -inf\n", "the range 120 to -inf is not"},
      {"VDW 1 30\nCONT INTER 3 TO 2 DIST -30 30\nDEFINE A 1 3 2\nANGLE A 0 180\n", ""},
  };
  for (const auto& c : cases) {
    ScratchFile f(atoms + c.records);
    ConFile con;
    ASSERT_TRUE(con.read(f.path()));
    try {
      con.motif();
      EXPECT_EQ(c.problem, "") << c.records;
    } catch (const std::invalid_argument& e) {
      EXPECT_NE(c.problem, "") << e.what();
      EXPECT_NE(std::string(e.what()).find(f.path() + ": "), std::string::npos) << e.what();
      EXPECT_NE(std::string(e.what()).find(c.problem), std::string::npos) << e.what();
    }
  }
}

TEST(ConFileHostile, EmptyFileGivesAnEmptyMotif) {
  ScratchFile f("");
  ConFile con;
  EXPECT_TRUE(con.read(f.path()));
  EXPECT_TRUE(con.atoms().empty());
  EXPECT_TRUE(con.residues().empty());
  auto m = con.motif();
  EXPECT_EQ(m->nsubstructures(), 0);
  EXPECT_EQ(m->ncontacts(), 0);
}

TEST(ConFileHostile, BinaryBytesGiveAMotifOrAClearError) {
  for (std::uint32_t seed : {1u, 2u, 3u, 4u}) {
    ScratchFile f(junk_bytes(64 * 1024, seed), ".bin");
    ConFile con;
    EXPECT_TRUE(con.read(f.path()));
    expect_motif_or_clear_error(con, f.path());
  }
}

TEST(ConFileHostile, RecordsAmongBinaryJunkAreStillFound) {
  std::string text = std::string("\x89PNG\r\n\x1a\n", 8) + std::string("\0\0\xff\xfe\n", 5) +
                     "AT1 C 3 T3 0 0 0\n" + std::string("\x01\x02 \x7f\n", 5) +
                     "AT2 O 1 1 0 0 0\nBO 1 2 1\n";
  ScratchFile f(text, ".bin");
  ConFile con;
  ASSERT_TRUE(con.read(f.path()));
  ASSERT_EQ(con.atoms().size(), 2u);
  auto m = con.motif();
  ASSERT_EQ(m->nsubstructures(), 1);
  EXPECT_EQ(m->substructure(0)->nnodes(), 2);
  EXPECT_EQ(m->substructure(0)->nedges(), 1);
}

TEST(ConFileHostile, TenMegabytesOfBinaryJunk) {
  ScratchFile f(junk_bytes(ten_megabytes, 7u), ".bin");
  ConFile con;
  EXPECT_TRUE(con.read(f.path()));
  expect_motif_or_clear_error(con, f.path());
}

TEST(ConFileHostile, ATenMegabyteLineEndsTheFileBeforeAnyRecord) {
  std::string text(ten_megabytes, 'A');
  text += "\nAT1 C 3 T3 0 0 0\nAT2 O 1 0 0 0\n";
  ScratchFile f(text);
  ConFile con;
  EXPECT_TRUE(con.read(f.path()));
  EXPECT_TRUE(con.atoms().empty());
  EXPECT_EQ(con.motif()->nsubstructures(), 0);
}

TEST(ConFileHostile, RecordsAfterATooLongLineAreIgnored) {
  std::string text = "AT1 C 3 T3 0 0 0\n" + std::string(4999, 'x') + "\nAT2 O 1 0 0 0\n" +
                     "# " + std::string(4998, 'y') + "\nAT3 N 1 0 0 0\n";
  ScratchFile f(text);
  ConFile con;
  ASSERT_TRUE(con.read(f.path()));
  // The 4999-character line is read (and skipped as no record); the 5000-character line ends
  // the reading, so atom 3 is never seen.
  ASSERT_EQ(con.atoms().size(), 2u);
  EXPECT_EQ(con.atoms()[1].number(), 2);
}

TEST(ConFileHostile, TenMegabytesOfSkippedLinesBeforeTheQuery) {
  std::string text;
  text.reserve(ten_megabytes + 200);
  const std::string filler = "# a line that is no record, repeated to fill ten megabytes\n";
  while (text.size() < ten_megabytes)
    text += filler;
  text += "AT1 O 1 1 T2 0 0 0\nAT2 H 1 0 T1 0 0 0\nBO 1 2 1\nAT3 O 1 0 0 0\n"
          "VDW 1 0.0\nCONT INTER 2 TO 3 WITHIN VDW\n";
  ScratchFile f(text);
  Motif m("x");
  m.read_from_con_file(f.path());
  ASSERT_EQ(m.nsubstructures(), 2);
  EXPECT_EQ(m.substructure(0)->nnodes(), 2);
  ASSERT_EQ(m.ncontacts(), 1);
  EXPECT_EQ(m.contact(0)->from_substructure(), 0);
  EXPECT_EQ(m.contact(0)->from_atom(), 1);
  EXPECT_EQ(m.contact(0)->to_substructure(), 1);
  EXPECT_EQ(m.contact(0)->to_atom(), 0);
}

TEST(ConFileHostile, ALongChainWrittenBackwardsIsGroupedQuickly) {
  // 60000 atoms bonded in a chain whose bonds are listed from the far end: a grouping that
  // grows one bond per pass over the list would need billions of steps.
  const int n = 60000;
  std::string text;
  for (int i = 1; i <= n; ++i)
    text += "AT" + std::to_string(i) + " C 2 T2 0 0 0\n";
  text += "BO 1 2 1\n";
  for (int i = n - 1; i >= 2; --i)
    text += "BO " + std::to_string(i) + " " + std::to_string(i + 1) + " 1\n";
  ScratchFile f(text);
  ConFile con;
  ASSERT_TRUE(con.read(f.path()));
  EXPECT_EQ(con.residues(), (std::vector<int>{0}));
  auto m = con.motif();
  ASSERT_EQ(m->nsubstructures(), 1);
  EXPECT_EQ(m->substructure(0)->nnodes(), n);
  EXPECT_EQ(m->substructure(0)->nedges(), n - 1);
}

TEST(ConFileHostile, TenThousandContactsMakeAMotifInAMoment) {
  // Deriving every contact's element sets again on each addition took half a minute here.
  std::string text = "AT1 O 1 0 0 0 0\nAT2 H 1 0 0 0 0\nAT3 O 1 0 0 0 0\nBO 1 2 1\n";
  const int n = 10000;
  for (int i = 1; i <= n; ++i)
    text += "VDW " + std::to_string(i) + " 0.0\nCONT INTER 2 TO 3 WITHIN VDW\n";
  ScratchFile f(text);
  ConFile con;
  ASSERT_TRUE(con.read(f.path()));
  const auto start = std::chrono::steady_clock::now();
  auto m = con.motif();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  ASSERT_EQ(m->ncontacts(), n);
  EXPECT_EQ(m->contact(n - 1)->criterion()->second_elements(), (ElementSet{8}));
}

TEST(ConFileHostile, ManyLoneAtomsGiveOneSubstructureEach) {
  const int n = 20000;
  std::string text;
  for (int i = 1; i <= n; ++i)
    text += "AT" + std::to_string(i) + " O 0 2 0 0 0\n";
  ScratchFile f(text);
  ConFile con;
  ASSERT_TRUE(con.read(f.path()));
  auto m = con.motif();
  ASSERT_EQ(m->nsubstructures(), n);
  EXPECT_EQ(m->substructure(n - 1)->nnodes(), 1);
  EXPECT_EQ(con.sub_atom_index(n), 0);
}

// ---- a record line with nothing after it ----

TEST(ConFileHostile, AVdwLineLastIsTreatedAsAbsent) {
  ScratchFile f("AT1 H 1 0 0 0\nAT2 O 1 0 0 0\nVDW 1 0.0\nCONT INTER 1 TO 2 WITHIN VDW\n"
                "VDW 2 0.0");
  ConFile con;
  ASSERT_TRUE(con.read(f.path()));
  ASSERT_EQ(con.contacts().size(), 1u);
  EXPECT_EQ(con.motif()->ncontacts(), 1);
}

TEST(ConFileHostile, ADefineLineLastIsTreatedAsAbsent) {
  ScratchFile f("AT1 O 1 0 0 0\nAT2 H 1 0 0 0\nAT3 O 1 0 0 0\nDEFINE ANG1 1 2 3\n");
  ConFile con;
  ASSERT_TRUE(con.read(f.path()));
  EXPECT_TRUE(con.angles().empty());
  EXPECT_TRUE(con.motif()->angle_constraints()->empty());
}

TEST(ConFileHostile, ARecordLineBeforeTheLastLineUsesIt) {
  // A second-last "VDW" line reads the last line, even when that line has no terminator.
  ScratchFile f("AT1 H 1 0 0 0\nAT2 O 1 0 0 0\nVDW 1 0.2\nCONT INTER 1 TO 2 WITHIN VDW");
  ConFile con;
  ASSERT_TRUE(con.read(f.path()));
  ASSERT_EQ(con.contacts().size(), 1u);
  EXPECT_DOUBLE_EQ(con.contacts()[0].vdw_tolerance(), 0.2);
}

// ---- records naming atoms that do not exist ----

TEST(ConFileHostile, AContactOnAMissingAtomIsAClearError) {
  ScratchFile f("AT1 H 1 0 0 0\nAT2 O 1 0 0 0\nVDW 1 0.0\nCONT INTER 1 TO 9 WITHIN VDW\n");
  ConFile con;
  ASSERT_TRUE(con.read(f.path()));
  // The record itself is kept; the missing atom reads as a default atom.
  ASSERT_EQ(con.contacts().size(), 1u);
  EXPECT_EQ(con.find_con_atom(9).residue(), -1);
  try {
    con.motif();
    FAIL() << "a contact on a missing atom must not become a motif";
  } catch (const std::out_of_range& e) {
    std::string what = e.what();
    EXPECT_NE(what.find(f.path()), std::string::npos) << what;
    EXPECT_NE(what.find("line 3"), std::string::npos) << what;
    EXPECT_NE(what.find("atom 9"), std::string::npos) << what;
  }
}

TEST(ConFileHostile, AContactWithTooFewWordsIsAClearError) {
  ScratchFile f("AT1 H 1 0 0 0\nVDW 1 0.0\n\n");
  ConFile con;
  ASSERT_TRUE(con.read(f.path()));
  ASSERT_EQ(con.contacts().size(), 1u);
  EXPECT_THROW(con.motif(), std::out_of_range);
}

TEST(ConFileHostile, AnAngleOnAMissingAtomIsAClearError) {
  ScratchFile f("AT1 O 1 0 0 0\nAT2 H 1 0 0 0\nDEFINE ANG1 1 2 5\nANGLE ANG1 120 180\n");
  ConFile con;
  ASSERT_TRUE(con.read(f.path()));
  try {
    con.motif();
    FAIL() << "an angle on a missing atom must not become a motif";
  } catch (const std::out_of_range& e) {
    std::string what = e.what();
    EXPECT_NE(what.find(f.path()), std::string::npos) << what;
    EXPECT_NE(what.find("atom 5"), std::string::npos) << what;
  }
}

TEST(ConFileHostile, ABondOnAMissingAtomIsAClearError) {
  ScratchFile f("AT1 C 1 0 0 0\nBO 1 7 1\n");
  ConFile con;
  ASSERT_TRUE(con.read(f.path()));
  try {
    con.motif();
    FAIL() << "a bond to a missing atom must not become a motif";
  } catch (const std::invalid_argument& e) {
    std::string what = e.what();
    EXPECT_NE(what.find(f.path()), std::string::npos) << what;
    EXPECT_NE(what.find("line 2"), std::string::npos) << what;
    EXPECT_NE(what.find("atom 7"), std::string::npos) << what;
  }
}

TEST(ConFileHostile, ABondOfAnAtomToItselfIsAClearError) {
  ScratchFile f("AT1 C 1 0 0 0\nBO 1 1 1\n");
  ConFile con;
  ASSERT_TRUE(con.read(f.path()));
  EXPECT_THROW(con.motif(), std::invalid_argument);
}

TEST(ConFileHostile, ReadFromConFileLeavesTheMotifAloneOnError) {
  ScratchFile f("AT1 H 1 0 0 0\nAT2 O 1 0 0 0\nVDW 1 0.0\nCONT INTER 1 TO 3 WITHIN VDW\n");
  Motif m("kept");
  m.add_substructure(make_handle<MotifSubstructure>());
  EXPECT_THROW(m.read_from_con_file(f.path()), std::out_of_range);
  EXPECT_EQ(m.name(), "kept");
  EXPECT_EQ(m.nsubstructures(), 1);
  EXPECT_EQ(m.ncontacts(), 0);
}

TEST(ConFileHostile, AFolderIsNotAQueryFile) {
  ConFile con;
  EXPECT_FALSE(con.read(std::filesystem::temp_directory_path().string()));
}

TEST(ConFileHostile, DuplicateAtomNumbersStillGiveAMotif) {
  ScratchFile f("AT1 C 1 0 0 0\nAT1 O 1 0 0 0\nAT2 H 1 0 0 0\nBO 1 2 1\nAT5 N 1 0 0 0\n"
                "AT5 N 1 0 0 0\nVDW 1 0.0\nCONT INTER 2 TO 5 WITHIN VDW\n");
  ConFile con;
  ASSERT_TRUE(con.read(f.path()));
  auto m = con.motif();
  // Both records of atom 1 join the bonded group; the two lone atom-5 records are two
  // substructures, and the contact goes to the first of them.
  ASSERT_EQ(m->nsubstructures(), 3);
  EXPECT_EQ(m->substructure(0)->nnodes(), 3);
  ASSERT_EQ(m->ncontacts(), 1);
  EXPECT_EQ(m->contact(0)->to_substructure(), 1);
  EXPECT_EQ(m->contact(0)->to_atom(), 0);
}

} // namespace
} // namespace xtalmotif
