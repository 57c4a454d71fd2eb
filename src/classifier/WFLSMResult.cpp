// WFLSMResult: judgements in an array, the one of category c at position c - 1.
//
// That position holds because a map asks the engine for every category. Positions are checked all the
// same: a result of another making must fail where it is used, not read elsewhere.
#include "sifterra/classifier/WFLSMResult.h"

#include <algorithm>
#include <cstdint>
#include <string>

#include "classifier/fixed_point.h"
#include "lsm/LsmEngine.h"

namespace sifterra {
namespace {

constexpr std::int64_t kNoCategory = -1;

bool ascendingCategory(const WFCategoryJudgement& a, const WFCategoryJudgement& b) noexcept {
  return a.compareByCategory(b) < 0;
}

// A category below 1 wraps to a position that no array has.
std::size_t positionOf(std::int64_t category) noexcept {
  return static_cast<std::size_t>(category) - 1;
}

}  // namespace

std::shared_ptr<WFLSMResult> WFLSMResult::LSMResultWithLSMResultRef(const lsm::LsmRawResult& LSMResultRef,
                                                                    float threshold) {
  if (!LSMResultRef) return nullptr;
  return std::shared_ptr<WFLSMResult>(new WFLSMResult(LSMResultRef, threshold));
}

std::vector<WFCategoryJudgement> WFLSMResult::extractScoresFromLSMResults(const lsm::LsmRawResult& results) {
  std::vector<WFCategoryJudgement> judgements;
  judgements.reserve(results.entries.size());
  for (const lsm::LsmScore& entry : results.entries)
    judgements.push_back(WFCategoryJudgement::categoryJudgementWithCategory(entry.category, entry.score));
  return judgements;
}

WFLSMResult::WFLSMResult(const lsm::LsmRawResult& LSMResultRef, float threshold)
    : categoryJudgements(extractScoresFromLSMResults(LSMResultRef)), _threshold(threshold) {
  std::stable_sort(categoryJudgements.begin(), categoryJudgements.end(), ascendingCategory);
}

std::int64_t WFLSMResult::numberOfCategories() const noexcept {
  return static_cast<std::int64_t>(categoryJudgements.size());
}

std::int64_t WFLSMResult::bestMatchingCategory() const noexcept {
  std::int64_t best = kNoCategory;
  float bestScore = -1.0F;
  for (const WFCategoryJudgement& judgement : categoryJudgements) {
    if (judgement.score() > bestScore) {  // not a number is never greater
      best = judgement.category();
      bestScore = judgement.score();
    }
  }
  return best;
}

float WFLSMResult::scoreForCategory(std::int64_t category) const {
  return categoryJudgements.at(positionOf(category)).score();
}

void WFLSMResult::setScore(float score, std::int64_t category) {
  categoryJudgements.at(positionOf(category)).setScore(score);
}

bool WFLSMResult::isRestricted() const {
  const std::int64_t best = bestMatchingCategory();
  if (best == kNoCategory) return false;
  const float score = scoreForCategory(best);
  return best == numberOfCategories() && score > _threshold;
}

platform::String WFLSMResult::description() const {
  // Kept: half of the object's address as a signed number. It tells objects apart in a log, no more.
  const auto identity =
      static_cast<std::int32_t>(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(this)));
  std::string text = "<WFLSMResult:" + std::to_string(identity) + " categoryJudgements:(";
  for (std::size_t i = 0; i < categoryJudgements.size(); ++i) {
    if (i > 0) text += ", ";
    text += categoryJudgements[i].description().toUTF8();
  }
  return platform::String::fromUTF8(text + ")>");
}

platform::String WFLSMResult::debugDescription() const {
  const std::int64_t best = bestMatchingCategory();
  const std::int64_t count = numberOfCategories();
  std::string text;
  for (std::int64_t category = 1; category <= count; ++category) {
    const std::string entry = std::to_string(category) + ":" + fixedPoint(scoreForCategory(category), 2);
    text += category == best ? "[ " + entry + " ]" : entry;
    if (category < count) text += "    ";
  }
  return platform::String::fromUTF8(text);
}

}  // namespace sifterra
