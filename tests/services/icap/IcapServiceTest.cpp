// The service in a real c-icap, asked as a proxy asks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "services/icap/IcapClient.h"
#include "services/icap/IcapServer.h"
#include "services/icap/compressed.h"
#include "services/icap/fixture.h"

namespace sifterra::icap {
namespace {

using testing::HasSubstr;
using testing::Not;

class IcapService : public testing::Test {
 protected:
  IcapServer& start(const std::string& settings = {}) {
    server_ = std::make_unique<IcapServer>(directory_, settings);
    EXPECT_TRUE(server_->isRunning()) << server_->output();
    return *server_;
  }
  IcapAnswer ask(const IcapQuestion& question) { return IcapClient(server_->port()).ask(question); }
  IcapAnswer askAbout(const std::string& body, std::optional<std::size_t> preview = 32768) {
    IcapQuestion question;
    question.body = body;
    question.preview = preview;
    return ask(question);
  }

  TemporaryDirectory directory_;
  std::unique_ptr<IcapServer> server_;
};

std::string largePage() {
  std::string page = allowedPage();
  for (int i = 0; page.size() < 900000; ++i) page += "<p>The garden in week " + std::to_string(i) + ".</p>\n";
  return page;
}

TEST_F(IcapService, TellsProxiesWhatItWants) {
  start();
  IcapClient client(server_->port());
  client.send("OPTIONS icap://127.0.0.1/sifterra ICAP/1.0\r\nHost: 127.0.0.1\r\n\r\n");
  const IcapAnswer answer = client.receive();
  EXPECT_EQ(answer.status, 200);
  EXPECT_THAT(answer.head, HasSubstr("Methods: RESPMOD, REQMOD\r\n"));
  EXPECT_THAT(answer.head, HasSubstr("Preview: 32768\r\n"));
  EXPECT_THAT(answer.head, HasSubstr("Transfer-Preview: *\r\n"));
  EXPECT_THAT(answer.head, HasSubstr("Allow: 204, 206\r\n"));
  EXPECT_THAT(answer.head, HasSubstr("X-Include: X-Client-IP, X-Authenticated-User\r\n"));
  EXPECT_THAT(answer.head, testing::ContainsRegex("ISTag: \"[^\"]*sifterra-[0-9a-f]+\""));
}

TEST_F(IcapService, LetsAPageThroughAndRefusesAnotherAtEveryPreviewSize) {
  start();
  const std::optional<std::size_t> previews[] = {std::nullopt,
                                                 0,
                                                 1024,
                                                 4096,
                                                 32768,
                                                 allowedPage().size(),
                                                 refusedPage().size(),
                                                 refusedPage().size() - 1};
  for (const auto& preview : previews) {
    SCOPED_TRACE(preview ? std::to_string(*preview) : "none");
    const IcapAnswer allowed = askAbout(allowedPage(), preview);
    EXPECT_EQ(allowed.status, 204);
    EXPECT_EQ(allowed.continued, preview && *preview < allowedPage().size());
    const IcapAnswer refused = askAbout(refusedPage(), preview);
    EXPECT_EQ(refused.status, 200);
    EXPECT_THAT(refused.http, testing::StartsWith("HTTP/1.1 403 Forbidden\r\n"));
    EXPECT_EQ(refused.header("Cache-Control"), "no-store");
    EXPECT_EQ(refused.header("Content-Type"), "text/html; charset=utf-8");
    EXPECT_EQ(refused.header("Content-Length"), std::to_string(refused.body.size()));
    EXPECT_EQ(refused.header("ETag"), "");
    EXPECT_THAT(refused.body, HasSubstr("http://example.com/page"));
  }
}

TEST_F(IcapService, GivesProxiesThatKeepNothingTheirBodyBack) {
  start();
  const std::string large = largePage();
  for (const std::string& page : {allowedPage(), large}) {
    for (const std::optional<std::size_t> preview :
         {std::optional<std::size_t>(), std::optional<std::size_t>(1024)}) {
      IcapQuestion question;
      question.body = page;
      question.preview = preview;
      question.headers = "";
      const IcapAnswer answer = ask(question);
      EXPECT_EQ(answer.status, 200);
      EXPECT_TRUE(answer.body == page);
      EXPECT_EQ(answer.header("ETag"), "\"x\"");
    }
  }
}

TEST_F(IcapService, LeavesTheBodyToProxiesThatKeepIt) {
  start();
  IcapQuestion question;
  question.body = largePage();
  question.preview = 4096;
  question.headers = "Allow: 204, 206\r\n";
  const IcapAnswer answer = ask(question);
  EXPECT_EQ(answer.status, 206);
  EXPECT_EQ(answer.body, "");
  EXPECT_EQ(answer.end, "0; use-original-body=0");
}

TEST_F(IcapService, LetsOtherBodiesPassFromThePreview) {
  start();
  IcapQuestion question;
  question.response = "HTTP/1.1 200 OK\r\nContent-Type: image/png\r\n";
  question.body = "\x89PNG\r\n\x1A\n" + std::string(100000, 'x');
  question.preview = 1024;
  const IcapAnswer answer = ask(question);
  EXPECT_EQ(answer.status, 204);
  EXPECT_FALSE(answer.continued);
}

TEST_F(IcapService, ReadsContentCodings) {
  start();
  const std::pair<const char*, std::string> rows[] = {{"gzip", gzipped(refusedPage())},
                                                      {"br", brotliCompressed(refusedPage())},
                                                      {"zstd", zstdCompressed(refusedPage())},
                                                      {"deflate", bareDeflated(refusedPage())}};
  for (const auto& [coding, body] : rows) {
    SCOPED_TRACE(coding);
    IcapQuestion question;
    question.response += std::string("Content-Encoding: ") + coding + "\r\n";
    question.body = body;
    question.preview = 1024;
    EXPECT_THAT(ask(question).http, HasSubstr("403 Forbidden"));
  }
}

TEST_F(IcapService, AnswersManyRequestsOverOneConnection) {
  start();
  IcapClient client(server_->port());
  IcapQuestion allowed;
  allowed.body = allowedPage();
  allowed.preview = 32768;
  IcapQuestion refused = allowed;
  refused.body = refusedPage();
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(client.ask(allowed).status, 204);
    EXPECT_EQ(client.ask(refused).status, 200);
  }
  // Without waiting for the answers in between, and without previews: the server drops what follows one.
  allowed.preview.reset();
  refused.preview.reset();
  const auto whole = [](const IcapQuestion& question) {
    return IcapClient::opening(question) + IcapClient::chunked(*question.body, 1000) + "0\r\n\r\n";
  };
  client.send(whole(allowed) + whole(refused) + whole(allowed));
  EXPECT_EQ(client.receive().status, 204);
  EXPECT_THAT(client.receive().http, HasSubstr("403 Forbidden"));
  EXPECT_EQ(client.receive().status, 204);
}

TEST_F(IcapService, RefusesRequestsByTheListsOfTheUser) {
  directory_.writePolicy("ann", contentFilter({}, "http://bad.example/"));
  start();
  IcapQuestion question;
  question.method = "REQMOD";
  question.headers += "X-Client-Username: EXAMPLE\\ann\r\n";
  question.request = "GET http://bad.example/a HTTP/1.1\r\nHost: bad.example\r\nAccept: text/html\r\n";
  IcapAnswer answer = ask(question);
  EXPECT_EQ(answer.status, 200);
  EXPECT_THAT(answer.head, HasSubstr("Encapsulated: res-hdr=0"));
  EXPECT_THAT(answer.http, HasSubstr("403 Forbidden"));
  EXPECT_THAT(answer.body, HasSubstr("http://bad.example/a"));

  question.preview = 0;
  EXPECT_THAT(ask(question).http, HasSubstr("403 Forbidden"));
  question.request = "HEAD http://bad.example/a HTTP/1.1\r\n";
  answer = ask(question);
  EXPECT_THAT(answer.http, HasSubstr("403 Forbidden"));
  EXPECT_NE(answer.header("Content-Length"), "0");
  EXPECT_EQ(answer.body, "");
  question.request = "GET http://bad.example/a.js HTTP/1.1\r\nAccept: */*\r\n";
  answer = ask(question);
  EXPECT_EQ(answer.header("Content-Type"), "text/javascript");
  EXPECT_EQ(answer.header("Content-Length"), "0");
  question.request = "CONNECT bad.example:443 HTTP/1.1\r\n";
  EXPECT_THAT(ask(question).http, HasSubstr("403 Forbidden"));
  question.request = "POST http://bad.example/a HTTP/1.1\r\nContent-Length: 5000\r\n";
  question.body = std::string(5000, 'x');
  question.preview = 1024;
  EXPECT_THAT(ask(question).http, HasSubstr("403 Forbidden"));
  question.preview.reset();
  EXPECT_THAT(ask(question).http, HasSubstr("403 Forbidden"));

  question.request = "POST http://good.example/a HTTP/1.1\r\nContent-Length: 5000\r\n";
  EXPECT_EQ(ask(question).status, 204);
  question.headers = "X-Client-Username: ann\r\n";
  answer = ask(question);
  EXPECT_EQ(answer.status, 200);
  EXPECT_THAT(answer.http, testing::StartsWith("POST http://good.example/a HTTP/1.1\r\n"));
  EXPECT_TRUE(answer.body == *question.body);
  question.body.reset();
  question.request = "GET http://good.example/a HTTP/1.1\r\n";
  EXPECT_THAT(ask(question).http, testing::StartsWith("GET http://good.example/a HTTP/1.1\r\n"));
}

TEST_F(IcapService, AsksForNoCodingThatItCannotRead) {
  start();
  IcapQuestion question;
  question.method = "REQMOD";
  question.request =
      "GET http://good.example/a HTTP/1.1\r\nAccept-Encoding: gzip, br, dcb, dcz\r\nAccept: */*\r\n";
  for (const std::optional<std::size_t> preview :
       {std::optional<std::size_t>(), std::optional<std::size_t>(0)}) {
    question.preview = preview;
    const IcapAnswer answer = ask(question);
    EXPECT_EQ(answer.status, 200);
    EXPECT_THAT(answer.http, testing::StartsWith("GET http://good.example/a HTTP/1.1\r\n"));
    EXPECT_EQ(answer.header("Accept-Encoding"), "gzip, br");
    EXPECT_EQ(answer.header("Accept"), "*/*");
  }
  question.request = "GET http://good.example/a HTTP/1.1\r\nAccept-Encoding: gzip, br\r\n";
  EXPECT_EQ(ask(question).status, 204);
}

TEST_F(IcapService, AsksForWholePagesAndRefusesParts) {
  start();
  IcapQuestion question;
  question.method = "REQMOD";
  for (const char* headers : {"Sec-Fetch-Dest: document\r\nRange: bytes=300-\r\nAccept-Encoding: dcb\r\n",
                              "Range: bytes=0-9,20-\r\nRange: bytes=5-\r\n"}) {
    question.request = std::string("GET http://good.example/a HTTP/1.1\r\nHost: good.example\r\n") + headers;
    const IcapAnswer answer = ask(question);
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.header("Range"), "");
    EXPECT_EQ(answer.header("Host"), "good.example");
  }
  question.request = "GET http://good.example/a HTTP/1.1\r\nRange: bytes=300-\r\n";
  EXPECT_EQ(ask(question).status, 204);

