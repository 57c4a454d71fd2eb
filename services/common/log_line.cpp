#include "log_line.h"

#include <unistd.h>

#include <cstdio>

namespace sifterra::services {

void logLine(const char* program, int level, const std::string& text) {
  // The journal takes the level from the line; a person at a terminal would only wonder.
  static const bool isTerminal = isatty(STDERR_FILENO) == 1;
  if (isTerminal) {
    std::fprintf(stderr, "%s: %s\n", program, text.c_str());
  } else {
    std::fprintf(stderr, "<%d>%s\n", level, text.c_str());
  }
}

}  // namespace sifterra::services
