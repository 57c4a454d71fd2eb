#include "lsm/JoinedWords.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

#include "lsm/WordSplitter.h"

namespace sifterra::lsm {
namespace {

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

std::uint32_t WordJoiner::joined(const PieceHash& hash, std::string_view text) const noexcept {
  if (!_map.mayBePiece(hash)) return Map::kUnknownWord;
  const std::uint32_t word = _map.find(text);
  return word != Map::kUnknownWord && _map.splitCost(word) >= 0 ? word : Map::kUnknownWord;
}

void WordJoiner::tryPair(const WordPart& first, const WordPart& second) {
  if (first.section != second.section || first.text.empty() || second.text.empty()) return;
  JoinedText text;
  if (!text.add(first.text) || !text.add(second.text)) return;
  const std::uint32_t word = joined(text.hash, text.text());
  if (word == Map::kUnknownWord) return;
  const float gain = first.cost + second.cost - _map.splitCost(word);
  if (gain >= kLeastGain) _pairs.push_back({first, second, word, gain});
}

bool WordJoiner::cutAllOver(std::size_t units) const noexcept {
  return _pairs.size() >= kFewestJoins && _pairs.size() * kJoinShare >= units;
}

std::vector<WordJoin> WordJoiner::pairs() const {
  std::vector<WordJoin> joins;
  const Pair* last = nullptr;
  for (const Pair& pair : _pairs) {
    const bool overlaps = last != nullptr && last->second.from == pair.first.from &&
                          last->second.text.data() == pair.first.text.data();
    if (overlaps && pair.gain <= last->gain) continue;
    if (overlaps) joins.pop_back();
    joins.push_back({pair.first.from, pair.second.to, pair.word, pair.first.section});
    last = &pair;
  }
  return joins;
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
    if (parts[i].text.empty() || !text.add(parts[i].text)) continue;
    for (std::size_t k = 1; k < kMostJoinedParts && i + k < parts.size(); ++k) {
      if (parts[i + k].section != parts[i].section || parts[i + k].text.empty() ||
          !text.add(parts[i + k].text))
        break;
      const std::uint32_t word = joined(text.hash, text.text());
      if (word == Map::kUnknownWord) continue;
      const float cost = best[i].cost + _map.splitCost(word) + static_cast<float>(k) * kCutCost;
      if (cost < best[i + k + 1].cost) best[i + k + 1] = {cost, word, static_cast<std::uint8_t>(k + 1)};
    }
  }
  std::vector<WordJoin> joins;
  for (std::size_t i = parts.size(); i > 0; i -= best[i].parts) {
    if (best[i].word == Map::kUnknownWord) continue;
    joins.push_back({parts[i - best[i].parts].from, parts[i - 1].to, best[i].word, parts[i - 1].section});
  }
  std::reverse(joins.begin(), joins.end());
  return joins;
}

}  // namespace sifterra::lsm
