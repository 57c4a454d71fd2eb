// The walk: what of a document ends up where in the page model.
#include "sifterra/page/WFTreeXMLDocumentStripper.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "page/parse_html.h"
#include "page_fixture.h"
#include "platform/Log.h"
#include "reference/plain_walk.h"
#include "sifterra/page/WFNodeWrapper.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::LogLevel;
using platform::String;

struct FreeDocument {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
using Document = std::unique_ptr<xmlDoc, FreeDocument>;

using Labels = std::map<std::u16string, String, std::less<>>;

TEST(PageContent, IsEveryTextTrimmedWithASpaceBehindIt) {
  const auto model = modelOfFixture("title-and-bold.html");
  EXPECT_EQ(model->pageTitle(), String(u"T"));
  EXPECT_EQ(model->pageContent(), String(u" T Hello world "));  // the title's text is part of it
}

TEST(PageContent, HasOneSpaceForATextOfWhiteSpace) {
  const auto model = modelOfFixture("white-space-texts.html");
  EXPECT_EQ(model->pageContent(), String(u"  a\u2028b c "));
}

TEST(PageContent, LeavesCommentsOut) {
  EXPECT_EQ(modelOfFixture("comment.html")->pageContent(), String(u" plain "));
}

TEST(PageContent, LeavesScriptAndStyleOutWhereTheParserMakesThemNoText) {
  EXPECT_EQ(modelOfFixture("script-and-style.html")->pageContent(), String(u" text "));
}

TEST(PageTitle, IsTheFirstTitleWithText) {
  struct Row {
    const char* page;
    const char16_t* title;
    const char16_t* content;
  };
  constexpr Row kRows[] = {
      {"two-titles.html", u"First", u" First Second "},
      {"empty-title-then-title.html", u"Second", u" Second "},
      {"title-untrimmed.html", u"  A\n title ", u" A\n title "},
      {"title-in-drawing.html", u"Shape", u" Shape x "},
      {"title-starts-with-comment.html", u"drawn by hand", u" Shape "},  // the first child's content
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.page);
    const auto model = modelOfFixture(row.page);
    EXPECT_EQ(model->pageTitle(), String(row.title));
    EXPECT_EQ(model->pageContent(), String(row.content));
  }
}

TEST(PageTitle, CanBeReplaced) {
  const auto model = modelOfFixture("title-and-bold.html");
  model->setPageTitle(String(u"Other"));
  EXPECT_EQ(model->pageTitle(), String(u"Other"));
  model->setPageTitle(String());
  EXPECT_TRUE(model->pageTitle().isNull());
}

TEST(MetaTags, AreLabeledByLowerCasedNameOrElseHttpEquiv) {
  const auto labels = [](const char* page) { return modelOfFixture(page)->metaTagsLabeled().contents; };
  EXPECT_EQ(labels("description-twice.html"),
            (Labels{{u"description", String(u"x")}}));  // the first one wins
  EXPECT_EQ(labels("label-from-http-equiv.html"), (Labels{{u"content-language", String(u"de")}}));
  EXPECT_EQ(labels("name-beats-http-equiv.html"), (Labels{{u"rating", String(u"3")}}));
  EXPECT_EQ(labels("empty-label.html"), (Labels{{u"", String(u"3")}}));  // an empty name is one
  EXPECT_EQ(labels("bare-name.html"), (Labels{{u"refresh", String(u"3")}}));
  EXPECT_EQ(labels("label-outside-ascii.html"), (Labels{{u"\u00FCbersichti\u0307", String(u"x")}}));
  EXPECT_EQ(labels("meta-without-content.html"), Labels{});
  EXPECT_EQ(labels("meta-without-label.html"), Labels{});
}

TEST(MetaTags, WithoutALabelAreKeptInOrder) {
  const auto model = modelOfFixture("meta-without-label.html");
  EXPECT_EQ(model->metaTagsUnlabeled(), (std::vector<String>{String(u"one"), String(u"two"), String(u"")}));
  EXPECT_TRUE(modelOfFixture("meta-without-content.html")->metaTagsUnlabeled().empty());
}

