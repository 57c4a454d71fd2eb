#include "Attempts.h"

#include <gtest/gtest.h>

namespace sifterra::override_service {
namespace {

using namespace std::chrono_literals;
using Answer = Attempts::Answer;

class AttemptsTest : public testing::Test {
 protected:
  void wrong(std::uint32_t uid) {
    ASSERT_EQ(_attempts.begin(uid), Answer::Go);
    _attempts.done(uid, false);
  }
  std::chrono::steady_clock::time_point _now{};
  Attempts _attempts{[this] { return _now; }};
};

TEST_F(AttemptsTest, FiveWrongPasswordsLockAUserOutForAQuarterOfAnHour) {
  for (int i = 0; i < 4; ++i) wrong(1001);
  EXPECT_EQ(_attempts.remaining(1001), 0min);
  wrong(1001);
  EXPECT_EQ(_attempts.remaining(1001), 15min);
  EXPECT_EQ(_attempts.begin(1001), Answer::Locked);
  _now += 14min + 1s;
  EXPECT_EQ(_attempts.remaining(1001), 1min);
  EXPECT_EQ(_attempts.begin(1001), Answer::Locked);
  _now += 59s;
  EXPECT_EQ(_attempts.begin(1001), Answer::Go);
}

TEST_F(AttemptsTest, OtherUsersAreNotLockedOutWithOne) {
  for (int i = 0; i < 5; ++i) wrong(1001);
  EXPECT_EQ(_attempts.begin(1002), Answer::Go);
}

TEST_F(AttemptsTest, ARightPasswordForgivesTheWrongOnes) {
  for (int i = 0; i < 4; ++i) wrong(1001);
  ASSERT_EQ(_attempts.begin(1001), Answer::Go);
  _attempts.done(1001, true);
  EXPECT_EQ(_attempts.delay(1001), 0ms);
  for (int i = 0; i < 4; ++i) wrong(1001);
  EXPECT_EQ(_attempts.begin(1001), Answer::Go);
}

TEST_F(AttemptsTest, EachWrongPasswordDoublesTheDelay) {
  EXPECT_EQ(_attempts.delay(1001), 0ms);
  for (const auto delay : {500ms, 1000ms, 2000ms, 4000ms}) {
    wrong(1001);
    EXPECT_EQ(_attempts.delay(1001), delay);
  }
}

TEST_F(AttemptsTest, OnePasswordAtATime) {
  EXPECT_EQ(_attempts.begin(1001), Answer::Go);
  EXPECT_EQ(_attempts.begin(1001), Answer::Busy);
  EXPECT_EQ(_attempts.begin(1002), Answer::Go);
  _attempts.done(1001, false);
  EXPECT_EQ(_attempts.begin(1001), Answer::Go);
}

}  // namespace
}  // namespace sifterra::override_service
