// Unicode: ICU behind plain functions, with short cuts for ASCII, which most markup is.
#include "platform/Unicode.h"

#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/uniset.h>
#include <unicode/unistr.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace sifterra::platform {

namespace {

std::size_t asciiRun(const char* bytes, std::size_t size) noexcept {
  std::size_t i = 0;
  for (std::uint64_t word = 0; i + 8 <= size; i += 8) {
    std::memcpy(&word, bytes + i, 8);
    if ((word & 0x8080808080808080U) != 0) break;
  }
  while (i < size && static_cast<unsigned char>(bytes[i]) < 0x80) ++i;
  return i;
}

template <bool kLossy>
bool append(std::string_view bytes, std::u16string& out) {
  const std::size_t before = out.size();
  out.resize(before + bytes.size());  // a byte never gives more than one unit
  char16_t* to = out.data() + before;
  const auto size = static_cast<std::int64_t>(bytes.size());
  const auto* from = reinterpret_cast<const std::uint8_t*>(bytes.data());
  for (std::int64_t i = 0; i < size;) {
    const std::size_t run = asciiRun(bytes.data() + i, static_cast<std::size_t>(size - i));
    for (std::size_t k = 0; k < run; ++k)
      to[k] = static_cast<char16_t>(from[i + static_cast<std::int64_t>(k)]);
    to += run;
    i += static_cast<std::int64_t>(run);
    while (i < size && from[i] >= 0x80) {
      UChar32 c = 0;
      U8_NEXT(from, i, size, c);
      if (c < 0) {
        if (!kLossy) {
          out.resize(before);
          return false;
        }
        c = 0xFFFD;
      }
      if (c < 0x10000) {
        *to++ = static_cast<char16_t>(c);
      } else {
        *to++ = static_cast<char16_t>(U16_LEAD(c));
        *to++ = static_cast<char16_t>(U16_TRAIL(c));
      }
    }
  }
  out.resize(static_cast<std::size_t>(to - out.data()));
  return true;
}

}  // namespace

std::optional<std::u16string> utf16FromUTF8(std::string_view bytes) {
  std::u16string units;
  if (!append<false>(bytes, units)) return std::nullopt;
  return units;
}

std::u16string utf16FromUTF8Lossy(std::string_view bytes) {
  std::u16string units;
  append<true>(bytes, units);
  return units;
}

bool appendUTF16FromUTF8(std::string_view bytes, std::u16string& out) {
  return append<false>(bytes, out);
}

std::string utf8FromUTF16(std::u16string_view units) {
  std::string bytes;
  bytes.reserve(units.size() + units.size() / 8 + 16);
  for (std::size_t i = 0; i < units.size();) {
    if (units[i] < 0x80) {
      bytes.push_back(static_cast<char>(units[i++]));
      continue;
    }
    char32_t c = nextCharacter(units, i);
    if ((c & 0xFFFFF800) == 0xD800) c = 0xFFFD;
    char buffer[4];
    int length = 0;
    U8_APPEND_UNSAFE(buffer, length, static_cast<UChar32>(c));
    bytes.append(buffer, static_cast<std::size_t>(length));
  }
  return bytes;
}

bool isWhitespaceOrNewline(char32_t c) noexcept {
  if (c < 0x80) return c == ' ' || (c >= 9 && c <= 13);
  return c == 0x85 || (U_GET_GC_MASK(static_cast<UChar32>(c)) & U_GC_Z_MASK) != 0;
}

bool isSymbol(char32_t c) noexcept {
  return (U_GET_GC_MASK(static_cast<UChar32>(c)) & U_GC_S_MASK) != 0;
}

std::u16string_view trimmedWhitespaceAndNewlines(std::u16string_view text) noexcept {
  // White space has no character outside the BMP, so units can be tested one by one.
  while (!text.empty() && isWhitespaceOrNewline(text.front())) text.remove_prefix(1);
  while (!text.empty() && isWhitespaceOrNewline(text.back())) text.remove_suffix(1);
  return text;
}

std::u16string lowercased(std::u16string_view text) {
  icu::UnicodeString lower(text.data(), static_cast<std::int32_t>(text.size()));
  lower.toLower(icu::Locale::getRoot());
  return std::u16string(lower.getBuffer(), static_cast<std::size_t>(lower.length()));
}

char32_t simpleFold(char32_t c) noexcept {
  if (c < 0x80) return c >= 'A' && c <= 'Z' ? c + 0x20 : c;
  return static_cast<char32_t>(u_foldCase(static_cast<UChar32>(c), U_FOLD_CASE_DEFAULT));
}

char32_t nextCharacter(std::u16string_view text, std::size_t& index) noexcept {
  const char16_t first = text[index++];
  if ((first & 0xFC00) == 0xD800 && index < text.size() && (text[index] & 0xFC00) == 0xDC00) {
    return static_cast<char32_t>(U16_GET_SUPPLEMENTARY(first, text[index++]));
  }
  return first;
}

bool equalIgnoringCase(std::u16string_view a, std::u16string_view b) noexcept {
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < a.size() && j < b.size()) {
    if (simpleFold(nextCharacter(a, i)) != simpleFold(nextCharacter(b, j))) return false;
  }
  return i == a.size() && j == b.size();
}

std::size_t findIgnoringCase(std::u16string_view text, std::u16string_view needle,
                             std::size_t from) noexcept {
  if (needle.empty()) return std::u16string_view::npos;
  for (std::size_t start = from; start < text.size();) {
    std::size_t i = start;
    std::size_t j = 0;
    while (i < text.size() && j < needle.size() &&
           simpleFold(nextCharacter(text, i)) == simpleFold(nextCharacter(needle, j))) {
    }
    std::size_t check = 0;
    (void)check;
    if (j == needle.size() && equalIgnoringCase(text.substr(start, i - start), needle)) return start;
    (void)nextCharacter(text, start);
  }
  return std::u16string_view::npos;
}

}  // namespace sifterra::platform
