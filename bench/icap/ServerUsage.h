// ServerUsage: what a server's processes took of the machine, read from /proc.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <vector>

namespace sifterra::bench {

struct ServerUsage {
  double cpuMilliseconds = 0;  // user and system, of every process that is there or was waited for
  std::size_t pssBytes = 0;    // shared pages counted in parts, so that the sum is what the server takes
  std::size_t rssBytes = 0;    // of the largest process
  std::size_t processes = 0;
};

// The process `root` and all its descendants. Memory is read only when asked for: that makes the kernel walk
// the processes' page tables.
[[nodiscard]] ServerUsage serverUsage(pid_t root, bool withMemory);

}  // namespace sifterra::bench
