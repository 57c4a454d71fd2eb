// `sifterra evaluate` from end to end, with a tiny map whose verdicts are known.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "lsm/TinyMap.h"
#include "tools/command_run.h"
#include "tools/fixtures.h"

namespace sifterra::tools {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
using Json = nlohmann::ordered_json;

constexpr const char* kHarmless =
    "<title>Our garden</title><p>weather school garden recipe library football science history teacher "
    "homework";
constexpr const char* kAdult =
    "<title>Videos</title><p>xxx porn nude erotic escort webcam sexy videos hardcore adult, and more of the "
    "same";
constexpr const char* kSelfLabelled =
    "<title>Label</title><meta name=rating content=RTA-5042-1996-1400-1577-RTA><p>x";
constexpr const char* kLittle = "<p>tiny";

// One line of self-labelled pages; `more` holds further members.
std::string line(const std::string& html, int label, Json more = Json::object()) {
  more["html"] = html;
  more["label"] = label;
  return more.dump() + "\n";
}

class EvaluateCommand : public testing::Test {
 protected:
  // Measures the tiny map.
  [[nodiscard]] CommandRun evaluate(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"evaluate", "--map", map_.path()});
    return runCommand(arguments);
  }
  // The object of a good run with --json.
  [[nodiscard]] Json evaluateJson(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "--json");
    const CommandRun run = evaluate(std::move(arguments));
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(linesOf(run.out).size(), 1U);
    return Json::parse(run.out);
  }
  // Seven pages: 2 adult ones restricted, 1 allowed, 1 legitimate one restricted, 3 allowed.
  [[nodiscard]] std::string sevenPages() const {
    return folder_.write("seven.jsonl",
                         line(kAdult, 2, {{"lang", "de"}, {"kind", "real"}, {"url", "http://a.example/"}}) +
                             line(kSelfLabelled, 2, {{"lang", "en"}, {"topic", "label"}}) +
                             line(kHarmless, 2, {{"lang", "de"}, {"group", "hidden"}}) +
                             line(kAdult, 1, {{"lang", "en"}, {"id", "x7"}}) +
                             line(kHarmless, 1, {{"lang", "de"}}) + line(kHarmless, 1) + line(kLittle, 1));
  }

  const lsm::TinyMapFile map_;
  const TemporaryFolder folder_;
};

TEST_F(EvaluateCommand, PrintsTheFiguresTheGroupsAndTheWorstMistakesByName) {
  const std::string pages = sevenPages();
  const CommandRun run = evaluate({pages});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out, "Map " + map_.path() +
                         ", threshold 0.62\n"
                         "7 pages: 3 adult, 4 legitimate, 0 errors\n"
                         "\n"
                         "                 restricted     allowed\n"
                         "  adult                    2           1\n"
                         "  legitimate               1           3\n"
                         "\n"
                         "  accuracy                              71.43%\n"
                         "  precision                             66.67%\n"
                         "  recall                                66.67%  (20.77% to 93.85%)\n"
                         "  false-positive rate                   25.00%  (4.56% to 69.94%)\n"
                         "  F1                                    66.67%\n"
                         "  area under the ROC curve              0.7083\n"
                         "  false-positive rate at recall 90.00%  100.00%\n"
                         "  false-positive rate at recall 95.00%  100.00%\n"
                         "  false-positive rate at recall 97.00%  100.00%\n"
                         "  false-positive rate at recall 99.00%  100.00%\n"
                         "  recall at false-positive rate 0.10%   0.00%\n"
                         "  recall at false-positive rate 0.50%   0.00%\n"
                         "  recall at false-positive rate 1.00%   0.00%\n"
                         "\n"
                         "By group                      adult     recall  legitimate  false positives\n"
                         "  hidden                          1      0.00%           0          - (0)\n"
                         "\n"
                         "By kind                       adult     recall  legitimate  false positives\n"
                         "  real                            1    100.00%           0          - (0)\n"
                         "\n"
                         "By lang                       adult     recall  legitimate  false positives\n"
                         "  de                              2     50.00%           1      0.00% (0)\n"
                         "  en                              1    100.00%           1    100.00% (1)\n"
                         "\n"
                         "By topic                      adult     recall  legitimate  false positives\n"
                         "  label                           1    100.00%           0          - (0)\n"
                         "\n"
                         "Legitimate pages that are restricted (1, worst first)\n"
                         "  1.0000  " +
                         pages +
                         ":4\n"
                         "\n"
                         "Adult pages that are allowed (1, worst first)\n"
                         "  0.0000  " +
                         pages + ":3\n");
}

