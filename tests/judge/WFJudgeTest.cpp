#include "sifterra/judge/WFJudge.h"

#include <gtest/gtest.h>

#include "lsm/LsmEngine.h"
#include "platform/Log.h"
#include "sifterra/text/WFWebPageToFilterText.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::LogLevel;
using platform::String;

constexpr auto kUrl = u"http://example.com/page";

// A map that answers the same scores for every text and keeps the text it was asked about.
class ScriptedMap : public WFLSMMap {
 public:
  explicit ScriptedMap(float first, float second) : raw_{{{1, first}, {2, second}}, true} {}
  ScriptedMap() = default;  // a map whose evaluation fails

  std::shared_ptr<WFLSMResult> evaluate(const String& text) const override {
    asked.push_back(text);
    return WFLSMResult::LSMResultWithLSMResultRef(raw_, 0.62F);
  }
  mutable std::vector<String> asked;

 private:
  lsm::LsmRawResult raw_;
};

std::shared_ptr<ScriptedMap> restrictingMap() {
  return std::make_shared<ScriptedMap>(0.19F, 0.81F);
}
std::shared_ptr<ScriptedMap> allowingMap() {
  return std::make_shared<ScriptedMap>(0.9F, 0.1F);
}

String page(const std::string& head, const std::string& body) {
  return String::fromUTF8("<html><head><title>A title</title>" + head + "</head>" + body + "</html>");
}
String body(std::size_t length) {
  return page("", "<body>" + std::string(length, 'x') + "</body>");
}
String frameset(std::size_t length) {
  return page("", "<frameset><frame src='a'></frameset><body>" + std::string(length, 'x') + "</body>");
}
String shortRefresh(std::size_t length) {
  return page("<meta http-equiv='refresh' content='0; url=http://example.org/'>",
              "<body>" + std::string(length, 'x') + "</body>");
}
// The length of the page's content as the judge counts it.
std::string contentLength(const String& html) {
  return std::to_string(WFWebPageToFilterText::webPageWithString(html)->pageContent().length());
}

std::shared_ptr<WFVerdict> pronounce(const std::shared_ptr<WFLSMMap>& map, const String& html,
                                     String* title = nullptr) {
  return WFJudge(map).pronounceOnPageContent(html, String(kUrl), nullptr, title);
}

TEST(WFJudge, NullContentIsAllowedAndLeavesTheTitleAlone) {
  const auto map = restrictingMap();
  String title(u"untouched");
  const auto verdict = pronounce(map, nullptr, &title);
  EXPECT_FALSE(verdict->restricted());
  EXPECT_EQ(verdict->evidence(), 2);
  EXPECT_EQ(verdict->LSMEvaluationResult(), nullptr);
  EXPECT_EQ(verdict->message(), String(u"Allowed, nil pageContentString"));
  EXPECT_EQ(verdict->URL(), String(kUrl));
  EXPECT_EQ(title, String(u"untouched"));
  EXPECT_TRUE(map->asked.empty());
}

class PageJudge : public WFJudge {
 public:
  using WFJudge::pronounceOnPage;
  using WFJudge::WFJudge;
};

TEST(WFJudge, APageThatCouldNotBeMadeIsAllowedWithoutATitle) {
  String title(u"replaced");
  const auto verdict = PageJudge(restrictingMap()).pronounceOnPage(nullptr, String(kUrl), &title);
  EXPECT_FALSE(verdict->restricted());
  EXPECT_EQ(verdict->evidence(), 2);
  EXPECT_EQ(verdict->LSMEvaluationResult(), nullptr);
  EXPECT_EQ(verdict->message(), String(u"Allowed, nil webpage"));
  EXPECT_EQ(verdict->URL(), String(kUrl));
  EXPECT_TRUE(title.isNull());
}

