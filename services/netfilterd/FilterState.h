// FilterState: what programs told the filter through the control socket. It outlives the daemon.
//
// The control protocol knows one managed user and one proxy for each version of IP. Users of the
// configuration have ports of their own and stand beside the one of the protocol.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sifterra::netfilterd {

struct ProxyAddress {
  std::array<std::uint8_t, 16> bytes{};  // an IPv4 address takes the first four
  std::uint16_t port = 0;
  friend bool operator==(const ProxyAddress&, const ProxyAddress&) = default;
};

struct FilterState {
  std::optional<std::uint32_t> managedUser;
  std::optional<ProxyAddress> ipv4Proxy;
  std::optional<ProxyAddress> ipv6Proxy;
  bool httpsFiltering = false;
  friend bool operator==(const FilterState&, const FilterState&) = default;
};

// Written as JSON with addresses as text: an administrator can read it.
[[nodiscard]] std::string stateText(const FilterState& state);
// Nothing, and in `problem` what is wrong, when the text is no state.
[[nodiscard]] std::optional<FilterState> stateOf(std::string_view text, std::string& problem);

// The values of the protocol's options 1 to 3, byte for byte as they cross the socket; a value of the wrong
// length, family or port is none. Option 1 with user 0 means: nobody.
[[nodiscard]] bool setManagedUser(FilterState& state, std::string_view value);
[[nodiscard]] bool setIPv4Proxy(FilterState& state, std::string_view value);
[[nodiscard]] bool setIPv6Proxy(FilterState& state, std::string_view value);
[[nodiscard]] std::string managedUserValue(const FilterState& state);
[[nodiscard]] std::string ipv4ProxyValue(const FilterState& state);
[[nodiscard]] std::string ipv6ProxyValue(const FilterState& state);

}  // namespace sifterra::netfilterd
