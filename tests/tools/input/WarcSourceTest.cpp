#include "input/WarcSource.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "input/GzipStream.h"
#include "tools/fixtures.h"

namespace sifterra::tools {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kHtml = "Content-Type: text/html; charset=utf-8\r\n";

std::vector<PageItem> itemsOf(const std::string& archive) {
  const TemporaryFolder folder;
  WarcSource source(folder.write("a.warc", archive));
  return allItems(source);
}

std::string page(int number) {
  return "<html><body>page " + std::to_string(number);
}

// What crawlers put around the responses that count.
std::string ordinaryArchive() {
  return warcRecord("WARC-Type: warcinfo\r\nContent-Type: application/warc-fields\r\n", "software: x\r\n") +
         warcRecord(
             "WARC-Type: request\r\nWARC-Target-URI: http://a.example/1\r\n"
             "Content-Type: application/http; msgtype=request\r\n",
             "GET /1 HTTP/1.1\r\n\r\n") +
         warcResponse("http://a.example/1", httpMessage(kHtml, page(1))) +
         warcResponse("http://a.example/i.png", httpMessage("Content-Type: image/png\r\n", "\x89PNG")) +
         warcRecord("WARC-Type: metadata\r\nWARC-Target-URI: http://a.example/1\r\n", "via: x\r\n") +
         warcRecord(
             "WARC-Type: resource\r\nWARC-Target-URI: http://a.example/r\r\nContent-Type: text/html\r\n",
             "<html>no response") +
         warcResponse("https://www.B.example/2",
                      httpMessage("Content-Type: application/xhtml+xml\r\n", page(2)));
}

TEST(WarcSource, GivesTheHtmlResponsesAndNothingElse) {
  const std::vector<PageItem> items = itemsOf(ordinaryArchive());
  ASSERT_EQ(items.size(), 2u);
  EXPECT_THAT(bytesOf(items), ElementsAre(page(1), page(2)));
  EXPECT_EQ(items[0].page.url, "http://a.example/1");
  EXPECT_EQ(items[0].page.charset, "utf-8");
  EXPECT_EQ(items[0].page.number, 3u);
  EXPECT_EQ(items[0].page.site, "a.example");
  EXPECT_EQ(items[1].page.url, "https://www.B.example/2");
  EXPECT_EQ(items[1].page.charset, "");
  EXPECT_EQ(items[1].page.site, "b.example");
  EXPECT_EQ(items[0].page.name(), items[0].page.path + " http://a.example/1");
}

TEST(WarcSource, GivesTheSamePagesWhateverTheReadSizeAndCompression) {
  std::string members;
  for (int i = 0; i < 50; ++i)
    members += gzipped(warcResponse("http://s.example/", httpMessage(kHtml, page(i))));
  const std::string whole = gzipped(ordinaryArchive());
  for (const std::size_t chunk : {std::size_t{1}, std::size_t{3}, std::size_t{100}, SIZE_MAX}) {
    SCOPED_TRACE(chunk);
    WarcSource many("m", std::make_unique<GzipStream>(std::make_unique<MemoryStream>(members, chunk)));
    EXPECT_EQ(bytesOf(allItems(many)).size(), 50u);
    WarcSource one("w", std::make_unique<GzipStream>(std::make_unique<MemoryStream>(whole, chunk)));
    EXPECT_THAT(bytesOf(allItems(one)), ElementsAre(page(1), page(2)));
  }
}

TEST(WarcSource, ReadsHeadersAsTheyAreWritten) {
  const std::string message = httpMessage(kHtml, page(1));
  const std::string length = std::to_string(message.size());
  struct Row {
    const char* name;
    std::string archive;
    const char* url;
  };
  const Row rows[] = {
      {"version 1.1", warcRecord("WARC-Type: response\r\nWARC-Target-URI: http://a/\r\n", message, "1.1"),
       "http://a/"},
      {"case and blanks", warcRecord("warc-TYPE:Response \r\nwarc-target-uri :  http://a/\r\n", message),
       "http://a/"},
      {"angle brackets", warcRecord("WARC-Type: response\r\nWARC-Target-URI: <http://a/>\r\n", message),
       "http://a/"},
      {"folded line",
       warcRecord("WARC-Type: response\r\nX: a\r\n b\r\nWARC-Target-URI: http://a/\r\n", message),
       "http://a/"},
      {"line feeds alone",
       "WARC/1.0\nWARC-Type: response\nWARC-Target-URI: http://a/\nContent-Length: " + length + "\n\n" +
           message + "\n\n",
       "http://a/"},
      {"no line ends between records",
       warcRecord("WARC-Type: warcinfo\r\n", "") +
           "WARC/1.0\r\nWARC-Type: response\r\nWARC-Target-URI: http://a/\r\nContent-Length: " + length +
           "\r\n\r\n" + message,
       "http://a/"},
      {"https without content type",
       warcRecord("WARC-Type: response\r\nWARC-Target-URI: https://a/\r\n", message), "https://a/"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const std::vector<PageItem> items = itemsOf(row.archive);
    ASSERT_EQ(items.size(), 1u);
    EXPECT_FALSE(items[0].error) << *items[0].error;
    EXPECT_EQ(items[0].page.url, row.url);
    EXPECT_EQ(items[0].page.bytes.chars(), page(1));
  }
}

TEST(WarcSource, TakesAnUntypedBodyThatBeginsLikeMarkup) {
  EXPECT_EQ(itemsOf(warcResponse("http://a/", httpMessage("", " \r\n<html>"))).size(), 1u);
  EXPECT_THAT(itemsOf(warcResponse("http://a/", httpMessage("", "plain"))), IsEmpty());
  EXPECT_THAT(itemsOf(warcResponse("dns:a", "20200101 a. IN A 1.2.3.4")).size(), 1u);  // claims to be HTTP
  EXPECT_THAT(
      itemsOf(warcRecord("WARC-Type: response\r\nWARC-Target-URI: dns:a\r\nContent-Type: text/dns\r\n", "x")),
      IsEmpty());
}

TEST(WarcSource, GoesOnBehindARecordThatCannotBeRead) {
  const std::string archive =
      warcResponse("http://a/1", "no HTTP") +
      warcResponse("http://a/2", httpMessage("Content-Type: text/html\r\nContent-Encoding: br\r\n", "x")) +
      warcResponse("http://a/3", httpMessage(kHtml, page(3)));
  const TemporaryFolder folder;
  const std::string path = folder.write("a.warc", archive);
  WarcSource source(path);
  const std::vector<PageItem> items = allItems(source);
  EXPECT_THAT(bytesOf(items), ElementsAre(page(3)));
  EXPECT_THAT(
      errorsOf(items, path),
      ElementsAre(
          testing::StartsWith(": record 1 (http://a/1): is no HTTP response: "),
          ": record 2 (http://a/2): its content encoding \"br\" is not known (gzip and deflate are)"));
}

TEST(WarcSource, TellsWhereAnArchiveIsCutShort) {
  const std::string good = warcResponse("http://a/1", httpMessage(kHtml, page(1)));
  const std::string next = warcResponse("http://a/2", httpMessage(kHtml, page(2)));
  const std::string block = httpMessage(kHtml, page(2));
  struct Row {
    std::string tail;
    std::string error;
  };
  const Row rows[] = {
      {"WAR", ": record 2: the file is cut short inside its first line"},
      {"WARC/1.0\r\nWARC-Ty", ": record 2: the file is cut short inside its header"},
      {"WARC/1.0\r\nWARC-Type: response\r\n", ": record 2: the file is cut short inside its header"},
      {next.substr(0, next.size() - 8), ": record 2: the file is cut short inside its block, after " +
                                            std::to_string(block.size() - 4) + " of " +
                                            std::to_string(block.size()) + " bytes"},
      {"WARC/1.0\r\nWARC-Type: metadata\r\nContent-Length: 99\r\n\r\nabc",
       ": record 2: the file is cut short inside its block, after 3 of 99 bytes"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.error);
    const TemporaryFolder folder;
    const std::string path = folder.write("a.warc", good + row.tail);
    WarcSource source(path);
    const std::vector<PageItem> items = allItems(source);
    EXPECT_THAT(bytesOf(items), ElementsAre(page(1)));
    EXPECT_THAT(errorsOf(items, path), ElementsAre(row.error));
  }
}

TEST(WarcSource, StopsAtWhatIsNoRecord) {
  const std::string good = warcResponse("http://a/1", httpMessage(kHtml, page(1)));
  struct Row {
    std::string tail;
    const char* error;
  };
  const Row rows[] = {
      {"<html>\r\n",
       ": record 2: does not begin with \"WARC/1.0\" or \"WARC/1.1\"; nothing behind it is read"},
      {"WARC/1.0\r\nWARC-Type: response\r\n\r\n",
       ": record 2: has no valid Content-Length; nothing behind it is read"},
      {"WARC/1.0\r\nContent-Length: -1\r\n\r\n",
       ": record 2: has no valid Content-Length; nothing behind it is read"},
      {"WARC/1.0\r\nContent-Length: 99999999999999999999\r\n\r\n",
       ": record 2: has no valid Content-Length; nothing behind it is read"},
      {"WARC/1.0\r\nno colon\r\n\r\n",
       ": record 2: has a header line without a colon; nothing behind it is read"},
      {"WARC/1.0\r\nX: " + std::string(70000, 'x') + "\r\n\r\n",
       ": record 2: its header is too long; nothing behind it is read"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.error);
    const TemporaryFolder folder;
    const std::string path = folder.write("a.warc", good + row.tail);
    WarcSource source(path);
    const std::vector<PageItem> items = allItems(source);
    EXPECT_THAT(bytesOf(items), ElementsAre(page(1)));
    EXPECT_THAT(errorsOf(items, path), ElementsAre(row.error));
  }
}

TEST(WarcSource, ReportsAnEnormousPageAndPassesOverIt) {
  // 65 MiB announced, compressed to some kilobytes.
  const std::string large(kMaxPageBytes + (std::size_t{2} << 20), ' ');
  const TemporaryFolder folder;
  const std::string path =
      folder.write("a.warc.gz", gzipped(warcResponse("http://a/1", httpMessage(kHtml, large))) +
                                    gzipped(warcResponse("http://a/2", httpMessage(kHtml, page(2)))));
  WarcSource source(path);
  const std::vector<PageItem> items = allItems(source);
  EXPECT_THAT(bytesOf(items), ElementsAre(page(2)));
  EXPECT_THAT(errorsOf(items, path), ElementsAre(": record 1 (http://a/1): is larger than 68157440 bytes"));
}

TEST(WarcSource, ReportsDamagedCompression) {
  const std::string member = gzipped(warcResponse("http://a/1", httpMessage(kHtml, page(1))));
  const TemporaryFolder folder;
  const std::string path = folder.write("a.warc.gz", member + member.substr(0, 40));
  WarcSource source(path);
  const std::vector<PageItem> items = allItems(source);
  EXPECT_THAT(bytesOf(items), ElementsAre(page(1)));
  EXPECT_THAT(errorsOf(items, path),
              ElementsAre(testing::StartsWith(": compressed data ends early (at byte ")));
}

}  // namespace
}  // namespace sifterra::tools
