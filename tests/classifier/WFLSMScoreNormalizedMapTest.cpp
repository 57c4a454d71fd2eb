#include "sifterra/classifier/WFLSMScoreNormalizedMap.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "classifier/FakeEngine.h"
#include "platform/CHandles.h"
#include "platform/Log.h"
#include "sifterra/text/WFWebPageToTrainingText.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::LogLevel;
using platform::String;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

using Scores = std::vector<float>;

std::vector<lsm::LsmScore> entries(const Scores& scores) {
  std::vector<lsm::LsmScore> result;
  for (std::size_t i = 0; i < scores.size(); ++i)
    result.push_back({static_cast<std::uint32_t>(i + 1), scores[i]});
  return result;
}

std::u16string signatureWord(std::int64_t category) {
  return std::u16string(WFWebPageToTrainingText::signatureForCategory(category).view());
}

// An engine map that answers the signature word of category i with signatures[i - 1], and the text
// "page" with the page's raw scores.
lsm::LsmMap scripted(const std::vector<Scores>& signatures, const Scores& page) {
  FakeScript script;
  script.categories = static_cast<std::int64_t>(page.size());
  for (std::size_t i = 0; i < signatures.size(); ++i)
    script.answers[signatureWord(static_cast<std::int64_t>(i + 1))] = entries(signatures[i]);
  script.answers[u"page"] = entries(page);
  return fakeMap(std::move(script));
}

Scores normalized(const WFLSMMap& map) {
  const auto result = map.evaluate(String(u"page"));
  Scores scores;
  for (std::int64_t c = 1; c <= map.numberOfCategories(); ++c) scores.push_back(result->scoreForCategory(c));
  return scores;
}

Scores floors(const WFLSMScoreNormalizedMap& map) {
  Scores scores;
  for (std::int64_t c = 1; c <= map.numberOfCategories(); ++c) scores.push_back(map.floorForCategory(c));
  return scores;
}

Scores ceilings(const WFLSMScoreNormalizedMap& map) {
  Scores scores;
  for (std::int64_t c = 1; c <= map.numberOfCategories(); ++c) scores.push_back(map.ceilingForCategory(c));
  return scores;
}

const std::vector<Scores> kTwoSignatures = {{0.9F, 0.2F}, {0.1F, 0.8F}};

TEST(WFLSMScoreNormalizedMap, CalibratesFromTheSignatureWords) {
  const CapturedLog log;
  const auto map = WFLSMScoreNormalizedMap::mapWithMap(scripted(kTwoSignatures, {0.5F, 0.5F}));
  EXPECT_EQ(floors(*map), (Scores{0.1F, 0.2F}));
  EXPECT_EQ(ceilings(*map), (Scores{0.9F, 0.8F}));
  EXPECT_TRUE(log.lines().empty());
  const Scores scores = normalized(*map);
  EXPECT_FLOAT_EQ(scores[0], 0.5F);
  EXPECT_FLOAT_EQ(scores[1], 0.5F);
}

TEST(WFLSMScoreNormalizedMap, EntryZeroIsNeverUsed) {
  const auto map = WFLSMScoreNormalizedMap::mapWithMap(scripted(kTwoSignatures, {0.5F, 0.5F}));
  EXPECT_EQ(map->floorForCategory(0), -1.0F);
  EXPECT_EQ(map->ceilingForCategory(0), -1.0F);
  EXPECT_THROW((void)map->floorForCategory(3), std::out_of_range);
  EXPECT_THROW((void)map->ceilingForCategory(-1), std::out_of_range);
}

TEST(WFLSMScoreNormalizedMap, ScoresBelowTheFloorCountAsZero) {
  const auto map = WFLSMScoreNormalizedMap::mapWithMap(scripted(kTwoSignatures, {0.05F, 0.8F}));
  EXPECT_EQ(normalized(*map), (Scores{0.0F, 1.0F}));
  EXPECT_TRUE(map->evaluate(String(u"page"))->isRestricted());
  EXPECT_EQ(map->threshold(), 0.62F);
}

