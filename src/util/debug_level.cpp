// The process-wide debug level: one plain number that any thread may read and set.
#include <atomic>

#include "sifterra/sifterra.h"

namespace {

constinit std::atomic<std::int32_t> debugLevel{0};

}  // namespace

std::int32_t WFDebugLevel() {
  return debugLevel.load(std::memory_order_relaxed);
}

void WFSetDebugLevel(std::int32_t level) {
  debugLevel.store(level, std::memory_order_relaxed);
}
