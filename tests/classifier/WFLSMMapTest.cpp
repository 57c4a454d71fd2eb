#include "sifterra/classifier/WFLSMMap.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <type_traits>

#include "classifier/FakeEngine.h"
#include "platform/Log.h"
#include "sifterra/classifier/WFLSMScoreNormalizedMap.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::LogLevel;
using platform::String;
using platform::URL;

namespace fs = std::filesystem;

// A directory of this test's own, with a file that stands for a map.
class WFLSMMapFile : public ::testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/sifterra-map-XXXXXX";
    directory = ::mkdtemp(name);
    file = directory / "a map";
    std::ofstream(file) << "map";
  }
  void TearDown() override {
    setLoadableMap(nullptr);
    fs::remove_all(directory);
  }
  static String text(const fs::path& path) { return String::fromUTF8(path.string()); }

  fs::path directory;
  fs::path file;
};

TEST(WFLSMMap, IsNullWithoutAnEngineMap) {
  EXPECT_EQ(WFLSMMap::mapWithMap(nullptr), nullptr);
  EXPECT_EQ(WFLSMScoreNormalizedMap::mapWithMap(nullptr), nullptr);
}

TEST(WFLSMMap, HasTheThreshold062WithoutAProperty) {
  for (const bool hasProperties : {true, false}) {
    SCOPED_TRACE(hasProperties);
    const CapturedLog log;
    const auto map = WFLSMMap::mapWithMap(fakeMap({.hasProperties = hasProperties}));
    EXPECT_EQ(map->threshold(), 0.62F);
    EXPECT_TRUE(log.lines().empty());
  }
}

TEST(WFLSMMap, TakesTheThresholdFromTheMapsProperties) {
  const CapturedLog log;
  const auto map = WFLSMMap::mapWithMap(fakeMap({.properties = {{"Explicit Threshold", 0.5F}}}));
  EXPECT_EQ(map->threshold(), 0.5F);
  EXPECT_TRUE(log.contains(LogLevel::Info, "-[WFLSMMap initWithMap:] -- Threshold from LSM map: 0.500000"));
  EXPECT_EQ(log.lines().at(0).category, "WebFilter");
}

TEST(WFLSMMap, LeavesAThresholdThatIsNotANumberAlone) {
  const auto map =
      WFLSMMap::mapWithMap(fakeMap({.properties = {{"Explicit Threshold", std::string("0.5")}}}));
  EXPECT_EQ(map->threshold(), 0.62F);
}

TEST(WFLSMMap, CountsTheEnginesCategories) {
  EXPECT_EQ(WFLSMMap::mapWithMap(fakeMap({.categories = 7}))->numberOfCategories(), 7);
}

TEST(WFLSMMap, EachClassMakesObjectsOfItsOwn) {
  const std::shared_ptr<WFLSMMap> normalized = WFLSMScoreNormalizedMap::mapWithMap(fakeMap({}));
  EXPECT_NE(std::dynamic_pointer_cast<WFLSMScoreNormalizedMap>(normalized), nullptr);
  const std::shared_ptr<WFLSMMap> plain = WFLSMMap::mapWithMap(fakeMap({}));
  EXPECT_EQ(std::dynamic_pointer_cast<WFLSMScoreNormalizedMap>(plain), nullptr);
}

TEST(WFLSMMap, EvaluatesWithOneScoreACategoryAndItsThreshold) {
  const auto map =
      WFLSMMap::mapWithMap(fakeMap({.categories = 3,
                                    .properties = {{"Explicit Threshold", 0.9F}},
                                    .answers = {{u"two words", {{3, 0.8F}, {1, 0.1F}, {2, 0.1F}}}}}));
  const auto result = map->evaluate(String(u"two words"));
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(lastRequestedCount(), 3);
  EXPECT_EQ(result->debugDescription().toUTF8(), "1:0.10    2:0.10    [ 3:0.80 ]");
  EXPECT_FALSE(result->isRestricted());  // 0.8 does not exceed 0.9
  EXPECT_EQ(liveTexts(), 0);
}

