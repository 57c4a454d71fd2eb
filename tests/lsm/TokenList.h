// TokenList.h: a text's tokens, kept.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "lsm/Tokenizer.h"

namespace sifterra::lsm {

struct OwnedToken {
  std::string text;
  TokenKind kind;
  WordScript script;
  std::uint8_t characters;

  bool operator==(const OwnedToken&) const = default;
  [[nodiscard]] Token token() const { return {text, kind, script, characters}; }
};

class TokenList final : public TokenSink {
 public:
  void token(const Token& token) override {
    tokens.push_back({std::string(token.text), token.kind, token.script, token.characters});
  }
  std::vector<OwnedToken> tokens;
};

inline std::vector<OwnedToken> tokensOf(std::u16string_view text) {
  Tokenizer tokenizer;
  TokenList list;
  tokenizer.tokenize(text, list);
  return list.tokens;
}

inline std::string joinedTokens(std::u16string_view text) {
  std::string joined;
  for (const OwnedToken& token : tokensOf(text)) {
    if (!joined.empty()) joined += ' ';
    joined += token.text;
  }
  return joined;
}

}  // namespace sifterra::lsm
