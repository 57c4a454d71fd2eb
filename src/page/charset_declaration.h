// charset_declaration.h: the one charset declaration that decides how the parser decodes a page.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace sifterra {

// The value behind the first "charset=" of the page, in any ASCII case, wherever it stands. Only a double
// quote ends it. Nothing when there is no declaration, no end or no value.
[[nodiscard]] std::optional<std::string_view> declaredCharset(std::string_view page) noexcept;

using EncodingName = std::array<char, 32>;  // zero-terminated

// The name for the parser; nothing when it is too long or not ASCII.
[[nodiscard]] std::optional<EncodingName> encodingNameForParser(std::string_view canonicalName) noexcept;

}  // namespace sifterra
