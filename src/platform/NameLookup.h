// NameLookup: the name that the name service knows for an IPv4 address, without waiting for it too long.
//
//   const std::optional<std::string> name = NameLookup::shared().nameOf(address);
//
// Whoever runs the service decides how long an answer takes, so waiting is bounded three ways: one lookup
// waits 2 seconds at most, all lookups of the process together 10 seconds per period of 60, and after 3
// lookups in a row that nobody answered there is a pause of 60 seconds. A list of 100,000 numeric hosts thus
// waits 6 seconds for a dead service. A lookup that may not wait any more answers "no name" at once. What was
// found is remembered for 10 minutes, that there is no name for one minute, of 4096 addresses at most.
//
// Switched off (for the whole process), nothing is asked and nothing is known. Services do that: whoever owns
// an address decides about its name, so a name that stands on an allow list proves nothing.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

namespace sifterra::platform {

// Whom the names are asked of.
class NameSource {
 public:
  enum class Outcome { Found, NoName, Unanswered };
  struct Answer {
    Outcome outcome = Outcome::NoName;
    std::string name;  // bytes as they came; at most 1024
  };

  virtual ~NameSource() = default;
  // The name of an address in network byte order, asked for as long as `limit`.
  [[nodiscard]] virtual Answer nameOf(std::uint32_t address, std::chrono::milliseconds limit) = 0;
};

// The hosts file and the name servers of the machine (resolv.conf). Keeps no state.
class SystemNameSource final : public NameSource {
 public:
  // Other files than the machine's, for tests: `servers` as "127.0.0.1:5353".
  SystemNameSource() = default;
  explicit SystemNameSource(std::string servers) : servers_(std::move(servers)) {}
  [[nodiscard]] Answer nameOf(std::uint32_t address, std::chrono::milliseconds limit) override;

 private:
  std::string servers_;
};

class NameLookup {
 public:
  using Clock = std::chrono::steady_clock;

  static constexpr std::chrono::milliseconds kLongestLookup{2000};
  static constexpr std::chrono::milliseconds kLongestWaiting{10000};  // of all lookups, per kPeriod
  static constexpr std::chrono::milliseconds kPeriod{60000};
  static constexpr int kUnansweredInARow = 3;  // then nothing is asked for kPeriod
  static constexpr std::chrono::minutes kNameIsKept{10};
  static constexpr std::chrono::minutes kNoNameIsKept{1};
  static constexpr std::size_t kMostAddresses = 4096;

  // `now` is the clock, which tests replace.
  explicit NameLookup(std::shared_ptr<NameSource> source,
                      std::function<Clock::time_point()> now = &Clock::now);

  // The one of the process.
  [[nodiscard]] static NameLookup& shared();

  // The name of an address in network byte order; nothing when there is none, or none in time.
  [[nodiscard]] std::optional<std::string> nameOf(std::uint32_t address);

  // The switch; on at first.
  void setEnabled(bool enabled) noexcept { enabled_.store(enabled, std::memory_order_relaxed); }
  [[nodiscard]] bool enabled() const noexcept { return enabled_.load(std::memory_order_relaxed); }

  // Asks another source from now on, and forgets everything; returns the one before. For tests.
  std::shared_ptr<NameSource> replaceSource(std::shared_ptr<NameSource> source);

 private:
  struct Known {
    std::optional<std::string> name;
    Clock::time_point until;
  };

  // Both under the lock.
  [[nodiscard]] std::chrono::milliseconds reserveWaiting(Clock::time_point now);  // 0: do not ask
  void remember(std::uint32_t address, std::optional<std::string> name, Clock::time_point now);

  std::atomic<bool> enabled_{true};
  const std::function<Clock::time_point()> now_;

  std::mutex lock_;  // guards what follows; not held while the source is asked
  std::shared_ptr<NameSource> source_;
  std::unordered_map<std::uint32_t, Known> known_;
  std::chrono::milliseconds mayWait_ = kLongestWaiting;
  Clock::time_point periodEnds_{};
  Clock::time_point pausedUntil_{};
  int unanswered_ = 0;
};

}  // namespace sifterra::platform
