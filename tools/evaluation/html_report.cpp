// The report in the order in which a reader asks: how good, at which price, for whom, and where it fails.
#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <sstream>

#include "evaluation/html_page.h"
#include "evaluation/plots.h"
#include "evaluation/report_rows.h"
#include "evaluation/reports.h"

namespace sifterra::tools {
namespace {

void cards(std::ostringstream& out, const Figures& figures) {
  const Confusion& all = figures.confusion;
  const auto card = [&out](const char* name, const std::string& value, const std::string& more) {
    out << "<div>" << name << "<b>" << value << "</b><small>" << more << "</small></div>\n";
  };
  out << "<div class=\"cards\">\n";
  card("adult pages caught", percent(all.recall()), intervalText(all.truePositives, all.adult()));
  card("legitimate pages restricted", percent(all.falsePositiveRate()),
       intervalText(all.falsePositives, all.legitimate()));
  card("area under the ROC curve", fourDigits(figures.areaUnderCurve), "1 is perfect, 0.5 is chance");
  out << "</div>\n";
}

void overall(std::ostringstream& out, const Figures& figures) {
  const Confusion& all = figures.confusion;
  out << "<h2>Overall</h2>\n";
  {
    HtmlTable table(out, {"", "restricted", "allowed"});
    table.row({"adult", std::to_string(all.truePositives), std::to_string(all.falseNegatives)});
    table.row({"legitimate", std::to_string(all.falsePositives), std::to_string(all.trueNegatives)});
  }
  HtmlTable table(out);
  table.row({"accuracy", percent(all.accuracy())});
  table.row({"precision", percent(all.precision())});
  table.row({"recall", rateWithInterval(all.truePositives, all.adult())});
  table.row({"false-positive rate", rateWithInterval(all.falsePositives, all.legitimate())});
  table.row({"F1", percent(all.f1())});
  for (const double recall : kFixedRecalls) {
    table.row({"false-positive rate at recall " + percent(recall),
               percent(falsePositiveRateAtRecall(figures.roc, recall))});
  }
  for (const double rate : kFixedFalsePositiveRates) {
    table.row({"recall at false-positive rate " + percent(rate),
               percent(recallAtFalsePositiveRate(figures.roc, rate))});
  }
}

// One table for each group. Adult pages of different kinds are not alike, so their recall stands apart.
void groups(std::ostringstream& out, const Figures& figures) {
  std::map<std::string, std::set<std::string>> kinds;  // of adult pages, by group
  for (const GroupFigures& entry : figures.groups) {
    for (const auto& [kind, confusion] : entry.kinds) {
      if (confusion.adult() > 0) kinds[entry.group].insert(kind);
    }
  }
  for (std::size_t i = 0; i < figures.groups.size();) {
    const std::string group = figures.groups[i].group;
    std::vector<std::string> columns = {quoted(group), "adult", "recall"};
    for (const std::string& kind : kinds[group]) columns.push_back("recall, " + quoted(kind));
    for (const char* column : {"legitimate", "false positives", "rate"}) columns.emplace_back(column);
    out << "<h2>By " << quoted(group) << "</h2>\n";
    HtmlTable table(out, columns);
    for (; i < figures.groups.size() && figures.groups[i].group == group; ++i) {
      const GroupFigures& entry = figures.groups[i];
      const Confusion& c = entry.confusion;
      std::vector<std::string> cells = {quoted(entry.value), std::to_string(c.adult()),
                                        rateWithInterval(c.truePositives, c.adult())};
      for (const std::string& kind : kinds[group]) {
        const auto found = entry.kinds.find(kind);
        const Confusion of = found == entry.kinds.end() ? Confusion() : found->second;
        cells.push_back(of.adult() == 0
                            ? "-"
                            : percent(of.recall()) + " <small>" + std::to_string(of.truePositives) + " of " +
                                  std::to_string(of.adult()) + "</small>");
      }
      cells.push_back(std::to_string(c.legitimate()));
      cells.push_back(std::to_string(c.falsePositives));
      cells.push_back(rateWithInterval(c.falsePositives, c.legitimate()));
      table.row(cells);
    }
  }
}

void disguises(std::ostringstream& out, const std::vector<DisguiseFigures>& all) {
  if (all.empty()) return;
  out << "<h2>Disguised adult pages</h2>\n<p>" << all.front().pages
      << " adult pages that do not label themselves, each written as somebody would who wants it past a "
         "filter. Kept: the share of those caught plainly, and changed, that is caught all the same.</p>\n";
  std::set<std::string> kinds;
  for (const DisguiseFigures& one : all) {
    for (const GroupFigures& kind : one.kinds) kinds.insert(kind.value);
  }
  std::vector<std::string> columns = {"disguise", "changed", "kept"};
  for (const std::string& kind : kinds) columns.push_back("kept, " + quoted(kind));
  columns.emplace_back("recall");
  HtmlTable table(out, columns);
  for (const DisguiseFigures& one : all) {
    std::vector<std::string> cells = {quoted(one.name) + "<br><small>" + quoted(one.what) + "</small>",
                                      std::to_string(one.changed), rateWithInterval(one.kept, one.plain)};
    for (const std::string& kind : kinds) {
      const auto found = std::find_if(one.kinds.begin(), one.kinds.end(),
                                      [&](const GroupFigures& figures) { return figures.value == kind; });
      cells.push_back(found == one.kinds.end() ? "-" : percent(found->confusion.recall()));
    }
    cells.push_back(percent(share(one.caught, one.pages)));
    table.row(cells);
  }
}

void words(std::ostringstream& out, const char* title, const char* style,
           const std::vector<ExplainedMistake::Word>& all) {
  if (all.empty()) return;
  out << "<p class=\"" << style << "\">" << title;
  const char* separator = " ";
  for (const ExplainedMistake::Word& word : all) {
    out << separator << quoted(word.text) << "&nbsp;<small>" << signedPoints(word.points) << "</small>";
    separator = ", ";
  }
  out << "</p>\n";
}

void explanation(std::ostringstream& out, const ExplainedMistake& mistake) {
  out << "<p>Decided by " << quoted(mistake.decidedBy) << " <small>" << signedPoints(mistake.points)
      << " points</small>";
  if (!mistake.excerpt.empty()) out << ": <q>" << quoted(mistake.excerpt) << "</q>";
  out << "</p>\n";
  words(out, "For adult:", "for", mistake.forAdult);
  words(out, "Against:", "against", mistake.against);
}

void mistakes(std::ostringstream& out, const char* title, const std::vector<const EvaluatedPage*>& pages) {
  out << "<h2>" << title << "</h2>\n";
  if (pages.empty()) {
    out << "<p>None.</p>\n";
    return;
  }
  out << "<p>" << pages.size() << " in all, the worst first.</p>\n<ol class=\"mistakes\">\n";
  for (std::size_t i = 0; i < std::min(pages.size(), kWorstMistakes); ++i) {
    const EvaluatedPage& page = *pages[i];
    out << "<li><p><span class=\"score\">" << fourDigits(page.score) << "</span> " << quoted(page.title)
        << "</p>\n<p><small>evidence " << page.evidence << "</small> " << quoted(page.name) << "</p>\n";
    if (page.explanation) explanation(out, *page.explanation);
    out << "</li>\n";
  }
  out << "</ol>\n";
}

}  // namespace

std::optional<std::string> htmlReport(const Evaluation& evaluation, std::string& why) {
  const PlottedMap plotted{"all thresholds", evaluation.figures};
  const std::optional<std::string> roc = rocPlot({plotted}, why);
  if (!roc) return std::nullopt;
  const std::optional<std::string> det = detPlot({plotted}, why);
  if (!det) return std::nullopt;
  const std::optional<std::string> scores = scorePlot(evaluation.pages, evaluation.threshold, why);
  if (!scores) return std::nullopt;
  const Confusion& all = evaluation.figures.confusion;
  std::ostringstream out;
  out << htmlHead("Map evaluation") << "<p class=\"map\">Map " << quoted(evaluation.map) << ", threshold "
      << evaluation.threshold << ". " << all.pages() << " pages: " << all.adult() << " adult, "
      << all.legitimate() << " legitimate, " << evaluation.errors << " that could not be read.</p>\n";
  cards(out, evaluation.figures);
  overall(out, evaluation.figures);
  out << "<h2>Curves</h2>\n"
      << figure("ROC curve", *roc) << figure("DET curve", *det) << figure("Distribution of scores", *scores);
  groups(out, evaluation.figures);
  disguises(out, evaluation.disguises);
  mistakes(out, "Legitimate pages that are restricted", evaluation.figures.falsePositives);
  mistakes(out, "Adult pages that are allowed", evaluation.figures.falseNegatives);
  out << htmlEnd();
  return out.str();
}

}  // namespace sifterra::tools
