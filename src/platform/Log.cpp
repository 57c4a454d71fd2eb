// Log: formatting, and the sinks behind it.
#include "platform/Log.h"

#include <array>
#include <cstdio>
#include <utility>

namespace sifterra::platform {
namespace {
std::mutex& sinkLock() {
  static auto* lock = new std::mutex;
  return *lock;
}
CapturedLog* innermost = nullptr;
std::atomic<bool> showPrivate{false};
}  // namespace

std::string formatLogLine(const char* format, std::span<const LogArgument> arguments, bool showPrivate) {
  std::string text;
  std::size_t next = 0;
  for (const char* at = format; *at != '\0'; ++at) {
    if (*at != '%') {
      text += *at;
      continue;
    }
    ++at;
    bool isPublic = false;
    if (std::string_view(at).starts_with("{public}")) {
      isPublic = true;
      at += 8;
    }
    std::string spec = "%";
    while (*at == '.' || (*at >= '0' && *at <= '9')) spec += *at++;
    while (*at == 'l') ++at;
    if (*at == '\0') break;
    if (*at == '%') {
      text += '%';
      continue;
    }
    if (next >= arguments.size()) {
      text += "<?>";
      continue;
    }
    const LogArgument::Value& value = arguments[next++].value();
    std::array<char, 64> buffer{};
    if (const auto* literal = std::get_if<const char*>(&value)) {
      text += *literal == nullptr ? "(null)" : *literal;
    } else if (const auto* string = std::get_if<String>(&value)) {
      if (!isPublic && !showPrivate) {
        text += "<private>";
      } else {
        text += string->isNull() ? "(null)" : string->toUTF8();
      }
    } else if (const auto* number = std::get_if<std::int64_t>(&value)) {
      text += std::to_string(*number);
    } else if (const auto* count = std::get_if<std::uint64_t>(&value)) {
      text += std::to_string(*count);
    } else {
      std::snprintf(buffer.data(), buffer.size(), (spec + "f").c_str(), std::get<double>(value));
      text += buffer.data();
    }
  }
  return text;
}

Logger::Logger(std::string subsystem, std::string category)
    : subsystem_(std::move(subsystem)), category_(std::move(category)) {}
Logger::~Logger() = default;

void Logger::write(LogLevel level, const char* format, std::span<const LogArgument> arguments) {
  CapturedLine line{level, subsystem_, category_, "", formatLogLine(format, arguments, showPrivate)};
  if (std::string_view(format).starts_with("%s -- ") && !arguments.empty()) {
    if (const auto* name = std::get_if<const char*>(&arguments[0].value())) line.operation = *name;
  }
  const std::lock_guard guard(sinkLock());
  if (innermost != nullptr) {
    innermost->add(std::move(line));
  } else {
    std::fprintf(stderr, "%s: %s\n", category_.c_str(), line.text.c_str());
  }
}

void Logger::setLevel(LogLevel level) noexcept {
  threshold_ = static_cast<int>(level);
}
LogLevel Logger::level() noexcept {
  return static_cast<LogLevel>(threshold_.load());
}
void Logger::setPrivateData(bool shown) noexcept {
  showPrivate = shown;
}

CapturedLog::CapturedLog(LogLevel level) : outer_(nullptr), outerLevel_(Logger::level()) {
  const std::lock_guard guard(sinkLock());
  outer_ = innermost;
  innermost = this;
  Logger::setLevel(level);
}
CapturedLog::~CapturedLog() {
  const std::lock_guard guard(sinkLock());
  innermost = outer_;
  Logger::setLevel(outerLevel_);
}
std::vector<CapturedLine> CapturedLog::lines() const {
  const std::lock_guard guard(lock_);
  return lines_;
}
std::vector<std::string> CapturedLog::texts() const {
  std::vector<std::string> texts;
  for (const CapturedLine& line : lines()) texts.push_back(line.text);
  return texts;
}
bool CapturedLog::contains(LogLevel level, std::string_view text) const {
  for (const CapturedLine& line : lines()) {
    if (line.level == level && line.text == text) return true;
  }
  return false;
}
void CapturedLog::add(CapturedLine line) {
  const std::lock_guard guard(lock_);
  lines_.push_back(std::move(line));
}

}  // namespace sifterra::platform
