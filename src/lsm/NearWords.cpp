#include "lsm/NearWords.h"

#include <algorithm>
#include <array>

#include "lsm/MapFile.h"

namespace sifterra::lsm {
namespace {

// Where the letters of a word begin, and its end.
struct Letters {
  explicit Letters(std::string_view word) noexcept {
    for (std::size_t i = 0; i < word.size() && count <= kMaxNearWord; ++i) {
      const bool continues = (static_cast<unsigned char>(word[i]) & 0xC0U) == 0x80U;
      if (!continues) start[count++] = i;
    }
    if (count <= kMaxNearWord) start[count] = word.size();
  }
  [[nodiscard]] std::string_view at(std::string_view word, std::size_t letter) const noexcept {
    return word.substr(start[letter], start[letter + 1] - start[letter]);
  }

  std::size_t count = 0;
  std::array<std::size_t, kMaxNearWord + 2> start;  // as many as there are letters, and one
};

constexpr std::uint64_t kBase = 0x9e3779b97f4a7c15U;
constexpr std::size_t kMaxNearBytes = 4 * kMaxNearWord;
constexpr std::array<std::uint64_t, kMaxNearBytes + 1> kPowers = [] {
  std::array<std::uint64_t, kMaxNearBytes + 1> powers{};
  powers[0] = 1;
  for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = powers[i - 1] * kBase;
  return powers;
}();

std::uint64_t mixed(std::uint64_t hash) noexcept {
  hash = (hash ^ (hash >> 32U)) * 0xd6e8feb86659fd93U;
  return hash ^ (hash >> 32U);
}

}  // namespace

// A polynomial in the bytes, so that the key without a letter follows from the sums before and behind it.
void nearKeys(std::string_view word, NearKeys& keys) noexcept {
  keys.count = 0;
  if (word.size() > kMaxNearBytes) return;
  std::array<std::uint64_t, kMaxNearBytes + 1> before;  // of the bytes up to here; no more of it is read
  before[0] = 0;
  unsigned all = 0;
  for (std::size_t i = 0; i < word.size(); ++i) {
    const auto byte = static_cast<unsigned char>(word[i]);
    all |= byte;
    before[i + 1] = before[i] * kBase + byte + 1;
  }
  if (all < 0x80 && word.size() >= 3 && word.size() <= kMaxNearWord) {
    // Every byte is a letter: the same without looking for them.
    const std::size_t size = word.size();
    keys.key[0] = mixed(before[size]);
    for (std::size_t i = 1; i + 1 < size; ++i) {
      keys.key[i] = mixed(before[size] - (before[i + 1] - before[i]) * kPowers[size - i - 1]);
    }
    keys.count = size - 1;
    return;
  }
  const Letters letters(word);
  if (letters.count < 3 || letters.count > kMaxNearWord) return;
  keys.key[keys.count++] = mixed(before[word.size()]);
  for (std::size_t letter = 1; letter + 1 < letters.count; ++letter) {
    const std::size_t behind = word.size() - letters.start[letter + 1];
    const std::uint64_t rest = before[word.size()] - before[letters.start[letter + 1]] * kPowers[behind];
    keys.key[keys.count++] = mixed(before[letters.start[letter]] * kPowers[behind] + rest);
  }
}

bool isOneMistakeApart(std::string_view a, std::string_view b) noexcept {
  const Letters lettersA(a);
  const Letters lettersB(b);
  if (lettersA.count > lettersB.count) return isOneMistakeApart(b, a);
  if (lettersB.count > kMaxNearWord || lettersA.count < 3 || lettersB.count - lettersA.count > 1)
    return false;
  const auto same = [&](std::size_t i, std::size_t k) { return lettersA.at(a, i) == lettersB.at(b, k); };
  const std::size_t count = lettersA.count;
  std::size_t first = 0;  // letters alike at the beginning, the last left out
  while (first + 1 < count && same(first, first)) ++first;
  std::size_t alike = 0;  // letters at the end
  while (alike < count - first && same(count - 1 - alike, lettersB.count - 1 - alike)) ++alike;
  if (first == 0 || alike == 0) return false;
  const std::size_t differA = count - first - alike;
  const std::size_t differB = lettersB.count - first - alike;
  if (differA == 0) return differB == 1;
  if (differA == 1 && differB == 1) return true;
  return differA == 2 && differB == 2 && same(first, first + 1) && same(first + 1, first);
}

std::uint32_t nearWord(const Map& map, const Token& token) noexcept {
  if (!map.hasNearWords() || !mayBeNear(token)) return Map::kUnknownWord;
  if (!map.mayBeNear(token.text, token.characters)) return Map::kUnknownWord;
  NearKeys keys;
  nearKeys(token.text, keys);
  for (std::size_t i = 0; i < keys.count; ++i) {
    const std::uint32_t word = map.nearWord(keys.key[i], [&](std::uint32_t candidate) {
      return isOneMistakeApart(token.text, map.word(candidate));
    });
    if (word != Map::kUnknownWord) return word;
  }
  return Map::kUnknownWord;
}

}  // namespace sifterra::lsm
