// The word dump goes through the shell, so these tests put commands of their own first in PATH where they
// need one that misbehaves.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "classifier/FakeEngine.h"
#include "platform/Log.h"
#include "sifterra/classifier/WFLSMMap.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::Logger;
using platform::LogLevel;
using platform::String;

namespace fs = std::filesystem;

class WordDump : public ::testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/sifterra-dump-XXXXXX";
    directory = ::mkdtemp(name);
    path = std::getenv("PATH");
    Logger::setPrivateData(true);
  }
  void TearDown() override {
    Logger::setPrivateData(false);
    ::setenv("PATH", path.c_str(), 1);
    for (const fs::path& file : {unsorted, sorted}) fs::remove(file);
    fs::remove_all(directory);
  }
  // A command that stands in for one of the system's.
  void replaceCommand(const std::string& name, const std::string& script) {
    std::ofstream(directory / name) << "#!/bin/sh\n" << script << "\n";
    fs::permissions(directory / name, fs::perms::owner_all);
    ::setenv("PATH", (directory.string() + ":" + path).c_str(), 1);
  }
  static String dump(const std::string& lines) {
    return WFLSMMap::mapWithMap(fakeMap({.dump = lines}))->wordDump(String(u"text"));
  }

  fs::path directory;
  std::string path;
  const std::string stem = "/tmp/WebContentFilterPageDump-" + std::to_string(::getpid());
  const fs::path unsorted = stem + ".txt";
  const fs::path sorted = stem + "-sorted.txt";
};

TEST_F(WordDump, SortsTheEnginesLinesInReverse) {
  EXPECT_EQ(dump("0.100000 low\n0.900000 high\n0.500000 h\u00f6her\n"),
            String(u"0.900000 high\n0.500000 h\u00f6her\n0.100000 low\n"));
  EXPECT_EQ(dump(""), String(u""));
}

TEST_F(WordDump, LeavesNoFileBehind) {
  const CapturedLog log;
  EXPECT_FALSE(dump("line\n").isNull());
  EXPECT_FALSE(fs::exists(unsorted));
  EXPECT_FALSE(fs::exists(sorted));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(WordDump, IsNullForANullText) {
  const CapturedLog log;
  EXPECT_TRUE(WFLSMMap::mapWithMap(fakeMap({}))->wordDump(nullptr).isNull());
  EXPECT_TRUE(log.contains(LogLevel::Error,
                           "-[WFLSMMap _createLSMTextFromString:] -- Couldn't create text because the "
                           "strippedContent is nil"));
}

TEST_F(WordDump, IsNullWhenTheEngineCannotWriteIt) {
  const auto map = WFLSMMap::mapWithMap(fakeMap({.dump = "half", .dumpFails = true}));
  EXPECT_TRUE(map->wordDump(String(u"text")).isNull());
  EXPECT_EQ(liveTexts(), 0);
}

TEST_F(WordDump, IsNullWhenTheResultIsNotUTF8) {
  EXPECT_TRUE(dump("\xff\n").isNull());
}

TEST_F(WordDump, TheFilesAreForThisUserAlone) {
  replaceCommand("sort", "stat -c %a " + unsorted.string() + " " + sorted.string());
  EXPECT_EQ(dump("line\n"), String(u"600\n600\n"));
}

TEST_F(WordDump, RunsTheSortOverTheNamedFiles) {
  replaceCommand("cat", "echo \"$@\"");
  EXPECT_EQ(dump("line\n").toUTF8(), unsorted.string() + "\n");
}

TEST_F(WordDump, WarnsOfEachFileThatCannotBeRemoved) {
  replaceCommand("sort", "/bin/cat; /bin/rm " + unsorted.string() + " " + sorted.string());
  const CapturedLog log;
  EXPECT_EQ(dump("line\n"), String(u"line\n"));  // the result is there all the same
  const std::string warning = "-[WFLSMMap wordDump:] -- Warning: failed to remove tmp file: ";
  EXPECT_EQ(log.texts(), (std::vector<std::string>{warning + unsorted.string(), warning + sorted.string()}));
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Default);
}

TEST_F(WordDump, TheNameInAWarningIsPrivate) {
  Logger::setPrivateData(false);
  replaceCommand("sort", "/bin/cat; /bin/rm " + unsorted.string());
  const CapturedLog log;
  (void)dump("line\n");
  EXPECT_EQ(log.texts(), std::vector<std::string>{
                             "-[WFLSMMap wordDump:] -- Warning: failed to remove tmp file: <private>"});
}

TEST_F(WordDump, ReplacesWhatAnEarlierProcessLeft) {
  std::ofstream(unsorted) << "old";
  std::ofstream(sorted) << "older and longer";
  EXPECT_EQ(dump("new\n"), String(u"new\n"));
}

TEST_F(WordDump, NeverFollowsALink) {
  const fs::path victim = directory / "victim";
  std::ofstream(victim) << "precious";
  fs::create_symlink(victim, unsorted);
  fs::create_symlink(victim, sorted);
  EXPECT_EQ(dump("line\n"), String(u"line\n"));
  std::string kept;
  std::ifstream(victim) >> kept;
  EXPECT_EQ(kept, "precious");
  EXPECT_FALSE(fs::is_symlink(fs::symlink_status(unsorted)));
}

TEST_F(WordDump, RefusesANameThatItCannotTake) {
  fs::create_directory(unsorted);
  const CapturedLog log;
  EXPECT_TRUE(dump("line\n").isNull());
  EXPECT_EQ(log.texts(),
            std::vector<std::string>{"-[WFLSMMap wordDump:] -- Warning: failed to create tmp file: " +
                                     unsorted.string()});
  EXPECT_TRUE(fs::is_directory(unsorted));
  EXPECT_FALSE(fs::exists(sorted));
}

TEST_F(WordDump, DumpsOfSeveralThreadsDoNotMix) {
  std::vector<std::thread> threads;
  std::vector<std::string> results(6);
  for (std::size_t i = 0; i < results.size(); ++i) {
    threads.emplace_back([&results, i] {
      const std::string line = std::string(1000, static_cast<char>('a' + i)) + "\n";
      for (int round = 0; round < 5; ++round) results[i] += dump(line) == String::fromUTF8(line) ? "y" : "n";
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::string& result : results) EXPECT_EQ(result, "yyyyy");
}

}  // namespace
}  // namespace sifterra
