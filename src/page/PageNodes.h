// PageNodes.h: the nodes of one page's tree, in its arena.
//
// Which nodes a page has is the business of page_tree.h; here is how each is laid out, linked and lengthened.
// Where memory is too short the answer is null or false, and the tree stays whole without the node.
#pragma once

#include <cstddef>
#include <memory>

#include "page/PageArena.h"

struct _xmlAttr;
struct _xmlDoc;
struct _xmlNode;

namespace sifterra {

class PageNodes {
 public:
  PageNodes() : arena_(std::make_unique<PageArena>()) {}

  // Types are those of the parser's nodes (xmlElementType), texts are UTF-8.
  // Without a name: an element or an instruction; an attribute.
  [[nodiscard]] _xmlNode* makeNode(int type, _xmlDoc* document) noexcept;
  [[nodiscard]] _xmlAttr* makeAttribute(_xmlDoc* document) noexcept;
  // A text, raw text or comment.
  [[nodiscard]] _xmlNode* makeText(int type, _xmlDoc* document, const unsigned char* text,
                                   std::size_t length) noexcept;
  [[nodiscard]] unsigned char* copy(const unsigned char* text, std::size_t length) noexcept;

  // Makes the child the parent's last; a parent may be the document.
  static void append(_xmlNode* parent, _xmlNode* child) noexcept;
  // Adds to the content of a node of makeText().
  [[nodiscard]] bool lengthen(_xmlNode* text, const unsigned char* more, std::size_t length) noexcept;

  // Gives the memory away; nothing more can be made.
  [[nodiscard]] PageArena* release() noexcept { return arena_.release(); }

 private:
  template <class Node>
  [[nodiscard]] Node* make(int type, _xmlDoc* document) noexcept;

  std::unique_ptr<PageArena> arena_;
  // The text that is growing: its length, and the bytes that it has.
  const _xmlNode* growing_ = nullptr;
  std::size_t length_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace sifterra
