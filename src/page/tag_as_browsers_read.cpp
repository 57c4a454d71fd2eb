// tag_as_browsers_read: values go into quotes, and quotes in them into references.
#include "page/tag_as_browsers_read.h"

#include <array>
#include <utility>

#include "page/browser_tags.h"

namespace sifterra {

std::u16string tagAsBrowsersRead(std::u16string_view text, std::size_t at, const TagSpan& tag) {
  std::u16string written(text.substr(at, tag.nameEnd - at));
  std::array<bool, kModelAttributes.size()> seen{};
  BrowserTag reader(text, at + 1);
  BrowserAttribute attribute;
  while (reader.nextAttribute(attribute)) {
    const std::size_t index = modelAttribute(attribute.name);
    if (index == seen.size() || std::exchange(seen[index], true)) continue;
    written.append(u" ").append(kModelAttributes[index]).append(u"=\"");
    for (const char16_t c : attribute.value) {
      if (c == u'"') {
        written.append(u"&quot;");
      } else {
        written.push_back(c);
      }
    }
    written.append(u"\"");
  }
  return written.append(tag.selfClosing ? u" />" : u">");
}

}  // namespace sifterra
