// characters: what a disguise has to know of characters, roughly.
//
// The judging tells characters apart by the Unicode tables; whoever disguises a text does not, and a rewriter
// that shared those tables could share their mistakes. So these few ranges are kept apart from them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace sifterra::tools {

enum class CharacterKind : std::uint8_t {
  kOther,  // blanks, signs, pictures
  kDigit,
  kLetter,     // of a script that parts its words
  kIdeograph,  // Han, kana, Hangul, Thai, Lao, Khmer, Burmese: words are not parted, or parted otherwise
  kMark,       // belongs to the letter before it
};

// The code point at `at`, which is moved behind it; U+FFFD for a byte that is no UTF-8.
[[nodiscard]] char32_t nextCodePoint(std::string_view text, std::size_t& at);
void appendUtf8(char32_t c, std::string& out);

[[nodiscard]] CharacterKind kindOfCharacter(char32_t c);
[[nodiscard]] char32_t lowerCase(char32_t c);
[[nodiscard]] bool isLatinLetter(char32_t c);

}  // namespace sifterra::tools
