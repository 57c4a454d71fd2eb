// How a token becomes units: its text is hashed once and looked up in the text's own table; only the first
// time that it appears is the map asked, and only when the map does not know it is it cut or spelt out.
//
// The map's table is larger than the nearer caches, so a new word does not ask it at once: it names the place
// that it will look at and waits until some more tokens have been read. All tokens behind it wait too, which
// keeps their order, and with it the numbers of the units and every bit of the result.
#include "lsm/TextWords.h"

#include <sys/random.h>

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>
#include <utility>

#include "lsm/LookalikeWords.h"
#include "lsm/NearWords.h"
#include "lsm/WordSplitter.h"
#include "lsm/line_end.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace sifterra::lsm {
namespace {

constexpr std::size_t kFirstEntries = 1024;
constexpr std::size_t kFirstRows = 32;
// Entries of tokens without weight are kept only up to here: they save time, not more.
constexpr std::size_t kMaxIdleEntries = std::size_t{1} << 19;
// Shorter lines are as quickly read as compared.
constexpr std::size_t kMinRepeatedLine = 8;

// The table's hashes start from a number that a page's author cannot know, or a page of words chosen to
// collide would cost quadratic time. The results do not depend on it: two different words of a text share all
// 64 bits once in 10^9 texts of a hundred thousand different words.
std::uint64_t processSeed() noexcept {
  static const std::uint64_t seed = [] {
    std::uint64_t value = 0x9e3779b97f4a7c15U;
    if (::getrandom(&value, sizeof value, GRND_NONBLOCK) != static_cast<ssize_t>(sizeof value)) {
      value ^= reinterpret_cast<std::uintptr_t>(&value);
    }
    return value;
  }();
  return seed;
}

}  // namespace

Text::Text(LsmMap map) : _map(std::move(map)), _seed(processSeed()) {
  _entries.resize(kFirstEntries);
}

void Text::addWords(std::u16string_view words) {
  if (_keepsSource) {
    _source += words;
    _source += u'\n';
  }
  // A page's title, description and key words stand in its text ten and fifteen times in a row.
  std::u16string_view lastLine;
  std::size_t lastFrom = 0;
  std::size_t lastTo = 0;
  std::size_t lastFragment = 0;
  std::size_t endFragment = 0;
  while (!words.empty()) {
    const std::size_t end = lineEnd(words);
    const std::u16string_view line = words.substr(0, end);
    words.remove_prefix(std::min(words.size(), end + 1));
    if (line.size() >= kMinRepeatedLine && line == lastLine) {
      repeat(lastFrom, lastTo, lastFragment, endFragment);
      continue;
    }
    lastFrom = _sequence.size();
    lastFragment = _fragments.size();
    _tokenizer.tokenizeLine(line, *this);
    takeAll();
    lastTo = _sequence.size();
    endFragment = _fragments.size();
    lastLine = line;
  }
}

WeightedRow Text::row(std::size_t unit) const noexcept {
  const Unit& entry = _units[unit];
  if (entry.word == Map::kUnknownWord) {
    return {nullptr, _unknownRows.data() + std::size_t{entry.row} * _map->stride(), 1.0f};
  }
  const QuantisedRow row = _map->wordRow(entry.word);
  return {row.values, nullptr, row.scale};
}

void Text::token(const Token& token) {
  if (token.script != WordScript::kCommon) {
    if ((_map->scripts() & bitOf(token.script)) == 0) {
      ++_unjudgedTokens;
      return;
    }
    ++_judgedTokens;
  }
  if (token.kind == TokenKind::kAtom) {
    if (const std::optional<TextSection> section = sectionOfMarker(token.text)) {
      takeAll();
      _sections.begin(*section, _sequence.size());
    }
  }
  std::uint64_t hash = XXH3_64bits_withSeed(token.text.data(), token.text.size(), _seed);
  hash += hash == 0;
  const Entry& entry = entryAt(hash);
  if (entry.hash != 0 && _waitingCount == 0) {
    addUnits(entry);
    return;
  }
  Waiting& waiting = _waiting[_waitingCount++];
  waiting.hash = hash;
  if (entry.hash == 0) {
    assert(token.text.size() <= waiting.text.size());
    std::memcpy(waiting.text.data(), token.text.data(), token.text.size());
    waiting.token = token;
    waiting.token.text = {waiting.text.data(), token.text.size()};
    waiting.wordHash = wordHash(token.text);
    _map->fetchSlot(waiting.wordHash);
  }
  if (_waitingCount == _waiting.size()) takeAll();
}

