// user_name: base64, then the scheme in front, then the form that the scheme has.
#include "user_name.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

#include "ascii_text.h"
#include "sifterra/platform/Data.h"
#include "sifterra/platform/String.h"
#include "sifterra/sifterra.h"

namespace sifterra::icap {
namespace {

constexpr std::size_t kLongestValue = 4096;  // of a header that is looked at
constexpr std::size_t kLongestName = 255;    // a file name's

bool isControl(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

bool isText(std::string_view bytes) {
  const platform::String text = platform::String::fromUTF8(bytes);
  const std::u16string_view units = text.view();
  return !text.isNull() && std::none_of(bytes.begin(), bytes.end(), isControl) &&
         std::none_of(units.begin(), units.end(), [](char16_t unit) { return unit >= 0x80 && unit < 0xA0; });
}

bool isNameCharacter(char c) {
  return isAlphanumeric(c) || std::string_view("._-@\\ $+").find(c) != std::string_view::npos ||
         static_cast<unsigned char>(c) >= 0x80;
}

// The bytes that strict base64 spells.
std::optional<std::string> base64Decoded(std::string_view text) {
  WFStringRef string = WFStringCreateWithUTF8Bytes(text.data(), text.size());
  if (!string) return std::nullopt;
  std::optional<std::string> bytes;
  WFReleaseScopeBegin();
  if (WFDataRef data = DecodeBase64(string))
    bytes.emplace(static_cast<const char*>(WFDataGetBytes(data)), WFDataGetLength(data));
  WFReleaseScopeEnd();
  WFRelease(string);
  return bytes;
}

// Whether what came out of base64 can be what somebody meant to say.
bool readsAsUser(std::string_view text) {
  if (text.empty() || !isText(text)) return false;
  return text.find("://") != std::string_view::npos || std::all_of(text.begin(), text.end(), isNameCharacter);
}

// "LDAP://" of "LDAP://host/cn=ann"; 0 when there is none.
std::size_t schemeLength(std::string_view text) {
  const std::size_t end = text.find("://");
  if (end == std::string_view::npos || end == 0 || !isLetter(text[0])) return 0;
  const auto fits = [](char c) { return isAlphanumeric(c) || c == '+' || c == '-' || c == '.'; };
  return std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), fits) ? end + 3 : 0;
}

// %41 as A; a percent sign without two digits stays.
std::string percentDecoded(std::string_view text) {
  std::string decoded;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const int high = text[at] == '%' && at + 2 < text.size() ? hexValue(text[at + 1]) : -1;
    const int low = high >= 0 ? hexValue(text[at + 2]) : -1;
    if (low < 0) {
      decoded += text[at];
      continue;
    }
    decoded += static_cast<char>(high * 16 + low);
    at += 2;
  }
  return decoded;
}

// The value of one "cn=Ann\, the first" of a distinguished name, without its escapes.
std::string unescaped(std::string_view value) {
  std::string text;
  for (std::size_t at = 0; at < value.size(); ++at) {
    if (value[at] != '\\' || at + 1 == value.size()) {
      text += value[at];
      continue;
    }
    const int high = hexValue(value[at + 1]);
    const int low = at + 2 < value.size() ? hexValue(value[at + 2]) : -1;
    if (high >= 0 && low >= 0) {
      text += static_cast<char>(high * 16 + low);
      at += 2;
    } else {
      text += value[++at];
    }
  }
  return text;
}

// The part of a distinguished name that names the user: uid before sAMAccountName before cn.
std::string nameInDistinguishedName(std::string_view name) {
  constexpr std::array<std::string_view, 3> kKeys{"uid", "samaccountname", "cn"};
  std::size_t best = kKeys.size();
  std::string found;
  while (!name.empty()) {
    std::size_t end = 0;
    while (end < name.size() && name[end] != ',' && name[end] != '+') end += name[end] == '\\' ? 2 : 1;
    end = std::min(end, name.size());
    const std::string_view part = trimmed(name.substr(0, end));
    name.remove_prefix(std::min(end + 1, name.size()));
    const std::size_t equals = part.find('=');
    if (equals == std::string_view::npos) continue;
    const std::string key = lowerCase(trimmed(part.substr(0, equals)));
    const auto rank = static_cast<std::size_t>(std::find(kKeys.begin(), kKeys.end(), key) - kKeys.begin());
    if (rank >= best) continue;
    best = rank;
    found = unescaped(trimmed(part.substr(equals + 1)));
  }
  return found;
}

// What stands behind "LDAP://", "WinNT://" and the like: host, path, and a name at the end.
std::string nameInAddress(std::string_view address) {
  const std::size_t query = address.find('?');
  if (query != std::string_view::npos) address = address.substr(0, query);
  if (address.find('=') != std::string_view::npos) {
    // The slash that ends the host; none in "LDAP://cn=ann".
    const std::size_t slash = address.find('/');
    const std::size_t equals = address.find('=');
    if (slash != std::string_view::npos && slash < equals) address.remove_prefix(slash + 1);
    return nameInDistinguishedName(percentDecoded(address));
  }
  const std::size_t slash = address.rfind('/');
  if (slash != std::string_view::npos) address.remove_prefix(slash + 1);
  const std::size_t comma = address.find(',');  // "WinNT://DOMAIN/ann,user"
  return percentDecoded(address.substr(0, comma));
}

}  // namespace

std::string shortName(std::string_view text) {
  if (text.size() > kLongestValue) return {};
  text = trimmed(text);
  const std::size_t scheme = schemeLength(text);
  std::string name = scheme ? nameInAddress(text.substr(scheme)) : std::string(text);
  if (!scheme && name.find('=') != std::string::npos && name.find(',') != std::string::npos)
    name = nameInDistinguishedName(std::string(name));
  if (const std::size_t domain = name.rfind('\\'); domain != std::string::npos) name.erase(0, domain + 1);
  if (const std::size_t realm = name.find('@'); realm != std::string::npos) name.erase(realm);
  name = trimmed(name);
  if (name.empty() || name == "." || name == ".." || name == "-" || name.size() > kLongestName) return {};
  return name.find('/') == std::string::npos && isText(name) ? name : std::string();
}

std::string userFromHeader(std::string_view value, NameEncoding encoding, bool mayBeBase64) {
  value = trimmed(value);
  if (value.size() > kLongestValue) return {};
  if (encoding == NameEncoding::Plain || (encoding == NameEncoding::Auto && !mayBeBase64))
    return shortName(value);
  const std::optional<std::string> decoded = base64Decoded(value);
  if (encoding == NameEncoding::Base64) return decoded ? shortName(*decoded) : std::string();
  return decoded && readsAsUser(*decoded) ? shortName(*decoded) : shortName(value);
}

}  // namespace sifterra::icap
