// FoldedBasis: fewer directions that serve the head as well as all of them.
//
// Telling the categories apart takes many directions, because pages of thirty languages fill thirty of them
// with nothing but that. Using the result takes few: a score needs a text's sum of rows only for its products
// with the head and for its length. So the directions in which the head tells the categories apart are kept
// as they are, and of the rest those that hold most of the pages' length.
#pragma once

#include <cstdint>

#include "lsm/training/LatentSpace.h"
#include "lsm/training/LinearHead.h"

namespace sifterra::lsm {

// An orthonormal basis, directions x rank, for the pages' unit vectors and the head that was fitted to them.
[[nodiscard]] RowMatrix foldedBasis(const RowMatrix& points, const LinearHead& head, std::uint32_t rank,
                                    const Reduction& reduction = Reduction::none());

}  // namespace sifterra::lsm
