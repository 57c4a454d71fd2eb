// Attribute reads, images and links, on nodes as the parser makes them and on nodes it never makes.
#include "sifterra/page/XMLNode.h"

#include <gtest/gtest.h>
#include <libxml/tree.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <type_traits>

#include "page/node_text.h"
#include "page_fixture.h"
#include "sifterra/page/WFImg.h"
#include "sifterra/page/WFLink.h"

namespace sifterra {
namespace {

using platform::String;

const xmlChar* bytes(const char* text) {
  return reinterpret_cast<const xmlChar*>(text);
}

// A node outside any document, with what tests hang on it.
class LooseNode {
 public:
  LooseNode() : node_(xmlNewNode(nullptr, bytes("img"))) {}
  ~LooseNode() { xmlFreeNode(node_); }
  LooseNode(const LooseNode&) = delete;
  LooseNode& operator=(const LooseNode&) = delete;

  [[nodiscard]] xmlNode* get() const { return node_; }

  // An attribute whose children are these texts, whether or not there is one of the name already.
  void addAttribute(const char* name, std::initializer_list<const char*> texts) {
    xmlAttr* attribute = xmlNewProp(node_, bytes(name), nullptr);
    xmlNode* last = nullptr;
    for (const char* text : texts) {
      xmlNode* child = xmlNewText(bytes(text));
      child->parent = reinterpret_cast<xmlNode*>(attribute);
      child->prev = last;
      (last == nullptr ? attribute->children : last->next) = child;
      attribute->last = last = child;
    }
  }

