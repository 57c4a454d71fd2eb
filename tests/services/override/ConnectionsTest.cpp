#include "Connections.h"

#include <gtest/gtest.h>

#include <vector>

namespace sifterra::override_service {
namespace {

TEST(Connections, AnAccountHasNoMoreThanItMayAndOthersHaveTheirOwn) {
  Connections connections(2);
  auto first = connections.take(1001);
  const auto second = connections.take(1001);
  ASSERT_TRUE(first && second);
  EXPECT_FALSE(connections.take(1001));
  EXPECT_TRUE(connections.take(1002));
  EXPECT_TRUE(connections.take(std::nullopt));
  first.reset();
  const auto third = connections.take(1001);
  EXPECT_TRUE(third);
  EXPECT_FALSE(connections.take(1001));
}

TEST(Connections, AllOfUnknownOwnersCountAsOne) {
  Connections connections(1);
  const auto place = connections.take(std::nullopt);
  EXPECT_TRUE(place);
  EXPECT_FALSE(connections.take(std::nullopt));
}

TEST(Connections, APlaceThatIsHandedOnIsCountedOnce) {
  Connections connections(1);
  {
    std::vector<Connections::Place> places;
    places.push_back(std::move(*connections.take(1001)));
    EXPECT_FALSE(connections.take(1001));
  }
  EXPECT_TRUE(connections.take(1001));
}

}  // namespace
}  // namespace sifterra::override_service
