// Base64.h: the base64 transform of RFC 4648 with its usual alphabet and "=" padding.
//
// Strict both ways: one line out, and in only what an encoder writes: no white space, no foreign characters,
// full padding, nothing behind it. Bits of the last character that carry nothing may have any value, as other
// encoders leave them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sifterra::platform {

[[nodiscard]] std::string base64Encoded(std::string_view bytes);
// The bytes that the text spells; nothing when it is not base64.
[[nodiscard]] std::optional<std::string> base64Decoded(std::string_view text);

}  // namespace sifterra::platform
