#include "files/lenient_number.h"

#include <cerrno>
#include <climits>
#include <cstdlib>

namespace xtalmotif::MotifSearchLibFunctions {

int lenient_int(const std::string& text) {
  // strtol rather than atoi: atoi's behaviour on overflow is undefined, and a query file is
  // untrusted text.
  errno = 0;
  long value = std::strtol(text.c_str(), nullptr, 10);
  if (value > INT_MAX)
    return INT_MAX;
  if (value < INT_MIN)
    return INT_MIN;
  return static_cast<int>(value);
}

double lenient_double(const std::string& text) { return std::strtod(text.c_str(), nullptr); }

const std::string& word_or(const std::vector<std::string>& words, std::size_t i,
                           const std::string& fallback) {
  return i < words.size() ? words[i] : fallback;
}

} // namespace xtalmotif::MotifSearchLibFunctions