TEST(MetaTags, HaveThreeWellKnownLabels) {
  const auto model = modelOfFixture("well-known-metas.html");
  EXPECT_EQ(model->metaTagKeywords(), String(u"k"));
  EXPECT_EQ(model->metaTagDescription(), String(u"d"));
  EXPECT_EQ(model->metaTagRating(), String(u"r"));
  const auto none = modelOfFixture("comment.html");
  EXPECT_TRUE(none->metaTagKeywords().isNull());
  EXPECT_TRUE(none->metaTagDescription().isNull());
  EXPECT_TRUE(none->metaTagRating().isNull());
}

TEST(HasShortRefresh, IsSetByARefreshTag) {
  EXPECT_TRUE(modelOfFixture("refresh-short.html")->hasShortRefresh());
  EXPECT_TRUE(modelOfFixture("refresh-by-name.html")->hasShortRefresh());
  EXPECT_TRUE(modelOfFixture("refresh-capitals.html")->hasShortRefresh());
  EXPECT_TRUE(modelOfFixture("bare-name.html")->hasShortRefresh());
  EXPECT_FALSE(modelOfFixture("refresh-second-ignored.html")->hasShortRefresh());
  EXPECT_FALSE(modelOfFixture("name-beats-http-equiv.html")->hasShortRefresh());
  EXPECT_FALSE(modelOfFixture("empty-label.html")->hasShortRefresh());
  EXPECT_FALSE(modelOfFixture("comment.html")->hasShortRefresh());
}

TEST(HasShortRefresh, StoresTheContentUntrimmed) {
  const auto model = modelOf("<meta http-equiv=refresh content=\" \t5 \">");
  EXPECT_TRUE(model->hasShortRefresh());
  EXPECT_EQ(model->metaTagsLabeled().contentForLabel(u"refresh"), String(u" \t5 "));
}

TEST(HasFrameset, IsSetAnywhere) {
  const auto model = modelOfFixture("frameset.html");
  EXPECT_TRUE(model->hasFrameset());
  EXPECT_EQ(model->pageContent(), String(u" F "));
  EXPECT_FALSE(modelOfFixture("comment.html")->hasFrameset());
}

TEST(Walk, ComparesTheNamesOfNodesThatAreNoElements) {
  const auto frameset = modelOfFixture("frameset-instruction.html");
  EXPECT_TRUE(frameset->hasFrameset());

  const auto link = modelOfFixture("link-instruction.html");
  ASSERT_EQ(link->links().size(), 1U);  // "<?A ...?>", and it has no attributes
  EXPECT_TRUE(link->links().front().title().isNull());
  EXPECT_TRUE(link->links().front().url().isNull());

  const auto image = modelOfFixture("doctype-named-like-elements.html");
  ASSERT_EQ(image->images().size(), 1U);  // "<!DOCTYPE img>"
  EXPECT_TRUE(image->images().front().alt().isNull());
  EXPECT_EQ(image->images().front().area(), -1);

  for (const char* name : {"meta", "title", "script", "style"}) {
    SCOPED_TRACE(name);
    const auto model = modelOf(std::string("<!DOCTYPE ") + name + " PUBLIC \"x\" \"y\"><p>p</p>");
    EXPECT_EQ(model->pageContent(), String(u" p "));
    EXPECT_TRUE(model->pageTitle().isNull());
    EXPECT_TRUE(model->metaTagsUnlabeled().empty());
    EXPECT_EQ(model->scriptBlocks().size(), std::string(name) == "script" ? 1U : 0U);
  }
}

TEST(Walk, FindsLinksAndImagesInOrder) {
  const auto model = modelOfFixture("links-and-images.html");
  ASSERT_EQ(model->links().size(), 4U);
  EXPECT_EQ(model->links()[0].title(), String(u"One"));
  EXPECT_EQ(model->links()[0].url().absoluteString(), String(u"http://h.example/p?q#f"));
  EXPECT_TRUE(model->links()[1].url().isNull());
  EXPECT_TRUE(model->links()[2].url().isNull());
  EXPECT_EQ(model->links()[3].url().absoluteString(), String(u""));
  ASSERT_EQ(model->images().size(), 2U);
  EXPECT_EQ(model->images()[0].alt(), String(u"A"));
  EXPECT_EQ(model->images()[1].area(), 200);
  EXPECT_EQ(model->pageContent(), String(u" one two three four "));
}

TEST(Walk, KeepsOneBlockPerScript) {
  const auto model = modelOfFixture("script-and-style.html");
  EXPECT_EQ(model->scriptBlocks(), (std::vector<String>{String(u"Hello,x,\nb,\n"), String(u"")}));
}

