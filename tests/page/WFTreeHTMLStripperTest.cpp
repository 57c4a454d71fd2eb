// Bytes to model: which charset the parser is told, what is logged, and what comes of odd input.
#include "sifterra/page/WFTreeHTMLStripper.h"

#include <gtest/gtest.h>

#include <string>

#include "page/parse_html.h"
#include "page_fixture.h"
#include "platform/Log.h"
#include "platform/Unicode.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::Data;
using platform::LogLevel;
using platform::String;

constexpr char16_t kAsUTF8[] = u" \u00E9 ";          // the bytes C3 A9 as UTF-8
constexpr char16_t kAsLatin1[] = u" \u00C3\u00A9 ";  // and as ISO-8859-1
constexpr const char* kUnknownCharset =
    "-[WFTreeHTMLStripper initWithData:] -- Couldn't get encoding for sourceData: ";

TEST(WFTreeHTMLStripper, ParsesInTheDeclaredCharset) {
  struct Row {
    const char* page;
    const char16_t* content;
    bool logs;  // that no usable charset was found; the parser then detects one itself
  };
  constexpr Row kRows[] = {
      {"charset-http-equiv-latin1.html", kAsLatin1, false},
      {"charset-meta-utf8.html", kAsUTF8, false},
      {"charset-in-capitals.html", kAsLatin1, false},
      {"charset-alias.html", kAsLatin1, false},             // latin1 is ISO-8859-1
      {"charset-in-comment-first.html", kAsLatin1, false},  // only the first declaration counts
      {"charset-in-script-first.html", kAsLatin1, false},
      {"charset-unknown.html", kAsUTF8, true},
      {"charset-unquoted.html", kAsUTF8, true},  // no double quote anywhere behind it
      {"charset-unquoted-before-quote.html", kAsUTF8, true},
      {"charset-single-quotes.html", kAsUTF8, true},
      {"charset-browser-label.html", kAsUTF8, true},  // "utf8" is no registered name
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.page);
    const CapturedLog log;
    const auto model = modelOfFixture(row.page);
    ASSERT_TRUE(model);
    // Pages with a script or a title have more text; what counts is the paragraph.
    EXPECT_TRUE(model->pageContent().view().ends_with(row.content)) << model->pageContent().toUTF8();
    if (row.logs) {
      const std::string page(fixture(row.page).chars());
      ASSERT_EQ(log.lines().size(), 1U);
      EXPECT_TRUE(log.contains(LogLevel::Info, kUnknownCharset + page));
      EXPECT_EQ(log.lines().front().operation, "-[WFTreeHTMLStripper initWithData:]");
    } else {
      EXPECT_TRUE(log.lines().empty());
    }
  }
}

TEST(WFTreeHTMLStripper, LogsAtMost1024BytesOfAPageWithoutCharset) {
  const CapturedLog log;
  ASSERT_TRUE(modelOf(std::string(5000, 'x')));
  EXPECT_TRUE(log.contains(LogLevel::Info, kUnknownCharset + std::string(1024, 'x')));
}

TEST(WFTreeHTMLStripper, LogsAPageToItsFirstZeroByte) {
  using namespace std::string_literals;
  const CapturedLog log;
  ASSERT_TRUE(modelOf("<p>one\0two"s));
  EXPECT_TRUE(log.contains(LogLevel::Info, kUnknownCharset + "<p>one"s));
}

TEST(WFTreeHTMLStripper, LogsBytesThatAreNoTextAsReplacementCharacters) {
  const CapturedLog log;
  ASSERT_TRUE(modelOf("<p>\xFF"));
  EXPECT_TRUE(log.contains(LogLevel::Info, kUnknownCharset + std::string("<p>\xEF\xBF\xBD")));
}

TEST(WFTreeHTMLStripper, HasNoModelForNullData) {
  const CapturedLog log;
  EXPECT_FALSE(WFTreeHTMLStripper::treeStripperWithData(Data()));
  const std::vector<std::string> expected = {
      "-[WFTreeXMLDocumentStripper initWithXMLDocument:] -- passing a nil TreeDocument!"};
  EXPECT_EQ(log.texts(), expected);
  EXPECT_EQ(log.lines().front().level, LogLevel::Error);
}

TEST(WFTreeHTMLStripper, HasNoModelForANullString) {
  const CapturedLog log;
  EXPECT_FALSE(WFTreeHTMLStripper::treeStripperWithString(String()));
  EXPECT_TRUE(log.contains(
      LogLevel::Error, "-[WFTreeXMLDocumentStripper initWithXMLDocument:] -- passing a nil TreeDocument!"));
}