  question = IcapQuestion();
  question.preview = 32768;
  question.body = allowedPage();
  for (const char* range : {"Content-Type: text/html\r\nContent-Range: bytes 0-299/4000\r\n",
                            "Content-Type: multipart/byteranges; boundary=x\r\n"}) {
    question.response = std::string("HTTP/1.1 206 Partial Content\r\n") + range;
    const IcapAnswer answer = ask(question);
    EXPECT_EQ(answer.status, 200);
    EXPECT_THAT(answer.http, testing::StartsWith("HTTP/1.1 403 Forbidden\r\n"));
  }
  question.response =
      "HTTP/1.1 206 Partial Content\r\nContent-Type: video/mp4\r\nContent-Range: bytes 0-299/4000\r\n";
  question.body = std::string(300, '\0');
  EXPECT_EQ(ask(question).status, 204);
}

TEST_F(IcapService, FindsTheUserByTheAddressAndFollowsMapAndPolicy) {
  directory_.writePolicy("bob", contentFilter({}, "http://bad.example/"));
  const std::string map = directory_.write("users.map", "192.0.2.0/24 bob\n");
  start("sifterra.UserMap " + map + "\n");
  IcapQuestion question;
  question.method = "REQMOD";
  question.headers += "X-Client-IP: 192.0.2.9\r\n";
  question.request = "GET http://bad.example/a HTTP/1.1\r\n";
  EXPECT_EQ(ask(question).status, 200);
  directory_.writePolicy("bob", contentFilter({}, "http://worse.example/"));
  EXPECT_EQ(ask(question).status, 204);
  question.request = "GET http://worse.example/a HTTP/1.1\r\n";
  EXPECT_EQ(ask(question).status, 200);
  directory_.write("users.map", "198.51.100.0/24 bob\n");
  EXPECT_EQ(ask(question).status, 204);
  EXPECT_TRUE(server_->waitForOutput("sifterra: the user map " + map + " has changed and is in force"));
}

