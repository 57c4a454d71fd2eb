// text_cut: where the beginning of a page can be cut off without cutting a character in two.
#pragma once

#include <cstddef>
#include <string_view>

namespace sifterra::icap {

// The charset by which characters are told apart: a byte-order mark, then the one that the header names, then
// the one that the first 1024 bytes declare, then none. A view into one of the arguments or a literal.
[[nodiscard]] std::string_view charsetForCutting(std::string_view page, std::string_view headerCharset);

// Whether a charset of that name is UTF-16.
[[nodiscard]] bool isUtf16(std::string_view charset);

// The length of the longest beginning of the page, at most limit bytes, that ends with a whole character. In
// a charset it does not know every byte is one.
[[nodiscard]] std::size_t cutAtCharacter(std::string_view page, std::size_t limit, std::string_view charset);

}  // namespace sifterra::icap