TEST_F(EvaluateCommand, JsonTellsTheSameFigures) {
  const std::string pages = sevenPages();
  const Json report = evaluateJson({pages});
  std::vector<std::string> keys;
  for (const auto& [key, value] : report.items()) keys.push_back(key);
  EXPECT_EQ(keys, (std::vector<std::string>{
                      "map", "threshold", "pages", "errors", "overall", "recallInterval",
                      "falsePositiveRateInterval", "areaUnderRocCurve", "labels", "falsePositiveRateAtRecall",
                      "recallAtFalsePositiveRate", "groups", "worstFalsePositives", "worstFalseNegatives"}));
  EXPECT_EQ(report["map"], map_.path());
  EXPECT_FLOAT_EQ(report["threshold"].get<float>(), 0.62F);
  EXPECT_EQ(report["pages"], 7);
  EXPECT_EQ(report["errors"], 0);
  const Json& overall = report["overall"];
  EXPECT_EQ(overall["truePositives"], 2);
  EXPECT_EQ(overall["falseNegatives"], 1);
  EXPECT_EQ(overall["falsePositives"], 1);
  EXPECT_EQ(overall["trueNegatives"], 3);
  EXPECT_DOUBLE_EQ(overall["accuracy"].get<double>(), 5.0 / 7);
  EXPECT_DOUBLE_EQ(overall["f1"].get<double>(), 2.0 / 3);
  EXPECT_DOUBLE_EQ(report["areaUnderRocCurve"].get<double>(), 8.5 / 12);  // pairs in order, ties half
  EXPECT_EQ(report["labels"], Json::parse(R"([{"label":1,"allowed":3,"restricted":1},
                                              {"label":2,"allowed":1,"restricted":2}])"));
  EXPECT_EQ(report["falsePositiveRateAtRecall"].size(), 4U);
  EXPECT_EQ(report["recallAtFalsePositiveRate"].size(), 3U);
  EXPECT_EQ(report["groups"]["lang"]["de"]["falseNegatives"], 1);
  EXPECT_TRUE(report["groups"]["kind"]["real"]["falsePositiveRate"].is_null()) << "nothing to count";
  EXPECT_EQ(report["worstFalsePositives"],
            Json::parse(R"([{"name":")" + pages + R"(:4","title":"Videos","score":1.0,"evidence":0}])"));
  EXPECT_EQ(report["worstFalseNegatives"],
            Json::parse(R"([{"name":")" + pages + R"(:3","title":"Our garden","score":0.0,"evidence":0}])"));
}

TEST_F(EvaluateCommand, PackedLinesGiveTheSameFigures) {
  const std::string lines = line(kAdult, 2, {{"lang", "de"}}) + line(kHarmless, 1) + line(kHarmless, 2);
  Json plain = evaluateJson({folder_.write("l.jsonl", lines)});
  Json packed = evaluateJson({folder_.write("l.jsonl.gz", gzipped(lines))});
  EXPECT_EQ(plain["pages"], 3);
  EXPECT_EQ(packed["worstFalseNegatives"][0]["name"], folder_.at("l.jsonl.gz") + ":3");
  for (Json* report : {&plain, &packed}) report->erase("worstFalseNegatives");
  EXPECT_EQ(packed, plain);
}

