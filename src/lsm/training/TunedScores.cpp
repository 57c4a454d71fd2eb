// Newton's method with conjugate gradients inside: the second derivatives of some forty thousand features are
// never formed, only applied. Every product is one dot product a row, as in TermMatrix: the same bits from
// any number of threads. Each process has its own examples and all features: what comes back from examples to
// features is summed over the processes, and so is the loss, so all of them take the same steps.
#include "lsm/training/TunedScores.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "lsm/training/parallel_for.h"

namespace sifterra::lsm {
namespace {

using Index = Eigen::Index;
constexpr std::size_t kRowsAtOnce = 512;
constexpr int kMostSteps = 12;
constexpr int kMostProducts = 40;  // of one step
constexpr double kEnough = 0.05;   // of a step's gradient left over: Newton's next step sees to it
constexpr double kBiasRidge = 1e-6;

class Tuning {
 public:
  Tuning(const TermMatrix& table, const Examples& examples, const std::vector<double>& lengths,
         TunedScores start, const TuningOptions& options);

  TunedScores run();

 private:
  // What is tuned, as one vector: the features' scores and then the biases.
  struct Point {
    RowMatrix features;
    Eigen::RowVectorXd bias;

    [[nodiscard]] double dot(const Point& other) const {
      return features.cwiseProduct(other.features).sum() + bias.dot(other.bias);
    }
    void add(double factor, const Point& other) {
      features += factor * other.features;
      bias += factor * other.bias;
    }
  };

  template <class Work>
  void forRows(Index rows, Work work) const {
    parallelFor(_options.threads, static_cast<std::size_t>(rows), kRowsAtOnce,
                [&](std::size_t, std::size_t from, std::size_t to) {
                  for (std::size_t i = from; i < to; ++i) work(static_cast<Index>(i));
                });
  }
  [[nodiscard]] RowMatrix onExamples(const Point& point) const;     // z
  [[nodiscard]] Point onFeatures(const RowMatrix& examples) const;  // the transposed
  void probabilities(const Point& at, RowMatrix& result, double& loss) const;
  [[nodiscard]] Point gradient(const Point& at, const RowMatrix& probabilities) const;
  [[nodiscard]] Point curvature(const Point& direction, const RowMatrix& probabilities) const;
  [[nodiscard]] double weightOf(Index example) const {
    return _options.c * _examples.weights[static_cast<std::size_t>(example)];
  }
  [[nodiscard]] Point newtonStep(const Point& gradient, const RowMatrix& probabilities) const;

