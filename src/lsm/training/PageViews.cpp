#include "lsm/training/PageViews.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "lsm/Evaluation.h"
#include "lsm/TextWords.h"

namespace sifterra::lsm {
namespace {

using Index = Eigen::Index;

// The rows of a text's units and what is summed of them.
class Views {
 public:
  Views(const Map& map, const LastCategory& last, Text& text, const Eigen::VectorXd* direction)
      : _map(map), _last(last), _text(text), _direction(direction), _counts(text.unitCount(), 0) {
    _rows.resize(static_cast<Index>(text.unitCount()), static_cast<Index>(map.rank()));
    for (std::size_t unit = 0; unit < text.unitCount(); ++unit) {
      const WeightedRow row = text.row(unit);
      for (std::uint32_t k = 0; k < map.rank(); ++k) {
        const float value = row.quantised != nullptr ? static_cast<float>(row.quantised[k]) : row.plain[k];
        _rows(static_cast<Index>(unit), static_cast<Index>(k)) = static_cast<double>(row.factor * value);
      }
    }
    if (map.judgesParts() && text.sections().any())
      _heading = text.sections().range(TextSection::kHeading, TextSection::kHeading, text.sequence().size());
  }

  PageView whole() { return sum({0, 0}, {0, _text.sequence().size()}); }
  // A part or window, with the heading before it.
  PageView stretch(UnitRange range) { return sum(_heading, range); }

