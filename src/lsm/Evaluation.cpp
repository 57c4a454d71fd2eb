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

void sumWindow(const Map& map, Text& text, std::size_t from, std::size_t to, std::uint32_t window) {
  EvaluationScratch& scratch = text.scratch;
  const std::vector<std::uint32_t>& sequence = text.sequence();
  scratch.unitsInWindow.clear();
  for (std::size_t i = from; i < to; ++i) {
    const std::uint32_t unit = sequence[i];
    if (scratch.windowOf[unit] == window) {
      ++scratch.countInWindow[unit];
    } else {
      scratch.windowOf[unit] = window;
      scratch.countInWindow[unit] = 1;
      scratch.unitsInWindow.push_back(unit);
    }
  }
  const LocalWeight& weight = localWeight();
  scratch.rows.resize(scratch.unitsInWindow.size());
  for (std::size_t i = 0; i < scratch.rows.size(); ++i) {
    const std::uint32_t unit = scratch.unitsInWindow[i];
    scratch.rows[i] = scratch.unitRows[unit];
    scratch.rows[i].factor *= weight(scratch.countInWindow[unit]);
  }
  sumRows(map, scratch);
}

// The mean over the windows in which the last category's log-odds are highest.
double bestWindows(const Map& map, Text& text) {
  EvaluationScratch& scratch = text.scratch;
  const std::size_t tokens = text.sequence().size();
  const std::size_t size = map.windowTokens();
  scratch.windowOf.assign(text.unitCount(), 0);
  scratch.countInWindow.assign(text.unitCount(), 0);
  std::array<double, 16> best{};  // best first
  const std::size_t wanted = std::min<std::size_t>(map.bestWindows(), best.size());
  std::size_t found = 0;
  std::uint32_t window = 0;
  // The last window reaches the end and may be shorter, but holds more than half.
  for (std::size_t from = 0; from == 0 || from + size / 2 < tokens; from += size / 2) {
    sumWindow(map, text, from, std::min(from + size, tokens), ++window);
    double odds = static_cast<double>(scratch.logits.back()) - othersOf(scratch.logits);
    for (std::size_t i = 0; i < found; ++i) {
      if (odds > best[i]) std::swap(odds, best[i]);
    }
    if (found < wanted) best[found++] = odds;
  }
  double sum = 0;
  for (std::size_t i = 0; i < found; ++i) sum += best[i];
  return sum / static_cast<double>(found);
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

std::vector<float> evaluate(const Map& map, Text& text) {
  EvaluationScratch& scratch = text.scratch;
  const LocalWeight& weight = localWeight();
  scratch.unitRows.resize(text.unitCount());
  scratch.rows.resize(text.unitCount());
  for (std::size_t unit = 0; unit < text.unitCount(); ++unit) {
    scratch.unitRows[unit] = text.row(unit);
    scratch.rows[unit] = scratch.unitRows[unit];
    scratch.rows[unit].factor *= weight(text.frequency(unit));
  }
  sumRows(map, scratch);
  std::vector<float> logits = scratch.logits;
  double last = logits.back();
  if (map.categoryCount() > 1 && text.sequence().size() > map.windowTokens()) {
    const double inWindows = bestWindows(map, text) - static_cast<double>(map.windowPenalty());
    last = std::max(last, othersOf(logits) + inWindows);
  }
  return softmax(logits, last);
}

std::vector<float> evaluateWord(const Map& map, std::uint32_t word, EvaluationScratch& scratch) {
  const QuantisedRow row = map.wordRow(word);
  scratch.rows.assign(1, {row.values, nullptr, row.scale * localWeight()(1)});
  sumRows(map, scratch);
  return softmax(scratch.logits, scratch.logits.back());
}

}  // namespace sifterra::lsm
