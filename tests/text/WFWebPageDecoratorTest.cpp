// The decorator over parsed pages, fake pages and no page at all.
#include "sifterra/text/WFWebPageDecorator.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/Log.h"
#include "sifterra/page/WFTreeHTMLStripper.h"
#include "sifterra/text/WFWebPageToFilterText.h"
#include "sifterra/text/WFWebPageToTrainingText.h"
#include "text/FakePage.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::Data;
using platform::LogLevel;
using platform::String;

constexpr const char16_t* kPage =
    u"<html><head><title>T</title><meta name=description content=D><meta name=keywords content=K>"
    u"<meta content=U><script>f('one'); g(\"two\")</script></head>"
    u"<body><img alt=A width=2 height=3><img><a title=L href=/x>text</a><a>no</a><a "
    u"title=''>e</a></body></html>";

constexpr const char16_t* kEmptyLayout =
    u"[WFWebPageDecorator rawPlainText]\n\n"
    u"======= pageTitle =======\n\n"
    u"======= tags =======\n\n"
    u"======= metaTagDescription =======\n\n\n"
    u"======= metaTagKeywords =======\n\n\n"
    u"======= scriptBlocks (array) =======\n\n\n"
    u"======= imageAltsText (array) =======\n\n\n"
    u"======= pageContent =======\n\n\n";

TEST(WFWebPageDecorator, ForwardsThePageModel) {
  const auto page = WFWebPageDecorator::webPageWithString(String(kPage));
  EXPECT_EQ(page->pageTitle(), String(u"T"));
  EXPECT_EQ(page->metaTagDescription(), String(u"D"));
  EXPECT_EQ(page->metaTagKeywords(), String(u"K"));
  EXPECT_EQ(page->metaTagsLabeled().contentForLabel(u"keywords"), String(u"K"));
  ASSERT_EQ(page->metaTagsUnlabeled().size(), 1U);
  EXPECT_EQ(page->metaTagsUnlabeled()[0], String(u"U"));
  ASSERT_EQ(page->scriptBlocks().size(), 1U);
  EXPECT_EQ(page->scriptBlocks()[0], String(u"one,\ntwo,\n"));
  EXPECT_EQ(page->images().size(), 2U);
  EXPECT_EQ(page->links().size(), 3U);
  EXPECT_NE(page->pageContent().view().find(u"text"), std::u16string_view::npos);
  EXPECT_FALSE(page->hasFrameset());
  EXPECT_FALSE(page->hasShortRefresh());
}

TEST(WFWebPageDecorator, ForwardsTheFlags) {
  auto model = fakePage(u"");
  const WFWebPageDecorator page(model);
  model->frameset = true;
  EXPECT_TRUE(page.hasFrameset());
  EXPECT_FALSE(page.hasShortRefresh());
  model->refresh = true;
  EXPECT_TRUE(page.hasShortRefresh());
}

TEST(WFWebPageDecorator, DerivesFactsOfImagesAndLinks) {
  const auto page = WFWebPageDecorator::webPageWithString(String(kPage));
  EXPECT_EQ(page->numberOfImages(), 2);
  EXPECT_EQ(page->imageAltsText(), String(u"A\n"));
  EXPECT_EQ(page->numberOfUnknownSizedImages(), 1);
  EXPECT_EQ(page->numberOfKnownImagePixels(), 6);
  EXPECT_EQ(page->linkTitlesText(), String(u"L\n\n"));  // an empty title still ends a line
}

TEST(WFWebPageDecorator, GathersImageStatisticsOnce) {
  const auto parsed = WFTreeHTMLStripper::treeStripperWithString(String(u"<img alt=a><img alt=b>"));
  auto model = fakePage(u"");
  const WFWebPageDecorator page(model);
  EXPECT_EQ(page.imageAltsText(), String(u""));
  EXPECT_EQ(page.numberOfUnknownSizedImages(), 0);
  model->imgs = parsed->images();
  EXPECT_EQ(page.imageAltsText(), String(u""));
  EXPECT_EQ(page.numberOfUnknownSizedImages(), 0);
  EXPECT_EQ(page.numberOfImages(), 2);  // counted, not cached
}

TEST(WFWebPageDecorator, CountsNoWords) {
  EXPECT_EQ(WFWebPageDecorator(fakePage(u"one two three")).wordCount(), 0);
  EXPECT_EQ(WFWebPageDecorator(Data()).wordCount(), 0);
}

