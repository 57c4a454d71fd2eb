// Evaluation.h: from the words of a text to one score a category.
//
// y = sum of log2(1 + tf(w)) u(w) over the different words; its direction, y / |y|, goes through a linear
// head that gives each category a log-odds-like value z; the scores are the softmax of z. The last category
// is also looked for in overlapping windows: a page of many harmless words cannot drown a stretch that speaks
// plainly. docs/map-format.md has the formulas in full.
#pragma once

#include <vector>

#include "lsm/LsmEngine.h"
#include "lsm/MapFile.h"
#include "lsm/TextWords.h"

namespace sifterra::lsm {

// Differences of z beyond this change nothing: every score stays above 6e-6.
inline constexpr double kMaxLogitDifference = 12.0;
// A shorter sum of rows has no direction.
inline constexpr float kMinLength = 1e-9f;

// The scores of a text, by category.
[[nodiscard]] std::vector<float> evaluate(const Map& map, Text& text);
// The scores of one known word standing alone.
[[nodiscard]] std::vector<float> evaluateWord(const Map& map, std::uint32_t word, EvaluationScratch& scratch);

}  // namespace sifterra::lsm
