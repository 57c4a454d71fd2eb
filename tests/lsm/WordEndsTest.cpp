// What the ends of words tell.
#include "lsm/WordEnds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>

#include "lsm/NearWords.h"

namespace sifterra::lsm {
namespace {

TEST(WordEnds, AreTheFirstAndTheLastFourBytesAndTheSize) {
  const WordEnds ends("gardens");
  EXPECT_EQ(ends.head, 0x64726167u);  // g a r d, the first in the low bits
  EXPECT_EQ(ends.tail, 0x64656e73u);  // d e n s, the last in the low bits
  EXPECT_EQ(ends.size, 7u);
  const WordEnds shorter("ab");
  EXPECT_EQ(shorter.head, 0x6261u);
  EXPECT_EQ(shorter.tail, 0x6162u);
  EXPECT_EQ(shorter.size, 2u);
  EXPECT_EQ(WordEnds("").size, 0u);
  EXPECT_EQ(WordEnds("").head, 0u);
}

TEST(WordEnds, OfTwoWordsAreThoseOfTheirTextInARow) {
  const std::string text = "abcdefghij\xD0\xBF\xD1\x80";
  for (std::size_t size = 2; size <= text.size(); ++size) {
    for (std::size_t cut = 1; cut < size; ++cut) {
      const std::string_view word = std::string_view(text).substr(0, size);
      EXPECT_EQ(WordEnds(WordEnds(word.substr(0, cut)), WordEnds(word.substr(cut))), WordEnds(word))
          << size << ' ' << cut;
    }
  }
}

TEST(WordEnds, FilterNeverDeniesWhatWasAddedAndSeldomAdmitsAnother) {
  constexpr std::size_t kWords = 1000;
  WordEndsFilter filter;
  filter.reset(kWords);
  const auto word = [](std::size_t i) { return "w" + std::to_string(i * 7919) + "x"; };
  for (std::size_t i = 0; i < kWords; ++i) filter.add(WordEnds(word(i)));
  std::size_t others = 0;
  for (std::size_t i = 0; i < kWords; ++i) {
    EXPECT_TRUE(filter.mayHold(WordEnds(word(i)))) << i;
    others += filter.mayHold(WordEnds(word(i + kWords)));
  }
  EXPECT_LT(others, kWords / 8);
}

TEST(WordEnds, FilterOfNoWordsHoldsNone) {
  WordEndsFilter filter;
  filter.reset(0);
  EXPECT_FALSE(filter.mayHold(WordEnds("word")));
}

TEST(OuterBytes, OfOneOfTheirTwoKindsAreSharedByWordsOneMistakeApart) {
  const auto share = [](const std::string& a, const std::string& b, std::uint32_t letters) {
    const OuterBytes ofA(a, letters);
    const OuterBytes ofB(b, letters);
    return ofA.moreAtFirst == ofB.moreAtFirst || ofA.moreAtLast == ofB.moreAtLast;
  };
  for (const std::string word : {"gard", "garde", "garden", "gardens"}) {
    for (std::size_t i = 1; i + 1 < word.size(); ++i) {
      std::string without = word;
      without.erase(i, 1);
      std::string other = word;
      other[i] = 'q';
      std::string swapped = word;
      if (i + 2 < word.size()) std::swap(swapped[i], swapped[i + 1]);
      for (const std::string& mistaken : {without, other, swapped}) {
        ASSERT_TRUE(mistaken == word || isOneMistakeApart(word, mistaken)) << word << ' ' << mistaken;
        // One of the two is looked for, and has at least five letters.
        const bool looked = std::max(word.size(), mistaken.size()) >= kMinNearWord;
        EXPECT_TRUE(!looked || share(word, mistaken, 6)) << word << ' ' << mistaken;
      }
    }
  }
  EXPECT_FALSE(share("garden", "galaen", 6) && share("garden", "wooden", 6));
  EXPECT_FALSE(share("garden", "gn", 6));
}

}  // namespace
}  // namespace sifterra::lsm
