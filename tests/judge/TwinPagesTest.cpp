// A page is judged for what it says: however it is encoded, and whatever it does to its markup to hide.
#include <gtest/gtest.h>
#include <iconv.h>

#include <memory>
#include <string>

#include "lsm/TinyMap.h"
#include "sifterra/classifier/WFLSMScoreNormalizedMap.h"
#include "sifterra/judge/WFJudge.h"
#include "sifterra/page/WFTreeHTMLStripper.h"
#include "sifterra/page/decodePage.h"

namespace sifterra {
namespace {

using platform::Data;
using platform::String;

struct Outcome {
  bool restricted;
  std::int32_t evidence;
  std::string scores;
  bool operator==(const Outcome&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
  return out << (outcome.restricted ? "restricted " : "allowed ") << outcome.evidence << " "
             << outcome.scores;
}

class TwinPages : public testing::Test {
 protected:
  Outcome judged(const std::string& bytes, const char* charset = nullptr) const {
    const String header = charset != nullptr ? String::fromUTF8(charset) : String();
    const auto verdict = judge_.pronounceOnPageContent(decodePage(Data(bytes), header),
                                                       String(u"http://example.com/"), nullptr, nullptr);
    const auto result = verdict->LSMEvaluationResult();
    return {verdict->restricted(), verdict->evidence(), result ? result->debugDescription().toUTF8() : ""};
  }