void Text::takeAll() {
  const std::size_t count = std::exchange(_waitingCount, 0);
  for (std::size_t i = 0; i < count; ++i) take(_waiting[i]);
}

void Text::take(const Waiting& waiting) {
  Entry entry = entryAt(waiting.hash);
  if (entry.hash == 0) {
    entry = resolved(waiting);
    if (entry.count != 0 || _usedEntries < kMaxIdleEntries) {
      entryAt(waiting.hash) = entry;
      if (++_usedEntries * 2 > _entries.size()) growEntries();
    }
  }
  addUnits(entry);
}

void Text::addUnits(const Entry& entry) {
  if (entry.count == 1) {
    addUnit(entry.first);
  } else if (entry.count == kUnknown) {
    addUnknown(entry.first);
  } else {
    for (std::uint32_t i = 0; i < entry.count; ++i) addUnit(_pieces[entry.first + i]);
  }
}

void Text::addUnknown(std::uint32_t unknown) {
  _fragments.push_back(
      {static_cast<std::uint32_t>(_sequence.size()), unknown, static_cast<std::uint32_t>(_sections.begun())});
  addUnits(_unknown[unknown].units);
}

void Text::repeat(std::size_t from, std::size_t to, std::size_t fragmentFrom, std::size_t fragmentTo) {
  const auto distance = static_cast<std::uint32_t>(_sequence.size() - from);
  for (std::size_t i = fragmentFrom; i < fragmentTo; ++i) {
    const Fragment fragment = _fragments[i];
    _fragments.push_back({fragment.at + distance, fragment.unknown, fragment.section});
  }
  // Room first: growing while reading would pull the numbers away.
  if (_sequence.capacity() < _sequence.size() + (to - from)) {
    _sequence.reserve(std::max(2 * _sequence.capacity(), _sequence.size() + (to - from)));
  }
  for (std::size_t i = from; i < to; ++i) addUnit(_sequence[i]);
}

void Text::addUnit(std::uint32_t unit) {
  _sequence.push_back(unit);
  ++_units[unit].frequency;
}

std::size_t Text::slotOf(std::uint64_t hash) const noexcept {
  const std::size_t mask = _entries.size() - 1;
  std::size_t slot = hash & mask;
  while (_entries[slot].hash != 0 && _entries[slot].hash != hash) slot = (slot + 1) & mask;
  return slot;
}

std::vector<std::uint32_t> Text::unitsOf(const Token& token) const {
  if (token.script != WordScript::kCommon && (_map->scripts() & bitOf(token.script)) == 0) return {};
  std::uint64_t hash = XXH3_64bits_withSeed(token.text.data(), token.text.size(), _seed);
  hash += hash == 0;
  Entry entry = _entries[slotOf(hash)];
  if (entry.hash != 0 && entry.count == kUnknown) entry = _unknown[entry.first].units;
  if (entry.hash == 0 || entry.count == 0) return {};
  if (entry.count == 1) return {entry.first};
  const auto first = _pieces.begin() + entry.first;
  return {first, first + entry.count};
}

void Text::growEntries() {
  // By four while it is small: pages of the usual size then grow it twice.
  std::vector<Entry> old(_entries.size() * (_entries.size() < 4096 ? 4 : 2));
  old.swap(_entries);
  for (const Entry& entry : old) {
    if (entry.hash != 0) entryAt(entry.hash) = entry;
  }
}

Text::Entry Text::resolved(const Waiting& waiting) {
  const Token& token = waiting.token;
  const std::uint64_t hash = waiting.hash;
  const std::uint32_t word = _map->find(waiting.wordHash);
  if (word != Map::kUnknownWord) {
    _map->fetchScale(word);
    _units.push_back({word, 0, 0, WordEnds(token.text)});
    return {hash, static_cast<std::uint32_t>(_units.size() - 1), 1};
  }
  if (_leavesDisguises) {
    return hasNGrams(token) && _unknownWords < kMaxUnknownWords ? Entry{hash, unitOfNGrams(token), 1}
                                                                : Entry{hash, 0, 0};
  }
  const Entry units = unitsOfUnknown(token, hash);
  if (token.kind != TokenKind::kWord || token.characters >= kMaxSplitPiece ||
      _unknown.size() >= kMaxUnknownWords) {
    return units;
  }
  _unknown.push_back({units, static_cast<std::uint32_t>(_unknownText.size()), WordEnds(token.text)});
  _unknownText += token.text;
  return {hash, static_cast<std::uint32_t>(_unknown.size() - 1), kUnknown};
}

