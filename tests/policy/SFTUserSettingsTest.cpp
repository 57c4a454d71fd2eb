#include "sifterra/policy/SFTUserSettings.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/Log.h"
#include "policy/PreferenceFixture.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::PropertyList;
using platform::String;

class UserSettings : public ::testing::Test {
 protected:
  PreferenceFixture files;
  SFTUserSettings settings{String(u"ann")};
};

TEST_F(UserSettings, WithoutAFileNothingIsRestricted) {
  const CapturedLog log;
  EXPECT_EQ(settings.websiteRestrictionType(), 1);
  EXPECT_TRUE(settings.overridesAllowed());
  EXPECT_TRUE(settings.contentFilterOverriddenSites().isNull());
  EXPECT_TRUE(settings.whiteListAllowedSites().isNull());
  EXPECT_TRUE(log.texts().empty());
}

TEST_F(UserSettings, TheTypeFollowsTheSwitches) {
  struct Row {
    bool restrictWeb, useContentFilter, whitelistEnabled;
    int type;
  };
  constexpr Row kRows[] = {
      {false, false, false, 1}, {false, true, false, 1}, {false, false, true, 1},
      {false, true, true, 1},   {true, false, false, 1}, {true, true, false, 2},
      {true, false, true, 3},   {true, true, true, 2},  // the content filter is asked first, unlike where
                                                        // pages are judged
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(testing::Message() << row.restrictWeb << row.useContentFilter << row.whitelistEnabled);
    files.writeKeys("ann", xmlSwitch("restrictWeb", row.restrictWeb) +
                               xmlSwitch("useContentFilter", row.useContentFilter) +
                               xmlSwitch("whitelistEnabled", row.whitelistEnabled));
    EXPECT_EQ(SFTUserSettings(String(u"ann")).websiteRestrictionType(), row.type);
  }
}

TEST_F(UserSettings, MissingKeysAreOff) {
  files.writeKeys("ann", xmlSwitch("useContentFilter", true));
  EXPECT_EQ(SFTUserSettings(String(u"ann")).websiteRestrictionType(), 1);
  files.writeKeys("ann", xmlSwitch("restrictWeb", true));
  EXPECT_EQ(SFTUserSettings(String(u"ann")).websiteRestrictionType(), 1);
}

TEST_F(UserSettings, OverridesAreAllowedUnlessTheFileSaysNo) {
  files.writeKeys("ann", "");
  EXPECT_TRUE(SFTUserSettings(String(u"ann")).overridesAllowed());
  files.writeKeys("ann", xmlSwitch("noOverriddingAllowed", false));
  EXPECT_TRUE(SFTUserSettings(String(u"ann")).overridesAllowed());
  files.writeKeys("ann", xmlSwitch("noOverriddingAllowed", true));
  EXPECT_FALSE(SFTUserSettings(String(u"ann")).overridesAllowed());
  files.writeKeys("ann", "<key>noOverriddingAllowed</key><string>yes</string>");
  EXPECT_FALSE(SFTUserSettings(String(u"ann")).overridesAllowed());
}

TEST_F(UserSettings, TheSitesAreTheRawValues) {
  files.writeKeys("ann", xmlTexts("filterWhitelist", {"http://a.example/", "http://b.example/"}) +
                             xmlSites({"http://c.example/"}));
  const PropertyList overridden = settings.contentFilterOverriddenSites();
  ASSERT_EQ(overridden.array().size(), 2U);
  EXPECT_EQ(overridden.array()[1].string(), String(u"http://b.example/"));
  const PropertyList allowed = settings.whiteListAllowedSites();
  ASSERT_EQ(allowed.array().size(), 1U);
  EXPECT_EQ(allowed.array()[0][u"address"].string(), String(u"http://c.example/"));
  EXPECT_EQ(allowed.array()[0][u"pageTitle"].string(), String(u"A site"));
}

TEST_F(UserSettings, ValuesOfTheWrongKindComeUnchecked) {
  files.writeKeys("ann", "<key>filterWhitelist</key><integer>5</integer><key>siteWhitelist</key><dict/>");
  EXPECT_EQ(settings.contentFilterOverriddenSites().integer(), 5);
  EXPECT_TRUE(settings.whiteListAllowedSites().isDictionary());
}

TEST_F(UserSettings, AFileThatAppearsIsSeenAndAChangedOneIsNot) {
  EXPECT_EQ(settings.websiteRestrictionType(), 1);
  files.writeKeys("ann", xmlSwitch("restrictWeb", true) + xmlSwitch("useContentFilter", true));
  EXPECT_EQ(settings.websiteRestrictionType(), 2);
  files.writeKeys("ann", xmlSwitch("restrictWeb", true) + xmlSwitch("whitelistEnabled", true));
  EXPECT_EQ(settings.websiteRestrictionType(), 2);
  std::filesystem::remove(files.pathFor("ann"));
  EXPECT_EQ(settings.websiteRestrictionType(), 2);
}

TEST_F(UserSettings, ABrokenFileIsTriedAgain) {
  const CapturedLog log;
  for (const char* bytes : {"junk", "<plist><array/></plist>", "bplist00"}) {
    files.write("ann", bytes);
    EXPECT_EQ(settings.websiteRestrictionType(), 1);
  }
  files.writeKeys("ann", xmlSwitch("restrictWeb", true) + xmlSwitch("useContentFilter", true));
  EXPECT_EQ(settings.websiteRestrictionType(), 2);
  EXPECT_TRUE(log.texts().empty());  // nothing is logged here, whatever goes wrong
}

TEST_F(UserSettings, OnceReadTheUserNameIsNotLookedAt) {
  files.writeKeys("ann", xmlSwitch("restrictWeb", true) + xmlSwitch("useContentFilter", true));
  EXPECT_EQ(settings.websiteRestrictionType(), 2);
  settings.setUserName(String(u"bob"));
  EXPECT_EQ(settings.userName(), String(u"bob"));
  EXPECT_EQ(settings.websiteRestrictionType(), 2);
}

TEST_F(UserSettings, BeforeThatAnotherNameMayBeSet) {
  files.writeKeys("bob", xmlSwitch("restrictWeb", true) + xmlSwitch("useContentFilter", true));
  EXPECT_EQ(settings.websiteRestrictionType(), 1);
  settings.setUserName(String(u"bob"));
  EXPECT_EQ(settings.websiteRestrictionType(), 2);
}

TEST_F(UserSettings, NamesThatMakeNoPathHaveNoSettings) {
  files.writeKeys("ann", xmlSwitch("restrictWeb", true) + xmlSwitch("useContentFilter", true));
  const String names[] = {String(),
                          String(u""),
                          String(u"."),
                          String(u"../ann"),
                          String(u"bob/../ann"),
                          String(std::u16string(u"ann\0", 4)),
                          String(std::u16string(10'000, u'a'))};
  for (const String& name : names) EXPECT_EQ(SFTUserSettings(name).websiteRestrictionType(), 1);
}

}  // namespace
}  // namespace sifterra
