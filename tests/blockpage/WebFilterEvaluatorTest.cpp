// Tests of the streaming evaluator: which bytes come back when, in which state, with which page.
#include "sifterra/blockpage/WebFilterEvaluator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include "blockpage/EvaluatorFixture.h"
#include "kernelcontrol/RecordingControl.h"
#include "platform/Log.h"
#include "util/base64_helpers.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::Data;
using platform::LogLevel;
using platform::String;
using platform::URL;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr char16_t kAddress[] = u"http://site.example.com/page";
constexpr char kAdd[] = "-[WebFilterEvaluator addData:] -- ";
constexpr char kBlock[] = "-[WebFilterEvaluator blockPageForPageWithTitle:origURL:] -- ";

class WebFilterEvaluatorTest : public testing::Test {
 protected:
  void beUser(const char16_t* name) { fixture.users.currentUser = String(name); }
  static WebFilterEvaluator evaluatorFor(const char16_t* url = kAddress) {
    return WebFilterEvaluator(WebFilterResponse{urlFrom(url)});
  }
  static std::string add(WebFilterEvaluator& evaluator, std::string bytes) {
    const Data data = evaluator.addData(Data(std::move(bytes)));
    return data ? std::string(data.chars()) : "(null)";
  }
  static std::string complete(WebFilterEvaluator& evaluator) {
    const Data data = evaluator.dataComplete();
    return data ? std::string(data.chars()) : "(null)";
  }
  // The page that stands for a refused one of the current user.
  static std::string blockPage(const char16_t* url = kAddress) {
    WebFilterEvaluator evaluator = evaluatorFor(url);
    EXPECT_EQ(add(evaluator, pageOf(kAdult, 600)), "");
    std::string page = complete(evaluator);
    EXPECT_TRUE(evaluator.wasBlocked());
    return page;
  }

  EvaluatorFixture fixture;
  RecordingControl control;
};

// ---- Whether there is anything to filter

TEST_F(WebFilterEvaluatorTest, IsMadeForRestrictedUsersOnly) {
  struct Row {
    const char16_t* user;
    bool active;
  };
  constexpr Row kRows[] = {{u"free", false}, {u"filtered", true}, {u"strict", true},      {u"listed", true},
                           {u"shut", true},  {u"", false},        {u"../filtered", false}};
  for (const Row& row : kRows) {
    SCOPED_TRACE(String(row.user).toUTF8());
    beUser(row.user);
    const CapturedLog log;
    EXPECT_EQ(WebFilterIsActive(), row.active ? 1 : 0);
    EXPECT_EQ(WebFilterEvaluator::isManagedSession(), row.active);
    EXPECT_EQ(WebFilterEvaluator::createWithResponse({urlFrom(kAddress)}) != nullptr, row.active);
    EXPECT_TRUE(log.contains(
        LogLevel::Debug,
        std::string("_WebFilterIsActive -- _WebFilterIsActive returning: ") + (row.active ? "YES" : "NO")));
  }
}

TEST_F(WebFilterEvaluatorTest, WithoutACurrentUserNothingIsFiltered) {
  fixture.users.currentUser = nullptr;
  EXPECT_FALSE(WebFilterEvaluator::isManagedSession());
  EXPECT_EQ(WebFilterEvaluator::createWithResponse({urlFrom(kAddress)}), nullptr);
}

TEST_F(WebFilterEvaluatorTest, AnUnrestrictedUserDoesNotTouchTheKernelFilter) {
  beUser(u"free");
  EXPECT_EQ(WebFilterEvaluator::createWithResponse({urlFrom(kAddress)}), nullptr);
  EXPECT_THAT(control.calls, IsEmpty());
}

TEST_F(WebFilterEvaluatorTest, TheFirstOneTurnsOnHTTPSFilteringOnce) {
  EXPECT_NE(WebFilterEvaluator::createWithResponse({urlFrom(kAddress)}), nullptr);
  ASSERT_EQ(control.calls.size(), 5U);
  EXPECT_EQ(control.calls[3], "setsockopt 100 2 4 null 0");
  EXPECT_NE(WebFilterEvaluator::createWithResponse({urlFrom(kAddress)}), nullptr);
  EXPECT_EQ(control.calls.size(), 5U);
}

