// plain_url_repair.h: the repair of a URL by the splitting of RFC 3986's appendix B, character by character.
//
// What the library's URL repair is compared with, given whether the text is a URL at all.
#pragma once

#include <cstddef>
#include <string>

#include "sifterra/platform/URL.h"

namespace sifterra::reference {

// Cuts the text at the first of the characters; what is left begins with that character.
inline std::string cutBefore(std::string& text, const char* characters) {
  const std::size_t at = text.find_first_of(characters);
  const std::string head = text.substr(0, at);
  text = at == std::string::npos ? "" : text.substr(at);
  return head;
}

inline std::string repairedUserAndHost(std::string authority) {
  std::string result;
  const std::size_t at = authority.find('@');
  if (at != std::string::npos) {
    const std::string user = authority.substr(0, at);
    authority = authority.substr(at + 1);
    result += user.find(':') == std::string::npos ? user : user + "@";
  }
  const std::size_t bracket = authority.rfind(']');
  const std::size_t colon = authority.find(':', bracket == std::string::npos ? 0 : bracket);
  result += authority.substr(0, colon);
  if (colon == std::string::npos || colon + 1 == authority.size()) return result;
  std::string port = authority.substr(colon + 1);
  while (port.size() > 1 && port[0] == '0') port.erase(0, 1);
  return result + ":" + port;
}

// Whether the plain splitting can tell: a path behind a host is empty or begins with a slash, and the port
// is a number that 64 bits hold.
inline bool isPlain(const platform::URL& url) {
  std::size_t digits = 0;
  for (const char16_t unit : url.absoluteString().view()) {
    digits = unit >= u'0' && unit <= u'9' ? digits + 1 : 0;
    if (digits > 18) return false;
  }
  return !url.host() || url.path().length() == 0 || url.path().view()[0] == u'/';
}

inline std::string repairedURL(const std::string& text) {
  std::string rest = text;
  std::string result;
  const std::size_t colon = text.find_first_of(":/?#");
  if (colon != std::string::npos && text[colon] == ':') {
    result = text.substr(0, colon) + (text.find("://") != std::string::npos ? "://" : ":");
    rest = text.substr(colon + 1);
  }
  if (rest.substr(0, 2) == "//") {
    rest = rest.substr(2);
    result += repairedUserAndHost(cutBefore(rest, "/?#"));
  }
  return result + rest;
}

}  // namespace sifterra::reference
