// stringByProperlyFixingPercentEscapes: a URL taken apart and put together again.
//
// Two properties of the composition are intended. The at-sign belongs to the password, so "ftp://joe@host/"
// becomes "ftp://joehost/". And "://" anywhere in the text decides what follows the scheme, so
// "mailto:a?u=http://x" gains slashes while "//host/path", which has no scheme, loses its own.
#include <optional>
#include <string>

#include "platform/Unicode.h"
#include "sifterra/platform/URL.h"
#include "util/decimal.h"
#include "util/string_helpers.h"

namespace sifterra {
namespace {

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool hasLoneSurrogate(std::u16string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const char32_t c = platform::nextCharacter(text, i);
    if (c >= 0xd800 && c <= 0xdfff) return true;
  }
  return false;
}

// The text with its escapes decoded; nothing when one is malformed or they do not spell UTF-8.
std::optional<std::u16string> removingPercentEncoding(std::u16string_view text) {
  if (hasLoneSurrogate(text)) return std::nullopt;
  const std::string bytes = platform::utf8FromUTF16(text);
  std::string decoded;
  decoded.reserve(bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (bytes[i] != '%') {
      decoded.push_back(bytes[i]);
      continue;
    }
    if (bytes.size() - i < 3) return std::nullopt;
    const int high = hexValue(bytes[i + 1]);
    const int low = hexValue(bytes[i + 2]);
    if (high < 0 || low < 0) return std::nullopt;
    decoded.push_back(static_cast<char>(high * 16 + low));
    i += 2;
  }
  return platform::utf16FromUTF8(decoded);
}

// RFC 3986's reserved and unreserved characters.
bool standsUnescaped(char c) {
  constexpr std::string_view kPunctuation = ":/?#[]@!$&'()*+,;=-._~";
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         kPunctuation.find(c) != std::string_view::npos;
}

std::u16string addingPercentEscapes(std::u16string_view text) {
  constexpr std::u16string_view kDigits = u"0123456789ABCDEF";
  std::u16string escaped;
  for (const char byte : platform::utf8FromUTF16(text)) {
    const auto value = static_cast<unsigned char>(byte);
    if (standsUnescaped(byte)) {
      escaped.push_back(static_cast<char16_t>(value));
    } else {
      escaped.append({u'%', kDigits[value >> 4], kDigits[value & 15]});
    }
  }
  return escaped;
}

std::u16string withNewEscapes(std::u16string_view text) {
  const std::optional<std::u16string> plain = removingPercentEncoding(text);
  return addingPercentEscapes(plain ? std::u16string_view(*plain) : text);
}

}  // namespace

platform::String stringByProperlyFixingPercentEscapes(const platform::String& receiver) {
  if (!receiver) return nullptr;
  const platform::URL url = platform::URL::fromString(receiver);
  if (!url) return platform::String(withNewEscapes(receiver.view()));

  std::u16string text;
  text.reserve(receiver.length() + 3);
  if (const platform::String scheme = url.scheme()) {
    text.append(scheme.view()).append(containsString(receiver.view(), u"://") ? u"://" : u":");
  }
  text.append(url.user().view());
  // Kept: only a password brings the at-sign, an empty one too.
  if (const platform::String password = url.password())
    text.append(u":").append(password.view()).append(u"@");
  text.append(url.host().view());
  if (const std::optional<std::uint64_t> port = url.port()) text.append(u":").append(decimalString(*port));
  text.append(url.path().view());
  if (const platform::String query = url.query()) text.append(u"?").append(query.view());
  if (const platform::String fragment = url.fragment()) text.append(u"#").append(fragment.view());
  return platform::String(std::move(text));
}

}  // namespace sifterra
