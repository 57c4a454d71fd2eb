// ascii_text: small things about header text, whatever the locale.
#pragma once

#include <string>
#include <string_view>

namespace sifterra::icap {

[[nodiscard]] constexpr bool isDigit(char c) {
  return c >= '0' && c <= '9';
}
[[nodiscard]] constexpr bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
[[nodiscard]] constexpr bool isAlphanumeric(char c) {
  return isDigit(c) || isLetter(c);
}
[[nodiscard]] constexpr char lowerCase(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
[[nodiscard]] constexpr int hexValue(char c) {
  if (isDigit(c)) return c - '0';
  const char lower = lowerCase(c);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

[[nodiscard]] inline std::string lowerCase(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = lowerCase(c);
  return lower;
}

[[nodiscard]] constexpr bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (lowerCase(a[i]) != lowerCase(b[i])) return false;
  return true;
}

// Without blanks, tabs and line ends around it.
[[nodiscard]] constexpr std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlank = " \t\r\n";
  const std::size_t begin = text.find_first_not_of(kBlank);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlank) - begin + 1);
}

// Cuts the part up to the separator off the front of the list and answers it, trimmed.
[[nodiscard]] constexpr std::string_view takePart(std::string_view* list, char separator) {
  const std::size_t end = list->find(separator);
  const std::string_view part = trimmed(list->substr(0, end));
  *list = end == std::string_view::npos ? std::string_view() : list->substr(end + 1);
  return part;
}

}  // namespace sifterra::icap
