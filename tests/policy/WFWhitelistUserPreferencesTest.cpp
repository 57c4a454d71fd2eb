#include "sifterra/policy/WFWhitelistUserPreferences.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "platform/Log.h"
#include "policy/PreferenceFixture.h"
#include "sifterra/policy/WFWhitelistSiteBuffer.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::LogLevel;
using platform::String;
using platform::URL;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

constexpr auto kSetup = u"https://login.ubuntu.com/";

URL url(const char16_t* text) {
  return URL::fromString(String(text));
}

// What the preferences say about an address.
struct Answer {
  bool allowed = false;
  String reason;
  bool shouldFilter = false;
  bool found = false;
};
Answer ask(const WFWhitelistUserPreferences& preferences, const char16_t* address) {
  Answer answer;
  answer.allowed =
      preferences.isURLAllowed(url(address), &answer.reason, &answer.shouldFilter, &answer.found);
  EXPECT_EQ(preferences.isURLAllowed(url(address)), answer.allowed);
  return answer;
}

class UserPreferences : public ::testing::Test {
 protected:
  std::shared_ptr<WFWhitelistUserPreferences> load(const std::string& body) {
    files.writeKeys("ann", body);
    return WFWhitelistUserPreferences::defaultWhitelistForUser(String(u"ann"));
  }

  PreferenceFixture files;
};

TEST_F(UserPreferences, AUserWithoutAFileIsNotRestricted) {
  const CapturedLog log;
  const auto preferences = WFWhitelistUserPreferences::defaultWhitelistForUser(String(u"ann"));
  EXPECT_EQ(log.texts(), std::vector<std::string>{"+[WFWhitelistUserPreferences defaultWhitelistForUser:] -- "
                                                  "No website restrictions user preferecences file found: "
                                                  "setting unrestricted settings"});
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Default);
  EXPECT_FALSE(preferences->filterEnabled());
  EXPECT_FALSE(preferences->whitelistEnabled());
  EXPECT_FALSE(preferences->alwaysAllowHTTPS());
  EXPECT_EQ(preferences->username(), String(u"ann"));
  EXPECT_EQ(preferences->fileState(), WFWhitelistUserPreferences::FileState::Absent);
  EXPECT_EQ(preferences->filterWhitelist().count(), 1U);
  EXPECT_EQ(preferences->webWhitelist().count(), 10U);
  const Answer answer = ask(*preferences, u"http://any.example/");
  EXPECT_TRUE(answer.allowed);
  EXPECT_EQ(answer.reason, String(u"ann has no web restrictions"));
  EXPECT_FALSE(answer.shouldFilter);
  EXPECT_FALSE(answer.found);
}

TEST_F(UserPreferences, AbsentPreferencesAreNotCached) {
  const auto first = WFWhitelistUserPreferences::defaultWhitelistForUser(String(u"ann"));
  EXPECT_NE(WFWhitelistUserPreferences::defaultWhitelistForUser(String(u"ann")), first);
}

TEST_F(UserPreferences, ANullUserNameHasNoPreferences) {
  const CapturedLog log;
  EXPECT_EQ(WFWhitelistUserPreferences::defaultWhitelistForUser(nullptr), nullptr);
  EXPECT_EQ(log.texts(), std::vector<std::string>{
                             "+[WFWhitelistUserPreferences defaultWhitelistForUser:] -- username is nil"});
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Error);
}

