// WordEnds.h: how a word begins and ends, and how long it is: enough to tell of nearly every pair of words
// that they make none together, without their text in a row.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

namespace sifterra::lsm {

struct WordEnds {
  static constexpr std::uint32_t kBytes = 4;

  std::uint32_t head = 0;  // the first bytes, the very first in the low bits
  std::uint32_t tail = 0;  // the last bytes, the very last in the low bits
  std::uint32_t size = 0;  // in bytes; 0: no word

  WordEnds() = default;
  explicit WordEnds(std::string_view word) noexcept : size(static_cast<std::uint32_t>(word.size())) {
    if (size >= kBytes) {
      std::memcpy(&head, word.data(), kBytes);
      std::memcpy(&tail, word.data() + size - kBytes, kBytes);
      if constexpr (std::endian::native == std::endian::big) {
        head = __builtin_bswap32(head);
      } else {
        tail = __builtin_bswap32(tail);
      }
      return;
    }
    for (std::uint32_t i = 0; i < size; ++i) {
      head |= std::uint32_t{static_cast<unsigned char>(word[i])} << (8 * i);
      tail |= std::uint32_t{static_cast<unsigned char>(word[size - 1 - i])} << (8 * i);
    }
  }
  // Of both words in a row; both are some.
  WordEnds(const WordEnds& first, const WordEnds& second) noexcept
      : head(first.head), tail(second.tail), size(first.size + second.size) {
    if (first.size < kBytes) head |= second.head << (8 * first.size);
    if (second.size < kBytes) tail |= first.tail << (8 * second.size);
  }
  [[nodiscard]] bool operator==(const WordEnds&) const = default;
};

// What a word shares with one that has a mistake in it and keeps the outer letters: two bytes at one end, one
// at the other, and but for one the number of letters. `word` holds two bytes or more.
struct OuterBytes {
  OuterBytes(std::string_view word, std::uint32_t letters) noexcept {
    const auto byte = [word](std::size_t i) { return std::uint32_t{static_cast<unsigned char>(word[i])}; };
    const std::uint32_t first = byte(0);
    const std::uint32_t last = byte(word.size() - 1);
    moreAtFirst.head = first | (byte(1) << 8U);
    moreAtFirst.tail = last;
    moreAtLast.head = first;
    moreAtLast.tail = last | (byte(word.size() - 2) << 8U) | kMark;
    moreAtFirst.size = moreAtLast.size = letters;
  }

  static constexpr std::uint32_t kMark = 1U << 16U;  // keeps the two apart
  WordEnds moreAtFirst;
  WordEnds moreAtLast;
};

// A set of such ends: never denies one that was added, seldom admits another.
class WordEndsFilter {
 public:
  // For so many words; holds none yet.
  void reset(std::size_t words) {
    constexpr std::size_t kBitsPerWord = 16;
    _blocks.assign(std::bit_ceil(std::clamp<std::size_t>(words * kBitsPerWord / 64, 1, kMaxBlocks)), 0);
  }
  void add(const WordEnds& ends) noexcept {
    const std::uint64_t hash = hashOf(ends);
    _blocks[blockOf(hash)] |= bitOf(hash);
  }
  [[nodiscard]] bool mayHold(const WordEnds& ends) const noexcept {
    const std::uint64_t hash = hashOf(ends);
    return (_blocks[blockOf(hash)] & bitOf(hash)) != 0;
  }

 private:
  static constexpr std::size_t kMaxBlocks = std::size_t{1} << 14;  // 128 KiB

  static std::uint64_t hashOf(const WordEnds& ends) noexcept {
    const std::uint64_t both = (std::uint64_t{ends.head} << 32U) | ends.tail;
    const std::uint64_t hash = (both ^ (std::uint64_t{ends.size} << 24U)) * 0x9e3779b97f4a7c15U;
    return (hash ^ (hash >> 32U)) * 0xd6e8feb86659fd93U;
  }
  static std::uint64_t bitOf(std::uint64_t hash) noexcept { return std::uint64_t{1} << (hash >> 58U); }
  [[nodiscard]] std::size_t blockOf(std::uint64_t hash) const noexcept {
    return (hash >> 32U) & (_blocks.size() - 1);
  }

  std::vector<std::uint64_t> _blocks;
};

}  // namespace sifterra::lsm
