// How the tokeniser reads words that are written so as not to be read.
#include <gtest/gtest.h>

#include <string>

#include "lsm/TokenList.h"
#include "lsm/TokenRows.h"

namespace sifterra::lsm {
namespace {

TEST(DisguisedWords, InvisibleCharactersVanish) {
  expectRows({
      {u"se\u200bcret", "secret"},  // zero-width space
      {u"se\u00adcret", "secret"},  // soft hyphen
      {u"se\ufe0fcret", "secret"},  // variation selector
      {u"s\u200de\u2060c\ufeffret", "secret"},
      {u"\u202esecret\u202c", "secret"},  // direction marks
      {u"se\U000e0063cret", "secret"},    // a tag character
      {u"\u200b \u00ad", ""},
  });
}

TEST(DisguisedWords, AnyNumberOfInvisibleCharactersHidesNoWord) {
  for (const std::size_t count : {100u, 1023u, 1024u, 1100u, 100000u}) {
    SCOPED_TRACE(count);
    const std::u16string spaces(count, u'\u200b');
    EXPECT_EQ(joinedTokens(u"p" + spaces + u"orn"), "porn");
    EXPECT_EQ(joinedTokens(u"p" + spaces + u"o" + spaces + u"rn" + spaces + u" x"), "porn x");
    EXPECT_EQ(joinedTokens(u"\u043f\u043e" + spaces + u"\u0440\u043d\u043e"),
              "\u043f\u043e\u0440\u043d\u043e");
    // Normalised as a whole.
    EXPECT_EQ(joinedTokens(u"e" + spaces + u"\u0301cole"),
              "\u00e9"
              "cole");
    EXPECT_EQ(joinedTokens(u"\ufb01" + spaces + u"le"), "file");
    // Spaced, disguised, in pieces.
    EXPECT_EQ(joinedTokens(u"p" + spaces + u" o" + spaces + u" r " + spaces + u"n"), "porn");
    EXPECT_EQ(joinedTokens(u"p" + spaces + u"0rn"), "p0rn porn");
    EXPECT_EQ(joinedTokens(u"\u6210" + spaces + u"\u4eba"), "\u6210\u4eba");
  }
}

TEST(DisguisedWords, NothingVisibleIsNoToken) {
  for (const char16_t* text :
       {u"\u200b", u"\u200e \u00ad", u"\u0307", u"i \u0301", u"'", u"@$!", u"\u2019"}) {
    for (const OwnedToken& token : tokensOf(text)) EXPECT_EQ(token.text, "i");
  }
}

TEST(DisguisedWords, CompatibilityFormsAreFolded) {
  expectRows({
      {u"\uff30\uff4f\uff52\uff4e", "porn"},                  // full width
      {u"\u24c5\u24de\u24e1\u24dd", "porn"},                  // circled
      {u"\U0001d429\U0001d428\U0001d42b\U0001d427", "porn"},  // mathematical bold
      {u"\ufb01le", "file"},                                  // ligature
      {u"e\u0301cole",
       "\u00e9"
       "cole"},                        // composed
      {u"\u0130stanbul", "istanbul"},  // Turkish capital I with dot
      {u"Brand\u2122", "brand"},       // a sign, not letters
      {u"3\u00bd", "#2 #1"},           // 31/2: "31" and "2"
  });
}

TEST(DisguisedWords, BorrowedLettersGoBackToTheirAlphabet) {
  expectRows({
      {u"p\u043ern", "porn"},       // Cyrillic o
      {u"\u0440\u043ern", "porn"},  // half of it
      {u"s\u0435x", "sex"},
      {u"p\u03bfrn", "porn"},  // Greek omicron
      {u"\u0440\u043e\u0440\u043d\u0430o", "\u0440\u043e\u0440\u043d\u0430\u043e pophao"},
      {u"\u0436\u0438\u0437\u043d\u044cp", "\u0436\u0438\u0437\u043d\u044c\u0440"},
      {u"\u0436z", "\u0436z"},  // neither can be read as the other
      {u"\u043f\u043e\u0440\u043d\u043e", "\u043f\u043e\u0440\u043d\u043e"},  // not mixed: kept
  });
}

TEST(DisguisedWords, StretchedWordsShrink) {
  expectRows({
      {u"sooo goooood", "soo good"},
      {u"free good", "free good"},
      {u"xxx xxxx xxxxxxxx", "xxx xxx xxx"},
      {u"xx exxon", "xx exxon"},
      {u"www", "ww"},
      {u"\u0430\u0430\u0430\u0430", "\u0430\u0430"},
      {u"a1111b", "a1111b"},  // digits are no letters
  });
}

TEST(DisguisedWords, DisguisedWordsAreAlsoReadInClear) {
  expectRows({
      {u"p0rn", "p0rn porn"},
      {u"S3X", "s3x sex"},
      {u"p@ss", "p ss pass"},
      {u"as$", "as ass"},
      {u"a$$", "a"},
      {u"t1t5", "t1t5 tits"},
      {u"!ncest", "ncest incest"},
      {u"free!", "free"},  // punctuation behind a word
      {u"s3x!", "s3x sex"},
      {u"h264", "h264"},  // more than half is no letter
      {u"b2b", "b2b"},    // 2 stands for no letter
      {u"4k", "4k"},      // too short
      {u"12@$", "#2"},
      {u"abcdefghijklmnopqrs3", "abcdefghijklmnopqrs3 abcdefghijklmnopqrse"},  // twenty
      {u"abcdefghijklmnopqrst3", "abcdefghijklmnopqrst3"},                     // one more
      {u"p\u200b0rn", "p0rn porn"},
      {u"\uff50\uff10\uff52\uff4e", "p0rn porn"},
      {u"caf\u00e9's3x", "caf\u00e9s3x"},
      {u"xp000rn", "xp000rn xpoorn"},
  });
}

TEST(DisguisedWords, SpacedLettersAreReadTogether) {
  expectRows({
      {u"p o r n", "porn"},
      {u"P.O.R.N.", "porn"},
      {u"p*o*r*n", "porn"},
      {u"p - o - r - n", "porn"},
      {u"p\u00b7o\u00b7r\u00b7n", "porn"},
      {u"p\u2013o\u2013r\u2013n", "porn"},
      {u"p\u00a0o\u00a0r\u00a0n", "porn"},
      {u"s e x", "sex"},
      {u"a b", "a b"},                   // two are no word
      {u"p    o    r    n", "p o r n"},  // too far apart
      {u"p,o,r,n", "p o r n"},           // not such a sign
      {u"p o\nr n", "p o r n"},          // not over the end of a line
      {u"see p o r n here", "see porn here"},
      {u"x x x x x", "xxx"},
      {u"1 2 3 4 5", "#1 #1 #1 #1 #1"},
      {u"\u0441 \u0435 \u043a \u0441", "\u0441\u0435\u043a\u0441"},
      {u"p \u043e r n", "porn"},                                                // with a borrowed letter
      {u"\u0938\u0947 \u0915\u094d \u0938", "\u0938\u0947\u0915\u094d\u0938"},  // letters with marks
      {u"\u0938\u0947 \u0915\u094d", "\u0938\u0947 \u0915\u094d"},
  });
}

TEST(DisguisedWords, ASpacedWordEndsWhereTheLettersArePartedInAnotherWay) {
  expectRows({
      {u"p|o|r|n p/o/r/n", "porn porn"},
      {u"f*r*e*e p*o*r*n s.e.x", "free porn sex"},
      {u"p.o-r n", "porn"},              // in several ways from the beginning
      {u"f r e e p o r n", "freeporn"},  // nothing tells
  });
}

TEST(DisguisedWords, ASpacedWordStandsBehindADisguisedOne) {
  // U+33D8 is "p.m.": single letters in the middle of a run.
  EXPECT_EQ(joinedTokens(u"s3x\u33d8\u33d8\u33d8"), "s3xp mpmpm sexp");
}

TEST(DisguisedWords, ManySpacedLettersAreWordsSpeltOut) {
  const auto kindsOf = [](std::size_t letters) {
    std::u16string spaced;
    for (std::size_t i = 0; i < letters; ++i) spaced += i % 2 == 0 ? u"a " : u"b ";
    std::string kinds;
    for (const OwnedToken& token : tokensOf(spaced)) {
      kinds += token.kind == TokenKind::kSpelt ? 's' : 'w';
      kinds += std::to_string(token.characters) + " ";
    }
    return kinds;
  };
  EXPECT_EQ(kindsOf(12), "w12 ");
  EXPECT_EQ(kindsOf(13), "s13 ");
  EXPECT_EQ(kindsOf(64), "s64 ");
  EXPECT_EQ(kindsOf(65), "s64 s1 ");
  EXPECT_EQ(kindsOf(200), "s64 s64 s64 s8 ");
}

TEST(DisguisedWords, PiecesGoOnOverABlankWhereARunIsTooShortForOne) {
  expectRows({
      {u"\u8272 \u60c5", "\u8272\u60c5"},
      {u"\u8272 \u60c5 \u7535 \u5f71", "\u8272\u60c5 \u60c5\u7535 \u7535\u5f71"},
      {u"\ub3d9 \uc601\uc0c1", "\ub3d9\uc601 \uc601\uc0c1"},
      {u"\ub3d9\uc601 \uc0c1", "\ub3d9\uc601 \uc601\uc0c1"},
      {u"\u6210\u4eba \u7535\u5f71", "\u6210\u4eba \u7535\u5f71"},  // both are long enough
      {u"\u8272  \u60c5", "\u8272 \u60c5"},                         // two blanks
      {u"\u8272, \u60c5", "\u8272 \u60c5"},
      {u"\u8272\n\u60c5", "\u8272 \u60c5"},
      {u"\u8272 a \u60c5", "\u8272 a \u60c5"},
      {u"\u8272 \uc601", "\u8272 \uc601"},                                      // of two scripts
      {u"\u98df \u3079", "\u98df\u3079"},                                       // which Japanese mixes
      {u"\u0e2b\u0e19\u0e31 \u0e07", "\u0e2b\u0e19\u0e31 \u0e19\u0e31\u0e07"},  // pieces of three
      {u"\u0e2b \u0e19\u0e31 \u0e07", "\u0e2b\u0e19\u0e31 \u0e19\u0e31\u0e07"},
      {u"\u0e2b \u0e07", "\u0e2b\u0e07"},
  });
}

TEST(DisguisedWords, AreLeftAsTheyAreWhereThatIsAskedFor) {
  struct Texts final : TokenSink {
    void token(const Token& token) override { joined.append(joined.empty() ? "" : " ").append(token.text); }
    std::string joined;
  };
  Tokenizer tokenizer;
  tokenizer.leaveDisguises();
  Texts texts;
  tokenizer.tokenize(u"p0rn p o r n sooo p\u043erno Honest words, 1234\n\u6210\u4eba", texts);
  EXPECT_EQ(texts.joined, "p0rn p o r n sooo p\u043erno honest words #4 \u6210\u4eba");
}

TEST(DisguisedWords, AreLeftWhileSignatureWordsStillCount) {
  struct Atoms final : TokenSink {
    void token(const Token& token) override { count += token.kind == TokenKind::kAtom; }
    std::size_t count = 0;
  };
  Tokenizer tokenizer;
  tokenizer.leaveDisguises();
  Atoms atoms;
  tokenizer.tokenize(u"oooooooooooooooooooootitleoooooooooooooooooooo sooo", atoms);
  EXPECT_EQ(atoms.count, 1u);
}

}  // namespace
}  // namespace sifterra::lsm
