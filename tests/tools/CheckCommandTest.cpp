#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "lsm/TinyMap.h"
#include "tools/command_run.h"
#include "tools/fixtures.h"

namespace sifterra::tools {
namespace {

using testing::HasSubstr;
using Json = nlohmann::ordered_json;

constexpr const char* kHarmless =
    "<title>Our garden</title><p>weather school garden recipe library football science history teacher "
    "homework";
constexpr const char* kAdult =
    "<title>Videos</title><p>xxx porn nude erotic escort webcam sexy videos hardcore adult, and more of the "
    "same";
constexpr const char* kLabelled =
    "<title>Label</title><meta name=rating content=RTA-5042-1996-1400-1577-RTA><p>x";
constexpr const char* kLittle = "<p>tiny";

class CheckCommand : public testing::Test {
 protected:
  // Judges by the tiny map.
  [[nodiscard]] CommandRun check(std::vector<std::string> arguments, std::string_view input = {}) const {
    arguments.insert(arguments.begin(), {"check", "--map", map_.path()});
    return runCommand(arguments, input);
  }
  // The lines of a run with --json.
  [[nodiscard]] std::vector<Json> checkJson(std::vector<std::string> arguments,
                                            std::string_view input = {}) const {
    arguments.insert(arguments.begin(), "--json");
    std::vector<Json> lines;
    for (const std::string& line : linesOf(check(std::move(arguments), input).out))
      lines.push_back(Json::parse(line));
    return lines;
  }

