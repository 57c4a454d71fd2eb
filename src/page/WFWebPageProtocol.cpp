// WFWebPageProtocol: looking up a meta tag.
#include "sifterra/page/WFWebPageProtocol.h"

namespace sifterra {

platform::String WFMetaTags::contentForLabel(std::u16string_view label) const {
  const auto found = contents.find(label);
  return found != contents.end() ? found->second : platform::String();
}

}  // namespace sifterra
