#include "Transaction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "services/icap/compressed.h"
#include "services/icap/fixture.h"
#include "sifterra/sifterra.h"

namespace sifterra::icap {
namespace {

using Step = Transaction::Step;
using testing::HasSubstr;
using namespace std::string_literals;

class TransactionTest : public testing::Test {
 protected:
  TransactionTest() {
    WFSetLogLevel(WFLogLevelOff);
    settings_.root = directory_.path();
    message_.requestLine = "GET http://example.com/page HTTP/1.1";
    message_.hasBody = true;
    message_.contentTypes = {"text/html; charset=utf-8"};
  }
  ~TransactionTest() override { WFSetFileSystemRoot(""); }

  Transaction& begin() {
    if (!service_) {
      service_ = std::make_unique<Service>(settings_, &counters_, [](const std::string&) {});
      EXPECT_EQ(service_->start(), "");
    }
    transaction_ = std::make_unique<Transaction>(*service_);
    transaction_->begin(message_);
    return *transaction_;
  }

  // What becomes of a body that arrives in pieces.
  Transaction& send(std::string_view body, std::size_t step = 4096) {
    Transaction& transaction = begin();
    while (transaction.step() == Step::More && !body.empty()) {
      transaction.add(body.substr(0, step), false);
      body.remove_prefix(std::min(step, body.size()));
    }
    if (transaction.step() == Step::More) transaction.add({}, true);
    return transaction;
  }

  std::uint64_t count(Count counter) const { return counters_.at(static_cast<std::size_t>(counter)); }

  TemporaryDirectory directory_;
  Settings settings_;
  HttpMessage message_;
  Counters counters_;
  std::unique_ptr<Service> service_;
  std::unique_ptr<Transaction> transaction_;
};

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

TEST_F(TransactionTest, UndoesContentCodings) {
  struct Row {
    const char* coding;
    std::string body;
  };
  const Row rows[] = {
      {"gzip", gzipped(refusedPage())},         {"deflate", zlibDeflated(refusedPage())},
      {"deflate", bareDeflated(refusedPage())}, {"br", brotliCompressed(refusedPage())},
      {"zstd", zstdCompressed(refusedPage())},  {"gzip, br", brotliCompressed(gzipped(refusedPage()))}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.coding);
    message_.contentEncodings = {row.coding};
    EXPECT_EQ(send(row.body, 100).step(), Step::Refuse);
    EXPECT_EQ(transaction_->verdict().reason, Verdict::Classified);
  }
  message_.contentEncodings = {"gzip", "br"};
  EXPECT_EQ(send(brotliCompressed(gzipped(refusedPage()))).step(), Step::Refuse);
}

TEST_F(TransactionTest, AnswersAsConfiguredWhatItCannotRead) {
  message_.contentEncodings = {"compress"};
  EXPECT_EQ(begin().step(), Step::Refuse);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::Undecodable);
  message_.contentEncodings = {"gzip"};
  EXPECT_EQ(send(allowedPage()).step(), Step::Refuse);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::Undecodable);
  EXPECT_EQ(count(Count::DecodeFailures), 2U);
  // What is no page is no matter.
  message_.contentTypes = {"image/png"};
  EXPECT_EQ(send("no gzip").step(), Step::Pass);
  message_.contentEncodings = {"compress"};
  EXPECT_EQ(begin().step(), Step::Pass);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::NoPage);

  service_.reset();
  settings_.undecodable = Answer::Open;
  message_.contentTypes = {"text/html"};
  EXPECT_EQ(begin().step(), Step::Pass);
  message_.contentEncodings = {"gzip"};
  EXPECT_EQ(send(refusedPage()).step(), Step::Pass);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::Undecodable);
}

TEST_F(TransactionTest, JudgesWhatCanBeReadOfABrokenBody) {
  std::string body = gzipped(refusedPage() + std::string(100000, '.'));
  body.resize(body.size() - 40);
  message_.contentEncodings = {"gzip"};
  EXPECT_EQ(send(body + std::string(100, '\xFF')).step(), Step::Refuse);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::Classified);
}

