#include "files/formatted_file_reader.h"

#include "scratch_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace xtalmotif {
namespace {

using testing::missing_path;
using testing::ScratchFile;
using Lines = std::vector<std::string>;

std::string file_bytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

TEST(FormattedFileReaderRead, EmptyFileHasNoLines) {
  ScratchFile f("");
  FormattedFileReader r;
  EXPECT_TRUE(r.read_file(f.path()));
  EXPECT_EQ(r.nlines(), 0);
  EXPECT_EQ(r.nwords(), 0);
  EXPECT_EQ(r.line_with("AT", 1, 0, 0), -1);
  EXPECT_EQ(r.line_with("", 1, 0, 0), -1);
}

TEST(FormattedFileReaderRead, LinesWithAndWithoutFinalTerminator) {
  ScratchFile with("AT1 C\nBO 1 2\n");
  ScratchFile without("AT1 C\nBO 1 2");
  ScratchFile crlf("AT1 C\r\n\r\nBO 1 2\r\n");
  FormattedFileReader a(with.path()), b(without.path()), c(crlf.path());
  EXPECT_EQ(a.lines(), (Lines{"AT1 C", "BO 1 2"}));
  EXPECT_EQ(b.lines(), (Lines{"AT1 C", "BO 1 2"}));
  EXPECT_EQ(c.lines(), (Lines{"AT1 C\r", "\r", "BO 1 2\r"}));
  EXPECT_EQ(c.words(),
            (std::vector<std::vector<std::string>>{{"AT1", "C"}, {}, {"BO", "1", "2"}}));
}

TEST(FormattedFileReaderRead, BlankLinesAreCounted) {
  ScratchFile f("\n\nAT1 C\n\n");
  FormattedFileReader r(f.path());
  EXPECT_EQ(r.nlines(), 4);
  EXPECT_EQ(r.line_with("AT1", 1, 0, 0), 2);
}

TEST(FormattedFileReaderRead, AFileThatCannotBeOpenedChangesNothing) {
  ScratchFile good("AT1 C\n");
  FormattedFileReader r(good.path());
  ASSERT_EQ(r.nlines(), 1);
  EXPECT_FALSE(r.read_file(missing_path()));
  EXPECT_EQ(r.lines(), (Lines{"AT1 C"}));
  // The name is remembered even so.
  EXPECT_EQ(r.file_name(), missing_path());
}

TEST(FormattedFileReaderRead, ConstructorOnAMissingFileLeavesEmptyTables) {
  FormattedFileReader r(missing_path());
  EXPECT_EQ(r.nlines(), 0);
  EXPECT_EQ(r.file_name(), missing_path());
}

TEST(FormattedFileReaderRead, AFolderIsNotAReadableFile) {
  FormattedFileReader r;
  EXPECT_FALSE(r.read_file(std::filesystem::temp_directory_path().string()));
  EXPECT_EQ(r.nlines(), 0);
}

TEST(FormattedFileReaderRead, StreamInAFailedStateIsRefused) {
  ScratchFile good("AT1 C\n");
  FormattedFileReader r(good.path());
  std::ifstream closed;
  closed.setstate(std::ios::failbit);
  EXPECT_FALSE(r.read_file(closed));
  EXPECT_EQ(r.nlines(), 1);

  ScratchFile other("BO 1 2\nBO 2 3\n");
  std::ifstream in(other.path());
  EXPECT_TRUE(r.read_file(in));
  EXPECT_EQ(r.lines(), (Lines{"BO 1 2", "BO 2 3"}));
}

TEST(FormattedFileReaderRead, NulBytesStayInsideTheirLine) {
  std::string text("AT1\0C 3\nnext\n", 13);
  ScratchFile f(text);
  FormattedFileReader r(f.path());
  ASSERT_EQ(r.nlines(), 2);
  EXPECT_EQ(r.lines()[0], std::string("AT1\0C 3", 7));
  EXPECT_EQ(r.words()[0].size(), 2u);
  EXPECT_EQ(r.lines()[1], "next");
}

class FormattedFileReaderLineLimit : public ::testing::Test {
protected:
  static constexpr int limit = FormattedFileReader::max_line_length;
};

TEST_F(FormattedFileReaderLineLimit, ALineOf4999CharactersIsRead) {
  EXPECT_EQ(limit, 4999);
  std::string longest(4999, 'x');
  ScratchFile f("AT1 C\n" + longest + "\nBO 1 2\n");
  FormattedFileReader r(f.path());
  ASSERT_EQ(r.nlines(), 3);
  EXPECT_EQ(r.lines()[1].size(), 4999u);
  EXPECT_EQ(r.lines()[2], "BO 1 2");
}

TEST_F(FormattedFileReaderLineLimit, ALastLineOf4999CharactersWithoutTerminatorIsRead) {
  ScratchFile f("AT1 C\n" + std::string(4999, 'y'));
  FormattedFileReader r(f.path());
  ASSERT_EQ(r.nlines(), 2);
  EXPECT_EQ(r.lines()[1], std::string(4999, 'y'));
}

TEST_F(FormattedFileReaderLineLimit, ALineOf5000CharactersEndsTheReading) {
  std::string too_long(5000, 'z');
  ScratchFile f("AT1 C\nAT2 O\n" + too_long + "\nBO 1 2\n");
  FormattedFileReader r(f.path());
  EXPECT_EQ(r.lines(), (Lines{"AT1 C", "AT2 O"}));
  // A file starting with such a line yields nothing at all, and is still read successfully.
  ScratchFile g(too_long + "\nAT1 C\n");
  FormattedFileReader s;
  EXPECT_TRUE(s.read_file(g.path()));
  EXPECT_EQ(s.nlines(), 0);
}

TEST(FormattedFileReaderSave, WritesTheTextAsReadEvenAfterReplacements) {
  std::string text = "AT1 C 3\n\nAT2  C\tT2\r\nBO 1 2\n";
  ScratchFile in(text);
  ScratchFile out("old content that must go away, longer than the new text\n");
  FormattedFileReader r(in.path());
  EXPECT_EQ(r.replace("C", "N"), 2);
  std::ostringstream printed;
  r.print(printed);
  EXPECT_EQ(printed.str(), "AT1 N 3 \n\nAT2 N T2 \nBO 1 2 \n");
  r.save_file_as(out.path());
  EXPECT_EQ(file_bytes(out.path()), text);
}

TEST(FormattedFileReaderSave, AnUncreatableFileIsIgnoredQuietly) {
  ScratchFile in("AT1 C\n");
  FormattedFileReader r(in.path());
  // A path inside a folder that does not exist.
  r.save_file_as(missing_path() + "/sub/none.con");
  EXPECT_FALSE(std::filesystem::exists(missing_path() + "/sub/none.con"));
}

TEST(FormattedFileReaderFolder, OnlyBackslashesSeparateFolders) {
  FormattedFileReader r;
  r.read_file("dir\\sub\\query.txt");
  EXPECT_EQ(r.folder(), "dir\\sub");
  r.read_file("dir/sub/query.txt");
  EXPECT_EQ(r.folder(), "dir/sub/query.txt");
  r.read_file("query.txt");
  EXPECT_EQ(r.folder(), "query.txt");
  r.read_file("\\query.txt");
  EXPECT_EQ(r.folder(), "");
}

} // namespace
} // namespace xtalmotif
