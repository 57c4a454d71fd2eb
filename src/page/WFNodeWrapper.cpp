// WFNodeWrapper: the array as a stack.
#include "sifterra/page/WFNodeWrapper.h"

#include <cassert>

namespace sifterra {

void WF_push(std::vector<WFNodeWrapper>& array, _xmlNode* node) {
  array.emplace_back(node);
}

_xmlNode* WF_pop(std::vector<WFNodeWrapper>& array) {
  assert(!array.empty());
  _xmlNode* node = array.back().node();
  array.pop_back();
  return node;
}

}  // namespace sifterra
