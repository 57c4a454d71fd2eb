// node_text.h: reads attributes and contents of parsed nodes, whatever kind of node it is.
//
// Nodes of a document share their first members only: a document type has no attributes or content
// where an element has them, so every read asks for the node's type first.
#pragma once

#include <cstdint>
#include <string>

#include "sifterra/platform/String.h"

struct _xmlNode;

namespace sifterra {

// The node's own content as UTF-8; null for the kinds that have none (elements, document types).
[[nodiscard]] const char* nodeContent(const _xmlNode* node) noexcept;

// The content of the node's first child as text; null when there is no child, content or valid UTF-8.
[[nodiscard]] platform::String firstChildText(const _xmlNode* node);

// The string and integer reads of XMLNode, by the attribute's UTF-8 name.
[[nodiscard]] platform::String attributeText(const _xmlNode* node, const char* name);
[[nodiscard]] std::int64_t attributeNumber(const _xmlNode* node, const char* name) noexcept;

// What atoi of the C library gives: white space, a sign, digits; the lower 32 bits of the number, which
// itself stops at the ends of the 64-bit range.
[[nodiscard]] std::int32_t integerPrefix(const char* text) noexcept;

// Appends the text node's content without white space at its ends, and a space; nothing when it is not
// valid UTF-8.
void appendTrimmedText(const char* content, std::u16string& out);

}  // namespace sifterra
