// parsed_depth.h: what the parser makes of a text, for tests that compare with it.
#pragma once

#include <libxml/HTMLparser.h>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace sifterra::tests {

struct FreeDocument {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
using Document = std::unique_ptr<xmlDoc, FreeDocument>;

inline Document parsedAsUTF8(const std::string& bytes) {
  return Document(htmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, "UTF-8",
                                 HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING));
}

// The deepest element of the document; the root element counts 1.
inline std::size_t parsedDepth(const xmlDoc* document) {
  std::size_t deepest = 0;
  std::vector<std::pair<const xmlNode*, std::size_t>> open;
  if (document != nullptr && document->children != nullptr) open.emplace_back(document->children, 1);
  while (!open.empty()) {
    const auto [node, depth] = open.back();
    open.pop_back();
    if (node->type == XML_ELEMENT_NODE && depth > deepest) deepest = depth;
    if (node->next != nullptr) open.emplace_back(node->next, depth);
    if (node->type == XML_ELEMENT_NODE && node->children != nullptr)
      open.emplace_back(node->children, depth + 1);
  }
  return deepest;
}

}  // namespace sifterra::tests
