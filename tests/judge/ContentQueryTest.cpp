#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "judge/LibraryMap.h"
#include "platform/CHandles.h"
#include "platform/FileSystem.h"
#include "platform/Log.h"
#include "sifterra/sifterra.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::LogLevel;
using ::testing::EndsWith;

template <class Reference>
class Owned {
 public:
  explicit Owned(Reference reference) : reference_(reference) {}
  ~Owned() { WFRelease(reference_); }
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  operator Reference() const noexcept { return reference_; }  // NOLINT: stands for the reference

 private:
  Reference reference_;
};
Owned<WFStringRef> string(const std::string& text) {
  return Owned(WFStringCreateWithUTF8Bytes(text.data(), text.size()));
}
Owned<WFURLRef> url(const char* text) {
  return Owned(WFURLCreateWithUTF8(text));
}
Owned<WFDataRef> data(const std::string& bytes) {
  return Owned(WFDataCreate(bytes.data(), bytes.size()));
}

std::string textOf(WFStringRef reference) {
  return reference ? WFStringGetUTF8(reference) : "NULL";
}

std::string page() {
  return "<meta charset=\"UTF-8\"><title>A title</title>" + std::string(500, 'x');
}
constexpr auto kSelfLabelled = "<meta name='rating' content='RTA-5042-1996-1400-1577-RTA'>";

class ContentQuery : public ::testing::Test {
 protected:
  void SetUp() override { WFReleaseScopeBegin(); }
  void TearDown() override { WFReleaseScopeEnd(); }
  void classifyAs(float first, float second) {
    library.addMapFile();
    library.setMap(calibratedScript(first, second));
  }

  LibraryMap library;
  // Marks what a query has not stored.
  const Owned<WFStringRef> untouched = string("untouched");
  WFStringRef title = untouched;
  WFStringRef message = untouched;
};

TEST_F(ContentQuery, ARestrictedPageAnswersOneAndItsScoreLine) {
  classifyAs(0.1F, 0.8F);
  EXPECT_EQ(WFIsWebPageExplicit(string(page()), string("http://a/"), &title, &message), 1);
  EXPECT_EQ(textOf(title), "A title");
  EXPECT_EQ(textOf(message), "1:0.00    [ 2:1.00 ]");
}

TEST_F(ContentQuery, AnAllowedPageAnswersZeroAndItsScoreLine) {
  classifyAs(0.9F, 0.2F);
  EXPECT_EQ(WFIsWebPageExplicit(string(page()), string("http://a/"), &title, &message), 0);
  EXPECT_EQ(textOf(message), "[ 1:1.00 ]    2:0.00");
}

TEST_F(ContentQuery, ASelfLabelledPageAnswersOneAndItsReason) {
  classifyAs(0.9F, 0.2F);
  EXPECT_EQ(WFIsWebPageExplicit(string(kSelfLabelled), string("http://a/"), &title, &message), 1);
  EXPECT_EQ(textOf(message), "SELF-RESTRICTED");
  EXPECT_EQ(title, nullptr);  // stored: the page has none
}

TEST_F(ContentQuery, APageWithNextToNothingIsAllowedWithItsReason) {
  classifyAs(0.1F, 0.8F);
  EXPECT_EQ(WFIsWebPageExplicit(string("ten signs!"), string("http://a/"), &title, &message), 0);
  EXPECT_EQ(textOf(message), "Page not analyzed: too little content found");
}

TEST_F(ContentQuery, NullContentIsAllowedAndLeavesTheTitleAlone) {
  classifyAs(0.1F, 0.8F);
  EXPECT_EQ(WFIsWebPageExplicit(nullptr, string("http://a/"), &title, &message), 0);
  EXPECT_EQ(title, untouched);
  EXPECT_EQ(textOf(message), "Allowed, nil pageContentString");
}

