// WFLink: one "a" element of a parsed page. Borrows from the document.
#pragma once

#include "sifterra/page/XMLNode.h"
#include "sifterra/platform/URL.h"

namespace sifterra {

class WF_API WFLink : public XMLNode {
 public:
  using XMLNode::XMLNode;

  [[nodiscard]] platform::String title() const;
  [[nodiscard]] platform::URL url() const;  // null when absent or not an RFC 3986 reference
};

}  // namespace sifterra
