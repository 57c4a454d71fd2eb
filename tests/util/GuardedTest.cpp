// Exceptions end at the library's edge, with a line in the log.
#include "util/guarded.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace sifterra {
namespace {

TEST(Guarded, GivesTheAnswerOfTheWork) {
  platform::CapturedLog log;
  EXPECT_EQ(guarded("op", 0, [] { return 7; }), 7);
  EXPECT_TRUE(log.lines().empty());
}

TEST(Guarded, GivesTheFallbackAndALineWhenTheWorkThrows) {
  platform::CapturedLog log;
  const int answer =
      guarded("WFIsWebPageExplicit", -1, []() -> int { throw std::runtime_error("no \u00fcse"); });
  EXPECT_EQ(answer, -1);
  EXPECT_TRUE(
      log.contains(platform::LogLevel::Error, "WFIsWebPageExplicit -- Caught exception: no \u00fcse"));
}

TEST(Guarded, NamesAnExceptionThatTellsNothing) {
  platform::CapturedLog log;
  guarded("op", [] { throw 42; });
  EXPECT_TRUE(log.contains(platform::LogLevel::Error, "op -- Caught exception: unknown"));
}

TEST(Guarded, LogsForWorkWithoutAnAnswerToo) {
  platform::CapturedLog log;
  bool done = false;
  guarded("op", [&] { done = true; });
  EXPECT_TRUE(done);
  guarded("op", [] { throw std::out_of_range("beyond"); });
  EXPECT_TRUE(log.contains(platform::LogLevel::Error, "op -- Caught exception: beyond"));
}

}  // namespace
}  // namespace sifterra
