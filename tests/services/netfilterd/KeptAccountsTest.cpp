#include "KeptAccounts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace sifterra::netfilterd {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

// A directory that may be down.
class Directory final : public Accounts {
 public:
  [[nodiscard]] Number numberOf(const std::string& name) const override {
    if (down) return {std::nullopt, "the account \"" + name + "\" cannot be looked up: Input/output error"};
    for (const auto& [known, uid] : accounts) {
      if (known == name) return {uid, ""};
    }
    return {std::nullopt, "there is no account \"" + name + '"'};
  }
  [[nodiscard]] std::optional<std::string> nameOf(std::uint32_t uid) const override {
    for (const auto& [known, number] : accounts) {
      if (number == uid && !down) return known;
    }
    return std::nullopt;
  }
  std::map<std::string, std::uint32_t> accounts = {{"ann", 1001}};
  bool down = false;
};

TEST(KeptAccounts, WhoIsKnownNowHasTheNumberOfNow) {
  const Directory directory;
  EXPECT_EQ(KeptAccounts(directory, {{"ann", 999}}).numberOf("ann").uid, 1001u);
}

TEST(KeptAccounts, WhoCannotBeAskedForKeepsTheLastNumber) {
  Directory directory;
  directory.down = true;
  const KeptAccounts accounts(directory, {{"ann", 1001}});
  EXPECT_EQ(accounts.numberOf("ann").uid, 1001u);
  EXPECT_EQ(accounts.numberOf("ann").problem, "the account \"ann\" cannot be looked up: Input/output error");
  EXPECT_EQ(accounts.numberOf("ben").uid, std::nullopt);
}

TEST(KeptAccounts, WhoVanishedKeepsTheLastNumberUntilItIsSomebodyElses) {
  Directory directory;
  const KeptAccounts accounts(directory, {{"ben", 1002}});
  EXPECT_EQ(accounts.numberOf("ben").uid, 1002u);
  directory.accounts["carl"] = 1002;
  EXPECT_EQ(accounts.numberOf("ben").uid, std::nullopt);
}

TEST(KeptAccounts, TheConfigurationSaysWhoseNumberIsOnlyKept) {
  Directory directory;
  directory.down = true;
  std::string problem;
  const auto configuration = configurationOf(
      R"({"users": [{"name": "ann", "http-port": 1, "https-port": 2}, {"name": "ben", "http-port": 3, "https-port": 4}]})",
      KeptAccounts(directory, {{"ann", 1001}, {"sifterra-proxy", 13}}), problem);
  ASSERT_TRUE(configuration) << problem;
  EXPECT_THAT(configuration->users, ElementsAre(ConfiguredUser{"ann", 1001, 1, 2}));
  EXPECT_EQ(configuration->proxyUid, 13u);
  EXPECT_THAT(
      configuration->unknown,
      ElementsAre("users[0].name: the account \"ann\" cannot be looked up: Input/output error; its last "
                  "number, 1001, stays filtered",
                  "users[1].name: the account \"ben\" cannot be looked up: Input/output error"));
  EXPECT_THAT(numbersOf(*configuration), ElementsAre(Pair("ann", 1001), Pair("sifterra-proxy", 13)));
}

TEST(KeptAccounts, NumbersComeBackFromTheirText) {
  const KeptAccounts::Numbers numbers = {{"ann", 1001}, {"ben", 1002}};
  EXPECT_EQ(numbersText(numbers), "{\n  \"ann\": 1001,\n  \"ben\": 1002\n}\n");
  EXPECT_EQ(numbersIn(numbersText(numbers)), numbers);
  for (const char* text :
       {"", "{", "[]", "null", R"({"ann": "1001"})", R"({"ann": -1})", R"({"ann": 4294967295})"})
    EXPECT_THAT(numbersIn(text), IsEmpty()) << text;
}

}  // namespace
}  // namespace sifterra::netfilterd
