// `sifterra train` from end to end, on small sites written for the test.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "lsm/TinyMap.h"
#include "tools/command_run.h"
#include "tools/fixtures.h"

namespace sifterra::tools {
namespace {

using testing::HasSubstr;
using testing::Not;

const std::vector<std::string> kShared = {"welcome", "contact", "today", "more", "page", "about",
                                          "with",    "this",    "our",   "all",  "your", "news",
                                          "home",    "here",    "from",  "read"};
const std::vector<std::string> kFirst = {"garden", "river",   "bicycle", "bakery", "library", "museum",
                                         "forest", "school",  "weather", "recipe", "train",   "violin",
                                         "bridge", "harbour", "castle",  "meadow"};
const std::vector<std::string> kSecond = {"pistol",    "casino", "jackpot", "roulette", "wager", "poker",
                                          "betting",   "bonus",  "slots",   "dealer",   "odds",  "stakes",
                                          "blackjack", "bookie", "payout",  "spins"};

// Page n of a category: a sentence of forty words, always the same for the same n.
std::string words(int category, std::size_t page) {
  const std::vector<std::string>& own = category == 1 ? kFirst : kSecond;
  std::string text;
  std::size_t state = page * 7919 + static_cast<std::size_t>(category) * 104729 + 1;
  for (int i = 0; i < 40; ++i) {
    state = (state * 1103515245 + 12345) % 2147483648U;
    const std::size_t pick = state >> 12U;
    text += (i % 2 == 0 ? kShared[pick % kShared.size()] : own[pick % own.size()]) + " ";
  }
  return text;
}

std::string page(int category, std::size_t number) {
  return "<html><head><title>" + words(category, number).substr(0, 20) + "</title></head><body><p>" +
         words(category, number) + "</p></body></html>";
}

std::string jsonLines(std::size_t pagesPerCategory, int categories = 2) {
  std::string lines;
  for (std::size_t i = 0; i < pagesPerCategory; ++i) {
    for (int c = 1; c <= categories; ++c) {
      lines += "{\"html\":\"" + page(c, i) + "\",\"label\":" + std::to_string(c) + ",\"site\":\"s" +
               std::to_string(i / 2) + "." + std::to_string(c) + "\"}\n";
    }
  }
  return lines;
}

std::string contentsOf(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

TEST(TrainCommand, LearnsFromFoldersAndThenTellsPagesApart) {
  const TemporaryFolder folder;
  for (std::size_t i = 0; i < 60; ++i) {
    folder.write("good/" + std::to_string(i) + ".html", page(1, i));
    folder.write("bad/" + std::to_string(i) + ".html", page(2, i));
  }
  const std::string map = folder.at("new.map");
  const CommandRun run = runCommand(
      {"train", "--category", "1=" + folder.at("good"), "--category", "2=" + folder.at("bad"), "-o", map});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(run.out, HasSubstr("read: 120 pages\n"));
  EXPECT_THAT(run.out, Not(HasSubstr("left out")));
  EXPECT_THAT(run.out, HasSubstr("category 1: learnt from 45 pages, calibrated on 15, of which "));
  EXPECT_THAT(run.out, HasSubstr("category 2: learnt from 57 pages, calibrated on 3, of which "));
  EXPECT_THAT(run.out, HasSubstr("sites: 120\n"));
  EXPECT_THAT(run.out, HasSubstr("map: " + map + ", "));
  EXPECT_EQ(runCommand({"check", "--map", map, folder.write("a.html", page(1, 1000))}).status, 0);
  EXPECT_EQ(runCommand({"check", "--map", map, folder.write("b.html", page(2, 1000))}).status, 1);
}

TEST(TrainCommand, MakesTheSameFileWithAnyNumberOfThreads) {
  const TemporaryFolder folder;
  const std::string pages = folder.write("pages.jsonl", jsonLines(60));
  std::string first;
  for (const char* const threads : {"1", "2", "8"}) {
    SCOPED_TRACE(threads);
    const std::string map = folder.at("map" + std::string(threads));
    const CommandRun run = runCommand({"train", pages, "-j", threads, "-o", map});
    ASSERT_EQ(run.status, 0) << run.err;
    const std::string bytes = contentsOf(map);
    EXPECT_FALSE(bytes.empty());
    if (first.empty()) first = bytes;
    EXPECT_TRUE(bytes == first);
  }
}

TEST(TrainCommand, KeepsRankAndThreshold) {
  const TemporaryFolder folder;
  const std::string pages = folder.write("pages.jsonl.gz", gzipped(jsonLines(60)));
  const std::string map = folder.at("map");
  ASSERT_EQ(runCommand({"train", pages, "--rank", "5", "--threshold", "0.75", "-o", map}).status, 0);
  const CommandRun info = runCommand({"map", "info", map});
  EXPECT_THAT(info.out, HasSubstr("rank: 5\n"));
  EXPECT_THAT(info.out, HasSubstr("threshold: 0.75\n"));
}

TEST(TrainCommand, CountsWhatItLeavesOut) {
  const TemporaryFolder folder;
  const std::string pages =
      folder.write("pages.jsonl", jsonLines(60) + "{\"html\":\"<p>x</p>\",\"label\":1}\n" +
                                      "{\"html\":\"<frameset><frame></frameset>\",\"label\":1}\n" +
                                      "{\"html\":\"<p>no label</p>\"}\nnonsense\n");
  const CommandRun run = runCommand({"train", pages, "-o", folder.at("map")});
  EXPECT_EQ(run.status, 2);  // two pages could not be read; the map is made of the others
  EXPECT_THAT(run.out, HasSubstr("read: 124 pages\nleft out: 2 could not be read, "));
  EXPECT_THAT(run.out, HasSubstr(" with too little content"));
  EXPECT_THAT(run.err, HasSubstr("pages.jsonl:123: tells no category (\"label\")\n"));
  EXPECT_TRUE(std::filesystem::exists(folder.at("map")));
}

TEST(TrainCommand, RefusesWithAReasonAndWritesNothing) {
  const TemporaryFolder folder;
  const std::string both = folder.write("both.jsonl", jsonLines(60));
  const std::string one = folder.write("one.jsonl", jsonLines(60, 1));
  const std::string few = folder.write("few.jsonl", jsonLines(2));
  std::filesystem::create_directory(folder.at("empty"));
  struct Row {
    std::vector<std::string> arguments;
    std::string message;
  };
  const Row rows[] = {
      {{}, "nothing to learn from: expected --category or a FILE"},
      {{one}, "no map was made: pages of two categories or more are needed"},
      {{one, "--category", "3=" + folder.at("empty")},
       "no map was made: pages of two categories or more are needed"},
      {{both, "--category", "4=" + folder.write("four.jsonl", jsonLines(60, 1))},
       "no map was made: category 3 has no usable page"},
      {{few}, "no map was made: the pages of category 1 are of one site"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.message);
    std::vector<std::string> arguments = {"train", "-o", folder.at("map")};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const CommandRun run = runCommand(arguments);
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr(row.message));
    EXPECT_EQ(run.out, "");
    EXPECT_FALSE(std::filesystem::exists(folder.at("map")));
  }
}

TEST(TrainCommand, RefusesPagesThatAreNotToldApart) {
  const TemporaryFolder folder;
  std::string lines;
  for (std::size_t i = 0; i < 120; ++i) {
    lines += "{\"html\":\"" + page(1, i) + "\",\"label\":" + std::to_string(1 + i / 2 % 2) + ",\"site\":\"s" +
             std::to_string(i / 2) + "\"}\n";
  }
  const CommandRun run = runCommand({"train", folder.write("pages.jsonl", lines), "-o", folder.at("map")});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("no map was made: the map does not calibrate: "));
  EXPECT_FALSE(std::filesystem::exists(folder.at("map")));
}

// A page of both kinds of words, with words that no other page has.
std::string schoolLine(std::size_t number, int label) {
  return "{\"html\":\"<title>zorbek</title><p>" + words(1, number).substr(0, 60) + " " + words(2, number) +
         " zorbek quilvan hexwyth jarvolm yontreg wuxhal ozqueth\",\"label\":" + std::to_string(label) +
         ",\"url\":\"http://school.example/" + std::to_string(number) + "\"}\n";
}

TEST(TrainCommand, AddsPagesToAMapWithoutThoseThatItWasMadeOf) {
  const TemporaryFolder folder;
  const std::string base = folder.at("base.map");
  const CommandRun trained = runCommand({"train", folder.write("pages.jsonl", jsonLines(150)), "-o", base});
  ASSERT_EQ(trained.status, 0) << trained.err;
  const std::string school = folder.write("school.jsonl", schoolLine(1000, 1));
  ASSERT_EQ(runCommand({"check", "--map", base, school}).status, 1);
  const std::string bytes = contentsOf(base);
  const std::string map = folder.at("school.map");
  const CommandRun run = runCommand({"train", "--base", base, "--add-pages", school, "-o", map});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("read: 1 page\nadded: 1 page, "));
  EXPECT_THAT(run.out, HasSubstr("told right: 0 before, 1 now\n"));
  EXPECT_THAT(run.out, HasSubstr("remembered pages of the last category restricted: "));
  EXPECT_THAT(run.out, HasSubstr("remembered pages of other categories restricted: "));
  EXPECT_THAT(run.out, HasSubstr("map: " + map + ", "));
  EXPECT_EQ(runCommand({"check", "--map", map, school}).status, 0);
  EXPECT_TRUE(contentsOf(base) == bytes);
  EXPECT_EQ(runCommand({"check", "--map", map, folder.write("b.html", page(2, 2000))}).status, 1);
  const CommandRun info = runCommand({"map", "info", map});
  EXPECT_THAT(info.out, HasSubstr("Added Pages: 1"));
  EXPECT_THAT(info.out, HasSubstr("Base: base.map\n"));
  EXPECT_THAT(info.out, HasSubstr("Trained Recall: 1"));
  const std::string checksum = linesOf(runCommand({"map", "info", base}).out).at(10);
  EXPECT_THAT(info.out, HasSubstr("Base C" + checksum.substr(1) + "\n"));
  // Without the pages again: the base, to the byte, is what the pages are added to.
  const std::string again = folder.at("again.map");
  ASSERT_EQ(runCommand({"train", "--base", base, "--add-pages", school, "-o", again}).status, 0);
  EXPECT_TRUE(contentsOf(again) == contentsOf(map));
}

