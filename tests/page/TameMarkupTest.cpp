// What the tamer changes, what it leaves alone, and what the parser then sees.
#include "page/tame_markup.h"

#include <gtest/gtest.h>

#include <string>

#include "page/parsed_depth.h"
#include "platform/Unicode.h"
#include "sifterra/page/WFTreeHTMLStripper.h"

namespace sifterra {
namespace {

using platform::String;

std::u16string repeated(std::u16string_view piece, std::size_t times) {
  std::u16string text;
  text.reserve(piece.size() * times);
  for (std::size_t i = 0; i < times; ++i) text.append(piece);
  return text;
}

std::size_t depthOf(const std::u16string& text) {
  return tests::parsedDepth(tests::parsedAsUTF8(platform::utf8FromUTF16(text)).get());
}

std::string contentOf(const std::u16string& text) {
  const auto page = WFTreeHTMLStripper::treeStripperWithString(String(text));
  return page ? page->pageContent().toUTF8() : "no page";
}

// The words of a text, for comparisons in which white space does not matter.
std::string wordsOf(const std::string& text) {
  std::string words;
  for (const char c : text) {
    if (c != ' ' && c != '\n') {
      words += c;
    } else if (!words.empty() && words.back() != ' ') {
      words += ' ';
    }
  }
  return words;
}

TEST(TameMarkup, LeavesOrdinaryPagesAlone) {
  const std::u16string pages[] = {
      u"",
      u"no markup at all",
      u"<!DOCTYPE html PUBLIC \"-//W3C//DTD XHTML 1.0//EN\" "
      u"\"http://www.w3.org/x.dtd\"><html><p>a<p>b</html>",
      u"<p>1 < 2 & 3 > 2</p><!----><ul><li>x</li></ul><br/><img src=a alt='>'>",
      u"<script>if (a < b) document.write('<div>');</script><style></style>",
      u"<?xml version='1.0'?><?php echo 1 ?>text",
      u"cut off <a href=\"",
      u"<!-- never closed",
      u"<script>never closed",
  };
  for (const std::u16string& page : pages) {
    SCOPED_TRACE(platform::utf8FromUTF16(page));
    EXPECT_EQ(tamedMarkup(page), page);
  }
}

TEST(TameMarkup, WritesOutTheEndTagsThatAnOuterOneStandsFor) {
  EXPECT_EQ(tamedMarkup(u"<ul><li>x<li>y</ul>"), u"<ul><li>x<li>y</li></ul>");
  EXPECT_EQ(tamedMarkup(u"<div><SPAN>a</DIV>b</span>"), u"<div><SPAN>a</span></div>b</span>");
}

TEST(TameMarkup, KeepsNestingUpToTheLimit) {
  const std::u16string page =
      repeated(u"<div>", kMostNestedElements) + u"x" + repeated(u"</div>", kMostNestedElements);
  EXPECT_EQ(tamedMarkup(page), page);
}

TEST(TameMarkup, FlattensDeepNestingAndKeepsItsText) {
  for (const std::size_t levels : {std::size_t{199}, std::size_t{257}, std::size_t{30000}}) {
    SCOPED_TRACE(levels);
    const std::u16string page = u"<p>before</p>" + repeated(u"<div>", levels) + u"hidden words" +
                                repeated(u"</div>", levels) + u"<p>after</p>";
    const std::u16string tamed = tamedMarkup(page);
    EXPECT_LT(depthOf(tamed), 250U);
    EXPECT_EQ(wordsOf(contentOf(tamed)), "before hidden words after ");
  }
}

TEST(TameMarkup, KeepsWhatThePageModelReadsInDeepPlaces) {
  const std::u16string page = repeated(u"<b>", 400) +
                              u"<title>T</title><a href='/x' title='L'>link</a><img alt='A'>"
                              u"<meta name='description' content='D'><script>'S'</script>tail";
  const auto model = WFTreeHTMLStripper::treeStripperWithString(String(tamedMarkup(page)));
  ASSERT_TRUE(model);
  EXPECT_EQ(model->pageTitle(), String(u"T"));
  ASSERT_EQ(model->links().size(), 1U);
  EXPECT_EQ(model->links()[0].title(), String(u"L"));
  ASSERT_EQ(model->images().size(), 1U);
  EXPECT_EQ(model->images()[0].alt(), String(u"A"));
  EXPECT_EQ(model->metaTagDescription(), String(u"D"));
  EXPECT_EQ(model->scriptBlocks().size(), 1U);
  EXPECT_NE(contentOf(tamedMarkup(page)).find("link tail"), std::string::npos);
}

TEST(TameMarkup, CountsWhatTheParserLeavesOpenBehindMisplacedEndTags) {
  // Each of these leaves an element open a round although an end tag seems to close it.
  const std::u16string rounds[] = {
      u"<p><h1></p>",
      u"<span><div></span>",
      u"<body><div></body>",
      u"<wbr>x",
      u"<b><table></b>",
      u"<dt>",
      u"<li><b>",
      u"<p/><i>",
      u"<_x q='<b>'>",
      u"</_x <b q='><i>'>",
      u"<?a <b q='><i>",
      u"<!DOCTYPE a '><b>",
      u"<!--><b>",
      u"<!-- x --!><b>",
      u"<script>a</scripts><b></script><u>",
      u"<a @c='x><b>'>",
      u"<em b=\"</em>\">",
  };
  for (const std::u16string& round : rounds) {
    SCOPED_TRACE(platform::utf8FromUTF16(round));
    const std::u16string tamed = tamedMarkup(repeated(round, 600) + u"<p>tail");
    EXPECT_LT(depthOf(tamed), 250U);
    EXPECT_NE(contentOf(tamed).find("tail"), std::string::npos);
  }
}

TEST(TameMarkup, PartsLongTextsAtABlank) {
  const std::u16string page = u"<p>" + repeated(u"word ", 12 * 1024 * 1024 / 5) + u"last</p><p>after";
  const std::u16string tamed = tamedMarkup(page);
  EXPECT_EQ(contentOf(tamed).find("wo rd"), std::string::npos);
  EXPECT_EQ(wordsOf(contentOf(tamed)),
            platform::utf8FromUTF16(repeated(u"word ", 12 * 1024 * 1024 / 5)) + "last after ");
  EXPECT_NE(contentOf(tamed).find("last after"), std::string::npos);
}

TEST(TameMarkup, PartsLongTextsWithoutBlanksBetweenCharacters) {
  const std::u16string tamed = tamedMarkup(u"<p>" + repeated(u"\U0001F600", 4 * 1024 * 1024) + u"<p>after");
  EXPECT_NE(contentOf(tamed).find("after"), std::string::npos);
  EXPECT_EQ(contentOf(tamed).find("\xEF\xBF\xBD"), std::string::npos) << "a character was cut in two";
}

TEST(TameMarkup, CountsTextAcrossEndTagsThatMakeNoNode) {
  const std::u16string page = u"<p>" + repeated(u"word </q>", 2500000) + u"last";
  EXPECT_NE(contentOf(tamedMarkup(page)).find("last"), std::string::npos);
}

TEST(TameMarkup, DropsAttributesPastTheLimitButThoseOfThePageModel) {
  std::u16string tag = u"<img";
  for (int i = 0; i < 100000; ++i) {
    tag.append(u" a").append(String::fromUTF8(std::to_string(i)).view());
  }
  const std::u16string tamed =
      tamedMarkup(tag + u" ALT='words' title=\"more\" src=/x width=10 height=20 alt='no'>tail");
  EXPECT_LT(tamed.size(), 3000U);
  const auto model = WFTreeHTMLStripper::treeStripperWithString(String(tamed));
  ASSERT_EQ(model->images().size(), 1U);
  EXPECT_EQ(model->images()[0].alt(), String(u"words"));
  EXPECT_EQ(model->images()[0].title(), String(u"more"));
  EXPECT_EQ(model->images()[0].area(), 200);
  EXPECT_EQ(model->pageContent(), String(u" tail "));
}

TEST(TameMarkup, KeepsExactlyTheLimitOfAttributes) {
  std::u16string tag = u"<meta";
  for (std::size_t i = 0; i < kMostAttributes; ++i) tag += u" a=1";
  EXPECT_EQ(tamedMarkup(tag + u">x"), tag + u">x");
  EXPECT_EQ(tamedMarkup(tag + u" b=2>x"), tag + u" >x");
  EXPECT_EQ(tamedMarkup(tag + u" b=2 />x"), tag + u" />x");
  EXPECT_EQ(tamedMarkup(tag + u" b=2 Content=y c d name=z name=w>x"), tag + u" Content=y name=z >x");
}

TEST(TameMarkup, LeavesOutWhatThePageModelDoesNotRead) {
  const std::pair<std::u16string_view, std::u16string_view> rows[] = {
      {u"<p class=x id='y'>a", u"<p>a"},
      {u"<br clear=all/>", u"<br>"},
      {u"<br clear='all'/>", u"<br/>"},
      {u"<DIV\nclass = \"x\" >a", u"<DIV>a"},
      {u"<html lang=en><body onload='x'>", u"<html><body>"},
      {u"<script src=x defer>'a'</script>", u"<script>'a'</script>"},
      {u"<style media=x>p{}</style >b", u"<style></style >b"},
      {u"<a class=x href=y id=z title='t' rel=u>", u"<a href=y title='t' >"},
      {u"<a href=\"y\"class=x>", u"<a href=\"y\">"},
      {u"<a href=y class=\"x\"/>", u"<a href=y />"},
      {u"<img alt=a alt=b ALT=c Src=d>", u"<img alt=a Src=d>"},
      {u"<a>b", u"<a>b"},
      {u"x<!-- comment -->y<!-- one --!>", u"x<!---->y<!----!>"},
  };
  for (const auto& [page, tamed] : rows) {
    SCOPED_TRACE(platform::utf8FromUTF16(page));
    EXPECT_EQ(tamedMarkup(std::u16string(page)), tamed);
  }
}

TEST(TameMarkup, LeavesAloneWhatThePageModelOrTheParserMayRead) {
  const std::u16string pages[] = {
      u"<meta name=a property=b content=c charset=utf-8>",
      u"<x:a class=y title=z>",  // a link to the parser, which takes the prefix off
      u"<!--charset=\"UTF-8\"--><p>",
      u"<title><!-- a title --></title>",
      u"<p class=x",
      u"<style>never closed",
  };
  for (const std::u16string& page : pages) {
    SCOPED_TRACE(platform::utf8FromUTF16(page));
    EXPECT_EQ(tamedMarkup(page), page);
  }
}

TEST(TameMarkup, WritesAbruptCommentsOut) {
  EXPECT_EQ(tamedMarkup(u"a<!-->b<!--->c-->"), u"a<!---->b<!---->c-->");
  EXPECT_EQ(wordsOf(contentOf(tamedMarkup(u"a<!-->b-->"))), "a b--> ");
}

TEST(TameMarkup, KeepsEndTagsBehindMisplacedDeclarations) {
  // The parser takes what follows such a declaration for text, and with it an end tag for a '<' and a word.
  EXPECT_EQ(tamedMarkup(u"<b>x<!doctype q></b>y"), u"<b>x</b>y");
  EXPECT_EQ(contentOf(tamedMarkup(u"<b>x<!doctype q></b>y<!doctype a><!doctype b>z")), " x yz ");
  EXPECT_LT(depthOf(tamedMarkup(repeated(u"<!doctype q></x<i>", 300))), 10U);
  EXPECT_EQ(tamedMarkup(u"<!doctype html><!----><p>b"), u"<!doctype html><!----><p>b");
}

TEST(TameMarkup, TakesTimeLinearInThePage) {
  // Inputs on which a careless scan goes back over what it has read. Compared by doubling: a quadratic
  // scan of the larger one would take minutes, so finishing is the test.
  const std::u16string_view pieces[] = {
      u"<b>",      u"</b>", u"<b></i>", u"<table><b></table>", u"<",           u"<!--", u"</script",
      u"<script>", u"<a ",  u"&",       u"<div><span></div>",  u"<!doctype '", u"<? "};
  for (const std::u16string_view piece : pieces) {
    SCOPED_TRACE(platform::utf8FromUTF16(piece));
    EXPECT_FALSE(tamedMarkup(repeated(piece, 1000000)).empty());
  }
}

}  // namespace
}  // namespace sifterra
