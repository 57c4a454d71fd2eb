// The page that `sifterra evaluate --report` writes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "lsm/TinyMap.h"
#include "tools/command_run.h"
#include "tools/fixtures.h"

namespace sifterra::tools {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char* kLines =
    R"({"html":"<title>Our garden</title><p>weather school garden recipe library","label":1,"lang":"de"})"
    "\n"
    R"({"html":"<title>B</title><p>xxx porn nude erotic escort webcam sexy videos","label":2,"lang":"fr"})"
    "\n"
    R"({"html":"<title>Tom &amp; &lt;i&gt;Ann</title><p>xxx porn nude erotic escort webcam sexy","label":1})"
    "\n";

std::string contentsOf(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// What a pattern's first group matches, in order.
std::vector<std::string> matches(const std::string& text, const char* pattern) {
  const std::regex regex(pattern);
  std::vector<std::string> found;
  for (std::sregex_iterator at(text.begin(), text.end(), regex), end; at != end; ++at)
    found.push_back((*at)[1]);
  return found;
}

class EvaluateReport : public testing::Test {
 protected:
  [[nodiscard]] CommandRun evaluate(const std::string& report) const {
    return runCommand({"evaluate", "--map", map_.path(), "--report", report, pages_});
  }

  const lsm::TinyMapFile map_;
  const TemporaryFolder folder_;
  const std::string pages_ = folder_.write("l.jsonl", kLines);
  const std::string report_ = folder_.at("report.html");
};

TEST_F(EvaluateReport, HoldsTheFiguresTheGroupsAndTheMistakes) {
  const CommandRun run = evaluate(report_);
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(run.out, HasSubstr("3 pages: 1 adult, 2 legitimate, 0 errors\n")) << "printed as well";
  const std::string html = contentsOf(report_);
  EXPECT_EQ(html.rfind("<!DOCTYPE html>\n", 0), 0U);
  EXPECT_THAT(html,
              HasSubstr("<p class=\"map\">Map " + map_.path() +
                        ", threshold 0.62. 3 pages: 1 adult, 2 legitimate, 0 that could not be read.</p>"));
  EXPECT_THAT(html, HasSubstr("<th scope=\"row\">adult</th><td>1</td><td>0</td>"));
  EXPECT_THAT(html, HasSubstr("<th scope=\"row\">legitimate</th><td>1</td><td>1</td>"));
  EXPECT_THAT(html, HasSubstr("<th scope=\"row\">accuracy</th><td>66.67%</td>"));
  EXPECT_THAT(html, HasSubstr("<div>adult pages caught<b>100.00%</b><small>20.65% to 100.00%</small></div>"));
  EXPECT_THAT(html, HasSubstr("<th scope=\"row\">de</th><td>0</td><td>-</td><td>1</td><td>0</td>"
                              "<td>0.00% <small>0.00% to 79.35%</small></td>"));
  EXPECT_THAT(html, HasSubstr("<h2>By lang</h2>"));
  EXPECT_THAT(html,
              HasSubstr("<h2>Legitimate pages that are restricted</h2>\n<p>1 in all, the worst first.</p>"));
  EXPECT_THAT(html, HasSubstr("<li><p><span class=\"score\">1.0000</span> Tom &amp; &lt;i&gt;Ann</p>\n"
                              "<p><small>evidence 0</small> " +
                              pages_ + ":3</p>\n<p>Decided by the whole page <small>+"));
  EXPECT_THAT(html, testing::ContainsRegex("<q>[^<]*Ann[^<]*porn[^<]*</q></p>\n"
                                           "<p class=\"for\">For adult: [^<]*&nbsp;<small>\\+"));
  EXPECT_THAT(html, HasSubstr("<h2>Adult pages that are allowed</h2>\n<p>None.</p>"));
}

TEST_F(EvaluateReport, HoldsThePlotsAndNeedsNothingFromElsewhere) {
  ASSERT_EQ(evaluate(report_).status, 0);
  const std::string html = contentsOf(report_);
  EXPECT_EQ(matches(html, "(<svg)[ >]").size(), 3U);
  EXPECT_EQ(matches(html, "(</svg>)").size(), 3U);
  EXPECT_THAT(html, HasSubstr("<figure role=\"img\" aria-label=\"ROC curve\">\n<svg"));
  EXPECT_THAT(html, HasSubstr("<figure role=\"img\" aria-label=\"DET curve\">\n<svg"));
  EXPECT_THAT(html, HasSubstr("<figure role=\"img\" aria-label=\"Distribution of scores\">\n<svg"));
  for (const char* drawn : {"ROC curve</tspan>", "recall</tspan>", "Scores</tspan>",
                            "adult pages missed</tspan>", "legitimate</tspan>"})
    EXPECT_THAT(html, HasSubstr(drawn)) << "gnuplot's own text";
  for (const char* outside : {"<script", "<link", "<img", "<image", "<iframe", "<object", "@import", "src="})
    EXPECT_THAT(html, Not(HasSubstr(outside)));
  for (const std::string& target : matches(html, R"(href=["']([^"']*))")) EXPECT_EQ(target[0], '#') << target;
  for (const std::string& target : matches(html, R"(url\(["']?([^)]*))")) EXPECT_EQ(target[0], '#') << target;
  // Names of XML vocabularies are the only addresses; nobody fetches those.
  for (const std::string& address : matches(html, R"((.{1,13}https?://[^"' <>]*))"))
    EXPECT_THAT(address, testing::ContainsRegex("xmlns(:xlink)?=\"http://www\\.w3\\.org/")) << address;
}

TEST_F(EvaluateReport, EveryReferenceFindsOneTarget) {
  ASSERT_EQ(evaluate(report_).status, 0);
  const std::string html = contentsOf(report_);
  const std::vector<std::string> ids = matches(html, R"([ \t\n]id=["']([^"']*))");
  const std::set<std::string> different(ids.begin(), ids.end());
  EXPECT_EQ(different.size(), ids.size()) << "two plots of one page share no identifier";
  const std::vector<std::string> targets = matches(html, R"(href=["']#([^"']*))");
  EXPECT_FALSE(targets.empty());
  for (const std::string& target : targets) EXPECT_EQ(different.count(target), 1U) << target;
}

TEST_F(EvaluateReport, PagesOfOneKindAloneMakeAReportWithoutCurves) {
  const std::string adult =
      folder_.write("adult.jsonl", R"({"html":"<p>xxx porn nude erotic escort webcam sexy videos","label":2})"
                                   "\n");
  EXPECT_EQ(runCommand({"evaluate", "--map", map_.path(), "--report", report_, adult}).status, 0);
  EXPECT_THAT(contentsOf(report_), HasSubstr("legitimate pages restricted<b>-</b>"));
}

TEST_F(EvaluateReport, SaysWhenItCannotBeWrittenAndPrintsTheFigures) {
  const std::string nowhere = folder_.at("missing/report.html");
  const CommandRun run = evaluate(nowhere);
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.err, "sifterra: " + nowhere + ": cannot be written: No such file or directory\n");
  EXPECT_THAT(run.out, HasSubstr("accuracy"));
}

TEST_F(EvaluateReport, SaysWhenThereIsNothingToDrawWith) {
  const std::string command =
      "PATH=/nonexistent $SIFTERRA evaluate --map " + map_.path() + " --report " + report_ + " " + pages_;
  const CommandRun run = runShell(command);
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.err, "sifterra: " + report_ +
                         ": no report: gnuplot, which draws the plots, cannot be run (Debian's package is "
                         "gnuplot-nox)\n");
  EXPECT_THAT(run.out, HasSubstr("accuracy"));
  EXPECT_FALSE(std::filesystem::exists(report_));
}

}  // namespace
}  // namespace sifterra::tools
