#include <algorithm>
#include <sstream>

#include "evaluation/Comparison.h"
#include "evaluation/report_rows.h"
#include "evaluation/text_columns.h"
#include "terminal_text.h"

namespace sifterra::tools {
namespace {

constexpr std::size_t kName = 38;
constexpr std::size_t kValue = 12;

void row(std::ostringstream& out, const std::string& name, const std::string& a, const std::string& b) {
  out << "  " << left(name, kName) << right(a, kValue) << right(b, kValue) << '\n';
}

void figures(std::ostringstream& out, const Figures& a, const Figures& b) {
  const auto rates = [&](const char* name, double (Confusion::*rate)() const) {
    row(out, name, percent((a.confusion.*rate)()), percent((b.confusion.*rate)()));
  };
  out << "  " << left("", kName) << right("A", kValue) << right("B", kValue) << '\n';
  row(out, "adult pages restricted", std::to_string(a.confusion.truePositives),
      std::to_string(b.confusion.truePositives));
  row(out, "legitimate pages restricted", std::to_string(a.confusion.falsePositives),
      std::to_string(b.confusion.falsePositives));
  rates("accuracy", &Confusion::accuracy);
  rates("precision", &Confusion::precision);
  rates("recall", &Confusion::recall);
  rates("false-positive rate", &Confusion::falsePositiveRate);
  rates("F1", &Confusion::f1);
  row(out, "area under the ROC curve", fourDigits(a.areaUnderCurve), fourDigits(b.areaUnderCurve));
  for (const double recall : kFixedRecalls) {
    row(out, "false-positive rate at recall " + percent(recall),
        percent(falsePositiveRateAtRecall(a.roc, recall)), percent(falsePositiveRateAtRecall(b.roc, recall)));
  }
  for (const double rate : kFixedFalsePositiveRates) {
    row(out, "recall at false-positive rate " + percent(rate),
        percent(recallAtFalsePositiveRate(a.roc, rate)), percent(recallAtFalsePositiveRate(b.roc, rate)));
  }
}

// "Adult pages on which they differ: 3 only A restricts, 9 only B (by chance: 0.1460)"
void differing(std::ostringstream& out, const Comparison& comparison) {
  for (const bool adult : {true, false}) {
    out << (adult ? "Adult" : "Legitimate")
        << " pages on which they differ: " << comparison.countOf(adult, true) << " only A restricts, "
        << comparison.countOf(adult, false) << " only B (by chance: " << chanceText(comparison.chance(adult))
        << ")\n";
  }
}

// Both have the same groups in the same order, as both judged the same pages.
void groups(std::ostringstream& out, const Comparison& comparison) {
  std::string group;
  for (std::size_t i = 0; i < comparison.a.figures.groups.size(); ++i) {
    const GroupFigures& a = comparison.a.figures.groups[i];
    const Confusion& b = comparison.b.figures.groups[i].confusion;
    if (a.group != group) {
      group = a.group;
      out << "\nBy " << left(harmless(group), 24)
          << "   adult   recall A   recall B  legitimate   false positives A, B\n";
    }
    out << "  " << left(harmless(a.value), 25) << right(std::to_string(a.confusion.adult()), 8)
        << right(percent(a.confusion.recall()), 11) << right(percent(b.recall()), 11)
        << right(std::to_string(a.confusion.legitimate()), 12)
        << right(std::to_string(a.confusion.falsePositives), 12)
        << right(std::to_string(b.falsePositives), 12) << '\n';
  }
}

void disguises(std::ostringstream& out, const Comparison& comparison) {
  const std::vector<DisguiseFigures>& all = comparison.a.disguises;
  if (all.empty()) return;
  out << "\nDisguised adult pages (" << all.front().pages << ")\n  " << left("", 16)
      << "   kept by A   kept by B    recall A    recall B\n";
  for (std::size_t i = 0; i < all.size(); ++i) {
    const DisguiseFigures& a = all[i];
    const DisguiseFigures& b = comparison.b.disguises[i];
    out << "  " << left(a.name, 16) << right(percent(share(a.kept, a.plain)), kValue)
        << right(percent(share(b.kept, b.plain)), kValue) << right(percent(share(a.caught, a.pages)), kValue)
        << right(percent(share(b.caught, b.pages)), kValue) << '\n';
  }
}

void pages(std::ostringstream& out, const Difference& difference) {
  if (difference.pages.empty()) return;
  out << '\n' << difference.what << " (" << difference.pages.size() << "; scores of A, B)\n";
  for (std::size_t i = 0; i < std::min(difference.pages.size(), kWorstMistakes); ++i) {
    const PagePair& pair = difference.pages[i];
    out << "  " << fourDigits(pair.a->score) << "  " << fourDigits(pair.b->score) << "  "
        << harmless(pair.a->name) << '\n';
  }
}

}  // namespace

std::string textReport(const Comparison& comparison) {
  const Evaluation& a = comparison.a;
  const Confusion& all = a.figures.confusion;
  std::ostringstream out;
  out << "A: map " << a.map << ", threshold " << a.threshold << "\nB: map " << comparison.b.map
      << ", threshold " << comparison.b.threshold << '\n'
      << all.pages() << " pages: " << all.adult() << " adult, " << all.legitimate() << " legitimate, "
      << a.errors << " errors\n\n";
  figures(out, a.figures, comparison.b.figures);
  out << '\n';
  differing(out, comparison);
  groups(out, comparison);
  disguises(out, comparison);
  for (const Difference& difference : comparison.differences) pages(out, difference);
  return out.str();
}

}  // namespace sifterra::tools
