// PageViewsTest: the views of a page against the engine, which is the judge of what they come to.
#include "lsm/training/PageViews.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "lsm/Evaluation.h"
#include "lsm/TextWords.h"
#include "lsm/training/tiny_corpus.h"

namespace sifterra::lsm {
namespace {

LsmMap opened(const MapContents& contents) {
  std::string why;
  const std::string bytes = mapFileBytes(contents, why);
  EXPECT_EQ(why, "");
  return Map::ofBytes(MapBytes::copyOf(bytes), why);
}

std::u16string words(std::uint32_t category, std::size_t count) {
  std::u16string text;
  for (std::size_t i = 0; i < count; ++i)
    text += tinyWord(i % 3 == 0 ? 0 : category, i * 7 % kTinyWords) + u" ";
  return text;
}

double greatest(const LastCategory& last, const std::vector<PageView>& views) {
  double most = marginOf(last, views[0]);
  for (const PageView& view : views) most = std::max(most, marginOf(last, view));
  return most;
}

// A text of every shape: short, long enough for windows, in parts, without a word.
std::vector<std::u16string> texts() {
  const std::u16string first = words(1, 700);
  const std::u16string second = words(2, 300);
  return {u"",
          words(2, 20),
          words(1, 5) + u"unheardof",
          first + second,
          first + second + first,
          u"oooooooooooocategory1oooooooooooo\nooooooooooooooooooootitleoooooooooooooooooooo\n" +
              words(2, 9) + u"\noooooooooooooooooooopagecontentooooooooooooooo\n" + first + second};
}

TEST(PageViews, ComeToWhatTheEngineSays) {
  for (const bool parts : {false, true}) {
    MapContents contents = trainTinyMap();
    if (parts) contents.partPenalties = {1.0f, 1.5f, 0.5f};
    if (!parts) contents.partPenalties.clear();
    const LsmMap map = opened(contents);
    ASSERT_TRUE(map);
    const LastCategory last(*map);
    for (const std::u16string& text : texts()) {
      SCOPED_TRACE(text.size());
      Text read(map);
      read.addWords(text);
      EXPECT_NEAR(greatest(last, viewsOf(map, last, text)), judge(*map, read).decided.odds, 1e-3);
    }
  }
}

TEST(PageViews, TellHowAWordsRowMovesThem) {
  MapContents contents = trainTinyMap();
  const LsmMap map = opened(contents);
  const LastCategory last(*map);
  const std::u16string text = words(2, 30);
  const PageView before = viewsOf(map, last, text, &last.direction())[0];
  ASSERT_FALSE(before.words.empty());
  const WordPull word = before.words[0];
  const double added = 0.01 * before.length;
  // The file's words are in an order of their own.
  contents = contentsOf(*map);
  for (std::size_t k = 0; k < contents.rank; ++k) {
    contents.wordRows[word.word * contents.rank + k] +=
        static_cast<float>(added * last.direction()[static_cast<Eigen::Index>(k)]);
  }
  const LsmMap changed = opened(contents);
  const double gained = marginOf(last, viewsOf(changed, last, text)[0]) - marginOf(last, before);
  EXPECT_GT(word.pull, 0);
  EXPECT_NEAR(gained, added * word.pull, 0.1 * added * word.pull);
}

TEST(PageViews, SpeakOfTheLastCategoryAgainstAllOthers) {
  TrainingOptions options = tinyOptions();
  options.rank = 12;
  options.latentRank = 24;
  TrainingSummary summary;
  std::string why;
  TrainingCorpus corpus = tinyCorpus(tinyPages(60, 3));
  const auto contents = trainMap(corpus, options, summary, why);
  ASSERT_TRUE(contents) << why;
  const LsmMap map = opened(*contents);
  const LastCategory last(*map);
  for (const std::uint32_t category : {1U, 2U, 3U}) {
    const std::u16string text = words(category, 40);
    Text read(map);
    read.addWords(text);
    EXPECT_NEAR(greatest(last, viewsOf(map, last, text)), judge(*map, read).decided.odds, 1e-3);
  }
}

TEST(PageViews, OfTheContentsAreThoseOfTheFile) {
  const MapContents contents = trainTinyMap();
  const LastCategory ofContents(contents);
  const LastCategory ofMap(*opened(contents));
  EXPECT_LT((ofContents.direction() - ofMap.direction()).norm(), 1e-6);
}

}  // namespace
}  // namespace sifterra::lsm
