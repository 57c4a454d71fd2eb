// The eigenvectors of table x transposed table, by Lanczos iterations: a page is a much shorter vector than a
// list of features, and the right singular vectors follow from the left ones in one product.
//
// Processes that each hold some of the pages iterate on transposed table x table instead: there are more
// pages than features then, all of them hold the same vectors, and one sum a step is all that they exchange.
#include "lsm/training/LatentSpace.h"

#include <Spectra/SymEigsSolver.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace sifterra::lsm {
namespace {

using Index = Eigen::Index;

class GramOperator {
 public:
  using Scalar = double;
  explicit GramOperator(const TermMatrix& table)
      : _table(table), _features(table.wordCount() + table.bucketCount()) {}
  [[nodiscard]] Index rows() const { return static_cast<Index>(_table.pageCount()); }
  [[nodiscard]] Index cols() const { return rows(); }
  void perform_op(const double* in, double* out) const {
    _table.multiplyTransposed(in, _features.data());
    _table.multiply(_features.data(), out);
  }

 private:
  const TermMatrix& _table;
  mutable std::vector<double> _features;
};

class FeatureGramOperator {
 public:
  using Scalar = double;
  explicit FeatureGramOperator(const TermMatrix& table) : _table(table), _pages(table.pageCount()) {}
  [[nodiscard]] Index rows() const { return static_cast<Index>(_table.wordCount() + _table.bucketCount()); }
  [[nodiscard]] Index cols() const { return rows(); }
  void perform_op(const double* in, double* out) const {
    _table.multiply(in, _pages.data());
    _table.multiplyTransposed(_pages.data(), out);
  }

 private:
  const TermMatrix& _table;
  mutable std::vector<double> _pages;
};

// Any fixed vector that no direction is orthogonal to; the solver's own would do, but it is not ours to rely
// on.
Eigen::VectorXd startVector(Index size) {
  Eigen::VectorXd vector(size);
  std::uint64_t state = 0x9e3779b97f4a7c15U;
  for (Index i = 0; i < size; ++i) {
    state = state * 6364136223846793005U + 1442695040888963407U;
    vector[i] = static_cast<double>(state >> 11U) / 9007199254740992.0 - 0.5;
  }
  return vector;
}

// A singular vector is as good as its negative; the largest entry decides.
void fixSign(RowMatrix& features, Index column) {
  Index largest = 0;
  features.col(column).cwiseAbs().maxCoeff(&largest);
  if (features(largest, column) < 0) features.col(column) *= -1;
}

// Directions below this share of the largest are rounding.
constexpr double kSmallest = 1e-6;
constexpr double kTolerance = 1e-6;
constexpr Index kMostRestarts = 500;

// The largest eigenvalues and their vectors; none, with `why`, when the iteration does not converge.
template <class Operator>
Eigen::MatrixXd eigenvectors(Operator& gram, Index wanted, LatentSpace& space, std::string& why) {
  Spectra::SymEigsSolver<Operator> solver(gram, wanted, std::min<Index>(2 * wanted + 16, gram.rows()));
  const Eigen::VectorXd start = startVector(gram.rows());
  solver.init(start.data());
  const Index found = solver.compute(Spectra::SortRule::LargestAlge, kMostRestarts, kTolerance);
  space.products = static_cast<std::size_t>(solver.num_operations());
  if (solver.info() != Spectra::CompInfo::Successful) {
    why = "the singular directions did not converge (" + std::to_string(found) + " of " +
          std::to_string(wanted) + " did)";
    return {};
  }
  const Eigen::VectorXd values = solver.eigenvalues();
  Index kept = 0;
  while (kept < values.size() && values[kept] > kSmallest * values[0] && values[kept] > 0) ++kept;
  if (kept == 0) {
    why = "the pages have no words in common";
    return {};
  }
  space.singularValues = values.head(kept).cwiseSqrt();
  return solver.eigenvectors().leftCols(kept);
}

}  // namespace

LatentSpace latentSpace(const TermMatrix& table, std::uint32_t rank, std::string& why) {
  LatentSpace space;
  const auto features = static_cast<Index>(table.wordCount() + table.bucketCount());
  const bool onFeatures = table.reduction().distributed();
  const Index most = std::min(static_cast<Index>(table.pagesOfAll()), onFeatures ? features : Index{1} << 40);
  const Index wanted = std::min<Index>(rank, most - 1);
  if (wanted < 1) {
    why = "there are not enough pages to learn from";
    return space;
  }
  if (onFeatures) {
    FeatureGramOperator gram(table);
    space.features = eigenvectors(gram, wanted, space, why);
    for (Index k = 0; k < space.features.cols(); ++k) fixSign(space.features, k);
    return space;
  }
  GramOperator gram(table);
  const Eigen::MatrixXd left = eigenvectors(gram, wanted, space, why);
  space.features.resize(left.cols() == 0 ? 0 : features, left.cols());
  Eigen::VectorXd column(space.features.rows());
  for (Index k = 0; k < left.cols(); ++k) {
    const Eigen::VectorXd direction = left.col(k);
    table.multiplyTransposed(direction.data(), column.data());
    space.features.col(k) = column / space.singularValues[k];
    fixSign(space.features, k);
  }
  return space;
}

RowMatrix termRows(const TermMatrix& table, const RowMatrix& features) {
  const SparseRows& grams = table.nGrams();
  const std::size_t words = table.wordCount();
  RowMatrix rows = RowMatrix::Zero(grams.rows(), features.cols());
  for (Index t = 0; t < rows.rows(); ++t) {
    if (static_cast<std::size_t>(t) < words) {
      rows.row(t) = table.wordWeights()[static_cast<std::size_t>(t)] * features.row(t);
    }
    for (SparseRows::InnerIterator gram(grams, t); gram; ++gram) {
      const auto bucket = static_cast<std::size_t>(gram.col());
      rows.row(t) +=
          gram.value() * table.bucketWeights()[bucket] * features.row(static_cast<Index>(words + bucket));
    }
  }
  return rows;
}

}  // namespace sifterra::lsm
