// The map classes on the real engine, with the small map of the engine's own tests.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "lsm/TinyMap.h"
#include "platform/Log.h"
#include "sifterra/classifier/WFLSMScoreNormalizedMap.h"

namespace sifterra {
namespace {

using lsm::TinyMapFile;
using platform::CapturedLog;
using platform::LogLevel;
using platform::String;

String text(const std::string& utf8) {
  return String::fromUTF8(utf8);
}

TEST(MapOnTheRealEngine, LoadsCalibratesAndClassifies) {
  const TinyMapFile file;
  const CapturedLog log;
  const auto map = WFLSMScoreNormalizedMap::mapFromFilePath(text(file.path()));
  ASSERT_NE(map, nullptr);
  EXPECT_TRUE(log.lines().empty());  // every signature word is its category's
  EXPECT_EQ(map->numberOfCategories(), 2);
  EXPECT_EQ(map->threshold(), 0.62F);
  EXPECT_GT(map->ceilingForCategory(1), 0.99F);
  EXPECT_LT(map->floorForCategory(1), 0.01F);
  EXPECT_FALSE(map->evaluate(text("the weather in the museum garden"))->isRestricted());
  EXPECT_TRUE(map->evaluate(text("free porn videos xxx nude webcam"))->isRestricted());
  EXPECT_EQ(map->evaluate(text(""))->bestMatchingCategory(), 1);
}

TEST(MapOnTheRealEngine, NormalizingLeavesTheScoresOfACalibratedMapWhereTheyAre) {
  const TinyMapFile file;
  const auto plain = WFLSMMap::mapFromFilePath(text(file.path()));
  const auto normalized = WFLSMScoreNormalizedMap::mapFromFilePath(text(file.path()));
  for (const char* words : {"garden porn", "museum xxx the and free", "weather", "nude nude garden"}) {
    SCOPED_TRACE(words);
    const auto raw = plain->evaluate(text(words));
    const auto scaled = normalized->evaluate(text(words));
    for (const std::int64_t category : {1, 2})
      EXPECT_NEAR(scaled->scoreForCategory(category), raw->scoreForCategory(category), 2e-5F);
    EXPECT_NEAR(scaled->scoreForCategory(1) + scaled->scoreForCategory(2), 1.0F, 1e-6F);
  }
}

TEST(MapOnTheRealEngine, ThreeCategoriesAreScoredEach) {
  const TinyMapFile file(lsm::LsmProperties{}, 3);
  const auto map = WFLSMScoreNormalizedMap::mapFromFilePath(text(file.path()));
  ASSERT_NE(map, nullptr);
  const auto result = map->evaluate(text("topic2 topic2 topic2"));
  EXPECT_EQ(result->numberOfCategories(), 3);
  EXPECT_EQ(result->bestMatchingCategory(), 2);
  EXPECT_FALSE(result->isRestricted());
}

TEST(MapOnTheRealEngine, TakesTheThresholdFromTheFile) {
  const TinyMapFile file(lsm::LsmProperties{{lsm::kLsmExplicitThreshold, 0.5F}});
  const CapturedLog log;
  const auto map = WFLSMMap::mapFromFilePath(text(file.path()));
  ASSERT_NE(map, nullptr);
  EXPECT_EQ(map->threshold(), 0.5F);
  EXPECT_TRUE(log.contains(LogLevel::Info, "-[WFLSMMap initWithMap:] -- Threshold from LSM map: 0.500000"));
}

TEST(MapOnTheRealEngine, ADamagedFileDoesNotLoad) {
  const TinyMapFile file;
  std::filesystem::resize_file(file.path(), std::filesystem::file_size(file.path()) / 2);
  const CapturedLog log;
  EXPECT_EQ(WFLSMScoreNormalizedMap::mapFromFilePath(text(file.path())), nullptr);
  EXPECT_TRUE(log.contains(
      LogLevel::Error,
      "+[WFLSMMap mapFromURL:] -- An error occurred loading the map from file://" + file.path()));
  EXPECT_TRUE(
      log.contains(LogLevel::Error, "+[WFLSMMap mapFromURL:] -- The map was refused: the file is cut short"));
}

TEST(MapOnTheRealEngine, TheWordDumpPutsTheMostAdultWordsFirst) {
  const TinyMapFile file;
  const auto map = WFLSMMap::mapFromFilePath(text(file.path()));
  const std::string dump = map->wordDump(text("weather porn weather")).toUTF8();
  const std::size_t adult = dump.find(" porn\n");
  const std::size_t harmless = dump.find(" weather\n");
  ASSERT_NE(adult, std::string::npos) << dump;
  ASSERT_NE(harmless, std::string::npos) << dump;
  EXPECT_LT(adult, harmless);
  EXPECT_NE(dump.find("        2  -"), std::string::npos) << dump;  // count and share
}

TEST(MapOnTheRealEngine, ExplainsWhatPushedATextEachWay) {
  const TinyMapFile file;
  const auto map = WFLSMMap::mapFromFilePath(text(file.path()));
  const auto explanation = map->explain(text("weather p0rn weather 1234"));
  ASSERT_NE(explanation, nullptr);
  EXPECT_EQ(explanation->decided.name, text("the whole page"));
  EXPECT_TRUE(explanation->others.empty());
  EXPECT_EQ(explanation->excerpt, text("weather p0rn weather 1234"));
  double sum = explanation->start;
  for (const WFExplainedWord& word : explanation->words) sum += word.points;
  EXPECT_NEAR(sum, explanation->total, 1e-9);
  ASSERT_EQ(explanation->words.size(), 3U);
  const WFExplainedWord& porn = explanation->words[0];
  EXPECT_EQ(porn.word, text("porn"));
  EXPECT_EQ(porn.nature, WFExplainedWord::Nature::Known);
  EXPECT_EQ(porn.count, 1U);
  ASSERT_EQ(porn.written.size(), 1U);
  EXPECT_EQ(porn.written[0], text("p0rn"));
  EXPECT_TRUE(porn.places.empty()) << "a text without sections";
  EXPECT_TRUE(porn.meaning.isNull());
  EXPECT_EQ(explanation->words[1].meaning, text("a number of four digits"));
  EXPECT_EQ(explanation->words[2].word, text("weather"));
  EXPECT_EQ(explanation->words[2].count, 2U);
}

TEST(MapOnTheRealEngine, ExplainsNothingOfANullText) {
  const TinyMapFile file;
  const auto map = WFLSMMap::mapFromFilePath(text(file.path()));
  const CapturedLog log;
  EXPECT_EQ(map->explain(nullptr), nullptr);
  EXPECT_TRUE(log.contains(
      LogLevel::Error,
      "-[WFLSMMap _createLSMTextFromString:] -- Couldn't create text because the strippedContent is nil"));
}

}  // namespace
}  // namespace sifterra
