#include "server_memory.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <thread>

namespace sifterra::icap {

void tuneAllocator() {
  const auto processors = static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 2U, 8U));
  mallopt(M_ARENA_MAX, processors);
  mallopt(M_MXFAST, 0);
  mallopt(M_MMAP_THRESHOLD, 256 << 10);
  mallopt(M_TRIM_THRESHOLD, 512 << 10);
  mallopt(M_TOP_PAD, 256 << 10);
}

void trimMemory() {
  constexpr unsigned kRequests = 512;
  static std::atomic<unsigned> requests{0};
  if (requests.fetch_add(1, std::memory_order_relaxed) % kRequests == kRequests - 1) malloc_trim(256 << 10);
}

}  // namespace sifterra::icap
