// plain_url.h: RFC 3986 read by hand: a text is split as its appendix B says and each part is held against
// its alphabet. Says nothing about what stands in the brackets of an IP literal.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sifterra::plain {

struct URLParts {
  std::optional<std::string> scheme, user, password, host, port, query, fragment;
  std::string path;
};

inline bool isAlpha(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
inline bool isDigit(char c) {
  return c >= '0' && c <= '9';
}
inline bool isHex(char c) {
  return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// Whether the text is made of unreserved characters, sub-delimiters, escapes and `others`.
inline bool spells(std::string_view text, std::string_view others) {
  constexpr std::string_view kMarks = "-._~!$&'()*+,;=";
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%') {
      if (i + 2 >= text.size() || !isHex(text[i + 1]) || !isHex(text[i + 2])) return false;
      i += 2;
    } else if (!isAlpha(text[i]) && !isDigit(text[i]) && kMarks.find(text[i]) == std::string_view::npos &&
               others.find(text[i]) == std::string_view::npos) {
      return false;
    }
  }
  return true;
}

inline bool isScheme(std::string_view text) {
  if (text.empty() || !isAlpha(text[0])) return false;
  for (const char c : text) {
    if (!isAlpha(c) && !isDigit(c) && c != '+' && c != '-' && c != '.') return false;
  }
  return true;
}

inline bool readAuthority(std::string_view authority, URLParts& parts) {
  if (const std::size_t at = authority.find('@'); at != std::string_view::npos) {
    const std::string_view userinfo = authority.substr(0, at);
    if (!spells(userinfo, ":")) return false;
    const std::size_t colon = userinfo.find(':');
    parts.user = std::string(userinfo.substr(0, colon));
    if (colon != std::string_view::npos) parts.password = std::string(userinfo.substr(colon + 1));
    authority = authority.substr(at + 1);
  }
  std::size_t end = authority.find(':');
  if (authority.starts_with('[')) {
    const std::size_t close = authority.find(']');
    if (close == std::string_view::npos) return false;
    end = close + 1;
    if (end < authority.size() && authority[end] != ':') return false;
  } else if (!spells(authority.substr(0, end), "")) {
    return false;
  }
  parts.host = std::string(authority.substr(0, end));
  if (end < authority.size()) {
    parts.port = std::string(authority.substr(end + 1));
    for (const char c : *parts.port) {
      if (!isDigit(c)) return false;
    }
  }
  return true;
}

// The parts of a reference; nothing when the text is none.
inline std::optional<URLParts> urlParts(std::string_view text) {
  URLParts parts;
  if (const std::size_t hash = text.find('#'); hash != std::string_view::npos) {
    parts.fragment = std::string(text.substr(hash + 1));
    text = text.substr(0, hash);
  }
  if (const std::size_t mark = text.find('?'); mark != std::string_view::npos) {
    parts.query = std::string(text.substr(mark + 1));
    text = text.substr(0, mark);
  }
  const std::size_t stop = text.find_first_of(":/");
  if (stop != std::string_view::npos && text[stop] == ':') {
    // A colon in the first segment ends a scheme or is an error.
    if (!isScheme(text.substr(0, stop))) return std::nullopt;
    parts.scheme = std::string(text.substr(0, stop));
    text = text.substr(stop + 1);
  }
  if (text.starts_with("//")) {
    const std::size_t slash = text.find('/', 2);
    const std::size_t end = slash == std::string_view::npos ? text.size() : slash;
    if (!readAuthority(text.substr(2, end - 2), parts)) return std::nullopt;
    text = text.substr(end);
  }
  parts.path = std::string(text);
  if (!spells(parts.path, ":@/") || !spells(parts.query.value_or(""), ":@/?") ||
      !spells(parts.fragment.value_or(""), ":@/?")) {
    return std::nullopt;
  }
  return parts;
}

}  // namespace sifterra::plain
