// JoinedWords.h: words that are cut in two by markup ("po<b></b>ny").
//
// The text that the engine is given has a blank between two elements, so a word with an element in it arrives
// as two words. Whoever reads the page sees one. Neighbours become one word again when the map knows it and
// that is likelier than what they are by themselves, by the same measure as in WordSplitter.h.
//
// How ready that is depends on the page. At first only an unknown word is joined with a neighbour, and only
// when it is far likelier: nearly no honest page has one. A page with many of those is cut all over, and
// then all neighbours are tried, up to kMostJoinedParts in a row.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "lsm/MapFile.h"

namespace sifterra::lsm {

inline constexpr std::size_t kMostJoinedParts = 3;
inline constexpr std::size_t kMostJoinedBytes = 64;

// The cost of an unknown word: no page of the training holds it.
inline constexpr float kUnknownPartCost = 12;

// A word of a text: its units [from, to), none when it says nothing.
struct WordPart {
  std::string_view text;
  std::uint32_t from = 0;
  std::uint32_t to = 0;
  float cost = 0;           // -ln(share of pages that hold it)
  std::size_t section = 0;  // of the page; no word spans two
};

// Units [from, to) of a text are one word of the map.
struct WordJoin {
  std::uint32_t from = 0;
  std::uint32_t to = 0;
  std::uint32_t word = 0;
  std::size_t section = 0;
};

class WordJoiner {
 public:
  explicit WordJoiner(const Map& map) noexcept : _map(map) {}

  // Whether two neighbours may make a word together. Denies nearly all, by their ends.
  [[nodiscard]] bool mayPair(const WordEnds& first, const WordEnds& second) const noexcept {
    return first.size != 0 && second.size != 0 && _map.mayBePiece(WordEnds(first, second));
  }
  // Two neighbours, one of them unknown. Remembers what they make together.
  void tryPair(const WordPart& first, const WordPart& second);
  // Whether so many words were found that a text of so many units is cut all over.
  [[nodiscard]] bool cutAllOver(std::size_t units) const noexcept;
  // The pairs that were found, the likelier one of those that overlap.
  [[nodiscard]] std::vector<WordJoin> pairs() const;
  // The likeliest reading of all words of a text.
  [[nodiscard]] std::vector<WordJoin> all(const std::vector<WordPart>& parts) const;

 private:
  [[nodiscard]] std::uint32_t joined(const PieceHash& hash, std::string_view text) const noexcept;

  struct Pair {
    WordPart first;
    WordPart second;
    std::uint32_t word;
    float gain;  // in the logarithm of likelihood
  };

  const Map& _map;
  std::vector<Pair> _pairs;
};

}  // namespace sifterra::lsm
