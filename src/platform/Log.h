// Log.h: levelled, categorised log lines with private values.
//
// A format is printf-like: %s takes static text of the program's own (operation names, "YES") or a String,
// %@ a String, %d %i %u %ld %lu whole numbers, %f %.2f others, %p an address given as a number. %{public}@
// and
// %{public}s print a String in clear; any other prints "<private>" unless the host program has switched
// private data on. Static text and numbers are always in clear. Null prints "(null)", not-a-number "nan".
//
// A line of a level below the current one costs one branch: arguments may be callables that
// answer a String, called only when the line is written.
//
// A line goes to the journal when standard error is a stream to it (the socket at the other end is asked; no
// environment variable is read, because a managed user sets those) or the host program chose it, else to
// standard error; to a CapturedLog in tests. The journal gets the fields SUBSYSTEM, CATEGORY and OPERATION
// beside MESSAGE and PRIORITY. On standard error a line reads "error WebFilter: text", with control
// characters written as "\x0a", so that a page's title forges no line. Both cut a text after 64 KiB.
#pragma once

#include <atomic>
#include <concepts>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

#include "sifterra/platform/String.h"

namespace sifterra::platform {

enum class LogLevel : int { Debug = 0, Info = 1, Default = 2, Error = 3, Off = 4 };

// Where lines go; Automatic as told above.
enum class LogTarget : int { Automatic, Journal, StandardError };

// One value of a log line.
class LogArgument {
 public:
  using Value = std::variant<const char*, String, std::int64_t, std::uint64_t, double>;

  LogArgument(const char* text) : value_(text) {}    // NOLINT: values convert silently
  LogArgument(const String& text) : value_(text) {}  // NOLINT
  template <std::floating_point T>
  LogArgument(T number) : value_(static_cast<double>(number)) {}  // NOLINT
  template <std::signed_integral T>
  LogArgument(T number) : value_(static_cast<std::int64_t>(number)) {}  // NOLINT
  template <std::unsigned_integral T>
  LogArgument(T number) : value_(static_cast<std::uint64_t>(number)) {}  // NOLINT
  template <class F>
  requires std::is_invocable_r_v<String, const F&> LogArgument(const F& lazy)
      : value_(String(lazy())) {}  // NOLINT: called when the line is written

  [[nodiscard]] const Value& value() const noexcept { return value_; }

 private:
  Value value_;
};

// The lines of one category. Lives until the process ends; shared by all threads.
class Logger {
 public:
  Logger(std::string subsystem, std::string category);
  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

  [[nodiscard]] const std::string& subsystem() const noexcept { return subsystem_; }
  [[nodiscard]] const std::string& category() const noexcept { return category_; }
  // Whether a line of this level would be written: one relaxed load and a comparison.
  [[nodiscard]] static bool enabled(LogLevel level) noexcept {
    return static_cast<int>(level) >= threshold_.load(std::memory_order_relaxed);
  }
  void write(LogLevel level, const char* format, std::span<const LogArgument> arguments);

  static void setLevel(LogLevel level) noexcept;  // the lowest level that is written; Default at first
  [[nodiscard]] static LogLevel level() noexcept;
  static void setPrivateData(bool shown) noexcept;
  static void setTarget(LogTarget target) noexcept;

 private:
  static inline std::atomic<int> threshold_{static_cast<int>(LogLevel::Default)};
  std::string subsystem_;
  std::string category_;
};

// The text of a line: the format filled with the arguments (log_format.cpp). A conversion without an argument
// of its kind prints "<?>", and so does one that is not known. Exposed for the tests.
[[nodiscard]] std::string formatLogLine(const char* format, std::span<const LogArgument> arguments,
                                        bool showPrivate);

struct CapturedLine {
  LogLevel level = LogLevel::Default;
  std::string subsystem;
  std::string category;
  std::string operation;  // the first %s, when the format begins with "%s -- "
  std::string text;
};

// While one lives, every line of the process goes to it instead of the other sinks, from all
// threads. They nest; the innermost gets the lines. Sets the level for its life.
class CapturedLog {
 public:
  explicit CapturedLog(LogLevel level = LogLevel::Debug);
  ~CapturedLog();
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  [[nodiscard]] std::vector<CapturedLine> lines() const;
  [[nodiscard]] std::vector<std::string> texts() const;
  [[nodiscard]] bool contains(LogLevel level, std::string_view text) const;
  void add(CapturedLine line);  // called by the loggers

 private:
  mutable std::mutex lock_;
  std::vector<CapturedLine> lines_;
  CapturedLog* outer_;
  LogLevel outerLevel_;
};

}  // namespace sifterra::platform
