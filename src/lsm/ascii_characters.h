// ascii_characters.h: what an ASCII character is to the tokeniser, by table.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace sifterra::lsm::ascii {

// What an ASCII character is, as bits; 0 parts runs.
enum : unsigned { kLetter = 1, kDigit = 2, kSign = 4, kQuote = 8, kJoiner = 16 };
inline constexpr unsigned kRunKinds = kLetter | kDigit | kSign | kQuote;

struct AsciiCharacter {
  std::uint8_t kind;
  char folded;
};

constexpr std::array<AsciiCharacter, 128> asciiTable() {
  std::array<AsciiCharacter, 128> table{};
  for (std::size_t i = 0; i < table.size(); ++i) {
    const char c = static_cast<char>(i);
    unsigned kind = 0;
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) kind = kLetter;
    if (c >= '0' && c <= '9') kind = kDigit;
    if (c == '@' || c == '$' || c == '!') kind = kSign;
    if (c == '\'') kind = kQuote;
    if (c == ' ' || (c >= '\t' && c <= '\r') || c == '.' || c == '*' || c == '|' || c == '/' || c == '_' ||
        c == '-') {
      kind = kJoiner;
    }
    table[i] = {static_cast<std::uint8_t>(kind),
                c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c};
  }
  return table;
}
inline constexpr std::array<AsciiCharacter, 128> kAscii = asciiTable();

[[nodiscard]] inline unsigned kindOf(char c) noexcept {
  const auto value = static_cast<unsigned char>(c);
  return value < kAscii.size() ? kAscii[value].kind : 0;
}

[[nodiscard]] inline bool isLetterOrDigit(char c) noexcept {
  return (kindOf(c) & (kLetter | kDigit)) != 0;
}

}  // namespace sifterra::lsm::ascii