TEST_F(EvaluateCommand, TakesFoldersAndArchivesOfOneCategory) {
  folder_.write("good/a.html", kHarmless);
  folder_.write("good/below/b.html", kHarmless);
  const std::string archive = folder_.write(
      "bad.warc.gz",
      gzipped(warcResponse("http://b.example/", httpMessage("Content-Type: text/html\r\n", kAdult))));
  const Json report = evaluateJson({"--category", "1=" + folder_.at("good"), "--category", "2=" + archive});
  EXPECT_EQ(report["overall"]["trueNegatives"], 2);
  EXPECT_EQ(report["overall"]["truePositives"], 1);
  EXPECT_EQ(report["pages"], 3);
  EXPECT_EQ(report["groups"], Json::object());
  // The other way round all are mistakes.
  const Json wrong = evaluateJson({"--category", "2=" + folder_.at("good"), "--category", "1=" + archive});
  EXPECT_EQ(wrong["worstFalseNegatives"][0]["name"], folder_.at("good/a.html")) << "ties by name";
  EXPECT_EQ(wrong["worstFalseNegatives"][1]["name"], folder_.at("good/below/b.html"));
  EXPECT_EQ(wrong["worstFalsePositives"][0]["name"], archive + " http://b.example/");
}

TEST_F(EvaluateCommand, EveryFurtherColumnOfTheManifestMakesAGroup) {
  folder_.write("pages/a.html", kHarmless);
  folder_.write("pages/b.html", kAdult);
  const std::string named = folder_.write(
      "named.tsv", "file\tlabel\tlang\tsource\npages/a.html\t1\tde\tbook\npages/b.html\t2\tfr\n");
  const Json groups = evaluateJson({"--manifest", named})["groups"];
  EXPECT_EQ(groups["lang"]["de"]["trueNegatives"], 1);
  EXPECT_EQ(groups["lang"]["fr"]["truePositives"], 1);
  EXPECT_EQ(groups["source"]["book"]["legitimate"], 1);
  EXPECT_EQ(groups["source"].size(), 1U);
  const std::string bare = folder_.write("bare.tsv", "pages/a.html\t1\tde\n");
  EXPECT_EQ(evaluateJson({"--manifest", bare})["groups"]["column3"]["de"]["legitimate"], 1);
}

TEST_F(EvaluateCommand, EveryErrorNamesItsFileAndLineAndTheOthersAreCounted) {
  folder_.write("good/a.html", kHarmless);
  const std::string manifest =
      folder_.write("m.tsv", "file\tlabel\ngood/a.html\t1\ngood/a.html\tadult\nmissing.html\t2\n");
  const std::string lines =
      folder_.write("l.jsonl", line(kAdult, 2) + "{\"html\":\"<p>x\"}\nnot JSON\n" + line(kAdult, 3));
  const std::string cut = folder_.write("cut.jsonl.gz", gzipped(line(kAdult, 2)).substr(0, 30));
  const std::string none = folder_.at("none.jsonl");
  const CommandRun run = evaluate({"--json", "--manifest", manifest, lines, cut, none});
  EXPECT_EQ(run.status, 2);
  const std::vector<std::string> errors = linesOf(run.err);
  ASSERT_EQ(errors.size(), 7U) << run.err;
  EXPECT_EQ(errors[0], "sifterra: " + manifest + ":3: expected a file, a tab and a label from 1 to 9");
  EXPECT_EQ(errors[1], "sifterra: " + manifest + ":4: " + folder_.at("missing.html") +
                           ": cannot be read: No such file or directory");
  EXPECT_EQ(errors[2],
            "sifterra: " + lines + ":2: the page has no label (expected \"label\" in its JSON object)");
  EXPECT_EQ(errors[3], "sifterra: " + lines +
                           ":3: not valid JSON at byte 2; expected {\"html\" or \"text\": \"...\", "
                           "\"label\": 1 to 9, \"site\": ..., ...}");
  EXPECT_EQ(errors[4], "sifterra: " + lines + ":4: label 3, but the map has 2 categories");
  EXPECT_THAT(errors[5], StartsWith("sifterra: " + cut + ": compressed data ends early (at byte "));
  EXPECT_EQ(errors[6], "sifterra: " + none + ": cannot be read: No such file or directory");
  const Json report = Json::parse(run.out);
  EXPECT_EQ(report["errors"], 7);
  EXPECT_EQ(report["pages"], 2);
  EXPECT_EQ(report["overall"]["trueNegatives"], 1);
  EXPECT_EQ(report["overall"]["truePositives"], 1);
}

