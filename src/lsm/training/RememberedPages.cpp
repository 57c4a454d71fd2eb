#include "lsm/training/RememberedPages.h"

#include <algorithm>
#include <utility>

#include "lsm/training/Calibration.h"
#include "lsm/training/parallel_for.h"

namespace sifterra::lsm {
namespace {

// Of the pages that shall not be restricted so many, those with the greatest log-odds, are all kept; of the
// rest, and of the last category, at most so many.
constexpr double kNearShare = 0.15;
constexpr std::size_t kFewestNear = 80;
constexpr std::size_t kMostOfTheRest = 600;
// So few pages cannot be told from none.
constexpr double kFewestFalsePositives = 1e-4;
// A view that is so far behind the page's greatest one will not decide after a change that is any good.
constexpr double kFarBehind = 6;

struct Held {
  std::size_t page;  // in the corpus
  double margin;
};

struct Chosen {
  std::size_t page;
  double weight;
};

// `most` of them, spread evenly over their log-odds.
void chooseEvenly(const std::vector<Held>& pages, std::size_t from, std::size_t most,
                  std::vector<Chosen>& chosen) {
  const std::size_t rest = pages.size() - from;
  const std::size_t taken = std::min(rest, most);
  for (std::size_t i = 0; i < taken; ++i) {
    const std::size_t at = from + (2 * i + 1) * rest / (2 * taken);
    chosen.push_back({pages[at].page, static_cast<double>(rest) / static_cast<double>(taken)});
  }
}

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

MapMemory rememberPages(const LsmMap& map, const TrainingCorpus& corpus, std::size_t threads) {
  const std::uint32_t last = map->categoryCount() - 1;
  std::vector<Held> held;
  MapMemory memory;
  for (std::size_t p = 0; p < corpus.pages().size(); ++p) {
    if (corpus.pages()[p].calibrates) held.push_back({p, 0});
  }
  parallelFor(threads, held.size(), 64, [&](std::size_t, std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; ++i)
      held[i].margin = marginOf(map, corpus.pages()[held[i].page].scored.text());
  });
  std::stable_sort(held.begin(), held.end(),
                   [](const Held& a, const Held& b) { return a.margin > b.margin; });
  std::vector<Held> ofLast;
  std::vector<Held> others;
  for (const Held& page : held)
    (corpus.pages()[page.page].category == last ? ofLast : others).push_back(page);
  std::vector<Chosen> chosen;
  const std::size_t near = std::min(
      others.size(),
      std::max(kFewestNear, static_cast<std::size_t>(kNearShare * static_cast<double>(others.size()))));
  for (std::size_t i = 0; i < near; ++i) chosen.push_back({others[i].page, 1});
  chooseEvenly(others, near, kMostOfTheRest, chosen);
  chooseEvenly(ofLast, 0, kMostOfTheRest, chosen);

  const LastCategory categories(*map);
  std::vector<std::vector<PageView>> views(chosen.size());
  parallelFor(threads, chosen.size(), 16, [&](std::size_t, std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; ++i)
      views[i] = viewsOf(map, categories, corpus.pages()[chosen[i].page].scored.text());
  });
  for (std::size_t i = 0; i < chosen.size(); ++i) {
    memory.weights.push_back(static_cast<float>(chosen[i].weight));
    memory.categories.push_back(static_cast<std::uint8_t>(corpus.pages()[chosen[i].page].category));
    double best = -1e30;
    for (const PageView& view : views[i]) best = std::max(best, marginOf(categories, view));
    for (const PageView& view : views[i]) {
      if (marginOf(categories, view) < best - kFarBehind) continue;
      memory.pages.push_back(static_cast<std::uint32_t>(i));
      memory.offsets.push_back(static_cast<float>(view.offset));
      for (Eigen::Index k = 0; k < view.point.size(); ++k)
        memory.points.push_back(static_cast<float>(view.point[k]));
    }
  }
  return memory;
}

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