TEST_F(IcapService, WritesTheAccessLogThroughTheFormatsOfTheServer) {
  start("sifterra.DefaultUser family\n");
  EXPECT_EQ(askAbout(allowedPage()).status, 204);
  EXPECT_TRUE(server_->waitForAccessLog(
      "RESPMOD 204 user=\"family\" verdict=allowed evidence=0 reason=classified score=\"[ 1:"));
  EXPECT_EQ(askAbout(refusedPage(), 1024).status, 200);
  EXPECT_TRUE(
      server_->waitForAccessLog("RESPMOD 200 user=\"family\" verdict=refused evidence=0 reason=classified"));
  EXPECT_THAT(server_->accessLog(), Not(HasSubstr("example.com")));
}

TEST_F(IcapService, TellsTheAddressInTheLogWhereThatIsWanted) {
  start("sifterra.LogURL on\n");
  EXPECT_EQ(askAbout(allowedPage()).status, 204);
  EXPECT_TRUE(server_->waitForAccessLog("url=\"http://example.com/page\""));
}

TEST_F(IcapService, CountsForTheServerAndForPrometheus) {
  const std::string metrics = directory_.path() + "/sifterra.prom";
  start("sifterra.MetricsFile " + metrics + "\n");
  EXPECT_EQ(askAbout(allowedPage()).status, 204);
  EXPECT_EQ(askAbout(refusedPage()).status, 200);
  IcapQuestion info;
  info.service = "info?view=text";
  info.method = "REQMOD";
  info.headers = "";
  const std::string statistics = ask(info).body;
  EXPECT_THAT(statistics, HasSubstr("Service sifterra pages judged"));
  EXPECT_THAT(statistics, HasSubstr("Service sifterra refused, classified"));
  EXPECT_THAT(statistics, HasSubstr("Service sifterra judged within 1000 us"));
  server_->stop();
  const std::string text = readFile(metrics);
  EXPECT_THAT(text, HasSubstr("sifterra_icap_requests_total{verdict=\"allowed\",reason=\"classified\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("sifterra_icap_requests_total{verdict=\"refused\",reason=\"classified\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("sifterra_icap_judgement_seconds_count 2\n"));
}

TEST_F(IcapService, JudgesForManyAtOnce) {
  start();
  std::vector<std::thread> clients;
  for (int i = 0; i < 8; ++i) {
    clients.emplace_back([this, i] {
      IcapClient client(server_->port());
      IcapQuestion question;
      question.preview = 1024;
      for (int n = 0; n < 30; ++n) {
        question.body = (n + i) % 2 == 0 ? allowedPage() : refusedPage();
        EXPECT_EQ(client.ask(question).status, (n + i) % 2 == 0 ? 204 : 200);
      }
    });
  }
  for (std::thread& client : clients) client.join();
}

}  // namespace
}  // namespace sifterra::icap
