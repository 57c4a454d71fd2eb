#include "UserMap.h"

#include <gtest/gtest.h>

#include <vector>

#include "UserMapFile.h"
#include "services/icap/fixture.h"

namespace sifterra::icap {
namespace {

UserMap mapOf(std::string_view text) {
  return std::get<UserMap>(UserMap::parse(text, "users.map"));
}

std::string problemOf(std::string_view text) {
  return std::get<std::string>(UserMap::parse(text, "users.map"));
}

TEST(UserMap, FindsTheLongestNetworkThatHoldsTheAddress) {
  const UserMap map = mapOf(
      "# the house\r\n"
      "192.0.2.0/24   family   # everybody\n"
      "\n"
      "192.0.2.17\tann\n"
      "192.0.2.16/30 children\n"
      "0.0.0.0/0 guests\n"
      "2001:db8:1::/48 family\n"
      "2001:db8:1::7 bob miller\n");
  EXPECT_EQ(map.size(), 6U);
  EXPECT_EQ(map.userOf("192.0.2.17"), "ann");
  EXPECT_EQ(map.userOf("::ffff:192.0.2.17"), "ann");
  EXPECT_EQ(map.userOf("192.0.2.18"), "children");
  EXPECT_EQ(map.userOf("192.0.2.255"), "family");
  EXPECT_EQ(map.userOf("198.51.100.1"), "guests");
  EXPECT_EQ(map.userOf("2001:db8:1::7"), "bob miller");
  EXPECT_EQ(map.userOf("2001:0DB8:0001:ffff::1"), "family");
  EXPECT_EQ(map.userOf("2001:db8:2::1"), "");
  EXPECT_EQ(map.userOf(" 192.0.2.17 "), "ann");
}

TEST(UserMap, HasNobodyBehindWhatIsNoAddress) {
  const UserMap map = mapOf("::/0 everybody");
  EXPECT_EQ(map.userOf("192.0.2.1"), "everybody");
  for (const std::string_view address :
       {"", "unknown", "192.0.2", "192.0.2.1:80", "[::1]", "::1%lo", "0x7f.1"})
    EXPECT_EQ(map.userOf(address), "") << address;
  EXPECT_EQ(map.userOf(std::string(10000, '1')), "");
}

TEST(UserMap, TellsFileAndLineOfAMistake) {
  EXPECT_EQ(problemOf("\n\nhere ann"),
            "users.map:3: \"here\" is no address; expected one like 192.0.2.7 or 2001:db8::7");
  EXPECT_EQ(problemOf("192.0.2.0/33 ann"),
            "users.map:1: \"/33\" is no length of a network; expected 0 to 32");
  EXPECT_EQ(problemOf("2001:db8::/129 ann"),
            "users.map:1: \"/129\" is no length of a network; expected 0 to 128");
  EXPECT_EQ(problemOf("192.0.2.0/ ann"), "users.map:1: \"/\" is no length of a network; expected 0 to 32");
  EXPECT_EQ(problemOf("192.0.2.0/-1 ann"),
            "users.map:1: \"/-1\" is no length of a network; expected 0 to 32");
  EXPECT_EQ(problemOf("192.0.2.7/24 ann"),
            "users.map:1: \"192.0.2.7/24\" is no network; expected 192.0.2.0/24");
  EXPECT_EQ(problemOf("2001:db8::7/32 ann"),
            "users.map:1: \"2001:db8::7/32\" is no network; expected 2001:db8::/32");
  EXPECT_EQ(problemOf("192.0.2.7"),
            "users.map:1: a user is missing; expected \"ADDRESS USER\" or \"NETWORK/LENGTH USER\"");
  EXPECT_EQ(problemOf("192.0.2.7 # ann"),
            "users.map:1: a user is missing; expected \"ADDRESS USER\" or \"NETWORK/LENGTH USER\"");
  EXPECT_EQ(problemOf("192.0.2.7 a/b"), "users.map:1: \"a/b\" is no user's short name");
  EXPECT_EQ(problemOf("192.0.2.7 EXAMPLE\\ann"), "users.map:1: \"EXAMPLE\\ann\" is no user's short name");
  EXPECT_EQ(problemOf("192.0.2.7 ann\n192.0.2.7/32 bob"),
            "users.map:2: 192.0.2.7/32 stands in the file already");
}

class UserMapFileTest : public testing::Test {
 protected:
  TemporaryDirectory directory_;
  std::vector<std::string> lines_;
  Log log_ = [this](const std::string& line) { lines_.push_back(line); };
};

TEST_F(UserMapFileTest, FollowsItsFile) {
  const std::string path = directory_.write("users.map", "192.0.2.7 ann");
  UserMapFile file(path, log_);
  EXPECT_EQ(file.load(), "");
  EXPECT_EQ(file.userOf("192.0.2.7"), "ann");
  directory_.write("users.map", "192.0.2.7 bob");
  EXPECT_EQ(file.userOf("192.0.2.7"), "bob");
  EXPECT_EQ(lines_, std::vector<std::string>{"the user map " + path + " has changed and is in force"});
}

TEST_F(UserMapFileTest, KeepsTheLastGoodOneAndSaysSoOnce) {
  const std::string path = directory_.write("users.map", "192.0.2.7 ann");
  UserMapFile file(path, log_);
  EXPECT_EQ(file.load(), "");
  directory_.write("users.map", "192.0.2.7");
  EXPECT_EQ(file.userOf("192.0.2.7"), "ann");
  EXPECT_EQ(file.userOf("192.0.2.7"), "ann");
  EXPECT_EQ(lines_, std::vector<std::string>{"the user map stays as it was: " + path +
                                             ":1: a user is missing; expected \"ADDRESS USER\" or "
                                             "\"NETWORK/LENGTH USER\""});
}

TEST_F(UserMapFileTest, SaysWhatIsWrongAtTheStart) {
  const std::string missing = directory_.path() + "/none";
  EXPECT_EQ(UserMapFile(missing, log_).load(), missing + ": cannot be read");
  EXPECT_EQ(UserMapFile(directory_.path(), log_).load(), directory_.path() + ": cannot be read");
  EXPECT_EQ(UserMapFile(directory_.write("empty", ""), log_).load(), "");
  EXPECT_EQ(UserMapFile("", log_).load(), "");
  EXPECT_EQ(UserMapFile("", log_).userOf("192.0.2.7"), "");
}

}  // namespace
}  // namespace sifterra::icap
