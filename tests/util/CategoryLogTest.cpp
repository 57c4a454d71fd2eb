// The table of loggers by category, and its C face.
#include <gtest/gtest.h>

#include <string>

#include "platform/Log.h"
#include "sifterra/sifterra.h"
#include "util/LoggerTable.h"
#include "util/log.h"

namespace sifterra {
namespace {

using platform::CapturedLine;
using platform::CapturedLog;
using platform::LogLevel;

std::unique_ptr<platform::Logger> makeNothing(const char*, const char*) {
  return nullptr;
}

TEST(LoggerTable, GivesOneLoggerPerCategoryOfTheOneSubsystem) {
  LoggerTable table;
  platform::Logger& judge = table.loggerForCategory("judge");
  EXPECT_EQ(&table.loggerForCategory("judge"), &judge);
  EXPECT_NE(&table.loggerForCategory("page"), &judge);
  EXPECT_EQ(judge.category(), "judge");
  EXPECT_EQ(judge.subsystem(), "com.vendrel.Hearthguard");
}

TEST(LoggerTable, GivesTheDefaultLogForANullCategory) {
  LoggerTable table;
  CapturedLog log;
  EXPECT_EQ(&table.loggerForCategory(nullptr), &table.defaultLog());
  EXPECT_TRUE(log.lines().empty());
}

TEST(LoggerTable, TakesAFifthLoggerWhenItHoldsFourAndGivesTheSixthTheDefaultLog) {
  LoggerTable table;
  CapturedLog log;
  for (const char* category : {"a", "b", "c", "d", "e"}) {
    SCOPED_TRACE(category);
    EXPECT_EQ(table.loggerForCategory(category).category(), category);
  }
  EXPECT_TRUE(log.lines().empty());

  EXPECT_EQ(&table.loggerForCategory("f"), &table.defaultLog());
  ASSERT_EQ(log.lines().size(), 1U);
  const CapturedLine line = log.lines()[0];
  EXPECT_EQ(line.text, "ERROR | Too many categories defined, use default");
  EXPECT_EQ(line.level, LogLevel::Default);
  EXPECT_EQ(line.category, "default");
}

TEST(LoggerTable, StillKnowsItsLoggersWhenItIsFull) {
  LoggerTable table;
  platform::Logger& first = table.loggerForCategory("a");
  for (const char* category : {"b", "c", "d", "e"}) (void)table.loggerForCategory(category);
  CapturedLog log;
  (void)table.loggerForCategory("f");
  EXPECT_EQ(&table.loggerForCategory("a"), &first);
  (void)table.loggerForCategory("f");
  EXPECT_EQ(log.lines().size(), 2U);  // one per refused request
}

TEST(LoggerTable, GivesTheDefaultLogWhenALoggerCannotBeMade) {
  LoggerTable table(&makeNothing);
  CapturedLog log;
  EXPECT_EQ(&table.loggerForCategory("a"), &table.defaultLog());
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0].text, "ERROR | Failed log_handle_create, use default");
  EXPECT_EQ(log.lines()[0].level, LogLevel::Default);
}

TEST(LoggerTable, SaysNothingAboutItselfBelowTheLevel) {
  LoggerTable table(&makeNothing);
  CapturedLog log(LogLevel::Error);
  (void)table.loggerForCategory("a");
  EXPECT_TRUE(log.lines().empty());
}

TEST(WebFilterLog, IsTheTablesLoggerOfThatCategory) {
  EXPECT_EQ(webFilterLog().category(), "WebFilter");
  EXPECT_EQ(&webFilterLog(), &LoggerTable::shared().loggerForCategory("WebFilter"));
}

TEST(CLog, HandsOutTheSameLoggersAsTheTable) {
  EXPECT_EQ(reinterpret_cast<platform::Logger*>(OSLogForCategory("WebFilter")), &webFilterLog());
  EXPECT_EQ(OSLogForCategory("WebFilter"), OSLogForCategory("WebFilter"));
  EXPECT_EQ(reinterpret_cast<platform::Logger*>(OSLogForCategory(nullptr)),
            &LoggerTable::shared().defaultLog());
}

TEST(CLog, WritesTextAsItIs) {
  CapturedLog log;
  WFLogWrite(OSLogForCategory("WebFilter"), WFLogLevelError, "100%@ of %s, %d%%");
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0].text, "100%@ of %s, %d%%");
  EXPECT_EQ(log.lines()[0].level, LogLevel::Error);
  EXPECT_EQ(log.lines()[0].category, "WebFilter");
  EXPECT_EQ(log.lines()[0].subsystem, "com.vendrel.Hearthguard");
}

TEST(CLog, TakesNullForTheDefaultLogAndForNoText) {
  CapturedLog log;
  WFLogWrite(nullptr, WFLogLevelInfo, nullptr);
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0].text, "(null)");
  EXPECT_EQ(log.lines()[0].category, "default");
}

TEST(CLog, WritesNothingBelowTheLevelThatTheHostSets) {
  CapturedLog log;
  const WFLogRef category = OSLogForCategory("WebFilter");
  WFSetLogLevel(WFLogLevelDefault);
  EXPECT_EQ(WFLogEnabled(category, WFLogLevelInfo), 0);
  EXPECT_EQ(WFLogEnabled(category, WFLogLevelDefault), 1);
  WFLogWrite(category, WFLogLevelInfo, "quiet");
  WFLogWrite(category, WFLogLevelDefault, "heard");
  WFSetLogLevel(WFLogLevelOff);
  EXPECT_EQ(WFLogEnabled(category, WFLogLevelError), 0);
  WFLogWrite(category, WFLogLevelError, "off");
  EXPECT_EQ(log.texts(), std::vector<std::string>{"heard"});
}

TEST(CLog, HoldsLevelsToTheOnesThereAre) {
  CapturedLog log;
  WFSetLogLevel(-7);
  EXPECT_EQ(platform::Logger::level(), LogLevel::Debug);
  WFSetLogLevel(99);
  EXPECT_EQ(platform::Logger::level(), LogLevel::Off);
  WFSetLogLevel(WFLogLevelDebug);
  WFLogWrite(nullptr, 99, "high");
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0].level, LogLevel::Error);  // no line has the level Off
}

TEST(CLog, ShowsPrivateValuesOnlyWhenTheHostSaysSo) {
  CapturedLog log;
  const platform::String secret(u"secret");
  WFSetLogPrivateData(1);
  logError("%s -- %@", "op", secret);
  WFSetLogPrivateData(0);
  logError("%s -- %@", "op", secret);
  EXPECT_EQ(log.texts(), (std::vector<std::string>{"op -- secret", "op -- <private>"}));
}

TEST(Log, CallsACallableOnlyForALineThatIsWritten) {
  CapturedLog log(LogLevel::Info);
  int calls = 0;
  const auto describe = [&] {
    ++calls;
    return platform::String(u"text");
  };
  logDebug("%s -- %{public}@", "op", describe);
  EXPECT_EQ(calls, 0);
  logInfo("%s -- %{public}@", "op", describe);
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(log.contains(LogLevel::Info, "op -- text"));
}

}  // namespace
}  // namespace sifterra
