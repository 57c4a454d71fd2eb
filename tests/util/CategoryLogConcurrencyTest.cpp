// Loggers asked for and written to by eight threads at once, first use included.
#include <gtest/gtest.h>

#include <array>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/Log.h"
#include "sifterra/sifterra.h"
#include "util/log.h"

namespace sifterra {
namespace {

constexpr std::size_t kThreads = 8;

TEST(CategoryLog, GivesAllThreadsTheSameLogger) {
  platform::CapturedLog log;
  std::array<WFLogRef, kThreads> seen{};
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&seen, i] {
      seen[i] = OSLogForCategory("WebFilter");
      logError("%s -- from a thread", "op");
      WFLogWrite(OSLogForCategory(i % 2 == 0 ? "even" : "odd"), WFLogLevelError, "line");
      WFSetDebugLevel(static_cast<std::int32_t>(i));
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(std::set<WFLogRef>(seen.begin(), seen.end()).size(), 1U);
  EXPECT_EQ(log.lines().size(), 2 * kThreads);
  EXPECT_GE(WFDebugLevel(), 0);
}

}  // namespace
}  // namespace sifterra
