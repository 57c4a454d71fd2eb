// NearWords.h: unknown words that are a telling word with one mistake in it ("lesbain", "porrn").
//
// A map names its telling words: long ones that hardly stand in any page but those of the last category. Each
// is kept under its own text and under its text without one letter, the first and the last never left out. An
// unknown word is looked for in the same way: two words that share such a key are at most two edits apart,
// and those with one mistake always share one. So a look-up costs one key a letter, and a filter answers
// nearly all of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "lsm/Token.h"

namespace sifterra::lsm {

class Map;

inline constexpr std::size_t kMinNearWord = 5;  // letters, of both words
inline constexpr std::size_t kMaxNearWord = 20;

[[nodiscard]] constexpr bool mayBeNear(const Token& token) noexcept {
  return token.kind == TokenKind::kWord && token.characters >= kMinNearWord &&
         token.characters <= kMaxNearWord;
}

// The keys of a word of at most kMaxNearWord letters: the whole word, then without each inner letter.
struct NearKeys {
  std::size_t count = 0;
  std::uint64_t key[kMaxNearWord];
};
void nearKeys(std::string_view word, NearKeys& keys) noexcept;

// Whether one word becomes the other by one letter put in, left out or replaced, or by two neighbours that
// change places; the first and the last letter stay.
[[nodiscard]] bool isOneMistakeApart(std::string_view a, std::string_view b) noexcept;

// The number of the map's telling word that the token is with one mistake, or Map::kUnknownWord.
[[nodiscard]] std::uint32_t nearWord(const Map& map, const Token& token) noexcept;

}  // namespace sifterra::lsm
