// plain_walk.h: the page's text by the plain walk, every child pushed on a stack, last first.
//
// What the library's walk is compared with; it shares neither its order of pushing nor its trimming.
#pragma once

#include <libxml/tree.h>

#include <string>
#include <vector>

#include "platform/Unicode.h"

namespace sifterra::reference {

inline std::u16string plainPageContent(const xmlDoc* document) {
  const auto pushAll = [](std::vector<const xmlNode*>& stack, const xmlNode* last) {
    for (const xmlNode* node = last; node != nullptr; node = node->prev) stack.push_back(node);
  };
  std::u16string text = u" ";
  std::vector<const xmlNode*> stack;
  pushAll(stack, document->last);
  while (!stack.empty()) {
    const xmlNode* node = stack.back();
    stack.pop_back();
    if (node->type == XML_TEXT_NODE && node->content != nullptr) {
      if (const auto content = platform::utf16FromUTF8(reinterpret_cast<const char*>(node->content))) {
        text.append(platform::trimmedWhitespaceAndNewlines(*content)).append(u" ");
      }
    }
    pushAll(stack, node->last);
  }
  return text;
}

}  // namespace sifterra::reference
