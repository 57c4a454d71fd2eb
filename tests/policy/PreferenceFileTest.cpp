// The preference file as people, programs and attackers write it.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/CHandles.h"
#include "platform/Log.h"
#include "policy/PreferenceFixture.h"
#include "sifterra/platform/PropertyList.h"
#include "sifterra/policy/WFWhitelistSiteBuffer.h"
#include "sifterra/policy/WFWhitelistUserPreferences.h"
#include "sifterra/sifterra.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::LogLevel;
using platform::PropertyList;
using platform::String;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using State = WFWhitelistUserPreferences::FileState;

constexpr auto kInit = "-[WFWhitelistUserPreferences initWithPreferences:]";

// Root may read everything, until it steps down.
class Nobody {
 public:
  Nobody() {
    if (root_ && ::seteuid(65534) != 0) ADD_FAILURE();
  }
  ~Nobody() {
    if (root_ && ::seteuid(0) != 0) ADD_FAILURE();
  }
  Nobody(const Nobody&) = delete;
  Nobody& operator=(const Nobody&) = delete;

 private:
  const bool root_ = ::geteuid() == 0;
};

class PreferenceFileOfAUser : public ::testing::Test {
 protected:
  void SetUp() override { WFReleaseScopeBegin(); }
  void TearDown() override { WFReleaseScopeEnd(); }

  std::shared_ptr<WFWhitelistUserPreferences> load() const {
    return WFWhitelistUserPreferences::defaultWhitelistForUser(String(u"ann"));
  }
  // The state by the C interface, and the reason.
  std::pair<WFPreferenceState, std::string> state(const char* user = "ann") const {
    WFStringRef reason = nullptr;
    const WFStringRef name = WFStringCreateWithUTF8(user);
    const WFPreferenceState state = WFGetPreferenceStateForUser(name, &reason);
    WFRelease(name);
    return {state, reason ? WFStringGetUTF8(reason) : "NULL"};
  }
  // The file is not obeyed, one line says why, and the state is broken for the same reason.
  void expectBroken(const std::string& problem) const {
    const CapturedLog log(LogLevel::Info);
    const auto preferences = load();
    ASSERT_NE(preferences, nullptr);
    EXPECT_THAT(log.texts(), ElementsAre(std::string(kInit) + " -- Failed to read preferences at path " +
                                         files.pathFor("ann") + " error: " + problem));
    EXPECT_EQ(log.lines().at(0).level, LogLevel::Error);
    EXPECT_EQ(preferences->fileState(), State::Broken);
    EXPECT_EQ(preferences->fileProblem().toUTF8(), problem);
    EXPECT_FALSE(preferences->filterEnabled());
    EXPECT_FALSE(preferences->whitelistEnabled());
    EXPECT_FALSE(preferences->alwaysAllowHTTPS());
    EXPECT_EQ(preferences->webWhitelist().count(), 10U);
    EXPECT_EQ(state(), std::pair(WFPreferenceStateBroken, problem));
  }

  PreferenceFixture files;
};

TEST_F(PreferenceFileOfAUser, AnXMLAndABinaryFileReadAlike) {
  const PropertyList list(std::vector<PropertyList::Entry>{
      {String(u"useContentFilter"), PropertyList(true)},
      {String(u"restrictWeb"), PropertyList(std::int64_t{1})},
      {String(u"filterBlacklist"),
       PropertyList(std::vector<PropertyList>{PropertyList(String(u"http://bad.example.org/"))})},
      {String(u"siteWhitelist"),
       PropertyList(std::vector<PropertyList>{PropertyList(std::vector<PropertyList::Entry>{
           {String(u"address"), PropertyList(String(u"http://good.example.org/"))}})})}});
  for (const auto format : {PropertyList::Format::XML, PropertyList::Format::Binary}) {
    files.write("ann", list.write(format).chars());
    const auto preferences = load();
    EXPECT_TRUE(preferences->filterEnabled());
    EXPECT_FALSE(preferences->alwaysAllowHTTPS());
    EXPECT_EQ(preferences->filterBlacklist().description(), String(u"{http://bad.example.org/, }"));
    EXPECT_EQ(preferences->webWhitelist().count(), 11U);
    EXPECT_EQ(state(), std::pair(WFPreferenceStateRead, std::string("NULL")));
  }
}

