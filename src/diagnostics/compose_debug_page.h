// compose_debug_page.h: a judged page with what the filter thought of it on top, behind the C functions of
// the same names.
#pragma once

#include "diagnostics/debug_page_header.h"
#include "sifterra/platform/Data.h"
#include "sifterra/platform/String.h"
#include "sifterra/platform/URL.h"

namespace sifterra {

// The page's text with the header behind its body tag; without a body tag or a template the page alone; null
// for null.
[[nodiscard]] platform::String composeDebugPage(const platform::Data& page, const platform::URL& url,
                                                const DebugPageFacts& facts);

// The same for a UTF-8 page, with the text and the word scores made here and always as restricted; UTF-8 out.
[[nodiscard]] platform::Data composeDebugPageSimple(const platform::Data& page, const platform::URL& url,
                                                    const platform::String& debugMessage);

}  // namespace sifterra
