// Attempts: slows down and locks out whoever tries passwords.
//
// Counted by the asking user, not by the name that is tried: the child at the keyboard is who guesses, and
// must not be able to lock the parents out of their own machine. One check at a time for each user, so that
// guesses in parallel gain nothing.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>

namespace sifterra::override_service {

using Clock = std::function<std::chrono::steady_clock::time_point()>;

class Attempts {
 public:
  // So many wrong passwords in a row are free of consequence but for the delay.
  static constexpr int kMostWrong = 5;
  static constexpr std::chrono::minutes kLockout{15};

  explicit Attempts(Clock clock) : _clock(std::move(clock)) {}

  enum class Answer {
    Go,      // check the password, and tell done() how it went
    Busy,    // another check for this user is under way
    Locked,  // wait remaining()
  };
  [[nodiscard]] Answer begin(std::uint32_t uid);
  void done(std::uint32_t uid, bool right);
  // How long a user who is locked out has to wait; 0 for the others.
  [[nodiscard]] std::chrono::minutes remaining(std::uint32_t uid) const;
  // How long the answer to a wrong password is held back: doubles with each one.
  [[nodiscard]] std::chrono::milliseconds delay(std::uint32_t uid) const;

 private:
  struct Record {
    int wrong = 0;
    bool checking = false;
    std::chrono::steady_clock::time_point lockedUntil{};
  };
  Clock _clock;
  mutable std::mutex _lock;
  std::map<std::uint32_t, Record> _records;  // one for each account that ever guessed: few
};

}  // namespace sifterra::override_service
