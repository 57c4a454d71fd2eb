// LinearHead: a regularised multinomial logistic classifier on unit vectors, fitted by Newton's method.
#pragma once

#include <Eigen/Core>
#include <cstdint>
#include <vector>

#include "lsm/training/LatentSpace.h"
#include "lsm/training/Reduction.h"

namespace sifterra::lsm {

struct LinearHead {
  RowMatrix weights;     // categories x rank
  Eigen::VectorXd bias;  // categories
  int steps = 0;         // of Newton's method
};

struct HeadOptions {
  double c = 100;  // what a page's loss counts against half the squared weights
  std::size_t threads = 1;
  const Reduction* reduction = &Reduction::none();  // the points are a part of all
};

// points: one unit vector (or zero) a row. categories: of each, from 0. pageWeights: what each counts, or
// empty.
[[nodiscard]] LinearHead fitHead(const RowMatrix& points, const std::vector<std::uint32_t>& categories,
                                 std::uint32_t categoryCount, const std::vector<double>& pageWeights,
                                 const HeadOptions& options);

}  // namespace sifterra::lsm
