// compressed: bodies in the content codings of HTTP.
#pragma once

#include <string>
#include <string_view>

namespace sifterra::icap {

[[nodiscard]] std::string gzipped(std::string_view bytes);
[[nodiscard]] std::string zlibDeflated(std::string_view bytes);
[[nodiscard]] std::string bareDeflated(std::string_view bytes);
[[nodiscard]] std::string brotliCompressed(std::string_view bytes);
[[nodiscard]] std::string zstdCompressed(std::string_view bytes, int windowLog = 0);

}  // namespace sifterra::icap
