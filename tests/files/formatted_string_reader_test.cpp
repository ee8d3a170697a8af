#include "files/formatted_string_reader.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

using Lines = std::vector<std::string>;
using Words = std::vector<std::string>;

FormattedStringReader reader_of(Lines text) {
  FormattedStringReader r;
  EXPECT_TRUE(r.load_string(text));
  return r;
}

TEST(FormattedStringReaderSplitting, WordsAreRunsBetweenTheSixWhiteSpaceCharacters) {
  auto r = reader_of({"AT1  C\t3\vT3\f0", "  lead and trail  ", "a,b;c=d"});
  ASSERT_EQ(r.nlines(), 3);
  EXPECT_EQ(r.words()[0], (Words{"AT1", "C", "3", "T3", "0"}));
  EXPECT_EQ(r.words()[1], (Words{"lead", "and", "trail"}));
  // Punctuation is no separator.
  EXPECT_EQ(r.words()[2], (Words{"a,b;c=d"}));
  EXPECT_EQ(r.nwords(), 9);
}

TEST(FormattedStringReaderSplitting, CarriageReturnStaysInTheLineButNotInTheWords) {
  auto r = reader_of({"BO 1 2\r"});
  EXPECT_EQ(r.lines()[0], "BO 1 2\r");
  EXPECT_EQ(r.words()[0], (Words{"BO", "1", "2"}));
}

TEST(FormattedStringReaderSplitting, BlankLinesKeepTheirIndex) {
  auto r = reader_of({"first", "", " \t\r", "AT1 C"});
  ASSERT_EQ(r.nlines(), 4);
  EXPECT_TRUE(r.words()[1].empty());
  EXPECT_TRUE(r.words()[2].empty());
  EXPECT_EQ(r.line_with("AT1", 1, 0, 0), 3);
  EXPECT_EQ(r.nwords(), 3);
}

TEST(FormattedStringReaderSplitting, BytesAboveAsciiAreWordCharacters) {
  std::string text = "\xC3\xA5ngstr\xC3\xB6m \xFF\xFE";
  auto r = reader_of({text});
  ASSERT_EQ(r.words()[0].size(), 2u);
  EXPECT_EQ(r.words()[0][0], "\xC3\xA5ngstr\xC3\xB6m");
  EXPECT_EQ(r.words()[0][1], "\xFF\xFE");
}

TEST(FormattedStringReaderSplitting, LoadingReplacesThePreviousText) {
  FormattedStringReader r;
  Lines one{"a b", "c"};
  Lines two{"d"};
  r.load_string(one);
  r.load_string(two);
  EXPECT_EQ(r.nlines(), 1);
  EXPECT_EQ(r.lines(), (Lines{"d"}));
  EXPECT_EQ(r.nwords(), 1);
}

TEST(FormattedStringReaderSearch, CountsLinesContainingAKeyOncePerLine) {
  auto r = reader_of({"AT1 C AT", "BO 1 2", "XATX", "at lower case"});
  EXPECT_EQ(r.nlines_with("AT"), 2);
  EXPECT_EQ(r.nlines_with("BO 1"), 1);
  EXPECT_EQ(r.nlines_with("missing"), 0);
}

TEST(FormattedStringReaderSearch, LineWithFindsTheNthMatchingLine) {
  auto r = reader_of({"AT1 C", "BO 1 2", "AT2 O"});
  EXPECT_EQ(r.line_with("AT", 1, 0, 0), 0);
  EXPECT_EQ(r.line_with("AT", 2, 0, 0), 2);
  EXPECT_EQ(r.line_with("AT", 3, 0, 0), -1);
  // Starting after the first atom line, the first match is line 2.
  EXPECT_EQ(r.line_with("AT", 1, 1, 0), 2);
  // The scan stops before `end`.
  EXPECT_EQ(r.line_with("AT", 2, 0, 2), -1);
  EXPECT_EQ(r.line_with("AT", 2, 0, 3), 2);
  EXPECT_EQ(r.line_with("BO", 1, 2, 0), -1);
}

TEST(FormattedStringReaderSearch, SeveralOccurrencesOnOneLineCountOnce) {
  auto r = reader_of({"AT AT AT", "nothing", "AT"});
  EXPECT_EQ(r.line_with("AT", 2, 0, 0), 2);
}

TEST(FormattedStringReaderSearch, ScanLimitsOutsideTheTextFindNothingOutsideIt) {
  auto r = reader_of({"AT1", "AT2"});
  EXPECT_EQ(r.line_with("AT", 1, -5, 0), 0);
  EXPECT_EQ(r.line_with("AT", 2, 0, 100), 1);
  EXPECT_EQ(r.line_with("AT", 1, 7, 0), -1);
  EXPECT_EQ(r.line_with("AT", 1, 1, 1), -1);
}

