// The sections of a page's text, and how its parts are judged one by one.
#include "lsm/TextSection.h"

#include <gtest/gtest.h>

#include <cmath>
#include <utility>

#include "lsm/Evaluation.h"
#include "lsm/TinyMap.h"

namespace sifterra::lsm {
namespace {

const std::u16string kTitle = u"\nooooooooooooooooooooTITLEoooooooooooooooooooo\n";
const std::u16string kTags = u"\noooooooooooooooooooooTAGSoooooooooooooooooooo\n";
const std::u16string kDescription = u"\noooooooooooooooooDESCRIPTIONooooooooooooooooo\n";
const std::u16string kKeywords = u"\noooooooooooooooooooKEYWORDSoooooooooooooooooo\n";
const std::u16string kImageAlts = u"\noooooooooooooooooooIMAGEALTSooooooooooooooooo\n";
const std::u16string kLinkTitles = u"\noooooooooooooooooooLINKTITLESoooooooooooooooo\n";
const std::u16string kContent = u"\noooooooooooooooooooPAGECONTENTooooooooooooooo\n";

std::u16string pageText(const std::u16string& head, const std::u16string& labels,
                        const std::u16string& content) {
  std::u16string text = u"ooooooooooooCategory1oooooooooooo" + kTitle;
  for (int i = 0; i < 15; ++i) text += head + u"\n";
  return text + kTags + kDescription + kKeywords + kImageAlts + labels + kLinkTitles + kContent + content;
}

LsmMap mapWithParts(float penalty, std::uint32_t partTokens = 1) {
  MapContents contents = tinyMapContents();
  contents.partPenalties = {penalty, penalty, penalty};
  contents.partTokens = partTokens;
  const TinyMapFile file(contents);
  return lsmMapLoad(file.path());
}

LsmMap mapWithoutParts() {
  const TinyMapFile file;
  return lsmMapLoad(file.path());
}

Judgement judgementOf(const LsmMap& map, const std::u16string& words, bool withOthers = false) {
  Text text(map);
  text.addWords(words);
  return judge(*map, text, withOthers);
}

TEST(TextSection, EveryMarkerBeginsItsSection) {
  const std::pair<const char*, TextSection> rows[] = {
      {"ooooooooooooooooooootitleoooooooooooooooooooo", TextSection::kTitle},
      {"oooooooooooooooooooootagsoooooooooooooooooooo", TextSection::kTags},
      {"ooooooooooooooooodescriptionooooooooooooooooo", TextSection::kDescription},
      {"oooooooooooooooooookeywordsoooooooooooooooooo", TextSection::kKeywords},
      {"oooooooooooooooooooimagealtsooooooooooooooooo", TextSection::kImageAlts},
      {"ooooooooooooooooooolinktitlesoooooooooooooooo", TextSection::kLinkTitles},
      {"ooooooooooooooooooopagecontentooooooooooooooo", TextSection::kContent}};
  for (const auto& [marker, section] : rows) EXPECT_EQ(sectionOfMarker(marker), section) << marker;
  EXPECT_EQ(sectionOfMarker(""), std::nullopt);
  EXPECT_EQ(sectionOfMarker("oooooooooooocategory1oooooooooooo"), std::nullopt);
  EXPECT_EQ(sectionOfMarker("oooooooooooooooooooopagecontentoooooooooooooo"), std::nullopt) << "shifted";
}

TEST(TextSection, UnitsAreToldApartByTheMarkersBeforeThem) {
  Text text(mapWithoutParts());
  text.addWords(u"ooooooooooooCategory1oooooooooooo" + kTitle + u"weather school" + kTags + u"page" +
                kDescription + kKeywords + u"garden" + kImageAlts + u"porn" + kLinkTitles + u"xxx nude" +
                kContent + u"recipe recipe home");
  const std::size_t units = text.sequence().size();
  ASSERT_EQ(units, 11u);
  const auto range = [&](TextSection section) { return text.sections().range(section, section, units); };
  EXPECT_EQ(range(TextSection::kHeading), (UnitRange{0, 1}));
  EXPECT_EQ(range(TextSection::kTitle), (UnitRange{1, 3}));
  EXPECT_EQ(range(TextSection::kTags), (UnitRange{3, 4}));
  EXPECT_EQ(range(TextSection::kDescription), (UnitRange{4, 4}));
  EXPECT_EQ(range(TextSection::kKeywords), (UnitRange{4, 5}));
  EXPECT_EQ(range(TextSection::kImageAlts), (UnitRange{5, 6}));
  EXPECT_EQ(range(TextSection::kLinkTitles), (UnitRange{6, 8}));
  EXPECT_EQ(range(TextSection::kContent), (UnitRange{8, 11}));
  EXPECT_EQ(partOf(text, StretchKind::kHead), (UnitRange{1, 5}));
  EXPECT_EQ(partOf(text, StretchKind::kLabels), (UnitRange{5, 8}));
  EXPECT_EQ(partOf(text, StretchKind::kContent), (UnitRange{8, 11}));
  EXPECT_EQ(partOf(text, StretchKind::kWhole), (UnitRange{0, 11}));
}

TEST(TextSection, AMarkerWithinThePageBeginsNothing) {
  Text text(mapWithoutParts());
  text.addWords(kTitle + u"weather" + kContent + u"porn" + kTitle + u"school" + kContent + u"garden");
  EXPECT_EQ(partOf(text, StretchKind::kHead), (UnitRange{0, 1}));
  EXPECT_EQ(partOf(text, StretchKind::kContent), (UnitRange{1, 4}));
}

TEST(TextSection, AMarkerAmongWordsOfALineCountsWhereItStands) {
  Text text(mapWithoutParts());
  text.addWords(u"weather school oooooooooooooooooooPAGECONTENTooooooooooooooo porn garden recipe");
  EXPECT_EQ(partOf(text, StretchKind::kContent), (UnitRange{2, 5}));
}

TEST(TextSection, ATextWithoutMarkersHasNoParts) {
  Text text(mapWithoutParts());
  text.addWords(u"weather school garden");
  for (const StretchKind part : {StretchKind::kHead, StretchKind::kLabels, StretchKind::kContent}) {
    EXPECT_EQ(partOf(text, part).size(), 0u);
  }
  EXPECT_EQ(partOf(text, StretchKind::kWhole), (UnitRange{0, 3}));
}

TEST(Judgement, AHarmlessTitleHidesNoContent) {
  const std::u16string text =
      pageText(u"weather school garden recipe library football science", u"", u"porn xxx nude erotic webcam");
  EXPECT_LT(judgementOf(mapWithoutParts(), text).scores[1], 0.5f);
  const Judgement judgement = judgementOf(mapWithParts(1), text);
  EXPECT_GT(judgement.scores[1], 0.9f);
  EXPECT_EQ(judgement.decided.kind, StretchKind::kContent);
  EXPECT_EQ(judgement.decided.units.size(), 5u);
}

TEST(Judgement, HarmlessContentHidesNoLabels) {
  const std::u16string harmless =
      u"weather school garden recipe library football science history teacher homework museum kitchen";
  const std::u16string text = pageText(u"home page", u"porn xxx nude\nerotic webcam", harmless);
  EXPECT_LT(judgementOf(mapWithoutParts(), text).scores[1], 0.5f);
  const Judgement judgement = judgementOf(mapWithParts(1), text);
  EXPECT_GT(judgement.scores[1], 0.9f);
  EXPECT_EQ(judgement.decided.kind, StretchKind::kLabels);
}

TEST(Judgement, TheWholeDecidesWhereNoPartSaysMore) {
  const std::u16string harmless = u"weather school garden";
  const Judgement judgement = judgementOf(mapWithParts(1), pageText(harmless, harmless, harmless), true);
  EXPECT_EQ(judgement.decided.kind, StretchKind::kWhole);
  EXPECT_EQ(judgement.decided.units, (UnitRange{0, 1 + 45 + 3 + 3}));
  EXPECT_LT(judgement.decided.odds, 0);
  EXPECT_EQ(judgement.others.size(), 3u) << "head, labels and content";
}

TEST(Judgement, APenaltyIsTakenOffEveryPart) {
  const std::u16string text =
      pageText(u"weather school garden recipe library football science", u"", u"porn xxx nude erotic webcam");
  const double little = judgementOf(mapWithParts(0), text).decided.odds;
  EXPECT_NEAR(judgementOf(mapWithParts(2), text).decided.odds, little - 2, 1e-6);
  EXPECT_EQ(judgementOf(mapWithParts(1000), text).decided.kind, StretchKind::kWhole);
  EXPECT_EQ(judgementOf(mapWithParts(1000), text).scores, judgementOf(mapWithoutParts(), text).scores);
}

TEST(Judgement, SmallPartsAreNotJudged) {
  const std::u16string text =
      pageText(u"weather school garden recipe library football science", u"", u"porn xxx nude erotic webcam");
  EXPECT_EQ(judgementOf(mapWithParts(0, 5), text).decided.kind, StretchKind::kContent);
  EXPECT_EQ(judgementOf(mapWithParts(0, 6), text).decided.kind, StretchKind::kWhole);
}

TEST(Judgement, TheScoresAreThoseOfTheDecidingStretch) {
  const std::u16string text = pageText(u"weather school garden", u"", u"porn xxx nude erotic webcam");
  const Judgement judgement = judgementOf(mapWithParts(1), text);
  const double odds =
      std::log(static_cast<double>(judgement.scores[1]) / static_cast<double>(judgement.scores[0]));
  EXPECT_NEAR(odds, std::min(judgement.decided.odds, kMaxLogitDifference), 1e-3);
}

TEST(Judgement, TheBestWindowIsNamed) {
  MapContents contents = tinyMapContents();
  contents.windowTokens = 64;
  contents.bestWindows = 1;
  contents.windowPenalty = 0;
  const TinyMapFile file(contents);
  std::u16string text;
  for (int i = 0; i < 128; ++i) text += u"weather ";
  for (int i = 0; i < 64; ++i) text += i % 2 == 0 ? u"porn " : u"nude ";
  for (int i = 0; i < 128; ++i) text += u"school ";
  const Judgement judgement = judgementOf(lsmMapLoad(file.path()), text);
  EXPECT_EQ(judgement.decided.kind, StretchKind::kWindow);
  EXPECT_EQ(judgement.decided.units, (UnitRange{128, 192}));
  EXPECT_GT(judgement.decided.odds, 5);
}

TEST(Judgement, OddsOfUnitsAreThoseOfATextOfThem) {
  const LsmMap map = mapWithoutParts();
  Text text(map);
  text.addWords(u"weather porn xxx school");
  const Judgement alone = judgementOf(map, u"porn xxx");
  EXPECT_NEAR(oddsOf(*map, text, {1, 3}), alone.decided.odds, 1e-5);
}

}  // namespace
}  // namespace sifterra::lsm
