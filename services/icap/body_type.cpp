#include "body_type.h"

#include <algorithm>
#include <span>
#include <utility>

#include "ascii_text.h"
#include "sifterra/page/WFContentSniffer.h"
#include "text_cut.h"

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

constexpr std::string_view kCharset = "charset";

// Cuts the part up to the separator off the front, where separators between quotes do not count.
std::string_view takeUnquoted(std::string_view* list, char separator) {
  bool quoted = false;
  for (std::size_t at = 0; at < list->size(); ++at) {
    const char c = (*list)[at];
    if (c == '\\' && quoted)
      ++at;
    else if (c == '"')
      quoted = !quoted;
    else if (c == separator && !quoted) {
      const std::string_view part = trimmed(list->substr(0, at));
      list->remove_prefix(at + 1);
      return part;
    }
  }
  return trimmed(std::exchange(*list, {}));
}

// Without the quotes around a value and the backslashes in it.
std::string unquoted(std::string_view value) {
  if (value.empty() || value[0] != '"') return std::string(value);
  std::string text;
  for (std::size_t at = 1; at < value.size() && value[at] != '"'; ++at) {
    if (value[at] == '\\' && at + 1 < value.size()) ++at;
    text += value[at];
  }
  return std::string(trimmed(text));
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

bool isSignedExchange(std::string_view contentType) {
  return lowerCase(contentType).find("application/signed-exchange") != std::string::npos;
}

BodyType stricter(BodyType a, BodyType b) {
  return std::min(a, b);
}

std::string charsetOf(std::string_view contentType) {
  std::string charset;
  while (!contentType.empty()) {
    std::string_view part = takeUnquoted(&contentType, ',');
    static_cast<void>(takeUnquoted(&part, ';'));
    while (!part.empty()) {
      std::string_view parameter = takeUnquoted(&part, ';');
      if (!equalsIgnoringCase(takePart(&parameter, '='), kCharset)) continue;
      if (std::string value = unquoted(trimmed(parameter)); !value.empty()) charset = std::move(value);
      break;
    }
  }
  return charset;
}

std::vector<std::string> charsetsOf(const std::vector<std::string_view>& contentTypes) {
  std::vector<std::string> charsets(1);
  for (const std::string_view value : contentTypes)
    if (std::string charset = charsetOf(value); !charset.empty()) charsets[0] = std::move(charset);
  const auto add = [&](std::string_view name) {
    const bool known = std::any_of(charsets.begin(), charsets.end(),
                                   [&](const std::string& one) { return equalsIgnoringCase(one, name); });
    if (!known && charsets.size() <= kMostCharsets) charsets.emplace_back(name);
  };
  for (const std::string_view value : contentTypes)
    for (std::size_t at = 0; at + kCharset.size() < value.size(); ++at) {
      if (!equalsIgnoringCase(value.substr(at, kCharset.size()), kCharset)) continue;
      std::string_view rest = trimmed(value.substr(at + kCharset.size()));
      if (rest.empty() || rest[0] != '=') continue;
      rest.remove_prefix(1);
      rest.remove_prefix(std::min(rest.find_first_not_of(" \t\"'"), rest.size()));
      if (const auto name = rest.substr(0, rest.find_first_of(" \t\"';,")); !name.empty()) add(name);
    }
  const bool wide =
      std::any_of(charsets.begin(), charsets.end(), [](const std::string& one) { return isUtf16(one); });
  if (charsets.size() > 1 || wide) add("");
  return charsets;
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
