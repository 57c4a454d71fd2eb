// ClusterExampleTest: pages out of standard input, and the array job of examples/cluster/ as a scheduler runs
// it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "lsm/TinyMap.h"
#include "tools/command_run.h"
#include "tools/fixtures.h"

namespace sifterra::tools {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* kScript = SIFTERRA_SOURCE_DIR "/examples/cluster/check_shard.sh";

std::string response(const std::string& url, const std::string& words) {
  return warcResponse(url, httpMessage("Content-Type: text/html\r\n", "<title>" + words + "</title><p>" +
                                                                          words + " " + words + " " + words));
}

const std::string kGarden = "weather school garden recipe library football science";
const std::string kAdult = "porn nude erotic escort webcam hardcore xxx";

std::vector<std::string> restrictedUrls(const std::string& lines) {
  std::vector<std::string> urls;
  for (const std::string& line : linesOf(lines)) {
    const auto page = nlohmann::json::parse(line);
    if (page["restricted"].get<bool>()) urls.push_back(page["url"]);
  }
  return urls;
}

std::string contentsOf(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

TEST(StandardInput, MayBeAnArchivePlainOrCompressed) {
  const lsm::TinyMapFile map;
  const std::string archive = response("http://a.example/", kGarden) + response("http://b.example/", kAdult);
  for (const std::string& bytes : {archive, gzipped(archive)}) {
    const CommandRun run = runCommand({"check", "--json", "--map", map.path(), "warc:-"}, bytes);
    EXPECT_EQ(run.status, 1) << run.err;
    EXPECT_EQ(linesOf(run.out).size(), 2U);
    EXPECT_THAT(restrictedUrls(run.out), ElementsAre("http://b.example/"));
  }
}

TEST(StandardInput, MayBeJsonLines) {
  const lsm::TinyMapFile map;
  const std::string lines = R"({"html":"<p>)" + kAdult + " " + kAdult + R"(","url":"http://b.example/"})" +
                            "\n" + R"({"html":"<p>)" + kGarden + " " + kGarden +
                            R"(","url":"http://a.example/"})" + "\n";
  const CommandRun run = runCommand({"check", "--json", "--map", map.path(), "jsonl:-"}, lines);
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_EQ(linesOf(run.out).size(), 2U);
  EXPECT_THAT(restrictedUrls(run.out), ElementsAre("http://b.example/"));
}

// Two tasks of one array, each with its shard. The command is wrapped for the test's small map.
class ArrayJob : public testing::Test {
 protected:
  [[nodiscard]] CommandRun task(int number) const {
    return runShell("export SIFTERRA=" + wrapper_ + " SLURM_CPUS_PER_TASK=2 SLURM_ARRAY_TASK_ID=" +
                    std::to_string(number) + "; " + kScript + " " + list_ + " " + folder_.at("verdicts"));
  }
  [[nodiscard]] std::string verdicts(const std::string& shard) const {
    return contentsOf(folder_.at("verdicts/" + shard + ".jsonl"));
  }

  const TemporaryFolder folder_;
  const lsm::TinyMapFile map_;
  const std::string first_ =
      folder_.write("shard-0.warc.gz", gzipped(response("http://a.example/1", kGarden)) +
                                           gzipped(response("http://a.example/2", kAdult)));
  const std::string second_ = folder_.write("shard-1.warc", response("http://b.example/1", kGarden));
  const std::string list_ = folder_.write("shards.txt", first_ + "\n" + second_ + "\n");
  const std::string wrapper_ = [this] {
    const std::string path =
        folder_.write("sifterra", "#!/bin/sh\nexec " SIFTERRA_COMMAND " \"$@\" --map " + map_.path() + "\n");
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
  }();
};

TEST_F(ArrayJob, EachTaskJudgesItsShard) {
  for (const int number : {0, 1}) EXPECT_EQ(task(number).status, 0) << number;
  EXPECT_EQ(linesOf(verdicts("shard-0")).size(), 2U);
  EXPECT_THAT(restrictedUrls(verdicts("shard-0")), ElementsAre("http://a.example/2"));
  EXPECT_EQ(linesOf(verdicts("shard-1")).size(), 1U);
  EXPECT_THAT(restrictedUrls(verdicts("shard-1")), ElementsAre());
}

TEST_F(ArrayJob, ATaskWithoutAShardSaysSo) {
  const CommandRun run = task(2);
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.err, "check_shard.sh: " + list_ + " has no line 3\n");
}

TEST_F(ArrayJob, ATaskWhoseShardIsDamagedFailsAndKeepsWhatItHas) {
  const std::string whole = gzipped(response("http://a.example/1", kGarden));
  folder_.write("shard-0.warc.gz", whole + whole.substr(0, whole.size() / 2));
  const CommandRun run = task(0);
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("-: "));
  EXPECT_FALSE(std::filesystem::exists(folder_.at("verdicts/shard-0.jsonl")));
  EXPECT_EQ(linesOf(contentsOf(folder_.at("verdicts/shard-0.jsonl.part"))).size(), 1U);
}

}  // namespace
}  // namespace sifterra::tools
