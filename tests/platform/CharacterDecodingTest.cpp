// Tests of decoding: rows, every single-byte encoding against the C library's iconv, damage, size, detection.
#include <gtest/gtest.h>
#include <iconv.h>

#include <chrono>
#include <random>
#include <set>

#include "platform/CharacterSet.h"
#include "platform/Unicode.h"

namespace sifterra::platform {
namespace {

using namespace std::string_literals;

std::u16string decoded(std::string_view bytes, const std::string& encoding) {
  return decodeBytes(bytes, encoding).value_or(u"(none)");
}

TEST(DecodeBytes, DecodesAsBrowsersDo) {
  struct Row {
    const char* encoding;
    std::string bytes;
    std::u16string text;
  };
  const Row rows[] = {
      {"UTF-8", "\xC3\xA9\xFF", u"\u00E9\uFFFD"},
      {"UTF-8", "\xEF\xBB\xBFx", u"\uFEFFx"},
      {"UTF-16LE", "a\0\xAC\x20"s, u"a\u20AC"},
      {"UTF-16LE",
       "\xFF\xFE"
       "a\0"s,
       u"\uFEFFa"},
      {"UTF-16BE", "\0a\xD8\x3D\xDE\x00"s, u"a\U0001F600"},
      {"UTF-16LE", "a\0\x3D\xD8z\0"s, u"a\uFFFDz"},
      {"UTF-16LE", "a\0b"s, u"a\uFFFD"},
      {"UTF-16", "\xFE\xFF\0a"s, u"a"},  // only this one takes its order from the mark
      {"windows-1252", "\x80\x93\x81\xE9", u"\u20AC\u201C\x81\u00E9"},
      {"ISO-8859-1", "\x80\xE9", u"\x80\u00E9"},
      {"windows-1251", "\xCF\xF0", u"\u041F\u0440"},
      {"KOI8-R", "\xF0\xD2", u"\u041F\u0440"},
      {"KOI8-U", "\xA4", u"\u0454"},
      {"IBM866", "\x8F\xE0", u"\u041F\u0440"},
      {"ISO-8859-8-I", "\xE0", u"\u05D0"},
      {"ISO-8859-16", "\xA4\xD5\xE9", u"\u20AC\u0150\u00E9"},
      {"windows-874", "\xA1\x80", u"\u0E01\u20AC"},
      {"macintosh", "\x8E", u"\u00E9"},
      {"x-mac-cyrillic", "\x8F", u"\u041F"},
      {"Shift_JIS", "\x82\xA0\x87\x40\xB1\\~",
       u"\u3042\u2460\uFF71\\~"},  // with the extensions of windows-31j
      {"Windows-31J", "\x87\x40", u"\u2460"},
      {"EUC-JP", "\xA4\xA2\x8E\xB1\x8F\xB0\xA1", u"\u3042\uFF71\u4E02"},
      {"ISO-2022-JP", "a\x1B$B$\"\x1B(Bb", u"a\u3042b"},
      {"GBK", "\xD6\xD0\x81\x40\x81\x30\x81\x30", u"\u4E2D\u4E02\x80"},
      {"GB2312", "\xD6\xD0\x81\x40", u"\u4E2D\u4E02"},  // pages say so and mean GBK
      {"gb18030", "\x94\x39\xDA\x33", u"\U0001F4A9"},
      {"Big5", "\xA4\xA4\x87\x40", u"\u4E2D\u43F0"},    // the second of the Hong Kong supplement
      {"EUC-KR", "\xC7\xD1\x81\x41", u"\uD55C\uAC02"},  // the second of windows-949 only
      {"KS_C_5601-1987", "\x81\x41", u"\uAC02"},
      {"x-user-defined", "a\x80\xFF", u"a\uF780\uF7FF"},
      {"replacement", "<script>", u"\uFFFD"},
      {"replacement", "", u""},
      {"windows-1252", "", u""},
      {"windows-1252", "a\0b"s, u"a\0b"s},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(decoded(row.bytes, row.encoding), row.text)
        << row.encoding << " " << testing::PrintToString(row.bytes);
  }
}

TEST(DecodeBytes, ABrokenCharacterSwallowsNoMarkup) {
  struct Row {
    const char* encoding;
    std::string bytes;
    std::u16string text;
  };
  const Row rows[] = {
      {"Shift_JIS", "\x81<a", u"\uFFFD<a"},
      {"EUC-JP", "\xA4<a", u"\uFFFD<a"},
      {"EUC-JP", "\x8F\xB0<a", u"\uFFFD\uFFFD<a"},
      {"GBK", "\x81<a", u"\uFFFD<a"},
      {"gb18030", "\x81\x30<a",
       u"\uFFFD"
       u"0<a"},
      {"Big5", "\x81<a", u"\uFFFD<a"},
      {"EUC-KR", "\xB0<a", u"\uFFFD<a"},
      {"Shift_JIS", "a\x81", u"a\uFFFD"},
      {"GBK", "a\x81", u"a\uFFFD"},
      {"ISO-2022-JP", "\x1B$X<b>", u"\uFFFD$X<b>"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(decoded(row.bytes, row.encoding), row.text)
        << row.encoding << " " << testing::PrintToString(row.bytes);
  }
}

TEST(DecodeBytes, UnknownConvertersGiveNothing) {
  for (const char* encoding : {"", "x-nonsense", "UTF-9"})
    EXPECT_FALSE(decodeBytes("a", encoding)) << encoding;
  EXPECT_FALSE(decodeBytes("a", "UTF-16\0x"s));
}

constexpr struct {
  const char* label;
  const char* encoding;
} kLabels[] = {
#include "platform/web_encoding_labels.inc"
};

std::set<std::string> webEncodings() {
  std::set<std::string> encodings;
  for (const auto& row : kLabels) encodings.insert(row.encoding);
  return encodings;
}

TEST(DecodeBytes, ASCIIIsItselfInEveryWebEncoding) {
  for (const std::string& encoding : webEncodings()) {
    if (encoding.starts_with("UTF-16") || encoding == "replacement") continue;
    for (char c = 0; c >= 0 && c < 0x7F; ++c) {
      // Escapes and shifts of ISO-2022-JP.
      if (encoding == "ISO-2022-JP" && (c == 0x1B || c == 0x0E || c == 0x0F)) continue;
      EXPECT_EQ(decoded(std::string(1, c), encoding), std::u16string(1, static_cast<char16_t>(c)))
          << encoding << " " << int{c};
    }
    EXPECT_EQ(decoded("\x7F", encoding), u"\x7F") << encoding;
  }
}

// One byte by iconv; nothing when the C library has no such converter or the byte no character.
std::optional<std::u16string> byIconv(const std::string& encoding, char byte) {
  const iconv_t converter = ::iconv_open("UTF-16LE", encoding.c_str());
  if (converter == reinterpret_cast<iconv_t>(-1)) return std::nullopt;
  char16_t unit[4];
  char* from = &byte;
  char* to = reinterpret_cast<char*>(unit);
  std::size_t fromLeft = 1;
  std::size_t toLeft = sizeof unit;
  const std::size_t result = ::iconv(converter, &from, &fromLeft, &to, &toLeft);
  ::iconv(converter, nullptr, nullptr, &to, &toLeft);  // a letter that waits for its mark
  ::iconv_close(converter);
  if (result != 0) return std::nullopt;
  return std::u16string(unit, (sizeof unit - toLeft) / sizeof *unit);
}

TEST(DecodeBytes, SingleByteEncodingsEqualTheCLibrarys) {
  int compared = 0;
  for (const std::string& encoding : webEncodings()) {
    // The C library's tables for these are not the ones of the web.
    if (encoding == "macintosh" || encoding == "x-mac-cyrillic" || encoding == "windows-874") continue;
    if (!encoding.starts_with("ISO-8859") && !encoding.starts_with("windows") &&
        !encoding.starts_with("KOI8") && encoding != "IBM866") {
      continue;
    }
    for (int byte = 0x80; byte < 0x100; ++byte) {
      // Hebrew: ICU leaves U+05BA out.
      if (encoding == "windows-1255" && byte == 0xCA) continue;
      const auto theirs = byIconv(encoding, static_cast<char>(byte));
      if (!theirs) continue;
      EXPECT_EQ(decoded(std::string(1, static_cast<char>(byte)), encoding), *theirs)
          << encoding << " " << byte;
      ++compared;
    }
  }
  EXPECT_GT(compared, 2000);
}

TEST(DecodeBytes, DoesNotDependOnWhereABufferEnds) {
  for (const std::size_t before : {4095U, 4096U, 4097U, 8191U, 12287U}) {
    const std::string bytes = std::string(before, 'x') + "\x82\xA0\x81<" + std::string(5000, 'y');
    const std::u16string text = std::u16string(before, u'x') + u"\u3042\uFFFD<" + std::u16string(5000, u'y');
    EXPECT_TRUE(decoded(bytes, "Shift_JIS") == text) << before;
    const std::string supplementary = std::string(before, 'x') + "\x94\x39\xDA\x33";
    EXPECT_TRUE(decoded(supplementary, "gb18030") == std::u16string(before, u'x') + u"\U0001F4A9") << before;
  }
}

TEST(DecodeBytes, GivesNoMoreUnitsThanBytesForGarbage) {
  std::mt19937 random(3);
  for (const std::string& encoding : webEncodings()) {
    for (int round = 0; round < 200; ++round) {
      std::string bytes;
      for (std::size_t n = random() % 200; n > 0; --n) bytes.push_back(static_cast<char>(random()));
      const auto text = decodeBytes(bytes, encoding);
      ASSERT_TRUE(text) << encoding;
      EXPECT_LE(text->size(), bytes.size() + 1) << encoding;
    }
  }
}

TEST(DetectEncoding, TellsScriptsApart) {
  struct Row {
    const char* bytes;
    const char* encoding;
  };
  constexpr Row kRows[] = {
      {"\x93\xFA\x96\x7B\x8C\xEA\x82\xCC\x83\x79\x81\x5B\x83\x57\x82\xC5\x82\xB7\x81\x42\x82\xB1\x82\xEA\x82"
       "\xCD"
       "\x8E\x8E\x8C\xB1\x82\xC5\x82\xB7\x81\x42",
       "Shift_JIS"},
      {"\xFD\xF2\xEE \xF1\xF2\xF0\xE0\xED\xE8\xF6\xE0 \xED\xE0 \xF0\xF3\xF1\xF1\xEA\xEE\xEC "
       "\xFF\xE7\xFB\xEA\xE5, "
       "\xEA\xEE\xF2\xEE\xF0\xE0\xFF \xED\xE5 \xE3\xEE\xE2\xEE\xF0\xE8\xF2 \xEE \xF1\xE2\xEE\xE5\xE9 "
       "\xEA\xEE\xE4\xE8\xF0\xEE\xE2\xEA\xE5",
       "windows-1251"},
      {"\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\xE3\x81\xAE\xE3\x83\x9A\xE3\x83\xBC\xE3\x82\xB8", "UTF-8"},
  };
  for (const Row& row : kRows) EXPECT_EQ(detectEncoding(row.bytes, 10).value_or("(none)"), row.encoding);
}

TEST(DetectEncoding, GivesNothingBelowTheConfidence) {
  EXPECT_FALSE(detectEncoding("\x93\xFA\x96\x7B", 101));
  EXPECT_FALSE(detectEncoding("", 50));
  EXPECT_TRUE(detectEncoding("a\xE9 b\xE9 c\xE9 d", 1));
}

TEST(DetectEncoding, NeverGuessesWhatBrowsersDoNotDecode) {
  const std::string korean = "\x1B$)C\x0E\x47\x51\x31\x5B\x0F text \x0E\x47\x51\x31\x5B\x0F more \xE9";
  const std::string utf32("\xFF\xFE\0\0a\0\0\0b\0\0\0c\0\0\0", 16);
  std::string ebcdic;
  for (int i = 0; i < 60; ++i) ebcdic += "\x41\x42\x43\x40\x45\x46\x47";
  for (const std::string& bytes : {korean, utf32, ebcdic}) {
    const auto guess = detectEncoding(bytes, 0);
    if (!guess) continue;
    const auto encoding = webEncodingForLabel(*guess);
    ASSERT_TRUE(encoding) << *guess;
    EXPECT_NE(*encoding, "replacement") << *guess;
  }
}

TEST(StringFromISO88591, TakesEveryByteAsItsNumber) {
  std::string bytes;
  std::u16string units;
  for (int byte = 0; byte < 0x100; ++byte) {
    bytes.push_back(static_cast<char>(byte));
    units.push_back(static_cast<char16_t>(byte));
  }
  EXPECT_EQ(stringFromISO88591(bytes), String(units));
  EXPECT_EQ(stringFromISO88591(""), String(u""));
}

}  // namespace
}  // namespace sifterra::platform
