#include "policies/domain_text.h"

#include <arpa/inet.h>

#include <algorithm>
#include <string>

namespace sifterra::tools {
namespace {

constexpr std::size_t kLongestName = 253;
constexpr std::size_t kLongestLabel = 63;
constexpr std::size_t kLongestIPv6Address = 45;

bool isLabelByte(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
}

bool isLabel(std::string_view text) {
  if (text.empty() || text.size() > kLongestLabel || text.front() == '-' || text.back() == '-') return false;
  for (const char c : text) {
    if (!isLabelByte(c)) return false;
  }
  return true;
}

bool isNumeric(std::string_view text) {
  return text.find_first_not_of("0123456789.") == std::string_view::npos;
}

}  // namespace

bool isIPv4Address(std::string_view text) {
  in_addr address{};
  return isNumeric(text) && ::inet_pton(AF_INET, std::string(text).c_str(), &address) == 1;
}

bool isIPv6Address(std::string_view text) {
  // fe80::1%lo0: the zone that hosts files of some systems name
  text = text.substr(0, text.find('%'));
  in6_addr address{};
  return text.find(':') != std::string_view::npos && text.size() <= kLongestIPv6Address &&
         ::inet_pton(AF_INET6, std::string(text).c_str(), &address) == 1;
}

bool isDomainName(std::string_view text) {
  if (text.empty() || text.size() > kLongestName || isNumeric(text)) return false;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t dot = std::min(text.find('.', begin), text.size());
    if (!isLabel(text.substr(begin, dot - begin))) return false;
    begin = dot + 1;
  }
  return true;
}

}  // namespace sifterra::tools