TEST_F(ContentQuery, TheAnswersAreOptional) {
  classifyAs(0.1F, 0.8F);
  EXPECT_EQ(WFIsWebPageExplicit(string(page()), nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(WFIsWebPageExplicit(nullptr, nullptr, nullptr, nullptr), 0);
}

TEST_F(ContentQuery, WithoutAJudgeTheMessageIsNullAndTheTitleLeftAlone) {
  const CapturedLog log;
  EXPECT_EQ(WFIsWebPageExplicit(string(page()), string("http://a/"), &title, &message), 0);
  EXPECT_EQ(title, untouched);
  EXPECT_EQ(message, nullptr);
  EXPECT_TRUE(log.contains(LogLevel::Info, "WFIsWebPageExplicit -- verdict is (null)"));
  message = untouched;
  EXPECT_EQ(WFIsURLExplicit(url("http://a/"), data(page()), &title, &message), 0);
  EXPECT_EQ(title, untouched);
  EXPECT_EQ(message, nullptr);
  EXPECT_TRUE(log.contains(LogLevel::Info, "WFIsURLExplicit -- result is NO ((null)) for http://a/"));
}

TEST_F(ContentQuery, TellsTheVerdictAtInfoLevel) {
  classifyAs(0.1F, 0.8F);
  const CapturedLog log(LogLevel::Info);
  (void)WFIsWebPageExplicit(string(page()), string("http://a/"), &title, &message);
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0].level, LogLevel::Info);
  EXPECT_EQ(log.lines()[0].category, "WebFilter");
  EXPECT_EQ(log.lines()[0].operation, "WFIsWebPageExplicit");
  EXPECT_EQ(
      log.lines()[0].text,
      "WFIsWebPageExplicit -- verdict is RESTRICTED (0) | 1:0.00    [ 2:1.00 ] | RESTRICTED | http://a/");
}

TEST_F(ContentQuery, AURLIsJudgedByItsData) {
  classifyAs(0.1F, 0.8F);
  const CapturedLog log(LogLevel::Info);
  EXPECT_EQ(WFIsURLExplicit(url("http://example.com/a?b#c"), data(page()), &title, &message), 1);
  EXPECT_EQ(textOf(title), "A title");
  EXPECT_EQ(textOf(message), "1:0.00    [ 2:1.00 ]");
  EXPECT_EQ(log.texts(),
            (std::vector<std::string>{
                "WFIsWebPageExplicit -- verdict is RESTRICTED (0) | 1:0.00    [ 2:1.00 ] | RESTRICTED | "
                "http://example.com/a?b#c",
                "WFIsURLExplicit -- result is YES (1:0.00    [ 2:1.00 ]) for http://example.com/a?b#c"}));
}

TEST_F(ContentQuery, AllowedURLsAreToldAsNo) {
  classifyAs(0.9F, 0.2F);
  const CapturedLog log(LogLevel::Info);
  EXPECT_EQ(WFIsURLExplicit(url("https://a/"), data(page()), &title, &message), 0);
  EXPECT_TRUE(
      log.contains(LogLevel::Info, "WFIsURLExplicit -- result is NO ([ 1:1.00 ]    2:0.00) for https://a/"));
}

