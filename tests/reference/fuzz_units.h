// fuzz_units.h: UTF-16 text, lone surrogates included, from a fuzzer's bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Unicode.h"

namespace sifterra::reference {

// UTF-8 with U+FFFD for what is malformed; a first byte of 0xff makes the rest big-endian units.
inline std::u16string unitsFrom(const std::uint8_t* data, std::size_t size) {
  if (size == 0 || data[0] != 0xff) {
    return platform::utf16FromUTF8Lossy(std::string_view(reinterpret_cast<const char*>(data), size));
  }
  std::u16string text;
  for (std::size_t i = 1; i + 1 < size; i += 2) {
    text.push_back(static_cast<char16_t>(data[i] << 8 | data[i + 1]));
  }
  return text;
}

// The text's first `count` lines as fields, the last one with all the rest; missing ones are empty.
inline std::vector<std::u16string> fieldsOf(std::u16string text, std::size_t count) {
  std::vector<std::u16string> fields(count);
  for (std::size_t i = 0; i + 1 < count; ++i) {
    const std::size_t end = text.find(u'\n');
    fields[i] = text.substr(0, end);
    text = end == std::u16string::npos ? u"" : text.substr(end + 1);
  }
  fields.back() = text;
  return fields;
}

}  // namespace sifterra::reference
