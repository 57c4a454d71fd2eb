// Tests of the character classes: every character against ICU, and the rows that people rely on.
#include "platform/Unicode.h"

#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/uscript.h>

#include <cstdint>
#include <map>

namespace sifterra::platform {
namespace {

constexpr char32_t kCharacters = 0x110000;

template <class Ours, class Theirs>
void expectSameForAll(Ours ours, Theirs theirs) {
  for (char32_t c = 0; c < kCharacters; ++c)
    ASSERT_EQ(ours(c), theirs(static_cast<UChar32>(c))) << std::hex << static_cast<std::uint32_t>(c);
}

bool hasCategory(UChar32 c, std::uint32_t mask) {
  return (U_GET_GC_MASK(c) & mask) != 0;
}

TEST(CharacterClasses, EqualICUForEveryCharacter) {
  expectSameForAll(isWhitespaceOrNewline,
                   [](UChar32 c) { return hasCategory(c, U_GC_Z_MASK) || (c >= 9 && c <= 13) || c == 0x85; });
  expectSameForAll(isSymbol, [](UChar32 c) { return hasCategory(c, U_GC_S_MASK); });
  expectSameForAll(isLetter, [](UChar32 c) { return hasCategory(c, U_GC_L_MASK); });
  expectSameForAll(isMark, [](UChar32 c) { return hasCategory(c, U_GC_M_MASK); });
  expectSameForAll(isDecimalDigit, [](UChar32 c) { return hasCategory(c, U_GC_ND_MASK); });
  expectSameForAll(isFormatCharacter, [](UChar32 c) { return hasCategory(c, U_GC_CF_MASK); });
  expectSameForAll(decimalDigitValue, [](UChar32 c) {
    return u_charType(c) == U_DECIMAL_DIGIT_NUMBER ? static_cast<int>(u_getNumericValue(c)) : -1;
  });
}

TEST(CharacterClasses, WhiteSpaceIsExactlyThisSet) {
  std::u32string found;
  for (char32_t c = 0; c < kCharacters; ++c) {
    if (isWhitespaceOrNewline(c)) found += c;
  }
  EXPECT_EQ(found,
            std::u32string(U"\t\n\v\f\r \x85\u00A0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007"
                           U"\u2008\u2009\u200A\u2028\u2029\u202F\u205F\u3000"));
}

TEST(CharacterClasses, SymbolsAreNotPunctuation) {
  for (const char32_t c : U"$+<=>^`|~\u20AC\u00A9\u2665\U0001F600") {
    if (c != 0) {
      EXPECT_TRUE(isSymbol(c)) << std::hex << static_cast<std::uint32_t>(c);
    }
  }
  for (const char32_t c : U"!\"#%&'()*,-./:;?@[\\]_{}a1 \u2014")
    EXPECT_FALSE(isSymbol(c)) << std::hex << static_cast<std::uint32_t>(c);
}

TEST(CharacterClasses, NumbersBeyondTheLastCharacterAreOfNone) {
  for (const char32_t c : {char32_t{0x110000}, char32_t{0x7FFFFFFF}, char32_t{0xFFFFFFFF}}) {
    EXPECT_FALSE(isWhitespaceOrNewline(c) || isSymbol(c) || isLetter(c) || isMark(c) || isDecimalDigit(c) ||
                 isFormatCharacter(c));
    EXPECT_EQ(decimalDigitValue(c), -1);
    EXPECT_EQ(unicodeScript(c), Script::Other);
    EXPECT_EQ(simpleFold(c), c);
  }
}

TEST(CharacterClasses, SurrogatesAreNeitherSpaceNorSymbolNorLetter) {
  for (char32_t c = 0xD800; c < 0xE000; ++c) {
    ASSERT_FALSE(isWhitespaceOrNewline(c) || isSymbol(c) || isLetter(c) || isMark(c) || isDecimalDigit(c));
  }
}

TEST(UnicodeScript, GroupsCharactersAsICUDoes) {
  std::map<UScriptCode, Script> named;
  std::map<Script, UScriptCode> back;
  for (char32_t c = 0; c < kCharacters; ++c) {
    UErrorCode error = U_ZERO_ERROR;
    const UScriptCode theirs = uscript_getScript(static_cast<UChar32>(c), &error);
    const Script ours = unicodeScript(c);
    const auto known = named.emplace(theirs, ours).first;
    ASSERT_EQ(known->second, ours) << std::hex
                                   << static_cast<std::uint32_t>(c);  // one script of ours for each of theirs
    if (ours != Script::Other) {
      ASSERT_EQ(back.emplace(ours, theirs).first->second, theirs)
          << std::hex << static_cast<std::uint32_t>(c);
    }
  }
  EXPECT_EQ(back.size(), static_cast<std::size_t>(Script::Other));
}

TEST(UnicodeScript, NamesTheScriptOfSamples) {
  struct Row {
    char32_t c;
    Script script;
  };
  constexpr Row kRows[] = {
      {'a', Script::Latin},        {'1', Script::Common},      {0x0301, Script::Inherited},
      {0x03B1, Script::Greek},     {0x0436, Script::Cyrillic}, {0x4E2D, Script::Han},
      {0x20000, Script::Han},      {0x3042, Script::Hiragana}, {0x30A2, Script::Katakana},
      {0x3105, Script::Bopomofo},  {0xAC00, Script::Hangul},   {0x0E01, Script::Thai},
      {0x0E81, Script::Lao},       {0x1780, Script::Khmer},    {0x1000, Script::Myanmar},
      {0x0627, Script::Arabic},    {0x05D0, Script::Hebrew},   {0x0905, Script::Devanagari},
      {0x0985, Script::Bengali},   {0x0B85, Script::Tamil},    {0x0C05, Script::Telugu},
      {0x0A85, Script::Gujarati},  {0x0A05, Script::Gurmukhi}, {0x0C85, Script::Kannada},
      {0x0D05, Script::Malayalam}, {0x0D85, Script::Sinhala},  {0x10D0, Script::Georgian},
      {0x0531, Script::Armenian},  {0x1200, Script::Ethiopic}, {0x0F40, Script::Tibetan},
      {0x1820, Script::Mongolian}, {0x13A0, Script::Other},    {0x1F600, Script::Common},
  };
  for (const Row& row : kRows)
    EXPECT_EQ(unicodeScript(row.c), row.script) << std::hex << static_cast<std::uint32_t>(row.c);
}

TEST(Trimming, TakesWhiteSpaceOffBothEndsOnly) {
  EXPECT_EQ(trimmedWhitespaceAndNewlines(u" \t\r\n\u00A0\u3000a b\u2028\x85 "), u"a b");
  EXPECT_EQ(trimmedWhitespaceAndNewlines(u" \n "), u"");
  EXPECT_EQ(trimmedWhitespaceAndNewlines(u""), u"");
  EXPECT_EQ(trimmedWhitespaceAndNewlines(u"\u200Ba"), u"\u200Ba");  // a zero-width space is of category Cf
  EXPECT_EQ(trimmedWhitespaceAndNewlines(std::u16string_view(u"\0 ", 2)), std::u16string_view(u"\0", 1));
}

}  // namespace
}  // namespace sifterra::platform
