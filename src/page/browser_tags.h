// browser_tags.h: where tags and raw texts end as browsers read them (the HTML standard's tokenizer).
//
// Form feeds count as blanks in browsers; callers have made them spaces.
#pragma once

#include <cstddef>
#include <string_view>

namespace sifterra {

inline constexpr std::size_t kNoEnd = std::u16string_view::npos;

struct BrowserAttribute {
  std::u16string_view name;
  std::u16string_view value;
};

// Reads one tag, attribute by attribute.
class BrowserTag {
 public:
  // `nameBegin` is behind "<" or "</", at an ASCII letter.
  BrowserTag(std::u16string_view text, std::size_t nameBegin) noexcept;

  [[nodiscard]] std::size_t nameEnd() const noexcept { return nameEnd_; }
  // False at the end of the tag.
  bool nextAttribute(BrowserAttribute& attribute) noexcept;
  // Past the '>', after the last attribute was read; kNoEnd when the text ends within the tag.
  [[nodiscard]] std::size_t end() const noexcept { return end_; }
  // Whether it ends with "/>", after the last attribute was read.
  [[nodiscard]] bool selfClosing() const noexcept { return selfClosing_; }

 private:
  std::u16string_view text_;
  std::size_t nameEnd_;
  std::size_t at_;
  std::size_t end_ = kNoEnd;
  bool selfClosing_ = false;
};

// Past the tag whose name starts at `nameBegin`; kNoEnd when it has no end.
[[nodiscard]] std::size_t endOfBrowserTag(std::u16string_view text, std::size_t nameBegin) noexcept;

// Whether the '<' at `at` starts a start tag or an end tag, and whether any does from `at` on.
[[nodiscard]] bool startsTag(std::u16string_view text, std::size_t at) noexcept;
[[nodiscard]] bool holdsTags(std::u16string_view text, std::size_t at) noexcept;

// Whether the name `word` (lower-case ASCII) stands at `at`, in any ASCII case, and ends as a tag's name
// does.
[[nodiscard]] bool isTagNamed(std::u16string_view text, std::size_t at, std::u16string_view word) noexcept;

// Where the end tag of a text without markup (a style, a text area) starts, from `at` on; kNoEnd without one.
[[nodiscard]] std::size_t findRawEndTag(std::u16string_view text, std::size_t at,
                                        std::u16string_view name) noexcept;

// The same for a script, in which "<!--" followed by "<script" lets an end tag pass.
[[nodiscard]] std::size_t findScriptEndTag(std::u16string_view text, std::size_t at) noexcept;

}  // namespace sifterra