 private:
  xmlNode* node_;
};

WFImg firstImage(const std::shared_ptr<WFTreeHTMLStripper>& model) {
  EXPECT_FALSE(model->images().empty());
  return model->images().front();
}

TEST(XMLNode, KeepsThePointerItIsGiven) {
  const LooseNode a;
  const LooseNode b;
  XMLNode node(a.get());
  EXPECT_EQ(node.xmlNode(), a.get());
  node.setXmlNode(b.get());
  EXPECT_EQ(node.xmlNode(), b.get());
}

TEST(StringValueForAttribute, IsTheFirstTextOfTheLastSuchAttribute) {
  LooseNode node;
  node.addAttribute("alt", {"one", "two"});
  EXPECT_EQ(XMLNode::stringValueForAttribute(String(u"alt"), node.get()), String(u"one"));
  node.addAttribute("alt", {"three", "four"});
  EXPECT_EQ(XMLNode::stringValueForAttribute(String(u"alt"), node.get()), String(u"three"));
  node.addAttribute("alt", {});  // without a text child: the value stays
  EXPECT_EQ(XMLNode::stringValueForAttribute(String(u"alt"), node.get()), String(u"three"));
  EXPECT_EQ(XMLNode(node.get())._stringValueFromAttribute(String(u"alt")), String(u"three"));
}

TEST(StringValueForAttribute, ComparesNamesExactly) {
  LooseNode node;
  node.addAttribute("Alt", {"x"});
  node.addAttribute("alternate", {"y"});
  EXPECT_TRUE(XMLNode::stringValueForAttribute(String(u"alt"), node.get()).isNull());
  EXPECT_EQ(XMLNode::stringValueForAttribute(String(u"Alt"), node.get()), String(u"x"));
  EXPECT_TRUE(XMLNode::stringValueForAttribute(String(u""), node.get()).isNull());
  EXPECT_TRUE(XMLNode::stringValueForAttribute(String(), node.get()).isNull());
}

TEST(StringValueForAttribute, SkipsChildrenThatAreNoText) {
  LooseNode node;
  node.addAttribute("alt", {"x"});
  xmlAttr* attribute = node.get()->properties;
  xmlNode* reference = xmlNewReference(nullptr, bytes("nonsense"));
  reference->parent = reinterpret_cast<xmlNode*>(attribute);
  reference->next = attribute->children;
  attribute->children->prev = reference;
  attribute->children = reference;
  EXPECT_EQ(XMLNode::stringValueForAttribute(String(u"alt"), node.get()), String(u"x"));
}

TEST(StringValueForAttribute, OfANodeWithoutAttributesIsNull) {
  const LooseNode node;
  EXPECT_TRUE(XMLNode::stringValueForAttribute(String(u"alt"), node.get()).isNull());
  EXPECT_EQ(XMLNode(node.get())._intValueFromAttribute(String(u"width")), kWFImgDimensionUnknown);
}

TEST(IntValueFromAttribute, IsTheLastTextOfAll) {
  LooseNode node;
  node.addAttribute("width", {"1", "2"});
  EXPECT_EQ(XMLNode(node.get())._intValueFromAttribute(String(u"width")), 2);
  node.addAttribute("width", {"3", "4"});
  EXPECT_EQ(XMLNode(node.get())._intValueFromAttribute(String(u"width")), 4);
  node.addAttribute("width", {});
  EXPECT_EQ(XMLNode(node.get())._intValueFromAttribute(String(u"width")), 4);
}

TEST(WFImg, ReadsItsDimensions) {
  struct Row {
    const char* html;
    std::int64_t width;
  };
  constexpr Row kRows[] = {
      {"<img>", -1},
      {"<img width>", -1},      // no text child
      {"<img width=\"\">", 0},  // an empty one
      {"<img width=\"abc\">", 0},
      {"<img width=auto>", 0},
      {"<img width=100>", 100},
      {"<img width=100px>", 100},
      {"<img width=\"50%\">", 50},
      {"<img width=\" \t\n\v\f\r7\">", 7},
      {"<img width=\"+8\">", 8},
      {"<img width=\"-20\">", -20},
      {"<img width=\"- 20\">", 0},
      {"<img width=\"1e3\">", 1},
      {"<img width=\"0x10\">", 0},
      {"<img WIDTH=5>", 5},          // the parser lower-cases names
      {"<img width=5 width=6>", 5},  // and drops the second of a name
      {"<img width=2147483647>", 2147483647},
      {"<img width=2147483648>", -2147483648},  // the lower 32 bits
      {"<img width=4294967297>", 1},
      {"<img width=99999999999999999999>",
       -1},  // stops at the largest 64-bit number, whose lower bits are ones
      {"<img width=-99999999999999999999>", 0},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.html);
    const auto model = modelOf(row.html);
    EXPECT_EQ(firstImage(model).width(), row.width);
  }
}

TEST(IntegerPrefix, IsAtoi) {
  for (const char* text : {"", "1", "-1", "+3x", "  42", "--1", "2147483647", "2147483648", "-2147483649",
                           "9223372036854775807", "9223372036854775808", "-9223372036854775809",
                           "\xC2\xA0"
                           "5"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(integerPrefix(text), std::atoi(text));
  }
}

TEST(WFImg, HasAnAreaWhenBothDimensionsAreKnown) {
  struct Row {
    const char* html;
    std::int64_t area;
  };
  constexpr Row kRows[] = {
      {"<img width=10 height=20>", 200}, {"<img width=10>", -1},
      {"<img height=10>", -1},           {"<img>", -1},
      {"<img width=0 height=5>", 0},     {"<img width=abc height=5>", 0},
      {"<img width=-1 height=5>", -1},  // reads as unknown
      {"<img width=-2 height=5>", -10},  {"<img width=2147483647 height=2147483647>", 4611686014132420609},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.html);
    const auto model = modelOf(row.html);
    EXPECT_EQ(firstImage(model).area(), row.area);
  }
}

TEST(WFImg, ReadsItsTexts) {
  const auto model = modelOf("<img alt='A &amp; B' title=\"\" src=x.gif>");
  const WFImg image = firstImage(model);
  EXPECT_EQ(image.alt(), String(u"A & B"));
  EXPECT_EQ(image.title(), String(u""));  // empty, not null
  EXPECT_EQ(image.src(), String(u"x.gif"));
  const auto bare = modelOf("<img alt title>");
  EXPECT_TRUE(firstImage(bare).alt().isNull());
  EXPECT_TRUE(firstImage(bare).title().isNull());
  EXPECT_TRUE(firstImage(bare).src().isNull());
}

TEST(WFImg, DescribesItself) {
  const auto model = modelOf("<img alt=A src=x.gif width=3 height=4>");
  EXPECT_EQ(firstImage(model).description(), String(u"(WFImg alt:A src:x.gif width:3 height:4 )"));
  const auto bare = modelOf("<img>");
  EXPECT_EQ(firstImage(bare).description(), String(u"(WFImg alt:(null) src:(null) width:-1 height:-1 )"));
}

TEST(WFLink, GivesAURLForReferencesOnly) {
  struct Row {
    const char* html;
    const char* url;  // null: no URL
  };
  constexpr Row kRows[] = {
      {"<a href='http://h.example/p?q#f'>", "http://h.example/p?q#f"},
      {"<a href='p/q'>", "p/q"},
      {"<a href=''>", ""},
      {"<a href>", nullptr},
      {"<a>", nullptr},
      {"<a href='http://h h/'>", nullptr},
      {"<a href=' /p'>", nullptr},
      {"<a href='/p%zz'>", nullptr},
      {"<a href='/\xC3\xA4'>", nullptr},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.html);
    const auto model = modelOf(row.html);
    ASSERT_EQ(model->links().size(), 1U);
    const platform::URL url = model->links().front().url();
    EXPECT_EQ(url.isNull(), row.url == nullptr);
    if (row.url != nullptr) {
      EXPECT_EQ(url.absoluteString().toUTF8(), row.url);
    }
  }
  const auto model = modelOf("<a title='T'>");
  EXPECT_EQ(model->links().front().title(), String(u"T"));
}

TEST(GetJavascriptFromNode, IsTheFirstChildsContent) {
  LooseNode node;
  EXPECT_TRUE(XMLNode::getJavascriptFromNode(node.get()).isNull());
  xmlAddChild(node.get(), xmlNewCDataBlock(nullptr, bytes("one"), 3));
  xmlAddChild(node.get(), xmlNewComment(bytes("two")));
  EXPECT_EQ(XMLNode::getJavascriptFromNode(node.get()), String(u"one"));
}

TEST(GetJavascriptFromNode, IsNullForAnElementAndForBytesThatAreNoText) {
  LooseNode outer;
  xmlAddChild(outer.get(), xmlNewNode(nullptr, bytes("b")));
  EXPECT_TRUE(XMLNode::getJavascriptFromNode(outer.get()).isNull());
  LooseNode broken;
  xmlAddChild(broken.get(), xmlNewCDataBlock(nullptr, bytes("a\xFF"), 2));
  EXPECT_TRUE(XMLNode::getJavascriptFromNode(broken.get()).isNull());
}

TEST(KWFImgDimensionUnknown, IsMinusOne) {
  EXPECT_EQ(kWFImgDimensionUnknown, -1);
  static_assert(std::is_same_v<std::remove_cv_t<decltype(kWFImgDimensionUnknown)>, std::int64_t>);
}

}  // namespace
}  // namespace sifterra
