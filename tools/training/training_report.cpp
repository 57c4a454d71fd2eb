#include "training/training_report.h"

#include <cstdio>

namespace sifterra::tools {
namespace {

std::string plural(std::size_t count, const char* noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string percent(double share, int digits) {
  char text[32];
  std::snprintf(text, sizeof text, "%.*f%%", digits, 100 * share);
  return text;
}

std::string categoryText(std::size_t number, const lsm::CategorySummary& category) {
  const double recognised =
      static_cast<double>(category.recognised) / static_cast<double>(category.calibrating);
  return "category " + std::to_string(number) + ": learnt from " + plural(category.teaching, "page") +
         ", calibrated on " + std::to_string(category.calibrating) + ", of which " + percent(recognised, 1) +
         " are told right\n";
}

}  // namespace

std::string leftOutText(const PageCounts& counts) {
  struct Reason {
    Use use;
    const char* text;
  };
  constexpr Reason kReasons[] = {
      {Use::kError, "could not be read"},  {Use::kTooLittle, "with too little content"},
      {Use::kFrameset, "with a frameset"}, {Use::kRefresh, "with a short refresh"},
      {Use::kNoWords, "without a word"},
  };
  std::string list;
  for (const Reason& reason : kReasons) {
    if (counts.of(reason.use) == 0) continue;
    list += (list.empty() ? "" : ", ") + std::to_string(counts.of(reason.use)) + " " + reason.text;
  }
  return list.empty() ? list : "left out: " + list + "\n";
}

std::string trainingReport(const PageCounts& counts, const lsm::TrainingSummary& summary) {
  std::string text = "read: " + plural(counts.pages, "page") + "\n" + leftOutText(counts);
  for (std::size_t c = 0; c < summary.categories.size(); ++c)
    text += categoryText(c + 1, summary.categories[c]);
  text += "sites: " + std::to_string(summary.sites) + "\n";
  text +=
      "words: " + std::to_string(summary.words) + " kept of " + std::to_string(summary.differentWords) + "\n";
  if (!summary.scriptsLeftOut.empty()) {
    std::string scripts;
    for (const std::string& script : summary.scriptsLeftOut)
      scripts += (scripts.empty() ? "" : ", ") + script;
    text += "not judged, too few pages of category 1: " + scripts + "\n";
  }
  text += "rank: " + std::to_string(summary.rank) + "\n";
  text += "expected of category 1 on other sites: " + percent(summary.falsePositives.share, 2) +
          " restricted (95% interval " + percent(summary.falsePositives.low, 2) + " to " +
          percent(summary.falsePositives.high, 2) + ")\n";
  return text;
}

std::string addedPagesReport(const PageCounts& counts, const lsm::TrainingCorpus& corpus,
                             const lsm::AddedPagesSummary& summary, const std::vector<std::string>& names) {
  const std::size_t added = names.size();
  std::string text = "read: " + plural(counts.pages, "page") + "\n" + leftOutText(counts);
  text += "added: " + plural(added, "page") + ", " + plural(summary.newWords, "new word") + "\n";
  text += "told right: " + std::to_string(added - summary.wrongBefore) + " before, " +
          std::to_string(added - summary.stillWrong.size()) + " now\n";
  for (const std::size_t page : summary.stillWrong) {
    text += "still wrong: category " + std::to_string(corpus.pages()[page].category + 1) + ": " +
            names[page] + "\n";
  }
  const auto line = [](const char* what, double trained, double before, double after) {
    return std::string(what) + percent(trained, 2) + " when trained, " + percent(before, 2) + " before, " +
           percent(after, 2) + " now\n";
  };
  text += line("remembered pages of the last category restricted: ", summary.trained.recall,
               summary.before.recall, summary.after.recall);
  text += line("remembered pages of other categories restricted: ", summary.trained.falsePositives,
               summary.before.falsePositives, summary.after.falsePositives);
  char shift[64];
  std::snprintf(shift, sizeof shift, "other pages move by %.2f log-odds through words\n", summary.wordShift);
  return text + shift;
}

}  // namespace sifterra::tools
