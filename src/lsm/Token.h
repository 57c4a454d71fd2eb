// Token.h: what the tokeniser hands over.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "lsm/WordScript.h"

namespace sifterra::lsm {

// A longer word is no word and is left out.
inline constexpr std::size_t kMaxWordCharacters = 64;
inline constexpr std::size_t kMaxTokenBytes = 4 * kMaxWordCharacters;

enum class TokenKind : std::uint8_t {
  kWord,    // letters and marks only, of a script that parts its words
  kMixed,   // letters and digits
  kNumber,  // a kept number or a length class
  kPiece,   // two or three characters of a script that does not part its words
  kAtom,    // a signature or marker word
  kSpelt,   // words spelt out letter by letter, their ends unknown; the last such token of a row may be short
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

}  // namespace sifterra::lsm