TEST_F(PreferenceFileOfAUser, SwitchesOfOtherKindsReadByTheirValue) {
  struct Row {
    const char* value;
    bool on;
  };
  constexpr Row kRows[] = {
      {"<true/>", true},
      {"<false/>", false},
      {"<integer>1</integer>", true},
      {"<integer>-1</integer>", true},
      {"<integer>0</integer>", false},
      {"<real>0.5</real>", true},
      {"<real>0</real>", false},
      {"<string>YES</string>", true},
      {"<string>yes</string>", true},
      {"<string>True</string>", true},
      {"<string>t</string>", true},
      {"<string>1</string>", true},
      {"<string>007</string>", true},
      {"<string>no</string>", false},
      {"<string>false</string>", false},
      {"<string>0</string>", false},
      {"<string>on</string>", false},
      {"<string></string>", false},
      {"<array/>", true},  // anything else is there, and that is yes
      {"<dict/>", true},
      {"<data></data>", true},
      {"<date>2020-01-01T00:00:00Z</date>", true},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.value);
    files.writeKeys("ann", std::string("<key>useContentFilter</key>") + row.value);
    const CapturedLog log;
    EXPECT_EQ(load()->filterEnabled(), row.on);
    EXPECT_THAT(log.texts(), IsEmpty());
  }
}

TEST_F(PreferenceFileOfAUser, AnAllowListThatIsNoArrayIsSkippedWithOneError) {
  for (const char* value : {"<dict><key>address</key><string>http://a.example/</string></dict>",
                            "<string>http://a.example/</string>", "<true/>", "<data>QUJD</data>"}) {
    SCOPED_TRACE(value);
    files.writeKeys("ann", xmlSwitch("useContentFilter", true) + "<key>siteWhitelist</key>" + value);
    const CapturedLog log;
    const auto preferences = load();
    EXPECT_THAT(log.texts(),
                ElementsAre(std::string(kInit) + " -- siteWhitelist is expected to be an array class in " +
                            files.pathFor("ann")));
    EXPECT_EQ(log.lines().at(0).level, LogLevel::Error);
    EXPECT_EQ(preferences->webWhitelist().count(), 10U);
    EXPECT_TRUE(preferences->filterEnabled());
    EXPECT_EQ(preferences->fileState(), State::Read);
  }
}

TEST_F(PreferenceFileOfAUser, MalformedSitesAreSkippedOneByOne) {
  files.writeKeys("ann",
                  "<key>siteWhitelist</key><array><integer>1</integer>"
                  "<dict><key>address</key><integer>5</integer></dict>"  // silently
                  "<dict><key>pageTitle</key><string>no address</string></dict>"
                  "<string>http://a.example/</string>"
                  "<dict><key>address</key><string>http://b.example/</string></dict></array>");
  const CapturedLog log;
  const auto preferences = load();
  const std::string line = std::string(kInit) + " -- siteWhitelist is malformed in " + files.pathFor("ann");
  EXPECT_THAT(log.texts(), ElementsAre(line, line));
  EXPECT_EQ(preferences->webWhitelist().count(), 11U);
}

TEST_F(PreferenceFileOfAUser, FilterListsThatAreNoArraysAreSkippedWithOneErrorEach) {
  files.writeKeys("ann",
                  "<key>filterWhitelist</key><string>http://a.example/</string>"
                  "<key>filterBlacklist</key><dict><key>a</key><string>http://b.example/</string></dict>");
  const CapturedLog log;
  const auto preferences = load();
  EXPECT_THAT(log.texts(),
              ElementsAre(std::string(kInit) + " -- filterWhitelist is expected to be an array class in " +
                              files.pathFor("ann"),
                          std::string(kInit) + " -- filterBlacklist is expected to be an array class in " +
                              files.pathFor("ann")));
  EXPECT_EQ(preferences->filterWhitelist().count(), 1U);
  EXPECT_EQ(preferences->filterBlacklist().count(), 0U);
}

