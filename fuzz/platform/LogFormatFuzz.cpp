// LogFormatFuzz: no format shows a private value, and what is written stays one bounded line.
#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/Log.h"
#include "platform/log_sinks.h"

namespace platform = sifterra::platform;
using platform::LogArgument;
using platform::String;

namespace {

void require(bool condition) {
  if (!condition) abort();
}

bool hasControl(const std::string& line) {
  for (std::size_t i = 0; i < line.size(); ++i) {
    const auto byte = static_cast<unsigned char>(line[i]);
    const auto next = i + 1 < line.size() ? static_cast<unsigned char>(line[i + 1]) : 0xFF;
    if (byte < 0x20 || byte == 0x7F || (byte == 0xC2 && next >= 0x80 && next < 0xA0)) return true;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string format(reinterpret_cast<const char*>(data), size);
  const String secret(u"\uE000secret\uE000");
  const std::array<LogArgument, 6> arguments{LogArgument(secret), LogArgument("static"),
                                             LogArgument(-1),     LogArgument(std::uint64_t{7}),
                                             LogArgument(1e300),  LogArgument(secret)};
  const std::string hidden = platform::formatLogLine(format.c_str(), arguments, false);
  if (format.find("{public}") == std::string::npos && format.find("\xEE\x80\x80") == std::string::npos) {
    require(hidden.find("\xEE\x80\x80") == std::string::npos);
  }
  (void)platform::formatLogLine(format.c_str(), arguments, true);
  // The longest that six values can add.
  require(hidden.size() <= format.size() * 3 + 6 * 400);

  const std::string line = platform::singleLine(platform::boundedText(format));
  require(line.size() <= 4 * (platform::kMaxLoggedBytes + 3));
  if (String::fromUTF8(format)) require(!hasControl(line) && String::fromUTF8(line));
  return 0;
}
