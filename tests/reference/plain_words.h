// plain_words.h: whole-word search step by step on whole characters, without a short cut.
//
// What the library's word search is compared with. Shares only the character tables with it.
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "platform/Unicode.h"

namespace sifterra::reference {

inline std::u32string characters(const std::u16string& text) {
  std::u32string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char32_t unit = text[i];
    const bool pair = unit >= 0xd800 && unit < 0xdc00 && i + 1 < text.size() && text[i + 1] >= 0xdc00 &&
                      text[i + 1] < 0xe000;
    if (pair) {
      result.push_back(0x10000 + ((unit - 0xd800) << 10) + (static_cast<char32_t>(text[i + 1]) - 0xdc00));
      ++i;
    } else {
      result.push_back(unit);
    }
  }
  return result;
}

inline std::u32string folded(const std::u16string& text) {
  std::u32string result = characters(text);
  for (char32_t& c : result) c = platform::simpleFold(c);
  return result;
}

inline bool startsCharacter(const std::u16string& text, std::size_t index) {
  const bool low = index < text.size() && text[index] >= 0xdc00 && text[index] < 0xe000;
  const bool afterHigh = index > 0 && text[index - 1] >= 0xd800 && text[index - 1] < 0xdc00;
  return !(low && afterHigh);
}

inline std::optional<std::size_t> findIgnoringCase(const std::u16string& text, const std::u16string& word,
                                                   std::size_t from) {
  if (word.empty()) return std::nullopt;
  for (std::size_t at = from; at + word.size() <= text.size(); ++at) {
    if (!startsCharacter(text, at) || !startsCharacter(text, at + word.size())) continue;
    if (folded(text.substr(at, word.size())) == folded(word)) return at;
  }
  return std::nullopt;
}

inline bool isIgnorable(char32_t c) {
  if (c >= 0xd800 && c < 0xe000) return false;
  return platform::isWhitespaceOrNewline(c) || platform::isSymbol(c) ||
         std::u32string(U".,-_!?*&").find(c) != std::u32string::npos;
}

inline std::u32string trimmed(std::u32string text) {
  while (!text.empty() && isIgnorable(text.front())) text.erase(0, 1);
  while (!text.empty() && isIgnorable(text.back())) text.pop_back();
  return text;
}

// Where the word stands, in the seven steps; nothing when it does not.
inline std::optional<std::pair<std::size_t, std::size_t>> rangeOfWord(const std::u16string& text,
                                                                      const std::u16string& word) {
  std::size_t start = 0;
  while (text.size() - start >= word.size()) {
    const std::optional<std::size_t> match = findIgnoringCase(text, word, start);
    if (!match) return std::nullopt;
    start = *match + word.size();
    const std::size_t first = *match > 0 ? *match - 1 : 0;
    const std::size_t length = word.size() + (*match > 0 ? 1U : 0U) + (start < text.size() ? 1U : 0U);
    std::u32string context = trimmed(characters(text.substr(first, length)));
    for (char32_t& c : context) c = platform::simpleFold(c);
    if (context == folded(word)) return std::make_pair(*match, word.size());
  }
  return std::nullopt;
}

inline bool containsWord(const std::u16string& text, const std::u16string& word) {
  return rangeOfWord(text, word).has_value();
}

}  // namespace sifterra::reference
