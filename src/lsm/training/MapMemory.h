// MapMemory: what a map remembers of the pages that it was calibrated on.
//
// Places in the latent space, no words: from them nothing of a page can be read, but a later change of the
// map can be measured, as if the pages were still there. The engine does not look at it.
#pragma once

#include <cstdint>
#include <vector>

namespace sifterra::lsm {

struct MapMemory {
  std::uint32_t teachingPages = 0;  // N: that the map was learnt from
  // By page: how many pages that were held back it stands for, and its category, from 0.
  std::vector<float> weights;
  std::vector<std::uint8_t> categories;
  // By view, those of one page one after the other. A page's log-odds are the greatest of its views', which
  // have `offset` taken off.
  std::vector<std::uint32_t> pages;
  std::vector<float> offsets;
  std::vector<float> points;  // views x rank

  [[nodiscard]] bool empty() const noexcept { return pages.empty(); }
};

// How well a map does on them.
struct MapFigures {
  double recall = 0;          // share of the last category that is restricted
  double falsePositives = 0;  // share of the others that is, by the tail of their log-odds
};

}  // namespace sifterra::lsm
