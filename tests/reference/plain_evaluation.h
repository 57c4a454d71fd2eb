// plain_evaluation.h: the engine's scores, worked out the slow and plain way.
//
// Double precision, rows as the map stores them, a std::map of words to counts instead of units and tables;
// the formulas of docs/map-format.md one after the other. Takes the tokens from the tokeniser.
#pragma once

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "lsm/MapFile.h"
#include "lsm/NGrams.h"
#include "lsm/NearWords.h"
#include "lsm/TokenList.h"
#include "lsm/WordSplitter.h"

namespace sifterra::lsm::reference {

using Row = std::vector<double>;

inline void addTo(Row& sum, const QuantisedRow& row, double factor) {
  for (std::size_t d = 0; d < sum.size(); ++d)
    sum[d] += factor * static_cast<double>(row.scale) * row.values[d];
}

// The words that count, in order: known ones as they are, unknown ones cut or marked with '?' and spelt out.
class PlainText {
 public:
  PlainText(const Map& map, std::u16string_view text) : _map(map) {
    for (const OwnedToken& token : tokensOf(text)) {
      const std::size_t from = _words.size();
      add(token);
      const bool known = _map.find(token.text) != Map::kUnknownWord;
      const bool part = !known && token.kind == TokenKind::kWord && token.characters < 16 &&
                        (token.script == WordScript::kCommon || (_map.scripts() & bitOf(token.script)) != 0);
      if (part || from != _words.size())
        _parts.push_back({token.text, part, from, _words.size(), _sections.size()});
    }
    join();
    countScripts(text);
  }
  [[nodiscard]] const std::vector<std::string>& words() const { return _words; }
  // Where each section starts that a marker began, in the order of the text: heading, title, tags,
  // description, key words, image texts, link titles, content.
  [[nodiscard]] const std::vector<std::size_t>& sections() const { return _sections; }
  // Whether so few words are of a script that the map judges, and more of others, that nothing is judged.
  [[nodiscard]] bool isMostlyUnjudged() const { return _judged < 32 && _judged < _unjudged; }
  [[nodiscard]] Row rowOf(const std::string& word) const {
    Row row(_map.rank(), 0.0);
    if (word[0] != '?') {
      addTo(row, _map.wordRow(_map.find(word)), 1);
      return row;
    }
    const OwnedToken& token = _unknown.at(word);
    NGramBuckets buckets;
    nGramBuckets(token.token(), _map.bucketCount(), buckets);
    for (std::size_t i = 0; i < buckets.count; ++i) {
      addTo(row, _map.bucketRow(buckets.bucket[i]), 1 / std::sqrt(static_cast<double>(buckets.count)));
    }
    return row;
  }

 private:
  void add(const OwnedToken& token) {
    static const std::vector<std::string> kMarkers = {
        "ooooooooooooooooooootitleoooooooooooooooooooo", "oooooooooooooooooooootagsoooooooooooooooooooo",
        "ooooooooooooooooodescriptionooooooooooooooooo", "oooooooooooooooooookeywordsoooooooooooooooooo",
        "oooooooooooooooooooimagealtsooooooooooooooooo", "ooooooooooooooooooolinktitlesoooooooooooooooo",
        "ooooooooooooooooooopagecontentooooooooooooooo"};
    const auto marker = std::find(kMarkers.begin(), kMarkers.end(), token.text);
    if (marker != kMarkers.end()) {
      const auto section = static_cast<std::size_t>(marker - kMarkers.begin()) + 1;
      while (_sections.size() <= section) _sections.push_back(_words.size());
    }
    if (token.script != WordScript::kCommon && (_map.scripts() & bitOf(token.script)) == 0) return;
    if (_map.find(token.text) != Map::kUnknownWord) {
      _words.push_back(token.text);
      return;
    }
    if (const std::uint32_t near = nearWord(_map, token.token()); near != Map::kUnknownWord) {
      _words.emplace_back(_map.word(near));
      return;
    }
    const bool mayBeCut =
        maySplit(token.token()) && (_cut.count(token.text) != 0 || _cut.size() < kMaxSplitsPerText);
    if (mayBeCut) {
      _cut.insert(token.text);
      const WordSplit split =
          splitWord(token.token(), [this](std::string_view piece, std::uint32_t& word, float& cost) {
            word = _map.find(piece);
            if (word == Map::kUnknownWord || _map.splitCost(word) < 0) return false;
            cost = _map.splitCost(word);
            return true;
          });
      for (std::size_t i = 0; i < split.count; ++i) _words.emplace_back(_map.word(split.word[i]));
      if (split.count != 0) return;
    }
    if (!hasNGrams(token.token())) return;
    _words.push_back("?" + token.text);
    _unknown.emplace("?" + token.text, token);
  }

