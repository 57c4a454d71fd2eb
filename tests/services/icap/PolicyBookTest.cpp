#include "PolicyBook.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "services/icap/fixture.h"
#include "sifterra/sifterra.h"

namespace sifterra::icap {
namespace {

using State = Policy::State;

class PolicyBookTest : public testing::Test {
 protected:
  PolicyBookTest() {
    WFSetLogLevel(WFLogLevelOff);
    WFSetFileSystemRoot(directory_.path().c_str());
  }
  ~PolicyBookTest() override { WFSetFileSystemRoot(""); }

  TemporaryDirectory directory_;
  std::vector<std::string> lines_;
  PolicyBook book_{[this](const std::string& line) { lines_.push_back(line); }};
};

TEST_F(PolicyBookTest, KnowsNothingOfWhoHasNoFile) {
  EXPECT_EQ(book_.policyOf("").state, State::Unknown);
  EXPECT_EQ(book_.policyOf("nobody").state, State::Unknown);
  EXPECT_EQ(book_.policyOf("nobody").preferences, nullptr);
  EXPECT_TRUE(lines_.empty());
}

TEST_F(PolicyBookTest, FindsThePolicyWhateverTheCaseOfTheName) {
  directory_.writePolicy("ann", contentFilter());
  directory_.writePolicy("Bob", contentFilter());
  directory_.writePolicy("carl", contentFilter());
  directory_.writePolicy("CARL", contentFilter());
  EXPECT_EQ(PolicyBook::spelt("ann"), "ann");
  EXPECT_EQ(PolicyBook::spelt("Ann"), "ann");
  EXPECT_EQ(PolicyBook::spelt("ANN"), "ann");
  EXPECT_EQ(PolicyBook::spelt("Bob"), "Bob");
  EXPECT_EQ(PolicyBook::spelt("BOB"), "BOB");
  EXPECT_EQ(PolicyBook::spelt("CARL"), "CARL");
  EXPECT_EQ(PolicyBook::spelt("Carl"), "carl");
  EXPECT_EQ(PolicyBook::spelt("Dora"), "Dora");
  EXPECT_EQ(PolicyBook::spelt(""), "");
}

TEST_F(PolicyBookTest, FollowsTheFile) {
  directory_.writePolicy("follower", contentFilter());
  const Policy policy = book_.policyOf("follower");
  EXPECT_EQ(policy.state, State::InForce);
  EXPECT_TRUE(policy.preferences->filterEnabled());
  directory_.writePolicy("follower", "<key>restrictWeb</key><false/>");
  EXPECT_FALSE(book_.policyOf("follower").preferences->filterEnabled());
  std::filesystem::remove(directory_.policyPath("follower"));
  EXPECT_EQ(book_.policyOf("follower").state, State::Unknown);
}

TEST_F(PolicyBookTest, KeepsTheLastGoodPolicyAndSaysSoOnce) {
  directory_.writePolicy("keeper", contentFilter());
  EXPECT_EQ(book_.policyOf("keeper").state, State::InForce);
  directory_.breakPolicy("keeper");
  for (int i = 0; i < 2; ++i) {
    const Policy policy = book_.policyOf("keeper");
    EXPECT_EQ(policy.state, State::LastGood);
    EXPECT_TRUE(policy.preferences->filterEnabled());
  }
  ASSERT_EQ(lines_.size(), 1U);
  EXPECT_EQ(lines_[0].substr(0, 45), "the policy of user \"keeper\" cannot be read (i");
  EXPECT_EQ(lines_[0].substr(lines_[0].find(')')), "); the one before stays in force");

  directory_.writePolicy("keeper", "<key>restrictWeb</key><true/>");
  EXPECT_EQ(book_.policyOf("keeper").state, State::InForce);
  EXPECT_EQ(book_.policyOf("keeper").state, State::InForce);
  ASSERT_EQ(lines_.size(), 2U);
  EXPECT_EQ(lines_[1], "the policy of user \"keeper\" can be read again and is in force");

  directory_.breakPolicy("keeper");
  EXPECT_EQ(book_.policyOf("keeper").state, State::LastGood);
  EXPECT_EQ(lines_.size(), 3U);
}

TEST_F(PolicyBookTest, HasNoneToKeepWhenNoneEverWasRead) {
  directory_.breakPolicy("newcomer");
  EXPECT_EQ(book_.policyOf("newcomer").state, State::Broken);
  EXPECT_EQ(book_.policyOf("newcomer").preferences, nullptr);
  ASSERT_EQ(lines_.size(), 1U);
  EXPECT_EQ(lines_[0].substr(lines_[0].find(')')), "); there is none before it");
}

}  // namespace
}  // namespace sifterra::icap
