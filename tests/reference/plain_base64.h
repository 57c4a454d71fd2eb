// plain_base64.h: base64 bit by bit, without a library.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace sifterra::reference {

inline constexpr std::string_view kBase64Alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

inline std::string encodedBase64(std::string_view bytes) {
  std::string bits;
  for (const char byte : bytes) {
    for (int i = 7; i >= 0; --i) bits += (static_cast<unsigned char>(byte) >> i & 1) != 0 ? '1' : '0';
  }
  while (bits.size() % 6 != 0) bits += '0';
  std::string text;
  for (std::size_t i = 0; i < bits.size(); i += 6)
    text += kBase64Alphabet[std::stoul(bits.substr(i, 6), nullptr, 2)];
  while (text.size() % 4 != 0) text += '=';
  return text;
}

inline std::optional<std::string> decodedBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  std::string bits;
  std::size_t padding = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::size_t value = kBase64Alphabet.find(text[i]);
    if (value == std::string_view::npos) {
      if (text[i] != '=' || i + 2 < text.size()) return std::nullopt;
      ++padding;
      continue;
    }
    if (padding > 0) return std::nullopt;
    for (int bit = 5; bit >= 0; --bit) bits += (value >> bit & 1) != 0 ? '1' : '0';
  }
  std::string bytes;
  for (std::size_t i = 0; i + 8 <= bits.size(); i += 8)
    bytes += static_cast<char>(std::stoul(bits.substr(i, 8), nullptr, 2));
  return bytes;
}

}  // namespace sifterra::reference
