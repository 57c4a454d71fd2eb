// string_helpers.cpp: whole-word search, replacement, n-grams and the comparison of numbers.
#include "util/string_helpers.h"

#include <cmath>
#include <stdexcept>

#include "platform/Unicode.h"
#include "util/folded_search.h"

namespace sifterra {
namespace {

constexpr bool isSurrogate(char32_t c) {
  return c >= 0xd800 && c <= 0xdfff;
}

// The last character of a text that is not empty, and how many units it takes.
char32_t lastCharacter(std::u16string_view text, std::size_t& units) {
  const std::size_t pairStart = text.size() >= 2 ? text.size() - 2 : text.size() - 1;
  std::size_t index = pairStart;
  const char32_t c = platform::nextCharacter(text, index);
  if (index == text.size()) {
    units = text.size() - pairStart;
    return c;
  }
  units = 1;
  return text.back();
}

std::u16string_view trimmedIgnorable(std::u16string_view text) {
  const IgnorableCharacterSet& ignorable = ignorableCharacterSet();
  while (!text.empty()) {
    std::size_t units = 0;
    if (!ignorable.contains(platform::nextCharacter(text, units))) break;
    text.remove_prefix(units);
  }
  while (!text.empty()) {
    std::size_t units = 0;
    if (!ignorable.contains(lastCharacter(text, units))) break;
    text.remove_suffix(units);
  }
  return text;
}

}  // namespace

bool IgnorableCharacterSet::contains(char32_t c) const noexcept {
  constexpr std::u32string_view kPunctuation = U".,-_!?*&";
  if (isSurrogate(c)) return false;
  return platform::isWhitespaceOrNewline(c) || platform::isSymbol(c) ||
         kPunctuation.find(c) != std::u32string_view::npos;
}

const IgnorableCharacterSet& ignorableCharacterSet() noexcept {
  static constexpr IgnorableCharacterSet set;
  return set;
}

bool containsString(std::u16string_view receiver, std::u16string_view string) {
  return containsString(receiver, string, SearchOptions::Literal);
}

bool containsString(std::u16string_view receiver, std::u16string_view string, SearchOptions options) {
  if (string.empty()) return false;
  const std::size_t at =
      options == SearchOptions::Literal ? receiver.find(string) : findFolded(receiver, string, 0);
  return at != std::u16string_view::npos;
}

Range rangeOfWord(std::u16string_view receiver, std::u16string_view word) {
  // Simple folding never changes the number of UTF-16 units, so a match is as long as the word.
  const std::size_t length = word.size();
  for (std::size_t start = 0; receiver.size() - start >= length;) {
    const std::size_t match = findFolded(receiver, word, start);
    if (match == std::u16string_view::npos) break;
    start = match + length;
    const std::size_t contextStart = match > 0 ? match - 1 : 0;
    const std::size_t contextEnd = start < receiver.size() ? start + 1 : start;
    // Kept: the trimming takes ignorable characters of the word too, so that "c++" is never found as a
    // word; clients rely on words of letters and digits only.
    const std::u16string_view context = receiver.substr(contextStart, contextEnd - contextStart);
    if (platform::equalIgnoringCase(trimmedIgnorable(context), word)) return {match, length};
  }
  return Range::notFound();
}

bool containsWord(std::u16string_view receiver, std::u16string_view word) {
  return rangeOfWord(receiver, word).found();
}

platform::String stringByRemovingWord(const platform::String& receiver, std::u16string_view word) {
  Range range = rangeOfWord(receiver.view(), word);
  if (!range.found()) return receiver;
  std::u16string text(receiver.view());
  // Searched from the start each time: what is joined by a cut may spell the word again.
  for (; range.found(); range = rangeOfWord(text, word)) text.erase(range.location, range.length);
  return platform::String(std::move(text));
}

std::u16string stringByReplacingString(std::u16string_view receiver, std::u16string_view target,
                                       std::u16string_view withString) {
  std::u16string text;
  if (target.empty()) return text.assign(receiver);
  text.reserve(receiver.size());
  std::size_t from = 0;
  for (std::size_t at; (at = receiver.find(target, from)) != std::u16string_view::npos;
       from = at + target.size()) {
    text.append(receiver.substr(from, at - from)).append(withString);
  }
  return text.append(receiver.substr(from));
}

platform::String stringByReplacingString(const platform::String& receiver, const platform::String& target,
                                         const platform::String& withString) {
  if (!containsString(receiver.view(), target.view())) return receiver;
  return platform::String(stringByReplacingString(receiver.view(), target.view(), withString.view()));
}

std::u16string stringByConvertingSpacesInHTMLSpaces(std::u16string_view receiver) {
  return stringByReplacingString(receiver, u" ", u"&nbsp;");
}

std::u16string stringFromArray(std::span<const platform::String> array) {
  std::u16string text;
  std::size_t length = 0;
  for (const platform::String& string : array) length += string.length() + 1;
  text.reserve(length);
  for (const platform::String& string : array) {
    text.append(string.isNull() ? std::u16string_view(u"(null)") : string.view()).push_back(u'\n');
  }
  return text;
}

std::u16string fuzzyStringWithWordLength(std::u16string_view receiver, std::int32_t wordLength) {
  if (wordLength < 0 || static_cast<std::size_t>(wordLength) > receiver.size()) {
    throw std::out_of_range("fuzzyStringWithWordLength: word length beyond the string");
  }
  const auto length = static_cast<std::size_t>(wordLength);
  const std::size_t grams = receiver.size() + 1 - length;
  std::u16string text;
  text.reserve(grams * (length + 1));
  for (std::size_t i = 0; i < grams; ++i) text.append(receiver.substr(i, length)).push_back(u' ');
  return text;
}

bool WF_isEqualToNumber(double receiver, double other, float withPrecision) {
  return withPrecision > std::fabs(static_cast<float>(receiver) - static_cast<float>(other));
}

}  // namespace sifterra
