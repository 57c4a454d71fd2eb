// LookalikeWords.h: unknown words that are a known one in letters of another alphabet.
//
// A word of both alphabets gives itself away and is read back by the tokeniser. One whose every letter has a
// look-alike becomes a word of the other alphabet altogether, or a Russian or Greek one turns Latin but for a
// letter or two. Only the map can tell that: it does not know what is written, and knows what is seen.
#pragma once

#include <cstddef>
#include <cstdint>

#include "lsm/Token.h"

namespace sifterra::lsm {

class Map;

inline constexpr std::size_t kMinLookalikeWord = 3;  // letters
inline constexpr std::size_t kMaxLookalikeWord = 24;

// The number of the map's word that the token looks like, or Map::kUnknownWord.
[[nodiscard]] std::uint32_t lookalikeWord(const Map& map, const Token& token);

}  // namespace sifterra::lsm
