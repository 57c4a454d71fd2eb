#include "input/JsonLinesSource.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/fixtures.h"

namespace sifterra::tools {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr const char* kExpected =
    "expected {\"html\" or \"text\": \"...\", \"label\": 1 to 9, \"site\": ..., ...}";

std::vector<PageItem> itemsOf(std::string_view lines, std::size_t chunk = SIZE_MAX) {
  JsonLinesSource source("f.jsonl", std::make_unique<MemoryStream>(lines, chunk));
  return allItems(source);
}

TEST(JsonLinesSource, ReadsPagesWithWhatTheyTell) {
  const std::vector<PageItem> items = itemsOf(
      R"({"id": 7, "html": "<p>\u00e9\ud83d\ude00</p>", "url": "http://www.a.example/x", "label": 2, "lang": "fr", "ok": true, "w": 1.50, "nested": {"html": 1, "site": [1]}, "none": null})"
      "\n");
  ASSERT_EQ(items.size(), 1u);
  const PageRecord& page = items[0].page;
  EXPECT_EQ(page.path, "f.jsonl");
  EXPECT_EQ(page.number, 1u);
  EXPECT_EQ(page.bytes.chars(), "<p>\xc3\xa9\xf0\x9f\x98\x80</p>");
  EXPECT_EQ(page.charset, "utf-8");
  EXPECT_EQ(page.url, "http://www.a.example/x");
  EXPECT_EQ(page.label, 2);
  EXPECT_EQ(page.site, "a.example");
  EXPECT_THAT(page.attributes,
              ElementsAre(Pair("id", "7"), Pair("lang", "fr"), Pair("ok", "true"), Pair("w", "1.50")));
}

TEST(JsonLinesSource, EscapesTextSoThatItIsReadAsText) {
  const std::vector<PageItem> items = itemsOf(R"({"text": "a < b & <script>c\n", "label": "9"})");
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(items[0].page.bytes.chars(), "a &lt; b &amp; &lt;script>c\n");
  EXPECT_EQ(items[0].page.label, 9);
}

TEST(JsonLinesSource, TellsTheSiteByTheBestThatIsKnown) {
  const std::vector<PageItem> items = itemsOf(
      "{\"html\":\"\",\"site\":\"S\",\"url\":\"http://u/\"}\n"
      "{\"html\":\"\",\"url\":\"http://u/\"}\n"
      "{\"html\":\"\"}\n");
  ASSERT_EQ(items.size(), 3u);
  EXPECT_EQ(items[0].page.site, "S");
  EXPECT_EQ(items[1].page.site, "u");
  EXPECT_EQ(items[2].page.site, "f.jsonl:3");
}

TEST(JsonLinesSource, PassesOverBlankLinesAndAByteOrderMark) {
  const std::vector<PageItem> items = itemsOf("\xef\xbb\xbf{\"html\":\"1\"}\r\n\r\n  \n{\"html\":\"2\"}");
  EXPECT_THAT(bytesOf(items), ElementsAre("1", "2"));
  EXPECT_EQ(items[1].page.number, 4u);
  EXPECT_EQ(items[1].page.name(), "f.jsonl:4");
}

TEST(JsonLinesSource, NamesTheLineThatIsNoPageAndGoesOn) {
  struct Row {
    const char* line;
    std::string error;
  };
  const Row rows[] = {
      {"{\"html\": \"x\"", "not valid JSON at byte 13"},
      {"nonsense", "not valid JSON at byte 2"},
      {"{\"html\": \"\xff\"}", "not valid JSON at byte 11"},
      {"{\"html\": \"\\ud800\"}", "not valid JSON at byte 17"},
      {"[1]", "no JSON object"},
      {"\"text\"", "no JSON object"},
      {"[{\"html\": \"x\"}]", "no JSON object"},
      {"{\"label\": 1}", "neither \"html\" nor \"text\""},
      {"{\"html\": \"\", \"text\": \"\"}", "both \"html\" and \"text\""},
      {"{\"html\": 5}", "\"html\" is no string"},
      {"{\"html\": \"\", \"site\": 5}", "\"site\" is no string"},
      {"{\"html\": \"\", \"label\": 0}", "\"label\" is no whole number from 1 to 9"},
      {"{\"html\": \"\", \"label\": 10}", "\"label\" is no whole number from 1 to 9"},
      {"{\"html\": \"\", \"label\": 1.5}", "\"label\" is no whole number from 1 to 9"},
      {"{\"html\": \"\", \"label\": \"adult\"}", "\"label\" is no whole number from 1 to 9"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    const std::vector<PageItem> items =
        itemsOf("{\"html\":\"a\"}\n" + std::string(row.line) + "\n{\"html\":\"b\"}\n");
    EXPECT_THAT(bytesOf(items), ElementsAre("a", "b"));
    EXPECT_THAT(errorsOf(items, "f.jsonl"), ElementsAre(":2: " + row.error + "; " + kExpected));
  }
}

TEST(JsonLinesSource, SurvivesDeepNestingWithoutBuildingIt) {
  const std::string deep = std::string(1000000, '[') + std::string(1000000, ']');
  const std::vector<PageItem> items = itemsOf("{\"x\":" + deep + ",\"html\":\"a\"}\n");
  EXPECT_THAT(bytesOf(items), ElementsAre("a"));
}

TEST(JsonLinesSource, ReadsCompressedFilesAndReportsDamage) {
  const TemporaryFolder folder;
  const std::string good =
      folder.write("good.jsonl.gz", gzipped("{\"html\":\"1\"}\n") + gzipped("{\"html\":\"2\"}\n"));
  JsonLinesSource source(good);
  EXPECT_THAT(bytesOf(allItems(source)), ElementsAre("1", "2"));
  const std::string member = gzipped("{\"html\":\"2\"}\n");
  const std::string bad =
      folder.write("bad.jsonl.gz", gzipped("{\"html\":\"1\"}\n") + member.substr(0, member.size() / 2));
  JsonLinesSource damaged(bad);
  const std::vector<PageItem> items = allItems(damaged);
  EXPECT_THAT(bytesOf(items), ElementsAre("1"));
  EXPECT_THAT(errorsOf(items, bad),
              ElementsAre(testing::StartsWith(":2: compressed data ends early (at byte ")));
}

TEST(JsonLinesSource, GivesTheSameWhateverTheReadSize) {
  const std::string lines = "{\"html\":\"1\"}\r\nbad\n\n{\"text\":\"<\"}";
  for (const std::size_t chunk : {std::size_t{1}, std::size_t{2}, std::size_t{13}}) {
    SCOPED_TRACE(chunk);
    EXPECT_EQ(bytesOf(itemsOf(lines, chunk)), bytesOf(itemsOf(lines)));
    EXPECT_EQ(errorsOf(itemsOf(lines, chunk), "f.jsonl"), errorsOf(itemsOf(lines), "f.jsonl"));
  }
}

TEST(JsonLinesSource, IsEmptyForAnEmptyFile) {
  EXPECT_THAT(itemsOf(""), IsEmpty());
}

}  // namespace
}  // namespace sifterra::tools