TEST(Walk, HasNoURL) {
  EXPECT_TRUE(modelOfFixture("comment.html")->URLString().isNull());
}

TEST(WFTreeXMLDocumentStripper, RefusesANullDocument) {
  const CapturedLog log;
  EXPECT_FALSE(WFTreeXMLDocumentStripper::treeStripperWithXMLDocument(nullptr));
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_TRUE(log.contains(
      LogLevel::Error, "-[WFTreeXMLDocumentStripper initWithXMLDocument:] -- passing a nil TreeDocument!"));
}

TEST(WFTreeXMLDocumentStripper, HasAnEmptyModelOfAnEmptyDocument) {
  const Document empty(xmlNewDoc(nullptr));
  const auto model = WFTreeXMLDocumentStripper::treeStripperWithXMLDocument(empty.get());
  ASSERT_TRUE(model);
  EXPECT_EQ(model->pageContent(), String(u" "));
  EXPECT_TRUE(model->images().empty());
  EXPECT_TRUE(model->links().empty());
  EXPECT_TRUE(model->scriptBlocks().empty());
  EXPECT_FALSE(model->hasFrameset());
  EXPECT_FALSE(model->hasShortRefresh());
}

TEST(WFTreeXMLDocumentStripper, ReadsAnyDocumentWithoutOwningIt) {
  const std::string xml = "<r><![CDATA[not text]]><A title='t'>x</A><TITLE>T</TITLE></r>";
  const Document document(xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr, 0));
  {
    const auto model = WFTreeXMLDocumentStripper::treeStripperWithXMLDocument(document.get());
    EXPECT_EQ(model->pageContent(), String(u" x T "));
    EXPECT_EQ(model->pageTitle(), String(u"T"));
    ASSERT_EQ(model->links().size(), 1U);
    EXPECT_EQ(model->links().front().title(), String(u"t"));
    EXPECT_TRUE(model->description().toUTF8().starts_with("<WFTreeXMLDocumentStripper:0x"));
  }
  EXPECT_EQ(xmlDocGetRootElement(document.get())->children->type, XML_CDATA_SECTION_NODE);
}

TEST(WFTreeXMLDocumentStripper, DoesNotFollowEntityReferencesOutOfTheTree) {
  // Each entity doubles the one before: following the references would give 2^24 texts.
  std::string xml = "<!DOCTYPE r [<!ENTITY e0 'x'>";
  for (int i = 1; i < 25; ++i) {
    const std::string inner = "&e" + std::to_string(i - 1) + ";";
    xml += "<!ENTITY e" + std::to_string(i) + " '" + inner + inner + "'>";
  }
  xml += "]><r>a&e24;b</r>";
  const Document document(xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr,
                                        XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_RECOVER));
  ASSERT_TRUE(document);
  const auto model = WFTreeXMLDocumentStripper::treeStripperWithXMLDocument(document.get());
  EXPECT_LT(model->pageContent().length(), 1000U);
}

TEST(Walk, AgreesWithThePlainWalk) {
  const char* const kPages[] = {
      "title-and-bold.html",          "white-space-texts.html", "links-and-images.html",
      "script-and-style.html",        "two-titles.html",        "frameset.html",
      "utf8-declared-but-broken.html"};
  for (const char* page : kPages) {
    SCOPED_TRACE(page);
    const platform::Data bytes = fixture(page);
    const HTMLDocument document = parseHTML(bytes.chars(), "UTF-8");
    const auto model = WFTreeXMLDocumentStripper::treeStripperWithXMLDocument(document.get());
    EXPECT_EQ(model->pageContent().view(), reference::plainPageContent(document.get()));
  }
}

TEST(WFNodeWrapper, MakesAnArrayAStack) {
  xmlNode* first = xmlNewNode(nullptr, reinterpret_cast<const xmlChar*>("a"));
  xmlNode* second = xmlNewNode(nullptr, reinterpret_cast<const xmlChar*>("b"));
  std::vector<WFNodeWrapper> stack;
  WF_push(stack, first);
  WF_push(stack, second);
  ASSERT_EQ(stack.size(), 2U);
  EXPECT_EQ(stack.back().node(), second);
  EXPECT_EQ(WF_pop(stack), second);
  EXPECT_EQ(WF_pop(stack), first);
  EXPECT_TRUE(stack.empty());
  xmlFreeNode(first);
  xmlFreeNode(second);
}

}  // namespace
}  // namespace sifterra
