#include "policy/preference_cache.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "platform/Log.h"
#include "policy/PreferenceFixture.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::LogLevel;
using platform::String;
using ::testing::Contains;
using ::testing::ElementsAre;

class PreferenceCache : public ::testing::Test {
 protected:
  std::shared_ptr<WFWhitelistUserPreferences> load(const char16_t* user = u"ann") const {
    return WFWhitelistUserPreferences::defaultWhitelistForUser(String(user));
  }
  void writeSwitch(bool on) const { files.writeKeys("ann", xmlSwitch("useContentFilter", on)); }

  PreferenceFixture files;
};

TEST_F(PreferenceCache, AnUnchangedFileGivesTheSameObject) {
  writeSwitch(true);
  const auto first = load();
  EXPECT_EQ(load(), first);
  files.setDate("ann", 1'600'000'000);
  const auto second = load();
  EXPECT_EQ(load(), second);
}

TEST_F(PreferenceCache, ATouchedFileGivesANewObject) {
  writeSwitch(true);
  const auto first = load();
  files.setDate("ann", 1'600'000'000);
  const auto second = load();
  EXPECT_NE(second, first);
  EXPECT_TRUE(first->filterEnabled());  // the old one lives on while it is held
  // Any other date will do, an earlier one too.
  files.setDate("ann", 1'500'000'000);
  EXPECT_NE(load(), second);
}

TEST_F(PreferenceCache, DatesDifferByNanoseconds) {
  writeSwitch(true);
  const timespec times[] = {{1'600'000'000, 1}, {1'600'000'000, 1}};
  ASSERT_EQ(::utimensat(AT_FDCWD, files.pathFor("ann").c_str(), times, 0), 0);
  const auto first = load();
  const timespec later[] = {{1'600'000'000, 2}, {1'600'000'000, 2}};
  ASSERT_EQ(::utimensat(AT_FDCWD, files.pathFor("ann").c_str(), later, 0), 0);
  EXPECT_NE(load(), first);
  EXPECT_EQ(modificationDateForFileAtPath(String::fromUTF8(files.pathFor("ann"))), 1'600'000'000'000'000'002);
}

TEST_F(PreferenceCache, AnOldDateAloneDecides) {
  writeSwitch(true);
  files.setDate("ann", 1'600'000'000);
  const auto first = load();
  writeSwitch(false);
  files.setDate("ann", 1'600'000'000);
  EXPECT_EQ(load(), first);
}

TEST_F(PreferenceCache, TwoChangesWithinOneTickOfTheClockAreBothSeen) {
  for (int i = 0; i < 300; ++i) {
    SCOPED_TRACE(i);
    writeSwitch(i % 2 == 0);
    EXPECT_EQ(load()->filterEnabled(), i % 2 == 0);
  }
}

TEST_F(PreferenceCache, ASecondChangeWithTheDateOfTheFirstIsSeen) {
  const auto date = std::filesystem::file_time_type::clock::now();
  writeSwitch(true);
  std::filesystem::last_write_time(files.pathFor("ann"), date);
  EXPECT_TRUE(load()->filterEnabled());
  writeSwitch(false);
  std::filesystem::last_write_time(files.pathFor("ann"), date);
  EXPECT_FALSE(load()->filterEnabled());
}

TEST_F(PreferenceCache, ASecondChangeIsSeenWhereDatesAreWholeSeconds) {
  writeSwitch(true);
  const std::time_t date = std::time(nullptr) + 1;
  files.setDate("ann", date);
  const auto first = load();
  EXPECT_TRUE(first->filterEnabled());
  EXPECT_EQ(load(), first);
  writeSwitch(false);
  files.setDate("ann", date);
  EXPECT_FALSE(load()->filterEnabled());
}

TEST_F(PreferenceCache, AJustWrittenFileSettles) {
  writeSwitch(true);
  const auto first = load();
  std::this_thread::sleep_for(std::chrono::milliseconds(60));
  EXPECT_EQ(load(), first);
  EXPECT_EQ(load(), first);
}

TEST_F(PreferenceCache, TheKeyIsTheUserNameAlone) {
  files.writeKeys("ann", xmlSwitch("useContentFilter", true));
  files.writeKeys("bob", xmlSwitch("useContentFilter", false));
  files.setDate("ann", 1'600'000'000);
  files.setDate("bob", 1'600'000'000);
  const String path = String::fromUTF8(files.pathFor("ann"));
  const String other = String::fromUTF8(files.pathFor("bob"));
  const auto first = cachedWhitelistForPath(path, String(u"ann"));
  EXPECT_EQ(first->username(), String(u"ann"));
  EXPECT_EQ(cachedWhitelistForPath(other, String(u"ann")), first);
  EXPECT_NE(cachedWhitelistForPath(path, String(u"bob")), first);
}

TEST_F(PreferenceCache, EachUserHasAnObject) {
  files.writeKeys("ann", xmlSwitch("useContentFilter", true));
  files.writeKeys("bob", xmlSwitch("useContentFilter", false));
  EXPECT_TRUE(load(u"ann")->filterEnabled());
  EXPECT_FALSE(load(u"bob")->filterEnabled());
  EXPECT_EQ(load(u"bob")->username(), String(u"bob"));
}

TEST_F(PreferenceCache, WithoutADateEveryCallReadsTheFileAnew) {
  const CapturedLog log;
  const String path(u"/nowhere/at/all.plist");
  const auto first = cachedWhitelistForPath(path, String(u"ann"));
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->username(), String(u"ann"));
  EXPECT_NE(cachedWhitelistForPath(path, String(u"ann")), first);
  constexpr auto kLine =
      "+[WFWhitelistUserPreferences _modificationDateForFileAtPath:] -- whitelist file attributes dictionary "
      "is nil";
  EXPECT_THAT(log.texts(), ElementsAre(kLine, ::testing::_, kLine, ::testing::_));
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Error);
}

TEST_F(PreferenceCache, ARecordWithoutADateReplacesTheOneBefore) {
  writeSwitch(true);
  files.setDate("ann", 1'600'000'000);
  const String path = String::fromUTF8(files.pathFor("ann"));
  const auto first = cachedWhitelistForPath(path, String(u"ann"));
  (void)cachedWhitelistForPath(String(u"/nowhere/at/all.plist"), String(u"ann"));
  EXPECT_NE(cachedWhitelistForPath(path, String(u"ann")), first);
}

TEST_F(PreferenceCache, ANullPathHasNoPreferences) {
  EXPECT_EQ(cachedWhitelistForPath(nullptr, String(u"ann")), nullptr);
}

TEST_F(PreferenceCache, ABrokenFileIsToldOnceUntilItChanges) {
  files.write("ann", "junk");
  files.setDate("ann", 1'600'000'000);
  const CapturedLog log;
  const auto first = load();
  EXPECT_EQ(load(), first);
  EXPECT_EQ(log.lines().size(), 1U);
  files.setDate("ann", 1'600'000'001);
  EXPECT_NE(load(), first);
  EXPECT_EQ(log.lines().size(), 2U);
}

TEST_F(PreferenceCache, AMendedFileIsSeen) {
  files.write("ann", "junk");
  EXPECT_EQ(load()->fileState(), WFWhitelistUserPreferences::FileState::Broken);
  writeSwitch(true);
  EXPECT_EQ(load()->fileState(), WFWhitelistUserPreferences::FileState::Read);
  EXPECT_TRUE(load()->filterEnabled());
}

}  // namespace
}  // namespace sifterra
