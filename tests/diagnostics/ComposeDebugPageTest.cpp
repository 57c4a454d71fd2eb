// Tests of the debug page: encodings, the header's placeholders, and where the header goes.
#include "diagnostics/compose_debug_page.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/encoding.h>

#include <cinttypes>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "diagnostics/page_encoding.h"
#include "judge/LibraryMap.h"
#include "platform/FileSystem.h"
#include "platform/Log.h"
#include "sifterra/sifterra.h"

namespace sifterra {
namespace {

using namespace std::string_literals;
using platform::CapturedLog;
using platform::Data;
using platform::LogLevel;
using platform::String;
using platform::URL;
using testing::HasSubstr;
using testing::Not;

constexpr char kTemplatePath[] =
    "/Library/Application Support/Vendrel/Wardenry/ContentFiltering/debugpageheader.html";
constexpr char kNoBody[] = "InjectPage -- Body can't be found, no injection can be made";

class DebugPageTest : public testing::Test {
 protected:
  DebugPageTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "debugpage-XXXXXX").string();
    root_ = ::mkdtemp(pattern.data());
    platform::setFileSystemRoot(root_);
    writeTemplate("[FILTER_FLAG_COLOR FILTER_MESSAGE|DEBUG_MESSAGE|STRIPPED_PAGE|WORD_DUMP]");
  }
  ~DebugPageTest() override {
    WFSetDebugLevel(0);
    platform::setFileSystemRoot("");
    std::filesystem::remove_all(root_);
  }
  void writeTemplate(const std::string& text) const {
    const std::filesystem::path path = root_ + kTemplatePath;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
  }
  void removeTemplate() const { std::filesystem::remove(root_ + kTemplatePath); }

  static String text(const std::string& utf8) { return String::fromUTF8(utf8); }
  static String compose(const std::string& page, const DebugPageFacts& facts = {}) {
    return composeDebugPage(Data(page), URL::fromString(String(u"http://a.example/")), facts);
  }
  static std::string composed(const std::string& page, const DebugPageFacts& facts = {}) {
    const String result = compose(page, facts);
    return result ? result.toUTF8() : "(null)";
  }
  static std::size_t errors(const CapturedLog& log) {
    std::size_t count = 0;
    for (const platform::CapturedLine& line : log.lines()) count += line.level == LogLevel::Error;
    return count;
  }

  std::string root_;
};

const DebugPageFacts kFacts{String(u"page\ntext"), String(u"0.5 a\n0.1 b\n"), String(u"a b"), true};

TEST_F(DebugPageTest, FillsTheHeadersPlaceholders) {
  EXPECT_EQ(composed("<body>x", kFacts),
            "<body>[red Restricted|a&nbsp;b|page<br>\ntext|0.5&nbsp;a<br>\n0.1&nbsp;b<br>\n]x");
  DebugPageFacts allowed = kFacts;
  allowed.restricted = false;
  EXPECT_EQ(composed("<body>x", allowed),
            "<body>[green Allowed|a&nbsp;b|page<br>\ntext|0.5&nbsp;a<br>\n0.1&nbsp;b<br>\n]x");
}

TEST_F(DebugPageTest, ReplacesEveryOccurrence) {
  writeTemplate("FILTER_FLAG_COLOR FILTER_FLAG_COLOR DEBUG_MESSAGE DEBUG_MESSAGE");
  EXPECT_EQ(composed("<body>", kFacts), "<body>red red a&nbsp;b a&nbsp;b");
}

TEST_F(DebugPageTest, NullTextsLeaveTheirPlaceholders) {
  DebugPageFacts facts = kFacts;
  facts.wordDump = nullptr;
  EXPECT_EQ(composed("<body>", facts), "<body>[red Restricted|a&nbsp;b|page<br>\ntext|WORD_DUMP]");
  facts.strippedPage = nullptr;
  EXPECT_EQ(composed("<body>", facts), "<body>[red Restricted|a&nbsp;b|STRIPPED_PAGE|WORD_DUMP]");
}

TEST_F(DebugPageTest, ANullMessageIsEmptyAndSoAreEmptyTexts) {
  const DebugPageFacts facts{String(u""), String(u""), nullptr, false};
  EXPECT_EQ(composed("<body>", facts), "<body>[green Allowed|||]");
}

TEST_F(DebugPageTest, TextsThatDoNotConvertAreNamed) {
  EXPECT_EQ(orErrorText(nullptr, kNoStrippedPage), text("**** Error: strippedPageInHTML is nil <br>"));
  EXPECT_EQ(orErrorText(nullptr, kNoWordDump), text("**** Error: wordDumpInHTML is nil <br>"));
  EXPECT_EQ(orErrorText(text("x"), kNoWordDump), text("x"));
}

