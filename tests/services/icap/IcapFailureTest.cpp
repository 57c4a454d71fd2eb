// What the service does when something is missing, broken or hostile.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "services/icap/IcapClient.h"
#include "services/icap/IcapServer.h"
#include "services/icap/compressed.h"
#include "services/icap/fixture.h"

namespace sifterra::icap {
namespace {

using testing::HasSubstr;

class IcapFailure : public testing::Test {
 protected:
  IcapServer& start(const std::string& settings = {}) {
    server_.reset();
    server_ = std::make_unique<IcapServer>(directory_, settings);
    return *server_;
  }
  IcapAnswer askAs(const std::string& user, const std::string& body = allowedPage()) {
    IcapQuestion question;
    question.body = body;
    question.preview = 32768;
    question.headers += "X-Client-Username: " + user + "\r\n";
    return IcapClient(server_->port()).ask(question);
  }

  TemporaryDirectory directory_;
  std::unique_ptr<IcapServer> server_;
};

TEST_F(IcapFailure, DoesNotStartWithAWrongUserMap) {
  const std::string map = directory_.write("users.map", "192.0.2.7 ann\nnonsense bob\n");
  start("sifterra.UserMap " + map + "\n");
  EXPECT_FALSE(server_->isRunning());
  EXPECT_EQ(server_->exitStatus(), 1);
  EXPECT_THAT(server_->output(),
              HasSubstr("sifterra: cannot start: " + map +
                        ":2: \"nonsense\" is no address; expected one like 192.0.2.7 or 2001:db8::7"));
}

// The library looks for its resources below the root before it looks where it was installed.
TEST_F(IcapFailure, DoesNotStartWithoutAMap) {
  const std::string resources = std::string(SIFTERRA_BUILD_RESOURCES).substr(1);
  directory_.write(resources + "/README", "no map here\n");
  start();
  EXPECT_FALSE(server_->isRunning());
  EXPECT_EQ(server_->exitStatus(), 1);
  EXPECT_THAT(server_->output(), HasSubstr("sifterra: cannot start: there is no map"));
  const std::string map = directory_.write(resources + "/content_filter_map3", "no map either\n");
  start();
  EXPECT_FALSE(server_->isRunning());
  EXPECT_EQ(server_->exitStatus(), 1);
  EXPECT_THAT(server_->output(), HasSubstr("sifterra: cannot start: the map " + map + " cannot be loaded"));
}

TEST_F(IcapFailure, DoesNotStartWithAWrongDirective) {
  const std::pair<const char*, const char*> rows[] = {
      {"sifterra.TextLimit 1\n", "sifterra.TextLimit: \"1\" is wrong; expected 1K to 16M"},
      {"sifterra.TextLimit 32M\n", "sifterra.TextLimit: \"32M\" is wrong; expected 1K to 16M"},
      {"sifterra.TextLimit 256KB\n", "sifterra.TextLimit: \"256KB\" is wrong; expected 1K to 16M"},
      {"sifterra.Budget soon\n", "sifterra.Budget: \"soon\" is wrong; expected milliseconds, 0 to 600000"},
      {"sifterra.BrokenPolicy maybe\n",
       "sifterra.BrokenPolicy: \"maybe\" is wrong; expected open, closed or content"},
      {"sifterra.UnknownUser\n", "sifterra.UnknownUser: expected one value"},
      {"sifterra.Undecodable content\n",
       "sifterra.Undecodable: \"content\" is wrong; expected open or closed"},
      {"sifterra.OverLimit x\n", "sifterra.OverLimit: \"x\" is wrong; expected open or closed"},
      {"sifterra.DefaultUser a/b\n", "sifterra.DefaultUser: \"a/b\" is wrong; expected a user's short name"},
      {"sifterra.UserEncoding utf8\n",
       "sifterra.UserEncoding: \"utf8\" is wrong; expected auto, plain or base64"},
      {"sifterra.Connect no\n", "sifterra.Connect: \"no\" is wrong; expected judge or pass"},
      {"sifterra.LogURL yes\n", "sifterra.LogURL: \"yes\" is wrong; expected on or off"},
      {"sifterra.LibraryLog loud\n",
       "sifterra.LibraryLog: \"loud\" is wrong; expected debug, info, default, error or off"},
  };
  for (const auto& [line, message] : rows) {
    SCOPED_TRACE(line);
    start(line);
    EXPECT_FALSE(server_->isRunning());
    EXPECT_THAT(server_->output(), HasSubstr(message));
  }
}

TEST_F(IcapFailure, KeepsTheLastGoodPolicyOfAUser) {
  directory_.writePolicy("ann", contentFilter());
  start();
  EXPECT_EQ(askAs("ann").status, 204);
  directory_.breakPolicy("ann");
  EXPECT_EQ(askAs("ann").status, 204);
  EXPECT_EQ(askAs("ann", refusedPage()).status, 200);
  EXPECT_TRUE(server_->waitForOutput("sifterra: the policy of user \"ann\" cannot be read ("));
  EXPECT_THAT(server_->output(), HasSubstr("; the one before stays in force"));
}

TEST_F(IcapFailure, RefusesEverythingForAPolicyThatNeverRead) {
  directory_.breakPolicy("ann");
  start();
  EXPECT_EQ(askAs("ann").status, 200);
  EXPECT_TRUE(server_->waitForAccessLog("evidence=102 reason=broken_policy"));
}

TEST_F(IcapFailure, AnswersForUnknownUsersAsConfigured) {
  start("sifterra.UnknownUser closed\n");
  EXPECT_EQ(askAs("nobody").status, 200);
  start("sifterra.UnknownUser open\n");
  EXPECT_EQ(askAs("nobody", refusedPage()).status, 204);
  start("sifterra.UnknownUser content\n");
  EXPECT_EQ(askAs("nobody").status, 204);
  EXPECT_EQ(askAs("nobody", refusedPage()).status, 200);
}

TEST_F(IcapFailure, AnswersForPagesBeyondTheBudgetAsConfigured) {
  start("sifterra.Budget 0\n");
  EXPECT_EQ(askAs("nobody").status, 200);
  EXPECT_TRUE(server_->waitForAccessLog("evidence=104 reason=over_limit score=\"out of time\""));
  start("sifterra.Budget 0\nsifterra.OverLimit open\n");
  EXPECT_EQ(askAs("nobody", refusedPage()).status, 204);
}

TEST_F(IcapFailure, OutlivesClientsThatGoAwayOrTalkNonsense) {
  start();
  IcapQuestion question;
  question.body = allowedPage();
  const std::string whole =
      IcapClient::opening(question) + IcapClient::chunked(*question.body, 500) + "0\r\n\r\n";
  for (std::size_t length = 0; length < whole.size(); length += 97) {
    IcapClient client(server_->port());
    client.send(std::string_view(whole).substr(0, length));
  }
  const std::string nonsense[] = {
      "GET / HTTP/1.1\r\n\r\n",
      "RESPMOD icap://127.0.0.1/sifterra ICAP/1.0\r\n\r\n",
      "RESPMOD icap://127.0.0.1/sifterra ICAP/1.0\r\nEncapsulated: res-body=0\r\n\r\n5\r\nhello\r\n0\r\n\r\n",
      "RESPMOD icap://127.0.0.1/sifterra ICAP/1.0\r\nAllow: 204\r\nEncapsulated: res-hdr=0, "
      "res-body=4\r\n\r\n\r\n\r\n"
      "5\r\nhello\r\n0\r\n\r\n",
      "REQMOD icap://127.0.0.1/sifterra ICAP/1.0\r\nAllow: 204\r\nEncapsulated: req-hdr=0, "
      "null-body=4\r\n\r\n\r\n\r\n",
      "REQMOD icap://127.0.0.1/sifterra ICAP/1.0\r\nEncapsulated: null-body=0\r\n\r\n",
      "RESPMOD icap://127.0.0.1/sifterra ICAP/1.0\r\nPreview: -5\r\nEncapsulated: res-hdr=0, "
      "null-body=4\r\n\r\n\r\n\r\n",
      "RESPMOD icap://127.0.0.1/sifterra ICAP/1.0\r\nPreview: 10\r\nEncapsulated: req-hdr=0, "
      "null-body=99999\r\n\r\nx\r\n\r\n",
      std::string(200000, 'A'),
      std::string("\0\xFF\r\n\r\n", 6),
  };
  for (const std::string& text : nonsense) {
    IcapClient client(server_->port());
    client.send(text);
    client.finishSending();
    static_cast<void>(client.receive());
  }
  const std::string bad[] = {"zz\r\nhello\r\n0\r\n\r\n", "-5\r\nhello\r\n", "ffffffffffffffff\r\nhello\r\n"};
  for (const std::string& chunk : bad) {
    IcapClient client(server_->port());
    client.send(IcapClient::opening(question) + chunk);
    client.finishSending();
    static_cast<void>(client.receive());
  }
  EXPECT_EQ(askAs("nobody").status, 204);
  EXPECT_THAT(server_->output(), testing::Not(HasSubstr("crash")));
}

TEST_F(IcapFailure, OutlivesFloodsOfHeaders) {
  start();
  for (const std::size_t count : {10UL, 1000UL, 100000UL}) {
    IcapQuestion question;
    question.body = refusedPage();
    for (std::size_t i = 0; i < count; ++i) question.response += "Content-Type: text/html\r\n";
    const IcapAnswer answer = IcapClient(server_->port()).ask(question);
    EXPECT_TRUE(answer.status == 200 || answer.status == 0 || answer.status >= 400) << answer.status;
  }
  EXPECT_EQ(askAs("nobody").status, 204);
}

TEST_F(IcapFailure, TakesOtherSettingsWhileItRuns) {
  start();
  EXPECT_EQ(askAs("nobody").status, 204);
  server_->reconfigure("sifterra.UnknownUser closed\n");
  EXPECT_TRUE(IcapServer::waitUntil([this] { return askAs("nobody").status == 200; }));
}

// A proxy that may not pass by the service refuses then, and the server can still be mended.
TEST_F(IcapFailure, AnswersWithAnErrorWhenTheNewSettingsAreWrong) {
  start();
  const std::string map = directory_.write("users.map", "nonsense ann\n");
  server_->reconfigure("sifterra.UserMap " + map + "\n");
  EXPECT_TRUE(IcapServer::waitUntil([this] { return askAs("nobody").status == 500; }));
  EXPECT_THAT(server_->output(), HasSubstr("sifterra: cannot start: " + map + ":1: "));
  server_->reconfigure("");
  EXPECT_TRUE(IcapServer::waitUntil([this] { return askAs("nobody").status == 204; }));
}

}  // namespace
}  // namespace sifterra::icap
