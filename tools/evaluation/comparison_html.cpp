#include <algorithm>
#include <sstream>

#include "evaluation/Comparison.h"
#include "evaluation/html_page.h"
#include "evaluation/plots.h"
#include "evaluation/report_rows.h"

namespace sifterra::tools {
namespace {

void overall(std::ostringstream& out, const Figures& a, const Figures& b) {
  const Confusion& x = a.confusion;
  const Confusion& y = b.confusion;
  out << "<h2>Overall</h2>\n";
  HtmlTable table(out, {"", "A", "B"});
  table.row(
      {"recall", rateWithInterval(x.truePositives, x.adult()), rateWithInterval(y.truePositives, y.adult())});
  table.row({"false-positive rate", rateWithInterval(x.falsePositives, x.legitimate()),
             rateWithInterval(y.falsePositives, y.legitimate())});
  table.row({"accuracy", percent(x.accuracy()), percent(y.accuracy())});
  table.row({"precision", percent(x.precision()), percent(y.precision())});
  table.row({"F1", percent(x.f1()), percent(y.f1())});
  table.row({"area under the ROC curve", fourDigits(a.areaUnderCurve), fourDigits(b.areaUnderCurve)});
  for (const double rate : kFixedFalsePositiveRates) {
    table.row({"recall at false-positive rate " + percent(rate),
               percent(recallAtFalsePositiveRate(a.roc, rate)),
               percent(recallAtFalsePositiveRate(b.roc, rate))});
  }
}

void differing(std::ostringstream& out, const Comparison& comparison) {
  out << "<h2>Pages on which they differ</h2>\n";
  HtmlTable table(out, {"", "only A restricts", "only B restricts", "by chance"});
  for (const bool adult : {true, false}) {
    table.row({adult ? "adult" : "legitimate", std::to_string(comparison.countOf(adult, true)),
               std::to_string(comparison.countOf(adult, false)), chanceText(comparison.chance(adult))});
  }
}

void groups(std::ostringstream& out, const Comparison& comparison) {
  const std::vector<GroupFigures>& all = comparison.a.figures.groups;
  for (std::size_t i = 0; i < all.size();) {
    const std::string group = all[i].group;
    out << "<h2>By " << quoted(group) << "</h2>\n";
    HtmlTable table(out, {quoted(group), "adult", "recall A", "recall B", "legitimate", "false positives A",
                          "false positives B"});
    for (; i < all.size() && all[i].group == group; ++i) {
      const Confusion& a = all[i].confusion;
      const Confusion& b = comparison.b.figures.groups[i].confusion;
      table.row({quoted(all[i].value), std::to_string(a.adult()), percent(a.recall()), percent(b.recall()),
                 std::to_string(a.legitimate()), std::to_string(a.falsePositives),
                 std::to_string(b.falsePositives)});
    }
  }
}

void disguises(std::ostringstream& out, const Comparison& comparison) {
  const std::vector<DisguiseFigures>& all = comparison.a.disguises;
  if (all.empty()) return;
  out << "<h2>Disguised adult pages</h2>\n";
  HtmlTable table(out, {"disguise", "kept by A", "kept by B", "recall A", "recall B"});
  for (std::size_t i = 0; i < all.size(); ++i) {
    const DisguiseFigures& a = all[i];
    const DisguiseFigures& b = comparison.b.disguises[i];
    table.row({quoted(a.name) + "<br><small>" + quoted(a.what) + "</small>",
               rateWithInterval(a.kept, a.plain), rateWithInterval(b.kept, b.plain),
               percent(share(a.caught, a.pages)), percent(share(b.caught, b.pages))});
  }
}

// All of them: what differs is what a reader of a comparison came for.
void pages(std::ostringstream& out, const Difference& difference) {
  out << "<h2>" << difference.what << "</h2>\n";
  if (difference.pages.empty()) {
    out << "<p>None.</p>\n";
    return;
  }
  HtmlTable table(out, {"page", "score by A", "score by B"});
  for (const PagePair& pair : difference.pages) {
    table.row({quoted(pair.a->title) + "<br><small>" + quoted(pair.a->name) + "</small>",
               fourDigits(pair.a->score), fourDigits(pair.b->score)});
  }
}

}  // namespace

std::optional<std::string> htmlReport(const Comparison& comparison, std::string& why) {
  const std::vector<PlottedMap> maps = {{"A", comparison.a.figures}, {"B", comparison.b.figures}};
  const std::optional<std::string> roc = rocPlot(maps, why);
  if (!roc) return std::nullopt;
  const std::optional<std::string> det = detPlot(maps, why);
  if (!det) return std::nullopt;
  const Confusion& all = comparison.a.figures.confusion;
  std::ostringstream out;
  out << htmlHead("Comparison of two maps") << "<p class=\"map\">A: map " << quoted(comparison.a.map)
      << ", threshold " << comparison.a.threshold << "</p>\n<p class=\"map\">B: map "
      << quoted(comparison.b.map) << ", threshold " << comparison.b.threshold << "</p>\n<p class=\"map\">"
      << all.pages() << " pages: " << all.adult() << " adult, " << all.legitimate() << " legitimate, "
      << comparison.a.errors << " that could not be read.</p>\n";
  overall(out, comparison.a.figures, comparison.b.figures);
  differing(out, comparison);
  out << "<h2>Curves</h2>\n" << figure("ROC curves", *roc) << figure("DET curves", *det);
  groups(out, comparison);
  disguises(out, comparison);
  for (const Difference& difference : comparison.differences) pages(out, difference);
  out << htmlEnd();
  return out.str();
}

}  // namespace sifterra::tools
