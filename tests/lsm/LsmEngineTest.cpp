// The engine's operations, through the interface that the classifier uses.
#include "lsm/LsmEngine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "lsm/TinyMap.h"

namespace sifterra::lsm {
namespace {

std::vector<LsmScore> scoresOf(const LsmMap& map, std::u16string_view words) {
  const LsmText text = lsmTextCreate(map);
  EXPECT_EQ(lsmTextAddWords(text, words), 0);
  const LsmRawResult result = lsmEvaluate(map, text, lsmMapCategoryCount(map));
  EXPECT_TRUE(result);
  return result.entries;
}

float scoreOf(const std::vector<LsmScore>& scores, std::uint32_t category) {
  for (const LsmScore& score : scores) {
    if (score.category == category) return score.score;
  }
  return -1;
}

TEST(LsmEngine, LoadsAMapAndTellsItsCategories) {
  const TinyMapFile file({}, 3);
  const LsmMap map = lsmMapLoad(file.path());
  ASSERT_NE(map, nullptr);
  EXPECT_EQ(lsmMapCategoryCount(map), 3);
}

TEST(LsmEngine, AMapWithoutPropertiesHasNoDictionary) {
  const TinyMapFile file;
  EXPECT_EQ(lsmMapProperties(lsmMapLoad(file.path())), nullptr);
  EXPECT_EQ(lsmMapProperties(nullptr), nullptr);
}

TEST(LsmEngine, PropertiesAreNumbersAndTexts) {
  const TinyMapFile file({{kLsmExplicitThreshold, 0.5f}, {"Made From", std::string("tests")}});
  const auto properties = lsmMapProperties(lsmMapLoad(file.path()));
  ASSERT_NE(properties, nullptr);
  EXPECT_EQ(properties->size(), 2u);
  EXPECT_EQ(std::get<float>(properties->at("Explicit Threshold")), 0.5f);
  EXPECT_EQ(std::get<std::string>(properties->at("Made From")), "tests");
}

TEST(LsmEngine, SignatureWordsAloneReachTheEndsOfTheScale) {
  for (const std::uint32_t categories : {2u, 3u, 9u, 10u}) {
    const TinyMapFile file({}, categories);
    const LsmMap map = lsmMapLoad(file.path());
    ASSERT_NE(map, nullptr);
    for (std::uint32_t c = 1; c <= std::min(categories, kSignedCategories); ++c) {
      SCOPED_TRACE(c);
      const std::u16string word =
          u"ooooooooooooCategory" + std::u16string(1, static_cast<char16_t>(u'0' + c)) + u"oooooooooooo";
      const auto scores = scoresOf(map, word);
      EXPECT_EQ(scores[0].category, c);
      EXPECT_GT(scores[0].score, 0.999f);
    }
  }
}

TEST(LsmEngine, TheClampedEndsAreSixMillionthsFromTheBounds) {
  const TinyMapFile file;
  const auto scores = scoresOf(lsmMapLoad(file.path()), u"ooooooooooooCategory2oooooooooooo");
  EXPECT_NEAR(scoreOf(scores, 1), std::exp(-12.0) / (1 + std::exp(-12.0)), 1e-9);
  EXPECT_FLOAT_EQ(scoreOf(scores, 2), static_cast<float>(1 / (1 + std::exp(-12.0))));
}

TEST(LsmEngine, AnEmptyOrUnknownTextGivesTheBiasScores) {
  const TinyMapFile file;
  const LsmMap map = lsmMapLoad(file.path());
  const auto second = static_cast<float>(std::exp(-2.0) / (1 + std::exp(-2.0)));
  for (const std::u16string_view words : {u"", u"\n\n", u"zzzz qqqq", u"\xd800"}) {
    const auto scores = scoresOf(map, words);
    EXPECT_FLOAT_EQ(scoreOf(scores, 2), second);
    EXPECT_EQ(scores[0].category, 1u);
  }
}

TEST(LsmEngine, ScoresSumToOneAndComeBestFirst) {
  const TinyMapFile file({}, 4);
  const LsmMap map = lsmMapLoad(file.path());
  for (const std::u16string_view words :
       {u"weather topic2", u"porn xxx topic3", u"the and", u"school videos"}) {
    const auto scores = scoresOf(map, words);
    ASSERT_EQ(scores.size(), 4u);
    float sum = 0;
    for (std::size_t i = 0; i < scores.size(); ++i) {
      sum += scores[i].score;
      EXPECT_GE(i > 0 ? scores[i - 1].score : 1, scores[i].score);
    }
    EXPECT_NEAR(sum, 1, 1e-6);
  }
}

TEST(LsmEngine, TiesGoToTheLowerCategory) {
  const TinyMapFile file({}, 4);
  const auto scores = scoresOf(lsmMapLoad(file.path()), u"weather");
  EXPECT_EQ(scores[0].category, 1u);
  // The other three have the same head and bias for this word.
  EXPECT_EQ(scores[1].category, 2u);
  EXPECT_EQ(scores[2].category, 3u);
  EXPECT_EQ(scores[3].category, 4u);
}

TEST(LsmEngine, FewerResultsAreTheBestOnes) {
  const TinyMapFile file({}, 4);
  const LsmMap map = lsmMapLoad(file.path());
  const LsmText text = lsmTextCreate(map);
  ASSERT_EQ(lsmTextAddWords(text, u"topic3"), 0);
  const LsmRawResult one = lsmEvaluate(map, text, 1);
  ASSERT_EQ(one.entries.size(), 1u);
  EXPECT_EQ(one.entries[0].category, 3u);
  EXPECT_EQ(lsmEvaluate(map, text, 99).entries.size(), 4u);
  EXPECT_FALSE(lsmEvaluate(map, text, 0));
}

TEST(LsmEngine, AddingTwiceCountsBoth) {
  const TinyMapFile file;
  const LsmMap map = lsmMapLoad(file.path());
  const LsmText text = lsmTextCreate(map);
  ASSERT_EQ(lsmTextAddWords(text, u"school garden"), 0);
  ASSERT_EQ(lsmTextAddWords(text, u"porn"), 0);
  const auto twice = lsmEvaluate(map, text, 2).entries;
  const auto once = scoresOf(map, u"school garden\nporn");
  for (std::size_t i = 0; i < twice.size(); ++i) {
    EXPECT_EQ(twice[i].category, once[i].category);
    EXPECT_EQ(twice[i].score, once[i].score);
  }
}

TEST(LsmEngine, BadArgumentsAreRefused) {
  const TinyMapFile file;
  const LsmMap map = lsmMapLoad(file.path());
  const LsmMap other = lsmMapLoad(file.path());
  const LsmText none = lsmTextCreate(nullptr);
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(lsmTextAddWords(none, u"word"), -1);
  const LsmText text = lsmTextCreate(map);
  EXPECT_EQ(lsmTextAddWords(text, u"word", 1), -1);
  EXPECT_FALSE(lsmEvaluate(nullptr, text, 2));
  EXPECT_FALSE(lsmEvaluate(map, none, 2));
  EXPECT_FALSE(lsmEvaluate(other, text, 2)) << "the text belongs to another map";
  EXPECT_FALSE(lsmEvaluate(map, text, 2, 1));
  EXPECT_EQ(lsmMapCategoryCount(nullptr), 0);
  std::string why;
  EXPECT_EQ(lsmMapLoad(file.path(), 1, &why), nullptr);
  EXPECT_EQ(why, "unknown options");
}

TEST(LsmEngine, ATextKeepsItsMapAlive) {
  const TinyMapFile file;
  LsmMap map = lsmMapLoad(file.path());
  const LsmText text = lsmTextCreate(map);
  const std::weak_ptr<const Map> watched = map;
  map.reset();
  EXPECT_FALSE(watched.expired());
  EXPECT_EQ(lsmTextAddWords(text, u"school"), 0);
}

TEST(LsmEngine, TheDumpHasALineForEveryWordThatPushedTheTextOneWayOrTheOther) {
  const TinyMapFile file;
  const LsmMap map = lsmMapLoad(file.path());
  const LsmText text = lsmTextCreate(map, true);
  ASSERT_EQ(lsmTextAddWords(text, u"School PORN zzzz p0rn, freepictures"), 0);
  std::ostringstream dump;
  ASSERT_TRUE(lsmWriteWordDump(map, text, dump));
  // porn twice, school once, free and pictures a little on both axes: the sum of all is the first line.
  EXPECT_EQ(dump.str(),
            "1.000000        5   +8.8788 (the whole page, all together)\n"
            "0.480000        0   -2.0000 (where every page starts)\n"
            "0.794762        2  +29.4762 porn (written p0rn)\n"
            "0.500000        1   +0.0000 free (written freepictures)\n"
            "0.500000        1   +0.0000 pictures (written freepictures)\n"
            "0.314026        1  -18.5974 school\n");
}

TEST(LsmEngine, TheDumpSaysWhatThePageGetsWhereThatIsNotWhatItsWordsComeTo) {
  MapContents contents = tinyMapContents();
  contents.windowTokens = 64;
  contents.bestWindows = 2;
  contents.windowPenalty = 4;
  contents.partPenalties = {0.0F, 0.0F, 1.5F};
  contents.partTokens = 1;
  const TinyMapFile file(contents);
  const LsmMap map = lsmMapLoad(file.path());
  const auto firstLine = [&](const std::u16string& words) {
    const LsmText text = lsmTextCreate(map, true);
    EXPECT_EQ(lsmTextAddWords(text, words), 0);
    std::ostringstream dump;
    EXPECT_TRUE(lsmWriteWordDump(map, text, dump));
    return dump.str().substr(0, dump.str().find('\n'));
  };
  std::u16string stretches;
  for (int i = 0; i < 64; ++i) stretches += u"weather school garden recipe ";
  for (int i = 0; i < 20; ++i) stretches += u"xxx porn nude erotic escort webcam sexy videos ";
  EXPECT_EQ(
      firstLine(stretches),
      "1.000000       64  +38.0000 (a stretch of the page, all together; the page: +34.0000, the mean of "
      "its 2 plainest stretches, 4.0000 taken off)");
  std::u16string part = u"ooooooooooooooooooooTITLEoooooooooooooooooooo\n";
  for (int i = 0; i < 15; ++i) part += u"our school garden\n";
  part += u"oooooooooooooooooooPAGECONTENTooooooooooooooo\nxxx porn nude";
  EXPECT_EQ(firstLine(part),
            "1.000000        3  +38.0000 (the text, all together; the page: +36.5000, 1.5000 taken off)");
}

TEST(LsmEngine, SortedInReverseInAnyLocaleTheDumpIsInTheOrderOfTheShares) {
  const TinyMapFile file;
  const LsmMap map = lsmMapLoad(file.path());
  const LsmText text = lsmTextCreate(map, true);
  ASSERT_EQ(lsmTextAddWords(text, u"school porn the free xxx 18 weather weather and 1234 p0rn nude"), 0);
  std::ostringstream dump;
  ASSERT_TRUE(lsmWriteWordDump(map, text, dump));
  std::istringstream lines(dump.str());
  std::vector<std::pair<std::string, double>> keys;
  for (std::string line; std::getline(lines, line);) {
    ASSERT_EQ(line.substr(1, 1), ".") << line;
    keys.emplace_back(line.substr(0, 8), std::stod(line.substr(18)));
  }
  ASSERT_GT(keys.size(), 5U);
  EXPECT_EQ(keys[0].first, "1.000000");
  for (std::size_t i = 1; i < keys.size(); ++i) {
    for (std::size_t k = 1; k < keys.size(); ++k) {
      if (keys[i].second > keys[k].second + 0.001) {
        EXPECT_GT(keys[i].first, keys[k].first);
      }
    }
  }
}

TEST(LsmEngine, ExplainsOnlyTextsOfTheMap) {
  const TinyMapFile file;
  const LsmMap map = lsmMapLoad(file.path());
  const LsmMap other = lsmMapLoad(file.path());
  const LsmText text = lsmTextCreate(map, true);
  EXPECT_NE(lsmExplain(map, text), nullptr);
  EXPECT_EQ(lsmExplain(other, text), nullptr);
  EXPECT_EQ(lsmExplain(nullptr, text), nullptr);
  EXPECT_EQ(lsmExplain(map, text, 1), nullptr);
}

TEST(LsmEngine, ADumpToABrokenStreamFails) {
  const TinyMapFile file;
  const LsmMap map = lsmMapLoad(file.path());
  const LsmText text = lsmTextCreate(map);
  ASSERT_EQ(lsmTextAddWords(text, u"school"), 0);
  std::ostringstream dump;
  dump.setstate(std::ios::badbit);
  EXPECT_FALSE(lsmWriteWordDump(map, text, dump));
  EXPECT_FALSE(lsmWriteWordDump(nullptr, text, dump));
}

}  // namespace
}  // namespace sifterra::lsm