TEST(FormattedStringReaderSection, CopiesFromStartMarkerThroughEndMarker) {
  auto r = reader_of({"title", "START a", "x", "END", "START b END", "tail"});
  Lines out{"kept"};
  EXPECT_EQ(r.section("START", "END", 0, out), 3);
  EXPECT_EQ(out, (Lines{"kept", "START a", "x", "END"}));
}

TEST(FormattedStringReaderSection, ALineWithBothMarkersIsASectionOfOneLine) {
  auto r = reader_of({"title", "START a", "x", "END", "START b END", "tail"});
  Lines out;
  EXPECT_EQ(r.section("START", "END", 2, out), 4);
  EXPECT_EQ(out, (Lines{"START b END"}));
  int first = 0, last = 0;
  r.section("START", "END", 2, first, last);
  EXPECT_EQ(first, 4);
  EXPECT_EQ(last, 4);
}

TEST(FormattedStringReaderSection, AMissingMarkerGivesMinusOneAndCopiesNothing) {
  auto r = reader_of({"START", "x", "y"});
  Lines out{"kept"};
  EXPECT_EQ(r.section("START", "END", 0, out), -1);
  EXPECT_EQ(r.section("BEGIN", "y", 0, out), -1);
  EXPECT_EQ(out, (Lines{"kept"}));
  int first = 0, last = 0;
  r.section("START", "END", 0, first, last);
  EXPECT_EQ(first, 0);
  EXPECT_EQ(last, -1);
  r.section("BEGIN", "y", 0, first, last);
  EXPECT_EQ(first, -1);
  EXPECT_EQ(last, -1);
}

TEST(FormattedStringReaderSection, EndMarkerBeforeTheStartDoesNotCount) {
  auto r = reader_of({"END", "START", "x", "END"});
  Lines out;
  EXPECT_EQ(r.section("START", "END", 0, out), 3);
  EXPECT_EQ(out, (Lines{"START", "x", "END"}));
}

TEST(FormattedStringReaderColumns, PicksWordsInTheOrderAsked) {
  auto r = reader_of({"VDW 1 0.5", "CONT INTER 4 TO 6"});
  EXPECT_EQ(r.line(1, {4, 2, 2}), (Words{"6", "4", "4"}));
  EXPECT_EQ(r.string_line(1, {0, 1}), "CONTINTER");
  EXPECT_EQ(r.string_line(0, {}), "");
}

TEST(FormattedStringReaderColumns, PositionsOutsideTheTableThrow) {
  auto r = reader_of({"a b"});
  EXPECT_THROW(r.line(0, {2}), std::out_of_range);
  EXPECT_THROW(r.line(1, {0}), std::out_of_range);
  EXPECT_THROW(r.replace(0, 5, "x"), std::out_of_range);
}

TEST(FormattedStringReaderReplace, ReplacesWholeWordsInTheWordTableOnly) {
  auto r = reader_of({"AT1 C 3", "AT2 CL C", "c CC"});
  EXPECT_EQ(r.replace("C", "N"), 2);
  EXPECT_EQ(r.words()[0], (Words{"AT1", "N", "3"}));
  EXPECT_EQ(r.words()[1], (Words{"AT2", "CL", "N"}));
  EXPECT_EQ(r.words()[2], (Words{"c", "CC"}));
  // The raw lines keep the text as read.
  EXPECT_EQ(r.lines()[0], "AT1 C 3");
  EXPECT_EQ(r.lines()[1], "AT2 CL C");
  EXPECT_EQ(r.replace("absent", "x"), 0);
}

TEST(FormattedStringReaderReplace, SetsOneWordByPosition) {
  auto r = reader_of({"BO 1 2 1"});
  r.replace(0, 3, "2");
  EXPECT_EQ(r.words()[0], (Words{"BO", "1", "2", "2"}));
  EXPECT_EQ(r.lines()[0], "BO 1 2 1");
}

TEST(FormattedStringReaderPrint, EachWordFollowedByABlankAndEachLineByANewline) {
  auto r = reader_of({"AT1\tC", "", "BO  1 2\r"});
  r.replace("C", "N");
  std::ostringstream os;
  r.print(os);
  EXPECT_EQ(os.str(), "AT1 N \n\nBO 1 2 \n");
}

} // namespace
} // namespace xtalmotif
