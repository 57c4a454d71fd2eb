// AddedWords: words of added pages that a map does not know, folded into its latent space.
//
// A word's vector is what the singular decomposition would have given it, had it been in the table: the mean
// of the pages that hold it, measured by how far pages spread in each direction (Berry, Dumais, O'Brien
// 1995). To that comes what its n-grams say, as for any known word. It is never a piece of another word, so
// that no other word is read in a new way.
#pragma once

#include <cstddef>
#include <vector>

#include "lsm/training/MapWriter.h"
#include "lsm/training/PageViews.h"
#include "lsm/training/TrainingCorpus.h"

namespace sifterra::lsm {

// Words of two or more pages, and all of pages that are `wrong` (by page of the corpus): these need words by
// which they can be told apart. wholes: the first view of each page. Gives how many were added to `contents`,
// which are the map's own; the most frequent ones when there are more than `most`.
[[nodiscard]] std::size_t foldInWords(const LsmMap& map, const TrainingCorpus& corpus,
                                      const std::vector<PageView>& wholes, const std::vector<bool>& wrong,
                                      std::size_t most, MapContents& contents);

}  // namespace sifterra::lsm
