// PropertyListTree: a property list read in place, without a PropertyList for each of its values.
//
//   const PropertyListTree tree = PropertyListTree::read(bytes);
//   tree.root()["siteWhitelist"].forEach([&](PropertyListNode site) { use(site["address"].text()); });
//
// For lists of many values of which one is made into something else at once. The limits are those of
// PropertyList::read, which makes values of such a tree.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "sifterra/platform/Data.h"
#include "sifterra/platform/PropertyList.h"
#include "sifterra/platform/String.h"

namespace sifterra::platform {

// A value of a tree, borrowed from it. Null is what is not there.
class PropertyListNode {
 public:
  PropertyListNode() noexcept = default;
  explicit PropertyListNode(void* node) noexcept : node_(node) {}

  explicit operator bool() const noexcept { return node_ != nullptr; }
  [[nodiscard]] bool isArray() const noexcept;
  [[nodiscard]] bool isDictionary() const noexcept;
  // The UTF-8 of a text, as it stands in the list; nothing for any other value.
  [[nodiscard]] std::optional<std::string_view> text() const noexcept;
  // The value of a key (ASCII), the last one when the key is repeated; null when there is none.
  [[nodiscard]] PropertyListNode operator[](const char* key) const;
  // The elements of an array in their order; none for any other value.
  void forEach(const std::function<void(PropertyListNode)>& visit) const;
  // A value that lives on its own.
  [[nodiscard]] PropertyList value() const;

 private:
  void* node_ = nullptr;
};

class PropertyListTree {
 public:
  [[nodiscard]] static PropertyListTree read(const Data& bytes);

  [[nodiscard]] PropertyListNode root() const noexcept { return PropertyListNode(root_.get()); }
  [[nodiscard]] PropertyList::Format format() const noexcept { return format_; }
  // Why reading went wrong, in words; null when it went well.
  [[nodiscard]] const char* problem() const noexcept { return problem_; }

 private:
  struct FreeNode {
    void operator()(void* node) const noexcept;
  };

  std::unique_ptr<void, FreeNode> root_;
  PropertyList::Format format_ = PropertyList::Format::XML;
  const char* problem_ = nullptr;
};

}  // namespace sifterra::platform
