// page_tree: the handlers of the parser's default tree, step by step, for pages alone (no entities, no name
// spaces, no validation).
#include "page/page_tree.h"

#include <libxml/HTMLtree.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/tree.h>

#include <cstring>
#include <utility>

#include "page/PageArena.h"
#include "page/PageNodes.h"

namespace sifterra {

class PageTree::Builder {
 public:
  explicit Builder(xmlParserCtxt* context);
  ~Builder();
  Builder(const Builder&) = delete;
  Builder& operator=(const Builder&) = delete;

  [[nodiscard]] xmlDoc* finish() noexcept;
  [[nodiscard]] bool failed() const noexcept { return failed_; }

  // For the parser's handlers.
  void startElement(const xmlChar* name, const xmlChar** attributes) noexcept;
  void characters(xmlElementType type, const xmlChar* text, std::size_t length) noexcept;
  void comment(const xmlChar* text) noexcept;
  void instruction(const xmlChar* target, const xmlChar* text) noexcept;

 private:
  [[nodiscard]] const xmlChar* localName(const xmlChar* name) noexcept;
  [[nodiscard]] const xmlChar* kept(const xmlChar* name) noexcept;
  void addAttribute(xmlNode* element, xmlAttr*& last, const xmlChar* name, const xmlChar* value) noexcept;
  void addBeside(xmlNode* node) noexcept;
  void stop() noexcept;
  // What was made; null stops the parser.
  template <class Made>
  [[nodiscard]] Made* orStop(Made* made) noexcept {
    if (made == nullptr) stop();
    return made;
  }