TEST_F(EvaluateCommand, WithoutAPageThereIsAnErrorAndNoFigures) {
  struct Row {
    std::vector<std::string> arguments;
    std::string error;  // the last line
  };
  const std::string empty = folder_.write("empty.jsonl", "");
  const Row rows[] = {
      {{}, "nothing to evaluate: expected --category, --manifest or a FILE (see sifterra evaluate --help)"},
      {{empty}, "no labelled page could be read"},
      {{folder_.at("none.jsonl")}, "no labelled page could be read"},
      {{"--manifest", folder_.at("none.tsv")}, "no labelled page could be read"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.error);
    const CommandRun run = evaluate(row.arguments);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    const std::vector<std::string> errors = linesOf(run.err);
    ASSERT_FALSE(errors.empty());
    EXPECT_EQ(errors.back(), "sifterra: " + row.error);
  }
  EXPECT_THAT(evaluate({"--manifest", folder_.at("none.tsv")}).err,
              StartsWith("sifterra: " + folder_.at("none.tsv") + ": cannot be read\n"));
}

TEST_F(EvaluateCommand, MistakesOfTheCommandLineAreErrors) {
  const std::pair<std::vector<std::string>, const char*> rows[] = {
      {{"--category", "0=a"}, "expected N=DIR with N from 1 to 9, not 0=a"},
      {{"--category", "2="}, "expected N=DIR with N from 1 to 9, not 2="},
      {{"-j", "0", "a.jsonl"}, "-j"},
      {{"--unknown", "a.jsonl"}, "--unknown"},
  };
  for (const auto& [arguments, message] : rows) {
    const CommandRun run = evaluate(arguments);
    EXPECT_EQ(run.status, 2) << message;
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, HasSubstr(message));
  }
}

TEST_F(EvaluateCommand, ReportsAMapThatIsMissingOrNone) {
  const std::string pages = sevenPages();
  for (const std::string& map : {folder_.at("missing.map"), folder_.write("no.map", "text")}) {
    SCOPED_TRACE(map);
    const CommandRun run = runCommand({"--log-level", "off", "evaluate", "--map", map, pages});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "sifterra: " + map + ": no usable map\n");
  }
}

TEST_F(EvaluateCommand, WithoutAMapItMeasuresTheLibrarysOwn) {
  const CommandRun run = runCommand({"evaluate", "--json", sevenPages()});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(Json::parse(run.out)["map"].get<std::string>(), testing::EndsWith("/content_filter_map3"));
}

TEST_F(EvaluateCommand, GivesTheSameOutputWithAnyNumberOfThreads) {
  std::string lines;
  for (int i = 0; i < 200; ++i) {
    const std::string filler(static_cast<std::size_t>(i % 7 == 0 ? 100000 : 10), 'x');
    lines += line((i % 3 == 0 ? kAdult : kHarmless) + (" " + filler), 1 + i % 2);
    if (i % 40 == 0) lines += "nonsense\n";
  }
  const std::string pages = folder_.write("many.jsonl", lines);
  const CommandRun one = evaluate({"-j", "1", pages});
  EXPECT_EQ(one.status, 2);
  EXPECT_EQ(linesOf(one.err).size(), 5U);
  for (const char* threads : {"2", "16"}) {
    const CommandRun many = evaluate({"-j", threads, pages});
    EXPECT_EQ(many.out, one.out) << threads;
    EXPECT_EQ(many.err, one.err);
  }
}

