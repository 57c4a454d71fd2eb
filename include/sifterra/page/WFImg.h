// WFImg: one "img" element of a parsed page. Borrows from the document.
#pragma once

#include <cstdint>

#include "sifterra/page/XMLNode.h"

namespace sifterra {

class WF_API WFImg : public XMLNode {
 public:
  using XMLNode::XMLNode;

  [[nodiscard]] platform::String alt() const;
  [[nodiscard]] platform::String title() const;
  [[nodiscard]] platform::String src() const;
  [[nodiscard]] std::int64_t width() const;   // pixels, kWFImgDimensionUnknown when not told
  [[nodiscard]] std::int64_t height() const;  // pixels, kWFImgDimensionUnknown when not told
  [[nodiscard]] std::int64_t area() const;    // width * height, kWFImgDimensionUnknown when either is
  [[nodiscard]] platform::String description() const;
};

}  // namespace sifterra
