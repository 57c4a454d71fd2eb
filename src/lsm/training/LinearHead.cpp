// The loss is convex and has (categories x (rank + 1)) unknowns, some hundred: a Newton step solves one small
// dense system, and about ten steps reach the last bit. Sums over pages are kept by chunk and added in order.
#include "lsm/training/LinearHead.h"

#include <Eigen/Cholesky>
#include <algorithm>
#include <cmath>

#include "lsm/training/parallel_for.h"

namespace sifterra::lsm {
namespace {

using Index = Eigen::Index;
constexpr std::size_t kPagesAtOnce = 1024;
constexpr int kMostSteps = 100;
// The biases share one direction in which the loss is flat; this makes the solution unique.
constexpr double kBiasRidge = 1e-6;

class Problem {
 public:
  Problem(const RowMatrix& points, const std::vector<std::uint32_t>& categories, std::uint32_t categoryCount,
          const std::vector<double>& pageWeights, const HeadOptions& options)
      : _points(points),
        _categories(categories),
        _count(static_cast<Index>(categoryCount)),
        _size(points.cols() + 1),
        _pageWeights(pageWeights),
        _options(options),
        _chunks((static_cast<std::size_t>(points.rows()) + kPagesAtOnce - 1) / kPagesAtOnce) {}

  [[nodiscard]] Index unknowns() const { return _count * _size; }

  // Loss alone, or with its first and second derivatives.
  double loss(const Eigen::VectorXd& at) const;
  double derivatives(const Eigen::VectorXd& at, Eigen::VectorXd& gradient, Eigen::MatrixXd& hessian) const;

 private:
  struct Sums {
    double loss = 0;
    Eigen::VectorXd gradient;
    Eigen::MatrixXd hessian;
  };
  // Probabilities of a page's categories; the value is ln of that of its own.
  double probabilities(const Eigen::VectorXd& at, Index page, Eigen::VectorXd& result) const;
  void add(const Eigen::VectorXd& at, std::size_t from, std::size_t to, Sums& sums) const;
  [[nodiscard]] double weightOf(Index page) const {
    return _options.c * (_pageWeights.empty() ? 1.0 : _pageWeights[static_cast<std::size_t>(page)]);
  }
  [[nodiscard]] double ridge(Index unknown) const { return (unknown + 1) % _size == 0 ? kBiasRidge : 1.0; }

