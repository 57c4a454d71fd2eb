#include "Refusal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "services/icap/fixture.h"
#include "sifterra/sifterra.h"

namespace sifterra::icap {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class RefusalTest : public testing::Test {
 protected:
  RefusalTest() {
    WFSetLogLevel(WFLogLevelOff);
    WFSetFileSystemRoot(directory_.path().c_str());
    message_.requestLine = "GET http://example.com/page HTTP/1.1";
    message_.accept = "text/html,*/*;q=0.8";
  }
  ~RefusalTest() override { WFSetFileSystemRoot(""); }

  Refusal refusal(const std::string& user = "ann") {
    const std::string url = message_.url();
    PolicyBook book([](const std::string&) {});
    return refusalFor({&message_, url, user, book.policyOf(user), platform::String(u"A title")}, settings_);
  }

  TemporaryDirectory directory_;
  HttpMessage message_;
  Settings settings_;
};

TEST_F(RefusalTest, OfAPageIsTheBlockPageWithoutForm) {
  const Refusal page = refusal();
  EXPECT_THAT(page.headers, ElementsAre("HTTP/1.1 403 Forbidden", "Content-Type: text/html; charset=utf-8",
                                        "Content-Length: " + std::to_string(page.body.size()),
                                        "Cache-Control: no-store", "X-Content-Type-Options: nosniff"));
  EXPECT_THAT(page.body, HasSubstr("http://example.com/page"));
  EXPECT_THAT(page.body, Not(HasSubstr("<form")));
}

TEST_F(RefusalTest, HasTheFormWhereAnAddressForItIsConfiguredAndTheUserMayAsk) {
  settings_.overrideAddress = "http://filter.example/ask";
  directory_.writePolicy("asker", contentFilter());
  EXPECT_THAT(refusal("asker").body, HasSubstr("action=\"http://filter.example/ask\""));
  EXPECT_THAT(refusal("asker").body, HasSubstr("aHR0cDovL2V4YW1wbGUuY29tL3BhZ2U="));
  directory_.writePolicy("silent", contentFilter() + "<key>noOverriddingAllowed</key><true/>");
  EXPECT_THAT(refusal("silent").body, Not(HasSubstr("<form")));
  EXPECT_THAT(refusal("nobody").body, Not(HasSubstr("<form")));
  directory_.breakPolicy("broken");
  EXPECT_THAT(refusal("broken").body, Not(HasSubstr("<form")));
}

TEST_F(RefusalTest, OfHeadHasItsLengthAndNoBody) {
  const std::size_t length = refusal().body.size();
  message_.requestLine = "HEAD http://example.com/page HTTP/1.1";
  EXPECT_THAT(refusal().headers, Contains("Content-Length: " + std::to_string(length)));
  EXPECT_EQ(refusal().body, "");
}

TEST_F(RefusalTest, SpeaksTheLanguageOfTheUserElseOfTheBrowser) {
  message_.acceptLanguage = "qaa, de;q=0.9, fr;q=0.8";
  EXPECT_THAT(refusal("guest").body, HasSubstr("lang=\"de\""));
  directory_.write(
      "Library/Managed Preferences/ann/com.vendrel.preferences.plist",
      "<plist version=\"1.0\"><dict><key>VendrelLanguages</key><array><string>es</string></array>"
      "</dict></plist>");
  EXPECT_THAT(refusal("ann").body, HasSubstr("lang=\"es\""));
  // Those of the machine are nobody's.
  directory_.write("etc/default/locale", "LANG=it_IT.UTF-8\n");
  EXPECT_THAT(refusal("guest").body, HasSubstr("lang=\"de\""));
  message_.acceptLanguage = "";
  EXPECT_THAT(refusal("guest").body, HasSubstr("lang=\"it\""));
}

struct Row {
  std::string_view fetchDestination;
  std::string_view accept;
  std::string_view path;
  const char* type;
};

TEST_F(RefusalTest, OfWhatAPageEmbedsIsEmptyAndOfItsType) {
  constexpr Row kRows[] = {
      {"image", "", "/a", "image/gif"},
      {"image", "", "/a.PNG?x=/y.gif", "image/png"},
      {"script", "*/*", "/a", "text/javascript"},
      {"serviceworker", "*/*", "/a.js", "text/javascript"},
      {"style", "", "/a", "text/css"},
      {"font", "", "/a.ttf", "font/ttf"},
      {"font", "", "/a", "font/woff2"},
      {"video", "", "/a.webm", "video/webm"},
      {"video", "", "/a", "video/mp4"},
      {"audio", "", "/a", "audio/mpeg"},
      {"iframe", "text/html", "/a", "text/html; charset=utf-8"},
      {"empty", "*/*", "/a", "text/plain; charset=utf-8"},
      {"something-new", "*/*", "/a", "text/plain; charset=utf-8"},
      {"", "image/avif,image/webp,*/*;q=0.8", "/a", "image/gif"},
      {"", "text/css,*/*;q=0.1", "/a", "text/css"},
      {"", "*/*", "/a.js", "text/javascript"},
      {"", "*/*", "/a.woff2", "font/woff2"},
      {"", "video/webm,*/*", "/a", "video/mp4"},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(std::string(row.fetchDestination) + " " + std::string(row.path));
    const std::string line = "GET http://example.com" + std::string(row.path) + " HTTP/1.1";
    message_.requestLine = line;
    message_.fetchDestination = row.fetchDestination;
    message_.accept = row.accept;
    const Refusal empty = refusal();
    EXPECT_EQ(empty.body, "");
    EXPECT_THAT(empty.headers, Contains(std::string("Content-Type: ") + row.type));
    EXPECT_THAT(empty.headers, Contains("Content-Length: 0"));
  }
}

TEST_F(RefusalTest, OfWhateverElseIsAskedForIsThePage) {
  constexpr Row kRows[] = {
      {"document", "*/*", "/a.png", ""}, {"", "*/*", "/", ""},   {"", "*/*", "", ""},
      {"", "text/html", "/a.png", ""},   {"", "", "/a.txt", ""}, {"", "application/xhtml+xml", "/a.css", ""}};
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.path);
    const std::string line = "GET http://example.com" + std::string(row.path) + " HTTP/1.1";
    message_.requestLine = line;
    message_.fetchDestination = row.fetchDestination;
    message_.accept = row.accept;
    EXPECT_NE(refusal().body, "");
  }
}

TEST(LanguagesOf, ComeInTheOrderOfTheirWeights) {
  EXPECT_THAT(languagesOf("de-AT, en;q=0.5, fr;q=0.9, *;q=0.1"), ElementsAre("de-AT", "fr", "en"));
  EXPECT_THAT(languagesOf("en;q=0, de;Q=0.3"), ElementsAre("de"));
  EXPECT_THAT(languagesOf("a b, ../etc, de;q=x"), IsEmpty());
  EXPECT_THAT(languagesOf(""), IsEmpty());
  std::string many;
  for (int i = 0; i < 1000; ++i) many += "de,";
  EXPECT_EQ(languagesOf(many).size(), 32U);
}

}  // namespace
}  // namespace sifterra::icap
