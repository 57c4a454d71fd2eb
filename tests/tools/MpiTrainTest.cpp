// MpiTrainTest: `sifterra-train-mpi` as one, two and four processes on this machine, against `sifterra
// train`.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tools/command_run.h"
#include "tools/fixtures.h"

namespace sifterra::tools {
namespace {

using testing::HasSubstr;

// As root, more processes than processors, and no network but this machine's own.
std::string mpirun(int processes, const std::string& arguments) {
  return "unset DISPLAY; OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 "
         "mpirun --oversubscribe --bind-to none --mca btl self,vader --mca pml ob1 --mca oob_tcp_if_include "
         "lo "
         "--mca plm isolated --mca rmaps_base_oversubscribe 1 -n " +
         std::to_string(processes) + " " SIFTERRA_TRAIN_MPI " " + arguments;
}

std::string word(int category, std::size_t number) {
  static constexpr const char* kSyllables[] = {"ba", "do", "fi", "gu", "ke", "la", "mo", "ni", "pu", "re"};
  std::string text(1, "xbs"[category]);
  for (std::size_t rest = number + 11; rest != 0; rest /= 10) text += kSyllables[rest % 10];
  return text;
}

std::string page(int category, std::size_t number) {
  std::string text;
  std::size_t state = number * 7919 + static_cast<std::size_t>(category) * 104729 + 1;
  for (int i = 0; i < 40; ++i) {
    state = (state * 1103515245 + 12345) % 2147483648U;
    text += word(i % 2 == 0 ? 0 : category, (state >> 12U) % 40) + " ";
  }
  return text;
}

// So many self-labelled pages of each category.
std::string lines(std::size_t from, std::size_t to) {
  std::string text;
  for (std::size_t i = from; i < to; ++i) {
    for (const int category : {1, 2}) {
      text += R"({"html":"<p>)" + page(category, i) + R"(","label":)" + std::to_string(category) +
              R"(,"site":"s)" + std::to_string(i / 2) + "." + std::to_string(category) + "\"}\n";
    }
  }
  return text;
}

std::vector<double> scores(const std::string& map, const std::string& pages) {
  std::vector<double> result;
  for (const std::string& line : linesOf(runCommand({"check", "--json", "--map", map, pages}).out))
    result.push_back(nlohmann::json::parse(line)["scores"].back().get<double>());
  return result;
}

// The tolerance that docs/cluster.md promises, of a score.
constexpr double kTolerance = 0.0125;

TEST(MpiTrain, OneTwoAndFourProcessesMakeTheMapOfTheCommand) {
  const TemporaryFolder folder;
  std::string files;
  for (std::size_t shard = 0; shard < 4; ++shard) {
    files +=
        " " + folder.write("shard" + std::to_string(shard) + ".jsonl", lines(40 * shard, 40 * shard + 40));
  }
  const std::string unseen = folder.write("unseen.jsonl", lines(1000, 1030));
  const std::string alone = folder.at("alone.map");
  ASSERT_EQ(runShell("$SIFTERRA train -o " + alone + files).status, 0);
  const std::vector<double> expected = scores(alone, unseen);
  ASSERT_EQ(expected.size(), 60U);
  for (const int processes : {1, 2, 4}) {
    SCOPED_TRACE(processes);
    const std::string map = folder.at("map" + std::to_string(processes));
    const CommandRun run = runShell(mpirun(processes, "--traffic -o " + map + files));
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("read: 320 pages\n"));
    EXPECT_THAT(run.out, HasSubstr("processes: " + std::to_string(processes) + "\n"));
    const std::vector<double> now = scores(map, unseen);
    ASSERT_EQ(now.size(), expected.size());
    for (std::size_t i = 0; i < now.size(); ++i) EXPECT_NEAR(now[i], expected[i], kTolerance) << i;
  }
}

TEST(MpiTrain, TheCommandItselfNeedsNoMpi) {
  const CommandRun libraries = runShell("ldd $SIFTERRA");
  ASSERT_EQ(libraries.status, 0) << libraries.err;
  EXPECT_EQ(libraries.out.find("libmpi"), std::string::npos);
  EXPECT_THAT(runShell("ldd " SIFTERRA_TRAIN_MPI).out, HasSubstr("libmpi"));
}

TEST(MpiTrain, SharesOneFileByItsPages) {
  const TemporaryFolder folder;
  const std::string pages = folder.write("pages.jsonl", lines(0, 80) + "nonsense\n");
  const std::string map = folder.at("map");
  const CommandRun run = runShell(mpirun(2, "-o " + map + " " + pages));
  EXPECT_EQ(run.status, 2);  // a line that could not be read
  EXPECT_THAT(run.out, HasSubstr("read: 161 pages\nleft out: 1 could not be read\n"));
  EXPECT_THAT(run.err, HasSubstr("pages.jsonl:161: "));
  EXPECT_EQ(runCommand({"map", "info", map}).status, 0);
}

TEST(MpiTrain, SaysOnceWhatIsWrong) {
  const TemporaryFolder folder;
  const std::string one = folder.write("one.jsonl", R"({"html":"<p>)" + page(1, 1) + R"(","label":1})");
  const CommandRun run = runShell(mpirun(2, "-o " + folder.at("map") + " " + one));
  EXPECT_EQ(run.status, 2);
  const std::string message = "no map was made: pages of two categories or more are needed";
  ASSERT_THAT(run.err, HasSubstr(message));
  EXPECT_EQ(run.err.find(message), run.err.rfind(message));
}

}  // namespace
}  // namespace sifterra::tools
