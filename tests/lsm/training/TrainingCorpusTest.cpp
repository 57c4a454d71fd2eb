#include "lsm/training/TrainingCorpus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "lsm/training/tiny_corpus.h"

namespace sifterra::lsm {
namespace {

// The sites that are held back, by name.
std::set<std::string> heldBack(const std::vector<TinyPage>& pages, double share, std::string& why) {
  TrainingCorpus corpus = tinyCorpus(pages);
  std::set<std::string> sites;
  if (!corpus.split(share, share, why)) return sites;
  for (std::size_t i = 0; i < pages.size(); ++i) {
    if (corpus.pages()[i].calibrates) sites.insert(pages[i].site);
  }
  return sites;
}

TEST(TrainingCorpus, TakesNoPageWithoutWordsAndNoneWithoutCategory) {
  TrainingCorpus corpus;
  EXPECT_FALSE(corpus.add(makeTrainingPage(u" ", u" ", 1, "a")));
  EXPECT_FALSE(corpus.add(makeTrainingPage(u"word", u"word", 0, "a")));
  EXPECT_TRUE(corpus.pages().empty());
  EXPECT_EQ(corpus.categoryCount(), 0U);
  EXPECT_TRUE(corpus.add(makeTrainingPage(u"word other", u"word other", 3, "a")));
  EXPECT_EQ(corpus.categoryCount(), 3U);
  EXPECT_EQ(corpus.pages()[0].category, 2U);
  EXPECT_EQ(corpus.words()[corpus.find("other")].text, "other");
  EXPECT_EQ(corpus.find("unheard"), TrainingCorpus::kNoWord);
}

TEST(TrainingCorpus, SplitsBySiteAndNeverByPage) {
  const std::vector<TinyPage> pages = tinyPages(90);
  TrainingCorpus corpus = tinyCorpus(pages);
  std::string why;
  ASSERT_TRUE(corpus.split(0.25, 0.25, why)) << why;
  std::map<std::string, std::set<bool>> uses;
  std::map<std::uint32_t, std::size_t> held;
  for (std::size_t i = 0; i < pages.size(); ++i) {
    uses[pages[i].site].insert(corpus.pages()[i].calibrates);
    held[pages[i].category] += corpus.pages()[i].calibrates ? 1 : 0;
  }
  for (const auto& [site, use] : uses) EXPECT_EQ(use.size(), 1U) << site;
  for (const auto& [category, count] : held) {
    EXPECT_GE(count, 22U) << category;
    EXPECT_LE(count, 25U) << category;
  }
}

TEST(TrainingCorpus, HoldsBackAnotherShareOfTheLastCategory) {
  const std::vector<TinyPage> pages = tinyPages(90);
  TrainingCorpus corpus = tinyCorpus(pages);
  std::string why;
  ASSERT_TRUE(corpus.split(0.25, 0.05, why)) << why;
  std::map<std::uint32_t, std::size_t> held;
  for (const CorpusPage& page : corpus.pages()) held[page.category] += page.calibrates ? 1 : 0;
  EXPECT_GE(held[0], 22U);
  EXPECT_GE(held[corpus.categoryCount() - 1], 1U);
  EXPECT_LE(held[corpus.categoryCount() - 1], 10U);
}

TEST(TrainingCorpus, ComposedPagesTeachUnlessThereAreNoOthers) {
  std::vector<TinyPage> pages = tinyPages(90);
  const auto corpusWith = [&pages](auto isComposed) {
    TrainingCorpus corpus;
    for (const TinyPage& page : pages) {
      TrainingPage made = makeTrainingPage(page.text, page.text, page.category, page.site);
      made.composed = isComposed(page);
      corpus.add(std::move(made));
    }
    std::string why;
    EXPECT_TRUE(corpus.split(0.25, 0.25, why)) << why;
    return corpus;
  };
  std::size_t number = 0;
  const TrainingCorpus third = corpusWith([&](const TinyPage&) { return number++ % 3 == 0; });
  for (const CorpusPage& page : third.pages()) {
    EXPECT_FALSE(page.composed && page.calibrates);
  }
  std::size_t calibrating = 0;
  const TrainingCorpus second = corpusWith([](const TinyPage& page) { return page.category == 2; });
  for (const CorpusPage& page : second.pages()) {
    calibrating += page.category == 1 && page.calibrates ? 1 : 0;
  }
  EXPECT_GT(calibrating, 0U) << "the second category has no others";
}

TEST(TrainingCorpus, LargeSitesTeachWhereSmallOnesSuffice) {
  // Of 1,600 pages of category 1 a quarter is wanted; one site has 200 of them, the others one each.
  TrainingCorpus corpus;
  for (int i = 0; i < 1600; ++i) {
    corpus.add(makeTrainingPage(u"word", u"word", 1, i < 200 ? "large" : "small" + std::to_string(i)));
    corpus.add(makeTrainingPage(u"other", u"other", 2, "second" + std::to_string(i)));
  }
  std::string why;
  ASSERT_TRUE(corpus.split(0.25, 0.25, why)) << why;
  for (std::size_t i = 0; i < 400; i += 2) EXPECT_FALSE(corpus.pages()[i].calibrates);
}

TEST(TrainingCorpus, SplitsTheSameInAnyOrderOfPages) {
  std::vector<TinyPage> pages = tinyPages(90);
  std::string why;
  const std::set<std::string> forwards = heldBack(pages, 0.25, why);
  std::reverse(pages.begin(), pages.end());
  EXPECT_EQ(heldBack(pages, 0.25, why), forwards);
  EXPECT_FALSE(forwards.empty());
}

TEST(TrainingCorpus, NeverHoldsBackAllPagesOfACategory) {
  for (std::size_t pagesPerCategory : {4U, 6U, 9U}) {
    SCOPED_TRACE(pagesPerCategory);
    const std::vector<TinyPage> pages = tinyPages(pagesPerCategory);
    TrainingCorpus corpus = tinyCorpus(pages);
    std::string why;
    if (!corpus.split(0.25, 0.25, why)) {
      EXPECT_THAT(why, testing::HasSubstr("cannot be split by site"));
      continue;
    }
    std::map<std::uint32_t, std::size_t> teaching;
    for (const CorpusPage& page : corpus.pages()) teaching[page.category] += page.calibrates ? 0 : 1;
    for (const auto& [category, count] : teaching) EXPECT_GT(count, 0U);
  }
}

TEST(TrainingCorpus, CannotSplitACategoryOfOneSite) {
  std::vector<TinyPage> pages = tinyPages(30);
  for (TinyPage& page : pages) page.site = page.category == 1 ? "one" : page.site;
  std::string why;
  EXPECT_TRUE(heldBack(pages, 0.25, why).empty());
  EXPECT_EQ(
      why,
      "the pages of category 1 are of one site; it takes two or more, because the map is calibrated on other "
      "sites than it learns from");
}

}  // namespace
}  // namespace sifterra::lsm
