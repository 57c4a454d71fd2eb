// TellingWords: the words that are recognised with a mistake in them (NearWords.h).
//
// They are long enough, and stand in many pages of the last category for each page of the others. What is
// near to one of them and stands in a page of another category that teaches is an honest word, and the keys
// that it shares with the telling word are left out: the other mistakes are still found.
#pragma once

#include <vector>

#include "lsm/training/MapWriter.h"
#include "lsm/training/Reduction.h"
#include "lsm/training/TrainingCorpus.h"
#include "lsm/training/Vocabulary.h"

namespace sifterra::lsm {

struct TellingWordOptions {
  std::size_t mostWords = 8000;
  std::size_t leastPages = 4;  // of the last category that hold the word
  double leastRatio = 10;      // of the share of those pages to the share of the other pages
};

// Words of the vocabulary, by their place in it; the same in all processes, each of which holds a part of the
// pages.
[[nodiscard]] std::vector<NearKey> tellingWordKeys(const TrainingCorpus& corpus, const Vocabulary& vocabulary,
                                                   const TellingWordOptions& options,
                                                   const Reduction& reduction = Reduction::none());

}  // namespace sifterra::lsm
