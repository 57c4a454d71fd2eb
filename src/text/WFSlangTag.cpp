// WFSlangTag: three spellings of one number.
#include "sifterra/text/WFSlangTag.h"

#include <algorithm>
#include <array>

#include "sifterra/text/WFWebPageDecorator.h"
#include "util/string_helpers.h"

namespace sifterra {

using platform::String;

String WFSlangTag::tagWithWebpage(const WFWebPageDecorator& webpage) const {
  static constexpr std::array<std::u16string_view, 3> kWords = {u"69", u"sixty nine", u"sixty-nine"};
  // Lower-casing the text first could not change the answer, so it is not done: the search ignores case,
  // lower-casing keeps a character's simple folding and whether it is ignorable, and the one character
  // that becomes two (U+0130, "i" and a dot above) becomes letters that none of the words holds in that
  // order. The tests check all characters, and texts against the lower-casing way.
  const String content = webpage.pageContent();
  const bool found = std::any_of(kWords.begin(), kWords.end(), [&](std::u16string_view word) {
    return containsWord(content.view(), word);
  });
  if (!found) return nullptr;
  return String(std::u16string(sixtyNineTag().view()) + u" ");
}

String WFSlangTag::sixtyNineTag() const {
  return String(u"SixtyNineWebFilterTag");
}

}  // namespace sifterra