TEST(WFJudge, EmptyContentHasTooLittleContentAndNoTitle) {
  String title(u"replaced");
  const auto verdict = pronounce(restrictingMap(), String(u""), &title);
  EXPECT_EQ(verdict->evidence(), 5);
  EXPECT_FALSE(verdict->restricted());
  EXPECT_TRUE(title.isNull());
}

TEST(WFJudge, ASelfLabelledPageIsRestrictedWithoutTheClassifier) {
  const auto map = allowingMap();
  String title;
  const auto verdict = pronounce(
      map, page("<meta name='rating' content='RTA-5042-1996-1400-1577-RTA'>", "<body>x</body>"), &title);
  EXPECT_TRUE(verdict->restricted());
  EXPECT_EQ(verdict->evidence(), 3);
  EXPECT_EQ(verdict->message(), String(u"SELF-RESTRICTED"));
  EXPECT_EQ(verdict->LSMEvaluationResult(), nullptr);
  EXPECT_EQ(verdict->description().toUTF8(),
            "RESTRICTED (3) | Not evaluated | SELF-RESTRICTED | http://example.com/page");
  EXPECT_EQ(title, String(u"A title"));
  EXPECT_TRUE(map->asked.empty());
}

TEST(WFJudge, ASelfLabelledPageIsRestrictedWithoutAMap) {
  EXPECT_TRUE(
      pronounce(nullptr, page("<meta name='rating' content='rta-5042-1996-1400-1577-rta'>", "<body>x</body>"))
          ->restricted());
}

TEST(WFJudge, TenCharactersAreTooLittleContent) {
  const auto map = restrictingMap();
  const auto verdict = pronounce(map, String(u"<p>ten signs!"));
  EXPECT_FALSE(verdict->restricted());
  EXPECT_EQ(verdict->evidence(), 5);
  EXPECT_EQ(verdict->message(), String(u"Page not analyzed: too little content found"));
  EXPECT_EQ(verdict->LSMEvaluationResult(), nullptr);
  EXPECT_TRUE(map->asked.empty());
}

TEST(WFJudge, AFramesetWithLittleContentIsNotAnalyzed) {
  const auto map = restrictingMap();
  const String html = frameset(70);
  const auto verdict = pronounce(map, html);
  EXPECT_FALSE(verdict->restricted());
  EXPECT_EQ(verdict->evidence(), 6);
  EXPECT_EQ(verdict->message().toUTF8(),
            "Page not analyzed: it has a frameset (length:" + contentLength(html) + ")");
  EXPECT_TRUE(map->asked.empty());
}

TEST(WFJudge, AShortRefreshWithLittleContentIsNotAnalyzed) {
  const auto map = restrictingMap();
  const String html = shortRefresh(70);
  const auto verdict = pronounce(map, html);
  EXPECT_FALSE(verdict->restricted());
  EXPECT_EQ(verdict->evidence(), 7);
  EXPECT_EQ(verdict->message().toUTF8(),
            "Page not analyzed: it has a short refresh (length:" + contentLength(html) + ")");
  EXPECT_TRUE(map->asked.empty());
}

TEST(WFJudge, AClassifiedPageCarriesEvidenceZeroAndTheResult) {
  const auto map = restrictingMap();
  const String html = body(500);
  String title;
  const auto verdict = pronounce(map, html, &title);
  EXPECT_TRUE(verdict->restricted());
  EXPECT_EQ(verdict->evidence(), 0);
  EXPECT_EQ(verdict->message(), String(u"RESTRICTED"));
  ASSERT_NE(verdict->LSMEvaluationResult(), nullptr);
  EXPECT_EQ(verdict->description().toUTF8(),
            "RESTRICTED (0) | 1:0.19    [ 2:0.81 ] | RESTRICTED | http://example.com/page");
  EXPECT_EQ(title, String(u"A title"));
  // The map was asked once, about the page's word text.
  const auto text = WFWebPageToFilterText::webPageWithString(html, String(kUrl))->plainText();
  EXPECT_EQ(map->asked, std::vector<String>{text});
}

