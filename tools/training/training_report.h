// training_report: what `train` says of the pages it read and of the map it made.
#pragma once

#include <string>

#include "lsm/training/Trainer.h"
#include "training/training_pages.h"

namespace sifterra::tools {

// What was left out and why, one line; "" when nothing was.
[[nodiscard]] std::string leftOutText(const PageCounts& counts);

// The pages, categories, words and calibration, several lines.
[[nodiscard]] std::string trainingReport(const PageCounts& counts, const lsm::TrainingSummary& summary);

}  // namespace sifterra::tools
