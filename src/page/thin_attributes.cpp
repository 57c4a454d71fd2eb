// thin_attributes: attributes next to each other go in one edit. Blanks before the first that goes stay, so
// that nothing runs together with what stood before it.
#include "page/thin_attributes.h"

#include <array>
#include <cstddef>
#include <utility>

#include "page/tame_markup.h"

namespace sifterra {

void thinAttributes(std::u16string_view text, const TagSpan& tag, OpenElements::Reads reads,
                    MarkupEdits& edits) {
  using Reads = OpenElements::Reads;
  if (tag.attributes == 0 || (reads == Reads::Unknown && tag.attributes <= kMostAttributes)) return;
  const std::size_t close = tag.end - (tag.selfClosing ? 2 : 1);
  if (reads == Reads::None) {
    edits.replace(tag.nameEnd, close, {});
    return;
  }
  const std::size_t most = reads == Reads::Unknown ? kMostAttributes : 0;
  std::array<bool, kModelAttributes.size()> seen{};
  std::size_t position = tag.nameEnd;
  std::size_t count = 0;
  std::size_t dropped = close;  // where what goes begins, when anything does
  AttributeSpan attribute{};
  while (nextAttribute(text, position, attribute)) {
    const std::size_t index =
        modelAttribute(text.substr(attribute.nameBegin, attribute.nameEnd - attribute.nameBegin));
    const bool isFirst = index < seen.size() && !std::exchange(seen[index], true);
    if (count++ < most || isFirst) {
      if (dropped < attribute.nameBegin) edits.replace(dropped, attribute.nameBegin, {});
      dropped = close;
    } else if (dropped == close) {
      dropped = attribute.nameBegin;
    }
  }
  if (dropped < close) edits.replace(dropped, close, {});
}

}  // namespace sifterra
