// block_page_text.h: the pieces of text that a block page is filled with.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "sifterra/platform/PropertyList.h"
#include "sifterra/platform/String.h"

namespace sifterra {

// _xssSafeStringFromString: what HTML gives a meaning is replaced, the ampersand first. Null of null.
[[nodiscard]] platform::String xssSafeStringFromString(const platform::String& string);

// The refused address as it is shown: apostrophes as grave accents, then escaped.
[[nodiscard]] platform::String visibleURLText(const platform::String& url);

// _allowedWebSitesHTML: one link per site, or a message when there is no list. Only the titles are escaped.
[[nodiscard]] platform::String allowedWebSitesHTML(const platform::PropertyList& sites);

// One marker of a template and what every occurrence of it is replaced by.
struct MarkerValue {
  std::u16string_view marker;
  platform::String value;  // null leaves the marker in the page
};

// The template with the markers replaced, one after the other, so that a marker that an earlier value
// brings in is replaced as well. Nothing when the text would exceed `limit` units.
[[nodiscard]] std::optional<std::u16string> replaceMarkers(std::u16string text,
                                                           std::span<const MarkerValue> values,
                                                           std::size_t limit);

}  // namespace sifterra