TEST(WFWebPageDecorator, IsEmptyOverNoModel) {
  CapturedLog log;
  for (const auto& page :
       {WFWebPageDecorator::webPageWithData(Data()), WFWebPageDecorator::webPageWithString(String()),
        std::make_shared<WFWebPageDecorator>(std::shared_ptr<const WFWebPageProtocol>())}) {
    EXPECT_TRUE(page->pageTitle().isNull());
    EXPECT_TRUE(page->metaTagDescription().isNull());
    EXPECT_TRUE(page->metaTagKeywords().isNull());
    EXPECT_TRUE(page->metaTagsLabeled().contents.empty());
    EXPECT_TRUE(page->metaTagsUnlabeled().empty());
    EXPECT_TRUE(page->scriptBlocks().empty());
    EXPECT_TRUE(page->images().empty());
    EXPECT_TRUE(page->links().empty());
    EXPECT_TRUE(page->pageContent().isNull());
    EXPECT_FALSE(page->hasFrameset());
    EXPECT_FALSE(page->hasShortRefresh());
    EXPECT_EQ(page->imageAltsText(), String(u""));
    EXPECT_EQ(page->linkTitlesText(), String(u""));
    EXPECT_EQ(page->tags(), String(u""));
    EXPECT_EQ(page->rawPlainText(), kEmptyLayout);
  }
}

TEST(WFWebPageDecorator, KeepsItsModelAlive) {
  auto model = fakePage(u"kept");
  const std::weak_ptr<FakePage> watch = model;
  {
    const WFWebPageDecorator page(model);
    model.reset();
    EXPECT_EQ(page.pageContent(), String(u"kept"));
  }
  EXPECT_TRUE(watch.expired());
}

TEST(WFWebPageDecorator, HasItsOwnURLString) {
  WFWebPageDecorator page(fakePage(u""));
  EXPECT_TRUE(page.URLString().isNull());  // not the model's
  page.setURLString(String(u"http://h/"));
  EXPECT_EQ(page.URLString(), String(u"http://h/"));
  page.setURLString(nullptr);
  EXPECT_TRUE(page.URLString().isNull());
}

TEST(WFWebPageDecorator, BeginsItsLayoutWithTitleAndTags) {
  auto model = fakePage(u"");
  model->title = String(u"T");
  const std::u16string text = WFWebPageDecorator(model).rawPlainText();
  EXPECT_EQ(
      text.find(
          u"[WFWebPageDecorator rawPlainText]\n\n======= pageTitle =======\nT\n======= tags =======\n\n"),
      0U);
}

TEST(WFWebPageDecorator, LaysOutAllSections) {
  auto model = fakePage(u" body 18 ");
  model->title = String(u"T");
  model->description = String(u"D");
  model->keywords = String(u"K");
  model->scripts = {String(u"one,\n"), String(u"")};
  EXPECT_EQ(
      WFWebPageDecorator(model).rawPlainText(),
      u"[WFWebPageDecorator rawPlainText]\n\n"
      u"======= pageTitle =======\nT\n"
      u"======= tags =======\n[ EighteenWebFilterTag  ]\n"
      u"======= metaTagDescription =======\n\nD\n"
      u"======= metaTagKeywords =======\n\nK\n"
      u"======= scriptBlocks (array) =======\n\none,\n\n\n\n"  // each element a line, then the section's own
      u"======= imageAltsText (array) =======\n\n\n"
      u"======= pageContent =======\n\n body 18 \n");
}

TEST(WFWebPageDecorator, CleansItsPlainText) {
  auto model = fakePage(u"a-b_c <b>bold</b> d");
  const std::u16string text(WFWebPageDecorator(model).plainText().view());
  EXPECT_NE(text.find(u"a b c  bold  d\n"), std::u16string::npos);
  EXPECT_EQ(text.find(u"[WFWebPageDecorator rawPlainText]\n\n======= pageTitle =======\n"), 0U);
}

class ShoutingPage : public WFWebPageDecorator {
 public:
  using WFWebPageDecorator::WFWebPageDecorator;
  [[nodiscard]] std::u16string rawPlainText() const override { return u"A<b>LOUD"; }
};

TEST(WFWebPageDecorator, CleansTheLayoutOfItsSubclass) {
  EXPECT_EQ(ShoutingPage(fakePage(u"")).plainText(), String(u"A LOUD\n"));
}

struct SectionRow {
  const char* accessor;
  std::int32_t weight;
  const char16_t* section;
};