// What the map knows, said to be wrong.
TEST(TrainCommand, NamesPagesThatContradictTheMapAndForgetsNothingForThem) {
  const TemporaryFolder folder;
  const std::string base = folder.at("base.map");
  ASSERT_EQ(runCommand({"train", folder.write("pages.jsonl", jsonLines(150)), "-o", base}).status, 0);
  std::string lines;
  for (std::size_t i = 1000; i < 1300; ++i) {
    lines += "{\"html\":\"" + page(2, i) + "\",\"label\":1,\"url\":\"http://w.example/" + std::to_string(i) +
             "\"}\n";
  }
  const std::string map = folder.at("wrong.map");
  const CommandRun run =
      runCommand({"train", "--base", base, "--add-pages", folder.write("wrong.jsonl", lines), "-o", map});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("still wrong: category 1: "));
  EXPECT_THAT(run.out, HasSubstr("wrong.jsonl http://w.example/1000\n"));
  for (std::size_t i = 2000; i < 2005; ++i)
    EXPECT_EQ(runCommand({"check", "--map", map, folder.write("b.html", page(2, i))}).status, 1) << i;
}

// Earlier additions have cost so much already: the base was trained with other figures than it has now.
TEST(TrainCommand, WarnsOfAFallAndRefusesALargeOneUnlessItIsForced) {
  const TemporaryFolder folder;
  const std::string trained = folder.at("trained.map");
  ASSERT_EQ(runCommand({"train", folder.write("pages.jsonl", jsonLines(150)), "-o", trained}).status, 0);
  const std::string base = folder.at("base.map");
  const auto rememberedAs = [&](float recall) {
    std::string why;
    lsm::MapContents contents = lsm::contentsOf(*lsm::lsmMapLoad(trained, 0, &why));
    contents.properties["Trained Recall"] = recall;
    EXPECT_TRUE(lsm::writeMapFile(base, contents, why)) << why;
  };
  const std::string school = folder.write("school.jsonl", schoolLine(1000, 1));
  const std::string map = folder.at("school.map");
  const std::string warning = "warning: with these pages the map finds fewer of the pages that it remembers";
  const auto add = [&](std::vector<std::string> more) {
    std::vector<std::string> arguments = {"train", "--base", base, "--add-pages", school, "-o", map};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return runCommand(arguments);
  };
  rememberedAs(1.0f);
  EXPECT_THAT(add({}).err, Not(HasSubstr("warning")));
  rememberedAs(1.01f);
  const CommandRun warned = add({});
  EXPECT_EQ(warned.status, 0);
  EXPECT_THAT(warned.err, HasSubstr(warning));
  std::filesystem::remove(map);
  rememberedAs(1.05f);
  const CommandRun refused = add({});
  EXPECT_EQ(refused.status, 2);
  EXPECT_THAT(refused.err,
              HasSubstr("no map was made: with these pages the map would find 100.0% of category 2 that "
                        "it remembers, after 105.0%"));
  EXPECT_FALSE(std::filesystem::exists(map));
  const CommandRun forced = add({"--force"});
  EXPECT_EQ(forced.status, 0);
  EXPECT_THAT(forced.err, HasSubstr(warning));
  EXPECT_TRUE(std::filesystem::exists(map));
}

