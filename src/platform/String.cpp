// String: construction and UTF-8 at the rim; the conversions themselves are in Unicode.cpp.
#include "sifterra/platform/String.h"

#include <optional>
#include <utility>

#include "platform/Unicode.h"

namespace sifterra::platform {

String::String(std::u16string units) : units_(std::make_shared<const std::u16string>(std::move(units))) {}

String::String(std::u16string_view units) : String(std::u16string(units)) {}

String::String(const char16_t* literal) : String(std::u16string(literal)) {}

String String::fromUTF8(std::string_view bytes) {
  std::optional<std::u16string> units = utf16FromUTF8(bytes);
  return units ? String(std::move(*units)) : String();
}

String String::fromUTF8Lossy(std::string_view bytes) {
  return String(utf16FromUTF8Lossy(bytes));
}

std::string String::toUTF8() const {
  return utf8FromUTF16(view());
}

}  // namespace sifterra::platform
