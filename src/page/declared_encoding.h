// declared_encoding.h: the character encoding that a page declares for itself, as browsers read it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sifterra {

// The bytes at the start that are searched whatever they hold; further on the search ends at the first
// tag that cannot stand in a page's head.
inline constexpr std::size_t kDeclarationBytes = 1024;
inline constexpr std::size_t kMostDeclarationBytes = 64 * 1024;

// The label in <meta charset=...>, in <meta http-equiv=content-type content="...charset=..."> else in an XML
// declaration at the very start; nothing when there is none. Unchecked: it may
// name no encoding.
[[nodiscard]] std::optional<std::string> declaredEncodingLabel(std::string_view bytes);

// The value after "charset=" in the content of a content-type meta tag.
[[nodiscard]] std::optional<std::string> charsetInContentType(std::string_view content);

}  // namespace sifterra
