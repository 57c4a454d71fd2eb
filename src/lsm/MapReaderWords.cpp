// The part of MapReader that reads the words: their bytes and numbers, and the tables by which they and words
// near to them are found. It also makes the sets of word ends, which a map does not hold since they follow
// from the words.
#include <algorithm>
#include <bit>
#include <string_view>
#include <vector>

#include "lsm/MapReader.h"
#include "lsm/Tokenizer.h"
#include "lsm/map_checks.h"
#include "lsm/map_generated.h"

namespace sifterra::lsm {
namespace {

// A word of 64 characters in UTF-8.
constexpr std::uint32_t kMaxWordBytes = 4 * kMaxWordCharacters;

}  // namespace

bool MapReader::readWords(const file::Map& payload) {
  Map& map = *_map;
  const std::uint32_t count = map._wordCount;
  if (payload.word_bytes() == nullptr || !hasSize(payload.word_offsets(), std::uint64_t{count} + 1) ||
      !hasSize(payload.word_weights(), count) || !hasSize(payload.word_split_costs(), count)) {
    return refuse("the word tables disagree");
  }
  map._wordBytes = reinterpret_cast<const char*>(payload.word_bytes()->data());
  map._wordOffsets = payload.word_offsets()->data();
  map._wordWeights = payload.word_weights()->data();
  map._splitCosts = payload.word_split_costs()->data();
  bool sound = map._wordOffsets[0] == 0 && map._wordOffsets[count] == payload.word_bytes()->size();
  for (std::uint32_t i = 0; i < count; ++i) {
    // Falling offsets wrap around and are too long.
    const std::uint32_t length = map._wordOffsets[i + 1] - map._wordOffsets[i];
    sound &= length >= 1 && length <= kMaxWordBytes;
  }
  if (!sound) return refuse("the words are out of order");
  if (!allWithin(map._wordWeights, count, 0, 1) || !allWithin(map._splitCosts, count, -1, kMaxHead)) {
    return refuse("a number of a word is out of range");
  }
  map._pieceEnds.reset(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    if (map._splitCosts[i] >= 0) map._pieceEnds.add(WordEnds(map.word(i)));
  }
  return true;
}

bool MapReader::readSlots(const file::Map& payload) {
  Map& map = *_map;
  const auto* slots = payload.word_slots();
  if (slots == nullptr || !std::has_single_bit(slots->size())) return refuse("bad hash table");
  if (!isAligned(slots->data())) return refuse("bad hash table");
  map._wordSlots = slots->data();
  map._slotMask = slots->size() - 1;
  if (!slotsAreSound(map._wordSlots, slots->size())) return refuse("bad hash table");
  const auto* filter = payload.piece_filter();
  if (filter == nullptr || !std::has_single_bit(filter->size())) return refuse("bad piece filter");
  map._pieceFilter = filter->data();
  map._pieceFilterBytes = filter->size();
  return true;
}

bool MapReader::slotsAreSound(const std::uint64_t* slots, std::uint32_t count) const {
  bool sound = true;
  for (std::uint32_t i = 0; i < count; ++i) {
    // A free slot is 0; bits of a hash without a word are none.
    const std::uint64_t number = slots[i] & kSlotWordMask;
    sound &= (number != 0 || slots[i] == 0) && number <= _map->_wordCount;
  }
  return sound;
}

bool MapReader::readNearWords(const file::Map& payload) {
  const auto* slots = payload.near_slots();
  const auto* filter = payload.near_filter();
  if (slots == nullptr && filter == nullptr) return true;
  if (slots == nullptr || filter == nullptr || !std::has_single_bit(slots->size()) ||
      !std::has_single_bit(filter->size()) || !isAligned(slots->data()) ||
      !slotsAreSound(slots->data(), slots->size())) {
    return refuse("bad table of near words");
  }
  _map->_nearSlots = slots->data();
  _map->_nearMask = slots->size() - 1;
  _map->_nearFilter = filter->data();
  _map->_nearFilterBytes = filter->size();
  makeNearEnds();
  return true;
}

// The ends of the telling words, with the letters that those with a mistake in them have.
void MapReader::makeNearEnds() {
  Map& map = *_map;
  std::vector<bool> telling(map._wordCount);
  for (std::uint32_t slot = 0; slot <= map._nearMask; ++slot) {
    const std::uint64_t number = map._nearSlots[slot] & kSlotWordMask;
    if (number != 0) telling[number - 1] = true;
  }
  constexpr std::size_t kEndsOfWord = 6;
  map._nearEnds.reset(kEndsOfWord *
                      static_cast<std::size_t>(std::count(telling.begin(), telling.end(), true)));
  for (std::uint32_t i = 0; i < map._wordCount; ++i) {
    const std::string_view word = map.word(i);
    if (!telling[i] || word.size() < 2) continue;
    const auto letters = static_cast<std::uint32_t>(std::count_if(word.begin(), word.end(), [](char byte) {
      return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
    }));
    for (std::uint32_t mistaken = letters - 1; mistaken != letters + 2; ++mistaken) {
      const OuterBytes outer(word, mistaken);
      map._nearEnds.add(outer.moreAtFirst);
      map._nearEnds.add(outer.moreAtLast);
    }
  }
}

}  // namespace sifterra::lsm
