// markup_tags.h: where a tag ends and which attributes it has, as libxml2's HTML parser reads it.
//
// Browsers read some malformed tags otherwise. What matters here is what our own parser will see, so
// these functions follow it to the letter; a fuzz target holds the two together.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace sifterra {

struct AttributeSpan {
  std::size_t nameBegin;
  std::size_t nameEnd;
  std::size_t end;  // past the value, or past the name when there is none
};

struct TagSpan {
  std::size_t nameBegin;
  std::size_t nameEnd;
  std::size_t end;         // past the '>', or the text's length when it is missing
  std::size_t attributes;  // how many there are
  bool selfClosing;        // ends with "/>"
};

inline constexpr std::size_t kLongestParsedName = 100;  // units; the parser cuts names there

// What the page model reads of elements, in lower case.
inline constexpr std::array<std::u16string_view, 9> kModelAttributes = {
    u"alt", u"content", u"height", u"href", u"http-equiv", u"name", u"src", u"title", u"width"};
// The index of a name, in any ASCII case, in kModelAttributes; its size when it is none of them.
[[nodiscard]] std::size_t modelAttribute(std::u16string_view name) noexcept;

[[nodiscard]] constexpr bool isAsciiLetter(char16_t c) noexcept {
  return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}
[[nodiscard]] constexpr char16_t asciiLower(char16_t c) noexcept {
  return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 0x20) : c;
}
// White space between the parts of a tag: space, tab, line feed, carriage return.
[[nodiscard]] constexpr bool isMarkupBlank(char16_t c) noexcept {
  return c == u' ' || c == u'\t' || c == u'\n' || c == u'\r';
}
[[nodiscard]] constexpr bool isNameStart(char16_t c) noexcept {
  return isAsciiLetter(c) || c == u'_' || c == u':' || c == u'.';
}
[[nodiscard]] constexpr bool isNameUnit(char16_t c) noexcept {
  return isNameStart(c) || (c >= u'0' && c <= u'9') || c == u'-';
}

// Past the name that starts at `at`; `at` itself when none does.
[[nodiscard]] std::size_t endOfName(std::u16string_view text, std::size_t at) noexcept;

// The start tag whose '<' is at `at`; the next unit is an ASCII letter.
[[nodiscard]] TagSpan parseStartTag(std::u16string_view text, std::size_t at) noexcept;

// The same for a tag that browsers end in the same place, and that holds nothing odd: names of ASCII letters,
// digits and ":", "_", "-", "." only, blanks between attributes, values in quotes or without any. False for
// others.
[[nodiscard]] bool parsePlainStartTag(std::u16string_view text, std::size_t at, TagSpan& tag) noexcept;

// The next attribute of a start tag from `at` (past the name or the last attribute) on; false at the
// tag's end, and then `at` is there. Junk between attributes is skipped.
[[nodiscard]] bool nextAttribute(std::u16string_view text, std::size_t& at,
                                 AttributeSpan& attribute) noexcept;

// Whether `text` at `at` holds `word` (lower-case ASCII), without regard to ASCII case.
[[nodiscard]] bool startsWithIgnoringAsciiCase(std::u16string_view text, std::size_t at,
                                               std::u16string_view word) noexcept;

}  // namespace sifterra
