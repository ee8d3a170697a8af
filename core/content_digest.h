#ifndef XTALMOTIF_CORE_CONTENT_DIGEST_H
#define XTALMOTIF_CORE_CONTENT_DIGEST_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace xtalmotif {

/// A running 64-bit digest of bytes, fed piece by piece as the bytes are read: equal digests
/// stand for unchanged content. It guards against accidents (a file edited or replaced, a
/// damaged record), not against forgery.
///
/// The bytes are taken eight at a time, whatever the pieces they came in, so that digesting a
/// CIF text costs a small part of parsing it (a byte-at-a-time digest cost a tenth of a
/// search's reading). Each step, (h ^ word) * odd constant and a rotation, is one-to-one in h
/// for a given word and in the word for a given h, so a change confined to one word always
/// changes the digest; the length and the bytes of an unfinished word are mixed in at the end.
class ContentDigest {
public:
  /// Adds `n` bytes.
  void add(const char* data, std::size_t n) {
    length_ += n;
    if (held_ > 0) {
      const std::size_t take = n < 8 - held_ ? n : 8 - held_;
      std::memcpy(word_ + held_, data, take);
      held_ += take;
      data += take;
      n -= take;
      if (held_ < 8)
        return;
      step(word_);
      held_ = 0;
    }
    for (; n >= 8; data += 8, n -= 8)
      step(data);
    std::memcpy(word_, data, n);
    held_ = n;
  }
  /// The digest of every byte added so far.
  std::uint64_t value() const {
    std::uint64_t h = value_ ^ length_;
    for (std::size_t i = 0; i < held_; ++i)
      h = (h ^ static_cast<unsigned char>(word_[i])) * kMultiplier;
    h ^= h >> 33;
    h *= 0xFF51AFD7ED558CCDull;
    h ^= h >> 33;
    return h;
  }

private:
  static constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15ull;
  void step(const char* eight) {
    std::uint64_t w;
    std::memcpy(&w, eight, 8);
    value_ = (value_ ^ w) * kMultiplier;
    value_ = (value_ << 29) | (value_ >> 35);
  }

  std::uint64_t value_ = 14695981039346656037ull;
  std::uint64_t length_ = 0;
  char word_[8] = {};
  std::size_t held_ = 0;
};

} // namespace xtalmotif

#endif