  const TermMatrix& _table;
  const Examples& _examples;
  const TuningOptions& _options;
  std::vector<double> _scales;  // 1 / length
  SparseRows _byTerm;           // the examples' terms, transposed
  Point _start;
  TunedScores _result;
};

Tuning::Tuning(const TermMatrix& table, const Examples& examples, const std::vector<double>& lengths,
               TunedScores start, const TuningOptions& options)
    : _table(table), _examples(examples), _options(options), _byTerm(examples.terms.transpose()) {
  for (const double length : lengths) _scales.push_back(length > 0 ? 1 / length : 0.0);
  _start = {std::move(start.features), start.bias.transpose()};
}

RowMatrix Tuning::onExamples(const Point& point) const {
  const auto words = static_cast<Index>(_table.wordCount());
  RowMatrix onTerms(_examples.terms.cols(), point.features.cols());
  forRows(onTerms.rows(), [&](Index t) {
    Eigen::RowVectorXd sum = Eigen::RowVectorXd::Zero(onTerms.cols());
    if (t < words) sum = _table.wordWeights()[static_cast<std::size_t>(t)] * point.features.row(t);
    for (SparseRows::InnerIterator gram(_table.nGrams(), t); gram; ++gram) {
      const double weight = _table.bucketWeights()[static_cast<std::size_t>(gram.col())];
      sum += gram.value() * weight * point.features.row(words + gram.col());
    }
    onTerms.row(t) = sum;
  });
  RowMatrix z(_examples.terms.rows(), point.features.cols());
  forRows(z.rows(), [&](Index i) {
    Eigen::RowVectorXd sum = Eigen::RowVectorXd::Zero(z.cols());
    for (SparseRows::InnerIterator term(_examples.terms, i); term; ++term) {
      sum += term.value() * onTerms.row(term.col());
    }
    z.row(i) = _scales[static_cast<std::size_t>(i)] * sum + point.bias;
  });
  return z;
}

Tuning::Point Tuning::onFeatures(const RowMatrix& examples) const {
  const auto words = static_cast<Index>(_table.wordCount());
  RowMatrix onTerms(_examples.terms.cols(), examples.cols());
  forRows(onTerms.rows(), [&](Index t) {
    Eigen::RowVectorXd sum = Eigen::RowVectorXd::Zero(examples.cols());
    for (SparseRows::InnerIterator example(_byTerm, t); example; ++example) {
      sum += example.value() * _scales[static_cast<std::size_t>(example.col())] * examples.row(example.col());
    }
    onTerms.row(t) = sum;
  });
  Point point{RowMatrix(words + static_cast<Index>(_table.bucketCount()), examples.cols()),
              examples.colwise().sum()};
  for (Index w = 0; w < words; ++w) {
    point.features.row(w) = _table.wordWeights()[static_cast<std::size_t>(w)] * onTerms.row(w);
  }
  forRows(static_cast<Index>(_table.bucketCount()), [&](Index b) {
    Eigen::RowVectorXd sum = Eigen::RowVectorXd::Zero(examples.cols());
    for (SparseRows::InnerIterator term(_table.nGramsTransposed(), b); term; ++term) {
      sum += term.value() * onTerms.row(term.col());
    }
    point.features.row(words + b) = _table.bucketWeights()[static_cast<std::size_t>(b)] * sum;
  });
  const Reduction& reduction = _table.reduction();
  reduction.sum(point.features.data(), static_cast<std::size_t>(point.features.size()));
  reduction.sum(point.bias.data(), static_cast<std::size_t>(point.bias.size()));
  return point;
}

// Of all categories but the first, for each example; and the whole loss.
void Tuning::probabilities(const Point& at, RowMatrix& result, double& loss) const {
  result = onExamples(at);
  loss = 0;
  for (Index i = 0; i < result.rows(); ++i) {
    const double most = std::max(0.0, result.row(i).maxCoeff());
    const double total = most + std::log(std::exp(-most) + (result.row(i).array() - most).exp().sum());
    const std::uint32_t own = _examples.categories[static_cast<std::size_t>(i)];
    loss += weightOf(i) * (total - (own == 0 ? 0.0 : result(i, static_cast<Index>(own) - 1)));
    result.row(i) = (result.row(i).array() - total).exp();
  }
  loss = _table.reduction().sum(loss);
  loss += 0.5 * (at.features - _start.features).squaredNorm() + 0.5 * kBiasRidge * at.bias.squaredNorm();
}

Tuning::Point Tuning::gradient(const Point& at, const RowMatrix& probabilities) const {
  RowMatrix rest = probabilities;
  for (Index i = 0; i < rest.rows(); ++i) {
    const std::uint32_t own = _examples.categories[static_cast<std::size_t>(i)];
    if (own != 0) rest(i, static_cast<Index>(own) - 1) -= 1;
    rest.row(i) *= weightOf(i);
  }
  Point result = onFeatures(rest);
  result.features += at.features - _start.features;
  result.bias += kBiasRidge * at.bias;
  return result;
}

Tuning::Point Tuning::curvature(const Point& direction, const RowMatrix& probabilities) const {
  RowMatrix z = onExamples(direction);
  for (Index i = 0; i < z.rows(); ++i) {
    const double mean = z.row(i).dot(probabilities.row(i));
    z.row(i) = weightOf(i) * probabilities.row(i).cwiseProduct((z.row(i).array() - mean).matrix());
  }
  Point result = onFeatures(z);
  result.features += direction.features;
  result.bias += kBiasRidge * direction.bias;
  return result;
}

// Solves curvature x step = gradient, roughly.
Tuning::Point Tuning::newtonStep(const Point& gradient, const RowMatrix& probabilities) const {
  Point step{RowMatrix::Zero(gradient.features.rows(), gradient.features.cols()),
             Eigen::RowVectorXd::Zero(gradient.bias.size())};
  Point rest = gradient;
  Point direction = rest;
  double square = rest.dot(rest);
  const double enough = kEnough * kEnough * square;
  for (int i = 0; i < kMostProducts && square > enough; ++i) {
    const Point product = curvature(direction, probabilities);
    const double length = square / direction.dot(product);
    step.add(length, direction);
    rest.add(-length, product);
    const double next = rest.dot(rest);
    direction.features = rest.features + (next / square) * direction.features;
    direction.bias = rest.bias + (next / square) * direction.bias;
    square = next;
  }
  return step;
}

TunedScores Tuning::run() {
  Point at = _start;
  RowMatrix p;
  double loss = 0;
  probabilities(at, p, loss);
  for (_result.steps = 0; _result.steps < kMostSteps; ++_result.steps) {
    const Point slope = gradient(at, p);
    const Point step = newtonStep(slope, p);
    const double promise = slope.dot(step);
    if (!(promise > 1e-5 * loss)) break;
    double length = 1;
    for (;; length /= 2) {
      Point next = at;
      next.add(-length, step);
      double nextLoss = 0;
      RowMatrix nextP;
      probabilities(next, nextP, nextLoss);
      if (nextLoss <= loss - 1e-4 * length * promise) {
        at = std::move(next);
        p = std::move(nextP);
        loss = nextLoss;
        break;
      }
      if (length < 1e-4) break;
    }
    if (length < 1e-4) break;
  }
  _result.features = std::move(at.features);
  _result.bias = at.bias.transpose();
  return std::move(_result);
}

}  // namespace

TunedScores tunedScores(const TermMatrix& table, const Examples& examples, const std::vector<double>& lengths,
                        TunedScores start, const TuningOptions& options) {
  return Tuning(table, examples, lengths, std::move(start), options).run();
}

}  // namespace sifterra::lsm