TEST_F(TransactionTest, JudgesABombByWhatFits) {
  message_.contentEncodings = {"gzip"};
  EXPECT_EQ(send(gzipped(refusedPage() + std::string(50000000, ' '))).step(), Step::Refuse);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::Classified);
  EXPECT_EQ(send(gzipped(allowedPage() + std::string(50000000, ' '))).step(), Step::Pass);
  EXPECT_LE(count(Count::JudgedBytes), 2 * settings_.textLimit);
}

TEST_F(TransactionTest, AnswersAsConfiguredWhatGrowsWithoutText) {
  const std::size_t length = 4 * settings_.textLimit;
  const auto grown = [&](std::string body, const std::string& more) {
    while (body.size() < length) body += more;
    return body;
  };
  const std::pair<const char*, std::string> rows[] = {
      {"gzip", grown("", gzipped(""))},
      {"gzip", grown("\x1F\x8B\x08\x08\0\0\0\0\0\x03"s, "a name without end")},
      {"deflate", grown("", "\0\0\0\xFF\xFF"s)},
      {"zstd", grown("", "\x50\x2A\x4D\x18\x04\0\0\0skip"s)},
  };
  for (const auto& [coding, body] : rows) {
    SCOPED_TRACE(coding);
    message_.contentEncodings = {coding};
    for (const bool named : {true, false}) {
      SCOPED_TRACE(named);
      message_.contentTypes.clear();
      if (named) message_.contentTypes = {"text/html"};
      service_.reset();
      settings_.overLimit = Answer::Closed;
      EXPECT_EQ(send(body).step(), Step::Refuse);
      EXPECT_EQ(transaction_->verdict().reason, Verdict::OverLimit);
      service_.reset();
      settings_.overLimit = Answer::Open;
      EXPECT_EQ(send(body).step(), Step::Pass);
      EXPECT_EQ(transaction_->verdict().reason, Verdict::OverLimit);
    }
  }
}

// What is no page streams on: not more of it is held than of a page.
TEST_F(TransactionTest, HoldsNoMoreOfWhatIsNoPageThanOfAPage) {
  std::string empties;
  while (empties.size() < 4 * settings_.textLimit) empties += gzipped("");
  message_.contentEncodings = {"gzip"};
  message_.contentTypes = {"image/png"};
  Transaction& transaction = begin();
  std::size_t held = 0;
  for (; transaction.step() == Step::More && held < empties.size(); held += 4096)
    transaction.add(std::string_view(empties).substr(held, 4096), false);
  EXPECT_EQ(transaction.step(), Step::Pass);
  EXPECT_EQ(transaction.verdict().reason, Verdict::NoPage);
  EXPECT_LE(held, 2 * settings_.textLimit + 65536 + 4096);
}

TEST_F(TransactionTest, DoesNotPassWhatNobodyNamesAndNobodyCanRead) {
  message_.contentTypes = {};
  for (const char* coding : {"gzip", "deflate", "br", "zstd"}) {
    SCOPED_TRACE(coding);
    message_.contentEncodings = {coding};
    EXPECT_EQ(send("\xFF\xFFno coding that anybody knows").step(), Step::Refuse);
    EXPECT_EQ(transaction_->verdict().reason, Verdict::Undecodable);
  }
  // The beginning of a coding and then no end of nothing.
  message_.contentEncodings = {"gzip"};
  EXPECT_EQ(send(gzipped(allowedPage()).substr(0, 10) + std::string(100, '\xFF')).step(), Step::Refuse);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::Undecodable);
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

// The limit is one of text, and a page in UTF-16 has half as much of it in its bytes.
TEST_F(TransactionTest, ReadsTwiceTheBytesOfUtf16) {
  settings_.textLimit = 65536;
  std::string page = "\xFF\xFE";
  for (const char c : std::string(40000, ' ') + refusedPage()) {
    page += c;
    page += '\0';
  }
  EXPECT_EQ(send(page).step(), Step::Refuse);
  message_.contentTypes = {"text/html; charset=utf-16le"};
  EXPECT_EQ(send(page.substr(2)).step(), Step::Refuse);
  message_.contentEncodings = {"gzip"};
  EXPECT_EQ(send(gzipped(page)).step(), Step::Refuse);
}

