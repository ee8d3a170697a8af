// The line-and-word tables that query files are read into. Line ends, the longest line and
// files that cannot be read are covered where query files are read (con_file_test).

#include "files/formatted_file_reader.h"

#include "scratch_file.h"

#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

using Lines = std::vector<std::string>;

FormattedStringReader reader_of(Lines text) {
  FormattedStringReader r;
  r.load_string(text);
  return r;
}

TEST(FormattedStringReader, WordsAreRunsBetweenWhiteSpaceAndBlankLinesKeepTheirPlace) {
  auto r = reader_of({"AT1  C\t3\vT3\f0\r", "", " \t\r", "a,b;c=d \xC3\xA5ngstr\xC3\xB6m \xFF"});
  EXPECT_EQ(
      r.words(),
      (std::vector<Lines>{
          {"AT1", "C", "3", "T3", "0"}, {}, {}, {"a,b;c=d", "\xC3\xA5ngstr\xC3\xB6m", "\xFF"}}));
  EXPECT_EQ(r.lines()[0], "AT1  C\t3\vT3\f0\r");
}

TEST(FormattedStringReader, LinesAndSectionsAreFoundByKeyFromAStartBeforeAnEnd) {
  auto r = reader_of({"END", "START a AT", "AT", "END", "START b END", "at"});
  EXPECT_EQ(r.nlines_with("AT"), 2); // once per line, case-sensitive
  // nth, start, end (0: the end of the text) -> line
  for (const auto &[nth, start, end, line] : std::vector<std::array<int, 4>>{{1, 0, 0, 1},
                                                                             {2, 0, 0, 2},
                                                                             {3, 0, 0, -1},
                                                                             {1, 2, 0, 2},
                                                                             {2, 0, 2, -1},
                                                                             {1, -5, 0, 1},
                                                                             {2, 0, 100, 2},
                                                                             {1, 7, 0, -1}})
    EXPECT_EQ(r.line_with("AT", nth, start, end), line) << nth << " " << start << " " << end;
  Lines out{"kept"};
  EXPECT_EQ(r.section("START", "END", 0, out), 3);
  EXPECT_EQ(out, (Lines{"kept", "START a AT", "AT", "END"}));
  int first = 0, last = 0;
  r.section("START", "END", 2, first, last); // both markers on one line
  EXPECT_EQ(std::make_pair(first, last), std::make_pair(4, 4));
  EXPECT_EQ(r.section("START", "missing", 0, out), -1);
  EXPECT_EQ(r.section("missing", "END", 0, out), -1);
  EXPECT_EQ(out.size(), 4u);
}

TEST(FormattedStringReader, WordsArePickedAndReplacedInTheWordTableOnly) {
  auto r = reader_of({"AT1 C 3", "AT2 CL C", "c CC"});
  EXPECT_EQ(r.line(1, {2, 0, 0}), (Lines{"C", "AT2", "AT2"}));
  EXPECT_THROW(r.line(0, {3}), std::out_of_range);
  EXPECT_THROW(r.replace(3, 0, "x"), std::out_of_range);
  EXPECT_EQ(r.replace("C", "N"), 2); // whole words, case-sensitive
  r.replace(2, 1, "O");
  EXPECT_EQ(r.words(), (std::vector<Lines>{{"AT1", "N", "3"}, {"AT2", "CL", "N"}, {"c", "O"}}));
  EXPECT_EQ(r.lines(), (Lines{"AT1 C 3", "AT2 CL C", "c CC"}));
}

TEST(FormattedFileReader, KeepsEveryByteOfALineAndSavesTheTextAsRead) {
  const std::string text("AT1\0C 3\n\nAT2  C\tT2\r\nBO 1 2", 26);
  testing::ScratchFile in(text), out("old content, longer than the new text, that must go away\n");
  FormattedFileReader r(in.path());
  EXPECT_EQ(r.lines(), (Lines{std::string("AT1\0C 3", 7), "", "AT2  C\tT2\r", "BO 1 2"}));
  r.replace("C", "N");
  r.save_file_as(out.path());
  std::ostringstream saved;
  saved << std::ifstream(out.path()).rdbuf();
  EXPECT_EQ(saved.str(), std::string(text) + "\n");
}

} // namespace
} // namespace xtalmotif
