#include "UserMap.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <utility>

#include "ascii_text.h"
#include "user_name.h"

namespace sifterra::icap {
namespace {

struct Network {
  IpAddress address;
  unsigned prefix = 128;
};

std::string networkText(const IpAddress& address, unsigned prefix) {
  return address.text() + "/" +
         std::to_string(address.isIPv4() && prefix >= kIPv4Bits ? prefix - kIPv4Bits : prefix);
}

// The network that the text names, or what is wrong with it.
std::variant<Network, std::string> parseNetwork(std::string_view text) {
  const std::size_t slash = text.find('/');
  const std::string_view addressText = text.substr(0, slash);
  const std::optional<IpAddress> address = IpAddress::parse(addressText);
  if (!address)
    return "\"" + std::string(addressText) + "\" is no address; expected one like 192.0.2.7 or 2001:db8::7";
  if (slash == std::string_view::npos) return Network{*address, 128};
  const bool fourBytes = addressText.find(':') == std::string_view::npos;
  const std::string_view lengthText = text.substr(slash + 1);
  const unsigned most = fourBytes ? 32 : 128;
  unsigned length = 0;
  const auto [end, failure] =
      std::from_chars(lengthText.data(), lengthText.data() + lengthText.size(), length);
  if (failure != std::errc() || end != lengthText.data() + lengthText.size() || length > most) {
    return "\"/" + std::string(lengthText) + "\" is no length of a network; expected 0 to " +
           std::to_string(most);
  }
  const unsigned prefix = fourBytes ? length + kIPv4Bits : length;
  const IpAddress network = address->masked(prefix);
  if (!(network == *address))
    return "\"" + std::string(text) + "\" is no network; expected " + networkText(network, prefix);
  return Network{network, prefix};
}

std::string_view takeWord(std::string_view* line) {
  const std::size_t end = line->find_first_of(" \t");
  const std::string_view word = line->substr(0, end);
  *line = end == std::string_view::npos ? std::string_view() : trimmed(line->substr(end));
  return word;
}

}  // namespace

std::variant<UserMap, std::string> UserMap::parse(std::string_view text, std::string_view fileName) {
  UserMap map;
  std::size_t number = 0;
  const auto problem = [&](const std::string& words) {
    return std::string(fileName) + ":" + std::to_string(number) + ": " + words;
  };
  while (!text.empty()) {
    ++number;
    const std::size_t end = text.find('\n');
    std::string_view line = trimmed(text.substr(0, end));
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    if (line.empty() || line.front() == '#') continue;
    const std::string_view networkWord = takeWord(&line);
    const auto network = parseNetwork(networkWord);
    if (const auto* words = std::get_if<std::string>(&network)) return problem(*words);
    line = line.substr(0, 1) == "#" ? std::string_view() : trimmed(line.substr(0, line.find(" #")));
    if (line.empty())
      return problem("a user is missing; expected \"ADDRESS USER\" or \"NETWORK/LENGTH USER\"");
    // Names are taken as they stand; what would not survive as a short name names nobody.
    if (shortName(line) != line) return problem("\"" + std::string(line) + "\" is no user's short name");
    const auto& [address, prefix] = std::get<Network>(network);
    if (!map.networks_[prefix].emplace(address, line).second)
      return problem(networkText(address, prefix) + " stands in the file already");
  }
  return map;
}

std::variant<UserMap, std::string> UserMap::readFile(const std::string& path) {
  std::error_code unreadable;
  if (!std::filesystem::is_regular_file(path, unreadable)) return path + ": cannot be read";
  std::ifstream file(path, std::ios::binary);
  if (!file) return path + ": cannot be read";
  std::ostringstream text;
  text << file.rdbuf();
  const std::string bytes = std::move(text).str();
  if (bytes.size() > kMostBytes) return path + ": larger than 64 MiB";
  return parse(bytes, path);
}

std::string UserMap::userOf(std::string_view address) const {
  const std::optional<IpAddress> parsed = IpAddress::parse(trimmed(address));
  if (!parsed) return {};
  for (const auto& [prefix, users] : networks_) {
    const auto found = users.find(parsed->masked(prefix));
    if (found != users.end()) return found->second;
  }
  return {};
}

std::size_t UserMap::size() const noexcept {
  std::size_t count = 0;
  for (const auto& [prefix, users] : networks_) count += users.size();
  return count;
}

}  // namespace sifterra::icap
