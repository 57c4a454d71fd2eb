// metrics: the figures that tell how well a judge works.
//
// Positive is adult. Rates are fractions of 0 to 1, not-a-number where there is nothing to divide by.
// Sources: Fawcett, "An introduction to ROC analysis" (2006); Wilson (1927) for the intervals.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "evaluation/EvaluatedPage.h"

namespace sifterra::tools {

// An adult page that is restricted is a true positive.
struct Confusion {
  std::size_t truePositives = 0;
  std::size_t falseNegatives = 0;
  std::size_t falsePositives = 0;
  std::size_t trueNegatives = 0;

  void add(bool adult, bool restricted);
  [[nodiscard]] std::size_t adult() const { return truePositives + falseNegatives; }
  [[nodiscard]] std::size_t legitimate() const { return falsePositives + trueNegatives; }
  [[nodiscard]] std::size_t pages() const { return adult() + legitimate(); }
  [[nodiscard]] double accuracy() const;
  [[nodiscard]] double precision() const;
  [[nodiscard]] double recall() const;
  [[nodiscard]] double falsePositiveRate() const;
  [[nodiscard]] double f1() const;
};

struct Interval {
  double low;
  double high;
};
// The 95% Wilson interval of a rate of `hits` in `trials`; 0 to 1 without trials.
[[nodiscard]] Interval wilsonInterval(std::size_t hits, std::size_t trials);

// One point of the ROC curve: what restricting all pages of at least this score would give.
struct RocPoint {
  double threshold;
  double falsePositiveRate;
  double recall;
};

// From (0, 0), where nothing is restricted, to (1, 1); equal scores make one step. Empty when one of
// the two kinds is missing.
[[nodiscard]] std::vector<RocPoint> rocCurve(const std::vector<EvaluatedPage>& pages);
// The area under it: the chance that an adult page scores higher than a legitimate one, ties half.
[[nodiscard]] double areaUnder(const std::vector<RocPoint>& curve);
// The lowest false-positive rate at which at least this recall is reached.
[[nodiscard]] double falsePositiveRateAtRecall(const std::vector<RocPoint>& curve, double recall);
// The highest recall at no more than this false-positive rate.
[[nodiscard]] double recallAtFalsePositiveRate(const std::vector<RocPoint>& curve, double rate);

// The pages of one value of one group: "lang" = "de".
struct GroupFigures {
  std::string group;
  std::string value;
  Confusion confusion;
  std::map<std::string, Confusion> kinds;  // the same by the group "kind"; empty for that group itself
};

struct Figures {
  Confusion confusion;
  std::vector<RocPoint> roc;
  double areaUnderCurve = 0;
  std::vector<std::vector<std::size_t>> labels;      // [label - 1]: allowed, restricted
  std::vector<GroupFigures> groups;                  // by group, then by value
  std::vector<const EvaluatedPage*> falsePositives;  // worst first
  std::vector<const EvaluatedPage*> falseNegatives;  // worst first
};

// Borrows from `pages`. `categories`: how many the map has.
[[nodiscard]] Figures figuresOf(const std::vector<EvaluatedPage>& pages, std::size_t categories);

}  // namespace sifterra::tools
