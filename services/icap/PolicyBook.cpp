#include "PolicyBook.h"

#include <mutex>
#include <utility>

#include "ascii_text.h"

namespace sifterra::icap {
namespace {

using FileState = WFWhitelistUserPreferences::FileState;

constexpr std::size_t kMostBroken = 10000;  // of whose files the log has a line

bool hasFile(const std::string& user) {
  const auto preferences =
      WFWhitelistUserPreferences::defaultWhitelistForUser(platform::String::fromUTF8(user));
  return preferences && preferences->fileState() != FileState::Absent;
}

}  // namespace

std::string PolicyBook::spelt(const std::string& user) {
  std::string small = lowerCase(user);
  return small == user || hasFile(user) || !hasFile(small) ? user : small;
}

Policy PolicyBook::policyOf(const std::string& user) {
  if (user.empty()) return {};
  Preferences preferences =
      WFWhitelistUserPreferences::defaultWhitelistForUser(platform::String::fromUTF8(user));
  if (!preferences || preferences->fileState() == FileState::Absent) return {};
  if (preferences->fileState() == FileState::Broken) return fallBack(user, preferences);
  remember(user, preferences);
  return {Policy::State::InForce, std::move(preferences)};
}

void PolicyBook::remember(const std::string& user, const Preferences& preferences) {
  {
    const std::shared_lock reading(lock_);
    const auto found = good_.find(user);
    if (found != good_.end() && found->second == preferences && broken_.empty()) return;
  }
  bool mended = false;
  {
    const std::unique_lock writing(lock_);
    good_[user] = preferences;
    mended = broken_.erase(user) > 0;
  }
  if (mended) log_("the policy of user \"" + user + "\" can be read again and is in force");
}

Policy PolicyBook::fallBack(const std::string& user, const Preferences& broken) {
  Preferences last;
  bool first = false;
  {
    const std::unique_lock writing(lock_);
    const auto found = good_.find(user);
    if (found != good_.end()) last = found->second;
    first = broken_.size() < kMostBroken && broken_.insert(user).second;
  }
  if (first) {
    log_("the policy of user \"" + user + "\" cannot be read (" + broken->fileProblem().toUTF8() + "); " +
         (last ? "the one before stays in force" : "there is none before it"));
  }
  return last ? Policy{Policy::State::LastGood, std::move(last)} : Policy{Policy::State::Broken, nullptr};
}

}  // namespace sifterra::icap
