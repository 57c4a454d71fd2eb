// Unicode.h: character classes, case, normalisation and the UTF conversions.
//
// ICU stands behind it; no ICU type shows here. Text is UTF-16; a lone surrogate is a character of its own
// and passes through everything but the conversion to UTF-8, which cannot spell it. One text holds fewer than
// 2^31 units: ICU counts in 32 bits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sifterra::platform {

// Conversions (UnicodeConversion.cpp).

// UTF-8 to UTF-16; nothing when the bytes are not well formed (RFC 3629: no surrogates, nothing overlong,
// nothing above U+10FFFF).
[[nodiscard]] std::optional<std::u16string> utf16FromUTF8(std::string_view bytes);
// UTF-8 to UTF-16 with U+FFFD for each maximal ill-formed part.
[[nodiscard]] std::u16string utf16FromUTF8Lossy(std::string_view bytes);
// Appends the UTF-16 form of well-formed UTF-8; false, with `out` unchanged, when it is not.
bool appendUTF16FromUTF8(std::string_view bytes, std::u16string& out);
// UTF-16 to UTF-8 with U+FFFD for lone surrogates.
[[nodiscard]] std::string utf8FromUTF16(std::u16string_view units);
void appendUTF8FromUTF16(std::u16string_view units, std::string& out);
// Whether no unit is above U+007F.
[[nodiscard]] bool isASCII(std::u16string_view units) noexcept;

// The character that starts at `index` (a lone surrogate is itself); advances `index` past it.
[[nodiscard]] inline char32_t nextCharacter(std::u16string_view text, std::size_t& index) noexcept {
  const char32_t first = text[index++];
  if ((first & 0xFC00) != 0xD800 || index >= text.size() || (text[index] & 0xFC00) != 0xDC00) return first;
  return 0x10000 + ((first - 0xD800) << 10) + (static_cast<char32_t>(text[index++]) - 0xDC00);
}
// Appends the one or two units of a character up to U+10FFFF.
inline void appendCharacter(char32_t c, std::u16string& out) {
  if (c < 0x10000) {
    out += static_cast<char16_t>(c);
  } else {
    out += static_cast<char16_t>(0xD7C0 + (c >> 10));
    out += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
  }
}

// Classes (Unicode.cpp). Numbers that are no characters are of no class.

// General category Z, tab to carriage return, U+0085.
[[nodiscard]] bool isWhitespaceOrNewline(char32_t c) noexcept;
[[nodiscard]] bool isSymbol(char32_t c) noexcept;           // Sm, Sc, Sk, So
[[nodiscard]] bool isLetter(char32_t c) noexcept;           // Lu, Ll, Lt, Lm, Lo
[[nodiscard]] bool isMark(char32_t c) noexcept;             // Mn, Mc, Me
[[nodiscard]] bool isDecimalDigit(char32_t c) noexcept;     // Nd
[[nodiscard]] bool isFormatCharacter(char32_t c) noexcept;  // Cf: joiners, directions, soft hyphen
// The value of a decimal digit of any script; -1 for other characters.
[[nodiscard]] int decimalDigitValue(char32_t c) noexcept;

// The writing system that a character belongs to (Unicode's Script property).
enum class Script : std::uint8_t {
  Common,     // used with many: digits, punctuation, symbols
  Inherited,  // marks that go with the character before
  Latin,
  Greek,
  Cyrillic,
  Han,
  Hiragana,
  Katakana,
  Bopomofo,
  Hangul,
  Thai,
  Lao,
  Khmer,
  Myanmar,
  Arabic,
  Hebrew,
  Devanagari,
  Bengali,
  Tamil,
  Telugu,
  Gujarati,
  Gurmukhi,
  Kannada,
  Malayalam,
  Sinhala,
  Georgian,
  Armenian,
  Ethiopic,
  Tibetan,
  Mongolian,
  Other,  // one that is not named here, or none
};
[[nodiscard]] Script unicodeScript(char32_t c) noexcept;

// The text without white space and newlines at both ends.
[[nodiscard]] std::u16string_view trimmedWhitespaceAndNewlines(std::u16string_view text) noexcept;

// Case (UnicodeCase.cpp).

// Full Unicode lower-casing, no locale.
[[nodiscard]] std::u16string lowercased(std::u16string_view text);
// Simple case folding of one character.
[[nodiscard]] char32_t simpleFold(char32_t c) noexcept;
// Whether both texts are equal after simple folding, character by character.
[[nodiscard]] bool equalIgnoringCase(std::u16string_view a, std::u16string_view b) noexcept;
// First match of `needle` at or after `from`, after simple folding, starting and ending on a character
// boundary; std::u16string_view::npos when there is none or the needle is empty. The match has as many units
// as the needle.
[[nodiscard]] std::size_t findIgnoringCase(std::u16string_view text, std::u16string_view needle,
                                           std::size_t from = 0) noexcept;

// Normalisation (UnicodeNormalization.cpp). Each appends to `out`, which `text` must not be a part of; ASCII
// is copied without asking ICU.

void appendNFKC(std::u16string_view text, std::u16string& out);            // compatibility composition
void appendFullCaseFolded(std::u16string_view text, std::u16string& out);  // U+00DF gives "ss"
// Both at once, Unicode's NFKC_Casefold: also drops default-ignorable characters (soft hyphen, joiners,
// variation selectors).
void appendNFKCCaseFolded(std::u16string_view text, std::u16string& out);

}  // namespace sifterra::platform
