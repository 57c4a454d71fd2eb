// Askings: the pages that are being asked for, each behind a token that only its confirmation page knows.
//
// The token ties the password form to one user and one address: what was shown is what is allowed, whatever
// the second form says. It opens once and within ten minutes; sent again (by a double click) it only leads
// on.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

namespace sifterra::override_service {

using Clock = std::function<std::chrono::steady_clock::time_point()>;

struct Asking {
  std::uint32_t uid = 0;
  std::string user;   // what the account was called then: numbers are given to others
  std::string url;    // UTF-8, an http or https address
  std::string title;  // UTF-8, may be empty
  bool opened = false;
};

class Askings {
 public:
  static constexpr std::chrono::minutes kLongest{10};
  // Of one user; one more pushes the oldest out.
  static constexpr std::size_t kMostOfUser = 16;

  explicit Askings(Clock clock) : _clock(std::move(clock)) {}

  // The token: 32 hexadecimal digits that nobody can guess. Empty when the system gives no random bytes.
  [[nodiscard]] std::string add(Asking asking);
  // What is asked for under the token by this user; nothing when it is unknown, old or another user's.
  [[nodiscard]] std::optional<Asking> find(const std::string& token, std::uint32_t uid) const;
  // What was asked for under the token is open.
  void setOpened(const std::string& token);
  // The token is good no longer.
  void remove(const std::string& token);

 private:
  struct Entry {
    std::string token;
    Asking asking;
    std::chrono::steady_clock::time_point until;
  };
  Clock _clock;
  mutable std::mutex _lock;
  std::deque<Entry> _entries;  // oldest first
};

}  // namespace sifterra::override_service
