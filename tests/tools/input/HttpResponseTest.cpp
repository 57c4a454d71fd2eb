#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "input/ByteStream.h"
#include "input/http_response.h"
#include "tools/fixtures.h"

namespace sifterra::tools {
namespace {

constexpr std::size_t kLimit = 100000;
constexpr const char* kPage = "<html><title>T</title>";

std::string failureOf(const std::string& message, std::size_t limit = kLimit) {
  try {
    static_cast<void>(parseHttpResponse(message, limit));
  } catch (const InputError& error) {
    return error.what();
  }
  return "none";
}

TEST(HttpResponse, TellsStatusTypeAndCharset) {
  const HttpResponse response =
      parseHttpResponse(httpMessage("Server: x\r\ncontent-TYPE: Text/HTML; a=b; Charset=\"Shift_JIS\"\r\n",
                                    kPage, "404 Not Found"),
                        kLimit);
  EXPECT_EQ(response.status, 404);
  EXPECT_EQ(response.mediaType, "text/html");
  EXPECT_EQ(response.charset, "Shift_JIS");
  EXPECT_EQ(response.body, kPage);
}

TEST(HttpResponse, ReadsCharsetParametersAsServersWriteThem) {
  struct Row {
    const char* header;
    const char* charset;
  };
  constexpr Row kRows[] = {
      {"text/html", ""},
      {"text/html; charset=utf-8", "utf-8"},
      {"text/html;charset='koi8-r'", "koi8-r"},
      {"text/html; charset = GB18030 ;q=1", "GB18030"},
      {"text/html; xcharset=a; charset=b", "b"},
      {"text/html; charset=", ""},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.header);
    EXPECT_EQ(charsetOf(row.header), row.charset);
    EXPECT_EQ(mediaTypeOf(row.header), "text/html");
  }
}

TEST(HttpResponse, UndoesTransferAndContentEncodings) {
  struct Row {
    const char* name;
    std::string message;
  };
  const Row rows[] = {
      {"to the end", httpMessage("", kPage)},
      {"length", httpMessage("Content-Length: 22\r\n", std::string(kPage) + "behind")},
      {"chunks", httpMessage("Transfer-Encoding: chunked\r\n", chunked(kPage, 5))},
      {"chunks and length",
       httpMessage("Transfer-Encoding: chunked\r\nContent-Length: 9\r\n", chunked(kPage, 7))},
      {"gzip", httpMessage("Content-Encoding: gzip\r\n", gzipped(kPage))},
      {"x-gzip", httpMessage("Content-Encoding: X-GZIP\r\n", gzipped(kPage))},
      {"deflate", httpMessage("Content-Encoding: deflate\r\n", deflated(kPage, true))},
      {"raw deflate", httpMessage("Content-Encoding: deflate\r\n", deflated(kPage, false))},
      {"identity", httpMessage("Content-Encoding: identity\r\n", kPage)},
      {"two encodings", httpMessage("Content-Encoding: deflate, gzip\r\n", gzipped(deflated(kPage, true)))},
      {"two headers", httpMessage("Content-Encoding: deflate\r\nContent-Encoding: gzip\r\n",
                                  gzipped(deflated(kPage, true)))},
      {"chunks of gzip",
       httpMessage("Transfer-Encoding: chunked\r\nContent-Encoding: gzip\r\n", chunked(gzipped(kPage), 3))},
      {"interim response", "HTTP/1.1 100 Continue\r\n\r\n" + httpMessage("", kPage)},
      {"version 2", "HTTP/2 200\r\nx: y\r\n\r\n" + std::string(kPage)},
      {"bare line feeds", "HTTP/1.0 200 OK\nx: y\n\n" + std::string(kPage)},
      {"odd header value", httpMessage("x: \x01\xff\r\n", kPage)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(parseHttpResponse(row.message, kLimit).body, kPage);
  }
}

TEST(HttpResponse, TakesBodiesThatTheArchiverDecodedAlready) {
  EXPECT_EQ(parseHttpResponse(httpMessage("Transfer-Encoding: chunked\r\n", kPage), kLimit).body, kPage);
  EXPECT_EQ(parseHttpResponse(httpMessage("Content-Encoding: gzip\r\n", kPage), kLimit).body, kPage);
  EXPECT_EQ(parseHttpResponse(httpMessage("Content-Encoding: deflate\r\n", kPage), kLimit).body, kPage);
  EXPECT_EQ(
      parseHttpResponse("HTTP/1.1 200 OK\nTransfer-Encoding: chunked\n\n" + std::string(kPage), kLimit).body,
      kPage);
}

TEST(HttpResponse, TakesABodyThatWasCutShortAsFarAsItGoes) {
  EXPECT_EQ(parseHttpResponse(httpMessage("Content-Length: 5000\r\n", kPage), kLimit).body, kPage);
  EXPECT_EQ(
      parseHttpResponse(httpMessage("Transfer-Encoding: chunked\r\n", "5\r\nabcde\r\n9\r\nfg"), kLimit).body,
      "abcdefg");
  const std::string text(50000, 'x');
  const std::string packed = gzipped(text);
  EXPECT_EQ(parseHttpResponse(httpMessage("Content-Encoding: gzip\r\n", packed.substr(0, packed.size() - 4)),
                              kLimit)
                .body,
            text);
}

TEST(HttpResponse, ReportsWhatIsNoResponse) {
  EXPECT_THAT(failureOf("<html>"), testing::StartsWith("is no HTTP response: "));
  EXPECT_THAT(failureOf(""), testing::StartsWith("is no HTTP response: "));
  EXPECT_EQ(failureOf("HTTP/1.1 200 OK\r\nServer: x\r\n"), "is no HTTP response: it ends inside its headers");
}

TEST(HttpResponse, ReportsADamagedBodyAndAnUnknownEncoding) {
  EXPECT_THAT(failureOf(httpMessage("Transfer-Encoding: chunked\r\n", "2\r\nab\r\nzz\r\n")),
              testing::StartsWith("its body is damaged: "));
  EXPECT_EQ(failureOf(httpMessage("Content-Encoding: br\r\n", "\x0b\x02")),
            "its content encoding \"br\" is not known (gzip and deflate are)");
  EXPECT_EQ(failureOf(httpMessage("Content-Encoding: gzip, gzip, gzip, gzip, gzip\r\n", "x")),
            "has too many content encodings");
}

TEST(HttpResponse, StopsAtTheLimitBeforeAndAfterDecompression) {
  const std::string body(1000, 'x');
  EXPECT_EQ(failureOf(httpMessage("", body), 1000), "none");
  EXPECT_EQ(failureOf(httpMessage("", body), 999), "its body is larger than 999 bytes");
  EXPECT_EQ(failureOf(httpMessage("Content-Encoding: gzip\r\n", gzipped(body)), 1000), "none");
  EXPECT_EQ(failureOf(httpMessage("Content-Encoding: gzip\r\n", gzipped(body)), 999),
            "its body is larger than 999 bytes");
  EXPECT_EQ(failureOf(httpMessage("Transfer-Encoding: chunked\r\n", body), 999),
            "its body is larger than 999 bytes");
}

TEST(HttpResponse, ReadsTheHeadAloneWithoutItsBody) {
  const HttpResponse head =
      parseHttpHead(httpMessage("Content-Type: image/png\r\nContent-Length: 9\r\n", "123456789"));
  EXPECT_EQ(head.mediaType, "image/png");
  EXPECT_EQ(head.body, "");
}

}  // namespace
}  // namespace sifterra::tools