TEST_F(WebFilterEvaluatorTest, AFilterThatRefusesIsNotAskedAgain) {
  control.ioctlError = ENOENT;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  EXPECT_NE(WebFilterEvaluator::createWithResponse({urlFrom(kAddress)}), nullptr);
  EXPECT_NE(WebFilterEvaluator::createWithResponse({urlFrom(kAddress)}), nullptr);
  testing::internal::GetCapturedStdout();
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(control.calls.size(), 2U);
}

TEST_F(WebFilterEvaluatorTest, ForANamedUserTheKernelFilterIsLeftAlone) {
  beUser(u"free");
  EXPECT_EQ(WebFilterEvaluator::createWithResponse({urlFrom(kAddress)}, String(u"free")), nullptr);
  EXPECT_EQ(WebFilterEvaluator::createWithResponse({urlFrom(kAddress)}, nullptr), nullptr);
  const auto evaluator = WebFilterEvaluator::createWithResponse({urlFrom(kAddress)}, String(u"strict"));
  ASSERT_NE(evaluator, nullptr);
  EXPECT_THAT(control.calls, IsEmpty());
  EXPECT_EQ(evaluator->addData(Data(pageOf(kAdult, 600))).length(), 0U);
  EXPECT_THAT(std::string(evaluator->dataComplete().chars()), StartsWith("blockpage-nooverride|"));
}

// ---- States and bytes

TEST_F(WebFilterEvaluatorTest, BuffersUntilThereAre32768Bytes) {
  WebFilterEvaluator evaluator = evaluatorFor();
  EXPECT_EQ(evaluator.filterState(), 2);
  const std::string body = pageOf(kOrdinary, 32767);
  EXPECT_EQ(add(evaluator, body), "");
  EXPECT_EQ(evaluator.filterState(), WebFilterStateBuffering);
  EXPECT_EQ(complete(evaluator), body);
  EXPECT_EQ(evaluator.filterState(), 0);
  EXPECT_FALSE(evaluator.wasBlocked());
}

TEST_F(WebFilterEvaluatorTest, JudgesOnTheChunkThatReaches32768Bytes) {
  WebFilterEvaluator evaluator = evaluatorFor();
  const std::string body = pageOf(kOrdinary, 32768);
  EXPECT_EQ(add(evaluator, body.substr(0, 32767)), "");
  EXPECT_EQ(add(evaluator, body.substr(32767)), body);
  EXPECT_EQ(evaluator.filterState(), WebFilterStateAllowed);
}

TEST_F(WebFilterEvaluatorTest, HandsBackWhatLiesBeyondTheSampleToo) {
  WebFilterEvaluator evaluator = evaluatorFor();
  const std::string body = pageOf(kOrdinary, 40000);
  EXPECT_EQ(add(evaluator, body), body);
  EXPECT_EQ(evaluator.filterState(), WebFilterStateAllowed);
}

TEST_F(WebFilterEvaluatorTest, JudgesTheFirst32768BytesOnly) {
  const std::string label(kAdult);
  std::string within = pageOf(kOrdinary, 40000);
  within.replace(32768 - label.size(), label.size(), label);
  WebFilterEvaluator refusing = evaluatorFor();
  EXPECT_THAT(add(refusing, within), StartsWith("blockpage|"));
  std::string beyond = pageOf(kOrdinary, 40000);
  beyond.replace(32768, label.size(), label);
  WebFilterEvaluator allowing = evaluatorFor();
  EXPECT_EQ(add(allowing, beyond), beyond);
}

