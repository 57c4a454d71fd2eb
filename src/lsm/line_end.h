// line_end.h: where a line ends, a block of units at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace sifterra::lsm {

// The position of the first line feed, or the text's size.
[[nodiscard]] inline std::size_t lineEnd(std::u16string_view text) noexcept {
  constexpr std::size_t kBlock = 16;
  std::size_t i = 0;
  for (; i + kBlock <= text.size(); i += kBlock) {
    unsigned found = 0;
    for (std::size_t k = 0; k < kBlock; ++k) found |= static_cast<unsigned>(text[i + k] == u'\n');
    if (found != 0) break;
  }
  while (i < text.size() && text[i] != u'\n') ++i;
  return i;
}

}  // namespace sifterra::lsm
