#include "files/formatted_file_reader.h"

#include <filesystem>
#include <istream>
#include <system_error>
#include <ostream>
#include <utility>
#include <vector>

namespace xtalmotif {

FormattedFileReader::FormattedFileReader(std::string file_name) {
  read_file(std::move(file_name));
}

bool FormattedFileReader::read_file(std::string file_name) {
  file_name_ = std::move(file_name);
  // A folder can be opened as a stream on some systems but holds no text.
  std::error_code ec;
  if (std::filesystem::is_directory(file_name_, ec))
    return false;
  std::ifstream in(file_name_);
  if (!in.is_open())
    return false;
  file_to_strings(in);
  return true;
}

bool FormattedFileReader::read_file(std::ifstream& in) {
  if (in.fail())
    return false;
  file_to_strings(in);
  return true;
}

void FormattedFileReader::file_to_strings(std::istream& in) {
  clear_tables();
  // A fixed buffer of max_line_length + 1 characters: a longer line fails the read and ends
  // the file there, deliberately, so no line can grow without bound.
  std::vector<char> buffer(static_cast<std::size_t>(max_line_length) + 1);
  while (in.getline(buffer.data(), static_cast<std::streamsize>(buffer.size()))) {
    // gcount includes the terminator when one was consumed; there was none when the last line
    // of the file ends without one. Counting keeps NUL bytes of binary files inside the line.
    std::streamsize length = in.gcount();
    if (!in.eof() && length > 0)
      --length;
    append_line(std::string(buffer.data(), static_cast<std::size_t>(length)));
  }
}

void FormattedFileReader::save_file_as(std::string path) const {
  std::ofstream out(path, std::ios::out | std::ios::trunc);
  if (!out)
    return;
  for (const std::string& text : lines())
    out << text << std::endl;
}

std::string FormattedFileReader::folder() const {
  // Without a backslash npos is passed on as the length, which takes the whole name.
  return file_name_.substr(0, file_name_.rfind('\\'));
}

} // namespace xtalmotif
