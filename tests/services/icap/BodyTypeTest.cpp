#include "body_type.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace sifterra::icap {
namespace {

TEST(BodyType, IsWhatTheHeaderSays) {
  for (const std::string_view value :
       {"text/html", "TEXT/HTML", " text/html ; charset=utf-8", "application/xhtml+xml", "text/plain",
        "application/vnd.wap.xhtml+xml", "text/xml", "application/xml", "Application/Atom+XML",
        "image/svg+xml; charset=utf-8", "multipart/x-mixed-replace; boundary=x"})
    EXPECT_EQ(bodyType(value), BodyType::Page) << value;
  for (const std::string_view value :
       {"", ";", "unknown/unknown", "application/unknown", "*/*", "html", "text", "text /html", "text/",
        "/html", "image/\"png\"", "image/png/x", "text/html\x01", "image/png,", "image/png, nonsense"})
    EXPECT_EQ(bodyType(value), BodyType::Unnamed) << value;
  for (const std::string_view value : {"image/png", "application/octet-stream", "text/css",
                                       "application/json", "text/htmlx", "application/xmlx", "video/mp4"})
    EXPECT_EQ(bodyType(value), BodyType::Other) << value;
  EXPECT_EQ(stricter(BodyType::Other, BodyType::Page), BodyType::Page);
  EXPECT_EQ(stricter(BodyType::Unnamed, BodyType::Other), BodyType::Unnamed);
}

TEST(BodyType, IsThatOfTheStrictestPart) {
  for (const std::string_view value :
       {"image/png, text/html", "image/png,text/html", "text/html, image/png",
        "image/png ;x=1 , text/html ;y=2", "image/png, , text/html", "image/png; x=\"a,b\", text/html",
        "image/png; x=\"a, text/html", "image/png; x=\"\\\", text/html", "text/html foo", "text/html\tfoo",
        "text/html(x)", "text/html;", "text/html,"})
    EXPECT_EQ(bodyType(value), BodyType::Page) << value;
  for (const std::string_view value : {"image/png; x=\"a,b\"", "image/png foo", "image/png(text/html)",
                                       "image/png;text/html", "image/png, video/mp4"})
    EXPECT_EQ(bodyType(value), BodyType::Other) << value;
}

TEST(Charset, IsTheFirstThatTheHeaderNames) {
  EXPECT_EQ(charsetOf("text/html; charset=utf-8"), "utf-8");
  EXPECT_EQ(charsetOf("text/html;boundary=x; CharSet=\"euc-jp\" ; charset=big5"), "euc-jp");
  EXPECT_EQ(charsetOf("text/html"), "");
  EXPECT_EQ(charsetOf("text/html; charset"), "");
  EXPECT_EQ(charsetOf("text/html; xcharset=utf-8"), "");
  EXPECT_EQ(charsetOf("charset=utf-8"), "");
}

TEST(Charset, IsReadThroughQuotes) {
  EXPECT_EQ(charsetOf("text/html; x=\"; charset=big5\"; charset=utf-8"), "utf-8");
  EXPECT_EQ(charsetOf("text/html; x=\"\\\"; charset=big5\"; charset=utf-8"), "utf-8");
  EXPECT_EQ(charsetOf("text/html; charset=\"utf\\-8\""), "utf-8");
  EXPECT_EQ(charsetOf("text/html; charset=\"utf-8"), "utf-8");
  EXPECT_EQ(charsetOf("text/html; charset=\"\""), "");
  EXPECT_EQ(charsetOf("text/html; charset=utf-8, text/html; charset=big5"), "big5");
  EXPECT_EQ(charsetOf("text/html; charset=utf-8, text/html"), "utf-8");
}

TEST(Charsets, AreOneWhereThereIsNoDoubt) {
  using testing::ElementsAre;
  EXPECT_THAT(charsetsOf({}), ElementsAre(""));
  EXPECT_THAT(charsetsOf({"text/html"}), ElementsAre(""));
  EXPECT_THAT(charsetsOf({"text/html; charset=utf-8"}), ElementsAre("utf-8"));
  EXPECT_THAT(charsetsOf({"text/html; charset=\"UTF-8\"", "text/html;charset=utf-8"}), ElementsAre("utf-8"));
}

TEST(Charsets, AreAllThatAnybodyMayRead) {
  using testing::ElementsAre;
  EXPECT_THAT(charsetsOf({"text/html; charset=utf-8", "text/html; charset=big5"}),
              ElementsAre("big5", "utf-8", ""));
  EXPECT_THAT(charsetsOf({"text/html; x=\"; charset=big5\"; charset=utf-8"}),
              ElementsAre("utf-8", "big5", ""));
  EXPECT_THAT(charsetsOf({"text/html; charset=utf-8; charset=big5"}), ElementsAre("utf-8", "big5", ""));
  EXPECT_THAT(charsetsOf({"text/html charset = 'utf-8'"}), ElementsAre("", "utf-8"));
  EXPECT_THAT(charsetsOf({"text/html; charset=UTF-16LE"}), ElementsAre("UTF-16LE", ""));
  EXPECT_THAT(charsetsOf({"text/html; charset=a, charset=b, charset=c, charset=d, charset=e, charset=f"}),
              testing::SizeIs(kMostCharsets + 1));
}

TEST(IsPage, BelievesTheHeaderWhenItSaysSo) {
  EXPECT_TRUE(isPage(BodyType::Page, "\x89PNG\r\n\x1A\n"));
  EXPECT_TRUE(isPage(BodyType::Page, ""));
}

TEST(IsPage, LooksForAPageWhereTheHeaderSaysSomethingElse) {
  EXPECT_TRUE(isPage(BodyType::Other, "GIF89a<html>"));
  EXPECT_TRUE(isPage(BodyType::Other, "<?xml version='1.0'?><html xmlns='http://www.w3.org/1999/xhtml'>"));
  EXPECT_FALSE(isPage(BodyType::Other, "<?xml version='1.0'?><feed/>"));
  EXPECT_FALSE(isPage(BodyType::Other, "plain words"));
  EXPECT_FALSE(isPage(BodyType::Other, "GIF89a"));
  EXPECT_FALSE(isPage(BodyType::Other, std::string(1024, ' ') + "<html>"));
}

TEST(IsPage, TakesTextForAPageWhereTheHeaderSaysNothing) {
  using namespace std::string_view_literals;
  EXPECT_TRUE(isPage(BodyType::Unnamed, "plain words\r\nin lines\r\n"));
  EXPECT_TRUE(isPage(BodyType::Unnamed, "<p>without its head"));
  EXPECT_TRUE(isPage(BodyType::Unnamed, "\xFF\xFE<\0p\0>\0"sv));
  EXPECT_FALSE(isPage(BodyType::Unnamed, "\x89PNG\r\n\x1A\n"));
  EXPECT_FALSE(isPage(BodyType::Unnamed, "%PDF-1.7"));
  EXPECT_FALSE(isPage(BodyType::Unnamed, "PK\x03\x04"));
  EXPECT_FALSE(isPage(BodyType::Unnamed,
                      "\0\0\0\x18"
                      "ftypmp42"sv));
}

// Browsers call a body HTML by its first tag, before they look for bytes that no text has.
TEST(IsPage, TakesMarkupForAPageWhateverStandsInIt) {
  using namespace std::string_view_literals;
  EXPECT_TRUE(isPage(BodyType::Unnamed, "<!--\x01--><p>words"));
  EXPECT_TRUE(isPage(BodyType::Unnamed, "\t\n\f\r <!--\0--><p>words"sv));
  EXPECT_TRUE(isPage(BodyType::Unnamed, "\xEF\xBB\xBF<!--\0--><p>words"sv));
  EXPECT_TRUE(isPage(BodyType::Unnamed, "<!-- <?xml --><p>words"));
  EXPECT_TRUE(isPage(BodyType::Unnamed, "words <?xml and more words"));
  std::string document(1024, '.');
  document.replace(516, 4, "\xEC\xA5\xC1\0"sv);
  EXPECT_FALSE(isPage(BodyType::Unnamed, document));
  document.replace(0, 3, "<p>");
  EXPECT_TRUE(isPage(BodyType::Unnamed, document));
  EXPECT_TRUE(isPage(BodyType::Unnamed, "FWS are three letters"));
  EXPECT_TRUE(isPage(BodyType::Unnamed, "%PDF is no document without a dash"));
  EXPECT_FALSE(isPage(BodyType::Unnamed, "FWS\x09\0\0"sv));
  EXPECT_FALSE(isPage(BodyType::Unnamed, "GIF89a"));
  EXPECT_FALSE(isPage(BodyType::Other, "<!--\x01--><p>words"));
}

}  // namespace
}  // namespace sifterra::icap
