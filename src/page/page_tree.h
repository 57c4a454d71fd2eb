// page_tree.h: makes the parser build its tree in one arena.
//
// The parser's own tree takes it as much time as reading the page: four allocations for a link, an index of
// all identifiers, and each piece freed by itself. Here all pieces of a page lie one behind the other in the
// order in which they will be read, names are the parser's own, and the whole goes at once. The tree is the
// parser's to the last node, but that texts past its 10 MB go on; nobody may add to it or take from it.
#pragma once

#include <memory>

struct _xmlDoc;
struct _xmlParserCtxt;

namespace sifterra {

// Makes the context's parser build its elements, texts and comments in the arena.
class PageTree {
 public:
  explicit PageTree(_xmlParserCtxt* context);
  ~PageTree();

  // The document that the parser made, which now holds the tree, for freePageTree; null when it made none.
  [[nodiscard]] _xmlDoc* finish() noexcept;
  // Whether memory was too short for all of it.
  [[nodiscard]] bool failed() const noexcept;

  class Builder;

 private:
  std::unique_ptr<Builder> builder_;
};

// Frees what finish() gave; null is nothing.
void freePageTree(_xmlDoc* document) noexcept;

}  // namespace sifterra
