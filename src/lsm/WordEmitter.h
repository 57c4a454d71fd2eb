// WordEmitter.h: the forms in which a word is handed over.
//
// The tokeniser finds where words are; this decides what they are: numbers become length classes, stretched
// words shrink, letters borrowed from another alphabet go back to their own, and disguised words are also
// read in clear. It also remembers single letters in a row, which may be one word spaced out.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "lsm/Token.h"

namespace sifterra::lsm {

class WordEmitter {
 public:
  void begin(TokenSink& sink) noexcept { _sink = &sink; }
  // From now on words are handed over as they stand (Tokenizer::leaveDisguises).
  void leaveDisguises() noexcept { _leavesDisguises = true; }
  // The line ends: what was collected is handed over.
  void finish() { endSpaced(); }

  // A folded word of ASCII letters and digits. `stretched`: three equal characters in a row occur.
  void asciiWord(std::string_view word, bool letters, bool digits, bool stretched);
  // A folded word of letters of one alphabet, no letter three times in a row.
  void plainWord(std::u32string_view word, WordScript script);
  // Any folded word: letters, marks, digits.
  void word(std::u32string_view word);
  // Characters of a script that does not part its words; few.
  void piece(std::u32string_view characters, WordScript script);
  // A run of [a-z0-9@$!] with something else than letters in it: handed over once more with the letters that
  // the other characters stand for, when that makes a word.
  void disguised(std::string_view run);
  // What stands between words: a joiner, which may part the letters of a spaced word, or kNoJoiner.
  void gap(char32_t joiner) {
    if (_spacedCount == 0) return;
    if (joiner == kNoJoiner || ++_gap > kMaxGap) {
      endSpaced();
    } else if (joiner != U' ') {
      _sign = joiner;
    }
  }
  static constexpr char32_t kNoJoiner = 0;
  // English endings cut after an inner apostrophe.
  [[nodiscard]] static bool isCutEnding(std::u32string_view ending) noexcept;

 private:
  // "p - o - r - n" has three characters between its letters.
  static constexpr std::size_t kMaxGap = 3;
  static constexpr char32_t kBlank = U' ';

  void letters(std::u32string_view word, bool digits);
  void handOver(std::u32string_view word, TokenKind kind, WordScript script);
  void handOver(std::string_view text, TokenKind kind, WordScript script, std::size_t characters);
  void number(std::string_view digits);
  // A single letter, with the marks on it. It waits for what follows.
  void spacedLetter(std::u32string_view letter);
  void endSpaced();

  TokenSink* _sink = nullptr;
  bool _leavesDisguises = false;
  std::u32string _squeezed;
  std::u32string _readBack;
  std::u32string _spaced;
  std::size_t _spacedCount = 0;  // letters; marks on them do not count
  std::size_t _firstSize = 0;    // of the first one with its marks
  std::size_t _gap = 0;          // characters since the last single letter
  char32_t _sign = kBlank;       // that stands among them, or a blank
  char32_t _parting = kBlank;    // the letters so far; kNoJoiner when they are parted in several ways
};

}  // namespace sifterra::lsm