// Nothing is escaped, and later steps see what earlier ones inserted.
TEST_F(DebugPageTest, InsertedTextIsTakenLiterally) {
  const DebugPageFacts facts{text("<script>FILTER_MESSAGE WORD_DUMP"), text("<b>"), text("STRIPPED_PAGE"),
                             true};
  EXPECT_EQ(composed("<body>", facts),
            "<body>[red Restricted|<script>Restricted <b>|<script>Restricted <b>|<b>]");
}

TEST_F(DebugPageTest, AHeaderThatGrowsTooLargeIsLeftOut) {
  std::u16string markers;
  for (int i = 0; i < 100000; ++i) markers += u"WORD_DUMP";
  const DebugPageFacts facts{String(markers), String(std::u16string(1000, u'x')), nullptr, true};
  const CapturedLog log;
  EXPECT_EQ(composed("<body>x", facts), "<body>x");
  EXPECT_TRUE(
      log.contains(LogLevel::Error, "ComposeDebugPage -- The header would exceed 33554432 characters"));
}

TEST_F(DebugPageTest, WithoutATemplateThePageComesBackAlone) {
  removeTemplate();
  const CapturedLog log;
  EXPECT_EQ(composed("<p><body>x", kFacts), "<p><body>x");
  EXPECT_TRUE(log.contains(LogLevel::Info,
                           "ComposeDebugPage -- The header template can't be read, no header is shown"));
  EXPECT_EQ(errors(log), 0U);
  writeTemplate("\xFF");
  EXPECT_EQ(composed("<body>x", kFacts), "<body>x");
}

TEST_F(DebugPageTest, TheTemplateIsReadAfreshEachTime) {
  EXPECT_THAT(composed("<body>", kFacts), HasSubstr("red Restricted"));
  writeTemplate("new");
  EXPECT_EQ(composed("<body>", kFacts), "<body>new");
}

// ---- Where it goes

TEST_F(DebugPageTest, TheHeaderFollowsTheBodyTag) {
  writeTemplate("!");
  struct Row {
    const char* page;
    const char* result;
  };
  constexpr Row kRows[] = {
      {"<html><BODY bgcolor='red'>x</BODY>", "<html><BODY bgcolor='red'>!x</BODY>"},
      {"<bodyguard>x", "<bodyguard>!x"},  // any tag that begins so
      {"<body", "<body"},
      {"<body onload='a>b'>x", "<body onload='a>!b'>x"},  // the first ">" counts
      {"<body><body>x", "<body>!<body>x"},
      {"<body>", "<body>!"},
  };
  for (const Row& row : kRows) EXPECT_EQ(composed(row.page), row.result);
}

TEST_F(DebugPageTest, TellsWhereTheBodyIs) {
  const CapturedLog log;
  EXPECT_THAT(composed("<html><BODY>"), HasSubstr("["));
  EXPECT_TRUE(
      log.contains(LogLevel::Debug, "ComposeDebugPage -- Composing debug page for: http://a.example/"));
  EXPECT_TRUE(log.contains(LogLevel::Info, "IndexOfBody -- IndexOfBody found body at index: 6"));
  EXPECT_EQ(errors(log), 0U);
}

TEST_F(DebugPageTest, APageWithoutABodyComesBackUnchanged) {
  const CapturedLog log;
  EXPECT_EQ(composed("<p>words", kFacts), "<p>words");
  EXPECT_EQ(errors(log), 1U);
  EXPECT_TRUE(log.contains(LogLevel::Error, kNoBody));
}

TEST_F(DebugPageTest, ABodyTagWithoutAnEndIsReportedLikeAMissingOne) {
  const CapturedLog log;
  EXPECT_EQ(composed("<p><body class='x'", kFacts), "<p><body class='x'");
  EXPECT_TRUE(log.contains(LogLevel::Info, "IndexOfBody -- IndexOfBody found body at index: 3"));
  EXPECT_TRUE(log.contains(LogLevel::Error, kNoBody));
}

TEST_F(DebugPageTest, ANullPageIsAnError) {
  const CapturedLog log;
  EXPECT_TRUE(composeDebugPage(nullptr, nullptr, kFacts).isNull());
  EXPECT_EQ(errors(log), 1U);
  EXPECT_TRUE(
      log.contains(LogLevel::Error, "InjectPage -- **** Error Trying to inject code into a null page"));
  WFSetDebugLevel(2);
  EXPECT_TRUE(composeDebugPage(nullptr, nullptr, kFacts).isNull());
}

TEST_F(DebugPageTest, AnEmptyPageHasNoBody) {
  EXPECT_EQ(composed(""), "");
}

// ---- Level 2

