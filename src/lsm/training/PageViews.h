// PageViews: the ways in which the engine looks at a page, taken apart.
//
// The engine judges a text as a whole, by its best windows and by its parts, and takes the greatest log-odds.
// Each of these is linear in the head: the head times a point, which is the direction of a sum of rows or a
// mean of such directions, with something taken off. The engine computes the log-odds alone, in 32 bits; here
// the points are kept, for what has to be known of them when the head or a word's row changes.
#pragma once

#include <Eigen/Core>
#include <cstdint>
#include <string_view>
#include <vector>

#include "lsm/MapFile.h"
#include "lsm/training/MapWriter.h"

namespace sifterra::lsm {

// How a map tells the last category from the others.
class LastCategory {
 public:
  explicit LastCategory(const Map& map);
  explicit LastCategory(const MapContents& contents);

  // Log-odds of the last category against the others together, at a point.
  [[nodiscard]] double margin(const Eigen::VectorXd& point) const;
  // The derivative of the log-odds there: the last category's weights less those of the others, by their
  // shares.
  [[nodiscard]] Eigen::VectorXd gradient(const Eigen::VectorXd& point) const;
  // Of unit length: away from the mean of the other categories' weights.
  [[nodiscard]] const Eigen::VectorXd& direction() const noexcept { return _direction; }

 private:
  void findDirection();
  [[nodiscard]] Eigen::VectorXd shares(const Eigen::VectorXd& point, double& others) const;

  Eigen::MatrixXd _weights;  // categories x rank
  Eigen::VectorXd _bias;
  Eigen::VectorXd _direction;
};

// What the log-odds of a view gain when a word's row grows by one along a direction.
struct WordPull {
  std::uint32_t word;  // of the map
  double pull;
};

struct PageView {
  Eigen::VectorXd point;
  double length = 0;  // of the sum of rows; 0 for a mean of several
  double offset = 0;
  std::vector<WordPull> words;
};

// The views of a text: the whole text first. Their words are filled when there is a direction.
[[nodiscard]] std::vector<PageView> viewsOf(const LsmMap& map, const LastCategory& last,
                                            std::u16string_view text,
                                            const Eigen::VectorXd* direction = nullptr);

// The log-odds of a view.
[[nodiscard]] inline double marginOf(const LastCategory& last, const PageView& view) {
  return last.margin(view.point) - view.offset;
}

}  // namespace sifterra::lsm
