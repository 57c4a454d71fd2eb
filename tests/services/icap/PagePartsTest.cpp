// Parts of pages: who may have them, and what becomes of them.
#include "page_parts.h"

#include "services/icap/TransactionFixture.h"

namespace sifterra::icap {
namespace {

using Step = Transaction::Step;

constexpr char kPartial[] = "HTTP/1.1 206 Partial Content";

TEST(PageParts, AreAnswersOfLessThanAll) {
  struct Row {
    const char* status;
    std::vector<std::string_view> ranges;
    bool isPart;
  };
  const Row rows[] = {
      {kPartial, {"bytes 0-299/4000"}, true},
      {kPartial, {"bytes 0-3999/4000"}, false},  // what programs get that ask for all by a range
      {kPartial, {"BYTES 0-3999/4000"}, false},
      {kPartial, {"bytes 1-3999/4000"}, true},
      {kPartial, {"bytes 0-3999/*"}, true},
      {kPartial, {"bytes 0-0/0"}, true},
      {kPartial, {"bytes */4000"}, true},
      {kPartial, {"bytes 0-99999999999999999999/4000"}, true},
      {kPartial, {"lines 0-3999/4000"}, true},
      {kPartial, {"bytes"}, true},
      {kPartial, {}, true},
      {kPartial, {"bytes 0-3999/4000", "bytes 0-299/4000"}, true},
      {"HTTP/1.0 206", {"bytes 0-299/4000"}, true},
      {"HTTP/1.1 200 OK", {"bytes 0-299/4000"}, false},
      {"HTTP/1.1 404 206", {}, false},
      {"", {}, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.status) + ": " + (row.ranges.empty() ? "" : std::string(row.ranges[0])));
    HttpMessage message;
    message.statusLine = row.status;
    message.contentRanges = row.ranges;
    EXPECT_EQ(isPart(message), row.isPart);
  }
}

TEST(PageParts, AreNotAskedForByWindowsNorSeveralAtOnce) {
  struct Row {
    const char* range;
    const char* destination;
    const char* accept;
    bool shouldAskForAll;
  };
  constexpr Row kRows[] = {
      {"", "document", "text/html", false},
      {"bytes=300-", "document", "text/html", true},
      {"bytes=300-", "iframe", "text/html", true},
      {"bytes=300-", "", "text/html,*/*", true},
      {"bytes=300-", "embed", "*/*", false},  // a document's viewer
      {"bytes=300-", "video", "*/*", false},  // to play from there
      {"bytes=300-", "", "*/*", false},       // a download goes on
      {"bytes=0-9,20-29", "video", "*/*", true},
      {"bytes=0-9,20-29", "", "*/*", true},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(std::string(row.range) + " " + row.destination);
    HttpMessage message;
    message.range = row.range;
    message.fetchDestination = row.destination;
    message.accept = row.accept;
    EXPECT_EQ(shouldAskForAll(message), row.shouldAskForAll);
  }
}

class PartOfPage : public TransactionFixture {
 protected:
  PartOfPage() {
    message_.statusLine = kPartial;
    message_.contentRanges = {"bytes 0-99/4000"};
  }
};

TEST_F(PartOfPage, IsRefusedHoweverHarmless) {
  const std::vector<std::string_view> rows[] = {{"text/html"}, {"text/plain"}, {"image/png", "text/html"}};
  for (const auto& types : rows) {
    message_.contentTypes = types;
    EXPECT_EQ(send(allowedPage()).step(), Step::Refuse) << types[0];
    EXPECT_EQ(transaction_->verdict().reason, Verdict::PartOfPage);
    EXPECT_EQ(transaction_->verdict().words, "a part of a page");
  }
  message_.contentEncodings = {"gzip"};
  EXPECT_EQ(send("out of the middle").step(), Step::Refuse);
}

TEST_F(PartOfPage, IsToldByItsBeginningWhereItsTypeIsNone) {
  message_.contentTypes.clear();
  EXPECT_EQ(send("out of the middle of a text").step(), Step::Refuse);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::PartOfPage);
  EXPECT_EQ(send(std::string("\x89PNG\r\n\x1A\n\0\0\0\rIHDR", 16)).step(), Step::Pass);
  message_.contentTypes = {"application/octet-stream"};
  EXPECT_EQ(send("out of the middle of a download").step(), Step::Pass);
  EXPECT_EQ(send(allowedPage()).step(), Step::Refuse);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::PartOfPage);
}

TEST_F(PartOfPage, IsRefusedAmongSeveralInOneBody) {
  message_.contentTypes = {"Multipart/ByteRanges; boundary=x"};
  message_.contentRanges.clear();
  EXPECT_EQ(send("--x\r\nContent-Type: text/html\r\n\r\n" + refusedPage()).step(), Step::Refuse);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::PartOfPage);
}

TEST_F(PartOfPage, PassesOfAFilm) {
  message_.contentTypes = {"video/mp4"};
  EXPECT_EQ(send(std::string(5000, '\0')).step(), Step::Pass);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::NoPage);
}

TEST_F(PartOfPage, ThatIsAllOfItIsJudgedAsAPage) {
  message_.contentRanges = {"bytes 0-3999/4000"};
  EXPECT_EQ(send(allowedPage()).step(), Step::Pass);
  EXPECT_EQ(send(refusedPage()).step(), Step::Refuse);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::Classified);
}

TEST_F(PartOfPage, IsJudgedAsItIsWhereWhatExceedsTheBoundsPasses) {
  settings_.overLimit = Answer::Open;
  EXPECT_EQ(send(allowedPage()).step(), Step::Pass);
  EXPECT_EQ(send(refusedPage()).step(), Step::Refuse);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::Classified);
}

}  // namespace
}  // namespace sifterra::icap
