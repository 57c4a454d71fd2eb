// Tests of the page that the evaluator hands back in place of a refused one.

#include <vector>

#include "blockpage/EvaluatorTest.h"
#include "platform/Log.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::Data;
using platform::LogLevel;
using platform::String;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char kBlock[] = "-[WebFilterEvaluator blockPageForPageWithTitle:origURL:] -- ";

TEST_F(WebFilterEvaluatorTest, TheBlockPageCarriesAddressAndTitleForTheOverride) {
  const CapturedLog log;
  EXPECT_EQ(blockPage(),
            "blockpage|http://site.example.com/page"
            "|http://127.0.0.1:10011/webcontentfilter.override.local"
            "|aHR0cDovL3NpdGUuZXhhbXBsZS5jb20vcGFnZQ==|Q2Fmw6k=|ALLOWED_LIST_OF_WEBSITES_NO_LOC|");
  EXPECT_TRUE(log.contains(LogLevel::Info, std::string(kBlock) + "Got settings for <private>"));
  EXPECT_TRUE(log.contains(LogLevel::Info, std::string(kBlock) + "Creating overrides allowed blockPage for "
                                                                 "http://site.example.com/page"));
}

TEST_F(WebFilterEvaluatorTest, WithoutATitleItsFieldIsEmpty) {
  const Data page = evaluatorFor().blockPageForPageWithTitle(nullptr, urlFrom(kAddress));
  EXPECT_THAT(std::string(page.chars()), HasSubstr("|aHR0cDovL3NpdGUuZXhhbXBsZS5jb20vcGFnZQ==||"));
  const Data titled = evaluatorFor().blockPageForPageWithTitle(String(u""), urlFrom(kAddress));
  EXPECT_EQ(titled.chars(), page.chars());
}

TEST_F(WebFilterEvaluatorTest, AnAllowListUserGetsTheSites) {
  beUser(u"listed");
  const CapturedLog log;
  const std::string page = blockPage();
  EXPECT_THAT(page, StartsWith("blockpage-wl|"));
  EXPECT_THAT(page, HasSubstr("allowed.example.com"));
  EXPECT_TRUE(log.contains(LogLevel::Info,
                           std::string(kBlock) + "Added whitelist sites: (http://allowed.example.com/)"));
}

TEST_F(WebFilterEvaluatorTest, TheLogTellsOneStepAfterTheOther) {
  beUser(u"listed");
  const CapturedLog log;
  blockPage();
  std::vector<std::string> lines;
  for (const std::string& line : log.texts()) {
    if (line.find("WebFilterEvaluator") != std::string::npos) lines.push_back(line);
  }
  EXPECT_THAT(
      lines,
      testing::ElementsAre(
          StartsWith("-[WebFilterEvaluator addData:] -- 'Caf\xC3\xA9' <http://site.example.com/page> is "
                     "restricted: "),
          std::string(kBlock) + "Got settings for <private>",
          std::string(kBlock) + "Creating overrides allowed blockPage for http://site.example.com/page",
          std::string(kBlock) + "Added whitelist sites: (http://allowed.example.com/)"));
}

TEST_F(WebFilterEvaluatorTest, WithoutOverridesThePageIsTheSameInEveryMode) {
  for (const char16_t* user : {u"strict", u"shut"}) {
    SCOPED_TRACE(String(user).toUTF8());
    beUser(user);
    const CapturedLog log;
    const std::string page = blockPage();
    EXPECT_THAT(page, StartsWith("blockpage-nooverride|"));
    EXPECT_THAT(page, Not(HasSubstr("allowed.example.com")));
    EXPECT_TRUE(log.contains(LogLevel::Info, std::string(kBlock) + "Creating no override blockPage for "
                                                                   "http://site.example.com/page"));
  }
}

