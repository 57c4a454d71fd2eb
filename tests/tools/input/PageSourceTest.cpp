#include "input/PageSource.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tools/fixtures.h"

namespace sifterra::tools {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The paths of all pages below the folder, told from it.
std::vector<std::string> pathsOf(const std::vector<PageItem>& items, const TemporaryFolder& folder) {
  std::vector<std::string> paths;
  for (const PageItem& item : items) {
    if (!item.error) paths.push_back(item.page.path.substr(folder.path().size()));
  }
  return paths;
}

TEST(PageSource, WalksADirectoryInSortedOrder) {
  const TemporaryFolder folder;
  for (const char* name : {"b.html", "a.HTM", "site/deep/er/x.xhtml", "site/a.txt", "site.html", "c.jpg",
                           "d.htmlx", "noext", ".hidden.html", "sub.html/in.html"}) {
    folder.write(name, name);
  }
  PageSources source({folder.path()});
  const std::vector<PageItem> items = allItems(source);
  EXPECT_THAT(errorsOf(items, folder.path()), IsEmpty());
  EXPECT_THAT(pathsOf(items, folder),
              ElementsAre("/.hidden.html", "/a.HTM", "/b.html", "/site.html", "/site/a.txt",
                          "/site/deep/er/x.xhtml", "/sub.html/in.html"));
  EXPECT_EQ(items[1].page.bytes.chars(), "a.HTM");
  EXPECT_EQ(items[1].page.number, 0u);
  EXPECT_EQ(items[1].page.name(), folder.at("a.HTM"));
}

TEST(PageSource, NamesThePagesAsTheDirectoryWasNamed) {
  const TemporaryFolder folder;
  folder.write("a.html", "");
  PageSources source({folder.path() + "/"});
  EXPECT_EQ(allItems(source).at(0).page.path, folder.path() + "/a.html");
}

TEST(PageSource, TakesTheFirstFolderBelowADirectoryAsTheSite) {
  const TemporaryFolder folder;
  folder.write("a.html", "");
  folder.write("s/b.html", "");
  folder.write("s/t/c.html", "");
  PageSources source({folder.path()});
  const std::vector<PageItem> items = allItems(source);
  ASSERT_EQ(items.size(), 3u);
  EXPECT_EQ(items[0].page.site, folder.at("a.html"));
  EXPECT_EQ(items[1].page.site, folder.at("s"));
  EXPECT_EQ(items[2].page.site, folder.at("s"));
}

TEST(PageSource, FollowsLinksToFilesButNotToFolders) {
  const TemporaryFolder folder;
  const TemporaryFolder elsewhere;
  elsewhere.write("page.html", "linked");
  std::filesystem::create_symlink(elsewhere.at("page.html"), folder.at("link.html"));
  std::filesystem::create_directory_symlink(elsewhere.path(), folder.at("folder"));
  std::filesystem::create_directory_symlink(folder.path(), folder.at("circle"));
  std::filesystem::create_symlink(folder.at("nowhere"), folder.at("broken.html"));
  PageSources source({folder.path()});
  const std::vector<PageItem> items = allItems(source);
  EXPECT_THAT(bytesOf(items), ElementsAre("linked"));
  EXPECT_THAT(errorsOf(items, folder.path()),
              ElementsAre("/broken.html: cannot be read: No such file or directory"));
}

TEST(PageSource, PassesOverPipesInADirectory) {
  const TemporaryFolder folder;
  folder.write("page.html", "page");
  ASSERT_EQ(::mkfifo(folder.at("a.html").c_str(), 0600), 0);
  std::filesystem::create_symlink(folder.at("a.html"), folder.at("b.html"));
  std::filesystem::create_symlink("/dev/zero", folder.at("c.html"));
  PageSources source({folder.path()});
  const std::vector<PageItem> items = allItems(source);
  EXPECT_THAT(bytesOf(items), ElementsAre("page"));
  EXPECT_THAT(errorsOf(items, folder.path()), IsEmpty());
}

TEST(PageSource, ReportsWhatIsNotThereAndGoesOn) {
  const TemporaryFolder folder;
  folder.write("empty/picture.png", "");
  folder.write("a.html", "page");
  PageSources source({folder.at("missing.html"), folder.at("missing.warc"), folder.at("missing.jsonl"),
                      folder.at("empty"), folder.at("a.html")});
  const std::vector<PageItem> items = allItems(source);
  EXPECT_THAT(bytesOf(items), ElementsAre("page"));
  EXPECT_THAT(errorsOf(items, folder.path()),
              ElementsAre("/missing.html: cannot be read: No such file or directory",
                          "/missing.warc: cannot be read: No such file or directory",
                          "/missing.jsonl: cannot be read: No such file or directory",
                          "/empty: is a directory without pages (.html, .htm, .xhtml or .txt)"));
}

TEST(PageSource, ReportsWhatMayNotBeRead) {
  if (geteuid() == 0) GTEST_SKIP() << "root may read everything";
  const TemporaryFolder folder;
  std::filesystem::permissions(folder.write("a.html", ""), std::filesystem::perms::none);
  folder.write("closed/b.html", "");
  std::filesystem::permissions(folder.at("closed"), std::filesystem::perms::none);
  PageSources source({folder.path()});
  EXPECT_THAT(errorsOf(allItems(source), folder.path()),
              ElementsAre("/a.html: cannot be read: Permission denied",
                          "/closed: cannot be listed: Permission denied"));
  std::filesystem::permissions(folder.at("closed"), std::filesystem::perms::owner_all);
}

TEST(PageSource, ReportsAFileThatOpensButCannotBeRead) {
  PageSources source({"/proc/self/mem"});  // nothing is mapped at its beginning
  EXPECT_THAT(errorsOf(allItems(source), "/proc/self/mem"),
              ElementsAre(": cannot be read: Input/output error"));
}

TEST(PageSource, RefusesAnEndlessFile) {
  PageSources source({"/dev/zero"});
  EXPECT_THAT(errorsOf(allItems(source), "/dev/zero"), ElementsAre(": is larger than 67108864 bytes"));
}

TEST(PageSource, TellsTheKindOfAFileByItsName) {
  const TemporaryFolder folder;
  const std::string json = "{\"html\":\"json\"}\n";
  folder.write("a.jsonl", json);
  folder.write("a.JSONL.GZ", gzipped(json));
  folder.write("a.json", json);
  folder.write("a.warc", warcResponse("http://a/", httpMessage("Content-Type: text/html\r\n", "warc")));
  folder.write("a.html.gz", gzipped("x"));
  PageSources source({folder.at("a.jsonl"), folder.at("a.JSONL.GZ"), folder.at("a.json"), folder.at("a.warc"),
                      folder.at("a.html.gz")});
  EXPECT_THAT(bytesOf(allItems(source)), ElementsAre("json", "json", json, "warc", gzipped("x")));
}

TEST(PageSource, CountsItsBytesForTheProgressBar) {
  const TemporaryFolder folder;
  folder.write("d/a.html", std::string(10, 'x'));
  folder.write("d/b.html", std::string(20, 'x'));
  folder.write("c.jsonl", "{\"html\":\"\"}\n");
  PageSources source({folder.at("d"), folder.at("c.jsonl")});
  EXPECT_EQ(source.bytesTotal(), 42u);
  EXPECT_EQ(source.bytesRead(), 0u);
  EXPECT_TRUE(source.next());
  EXPECT_EQ(source.bytesRead(), 10u);
  EXPECT_EQ(allItems(source).size(), 2u);
  EXPECT_EQ(source.bytesRead(), 42u);
  PageSources unknown({folder.at("d"), "/dev/null"});
  EXPECT_EQ(unknown.bytesTotal(), 0u);
}

}  // namespace
}  // namespace sifterra::tools
