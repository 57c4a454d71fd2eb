// Tests of the log: formats, privacy, levels, capturing, and what reaches the journal and standard error.
#include "platform/Log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <limits>
#include <thread>

#include "platform/log_sinks.h"

namespace sifterra::platform {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;

template <class... Arguments>
std::string formatted(const char* format, const Arguments&... arguments) {
  const std::array<LogArgument, sizeof...(Arguments)> values{LogArgument(arguments)...};
  return formatLogLine(format, values, false);
}

template <class... Arguments>
std::string formattedWithPrivate(const char* format, const Arguments&... arguments) {
  const std::array<LogArgument, sizeof...(Arguments)> values{LogArgument(arguments)...};
  return formatLogLine(format, values, true);
}

template <class... Arguments>
void write(Logger& log, LogLevel level, const char* format, const Arguments&... arguments) {
  const std::array<LogArgument, sizeof...(Arguments)> values{LogArgument(arguments)...};
  log.write(level, format, values);
}

TEST(LogFormat, FillsInEachKindOfValue) {
  const String word(u"w\u00F6rd");
  EXPECT_EQ(formatted("%s -- EngineTextAddWords failed (%d)", "op", -3),
            "op -- EngineTextAddWords failed (-3)");
  EXPECT_EQ(formatted("%ld %lu %zu %i %u", -1L, 2UL, std::size_t{3}, 4, 5U), "-1 2 3 4 5");
  EXPECT_EQ(formatted("%d", true), "1");
  EXPECT_EQ(formatted("%lu", std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
  EXPECT_EQ(formatted("%f|%.2f|%.0f", 0.5, 1.005f, 2.6), "0.500000|1.00|3");
  EXPECT_EQ(formatted("%p", std::uintptr_t{0xBEEF}), "0xbeef");
  EXPECT_EQ(formatted("%{public}@ %{public}s", word, word), "w\xC3\xB6rd w\xC3\xB6rd");
  EXPECT_EQ(formatted("100%% of %s", "it"), "100% of it");
  EXPECT_EQ(formatted("nothing"), "nothing");
  EXPECT_EQ(formatted(""), "");
}

TEST(LogFormat, HidesWhatIsNotPublic) {
  const String name(u"anna");
  EXPECT_EQ(formatted("%@ %{private}@ %s %{public}@", name, name, name, name),
            "<private> <private> <private> anna");
  EXPECT_EQ(formattedWithPrivate("%@ %{private}@ %s", name, name, name), "anna anna anna");
  EXPECT_EQ(formatted("%@", String()), "<private>");  // that there is none is private too
  EXPECT_EQ(formatted("%s %d", "static", 1), "static 1");
}

TEST(LogFormat, NullPrintsAsNull) {
  EXPECT_EQ(formatted("%{public}@ %s", String(), static_cast<const char*>(nullptr)), "(null) (null)");
  EXPECT_EQ(formattedWithPrivate("%@", String()), "(null)");
}

TEST(LogFormat, NotANumberPrintsWithoutASign) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(formatted("%f %.2f", nan, -nan), "nan nan");
  EXPECT_EQ(
      formatted("%f %f", std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()),
      "inf -inf");
  EXPECT_EQ(formatted("%.999f", std::numeric_limits<double>::max()).size(), 309U + 1 + 64);
}

TEST(LogFormat, AMissingOrUnfitArgumentShows) {
  EXPECT_EQ(formatted("%s %d", "one"), "one <?>");
  EXPECT_EQ(formatted("%d %f %@ %p", "text", 1, 2, 0.5), "<?> <?> <?> <?>");
  EXPECT_EQ(formatted("%q", 1), "<?>");
  EXPECT_EQ(formatted("%", 1), "<?>");
  EXPECT_EQ(formatted("%{public}", 1), "<?>");
  EXPECT_EQ(formatted("%d", 1, 2), "1");  // too many is no harm
}

TEST(LogFormat, CallablesAnswerAString) {
  EXPECT_EQ(formatted("%{public}@", [] { return String(u"late"); }), "late");
}

TEST(LogLevels, BelowTheThresholdIsNotEnabled) {
  const LogLevel before = Logger::level();
  const LogLevel all[] = {LogLevel::Debug, LogLevel::Info, LogLevel::Default, LogLevel::Error};
  for (const LogLevel threshold :
       {LogLevel::Debug, LogLevel::Info, LogLevel::Default, LogLevel::Error, LogLevel::Off}) {
    Logger::setLevel(threshold);
    EXPECT_EQ(Logger::level(), threshold);
    for (const LogLevel level : all) EXPECT_EQ(Logger::enabled(level), level >= threshold);
  }
  Logger::setLevel(before);
  EXPECT_EQ(before, LogLevel::Default);  // at first
}

TEST(CapturedLog, HoldsLinesWithTheirFields) {
  Logger log("subsystem", "category");
  CapturedLog captured;
  write(log, LogLevel::Error, "%s -- failed %d", "-[A b:]", 3);
  write(log, LogLevel::Debug, "plain %s", "line");
  const std::vector<CapturedLine> lines = captured.lines();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].level, LogLevel::Error);
  EXPECT_EQ(lines[0].subsystem, "subsystem");
  EXPECT_EQ(lines[0].category, "category");
  EXPECT_EQ(lines[0].operation, "-[A b:]");
  EXPECT_EQ(lines[0].text, "-[A b:] -- failed 3");
  EXPECT_EQ(lines[1].operation, "");
  EXPECT_THAT(captured.texts(), ElementsAre("-[A b:] -- failed 3", "plain line"));
  EXPECT_TRUE(captured.contains(LogLevel::Debug, "plain line"));
  EXPECT_FALSE(captured.contains(LogLevel::Info, "plain line"));
  EXPECT_FALSE(captured.contains(LogLevel::Debug, "plain"));
}

