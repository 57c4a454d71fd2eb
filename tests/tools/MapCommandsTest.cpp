// MapCommandsTest: `sifterra words` and `sifterra map info`, which look into a map.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>

#include "lsm/TinyMap.h"
#include "tools/command_run.h"
#include "tools/fixtures.h"

namespace sifterra::tools {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST(WordsCommand, PrintsWhatPushedThePageWithWhatSpeaksMostForTheLastCategoryFirst) {
  const lsm::TinyMapFile map;
  const CommandRun run =
      runCommand({"words", "--map", map.path(), "-"}, "<title>porn</title><p>garden garden porn unheardof");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  const std::vector<std::string> lines = linesOf(run.out);
  ASSERT_GE(lines.size(), 2u);
  const std::regex form("[01]\\.[0-9]{6} [ 0-9]{8} +[+-][0-9]+\\.[0-9]{4} .+");
  for (const std::string& line : lines) EXPECT_TRUE(std::regex_match(line, form)) << line;
  EXPECT_TRUE(std::is_sorted(lines.rbegin(), lines.rend()));
  EXPECT_THAT(lines[0], testing::ContainsRegex("^1\\.000000 .* \\(the whole page, all together\\)$"));
  // The title 15 times and as page text, the text once.
  EXPECT_THAT(lines[1], testing::ContainsRegex("       17 +\\+[0-9.]+ porn$"));
  EXPECT_THAT(lines.back(), testing::ContainsRegex("        2 +-[0-9.]+ garden$"));
  EXPECT_THAT(run.out, testing::Not(HasSubstr("unheardof")));
}

TEST(WordsCommand, ReportsAMissingPageOrMap) {
  const lsm::TinyMapFile map;
  const TemporaryFolder folder;
  const CommandRun page = runCommand({"words", "--map", map.path(), folder.at("missing")});
  EXPECT_EQ(page.status, 2);
  EXPECT_EQ(page.err, "sifterra: " + folder.at("missing") + ": cannot be read: No such file or directory\n");
  const CommandRun none = runCommand({"words", "--log-level", "off", "--map", folder.at("none"), "-"}, "x");
  EXPECT_EQ(none.status, 2);
  EXPECT_EQ(none.err, "sifterra: " + folder.at("none") + ": is missing or no map\n");
}

TEST(MapInfoCommand, TellsWhatTheFileHolds) {
  const lsm::TinyMapFile map({{lsm::kLsmExplicitThreshold, 0.5f}});
  const CommandRun run = runCommand({"map", "info", map.path()});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  const std::vector<std::string> lines = linesOf(run.out);
  ASSERT_EQ(lines.size(), 11u) << run.out;
  EXPECT_EQ(lines[0], "version: 2");
  EXPECT_THAT(lines[1], StartsWith("tokeniser: "));
  EXPECT_EQ(lines[2], "categories: 2");
  EXPECT_EQ(lines[3], "words: " + std::to_string(lsm::tinyMapContents().words.size()));
  EXPECT_EQ(lines[4], "buckets: 64");
  EXPECT_EQ(lines[5], "rank: 2");
  EXPECT_EQ(lines[6], "threshold: 0.5");
  EXPECT_THAT(lines[7], testing::MatchesRegex("calibration: category 1 from 0\\.0000.. to 0\\.9999.."));
  EXPECT_THAT(lines[8], testing::MatchesRegex("calibration: category 2 from 0\\.0000.. to 0\\.9999.."));
  EXPECT_EQ(lines[9], "size: " + std::to_string(std::filesystem::file_size(map.path())));
  EXPECT_THAT(lines[10], testing::MatchesRegex("checksum: xxh3:[0-9a-f]+"));
}

TEST(MapInfoCommand, PrintsTheSameAsJson) {
  const lsm::TinyMapFile map;
  const CommandRun run = runCommand({"map", "info", "--json", map.path()});
  EXPECT_EQ(run.status, 0);
  const auto info = nlohmann::ordered_json::parse(run.out);
  std::vector<std::string> keys;
  for (const auto& [key, value] : info.items()) keys.push_back(key);
  EXPECT_THAT(keys, testing::ElementsAre("version", "tokeniser", "categories", "words", "buckets", "rank",
                                         "threshold", "calibration", "size", "checksum"));
  EXPECT_EQ(info["threshold"].dump(), "0.62");
  ASSERT_EQ(info["calibration"].size(), 2u);
  EXPECT_EQ(info["calibration"][1]["category"], 2);
}

TEST(MapInfoCommand, ReportsWhatIsNoMap) {
  const TemporaryFolder folder;
  const std::string text =
      folder.write("text.map", "no map, but some text that is longer than a map's header would be, surely");
  for (const std::string& path : {text, folder.at("missing.map"), folder.path()}) {
    SCOPED_TRACE(path);
    const CommandRun run = runCommand({"map", "info", path});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, StartsWith("sifterra: " + path + ": "));
  }
}

}  // namespace
}  // namespace sifterra::tools
