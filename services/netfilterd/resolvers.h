// resolvers: the name servers that this machine asks, for managed users are to ask no other.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace sifterra::netfilterd {

// The addresses of the lines "nameserver ADDRESS" of a file in the form of /etc/resolv.conf, without the zone
// of a link ("%eth0"); lines that are not of that form are passed over, as the system does.
[[nodiscard]] std::vector<std::string> resolversOf(std::string_view text);

// Whether the text is an IPv4 or IPv6 address.
[[nodiscard]] bool isAddress(const std::string& text);

}  // namespace sifterra::netfilterd
