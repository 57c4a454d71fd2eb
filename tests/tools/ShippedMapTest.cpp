// The map that ships: how well it tells pages apart that it never saw, and that it can be made again.
//
// Both need the real pages that it was made from, in the directory that SIFTERRA_CORPUS names; without them
// the tests are skipped.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "command_run.h"

namespace sifterra::tools {
namespace {

namespace fs = std::filesystem;

constexpr const char* kShippedMap = SIFTERRA_SOURCE_DIR "/resources/content_filter_map3";

std::string corpusFile(const std::string& name) {
  const char* corpus = std::getenv("SIFTERRA_CORPUS");
  return corpus == nullptr ? "" : std::string(corpus) + "/" + name + ".jsonl.gz";
}

std::string contentsOf(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

TEST(ShippedMap, KeepsItsFiguresOnSitesThatItNeverSaw) {
  if (corpusFile("").empty())
    GTEST_SKIP() << "SIFTERRA_CORPUS is not set: no real pages to measure the map on";
  const CommandRun run =
      runCommand({"evaluate", "--json", "--map", kShippedMap, corpusFile("benign_validation"),
                  corpusFile("hard_benign_validation"), corpusFile("adult_validation")});
  ASSERT_EQ(run.status, 0) << run.err;
  const auto report = nlohmann::json::parse(run.out);
  EXPECT_GE(report["areaUnderRocCurve"].get<double>(), 0.995);
  EXPECT_LE(report["groups"]["group"]["benign"]["falsePositiveRate"].get<double>(), 0.003);
  EXPECT_LE(report["groups"]["group"]["hard_benign"]["falsePositiveRate"].get<double>(), 0.03);
  EXPECT_GE(report["overall"]["recall"].get<double>(), 0.965);
}

TEST(ShippedMap, ComesOutAgainByteForByteWhateverTheNumberOfThreads) {
  if (corpusFile("").empty())
    GTEST_SKIP() << "SIFTERRA_CORPUS is not set: no real pages to train the map from";
  const std::string map =
      (fs::temp_directory_path() / ("sifterra-retrained-" + std::to_string(getpid()))).string();
  const std::string composed = map + ".jsonl.gz";
  const std::string compose = "python3 '" SIFTERRA_SOURCE_DIR "/corpus/compose.py' --background '" +
                              fs::path(corpusFile("benign")).parent_path().string() + "' -o '" + composed +
                              "'";
  ASSERT_EQ(std::system(compose.c_str()), 0);
  const CommandRun run = runCommand({"train", "-j", "3", "-o", map, corpusFile("benign"),
                                     corpusFile("hard_benign"), corpusFile("adult"), composed});
  EXPECT_EQ(run.status, 0) << run.err;
  fs::remove(composed);
  EXPECT_TRUE(contentsOf(map) == contentsOf(kShippedMap)) << "the committed trainer makes another map";
  fs::remove(map);
}

}  // namespace
}  // namespace sifterra::tools
