// node_text: the only reads of node members whose place depends on the kind of node.
#include "page/node_text.h"

#include <libxml/tree.h>

#include <cstdlib>
#include <cstring>
#include <string_view>

#include "platform/Unicode.h"
#include "sifterra/sifterra.h"

namespace sifterra {

using platform::String;

namespace {

const char* chars(const xmlChar* text) noexcept {
  return reinterpret_cast<const char*>(text);
}

bool isText(const xmlNode* node) noexcept {
  return node->name != nullptr && std::strcmp(chars(node->name), "text") == 0;
}

// Calls `each` with every attribute of that exact name, in order.
template <class Each>
void forEachAttribute(const xmlNode* node, const char* name, const Each& each) {
  if (node->type != XML_ELEMENT_NODE) return;
  for (const xmlAttr* attribute = node->properties; attribute != nullptr; attribute = attribute->next) {
    if (std::strcmp(chars(attribute->name), name) == 0) each(attribute);
  }
}

const char* contentOrEmpty(const xmlNode* text) noexcept {
  const char* content = nodeContent(text);
  return content != nullptr ? content : "";
}

constexpr bool isAsciiWhitespace(char c) noexcept {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

// The text without the white space that a byte tells.
std::string_view withoutAsciiWhitespace(std::string_view text) noexcept {
  while (!text.empty() && isAsciiWhitespace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isAsciiWhitespace(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace

const char* nodeContent(const xmlNode* node) noexcept {
  switch (node->type) {
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
    case XML_COMMENT_NODE:
    case XML_PI_NODE:
      return chars(node->content);
    default:
      return nullptr;
  }
}

String firstChildText(const xmlNode* node) {
  // The children of an entity reference belong to the entity; the reference itself has none.
  if (node->type == XML_ENTITY_REF_NODE || node->children == nullptr) return nullptr;
  const char* content = nodeContent(node->children);
  return content != nullptr ? String::fromUTF8(content) : String();
}

String attributeText(const xmlNode* node, const char* name) {
  String value;
  forEachAttribute(node, name, [&value](const xmlAttr* attribute) {
    for (const xmlNode* child = attribute->children; child != nullptr; child = child->next) {
      if (!isText(child)) continue;
      value = String::fromUTF8(contentOrEmpty(child));
      break;  // the first text child of an attribute is its value, the last such attribute wins
    }
  });
  return value;
}

std::int64_t attributeNumber(const xmlNode* node, const char* name) noexcept {
  std::int64_t value = kWFImgDimensionUnknown;
  forEachAttribute(node, name, [&value](const xmlAttr* attribute) {
    for (const xmlNode* child = attribute->children; child != nullptr; child = child->next) {
      if (isText(child)) value = integerPrefix(contentOrEmpty(child));  // every text child, the last one wins
    }
  });
  return value;
}

std::int32_t integerPrefix(const char* text) noexcept {
  // strtoll is used for its defined overflow; it reads no locale for digits.
  const auto number = static_cast<std::uint64_t>(std::strtoll(text, nullptr, 10));
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(number));
}

void appendTrimmedText(const char* content, std::u16string& out) {
  const std::size_t start = out.size();
  if (!platform::appendUTF16FromUTF8(withoutAsciiWhitespace(content), out)) return;
  // What is left to trim is white space outside ASCII at the ends, and ASCII next to it. It all lies in
  // the basic plane, so units do; half a surrogate pair is never white space.
  while (out.size() > start && platform::isWhitespaceOrNewline(out.back())) out.pop_back();
  std::size_t first = start;
  while (first < out.size() && platform::isWhitespaceOrNewline(out[first])) ++first;
  if (first > start) out.erase(start, first - start);
  out.push_back(u' ');
}

}  // namespace sifterra
