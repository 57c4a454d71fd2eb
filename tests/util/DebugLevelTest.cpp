#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "sifterra/sifterra.h"

namespace {

TEST(DebugLevel, IsZeroAtFirstAndThenWhatWasSet) {
  EXPECT_EQ(WFDebugLevel(), 0);
  for (const std::int32_t level : {1, -1, std::numeric_limits<std::int32_t>::max(), 0}) {
    WFSetDebugLevel(level);
    EXPECT_EQ(WFDebugLevel(), level);
  }
}

}  // namespace
