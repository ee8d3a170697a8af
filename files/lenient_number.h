#ifndef XTALMOTIF_FILES_LENIENT_NUMBER_H
#define XTALMOTIF_FILES_LENIENT_NUMBER_H

#include <string>
#include <vector>

namespace xtalmotif::MotifSearchLibFunctions {

/// The integer at the start of `text`, read as the C library reads decimal numbers: leading
/// blanks skipped, reading stops at the first character that cannot belong to the number, and
/// text without a number gives 0. Values beyond the range of int are held at its limits.
int lenient_int(const std::string& text);

/// The real number at the start of `text`, read in the same lenient way (0 when there is none).
double lenient_double(const std::string& text);

/// Word `i` of a line's words, or `fallback` when the line has fewer words.
const std::string& word_or(const std::vector<std::string>& words, std::size_t i,
                           const std::string& fallback);

} // namespace xtalmotif::MotifSearchLibFunctions

#endif
