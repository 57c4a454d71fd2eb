#include "services/icap/TransactionFixture.h"

#include <gmock/gmock.h>

#include "services/icap/compressed.h"

namespace sifterra::icap {
namespace {

using Step = Transaction::Step;
using testing::HasSubstr;

class TransactionTest : public TransactionFixture {};

TEST_F(TransactionTest, JudgesAPageByItsContent) {
  EXPECT_EQ(send(allowedPage()).step(), Step::Pass);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::Classified);
  EXPECT_EQ(send(refusedPage()).step(), Step::Refuse);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::Classified);
  EXPECT_THAT(transaction_->refusal().body, HasSubstr("http://example.com/page"));
  EXPECT_EQ(count(Count::Judged), 2U);
  EXPECT_EQ(count(Count::BodyBytes), allowedPage().size() + refusedPage().size());
  EXPECT_EQ(count(Count::JudgedBytes), count(Count::BodyBytes));
}

TEST_F(TransactionTest, AnswersAsConfiguredWhatTakesTooLong) {
  settings_.budget = std::chrono::milliseconds(0);
  EXPECT_EQ(send(allowedPage()).step(), Step::Refuse);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::OverLimit);
  service_.reset();
  settings_.overLimit = Answer::Open;
  EXPECT_EQ(send(refusedPage()).step(), Step::Pass);
}

TEST_F(TransactionTest, JudgesTheBeginningUpToTheLimit) {
  settings_.textLimit = 65536;
  const std::string before = refusedPage() + std::string(60000, ' ') + allowedPage();
  EXPECT_EQ(send(before).step(), Step::Refuse);
  EXPECT_EQ(send(std::string(70000, ' ') + refusedPage()).step(), Step::Pass);
  service_.reset();
  settings_.textLimit = 131072;
  EXPECT_EQ(send(std::string(70000, ' ') + refusedPage()).step(), Step::Refuse);
}

// So that a limit within the preview asks for no more than the preview.
TEST_F(TransactionTest, DecidesAsSoonAsTheLimitIsReached) {
  settings_.textLimit = 4096;
  const std::string page = allowedPage() + std::string(10000, ' ');
  begin().add(std::string_view(page).substr(0, 4095), false);
  EXPECT_EQ(transaction_->step(), Step::More);
  transaction_->add(std::string_view(page).substr(4095, 1), false);
  EXPECT_EQ(transaction_->step(), Step::Pass);
  EXPECT_EQ(count(Count::JudgedBytes), 4095U);
  begin().add(std::string_view(page).substr(0, 4096), true);
  EXPECT_EQ(count(Count::JudgedBytes), 4095U + 4096U);
}

TEST_F(TransactionTest, DecidesByTheAddressBeforeTheBody) {
  directory_.writePolicy("lists", contentFilter("http://good.example/", "http://bad.example/"));
  message_.clientUsername = "lists";
  message_.requestLine = "GET http://bad.example/a HTTP/1.1";
  EXPECT_EQ(begin().step(), Step::Refuse);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::Listed);
  message_.requestLine = "GET http://good.example/a HTTP/1.1";
  EXPECT_EQ(begin().step(), Step::Pass);
  message_.requestLine = "GET http://other.example/a HTTP/1.1";
  EXPECT_EQ(begin().step(), Step::More);
  message_.kind = HttpMessage::Kind::Request;
  EXPECT_EQ(begin().step(), Step::Pass);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::LeftToResponse);
}

TEST_F(TransactionTest, JudgesATunnelByItsHost) {
  directory_.writePolicy("tunnel", contentFilter({}, "https://bad.example/"));
  directory_.writePolicy("onlylisted",
                         "<key>restrictWeb</key><true/><key>whitelistEnabled</key><true/>"
                         "<key>siteWhitelist</key><array><dict><key>address</key>"
                         "<string>https://good.example</string></dict></array>");
  directory_.writePolicy("secure",
                         contentFilter({}, "https://bad.example/") + "<key>alwaysAllowHTTPS</key><true/>");
  message_.kind = HttpMessage::Kind::Request;
  message_.hasBody = false;
  const auto stepOf = [&](std::string_view user, std::string_view line) {
    message_.clientUsername = user;
    message_.requestLine = line;
    return begin().step();
  };
  EXPECT_EQ(stepOf("tunnel", "CONNECT bad.example:443 HTTP/1.1"), Step::Refuse);
  EXPECT_EQ(stepOf("tunnel", "CONNECT other.example:443 HTTP/1.1"), Step::Pass);
  EXPECT_EQ(stepOf("onlylisted", "CONNECT good.example:443 HTTP/1.1"), Step::Pass);
  EXPECT_EQ(stepOf("onlylisted", "CONNECT other.example:443 HTTP/1.1"), Step::Refuse);
  EXPECT_EQ(stepOf("onlylisted", "GET http://other.example/ HTTP/1.1"), Step::Refuse);
  EXPECT_EQ(stepOf("secure", "CONNECT bad.example:443 HTTP/1.1"), Step::Pass);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::AlwaysAllowHTTPS);
  EXPECT_EQ(stepOf("secure", "GET http://bad.example/ HTTP/1.1"), Step::Refuse);
  service_.reset();
  settings_.judgeConnect = false;
  EXPECT_EQ(stepOf("tunnel", "CONNECT bad.example:443 HTTP/1.1"), Step::Pass);
}

