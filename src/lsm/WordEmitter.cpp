#include "lsm/WordEmitter.h"

#include <algorithm>
#include <cassert>
#include <iterator>
#include <utility>

#include "lsm/CharacterTable.h"
#include "lsm/confusables.h"
#include "platform/Unicode.h"

namespace sifterra::lsm {
namespace {

constexpr std::size_t kMinAtomRun = 7;  // "o" in a row
constexpr std::size_t kMinSpacedLetters = 3;
// More letters may be several words: a blank between them looks like those within.
constexpr std::size_t kMaxSpacedWord = 12;
constexpr std::size_t kMinDisguised = 3;
constexpr std::size_t kMaxDisguised = 20;
constexpr std::size_t kLongestNumberClass = 6;
// Numbers that say something: ages, a position, the United States' record-keeping law for adult pages.
constexpr std::string_view kKeptNumbers[] = {"18", "21", "69", "2257"};

template <class Characters>
bool isAtom(const Characters& word) noexcept {
  std::size_t run = 0;
  for (const auto c : word) {
    run = c == 'o' ? run + 1 : 0;
    if (run == kMinAtomRun) return true;
  }
  return false;
}

// Three or more equal letters become two ("sooo"), but x keeps three: xxx is a word.
void squeeze(std::u32string_view word, std::u32string& out) {
  out.clear();
  std::size_t run = 0;
  char32_t last = 0;
  for (const char32_t c : word) {
    run = c == last ? run + 1 : 1;
    last = c;
    const std::size_t most = c == U'x' ? 3 : 2;
    if (run > most && characterAt(c).kind == CharacterClass::kLetter) continue;
    out.push_back(c);
  }
}

char letterFor(char c) noexcept {
  switch (c) {
    case '0':
      return 'o';
    case '1':
    case '!':
      return 'i';
    case '3':
      return 'e';
    case '4':
    case '@':
      return 'a';
    case '5':
    case '$':
      return 's';
    case '7':
      return 't';
    case '8':
      return 'b';
    default:
      return c >= 'a' && c <= 'z' ? c : '\0';
  }
}

// Writes the character and returns the end.
char* writeUtf8(char* out, char32_t c) noexcept {
  const auto byte = [&out](char32_t value) { *out++ = static_cast<char>(value); };
  if (c < 0x80) {
    byte(c);
  } else if (c < 0x800) {
    byte(0xC0U | (c >> 6U));
    byte(0x80U | (c & 0x3FU));
  } else if (c < 0x10000) {
    byte(0xE0U | (c >> 12U));
    byte(0x80U | ((c >> 6U) & 0x3FU));
    byte(0x80U | (c & 0x3FU));
  } else {
    byte(0xF0U | (c >> 18U));
    byte(0x80U | ((c >> 12U) & 0x3FU));
    byte(0x80U | ((c >> 6U) & 0x3FU));
    byte(0x80U | (c & 0x3FU));
  }
  return out;
}

struct Alphabets {
  std::size_t latin = 0;
  std::size_t cyrillic = 0;
  std::size_t greek = 0;
};

Alphabets alphabetsOf(std::u32string_view word) {
  Alphabets count;
  for (const char32_t c : word) {
    const WordScript script = characterAt(c).script;
    count.latin += script == WordScript::kLatin;
    count.cyrillic += script == WordScript::kCyrillic;
    count.greek += script == WordScript::kGreek;
  }
  return count;
}

// A letter and the marks on it.
bool isOneLetter(std::u32string_view word) {
  return !word.empty() && characterAt(word[0]).kind == CharacterClass::kLetter &&
         std::all_of(word.begin() + 1, word.end(),
                     [](char32_t c) { return characterAt(c).kind == CharacterClass::kMark; });
}

// The word in Latin letters; false when a letter of it looks like none.
bool readAsLatin(std::u32string_view word, std::u32string& out) {
  out.assign(word);
  for (char32_t& c : out) {
    const WordScript script = characterAt(c).script;
    if (script != WordScript::kCyrillic && script != WordScript::kGreek) continue;
    c = latinLookalike(c);
    if (c == 0) return false;
  }
  return true;
}

// The word with its Latin letters read as Cyrillic or Greek ones; false when one of them looks like none.
bool readAs(WordScript script, std::u32string_view word, std::u32string& out) {
  out.assign(word);
  for (char32_t& c : out) {
    if (characterAt(c).script != WordScript::kLatin) continue;
    c = lookalikeOfLatin(c, script);
    if (c == 0) return false;
  }
  return true;
}

}  // namespace

bool WordEmitter::isCutEnding(std::u32string_view ending) noexcept {
  constexpr std::u32string_view kEndings[] = {U"s", U"re", U"ll", U"ve", U"m", U"d"};
  return std::find(std::begin(kEndings), std::end(kEndings), ending) != std::end(kEndings);
}

void WordEmitter::asciiWord(std::string_view word, bool letters, bool digits, bool stretched) {
  if (stretched && letters) {
    _readBack.assign(word.begin(), word.end());
    this->word(std::u32string(_readBack));
    return;
  }
  if (word.size() == 1 && letters) {
    const auto letter = static_cast<char32_t>(word[0]);
    spacedLetter({&letter, 1});
    return;
  }
  endSpaced();
  if (word.size() > kMaxWordCharacters) return;
  if (!letters) {
    number(word);
  } else {
    handOver(word, digits ? TokenKind::kMixed : TokenKind::kWord, WordScript::kLatin, word.size());
  }
}

void WordEmitter::plainWord(std::u32string_view word, WordScript script) {
  if (word.size() == 1) {
    spacedLetter(word);
    return;
  }
  endSpaced();
  if (word.size() <= kMaxWordCharacters) handOver(word, TokenKind::kWord, script);
}

void WordEmitter::word(std::u32string_view word) {
  bool digits = false;
  bool other = false;
  for (const char32_t c : word) {
    const bool digit = characterAt(c).kind == CharacterClass::kDigit;
    digits |= digit;
    other |= !digit;
  }
  if (other && isOneLetter(word)) {
    spacedLetter(word);
    return;
  }
  endSpaced();
  if (word.empty() || word.size() > kMaxWordCharacters) return;
  if (other) {
    letters(word, digits);
    return;
  }
  char digitsOfWord[kMaxWordCharacters];
  for (std::size_t i = 0; i < word.size(); ++i) {
    digitsOfWord[i] = static_cast<char>('0' + platform::decimalDigitValue(word[i]));
  }
  number({digitsOfWord, word.size()});
}

void WordEmitter::letters(std::u32string_view word, bool digits) {
  if (isAtom(word)) {
    handOver(word, TokenKind::kAtom, WordScript::kCommon);
    return;
  }
  if (_leavesDisguises) {
    handOver(word, digits ? TokenKind::kMixed : TokenKind::kWord, characterAt(word[0]).script);
    return;
  }
  squeeze(word, _squeezed);
  const TokenKind kind = digits ? TokenKind::kMixed : TokenKind::kWord;
  const Alphabets count = alphabetsOf(_squeezed);
  const std::size_t foreign = count.cyrillic + count.greek;
  if (count.latin == 0 || foreign == 0) {
    const auto letter = std::find_if(_squeezed.begin(), _squeezed.end(), [](char32_t c) {
      return characterAt(c).kind == CharacterClass::kLetter;
    });
    const WordScript script = letter == _squeezed.end() ? WordScript::kOther : characterAt(*letter).script;
    handOver(_squeezed, kind, script);
    return;
  }
  // A mixture. Most of its letters tell where it belongs; when all can be read as Latin, it is also read so,
  // for a Latin word may be disguised with more foreign letters than own ones.
  const WordScript script = count.greek > count.cyrillic ? WordScript::kGreek : WordScript::kCyrillic;
  bool readable = false;
  if (foreign > count.latin && readAs(script, _squeezed, _readBack)) {
    readable = true;
    handOver(_readBack, kind, script);
  }
  if (readAsLatin(_squeezed, _readBack)) {
    readable = true;
    handOver(_readBack, kind, WordScript::kLatin);
  }
  if (!readable) handOver(_squeezed, kind, foreign > count.latin ? script : WordScript::kLatin);
}

void WordEmitter::piece(std::u32string_view characters, WordScript script) {
  endSpaced();
  handOver(characters, TokenKind::kPiece, script);
}

void WordEmitter::disguised(std::string_view run) {
  if (_leavesDisguises) return;
  // An exclamation mark behind a word is just that.
  while (!run.empty() && run.back() == '!') run.remove_suffix(1);
  if (run.size() < kMinDisguised || run.size() > kMaxDisguised) return;
  std::size_t others = 0;
  char clear[kMaxDisguised];
  for (std::size_t i = 0; i < run.size(); ++i) {
    clear[i] = letterFor(run[i]);
    if (clear[i] == '\0') return;
    others += clear[i] != run[i];
  }
  if (others == 0 || 2 * others > run.size() || isAtom(run)) return;
  const std::u32string word(clear, clear + run.size());
  endSpaced();  // first: it uses _squeezed
  squeeze(word, _squeezed);
  handOver(_squeezed, TokenKind::kWord, WordScript::kLatin);
}

void WordEmitter::number(std::string_view digits) {
  const bool kept =
      std::find(std::begin(kKeptNumbers), std::end(kKeptNumbers), digits) != std::end(kKeptNumbers);
  if (kept) {
    handOver(digits, TokenKind::kNumber, WordScript::kCommon, digits.size());
    return;
  }
  const char text[2] = {'#', static_cast<char>('0' + std::min(digits.size(), kLongestNumberClass))};
  handOver({text, 2}, TokenKind::kNumber, WordScript::kCommon, 2);
}

void WordEmitter::spacedLetter(std::u32string_view letter) {
  if (_leavesDisguises) {
    letters(letter, false);
    return;
  }
  // "p*o*r*n s*e*x": a word parted in one way ends where it is parted in another.
  const bool otherWay = _spacedCount >= 2 && _sign != _parting;
  const bool wordEnds = otherWay && _parting != kNoJoiner && _spacedCount >= kMinSpacedLetters;
  if (_spacedCount != 0 && (_gap == 0 || wordEnds)) endSpaced();
  if (_spacedCount == 1) {
    _parting = _sign;
  } else if (_spacedCount != 0 && otherWay) {
    _parting = kNoJoiner;
  }
  _gap = 0;
  _sign = kBlank;
  if (letter.size() > kMaxWordCharacters) letter = letter.substr(0, 1);
  if (_spaced.size() + letter.size() > kMaxWordCharacters) {
    handOver(_spaced, TokenKind::kSpelt, characterAt(_spaced[0]).script);
    _spaced.clear();
  }
  if (_spacedCount == 0) _firstSize = letter.size();
  _spaced.append(letter);
  ++_spacedCount;
}

// Letters in a row are one word, and none by themselves.
void WordEmitter::endSpaced() {
  if (_spacedCount == 0) return;
  const std::size_t count = std::exchange(_spacedCount, 0);
  const std::u32string_view all = _spaced;
  if (count > kMaxSpacedWord) {
    if (!all.empty()) handOver(all, TokenKind::kSpelt, characterAt(all[0]).script);
  } else if (count >= kMinSpacedLetters) {
    letters(all, false);
  } else {
    letters(all.substr(0, _firstSize), false);
    if (count == 2) letters(all.substr(_firstSize), false);
  }
  _spaced.clear();
  _sign = kBlank;
}

void WordEmitter::handOver(std::u32string_view word, TokenKind kind, WordScript script) {
  assert(word.size() <= kMaxWordCharacters);
  char utf8[kMaxTokenBytes];
  char* end = utf8;
  for (const char32_t c : word) end = writeUtf8(end, c);
  handOver({utf8, static_cast<std::size_t>(end - utf8)}, kind, script, word.size());
}

void WordEmitter::handOver(std::string_view text, TokenKind kind, WordScript script, std::size_t characters) {
  _sink->token({text, kind, script, static_cast<std::uint8_t>(characters)});
}

}  // namespace sifterra::lsm
