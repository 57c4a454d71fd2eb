// log.h: the library's own log lines, all of the category "WebFilter".
//
//   logError("%s -- EngineResultCreate failed", kOp);
//   logDebug("%s -- map: %{public}@", kOp, path);
//   logInfo("%s -- verdict is %{public}@", kOp, [&] { return describe(verdict); });
//
// A callable is called only when the line is written.
#pragma once

#include <array>

#include "platform/Log.h"

namespace sifterra {

// The logger of category "WebFilter", made on first use.
[[nodiscard]] platform::Logger& webFilterLog();

template <class... Arguments>
void logAt(platform::LogLevel level, const char* format, const Arguments&... arguments) {
  if (!platform::Logger::enabled(level)) return;
  const std::array<platform::LogArgument, sizeof...(Arguments)> values{platform::LogArgument(arguments)...};
  webFilterLog().write(level, format, values);
}

template <class... Arguments>
void logError(const char* format, const Arguments&... arguments) {
  logAt(platform::LogLevel::Error, format, arguments...);
}
template <class... Arguments>
void logDefault(const char* format, const Arguments&... arguments) {
  logAt(platform::LogLevel::Default, format, arguments...);
}
template <class... Arguments>
void logInfo(const char* format, const Arguments&... arguments) {
  logAt(platform::LogLevel::Info, format, arguments...);
}
template <class... Arguments>
void logDebug(const char* format, const Arguments&... arguments) {
  logAt(platform::LogLevel::Debug, format, arguments...);
}

}  // namespace sifterra
