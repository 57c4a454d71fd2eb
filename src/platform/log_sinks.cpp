// log_sinks: spdlog's sink for standard error and one of our own for the journal, which takes fields.
//
// A record reaches the sinks without a spdlog::logger: spdlog keeps loggers in a registry that dies at exit,
// and threads may still log then. The sinks themselves are never destroyed.
#include "platform/log_sinks.h"

#include <spdlog/details/null_mutex.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>
#define SD_JOURNAL_SUPPRESS_LOCATION  // the operation tells more than this file's name
#include <systemd/sd-journal.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>

namespace sifterra::platform {
namespace {

// What systemd connects the standard error of a service to.
constexpr std::string_view kJournalStream = "/run/systemd/journal/stdout";

std::atomic<JournalSender> journalSender{nullptr};  // null: the system's

struct Severity {
  spdlog::level::level_enum level;
  int priority;
};
// By LogLevel; the default level is for warnings, but those that are part of normal life.
constexpr std::array<Severity, 4> kSeverities{{{spdlog::level::debug, LOG_DEBUG},
                                               {spdlog::level::info, LOG_INFO},
                                               {spdlog::level::warn, LOG_NOTICE},
                                               {spdlog::level::err, LOG_ERR}}};

const Severity& severity(LogLevel level) {
  return kSeverities[std::min(static_cast<std::size_t>(level), kSeverities.size() - 1)];
}

// spdlog's message with the fields that it does not know.
struct FieldedMessage : spdlog::details::log_msg {
  FieldedMessage(const LogRecord& line, std::string_view text)
      : log_msg(spdlog::string_view_t(line.category.data(), line.category.size()), severity(line.level).level,
                spdlog::string_view_t(text.data(), text.size())),
        record(line) {}
  const LogRecord& record;
};

void writeToStandardError(const LogRecord& record) {
  static spdlog::sinks::sink& sink = []() -> spdlog::sinks::sink& {
    auto& made = *new spdlog::sinks::stderr_sink_mt;
    made.set_pattern("%l %n: %v");  // no time: whoever collects the stream stamps its lines
    return made;
  }();
  const std::string line = singleLine(boundedText(record.text));
  sink.log(FieldedMessage(record, line));
}

// Takes FieldedMessages only. sd_journal_sendv needs no lock.
class JournalSink final : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
 private:
  void sink_it_(const spdlog::details::log_msg& message) override {
    const LogRecord& record = static_cast<const FieldedMessage&>(message).record;
    const std::vector<std::string> fields = journalFields(record);
    std::vector<iovec> parts;
    parts.reserve(fields.size());
    for (const std::string& field : fields) parts.push_back({const_cast<char*>(field.data()), field.size()});
    const JournalSender chosen = journalSender.load(std::memory_order_acquire);
    const JournalSender sender = chosen ? chosen : &sd_journal_sendv;
    if (sender(parts.data(), static_cast<int>(parts.size())) < 0) writeToStandardError(record);
  }
  void flush_() override {}
};

JournalSink& journal() {
  static auto& sink = *new JournalSink;
  return sink;
}

bool isContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

}  // namespace

std::string boundedText(std::string_view text) {
  if (text.size() <= kMaxLoggedBytes) return std::string(text);
  std::size_t end = kMaxLoggedBytes;
  while (end > 0 && isContinuation(text[end])) --end;
  return std::string(text.substr(0, end)) + "...";
}

std::string singleLine(std::string_view text) {
  constexpr char kHex[] = "0123456789abcdef";
  std::string line;
  line.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    auto byte = static_cast<unsigned char>(text[i]);
    // In UTF-8 U+0080 to U+009F are C2 80 to C2 9F.
    const bool isHighControl =
        byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
    if (isHighControl) byte = static_cast<unsigned char>(text[++i]);
    if (isHighControl || byte < 0x20 || byte == 0x7F) {
      line.append({'\\', 'x', kHex[byte >> 4], kHex[byte & 15]});
    } else {
      line += text[i];
    }
  }
  return line;
}

std::vector<std::string> journalFields(const LogRecord& record) {
  const auto field = [](std::string_view name, std::string_view value) {
    return std::string(name).append("=").append(value);
  };
  std::vector<std::string> fields{field("MESSAGE", boundedText(record.text)),
                                  field("PRIORITY", std::to_string(severity(record.level).priority)),
                                  field("SUBSYSTEM", record.subsystem), field("CATEGORY", record.category)};
  if (!record.operation.empty()) fields.push_back(field("OPERATION", record.operation));
  return fields;
}

bool isConnectedTo(int descriptor, std::string_view socketPath) noexcept {
  sockaddr_un peer{};
  socklen_t size = sizeof peer;
  if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) != 0) return false;
  if (peer.sun_family != AF_UNIX || size <= offsetof(sockaddr_un, sun_path)) return false;
  const std::string_view path(
      peer.sun_path, std::min<std::size_t>(size - offsetof(sockaddr_un, sun_path), sizeof peer.sun_path));
  return path.substr(0, path.find('\0')) == socketPath;
}

void setJournalSenderForTesting(JournalSender sender) noexcept {
  journalSender.store(sender, std::memory_order_release);
}

void writeToSink(LogTarget target, const LogRecord& record) {
  const bool toJournal = target == LogTarget::Journal ||
                         (target == LogTarget::Automatic && isConnectedTo(STDERR_FILENO, kJournalStream));
  if (toJournal) {
    journal().log(FieldedMessage(record, record.text));
  } else {
    writeToStandardError(record);
  }
}

}  // namespace sifterra::platform