TEST(WFTreeHTMLStripper, HasNoModelForNoBytes) {
  const CapturedLog log(LogLevel::Error);
  EXPECT_FALSE(WFTreeHTMLStripper::treeStripperWithData(Data(std::string())));
  EXPECT_FALSE(WFTreeHTMLStripper::treeStripperWithString(String(u"")));
  const std::vector<std::string> expected = {
      "-[WFTreeHTMLStripper initWithData:] -- Error reading html data",
      "-[WFTreeXMLDocumentStripper initWithXMLDocument:] -- passing a nil TreeDocument!",
      "-[WFTreeHTMLStripper initWithData:] -- Error reading html data",
      "-[WFTreeXMLDocumentStripper initWithXMLDocument:] -- passing a nil TreeDocument!"};
  EXPECT_EQ(log.texts(), expected);
}

TEST(WFTreeHTMLStripper, HasNoModelWhereTheParserMakesNoDocument) {
  // Looks like UCS-4 to the parser, which then finds bytes that are none.
  const platform::Data page = fixture("looks-like-ucs4.html");
  const CapturedLog log(LogLevel::Error);
  EXPECT_FALSE(WFTreeHTMLStripper::treeStripperWithData(page));
  const std::vector<std::string> expected = {
      "-[WFTreeHTMLStripper initWithData:] -- Error reading html data",
      "-[WFTreeXMLDocumentStripper initWithXMLDocument:] -- passing a nil TreeDocument!"};
  EXPECT_EQ(log.texts(), expected);
}

TEST(WFTreeHTMLStripper, HasAnEmptyModelForASingleSpace) {
  const auto model = modelOfFixture("single-space.html");
  ASSERT_TRUE(model);
  EXPECT_EQ(model->pageContent(), String(u" "));
  EXPECT_TRUE(model->pageTitle().isNull());
  EXPECT_TRUE(model->metaTagsLabeled().contents.empty());
  EXPECT_TRUE(model->metaTagsUnlabeled().empty());
  EXPECT_TRUE(model->scriptBlocks().empty());
  EXPECT_TRUE(model->images().empty());
  EXPECT_TRUE(model->links().empty());
  EXPECT_FALSE(model->hasFrameset());
  EXPECT_FALSE(model->hasShortRefresh());
}

TEST(WFTreeHTMLStripper, EncodesAStringAsUTF8WhateverItDeclares) {
  const auto plain =
      WFTreeHTMLStripper::treeStripperWithString(String(u"<meta charset=\"utf-8\"><p>\u00E9</p>"));
  EXPECT_EQ(plain->pageContent(), String(kAsUTF8));
  const auto misled =
      WFTreeHTMLStripper::treeStripperWithString(String(u"<meta charset=\"ISO-8859-1\"><p>\u00E9</p>"));
  EXPECT_EQ(misled->pageContent(), String(u" \u00C3\u00A9 "));
}

TEST(WFTreeHTMLStripper, TakesLoneSurrogatesAndZeros) {
  std::u16string page = u"<meta charset=\"utf-8\"><p>a";
  page += char16_t{0xD800};
  page += u"b</p><p>c";
  page += char16_t{0xDFFF};
  page += u"</p>";
  const auto model = WFTreeHTMLStripper::treeStripperWithString(String(page));
  EXPECT_EQ(model->pageContent(), String(u" a\uFFFDb c\uFFFD "));

  std::u16string zeros = u"<p>one</p>";
  zeros += char16_t{0};
  zeros += u"<p>two</p>";
  const auto withZero = WFTreeHTMLStripper::treeStripperWithString(String(zeros));
  ASSERT_TRUE(withZero);
  EXPECT_TRUE(withZero->pageContent().view().starts_with(u" one "));
}

TEST(WFTreeHTMLStripper, AddsNothingForATextThatIsNotUTF8) {
  const auto model = modelOfFixture("utf8-declared-but-broken.html");
  EXPECT_EQ(model->pageContent(), String(u" good end "));
}

TEST(WFTreeHTMLStripper, KeepsWhatStandsBeforeBytesThatCannotBeDecoded) {
  const auto model = modelOfFixture("gb2312-declared-but-broken.html");
  ASSERT_TRUE(model);
  EXPECT_TRUE(model->pageContent().view().starts_with(u" good "));
}

TEST(ParseHTML, RecoversWithoutErrorsAndWarnings) {
  EXPECT_EQ(kHTMLParseOptions, 97);
}

TEST(WFTreeHTMLStripper, DescribesItself) {
  const auto model = modelOf(
      "<title>T</title><meta name=description content=d><script>a=\"s\"</script><img alt=A><img src=x "
      "width=1>");
  char identity[64];
  std::snprintf(identity, sizeof identity, "<WFTreeHTMLStripper:%p\n", static_cast<const void*>(model.get()));
  EXPECT_EQ(model->description().toUTF8(),
            std::string(identity) +
                "\tpageTitle:T\n"
                "\tmetaTagDescription:d\n"
                "\tmetaTagKeywords:(null)\n"
                "\tscriptBlocks:(\n    s,\n\n)\n"
                "\timages:(\n    (WFImg alt:A src:(null) width:-1 height:-1 ),\n"
                "    (WFImg alt:(null) src:x width:1 height:-1 )\n)\n"
                "\tpageContent: T \n"
                ">");
}

}  // namespace
}  // namespace sifterra
