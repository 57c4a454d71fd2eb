#include "lsm/NGrams.h"

#include <cstring>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace sifterra::lsm {

void nGramBuckets(const Token& token, std::uint32_t bucketCount, NGramBuckets& buckets) noexcept {
  buckets.count = 0;
  if (!hasNGrams(token)) return;
  // "<w>" and where each of its characters starts; the end stands behind.
  char spelt[4 * kMaxNGramWord + 2];
  std::uint8_t start[kMaxNGramWord + 3];
  std::size_t size = 0;
  std::size_t characters = 0;
  start[characters++] = 0;
  spelt[size++] = '<';
  for (const char byte : token.text) {
    const bool continues = (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
    if (!continues) start[characters++] = static_cast<std::uint8_t>(size);
    spelt[size++] = byte;
  }
  start[characters++] = static_cast<std::uint8_t>(size);
  spelt[size++] = '>';
  start[characters] = static_cast<std::uint8_t>(size);

  for (std::size_t length = 4; length <= 5; ++length) {
    for (std::size_t first = 0; first + length <= characters; ++first) {
      const std::uint64_t hash =
          XXH3_64bits(spelt + start[first], static_cast<std::size_t>(start[first + length] - start[first]));
      buckets.bucket[buckets.count++] = static_cast<std::uint32_t>(hash) & (bucketCount - 1);
    }
  }
}

}  // namespace sifterra::lsm
