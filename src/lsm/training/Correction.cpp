#include "lsm/training/Correction.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "lsm/training/CorrectionProblem.h"
#include "lsm/training/Trainer.h"

namespace sifterra::lsm {
namespace {

using Index = Eigen::Index;

// A word that the map was not taught may well have stood in so many of its pages.
constexpr double kPagesWithNewWord = 2;
constexpr double kBiasRidge = 1e-6;
// However sure a map is of its pages: one that tells them all apart would otherwise be free to change at
// will.
constexpr double kLeastDoubt = 0.002;
// Words stand together in pages, so that a change of several moves a page by more than they do each on its
// own: measured, with 1,677 added pages, on pages that were not among them.
constexpr double kWordStiffness = 4;

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
  CorrectionProblem problem;
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
