// WFLink: reads its element's attributes each time it is asked.
#include "sifterra/page/WFLink.h"

#include "page/node_text.h"

namespace sifterra {

platform::String WFLink::title() const {
  return attributeText(xmlNode(), "title");
}

platform::URL WFLink::url() const {
  const platform::String reference = attributeText(xmlNode(), "href");
  return reference ? platform::URL::fromString(reference) : platform::URL();
}

}  // namespace sifterra
