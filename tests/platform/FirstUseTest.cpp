// Test that what is made on first use may be used first by many threads at once. A program of its own, so
// that nothing was used before.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/Bundle.h"
#include "platform/CharacterSet.h"
#include "platform/FileSystem.h"
#include "platform/Log.h"
#include "platform/Unicode.h"

namespace sifterra::platform {
namespace {

void useEverything(int number) {
  EXPECT_TRUE(isSymbol(u'+'));
  EXPECT_EQ(unicodeScript(U'\u0436'), Script::Cyrillic);
  EXPECT_EQ(findIgnoringCase(u"a \u0416", u"\u0436"), 2U);
  EXPECT_EQ(lowercased(u"\u0416"), u"\u0436");
  std::u16string folded;
  appendNFKCCaseFolded(u"\uFF21", folded);
  EXPECT_EQ(folded, u"a");
  EXPECT_EQ(canonicalIANACharacterSetName("latin1"), "ISO-8859-1");
  EXPECT_EQ(decodeBytes("\xC1", "KOI8-R"), u"\u0430");
  EXPECT_EQ(detectEncoding("\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E", 10), "UTF-8");
  setFileSystemRoot("/nowhere");
  EXPECT_EQ(systemPath("/x"), "/nowhere/x");
  (void)Bundle::library();
  Logger log("s", "c");
  const LogArgument argument(number);
  log.write(LogLevel::Error, "%d", std::span(&argument, 1));
}

TEST(FirstUse, FromManyThreadsAtOnce) {
  constexpr int kThreads = 8;
  std::atomic<int> waiting{kThreads};
  std::vector<std::thread> threads;
  testing::internal::CaptureStderr();
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&waiting, t] {
      --waiting;
      while (waiting > 0) std::this_thread::yield();
      useEverything(t);
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::string lines = testing::internal::GetCapturedStderr();
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_NE(lines.find("error c: " + std::to_string(t) + "\n"), std::string::npos) << t;
  }
}

}  // namespace
}  // namespace sifterra::platform
