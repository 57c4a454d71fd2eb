#include "Askings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

namespace sifterra::override_service {
namespace {

using namespace std::chrono_literals;

class AskingsTest : public testing::Test {
 protected:
  std::chrono::steady_clock::time_point _now{};
  Askings _askings{[this] { return _now; }};
};

TEST_F(AskingsTest, ATokenIsThirtyTwoHexadecimalDigitsAndNeverTheSame) {
  std::set<std::string> tokens;
  for (int i = 0; i < 100; ++i) {
    tokens.insert(_askings.add({1001, "ann", "http://a.example/", ""}));
  }
  EXPECT_EQ(tokens.size(), 100u);
  for (const std::string& token : tokens) EXPECT_THAT(token, testing::MatchesRegex("[0-9a-f]{32}"));
}

TEST_F(AskingsTest, ATokenIsGoodForItsUserAlone) {
  const std::string token = _askings.add({1001, "ann", "http://a.example/", "A"});
  ASSERT_TRUE(_askings.find(token, 1001));
  EXPECT_EQ(_askings.find(token, 1001)->url, "http://a.example/");
  EXPECT_EQ(_askings.find(token, 1001)->title, "A");
  EXPECT_FALSE(_askings.find(token, 1002));
  EXPECT_FALSE(_askings.find("", 1001));
  EXPECT_FALSE(_askings.find(token.substr(1), 1001));
}

TEST_F(AskingsTest, ATokenIsGoodForTenMinutesAndOnce) {
  const std::string token = _askings.add({1001, "ann", "http://a.example/", ""});
  _now += 10min - 1s;
  EXPECT_TRUE(_askings.find(token, 1001));
  _now += 1s;
  EXPECT_FALSE(_askings.find(token, 1001));
  const std::string other = _askings.add({1001, "ann", "http://a.example/", ""});
  _askings.remove(other);
  EXPECT_FALSE(_askings.find(other, 1001));
}

TEST_F(AskingsTest, WhatIsOpenIsKnownUntilItsTimeIsOver) {
  const std::string opened = _askings.add({1001, "ann", "http://a.example/", ""});
  const std::string other = _askings.add({1001, "ann", "http://b.example/", ""});
  _askings.setOpened(opened);
  EXPECT_TRUE(_askings.find(opened, 1001)->opened);
  EXPECT_FALSE(_askings.find(other, 1001)->opened);
  _now += 10min;
  EXPECT_FALSE(_askings.find(opened, 1001));
}

TEST_F(AskingsTest, AUserWhoAsksTooMuchLosesHisOwnOldestAskingOnly) {
  const std::string bens = _askings.add({1002, "ben", "http://b.example/", ""});
  const std::string first = _askings.add({1001, "ann", "http://a.example/", ""});
  const std::string second = _askings.add({1001, "ann", "http://a.example/", ""});
  for (std::size_t i = 0; i + 1 < Askings::kMostOfUser; ++i)
    (void)_askings.add({1001, "ann", "http://a.example/", ""});
  EXPECT_FALSE(_askings.find(first, 1001));
  EXPECT_TRUE(_askings.find(second, 1001));
  EXPECT_TRUE(_askings.find(bens, 1002));
}

}  // namespace
}  // namespace sifterra::override_service