Text::Entry Text::unitsOfUnknown(const Token& token, std::uint64_t hash) {
  if (const std::uint32_t seen = lookalikeWord(*_map, token); seen != Map::kUnknownWord) {
    return {hash, unitOfKnownWord(seen), 1};
  }
  if (const std::uint32_t near = nearWord(*_map, token); near != Map::kUnknownWord) {
    return {hash, unitOfKnownWord(near), 1};
  }
  const auto first = static_cast<std::uint32_t>(_pieces.size());
  if (maySplit(token) && _splits < kMaxSplitsPerText) {
    ++_splits;
    if (split(token)) {
      const auto count = static_cast<std::uint32_t>(_pieces.size() - first);
      return {hash, count == 1 ? _pieces[first] : first, count};
    }
    if (token.kind == TokenKind::kSpelt) {
      // None that the map knows: taken for one.
      Token word = token;
      word.kind = TokenKind::kWord;
      return unitsOfUnknown(word, hash);
    }
  }
  if (hasNGrams(token) && _unknownWords < kMaxUnknownWords) return {hash, unitOfNGrams(token), 1};
  return {hash, 0, 0};
}

bool Text::split(const Token& token) {
  // The pieces that start at one letter come one after the other, each longer than the one before.
  PieceHash hash;
  const char* start = nullptr;
  const char* hashed = nullptr;  // up to here
  const WordSplit split = splitWord(token, [&](std::string_view piece, std::uint32_t& word, float& cost) {
    if (piece.data() != start) {
      hash = PieceHash();
      start = hashed = piece.data();
    }
    for (const char* const end = start + piece.size(); hashed != end; ++hashed) hash.add(*hashed);
    if (!_map->mayBePiece(hash)) return false;
    word = _map->find(piece);
    if (word == Map::kUnknownWord) return false;
    cost = _map->splitCost(word);
    return cost >= 0;
  });
  for (std::size_t i = 0; i < split.count; ++i) _pieces.push_back(unitOfKnownWord(split.word[i]));
  return split.count != 0;
}

// The unit is found by the word's own text, as if it had come as a token. In a map of somebody else's making
// a slot may lead to a word whose own text leads elsewhere: what stands under that text is then no unit of
// this word, and it gets one that is not looked for again.
std::uint32_t Text::unitOfKnownWord(std::uint32_t word) {
  const std::string_view text = _map->word(word);
  std::uint64_t hash = XXH3_64bits_withSeed(text.data(), text.size(), _seed);
  hash += hash == 0;
  Entry& entry = entryAt(hash);
  const bool isNew = entry.hash == 0;
  if (!isNew && entry.count == 1 && _units[entry.first].word == word) return entry.first;
  const auto unit = static_cast<std::uint32_t>(_units.size());
  _units.push_back({word, 0, 0, WordEnds(text)});
  if (isNew) {
    entry = {hash, unit, 1};
    if (++_usedEntries * 2 > _entries.size()) growEntries();
  }
  return unit;
}

std::uint32_t Text::unitOfNGrams(const Token& token) {
  const std::size_t stride = _map->stride();
  nGramBuckets(token, _map->bucketCount(), _buckets);
  const std::size_t start = _unknownRows.size();
  if (start == 0) _unknownRows.reserve(kFirstRows * stride);
  _unknownRows.resize(start + stride, 0.0f);
  float* sum = _unknownRows.data() + start;
  WeightedRow rows[kMaxNGrams];
  const float factor = 1.0f / std::sqrt(static_cast<float>(_buckets.count));
  for (std::size_t i = 0; i < _buckets.count; ++i) {
    const QuantisedRow row = _map->bucketRow(_buckets.bucket[i]);
    fetchRow(row.values, stride);
    rows[i] = {row.values, nullptr, factor * row.scale};
  }
  addRows(sum, rows, _buckets.count, stride);
  _units.push_back({Map::kUnknownWord, static_cast<std::uint32_t>(_unknownWords), 0, {}});
  ++_unknownWords;
  return static_cast<std::uint32_t>(_units.size() - 1);
}

}  // namespace sifterra::lsm
