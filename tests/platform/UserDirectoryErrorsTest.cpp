// Tests of the user directory when the switch behind it fails, with a switch of the test's own in place of
// the C library's.
#include <gtest/gtest.h>
#include <pwd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

#include "platform/UserDirectory.h"

namespace {

std::vector<int> answers;  // of one call after the other; what comes behind them succeeds
std::size_t asked = 0;
std::size_t needed = 0;  // bytes of buffer

}  // namespace

// Found before the one of the C library.
extern "C" int getpwuid_r(uid_t /*number*/, passwd* account, char* buffer, std::size_t size, passwd** found) {
  *found = nullptr;
  const std::size_t turn = asked++;
  if (turn < answers.size()) return answers[turn];
  if (size < needed) return ERANGE;
  std::strcpy(buffer, "anna");
  account->pw_name = buffer;
  *found = account;
  return 0;
}

namespace sifterra::platform {
namespace {

String nameAfter(std::vector<int> errors, std::size_t bytes = 0) {
  answers = std::move(errors);
  asked = 0;
  needed = bytes;
  return UserDirectory::current().currentUserName();
}

TEST(UserDirectoryErrors, AnInterruptedCallIsMadeAgain) {
  EXPECT_EQ(nameAfter({}), String(u"anna"));
  EXPECT_EQ(nameAfter({EINTR}), String(u"anna"));
  EXPECT_EQ(nameAfter(std::vector<int>(99, EINTR)), String(u"anna"));
  EXPECT_EQ(asked, 100U);
}

TEST(UserDirectoryErrors, OneThatIsAlwaysInterruptedFails) {
  EXPECT_TRUE(nameAfter(std::vector<int>(100, EINTR)).isNull());
  EXPECT_EQ(asked, 100U);
}

TEST(UserDirectoryErrors, LongAccountsGetMoreRoomUpToALimit) {
  EXPECT_EQ(nameAfter({EINTR}, 5000), String(u"anna"));
  EXPECT_EQ(nameAfter({}, std::size_t{1} << 20), String(u"anna"));
  EXPECT_TRUE(nameAfter({}, (std::size_t{1} << 20) + 1).isNull());
}

TEST(UserDirectoryErrors, OtherFailuresAreNobody) {
  for (const int error : {EIO, EMFILE, ENOENT}) {
    EXPECT_TRUE(nameAfter({error}).isNull());
    EXPECT_EQ(asked, 1U);
  }
}

}  // namespace
}  // namespace sifterra::platform
