#include "ordered_parallel.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>

namespace sifterra::tools {
namespace {

class OrderedParallel : public testing::TestWithParam<std::size_t> {};

TEST_P(OrderedParallel, ConsumesEveryResultInTheOrderOfProduction) {
  int produced = 0;
  std::vector<int> consumed;
  orderedParallel(
      GetParam(),
      [&]() -> std::optional<int> { return produced < 2000 ? std::optional(produced++) : std::nullopt; },
      [](int item) {
        if (item % 97 == 0)
          std::this_thread::sleep_for(std::chrono::milliseconds(2));  // overtaken by the next
        return item * 2;
      },
      [&](int result) {
        consumed.push_back(result);
        return true;
      });
  ASSERT_EQ(consumed.size(), 2000u);
  for (int i = 0; i < 2000; ++i) ASSERT_EQ(consumed[static_cast<std::size_t>(i)], i * 2);
}

TEST_P(OrderedParallel, StopsWhenTheConsumerSaysSo) {
  int produced = 0;
  int consumed = 0;
  orderedParallel(
      GetParam(), [&] { return std::optional(produced++); }, [](int item) { return item; },
      [&](int) { return ++consumed < 10; });
  EXPECT_EQ(consumed, 10);
}

TEST_P(OrderedParallel, ProducesOnlySoFarAhead) {
  std::atomic<std::size_t> produced{0};
  std::size_t most = 0;
  std::size_t consumed = 0;
  orderedParallel(
      GetParam(),
      [&]() -> std::optional<std::size_t> {
        return produced < 3000 ? std::optional<std::size_t>(produced++) : std::nullopt;
      },
      [](std::size_t item) {
        if (item == 0) std::this_thread::sleep_for(std::chrono::milliseconds(100));  // everybody waits for it
        return item;
      },
      [&](std::size_t) {
        most = std::max(most, produced - consumed);
        ++consumed;
        return true;
      });
  EXPECT_EQ(consumed, 3000u);
  EXPECT_LE(most, kResultsAhead * std::max<std::size_t>(GetParam(), 1) + 1);
}

TEST_P(OrderedParallel, DoesNotAskAgainAfterTheEnd) {
  int calls = 0;
  orderedParallel(
      GetParam(), [&]() -> std::optional<int> { return ++calls < 3 ? std::optional(1) : std::nullopt; },
      [](int item) { return item; }, [](int) { return true; });
  EXPECT_EQ(calls, 3);
}

INSTANTIATE_TEST_SUITE_P(Threads, OrderedParallel, testing::Values(0, 1, 2, 8));

}  // namespace
}  // namespace sifterra::tools