TEST(TrainCommand, RefusesToAddPagesWithAReason) {
  const TemporaryFolder folder;
  const std::string base = folder.at("base.map");
  const std::string pages = folder.write("pages.jsonl", jsonLines(60));
  ASSERT_EQ(runCommand({"train", pages, "-o", base}).status, 0);
  const lsm::TinyMapFile forgetful;
  struct Row {
    std::vector<std::string> arguments;
    std::string message;
  };
  const Row rows[] = {
      {{"--add-pages", pages, "-o", folder.at("m")},
       "--add-pages needs the map that they are added to: --base MAP"},
      {{"--base", base, "-o", folder.at("m")}, "nothing to learn from: expected --category or a FILE"},
      {{"--base", base, "--add-pages", pages, "-o", base},
       base + ": is the base; it stays as it is, so that the pages can be taken out again"},
      {{"--base", folder.at("none"), "--add-pages", pages, "-o", folder.at("m")}, folder.at("none") + ": "},
      {{"--base", forgetful.path(), "--add-pages", pages, "-o", folder.at("m")},
       "no map was made: the map remembers nothing of the pages that it was made of"},
      {{"--base", base, "--add-pages", folder.write("three.jsonl", schoolLine(1, 3)), "-o", folder.at("m")},
       "no map was made: a page is of category 3, but the map has 2"},
      {{"--base", base, "--rank", "5", "--add-pages", pages, "-o", folder.at("m")}, "--rank"},
      {{"--force", "-o", folder.at("m"), pages}, "--base"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.message);
    std::vector<std::string> arguments = {"train"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const CommandRun run = runCommand(arguments);
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr(row.message));
    EXPECT_FALSE(std::filesystem::exists(folder.at("m")));
  }
}

