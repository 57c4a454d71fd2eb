// foreign_content.h: whether a point of a page may lie within an SVG or MathML drawing.
//
// There browsers read a style or script as markup, the parser never. When in doubt the answer is yes.
#pragma once

#include <cstddef>
#include <string_view>

namespace sifterra {

class ForeignContent {
 public:
  // Names in any ASCII case.
  void startTag(std::u16string_view name, bool selfClosing);
  void endTag(std::u16string_view name);
  [[nodiscard]] bool possible() const noexcept { return drawings_ > 0; }
  // Whether it does for sure.
  [[nodiscard]] bool certain() const noexcept { return drawings_ > 0 && integration_ == 0 && !doubtful_; }

 private:
  std::size_t drawings_ = 0;     // open svg and math elements
  std::size_t integration_ = 0;  // open elements of theirs that hold HTML: title, foreignObject
  bool doubtful_ = false;        // HTML stood in one, so end tags no longer tell what they close
};

}  // namespace sifterra
