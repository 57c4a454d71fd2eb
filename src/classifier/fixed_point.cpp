// fixed_point: printing through std::to_chars, which knows no locale.
#include "classifier/fixed_point.h"

#include <array>
#include <charconv>
#include <cmath>

namespace sifterra {

std::string fixedPoint(float value, int decimals) {
  if (std::isnan(value)) return "nan";
  std::array<char, 64> buffer;  // the largest float has 39 digits before the point
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), static_cast<double>(value),
                                 std::chars_format::fixed, decimals);
  return std::string(buffer.data(), end.ptr);
}

}  // namespace sifterra
