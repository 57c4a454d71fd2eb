// NGrams.h: hashed character n-grams, what the engine knows of a word that the map does not hold.
//
// A word w of 4 to 24 letters is spelt "<w>"; every run of 4 and of 5 characters of that goes to one of the
// map's buckets. All of 4 first, then all of 5, from left to right; two equal n-grams count twice.
#pragma once

#include <cstddef>
#include <cstdint>

#include "lsm/Token.h"

namespace sifterra::lsm {

inline constexpr std::uint32_t kDefaultBucketCount = 32768;
inline constexpr std::size_t kMinNGramWord = 4;
inline constexpr std::size_t kMaxNGramWord = 24;
// The most n-grams that one word has: 23 of 4 and 22 of 5.
inline constexpr std::size_t kMaxNGrams = 45;

// The buckets of one word, in order.
struct NGramBuckets {
  std::size_t count = 0;
  std::uint32_t bucket[kMaxNGrams];
};

// Whether the token has n-grams: a word (letters only) of a fitting length.
[[nodiscard]] constexpr bool hasNGrams(const Token& token) noexcept {
  return token.kind == TokenKind::kWord && token.characters >= kMinNGramWord &&
         token.characters <= kMaxNGramWord;
}
// Fills the buckets of a token that has n-grams; none for any other. `bucketCount` is a power of two.
void nGramBuckets(const Token& token, std::uint32_t bucketCount, NGramBuckets& buckets) noexcept;

}  // namespace sifterra::lsm
