// Bytes to text: which encoding wins, what becomes of malformed bytes, and that a page reads the same
// in every encoding.
#include "sifterra/page/decodePage.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <string_view>

#include "page/declared_encoding.h"
#include "platform/CharacterSet.h"
#include "sifterra/page/WFTreeHTMLStripper.h"

namespace sifterra {
namespace {

using namespace std::string_literals;
using platform::Data;
using platform::String;

// The text behind the declaration that decodePage puts in front.
std::u16string bodyOf(const String& text) {
  constexpr std::u16string_view kFront = u"<!--charset=\"UTF-8\"-->";
  EXPECT_TRUE(text.view().starts_with(kFront));
  return std::u16string(text.view().substr(kFront.size()));
}

std::u16string decoded(std::string bytes, const char* charset = nullptr) {
  return bodyOf(decodePage(Data(std::move(bytes)), charset ? String::fromUTF8(charset) : String()));
}

std::string contentOf(const std::string& bytes) {
  const auto page = WFTreeHTMLStripper::treeStripperWithString(decodePage(Data(bytes), nullptr));
  return page ? page->pageContent().toUTF8() : "no page";
}

TEST(DecodePage, AnswersNullForNullAndADeclarationAloneForNothing) {
  EXPECT_TRUE(decodePage(nullptr, nullptr).isNull());
  EXPECT_EQ(decoded(""), u"");
}

TEST(DecodePage, ByteOrderMarkWinsOverEverything) {
  EXPECT_EQ(decoded("\xEF\xBB\xBF<meta charset=koi8-r>\xC3\xA9", "windows-1251"),
            u"<meta charset=koi8-r>\u00E9");
  EXPECT_EQ(decoded("\xFF\xFE\x3C\x00\x70\x00\x3E\x00\x16\x04"s, "utf-8"), u"<p>\u0416");
  EXPECT_EQ(decoded("\xFE\xFF\x00\x3C\x00\x70\x00\x3E\x04\x16"s, "utf-8"), u"<p>\u0416");
}

TEST(DecodePage, CallersCharsetWinsOverThePages) {
  EXPECT_EQ(decoded("<meta charset=utf-8>\xD6", "windows-1251"), u"<meta charset=utf-8>\u0426");
  EXPECT_EQ(decoded("<meta charset=windows-1251>\xD6", "no-such-charset"),
            u"<meta charset=windows-1251>\u0426");
  EXPECT_EQ(decoded("a\x00"s + "b\x00"s, "utf-16le"), u"ab");
}

struct Declaration {
  const char* markup;
  const char16_t* text;  // of the byte D6 behind it
};
constexpr Declaration kDeclarations[] = {
    {"<meta charset=\"windows-1251\">", u"\u0426"},
    {"<meta charset='windows-1251'>", u"\u0426"},
    {"<meta charset=windows-1251>", u"\u0426"},
    {"<META CHARSET = windows-1251 />", u"\u0426"},
    {"<meta http-equiv=Content-Type content='text/html; charset=windows-1251'>", u"\u0426"},
    {"<meta content=\"text/html;charset='windows-1251'\" http-equiv=\"content-type\">", u"\u0426"},
    {"<?xml version='1.0' encoding='windows-1251'?>", u"\u0426"},
    {"<!-- <meta charset=koi8-r> --><meta charset=windows-1251>", u"\u0426"},
    {"<meta name=x content='charset=koi8-r'><meta charset=windows-1251>", u"\u0426"},
    {"<meta charset=no-such-charset><meta charset=windows-1251>", u"\u0426"},
    {"<meta http-equiv=content-type content='a;charset=no-such'><meta charset=windows-1251>", u"\u0426"},
    {"<?xml version='1.0' encoding='windows-1251'?><meta charset=no-such-charset>", u"\u0426"},
    {"<meta charset=x-user-defined>", u"\u00D6"},
    {"<meta charset=latin1>", u"\u00D6"},
};

TEST(DecodePage, ReadsThePagesDeclarationAsBrowsersDo) {
  for (const Declaration& row : kDeclarations) {
    SCOPED_TRACE(row.markup);
    const std::u16string text = decoded(std::string(row.markup) + "\xD6");
    EXPECT_EQ(text.substr(text.size() - 1), row.text);
  }
}

TEST(DecodePage, ReadsALateDeclarationInTheHeadButNotInTheBody) {
  const std::string filler = "<script>" + std::string(3000, 'x') + "</script>";
  EXPECT_TRUE(decoded(filler + "<meta charset=koi8-r>\xC1").ends_with(u"\u0430"));
  EXPECT_FALSE(decoded(filler + "<p><meta charset=koi8-r>\xC1").ends_with(u"\u0430"));
}

TEST(DecodePage, TakesADeclaredUTF16ThatWasReadByteByByteForUTF8) {
  EXPECT_EQ(decoded("<meta charset=utf-16>\xC3\xA9"), u"<meta charset=utf-16>\u00E9");
}

TEST(DecodePage, WithoutADeclarationTakesValidUTF8ThenStatisticsThenWindows1252) {
  EXPECT_EQ(decoded("<p>\xC3\xA9t\xC3\xA9"), u"<p>\u00E9t\u00E9");
  EXPECT_EQ(decoded("<p>caf\xE9 cr\xE8me et th\xE9"), u"<p>caf\u00E9 cr\u00E8me et th\u00E9");
  EXPECT_EQ(decoded("\x80\xFF"), u"\u20AC\u00FF");
  // Japanese sentences in Shift_JIS.
  const std::string japanese =
      "\x93\xFA\x96\x7B\x8C\xEA\x82\xCC\x83\x65\x83\x4C\x83\x58\x83\x67\x82\xC5\x82\xB7\x81\x42"
      "\x82\xB1\x82\xEA\x82\xCD\x95\xB6\x8E\x9A\x83\x52\x81\x5B\x83\x68\x82\xCC\x8E\x8E\x8C\xB1\x82\xC5\x82"
      "\xB7\x81\x42";
  EXPECT_TRUE(decoded(japanese).starts_with(u"\u65E5\u672C\u8A9E"));
}

TEST(DecodePage, FindsUTF16WithoutAMark) {
  const std::u16string text = u"<p>Plain words in a wide encoding</p>";
  std::string little;
  std::string big;
  for (const char16_t c : text) {
    little += {static_cast<char>(c & 0xFF), static_cast<char>(c >> 8)};
    big += {static_cast<char>(c >> 8), static_cast<char>(c & 0xFF)};
  }
  EXPECT_EQ(decoded(little), text);
  EXPECT_EQ(decoded(big), text);
}

TEST(DecodePage, IsNotTakenInByZerosThatOnlyLookLikeUTF16) {
  std::string zeros = "<!--";
  for (int i = 0; i < 600; ++i) zeros += "x\0"s;
  zeros += "-->";
  const std::string words = "<p>plain words that a browser shows when it drops the zeros</p>";
  const std::string expected = " plain words that a browser shows when it drops the zeros ";
  EXPECT_EQ(contentOf(zeros + words), expected);
  EXPECT_EQ(contentOf(" " + zeros + words), expected);
  EXPECT_EQ(contentOf("<meta charset=utf-8>" + zeros + words), expected);
}

TEST(DecodePage, ReplacesMalformedBytesAndDropsZeros) {
  EXPECT_EQ(decoded("<meta charset=utf-8>a\xFF\xC3z"), u"<meta charset=utf-8>a\uFFFD\uFFFDz");
  EXPECT_EQ(decoded("one\0two"s, "utf-8"), u"onetwo");
  EXPECT_EQ(contentOf("<p>one</p>\0<p>two</p>"s), " one two ");
}

TEST(DecodePage, ADeclarationLeftInTheTextMisleadsNoParser) {
  EXPECT_EQ(contentOf("<meta charset=\"windows-1251\"><p>\xCF\xF0\xE8\xE2\xE5\xF2"),
            " \xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82 ");
  EXPECT_EQ(contentOf("\xEF\xBB\xBF<script>var a='charset=\"utf-16\"'</script><p>\xC3\xA9"),
            contentOf("\xEF\xBB\xBF<script>var a='charset=\"utf-16\"'</script><p>\xC3\xA9"));
  EXPECT_EQ(contentOf("<p>\xC3\xA9</p>"), " \xC3\xA9 ");
}

TEST(DecodePage, OneTextInManyEncodingsIsOnePage) {
  struct Twin {
    const char* label;
    const char* utf8;
    const char* bytes;
  };
  const Twin twins[] = {
      {"shift_jis", "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E", "\x93\xFA\x96\x7B\x8C\xEA"},
      {"euc-jp", "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E", "\xC6\xFC\xCB\xDC\xB8\xEC"},
      {"gb18030", "\xE4\xB8\xAD\xE6\x96\x87", "\xD6\xD0\xCE\xC4"},
      {"big5", "\xE4\xB8\xAD\xE6\x96\x87", "\xA4\xA4\xA4\xE5"},
      {"koi8-r", "\xD0\xBC\xD0\xB8\xD1\x80", "\xCD\xC9\xD2"},
      {"windows-1251", "\xD0\xBC\xD0\xB8\xD1\x80", "\xEC\xE8\xF0"},
      {"iso-8859-2", "\xC5\xBC\xC3\xB3\xC5\x82w", "\xBF\xF3\xB3w"},
      {"iso-8859-7", "\xCE\xBA\xCE\xB1\xCE\xB9", "\xEA\xE1\xE9"},
      {"iso-8859-15", "\xE2\x82\xAC", "\xA4"},
  };
  for (const Twin& twin : twins) {
    SCOPED_TRACE(twin.label);
    const std::string head =
        std::string("<html><head><meta charset=\"") + twin.label + "\"><title>t</title></head><body><p>";
    const std::string expected = std::string(" t ") + twin.utf8 + " ";
    EXPECT_EQ(contentOf(head + twin.bytes + "</p>"), expected);
    const String byHeader = decodePage(Data("<p>"s + twin.bytes), String::fromUTF8(twin.label));
    EXPECT_EQ(WFTreeHTMLStripper::treeStripperWithString(byHeader)->pageContent().toUTF8(),
              std::string(" ") + twin.utf8 + " ");
  }
}

TEST(DeclaredEncoding, FindsNothingWhereThereIsNothing) {
  for (const char* page :
       {"", "<", "<meta", "<meta charset", "<meta charset=>", "<metacharset=utf-8>", "charset=utf-8",
        "<!-- <meta charset=utf-8>", "<?xml version='1.0'?>", "<p title='<meta charset=utf-8>'>"}) {
    EXPECT_FALSE(declaredEncodingLabel(page).has_value()) << page;
  }
}

TEST(DecodePageToShow, KeepsWhatThePageModelDoesNotRead) {
  const String shown = decodePageToShow(Data("<style>p {}</style><!-- a --><p id=x>b</p>"), nullptr);
  EXPECT_EQ(shown, String(u"<!--charset=\"UTF-8\"--><style>p {}</style><!-- a --><p id=x>b</p>"));
}

TEST(DecodePageToShow, IsJudgedAlike) {
  for (const char* bytes : {"<a:title><!-- a --></a:title>b", "<title><!-- a --></title>b",
                            "<style></_</style>a", "<style></b</style>a", "<style><body>a</style>b",
                            "<style><frameset></style>a", "a<!-- b -->c<style>d</style>e",
                            "<img id=x alt=a alt=b><a class=y title=c>d</a><meta name=e content=f id=g>"}) {
    SCOPED_TRACE(bytes);
    const auto judged = WFTreeHTMLStripper::treeStripperWithString(decodePage(Data(bytes), nullptr));
    const auto shown = WFTreeHTMLStripper::treeStripperWithString(decodePageToShow(Data(bytes), nullptr));
    EXPECT_EQ(judged->pageTitle(), shown->pageTitle());
    EXPECT_EQ(judged->pageContent(), shown->pageContent());
    EXPECT_EQ(judged->metaTagsLabeled().contents, shown->metaTagsLabeled().contents);
    EXPECT_EQ(judged->hasFrameset(), shown->hasFrameset());
    ASSERT_EQ(judged->images().size(), shown->images().size());
    for (std::size_t i = 0; i < judged->images().size(); ++i)
      EXPECT_EQ(judged->images()[i].description(), shown->images()[i].description());
  }
}

TEST(DeclaredEncoding, ReadsTheCharsetOfAContentType) {
  EXPECT_EQ(charsetInContentType("text/html; charset=utf-8"), "utf-8");
  EXPECT_EQ(charsetInContentType("text/html; CHARSET = \"UTF-8\" ; x"), "utf-8");
  EXPECT_EQ(charsetInContentType("charsetcharset=a;b"), "a");
  EXPECT_EQ(charsetInContentType("charset='a"), std::nullopt);
  EXPECT_EQ(charsetInContentType("charset="), std::nullopt);
  EXPECT_EQ(charsetInContentType("text/html"), std::nullopt);
}

}  // namespace
}  // namespace sifterra
