// WFWhitelistSite: a record, and whatever setters made of it.
//
// Nothing sets the properties of a site on a list, so a site keeps no lock of its own: the changes of all
// sites share one.
#include "sifterra/policy/WFWhitelistSite.h"

#include <mutex>
#include <utility>

#include "platform/Unicode.h"
#include "policy/SiteRecord.h"
#include "sifterra/policy/url_domain.h"
#include "util/log.h"

namespace sifterra {
namespace {

using platform::String;
using platform::URL;

std::mutex& lockOfChanges() {
  static std::mutex& lock = *new std::mutex;  // never destroyed
  return lock;
}

}  // namespace

struct WFWhitelistSite::Changes {
  String urlString;
  URL url;
  std::shared_ptr<const SiteRecord> record;
};

WFWhitelistSite::WFWhitelistSite(const String& urlString)
    : WFWhitelistSite(SiteRecord::fromURLString(urlString)) {}

WFWhitelistSite::WFWhitelistSite(std::unique_ptr<const SiteRecord> record) : _record(std::move(record)) {
  constexpr auto kOp = "-[WFWhitelistSite initWithURLString:]";
  if (!_record->hasURL()) logError("%s -- URL is nil", kOp);
}

WFWhitelistSite::~WFWhitelistSite() {
  delete _changes.load(std::memory_order_acquire);
}

WFWhitelistSite::Changes& WFWhitelistSite::changes() {
  if (!_changes.load(std::memory_order_relaxed)) {
    auto unchanged = std::make_unique<Changes>();
    unchanged->urlString = _record->urlString();
    unchanged->url = _record->url();
    unchanged->record = std::shared_ptr<const SiteRecord>(std::shared_ptr<void>(), _record.get());
    _changes.store(unchanged.release(), std::memory_order_release);
  }
  return *_changes.load(std::memory_order_relaxed);
}

std::shared_ptr<const SiteRecord> WFWhitelistSite::current() const {
  if (const Changes* changed = _changes.load(std::memory_order_acquire)) {
    const std::lock_guard guard(lockOfChanges());
    return changed->record;
  }
  return {std::shared_ptr<void>(), _record.get()};
}

String WFWhitelistSite::urlString() const {
  if (const Changes* changed = _changes.load(std::memory_order_acquire)) {
    const std::lock_guard guard(lockOfChanges());
    return changed->urlString;
  }
  return _record->urlString();
}

void WFWhitelistSite::setUrlString(const String& urlString) {
  const std::lock_guard guard(lockOfChanges());
  changes().urlString = urlString;
}

URL WFWhitelistSite::url() const {
  if (const Changes* changed = _changes.load(std::memory_order_acquire)) {
    const std::lock_guard guard(lockOfChanges());
    return changed->url;
  }
  return _record->url();
}

void WFWhitelistSite::setUrl(const URL& url) {
  std::shared_ptr<const SiteRecord> record = SiteRecord::fromParts(url, domainName());
  const std::lock_guard guard(lockOfChanges());
  Changes& changed = changes();
  changed.url = url;
  changed.record = std::move(record);
}

String WFWhitelistSite::domainName() const {
  return _record->domainName();
}

std::size_t WFWhitelistSite::hash() const {
  return _record->domainHash();
}

bool WFWhitelistSite::isEqual(const WFWhitelistSite& candidate) const {
  const auto entry = current();
  const auto visited = candidate.current();
  if (entry->hasDomain() && !entry->sameDomain(*visited)) return false;
  return entry->coversAddress(*visited);
}

bool WFWhitelistSite::hasMetasitePrefix(const WFWhitelistSite& entry) const {
  constexpr auto kOp = "-[WFWhitelistSite hasMetasitePrefix:]";
  const auto self = current();
  const auto other = entry.current();
  if (self->hasDomain() && !self->sameDomain(*other)) return false;
  logDebug(
      "%s -- selfURL %{public}@, otherURL %{public}@", kOp, [&] { return url().absoluteString(); },
      [&] { return entry.url().absoluteString(); });
  logDebug(
      "%s -- selfRelativePath %{public}@, otherRelativePath %{public}@", kOp,
      [&] { return normalizedRelativePath(url()); }, [&] { return normalizedRelativePath(entry.url()); });
  return other->coversPath(*self);
}

String WFWhitelistSite::description() const {
  const String address = url().absoluteString();
  return address ? String(platform::lowercased(address.view())) : String();
}

}  // namespace sifterra
