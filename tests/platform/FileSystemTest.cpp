// Tests of FileSystem and Bundle, in a directory of their own.
#include "platform/FileSystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "platform/Bundle.h"

namespace sifterra::platform {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;

class FileSystemTest : public testing::Test {
 protected:
  FileSystemTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "files-XXXXXX").string();
    directory_ = ::mkdtemp(pattern.data());
  }
  ~FileSystemTest() override {
    setFileSystemRoot("");
    Bundle::setLibraryDirectoryForTesting("");
    std::filesystem::remove_all(directory_);
  }

  std::string at(const std::string& name) const { return directory_ + "/" + name; }
  std::string write(const std::string& name, const std::string& bytes) const {
    std::filesystem::create_directories(std::filesystem::path(at(name)).parent_path());
    std::ofstream(at(name), std::ios::binary) << bytes;
    return at(name);
  }

  std::string directory_;
};

TEST_F(FileSystemTest, RootPrefixStandsBeforeSystemPaths) {
  EXPECT_EQ(fileSystemRoot(), "");
  EXPECT_EQ(systemPath("/Library/x"), "/Library/x");
  setFileSystemRoot("/srv/root//");
  EXPECT_EQ(fileSystemRoot(), "/srv/root");
  EXPECT_EQ(systemPath("/Library/x"), "/srv/root/Library/x");
  setFileSystemRoot("/");
  EXPECT_EQ(systemPath("/Library/x"), "/Library/x");
}

TEST_F(FileSystemTest, TellsFilesFromDirectories) {
  const std::string file = write("file", "x");
  ASSERT_EQ(::symlink(file.c_str(), at("link").c_str()), 0);
  ASSERT_EQ(::symlink("nowhere", at("broken").c_str()), 0);
  ASSERT_EQ(::mkfifo(at("pipe").c_str(), 0600), 0);
  struct Row {
    std::string path;
    bool exists, regular, directory;
  };
  const Row rows[] = {
      {file, true, true, false},
      {at("link"), true, true, false},
      {directory_, true, false, true},
      {at("pipe"), true, false, false},
      {at("broken"), false, false, false},
      {at("missing"), false, false, false},
      {file + "/", false, false, false},
      {"", false, false, false},
      {file + "\0x"s, false, false, false},  // not the file whose name ends there
  };
  for (const Row& row : rows) {
    EXPECT_EQ(fileExists(row.path), row.exists) << row.path;
    EXPECT_EQ(isRegularFile(row.path), row.regular) << row.path;
    EXPECT_EQ(isDirectory(row.path), row.directory) << row.path;
  }
}

TEST_F(FileSystemTest, ReadsAFileUpToTheLimit) {
  const std::string bytes = "a\0b\r\n\xFF"s + std::string(200000, 'z');
  const std::string file = write("file", bytes);
  EXPECT_EQ(readFile(file, bytes.size()), bytes);
  EXPECT_EQ(readFile(file, std::size_t(-1)), bytes);
  EXPECT_EQ(readFile(file, bytes.size() - 1), std::nullopt);
  EXPECT_EQ(readFile(write("empty", ""), 0), "");
  EXPECT_EQ(readFile(write("one", "1"), 0), std::nullopt);
}

TEST_F(FileSystemTest, ReadsFilesWithoutASizeToTheirEnd) {
  const auto status = readFile("/proc/self/status", 1024 * 1024);  // says that it has no bytes
  ASSERT_TRUE(status);
  EXPECT_TRUE(status->starts_with("Name:"));
  EXPECT_EQ(readFile("/proc/self/status", 10), std::nullopt);
}

TEST_F(FileSystemTest, ReadsNothingThatIsNoRegularFile) {
  ASSERT_EQ(::mkfifo(at("pipe").c_str(), 0600), 0);
  EXPECT_EQ(readFile(at("pipe"), 100), std::nullopt);  // and does not wait for a writer
  EXPECT_EQ(readFile(directory_, 100), std::nullopt);
  EXPECT_EQ(readFile(at("missing"), 100), std::nullopt);
  EXPECT_EQ(readFile("/dev/zero", 100), std::nullopt);
  EXPECT_EQ(readFile("", 100), std::nullopt);
  EXPECT_EQ(readFile(write("file", "x") + "\0x"s, 100), std::nullopt);
}

using BundleTest = FileSystemTest;

