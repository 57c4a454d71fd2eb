#include "sifterra/classifier/WFLSMResult.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>

#include "lsm/LsmEngine.h"

namespace sifterra {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kThreshold = 0.62F;

std::shared_ptr<WFLSMResult> resultOf(std::vector<lsm::LsmScore> entries, float threshold = kThreshold) {
  return WFLSMResult::LSMResultWithLSMResultRef({std::move(entries), true}, threshold);
}

std::string line(const std::vector<lsm::LsmScore>& entries) {
  return resultOf(entries)->debugDescription().toUTF8();
}

TEST(WFLSMResult, IsNullWithoutAnEngineResult) {
  EXPECT_EQ(WFLSMResult::LSMResultWithLSMResultRef(lsm::LsmRawResult{}, kThreshold), nullptr);
  EXPECT_EQ(WFLSMResult::LSMResultWithLSMResultRef({{{1, 0.5F}}, false}, kThreshold), nullptr);
}

TEST(WFLSMResult, ExtractsTheScoresInTheEnginesOrder) {
  const auto judgements =
      WFLSMResult::extractScoresFromLSMResults({{{2, 0.8F}, {4294967295U, 0.1F}, {1, 0.2F}}, true});
  ASSERT_EQ(judgements.size(), 3U);
  EXPECT_EQ(judgements[0].category(), 2);
  EXPECT_EQ(judgements[0].score(), 0.8F);
  EXPECT_EQ(judgements[1].category(), 4294967295);  // widened without sign
  EXPECT_EQ(judgements[2].category(), 1);
  EXPECT_TRUE(WFLSMResult::extractScoresFromLSMResults({{}, true}).empty());
}

TEST(WFLSMResult, StoresTheScoresByCategory) {
  const auto result = resultOf({{2, 0.8F}, {1, 0.2F}});
  EXPECT_EQ(result->numberOfCategories(), 2);
  EXPECT_EQ(result->scoreForCategory(1), 0.2F);
  EXPECT_EQ(result->scoreForCategory(2), 0.8F);
}

TEST(WFLSMResult, ASetScoreTakesThePlaceOfTheOld) {
  const auto result = resultOf({{2, 0.8F}, {1, 0.2F}});
  result->setScore(0.9F, 1);
  EXPECT_EQ(result->scoreForCategory(1), 0.9F);
  EXPECT_EQ(result->scoreForCategory(2), 0.8F);
  EXPECT_EQ(result->bestMatchingCategory(), 1);
}

TEST(WFLSMResult, ACategoryThatIsNotThereIsAHardFailure) {
  const auto result = resultOf({{1, 0.2F}, {2, 0.8F}});
  for (const std::int64_t category :
       {std::int64_t{0}, std::int64_t{-1}, std::int64_t{3}, INT64_MIN, INT64_MAX}) {
    SCOPED_TRACE(category);
    EXPECT_THROW((void)result->scoreForCategory(category), std::out_of_range);
    EXPECT_THROW(result->setScore(0, category), std::out_of_range);
  }
}

struct BestRow {
  const char* what;
  std::vector<lsm::LsmScore> entries;
  std::int64_t best;
};
const BestRow kBestRows[] = {
    {"the highest score wins", {{1, 0.1F}, {2, 0.7F}, {3, 0.2F}}, 2},
    {"equal scores go to the lower category", {{2, 0.5F}, {1, 0.5F}}, 1},
    {"zero is a score", {{1, 0.0F}, {2, 0.0F}}, 1},
    {"above -1 is enough", {{1, -0.9F}, {2, -0.8F}}, 2},
    {"-1 and less are no match", {{1, -1.0F}, {2, -5.0F}}, -1},
    {"not a number never matches", {{1, kNaN}, {2, kNaN}}, -1},
    {"not a number is passed over", {{1, kNaN}, {2, 0.1F}}, 2},
    {"no scores", {}, -1},
};
TEST(WFLSMResult, BestMatchingCategoryIsTheLowestOfTheHighest) {
  for (const BestRow& row : kBestRows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(resultOf(row.entries)->bestMatchingCategory(), row.best);
  }
}

struct RestrictedRow {
  const char* what;
  std::vector<lsm::LsmScore> entries;
  bool restricted;
};
const RestrictedRow kRestrictedRows[] = {
    {"last category above the threshold", {{1, 0.1F}, {2, 0.9F}}, true},
    {"last category exactly at the threshold", {{1, 0.38F}, {2, kThreshold}}, false},
    {"the next float above the threshold", {{1, 0.38F}, {2, std::nextafter(kThreshold, 1.0F)}}, true},
    {"last category best but below", {{1, 0.4F}, {2, 0.6F}}, false},
    {"another category best", {{1, 0.9F}, {2, 0.1F}}, false},
    {"equal scores above the threshold", {{1, 0.9F}, {2, 0.9F}}, false},
    {"best is the middle of three", {{1, 0.0F}, {2, 0.9F}, {3, 0.1F}}, false},
    {"last of three", {{1, 0.0F}, {2, 0.1F}, {3, 0.9F}}, true},
    {"a single category is the last", {{1, 0.7F}}, true},
    {"all not a number", {{1, kNaN}, {2, kNaN}}, false},
    {"last not a number", {{1, 0.1F}, {2, kNaN}}, false},
    {"none", {}, false},
};
TEST(WFLSMResult, IsRestrictedWhenTheLastCategoryWinsAboveTheThreshold) {
  for (const RestrictedRow& row : kRestrictedRows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(resultOf(row.entries)->isRestricted(), row.restricted);
  }
}

TEST(WFLSMResult, TheThresholdIsTheOneItWasMadeWith) {
  EXPECT_TRUE(resultOf({{1, 0.4F}, {2, 0.6F}}, 0.5F)->isRestricted());
  EXPECT_FALSE(resultOf({{1, 0.4F}, {2, 0.6F}}, kNaN)->isRestricted());
}

// A result whose best category lies outside the array cannot be asked for its score.
TEST(WFLSMResult, ABestCategoryBeyondTheLastIsAHardFailure) {
  EXPECT_THROW((void)resultOf({{1, 0.1F}, {7, 0.9F}})->isRestricted(), std::out_of_range);
}

TEST(WFLSMResult, TheScoreLineBracketsTheBestCategory) {
  EXPECT_EQ(line({{1, 0.19F}, {2, 0.81F}}), "1:0.19    [ 2:0.81 ]");
  EXPECT_EQ(line({{1, 0.1F}, {2, 0.2F}, {3, 0.7F}}), "1:0.10    2:0.20    [ 3:0.70 ]");
  EXPECT_EQ(line({{1, 0.5F}, {2, 0.5F}}), "[ 1:0.50 ]    2:0.50");
  EXPECT_EQ(line({{1, 1.0F}}), "[ 1:1.00 ]");
  EXPECT_EQ(line({}), "");
}

TEST(WFLSMResult, TheScoreLineOfNotANumberBracketsNothing) {
  EXPECT_EQ(line({{1, kNaN}, {2, std::copysign(kNaN, -1.0F)}}), "1:nan    2:nan");
}

TEST(WFLSMResult, DescriptionTellsIdentityAndScores) {
  const auto result = resultOf({{2, 0.81F}, {1, 0.19F}});
  const auto low =
      static_cast<std::int32_t>(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(result.get())));
  EXPECT_EQ(result->description().toUTF8(),
            "<WFLSMResult:" + std::to_string(low) + " categoryJudgements:(1:0.190000, 2:0.810000)>");
  const auto empty = resultOf({});
  const auto lowOfEmpty =
      static_cast<std::int32_t>(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(empty.get())));
  EXPECT_EQ(empty->description().toUTF8(),
            "<WFLSMResult:" + std::to_string(lowOfEmpty) + " categoryJudgements:()>");
}

}  // namespace
}  // namespace sifterra
