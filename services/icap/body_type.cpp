#include "body_type.h"

#include <algorithm>
#include <span>

#include "ascii_text.h"
#include "sifterra/page/WFContentSniffer.h"

namespace sifterra::icap {
namespace {

// What browsers show as a page or as text.
constexpr std::string_view kPages[] = {"text/html",
                                       "application/xhtml+xml",
                                       "text/plain",
                                       "application/vnd.wap.xhtml+xml",
                                       "text/x-server-parsed-html",
                                       "text/vnd.wap.wml"};
// What says nothing: browsers look at the body then.
constexpr std::string_view kUnnamed[] = {
    "", "unknown/unknown", "application/unknown", "*/*", "content/unknown", "text/*", "text/unknown"};

bool isOneOf(std::string_view type, std::span<const std::string_view> types) {
  return std::any_of(types.begin(), types.end(),
                     [&](std::string_view one) { return equalsIgnoringCase(type, one); });
}

// Bytes that no text has. A byte-order mark of UTF-16 makes it text all the same.
bool looksBinary(std::string_view bytes) {
  if (bytes.substr(0, 2) == "\xFE\xFF" || bytes.substr(0, 2) == "\xFF\xFE") return false;
  return std::any_of(bytes.begin(), bytes.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte <= 0x08 || byte == 0x0B || (byte >= 0x0E && byte <= 0x1A) || (byte >= 0x1C && byte <= 0x1F);
  });
}

}  // namespace

BodyType bodyType(std::string_view contentType) {
  const std::string_view type = takePart(&contentType, ';');
  if (isOneOf(type, kPages)) return BodyType::Page;
  return isOneOf(type, kUnnamed) || type.find('/') == std::string_view::npos ? BodyType::Unnamed
                                                                             : BodyType::Other;
}

BodyType stricter(BodyType a, BodyType b) {
  return std::min(a, b);
}

std::string charsetOf(std::string_view contentType) {
  static_cast<void>(takePart(&contentType, ';'));
  while (!contentType.empty()) {
    std::string_view parameter = takePart(&contentType, ';');
    const std::string_view name = takePart(&parameter, '=');
    if (!equalsIgnoringCase(name, "charset")) continue;
    std::string_view value = trimmed(parameter);
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
      value = value.substr(1, value.size() - 2);
    return std::string(trimmed(value));
  }
  return {};
}

bool isPage(BodyType type, std::string_view beginning) {
  if (type == BodyType::Page) return true;
  beginning = beginning.substr(0, kSniffedBytes);
  const platform::Data data(std::as_bytes(std::span(beginning.data(), beginning.size())));
  const std::string found = WFContentSniffer::MIMETypeForData(data).toUTF8();
  // "text/plain" is the sniffer's word for all it does not know.
  if (found == "text/html" || found == "application/xhtml+xml") return true;
  return type == BodyType::Unnamed && found == "text/plain" && !looksBinary(beginning);
}

}  // namespace sifterra::icap
