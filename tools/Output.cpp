#include "Output.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "terminal_text.h"

namespace sifterra::tools {

bool Output::write(std::string_view bytes) {
  if (failed_) return false;
  failed_ = std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size();
  if (failed_ && errno != EPIPE) {
    printError(std::string("standard output cannot be written: ") + std::strerror(errno));
  }
  return !failed_;
}

bool Output::finish() {
  if (failed_) return false;
  failed_ = std::fflush(stdout) != 0;
  if (failed_ && errno != EPIPE) {
    printError(std::string("standard output cannot be written: ") + std::strerror(errno));
  }
  return !failed_;
}

bool Output::isTerminal() {
  static const bool kTerminal = isatty(STDOUT_FILENO) == 1;
  return kTerminal;
}

void printError(const std::string& message) {
  std::fflush(stdout);
  std::fprintf(stderr, "sifterra: %s\n", harmless(message).c_str());
}

}  // namespace sifterra::tools
