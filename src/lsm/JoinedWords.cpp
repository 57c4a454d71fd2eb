#include "lsm/JoinedWords.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "lsm/WordSplitter.h"

namespace sifterra::lsm {
namespace {

// A word that no page of the training holds: rarer than the rarest known one.
constexpr float kUnknownCost = 12;
// How much likelier the joined word must be on a page that does not seem to be cut.
constexpr float kLeastGain = 4;
// A page is cut all over when it has so many such words, and so large a share of its units.
constexpr std::size_t kFewestJoins = 4;
constexpr std::size_t kJoinShare = 20;
// On such a page: what each cut costs.
constexpr float kCutCost = 0;

// The parts' text in a row, or nothing when it is too long for a word.
struct JoinedText {
  std::array<char, kMostJoinedBytes> bytes;
  std::size_t size = 0;
  PieceHash hash;

  bool add(std::string_view text) noexcept {
    if (size + text.size() > bytes.size()) return false;
    std::memcpy(bytes.data() + size, text.data(), text.size());
    size += text.size();
    for (const char byte : text) hash.add(byte);
    return true;
  }
  [[nodiscard]] std::string_view text() const noexcept { return {bytes.data(), size}; }
};

}  // namespace

WordPart WordJoiner::known(std::uint32_t word, std::uint32_t at) const noexcept {
  return {_map.word(word), at, at + 1, std::max(_map.splitCost(word), 0.0f)};
}

WordPart WordJoiner::unknown(std::string_view text, std::uint32_t from, std::uint32_t to) noexcept {
  return {text, from, to, kUnknownCost};
}

std::uint32_t WordJoiner::joined(const PieceHash& hash, std::string_view text) const noexcept {
  if (!_map.mayBePiece(hash)) return Map::kUnknownWord;
  const std::uint32_t word = _map.find(text);
  return word != Map::kUnknownWord && _map.splitCost(word) >= 0 ? word : Map::kUnknownWord;
}

void WordJoiner::tryPair(const WordPart& first, const WordPart& second) {
  JoinedText text;
  if (!text.add(first.text) || !text.add(second.text)) return;
  const std::uint32_t word = joined(text.hash, text.text());
  if (word == Map::kUnknownWord) return;
  const float gain = first.cost + second.cost - _map.splitCost(word);
  if (gain >= kLeastGain) _pairs.push_back({first.from, second.to, word, gain});
}

bool WordJoiner::cutAllOver(std::size_t units) const noexcept {
  return _pairs.size() >= kFewestJoins && _pairs.size() * kJoinShare >= units;
}

std::vector<WordJoin> WordJoiner::pairs() const {
  std::vector<WordJoin> chosen;
  for (const WordJoin& pair : _pairs) {
    if (pair.from == pair.to) continue;  // neither says anything by itself: there is no unit to replace
    if (chosen.empty() || chosen.back().to <= pair.from) {
      chosen.push_back(pair);
    } else if (pair.gain > chosen.back().gain) {
      chosen.back() = pair;
    }
  }
  return chosen;
}

std::vector<WordJoin> WordJoiner::all(const std::vector<WordPart>& parts) const {
  struct Best {
    float cost = 0;
    std::uint32_t word = Map::kUnknownWord;
    std::uint8_t parts = 1;
  };
  std::vector<Best> best(parts.size() + 1);
  for (std::size_t i = 0; i < parts.size(); ++i) best[i + 1].cost = std::numeric_limits<float>::infinity();
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const float whole = best[i].cost + parts[i].cost;
    if (whole < best[i + 1].cost) best[i + 1] = {whole, Map::kUnknownWord, 1};
    JoinedText text;
    if (!text.add(parts[i].text)) continue;
    for (std::size_t k = 1; k < kMostJoinedParts && i + k < parts.size(); ++k) {
      if (!text.add(parts[i + k].text)) break;
      const std::uint32_t word = joined(text.hash, text.text());
      if (word == Map::kUnknownWord) continue;
      const float cost = best[i].cost + _map.splitCost(word) + static_cast<float>(k) * kCutCost;
      if (cost < best[i + k + 1].cost) best[i + k + 1] = {cost, word, static_cast<std::uint8_t>(k + 1)};
    }
  }
  std::vector<WordJoin> joins;
  for (std::size_t i = parts.size(); i > 0; i -= best[i].parts) {
    if (best[i].word == Map::kUnknownWord) continue;
    joins.push_back({parts[i - best[i].parts].from, parts[i - 1].to, best[i].word, 0});
  }
  std::reverse(joins.begin(), joins.end());
  return joins;
}

}  // namespace sifterra::lsm
