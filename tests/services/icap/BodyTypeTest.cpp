#include "body_type.h"

#include <gtest/gtest.h>

namespace sifterra::icap {
namespace {

TEST(BodyType, IsWhatTheHeaderSays) {
  for (const std::string_view value :
       {"text/html", "TEXT/HTML", " text/html ; charset=utf-8", "application/xhtml+xml", "text/plain",
        "application/vnd.wap.xhtml+xml"})
    EXPECT_EQ(bodyType(value), BodyType::Page) << value;
  for (const std::string_view value :
       {"", ";", "unknown/unknown", "application/unknown", "*/*", "html", "text"})
    EXPECT_EQ(bodyType(value), BodyType::Unnamed) << value;
  for (const std::string_view value : {"image/png", "application/octet-stream", "text/css",
                                       "application/json", "text/htmlx", "application/xml", "video/mp4"})
    EXPECT_EQ(bodyType(value), BodyType::Other) << value;
  EXPECT_EQ(stricter(BodyType::Other, BodyType::Page), BodyType::Page);
  EXPECT_EQ(stricter(BodyType::Unnamed, BodyType::Other), BodyType::Unnamed);
}

TEST(Charset, IsTheFirstThatTheHeaderNames) {
  EXPECT_EQ(charsetOf("text/html; charset=utf-8"), "utf-8");
  EXPECT_EQ(charsetOf("text/html;boundary=x; CharSet=\"euc-jp\" ; charset=big5"), "euc-jp");
  EXPECT_EQ(charsetOf("text/html"), "");
  EXPECT_EQ(charsetOf("text/html; charset"), "");
  EXPECT_EQ(charsetOf("text/html; xcharset=utf-8"), "");
  EXPECT_EQ(charsetOf("charset=utf-8"), "");
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

}  // namespace
}  // namespace sifterra::icap
