// LatentSpace: the table of pages by features cut to its largest singular directions.
//
// Words that are used in like company get like vectors; that is what lets a map judge a page by words that
// few pages of its training hold.
#pragma once

#include <Eigen/Core>
#include <cstdint>
#include <string>

#include "lsm/training/TermMatrix.h"

namespace sifterra::lsm {

using RowMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

struct LatentSpace {
  RowMatrix features;              // right singular vectors: features x rank
  Eigen::VectorXd singularValues;  // descending
  std::size_t products = 0;        // with the table, both ways: what it cost
  [[nodiscard]] std::uint32_t rank() const { return static_cast<std::uint32_t>(features.cols()); }
};

// At most `rank` directions; fewer when the table has no more. Empty, with `why`, when the iteration does not
// converge. The same table gives the same bits.
[[nodiscard]] LatentSpace latentSpace(const TermMatrix& table, std::uint32_t rank, std::string& why);

// u(w) of the terms that `table` counts: for a known word its own direction and its n-grams, for a spelt one
// its n-grams. terms x rank.
[[nodiscard]] RowMatrix termRows(const TermMatrix& table, const RowMatrix& features);

}  // namespace sifterra::lsm
