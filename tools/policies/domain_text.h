// domain_text: which texts name a host.
#pragma once

#include <string_view>

namespace sifterra::tools {

// Four numbers from 0 to 255 with dots between them.
[[nodiscard]] bool isIPv4Address(std::string_view text);
// Hexadecimal groups with colons, without brackets; what hosts files begin their lines with.
[[nodiscard]] bool isIPv6Address(std::string_view text);
// Labels of letters, digits, "-" and "_" (in use, if not allowed), 1 to 63 bytes each, 253 in all, with dots
// between them and none at the end.
[[nodiscard]] bool isDomainName(std::string_view text);

}  // namespace sifterra::tools
