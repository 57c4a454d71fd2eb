// WFSlangTag: marks pages whose text holds the number sixty-nine as a word.
#pragma once

#include "sifterra/text/WFTagFlyweight.h"

namespace sifterra {

class WF_API WFSlangTag : public WFTagFlyweight {
 public:
  static constexpr WFTagClass kClass = {"WFSlangTag", &WFMakeTag<WFSlangTag>};

  [[nodiscard]] platform::String tagWithWebpage(const WFWebPageDecorator& webpage) const override;
  // The tag word; virtual so that derived classes may bring their own.
  [[nodiscard]] virtual platform::String sixtyNineTag() const;
};

}  // namespace sifterra
