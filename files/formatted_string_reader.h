#ifndef XTALMOTIF_FILES_FORMATTED_STRING_READER_H
#define XTALMOTIF_FILES_FORMATTED_STRING_READER_H

#include <iosfwd>
#include <string>
#include <vector>

namespace xtalmotif {

/// Record-oriented text held as a table of lines and whitespace-separated words, so that a
/// record can be read by position (line 7, words 1 and 3). The text is not interpreted: there is
/// no comment syntax, no case folding and no trimming beyond word splitting.
///
/// Entry i of `words()` and of `lines()` always describe the same line; blank lines keep their
/// index (with no words).
class FormattedStringReader {
public:
  FormattedStringReader() = default;

  /// Replaces the table by the given lines (one string per line, without terminators). Always
  /// succeeds.
  bool load_string(std::vector<std::string>& text);

  /// Number of lines held.
  int nlines() const { return static_cast<int>(words_.size()); }
  /// Total number of words over all lines.
  int nwords() const;
  /// Number of lines whose raw text contains `key` anywhere.
  int nlines_with(std::string key) const;
  /// Index of the line holding the `nth` (from 1) line that contains `key`, scanning from line
  /// `start` up to, not including, line `end` (0 meaning the end of the text); -1 when there is
  /// no such line. A line with several occurrences counts once.
  int line_with(std::string key, int nth, int start, int end) const;
  /// Appends to `out` the raw lines from the first line at or after `start` containing
  /// `start_key` through the first line at or after that one containing `end_key` (one line when
  /// it holds both), and returns the index of the end line; -1, leaving `out` alone, when either
  /// marker is missing.
  int section(std::string start_key, std::string end_key, int start,
              std::vector<std::string>& out) const;
  /// The same two searches, giving the indices of the start and end lines (-1 when not found).
  void section(std::string start_key, std::string end_key, int start, int& first,
               int& last) const;

  /// The words of line `i` at the given word positions, in the order given (repeats allowed).
  /// Positions must exist; a bad one throws std::out_of_range.
  std::vector<std::string> line(int i, const std::vector<int>& columns) const;
  /// The same words joined with nothing between them.
  std::string string_line(int i, const std::vector<int>& columns) const;

  /// Replaces every word equal to `old_word` (whole word, case-sensitive) by `new_word` and
  /// returns how many were replaced. Only the word table changes: the raw lines keep the text as
  /// it was read, so that saving writes the original text.
  int replace(std::string old_word, std::string new_word);
  /// Sets word `j` of line `i` (word table only). The position must exist; a bad one throws
  /// std::out_of_range.
  void replace(int i, int j, std::string new_word);

  /// Writes the word table: each word followed by one blank, each line ended by "\n".
  void print(std::ostream& os) const;

  /// The words of every line.
  const std::vector<std::vector<std::string>>& words() const { return words_; }
  /// Every line exactly as read, without its terminator.
  const std::vector<std::string>& lines() const { return lines_; }

  /// The words of one line of text, split at blanks, tabs, carriage returns, line feeds,
  /// vertical tabs and form feeds (the white space of formatted stream extraction).
  static std::vector<std::string> split_words(const std::string& text);

protected:
  /// Empties both tables.
  void clear_tables();
  /// Appends one line: its words to the word table and the text itself to the raw lines.
  void append_line(std::string text);

private:
  std::vector<std::vector<std::string>> words_;
  std::vector<std::string> lines_;
};

} // namespace xtalmotif

#endif
