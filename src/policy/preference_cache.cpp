// preference_cache: an immutable map, replaced as a whole when a user's file has changed.
//
// Whoever finds the record it wants takes no lock but for the moment of copying a pointer. Files are read
// under one of a few locks, chosen by the user name: the same user's file is read once however many threads
// ask, and a long one holds up few other users.
//
// The date alone is not enough for a file that has just been written: the kernel's clock for files ticks
// every few milliseconds, and some file systems count in seconds, so a second change may carry the date of
// the first. A record read that soon after the date is not settled; while it is not, a call with the same
// date reads the file's bytes once more and compares them.
#include "policy/preference_cache.h"

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "platform/FileSystem.h"
#include "policy/preference_file.h"
#include "util/log.h"

namespace sifterra {
namespace {

using platform::String;
using Preferences = std::shared_ptr<WFWhitelistUserPreferences>;

// Several ticks of the slowest clock in use (10 ms).
constexpr std::int64_t kSettlesAfter = 50'000'000;
// A date without a fraction is one by chance, or of a file system that has seconds only, or every other one.
constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kWholeSecondSettlesAfter = 2 * kSecond + kSettlesAfter;

struct Record {
  std::optional<std::int64_t> date;
  Preferences whitelist;
  std::size_t digest = 0;
  mutable std::atomic<bool> settled{false};
};
using RecordReference = std::shared_ptr<const Record>;
using Cache = std::map<std::u16string, RecordReference, std::less<>>;

struct Shared {
  std::mutex lock;  // guards the pointer
  std::shared_ptr<const Cache> cache = std::make_shared<const Cache>();
  std::array<std::mutex, 16> readers;
};

Shared& shared() {
  static auto& shared = *new Shared;  // never destroyed: threads may ask while the process exits
  return shared;
}

std::shared_ptr<const Cache> currentCache() {
  const std::lock_guard held(shared().lock);
  return shared().cache;
}

// The record of a user with that date; null when there is none. No date equals none.
RecordReference recordFor(const String& username, std::optional<std::int64_t> date) {
  const auto cache = currentCache();
  const auto found = cache->find(username.view());
  if (found == cache->end() || !date || found->second->date != date || !found->second->whitelist)
    return nullptr;
  return found->second;
}

void publish(const String& username, RecordReference record) {
  std::shared_ptr<const Cache> old;  // freed without the lock
  const std::lock_guard held(shared().lock);
  auto copy = std::make_shared<Cache>(*shared().cache);
  copy->insert_or_assign(std::u16string(username.view()), std::move(record));
  old = std::exchange(shared().cache, std::move(copy));
}

std::int64_t now() {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch).count();
}

// A date far ahead was set by hand; no tick of the clock will repeat it.
bool isSettled(std::int64_t date, std::int64_t readAt) {
  const std::int64_t after = date % kSecond == 0 ? kWholeSecondSettlesAfter : kSettlesAfter;
  return readAt - date >= after || date - readAt >= after;
}

// Under the reader's lock.
Preferences readAndPublish(const String& path, const String& username, std::optional<std::int64_t> date) {
  const std::int64_t readAt = now();  // before the reading: what is written from here on comes later
  PreferenceFile file(path);
  const std::size_t digest = file.digest();
  if (const RecordReference record = recordFor(username, date); record && record->digest == digest) {
    record->settled.store(isSettled(*date, readAt), std::memory_order_release);
    return record->whitelist;
  }
  Preferences preferences = std::move(file).preferences();
  preferences->setUsername(username);
  auto record = std::make_shared<Record>();
  // Kept: without a date the record stays empty, and every call reads the file again.
  if (date) {
    record->date = date;
    record->whitelist = preferences;
    record->digest = digest;
    record->settled.store(isSettled(*date, readAt), std::memory_order_release);
  }
  publish(username, std::move(record));
  return preferences;
}

Preferences settledPreferences(const String& username, std::optional<std::int64_t> date) {
  const RecordReference record = recordFor(username, date);
  return record && record->settled.load(std::memory_order_acquire) ? record->whitelist : nullptr;
}

}  // namespace

Preferences cachedWhitelistForPath(const String& path, const String& username) {
  if (!path) return nullptr;
  const std::optional<std::int64_t> date = modificationDateForFileAtPath(path);
  if (Preferences found = settledPreferences(username, date)) return found;
  auto& readers = shared().readers;
  const std::lock_guard reading(readers[std::hash<std::u16string_view>()(username.view()) % readers.size()]);
  if (Preferences found = settledPreferences(username, date)) return found;
  return readAndPublish(path, username, date);
}

std::optional<std::int64_t> modificationDateForFileAtPath(const String& path) {
  constexpr auto kOp = "+[WFWhitelistUserPreferences _modificationDateForFileAtPath:]";
  const auto date = platform::modificationDate(path.toUTF8());
  if (!date) logError("%s -- whitelist file attributes dictionary is nil", kOp);
  return date;
}

void resetPreferenceCacheForTesting() {
  const std::lock_guard held(shared().lock);
  shared().cache = std::make_shared<const Cache>();
}

}  // namespace sifterra
