// CorrectionProblem: what a correction of a map minimises, over all that it may change.
//
// The given pages' losses, and the priors' over what is added to the map. Unknowns are the last category's
// weights and bias, and then one number for each word.
#pragma once

#include <Eigen/Core>
#include <Eigen/SparseCore>
#include <array>
#include <cmath>

namespace sifterra::lsm {

class CorrectionProblem {
 public:
  using Words = Eigen::SparseMatrix<double, Eigen::RowMajor>;

  Eigen::MatrixXd heads;      // pages x (rank + 1)
  Words words;                // pages x words
  Eigen::VectorXd constants;  // log-odds beyond the threshold when nothing is added
  Eigen::VectorXd sides;      // +1 or -1
  Eigen::VectorXd weights;
  // Of weights and bias: the pages from which the map was learnt, by whether they are of the last category;
  // and what words add to the log-odds of each of these, on average, which is as good as bias.
  struct Part {
    Eigen::MatrixXd precision;
    Eigen::VectorXd wordMeans;
  };
  std::array<Part, 2> parts;
  Eigen::VectorXd wordPrecisions;  // of words

  // Goes on from there to the best point.
  void minimise(Eigen::VectorXd& at);

 private:
  [[nodiscard]] Eigen::VectorXd margins(const Eigen::VectorXd& at) const;
  [[nodiscard]] double loss(const Eigen::VectorXd& at) const;
  [[nodiscard]] Eigen::VectorXd prior(const Eigen::VectorXd& at) const;
  [[nodiscard]] Eigen::VectorXd transposed(const Eigen::VectorXd& pages) const;
  [[nodiscard]] Eigen::VectorXd step(const Eigen::VectorXd& gradient,
                                     const Eigen::VectorXd& curvatures) const;

  Words _squares;  // of `words`
};

[[nodiscard]] inline double logistic(double x) {
  return x >= 0 ? 1 / (1 + std::exp(-x)) : std::exp(x) / (1 + std::exp(x));
}

}  // namespace sifterra::lsm
