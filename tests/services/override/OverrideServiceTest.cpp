#include "OverrideService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include "PolicyFolder.h"
#include "sifterra/sifterra.h"

namespace sifterra::override_service {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr std::uint32_t kAnn = 1001;
constexpr std::uint32_t kBen = 1002;
const std::string kUrl = "https://www.example.org/a?b=1&c='2'";

// The password of "mother" is "secret".
class OneAdministrator final : public Authenticator {
 public:
  [[nodiscard]] bool admits(const std::string& name, const std::string& password) override {
    ++asked;
    if (password == "no memory") throw std::bad_alloc();
    if (meanwhile) meanwhile();
    return name == "mother" && password == "secret";
  }
  int asked = 0;
  std::function<void()> meanwhile;
};

std::string base64(const std::string& text) {
  WFReleaseScopeBegin();
  const WFStringRef plain = WFStringCreateWithUTF8(text.c_str());
  std::string encoded = WFStringGetUTF8(NS64BaseStringFromString(plain));
  WFRelease(plain);
  WFReleaseScopeEnd();
  return encoded;
}

std::string headerOf(const Reply& reply, const std::string& name) {
  for (const auto& [key, value] : reply.headers) {
    if (key == name) return value;
  }
  return "";
}

std::string tokenIn(const std::string& page) {
  const std::string before = "name=\"token\" value=\"";
  const std::size_t at = page.find(before);
  return at == std::string::npos ? "" : page.substr(at + before.size(), 32);
}

class OverrideServiceTest : public testing::Test {
 protected:
  OverrideServiceTest() { _folder.write("ann", {"restrictWeb", "useContentFilter"}); }

  static Request post(const std::string& path, std::map<std::string, std::string> fields,
                      std::optional<std::uint32_t> uid = kAnn) {
    Request request;
    request.method = "POST";
    request.path = path;
    request.headers = {{"host", "127.0.0.1:10011"}, {"origin", "http://127.0.0.1:10011"}};
    request.fields = std::move(fields);
    request.uid = uid;
    return request;
  }
  // As the block page sends it, from the refused site's origin.
  static Request asking(const std::string& url = kUrl, const std::string& title = "A page") {
    Request request = post(kAskPath, {{"url", base64(url)}, {"title", base64(title)}});
    request.headers["origin"] = "https://www.example.org";
    request.headers["sec-fetch-site"] = "cross-site";
    return request;
  }
  std::string token() { return tokenIn(_service.answer(asking()).body); }
  static Request allowing(const std::string& token, const std::string& name = "mother",
                          const std::string& password = "secret") {
    return post(kAllowPath, {{"token", token}, {"name", name}, {"password", password}, {"scope", "site"}});
  }

