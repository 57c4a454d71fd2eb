// Scripts reduced to their quoted strings.
#include "sifterra/page/WFJavascriptStripper.h"

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

TEST(StripJavascript, KeepsQuotedStringsOfEachPieceOnALine) {
  constexpr Row kRows[] = {
      {u"document.write(\"Hello\", 'x'); var a = \"b\"", u"Hello,x,\nb,\n"},
      {u"", u""},                                            // an empty script
      {u"var a = 1;\nreturn a;", u""},                       // no quotes
      {u"a = \"x;y\"", u""},                                 // cut at the ";", neither half is closed
      {u"f('one', \"two\", 'three')", u"two,one,three,\n"},  // double quotes first
      {u"w(\"<b>bold</b> word\")", u" bold  word,\n"},       // markup gives spaces
      {u"w(\"<b\n>\")", u""},            // no tag over a line break, and no string over one
      {u"a = \"\"", u",\n"},             // an empty literal
      {u"a = \"it\\\"s\"", u"it\\,\n"},  // a backslash protects nothing: it"s -> it\ and an unclosed rest
      {u"a = \"it's\", b = 'x'", u"it's,s\", b = ,\n"},  // the other quote is an ordinary character
      {u"x=\"a\"\ny='b'\n\nz", u"a,\nb,\n"},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(shown(row.text));
    EXPECT_EQ(WFJavascriptStripper::stripJavascript(String(row.text)), String(row.result));
  }
}

TEST(GetJavascriptLines, SplitsAtSemicolonsAndLineFeeds) {
  const std::vector<String> lines = WFJavascriptStripper::getJavascriptLines(String(u"a;b\nc\n;;d"));
  const std::vector<String> expected = {String(u"a"), String(u"b"), String(u"c"),
                                        String(u""),  String(u""),  String(u"d")};
  EXPECT_EQ(lines, expected);
  EXPECT_EQ(WFJavascriptStripper::getJavascriptLines(String(u"")), std::vector<String>{String(u"")});
  EXPECT_EQ(WFJavascriptStripper::getJavascriptLines(String(u"a = \"x;y\"")),
            (std::vector<String>{String(u"a = \"x"), String(u"y\"")}));
}

TEST(JavascriptStripLine, PutsDoubleQuotedStringsFirst) {
  EXPECT_EQ(WFJavascriptStripper::javascriptStripLine(String(u"'a' \"b\" 'c' \"d\"")), String(u"b,d,a,c,"));
  EXPECT_EQ(WFJavascriptStripper::javascriptStripLine(String(u"plain")), String(u""));
}

TEST(GetStringsFromLine, TakesWhatStandsBetweenPairsOfTheToken) {
  struct TokenRow {
    const char16_t* line;
    const char16_t* token;
    const char16_t* result;
  };
  constexpr TokenRow kRows[] = {
      {u"|a|b|c|", u"|", u"a,c,"},
      {u"|a|b|c", u"|", u"a,"},  // unclosed, dropped
      {u"||", u"|", u","},
      {u"|", u"|", u""},
      {u"", u"|", u""},
      {u"--a--b--c--", u"--", u"a,c,"},
      {u"-----", u"--", u","},  // tokens do not overlap
      {u"abc", u"", u""},       // an empty token is never found
  };
  for (const TokenRow& row : kRows) {
    SCOPED_TRACE(shown(row.line));
    EXPECT_EQ(WFJavascriptStripper::getStringsFromLine(String(row.line), String(row.token)),
              String(row.result));
  }
}

TEST(WFJavascriptStripper, TakesNull) {
  EXPECT_EQ(WFJavascriptStripper::stripJavascript(String()), String(u""));
  EXPECT_TRUE(WFJavascriptStripper::getJavascriptLines(String()).empty());
  EXPECT_EQ(WFJavascriptStripper::javascriptStripLine(String()), String(u""));
  EXPECT_EQ(WFJavascriptStripper::getStringsFromLine(String(), String(u"\"")), String(u""));
  EXPECT_EQ(WFJavascriptStripper::getStringsFromLine(String(u"\"a\""), String()), String(u""));
}

TEST(WFJavascriptStripper, AgreesWithThePlainVersionOnRandomScripts) {
  constexpr std::u16string_view kAlphabet = u"\"\"\"'''<>;\nab\\ \xD83D\xDE00";
  std::mt19937 random(4711);
  for (int round = 0; round < 20000; ++round) {
    std::u16string text(random() % 60, u' ');
    for (char16_t& c : text) c = kAlphabet[random() % kAlphabet.size()];
    const String input(text);
    SCOPED_TRACE(shown(text));
    ASSERT_EQ(WFJavascriptStripper::stripJavascript(input).view(), reference::stripJavascript(text));
    ASSERT_EQ(WFJavascriptStripper::javascriptStripLine(input).view(), reference::javascriptStripLine(text));
    std::vector<std::u16string> lines;
    for (const String& line : WFJavascriptStripper::getJavascriptLines(input))
      lines.emplace_back(line.view());
    ASSERT_EQ(lines, reference::getJavascriptLines(text));
  }
}

TEST(WFJavascriptStripper, TakesLinearTimeForManyQuotesAndBrackets) {
  std::u16string quotes;
  for (int i = 0; i < 1'000'000; ++i) quotes += u"<\"'";
  std::u16string pieces;
  for (int i = 0; i < 1'000'000; ++i) pieces += u"'<;";
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_GT(WFJavascriptStripper::stripJavascript(String(quotes)).length(), quotes.size());
  EXPECT_EQ(WFJavascriptStripper::stripJavascript(String(pieces)), String(u""));
  // A quadratic scan would take hours; the limit only leaves room for sanitizers.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

}  // namespace
}  // namespace sifterra
