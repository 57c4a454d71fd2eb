// What the tokeniser makes of text, rule by rule.
#include "lsm/Tokenizer.h"

#include <gtest/gtest.h>

#include <random>

#include "lsm/TokenList.h"
#include "lsm/TokenRows.h"
#include "platform/Unicode.h"

namespace sifterra::lsm {
namespace {

TEST(Tokenizer, WordsAreRunsOfLettersAndDigitsInLowerCase) {
  expectRows({
      {u"", ""},
      {u"  \n\t ", ""},
      {u"Hello, World", "hello world"},
      {u"one,two;three(four)five", "one two three four five"},
      {u"UPPER lower MiXeD", "upper lower mixed"},
      {u"caf\u00e9 \u00c9COLE",
       "caf\u00e9 \u00e9"
       "cole"},
      {u"Stra\u00dfe", "strasse"},
      {u"\u041c\u043e\u0441\u043a\u0432\u0430", "\u043c\u043e\u0441\u043a\u0432\u0430"},
      {u"x264codec", "x264codec"},
  });
}

TEST(Tokenizer, ApostrophesVanishAndEnglishEndingsAreCut) {
  expectRows({
      {u"don't", "dont"},
      {u"it's", "it"},
      {u"they're we'll I've I'm he'd", "they we i i he"},
      {u"it\u2019s don\u2019t", "it dont"},
      {u"rock'n'roll", "rocknroll"},
      {u"'quoted'", "quoted"},
      {u"a''b", "a b"},
      {u"dogs' tails", "dogs tails"},
      {u"d'accord", "daccord"},
      {u"\u043f'\u044f\u0442\u044c", "\u043f\u044f\u0442\u044c"},
      {u"'s", "s"},
  });
}

TEST(Tokenizer, LongerWordsThanSixtyFourCharactersAreIgnored) {
  const std::u16string longest(32, u'a');
  std::u16string word;
  while (word.size() < 64) word += u"ab";
  EXPECT_EQ(joinedTokens(word).size(), 64u);
  EXPECT_EQ(joinedTokens(word + u"a"), "");
  EXPECT_EQ(joinedTokens(u"x " + word + u"a y"), "x y");
  std::u16string cyrillic;
  while (cyrillic.size() < 64) cyrillic += u"\u0430\u0431";
  EXPECT_EQ(joinedTokens(cyrillic).size(), 128u);
  EXPECT_EQ(joinedTokens(cyrillic + u"\u0430"), "");
}

TEST(Tokenizer, ScriptsThatDoNotPartWordsGivePieces) {
  expectRows({
      {u"\u6210\u4eba\u7535\u5f71", "\u6210\u4eba \u4eba\u7535 \u7535\u5f71"},
  });
  // Counted, where spelling them out would say less.
  EXPECT_EQ(tokensOf(u"\u6210").size(), 1u);                                // a run of one
  EXPECT_EQ(tokensOf(u"\u98df\u3079\u308b").size(), 2u);                    // Han and kana go together
  EXPECT_EQ(tokensOf(u"\ud55c\uad6d\uc5b4").size(), 2u);                    // Hangul
  EXPECT_EQ(tokensOf(u"\u0e2a\u0e27\u0e31\u0e2a\u0e14\u0e35").size(), 4u);  // Thai: three at a time
  EXPECT_EQ(tokensOf(u"\u0e2a\u0e27").size(), 1u);
  EXPECT_EQ(tokensOf(u"\u1780\u1781\u1782\u1783").size(), 2u);  // Khmer
  EXPECT_EQ(tokensOf(u"\u0e81\u0e82\u0e84\u0e87").size(), 2u);  // Lao
  EXPECT_EQ(tokensOf(u"\u1000\u1001\u1002\u1003").size(), 2u);  // Burmese
}

TEST(Tokenizer, MixedWordsSplitWhereTheScriptChanges) {
  const auto tokens = tokensOf(u"app\u4e0b\u8f7d18\u6b73\ud55c\uad6d");
  ASSERT_EQ(tokens.size(), 5u);
  EXPECT_EQ(tokens[0].text, "app");
  EXPECT_EQ(tokens[1].kind, TokenKind::kPiece);
  EXPECT_EQ(tokens[1].script, WordScript::kHan);
  EXPECT_EQ(tokens[2].text, "18");
  EXPECT_EQ(tokens[3].script, WordScript::kHan);
  EXPECT_EQ(tokens[4].script, WordScript::kHangul);
}

TEST(Tokenizer, PiecesWithKanaAreKana) {
  const auto tokens = tokensOf(u"\u98df\u3079\u308b\u30fc");
  ASSERT_EQ(tokens.size(), 3u);
  for (const OwnedToken& token : tokens) EXPECT_EQ(token.script, WordScript::kKana);
}

TEST(Tokenizer, NumbersAreKeptOrBecomeLengthClasses) {
  expectRows({
      {u"18 21 69 2257", "18 21 69 2257"},
      {u"7 42 365 2024 10001 123456 1234567 00000000000", "#1 #2 #3 #4 #5 #6 #6 #6"},
      {u"18+", "18"},
      {u"3.14", "#1 #2"},
      {u"\u0967\u096e", "18"},        // Devanagari digits
      {u"\u0661\u0662\u0663", "#3"},  // Arabic-Indic
      {u"h264", "h264"},
  });
}

TEST(Tokenizer, SevenOfTheLetterOMakeAnAtom) {
  expectRows({
      {u"oooooo", "oo"},
      {u"ooooooo", "ooooooo"},
      {u"ooooooooooooCategory1oooooooooooo", "oooooooooooocategory1oooooooooooo"},
      {u"ooooooooooooooooooooTITLEoooooooooooooooooooo", "ooooooooooooooooooootitleoooooooooooooooooooo"},
      {u"oooooooo1", "oooooooo1"},  // and is not read as a disguise
  });
  const auto tokens = tokensOf(u"ooooooooooooCategory2oooooooooooo");
  ASSERT_EQ(tokens.size(), 1u);
  EXPECT_EQ(tokens[0].kind, TokenKind::kAtom);
  EXPECT_EQ(tokens[0].script, WordScript::kCommon);
}

TEST(Tokenizer, LoneSurrogatesPartWords) {
  expectRows({
      {u"ab\xd800"
       u"cd",
       "ab cd"},
      {u"\xdc00", ""},
      {u"\xd83d\xde00smile", "smile"},  // a whole pair: an emoji parts words as well
  });
}

TEST(Tokenizer, WordsKnowTheirScript) {
  const struct {
    const char16_t* text;
    WordScript script;
  } rows[] = {
      {u"word", WordScript::kLatin},
      {u"\u00e9t\u00e9", WordScript::kLatin},
      {u"\u043c\u0438\u0440", WordScript::kCyrillic},
      {u"\u03bb\u03cc\u03b3\u03bf\u03c2", WordScript::kGreek},
      {u"\u0633\u0644\u0627\u0645", WordScript::kArabic},
      {u"\u05e9\u05dc\u05d5\u05dd", WordScript::kHebrew},
      {u"\u0928\u092e\u0938\u094d\u0924\u0947", WordScript::kDevanagari},
      {u"\u4e2d", WordScript::kHan},
      {u"\u0e44\u0e17\u0e22", WordScript::kThai},
      {u"42", WordScript::kCommon},
      {u"\u1330\u1331", WordScript::kEthiopic},
      {u"\u10d0\u10d1", WordScript::kGeorgian},
      {u"\u13a0\u13a1", WordScript::kOther},  // Cherokee
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(platform::utf8FromUTF16(row.text));
    const auto tokens = tokensOf(row.text);
    ASSERT_EQ(tokens.size(), 1u);
    EXPECT_EQ(tokens[0].script, row.script);
  }
}

TEST(Tokenizer, MarksBelongToTheirWord) {
  expectRows({
      {u"\u0928\u092e\u0938\u094d\u0924\u0947", "\u0928\u092e\u0938\u094d\u0924\u0947"},
      {u"\u0301", ""},  // a mark alone is no word
  });
  const auto tokens = tokensOf(u"\u0928\u092e\u0938\u094d\u0924\u0947");
  EXPECT_EQ(tokens[0].kind, TokenKind::kWord);
  EXPECT_EQ(tokens[0].characters, 6);
}

TEST(Tokenizer, TextIsTheSameWholeOrCutAfterALineFeed) {
  std::mt19937 random(7);
  const std::u16string letters =
      u"aoxp0 1.@$!'\n\n-\u0430\u043e\u4e00\u3042\u0e01\u200b\u0301\u2019\xd83d\xde00\u00a0";
  for (int round = 0; round < 2000; ++round) {
    std::u16string text;
    for (int i = 0; i < 60; ++i) text += letters[random() % letters.size()];
    const std::size_t cut = text.find(u'\n');
    if (cut == std::u16string::npos) continue;
    auto parts = tokensOf(text.substr(0, cut + 1));
    const auto rest = tokensOf(text.substr(cut + 1));
    parts.insert(parts.end(), rest.begin(), rest.end());
    ASSERT_EQ(parts, tokensOf(text)) << platform::utf8FromUTF16(text);
  }
}

TEST(Tokenizer, ARunOfAnyLengthIsBounded) {
  const std::u16string han(100000, u'\u4e00');
  const std::size_t pieces = tokensOf(han).size();
  EXPECT_GT(pieces, 99000u);
  EXPECT_LE(pieces, han.size());
  EXPECT_LE(tokensOf(std::u16string(100000, u'a')).size(), 1u);
  EXPECT_LE(tokensOf(std::u16string(100000, u'\ufdfa')).size(), 4 * han.size());
  EXPECT_EQ(tokensOf(std::u16string(100000, u'\u200b')).size(), 0u);
}

}  // namespace
}  // namespace sifterra::lsm
