// Log: from a logger to the sinks, or to whoever captures.
#include "platform/Log.h"

#include <utility>

#include "platform/log_sinks.h"

namespace sifterra::platform {
namespace {

// The name that a line is reported under: the first value of "%s -- ...".
std::string_view operationOf(std::string_view format, std::span<const LogArgument> arguments) {
  if (!format.starts_with("%s -- ") || arguments.empty()) return {};
  const auto* name = std::get_if<const char*>(&arguments.front().value());
  return name && *name ? *name : std::string_view();
}

std::atomic<bool> showPrivate{false};
std::atomic<LogTarget> chosenTarget{LogTarget::Automatic};

// Who captures. The lock is held while a line is handed over, so none arrives after the end; the pointer is
// atomic so that lines of a process that captures nothing need no lock.
std::atomic<CapturedLog*> innermost{nullptr};
std::mutex& captureLock() {
  static auto& lock = *new std::mutex;
  return lock;
}

bool capture(LogLevel level, const Logger& logger, std::string_view operation, const std::string& text) {
  if (!innermost.load(std::memory_order_acquire)) return false;
  const std::lock_guard held(captureLock());
  CapturedLog* log = innermost.load(std::memory_order_relaxed);
  if (!log) return false;
  log->add({level, logger.subsystem(), logger.category(), std::string(operation), text});
  return true;
}

}  // namespace

Logger::Logger(std::string subsystem, std::string category)
    : subsystem_(std::move(subsystem)), category_(std::move(category)) {}

void Logger::write(LogLevel level, const char* format, std::span<const LogArgument> arguments) {
  const std::string text = formatLogLine(format, arguments, showPrivate.load(std::memory_order_relaxed));
  const std::string_view operation = operationOf(format, arguments);
  if (capture(level, *this, operation, text)) return;
  writeToSink(chosenTarget.load(std::memory_order_relaxed), {level, subsystem_, category_, operation, text});
}

void Logger::setLevel(LogLevel level) noexcept {
  threshold_.store(static_cast<int>(level), std::memory_order_relaxed);
}

LogLevel Logger::level() noexcept {
  return static_cast<LogLevel>(threshold_.load(std::memory_order_relaxed));
}

void Logger::setPrivateData(bool shown) noexcept {
  showPrivate.store(shown, std::memory_order_relaxed);
}

void Logger::setTarget(LogTarget target) noexcept {
  chosenTarget.store(target, std::memory_order_relaxed);
}

CapturedLog::CapturedLog(LogLevel level) {
  const std::lock_guard held(captureLock());
  outer_ = innermost.exchange(this, std::memory_order_acq_rel);
  outerLevel_ = Logger::level();
  Logger::setLevel(level);
}

CapturedLog::~CapturedLog() {
  const std::lock_guard held(captureLock());
  innermost.store(outer_, std::memory_order_release);
  Logger::setLevel(outerLevel_);
}

std::vector<CapturedLine> CapturedLog::lines() const {
  const std::lock_guard held(lock_);
  return lines_;
}

std::vector<std::string> CapturedLog::texts() const {
  std::vector<std::string> texts;
  for (CapturedLine& line : lines()) texts.push_back(std::move(line.text));
  return texts;
}

bool CapturedLog::contains(LogLevel level, std::string_view text) const {
  const std::lock_guard held(lock_);
  for (const CapturedLine& line : lines_) {
    if (line.level == level && line.text == text) return true;
  }
  return false;
}

void CapturedLog::add(CapturedLine line) {
  const std::lock_guard held(lock_);
  lines_.push_back(std::move(line));
}

}  // namespace sifterra::platform
