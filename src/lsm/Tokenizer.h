// Tokenizer.h: the words of a text, as the engine counts them.
//
// The trainer and the library share this code; its version is stored in the map, so that a map never meets
// words that were cut in another way. Nothing here knows a vocabulary: what becomes of a word that the map
// does not know is decided afterwards (WordSplitter.h, NGrams.h).
//
// What comes out is normalised (NFKC), case-folded UTF-8:
//   words          runs of letters, marks and digits of at most 64 characters
//   pieces         two characters of Chinese, Japanese or Korean, three of Thai, Lao, Khmer or Burmese
//   numbers        18, 21, 69 and 2257 as they are, others by their number of digits, "#1" to "#6"
//   variants       the reading of a disguised word, after the plain one: p0rn -> porn, p o r n -> porn
//   atoms          tokens with seven or more "o" in a row: signature and marker words, taken as they are
//
// No token spans a line feed: a text gives the same tokens whole or in pieces cut after a line feed.
//
//   Tokenizer tokenizer;
//   tokenizer.tokenize(u"Some text", sink);  // sink.token(...) for every token, in order
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lsm/WordScript.h"

namespace sifterra::lsm {

// Raised with every change that can alter a token.
inline constexpr std::uint32_t kTokenizerVersion = 1;
// A longer word is no word and is left out.
inline constexpr std::size_t kMaxWordCharacters = 64;

enum class TokenKind : std::uint8_t {
  kWord,    // letters and marks only, of a script that parts its words
  kMixed,   // letters and digits
  kNumber,  // a kept number or a length class
  kPiece,   // two or three characters of a script that does not part its words
  kAtom,    // a signature or marker word
};

struct Token {
  std::string_view text;  // UTF-8; valid during the call only
  TokenKind kind;
  WordScript script;
  std::uint8_t characters;  // code points in `text`
};

// Receives the tokens of a text.
class TokenSink {
 public:
  virtual void token(const Token& token) = 0;

 protected:
  ~TokenSink() = default;
};

// Holds nothing but buffers that are used again; one thread at a time.
class Tokenizer {
 public:
  // The tokens of a whole text, line by line. Lone surrogates part words.
  void tokenize(std::u16string_view text, TokenSink& sink);
  // The tokens of one line; `line` holds no line feed.
  void tokenizeLine(std::u16string_view line, TokenSink& sink);

 private:
  class Line;  // the work on one line, in Tokenizer.cpp

  std::string _ascii;             // the run being read, folded
  std::string _utf8;              // the token being handed over
  std::u32string _characters;     // the run being read, folded, when it is not ASCII
  std::u32string _word;           // the word being read
  std::u32string _other;          // its reading in another script
  std::u32string _spacedLetters;  // single letters in a row
  std::u16string _run;            // what is normalised as a whole
};

}  // namespace sifterra::lsm