TEST_F(UserPreferences, ANameThatMakesNoPathHasNoPreferences) {
  files.writeKeys("ann", xmlSwitch("restrictWeb", true));
  const std::u16string names[] = {u"",
                                  u".",
                                  u"..",
                                  u"../ann",
                                  u"ann/..",
                                  u"/etc/ann",
                                  u"bob/../ann",
                                  std::u16string(u"ann\0b", 5),
                                  std::u16string(u"ann\0", 4),
                                  std::u16string(10'000, u'a'),
                                  std::u16string(256, u'a'),
                                  std::u16string(100, u'\u4E00')};
  for (const std::u16string& name : names) {
    SCOPED_TRACE(String(name).toUTF8().substr(0, 20));
    const CapturedLog log;
    EXPECT_EQ(WFWhitelistUserPreferences::defaultWhitelistForUser(String(name)), nullptr);
    // The name is not public.
    EXPECT_EQ(log.texts(), std::vector<std::string>{"+[WFWhitelistUserPreferences defaultWhitelistForUser:] "
                                                    "-- Path was nil for username <private>"});
    EXPECT_EQ(log.lines().at(0).level, LogLevel::Error);
  }
}

TEST_F(UserPreferences, NamesOfAnyOtherKindMakeAPath) {
  for (const char* name : {"Ann B", "a.b", "...", "\xC3\xA4nne", "-", "a\nb"}) {
    SCOPED_TRACE(name);
    files.writeKeys(name, xmlSwitch("useContentFilter", true));
    const auto preferences = WFWhitelistUserPreferences::defaultWhitelistForUser(String::fromUTF8(name));
    ASSERT_NE(preferences, nullptr);
    EXPECT_TRUE(preferences->filterEnabled());
  }
}

TEST_F(UserPreferences, TheSwitchesAreThoseOfTheFile) {
  for (int bits = 0; bits < 16; ++bits) {
    SCOPED_TRACE(bits);
    const auto preferences =
        load(xmlSwitch("restrictWeb", bits & 1) + xmlSwitch("useContentFilter", bits & 2) +
             xmlSwitch("whitelistEnabled", bits & 4) + xmlSwitch("alwaysAllowHTTPS", bits & 8));
    EXPECT_EQ(preferences->filterEnabled(), (bits & 2) != 0);
    EXPECT_EQ(preferences->whitelistEnabled(), (bits & 4) != 0);
    EXPECT_EQ(preferences->alwaysAllowHTTPS(), (bits & 8) != 0 || (bits & 1) == 0);
    EXPECT_EQ(preferences->fileState(), WFWhitelistUserPreferences::FileState::Read);
  }
}

TEST_F(UserPreferences, MissingRestrictWebAllowsHTTPSWhateverTheSwitchSays) {
  EXPECT_TRUE(load(xmlSwitch("alwaysAllowHTTPS", false))->alwaysAllowHTTPS());
  EXPECT_TRUE(load("")->alwaysAllowHTTPS());
  EXPECT_FALSE(load(xmlSwitch("restrictWeb", true))->alwaysAllowHTTPS());
}

TEST_F(UserPreferences, AllowListOnlyModeGoesBeforeTheContentFilter) {
  const auto preferences =
      load(xmlSwitch("whitelistEnabled", true) + xmlSwitch("useContentFilter", true) +
           xmlTexts("filterWhitelist", {"http://good.example.com/"}) +
           xmlTexts("filterBlacklist", {"http://bad.example.org/"}) + xmlSites({"http://bad.example.org/"}));
  const Answer listed = ask(*preferences, u"http://bad.example.org/page");
  EXPECT_TRUE(listed.allowed);
  EXPECT_TRUE(listed.found);
  EXPECT_FALSE(listed.shouldFilter);
  EXPECT_EQ(listed.reason, String(u"URL is on global white list"));
  const Answer unlisted = ask(*preferences, u"http://good.example.com/");
  EXPECT_FALSE(unlisted.allowed);
  EXPECT_FALSE(unlisted.found);
  EXPECT_FALSE(unlisted.shouldFilter);
  EXPECT_EQ(unlisted.reason, String(u"URL is not on global white list"));
}

TEST_F(UserPreferences, WithTheFilterOnTheAllowListGoesBeforeTheDenyList) {
  const auto preferences =
      load(xmlSwitch("useContentFilter", true) + xmlTexts("filterWhitelist", {"http://both.example.com/"}) +
           xmlTexts("filterBlacklist", {"http://both.example.com/", "http://bad.example.org/"}));
  const Answer both = ask(*preferences, u"http://both.example.com/");
  EXPECT_TRUE(both.allowed);
  EXPECT_TRUE(both.found);
  EXPECT_FALSE(both.shouldFilter);
  EXPECT_EQ(both.reason, String(u"URL is on filter white list"));
  const Answer denied = ask(*preferences, u"http://bad.example.org/");
  EXPECT_FALSE(denied.allowed);
  EXPECT_TRUE(denied.found);
  EXPECT_FALSE(denied.shouldFilter);
  EXPECT_EQ(denied.reason, String(u"URL is on filter black list"));
}

TEST_F(UserPreferences, WithTheFilterOnAnUnlistedAddressMustBeJudgedAndKeepsTheFirstReason) {
  const Answer answer = ask(*load(xmlSwitch("useContentFilter", true)), u"http://other.example.net/");
  EXPECT_TRUE(answer.allowed);
  EXPECT_FALSE(answer.found);
  EXPECT_TRUE(answer.shouldFilter);
  EXPECT_EQ(answer.reason, String(u"ann has no web restrictions"));
}

TEST_F(UserPreferences, WithTheFilterOffTheListsAreNotConsulted) {
  const Answer answer =
      ask(*load(xmlTexts("filterBlacklist", {"http://bad.example.org/"})), u"http://bad.example.org/");
  EXPECT_TRUE(answer.allowed);
  EXPECT_FALSE(answer.found);
  EXPECT_FALSE(answer.shouldFilter);
}

TEST_F(UserPreferences, ANullUserNameIsCalledUserNull) {
  const WFWhitelistUserPreferences preferences;
  String reason;
  EXPECT_TRUE(preferences.isURLAllowed(url(u"http://a/"), &reason, nullptr, nullptr));
  EXPECT_EQ(reason, String(u"User (null) has no web restrictions"));
}

TEST_F(UserPreferences, TheAccountSetupSiteIsAllowedInAllowListOnlyMode) {
  const auto preferences = load(xmlSwitch("whitelistEnabled", true));
  EXPECT_TRUE(ask(*preferences, kSetup).found);
  EXPECT_TRUE(ask(*preferences, u"https://accounts.google.com/signin?x=1").allowed);
  EXPECT_TRUE(ask(*preferences, u"https://login.yahoo.com/account/create").allowed);
  EXPECT_FALSE(ask(*preferences, u"https://login.yahoo.com/").allowed);
  EXPECT_FALSE(ask(*preferences, u"https://github.com/someone").allowed);
  EXPECT_FALSE(ask(*preferences, u"https://www.google.com/").allowed);
}

TEST_F(UserPreferences, TheBuiltInSitesAreOneOnBothListsAndNineOnOne) {
  const WFWhitelistUserPreferences preferences;
  EXPECT_EQ(preferences.filterWhitelist().description(), String(u"{https://login.ubuntu.com, }"));
  EXPECT_EQ(preferences.filterBlacklist().description(), String(u"{}"));
  const std::string sites = preferences.webWhitelist().description().toUTF8();
  EXPECT_THAT(sites, StartsWith("{https://login.ubuntu.com, https://"));
  int paths = 0;
  for (const auto& site : preferences.webWhitelist().siteBuffer()) {
    EXPECT_EQ(site->url().scheme(), String(u"https"));
    paths += site->url().path().length() > 1;
  }
  EXPECT_EQ(paths, 2);
  EXPECT_EQ(preferences.webWhitelist().siteSet().size(), 10U);  // all are different
}

TEST_F(UserPreferences, ANullAddressIsOnNoList) {
  const auto allowListOnly = load(xmlSwitch("whitelistEnabled", true));
  EXPECT_FALSE(allowListOnly->isURL(nullptr, allowListOnly->webWhitelist()));
  EXPECT_FALSE(allowListOnly->isURLAllowed(nullptr));
  bool shouldFilter = false;
  const auto filtered = load(xmlSwitch("useContentFilter", true));
  EXPECT_TRUE(filtered->isURLAllowed(nullptr, nullptr, &shouldFilter, nullptr));
  EXPECT_TRUE(shouldFilter);
}

TEST_F(UserPreferences, MetaSitesAreComparedByPathUnlessTheyAreSecure) {
  const auto preferences = load(xmlSwitch("useContentFilter", true) +
                                xmlTexts("filterBlacklist", {"http://pages.github.com/ann"}));
  const CapturedLog log(LogLevel::Info);
  // The entry's host does not matter, its path does.
  EXPECT_TRUE(preferences->isURL(url(u"http://github.com/ann/x"), preferences->filterBlacklist()));
  EXPECT_EQ(log.texts(),
            std::vector<std::string>{"-[WFWhitelistUserPreferences isURL:onList:] -- checking meta-site"});
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Info);
  EXPECT_FALSE(preferences->isURL(url(u"http://github.com/bob"), preferences->filterBlacklist()));
  EXPECT_EQ(log.lines().size(), 2U);
  EXPECT_FALSE(preferences->isURL(url(u"https://github.com/ann/x"), preferences->filterBlacklist()));
  EXPECT_TRUE(preferences->isURL(url(u"https://pages.github.com/ann/x"), preferences->filterBlacklist()));
  // The scheme is compared as it stands.
  EXPECT_TRUE(preferences->isURL(url(u"HTTPS://github.com/ann/x"), preferences->filterBlacklist()));
  EXPECT_EQ(log.lines().size(), 3U);
  // Exceptions are whole sites.
  EXPECT_FALSE(preferences->isURL(url(u"http://docs.github.com/ann/x"), preferences->filterBlacklist()));
  EXPECT_EQ(log.lines().size(), 3U);
}