  xmlParserCtxt* context_;
  PageNodes nodes_;
  bool failed_ = false;
};

namespace {

std::size_t lengthOf(const xmlChar* text) noexcept {
  return std::strlen(reinterpret_cast<const char*>(text));
}

PageTree::Builder& treeOf(void* context) noexcept {
  return *static_cast<PageTree::Builder*>(static_cast<xmlParserCtxt*>(context)->_private);
}

extern "C" {
static void onStartElement(void* context, const xmlChar* name, const xmlChar** attributes) {
  treeOf(context).startElement(name, attributes);
}
static void onCharacters(void* context, const xmlChar* text, int length) {
  treeOf(context).characters(XML_TEXT_NODE, text, static_cast<std::size_t>(length));
}
static void onRawText(void* context, const xmlChar* text, int length) {
  treeOf(context).characters(XML_CDATA_SECTION_NODE, text, static_cast<std::size_t>(length));
}
static void onComment(void* context, const xmlChar* text) {
  treeOf(context).comment(text);
}
static void onInstruction(void* context, const xmlChar* target, const xmlChar* text) {
  treeOf(context).instruction(target, text);
}
}

}  // namespace

PageTree::Builder::Builder(xmlParserCtxt* context) : context_(context) {
  context->_private = this;
  xmlSAXHandler& handler = *context->sax;
  handler.startElement = onStartElement;
  handler.characters = onCharacters;
  handler.ignorableWhitespace = onCharacters;
  handler.cdataBlock = onRawText;
  handler.comment = onComment;
  handler.processingInstruction = onInstruction;
}

PageTree::Builder::~Builder() {
  context_->_private = nullptr;
}

xmlDoc* PageTree::Builder::finish() noexcept {
  xmlDoc* const document = std::exchange(context_->myDoc, nullptr);
  if (document == nullptr) return nullptr;
  // The names are those of the parser's dictionary.
  document->dict = context_->dict;
  xmlDictReference(context_->dict);
  document->_private = nodes_.release();
  return document;
}

PageTree::PageTree(xmlParserCtxt* context) : builder_(std::make_unique<Builder>(context)) {}
PageTree::~PageTree() = default;
xmlDoc* PageTree::finish() noexcept {
  return builder_->finish();
}
bool PageTree::failed() const noexcept {
  return builder_->failed();
}

void freePageTree(xmlDoc* document) noexcept {
  if (document == nullptr) return;
  const std::unique_ptr<PageArena> arena(static_cast<PageArena*>(document->_private));
  // The document type alone is the parser's.
  document->children = document->last = nullptr;
  if (xmlDtd* const type = document->intSubset) type->prev = type->next = nullptr;
  xmlFreeDoc(document);
}

void PageTree::Builder::stop() noexcept {
  failed_ = true;
  xmlStopParser(context_);
}

// A name that may be anywhere, in the dictionary.
const xmlChar* PageTree::Builder::kept(const xmlChar* name) noexcept {
  return orStop(xmlDictLookup(context_->dict, name, -1));
}

// Without a prefix, as the parser has it. Names without one are in its dictionary, or constants of its own.
const xmlChar* PageTree::Builder::localName(const xmlChar* name) noexcept {
  if (std::strchr(reinterpret_cast<const char*>(name), ':') == nullptr) return name;
  xmlChar* prefix = nullptr;
  xmlChar* const local = orStop(xmlSplitQName(context_, name, &prefix));
  if (prefix != nullptr) xmlFree(prefix);
  if (local == nullptr) return nullptr;
  const xmlChar* const known = kept(local);
  xmlFree(local);
  return known;
}

// What stands outside of all elements is the document's.
void PageTree::Builder::addBeside(xmlNode* node) noexcept {
  xmlNode* const parent = context_->node;
  PageNodes::append(parent != nullptr ? parent : reinterpret_cast<xmlNode*>(context_->myDoc), node);
}

void PageTree::Builder::startElement(const xmlChar* name, const xmlChar** attributes) noexcept {
  if (failed_ || name == nullptr || context_->myDoc == nullptr) return;
  auto* const element = orStop(nodes_.makeNode(XML_ELEMENT_NODE, context_->myDoc));
  if (element == nullptr) return;
  element->name = localName(name);
  if (element->name == nullptr) return;
  xmlNode* parent = context_->node;
  auto* const document = reinterpret_cast<xmlNode*>(context_->myDoc);
  // An element behind the end of the root goes where the parser puts it: into the document's first node when
  // that is an element, else beside it.
  if (parent == nullptr && document->children != nullptr && document->children->type == XML_ELEMENT_NODE) {
    parent = document->children;
  }
  if (nodePush(context_, element) < 0) return;
  PageNodes::append(parent != nullptr ? parent : document, element);
  if (attributes == nullptr) return;
  xmlAttr* last = nullptr;
  for (; attributes[0] != nullptr && !failed_; attributes += 2) {
    addAttribute(element, last, attributes[0], attributes[1]);
  }
}

void PageTree::Builder::addAttribute(xmlNode* element, xmlAttr*& last, const xmlChar* name,
                                     const xmlChar* value) noexcept {
  auto* const attribute = orStop(nodes_.makeAttribute(context_->myDoc));
  if (attribute == nullptr) return;
  attribute->name = name;
  attribute->parent = element;
  if (value == nullptr && htmlIsBooleanAttr(name) != 0) value = name;
  if (value != nullptr) {
    xmlNode* const text = orStop(nodes_.makeText(XML_TEXT_NODE, context_->myDoc, value, lengthOf(value)));
    if (text == nullptr) return;
    text->parent = reinterpret_cast<xmlNode*>(attribute);
    attribute->children = attribute->last = text;
  }
  (last == nullptr ? element->properties : last->next) = attribute;
  attribute->prev = last;
  last = attribute;
}

void PageTree::Builder::characters(xmlElementType type, const xmlChar* text, std::size_t length) noexcept {
  xmlNode* const parent = context_->node;
  if (failed_ || parent == nullptr) return;
  if (parent->last != nullptr && parent->last->type == type) {
    if (!nodes_.lengthen(parent->last, text, length)) stop();
    return;
  }
  xmlNode* const node = orStop(nodes_.makeText(type, context_->myDoc, text, length));
  if (node != nullptr) PageNodes::append(parent, node);
}

void PageTree::Builder::comment(const xmlChar* text) noexcept {
  if (failed_) return;
  xmlNode* const node = orStop(nodes_.makeText(XML_COMMENT_NODE, context_->myDoc, text, lengthOf(text)));
  if (node != nullptr) addBeside(node);
}

void PageTree::Builder::instruction(const xmlChar* target, const xmlChar* text) noexcept {
  if (failed_) return;
  auto* const node = orStop(nodes_.makeNode(XML_PI_NODE, context_->myDoc));
  if (node == nullptr) return;
  node->name = kept(target);
  if (text != nullptr) node->content = orStop(nodes_.copy(text, lengthOf(text)));
  if (!failed_) addBeside(node);
}

}  // namespace sifterra
