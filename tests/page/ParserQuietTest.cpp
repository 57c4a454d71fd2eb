// Parsing prints nothing, and the host program's own use of libxml2 goes on as if nothing happened.
#include <gtest/gtest.h>
#include <libxml/HTMLparser.h>
#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include <string>
#include <thread>

#include "page/parse_html.h"
#include "page_fixture.h"

namespace sifterra {
namespace {

// A page whose decoding fails: libxml2 reports that whatever options it is given.
constexpr const char* kBrokenPage = "gb2312-declared-but-broken.html";

int messages = 0;
int errors = 0;

extern "C" {
static void countMessage(void* /*context*/, const char* /*format*/, ...) {
  ++messages;
}
static void countError(void* /*context*/, xmlErrorPtr /*error*/) {
  ++errors;
}
}

class HostHandlers : public testing::Test {
 protected:
  void SetUp() override {
    xmlInitParser();
    messages = errors = 0;
    xmlSetGenericErrorFunc(&messages, countMessage);
    xmlSetStructuredErrorFunc(&errors, countError);
  }
  void TearDown() override {
    xmlSetGenericErrorFunc(nullptr, nullptr);
    xmlSetStructuredErrorFunc(nullptr, nullptr);
    xmlResetLastError();
  }
};

TEST(Parsing, PrintsNothing) {
  testing::internal::CaptureStderr();
  testing::internal::CaptureStdout();
  ASSERT_TRUE(modelOfFixture(kBrokenPage));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(Parsing, WouldPrintWithTheDefaultHandlers) {
  const platform::Data page = fixture(kBrokenPage);
  testing::internal::CaptureStderr();
  xmlFreeDoc(htmlReadMemory(page.chars().data(), static_cast<int>(page.length()), nullptr, "GB2312",
                            kHTMLParseOptions));
  EXPECT_NE(testing::internal::GetCapturedStderr().find("encoding error"), std::string::npos);
}

TEST_F(HostHandlers, AreNotCalledAndStandAsBefore) {
  ASSERT_TRUE(modelOfFixture(kBrokenPage));
  EXPECT_EQ(messages, 0);
  EXPECT_EQ(errors, 0);
  EXPECT_EQ(xmlGenericError, &countMessage);
  EXPECT_EQ(xmlGenericErrorContext, &messages);
  EXPECT_EQ(xmlStructuredError, &countError);
  EXPECT_EQ(xmlStructuredErrorContext, &errors);
}

TEST_F(HostHandlers, KeepTheHostsLastError) {
  xmlFreeDoc(xmlReadMemory("<a>", 3, nullptr, nullptr, 0));
  ASSERT_NE(xmlGetLastError(), nullptr);
  const int code = xmlGetLastError()->code;
  const std::string message = xmlGetLastError()->message;
  ASSERT_TRUE(modelOfFixture(kBrokenPage));
  ASSERT_NE(xmlGetLastError(), nullptr);
  EXPECT_EQ(xmlGetLastError()->code, code);
  EXPECT_EQ(xmlGetLastError()->message, message);
}

TEST_F(HostHandlers, GetTheHostsOwnErrorsAfterwards) {
  ASSERT_TRUE(modelOfFixture(kBrokenPage));
  xmlFreeDoc(xmlReadMemory("<a>", 3, nullptr, nullptr, 0));
  EXPECT_GT(errors, 0);
}

TEST_F(HostHandlers, OfAnotherThreadAreItsOwn) {
  std::thread([] {
    int context = 0;
    xmlSetStructuredErrorFunc(&context, countError);
    ASSERT_TRUE(modelOfFixture(kBrokenPage));
    EXPECT_EQ(xmlStructuredErrorContext, &context);
  }).join();
  EXPECT_EQ(xmlStructuredErrorContext, &errors);  // this thread's
  EXPECT_EQ(errors, 0);
}

}  // namespace
}  // namespace sifterra
