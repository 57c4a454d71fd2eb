// Whole words: where they are found, where not, and cutting them out.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/Unicode.h"
#include "reference/plain_words.h"
#include "reference/random_text.h"
#include "util/string_helpers.h"

namespace sifterra {
namespace {

using platform::String;

struct Row {
  std::u16string text;
  std::u16string word;
  Range range;
};

TEST(RangeOfWord, FindsWordsBesideIgnorableCharactersOnly) {
  const Range none = Range::notFound();
  const std::vector<Row> rows = {
      {u"sixty nine", u"sixty nine", {0, 10}},    // the whole text
      {u"sixty nine.", u"sixty nine", {0, 10}},   // a period is ignorable
      {u"$sixty nine$", u"sixty nine", {1, 10}},  // so is a symbol
      {u"(sixty nine)", u"sixty nine", none},     // brackets are not
      {u"\"sixty nine\"", u"sixty nine", none},   // quotes neither
      {u"xsixty nine", u"sixty nine", none},
      {u"sixty ninex", u"sixty nine", none},
      {u"x sixty nine y", u"sixty nine", {2, 10}},       // letters two places away are not seen
      {u"call Sixty NINE now", u"sIxTy nInE", {5, 10}},  // case does not matter
      {u"ninety nine", u"nine", {7, 4}},                 // the first fails, the search goes on behind it
      {u"nine", u"ninety", none},                        // longer than the text
      {u"nine", u"", none},
      {u"", u"nine", none},
      {u"", u"", none},
      {u"nine!", u"nine", {0, 4}},  // at the start: context on one side
      {u"?nine", u"nine", {1, 4}},  // at the end: context on one side
      {u"nine9", u"nine", none},
      {u"1969", u"69", none},
      {u"6969 69", u"69", {5, 2}},
      {u"\u00a069\u2003", u"69", {1, 2}},  // all white space is ignorable
      {u"\u008569\v", u"69", {1, 2}},
      {u"\u20ac69\u2122", u"69", {1, 2}},  // all symbols are
      {u"69\u2014", u"69", none},          // a dash beyond ASCII is punctuation
      {u"c++ c", u"c++", none},            // the trimming takes part of the word
      {u"-69-", u"69", {1, 2}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(platform::utf8FromUTF16(row.text + u" / " + row.word));
    EXPECT_EQ(rangeOfWord(row.text, row.word), row.range);
    EXPECT_EQ(containsWord(row.text, row.word), row.range.found());
  }
}

TEST(RangeOfWord, HasTheLargestSignedNumberForNotFound) {
  const Range range = rangeOfWord(u"a", u"b");
  EXPECT_EQ(range.location, 0x7fffffffffffffffU);
  EXPECT_EQ(range.length, 0U);
}

TEST(RangeOfWord, TriesNoOverlappingOccurrence) {
  // The match at 1 fails on its left; the one at 3 would do, but overlaps it.
  EXPECT_EQ(rangeOfWord(u"xa a a", u"a a"), Range::notFound());
}

TEST(RangeOfWord, TakesHalfASurrogatePairBesideAMatchForALetter) {
  const std::u16string emoji = u"\U0001f600";  // a symbol, but only half of it is looked at
  EXPECT_EQ(rangeOfWord(u"69" + emoji, u"69"), Range::notFound());
  EXPECT_EQ(rangeOfWord(emoji + u"69", u"69"), Range::notFound());
  EXPECT_EQ(rangeOfWord(emoji + u" 69", u"69"), (Range{3, 2}));
  EXPECT_EQ(rangeOfWord(u"69" + std::u16string(1, char16_t{0xd83d}), u"69"), Range::notFound());
}

TEST(RangeOfWord, TrimsAPairInsideTheContextAsOneCharacter) {
  const std::u16string emoji = u"\U0001f600";
  // The pair is the word itself: trimmed away whole, so it never equals the word.
  EXPECT_EQ(rangeOfWord(u" " + emoji + u" ", emoji), Range::notFound());
  EXPECT_EQ(rangeOfWord(u" \U00010400 ", u"\U00010428"), (Range{1, 2}));  // letters in both cases
}

TEST(RangeOfWord, AgreesWithThePlainSearchOnRandomTexts) {
  const std::vector<std::u16string> pieces = {u"69",
                                              u"sixty",
                                              u"nine",
                                              u"-",
                                              u" ",
                                              u".",
                                              u"x",
                                              u"(",
                                              u"S",
                                              u"\u017f",
                                              u"\U0001f600",
                                              u"\u00e9",
                                              u"\U00010400",
                                              std::u16string(1, char16_t{0xd801}),
                                              std::u16string(1, char16_t{0xdc00})};
  const std::vector<std::u16string> words = {
      u"69", u"sixty nine", u"S", u"9", u"-", u"x.x", u"\U00010428", u"\u00c9", u"x \U0001f600 x"};
  reference::RandomText random(2);
  for (int round = 0; round < 20000; ++round) {
    const std::u16string text = random.of(pieces, 12);
    const std::u16string& word = words[random.below(words.size())];
    SCOPED_TRACE(platform::utf8FromUTF16(text + u" / " + word));
    const auto plain = reference::rangeOfWord(text, word);
    ASSERT_EQ(rangeOfWord(text, word), plain ? (Range{plain->first, plain->second}) : Range::notFound());
  }
}

TEST(StringByRemovingWord, CutsEveryWordAndAddsNoSpace) {
  struct RemovalRow {
    std::u16string text;
    std::u16string word;
    std::u16string left;
  };
  const std::vector<RemovalRow> rows = {
      {u"a sixty nine b", u"sixty nine", u"a  b"},  // both spaces stay
      {u"69 69 69", u"69", u"  "},
      {u"690 69", u"69", u"690 "},
      {u"69", u"69", u""},
      {u"a 6 69 9 b", u"69", u"a 6  9 b"},
      {u" no no w w", u"no w", u" no  w"},
      {u"a b a b c c", u"a b c", u"a b  c"},
  };
  for (const RemovalRow& row : rows) {
    SCOPED_TRACE(platform::utf8FromUTF16(row.text + u" / " + row.word));
    EXPECT_EQ(stringByRemovingWord(String(row.text), row.word), String(row.left));
  }
}

TEST(StringByRemovingWord, SearchesTheJoinedTextAgain) {
  // Cutting the inner word joins another one, which goes too.
  EXPECT_EQ(stringByRemovingWord(String(u"a a  b b"), u"a  b"), String(u""));
}

TEST(StringByRemovingWord, GivesTheReceiverItselfWhenThereIsNothingToCut) {
  const String receiver(u"1969");
  EXPECT_TRUE(stringByRemovingWord(receiver, u"69").sameObject(receiver));
  EXPECT_TRUE(stringByRemovingWord(String(), u"69").isNull());
}

TEST(IgnorableCharacterSet, HoldsWhiteSpaceSymbolsAndEightCharacters) {
  const IgnorableCharacterSet& set = ignorableCharacterSet();
  for (const char32_t c :
       std::u32string(U".,-_!?*& \t\n\v\f\r\u0085\u00a0\u2028\u2029\u3000+$^`|~<=>\u20ac\u00a9"
                      U"\U0001f600")) {
    EXPECT_TRUE(set.contains(c)) << std::hex << static_cast<std::uint32_t>(c);
  }
  for (const char32_t c : std::u32string(U"a0()[]{}'\"/\\:;#%@\u2014\u00e9\u200b\u0301\ufeff") +
                              char32_t{0xd83d} + char32_t{0xde00} + char32_t{0}) {
    EXPECT_FALSE(set.contains(c)) << std::hex << static_cast<std::uint32_t>(c);
  }
}

TEST(IgnorableCharacterSet, IsOneForTheProcess) {
  EXPECT_EQ(&ignorableCharacterSet(), &ignorableCharacterSet());
}

}  // namespace
}  // namespace sifterra
