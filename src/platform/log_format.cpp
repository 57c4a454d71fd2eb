// log_format: fills a format with the arguments of a line.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "platform/Log.h"

namespace sifterra::platform {
namespace {

constexpr const char* kNoSuchArgument = "<?>";
constexpr int kMaxPrecision = 64;  // digits after the point; more than any number has to say

// One "%..." of a format.
struct Conversion {
  bool isPublic = false;
  int precision = -1;  // none given
  char kind = '\0';    // '\0' at the end of the format
};

// Reads what follows a percent sign and moves `at` past it.
Conversion readConversion(std::string_view format, std::size_t& at) {
  Conversion conversion;
  constexpr std::string_view kPublic = "{public}";
  constexpr std::string_view kPrivate = "{private}";
  const std::string_view rest = format.substr(at);
  if (rest.starts_with(kPublic)) {
    conversion.isPublic = true;
    at += kPublic.size();
  } else if (rest.starts_with(kPrivate)) {
    at += kPrivate.size();
  }
  if (at < format.size() && format[at] == '.') {
    conversion.precision = 0;
    for (++at; at < format.size() && format[at] >= '0' && format[at] <= '9'; ++at) {
      conversion.precision = std::min(conversion.precision * 10 + (format[at] - '0'), kMaxPrecision);
    }
  }
  while (at < format.size() && (format[at] == 'l' || format[at] == 'z')) ++at;  // arguments know their size
  if (at < format.size()) conversion.kind = format[at++];
  return conversion;
}

std::string realNumber(double number, int precision) {
  if (std::isnan(number)) return "nan";  // the C library may print a sign
  std::array<char, 400> buffer{};        // the largest has 309 digits before the point
  const int length =
      std::snprintf(buffer.data(), buffer.size(), "%.*f", precision < 0 ? 6 : precision, number);
  return std::string(buffer.data(), static_cast<std::size_t>(length));
}

std::string address(std::uint64_t number) {
  std::array<char, 24> buffer{};
  const int length =
      std::snprintf(buffer.data(), buffer.size(), "0x%llx", static_cast<unsigned long long>(number));
  return std::string(buffer.data(), static_cast<std::size_t>(length));
}

std::string text(const Conversion& conversion, const LogArgument::Value& value, bool showPrivate) {
  if (const auto* literal = std::get_if<const char*>(&value)) return *literal ? *literal : "(null)";
  const auto* string = std::get_if<String>(&value);
  if (!string) return kNoSuchArgument;
  if (!conversion.isPublic && !showPrivate) return "<private>";
  return string->isNull() ? "(null)" : string->toUTF8();
}

std::string converted(const Conversion& conversion, const LogArgument::Value& value, bool showPrivate) {
  switch (conversion.kind) {
    case '@':
    case 's':
      return text(conversion, value, showPrivate);
    case 'd':
    case 'i':
    case 'u':
      if (const auto* number = std::get_if<std::int64_t>(&value)) return std::to_string(*number);
      if (const auto* number = std::get_if<std::uint64_t>(&value)) return std::to_string(*number);
      return kNoSuchArgument;
    case 'f':
      if (const auto* number = std::get_if<double>(&value)) return realNumber(*number, conversion.precision);
      return kNoSuchArgument;
    case 'p':
      if (const auto* number = std::get_if<std::uint64_t>(&value)) return address(*number);
      return kNoSuchArgument;
    default:
      return kNoSuchArgument;
  }
}

}  // namespace

std::string formatLogLine(const char* format, std::span<const LogArgument> arguments, bool showPrivate) {
  const std::string_view pattern(format);
  std::string line;
  std::size_t used = 0;
  for (std::size_t at = 0; at < pattern.size();) {
    const std::size_t percent = std::min(pattern.find('%', at), pattern.size());
    line.append(pattern.substr(at, percent - at));
    at = percent + 1;
    if (percent == pattern.size()) break;
    const Conversion conversion = readConversion(pattern, at);
    if (conversion.kind == '%') {
      line += '%';
    } else if (used < arguments.size()) {
      line += converted(conversion, arguments[used++].value(), showPrivate);
    } else {
      line += kNoSuchArgument;
    }
  }
  return line;
}

}  // namespace sifterra::platform