  const lsm::TinyMapFile map_;
  const TemporaryFolder folder_;
};

TEST_F(CheckCommand, PrintsOneLineAPageAndASummary) {
  folder_.write("p/a.html", kHarmless);
  folder_.write("p/b.html", kAdult);
  folder_.write("p/c.html", kLabelled);
  folder_.write("p/d.txt", kLittle);
  const std::string p = folder_.at("p");
  const CommandRun run = check({p});
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "allowed   \t0\t[ 1:1.00 ]    2:0.00\tOur garden\t" + p + "/a.html\n" +
                         "RESTRICTED\t0\t1:0.00    [ 2:1.00 ]\tVideos\t" + p + "/b.html\n" +
                         "RESTRICTED\t3\tSELF-RESTRICTED     \tLabel\t" + p + "/c.html\n" +
                         "allowed   \t5\tPage not analyzed: too little content found\t-\t" + p + "/d.txt\n" +
                         "\n4 pages: 2 restricted, 2 allowed, 0 errors (evidence 0: 2, 3: 1, 5: 1)\n");
}

TEST_F(CheckCommand, PrintsJsonObjectsWithExactlyTheirKeys) {
  const std::string a = folder_.write("a.html", kHarmless);
  const std::string b = folder_.write("b.html", kAdult);
  const std::string c = folder_.write("c.html", kLabelled);
  const std::string d = folder_.write("d.html", kLittle);
  const CommandRun run = check({"--json", a, b, c, d});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(
      run.out,
      "{\"path\":\"" + a + "\",\"url\":\"\",\"restricted\":false,\"evidence\":0," +
          "\"message\":\"[ 1:1.00 ]    2:0.00\",\"title\":\"Our garden\",\"scores\":[1.0,0.0]}\n" +
          "{\"path\":\"" + b + "\",\"url\":\"\",\"restricted\":true,\"evidence\":0," +
          "\"message\":\"1:0.00    [ 2:1.00 ]\",\"title\":\"Videos\",\"scores\":[0.0,1.0]}\n" +
          "{\"path\":\"" + c + "\",\"url\":\"\",\"restricted\":true,\"evidence\":3," +
          "\"message\":\"SELF-RESTRICTED\",\"title\":\"Label\",\"scores\":[]}\n" + "{\"path\":\"" + d +
          "\",\"url\":\"\",\"restricted\":false,\"evidence\":5," +
          "\"message\":\"Page not analyzed: too little content found\",\"title\":null,\"scores\":[]}\n");
}

TEST_F(CheckCommand, ExitStatusTellsWhetherAnythingWasRestrictedOrWentWrong) {
  const std::string good = folder_.write("a.html", kHarmless);
  const std::string bad = folder_.write("b.html", kAdult);
  const std::string missing = folder_.at("missing.html");
  EXPECT_EQ(check({good}).status, 0);
  EXPECT_EQ(check({bad}).status, 1);
  EXPECT_EQ(check({good, bad}).status, 1);
  EXPECT_EQ(check({missing, good}).status, 2);
  EXPECT_EQ(check({missing, bad}).status, 2);
}

TEST_F(CheckCommand, JudgesOnAfterAnErrorThatNamesItsFile) {
  const std::string good = folder_.write("a.html", kHarmless);
  const std::string missing = folder_.at("missing.html");
  const std::string lines =
      folder_.write("l.jsonl", "{\"html\":\"" + std::string(100, 'x') + "\"}\nnot JSON\n");
  const std::string archive =
      folder_.write("w.warc", warcResponse("http://a.example/", "no HTTP") + "WARC/1.0\r\nWARC-");
  const std::string packed = folder_.write("z.jsonl.gz", gzipped("{}").substr(0, 12));
  const CommandRun run = check({"--json", missing, lines, archive, packed, good});
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(linesOf(run.out).size(), 2u);
  const std::vector<std::string> errors = linesOf(run.err);
  ASSERT_EQ(errors.size(), 5u) << run.err;
  EXPECT_EQ(errors[0], "sifterra: " + missing + ": cannot be read: No such file or directory");
  EXPECT_EQ(errors[1],
            "sifterra: " + lines +
                ":2: not valid JSON at byte 2; expected {\"html\" or \"text\": \"...\", \"label\": 1 to 9, "
                "\"site\": ..., ...}");
  EXPECT_THAT(errors[2], testing::StartsWith("sifterra: " + archive +
                                             ": record 1 (http://a.example/): is no HTTP response: "));
  EXPECT_EQ(errors[3], "sifterra: " + archive + ": record 2: the file is cut short inside its header");
  EXPECT_THAT(errors[4],
              testing::StartsWith("sifterra: " + packed + ": compressed data ends early (at byte "));
  EXPECT_EQ(linesOf(check({missing, good}).out).back(),
            "1 page: 0 restricted, 1 allowed, 1 error (evidence 0: 1)");
}

TEST_F(CheckCommand, JudgesTheResponsesOfAnArchiveUnderTheirAddresses) {
  const std::string html = "Content-Type: text/html; charset=koi8-r\r\n";
  const std::string archive = folder_.write(
      "w.warc.gz",
      gzipped(warcResponse("http://a.example/1", httpMessage(html, kHarmless))) +
          gzipped(warcResponse("http://a.example/i", httpMessage("Content-Type: image/png\r\n", "x"))) +
          gzipped(warcResponse("http://b.example/2",
                               httpMessage(html + "Transfer-Encoding: chunked\r\n", chunked(kAdult, 10)))));
  const std::vector<Json> lines = checkJson({archive});
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0]["path"], archive);
  EXPECT_EQ(lines[0]["url"], "http://a.example/1");
  EXPECT_EQ(lines[0]["restricted"], false);
  EXPECT_EQ(lines[1]["url"], "http://b.example/2");
  EXPECT_EQ(lines[1]["restricted"], true);
  EXPECT_EQ(linesOf(check({archive}).out)[1],
            "RESTRICTED\t0\t1:0.00    [ 2:1.00 ]\tVideos\t" + archive + " http://b.example/2");
}

TEST_F(CheckCommand, AnArchiveAndItsFilesGetTheSameVerdicts) {
  const std::vector<std::string> pages = {kHarmless, kAdult, kLabelled, kLittle};
  std::string archive;
  std::string lines;
  for (std::size_t i = 0; i < pages.size(); ++i) {
    folder_.write("p/" + std::to_string(i) + ".html", pages[i]);
    archive += warcResponse("http://a.example/", httpMessage("Content-Type: text/html\r\n", pages[i]));
    lines += Json{{"html", pages[i]}}.dump() + "\n";
  }
  const auto without = [](std::vector<Json> results) {
    for (Json& result : results) {
      result.erase("path");
      result.erase("url");
    }
    return results;
  };
  const std::vector<Json> files = without(checkJson({folder_.at("p")}));
  ASSERT_EQ(files.size(), 4u);
  EXPECT_EQ(without(checkJson({folder_.write("w.warc", archive)})), files);
  EXPECT_EQ(without(checkJson({folder_.write("l.jsonl", lines)})), files);
}

