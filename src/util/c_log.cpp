// The log functions of the C interface. A WFLogRef is a Logger that lives forever.
#include <algorithm>
#include <array>

#include "platform/Log.h"
#include "sifterra/sifterra.h"
#include "util/LoggerTable.h"
#include "util/guarded.h"

namespace {

using sifterra::LoggerTable;
using sifterra::platform::LogArgument;
using sifterra::platform::Logger;
using sifterra::platform::LogLevel;

// A level from outside, held to the ones there are; Off is for setting, no line has it.
LogLevel levelFrom(int level, LogLevel highest) {
  return static_cast<LogLevel>(
      std::clamp(level, static_cast<int>(LogLevel::Debug), static_cast<int>(highest)));
}

Logger& loggerFrom(WFLogRef log) {
  if (log == nullptr) return LoggerTable::shared().defaultLog();
  return *reinterpret_cast<Logger*>(log);
}

}  // namespace

WFLogRef OSLogForCategory(const char* category) {
  constexpr auto kOp = "OSLogForCategory";
  return sifterra::guarded(kOp, WFLogRef{}, [&] {
    return reinterpret_cast<WFLogRef>(&LoggerTable::shared().loggerForCategory(category));
  });
}

signed char WFLogEnabled(WFLogRef, int level) {
  return Logger::enabled(levelFrom(level, LogLevel::Error)) ? 1 : 0;
}

void WFLogWrite(WFLogRef log, int level, const char* text) {
  constexpr auto kOp = "WFLogWrite";
  sifterra::guarded(kOp, [&] {
    const LogLevel lineLevel = levelFrom(level, LogLevel::Error);
    if (!Logger::enabled(lineLevel)) return;
    // The text is a value, never a format: it may hold any percent sign.
    const std::array<LogArgument, 1> values{LogArgument(text)};
    loggerFrom(log).write(lineLevel, "%s", values);
  });
}

void WFSetLogLevel(int level) {
  Logger::setLevel(levelFrom(level, LogLevel::Off));
}

void WFSetLogPrivateData(signed char shown) {
  Logger::setPrivateData(shown != 0);
}
