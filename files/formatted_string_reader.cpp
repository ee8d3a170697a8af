#include "files/formatted_string_reader.h"

#include <algorithm>
#include <ostream>
#include <utility>

namespace xtalmotif {

namespace {

// Exactly the white space of formatted extraction in the classic locale. Testing the bytes
// ourselves keeps bytes above 127 (binary junk, UTF-8) ordinary word characters on every
// platform.
bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

} // namespace

std::vector<std::string> FormattedStringReader::split_words(const std::string& text) {
  std::vector<std::string> out;
  std::size_t i = 0;
  const std::size_t n = text.size();
  while (i < n) {
    while (i < n && is_blank(text[i]))
      ++i;
    std::size_t start = i;
    while (i < n && !is_blank(text[i]))
      ++i;
    if (i > start)
      out.emplace_back(text, start, i - start);
  }
  return out;
}

void FormattedStringReader::clear_tables() {
  words_.clear();
  lines_.clear();
}

void FormattedStringReader::append_line(std::string text) {
  words_.push_back(split_words(text));
  lines_.push_back(std::move(text));
}

bool FormattedStringReader::load_string(std::vector<std::string>& text) {
  clear_tables();
  for (const std::string& s : text)
    append_line(s);
  return true;
}

int FormattedStringReader::nwords() const {
  std::size_t total = 0;
  for (const auto& w : words_)
    total += w.size();
  return static_cast<int>(total);
}

int FormattedStringReader::nlines_with(std::string key) const {
  int count = 0;
  for (int i = 0; i < nlines(); ++i)
    if (lines_[i].find(key) != std::string::npos)
      ++count;
  return count;
}

int FormattedStringReader::line_with(std::string key, int nth, int start, int end) const {
  // End 0 means "to the end of the text". A start before the text or an end beyond it is held
  // to the text, so that a careless caller gets -1 rather than a read outside the table.
  int stop = (end == 0) ? nlines() : std::min(end, nlines());
  int found = 0;
  for (int i = std::max(start, 0); i < stop; ++i) {
    if (lines_[i].find(key) != std::string::npos) {
      ++found;
      if (found == nth)
        return i;
    }
  }
  return -1;
}

void FormattedStringReader::section(std::string start_key, std::string end_key, int start,
                                    int& first, int& last) const {
  first = line_with(start_key, 1, start, 0);
  // Without a start marker there is nothing to end.
  last = (first < 0) ? -1 : line_with(end_key, 1, first, 0);
}

int FormattedStringReader::section(std::string start_key, std::string end_key, int start,
                                   std::vector<std::string>& out) const {
  int first = -1;
  int last = -1;
  section(std::move(start_key), std::move(end_key), start, first, last);
  if (first < 0 || last < 0)
    return -1;
  out.insert(out.end(), lines_.begin() + first, lines_.begin() + last + 1);
  return last;
}

std::vector<std::string> FormattedStringReader::line(int i, const std::vector<int>& columns) const {
  const std::vector<std::string>& row = words_.at(static_cast<std::size_t>(i));
  std::vector<std::string> out;
  out.reserve(columns.size());
  for (int c : columns)
    out.push_back(row.at(static_cast<std::size_t>(c)));
  return out;
}

std::string FormattedStringReader::string_line(int i, const std::vector<int>& columns) const {
  std::string out;
  for (const std::string& w : line(i, columns))
    out += w;
  return out;
}

int FormattedStringReader::replace(std::string old_word, std::string new_word) {
  // Deliberately the word table only: `lines_` keeps the text as read so that saving the file
  // reproduces it.
  int count = 0;
  for (auto& row : words_)
    for (auto& w : row)
      if (w == old_word) {
        w = new_word;
        ++count;
      }
  return count;
}

void FormattedStringReader::replace(int i, int j, std::string new_word) {
  words_.at(static_cast<std::size_t>(i)).at(static_cast<std::size_t>(j)) = std::move(new_word);
}

void FormattedStringReader::print(std::ostream& os) const {
  for (const auto& row : words_) {
    for (const auto& w : row)
      os << w << " ";
    os << "\n";
  }
}

} // namespace xtalmotif
