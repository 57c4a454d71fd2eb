// TrainingPage.h: a page as the trainer keeps it: its words, and its text as it will be scored.
//
// Made by any number of threads at once; that is where most of the time of reading a corpus goes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lsm/Tokenizer.h"

namespace sifterra::lsm {

// One different word of a page.
struct PageWord {
  std::string text;  // as the tokeniser hands it over
  TokenKind kind = TokenKind::kWord;
  WordScript script = WordScript::kCommon;
  std::uint8_t characters = 0;
  std::uint32_t count = 0;  // tf(w)
};
// In the order of their first appearance. Signature and marker words are left out: which page has them is not
// the page's doing.
using PageWords = std::vector<PageWord>;
[[nodiscard]] PageWords countWords(std::u16string_view text);

// A text with lines that repeat, kept once: a page's title, description and key words stand in its text ten
// and fifteen times in a row.
class FoldedText {
 public:
  FoldedText() = default;
  explicit FoldedText(std::u16string_view text);
  [[nodiscard]] std::u16string text() const;

 private:
  std::u16string _lines;
  std::vector<std::uint32_t> _repeats;  // of each line
};

struct TrainingPage {
  PageWords words;
  FoldedText scored;
  std::uint32_t category = 0;  // from 1
  std::string site;            // pages of one site are used together
  // Made for training: nobody meets it on the web, so it says nothing about how often a map would be wrong.
  bool composed = false;
};

// `trainingText` is the page's text that teaches, `filterText` the one that is scored when the map is used.
[[nodiscard]] TrainingPage makeTrainingPage(std::u16string_view trainingText, std::u16string_view filterText,
                                            std::uint32_t category, std::string site);

}  // namespace sifterra::lsm
