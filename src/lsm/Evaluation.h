// Evaluation.h: from the words of a text to one score a category.
//
// y = sum of log2(1 + tf(w)) u(w) over the different words; its direction, y / |y|, goes through a linear
// head that gives each category a log-odds-like value z; the scores are the softmax of z. The last category
// is also looked for in stretches of the text: in each part of a page by itself, and in overlapping windows.
// Neither a harmless title said fifteen times nor a page of many harmless words can drown a stretch that
// speaks plainly. docs/map-format.md has the formulas in full.
#pragma once

#include <cstdint>
#include <vector>

#include "lsm/LsmEngine.h"
#include "lsm/MapFile.h"
#include "lsm/TextSection.h"
#include "lsm/TextWords.h"

namespace sifterra::lsm {

// Differences of z beyond this change nothing: every score stays above 6e-6.
inline constexpr double kMaxLogitDifference = 12.0;
// A shorter sum of rows has no direction.
inline constexpr float kMinLength = 1e-9f;

// What a stretch of a text is.
enum class StretchKind : std::uint8_t {
  kHead,     // title, tags, description and key words
  kLabels,   // alternative texts and link titles
  kContent,  // what the page shows
  kWhole,    // all of the text
  kWindow,   // so many units in a row
};

// A stretch that was judged. `odds` are the log-odds of the last category against the others together, with
// the penalty of its kind taken off: the text's are the highest of all stretches. Those of windows are a
// mean.
struct Stretch {
  StretchKind kind = StretchKind::kWhole;
  UnitRange units;  // of the text; a window stands for the best ones, and is the very best
  double odds = 0;
  double penalty = 0;
  std::size_t windows = 0;  // so many of which `odds` is the mean; 0 for any other kind
};

struct Judgement {
  std::vector<float> scores;  // by category
  Stretch decided;
  std::vector<Stretch> others;  // that were judged as well, only when asked for
};

// The parts of a page among a text's units; all empty where no marker parts it.
[[nodiscard]] UnitRange partOf(const Text& text, StretchKind part) noexcept;

// The scores of a text, by category.
[[nodiscard]] std::vector<float> evaluate(const Map& map, Text& text);
// The same, with what decided.
[[nodiscard]] Judgement judge(const Map& map, Text& text, bool withOthers = false);
// The log-odds of the last category in some units of a text, with nothing taken off; 0 for a map of one
// category.
[[nodiscard]] double oddsOf(const Map& map, Text& text, UnitRange units);
// Leaves the rows, the sum and the logits of the whole text in its scratch.
void sumWholeText(const Map& map, Text& text);
// The log-odds of the last category against the others together.
[[nodiscard]] double oddsOfLogits(const std::vector<float>& logits);
// The scores of one known word standing alone.
[[nodiscard]] std::vector<float> evaluateWord(const Map& map, std::uint32_t word, EvaluationScratch& scratch);

}  // namespace sifterra::lsm
