#ifndef XTALMOTIF_CORE_CONTENT_DIGEST_H
#define XTALMOTIF_CORE_CONTENT_DIGEST_H

#include <cstddef>
#include <cstdint>

namespace xtalmotif {

/// A running 64-bit digest of bytes (FNV-1a), fed piece by piece as the bytes are read: equal
/// digests stand for unchanged content. It guards against accidents (a file edited or replaced,
/// a damaged record), not against forgery.
class ContentDigest {
public:
  /// Adds `n` bytes.
  void add(const char* data, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) {
      value_ ^= static_cast<unsigned char>(data[i]);
      value_ *= 1099511628211ull;
    }
  }
  /// The digest of every byte added so far.
  std::uint64_t value() const { return value_; }

private:
  std::uint64_t value_ = 14695981039346656037ull;
};

} // namespace xtalmotif

#endif
