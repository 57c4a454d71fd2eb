// The string helpers against their plain versions: a word on the first line, a text on the rest.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "reference/fuzz_units.h"
#include "reference/plain_numbers.h"
#include "reference/plain_words.h"
#include "util/folded_search.h"
#include "util/string_helpers.h"

namespace {

using namespace sifterra;

void check(bool holds) {
  if (!holds) std::abort();
}

void checkSearch(const std::u16string& text, const std::u16string& word) {
  const auto found = reference::findIgnoringCase(text, word, 0);
  check(findFolded(text, word, 0) == found.value_or(std::u16string::npos));
  check(containsString(text, word, SearchOptions::CaseInsensitive) == found.has_value());
  const auto plain = reference::rangeOfWord(text, word);
  check(rangeOfWord(text, word) == (plain ? Range{plain->first, plain->second} : Range::notFound()));
}

void checkRemoval(const std::u16string& text, const std::u16string& word) {
  const platform::String receiver{std::u16string(text)};
  const platform::String left = stringByRemovingWord(receiver, word);
  check(!containsWord(left.view(), word));
  check(left.sameObject(receiver) == !containsWord(text, word));
  check(word.empty() || (text.size() - left.length()) % word.size() == 0);
}

void checkReplacement(const std::u16string& text, const std::u16string& target) {
  if (target.empty()) return;
  // A unit that is nowhere in the text stands for the target, and is found as often.
  std::u16string result = stringByReplacingString(text, target, u"\uffff");
  if (text.find(u'\uffff') != std::u16string::npos || target.find(u'\uffff') != std::u16string::npos) return;
  check(result.find(target) == std::u16string::npos);
  check(stringByReplacingString(result, u"\uffff", target) == text);
}

void checkComparison(const std::u16string& a, const std::u16string& b) {
  const auto order = numericCompare(a, b);
  check(order == (0 <=> numericCompare(b, a)));
  const std::size_t width = std::max(a.size(), b.size());
  check(order == (reference::padded(a, width).compare(reference::padded(b, width)) <=> 0));
}

void checkGrams(const std::u16string& text, std::size_t length) {
  if (length == 0 || length > text.size()) return;
  const std::u16string grams = fuzzyStringWithWordLength(text, static_cast<std::int32_t>(length));
  check(grams.size() == (text.size() + 1 - length) * (length + 1));
  check(grams.back() == u' ' && grams.substr(0, length) == text.substr(0, length));
  check(grams.substr(grams.size() - length - 1, length) == text.substr(text.size() - length));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The plain search takes quadratic time, and so does removing many words.
  if (size > 2048) return 0;
  const auto fields = reference::fieldsOf(reference::unitsFrom(data, size), 2);
  const std::u16string& word = fields[0];
  const std::u16string& text = fields[1];
  checkSearch(text, word);
  checkRemoval(text, word);
  checkReplacement(text, word);
  if (size < 256) checkComparison(word, text);  // padding makes each digit as long as the text
  checkGrams(text, word.size());
  return 0;
}
