// UnicodeConversion: between UTF-8 and UTF-16.
//
// Markup is mostly ASCII, so both directions look at a block of units at once and take the slow way from the
// first one that is not. The room is counted before it is filled: over-allocating by the worst case would
// cost a Chinese page three times its size.
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <type_traits>

#include "platform/Unicode.h"

namespace sifterra::platform {
namespace {

constexpr std::size_t kBlock = 16;  // one vector register of bytes, two of UTF-16 units
constexpr char32_t kReplacement = 0xFFFD;

bool isASCIIBlock(const char* bytes) noexcept {
  std::uint64_t words[2];
  std::memcpy(words, bytes, sizeof words);
  return ((words[0] | words[1]) & 0x8080808080808080U) == 0;
}

bool isASCIIBlock(const char16_t* units) noexcept {
  std::uint64_t words[4];
  std::memcpy(words, units, sizeof words);
  return ((words[0] | words[1] | words[2] | words[3]) & 0xFF80FF80FF80FF80U) == 0;
}

// Loops over a whole block have a constant count and work on copies, so that compilers make vector
// instructions of them without weighing costs or asking whether the buffers overlap.

void widenBlock(const char* bytes, char16_t* to) noexcept {
  std::array<unsigned char, kBlock> narrow;
  std::array<char16_t, kBlock> wide;
  std::memcpy(narrow.data(), bytes, sizeof narrow);
  for (std::size_t i = 0; i < kBlock; ++i) wide[i] = narrow[i];
  std::memcpy(to, wide.data(), sizeof wide);
}

void narrowBlock(const char16_t* units, char* to) noexcept {
  std::array<char16_t, kBlock> wide;
  std::array<unsigned char, kBlock> narrow;
  std::memcpy(wide.data(), units, sizeof wide);
  for (std::size_t i = 0; i < kBlock; ++i) narrow[i] = static_cast<unsigned char>(wide[i]);
  std::memcpy(to, narrow.data(), sizeof narrow);
}

// The sum of what `count` says of each element, in blocks; no block may sum up to more than an element holds.
template <class Element, class Count>
std::size_t sum(std::basic_string_view<Element> text, Count count) noexcept {
  using Number = std::make_unsigned_t<std::conditional_t<sizeof(Element) == 1, signed char, short>>;
  std::size_t total = 0;
  std::size_t at = 0;
  for (; text.size() - at >= kBlock; at += kBlock) {
    Number block = 0;
    for (std::size_t i = 0; i < kBlock; ++i) {
      block = static_cast<Number>(block + count(static_cast<Number>(text[at + i])));
    }
    total += block;
  }
  for (; at < text.size(); ++at) total += static_cast<std::size_t>(count(static_cast<Number>(text[at])));
  return total;
}

// What well-formed UTF-8 becomes: a unit for each byte that begins a character, two for one of four bytes.
std::size_t countUTF16(std::string_view bytes) noexcept {
  return sum(bytes, [](unsigned char byte) { return ((byte & 0xC0) != 0x80) + (byte >= 0xF0); });
}

// At least what the units become: a surrogate is counted like any other unit of three bytes, so a pair has
// two bytes to spare.
std::size_t countUTF8(std::u16string_view units) noexcept {
  return sum(units, [](unsigned short unit) { return 1 + (unit >= 0x80) + (unit >= 0x800); });
}

// Writes the UTF-16 form of the bytes from `at` on, up to the first part that is ill formed, and moves both
// positions on. Never writes more than countUTF16 of what it read.
void convert(std::string_view bytes, std::size_t& at, char16_t*& to) noexcept {
  const auto* from = reinterpret_cast<const std::uint8_t*>(bytes.data());
  const std::size_t size = bytes.size();
  while (at < size) {
    while (size - at >= kBlock && isASCIIBlock(bytes.data() + at)) {
      widenBlock(bytes.data() + at, to);
      to += kBlock;
      at += kBlock;
    }
    // At most one block of ASCII by single bytes, or text of another script to its end.
    const std::size_t end = std::min(size, at + kBlock);
    while (at < end) {
      std::size_t next = at;
      UChar32 c = 0;
      U8_NEXT(from, next, size, c);
      if (c < 0) return;
      if (c < 0x10000) {
        *to++ = static_cast<char16_t>(c);
      } else {
        *to++ = U16_LEAD(c);
        *to++ = U16_TRAIL(c);
      }
      at = next;
    }
  }
}

// Steps over one maximal ill-formed part: what could still have become a character, or one byte.
void skipIllFormed(std::string_view bytes, std::size_t& at) noexcept {
  const auto* from = reinterpret_cast<const std::uint8_t*>(bytes.data());
  UChar32 c = 0;
  U8_NEXT(from, at, bytes.size(), c);
  (void)c;
}

}  // namespace

bool appendUTF16FromUTF8(std::string_view bytes, std::u16string& out) {
  const std::size_t before = out.size();
  out.resize(before + countUTF16(bytes));
  char16_t* to = out.data() + before;
  std::size_t at = 0;
  convert(bytes, at, to);
  out.resize(at == bytes.size() ? static_cast<std::size_t>(to - out.data()) : before);
  return at == bytes.size();
}

std::optional<std::u16string> utf16FromUTF8(std::string_view bytes) {
  std::u16string units;
  if (!appendUTF16FromUTF8(bytes, units)) return std::nullopt;
  return units;
}

std::u16string utf16FromUTF8Lossy(std::string_view bytes) {
  std::u16string units;
  if (appendUTF16FromUTF8(bytes, units)) return units;
  units.resize(bytes.size());  // each byte makes one unit at most
  char16_t* to = units.data();
  std::size_t at = 0;
  for (convert(bytes, at, to); at < bytes.size(); convert(bytes, at, to)) {
    skipIllFormed(bytes, at);
    *to++ = kReplacement;
  }
  units.resize(static_cast<std::size_t>(to - units.data()));
  return units;
}

void appendUTF8FromUTF16(std::u16string_view units, std::string& out) {
  const std::size_t before = out.size();
  out.resize(before + countUTF8(units));
  char* to = out.data() + before;
  for (std::size_t at = 0; at < units.size();) {
    while (units.size() - at >= kBlock && isASCIIBlock(units.data() + at)) {
      narrowBlock(units.data() + at, to);
      to += kBlock;
      at += kBlock;
    }
    const std::size_t end = std::min(units.size(), at + kBlock);
    while (at < end) {
      char32_t c = nextCharacter(units, at);
      if (U16_IS_SURROGATE(c)) c = kReplacement;
      std::size_t length = 0;
      U8_APPEND_UNSAFE(to, length, c);
      to += length;
    }
  }
  out.resize(static_cast<std::size_t>(to - out.data()));
}

std::string utf8FromUTF16(std::u16string_view units) {
  std::string bytes;
  appendUTF8FromUTF16(units, bytes);
  return bytes;
}

bool isASCII(std::u16string_view units) noexcept {
  std::size_t at = 0;
  while (units.size() - at >= kBlock && isASCIIBlock(units.data() + at)) at += kBlock;
  return std::all_of(units.begin() + static_cast<std::ptrdiff_t>(at), units.end(),
                     [](char16_t unit) { return unit < 0x80; });
}

}  // namespace sifterra::platform