TEST_F(BundleTest, FindsResourcesByNameAndType) {
  write("map", "x");
  write("page.html", "x");
  write("dir/inside", "x");
  const std::optional<Bundle> bundle = Bundle::open(directory_ + "/");
  ASSERT_TRUE(bundle);
  EXPECT_EQ(bundle->directory(), directory_);
  EXPECT_EQ(bundle->pathForResource("map", ""), at("map"));
  EXPECT_EQ(bundle->pathForResource("page", "html"), at("page.html"));
  EXPECT_EQ(bundle->pathForResource("page", ""), std::nullopt);
  EXPECT_EQ(bundle->pathForResource("map", "txt"), std::nullopt);
  EXPECT_EQ(bundle->pathForResource("dir", ""), std::nullopt);  // a directory is no resource
  EXPECT_FALSE(Bundle::open(at("map")));
  EXPECT_FALSE(Bundle::open(at("missing")));
  EXPECT_FALSE(Bundle::open(""));
}

TEST_F(BundleTest, FindsLocalizedResources) {
  write("de.lproj/page.html", "x");
  write("en.lproj/page.html", "x");
  write("pt-BR.lproj/page.html", "x");
  write("fr.lproj", "a file");
  write(".lproj/page.html", "x");
  write("plain/page.html", "x");
  const std::optional<Bundle> bundle = Bundle::open(directory_);
  ASSERT_TRUE(bundle);
  EXPECT_THAT(bundle->localizations(), ElementsAre("de", "en", "pt-BR"));
  EXPECT_EQ(bundle->pathForResource("page", "html", "pt-BR"), at("pt-BR.lproj/page.html"));
  EXPECT_EQ(bundle->pathForResource("page", "html", "fr"), std::nullopt);
  EXPECT_EQ(bundle->pathForResource("page", "html", "es"), std::nullopt);
  EXPECT_EQ(bundle->pathForResource("page", "html", ""), std::nullopt);
  EXPECT_EQ(bundle->pathForResource("page", "html"), std::nullopt);
}

TEST_F(BundleTest, NoNameLeadsOutOfIt) {
  write("secret", "x");
  write("bundle/x", "x");
  write("bundle/en.lproj/x", "x");
  const std::optional<Bundle> bundle = Bundle::open(at("bundle"));
  ASSERT_TRUE(bundle);
  EXPECT_EQ(bundle->pathForResource("../secret", ""), std::nullopt);
  EXPECT_EQ(bundle->pathForResource("en.lproj/x", ""), std::nullopt);
  EXPECT_EQ(bundle->pathForResource("x", "/../../secret"), std::nullopt);
  EXPECT_EQ(bundle->pathForResource("x\0y"s, ""), std::nullopt);
  EXPECT_EQ(bundle->pathForResource("x", "", "en"), at("bundle/en.lproj/x"));
  EXPECT_EQ(bundle->pathForResource("x", "", "../bundle/en"), std::nullopt);
  EXPECT_EQ(bundle->pathForResource("", ""), std::nullopt);
  EXPECT_EQ(bundle->pathForResource("..", ""), std::nullopt);
}

TEST_F(BundleTest, LibraryIsTheBuildTreesResources) {
  EXPECT_STREQ(builtInResourceDirectory(), SIFTERRA_BUILD_RESOURCES);
  if (!isDirectory(builtInResourceDirectory())) GTEST_SKIP() << "no resources in the tree";
  const std::optional<Bundle> bundle = Bundle::library();
  ASSERT_TRUE(bundle);
  EXPECT_EQ(bundle->directory(), builtInResourceDirectory());
}

TEST_F(BundleTest, LibraryLooksBelowTheRootPrefixFirst) {
  const std::string below = directory_ + builtInResourceDirectory();
  setFileSystemRoot(directory_);
  if (const std::optional<Bundle> bundle = Bundle::library()) {
    EXPECT_EQ(bundle->directory(), builtInResourceDirectory());
  }
  std::filesystem::create_directories(below);
  const std::optional<Bundle> bundle = Bundle::library();
  ASSERT_TRUE(bundle);
  EXPECT_EQ(bundle->directory(), below);
}

TEST_F(BundleTest, TestsMayReplaceTheLibrarysDirectory) {
  Bundle::setLibraryDirectoryForTesting(directory_);
  ASSERT_TRUE(Bundle::library());
  EXPECT_EQ(Bundle::library()->directory(), directory_);
  Bundle::setLibraryDirectoryForTesting(at("missing"));
  EXPECT_FALSE(Bundle::library());
}

}  // namespace
}  // namespace sifterra::platform
