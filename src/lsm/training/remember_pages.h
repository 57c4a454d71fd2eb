// remember_pages: what a map keeps of the pages that made it, so that a later change can be measured.
//
// Places in the latent space (MapMemory.h), and for each word in how many of the pages with it are of the
// last category. RememberedPages.h reads it.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "lsm/training/MapWriter.h"
#include "lsm/training/Reduction.h"
#include "lsm/training/TrainingCorpus.h"

namespace sifterra::lsm {

// Properties of a map: its figures on the pages that it remembers, when it was trained.
inline constexpr const char* kTrainedRecall = "Trained Recall";
inline constexpr const char* kTrainedFalsePositives = "Trained False Positives";

// So many pages of the last category are remembered.
inline constexpr std::size_t kRememberedOfLast = 600;

// The log-odds that a page must exceed to be restricted.
[[nodiscard]] double thresholdOf(const LsmProperties& properties);

// Pages of the last category that teach, by their place in the corpus: those first that were not composed,
// then by a hash of their text, so that it does not matter who has them.
[[nodiscard]] std::vector<std::size_t> teachersOfLast(const TrainingCorpus& corpus, std::size_t most);

// Pages that teach, of all processes.
struct TeachingPages {
  double all = 0;
  double ofLast = 0;
};
// Gives the words of the contents their shares of the last category.
[[nodiscard]] TeachingPages rememberWords(const TrainingCorpus& corpus, const Reduction& reduction,
                                          MapContents& contents);
// Fills the memory and the figures on it. Of the pages that calibrate: of those that are not of the last
// category all that come near to it, and of the rest as many as show what a change does to them. Of the last
// category few calibrate, so pages that taught make up for them. False, with `why`, when the contents make no
// map.
[[nodiscard]] bool remember(const TrainingCorpus& corpus, const TeachingPages& teaching, std::size_t threads,
                            MapContents& contents, std::string& why);

}  // namespace sifterra::lsm