TEST(WFJudge, AnAllowedPagesMessageHasOneBlankBeforeAndTwoAfter) {
  const auto verdict = pronounce(allowingMap(), body(500));
  EXPECT_FALSE(verdict->restricted());
  EXPECT_EQ(verdict->evidence(), 0);
  EXPECT_EQ(verdict->message(), String(u" Allowed  "));
  EXPECT_NE(verdict->LSMEvaluationResult(), nullptr);
}

TEST(WFJudge, TheNoteOfTheCheckFollowsTheMessage) {
  const String frames = frameset(300);
  EXPECT_EQ(
      pronounce(restrictingMap(), frames)->message().toUTF8(),
      "RESTRICTED it has a frameset, but there is a lot of content! (length:" + contentLength(frames) + ")");
  EXPECT_EQ(
      pronounce(allowingMap(), frames)->message().toUTF8(),
      " Allowed   it has a frameset, but there is a lot of content! (length:" + contentLength(frames) + ")");
  const String refresh = shortRefresh(300);
  EXPECT_EQ(pronounce(restrictingMap(), refresh)->message().toUTF8(),
            "RESTRICTED it has a short refresh, but there is a lot of content! (length:" +
                contentLength(refresh) + ")");
}

TEST(WFJudge, AFailedEvaluationLeavesThePageAllowed) {
  for (const std::shared_ptr<WFLSMMap>& map :
       {std::shared_ptr<WFLSMMap>(std::make_shared<ScriptedMap>()), std::shared_ptr<WFLSMMap>()}) {
    const auto verdict = pronounce(map, body(500));
    EXPECT_FALSE(verdict->restricted());
    EXPECT_EQ(verdict->evidence(), 0);
    EXPECT_EQ(verdict->message(), String(u" Allowed  "));
    EXPECT_EQ(verdict->LSMEvaluationResult(), nullptr);
  }
}

TEST(WFJudge, NullURLsAndNoTitleAreAccepted) {
  const auto verdict = WFJudge(allowingMap()).pronounceOnPageContent(body(500), nullptr, nullptr, nullptr);
  EXPECT_TRUE(verdict->URL().isNull());
  EXPECT_EQ(verdict->evidence(), 0);
}

TEST(WFJudge, TheDebugPageIsIgnored) {
  const int anything = 0;
  const WFJudge judge(restrictingMap());
  const auto with = judge.pronounceOnPageContent(body(500), String(kUrl), &anything, nullptr);
  const auto without = judge.pronounceOnPageContent(body(500), String(kUrl), nullptr, nullptr);
  EXPECT_EQ(with->description(), without->description());
}

TEST(WFJudge, TracesAClassifiedPageWithItsScores) {
  const CapturedLog log;
  (void)pronounce(restrictingMap(), body(500));
  EXPECT_TRUE(
      log.contains(LogLevel::Debug,
                   "-[WFJudge pronounceOnPageContent:pageURL:debugPage:pageTitle:] -- page A title "
                   "(http://example.com/page), verdict is RESTRICTED, LSM result is 1:0.19    [ 2:0.81 ]"));
}

TEST(WFJudge, TracesAnUnclassifiedPageWithItsMessage) {
  const CapturedLog log;
  (void)pronounce(restrictingMap(), String(u"<title>Title</title><p>few"));
  EXPECT_TRUE(
      log.contains(LogLevel::Debug,
                   "-[WFJudge pronounceOnPageContent:pageURL:debugPage:pageTitle:] -- page Title "
                   "(http://example.com/page), verdict is Page not analyzed: too little content found"));
}

TEST(WFJudge, TracesNothingWithoutAPage) {
  const CapturedLog log;
  (void)pronounce(restrictingMap(), nullptr);
  (void)PageJudge(restrictingMap()).pronounceOnPage(nullptr, nullptr, nullptr);
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
}  // namespace sifterra