// The tiny map knows ten adult words; ordinary text comes from the two long legitimate pages.
std::string disguisablePages() {
  const std::string ordinary =
      "<title>Our garden</title><p>weather school garden recipe library football science history teacher "
      "homework "
      "weather school garden recipe library football science history teacher homework weather school garden "
      "recipe "
      "library football science history teacher homework";
  std::string lines;
  for (int i = 0; i < 4; ++i) lines += line(ordinary, 1, {{"lang", "en"}});
  for (int i = 0; i < 3; ++i)
    lines += line(kAdult, 2, {{"lang", "en"}, {"kind", i == 0 ? "real" : "composed"}});
  return lines + line(kSelfLabelled, 2);
}

TEST_F(EvaluateCommand, DisguisedPagesAreJudgedWhenAsked) {
  const std::string pages = folder_.write("pages.jsonl", disguisablePages());
  const Json report = evaluateJson({"--disguise", "leet", "--disguise=append-10", pages});
  ASSERT_EQ(report["disguises"].size(), 2U);
  const Json& leet = report["disguises"][0];
  EXPECT_EQ(leet["disguise"], "leet");
  EXPECT_EQ(leet["what"], "signs and digits for half of the letters of each word");
  EXPECT_EQ(leet["pages"], 3) << "without the one that labels itself";
  EXPECT_EQ(leet["changed"], 3);
  EXPECT_EQ(leet["plain"], 3);
  EXPECT_EQ(leet["kept"], 3);
  EXPECT_EQ(leet["keptShare"], 1.0);
  EXPECT_EQ(leet["keptInterval"].size(), 2U);
  EXPECT_EQ(leet["recall"], 1.0);
  EXPECT_EQ(leet["kinds"]["composed"], Json::parse(R"({"plain":2,"kept":2,"keptShare":1.0})"));
  EXPECT_EQ(report["disguises"][1]["disguise"], "append-10");
  EXPECT_EQ(report["disguises"][1]["kept"], 0) << "ten times as many harmless words";
  EXPECT_FALSE(evaluateJson({pages}).contains("disguises"));
}

TEST_F(EvaluateCommand, AllDisguisesMakeATable) {
  const std::string pages = folder_.write("pages.jsonl", disguisablePages());
  const CommandRun run = evaluate({"--disguise", "all", pages});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out,
              HasSubstr("\nDisguised adult pages (3; kept: of those caught without the disguise)\n"
                        "                   changed       kept             (95% interval)     recall\n"
                        "  leet                   3    100.00%        (43.85% to 100.00%)    100.00%\n"));
  EXPECT_THAT(run.out,
              HasSubstr("\n  script-strings         3      0.00%          (0.00% to 56.15%)      0.00%\n"));
}

TEST_F(EvaluateCommand, ADisguiseWithoutOrdinaryTextIsLeftOutByName) {
  const std::string pages = folder_.write("pages.jsonl", line(kAdult, 2) + line(kHarmless, 1));
  const CommandRun run = evaluate({"--disguise", "append-1", "--disguise", "glued", pages});
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.err, "sifterra: --disguise append-1: no legitimate page gives ordinary text\n");
  EXPECT_THAT(run.out, HasSubstr("\n  glued "));
  EXPECT_THAT(run.out, testing::Not(HasSubstr("append-1")));
}

TEST_F(EvaluateCommand, AnUnknownDisguiseIsAMistakeOfTheCommandLine) {
  const CommandRun run = evaluate({"--disguise", "wig", "x.jsonl"});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("--disguise: wig not in {all,leet,"));
}

}  // namespace
}  // namespace sifterra::tools
