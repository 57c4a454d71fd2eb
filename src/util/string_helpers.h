// string_helpers.h: what the library adds to strings. The receiver comes first.
//
// Positions and lengths are UTF-16 code units. Ignoring case means simple Unicode folding, character by
// character, without normalisation. Nothing is ever found for an empty word or search text, and an empty
// target replaces nothing. None of these writes a log line.
#pragma once

#include <compare>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "sifterra/platform/String.h"
#include "util/Range.h"

namespace sifterra {

// ---- Characters around a word

// White space and newlines, symbols, and ".,-_!?*&": what may stand beside a word without being part of
// it. Brackets and quotes are not in it.
class IgnorableCharacterSet {
 public:
  [[nodiscard]] bool contains(char32_t c) const noexcept;

 private:
  friend const IgnorableCharacterSet& ignorableCharacterSet() noexcept;
  IgnorableCharacterSet() = default;
};

// The one set of the process.
[[nodiscard]] const IgnorableCharacterSet& ignorableCharacterSet() noexcept;

// ---- Search

enum class SearchOptions { Literal, CaseInsensitive };

// Whether `string` occurs anywhere: unit by unit, or as the options say.
[[nodiscard]] bool containsString(std::u16string_view receiver, std::u16string_view string);
[[nodiscard]] bool containsString(std::u16string_view receiver, std::u16string_view string,
                                  SearchOptions options);

// The first occurrence of the word, in any case, that has nothing but an ignorable character (or an end
// of the text) directly before and behind it. One unit is looked at on each side, so half a surrogate
// pair counts as a letter. Matches do not overlap.
[[nodiscard]] Range rangeOfWord(std::u16string_view receiver, std::u16string_view word);
[[nodiscard]] bool containsWord(std::u16string_view receiver, std::u16string_view word);

// ---- Change

// Every whole-word occurrence cut out, also those that come to be by cutting; the receiver itself (the
// same object) when there is none. No space is put in its place. Takes time in the square of the
// receiver's length when there are many; not for page texts.
[[nodiscard]] platform::String stringByRemovingWord(const platform::String& receiver,
                                                    std::u16string_view word);

// Every occurrence of `target` (literal, left to right) replaced.
[[nodiscard]] std::u16string stringByReplacingString(std::u16string_view receiver, std::u16string_view target,
                                                     std::u16string_view withString);

// The same for shared strings; the receiver itself (the same object) when nothing is replaced.
[[nodiscard]] platform::String stringByReplacingString(const platform::String& receiver,
                                                       const platform::String& target,
                                                       const platform::String& withString);

// Every U+0020 as "&nbsp;".
[[nodiscard]] std::u16string stringByConvertingSpacesInHTMLSpaces(std::u16string_view receiver);

// ---- Build

// Each string followed by a line feed; "(null)" for a null one.
[[nodiscard]] std::u16string stringFromArray(std::span<const platform::String> array);

// The same for objects that describe themselves.
template <class Object>
[[nodiscard]] std::u16string stringFromArray(std::span<const Object> array) {
  std::u16string text;
  for (const Object& object : array) {
    text.append(object.description().view()).push_back(u'\n');
  }
  return text;
}

// The character n-grams of the receiver, each followed by one space: "abcd", 3 gives "abc bcd ".
// `wordLength` lies between 1 and the receiver's length (0 gives one space more than there are units);
// any other throws std::out_of_range.
[[nodiscard]] std::u16string fuzzyStringWithWordLength(std::u16string_view receiver, std::int32_t wordLength);

// ---- Compare

// Runs of ASCII digits by their value, whatever their length, everything else unit by unit.
// "file9" < "file10"; "a01" and "a1" are equivalent.
[[nodiscard]] std::weak_ordering numericCompare(std::u16string_view receiver, std::u16string_view other);

// Whether the two, read as 32-bit floats, differ by less than `precision` (which must exceed the
// difference: 0 is never satisfied, nor is anything when one of them is not a number).
[[nodiscard]] bool WF_isEqualToNumber(double receiver, double other, float withPrecision);

// ---- URLs

// The URL put together again from its percent-encoded components; for what is no URL the text with its
// percent-encoding removed and put on anew. Null of null. See url_repair.cpp for what it changes.
[[nodiscard]] platform::String stringByProperlyFixingPercentEscapes(const platform::String& receiver);

}  // namespace sifterra
