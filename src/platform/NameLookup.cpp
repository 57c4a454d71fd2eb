// NameLookup: a cache before the source, and an account of the time spent waiting for it.
//
// A lookup takes its time out of the account before it asks and puts back what it did not use, so that
// several threads together stay within it.
#include "platform/NameLookup.h"

#include <algorithm>
#include <iterator>

#include "sifterra/sifterra.h"

namespace sifterra::platform {
namespace {

using std::chrono::milliseconds;

// Less is not worth asking for.
constexpr milliseconds kShortestLookup{50};

}  // namespace

NameLookup::NameLookup(std::shared_ptr<NameSource> source, std::function<Clock::time_point()> now)
    : now_(std::move(now)), source_(std::move(source)) {}

NameLookup& NameLookup::shared() {
  static NameLookup& lookup = *new NameLookup(std::make_shared<SystemNameSource>());  // never destroyed
  return lookup;
}

std::optional<std::string> NameLookup::nameOf(std::uint32_t address) {
  if (!enabled()) return std::nullopt;
  const Clock::time_point asked = now_();
  std::shared_ptr<NameSource> source;
  milliseconds limit{0};
  {
    const std::lock_guard guard(lock_);
    const auto known = known_.find(address);
    if (known != known_.end() && asked < known->second.until) return known->second.name;
    limit = reserveWaiting(asked);
    if (limit < kShortestLookup) return std::nullopt;
    source = source_;
  }
  NameSource::Answer answer = source->nameOf(address, limit);
  const Clock::time_point answered = now_();
  const std::lock_guard guard(lock_);
  const milliseconds waited = std::chrono::ceil<milliseconds>(answered - asked);
  mayWait_ = std::min(kLongestWaiting, mayWait_ + limit - std::min(limit, waited));
  if (answer.outcome != NameSource::Outcome::Unanswered) {
    unanswered_ = 0;
  } else if (++unanswered_ >= kUnansweredInARow) {
    unanswered_ = 0;
    pausedUntil_ = answered + kPeriod;
  }
  std::optional<std::string> name;
  if (answer.outcome == NameSource::Outcome::Found) name = std::move(answer.name);
  if (source == source_) remember(address, name, answered);
  return name;
}

milliseconds NameLookup::reserveWaiting(Clock::time_point now) {
  if (now < pausedUntil_) return milliseconds{0};
  if (now >= periodEnds_) {
    periodEnds_ = now + kPeriod;
    mayWait_ = kLongestWaiting;
  }
  const milliseconds limit = std::min(kLongestLookup, mayWait_);
  if (limit < kShortestLookup) return milliseconds{0};
  mayWait_ -= limit;
  return limit;
}

void NameLookup::remember(std::uint32_t address, std::optional<std::string> name, Clock::time_point now) {
  if (known_.size() >= kMostAddresses) {
    for (auto known = known_.begin(); known != known_.end();) {
      known = known->second.until <= now ? known_.erase(known) : std::next(known);
    }
    if (known_.size() >= kMostAddresses) known_.erase(known_.begin());
  }
  const Clock::time_point until =
      now + (name ? Clock::duration(kNameIsKept) : Clock::duration(kNoNameIsKept));
  known_.insert_or_assign(address, Known{std::move(name), until});
}

std::shared_ptr<NameSource> NameLookup::replaceSource(std::shared_ptr<NameSource> source) {
  const std::lock_guard guard(lock_);
  known_.clear();
  mayWait_ = kLongestWaiting;
  periodEnds_ = {};
  pausedUntil_ = {};
  unanswered_ = 0;
  std::swap(source, source_);
  return source;
}

}  // namespace sifterra::platform

void WFSetNameLookups(signed char on) {
  sifterra::platform::NameLookup::shared().setEnabled(on != 0);
}