  PolicyFolder _folder;
  OneAdministrator _administrator;
  std::chrono::steady_clock::time_point _now{};
  std::chrono::system_clock::time_point _wall{std::chrono::seconds(1790000000)};
  std::vector<std::chrono::milliseconds> _waits;
  std::vector<std::string> _log;
  std::optional<std::string> _nameOfAnn = "ann";
  std::optional<std::uint32_t> _numberOfMother = 1000;
  std::function<void(std::chrono::milliseconds)> _onWait = [this](std::chrono::milliseconds time) {
    _waits.push_back(time);
  };
  OverrideService _service{{_administrator,
                            [this] { return _now; },
                            [this](std::uint32_t uid) -> std::optional<std::string> {
                              if (uid == kAnn) return _nameOfAnn;
                              if (uid == kBen) return "ben";
                              return std::nullopt;
                            },
                            [this](const std::string& name) -> std::optional<std::uint32_t> {
                              return name == "mother" ? _numberOfMother : std::nullopt;
                            },
                            [this](std::chrono::milliseconds time) { _onWait(time); },
                            [this](int, const std::string& line) { _log.push_back(line); },
                            {kPort},
                            [this] { return _wall; },
                            ""}};
};

TEST_F(OverrideServiceTest, TheBlockPagesFormShowsWhoAsksForWhatAndDoesNothingElse) {
  const std::string before = _folder.read("ann");
  const Reply reply = _service.answer(asking());
  EXPECT_EQ(reply.status, 200);
  EXPECT_THAT(reply.body,
              AllOf(HasSubstr("<bdi>ann</bdi> asks for this page:"),
                    HasSubstr("https://www.example.org/a?b=1&amp;c=&#39;2&#39;"), HasSubstr("A page"),
                    HasSubstr("The whole website <bdi>www.example.org</bdi>")));
  EXPECT_EQ(headerOf(reply, "Content-Type"), "text/html; charset=utf-8");
  EXPECT_EQ(headerOf(reply, "Cache-Control"), "no-store");
  EXPECT_EQ(headerOf(reply, "X-Frame-Options"), "DENY");
  EXPECT_THAT(
      headerOf(reply, "Content-Security-Policy"),
      testing::MatchesRegex("default-src 'none'; base-uri 'none'; frame-ancestors 'none'; img-src data:; "
                            "style-src 'nonce-[A-Za-z0-9_-]{12}'"));
  EXPECT_EQ(headerOf(reply, "Referrer-Policy"), "same-origin");  // else the next form comes from "null"
  EXPECT_EQ(_folder.read("ann"), before);
  EXPECT_EQ(_administrator.asked, 0);
}

TEST_F(OverrideServiceTest, ThePasswordOpensTheSiteAndSendsTheBrowserBack) {
  const Reply reply = _service.answer(allowing(token()));
  EXPECT_EQ(reply.status, 303);
  EXPECT_EQ(headerOf(reply, "Location"), kUrl);
  EXPECT_THAT(_folder.read("ann"), HasSubstr("<string>https://www.example.org/</string>"));
  EXPECT_THAT(_log, testing::ElementsAre("mother allowed https://www.example.org/ for ann"));
}

TEST_F(OverrideServiceTest, ATokenOpensOnceAndThenOnlyLeadsOn) {
  const std::string used = token();
  EXPECT_EQ(_service.answer(allowing(used)).status, 303);
  _folder.write("ann", {"restrictWeb", "useContentFilter"});
  const std::string closedAgain = _folder.read("ann");
  for (const char* password : {"secret", "guess"}) {  // a double click, or the way back in the browser
    const Reply again = _service.answer(allowing(used, "mother", password));
    EXPECT_EQ(again.status, 303);
    EXPECT_EQ(headerOf(again, "Location"), kUrl);
  }
  EXPECT_EQ(_folder.read("ann"), closedAgain);
  EXPECT_EQ(_administrator.asked, 1);
  _now += 10min;
  const Reply late = _service.answer(allowing(used));
  EXPECT_EQ(late.status, 400);
  EXPECT_THAT(late.body, HasSubstr("That took too long."));
}

TEST_F(OverrideServiceTest, TwoFormsWithOneTokenAtOnceOpenOnce) {
  const std::string both = token();
  std::promise<void> waiting;
  std::promise<void> decided;
  const std::shared_future<void> first = decided.get_future().share();
  // The second one comes while the password of the first is being checked, and waits for its turn.
  _onWait = [&, told = false](std::chrono::milliseconds time) mutable {
    EXPECT_EQ(time, 100ms);
    if (!std::exchange(told, true)) waiting.set_value();
    first.wait();
  };
  std::future<Reply> second;
  _administrator.meanwhile = [&] {
    second = std::async(std::launch::async, [&] { return _service.answer(allowing(both)); });
    waiting.get_future().wait();
  };
  EXPECT_EQ(_service.answer(allowing(both)).status, 303);
  decided.set_value();
  EXPECT_EQ(second.get().status, 303);
  EXPECT_EQ(_administrator.asked, 1);
  EXPECT_EQ(_log.size(), 1u);
}

TEST_F(OverrideServiceTest, WhoWaitsForHisTurnInVainIsToldToComeAgain) {
  const std::string both = token();
  Reply second;
  _administrator.meanwhile = [&] { second = _service.answer(allowing(both)); };
  EXPECT_EQ(_service.answer(allowing(both)).status, 303);
  EXPECT_EQ(second.status, 429);
  EXPECT_EQ(headerOf(second, "Retry-After"), "60");
  EXPECT_EQ(_waits.size(), 400u);
}

TEST_F(OverrideServiceTest, AnotherUsersTokenAndAnOldOneOpenNothing) {
  _folder.write("ben", {"restrictWeb", "useContentFilter"});
  Request bens = allowing(token());
  bens.uid = kBen;
  EXPECT_EQ(_service.answer(bens).status, 400);
  const std::string old = token();
  _now += 10min;
  EXPECT_EQ(_service.answer(allowing(old)).status, 400);
  EXPECT_EQ(_administrator.asked, 0);
}

TEST_F(OverrideServiceTest, ThePasswordIsTakenFromTheServicesOwnPageAlone) {
  const std::string good = token();
  for (const char* origin :
       {"", "null", "https://www.example.org", "http://127.0.0.1", "http://localhost:10011"}) {
    SCOPED_TRACE(origin);
    Request request = allowing(good);
    request.headers["origin"] = origin;
    EXPECT_EQ(_service.answer(request).status, 403);
  }
  Request fromElsewhere = allowing(good);
  fromElsewhere.headers["sec-fetch-site"] = "cross-site";
  EXPECT_EQ(_service.answer(fromElsewhere).status, 403);
  EXPECT_EQ(_administrator.asked, 0);
  Request own = allowing(good);
  own.headers["sec-fetch-site"] = "same-origin";
  EXPECT_EQ(_service.answer(own).status, 303);
}

TEST_F(OverrideServiceTest, OtherHostNamesAreNotServed) {
  for (const char* host :
       {"", "evil.example", "evil.example:10011", "127.0.0.1", "127.0.0.1:80", "127.0.0.2:10011",
        "localhost.:10011", "LOCALHOST:10011", "127.0.0.1.:10011", "127.1:10011", "[0:0:0:0:0:0:0:1]:10011",
        "127.0.0.1:10011.evil.example", "evil.example@127.0.0.1:10011", "127.0.0.1:010011"}) {
    SCOPED_TRACE(host);
    Request request = asking();
    request.headers["host"] = host;
    EXPECT_EQ(_service.answer(request).status, 421);
  }
  for (const char* host : {"localhost:10011", "[::1]:10011"}) {
    Request request = asking();
    request.headers["host"] = host;
    EXPECT_EQ(_service.answer(request).status, 200);
  }
}

TEST_F(OverrideServiceTest, WrongPasswordsAreSlowedDownAndThenLockedOut) {
  const std::string good = token();
  for (int i = 0; i < 4; ++i) {
    const Reply reply = _service.answer(allowing(good, "mother", "guess"));
    EXPECT_EQ(reply.status, 403);
    EXPECT_THAT(reply.body, AllOf(HasSubstr("That did not work"), HasSubstr("value=\"mother\""),
                                  Not(HasSubstr("guess"))));
  }
  EXPECT_THAT(_waits, testing::ElementsAre(250ms, 500ms, 1000ms, 2000ms));
  const Reply last = _service.answer(allowing(good, "mother", "guess"));
  EXPECT_EQ(last.status, 429);
  EXPECT_EQ(headerOf(last, "Retry-After"), "900");
  EXPECT_THAT(last.body, HasSubstr("Please try again in <bdi>15</bdi> min."));
  EXPECT_EQ(_service.answer(allowing(good)).status, 429);  // also the right one
  EXPECT_EQ(_administrator.asked, 5);
  _now += 15min;
  _wall += 15min;
  EXPECT_EQ(_service.answer(allowing(token())).status, 303);
  EXPECT_EQ(_log.front(), "refused: \"mother\" may not allow https://www.example.org/a?b=1&c='2' for ann");
}

TEST_F(OverrideServiceTest, AFailureInTheMiddleLeavesNobodyBusy) {
  const std::string good = token();
  EXPECT_THROW((void)_service.answer(allowing(good, "mother", "no memory")), std::bad_alloc);
  EXPECT_EQ(_service.answer(allowing(good)).status, 303);
}

TEST_F(OverrideServiceTest, TheLogHoldsNoMoreOfANameThanHelps) {
  const std::string long64 = std::string(63, 'n') + "\u00e9";  // its last character would be cut in two
  (void)_service.answer(allowing(token(), long64 + std::string(5000, 'x'), "guess"));
  EXPECT_EQ(_log.back(), "refused: \"" + std::string(63, 'n') + "...\" may not allow " + kUrl + " for ann");
  (void)_service.answer(allowing(token(), "a\nb\x1b[2J\u009b\x7f", "guess"));
  EXPECT_EQ(_log.back(), "refused: \"a b [2J  \" may not allow " + kUrl + " for ann");
  // Else the journal would not show the line, or show it turned around.
  (void)_service.answer(allowing(token(),
                                 "a\xff"
                                 "b\u202ec\u2066d\u2028e",
                                 "guess"));
  EXPECT_EQ(_log.back(), "refused: \"a\ufffdb c d e\" may not allow " + kUrl + " for ann");
  const std::string url = "https://www.example.org/" + std::string(4000, 'a');
  (void)_service.answer(allowing(tokenIn(_service.answer(asking(url)).body), "mother", "guess"));
  EXPECT_EQ(_log.back(), "refused: \"mother\" may not allow " + url.substr(0, 512) + "... for ann");
}

TEST_F(OverrideServiceTest, WhoAsksDoesNotDecide) {
  EXPECT_EQ(_service.answer(allowing(token(), "ann", "secret")).status, 403);
  EXPECT_EQ(_administrator.asked, 0);
  _numberOfMother = kAnn;  // another name of the same account
  EXPECT_EQ(_service.answer(allowing(token())).status, 403);
  EXPECT_THAT(_folder.read("ann"), Not(HasSubstr("filterWhitelist")));
}

TEST_F(OverrideServiceTest, AnAccountThatIsGoneMeanwhileOpensNothingAndNeitherDoesItsSuccessor) {
  const std::string good = token();
  _nameOfAnn.reset();
  EXPECT_EQ(_service.answer(allowing(good)).status, 403);
  _nameOfAnn = "carl";
  _folder.write("carl", {"restrictWeb", "useContentFilter"});
  EXPECT_EQ(_service.answer(allowing(good)).status, 400);
  EXPECT_EQ(_administrator.asked, 0);
}

TEST_F(OverrideServiceTest, WhatScriptsAndFramesSendIsRefused) {
  for (const auto& [name, value] : {std::pair{"sec-fetch-mode", "no-cors"},
                                    {"sec-fetch-mode", "cors"},
                                    {"sec-fetch-dest", "iframe"},
                                    {"sec-fetch-dest", "empty"}}) {
    SCOPED_TRACE(value);
    Request request = asking();
    request.headers[name] = value;
    EXPECT_EQ(_service.answer(request).status, 403);
  }
  Request navigation = asking();
  navigation.headers["sec-fetch-mode"] = "navigate";
  navigation.headers["sec-fetch-dest"] = "document";
  EXPECT_EQ(_service.answer(navigation).status, 200);
}

TEST_F(OverrideServiceTest, APolicyThatBrokeMeanwhileStaysAsItIs) {
  for (const char* broken : {"", "{", "<?xml version=\"1.0\"?><plist><dict><key>restrictWeb</key>"}) {
    SCOPED_TRACE(broken);
    _folder.write("ann", {"restrictWeb", "useContentFilter"});
    const std::string good = token();
    std::ofstream(_folder.fileOf("ann")) << broken;
    EXPECT_THAT(_service.answer(allowing(good)).status, testing::AnyOf(403, 500));
    EXPECT_EQ(_folder.read("ann"), broken);
  }
}

TEST_F(OverrideServiceTest, UsersWhoMayNotAskAreTurnedAway) {
  const std::string good = token();
  _folder.write("ann", {"restrictWeb", "useContentFilter", "noOverriddingAllowed"});
  for (const Request& request : {asking(), allowing(good)}) {
    const Reply reply = _service.answer(request);
    EXPECT_EQ(reply.status, 403);
    EXPECT_THAT(reply.body, HasSubstr("This page cannot be asked for"));
  }
  EXPECT_EQ(_service.answer(post(kAskPath, {}, kBen)).status, 403);          // not restricted
  EXPECT_EQ(_service.answer(post(kAskPath, {}, 1003)).status, 403);          // no account
  EXPECT_EQ(_service.answer(post(kAskPath, {}, std::nullopt)).status, 403);  // not of this machine
  EXPECT_EQ(_administrator.asked, 0);
}

TEST_F(OverrideServiceTest, FormsThatAreNoneAreToldSo) {
  EXPECT_EQ(_service.answer(post(kAskPath, {})).status, 400);
  EXPECT_EQ(_service.answer(post(kAskPath, {{"url", "%%%"}})).status, 400);
  EXPECT_EQ(_service.answer(asking("javascript:alert(1)")).status, 400);
  EXPECT_EQ(_service.answer(asking("http://a.example/" + std::string(9000, 'a'))).status, 400);
  EXPECT_EQ(_service.answer(asking("http://a.example/\r\nX: y")).status, 400);
  EXPECT_EQ(_service.answer(asking("https://www.example.org@a.example/")).status, 400);
  Request large = asking();
  large.form = Request::Form::TooLarge;
  EXPECT_EQ(_service.answer(large).status, 413);
  Request broken = asking();
  broken.form = Request::Form::Malformed;
  EXPECT_EQ(_service.answer(broken).status, 400);
  Request get = asking();
  get.method = "GET";
  EXPECT_EQ(_service.answer(get).status, 405);
  EXPECT_EQ(headerOf(_service.answer(get), "Allow"), "POST");
  EXPECT_EQ(_service.answer(post("/", {})).status, 404);
  EXPECT_EQ(_service.answer(post("/webcontentfilter.override.local/../etc", {})).status, 404);
}

TEST_F(OverrideServiceTest, WhatAPageCallsItselfStaysText) {
  const std::string body =
      _service.answer(asking("http://a.example/", "</p><script>alert(1)</script>\"'&\x1b[2J\n")).body;
  EXPECT_THAT(body, HasSubstr("&lt;/p&gt;&lt;script&gt;alert(1)&lt;/script&gt;&quot;&#39;&amp; [2J "));
  EXPECT_THAT(body, Not(HasSubstr("<script")));
}

TEST_F(OverrideServiceTest, ATitleThatIsMissingOrNoTextIsLeftOut) {
  for (const char* title : {"", "%%%"}) {
    const Reply reply = _service.answer(post(kAskPath, {{"url", base64(kUrl)}, {"title", title}}));
    EXPECT_EQ(reply.status, 200);
    EXPECT_THAT(reply.body, Not(HasSubstr("What the page calls itself")));
  }
}

TEST_F(OverrideServiceTest, ThePageSpeaksTheUsersLanguage) {
  const std::filesystem::path file = _folder.fileOf("ann").parent_path() / "com.vendrel.preferences.plist";
  std::ofstream(file)
      << R"(<plist version="1.0"><dict><key>VendrelLanguages</key><array><string>en-GB</string></array></dict></plist>)";
  EXPECT_THAT(_service.answer(asking()).body, HasSubstr("<html lang=\"en\" dir=\"ltr\">"));
}

TEST_F(OverrideServiceTest, WhenTheListCannotBeWrittenNothingIsOpenAndTheReasonIsLogged) {
  const std::string good = token();
  _folder.write("ann", {"restrictWeb", "useContentFilter"}, "<key>filterWhitelist</key><true/>");
  EXPECT_EQ(_service.answer(allowing(good)).status, 500);
  EXPECT_THAT(_log.back(), HasSubstr("but: the list in the preference file is no list"));
}

}  // namespace
}  // namespace sifterra::override_service
