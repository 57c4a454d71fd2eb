// parse_html.h: libxml2's HTML parser, quiet and from any thread.
#pragma once

#include <string_view>

struct _xmlDoc;

namespace sifterra {

// HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING, and nothing else.
inline constexpr int kHTMLParseOptions = 97;

// The document of the bytes, which the caller owns; null when the parser makes none (no bytes, or more
// than it can count). `encoding` may be null: the parser then detects it. Prints nothing, and leaves the
// calling thread's libxml2 error handlers and last error as they were.
[[nodiscard]] _xmlDoc* parseHTML(std::string_view bytes, const char* encoding);

}  // namespace sifterra