TEST(Section, RepeatsTheValueByItsWeight) {
  auto model = fakePage(u"C");
  model->title = String(u"T");
  model->scripts = {String(u"s1"), String(u"s2")};
  model->unlabeled = {String(u"u")};
  WFWebPageDecorator page(model);
  page.setURLString(String(u"http://h/"));
  const SectionRow rows[] = {
      {"pageTitle", 1, u"t\nT\n"},
      {"pageTitle", 3, u"t\nT\nT\nT\n"},
      {"pageTitle", 0, u"t\n"},
      {"pageTitle", -5, u"t\n"},
      {"metaTagKeywords", 2, u"t\n\n\n"},     // null is an empty value
      {"scriptBlocks", 1, u"t\ns1\ns2\n\n"},  // an array ends with an empty line
      {"scriptBlocks", 2, u"t\ns1\ns2\n\ns1\ns2\n\n"},
      {"metaTagsUnlabeled", 1, u"t\nu\n\n"},
      {"images", 1, u"t\n\n"},
      {"URLString", 1, u"t\nhttp://h/\n"},
      {"metaTagRating", 1, u"t\n\n"},  // no such accessor: as if it had no value
      {"", 2, u"t\n\n\n"},
  };
  for (const SectionRow& row : rows) {
    SCOPED_TRACE(std::string(row.accessor) + " x " + std::to_string(row.weight));
    EXPECT_EQ(page.plainTextAttributeWithSelector(row.accessor, u"t", row.weight), row.section);
  }
  EXPECT_EQ(page.plainTextAttributeWithSelector("pageTitle", u"t"), u"t\nT\n");
}

TEST(Section, DescribesImages) {
  const auto page = WFWebPageDecorator::webPageWithString(String(u"<img alt=x width=1>"));
  EXPECT_EQ(page->plainTextAttributeWithSelector("images", u"t"),
            u"t\n(WFImg alt:x src:(null) width:1 height:-1 )\n\n");
}

class ArguedPage : public WFWebPageDecorator {
 public:
  using WFWebPageDecorator::_plainTextWithSelector;
  using WFWebPageDecorator::Argument;
};

TEST(PlainTextWithSelector, MakesAnInstanceOfTheKind) {
  const String html(kPage);
  EXPECT_EQ(ArguedPage::_plainTextWithSelector<WFWebPageToTrainingText>("initWithWebPageString:", html),
            WFWebPageToTrainingText::plainTextWithWebPageString(html));
  EXPECT_EQ(
      ArguedPage::_plainTextWithSelector<WFWebPageDecorator>("initWithWebPageData:", Data(html.toUTF8())),
      WFWebPageDecorator::webPageWithString(html)->plainText());
}

TEST(PlainTextWithSelector, GivesTheEmptyStringForAnInitialiserThatTheKindLacks) {
  CapturedLog log;
  const String text =
      ArguedPage::_plainTextWithSelector<WFWebPageToFilterText>("initWithWebPageURL:", String(u"<p>x"));
  EXPECT_EQ(text, String(u""));
  EXPECT_FALSE(text.isNull());
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_TRUE(
      log.contains(LogLevel::Error,
                   "+[WFWebPageDecorator _plainTextWithSelector:object:] -- WFWebPageToFilterText doesn't "
                   "respond to selector:initWithWebPageURL:"));
}

TEST(ClassOperations, MakeTheReceivingKind) {
  const String html(u"<title>T</title>");
  const Data data(html.toUTF8());
  const String url(u"http://h/");
  EXPECT_EQ(WFWebPageDecorator::webPageWithData(data, url)->URLString(), url);
  EXPECT_EQ(WFWebPageDecorator::webPageWithString(html, url)->URLString(), url);
  EXPECT_EQ(WFWebPageToFilterText::webPageWithData(data, url)->URLString(), url);
  EXPECT_EQ(WFWebPageToFilterText::webPageWithString(html, url)->URLString(), url);
  EXPECT_TRUE(WFWebPageToFilterText::webPageWithString(html)->URLString().isNull());

  const std::shared_ptr<WFWebPageDecorator> filter = WFWebPageToFilterText::webPageWithData(data);
  const std::shared_ptr<WFWebPageDecorator> training = WFWebPageToTrainingText::webPageWithString(html);
  EXPECT_EQ(filter->rawPlainText().find(u"ooooooooooooWFWebPageToFilterTextoooooooooooo"), 0U);
  EXPECT_EQ(training->rawPlainText().find(u"ooooooooooooWFWebPageToTrainingTextoooooooooooo"), 0U);
}

TEST(ClassOperations, GiveThePlainTextOfTheirKind) {
  const String html(u"<title>T</title>");
  const Data data(html.toUTF8());
  EXPECT_EQ(WFWebPageDecorator::plainTextWithWebPageData(data),
            WFWebPageDecorator::webPageWithData(data)->plainText());
  EXPECT_EQ(WFWebPageDecorator::plainTextWithWebPageString(html),
            WFWebPageDecorator::webPageWithString(html)->plainText());
  EXPECT_EQ(WFWebPageToFilterText::plainTextWithWebPageData(data),
            WFWebPageToFilterText::webPageWithData(data)->plainText());
  EXPECT_EQ(WFWebPageToTrainingText::plainTextWithWebPageString(html),
            WFWebPageToTrainingText::webPageWithString(html)->plainText());
  EXPECT_NE(WFWebPageToTrainingText::plainTextWithWebPageString(html),
            WFWebPageToFilterText::plainTextWithWebPageString(html));
}

}  // namespace
}  // namespace sifterra
