// Tests of the streaming evaluator: when it is made, which bytes come back when, and in which state.
#include "sifterra/blockpage/WebFilterEvaluator.h"

#include "blockpage/EvaluatorTest.h"
#include "platform/Log.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::Data;
using platform::LogLevel;
using platform::String;
using testing::Contains;
using testing::IsEmpty;
using testing::StartsWith;

constexpr char kAdd[] = "-[WebFilterEvaluator addData:] -- ";

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

// Kept: broken preferences restrict as little as absent ones.
TEST_F(WebFilterEvaluatorTest, BrokenPreferencesFilterNothing) {
  for (const char* bytes :
       {"", "no list", "<?xml version=\"1.0\"?><plist version=\"1.0\"><array/></plist>"}) {
    SCOPED_TRACE(bytes);
    fixture.preferences.write("broken", bytes);
    beUser(u"broken");
    EXPECT_FALSE(WebFilterEvaluator::isManagedSession());
    EXPECT_EQ(WebFilterEvaluator::createWithResponse({urlFrom(kAddress)}), nullptr);
  }
  EXPECT_THAT(control.calls, IsEmpty());
}

// The preferences count that are there when the body is judged.
TEST_F(WebFilterEvaluatorTest, PreferencesThatBreakMeanwhileAllow) {
  WebFilterEvaluator evaluator = evaluatorFor();
  const std::string body = pageOf(kAdult, 600);
  EXPECT_EQ(add(evaluator, body), "");
  fixture.preferences.write("filtered", "no list");
  EXPECT_EQ(complete(evaluator), body);
  EXPECT_EQ(evaluator.filterState(), WebFilterStateAllowed);
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

}  // namespace
}  // namespace sifterra
