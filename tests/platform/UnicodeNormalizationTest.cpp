// Tests of normalisation and full folding: rows, and the short cut for ASCII against ICU on the whole text.
#include <gtest/gtest.h>
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include <random>

#include "platform/Unicode.h"

namespace sifterra::platform {
namespace {

using Append = void (*)(std::u16string_view, std::u16string&);

std::u16string applied(Append append, std::u16string_view text) {
  std::u16string out = u"<";
  append(text, out);
  EXPECT_EQ(out.substr(0, 1), u"<");
  return out.substr(1);
}

struct Row {
  std::u16string from, to;
};

TEST(NFKC, ComposesAndReplacesCompatibilityCharacters) {
  const Row rows[] = {
      {u"", u""},
      {u"Plain ASCII", u"Plain ASCII"},
      {u"e\u0301", u"\u00E9"},  // the last ASCII letter takes part
      {u"xe\u0301", u"x\u00E9"},
      {u"\uFF21\uFF42", u"Ab"},
      {u"\uFB01", u"fi"},
      {u"\u2460", u"1"},
      {u"\uFF76\uFF9E", u"\u30AC"},
      {u"\U0001D400", u"A"},
      {u"\u00AD", u"\u00AD"},
      {u"\uFDFA",
       u"\u0635\u0644\u0649 \u0627\u0644\u0644\u0647 \u0639\u0644\u064A\u0647 \u0648\u0633\u0644\u0645"},
  };
  for (const Row& row : rows) EXPECT_EQ(applied(appendNFKC, row.from), row.to) << utf8FromUTF16(row.from);
  EXPECT_EQ(applied(appendNFKC, std::u16string(500, 0xFDFA)).size(),
            500U * 18);  // grows far beyond the guess
}

TEST(FullCaseFolding, ExpandsWhatSimpleFoldingLeaves) {
  const Row rows[] = {
      {u"", u""},
      {u"PLAIN", u"plain"},
      {u"Stra\u00DFe", u"strasse"},
      {u"\u0130", u"i\u0307"},
      {u"\u03A3\u03C2", u"\u03C3\u03C3"},
      {u"\uFB03", u"ffi"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(applied(appendFullCaseFolded, row.from), row.to) << utf8FromUTF16(row.from);
}

TEST(NFKCCaseFolding, DoesBothAndDropsIgnorableCharacters) {
  const Row rows[] = {
      {u"", u""},
      {u"PLAIN text", u"plain text"},
      {u"E\u0301", u"\u00E9"},
      {u"\uFF30\uFF2F", u"po"},
      {u"po\u00ADr\u200Dn\uFE0F", u"porn"},
      {u"Stra\u00DFe", u"strasse"},
      {u"\U0001D5E3", u"p"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(applied(appendNFKCCaseFolded, row.from), row.to) << utf8FromUTF16(row.from);
}

TEST(Normalization, PassesLoneSurrogatesAndZeros) {
  const std::u16string odd{0xD83D, 0, u'a', 0xDE00};
  for (const Append append : {appendNFKC, appendFullCaseFolded, appendNFKCCaseFolded}) {
    EXPECT_EQ(applied(append, odd), odd);
  }
}

TEST(Normalization, ShortCutForASCIIEqualsICUOnTheWholeText) {
  UErrorCode error = U_ZERO_ERROR;
  const icu::Normalizer2* nfkc = icu::Normalizer2::getNFKCInstance(error);
  const icu::Normalizer2* casefold = icu::Normalizer2::getNFKCCasefoldInstance(error);
  ASSERT_TRUE(U_SUCCESS(error));
  std::mt19937 random(5);
  for (int round = 0; round < 20000; ++round) {
    std::u16string text;
    for (std::size_t n = random() % 12; n > 0; --n) text += static_cast<char16_t>(random() % 0x80);
    for (std::size_t n = random() % 4; n > 0; --n) {
      appendCharacter(static_cast<char32_t>(random() % 2 == 0 ? 0x300 + random() % 0x30 : random() % 0x3000),
                      text);
      text += static_cast<char16_t>('A' + random() % 26);
    }
    const auto normalized = [&](const icu::Normalizer2* by) {
      UErrorCode failed = U_ZERO_ERROR;
      const icu::UnicodeString out =
          by->normalize(icu::UnicodeString(text.data(), static_cast<std::int32_t>(text.size())), failed);
      return std::u16string(out.getBuffer(), static_cast<std::size_t>(out.length()));
    };
    ASSERT_EQ(applied(appendNFKC, text), normalized(nfkc)) << utf8FromUTF16(text);
    ASSERT_EQ(applied(appendNFKCCaseFolded, text), normalized(casefold)) << utf8FromUTF16(text);
  }
}

}  // namespace
}  // namespace sifterra::platform
