// Pages cut into pieces, texts into words, and words written another way: what disguises are made of.
#include "evaluation/page_pieces.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "evaluation/letter_disguises.h"
#include "evaluation/word_runs.h"

namespace sifterra::tools {
namespace {

using testing::ElementsAre;

WordRun word(const std::string& text) {
  return wordRuns(text).at(0);
}

TEST(PagePieces, AreTheTextsOfAPageByTheirPlaces) {
  const auto pieces = pagePieces(
      "<!DOCTYPE html><title>A &amp; B</title><meta NAME='Description' content=\"d\"><meta content=k "
      "name=keywords>"
      "<script>var s = \"<p>no\";</script><style>p{}</style><!-- <p>no --><p class=x>one<b title=tip>two</b>"
      "<img alt='an image' src=a><img alt=bare src=a>1 < 2</p>");
  std::vector<std::pair<TextPlace, std::string>> texts;
  for (const PagePiece& piece : pieces) {
    if (piece.place != TextPlace::kMarkup) texts.emplace_back(piece.place, piece.text);
  }
  EXPECT_THAT(texts,
              ElementsAre(std::pair(TextPlace::kTitle, "A & B"), std::pair(TextPlace::kDescription, "d"),
                          std::pair(TextPlace::kKeywords, "k"), std::pair(TextPlace::kText, "one"),
                          std::pair(TextPlace::kTip, "tip"), std::pair(TextPlace::kText, "two"),
                          std::pair(TextPlace::kAlt, "an image"), std::pair(TextPlace::kAlt, "bare"),
                          std::pair(TextPlace::kText, "1 < 2")));
}

TEST(PagePieces, MakeThePageAgainWithItsTextEscaped) {
  struct Row {
    const char* html;
    const char* again;
  };
  constexpr Row kRows[] = {
      {"", ""},
      {"plain", "plain"},
      {"<p>a &lt; b", "<p>a &lt; b"},
      {"<p>a < b", "<p>a &lt; b"},
      {"<img alt=x>", "<img alt=\"x\">"},
      {"<img alt=''>", "<img alt=''>"},
      {"<img alt", "<img alt"},
      {"<img alt='open", "<img alt='open"},
      {"<script>open", "<script>open"},
      {"<!-- open", "<!-- open"},
      {"<p>&eacute;&#233;&#xe9;", "<p>\u00e9\u00e9\u00e9"},
      {"<p>&nothing; &#0; &#x110000; &", "<p>&amp;nothing; &amp;#0; &amp;#x110000; &amp;"},
      {"<p title=a/b>", "<p title=\"a/b\">"},
      {"<P ALT = \"it's\" >", "<P ALT = \"it&#39;s\" >"},
      {"</p x=1>a", "</p x=1>a"},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.html);
    EXPECT_EQ(pageOf(pagePieces(row.html)), row.again);
  }
}

TEST(WordRuns, PartATextIntoWordsAndGaps) {
  struct Row {
    const char* text;
    std::vector<std::string> runs;
  };
  const Row rows[] = {
      {"", {}},
      {"two words", {"two", " ", "words"}},
      {" x9, (y)!", {" ", "x9", ", (", "y", ")!"}},
      {"caf\u00e9 \u0441\u0430\u0434", {"caf\u00e9", " ", "\u0441\u0430\u0434"}},
      {"\u4e2d\u6587ab", {"\u4e2d\u6587", "ab"}},
      {"\u0939\u093f\u0928\u094d\u0926\u0940", {"\u0939\u093f\u0928\u094d\u0926\u0940"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    std::vector<std::string> texts;
    for (const WordRun& run : wordRuns(row.text)) texts.push_back(run.text());
    EXPECT_EQ(texts, row.runs);
  }
  EXPECT_EQ(word("\u0939\u093f\u0928").letters.size(), 2U) << "a vowel sign belongs to its letter";
  EXPECT_THAT(wordKeys(word("Caf\u00c9")), ElementsAre("caf\u00e9"));
  EXPECT_THAT(wordKeys(word("\u4e2d\u6587\u5b57")), ElementsAre("\u4e2d\u6587", "\u6587\u5b57"));
}

TEST(LetterDisguises, WriteOneWordAnotherWay) {
  EXPECT_EQ(leetWord(word("moon")), "m00n");
  EXPECT_EQ(leetWord(word("boot")), "80ot") << "half of its letters";
  EXPECT_EQ(leetWord(word("no")), "no") << "too short";
  EXPECT_EQ(leetWord(word("v3")), "v3") << "has digits already";
  EXPECT_EQ(leetWord(word("\u0441\u0430\u0434")), "\u0441\u0430\u0434") << "no Latin letters";
  EXPECT_EQ(lookAlikeWord(word("pony")), "\u0440\u043en\u0443");
  EXPECT_EQ(lookAlikeWord(word("\u0441\u0430\u0434")), "ca\u0434");
  EXPECT_EQ(lookAlikeWord(word("\u03b1\u03b2")), "a\u03b2");
  EXPECT_EQ(referencedWord(word("ab\u00e9")), "&#97;&#x62;&#233;");
  EXPECT_EQ(partedWord(word("abc"), {"-"}), "a-b-c");
  EXPECT_EQ(partedWord(word("abcd"), {"-", "+"}), "a-b+c-d");
  EXPECT_EQ(spacedWord(word("\u4e2d\u6587"), 1), "\u4e2d \u6587");
  EXPECT_EQ(spacedWord(word("no"), 1), "no");
  EXPECT_EQ(spacedWord(word("123"), 1), "123");
}

TEST(LetterDisguises, SpacedLettersStandApartBySomethingReadable) {
  std::set<std::string> seen;
  for (std::uint64_t seed = 0; seed < 40; ++seed) seen.insert(spacedWord(word("pony"), seed));
  EXPECT_THAT(seen, ElementsAre("p o n y", "p*o*n*y", "p-o-n-y", "p.o.n.y"));
}

TEST(LetterDisguises, AMisspeltWordIsOneMistakeAwayAndKeepsItsFirstLetter) {
  std::set<std::size_t> lengths;
  for (std::uint64_t seed = 0; seed < 200; ++seed) {
    const std::string misspelt = misspeltWord(word("garden"), seed);
    EXPECT_NE(misspelt, "garden");
    EXPECT_EQ(misspelt[0], 'g');
    EXPECT_EQ(misspelt, misspeltWord(word("garden"), seed)) << "alike throughout a page";
    lengths.insert(misspelt.size());
  }
  EXPECT_THAT(lengths, ElementsAre(5U, 6U, 7U));
  EXPECT_EQ(misspeltWord(word("pony"), 1), "pony") << "too short";
}

TEST(LetterDisguises, GluedWordsAreTwoOrThreeInOne) {
  std::set<std::string> seen;
  for (std::uint64_t seed = 0; seed < 40; ++seed) seen.insert(gluedText("a garden grows, yes", seed));
  EXPECT_THAT(seen, ElementsAre("agarden grows, yes", "agardengrows, yes"));
}

}  // namespace
}  // namespace sifterra::tools
