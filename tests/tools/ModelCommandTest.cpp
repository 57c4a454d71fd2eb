#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tools/command_run.h"
#include "tools/fixtures.h"

namespace sifterra::tools {
namespace {

using Json = nlohmann::ordered_json;

Json modelOf(const std::string& page) {
  const CommandRun run = runCommand({"model", "-"}, page);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 1);
  return Json::parse(run.out);
}

std::vector<std::string> keysOf(const Json& object) {
  std::vector<std::string> keys;
  for (const auto& [key, value] : object.items()) keys.push_back(key);
  return keys;
}

TEST(ModelCommand, PrintsEveryMemberInItsOrder) {
  const Json model = modelOf("<p>x");
  EXPECT_THAT(keysOf(model),
              testing::ElementsAre("pageTitle", "metaTagsLabeled", "metaTagsUnlabeled", "scriptBlocks",
                                   "images", "links", "pageContent", "hasFrameset", "hasShortRefresh",
                                   "selfRestricted", "worthAnalyzing", "evidence", "note", "tags"));
}

TEST(ModelCommand, PrintsWhatThePageHolds) {
  const Json model = modelOf(
      "<html><head><title>T \xc3\xa9</title><meta name=Description content=d><meta name=author content=a>"
      "<meta content=unlabelled><script>var a = 'said';</script></head><body>"
      "<img src=i.jpg alt=al title=ti width=10 height=20><img src=j.jpg>"
      "<a href='http://a.example/x' title=there>l</a><a href='bad url'>l</a>"
      "<p>text of the page, with enough words to be worth a look by the classifier</p></body></html>");
  EXPECT_EQ(model["pageTitle"], "T \xc3\xa9");
  EXPECT_EQ(model["metaTagsLabeled"].dump(), R"({"author":"a","description":"d"})");
  EXPECT_EQ(model["metaTagsUnlabeled"].dump(), R"(["unlabelled"])");
  ASSERT_EQ(model["scriptBlocks"].size(), 1u);
  EXPECT_EQ(model["images"].dump(),
            R"([{"alt":"al","title":"ti","src":"i.jpg","width":10,"height":20,"area":200},)"
            R"({"alt":null,"title":null,"src":"j.jpg","width":-1,"height":-1,"area":-1}])");
  EXPECT_EQ(model["links"].dump(),
            R"([{"title":"there","url":"http://a.example/x"},{"title":null,"url":null}])");
  EXPECT_THAT(model["pageContent"].get<std::string>(), testing::HasSubstr("text of the page"));
  EXPECT_EQ(model["hasFrameset"], false);
  EXPECT_EQ(model["hasShortRefresh"], false);
  EXPECT_EQ(model["selfRestricted"], false);
  EXPECT_EQ(model["worthAnalyzing"], true);
  EXPECT_EQ(model["evidence"], 0);
  EXPECT_EQ(model["note"], nullptr);
  EXPECT_TRUE(model["tags"].is_string());
}

TEST(ModelCommand, TellsWhyAPageIsNotWorthAnalysing) {
  const Json little = modelOf("<p>tiny");
  EXPECT_EQ(little["worthAnalyzing"], false);
  EXPECT_EQ(little["evidence"], 5);
  EXPECT_EQ(little["note"], "too little content found");
  const Json frames =
      modelOf("<html><frameset><noframes>" + std::string(70, 'x') + "</noframes></frameset></html>");
  EXPECT_EQ(frames["hasFrameset"], true);
  EXPECT_EQ(frames["evidence"], 6);
  EXPECT_THAT(frames["note"].get<std::string>(), testing::StartsWith("it has a frameset (length:"));
  const Json refresh = modelOf("<meta http-equiv=refresh content='1; url=/x'><p>" + std::string(70, 'x'));
  EXPECT_EQ(refresh["hasShortRefresh"], true);
  EXPECT_EQ(refresh["evidence"], 7);
  EXPECT_THAT(refresh["note"].get<std::string>(), testing::StartsWith("it has a short refresh (length:"));
  const Json much = modelOf("<meta http-equiv=refresh content='1; url=/x'><p>" + std::string(700, 'x'));
  EXPECT_EQ(much["worthAnalyzing"], true);
  EXPECT_EQ(much["evidence"], 0);
  EXPECT_THAT(much["note"].get<std::string>(),
              testing::StartsWith("it has a short refresh, but there is a lot of content! (length:"));
}

TEST(ModelCommand, TellsThatAPageLabelsItself) {
  const Json model = modelOf("<meta name=rating content=RTA-5042-1996-1400-1577-RTA><p>x");
  EXPECT_EQ(model["selfRestricted"], true);
  EXPECT_EQ(model["metaTagsLabeled"]["rating"], "RTA-5042-1996-1400-1577-RTA");
}

TEST(ModelCommand, AnEmptyFileHasAModelOfASpace) {
  const CommandRun run = runCommand({"model", "-"}, "");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(
      run.out,
      "{\"pageTitle\":null,\"metaTagsLabeled\":{},\"metaTagsUnlabeled\":[],\"scriptBlocks\":[],\"images\":[],"
      "\"links\":[],\"pageContent\":\" \",\"hasFrameset\":false,\"hasShortRefresh\":false,"
      "\"selfRestricted\":false,\"worthAnalyzing\":false,\"evidence\":5,"
      "\"note\":\"too little content found\",\"tags\":\"\"}\n");
}

TEST(ModelCommand, LoneSurrogatesBecomeReplacementCharacters) {
  // UTF-16, little-endian, with a byte-order mark: "<p>a", half a pair, "b".
  const std::string page("\xff\xfe<\0p\0>\0a\0\x00\xd8\x62\0", 14);
  const Json model = modelOf(page);
  EXPECT_EQ(model["pageContent"].get<std::string>().substr(0, 6),
            " a\xef\xbf\xbd"
            "b");
}

}  // namespace
}  // namespace sifterra::tools
