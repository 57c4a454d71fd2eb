// LoggerTable: the loggers of the process, by category name.
//
// Made for four categories and generous by one: a table that holds four loggers still takes a fifth,
// the sixth category gets the default log and a line that says so. Guarded by one lock; loggers live
// as long as their table, and the process's table forever.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "platform/Log.h"

namespace sifterra {

class LoggerTable {
 public:
  // Makes a logger; null when it cannot.
  using Maker = std::unique_ptr<platform::Logger> (*)(const char* subsystem, const char* category);

  // What all loggers belong to, and the categories the table is made for.
  static constexpr const char* kSubsystem = "com.vendrel.Hearthguard";
  static constexpr std::size_t kRoom = 4;

  explicit LoggerTable(Maker maker = &LoggerTable::makeLogger);

  // The table behind OSLogForCategory, made on first use and never destroyed.
  [[nodiscard]] static LoggerTable& shared();

  // The logger of a category, the same one each time; the default log for null, for a category too
  // many and for one whose logger could not be made.
  [[nodiscard]] platform::Logger& loggerForCategory(const char* category);
  [[nodiscard]] platform::Logger& defaultLog() noexcept { return defaultLog_; }

 private:
  static std::unique_ptr<platform::Logger> makeLogger(const char* subsystem, const char* category);

  const Maker maker_;
  platform::Logger defaultLog_;
  std::mutex lock_;
  std::map<std::string, std::unique_ptr<platform::Logger>, std::less<>> loggers_;
};

}  // namespace sifterra
