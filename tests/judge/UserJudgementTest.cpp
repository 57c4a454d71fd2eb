// The whole decision for a user: mode, lists, scheme, page and HTTPS switch, against the rules written down
// another way.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>

#include "lsm/LsmEngine.h"
#include "platform/Log.h"
#include "sifterra/judge/WFJudge.h"
#include "sifterra/policy/WFWhitelistSiteBuffer.h"
#include "sifterra/policy/WFWhitelistUserPreferences.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::LogLevel;
using platform::String;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr auto kOp =
    "-[WFJudge pronounceOnPageContent:pageURL:whitelistUserPreferences:debugPage:pageTitle:] -- ";

// A map that restricts every page and counts how often it was asked.
class RestrictingMap : public WFLSMMap {
 public:
  std::shared_ptr<WFLSMResult> evaluate(const String& /*text*/) const override {
    ++asked;
    return WFLSMResult::LSMResultWithLSMResultRef({{{1, 0.19F}, {2, 0.81F}}, true}, 0.62F);
  }
  mutable int asked = 0;
};

String page(const std::string& head = "") {
  return String::fromUTF8("<html><head><title>A title</title>" + head + "</head><body>" +
                          std::string(500, 'x') + "</body></html>");
}

struct Judgement {
  std::shared_ptr<WFVerdict> verdict;
  String title = String(u"untouched");
  int asked = 0;
};

Judgement judge(const std::shared_ptr<const WFWhitelistUserPreferences>& preferences, const String& content,
                const String& url) {
  const auto map = std::make_shared<RestrictingMap>();
  Judgement judgement;
  judgement.verdict =
      WFJudge(map).pronounceOnPageContent(content, url, preferences, nullptr, &judgement.title);
  judgement.asked = map->asked;
  return judgement;
}

std::shared_ptr<WFWhitelistUserPreferences> preferencesOf(bool filter, bool allowListOnly, bool allowHTTPS) {
  auto preferences = std::make_shared<WFWhitelistUserPreferences>();
  preferences->setUsername(String(u"ann"));
  preferences->setFilterEnabled(filter);
  preferences->setWhitelistEnabled(allowListOnly);
  preferences->setAlwaysAllowHTTPS(allowHTTPS);
  return preferences;
}

// ---- The table

enum Lists { OnNone, OnAllow, OnDeny, OnBoth, OnSites };
enum Scheme { Http, Https, UpperHttps };
enum Page { NoPage, LongPage, ShortPage, LabelledPage };

struct Case {
  bool given;  // whether there are preferences at all
  bool filter;
  bool allowListOnly;
  bool allowHTTPS;
  Lists lists;
  Scheme scheme;
  Page page;
};

struct Expected {
  std::int32_t evidence;
  bool restricted;
};

// The rules, as one would tell them to a parent.
Expected rules(const Case& c) {
  // What the content says when it is asked.
  const auto content = [&](Page p) -> Expected {
    if (p == NoPage) return {2, false};
    if (p == LabelledPage) return {3, true};
    if (p == ShortPage) return {5, false};
    return {0, true};
  };
  if (!c.given) return content(c.page);
  // A secure page is none of the filter's business when the switch says so; nothing comes before that.
  if (c.scheme == Https && c.allowHTTPS) return {10, false};
  // A child with a list of sites sees these and nothing else.
  if (c.allowListOnly) return c.lists == OnSites ? Expected{8, false} : Expected{9, true};
  // Nobody filters: everything may be seen.
  if (!c.filter) return {9, false};
  // The parents' lists go before the content, and what they allow before what they deny.
  if (c.lists == OnAllow || c.lists == OnBoth) return {8, false};
  if (c.lists == OnDeny) return {8, true};
  return content(c.page);
}

const std::array<std::u16string, 5> kHosts = {u"none.example.de", u"allow.example.de", u"deny.example.de",
                                              u"both.example.de", u"sites.example.de"};
const std::array<std::u16string, 3> kSchemes = {u"http://", u"https://", u"HTTPS://"};

String contentOf(Page p) {
  switch (p) {
    case NoPage:
      return nullptr;
    case ShortPage:
      return String(u"ten signs!");
    case LabelledPage:
      return page("<meta name='rating' content='RTA-5042-1996-1400-1577-RTA'>");
    default:
      return page();
  }
}

void addLists(WFWhitelistUserPreferences& preferences) {
  const auto site = [](Lists lists) { return String(u"http://" + kHosts.at(lists) + u"/"); };
  preferences.filterWhitelist().addURLString(site(OnAllow));
  preferences.filterBlacklist().addURLString(site(OnDeny));
  preferences.filterWhitelist().addURLString(site(OnBoth));
  preferences.filterBlacklist().addURLString(site(OnBoth));
  preferences.webWhitelist().addURLString(site(OnSites));
}

