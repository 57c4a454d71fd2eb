#include "platform/NameLookup.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "sifterra/sifterra.h"

namespace sifterra::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

// A source that answers what it is told to, taking as long as it is told.
struct ScriptedSource final : NameSource {
  Answer nameOf(std::uint32_t address, milliseconds limit) override {
    ++asked;
    lastLimit = limit;
    now += std::min(takes, limit);
    if (answer.outcome != Outcome::Found) return answer;
    return {Outcome::Found, answer.name + std::to_string(address)};
  }
  NameLookup::Clock::time_point now{seconds(1000)};
  Answer answer{Outcome::Found, "host"};
  milliseconds takes{1};
  milliseconds lastLimit{0};
  int asked = 0;
};

class Lookup : public testing::Test {
 protected:
  void answer(NameSource::Outcome outcome, milliseconds takes = milliseconds(1)) {
    source_->answer.outcome = outcome;
    source_->takes = takes;
  }

  std::shared_ptr<ScriptedSource> source_ = std::make_shared<ScriptedSource>();
  NameLookup names_{source_, [this] { return source_->now; }};
};

TEST_F(Lookup, IsRememberedForTenMinutes) {
  EXPECT_EQ(names_.nameOf(7), "host7");
  source_->now += minutes(9);
  EXPECT_EQ(names_.nameOf(7), "host7");
  EXPECT_EQ(source_->asked, 1);
  source_->now += minutes(2);
  EXPECT_EQ(names_.nameOf(7), "host7");
  EXPECT_EQ(source_->asked, 2);
}

TEST_F(Lookup, RemembersForAMinuteThatThereIsNoName) {
  for (const auto outcome : {NameSource::Outcome::NoName, NameSource::Outcome::Unanswered}) {
    source_->asked = 0;
    answer(outcome);
    EXPECT_EQ(names_.nameOf(8), std::nullopt);
    source_->now += seconds(50);
    EXPECT_EQ(names_.nameOf(8), std::nullopt);
    EXPECT_EQ(source_->asked, 1);
    source_->now += seconds(20);
    EXPECT_EQ(names_.nameOf(8), std::nullopt);
    EXPECT_EQ(source_->asked, 2);
    source_->now += minutes(2);
  }
}

TEST_F(Lookup, WaitsTwoSecondsAtMost) {
  EXPECT_TRUE(names_.nameOf(1));
  EXPECT_EQ(source_->lastLimit, seconds(2));
}

TEST_F(Lookup, PausesAfterThreeUnansweredOnesInARow) {
  answer(NameSource::Outcome::Unanswered, seconds(2));
  const auto start = source_->now;
  for (std::uint32_t address = 0; address < 100000; ++address) EXPECT_FALSE(names_.nameOf(address));
  EXPECT_EQ(source_->asked, 3);
  EXPECT_EQ(source_->now - start, seconds(6));
  source_->now += seconds(61);
  answer(NameSource::Outcome::Found);
  EXPECT_EQ(names_.nameOf(5), "host5");
}

TEST_F(Lookup, CountsOnlyUnansweredOnesInARow) {
  for (std::uint32_t i = 0; i < 4; ++i) {
    answer(NameSource::Outcome::Unanswered);
    EXPECT_FALSE(names_.nameOf(3 * i));
    EXPECT_FALSE(names_.nameOf(3 * i + 1));
    answer(NameSource::Outcome::NoName);
    EXPECT_FALSE(names_.nameOf(3 * i + 2));
  }
  EXPECT_EQ(source_->asked, 12);
}

TEST_F(Lookup, WaitsTenSecondsPerMinuteInAll) {
  answer(NameSource::Outcome::Found, milliseconds(1500));
  const auto start = source_->now;
  for (std::uint32_t address = 0; address < 1000; ++address) static_cast<void>(names_.nameOf(address));
  EXPECT_EQ(source_->now - start, seconds(10));
  EXPECT_EQ(source_->asked, 7);  // six of 1.5 s, one cut at 1 s
  EXPECT_EQ(names_.nameOf(500), std::nullopt);
  EXPECT_EQ(names_.nameOf(0), "host0");  // known
  source_->now += seconds(51);
  EXPECT_EQ(names_.nameOf(500), "host500");  // that it might not wait was not remembered
}

TEST_F(Lookup, ThatTakesNoTimeIsNotRationed) {
  for (std::uint32_t address = 0; address < 3000; ++address) ASSERT_TRUE(names_.nameOf(address)) << address;
}

TEST_F(Lookup, RemembersABoundedNumberOfAddresses) {
  source_->takes = milliseconds(0);
  for (std::uint32_t address = 0; address < NameLookup::kMostAddresses; ++address) {
    ASSERT_TRUE(names_.nameOf(address));
  }
  const int asked = source_->asked;
  for (std::uint32_t address = 0; address < NameLookup::kMostAddresses; ++address) {
    ASSERT_TRUE(names_.nameOf(address));
  }
  EXPECT_EQ(source_->asked, asked);
  ASSERT_TRUE(names_.nameOf(1000000));  // takes the place of one
  for (std::uint32_t address = 0; address < NameLookup::kMostAddresses; ++address) {
    ASSERT_TRUE(names_.nameOf(address));
  }
  EXPECT_GT(source_->asked, asked + 1);
}

TEST_F(Lookup, AsksNothingWhenSwitchedOff) {
  EXPECT_TRUE(names_.nameOf(1));
  names_.setEnabled(false);
  EXPECT_EQ(names_.nameOf(1), std::nullopt);  // what is known is not told either
  EXPECT_EQ(names_.nameOf(2), std::nullopt);
  EXPECT_EQ(source_->asked, 1);
  names_.setEnabled(true);
  EXPECT_EQ(names_.nameOf(1), "host1");
  EXPECT_EQ(source_->asked, 1);
}

TEST_F(Lookup, ForgetsEverythingWithItsSource) {
  EXPECT_TRUE(names_.nameOf(1));
  auto other = std::make_shared<ScriptedSource>();
  other->answer.outcome = NameSource::Outcome::NoName;
  EXPECT_EQ(names_.replaceSource(other), source_);
  EXPECT_EQ(names_.nameOf(1), std::nullopt);
}

TEST(SharedLookup, IsSwitchedThroughTheCInterface) {
  EXPECT_TRUE(NameLookup::shared().enabled());
  WFSetNameLookups(0);
  EXPECT_FALSE(NameLookup::shared().enabled());
  WFSetNameLookups(1);
  EXPECT_TRUE(NameLookup::shared().enabled());
}

// Nobody waits for another's answer, and together they keep to the account.
TEST(SharedLookup, ServesThreadsAtOnce) {
  struct Slow final : NameSource {
    Answer nameOf(std::uint32_t, milliseconds) override {
      std::this_thread::sleep_for(milliseconds(1));
      return {Outcome::Found, "name"};
    }
  };
  NameLookup names(std::make_shared<Slow>());
  std::vector<std::thread> threads;
  for (std::uint32_t thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&names, thread] {
      for (std::uint32_t i = 0; i < 100; ++i) EXPECT_EQ(names.nameOf(i * (thread % 2 + 1)), "name");
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace sifterra::platform
