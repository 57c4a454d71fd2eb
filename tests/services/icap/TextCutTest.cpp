#include "text_cut.h"

#include <gtest/gtest.h>

#include <string>

namespace sifterra::icap {
namespace {

struct Row {
  const char* charset;
  std::string text;
  std::size_t limit;
  std::size_t length;
};

std::string bytes(std::string_view text) {
  return std::string(text);
}

TEST(CutAtCharacter, NeverCutsOneInTwo) {
  using namespace std::string_view_literals;
  const Row rows[] = {
      {"utf-8", "abc", 3, 3},
      {"utf-8", "abc", 9, 3},
      {"utf-8", "abcd", 3, 3},
      {"utf-8", "ab\xC3\xA4", 3, 2},
      {"utf-8",
       "ab\xE2\x82\xAC"
       "c",
       4, 2},
      {"utf-8",
       "ab\xE2\x82\xAC"
       "c",
       5, 5},
      {"utf-8", "\xF0\x9F\x8C\xB1x", 3, 0},
      {"",
       "ab\xE2\x82\xAC"
       "c",
       4, 2},
      {"windows-1252", "ab\xE4\xE4\xE4", 4, 2},  // of no charset with longer characters: a few letters less
      {"shift_jis", "a\x93\xFA\x96\x7B", 2, 1},
      {"shift_jis", "a\x93\xFA\x96\x7B", 3, 3},
      {"shift_jis", "\xB1\xB2\xB3\xB4", 3, 3},           // one byte each
      {"Shift_JIS", " \x83\x5C\x83\x5C\x83\x5C", 4, 3},  // the second byte looks like a backslash
      {"euc-jp", "\x8F\xB0\xA1\x8F\xB0\xA1", 5, 3},
      {"euc-jp", "\xA4\xA2\xA4\xA2", 3, 2},
      {"gb18030", "\x81\x30\x81\x30\xB0\xA1", 3, 0},
      {"gb18030", "\x81\x30\x81\x30\xB0\xA1", 5, 4},
      {"gbk", "\xB0\xA1\xB0\xA1", 3, 2},
      {"big5", "\xA4\x40\xA4\x40", 3, 2},
      {"euc-kr", "\xB0\xA1\xB0\xA1", 3, 2},
      {"utf-16le", bytes("a\0b\0c\0"sv), 3, 2},
      {"utf-16le", bytes("a\0\x3C\xD8\x31\xDF"sv), 4, 2},
      {"utf-16be", bytes("\0a\xD8\x3C\xDF\x31"sv), 5, 2},
      {"utf-16", bytes("a\0\x3C\xD8\x31\xDF"sv), 5, 2},
      {"iso-2022-jp", "abc \x1B$B\x46\x7C\x4B\x5C", 9, 4},
      {"utf-8", "", 0, 0},
      {"utf-8", "abc", 0, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.charset) + " " + row.text + " at " + std::to_string(row.limit));
    EXPECT_EQ(cutAtCharacter(row.text, row.limit, row.charset), row.length);
  }
}

TEST(CutAtCharacter, FindsItsWayInLongTextWithoutABlank) {
  std::string text;
  while (text.size() < 20000) text += "\xE6\x97\xA5\xE6\x9C\xAC";
  for (std::size_t limit = 9990; limit < 10000; ++limit)
    EXPECT_EQ(cutAtCharacter(text, limit, "utf-8"), limit / 3 * 3);
}

TEST(CharsetForCutting, AsksTheMarkThenTheHeaderThenThePage) {
  EXPECT_EQ(charsetForCutting("\xEF\xBB\xBFx", "shift_jis"), "utf-8");
  EXPECT_EQ(charsetForCutting("\xFF\xFEx", "shift_jis"), "utf-16le");
  EXPECT_EQ(charsetForCutting("\xFE\xFFx", ""), "utf-16be");
  EXPECT_EQ(charsetForCutting("<meta charset=big5>", "shift_jis"), "shift_jis");
  EXPECT_EQ(charsetForCutting("<meta charset=big5>", ""), "big5");
  EXPECT_EQ(charsetForCutting("<meta CHARSET = \"euc-jp\" />", ""), "euc-jp");
  EXPECT_EQ(charsetForCutting("<meta content='text/html; charset=gbk'>", ""), "gbk");
  EXPECT_EQ(charsetForCutting("<p>the charset is nice", ""), "");
  EXPECT_EQ(charsetForCutting("charset", ""), "");
  EXPECT_EQ(charsetForCutting("charset=", ""), "");
  EXPECT_EQ(charsetForCutting(std::string(1024, ' ') + "<meta charset=big5>", ""), "");
}

TEST(IsUtf16, ByAnyOfItsNames) {
  for (const std::string_view name : {"UTF-16", "utf-16le", "utf-16be", "unicode", "csUnicode", "ucs-2",
                                      "iso-10646-ucs-2", "unicodefeff", "unicodefffe"})
    EXPECT_TRUE(isUtf16(name)) << name;
  for (const std::string_view name : {"", "utf-8", "utf-16x", "utf"}) EXPECT_FALSE(isUtf16(name)) << name;
}

}  // namespace
}  // namespace sifterra::icap