void expectRules(const Case& c) {
  SCOPED_TRACE(testing::Message() << "given " << c.given << " filter " << c.filter << " allow-list-only "
                                  << c.allowListOnly << " allow-https " << c.allowHTTPS << " lists "
                                  << c.lists << " scheme " << c.scheme << " page " << c.page);
  std::shared_ptr<WFWhitelistUserPreferences> preferences;
  if (c.given) {
    preferences = preferencesOf(c.filter, c.allowListOnly, c.allowHTTPS);
    addLists(*preferences);
  }
  const String url(kSchemes.at(c.scheme) + kHosts.at(c.lists) + u"/page");
  const Judgement judgement = judge(preferences, contentOf(c.page), url);
  const Expected expected = rules(c);
  EXPECT_EQ(judgement.verdict->evidence(), expected.evidence);
  EXPECT_EQ(judgement.verdict->restricted(), expected.restricted);
  EXPECT_EQ(judgement.asked, expected.evidence == 0 ? 1 : 0);
  EXPECT_EQ(judgement.verdict->URL(), url);
  const bool titled = c.page == LongPage || c.page == LabelledPage;
  EXPECT_EQ(judgement.title, titled ? String(u"A title") : String());
}

TEST(UserJudgement, EveryCaseFollowsTheRules) {
  int cases = 0;
  for (int switches = 0; switches < 8; ++switches) {
    for (int rest = 0; rest < 5 * 3 * 4; ++rest) {
      for (const bool given : {true, false}) {
        expectRules({given, (switches & 1) != 0, (switches & 2) != 0, (switches & 4) != 0,
                     static_cast<Lists>(rest % 5), static_cast<Scheme>(rest / 5 % 3),
                     static_cast<Page>(rest / 15)});
        ++cases;
      }
    }
  }
  EXPECT_EQ(cases, 960);
}

// ---- The ways out, one by one

TEST(UserJudgement, ADeniedSiteIsAllowedOverHTTPSWhenHTTPSAlwaysIs) {
  const auto preferences = preferencesOf(true, false, true);
  addLists(*preferences);
  const auto secure = judge(preferences, page(), String(u"https://deny.example.de/"));
  EXPECT_FALSE(secure.verdict->restricted());
  EXPECT_EQ(secure.verdict->evidence(), 10);
  EXPECT_EQ(secure.verdict->message(), String(u"Always allow HTTPS"));
  EXPECT_EQ(secure.verdict->LSMEvaluationResult(), nullptr);
  const auto plain = judge(preferences, page(), String(u"http://deny.example.de/"));
  EXPECT_TRUE(plain.verdict->restricted());
  EXPECT_EQ(plain.verdict->evidence(), 8);
  EXPECT_EQ(plain.verdict->message(), String(u"URL is on filter black list"));
}

TEST(UserJudgement, InAllowListOnlyModeTheClassifierNeverRuns) {
  const auto preferences = preferencesOf(true, true, false);
  for (const char16_t* url : {u"http://none.example.de/", u"https://none.example.de/"}) {
    const auto judgement = judge(preferences, page(), String(url));
    EXPECT_TRUE(judgement.verdict->restricted());
    EXPECT_EQ(judgement.verdict->message(), String(u"URL is not on global white list"));
    EXPECT_EQ(judgement.asked, 0);
  }
}

TEST(UserJudgement, WithoutPreferencesBothSchemesAreClassified) {
  for (const char16_t* url : {u"http://a.example/", u"https://a.example/"}) {
    const auto judgement = judge(nullptr, page(), String(url));
    EXPECT_EQ(judgement.verdict->evidence(), 0);
    EXPECT_TRUE(judgement.verdict->restricted());
    EXPECT_EQ(judgement.verdict->message(), String(u"RESTRICTED"));
    EXPECT_NE(judgement.verdict->LSMEvaluationResult(), nullptr);
  }
}

TEST(UserJudgement, WithoutContentAPlainAddressIsAllowed) {
  const auto judgement =
      judge(preferencesOf(true, false, false), nullptr, String(u"http://none.example.de/"));
  EXPECT_FALSE(judgement.verdict->restricted());
  EXPECT_EQ(judgement.verdict->evidence(), 2);
  EXPECT_EQ(judgement.verdict->message(), String(u"Allowed, NULL pageContentString"));
  EXPECT_TRUE(judgement.title.isNull());
}

