// Attempts: slows down and locks out whoever tries passwords.
//
// Counted by the asking user, not by the name that is tried: the child at the keyboard is who guesses, and
// must not be able to lock the parents out of their own machine. One check at a time for each user, so that
// guesses in parallel gain nothing. Kept in a file, so that a restart of the machine forgives nothing; by
// the wall clock, for no other goes on meanwhile.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace sifterra::override_service {

using WallClock = std::function<std::chrono::system_clock::time_point()>;

class Attempts {
 public:
  // So many wrong passwords in a row are free of consequence but for the delay.
  static constexpr int kMostWrong = 5;
  // The first lockout; each further one without a right password between is twice as long.
  static constexpr std::chrono::minutes kFirstLockout{15};
  static constexpr std::chrono::minutes kLongestLockout{24 * 60};

  // Takes up what an earlier run left in `file`; none: nothing is kept. A file that cannot be read or written
  // is told to `log`, and what is in memory counts.
  Attempts(WallClock clock, std::string file, std::function<void(const std::string&)> log);

  enum class Answer {
    Go,      // check the password, and tell done() how it went
    Busy,    // another check for this user is under way
    Locked,  // wait remaining()
  };
  [[nodiscard]] Answer begin(std::uint32_t uid);
  void done(std::uint32_t uid, bool right);
  // The check that was begun came to no end: it counts for nothing, and another may begin.
  void abandon(std::uint32_t uid) noexcept;
  // How long a user who is locked out has to wait; 0 for the others.
  [[nodiscard]] std::chrono::minutes remaining(std::uint32_t uid) const;
  // How long the answer to a wrong password is held back: doubles with each one.
  [[nodiscard]] std::chrono::milliseconds delay(std::uint32_t uid) const;

 private:
  struct Record {
    int wrong = 0;     // since the last lockout
    int lockouts = 0;  // since the last right password
    bool checking = false;
    std::chrono::system_clock::time_point lockedUntil{};
  };
  [[nodiscard]] std::chrono::system_clock::duration leftOf(const Record& record) const;
  void load();
  void save() const;

  WallClock _clock;
  std::string _file;
  std::function<void(const std::string&)> _log;
  mutable std::mutex _lock;
  std::map<std::uint32_t, Record> _records;  // one for each account that ever guessed: few
};

// One check, which is abandoned unless it is told how it went.
class Check {
 public:
  Check(Attempts& attempts, std::uint32_t uid) : _attempts(attempts), _uid(uid) {}
  ~Check() {
    if (!_ended) _attempts.abandon(_uid);
  }
  Check(const Check&) = delete;
  Check& operator=(const Check&) = delete;
  void end(bool right) {
    _attempts.done(_uid, right);
    _ended = true;
  }

 private:
  Attempts& _attempts;
  std::uint32_t _uid;
  bool _ended = false;
};

}  // namespace sifterra::override_service
