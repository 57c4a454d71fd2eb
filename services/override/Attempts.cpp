#include "Attempts.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "common/durable_file.h"

namespace sifterra::override_service {
namespace {

using Json = nlohmann::json;
using std::chrono::system_clock;

constexpr std::size_t kMostFileBytes = 1 << 20;

std::chrono::minutes lockoutAfter(int lockouts) {
  return std::min(Attempts::kFirstLockout * (1 << std::clamp(lockouts - 1, 0, 10)),
                  Attempts::kLongestLockout);
}

std::int64_t secondsOf(system_clock::time_point time) {
  return std::chrono::duration_cast<std::chrono::seconds>(time.time_since_epoch()).count();
}

}  // namespace

Attempts::Attempts(WallClock clock, std::string file, std::function<void(const std::string&)> log)
    : _clock(std::move(clock)), _file(std::move(file)), _log(std::move(log)) {
  if (!_file.empty()) load();
}

Attempts::Answer Attempts::begin(std::uint32_t uid) {
  const std::scoped_lock guard(_lock);
  Record& record = _records[uid];
  if (leftOf(record).count() > 0) return Answer::Locked;
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
    record.lockouts = 0;
  } else if (++record.wrong >= kMostWrong) {
    record.wrong = 0;
    record.lockedUntil = _clock() + lockoutAfter(++record.lockouts);
  }
  if (!_file.empty()) save();
}

void Attempts::abandon(std::uint32_t uid) noexcept {
  const std::scoped_lock guard(_lock);
  const auto found = _records.find(uid);
  if (found != _records.end()) found->second.checking = false;
}

// A clock that was set back must not make a lockout longer than it is.
system_clock::duration Attempts::leftOf(const Record& record) const {
  return std::min<system_clock::duration>(record.lockedUntil - _clock(), lockoutAfter(record.lockouts));
}

std::chrono::minutes Attempts::remaining(std::uint32_t uid) const {
  const std::scoped_lock guard(_lock);
  const auto found = _records.find(uid);
  if (found == _records.end()) return std::chrono::minutes{0};
  const auto left = leftOf(found->second);
  return left.count() <= 0 ? std::chrono::minutes{0} : std::chrono::ceil<std::chrono::minutes>(left);
}

std::chrono::milliseconds Attempts::delay(std::uint32_t uid) const {
  const std::scoped_lock guard(_lock);
  const auto found = _records.find(uid);
  const int wrong = found == _records.end() ? 0 : found->second.wrong;
  return wrong == 0 ? std::chrono::milliseconds{0}
                    : std::chrono::milliseconds{250 << std::min(wrong, kMostWrong)};
}

void Attempts::load() {
  std::string problem;
  bool missing = false;
  const auto text = services::readWhole(_file, kMostFileBytes, problem, &missing);
  if (missing) return;
  if (!text) return _log(problem + "; earlier wrong passwords are forgotten");
  try {
    const Json all = Json::parse(*text);
    for (const auto& [uid, entry] : all.items()) {
      Record record;
      record.wrong = std::clamp(entry.at("wrong").get<int>(), 0, kMostWrong - 1);
      record.lockouts = std::clamp(entry.at("lockouts").get<int>(), 0, 1000);
      record.lockedUntil = system_clock::time_point(std::chrono::seconds(std::clamp<std::int64_t>(
          entry.at("locked-until").get<std::int64_t>(), 0, secondsOf(_clock() + 2 * kLongestLockout))));
      _records[static_cast<std::uint32_t>(std::stoul(uid))] = record;
    }
  } catch (const std::exception& error) {
    _log(_file + ": " + error.what() + "; earlier wrong passwords are forgotten");
  }
}

void Attempts::save() const {
  Json all = Json::object();
  for (const auto& [uid, record] : _records) {
    if (record.wrong == 0 && record.lockouts == 0) continue;
    all[std::to_string(uid)] = {{"wrong", record.wrong},
                                {"lockouts", record.lockouts},
                                {"locked-until", secondsOf(record.lockedUntil)}};
  }
  std::string problem;
  if (!services::writeDurably(_file, all.dump(2) + '\n', 0600, problem)) _log(problem);
}

}  // namespace sifterra::override_service
