#include "platform/FileReplacement.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include "platform/FileSystem.h"

namespace sifterra::platform {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class FileReplacementTest : public testing::Test {
 protected:
  FileReplacementTest() {
    char name[] = "/tmp/sifterra-replace-XXXXXX";
    directory_ = ::mkdtemp(name);
  }
  ~FileReplacementTest() override { fs::remove_all(directory_); }

  [[nodiscard]] std::string at(const std::string& name) const { return directory_ + "/" + name; }
  static void write(const std::string& path, const std::string& bytes) { std::ofstream(path) << bytes; }
  static std::string read(const std::string& path) { return readFile(path, 1 << 20).value_or("(none)"); }

  std::string directory_;
};

TEST_F(FileReplacementTest, MakesTheFileAndItsDirectories) {
  FileReplacement file(at("a/b/file"));
  ASSERT_TRUE(file.begin()) << file.problem();
  EXPECT_FALSE(fs::exists(at("a/b/file")));
  ASSERT_TRUE(file.replace("one")) << file.problem();
  EXPECT_EQ(read(at("a/b/file")), "one");
  struct stat status {};
  ASSERT_EQ(::stat(at("a/b/file").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0644u);
  ASSERT_EQ(::stat(at("a/b/.file.lock").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);  // who may not change the file cannot hold its writers up
}

TEST_F(FileReplacementTest, KeepsTheMode) {
  write(at("file"), "one");
  ::chmod(at("file").c_str(), 0604);
  FileReplacement file(at("file"));
  ASSERT_TRUE(file.begin());
  ASSERT_TRUE(file.replace("two"));
  struct stat status {};
  ASSERT_EQ(::stat(at("file").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0604u);
  EXPECT_EQ(read(at("file")), "two");
}

TEST_F(FileReplacementTest, KeepsTheOwner) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root gives files away";
  write(at("file"), "one");
  ASSERT_EQ(::chown(at("file").c_str(), 12345, 23456), 0);
  FileReplacement file(at("file"));
  ASSERT_TRUE(file.begin());
  ASSERT_TRUE(file.replace("two"));
  struct stat status {};
  ASSERT_EQ(::stat(at("file").c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 12345u);
  EXPECT_EQ(status.st_gid, 23456u);
}

TEST_F(FileReplacementTest, EachVersionIsDatedLaterThanTheOneBefore) {
  FileReplacement file(at("file"));
  ASSERT_TRUE(file.begin());
  std::int64_t before = 0;
  for (int i = 0; i < 200; ++i) {
    ASSERT_TRUE(file.replace(std::to_string(i)));
    const std::int64_t date = modificationDate(at("file")).value_or(0);
    EXPECT_GT(date, before);
    before = date;
  }
}

TEST_F(FileReplacementTest, AFileFromTheFutureIsDatedLaterStill) {
  write(at("file"), "one");
  const timespec future[2] = {{4'000'000'000, 5}, {4'000'000'000, 999'999'999}};
  ASSERT_EQ(::utimensat(AT_FDCWD, at("file").c_str(), future, 0), 0);
  FileReplacement file(at("file"));
  ASSERT_TRUE(file.begin());
  ASSERT_TRUE(file.replace("two"));
  EXPECT_EQ(modificationDate(at("file")), 4'000'000'001'000'000'000);
}

TEST_F(FileReplacementTest, ReplacesWhatALinkLeadsTo) {
  fs::create_directory(at("real"));
  write(at("real/file"), "one");
  fs::create_symlink("real/file", at("link"));
  FileReplacement file(at("link"));
  ASSERT_TRUE(file.begin());
  EXPECT_EQ(file.path(), fs::canonical(at("real/file")).string());
  ASSERT_TRUE(file.replace("two"));
  EXPECT_TRUE(fs::is_symlink(at("link")));
  EXPECT_EQ(read(at("real/file")), "two");
}

TEST_F(FileReplacementTest, WhatIsNoFileIsNotReplaced) {
  fs::create_directory(at("directory"));
  FileReplacement directory(at("directory"));
  ASSERT_TRUE(directory.begin());
  EXPECT_FALSE(directory.replace("x"));
  EXPECT_EQ(directory.problem(), at("directory") + " is no file");
  fs::create_symlink(at("nowhere"), at("dangling"));
  FileReplacement dangling(at("dangling"));
  EXPECT_FALSE(dangling.begin());
  EXPECT_EQ(dangling.problem(), at("dangling") + " cannot be reached: No such file or directory");
  write(at("file"), "");
  FileReplacement below(at("file/name"));
  EXPECT_FALSE(below.begin());
  EXPECT_THAT(below.problem(), HasSubstr("Not a directory"));
}

TEST_F(FileReplacementTest, KeepsASecondWriterOutForALimitedTime) {
  FileReplacement first(at("file"));
  ASSERT_TRUE(first.begin());
  FileReplacement second(at("file"), std::chrono::milliseconds(50));
  EXPECT_FALSE(second.begin());
  EXPECT_EQ(second.problem(), at("file") + " is being changed by another program");
}

TEST_F(FileReplacementTest, LetsTheNextWriterInAtTheEnd) {
  auto first = std::make_unique<FileReplacement>(at("file"));
  ASSERT_TRUE(first->begin());
  std::thread leaving([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    first = nullptr;
  });
  FileReplacement second(at("file"));
  EXPECT_TRUE(second.begin()) << second.problem();
  leaving.join();
}

TEST_F(FileReplacementTest, ALockThatIsALinkIsNotFollowed) {
  fs::create_symlink(at("elsewhere"), at(".file.lock"));
  FileReplacement file(at("file"));
  EXPECT_FALSE(file.begin());
  EXPECT_THAT(file.problem(), HasSubstr(".file.lock cannot be opened: "));
  EXPECT_FALSE(fs::exists(at("elsewhere")));
}

TEST_F(FileReplacementTest, RemovesWhatAWriterLeftAndNothingElse) {
  write(at(".file.abc123.new"), "half");
  write(at(".other.abc123.new"), "x");
  write(at("file.new"), "x");
  FileReplacement file(at("file"));
  ASSERT_TRUE(file.begin());
  EXPECT_FALSE(fs::exists(at(".file.abc123.new")));
  EXPECT_TRUE(fs::exists(at(".other.abc123.new")));
  EXPECT_TRUE(fs::exists(at("file.new")));
}

TEST_F(FileReplacementTest, AReaderFindsOneVersionOrTheOther) {
  const std::string a(100'000, 'a');
  const std::string b(200'000, 'b');
  write(at("file"), a);
  FileReplacement file(at("file"));
  ASSERT_TRUE(file.begin());
  std::thread writer([&] {
    for (int i = 0; i < 100; ++i) EXPECT_TRUE(file.replace(i % 2 == 0 ? b : a));
  });
  for (int i = 0; i < 200; ++i) {
    const std::string found = read(at("file"));
    EXPECT_TRUE(found == a || found == b) << found.size();
  }
  writer.join();
}

}  // namespace
}  // namespace sifterra::platform
