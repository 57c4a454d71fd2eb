#include "SubordinateIds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace sifterra::netfilterd {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(SubordinateIds, AreFoundByNameAndByNumber) {
  EXPECT_THAT(subordinateIds("ben:100000:65536\nann:165536:65536\n1001:300000:1\n", "ann", 1001),
              ElementsAre(IdRange{165536, 231071}, IdRange{300000, 300000}));
}

TEST(SubordinateIds, ALastLineNeedsNoLineEnd) {
  EXPECT_THAT(subordinateIds("ann:5:2", "ann", 1001), ElementsAre(IdRange{5, 6}));
}

TEST(SubordinateIds, LinesOfAnotherFormArePassedOver) {
  EXPECT_THAT(
      subordinateIds("ann\nann:1\nann::5\nann:x:5\nann:5:x\nann:5:0\nann:5:-1\nann:0:5\n:5:5\n#ann:5:5\n",
                     "ann", 1001),
      IsEmpty());
}

TEST(SubordinateIds, ARangePastTheLastUserEndsThere) {
  EXPECT_THAT(subordinateIds("ann:4294967290:100\n", "ann", 1001),
              ElementsAre(IdRange{4294967290, 4294967294}));
  EXPECT_THAT(subordinateIds("ann:4294967290:18446744073709551615\n", "ann", 1001),
              ElementsAre(IdRange{4294967290, 4294967294}));
  EXPECT_THAT(subordinateIds("ann:4294967295:1\n", "ann", 1001), IsEmpty());
}

TEST(SubordinateIds, AnEmptyNameOwnsNothing) {
  EXPECT_THAT(subordinateIds("ann:5:5\n", "", 1001), IsEmpty());
}

}  // namespace
}  // namespace sifterra::netfilterd
