// PageNodes.h: the nodes of one page's tree, in its arena.
//
// Which nodes a page has is the business of page_tree.h; here is how each is laid out, linked and lengthened.
// Where memory is too short the answer is null or false, and the tree stays whole without the node.
#pragma once

#include <libxml/tree.h>

#include <cstddef>
#include <memory>
#include <new>

#include "page/PageArena.h"

namespace sifterra {

class PageNodes {
 public:
  PageNodes() : arena_(std::make_unique<PageArena>()) {}

  // An element (xmlNode) or attribute (xmlAttr) of the document, without a name.
  template <class Node>
  [[nodiscard]] Node* make(xmlElementType type, xmlDoc* document) noexcept {
    void* const memory = arena_->allocate(sizeof(Node));
    if (memory == nullptr) return nullptr;
    auto* const node = new (memory) Node{};
    node->type = type;
    node->doc = document;
    return node;
  }
  // A text, raw text or comment.
  [[nodiscard]] xmlNode* makeText(xmlElementType type, xmlDoc* document, const xmlChar* text,
                                  std::size_t length) noexcept;
  [[nodiscard]] xmlChar* copy(const xmlChar* text, std::size_t length) noexcept;

  // Makes the child the parent's last; a parent may be the document.
  static void append(xmlNode* parent, xmlNode* child) noexcept;
  // Adds to the content of a node of makeText().
  [[nodiscard]] bool lengthen(xmlNode* text, const xmlChar* more, std::size_t length) noexcept;

  // Gives the memory away; nothing more can be made.
  [[nodiscard]] PageArena* release() noexcept { return arena_.release(); }

 private:
  std::unique_ptr<PageArena> arena_;
  // The text that is growing: its length, and the bytes that it has.
  const xmlNode* growing_ = nullptr;
  std::size_t length_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace sifterra
