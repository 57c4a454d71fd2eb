// RememberedPages: how well a map does on the pages that it remembers, now and after its head has changed.
#pragma once

#include <cstddef>
#include <vector>

#include "lsm/training/MapMemory.h"
#include "lsm/training/PageViews.h"

namespace sifterra::lsm {

// The pages of a memory as a head sees them.
class RememberedPages {
 public:
  RememberedPages(const MapMemory& memory, std::size_t rank, std::size_t categories);

  [[nodiscard]] std::size_t pageCount() const noexcept { return _memory.weights.size(); }
  [[nodiscard]] bool isLast(std::size_t page) const noexcept {
    return std::size_t{_memory.categories[page]} + 1 == _categories;
  }
  [[nodiscard]] double weight(std::size_t page) const noexcept {
    return static_cast<double>(_memory.weights[page]);
  }
  // The views of a page, without words.
  [[nodiscard]] const std::vector<PageView>& views(std::size_t page) const noexcept { return _views[page]; }
  // Log-odds of each page.
  [[nodiscard]] std::vector<double> margins(const LastCategory& last) const;
  // When pages with log-odds above `threshold` are restricted.
  [[nodiscard]] MapFigures figures(const std::vector<double>& margins, double threshold) const;
  // By how much all log-odds must fall for no more than this share of pages to be restricted that should not;
  // 0 when they need not.
  [[nodiscard]] double excess(const std::vector<double>& margins, double threshold,
                              double falsePositives) const;

 private:
  const MapMemory& _memory;
  std::size_t _categories;
  std::vector<std::vector<PageView>> _views;
};

}  // namespace sifterra::lsm
