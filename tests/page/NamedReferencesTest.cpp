// Character references that browsers know and the parser does not: what a browser shows is judged.
#include "page/named_references.h"

#include <gtest/gtest.h>
#include <libxml/HTMLparser.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

#include "platform/Unicode.h"
#include "sifterra/page/WFTreeHTMLStripper.h"
#include "sifterra/page/decodePage.h"

namespace sifterra {
namespace {

using platform::Data;
using platform::String;

String contentOf(const std::string& page) {
  return WFTreeHTMLStripper::treeStripperWithString(decodePage(Data(page), nullptr))->pageContent();
}

struct Row {
  const char16_t* page;
  const char16_t* numbered;
};

void expectNumbered(const Row& row) {
  SCOPED_TRACE(platform::utf8FromUTF16(row.page));
  EXPECT_EQ(withNumberedReferences(row.page), row.numbered);
}

TEST(NamedReferences, StandAsNumbersWhereTheParserDoesNotKnowThem) {
  const Row rows[] = {
      {u"p&af;orn", u"p&#8289;orn"},
      {u"&sopf;&eopf;&xopf;", u"&#120164;&#120150;&#120169;"},
      {u"&fjlig;", u"&#102;&#106;"},
      {u"&NotEqualTilde;", u"&#8770;&#824;"},
      {u"a&lowbar;b&period;c", u"a&#95;b&#46;c"},
      {u"&CounterClockwiseContourIntegral;", u"&#8755;"},
      {u"&LT;b&GT; &AMP; &QUOT;", u"&#60;b&#62; &#38; &#34;"},
      {u"&Tab;&NewLine;", u"&#9;&#10;"},
  };
  for (const Row& row : rows) expectNumbered(row);
}

TEST(NamedReferences, NeedNoSemicolonWhereBrowsersNeedNone) {
  const Row rows[] = {
      {u"p&shyorn", u"p&shy;orn"},
      {u"caf&eacute noir", u"caf&eacute; noir"},
      {u"&copy2005 &COPY2005", u"&copy;2005 &#169;2005"},
      {u"&notit; &amp", u"&not;it; &amp;"},
      {u"&lt-;", u"&lt;-;"},
      {u"&frac12x&frac1", u"&frac12;x&frac1"},
  };
  for (const Row& row : rows) expectNumbered(row);
}

TEST(NamedReferences, AreLeftWhereTheParserKnowsThemOrNobodyDoes) {
  for (const std::u16string_view page :
       {u"", u"&", u"a & b", u"&;", u"&amp;&nbsp;&eacute;&hellip;&notin;&apos;&lang;",
        u"&hellip &unknown; &x", u"&#112;&#x70;&#112orn",
        u"&#0;&#127;&#160;&#x110000;&#99999999999999999999;", u"&#", u"&#x", u"&#;",
        u"&CounterClockwiseContourIntegralx;", u"&af"}) {
    SCOPED_TRACE(platform::utf8FromUTF16(page));
    EXPECT_EQ(withNumberedReferences(std::u16string(page)), page);
  }
}

TEST(NamedReferences, OfControlCharactersMeanThoseOfWindows1252) {
  const Row rows[] = {
      {u"&#150;", u"&#8211;"},
      {u"&#x9a;ex&#X9A", u"&#353;ex&#353;"},
      {u"&#00128 &#129;", u"&#8364; &#129;"},
      {u"&#159;&#160;", u"&#376;&#160;"},
  };
  for (const Row& row : rows) expectNumbered(row);
}

TEST(NamedReferences, InAttributesNeedASemicolonBeforeLettersAndSigns) {
  const Row rows[] = {
      {u"<a href='?a=b&copy=c&section=d&shy'>&af;", u"<a href='?a=b&copy=c&section=d&shy;'>&#8289;"},
      {u"<img alt=p&af;orn title=\"&shy x\">", u"<img alt=p&#8289;orn title=\"&shy; x\">"},
      {u"<img alt='a>&af;b'>&shyx", u"<img alt='a>&#8289;b'>&shy;x"},
      {u"<a href=x&Tab;title=y>", u"<a href=x&#9;title=y>"},
  };
  for (const Row& row : rows) expectNumbered(row);
}

TEST(NamedReferences, AreLettersInScriptsStylesAndComments) {
  const Row rows[] = {
      {u"<script>a='&shyx&af;'</script>&af;", u"<script>a='&shyx&af;'</script>&#8289;"},
      {u"<STYLE>&af;</STYLE >&af;", u"<STYLE>&af;</STYLE >&#8289;"},
      {u"<script/>&af;", u"<script/>&#8289;"},
      {u"<scripts>&af;", u"<scripts>&#8289;"},
      {u"<!--<script>&af;-->&af;", u"<!--<script>&af;-->&#8289;"},
      {u"<!-->&af;<!--->&af;<!-- --!>&af;", u"<!-->&#8289;<!--->&#8289;<!-- --!>&#8289;"},
      {u"<!-- &af;", u"<!-- &af;"},
      {u"<script>&af;", u"<script>&af;"},
      {u"< &af; <", u"< &#8289; <"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(platform::utf8FromUTF16(row.page));
    // A reference elsewhere, or the walk would not begin.
    EXPECT_EQ(withNumberedReferences(std::u16string(u"&af;") + row.page),
              std::u16string(u"&#8289;") + row.numbered);
  }
}

TEST(NamedReferences, HideNoWordFromTheJudgement) {
  EXPECT_EQ(contentOf("w&shyord"), String(u" w\u00ADord "));
  EXPECT_EQ(contentOf("&wopf;ord"), String(u" \U0001D568ord "));
  EXPECT_EQ(contentOf("<p>w&NoBreak;ord&period;"), String(u" w\u2060ord. "));
  EXPECT_EQ(contentOf("&LT;b&GT;"), String(u" <b> "));
}

TEST(NamedReferences, OfDeclaredEntitiesComeAfterTheDeclaration) {
  EXPECT_EQ(contentOf("<!DOCTYPE html [<!ENTITY af 'word'>]><p>&af;"), String(u" ]> word "));
}

TEST(NamedReferences, AreAllUnknownToTheParserAndInOrder) {
  struct NamedRow {
    const char* name;
    char32_t first;
    char32_t second;
  };
  constexpr NamedRow kRows[] = {
#include "page/named_references.inc"
  };
  EXPECT_EQ(std::size(kRows), 1872U);
  const auto inOrder = [](const NamedRow& a, const NamedRow& b) {
    return std::string_view(a.name) < std::string_view(b.name);
  };
  EXPECT_TRUE(std::is_sorted(std::begin(kRows), std::end(kRows), inOrder));
  for (const NamedRow& row : kRows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(htmlEntityLookup(reinterpret_cast<const xmlChar*>(row.name)), nullptr);
    const std::string page = "&" + std::string(row.name) + ";";
    EXPECT_TRUE(withNumberedReferences(platform::utf16FromUTF8Lossy(page)).starts_with(u"&#"));
  }
}

TEST(NamedReferences, TakeTimeLinearInThePage) {
  // A search that goes back would take minutes, so finishing is the test.
  for (const std::u16string_view piece :
       {u"&af;", u"&shyx", u"<!-- &af; ", u"<a b='&af; ", u"<script>&af; ", u"&#", u"&#x9",
        u"&aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa", u"<!----!>"}) {
    SCOPED_TRACE(platform::utf8FromUTF16(piece));
    std::u16string page = u"&af;";
    for (int i = 0; i < 300000; ++i) page.append(piece);
    EXPECT_FALSE(withNumberedReferences(std::move(page)).empty());
  }
}

}  // namespace
}  // namespace sifterra
