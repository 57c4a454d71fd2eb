// The loss is convex: Newton's method, its steps by conjugate gradients, for there are as many unknowns as
// words.
#include "lsm/training/CorrectionProblem.h"

#include <Eigen/Cholesky>
#include <algorithm>

namespace sifterra::lsm {
namespace {

using Index = Eigen::Index;

// How far beyond the threshold a page is to come.
constexpr double kComfort = 0.5;

double softplus(double x) {
  return x > 0 ? x + std::log1p(std::exp(-x)) : std::log1p(std::exp(x));
}

}  // namespace

Eigen::VectorXd CorrectionProblem::margins(const Eigen::VectorXd& at) const {
  return constants + heads * at.head(heads.cols()) + words * at.tail(words.cols());
}

double CorrectionProblem::loss(const Eigen::VectorXd& at) const {
  const Eigen::VectorXd margin = margins(at);
  double sum = 0;
  for (Index i = 0; i < margin.size(); ++i) sum += weights[i] * softplus(kComfort - sides[i] * margin[i]);
  return sum + 0.5 * at.dot(prior(at));
}

Eigen::VectorXd CorrectionProblem::prior(const Eigen::VectorXd& at) const {
  Eigen::VectorXd result(at.size());
  result.head(heads.cols()).setZero();
  result.tail(words.cols()) = wordPrecisions.cwiseProduct(at.tail(words.cols()));
  for (const Part& part : parts) {
    Eigen::VectorXd head = at.head(heads.cols());
    head[head.size() - 1] += part.wordMeans.dot(at.tail(words.cols()));
    const Eigen::VectorXd pulled = part.precision * head;
    result.head(heads.cols()) += pulled;
    result.tail(words.cols()) += pulled[pulled.size() - 1] * part.wordMeans;
  }
  return result;
}

Eigen::VectorXd CorrectionProblem::transposed(const Eigen::VectorXd& pages) const {
  Eigen::VectorXd result(heads.cols() + words.cols());
  result.head(heads.cols()) = heads.transpose() * pages;
  result.tail(words.cols()) = words.transpose() * pages;
  return result;
}

// Solves Hessian x step = gradient, preconditioned by its two blocks.
Eigen::VectorXd CorrectionProblem::step(const Eigen::VectorXd& gradient,
                                        const Eigen::VectorXd& curvatures) const {
  const Eigen::LLT<Eigen::MatrixXd> headBlock(parts[0].precision + parts[1].precision +
                                              heads.transpose() * curvatures.asDiagonal() * heads);
  const Eigen::VectorXd wordBlock = wordPrecisions + _squares.transpose() * curvatures;
  const auto precondition = [&](const Eigen::VectorXd& value) {
    Eigen::VectorXd result(value.size());
    result.head(heads.cols()) = headBlock.solve(value.head(heads.cols()));
    result.tail(words.cols()) = value.tail(words.cols()).cwiseQuotient(wordBlock);
    return result;
  };
  Eigen::VectorXd solution = Eigen::VectorXd::Zero(gradient.size());
  Eigen::VectorXd rest = gradient;
  Eigen::VectorXd ready = precondition(rest);
  Eigen::VectorXd direction = ready;
  double product = rest.dot(ready);
  const double enough = 1e-8 * product;
  for (int i = 0; i < 200 && product > enough; ++i) {
    const Eigen::VectorXd onPages =
        heads * direction.head(heads.cols()) + words * direction.tail(words.cols());
    const Eigen::VectorXd image = prior(direction) + transposed(curvatures.cwiseProduct(onPages));
    const double length = product / direction.dot(image);
    solution += length * direction;
    rest -= length * image;
    ready = precondition(rest);
    const double next = rest.dot(ready);
    direction = ready + next / product * direction;
    product = next;
  }
  return solution;
}

void CorrectionProblem::minimise(Eigen::VectorXd& at) {
  _squares = words.cwiseProduct(words);
  for (int steps = 0; steps < 50; ++steps) {
    const Eigen::VectorXd margin = margins(at);
    Eigen::VectorXd slopes(margin.size());
    Eigen::VectorXd curvatures(margin.size());
    for (Index i = 0; i < margin.size(); ++i) {
      const double p = logistic(kComfort - sides[i] * margin[i]);
      slopes[i] = -weights[i] * sides[i] * p;
      curvatures[i] = weights[i] * p * (1 - p);
    }
    const Eigen::VectorXd gradient = transposed(slopes) + prior(at);
    const Eigen::VectorXd newton = step(gradient, curvatures);
    const double promise = gradient.dot(newton);
    const double before = loss(at);
    if (!(promise > 1e-7 * std::max(1.0, before))) return;
    double length = 1;
    while (length > 1e-6 && loss(at - length * newton) > before - 1e-4 * length * promise) length /= 2;
    if (length <= 1e-6) return;
    at -= length * newton;
  }
}

}  // namespace sifterra::lsm
