#include "lsm/LookalikeWords.h"

#include <array>
#include <string_view>

#include "lsm/CharacterTable.h"
#include "lsm/MapFile.h"
#include "lsm/confusables.h"

namespace sifterra::lsm {
namespace {

// The letter at `i`, which moves behind it. The text is the tokeniser's, so it is sound.
char32_t nextLetter(std::string_view text, std::size_t& i) noexcept {
  const auto lead = static_cast<unsigned char>(text[i++]);
  const unsigned more = lead < 0xC0 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
  char32_t c = more == 0 ? lead : lead & (0x3FU >> more);
  for (unsigned k = 0; k < more && i < text.size(); ++k)
    c = (c << 6U) | (static_cast<unsigned char>(text[i++]) & 0x3FU);
  return c;
}

// All letters in use are of the Basic Multilingual Plane's first 2048 characters.
void append(char32_t c, std::array<char, 2 * kMaxLookalikeWord>& bytes, std::size_t& size) noexcept {
  if (c < 0x80) {
    bytes[size++] = static_cast<char>(c);
  } else {
    bytes[size++] = static_cast<char>(0xC0U | (c >> 6U));
    bytes[size++] = static_cast<char>(0x80U | (c & 0x3FU));
  }
}

char32_t replacement(char32_t c, WordScript own, WordScript script) noexcept {
  if (script == WordScript::kLatin) return closeLatinLookalike(c);
  return own == WordScript::kLatin && c != U'r' && c != U'u' && c != U'n' ? lookalikeOfLatin(c, script) : 0;
}

// The word read in one alphabet, every letter of another replaced.
std::uint32_t readAs(const Map& map, std::string_view text, WordScript script) {
  std::array<char, 2 * kMaxLookalikeWord> bytes;
  std::size_t size = 0;
  bool changed = false;
  for (std::size_t i = 0; i < text.size();) {
    char32_t c = nextLetter(text, i);
    const WordScript own = characterAt(c).script;
    if (own != script) {
      c = replacement(c, own, script);
      changed = true;
    }
    if (c == 0 || c >= 0x800) return Map::kUnknownWord;
    append(c, bytes, size);
  }
  return changed ? map.find(std::string_view(bytes.data(), size)) : Map::kUnknownWord;
}

// Whether all letters of an ASCII word have a look-alike in one of the other alphabets: few words, and the
// first letters tell.
bool mayBeForeign(std::string_view word) noexcept {
  bool cyrillic = true;
  bool greek = true;
  for (const char byte : word) {
    const auto c = static_cast<char32_t>(byte);
    cyrillic = cyrillic && replacement(c, WordScript::kLatin, WordScript::kCyrillic) != 0;
    greek = greek && replacement(c, WordScript::kLatin, WordScript::kGreek) != 0;
    if (!cyrillic && !greek) return false;
  }
  return true;
}

}  // namespace

std::uint32_t lookalikeWord(const Map& map, const Token& token) {
  if (token.kind != TokenKind::kWord || token.characters < kMinLookalikeWord ||
      token.characters > kMaxLookalikeWord) {
    return Map::kUnknownWord;
  }
  switch (token.script) {
    case WordScript::kLatin:
    case WordScript::kCyrillic:
    case WordScript::kGreek:
      break;
    default:
      return Map::kUnknownWord;
  }
  if (token.text.size() == token.characters) {
    if (!mayBeForeign(token.text)) return Map::kUnknownWord;
  } else {
    // Only Greek and Cyrillic letters have look-alikes, and only the ASCII ones are such: without the former
    // there is nothing to replace, without the latter nothing but in a Latin word.
    bool foreign = false;
    bool ascii = false;
    for (const char byte : token.text) {
      const auto value = static_cast<unsigned char>(byte);
      foreign |= value >= 0xCD && value <= 0xD4;  // leads U+0340 to U+053F
      ascii |= value < 0x80;
    }
    if (!foreign) return Map::kUnknownWord;
    if (!ascii) {
      return (map.scripts() & bitOf(WordScript::kLatin)) == 0 ? Map::kUnknownWord
                                                              : readAs(map, token.text, WordScript::kLatin);
    }
  }
  for (const WordScript script : {WordScript::kLatin, WordScript::kCyrillic, WordScript::kGreek}) {
    if ((map.scripts() & bitOf(script)) == 0) continue;
    if (const std::uint32_t word = readAs(map, token.text, script); word != Map::kUnknownWord) return word;
  }
  return Map::kUnknownWord;
}

}  // namespace sifterra::lsm