TEST_F(WebFilterEvaluatorTest, NetworkAccountsHaveAPageOfTheirOwn) {
  struct Row {
    platform::UserRecord record;
    const char* page;
  };
  constexpr Row kRows[] = {{{false, false}, "blockpage|"},
                           {{true, false}, "blockpage-net|"},
                           {{false, true}, "blockpage-net|"},
                           {{true, true}, "blockpage-net|"}};
  for (const Row& row : kRows) {
    fixture.users.records["filtered"] = row.record;
    EXPECT_THAT(blockPage(), StartsWith(row.page));
  }
  fixture.users.records["listed"] = {true, true};
  beUser(u"listed");
  EXPECT_THAT(blockPage(), StartsWith("blockpage-net-wl|"));
}

TEST_F(WebFilterEvaluatorTest, WithoutATemplateTheErrorPageStandsThere) {
  fixture.removeTemplates();
  EXPECT_EQ(
      blockPage(),
      "<html> <head><title>Error composing block page</title></head> <body>Error composing block page</body> "
      "</html>");
}

TEST_F(WebFilterEvaluatorTest, WithoutAUserThereIsNoBlockPage) {
  WebFilterEvaluator evaluator = evaluatorFor();
  fixture.users.currentUser = nullptr;
  const CapturedLog log;
  EXPECT_EQ(add(evaluator, pageOf(kAdult, 600)), "");
  EXPECT_EQ(complete(evaluator), "(null)");
  EXPECT_TRUE(evaluator.wasBlocked());
  EXPECT_TRUE(log.contains(LogLevel::Info, std::string(kBlock) + "Returning NULL! Is this an error??"));
}

TEST_F(WebFilterEvaluatorTest, OfALongListTheLogTellsTheFirstHundredSites) {
  std::string sites;
  for (int i = 0; i < 101; ++i)
    sites += "<dict><key>address</key><string>http://" + std::to_string(i) + ".example/</string></dict>";
  const std::string mode = xmlSwitch("restrictWeb", true) + xmlSwitch("whitelistEnabled", true);
  fixture.preferences.writeKeys("long", mode + "<key>siteWhitelist</key><array>" + sites + "</array>");
  beUser(u"long");
  const CapturedLog log;
  EXPECT_THAT(blockPage(), HasSubstr("http://100.example/"));
  EXPECT_THAT(log.texts(),
              testing::Contains(testing::AllOf(
                  StartsWith(std::string(kBlock) + "Added whitelist sites: (http://0.example/, "),
                  testing::EndsWith(", http://99.example/, ...)"))));
}

TEST_F(WebFilterEvaluatorTest, AListThatIsNoneMakesABlockPageAllTheSame) {
  const std::string mode = xmlSwitch("restrictWeb", true) + xmlSwitch("whitelistEnabled", true);
  for (const char* value : {"<string>x</string>", "<dict/>", "<array><string>x</string><dict/></array>"}) {
    SCOPED_TRACE(value);
    fixture.preferences.writeKeys("odd", mode + "<key>siteWhitelist</key>" + value);
    beUser(u"odd");
    EXPECT_THAT(blockPage(), StartsWith("blockpage-wl|http://site.example.com/page|"));
  }
}

TEST_F(WebFilterEvaluatorTest, WithoutAnAddressThereIsABlockPage) {
  const Data page = evaluatorFor().blockPageForPageWithTitle(String(u"a"), nullptr);
  EXPECT_THAT(std::string(page.chars()), StartsWith("blockpage|"));
  EXPECT_THAT(std::string(page.chars()), HasSubstr("/webcontentfilter.override.local||YQ==|"));
}

// Such a title has no UTF-8 form that base64 could spell.
TEST_F(WebFilterEvaluatorTest, ATitleThatIsNoTextLeavesItsFieldEmpty) {
  const String lone(std::u16string(1, static_cast<char16_t>(0xD800)));
  const Data page = evaluatorFor().blockPageForPageWithTitle(lone, urlFrom(kAddress));
  EXPECT_THAT(std::string(page.chars()), HasSubstr("|aHR0cDovL3NpdGUuZXhhbXBsZS5jb20vcGFnZQ==||"));
}

}  // namespace
}  // namespace sifterra
