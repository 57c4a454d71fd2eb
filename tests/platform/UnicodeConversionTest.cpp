// Tests of the UTF conversions against a plain version, by rows, by all short inputs and by random ones.
#include <gtest/gtest.h>

#include <random>

#include "platform/Unicode.h"
#include "reference/plain_unicode.h"

namespace sifterra::platform {
namespace {

using namespace std::string_literals;

void expectSameAsPlain(const std::string& bytes) {
  bool wellFormed = false;
  const std::u16string plain = plain::utf16(bytes, wellFormed);
  ASSERT_EQ(utf16FromUTF8Lossy(bytes), plain) << testing::PrintToString(bytes);
  const std::optional<std::u16string> strict = utf16FromUTF8(bytes);
  ASSERT_EQ(strict.has_value(), wellFormed) << testing::PrintToString(bytes);
  if (strict) {
    ASSERT_EQ(*strict, plain) << testing::PrintToString(bytes);
  }
  std::u16string appended = u"before";
  ASSERT_EQ(appendUTF16FromUTF8(bytes, appended), wellFormed);
  ASSERT_EQ(appended, wellFormed ? u"before" + plain : u"before"s);
}

TEST(UTF8ToUTF16, ReplacesEachMaximalIllFormedPart) {
  struct Row {
    std::string bytes;
    std::u16string units;
  };
  const Row rows[] = {
      {"", u""},
      {"a\0b"s, u"a\0b"s},
      {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", u"\u00E9\u20AC\U0001F600"},
      {"\xEF\xBB\xBFx", u"\uFEFFx"},                                // the mark is kept
      {"\x80\xBF", u"\uFFFD\uFFFD"},                                // nothing to continue
      {"\xC0\xAF", u"\uFFFD\uFFFD"},                                // overlong slash
      {"\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD"},                      // overlong in three bytes
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},                      // a surrogate
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},            // above U+10FFFF
      {"\xF8\x88\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},  // five bytes
      {"\xE2\x82", u"\uFFFD"},                                      // cut short at the end
      {"\xE2\x82"
       "A",
       u"\uFFFDA"},
      {"\xF0\x9F\x98\xE2\x82\xAC", u"\uFFFD\u20AC"},
      {"\x61\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64", u"a\uFFFD\uFFFD\uFFFDb\uFFFDc\uFFFD\uFFFDd"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(utf16FromUTF8Lossy(row.bytes), row.units) << testing::PrintToString(row.bytes);
    expectSameAsPlain(row.bytes);
  }
}

TEST(UTF8ToUTF16, EqualsThePlainVersionOnAllShortInputsOfTellingBytes) {
  const unsigned char kBytes[] = {0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF,
                                  0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xE1, 0xEC, 0xED, 0xEE,
                                  0xEF, 0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xF8, 0xFF};
  constexpr std::size_t kCount = std::size(kBytes);
  for (std::size_t length = 1; length <= 4; ++length) {
    std::size_t total = 1;
    for (std::size_t i = 0; i < length; ++i) total *= kCount;
    for (std::size_t number = 0; number < total; ++number) {
      std::string bytes;
      for (std::size_t i = 0, rest = number; i < length; ++i, rest /= kCount) {
        bytes.push_back(static_cast<char>(kBytes[rest % kCount]));
      }
      expectSameAsPlain(bytes);
      if (HasFatalFailure()) return;
    }
  }
}

TEST(UTF8ToUTF16, EqualsThePlainVersionWhereverABlockEnds) {
  const std::string parts[] = {"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80",
                               "\xFF",     "\xE2\x82",     "\xED\xA0\x80"};
  for (const std::string& part : parts) {
    for (std::size_t before = 0; before < 40; ++before) {
      for (std::size_t after = 0; after < 40; ++after) {
        expectSameAsPlain(std::string(before, 'x') + part + std::string(after, 'y'));
        if (HasFatalFailure()) return;
      }
    }
  }
}

TEST(UTFConversion, RoundTripsEveryCharacter) {
  std::u16string all;
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    appendCharacter(c, all);
  }
  const std::string bytes = utf8FromUTF16(all);
  EXPECT_TRUE(bytes == plain::utf8(all));
  EXPECT_TRUE(utf16FromUTF8(bytes) == all);
}

TEST(UTFConversion, EqualsThePlainVersionOnRandomMixtures) {
  std::mt19937 random(7);
  for (int round = 0; round < 20000; ++round) {
    std::u16string units;
    const std::size_t length = random() % 120;
    while (units.size() < length) {
      switch (random() % 6) {
        case 0:
          units.push_back(static_cast<char16_t>(random()));
          break;
        case 1:
          units.push_back(static_cast<char16_t>(0xD800 + random() % 0x800));
          break;
        case 2:
          appendCharacter(0x10000 + random() % 0x100000, units);
          break;
        default:
          units.append(random() % 30, static_cast<char16_t>(random() % 0x80));
      }
    }
    const std::string bytes = utf8FromUTF16(units);
    ASSERT_EQ(bytes, plain::utf8(units));
    expectSameAsPlain(bytes);
    std::string broken = bytes;
    for (int k = 0; k < 3 && !broken.empty(); ++k)
      broken[random() % broken.size()] = static_cast<char>(random());
    expectSameAsPlain(broken);
    if (HasFatalFailure()) return;
  }
}

TEST(UTF16ToUTF8, ReplacesLoneSurrogatesAndKeepsZeros) {
  EXPECT_EQ(utf8FromUTF16(u"a\0b"s), "a\0b"s);
  EXPECT_EQ(utf8FromUTF16(std::u16string{0xD83D}), "\xEF\xBF\xBD");
  EXPECT_EQ(utf8FromUTF16(std::u16string{0xDE00, 0xD83D}), "\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(utf8FromUTF16(std::u16string{0xD83D, 0xD83D, 0xDE00}), "\xEF\xBF\xBD\xF0\x9F\x98\x80");
  std::string out = "before ";
  appendUTF8FromUTF16(u"\u00E9", out);
  EXPECT_EQ(out, "before \xC3\xA9");
}

TEST(UTF16ToUTF8, JoinsAPairThatCrossesABlock) {
  for (std::size_t before = 0; before < 40; ++before) {
    const std::u16string units = std::u16string(before, u'\u00E9') + u"\U0001F600" + std::u16string(20, u'z');
    EXPECT_EQ(utf8FromUTF16(units), plain::utf8(units)) << before;
  }
}

TEST(UTFConversion, NextCharacterReadsPairsAndLoneSurrogates) {
  const std::u16string units{u'a', 0xD83D, 0xDE00, 0xDE00, 0xD83D};
  std::size_t index = 0;
  const char32_t expected[] = {'a', 0x1F600, 0xDE00, 0xD83D};
  for (const char32_t c : expected) EXPECT_EQ(nextCharacter(units, index), c);
  EXPECT_EQ(index, units.size());
}

TEST(UTFConversion, IsASCIISeesASingleOtherUnitAnywhere) {
  for (std::size_t length = 0; length < 70; ++length) {
    std::u16string units(length, u'\x7F');
    EXPECT_TRUE(isASCII(units));
    for (std::size_t at = 0; at < length; ++at) {
      for (const char16_t other : {u'\x80', u'\u0100', u'\u8000'}) {
        units[at] = other;
        EXPECT_FALSE(isASCII(units)) << length << " " << at;
      }
      units[at] = u'\x7F';
    }
  }
}

}  // namespace
}  // namespace sifterra::platform
