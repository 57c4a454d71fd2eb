// Entities that a page declares: their words are seen, and nothing else changes.
#include "page/declared_entities.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>

#include "platform/Unicode.h"
#include "sifterra/page/WFTreeHTMLStripper.h"
#include "sifterra/page/decodePage.h"

namespace sifterra {
namespace {

std::u16string expanded(std::u16string_view text) {
  return withDeclaredEntities(std::u16string(text));
}

TEST(DeclaredEntities, PutsTheirWordsIn) {
  const std::pair<std::u16string_view, std::u16string_view> rows[] = {
      {u"<!ENTITY x 'words'>", u"words"},
      {u"<!ENTITY x \"it's\">", u"it s"},
      {u"\n <!ENTITY\tx\n'words'\n>", u"words"},
      {u"<!entity x 'words'>", u"words"},
      {u"<!ENTITY x 'first'><!ENTITY x 'second'>", u"first"},
      {u"<!-- ' --><?pi '?><!ENTITY x 'words'>", u"words"},
      {u"<!ELEMENT p '>'><!ATTLIST p q CDATA ']'><!ENTITY x 'words'>", u"words"},
      {u"<!ENTITY x '&y;s'><!ENTITY y 'word'>", u"words"},
      {u"<!ENTITY x '&#119;or&#x64;s'>", u"words"},
      {u"<!ENTITY x '&#38;amp;'>", u"&amp;"},
      {u"<!ENTITY x '&amp;&none;'>", u"&amp;&none;"},
      {u"<!ENTITY % d '<!ENTITY x \"words\">'> %d;", u"words"},
      {u"<!ENTITY % e '&#60;!ENTITY % d &#39;<!ENTITY x \"words\">&#39;>'> %e;", u"words"},
      {u"<!ENTITY x '<p>words</p><!--'>", u" p words /p  !--"},
      {u"<!ENTITY x ''>", u""},
  };
  for (const auto& [declarations, words] : rows) {
    const std::u16string prolog =
        u"<?xml version='1.0'?><!-- a --> <!DOCTYPE html [" + std::u16string(declarations);
    SCOPED_TRACE(platform::utf8FromUTF16(prolog));
    EXPECT_EQ(expanded(prolog + u"]><p a='&x;'>1 &x; &amp; &y"),
              prolog + u"]><p a='" + std::u16string(words) + u"'>1 " + std::u16string(words) + u" &amp; &y");
  }
}

TEST(DeclaredEntities, LeavesPagesWithoutThemAlone) {
  const std::u16string_view pages[] = {
      u"",
      u"&x;",
      u"<!DOCTYPE html><p>&x; [<!ENTITY x 'y'>]",
      u"<!DOCTYPE html PUBLIC '-//W3C//DTD [HTML] 4.01//EN' \"[\">&x;",
      u"text <!DOCTYPE html [<!ENTITY x 'y'>]>&x;",
      u"<!DOCTYPE html [<!ENTITY x SYSTEM 'file'>]>&x;",
      u"<!DOCTYPE html [<!ENTITY x 'y",
      u"<!DOCTYPE html [<!ENTITY x",
      u"<!DOCTYPE html [<!ENTITY 'y'>]>&;",
      u"<!DOCTYPE html [",
      u"<!DOCTYPE html '",
      u"<!--",
      u"<?",
  };
  for (const std::u16string_view page : pages) {
    SCOPED_TRACE(platform::utf8FromUTF16(page));
    EXPECT_EQ(expanded(page), page);
  }
}

TEST(DeclaredEntities, AreBounded) {
  // Each is ten of the one before; and one that holds itself.
  std::u16string bomb = u"<!DOCTYPE html [<!ENTITY a 'words words '><!ENTITY loop '&loop;&loop;'>";
  for (char16_t name = u'b'; name < u'o'; ++name) {
    bomb += u"<!ENTITY ";
    bomb += name;
    bomb += u" '";
    for (int i = 0; i < 10; ++i) bomb.append(u"&").append(1, static_cast<char16_t>(name - 1)).append(u";");
    bomb += u"'>";
  }
  const std::u16string text = expanded(bomb + u"]>&n;&n;&n;");
  EXPECT_NE(text.find(u"words words words"), std::u16string::npos);
  EXPECT_LE(text.size(), 2 * bomb.size() + kMostEntityText + 100);
}

TEST(DeclaredEntities, ShowOnceEvenWhereTooManyAreAskedFor) {
  const std::u16string prolog =
      u"<!DOCTYPE html [<!ENTITY loop '&loop;&loop;&loop;'><!ENTITY x 'wo'><!ENTITY blank 'a \n   \n "
      u"b'><!ENTITY y 'rds'>]>";
  EXPECT_EQ(expanded(prolog + u"&blank;&x;&y;"), prolog + u"a b" + u"words");
  const std::u16string text = expanded(prolog + u"&loop;&x;");
  EXPECT_TRUE(text.ends_with(u" a b &loop;&loop;&loop; wo rds"));
}

TEST(DeclaredEntities, ShowInTheTextOfAPage) {
  const auto page = WFTreeHTMLStripper::treeStripperWithString(decodePage(
      platform::Data(
          std::string("<!DOCTYPE html [<!ENTITY a 'WO'><!ENTITY b '&a;RDS'>]><html><p>&b;</p></html>")),
      nullptr));
  EXPECT_NE(page->pageContent().toUTF8().find("WORDS"), std::string::npos);
}

}  // namespace
}  // namespace sifterra