TEST_F(UserPreferences, AVerdictCarriesTheAddressAsItCameAndTheReason) {
  const auto preferences =
      load(xmlSwitch("useContentFilter", true) + xmlTexts("filterBlacklist", {"http://bad.example.org/"}));
  const CapturedLog log(LogLevel::Info);
  bool shouldFilter = true;
  const auto denied =
      preferences->pronounceOnPageURLString(String(u"http://bad.example.org/a b"), &shouldFilter);
  EXPECT_TRUE(denied->restricted());
  EXPECT_EQ(denied->evidence(), 8);
  EXPECT_EQ(denied->URL(), String(u"http://bad.example.org/a b"));
  EXPECT_EQ(denied->message(), String(u"URL is on filter black list"));
  EXPECT_EQ(denied->LSMEvaluationResult(), nullptr);
  EXPECT_FALSE(shouldFilter);
  const auto other =
      preferences->pronounceOnPageURLString(String(u"http://other.example.org/"), &shouldFilter);
  EXPECT_FALSE(other->restricted());
  EXPECT_EQ(other->evidence(), 9);
  EXPECT_TRUE(shouldFilter);
  constexpr auto kOp = "-[WFWhitelistUserPreferences pronounceOnPageURLString:shouldFilter:] -- URL: ";
  EXPECT_THAT(
      log.texts(),
      ElementsAre(kOp + std::string("http://bad.example.org/a%20b is NOT allowed (URL is on filter black "
                                    "list), will NOT check LSM"),
                  kOp + std::string("http://other.example.org/ is allowed (ann has no web restrictions), "
                                    "will check LSM")));
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Info);
}

