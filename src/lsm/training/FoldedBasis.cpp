#include "lsm/training/FoldedBasis.h"

#include <Eigen/Eigenvalues>
#include <algorithm>

namespace sifterra::lsm {
namespace {

using Index = Eigen::Index;

// The differences between the categories' weights, made orthonormal. What all weights share moves no score.
RowMatrix headDirections(const LinearHead& head, Index most) {
  RowMatrix basis(head.weights.cols(), 0);
  const Eigen::RowVectorXd mean = head.weights.colwise().mean();
  for (Index c = 0; c < head.weights.rows() && basis.cols() < most; ++c) {
    const Eigen::VectorXd direction = (head.weights.row(c) - mean).transpose();
    Eigen::VectorXd rest = direction;
    // Twice, for what rounding leaves.
    for (int again = 0; again < 2; ++again) rest -= basis * (basis.transpose() * rest);
    if (rest.norm() <= 1e-6 * direction.norm()) continue;
    basis.conservativeResize(Eigen::NoChange, basis.cols() + 1);
    basis.col(basis.cols() - 1) = rest / rest.norm();
  }
  return basis;
}

}  // namespace

RowMatrix foldedBasis(const RowMatrix& points, const LinearHead& head, std::uint32_t rank,
                      const Reduction& reduction) {
  const Index wanted = std::min<Index>(rank, points.cols());
  RowMatrix basis = headDirections(head, wanted);
  const Index kept = basis.cols();
  Eigen::MatrixXd moments = points.transpose() * points;
  reduction.sum(moments.data(), static_cast<std::size_t>(moments.size()));
  const Eigen::MatrixXd outside =
      Eigen::MatrixXd::Identity(points.cols(), points.cols()) - basis * basis.transpose();
  const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(outside * moments * outside);
  basis.conservativeResize(Eigen::NoChange, wanted);
  for (Index k = kept; k < wanted; ++k) {
    // Eigenvalues come in ascending order.
    Eigen::VectorXd direction = solver.eigenvectors().col(points.cols() - 1 - (k - kept));
    Index largest = 0;
    direction.cwiseAbs().maxCoeff(&largest);
    if (direction[largest] < 0) direction = -direction;
    basis.col(k) = direction;
  }
  return basis;
}

}  // namespace sifterra::lsm
