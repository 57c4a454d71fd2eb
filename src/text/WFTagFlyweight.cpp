// WFTagFlyweight: the base knows no sign.
#include "sifterra/text/WFTagFlyweight.h"

namespace sifterra {

platform::String WFTagFlyweight::tagWithWebpage(const WFWebPageDecorator&) const {
  return nullptr;
}

}  // namespace sifterra