TEST_F(CheckCommand, TakesAddressAndCharsetFromTheCommandLine) {
  const std::vector<Json> lines = checkJson({"--url", "http://u.example/", "--charset", "windows-1251", "-"},
                                            "<title>\xcf\xf0\xe8\xe2\xe5\xf2</title>");
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0]["path"], "-");
  EXPECT_EQ(lines[0]["url"], "http://u.example/");
  EXPECT_EQ(lines[0]["title"], "\xd0\x9f\xd1\x80\xd0\xb8\xd0\xb2\xd0\xb5\xd1\x82");
}

TEST_F(CheckCommand, GivesTheSameOutputWithAnyNumberOfThreads) {
  for (int i = 0; i < 300; ++i) {
    // Pages of very different length, so that later ones overtake earlier ones.
    const std::string filler(static_cast<std::size_t>(i % 7 == 0 ? 200000 : 10), 'x');
    folder_.write("p/" + std::to_string(1000 + i) + ".html",
                  (i % 3 == 0 ? kAdult : kHarmless) + (" " + filler));
    if (i % 50 == 0) folder_.write("p/" + std::to_string(1000 + i) + "/x.html", kLittle);
  }
  for (const bool json : {false, true}) {
    std::vector<std::string> arguments = {"-j", "1", folder_.at("p"), folder_.at("missing")};
    if (json) arguments.insert(arguments.begin(), "--json");
    const CommandRun one = check(arguments);
    EXPECT_EQ(linesOf(one.out).size(), json ? 306u : 308u);
    for (const char* threads : {"2", "8", "64"}) {
      SCOPED_TRACE(threads);
      arguments[json ? 2 : 1] = threads;
      const CommandRun many = check(arguments);
      EXPECT_EQ(many.status, one.status);
      EXPECT_EQ(many.out, one.out);
      EXPECT_EQ(many.err, one.err);
    }
  }
}

TEST_F(CheckCommand, APageCannotForgeLinesOrCommandTheTerminal) {
  const CommandRun run = check(
      {"-"}, "<title>one\ntwo\tthree &#27;[31m&#x9b;31m\xc2\xa0 four</title><p>" + std::string(kHarmless));
  const std::vector<std::string> lines = linesOf(run.out);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(std::count(lines[0].begin(), lines[0].end(), '\t'), 4);
  EXPECT_THAT(run.out, testing::Not(HasSubstr("\x1b")));
  EXPECT_THAT(run.out, testing::Not(HasSubstr("\xc2\x9b")));
  EXPECT_THAT(lines[0], HasSubstr("one two three"));
}

TEST_F(CheckCommand, AnErrorCannotForgeLinesOrCommandTheTerminal) {
  const std::string archive =
      folder_.write("w.warc", warcResponse("http://a.example/\x1b[31m\xc2\x9b\xc3\xa9", "no HTTP"));
  const std::vector<std::string> errors =
      linesOf(check({archive, folder_.at("no\nsifterra: file.html")}).err);
  ASSERT_EQ(errors.size(), 2u);
  EXPECT_THAT(errors[0], testing::StartsWith("sifterra: " + archive +
                                             ": record 1 (http://a.example/?[31m?\xc3\xa9): is no HTTP"));
  EXPECT_EQ(errors[1], "sifterra: " + folder_.at("no?sifterra: file.html") +
                           ": cannot be read: No such file or directory");
}

TEST_F(CheckCommand, ReportsAMapThatIsMissingOrNone) {
  const std::string page = folder_.write("a.html", kHarmless);
  for (const std::string& map :
       {folder_.at("missing.map"), folder_.write("no.map", "text"), folder_.path()}) {
    SCOPED_TRACE(map);
    const CommandRun run = runCommand({"--log-level", "off", "check", "--map", map, page});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "sifterra: " + map + ": is missing or no map\n");
  }
}

TEST_F(CheckCommand, TakesAMapByARelativePath) {
  const TemporaryFolder folder;
  const CommandRun run =
      runShell("cp " + map_.path() + " " + folder.path() + "/my.map && cd " + folder.path() + " && echo '" +
               kAdult + "' | $SIFTERRA check --json --map my.map -");
  EXPECT_EQ(run.status, 1) << run.err;
}

