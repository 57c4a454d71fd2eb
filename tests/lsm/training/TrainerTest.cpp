#include "lsm/training/Trainer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "lsm/MapFile.h"
#include "lsm/training/Calibration.h"
#include "lsm/training/tiny_corpus.h"

namespace sifterra::lsm {
namespace {

using testing::HasSubstr;

struct Outcome {
  std::optional<MapContents> map;
  TrainingSummary summary;
  std::string why;
};

Outcome train(const std::vector<TinyPage>& pages, const TrainingOptions& options = tinyOptions()) {
  Outcome outcome;
  TrainingCorpus corpus = tinyCorpus(pages);
  outcome.map = trainMap(corpus, options, outcome.summary, outcome.why);
  return outcome;
}

LsmMap opened(const MapContents& contents) {
  std::string why;
  const std::string bytes = mapFileBytes(contents, why);
  EXPECT_EQ(why, "");
  return Map::ofBytes(MapBytes::copyOf(bytes), why);
}

std::u16string signature(std::uint32_t category) {
  const std::string word = signatureToken(category);
  return {word.begin(), word.end()};
}

TEST(Trainer, TellsPagesOfSitesThatItNeverSawApart) {
  const LsmMap map = opened(trainTinyMap());
  std::size_t right = 0;
  const std::vector<TinyPage> pages = tinyPages(100, 2, 99);
  for (const TinyPage& page : pages) {
    right += (marginOf(map, page.text) > logOdds(kOperatingScore)) == (page.category == 2) ? 1 : 0;
  }
  EXPECT_GE(right, pages.size() * 97 / 100);
}

TEST(Trainer, ReadsAWordThatItNeverSawByItsLetters) {
  const LsmMap map = opened(trainTinyMap());
  // Two known words of category 2 with their ends changed, too short to be cut.
  const std::u16string word = tinyWord(2, 3);
  const std::u16string other = tinyWord(1, 3);
  EXPECT_GT(marginOf(map, word + u"xx"), marginOf(map, other + u"xx"));
}

TEST(Trainer, MakesTheSameBytesWithAnyNumberOfThreads) {
  const std::vector<TinyPage> pages = tinyPages(700);
  std::string first;
  for (const std::size_t threads : {1, 2, 8}) {
    SCOPED_TRACE(threads);
    TrainingOptions options = tinyOptions();
    options.threads = threads;
    const Outcome outcome = train(pages, options);
    ASSERT_TRUE(outcome.map) << outcome.why;
    std::string why;
    const std::string bytes = mapFileBytes(*outcome.map, why);
    ASSERT_FALSE(bytes.empty()) << why;
    if (first.empty()) first = bytes;
    EXPECT_TRUE(bytes == first);
  }
}

TEST(Trainer, DependsOnThePages) {
  std::string why;
  const Outcome one = train(tinyPages(60, 2, 1));
  const Outcome other = train(tinyPages(60, 2, 2));
  ASSERT_TRUE(one.map && other.map);
  EXPECT_FALSE(mapFileBytes(*one.map, why) == mapFileBytes(*other.map, why));
}

TEST(Trainer, EachSignatureWordAloneIsSurelyOfItsCategory) {
  TrainingOptions options = tinyOptions();
  options.rank = 12;
  options.latentRank = 24;
  for (const std::uint32_t categories : {2U, 3U, 9U}) {
    SCOPED_TRACE(categories);
    const Outcome outcome = train(tinyPages(60, categories), options);
    ASSERT_TRUE(outcome.map) << outcome.why;
    ASSERT_EQ(outcome.map->categoryCount, categories);
    const LsmMap map = opened(*outcome.map);
    for (std::uint32_t c = 1; c <= categories; ++c) {
      SCOPED_TRACE(c);
      EXPECT_EQ(bestCategory(map, signature(c)), c);
    }
    EXPECT_EQ(bestCategory(map, u""), 1U);
  }
}

// Every page that is scored holds the signature word of category 1: it must weigh little beside a page's own
// words, and enough to keep one doubtful word from deciding.
TEST(Trainer, ASignatureWordHardlyMovesAPageAndIsSureAlone) {
  const LsmMap map = opened(trainTinyMap());
  std::u16string page;
  for (std::size_t w = 0; w < 30; ++w) page += tinyWord(w % 2 == 0 ? 0 : 2, w) + u" ";
  EXPECT_NEAR(marginOf(map, page), marginOf(map, page + signature(1)), 0.5);
  EXPECT_LT(marginOf(map, signature(1)), -5);
}

TEST(Trainer, MarkerWordsHaveNoWeight) {
  const MapContents map = trainTinyMap();
  std::size_t atoms = 0;
  for (const MapWord& word : map.words) atoms += word.text.find("ooooooo") != std::string::npos ? 1 : 0;
  EXPECT_EQ(atoms, map.categoryCount);  // the signatures alone
}

TEST(Trainer, KeepsTheRankThatWasAskedFor) {
  TrainingOptions options = tinyOptions();
  for (const std::uint32_t rank : {2U, 5U, 12U}) {
    options.rank = rank;
    const Outcome outcome = train(tinyPages(60), options);
    ASSERT_TRUE(outcome.map) << outcome.why;
    EXPECT_EQ(outcome.map->rank, rank);
    EXPECT_EQ(outcome.summary.rank, rank);
  }
}

TEST(Trainer, KeepsAsManyWordsAsItMay) {
  TrainingOptions options = tinyOptions();
  options.maxWords = 100;
  const Outcome outcome = train(tinyPages(60), options);
  ASSERT_TRUE(outcome.map) << outcome.why;
  EXPECT_EQ(outcome.map->words.size(), 100U);
  EXPECT_EQ(outcome.summary.words, 100U);
}

TEST(Trainer, StoresAThresholdOnlyWhenOneIsGiven) {
  TrainingOptions options = tinyOptions();
  const Outcome automatic = train(tinyPages(60), options);
  ASSERT_TRUE(automatic.map);
  EXPECT_EQ(automatic.map->properties.count(kLsmExplicitThreshold), 0U);
  options.threshold = 0.75f;
  const Outcome given = train(tinyPages(60), options);
  ASSERT_TRUE(given.map);
  EXPECT_EQ(given.map->properties.at(kLsmExplicitThreshold), (LsmProperty{0.75f}));
  EXPECT_EQ(given.map->bias, automatic.map->bias);  // the calibration is the same
}

TEST(Trainer, PutsTheOperatingPointWhereTheRateIsMet) {
  // Pages of a few words cannot all be told apart.
  std::vector<TinyPage> pages = tinyPages(300);
  for (TinyPage& page : pages) page.text.resize(160);
  double before = 1e9;
  for (const double rate : {0.2, 0.02, 0.01}) {
    SCOPED_TRACE(rate);
    TrainingOptions options = tinyOptions();
    options.falsePositiveRate = rate;
    const Outcome outcome = train(pages, options);
    ASSERT_TRUE(outcome.map) << outcome.why;
    EXPECT_TRUE(rate == 0.2 || outcome.summary.biasShift < before);
    before = outcome.summary.biasShift;
    const CategorySummary& first = outcome.summary.categories[0];
    const double wrong = static_cast<double>(first.calibrating - first.recognised);
    EXPECT_LE(wrong / static_cast<double>(first.calibrating), rate + 0.02);
    EXPECT_LE(outcome.summary.falsePositives.share, rate * 1.001);
  }
}

TEST(Trainer, CountsWhatItLearntFrom) {
  const Outcome outcome = train(tinyPages(60));
  ASSERT_TRUE(outcome.map);
  ASSERT_EQ(outcome.summary.categories.size(), 2U);
  for (const CategorySummary& category : outcome.summary.categories) {
    EXPECT_EQ(category.teaching + category.calibrating, 60U);
  }
  EXPECT_GE(outcome.summary.categories[0].calibrating, 12U);
  EXPECT_LE(outcome.summary.categories[0].calibrating, 18U);
  EXPECT_GE(outcome.summary.categories[1].calibrating, 3U) << "the last one calibrates little";
  EXPECT_LE(outcome.summary.categories[1].calibrating, 6U);
  EXPECT_EQ(outcome.summary.sites, 40U);
  EXPECT_EQ(outcome.summary.differentWords, 3 * kTinyWords);
}

TEST(Trainer, RefusesOneCategory) {
  const Outcome outcome = train(tinyPages(60, 1));
  EXPECT_FALSE(outcome.map);
  EXPECT_EQ(outcome.why, "pages of two categories or more are needed");
}

TEST(Trainer, RefusesNoPages) {
  const Outcome outcome = train({});
  EXPECT_FALSE(outcome.map);
  EXPECT_EQ(outcome.why, "pages of two categories or more are needed");
}

TEST(Trainer, RefusesACategoryWithoutPages) {
  std::vector<TinyPage> pages = tinyPages(60, 3);
  std::erase_if(pages, [](const TinyPage& page) { return page.category == 2; });
  const Outcome outcome = train(pages);
  EXPECT_FALSE(outcome.map);
  EXPECT_EQ(outcome.why, "category 2 has no usable page");
}

TEST(Trainer, RefusesACategoryOfOneSite) {
  std::vector<TinyPage> pages = tinyPages(60);
  for (TinyPage& page : pages) page.site = page.category == 2 ? "only.example" : page.site;
  const Outcome outcome = train(pages);
  EXPECT_FALSE(outcome.map);
  EXPECT_THAT(outcome.why, HasSubstr("the pages of category 2 are of one site"));
}

TEST(Trainer, RefusesCategoriesThatDoNotDiffer) {
  std::vector<TinyPage> pages = tinyPages(120, 1);
  for (std::size_t i = 0; i < pages.size(); ++i) {
    pages[i].category = 1 + i / 3 % 2;
  }
  const Outcome outcome = train(pages);
  EXPECT_FALSE(outcome.map);
  EXPECT_THAT(outcome.why, HasSubstr("the map does not calibrate: "));
}

TEST(Trainer, RefusesToCalibrateOnTooFewPages) {
  TrainingOptions options = tinyOptions();
  options.minScriptPages = 1;
  const Outcome outcome = train(tinyPages(9), options);
  EXPECT_FALSE(outcome.map);
  EXPECT_THAT(outcome.why, HasSubstr("the map does not calibrate: only 3 pages of category 1"));
}

TEST(Trainer, RefusesScriptsWithoutOrdinaryPages) {
  TrainingOptions options = tinyOptions();
  options.minScriptPages = 1000;
  const Outcome outcome = train(tinyPages(60), options);
  EXPECT_FALSE(outcome.map);
  EXPECT_EQ(outcome.why, "no word stands in two pages of a script that has enough pages of category 1");
  EXPECT_THAT(outcome.summary.scriptsLeftOut, testing::ElementsAre("Latin"));
}

// Without ordinary pages in Thai, a Thai word would mean the other category.
TEST(Trainer, WordsOfAScriptWithoutOrdinaryPagesSayNothing) {
  std::vector<TinyPage> pages = tinyPages(60);
  for (TinyPage& page : pages) {
    if (page.category == 2) page.text += u"\u0e01\u0e02\u0e04\u0e07\u0e08\u0e09\n";
  }
  const Outcome outcome = train(pages);
  ASSERT_TRUE(outcome.map) << outcome.why;
  EXPECT_EQ(outcome.map->scripts & bitOf(WordScript::kThai), 0U);
  EXPECT_NE(outcome.map->scripts & bitOf(WordScript::kLatin), 0U);
  EXPECT_EQ(bestCategory(opened(*outcome.map), u"\u0e01\u0e02\u0e04\u0e07\u0e08\u0e09"), 1U);
}

// Of a page in such a script the map reads numbers and a few foreign words, which stand on more pages of the
// other category.
TEST(Trainer, WhatIsLeftOfAPageWithoutItsScriptRestrictsNothing) {
  const std::u16string remains = u"18 2257 69";
  std::vector<TinyPage> pages = tinyPages(200);
  for (std::size_t i = 0; i < pages.size(); ++i) {
    if (i / 2 * 37 % 100 < (pages[i].category == 2 ? 30 : 20)) pages[i].text += remains + u"\n";
  }
  const Outcome outcome = train(pages);
  ASSERT_TRUE(outcome.map) << outcome.why;
  const LsmMap map = opened(*outcome.map);
  EXPECT_LT(marginOf(map, remains), 0);
  EXPECT_LT(marginOf(map, u"\u0e01\u0e02\u0e04\u0e07\u0e08\u0e09\n" + remains), 0);
  EXPECT_GT(marginOf(map, tinyWord(2, 3) + u" " + tinyWord(2, 4) + u" " + tinyWord(2, 5) + u" " + remains),
            logOdds(kOperatingScore));
}

}  // namespace
}  // namespace sifterra::lsm
