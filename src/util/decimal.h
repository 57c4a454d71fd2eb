// decimal.h: whole numbers as UTF-16 text.
#pragma once

#include <concepts>
#include <string>

namespace sifterra {

template <std::integral Number>
[[nodiscard]] std::u16string decimalString(Number number) {
  const std::string digits = std::to_string(number);
  return {digits.begin(), digits.end()};
}

}  // namespace sifterra
