#ifndef XTALMOTIF_FILES_FORMATTED_FILE_READER_H
#define XTALMOTIF_FILES_FORMATTED_FILE_READER_H

#include "files/formatted_string_reader.h"

#include <fstream>
#include <iosfwd>
#include <string>

namespace xtalmotif {

/// A text file read into a table of lines and words (see FormattedStringReader), such as a
/// connectivity query file.
///
/// A line may hold at most `max_line_length` characters: a longer line ends the reading there and
/// the rest of the file is ignored without a message, so that an enormous or binary file cannot
/// exhaust memory.
class FormattedFileReader : public FormattedStringReader {
public:
  /// The longest line that is read (characters, terminator excluded).
  static constexpr int max_line_length = 4999;

  /// No file read yet: empty tables and an empty file name.
  FormattedFileReader() = default;
  /// Reads `file_name`; a file that cannot be opened leaves the tables empty, unreported.
  explicit FormattedFileReader(std::string file_name);

  /// Remembers `file_name` (also when it cannot be opened) and reads it, replacing the tables;
  /// false, with the tables unchanged, when the file cannot be opened (a folder counts as a file
  /// that cannot be opened).
  bool read_file(std::string file_name);
  /// Reads an open stream, replacing the tables; false, changing nothing, when the stream is
  /// already in a failed state.
  bool read_file(std::ifstream& in);
  /// Replaces the tables by the lines of `in`, stopping at the end of the input or at the first
  /// line longer than `max_line_length`.
  void file_to_strings(std::istream& in);

  /// Writes the raw lines as they were read, one per line (later word replacements are not
  /// written). Nothing is reported when the file cannot be created.
  void save_file_as(std::string path) const;

  /// The path last given to read_file.
  const std::string& file_name() const { return file_name_; }
  /// The part of the file name before its last backslash; the whole name when it has none. Only
  /// the backslash separates folders here, by design: forward slashes are part of a name.
  std::string folder() const;

private:
  std::string file_name_;
};

} // namespace xtalmotif

#endif
