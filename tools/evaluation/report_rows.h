// report_rows: the rows that the reports have in common.
#pragma once

#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

#include "evaluation/metrics.h"

namespace sifterra::tools {

inline constexpr std::array<double, 4> kFixedRecalls = {0.90, 0.95, 0.97, 0.99};
inline constexpr std::array<double, 3> kFixedFalsePositiveRates = {0.001, 0.005, 0.01};

// Not a number where there was nothing to count.
[[nodiscard]] inline double share(std::size_t part, std::size_t whole) {
  if (whole == 0) return std::numeric_limits<double>::quiet_NaN();
  return static_cast<double>(part) / static_cast<double>(whole);
}

// "97.35%", "-" where there was nothing to count.
[[nodiscard]] inline std::string percent(double rate) {
  if (std::isnan(rate)) return "-";
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.2f%%", 100 * rate);
  return text.data();
}

// "0.9984", "-" where there is none.
[[nodiscard]] inline std::string fourDigits(double value) {
  if (std::isnan(value)) return "-";
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.4f", value);
  return text.data();
}

// "+1.25"
[[nodiscard]] inline std::string signedPoints(double points) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%+.2f", points);
  return text.data();
}

// "0.0123"; chances below 0.0001 are told as such.
[[nodiscard]] inline std::string chanceText(double chance) {
  return chance < 0.0001 ? "below 0.0001" : fourDigits(chance);
}

// "0.18% to 0.71%"
[[nodiscard]] inline std::string intervalText(std::size_t hits, std::size_t trials) {
  const Interval interval = wilsonInterval(hits, trials);
  return percent(interval.low) + " to " + percent(interval.high);
}

}  // namespace sifterra::tools
