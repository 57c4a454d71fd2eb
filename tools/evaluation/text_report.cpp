#include <algorithm>
#include <sstream>

#include "evaluation/report_rows.h"
#include "evaluation/reports.h"
#include "evaluation/text_columns.h"
#include "terminal_text.h"

namespace sifterra::tools {
namespace {

void row(std::ostringstream& out, const std::string& name, const std::string& value) {
  out << "  " << left(name, 38) << value << '\n';
}

void mistakes(std::ostringstream& out, const char* title, const std::vector<const EvaluatedPage*>& pages) {
  if (pages.empty()) return;
  out << '\n' << title << " (" << pages.size() << ", worst first)\n";
  for (std::size_t i = 0; i < std::min(pages.size(), kWorstMistakes); ++i) {
    out << "  " << fourDigits(pages[i]->score) << "  " << harmless(pages[i]->name) << '\n';
  }
}

void disguises(std::ostringstream& out, const std::vector<DisguiseFigures>& all) {
  if (all.empty()) return;
  out << "\nDisguised adult pages (" << all.front().pages << "; kept: of those caught without the disguise)\n"
      << "                   changed       kept             (95% interval)     recall\n";
  for (const DisguiseFigures& one : all) {
    const double kept = share(one.kept, one.plain);
    const std::string interval = one.plain == 0 ? "" : "(" + intervalText(one.kept, one.plain) + ")";
    out << "  " << left(one.name, 16) << right(std::to_string(one.changed), 8) << right(percent(kept), 11)
        << right(interval, 27) << right(percent(share(one.caught, one.pages)), 11) << '\n';
  }
}

}  // namespace

std::string textReport(const Evaluation& evaluation) {
  const Figures& figures = evaluation.figures;
  const Confusion& all = figures.confusion;
  std::ostringstream out;
  out << "Map " << evaluation.map << ", threshold " << evaluation.threshold << '\n'
      << all.pages() << " pages: " << all.adult() << " adult, " << all.legitimate() << " legitimate, "
      << evaluation.errors << " errors\n\n"
      << "                 restricted     allowed\n"
      << "  adult      " << right(std::to_string(all.truePositives), 15)
      << right(std::to_string(all.falseNegatives), 12) << '\n'
      << "  legitimate " << right(std::to_string(all.falsePositives), 15)
      << right(std::to_string(all.trueNegatives), 12) << "\n\n";
  row(out, "accuracy", percent(all.accuracy()));
  row(out, "precision", percent(all.precision()));
  row(out, "recall", percent(all.recall()) + "  (" + intervalText(all.truePositives, all.adult()) + ")");
  row(out, "false-positive rate",
      percent(all.falsePositiveRate()) + "  (" + intervalText(all.falsePositives, all.legitimate()) + ")");
  row(out, "F1", percent(all.f1()));
  row(out, "area under the ROC curve", fourDigits(figures.areaUnderCurve));
  for (const double recall : kFixedRecalls) {
    row(out, "false-positive rate at recall " + percent(recall),
        percent(falsePositiveRateAtRecall(figures.roc, recall)));
  }
  for (const double rate : kFixedFalsePositiveRates) {
    row(out, "recall at false-positive rate " + percent(rate),
        percent(recallAtFalsePositiveRate(figures.roc, rate)));
  }
  std::string group;
  for (const GroupFigures& entry : figures.groups) {
    if (entry.group != group) {
      group = entry.group;
      const std::string title = harmless(group);
      out << "\nBy " << left(title, 24) << "   adult     recall  legitimate  false positives\n";
    }
    const Confusion& c = entry.confusion;
    const std::string value = harmless(entry.value);
    out << "  " << left(value, 25) << right(std::to_string(c.adult()), 8) << right(percent(c.recall()), 11)
        << right(std::to_string(c.legitimate()), 12) << right(percent(c.falsePositiveRate()), 11) << " ("
        << c.falsePositives << ")\n";
  }
  disguises(out, evaluation.disguises);
  mistakes(out, "Legitimate pages that are restricted", figures.falsePositives);
  mistakes(out, "Adult pages that are allowed", figures.falseNegatives);
  return out.str();
}

}  // namespace sifterra::tools
