// AddedPagesTest: a map that pages are added to, and what it keeps.
#include "lsm/training/AddedPages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lsm/MapFile.h"
#include "lsm/TextWords.h"
#include "lsm/training/Calibration.h"
#include "lsm/training/remember_pages.h"
#include "lsm/training/tiny_corpus.h"

namespace sifterra::lsm {
namespace {

using testing::HasSubstr;

LsmMap opened(const MapContents& contents) {
  std::string why;
  const std::string bytes = mapFileBytes(contents, why);
  EXPECT_EQ(why, "");
  return Map::ofBytes(MapBytes::copyOf(bytes), why);
}

const LsmMap& base() {
  static const LsmMap map = [] {
    TrainingCorpus corpus = tinyCorpus(tinyPages(700));
    TrainingSummary summary;
    std::string why;
    const auto contents = trainMap(corpus, tinyOptions(), summary, why);
    return contents ? opened(*contents) : nullptr;
  }();
  return map;
}

bool restricted(const LsmMap& map, const std::u16string& text) {
  return marginOf(map, text) > logOdds(kOperatingScore);
}

// A page with many of the second category's words, of a school with words of its own: the base restricts it.
std::u16string schoolPage(std::size_t number) {
  constexpr const char16_t* kOwn[] = {u"zorbek", u"quilvan", u"hexwyth", u"jarvolm", u"yontreg",
                                      u"wuxhal", u"ozqueth", u"evvlarn", u"ahxorn",  u"iqwest"};
  std::u16string text = u"oooooooooooocategory1oooooooooooo ";
  for (std::size_t i = 0; i < 10; ++i) text += tinyWord(2, (i * 3 + number) % kTinyWords) + u" ";
  for (std::size_t i = 0; i < 6; ++i) text += tinyWord(0, (i * 5 + number) % kTinyWords) + u" ";
  for (std::size_t i = 0; i < 8; ++i) text += std::u16string(kOwn[(i + number) % 10]) + u" ";
  return text;
}

std::vector<TinyPage> schoolPages(std::size_t from, std::size_t to) {
  std::vector<TinyPage> pages;
  for (std::size_t i = from; i < to; ++i) pages.push_back({schoolPage(i), 1, "school"});
  return pages;
}

struct Outcome {
  std::optional<MapContents> map;
  AddedPagesSummary summary;
  std::string why;
};

Outcome add(const LsmMap& map, const std::vector<TinyPage>& pages, const AddedPagesOptions& options = {}) {
  Outcome outcome;
  const TrainingCorpus corpus = tinyCorpus(pages);
  outcome.map = addPages(map, corpus, options, outcome.summary, outcome.why);
  return outcome;
}

std::size_t rightOf(const LsmMap& map, const std::vector<TinyPage>& pages) {
  std::size_t right = 0;
  for (const TinyPage& page : pages) right += restricted(map, page.text) == (page.category == 2) ? 1 : 0;
  return right;
}

TEST(AddedPages, APageThatWasWronglyRestrictedIsAllowedAfterwards) {
  ASSERT_TRUE(restricted(base(), schoolPage(0)));
  const Outcome outcome = add(base(), schoolPages(0, 1));
  ASSERT_TRUE(outcome.map) << outcome.why;
  EXPECT_EQ(outcome.summary.wrongBefore, 1U);
  EXPECT_TRUE(outcome.summary.stillWrong.empty());
  EXPECT_FALSE(restricted(opened(*outcome.map), schoolPage(0)));
}

TEST(AddedPages, SoAreOtherPagesLikeIt) {
  const Outcome outcome = add(base(), schoolPages(0, 5));
  ASSERT_TRUE(outcome.map) << outcome.why;
  EXPECT_TRUE(outcome.summary.stillWrong.empty()) << outcome.summary.wordShift;
  const LsmMap map = opened(*outcome.map);
  for (std::size_t i = 100; i < 110; ++i) {
    EXPECT_TRUE(restricted(base(), schoolPage(i))) << i;
    EXPECT_FALSE(restricted(map, schoolPage(i))) << i;
  }
}

TEST(AddedPages, LeaveOtherPagesAsTheyWere) {
  const Outcome outcome = add(base(), schoolPages(0, 5));
  ASSERT_TRUE(outcome.map) << outcome.why;
  const std::vector<TinyPage> others = tinyPages(200, 2, 99);
  EXPECT_GE(rightOf(opened(*outcome.map), others) + 2, rightOf(base(), others));
  EXPECT_LE(outcome.summary.after.falsePositives, outcome.summary.before.falsePositives + 1e-9);
  EXPECT_LE(outcome.summary.before.recall - outcome.summary.after.recall, kToldFall);
  EXPECT_LE(outcome.summary.wordShift, kMostWordShift);
}

TEST(AddedPages, APageOfTheLastCategoryIsFoundAfterwards) {
  std::u16string text = u"oooooooooooocategory1oooooooooooo ";
  for (std::size_t i = 0; i < 24; ++i) text += tinyWord(i % 4 == 0 ? 2 : i % 2, i) + u" ";
  text += u"velquist ombrazt hyxwell avqort yexmund";
  ASSERT_FALSE(restricted(base(), text));
  const Outcome outcome = add(base(), {{text, 2, "found"}});
  ASSERT_TRUE(outcome.map) << outcome.why;
  EXPECT_TRUE(outcome.summary.stillWrong.empty());
  EXPECT_TRUE(restricted(opened(*outcome.map), text));
}

TEST(AddedPages, TeachWordsThatTheMapDidNotKnow) {
  ASSERT_EQ(base()->find("zorbek"), Map::kUnknownWord);
  const Outcome outcome = add(base(), schoolPages(0, 5));
  ASSERT_TRUE(outcome.map) << outcome.why;
  EXPECT_EQ(outcome.summary.newWords, 10U);
  const LsmMap map = opened(*outcome.map);
  EXPECT_NE(map->find("zorbek"), Map::kUnknownWord);
  EXPECT_LT(map->splitCost(map->find("zorbek")), 0);  // never a piece of another word
  EXPECT_EQ(map->wordCount(), base()->wordCount() + 10);
}

// Pages that every sign says are of the last category, given as legitimate: nobody's map shall forget for
// them what it knows.
TEST(AddedPages, ThatContradictWhatTheMapKnowsAreNamedAndNotFollowed) {
  std::vector<TinyPage> pages;
  for (TinyPage& page : tinyPages(20, 2, 7)) {
    if (page.category == 2) pages.push_back({page.text, 1, page.site});
  }
  const Outcome outcome = add(base(), pages);
  if (outcome.map) {
    EXPECT_FALSE(outcome.summary.stillWrong.empty());
    EXPECT_LE(outcome.summary.trained.recall - outcome.summary.after.recall, kRefusedFall);
    const std::vector<TinyPage> others = tinyPages(200, 2, 99);
    EXPECT_GE(rightOf(opened(*outcome.map), others) + 8, rightOf(base(), others));
  } else {
    EXPECT_THAT(outcome.why, HasSubstr("with these pages the map "));
  }
}

TEST(AddedPages, MakeTheSameBytesWithAnyNumberOfThreads) {
  std::string first;
  for (const std::size_t threads : {1, 2, 8}) {
    AddedPagesOptions options;
    options.threads = threads;
    const Outcome outcome = add(base(), schoolPages(0, 40), options);
    ASSERT_TRUE(outcome.map) << outcome.why;
    std::string why;
    const std::string bytes = mapFileBytes(*outcome.map, why);
    if (first.empty()) first = bytes;
    EXPECT_TRUE(bytes == first);
  }
}

TEST(AddedPages, TheResultTellsItsBaseAndItsFigures) {
  AddedPagesOptions options;
  options.baseName = "school.map";
  const Outcome outcome = add(base(), schoolPages(0, 3), options);
  ASSERT_TRUE(outcome.map) << outcome.why;
  const LsmProperties& properties = outcome.map->properties;
  EXPECT_EQ(properties.at(kBaseName), LsmProperty{std::string("school.map")});
  EXPECT_THAT(std::get<std::string>(properties.at(kBaseChecksum)),
              testing::MatchesRegex("xxh3:[0-9a-f]{16}"));
  EXPECT_EQ(properties.at(kAddedPagesCount), LsmProperty{3.0f});
  EXPECT_EQ(properties.at(kTrainedRecall), base()->properties().at(kTrainedRecall));
  EXPECT_EQ(properties.count(kAddedPagesRecall), 1U);
  EXPECT_EQ(properties.count(kAddedPagesFalsePositives), 1U);
}

TEST(AddedPages, PagesCanBeAddedToAMapThatHasSomeAlready) {
  const Outcome first = add(base(), schoolPages(0, 3));
  ASSERT_TRUE(first.map) << first.why;
  const Outcome second = add(opened(*first.map), schoolPages(40, 44));
  ASSERT_TRUE(second.map) << second.why;
  EXPECT_EQ(second.map->properties.at(kAddedPagesCount), LsmProperty{7.0f});
  EXPECT_DOUBLE_EQ(second.summary.trained.recall, first.summary.trained.recall);
  EXPECT_FALSE(restricted(opened(*second.map), schoolPage(0)));
  EXPECT_FALSE(restricted(opened(*second.map), schoolPage(41)));
}

TEST(AddedPages, AreRefusedWithAReason) {
  MapContents forgetful = trainTinyMap();
  forgetful.memory = {};
  EXPECT_EQ(add(opened(forgetful), schoolPages(0, 1)).why,
            "the map remembers nothing of the pages that it was made of; one that this program trains does");
  EXPECT_EQ(add(base(), {{u"word", 3, "site"}}).why, "a page is of category 3, but the map has 2");
  EXPECT_EQ(add(base(), {}).why, "there is no usable page");
}

TEST(AddedPages, MayBeThousands) {
  AddedPagesOptions options;
  options.threads = 2;
  const Outcome outcome = add(base(), schoolPages(0, 2000), options);
  ASSERT_TRUE(outcome.map) << outcome.why;
  EXPECT_TRUE(outcome.summary.stillWrong.empty());
  EXPECT_EQ(outcome.summary.newWords, 10U);
  EXPECT_LE(outcome.summary.before.recall - outcome.summary.after.recall, kToldFall);
  EXPECT_LE(outcome.summary.after.falsePositives, outcome.summary.before.falsePositives + 1e-9);
  const std::vector<TinyPage> others = tinyPages(200, 2, 99);
  EXPECT_GE(rightOf(opened(*outcome.map), others) + 4, rightOf(base(), others));
}

// The telling word whose misspelling a word is taken for.
std::string readAs(const LsmMap& map, const std::u16string& word) {
  Text text(map);
  text.addWords(word);
  const std::uint32_t known = text.knownWord(text.sequence().at(0));
  return known == Map::kUnknownWord ? "" : std::string(map->word(known));
}

std::u16string misspelt(std::u16string word) {
  word[3] = u'q';
  return word;
}

TEST(AddedPages, AnHonestWordThatWasTakenForAMisspeltOneBecomesAWordOfItsOwn) {
  const std::u16string telling = tinyWord(2, 0);
  const std::u16string name = misspelt(telling);
  const std::string spelt(name.begin(), name.end());
  ASSERT_EQ(readAs(base(), name), std::string(telling.begin(), telling.end()));
  const std::u16string page = schoolPage(0) + u" " + name;
  ASSERT_TRUE(restricted(base(), page));
  const Outcome wrong = add(base(), {{page, 1, "school"}});
  ASSERT_TRUE(wrong.map) << wrong.why;
  EXPECT_EQ(readAs(opened(*wrong.map), name), spelt);
  EXPECT_EQ(readAs(opened(*wrong.map), misspelt(tinyWord(2, 1))), readAs(base(), misspelt(tinyWord(2, 1))));
  // Where nothing was restricted, nothing has to change.
  std::u16string harmless;
  for (std::size_t i = 0; i < 30; ++i) harmless += tinyWord(1, i) + u" ";
  harmless += name;
  ASSERT_FALSE(restricted(base(), harmless));
  const Outcome right = add(base(), {{harmless, 1, "one"}, {harmless + u" more", 1, "two"}});
  ASSERT_TRUE(right.map) << right.why;
  EXPECT_EQ(readAs(opened(*right.map), name), readAs(base(), name));
}

}  // namespace
}  // namespace sifterra::lsm
