// decodePage: a page's bytes as a string that is safe to judge.
//
// Order: byte-order mark, contentTypeCharset (the charset of the HTTP header, may be null), the
// page's own declaration as browsers read it, valid UTF-8, statistics, windows-1252. Malformed bytes
// become U+FFFD, a byte-order mark is dropped, and a declaration that is left in the text no longer
// misleads the parser. Markup by which a page could hide from the parser or stall it (deep nesting,
// endless text runs, attribute floods, tags and comments that browsers end elsewhere) is tamed, so that
// the page is judged as its plain twin. What the page model does not read (styles, comments, most attributes)
// is left out; CDATA sections and entities that the page declares stand there as text where browsers may show
// them. Time and memory are linear in the bytes.
#pragma once

#include "sifterra/platform/Data.h"
#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"

namespace sifterra {

// Null for null bytes.
[[nodiscard]] WF_API platform::String decodePage(const platform::Data& bytes,
                                                 const platform::String& contentTypeCharset);

// The same page for somebody to look at: what the page model does not read stays. It is judged alike.
[[nodiscard]] WF_API platform::String decodePageToShow(const platform::Data& bytes,
                                                       const platform::String& contentTypeCharset);

}  // namespace sifterra
