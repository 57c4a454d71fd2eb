// plots: the curves of a report, drawn by gnuplot as SVG.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "evaluation/EvaluatedPage.h"
#include "evaluation/metrics.h"

namespace sifterra::tools {

// <svg> elements without XML declaration, to be put into a page; nothing, with the reason in `why`, when
// gnuplot is missing or fails.
[[nodiscard]] std::optional<std::string> rocPlot(const Figures& figures, std::string& why);
// How many pages of each kind have which score, on a logarithmic axis.
[[nodiscard]] std::optional<std::string> scorePlot(const std::vector<EvaluatedPage>& pages, double threshold,
                                                   std::string& why);

}  // namespace sifterra::tools
