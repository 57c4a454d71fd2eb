// Sums run over the different words in the order of their first appearance, values one after the other: the
// same text gives the same bits however it was added and whatever the processor takes at once.
#include "lsm/Evaluation.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace sifterra::lsm {
namespace {

// log2(1 + tf), tabled for the frequencies that nearly all words have.
class LocalWeight {
 public:
  LocalWeight() {
    for (std::size_t i = 0; i < _table.size(); ++i) _table[i] = computed(static_cast<std::uint32_t>(i));
  }
  [[nodiscard]] float operator()(std::uint32_t frequency) const noexcept {
    return frequency < _table.size() ? _table[frequency] : computed(frequency);
  }

 private:
  static float computed(std::uint32_t frequency) noexcept {
    return static_cast<float>(std::log2(1.0 + static_cast<double>(frequency)));
  }
  std::array<float, 1024> _table{};
};

const LocalWeight& localWeight() {
  static const LocalWeight weight;
  return weight;
}

// z for each category, from the sum of rows in scratch.sum.
void logitsOfSum(const Map& map, EvaluationScratch& scratch) {
  const std::size_t stride = map.stride();
  float squares = 0;
  for (std::size_t d = 0; d < stride; ++d) squares += scratch.sum[d] * scratch.sum[d];
  const float length = std::sqrt(squares);
  const float inverse = length < kMinLength ? 0.0f : 1.0f / length;
  scratch.logits.resize(map.categoryCount());
  for (std::uint32_t c = 0; c < map.categoryCount(); ++c) {
    const float* head = map.head(c);
    float dot = 0;
    for (std::size_t d = 0; d < stride; ++d) dot += head[d] * scratch.sum[d];
    scratch.logits[c] = dot * inverse + map.bias(c);
  }
}

void sumRows(const Map& map, EvaluationScratch& scratch) {
  scratch.sum.assign(map.stride(), 0.0f);
  addRows(scratch.sum.data(), scratch.rows.data(), scratch.rows.size(), map.stride());
  logitsOfSum(map, scratch);
}

// ln(sum of exp(z)) over all categories but the last: what the last one is measured against.
double othersOf(const std::vector<float>& logits) {
  const std::size_t others = logits.size() - 1;
  const double most = *std::max_element(logits.begin(), logits.begin() + static_cast<std::ptrdiff_t>(others));
  if (others == 1) return most;
  double sum = 0;
  for (std::size_t c = 0; c < others; ++c) sum += std::exp(static_cast<double>(logits[c]) - most);
  return most + std::log(sum);
}

// Judges stretches of one text.
class Stretches {
 public:
  Stretches(const Map& map, Text& text) : _map(map), _text(text), _scratch(text.scratch) {
    _scratch.unitRows.resize(text.unitCount());
    for (std::size_t unit = 0; unit < text.unitCount(); ++unit) _scratch.unitRows[unit] = text.row(unit);
    _scratch.seenIn.assign(text.unitCount(), 0);
    _scratch.count.assign(text.unitCount(), 0);
    if (map.judgesParts() && text.sections().any()) {
      _heading = text.sections().range(TextSection::kHeading, TextSection::kHeading, text.sequence().size());
    }
  }

  // z of the whole text, in scratch.logits.
  void sumWhole() {
    _scratch.rows.resize(_text.unitCount());
    for (std::size_t unit = 0; unit < _text.unitCount(); ++unit) {
      _scratch.rows[unit] = _scratch.unitRows[unit];
      _scratch.rows[unit].factor *= localWeight()(_text.frequency(unit));
    }
    sumRows(_map, _scratch);
  }
  // The log-odds of some units. The heading stands before every part of a page: its signature word weighs
  // little, but more than two or three words that prove nothing.
  double odds(UnitRange units) {
    ++_stretch;
    _scratch.units.clear();
    count(_heading);
    count(units);
    _scratch.rows.resize(_scratch.units.size());
    for (std::size_t i = 0; i < _scratch.rows.size(); ++i) {
      const std::uint32_t unit = _scratch.units[i];
      _scratch.rows[i] = _scratch.unitRows[unit];
      _scratch.rows[i].factor *= localWeight()(_scratch.count[unit]);
    }
    sumRows(_map, _scratch);
    return oddsOfLogits(_scratch.logits);
  }
  // The best windows of some units: their mean, and the very best.
  Stretch bestWindows(UnitRange units);

 private:
  void count(UnitRange units) {
    const std::vector<std::uint32_t>& sequence = _text.sequence();
    for (std::size_t i = units.from; i < units.to; ++i) {
      const std::uint32_t unit = sequence[i];
      if (_scratch.seenIn[unit] == _stretch) {
        ++_scratch.count[unit];
      } else {
        _scratch.seenIn[unit] = _stretch;
        _scratch.count[unit] = 1;
        _scratch.units.push_back(unit);
      }
    }
  }

