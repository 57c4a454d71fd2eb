// LoggerTable: a map under a lock. Lines about the table itself go to the default log, outside the lock.
#include "util/LoggerTable.h"

#include <exception>

namespace sifterra {
namespace {

void writeDefault(platform::Logger& log, const char* text) {
  if (platform::Logger::enabled(platform::LogLevel::Default)) {
    log.write(platform::LogLevel::Default, text, {});
  }
}

}  // namespace

LoggerTable::LoggerTable(Maker maker) : maker_(maker), defaultLog_(kSubsystem, "default") {}

LoggerTable& LoggerTable::shared() {
  // Never destroyed: other threads may still log while the process exits.
  static LoggerTable& table = *new LoggerTable();
  return table;
}

std::unique_ptr<platform::Logger> LoggerTable::makeLogger(const char* subsystem, const char* category) {
  try {
    return std::make_unique<platform::Logger>(subsystem, category);
  } catch (const std::exception&) {
    return nullptr;
  }
}

platform::Logger& LoggerTable::loggerForCategory(const char* category) {
  if (category == nullptr) return defaultLog_;
  std::unique_lock held(lock_);
  if (const auto known = loggers_.find(category); known != loggers_.end()) return *known->second;
  // Kept: "more than", not "as many as"; a fifth logger is still made.
  if (loggers_.size() > kRoom) {
    held.unlock();
    writeDefault(defaultLog_, "ERROR | Too many categories defined, use default");
    return defaultLog_;
  }
  std::unique_ptr<platform::Logger> logger = maker_(kSubsystem, category);
  if (!logger) {
    held.unlock();
    writeDefault(defaultLog_, "ERROR | Failed log_handle_create, use default");
    return defaultLog_;
  }
  return *loggers_.emplace(category, std::move(logger)).first->second;
}

}  // namespace sifterra