TEST_F(CheckCommand, AThirdCategoryGivesAThirdScore) {
  const lsm::TinyMapFile three({}, 3);
  const CommandRun run = runCommand({"check", "--json", "--map", three.path(), "-"}, kAdult);
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_EQ(Json::parse(run.out)["scores"].size(), 3u);
}

TEST_F(CheckCommand, ShowsNoProgressBarWhenStandardErrorIsNoTerminal) {
  for (int i = 0; i < 150; ++i) folder_.write("p/" + std::to_string(i) + ".html", kLittle);
  EXPECT_EQ(check({folder_.at("p")}).err, "");
}

// script(1) gives the program a terminal.
TEST_F(CheckCommand, ShowsAProgressBarOnATerminalForMoreThanAHundredPages) {
  if (runShell("command -v script").status != 0) GTEST_SKIP() << "no script(1) here";
  for (int i = 0; i < 100; ++i) folder_.write("p/" + std::to_string(1000 + i) + ".html", kLittle);
  const std::string command = "script -qec \"$SIFTERRA check --json --map " + map_.path() + " " +
                              folder_.at("p") + " > /dev/null\" /dev/null";
  EXPECT_THAT(runShell(command).out, testing::Not(HasSubstr("pages")));
  for (int i = 100; i < 300; ++i) folder_.write("p/" + std::to_string(1000 + i) + ".html", kLittle);
  const std::string bar = runShell(command).out;
  EXPECT_THAT(bar, HasSubstr("101 pages"));
  EXPECT_THAT(bar, HasSubstr("%  "));
  EXPECT_THAT(bar, testing::EndsWith("\r\x1b[K"));
}

TEST_F(CheckCommand, ExplainsWhatDecidedTenWordsEachWay) {
  const std::string page = folder_.write(
      "p.html", "<title>Free p0rn</title><p>school, weather and xxx for some sixteen letters more</p>");
  const CommandRun run = check({"--explain", page});
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.status, 1);
  const std::vector<std::string> lines = linesOf(run.out);
  ASSERT_GE(lines.size(), 10U) << run.out;
  EXPECT_THAT(lines[0], testing::StartsWith("RESTRICTED\t0\t1:0.00    [ 2:1.00 ]\tFree p0rn\t"));
  EXPECT_THAT(lines[1], testing::ContainsRegex(
                            "^  Decided by the whole page: \\+[0-9.]+ points, restricted above \\+0\\.49$"));
  EXPECT_THAT(lines[2], testing::ContainsRegex("^  It says: \".*p0rn.*\"$"));
  EXPECT_EQ(lines[3], "  For the adult category");
  EXPECT_THAT(lines[4],
              testing::ContainsRegex("^ +\\+[0-9.]+  porn \\(1[67] times; title.*; written \"p0rn\"\\)$"));
  EXPECT_THAT(lines[5], testing::ContainsRegex("^ +\\+[0-9.]+  xxx \\(text\\)$"));
  EXPECT_THAT(run.out, HasSubstr("\n  Against it\n"));
  EXPECT_THAT(run.out, testing::ContainsRegex("-[0-9.]+  (school|weather) \\(text\\)\n"));
  EXPECT_THAT(run.out,
              testing::ContainsRegex(
                  "\n  Every page starts at -2\\.00; [0-9]+ more words come to [+-][0-9.]+; all together "));
  EXPECT_THAT(run.out, testing::EndsWith("\n1 page: 1 restricted, 0 allowed, 0 errors (evidence 0: 1)\n"));
}

