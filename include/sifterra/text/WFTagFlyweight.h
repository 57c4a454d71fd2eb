// WFTagFlyweight: base of the tag classes, which add words of their own to a page that shows a sign.
//
// Tag objects hold no state: one instance per class serves every page and thread.
#pragma once

#include <memory>

#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"

namespace sifterra {

class WFWebPageDecorator;

class WF_API WFTagFlyweight {
 public:
  virtual ~WFTagFlyweight() = default;
  // The tag text for the page, null when it shows no sign. The base knows none.
  [[nodiscard]] virtual platform::String tagWithWebpage(const WFWebPageDecorator& webpage) const;
};

// A tag class: its name and how to make an instance of it.
struct WFTagClass {
  const char* name;
  std::unique_ptr<WFTagFlyweight> (*make)();
};

template <class Tag>
[[nodiscard]] std::unique_ptr<WFTagFlyweight> WFMakeTag() {
  return std::make_unique<Tag>();
}

}  // namespace sifterra
