#include <algorithm>
#include <sstream>

#include "evaluation/plots.h"
#include "evaluation/report_rows.h"
#include "evaluation/reports.h"

namespace sifterra::tools {
namespace {

constexpr const char* kHead =
    "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
    "<meta name=\"viewport\" content=\"width=device-width\">\n<title>Map evaluation</title>\n<style>\n"
    "body{font:16px/1.5 system-ui,sans-serif;max-width:60rem;margin:2rem auto;padding:0 1rem;color:#222}\n"
    "table{border-collapse:collapse;margin:1rem 0}th,td{padding:.2rem .8rem;border-bottom:1px solid #ddd;"
    "text-align:right}\nth:first-child,td:first-child{text-align:left}\nsvg{max-width:100%;height:auto}\n"
    "td.name{text-align:left;overflow-wrap:anywhere}\n</style>\n</head>\n<body>\n<main>\n";

std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '&') {
      result += "&amp;";
    } else if (c == '<') {
      result += "&lt;";
    } else if (c == '>') {
      result += "&gt;";
    } else if (c == '"') {
      result += "&quot;";
    } else {
      result += c;
    }
  }
  return result;
}

void figure(std::ostringstream& out, const std::string& name, const std::string& value) {
  out << "<tr><th scope=\"row\">" << escaped(name) << "</th><td>" << value << "</td></tr>\n";
}

void overall(std::ostringstream& out, const Evaluation& evaluation) {
  const Figures& figures = evaluation.figures;
  const Confusion& all = figures.confusion;
  out << "<h2>Overall</h2>\n<table>\n<tr><th></th><th scope=\"col\">restricted</th><th "
         "scope=\"col\">allowed</th></tr>\n"
      << "<tr><th scope=\"row\">adult</th><td>" << all.truePositives << "</td><td>" << all.falseNegatives
      << "</td></tr>\n<tr><th scope=\"row\">legitimate</th><td>" << all.falsePositives << "</td><td>"
      << all.trueNegatives << "</td></tr>\n</table>\n<table>\n";
  figure(out, "accuracy", percent(all.accuracy()));
  figure(out, "precision", percent(all.precision()));
  figure(out, "recall (95% interval)",
         percent(all.recall()) + " (" + intervalText(all.truePositives, all.adult()) + ")");
  figure(out, "false-positive rate (95% interval)",
         percent(all.falsePositiveRate()) + " (" + intervalText(all.falsePositives, all.legitimate()) + ")");
  figure(out, "F1", percent(all.f1()));
  figure(out, "area under the ROC curve", fourDigits(figures.areaUnderCurve));
  for (const double recall : kFixedRecalls) {
    figure(out, "false-positive rate at recall " + percent(recall),
           percent(falsePositiveRateAtRecall(figures.roc, recall)));
  }
  for (const double rate : kFixedFalsePositiveRates) {
    figure(out, "recall at false-positive rate " + percent(rate),
           percent(recallAtFalsePositiveRate(figures.roc, rate)));
  }
  out << "</table>\n";
}

void groups(std::ostringstream& out, const Figures& figures) {
  std::string group;
  for (const GroupFigures& entry : figures.groups) {
    if (entry.group != group) {
      if (!group.empty()) out << "</table>\n";
      group = entry.group;
      out << "<h2>By " << escaped(group) << "</h2>\n<table>\n<tr><th scope=\"col\">" << escaped(group)
          << "</th><th scope=\"col\">adult</th><th scope=\"col\">recall</th><th scope=\"col\">legitimate</th>"
          << "<th scope=\"col\">false positives</th><th scope=\"col\">rate</th></tr>\n";
    }
    const Confusion& c = entry.confusion;
    out << "<tr><th scope=\"row\">" << escaped(entry.value) << "</th><td>" << c.adult() << "</td><td>"
        << percent(c.recall()) << "</td><td>" << c.legitimate() << "</td><td>" << c.falsePositives
        << "</td><td>" << percent(c.falsePositiveRate()) << "</td></tr>\n";
  }
  if (!group.empty()) out << "</table>\n";
}

void mistakes(std::ostringstream& out, const char* title, const std::vector<const EvaluatedPage*>& pages) {
  out << "<h2>" << title << "</h2>\n";
  if (pages.empty()) {
    out << "<p>None.</p>\n";
    return;
  }
  out << "<p>" << pages.size() << " in all, the worst first.</p>\n<table>\n<tr><th scope=\"col\">score</th>"
      << "<th scope=\"col\">evidence</th><th scope=\"col\">page</th><th scope=\"col\">title</th></tr>\n";
  for (std::size_t i = 0; i < std::min(pages.size(), kWorstMistakes); ++i) {
    out << "<tr><td>" << fourDigits(pages[i]->score) << "</td><td>" << pages[i]->evidence
        << "</td><td class=\"name\">" << escaped(pages[i]->name) << "</td><td class=\"name\">"
        << escaped(pages[i]->title) << "</td></tr>\n";
  }
  out << "</table>\n";
}

}  // namespace

std::optional<std::string> htmlReport(const Evaluation& evaluation, std::string& why) {
  const std::optional<std::string> roc = rocPlot(evaluation.figures, why);
  if (!roc) return std::nullopt;
  const std::optional<std::string> scores = scorePlot(evaluation.pages, evaluation.threshold, why);
  if (!scores) return std::nullopt;
  const Confusion& all = evaluation.figures.confusion;
  std::ostringstream out;
  out << kHead << "<h1>Map evaluation</h1>\n<p>Map " << escaped(evaluation.map) << ", threshold "
      << evaluation.threshold << ". " << all.pages() << " pages: " << all.adult() << " adult, "
      << all.legitimate() << " legitimate, " << evaluation.errors << " that could not be read.</p>\n";
  overall(out, evaluation);
  out << "<h2>Curves</h2>\n<figure role=\"img\" aria-label=\"ROC curve\">\n"
      << *roc << "\n</figure>\n<figure role=\"img\" aria-label=\"Distribution of scores\">\n"
      << *scores << "\n</figure>\n";
  groups(out, evaluation.figures);
  mistakes(out, "Legitimate pages that are restricted", evaluation.figures.falsePositives);
  mistakes(out, "Adult pages that are allowed", evaluation.figures.falseNegatives);
  out << "</main>\n</body>\n</html>\n";
  return out.str();
}

}  // namespace sifterra::tools
