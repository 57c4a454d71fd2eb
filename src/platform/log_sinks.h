// log_sinks.h: where the lines of a process end up.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/Log.h"

struct iovec;

namespace sifterra::platform {

// One finished line.
struct LogRecord {
  LogLevel level;
  std::string_view subsystem;
  std::string_view category;
  std::string_view operation;  // may be empty
  std::string_view text;
};

// Writes the line to the target; what the journal does not take goes to standard error.
void writeToSink(LogTarget target, const LogRecord& record);

// The parts, for the tests.

// More bytes of a text are not written: some lines hold a whole page.
inline constexpr std::size_t kMaxLoggedBytes = std::size_t{64} * 1024;

// The text cut to what is written, between two characters, with "..." for what is left out.
[[nodiscard]] std::string boundedText(std::string_view text);
// The text with control characters (U+0000 to U+001F, U+007F to U+009F) written as "\x0a".
[[nodiscard]] std::string singleLine(std::string_view text);
// The journal entry of a line, as "NAME=value".
[[nodiscard]] std::vector<std::string> journalFields(const LogRecord& record);
// Whether the descriptor is a socket connected to the one at the path.
[[nodiscard]] bool isConnectedTo(int descriptor, std::string_view socketPath) noexcept;

// What passes an entry to the journal: negative when it fails, like sd_journal_sendv.
using JournalSender = int (*)(const iovec* fields, int count);
// For tests: another sender; null restores the system's.
void setJournalSenderForTesting(JournalSender sender) noexcept;

}  // namespace sifterra::platform
