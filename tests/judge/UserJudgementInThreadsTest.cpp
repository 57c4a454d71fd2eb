// Eight threads judge for a hundred users while one rewrites their preference files every ten milliseconds.
//
// Each file carries its number in all three lists, so that an answer made of two versions shows; answers of
// one user never go back to an older file, and when the writing is over each thread sees the last one.
//
// Takes three seconds, or as many as SIFTERRA_SOAK_SECONDS says.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "lsm/LsmEngine.h"
#include "platform/Log.h"
#include "policy/PreferenceFixture.h"
#include "sifterra/judge/WFJudge.h"
#include "sifterra/policy/WFWhitelistSiteBuffer.h"
#include "sifterra/policy/WFWhitelistUserPreferences.h"

namespace sifterra {
namespace {

using platform::String;

constexpr int kThreads = 8;
constexpr int kUsers = 100;

std::chrono::seconds duration() {
  const char* seconds = std::getenv("SIFTERRA_SOAK_SECONDS");
  return std::chrono::seconds(seconds ? std::max(1, std::atoi(seconds)) : 3);
}

class QuietMap : public WFLSMMap {
 public:
  std::shared_ptr<WFLSMResult> evaluate(const String& /*text*/) const override {
    return WFLSMResult::LSMResultWithLSMResultRef({{{1, 0.9F}, {2, 0.1F}}, true}, 0.62F);
  }
};

std::string userName(int user) {
  return "user" + std::to_string(user);
}
std::string address(int version) {
  return "http://v" + std::to_string(version) + ".example.de/";
}

// Even versions filter, odd ones have the allow list only; each list holds one site, named after the version.
std::string contents(int version) {
  const bool even = version % 2 == 0;
  const std::string site = address(version);
  return xmlList("<dict>" + xmlSwitch("restrictWeb", true) + xmlSwitch("useContentFilter", even) +
                 xmlSwitch("whitelistEnabled", !even) + xmlTexts("filterWhitelist", {site.c_str()}) +
                 xmlTexts("filterBlacklist", {site.c_str()}) + xmlSites({site.c_str()}) + "</dict>");
}

// The version that the preferences come from, as each list tells it; -1 when they disagree.
int versionOf(const WFWhitelistUserPreferences& preferences) {
  const auto lastOf = [](const WFWhitelistSiteBuffer& list) {
    const auto sites = list.siteBuffer();
    return sites.empty() ? String() : sites.back()->urlString();
  };
  const String site = lastOf(preferences.filterBlacklist());
  if (!site || lastOf(preferences.filterWhitelist()) != site || lastOf(preferences.webWhitelist()) != site)
    return -1;
  const std::string text = site.toUTF8();
  const int version = std::atoi(text.c_str() + std::string("http://v").size());
  const bool even = version % 2 == 0;
  return preferences.filterEnabled() == even && preferences.whitelistEnabled() == !even ? version : -1;
}

// The versions on disk, per user: written before the file is.
struct Versions {
  std::array<std::atomic<int>, kUsers> begun{};
  std::array<std::atomic<int>, kUsers> done{};
};

class Judges {
 public:
  explicit Judges(const Versions& versions) : versions_(versions) {}

  void run(int thread, const std::atomic<bool>& over) {
    std::array<int, kUsers> seen{};
    for (int i = 0; !over.load(); ++i) judgeOnce((i * 7 + thread * 13) % kUsers, seen);
    for (int user = 0; user < kUsers; ++user) {
      judgeOnce(user, seen);
      EXPECT_EQ(seen[static_cast<std::size_t>(user)], versions_.done[static_cast<std::size_t>(user)].load());
    }
  }
  [[nodiscard]] long judgements() const { return judgements_.load(); }

 private:
  void judgeOnce(int user, std::array<int, kUsers>& seen) {
    const auto place = static_cast<std::size_t>(user);
    const int written = versions_.done[place].load();
    const auto preferences =
        WFWhitelistUserPreferences::defaultWhitelistForUser(String::fromUTF8(userName(user)));
    ASSERT_NE(preferences, nullptr);
    ASSERT_EQ(preferences->fileState(), WFWhitelistUserPreferences::FileState::Read);
    ASSERT_EQ(preferences->username().toUTF8(), userName(user));
    const int version = versionOf(*preferences);
    ASSERT_GE(version, 0);                              // of one piece
    ASSERT_GE(version, written);                        // what was written before the question is seen
    ASSERT_LE(version, versions_.begun[place].load());  // and nothing that was not written
    ASSERT_GE(version, seen[place]);
    seen[place] = version;
    const String url = String::fromUTF8(address(version) + "page");
    const auto verdict = judge_.pronounceOnPageContent(page_, url, preferences, nullptr, nullptr);
    ASSERT_FALSE(verdict->restricted());
    ASSERT_EQ(verdict->evidence(), 8);
    judgements_.fetch_add(1, std::memory_order_relaxed);
  }

  const Versions& versions_;
  const WFJudge judge_{std::make_shared<QuietMap>()};
  const String page_{u"<title>t</title>some words"};
  std::atomic<long> judgements_{0};
};

TEST(UserJudgementInThreads, ReadsNoTornFileAndLosesNoUpdate) {
  const platform::CapturedLog log(platform::LogLevel::Error);
  const PreferenceFixture files;
  auto versions = std::make_unique<Versions>();
  const auto write = [&](int user, int version) {
    versions->begun.at(static_cast<std::size_t>(user)) = version;
    files.write(userName(user), contents(version));
    versions->done.at(static_cast<std::size_t>(user)) = version;
  };
  for (int user = 0; user < kUsers; ++user) write(user, 0);

  Judges judges(*versions);
  std::atomic<bool> over{false};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread)
    threads.emplace_back([&, thread] { judges.run(thread, over); });
  const auto end = std::chrono::steady_clock::now() + duration();
  int rewritten = 0;
  for (int version = 1; std::chrono::steady_clock::now() < end; ++version) {
    // A few users at a time, and the same one twice in a row: both within one tick of the files' clock.
    for (int i = 0; i < 5; ++i, ++rewritten) {
      const int user = (version * 5 + i) % kUsers;
      write(user, 2 * version - 1);
      write(user, 2 * version);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  over = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_GT(rewritten, 100);
  EXPECT_GT(judges.judgements(), kThreads * kUsers);
  EXPECT_TRUE(log.texts().empty());
}

TEST(UserJudgementInThreads, ReplacedPreferencesAreFreed) {
  const PreferenceFixture files;
  std::vector<std::weak_ptr<WFWhitelistUserPreferences>> handed;
  for (int version = 0; version < 50; ++version) {
    files.write("ann", contents(version));
    handed.push_back(WFWhitelistUserPreferences::defaultWhitelistForUser(String(u"ann")));
  }
  long alive = 0;
  for (const auto& preferences : handed) alive += !preferences.expired();
  EXPECT_EQ(alive, 1);
}

}  // namespace
}  // namespace sifterra