  struct Part {
    std::string text;
    bool unknown;
    std::size_t from;  // in _words
    std::size_t to;
    std::size_t section;
  };
  struct Join {
    std::size_t first;  // of _parts
    std::size_t count;
    std::string word;
    double gain;
  };

  [[nodiscard]] double costOf(const std::string& word) const {
    const std::uint32_t known = _map.find(word);
    return known == Map::kUnknownWord ? 12 : std::max(static_cast<double>(_map.splitCost(known)), 0.0);
  }

  // What some parts in a row make together, when the map knows that.
  [[nodiscard]] std::vector<Join> joinOf(std::size_t first, std::size_t count) const {
    Join join{first, count, "", 0};
    for (std::size_t i = first; i < first + count; ++i) {
      if (_parts[i].section != _parts[first].section) return {};
      join.word += _parts[i].text;
      join.gain += _parts[i].unknown ? 12 : costOf(_parts[i].text);
    }
    const std::uint32_t known = _map.find(join.word);
    if (known == Map::kUnknownWord || _map.splitCost(known) < 0) return {};
    join.gain -= static_cast<double>(_map.splitCost(known));
    return {join};
  }

  // Words that are cut in two become one: pairs with an unknown word in them, or, where those are many, the
  // likeliest reading of all, by trying every one from the end.
  void join() {
    std::vector<Join> joins;
    std::size_t pairs = 0;
    for (std::size_t i = 0; i + 1 < _parts.size(); ++i) {
      if (!_parts[i].unknown && !_parts[i + 1].unknown) continue;
      for (const Join& pair : joinOf(i, 2)) {
        if (pair.gain < 4) continue;
        ++pairs;
        const bool overlaps = !joins.empty() && joins.back().first + 1 == i;
        if (overlaps && pair.gain <= joins.back().gain) continue;
        if (overlaps) joins.pop_back();
        joins.push_back(pair);
      }
    }
    if (pairs >= 4 && pairs * 20 >= _words.size()) {
      std::vector<double> most(_parts.size() + 4, 0);
      std::vector<std::vector<Join>> best(_parts.size());
      for (std::size_t i = _parts.size(); i-- > 0;) {
        most[i] = most[i + 1];
        for (std::size_t count = 2; count <= 3 && i + count <= _parts.size(); ++count) {
          for (const Join& join : joinOf(i, count)) {
            if (join.gain + most[i + count] <= most[i]) continue;
            most[i] = join.gain + most[i + count];
            best[i] = {join};
          }
        }
      }
      joins.clear();
      for (std::size_t i = 0; i < _parts.size(); i += best[i].empty() ? 1 : best[i][0].count) {
        if (!best[i].empty()) joins.push_back(best[i][0]);
      }
    }
    for (std::size_t i = joins.size(); i-- > 0;) {
      const std::size_t from = _parts[joins[i].first].from;
      const std::size_t to = _parts[joins[i].first + joins[i].count - 1].to;
      const auto place = _words.begin() + static_cast<std::ptrdiff_t>(from);
      _words.insert(_words.erase(place, place + static_cast<std::ptrdiff_t>(to - from)), joins[i].word);
      for (std::size_t later = _parts[joins[i].first].section; later < _sections.size(); ++later)
        _sections[later] = _sections[later] + 1 - (to - from);
    }
  }

  // Of equal lines in a row the first counts; short ones each time.
  void countScripts(std::u16string_view text) {
    std::u16string_view last;
    while (!text.empty()) {
      const std::u16string_view line = text.substr(0, text.find(u'\n'));
      text.remove_prefix(std::min(text.size(), line.size() + 1));
      if (line.size() >= 8 && line == last) continue;
      last = line;
      for (const OwnedToken& token : tokensOf(line)) {
        if (token.script == WordScript::kCommon) continue;
        ++((_map.scripts() & bitOf(token.script)) != 0 ? _judged : _unjudged);
      }
    }
  }