TEST(TrainCommand, SaysWhenTheMapCannotBeWritten) {
  const TemporaryFolder folder;
  const std::string pages = folder.write("pages.jsonl", jsonLines(60));
  const std::string map = folder.at("missing/map");
  const CommandRun run = runCommand({"train", pages, "-o", map});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr(map + ": cannot create a file beside the map: No such file or directory"));
}

TEST(TrainCommand, MistakesOfTheCommandLineAreErrors) {
  struct Row {
    std::vector<std::string> arguments;
    const char* message;
  };
  const Row rows[] = {
      {{"train", "a.jsonl"}, "-o"},
      {{"train", "-o", "m", "--rank", "1", "a.jsonl"}, "--rank"},
      {{"train", "-o", "m", "--threshold", "1", "a.jsonl"},
       "expected auto or a number between 0 and 1, not 1"},
      {{"train", "-o", "m", "--threshold", "0.5x", "a.jsonl"}, "expected auto or a number between 0 and 1"},
      {{"train", "-o", "m", "--category", "0=a"}, "expected N=DIR with N from 1 to 9, not 0=a"},
  };
  for (const Row& row : rows) {
    const CommandRun run = runCommand(row.arguments);
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr(row.message));
  }
}

}  // namespace
}  // namespace sifterra::tools
