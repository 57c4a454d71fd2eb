// WFCategoryJudgement: comparisons and text of one category's score.
#include "sifterra/classifier/WFCategoryJudgement.h"

#include <string>

#include "classifier/fixed_point.h"

namespace sifterra {

WFCategoryJudgement WFCategoryJudgement::categoryJudgementWithCategory(std::int64_t category, float score) {
  WFCategoryJudgement judgement;
  judgement.setCategory(category);
  judgement.setScore(score);
  return judgement;
}

int WFCategoryJudgement::compareByCategory(const WFCategoryJudgement& other) const noexcept {
  if (_category < other._category) return -1;
  return _category > other._category ? 1 : 0;
}

int WFCategoryJudgement::compareByScore(const WFCategoryJudgement& other) const noexcept {
  if (_score > other._score) return -1;
  return other._score > _score ? 1 : 0;
}

platform::String WFCategoryJudgement::description() const {
  return platform::String::fromUTF8(std::to_string(_category) + ":" + fixedPoint(_score, 6));
}

}  // namespace sifterra
