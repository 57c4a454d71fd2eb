// How unknown words are cut into known ones.
#include "lsm/WordSplitter.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "lsm/TokenList.h"

namespace sifterra::lsm {
namespace {

using Costs = std::map<std::string, float>;

std::vector<std::string> splitIn(const Costs& costs, std::u16string_view word) {
  const auto tokens = tokensOf(word);
  if (tokens.size() != 1) return {"not one token"};
  std::vector<std::string> found;
  const WordSplit split =
      splitWord(tokens[0].token(), [&](std::string_view piece, std::uint32_t& number, float& cost) {
        const auto at = costs.find(std::string(piece));
        if (at == costs.end()) return false;
        number = static_cast<std::uint32_t>(std::distance(costs.begin(), at));
        cost = at->second;
        return true;
      });
  for (std::size_t i = 0; i < split.count; ++i)
    found.push_back(std::next(costs.begin(), split.word[i])->first);
  return found;
}

using Pieces = std::vector<std::string>;

TEST(WordSplitter, CutsAWordIntoKnownOnesWithoutARest) {
  const Costs costs = {{"free", 2}, {"pictures", 3}, {"pic", 4}, {"tures", 9}, {"home", 2}};
  EXPECT_EQ(splitIn(costs, u"freepictures"), (Pieces{"free", "pictures"}));
  EXPECT_EQ(splitIn(costs, u"freehomepictures"), (Pieces{"free", "home", "pictures"}));
  EXPECT_EQ(splitIn(costs, u"freepicturesx"), Pieces{});
  EXPECT_EQ(splitIn(costs, u"xfreepictures"), Pieces{});
}

TEST(WordSplitter, FewerAndMoreFrequentWordsAreCheaper) {
  // One word more costs six.
  EXPECT_EQ(splitIn({{"abc", 1}, {"def", 1}, {"ghi", 1}, {"defghi", 7.9f}}, u"abcdefghi"),
            (Pieces{"abc", "defghi"}));
  EXPECT_EQ(splitIn({{"abc", 1}, {"def", 1}, {"ghi", 1}, {"defghi", 8.1f}}, u"abcdefghi"),
            (Pieces{"abc", "def", "ghi"}));
}

TEST(WordSplitter, OfTwoEquallyCheapCutsTheOneWithTheLongerLastWordStays) {
  EXPECT_EQ(splitIn({{"abc", 1}, {"defg", 1}, {"abcd", 1}, {"efg", 1}}, u"abcdefg"), (Pieces{"abc", "defg"}));
}

TEST(WordSplitter, OnlyWordsOfSixToFortyLettersAreCut) {
  const Costs costs = {{"abc", 1}, {"ab", 1}, {"abcabcabcabcabca", 1}, {"abcabcabcabcabcab", 1}};
  EXPECT_EQ(splitIn(costs, u"abcab"), Pieces{});
  EXPECT_EQ(splitIn(costs, u"abcabc").size(), 2u);
  std::u16string longest;
  for (int i = 0; i < 13; ++i) longest += u"abc";
  EXPECT_FALSE(splitIn(costs, longest).empty()) << "39 letters";
  EXPECT_EQ(splitIn(costs, longest + u"abc"), Pieces{}) << "42 letters";
}

TEST(WordSplitter, PiecesHaveThreeToSixteenLetters) {
  EXPECT_EQ(splitIn({{"ab", 1}, {"cdef", 1}}, u"abcdef"), Pieces{});
  EXPECT_EQ(splitIn({{"abcdefghijklmnop", 1}, {"xyz", 1}}, u"abcdefghijklmnopxyz").size(), 2u);
  EXPECT_EQ(splitIn({{"abcdefghijklmnopq", 1}, {"xyz", 1}}, u"abcdefghijklmnopqxyz"), Pieces{});
}

TEST(WordSplitter, CountsLettersNotBytes) {
  EXPECT_EQ(splitIn({{"\u043f\u043e\u0440\u043d\u043e", 1}, {"\u0444\u043e\u0442\u043e", 1}},
                    u"\u043f\u043e\u0440\u043d\u043e\u0444\u043e\u0442\u043e"),
            (Pieces{"\u043f\u043e\u0440\u043d\u043e", "\u0444\u043e\u0442\u043e"}));
}

TEST(WordSplitter, WordsWithDigitsAtomsAndPiecesAreNotCut) {
  const Costs costs = {{"abc", 1}, {"abc1", 1}, {"ooo", 1}};
  EXPECT_EQ(splitIn(costs, u"abcabc9"), Pieces{});
  EXPECT_EQ(splitIn(costs, u"ooooooooo"), Pieces{});
}

// Every way to cut, tried one after the other.
float cheapest(const Costs& costs, const std::string& word) {
  if (word.empty()) return 0;
  float best = std::numeric_limits<float>::infinity();
  for (std::size_t length = kMinSplitPiece; length <= std::min(word.size(), kMaxSplitPiece); ++length) {
    const auto at = costs.find(word.substr(0, length));
    if (at != costs.end()) {
      best = std::min(best, at->second + kSplitCostPerWord + cheapest(costs, word.substr(length)));
    }
  }
  return best;
}

TEST(WordSplitter, FindsTheCheapestOfAllCuts) {
  std::mt19937 random(3);
  Costs costs;
  for (int i = 0; i < 60; ++i) {
    std::string word;
    for (std::size_t length = 3 + random() % 4; length > 0; --length)
      word += static_cast<char>('a' + random() % 2);
    costs[word] = static_cast<float>(random() % 1000) / 100;
  }
  for (int round = 0; round < 500; ++round) {
    std::string word;
    // No three equal letters in a row: the tokeniser would shrink them.
    while (word.size() < 6 + static_cast<std::size_t>(round) % 20) {
      const char next = static_cast<char>('a' + random() % 2);
      if (word.size() >= 2 && word.back() == next && word[word.size() - 2] == next) continue;
      word += next;
    }
    const float best = cheapest(costs, word);
    const Pieces pieces = splitIn(costs, std::u16string(word.begin(), word.end()));
    if (pieces.empty()) {
      EXPECT_EQ(best, std::numeric_limits<float>::infinity()) << word;
      continue;
    }
    float cost = 0;
    std::string joined;
    for (const std::string& piece : pieces) {
      cost += costs.at(piece) + kSplitCostPerWord;
      joined += piece;
    }
    EXPECT_EQ(joined, word);
    EXPECT_NEAR(cost, best, 1e-3) << word;
  }
}

}  // namespace
}  // namespace sifterra::lsm
