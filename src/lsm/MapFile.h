// MapFile.h: an opened map, checked once and used in place.
//
// Everything stays where the file has it: the object holds pointers into the mapped bytes and no copy of any
// table; what it makes of its own are two small filters. It never changes after it was opened and is shared
// freely between threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "lsm/LsmEngine.h"
#include "lsm/MapBytes.h"
#include "lsm/RowSum.h"
#include "lsm/WordEnds.h"
#include "lsm/WordScript.h"

namespace sifterra::lsm {

// A look-up tries this many slots at most; the writer makes the table large enough for that to suffice.
inline constexpr std::uint32_t kMaxProbes = 64;
// A slot: 0 when free, else the word's number + 1 in the low bits and the high bits of its hash above them.
// The hash bits stand for the word itself, which a look-up does not read: that would cost two more visits to
// memory that is seldom near. Of 10^9 pages with ten thousand unknown words each, some four have a word taken
// for another.
inline constexpr unsigned kSlotWordBits = 22;
inline constexpr std::uint64_t kSlotWordMask = (std::uint64_t{1} << kSlotWordBits) - 1;
inline constexpr std::uint32_t kMaxWords = static_cast<std::uint32_t>(kSlotWordMask) - 1;

// A row of eight-bit values; the value meant is value x scale.
struct QuantisedRow {
  const std::int8_t* values;
  float scale;
};

// The hash that places a word in the table.
[[nodiscard]] std::uint64_t wordHash(std::string_view word) noexcept;

// The hash of the piece filter, which grows byte by byte: the beginnings of a word are asked for one after
// the other.
class PieceHash {
 public:
  void add(char byte) noexcept { _value = (_value ^ static_cast<unsigned char>(byte)) * 0x9e3779b97f4a7c15U; }
  // The bit of a filter of so many bytes, a power of two.
  [[nodiscard]] std::size_t bit(std::size_t bytes) const noexcept {
    return (_value >> 32U) & (8 * bytes - 1);
  }

 private:
  std::uint64_t _value = 0xcbf29ce484222325U;
};

// The parts of a page that are judged one by one: what stands in its head (title, tags, description, key
// words), its labels (alternative texts and link titles), and its content.
inline constexpr std::size_t kPageParts = 3;

class Map {
 public:
  static constexpr std::uint32_t kUnknownWord = UINT32_MAX;

  // Checks the bytes and takes them; null, with `why`, when they are no sound map.
  [[nodiscard]] static LsmMap ofBytes(std::unique_ptr<MapBytes> bytes, std::string& why);

  [[nodiscard]] std::uint32_t categoryCount() const noexcept { return _categoryCount; }
  [[nodiscard]] std::uint32_t rank() const noexcept { return _rank; }
  // Values in a stored row: the rank, padded.
  [[nodiscard]] std::uint32_t stride() const noexcept { return _stride; }
  [[nodiscard]] std::uint32_t wordCount() const noexcept { return _wordCount; }
  [[nodiscard]] std::uint32_t bucketCount() const noexcept { return _bucketCount; }
  [[nodiscard]] std::uint32_t windowTokens() const noexcept { return _windowTokens; }
  [[nodiscard]] std::uint32_t bestWindows() const noexcept { return _bestWindows; }
  [[nodiscard]] float windowPenalty() const noexcept { return _windowPenalty; }
  // Whether the parts of a page (Evaluation.h) are judged, too, and then: those of so many units or more,
  // each with so much taken off its log-odds.
  [[nodiscard]] bool judgesParts() const noexcept { return _partPenalties != nullptr; }
  [[nodiscard]] std::uint32_t partTokens() const noexcept { return _partTokens; }
  [[nodiscard]] float partPenalty(std::size_t part) const noexcept { return _partPenalties[part]; }
  // Telling words under their keys (NearWords.h).
  [[nodiscard]] bool hasNearWords() const noexcept { return _nearSlots != nullptr; }
  // Whether a word of so many letters may be a telling one with a mistake in it. Denies most, by their ends.
  [[nodiscard]] bool mayBeNear(std::string_view word, std::uint32_t letters) const noexcept {
    const OuterBytes outer(word, letters);
    return _nearEnds.mayHold(outer.moreAtFirst) || _nearEnds.mayHold(outer.moreAtLast);
  }
  // The first word under the key that `accept` takes, or kUnknownWord.
  template <class Accept>
  [[nodiscard]] std::uint32_t nearWord(std::uint64_t key, Accept accept) const noexcept {
    const std::size_t bit = (key >> 32U) & (8 * _nearFilterBytes - 1);
    if (((_nearFilter[bit / 8] >> (bit % 8)) & 1U) == 0) return kUnknownWord;
    auto slot = static_cast<std::uint32_t>(key) & _nearMask;
    for (std::uint32_t probe = 0; probe < kMaxProbes; ++probe) {
      const std::uint64_t entry = _nearSlots[slot];
      if (entry == 0) break;
      const auto word = static_cast<std::uint32_t>(entry & kSlotWordMask) - 1;
      if (((entry ^ key) & ~kSlotWordMask) == 0 && accept(word)) return word;
      slot = (slot + 1) & _nearMask;
    }
    return kUnknownWord;
  }
  [[nodiscard]] WordScriptSet scripts() const noexcept { return _scripts; }
  [[nodiscard]] const LsmProperties& properties() const noexcept { return _properties; }
  // The payload as it stands in the file, for what the engine does not look at.
  [[nodiscard]] const std::byte* payload() const noexcept;
  [[nodiscard]] std::size_t fileBytes() const noexcept { return _bytes->bytes().size(); }
  [[nodiscard]] std::uint64_t payloadHash() const noexcept { return _payloadHash; }
  [[nodiscard]] std::uint32_t formatVersion() const noexcept { return _formatVersion; }
  [[nodiscard]] std::uint32_t tokenizerVersion() const noexcept { return _tokenizerVersion; }