  const RowMatrix& _points;
  const std::vector<std::uint32_t>& _categories;
  Index _count;
  Index _size;  // unknowns of a category: the weights and the bias
  const std::vector<double>& _pageWeights;
  const HeadOptions& _options;
  std::size_t _chunks;
};

double Problem::probabilities(const Eigen::VectorXd& at, Index page, Eigen::VectorXd& result) const {
  for (Index c = 0; c < _count; ++c) {
    result[c] = _points.row(page).dot(at.segment(c * _size, _size - 1)) + at[c * _size + _size - 1];
  }
  const double most = result.maxCoeff();
  double sum = 0;
  for (Index c = 0; c < _count; ++c) sum += std::exp(result[c] - most);
  const double total = most + std::log(sum);
  const double own = result[static_cast<Index>(_categories[static_cast<std::size_t>(page)])] - total;
  for (Index c = 0; c < _count; ++c) result[c] = std::exp(result[c] - total);
  return own;
}

double Problem::loss(const Eigen::VectorXd& at) const {
  std::vector<double> sums(_chunks, 0.0);
  parallelFor(_options.threads, static_cast<std::size_t>(_points.rows()), kPagesAtOnce,
              [&](std::size_t chunk, std::size_t from, std::size_t to) {
                Eigen::VectorXd p(_count);
                for (std::size_t i = from; i < to; ++i) {
                  const auto page = static_cast<Index>(i);
                  sums[chunk] -= weightOf(page) * probabilities(at, page, p);
                }
              });
  double total = 0;
  for (const double sum : sums) total += sum;
  total = _options.reduction->sum(total);
  for (Index u = 0; u < at.size(); ++u) total += 0.5 * ridge(u) * at[u] * at[u];
  return total;
}

void Problem::add(const Eigen::VectorXd& at, std::size_t from, std::size_t to, Sums& sums) const {
  sums.gradient = Eigen::VectorXd::Zero(unknowns());
  sums.hessian = Eigen::MatrixXd::Zero(unknowns(), unknowns());
  Eigen::VectorXd p(_count);
  Eigen::VectorXd x(_size);
  x[_size - 1] = 1;
  for (std::size_t i = from; i < to; ++i) {
    const auto page = static_cast<Index>(i);
    const double weight = weightOf(page);
    sums.loss -= weight * probabilities(at, page, p);
    x.head(_size - 1) = _points.row(page).transpose();
    const auto own = static_cast<Index>(_categories[i]);
    for (Index c = 0; c < _count; ++c) {
      sums.gradient.segment(c * _size, _size) += weight * (p[c] - (c == own ? 1.0 : 0.0)) * x;
      for (Index d = 0; d <= c; ++d) {
        const double curvature = weight * p[c] * ((c == d ? 1.0 : 0.0) - p[d]);
        sums.hessian.block(c * _size, d * _size, _size, _size).noalias() += (curvature * x) * x.transpose();
      }
    }
  }
}

double Problem::derivatives(const Eigen::VectorXd& at, Eigen::VectorXd& gradient,
                            Eigen::MatrixXd& hessian) const {
  std::vector<Sums> parts(_chunks);
  parallelFor(_options.threads, static_cast<std::size_t>(_points.rows()), kPagesAtOnce,
              [&](std::size_t chunk, std::size_t from, std::size_t to) { add(at, from, to, parts[chunk]); });
  gradient = Eigen::VectorXd::Zero(unknowns());
  hessian = Eigen::MatrixXd::Zero(unknowns(), unknowns());
  double total = 0;
  for (const Sums& part : parts) {
    total += part.loss;
    gradient += part.gradient;
    hessian += part.hessian;
  }
  total = _options.reduction->sum(total);
  _options.reduction->sum(gradient.data(), static_cast<std::size_t>(gradient.size()));
  _options.reduction->sum(hessian.data(), static_cast<std::size_t>(hessian.size()));
  for (Index u = 0; u < at.size(); ++u) {
    total += 0.5 * ridge(u) * at[u] * at[u];
    gradient[u] += ridge(u) * at[u];
    hessian(u, u) += ridge(u);
  }
  return total;
}

}  // namespace

LinearHead fitHead(const RowMatrix& points, const std::vector<std::uint32_t>& categories,
                   std::uint32_t categoryCount, const std::vector<double>& pageWeights,
                   const HeadOptions& options) {
  const Problem problem(points, categories, categoryCount, pageWeights, options);
  Eigen::VectorXd at = Eigen::VectorXd::Zero(problem.unknowns());
  Eigen::VectorXd gradient;
  Eigen::MatrixXd hessian;
  LinearHead head;
  for (head.steps = 0; head.steps < kMostSteps; ++head.steps) {
    const double before = problem.derivatives(at, gradient, hessian);
    // Only the lower triangle was filled.
    const Eigen::VectorXd step = hessian.selfadjointView<Eigen::Lower>().llt().solve(gradient);
    const double promise = gradient.dot(step);
    if (!(promise > 1e-12 * std::max(1.0, before))) break;
    double length = 1;
    while (length > 1e-6 && problem.loss(at - length * step) > before - 1e-4 * length * promise) length /= 2;
    if (length <= 1e-6) break;
    at -= length * step;
  }
  const Index size = points.cols() + 1;
  const auto count = static_cast<Index>(categoryCount);
  head.weights.resize(count, size - 1);
  head.bias.resize(count);
  for (Index c = 0; c < count; ++c) {
    head.weights.row(c) = at.segment(c * size, size - 1).transpose();
    head.bias[c] = at[c * size + size - 1];
  }
  return head;
}

}  // namespace sifterra::lsm
