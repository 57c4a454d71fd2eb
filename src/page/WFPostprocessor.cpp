// WFPostprocessor: the scans of strip_markup.h under the names that clients know.
#include "sifterra/page/WFPostprocessor.h"

#include <array>
#include <string>
#include <utility>

#include "page/strip_markup.h"
#include "util/string_helpers.h"

namespace sifterra {

using platform::String;

namespace {

struct Replacement {
  const char16_t* target;
  const char16_t* by;
};

// In this order, each over the whole result of the one before.
constexpr std::array<Replacement, 4> kNoticeReplacements = {{
    {u"2257", u"TwoTwoFiveSeven (2257)"},
    {u"U.S.C", u"UnitedStatesCode ( U S C )"},
    {u"USC", u"UnitedStatesCode  ( U S C )"},  // kept: two spaces, maps were trained with them
    {u"18", u"OneEight"},                      // kept: inside longer numbers too
}};

}  // namespace

String WFPostprocessor::postprocessPlainTextWebPage(const String& text) {
  if (text.isNull()) return String(u"");
  std::u16string stripped = textWithoutTags(text.view());
  normalizePunctuation(stripped);
  return String(std::move(stripped));
}

String WFPostprocessor::lightweightStripHTMLTags(const String& text) {
  if (text.isNull()) return String(u"");
  return String(textWithoutTags(text.view()));
}

String WFPostprocessor::lightweightStripHTMLTagsForLine(const String& line) {
  std::u16string stripped;
  appendLineWithoutTags(line.view(), stripped);
  return String(std::move(stripped));
}

WFTagRange WFPostprocessor::rangeOfFirstHTMLTag(const String& text, WFTagRange searchRange) {
  constexpr WFTagRange kNotFound = {kWFTagNotFound, 0};
  const std::u16string_view all = text.view();
  if (searchRange.location > all.size()) return kNotFound;
  const std::u16string_view searched = all.substr(searchRange.location, searchRange.length);
  const std::size_t inRange = searched.find(u'<');
  if (inRange == std::u16string_view::npos) return kNotFound;
  const std::size_t open = searchRange.location + inRange;
  // Kept: the end may lie past the range, and anything may stand in between ("a < b and c > d" is a tag).
  const std::size_t close = all.find(u'>', open + 1);
  if (close == std::u16string_view::npos) return kNotFound;
  return {open, close + 1 - open};
}

String WFPostprocessor::normalizeStrippedHTML(const String& text) {
  if (text.isNull()) return text;
  std::u16string normalized(text.view());
  normalizePunctuation(normalized);
  return String(std::move(normalized));
}

String WFPostprocessor::adultWebSiteTagging(const String& text) {
  if (text.isNull()) return text;
  std::u16string tagged(text.view());
  for (const Replacement& replacement : kNoticeReplacements) {
    tagged = stringByReplacingString(tagged, replacement.target, replacement.by);
  }
  return String(std::move(tagged));
}

}  // namespace sifterra
