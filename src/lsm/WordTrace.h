// WordTrace: where the units of a text come from: what stands on the page for each.
//
// The engine forgets a word's place and spelling as soon as it is counted. Who explains a verdict needs both,
// so the text is read once more, blank by blank, and its tokens are laid beside those that were counted.
// Costs nothing to texts that nobody explains.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "lsm/TextWords.h"

namespace sifterra::lsm {

// One unit of the text's sequence.
struct UnitOrigin {
  std::size_t from;  // in the text's source: the characters between blanks that it was read from
  std::size_t to;
  std::uint32_t token;  // the token that it was made of
};

struct WordTrace {
  std::vector<UnitOrigin> origins;  // of each unit of the sequence, as far as they could be traced
  std::vector<std::string> tokens;  // each different one, UTF-8
};

// Of a text that keeps its source; empty for others.
[[nodiscard]] WordTrace traceWords(const Text& text);

// Characters of a source as one line of UTF-8 that can be shown anywhere: blanks and control characters in a
// row are one blank, invisible characters show as a middle dot, and what HTML takes for markup as a blank.
[[nodiscard]] std::string shownText(std::u16string_view source);

}  // namespace sifterra::lsm
