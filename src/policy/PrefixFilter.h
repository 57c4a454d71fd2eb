// PrefixFilter: tells quickly that no text of a set is the beginning of another text.
//
// A Bloom filter over whole texts, and which lengths they have: the beginnings of those lengths are looked
// up. "No" is certain, "perhaps" is not. Texts are never taken out; who removes some makes the filter anew
// now and then.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace sifterra {

class PrefixFilter {
 public:
  // Makes room for twice as many texts as are given, and forgets all.
  void reset(std::size_t texts) {
    words_.assign(std::bit_ceil(texts / kTextsPerWord + 1) * 2, 0);
    lengths_ = {};
    longer_ = false;
    room_ = 2 * texts;
  }
  [[nodiscard]] bool full() const noexcept { return room_ == 0; }

  // There must be room.
  void add(std::string_view text) {
    --room_;
    if (text.size() > kLongest) {
      longer_ = true;
      return;
    }
    std::uint64_t hash = 0;
    for (const char c : text) hash = step(hash, c);
    lengths_[text.size() / 64] |= std::uint64_t{1} << (text.size() % 64);
    words_[wordOf(hash)] |= bitsOf(hash);
  }

  // Whether a text of the set may be how `text` begins.
  [[nodiscard]] bool mayBegin(std::string_view text) const noexcept {
    if (longer_ && text.size() > kLongest) return true;
    std::uint64_t hash = 0;
    for (std::size_t length = 0; length <= kLongest; ++length) {
      if (length % 64 == 0 && noneFrom(length / 64)) return false;
      if ((lengths_[length / 64] >> (length % 64) & 1) != 0 &&
          (words_[wordOf(hash)] & bitsOf(hash)) == bitsOf(hash)) {
        return true;
      }
      if (length == text.size()) return false;
      hash = step(hash, text[length]);
    }
    return false;
  }

 private:
  static constexpr std::size_t kLongest = 255;
  static constexpr std::size_t kTextsPerWord = 4;  // 16 bits each

  static std::uint64_t step(std::uint64_t hash, char c) noexcept {
    return (hash ^ static_cast<unsigned char>(c)) * 0x9E3779B97F4A7C15U + 1;
  }
  [[nodiscard]] std::size_t wordOf(std::uint64_t hash) const noexcept {
    return static_cast<std::size_t>(hash >> 32U) & (words_.size() - 1);
  }
  static std::uint64_t bitsOf(std::uint64_t hash) noexcept {
    return std::uint64_t{1} << (hash >> 20U & 63U) | std::uint64_t{1} << (hash >> 26U & 63U);
  }
  [[nodiscard]] bool noneFrom(std::size_t word) const noexcept {
    for (; word < lengths_.size(); ++word) {
      if (lengths_[word] != 0) return false;
    }
    return true;
  }

  std::vector<std::uint64_t> words_;
  std::array<std::uint64_t, 4> lengths_{};  // a bit for each length
  bool longer_ = false;                     // whether there are texts longer than that
  std::size_t room_ = 0;
};

}  // namespace sifterra
