// RawTexts: one search for each kind of end tag, which goes on where the last one ended.
#include "page/RawTexts.h"

#include <algorithm>

#include "page/browser_tags.h"
#include "page/markup_tags.h"

namespace sifterra {

namespace {

using namespace std::string_view_literals;

constexpr std::array<std::u16string_view, RawTexts::None> kNames = {
    u"script", u"style",   u"title",    u"textarea", u"xmp",
    u"iframe", u"noembed", u"noframes", u"noscript", u"plaintext"};

}  // namespace

RawTexts::Kind RawTexts::kindOf(std::u16string_view name) noexcept {
  const auto* const known = std::ranges::find_if(kNames, [name](std::u16string_view word) {
    return name.size() == word.size() && startsWithIgnoringAsciiCase(name, 0, word);
  });
  return static_cast<Kind>(known - kNames.begin());
}

std::u16string_view RawTexts::nameOf(Kind kind) noexcept {
  return kNames[kind];
}

std::size_t RawTexts::endTag(Kind kind, std::size_t from) {
  if (endTags_[kind] < from) endTags_[kind] = findRawEndTag(text_, from, kNames[kind]);
  return endTags_[kind];
}

std::size_t RawTexts::scriptEndTag(std::size_t from) {
  if (scriptIsEndless_) return endTag(Script, from);
  // What follows the barrier need not be searched, but for the end tag that may stand there.
  const std::u16string_view searched =
      text_.substr(0, std::min(text_.size(), limit_ + u"</script>"sv.size()));
  const std::size_t end = findScriptEndTag(searched, from);
  if (end != kNoEnd || limit_ < text_.size()) return end;
  scriptIsEndless_ = true;  // browsers show nothing any more; one such search is enough
  return endTag(Script, from);
}

void RawTexts::pass(std::size_t at) noexcept {
  if (!hasBarriers_) return;
  limit_ = text_.size();
  for (const std::size_t barrier : barriers_) {
    if (barrier > at) limit_ = std::min(limit_, barrier);
  }
  hasBarriers_ = limit_ < text_.size();
}

}  // namespace sifterra
