// debug_page_header.h: the block that a debug page shows above the page, from its template.
//
// The placeholders are replaced one after the other by plain text, nothing is escaped, and what one step
// inserts a later one may replace: a page may name "WORD_DUMP" and will show the dump there.
#pragma once

#include <cstddef>
#include <string_view>

#include "sifterra/platform/String.h"

namespace sifterra {

// UTF-16 units of a header. A page that names a placeholder again and again must not cost more memory.
inline constexpr std::size_t kMostHeaderUnits = std::size_t{32} << 20;

struct DebugPageFacts {
  platform::String strippedPage;  // null: its placeholder stays
  platform::String wordDump;      // the same
  platform::String debugMessage;  // null: empty
  bool restricted = false;
};

// The template's text, read afresh from its fixed path; null when it cannot be read or is not UTF-8.
[[nodiscard]] platform::String debugPageTemplate();

// The template with the facts in it; null of null, and, with a line in the log, when it grows too large.
[[nodiscard]] platform::String debugPageHeader(const platform::String& pageTemplate,
                                               const DebugPageFacts& facts);

// What stands for a text that could not be converted for HTML. Every text can be, as things are.
inline constexpr std::u16string_view kNoStrippedPage = u"**** Error: strippedPageInHTML is nil <br>";
inline constexpr std::u16string_view kNoWordDump = u"**** Error: wordDumpInHTML is nil <br>";
[[nodiscard]] platform::String orErrorText(const platform::String& converted, std::u16string_view errorText);

}  // namespace sifterra