// Kept: cut in the middle of a character the sample is no UTF-8, and nothing is judged.
TEST_F(WebFilterEvaluatorTest, ASampleThatEndsInsideACharacterIsNotJudged) {
  std::string body = pageOf(kAdult, 32767) + "\xC3\xA9" + "more";
  WebFilterEvaluator evaluator = evaluatorFor();
  EXPECT_EQ(add(evaluator, body), body);
  WebFilterEvaluator whole = evaluatorFor();
  EXPECT_THAT(add(whole, pageOf(kAdult, 32766) + "\xC3\xA9" + "more"), StartsWith("blockpage|"));
}

TEST_F(WebFilterEvaluatorTest, AnEmptyBodyIsAllowedWithoutAJudgement) {
  WebFilterEvaluator evaluator = evaluatorFor();
  const CapturedLog log;
  const Data data = evaluator.dataComplete();
  EXPECT_FALSE(data.isNull());
  EXPECT_EQ(data.length(), 0U);
  EXPECT_EQ(evaluator.filterState(), WebFilterStateAllowed);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(WebFilterEvaluatorTest, EmptyChunksChangeNothing) {
  WebFilterEvaluator evaluator = evaluatorFor();
  EXPECT_EQ(add(evaluator, ""), "");
  EXPECT_EQ(evaluator.filterState(), WebFilterStateBuffering);
  EXPECT_EQ(add(evaluator, "x"), "");
  EXPECT_EQ(add(evaluator, ""), "");
  EXPECT_EQ(complete(evaluator), "x");
}

TEST_F(WebFilterEvaluatorTest, ARefusedBodyIsDiscarded) {
  WebFilterEvaluator evaluator = evaluatorFor();
  const std::string page = add(evaluator, pageOf(kAdult, 40000));
  EXPECT_THAT(page, StartsWith("blockpage|"));
  EXPECT_EQ(evaluator.filterState(), 1);
  EXPECT_TRUE(evaluator.wasBlocked());
  // Kept: what is completed once more has nothing left to judge, and is allowed.
  EXPECT_EQ(complete(evaluator), "");
  EXPECT_EQ(evaluator.filterState(), WebFilterStateAllowed);
}

TEST_F(WebFilterEvaluatorTest, AfterARefusalMoreDataIsBufferedButTheStateStays) {
  WebFilterEvaluator evaluator = evaluatorFor();
  EXPECT_THAT(add(evaluator, pageOf(kAdult, 32768)), StartsWith("blockpage|"));
  EXPECT_EQ(add(evaluator, "rest"), "");
  EXPECT_TRUE(evaluator.wasBlocked());
  EXPECT_EQ(complete(evaluator), "rest");
  EXPECT_FALSE(evaluator.wasBlocked());
}

// Kept: clients must stop; those that do not get everything again.
TEST_F(WebFilterEvaluatorTest, AfterAVerdictToAllowEverythingIsJudgedAndHandedBackAgain) {
  WebFilterEvaluator evaluator = evaluatorFor();
  const std::string body = pageOf(kOrdinary, 32768);
  EXPECT_EQ(add(evaluator, body), body);
  const CapturedLog log;
  EXPECT_EQ(add(evaluator, "more"), body + "more");
  EXPECT_EQ(complete(evaluator), body + "more");
  EXPECT_THAT(log.texts(), Contains(std::string(kAdd) + "News is not blocked").Times(2));

  WebFilterEvaluator little = evaluatorFor();
  EXPECT_EQ(add(little, "a"), "");
  EXPECT_EQ(complete(little), "a");
  EXPECT_EQ(add(little, "b"), "");  // fewer than the sample: held back again
  EXPECT_EQ(little.filterState(), WebFilterStateAllowed);
  EXPECT_EQ(complete(little), "ab");
}

TEST_F(WebFilterEvaluatorTest, BytesHandedBackStayAsTheyAre) {
  WebFilterEvaluator evaluator = evaluatorFor();
  const std::string body = pageOf(kOrdinary, 32768);
  const Data first = evaluator.addData(Data(body));
  const Data second = evaluator.addData(Data(std::string("more")));
  EXPECT_EQ(first.chars(), body);
  EXPECT_EQ(second.chars(), body + "more");
}

TEST_F(WebFilterEvaluatorTest, AnUnsupportedSchemeIsNotRefused) {
  WebFilterEvaluator evaluator = evaluatorFor(u"ftp://site.example.com/");
  const std::string body = pageOf(kAdult, 600);
  EXPECT_EQ(add(evaluator, body), "");
  EXPECT_EQ(complete(evaluator), body);
  WebFilterEvaluator without{WebFilterResponse{nullptr}};
  EXPECT_EQ(add(without, body), "");
  EXPECT_EQ(complete(without), body);
}

TEST_F(WebFilterEvaluatorTest, ListsAreAskedForTheCurrentUser) {
  beUser(u"listed");
  const std::string body = pageOf(kOrdinary, 600);
  WebFilterEvaluator other = evaluatorFor();
  EXPECT_EQ(add(other, body), "");
  EXPECT_THAT(complete(other), StartsWith("blockpage-wl|"));
  WebFilterEvaluator listed = evaluatorFor(u"http://allowed.example.com/page");
  EXPECT_EQ(add(listed, body), "");
  EXPECT_EQ(complete(listed), body);
}

TEST_F(WebFilterEvaluatorTest, TellsTheVerdictInTheLog) {
  const CapturedLog log;
  blockPage();
  EXPECT_TRUE(log.contains(LogLevel::Info, std::string(kAdd) +
                                               "'Caf\xC3\xA9' <http://site.example.com/page> is "
                                               "restricted: SELF-RESTRICTED"))
      << testing::PrintToString(log.texts());
  WebFilterEvaluator untitled = evaluatorFor();
  EXPECT_EQ(add(untitled, "x"), "");
  EXPECT_EQ(complete(untitled), "x");
  EXPECT_TRUE(log.contains(LogLevel::Info, std::string(kAdd) + "(null) is not blocked"));
}

// ---- The block page

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

// ---- Cost

TEST_F(WebFilterEvaluatorTest, TenThousandAtOnceHoldTheirBodiesAndLittleMore) {
  constexpr std::size_t kEvaluators = 10000;
  constexpr std::size_t kChunk = 1000;
  std::vector<std::shared_ptr<WebFilterEvaluator>> evaluators;
  const std::string body = pageOf(kOrdinary, 3 * kChunk);
  evaluators.reserve(kEvaluators);
  for (std::size_t i = 0; i < kEvaluators; ++i)
    evaluators.push_back(WebFilterEvaluator::createWithResponse({urlFrom(kAddress)}));
  const auto before = ::mallinfo2().uordblks;
  for (std::size_t offset = 0; offset < body.size(); offset += kChunk) {
    for (const auto& evaluator : evaluators) EXPECT_EQ(add(*evaluator, body.substr(offset, kChunk)), "");
  }
  const auto after = ::mallinfo2().uordblks;
  // Below the sample's size a buffer may hold as much again as the body.
  EXPECT_LT(after - before, kEvaluators * (2 * body.size() + 100));
  EXPECT_EQ(complete(*evaluators.front()), body);
  for (const auto& evaluator : evaluators) {
    EXPECT_EQ(evaluator == evaluators.front() ? WebFilterStateAllowed : WebFilterStateBuffering,
              evaluator->filterState());
  }
}

TEST_F(WebFilterEvaluatorTest, ALargeBodyIsHeldOnce) {
  constexpr std::size_t kBytes = std::size_t{64} << 20;
  WebFilterEvaluator evaluator = evaluatorFor();
  const auto before = ::mallinfo2();
  Data handedBack;
  {
    const Data body(pageOf(kOrdinary, kBytes));
    handedBack = evaluator.addData(body);
  }
  const auto after = ::mallinfo2();
  EXPECT_EQ(handedBack.length(), kBytes);
  const std::size_t held = after.uordblks + after.hblkhd - before.uordblks - before.hblkhd;
  EXPECT_LT(held, kBytes + (std::size_t{4} << 20));
}

}  // namespace
}  // namespace sifterra