TEST(CapturedLog, TheInnermostGetsTheLinesAndTheLevelComesBack) {
  Logger log("s", "c");
  const LogLevel before = Logger::level();
  CapturedLog outer(LogLevel::Info);
  {
    CapturedLog inner(LogLevel::Error);
    EXPECT_EQ(Logger::level(), LogLevel::Error);
    write(log, LogLevel::Error, "inner");
    EXPECT_THAT(inner.texts(), ElementsAre("inner"));
  }
  EXPECT_EQ(Logger::level(), LogLevel::Info);
  write(log, LogLevel::Error, "outer");
  EXPECT_THAT(outer.texts(), ElementsAre("outer"));
  EXPECT_EQ(before, LogLevel::Default);
}

TEST(CapturedLog, PrivateDataShowsWhenTheHostSwitchesItOn) {
  Logger log("s", "c");
  CapturedLog captured;
  write(log, LogLevel::Info, "%@", String(u"anna"));
  Logger::setPrivateData(true);
  write(log, LogLevel::Info, "%@", String(u"anna"));
  Logger::setPrivateData(false);
  EXPECT_THAT(captured.texts(), ElementsAre("<private>", "anna"));
}

TEST(CapturedLog, TakesLinesFromManyThreads) {
  constexpr int kThreads = 8;
  constexpr int kLines = 500;
  Logger log("s", "c");
  CapturedLog captured;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&log] {
      for (int i = 0; i < kLines; ++i) write(log, LogLevel::Info, "%s -- %d", "op", i);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(captured.lines().size(), std::size_t{kThreads} * kLines);
}

TEST(StandardErrorLog, WritesLevelCategoryAndText) {
  Logger log("subsystem", "WebFilter");
  testing::internal::CaptureStderr();
  write(log, LogLevel::Error, "%s -- bad", "op");
  write(log, LogLevel::Default, "so so");
  write(log, LogLevel::Info, "good");
  write(log, LogLevel::Debug, "fine");
  EXPECT_EQ(
      testing::internal::GetCapturedStderr(),
      "error WebFilter: op -- bad\nwarning WebFilter: so so\ninfo WebFilter: good\ndebug WebFilter: fine\n");
}

