// unit_search.h: finding one UTF-16 unit, in blocks that become vector instructions.
//
// std::u16string_view::find looks at one unit at a time.
#pragma once

#include <cstddef>
#include <string_view>

namespace sifterra {

// The first position at or after `from` that holds the unit, npos when there is none.
[[nodiscard]] inline std::size_t findUnit(std::u16string_view text, char16_t unit,
                                          std::size_t from = 0) noexcept {
  constexpr std::size_t kBlock = 16;
  if (from >= text.size()) return std::u16string_view::npos;
  const char16_t* units = text.data();
  for (; text.size() - from >= kBlock; from += kBlock) {
    unsigned short any = 0;
    for (std::size_t i = 0; i < kBlock; ++i) {
      any = static_cast<unsigned short>(any | static_cast<unsigned short>(-(units[from + i] == unit)));
    }
    if (any != 0) break;
  }
  for (; from < text.size(); ++from) {
    if (units[from] == unit) return from;
  }
  return std::u16string_view::npos;
}

}  // namespace sifterra
