// ascii: the case and white space of protocol text, whatever the locale.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace sifterra::tools {

[[nodiscard]] constexpr char asciiLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

[[nodiscard]] constexpr char asciiUpper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
}

[[nodiscard]] inline std::string asciiLower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = asciiLower(c);
  return lower;
}

// Equal but for case.
[[nodiscard]] inline bool asciiEqual(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return asciiLower(x) == asciiLower(y); });
}

// Without the spaces, tabs and line ends around it.
[[nodiscard]] inline std::string_view asciiTrim(std::string_view text) {
  constexpr std::string_view kSpace = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

}  // namespace sifterra::tools