TEST(StandardErrorLog, APageTitleForgesNoLine) {
  Logger log("s", "c");
  testing::internal::CaptureStderr();
  write(log, LogLevel::Error, "%{public}@", String(u"a\nerror c: forged\x1b[2J\x7f\u009b\u00e9"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "error c: a\\x0aerror c: forged\\x1b[2J\\x7f\\x9b\xC3\xA9\n");
}

TEST(StandardErrorLog, EscapesExactlyTheControlCharacters) {
  EXPECT_EQ(singleLine("a\0b\t\xC2\x80\xC2\x9F\xC2\xA0\xC2"s), "a\\x00b\\x09\\x80\\x9f\xC2\xA0\xC2");
  EXPECT_EQ(singleLine(" ~"), " ~");
}

TEST(LogSinks, CutALongTextBetweenTwoCharacters) {
  const std::string fits(kMaxLoggedBytes, 'x');
  EXPECT_EQ(boundedText(fits), fits);
  EXPECT_EQ(boundedText(fits + "y"), fits + "...");
  const std::string split = std::string(kMaxLoggedBytes - 1, 'x') + "\xE2\x82\xAC";
  EXPECT_EQ(boundedText(split), std::string(kMaxLoggedBytes - 1, 'x') + "...");
}

std::vector<std::string> sentFields;  // of the last entry
int sentResult = 0;

int takeFields(const iovec* fields, int count) {
  sentFields.clear();
  for (int i = 0; i < count; ++i) {
    sentFields.emplace_back(static_cast<const char*>(fields[i].iov_base), fields[i].iov_len);
  }
  return sentResult;
}

class JournalLog : public testing::Test {
 protected:
  JournalLog() {
    setJournalSenderForTesting(&takeFields);
    Logger::setTarget(LogTarget::Journal);
    sentFields.clear();
    sentResult = 0;
  }
  ~JournalLog() override {
    Logger::setTarget(LogTarget::Automatic);
    setJournalSenderForTesting(nullptr);
  }
};

TEST_F(JournalLog, GetsFieldsBesideTheMessage) {
  Logger log("com.example.sub", "WebFilter");
  testing::internal::CaptureStderr();
  write(log, LogLevel::Error, "%s -- failed\nbadly", "-[A b:]");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_THAT(sentFields,
              ElementsAre("MESSAGE=-[A b:] -- failed\nbadly", "PRIORITY=3", "SUBSYSTEM=com.example.sub",
                          "CATEGORY=WebFilter", "OPERATION=-[A b:]"));
  write(log, LogLevel::Info, "no operation");
  EXPECT_THAT(sentFields, ElementsAre("MESSAGE=no operation", "PRIORITY=6", "SUBSYSTEM=com.example.sub",
                                      "CATEGORY=WebFilter"));
}

TEST_F(JournalLog, PrioritiesFollowTheLevels) {
  Logger log("s", "c");
  const std::pair<LogLevel, const char*> rows[] = {{LogLevel::Debug, "PRIORITY=7"},
                                                   {LogLevel::Info, "PRIORITY=6"},
                                                   {LogLevel::Default, "PRIORITY=5"},
                                                   {LogLevel::Error, "PRIORITY=3"}};
  for (const auto& [level, field] : rows) {
    write(log, level, "x");
    EXPECT_EQ(sentFields.at(1), field);
  }
}

TEST_F(JournalLog, WhatTheJournalRefusesGoesToStandardError) {
  Logger log("s", "c");
  sentResult = -2;
  testing::internal::CaptureStderr();
  write(log, LogLevel::Error, "x");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "error c: x\n");
}

TEST_F(JournalLog, IsNotUsedWhenTheHostChoseStandardError) {
  Logger log("s", "c");
  Logger::setTarget(LogTarget::StandardError);
  testing::internal::CaptureStderr();
  write(log, LogLevel::Error, "x");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "error c: x\n");
  EXPECT_TRUE(sentFields.empty());
}

TEST_F(JournalLog, IsNotUsedWhenStandardErrorIsNoStreamToIt) {
  Logger log("s", "c");
  Logger::setTarget(LogTarget::Automatic);
  testing::internal::CaptureStderr();
  write(log, LogLevel::Error, "x");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "error c: x\n");
  EXPECT_TRUE(sentFields.empty());
}

TEST(JournalStream, IsToldByTheSocketAtItsOtherEnd) {
  const std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("stream-" + std::to_string(::getpid()));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.string().copy(address.sun_path, sizeof address.sun_path - 1);
  const int listening = ::socket(AF_UNIX, SOCK_STREAM, 0);
  const int connected = ::socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(::bind(listening, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(::listen(listening, 1), 0);
  EXPECT_FALSE(isConnectedTo(connected, path.string()));
  ASSERT_EQ(::connect(connected, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  EXPECT_TRUE(isConnectedTo(connected, path.string()));
  EXPECT_FALSE(isConnectedTo(connected, path.string() + "x"));
  EXPECT_FALSE(isConnectedTo(listening, path.string()));
  int pair[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
  EXPECT_FALSE(isConnectedTo(pair[0], path.string()));
  EXPECT_FALSE(isConnectedTo(pair[0], ""));
  EXPECT_FALSE(isConnectedTo(-1, path.string()));
  for (const int descriptor : {listening, connected, pair[0], pair[1]}) ::close(descriptor);
  std::filesystem::remove(path);
}

}  // namespace
}  // namespace sifterra::platform
