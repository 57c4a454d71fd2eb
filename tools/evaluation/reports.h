// reports: the figures of an evaluation for a terminal, a program and a browser.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "evaluation/EvaluatedPage.h"
#include "evaluation/metrics.h"

namespace sifterra::tools {

struct Evaluation {
  std::string map;         // the map file, or what stands for the library's own
  double threshold = 0;    // a score must exceed it
  std::size_t errors = 0;  // pages that could not be read
  std::vector<EvaluatedPage> pages;
  Figures figures;  // of `pages`
};

inline constexpr std::size_t kWorstMistakes = 20;  // of each kind, in every report

[[nodiscard]] std::string textReport(const Evaluation& evaluation);
// One object and a line end.
[[nodiscard]] std::string jsonReport(const Evaluation& evaluation);
// One self-contained page with both plots; nothing, with the reason in `why`, when they cannot be drawn.
[[nodiscard]] std::optional<std::string> htmlReport(const Evaluation& evaluation, std::string& why);

}  // namespace sifterra::tools
