// PropertyListWriting: values to libplist's nodes, and those to bytes.
#include <plist/plist.h>

#include <cstdlib>
#include <limits>
#include <memory>
#include <string>

#include "platform/property_list_guard.h"
#include "sifterra/platform/PropertyList.h"

namespace sifterra::platform {
namespace {

struct FreeNode {
  void operator()(void* node) const { ::plist_free(node); }
};
struct FreeMemory {
  void operator()(void* memory) const { std::free(memory); }  // NOLINT: libplist allocates with malloc
};
using Node = std::unique_ptr<void, FreeNode>;

// Kept within the limits of reading, so that what was written can be read.
struct Budget {
  std::size_t values = kMostPropertyListValues;
  std::size_t bytes = kLargestPropertyList;
  std::size_t comparedKeys = kMostComparedKeys;

  bool take(std::size_t count) {
    if (values == 0 || count > bytes) return false;
    --values;
    bytes -= count;
    return true;
  }
  // For one key more in a dictionary that has some.
  bool takeKey(std::size_t before, std::size_t count) {
    if (before > comparedKeys) return false;
    comparedKeys -= before;
    return take(count);
  }
};

Node nodeOf(const PropertyList& value, std::size_t depth, Budget& budget);

// Numbers below 0 and those of 64 bits have no constructor: libplist makes them when it reads them.
Node integerNode(const PropertyList& value) {
  const bool negative = value.integer() < 0;
  if (!negative && value.unsignedInteger() <= std::uint64_t{std::numeric_limits<std::int64_t>::max()})
    return Node(::plist_new_uint(value.unsignedInteger()));
  const std::string digits =
      negative ? std::to_string(value.integer()) : std::to_string(value.unsignedInteger());
  const std::string text = "<integer>" + digits + "</integer>";
  plist_t node = nullptr;
  ::plist_from_xml(text.data(), static_cast<std::uint32_t>(text.size()), &node);
  return Node(node);
}

Node stringNode(const String& value, Budget& budget) {
  const std::string text = value.toUTF8();
  if (!budget.take(text.size()) || text.find('\0') != std::string::npos) return nullptr;
  return Node(::plist_new_string(text.c_str()));
}

Node arrayNode(const PropertyList& value, std::size_t depth, Budget& budget) {
  Node node(::plist_new_array());
  for (const PropertyList& element : value.array()) {
    Node item = nodeOf(element, depth, budget);
    if (!item) return nullptr;
    ::plist_array_append_item(node.get(), item.release());
  }
  return node;
}

Node dictionaryNode(const PropertyList& value, std::size_t depth, Budget& budget) {
  Node node(::plist_new_dict());
  std::size_t keys = 0;
  for (const PropertyList::Entry& entry : value.dictionary()) {
    const std::string key = entry.key.toUTF8();
    if (!budget.takeKey(keys++, key.size()) || key.find('\0') != std::string::npos) return nullptr;
    Node item = nodeOf(entry.value, depth, budget);
    if (!item) return nullptr;
    ::plist_dict_set_item(node.get(), key.c_str(), item.release());
  }
  return node;
}

// Null when the value cannot be written.
Node nodeOf(const PropertyList& value, std::size_t depth, Budget& budget) {
  using Kind = PropertyList::Kind;
  const Kind kind = value.kind();
  if (kind == Kind::String) return stringNode(value.string(), budget);
  const Data data = value.data();
  if (!budget.take(data.length())) return nullptr;
  switch (kind) {
    case Kind::Boolean:
      return Node(::plist_new_bool(value.boolean() ? 1 : 0));
    case Kind::Integer:
      return integerNode(value);
    case Kind::Real:
      return Node(::plist_new_real(value.real()));
    case Kind::Data:
      return Node(::plist_new_data(data.chars().data(), data.length()));
    case Kind::Date:
      return Node(::plist_new_date(value.date().seconds, value.date().microseconds));
    case Kind::Uid:
      return Node(::plist_new_uid(value.uid().number));
    case Kind::Array:
      return depth < kDeepestPropertyList ? arrayNode(value, depth + 1, budget) : nullptr;
    case Kind::Dictionary:
      return depth < kDeepestPropertyList ? dictionaryNode(value, depth + 1, budget) : nullptr;
    default:
      return nullptr;
  }
}

}  // namespace

platform::Data PropertyList::write(Format format) const {
  Budget budget;
  const Node root = nodeOf(*this, 0, budget);
  if (!root) return nullptr;
  char* bytes = nullptr;
  std::uint32_t length = 0;
  if (format == Format::Binary) {
    ::plist_to_bin(root.get(), &bytes, &length);
  } else {
    ::plist_to_xml(root.get(), &bytes, &length);
  }
  const std::unique_ptr<char, FreeMemory> owner(bytes);
  if (!bytes) return nullptr;
  return platform::Data(std::string(bytes, length));
}

}  // namespace sifterra::platform