TEST_F(PreferenceFileOfAUser, ElementsThatAreNoTextsAreSkippedWithOneErrorForTheList) {
  files.writeKeys("ann",
                  "<key>filterBlacklist</key><array><integer>1</integer><array/>"
                  "<string>http://b.example/</string><dict/></array>");
  const CapturedLog log;
  EXPECT_EQ(load()->filterBlacklist().count(), 1U);
  EXPECT_THAT(log.texts(), ElementsAre(std::string(kInit) + " -- filterBlacklist is malformed in " +
                                       files.pathFor("ann")));
}

TEST_F(PreferenceFileOfAUser, WrongKindsEverywhereDoNotCrash) {
  const std::string values[] = {"<array><array><dict/></array></array>",
                                "<dict><key>k</key><array/></dict>",
                                "<integer>99999999999999999999</integer>",
                                "<real>nan</real>",
                                "<date>x</date>",
                                "<data>!!!</data>",
                                "<string>&#x1F600;</string>"};
  for (const std::string& value : values) {
    std::string body;
    for (const char* key : {"useContentFilter", "whitelistEnabled", "alwaysAllowHTTPS", "restrictWeb",
                            "filterWhitelist", "filterBlacklist", "siteWhitelist", "noOverriddingAllowed"}) {
      body.append("<key>").append(key).append("</key>").append(value);
    }
    files.writeKeys("ann", body);
    EXPECT_NE(load(), nullptr);
  }
}

TEST_F(PreferenceFileOfAUser, WhatIsNoPropertyListIsBroken) {
  files.write("ann", "");
  expectBroken("it is neither an XML nor a binary property list");
  files.write("ann", "useContentFilter = true\n");
  expectBroken("it is neither an XML nor a binary property list");
  files.write("ann", "bplist00");
  expectBroken("its table of objects is damaged");
}

TEST_F(PreferenceFileOfAUser, AListWhoseRootIsNoDictionaryIsBroken) {
  files.write("ann", xmlList("<array/>"));
  expectBroken("it is no dictionary");
}

TEST_F(PreferenceFileOfAUser, AHalfWrittenFileIsBroken) {
  const std::string whole = xmlList("<dict>" + xmlSwitch("useContentFilter", true) + "</dict>");
  files.write("ann", whole.substr(0, whole.find("</dict>")));
  expectBroken("an element is not closed");
}

TEST_F(PreferenceFileOfAUser, ADirectoryIsBroken) {
  std::filesystem::create_directories(files.pathFor("ann"));
  expectBroken("it is a directory");
}

TEST_F(PreferenceFileOfAUser, APipeNobodyWritesToIsBrokenAtOnce) {
  ASSERT_EQ(::mkfifo(files.pathFor("ann").c_str(), 0600), 0);
  expectBroken("it is a pipe");
}

TEST_F(PreferenceFileOfAUser, ALinkToADeviceIsBrokenAndNotOpened) {
  std::filesystem::create_symlink("/dev/zero", files.pathFor("ann"));
  expectBroken("it is a device");
}

TEST_F(PreferenceFileOfAUser, AFileBeyond64MiBIsBrokenAndNotRead) {
  files.write("ann", "");
  std::filesystem::resize_file(files.pathFor("ann"), std::uintmax_t{1} << 30);  // a hole
  expectBroken("it is larger than 67108864 bytes");
}

TEST_F(PreferenceFileOfAUser, DeepNestingIsBroken) {
  std::string body;
  for (int i = 0; i < 1'000'000; ++i) body += "<array>";
  for (int i = 0; i < 1'000'000; ++i) body += "</array>";
  files.writeKeys("ann", "<key>siteWhitelist</key>" + body);
  expectBroken("it is nested deeper than 64 levels");
}

TEST_F(PreferenceFileOfAUser, EntitiesOfItsOwnAreBroken) {
  files.write("ann",
              "<!DOCTYPE plist [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;\">]>"
              "<plist><dict><key>k</key><string>&b;</string></dict></plist>");
  expectBroken("its document type declares entities");
}

TEST_F(PreferenceFileOfAUser, ADanglingLinkIsToldAsAbsentAndIsBroken) {
  std::filesystem::create_symlink("/nowhere/at/all", files.pathFor("ann"));
  const CapturedLog log;
  const auto preferences = load();
  EXPECT_THAT(log.texts(),
              ElementsAre("+[WFWhitelistUserPreferences defaultWhitelistForUser:] -- No website "
                          "restrictions user preferecences file found: setting unrestricted settings"));
  EXPECT_EQ(preferences->fileState(), State::Broken);
  EXPECT_EQ(state(), std::pair(WFPreferenceStateBroken, std::string("it is a link that leads nowhere")));
}

