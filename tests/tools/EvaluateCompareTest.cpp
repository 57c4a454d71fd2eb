// `sifterra evaluate --compare`: two maps side by side, with the pages on which they differ.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "evaluation/Comparison.h"
#include "lsm/TinyMap.h"
#include "tools/command_run.h"
#include "tools/fixtures.h"

namespace sifterra::tools {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Json = nlohmann::ordered_json;

EvaluatedPage page(std::string name, bool adult, double score) {
  EvaluatedPage result;
  result.name = std::move(name);
  result.label = adult ? 2 : 1;
  result.adult = adult;
  result.score = score;
  result.restricted = score > 0.5;
  return result;
}

Evaluation evaluationOf(std::vector<EvaluatedPage> pages) {
  Evaluation evaluation;
  evaluation.pages = std::move(pages);
  evaluation.figures = figuresOf(evaluation.pages, 2);
  return evaluation;
}

std::vector<std::string> namesOf(const Difference& difference) {
  std::vector<std::string> names;
  for (const PagePair& pair : difference.pages) names.push_back(pair.a->name);
  return names;
}

TEST(Comparison, SortsThePagesOnWhichTheMapsDifferByHowFarTheyAreApart) {
  const Evaluation a = evaluationOf({page("b", true, 0.9), page("a", true, 0.9), page("c", true, 0.9),
                                     page("d", true, 0.1), page("e", false, 0.9), page("f", false, 0.4)});
  const Evaluation b = evaluationOf({page("b", true, 0.3), page("a", true, 0.3), page("c", true, 0.2),
                                     page("d", true, 0.1), page("e", false, 0.3), page("f", false, 0.6)});
  const Comparison comparison = compared(a, b);
  ASSERT_EQ(comparison.differences.size(), 4U);
  EXPECT_THAT(namesOf(comparison.differences[0]), ElementsAre("c", "a", "b"));
  EXPECT_THAT(namesOf(comparison.differences[1]), ElementsAre());
  EXPECT_THAT(namesOf(comparison.differences[2]), ElementsAre("e"));
  EXPECT_THAT(namesOf(comparison.differences[3]), ElementsAre("f"));
}

TEST(Comparison, ChanceIsTheExactTestOfThePagesThatDiffer) {
  struct Row {
    int onlyA;
    int onlyB;
    double chance;
  };
  constexpr Row kRows[] = {{0, 0, 1},      {1, 0, 1},          {1, 1, 1},           {5, 0, 0.0625},
                           {0, 5, 0.0625}, {9, 3, 0.14599609}, {18, 6, 0.02265584}, {0, 100, 1.5777e-30},
                           {500, 500, 1.0}};
  for (const Row& row : kRows) {
    SCOPED_TRACE(std::to_string(row.onlyA) + " and " + std::to_string(row.onlyB));
    std::vector<EvaluatedPage> a;
    std::vector<EvaluatedPage> b;
    for (int i = 0; i < row.onlyA + row.onlyB; ++i) {
      a.push_back(page("x", true, i < row.onlyA ? 1 : 0));
      b.push_back(page("x", true, i < row.onlyA ? 0 : 1));
    }
    const Evaluation one = evaluationOf(a);
    const Evaluation other = evaluationOf(b);
    EXPECT_NEAR(compared(one, other).chance(true), row.chance, 1e-6);
    EXPECT_EQ(compared(one, other).chance(false), 1);
  }
}

// Two maps of which the second does not know "porn" and "xxx".
class EvaluateCompare : public testing::Test {
 protected:
  EvaluateCompare() : a_(lsm::tinyMapContents()), b_(poorer()) {}

  static lsm::MapContents poorer() {
    lsm::MapContents contents = lsm::tinyMapContents();
    for (lsm::MapWord& word : contents.words) {
      if (word.text == "porn" || word.text == "xxx") word.text += "q";
    }
    return contents;
  }
  [[nodiscard]] CommandRun compare(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"evaluate", "--compare", a_.path(), b_.path()});
    return runCommand(arguments);
  }

  const lsm::TinyMapFile a_;
  const lsm::TinyMapFile b_;
  const TemporaryFolder folder_;
  const std::string pages_ = folder_.write(
      "l.jsonl",
      R"({"html":"<title>A</title><p>xxx porn xxx porn school and so on for some sixteen letters","label":2,"lang":"en"})"
      "\n"
      R"({"html":"<title>B</title><p>nude erotic escort webcam sexy videos","label":2,"lang":"de"})"
      "\n"
      R"({"html":"<title>C</title><p>porn xxx and school, written about a law","label":1,"lang":"en"})"
      "\n"
      R"({"html":"<title>D</title><p>weather school garden recipe library","label":1,"lang":"en"})"
      "\n");
};

