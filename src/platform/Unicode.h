// Unicode.h: character classes, case, normalisation and the UTF conversions.
//
// ICU stands behind it; no ICU type shows here. Text is UTF-16, lone surrogates
// are passed through as characters of their own.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace sifterra::platform {

// UTF-8 to UTF-16; nothing when the bytes are not well formed.
[[nodiscard]] std::optional<std::u16string> utf16FromUTF8(std::string_view bytes);
// UTF-8 to UTF-16 with U+FFFD for each maximal ill-formed part.
[[nodiscard]] std::u16string utf16FromUTF8Lossy(std::string_view bytes);
// Appends the UTF-16 form of well-formed UTF-8; false, with `out` unchanged, when it is not.
bool appendUTF16FromUTF8(std::string_view bytes, std::u16string& out);
// UTF-16 to UTF-8 with U+FFFD for lone surrogates.
[[nodiscard]] std::string utf8FromUTF16(std::u16string_view units);

// General category Z, tab to carriage return, U+0085.
[[nodiscard]] bool isWhitespaceOrNewline(char32_t c) noexcept;
// General categories Sm, Sc, Sk, So.
[[nodiscard]] bool isSymbol(char32_t c) noexcept;

// The text without white space and newlines at both ends.
[[nodiscard]] std::u16string_view trimmedWhitespaceAndNewlines(std::u16string_view text) noexcept;

// Full Unicode lower-casing, no locale.
[[nodiscard]] std::u16string lowercased(std::u16string_view text);
// Simple case folding of one character.
[[nodiscard]] char32_t simpleFold(char32_t c) noexcept;
// Whether both texts are equal after simple folding, character by character.
[[nodiscard]] bool equalIgnoringCase(std::u16string_view a, std::u16string_view b) noexcept;
// First match of `needle` at or after `from`, after simple folding, starting on a character
// boundary; std::u16string_view::npos when there is none or the needle is empty.
[[nodiscard]] std::size_t findIgnoringCase(std::u16string_view text, std::u16string_view needle,
                                           std::size_t from = 0) noexcept;

// The character that starts at `index` (a lone surrogate is itself); advances `index` past it.
[[nodiscard]] char32_t nextCharacter(std::u16string_view text, std::size_t& index) noexcept;

}  // namespace sifterra::platform
