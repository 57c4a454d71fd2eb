// PageNodes: a text that grows stays where it is as long as it lies last in the arena, and then moves into
// twice the space.
#include "page/PageNodes.h"

#include <libxml/parserInternals.h>
#include <libxml/tree.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace sifterra {

template <class Node>
Node* PageNodes::make(int type, xmlDoc* document) noexcept {
  void* const memory = arena_->allocate(sizeof(Node));
  if (memory == nullptr) return nullptr;
  auto* const node = new (memory) Node{};
  node->type = static_cast<xmlElementType>(type);
  node->doc = document;
  return node;
}

xmlNode* PageNodes::makeNode(int type, xmlDoc* document) noexcept {
  return make<xmlNode>(type, document);
}

xmlAttr* PageNodes::makeAttribute(xmlDoc* document) noexcept {
  return make<xmlAttr>(XML_ATTRIBUTE_NODE, document);
}

xmlChar* PageNodes::copy(const xmlChar* text, std::size_t length) noexcept {
  auto* const copied = static_cast<xmlChar*>(arena_->allocate(length + 1));
  if (copied == nullptr) return nullptr;
  std::memcpy(copied, text, length);
  copied[length] = 0;
  return copied;
}

xmlNode* PageNodes::makeText(int type, xmlDoc* document, const xmlChar* text, std::size_t length) noexcept {
  auto* const node = make<xmlNode>(type, document);
  if (node == nullptr) return nullptr;
  node->content = copy(text, length);
  if (node->content == nullptr) return nullptr;
  if (type == XML_TEXT_NODE) node->name = xmlStringText;
  if (type == XML_COMMENT_NODE) node->name = xmlStringComment;
  growing_ = node;  // as far as is known
  length_ = length;
  capacity_ = length + 1;
  return node;
}

void PageNodes::append(xmlNode* parent, xmlNode* child) noexcept {
  child->parent = parent;
  if (parent->last == nullptr) {
    parent->children = child;
  } else {
    parent->last->next = child;
    child->prev = parent->last;
  }
  parent->last = child;
}

bool PageNodes::lengthen(xmlNode* text, const xmlChar* more, std::size_t length) noexcept {
  if (growing_ != text) {
    growing_ = text;
    length_ = std::strlen(reinterpret_cast<const char*>(text->content));
    capacity_ = length_ + 1;
  }
  const std::size_t needed = length_ + length + 1;
  if (needed > capacity_ && arena_->extend(text->content, capacity_, needed)) capacity_ = needed;
  if (needed > capacity_) {
    const std::size_t capacity = std::max(needed, 2 * capacity_);
    auto* const content = static_cast<xmlChar*>(arena_->allocate(capacity));
    if (content == nullptr) return false;
    std::memcpy(content, text->content, length_);
    text->content = content;
    capacity_ = capacity;
  }
  std::memcpy(text->content + length_, more, length);
  length_ += length;
  text->content[length_] = 0;
  return true;
}

}  // namespace sifterra
