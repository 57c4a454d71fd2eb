#include "sifterra/classifier/WFCategoryJudgement.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cmath>
#include <limits>
#include <vector>

namespace sifterra {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

WFCategoryJudgement judgement(std::int64_t category, float score) {
  return WFCategoryJudgement::categoryJudgementWithCategory(category, score);
}

std::string described(std::int64_t category, float score) {
  return judgement(category, score).description().toUTF8();
}

TEST(WFCategoryJudgement, IsMadeWithBothFields) {
  const WFCategoryJudgement made = judgement(2, 0.81F);
  EXPECT_EQ(made.category(), 2);
  EXPECT_EQ(made.score(), 0.81F);
}

TEST(WFCategoryJudgement, StartsEmptyAndTakesNewValues) {
  WFCategoryJudgement changed;
  EXPECT_EQ(changed.category(), 0);
  EXPECT_EQ(changed.score(), 0.0F);
  changed.setCategory(-5'000'000'000);
  changed.setScore(0.25F);
  EXPECT_EQ(changed.category(), -5'000'000'000);
  EXPECT_EQ(changed.score(), 0.25F);
}

TEST(WFCategoryJudgement, ComparesCategoriesAscendingAndSigned) {
  EXPECT_EQ(judgement(1, 0).compareByCategory(judgement(2, 0)), -1);
  EXPECT_EQ(judgement(2, 0).compareByCategory(judgement(1, 0)), 1);
  EXPECT_EQ(judgement(2, 0.1F).compareByCategory(judgement(2, 0.9F)), 0);
  EXPECT_EQ(judgement(-1, 0).compareByCategory(judgement(1, 0)), -1);
}

TEST(WFCategoryJudgement, ComparesScoresDescending) {
  EXPECT_EQ(judgement(1, 0.9F).compareByScore(judgement(1, 0.1F)), -1);
  EXPECT_EQ(judgement(1, 0.1F).compareByScore(judgement(1, 0.9F)), 1);
  EXPECT_EQ(judgement(1, 0.5F).compareByScore(judgement(9, 0.5F)), 0);
}

TEST(WFCategoryJudgement, ScoresThatAreNotANumberCompareEqual) {
  EXPECT_EQ(judgement(1, kNaN).compareByScore(judgement(1, 0.5F)), 0);
  EXPECT_EQ(judgement(1, 0.5F).compareByScore(judgement(1, kNaN)), 0);
  EXPECT_EQ(judgement(1, kNaN).compareByScore(judgement(1, kNaN)), 0);
}

TEST(WFCategoryJudgement, SortsByScoreHighestFirst) {
  std::vector<WFCategoryJudgement> sorted = {judgement(1, 0.3F), judgement(2, 0.9F), judgement(3, 0.5F)};
  std::sort(sorted.begin(), sorted.end(),
            [](const auto& a, const auto& b) { return a.compareByScore(b) < 0; });
  EXPECT_EQ(sorted[0].score(), 0.9F);
  EXPECT_EQ(sorted[1].score(), 0.5F);
  EXPECT_EQ(sorted[2].score(), 0.3F);
}

TEST(WFCategoryJudgement, DescribesItselfWithSixDecimals) {
  EXPECT_EQ(described(1, 0.19F), "1:0.190000");
  EXPECT_EQ(described(12, 0.0F), "12:0.000000");
  EXPECT_EQ(described(-3, -1.0F), "-3:-1.000000");
  EXPECT_EQ(described(2, 1.0F / 3.0F), "2:0.333333");
  EXPECT_EQ(described(1, kInfinity), "1:inf");
  EXPECT_EQ(described(1, std::numeric_limits<float>::max()),
            "1:340282346638528859811704183484516925440.000000");
  EXPECT_EQ(described(1, std::numeric_limits<float>::lowest()),
            "1:-340282346638528859811704183484516925440.000000");
}

TEST(WFCategoryJudgement, NotANumberHasNoSignInTheText) {
  EXPECT_EQ(described(1, kNaN), "1:nan");
  EXPECT_EQ(described(1, std::copysign(kNaN, -1.0F)), "1:nan");
}

// The same digits as the C library prints, for values that need rounding.
TEST(WFCategoryJudgement, RoundsAsTheCLibraryDoes) {
  for (int i = 0; i < 4096; ++i) {
    const float score = static_cast<float>(i) / 4096.0F * 1.7F;
    char expected[64];
    std::snprintf(expected, sizeof expected, "7:%f", static_cast<double>(score));
    EXPECT_EQ(described(7, score), expected);
  }
}

}  // namespace
}  // namespace sifterra
