// WFDocumentStructureTag: words for how many images a page has and how large they are.
//
// Stands ready; WFTagFactory does not ask it.
#pragma once

#include <cstdint>

#include "sifterra/text/WFTagFlyweight.h"

namespace sifterra {

class WF_API WFDocumentStructureTag : public WFTagFlyweight {
 public:
  static constexpr WFTagClass kClass = {"WFDocumentStructureTag", &WFMakeTag<WFDocumentStructureTag>};

  [[nodiscard]] platform::String tagWithWebpage(const WFWebPageDecorator& webpage) const override;
  [[nodiscard]] static platform::String tagForNumberOfImages(std::int64_t count);
  [[nodiscard]] static platform::String tagForNumberOfPixels(std::int64_t count);
};

}  // namespace sifterra
