// tree_text.h: a parsed document written out, for comparing one with another.
#pragma once

#include <libxml/tree.h>

#include <string>

namespace sifterra::tests {

inline std::string shown(const xmlChar* text) {
  return text == nullptr ? "(null)" : "'" + std::string(reinterpret_cast<const char*>(text)) + "'";
}

// One line a node: its kind, name and content; elements with their attributes. `depth` indents.
inline std::string treeText(const xmlNode* first, std::size_t depth = 0) {
  std::string text;
  // Levels, not nodes, recur; callers bound the nesting.
  for (const xmlNode* node = first; node != nullptr; node = node->next) {
    text.append(depth, ' ').append(std::to_string(node->type)).append(" ").append(shown(node->name));
    const bool hasContent = node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE ||
                            node->type == XML_COMMENT_NODE || node->type == XML_PI_NODE;
    if (hasContent) text.append(" ").append(shown(node->content));
    if (node->next != nullptr && node->next->prev != node) text.append(" (the next one does not lead back)");
    if (node->type == XML_ELEMENT_NODE) {
      for (const xmlAttr* attribute = node->properties; attribute != nullptr; attribute = attribute->next) {
        text.append(" ").append(shown(attribute->name)).append("=");
        for (const xmlNode* part = attribute->children; part != nullptr; part = part->next)
          text.append(shown(part->content));
      }
    }
    text.append("\n");
    if (node->type == XML_ELEMENT_NODE) {
      for (const xmlNode* child = node->children; child != nullptr; child = child->next) {
        if (child->parent != node) text.append("(a child of another)\n");
      }
      text.append(treeText(node->children, depth + 1));
    }
  }
  return text;
}

inline std::string treeText(const xmlDoc* document) {
  if (document == nullptr) return "no document\n";
  std::string text = treeText(document->children);
  if (const xmlDtd* type = document->intSubset)
    text.append("type ")
        .append(shown(type->name))
        .append(shown(type->ExternalID))
        .append(shown(type->SystemID));
  return text;
}

}  // namespace sifterra::tests
