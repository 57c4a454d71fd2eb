// Where browsers and the parser disagree: what a browser shows, the parser must see too.
#include "page/align_markup.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "platform/Unicode.h"
#include "sifterra/page/WFTreeHTMLStripper.h"
#include "sifterra/page/decodePage.h"

namespace sifterra {
namespace {

using namespace std::string_literals;
using platform::Data;
using platform::String;

std::shared_ptr<WFTreeHTMLStripper> modelOfBytes(const std::string& bytes) {
  return WFTreeHTMLStripper::treeStripperWithString(decodePage(Data(bytes), nullptr));
}

bool showsWords(const std::string& bytes) {
  const auto page = modelOfBytes(bytes);
  return page && page->pageContent().toUTF8().find("WORDS") != std::string::npos;
}

std::u16string repeated(std::u16string_view piece, std::size_t times) {
  std::u16string text;
  text.reserve(piece.size() * times);
  for (std::size_t i = 0; i < times; ++i) text.append(piece);
  return text;
}

TEST(AlignMarkup, LeavesOrdinaryPagesAlone) {
  const std::u16string pages[] = {
      u"",
      u"no markup",
      u"<!DOCTYPE html PUBLIC \"-//W3C//DTD XHTML 1.0//EN\" "
      u"\"http://www.w3.org/x.dtd\"><html><p>a<p>b</html>",
      u"<!DOCTYPE html SYSTEM 'about:legacy-compat'><title>a &lt; b</title>",
      u"<p>1 < 2 & 3 > 2</p><!-- a <b> --><br/><img src=a alt='>'><a title=\"x\"\">y</a>",
      u"<script>if (a < b) document.write('<div><!-- x -->');</script><style>p > a {}</style>",
      u"<script><!--\ndocument.write('<script src=x><\\/script>');\n//--></script><p>x",
      u"<script src=x/></script><script src='y' /><p>x<!-- c --><script>a</script>",
      u"<svg><title>Menu</title><style>.a{fill:#fff}</style><style><![CDATA[.b{}]]></style></svg>",
      u"<script type=x><div>a</div></script><script></script><script><\\/b></script><style><p></style>",
      u"<svg><g><path d=x></g><style>.a{}</style></svg><style>a > b</style>",
      u"<select><option>a</select><style>p</style><xmp><b>a</b></xmp>",
      u"<noscript><img src=x><!-- y --></noscript><iframe src=z>no <b>frames</b></iframe>",
      u"<textarea><a href=x>y</a></textarea><title><b>x</b></title>",
      u"<!DOCTYPE html><?php echo 1 ?><![CDATA[x]]></p ><a b=c/d>",
      u"cut off <a href=\"",
      u"<!-- never closed",
      u"<script>never closed",
      u"<",
      u"</",
  };
  for (const std::u16string& page : pages) {
    SCOPED_TRACE(platform::utf8FromUTF16(page));
    EXPECT_EQ(alignedMarkup(page), page);
  }
}

TEST(AlignMarkup, ShowsWhatBrowsersShow) {
  const std::string pages[] = {
      // Raw texts that the parser reads as markup.
      "<title><!--</title>WORDS",
      "<title><a b=\"</title>WORDS",
      "<textarea><!--</textarea>WORDS",
      "<xmp><!--</xmp>WORDS",
      "<iframe><!--</iframe>WORDS",
      "<noembed><!--</noembed>WORDS",
      "<noframes><!--</noframes>WORDS",
      "<noscript><!--</noscript>WORDS",
      "<noscript><style></noscript>WORDS",
      "<textarea><!--WORDS--></textarea>",
      "<textarea><a WORDS",
      "<xmp><script>WORDS</script></xmp>",
      "<xmp><!--WORDS",
      "<plaintext><style>WORDS",
      // Scripts and styles that browsers see elsewhere than the parser.
      "<style*>WORDS",
      "<script\xC3\xA9>WORDS",
      "<script/><!--</script>WORDS",
      "<style/><!--</style>WORDS",
      "<style/><title><!--</title>WORDS</style>",
      "<style></style*><!--</style>WORDS",
      "<style></stylex><!--</style>WORDS",
      "<script></script x=\"> <!-- \">WORDS",
      "<script><!--<script></script><!--</script>WORDS",
      "<svg><style><p>WORDS",
      "<svg><script><p>WORDS",
      "<math><style><p>WORDS",
      "<svg><style/><p>WORDS",
      "<svg><p><style/><!--</style>WORDS",
      "<svg><title><div></svg></div></title><style><p>WORDS",
      "<svg><style></svg>WORDS",
      "<svg><style/><text><![CDATA[</style WORDS]]></text>",
      "<math/x=/><style><i>WORDS",
      // The parser looks for markup once more behind the start tag.
      "<script></_</script>WORDS",
      "<script></x y</script>WORDS<script></script>",
      "<script><noscript a='</script>WORDS",
      "<style></x y</style>WORDS",
      "<style><body a='</style>WORDS",
      "<style><frameset a='</style>WORDS",
      // Texts that browsers show with all that looks like tags in them.
      "<xmp><a b='>WORDS'></xmp>",
      "<xmp></a b='>WORDS'></xmp>",
      "<textarea><a\nb=WORDS></textarea>",
      "<plaintext></a\r\nWORDS>",
      // Some browsers take no notice of a style in a list of options.
      "<select><style></select>WORDS</style>",
      "<select><option><style>WORDS</style>",
      // Comments by another name.
      "<![CDATA[<!--]]>WORDS",
      "<svg><text><![CDATA[><!--]]></text></svg>WORDS",
      "<!x <!-- >WORDS",
      "<!x <a b=\">WORDS",
      "<?<!-- >WORDS",
      "<?1 <style>WORDS",
      "</ <!-- >WORDS",
      "<!DOCTYPE html PUBLIC \"'\"'>WORDS",
      "<!DOCTYPE html <script>WORDS",
      "<!DOCTYPE html><![CDATA[><textarea>]]><!--WORDS--></textarea>",
      // Texts of drawings and of XML.
      "<svg><text><![CDATA[WORDS]]></text></svg>",
      "<!DOCTYPE html><math><mtext><![CDATA[a > b < WORDS]]></mtext></math>",
      "<svg><text>WO<![CDATA[RD]]>S",
      "<svg><text><![CDATA[WORDS",
      "<!DOCTYPE html><svg><desc><![CDATA[><textarea>]]><!--WORDS--></textarea></desc></svg>",
      "<?xml version='1.0'?><p><![CDATA[WORDS]]></p>",
      "<!DOCTYPE html><html xmlns='http://www.w3.org/1999/xhtml'><p><![CDATA[WO]]><![CDATA[RDS]]></p>",
      "<html xmlns='http://www.w3.org/1999/xhtml'><![CDATA[><textarea>]]><!--WORDS--></textarea>",
      "<rss><description><![CDATA[<p>WORDS</p>]]></description></rss>",
      "<html xmlns='http://www.w3.org/1999/xhtml'><title/><p>WORDS</p>",
      "<html xmlns='http://www.w3.org/1999/xhtml'><textarea/><p>WORDS</p><title/>",
      "<html xmlns='http://www.w3.org/1999/xhtml'><xmp/><!-- x --><p>WORDS</p>",
      "<html xmlns='http://www.w3.org/1999/xhtml'><iframe/><noembed/><noscript/><p>WORDS</p>",
      "<html xmlns='http://www.w3.org/1999/xhtml'><script/><style/><p>WORDS</p>",
      "<html xmlns='http://www.w3.org/1999/xhtml'><plaintext/><style/>WORDS",
      // Names that only begin like those that end a drawing.
      "<!DOCTYPE html><svg><img<><text><![CDATA[WORDS]]></text>",
      "<!DOCTYPE html><svg></svg*><text><![CDATA[WORDS]]></text>",
      // A drawing that is closed from outside, so that the comment is one.
      "<!DOCTYPE html><div><svg></div><![CDATA[><textarea>]]><!--WORDS--></textarea>",
      "<!DOCTYPE html><svg></p><![CDATA[><textarea>]]><!--WORDS--></textarea>",
      "<!DOCTYPE html><svg><font color=red><![CDATA[><textarea>]]><!--WORDS--></textarea>",
      "<!DOCTYPE html><svg><desc><section></desc><![CDATA[><textarea>]]><!--WORDS--></textarea>",
      // Tags that end elsewhere.
      "</b x=\"> <!-- \">WORDS",
      "<a b@=\"> <!-- \">WORDS",
      "<a 1=\"> <!-- \">WORDS",
      "<a b=\f c=\"x>WORDS",
      "<a b=\f\"> <!-- \">WORDS",
      "<_x a=\"WORDS",
      // Zeros, which go in text and do not in markup.
      "<\0!--WORDS"s,
      "<!\0-- x>WORDS"s,
      "<s\0cript>WORDS"s,
      "<script\0>WORDS"s,
      "<script></\0script><!--</script>WORDS"s,
      "WO\0RDS"s,
  };
  for (const std::string& page : pages) {
    SCOPED_TRACE(page);
    EXPECT_TRUE(showsWords(page));
  }
}

TEST(AlignMarkup, KeepsWhatThePageModelReadsOfARewrittenTag) {
  const auto page = modelOfBytes("<img a@='>' alt='one \"two\"' title=t width=3 height=4 alt=no><p>WORDS");
  ASSERT_EQ(page->images().size(), 1U);
  EXPECT_EQ(page->images()[0].alt(), String(u"one \"two\""));
  EXPECT_EQ(page->images()[0].title(), String(u"t"));
  EXPECT_EQ(page->images()[0].area(), 12);
  EXPECT_EQ(page->pageContent(), String(u" WORDS "));
}

TEST(AlignMarkup, KeepsAScriptWholeThatWritesScripts) {
  EXPECT_EQ(alignedMarkup(u"<script><!-- a('<script></script>') --></script>x"),
            u"<script><!-- a('<script><\\/script>') --></script>x");
  EXPECT_EQ(alignedMarkup(u"<script>a('<script></script>')</script>x"),
            u"<script>a('<script></script>')</script>x");
}

TEST(AlignMarkup, HidesWhatBrowsersHide) {
  for (const char* page : {"<!-- WORDS", "<!-- WORDS --!>", "<script>WORDS", "<style>WORDS</stylex></style>",
                           "<script><!--<script></script>WORDS</script>", "<a b='WORDS"}) {
    SCOPED_TRACE(page);
    EXPECT_FALSE(showsWords(page));
  }
}

TEST(AlignMarkup, TakesTheMarksOffTextsOfDrawingsAndOfXML) {
  // With its marks the parser takes it for a text that begins like a tag, and such are left out later on.
  const std::pair<std::u16string_view, std::u16string_view> rows[] = {
      {u"<p><![CDATA[a]]>b", u"<p>ab"},
      {u"<?xml?><![CDATA[a<b>]]>c", u"<?xml?>a b>c"},
      {u"<html xmlns=x><![CDATA[]]>", u"<html xmlns=x>"},
      {u"<svg><![CDATA[a]]b]]>c", u"<svg>a]]bc"},
      {u"<html><svg><![CDATA[a", u"<html><svg>a"},
      {u"<html><p><![CDATA[a]]>b", u"<html><p><![CDATA[a]]>b"},
      {u" <!-- x --><!doctype HTML><p><![CDATA[a<b>]]>c", u" <!-- x --><!doctype HTML><p><![CDATA[a b>]]>c"},
      {u"<?xml?><![CDATA[a>", u"<?xml?><![CDATA[a>"},
  };
  for (const auto& [page, aligned] : rows) {
    SCOPED_TRACE(platform::utf8FromUTF16(page));
    EXPECT_EQ(alignedMarkup(std::u16string(page)), aligned);
  }
}

TEST(AlignMarkup, MakesFormFeedsSpaces) {
  EXPECT_EQ(alignedMarkup(u"one\ftwo<p\fid=x>"), u"one two<p id=x>");
}

TEST(AlignMarkup, PartsScriptsAndStylesThatWouldStopTheParser) {
  for (const char* name : {"script", "style"}) {
    SCOPED_TRACE(name);
    for (const char* piece : {"y", "\xE6\x97\xA5", "\xF0\x9F\x98\x80"}) {
      std::string text;
      while (text.size() < 21'000'000) text += piece;
      EXPECT_TRUE(showsWords("<"s + name + ">" + text + "</" + name + "><p>WORDS"));
    }
  }
}

TEST(AlignMarkup, PartsAScriptWhereTheParserSeesNoMarkup) {
  constexpr std::size_t kPart = 8 * 1024 * 1024 / 3;
  EXPECT_TRUE(showsWords("<script>" + std::string(kPart, 'y') + "</_ </script>WORDS"));
}

TEST(AlignMarkup, TakesTimeLinearInThePage) {
  // A scan that goes back over what it has read would take minutes, so finishing is the test.
  const std::u16string_view pieces[] = {u"<title><!--</title>",
                                        u"<title><a b=\"</title ",
                                        u"<title><a </title ",
                                        u"<a ",
                                        u"<textarea><a <!-- ",
                                        u"<style/>",
                                        u"<script/>",
                                        u"<script><!--<script></script>",
                                        u"<svg><style><b>",
                                        u"<svg><script><b>",
                                        u"<![CDATA[>",
                                        u"<!x ",
                                        u"<!doctype '>",
                                        u"<script></scripts>",
                                        u"</ ",
                                        u"<a b=\"",
                                        u"<svg><g>",
                                        u"<svg><desc></g>",
                                        u"<select><style>",
                                        u"<xmp><a\n>",
                                        u"<iframe srcdoc='&lt;a ",
                                        u"<!--"};
  for (const std::u16string_view piece : pieces) {
    SCOPED_TRACE(platform::utf8FromUTF16(piece));
    EXPECT_FALSE(alignedMarkup(repeated(piece, 300000)).empty());
    EXPECT_FALSE(alignedMarkup(u"<title>" + repeated(piece, 300000) + u"</title>").empty());
  }
}

}  // namespace
}  // namespace sifterra