TEST(WFLSMScoreNormalizedMap, ScoresAboveTheCeilingAreNotCut) {
  // 1.5 times and 0.5 times the way from floor to ceiling.
  const auto map =
      WFLSMScoreNormalizedMap::mapWithMap(scripted({{0.75F, 0.25F}, {0.25F, 0.75F}}, {1.0F, 0.5F}));
  EXPECT_EQ(normalized(*map), (Scores{0.75F, 0.25F}));
}

TEST(WFLSMScoreNormalizedMap, CalculatesInSinglePrecisionInTheOrderOfTheCategories) {
  const Scores page = {0.123456F, 0.654321F};
  const auto map = WFLSMScoreNormalizedMap::mapWithMap(scripted(kTwoSignatures, page));
  const volatile float first = (page[0] - 0.1F) / (0.9F - 0.1F);
  const volatile float second = (page[1] - 0.2F) / (0.8F - 0.2F);
  const volatile float sum = first + second;
  const volatile float scale = 1 / sum;
  const volatile float firstScaled = first * scale;
  const volatile float secondScaled = second * scale;
  EXPECT_EQ(normalized(*map), (Scores{firstScaled, secondScaled}));
}

TEST(WFLSMScoreNormalizedMap, AllScoresZeroBecomeNotANumberAndRestrictNothing) {
  const auto map = WFLSMScoreNormalizedMap::mapWithMap(scripted(kTwoSignatures, {0.05F, 0.1F}));
  const auto result = map->evaluate(String(u"page"));
  EXPECT_TRUE(std::isnan(result->scoreForCategory(1)));
  EXPECT_TRUE(std::isnan(result->scoreForCategory(2)));
  EXPECT_EQ(result->bestMatchingCategory(), -1);
  EXPECT_FALSE(result->isRestricted());
  EXPECT_EQ(result->debugDescription().toUTF8(), "1:nan    2:nan");
}

TEST(WFLSMScoreNormalizedMap, AFloorThatEqualsItsCeilingDividesByZero) {
  // The word of category 2 gives category 1 the score of its own word.
  const std::vector<Scores> signatures = {{0.5F, 0.2F}, {0.5F, 0.8F}};
  const auto above = WFLSMScoreNormalizedMap::mapWithMap(scripted(signatures, {0.6F, 0.5F}));
  EXPECT_TRUE(std::isnan(normalized(*above)[0]));  // infinity times zero
  EXPECT_EQ(normalized(*above)[1], 0.0F);
  const auto equal = WFLSMScoreNormalizedMap::mapWithMap(scripted(signatures, {0.5F, 0.5F}));
  EXPECT_TRUE(std::isnan(normalized(*equal)[0]));  // zero by zero stays and spreads
  EXPECT_TRUE(std::isnan(normalized(*equal)[1]));
  EXPECT_FALSE(equal->evaluate(String(u"page"))->isRestricted());
  const auto below = WFLSMScoreNormalizedMap::mapWithMap(scripted(signatures, {0.4F, 0.5F}));
  EXPECT_EQ(normalized(*below), (Scores{0.0F, 1.0F}));  // minus infinity is negative
}

TEST(WFLSMScoreNormalizedMap, ASignatureThatDoesNotMatchItsCategoryIsToldAndLeftOut) {
  const CapturedLog log;
  const auto map = WFLSMScoreNormalizedMap::mapWithMap(scripted({{0.3F, 0.7F}, {0.1F, 0.8F}}, {0.5F, 0.5F}));
  ASSERT_NE(map, nullptr);
  EXPECT_EQ(log.texts(),
            std::vector<std::string>{"-[WFLSMScoreNormalizedMap initWithMap:] -- Error creating the map: "
                                     "bestMatchingCategory (2) doesn't match category_i (1)"});
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Error);
  EXPECT_EQ(log.lines().at(0).category, "WebFilter");
  EXPECT_EQ(ceilings(*map), (Scores{-1.0F, 0.8F}));
  EXPECT_EQ(floors(*map), (Scores{0.1F, -1.0F}));  // nothing came from the first word
  // (0.5 - 0.1) / (-1 - 0.1) is negative; (0.5 + 1) / (0.8 + 1) is not.
  EXPECT_EQ(normalized(*map), (Scores{0.0F, 1.0F}));
}