  const Map& _map;
  std::size_t _judged = 0;
  std::size_t _unjudged = 0;
  std::vector<std::string> _words;
  std::vector<std::size_t> _sections{0};
  std::map<std::string, OwnedToken> _unknown;
  std::set<std::string> _cut;
  std::vector<Part> _parts;
};

// Of the words from `from` to `to`, with those before `heading`.
inline std::vector<double> logitsOf(const Map& map, const PlainText& text, std::size_t from, std::size_t to,
                                    std::size_t heading = 0) {
  std::map<std::string, double> counts;
  for (std::size_t i = 0; i < heading; ++i) ++counts[text.words()[i]];
  for (std::size_t i = from; i < to; ++i) ++counts[text.words()[i]];
  Row y(map.rank(), 0.0);
  for (const auto& [word, count] : counts) {
    const Row row = text.rowOf(word);
    for (std::size_t d = 0; d < y.size(); ++d) y[d] += std::log2(1 + count) * row[d];
  }
  double length = 0;
  for (const double value : y) length += value * value;
  length = std::sqrt(length);
  std::vector<double> z;
  for (std::uint32_t c = 0; c < map.categoryCount(); ++c) {
    double dot = 0;
    if (length >= 1e-9) {
      for (std::size_t d = 0; d < y.size(); ++d) dot += static_cast<double>(map.head(c)[d]) * y[d] / length;
    }
    z.push_back(dot + static_cast<double>(map.bias(c)));
  }
  return z;
}

// ln of the odds of the last category against all others together.
inline double logOdds(const std::vector<double>& z) {
  double others = 0;
  for (std::size_t c = 0; c + 1 < z.size(); ++c) others += std::exp(z[c] - z.back());
  return -std::log(others);
}

inline std::vector<double> scoresOf(const Map& map, std::u16string_view words) {
  const PlainText text(map, words);
  const std::size_t count = text.words().size();
  if (text.isMostlyUnjudged()) return scoresOf(map, u"");
  std::vector<double> z = logitsOf(map, text, 0, count);
  std::vector<std::size_t> starts = text.sections();
  const bool parts = map.judgesParts() && starts.size() > 1;
  starts.resize(9, count);
  const std::size_t heading = parts ? starts[1] : 0;
  const std::size_t labels = parts ? starts[5] : 0;
  std::vector<double> stretches;
  if (z.size() > 1 && parts) {
    const std::pair<std::size_t, std::size_t> ranges[] = {
        {starts[1], starts[5]}, {starts[5], starts[7]}, {starts[7], count}};
    for (std::size_t part = 0; part < 3; ++part) {
      const auto& [from, to] = ranges[part];
      if (to - from < map.partTokens()) continue;
      stretches.push_back(logOdds(logitsOf(map, text, from, to, heading)) -
                          static_cast<double>(map.partPenalty(part)));
    }
  }
  if (z.size() > 1 && count - labels > map.windowTokens()) {
    std::vector<double> odds;
    std::size_t end = 0;
    for (std::size_t from = labels; end < count; from += map.windowTokens() / 2) {
      end = std::min<std::size_t>(from + map.windowTokens(), count);
      odds.push_back(logOdds(logitsOf(map, text, from, end, heading)));
    }
    std::sort(odds.rbegin(), odds.rend());
    odds.resize(std::min<std::size_t>(odds.size(), map.bestWindows()));
    double mean = 0;
    for (const double value : odds) mean += value / static_cast<double>(odds.size());
    stretches.push_back(mean - static_cast<double>(map.windowPenalty()));
  }
  double raise = 0;
  for (const double odds : stretches) raise = std::max(raise, odds - logOdds(z));
  z.back() += raise;
  const double most = *std::max_element(z.begin(), z.end());
  double sum = 0;
  for (double& value : z) sum += value = std::exp(std::max(value - most, -12.0));
  for (double& value : z) value /= sum;
  return z;
}

}  // namespace sifterra::lsm::reference