TEST(WFLSMMap, EvaluatesTheEmptyString) {
  const auto map = WFLSMMap::mapWithMap(fakeMap({.answers = {{u"", {{1, 1.0F}, {2, 0.0F}}}}}));
  EXPECT_NE(map->evaluate(String(u"")), nullptr);
}

TEST(WFLSMMap, NullStringsHaveNoResult) {
  const CapturedLog log;
  EXPECT_EQ(WFLSMMap::mapWithMap(fakeMap({}))->evaluate(nullptr), nullptr);
  EXPECT_EQ(log.texts(), std::vector<std::string>{"-[WFLSMMap _createLSMTextFromString:] -- Couldn't create "
                                                  "text because the strippedContent is nil"});
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Error);
}

TEST(WFLSMMap, TellsThatTheEngineMadeNoText) {
  const CapturedLog log;
  EXPECT_EQ(WFLSMMap::mapWithMap(fakeMap({.textFails = true}))->evaluate(String(u"a")), nullptr);
  EXPECT_EQ(log.texts(),
            std::vector<std::string>{"-[WFLSMMap _createLSMTextFromString:] -- EngineTextCreate failed"});
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Error);
}

TEST(WFLSMMap, TellsThatTheEngineTookNoWords) {
  const CapturedLog log;
  EXPECT_EQ(WFLSMMap::mapWithMap(fakeMap({.addWordsStatus = -3}))->evaluate(String(u"a")), nullptr);
  EXPECT_EQ(log.texts(), std::vector<std::string>{
                             "-[WFLSMMap _createLSMTextFromString:] -- EngineTextAddWords failed (-3)"});
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Error);
  EXPECT_EQ(liveTexts(), 0);
}

TEST(WFLSMMap, TellsThatTheEngineHadNoResult) {
  const CapturedLog log;
  EXPECT_EQ(WFLSMMap::mapWithMap(fakeMap({.evaluationFails = true}))->evaluate(String(u"a")), nullptr);
  EXPECT_EQ(log.texts(), std::vector<std::string>{"-[WFLSMMap evaluate:] -- EngineResultCreate failed"});
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Error);
  EXPECT_EQ(liveTexts(), 0);
}

TEST_F(WFLSMMapFile, LoadsFromAPathAndFromItsURL) {
  const lsm::LsmMap engineMap = fakeMap({});
  setLoadableMap(engineMap);
  EXPECT_NE(WFLSMMap::mapFromFilePath(text(file)), nullptr);
  EXPECT_NE(WFLSMMap::mapFromURL(URL::fileURL(text(file))), nullptr);
  const auto normalized = WFLSMScoreNormalizedMap::mapFromURL(URL::fileURL(text(file)));
  EXPECT_NE(normalized, nullptr);
  EXPECT_NE(WFLSMScoreNormalizedMap::mapFromFilePath(text(file)), nullptr);
  EXPECT_EQ(loadCount(), 4);
}

TEST_F(WFLSMMapFile, HoldsTheOnlyReferenceToTheLoadedMap) {
  setLoadableMap(fakeMap({}));
  const auto map = WFLSMMap::mapFromFilePath(text(file));
  ASSERT_NE(map, nullptr);
  lsm::LsmMap engineMap = fakeMap({});
  const std::weak_ptr<const lsm::Map> watched = engineMap;
  setLoadableMap(engineMap);
  engineMap.reset();
  auto other = WFLSMMap::mapFromFilePath(text(file));
  setLoadableMap(nullptr);
  EXPECT_FALSE(watched.expired());
  other.reset();
  EXPECT_TRUE(watched.expired());
}

TEST_F(WFLSMMapFile, ARelativePathStartsAtTheCurrentDirectory) {
  setLoadableMap(fakeMap({}));
  const fs::path before = fs::current_path();
  fs::current_path(directory);
  EXPECT_NE(WFLSMMap::mapFromFilePath(String(u"a map")), nullptr);
  fs::current_path(before);
}

