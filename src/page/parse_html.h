// parse_html.h: libxml2's HTML parser, quiet and from any thread.
#pragma once

#include <memory>
#include <string_view>

struct _xmlDoc;

namespace sifterra {

// HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING, and nothing else.
inline constexpr int kHTMLParseOptions = 97;

// Frees a document that parseHTML made, and nobody else may: its nodes lie in one piece of memory.
struct FreeHTML {
  void operator()(_xmlDoc* document) const noexcept;
};
using HTMLDocument = std::unique_ptr<_xmlDoc, FreeHTML>;

// The document of the bytes, not to be changed; null when the parser makes none (no bytes, or more than it
// can count). `encoding` may be null: the parser then detects it. Prints nothing, and leaves the calling
// thread's libxml2 error handlers and last error as they were. Throws when memory is too short for the whole
// tree.
[[nodiscard]] HTMLDocument parseHTML(std::string_view bytes, const char* encoding);

}  // namespace sifterra
