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

TEST(LogOdds, AreThoseOfTheOperatingScore) {
  EXPECT_NEAR(logOdds(kOperatingScore), 0.489548, 1e-6);
}

}  // namespace
}  // namespace sifterra::lsm
