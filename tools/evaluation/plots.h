// plots: the curves of a report, drawn by gnuplot as SVG.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "evaluation/EvaluatedPage.h"
#include "evaluation/metrics.h"

namespace sifterra::tools {

struct PlottedMap {
  std::string name;  // in the legend
  const Figures& figures;
};

// <svg> elements without XML declaration, to be put into a page; nothing, with the reason in `why`, when
// gnuplot is missing or fails.

// The curves, each with the point at which the map is used.
[[nodiscard]] std::optional<std::string> rocPlot(const std::vector<PlottedMap>& maps, std::string& why);
// Missed adult pages against restricted legitimate ones, both on the scale on which normally distributed
// scores give a straight line: the corner that matters is as large as the rest.
[[nodiscard]] std::optional<std::string> detPlot(const std::vector<PlottedMap>& maps, std::string& why);
// How many pages of each kind have which score. The score runs by its odds, as most lie near 0 and 1, and the
// number of pages on a logarithmic axis.
[[nodiscard]] std::optional<std::string> scorePlot(const std::vector<EvaluatedPage>& pages, double threshold,
                                                   std::string& why);

}  // namespace sifterra::tools
