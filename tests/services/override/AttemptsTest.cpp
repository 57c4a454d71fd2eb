#include "Attempts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

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
  void lockout(std::uint32_t uid) {
    for (int i = 0; i < Attempts::kMostWrong; ++i) wrong(uid);
  }
  Attempts attemptsIn(const std::string& file) {
    return {[this] { return _now; }, file, [this](const std::string& line) { _log.push_back(line); }};
  }
  std::chrono::system_clock::time_point _now{std::chrono::seconds(1790000000)};
  std::vector<std::string> _log;
  Attempts _attempts = attemptsIn("");
};

class KeptAttemptsTest : public AttemptsTest {
 protected:
  KeptAttemptsTest() {
    char pattern[] = "/tmp/attempts.XXXXXX";
    _folder = mkdtemp(pattern);
    _file = _folder + "/attempts.json";
  }
  ~KeptAttemptsTest() override { std::filesystem::remove_all(_folder); }
  void guess(Attempts& attempts, int times) {
    for (int i = 0; i < times; ++i) {
      ASSERT_EQ(attempts.begin(1001), Answer::Go);
      attempts.done(1001, false);
    }
  }
  std::string _folder;
  std::string _file;
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

TEST_F(AttemptsTest, EachLockoutWithoutARightPasswordBetweenIsTwiceAsLong) {
  for (const auto length : {15min, 30min, 60min, 120min, 240min, 480min, 960min, 1440min, 1440min}) {
    lockout(1001);
    EXPECT_EQ(_attempts.remaining(1001), length);
    _now += length;
  }
  ASSERT_EQ(_attempts.begin(1001), Answer::Go);
  _attempts.done(1001, true);
  lockout(1001);
  EXPECT_EQ(_attempts.remaining(1001), 15min);
}

TEST_F(AttemptsTest, AClockThatIsSetBackMakesNoLockoutLonger) {
  lockout(1001);
  _now -= 24h * 365;
  EXPECT_EQ(_attempts.remaining(1001), 15min);
}

TEST_F(AttemptsTest, AnAbandonedCheckCountsForNothingAndLeavesNobodyBusy) {
  try {
    ASSERT_EQ(_attempts.begin(1001), Answer::Go);
    const Check check(_attempts, 1001);
    throw std::runtime_error("no memory");
  } catch (const std::runtime_error&) {
  }
  EXPECT_EQ(_attempts.delay(1001), 0ms);
  EXPECT_EQ(_attempts.begin(1001), Answer::Go);
  Check check(_attempts, 1001);
  check.end(false);
  EXPECT_EQ(_attempts.delay(1001), 500ms);
}

TEST_F(KeptAttemptsTest, ARestartForgivesNothing) {
  Attempts first = attemptsIn(_file);
  guess(first, 3);
  Attempts second = attemptsIn(_file);
  EXPECT_EQ(second.delay(1001), 2000ms);
  guess(second, 2);
  Attempts third = attemptsIn(_file);
  EXPECT_EQ(third.begin(1001), Answer::Locked);
  EXPECT_EQ(third.remaining(1001), 15min);
  _now += 15min;
  guess(third, 5);
  EXPECT_EQ(attemptsIn(_file).remaining(1001), 30min);
  _now += 30min;
  ASSERT_EQ(third.begin(1001), Answer::Go);
  third.done(1001, true);
  EXPECT_EQ(attemptsIn(_file).delay(1001), 0ms);
  EXPECT_THAT(_log, testing::IsEmpty());
  std::ifstream file(_file);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "{}\n");
}

TEST_F(KeptAttemptsTest, AFileThatIsNoneIsToldAndForgotten) {
  for (const char* text : {"", "[1]", "{\"ann\": {\"wrong\": 1, \"lockouts\": 0, \"locked-until\": 0}}",
                           "{\"1001\": 7}", "{\"1001\": {\"wrong\": 1}}"}) {
    SCOPED_TRACE(text);
    _log.clear();
    std::ofstream(_file) << text;
    EXPECT_EQ(attemptsIn(_file).delay(1001), 0ms);
    ASSERT_EQ(_log.size(), 1u);
    EXPECT_THAT(_log[0], testing::AllOf(testing::StartsWith(_file + ": "),
                                        testing::EndsWith("; earlier wrong passwords are forgotten")));
  }
  // Numbers that none of its writers wrote lock nobody out for good.
  std::ofstream(_file)
      << R"({"1001": {"wrong": 99, "lockouts": 9999999, "locked-until": 9223372036854775807}})";
  EXPECT_EQ(attemptsIn(_file).remaining(1001), 24h);
}

TEST_F(KeptAttemptsTest, WhereNothingCanBeWrittenMemoryCounts) {
  Attempts attempts = attemptsIn(_folder + "/none/attempts.json");
  guess(attempts, 5);
  EXPECT_EQ(attempts.remaining(1001), 15min);
  EXPECT_EQ(_log.size(), 5u);
  EXPECT_THAT(_log[0], testing::HasSubstr("cannot write beside " + _folder + "/none/attempts.json"));
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
