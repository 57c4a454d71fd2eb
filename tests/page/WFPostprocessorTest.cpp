// Markup removed from text line by line, and punctuation that becomes spaces.
#include "sifterra/page/WFPostprocessor.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <string>

#include "reference/plain_cleaners.h"

namespace sifterra {
namespace {

using platform::String;

struct Row {
  const char16_t* text;
  const char16_t* result;
};

std::string shown(std::u16string_view text) {
  return String(text).toUTF8();
}

TEST(LightweightStripHTMLTagsForLine, PutsASpaceForEachTag) {
  constexpr Row kRows[] = {
      {u"", u""},
      {u"x", u""},  // one character is dropped
      {u"<", u""},
      {u"xy", u"xy"},
      {u"a<b>c", u"a "},  // exactly one character behind the last tag is dropped
      {u"a<b>cd", u"a cd"},
      {u"a<b>", u"a "},
      {u"<p>Hi</p>", u" Hi "},
      {u"<p>H</p>", u" H "},
      {u"a<b", u"a<b"},  // no ">" later in the line
      {u"a>b", u"a>b"},
      {u"<>", u" "},
      {u"a < b and c > d", u"a   d"},  // nothing between the two is examined
      {u"x<<b>>yz", u"x >yz"},
      {u"<a><b", u" <b"},
      {u"<a>\U0001F600", u" \U0001F600"},  // two units are more than one
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(shown(row.text));
    EXPECT_EQ(WFPostprocessor::lightweightStripHTMLTagsForLine(String(row.text)), String(row.result));
  }
}

TEST(LightweightStripHTMLTags, EndsEveryLineWithALineFeed) {
  constexpr Row kRows[] = {
      {u"", u"\n"},
      {u"ab", u"ab\n"},
      {u"ab\n", u"ab\n\n"},
      {u"a\nbc\n\nd", u"\nbc\n\n\n"},
      {u"one <b\n> two", u"one <b\n> two\n"},  // a tag over a line break stays
      {u"<i>ab</i>\n<b>cd</b>", u" ab \n cd \n"},
      {u"ab\r\ncd", u"ab\r\ncd\n"},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(shown(row.text));
    EXPECT_EQ(WFPostprocessor::lightweightStripHTMLTags(String(row.text)), String(row.result));
  }
}

TEST(RangeOfFirstHTMLTag, StartsInTheRangeAndMayEndBehindIt) {
  struct RangeRow {
    const char16_t* text;
    WFTagRange searched;
    WFTagRange found;
  };
  constexpr WFTagRange kNone = {0x7fffffffffffffff, 0};
  constexpr RangeRow kRows[] = {
      {u"ab<cd>ef", {0, 8}, {2, 4}}, {u"ab<cd>ef", {0, 3}, {2, 4}},  // the end lies behind the range
      {u"ab<cd>ef", {0, 2}, kNone},  {u"ab<cd>ef", {3, 5}, kNone},  {u"a<b", {0, 3}, kNone},
      {u">a<b", {0, 4}, kNone},      {u"a<b<c>", {0, 6}, {1, 5}},   {u"", {0, 0}, kNone},
      {u"<>", {0, 2}, {0, 2}},       {u"<>", {9, 2}, kNone},
  };
  for (const RangeRow& row : kRows) {
    SCOPED_TRACE(shown(row.text));
    EXPECT_EQ(WFPostprocessor::rangeOfFirstHTMLTag(String(row.text), row.searched), row.found);
  }
}

TEST(NormalizeStrippedHTML, TurnsFourCharactersIntoSpaces) {
  EXPECT_EQ(WFPostprocessor::normalizeStrippedHTML(String(u"a_b-c<d>e=f\u2013g")),
            String(u"a b c d e=f\u2013g"));
  EXPECT_EQ(WFPostprocessor::normalizeStrippedHTML(String(u"")), String(u""));
}

TEST(PostprocessPlainTextWebPage, StripsThenNormalises) {
  constexpr Row kRows[] = {
      {u"foo-bar_baz", u"foo bar baz\n"},
      {u"a<b", u"a b\n"},
      {u"<x-y>ab\n-", u" ab\n\n"},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(shown(row.text));
    EXPECT_EQ(WFPostprocessor::postprocessPlainTextWebPage(String(row.text)), String(row.result));
  }
}

TEST(AdultWebSiteTagging, ReplacesInFourSteps) {
  constexpr Row kRows[] = {
      {u"18 U.S.C. 2257", u"OneEight UnitedStatesCode ( U S C ). TwoTwoFiveSeven (2257)"},
      {u"USC", u"UnitedStatesCode  ( U S C )"},  // two spaces here, one above
      {u"2018", u"20OneEight"},
      {u"182257", u"OneEightTwoTwoFiveSeven (2257)"},
      {u"usc u.s.c", u"usc u.s.c"},
      {u"22572257", u"TwoTwoFiveSeven (2257)TwoTwoFiveSeven (2257)"},
      {u"", u""},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(shown(row.text));
    EXPECT_EQ(WFPostprocessor::adultWebSiteTagging(String(row.text)), String(row.result));
  }
}

TEST(WFPostprocessor, TakesNull) {
  EXPECT_EQ(WFPostprocessor::postprocessPlainTextWebPage(String()), String(u""));
  EXPECT_EQ(WFPostprocessor::lightweightStripHTMLTags(String()), String(u""));
  EXPECT_EQ(WFPostprocessor::lightweightStripHTMLTagsForLine(String()), String(u""));
  EXPECT_EQ(WFPostprocessor::rangeOfFirstHTMLTag(String(), {0, 0}).location, kWFTagNotFound);
  EXPECT_TRUE(WFPostprocessor::normalizeStrippedHTML(String()).isNull());
  EXPECT_TRUE(WFPostprocessor::adultWebSiteTagging(String()).isNull());
}

TEST(WFPostprocessor, AgreesWithThePlainVersionOnRandomTexts) {
  constexpr std::u16string_view kAlphabet = u"<><>\n\nab_-\"';28157U.SC\xD83D\xDE00";
  std::mt19937 random(20260);
  for (int round = 0; round < 20000; ++round) {
    std::u16string text(random() % 40, u' ');
    for (char16_t& c : text) c = kAlphabet[random() % kAlphabet.size()];
    const String input(text);
    SCOPED_TRACE(shown(text));
    ASSERT_EQ(WFPostprocessor::lightweightStripHTMLTags(input).view(),
              reference::lightweightStripHTMLTags(text));
    ASSERT_EQ(WFPostprocessor::lightweightStripHTMLTagsForLine(input).view(),
              reference::lightweightStripHTMLTagsForLine(text));
    ASSERT_EQ(WFPostprocessor::postprocessPlainTextWebPage(input).view(),
              reference::postprocessPlainTextWebPage(text));
    ASSERT_EQ(WFPostprocessor::adultWebSiteTagging(input).view(), reference::adultWebSiteTagging(text));
    const std::size_t from = random() % (text.size() + 1);
    const std::size_t count = random() % (text.size() - from + 1);
    const reference::PlainRange plain = reference::rangeOfFirstHTMLTag(text, from, count);
    const WFTagRange range = WFPostprocessor::rangeOfFirstHTMLTag(input, {from, count});
    ASSERT_EQ(range.location, plain.found ? plain.location : kWFTagNotFound);
    ASSERT_EQ(range.length, plain.length);
  }
}

TEST(WFPostprocessor, TakesLinearTimeForManyOpenBrackets) {
  const std::u16string brackets(4'000'000, u'<');
  std::u16string lines;
  for (int i = 0; i < 1'000'000; ++i) lines += u"<<<\n";
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(WFPostprocessor::lightweightStripHTMLTags(String(brackets)).length(), brackets.size() + 1);
  EXPECT_EQ(WFPostprocessor::lightweightStripHTMLTags(String(lines + u">")).length(), lines.size() + 1);
  // A quadratic scan would take hours; the limit only leaves room for sanitizers.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

}  // namespace
}  // namespace sifterra
