// WFCategoryJudgement: one category's score.
#pragma once

#include <cstdint>

#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"

namespace sifterra {

class WF_API WFCategoryJudgement {
 public:
  [[nodiscard]] static WFCategoryJudgement categoryJudgementWithCategory(std::int64_t category, float score);

  [[nodiscard]] float score() const noexcept { return _score; }
  void setScore(float score) noexcept { _score = score; }
  [[nodiscard]] std::int64_t category() const noexcept { return _category; }
  void setCategory(std::int64_t category) noexcept { _category = category; }

  // -1, 0 or 1: ascending category.
  [[nodiscard]] int compareByCategory(const WFCategoryJudgement& other) const noexcept;
  // -1, 0 or 1: descending score; 0 also when either is not a number.
  [[nodiscard]] int compareByScore(const WFCategoryJudgement& other) const noexcept;
  [[nodiscard]] platform::String description() const;

 private:
  float _score = 0;
  std::int64_t _category = 0;
};

}  // namespace sifterra
