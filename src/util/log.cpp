// log.cpp: the one category of the library's own lines.
#include "util/log.h"

#include "util/LoggerTable.h"
#include "util/guarded.h"

namespace sifterra {

platform::Logger& webFilterLog() {
  static platform::Logger& logger = LoggerTable::shared().loggerForCategory("WebFilter");
  return logger;
}

void logCaughtException(const char* op, const char* what) noexcept {
  try {
    logError("%s -- Caught exception: %{public}@", op, platform::String::fromUTF8Lossy(what));
  } catch (...) {
    // Out of memory while telling of it: the caller's fallback is all that is left to give.
  }
}

}  // namespace sifterra
