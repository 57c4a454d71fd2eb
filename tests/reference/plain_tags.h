// plain_tags.h: the tags of a page text word for word, the text lower-cased first where that is documented.
//
// What the library's tag classes are compared with.
#pragma once

#include <string>

#include "platform/Unicode.h"
#include "reference/plain_words.h"

namespace sifterra::reference {

inline std::u16string noticeTag(const std::u16string& content) {
  std::u16string tag;
  if (containsWord(content, u"2257")) tag += u"TwoTwoFiveSevenWebFilterTag ";
  if (containsWord(content, u"U.S.C") || containsWord(content, u"USC"))
    tag += u"UnitedStatesCodeWebFilterTag ";
  if (containsWord(content, u"18")) tag += u"EighteenWebFilterTag ";
  return tag;
}

inline std::u16string slangTag(const std::u16string& content) {
  const std::u16string lower = platform::lowercased(content);
  for (const char16_t* word : {u"69", u"sixty nine", u"sixty-nine"}) {
    if (containsWord(lower, word)) return u"SixtyNineWebFilterTag ";
  }
  return u"";
}

inline std::u16string tagsOf(const std::u16string& content) {
  std::u16string tags;
  const std::u16string notice = noticeTag(content);
  if (!notice.empty()) tags += u"[ " + notice + u" ]";
  const std::u16string slang = slangTag(content);
  if (!slang.empty()) tags += u"\n[ " + slang + u" ]";
  return tags;
}

}  // namespace sifterra::reference
