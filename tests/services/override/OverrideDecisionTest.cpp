#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <future>
#include <string>
#include <utility>

#include "OverrideFixture.h"

namespace sifterra::override_service {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class OverrideDecisionTest : public OverrideFixture {};

TEST_F(OverrideDecisionTest, ThePasswordOpensTheSiteAndSendsTheBrowserBack) {
  const Reply reply = _service.answer(allowing(token()));
  EXPECT_EQ(reply.status, 303);
  EXPECT_EQ(headerOf(reply, "Location"), kUrl);
  EXPECT_THAT(_folder.read("ann"), HasSubstr("<string>https://www.example.org/</string>"));
  EXPECT_THAT(_log, testing::ElementsAre("mother allowed https://www.example.org/ for ann"));
}

TEST_F(OverrideDecisionTest, ATokenOpensOnceAndThenOnlyLeadsOn) {
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

TEST_F(OverrideDecisionTest, TwoFormsWithOneTokenAtOnceOpenOnce) {
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

TEST_F(OverrideDecisionTest, WhoWaitsForHisTurnInVainIsToldToComeAgain) {
  const std::string both = token();
  Reply second;
  _administrator.meanwhile = [&] { second = _service.answer(allowing(both)); };
  EXPECT_EQ(_service.answer(allowing(both)).status, 303);
  EXPECT_EQ(second.status, 429);
  EXPECT_EQ(headerOf(second, "Retry-After"), "60");
  EXPECT_EQ(_waits.size(), 400u);
}

TEST_F(OverrideDecisionTest, AnotherUsersTokenAndAnOldOneOpenNothing) {
  _folder.write("ben", {"restrictWeb", "useContentFilter"});
  Request bens = allowing(token());
  bens.uid = kBen;
  EXPECT_EQ(_service.answer(bens).status, 400);
  const std::string old = token();
  _now += 10min;
  EXPECT_EQ(_service.answer(allowing(old)).status, 400);
  EXPECT_EQ(_administrator.asked, 0);
}

TEST_F(OverrideDecisionTest, ThePasswordIsTakenFromTheServicesOwnPageAlone) {
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

TEST_F(OverrideDecisionTest, WrongPasswordsAreSlowedDownAndThenLockedOut) {
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

TEST_F(OverrideDecisionTest, AFailureInTheMiddleLeavesNobodyBusy) {
  const std::string good = token();
  EXPECT_THROW((void)_service.answer(allowing(good, "mother", "no memory")), std::bad_alloc);
  EXPECT_EQ(_service.answer(allowing(good)).status, 303);
}

TEST_F(OverrideDecisionTest, WhoAsksDoesNotDecide) {
  EXPECT_EQ(_service.answer(allowing(token(), "ann", "secret")).status, 403);
  EXPECT_EQ(_administrator.asked, 0);
  _numberOfMother = kAnn;  // another name of the same account
  EXPECT_EQ(_service.answer(allowing(token())).status, 403);
  EXPECT_THAT(_folder.read("ann"), Not(HasSubstr("filterWhitelist")));
}

TEST_F(OverrideDecisionTest, AnAccountThatIsGoneMeanwhileOpensNothingAndNeitherDoesItsSuccessor) {
  const std::string good = token();
  _nameOfAnn.reset();
  EXPECT_EQ(_service.answer(allowing(good)).status, 403);
  _nameOfAnn = "carl";
  _folder.write("carl", {"restrictWeb", "useContentFilter"});
  EXPECT_EQ(_service.answer(allowing(good)).status, 400);
  EXPECT_EQ(_administrator.asked, 0);
}

TEST_F(OverrideDecisionTest, APolicyThatBrokeMeanwhileStaysAsItIs) {
  for (const char* broken : {"", "{", "<?xml version=\"1.0\"?><plist><dict><key>restrictWeb</key>"}) {
    SCOPED_TRACE(broken);
    _folder.write("ann", {"restrictWeb", "useContentFilter"});
    const std::string good = token();
    std::ofstream(_folder.fileOf("ann")) << broken;
    const Reply reply = _service.answer(allowing(good));
    EXPECT_EQ(reply.status, 500);
    EXPECT_THAT(reply.body, HasSubstr("Nothing was changed."));
    EXPECT_THAT(_log.back(), testing::StartsWith(
                                 "nothing can be opened for ann: " + _folder.fileOf("ann").string() + ": "));
    EXPECT_EQ(_folder.read("ann"), broken);
  }
}

TEST_F(OverrideDecisionTest, WhenTheListCannotBeWrittenNothingIsOpenAndTheReasonIsLogged) {
  const std::string good = token();
  _folder.write("ann", {"restrictWeb", "useContentFilter"}, "<key>filterWhitelist</key><true/>");
  EXPECT_EQ(_service.answer(allowing(good)).status, 500);
  EXPECT_THAT(_log.back(), HasSubstr("but: the list in the preference file is no list"));
}

}  // namespace
}  // namespace sifterra::override_service
