// The loss is convex: Newton's method, its steps by conjugate gradients, for there are as many unknowns as
// words.
#include "lsm/training/Correction.h"

#include <Eigen/Cholesky>
#include <Eigen/SparseCore>
#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

#include "lsm/training/Trainer.h"

namespace sifterra::lsm {
namespace {

using Index = Eigen::Index;
using SparseRows = Eigen::SparseMatrix<double, Eigen::RowMajor>;

// How far beyond the threshold a page is to come.
constexpr double kComfort = 0.5;
// A word that the map was not taught may well have stood in so many of its pages.
constexpr double kPagesWithNewWord = 2;
constexpr double kBiasRidge = 1e-6;
// However sure a map is of its pages: one that tells them all apart would otherwise be free to change at
// will.
constexpr double kLeastDoubt = 0.002;
// Words stand together in pages, so that a change of several moves a page by more than they do each on its
// own: measured, with 1,677 added pages, on pages that were not among them.
constexpr double kWordStiffness = 4;

double logistic(double x) {
  return x >= 0 ? 1 / (1 + std::exp(-x)) : std::exp(x) / (1 + std::exp(x));
}

double softplus(double x) {
  return x > 0 ? x + std::log1p(std::exp(-x)) : std::log1p(std::exp(x));
}

// Weights and bias, then words: minimises the pages' losses and the priors' over what is added to the map.
class Problem {
 public:
  Eigen::MatrixXd heads;      // pages x (rank + 1)
  SparseRows words;           // pages x words
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

  [[nodiscard]] Eigen::VectorXd margins(const Eigen::VectorXd& at) const {
    return constants + heads * at.head(heads.cols()) + words * at.tail(words.cols());
  }
  [[nodiscard]] double loss(const Eigen::VectorXd& at) const {
    const Eigen::VectorXd margin = margins(at);
    double sum = 0;
    for (Index i = 0; i < margin.size(); ++i) sum += weights[i] * softplus(kComfort - sides[i] * margin[i]);
    return sum + 0.5 * at.dot(prior(at));
  }
  void minimise(Eigen::VectorXd& at);

