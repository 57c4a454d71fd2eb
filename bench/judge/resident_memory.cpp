#include "judge/resident_memory.h"

#include <malloc.h>
#include <unistd.h>

#include <fstream>

namespace sifterra::bench {

std::size_t residentBytes() {
  malloc_trim(0);  // what was freed and kept is nobody's cost
  std::size_t total = 0;
  std::size_t resident = 0;
  std::ifstream("/proc/self/statm") >> total >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace sifterra::bench
