// page_tree.h: makes the parser build its tree in one arena.
//
// The parser's own tree takes it as much time as reading the page: four allocations for a link, an index of
// all identifiers, and each piece freed by itself. Here all pieces of a page lie one behind the other in the
// order in which they will be read, names are the parser's own, and the whole goes at once. The tree is the
// parser's to the last node; nobody may add to it or take from it.
#pragma once

#include <libxml/parser.h>
#include <libxml/tree.h>

#include "page/PageArena.h"

namespace sifterra {

// Makes the context's parser build its elements, texts and comments in the arena.
class PageTree {
 public:
  explicit PageTree(xmlParserCtxt* context);
  ~PageTree();
  PageTree(const PageTree&) = delete;
  PageTree& operator=(const PageTree&) = delete;

  // The document that the parser made, which now holds the tree, for freePageTree; null when it made none.
  [[nodiscard]] xmlDoc* finish() noexcept;
  // Whether memory was too short for all of it.
  [[nodiscard]] bool failed() const noexcept { return failed_; }

  // For the parser's handlers.
  void startElement(const xmlChar* name, const xmlChar** attributes) noexcept;
  void characters(xmlElementType type, const xmlChar* text, std::size_t length) noexcept;
  void comment(const xmlChar* text) noexcept;
  void instruction(const xmlChar* target, const xmlChar* text) noexcept;

 private:
  template <class Node>
  [[nodiscard]] Node* made(xmlElementType type) noexcept;
  [[nodiscard]] xmlChar* copied(const xmlChar* text, std::size_t length) noexcept;
  [[nodiscard]] xmlNode* textNode(xmlElementType type, const xmlChar* text, std::size_t length) noexcept;
  [[nodiscard]] const xmlChar* localName(const xmlChar* name) noexcept;
  [[nodiscard]] const xmlChar* kept(const xmlChar* name) noexcept;
  void addAttribute(xmlNode* element, xmlAttr*& last, const xmlChar* name, const xmlChar* value) noexcept;
  void add(xmlNode* parent, xmlNode* child) noexcept;
  void addBeside(xmlNode* node) noexcept;
  void lengthen(xmlNode* text, const xmlChar* more, std::size_t length) noexcept;
  void stop() noexcept;

  xmlParserCtxt* context_;
  std::unique_ptr<PageArena> arena_;
  bool failed_ = false;
  // The text that is growing: its length, and the bytes that it has.
  const xmlNode* growing_ = nullptr;
  std::size_t length_ = 0;
  std::size_t capacity_ = 0;
};

// Frees what finish() gave; null is nothing.
void freePageTree(xmlDoc* document) noexcept;

}  // namespace sifterra
