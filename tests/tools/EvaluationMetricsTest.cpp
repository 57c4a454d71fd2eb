// The figures of an evaluation against small cases counted by hand and a plain pairwise count.
#include "evaluation/metrics.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "evaluation/reports.h"

namespace sifterra::tools {
namespace {

EvaluatedPage page(const char* name, bool adult, double score, bool restricted) {
  EvaluatedPage result;
  result.name = name;
  result.label = adult ? 2 : 1;
  result.adult = adult;
  result.score = score;
  result.restricted = restricted;
  return result;
}

std::vector<EvaluatedPage> fourPages() {
  std::vector<EvaluatedPage> pages = {page("a", true, 0.9, true), page("b", true, 0.4, false),
                                      page("c", false, 0.7, true), page("d", false, 0.1, false)};
  pages[0].groups["lang"] = "de";
  pages[1].groups["lang"] = "en";
  pages[2].groups["lang"] = "de";
  return pages;
}

TEST(EvaluationMetrics, CountsTheConfusionMatrixAndItsRates) {
  const Figures figures = figuresOf(fourPages(), 2);
  EXPECT_EQ(figures.confusion.truePositives, 1U);
  EXPECT_EQ(figures.confusion.falseNegatives, 1U);
  EXPECT_EQ(figures.confusion.falsePositives, 1U);
  EXPECT_EQ(figures.confusion.trueNegatives, 1U);
  EXPECT_DOUBLE_EQ(figures.confusion.accuracy(), 0.5);
  EXPECT_DOUBLE_EQ(figures.confusion.precision(), 0.5);
  EXPECT_DOUBLE_EQ(figures.confusion.recall(), 0.5);
  EXPECT_DOUBLE_EQ(figures.confusion.falsePositiveRate(), 0.5);
  EXPECT_DOUBLE_EQ(figures.confusion.f1(), 0.5);
  EXPECT_EQ(figures.labels, (std::vector<std::vector<std::size_t>>{{1, 1}, {1, 1}}));
}

TEST(EvaluationMetrics, RatesWithoutPagesAreNotANumber) {
  const Confusion none;
  EXPECT_TRUE(std::isnan(none.recall()));
  EXPECT_TRUE(std::isnan(none.accuracy()));
  EXPECT_TRUE(std::isnan(areaUnder({})));
  EXPECT_TRUE(rocCurve({page("a", true, 1, true)}).empty());
}

TEST(EvaluationMetrics, AreaUnderTheCurveIsTheShareOfWellOrderedPairs) {
  std::mt19937 random(7);
  std::uniform_int_distribution<int> score(0, 20);
  for (int round = 0; round < 50; ++round) {
    std::vector<EvaluatedPage> pages;
    for (int i = 0; i < 40; ++i) pages.push_back(page("x", i % 3 == 0, score(random) / 20.0, false));
    double pairs = 0;
    double well = 0;
    for (const EvaluatedPage& adult : pages) {
      for (const EvaluatedPage& other : pages) {
        if (!adult.adult || other.adult) continue;
        pairs += 1;
        well += adult.score > other.score ? 1 : adult.score == other.score ? 0.5 : 0;
      }
    }
    EXPECT_NEAR(areaUnder(rocCurve(pages)), well / pairs, 1e-12);
  }
}

TEST(EvaluationMetrics, ReadsTheCurveAtFixedRates) {
  const std::vector<RocPoint> curve = figuresOf(fourPages(), 2).roc;
  EXPECT_DOUBLE_EQ(falsePositiveRateAtRecall(curve, 0.5), 0.0);
  EXPECT_DOUBLE_EQ(falsePositiveRateAtRecall(curve, 0.9), 0.5);
  EXPECT_DOUBLE_EQ(recallAtFalsePositiveRate(curve, 0.0), 0.5);
  EXPECT_DOUBLE_EQ(recallAtFalsePositiveRate(curve, 0.5), 1.0);
}

TEST(EvaluationMetrics, WilsonIntervalsAreThoseOfTheTables) {
  EXPECT_NEAR(wilsonInterval(0, 10).high, 0.2775, 1e-4);
  EXPECT_NEAR(wilsonInterval(5, 10).low, 0.2366, 1e-4);
  EXPECT_NEAR(wilsonInterval(5, 10).high, 0.7634, 1e-4);
  EXPECT_DOUBLE_EQ(wilsonInterval(0, 0).low, 0);
  EXPECT_DOUBLE_EQ(wilsonInterval(0, 0).high, 1);
}

TEST(EvaluationMetrics, ListsMistakesWorstFirstAndGroupsByValue) {
  const Figures figures = figuresOf(fourPages(), 2);
  ASSERT_EQ(figures.falsePositives.size(), 1U);
  EXPECT_EQ(figures.falsePositives[0]->name, "c");
  ASSERT_EQ(figures.falseNegatives.size(), 1U);
  EXPECT_EQ(figures.falseNegatives[0]->name, "b");
  ASSERT_EQ(figures.groups.size(), 2U);
  EXPECT_EQ(figures.groups[0].value, "de");
  EXPECT_EQ(figures.groups[0].confusion.pages(), 2U);
  EXPECT_EQ(figures.groups[1].value, "en");
}

TEST(EvaluationReports, PutHostileNamesIntoTheHtmlAsText) {
  Evaluation evaluation;
  evaluation.map = "<script>alert(1)</script>";
  evaluation.threshold = 0.62;
  evaluation.pages = fourPages();
  evaluation.pages[2].title = "<img src=x onerror=alert(1)>";
  evaluation.figures = figuresOf(evaluation.pages, 2);
  std::string why;
  const std::optional<std::string> html = htmlReport(evaluation, why);
  ASSERT_TRUE(html.has_value()) << why;
  EXPECT_EQ(html->find("<script"), std::string::npos);
  EXPECT_EQ(html->find("<img"), std::string::npos);
  EXPECT_NE(html->find("&lt;img src=x onerror=alert(1)&gt;"), std::string::npos);
  EXPECT_EQ(html->find("src=\"http"), std::string::npos) << "the report is self-contained";
  std::size_t drawings = 0;
  for (std::size_t at = html->find("<svg"); at != std::string::npos; at = html->find("<svg", at + 1))
    ++drawings;
  EXPECT_EQ(drawings, 3U);
}

TEST(EvaluationReports, HostileNamesDoNotCommandTheTerminal) {
  Evaluation evaluation;
  evaluation.pages = fourPages();
  evaluation.pages[2].name = "c\x1b[2J\nAdult";
  evaluation.pages[2].groups = {{"la\x1bng", "d\x7f"}};
  evaluation.figures = figuresOf(evaluation.pages, 2);
  const std::string text = textReport(evaluation);
  EXPECT_EQ(text.find_first_of("\x1b\x7f"), std::string::npos) << text;
  EXPECT_NE(text.find("0.7000  c?[2J?Adult\n"), std::string::npos) << text;
  EXPECT_NE(text.find("By la?ng"), std::string::npos) << text;
}

TEST(EvaluationReports, TellTheSameFiguresAsTextAndJson) {
  Evaluation evaluation;
  evaluation.map = "m";
  evaluation.threshold = 0.62;
  evaluation.pages = fourPages();
  evaluation.figures = figuresOf(evaluation.pages, 2);
  const std::string text = textReport(evaluation);
  EXPECT_NE(text.find("area under the ROC curve              0.7500"), std::string::npos) << text;
  EXPECT_NE(text.find("Legitimate pages that are restricted (1, worst first)\n  0.7000  c\n"),
            std::string::npos);
  const std::string json = jsonReport(evaluation);
  EXPECT_NE(json.find("\"areaUnderRocCurve\":0.75"), std::string::npos) << json;
  EXPECT_NE(json.find("\"groups\":{\"lang\":{\"de\":"), std::string::npos);
}

}  // namespace
}  // namespace sifterra::tools
