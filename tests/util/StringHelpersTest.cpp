// Literal search, replacement, n-grams, arrays as text and the comparison of floats.
#include "util/string_helpers.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/Unicode.h"

namespace sifterra {
namespace {

using platform::String;

TEST(ContainsString, ComparesUnitsUnlessToldToIgnoreCase) {
  EXPECT_TRUE(containsString(u"abc", u"bc"));
  EXPECT_TRUE(containsString(u"abc", u"abc"));
  EXPECT_FALSE(containsString(u"abc", u"BC"));
  EXPECT_FALSE(containsString(u"e\u0301", u"\u00e9"));  // no normalisation
  EXPECT_FALSE(containsString(u"abc", u"BC", SearchOptions::Literal));
  EXPECT_TRUE(containsString(u"abc", u"BC", SearchOptions::CaseInsensitive));
  EXPECT_FALSE(containsString(u"e\u0301", u"\u00c9", SearchOptions::CaseInsensitive));
}

TEST(ContainsString, NeverFindsAnEmptyText) {
  EXPECT_FALSE(containsString(u"abc", u""));
  EXPECT_FALSE(containsString(u"", u""));
  EXPECT_FALSE(containsString(u"abc", u"", SearchOptions::CaseInsensitive));
}

struct ReplaceRow {
  std::u16string text;
  std::u16string target;
  std::u16string by;
  std::u16string result;
};

TEST(StringByReplacingString, ReplacesEveryOccurrence) {
  const std::vector<ReplaceRow> rows = {
      {u"", u"a", u"b", u""},        {u"-x-", u"-", u"+", u"+x+"},   // at both ends
      {u"aaa", u"aa", u"b", u"ba"},                                  // from the left, not overlapping
      {u"aXa", u"x", u"y", u"aXa"},                                  // literal
      {u"a.b.c", u".", u"", u"abc"}, {u"aa", u"a", u"aa", u"aaaa"},  // what was put in is not replaced again
      {u"abc", u"", u"x", u"abc"},                                   // an empty target replaces nothing
      {u"abc", u"abc", u"", u""},
  };
  for (const ReplaceRow& row : rows) {
    SCOPED_TRACE(platform::utf8FromUTF16(row.text + u" / " + row.target));
    EXPECT_EQ(stringByReplacingString(row.text, row.target, row.by), row.result);
    EXPECT_EQ(stringByReplacingString(String(row.text), String(row.target), String(row.by)),
              String(row.result));
  }
}

TEST(StringByReplacingString, KeepsNullAndTheReceiverThatHasNoTarget) {
  const String receiver(u"abc");
  EXPECT_TRUE(stringByReplacingString(receiver, String(u"x"), String(u"y")).sameObject(receiver));
  EXPECT_TRUE(stringByReplacingString(String(), String(u"x"), String(u"y")).isNull());
}

TEST(StringByConvertingSpacesInHTMLSpaces, ConvertsOnlyTheSpaceItself) {
  EXPECT_EQ(stringByConvertingSpacesInHTMLSpaces(u" a b "), u"&nbsp;a&nbsp;b&nbsp;");
  EXPECT_EQ(stringByConvertingSpacesInHTMLSpaces(u"a\tb\u00a0c\nd"), u"a\tb\u00a0c\nd");
}

TEST(StringFromArray, EndsEachElementWithALineFeed) {
  const std::vector<String> array = {String(u"a"), String(u""), String(u"b\n")};
  EXPECT_EQ(stringFromArray(array), u"a\n\nb\n\n");
  EXPECT_EQ(stringFromArray(std::vector<String>()), u"");
  EXPECT_EQ(stringFromArray(std::vector<String>{String()}), u"(null)\n");
}

struct Described {
  int number;
  [[nodiscard]] String description() const { return String(number == 1 ? u"one" : u"many"); }
};

TEST(StringFromArray, AsksObjectsForTheirDescription) {
  const std::vector<Described> array = {{1}, {2}};
  EXPECT_EQ(stringFromArray<Described>(array), u"one\nmany\n");
}

struct FuzzyRow {
  std::u16string text;
  std::int32_t length;
  std::u16string grams;
};

TEST(FuzzyString, ListsTheNGramsEachWithASpace) {
  const std::vector<FuzzyRow> rows = {
      {u"abcd", 3, u"abc bcd "},
      {u"abcd", 4, u"abcd "},  // the length of the text: itself and a space
      {u"abcd", 1, u"a b c d "},
      {u"a b", 2, u"a   b "},
      {u"x", 1, u"x "},
      {u"ab", 0, u"   "},
      {u"", 0, u" "},                         // at least one gram is always taken
      {u"\U0001f600", 1, u"\xd83d \xde00 "},  // units, not characters
  };
  for (const FuzzyRow& row : rows) {
    SCOPED_TRACE(platform::utf8FromUTF16(row.text));
    EXPECT_EQ(fuzzyStringWithWordLength(row.text, row.length), row.grams);
  }
}

TEST(FuzzyString, RefusesAWordLengthBeyondTheText) {
  EXPECT_THROW((void)fuzzyStringWithWordLength(u"abc", 4), std::out_of_range);
  EXPECT_THROW((void)fuzzyStringWithWordLength(u"", 1), std::out_of_range);
  EXPECT_THROW((void)fuzzyStringWithWordLength(u"abc", -1), std::out_of_range);
  EXPECT_THROW((void)fuzzyStringWithWordLength(u"abc", std::numeric_limits<std::int32_t>::max()),
               std::out_of_range);
}

TEST(IsEqualToNumber, ComparesAs32BitFloats) {
  EXPECT_TRUE(WF_isEqualToNumber(1.0, 1.05, 0.1F));
  // In 32 bits 1.05 lies 0.04999995 above 1, which 0.05 exceeds; in 64 bits it would not.
  EXPECT_TRUE(WF_isEqualToNumber(1.0, 1.05, 0.05F));
  EXPECT_TRUE(WF_isEqualToNumber(1.05, 1.0, 0.05F));
  EXPECT_FALSE(WF_isEqualToNumber(1.0, 1.25, 0.25F));             // exactly the precision is not within it
  EXPECT_TRUE(WF_isEqualToNumber(16777217.0, 16777216.0, 0.5F));  // the same 32-bit float
}

TEST(IsEqualToNumber, IsNeverSatisfiedByPrecisionZeroOrNotANumber) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_FALSE(WF_isEqualToNumber(1.0, 1.0, 0.0F));
  EXPECT_FALSE(WF_isEqualToNumber(1.0, 1.0, -1.0F));
  EXPECT_FALSE(WF_isEqualToNumber(nan, 1.0, 10.0F));
  EXPECT_FALSE(WF_isEqualToNumber(1.0, nan, 10.0F));
  EXPECT_FALSE(WF_isEqualToNumber(1.0, 1.0, static_cast<float>(nan)));
  EXPECT_FALSE(WF_isEqualToNumber(infinity, infinity, 10.0F));  // their difference is no number
}

}  // namespace
}  // namespace sifterra
