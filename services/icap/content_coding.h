// content_coding: the codings that a Content-Encoding header lists.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sifterra::icap {

enum class Coding { Gzip, Deflate, Brotli, Zstd };

inline constexpr std::size_t kMostCodings = 4;  // one over the other

// Adds the codings of a header's value to the list, in the order in which they were applied; "identity" is
// none. False when one is unknown, or when there are more than kMostCodings.
[[nodiscard]] bool addCodings(std::string_view value, std::vector<Coding>* codings);

// What stays of an Accept-Encoding header when the server may only choose codings that can be undone here;
// nothing when that is all of it.
[[nodiscard]] std::optional<std::string> readableEncodings(std::string_view acceptEncoding);

}  // namespace sifterra::icap
