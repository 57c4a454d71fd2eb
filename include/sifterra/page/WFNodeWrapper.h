// WFNodeWrapper: one node of a parsed document as an element of an array, and the array as a stack.
//
// The document owns the node; the wrapper only points to it.
#pragma once

#include <vector>

#include "sifterra/platform/Export.h"

struct _xmlNode;

namespace sifterra {

class WF_API WFNodeWrapper {
 public:
  explicit WFNodeWrapper(_xmlNode* node) noexcept : _node(node) {}  // initWithNode:
  [[nodiscard]] _xmlNode* node() const noexcept { return _node; }

 private:
  _xmlNode* _node;
};

// Wraps the node and appends it to the array.
WF_API void WF_push(std::vector<WFNodeWrapper>& array, _xmlNode* node);
// Removes the last element and answers its node; the array must not be empty.
[[nodiscard]] WF_API _xmlNode* WF_pop(std::vector<WFNodeWrapper>& array);

}  // namespace sifterra
