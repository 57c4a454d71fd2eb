// Explanations: shares that add up to the odds, and words as they stand on the page.
#include "lsm/Explanation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "lsm/TinyMap.h"
#include "lsm/WordTrace.h"
#include "platform/Unicode.h"

namespace sifterra::lsm {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char16_t* kTitle = u"ooooooooooooooooooooTITLEoooooooooooooooooooo\n";
constexpr const char16_t* kContent = u"oooooooooooooooooooPAGECONTENTooooooooooooooo\n";

LsmMap mapOf(const MapContents& contents) {
  std::string why;
  const std::string bytes = mapFileBytes(contents, why);
  EXPECT_FALSE(bytes.empty()) << why;
  LsmMap map = Map::ofBytes(MapBytes::copyOf(bytes), why);
  EXPECT_NE(map, nullptr) << why;
  return map;
}

Explanation explained(const LsmMap& map, std::u16string_view words) {
  Text text(map);
  text.keepSource();
  text.addWords(words);
  return explain(*map, text);
}

const ExplainedWord& wordOf(const Explanation& explanation, const std::string& word) {
  for (const ExplainedWord& one : explanation.words) {
    if (one.word == word) return one;
  }
  ADD_FAILURE() << "no word " << word;
  static const ExplainedWord kNone;
  return kNone;
}

double sumOf(const Explanation& explanation) {
  double sum = explanation.start;
  for (const ExplainedWord& word : explanation.words) sum += word.share;
  return sum;
}

TEST(Explanation, TheSharesAndTheStartAddUpToTheOdds) {
  std::mt19937 random(3);
  for (const std::uint32_t categories : {2U, 3U, 5U}) {
    const LsmMap map = mapOf(tinyMapContents(categories));
    for (int round = 0; round < 30; ++round) {
      std::u16string words;
      for (unsigned i = 0; i < 1 + random() % 40; ++i) {
        const char* word = random() % 2 == 0   ? kHarmlessWords[random() % std::size(kHarmlessWords)]
                           : random() % 2 == 0 ? kAdultWords[random() % std::size(kAdultWords)]
                                               : kCommonWords[random() % std::size(kCommonWords)];
        words += platform::utf16FromUTF8Lossy(word) + u" ";
      }
      const Explanation explanation = explained(map, words);
      EXPECT_NEAR(sumOf(explanation), explanation.odds, 1e-9);
      Text text(map);
      text.addWords(words);
      const std::vector<float> scores = evaluate(*map, text);
      const double others = 1.0 - static_cast<double>(scores.back());
      const double odds = std::log(static_cast<double>(scores.back()) / others);
      if (std::abs(explanation.odds) < 8) {
        EXPECT_NEAR(odds, explanation.odds, 0.01);
      }
      EXPECT_EQ(explanation.judgement.scores, scores) << "explaining changes no score";
    }
  }
}

TEST(Explanation, OfTwoCategoriesTheStartIsTheDifferenceOfTheirBiases) {
  const LsmMap map = mapOf(tinyMapContents());
  EXPECT_NEAR(explained(map, u"school porn the the page").start, -2.0, 1e-4);
  EXPECT_NEAR(explained(map, u"").start, -2.0, 1e-4);
  EXPECT_NEAR(explained(map, u"").odds, -2.0, 1e-4);
  EXPECT_TRUE(explained(map, u"").words.empty());
}

TEST(Explanation, AShareIsLogOfCountTimesRowTimesHeadOverTheLengthOfTheSum) {
  const LsmMap map = mapOf(tinyMapContents());
  // porn three times: 2 x 0.5 on its axis; school once: 1 x 0.5 on the other; |y| = sqrt(1 + 0.25).
  const Explanation explanation = explained(map, u"porn school porn porn");
  const double length = std::sqrt(1.25);
  EXPECT_NEAR(wordOf(explanation, "porn").share, 40 * 1.0 / length, 0.05);
  EXPECT_NEAR(wordOf(explanation, "school").share, -40 * 0.5 / length, 0.05);
  EXPECT_EQ(wordOf(explanation, "porn").count, 3U);
  EXPECT_EQ(explanation.words.front().word, "porn") << "what speaks most for the last category comes first";
  EXPECT_EQ(explanation.words.back().word, "school");
}

TEST(Explanation, TellsHowWordsAreWrittenOnThePage) {
  const LsmMap map = mapOf(tinyMapContents());
  struct Row {
    const char16_t* page;
    const char* word;
    std::vector<std::string> written;
  };
  const Row rows[] = {
      {u"porn", "porn", {}},
      {u"PORN, Porn (porn)", "porn", {}},
      {u"p0rn", "porn", {"p0rn"}},
      {u"see p0rn! here", "porn", {"p0rn"}},
      {u"p o r n", "porn", {"p o r n"}},
      {u"so: p-o-r-n now", "porn", {"p-o-r-n"}},
      {u"po\u200Brn", "porn", {"po\u00B7rn"}},
      {u"p\u043Ern", "porn", {"p\u043Ern"}},
      {u"freepictures", "pictures", {"freepictures"}},
      {u"porn p0rn p o r n p0rn", "porn", {"p0rn", "p o r n"}},
      {u"p0rn PORN pornn freeporn p o r n", "porn", {"p0rn", "freeporn", "p o r n"}},
      {u"p0rn<script>", "porn", {"p0rn script"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(platform::utf8FromUTF16(row.page));
    EXPECT_EQ(wordOf(explained(map, row.page), row.word).written, row.written);
  }
}

TEST(Explanation, AnUnknownWordIsShownAsTheWordThatItIs) {
  MapContents contents = tinyMapContents();
  for (std::size_t i = 1; i < contents.bucketRows.size(); i += contents.rank) contents.bucketRows[i] = 0.1F;
  const LsmMap map = mapOf(contents);
  const Explanation explanation = explained(map, u"Zyxwv school");
  EXPECT_EQ(wordOf(explanation, "zyxwv").nature, WordNature::kUnknown);
  EXPECT_EQ(wordOf(explanation, "school").nature, WordNature::kKnown);
  EXPECT_NEAR(sumOf(explanation), explanation.odds, 1e-9);
}

TEST(Explanation, FixedWordsAndClassesOfNumbersAreToldAsSuch) {
  const LsmMap map = mapOf(tinyMapContents());
  const Explanation explanation = explained(map, u"ooooooooooooCategory1oooooooooooo\n1234 18 porn");
  EXPECT_EQ(wordOf(explanation, signatureToken(1)).nature, WordNature::kFixed);
  EXPECT_EQ(wordOf(explanation, "#4").meaning, "a number of four digits");
  EXPECT_EQ(wordOf(explanation, "18").meaning, "");
}

TEST(Explanation, APartThatDecidesIsExplainedByItsOwnWords) {
  MapContents contents = tinyMapContents();
  contents.partPenalties = {0.25F, 0.75F, 0.5F};
  contents.partTokens = 1;
  const LsmMap map = mapOf(contents);
  std::u16string words(kTitle);
  for (int i = 0; i < 15; ++i) words += u"our school garden\n";
  words += kContent;
  words += u"xxx porn videos and a school";
  const Explanation explanation = explained(map, words);
  EXPECT_EQ(explanation.judgement.decided.kind, StretchKind::kContent);
  EXPECT_FALSE(explanation.judgement.others.empty());
  EXPECT_NEAR(sumOf(explanation), explanation.odds, 1e-9);
  EXPECT_NEAR(explanation.odds - 0.5, explanation.judgement.decided.odds, 1e-6) << "less what is taken off";
  EXPECT_EQ(explanation.judgement.decided.penalty, 0.5);
  EXPECT_EQ(explanation.judgement.decided.windows, 0U);
  EXPECT_EQ(wordOf(explanation, "school").count, 1U) << "in the part";
  for (const ExplainedWord& word : explanation.words) EXPECT_NE(word.word, "garden");
  EXPECT_EQ(sectionName(TextSection::kContent), "text");
  EXPECT_EQ(wordOf(explanation, "porn").sections, 1U << static_cast<unsigned>(TextSection::kContent));
  EXPECT_EQ(explanation.excerpt, "xxx porn videos and a school");
}

TEST(Explanation, AWindowThatDecidesIsExplainedByItsOwnWords) {
  MapContents contents = tinyMapContents();
  contents.windowTokens = 64;
  contents.bestWindows = 1;
  contents.windowPenalty = 0.5F;
  const LsmMap map = mapOf(contents);
  std::u16string words;
  for (int i = 0; i < 64; ++i) words += u"weather school garden recipe ";
  for (int i = 0; i < 8; ++i) words += u"xxx porn nude erotic escort webcam sexy videos ";
  for (int i = 0; i < 64; ++i) words += u"library football science history ";
  const Explanation explanation = explained(map, words);
  EXPECT_EQ(explanation.judgement.decided.kind, StretchKind::kWindow);
  EXPECT_NEAR(sumOf(explanation), explanation.odds, 1e-9);
  EXPECT_NEAR(explanation.odds - 0.5, explanation.judgement.decided.odds, 1e-6);
  EXPECT_EQ(explanation.words.size(), 8U);
  EXPECT_THAT(explanation.excerpt,
              HasSubstr("xxx porn nude erotic escort webcam sexy videos xxx porn nude erotic escort"));
}

TEST(Explanation, OfSeveralWindowsTheMeanCountsAndThePlainestIsExplained) {
  MapContents contents = tinyMapContents();
  contents.windowTokens = 64;
  contents.bestWindows = 3;
  contents.windowPenalty = 0.5F;
  const LsmMap map = mapOf(contents);
  std::u16string words;
  for (int i = 0; i < 32; ++i) words += u"weather school garden recipe ";
  for (int i = 0; i < 8; ++i) words += u"xxx porn nude erotic escort webcam sexy videos ";
  for (int i = 0; i < 32; ++i) words += u"library football science history ";
  LsmText text = lsmTextCreate(map, true);
  ASSERT_EQ(lsmTextAddWords(text, words), 0);
  const Explanation explanation = explain(*map, *text);
  const Stretch& decided = explanation.judgement.decided;
  EXPECT_EQ(decided.kind, StretchKind::kWindow);
  EXPECT_EQ(decided.windows, 3U);
  EXPECT_EQ(decided.penalty, 0.5);
  // The windows that overlap the plain one share half of its words.
  const double before = oddsOf(*map, *text, {decided.units.from - 32, decided.units.from + 32});
  const double behind = oddsOf(*map, *text, {decided.units.from + 32, decided.units.from + 96});
  EXPECT_NEAR(decided.odds, (explanation.odds + before + behind) / 3 - 0.5, 1e-6);
  EXPECT_NEAR(sumOf(explanation), explanation.odds, 1e-9);
}

TEST(Explanation, TheExcerptIsWhereTheTextSaysItMostPlainlyWithTheWordsAround) {
  const LsmMap map = mapOf(tinyMapContents());
  std::u16string words;
  for (int i = 0; i < 30; ++i) words += u"weather school ";
  words += u"Free, hot PORN  videos: <b>xxx</b>\n";
  for (int i = 0; i < 30; ++i) words += u"library football ";
  const std::string excerpt = explained(map, words).excerpt;
  EXPECT_THAT(excerpt, HasSubstr("school Free, hot PORN videos: b xxx /b / library football"));
  EXPECT_LT(excerpt.size(), 310U);
}

TEST(Explanation, RepeatedLinesStandInTheExcerptOnce) {
  const LsmMap map = mapOf(tinyMapContents());
  EXPECT_EQ(explained(map, u"hot porn videos\nhot porn videos\nhot porn videos\n").excerpt,
            "hot porn videos");
}

TEST(Explanation, WithoutASourceThereAreSharesAndNothingElse) {
  const LsmMap map = mapOf(tinyMapContents());
  Text text(map);
  text.addWords(u"p0rn school");
  const Explanation explanation = explain(*map, text);
  EXPECT_NEAR(sumOf(explanation), explanation.odds, 1e-9);
  EXPECT_EQ(explanation.excerpt, "");
  EXPECT_THAT(wordOf(explanation, "porn").written, ElementsAre());
}

TEST(WordTrace, FindsTheOriginOfEveryUnitOfAnyText) {
  const LsmMap map = mapOf(tinyMapContents());
  std::mt19937 random(11);
  const std::u16string characters = u"porn  schol01-.\u200B\u043E\u4E2D\u0E01'\n@$!x\u00E9\u0301";
  for (int round = 0; round < 300; ++round) {
    std::u16string words;
    for (unsigned i = 0; i < random() % 400; ++i) words += characters[random() % characters.size()];
    Text text(map);
    text.keepSource();
    text.addWords(words);
    if (round % 2 == 0) static_cast<void>(evaluate(*map, text));  // joins words that are cut in two
    const WordTrace trace = traceWords(text);
    ASSERT_EQ(trace.origins.size(), text.sequence().size()) << platform::utf8FromUTF16(words);
    for (const UnitOrigin& origin : trace.origins) {
      ASSERT_LT(origin.from, origin.to);
      ASSERT_LE(origin.to, text.source().size());
      ASSERT_LT(origin.token, trace.tokens.size());
    }
  }
}

TEST(Explanation, APageThatIsOneRunOrOneRepeatedSignIsExplainedInNoTime) {
  const LsmMap map = mapOf(tinyMapContents());
  std::u16string run;
  std::u16string signs;
  for (int i = 0; i < 100000; ++i) {
    run += i % 2 == 0 ? u"porn," : u"school/";
    signs += u"- ";
  }
  const Explanation explanation = explained(map, run + u"\n" + signs + u"p o r n\n" + signs);
  EXPECT_EQ(wordOf(explanation, "porn").count, 50001U);
  EXPECT_EQ(wordOf(explanation, "porn").written, std::vector<std::string>{"p o r n"});
}

TEST(Explanation, AWordThatIsCutInTwoIsShownAsItIsWritten) {
  const LsmMap map = mapOf(tinyMapContents());
  EXPECT_EQ(wordOf(explained(map, u"school hardc ore garden"), "hardcore").written,
            std::vector<std::string>{"hardc ore"});
  EXPECT_EQ(wordOf(explained(map, u"school po rn garden"), "porn").written, std::vector<std::string>{"po rn"})
      << "of two parts that say nothing";
}

TEST(WordTrace, OfATextWithoutSourceIsEmpty) {
  const LsmMap map = mapOf(tinyMapContents());
  Text text(map);
  text.addWords(u"porn school");
  EXPECT_TRUE(traceWords(text).origins.empty());
}

TEST(ShownText, IsOneLineThatCanBeShownAnywhere) {
  EXPECT_EQ(shownText(u" a\n\t b\x1b[2J "), "a b [2J");
  EXPECT_EQ(shownText(u"<b>&amp;"), "b amp;");
  EXPECT_EQ(shownText(u"po\u00ADrn\u202E"), "po\u00B7rn\u00B7");
  EXPECT_EQ(shownText(u"\u0085\u0090x"), "x");
  EXPECT_EQ(shownText(u""), "");
}

}  // namespace
}  // namespace sifterra::lsm