TEST(WFLSMScoreNormalizedMap, AnEvaluationThatFailsCountsAsCategoryZero) {
  FakeScript script;
  script.evaluationFails = true;
  const CapturedLog log;
  const auto map = WFLSMScoreNormalizedMap::mapWithMap(fakeMap(std::move(script)));
  ASSERT_NE(map, nullptr);
  EXPECT_TRUE(log.contains(LogLevel::Error,
                           "-[WFLSMScoreNormalizedMap initWithMap:] -- Error creating the map: "
                           "bestMatchingCategory (0) doesn't match category_i (1)"));
  EXPECT_TRUE(log.contains(LogLevel::Error,
                           "-[WFLSMScoreNormalizedMap initWithMap:] -- Error creating the map: "
                           "bestMatchingCategory (0) doesn't match category_i (2)"));
  EXPECT_EQ(ceilings(*map), (Scores{-1.0F, -1.0F}));
  EXPECT_EQ(floors(*map), (Scores{-1.0F, -1.0F}));
  EXPECT_EQ(map->evaluate(String(u"page")), nullptr);
}

TEST(WFLSMScoreNormalizedMap, ASignatureWithoutABestCategoryIsToldAsMinusOne) {
  const CapturedLog log;
  const auto map = WFLSMScoreNormalizedMap::mapWithMap(scripted({{kNaN, kNaN}, {0.1F, 0.8F}}, {0.5F, 0.5F}));
  ASSERT_NE(map, nullptr);
  EXPECT_TRUE(log.contains(LogLevel::Error,
                           "-[WFLSMScoreNormalizedMap initWithMap:] -- Error creating the map: "
                           "bestMatchingCategory (-1) doesn't match category_i (1)"));
}

struct FloorRow {
  const char* what;
  Scores thirdCategory;  // of the third category, on the words of categories 1, 2 and 4
  float floor;
};
const FloorRow kFloorRows[] = {
    {"the smallest positive score", {0.3F, 0.1F, 0.2F}, 0.1F},
    {"zero gives way to a larger one", {0.0F, 0.2F, 0.3F}, 0.2F},
    {"a negative one gives way to a larger one", {-0.5F, 0.2F, 0.3F}, 0.2F},
    {"a negative one replaces a positive one", {0.2F, -0.5F, 0.3F}, 0.3F},
    {"the last one stays even when not positive", {0.2F, 0.3F, 0.0F}, 0.0F},
    {"zero gives way to a negative one", {0.0F, -0.1F, -0.2F}, -0.2F},
    {"not a number gives way", {kNaN, 0.4F, 0.5F}, 0.4F},
    {"not a number never replaces a positive one", {0.4F, kNaN, 0.5F}, 0.4F},
};
TEST(WFLSMScoreNormalizedMap, AFloorIsTheSmallestScoreUnlessAStoredOneIsNotPositive) {
  for (const FloorRow& row : kFloorRows) {
    SCOPED_TRACE(row.what);
    const auto map = WFLSMScoreNormalizedMap::mapWithMap(scripted({{0.9F, 0.1F, row.thirdCategory[0], 0.1F},
                                                                   {0.1F, 0.9F, row.thirdCategory[1], 0.1F},
                                                                   {0.1F, 0.1F, 0.9F, 0.1F},
                                                                   {0.1F, 0.1F, row.thirdCategory[2], 0.9F}},
                                                                  {0.5F, 0.5F, 0.5F, 0.5F}));
    EXPECT_EQ(map->floorForCategory(3), row.floor);
    EXPECT_EQ(ceilings(*map), (Scores{0.9F, 0.9F, 0.9F, 0.9F}));
  }
}

TEST(WFLSMScoreNormalizedMap, ThreeCategoriesSumToOne) {
  const auto map = WFLSMScoreNormalizedMap::mapWithMap(
      scripted({{0.8F, 0.1F, 0.1F}, {0.2F, 0.7F, 0.1F}, {0.1F, 0.3F, 0.6F}}, {0.2F, 0.3F, 0.5F}));
  EXPECT_EQ(floors(*map), (Scores{0.1F, 0.1F, 0.1F}));
  EXPECT_EQ(ceilings(*map), (Scores{0.8F, 0.7F, 0.6F}));
  const Scores scores = normalized(*map);
  EXPECT_FLOAT_EQ(scores[0] + scores[1] + scores[2], 1.0F);
  const float sum = 0.1F / 0.7F + 0.2F / 0.6F + 0.4F / 0.5F;
  EXPECT_FLOAT_EQ(scores[0], 0.1F / 0.7F / sum);
  EXPECT_FLOAT_EQ(scores[1], 0.2F / 0.6F / sum);
  EXPECT_FLOAT_EQ(scores[2], 0.4F / 0.5F / sum);
}

