#include "directives.h"

#include <c_icap/c-icap.h>
#include <c_icap/cfg_param.h>
#include <c_icap/debug.h>

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>

#include "ascii_text.h"
#include "sifterra/sifterra.h"
#include "user_name.h"

namespace sifterra::icap {
namespace {

// The only value of a directive; nothing, after a line, when there is another number of them.
std::optional<std::string_view> onlyValue(const char* name, const char** values) {
  if (values && values[0] && values[0][0] != '\0' && !values[1]) return values[0];
  ci_debug_printf(1, "sifterra.%s: expected one value\n", name);
  return std::nullopt;
}

int wrong(const char* name, std::string_view value, const char* expected) {
  ci_debug_printf(1, "sifterra.%s: \"%.*s\" is wrong; expected %s\n", name, static_cast<int>(value.size()),
                  value.data(), expected);
  return 0;
}

// Every setter gets the place of its setting; answers 1, or 0 when the value is wrong.
int setText(const char* name, const char** values, void* place) {
  const auto value = onlyValue(name, values);
  if (!value) return 0;
  *static_cast<std::string*>(place) = equalsIgnoringCase(*value, "off") ? std::string() : std::string(*value);
  return 1;
}

int setUser(const char* name, const char** values, void* place) {
  const auto value = onlyValue(name, values);
  if (!value) return 0;
  if (shortName(*value) != *value) return wrong(name, *value, "a user's short name");
  *static_cast<std::string*>(place) = *value;
  return 1;
}

int setSwitch(const char* name, const char** values, void* place) {
  const auto value = onlyValue(name, values);
  if (!value) return 0;
  const bool on = equalsIgnoringCase(*value, "on");
  if (!on && !equalsIgnoringCase(*value, "off")) return wrong(name, *value, "on or off");
  *static_cast<bool*>(place) = on;
  return 1;
}

int setAnswer(const char* name, std::string_view value, bool orContent, Answer* place) {
  if (equalsIgnoringCase(value, "open"))
    *place = Answer::Open;
  else if (equalsIgnoringCase(value, "closed"))
    *place = Answer::Closed;
  else if (orContent && equalsIgnoringCase(value, "content"))
    *place = Answer::Content;
  else
    return wrong(name, value, orContent ? "open, closed or content" : "open or closed");
  return 1;
}

int setPolicyAnswer(const char* name, const char** values, void* place) {
  const auto value = onlyValue(name, values);
  return value ? setAnswer(name, *value, true, static_cast<Answer*>(place)) : 0;
}

int setBodyAnswer(const char* name, const char** values, void* place) {
  const auto value = onlyValue(name, values);
  return value ? setAnswer(name, *value, false, static_cast<Answer*>(place)) : 0;
}

int setEncoding(const char* name, const char** values, void* place) {
  const auto value = onlyValue(name, values);
  if (!value) return 0;
  auto& encoding = *static_cast<NameEncoding*>(place);
  if (equalsIgnoringCase(*value, "auto"))
    encoding = NameEncoding::Auto;
  else if (equalsIgnoringCase(*value, "plain"))
    encoding = NameEncoding::Plain;
  else if (equalsIgnoringCase(*value, "base64"))
    encoding = NameEncoding::Base64;
  else
    return wrong(name, *value, "auto, plain or base64");
  return 1;
}

// A number with an optional unit of bytes.
std::optional<std::uint64_t> numberIn(std::string_view text, std::uint64_t least, std::uint64_t most) {
  std::uint64_t number = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (failure != std::errc()) return std::nullopt;
  const std::string_view unit = text.substr(static_cast<std::size_t>(end - text.data()));
  unsigned shift = 0;
  if (equalsIgnoringCase(unit, "k"))
    shift = 10;
  else if (equalsIgnoringCase(unit, "m"))
    shift = 20;
  else if (!unit.empty())
    return std::nullopt;
  if (number > most >> shift || number << shift < least) return std::nullopt;
  return number << shift;
}

int setTextLimit(const char* name, const char** values, void* place) {
  const auto value = onlyValue(name, values);
  if (!value) return 0;
  const auto number = numberIn(*value, 1024, std::uint64_t{16} << 20);
  if (!number) return wrong(name, *value, "1K to 16M");
  *static_cast<std::size_t*>(place) = *number;
  return 1;
}

int setBudget(const char* name, const char** values, void* place) {
  const auto value = onlyValue(name, values);
  if (!value) return 0;
  const auto number = numberIn(*value, 0, 600000);
  if (!number) return wrong(name, *value, "milliseconds, 0 to 600000");
  *static_cast<std::chrono::milliseconds*>(place) = std::chrono::milliseconds(*number);
  return 1;
}

int setConnect(const char* name, const char** values, void* place) {
  const auto value = onlyValue(name, values);
  if (!value) return 0;
  const bool judge = equalsIgnoringCase(*value, "judge");
  if (!judge && !equalsIgnoringCase(*value, "pass")) return wrong(name, *value, "judge or pass");
  *static_cast<bool*>(place) = judge;
  return 1;
}

int setLibraryLog(const char* name, const char** values, void*) {
  const auto value = onlyValue(name, values);
  if (!value) return 0;
  constexpr std::string_view kLevels[] = {"debug", "info", "default", "error", "off"};
  for (int level = WFLogLevelDebug; level <= WFLogLevelOff; ++level) {
    if (!equalsIgnoringCase(*value, kLevels[level])) continue;
    WFSetLogLevel(level);
    return 1;
  }
  return wrong(name, *value, "debug, info, default, error or off");
}

Settings settings;

}  // namespace

Settings& configuredSettings() {
  return settings;
}

constinit ci_conf_entry directiveTable[] = {
    {"Root", &settings.root, setText, nullptr},
    {"DefaultUser", &settings.defaultUser, setUser, nullptr},
    {"UserMap", &settings.userMapPath, setText, nullptr},
    {"UserEncoding", &settings.nameEncoding, setEncoding, nullptr},
    {"TextLimit", &settings.textLimit, setTextLimit, nullptr},
    {"Budget", &settings.budget, setBudget, nullptr},
    {"BrokenPolicy", &settings.brokenPolicy, setPolicyAnswer, nullptr},
    {"UnknownUser", &settings.unknownUser, setPolicyAnswer, nullptr},
    {"Undecodable", &settings.undecodable, setBodyAnswer, nullptr},
    {"OverLimit", &settings.overLimit, setBodyAnswer, nullptr},
    {"Connect", &settings.judgeConnect, setConnect, nullptr},
    {"OverrideAddress", &settings.overrideAddress, setText, nullptr},
    {"LogURL", &settings.logURL, setSwitch, nullptr},
    {"MetricsFile", &settings.metricsPath, setText, nullptr},
    {"LibraryLog", nullptr, setLibraryLog, nullptr},
    {nullptr, nullptr, nullptr, nullptr},
};

}  // namespace sifterra::icap