TEST_F(CheckCommand, SaysWhyAPageCountsOtherThanTheWordsOfItsStretchOrPart) {
  lsm::MapContents contents = lsm::tinyMapContents();
  contents.windowTokens = 64;
  contents.bestWindows = 2;
  contents.windowPenalty = 4;
  contents.partPenalties = {0.0F, 0.0F, 1.5F};
  contents.partTokens = 1;
  const auto explained = [this](const lsm::MapContents& of, const std::string& page) {
    const lsm::TinyMapFile map(of);
    return runCommand({"check", "--explain", "--map", map.path(), folder_.write("p.html", page)}).out;
  };
  const auto repeated = [](int times, const std::string& words) {
    std::string text;
    for (int i = 0; i < times; ++i) text += words;
    return text;
  };
  const std::string harmless = "<title>A</title><p>" + repeated(64, "weather school garden recipe ");
  const std::string stretch = harmless + repeated(20, "xxx porn nude erotic escort webcam sexy videos ");
  EXPECT_THAT(
      explained(contents, stretch),
      HasSubstr(
          "all together +37.84\n"
          "  The words are those of the stretch that speaks plainest. One stretch may do so by chance: the "
          "page counts\n"
          "  by the mean of its 2 plainest stretches, +37.84,\n"
          "  and 4.00 points are taken off, because a long page has many stretches: +33.84.\n"));
  contents.bestWindows = 1;
  EXPECT_THAT(
      explained(contents, stretch),
      HasSubstr("\n  The words are those of the stretch that speaks plainest, +37.84,\n  and 4.00 points are "
                "taken off, because a long page has many stretches: +33.84.\n"));
  const std::string part = "<title>" + repeated(4, "our school garden ") + "</title><p>xxx porn nude";
  EXPECT_THAT(
      explained(contents, part),
      HasSubstr(
          "\n  The words are those of this part of the page alone, -14.43,\n  and 1.50 points are taken "
          "off, because a part proves less than the whole page: -15.93.\n"));
  contents.partPenalties = {0.0F, 0.0F, 0.0F};
  contents.windowPenalty = 0;
  EXPECT_THAT(explained(contents, part), testing::Not(HasSubstr("The words are those")));
  EXPECT_THAT(explained(contents, stretch),
              HasSubstr("\n  The words are those of the stretch that speaks plainest, +37.84.\n"));
  EXPECT_THAT(explained(contents, kAdult), testing::Not(HasSubstr("The words are those")));
}

TEST_F(CheckCommand, ExplainsNothingOfAPageThatIsNotClassified) {
  const std::string page = folder_.write("p.html", kLabelled);
  EXPECT_EQ(check({"--explain", page}).out, check({page}).out);
  EXPECT_FALSE(checkJson({"--explain", page})[0].contains("explanation"));
}

TEST_F(CheckCommand, TheExplanationInJsonAddsUp) {
  std::string words;
  for (const char* word : {"weather", "school", "garden", "recipe", "library", "football", "science",
                           "history", "teacher", "homework", "museum", "kitchen"})
    words += std::string(word) + " ";
  const std::string page = folder_.write("p.html", "<title>Videos</title><p>" + words + "the p o r n 1234");
  const Json explanation = checkJson({"--explain", page})[0]["explanation"];
  std::vector<std::string> keys;
  for (const auto& [key, value] : explanation.items()) keys.push_back(key);
  EXPECT_THAT(keys, testing::ElementsAre("decided", "threshold", "excerpt", "start", "total", "for",
                                         "against", "rest", "others"));
  EXPECT_EQ(explanation["decided"]["name"], "the whole page");
  EXPECT_EQ(explanation["against"].size(), 10U);
  double sum = explanation["start"].get<double>() + explanation["rest"]["points"].get<double>();
  for (const char* way : {"for", "against"}) {
    for (const Json& word : explanation[way]) sum += word["points"].get<double>();
  }
  EXPECT_NEAR(sum, explanation["total"].get<double>(), 1e-3);
  EXPECT_EQ(explanation["total"], explanation["decided"]["points"])
      << "of the whole page nothing is taken off";
  Json porn;
  for (const Json& word : explanation["for"]) {
    if (word["word"] == "porn") porn = word;
  }
  EXPECT_EQ(porn["nature"], "known");
  EXPECT_TRUE(porn["meaning"].is_null());
  EXPECT_EQ(porn["places"], Json::parse(R"(["text"])"));
  EXPECT_EQ(porn["written"], Json::parse(R"(["p o r n"])"));
  EXPECT_EQ(porn["count"], 1);
}

TEST_F(CheckCommand, WithoutExplainNothingOfItIsPrinted) {
  const std::string page = folder_.write("p.html", kAdult);
  EXPECT_FALSE(checkJson({page})[0].contains("explanation"));
}

TEST_F(CheckCommand, HostileWordsInAnExplanationDoNotCommandTheTerminal) {
  const std::string page = folder_.write(
      "p.html",
      "<title>x</title><p>p0rn\x1b[2J&#27;[2J xxx\xc2\x9b nude for some sixteen letters and more</p>");
  EXPECT_EQ(check({"--explain", page}).out.find_first_of("\x1b\x9b"), std::string::npos);
}

}  // namespace
}  // namespace sifterra::tools