TEST_F(DebugPageTest, AtLevelTwoNothingOfARestrictedPageIsLoaded) {
  writeTemplate("<img src=x>");
  constexpr char kPage[] = "<body><img src='a' SRC='b' Src='c'> src";
  DebugPageFacts facts;
  facts.restricted = true;
  WFSetDebugLevel(2);
  EXPECT_EQ(composed(kPage, facts), "<body><img src=x><img OFF='a' OFF='b' Src='c'> OFF");
  EXPECT_EQ(composed("<p>src", facts), "<p>OFF");  // also without a body
  facts.restricted = false;
  EXPECT_EQ(composed(kPage, facts), "<body><img src=x><img src='a' SRC='b' Src='c'> src");
}

TEST_F(DebugPageTest, AtOtherLevelsThePageIsLeftAlone) {
  DebugPageFacts facts;
  facts.restricted = true;
  for (const std::int32_t level : {-1, 0, 1, 3}) {
    WFSetDebugLevel(level);
    EXPECT_EQ(composed("<p>src SRC", facts), "<p>src SRC");
  }
}

// ---- Encodings

TEST_F(DebugPageTest, TheParserGuessesTheEncoding) {
  const Data page("<body>"s);
  char line[64];
  std::snprintf(line, sizeof line, "GuessEncodingForData -- GuessEncodingForData: 0x%" PRIxPTR,
                reinterpret_cast<std::uintptr_t>(page.bytes().data()));
  const CapturedLog log;
  EXPECT_EQ(guessEncodingForData(page), XML_CHAR_ENCODING_NONE);
  EXPECT_TRUE(log.contains(LogLevel::Info, line));
  EXPECT_EQ(guessEncodingForData(Data("<?xml version='1.0'?>"s)), XML_CHAR_ENCODING_UTF8);
  EXPECT_EQ(guessEncodingForData(Data("\xEF\xBB\xBFx"s)), XML_CHAR_ENCODING_UTF8);
  EXPECT_EQ(guessEncodingForData(Data("\xFF\xFE\x61\0"s)), XML_CHAR_ENCODING_UTF16LE);
  EXPECT_EQ(guessEncodingForData(nullptr), XML_CHAR_ENCODING_NONE);
}

TEST_F(DebugPageTest, EachKnownEncodingIsDecodedAsSuch) {
  struct Row {
    int encoding;
    std::string bytes;
    const char16_t* text;
  };
  const Row rows[] = {
      {XML_CHAR_ENCODING_UTF8, "\xC3\xA9", u"\u00E9"},
      {XML_CHAR_ENCODING_8859_1, "\xE9\x80", u"\u00E9\u0080"},
      {XML_CHAR_ENCODING_8859_2, "\xB1", u"\u0105"},
      {XML_CHAR_ENCODING_SHIFT_JIS, "\x82\xA0", u"\u3042"},
      {XML_CHAR_ENCODING_EUC_JP, "\xA4\xA2", u"\u3042"},
      {XML_CHAR_ENCODING_ASCII, "abc", u"abc"},
  };
  const CapturedLog log;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.encoding);
    EXPECT_EQ(decodedByGuess("op", Data(row.bytes), row.encoding), String(row.text));
  }
  EXPECT_TRUE(decodedByGuess("op", Data("\xE9"s), XML_CHAR_ENCODING_ASCII).isNull());
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(DebugPageTest, OtherEncodingsAreTakenForUTF8) {
  const CapturedLog log;
  EXPECT_EQ(decodedByGuess("op", Data("\xC3\xA9"s), XML_CHAR_ENCODING_8859_3), String(u"\u00E9"));
  EXPECT_THAT(log.texts(), testing::ElementsAre("op -- Unknown page encoding: 12"));
  EXPECT_TRUE(log.contains(LogLevel::Info, "op -- Unknown page encoding: 12"));
}

TEST_F(DebugPageTest, WhatIsNotUTF8IsTakenForLatin1) {
  const CapturedLog log;
  EXPECT_EQ(composed("<p>caf\xE9"), "<p>caf\xC3\xA9");
  EXPECT_TRUE(log.contains(LogLevel::Info, "ComposeDebugPage -- UTF-8 did not work, trying ISO Latin-1"));
}

TEST_F(DebugPageTest, AUTF16MarkIsAnUnknownEncoding) {
  const CapturedLog log;
  EXPECT_EQ(compose("\xFF\xFE\x61\0"s), String(std::u16string_view(u"\u00FF\u00FEa\0", 4)));
  EXPECT_TRUE(log.contains(LogLevel::Info, "ComposeDebugPage -- Unknown page encoding: 2"));
  EXPECT_TRUE(log.contains(LogLevel::Info, "ComposeDebugPage -- UTF-8 did not work, trying ISO Latin-1"));
}