  const Map& _map;
  Text& _text;
  EvaluationScratch& _scratch;
  UnitRange _heading;
  std::uint32_t _stretch = 0;
};

Stretch Stretches::bestWindows(UnitRange units) {
  const std::size_t size = _map.windowTokens();
  std::array<double, 16> best{};  // best first
  const std::size_t wanted = std::min<std::size_t>(_map.bestWindows(), best.size());
  std::size_t found = 0;
  Stretch result{StretchKind::kWindow, units, 0};
  // The last window reaches the end and may be shorter, but holds more than half.
  for (std::size_t from = units.from; from == units.from || from + size / 2 < units.to; from += size / 2) {
    const UnitRange window{from, std::min(from + size, units.to)};
    double next = odds(window);
    if (found == 0 || next > best[0]) result.units = window;
    for (std::size_t i = 0; i < found; ++i) {
      if (next > best[i]) std::swap(next, best[i]);
    }
    if (found < wanted) best[found++] = next;
  }
  for (std::size_t i = 0; i < found; ++i) result.odds += best[i];
  result.windows = found;
  result.penalty = static_cast<double>(_map.windowPenalty());
  result.odds = result.odds / static_cast<double>(found) - result.penalty;
  return result;
}

std::vector<float> softmax(const std::vector<float>& logits, double last) {
  std::vector<double> powers(logits.begin(), logits.end());
  powers.back() = last;
  const double most = *std::max_element(powers.begin(), powers.end());
  double sum = 0;
  for (double& power : powers) {
    power = std::exp(std::max(power - most, -kMaxLogitDifference));
    sum += power;
  }
  std::vector<float> scores;
  scores.reserve(powers.size());
  for (const double power : powers) scores.push_back(static_cast<float>(power / sum));
  return scores;
}

}  // namespace

UnitRange partOf(const Text& text, StretchKind part) noexcept {
  const std::size_t units = text.sequence().size();
  const bool isPart = static_cast<std::size_t>(part) < kPageParts;
  if (isPart && !text.sections().any()) return {units, units};
  switch (part) {
    case StretchKind::kHead:
      return text.sections().range(TextSection::kTitle, TextSection::kKeywords, units);
    case StretchKind::kLabels:
      return text.sections().range(TextSection::kImageAlts, TextSection::kLinkTitles, units);
    case StretchKind::kContent:
      return text.sections().range(TextSection::kContent, TextSection::kContent, units);
    default:
      return {0, units};
  }
}

Judgement judge(const Map& map, Text& text, bool withOthers) {
  Judgement judgement;
  text.join();
  Stretches stretches(map, text);
  stretches.sumWhole();
  const std::vector<float> logits = text.scratch.logits;
  const std::size_t units = text.sequence().size();
  double last = logits.back();
  judgement.decided.units = {0, units};
  if (text.isMostlyUnjudged()) {
    // Numbers and a few foreign words are no evidence: the text is judged like one without words.
    text.scratch.rows.clear();
    sumRows(map, text.scratch);
    judgement.scores = softmax(text.scratch.logits, text.scratch.logits.back());
    if (map.categoryCount() > 1) judgement.decided.odds = oddsOfLogits(text.scratch.logits);
    return judgement;
  }
  if (map.categoryCount() > 1) {
    const double others = othersOf(logits);
    judgement.decided.odds = last - others;
    const auto consider = [&](const Stretch& stretch) {
      Stretch lesser = stretch;
      if (stretch.odds > judgement.decided.odds) {
        lesser = judgement.decided;
        judgement.decided = stretch;
        last = others + stretch.odds;
      }
      if (withOthers) judgement.others.push_back(lesser);
    };
    UnitRange inWindows{0, units};
    if (map.judgesParts() && text.sections().any()) {
      for (std::size_t part = 0; part < kPageParts; ++part) {
        const auto kind = static_cast<StretchKind>(part);
        const UnitRange range = partOf(text, kind);
        if (range.size() < map.partTokens()) continue;
        const auto penalty = static_cast<double>(map.partPenalty(part));
        consider({kind, range, stretches.odds(range) - penalty, penalty});
      }
      inWindows.from = partOf(text, StretchKind::kLabels).from;
    }
    if (inWindows.size() > map.windowTokens()) consider(stretches.bestWindows(inWindows));
  }
  judgement.scores = softmax(logits, last);
  return judgement;
}

void sumWholeText(const Map& map, Text& text) {
  text.join();
  Stretches(map, text).sumWhole();
}

double oddsOfLogits(const std::vector<float>& logits) {
  return static_cast<double>(logits.back()) - othersOf(logits);
}

std::vector<float> evaluate(const Map& map, Text& text) {
  return judge(map, text).scores;
}

double oddsOf(const Map& map, Text& text, UnitRange units) {
  return map.categoryCount() < 2 ? 0 : Stretches(map, text).odds(units);
}

std::vector<float> evaluateWord(const Map& map, std::uint32_t word, EvaluationScratch& scratch) {
  const QuantisedRow row = map.wordRow(word);
  scratch.rows.assign(1, {row.values, nullptr, row.scale * localWeight()(1)});
  sumRows(map, scratch);
  return softmax(scratch.logits, scratch.logits.back());
}

}  // namespace sifterra::lsm
