// Searching in any case: the short cut for ASCII words against the tables and the plain way.
#include "util/folded_search.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/Unicode.h"
#include "reference/plain_words.h"
#include "reference/random_text.h"
#include "util/unit_search.h"

namespace sifterra {
namespace {

constexpr std::size_t kNone = std::u16string_view::npos;

TEST(FoldedSearch, OnlyTwoForeignCharactersFoldToASCII) {
  for (char32_t c = 0x80; c <= 0x10ffff; ++c) {
    const char32_t folded = platform::simpleFold(c);
    if (c == 0x017f) {
      EXPECT_EQ(folded, U's');
    } else if (c == 0x212a) {
      EXPECT_EQ(folded, U'k');
    } else {
      EXPECT_GE(folded, 0x80U) << std::hex << static_cast<std::uint32_t>(c);
    }
  }
}

TEST(FoldedSearch, FoldingKeepsTheNumberOfUnits) {
  for (char32_t c = 0; c <= 0x10ffff; ++c) {
    EXPECT_EQ(platform::simpleFold(c) > 0xffff, c > 0xffff) << std::hex << static_cast<std::uint32_t>(c);
  }
}

struct Row {
  std::u16string text;
  std::u16string needle;
  std::size_t from;
  std::size_t at;
};

TEST(FoldedSearch, FindsTheFirstMatchFromWhereItIsToldTo) {
  const std::vector<Row> rows = {
      {u"Sixty Nine", u"sixty nine", 0, 0},
      {u"sixty", u"SIXTY", 0, 0},
      {u"ab ab", u"AB", 1, 3},
      {u"ab", u"ab", 1, kNone},
      {u"ab", u"ab", 3, kNone},
      {u"", u"a", 0, kNone},
      {u"abc", u"", 0, kNone},
      {u"", u"", 0, kNone},
      {u"\u017fixty", u"sixty", 0, 0},           // long s
      {u"\u212aey", u"key", 0, 0},               // Kelvin sign
      {u"s\u0130xty", u"sixty", 0, kNone},       // I with a dot has no simple folding to i
      {u"STRASSE", u"stra\u00dfe", 0, kNone},    // nor has sharp s to ss
      {u"\u0416\u0436", u"\u0436\u0416", 0, 0},  // beyond ASCII
      {u"0123456789abcdef0123456789abcdeX", u"x", 0, 31},
      {u"0123456789abcdef0123456789abcdefX", u"x", 0, 32},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(platform::utf8FromUTF16(row.text + u" / " + row.needle));
    EXPECT_EQ(findFolded(row.text, row.needle, row.from), row.at);
  }
}

TEST(FoldedSearch, AgreesWithThePlainSearchOnRandomTexts) {
  const std::vector<std::u16string> pieces = {u"s",      u"S",          u"\u017f",     u"k", u"\u212a",
                                              u"x",      u"X",          u" ",          u"6", u"9",
                                              u"\u0130", u"\U00010400", u"\U00010428", u"i"};
  const std::vector<std::u16string> broken = {u"s", std::u16string(1, char16_t{0xd801}),
                                              std::u16string(1, char16_t{0xdc00}), u"\U00010400", u"x"};
  reference::RandomText random(1);
  for (int round = 0; round < 20000; ++round) {
    const auto& alphabet = round % 4 == 0 ? broken : pieces;
    const std::u16string text = random.of(alphabet, 60);
    const std::u16string needle = random.of(alphabet, 3);
    const std::size_t from = random.below(text.size() + 2);
    if (from < text.size() && !reference::startsCharacter(text, from)) continue;
    SCOPED_TRACE(platform::utf8FromUTF16(text + u" / " + needle));
    ASSERT_EQ(findFolded(text, needle, from),
              reference::findIgnoringCase(text, needle, from).value_or(kNone));
  }
}

TEST(UnitSearch, FindsTheFirstUnitFromAnywhere) {
  reference::RandomText random(8);
  for (int round = 0; round < 5000; ++round) {
    const std::u16string text = random.of({u"aaaaaaa", u"b", u"a"}, 12);
    const std::size_t from = random.below(text.size() + 3);
    ASSERT_EQ(findUnit(text, u'b', from), text.find(u'b', from));
    ASSERT_EQ(findUnit(text, u'c', from), kNone);
  }
}

}  // namespace
}  // namespace sifterra
