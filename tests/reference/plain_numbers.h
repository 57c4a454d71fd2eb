// plain_numbers.h: texts made comparable by padding their numbers.
#pragma once

#include <algorithm>
#include <string>

namespace sifterra::reference {

// All digit runs brought to one length with zeros in front: then plain units order them by value.
inline std::u16string padded(const std::u16string& text, std::size_t width = 64) {
  std::u16string result;
  for (std::size_t i = 0; i < text.size();) {
    std::u16string run;
    while (i < text.size() && text[i] >= u'0' && text[i] <= u'9') run += text[i++];
    if (run.empty()) {
      result += text[i++];
    } else {
      result += std::u16string(width - std::min(width, run.size()), u'0') + run;
    }
  }
  return result;
}

}  // namespace sifterra::reference
