#include "HttpMessage.h"

#include <gtest/gtest.h>

namespace sifterra::icap {
namespace {

std::string urlOf(std::string_view requestLine, std::string_view host = {}) {
  HttpMessage message;
  message.requestLine = requestLine;
  message.host = host;
  return message.url();
}

TEST(HttpMessage, TellsTheAddressThatIsAskedFor) {
  EXPECT_EQ(urlOf("GET http://example.com/a?b HTTP/1.1"), "http://example.com/a?b");
  EXPECT_EQ(urlOf("GET https://example.com/ HTTP/1.1", "other.example"), "https://example.com/");
  EXPECT_EQ(urlOf("GET /a HTTP/1.1", "example.com"), "http://example.com/a");
  EXPECT_EQ(urlOf("GET /a HTTP/1.1", "example.com:8080"), "http://example.com:8080/a");
  EXPECT_EQ(urlOf("GET /a HTTP/1.1", "example.com:443"), "https://example.com/a");
  EXPECT_EQ(urlOf("GET /a HTTP/1.1"), "");
  EXPECT_EQ(urlOf("CONNECT example.com:443 HTTP/1.1"), "https://example.com/");
  EXPECT_EQ(urlOf("CONNECT example.com:8443 HTTP/1.1"), "https://example.com:8443/");
  EXPECT_EQ(urlOf("GET"), "");
  EXPECT_EQ(urlOf(""), "");
  EXPECT_EQ(urlOf("GET http://example.com/without-version"), "http://example.com/without-version");
}

TEST(HttpMessage, SpellsWhatNoAddressMayHold) {
  EXPECT_EQ(urlOf("GET http://example.com/\xC3\xA4 b\x01 HTTP/1.1"), "http://example.com/%C3%A4%20b%01");
  EXPECT_EQ(urlOf("GET /\xFF HTTP/1.1", "ex\xFF.com"), "http://ex%FF.com/%FF");
}

}  // namespace
}  // namespace sifterra::icap
