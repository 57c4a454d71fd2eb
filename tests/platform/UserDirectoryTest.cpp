// Tests of the user directory, with a switch and account files of their own.
#include "platform/UserDirectory.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "platform/FileSystem.h"

namespace sifterra::platform {
namespace {

class UserDirectoryTest : public testing::Test {
 protected:
  UserDirectoryTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "users-XXXXXX").string();
    root_ = ::mkdtemp(pattern.data());
    setFileSystemRoot(root_);
  }
  ~UserDirectoryTest() override {
    setFileSystemRoot("");
    std::filesystem::remove_all(root_);
  }
  void write(const std::string& path, const std::string& contents) const {
    std::filesystem::create_directories(std::filesystem::path(root_ + path).parent_path());
    std::ofstream(root_ + path) << contents;
  }

  std::string root_;
  const std::map<std::string, uid_t> accounts_ = {{"root", 0},    {"anna", 1000},   {"ben", 1001},
                                                  {"cleo", 1002}, {"dora", 100000}, {"nobody", 65534}};
  const LinuxUserDirectory directory_{[this](const std::string& name) {
    const auto found = accounts_.find(name);
    return found == accounts_.end() ? std::nullopt : std::optional(found->second);
  }};
};

TEST_F(UserDirectoryTest, AccountsOfThePasswordFileAreLocal) {
  const std::string longLine = "x" + std::string(5000, 'y');
  write("/etc/passwd", "root:x:0:0:root:/root:/bin/sh\n" + longLine + ":x:5:5:" + std::string(9000, 'z') +
                           ":/:/bin/sh\nbroken line\nanna:x:1000:1000:Anna:/home/anna:/bin/sh\n");
  EXPECT_EQ(directory_.recordOf(String(u"anna")), (UserRecord{false, false}));
  EXPECT_EQ(directory_.recordOf(String(u"ben")), (UserRecord{false, true}));
}

TEST_F(UserDirectoryTest, LocalUserRecordsAreLocal) {
  write("/etc/userdb/anna.user", "{}");
  write("/run/userdb/ben.user", "{}");
  write("/usr/lib/userdb/cleo.user", "{}");
  for (const char16_t* name : {u"anna", u"ben", u"cleo"})
    EXPECT_EQ(directory_.recordOf(String(name)), (UserRecord{false, false}));
  EXPECT_EQ(directory_.recordOf(String(u"dora")), (UserRecord{false, true}));
}

TEST_F(UserDirectoryTest, HomesThatAreCarriedAreMobile) {
  write("/var/lib/systemd/home/anna.identity", "{}");
  EXPECT_EQ(directory_.recordOf(String(u"anna")), (UserRecord{true, false}));
}

TEST_F(UserDirectoryTest, WhatTheSwitchDoesNotKnowHasNoRecord) {
  write("/etc/passwd", "eve:x:1005:1005::/home/eve:/bin/sh\n");
  EXPECT_FALSE(directory_.recordOf(String(u"eve")));
  EXPECT_FALSE(directory_.recordOf(nullptr));
  for (const char16_t* name : {u"", u"..", u"a/b", u"anna/../ben"})
    EXPECT_FALSE(directory_.recordOf(String(name)));
  EXPECT_FALSE(directory_.recordOf(String(std::u16string_view(u"anna\0x", 6))));
}

TEST_F(UserDirectoryTest, TheMadeUpAccountsAreNotExternal) {
  EXPECT_EQ(directory_.recordOf(String(u"root")), (UserRecord{false, false}));
  EXPECT_EQ(directory_.recordOf(String(u"nobody")), (UserRecord{false, false}));
}

TEST(UserDirectory, TheCurrentUserIsTheOneOfTheProcess) {
  const passwd* account = ::getpwuid(::getuid());
  const String name = UserDirectory::current().currentUserName();
  if (!account) {
    EXPECT_TRUE(name.isNull());
    return;
  }
  EXPECT_EQ(name.toUTF8(), account->pw_name);
  EXPECT_TRUE(UserDirectory::current().recordOf(name));
}

TEST(UserDirectory, TheSwitchOfTheMachineKnowsRoot) {
  EXPECT_EQ(UserDirectory::current().recordOf(String(u"root")), (UserRecord{false, false}));
  EXPECT_FALSE(UserDirectory::current().recordOf(String(u"no-such-user-here")));
}

}  // namespace
}  // namespace sifterra::platform
