// Pages of any shape: large, flat, deep, full of attributes, broken. All are taken in time that grows with
// their size; the limits would be passed a thousand times over by anything quadratic, and leave room for
// sanitizers and busy machines.
#include <gtest/gtest.h>
#include <libxml/tree.h>

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "page_fixture.h"

namespace sifterra {
namespace {

using platform::String;

constexpr std::chrono::seconds kLimit{30};

class PageShapes : public testing::Test {
 protected:
  void TearDown() override { EXPECT_LT(std::chrono::steady_clock::now() - begin_, kLimit); }

 private:
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

std::string repeated(std::string_view unit, std::size_t times) {
  std::string page;
  page.reserve(unit.size() * times);
  for (std::size_t i = 0; i < times; ++i) page += unit;
  return page;
}

TEST_F(PageShapes, AMillionSiblings) {
  const auto model = modelOf(repeated("<a>x</a>", 1'000'000));
  EXPECT_EQ(model->links().size(), 1'000'000U);
  EXPECT_EQ(model->pageContent().length(), 1U + 2'000'000U);
}

TEST_F(PageShapes, AMillionEmptyTextNodes) {
  const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> document(xmlNewDoc(nullptr), xmlFreeDoc);
  xmlNode* root = xmlNewNode(nullptr, reinterpret_cast<const xmlChar*>("p"));
  xmlDocSetRootElement(document.get(), root);
  xmlNode* last = nullptr;
  for (int i = 0; i < 1'000'000; ++i) {  // linked by hand: the library's own functions would merge them
    xmlNode* text = xmlNewText(reinterpret_cast<const xmlChar*>(i % 2 == 0 ? "" : " "));
    text->parent = root;
    text->doc = document.get();
    text->prev = last;
    (last == nullptr ? root->children : last->next) = text;
    root->last = last = text;
  }
  const auto model = WFTreeXMLDocumentStripper::treeStripperWithXMLDocument(document.get());
  EXPECT_EQ(model->pageContent(), String(std::u16string(1'000'001, u' ')));
}

TEST_F(PageShapes, AMillionAttributesOverThePage) {
  const auto model = modelOf(repeated("<img a=1 b=2 c=3 d=4 e=5 f=6 g=7 alt=A width=2 height=3>", 100'000));
  ASSERT_EQ(model->images().size(), 100'000U);
  EXPECT_EQ(model->images().back().area(), 6);
  EXPECT_EQ(model->images().back().alt(), String(u"A"));
}

TEST_F(PageShapes, AHundredThousandNestedElements) {
  // The parser itself keeps the first 255 levels only.
  const auto model = modelOf("<p>before</p>" + repeated("<div>", 100'000) + "deep");
  ASSERT_TRUE(model);
  EXPECT_TRUE(model->pageContent().view().starts_with(u" before "));
}

TEST_F(PageShapes, ALongText) {
  const std::string paragraph = "<p>" + repeated("word ", 200) + "</p>";
  const auto model = modelOf(repeated(paragraph, 16'000));  // 16 MB
  EXPECT_EQ(model->pageContent().length(), 1U + 16'000U * 1000U);
}

TEST_F(PageShapes, AHundredThousandLabels) {
  std::string page;
  for (int i = 0; i < 100'000; ++i) page += "<meta name=l" + std::to_string(i) + " content=c>";
  EXPECT_EQ(modelOf(std::move(page))->metaTagsLabeled().contents.size(), 100'000U);
}

TEST_F(PageShapes, ALongScriptOfQuotesAndBrackets) {
  const auto model = modelOf("<script>" + repeated("<'\"", 1'000'000) + "</script>");
  ASSERT_EQ(model->scriptBlocks().size(), 1U);
}

TEST_F(PageShapes, ManyEqualsSignsBeforeADeclaration) {
  const auto model =
      modelOf(repeated("charset", 500'000) + repeated("t=", 500'000) + "<meta charset=\"utf-8\">");
  ASSERT_TRUE(model);
}

TEST_F(PageShapes, ADeclarationThatRunsOverThePage) {
  const auto model = modelOf("charset=" + repeated("x", 4'000'000) + "\" >");
  ASSERT_TRUE(model);
}

TEST_F(PageShapes, ZeroBytes) {
  ASSERT_TRUE(modelOf(std::string(1'000'000, '\0')));
  ASSERT_TRUE(modelOf("<p>a</p>" + std::string(1'000'000, '\0') + "<p>b</p>"));
}

}  // namespace
}  // namespace sifterra
