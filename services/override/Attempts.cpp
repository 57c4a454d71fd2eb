#include "Attempts.h"

#include <algorithm>

namespace sifterra::override_service {

Attempts::Answer Attempts::begin(std::uint32_t uid) {
  const std::scoped_lock guard(_lock);
  Record& record = _records[uid];
  if (_clock() < record.lockedUntil) return Answer::Locked;
  if (record.checking) return Answer::Busy;
  record.checking = true;
  return Answer::Go;
}

void Attempts::done(std::uint32_t uid, bool right) {
  const std::scoped_lock guard(_lock);
  Record& record = _records[uid];
  record.checking = false;
  if (right) {
    record.wrong = 0;
  } else if (++record.wrong >= kMostWrong) {
    record.wrong = 0;
    record.lockedUntil = _clock() + kLockout;
  }
}

std::chrono::minutes Attempts::remaining(std::uint32_t uid) const {
  const std::scoped_lock guard(_lock);
  const auto found = _records.find(uid);
  if (found == _records.end()) return std::chrono::minutes{0};
  const auto left = found->second.lockedUntil - _clock();
  return left.count() <= 0 ? std::chrono::minutes{0} : std::chrono::ceil<std::chrono::minutes>(left);
}

std::chrono::milliseconds Attempts::delay(std::uint32_t uid) const {
  const std::scoped_lock guard(_lock);
  const auto found = _records.find(uid);
  const int wrong = found == _records.end() ? 0 : found->second.wrong;
  return wrong == 0 ? std::chrono::milliseconds{0}
                    : std::chrono::milliseconds{250 << std::min(wrong, kMostWrong)};
}

}  // namespace sifterra::override_service
