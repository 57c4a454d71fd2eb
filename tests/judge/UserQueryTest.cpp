// WFIsWebPageToRestrictForUser and WFIsURLToRestrictForUser, from preference files to answers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "judge/LibraryMap.h"
#include "platform/CHandles.h"
#include "platform/Log.h"
#include "policy/PreferenceFixture.h"
#include "sifterra/sifterra.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::LogLevel;
using platform::String;
using ::testing::Contains;
using ::testing::ElementsAre;

constexpr auto kScore = "1:0.00    [ 2:1.00 ]";

class UserQuery : public ::testing::Test {
 protected:
  void SetUp() override { WFReleaseScopeBegin(); }
  void TearDown() override {
    WFReleaseScopeEnd();
    WFRelease(untouched);
  }
  void restrictEverything() {
    library.addMapFile();
    library.setMap(calibratedScript(0.1F, 0.8F));
  }
  signed char askPage(const char* user, const char* content, const char* url) {
    title = message = untouched;
    const WFStringRef references[] = {WFStringCreateWithUTF8(user), WFStringCreateWithUTF8(content),
                                      WFStringCreateWithUTF8(url)};
    const signed char answer =
        WFIsWebPageToRestrictForUser(references[0], references[1], references[2], &title, &message);
    for (const WFStringRef reference : references) WFRelease(reference);
    return answer;
  }
  signed char askURL(const char* user, const char* url, const std::string& bytes) {
    title = message = untouched;
    const WFStringRef name = WFStringCreateWithUTF8(user);
    const WFURLRef address = WFURLCreateWithUTF8(url);
    const WFDataRef data = WFDataCreate(bytes.data(), bytes.size());
    const signed char answer = WFIsURLToRestrictForUser(name, address, data, &title, &message);
    WFRelease(name);
    WFRelease(address);
    WFRelease(data);
    return answer;
  }
  static std::string text(WFStringRef reference) { return reference ? WFStringGetUTF8(reference) : "NULL"; }

  const std::string page = "<meta charset=\"UTF-8\"><title>A title</title>" + std::string(500, 'x');
  LibraryMap library;
  PreferenceFixture files;
  const WFStringRef untouched = WFStringCreateWithUTF8("untouched");
  WFStringRef title = nullptr;
  WFStringRef message = nullptr;
};

TEST_F(UserQuery, TheContentFilterClassifiesWhatIsOnNoList) {
  restrictEverything();
  files.writeKeys("ann", xmlSwitch("restrictWeb", true) + xmlSwitch("useContentFilter", true) +
                             xmlTexts("filterWhitelist", {"http://good.example.de/"}));
  EXPECT_EQ(askPage("ann", page.c_str(), "http://other.example.de/"), 1);
  EXPECT_EQ(text(title), "A title");
  EXPECT_EQ(text(message), kScore);
  EXPECT_EQ(askPage("ann", page.c_str(), "http://good.example.de/"), 0);
  EXPECT_EQ(text(message), "URL is on filter white list");
  EXPECT_EQ(askPage("ann", page.c_str(), "https://other.example.de/"), 1);
  EXPECT_EQ(text(message), kScore);
}

TEST_F(UserQuery, AllowListOnlyModeShowsTheListedSites) {
  restrictEverything();
  files.writeKeys("ann", xmlSwitch("restrictWeb", true) + xmlSwitch("whitelistEnabled", true) +
                             xmlSites({"http://good.example.de/"}));
  EXPECT_EQ(askPage("ann", page.c_str(), "http://good.example.de/a"), 0);
  EXPECT_EQ(text(message), "URL is on global white list");
  EXPECT_EQ(askPage("ann", page.c_str(), "https://other.example.de/"), 1);
  EXPECT_EQ(text(message), "URL is not on global white list");
}

TEST_F(UserQuery, AUserWithoutAFileIsNotRestricted) {
  restrictEverything();
  EXPECT_EQ(askPage("ann", page.c_str(), "http://a.example/"), 0);
  EXPECT_EQ(text(message), "ann has no web restrictions");
  EXPECT_EQ(text(title), "A title");
}

TEST_F(UserQuery, ANullUserIsJudgedByContentAlone) {
  restrictEverything();
  const CapturedLog log(LogLevel::Error);
  EXPECT_EQ(askPage(nullptr, page.c_str(), "https://a.example/"), 1);
  EXPECT_EQ(text(message), kScore);
  EXPECT_THAT(log.texts(),
              ElementsAre("+[WFWhitelistUserPreferences defaultWhitelistForUser:] -- username is nil",
                          "WFIsWebPageToRestrictForUser -- WFIsWebPageToRestrictForUser: whitelist is nil"));
}