TEST_F(EvaluateCompare, PrintsBothMapsSideBySideAndThePagesOnWhichTheyDiffer) {
  const CommandRun run = compare({pages_});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(run.out,
              testing::StartsWith("A: map " + a_.path() + ", threshold 0.62\nB: map " + b_.path() +
                                  ", threshold 0.62\n"
                                  "4 pages: 2 adult, 2 legitimate, 0 errors\n\n"
                                  "                                                   A           B\n"
                                  "  adult pages restricted                           2           1\n"
                                  "  legitimate pages restricted                      1           0\n"));
  EXPECT_THAT(run.out, HasSubstr("  recall                                     100.00%      50.00%\n"));
  EXPECT_THAT(
      run.out,
      HasSubstr("Adult pages on which they differ: 1 only A restricts, 0 only B (by chance: 1.0000)\n"
                "Legitimate pages on which they differ: 1 only A restricts, 0 only B (by chance: 1.0000)\n"));
  EXPECT_THAT(
      run.out,
      HasSubstr(
          "By lang                       adult   recall A   recall B  legitimate   false positives A, B\n"
          "  de                              1    100.00%    100.00%           0           0           0\n"
          "  en                              1    100.00%      0.00%           2           1           0\n"));
  EXPECT_THAT(run.out, HasSubstr("\nAdult pages that only A restricts (1; scores of A, B)\n  "));
  EXPECT_THAT(run.out, HasSubstr("  " + pages_ + ":1\n"));
  EXPECT_THAT(run.out, HasSubstr("\nLegitimate pages that only A restricts (1; scores of A, B)\n  "));
  EXPECT_THAT(run.out, testing::Not(HasSubstr("only B restricts (")));
}

TEST_F(EvaluateCompare, JsonHoldsTheFiguresOfBothAndEveryPageOnWhichTheyDiffer) {
  const CommandRun run = compare({"--json", pages_});
  EXPECT_EQ(run.status, 0) << run.err;
  const Json report = Json::parse(run.out);
  EXPECT_EQ(report["a"]["map"], a_.path());
  EXPECT_EQ(report["b"]["map"], b_.path());
  EXPECT_EQ(report["a"]["overall"]["recall"], 1.0);
  EXPECT_EQ(report["b"]["overall"]["recall"], 0.5);
  EXPECT_EQ(report["chanceAdult"], 1.0);
  EXPECT_EQ(report["chanceLegitimate"], 1.0);
  std::vector<std::string> keys;
  for (const auto& [key, value] : report["differences"].items()) keys.push_back(key);
  EXPECT_THAT(keys, ElementsAre("adultOnlyA", "adultOnlyB", "legitimateOnlyA", "legitimateOnlyB"));
  const Json& only = report["differences"]["adultOnlyA"];
  ASSERT_EQ(only.size(), 1U);
  EXPECT_EQ(only[0]["name"], pages_ + ":1");
  EXPECT_EQ(only[0]["title"], "A");
  EXPECT_EQ(only[0]["scores"].size(), 2U);
  EXPECT_EQ(only[0]["evidence"], Json::parse("[0,0]"));
  EXPECT_EQ(report["differences"]["adultOnlyB"].size(), 0U);
}

TEST_F(EvaluateCompare, AReportShowsBothInOnePage) {
  const std::string file = folder_.at("report.html");
  ASSERT_EQ(compare({"--report", file, "--disguise", "leet", pages_}).status, 0);
  std::ifstream stream(file, std::ios::binary);
  const std::string html{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  EXPECT_THAT(html, HasSubstr("<title>Comparison of two maps</title>"));
  EXPECT_THAT(html, HasSubstr("<p class=\"map\">A: map " + a_.path()));
  EXPECT_THAT(html, HasSubstr("<th scope=\"row\">adult</th><td>1</td><td>0</td><td>1.0000</td>"));
  EXPECT_THAT(html, HasSubstr("<figure role=\"img\" aria-label=\"ROC curves\">\n<svg"));
  EXPECT_THAT(html, HasSubstr("<figure role=\"img\" aria-label=\"DET curves\">\n<svg"));
  EXPECT_THAT(html, HasSubstr("<h2>Disguised adult pages</h2>"));
  EXPECT_THAT(html, HasSubstr("<h2>Adult pages that only A restricts</h2>"));
  EXPECT_THAT(html, HasSubstr("<small>" + pages_ + ":1</small>"));
}

TEST_F(EvaluateCompare, DisguisesAreJudgedByBoth) {
  const CommandRun run = compare({"--disguise", "entities", pages_});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("\nDisguised adult pages (2)\n"
                                 "                     kept by A   kept by B    recall A    recall B\n"
                                 "  entities             100.00%     100.00%     100.00%      50.00%\n"));
}

TEST_F(EvaluateCompare, MistakesOfTheCommandLineAreErrors) {
  EXPECT_EQ(runCommand({"evaluate", "--compare", a_.path()}).status, 2);
  const CommandRun both = compare({"--map", a_.path(), pages_});
  EXPECT_EQ(both.status, 2);
  EXPECT_THAT(both.err, HasSubstr("--map excludes --compare"));
  const lsm::TinyMapFile three({}, 3);
  const CommandRun unlike = runCommand({"evaluate", "--compare", a_.path(), three.path(), pages_});
  EXPECT_EQ(unlike.status, 2);
  EXPECT_EQ(unlike.err, "sifterra: " + three.path() +
                            ": has 3 categories, expected 2 as in the map that it is compared with\n");
  const CommandRun missing =
      runCommand({"--log-level", "off", "evaluate", "--compare", a_.path(), folder_.at("no.map"), pages_});
  EXPECT_EQ(missing.status, 2);
  EXPECT_EQ(missing.err, "sifterra: " + folder_.at("no.map") + ": no usable map\n");
}

}  // namespace
}  // namespace sifterra::tools
