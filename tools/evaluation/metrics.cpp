#include "evaluation/metrics.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <utility>

namespace sifterra::tools {
namespace {

double ratio(std::size_t part, std::size_t whole) {
  if (whole == 0) return std::numeric_limits<double>::quiet_NaN();
  return static_cast<double>(part) / static_cast<double>(whole);
}

// Ties by name, so that a report does not depend on the order of the pages.
template <class Worse>
std::vector<const EvaluatedPage*> mistakes(const std::vector<EvaluatedPage>& pages, bool adult, Worse worse) {
  std::vector<const EvaluatedPage*> found;
  for (const EvaluatedPage& page : pages) {
    if (page.adult == adult && page.restricted != adult) found.push_back(&page);
  }
  std::sort(found.begin(), found.end(), [&](const EvaluatedPage* a, const EvaluatedPage* b) {
    if (a->score != b->score) return worse(a->score, b->score);
    return a->name < b->name;
  });
  return found;
}

}  // namespace

void Confusion::add(bool adult, bool restricted) {
  if (adult) {
    ++(restricted ? truePositives : falseNegatives);
  } else {
    ++(restricted ? falsePositives : trueNegatives);
  }
}

double Confusion::accuracy() const {
  return ratio(truePositives + trueNegatives, pages());
}
double Confusion::precision() const {
  return ratio(truePositives, truePositives + falsePositives);
}
double Confusion::recall() const {
  return ratio(truePositives, adult());
}
double Confusion::falsePositiveRate() const {
  return ratio(falsePositives, legitimate());
}
double Confusion::f1() const {
  return ratio(2 * truePositives, 2 * truePositives + falsePositives + falseNegatives);
}

Interval wilsonInterval(std::size_t hits, std::size_t trials) {
  if (trials == 0) return {0, 1};
  constexpr double kZ = 1.959963984540054;  // the normal quantile of 97.5%
  const auto n = static_cast<double>(trials);
  const double p = static_cast<double>(hits) / n;
  const double middle = p + kZ * kZ / (2 * n);
  const double spread = kZ * std::sqrt(p * (1 - p) / n + kZ * kZ / (4 * n * n));
  const double scale = 1 + kZ * kZ / n;
  return {std::max(0.0, (middle - spread) / scale), std::min(1.0, (middle + spread) / scale)};
}

std::vector<RocPoint> rocCurve(const std::vector<EvaluatedPage>& pages) {
  std::vector<std::pair<double, bool>> scored;
  std::size_t adult = 0;
  for (const EvaluatedPage& page : pages) {
    scored.emplace_back(page.score, page.adult);
    adult += page.adult ? 1 : 0;
  }
  const std::size_t legitimate = pages.size() - adult;
  if (adult == 0 || legitimate == 0) return {};
  std::sort(scored.begin(), scored.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
  std::vector<RocPoint> curve{{std::numeric_limits<double>::infinity(), 0, 0}};
  std::size_t hits = 0;
  std::size_t alarms = 0;
  for (std::size_t i = 0; i < scored.size(); ++i) {
    ++(scored[i].second ? hits : alarms);
    if (i + 1 < scored.size() && scored[i + 1].first == scored[i].first) continue;
    curve.push_back({scored[i].first, ratio(alarms, legitimate), ratio(hits, adult)});
  }
  return curve;
}

double areaUnder(const std::vector<RocPoint>& curve) {
  if (curve.empty()) return std::numeric_limits<double>::quiet_NaN();
  double area = 0;
  for (std::size_t i = 1; i < curve.size(); ++i) {
    area += (curve[i].falsePositiveRate - curve[i - 1].falsePositiveRate) *
            (curve[i].recall + curve[i - 1].recall) / 2;
  }
  return area;
}

double falsePositiveRateAtRecall(const std::vector<RocPoint>& curve, double recall) {
  for (const RocPoint& point : curve) {
    if (point.recall >= recall) return point.falsePositiveRate;
  }
  return std::numeric_limits<double>::quiet_NaN();
}

double recallAtFalsePositiveRate(const std::vector<RocPoint>& curve, double rate) {
  double best = std::numeric_limits<double>::quiet_NaN();
  for (const RocPoint& point : curve) {
    if (point.falsePositiveRate <= rate) best = point.recall;
  }
  return best;
}

Figures figuresOf(const std::vector<EvaluatedPage>& pages, std::size_t categories) {
  Figures figures;
  figures.labels.assign(categories, std::vector<std::size_t>(2, 0));
  std::map<std::pair<std::string, std::string>, GroupFigures> groups;
  for (const EvaluatedPage& page : pages) {
    figures.confusion.add(page.adult, page.restricted);
    const auto row = static_cast<std::size_t>(page.label - 1);
    if (row < categories) ++figures.labels[row][page.restricted ? 1 : 0];
    const auto kind = page.groups.find("kind");
    for (const auto& [group, value] : page.groups) {
      GroupFigures& entry = groups[{group, value}];
      entry.confusion.add(page.adult, page.restricted);
      if (kind != page.groups.end() && group != "kind")
        entry.kinds[kind->second].add(page.adult, page.restricted);
    }
  }
  for (auto& [key, entry] : groups) {
    entry.group = key.first;
    entry.value = key.second;
    figures.groups.push_back(std::move(entry));
  }
  figures.roc = rocCurve(pages);
  figures.areaUnderCurve = areaUnder(figures.roc);
  figures.falsePositives = mistakes(pages, false, [](double a, double b) { return a > b; });
  figures.falseNegatives = mistakes(pages, true, [](double a, double b) { return a < b; });
  return figures;
}

}  // namespace sifterra::tools
