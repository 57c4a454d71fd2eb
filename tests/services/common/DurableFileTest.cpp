#include "common/durable_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

namespace sifterra::services {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::StartsWith;
using testing::UnorderedElementsAre;

class DurableFileTest : public testing::Test {
 protected:
  DurableFileTest() {
    char pattern[] = "/tmp/durable.XXXXXX";
    _folder = mkdtemp(pattern);
    _file = _folder + "/list.json";
  }
  ~DurableFileTest() override { fs::remove_all(_folder); }

  void write(const std::string& bytes, unsigned mode = 0600) {
    std::string problem;
    ASSERT_TRUE(writeDurably(_file, bytes, mode, problem)) << problem;
  }
  [[nodiscard]] std::string at(const std::string& name) const { return _folder + "/" + name; }
  void put(const std::string& name, std::time_t age) const {
    std::ofstream(at(name)) << "half";
    setAge(name, age);
  }
  void setAge(const std::string& name, std::time_t age) const {
    const timespec date{std::time(nullptr) - age, 0};
    const timespec dates[2] = {date, date};
    ASSERT_EQ(utimensat(AT_FDCWD, at(name).c_str(), dates, AT_SYMLINK_NOFOLLOW), 0);
  }
  [[nodiscard]] std::set<std::string> names() const {
    std::set<std::string> found;
    for (const auto& entry : fs::directory_iterator(_folder)) found.insert(entry.path().filename());
    return found;
  }

  std::string _folder;
  std::string _file;
};

std::string read(const std::string& path) {
  std::string problem;
  return readWhole(path, 1 << 20, problem).value_or("(" + problem + ")");
}

TEST_F(DurableFileTest, AWriteReplacesTheWholeFileAndLeavesNothingBesideIt) {
  write("a long first version");
  write("second", 0640);
  EXPECT_EQ(read(_file), "second");
  EXPECT_EQ(fs::status(_file).permissions(), static_cast<fs::perms>(0640));
  EXPECT_THAT(names(), ElementsAre("list.json"));
}

TEST_F(DurableFileTest, ALinkIsReplacedNotFollowed) {
  std::ofstream(at("other")) << "kept";
  fs::create_symlink("other", _file);
  write("new");
  EXPECT_EQ(read(at("other")), "kept");
  EXPECT_FALSE(fs::is_symlink(_file));
}

TEST_F(DurableFileTest, AFailureLeavesTheOldFileAndSaysWhy) {
  std::string problem;
  EXPECT_FALSE(writeDurably(at("none/list.json"), "x", 0600, problem));
  EXPECT_EQ(problem, "cannot write beside " + at("none/list.json") + ": No such file or directory");
  fs::create_directory(_file);
  EXPECT_FALSE(writeDurably(_file, "x", 0600, problem));
  EXPECT_EQ(problem, "cannot write " + _file + ": Is a directory");
  EXPECT_THAT(names(), ElementsAre("list.json"));
}

TEST_F(DurableFileTest, WhatAKilledWriterLeftGoesWithTheNextWriteThatIsAMinuteLater) {
  put("list.json.new-aB3xyz", 61);
  put("list.json.new-future", -61);  // the clock was set back since
  put("list.json.new-recent", 30);   // somebody may be writing it
  write("new");
  EXPECT_THAT(names(), UnorderedElementsAre("list.json", "list.json.new-recent"));
  setAge("list.json.new-recent", 61);
  write("newer");
  EXPECT_THAT(names(), ElementsAre("list.json"));
}

TEST_F(DurableFileTest, WhatIsNoLeftoverOfThisFileStays) {
  const std::set<std::string> others = {
      "list.json.new-",      "list.json.new-short",   "list.json.new-toolong", "list.json.old-abcdef",
      "list.jso.new-abcdef", "other.json.new-abcdef", ".list.json.new-abcdef", "list.json.new-folder"};
  fs::create_directory(at("list.json.new-folder"));
  for (const std::string& name : others) {
    if (!fs::exists(at(name))) put(name, 3600);
  }
  setAge("list.json.new-folder", 3600);
  std::ofstream(at("target")) << "kept";
  setAge("target", 3600);
  fs::create_symlink("target", at("list.json.new-linked"));
  setAge("list.json.new-linked", 3600);
  write("new");
  std::set<std::string> expected = others;
  expected.insert({"list.json", "target", "list.json.new-linked"});
  EXPECT_EQ(names(), expected);
}

TEST_F(DurableFileTest, AnotherAccountsFileStays) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to give a file away";
  put("list.json.new-others", 3600);
  ASSERT_EQ(chown(at("list.json.new-others").c_str(), 40001, 40001), 0);
  write("new");
  EXPECT_THAT(names(), UnorderedElementsAre("list.json", "list.json.new-others"));
}

TEST_F(DurableFileTest, AWriterThatIsKilledAtAnyPointLeavesAWholeFileAndNothingForLong) {
  const std::string first(200000, 'a');
  const std::string second(200000, 'b');
  write(first);
  int between = 0;
  for (int turn = 0; turn < 200; ++turn) {
    const pid_t writer = fork();
    if (writer == 0) {
      std::string problem;
      for (;;) (void)writeDurably(_file, turn % 2 == 0 ? second : first, 0600, problem);
    }
    usleep(static_cast<useconds_t>(turn * 7 % 2000));  // some point of its work, another in each turn
    kill(writer, SIGKILL);
    ASSERT_EQ(waitpid(writer, nullptr, 0), writer);
    const std::string now = read(_file);
    ASSERT_TRUE(now == first || now == second) << now.substr(0, 80);
  }
  for (const std::string& name : names()) {
    if (name == "list.json") continue;
    EXPECT_THAT(name, StartsWith("list.json.new-"));
    setAge(name, 61);
    ++between;
  }
  EXPECT_GT(between, 0);
  write("last");
  EXPECT_EQ(read(_file), "last");
  EXPECT_THAT(names(), ElementsAre("list.json"));
}

TEST_F(DurableFileTest, ReadingTellsWhyThereIsNothing) {
  std::string problem;
  bool missing = false;
  EXPECT_FALSE(readWhole(_file, 10, problem, &missing));
  EXPECT_TRUE(missing);
  EXPECT_EQ(problem, "cannot read " + _file + ": No such file or directory");
  EXPECT_FALSE(readWhole(_folder, 10, problem, &missing));
  EXPECT_FALSE(missing);
  EXPECT_EQ(problem, "cannot read " + _folder + ": it is no file");
  write("eleven char");
  EXPECT_FALSE(readWhole(_file, 10, problem, &missing));
  EXPECT_EQ(problem, "cannot read " + _file + ": it is larger than 10 bytes");
  EXPECT_EQ(readWhole(_file, 11, problem), "eleven char");
  ASSERT_EQ(mkfifo(at("pipe").c_str(), 0600), 0);
  EXPECT_FALSE(readWhole(at("pipe"), 10, problem));  // and does not wait for a writer
}

}  // namespace
}  // namespace sifterra::services
