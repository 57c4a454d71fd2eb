// WFUSC2257Tag: three tests, one word each.
#include "sifterra/text/WFUSC2257Tag.h"

#include <string>

#include "sifterra/text/WFWebPageDecorator.h"
#include "util/string_helpers.h"

namespace sifterra {

using platform::String;

String WFUSC2257Tag::tagWithWebpage(const WFWebPageDecorator& webpage) const {
  const String content = webpage.pageContent();
  const std::u16string_view text = content.view();
  std::u16string tag;
  if (containsWord(text, u"2257")) tag.append(twoTwoFiveSevenTag().view()).append(u" ");
  if (containsWord(text, u"U.S.C") || containsWord(text, u"USC")) {
    tag.append(unitedStatesCodeTag().view()).append(u" ");
  }
  if (containsWord(text, u"18")) tag.append(eighteenTag().view()).append(u" ");
  return tag.empty() ? String() : String(std::move(tag));
}

String WFUSC2257Tag::twoTwoFiveSevenTag() const {
  return String(u"TwoTwoFiveSevenWebFilterTag");
}
String WFUSC2257Tag::unitedStatesCodeTag() const {
  return String(u"UnitedStatesCodeWebFilterTag");
}
String WFUSC2257Tag::eighteenTag() const {
  return String(u"EighteenWebFilterTag");
}

}  // namespace sifterra
