// Range: a run of UTF-16 code units in a string.
#pragma once

#include <cstdint>

namespace sifterra {

struct Range {
  std::uint64_t location = 0;
  std::uint64_t length = 0;

  // The location that stands for "not found": the largest signed 64-bit number, so that clients that
  // keep locations in signed integers see it as a positive one.
  static constexpr std::uint64_t kNotFound = 0x7fffffffffffffff;

  [[nodiscard]] static constexpr Range notFound() noexcept { return {kNotFound, 0}; }
  [[nodiscard]] constexpr bool found() const noexcept { return location != kNotFound; }
  // The first position after the range.
  [[nodiscard]] constexpr std::uint64_t end() const noexcept { return location + length; }

  friend constexpr bool operator==(const Range&, const Range&) noexcept = default;
};

}  // namespace sifterra
