// The tree that the parser builds in one piece of memory is the tree that it builds by itself.
#include <gtest/gtest.h>
#include <libxml/HTMLparser.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>

#include "page/PageArena.h"
#include "page/parse_html.h"
#include "page/parsed_depth.h"
#include "page/tree_text.h"
#include "page_fixture.h"

namespace sifterra {
namespace {

using tests::treeText;

std::string ownTree(std::string_view page, const char* encoding) {
  return treeText(parseHTML(page, encoding).get());
}

std::string parsersTree(std::string_view page, const char* encoding) {
  const tests::Document document(
      htmlReadMemory(page.data(), static_cast<int>(page.size()), nullptr, encoding,
                     HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING));
  return treeText(document.get());
}

TEST(PageTree, IsTheParsersOwn) {
  const char* const kPages[] = {
      "",
      "x",
      " ",
      "<!DOCTYPE html><p>a<p>b",
      "<!DOCTYPE html PUBLIC '-//W3C//DTD HTML 4.01//EN' 'http://www.w3.org/TR/html4/strict.dtd'><body> <p> "
      "a",
      "<!-- a --><!DOCTYPE html><!-- b --><html><!-- c --><head><title><!-- d -->t</title></head></html><!-- "
      "e -->",
      "<?xml version='1.0'?><html/><?pi?><?pi x?>y",
      "<a href=x title='' checked disabled alt>l</a><img src=a src=b alt=c><br/><input checked='no'>",
      "<o:p xml:lang=x id=a>x</o:p><a:b:c>y<:d>z<e:>",
      "<html a=b><p>x<html c=d a=e>y<body f=g>z",
      "</p>a</html><b>c</b><!-- x --> tail",
      "<p>x</p></body></html><i>z</i><!-- a -->b",
      "<script>a<b></script><style>p{}</style><script></script><script>x<!-- y --></script>",
      "<p>a<!-- b -->c<b></b>d&amp;e&nbsp;&unknown;&#65;&#x42;</x>f",
      "<table><tr><td>a<td>b<table><li>c</table>d",
      "<p id=a><p id=a><a name=b><a name=b>",
      "<ul><li>a<ul><li>b</ul></ul><dl><dt>c<dd>d</dl><select><option>e<option>f</select>",
      "<frameset><frame src=x></frameset><noframes>y</noframes>",
      "\xC3\xA4<b title='\xE2\x82\xAC'>\xF0\x9F\x98\x80",
      "a\xFF\xFE"
      "b",
      "<p>cut <a href=\"",
      "<p <b",
      "<",
  };
  for (const char* const page : kPages) {
    for (const char* const encoding :
         {"UTF-8", "ISO-8859-1", static_cast<const char*>(nullptr), "none such"}) {
      SCOPED_TRACE(page);
      EXPECT_EQ(ownTree(page, encoding), parsersTree(page, encoding));
    }
  }
}

TEST(PageTree, IsTheParsersOwnForLongTextsInPieces) {
  // Texts that come to the tree little by little, and those that outgrow a block of memory.
  std::string page = "<p>";
  for (int i = 0; i < 30000; ++i) page += i % 7 == 0 ? "&lt;word " : "word\n";
  page += "<script>";
  for (int i = 0; i < 30000; ++i) page += "'a';\n";
  page += "</script><a title='" + std::string(200000, 'x') + "'>";
  for (int i = 0; i < 3000; ++i) page += "<b>y</b>" + std::string(static_cast<std::size_t>(i) % 90, 'z');
  EXPECT_EQ(ownTree(page, "UTF-8"), parsersTree(page, "UTF-8"));
}

TEST(PageTree, GoesOnBehindATextThatIsTooLongForTheParser) {
  std::string page = "<p>";
  while (page.size() < 11'000'000) page += "word ";
  page += "<b>tail";
  EXPECT_EQ(parsersTree(page, "UTF-8").find("tail"), std::string::npos);
  EXPECT_NE(ownTree(page, "UTF-8").find("tail"), std::string::npos);
}

TEST(PageTree, IsTheParsersOwnForDeepNesting) {
  for (const std::size_t levels :
       {std::size_t{200}, std::size_t{254}, std::size_t{255}, std::size_t{256}, std::size_t{300}}) {
    std::string page;
    for (std::size_t i = 0; i < levels; ++i) page += "<b>x";
    SCOPED_TRACE(levels);
    EXPECT_EQ(ownTree(page + "tail", "UTF-8"), parsersTree(page + "tail", "UTF-8"));
  }
}

TEST(PageTree, IsTheParsersOwnForEveryFixture) {
  for (const auto& entry : std::filesystem::directory_iterator(SIFTERRA_SOURCE_DIR "/tests/page/data")) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::string page{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    SCOPED_TRACE(entry.path().filename());
    EXPECT_EQ(ownTree(page, "UTF-8"), parsersTree(page, "UTF-8"));
    EXPECT_EQ(ownTree(page, nullptr), parsersTree(page, nullptr));
  }
}

TEST(PageTree, IsTheParsersOwnForMarkupOfAnyKind) {
  constexpr std::string_view kPieces[] = {"<p>",
                                          "</p>",
                                          "<div>",
                                          "</div>",
                                          "<a href='x'>",
                                          "</a>",
                                          "<b>",
                                          "</b>",
                                          "text ",
                                          " ",
                                          "\n",
                                          "&amp;",
                                          "&#9;",
                                          "<!-- c -->",
                                          "<?pi d?>",
                                          "<br>",
                                          "<img alt=x>",
                                          "<table>",
                                          "</table>",
                                          "<tr>",
                                          "<td>",
                                          "<li>",
                                          "<ul>",
                                          "</ul>",
                                          "<html>",
                                          "</html>",
                                          "<body>",
                                          "</body>",
                                          "<head>",
                                          "</head>",
                                          "<title>",
                                          "</title>",
                                          "<script>",
                                          "</script>",
                                          "<style>",
                                          "</style>",
                                          "<meta content=x>",
                                          "<!DOCTYPE html>",
                                          "<o:p a:b=c>",
                                          "</o:p>",
                                          "<select>",
                                          "<option>",
                                          "<",
                                          ">",
                                          "\"",
                                          "'",
                                          "<font color=red>",
                                          "</font>",
                                          "<h1>",
                                          "</h1>",
                                          "<form>"};
  std::mt19937 chance(7);
  for (int round = 0; round < 3000; ++round) {
    std::string page;
    for (std::size_t pieces = chance() % 40; pieces > 0; --pieces)
      page += kPieces[chance() % std::size(kPieces)];
    ASSERT_EQ(ownTree(page, "UTF-8"), parsersTree(page, "UTF-8")) << page;
  }
}

TEST(PageArena, LengthensThePieceThatWasGivenOutLast) {
  PageArena arena;
  void* const first = arena.allocate(3);
  void* const second = arena.allocate(10);
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(second) % PageArena::kAlignment, 0U);
  EXPECT_FALSE(arena.extend(first, 3, 9));
  EXPECT_TRUE(arena.extend(second, 10, 100));
  void* const third = arena.allocate(1);
  EXPECT_GE(static_cast<char*>(third) - static_cast<char*>(second), 100);
  EXPECT_FALSE(arena.extend(third, 1, 2 * PageArena::kLargestBlock));
}

TEST(PageArena, GivesLargePiecesMemoryOfTheirOwn) {
  PageArena arena;
  char* const before = static_cast<char*>(arena.allocate(8));
  char* const large = static_cast<char*>(arena.allocate(10 * PageArena::kLargestBlock));
  ASSERT_NE(large, nullptr);
  large[10 * PageArena::kLargestBlock - 1] = 'x';
  EXPECT_EQ(static_cast<char*>(arena.allocate(8)), before + 8);
}

}  // namespace
}  // namespace sifterra