 private:
  SparseRows squares;  // of `words`
  [[nodiscard]] Eigen::VectorXd prior(const Eigen::VectorXd& at) const {
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
  [[nodiscard]] Eigen::VectorXd transposed(const Eigen::VectorXd& pages) const {
    Eigen::VectorXd result(heads.cols() + words.cols());
    result.head(heads.cols()) = heads.transpose() * pages;
    result.tail(words.cols()) = words.transpose() * pages;
    return result;
  }
  [[nodiscard]] Eigen::VectorXd step(const Eigen::VectorXd& gradient,
                                     const Eigen::VectorXd& curvatures) const;
};

// Solves Hessian x step = gradient, preconditioned by its two blocks.
Eigen::VectorXd Problem::step(const Eigen::VectorXd& gradient, const Eigen::VectorXd& curvatures) const {
  const Eigen::LLT<Eigen::MatrixXd> headBlock(parts[0].precision + parts[1].precision +
                                              heads.transpose() * curvatures.asDiagonal() * heads);
  const Eigen::VectorXd wordBlock = wordPrecisions + squares.transpose() * curvatures;
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

void Problem::minimise(Eigen::VectorXd& at) {
  squares = words.cwiseProduct(words);
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

// Adds `added` x direction to a row that will be written in eight bits a value. Most additions are less than
// half a step of these, and rounding would lose them; so values are moved by whole steps until the row has
// grown as much along the direction as it should.
void addInSteps(float* row, const Eigen::VectorXd& direction, const std::vector<Index>& byLength,
                double added) {
  constexpr double kSteps = 127;
  const auto rank = static_cast<std::size_t>(direction.size());
  double most = 0;
  for (std::size_t k = 0; k < rank; ++k) {
    const double value = static_cast<double>(row[k]) + added * direction[static_cast<Index>(k)];
    most = std::max({most, std::abs(static_cast<double>(row[k])), std::abs(value)});
  }
  const double step = most / kSteps;
  if (step <= 0) return;
  double missing = added;
  std::vector<double> steps(rank);
  for (std::size_t k = 0; k < rank; ++k) {
    const double along = direction[static_cast<Index>(k)];
    steps[k] = std::round((static_cast<double>(row[k]) + added * along) / step);
    missing -= (steps[k] * step - static_cast<double>(row[k])) * along;
  }
  for (const Index k : byLength) {
    if (direction[k] == 0) break;
    double& value = steps[static_cast<std::size_t>(k)];
    const double moved = std::clamp(
        value + std::clamp(std::trunc(missing / (step * direction[k])), -2.0, 2.0), -kSteps, kSteps);
    missing -= (moved - value) * step * direction[k];
    value = moved;
  }
  for (std::size_t k = 0; k < rank; ++k) row[k] = static_cast<float>(steps[k] * step);
}

Eigen::VectorXd withOne(const Eigen::VectorXd& point) {
  Eigen::VectorXd result(point.size() + 1);
  result.head(point.size()) = point;
  result[point.size()] = 1;
  return result;
}

}  // namespace

Correction::Correction(const LsmMap& map, const MapContents& contents, const RememberedPages& remembered)
    : _contents(contents), _last(*map) {
  const auto size = static_cast<Index>(contents.rank) + 1;
  _ofLast = Eigen::MatrixXd::Zero(size, size);
  _ofOthers = Eigen::MatrixXd::Zero(size, size);
  _head = Eigen::VectorXd::Zero(size);
  _words = Eigen::VectorXd::Zero(static_cast<Index>(contents.words.size()));
  _given.assign(contents.words.size(), false);
  const std::vector<double> margins = remembered.margins(_last);
  double pages = 0;
  for (std::size_t page = 0; page < margins.size(); ++page) {
    const double p = logistic(margins[page]);
    const double weight = remembered.weight(page) * std::max(p * (1 - p), kLeastDoubt);
    pages += remembered.weight(page);
    _doubt += weight;
    if (remembered.isLast(page)) _lastPages += remembered.weight(page);
    for (const PageView& view : remembered.views(page)) {
      if (marginOf(_last, view) < margins[page]) continue;
      const Eigen::VectorXd point = withOne(view.point);
      (remembered.isLast(page) ? _ofLast : _ofOthers).noalias() += weight * point * point.transpose();
    }
  }
  _doubt /= pages;
  _lastPages /= pages;
  const double scale = TrainingOptions().headC * static_cast<double>(contents.memory.teachingPages) / pages;
  _ofLast *= scale;
  _ofOthers *= scale;
  _ofOthers.diagonal().head(size - 1).array() += 1;
  _ofOthers(size - 1, size - 1) += kBiasRidge;
}

double Correction::pagesWith(std::uint32_t word) const {
  const auto cost = static_cast<double>(_contents.words[word].splitCost);
  const auto pages = static_cast<double>(_contents.memory.teachingPages);
  return std::isfinite(cost) ? pages * std::exp(-cost) : kPagesWithNewWord;
}

void Correction::fit(const std::vector<CorrectedPage>& pages, double threshold) {
  const auto count = static_cast<Index>(pages.size());
  Problem problem;
  problem.heads.resize(count, _head.size());
  problem.constants.resize(count);
  problem.sides.resize(count);
  problem.weights.resize(count);
  problem.words.resize(count, _words.size());
  std::vector<Eigen::Triplet<double>> entries;
  for (Index i = 0; i < count; ++i) {
    const CorrectedPage& page = pages[static_cast<std::size_t>(i)];
    problem.heads.row(i) = withOne(page.view->point).transpose();
    double fromWords = 0;
    for (const WordPull& word : page.view->words) {
      // Signature words hold the scale's ends.
      if (_contents.words[word.word].text.find("ooooooo") != std::string::npos) continue;
      entries.emplace_back(static_cast<int>(i), static_cast<int>(word.word), word.pull);
      fromWords += word.pull * _words[static_cast<Index>(word.word)];
    }
    problem.constants[i] = page.margin - threshold - problem.heads.row(i).dot(_head) - fromWords;
    problem.sides[i] = page.last ? 1 : -1;
    problem.weights[i] = TrainingOptions().headC * page.weight;
  }
  for (const auto& entry : entries) _given[static_cast<std::size_t>(entry.col())] = true;
  problem.words.setFromTriplets(entries.begin(), entries.end());
  if (_squarePull == 0 && !entries.empty()) {
    for (const auto& entry : entries) _squarePull += entry.value() * entry.value();
    _squarePull /= static_cast<double>(entries.size());
  }
  problem.wordPrecisions.resize(_words.size());
  for (Index w = 0; w < _words.size(); ++w) {
    problem.wordPrecisions[w] =
        std::max(1e-6, kWordStiffness * TrainingOptions().headC * _doubt * _squarePull *
                           (1 + pagesWith(static_cast<std::uint32_t>(w))));
  }
  problem.parts = {{{_ofLast, meansIn(true)}, {_ofOthers, meansIn(false)}}};
  Eigen::VectorXd at(_head.size() + _words.size());
  at << _head, _words;
  problem.minimise(at);
  _head = at.head(_head.size());
  _words = at.tail(_words.size());
}

MapContents Correction::applied() const {
  MapContents contents = _contents;
  const std::size_t rank = contents.rank;
  const std::size_t last = contents.head.size() - rank;
  for (std::size_t k = 0; k < rank; ++k)
    contents.head[last + k] += static_cast<float>(_head[static_cast<Index>(k)]);
  contents.bias.back() += static_cast<float>(_head[static_cast<Index>(rank)]);
  const Eigen::VectorXd& direction = _last.direction();
  std::vector<Index> byLength(rank);
  std::iota(byLength.begin(), byLength.end(), Index{0});
  std::stable_sort(byLength.begin(), byLength.end(), [&direction](Index a, Index b) {
    return std::abs(direction[a]) > std::abs(direction[b]);
  });
  for (std::size_t w = 0; w < contents.words.size(); ++w) {
    const double added = _words[static_cast<Index>(w)];
    if (added != 0) addInSteps(contents.wordRows.data() + w * rank, direction, byLength, added);
  }
  return contents;
}

Eigen::VectorXd Correction::meansIn(bool last) const {
  const double pages = static_cast<double>(_contents.memory.teachingPages) *
                       std::max(last ? _lastPages : 1 - _lastPages, 1e-3);
  Eigen::VectorXd means = Eigen::VectorXd::Zero(_words.size());
  for (Index w = 0; w < _words.size(); ++w) {
    // Others do not move.
    if (!_given[static_cast<std::size_t>(w)]) continue;
    const auto share = static_cast<double>(_contents.words[static_cast<std::size_t>(w)].lastShare);
    means[w] = std::sqrt(_squarePull) * pagesWith(static_cast<std::uint32_t>(w)) *
               (last ? share : 1 - share) / pages;
  }
  return means;
}

double Correction::meanShift(bool last) const {
  return meansIn(last).dot(_words);
}

double Correction::deviation() const {
  double sum = 0;
  for (Index w = 0; w < _words.size(); ++w)
    sum += pagesWith(static_cast<std::uint32_t>(w)) * _words[w] * _words[w];
  return std::sqrt(_squarePull * sum / static_cast<double>(_contents.memory.teachingPages));
}

}  // namespace sifterra::lsm
