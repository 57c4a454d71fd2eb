// Tests of folding, searching and lower-casing, against ICU and against a search without short cuts.
#include <gtest/gtest.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <random>
#include <vector>

#include "platform/Unicode.h"

namespace sifterra::platform {
namespace {

constexpr char32_t kCharacters = 0x110000;
constexpr std::size_t kNone = std::u16string_view::npos;

std::u16string text(std::initializer_list<char32_t> characters) {
  std::u16string units;
  for (const char32_t c : characters) appendCharacter(c, units);
  return units;
}

// Characters and where they start.
struct Character {
  UChar32 folded;
  std::size_t start;
};
std::vector<Character> characters(std::u16string_view units) {
  std::vector<Character> all;
  for (std::size_t i = 0; i < units.size();) {
    const std::size_t start = i;
    const char32_t c = nextCharacter(units, i);
    all.push_back({u_foldCase(static_cast<UChar32>(c), U_FOLD_CASE_DEFAULT), start});
  }
  return all;
}

std::size_t plainFind(std::u16string_view units, std::u16string_view needle, std::size_t from) {
  const std::vector<Character> hay = characters(units);
  const std::vector<Character> wanted = characters(needle);
  if (wanted.empty()) return kNone;
  for (std::size_t at = 0; at + wanted.size() <= hay.size(); ++at) {
    if (hay[at].start < from) continue;
    std::size_t same = 0;
    while (same < wanted.size() && hay[at + same].folded == wanted[same].folded) ++same;
    if (same == wanted.size()) return hay[at].start;
  }
  return kNone;
}

TEST(SimpleFold, EqualsICUForEveryCharacter) {
  for (char32_t c = 0; c < kCharacters; ++c) {
    ASSERT_EQ(simpleFold(c), static_cast<char32_t>(u_foldCase(static_cast<UChar32>(c), U_FOLD_CASE_DEFAULT)))
        << std::hex << static_cast<std::uint32_t>(c);
  }
}

TEST(SimpleFold, KeepsTheNumberOfUnits) {  // what lets a match have as many units as the needle
  for (char32_t c = 0; c < kCharacters; ++c)
    ASSERT_EQ(simpleFold(c) < 0x10000, c < 0x10000) << std::hex << static_cast<std::uint32_t>(c);
}

TEST(SimpleFold, OnlyLongSAndKelvinSignJoinTheASCIILetters) {
  for (char32_t c = 0x80; c < kCharacters; ++c) {
    ASSERT_EQ(simpleFold(c) < 0x80, c == 0x017F || c == 0x212A) << std::hex << static_cast<std::uint32_t>(c);
  }
}

TEST(EqualIgnoringCase, ComparesCharacterByCharacter) {
  struct Row {
    std::u16string a, b;
    bool equal;
  };
  const Row rows[] = {
      {u"", u"", true},
      {u"Abc", u"aBC", true},
      {u"abc", u"abcd", false},
      {u"abcd", u"abc", false},
      {u"mi\u017F\u017F", u"MISS", true},
      {u"\u212Aiwi", u"kiwi", true},
      {u"\u00C4\u0416", u"\u00E4\u0436", true},
      {u"\u00DF", u"ss", false},             // simple folding keeps the number of characters
      {u"e\u0301", u"\u00E9", false},        // no normalisation
      {u"\u03C3", u"\u03C2", true},          // both sigmas
      {u"I", u"\u0131", false},              // dotless i folds to itself
      {u"\U00010400", u"\U00010428", true},  // Deseret, in pairs
      {text({0xD801}), text({0xD801}), true},
      {u"\U00010400", text({0xD801}), false},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(equalIgnoringCase(row.a, row.b), row.equal)
        << utf8FromUTF16(row.a) << " " << utf8FromUTF16(row.b);
  }
}

TEST(FindIgnoringCase, FindsTheFirstMatchFromAPosition) {
  struct Row {
    std::u16string in, needle;
    std::size_t from, at;
  };
  const Row rows[] = {
      {u"xxABC abc", u"abc", 0, 2},
      {u"xxABC abc", u"abc", 2, 2},
      {u"xxABC abc", u"abc", 3, 6},
      {u"xxABC abc", u"abc", 7, kNone},
      {u"abc", u"", 0, kNone},
      {u"", u"a", 0, kNone},
      {u"abc", u"abcd", 0, kNone},
      {u"abc", u"a", 4, kNone},
      {u"abc", u"c", std::size_t(-1), kNone},
      {u"the \u212Aelvin", u"kelvin", 0, 4},
      {u"\u017Fex", u"SEX", 0, 0},
      {u"kelvin", u"\u212AELVIN", 0, 0},  // the stranger in the needle
      {u"a\u0416b\u0436", u"\u0436B", 0, 1},
      {u"a\U00010400b", u"\U00010428B", 0, 1},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(findIgnoringCase(row.in, row.needle, row.from), row.at)
        << utf8FromUTF16(row.in) << " " << utf8FromUTF16(row.needle) << " " << row.from;
  }
  using namespace std::string_view_literals;
  EXPECT_EQ(findIgnoringCase(u"a\0B\0c"sv, u"\0C"sv), 3U);
}

TEST(FindIgnoringCase, HalfAPairIsNotACharacter) {
  const std::u16string smile = u"a\U0001F600b";
  EXPECT_EQ(findIgnoringCase(smile, text({0xD83D})), kNone);       // the pair's first half
  EXPECT_EQ(findIgnoringCase(smile, text({0xDE00})), kNone);       // its second
  EXPECT_EQ(findIgnoringCase(smile, text({'a', 0xD83D})), kNone);  // a match may not end inside
  EXPECT_EQ(findIgnoringCase(smile, text({0xDE00, 'b'})), kNone);  // nor begin
  EXPECT_EQ(findIgnoringCase(smile, text({0xDE00}), 2), kNone);    // not even from there
  EXPECT_EQ(findIgnoringCase(smile, u"B", 2), 3U);
  EXPECT_EQ(findIgnoringCase(text({'x', 0xD83D, 'y'}), text({0xD83D})), 1U);  // alone it is one
  EXPECT_EQ(findIgnoringCase(text({0xDE00, 'y'}), text({0xDE00}), 0), 0U);
}

TEST(FindIgnoringCase, EqualsThePlainSearchOnRandomTexts) {
  std::mt19937 random(11);
  const std::u16string kAlphabet = text(
      {'a', 'A', 'k', 'K', 's', 'S', 0x212A, 0x017F, 0xD83D, 0xDE00, 0x10400, 0x10428, 0x3C3, 0x3C2, ' '});
  for (int round = 0; round < 100000; ++round) {
    std::u16string hay;
    std::u16string needle;
    for (std::size_t n = random() % 60; n > 0; --n) hay += kAlphabet[random() % kAlphabet.size()];
    for (std::size_t n = random() % 4; n > 0; --n) needle += kAlphabet[random() % kAlphabet.size()];
    const std::size_t from = random() % (hay.size() + 2);
    ASSERT_EQ(findIgnoringCase(hay, needle, from), plainFind(hay, needle, from))
        << testing::PrintToString(hay) << testing::PrintToString(needle) << from;
  }
}

TEST(FindIgnoringCase, LooksAtEveryPlaceOfALongText) {
  for (std::size_t length = 1; length < 70; ++length) {
    for (std::size_t at = 0; at < length; ++at) {
      std::u16string hay(length, u'x');
      hay[at] = u'Q';
      ASSERT_EQ(findIgnoringCase(hay, u"q"), at);
    }
  }
}

TEST(Lowercased, UsesTheFullMappingsOfTheRootLocale) {
  struct Row {
    std::u16string from, to;
  };
  const Row rows[] = {
      {u"", u""},
      {u"Content-TYPE @[`{", u"content-type @[`{"},
      {u"\u00C4\u0416\u212A", u"\u00E4\u0436k"},
      {u"\u0130X", u"i\u0307x"},                                                 // one character becomes two
      {u"\u0391\u03A3 \u0391\u03A3\u0391", u"\u03B1\u03C2 \u03B1\u03C3\u03B1"},  // the final sigma
      {u"I\u00DF", u"i\u00DF"},
      {u"\U00010400", u"\U00010428"},
  };
  for (const Row& row : rows) EXPECT_EQ(lowercased(row.from), row.to) << utf8FromUTF16(row.from);
  const std::u16string lone = text({0xD83D, 'A', 0xDE00});
  EXPECT_EQ(lowercased(lone), text({0xD83D, 'a', 0xDE00}));
  EXPECT_EQ(lowercased(std::u16string(1000, 0x0130)).size(), 2000U);
}

TEST(Lowercased, EqualsICUForEveryCharacter) {
  for (char32_t c = 0; c < kCharacters; ++c) {
    icu::UnicodeString theirs(static_cast<UChar32>(c));
    theirs.toLower(icu::Locale::getRoot());
    const std::u16string expected(theirs.getBuffer(), static_cast<std::size_t>(theirs.length()));
    ASSERT_EQ(lowercased(text({c})), expected) << std::hex << static_cast<std::uint32_t>(c);
  }
}

}  // namespace
}  // namespace sifterra::platform
