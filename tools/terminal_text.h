// terminal_text: names and values from outside, as a terminal may show them.
#pragma once

#include <string>
#include <string_view>

namespace sifterra::tools {

// Control characters as "?": an address in an archive and the name of a file can hold sequences that command
// a terminal, or a line end that forges a message.
[[nodiscard]] inline std::string harmless(std::string_view text) {
  std::string shown;
  shown.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    // U+0080 to U+009F are two bytes of UTF-8.
    const bool c1 =
        c == 0xc2 && i + 1 < text.size() && (static_cast<unsigned char>(text[i + 1]) & 0xe0U) == 0x80;
    if (c1) ++i;
    shown += c < 0x20 || c == 0x7f || c1 ? '?' : text[i];
  }
  return shown;
}

}  // namespace sifterra::tools