TEST(UserJudgement, WithoutContentASecureAddressGetsTheContentQuerysAnswer) {
  const auto judgement =
      judge(preferencesOf(true, false, false), nullptr, String(u"https://none.example.de/"));
  EXPECT_EQ(judgement.verdict->evidence(), 2);
  EXPECT_EQ(judgement.verdict->message(), String(u"Allowed, nil pageContentString"));
  EXPECT_TRUE(judgement.title.isNull());  // and not the caller's any more
}

TEST(UserJudgement, EmptyContentIsAPageWithTooLittleInIt) {
  for (const char16_t* url : {u"http://none.example.de/", u"https://none.example.de/"}) {
    const auto judgement = judge(nullptr, String(u""), String(url));
    EXPECT_EQ(judgement.verdict->evidence(), 5);
    EXPECT_EQ(judgement.verdict->message(), String(u"Page not analyzed: too little content found"));
  }
}

TEST(UserJudgement, ANullAddressTakesTheWayOfHTTP) {
  EXPECT_EQ(judge(nullptr, page(), nullptr).verdict->evidence(), 0);
  EXPECT_EQ(judge(preferencesOf(false, true, true), page(), nullptr).verdict->evidence(), 9);
}

TEST(UserJudgement, TheTitleNeedNotBeAskedFor) {
  const auto map = std::make_shared<RestrictingMap>();
  for (const char16_t* url : {u"http://a.example/", u"https://a.example/"}) {
    EXPECT_TRUE(
        WFJudge(map).pronounceOnPageContent(page(), String(url), nullptr, nullptr, nullptr)->restricted());
  }
}

// ---- The log

// The debug lines of the judgement itself.
std::vector<std::string> trace(const std::shared_ptr<const WFWhitelistUserPreferences>& preferences,
                               const String& content, const char16_t* url) {
  const CapturedLog log(LogLevel::Debug);
  (void)judge(preferences, content, String(url));
  std::vector<std::string> texts;
  for (const auto& line : log.lines()) {
    if (line.level == LogLevel::Debug && line.operation.starts_with("-[WFJudge ")) texts.push_back(line.text);
  }
  return texts;
}

TEST(UserJudgementLog, TellsThatTheListsSettledIt) {
  const auto preferences = preferencesOf(false, true, false);
  EXPECT_THAT(
      trace(preferences, page(), u"http://a.example/"),
      ElementsAre(std::string(kOp) + "whitelistVerdict: RESTRICTED (9) | Not evaluated | URL is not on "
                                     "global white list | http://a.example/",
                  std::string(kOp) + "URL found in white/black list, no need to use the LSM analyzer..."));
}

TEST(UserJudgementLog, TellsTheVerdictOnAPlainPage) {
  EXPECT_THAT(
      trace(nullptr, page(), u"http://a.example/"),
      ElementsAre(std::string(kOp) + "whitelistVerdict: (null)",
                  std::string(kOp) + "page A title (http://a.example/), verdict is RESTRICTED, LSM result "
                                     "is 1:0.19    [ 2:0.81 ]"));
}

TEST(UserJudgementLog, TellsTheVerdictOnAPageThatWasNotScored) {
  EXPECT_THAT(
      trace(nullptr, contentOf(ShortPage), u"http://a.example/"),
      ElementsAre(std::string(kOp) + "whitelistVerdict: (null)",
                  std::string(kOp) + "page (null) (http://a.example/), verdict is Page not analyzed: too "
                                     "little content found"));
}

TEST(UserJudgementLog, TellsThatThereWasNoPage) {
  EXPECT_THAT(trace(nullptr, nullptr, u"http://a.example/"),
              ElementsAre(std::string(kOp) + "whitelistVerdict: (null)",
                          std::string(kOp) + "No page content - so LSM analyzer cannot be used - allowing"));
}

TEST(UserJudgementLog, TellsTheSecureWayOut) {
  const std::string listVerdict =
      "unrestricted (9) | Not evaluated | ann has no web restrictions | https://a.example/";
  EXPECT_THAT(trace(preferencesOf(false, false, true), page(), u"https://a.example/"),
              ElementsAre(std::string(kOp) + "whitelistVerdict: " + listVerdict,
                          std::string(kOp) + "exiting via is https case. whitelistVerdict: " + listVerdict));
}

TEST(UserJudgementLog, TheDelegatedQueryLogsUnderItsOwnName) {
  EXPECT_THAT(trace(nullptr, page(), u"https://a.example/"),
              ElementsAre(std::string(kOp) + "whitelistVerdict: (null)",
                          std::string(kOp) + "exiting via is https case. whitelistVerdict: (null)",
                          "-[WFJudge pronounceOnPageContent:pageURL:debugPage:pageTitle:] -- page A title "
                          "(https://a.example/), verdict is RESTRICTED, LSM result is 1:0.19    [ 2:0.81 ]"));
}

}  // namespace
}  // namespace sifterra
