// PropertyListTree: libplist behind the guards.
#include "platform/PropertyListTree.h"

#include <plist/plist.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "platform/property_list_guard.h"

namespace sifterra::platform {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

struct FreeMemory {
  void operator()(void* memory) const { std::free(memory); }  // NOLINT: libplist allocates with malloc
};
using Place = std::unique_ptr<void, FreeMemory>;

// Stops when `visit` says so, and tells whether it did.
template <class Visit>
bool anyElement(plist_t array, const Visit& visit) {
  void* place = nullptr;
  ::plist_array_new_iter(array, &place);
  const Place owner(place);
  for (plist_t item = nullptr;;) {
    ::plist_array_next_item(array, place, &item);
    if (!item) return false;
    if (visit(item)) return true;
  }
}

template <class Visit>
bool anyValue(plist_t dictionary, const Visit& visit) {
  void* place = nullptr;
  ::plist_dict_new_iter(dictionary, &place);
  const Place owner(place);
  for (plist_t item = nullptr;;) {
    ::plist_dict_next_item(dictionary, place, nullptr, &item);
    if (!item) return false;
    if (visit(item)) return true;
  }
}

// Goes no deeper than the limit itself.
bool isTooDeep(plist_t node, std::size_t depth) {
  const plist_type type = ::plist_get_node_type(node);
  if (type != PLIST_ARRAY && type != PLIST_DICT) return false;
  if (depth == kDeepestPropertyList) return true;
  const auto below = [depth](plist_t item) { return isTooDeep(item, depth + 1); };
  return type == PLIST_ARRAY ? anyElement(node, below) : anyValue(node, below);
}

}  // namespace

bool PropertyListNode::isArray() const noexcept {
  return PLIST_IS_ARRAY(node_);
}

bool PropertyListNode::isDictionary() const noexcept {
  return PLIST_IS_DICT(node_);
}

std::optional<std::string_view> PropertyListNode::text() const noexcept {
  if (!PLIST_IS_STRING(node_)) return std::nullopt;
  std::uint64_t length = 0;
  const char* text = ::plist_get_string_ptr(node_, &length);
  return text ? std::string_view(text, length) : std::string_view();
}

PropertyListNode PropertyListNode::operator[](const char* key) const {
  plist_t found = nullptr;
  if (!isDictionary()) return PropertyListNode();
  anyValue(node_, [&](plist_t item) {
    if (::plist_key_val_compare(::plist_dict_item_get_key(item), key) == 0) found = item;
    return false;
  });
  return PropertyListNode(found);
}

void PropertyListNode::forEach(const std::function<void(PropertyListNode)>& visit) const {
  if (!isArray()) return;
  anyElement(node_, [&](plist_t item) {
    visit(PropertyListNode(item));
    return false;
  });
}

void PropertyListTree::FreeNode::operator()(void* node) const noexcept {
  ::plist_free(node);
}

PropertyListTree PropertyListTree::read(const Data& bytes) {
  PropertyListTree tree;
  std::string_view text = bytes.chars();
  if (text.size() > kLargestPropertyList) {
    tree.problem_ = "it is larger than 67108864 bytes";
    return tree;
  }
  const bool binary = isBinaryPropertyList(text);
  if (binary) tree.format_ = PropertyList::Format::Binary;
  if (text.starts_with(kByteOrderMark))
    text.remove_prefix(kByteOrderMark.size());  // libplist does not know it
  tree.problem_ = binary ? binaryPropertyListProblem(text) : xmlPropertyListProblem(text);
  if (tree.problem_) return tree;

  plist_t parsed = nullptr;
  const auto length = static_cast<std::uint32_t>(text.size());
  if (binary) {
    ::plist_from_bin(text.data(), length, &parsed);
  } else {
    ::plist_from_xml(text.data(), length, &parsed);
  }
  tree.root_.reset(parsed);
  if (!parsed) {
    tree.problem_ = "it does not parse";
  } else if (isTooDeep(parsed, 0)) {
    // The guard and libplist disagree. Freeing would recurse without bound: better to lose the memory.
    (void)tree.root_.release();
    tree.problem_ = "it is nested deeper than 64 levels";
  }
  return tree;
}

}  // namespace sifterra::platform
