#include "lsm/training/word_tables.h"

#include <bit>
#include <cmath>
#include <cstddef>

#include "lsm/MapFile.h"

namespace sifterra::lsm {
namespace {

// The open-addressing table of words by hash, doubled until no word is farther from its place than a look-up
// goes.
struct Slot {
  std::uint64_t hash;
  std::uint32_t word;
};

std::vector<std::uint64_t> slotTable(const std::vector<Slot>& entries) {
  for (std::size_t size = std::bit_ceil(entries.size() + entries.size() / 2 + 1);; size *= 2) {
    std::vector<std::uint64_t> slots(size, 0);
    bool fits = true;
    for (std::size_t i = 0; i < entries.size() && fits; ++i) {
      std::size_t slot = entries[i].hash & (size - 1);
      std::uint32_t probes = 1;
      while (slots[slot] != 0) {
        slot = (slot + 1) & (size - 1);
        ++probes;
      }
      fits = probes <= kMaxProbes;
      slots[slot] = (entries[i].hash & ~kSlotWordMask) | (entries[i].word + 1);
    }
    if (fits) return slots;
  }
}

}  // namespace

std::vector<std::uint64_t> slotsFor(const std::vector<MapWord>& words) {
  std::vector<Slot> entries;
  for (std::size_t i = 0; i < words.size(); ++i) {
    entries.push_back({wordHash(words[i].text), static_cast<std::uint32_t>(i)});
  }
  return slotTable(entries);
}

std::vector<std::uint64_t> nearSlotsFor(const std::vector<NearKey>& keys) {
  std::vector<Slot> entries;
  entries.reserve(keys.size());
  for (const NearKey& key : keys) entries.push_back({key.key, key.word});
  return slotTable(entries);
}

// One bit in sixteen or fewer is set: most keys of an honest word end here.
std::vector<std::uint8_t> nearFilterFor(const std::vector<NearKey>& keys) {
  std::vector<std::uint8_t> filter(std::bit_ceil(2 * keys.size() + 1), 0);
  for (const NearKey& key : keys) {
    const std::size_t bit = (key.key >> 32U) & (8 * filter.size() - 1);
    filter[bit / 8] = static_cast<std::uint8_t>(filter[bit / 8] | (1U << (bit % 8)));
  }
  return filter;
}

// One bit in thirteen or more is set, so that few of the beginnings of an unknown word are looked up in vain.
std::vector<std::uint8_t> pieceFilterFor(const std::vector<MapWord>& words) {
  std::vector<std::uint8_t> filter(std::bit_ceil(words.size() * 13 / 8 + 1), 0);
  for (const MapWord& word : words) {
    if (!std::isfinite(word.splitCost) || word.splitCost < 0) continue;
    PieceHash hash;
    for (const char byte : word.text) hash.add(byte);
    const std::size_t bit = hash.bit(filter.size());
    filter[bit / 8] = static_cast<std::uint8_t>(filter[bit / 8] | (1U << (bit % 8)));
  }
  return filter;
}

}  // namespace sifterra::lsm
