// word_tables: the tables by which a reader of a map file finds words and keys.
#pragma once

#include <cstdint>
#include <vector>

#include "lsm/training/MapWriter.h"

namespace sifterra::lsm {

// Open addressing, in tables that are large enough for a look-up of kMaxProbes steps.
[[nodiscard]] std::vector<std::uint64_t> slotsFor(const std::vector<MapWord>& words);
[[nodiscard]] std::vector<std::uint64_t> nearSlotsFor(const std::vector<NearKey>& keys);
// Bits that are set where a look-up may find something.
[[nodiscard]] std::vector<std::uint8_t> nearFilterFor(const std::vector<NearKey>& keys);
[[nodiscard]] std::vector<std::uint8_t> pieceFilterFor(const std::vector<MapWord>& words);

}  // namespace sifterra::lsm
