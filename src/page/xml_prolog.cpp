// xml_prolog: one scan of what stands in front, and one of the page for a name space.
#include "page/xml_prolog.h"

#include "page/markup_tags.h"

namespace sifterra {

std::size_t skipAsides(std::u16string_view text, std::size_t at) noexcept {
  constexpr std::size_t kNone = std::u16string_view::npos;
  for (;;) {
    while (at < text.size() && isMarkupBlank(text[at])) ++at;
    const bool comment = text.substr(at, 4) == u"<!--";
    if (!comment && text.substr(at, 2) != u"<?") return at;
    const std::u16string_view end = comment ? u"-->" : u"?>";
    const std::size_t found = text.find(end, at + 2);
    if (found == kNone) return text.size();
    at = found + end.size();
  }
}

bool mayBeXML(std::u16string_view text) noexcept {
  if (text.starts_with(u"<?xml") || text.find(u"xmlns") != std::u16string_view::npos) return true;
  const std::size_t at = skipAsides(text, 0);
  return !startsWithIgnoringAsciiCase(text, at, u"<!doctype html") &&
         !startsWithIgnoringAsciiCase(text, at, u"<html");
}

}  // namespace sifterra
