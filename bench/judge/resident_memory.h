// resident_memory.h: how much memory this process holds.
#pragma once

#include <cstddef>

namespace sifterra::bench {

// The bytes of this process that are in memory now, files it has mapped included; 0 when it cannot be told.
[[nodiscard]] std::size_t residentBytes();

}  // namespace sifterra::bench