TEST_F(TransactionTest, FindsTheUser) {
  directory_.writePolicy("strict", contentFilter({}, "http://example.com/"));
  settings_.userMapPath = directory_.write("users.map", "192.0.2.7 strict\n");
  message_.clientUsername = "EXAMPLE\\strict";
  EXPECT_EQ(begin().step(), Step::Refuse);
  message_.clientUsername = "a/b";
  message_.authenticatedUser = "LDAP://ldap.example.com/uid=strict,ou=people";
  EXPECT_EQ(begin().step(), Step::Refuse);
  message_.authenticatedUser = "";
  message_.clientAddress = "192.0.2.7";
  EXPECT_EQ(begin().step(), Step::Refuse);
  message_.clientAddress = "192.0.2.8";
  EXPECT_EQ(begin().step(), Step::More);
  service_.reset();
  settings_.defaultUser = "strict";
  EXPECT_EQ(begin().step(), Step::Refuse);
}

TEST_F(TransactionTest, AnswersAsConfiguredForUnknownUsersAndBrokenPolicies) {
  directory_.breakPolicy("brokenone");
  message_.clientUsername = "brokenone";
  EXPECT_EQ(begin().step(), Step::Refuse);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::BrokenPolicy);
  EXPECT_THAT(transaction_->refusal().body, HasSubstr("http://example.com/page"));
  message_.clientUsername = "nofile";
  EXPECT_EQ(begin().step(), Step::More);
  EXPECT_EQ(send(refusedPage()).step(), Step::Refuse);

  service_.reset();
  settings_.brokenPolicy = Answer::Content;
  settings_.unknownUser = Answer::Closed;
  EXPECT_EQ(begin().step(), Step::Refuse);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::UnknownUser);
  message_.clientUsername = "brokenone";
  EXPECT_EQ(send(refusedPage()).step(), Step::Refuse);
  EXPECT_EQ(send(allowedPage()).step(), Step::Pass);

  service_.reset();
  settings_.brokenPolicy = Answer::Open;
  settings_.unknownUser = Answer::Open;
  EXPECT_EQ(begin().step(), Step::Pass);
  message_.clientUsername = "";
  EXPECT_EQ(begin().step(), Step::Pass);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::UnknownUser);
}

TEST_F(TransactionTest, GivesTheBodyBackAsItCame) {
  settings_.textLimit = 8192;
  std::string body = allowedPage();
  while (body.size() < 300000) body += "and so on. ";
  for (const bool compressed : {false, true}) {
    SCOPED_TRACE(compressed);
    const std::string sent = compressed ? gzipped(body) : body;
    message_.contentEncodings.clear();
    if (compressed) message_.contentEncodings = {"gzip"};
    Transaction& transaction = begin();
    std::string received;
    char buffer[1000];
    const auto drain = [&] {
      for (std::size_t got; (got = transaction.takeOutput(buffer, sizeof buffer)) > 0;)
        received.append(buffer, got);
    };
    for (std::string_view rest = sent; !rest.empty();) {
      const std::string_view part = rest.substr(0, 700);
      if (transaction.step() == Step::More) {
        transaction.add(part, part.size() == rest.size());
        rest.remove_prefix(part.size());
      } else {
        const std::size_t taken = transaction.relay(part);
        rest.remove_prefix(taken);
        if (taken == 0) drain();
      }
    }
    EXPECT_EQ(transaction.step(), Step::Pass);
    drain();
    EXPECT_TRUE(received == sent);
  }
}

TEST_F(TransactionTest, WritesALineForTheLogWithoutTheAddress) {
  message_.clientUsername = "log \"man\"";
  send(allowedPage());
  const std::string line = transaction_->logLine();
  EXPECT_THAT(line, testing::StartsWith(
                        "user=\"log ?man?\" verdict=allowed evidence=0 reason=classified score=\"[ 1:"));
  EXPECT_THAT(line, testing::Not(HasSubstr("example.com")));
  service_.reset();
  settings_.logURL = true;
  message_.clientUsername = "";
  send(refusedPage());
  EXPECT_THAT(transaction_->logLine(),
              testing::StartsWith("user=- verdict=refused evidence=0 reason=classified score="));
  EXPECT_THAT(transaction_->logLine(), testing::EndsWith(" url=\"http://example.com/page\""));
}

TEST_F(TransactionTest, KeepsWhatTerminalsObeyOutOfTheLog) {
  settings_.logURL = true;
  message_.clientUsername =
      "a\xC2\x9B"
      "31mb";  // no name at all
  send(refusedPage());
  EXPECT_THAT(transaction_->logLine(), testing::StartsWith("user=- "));
  message_.clientUsername =
      "a\xE2\x80\xAE"
      "b\xE2\x80\xA8"
      "c\xC3\xA4";
  send(refusedPage());
  EXPECT_THAT(transaction_->logLine(), testing::StartsWith("user=\"a?b?c\xC3\xA4\" "));
}

TEST_F(TransactionTest, KeepsThePolicyOfANameInAnotherCase) {
  directory_.writePolicy("casey", contentFilter({}, "http://example.com/"));
  message_.clientUsername = "EXAMPLE\\Casey";
  EXPECT_EQ(begin().step(), Step::Refuse);
  EXPECT_THAT(transaction_->logLine(), testing::StartsWith("user=\"casey\" verdict=refused"));
}

TEST_F(TransactionTest, LeavesWhatHasNoBody) {
  message_.hasBody = false;
  EXPECT_EQ(begin().step(), Step::Pass);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::NoPage);
}

}  // namespace
}  // namespace sifterra::icap
