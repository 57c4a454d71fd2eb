// WFPostprocessor: removes markup left in text by a cheap scan and normalises punctuation.
//
// Positions and lengths are in UTF-16 code units; comparisons are literal. All operations are pure and
// take time linear in the text.
#pragma once

#include <cstddef>

#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"

namespace sifterra {

// Where a tag stands; location is kWFTagNotFound, length 0, when there is none.
struct WFTagRange {
  std::size_t location;
  std::size_t length;
  friend bool operator==(const WFTagRange&, const WFTagRange&) = default;
};

inline constexpr std::size_t kWFTagNotFound = 0x7fffffffffffffff;

class WF_API WFPostprocessor {
 public:
  // normalizeStrippedHTML of lightweightStripHTMLTags.
  [[nodiscard]] static platform::String postprocessPlainTextWebPage(const platform::String& text);
  // Every line without its tags and with a line feed at its end, the last one too; empty for null.
  [[nodiscard]] static platform::String lightweightStripHTMLTags(const platform::String& text);
  // The line with a space for each tag. A line of one character is dropped, and so is a single
  // character behind the last tag.
  [[nodiscard]] static platform::String lightweightStripHTMLTagsForLine(const platform::String& line);
  // From the first "<" within the range to the next ">" anywhere after it.
  [[nodiscard]] static WFTagRange rangeOfFirstHTMLTag(const platform::String& text, WFTagRange searchRange);
  // "_", "-", "<" and ">" become spaces; null stays null.
  [[nodiscard]] static platform::String normalizeStrippedHTML(const platform::String& text);
  // Compliance notices rewritten as words of their own; null stays null.
  [[nodiscard]] static platform::String adultWebSiteTagging(const platform::String& text);
};

}  // namespace sifterra
