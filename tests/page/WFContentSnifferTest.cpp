// Tests of the content sniffer: each signature, where it is looked for, and in what order.
#include "sifterra/page/WFContentSniffer.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "reference/plain_sniffer.h"

namespace sifterra {
namespace {

using namespace std::string_literals;
using platform::Data;
using platform::String;

String typeOf(const std::string& bytes) {
  return WFContentSniffer::MIMETypeForData(Data(bytes));
}

String typeOfText(const std::string& text) {
  return WFContentSniffer::MIMETypeForString(String::fromUTF8(text));
}

std::string wordDocument(std::size_t size) {
  std::string bytes(std::max<std::size_t>(size, 520), 'x');
  bytes.replace(516, 4, "\xEC\xA5\xC1\0"s);
  bytes.resize(size);
  return bytes;
}

struct Row {
  std::string bytes;
  const char16_t* type;
};

TEST(WFContentSniffer, KnowsTypesByTheirSignatures) {
  const Row rows[] = {
      {"<?xml version='1.0'?><feed/>", u"application/xml"},
      {"<?xml version='1.0'?><html xmlns='x'>", u"application/xhtml+xml"},
      {"<HTML><body>x</body></HTML>", u"text/html"},
      {"x</hTmL", u"text/html"},
      {"words <html", u"text/html"},
      {"GIF87a...", u"image/gif"},
      {"GIF89a...", u"image/gif"},
      {"\xFF\xD8\xFF", u"image/jpeg"},
      {"%PDF-1.4", u"application/pdf"},
      {"\x89PNG\r\n\x1A\n", u"image/png"},
      {"FWS", u"application/x-shockwave-flash"},
      {"CWS\x08", u"application/x-shockwave-flash"},
      {wordDocument(520), u"application/msword"},
      {"words", u"text/plain"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.bytes);
    EXPECT_EQ(typeOf(row.bytes), String(row.type));
  }
}

TEST(WFContentSniffer, WhatIsAlmostASignatureIsPlainText) {
  const std::string rows[] = {"gif89a...",
                              "GIF88a",
                              " GIF89a",
                              "\xFF\xD8",
                              "\xFF\xD8\xFE",
                              "%pdf",
                              "x%PDF",
                              "\x89PNG\r\n\x1A",
                              "\x89PNG\n\x1A\n",
                              "fws",
                              "FW",
                              "<htm",
                              "< html",
                              "<?XML?>",
                              "xmlns",
                              "\x01\x02\x7F"s,
                              "\0\0\0\0"s,
                              "\x89PNG\r\n\x1A\r"};
  for (const std::string& row : rows) {
    SCOPED_TRACE(row);
    EXPECT_EQ(typeOf(row), String(u"text/plain"));
  }
}

TEST(WFContentSniffer, XMLIsTestedFirst) {
  EXPECT_EQ(typeOf("GIF89a<?xml?>"), String(u"application/xml"));
  EXPECT_EQ(typeOf("<html><?xml?>"), String(u"application/xml"));
  EXPECT_EQ(typeOf("<html XMLNS=''><?xml?>"), String(u"application/xhtml+xml"));
  EXPECT_EQ(typeOf("<?xml?><!-- <html and xmlns --><feed/>"), String(u"application/xhtml+xml"));
  EXPECT_EQ(typeOf("<?xml?><feed xmlns=''/>"), String(u"application/xml"));
  EXPECT_EQ(typeOf("\xFF\xD8\xFF<?xml"), String(u"application/xml"));
  EXPECT_EQ(typeOf("<html xmlns=''>"), String(u"text/html"));  // without a declaration it is no XHTML
}

TEST(WFContentSniffer, HTMLIsTestedBeforeTheOthers) {
  EXPECT_EQ(typeOf("GIF89a<html"), String(u"text/html"));
  EXPECT_EQ(typeOf("%PDF<html"), String(u"text/html"));
  EXPECT_EQ(typeOf("\xFF\xD8\xFF<html"), String(u"text/html"));
}

TEST(WFContentSniffer, SignaturesAtTheStartWinOverTheOneOfWord) {
  std::string bytes = wordDocument(600);
  EXPECT_EQ(typeOf(bytes.replace(0, 3, "FWS")), String(u"application/x-shockwave-flash"));
  EXPECT_EQ(typeOf(bytes.replace(0, 8, "\x89PNG\r\n\x1A\n")), String(u"image/png"));
}

TEST(WFContentSniffer, EmptyDataIsPlainText) {
  EXPECT_EQ(typeOf(""), String(u"text/plain"));
  EXPECT_EQ(typeOfText(""), String(u"text/plain"));
}

TEST(WFContentSniffer, NullHasNoType) {
  EXPECT_TRUE(WFContentSniffer::MIMETypeForData(nullptr).isNull());
  EXPECT_TRUE(WFContentSniffer::MIMETypeForString(nullptr).isNull());
  EXPECT_TRUE(WFContentSniffer::MIMETypeForData(nullptr, String(u"<html")).isNull());
  EXPECT_TRUE(WFContentSniffer::MIMETypeForData(Data("<html"s), nullptr).isNull());
}

TEST(WFContentSniffer, OfDataTheTextIsTheFirst1024Bytes) {
  const std::string within = std::string(1019, ' ') + "<html>";  // "<html" ends with byte 1024
  const std::string behind = std::string(1020, ' ') + "<html>";
  const std::string after = std::string(1024, ' ') + "<html>";
  EXPECT_EQ(typeOf(within), String(u"text/html"));
  EXPECT_EQ(typeOf(behind), String(u"text/plain"));
  EXPECT_EQ(typeOf(after), String(u"text/plain"));
  EXPECT_EQ(typeOfText(behind), String(u"text/html"));
  EXPECT_EQ(typeOfText(after), String(u"text/html"));
}

TEST(WFContentSniffer, TextWithOtherThanASCIIHasNoType) {
  EXPECT_TRUE(typeOfText("<html>Caf\xC3\xA9").isNull());
  EXPECT_TRUE(WFContentSniffer::MIMETypeForString(String(u"<html>\xD800")).isNull());
  EXPECT_EQ(typeOf("<html>Caf\xC3\xA9"), String(u"text/html"));  // of bytes each is one character
}

TEST(WFContentSniffer, ABufferOf516To519BytesIsNeverWord) {
  for (const std::size_t size : {0U, 515U, 516U, 517U, 518U, 519U}) {
    SCOPED_TRACE(size);
    EXPECT_FALSE(WFContentSniffer::isWord(Data(wordDocument(size))));
    EXPECT_EQ(typeOf(wordDocument(size)), String(u"text/plain"));
  }
  EXPECT_TRUE(WFContentSniffer::isWord(Data(wordDocument(520))));
  EXPECT_TRUE(WFContentSniffer::isWord(Data(wordDocument(5000))));
  // The sector's start, four bytes earlier, is not looked at.
  EXPECT_FALSE(WFContentSniffer::isWord(Data(std::string(512, 'x') + "\xEC\xA5\xC1\0xxxxx"s)));
}

TEST(WFContentSniffer, OctetStreamsHoldAControlCharacter) {
  EXPECT_FALSE(WFContentSniffer::isOctetStream(nullptr));
  EXPECT_FALSE(WFContentSniffer::isOctetStream(Data(""s)));
  for (int value = 0; value < 256; ++value) {
    SCOPED_TRACE(value);
    const bool control = (value >= 1 && value <= 8) || (value >= 11 && value <= 31) || value == 127;
    const std::string bytes = "text" + std::string(1, static_cast<char>(value));
    EXPECT_EQ(WFContentSniffer::isOctetStream(Data(bytes)), control);
  }
}

TEST(WFContentSniffer, ThreeTypesAreHTMLOrText) {
  EXPECT_FALSE(WFContentSniffer::MIMETypeIsHTMLOrText(nullptr));
  for (const char16_t* type : {u"text/html", u"application/xhtml+xml", u"text/plain"})
    EXPECT_TRUE(WFContentSniffer::MIMETypeIsHTMLOrText(String(type)));
  for (const char16_t* type :
       {u"Text/HTML", u"", u"application/xml", u"text/html; charset=utf-8", u"image/gif", u"text/plain "})
    EXPECT_FALSE(WFContentSniffer::MIMETypeIsHTMLOrText(String(type)));
}

TEST(WFContentSniffer, AgreesWithThePlainVersion) {
  const std::string parts[] = {"<?xml", "<HTML", "</html", "xmlNS", "GIF89a", "\xFF\xD8\xFF",
                               "%PDF",  "FWS",   "x",      "\xC3",  "\0"s,    "\x89PNG\r\n\x1A\n"};
  std::mt19937 random(2101);
  for (int round = 0; round < 20000; ++round) {
    std::string bytes;
    for (auto count = random() % 5; count > 0; --count) bytes += parts[random() % std::size(parts)];
    if (random() % 4 == 0) bytes.insert(random() % 2 == 0 ? 0 : bytes.size(), 1010 + random() % 30, ' ');
    if (random() % 8 == 0)
      bytes = bytes.substr(0, 100) + wordDocument(530).substr(std::min<std::size_t>(100, bytes.size()));
    ASSERT_EQ(typeOf(bytes).toUTF8(), reference::sniffed(bytes, bytes.substr(0, 1024))) << bytes;
  }
}

}  // namespace
}  // namespace sifterra
