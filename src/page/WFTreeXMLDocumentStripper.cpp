// WFTreeXMLDocumentStripper: one walk, depth first, in document order, without recursion.
//
// The stack holds what is still to be done: of each level the next sibling only, so it is never deeper
// than the tree. A node's name is compared whatever kind of node it is: "<?frameset?>" is a frameset.
#include "sifterra/page/WFTreeXMLDocumentStripper.h"

#include <libxml/tree.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "page/node_text.h"
#include "page/page_elements.h"
#include "page/short_refresh.h"
#include "platform/Unicode.h"
#include "sifterra/page/WFJavascriptStripper.h"
#include "sifterra/page/WFNodeWrapper.h"
#include "util/log.h"

namespace sifterra {

using platform::String;

namespace {

constexpr auto kOp = "-[WFTreeXMLDocumentStripper initWithXMLDocument:]";

std::u16string shown(const String& value) {
  return value ? std::u16string(value.view()) : std::u16string(u"(null)");
}
std::u16string shown(const WFImg& image) {
  return shown(image.description());
}

// An array stands in a description as its elements between parentheses, each on a line of its own.
template <class Element>
std::u16string shown(const std::vector<Element>& elements) {
  std::u16string text = u"(";
  const char16_t* separator = u"\n    ";
  for (const Element& element : elements) {
    text.append(separator).append(shown(element));
    separator = u",\n    ";
  }
  return text.append(u"\n)");
}

// The children of an entity reference are the entity's own: not below this node, and perhaps around it.
xmlNode* firstChild(const xmlNode* node) noexcept {
  return node->type == XML_ENTITY_REF_NODE ? nullptr : node->children;
}

}  // namespace

std::shared_ptr<WFTreeXMLDocumentStripper> WFTreeXMLDocumentStripper::treeStripperWithXMLDocument(
    xmlDoc* document) {
  std::shared_ptr<WFTreeXMLDocumentStripper> stripper(new WFTreeXMLDocumentStripper);
  return stripper->initWithXMLDocument(document) ? stripper : nullptr;
}

bool WFTreeXMLDocumentStripper::initWithXMLDocument(xmlDoc* document) {
  if (document == nullptr) {
    logError("%s -- passing a nil TreeDocument!", kOp);
    return false;
  }
  strip(document);
  return true;
}

void WFTreeXMLDocumentStripper::strip(xmlDoc* document) {
  processXMLDocument(document);
}

void WFTreeXMLDocumentStripper::processXMLDocument(xmlDoc* document) {
  _scriptBlocks.clear();
  _images.clear();
  _metaTagsLabeled.contents.clear();
  _metaTagsUnlabeled.clear();
  _links.clear();
  _hasFrameset = false;
  _hasShortRefresh = false;
  _pageContent = processXMLDocument(document, true);
}

String WFTreeXMLDocumentStripper::processXMLDocument(xmlDoc* document, bool /*blockComments*/) {
  std::u16string text = u" ";
  std::vector<WFNodeWrapper> stack;
  if (document->children != nullptr) WF_push(stack, document->children);
  while (!stack.empty()) {
    xmlNode* node = WF_pop(stack);
    if (node->next != nullptr) WF_push(stack, node->next);
    processNode(node, text);
    if (xmlNode* child = firstChild(node)) WF_push(stack, child);
  }
  return String(std::move(text));
}

void WFTreeXMLDocumentStripper::processNode(xmlNode* node, std::u16string& text) {
  switch (pageElementNamed(reinterpret_cast<const char*>(node->name))) {
    case PageElement::A:
      _links.emplace_back(node);
      return;
    case PageElement::Style:
      return;
    case PageElement::Script:
      _scriptBlocks.push_back(WFJavascriptStripper::stripJavascript(XMLNode::getJavascriptFromNode(node)));
      return;
    case PageElement::Meta:
      processMetaTag(node);
      return;
    case PageElement::Img:
      _images.emplace_back(node);
      return;
    case PageElement::Title:
      if (_pageTitle.isNull()) _pageTitle = firstChildText(node);
      return;
    case PageElement::Frameset:
      _hasFrameset = true;
      return;
    case PageElement::Other:
      break;
  }
  if (node->type != XML_TEXT_NODE) return;
  if (const char* content = nodeContent(node)) appendTrimmedText(content, text);
}

void WFTreeXMLDocumentStripper::processMetaTag(const xmlNode* node) {
  const String content = attributeText(node, "content");
  if (content.isNull()) return;
  String label = attributeText(node, "name");
  if (label.isNull()) label = attributeText(node, "http-equiv");
  if (label.isNull()) {
    _metaTagsUnlabeled.push_back(content);
    return;
  }
  const auto [entry, isFirst] =
      _metaTagsLabeled.contents.try_emplace(platform::lowercased(label.view()), content);
  if (isFirst && entry->first == u"refresh" && isShortRefresh(content.view())) _hasShortRefresh = true;
}

String WFTreeXMLDocumentStripper::metaTagDescription() const {
  return _metaTagsLabeled.contentForLabel(u"description");
}

String WFTreeXMLDocumentStripper::metaTagKeywords() const {
  return _metaTagsLabeled.contentForLabel(u"keywords");
}

String WFTreeXMLDocumentStripper::metaTagRating() const {
  return _metaTagsLabeled.contentForLabel(u"rating");
}

String WFTreeXMLDocumentStripper::description() const {
  char head[80];
  std::snprintf(head, sizeof head, "<%s:%p\n", className(), static_cast<const void*>(this));
  const std::string_view ascii = head;
  std::u16string text(ascii.begin(), ascii.end());
  text += u"\tpageTitle:" + shown(pageTitle()) + u"\n";
  text += u"\tmetaTagDescription:" + shown(metaTagDescription()) + u"\n";
  text += u"\tmetaTagKeywords:" + shown(metaTagKeywords()) + u"\n";
  text += u"\tscriptBlocks:" + shown(scriptBlocks()) + u"\n";
  text += u"\timages:" + shown(images()) + u"\n";
  text += u"\tpageContent:" + shown(pageContent()) + u"\n";
  text += u">";
  return String(std::move(text));
}

}  // namespace sifterra
