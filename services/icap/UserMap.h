// UserMap: which user sits behind an address, from a file with a line per address or network.
//
//   # the computers of the children
//   192.0.2.17        ann
//   192.0.2.0/24      family
//   2001:db8:1::/48   family
//
// The longest network that holds an address counts.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>

#include "IpAddress.h"

namespace sifterra::icap {

class UserMap {
 public:
  static constexpr std::size_t kMostBytes = std::size_t{64} << 20;

  // The map that the text spells, or what is wrong with it: "users.map:3: ...".
  [[nodiscard]] static std::variant<UserMap, std::string> parse(std::string_view text,
                                                                std::string_view fileName);
  [[nodiscard]] static std::variant<UserMap, std::string> readFile(const std::string& path);

  // The user of an address; empty when no line has it, or when it is none.
  [[nodiscard]] std::string userOf(std::string_view address) const;
  [[nodiscard]] std::size_t size() const noexcept;

 private:
  // By the length of the network, longest first.
  std::map<unsigned, std::unordered_map<IpAddress, std::string, IpAddressHash>, std::greater<>> networks_;
};

}  // namespace sifterra::icap
