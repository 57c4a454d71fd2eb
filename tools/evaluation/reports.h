// reports: the figures of an evaluation for a terminal, a program and a browser.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "evaluation/EvaluatedPage.h"
#include "evaluation/metrics.h"

namespace sifterra::tools {

// What is left of the recall under one disguise. The adult pages that label themselves are not counted: they
// do not hide.
struct DisguiseFigures {
  std::string name;
  std::string what;
  std::size_t pages = 0;            // adult ones
  std::size_t changed = 0;          // those that the disguise changes; the rest holds nothing that it touches
  std::size_t plain = 0;            // of `changed`, restricted without the disguise
  std::size_t kept = 0;             // of `plain`, still restricted
  std::size_t caught = 0;           // of `pages`, restricted under the disguise, unchanged ones included
  std::vector<GroupFigures> kinds;  // of each value of the group "kind": kept of plain as recall
};

struct Evaluation {
  std::string map;         // the map file, or what stands for the library's own
  double threshold = 0;    // a score must exceed it
  std::size_t errors = 0;  // pages that could not be read
  std::vector<EvaluatedPage> pages;
  Figures figures;                         // of `pages`
  std::vector<DisguiseFigures> disguises;  // those that were asked for
};

inline constexpr std::size_t kWorstMistakes = 20;  // of each kind, in every report

[[nodiscard]] std::string textReport(const Evaluation& evaluation);
// One object and a line end.
[[nodiscard]] std::string jsonReport(const Evaluation& evaluation);
// One self-contained page with both plots; nothing, with the reason in `why`, when they cannot be drawn.
[[nodiscard]] std::optional<std::string> htmlReport(const Evaluation& evaluation, std::string& why);

}  // namespace sifterra::tools
