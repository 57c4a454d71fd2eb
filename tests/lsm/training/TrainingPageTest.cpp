#include "lsm/training/TrainingPage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

namespace sifterra::lsm {
namespace {

std::map<std::string, std::uint32_t> counts(std::u16string_view text) {
  std::map<std::string, std::uint32_t> result;
  for (const PageWord& word : countWords(text)) result[word.text] += word.count;
  return result;
}

TEST(CountWords, CountsEachDifferentWordInTheOrderOfAppearance) {
  const PageWords words = countWords(u"Beta alpha beta\nGAMMA beta");
  ASSERT_EQ(words.size(), 3U);
  EXPECT_EQ(words[0].text, "beta");
  EXPECT_EQ(words[0].count, 3U);
  EXPECT_EQ(words[1].text, "alpha");
  EXPECT_EQ(words[1].count, 1U);
  EXPECT_EQ(words[2].text, "gamma");
  EXPECT_EQ(words[2].script, WordScript::kLatin);
  EXPECT_EQ(words[2].characters, 5U);
}

TEST(CountWords, CountsRepeatedLinesAsOftenAsTheyStand) {
  using Counts = std::map<std::string, std::uint32_t>;
  EXPECT_EQ(counts(u"one two\none two\none two\nthree\none two"),
            (Counts{{"one", 4}, {"two", 4}, {"three", 1}}));
}

TEST(CountWords, LeavesSignatureAndMarkerWordsOut) {
  EXPECT_EQ(counts(u"ooooooooooooWFWebPageToTrainingTextoooooooooooo\nooooooooooooCategory2oooooooooooo\n\n"
                   u"oooooooooooooooooooPAGECONTENTooooooooooooooo\nword"),
            (std::map<std::string, std::uint32_t>{{"word", 1}}));
}

TEST(CountWords, FindsNothingInAnEmptyText) {
  EXPECT_TRUE(countWords(u"").empty());
  EXPECT_TRUE(countWords(u"\n\n = \n").empty());
}

TEST(FoldedText, GivesBackTheText) {
  for (const std::u16string_view text :
       {u"", u"\n", u"\n\n", u"a", u"a\n", u"a\na\na", u"a\na\nb\n\n\nb\n", u"\na\n", u"\n\n\na\na\n\n"}) {
    SCOPED_TRACE(testing::PrintToString(std::u16string(text)));
    EXPECT_EQ(FoldedText(text).text(), text);
  }
}

}  // namespace
}  // namespace sifterra::lsm
