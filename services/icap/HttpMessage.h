// HttpMessage: what the service looks at of the HTTP message that a proxy asks about, and of who asks.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace sifterra::icap {

struct HttpMessage {
  enum class Kind { Request, Response };

  Kind kind = Kind::Response;
  bool hasBody = false;
  // Of the request; views last as long as its headers. Absent ones are empty.
  std::string_view requestLine;
  std::string_view host;
  std::string_view fetchDestination;  // Sec-Fetch-Dest
  std::string_view accept;
  std::string_view acceptLanguage;
  std::string_view acceptEncoding;
  std::string_view range;
  // Of the response.
  std::string_view statusLine;
  std::vector<std::string_view> contentRanges;
  std::vector<std::string_view> contentTypes;
  std::vector<std::string_view> contentEncodings;
  // Of the proxy.
  std::string_view clientUsername;     // X-Client-Username
  std::string_view authenticatedUser;  // X-Authenticated-User
  std::string_view clientAddress;      // X-Client-IP

  // "GET"; empty without a request line.
  [[nodiscard]] std::string_view method() const;
  // The address asked for, without characters that no URL may hold. Of CONNECT it is the https address of the
  // host. Empty when there is none.
  [[nodiscard]] std::string url() const;
};

}  // namespace sifterra::icap
