// Bodies: what of them can be a page, and how it is read.
#include "services/icap/TransactionFixture.h"

#include "services/icap/compressed.h"

namespace sifterra::icap {
namespace {

using Step = Transaction::Step;
using namespace std::string_literals;

class TransactionBody : public TransactionFixture {};

TEST_F(TransactionBody, UndoesContentCodings) {
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

TEST_F(TransactionBody, AnswersAsConfiguredWhatItCannotRead) {
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

TEST_F(TransactionBody, AnswersAsConfiguredAPageOfAnotherSiteInAWrapping) {
  for (const char* type : {"application/signed-exchange;v=b3", "Application/Signed-Exchange",
                           "text/css, application/signed-exchange"}) {
    message_.contentTypes = {type};
    EXPECT_EQ(send("sxg1-b3").step(), Step::Refuse) << type;
    EXPECT_EQ(transaction_->verdict().reason, Verdict::Undecodable);
    EXPECT_EQ(transaction_->verdict().words, "a signed exchange");
  }
  service_.reset();
  settings_.undecodable = Answer::Open;
  EXPECT_EQ(begin().step(), Step::Pass);
}

TEST_F(TransactionBody, JudgesWhatCanBeReadOfABrokenBody) {
  std::string body = gzipped(refusedPage() + std::string(100000, '.'));
  body.resize(body.size() - 40);
  message_.contentEncodings = {"gzip"};
  EXPECT_EQ(send(body + std::string(100, '\xFF')).step(), Step::Refuse);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::Classified);
}

TEST_F(TransactionBody, JudgesABombByWhatFits) {
  message_.contentEncodings = {"gzip"};
  EXPECT_EQ(send(gzipped(refusedPage() + std::string(50000000, ' '))).step(), Step::Refuse);
  EXPECT_EQ(transaction_->verdict().reason, Verdict::Classified);
  EXPECT_EQ(send(gzipped(allowedPage() + std::string(50000000, ' '))).step(), Step::Pass);
  EXPECT_LE(count(Count::JudgedBytes), 2 * settings_.textLimit);
}

TEST_F(TransactionBody, AnswersAsConfiguredWhatGrowsWithoutText) {
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
TEST_F(TransactionBody, HoldsNoMoreOfWhatIsNoPageThanOfAPage) {
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

TEST_F(TransactionBody, DoesNotPassWhatNobodyNamesAndNobodyCanRead) {
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

// The limit is one of text, and a page in UTF-16 has half as much of it in its bytes.
TEST_F(TransactionBody, ReadsTwiceTheBytesOfUtf16) {
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

TEST_F(TransactionBody, JudgesByEveryCharsetThatABrowserMayRead) {
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

TEST_F(TransactionBody, JudgesOnceWhatAllCharsetsReadAlike) {
  const auto judged = [this] {
    std::uint64_t times = 0;
    for (std::size_t bucket = 0; bucket <= kMicroseconds.size(); ++bucket)
      times += counters_.at(Counters::kBucketsAt + bucket);
    return times;
  };
  const std::string plain =
      "<title>Bread</title><p>Flour, water, salt and time make a loaf; heat makes the crust of it.</p>";
  message_.contentTypes = {"text/html; charset=utf-8", "text/html; charset=windows-1252"};
  EXPECT_EQ(send(plain).step(), Step::Pass);
  EXPECT_EQ(judged(), 1U);
  EXPECT_EQ(send(plain + "\xC3\xA4").step(), Step::Pass);
  EXPECT_EQ(judged(), 3U);
}

TEST_F(TransactionBody, LooksForPagesWhereTheTypeLiesOrIsMissing) {
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

TEST_F(TransactionBody, LooksAtWhateverAWindowShows) {
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

TEST_F(TransactionBody, JudgesXML) {
  for (const char* type : {"text/xml", "application/xml", "image/svg+xml"}) {
    message_.contentTypes = {type};
    EXPECT_EQ(send(refusedPage()).step(), Step::Refuse) << type;
    EXPECT_EQ(transaction_->verdict().reason, Verdict::Classified) << type;
  }
}

}  // namespace
}  // namespace sifterra::icap