  // The mean of the best windows, as the engine takes them.
  PageView bestWindows(UnitRange range) {
    const std::size_t size = _map.windowTokens();
    std::vector<std::pair<double, PageView>> windows;
    for (std::size_t from = range.from; from == range.from || from + size / 2 < range.to; from += size / 2) {
      PageView window = stretch({from, std::min(from + size, range.to)});
      const double margin = _last.margin(window.point);
      windows.emplace_back(margin, std::move(window));
    }
    const std::size_t wanted = std::min<std::size_t>(_map.bestWindows(), windows.size());
    std::stable_sort(windows.begin(), windows.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    PageView mean;
    mean.point = Eigen::VectorXd::Zero(static_cast<Index>(_map.rank()));
    mean.offset = static_cast<double>(_map.windowPenalty());
    const double share = 1.0 / static_cast<double>(wanted);
    for (std::size_t i = 0; i < wanted; ++i) {
      mean.point += share * windows[i].second.point;
      for (const WordPull& word : windows[i].second.words)
        mean.words.push_back({word.word, share * word.pull});
    }
    return mean;
  }

 private:
  void count(UnitRange range, std::vector<std::uint32_t>& units) {
    for (std::size_t i = range.from; i < range.to; ++i) {
      const std::uint32_t unit = _text.sequence()[i];
      if (_counts[unit]++ == 0) units.push_back(unit);
    }
  }

  PageView sum(UnitRange heading, UnitRange range) {
    std::vector<std::uint32_t> units;
    count(heading, units);
    count(range, units);
    PageView view;
    view.point = Eigen::VectorXd::Zero(static_cast<Index>(_map.rank()));
    std::vector<double> weights;
    for (const std::uint32_t unit : units) {
      weights.push_back(std::log2(1.0 + _counts[unit]));
      view.point += weights.back() * _rows.row(static_cast<Index>(unit)).transpose();
      _counts[unit] = 0;
    }
    view.length = view.point.norm();
    if (view.length < static_cast<double>(kMinLength)) {
      view.point.setZero();
      view.length = 0;
      return view;
    }
    view.point /= view.length;
    if (_direction != nullptr) pullWords(units, weights, view);
    return view;
  }

  // A longer row turns the sum and makes it longer, and only its direction counts.
  void pullWords(const std::vector<std::uint32_t>& units, const std::vector<double>& weights,
                 PageView& view) const {
    const Eigen::VectorXd gradient = _last.gradient(view.point);
    const double turned = gradient.dot(*_direction) - gradient.dot(view.point) * view.point.dot(*_direction);
    for (std::size_t i = 0; i < units.size(); ++i) {
      const std::uint32_t word = _text.knownWord(units[i]);
      if (word != Map::kUnknownWord) view.words.push_back({word, weights[i] / view.length * turned});
    }
  }

  const Map& _map;
  const LastCategory& _last;
  Text& _text;
  const Eigen::VectorXd* _direction;
  Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor> _rows;
  std::vector<std::uint32_t> _counts;  // by unit; all 0 between two stretches
  UnitRange _heading;
};

}  // namespace

LastCategory::LastCategory(const Map& map)
    : _weights(map.categoryCount(), map.rank()), _bias(map.categoryCount()) {
  for (std::uint32_t c = 0; c < map.categoryCount(); ++c) {
    for (std::uint32_t k = 0; k < map.rank(); ++k) _weights(c, k) = static_cast<double>(map.head(c)[k]);
    _bias[c] = static_cast<double>(map.bias(c));
  }
  findDirection();
}

LastCategory::LastCategory(const MapContents& contents)
    : _weights(contents.categoryCount, contents.rank), _bias(contents.categoryCount) {
  for (std::uint32_t c = 0; c < contents.categoryCount; ++c) {
    for (std::uint32_t k = 0; k < contents.rank; ++k)
      _weights(c, k) = static_cast<double>(contents.head[std::size_t{c} * contents.rank + k]);
    _bias[c] = static_cast<double>(contents.bias[c]);
  }
  findDirection();
}

void LastCategory::findDirection() {
  const Index last = _weights.rows() - 1;
  _direction = _weights.row(last).transpose();
  if (last > 0) _direction -= _weights.topRows(last).colwise().mean().transpose();
  const double length = _direction.norm();
  if (length > 0) _direction /= length;
}

Eigen::VectorXd LastCategory::shares(const Eigen::VectorXd& point, double& others) const {
  Eigen::VectorXd shares = _weights.topRows(_weights.rows() - 1) * point + _bias.head(_bias.size() - 1);
  const double most = shares.maxCoeff();
  shares = (shares.array() - most).exp();
  const double sum = shares.sum();
  others = most + std::log(sum);
  return shares / sum;
}

double LastCategory::margin(const Eigen::VectorXd& point) const {
  double others = 0;
  (void)shares(point, others);
  const Index last = _weights.rows() - 1;
  return _weights.row(last).dot(point) + _bias[last] - others;
}

Eigen::VectorXd LastCategory::gradient(const Eigen::VectorXd& point) const {
  double others = 0;
  const Eigen::VectorXd of = shares(point, others);
  const Index last = _weights.rows() - 1;
  return _weights.row(last).transpose() - _weights.topRows(last).transpose() * of;
}

std::vector<PageView> viewsOf(const LsmMap& map, const LastCategory& last, std::u16string_view text,
                              const Eigen::VectorXd* direction) {
  Text words(map);
  words.addWords(text);
  std::vector<PageView> result;
  if (words.isMostlyUnjudged()) {
    result.emplace_back().point = Eigen::VectorXd::Zero(static_cast<Index>(map->rank()));
    return result;
  }
  Views views(*map, last, words, direction);
  result.push_back(views.whole());
  UnitRange inWindows{0, words.sequence().size()};
  if (map->judgesParts() && words.sections().any()) {
    for (std::size_t part = 0; part < kPageParts; ++part) {
      const UnitRange range = partOf(words, static_cast<StretchKind>(part));
      if (range.size() < map->partTokens()) continue;
      result.push_back(views.stretch(range));
      result.back().offset = static_cast<double>(map->partPenalty(part));
    }
    inWindows.from = partOf(words, StretchKind::kLabels).from;
  }
  if (inWindows.size() > map->windowTokens()) result.push_back(views.bestWindows(inWindows));
  return result;
}

}  // namespace sifterra::lsm
