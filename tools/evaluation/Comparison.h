// Comparison: two maps measured on the same pages, and the pages on which they differ.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "evaluation/reports.h"

namespace sifterra::tools {

// One page by both maps.
struct PagePair {
  const EvaluatedPage* a;
  const EvaluatedPage* b;
};

// Pages of one kind that one map restricts and the other allows.
struct Difference {
  const char* what;  // "Adult pages that only A restricts"
  const char* name;  // in JSON: "adultOnlyA"
  bool adult;
  bool byA;                     // restricted by A alone, else by B alone
  std::vector<PagePair> pages;  // the farthest apart in their scores first
};

struct Comparison {
  const Evaluation& a;
  const Evaluation& b;
  std::vector<Difference> differences;  // four: adult by A, by B, legitimate by A, by B

  [[nodiscard]] std::size_t countOf(bool adult, bool byA) const;
  // How likely it is that chance alone shares out as unevenly the pages of that kind on which the maps
  // differ; 1 when they do not differ. The exact test of McNemar (1947).
  [[nodiscard]] double chance(bool adult) const;
};

// Both of the same pages in the same order. Borrows from both.
[[nodiscard]] Comparison compared(const Evaluation& a, const Evaluation& b);

[[nodiscard]] std::string textReport(const Comparison& comparison);
// One object and a line end.
[[nodiscard]] std::string jsonReport(const Comparison& comparison);
// One self-contained page; nothing, with the reason in `why`, when the plot cannot be drawn.
[[nodiscard]] std::optional<std::string> htmlReport(const Comparison& comparison, std::string& why);

}  // namespace sifterra::tools
