#include "request_headers.h"

#include <c_icap/header.h>
#include <c_icap/simple_api.h>

#include <string_view>

#include "ascii_text.h"

namespace sifterra::icap {
namespace {

std::string_view valueIn(std::string_view header, std::string_view name) {
  if (header.size() <= name.size() || header[name.size()] != ':') return {};
  return equalsIgnoringCase(header.substr(0, name.size()), name) ? trimmed(header.substr(name.size() + 1))
                                                                 : std::string_view();
}

std::string_view headerAt(const ci_headers_list_t* headers, int index) {
  return headers->headers[index];
}

template <class Visit>
void forEachHeader(const ci_headers_list_t* headers, Visit visit) {
  for (int i = 0; headers && i < headers->used; ++i) visit(headerAt(headers, i));
}

void setIfNamed(std::string_view header, std::string_view name, std::string_view* place) {
  if (!place->empty()) return;
  *place = valueIn(header, name);
}

}  // namespace

HttpMessage messageOf(ci_request_t* request) {
  HttpMessage message;
  message.kind =
      ci_req_type(request) == ICAP_REQMOD ? HttpMessage::Kind::Request : HttpMessage::Kind::Response;
  message.hasBody = ci_req_hasbody(request) != 0;
  const ci_headers_list_t* asked = ci_http_request_headers(request);
  if (asked && asked->used > 0) message.requestLine = headerAt(asked, 0);
  forEachHeader(asked, [&](std::string_view header) {
    setIfNamed(header, "Host", &message.host);
    setIfNamed(header, "Sec-Fetch-Dest", &message.fetchDestination);
    setIfNamed(header, "Accept", &message.accept);
    setIfNamed(header, "Accept-Language", &message.acceptLanguage);
    setIfNamed(header, "Accept-Encoding", &message.acceptEncoding);
    setIfNamed(header, "Range", &message.range);
  });
  if (message.kind == HttpMessage::Kind::Response) {
    const ci_headers_list_t* answered = ci_http_response_headers(request);
    if (answered && answered->used > 0) message.statusLine = headerAt(answered, 0);
    forEachHeader(answered, [&](std::string_view header) {
      if (const auto range = valueIn(header, "Content-Range"); !range.empty())
        message.contentRanges.push_back(range);
      if (const auto type = valueIn(header, "Content-Type"); !type.empty())
        message.contentTypes.push_back(type);
      if (const auto coding = valueIn(header, "Content-Encoding"); !coding.empty())
        message.contentEncodings.push_back(coding);
    });
  }
  forEachHeader(request->request_header, [&](std::string_view header) {
    setIfNamed(header, "X-Client-Username", &message.clientUsername);
    setIfNamed(header, "X-Authenticated-User", &message.authenticatedUser);
    setIfNamed(header, "X-Client-IP", &message.clientAddress);
  });
  return message;
}

}  // namespace sifterra::icap
