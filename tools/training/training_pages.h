// training_pages: the pages that a map is to learn from, read and turned into words.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "labelled_options.h"
#include "lsm/training/Trainer.h"

namespace sifterra::tools {

// What a page came to.
enum class Use { kTaken, kError, kTooLittle, kFrameset, kRefresh, kNoWords };

struct PageCounts {
  std::size_t pages = 0;
  std::array<std::size_t, 6> uses{};  // by Use

  [[nodiscard]] std::size_t of(Use use) const { return uses[static_cast<std::size_t>(use)]; }
};

// Of the pages those whose number, from 0, leaves `index` when divided by `count`.
struct PageShare {
  std::size_t index = 0;
  std::size_t count = 1;
};

// Adds every usable page to the corpus in the order of the input: folders first, as they were given, then the
// self-labelled files. Pages that cannot be read are named on standard error. `names`, when given, receives
// those of the pages of the corpus.
[[nodiscard]] PageCounts readTrainingPages(const LabelledPages& pages, std::size_t threads,
                                           lsm::TrainingCorpus& corpus,
                                           std::vector<std::string>* names = nullptr, PageShare share = {});

}  // namespace sifterra::tools
