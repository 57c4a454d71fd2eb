#include "lsm/training/RememberedPages.h"

#include <algorithm>
#include <utility>

#include "lsm/training/Calibration.h"

namespace sifterra::lsm {
namespace {

// So few pages cannot be told from none.
constexpr double kFewestFalsePositives = 1e-4;
// The tail of the pages that shall not be restricted, where a page counts as many.
MarginTail tailOf(std::vector<std::pair<double, double>> marginsAndWeights) {
  constexpr double kShare = 0.05;
  constexpr double kFewest = 40;
  std::sort(marginsAndWeights.begin(), marginsAndWeights.end(),
            [](const auto& a, const auto& b) { return a.first > b.first; });
  double total = 0;
  for (const auto& [margin, weight] : marginsAndWeights) total += weight;
  MarginTail tail;
  if (total <= 0) return tail;
  const double wanted = std::min(std::max(kShare * total, kFewest), total / 2);
  double inTail = 0;
  double sum = 0;
  for (const auto& [margin, weight] : marginsAndWeights) {
    tail.start = margin;
    if (inTail + weight > wanted && inTail > 0) break;
    inTail += weight;
    sum += weight * margin;
  }
  tail.share = inTail / total;
  tail.scale = std::max(sum / inTail - tail.start, 0.1);
  return tail;
}

}  // namespace

RememberedPages::RememberedPages(const MapMemory& memory, std::size_t rank, std::size_t categories)
    : _memory(memory), _categories(categories), _views(memory.weights.size()) {
  for (std::size_t v = 0; v < memory.pages.size(); ++v) {
    PageView view;
    view.offset = static_cast<double>(memory.offsets[v]);
    view.point.resize(static_cast<Eigen::Index>(rank));
    for (std::size_t k = 0; k < rank; ++k)
      view.point[static_cast<Eigen::Index>(k)] = static_cast<double>(memory.points[v * rank + k]);
    _views[memory.pages[v]].push_back(std::move(view));
  }
}

std::vector<double> RememberedPages::margins(const LastCategory& last) const {
  std::vector<double> margins;
  for (const std::vector<PageView>& page : _views) {
    double most = -1e30;
    for (const PageView& view : page) most = std::max(most, marginOf(last, view));
    margins.push_back(most);
  }
  return margins;
}

MapFigures RememberedPages::figures(const std::vector<double>& margins, double threshold) const {
  MapFigures figures;
  double ofLast = 0;
  std::vector<std::pair<double, double>> others;
  for (std::size_t page = 0; page < margins.size(); ++page) {
    if (isLast(page)) {
      ofLast += weight(page);
      if (margins[page] > threshold) figures.recall += weight(page);
    } else {
      others.emplace_back(margins[page], weight(page));
    }
  }
  if (ofLast > 0) figures.recall /= ofLast;
  if (!others.empty())
    figures.falsePositives = std::min(tailOf(std::move(others)).shareAbove(threshold), 1.0);
  return figures;
}

double RememberedPages::excess(const std::vector<double>& margins, double threshold,
                               double falsePositives) const {
  std::vector<std::pair<double, double>> others;
  for (std::size_t page = 0; page < margins.size(); ++page) {
    if (!isLast(page)) others.emplace_back(margins[page], weight(page));
  }
  if (others.empty()) return 0;
  const double share = std::max(falsePositives, kFewestFalsePositives);
  return std::max(0.0, tailOf(std::move(others)).marginExceededBy(share) - threshold);
}

}  // namespace sifterra::lsm