TEST_F(WFLSMMapFile, AMissingFileIsToldWithoutAskingTheEngine) {
  setLoadableMap(fakeMap({}));
  const CapturedLog log;
  EXPECT_EQ(WFLSMMap::mapFromFilePath(text(directory / "none")), nullptr);
  EXPECT_EQ(log.texts(),
            std::vector<std::string>{"+[WFLSMMap mapFromURL:] -- Map file doesn't exist at file://" +
                                     directory.string() + "/none"});
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Error);
  EXPECT_EQ(loadCount(), 0);
}

TEST_F(WFLSMMapFile, ADirectoryIsNoMapFile) {
  setLoadableMap(fakeMap({}));
  const CapturedLog log;
  EXPECT_EQ(WFLSMScoreNormalizedMap::mapFromFilePath(text(directory)), nullptr);
  EXPECT_EQ(log.texts(),
            std::vector<std::string>{"+[WFLSMMap mapFromURL:] -- Map file doesn't exist at file://" +
                                     directory.string()});
  EXPECT_EQ(loadCount(), 0);
}

// Opening one would wait for a writer.
TEST_F(WFLSMMapFile, APipeIsNoMapFile) {
  setLoadableMap(fakeMap({}));
  const fs::path pipe = directory / "pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(WFLSMMap::mapFromFilePath(text(pipe)), nullptr);
  EXPECT_EQ(loadCount(), 0);
}

TEST_F(WFLSMMapFile, OtherURLsAreNoMapFile) {
  setLoadableMap(fakeMap({}));
  const std::string there = "file://" + directory.string() + "/a%20map";
  ASSERT_NE(WFLSMMap::mapFromURL(URL::fromString(String::fromUTF8(there))), nullptr);
  for (const std::string& url :
       {"http://example.com" + directory.string() + "/a%20map", there + "%00x", std::string()}) {
    SCOPED_TRACE(url);
    const CapturedLog log;
    EXPECT_EQ(WFLSMMap::mapFromURL(URL::fromString(String::fromUTF8(url))), nullptr);
    EXPECT_TRUE(log.contains(LogLevel::Error, "+[WFLSMMap mapFromURL:] -- Map file doesn't exist at " + url));
  }
  const CapturedLog log;
  EXPECT_EQ(WFLSMMap::mapFromURL(nullptr), nullptr);
  EXPECT_TRUE(log.contains(LogLevel::Error, "+[WFLSMMap mapFromURL:] -- Map file doesn't exist at (null)"));
  EXPECT_EQ(WFLSMMap::mapFromFilePath(nullptr), nullptr);
  EXPECT_EQ(loadCount(), 1);
}

TEST_F(WFLSMMapFile, TellsThatTheEngineDoesNotLoadIt) {
  const CapturedLog log;
  EXPECT_EQ(WFLSMMap::mapFromFilePath(text(file)), nullptr);
  EXPECT_EQ(log.texts(), std::vector<std::string>{
                             "+[WFLSMMap mapFromURL:] -- An error occurred loading the map from file://" +
                             directory.string() + "/a%20map"});
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Error);
}

// The class is the interface for whatever evaluates text.
class EchoMap : public WFLSMMap {
 public:
  std::shared_ptr<WFLSMResult> evaluate(const String& text) const override {
    return WFLSMResult::LSMResultWithLSMResultRef({{{1, static_cast<float>(text.length())}}, true}, 3.0F);
  }
};

TEST(WFLSMMap, AnythingThatEvaluatesCanStandForAMap) {
  const std::shared_ptr<WFLSMMap> map = std::make_shared<EchoMap>();
  EXPECT_TRUE(map->evaluate(String(u"four"))->isRestricted());
  EXPECT_FALSE(map->evaluate(String(u"abc"))->isRestricted());
  EXPECT_EQ(map->numberOfCategories(), 0);
}

static_assert(!std::is_copy_constructible_v<WFLSMMap>);

}  // namespace
}  // namespace sifterra
