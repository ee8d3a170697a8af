#ifndef XTALMOTIF_CORE_CHECKED_INDEX_H
#define XTALMOTIF_CORE_CHECKED_INDEX_H

#include <cstddef>
#include <stdexcept>
#include <vector>

namespace xtalmotif {

/// Element `i` of a list, with the library's fixed range error "vector [] access out of range"
/// for a negative or too large index.
template <class T> const T& checked_index(const std::vector<T>& v, long long i) {
  if (i < 0 || static_cast<std::size_t>(i) >= v.size())
    throw std::out_of_range("vector [] access out of range");
  return v[static_cast<std::size_t>(i)];
}

template <class T> T& checked_index(std::vector<T>& v, long long i) {
  if (i < 0 || static_cast<std::size_t>(i) >= v.size())
    throw std::out_of_range("vector [] access out of range");
  return v[static_cast<std::size_t>(i)];
}

} // namespace xtalmotif

#endif