TEST_F(PreferenceFileOfAUser, ALinkToItselfIsBroken) {
  std::filesystem::create_symlink(files.pathFor("ann"), files.pathFor("ann"));
  EXPECT_EQ(state().first, WFPreferenceStateBroken);
}

TEST_F(PreferenceFileOfAUser, ALinkToAFileIsFollowed) {
  files.writeKeys("bob", xmlSwitch("useContentFilter", true));
  std::filesystem::create_symlink(files.pathFor("bob"), files.pathFor("ann"));
  EXPECT_TRUE(load()->filterEnabled());
}

TEST_F(PreferenceFileOfAUser, AFileThatMayNotBeReadIsBroken) {
  files.writeKeys("ann", xmlSwitch("useContentFilter", true));
  ASSERT_EQ(::chmod(files.pathFor("ann").c_str(), 0), 0);
  std::filesystem::permissions(
      std::filesystem::path(files.pathFor("ann")).parent_path().parent_path().parent_path().parent_path(),
      std::filesystem::perms::all);
  {
    const Nobody nobody;
    expectBroken("Permission denied");
  }
}

TEST_F(PreferenceFileOfAUser, AnUnreadableDirectoryIsToldAsAbsentAndIsBroken) {
  files.writeKeys("ann", xmlSwitch("useContentFilter", true));
  const std::filesystem::path directory = std::filesystem::path(files.pathFor("ann")).parent_path();
  std::filesystem::permissions(directory.parent_path().parent_path().parent_path(),
                               std::filesystem::perms::all);
  std::filesystem::permissions(directory, std::filesystem::perms::none);
  {
    const Nobody nobody;
    EXPECT_EQ(state(), std::pair(WFPreferenceStateBroken, std::string("Permission denied")));
  }
  std::filesystem::permissions(directory, std::filesystem::perms::all);
}

TEST_F(PreferenceFileOfAUser, TheStateIsAbsentWithoutAFile) {
  EXPECT_EQ(state(), std::pair(WFPreferenceStateAbsent, std::string("NULL")));
}

TEST_F(PreferenceFileOfAUser, TheStateIsBrokenForANameThatMakesNoPath) {
  for (const char* name : {"..", "a/b", ""}) {
    EXPECT_EQ(state(name), std::pair(WFPreferenceStateBroken, std::string("the user name makes no path")));
  }
  EXPECT_EQ(WFGetPreferenceStateForUser(nullptr, nullptr), WFPreferenceStateBroken);
}

TEST_F(PreferenceFileOfAUser, TheStateFollowsTheFile) {
  files.writeKeys("ann", "");
  EXPECT_EQ(state().first, WFPreferenceStateRead);
  files.write("ann", "junk");
  EXPECT_EQ(state().first, WFPreferenceStateBroken);
  std::filesystem::remove(files.pathFor("ann"));
  EXPECT_EQ(state().first, WFPreferenceStateAbsent);
}

TEST_F(PreferenceFileOfAUser, AnUnreadablePathGivesTheBuiltInObject) {
  const auto preferences = WFWhitelistUserPreferences::initWithPreferences(nullptr);
  EXPECT_EQ(preferences->webWhitelist().count(), 10U);
  EXPECT_TRUE(preferences->username().isNull());
}

TEST_F(PreferenceFileOfAUser, FullListsKeepTheNewestEntries) {
  std::string list = "<key>filterBlacklist</key><array>";
  for (int i = 0; i < 100'001; ++i)
    list += "<string>http://site" + std::to_string(i) + ".example.de/</string>";
  files.writeKeys("ann", xmlSwitch("useContentFilter", true) + list + "</array>");
  const auto preferences = load();
  EXPECT_EQ(preferences->filterBlacklist().count(), 100'000U);
  EXPECT_TRUE(preferences->filterBlacklist().containsURLString(String(u"http://site100000.example.de/")));
  EXPECT_FALSE(preferences->filterBlacklist().containsURLString(String(u"http://site0.example.de/")));
}

}  // namespace
}  // namespace sifterra
