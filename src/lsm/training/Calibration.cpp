#include "lsm/training/Calibration.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace sifterra::lsm {
namespace {

// The tail is fitted to this share of the margins, but to no fewer than that many: enough to be steady, and
// far enough out to have the shape of a tail.
constexpr double kTailShare = 0.05;
constexpr std::size_t kFewestInTail = 40;

}  // namespace

double logOdds(double score) {
  return std::log(score / (1 - score));
}

double MarginTail::shareAbove(double margin) const {
  return share * std::exp(-(margin - start) / scale);
}

double MarginTail::marginExceededBy(double wanted) const {
  return start + scale * std::log(share / wanted);
}

MarginTail fitTail(std::vector<double> margins) {
  std::sort(margins.begin(), margins.end(), std::greater<>());
  const std::size_t count = margins.size();
  const auto share = static_cast<std::size_t>(kTailShare * static_cast<double>(count));
  const std::size_t inTail = std::clamp<std::size_t>(std::max(share, kFewestInTail), 1, count / 2);
  MarginTail tail;
  tail.start = margins[inTail];
  tail.share = static_cast<double>(inTail) / static_cast<double>(count);
  for (std::size_t i = 0; i < inTail; ++i) tail.scale += margins[i] - tail.start;
  // Margins that are all alike still leave room for doubt.
  tail.scale = std::max(tail.scale / static_cast<double>(inTail), 0.1);
  return tail;
}

double marginOf(const LsmMap& map, std::u16string_view text) {
  const LsmText words = lsmTextCreate(map);
  (void)lsmTextAddWords(words, text);
  const std::int64_t categories = lsmMapCategoryCount(map);
  double last = 0;
  double others = 0;
  for (const LsmScore& score : lsmEvaluate(map, words, categories).entries) {
    (score.category == categories ? last : others) += static_cast<double>(score.score);
  }
  return std::log(last / others);
}

std::uint32_t bestCategory(const LsmMap& map, std::u16string_view text) {
  const LsmText words = lsmTextCreate(map);
  (void)lsmTextAddWords(words, text);
  const LsmRawResult result = lsmEvaluate(map, words, 1);
  return result ? result.entries.front().category : 0;
}

}  // namespace sifterra::lsm
