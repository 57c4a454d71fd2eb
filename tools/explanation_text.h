// explanation_text: why a page got its verdict, for a reader and for a program.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "input/PageSource.h"
#include "json_text.h"
#include "sifterra/classifier/WFExplanation.h"
#include "sifterra/classifier/WFLSMMap.h"

namespace sifterra::tools {

inline constexpr std::size_t kExplainedWords = 10;  // each way

// What the map makes of the page's words, by `charset` when that is not "".
[[nodiscard]] std::shared_ptr<const WFExplanation> explainPage(const WFLSMMap& map, const PageRecord& page,
                                                               const std::string& charset);

// The words that speak for the last category, or against it, the strongest first; at most kExplainedWords.
[[nodiscard]] std::vector<const WFExplainedWord*> strongestWords(const WFExplanation& explanation,
                                                                 bool forLast);

// The points that a score of the threshold stands for.
[[nodiscard]] double pointsOfThreshold(float threshold);

// "porn (15 times; title, text; written "p0rn")"
[[nodiscard]] std::string wordText(const WFExplainedWord& word);
// Lines of text, each with its line end, control characters taken out.
[[nodiscard]] std::string explanationText(const WFExplanation& explanation, float threshold);
[[nodiscard]] Json explanationJson(const WFExplanation& explanation, float threshold);

}  // namespace sifterra::tools
