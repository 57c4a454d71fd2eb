#include "body_type.h"

#include <algorithm>
#include <span>

#include "ascii_text.h"
#include "sifterra/page/WFContentSniffer.h"

namespace sifterra::icap {
namespace {

// What browsers show as a page or as text; what ends with "+xml" besides.
constexpr std::string_view kPages[] = {"text/html",        "text/plain",
                                       "text/xml",         "application/xml",
                                       "text/xsl",         "text/x-server-parsed-html",
                                       "text/vnd.wap.wml", "multipart/x-mixed-replace",
                                       "multipart/mixed"};
constexpr std::string_view kXmlEnding = "+xml";
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

// Browsers call a body HTML by its first tag, before they look for bytes that no text has.
bool beginsWithMarkup(std::string_view bytes) {
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  if (bytes.starts_with("\xFE\xFF") || bytes.starts_with("\xFF\xFE")) bytes.remove_prefix(2);
  const std::size_t first = bytes.find_first_not_of("\t\n\f\r ");
  return first != std::string_view::npos && bytes[first] == '<';
}

bool isToken(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return isAlphanumeric(c) || std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
  });
}

// Of one of the values between the commas.
BodyType typeOfPart(std::string_view part) {
  part = trimmed(part);
  const std::string_view type = part.substr(0, part.find_first_of("; \t("));
  if (isOneOf(type, kPages)) return BodyType::Page;
  const std::size_t slash = type.find('/');
  if (slash == std::string_view::npos || isOneOf(type, kUnnamed) || !isToken(type.substr(0, slash)) ||
      !isToken(type.substr(slash + 1)))
    return BodyType::Unnamed;
  const bool xml = type.size() >= kXmlEnding.size() &&
                   equalsIgnoringCase(type.substr(type.size() - kXmlEnding.size()), kXmlEnding);
  return xml ? BodyType::Page : BodyType::Other;
}

}  // namespace

BodyType bodyType(std::string_view contentType) {
  BodyType type = BodyType::Other;
  bool quoted = false;
  while (true) {
    const std::string_view part = contentType.substr(0, contentType.find(','));
    const BodyType found = typeOfPart(part);
    // Not everybody ends a quoted text at the same place: a page is one behind any comma.
    if (!quoted || found == BodyType::Page) type = stricter(type, found);
    if (std::count(part.begin(), part.end(), '"') % 2 == 1) quoted = !quoted;
    if (part.size() == contentType.size()) return type;
    contentType.remove_prefix(part.size() + 1);
  }
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
  if (found == "text/html" || found == "application/xhtml+xml") return true;
  if (type != BodyType::Unnamed) return false;
  if (beginsWithMarkup(beginning) || found == "application/xml") return true;
  if (found.starts_with("image/") || beginning.starts_with("%PDF-")) return false;
  return !looksBinary(beginning);
}

}  // namespace sifterra::icap
