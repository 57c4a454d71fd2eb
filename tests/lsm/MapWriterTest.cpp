// What the writer takes, and how a file comes to its place.
#include "lsm/training/MapWriter.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

#include "lsm/TinyMap.h"

namespace sifterra::lsm {
namespace {

std::string refusalOf(const std::function<void(MapContents&)>& change) {
  MapContents contents = tinyMapContents();
  change(contents);
  std::string why;
  EXPECT_EQ(mapFileBytes(contents, why), "");
  return why;
}

TEST(MapWriter, RefusesContentsThatMakeNoMap) {
  EXPECT_EQ(refusalOf([](MapContents& c) { c.rank = 0; }), "the rank is 0");
  EXPECT_EQ(refusalOf([](MapContents& c) { c.words.clear(); }), "a map of 0 words cannot be written");
  EXPECT_EQ(refusalOf([](MapContents& c) { c.wordRows.pop_back(); }), "the rows do not fit the words");
  EXPECT_EQ(refusalOf([](MapContents& c) { c.bucketCount = 63; }),
            "the number of buckets is no power of two");
  EXPECT_EQ(refusalOf([](MapContents& c) { c.bucketCount = 128; }), "the rows do not fit the buckets");
  EXPECT_EQ(refusalOf([](MapContents& c) { c.head.pop_back(); }), "the head does not fit the categories");
  EXPECT_EQ(refusalOf([](MapContents& c) { c.bias.push_back(0); }), "the head does not fit the categories");
  EXPECT_EQ(refusalOf([](MapContents& c) { c.wordRows[3] = std::nanf(""); }), "a number is not finite");
  EXPECT_EQ(refusalOf([](MapContents& c) { c.bucketRows[0] = INFINITY; }), "a number is not finite");
  EXPECT_EQ(refusalOf([](MapContents& c) { c.bias[0] = INFINITY; }), "a number is not finite");
  EXPECT_EQ(refusalOf([](MapContents& c) { c.words[3].text = c.words[4].text; }),
            "the word \"garden\" stands twice");
  EXPECT_EQ(refusalOf([](MapContents& c) { c.words[3].text = ""; }), "the words are out of order");
  EXPECT_EQ(refusalOf([](MapContents& c) { c.words[3].weight = 1.5f; }),
            "a number of a word is out of range");
  EXPECT_EQ(refusalOf([](MapContents& c) { c.windowTokens = 7; }), "bad windows");
}

TEST(MapWriter, AWordThatIsNeverAPieceMayCostInfinity) {
  MapContents contents = tinyMapContents();
  for (MapWord& word : contents.words) {
    if (word.text == "free") word.splitCost = INFINITY;
  }
  const TinyMapFile file(contents);
  const LsmMap map = lsmMapLoad(file.path());
  ASSERT_NE(map, nullptr);
  EXPECT_LT(map->splitCost(map->find("free")), 0);
}

TEST(MapWriter, RowsLoseLessThanHalfAStepOfTheirOwnScale) {
  MapContents contents = tinyMapContents();
  // One row a thousand times smaller than the others keeps its own precision.
  contents.wordRows[2] = 0.0003f;
  contents.wordRows[3] = -0.0005f;
  const TinyMapFile file(contents);
  const LsmMap map = lsmMapLoad(file.path());
  const QuantisedRow row = map->wordRow(map->find(contents.words[1].text));
  EXPECT_NEAR(row.scale * static_cast<float>(row.values[0]), 0.0003f, 0.0005f / 254 * 1.01f);
  EXPECT_EQ(row.values[1], -127);
}

TEST(MapWriter, AnEmptyRowStaysEmpty) {
  MapContents contents = tinyMapContents();
  contents.wordRows[4] = contents.wordRows[5] = 0;
  const TinyMapFile file(contents);
  const LsmMap map = lsmMapLoad(file.path());
  const QuantisedRow row = map->wordRow(map->find(contents.words[2].text));
  EXPECT_EQ(row.scale, 0);
}

TEST(MapWriter, FrequentWordsComeFirst) {
  const TinyMapFile file;
  const LsmMap map = lsmMapLoad(file.path());
  for (std::uint32_t i = 1; i < map->wordCount(); ++i) EXPECT_LE(map->splitCost(i - 1), map->splitCost(i));
}

TEST(MapWriter, ManyWordsAreAllFound) {
  MapContents contents = tinyMapContents();
  for (int i = 0; i < 20000; ++i) tiny::addWord(contents, "word" + std::to_string(i), {0.1f}, 0.5f, 1.0f);
  const TinyMapFile file(contents);
  const LsmMap map = lsmMapLoad(file.path());
  ASSERT_NE(map, nullptr);
  for (int i = 0; i < 20000; ++i) EXPECT_NE(map->find("word" + std::to_string(i)), Map::kUnknownWord) << i;
  for (int i = 20000; i < 40000; ++i)
    EXPECT_EQ(map->find("word" + std::to_string(i)), Map::kUnknownWord) << i;
}

TEST(MapWriter, ReplacesTheOldMapAsAWhole) {
  const std::filesystem::path directory = std::filesystem::path(::testing::TempDir()) / "lsm-map-writer";
  std::filesystem::remove_all(directory);
  std::filesystem::create_directory(directory);
  const std::string path = (directory / "map").string();
  std::string why;
  ASSERT_TRUE(writeMapFile(path, tinyMapContents(2), why)) << why;
  const LsmMap old = lsmMapLoad(path);
  ASSERT_TRUE(writeMapFile(path, tinyMapContents(3), why)) << why;
  EXPECT_EQ(lsmMapCategoryCount(old), 2) << "an opened map is not touched";
  EXPECT_NE(old->find("school"), Map::kUnknownWord);
  EXPECT_EQ(lsmMapCategoryCount(lsmMapLoad(path)), 3);
  MapContents broken = tinyMapContents();
  broken.rank = 0;
  EXPECT_FALSE(writeMapFile(path, broken, why));
  EXPECT_EQ(lsmMapCategoryCount(lsmMapLoad(path)), 3) << "a failure leaves the old map";
  // Nothing else is left beside it, and everybody may read it.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory), {}), 1);
  struct stat status {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0644U);
  std::filesystem::remove_all(directory);
}

TEST(MapWriter, TellsWhyAFileCannotBeWritten) {
  std::string why;
  EXPECT_FALSE(writeMapFile("/nonexistent/map", tinyMapContents(), why));
  EXPECT_EQ(why, "cannot create a file beside the map: No such file or directory");
  const std::string directory = ::testing::TempDir() + "lsm-map-is-a-directory";
  std::filesystem::create_directories(directory + "/inside");
  EXPECT_FALSE(writeMapFile(directory, tinyMapContents(), why));
  EXPECT_EQ(why, "cannot rename the new map: Is a directory");
  std::filesystem::remove_all(directory);
}

}  // namespace
}  // namespace sifterra::lsm