  // The number of a word, or kUnknownWord.
  [[nodiscard]] std::uint32_t find(std::string_view word) const noexcept { return find(wordHash(word)); }
  [[nodiscard]] std::uint32_t find(std::uint64_t wordHash) const noexcept;
  // Asks for what a look-up will read: the table seldom is near, and a wait for it is most of a look-up.
  void fetchSlot(std::uint64_t wordHash) const noexcept {
    __builtin_prefetch(_wordSlots + firstSlot(wordHash));
  }
  void fetchScale(std::uint32_t number) const noexcept { __builtin_prefetch(_wordScales + number); }
  // Whether a word of this hash may be a piece of another: never false for one that is, seldom true for
  // others.
  [[nodiscard]] bool mayBePiece(const PieceHash& hash) const noexcept {
    const std::size_t bit = hash.bit(_pieceFilterBytes);
    return ((_pieceFilter[bit / 8] >> (bit % 8)) & 1U) != 0;
  }
  // Whether a word of these ends may be a piece of another, told in the same way.
  [[nodiscard]] bool mayBePiece(const WordEnds& ends) const noexcept { return _pieceEnds.mayHold(ends); }
  [[nodiscard]] std::string_view word(std::uint32_t number) const noexcept {
    return {_wordBytes + _wordOffsets[number], _wordOffsets[number + 1] - _wordOffsets[number]};
  }
  // G(w).
  [[nodiscard]] float weight(std::uint32_t number) const noexcept { return _wordWeights[number]; }
  // -ln(df / N); negative for a word that is never a piece of another.
  [[nodiscard]] float splitCost(std::uint32_t number) const noexcept { return _splitCosts[number]; }
  [[nodiscard]] QuantisedRow wordRow(std::uint32_t number) const noexcept {
    return {_wordRows + std::size_t{number} * _stride, _wordScales[number]};
  }
  [[nodiscard]] QuantisedRow bucketRow(std::uint32_t bucket) const noexcept {
    return {_bucketRows + std::size_t{bucket} * _stride, _bucketScales[bucket]};
  }
  // The head's row of a category, from 0: stride() values.
  [[nodiscard]] const float* head(std::uint32_t category) const noexcept {
    return _head + std::size_t{category} * _stride;
  }
  [[nodiscard]] float bias(std::uint32_t category) const noexcept { return _bias[category]; }

 private:
  friend class MapReader;
  Map() = default;
  [[nodiscard]] std::uint32_t firstSlot(std::uint64_t wordHash) const noexcept {
    return static_cast<std::uint32_t>(wordHash) & _slotMask;
  }

  std::unique_ptr<MapBytes> _bytes;
  LsmProperties _properties;
  std::uint64_t _payloadHash = 0;
  std::uint32_t _formatVersion = 0;
  std::uint32_t _tokenizerVersion = 0;
  std::uint32_t _categoryCount = 0;
  std::uint32_t _rank = 0;
  std::uint32_t _stride = 0;
  std::uint32_t _wordCount = 0;
  std::uint32_t _bucketCount = 0;
  std::uint32_t _slotMask = 0;
  std::uint32_t _windowTokens = 0;
  std::uint32_t _bestWindows = 0;
  float _windowPenalty = 0;
  std::uint32_t _partTokens = 0;
  const float* _partPenalties = nullptr;
  const std::uint64_t* _nearSlots = nullptr;
  std::uint32_t _nearMask = 0;
  const std::uint8_t* _nearFilter = nullptr;
  std::size_t _nearFilterBytes = 0;
  WordEndsFilter _nearEnds;
  WordScriptSet _scripts = 0;
  const float* _head = nullptr;
  const float* _bias = nullptr;
  const char* _wordBytes = nullptr;
  const std::uint32_t* _wordOffsets = nullptr;
  const std::uint64_t* _wordSlots = nullptr;
  const std::uint8_t* _pieceFilter = nullptr;
  std::size_t _pieceFilterBytes = 0;
  WordEndsFilter _pieceEnds;
  const float* _wordWeights = nullptr;
  const float* _splitCosts = nullptr;
  const float* _wordScales = nullptr;
  const std::int8_t* _wordRows = nullptr;
  const float* _bucketScales = nullptr;
  const std::int8_t* _bucketRows = nullptr;
};

// A category's signature word as the tokeniser hands it over; a map knows those of its first nine.
[[nodiscard]] std::string signatureToken(std::uint32_t category);
inline constexpr std::uint32_t kSignedCategories = 9;

}  // namespace sifterra::lsm
