// foreign_content.h: whether a point of a page may lie within an SVG or MathML drawing.
//
// There browsers read a style or script as markup, the parser never. When in doubt the answer is yes.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace sifterra {

class ForeignContent {
 public:
  // Names as browsers read them, in any ASCII case; they must outlive this.
  void startTag(std::u16string_view name, bool selfClosing);
  void endTag(std::u16string_view name);
  [[nodiscard]] bool possible() const noexcept { return !open_.empty() || holdsHtml_; }
  // Whether it does for sure.
  [[nodiscard]] bool certain() const noexcept {
    return !open_.empty() && integration_ == 0 && !holdsHtml_ && !doubtful_;
  }

 private:
  void pop();

  std::vector<std::u16string_view> open_;  // elements, from an svg or math element on
  std::size_t integration_ = 0;            // of them those that hold HTML: title, foreignObject
  bool holdsHtml_ = false;                 // HTML stood in one, so end tags no longer tell what they close
  bool doubtful_ = false;                  // as long as anything is open: it may have been closed
};

}  // namespace sifterra
