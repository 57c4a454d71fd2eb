// WordSplitter.h: cuts an unknown word into known ones ("freepictures" -> free, pictures).
//
// The cut with the least sum of costs wins, where a known word costs -ln(share of the training pages that
// hold it) and kSplitCostPerWord; so few and common words are preferred. Only words without a rest count;
// of words that were spelt out in a row, letters in between may be left over.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>
#include <utility>

#include "lsm/Token.h"

namespace sifterra::lsm {

inline constexpr std::size_t kMinSplitWord = 6;  // letters of a word that is cut
inline constexpr std::size_t kMaxSplitWord = 40;
inline constexpr std::size_t kMinSplitPiece = 3;  // letters of a piece
inline constexpr std::size_t kMaxSplitPiece = 16;
inline constexpr float kSplitCostPerWord = 6.0f;
inline constexpr float kSpeltLetterCost = 6.0f;  // of one left over
// So many words of one text are cut; further ones are spelt out in n-grams. Bounds the time for hostile text.
inline constexpr std::size_t kMaxSplitsPerText = 512;

// Whether the splitter takes such a token.
[[nodiscard]] constexpr bool maySplit(const Token& token) noexcept {
  return token.kind == TokenKind::kSpelt ||
         (token.kind == TokenKind::kWord && token.characters >= kMinSplitWord &&
          token.characters <= kMaxSplitWord);
}

// The pieces of one word, from left to right: what the look-up said for each.
struct WordSplit {
  std::size_t count = 0;
  std::array<std::uint32_t, kMaxWordCharacters / kMinSplitPiece> word;
};

// `lookUp(std::string_view piece, std::uint32_t& word, float& cost)` tells whether a piece is known, and then
// its number and its -ln(df/N). No pieces when the word cannot be cut without a rest.
template <class LookUp>
[[nodiscard]] WordSplit splitWord(const Token& token, LookUp&& lookUp) {
  constexpr std::uint8_t kLeftOver = 1;
  const bool isSpelt = token.kind == TokenKind::kSpelt;
  WordSplit split;
  if (!maySplit(token)) return split;

  // Byte offsets of the characters; an end stands for "after the character".
  std::array<std::uint8_t, kMaxWordCharacters + 1> offset;
  std::size_t length = 0;
  for (std::size_t i = 0; i < token.text.size(); ++i) {
    const bool continues = (static_cast<unsigned char>(token.text[i]) & 0xC0U) == 0x80U;
    offset[length] = static_cast<std::uint8_t>(i);
    length += !continues;
  }
  offset[length] = static_cast<std::uint8_t>(token.text.size());

  struct Best {
    float cost;
    std::uint32_t word;
    std::uint8_t from;
    std::uint8_t kind;
  };
  std::array<Best, kMaxWordCharacters + 1> best;  // no more of it is made than the word is long
  best[0] = {0, 0, 0, 0};
  for (std::size_t to = 1; to <= length; ++to) best[to] = {std::numeric_limits<float>::infinity(), 0, 0, 0};
  for (std::size_t from = 0; from < length; ++from) {
    if (!(best[from].cost < std::numeric_limits<float>::infinity())) continue;
    if (isSpelt && best[from].cost + kSpeltLetterCost < best[from + 1].cost) {
      best[from + 1] = {best[from].cost + kSpeltLetterCost, 0, static_cast<std::uint8_t>(from), kLeftOver};
    }
    for (std::size_t to = from + kMinSplitPiece; to <= length && to - from <= kMaxSplitPiece; ++to) {
      const std::size_t rest = length - to;
      if (!isSpelt && rest != 0 && rest < kMinSplitPiece) continue;
      std::uint32_t word = 0;
      float cost = 0;
      const std::string_view piece(token.text.data() + offset[from],
                                   static_cast<std::size_t>(offset[to] - offset[from]));
      if (!lookUp(piece, word, cost)) continue;
      const float total = best[from].cost + cost + kSplitCostPerWord;
      if (total < best[to].cost) best[to] = {total, word, static_cast<std::uint8_t>(from), 0};
    }
  }
  if (!(best[length].cost < std::numeric_limits<float>::infinity())) return split;
  for (std::size_t to = length; to > 0; to = best[to].from) {
    if (best[to].kind != kLeftOver) split.word[split.count++] = best[to].word;
  }
  for (std::size_t i = 0; i < split.count / 2; ++i) std::swap(split.word[i], split.word[split.count - 1 - i]);
  return split;
}

}  // namespace sifterra::lsm
