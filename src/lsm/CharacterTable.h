// CharacterTable.h: what the tokeniser needs to know of a character, one memory access away.
//
// Pages of 256 characters are filled from the Unicode library when a text first needs them and then stay for
// the life of the process; any thread may ask at any time.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "lsm/WordScript.h"

namespace sifterra::lsm {

enum class CharacterClass : std::uint8_t {
  kSeparator,   // parts words
  kJoiner,      // parts words, and may stand between spaced letters: space . * | / _ middle dot, dashes
  kApostrophe,  // vanishes inside a word
  kIgnorable,   // vanishes everywhere: zero-width and format characters, soft hyphens, variation selectors
  kLetter,
  kMark,
  kDigit,
  kPairs,    // Han, kana, Hangul: pieces of two
  kTriples,  // Thai, Lao, Khmer, Burmese: pieces of three
};

struct Character {
  char32_t folded;  // NFKC and full case folding, when that is one character
  CharacterClass kind;
  WordScript script;
  bool standsAlone;  // `folded` is right whatever stands beside it; else the run is normalised as a whole
};

inline constexpr std::size_t kCharactersPerPage = 256;
using CharacterPage = std::array<Character, kCharactersPerPage>;
// The pages made so far; null where none is needed yet.
extern std::array<std::atomic<const CharacterPage*>, 0x110000 / kCharactersPerPage> characterPages;
// Makes a page, or finds that another thread has.
[[nodiscard]] const CharacterPage* makeCharacterPage(std::size_t number);

// Any code point; lone surrogates and numbers above U+10FFFF are separators.
[[nodiscard]] inline const Character& characterAt(char32_t c) {
  if (c >= 0x110000) c = 0xD800;
  const CharacterPage* page = characterPages[c / kCharactersPerPage].load(std::memory_order_acquire);
  if (page == nullptr) page = makeCharacterPage(c / kCharactersPerPage);
  return (*page)[c % kCharactersPerPage];
}

}  // namespace sifterra::lsm
