// tag_as_browsers_read.h: a start tag that the parser would read in another way, written anew.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "page/markup_tags.h"

namespace sifterra {

// The tag whose '<' is at `at`, with the name that the parser gives it, and of its attributes as browsers
// read them those that the page model reads.
[[nodiscard]] std::u16string tagAsBrowsersRead(std::u16string_view text, std::size_t at, const TagSpan& tag);

// Whether the parser reads the same of them: "<a/title=x>" has no title to it. Tags that are no link, image
// or meta tag have nothing to be read.
[[nodiscard]] bool readsAsBrowsers(std::u16string_view text, const TagSpan& tag);

}  // namespace sifterra
