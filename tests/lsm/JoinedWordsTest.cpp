// Words that an element cuts in two: the engine's text has a blank there.
#include "lsm/JoinedWords.h"

#include <gtest/gtest.h>

#include <string>

#include "lsm/Evaluation.h"
#include "lsm/TinyMap.h"

namespace sifterra::lsm {
namespace {

class JoinedWords : public testing::Test {
 protected:
  // The words that the text is made of once it was judged; "?" for one that the map does not know.
  std::string wordsOf(std::u16string_view words) {
    Text text(map);
    text.addWords(words);
    static_cast<void>(evaluate(*map, text));
    return wordsOf(text);
  }
  std::string wordsOf(const Text& text) const {
    std::string result;
    for (const std::uint32_t unit : text.sequence()) {
      const std::uint32_t word = text.knownWord(unit);
      if (!result.empty()) result += ' ';
      result += word == Map::kUnknownWord ? "?" : std::string(map->word(word));
    }
    return result;
  }

  TinyMapFile file;
  LsmMap map = lsmMapLoad(file.path());
};

TEST_F(JoinedWords, AnUnknownWordAndItsNeighbourBecomeTheWordTheyMake) {
  EXPECT_EQ(wordsOf(u"po rn"), "porn");
  EXPECT_EQ(wordsOf(u"web cam"), "webcam");
  EXPECT_EQ(wordsOf(u"the web cam home"), "the webcam home");
  EXPECT_EQ(wordsOf(u"hardc ore"), "hardcore") << "one that is spelt out in letter groups";
  EXPECT_EQ(wordsOf(u"weat her"), "weather") << "harmless words, too";
  EXPECT_EQ(wordsOf(u"po\nrn"), "porn") << "over the end of a line";
}

TEST_F(JoinedWords, WordsThatMakeNothingStayApart) {
  EXPECT_EQ(wordsOf(u"hardc home"), "? home");
  EXPECT_EQ(wordsOf(u"the home page"), "the home page");
  EXPECT_EQ(wordsOf(u"po xx rn"), "");
  EXPECT_EQ(wordsOf(u"po 18 rn"), "18");
}

TEST_F(JoinedWords, TwoKnownWordsStayApartOnAPageThatIsNotCut) {
  MapContents contents = tinyMapContents();
  tiny::addWord(contents, "hard", tiny::onAxis(1, 0.5f), 0.5f, 3.0f);
  tiny::addWord(contents, "core", tiny::onAxis(1, 0.5f), 0.5f, 3.0f);
  const TinyMapFile other(contents);
  map = lsmMapLoad(other.path());
  EXPECT_EQ(wordsOf(u"hard core"), "hard core");
  EXPECT_EQ(wordsOf(u"hard core po rn web cam ero tic"), "hard core porn webcam erotic") << "three cut words";
  EXPECT_EQ(wordsOf(u"hard core po rn web cam ero tic esc ort"), "hardcore porn webcam erotic escort")
      << "four, and all over";
  std::u16string page;
  for (int i = 0; i < 100; ++i) page += u"home ";
  EXPECT_EQ(wordsOf(page + u"hard core po rn web cam ero tic esc ort").substr(500),
            "hard core porn webcam erotic escort")
      << "a small part of the page";
}

TEST_F(JoinedWords, OnAPageThatIsCutAllOverAWordMayBeInThreeParts) {
  EXPECT_EQ(wordsOf(u"web cam ero tic esc ort po rn vi de os"), "webcam erotic escort porn videos");
  EXPECT_EQ(wordsOf(u"vi de os"), "");
}

TEST_F(JoinedWords, TheLikelierOfTwoReadingsWins) {
  MapContents contents = tinyMapContents();
  tiny::addWord(contents, "abcdef", tiny::onAxis(1, 0.5f), 0.5f, 2.0f);
  tiny::addWord(contents, "defghi", tiny::onAxis(1, 0.5f), 0.5f, 1.0f);
  const TinyMapFile other(contents);
  map = lsmMapLoad(other.path());
  EXPECT_EQ(wordsOf(u"abc def ghi"), "defghi");
  EXPECT_EQ(wordsOf(u"abc def home"), "abcdef home");
}

TEST_F(JoinedWords, ATextWithCutWordsScoresLikeTheTextWithout) {
  const auto scores = [this](std::u16string_view words) {
    Text text(map);
    text.addWords(words);
    return evaluate(*map, text);
  };
  EXPECT_EQ(scores(u"free web cam videos"), scores(u"free webcam videos"));
  EXPECT_EQ(scores(u"fr ee we bcam vid eos home"), scores(u"free webcam videos home"));
}

TEST_F(JoinedWords, RepeatedLinesAreJoinedEachTime) {
  EXPECT_EQ(wordsOf(u"free web cam\nfree web cam\nfree web cam\n"), "free webcam free webcam free webcam");
}

TEST_F(JoinedWords, NothingIsJoinedOverTheStartOfASection) {
  EXPECT_EQ(wordsOf(u"ooooooooooooooooooooTITLEoooooooooooooooooooo\nweb\n"
                    u"oooooooooooooooooooPAGECONTENTooooooooooooooo\ncam home"),
            "home");
}

TEST_F(JoinedWords, SectionsStartWhereTheyDidAmongTheJoinedWords) {
  Text text(map);
  text.addWords(
      u"ooooooooooooooooooooTITLEoooooooooooooooooooo\nfree web cam ero tic\n"
      u"oooooooooooooooooooPAGECONTENTooooooooooooooo\nhome hardc ore page");
  static_cast<void>(evaluate(*map, text));
  EXPECT_EQ(wordsOf(text), "free webcam erotic home hardcore page");
  EXPECT_EQ(partOf(text, StretchKind::kHead), (UnitRange{0, 3}));
  EXPECT_EQ(partOf(text, StretchKind::kContent), (UnitRange{3, 6}));
}

TEST_F(JoinedWords, WordsMayBeAddedAfterATextWasJudged) {
  Text text(map);
  text.addWords(u"web");
  static_cast<void>(evaluate(*map, text));
  EXPECT_EQ(wordsOf(text), "");
  text.addWords(u"cam po");
  static_cast<void>(evaluate(*map, text));
  EXPECT_EQ(wordsOf(text), "webcam");
  text.addWords(u"rn home");
  const std::vector<float> scores = evaluate(*map, text);
  EXPECT_EQ(wordsOf(text), "webcam porn home");
  Text whole(map);
  whole.addWords(u"web cam po rn home");
  EXPECT_EQ(scores, evaluate(*map, whole));
  for (std::size_t unit = 0; unit < text.unitCount(); ++unit) EXPECT_LE(text.frequency(unit), 1U);
}

TEST_F(JoinedWords, WordsSpeltOutInARowAreFound) {
  EXPECT_EQ(wordsOf(u"f r e e w e b c a m v i d e o s"), "free webcam videos");
  EXPECT_EQ(wordsOf(u"z q f r e e q z w e b c a m v i d e o s z"), "free webcam videos")
      << "and letters between";
  EXPECT_EQ(wordsOf(u"z z q q z z q q z z q q z z q q"), "?") << "none that the map knows: one word";
}

}  // namespace
}  // namespace sifterra::lsm
