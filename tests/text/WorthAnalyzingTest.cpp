// Which pages have too little to classify.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "platform/Log.h"
#include "sifterra/page/WFTreeHTMLStripper.h"
#include "sifterra/text/WFWebPageToFilterText.h"
#include "text/FakePage.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::LogLevel;
using platform::String;

constexpr std::int32_t kUntouched = -99;

struct Answer {
  bool worth;
  std::int32_t evidence;
  String message;
  std::size_t lines;
};

Answer ask(const std::shared_ptr<FakePage>& model) {
  const CapturedLog log(LogLevel::Info);
  Answer answer{false, kUntouched, String(u"stale"), 0};
  answer.worth = WFWebPageToFilterText(model).isWorthAnalyzingWithEvidence(answer.evidence, answer.message);
  answer.lines = log.lines().size();
  return answer;
}

// A page with that many letters among spaces that fill up the length.
std::shared_ptr<FakePage> pageOf(std::size_t length, std::size_t letters) {
  return fakePage(u" " + std::u16string(letters, u'x') + std::u16string(length - letters - 1, u' '));
}

// Just below every limit of the test for little content.
std::shared_ptr<FakePage> littlePage(std::size_t letters) {
  auto model = pageOf(59, letters);
  model->scripts = {String(u"a"), String(u"b"), String(u"c")};
  model->keywords = String(u"keys");
  model->description = String(u"desc");
  return model;
}

TEST(WorthAnalyzing, RefusesLittleContentWithOneLine) {
  CapturedLog log(LogLevel::Info);
  std::int32_t evidence = kUntouched;
  String message;
  EXPECT_FALSE(WFWebPageToFilterText(littlePage(15)).isWorthAnalyzingWithEvidence(evidence, message));
  EXPECT_EQ(evidence, 5);
  EXPECT_EQ(message, String(u"too little content found"));
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_TRUE(log.contains(LogLevel::Info,
                           "-[WFWebPageToFilterText isWorthAnalyzingWithEvidence:message:] -- Page not worth "
                           "analyzing [pageContent length]:59, no images, [scriptBlocks count]:3"));
  EXPECT_EQ(log.lines()[0].category, "WebFilter");
}

TEST(WorthAnalyzing, WritesTheLineAlsoWhenTheTrimmedContentIsEnough) {
  const Answer answer = ask(littlePage(16));
  EXPECT_TRUE(answer.worth);
  EXPECT_EQ(answer.evidence, kUntouched);
  EXPECT_TRUE(answer.message.isNull());
  EXPECT_EQ(answer.lines, 1U);
}

TEST(WorthAnalyzing, SkipsTheTestForLittleContentAtEachLimit) {
  auto content = littlePage(15);
  content->content = pageOf(60, 15)->content;
  auto scripts = littlePage(15);
  scripts->scripts.emplace_back(u"d");
  auto keywords = littlePage(15);
  keywords->keywords = String(u"words");
  auto description = littlePage(15);
  description->description = String(u"descr");
  auto images = littlePage(15);
  const auto parsed = WFTreeHTMLStripper::treeStripperWithString(String(u"<img>"));
  images->imgs = parsed->images();
  for (const auto& model : {content, scripts, keywords, description, images}) {
    const Answer answer = ask(model);
    EXPECT_TRUE(answer.worth);
    EXPECT_TRUE(answer.message.isNull());
    EXPECT_EQ(answer.lines, 0U);
  }
}

TEST(WorthAnalyzing, TrimsAllWhiteSpaceAndLineBreaks) {
  EXPECT_EQ(ask(fakePage(u"\u00a0\u2003\n\u0085\t" + std::u16string(15, u'x') + u"\u3000\r\v\f")).evidence,
            5);
  EXPECT_TRUE(ask(fakePage(u"\u200b" + std::u16string(15, u'x'))).worth);  // a format character counts
}

TEST(WorthAnalyzing, RefusesAnEmptyPageAndNoPage) {
  EXPECT_EQ(ask(fakePage(u" ")).evidence, 5);
  EXPECT_EQ(ask(nullptr).evidence, 5);
}

struct FlagRow {
  bool frameset;
  bool refresh;
  std::size_t length;
  bool worth;
  std::int32_t evidence;
  const char16_t* message;
};

TEST(WorthAnalyzing, LetsFramesetsAndRefreshesPassOnlyWithALotOfContent) {
  const FlagRow rows[] = {
      {true, false, 127, false, 6, u"it has a frameset (length:127)"},
      {true, false, 128, true, kUntouched, u"it has a frameset, but there is a lot of content! (length:128)"},
      {false, true, 127, false, 7, u"it has a short refresh (length:127)"},
      {false, true, 128, true, kUntouched,
       u"it has a short refresh, but there is a lot of content! (length:128)"},
      // Together, only the frameset counts.
      {true, true, 127, false, 6, u"it has a frameset (length:127)"},
      {true, true, 128, true, kUntouched, u"it has a frameset, but there is a lot of content! (length:128)"},
  };
  for (const FlagRow& row : rows) {
    SCOPED_TRACE(String(row.message).toUTF8());
    auto model = pageOf(row.length, 20);
    model->frameset = row.frameset;
    model->refresh = row.refresh;
    const Answer answer = ask(model);
    EXPECT_EQ(answer.worth, row.worth);
    EXPECT_EQ(answer.evidence, row.evidence);
    EXPECT_EQ(answer.message, String(row.message));
    EXPECT_EQ(answer.lines, 0U);
  }
}

TEST(WorthAnalyzing, AsksForContentBeforeFrames) {
  auto model = littlePage(15);
  model->frameset = true;
  EXPECT_EQ(ask(model).evidence, 5);
  auto enough = littlePage(16);
  enough->frameset = true;
  const Answer answer = ask(enough);
  EXPECT_EQ(answer.evidence, 6);
  EXPECT_EQ(answer.message, String(u"it has a frameset (length:59)"));
  EXPECT_EQ(answer.lines, 1U);
}

}  // namespace
}  // namespace sifterra
