// Explanation.h: why a text got its scores, in shares that add up.
//
// The log-odds of a stretch are a start, which every text has, and the sum of a share for each different word
// in it: log2(1 + tf(w)) u(w).beta / |y|, where beta is what tells the last category from the others and y
// the sum over all words. So a share is what the word did to this page, among all its other words, and not
// what it would do alone. With more than two categories, beta weighs the others by how likely they are here.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lsm/Evaluation.h"

namespace sifterra::lsm {

enum class WordNature : std::uint8_t {
  kKnown,    // a word of the map
  kUnknown,  // spelt out: its letters are like those of words of the map
  kFixed,    // a word that stands in every page's text
};

struct ExplainedWord {
  std::string word;     // as the map has it; an unknown one as it was read
  std::string meaning;  // what the word stands for, where it is not a word of the page; else ""
  WordNature nature = WordNature::kKnown;
  double share = 0;                  // above 0 it speaks for the last category
  std::uint32_t count = 0;           // in the stretch
  std::uint32_t sections = 0;        // bits by TextSection; 0 when the text has none
  std::vector<std::string> written;  // what stands on the page in its place, where that is something else
};

struct Explanation {
  Judgement judgement;               // with all stretches that were judged
  double start = 0;                  // of every text
  double odds = 0;                   // of the stretch that decided: the start and all shares
  std::vector<ExplainedWord> words;  // the share that speaks most for the last category first
  std::string excerpt;               // where the stretch says it most plainly; "" without a source
};

// "the whole page", "a stretch of the page", ...
[[nodiscard]] inline std::string_view stretchName(StretchKind kind) noexcept {
  switch (kind) {
    case StretchKind::kHead:
      return "title, tags, description and key words";
    case StretchKind::kLabels:
      return "alternative texts and link titles";
    case StretchKind::kContent:
      return "the text";
    case StretchKind::kWindow:
      return "a stretch of the page";
    default:
      return "the whole page";
  }
}
// "title", "key words", ...; "" for what stands before all sections.
[[nodiscard]] inline std::string_view sectionName(TextSection section) noexcept {
  constexpr std::string_view kNames[kTextSections] = {
      "", "title", "tags", "description", "key words", "alternative texts", "link titles", "text"};
  return kNames[static_cast<std::size_t>(section)];
}

// Written forms and the excerpt need a text that keeps its source.
[[nodiscard]] Explanation explain(const Map& map, Text& text);

}  // namespace sifterra::lsm
