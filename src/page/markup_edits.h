// markup_edits.h: a copy of a text with edits, made in order; there is no copy as long as there is no edit.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "util/unit_search.h"

namespace sifterra {

class MarkupEdits {
 public:
  // The text must outlive the edits.
  explicit MarkupEdits(std::u16string_view in)
      : in_(in), hasZeros_(findUnit(in, u'\0') != std::u16string_view::npos) {}

  // Each edit lies behind the ones before.
  void replace(std::size_t begin, std::size_t end, std::u16string_view by);
  // Makes zeros what they are to browsers within markup: "<s\0cript>" is no script, so they must not just go.
  void coverZeros(std::size_t begin, std::size_t end);
  // Makes each "<" a space, and covers zeros; answers `end`. No escape is written: texts are cleaned of what
  // looks like tags later on.
  std::size_t blankOut(std::size_t begin, std::size_t end);
  // Makes the parser read begin..end as the text of one element of this name: what seems to end it is
  // changed, and one that is too long for the parser is parted.
  void defuseRawText(std::size_t begin, std::size_t end, std::u16string_view name);

  [[nodiscard]] bool any() const noexcept { return changed_; }
  [[nodiscard]] std::u16string output() &&;

 private:
  void defusePart(std::size_t begin, std::size_t end, std::u16string_view name);

  std::u16string_view in_;
  bool hasZeros_;  // seldom any
  std::u16string out_;
  std::size_t copied_ = 0;  // input before this is in the output, once there is one
  bool changed_ = false;
};

}  // namespace sifterra
