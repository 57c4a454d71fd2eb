// http_response: an HTTP response message as archives keep it, taken apart.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace sifterra::tools {

struct HttpResponse {
  int status = 0;
  std::string mediaType;  // of Content-Type, lower case without parameters; "" when not told
  std::string charset;    // its charset parameter, without quotes; "" when not told
  std::string body;       // transfer coding and content encodings undone
};

// The media type of a Content-Type value, in lower case and without parameters.
[[nodiscard]] std::string mediaTypeOf(std::string_view contentType);
// Its charset parameter, unquoted; "" when there is none.
[[nodiscard]] std::string charsetOf(std::string_view contentType);
[[nodiscard]] bool isHtmlMediaType(std::string_view mediaType);

// Status line and headers only; the body stays empty. Throws InputError.
[[nodiscard]] HttpResponse parseHttpHead(std::string_view message);

// The whole message: chunks joined, gzip and deflate undone, to at most `limit` bytes. Archives hold
// messages that were cut short, and bodies that the archiver had already decoded while the headers
// still say otherwise: a short body is taken as it is, one that is not in the announced form
// likewise. Throws InputError for what is no HTTP response, for damage inside a body, for an unknown
// encoding and for a body past the limit.
[[nodiscard]] HttpResponse parseHttpResponse(std::string_view message, std::size_t limit);

}  // namespace sifterra::tools