TEST_F(TransactionTest, JudgesByEveryCharsetThatABrowserMayRead) {
  std::string wide;
  for (const char c : refusedPage()) {
    wide += c;
    wide += '\0';
  }
  message_.contentTypes = {"text/html; charset=utf-16be; charset=utf-16le"};
  EXPECT_EQ(send(wide).step(), Step::Refuse);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::Classified);
  message_.contentTypes = {"text/html; charset=utf-16le", "text/html; charset=utf-16be"};
  EXPECT_EQ(send(wide).step(), Step::Refuse);
  // Browsers that take UTF-16 for what it is not see the page all the same.
  message_.contentTypes = {"text/html; charset=utf-16"};
  EXPECT_EQ(send(refusedPage()).step(), Step::Refuse);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::Classified);
  EXPECT_EQ(send(allowedPage()).step(), Step::Pass);
  message_.contentTypes = {"text/html; charset=a; charset=b; charset=c; charset=d; charset=e"};
  EXPECT_EQ(send(allowedPage()).step(), Step::Refuse);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::OverLimit);
  EXPECT_EQ(send("\xEF\xBB\xBF" + allowedPage()).step(), Step::Pass);
  EXPECT_EQ(send("\xEF\xBB\xBF" + refusedPage()).step(), Step::Refuse);
}

TEST_F(TransactionTest, LooksForPagesWhereTheTypeLiesOrIsMissing) {
  const std::string page = "<html>" + refusedPage();
  message_.contentTypes = {};
  EXPECT_EQ(send(page).step(), Step::Refuse);
  message_.contentTypes = {"image/png"};
  EXPECT_EQ(send(page).step(), Step::Refuse);
  message_.contentTypes = {"image/png", "text/html"};
  EXPECT_EQ(send(page).step(), Step::Refuse);
  message_.contentTypes = {"application/octet-stream"};
  EXPECT_EQ(send(page, 10).step(), Step::Refuse);
  message_.contentTypes = {"image/png"};
  EXPECT_EQ(send(std::string(2000, ' ') + page).step(), Step::Pass);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::NoPage);
}

TEST_F(TransactionTest, LooksAtWhateverAWindowShows) {
  const std::string page = "<p>" + refusedPage().substr(refusedPage().find("<body"));
  message_.contentTypes = {"text/css"};
  for (const char* destination : {"document", "iframe", "frame", "embed", "object", "Document"}) {
    message_.fetchDestination = destination;
    EXPECT_EQ(send(page).step(), Step::Refuse) << destination;
    EXPECT_EQ(send("\x89PNG\r\n\x1A\n").step(), Step::Pass) << destination;
    EXPECT_EQ(transaction_->verdict().reason, Verdict::NoPage) << destination;
  }
  for (const char* destination : {"style", "image", "empty"}) {
    message_.fetchDestination = destination;
    message_.accept = "text/html";
    EXPECT_EQ(send(page).step(), Step::Pass) << destination;
    EXPECT_EQ(transaction_->verdict().reason, Verdict::NoPage) << destination;
  }
  message_.fetchDestination = {};
  for (const char* accept : {"text/html,application/xhtml+xml,*/*;q=0.8", "Text/HTML"}) {
    message_.accept = accept;
    EXPECT_EQ(send(page).step(), Step::Refuse) << accept;
  }
  for (const char* accept : {"", "*/*", "image/png,text/html", "text/css"}) {
    message_.accept = accept;
    EXPECT_EQ(send(page).step(), Step::Pass) << accept;
  }
}

TEST_F(TransactionTest, JudgesXML) {
  for (const char* type : {"text/xml", "application/xml", "image/svg+xml"}) {
    message_.contentTypes = {type};
    EXPECT_EQ(send(refusedPage()).step(), Step::Refuse) << type;
    EXPECT_EQ(transaction_->verdict().reason, Verdict::Classified) << type;
  }
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

TEST_F(TransactionTest, LeavesWhatHasNoBody) {
  message_.hasBody = false;
  EXPECT_EQ(begin().step(), Step::Pass);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::NoPage);
}

}  // namespace
}  // namespace sifterra::icap
