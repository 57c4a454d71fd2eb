// RawTexts.h: the texts of a page that browsers read without markup, such as a script or a text area.
//
// Where each ends is looked for once and remembered, so that a page of many of them costs no more than any
// other. Where the parser reads markup in one, its end is a barrier that nothing that starts within may pass.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace sifterra {

class RawTexts {
 public:
  enum Kind : std::size_t {
    Script,
    Style,
    Title,
    Textarea,
    Xmp,
    Iframe,
    Noembed,
    Noframes,
    Noscript,
    Plaintext,
    None  // another element
  };

  // The text must outlive this.
  explicit RawTexts(std::u16string_view text) : text_(text), limit_(text.size()) {}

  // What the element of this name holds; in any ASCII case.
  [[nodiscard]] static Kind kindOf(std::u16string_view name) noexcept;
  [[nodiscard]] static std::u16string_view nameOf(Kind kind) noexcept;

  // Where the end tag starts, from `from` on, which never lies before that of the last call; kNoEnd
  // (browser_tags.h) without one.
  [[nodiscard]] std::size_t endTag(Kind kind, std::size_t from);
  // The same for a script, as browsers read it, up to the nearest barrier.
  [[nodiscard]] std::size_t scriptEndTag(std::size_t from);

  void setBarrier(Kind kind, std::size_t at) {
    barriers_[kind] = at;
    hasBarriers_ = true;
  }
  // Leaves behind the barriers up to `at`.
  void pass(std::size_t at) noexcept;
  // The nearest barrier ahead of what was passed, or the text's end.
  [[nodiscard]] std::size_t limit() const noexcept { return limit_; }

 private:
  std::u16string_view text_;
  std::size_t limit_;
  std::array<std::size_t, None> barriers_{};
  bool hasBarriers_ = false;                 // one lies ahead
  std::array<std::size_t, None> endTags_{};  // the first one from where it was last asked for
  bool scriptIsEndless_ = false;
};

}  // namespace sifterra
