// OperatingPoint: where a map that has learnt begins to restrict, set on the pages that are held back.
#pragma once

#include <string>

#include "lsm/training/Trainer.h"

namespace sifterra::lsm {

// Sets how much less than the whole text each kind of stretch counts, and the last category's bias, so that
// as many pages of category 1 are taken for the last one as the options say. False, with `why`, when the map
// would not keep what every map must: it tells its categories' signature words apart, takes a page without
// words for category 1, and finds some of the last category. Fills the summary's figures.
[[nodiscard]] bool setOperatingPoint(const TrainingCorpus& corpus, const TrainingOptions& options,
                                     MapContents& contents, TrainingSummary& summary, std::string& why);

}  // namespace sifterra::lsm
