#include "lsm/MapFile.h"

#include "lsm/MapHeader.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace sifterra::lsm {

std::uint64_t wordHash(std::string_view word) noexcept {
  return XXH3_64bits(word.data(), word.size());
}

const std::byte* Map::payload() const noexcept {
  return _bytes->bytes().data() + kMapHeaderBytes;
}

std::uint32_t Map::find(std::uint64_t hash) const noexcept {
  std::uint32_t slot = firstSlot(hash);
  for (std::uint32_t probe = 0; probe < kMaxProbes; ++probe) {
    const std::uint64_t entry = _wordSlots[slot];
    if (entry == 0) return kUnknownWord;
    if (((entry ^ hash) & ~kSlotWordMask) == 0) return static_cast<std::uint32_t>(entry & kSlotWordMask) - 1;
    slot = (slot + 1) & _slotMask;
  }
  return kUnknownWord;
}

std::string signatureToken(std::uint32_t category) {
  constexpr const char* kPadding = "oooooooooooo";
  return std::string(kPadding) + "category" + std::to_string(category) + kPadding;
}

}  // namespace sifterra::lsm
