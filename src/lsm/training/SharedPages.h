// SharedPages: what processes that each hold a part of the pages must agree on before and after they learn.
#pragma once

#include <cstddef>
#include <cstdint>

#include "lsm/training/Reduction.h"
#include "lsm/training/TrainingCorpus.h"
#include "lsm/training/Vocabulary.h"

namespace sifterra::lsm {

// Tells each process of the sites and categories of the others' pages, so that all hold back the same sites.
void shareSites(TrainingCorpus& corpus, const Reduction& reduction);

// The best words over all processes. Each word is counted by the process that its hash names, so that none
// holds all words; each process names its best ones, and the best of these are the best of all. Words that a
// process did not know are made known to its corpus.
[[nodiscard]] ChosenWords chooseSharedWords(TrainingCorpus& corpus, const VocabularyOptions& options,
                                            const Reduction& reduction);

// Brings the pages that are held back to process 0, which calibrates: at most so many of each category, the
// same ones whoever held them. The other processes keep none.
void gatherHeldBack(TrainingCorpus& corpus, std::size_t most, const Reduction& reduction);
// Brings to process 0 what it remembers of the last category's pages that teach.
void gatherTeachers(TrainingCorpus& corpus, std::size_t most, const Reduction& reduction);

}  // namespace sifterra::lsm
