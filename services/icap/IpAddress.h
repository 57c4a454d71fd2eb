// IpAddress: addresses and networks of both kinds; IPv4 stands as ::ffff:a.b.c.d.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sifterra::icap {

struct IpAddress {
  std::array<std::uint8_t, 16> bytes{};

  // "192.0.2.7", "2001:db8::7"; nothing for any other text.
  [[nodiscard]] static std::optional<IpAddress> parse(std::string_view text);
  // The network's address: all bits behind the first `prefix` ones are 0.
  [[nodiscard]] IpAddress masked(unsigned prefix) const;
  [[nodiscard]] std::string text() const;
  [[nodiscard]] bool isIPv4() const;
  friend bool operator==(const IpAddress&, const IpAddress&) = default;
};

struct IpAddressHash {
  [[nodiscard]] std::size_t operator()(const IpAddress& address) const noexcept;
};

inline constexpr unsigned kIPv4Bits = 96;  // in front of an IPv4 address

}  // namespace sifterra::icap
