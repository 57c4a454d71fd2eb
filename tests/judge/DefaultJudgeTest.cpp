#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "judge/LibraryMap.h"
#include "platform/Log.h"
#include "sifterra/judge/WFJudge.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::LogLevel;
using platform::String;

class DefaultJudge : public ::testing::Test {
 protected:
  LibraryMap library;
};

TEST_F(DefaultJudge, FindsTheMapAmongTheResources) {
  library.addMapFile();
  EXPECT_EQ(WFJudge::defaultLSMMapPath().toUTF8(), library.directory() + "/content_filter_map3");
}

TEST_F(DefaultJudge, TellsThatThereAreNoResources) {
  library.removeDirectory();
  const CapturedLog log;
  EXPECT_TRUE(WFJudge::defaultLSMMapPath().isNull());
  EXPECT_EQ(log.texts(), std::vector<std::string>{
                             "+[WFJudge defaultLSMMapPath] -- WFJudge Sifterra.framework was not found!"});
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Error);
}

TEST_F(DefaultJudge, AMissingResourceHasNoMessageOfItsOwn) {
  const CapturedLog log;
  EXPECT_TRUE(WFJudge::defaultLSMMapPath().isNull());
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(DefaultJudge, IsNullWithoutTheMapFile) {
  const CapturedLog log;
  EXPECT_EQ(WFJudge::defaultJudge(), nullptr);
  EXPECT_EQ(log.texts(),
            std::vector<std::string>{"+[WFJudge defaultJudge] -- LSM map was not found in the framework!"});
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Error);
}

TEST_F(DefaultJudge, IsNullWhenTheMapDoesNotLoad) {
  library.addMapFile();
  const CapturedLog log;
  EXPECT_EQ(WFJudge::defaultJudge(), nullptr);
  EXPECT_EQ(log.texts(), (std::vector<std::string>{
                             "+[WFLSMMap mapFromURL:] -- An error occurred loading the map from file://" +
                                 library.directory() + "/content_filter_map3",
                             "+[WFJudge defaultJudge] -- Failed to create a WFLSMMap from " +
                                 library.directory() + "/content_filter_map3"}));
  EXPECT_EQ(log.lines().at(1).level, LogLevel::Error);
}

TEST_F(DefaultJudge, IsBuiltOnceAndToldAtDebugLevel) {
  library.addMapFile();
  library.setMap(calibratedScript(0.1F, 0.8F));
  const CapturedLog log;
  const auto judge = WFJudge::defaultJudge();
  ASSERT_NE(judge, nullptr);
  EXPECT_EQ(WFJudge::defaultJudge(), judge);
  EXPECT_EQ(loadCount(), 1);
  EXPECT_EQ(log.texts(), std::vector<std::string>{"+[WFJudge defaultJudge] -- map: " + library.directory() +
                                                  "/content_filter_map3"});
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Debug);
}

TEST_F(DefaultJudge, NormalizesTheScores) {
  library.addMapFile();
  library.setMap(calibratedScript(0.05F, 0.8F));  // raw; between floor and ceiling that is 0 and 1
  const auto verdict = WFJudge::defaultJudge()->pronounceOnPageContent(String(std::u16string(500, u'x')),
                                                                       nullptr, nullptr, nullptr);
  EXPECT_EQ(verdict->LSMEvaluationResult()->debugDescription().toUTF8(), "1:0.00    [ 2:1.00 ]");
}

TEST_F(DefaultJudge, TriesAgainAfterEachFailure) {
  library.removeDirectory();
  EXPECT_EQ(WFJudge::defaultJudge(), nullptr);
  library.makeDirectory();
  EXPECT_EQ(WFJudge::defaultJudge(), nullptr);
  library.addMapFile();
  EXPECT_EQ(WFJudge::defaultJudge(), nullptr);
  library.setMap(calibratedScript(0.1F, 0.8F));
  const auto judge = WFJudge::defaultJudge();
  EXPECT_NE(judge, nullptr);
  library.removeDirectory();
  EXPECT_EQ(WFJudge::defaultJudge(), judge);
}

TEST_F(DefaultJudge, EightThreadsThatAskFirstAtOnceShareOneJudge) {
  library.addMapFile();
  for (int round = 0; round < 20; ++round) {
    library.setMap(calibratedScript(0.1F, 0.8F));
    library.forgetJudge();
    std::vector<std::shared_ptr<WFJudge>> judges(8);
    std::atomic<int> waiting{8};
    std::vector<std::thread> threads;
    for (auto& judge : judges) {
      threads.emplace_back([&judge, &waiting] {
        --waiting;
        while (waiting > 0) std::this_thread::yield();
        judge = WFJudge::defaultJudge();
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(std::set(judges.begin(), judges.end()).size(), 1U);
    EXPECT_NE(judges[0], nullptr);
    EXPECT_EQ(loadCount(), 1);
  }
}

}  // namespace
}  // namespace sifterra
