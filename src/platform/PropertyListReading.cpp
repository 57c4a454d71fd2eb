// PropertyListReading: values of the trees that libplist makes of bytes.
#include <plist/plist.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/FileSystem.h"
#include "platform/PropertyListTree.h"
#include "platform/property_list_guard.h"
#include "sifterra/platform/PropertyList.h"

namespace sifterra::platform {
namespace {

struct FreeMemory {
  void operator()(void* memory) const { std::free(memory); }  // NOLINT: libplist allocates with malloc
};
template <class T>
using Malloced = std::unique_ptr<T, FreeMemory>;

// libplist keeps a negative number as its two's complement and tells it from a large one by the way it writes
// it only.
bool isWrittenNegative(plist_t node) {
  char* text = nullptr;
  std::uint32_t length = 0;
  ::plist_to_xml(node, &text, &length);
  const Malloced<char> owner(text);
  return text && std::string_view(text, length).find("<integer>-") != std::string_view::npos;
}

PropertyList integerOf(plist_t node) {
  std::uint64_t bits = 0;
  ::plist_get_uint_val(node, &bits);
  constexpr std::uint64_t kLargestSigned = std::numeric_limits<std::int64_t>::max();
  if (bits > kLargestSigned && isWrittenNegative(node)) return PropertyList(static_cast<std::int64_t>(bits));
  return PropertyList(bits);
}

PropertyList dataOf(plist_t node) {
  std::uint64_t length = 0;
  const char* bytes = ::plist_get_data_ptr(node, &length);
  return PropertyList(Data(std::string(bytes ? bytes : "", bytes ? length : 0)));
}

}  // namespace

// Makes values of nodes. Texts are copied into blocks one after the other, so that a list of 100,000
// addresses is not as many small pieces of memory.
struct PropertyListMaker {
  static PropertyList listOf(plist_t root) {
    PropertyListMaker maker;
    return maker.valueOf(root);
  }

 private:
  static constexpr std::size_t kBlockBytes = std::size_t{64} * 1024;
  static constexpr std::size_t kKnownKeys = 64;

  PropertyList textOf(plist_t node) {
    std::uint64_t length = 0;
    const char* text = ::plist_get_string_ptr(node, &length);
    if (!text) length = 0;
    if (!block_ || block_->capacity() - block_->size() < length) {
      block_ = std::make_shared<std::string>();
      block_->reserve(std::max<std::size_t>(kBlockBytes, length));
    }
    // Within the capacity, so that what stands in the block already does not move.
    const std::size_t start = block_->size();
    block_->append(text ? text : "", length);
    PropertyList value;
    value.value_ = PropertyList::ReadText{block_, std::string_view(*block_).substr(start)};
    return value;
  }

  // The keys of a list's dictionaries are mostly the same few.
  String keyOf(const char* text) {
    const std::string_view key = text ? text : "";
    const auto known = keys_.find(key);
    if (known != keys_.end()) return known->second;
    String made = String::fromUTF8Lossy(key);
    if (keys_.size() < kKnownKeys) keys_.emplace(key, made);
    return made;
  }

  PropertyList arrayOf(plist_t node) {
    std::vector<PropertyList> values;
    values.reserve(::plist_array_get_size(node));
    void* place = nullptr;
    ::plist_array_new_iter(node, &place);
    const Malloced<void> owner(place);
    for (plist_t item = nullptr;;) {
      ::plist_array_next_item(node, place, &item);
      if (!item) break;
      values.push_back(valueOf(item));
    }
    return PropertyList(std::move(values));
  }

  PropertyList dictionaryOf(plist_t node) {
    std::vector<PropertyList::Entry> entries;
    entries.reserve(::plist_dict_get_size(node));
    void* place = nullptr;
    ::plist_dict_new_iter(node, &place);
    const Malloced<void> owner(place);
    for (plist_t item = nullptr;;) {
      char* key = nullptr;
      ::plist_dict_next_item(node, place, &key, &item);
      const Malloced<char> keyOwner(key);
      if (!item) break;
      entries.push_back({keyOf(key), valueOf(item)});
    }
    return PropertyList(std::move(entries));
  }

  // Recursion is safe here: no tree is deeper than 64 levels.
  PropertyList valueOf(plist_t node) {
    switch (::plist_get_node_type(node)) {
      case PLIST_BOOLEAN: {
        std::uint8_t value = 0;
        ::plist_get_bool_val(node, &value);
        return PropertyList(value != 0);
      }
      case PLIST_UINT:
        return integerOf(node);
      case PLIST_REAL: {
        double value = 0;
        ::plist_get_real_val(node, &value);
        return PropertyList(value);
      }
      case PLIST_STRING:
        return textOf(node);
      case PLIST_DATA:
        return dataOf(node);
      case PLIST_DATE: {
        PropertyList::Date value;
        ::plist_get_date_val(node, &value.seconds, &value.microseconds);
        return PropertyList(value);
      }
      case PLIST_UID: {
        PropertyList::Uid value;
        ::plist_get_uid_val(node, &value.number);
        return PropertyList(value);
      }
      case PLIST_ARRAY:
        return arrayOf(node);
      case PLIST_DICT:
        return dictionaryOf(node);
      default:
        return PropertyList();
    }
  }

  std::shared_ptr<std::string> block_;
  std::map<std::string, String, std::less<>> keys_;
};

PropertyList PropertyListNode::value() const {
  return node_ ? PropertyListMaker::listOf(node_) : PropertyList();
}

PropertyList::Reading PropertyList::read(const platform::Data& bytes) {
  const PropertyListTree tree = PropertyListTree::read(bytes);
  if (tree.problem()) return {PropertyList(), tree.format(), String::fromUTF8Lossy(tree.problem()), false};
  return {tree.root().value(), tree.format(), String(), false};
}

PropertyList::Reading PropertyList::readFile(const std::string& path) {
  FileReading file = readWholeFile(path, kLargestPropertyList);
  if (!file.bytes) {
    return {PropertyList(), Format::XML, String::fromUTF8Lossy(file.problem), file.missing};
  }
  return read(platform::Data(std::move(*file.bytes)));
}

}  // namespace sifterra::platform