 private:
  lsm::TinyMapFile file_;
  WFJudge judge_{WFLSMScoreNormalizedMap::mapFromFilePath(String::fromUTF8(file_.path()))};
};

std::string contentOf(const std::string& bytes, const char* charset) {
  const String header = charset != nullptr ? String::fromUTF8(charset) : String();
  return WFTreeHTMLStripper::treeStripperWithString(decodePage(Data(bytes), header))->pageContent().toUTF8();
}

std::string encoded(const std::string& utf8, const char* encoding) {
  iconv_t converter = iconv_open(encoding, "UTF-8");
  EXPECT_NE(converter, reinterpret_cast<iconv_t>(-1)) << encoding;
  std::string bytes(utf8.size() * 4 + 16, '\0');
  std::string input = utf8;
  char* from = input.data();
  char* to = bytes.data();
  std::size_t left = input.size();
  std::size_t room = bytes.size();
  EXPECT_EQ(iconv(converter, &from, &left, &to, &room), 0U) << encoding;
  iconv_close(converter);
  bytes.resize(bytes.size() - room);
  return bytes;
}

struct Encoding {
  const char* label;
  const char* iconvName;
  const char* words;  // UTF-8, in a language that the encoding serves
};
constexpr Encoding kEncodings[] = {
    {"shift_jis", "CP932",
     "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\xE3\x81\xAE\xE3\x83\x9A\xE3\x83\xBC\xE3\x82\xB8"},
    {"euc-jp", "EUC-JP",
     "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\xE3\x81\xAE\xE3\x83\x9A\xE3\x83\xBC\xE3\x82\xB8"},
    {"gb18030", "GB18030", "\xE4\xB8\xAD\xE6\x96\x87\xE7\xBD\x91\xE9\xA1\xB5"},
    {"big5", "BIG5", "\xE4\xB8\xAD\xE6\x96\x87\xE7\xB6\xB2\xE9\xA0\x81"},
    {"koi8-r", "KOI8-R", "\xD1\x80\xD1\x83\xD1\x81\xD1\x81\xD0\xBA\xD0\xB0\xD1\x8F \xD1\x81\xD1\x82\xD1\x80"},
    {"windows-1251", "CP1251",
     "\xD1\x80\xD1\x83\xD1\x81\xD1\x81\xD0\xBA\xD0\xB0\xD1\x8F \xD1\x81\xD1\x82\xD1\x80"},
    {"iso-8859-1", "ISO-8859-1", "caf\xC3\xA9 d\xC3\xA9j\xC3\xA0 vu"},
    {"iso-8859-2", "ISO-8859-2", "za\xC5\xBC\xC3\xB3\xC5\x82\xC4\x87"},
    {"iso-8859-7", "ISO-8859-7", "\xCE\xBA\xCE\xB1\xCE\xBB\xCE\xAE"},
    {"iso-8859-9", "ISO-8859-9", "\xC4\x9F\xC3\xBC\xC5\x9F"},
    {"iso-8859-15", "ISO-8859-15", "\xE2\x82\xAC 5"},
    {"utf-16le", "UTF-16LE", "\xD1\x80\xD1\x83\xD1\x81"},
    {"utf-16be", "UTF-16BE", "\xE4\xB8\xAD\xE6\x96\x87"},
};

std::string pageWith(const std::string& head, const std::string& words) {
  return "<html><head>" + head + "<title>xxx</title></head><body><p>" + words +
         "</p><p>free xxx porn nude erotic escort webcam " + words + " sexy videos</p></body></html>";
}

TEST_F(TwinPages, APageInAnyEncodingIsItsUTF8Twin) {
  for (const Encoding& encoding : kEncodings) {
    SCOPED_TRACE(encoding.label);
    const std::string utf8 = pageWith("<meta charset=\"utf-8\">", encoding.words);
    const std::string head = std::string("<meta charset=\"") + encoding.label + "\">";
    const std::string bytes = encoded(pageWith(head, encoding.words), encoding.iconvName);
    const Outcome twin = judged(utf8);
    ASSERT_TRUE(twin.restricted) << twin;
    EXPECT_EQ(judged(bytes, encoding.label), twin);
    EXPECT_EQ(contentOf(bytes, encoding.label), contentOf(utf8, nullptr));
    EXPECT_EQ(judged(bytes), twin) << "by its own declaration";
    EXPECT_EQ(contentOf(bytes, nullptr), contentOf(utf8, nullptr));
  }
}

std::string repeated(const std::string& piece, std::size_t times) {
  std::string text;
  for (std::size_t i = 0; i < times; ++i) text += piece;
  return text;
}

constexpr const char* kWords = "free xxx porn nude erotic escort webcam sexy videos hardcore adult";
constexpr const char* kPlain = "<html><body><p>weather school garden recipe library</p><p>";

TEST_F(TwinPages, APageThatHidesBelowDeepNestingIsItsPlainTwin) {
  const Outcome twin = judged(std::string(kPlain) + kWords + "</p></body></html>");
  ASSERT_TRUE(twin.restricted) << twin;
  for (const std::size_t levels : {std::size_t{199}, std::size_t{257}, std::size_t{30000}}) {
    SCOPED_TRACE(levels);
    const std::string deep =
        std::string(kPlain) + repeated("<div>", levels) + kWords + repeated("</div>", levels);
    EXPECT_EQ(judged(deep + "</body></html>"), twin);
    EXPECT_EQ(judged(std::string(kPlain) + repeated("<b>", levels) + "</p><p>" + kWords), twin)
        << "never closed";
  }
}

TEST_F(TwinPages, APageThatHidesBehindALongTextIsItsPlainTwin) {
  // Words that mean nothing fill the text up to where the parser drops the rest.
  const std::string filler = repeated("qzqz ", 12 * 1024 * 1024 / 5);
  const Outcome apart = judged("<p>" + filler + "</p><p>" + kWords + "</p>");
  EXPECT_EQ(judged("<p>" + filler + kWords + "</p>"), apart);
  EXPECT_EQ(contentOf("<p>" + filler + kWords + "</p>", nullptr).ends_with(std::string(kWords) + " "), true);
}

TEST_F(TwinPages, APageThatHidesBehindManyAttributesIsItsPlainTwin) {
  std::string attributes;
  for (int i = 0; i < 100000; ++i) attributes += " a" + std::to_string(i) + "=1";
  const std::string rest = std::string(" alt='") + kWords + "'>weather school garden recipe library";
  const Outcome twin = judged("<img" + rest);
  EXPECT_EQ(judged("<img" + attributes + rest), twin);
}

TEST_F(TwinPages, APageThatHidesBehindZeroBytesOrAbruptCommentsIsItsPlainTwin) {
  const Outcome twin = judged(std::string(kPlain) + kWords + "</p>");
  EXPECT_EQ(judged(std::string(kPlain) + std::string(1, '\0') + kWords + "</p>"), twin);
  EXPECT_EQ(judged(std::string(kPlain) + "<!-->" + kWords + "</p>"), twin);
}

}  // namespace
}  // namespace sifterra
