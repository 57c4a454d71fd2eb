// training_report: what `train` says of the pages it read and of the map it made.
#pragma once

#include <string>
#include <vector>

#include "lsm/training/AddedPages.h"
#include "lsm/training/Trainer.h"
#include "training/training_pages.h"

namespace sifterra::tools {

// What was left out and why, one line; "" when nothing was.
[[nodiscard]] std::string leftOutText(const PageCounts& counts);

// The pages, categories, words and calibration, several lines.
[[nodiscard]] std::string trainingReport(const PageCounts& counts, const lsm::TrainingSummary& summary);

// What came of pages that were added to a map: what changed, how well it still does on the pages that it
// remembers, and which of the added ones (their names by page) it still gets wrong.
[[nodiscard]] std::string addedPagesReport(const PageCounts& counts, const lsm::TrainingCorpus& corpus,
                                           const lsm::AddedPagesSummary& summary,
                                           const std::vector<std::string>& names);

}  // namespace sifterra::tools
