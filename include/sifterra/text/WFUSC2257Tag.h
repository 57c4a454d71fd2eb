// WFUSC2257Tag: marks pages that cite the record-keeping statute for adult producers, name the United
// States Code, or hold the number eighteen as a word.
#pragma once

#include "sifterra/text/WFTagFlyweight.h"

namespace sifterra {

class WF_API WFUSC2257Tag : public WFTagFlyweight {
 public:
  static constexpr WFTagClass kClass = {"WFUSC2257Tag", &WFMakeTag<WFUSC2257Tag>};

  [[nodiscard]] platform::String tagWithWebpage(const WFWebPageDecorator& webpage) const override;
  // The tag words; virtual so that derived classes may bring their own.
  [[nodiscard]] virtual platform::String twoTwoFiveSevenTag() const;
  [[nodiscard]] virtual platform::String unitedStatesCodeTag() const;
  [[nodiscard]] virtual platform::String eighteenTag() const;
};

}  // namespace sifterra
