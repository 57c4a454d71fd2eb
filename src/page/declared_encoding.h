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

// The first label that names an encoding in <meta charset=...> or <meta http-equiv=content-type
// content="...charset=...">, else the one in an XML declaration at the very start, which may name none;
// nothing when there is none.
[[nodiscard]] std::optional<std::string> declaredEncodingLabel(std::string_view bytes);

// The value after "charset=" in the content of a content-type meta tag.
[[nodiscard]] std::optional<std::string> charsetInContentType(std::string_view content);

}  // namespace sifterra
