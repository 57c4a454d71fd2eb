// WFLSMResult: the scores of one evaluation, by category, and the rule that restricts a page.
//
// A map makes one from what the engine answered. The last category is the adult one: the page is
// restricted when that category wins and its score exceeds the threshold.
//
// Categories are numbered from 1 to numberOfCategories(), each there exactly once. Asking for another
// number is a mistake of the caller and throws std::out_of_range.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "sifterra/classifier/WFCategoryJudgement.h"
#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"

namespace sifterra {

namespace lsm {
struct LsmRawResult;
}

class WF_API WFLSMResult {
 public:
  // Null when the engine gave no result. The engine's result is not kept.
  [[nodiscard]] static std::shared_ptr<WFLSMResult> LSMResultWithLSMResultRef(
      const lsm::LsmRawResult& LSMResultRef, float threshold);
  // One judgement per entry, in the engine's order.
  [[nodiscard]] static std::vector<WFCategoryJudgement> extractScoresFromLSMResults(
      const lsm::LsmRawResult& results);

  [[nodiscard]] std::int64_t numberOfCategories() const noexcept;
  // The category with the highest score, the lower of equals; -1 when no score is above -1.
  [[nodiscard]] std::int64_t bestMatchingCategory() const noexcept;
  [[nodiscard]] float scoreForCategory(std::int64_t category) const;
  void setScore(float score, std::int64_t category);
  [[nodiscard]] bool isRestricted() const;

  // "<WFLSMResult:ID categoryJudgements:(1:0.190000, 2:0.810000)>"
  [[nodiscard]] platform::String description() const;
  // The score line, "1:0.19    [ 2:0.81 ]" with the best category in brackets; empty without categories.
  [[nodiscard]] platform::String debugDescription() const;

 private:
  WFLSMResult(const lsm::LsmRawResult& LSMResultRef, float threshold);

  std::vector<WFCategoryJudgement> categoryJudgements;  // the one of category c at c - 1
  float _threshold;
};

}  // namespace sifterra
