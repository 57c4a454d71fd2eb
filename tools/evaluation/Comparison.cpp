#include "evaluation/Comparison.h"

#include <algorithm>
#include <cmath>

namespace sifterra::tools {

std::size_t Comparison::countOf(bool adult, bool byA) const {
  for (const Difference& difference : differences) {
    if (difference.adult == adult && difference.byA == byA) return difference.pages.size();
  }
  return 0;
}

// Each page on which the maps differ falls to either with equal chance: twice the tail of a binomial
// distribution, its terms by their logarithms.
double Comparison::chance(bool adult) const {
  const std::size_t fewer = std::min(countOf(adult, true), countOf(adult, false));
  const auto all = static_cast<double>(countOf(adult, true) + countOf(adult, false));
  double tail = 0;
  for (std::size_t i = 0; i <= fewer; ++i) {
    const auto hits = static_cast<double>(i);
    tail += std::exp(std::lgamma(all + 1) - std::lgamma(hits + 1) - std::lgamma(all - hits + 1) -
                     all * std::log(2.0));
  }
  return std::min(1.0, 2 * tail);
}

Comparison compared(const Evaluation& a, const Evaluation& b) {
  Comparison comparison{a, b, {}};
  comparison.differences = {{"Adult pages that only A restricts", "adultOnlyA", true, true, {}},
                            {"Adult pages that only B restricts", "adultOnlyB", true, false, {}},
                            {"Legitimate pages that only A restricts", "legitimateOnlyA", false, true, {}},
                            {"Legitimate pages that only B restricts", "legitimateOnlyB", false, false, {}}};
  for (std::size_t i = 0; i < std::min(a.pages.size(), b.pages.size()); ++i) {
    const PagePair pair{&a.pages[i], &b.pages[i]};
    if (pair.a->restricted == pair.b->restricted) continue;
    for (Difference& difference : comparison.differences) {
      if (difference.adult == pair.a->adult && difference.byA == pair.a->restricted)
        difference.pages.push_back(pair);
    }
  }
  const auto apart = [](const PagePair& pair) { return std::abs(pair.a->score - pair.b->score); };
  for (Difference& difference : comparison.differences) {
    std::sort(difference.pages.begin(), difference.pages.end(), [&](const PagePair& x, const PagePair& y) {
      if (apart(x) != apart(y)) return apart(x) > apart(y);
      return x.a->name < y.a->name;
    });
  }
  return comparison;
}

}  // namespace sifterra::tools