TEST_F(ContentQuery, TheSchemeIsReadWithoutRegardToCase) {
  classifyAs(0.1F, 0.8F);
  for (const char* text : {"HTTP://a/", "http://a/", "HttpS://a/", "https://a/"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(WFIsURLExplicit(url(text), data(page()), nullptr, &message), 1);
  }
}

struct SchemeRow {
  const char* url;
  const char* scheme;
};
constexpr SchemeRow kOtherSchemes[] = {
    {"ftp://a/", "ftp"},          {"FTP://a/", "ftp"}, {"httpx://a/", "httpx"}, {"file:///a", "file"},
    {"data:text/html,x", "data"}, {"//a/b", "(null)"}, {"", "(null)"},          {nullptr, "(null)"},
};
TEST_F(ContentQuery, OtherSchemesAreAllowedUnread) {
  classifyAs(0.1F, 0.8F);
  for (const SchemeRow& row : kOtherSchemes) {
    SCOPED_TRACE(row.scheme);
    const CapturedLog log;
    EXPECT_EQ(WFIsURLExplicit(url(row.url), data(page()), &title, &message), 0);
    EXPECT_EQ(log.texts(),
              std::vector<std::string>{std::string("WFIsURLExplicit -- invalid scheme ") + row.scheme});
    EXPECT_EQ(log.lines().at(0).level, LogLevel::Info);
    EXPECT_EQ(title, untouched);
    EXPECT_EQ(message, untouched);
  }
}

TEST_F(ContentQuery, DataThatIsNotUTF8IsNothingToClassify) {
  classifyAs(0.1F, 0.8F);
  EXPECT_EQ(WFIsURLExplicit(url("http://a/"), data(page() + "\xff"), &title, &message), 0);
  EXPECT_EQ(textOf(message), "Allowed, nil pageContentString");
  EXPECT_EQ(title, untouched);
  EXPECT_EQ(WFIsURLExplicit(url("http://a/"), nullptr, &title, &message), 0);
  EXPECT_EQ(textOf(message), "Allowed, nil pageContentString");
}

TEST_F(ContentQuery, AURLQueryWithoutAMessagePointerShowsNullInTheLog) {
  classifyAs(0.1F, 0.8F);
  const CapturedLog log;
  EXPECT_EQ(WFIsURLExplicit(url("http://a/"), data(page()), &title, nullptr), 1);
  EXPECT_TRUE(log.contains(LogLevel::Info, "WFIsURLExplicit -- result is YES ((null)) for http://a/"));
}

TEST_F(ContentQuery, NoExceptionReachesTheCaller) {
  FakeScript script = calibratedScript(0.1F, 0.8F);
  script.evaluationThrows = true;
  library.addMapFile();
  library.setMap(std::move(script));
  const CapturedLog log(LogLevel::Error);
  EXPECT_EQ(WFIsWebPageExplicit(string(page()), string("http://a/"), &title, &message), 0);
  EXPECT_EQ(message, nullptr);
  EXPECT_EQ(title, untouched);
  message = untouched;
  EXPECT_EQ(WFIsURLExplicit(url("http://a/"), data(page()), &title, &message), 0);
  EXPECT_EQ(message, nullptr);
  EXPECT_EQ(log.texts(),
            (std::vector<std::string>{"WFIsWebPageExplicit -- Caught exception: the engine broke down",
                                      "WFIsURLExplicit -- Caught exception: the engine broke down"}));
}

TEST_F(ContentQuery, DecodesAPageByItsCharset) {
  EXPECT_THAT(textOf(WFDecodePage(data("caf\xe9"), string("iso-8859-1"))), EndsWith("caf\u00e9"));
  EXPECT_THAT(textOf(WFDecodePage(data("caf\u00e9"), nullptr)), EndsWith("caf\u00e9"));
  EXPECT_EQ(WFDecodePage(nullptr, nullptr), nullptr);
  EXPECT_NE(WFDecodePage(data(""), nullptr), nullptr);
}

TEST_F(ContentQuery, ADecodedPageCanBeJudged) {
  classifyAs(0.1F, 0.8F);
  const std::string latin = "<title>caf\xe9</title>" + std::string(500, 'x');
  EXPECT_EQ(WFIsWebPageExplicit(WFDecodePage(data(latin), string("windows-1252")), nullptr, &title, &message),
            1);
  EXPECT_EQ(textOf(title), "caf\u00e9");
}

TEST(HostProgram, ReadsTheVersion) {
  EXPECT_STREQ(WFVersion(), SIFTERRA_VERSION);
  EXPECT_EQ(std::string(SIFTERRA_VERSION), std::to_string(SIFTERRA_VERSION_MAJOR) + "." +
                                               std::to_string(SIFTERRA_VERSION_MINOR) + "." +
                                               std::to_string(SIFTERRA_VERSION_PATCH));
}

TEST(HostProgram, SetsTheRootOfTheFixedPaths) {
  WFSetFileSystemRoot("/prefix");
  EXPECT_EQ(platform::systemPath("/etc/x"), "/prefix/etc/x");
  WFSetFileSystemRoot(nullptr);
  EXPECT_EQ(platform::systemPath("/etc/x"), "/etc/x");
  WFSetFileSystemRoot("/prefix");
  WFSetFileSystemRoot("");
  EXPECT_EQ(platform::systemPath("/etc/x"), "/etc/x");
}

}  // namespace
}  // namespace sifterra