TEST_F(DebugPageTest, TheLogTellsOneStepAfterTheOther) {
  const CapturedLog log;
  EXPECT_THAT(composed("\xFF\xFE<body>", kFacts), HasSubstr("["));
  EXPECT_THAT(log.texts(),
              testing::ElementsAre("ComposeDebugPage -- Composing debug page for: http://a.example/",
                                   testing::StartsWith("GuessEncodingForData -- GuessEncodingForData: 0x"),
                                   "ComposeDebugPage -- Unknown page encoding: 2",
                                   "ComposeDebugPage -- UTF-8 did not work, trying ISO Latin-1",
                                   "IndexOfBody -- IndexOfBody found body at index: 2"));
}

// ---- The simple form

TEST_F(DebugPageTest, TheSimpleFormMakesTextAndScoresItself) {
  const LibraryMap library;
  library.addMapFile();
  FakeScript script = calibratedScript(0.9F, 0.1F);
  script.dump = "0.1 b\n0.5 a\n";
  library.setMap(script);
  const Data page = composeDebugPageSimple(Data("<title>T</title><body><p>plain words</p></body>"s), nullptr,
                                           text("a message"));
  const std::string result(page.chars());
  EXPECT_THAT(result, HasSubstr("<body>[red Restricted|a&nbsp;message|"));
  EXPECT_THAT(result, HasSubstr("plain words"));
  EXPECT_THAT(result, HasSubstr("|0.5&nbsp;a<br>\n0.1&nbsp;b<br>\n]<p>plain words</p></body>"));
}

TEST_F(DebugPageTest, TheSimpleFormLoadsAMapEachTime) {
  const LibraryMap library;
  library.addMapFile();
  library.setMap(calibratedScript(0.9F, 0.1F));
  const int before = loadCount();
  for (int i = 0; i < 2; ++i)
    EXPECT_FALSE(composeDebugPageSimple(Data("<body>"s), nullptr, nullptr).isNull());
  EXPECT_EQ(loadCount(), before + 2);
}

TEST_F(DebugPageTest, TheSimpleFormReadsNoTextOfPagesThatAreNotUTF8) {
  const LibraryMap library;
  library.addMapFile();
  library.setMap(calibratedScript(0.9F, 0.1F));
  writeTemplate("[FILTER_MESSAGE|STRIPPED_PAGE]");
  const Data page = composeDebugPageSimple(Data("<body>caf\xE9"s), nullptr, nullptr);
  EXPECT_THAT(std::string(page.chars()), testing::StartsWith("<body>[Restricted|"));
  EXPECT_THAT(std::string(page.chars()), testing::EndsWith("]caf\xC3\xA9"));
  EXPECT_THAT(std::string(page.chars()), Not(HasSubstr("caf\xC3\xA9]")));
}

TEST_F(DebugPageTest, TheSimpleFormIsRestrictedAtLevelTwoToo) {
  const LibraryMap library;
  writeTemplate("!");
  WFSetDebugLevel(2);
  const Data page = composeDebugPageSimple(Data("<body><img src='a'>"s), nullptr, nullptr);
  EXPECT_EQ(page.chars(), "<body>!<img OFF='a'>");
}

TEST_F(DebugPageTest, TheSimpleFormDoesWithoutAMap) {
  const LibraryMap library;
  const Data page = composeDebugPageSimple(Data("<body>words"s), nullptr, nullptr);
  EXPECT_THAT(std::string(page.chars()), HasSubstr("|WORD_DUMP]words"));
  EXPECT_TRUE(composeDebugPageSimple(nullptr, nullptr, nullptr).isNull());
}

// ---- The template that is installed as an example

TEST_F(DebugPageTest, TheExampleTemplateLeavesNoPlaceholder) {
  std::ostringstream example;
  example << std::ifstream(SIFTERRA_SOURCE_DIR "/resources/debugpageheader.html").rdbuf();
  ASSERT_FALSE(example.str().empty());
  for (const char* placeholder :
       {"DEBUG_MESSAGE", "STRIPPED_PAGE", "WORD_DUMP", "FILTER_FLAG_COLOR", "FILTER_MESSAGE"})
    EXPECT_THAT(example.str(), HasSubstr(placeholder));
  writeTemplate(example.str());
  const std::string page = composed("<body>x", kFacts);
  for (const char* placeholder :
       {"DEBUG_MESSAGE", "STRIPPED_PAGE", "WORD_DUMP", "FILTER_FLAG_COLOR", "FILTER_MESSAGE"})
    EXPECT_THAT(page, Not(HasSubstr(placeholder)));
  EXPECT_THAT(page, HasSubstr(">Restricted<"));
  EXPECT_THAT(page, Not(HasSubstr("http")));  // nothing is loaded from anywhere
}

}  // namespace
}  // namespace sifterra
