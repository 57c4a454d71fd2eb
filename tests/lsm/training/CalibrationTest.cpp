#include "lsm/training/Calibration.h"

#include <gtest/gtest.h>

#include <cmath>

namespace sifterra::lsm {
namespace {

TEST(MarginTail, FindsAnExponentialTailFromItsMiddle) {
  // The quantiles of an exponential distribution of scale 2 around -10.
  std::vector<double> margins;
  constexpr int kCount = 4000;
  for (int i = 0; i < kCount; ++i) margins.push_back(-10 - 2 * std::log((i + 0.5) / kCount));
  const MarginTail tail = fitTail(margins);
  EXPECT_NEAR(tail.scale, 2, 0.05);
  EXPECT_NEAR(tail.share, 0.05, 1e-9);
  for (const double share : {0.01, 0.001, 0.0001}) {
    EXPECT_NEAR(tail.marginExceededBy(share), -10 - 2 * std::log(share), 0.25);
    EXPECT_NEAR(tail.shareAbove(tail.marginExceededBy(share)), share, 1e-12);
  }
}

TEST(MarginTail, DoesNotDependOnTheOrder) {
  const MarginTail tail = fitTail({3, 1, 2, 5, 4, 0});
  const MarginTail other = fitTail({5, 4, 3, 2, 1, 0});
  EXPECT_EQ(tail.start, other.start);
  EXPECT_EQ(tail.scale, other.scale);
}

TEST(MarginTail, LeavesRoomWhenAllMarginsAreAlike) {
  const MarginTail tail = fitTail(std::vector<double>(100, -5.0));
  EXPECT_EQ(tail.start, -5);
  EXPECT_GT(tail.marginExceededBy(0.001), -5);
}

// The quantiles of a generalised Pareto distribution of scale 1 from 0 on.
std::vector<double> paretoMargins(double shape) {
  std::vector<double> margins;
  constexpr int kCount = 8000;
  for (int i = 0; i < kCount; ++i) margins.push_back((std::pow((i + 0.5) / kCount, -shape) - 1) / shape);
  return margins;
}

TEST(MarginTail, FindsItsShape) {
  for (const double shape : {-0.2, -0.1, 0.1, 0.2}) {
    SCOPED_TRACE(shape);
    const MarginTail tail = fitTail(paretoMargins(shape));
    EXPECT_NEAR(tail.shape, shape, 0.04);
    for (const double share : {0.01, 0.002, 0.0005}) {
      const double expected = (std::pow(share, -shape) - 1) / shape;
      EXPECT_NEAR(tail.marginExceededBy(share), expected, 0.03 * expected);
    }
  }
}

TEST(MarginTail, KeepsItsShapeWithinWhatIsBelievable) {
  EXPECT_EQ(fitTail(paretoMargins(0.8)).shape, 0.25);
  EXPECT_EQ(fitTail(paretoMargins(-0.9)).shape, -0.25);
}

TEST(MarginTail, TellsNothingBeyondItsEnd) {
  MarginTail tail;
  tail.share = 0.05;
  tail.scale = 1;
  tail.shape = -0.25;  // ends at 4
  EXPECT_GT(tail.shareAbove(3.9), 0);
  EXPECT_EQ(tail.shareAbove(4), 0);
  EXPECT_EQ(tail.shareAbove(40), 0);
  EXPECT_LT(tail.marginExceededBy(1e-12), 4);
}

TEST(MarginTail, HoldsAtLeastFortyMarginsOrHalfOfThem) {
  EXPECT_NEAR(fitTail(paretoMargins(0.1)).share, 0.05, 1e-12);
  std::vector<double> few;
  for (int i = 0; i < 200; ++i) few.push_back(i);
  EXPECT_NEAR(fitTail(few).share, 40.0 / 200, 1e-12);
  few.resize(50);
  EXPECT_NEAR(fitTail(few).share, 0.5, 1e-12);
  EXPECT_NEAR(fitTail({1, 2}).share, 0.5, 1e-12);
}

TEST(ShareEstimate, LiesWithinItsInterval) {
  const std::vector<double> margins = paretoMargins(0.1);
  const MarginTail tail = fitTail(margins);
  for (const double wanted : {0.02, 0.005, 0.001}) {
    const ShareEstimate estimate = estimateShareAbove(margins, tail.marginExceededBy(wanted));
    EXPECT_NEAR(estimate.share, wanted, 1e-9);
    EXPECT_LT(estimate.low, wanted);
    EXPECT_GT(estimate.high, wanted);
    EXPECT_LT(estimate.high - estimate.low, 2 * wanted);
  }
  // Below the tail margins are counted.
  EXPECT_NEAR(estimateShareAbove(margins, 0.5).share, std::pow(1.05, -10), 1e-3);
}

TEST(ShareEstimate, IsTheSameEachTime) {
  const std::vector<double> margins = paretoMargins(-0.1);
  EXPECT_EQ(estimateShareAbove(margins, 3).low, estimateShareAbove(margins, 3).low);
}

TEST(LogOdds, AreThoseOfTheOperatingScore) {
  EXPECT_NEAR(logOdds(kOperatingScore), 0.489548, 1e-6);
}

}  // namespace
}  // namespace sifterra::lsm
