// inline_frame: the signs of markup that are written as references become themselves, then tags go.
#include "page/inline_frame.h"

#include <algorithm>

#include "page/browser_tags.h"
#include "page/markup_tags.h"
#include "util/unit_search.h"

namespace sifterra {

namespace {

struct Escape {
  std::u16string_view written;
  char16_t sign;
};
constexpr Escape kEscapes[] = {{u"&lt;", u'<'},  {u"&#60;", u'<'},  {u"&#x3c;", u'<'}, {u"&gt;", u'>'},
                               {u"&#62;", u'>'}, {u"&#x3e;", u'>'}, {u"&amp;", u'&'},  {u"&quot;", u'"'}};

// Other references stay: in the text that comes of it they mean the same.
std::u16string unescaped(std::u16string_view value) {
  std::u16string text;
  text.reserve(value.size());
  for (std::size_t at = 0; at < value.size();) {
    std::size_t length = 1;
    text.push_back(value[at]);
    if (value[at] == u'&') {
      for (const Escape& escape : kEscapes) {
        if (!startsWithIgnoringAsciiCase(value, at, escape.written)) continue;
        text.back() = escape.sign;
        length = escape.written.size();
      }
    }
    at += length;
  }
  return text;
}

std::u16string withoutTags(std::u16string_view text) {
  std::u16string words = u" ";
  std::size_t from = 0;
  for (std::size_t at = findUnit(text, u'<'); at != kNoEnd; at = findUnit(text, u'<', from)) {
    words.append(text.substr(from, at - from)).push_back(u' ');
    from = at + 1;
    if (!startsTag(text, at) || isTagNamed(text, at + 1, u"iframe")) continue;
    from = std::min(findUnit(text, u'>', at), text.size() - 1) + 1;
  }
  words.append(text.substr(from)).push_back(u' ');
  std::ranges::replace(words, u'>', u' ');
  return words;
}

}  // namespace

std::u16string inlineFrameWords(std::u16string_view text, std::size_t at) {
  BrowserTag tag(text, at + 1);
  BrowserAttribute attribute;
  while (tag.nextAttribute(attribute)) {
    if (attribute.name.size() != 6 || !startsWithIgnoringAsciiCase(attribute.name, 0, u"srcdoc")) continue;
    return attribute.value.empty() ? std::u16string() : withoutTags(unescaped(attribute.value));
  }
  return {};
}

}  // namespace sifterra