TEST(WFLSMScoreNormalizedMap, CategoriesAboveNineAreToldAndTheMapStillEvaluates) {
  std::vector<Scores> signatures;
  for (std::size_t i = 0; i < 9; ++i) {
    Scores scores(11, 0.05F);
    scores[i] = 0.5F;
    signatures.push_back(scores);
  }
  const CapturedLog log;
  const auto map = WFLSMScoreNormalizedMap::mapWithMap(scripted(signatures, Scores(11, 0.1F)));
  ASSERT_NE(map, nullptr);
  // The null signature is told by the base class first.
  const std::string nil =
      "-[WFLSMMap _createLSMTextFromString:] -- Couldn't create text because the strippedContent is nil";
  const std::string error =
      "-[WFLSMScoreNormalizedMap initWithMap:] -- Error creating the map: bestMatchingCategory (0) "
      "doesn't match category_i (";
  EXPECT_EQ(log.texts(), (std::vector<std::string>{nil, error + "10)", nil, error + "11)"}));
  EXPECT_EQ(map->ceilingForCategory(9), 0.5F);
  EXPECT_EQ(map->ceilingForCategory(10), -1.0F);
  EXPECT_EQ(map->floorForCategory(10), 0.05F);
  const Scores scores = normalized(*map);
  EXPECT_EQ(scores[10], 0.0F);  // (0.1 - 0.05) / (-1 - 0.05) is negative
  EXPECT_FLOAT_EQ(scores[0], 1.0F / 9.0F);
}

TEST(WFLSMScoreNormalizedMap, AMapWithoutCategoriesLeavesTheResultAlone) {
  FakeScript script;
  script.categories = 0;
  const auto map = WFLSMScoreNormalizedMap::mapWithMap(fakeMap(std::move(script)));
  const auto result = map->evaluate(String(u"page"));
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(result->numberOfCategories(), 0);
  EXPECT_EQ(map->evaluate(nullptr), nullptr);
}

TEST(WFLSMScoreNormalizedMap, AFailedEvaluationIsNull) {
  const auto map = WFLSMScoreNormalizedMap::mapWithMap(scripted(kTwoSignatures, {0.5F, 0.5F}));
  EXPECT_EQ(map->evaluate(nullptr), nullptr);
}

TEST(WFLSMScoreNormalizedMap, TheThresholdOfTheMapAppliesToNormalizedScores) {
  FakeScript script;
  script.properties = {{"Explicit Threshold", 0.4F}};
  script.answers[signatureWord(1)] = entries({0.9F, 0.2F});
  script.answers[signatureWord(2)] = entries({0.1F, 0.8F});
  script.answers[u"page"] = entries({0.45F, 0.55F});
  const auto map = WFLSMScoreNormalizedMap::mapWithMap(fakeMap(std::move(script)));
  EXPECT_TRUE(map->evaluate(String(u"page"))->isRestricted());
}

// The word of category 1 is a client's to replace, and is read when a map is made.
TEST(WFLSMScoreNormalizedMap, CategoryOneIsCalibratedByTheExportedWord) {
  FakeScript script;
  script.answers[u"replaced"] = entries({0.75F, 0.2F});
  script.answers[signatureWord(2)] = entries({0.1F, 0.8F});
  const WFStringRef original = WFWebPageToTrainingText_Category1;
  const WFStringRef replacement = platform::createHandle(String(u"replaced"));
  WFWebPageToTrainingText_Category1 = replacement;
  const auto map = WFLSMScoreNormalizedMap::mapWithMap(fakeMap(std::move(script)));
  WFWebPageToTrainingText_Category1 = original;
  WFRelease(replacement);
  EXPECT_EQ(ceilings(*map), (Scores{0.75F, 0.8F}));
}

}  // namespace
}  // namespace sifterra
