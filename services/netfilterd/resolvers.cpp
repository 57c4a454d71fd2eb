#include "resolvers.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>

namespace sifterra::netfilterd {
namespace {

constexpr std::string_view kBlanks = " \t\r";

// The next word of the line, which loses it.
std::string_view nextWord(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
  const std::string_view word = line.substr(0, line.find_first_of(kBlanks));
  line.remove_prefix(word.size());
  return word;
}

}  // namespace

bool isAddress(const std::string& text) {
  std::array<unsigned char, 16> bytes{};
  return text.find('\0') == std::string::npos && (inet_pton(AF_INET, text.c_str(), bytes.data()) == 1 ||
                                                  inet_pton(AF_INET6, text.c_str(), bytes.data()) == 1);
}

std::vector<std::string> resolversOf(std::string_view text) {
  std::vector<std::string> addresses;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
    if (nextWord(line) != "nameserver") continue;
    const std::string_view word = nextWord(line);
    const std::string address(word.substr(0, word.find('%')));
    if (isAddress(address)) addresses.push_back(address);
  }
  return addresses;
}

}  // namespace sifterra::netfilterd
