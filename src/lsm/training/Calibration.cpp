#include "lsm/training/Calibration.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "lsm/Evaluation.h"
#include "lsm/TextWords.h"

namespace sifterra::lsm {
namespace {

// The tail is fitted to this share of the margins, but to no fewer than that many: enough to be steady, and
// far enough out to have the shape of a tail.
constexpr double kTailShare = 0.05;
constexpr std::size_t kFewestInTail = 40;
constexpr double kLeastScale = 0.1;
// A tail that ends is a guess about pages not seen; one heavier than this leaves no operating point.
constexpr double kLeastShape = -0.25;
constexpr double kMostShape = 0.25;
constexpr double kExponential = 1e-6;

}  // namespace

double logOdds(double score) {
  return std::log(score / (1 - score));
}

double MarginTail::shareAbove(double margin) const {
  const double excess = (margin - start) / scale;
  if (std::fabs(shape) < kExponential) return share * std::exp(-excess);
  return share * std::pow(std::max(1 + shape * excess, 0.0), -1 / shape);
}

double MarginTail::marginExceededBy(double wanted) const {
  if (std::fabs(shape) < kExponential) return start + scale * std::log(share / wanted);
  return start + scale * (std::pow(share / wanted, shape) - 1) / shape;
}

MarginTail fitTail(std::vector<double> margins) {
  std::sort(margins.begin(), margins.end(), std::greater<>());
  const std::size_t count = margins.size();
  const auto share = static_cast<std::size_t>(kTailShare * static_cast<double>(count));
  const std::size_t inTail = std::clamp<std::size_t>(std::max(share, kFewestInTail), 1, count / 2);
  MarginTail tail;
  tail.start = margins[inTail];
  tail.share = static_cast<double>(inTail) / static_cast<double>(count);
  double mean = 0;
  double weighted = 0;  // by the share of excesses that are larger
  for (std::size_t i = 0; i < inTail; ++i) {
    const double excess = margins[i] - tail.start;
    mean += excess / static_cast<double>(inTail);
    weighted += excess * (static_cast<double>(i) + 0.35) / static_cast<double>(inTail * inTail);
  }
  // Margins that are all alike still leave room for doubt.
  tail.scale = std::max(mean, kLeastScale);
  if (mean - 2 * weighted <= 1e-9 * mean) return tail;
  tail.shape = std::clamp(2 - mean / (mean - 2 * weighted), kLeastShape, kMostShape);
  // The mean of the distribution is scale / (1 - shape): what the excesses have, they keep.
  tail.scale = std::max(mean * (1 - tail.shape), kLeastScale);
  return tail;
}

ShareEstimate estimateShareAbove(const std::vector<double>& margins, double margin) {
  constexpr std::size_t kResamples = 400;
  const auto shareOf = [margin](const std::vector<double>& sample) {
    const MarginTail tail = fitTail(sample);
    if (margin >= tail.start) return tail.shareAbove(margin);
    const auto above = std::count_if(sample.begin(), sample.end(), [margin](double m) { return m > margin; });
    return static_cast<double>(above) / static_cast<double>(sample.size());
  };
  ShareEstimate estimate;
  estimate.share = shareOf(margins);
  std::vector<double> shares;
  std::vector<double> sample(margins.size());
  std::uint64_t state = 0x9e3779b97f4a7c15U;
  for (std::size_t i = 0; i < kResamples; ++i) {
    for (double& value : sample) {
      state = state * 6364136223846793005U + 1442695040888963407U;
      value = margins[(state >> 33U) % margins.size()];
    }
    shares.push_back(shareOf(sample));
  }
  std::sort(shares.begin(), shares.end());
  estimate.low = shares[kResamples / 40];
  estimate.high = shares[kResamples - 1 - kResamples / 40];
  return estimate;
}

double marginOf(const LsmMap& map, std::u16string_view text) {
  Text words(map);
  words.addWords(text);
  return judge(*map, words).decided.odds;
}

std::uint32_t bestCategory(const LsmMap& map, std::u16string_view text) {
  const LsmText words = lsmTextCreate(map);
  (void)lsmTextAddWords(words, text);
  const LsmRawResult result = lsmEvaluate(map, words, 1);
  return result ? result.entries.front().category : 0;
}

}  // namespace sifterra::lsm
