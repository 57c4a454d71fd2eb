// content_coding: the codings that a Content-Encoding header lists.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

namespace sifterra::icap {

enum class Coding { Gzip, Deflate, Brotli, Zstd };

inline constexpr std::size_t kMostCodings = 4;  // one over the other

// Adds the codings of a header's value to the list, in the order in which they were applied; "identity" is
// none. False when one is unknown, or when there are more than kMostCodings.
[[nodiscard]] bool addCodings(std::string_view value, std::vector<Coding>* codings);

}  // namespace sifterra::icap
