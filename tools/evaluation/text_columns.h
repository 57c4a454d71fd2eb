// text_columns: columns of the reports for a terminal.
#pragma once

#include <string>

namespace sifterra::tools {

// Blanks before the text, or behind it; a longer text keeps its length, and behind it stands at least one.
[[nodiscard]] inline std::string right(const std::string& text, std::size_t width) {
  return std::string(text.size() < width ? width - text.size() : 0, ' ') + text;
}
[[nodiscard]] inline std::string left(const std::string& text, std::size_t width) {
  return text + std::string(text.size() < width ? width - text.size() : 1, ' ');
}

}  // namespace sifterra::tools