TEST_F(UserPreferences, AVerdictNeedsNoPlaceForShouldFilter) {
  EXPECT_FALSE(
      WFWhitelistUserPreferences().pronounceOnPageURLString(String(u"http://a/"), nullptr)->restricted());
}

TEST_F(UserPreferences, AnAddressThatDoesNotParseIsOnNoListAndLogged) {
  const auto preferences = load(xmlSwitch("whitelistEnabled", true));
  const CapturedLog log(LogLevel::Info);
  bool shouldFilter = true;
  const auto verdict = preferences->pronounceOnPageURLString(nullptr, &shouldFilter);
  EXPECT_TRUE(verdict->restricted());
  EXPECT_EQ(verdict->evidence(), 9);
  EXPECT_TRUE(verdict->URL().isNull());
  EXPECT_FALSE(shouldFilter);
  constexpr auto kOp = "-[WFWhitelistUserPreferences pronounceOnPageURLString:shouldFilter:]";
  EXPECT_THAT(
      log.texts(),
      ElementsAre(std::string(kOp) + " -- URL (rawdata: (null)) is nil",
                  std::string(kOp) + " -- URL: (null) is NOT allowed (URL is not on global white list), "
                                     "will NOT check LSM"));
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Error);
}

TEST_F(UserPreferences, TheDescriptionShowsSwitchesAndListsButNotTheHTTPSSwitch) {
  const auto preferences = load(xmlSwitch("useContentFilter", true) + xmlSwitch("restrictWeb", false) +
                                xmlTexts("filterBlacklist", {"http://Bad.example.org/"}));
  EXPECT_THAT(
      preferences->description().toUTF8(),
      MatchesRegex("<WFWhitelistUserPreferences:0x[0-9a-f]+ username:ann filterEnabled:1 whitelistEnabled:0 "
                   "filterWhitelist:\\{https://login.ubuntu.com, \\} filterBlacklist:"
                   "\\{http://bad.example.org/, \\} webWhitelist:\\{https://.*, \\}>"));
  preferences->setUsername(nullptr);
  EXPECT_THAT(preferences->description().toUTF8(), HasSubstr(" username:(null) "));
}

TEST_F(UserPreferences, TheSettersServeCallersThatOwnAnObject) {
  WFWhitelistUserPreferences preferences;
  preferences.setFilterEnabled(true);
  preferences.setWhitelistEnabled(true);
  preferences.setAlwaysAllowHTTPS(true);
  preferences.setUsername(String(u"bob"));
  EXPECT_TRUE(preferences.filterEnabled());
  EXPECT_TRUE(preferences.whitelistEnabled());
  EXPECT_TRUE(preferences.alwaysAllowHTTPS());
  EXPECT_EQ(preferences.username(), String(u"bob"));
  EXPECT_FALSE(preferences.isURLAllowed(url(u"http://a.example/")));
}

}  // namespace
}  // namespace sifterra
