// Calibration.h: where the last category begins, on pages of sites that the map was not trained on.
//
// What is calibrated is the margin: the log-odds of the last category against all others, as the engine
// scores a page. Adding to the last category's bias adds the same to every margin.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "lsm/LsmEngine.h"

namespace sifterra::lsm {

// The score that a page of the last category must exceed.
inline constexpr double kOperatingScore = 0.62;
[[nodiscard]] double logOdds(double score);

// The upper end of a set of margins, smoothed: what exceeds `start`, which a share of them does, is taken to
// follow a generalised Pareto distribution (Pickands 1975; fitted by probability-weighted moments, Hosking
// and Wallis 1987). A single quantile so far out would stand on one or two pages.
struct MarginTail {
  double start = 0;
  double share = 0;
  double scale = 0;
  double shape = 0;  // 0: exponential; below 0 the tail ends somewhere

  [[nodiscard]] double shareAbove(double margin) const;  // for margins from the start on
  [[nodiscard]] double marginExceededBy(double share) const;
};
// At least two margins.
[[nodiscard]] MarginTail fitTail(std::vector<double> margins);

// The share of pages whose margin exceeds `margin`, with the 95% interval of a bootstrap over the margins.
struct ShareEstimate {
  double share = 0;
  double low = 0;
  double high = 0;
};
[[nodiscard]] ShareEstimate estimateShareAbove(const std::vector<double>& margins, double margin);

// The margin of a text as the engine scores it.
[[nodiscard]] double marginOf(const LsmMap& map, std::u16string_view text);
// The category that the engine likes best, from 1.
[[nodiscard]] std::uint32_t bestCategory(const LsmMap& map, std::u16string_view text);

}  // namespace sifterra::lsm