TEST_F(UserQuery, WithoutAJudgeNothingIsRestrictedAndTheMessageIsNull) {
  files.writeKeys("ann", xmlSwitch("restrictWeb", true) + xmlSwitch("whitelistEnabled", true));
  const CapturedLog log(LogLevel::Info);
  EXPECT_EQ(askPage("ann", page.c_str(), "http://a.example/"), 0);
  EXPECT_EQ(message, nullptr);
  EXPECT_EQ(title, untouched);
  EXPECT_TRUE(log.contains(LogLevel::Error,
                           "WFIsWebPageToRestrictForUser -- WFIsWebPageToRestrictForUser: judge is nil"));
  EXPECT_TRUE(log.contains(LogLevel::Info, "WFIsWebPageToRestrictForUser -- verdict is (null)"));
}

TEST_F(UserQuery, TellsTheVerdictAtInfoLevel) {
  restrictEverything();
  const CapturedLog log(LogLevel::Info);
  (void)askURL("ann", "http://a.example/x", page);
  EXPECT_THAT(
      log.texts(),
      Contains("WFIsWebPageToRestrictForUser -- verdict is unrestricted (9) | Not evaluated | ann has no web "
               "restrictions | http://a.example/x"));
  EXPECT_EQ(log.texts().back(),
            "WFIsURLToRestrictForUser -- result is NO (ann has no web restrictions) for http://a.example/x");
  EXPECT_EQ(log.lines().back().level, LogLevel::Info);
}

TEST_F(UserQuery, ARestrictedURLIsToldAsYes) {
  restrictEverything();
  files.writeKeys("ann", xmlSwitch("restrictWeb", true) + xmlSwitch("useContentFilter", true));
  const CapturedLog log(LogLevel::Info);
  EXPECT_EQ(askURL("ann", "http://a.example/x", page), 1);
  EXPECT_EQ(text(title), "A title");
  EXPECT_EQ(log.texts().back(),
            std::string("WFIsURLToRestrictForUser -- result is YES (") + kScore + ") for http://a.example/x");
}

TEST_F(UserQuery, OtherSchemesAreNotJudged) {
  restrictEverything();
  files.writeKeys("ann", xmlSwitch("restrictWeb", true) + xmlSwitch("whitelistEnabled", true));
  for (const char* url : {"ftp://a.example/", "file:///etc/passwd", "//a.example/"}) {
    const CapturedLog log(LogLevel::Info);
    EXPECT_EQ(askURL("ann", url, page), 0);
    EXPECT_EQ(title, untouched);
    EXPECT_EQ(message, untouched);
    EXPECT_EQ(log.lines().size(), 1U);
  }
  const CapturedLog log(LogLevel::Info);
  (void)askURL("ann", "FTP://a.example/", page);
  (void)askURL("ann", "//a.example/", page);
  EXPECT_THAT(log.texts(), ElementsAre("WFIsURLToRestrictForUser -- invalid scheme ftp",
                                       "WFIsURLToRestrictForUser -- invalid scheme (null)"));
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Info);
}

TEST_F(UserQuery, ASchemeInCapitalsPassesAndTakesTheWayOfHTTP) {
  restrictEverything();
  // Without "restrictWeb" https is always allowed.
  files.writeKeys("ann", xmlSwitch("useContentFilter", true));
  EXPECT_EQ(askURL("ann", "https://a.example/", page), 0);
  EXPECT_EQ(text(message), "Always allow HTTPS");
  EXPECT_EQ(askURL("ann", "HTTPS://a.example/", page), 1);
  EXPECT_EQ(text(message), kScore);
}

TEST_F(UserQuery, BytesThatAreNotUTF8AreNoContent) {
  restrictEverything();
  files.writeKeys("ann", xmlSwitch("restrictWeb", true) + xmlSwitch("useContentFilter", true));
  EXPECT_EQ(askURL("ann", "http://a.example/", page + "\xFF"), 0);
  EXPECT_EQ(text(message), "Allowed, NULL pageContentString");
  EXPECT_EQ(title, nullptr);
  EXPECT_EQ(askURL("ann", "https://a.example/", page + "\xFF"), 0);
  EXPECT_EQ(text(message), "Allowed, nil pageContentString");
}

TEST_F(UserQuery, NullArgumentsAreAnswered) {
  restrictEverything();
  EXPECT_EQ(WFIsURLToRestrictForUser(nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(WFIsWebPageToRestrictForUser(nullptr, nullptr, nullptr, nullptr, nullptr), 0);
}

}  // namespace
}  // namespace sifterra
