#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <utility>

#include "OverrideFixture.h"

namespace sifterra::override_service {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class OverrideServiceTest : public OverrideFixture {};

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

}  // namespace
}  // namespace sifterra::override_service
