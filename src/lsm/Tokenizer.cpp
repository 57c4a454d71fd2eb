// How a line is read: an ASCII run (letters, digits, apostrophes and the signs of disguised words) is folded
// and cut on the spot, which is nearly all of most pages. A run that turns out to hold other characters is
// read again as a whole: folded by table, or, when its characters act on each other, normalised; then cut by
// class.
#include "lsm/Tokenizer.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "lsm/CharacterTable.h"
#include "lsm/ascii_characters.h"
#include "lsm/line_end.h"
#include "platform/Unicode.h"

namespace sifterra::lsm {
namespace {

using namespace ascii;

// Whether three equal bytes stand in a row, looked for six places at a time. Writes eight bytes behind the
// end.
bool isStretched(char* bytes, std::size_t size) noexcept {
  // Bytes that differ from each other and from all characters of a run: nothing is found behind the end.
  constexpr std::uint64_t kEnd = 0x0807060504030201U;
  constexpr std::uint64_t kLows = 0x0000010101010101U;
  constexpr std::uint64_t kHighs = 0x0000808080808080U;
  std::memcpy(bytes + size, &kEnd, sizeof kEnd);
  for (std::size_t i = 0; i + 2 < size; i += 6) {
    std::uint64_t here = 0;
    std::memcpy(&here, bytes + i, sizeof here);
    const std::uint64_t differs = (here ^ (here >> 8U)) | (here ^ (here >> 16U));
    if (((differs - kLows) & ~differs & kHighs) != 0) return true;  // a byte of `differs` is 0
  }
  return false;
}

bool parts(const Character& character) noexcept {
  return character.kind == CharacterClass::kSeparator || character.kind == CharacterClass::kJoiner;
}

bool isPart(char32_t c) {
  const CharacterClass kind = characterAt(c).kind;
  return kind == CharacterClass::kLetter || kind == CharacterClass::kDigit;
}

}  // namespace

void Tokenizer::tokenize(std::u16string_view text, TokenSink& sink) {
  while (!text.empty()) {
    const std::size_t end = lineEnd(text);
    tokenizeLine(text.substr(0, end), sink);
    text.remove_prefix(std::min(text.size(), end + 1));
  }
}

void Tokenizer::tokenizeLine(std::u16string_view line, TokenSink& sink) {
  _emitter.begin(sink);
  for (std::size_t i = 0; i < line.size();) {
    const char16_t unit = line[i];
    if (unit < kAscii.size() && (kAscii[unit].kind & kRunKinds) == 0) {
      gap(unit, kAscii[unit].kind == kJoiner);
      ++i;
      continue;
    }
    const std::size_t end = readAsciiRun(line, i);
    i = end != 0 ? end : readRun(line, i);
  }
  endPieceRow();
  _emitter.finish();
}

// Reads and hands over one ASCII run; its end, or 0 when it holds other characters.
std::size_t Tokenizer::readAsciiRun(std::u16string_view line, std::size_t from) {
  const std::size_t size = std::min(line.size() - from, kMaxRun);
  const char16_t* const units = line.data() + from;
  char* const folded = _folded.data();
  unsigned kinds = 0;
  std::size_t i = 0;
  for (; i < size; ++i) {
    const char16_t unit = units[i];
    if (unit >= kAscii.size()) return 0;
    const AsciiCharacter c = kAscii[unit];
    if ((c.kind & kRunKinds) == 0) break;
    kinds |= c.kind;
    folded[i] = c.folded;
  }
  asciiRun({folded, i}, kinds, isStretched(folded, i));
  return from + i;
}

void Tokenizer::asciiRun(std::string_view run, unsigned kinds, bool stretched) {
  endPieceRow();
  if ((kinds & (kSign | kQuote)) == 0) {
    _emitter.asciiWord(run, (kinds & kLetter) != 0, (kinds & kDigit) != 0, stretched);
  } else {
    asciiWords(run);
  }
  if ((kinds & kLetter) != 0 && (kinds & (kDigit | kSign)) != 0) disguises(run);
}

// Cuts a run that holds signs or apostrophes, or, when it was normalised, anything.
void Tokenizer::asciiWords(std::string_view run) {
  for (std::size_t i = 0; i < run.size();) {
    if (!isLetterOrDigit(run[i])) {
      gap(static_cast<char32_t>(run[i]), (kindOf(run[i]) & kJoiner) != 0);
      ++i;
      continue;
    }
    _word.clear();
    _lastPart = 0;
    for (; i < run.size(); ++i) {
      if (isLetterOrDigit(run[i])) {
        _word.push_back(static_cast<char32_t>(run[i]));
      } else if (run[i] == '\'' && i + 1 < run.size() && isLetterOrDigit(run[i + 1])) {
        _lastPart = _word.size();
      } else {
        break;
      }
    }
    handOverWord();
  }
}

// Every part of letters, digits and signs; apostrophes stand between them.
void Tokenizer::disguises(std::string_view run) {
  endPieceRow();
  for (std::size_t i = 0; i < run.size();) {
    std::size_t end = i;
    while (end < run.size() && (kindOf(run[end]) & (kLetter | kDigit | kSign)) != 0) ++end;
    if (end > i) _emitter.disguised(run.substr(i, end - i));
    i = end + 1;
  }
}

// Reads and hands over one run of any characters; its end. What vanishes does not count for the cut: a word
// could be hidden by it else.
std::size_t Tokenizer::readRun(std::u16string_view line, std::size_t from) {
  bool alone = true;
  bool plain = true;  // letters of one script only, none three times in a row
  WordScript script = WordScript::kCommon;
  _characters.clear();
  std::size_t i = from;
  while (i < line.size() && _characters.size() < kMaxRun) {
    std::size_t next = i;
    const char32_t c = platform::nextCharacter(line, next);
    if (c < kAscii.size() && (kAscii[c].kind & kRunKinds) == 0) break;
    const Character& character = characterAt(c);
    if (character.standsAlone && parts(character) && c >= kAscii.size()) break;
    i = next;
    if (character.kind == CharacterClass::kIgnorable) continue;
    const std::size_t size = _characters.size();
    if (size == 0) script = character.script;
    plain &= character.kind == CharacterClass::kLetter && character.script == script &&
             !(size >= 2 && _characters[size - 1] == character.folded &&
               _characters[size - 2] == character.folded);
    alone &= character.standsAlone;
    _characters.push_back(character.folded);
  }
  if (i == from) {
    // Nothing but what parts runs.
    std::size_t next = from;
    const char32_t c = platform::nextCharacter(line, next);
    gap(c, characterAt(c).kind == CharacterClass::kJoiner);
    return next;
  }
  if (_characters.empty()) return i;  // nothing but what vanishes
  if (!alone) {
    fold(line.substr(from, i - from));
    run();
  } else if (plain) {
    endPieceRow();
    _emitter.plainWord(_characters, script);
  } else {
    run();
  }
  return i;
}

// Folds a run as a whole. What vanishes goes first, which bounds what there is to normalise.
void Tokenizer::fold(std::u16string_view run) {
  _visible.clear();
  for (std::size_t i = 0; i < run.size();) {
    const std::size_t from = i;
    const char32_t c = platform::nextCharacter(run, i);
    if (characterAt(c).kind != CharacterClass::kIgnorable) _visible.append(run.substr(from, i - from));
  }
  _form.clear();
  platform::appendNFKCCaseFolded(_visible, _form);
  _characters.clear();
  for (std::size_t i = 0; i < _form.size();) {
    const char32_t c = platform::nextCharacter(_form, i);
    // The Turkish capital I with a dot folds to an i and a dot above; its words are written with a plain i
    // elsewhere.
    if (c == U'\u0307' && !_characters.empty() && _characters.back() == U'i') continue;
    _characters.push_back(c);
  }
}

// Hands over the folded run in _characters.
void Tokenizer::run() {
  if (std::all_of(_characters.begin(), _characters.end(), [](char32_t c) { return c < kAscii.size(); })) {
    _ascii.assign(_characters.begin(), _characters.end());
    asciiWords(_ascii);
    disguises(_ascii);
    return;
  }
  _word.clear();
  _lastPart = 0;
  for (std::size_t i = 0; i < _characters.size(); ++i) {
    const char32_t c = _characters[i];
    const Character& character = characterAt(c);
    switch (character.kind) {
      case CharacterClass::kLetter:
      case CharacterClass::kDigit:
        endPieces();
        _word.push_back(c);
        break;
      case CharacterClass::kMark:
        if (!_word.empty()) _word.push_back(c);
        break;
      case CharacterClass::kPairs:
      case CharacterClass::kTriples:
        endWord();
        addPiece(c, character.kind == CharacterClass::kPairs ? 2 : 3, character.script);
        break;
      case CharacterClass::kApostrophe:
        endPieces();
        if (!_word.empty() && i + 1 < _characters.size() && isPart(_characters[i + 1])) {
          _lastPart = _word.size();
        } else {
          endWord();
        }
        break;
      default:
        endPieces();
        endWord();
        gap(c, character.kind == CharacterClass::kJoiner);
        break;
    }
  }
  endPieces();
  endWord();
}

void Tokenizer::endWord() {
  if (_word.empty()) return;
  // A disguised word may be hidden among other characters: the run was not ASCII, this word of it is.
  const bool ascii = std::all_of(_word.begin(), _word.end(), [](char32_t c) { return c < kAscii.size(); });
  if (ascii) _ascii.assign(_word.begin(), _word.end());
  handOverWord();
  if (ascii) _emitter.disguised(_ascii);
}

// The collected word without an English ending after an apostrophe.
void Tokenizer::handOverWord() {
  endPieceRow();
  if (_lastPart != 0 && WordEmitter::isCutEnding(std::u32string_view(_word).substr(_lastPart))) {
    _word.resize(_lastPart);
  }
  _emitter.word(_word);
  _word.clear();
  _lastPart = 0;
}

void Tokenizer::addPiece(char32_t c, std::size_t size, WordScript script) {
  // Japanese mixes Han and kana in one word.
  const auto family = [](WordScript s) { return s == WordScript::kKana ? WordScript::kHan : s; };
  if (_pieceSize != 0 && family(script) != family(_pieceScripts[_pieceSize - 1])) endPieces();
  if (_pieceSize == 0 && _before.size != 0) {
    if (family(script) != family(_before.scripts[_before.size - 1])) {
      endPieceRow();
    } else if (!_before.handedOver) {
      // A run too short for a piece goes on behind the blank.
      std::copy_n(_before.characters.begin(), _before.size, _piece.begin());
      std::copy_n(_before.scripts.begin(), _before.size, _pieceScripts.begin());
      _pieceSize = _before.size;
      _before.size = 0;
    }
  }
  _piece[_pieceSize] = c;
  _pieceScripts[_pieceSize] = script;
  if (++_pieceSize < size) return;
  handOverPiece();
  _pieceHandedOver = true;
  _before.size = 0;
  _pieceSize = size - 1;
  for (std::size_t i = 0; i < _pieceSize; ++i) {
    _piece[i] = _piece[i + 1];
    _pieceScripts[i] = _pieceScripts[i + 1];
  }
}

void Tokenizer::handOverPiece() {
  WordScript script = _pieceScripts[0];
  for (std::size_t i = 1; i < _pieceSize; ++i) {
    if (_pieceScripts[i] == WordScript::kKana) script = WordScript::kKana;
  }
  _emitter.piece({_piece.data(), _pieceSize}, script);
}

// The run ends; its end is kept for what may follow behind a blank. Too short for a piece, it makes pieces
// with the end of the run before it, or waits for the next.
void Tokenizer::endPieces() {
  if (_pieceSize == 0) return;
  if (!_pieceHandedOver && _before.size != 0) {
    handOverOverGap();
    return;
  }
  _before = {{}, {}, _pieceSize, 0, _pieceHandedOver};
  std::copy_n(_piece.begin(), _pieceSize, _before.characters.begin());
  std::copy_n(_pieceScripts.begin(), _pieceSize, _before.scripts.begin());
  _pieceSize = 0;
  _pieceHandedOver = false;
}

// The pieces of the run before and this one, which is too short by itself.
void Tokenizer::handOverOverGap() {
  const std::array<char32_t, 3> added = _piece;
  const std::array<WordScript, 3> scripts = _pieceScripts;
  const std::size_t count = std::exchange(_pieceSize, 0);
  const std::size_t size = _before.size + 1;
  std::copy_n(_before.characters.begin(), _before.size, _piece.begin());
  std::copy_n(_before.scripts.begin(), _before.size, _pieceScripts.begin());
  _pieceSize = std::exchange(_before.size, 0);
  for (std::size_t i = 0; i < count; ++i) addPiece(added[i], size, scripts[i]);
  endPieces();
}

// A run shorter than a piece is one when nothing joins it.
void Tokenizer::endPieceRow() {
  if (_before.size == 0) return;
  if (!_before.handedOver) {
    std::copy_n(_before.characters.begin(), _before.size, _piece.begin());
    std::copy_n(_before.scripts.begin(), _before.size, _pieceScripts.begin());
    _pieceSize = _before.size;
    handOverPiece();
    _pieceSize = 0;
  }
  _before.size = 0;
}

}  // namespace sifterra::lsm
